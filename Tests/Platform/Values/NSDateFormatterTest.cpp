#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDateFormatter.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTimeZone.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

#include "DateTexts.h"

namespace kvt {
namespace {

using datetexts::Format;
using datetexts::Generator;
using datetexts::Oracle;
using datetexts::printable;

/// Milliseconds since 2001 as seconds, to the bit in which a formatter gives them: through milliseconds since 1970.
constexpr double milliseconds(double sinceReferenceDate) {
  return (sinceReferenceDate + 978307200000.0) / 1000.0 - 978307200.0;
}

NSDate date(double secondsSince2001) { return NSDate::dateWithTimeIntervalSinceReferenceDate(secondsSince2001); }

NSDateFormatter formatter(const char* pattern, const char* zone = "GMT", const char* locale = "en_US_POSIX") {
  NSDateFormatter result = NSDateFormatter::new_();
  result.setLocale(NSLocale::localeWithLocaleIdentifier(locale));
  result.setTimeZone(NSTimeZone::timeZoneWithName(zone));
  result.setDateFormat(pattern);
  return result;
}

std::string show(const NSString& text) { return text ? text.str() : "(nil)"; }

std::optional<double> parse(const NSDateFormatter& formatter, const NSString& text) {
  const NSDate result = formatter.dateFromString(text);
  return result ? std::optional<double>(result.timeIntervalSinceReferenceDate()) : std::nullopt;
}

TEST(NSDateFormatterTest, Formatting) {
  struct Row {
    const char *pattern, *zone, *locale;
    double seconds;
    const char* text;
  };
  const Row rows[] = {
      {"yyyy-MM-dd'T'HH:mm:ssZ", "GMT", "en_US_POSIX", 0, "2001-01-01T00:00:00+0000"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", "Asia/Shanghai", "en_US_POSIX", 0, "2001-01-01T08:00:00+0800"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", "America/St_Johns", "en_US_POSIX", 0, "2000-12-31T20:30:00-0330"},
      {"yyyy-MM-dd HH:mm:ss.SSS", "GMT", "en_US_POSIX", 0.1234, "2001-01-01 00:00:00.123"},
      {"yyyy-MM-dd HH:mm:ss.SSS", "GMT", "en_US_POSIX", 0.9999, "2001-01-01 00:00:01.000"},
      {"yyyy-MM-dd HH:mm:ss.SSS", "GMT", "en_US_POSIX", -0.0001, "2001-01-01 00:00:00.000"},
      {"yyyy-MM-dd HH:mm:ss.SSS", "GMT", "en_US_POSIX", -0.001, "2000-12-31 23:59:59.999"},
      {"EEE MMM dd HH:mm:ss Z yyyy", "GMT", "en_US_POSIX", 0, "Mon Jan 01 00:00:00 +0000 2001"},
      {"EEEE, d MMMM y", "GMT", "de_DE", 0, "Montag, 1 Januar 2001"},
      {"EEE dd MMM yyyy", "GMT", "fr_FR", 0, "lun. 01 janv. 2001"},
      {"yyyy年MM月dd日 EEEE", "Asia/Shanghai", "zh_CN", 0, "2001年01月01日 星期一"},
      {"yyyy-MM-dd", "GMT", "ar_EG", 0, "٢٠٠١-٠١-٠١"},
      {"yyyy-MM-dd", "GMT", "th_TH", 0, "2001-01-01"},
      {"yyyy-MM-dd", "GMT", "ja_JP@calendar=japanese", 0, "2001-01-01"},
      {"h:mm a", "GMT", "en_US_POSIX", 46800, "1:00 PM"},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", -13214016000, "1582-03-29"},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", 263217600000, "10342-01-14"},
      {"YYYY-MM-dd", "GMT", "en_US_POSIX", 757296000, "2025-12-31"},
      {"''yyyy''", "GMT", "en_US_POSIX", 0, "'2001'"},
      {"", "GMT", "en_US_POSIX", 0, ""},
      {"yyyy-MM-dd nn", "GMT", "en_US_POSIX", 0, "(nil)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.pattern) + " " + row.locale);
    EXPECT_EQ(show(formatter(row.pattern, row.zone, row.locale).stringFromDate(date(row.seconds))), row.text);
  }
}

TEST(NSDateFormatterTest, Parsing) {
  struct Row {
    const char *pattern, *zone, *locale, *text;
    std::optional<double> seconds;
  };
  constexpr auto none = std::nullopt;
  const Row rows[] = {
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "2001-01-02", 86400},
      {"yyyy-MM-dd", "Asia/Shanghai", "en_US_POSIX", "2001-01-01", -28800},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "2001-01-02 ", none},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "2001-01-02x", none},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "", none},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "2001-02-29", none},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "2001-13-01", none},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", " 2001-01-01", 0},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "16-01-01", -62640777600.0},
      {"yyyy-MM-dd", "GMT", "en_US_POSIX", "２００１-０１-０１", 0},
      {"yyyy-MM-dd HH:mm:ss", "GMT", "en_US_POSIX", "2001-01-01 00:00:60", none},
      {"yyyy-MM-dd HH:mm:ss", "GMT", "en_US_POSIX", "2001-01-01 24:00:00", none},
      {"yyyy-MM-dd HH:mm:ss.SSS", "GMT", "en_US_POSIX", "2001-01-01 00:00:00.1239", milliseconds(123)},
      {"yyyy-MM-dd'T'HH:mm:ssZ", "Asia/Tokyo", "en_US_POSIX", "2001-01-01T08:00:00GMT+08:00", 0},
      {"yyyy-MM-dd'T'HH:mm:ssZ", "Asia/Tokyo", "en_US_POSIX", "2001-01-01T00:00:00Z", 0},
      {"EEE MMM dd HH:mm:ss Z yyyy", "GMT", "en_US_POSIX", "Fri Jan 01 00:00:00 +0000 2001", 0},
      {"EEE MMM dd HH:mm:ss Z yyyy", "GMT", "en_US_POSIX", "mon jan 01 00:00:00 +0000 2001", 0},
      {"yyyy年MM月dd日 HH时mm分ss秒", "GMT", "zh_CN", "2001年01月02日 00时00分01秒", 86401},
      {"d MMMM yyyy", "GMT", "de_DE", "2 Januar 2001", 86400},
      {"yyyyMMddHHmmss", "GMT", "en_US_POSIX", "20010101000001", 1},
      {"yyyyMMddHHmmssSSS", "GMT", "en_US_POSIX", "20010101000001250", 1.25},
      {"YYYY-MM-dd HH:mm:ss", "GMT", "en_US_POSIX", "2001-01-02 00:00:00", 86400},
      {"HH:mm", "GMT", "en_US_POSIX", "10:20", 10 * 3600 + 20 * 60 - 31622400},
      {"MM-dd", "GMT", "en_US_POSIX", "02-29", -26524800},
      {"yyyy", "GMT", "en_US_POSIX", "2001", 0},
      {"yy-MM-dd", "GMT", "en_US_POSIX", "50-01-01", -1609459200},
      {"yy-MM-dd", "GMT", "en_US_POSIX", "49-01-01", 1514764800},
      {"", "GMT", "en_US_POSIX", "x", none},
      {"", "GMT", "en_US_POSIX", "", none},
      {"nn", "GMT", "en_US_POSIX", "1", none},
      // Clocks went from 02:00 to 03:00 and, in autumn, from 03:00 to 02:00.
      {"yyyy-MM-dd HH:mm", "Europe/Berlin", "en_US_POSIX", "2020-03-29 02:30", none},
      {"yyyy-MM-dd HH:mm", "Europe/Berlin", "en_US_POSIX", "2020-03-29 03:30", 607138200},
      {"yyyy-MM-dd HH:mm", "Europe/Berlin", "en_US_POSIX", "2020-10-25 02:30", 625282200},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.pattern) + " \"" + row.text + '"');
    EXPECT_EQ(parse(formatter(row.pattern, row.zone, row.locale), row.text), row.seconds);
  }
  EXPECT_FALSE(formatter("yyyy-MM-dd").dateFromString(NSString(u"2001-01-0\xD800")));
}

