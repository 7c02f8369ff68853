#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>

#include "DispatchTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

dispatch_queue_t serial(const char* label = "serial") { return dispatch_queue_create(label, DISPATCH_QUEUE_SERIAL); }
dispatch_queue_t concurrent(const char* label = "concurrent") {
  return dispatch_queue_create(label, DISPATCH_QUEUE_CONCURRENT);
}
dispatch_queue_t global() { return dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0); }

// ---- names and descriptions -----------------------------------------------------------------------------------------

TEST(DispatchQueueTest, GlobalQueuesByNumber) {
  const struct {
    std::intptr_t identifier;
    std::uintptr_t flags;
    const char* label;  // "": nil
  } rows[] = {
      {DISPATCH_QUEUE_PRIORITY_HIGH, 0, "com.apple.root.user-initiated-qos"},
      {DISPATCH_QUEUE_PRIORITY_DEFAULT, 0, "com.apple.root.default-qos"},
      {DISPATCH_QUEUE_PRIORITY_LOW, 0, "com.apple.root.utility-qos"},
      {DISPATCH_QUEUE_PRIORITY_BACKGROUND, 0, "com.apple.root.background-qos"},
      {QOS_CLASS_USER_INTERACTIVE, 0, "com.apple.root.user-interactive-qos"},
      {QOS_CLASS_USER_INITIATED, 0, "com.apple.root.user-initiated-qos"},
      {QOS_CLASS_DEFAULT, 0, "com.apple.root.default-qos"},
      {QOS_CLASS_UTILITY, 0, "com.apple.root.utility-qos"},
      {QOS_CLASS_BACKGROUND, 0, "com.apple.root.background-qos"},
      {1, 0, ""},
      {-1, 0, ""},
      {QOS_CLASS_DEFAULT, 2, ""},
  };
  for (const auto& row : rows) {
    const dispatch_queue_t queue = dispatch_get_global_queue(row.identifier, row.flags);
    EXPECT_EQ(static_cast<bool>(queue), *row.label != '\0') << row.identifier;
    if (queue) {
      EXPECT_STREQ(dispatch_queue_get_label(queue), row.label);
    }
  }
  EXPECT_TRUE(isIdentical(global(), dispatch_get_global_queue(QOS_CLASS_DEFAULT, 0)));
}

TEST(DispatchQueueTest, LabelsAndDescriptions) {
  const dispatch_queue_t queue = dispatch_queue_create("com.example.a", nullptr);
  EXPECT_STREQ(dispatch_queue_get_label(queue), "com.example.a");
  EXPECT_STREQ(dispatch_queue_get_label(dispatch_queue_create(nullptr, nullptr)), "");
  EXPECT_STREQ(dispatch_queue_get_label(dispatch_get_main_queue()), "com.apple.main-thread");
  EXPECT_EQ(queue.description(), NSString::stringWithFormat("<OS_dispatch_queue_serial: com.example.a[%p]>",
                                                            static_cast<const void*>(queue.object())));
  EXPECT_TRUE(concurrent().description().hasPrefix("<OS_dispatch_queue_concurrent: concurrent["));
  EXPECT_TRUE(global().description().hasPrefix("<OS_dispatch_queue_global: com.apple.root.default-qos["));
  EXPECT_TRUE(dispatch_get_main_queue().description().hasPrefix("<OS_dispatch_queue_main: com.apple.main-thread["));
  EXPECT_TRUE(dispatch_group_create().description().hasPrefix("<OS_dispatch_group: 0x"));
  EXPECT_TRUE(id(queue).is<OS_dispatch_queue>());
  EXPECT_TRUE(id(queue).is<OS_dispatch_object>());
  EXPECT_FALSE(id(queue).is<OS_dispatch_group>());
  EXPECT_FALSE(id(NSString("x")).is<OS_dispatch_object>());
}

TEST(DispatchQueueThreadTest, TheCurrentLabel) {
  EXPECT_STREQ(dispatch_get_current_queue_label(), "com.apple.main-thread");
  std::string elsewhere = "?";
  std::thread([&] { elsewhere = dispatch_get_current_queue_label(); }).join();
  EXPECT_EQ(elsewhere, "");

  const dispatch_queue_t target = serial("target");
  const dispatch_queue_t queue = dispatch_queue_create_with_target("queue", nullptr, target);
  std::string inQueue, inTarget, inGlobal, inNested;
  dispatch_async(queue, [&] {
    inQueue = dispatch_queue_get_label(nullptr);
    dispatch_sync(concurrent("inner"), [&] { inNested = dispatch_get_current_queue_label(); });
    inQueue += dispatch_get_current_queue_label();
  });
  dispatch_sync(queue, [] {});
  dispatch_sync(target, [&] { inTarget = dispatch_get_current_queue_label(); });
  Gate gate;
  dispatch_async(global(), [&] {
    inGlobal = dispatch_get_current_queue_label();
    gate.open();
  });
  gate.wait();
  EXPECT_EQ(inQueue, "queuequeue");
  EXPECT_EQ(inNested, "inner");
  EXPECT_EQ(inTarget, "target");
  EXPECT_EQ(inGlobal, "com.apple.root.default-qos");
}

