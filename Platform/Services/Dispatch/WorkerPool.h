// The threads that run the global queues' work; not installed.
//
// As many run at once as there are processors. A thread that waits in one of our functions says so (`BlockingScope`),
// and another one takes its place. Threads that sleep elsewhere (in a read, in a client's own lock) are noticed: while
// work is left and nobody is free, the timer thread looks every few milliseconds at what the system says of them.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

#include "DispatchControl.h"
#include "DispatchQueue.h"
#include "Futex.h"

namespace kvt::dispatch {

inline constexpr std::size_t kPriorities = 5;
inline constexpr std::size_t kMaximumWorkers = 512;

class WorkerPool {
 public:
  /// Never destroyed: work may come until the very end.
  static WorkerPool& shared();

  /// `priority`: 0 is taken first.
  void submit(detail::QueueItem* item, std::size_t priority) noexcept;
  /// Whether anything waits for a thread. A hint.
  bool hasWaiting() const noexcept { return waiting_.load(std::memory_order_relaxed) != 0; }

  /// While it lives this thread, if it is one of the pool's, does not count as running.
  class BlockingScope {
   public:
    BlockingScope() noexcept;
    ~BlockingScope();
    BlockingScope(const BlockingScope&) = delete;
    BlockingScope& operator=(const BlockingScope&) = delete;
  };

  /// Looks for threads that sleep while work is left, and starts others. Whether to look again soon.
  bool replaceSleepers() noexcept;

  std::size_t processors() const noexcept { return processors_; }
  void setIdleTime(std::uint64_t nanoseconds) noexcept;
  void statistics(DispatchStatistics& result) noexcept;

 private:
  struct Worker;
  struct Help {
    Worker* wake = nullptr;
    bool wakeIsAsleep = false;
    bool spawn = false;
    bool look = false;
  };

  WorkerPool();
  Help findHelp() noexcept;
  void callHelp(Help help) noexcept;
  bool spawn() noexcept;
  static void* threadMain(void* worker);
  void work(Worker& self);
  void sleep(Worker& self);
  detail::QueueItem* take(std::size_t& priority) noexcept;
  std::size_t running() const noexcept { return workers_ - idle_ - blocked_; }
  std::size_t limit() const noexcept { return processors_ + sleepers_; }

  struct List {
    detail::QueueItem* head = nullptr;
    detail::QueueItem* tail = nullptr;
  };

  static thread_local Worker* current_;  // what this thread is; null on others

  // Even one processor is shared by two threads: one of them may be sleeping where nobody sees it.
  const std::size_t processors_;
  const bool looksBeforeSleep_;
  std::atomic<std::size_t> waiting_{0};
  std::atomic<std::uint64_t> idleTime_;

  ShortLock mutex_;
  std::array<List, kPriorities> lists_;
  Worker* idleWorkers_ = nullptr;  // the last one to become idle first: its caches are warm
  Worker* allWorkers_ = nullptr;
  std::size_t workers_ = 0;
  std::size_t idle_ = 0;
  std::size_t blocked_ = 0;
  std::size_t sleepers_ = 0;  // seen sleeping when somebody looked last
};

}  // namespace kvt::dispatch
