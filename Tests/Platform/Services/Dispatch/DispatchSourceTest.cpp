#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <memory>
#include <random>
#include <thread>

#include "DispatchTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

constexpr std::uint64_t kSecond = NSEC_PER_SEC;

dispatch_time_t in(std::uint64_t nanoseconds) {
  return dispatch_time(DISPATCH_TIME_NOW, static_cast<std::int64_t>(nanoseconds));
}

/// A timer on a queue of its own, whose calls are written down: the time since the start in seconds, and the data.
class DispatchSourceThreadTest : public ::testing::Test {
 protected:
  DispatchSourceThreadTest() {
    dispatch_source_set_event_handler(timer_, [this] { note(); });
  }
  ~DispatchSourceThreadTest() override {
    if (timer_) dispatch_source_cancel(timer_);
    flush(queue_);
  }

  void note() {
    const std::uint64_t data = dispatch_source_get_data(timer_);
    journal_.add(std::to_string((clock_.now() - start_) / kSecond) + (data == 1 ? "" : "x" + std::to_string(data)));
  }
  /// Lets seconds pass one by one; the handler runs in between.
  void pass(int seconds) {
    for (int i = 0; i < seconds; ++i) {
      clock_.advance(kSecond);
      flush(queue_);
    }
  }
  std::string calls() const {
    flush(queue_);
    return journal_.text();
  }

  DispatchManualClock clock_;
  const std::uint64_t start_ = clock_.now();
  Journal journal_;
  dispatch_queue_t queue_ = dispatch_queue_create("timers", nullptr);
  dispatch_source_t timer_ = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue_);
};

TEST_F(DispatchSourceThreadTest, FiresAtItsTimeAndAtEachInterval) {
  dispatch_source_set_timer(timer_, in(2 * kSecond), 3 * kSecond, 0);
  pass(1);
  EXPECT_EQ(calls(), "") << "created suspended";
  dispatch_resume(timer_);
  pass(9);
  EXPECT_EQ(calls(), "2 5 8");
}

TEST_F(DispatchSourceThreadTest, SettingsOfATimer) {
  const struct {
    const char* what;
    std::uint64_t start;  // seconds; ~0: for ever
    std::uint64_t interval, leeway;
    std::string expected;
  } rows[] = {
      {"once", 1, DISPATCH_TIME_FOREVER, 0, "1"},
      {"once, by an interval beyond all time", 1, std::uint64_t{1} << 63, 0, "1"},
      {"at once", 0, 2 * kSecond, 0, "0 2 4"},
      {"every second", 1, kSecond, 0, "1 2 3 4 5"},
      {"never", ~std::uint64_t{0}, kSecond, 0, ""},
      {"with leeway, at the latest when somebody looks", 1, 2 * kSecond, kSecond / 2, "1 3 5"},
  };
  for (const auto& row : rows) {
    const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
    const dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue);
    const std::uint64_t from = clock_.now();
    Journal journal;
    dispatch_source_set_event_handler(timer, [&] { journal.add(std::to_string((clock_.now() - from) / kSecond)); });
    dispatch_source_set_timer(timer, row.start == ~std::uint64_t{0} ? DISPATCH_TIME_FOREVER : in(row.start * kSecond),
                              row.interval, row.leeway);
    dispatch_resume(timer);
    flush(queue);
    for (int i = 0; i < 5; ++i) {
      clock_.advance(kSecond);
      flush(queue);
    }
    EXPECT_EQ(journal.text(), row.expected) << row.what;
    dispatch_source_cancel(timer);
    flush(queue);
  }
}

TEST_F(DispatchSourceThreadTest, TimesThatPassTogetherMakeOneCall) {
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_resume(timer_);
  dispatch_suspend(queue_);
  clock_.advance(kSecond * 7 / 2);
  dispatch_resume(queue_);
  EXPECT_EQ(calls(), "3x3");
  clock_.advance(kSecond / 2);
  EXPECT_EQ(calls(), "3x3 4") << "the next time is a whole number of intervals from the start";
}

