#include "NSTimeZone.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <unicode/locid.h>
#include <unicode/simpletz.h>
#include <unicode/strenum.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "NSArray.h"
#include "NSDate.h"
#include "NSObject.h"
#include "NSTimeZoneBody.h"

namespace kvt {
namespace {

constexpr std::size_t kLongestName = 127;
constexpr NSInteger kFarthestOffset = 18 * 3600;

std::uint64_t hashOf(const Object* object) { return static_cast<const TimeZoneBody*>(object)->name.hash(); }
bool isEqualTo(const Object* object, const Object* other) {
  return NSTimeZone::kvtAccepts(other) &&
         static_cast<const TimeZoneBody*>(object)->name == static_cast<const TimeZoneBody*>(other)->name;
}
std::uint64_t hashMethod(const NSTimeZone& self) { return hashOf(self.object()); }
bool isEqualMethod(const NSTimeZone& self, const id& other) {
  return isIdentical(self, other) || (other && isEqualTo(self.object(), other.object()));
}
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

struct Offset {
  NSInteger total = 0;
  NSInteger daylight = 0;
};

Offset offsetAt(const NSTimeZone& zone, const NSDate& date) {
  const NSDate when = date ? date : NSDate::date();
  std::int32_t raw = 0, daylight = 0;
  UErrorCode status = U_ZERO_ERROR;
  icuTimeZoneOf(zone).getOffset(icuDateFrom(when.timeIntervalSinceReferenceDate()), false, raw, daylight, status);
  if (U_FAILURE(status)) return Offset();
  return {(raw + daylight) / 1000, daylight / 1000};
}

NSString descriptionMethod(const NSTimeZone& self) {
  const NSDate now = NSDate::date();
  const Offset offset = offsetAt(self, now);
  std::string text =
      self.name().str() + " (" + self.abbreviationForDate(now).str() + ") offset " + std::to_string(offset.total);
  if (offset.daylight != 0) text += " (Daylight)";
  return NSString(text);
}

NSTimeZone makeZone(const NSString& name, const icu::TimeZone* zone) {
  return NSTimeZone(adopt, new TimeZoneBody(name, std::unique_ptr<const icu::TimeZone>(zone)));
}

/// The default zone and what it stands for. Never destroyed: other objects may format dates while the process ends.
struct DefaultZone {
  std::mutex lock;
  NSTimeZone system;
  NSTimeZone chosen;
  std::atomic<std::uint64_t> generation{1};
};
DefaultZone& defaultZone() {
  static auto* const zone = new DefaultZone;
  return *zone;
}

NSTimeZone detectSystemZone() {
  // ICU looks at the machine when it first needs its own default. Let that be over before asking again, which is not
  // guarded.
  delete icu::TimeZone::createDefault();
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
  icu::UnicodeString name;
  if (zone == nullptr || *zone == icu::TimeZone::getUnknown()) zone.reset(icu::TimeZone::getGMT()->clone());
  zone->getID(name);
  return makeZone(NSString(std::u16string_view(name.getBuffer(), static_cast<std::size_t>(name.length()))),
                  zone.release());
}

/// The lock is held.
const NSTimeZone& systemZone(DefaultZone& state) {
  if (!state.system) state.system = detectSystemZone();
  return state.system;
}

}  // namespace

TimeZoneBody::TimeZoneBody(const NSString& zoneName, std::unique_ptr<const icu::TimeZone> icuZone)
    : Object(classOf<NSTimeZone>(), objectKind(kTimeZoneKind)),
      name(zoneName),
      zone(std::move(icuZone)),
      rules(dynamic_cast<const icu::BasicTimeZone*>(zone.get())) {
  ObjectAccess::markImmutableValue(this);
}

std::uint64_t defaultTimeZoneGeneration() noexcept { return defaultZone().generation.load(std::memory_order_acquire); }

double icuDateFrom(NSTimeInterval secondsSince2001) noexcept {
  // A little within what ICU's calendars refuse.
  constexpr double kFarthest = 183'800'000'000'000'000.0;
  if (std::isnan(secondsSince2001)) return 0;
  return std::clamp((secondsSince2001 + NSTimeIntervalSince1970) * 1000.0, -kFarthest, kFarthest);
}

Class NSTimeZone::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSTimeZone> c("NSTimeZone", classOf<NSObject>());
    c.classMethod<&NSTimeZone::timeZoneWithName>("timeZoneWithName:");
    c.classMethod<&NSTimeZone::timeZoneForSecondsFromGMT>("timeZoneForSecondsFromGMT:");
    c.classMethod<&NSTimeZone::systemTimeZone>("systemTimeZone");
    c.classMethod<&NSTimeZone::resetSystemTimeZone>("resetSystemTimeZone");
    c.classMethod<&NSTimeZone::defaultTimeZone>("defaultTimeZone");
    c.classMethod<&NSTimeZone::setDefaultTimeZone>("setDefaultTimeZone:");
    c.classMethod<&NSTimeZone::localTimeZone>("localTimeZone");
    c.classMethod<&NSTimeZone::knownTimeZoneNames>("knownTimeZoneNames");
    c.method<&NSTimeZone::name>("name").method<&NSTimeZone::secondsFromGMT>("secondsFromGMT");
    c.method<&NSTimeZone::secondsFromGMTForDate>("secondsFromGMTForDate:");
    c.method<&NSTimeZone::abbreviation>("abbreviation");
    c.method<&NSTimeZone::abbreviationForDate>("abbreviationForDate:");
    c.method<&NSTimeZone::isDaylightSavingTime>("isDaylightSavingTime");
    c.method<&NSTimeZone::isDaylightSavingTimeForDate>("isDaylightSavingTimeForDate:");
    c.method<&NSTimeZone::daylightSavingTimeOffset>("daylightSavingTimeOffset");
    c.method<&NSTimeZone::daylightSavingTimeOffsetForDate>("daylightSavingTimeOffsetForDate:");
    c.method<&NSTimeZone::isEqualToTimeZone>("isEqualToTimeZone:");
    c.method<&hashMethod>("hash").method<&isEqualMethod>("isEqual:").method<&descriptionMethod>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kTimeZoneKind, {&hashOf, &isEqualTo});
    return c.registerClass();
  }();
  return cls;
}

