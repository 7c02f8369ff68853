#include <KVTFoundation/Timer/KVTTimer.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>
#include <KVTPlatform/Services/Dispatch/Synchronized.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <random>
#include <thread>

#include "Platform/Services/Dispatch/DispatchTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

constexpr std::uint64_t kSecond = NSEC_PER_SEC;

/// A target that counts what it is sent.
class Owner : public NSObject {
 public:
  void tick(const Ref<KVTTimer>& sender) {
    ++ticks;
    last = sender;
  }
  void tock() { ticks += 100; }
  int ticks = 0;
  Weak<KVTTimer> last;
  Ref<KVTTimer> timer;

 private:
  static void kvtDescribe(ClassBuilder<Owner>& c) { c.method<&Owner::tick>("tick:").method<&Owner::tock>("tock"); }
  KVT_CLASS(Owner)
};

class SpecialTimer : public KVTTimer {
  KVT_CLASS(SpecialTimer)
};

/// Time stands still but for `pass`.
class KVTTimerThreadTest : public ::testing::Test {
 protected:
  /// A timer on the test's queue that writes down the seconds at which it fires.
  Ref<KVTTimer> timer(NSTimeInterval interval, bool repeats = true) {
    const Ref<KVTTimer> made = KVTTimer::timerWithTimeInterval_repeats_block(interval, repeats, [this] { note(); });
    made->setQueue(queue_);
    made->setTolerance(0);
    return made;
  }
  void note() { journal_.add(std::to_string((clock_.now() - start_) / kSecond)); }
  /// Lets seconds pass one by one; what fires has fired in between.
  void pass(int seconds) {
    for (int i = 0; i < seconds; ++i) {
      clock_.advance(kSecond);
      flush(queue_);
    }
  }
  std::string fired() {
    flush(queue_);
    return journal_.text();
  }
  /// Runs what waits on the main queue, which is this thread's.
  static void drain() {
    while (dispatch_main_queue_drain(1000) != 0) {
    }
  }

  DispatchManualClock clock_;
  const std::uint64_t start_ = clock_.now();
  Journal journal_;
  dispatch_queue_t queue_ = dispatch_queue_create("firings", nullptr);
};

// ---- making ---------------------------------------------------------------------------------------------------------

TEST_F(KVTTimerThreadTest, ANewTimer) {
  const Ref<Owner> owner = make<Owner>();
  const Ref<KVTTimer> timer =
      KVTTimer::timerWithTimeInterval_target_selector_userInfo_repeats(2.5, owner, "tick:", NSString("mine"), true);
  EXPECT_FALSE(timer->isValid());
  EXPECT_FALSE(timer->isSuspend());
  EXPECT_FALSE(timer->isSuspended());
  EXPECT_FALSE(timer->atOnce());
  EXPECT_TRUE(timer->isRepeat());
  EXPECT_EQ(timer->tolerance(), 0.05);
  EXPECT_FALSE(timer->queue());
  EXPECT_EQ(timer->userInfo(), NSString("mine"));
  EXPECT_TRUE(isIdentical(timer->target(), owner));
  EXPECT_EQ(timer->selector(), SEL("tick:"));
  EXPECT_EQ(timer->timeInterval(), 2.5);
  EXPECT_FALSE(timer->block());
  EXPECT_FALSE(id(timer).valueForKey("timer"));
  const dispatch_queue_t own = id(timer).valueForKey("privateQueue").as<dispatch_queue_t>();
  char label[64];
  std::snprintf(label, sizeof label, "com.vultex.kvttimer.%p", static_cast<const void*>(timer.get()));
  EXPECT_STREQ(dispatch_queue_get_label(own), label);

  const Ref<KVTTimer> other = KVTTimer::timerWithTimeInterval_repeats_block(1, false, [] {});
  EXPECT_FALSE(other->target());
  EXPECT_FALSE(other->selector());
  EXPECT_FALSE(other->userInfo());
  EXPECT_TRUE(other->block());
  EXPECT_FALSE(other->isRepeat());
}

