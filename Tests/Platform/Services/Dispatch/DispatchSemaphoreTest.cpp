#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "DispatchTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

TEST(DispatchSemaphoreTest, CountsDownAndUp) {
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(2);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_FOREVER), 0);
  EXPECT_NE(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_EQ(dispatch_semaphore_signal(semaphore), 0) << "nobody waits";
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
  EXPECT_NE(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
}

TEST(DispatchSemaphoreTest, NilAndBadValues) {
  EXPECT_FALSE(dispatch_semaphore_create(-1));
  EXPECT_FALSE(dispatch_semaphore_create(std::intptr_t{INT32_MAX} + 1));
  EXPECT_TRUE(dispatch_semaphore_create(0));
  EXPECT_EQ(dispatch_semaphore_wait(nullptr, DISPATCH_TIME_FOREVER), 0);
  EXPECT_EQ(dispatch_semaphore_signal(nullptr), 0);
}

TEST(DispatchSemaphoreThreadTest, AWaitWithATimeLimit) {
  DispatchManualClock clock;
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
  std::atomic<std::intptr_t> result{-1};
  std::thread waiting([&] { result = dispatch_semaphore_wait(semaphore, dispatch_time(DISPATCH_TIME_NOW, 1000)); });
  while (dispatch_statistics().timers < 1) std::this_thread::yield();
  clock.advance(1000);
  waiting.join();
  EXPECT_NE(result, 0);
  // The one that ran out of time took nothing with it.
  EXPECT_EQ(dispatch_semaphore_signal(semaphore), 0);
  EXPECT_EQ(dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW), 0);
}

TEST(DispatchSemaphoreThreadTest, IsALock) {
  const dispatch_semaphore_t lock = dispatch_semaphore_create(1);
  int count = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 2000; ++i) {
        dispatch_semaphore_wait(lock, DISPATCH_TIME_FOREVER);
        ++count;
        dispatch_semaphore_signal(lock);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 16000);
}

TEST(DispatchSemaphoreThreadTest, NothingIsLostBetweenTimeLimitsAndSignals) {
  // As many pass as signals were given, whoever gives up in between.
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
  std::atomic<int> passed{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 300; ++i) {
        if (dispatch_semaphore_wait(semaphore, dispatch_time(DISPATCH_TIME_NOW, 20'000)) == 0) ++passed;
      }
    });
  }
  for (int i = 0; i < 600; ++i) dispatch_semaphore_signal(semaphore);
  for (std::thread& thread : threads) thread.join();
  while (dispatch_semaphore_wait(semaphore, DISPATCH_TIME_NOW) == 0) ++passed;
  EXPECT_EQ(passed, 600);
}

TEST(DispatchSemaphoreThreadTest, WaitingThreadsPassInTheirOrder) {
  const dispatch_semaphore_t semaphore = dispatch_semaphore_create(0);
  DispatchManualClock clock;
  Journal journal;
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      // The time limit makes it visible that the thread waits.
      dispatch_semaphore_wait(semaphore, dispatch_time(DISPATCH_TIME_NOW, 1000));
      journal.add(std::to_string(t));
    });
    while (dispatch_statistics().timers < t + 1) std::this_thread::yield();
  }
  for (std::size_t t = 0; t < 3; ++t) {
    EXPECT_NE(dispatch_semaphore_signal(semaphore), 0);
    while (journal.events().size() < t + 1) std::this_thread::yield();
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(journal.text(), "0 1 2");
}

TEST(DispatchOnceThreadTest, HappensOnceForAll) {
  for (int round = 0; round < 200; ++round) {
    dispatch_once_t once;
    int count = 0;
    std::atomic<int> seen{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        dispatch_once(&once, [&] { ++count; });
        seen += count;
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 1);
    EXPECT_EQ(seen, 4) << "nobody comes back before it has happened";
  }
}

TEST(DispatchOnceThreadTest, WhoComesMeanwhileWaits) {
  for (bool raises : {false, true}) {
    dispatch_once_t once;
    Journal journal;
    const dispatch_group_t group = dispatch_group_create();
    const std::string result = raised([&] {
      dispatch_once(&once, [&] {
        dispatch_group_async(group, dispatch_get_global_queue(0, 0), [&] {
          dispatch_once(&once, [&] { journal.add("again"); });
          journal.add("other");
        });
        while (dispatch_statistics().blockedWorkers == 0) std::this_thread::yield();
        journal.add("first");
        if (raises) throw NSException("A", "b");
      });
      return 0;
    });
    dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
    EXPECT_EQ(result, raises ? "A: b" : "");
    EXPECT_EQ(journal.text(), raises ? "first again other" : "first other");
  }
}

TEST(DispatchOnceThreadTest, WhatRaisesIsTriedAgain) {
  dispatch_once_t once;
  int count = 0;
  const auto attempt = [&] {
    dispatch_once(&once, [&] {
      if (++count == 1) throw NSException("A", "b");
    });
    return 0;
  };
  EXPECT_EQ(raised(attempt), "A: b");
  EXPECT_EQ(raised(attempt), "");
  EXPECT_EQ(raised(attempt), "");
  EXPECT_EQ(count, 2);
  dispatch_once_t own;
  EXPECT_EQ(raised([&] {
              dispatch_once(&own, [&] { dispatch_once(&own, [] {}); });
              return 0;
            }),
            "NSInternalInconsistencyException: dispatch_once called from its own work");
}

}  // namespace
}  // namespace kvt
