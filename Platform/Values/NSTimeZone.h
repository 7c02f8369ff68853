// A time zone: how far the clocks of a place are from GMT, at any point in time.
//
//     NSTimeZone shanghai = NSTimeZone::timeZoneWithName("Asia/Shanghai");
//     shanghai.secondsFromGMTForDate(date);                                // 28800
//     NSTimeZone::timeZoneForSecondsFromGMT(-12600).name();                // "GMT-0330"
//     formatter.setTimeZone(NSTimeZone::timeZoneWithName("GMT"));
//
// Every operation answers nil, 0 or NO on nil. Thread rule: immutable, any thread; the process's default zone may be
// set and read from any thread.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSArray;
class NSDate;
class NSString;

class KVT_EXPORT NSTimeZone : public id {
  KVT_HANDLE(NSTimeZone, id)

 public:
  /// By an identifier of the time-zone database ("Europe/Berlin", "UTC") or an offset ("GMT+8", "GMT+0800",
  /// "GMT-03:30"); nil for nil and for a name that is unknown. Case matters.
  static NSTimeZone timeZoneWithName(const NSString& name);
  /// Clocks that are that many seconds east of GMT all year, named "GMT+0800"; nil beyond 18 hours.
  static NSTimeZone timeZoneForSecondsFromGMT(NSInteger seconds);

  /// The machine's zone: TZ or /etc/localtime as they were at the first call or the last `resetSystemTimeZone`. GMT
  /// when neither says anything that is known.
  static NSTimeZone systemTimeZone();
  static void resetSystemTimeZone();
  /// What the process works in unless told otherwise: the system's zone until another one is set.
  static NSTimeZone defaultTimeZone();
  /// nil: the system's zone again.
  static void setDefaultTimeZone(const NSTimeZone& zone);
  /// The default zone as it is now.
  static NSTimeZone localTimeZone() { return defaultTimeZone(); }
  /// Every identifier that names a place.
  static NSArray knownTimeZoneNames();

  NSString name() const;
  /// East of GMT is positive; daylight saving is counted in. The first is about this moment; a nil date means this
  /// moment too.
  NSInteger secondsFromGMT() const;
  NSInteger secondsFromGMTForDate(const NSDate& date) const;
  /// "GMT+8", "PST", "PDT"; as written in American English.
  NSString abbreviation() const;
  NSString abbreviationForDate(const NSDate& date) const;
  bool isDaylightSavingTime() const;
  bool isDaylightSavingTimeForDate(const NSDate& date) const;
  /// The part of the offset that is daylight saving, in seconds.
  NSTimeInterval daylightSavingTimeOffset() const;
  NSTimeInterval daylightSavingTimeOffsetForDate(const NSDate& date) const;

  /// Zones of one name; `isEqual:` says the same.
  bool isEqualToTimeZone(const NSTimeZone& other) const;

  // `description`: "Asia/Shanghai (GMT+8) offset 28800", with " (Daylight)" at the end while clocks are put forward. A
  // copy is the zone itself.
};

}  // namespace kvt