// ---- order ----------------------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, ASerialQueueKeepsOrderAndNeverOverlaps) {
  constexpr int kThreads = 8, kEach = 2000;
  const dispatch_queue_t queue = serial();
  std::vector<std::pair<int, int>> ran;  // without a lock: the queue is one
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) dispatch_async(queue, [&ran, t, i] { ran.emplace_back(t, i); });
    });
  }
  for (std::thread& thread : threads) thread.join();
  flush(queue);
  ASSERT_EQ(ran.size(), std::size_t{kThreads * kEach});
  std::array<int, kThreads> next{};
  for (const auto& [t, i] : ran) EXPECT_EQ(i, next[static_cast<std::size_t>(t)]++);
}

TEST(DispatchQueueThreadTest, AConcurrentQueueOverlaps) {
  // Each piece waits until all have started.
  constexpr int kPieces = 40;
  const dispatch_queue_t queue = concurrent();
  const dispatch_semaphore_t all = dispatch_semaphore_create(0);
  std::atomic<int> started{0};
  const dispatch_group_t group = dispatch_group_create();
  for (int i = 0; i < kPieces; ++i) {
    dispatch_group_async(group, queue, [&] {
      if (++started == kPieces) {
        for (int j = 0; j < kPieces; ++j) dispatch_semaphore_signal(all);
      }
      dispatch_semaphore_wait(all, DISPATCH_TIME_FOREVER);
    });
  }
  dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
  EXPECT_EQ(started, kPieces);
}

TEST(DispatchQueueThreadTest, BarriersWaitForWhatWasBeforeAndHoldBackWhatComes) {
  const dispatch_queue_t queue = concurrent();
  std::atomic<int> running{0}, ended{0};
  std::vector<std::string> wrong;
  std::mutex mutex;
  const auto expect = [&](bool condition, const char* what) {
    std::lock_guard lock(mutex);
    if (!condition) wrong.emplace_back(what);
  };
  constexpr int kRounds = 200, kReaders = 7;
  for (int round = 0; round < kRounds; ++round) {
    for (int i = 0; i < kReaders; ++i) {
      dispatch_async(queue, [&, round] {
        ++running;
        expect(ended >= round * kReaders, "a reader came before a barrier before it");
        expect(ended < (round + 1) * kReaders, "a reader came after a barrier behind it");
        --running;
        ++ended;
      });
    }
    const auto barrier = [&, round] {
      expect(running == 0, "a barrier was not alone");
      expect(ended == (round + 1) * kReaders, "a barrier did not wait");
    };
    if (round % 3 == 0)
      dispatch_barrier_sync(queue, barrier);
    else
      dispatch_barrier_async(queue, barrier);
  }
  flush(queue);
  EXPECT_EQ(ended, kRounds * kReaders);
  EXPECT_EQ(wrong, std::vector<std::string>());
}

TEST(DispatchQueueThreadTest, BehindABarrierEverythingOverlapsAgain) {
  // What waits behind the barrier can only end together.
  constexpr int kPieces = 12;
  for (const bool synchronous : {false, true}) {
    const dispatch_queue_t queue = concurrent();
    std::atomic<bool> mayEnd{false}, inBarrier{false};
    const auto barrier = [&] {
      inBarrier = true;
      while (!mayEnd) std::this_thread::yield();
    };
    std::thread thread;
    if (synchronous)
      thread = std::thread([&] { dispatch_barrier_sync(queue, barrier); });
    else
      dispatch_barrier_async(queue, barrier);
    while (!inBarrier) std::this_thread::yield();
    std::atomic<int> started{0};
    const dispatch_semaphore_t all = dispatch_semaphore_create(0);
    const auto piece = [&] {
      if (++started == kPieces) {
        for (int i = 0; i < kPieces; ++i) dispatch_semaphore_signal(all);
      }
      dispatch_semaphore_wait(all, DISPATCH_TIME_FOREVER);
    };
    // The first of them is waited for: its thread gets the barrier's turn from hand to hand.
    const dispatch_group_t group = dispatch_group_create();
    dispatch_group_async(group, global(), [&] { dispatch_sync(queue, piece); });
    while (dispatch_statistics().blockedWorkers == 0) std::this_thread::yield();
    for (int i = 1; i < kPieces; ++i) dispatch_group_async(group, queue, piece);
    mayEnd = true;
    dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
    EXPECT_EQ(started, kPieces);
    if (thread.joinable()) thread.join();
    flush(queue);
  }
}

