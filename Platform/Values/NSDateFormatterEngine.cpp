#include "NSDateFormatterEngine.h"

#include <unicode/dtfmtsym.h>
#include <unicode/gregocal.h>
#include <unicode/numsys.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <cmath>

#include "NSLocaleBody.h"
#include "NSStringBody.h"
#include "NSTimeZoneBody.h"

namespace kvt {
namespace {

constexpr std::size_t kLongestPattern = 4096;
constexpr std::size_t kMostIdleTools = 16;
// From 35 digits on, ICU divides by zero on its way to a fraction's milliseconds; from 13 on, its arithmetic wraps.
constexpr std::size_t kLongestFraction = 12;
constexpr std::size_t kLongestNumber = 34;
constexpr int kYearOfTextsWithout = 2000;

NSString textFrom(const icu::UnicodeString& text) {
  return NSString(std::u16string_view(text.getBuffer(), static_cast<std::size_t>(text.length())));
}

/// Aliases, no copy: the view must outlive it.
icu::UnicodeString aliasOf(std::u16string_view text) {
  return icu::UnicodeString(false, text.data(), static_cast<std::int32_t>(text.size()));
}

icu::DateFormat::EStyle icuStyle(NSDateFormatterStyle style) {
  switch (style) {
    case NSDateFormatterShortStyle: return icu::DateFormat::kShort;
    case NSDateFormatterMediumStyle: return icu::DateFormat::kMedium;
    case NSDateFormatterLongStyle: return icu::DateFormat::kLong;
    case NSDateFormatterFullStyle: return icu::DateFormat::kFull;
    default: return icu::DateFormat::kNone;
  }
}

std::u16string patternOfStyles(NSDateFormatterStyle dateStyle, NSDateFormatterStyle timeStyle,
                               const icu::Locale& locale) {
  const icu::DateFormat::EStyle date = icuStyle(dateStyle), time = icuStyle(timeStyle);
  if (date == icu::DateFormat::kNone && time == icu::DateFormat::kNone) return std::u16string();
  const std::unique_ptr<icu::DateFormat> format(icu::DateFormat::createDateTimeInstance(date, time, locale));
  const auto* simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get());
  if (simple == nullptr) return std::u16string();
  icu::UnicodeString pattern;
  simple->toPattern(pattern);
  return {pattern.getBuffer(), static_cast<std::size_t>(pattern.length())};
}

bool isLetter(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z'); }

/// Whether more than `longest` digits of any script stand in a row.
bool hasLongNumber(std::u16string_view text, std::size_t longest) {
  if (text.size() <= longest) return false;
  const auto size = static_cast<std::int32_t>(text.size());
  std::size_t digits = 0;
  for (std::int32_t i = 0; i < size;) {
    UChar32 c;
    U16_NEXT(text.data(), i, size, c);
    digits = (c < 0x80 ? c >= '0' && c <= '9' : u_isdigit(c) != 0) ? digits + 1 : 0;
    if (digits > longest) return true;
  }
  return false;
}

}  // namespace

// ---- tools
// -----------------------------------------------------------------------------------------------------------

/// A set of tools for the time of one call; empty when ICU cannot make any.
class DateFormatterEngine::Borrowed {
 public:
  explicit Borrowed(const DateFormatterEngine& engine) : engine_(engine) {
    const std::lock_guard lock(engine_.lock_);
    if (engine_.idle_.empty()) {
      tools_ = engine_.makeTools();
    } else {
      tools_ = std::move(engine_.idle_.back());
      engine_.idle_.pop_back();
    }
  }
  ~Borrowed() {
    const std::lock_guard lock(engine_.lock_);
    if (tools_.format != nullptr && engine_.idle_.size() < kMostIdleTools) engine_.idle_.push_back(std::move(tools_));
  }
  Borrowed(const Borrowed&) = delete;
  Borrowed& operator=(const Borrowed&) = delete;

  explicit operator bool() const noexcept { return tools_.format != nullptr; }
  const icu::SimpleDateFormat& format() const noexcept { return *tools_.format; }
  icu::Calendar& calendar() const noexcept { return *tools_.calendar; }

