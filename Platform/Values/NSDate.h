// A point in time, as seconds since the first instant of 2001 in UTC. It knows no calendar and no time zone.
//
//     NSDate start = NSDate::dateWithTimeIntervalSince1970(1390220688);
//     start.description();                                    // "2014-01-20 12:24:48 +0000"
//     start.dateByAddingTimeInterval(60).timeIntervalSinceDate(start);   // 60
//     if (start.compare(NSDate::date()) == NSOrderedAscending) …         // in the past
//
// Intervals are seconds as doubles: about 0.1 µs of resolution today. Thread rule: immutable, any thread.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

/// From 1970-01-01 to 2001-01-01.
inline constexpr NSTimeInterval NSTimeIntervalSince1970 = 978307200.0;

class KVT_EXPORT NSDate : public id {
  KVT_HANDLE(NSDate, id)

 public:
  /// Now.
  static NSDate date();
  static NSDate now() { return date(); }
  static NSDate dateWithTimeIntervalSince1970(NSTimeInterval seconds);
  static NSDate dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds);
  static NSDate dateWithTimeIntervalSinceNow(NSTimeInterval seconds);
  /// nil when `date` is nil.
  static NSDate dateWithTimeInterval_sinceDate(NSTimeInterval seconds, const NSDate& date);
  /// The first day of year 1 and of year 4001.
  static NSDate distantPast();
  static NSDate distantFuture();

  /// Every interval is 0 on nil. Infinite and NaN intervals are kept as they are.
  NSTimeInterval timeIntervalSinceReferenceDate() const noexcept;
  NSTimeInterval timeIntervalSince1970() const noexcept;
  /// Positive when the date is in the future.
  NSTimeInterval timeIntervalSinceNow() const;
  /// Positive when the receiver is the later one; 0 when either is nil.
  NSTimeInterval timeIntervalSinceDate(const NSDate& other) const noexcept;
  /// Of this moment: the class operation of the same selector.
  static NSTimeInterval timeIntervalSinceReferenceDate_class();

  NSDate dateByAddingTimeInterval(NSTimeInterval seconds) const;
  /// Raises NSInvalidArgumentException for nil. A date made from NaN equals another such and is earlier than all
  /// others.
  NSComparisonResult compare(const NSDate& other) const;
  /// The receiver when both are equal or `other` is nil.
  NSDate earlierDate(const NSDate& other) const;
  NSDate laterDate(const NSDate& other) const;
  /// The same instant to the last bit; NO for nil on either side.
  bool isEqualToDate(const NSDate& other) const noexcept;

  // `description`: UTC to the second, rounded down, Julian calendar before 1582-10-15: "2014-01-20 12:24:48 +0000".
  // Years before 1 are counted 0, -1, …; what no calendar reaches prints its seconds: "inf s since 2001-01-01 00:00:00
  // +0000".
};

}  // namespace kvt