TEST(DispatchQueueThreadTest, QueuesOnOneSerialTargetNeverOverlap) {
  const dispatch_queue_t target = serial("target");
  std::vector<dispatch_queue_t> queues;
  for (int i = 0; i < 6; ++i) {
    queues.push_back(dispatch_queue_create_with_target(
        "below", i % 2 == 0 ? DISPATCH_QUEUE_SERIAL : DISPATCH_QUEUE_CONCURRENT, target));
  }
  int count = 0;  // without a lock: the target is one
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 1200; ++i) {
        const dispatch_queue_t& queue = queues[static_cast<std::size_t>(i + t) % queues.size()];
        if (i % 5 == 0)
          dispatch_sync(queue, [&] { ++count; });
        else if (i % 7 == 0)
          dispatch_barrier_async(queue, [&] { ++count; });
        else
          dispatch_async(queue, [&] { ++count; });
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const dispatch_queue_t& queue : queues) flush(queue);
  flush(target);
  EXPECT_EQ(count, 4 * 1200);
}

// ---- synchronous work -----------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, SynchronousWorkRunsOnTheCallingThread) {
  const dispatch_queue_t target = serial("target");
  const dispatch_queue_t queues[] = {serial(), concurrent(), global(),
                                     dispatch_queue_create_with_target("q", nullptr, target),
                                     dispatch_queue_create_with_target("q", DISPATCH_QUEUE_CONCURRENT, target)};
  for (const dispatch_queue_t& queue : queues) {
    std::thread::id free, busy, alone;
    dispatch_sync(queue, [&] { free = std::this_thread::get_id(); });
    Gate gate;
    const dispatch_group_t busyWork = dispatch_group_create();
    dispatch_group_async(busyWork, queue, [&] { gate.wait(); });
    std::thread opener([&] { gate.open(); });
    dispatch_sync(queue, [&] { busy = std::this_thread::get_id(); });
    dispatch_barrier_sync(queue, [&] { alone = std::this_thread::get_id(); });
    opener.join();
    EXPECT_EQ(free, std::this_thread::get_id()) << queue;
    EXPECT_EQ(busy, std::this_thread::get_id()) << queue;
    EXPECT_EQ(alone, std::this_thread::get_id()) << queue;
    dispatch_group_wait(busyWork, DISPATCH_TIME_FOREVER);
  }
}

TEST(DispatchQueueThreadTest, ManyThreadsTakeTurns) {
  const dispatch_queue_t target = serial("target");
  const dispatch_queue_t queues[] = {serial(), concurrent(), dispatch_queue_create_with_target("q", nullptr, target)};
  for (const dispatch_queue_t& queue : queues) {
    int count = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < 1500; ++i) {
          dispatch_barrier_sync(queue, [&] { ++count; });
          if (i % 50 == 0) dispatch_barrier_async(queue, [&] { ++count; });
        }
      });
    }
    for (std::thread& thread : threads) thread.join();
    flush(queue);
    EXPECT_EQ(count, 6 * (1500 + 30)) << queue;
  }
}