// The short way through fixed layouts and the long one through ICU are one and the same to the caller.
TEST(NSDateFormatterTest, ParsesAsICUDoes) {
  Generator generator(99);
  std::size_t count = 0, dates = 0;
  const char* const zones[] = {"GMT", "Asia/Shanghai", "America/New_York", "Europe/Berlin"};
  for (const Format& format : datetexts::formats()) {
    for (const char* zone : zones) {
      // Where the text names no zone, the machine engines' own is GMT; the others must hold as well.
      const NSDateFormatter tested = formatter(format.pattern, zone);
      const Oracle oracle(format.pattern, zone);
      const bool isMain = zone == zones[0];
      for (int i = 0; i < (isMain ? 6'000 : 1'000); ++i) {
        std::u16string text = generator.plain(format);
        if (!generator.oneIn(3)) text = generator.broken(std::move(text));
        const std::optional<double> expected = oracle.parse(text);
        ASSERT_EQ(parse(tested, NSString(text)), expected) << format.pattern << " " << zone << " " << printable(text);
        ++count;
        if (expected) ++dates;
      }
    }
  }
  EXPECT_GT(count, 100'000u);
  EXPECT_GT(dates, count / 4);
  EXPECT_GT(count - dates, count / 4);
}

TEST(NSDateFormatterTest, ParsesAsICUDoesInOtherLocales) {
  Generator generator(5);
  for (const char* locale :
       {"en_US", "en", "zh_CN", "de_DE", "fr_FR", "ja_JP", "ru_RU", "th_TH@calendar=gregorian", "bn_BD"}) {
    for (const Format& format : datetexts::formats()) {
      const NSDateFormatter tested = formatter(format.pattern, "Asia/Tokyo", locale);
      const Oracle oracle(format.pattern, "Asia/Tokyo", locale);
      for (int i = 0; i < 100; ++i) {
        std::u16string text = generator.plain(format);
        if (generator.oneIn(2)) text = generator.broken(std::move(text));
        ASSERT_EQ(parse(tested, NSString(text)), oracle.parse(text))
            << format.pattern << " " << locale << " " << printable(text);
      }
    }
  }
}

TEST(NSDateFormatterTest, FormatsAsICUDoes) {
  Generator generator(17);
  for (const char* pattern : {"yyyy-MM-dd'T'HH:mm:ssZ", "EEE MMM dd HH:mm:ss.SSS Z yyyy", "yyyy-MM-dd"}) {
    for (const char* locale : {"en_US_POSIX", "zh_CN", "de_DE", "ar_EG"}) {
      for (const char* zone : {"GMT", "Asia/Shanghai", "America/New_York", "Africa/Monrovia", "Asia/Kathmandu"}) {
        const NSDateFormatter tested = formatter(pattern, zone, locale);
        const Oracle oracle(pattern, zone, locale);
        for (int i = 0; i < 200; ++i) {
          const double instant =
              (generator.oneIn(4) ? -1 : 1) * 1000.0 * generator.below(4'000'000'000) * (generator.oneIn(8) ? 50 : 1) +
              generator.below(1000);
          const NSString text = tested.stringFromDate(NSDate::dateWithTimeIntervalSince1970(instant / 1000.0));
          ASSERT_EQ(text.u16str(), oracle.format(instant)) << pattern << " " << locale << " " << zone;
        }
      }
    }
  }
}

TEST(NSDateFormatterTest, WhatIsFormattedParsesBack) {
  Generator generator(3);
  for (const char* pattern :
       {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "yyyy/M/d H:m:s.SSS z", "EEEE d MMMM yyyy HH:mm:ss.SSSXXX"}) {
    const NSDateFormatter it = formatter(pattern, "America/New_York");
    for (int i = 0; i < 500; ++i) {
      const double seconds = (1000.0 * generator.below(4'000'000'000) + generator.below(1000)) / 1000.0 - 978307200.0;
      ASSERT_EQ(parse(it, it.stringFromDate(date(seconds))), seconds) << pattern;
    }
  }
}

TEST(NSDateFormatterTest, FarDatesAreDefined) {
  const NSDateFormatter it = formatter("G yyyy-MM-dd");
  EXPECT_EQ(show(it.stringFromDate(date(1e12))), "AD 33689-09-27");
  const NSString farthest = it.stringFromDate(date(1e300));
  EXPECT_TRUE(farthest.hasPrefix("AD 58"));
  EXPECT_EQ(it.stringFromDate(date(INFINITY)), farthest);
  EXPECT_TRUE(it.stringFromDate(date(-INFINITY)).hasPrefix("BC 58"));
  EXPECT_FALSE(it.stringFromDate(date(NAN)));
  EXPECT_EQ(show(it.stringFromDate(NSDate::distantPast())).substr(0, 3), "AD ");
}

TEST(NSDateFormatterTest, Lenient) {
  const NSDateFormatter it = formatter("yyyy-MM-dd");
  EXPECT_FALSE(it.isLenient());
  EXPECT_FALSE(parse(it, "2001-13-01"));
  it.setLenient(true);
  EXPECT_TRUE(it.isLenient());
  EXPECT_EQ(parse(it, "2001-13-01"), 31536000);
  EXPECT_EQ(parse(it, "2001-01-02"), 86400);
  it.setLenient(false);
  EXPECT_FALSE(parse(it, "2001-13-01"));
}

TEST(NSDateFormatterTest, Styles) {
  const NSDateFormatter it = NSDateFormatter::new_();
  it.setLocale(NSLocale::localeWithLocaleIdentifier("en_US"));
  it.setTimeZone(NSTimeZone::timeZoneWithName("GMT"));
  EXPECT_EQ(it.stringFromDate(date(0)), "");
  EXPECT_EQ(it.dateFormat(), "");
  struct Row {
    NSDateFormatterStyle dateStyle, timeStyle;
    const char *pattern, *text;
  };
  const Row rows[] = {
      {NSDateFormatterShortStyle, NSDateFormatterNoStyle, "M/d/yy", "1/1/01"},
      {NSDateFormatterMediumStyle, NSDateFormatterNoStyle, "MMM d, y", "Jan 1, 2001"},
      {NSDateFormatterLongStyle, NSDateFormatterShortStyle, nullptr, "January 1, 2001 at 12:00\u202FAM"},
      {NSDateFormatterFullStyle, NSDateFormatterNoStyle, "EEEE, MMMM d, y", "Monday, January 1, 2001"},
      {NSDateFormatterNoStyle, NSDateFormatterMediumStyle, nullptr, "12:00:00\u202FAM"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    it.setDateStyle(row.dateStyle);
    it.setTimeStyle(row.timeStyle);
    EXPECT_EQ(it.dateStyle(), row.dateStyle);
    EXPECT_EQ(it.timeStyle(), row.timeStyle);
    if (row.pattern != nullptr) {
      EXPECT_EQ(it.dateFormat(), row.pattern);
    }
    EXPECT_EQ(show(it.stringFromDate(date(0))), row.text);
  }
  it.setDateFormat("yyyy");
  EXPECT_EQ(it.stringFromDate(date(0)), "2001");
  it.setDateFormat(nullptr);
  EXPECT_EQ(show(it.stringFromDate(date(0))), rows[4].text);
  it.setDateFormat("yyyy");
  it.setDateStyle(NSDateFormatterShortStyle);
  it.setTimeStyle(NSDateFormatterNoStyle);
  EXPECT_EQ(it.stringFromDate(date(0)), "1/1/01");
  EXPECT_GT(NSDateFormatter::localizedStringFromDate_dateStyle_timeStyle(date(0), NSDateFormatterLongStyle,
                                                                         NSDateFormatterNoStyle)
                .length(),
            0u);
  EXPECT_FALSE(NSDateFormatter::localizedStringFromDate_dateStyle_timeStyle(nullptr, NSDateFormatterLongStyle,
                                                                            NSDateFormatterNoStyle));
}

TEST(NSDateFormatterTest, Templates) {
  struct Row {
    const char *templateText, *locale, *pattern;
  };
  const Row rows[] = {{"yMMMd", "en_US", "MMM d, y"},
                      {"yMMMd", "zh_CN", "y年M月d日"},
                      {"yMMMd", "de_DE", "d. MMM y"},
                      {"Hm", "en_US", "HH:mm"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.locale);
    const NSLocale locale = NSLocale::localeWithLocaleIdentifier(row.locale);
    EXPECT_EQ(show(NSDateFormatter::dateFormatFromTemplate_options_locale(row.templateText, 0, locale)), row.pattern);
    const NSDateFormatter it = NSDateFormatter::new_();
    it.setLocale(locale);
    it.setLocalizedDateFormatFromTemplate(row.templateText);
    EXPECT_EQ(show(it.dateFormat()), row.pattern);
  }
  EXPECT_FALSE(NSDateFormatter::dateFormatFromTemplate_options_locale(nullptr, 0, nullptr));
}

TEST(NSDateFormatterTest, TheDefaultZoneIsAskedForWhenUsed) {
  const NSDateFormatter it = formatter("yyyy-MM-dd HH:mm Z");
  it.setTimeZone(nullptr);
  NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(3600));
  EXPECT_EQ(it.stringFromDate(date(0)), "2001-01-01 01:00 +0100");
  EXPECT_EQ(it.timeZone().name(), "GMT+0100");
  NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(-3600));
  EXPECT_EQ(it.stringFromDate(date(0)), "2000-12-31 23:00 -0100");
  const NSDateFormatter day = formatter("yyyy-MM-dd");
  day.setTimeZone(nullptr);
  EXPECT_EQ(parse(day, "2001-01-01"), 3600);
  it.setTimeZone(NSTimeZone::timeZoneWithName("GMT"));
  EXPECT_EQ(it.stringFromDate(date(0)), "2001-01-01 00:00 +0000");
  NSTimeZone::setDefaultTimeZone(nullptr);
}

TEST(NSDateFormatterTest, Symbols) {
  const NSDateFormatter it = formatter("h a");
  EXPECT_EQ(it.AMSymbol(), "AM");
  EXPECT_EQ(it.PMSymbol(), "PM");
  it.setPMSymbol("in the afternoon");
  EXPECT_EQ(it.PMSymbol(), "in the afternoon");
  EXPECT_EQ(it.AMSymbol(), "AM");
  EXPECT_EQ(it.stringFromDate(date(13 * 3600)), "1 in the afternoon");
  EXPECT_EQ(it.stringFromDate(date(0)), "12 AM");
  it.setAMSymbol("am");
  EXPECT_EQ(it.stringFromDate(date(0)), "12 am");
  it.setPMSymbol(nullptr);
  EXPECT_EQ(it.PMSymbol(), "PM");
  ASSERT_EQ(it.monthSymbols().count(), 12u);
  ASSERT_EQ(it.weekdaySymbols().count(), 7u);
  EXPECT_EQ(it.monthSymbols().firstObject(), NSString("January"));
  EXPECT_EQ(it.shortMonthSymbols().lastObject(), NSString("Dec"));
  EXPECT_EQ(it.weekdaySymbols().firstObject(), NSString("Sunday"));
  EXPECT_EQ(it.shortWeekdaySymbols().lastObject(), NSString("Sat"));
}

TEST(NSDateFormatterTest, TwoDigitYears) {
  const NSDateFormatter it = formatter("yy-MM-dd");
  EXPECT_EQ(it.twoDigitStartDate().timeIntervalSince1970(), -631152000.0);
  it.setTwoDigitStartDate(NSDate::dateWithTimeIntervalSince1970(0));
  EXPECT_EQ(parse(it, "69-01-01"), 2145916800);
  EXPECT_EQ(parse(it, "70-01-01"), -978307200);
  it.setTwoDigitStartDate(nullptr);
  EXPECT_EQ(parse(it, "69-01-01"), -1009843200);
}

TEST(NSDateFormatterTest, SettingsAreCopied) {
  const NSMutableString pattern = NSString("yyyy").mutableCopy();
  const NSDateFormatter it = formatter("");
  it.setDateFormat(pattern);
  pattern.appendString("-MM");
  EXPECT_EQ(it.stringFromDate(date(0)), "2001");
  EXPECT_EQ(it.dateFormat(), "yyyy");

  const NSDateFormatter copy = it.copy();
  copy.setDateFormat("MM");
  EXPECT_EQ(it.stringFromDate(date(0)), "2001");
  EXPECT_EQ(copy.stringFromDate(date(0)), "01");
  EXPECT_EQ(copy.timeZone(), it.timeZone());
  EXPECT_EQ(copy.locale().localeIdentifier(), "en_US_POSIX");
  EXPECT_FALSE(isIdentical(objc_msgSend<NSDateFormatter>(it, "copyWithZone:", nullptr), it));
  it.setLocale(nullptr);
  EXPECT_EQ(it.locale(), NSLocale::currentLocale());
  EXPECT_FALSE(it.calendar());
  it.setCalendar(NSString("any"));
  EXPECT_EQ(it.calendar(), NSString("any"));
}

TEST(NSDateFormatterTest, AnswersMessages) {
  const auto it = objc_msgSend<NSDateFormatter>(objc_getClass("NSDateFormatter"), "new");
  ASSERT_TRUE(it);
  objc_msgSend(it, "setDateFormat:", NSString("yyyy-MM-dd"));
  objc_msgSend(it, "setTimeZone:", NSTimeZone::timeZoneWithName("GMT"));
  EXPECT_EQ(objc_msgSend<NSString>(it, "stringFromDate:", date(0)), "2001-01-01");
  EXPECT_EQ(objc_msgSend<NSDate>(it, "dateFromString:", NSString("2001-01-02")), date(86400));
}

TEST(NSDateFormatterTest, NilAnswersNil) {
  const NSDateFormatter it = formatter("yyyy");
  EXPECT_FALSE(it.stringFromDate(nullptr));
  EXPECT_FALSE(it.dateFromString(nullptr));
  const NSDateFormatter nil;
  EXPECT_FALSE(nil.stringFromDate(date(0)));
  EXPECT_FALSE(nil.dateFromString("2001"));
  nil.setDateFormat("yyyy");
  nil.setLocalizedDateFormatFromTemplate("y");
  nil.setDateStyle(NSDateFormatterLongStyle);
  nil.setTimeStyle(NSDateFormatterLongStyle);
  nil.setLocale(NSLocale::currentLocale());
  nil.setTimeZone(NSTimeZone::timeZoneWithName("GMT"));
  nil.setLenient(true);
  nil.setTwoDigitStartDate(date(0));
  nil.setCalendar(date(0));
  nil.setAMSymbol("a");
  nil.setPMSymbol("p");
  EXPECT_FALSE(nil.dateFormat());
  EXPECT_EQ(nil.dateStyle(), NSDateFormatterNoStyle);
  EXPECT_EQ(nil.timeStyle(), NSDateFormatterNoStyle);
  EXPECT_FALSE(nil.locale());
  EXPECT_FALSE(nil.timeZone());
  EXPECT_FALSE(nil.isLenient());
  EXPECT_FALSE(nil.twoDigitStartDate());
  EXPECT_FALSE(nil.calendar());
  EXPECT_FALSE(nil.AMSymbol());
  EXPECT_FALSE(nil.PMSymbol());
  EXPECT_FALSE(nil.monthSymbols());
  EXPECT_FALSE(nil.shortMonthSymbols());
  EXPECT_FALSE(nil.weekdaySymbols());
  EXPECT_FALSE(nil.shortWeekdaySymbols());
  EXPECT_FALSE(nil.copy());
}

TEST(NSDateFormatterTest, OneFormatterOnManyThreads) {
  const NSDateFormatter fixed = formatter("yyyy-MM-dd'T'HH:mm:ssZ", "Asia/Shanghai");
  const NSDateFormatter named = formatter("EEEE d MMMM yyyy HH:mm:ss z", "Europe/Berlin", "de_DE");
  const NSDateFormatter changing = formatter("yyyy");
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 150; ++i) {
        const double seconds = 86'400.0 * (t * 1000 + i) + 3600 * 12 + i;
        for (const NSDateFormatter* it : {&fixed, &named}) {
          ASSERT_EQ(parse(*it, it->stringFromDate(date(seconds))), seconds);
        }
        if (t == 0) changing.setDateFormat(i % 2 == 0 ? "yyyy" : "MM-yyyy");
        const NSString text = changing.stringFromDate(date(0));
        ASSERT_TRUE(text == "2001" || text == "01-2001") << text;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Quadratic work would take hours: the time that a test may take is the proof.
TEST(NSDateFormatterTest, HostileTextsAndPatterns) {
  constexpr std::size_t kSize = 1'000'000;
  std::vector<NSDateFormatter> formatters;
  for (const char* pattern :
       {"yyyy-MM-dd", "yyyy-MM-dd HH:mm:ss.SSS", "EEE MMM dd HH:mm:ss Z yyyy", "z", "S", "SSSyyyy", "a",
        "yyyyMMddHHmmss.SSS", "SSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSSS"}) {
    formatters.push_back(formatter(pattern));
  }
  for (const char16_t* piece :
       {u"0", u"9", u" ", u"-", u"+", u".", u":", u"Z", u"A", u"GMT", u"\u0660", u"\U0001D7D8"}) {
    std::u16string text;
    while (text.size() < kSize) text += piece;
    const NSString whole(text), start(text.substr(0, 1000));
    for (const NSDateFormatter& it : formatters) {
      EXPECT_FALSE(it.dateFromString(whole)) << it.dateFormat();
      EXPECT_FALSE(it.dateFromString(start)) << it.dateFormat();
    }
  }
  const NSDateFormatter fraction = formatter("yyyy-MM-dd HH:mm:ss.SSS");
  for (std::size_t digits = 1; digits < 80; ++digits) {
    const auto answer = parse(fraction, NSString("2001-01-01 00:00:00." + std::string(digits, '5')));
    if (digits >= 3 && digits <= 9) {
      EXPECT_EQ(answer, milliseconds(555)) << digits;
    } else if (digits > 12) {
      EXPECT_FALSE(answer) << digits;
    }
  }
  for (const char* piece : {"y", "S", "'", "'a", "Z", "z", "-", "MMMM", "n"}) {
    std::string pattern;
    while (pattern.size() < kSize) pattern += piece;
    EXPECT_FALSE(formatter(pattern.c_str()).stringFromDate(date(0)));
    EXPECT_FALSE(formatter(pattern.c_str()).dateFromString("2001"));
    pattern.resize(4096);
    const NSDateFormatter it = formatter(pattern.c_str());
    it.stringFromDate(date(0));
    EXPECT_FALSE(it.dateFromString("2001-"));
  }
}

TEST(NSDateFormatterTest, CostOfTheShortWay) {
  const NSDateFormatter it = formatter("yyyy-MM-dd'T'HH:mm:ssZ", "Asia/Shanghai");
  const NSString text = "2016-05-15T10:20:30+0800";
  const NSDate when = it.dateFromString(text);
  ASSERT_TRUE(when);
  constexpr int kTimes = 10'000;
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kTimes; ++i) ASSERT_TRUE(it.dateFromString(text));
  const auto between = std::chrono::steady_clock::now();
  for (int i = 0; i < kTimes; ++i) ASSERT_TRUE(it.stringFromDate(when));
  const auto end = std::chrono::steady_clock::now();
  const auto nanoseconds = [](auto from, auto to) {
    return std::chrono::duration<double, std::nano>(to - from).count() / kTimes;
  };
  std::printf("dateFromString %.0f ns, stringFromDate %.0f ns\n", nanoseconds(start, between),
              nanoseconds(between, end));
}

}  // namespace
}  // namespace kvt
