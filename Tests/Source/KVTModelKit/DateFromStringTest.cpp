// Which date a text is: by its length, and as ICU reads the pattern behind it.
#include <KVTFoundation/KVTModelKit/ModelValue.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSMutableString.h>

#include <map>
#include <optional>
#include <string>

#include "ModelKitTest.h"
#include "Platform/Values/DateTexts.h"

namespace kvt {
namespace {

using datetexts::Generator;
using datetexts::Oracle;
using datetexts::printable;

/// Seconds since 1970; none for no date.
std::optional<double> secondsOf(const NSString& text) {
  NSDate date = KVTNSDateFromString(text);
  return date ? std::optional(date.timeIntervalSince1970()) : std::nullopt;
}

TEST(DateFromString, Forms) {
  struct Row {
    const char* text;
    std::size_t length;
    std::optional<double> seconds;
  };
  constexpr double kNoon = 1390220688;  // 2014-01-20 12:24:48 GMT
  const Row rows[] = {
      {"2014-01-20", 10, 1390176000},
      {"1970-01-01", 10, 0},
      {"1969-12-31", 10, -86400},
      {"2000-02-29", 10, 951782400},
      {"2001-02-29", 10, std::nullopt},
      {"2014-13-01", 10, std::nullopt},
      {"2014-00-10", 10, std::nullopt},
      {"2014-01-32", 10, std::nullopt},
      {"2014/01/20", 10, std::nullopt},
      {"abcdefghij", 10, std::nullopt},
      {"20140120xx", 10, std::nullopt},
      {"1390220688", 10, std::nullopt},

      {"2014-01-20T12:24:48", 19, kNoon},
      {"2014-01-20 12:24:48", 19, kNoon},
      {"2014-01-20t12:24:48", 19, std::nullopt},
      {"2014-01-20_12:24:48", 19, std::nullopt},
      {"2014-01-20T24:00:00", 19, std::nullopt},
      {"2014-01-20T12:60:00", 19, std::nullopt},
      {"2014-01-20T12:24:60", 19, std::nullopt},
      {"2014-01-20 12.24.48", 19, std::nullopt},

      {"2014-01-20T12:24:48Z", 20, kNoon},
      {"2014-01-20 12:24:48Z", 20, std::nullopt},
      {"2014-01-20T12:24:48X", 20, std::nullopt},

      {"2014-01-20T12:24:48.123", 23, kNoon + 0.123},
      {"2014-01-20 12:24:48.123", 23, kNoon + 0.123},
      {"2014-01-20T12:24:48.000", 23, kNoon},
      {"2014-01-20T12:24:48,123", 23, std::nullopt},
      {"2014-01-20x12:24:48.123", 23, std::nullopt},

      {"2014-01-20T12:24:48+0800", 24, kNoon - 8 * 3600},
      {"2014-01-20T12:24:48-0330", 24, kNoon + 3.5 * 3600},
      {"2014-01-20T12:24:48+0000", 24, kNoon},
      {"2014-01-20T12:24:48.123Z", 24, kNoon + 0.123},
      {"2014-01-20 12:24:48+0800", 24, std::nullopt},

      {"2014-01-20T12:24:48+08:00", 25, kNoon - 8 * 3600},
      {"2014-01-20T12:24:48-03:30", 25, kNoon + 3.5 * 3600},
      {"2014-01-20T12:24:48.12+08", 25, std::nullopt},

      {"2014-01-20T12:24:48.123+0800", 28, kNoon + 0.123 - 8 * 3600},
      {"2014-01-20T12:24:48.123-0000", 28, kNoon + 0.123},
      {"2014-01-20 12:24:48.123+0800", 28, std::nullopt},

      {"2014-01-20T12:24:48.123+08:00", 29, kNoon + 0.123 - 8 * 3600},
      {"2014-01-20T12:24:48.123-12:00", 29, kNoon + 0.123 + 12 * 3600},

      {"Mon Jan 20 12:24:48 +0800 2014", 30, kNoon - 8 * 3600},
      {"Fri Sep 04 00:12:21 +0800 2015", 30, 1441296741},
      {"Mon Foo 20 12:24:48 +0800 2014", 30, std::nullopt},

      {"Mon Jan 20 12:24:48.123 +0800 2014", 34, kNoon + 0.123 - 8 * 3600},
      {"Mon Jan 20 12:24:48.000 -0800 2014", 34, kNoon + 8 * 3600},

      // The right words at a length that has no parser.
      {"2014-1-20", 9, std::nullopt},
      {"2014-01-20T", 11, std::nullopt},
      {"2014-01-20T12:24", 16, std::nullopt},
      {"2014-01-20T12:24:4", 18, std::nullopt},
      {"2014-01-20T12:24:48.1", 21, std::nullopt},
      {"2014-01-20 12:24:48.1", 21, std::nullopt},
      {"2014-01-20T12:24:48.12", 22, std::nullopt},
      {"2014-01-20T12:24:48+08", 22, std::nullopt},
      {"2014-01-20T12:24:48.1234Z", 25, std::nullopt},
      {"2014-01-20T12:24:48.123456", 26, std::nullopt},
      {"2014-01-20T12:24:48.123 GMT", 27, std::nullopt},
      {"2014-01-20T12:24:48.123456Z", 27, std::nullopt},
      {"Mon Jan 20 12:24:48 +08:00 2014", 31, std::nullopt},
      {"Mon Jan 20 12:24:48.12 +08:00 2014x", 35, std::nullopt},
      {"Mon Jan 20 12:24:48.123 +08:00 2014", 35, std::nullopt},
      {"", 0, std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const NSString text = row.text;
    ASSERT_EQ(text.length(), row.length);
    const auto seconds = secondsOf(text);
    ASSERT_EQ(seconds.has_value(), row.seconds.has_value());
    if (seconds) {
      EXPECT_NEAR(*seconds, *row.seconds, 1e-6);
    }
    EXPECT_EQ(secondsOf(NSMutableString::stringWithString(text)), seconds);
  }
}

TEST(DateFromString, NilAndEveryOtherLength) {
  EXPECT_FALSE(KVTNSDateFromString(nullptr));
  const std::string digits(4096, '1');
  for (std::size_t length = 0; length <= 40; ++length) {
    EXPECT_FALSE(KVTNSDateFromString(NSString(digits.substr(0, length)))) << length;
    EXPECT_FALSE(KVTNSDateFromString(NSString(std::string(length, ' ')))) << length;
    EXPECT_FALSE(KVTNSDateFromString(NSString(std::u16string(length, u'\xD800')))) << length;
    EXPECT_FALSE(KVTNSDateFromString(NSString(std::string(length, '\0')))) << length;
  }
  EXPECT_FALSE(KVTNSDateFromString(NSString(digits)));
}

TEST(DateFromString, LengthsAreCountedInUnits) {
  // Ten units, though not ten bytes or ten characters.
  const std::u16string wide = u"\uFF12\uFF10\uFF11\uFF14-\uFF10\uFF11-\uFF12\uFF10";
  const auto oracle = Oracle("yyyy-MM-dd").parse(wide);
  const auto seconds = secondsOf(NSString(wide));
  ASSERT_EQ(seconds.has_value(), oracle.has_value());
  if (seconds) {
    EXPECT_EQ(*seconds, 1390176000);
  }
  EXPECT_FALSE(KVTNSDateFromString(NSString(u"2014-01-\U0001F600")));
}

TEST(DateFromString, AsICUReadsThem) {
  // What is tried at each length, in order; a `T` at index 10 decides between the forms with and without one.
  std::map<std::string, Oracle> oracles;
  for (const auto& format : datetexts::formats()) oracles.try_emplace(format.pattern, format.pattern);
  const auto expected = [&](const std::u16string& text) -> std::optional<double> {
    const bool hasT = text.size() > 10 && text[10] == u'T';
    std::vector<const char*> patterns;
    switch (text.size()) {
      case 10: patterns = {"yyyy-MM-dd"}; break;
      case 19: patterns = {hasT ? "yyyy-MM-dd'T'HH:mm:ss" : "yyyy-MM-dd HH:mm:ss"}; break;
      case 23: patterns = {hasT ? "yyyy-MM-dd'T'HH:mm:ss.SSS" : "yyyy-MM-dd HH:mm:ss.SSS"}; break;
      case 24: patterns = {"yyyy-MM-dd'T'HH:mm:ssZ", "yyyy-MM-dd'T'HH:mm:ss.SSSZ"}; break;
      case 20:
      case 25: patterns = {"yyyy-MM-dd'T'HH:mm:ssZ"}; break;
      case 28:
      case 29: patterns = {"yyyy-MM-dd'T'HH:mm:ss.SSSZ"}; break;
      case 30: patterns = {"EEE MMM dd HH:mm:ss Z yyyy"}; break;
      case 34: patterns = {"EEE MMM dd HH:mm:ss.SSS Z yyyy"}; break;
      default: break;
    }
    for (const char* pattern : patterns) {
      if (auto seconds = oracles.at(pattern).parse(text)) return *seconds + 978307200.0;
    }
    return std::nullopt;
  };

  Generator generator(20140120);
  const auto& formats = datetexts::formats();
  int dates = 0, failures = 0;
  for (int i = 0; i < 100000 && failures < 20; ++i) {
    const auto& format = formats[static_cast<std::size_t>(i) % formats.size()];
    std::u16string text = generator.plain(format);
    if (i % 3 != 0) text = generator.broken(text);
    const auto wanted = expected(text), got = secondsOf(NSString(text));
    dates += wanted.has_value();
    if (wanted.has_value() != got.has_value() || (wanted && std::abs(*wanted - *got) > 1e-6)) {
      ++failures;
      ADD_FAILURE() << printable(text) << ": " << (got ? std::to_string(*got) : "none") << " instead of "
                    << (wanted ? std::to_string(*wanted) : "none");
    }
  }
  // Both kinds of texts were among them.
  EXPECT_GT(dates, 30000);
  EXPECT_LT(dates, 95000);
}

TEST(DateFromString, WhatICUWritesIsReadBack) {
  Generator generator(7);
  for (const auto& format : datetexts::formats()) {
    SCOPED_TRACE(format.pattern);
    const Oracle oracle(format.pattern);
    const bool hasMilliseconds = std::string(format.pattern).find("SSS") != std::string::npos;
    const bool hasTime = std::string(format.pattern).find("HH") != std::string::npos;
    for (int i = 0; i < 2000; ++i) {
      double milliseconds = static_cast<double>(generator.below(2000000000)) * 1000 + generator.below(1000);
      const std::u16string text = oracle.format(milliseconds);
      if (!hasMilliseconds) milliseconds = std::floor(milliseconds / 1000) * 1000;
      if (!hasTime) milliseconds = std::floor(milliseconds / 86400000) * 86400000;
      const auto seconds = secondsOf(NSString(text));
      // The zone is written +0000, which makes the texts with milliseconds 28 and those without 24 units long.
      ASSERT_TRUE(seconds) << printable(text);
      ASSERT_NEAR(*seconds, milliseconds / 1000, 1e-6) << printable(text);
    }
  }
}

}  // namespace
}  // namespace kvt