TEST_F(DispatchSourceThreadTest, ASuspendedTimerFiresWhenItIsResumed) {
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_resume(timer_);
  pass(2);
  dispatch_suspend(timer_);
  dispatch_suspend(timer_);
  pass(3);
  EXPECT_EQ(dispatch_statistics().timers, 0u) << "and wakes nobody";
  dispatch_resume(timer_);
  EXPECT_EQ(calls(), "1 2");
  dispatch_resume(timer_);
  EXPECT_EQ(calls(), "1 2 5x3");
  pass(1);
  EXPECT_EQ(calls(), "1 2 5x3 6");
  EXPECT_EQ(raised([&] { return dispatch_resume(timer_), 0; }),
            "NSInternalInconsistencyException: dispatch_resume: over-resume of an object");
}

TEST_F(DispatchSourceThreadTest, SettingARunningTimerStartsAnew) {
  dispatch_source_set_timer(timer_, in(2 * kSecond), 2 * kSecond, 0);
  dispatch_resume(timer_);
  pass(3);
  dispatch_source_set_timer(timer_, in(3 * kSecond), 3 * kSecond, 0);
  pass(4);
  EXPECT_EQ(calls(), "2 6");
  // A time that has come and was not handled yet is forgotten.
  dispatch_suspend(queue_);
  clock_.advance(2 * kSecond);
  dispatch_source_set_timer(timer_, in(kSecond), DISPATCH_TIME_FOREVER, 0);
  dispatch_resume(queue_);
  EXPECT_EQ(calls(), "2 6");
  pass(1);
  EXPECT_EQ(calls(), "2 6 10");
}

TEST_F(DispatchSourceThreadTest, NoHandlerStartsAfterACancelOnItsQueue) {
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_source_set_cancel_handler(timer_, [this] { journal_.add("cancelled"); });
  dispatch_resume(timer_);
  pass(2);
  EXPECT_EQ(dispatch_source_testcancel(timer_), 0);
  dispatch_suspend(queue_);
  clock_.advance(kSecond);  // its time has come: the handler waits on the queue
  dispatch_source_cancel(timer_);
  EXPECT_NE(dispatch_source_testcancel(timer_), 0);
  dispatch_source_cancel(timer_);
  dispatch_resume(queue_);
  pass(3);
  EXPECT_EQ(calls(), "1 2 cancelled");
  EXPECT_EQ(dispatch_statistics().timers, 0u);
}

TEST_F(DispatchSourceThreadTest, ASuspendedTimerIsCancelledAtItsResume) {
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_source_set_cancel_handler(timer_, [this] { journal_.add("cancelled"); });
  dispatch_source_cancel(timer_);
  pass(2);
  EXPECT_EQ(calls(), "");
  dispatch_resume(timer_);
  EXPECT_EQ(calls(), "cancelled");
}

TEST_F(DispatchSourceThreadTest, HandlersAreDestroyedOnTheQueue) {
  const auto report = [this](const char* name) {
    return atEnd([this, name] { journal_.add(std::string(name) + "@" + dispatch_get_current_queue_label()); });
  };
  dispatch_source_set_event_handler(timer_, [end = report("event")] {});
  dispatch_source_set_cancel_handler(timer_, [this, end = report("cancel")] { journal_.add("cancelled"); });
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_resume(timer_);
  pass(2);
  EXPECT_EQ(calls(), "");
  dispatch_source_cancel(timer_);
  const std::string text = calls();
  EXPECT_EQ(text.substr(0, text.find(' ')), "cancelled");
  EXPECT_NE(text.find("event@timers"), std::string::npos) << text;
  EXPECT_NE(text.find("cancel@timers"), std::string::npos) << text;
}

