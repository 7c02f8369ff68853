// One thread waits, another one says that it may go on; not installed.
#pragma once

#include <atomic>
#include <cstdint>

#include "DispatchTime.h"

namespace kvt::dispatch {

/// Lies with the thread that waits, which may destroy it as soon as it is let go.
class Event {
 public:
  /// Lets the waiting thread go; false when it has been let go before.
  bool signal() noexcept { return settle(kSignalled); }
  /// Until it is signalled. A pool's thread does not count as running meanwhile.
  void wait() noexcept;
  /// False when the time came first.
  bool waitUntil(dispatch_time_t deadline);

 private:
  friend class TimeLimit;
  enum : std::uint32_t { kWaiting, kSignalled, kTimedOut };
  bool settle(std::uint32_t state) noexcept;

  std::atomic<std::uint32_t> state_{kWaiting};
};

}  // namespace kvt::dispatch
