// Queues: the same patterns are measured of Asio (Peers/AsioBenchmark.cpp) and GLib (Peers/GLibBenchmark.cpp).
//
//   queue async       a thousand pieces of work, from this thread through one serial queue, until the last has run
//   mainqueue burst   a thousand pieces from a worker to the main thread, whose loop takes 64 at a time
//   mainqueue hop     a hundred times from the main thread to a worker and back, each piece handing over the next
//
// And of ours alone: a dispatch_sync on a queue that is free, what ten thousand live timers cost of each second, and
// how late timers are.

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <memory>
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

const bool queues = bench::suite("kvt", "queue", [](bench::Suite& suite) {
  const dispatch_queue_t queue = dispatch_queue_create("benchmark", DISPATCH_QUEUE_SERIAL);
  suite.threadedOp("async", 1, [queue] {
    int count = 0;
    for (int i = 0; i < kPieces; ++i) dispatch_async(queue, [&count] { ++count; });
    dispatch_sync(queue, [] {});
    return count;
  });
  suite.threadedOp("sync", 1, [queue] {
    int count = 0;
    for (int i = 0; i < kPieces; ++i) dispatch_sync(queue, [&count] { ++count; });
    return count;
  });
});

const bool mainQueue = bench::suite("kvt", "mainqueue", [](bench::Suite& suite) {
  const dispatch_queue_t queue = dispatch_queue_create("benchmark", DISPATCH_QUEUE_SERIAL);
  suite.threadedOp("burst", 1, [queue] {
    int count = 0;
    bool over = false;
    dispatch_async(queue, [&] {
      for (int i = 0; i < kPieces; ++i) dispatch_async(dispatch_get_main_queue(), [&count] { ++count; });
      dispatch_async(dispatch_get_main_queue(), [&over] { over = true; });
    });
    pumpUntil(over);
    return count;
  });
  suite.threadedOp("hop", 1, [queue] {
    Trips trips{queue};
    trips.go();
    pumpUntil(trips.over);
  });
});

double processTime() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void pumpFor(double seconds) {
  bool over = false;
  dispatch_after(dispatch_time(DISPATCH_TIME_NOW, static_cast<std::int64_t>(seconds * 1e9)), dispatch_get_main_queue(),
                 [&over] { over = true; });
  pumpUntil(over);
}

/// A timer as KVTTimer makes it: on a serial queue of its own that has another one for its target.
struct Timer {
  Timer(double interval, const dispatch_queue_t& target)
      : period(static_cast<std::int64_t>(interval * 1e9)),
        source(dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0,
                                      dispatch_queue_create_with_target("timer", nullptr, target))) {}
  void start(std::int64_t first) const {
    dispatch_source_set_timer(source, dispatch_time(DISPATCH_TIME_NOW, first), static_cast<std::uint64_t>(period),
                              kLeeway);
    dispatch_resume(source);
  }
  static constexpr std::uint64_t kLeeway = 50 * NSEC_PER_MSEC;
  std::int64_t period;
  dispatch_source_t source;
};

/// The processor time that ten thousand live timers of such intervals take of a second, on the average of some.
double costOfTimers(double least, double most, int seconds) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> interval(least, most), phase(0, 1);
  std::vector<Timer> timers;
  for (int i = 0; i < 10'000; ++i) {
    timers.emplace_back(interval(random), dispatch_get_main_queue());
    dispatch_source_set_event_handler(timers.back().source, [] {});
    // As if they had been at work for long.
    timers.back().start(static_cast<std::int64_t>(static_cast<double>(timers.back().period) * phase(random)));
  }
  pumpFor(0.2);
  const double before = processTime();
  pumpFor(seconds);
  const double cost = (processTime() - before) / seconds;
  for (const Timer& timer : timers) dispatch_source_cancel(timer.source);
  while (dispatch_main_queue_drain(1000) != 0) {
  }
  return cost;
}

/// How much later than its time and its leeway a timer's handler starts, of 99 in 100 at most.
double lateness() {
  struct Watched {
    Timer timer;
    std::int64_t due;
  };
  const auto now = [] {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
  };
  const dispatch_queue_t queue = dispatch_queue_create("firings", nullptr);
  std::mt19937 random(1);
  std::uniform_real_distribution<double> interval(0.01, 0.1);
  std::vector<double> late;  // on the queue
  late.reserve(100'000);
  std::vector<std::unique_ptr<Watched>> timers;
  for (int i = 0; i < 1000; ++i) {
    auto& each = *timers.emplace_back(new Watched{Timer(interval(random), queue), 0});
    dispatch_source_set_event_handler(each.timer.source, [&each, &late, now] {
      // The time that has come last, where several have passed.
      each.due += (static_cast<std::int64_t>(dispatch_source_get_data(each.timer.source)) - 1) * each.timer.period;
      late.push_back(static_cast<double>(now() - each.due - static_cast<std::int64_t>(Timer::kLeeway)) / 1e9);
      each.due += each.timer.period;
    });
    each.due = now() + each.timer.period;
    each.timer.start(each.timer.period);
  }
  pumpFor(2);
  for (const auto& each : timers) dispatch_source_cancel(each->timer.source);
  dispatch_sync(queue, [] {});
  const auto last = late.begin() + static_cast<std::ptrdiff_t>(late.size() * 99 / 100);
  std::nth_element(late.begin(), last, late.end());
  return std::max(*last, 0.0);
}

const bool timers = bench::suite("kvt", "timers", [](bench::Suite& suite) {
  suite.measuredOp("1-10s", [] { return costOfTimers(1, 10, 3); });
  suite.measuredOp("10-100ms", [] { return costOfTimers(0.01, 0.1, 2); });
  suite.measuredOp("late", [] { return lateness(); });
});

}  // namespace