TEST_F(KVTTimerThreadTest, DoesNothingUntilItIsScheduled) {
  const Ref<KVTTimer> made = timer(1);
  pass(3);
  EXPECT_EQ(fired(), "");
  made->schedule();
  EXPECT_TRUE(made->isValid());
  pass(3);
  EXPECT_EQ(fired(), "4 5 6");
}

TEST_F(KVTTimerThreadTest, ScheduledTimersFireOnTheMainQueue) {
  const Ref<Owner> owner = make<Owner>();
  int blocks = 0;
  const Ref<KVTTimer> one =
      KVTTimer::scheduledWithTimeInterval_target_selector_userInfo_repeats(1, owner, "tick:", nullptr, true);
  const Ref<KVTTimer> two = KVTTimer::scheduledWithTimeInterval_repeats_block(1, false, [&] {
    EXPECT_TRUE(NSThread::isMainThread());
    ++blocks;
  });
  EXPECT_TRUE(one->isValid() && two->isValid());
  EXPECT_TRUE(isIdentical(one->queue(), dispatch_get_main_queue()));
  for (int i = 0; i < 3; ++i) {
    clock_.advance(2 * kSecond);
    drain();
  }
  // Private queues come to the main queue by way of the pool or at once; nothing more is due.
  EXPECT_EQ(owner->ticks, 3);
  EXPECT_EQ(blocks, 1);
  EXPECT_TRUE(isIdentical(owner->last.lock(), one)) << "the argument is the timer itself";
  one->invalidate();
}

// ---- schedule, suspend, invalidate ----------------------------------------------------------------------------------

TEST_F(KVTTimerThreadTest, ScheduleOnARunningTimerChangesNothing) {
  const Ref<KVTTimer> made = timer(3);
  made->setAtOnce(true);
  made->schedule();
  EXPECT_EQ(fired(), "0");
  const id source = id(made).valueForKey("timer");
  pass(2);
  made->schedule();
  EXPECT_TRUE(isIdentical(id(made).valueForKey("timer"), source));
  pass(4);
  EXPECT_EQ(fired(), "0 3 6") << "neither restarted nor fired at once again";
}

TEST_F(KVTTimerThreadTest, ScheduleMakesASuspendedTimerGoOn) {
  const Ref<KVTTimer> made = timer(2);
  made->setAtOnce(true);
  made->schedule();
  EXPECT_EQ(fired(), "0");
  const id source = id(made).valueForKey("timer");
  pass(2);
  made->suspend();
  EXPECT_TRUE(made->isValid() && made->isSuspend() && made->isSuspended());
  pass(5);
  EXPECT_EQ(fired(), "0 2");
  made->schedule();
  EXPECT_FALSE(made->isSuspended());
  EXPECT_TRUE(isIdentical(id(made).valueForKey("timer"), source)) << "without a new source";
  EXPECT_EQ(fired(), "0 2 7") << "what passed makes one firing; none at once";
  pass(3);
  EXPECT_EQ(fired(), "0 2 7 8 10");
}

TEST_F(KVTTimerThreadTest, AtOnce) {
  const Ref<KVTTimer> made = timer(2);
  made->setAtOnce(true);
  EXPECT_EQ(fired(), "");
  made->schedule();
  EXPECT_EQ(fired(), "0");
  pass(4);
  EXPECT_EQ(fired(), "0 2 4");
  const Ref<KVTTimer> once = timer(2, false);
  once->setAtOnce(true);
  made->invalidate();
  once->schedule();
  EXPECT_EQ(fired(), "0 2 4 4");
  EXPECT_FALSE(once->isValid()) << "that was its firing";
  pass(4);
  EXPECT_EQ(fired(), "0 2 4 4");
}

TEST_F(KVTTimerThreadTest, TheFiringAtOnceComesOnlyWhileTheTimerRuns) {
  for (void (KVTTimer::*end)() : {&KVTTimer::suspend, &KVTTimer::invalidate}) {
    const Ref<KVTTimer> made = timer(2);
    made->setAtOnce(true);
    dispatch_suspend(queue_);
    made->schedule();
    ((*made).*end)();
    dispatch_resume(queue_);
    flush(id(made).valueForKey("privateQueue").as<dispatch_queue_t>());
    EXPECT_EQ(fired(), "");
  }
}

