#include "NSDateFormatter.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <unicode/dtptngen.h>

#include "Kinds.h"
#include "NSArray.h"
#include "NSDateFormatterEngine.h"
#include "NSObject.h"

namespace kvt {
namespace {

constexpr std::size_t kLongestTemplate = 256;

struct DateFormatterBody final : Object {
  DateFormatterBody() : Object(classOf<NSDateFormatter>(), objectKind(kDateFormatterKind)) {}
  explicit DateFormatterBody(const DateFormatterSettings& other) : DateFormatterBody() { settings = other; }

  /// The engine for the settings as they are now.
  std::shared_ptr<const DateFormatterEngine> engine() {
    const std::lock_guard guard(lock);
    if (compiled == nullptr || !compiled->isCurrent()) {
      compiled = std::make_shared<const DateFormatterEngine>(settings);
    }
    return compiled;
  }
  template <class Change>
  void change(const Change& apply) {
    const std::lock_guard guard(lock);
    apply(settings);
    compiled = nullptr;
  }
  DateFormatterSettings read() {
    const std::lock_guard guard(lock);
    return settings;
  }

  std::mutex lock;
  DateFormatterSettings settings;
  std::shared_ptr<const DateFormatterEngine> compiled;
};

DateFormatterBody& bodyOf(const NSDateFormatter& formatter) noexcept {
  return *static_cast<DateFormatterBody*>(formatter.object());
}

Object* copyWithZone(Object* self, SEL, void*) {
  return new DateFormatterBody(static_cast<DateFormatterBody*>(self)->read());
}

Object* createEmpty(Class cls) {
  Object* body = new DateFormatterBody;
  ObjectAccess::setIsa(body, cls.body());
  return body;
}

NSArray symbolsOf(const NSDateFormatter& formatter, DateFormatterEngine::Symbols which) {
  return formatter ? NSArray(bodyOf(formatter).engine()->symbols(which)) : NSArray();
}

NSString amPmOf(const NSDateFormatter& formatter, std::size_t index) {
  if (!formatter) return NSString();
  const std::vector<std::u16string> symbols = bodyOf(formatter).engine()->symbols(DateFormatterEngine::Symbols::kAmPm);
  return index < symbols.size() ? NSString(symbols[index]) : NSString();
}

}  // namespace

Class NSDateFormatter::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSDateFormatter> c("NSDateFormatter", classOf<NSObject>());
    c.createWith(&createEmpty);
    c.classMethod<&NSDateFormatter::localizedStringFromDate_dateStyle_timeStyle>(
        "localizedStringFromDate:dateStyle:timeStyle:");
    c.classMethod<&NSDateFormatter::dateFormatFromTemplate_options_locale>("dateFormatFromTemplate:options:locale:");
    c.method<&NSDateFormatter::stringFromDate>("stringFromDate:");
    c.method<&NSDateFormatter::dateFromString>("dateFromString:");
    c.method<&NSDateFormatter::setDateFormat>("setDateFormat:").method<&NSDateFormatter::dateFormat>("dateFormat");
    c.method<&NSDateFormatter::setLocalizedDateFormatFromTemplate>("setLocalizedDateFormatFromTemplate:");
    c.method<&NSDateFormatter::setDateStyle>("setDateStyle:").method<&NSDateFormatter::dateStyle>("dateStyle");
    c.method<&NSDateFormatter::setTimeStyle>("setTimeStyle:").method<&NSDateFormatter::timeStyle>("timeStyle");
    c.method<&NSDateFormatter::setLocale>("setLocale:").method<&NSDateFormatter::locale>("locale");
    c.method<&NSDateFormatter::setTimeZone>("setTimeZone:").method<&NSDateFormatter::timeZone>("timeZone");
    c.method<&NSDateFormatter::setLenient>("setLenient:").method<&NSDateFormatter::isLenient>("isLenient");
    c.method<&NSDateFormatter::setTwoDigitStartDate>("setTwoDigitStartDate:");
    c.method<&NSDateFormatter::twoDigitStartDate>("twoDigitStartDate");
    c.method<&NSDateFormatter::setCalendar>("setCalendar:").method<&NSDateFormatter::calendar>("calendar");
    c.method<&NSDateFormatter::setAMSymbol>("setAMSymbol:").method<&NSDateFormatter::AMSymbol>("AMSymbol");
    c.method<&NSDateFormatter::setPMSymbol>("setPMSymbol:").method<&NSDateFormatter::PMSymbol>("PMSymbol");
    c.method<&NSDateFormatter::monthSymbols>("monthSymbols");
    c.method<&NSDateFormatter::shortMonthSymbols>("shortMonthSymbols");
    c.method<&NSDateFormatter::weekdaySymbols>("weekdaySymbols");
    c.method<&NSDateFormatter::shortWeekdaySymbols>("shortWeekdaySymbols");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    return c.registerClass();
  }();
  return cls;
}

