#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

#include "DispatchTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

bool isReadable(int fd) {
  pollfd entry{fd, POLLIN, 0};
  return ::poll(&entry, 1, 0) == 1;
}

TEST(DispatchMainQueueThreadTest, ADrainIsBounded) {
  const dispatch_queue_t main = dispatch_get_main_queue();
  const int fd = dispatch_main_queue_fd();
  ASSERT_GE(fd, 0);
  EXPECT_EQ(dispatch_main_queue_fd(), fd);
  EXPECT_FALSE(isReadable(fd));
  int count = 0;
  for (int i = 0; i < 5; ++i) dispatch_async(main, [&] { ++count; });
  const struct {
    std::size_t max, expected;
    int countAfter;
    bool readableAfter;
  } rows[] = {{0, 0, 0, true}, {2, 2, 2, true}, {1, 1, 3, true}, {2, 2, 5, false}, {9, 0, 5, false}};
  for (const auto& row : rows) {
    EXPECT_EQ(dispatch_main_queue_drain(row.max), row.expected);
    EXPECT_EQ(count, row.countAfter);
    EXPECT_EQ(isReadable(fd), row.readableAfter) << row.countAfter;
  }
}

TEST(DispatchMainQueueThreadTest, TheDescriptorMayBeAskedForLate) {
  dispatch_async(dispatch_get_main_queue(), [] {});
  EXPECT_TRUE(isReadable(dispatch_main_queue_fd()));
  EXPECT_EQ(dispatch_main_queue_drain(9), 1u);
  EXPECT_FALSE(isReadable(dispatch_main_queue_fd()));
}

TEST(DispatchMainQueueThreadTest, WorkOfQueuesBelowCountsToo) {
  const dispatch_queue_t below =
      dispatch_queue_create_with_target("below", DISPATCH_QUEUE_CONCURRENT, dispatch_get_main_queue());
  Journal journal;
  for (int i = 0; i < 4; ++i) dispatch_async(below, [&, i] { journal.add(std::to_string(i)); });
  dispatch_async(dispatch_get_main_queue(), [&] { journal.add("main"); });
  EXPECT_EQ(dispatch_main_queue_drain(1), 1u);
  EXPECT_EQ(journal.events().size(), 1u);
  std::size_t ran = 1;
  while (const std::size_t more = dispatch_main_queue_drain(2)) {
    EXPECT_LE(more, 2u);
    ran += more;
  }
  EXPECT_EQ(ran, 5u);
  EXPECT_EQ(journal.events().size(), 5u);
}

TEST(DispatchMainQueueThreadTest, WorkThatComesMeanwhileWaitsForTheNextRound) {
  // A piece that hands itself over again must not keep the host from its other work for ever.
  std::function<void()> again;
  int count = 0;
  again = [&] {
    ++count;
    dispatch_async(dispatch_get_main_queue(), again);
  };
  dispatch_async(dispatch_get_main_queue(), again);
  EXPECT_EQ(dispatch_main_queue_drain(10), 10u);
  EXPECT_EQ(count, 10);
  again = [] {};
  EXPECT_EQ(dispatch_main_queue_drain(10), 2u);
}

TEST(DispatchMainQueueThreadTest, NestedAndForeignDrainsDoNothing) {
  std::size_t nested = 9, foreign = 9;
  dispatch_async(dispatch_get_main_queue(), [&] { nested = dispatch_main_queue_drain(9); });
  std::string raising;
  dispatch_async(dispatch_get_main_queue(), [&] { raising = raised([] { return dispatch_main(), 0; }); });
  dispatch_async(dispatch_get_main_queue(), [] {});
  EXPECT_EQ(dispatch_main_queue_drain(2), 2u);
  EXPECT_EQ(raising, "NSInternalInconsistencyException: dispatch_main called from work of the main queue");
  std::thread([&] { foreign = dispatch_main_queue_drain(9); }).join();
  EXPECT_EQ(nested, 0u);
  EXPECT_EQ(foreign, 0u);
  EXPECT_EQ(dispatch_main_queue_drain(9), 1u);
}

TEST(DispatchMainQueueThreadTest, TheMainThreadIsTheOneThatPumpsFirst) {
  // In a process of its own: the choice is for life.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        std::thread pump([] {
          std::atomic<bool> ran{false};
          dispatch_async(dispatch_get_main_queue(), [&] { ran = true; });
          dispatch_main_queue_drain(1);
          if (!ran || std::string(dispatch_get_current_queue_label()) != "com.apple.main-thread") ::_exit(1);
        });
        pump.join();
        dispatch_async(dispatch_get_main_queue(), [] { ::_exit(2); });
        if (dispatch_main_queue_drain(1) != 0) ::_exit(3);
        ::_exit(raisedName([] { return dispatch_main(), 0; }) == "NSInternalInconsistencyException" ? 0 : 4);
      },
      testing::ExitedWithCode(0), "");
}

TEST(DispatchMainQueueThreadTest, DispatchMainRunsForEver) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        // Hops from a worker, so that the main thread has gone to sleep in between.
        dispatch_async(dispatch_get_global_queue(0, 0), [] {
          int count = 0;
          for (int i = 0; i < 100; ++i) dispatch_sync(dispatch_get_main_queue(), [&] { ++count; });
          dispatch_async(dispatch_get_main_queue(), [count] { ::_exit(count); });
        });
        dispatch_main();
      },
      testing::ExitedWithCode(100), "");
}

TEST(DispatchMainQueueThreadTest, SynchronousWorkRunsOnTheMainThread) {
  const dispatch_queue_t below = dispatch_queue_create_with_target("below", nullptr, dispatch_get_main_queue());
  for (const dispatch_queue_t& queue : {dispatch_get_main_queue(), below}) {
    std::atomic<bool> over{false};
    std::thread::id where;
    std::string label;
    int order = 0;
    std::thread other([&] {
      dispatch_async(queue, [&] { order = order * 10 + 1; });
      dispatch_sync(queue, [&] {
        order = order * 10 + 2;
        where = std::this_thread::get_id();
        label = dispatch_get_current_queue_label();
      });
      over = true;
    });
    while (!over) dispatch_main_queue_drain(3);
    other.join();
    EXPECT_EQ(where, std::this_thread::get_id());
    EXPECT_EQ(label, dispatch_queue_get_label(queue));
    EXPECT_EQ(order, 12);
  }
}

TEST(DispatchMainQueueThreadTest, ManyThreadsHopToTheMainThread) {
  constexpr int kThreads = 4, kEach = 3000;
  int count = 0;
  std::atomic<int> threadsDone{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kEach; ++i) {
        if (i % 100 == 0)
          dispatch_sync(dispatch_get_main_queue(), [&] { ++count; });
        else
          dispatch_async(dispatch_get_main_queue(), [&] { ++count; });
      }
      ++threadsDone;
    });
  }
  const int fd = dispatch_main_queue_fd();
  while (threadsDone < kThreads || isReadable(fd)) dispatch_main_queue_drain(64);
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, kThreads * kEach);
}

}  // namespace
}  // namespace kvt