TEST(DispatchQueueThreadTest, WhatWouldWaitForItselfRaises) {
  const dispatch_queue_t target = serial("target");
  const dispatch_queue_t below = dispatch_queue_create_with_target("below", nullptr, target);
  const dispatch_queue_t readers = concurrent("readers");
  const dispatch_queue_t underMain =
      dispatch_queue_create_with_target("under main", nullptr, dispatch_get_main_queue());
  const auto text = [](const std::string& label) {
    return "NSInternalInconsistencyException: dispatch_sync called on queue \"" + label +
           "\" already owned by current thread";
  };
  const struct {
    const char* what;
    dispatch_queue_t outer, inner;
    bool barrier;
    std::string expected;
  } rows[] = {
      {"a queue from its own work", target, target, false, text("target")},
      {"the target from below", below, target, false, text("target")},
      {"below from the target", target, below, false, text("target")},
      {"a concurrent queue from its own work", readers, readers, false, ""},
      {"a barrier from its own work", readers, readers, true, text("readers")},
      {"another queue", below, readers, true, ""},
      {"the main queue on the main thread", nullptr, dispatch_get_main_queue(), false, text("com.apple.main-thread")},
      {"below the main queue on the main thread", nullptr, underMain, false, text("com.apple.main-thread")},
  };
  for (const auto& row : rows) {
    std::string result = "did not run";
    const auto inner = [&] {
      result = raised([&] {
        if (row.barrier)
          dispatch_barrier_sync(row.inner, [] {});
        else
          dispatch_sync(row.inner, [] {});
        return 0;
      });
    };
    if (row.outer)
      dispatch_sync(row.outer, inner);
    else
      inner();
    EXPECT_EQ(result, row.expected) << row.what;
    if (row.outer) {
      result = "did not run";
      dispatch_async(row.outer, inner);
      flush(row.outer);
      EXPECT_EQ(result, row.expected) << row.what << ", on a worker";
    }
  }
}

TEST(DispatchQueueThreadTest, WorkOfAConcurrentQueueMayUseItAgain) {
  // Though a barrier waits for it, and though it is a barrier itself.
  const dispatch_queue_t queue = concurrent();
  Journal journal;
  Gate barrierWaits;
  dispatch_async(queue, [&] {
    barrierWaits.wait();
    dispatch_sync(queue, [&] { journal.add("nested"); });
  });
  dispatch_barrier_async(queue, [&] {
    journal.add("barrier");
    dispatch_sync(queue, [&] { journal.add("in"); });
    dispatch_apply(2, queue, [&](std::size_t) { journal.add("apply"); });
  });
  dispatch_async(queue, [&] { journal.add("after"); });
  barrierWaits.open();
  flush(queue);
  EXPECT_EQ(journal.text(), "nested barrier in apply apply after");
}

TEST(DispatchQueueThreadTest, ExceptionsLeaveSynchronousWork) {
  const dispatch_queue_t queue = serial();
  EXPECT_EQ(raised([&] {
              dispatch_sync(queue, [] { throw NSException("A", "b"); });
              return 0;
            }),
            "A: b");
  int after = 0;
  dispatch_sync(queue, [&] { after = 1; });
  EXPECT_EQ(after, 1) << "the queue is free again";

  // Where it ran on the main thread.
  std::string caught;
  std::atomic<bool> over{false};
  std::thread other([&] {
    caught = raised([] {
      dispatch_sync(dispatch_get_main_queue(), [] { throw NSException("C", "d"); });
      return 0;
    });
    over = true;
  });
  while (!over) dispatch_main_queue_drain(1);
  other.join();
  EXPECT_EQ(caught, "C: d");
}

// ---- suspending, targets --------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, NothingStartsWhileSuspended) {
  for (const dispatch_queue_t& queue : {serial(), concurrent()}) {
    Journal journal;
    Gate running, mayEnd;
    dispatch_async(queue, [&] {
      running.open();
      mayEnd.wait();
      journal.add("1");
    });
    running.wait();
    dispatch_suspend(queue);
    dispatch_suspend(queue);
    dispatch_barrier_async(queue, [&] { journal.add("2"); });
    dispatch_barrier_async(queue, [&] { journal.add("3"); });
    std::thread synchronous([&] { dispatch_sync(queue, [&] { journal.add("4"); }); });
    mayEnd.open();
    // Other work of the pool has its turn, this queue's has not.
    const dispatch_queue_t other = serial();
    for (int i = 0; i < 100; ++i) dispatch_sync(other, [] {});
    dispatch_resume(queue);
    for (int i = 0; i < 100; ++i) dispatch_sync(other, [] {});
    const std::string before = journal.text();
    EXPECT_TRUE(before.empty() || before == "1") << before;
    dispatch_resume(queue);
    synchronous.join();
    flush(queue);
    std::vector<std::string> events = journal.events();
    ASSERT_EQ(events.size(), 4u);
    EXPECT_EQ(events[0], "1");
    EXPECT_LT(std::find(events.begin(), events.end(), "2"), std::find(events.begin(), events.end(), "3"));
  }
}

TEST(DispatchQueueThreadTest, SuspendingFromItsOwnWorkHoldsTheNext) {
  const dispatch_queue_t queue = serial();
  Journal journal;
  dispatch_suspend(queue);
  Gate suspended;
  dispatch_async(queue, [&] {
    journal.add("1");
    dispatch_suspend(queue);
    suspended.open();
  });
  dispatch_async(queue, [&] { journal.add("2"); });
  dispatch_resume(queue);
  suspended.wait();
  journal.add("resume");
  dispatch_resume(queue);
  flush(queue);
  EXPECT_EQ(journal.text(), "1 resume 2");
}