bool NSDateFormatter::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kDateFormatterKind, kDateFormatterKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSDateFormatter>(), true);

NSDateFormatter NSDateFormatter::new_() { return NSDateFormatter(adopt, new DateFormatterBody); }

NSString NSDateFormatter::localizedStringFromDate_dateStyle_timeStyle(const NSDate& date,
                                                                      NSDateFormatterStyle dateStyle,
                                                                      NSDateFormatterStyle timeStyle) {
  const NSDateFormatter formatter = new_();
  formatter.setDateStyle(dateStyle);
  formatter.setTimeStyle(timeStyle);
  return formatter.stringFromDate(date);
}

NSString NSDateFormatter::dateFormatFromTemplate_options_locale(const NSString& templateText, NSUInteger,
                                                                const NSLocale& locale) {
  if (!templateText || templateText.length() > kLongestTemplate) return NSString();
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(DateFormatterEngine::localeFor(locale), status));
  if (U_FAILURE(status)) return NSString();
  const std::u16string skeleton = templateText.u16str();
  const icu::UnicodeString pattern = generator->getBestPattern(
      icu::UnicodeString(skeleton.data(), static_cast<std::int32_t>(skeleton.size())), status);
  if (U_FAILURE(status)) return NSString();
  return NSString(std::u16string_view(pattern.getBuffer(), static_cast<std::size_t>(pattern.length())));
}

NSString NSDateFormatter::stringFromDate(const NSDate& date) const {
  if (!*this || !date) return NSString();
  return bodyOf(*this).engine()->format(date.timeIntervalSinceReferenceDate());
}

NSDate NSDateFormatter::dateFromString(const NSString& text) const {
  if (!*this || !text) return NSDate();
  const std::optional<double> seconds = bodyOf(*this).engine()->parse(text);
  return seconds ? NSDate::dateWithTimeIntervalSinceReferenceDate(*seconds) : NSDate();
}

void NSDateFormatter::setDateFormat(const NSString& format) const {
  if (!*this) return;
  bodyOf(*this).change([format = format.copy()](DateFormatterSettings& settings) { settings.format = format; });
}
NSString NSDateFormatter::dateFormat() const {
  if (!*this) return NSString();
  const DateFormatterSettings settings = bodyOf(*this).read();
  return settings.format ? settings.format : NSString(bodyOf(*this).engine()->pattern());
}
void NSDateFormatter::setLocalizedDateFormatFromTemplate(const NSString& templateText) const {
  setDateFormat(dateFormatFromTemplate_options_locale(templateText, 0, locale()));
}

