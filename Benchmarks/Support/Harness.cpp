#include "Harness.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <thread>
#include <vector>

#include "CountAllocations.h"

namespace bench {
namespace {

struct Registered {
  std::string who;
  std::string workload;
  std::function<void(Suite&)> prepare;
};

struct Operation {
  std::string who;
  std::string kind;
  int parts;
  std::function<void()> once;
};

std::vector<Registered>& suites() {
  static std::vector<Registered> all;
  return all;
}

std::vector<Operation>& operations() {
  static std::vector<Operation> all;
  return all;
}

/// Blocks that our library hands out from a store of its own: it says so by this name, once it has one.
using BlockCount = long (*)();

int countAllocations() {
  const auto* stat = static_cast<const AllocationCount*>(dlsym(RTLD_DEFAULT, "kvt_bench_allocations"));
  const auto restartPeak = reinterpret_cast<void (*)()>(dlsym(RTLD_DEFAULT, "kvt_bench_restart_peak"));
  const auto ownBlocks = reinterpret_cast<BlockCount>(dlsym(RTLD_DEFAULT, "kvt_allocatedBlockCount"));
  if (stat == nullptr || restartPeak == nullptr) {
    std::fprintf(stderr, "--allocations needs the counting library in LD_PRELOAD\n");
    return 1;
  }
  if (ownBlocks == nullptr && dlsym(RTLD_DEFAULT, "mi_malloc") != nullptr) {
    std::fprintf(stderr, "blocks of mimalloc are not seen here, and the library does not count them\n");
    return 1;
  }
  const auto blocksSoFar = [=] { return stat->blocks + (ownBlocks != nullptr ? ownBlocks() : 0); };
  const char* separator = "[";
  for (const Operation& each : operations()) {
    // What a first operation sets up for good is no part of the cost of one.
    each.once();
    each.once();
    restartPeak();
    const long blocks = blocksSoFar();
    const long live = stat->live;
    each.once();
    std::printf("%s{\"who\": \"%s\", \"kind\": \"%s\", \"blocks\": %.3f, \"peak\": %ld}", separator, each.who.c_str(),
                each.kind.c_str(), static_cast<double>(blocksSoFar() - blocks) / each.parts, stat->peak - live);
    separator = ",\n ";
  }
  std::printf("]\n");
  return 0;
}

/// A line of /proc/self/status, in bytes.
long memoryOf(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::strtol(line.c_str() + name.size() + 1, nullptr, 10) * 1024;
  }
  return 0;
}

/// Prints the most memory that the first operation of this process takes beyond what was there before, and ends the
/// process. The kernel's count of resident pages knows no allocator; pages of program files that the operation is the
/// first to touch are taken away again.
[[noreturn]] void measurePeak(const std::function<void()>& operation) {
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew
  const long before = memoryOf("VmRSS");
  const long files = memoryOf("RssFile");
  if (memoryOf("VmHWM") > before + (1 << 20)) {
    std::fprintf(stderr, "the peak of resident memory cannot be restarted here\n");
    std::exit(1);
  }
  operation();
  std::printf("%ld\n", memoryOf("VmHWM") - before - (memoryOf("RssFile") - files));
  std::fflush(stdout);
  std::_Exit(0);
}

/// `who/kind` of the operation whose peak is asked for.
std::string& peakWanted() {
  static std::string name;
  return name;
}

}  // namespace

std::string data(const std::string& name) {
  const std::string path = std::string(KVT_BENCH_DATA) + "/" + name;
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::fprintf(stderr, "missing: %s\n", path.c_str());
    std::exit(1);
  }
  return {std::istreambuf_iterator<char>(file), {}};
}

