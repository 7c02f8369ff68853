// What other value types need of a time zone; not installed.
#pragma once

#include <unicode/basictz.h>

#include <memory>

#include "Kinds.h"
#include "NSString.h"
#include "NSTimeZone.h"

namespace kvt {

struct TimeZoneBody final : Object {
  TimeZoneBody(const NSString& zoneName, std::unique_ptr<const icu::TimeZone> icuZone);

  const NSString name;
  /// Only its const operations are used, from any thread.
  const std::unique_ptr<const icu::TimeZone> zone;
  /// The same when ICU knows its transitions, as it does of every zone but foreign ones.
  const icu::BasicTimeZone* const rules;
};

/// The zone must not be nil.
inline const TimeZoneBody& bodyOfTimeZone(const NSTimeZone& zone) noexcept {
  return *static_cast<const TimeZoneBody*>(zone.object());
}
inline const icu::TimeZone& icuTimeZoneOf(const NSTimeZone& zone) noexcept { return *bodyOfTimeZone(zone).zone; }

/// Rises when another zone becomes the default; what caches by the default zone carries it.
std::uint64_t defaultTimeZoneGeneration() noexcept;

/// Seconds since 2001 as ICU counts: milliseconds since 1970, within the range that its calendars can take. NaN gives
/// 0.
double icuDateFrom(NSTimeInterval secondsSince2001) noexcept;

}  // namespace kvt
