// The thread that waits for time to pass; not installed.
//
// Entries lie in a heap by the latest time at which they may fire. The thread sleeps until the first of these, then
// takes everything whose own time has come, in that order: so one wake serves all that leeway allows. Entries fire
// outside the lock, one after another, on that thread (or on the one that advances a manual clock).
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include <KVTPlatform/Runtime/Handle.h>

#include "DispatchControl.h"
#include "DispatchTime.h"
#include "Futex.h"

namespace kvt::dispatch {

/// Held by the heap while it is armed.
class TimerEntry : public Object {
 public:
  /// `due` is the time it was armed for: whoever arms anew can tell an old call.
  virtual void fire(std::uint64_t due) noexcept = 0;

 private:
  friend class TimerService;
  static constexpr std::size_t kNotArmed = ~std::size_t{0};
  std::size_t index_ = kNotArmed;
  std::uint64_t due_ = 0;
};

class TimerService {
 public:
  /// Never destroyed.
  static TimerService& shared();

  /// Fires once between `due` and `due + leeway`, in nanoseconds of the monotonic clock; not for ~0. An armed entry
  /// moves.
  void arm(TimerEntry* entry, std::uint64_t due, std::uint64_t leeway);
  /// A call that has been taken from the heap still comes.
  void disarm(TimerEntry* entry) noexcept;

  /// The pool's threads are all taken: have a look at them soon.
  void watchWorkers() noexcept;

  // The clocks; a manual one stands for both while there is one.
  std::uint64_t now() const noexcept;
  std::uint64_t wallNow() const noexcept;
  /// A point in time as the monotonic clock has it: ~0 for never.
  std::uint64_t monotonic(dispatch_time_t time) const noexcept;
  static std::uint64_t realNow() noexcept;

  /// False when there is one.
  bool beginManualClock();
  void endManualClock();
  void advance(std::uint64_t nanoseconds);

  void statistics(DispatchStatistics& result) noexcept;

 private:
  struct Slot {
    std::uint64_t deadline;
    TimerEntry* entry;
  };
  struct Due {
    Handle entry;
    std::uint64_t time;
  };

  void start();
  void wakeThread() noexcept;
  void threadMain();
  void take(std::size_t index, std::vector<Due>& due);
  /// Out of the heap, by deadline, until one comes that is not due.
  void collect(std::uint64_t now, std::vector<Due>& due);
  /// Every one that is due, wherever it lies.
  void collectAll(std::uint64_t now, std::vector<Due>& due);
  static void fireAll(std::vector<Due>& due);
  void place(std::size_t index, Slot slot) noexcept;
  void siftUp(std::size_t index, Slot slot) noexcept;
  void siftDown(std::size_t index, Slot slot) noexcept;
  void removeAt(std::size_t index) noexcept;

  ShortLock mutex_;
  std::atomic<std::uint32_t> changes_{0};  // what the thread sleeps on
  std::vector<Slot> heap_;
  bool started_ = false;
  std::uint64_t sleepsUntil_ = ~std::uint64_t{0};
  std::uint64_t wakes_ = 0;
  std::atomic<bool> watching_{false};
  std::uint64_t watchAt_ = 0;

  bool overdue_ = false;  // armed for a time that the manual clock has reached
  std::atomic<bool> manual_{false};
  std::atomic<std::uint64_t> manualNow_{0};
  std::atomic<std::uint64_t> manualWallOffset_{0};
};

}  // namespace kvt::dispatch
