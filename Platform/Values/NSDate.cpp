#include "NSDate.h"

#include <ctime>

#include <bit>
#include <cmath>
#include <cstdio>
#include <string>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSDateBody.h"
#include "NSNumberBody.h"
#include "NSObject.h"
#include "NSString.h"

namespace kvt {
namespace {

constexpr NSTimeInterval kDistantPast = -63114076800.0;   // 0001-01-01 of the Julian calendar
constexpr NSTimeInterval kDistantFuture = 63113904000.0;  // 4001-01-01

NSTimeInterval intervalOf(const Object* date) noexcept { return static_cast<const DateBody*>(date)->interval; }

NSTimeInterval now() noexcept {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return static_cast<double>(time.tv_sec) - NSTimeIntervalSince1970 + static_cast<double>(time.tv_nsec) * 1e-9;
}

NSDate dateWith(NSTimeInterval interval) { return NSDate(adopt, new DateBody(interval)); }

/// NaN is a date of its own, before all others: a total order, so that sorting and equality hold together.
int order(NSTimeInterval a, NSTimeInterval b) noexcept {
  if (std::isnan(a) || std::isnan(b)) return static_cast<int>(std::isnan(b)) - static_cast<int>(std::isnan(a));
  return a < b ? -1 : a > b ? 1 : 0;
}

// ---- description --------------------------------------------------------------------------------------------------

struct Day {
  std::int64_t year;
  int month, day;
};

/// Years that begin in March put the leap day at their end. `dayOfYear` counts from 0.
Day fromMarch(std::int64_t year, std::int64_t dayOfYear) noexcept {
  const std::int64_t month = (5 * dayOfYear + 2) / 153;
  const std::int64_t day = dayOfYear - (153 * month + 2) / 5 + 1;
  return {year + (month >= 10 ? 1 : 0), static_cast<int>(month < 10 ? month + 3 : month - 9), static_cast<int>(day)};
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) noexcept { return a / b - (a % b < 0 ? 1 : 0); }

/// The calendar day, `days` after 1970-01-01.
Day dayFrom(std::int64_t days) noexcept {
  constexpr std::int64_t kGregorianStart = -141427;  // 1582-10-15
  if (days < kGregorianStart) {
    const std::int64_t sinceMarchOfYear0 = days + 719470;
    const std::int64_t cycle = floorDivide(sinceMarchOfYear0, 1461);
    const std::int64_t dayOfCycle = sinceMarchOfYear0 - cycle * 1461;
    const std::int64_t yearOfCycle = std::min<std::int64_t>(dayOfCycle / 365, 3);
    return fromMarch(cycle * 4 + yearOfCycle, dayOfCycle - yearOfCycle * 365);
  }
  const std::int64_t sinceMarchOfYear0 = days + 719468;
  const std::int64_t cycle = sinceMarchOfYear0 / 146097;
  const std::int64_t dayOfCycle = sinceMarchOfYear0 % 146097;
  const std::int64_t yearOfCycle = (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / 146096) / 365;
  return fromMarch(cycle * 400 + yearOfCycle, dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100));
}

std::string describe(NSTimeInterval interval) {
  // Beyond this, seconds are no longer told apart and years have ten digits.
  if (!(std::fabs(interval) < 1e17)) {
    char text[kNumberTextSize];
    return std::string(text, formatNumber(interval, text)) + " s since 2001-01-01 00:00:00 +0000";
  }
  const std::int64_t seconds =
      static_cast<std::int64_t>(std::floor(interval)) + static_cast<std::int64_t>(NSTimeIntervalSince1970);
  const std::int64_t days = floorDivide(seconds, 86400);
  const int rest = static_cast<int>(seconds - days * 86400);
  const Day day = dayFrom(days);
  char text[96];
  const int length = std::snprintf(text, sizeof text, "%s%04lld-%02d-%02d %02d:%02d:%02d +0000",
                                   day.year < 0 ? "-" : "", static_cast<long long>(day.year < 0 ? -day.year : day.year),
                                   day.month, day.day, rest / 3600, rest / 60 % 60, rest % 60);
  return std::string(text, static_cast<std::size_t>(length));
}

// ---- class --------------------------------------------------------------------------------------------------------

std::uint64_t hashOf(const Object* date) {
  const NSTimeInterval interval = intervalOf(date);
  if (std::isnan(interval)) return 0x7FF8;
  // Adding 0 takes the sign from -0, which equals 0.
  std::uint64_t bits = std::bit_cast<std::uint64_t>(interval + 0.0);
  bits ^= bits >> 32;
  bits *= 0xE9846AF9B1A615DU;
  return bits ^ (bits >> 32);
}

bool isEqualObject(const Object* a, const Object* b) {
  return isKindBetween(b, kDateKind, kDateKind) && order(intervalOf(a), intervalOf(b)) == 0;
}

bool isEqualMethod(const NSDate& self, const id& other) { return self.isEqualToDate(other.as<NSDate>()); }
std::uint64_t hashMethod(const NSDate& self) { return hashOf(self.object()); }
NSString descriptionMethod(const NSDate& self) { return NSString(describe(self.timeIntervalSinceReferenceDate())); }
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}
Object* createNow(Class) { return new DateBody(now()); }

}  // namespace

