// Waiting for a word to change; not installed. Only the kernel's part: the word itself is an atomic, which carries the
// ordering.
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt::dispatch {

/// Returns when the word is no longer `expected`, when it was woken, or for no reason at all.
void futexWait(const std::atomic<std::uint32_t>& word, std::uint32_t expected) noexcept;
/// The same; false when the absolute time of the clock (CLOCK_MONOTONIC or CLOCK_REALTIME) came first.
bool futexWaitUntil(const std::atomic<std::uint32_t>& word, std::uint32_t expected, clockid_t clock,
                    const std::timespec& deadline) noexcept;
KVT_EXPORT void futexWake(const std::atomic<std::uint32_t>& word, int threads) noexcept;

/// For loops that look whether something has changed: the core's other thread has its turn.
inline void pauseBriefly() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  __asm__ volatile("yield");
#endif
}

/// A lock of one word, for what takes some tens of nanoseconds: who finds it taken looks again for a moment before
/// going to sleep, because waking costs a hundred times as much as waiting.
class ShortLock {
 public:
  void lock() noexcept {
    if (!try_lock()) lockSlowly();
  }
  bool try_lock() noexcept {
    std::uint32_t expected = kFree;
    return word_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire, std::memory_order_relaxed);
  }
  /// False when the time of CLOCK_REALTIME came first.
  bool lockUntil(const std::timespec& deadline) noexcept;
  void unlock() noexcept {
    if (word_.exchange(kFree, std::memory_order_release) == kWanted) futexWake(word_, 1);
  }

 private:
  enum : std::uint32_t { kFree, kTaken, kWanted };
  KVT_EXPORT void lockSlowly() noexcept;
  std::atomic<std::uint32_t> word_{kFree};
};

/// The thread's number in the system, asked for once.
std::uint32_t currentThreadId() noexcept;

}  // namespace kvt::dispatch