TEST_F(DispatchSourceThreadTest, ATimerThatNobodyHoldsStops) {
  for (bool resumed : {true, false}) {
    Journal journal;
    dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue_);
    dispatch_source_set_event_handler(timer,
                                      [&journal, end = atEnd([&] { journal.add("gone"); })] { journal.add("fired"); });
    dispatch_source_set_cancel_handler(timer, [&journal] { journal.add("cancelled"); });
    dispatch_source_set_timer(timer, in(kSecond), kSecond, 0);
    if (resumed) dispatch_resume(timer);
    pass(1);
    timer = nullptr;
    pass(2);
    EXPECT_EQ(journal.text(), resumed ? "fired gone" : "gone");
    EXPECT_EQ(dispatch_statistics().timers, 0u);
  }
}

TEST_F(DispatchSourceThreadTest, ATimerMayEndItselfInItsHandler) {
  dispatch_source_set_event_handler(timer_, [this] {
    note();
    timer_ = nullptr;
  });
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_resume(timer_);
  pass(4);
  EXPECT_EQ(calls(), "1");
}

TEST_F(DispatchSourceThreadTest, HandlersMayBeChangedAndTakenAway) {
  dispatch_source_set_timer(timer_, in(kSecond), kSecond, 0);
  dispatch_resume(timer_);
  pass(1);
  dispatch_source_set_event_handler(timer_, [this] { journal_.add("other"); });
  pass(1);
  dispatch_source_set_event_handler(timer_, nullptr);
  pass(1);
  EXPECT_EQ(calls(), "1 other");
  dispatch_set_target_queue(timer_, dispatch_get_main_queue());
  dispatch_source_set_event_handler(timer_, [this] { journal_.add("main"); });
  clock_.advance(kSecond);
  EXPECT_EQ(calls(), "1 other");
  EXPECT_EQ(dispatch_main_queue_drain(9), 1u);
  EXPECT_EQ(calls(), "1 other main");
  dispatch_source_cancel(timer_);
  dispatch_main_queue_drain(9);
}

TEST_F(DispatchSourceThreadTest, NeighboursShareAWake) {
  // Twenty timers whose first times lie a millisecond apart: with a leeway of 12 ms the first one waits for those that
  // come up to then, the fourteenth for the others.
  for (bool leeway : {true, false}) {
    std::vector<dispatch_source_t> timers;
    Journal journal;
    for (std::uint64_t i = 0; i < 20; ++i) {
      timers.push_back(dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue_));
      dispatch_source_set_event_handler(timers.back(), [&journal, i] { journal.add(std::to_string(i)); });
      dispatch_source_set_timer(timers.back(), in((20 + i) * NSEC_PER_MSEC), DISPATCH_TIME_FOREVER,
                                leeway ? 12 * NSEC_PER_MSEC : 0);
      dispatch_resume(timers.back());
    }
    const std::uint64_t before = dispatch_statistics().timerWakes;
    clock_.advance(kSecond);
    flush(queue_);
    EXPECT_EQ(journal.text(), "0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19");
    EXPECT_EQ(dispatch_statistics().timerWakes - before, leeway ? 2u : 20u);
  }
}

TEST_F(DispatchSourceThreadTest, AStrictTimerHasNoLeewayWhateverItIsGiven) {
  const struct {
    std::uintptr_t mask;
    std::uint64_t wakes;
  } rows[] = {{0, 1}, {DISPATCH_TIMER_STRICT, 2}};
  for (const auto& row : rows) {
    const dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, row.mask, queue_);
    dispatch_source_set_timer(timer, in(kSecond), DISPATCH_TIME_FOREVER, kSecond);
    dispatch_resume(timer);
    dispatch_after(in(kSecond * 3 / 2), queue_, [] {});
    const std::uint64_t before = dispatch_statistics().timerWakes;
    clock_.advance(3 * kSecond);
    EXPECT_EQ(dispatch_statistics().timerWakes - before, row.wakes);
  }
}