namespace {

double timeOf(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

}  // namespace

double Together::run(const std::function<void(int, Together&)>& turn) {
  std::vector<std::thread> others;
  for (int i = 1; i < threads_; ++i) others.emplace_back([&, i] { turn(i, *this); });
  turn(0, *this);
  for (std::thread& each : others) each.join();
  return ended_ - began_;
}

void Together::begin() {
  start_.arrive_and_wait();
  const double time = timeOf(clock_);
  for (double earliest = began_; time < earliest && !began_.compare_exchange_weak(earliest, time);) {
  }
}

void Together::end() {
  const double time = timeOf(clock_);
  for (double latest = ended_; time > latest && !ended_.compare_exchange_weak(latest, time);) {
  }
  // What was prepared is let go when nobody is timed any more.
  goal_.arrive_and_wait();
}

void Suite::digest(std::uint64_t value, const std::string& what) const {
  char text[24];
  std::snprintf(text, sizeof text, "0x%016llx", static_cast<unsigned long long>(value));
  benchmark::AddCustomContext("digest/" + who_ + "/" + workload_ + "/" + what, text);
}

void Suite::fail(const std::string& reason) const {
  std::fprintf(stderr, "%s, %s: %s\n", who_.c_str(), workload_.c_str(), reason.c_str());
  std::exit(1);
}

benchmark::internal::Benchmark* Suite::add(const std::string& kind, int parts, std::function<void()> once,
                                           std::function<void(benchmark::State&)> timed) {
  if (peakWanted() == who_ + "/" + kind) measurePeak(once);
  operations().push_back({who_, kind, parts, std::move(once)});
  const std::string name = who_ + "/" + workload_ + "/" + kind;
  return benchmark::RegisterBenchmark(name.c_str(), [parts, timed = std::move(timed)](benchmark::State& state) {
    timed(state);
    if (parts != 1) state.counters["parts"] = parts;
  });
}

bool suite(const std::string& who, const std::string& workload, std::function<void(Suite&)> prepare) {
  suites().push_back({who, workload, std::move(prepare)});
  return true;
}

}  // namespace bench

namespace bench {
namespace {

/// Whether the suite has the operation whose peak is asked for, and has printed it. Each suite is prepared in a process
/// of its own: memory that one has used and freed would be there for the next.
bool isMeasuredIn(const Registered& each) {
  constexpr int kOther = 3;
  const pid_t child = fork();
  if (child == 0) {
    Suite suite(each.who, each.workload);
    each.prepare(suite);
    std::_Exit(kOther);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) std::exit(1);
  if (WIFEXITED(status) && WEXITSTATUS(status) == kOther) return false;
  if (status != 0) std::exit(1);
  return true;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  std::string workload;
  bool list = false, allocations = false;
  std::vector<char*> others{argv[0]};
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument == "--list") {
      list = true;
    } else if (argument == "--allocations") {
      allocations = true;
    } else if (argument.starts_with("--workload=")) {
      workload = argument.substr(11);
    } else if (argument.starts_with("--peak=")) {
      bench::peakWanted() = argument.substr(7);
    } else {
      others.push_back(argv[i]);
    }
  }
  if (list) {
    for (const auto& each : bench::suites()) std::printf("%s/%s\n", each.who.c_str(), each.workload.c_str());
    return 0;
  }
  for (const auto& each : bench::suites()) {
    if (!workload.empty() && each.workload != workload) continue;
    if (!bench::peakWanted().empty() && !bench::peakWanted().starts_with(each.who + "/")) continue;
    if (!bench::peakWanted().empty()) {
      if (bench::isMeasuredIn(each)) return 0;
      continue;
    }
    bench::Suite suite(each.who, each.workload);
    each.prepare(suite);
  }
  if (allocations) return bench::countAllocations();
  if (!bench::peakWanted().empty()) {
    std::fprintf(stderr, "there is no %s\n", bench::peakWanted().c_str());
    return 1;
  }
  int count = static_cast<int>(others.size());
  benchmark::Initialize(&count, others.data());
  if (benchmark::ReportUnrecognizedArguments(count, others.data())) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
