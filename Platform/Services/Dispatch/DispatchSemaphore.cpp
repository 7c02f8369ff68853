#include "DispatchSemaphore.h"

#include <atomic>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "WaitList.h"

namespace kvt {
namespace {

// How many may pass (upper half) and how many wait (lower half), in one word.
constexpr std::uint64_t kOneMayPass = std::uint64_t{1} << 32;
constexpr std::uint64_t kOneWaits = 1;
constexpr bool mayPass(std::uint64_t state) noexcept { return state >= kOneMayPass; }
constexpr bool isWaitedFor(std::uint64_t state) noexcept { return (state & (kOneMayPass - 1)) != 0; }

class SemaphoreBody final : public Object {
 public:
  explicit SemaphoreBody(std::uint64_t value)
      : Object(classOf<OS_dispatch_semaphore>(), ObjectKind::kPlain), state_(value * kOneMayPass) {}

  /// False when the time came first.
  bool wait(dispatch_time_t timeout) {
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    while (mayPass(state)) {
      if (state_.compare_exchange_weak(state, state - kOneMayPass, std::memory_order_acquire)) return true;
    }
    std::unique_lock lock(mutex_);
    while (!state_.compare_exchange_weak(state, mayPass(state) ? state - kOneMayPass : state + kOneWaits,
                                         std::memory_order_acquire)) {
    }
    if (mayPass(state)) return true;
    const bool passes = list_.wait(lock, timeout);
    state_.fetch_sub(kOneWaits, std::memory_order_relaxed);
    return passes;
  }

  /// Whether it woke a thread.
  bool signal() noexcept {
    std::uint64_t state = state_.load(std::memory_order_relaxed);
    while (!isWaitedFor(state)) {
      if (state_.compare_exchange_weak(state, state + kOneMayPass, std::memory_order_release)) return false;
    }
    std::lock_guard lock(mutex_);
    if (list_.wakeOne()) return true;
    // Those that wait have been let go, or have run out of time, and are about to leave.
    state_.fetch_add(kOneMayPass, std::memory_order_release);
    return false;
  }

 private:
  std::atomic<std::uint64_t> state_;
  std::mutex mutex_;
  dispatch::WaitList list_;
};

SemaphoreBody& bodyOf(const dispatch_semaphore_t& semaphore) {
  return *static_cast<SemaphoreBody*>(semaphore.object());
}

}  // namespace

Class OS_dispatch_semaphore::kvtClass() {
  static const Class cls =
      ClassBuilder<OS_dispatch_semaphore>("OS_dispatch_semaphore", classOf<OS_dispatch_object>()).registerClass();
  return cls;
}
bool OS_dispatch_semaphore::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const SemaphoreBody*>(object) != nullptr;
}
[[maybe_unused]] static const bool registered = (classOf<OS_dispatch_semaphore>(), true);

dispatch_semaphore_t dispatch_semaphore_create(std::intptr_t value) {
  if (value < 0 || value > INT32_MAX) return {};
  return {adopt, new SemaphoreBody(static_cast<std::uint64_t>(value))};
}

std::intptr_t dispatch_semaphore_wait(const dispatch_semaphore_t& semaphore, dispatch_time_t timeout) {
  return !semaphore || bodyOf(semaphore).wait(timeout) ? 0 : 1;
}

std::intptr_t dispatch_semaphore_signal(const dispatch_semaphore_t& semaphore) {
  return semaphore && bodyOf(semaphore).signal() ? 1 : 0;
}

}  // namespace kvt