TEST_F(KVTTimerThreadTest, ATimerThatDoesNotRepeat) {
  const Ref<KVTTimer> made = timer(2, false);
  made->schedule();
  pass(1);
  EXPECT_TRUE(made->isValid());
  pass(5);
  EXPECT_EQ(fired(), "2");
  EXPECT_FALSE(made->isValid());
  made->fire();
  EXPECT_EQ(fired(), "2");
  made->schedule();
  pass(5);
  EXPECT_EQ(fired(), "2 8") << "scheduled again";
}

TEST_F(KVTTimerThreadTest, Fire) {
  const Ref<KVTTimer> made = timer(5);
  made->fire();
  EXPECT_EQ(fired(), "") << "not valid yet";
  made->schedule();
  made->fire();
  EXPECT_EQ(journal_.text(), "0") << "here and now";
  made->suspend();
  made->fire();
  EXPECT_EQ(journal_.text(), "0 0") << "suspended or not";
  made->setRepeat(false);
  made->fire();
  EXPECT_FALSE(made->isValid());
  EXPECT_FALSE(made->isSuspended());
  made->fire();
  EXPECT_EQ(fired(), "0 0 0");
}

TEST_F(KVTTimerThreadTest, WhatDoesNothing) {
  const Ref<KVTTimer> made = timer(1);
  made->suspend();
  EXPECT_FALSE(made->isSuspended()) << "never scheduled";
  made->invalidate();
  made->schedule();
  made->suspend();
  made->suspend();
  made->schedule();
  pass(1);
  EXPECT_EQ(fired(), "1") << "suspended once, whoever says it how often";
  made->invalidate();
  made->invalidate();
  made->suspend();
  EXPECT_FALSE(made->isSuspended());
}

TEST_F(KVTTimerThreadTest, InvalidateOnASuspendedTimer) {
  const Ref<KVTTimer> made = timer(1);
  made->schedule();
  const dispatch_source_t source = id(made).valueForKey("timer").as<dispatch_source_t>();
  made->suspend();
  pass(2);
  made->invalidate();
  EXPECT_FALSE(made->isValid());
  EXPECT_FALSE(made->isSuspended());
  EXPECT_FALSE(id(made).valueForKey("timer"));
  EXPECT_NE(dispatch_source_testcancel(source), 0);
  EXPECT_EQ(raisedName([&] {
              dispatch_resume(source);
              return 0;
            }),
            "NSInternalInconsistencyException")
      << "it has been resumed";
  pass(2);
  EXPECT_EQ(fired(), "");
  made->schedule();
  pass(2);
  EXPECT_EQ(fired(), "5 6") << "a new source";
}

TEST_F(KVTTimerThreadTest, ATimerThatItsOwnFiringChanges) {
  Ref<KVTTimer> made;
  int count = 0;
  made = KVTTimer::timerWithTimeInterval_repeats_block(1, true, [&] {
    note();
    if (++count == 2) made->suspend();
    if (count == 4) made->invalidate();
  });
  made->setQueue(queue_);
  made->setTolerance(0);
  made->schedule();
  pass(4);
  EXPECT_EQ(fired(), "1 2");
  made->schedule();
  EXPECT_EQ(fired(), "1 2 4");
  pass(4);
  EXPECT_EQ(fired(), "1 2 4 5");
  EXPECT_FALSE(made->isValid());
}

// ---- settings -------------------------------------------------------------------------------------------------------