TEST(DispatchQueueTest, ResumingTooOftenRaises) {
  const dispatch_queue_t queue = serial();
  const std::string expected = "NSInternalInconsistencyException: dispatch_resume: over-resume of an object";
  EXPECT_EQ(raised([&] { return dispatch_resume(queue), 0; }), expected);
  EXPECT_EQ(raised([&] { return dispatch_resume(global()), dispatch_suspend(global()), 0; }), "");
  EXPECT_EQ(raised([&] { return dispatch_activate(queue), 0; }), "") << "active already";
}

TEST(DispatchQueueThreadTest, AnInactiveQueueWaitsForItsActivation) {
  const dispatch_queue_t queue =
      dispatch_queue_create("inactive", dispatch_queue_attr_make_initially_inactive(DISPATCH_QUEUE_CONCURRENT));
  Journal journal;
  dispatch_async(queue, [&] { journal.add("work"); });
  flush(serial());
  journal.add("activate");
  dispatch_activate(queue);
  dispatch_activate(queue);
  flush(queue);
  EXPECT_EQ(journal.text(), "activate work");
}

TEST(DispatchQueueThreadTest, WorkGoesToTheTargetOfTheMoment) {
  for (const dispatch_queue_attr_t& attr : {DISPATCH_QUEUE_SERIAL, DISPATCH_QUEUE_CONCURRENT}) {
    const dispatch_queue_t queue = dispatch_queue_create("moves", attr);
    Journal journal;
    const auto work = [&](const char* name) {
      return [&journal, name] {
        const bool onMain = std::string(dispatch_get_current_queue_label()) == "moves" && NSThread::isMainThread();
        journal.add(std::string(name) + (onMain ? "@main" : "@worker"));
      };
    };
    // What waits behind work that changes the target goes to the new one.
    dispatch_suspend(queue);
    Gate changed;
    dispatch_barrier_async(queue, [&] {
      work("1")();
      dispatch_set_target_queue(queue, dispatch_get_main_queue());
      changed.open();
    });
    dispatch_barrier_async(queue, work("2"));
    dispatch_resume(queue);
    changed.wait();
    while (journal.events().size() < 2) dispatch_main_queue_drain(9);
    EXPECT_EQ(journal.text(), "1@worker 2@main");

    // A turn that waits on a target that runs nothing moves on when that does.
    const dispatch_queue_t target = serial("target");
    dispatch_suspend(target);
    dispatch_set_target_queue(queue, target);
    dispatch_async(queue, work("3"));
    dispatch_set_target_queue(queue, dispatch_get_main_queue());
    dispatch_resume(target);
    flush(target);
    EXPECT_EQ(journal.text(), "1@worker 2@main");
    EXPECT_EQ(dispatch_main_queue_drain(9), 1u);
    EXPECT_EQ(journal.text(), "1@worker 2@main 3@main");
    dispatch_set_target_queue(queue, nullptr);
    dispatch_async(queue, work("4"));
    flush(queue);
    EXPECT_EQ(journal.text(), "1@worker 2@main 3@main 4@worker");
  }
}

TEST(DispatchQueueThreadTest, ChangingTheTargetWhileWorkComes) {
  const dispatch_queue_t a = serial("a"), b = concurrent("b");
  for (const dispatch_queue_t& queue : {serial(), concurrent()}) {
    std::atomic<int> count{0};
    std::thread changing([&] {
      for (int i = 0; i < 300; ++i) dispatch_set_target_queue(queue, i % 3 == 0 ? a : i % 3 == 1 ? b : nullptr);
    });
    for (int i = 0; i < 3000; ++i) {
      if (i % 10 == 0)
        dispatch_sync(queue, [&] { ++count; });
      else
        dispatch_async(queue, [&] { ++count; });
    }
    changing.join();
    flush(queue);
    EXPECT_EQ(count, 3000);
  }
}

TEST(DispatchQueueTest, ATargetMustNotBeACircle) {
  const dispatch_queue_t a = serial("a");
  const dispatch_queue_t b = dispatch_queue_create_with_target("b", nullptr, a);
  const dispatch_queue_t c = dispatch_queue_create_with_target("c", nullptr, b);
  const std::string expected =
      "NSInvalidArgumentException: dispatch_set_target_queue: queue \"a\" would be its own target";
  EXPECT_EQ(raised([&] { return dispatch_set_target_queue(a, c), 0; }), expected);
  EXPECT_EQ(raised([&] { return dispatch_set_target_queue(a, a), 0; }), expected);
  EXPECT_EQ(raised([&] { return dispatch_set_target_queue(global(), c), 0; }), "") << "nothing happens";
  EXPECT_EQ(raised([&] { return dispatch_set_target_queue(c, a), 0; }), "");
}

