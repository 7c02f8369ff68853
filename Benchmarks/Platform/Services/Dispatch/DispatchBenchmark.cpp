// Queues: the same three patterns are measured of Asio (Peers/AsioBenchmark.cpp) and GLib (Peers/GLibBenchmark.cpp).
//
//   async         a thousand pieces of work, from this thread through one serial queue, until the last has run
//   main burst    a thousand pieces from a worker to the main thread, whose loop takes 64 at a time
//   round trip    a hundred times from the main thread to a worker and back, each piece handing over the next
//
// And of ours alone: a dispatch_sync on a queue that is free, and what live timers cost.

#include <poll.h>
#include <time.h>

#include <random>
#include <vector>

#include <KVTPlatform/Services/Dispatch/Dispatch.h>

#include "Support/Harness.h"

namespace {

using namespace kvt;

constexpr int kPieces = 1000;
constexpr int kTrips = 100;

void pumpUntil(const bool& over) {
  const int fd = dispatch_main_queue_fd();
  while (!over) {
    pollfd watched{fd, POLLIN, 0};
    ::poll(&watched, 1, -1);
    dispatch_main_queue_drain(64);
  }
}

struct Trips {
  void go() {
    if (left-- == 0) {
      over = true;
      return;
    }
    dispatch_async(queue, [this] { dispatch_async(dispatch_get_main_queue(), [this] { go(); }); });
  }
  const dispatch_queue_t& queue;
  int left = kTrips;
  bool over = false;
};

const bool queues = bench::suite("kvt", "queues", [](bench::Suite& suite) {
  const dispatch_queue_t queue = dispatch_queue_create("benchmark", DISPATCH_QUEUE_SERIAL);
  suite.threadedOp("async", 1, [queue] {
    int count = 0;
    for (int i = 0; i < kPieces; ++i) dispatch_async(queue, [&count] { ++count; });
    dispatch_sync(queue, [] {});
    return count;
  });
  suite.threadedOp("main burst", 1, [queue] {
    int count = 0;
    bool over = false;
    dispatch_async(queue, [&] {
      for (int i = 0; i < kPieces; ++i) dispatch_async(dispatch_get_main_queue(), [&count] { ++count; });
      dispatch_async(dispatch_get_main_queue(), [&over] { over = true; });
    });
    pumpUntil(over);
    return count;
  });
  suite.threadedOp("round trip", 1, [queue] {
    Trips trips{queue};
    trips.go();
    pumpUntil(trips.over);
  });
  suite.threadedOp("sync", 1, [queue] {
    int count = 0;
    for (int i = 0; i < kPieces; ++i) dispatch_sync(queue, [&count] { ++count; });
    return count;
  });
});

double processTime() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// The CPU time that ten thousand live timers take of one second; manual time, so that 10 ms are 1 % of a core.
void liveTimers(benchmark::State& state, double least, double most) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> interval(least, most);
  std::vector<dispatch_source_t> timers;
  for (int i = 0; i < 10'000; ++i) {
    const auto nanoseconds = static_cast<std::int64_t>(interval(random) * 1e9);
    const dispatch_queue_t queue = dispatch_queue_create_with_target("timer", nullptr, dispatch_get_main_queue());
    dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue);
    dispatch_source_set_event_handler(timer, [] {});
    dispatch_source_set_timer(timer, dispatch_time(DISPATCH_TIME_NOW, nanoseconds),
                              static_cast<std::uint64_t>(nanoseconds), 50 * NSEC_PER_MSEC);
    dispatch_resume(timer);
    timers.push_back(std::move(timer));
  }
  for (auto _ : state) {
    const double before = processTime();
    bool over = false;
    dispatch_after(dispatch_time(DISPATCH_TIME_NOW, NSEC_PER_SEC), dispatch_get_main_queue(), [&over] { over = true; });
    pumpUntil(over);
    state.SetIterationTime(processTime() - before);
  }
  for (const dispatch_source_t& timer : timers) dispatch_source_cancel(timer);
  while (dispatch_main_queue_drain(1000) != 0) {
  }
}
BENCHMARK_CAPTURE(liveTimers, of_1_to_10_s, 1.0, 10.0)->UseManualTime()->Iterations(5);
BENCHMARK_CAPTURE(liveTimers, of_10_to_100_ms, 0.01, 0.1)->UseManualTime()->Iterations(5);

}  // namespace