void NSDateFormatter::setDateStyle(NSDateFormatterStyle style) const {
  if (!*this) return;
  bodyOf(*this).change([style](DateFormatterSettings& settings) {
    settings.dateStyle = style;
    settings.format = NSString();
  });
}
NSDateFormatterStyle NSDateFormatter::dateStyle() const {
  return *this ? bodyOf(*this).read().dateStyle : NSDateFormatterNoStyle;
}
void NSDateFormatter::setTimeStyle(NSDateFormatterStyle style) const {
  if (!*this) return;
  bodyOf(*this).change([style](DateFormatterSettings& settings) {
    settings.timeStyle = style;
    settings.format = NSString();
  });
}
NSDateFormatterStyle NSDateFormatter::timeStyle() const {
  return *this ? bodyOf(*this).read().timeStyle : NSDateFormatterNoStyle;
}

void NSDateFormatter::setLocale(const NSLocale& locale) const {
  if (*this) bodyOf(*this).change([&locale](DateFormatterSettings& settings) { settings.locale = locale; });
}
NSLocale NSDateFormatter::locale() const {
  if (!*this) return NSLocale();
  const NSLocale locale = bodyOf(*this).read().locale;
  return locale ? locale : NSLocale::currentLocale();
}
void NSDateFormatter::setTimeZone(const NSTimeZone& zone) const {
  if (*this) bodyOf(*this).change([&zone](DateFormatterSettings& settings) { settings.zone = zone; });
}
NSTimeZone NSDateFormatter::timeZone() const {
  if (!*this) return NSTimeZone();
  const NSTimeZone zone = bodyOf(*this).read().zone;
  return zone ? zone : NSTimeZone::defaultTimeZone();
}
void NSDateFormatter::setLenient(bool lenient) const {
  if (*this) bodyOf(*this).change([lenient](DateFormatterSettings& settings) { settings.lenient = lenient; });
}
bool NSDateFormatter::isLenient() const { return *this && bodyOf(*this).read().lenient; }
void NSDateFormatter::setTwoDigitStartDate(const NSDate& date) const {
  if (*this) bodyOf(*this).change([&date](DateFormatterSettings& settings) { settings.twoDigitStart = date; });
}
NSDate NSDateFormatter::twoDigitStartDate() const {
  if (!*this) return NSDate();
  const NSDate date = bodyOf(*this).read().twoDigitStart;
  return date ? date : NSDate::dateWithTimeIntervalSinceReferenceDate(DateFormatterEngine::kTwoDigitStart);
}
void NSDateFormatter::setCalendar(const id& calendar) const {
  if (*this) bodyOf(*this).change([&calendar](DateFormatterSettings& settings) { settings.calendar = calendar; });
}
id NSDateFormatter::calendar() const { return *this ? bodyOf(*this).read().calendar : id(); }

void NSDateFormatter::setAMSymbol(const NSString& symbol) const {
  if (!*this) return;
  bodyOf(*this).change([symbol = symbol.copy()](DateFormatterSettings& settings) { settings.amSymbol = symbol; });
}
NSString NSDateFormatter::AMSymbol() const { return amPmOf(*this, 0); }
void NSDateFormatter::setPMSymbol(const NSString& symbol) const {
  if (!*this) return;
  bodyOf(*this).change([symbol = symbol.copy()](DateFormatterSettings& settings) { settings.pmSymbol = symbol; });
}
NSString NSDateFormatter::PMSymbol() const { return amPmOf(*this, 1); }

NSArray NSDateFormatter::monthSymbols() const { return symbolsOf(*this, DateFormatterEngine::Symbols::kMonths); }
NSArray NSDateFormatter::shortMonthSymbols() const {
  return symbolsOf(*this, DateFormatterEngine::Symbols::kShortMonths);
}
NSArray NSDateFormatter::weekdaySymbols() const { return symbolsOf(*this, DateFormatterEngine::Symbols::kWeekdays); }
NSArray NSDateFormatter::shortWeekdaySymbols() const {
  return symbolsOf(*this, DateFormatterEngine::Symbols::kShortWeekdays);
}

NSDateFormatter NSDateFormatter::copy() const {
  return *this ? NSDateFormatter(adopt, new DateFormatterBody(bodyOf(*this).read())) : NSDateFormatter();
}

}  // namespace kvt