// ---- what work captures ---------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, CapturesAreReleasedOnTheQueueRightAfterTheWork) {
  const dispatch_queue_t queue = serial("releases");
  Journal journal;
  auto captured = atEnd([&] { journal.add(std::string("gone@") + dispatch_get_current_queue_label()); });
  dispatch_suspend(queue);
  dispatch_async(queue, [&journal, captured] { journal.add("first"); });
  dispatch_async(queue, [&journal] { journal.add("second"); });
  captured.reset();
  EXPECT_EQ(journal.text(), "") << "kept until it has run";
  dispatch_resume(queue);
  flush(queue);
  EXPECT_EQ(journal.text(), "first gone@releases second");
}

TEST(DispatchQueueThreadTest, WorkKeepsItsQueue) {
  Journal journal;
  Gate gate, done;
  dispatch_queue_t queue = serial("kept");
  Weak<OS_dispatch_queue> weak = queue;
  dispatch_async(queue, [&] { gate.wait(); });
  dispatch_async(queue, [&] {
    journal.add(dispatch_get_current_queue_label());
    done.open();
  });
  queue = nullptr;
  gate.open();
  done.wait();
  EXPECT_EQ(journal.text(), "kept");
  while (weak.lock()) std::this_thread::yield();
}

TEST(DispatchQueueThreadTest, ASuspendedQueueThatNobodyHoldsDropsItsWork) {
  for (const dispatch_queue_attr_t& attr : {DISPATCH_QUEUE_SERIAL, DISPATCH_QUEUE_CONCURRENT}) {
    Journal journal;
    dispatch_queue_t queue = dispatch_queue_create("dropped", attr);
    dispatch_suspend(queue);
    dispatch_async(queue, [&journal, end = atEnd([&] { journal.add("gone"); })] { journal.add("ran"); });
    EXPECT_EQ(journal.text(), "");
    queue = nullptr;
    EXPECT_EQ(journal.text(), "gone");
  }
}

TEST(DispatchQueueTest, NilQueuesAndBlocks) {
  Journal journal;
  dispatch_async(nullptr, [end = atEnd([&] { journal.add("dropped"); })] { FAIL(); });
  EXPECT_EQ(journal.text(), "dropped");
  dispatch_sync(nullptr, [] { FAIL(); });
  dispatch_after(DISPATCH_TIME_NOW, nullptr, [] { FAIL(); });
  dispatch_after(DISPATCH_TIME_FOREVER, global(), [end = atEnd([&] { journal.add("never"); })] { FAIL(); });
  EXPECT_EQ(journal.text(), "dropped never");
  const dispatch_queue_t queue = serial();
  dispatch_async(queue, dispatch_block_t());
  dispatch_sync(queue, dispatch_block_t());
  dispatch_suspend(nullptr);
  dispatch_resume(nullptr);
  dispatch_activate(nullptr);
  dispatch_set_target_queue(nullptr, queue);
  dispatch_queue_set_specific(nullptr, &journal, &journal, nullptr);
  EXPECT_EQ(dispatch_queue_get_specific(nullptr, &journal), nullptr);
  flush(queue);
}

TEST(DispatchQueueThreadTest, BlocksAreWorkToo) {
  const dispatch_queue_t queue = serial();
  int count = 0;
  const dispatch_block_t block = [&] { ++count; };
  dispatch_async(queue, block);
  dispatch_barrier_async(queue, block);
  dispatch_sync(queue, block);
  dispatch_after(DISPATCH_TIME_NOW, queue, block);
  flush(queue);
  EXPECT_EQ(count, 4);
}