TEST(DispatchSourceRaceTest, HandlersOfOneTimerNeverOverlap) {
  // On a concurrent queue, and though the next time has come before the handler is done.
  const dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, nullptr);
  std::atomic<int> running{0}, overlaps{0};
  int calls = 0;  // without a lock
  const dispatch_semaphore_t over = dispatch_semaphore_create(0);
  dispatch_source_set_event_handler(timer, [&] {
    if (++running != 1) ++overlaps;
    for (int i = 0; i < 20'000; ++i) running.load();  // long enough for another thread to come
    if (++calls == 500) dispatch_source_cancel(timer);
    --running;
  });
  dispatch_source_set_cancel_handler(timer, [&] {
    if (running != 0) ++overlaps;
    dispatch_semaphore_signal(over);
  });
  dispatch_source_set_timer(timer, DISPATCH_TIME_NOW, 0, 0);
  dispatch_resume(timer);
  dispatch_semaphore_wait(over, DISPATCH_TIME_FOREVER);
  EXPECT_EQ(calls, 500);
  EXPECT_EQ(overlaps, 0);
}

TEST(DispatchSourceTest, WhatIsNoTimerIsNil) {
  const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
  const struct {
    int type;
    std::uintptr_t handle, mask;
    bool isNil;
  } rows[] = {{1, 0, 0, false}, {1, 0, 1, false}, {0, 0, 0, true}, {2, 0, 0, true}, {1, 5, 0, true}, {1, 0, 2, true}};
  for (const auto& row : rows) {
    const dispatch_source_t source =
        dispatch_source_create(static_cast<dispatch_source_type_t>(row.type), row.handle, row.mask, queue);
    EXPECT_EQ(!source, row.isNil) << row.type;
    EXPECT_EQ(dispatch_source_get_mask(source), row.isNil ? 0 : row.mask);
  }
  dispatch_source_set_timer(nullptr, 0, 0, 0);
  dispatch_source_set_event_handler(nullptr, nullptr);
  dispatch_source_set_cancel_handler(nullptr, nullptr);
  dispatch_source_cancel(nullptr);
  EXPECT_EQ(dispatch_source_testcancel(nullptr), 0);
  EXPECT_EQ(dispatch_source_get_data(nullptr), 0u);
}

// ---- later work -----------------------------------------------------------------------------------------------------

TEST(DispatchAfterThreadTest, RunsAtItsTimeInTheOrderOfTimes) {
  DispatchManualClock clock;
  const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
  Journal journal;
  const auto after = [&](std::uint64_t seconds, const char* name) {
    dispatch_after(in(seconds * kSecond), queue, [&journal, name] { journal.add(name); });
  };
  after(3, "three");
  after(1, "one");
  after(2, "two");
  after(0, "now");
  dispatch_after(dispatch_walltime(nullptr, 2 * static_cast<std::int64_t>(kSecond) + 5), queue,
                 [&] { journal.add("wall"); });
  flush(queue);
  EXPECT_EQ(journal.text(), "now");
  clock.advance(kSecond);
  flush(queue);
  EXPECT_EQ(journal.text(), "now one");
  clock.advance(9 * kSecond);
  flush(queue);
  EXPECT_EQ(journal.text(), "now one two wall three");
  EXPECT_EQ(dispatch_statistics().timers, 0u);
}

TEST(DispatchAfterThreadTest, TheRealClockRunsToo) {
  Gate gate;
  const std::uint64_t before = dispatch_time(DISPATCH_TIME_NOW, 0);
  std::uint64_t ran = 0;
  dispatch_after(dispatch_time(before, 2'000'000), dispatch_get_global_queue(0, 0), [&] {
    ran = dispatch_time(DISPATCH_TIME_NOW, 0);
    gate.open();
  });
  gate.wait();
  EXPECT_GE(ran, before + 2'000'000);
  // What a manual clock left over comes when it is taken away.
  Gate second;
  {
    DispatchManualClock clock;
    dispatch_after(in(1000), dispatch_get_global_queue(0, 0), [&] { second.open(); });
  }
  second.wait();
}