 private:
  const DateFormatterEngine& engine_;
  Tools tools_;
};

/// The lock is held.
DateFormatterEngine::Tools DateFormatterEngine::makeTools() const {
  if (prototype_ == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    auto format = std::make_unique<icu::SimpleDateFormat>(aliasOf(pattern_), locale_, status);
    if (U_FAILURE(status)) return Tools();
    format->setLenient(lenient_);
    format->setTimeZone(icuTimeZoneOf(zone_));
    format->set2DigitYearStart(twoDigitStart_, status);
    if (amSymbol_ || pmSymbol_) {
      icu::DateFormatSymbols symbols(*format->getDateFormatSymbols());
      std::int32_t count = 0;
      const icu::UnicodeString* present = symbols.getAmPmStrings(count);
      if (count == 2) {
        icu::UnicodeString changed[] = {present[0], present[1]};
        const std::u16string am = amSymbol_.u16str(), pm = pmSymbol_.u16str();
        if (amSymbol_) changed[0] = icu::UnicodeString(am.data(), static_cast<std::int32_t>(am.size()));
        if (pmSymbol_) changed[1] = icu::UnicodeString(pm.data(), static_cast<std::int32_t>(pm.size()));
        symbols.setAmPmStrings(changed, 2);
        format->setDateFormatSymbols(symbols);
      }
    }
    prototype_ = std::move(format);
  }
  Tools tools;
  tools.format.reset(prototype_->clone());
  tools.calendar.reset(prototype_->getCalendar()->clone());
  return tools;
}

// ---- compiling
// -------------------------------------------------------------------------------------------------------

icu::Locale DateFormatterEngine::localeFor(const NSLocale& locale) {
  icu::Locale result = icuLocaleOf(locale);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Calendar> calendar(
      icu::Calendar::createInstance(*icu::TimeZone::getGMT(), result, status));
  if (U_FAILURE(status) || std::string_view(calendar->getType()) != "gregorian") {
    status = U_ZERO_ERROR;
    result.setKeywordValue("calendar", "gregorian", status);
  }
  return result;
}

DateFormatterEngine::DateFormatterEngine(const DateFormatterSettings& settings)
    : locale_(localeFor(settings.locale)),
      zone_(settings.zone),
      lenient_(settings.lenient),
      twoDigitStart_(icuDateFrom(settings.twoDigitStart ? settings.twoDigitStart.timeIntervalSinceReferenceDate()
                                                        : kTwoDigitStart)),
      amSymbol_(settings.amSymbol),
      pmSymbol_(settings.pmSymbol) {
  if (!zone_) {
    // In this order: a zone set in between makes the engine outdated, not wrong.
    zoneGeneration_ = defaultTimeZoneGeneration();
    zone_ = NSTimeZone::defaultTimeZone();
  }
  if (settings.format && settings.format.length() > kLongestPattern)
    isPattern_ = false;
  else if (settings.format)
    pattern_ = settings.format.u16str();
  else
    pattern_ = patternOfStyles(settings.dateStyle, settings.timeStyle, locale_);
  if (isPattern_) readPattern();
}

void DateFormatterEngine::readPattern() {
  std::size_t abutting = 0;
  bool quoted = false;
  longestNumber_ = kLongestFraction;
  for (const char16_t c : pattern_) {
    if (c == u'\'') quoted = !quoted;
    if (quoted || !isLetter(c)) {
      abutting = 0;
      continue;
    }
    longestNumber_ = std::max(longestNumber_, ++abutting);
    if (std::u16string_view(u"yYuUr").find(c) != std::u16string_view::npos) hasYear_ = true;
    if (std::u16string_view(u"zZOvVXx").find(c) != std::u16string_view::npos) hasZone_ = true;
  }
  longestNumber_ = std::min(longestNumber_, kLongestNumber);

  const FixedDateLayout layout{std::u16string_view(pattern_)};
  if (!layout.isFixed() || !isPlainLocale()) return;
  if (layout.hasNames()) {
    const std::string_view language = locale_.getLanguage(), country = locale_.getCountry();
    if (language != "en" || (country != "US" && !country.empty())) return;
  }
  layout_ = layout;
  readsPlain_ = !lenient_;
  const icu::BasicTimeZone* rules = bodyOfTimeZone(zone_).rules;
  UErrorCode status = U_ZERO_ERROR;
  if (rules != nullptr && rules->countTransitionRules(status) == 0 && U_SUCCESS(status)) {
    std::int32_t raw = 0, daylight = 0;
    rules->getOffset(0, false, raw, daylight, status);
    if (U_SUCCESS(status) && (raw + daylight) % 1000 == 0) constantOffset_ = (raw + daylight) / 1000;
  }
}

/// Whether the locale writes numbers with the digits 0 to 9.
bool DateFormatterEngine::isPlainLocale() const {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberingSystem> system(icu::NumberingSystem::createInstance(locale_, status));
  return U_SUCCESS(status) && std::string_view(system->getName()) == "latn";
}

bool DateFormatterEngine::isCurrent() const noexcept {
  return zoneGeneration_ == 0 || zoneGeneration_ == defaultTimeZoneGeneration();
}

// ---- formatting
// ------------------------------------------------------------------------------------------------------

NSString DateFormatterEngine::format(double secondsSince2001) const {
  if (!isPattern_ || std::isnan(secondsSince2001)) return NSString();
  const double milliseconds = std::floor(icuDateFrom(secondsSince2001) + 0.5);
  UErrorCode status = U_ZERO_ERROR;
  if (layout_.isFixed()) {
    std::int32_t offset = 0;
    if (constantOffset_) {
      offset = *constantOffset_;
    } else {
      std::int32_t raw = 0, daylight = 0;
      icuTimeZoneOf(zone_).getOffset(milliseconds, false, raw, daylight, status);
      offset = (raw + daylight) / 1000;
    }
    char text[kLongestFixedDate];
    const std::size_t length =
        U_SUCCESS(status) ? formatFixedDate(static_cast<std::int64_t>(milliseconds), offset, layout_, text) : 0;
    if (length > 0) return NSString(std::string_view(text, length));
    status = U_ZERO_ERROR;
  }
  const Borrowed tools(*this);
  if (!tools) return NSString();
  tools.calendar().setTime(milliseconds, status);
  icu::UnicodeString text;
  icu::FieldPositionIterator* nowhere = nullptr;
  tools.format().format(tools.calendar(), text, nowhere, status);
  return U_SUCCESS(status) ? textFrom(text) : NSString();
}

// ---- parsing
// ---------------------------------------------------------------------------------------------------------

std::optional<double> DateFormatterEngine::parsePlain(const NSString& text) const {
  const StringBody* body = StringBody::of(text.object());
  if (!readsPlain_ || !body->isASCII()) return std::nullopt;
  FixedWallTime time;
  if (parseFixedWallTime(body->bytes(), body->size, layout_, &time) != FixedDateResult::kParsed) return std::nullopt;
  const auto wall = static_cast<double>(time.milliseconds);
  if (layout_.hasZone()) return wall - time.offset * 1000.0;
  if (constantOffset_) return wall - *constantOffset_ * 1000.0;
  const icu::BasicTimeZone* rules = bodyOfTimeZone(zone_).rules;
  if (rules == nullptr) return std::nullopt;
  std::int32_t raw = 0, daylight = 0, rawThen = 0, daylightThen = 0;
  UErrorCode status = U_ZERO_ERROR;
  rules->getOffsetFromLocal(wall, UCAL_TZ_LOCAL_FORMER, UCAL_TZ_LOCAL_LATTER, raw, daylight, status);
  const double instant = wall - raw - daylight;
  rules->getOffset(instant, false, rawThen, daylightThen, status);
  // They differ for a time that the clocks skip.
  if (U_FAILURE(status) || raw + daylight != rawThen + daylightThen) return std::nullopt;
  return instant;
}

std::optional<double> DateFormatterEngine::parseByICU(std::u16string_view text) const {
  if (hasLongNumber(text, longestNumber_)) return std::nullopt;
  const Borrowed tools(*this);
  if (!tools) return std::nullopt;
  icu::Calendar& calendar = tools.calendar();
  calendar.clear();
  if (!hasYear_) calendar.set(UCAL_YEAR, kYearOfTextsWithout);
  const icu::UnicodeString source = aliasOf(text);
  icu::ParsePosition position(0);
  tools.format().parse(source, calendar, position);
  UErrorCode status = U_ZERO_ERROR;
  const double milliseconds = calendar.getTime(status);
  // A zone in the text has become the calendar's.
  if (hasZone_) calendar.setTimeZone(icuTimeZoneOf(zone_));
  if (U_FAILURE(status) || position.getIndex() == 0 || position.getIndex() != source.length()) return std::nullopt;
  return std::floor(milliseconds + 0.5);
}

std::optional<double> DateFormatterEngine::parse(const NSString& text) const {
  if (!isPattern_) return std::nullopt;
  std::optional<double> milliseconds = parsePlain(text);
  if (!milliseconds) {
    const UTF16Text units(*StringBody::of(text.object()));
    milliseconds = parseByICU(units.view());
  }
  if (!milliseconds) return std::nullopt;
  return *milliseconds / 1000.0 - NSTimeIntervalSince1970;
}

// ---- symbols
// ---------------------------------------------------------------------------------------------------------

std::vector<std::u16string> DateFormatterEngine::symbols(Symbols which) const {
  std::vector<std::u16string> result;
  const Borrowed tools(*this);
  const icu::DateFormatSymbols* symbols = tools ? tools.format().getDateFormatSymbols() : nullptr;
  if (symbols == nullptr) return result;
  std::int32_t count = 0;
  const icu::UnicodeString* names = nullptr;
  switch (which) {
    case Symbols::kMonths: names = symbols->getMonths(count); break;
    case Symbols::kShortMonths: names = symbols->getShortMonths(count); break;
    case Symbols::kWeekdays: names = symbols->getWeekdays(count); break;
    case Symbols::kShortWeekdays: names = symbols->getShortWeekdays(count); break;
    case Symbols::kAmPm: names = symbols->getAmPmStrings(count); break;
  }
  // Weekdays are numbered from 1; nothing stands at 0.
  const bool isWeekday = which == Symbols::kWeekdays || which == Symbols::kShortWeekdays;
  for (std::int32_t i = isWeekday ? 1 : 0; i < count; ++i) {
    result.emplace_back(names[i].getBuffer(), static_cast<std::size_t>(names[i].length()));
  }
  return result;
}

}  // namespace kvt