// ---- specifics ------------------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, Specifics) {
  static int key, otherKey;
  Journal first, second;
  const auto gone = [](void* context) { static_cast<Journal*>(context)->add("gone"); };
  {
    const dispatch_queue_t target = serial("target");
    const dispatch_queue_t queue = dispatch_queue_create_with_target("queue", nullptr, target);
    EXPECT_EQ(dispatch_queue_get_specific(queue, &key), nullptr);
    dispatch_queue_set_specific(target, &key, &first, gone);
    EXPECT_EQ(dispatch_queue_get_specific(target, &key), &first);
    EXPECT_EQ(dispatch_queue_get_specific(queue, &key), nullptr) << "asks the queue alone";
    EXPECT_EQ(dispatch_get_specific(&key), nullptr);
    void *seen = nullptr, *other = &first;
    dispatch_async(queue, [&] {
      seen = dispatch_get_specific(&key);
      other = dispatch_get_specific(&otherKey);
    });
    flush(queue);
    EXPECT_EQ(seen, &first) << "asks the targets too";
    EXPECT_EQ(other, nullptr);
    dispatch_queue_set_specific(target, &key, &second, gone);
    EXPECT_EQ(first.text(), "gone") << "what was there before";
    dispatch_queue_set_specific(target, &key, nullptr, nullptr);
    EXPECT_EQ(dispatch_queue_get_specific(target, &key), nullptr);
    EXPECT_EQ(second.text(), "gone");
    dispatch_queue_set_specific(target, &key, &first, gone);
  }
  while (first.events().size() < 2) std::this_thread::yield();
  dispatch_queue_set_specific(dispatch_get_main_queue(), &key, &second, nullptr);
  EXPECT_EQ(dispatch_get_specific(&key), &second) << "on the main thread";
  dispatch_queue_set_specific(dispatch_get_main_queue(), &key, nullptr, nullptr);
}

TEST(DispatchQueueThreadTest, Assertions) {
  const dispatch_queue_t target = serial("target");
  const dispatch_queue_t queue = dispatch_queue_create_with_target("queue", nullptr, target);
  std::string results[4];
  dispatch_sync(queue, [&] {
    results[0] = raised([&] { return dispatch_assert_queue(queue), dispatch_assert_queue(target), 0; });
    results[1] = raisedName([&] { return dispatch_assert_queue_not(target), 0; });
    results[2] = raisedName([&] { return dispatch_assert_queue(dispatch_get_main_queue()), 0; });
    results[3] = raised([&] { return dispatch_assert_queue_not(dispatch_get_main_queue()), 0; });
  });
  EXPECT_EQ(results[0], "");
  EXPECT_EQ(results[1], "NSInternalInconsistencyException");
  EXPECT_EQ(results[2], "NSInternalInconsistencyException");
  EXPECT_EQ(results[3], "");
  EXPECT_EQ(raised([&] { return dispatch_assert_queue(dispatch_get_main_queue()), 0; }), "");
  EXPECT_EQ(raised([&] { return dispatch_assert_queue(queue), 0; }),
            "NSInternalInconsistencyException: dispatch_assert_queue: not on queue \"queue\"");
}

// ---- apply ----------------------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, ApplyCallsEveryIndexOnce) {
  for (const dispatch_queue_t& queue : {dispatch_queue_t(), serial(), concurrent(), global()}) {
    for (std::size_t iterations : {0u, 1u, 2u, 1000u}) {
      std::vector<std::atomic<int>> calls(iterations);
      dispatch_apply(iterations, queue, [&](std::size_t i) { ++calls[i]; });
      EXPECT_TRUE(std::all_of(calls.begin(), calls.end(), [](auto& c) { return c == 1; })) << iterations;
    }
  }
  std::vector<std::size_t> order;
  dispatch_apply(50, serial(), [&](std::size_t i) { order.push_back(i); });
  std::vector<std::size_t> expected(50);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(order, expected) << "in order on a serial queue";
}

TEST(DispatchQueueThreadTest, ApplyInApply) {
  std::atomic<int> count{0};
  const dispatch_queue_t queue = concurrent();
  dispatch_apply(20, queue, [&](std::size_t) { dispatch_apply(20, queue, [&](std::size_t) { ++count; }); });
  EXPECT_EQ(count, 400);
}

TEST(DispatchQueueThreadTest, ApplyEndsAllCallsBeforeItRaises) {
  std::atomic<int> count{0};
  EXPECT_EQ(raised([&] {
              dispatch_apply(100, nullptr, [&](std::size_t i) {
                ++count;
                if (i == 10) throw NSException("A", "b");
              });
              return 0;
            }),
            "A: b");
  EXPECT_EQ(count, 100);
}

// ---- threads --------------------------------------------------------------------------------------------------------

