// Dates to text and text to dates, by Unicode date patterns ("yyyy-MM-dd HH:mm:ss") or by a locale's styles.
//
//     NSDateFormatter formatter = NSDateFormatter::new_();
//     formatter.setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
//     formatter.setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
//     formatter.setDateFormat("yyyy-MM-dd'T'HH:mm:ssZ");
//     formatter.stringFromDate(date);                          // "2016-05-15T10:20:30+0000"
//     formatter.dateFromString("2016-05-15T10:20:30+08:00");   // nil when the text is no such date
//
// The calendar is the Gregorian one, the Julian before 1582-10-15. A handle that stands for nothing is nil: `new_`
// makes a formatter. Every operation answers nil, 0 or NO on nil.
//
// Cost: plain texts of patterns whose fields have a fixed width, as the one above, take about 0.1 µs in either
// direction, others some microseconds; the first use after a change costs about 20 µs more. Thread rule: any thread may
// use a formatter at any time without a lock; a change is seen by what begins after it.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSArray;
class NSDate;
class NSLocale;
class NSString;
class NSTimeZone;

enum NSDateFormatterStyle : NSUInteger {
  NSDateFormatterNoStyle = 0,
  NSDateFormatterShortStyle = 1,   // 5/15/16, 10:20 AM
  NSDateFormatterMediumStyle = 2,  // May 15, 2016, 10:20:30 AM
  NSDateFormatterLongStyle = 3,    // May 15, 2016, 10:20:30 AM GMT+8
  NSDateFormatterFullStyle = 4,    // Sunday, May 15, 2016, 10:20:30 AM China Standard Time
};

class KVT_EXPORT NSDateFormatter : public id {
  KVT_HANDLE(NSDateFormatter, id)

 public:
  /// A formatter with no format and no styles, the current locale and the default time zone: its texts are "".
  static NSDateFormatter new_();
  /// The date in the current locale and the default time zone.
  static NSString localizedStringFromDate_dateStyle_timeStyle(const NSDate& date, NSDateFormatterStyle dateStyle,
                                                              NSDateFormatterStyle timeStyle);
  /// The pattern with which a locale (nil: the current one) writes the fields of the template: "yMMMd" is "MMM d, y" in
  /// American English, "y年M月d日" in Chinese. `options` is not used. nil for a nil template.
  static NSString dateFormatFromTemplate_options_locale(const NSString& templateText, NSUInteger options,
                                                        const NSLocale& locale);

  /// nil for nil, for a date made from NaN and when the pattern is none. Instants are rounded to the nearest
  /// millisecond; those beyond what the calendar reaches (some five million years) are written as the farthest it does.
  NSString stringFromDate(const NSDate& date) const;
  /// The whole text must be a date by the pattern. nil otherwise, for nil, for wall-clock times that daylight saving
  /// skips, and for texts with absurdly long numbers. Where the pattern has no year it is 2000; month, day and time
  /// start at their least. The result is a whole number of milliseconds. Of a time that occurs twice, the later one is
  /// meant.
  NSDate dateFromString(const NSString& text) const;

  /// A pattern of at most 4096 units; longer ones are none. Setting nil goes back to the styles.
  void setDateFormat(const NSString& format) const;
  /// The pattern in use, that of the styles when none is set; "" when there are none either.
  NSString dateFormat() const;
  /// Sets the format that `dateFormatFromTemplate_options_locale` finds for the formatter's locale.
  void setLocalizedDateFormatFromTemplate(const NSString& templateText) const;
  /// Setting a style takes a format away.
  void setDateStyle(NSDateFormatterStyle style) const;
  NSDateFormatterStyle dateStyle() const;
  void setTimeStyle(NSDateFormatterStyle style) const;
  NSDateFormatterStyle timeStyle() const;

  /// nil sets the current locale.
  void setLocale(const NSLocale& locale) const;
  NSLocale locale() const;
  /// nil sets the default zone, whichever it is when dates are formatted. A zone in a text outranks this one.
  void setTimeZone(const NSTimeZone& zone) const;
  NSTimeZone timeZone() const;
  /// Lenient parsing takes fields out of range ("month 13") and other spellings. NO at first.
  void setLenient(bool lenient) const;
  bool isLenient() const;
  /// Of two-digit years ("yy"), the hundred years that begin here are meant; 1950-01-01 at first and for nil.
  void setTwoDigitStartDate(const NSDate& date) const;
  NSDate twoDigitStartDate() const;
  /// Kept and answered; formatting is Gregorian whatever it is.
  void setCalendar(const id& calendar) const;
  id calendar() const;

  /// The texts for "a"; the locale's ones while nil is set.
  void setAMSymbol(const NSString& symbol) const;
  NSString AMSymbol() const;
  void setPMSymbol(const NSString& symbol) const;
  NSString PMSymbol() const;
  /// The locale's names, January and Sunday first.
  NSArray monthSymbols() const;
  NSArray shortMonthSymbols() const;
  NSArray weekdaySymbols() const;
  NSArray shortWeekdaySymbols() const;

  /// A formatter of its own with the same settings.
  NSDateFormatter copy() const;
};

}  // namespace kvt