bool NSTimeZone::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kTimeZoneKind, kTimeZoneKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSTimeZone>(), true);

NSTimeZone NSTimeZone::timeZoneWithName(const NSString& name) {
  const std::string_view text = name.utf8();
  if (text.empty() || text.size() > kLongestName || text == "Etc/Unknown") return NSTimeZone();
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())))));
  if (zone == nullptr || *zone == icu::TimeZone::getUnknown()) return NSTimeZone();
  return makeZone(name.copy(), zone.release());
}

NSTimeZone NSTimeZone::timeZoneForSecondsFromGMT(NSInteger seconds) {
  if (seconds < -kFarthestOffset || seconds > kFarthestOffset) return NSTimeZone();
  if (seconds == 0) return makeZone("GMT", icu::TimeZone::getGMT()->clone());
  const long distance = static_cast<long>(seconds < 0 ? -seconds : seconds);
  char name[24];
  int length =
      std::snprintf(name, sizeof name, "GMT%c%02ld%02ld", seconds < 0 ? '-' : '+', distance / 3600, distance / 60 % 60);
  if (distance % 60 != 0)
    std::snprintf(name + length, sizeof name - static_cast<std::size_t>(length), "%02ld", distance % 60);
  char identifier[24];
  length = std::snprintf(identifier, sizeof identifier, "GMT%c%02ld:%02ld", seconds < 0 ? '-' : '+', distance / 3600,
                         distance / 60 % 60);
  if (distance % 60 != 0) {
    std::snprintf(identifier + length, sizeof identifier - static_cast<std::size_t>(length), ":%02ld", distance % 60);
  }
  return makeZone(name, new icu::SimpleTimeZone(static_cast<std::int32_t>(seconds * 1000),
                                                icu::UnicodeString(identifier, -1, US_INV)));
}

NSTimeZone NSTimeZone::systemTimeZone() {
  DefaultZone& state = defaultZone();
  const std::lock_guard lock(state.lock);
  return systemZone(state);
}

void NSTimeZone::resetSystemTimeZone() {
  DefaultZone& state = defaultZone();
  const std::lock_guard lock(state.lock);
  state.system = NSTimeZone();
  state.generation.fetch_add(1, std::memory_order_acq_rel);
}

NSTimeZone NSTimeZone::defaultTimeZone() {
  DefaultZone& state = defaultZone();
  const std::lock_guard lock(state.lock);
  return state.chosen ? state.chosen : systemZone(state);
}

void NSTimeZone::setDefaultTimeZone(const NSTimeZone& zone) {
  DefaultZone& state = defaultZone();
  const std::lock_guard lock(state.lock);
  state.chosen = zone;
  state.generation.fetch_add(1, std::memory_order_acq_rel);
}

NSArray NSTimeZone::knownTimeZoneNames() {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::StringEnumeration> names(
      icu::TimeZone::createTimeZoneIDEnumeration(UCAL_ZONE_TYPE_CANONICAL_LOCATION, nullptr, nullptr, status));
  std::vector<std::string> known;
  if (U_SUCCESS(status)) {
    while (const char* name = names->next(nullptr, status)) known.emplace_back(name);
  }
  return known;
}

NSString NSTimeZone::name() const { return *this ? bodyOfTimeZone(*this).name : NSString(); }

NSInteger NSTimeZone::secondsFromGMT() const { return secondsFromGMTForDate(NSDate()); }
NSInteger NSTimeZone::secondsFromGMTForDate(const NSDate& date) const {
  return *this ? offsetAt(*this, date).total : 0;
}

NSString NSTimeZone::abbreviation() const { return abbreviationForDate(NSDate()); }
NSString NSTimeZone::abbreviationForDate(const NSDate& date) const {
  if (!*this) return NSString();
  icu::UnicodeString text;
  icuTimeZoneOf(*this).getDisplayName(isDaylightSavingTimeForDate(date), icu::TimeZone::SHORT, icu::Locale::getUS(),
                                      text);
  return NSString(std::u16string_view(text.getBuffer(), static_cast<std::size_t>(text.length())));
}

bool NSTimeZone::isDaylightSavingTime() const { return isDaylightSavingTimeForDate(NSDate()); }
bool NSTimeZone::isDaylightSavingTimeForDate(const NSDate& date) const {
  return *this && offsetAt(*this, date).daylight != 0;
}
NSTimeInterval NSTimeZone::daylightSavingTimeOffset() const { return daylightSavingTimeOffsetForDate(NSDate()); }
NSTimeInterval NSTimeZone::daylightSavingTimeOffsetForDate(const NSDate& date) const {
  return *this ? static_cast<NSTimeInterval>(offsetAt(*this, date).daylight) : 0;
}

bool NSTimeZone::isEqualToTimeZone(const NSTimeZone& other) const { return *this && other && name() == other.name(); }

}  // namespace kvt
