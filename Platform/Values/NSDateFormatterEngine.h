// A date formatter's settings, compiled; not installed.
//
// An engine never changes, so threads share it; a formatter whose settings change makes a new one. What ICU can only
// use on one thread at a time (its formatters and calendars) lies in a pool: a call takes a set out, or clones one, and
// puts it back.
#pragma once

#include <unicode/calendar.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "FixedDateParser.h"
#include "NSDate.h"
#include "NSDateFormatter.h"
#include "NSLocale.h"
#include "NSString.h"
#include "NSTimeZone.h"

namespace kvt {

struct DateFormatterSettings {
  NSString format;  // nil: by the styles
  NSDateFormatterStyle dateStyle = NSDateFormatterNoStyle;
  NSDateFormatterStyle timeStyle = NSDateFormatterNoStyle;
  NSLocale locale;  // nil: the current one
  NSTimeZone zone;  // nil: the default one
  bool lenient = false;
  NSDate twoDigitStart;  // nil: 1950
  NSString amSymbol, pmSymbol;
  id calendar;
};

class DateFormatterEngine {
 public:
  explicit DateFormatterEngine(const DateFormatterSettings& settings);

  /// Whether the engine works in what is still the default zone, or does not care.
  bool isCurrent() const noexcept;

  NSString format(double secondsSince2001) const;
  /// Seconds since 2001.
  std::optional<double> parse(const NSString& text) const;

  const std::u16string& pattern() const noexcept { return pattern_; }

  enum class Symbols { kMonths, kShortMonths, kWeekdays, kShortWeekdays, kAmPm };
  std::vector<std::u16string> symbols(Symbols which) const;

  /// The locale as ICU shall see it: with the Gregorian calendar.
  static icu::Locale localeFor(const NSLocale& locale);
  /// 1950-01-01 in GMT.
  static constexpr NSTimeInterval kTwoDigitStart = -631152000.0 - NSTimeIntervalSince1970;

 private:
  /// What one thread at a time uses.
  struct Tools {
    std::unique_ptr<icu::SimpleDateFormat> format;
    std::unique_ptr<icu::Calendar> calendar;
  };
  class Borrowed;

  Tools makeTools() const;
  void readPattern();
  bool isPlainLocale() const;
  std::optional<double> parsePlain(const NSString& text) const;
  std::optional<double> parseByICU(std::u16string_view text) const;

  icu::Locale locale_;
  NSTimeZone zone_;
  std::uint64_t zoneGeneration_ = 0;  // 0: the zone was given
  std::u16string pattern_;
  bool isPattern_ = true;
  bool lenient_;
  bool hasYear_ = false;
  bool hasZone_ = false;
  std::size_t longestNumber_ = 0;  // digits in a row that a text may have
  double twoDigitStart_;
  NSString amSymbol_, pmSymbol_;

  FixedDateLayout layout_;  // fixed only where plain texts may take the short way
  bool readsPlain_ = false;
  std::optional<std::int32_t> constantOffset_;  // seconds, of a zone that never changes

  mutable std::mutex lock_;
  mutable std::unique_ptr<icu::SimpleDateFormat> prototype_;
  mutable std::vector<Tools> idle_;
};

}  // namespace kvt