TEST(DispatchTimeTest, Sums) {
  DispatchManualClock clock;
  const std::uint64_t now = clock.now();
  constexpr std::uint64_t kWall = std::uint64_t{1} << 63;
  std::timespec time{100, 7};
  const struct {
    const char* what;
    dispatch_time_t result, expected;
  } rows[] = {
      {"now", dispatch_time(DISPATCH_TIME_NOW, 0), now},
      {"later", dispatch_time(DISPATCH_TIME_NOW, 5), now + 5},
      {"earlier", dispatch_time(DISPATCH_TIME_NOW, -5), now - 5},
      {"after a time", dispatch_time(1000, 5), 1005},
      {"before the beginning", dispatch_time(1000, -5000), 1},
      {"long before", dispatch_time(1000, INT64_MIN), 1},
      {"beyond the end", dispatch_time(kWall - 1, 1), DISPATCH_TIME_FOREVER},
      {"far beyond", dispatch_time(kWall - 1, INT64_MAX), DISPATCH_TIME_FOREVER},
      {"for ever", dispatch_time(DISPATCH_TIME_FOREVER, -5), DISPATCH_TIME_FOREVER},
      {"on the wall", dispatch_walltime(&time, 3), kWall | (100 * kSecond + 10)},
      {"after that", dispatch_time(dispatch_walltime(&time, 3), 5), kWall | (100 * kSecond + 15)},
      {"before that", dispatch_time(dispatch_walltime(&time, 3), -5), kWall | (100 * kSecond + 5)},
      {"at the end of the wall", dispatch_walltime(&time, INT64_MAX), DISPATCH_TIME_FOREVER},
  };
  for (const auto& row : rows) EXPECT_EQ(row.result, row.expected) << row.what;
  EXPECT_EQ(raisedName([] { return DispatchManualClock(), 0; }), "NSInternalInconsistencyException");
}

// ---- many timers ----------------------------------------------------------------------------------------------------

TEST(DispatchSourceRaceTest, TimersOfManyThreads) {
  // Created, resumed, set, suspended, cancelled and dropped from many threads, while they fire.
  constexpr int kThreads = 4, kEach = 250;
  std::atomic<int> fired{0}, handlers{0}, cancelled{0}, late{0};
  std::vector<dispatch_queue_t> queues;
  for (int i = 0; i < 4; ++i) queues.push_back(dispatch_queue_create("timers", nullptr));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::minstd_rand random(static_cast<unsigned>(t) + 1);
      for (int i = 0; i < kEach; ++i) {
        const dispatch_queue_t& queue = queues[random() % queues.size()];
        dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue);
        ++handlers;
        const auto over = std::make_shared<std::atomic<bool>>(false);
        dispatch_source_set_event_handler(timer, [&, over, end = atEnd([&] { --handlers; })] {
          ++fired;
          if (*over) ++late;
        });
        dispatch_source_set_cancel_handler(timer, [&] { ++cancelled; });
        dispatch_source_set_timer(timer, in(random() % 20'000), 1000 + random() % 50'000, random() % 1000);
        dispatch_resume(timer);
        if (i % 3 == 0) dispatch_suspend(timer);
        if (i % 5 == 0) dispatch_source_set_timer(timer, in(random() % 20'000), 20'000, 0);
        if (i % 6 == 0) dispatch_resume(timer);
        if (i % 2 == 0) {
          dispatch_sync(queue, [&] {
            dispatch_source_cancel(timer);
            *over = true;
          });
          if (i % 3 == 0 && i % 6 != 0) dispatch_resume(timer);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const dispatch_queue_t& queue : queues) flush(queue);
  while (handlers != 0) std::this_thread::yield();
  EXPECT_EQ(cancelled, kThreads * kEach / 2);
  EXPECT_EQ(late, 0) << "a handler started after a cancel on its own queue";
  while (dispatch_statistics().timers != 0) std::this_thread::yield();
}

}  // namespace
}  // namespace kvt
