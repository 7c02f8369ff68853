#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "DispatchTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

dispatch_queue_t global() { return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0); }

TEST(DispatchGroupTest, AnEmptyGroupKeepsNobodyWaiting) {
  const dispatch_group_t group = dispatch_group_create();
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_FOREVER), 0);
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
  const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
  bool notified = false;
  dispatch_group_notify(group, queue, [&] { notified = true; });
  flush(queue);
  EXPECT_TRUE(notified);
}

TEST(DispatchGroupTest, LeavingWhatNobodyEnteredRaises) {
  const dispatch_group_t group = dispatch_group_create();
  EXPECT_EQ(raised([&] { return dispatch_group_leave(group), 0; }),
            "NSInternalInconsistencyException: Unbalanced call to dispatch_group_leave()");
  dispatch_group_enter(group);
  EXPECT_EQ(raised([&] { return dispatch_group_leave(group), 0; }), "");
}

TEST(DispatchGroupTest, Nil) {
  dispatch_group_enter(nullptr);
  dispatch_group_leave(nullptr);
  EXPECT_EQ(dispatch_group_wait(nullptr, DISPATCH_TIME_FOREVER), 0);
  const dispatch_group_t group = dispatch_group_create();
  dispatch_group_async(group, nullptr, [] { FAIL(); });
  dispatch_group_async(group, global(), dispatch_block_t());
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0) << "neither entered";
  Journal journal;
  dispatch_group_notify(nullptr, global(), [end = atEnd([&] { journal.add("dropped"); })] { FAIL(); });
  EXPECT_EQ(journal.text(), "dropped");
  const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
  dispatch_group_async(nullptr, queue, [&] { journal.add("ran"); });
  flush(queue);
  EXPECT_EQ(journal.text(), "dropped ran");
}

TEST(DispatchGroupTest, AWaitEndsWhenItsTimeHasCome) {
  DispatchManualClock clock;
  const dispatch_group_t group = dispatch_group_create();
  dispatch_group_enter(group);
  EXPECT_NE(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
  EXPECT_NE(dispatch_group_wait(group, dispatch_time(DISPATCH_TIME_NOW, -5)), 0);
  dispatch_group_leave(group);
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
}

TEST(DispatchGroupThreadTest, AWaitWithATimeLimit) {
  DispatchManualClock clock;
  const dispatch_group_t group = dispatch_group_create();
  dispatch_group_enter(group);
  std::atomic<std::intptr_t> first{-1}, second{-1};
  const dispatch_time_t soon = dispatch_time(DISPATCH_TIME_NOW, 2 * NSEC_PER_SEC);
  const dispatch_time_t late = dispatch_time(DISPATCH_TIME_NOW, 20 * NSEC_PER_SEC);
  std::thread a([&] { first = dispatch_group_wait(group, soon); });
  std::thread b([&] { second = dispatch_group_wait(group, late); });
  while (dispatch_statistics().timers < 2) std::this_thread::yield();
  clock.advance(2 * NSEC_PER_SEC - 1);
  EXPECT_EQ(dispatch_statistics().timers, 2u);
  clock.advance(1);
  a.join();
  EXPECT_NE(first, 0);
  EXPECT_EQ(second, -1);
  dispatch_group_leave(group);
  b.join();
  EXPECT_EQ(second, 0);
  EXPECT_EQ(dispatch_statistics().timers, 0u) << "a wait that is over leaves no timer behind";
}

TEST(DispatchGroupThreadTest, EverythingHasRunAndIsGoneWhenTheWaitEnds) {
  for (int round = 0; round < 50; ++round) {
    const dispatch_group_t group = dispatch_group_create();
    std::atomic<int> ran{0}, gone{0};
    for (int i = 0; i < 20; ++i) {
      dispatch_group_async(group, global(), [&ran, end = atEnd([&] { ++gone; })] { ++ran; });
    }
    EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_FOREVER), 0);
    EXPECT_EQ(ran, 20);
    EXPECT_EQ(gone, 20) << "what the work captured goes before the group is left";
  }
}

TEST(DispatchGroupThreadTest, NotifiesOnceForEachTime) {
  const dispatch_group_t group = dispatch_group_create();
  const dispatch_queue_t queue = dispatch_queue_create("notices", nullptr);
  Journal journal;
  dispatch_group_enter(group);
  dispatch_group_enter(group);
  dispatch_group_notify(group, queue, [&] { journal.add("a"); });
  dispatch_group_notify(group, queue, [&] { journal.add(dispatch_get_current_queue_label()); });
  dispatch_group_leave(group);
  flush(queue);
  EXPECT_EQ(journal.text(), "");
  dispatch_group_leave(group);
  flush(queue);
  EXPECT_EQ(journal.text(), "a notices");
  dispatch_group_enter(group);
  dispatch_group_leave(group);
  flush(queue);
  EXPECT_EQ(journal.text(), "a notices") << "once";
}

TEST(DispatchGroupThreadTest, AGroupThatNobodyHoldsDropsItsNotices) {
  Journal journal;
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_enter(group);
  dispatch_group_notify(group, global(), [end = atEnd([&] { journal.add("gone"); })] { FAIL(); });
  EXPECT_EQ(journal.text(), "");
  group = nullptr;
  EXPECT_EQ(journal.text(), "gone");
}

TEST(DispatchGroupThreadTest, ManyEnterAndLeave) {
  const dispatch_group_t group = dispatch_group_create();
  std::atomic<int> notices{0};
  const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        dispatch_group_enter(group);
        dispatch_group_notify(group, queue, [&] { ++notices; });
        dispatch_group_leave(group);
        if (i % 10 == 0) dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(dispatch_group_wait(group, DISPATCH_TIME_NOW), 0);
  flush(queue);
  EXPECT_EQ(notices, 2000);
}

}  // namespace
}  // namespace kvt
