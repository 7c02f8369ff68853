// The body of a date, for the units that make many of them; not installed.
#pragma once

#include "Kinds.h"
#include "NSDate.h"

namespace kvt {

struct DateBody final : Object {
  explicit DateBody(NSTimeInterval sinceReferenceDate) noexcept
      : Object(classOf<NSDate>(), objectKind(kDateKind)), interval(sinceReferenceDate) {
    ObjectAccess::markImmutableValue(this);
    ObjectAccess::markDestructorNeedless(this);
  }
  const NSTimeInterval interval;  // seconds since 2001-01-01 UTC
};

}  // namespace kvt
