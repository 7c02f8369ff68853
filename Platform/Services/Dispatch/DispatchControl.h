// For tests and for hosts that want to look inside: a clock that stands still, and what the library's threads do.
//
//     DispatchManualClock clock;                                // time stands still from here on
//     dispatch_after(dispatch_time(DISPATCH_TIME_NOW, 5 * NSEC_PER_SEC), queue, work);
//     clock.advance(5 * NSEC_PER_SEC);                          // `work` is on `queue` when this returns
//     dispatch_sync(queue, [] {});                              // and has run when that does
//
// Thread rule: any thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

/// Stops the clock behind `dispatch_time`, `dispatch_after`, timer sources and waits with a time limit, for as long as
/// it lives; there is one at a time (a second one raises NSInternalInconsistencyException). Afterwards the clock is the
/// real one again, and what was to come at a time that it has reached comes.
class KVT_EXPORT DispatchManualClock {
 public:
  DispatchManualClock();
  ~DispatchManualClock();
  DispatchManualClock(const DispatchManualClock&) = delete;
  DispatchManualClock& operator=(const DispatchManualClock&) = delete;

  /// Lets time pass. Everything whose time has come by then is on its queue when this returns, what came first first,
  /// and in the same wakes as the real clock would make; but a leeway that reaches beyond the end is not waited for.
  void advance(std::uint64_t nanoseconds);
  /// The monotonic clock in nanoseconds.
  std::uint64_t now() const noexcept;
};

struct DispatchStatistics {
  std::size_t workers = 0;         // threads that run work
  std::size_t idleWorkers = 0;     // of these: without work
  std::size_t blockedWorkers = 0;  // of these: waiting in a function of this folder
  std::size_t waitingItems = 0;    // pieces of work, and queues with work, that wait for a thread
  std::size_t timers = 0;          // armed timers, `dispatch_after` and waits with a time limit
  std::uint64_t timerWakes = 0;    // how often time came for at least one of them
};
KVT_EXPORT DispatchStatistics dispatch_statistics() noexcept;

/// After how many nanoseconds without work a thread ends; five seconds without this call. Those that have none now
/// count from the call.
KVT_EXPORT void dispatch_set_worker_idle_time(std::uint64_t nanoseconds) noexcept;

}  // namespace kvt
