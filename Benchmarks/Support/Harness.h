// What every benchmark program is made of: suites, which register operations, and one main function.
//
//     const bool registered = bench::suite("simdjson", "W1", [](bench::Suite& suite) {
//       auto text = std::make_shared<std::string>(bench::data("W1.json"));
//       suite.op("read", [text] { return read(*text); });
//       suite.digest(digestOf(read(*text)));
//     });
//
// A figure has three names: who (`kvt` is ours, every other one a peer), the workload and the kind. scripts/bench.py
// sets each of our figures against all peers' figures of the same workload and kind, in whatever program they stand; a
// new family needs nothing more than suites. What prepares a suite runs only when its workload is asked for.
//
//     PROGRAM --list                               who/workload, a line each
//     PROGRAM --workload=W1 [--benchmark_…]        Google Benchmark; digests go to the context of its report
//     PROGRAM --workload=W1 --allocations          needs CountAllocations.c preloaded: JSON, blocks and peak bytes
//     PROGRAM --workload=W1 --peak=kvt/read        peak memory of the first operation in this process, bytes
#pragma once

#include <time.h>

#include <atomic>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include <benchmark/benchmark.h>

namespace bench {

/// A file of the generated data; ends the program when it is not there.
std::string data(const std::string& name);

/// Threads that do something at the same time.
class Together {
 public:
  explicit Together(int threads)
      // One thread's own time is disturbed less than the clock's.
      : clock_(threads > 1 ? CLOCK_MONOTONIC : CLOCK_THREAD_CPUTIME_ID),
        threads_(threads),
        start_(threads),
        goal_(threads) {}
  /// Calls `turn(thread, *this)` on each; the seconds from the first `begin()` to the last `end()`.
  double run(const std::function<void(int, Together&)>& turn);
  void begin();
  void end();

 private:
  clockid_t clock_;
  int threads_;
  std::barrier<> start_, goal_;
  std::atomic<double> began_{1e300}, ended_{0};
};

class Suite {
 public:
  Suite(std::string who, std::string workload) : who_(std::move(who)), workload_(std::move(workload)) {}

  /// One figure: the time of `run()`. What it answers is kept from being optimised away, and destroyed within the time.
  template <class F>
  void op(const std::string& kind, F run) {
    add(
        kind, 1, [run] { call(run); },
        [run](benchmark::State& state) {
          for (auto _ : state) call(run);
        });
  }
  /// One figure: the time of `run(input)`, on the average of all inputs in turn.
  template <class Inputs, class F>
  void op(const std::string& kind, const std::shared_ptr<Inputs>& inputs, F run) {
    const auto all = [inputs, run] {
      for (const auto& each : *inputs) call(run, each);
    };
    add(kind, static_cast<int>(inputs->size()), all, [all](benchmark::State& state) {
      for (auto _ : state) all();
    });
  }
  /// The same, `threads` of them at once; the time is the time that passes, divided by the operations of all threads.
  template <class F>
  void threadedOp(const std::string& kind, int threads, F run) {
    add(kind, 1, run,
        [run](benchmark::State& state) {
          for (auto _ : state) run();
        })
        ->Threads(threads)
        ->UseRealTime();
  }
  /// One figure that the operation takes itself: `run()` answers seconds. It is called once.
  template <class F>
  void measuredOp(const std::string& kind, F run) {
    add(
        kind, 1, [run] { run(); },
        [run](benchmark::State& state) {
          for (auto _ : state) state.SetIterationTime(run());
        })
        ->UseManualTime()
        ->Iterations(1);
  }
  /// One figure: the time of `run(thread, input)`, divided by `parts`. What `prepare(thread)` makes anew for each turn,
  /// and its end, are outside the time. Of several threads, which begin together, the time that passes until the last
  /// is done counts, divided by the operations of all.
  template <class P, class F>
  void preparedOp(const std::string& kind, int threads, int parts, P prepare, F run) {
    const auto turn = [prepare, run](int thread, Together& all) {
      auto input = prepare(thread);
      all.begin();
      run(thread, input);
      all.end();
    };
    const auto once = [turn, threads] { return Together(threads).run(turn); };
    add(
        kind, parts * threads, [once] { once(); },
        [once](benchmark::State& state) {
          for (auto _ : state) state.SetIterationTime(once());
        })
        ->UseManualTime();
  }
  /// What was read, as a number; the same for all peers of a workload. `what` names it where there are several.
  void digest(std::uint64_t value, const std::string& what = "objects") const;
  /// Ends the program with a message.
  [[noreturn]] void fail(const std::string& reason) const;

 private:
  template <class F, class... A>
  [[gnu::always_inline]] static void call(const F& run, const A&... input) {
    if constexpr (std::is_void_v<decltype(run(input...))>) {
      run(input...);
    } else {
      auto result = run(input...);
      benchmark::DoNotOptimize(result);
    }
  }
  benchmark::internal::Benchmark* add(const std::string& kind, int parts, std::function<void()> once,
                                      std::function<void(benchmark::State&)> timed);
  std::string who_;
  std::string workload_;
};

/// Registers a suite; the result is good for initialising something with.
bool suite(const std::string& who, const std::string& workload, std::function<void(Suite&)> prepare);

}  // namespace bench