TEST_F(KVTTimerThreadTest, SettingsOfARunningTimerBeginItsIntervalAnew) {
  const struct {
    const char* what;
    void (*change)(const Ref<KVTTimer>&, const dispatch_queue_t&);
    const char* expected;
  } rows[] = {
      {"tolerance", [](const Ref<KVTTimer>& t, const dispatch_queue_t&) { t->setTolerance(0); }, "5 8"},
      {"at once", [](const Ref<KVTTimer>& t, const dispatch_queue_t&) { t->setAtOnce(true); }, "5 8"},
      {"queue", [](const Ref<KVTTimer>& t, const dispatch_queue_t& queue) { t->setQueue(queue); }, "5 8"},
      {"interval, from the next start", [](const Ref<KVTTimer>& t, const dispatch_queue_t&) { t->setTimeInterval(1); },
       "3 6"},
      {"interval and a start",
       [](const Ref<KVTTimer>& t, const dispatch_queue_t&) {
         t->setTimeInterval(1);
         t->setTolerance(0);
       },
       "3 4 5 6 7 8"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Journal journal;
    const std::uint64_t start = clock_.now();
    const Ref<KVTTimer> made = KVTTimer::timerWithTimeInterval_repeats_block(
        3, true, [&] { journal.add(std::to_string((clock_.now() - start) / kSecond)); });
    made->setQueue(queue_);
    made->setTolerance(0);
    made->schedule();
    pass(2);
    row.change(made, queue_);
    pass(6);
    made->invalidate();
    flush(queue_);
    EXPECT_EQ(journal.text(), row.expected);
  }
}

TEST_F(KVTTimerThreadTest, TheQueueIsWhereItFires) {
  const dispatch_queue_t concurrent = dispatch_queue_create("concurrent", DISPATCH_QUEUE_CONCURRENT);
  for (const dispatch_queue_t& queue : {queue_, concurrent}) {
    int count = 0;
    const Ref<KVTTimer> made = KVTTimer::timerWithTimeInterval_repeats_block(1, true, [&] {
      dispatch_assert_queue(queue);
      ++count;
    });
    made->setQueue(queue);
    made->schedule();
    clock_.advance(1'100'000'000);
    flush(id(made).valueForKey("privateQueue").as<dispatch_queue_t>());
    made->invalidate();
    EXPECT_EQ(count, 1);
  }
  // nil means the main queue.
  int onMain = 0;
  const Ref<KVTTimer> made = KVTTimer::timerWithTimeInterval_repeats_block(1, false, [&] { ++onMain; });
  made->setQueue(nullptr);
  EXPECT_TRUE(isIdentical(made->queue(), dispatch_get_main_queue()));
  made->schedule();
  clock_.advance(2 * kSecond);
  EXPECT_EQ(onMain, 0);
  drain();
  EXPECT_EQ(onMain, 1);
}

TEST_F(KVTTimerThreadTest, ToleranceIsTheLeeway) {
  const Ref<KVTTimer> made = timer(10);
  made->setTolerance(5);
  made->schedule();
  const Ref<KVTTimer> other = timer(12);
  other->schedule();
  const std::uint64_t before = dispatch_statistics().timerWakes;
  clock_.advance(12 * kSecond);
  EXPECT_EQ(fired(), "12 12");
  EXPECT_EQ(dispatch_statistics().timerWakes - before, 1u) << "one wake serves both";
  EXPECT_EQ(made->tolerance(), 5);
}

TEST_F(KVTTimerThreadTest, IntervalsOfAllKinds) {
  for (const NSTimeInterval never : {1e30, 1e300, HUGE_VAL, 9.3e9}) {
    const Ref<KVTTimer> made = timer(never);
    made->schedule();
    clock_.advance(1000 * kSecond);
    EXPECT_EQ(fired(), "") << never;
  }
  for (const NSTimeInterval now : {0.0, -1.0, -HUGE_VAL, std::nan("")}) {
    // Fires as often as it can: it invalidates itself.
    std::atomic<int> count{0};
    Ref<KVTTimer> made;
    made = KVTTimer::timerWithTimeInterval_repeats_block(now, false, [&] { ++count; });
    made->setQueue(queue_);
    made->setTolerance(now);
    made->schedule();
    clock_.advance(kSecond);
    flush(queue_);
    EXPECT_EQ(count, 1) << now;
    EXPECT_FALSE(made->isValid());
  }
  const Ref<KVTTimer> fraction = timer(0.25);
  fraction->schedule();
  for (int i = 0; i < 4; ++i) {
    clock_.advance(kSecond / 4);
    flush(queue_);
  }
  EXPECT_EQ(fired(), "4004 4004 4004 4005") << "seconds since the start";
}

// ---- who keeps whom -------------------------------------------------------------------------------------------------

TEST_F(KVTTimerThreadTest, BlockFirstThenTarget) {
  const Ref<Owner> owner = make<Owner>();
  std::string order;
  const Ref<KVTTimer> made = make<KVTTimer>()->initWithTimeInterval_target_selector_userInfo_repeats_block(
      1, owner, "tick:", nullptr, true, [&] { order += "block " + std::to_string(owner->ticks) + " "; });
  made->setQueue(queue_);
  made->schedule();
  made->fire();
  made->fire();
  EXPECT_EQ(order, "block 0 block 1 ");
  EXPECT_EQ(owner->ticks, 2);
  made->setSelector(nullptr);
  made->fire();
  EXPECT_EQ(owner->ticks, 2);
  made->setSelector("tock");
  made->fire();
  EXPECT_EQ(owner->ticks, 102) << "a method without parameters";
  made->setSelector("tick:");
  made->setTarget(nullptr);
  made->fire();
  EXPECT_EQ(order, "block 0 block 1 block 2 block 2 block 102 ");
  made->setBlock(nullptr);
  made->fire();
  EXPECT_TRUE(made->isValid());
  made->invalidate();
}

TEST_F(KVTTimerThreadTest, TheTargetIsNotKept) {
  Ref<Owner> owner = make<Owner>();
  const Weak<Owner> watch = owner;
  const Ref<KVTTimer> made =
      KVTTimer::timerWithTimeInterval_target_selector_userInfo_repeats(1, owner, "tick:", nullptr, true);
  made->setQueue(queue_);
  made->schedule();
  owner = nullptr;
  EXPECT_FALSE(watch.lock());
  EXPECT_FALSE(made->target());
  pass(3);
  EXPECT_TRUE(made->isValid()) << "it goes on and finds nobody";
}

TEST_F(KVTTimerThreadTest, AnOwnerThatGoesStopsItsTimer) {
  bool blockIsGone = false;
  Ref<Owner> owner = make<Owner>();
  owner->timer = KVTTimer::timerWithTimeInterval_target_selector_userInfo_repeats(1, owner, "tick:", nullptr, true);
  owner->timer->setBlock([this, token = atEnd([&] { blockIsGone = true; })] { note(); });
  owner->timer->setQueue(queue_);
  owner->timer->setTolerance(0);
  owner->timer->schedule();
  const Weak<KVTTimer> timer = owner->timer;
  const dispatch_source_t source = id(owner->timer).valueForKey("timer").as<dispatch_source_t>();
  pass(2);
  owner = nullptr;
  EXPECT_FALSE(timer.lock());
  EXPECT_NE(dispatch_source_testcancel(source), 0);
  pass(3);
  EXPECT_EQ(fired(), "1 2");
  EXPECT_TRUE(blockIsGone);
}

TEST_F(KVTTimerThreadTest, ASuspendedTimerMayBeDropped) {
  Ref<KVTTimer> made = timer(1);
  made->schedule();
  made->suspend();
  const Weak<KVTTimer> watch = made;
  made = nullptr;
  EXPECT_FALSE(watch.lock());
  pass(2);
  EXPECT_EQ(fired(), "");
}

TEST_F(KVTTimerThreadTest, TheLastReferenceMayGoInAFiring) {
  auto made = std::make_shared<Ref<KVTTimer>>(timer(1));
  const Weak<KVTTimer> watch = *made;
  (*made)->setBlock([made, this] {
    note();
    *made = nullptr;
  });
  (*made)->schedule();
  pass(3);
  EXPECT_EQ(fired(), "1");
  EXPECT_FALSE(watch.lock());
}

// ---- texts ----------------------------------------------------------------------------------------------------------

TEST_F(KVTTimerThreadTest, Descriptions) {
  const Ref<Owner> owner = make<Owner>();
  const auto start = [](const Ref<KVTTimer>& timer) {
    return NSString::stringWithFormat("<KVTTimer :%p>", static_cast<const void*>(timer.get())).str();
  };
  const Ref<KVTTimer> bare =
      KVTTimer::timerWithTimeInterval_target_selector_userInfo_repeats(2, nullptr, nullptr, NSString("x"), true);
  EXPECT_EQ(bare->description().str(), start(bare) + " timeInterval = 2.000000, atOnce = NO state = invalid");

  const dispatch_block_t block = [owner] {};
  const Ref<KVTTimer> full = make<KVTTimer>()->initWithTimeInterval_target_selector_userInfo_repeats_block(
      0.125, owner, "tick:", nullptr, true, block);
  full->setQueue(queue_);
  full->setAtOnce(true);
  const std::string middle =
      start(full) + " timeInterval = 0.125000, atOnce = YES target = " + id(owner).description().str() +
      ", selector = tick:, block = " + id(block).description().str() + ", queue = " + queue_.description().str() + ",";
  EXPECT_EQ(full->description().str(), middle + " state = invalid");
  full->schedule();
  EXPECT_EQ(full->description().str(), middle + " state = valid");
  full->suspend();
  EXPECT_EQ(id(full).description().str(), middle + " state = supended");
  EXPECT_EQ(NSString::stringWithFormat("%@", full).str(), middle + " state = supended");
  full->invalidate();
  EXPECT_EQ(full->description().str(), middle + " state = invalid");
}

// ---- the run time ---------------------------------------------------------------------------------------------------

TEST_F(KVTTimerThreadTest, FieldsInTheOrderOfTheirDeclaration) {
  std::string names;
  for (const auto& property : class_copyPropertyList(classOf<KVTTimer>())) {
    names += std::string(property_getName(property)) + "=" + property_getAttributes(property) + "\n";
  }
  EXPECT_EQ(names,
            "atOnce=TB,N,VatOnce\n"
            "suspend=TB,N,GisSuspended,Vsuspend\n"
            "repeat=TB,N,GisRepeat,Vrepeat\n"
            "valid=TB,N,GisValid,Vvalid\n"
            "tolerance=Td,N,Vtolerance\n"
            "queue=T@\"OS_dispatch_queue\",&,N,Vqueue\n"
            "userInfo=T@,&,N,VuserInfo\n"
            "timer=T@\"OS_dispatch_source\",&,N,Vtimer\n"
            "target=T@,W,N,Vtarget\n"
            "selector=T:,N,Vselector\n"
            "timeInterval=Td,N,VtimeInterval\n"
            "block=T@?,C,N,Vblock\n"
            "privateQueue=T@\"OS_dispatch_queue\",&,N,VprivateQueue\n"
            "eventHandler=T@?,C,N,VeventHandler\n");
}

TEST_F(KVTTimerThreadTest, AnswersToMessages) {
  const Ref<Owner> owner = make<Owner>();
  const id timer = objc_msgSend<id>(classOf<KVTTimer>(), "timerWithTimeInterval:target:selector:userInfo:repeats:", 1.0,
                                    owner, SEL("tick:"), NSNumber(7), true);
  ASSERT_TRUE(timer.is<KVTTimer>());
  objc_msgSend(timer, "setQueue:", queue_);
  objc_msgSend(timer, "schedule");
  EXPECT_TRUE(objc_msgSend<bool>(timer, "isValid"));
  objc_msgSend(timer, "fire");
  EXPECT_EQ(owner->ticks, 1);
  objc_msgSend(timer, "suspend");
  EXPECT_TRUE(objc_msgSend<bool>(timer, "isSuspend"));
  EXPECT_TRUE(objc_msgSend<bool>(timer, "isSuspended"));
  objc_msgSend(timer, "invalidate");
  EXPECT_FALSE(objc_msgSend<bool>(timer, "isValid"));
  timer.setValue_forKey(NSNumber(0.5), "tolerance");
  EXPECT_EQ(timer.valueForKey("tolerance"), NSNumber(0.5));
  EXPECT_EQ(timer.valueForKey("userInfo"), NSNumber(7));
  for (const char* selector : {"initWithTimeInterval:target:selector:userInfo:repeats:block:", "atOnce",
                               "setAtOnce:", "isRepeat", "setRepeat:", "setTolerance:", "queue", "description",
                               "setUserInfo:", "timer", "setTimer:", "setTarget:", "setSelector:", "timeInterval",
                               "setTimeInterval:", "block", "setBlock:", "privateQueue", "eventHandler"}) {
    EXPECT_TRUE(timer.respondsToSelector(selector)) << selector;
  }
  for (const char* selector : {"timerWithTimeInterval:repeats:block:", "scheduledWithTimeInterval:repeats:block:",
                               "scheduledWithTimeInterval:target:selector:userInfo:repeats:"}) {
    EXPECT_TRUE(id(classOf<KVTTimer>()).respondsToSelector(selector)) << selector;
  }
}

TEST_F(KVTTimerThreadTest, TheLockIsTheTimersOwnMonitor) {
  const Ref<KVTTimer> made = timer(1);
  made->schedule();
  std::atomic<bool> done{false};
  {
    const synchronized lock(made);
    dispatch_async(dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0), [&] {
      made->invalidate();
      done = true;
    });
    // It waits for us, who may take the lock again.
    while (dispatch_statistics().blockedWorkers == 0 && !done) std::this_thread::yield();
    made->suspend();
    EXPECT_TRUE(made->isSuspend());
    EXPECT_TRUE(made->isValid());
    EXPECT_FALSE(done);
  }
  while (!done) std::this_thread::yield();
  EXPECT_FALSE(made->isValid());
}

// ---- many threads ---------------------------------------------------------------------------------------------------

/// What a timer's own queue knows of it.
struct Life {
  bool over = false;  // on the queue alone
  Ref<KVTTimer> timer;
};

TEST(KVTTimerConcurrentTest, TenThousandTimers) {
  constexpr int kThreads = 8, kTimers = 10'000;
  std::atomic<int> fired{0}, late{0}, blocks{0};
  const dispatch_group_t group = dispatch_group_create();
  std::vector<dispatch_queue_t> all;
  for (int i = 0; i < 2 * kThreads; ++i) all.push_back(dispatch_queue_create("firings", nullptr));
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::minstd_rand random(static_cast<unsigned>(t + 1));
      const dispatch_queue_t* queues = &all[static_cast<std::size_t>(t) * 2];
      std::vector<Weak<KVTTimer>> shared;
      for (int i = 0; i < kTimers / kThreads; ++i) {
        const dispatch_queue_t& queue = queues[random() % 2];
        const auto life = std::make_shared<Life>();
        ++blocks;
        const Ref<KVTTimer> timer = KVTTimer::timerWithTimeInterval_repeats_block(
            static_cast<double>(random() % 1000) / 1e6, random() % 4 != 0,
            [watched = std::weak_ptr<Life>(life), &fired, &late, token = atEnd([&blocks] { --blocks; })] {
              ++fired;
              const auto its = watched.lock();
              if (its && its->over) ++late;
            });
        timer->setQueue(queue);
        timer->setTolerance(static_cast<double>(random() % 100) / 1e6);
        timer->setAtOnce(random() % 2 == 0);
        timer->schedule();
        for (int step = 0; step < 6; ++step) {
          switch (random() % 7) {
            case 0: timer->suspend(); break;
            case 1: timer->schedule(); break;
            case 2: timer->setTolerance(1e-5); break;
            case 3: static_cast<void>(timer->description()); break;
            case 4: timer->setBlock(timer->block()); break;
            case 5:
              if (!shared.empty()) {
                // Somebody else's, which may be going at this moment.
                const Ref<KVTTimer> other = shared[random() % shared.size()].lock();
                if (other) other->suspend();
                if (other) other->schedule();
              }
              break;
            default: timer->setUserInfo(NSNumber(step)); break;
          }
        }
        if (i % 16 == 0) shared.push_back(timer);
        if (random() % 3 == 0) continue;  // dropped as it is
        life->timer = timer;
        dispatch_group_async(group, queue, [life] {
          life->timer->invalidate();
          life->over = true;
          // It must not be started again by those who hold it weakly: it is theirs no more.
          life->timer->setBlock(nullptr);
          life->timer = nullptr;
        });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
  // A firing that was at work then is over now.
  for (const dispatch_queue_t& queue : all) dispatch_sync(queue, [] {});
  EXPECT_EQ(blocks, 0) << "a timer has leaked";
  EXPECT_EQ(late, 0) << "fired after invalidate had returned on its queue";
  EXPECT_GT(fired, kTimers / 10);
}

}  // namespace
}  // namespace kvt