TEST(DispatchQueueThreadTest, NestedWaitsDoNotStarve) {
  // Each level waits for the next, which another thread must run.
  const auto nest = [](auto& self, int depth) -> int {
    if (depth == 0) return 0;
    int result = 0;
    const dispatch_group_t group = dispatch_group_create();
    dispatch_group_async(group, global(), [&] { result = self(self, depth - 1) + 1; });
    dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
    return result;
  };
  EXPECT_EQ(nest(nest, 60), 60);
  const auto nestSync = [](auto& self, int depth) -> int {
    if (depth == 0) return 0;
    int result = 0;
    const dispatch_queue_t queue = serial();
    dispatch_async(queue, [&] { result = self(self, depth - 1) + 1; });
    flush(queue);
    return result;
  };
  EXPECT_EQ(nestSync(nestSync, 60), 60);
}

TEST(DispatchQueueThreadTest, ThreadsThatSleepUnseenAreReplaced) {
  // The work waits in the kernel, where the pool cannot know; what ends the wait comes behind it on the same queue.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  constexpr int kSleepers = 20;
  const dispatch_group_t group = dispatch_group_create();
  std::atomic<int> woken{0};
  for (int i = 0; i < kSleepers; ++i) {
    dispatch_group_async(group, global(), [&] {
      char c = 0;
      if (::read(ends[0], &c, 1) == 1) ++woken;
    });
  }
  dispatch_group_async(group, global(), [&] {
    const std::string bytes(kSleepers, 'x');
    EXPECT_EQ(::write(ends[1], bytes.data(), bytes.size()), kSleepers);
  });
  dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
  EXPECT_EQ(woken, kSleepers);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(DispatchQueueThreadTest, UrgentWorkIsTakenFirst) {
  // Every thread that comes is kept busy while the work is handed over; then they are set free.
  constexpr int kEach = 200, kSpinning = 64;
  const std::size_t processors = std::max<std::size_t>(2, std::thread::hardware_concurrency());
  std::atomic<std::size_t> spinning{0};
  std::atomic<bool> free{false};
  const dispatch_group_t group = dispatch_group_create();
  for (std::size_t i = 0; i < kSpinning; ++i) {
    dispatch_group_async(group, dispatch_get_global_queue(QOS_CLASS_USER_INTERACTIVE, 0), [&] {
      ++spinning;
      while (!free) {
      }
    });
  }
  while (spinning < processors) std::this_thread::yield();
  std::atomic<int> urgent{0}, urgentBefore{kEach};
  for (int i = 0; i < kEach; ++i) {
    dispatch_group_async(group, dispatch_get_global_queue(QOS_CLASS_BACKGROUND, 0), [&] {
      int least = urgentBefore;
      while (urgent < least && !urgentBefore.compare_exchange_weak(least, urgent)) {
      }
    });
    dispatch_group_async(group, dispatch_get_global_queue(QOS_CLASS_USER_INTERACTIVE, 0), [&] { ++urgent; });
  }
  free = true;
  dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
  EXPECT_EQ(urgent, kEach);
  // Each of the other threads may have had one in its hands.
  EXPECT_GT(urgentBefore, kEach / 2);
}

TEST(DispatchQueueThreadTest, ThreadsWithoutWorkEnd) {
  const dispatch_group_t group = dispatch_group_create();
  for (int i = 0; i < 100; ++i) dispatch_group_async(group, global(), [] {});
  dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
  EXPECT_GT(dispatch_statistics().workers, 0u);
  dispatch_set_worker_idle_time(0);
  while (dispatch_statistics().workers != 0) std::this_thread::yield();
  EXPECT_EQ(dispatch_statistics().idleWorkers, 0u);
  // And come again.
  int count = 0;
  const dispatch_queue_t queue = serial();
  for (int i = 0; i < 100; ++i) dispatch_async(queue, [&] { ++count; });
  flush(queue);
  EXPECT_EQ(count, 100);
  dispatch_set_worker_idle_time(5 * NSEC_PER_SEC);
}

// Quick turns make workers look whether they are called before they sleep; every call must reach them all the same.
TEST(DispatchQueueThreadTest, WorkThatGoesToAndFroIsNeverForgotten) {
  const dispatch_queue_t queue = dispatch_queue_create("to and fro", DISPATCH_QUEUE_SERIAL);
  const dispatch_semaphore_t back = dispatch_semaphore_create(0);
  int turns = 0;
  for (int i = 0; i < 5000; ++i) {
    dispatch_async(queue, [&turns, back] {
      ++turns;
      dispatch_semaphore_signal(back);
    });
    ASSERT_EQ(dispatch_semaphore_wait(back, dispatch_time(DISPATCH_TIME_NOW, 20 * NSEC_PER_SEC)), 0) << "turn " << i;
  }
  EXPECT_EQ(turns, 5000);
}

}  // namespace
}  // namespace kvt
