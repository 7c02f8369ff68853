#include "Event.h"

#include "Futex.h"
#include "TimerService.h"
#include "WorkerPool.h"

namespace kvt::dispatch {

/// Ends a wait when its time has come.
class TimeLimit final : public TimerEntry {
 public:
  explicit TimeLimit(Event& event) noexcept : event_(&event) {}
  void fire(std::uint64_t) noexcept override {
    std::lock_guard lock(mutex_);
    if (event_ != nullptr) event_->settle(Event::kTimedOut);
  }
  void forget() noexcept {
    std::lock_guard lock(mutex_);
    event_ = nullptr;
  }

 private:
  std::mutex mutex_;
  Event* event_;
};

bool Event::settle(std::uint32_t state) noexcept {
  std::uint32_t expected = kWaiting;
  if (!state_.compare_exchange_strong(expected, state, std::memory_order_acq_rel)) return false;
  // The waiting thread may be gone by now: only the address is used.
  futexWake(state_, 1);
  return true;
}

void Event::wait() noexcept {
  if (state_.load(std::memory_order_acquire) != kWaiting) return;
  WorkerPool::BlockingScope blocking;
  while (state_.load(std::memory_order_acquire) == kWaiting) futexWait(state_, kWaiting);
}

bool Event::waitUntil(dispatch_time_t deadline) {
  if (deadline == DISPATCH_TIME_FOREVER) {
    wait();
    return true;
  }
  TimerService& timers = TimerService::shared();
  const std::uint64_t due = timers.monotonic(deadline);
  if (due <= timers.now()) return !settle(kTimedOut);
  auto* limit = new TimeLimit(*this);
  const Handle owner(adopt, limit);
  timers.arm(limit, due, 0);
  wait();
  timers.disarm(limit);
  limit->forget();
  return state_.load(std::memory_order_acquire) == kSignalled;
}

}  // namespace kvt::dispatch
