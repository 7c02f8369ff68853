#include "Futex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace kvt::dispatch {
namespace {

long call(const std::atomic<std::uint32_t>& word, int operation, std::uint32_t value, const std::timespec* deadline) {
  return ::syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
}

}  // namespace

void futexWait(const std::atomic<std::uint32_t>& word, std::uint32_t expected) noexcept {
  call(word, FUTEX_WAIT_BITSET, expected, nullptr);
}

bool futexWaitUntil(const std::atomic<std::uint32_t>& word, std::uint32_t expected, clockid_t clock,
                    const std::timespec& deadline) noexcept {
  const int realTime = clock == CLOCK_REALTIME ? FUTEX_CLOCK_REALTIME : 0;
  return call(word, FUTEX_WAIT_BITSET | realTime, expected, &deadline) == 0 || errno != ETIMEDOUT;
}

void futexWake(const std::atomic<std::uint32_t>& word, int threads) noexcept {
  call(word, FUTEX_WAKE, static_cast<std::uint32_t>(threads), nullptr);
}

void ShortLock::lockSlowly() noexcept {
  for (int i = 0; i < 64; ++i) {
    pauseBriefly();
    if (word_.load(std::memory_order_relaxed) == kFree && try_lock()) return;
  }
  while (word_.exchange(kWanted, std::memory_order_acquire) != kFree) futexWait(word_, kWanted);
}

bool ShortLock::lockUntil(const std::timespec& deadline) noexcept {
  if (try_lock()) return true;
  while (word_.exchange(kWanted, std::memory_order_acquire) != kFree) {
    if (!futexWaitUntil(word_, kWanted, CLOCK_REALTIME, deadline)) return false;
  }
  return true;
}

std::uint32_t currentThreadId() noexcept {
  thread_local const auto number = static_cast<std::uint32_t>(::syscall(SYS_gettid));
  return number;
}

}  // namespace kvt::dispatch