Class NSDate::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSDate> c("NSDate", classOf<NSObject>());
    c.createWith(&createNow);
    c.classMethod<&NSDate::date>("date").classMethod<&NSDate::now>("now");
    c.classMethod<&NSDate::dateWithTimeIntervalSince1970>("dateWithTimeIntervalSince1970:");
    c.classMethod<&NSDate::dateWithTimeIntervalSinceReferenceDate>("dateWithTimeIntervalSinceReferenceDate:");
    c.classMethod<&NSDate::dateWithTimeIntervalSinceNow>("dateWithTimeIntervalSinceNow:");
    c.classMethod<&NSDate::dateWithTimeInterval_sinceDate>("dateWithTimeInterval:sinceDate:");
    c.classMethod<&NSDate::distantPast>("distantPast").classMethod<&NSDate::distantFuture>("distantFuture");
    c.classMethod<&NSDate::timeIntervalSinceReferenceDate_class>("timeIntervalSinceReferenceDate");
    c.method<&NSDate::timeIntervalSinceReferenceDate>("timeIntervalSinceReferenceDate");
    c.method<&NSDate::timeIntervalSince1970>("timeIntervalSince1970");
    c.method<&NSDate::timeIntervalSinceNow>("timeIntervalSinceNow");
    c.method<&NSDate::timeIntervalSinceDate>("timeIntervalSinceDate:");
    c.method<&NSDate::dateByAddingTimeInterval>("dateByAddingTimeInterval:");
    c.method<&NSDate::compare>("compare:").method<&NSDate::isEqualToDate>("isEqualToDate:");
    c.method<&NSDate::earlierDate>("earlierDate:").method<&NSDate::laterDate>("laterDate:");
    c.method<&isEqualMethod>("isEqual:").method<&hashMethod>("hash").method<&descriptionMethod>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kDateKind, {&hashOf, &isEqualObject});
    return c.registerClass();
  }();
  return cls;
}

bool NSDate::kvtAccepts(const Object* object) noexcept { return isKindBetween(object, kDateKind, kDateKind); }

[[maybe_unused]] static const bool registered = (classOf<NSDate>(), true);

NSDate NSDate::date() { return dateWith(kvt::now()); }
NSDate NSDate::dateWithTimeIntervalSince1970(NSTimeInterval seconds) {
  return dateWith(seconds - NSTimeIntervalSince1970);
}
NSDate NSDate::dateWithTimeIntervalSinceReferenceDate(NSTimeInterval seconds) { return dateWith(seconds); }
NSDate NSDate::dateWithTimeIntervalSinceNow(NSTimeInterval seconds) { return dateWith(kvt::now() + seconds); }
NSDate NSDate::dateWithTimeInterval_sinceDate(NSTimeInterval seconds, const NSDate& date) {
  return date.dateByAddingTimeInterval(seconds);
}

NSDate NSDate::distantPast() {
  static const NSDate date = dateWith(kDistantPast);
  return date;
}
NSDate NSDate::distantFuture() {
  static const NSDate date = dateWith(kDistantFuture);
  return date;
}

NSTimeInterval NSDate::timeIntervalSinceReferenceDate() const noexcept { return *this ? intervalOf(object()) : 0; }
NSTimeInterval NSDate::timeIntervalSince1970() const noexcept {
  return *this ? intervalOf(object()) + NSTimeIntervalSince1970 : 0;
}
NSTimeInterval NSDate::timeIntervalSinceNow() const { return *this ? intervalOf(object()) - kvt::now() : 0; }
NSTimeInterval NSDate::timeIntervalSinceDate(const NSDate& other) const noexcept {
  return *this && other ? intervalOf(object()) - intervalOf(other.object()) : 0;
}
NSTimeInterval NSDate::timeIntervalSinceReferenceDate_class() { return kvt::now(); }

NSDate NSDate::dateByAddingTimeInterval(NSTimeInterval seconds) const {
  return *this ? dateWith(intervalOf(object()) + seconds) : NSDate();
}

NSComparisonResult NSDate::compare(const NSDate& other) const {
  if (!*this) return NSOrderedSame;
  if (!other) objc_raise("NSInvalidArgumentException", "-[NSDate compare:]: nil argument");
  return static_cast<NSComparisonResult>(order(intervalOf(object()), intervalOf(other.object())));
}
NSDate NSDate::earlierDate(const NSDate& other) const {
  return *this && other && order(intervalOf(other.object()), intervalOf(object())) < 0 ? other : *this;
}
NSDate NSDate::laterDate(const NSDate& other) const {
  return *this && other && order(intervalOf(other.object()), intervalOf(object())) > 0 ? other : *this;
}
bool NSDate::isEqualToDate(const NSDate& other) const noexcept {
  return *this && other && order(intervalOf(object()), intervalOf(other.object())) == 0;
}

}  // namespace kvt
