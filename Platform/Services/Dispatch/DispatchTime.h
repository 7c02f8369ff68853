// Points in time for the functions that wait or fire later.
//
//     dispatch_time(DISPATCH_TIME_NOW, 5 * NSEC_PER_SEC)      // in five seconds of the running machine
//     dispatch_walltime(nullptr, 60 * NSEC_PER_SEC)           // in a minute by the clock on the wall
//
// The plain times count nanoseconds of the monotonic clock; times on the wall are converted when a timer or a wait
// takes them, and a change of the wall clock after that is not followed. Both read the clock that DispatchControl.h can
// stop. Thread rule: any thread.
#pragma once

#include <cstdint>
#include <ctime>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

using dispatch_time_t = std::uint64_t;

inline constexpr dispatch_time_t DISPATCH_TIME_NOW = 0;
inline constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~std::uint64_t{0};

inline constexpr std::uint64_t NSEC_PER_SEC = 1'000'000'000;
inline constexpr std::uint64_t NSEC_PER_MSEC = 1'000'000;
inline constexpr std::uint64_t NSEC_PER_USEC = 1'000;
inline constexpr std::uint64_t USEC_PER_SEC = 1'000'000;

/// `nanoseconds` (which may be negative) after `when`: DISPATCH_TIME_NOW, or what this function or `dispatch_walltime`
/// answered. What lies before the clock's beginning counts as its first nanosecond, what lies beyond its end as
/// DISPATCH_TIME_FOREVER, which stays itself.
KVT_EXPORT dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds) noexcept;

/// `nanoseconds` after a time of day (null: now).
KVT_EXPORT dispatch_time_t dispatch_walltime(const std::timespec* when, std::int64_t nanoseconds) noexcept;

}  // namespace kvt
