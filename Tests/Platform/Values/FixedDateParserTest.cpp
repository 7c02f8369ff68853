#include <KVTPlatform/Values/FixedDateParser.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>

#include "DateTexts.h"

namespace kvt {
namespace {

using datetexts::Format;
using datetexts::Generator;
using datetexts::Oracle;
using datetexts::printable;

/// Seconds since 2001 by both text forms, which must agree; none when unusual.
std::optional<double> parse(const FixedDateLayout& layout, const std::u16string& text) {
  double wide = -1, narrow = -1;
  const FixedDateResult result = parseFixedDate(text.data(), text.size(), layout, &wide);
  bool isASCII = true;
  std::string bytes;
  for (char16_t c : text) {
    isASCII = isASCII && c < 0x80;
    bytes += static_cast<char>(c);
  }
  if (isASCII) {
    EXPECT_EQ(parseFixedDate(bytes.data(), bytes.size(), layout, &narrow), result) << printable(text);
    EXPECT_EQ(narrow, wide) << printable(text);
  }
  if (result == FixedDateResult::kUnusual) {
    EXPECT_EQ(wide, -1) << "written though not parsed: " << printable(text);
    return std::nullopt;
  }
  return wide;
}

TEST(FixedDateParserTest, WhichPatternsAreFixed) {
  struct Row {
    const char* pattern;
    bool isFixed, hasZone, hasNames;
  };
  const Row rows[] = {
      {"yyyy-MM-dd", true, false, false},
      {"yyyy-MM-dd'T'HH:mm:ss", true, false, false},
      {"yyyy-MM-dd'T'HH:mm:ss'Z'", true, false, false},
      {"yyyy-MM-dd HH:mm:ss.SSS", true, false, false},
      {"yyyy-MM-dd'T'HH:mm:ssZ", true, true, false},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZZZ", true, true, false},
      {"EEE MMM dd HH:mm:ss Z yyyy", true, true, true},
      {"E dd MMM yyyy", true, false, true},
      {"yyyyMMddHHmmss", true, false, false},
      {"dd.MM.yyyy", true, false, false},
      {"", false, false, false},
      {"yyyy", false, false, false},
      {"HH:mm:ss", false, false, false},
      {"yyyy-MM", false, false, false},
      {"yyyy-MM-dd MMM", false, false, false},
      {"yyyy-MM-dd yyyy", false, false, false},
      {"YYYY-MM-dd", false, false, false},
      {"yy-MM-dd", false, false, false},
      {"yyyyy-MM-dd", false, false, false},
      {"y-MM-dd", false, false, false},
      {"yyyy-M-dd", false, false, false},
      {"yyyy-MMMM-dd", false, false, false},
      {"yyyy-MM-d", false, false, false},
      {"yyyy-MM-dd hh:mm a", false, false, false},
      {"yyyy-MM-dd kk:mm", false, false, false},
      {"EEEE MMM dd yyyy", false, false, false},
      {"yyyy-MM-dd'T'HH:mm:ssZZZZ", false, false, false},
      {"yyyy-MM-dd'T'HH:mm:ssZZZZZ", false, false, false},
      {"yyyy-MM-dd'T'HH:mm:ssXXX", false, false, false},
      {"yyyy-MM-dd z", false, false, false},
      {"yyyyMMddHHmmssSSS", false, false, false},
      {"yyyy-MM-dd 'at' HH:mm", false, false, false},
      {"yyyy-MM-dd''HH:mm", false, false, false},
      {"yyyy-MM-dd 'T", false, false, false},
      {"yyyy-MM-dd ", false, false, false},
      {" yyyy-MM-dd", false, false, false},
      {"yyyy-MM-dd  HH", false, false, false},
      {"yyyy-MMM-dd", false, false, false},
      {"yyyy,MM,dd", false, false, false},
      {"yyyy'E'MM-dd", false, false, false},
      {"yyyy-MM-dd Z:mm", false, false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.pattern);
    const FixedDateLayout layout{std::string_view(row.pattern)};
    EXPECT_EQ(layout.isFixed(), row.isFixed);
    EXPECT_EQ(layout.hasZone(), row.hasZone);
    EXPECT_EQ(layout.hasNames(), row.hasNames);
    const std::string narrow = row.pattern;
    const FixedDateLayout wide(std::u16string_view(std::u16string(narrow.begin(), narrow.end())));
    EXPECT_EQ(wide.isFixed(), row.isFixed);
  }
  EXPECT_FALSE(FixedDateLayout().isFixed());
  EXPECT_FALSE(FixedDateLayout(std::u16string_view(u"yyyy年MM月dd日")).isFixed());
  EXPECT_FALSE(FixedDateLayout(std::u16string_view(std::u16string(100'000, u'-'))).isFixed());
}

TEST(FixedDateParserTest, PlainTexts) {
  struct Row {
    const char* pattern;
    const char16_t* text;
    double seconds;
  };
  const Row rows[] = {
      {"yyyy-MM-dd", u"2001-01-01", 0},
      {"yyyy-MM-dd", u"1970-01-01", -978307200},
      {"yyyy-MM-dd", u"2000-02-29", -26524800},
      {"yyyy-MM-dd", u"1583-01-01", -13190860800},
      {"yyyy-MM-dd", u"9999-12-31", 252423907200},
      {"yyyy-MM-dd'T'HH:mm:ss", u"2001-01-01T23:59:59", 86399},
      {"yyyy-MM-dd HH:mm:ss", u"2001-01-02 00:00:01", 86401},
      {"yyyy-MM-dd HH:mm:ss.SSS", u"2001-01-01 00:00:00.125", 0.125},
      {"yyyy-MM-dd HH:mm:ss.SSS", u"2001-01-01 00:00:00.5", 0.5},
      {"yyyy-MM-dd HH:mm:ss.SSS", u"2001-01-01 00:00:00.125999", 0.125},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00Z", 0},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T08:00:00+0800", 0},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T08:00:00+08:00", 0},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00-0330", 12600},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", u"2001-01-01T00:00:00.250-00:01", 60.25},
      {"EEE MMM dd HH:mm:ss Z yyyy", u"Mon Jan 01 00:00:00 +0000 2001", 0},
      {"EEE MMM dd HH:mm:ss Z yyyy", u"Fri Jan 01 00:00:00 +0000 2001", 0},
      {"EEE MMM dd HH:mm:ss.SSS Z yyyy", u"Tue Jan 02 00:00:00.750 +0000 2001", 86400.75},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(printable(row.text));
    const auto answer = parse(FixedDateLayout(std::string_view(row.pattern)), row.text);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, row.seconds);
  }
}

TEST(FixedDateParserTest, UnusualTexts) {
  struct Row {
    const char* pattern;
    const char16_t* text;
  };
  const Row rows[] = {
      {"yyyy-MM-dd", u""},
      {"yyyy-MM-dd", u"2001-01-0"},
      {"yyyy-MM-dd", u"2001-01-01 "},
      {"yyyy-MM-dd", u" 2001-01-01"},
      {"yyyy-MM-dd", u"16-01-01"},
      {"yyyy-MM-dd", u"2001-1-01"},
      {"yyyy-MM-dd", u"2001-00-01"},
      {"yyyy-MM-dd", u"2001-13-01"},
      {"yyyy-MM-dd", u"2001-01-00"},
      {"yyyy-MM-dd", u"2001-01-32"},
      {"yyyy-MM-dd", u"2001-02-29"},
      {"yyyy-MM-dd", u"1900-02-29"},
      {"yyyy-MM-dd", u"2001-04-31"},
      {"yyyy-MM-dd", u"1582-10-04"},
      {"yyyy-MM-dd", u"1582-12-31"},
      {"yyyy-MM-dd", u"0000-01-01"},
      {"yyyy-MM-dd", u"２００１-01-01"},
      {"yyyy-MM-dd HH:mm:ss", u"2001-01-01 24:00:00"},
      {"yyyy-MM-dd HH:mm:ss", u"2001-01-01 00:60:00"},
      {"yyyy-MM-dd HH:mm:ss", u"2001-01-01 00:00:60"},
      {"yyyy-MM-dd HH:mm:ss", u"2001-01-01T00:00:00"},
      {"yyyy-MM-dd HH:mm:ss.SSS", u"2001-01-01 00:00:00."},
      {"yyyy-MM-dd HH:mm:ss.SSS", u"2001-01-01 00:00:00.1234567890"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00z"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00GMT+08:00"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00+2400"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00+0060"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00+08:00:30"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00+080"},
      {"yyyy-MM-dd'T'HH:mm:ssZ", u"2001-01-01T00:00:00+08:0"},
      {"EEE MMM dd HH:mm:ss Z yyyy", u"mon Jan 01 00:00:00 +0000 2001"},
      {"EEE MMM dd HH:mm:ss Z yyyy", u"Mon Foo 01 00:00:00 +0000 2001"},
      {"EEE MMM dd HH:mm:ss Z yyyy", u"Mo"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(printable(row.text));
    EXPECT_FALSE(parse(FixedDateLayout(std::string_view(row.pattern)), row.text).has_value());
  }
  double seconds = 7;
  EXPECT_EQ(parseFixedDate("2001-01-01", 10, FixedDateLayout(), &seconds), FixedDateResult::kUnusual);
  EXPECT_EQ(seconds, 7);
  EXPECT_EQ(parseFixedDate(static_cast<const char*>(nullptr), 0, FixedDateLayout("yyyy-MM-dd"), &seconds),
            FixedDateResult::kUnusual);
}

TEST(FixedDateParserTest, WallTimeKeepsTheTextsOffset) {
  FixedWallTime time;
  const FixedDateLayout layout("yyyy-MM-dd'T'HH:mm:ssZ");
  ASSERT_EQ(parseFixedWallTime("1970-01-02T00:00:01-01:30", 25, layout, &time), FixedDateResult::kParsed);
  EXPECT_EQ(time.milliseconds, 86'401'000);
  EXPECT_EQ(time.offset, -5400);
}

TEST(FixedDateParserTest, AnswersAsICUDoes) {
  Generator generator(20160515);
  std::size_t parsed = 0;
  for (const Format& format : datetexts::formats()) {
    const FixedDateLayout layout{std::string_view(format.pattern)};
    const Oracle oracle(format.pattern);
    ASSERT_TRUE(layout.isFixed());
    for (int i = 0; i < 9'000; ++i) {
      std::u16string text = generator.plain(format);
      const bool isBroken = generator.oneIn(2);
      if (isBroken) text = generator.broken(std::move(text));
      const auto fast = parse(layout, text);
      const auto slow = oracle.parse(text);
      if (fast.has_value()) {
        ++parsed;
        ASSERT_TRUE(slow.has_value()) << format.pattern << " " << printable(text);
        ASSERT_EQ(*fast, *slow) << format.pattern << " " << printable(text);
      } else if (!isBroken && slow.has_value() && *slow >= -13190774400.0) {
        ADD_FAILURE() << "plain, and yet unusual: " << format.pattern << " " << printable(text);
      }
    }
  }
  EXPECT_GT(parsed, 40'000u);
}

TEST(FixedDateParserTest, WritesAsICUDoes) {
  Generator generator(7);
  const char* const patterns[] = {"yyyy-MM-dd'T'HH:mm:ssZ", "EEE MMM dd HH:mm:ss.SSS Z yyyy", "yyyyMMddHHmmss",
                                  "yyyy/MM/dd HH:mm:ss.SSSSSZ", "dd.MM.yyyy"};
  const std::pair<const char*, int> zones[] = {
      {"GMT", 0}, {"GMT+08:00", 28800}, {"GMT-03:30", -12600}, {"GMT+14:00", 50400}, {"GMT-00:01", -60}};
  for (const char* pattern : patterns) {
    const FixedDateLayout layout{std::string_view(pattern)};
    ASSERT_TRUE(layout.isFixed()) << pattern;
    for (const auto& [zone, offset] : zones) {
      const Oracle oracle(pattern, zone);
      for (int i = 0; i < 1500; ++i) {
        const std::int64_t milliseconds =
            generator.oneIn(2)
                ? std::int64_t{generator.below(4'000'000'000)} * 1000 + generator.below(1000)
                : -12'212'553'600'000 + std::int64_t{generator.below(4'000'000'000)} * 66'000 + generator.below(1000);
        char text[kLongestFixedDate];
        const std::size_t length = formatFixedDate(milliseconds, offset, layout, text);
        ASSERT_GT(length, 0u) << milliseconds;
        const std::u16string expected = oracle.format(static_cast<double>(milliseconds));
        ASSERT_EQ(std::u16string(text, text + length), expected) << pattern << " " << zone << " " << milliseconds;
      }
    }
  }
}

TEST(FixedDateParserTest, WritesNothingThatItIsNotSureOf) {
  const FixedDateLayout layout("yyyy-MM-dd'T'HH:mm:ssZ");
  char text[kLongestFixedDate];
  EXPECT_EQ(formatFixedDate(-12'212'553'600'001, 0, layout, text), 0u);  // the last millisecond of 1582
  EXPECT_EQ(formatFixedDate(-12'212'553'600'000, -60, layout, text), 0u);
  EXPECT_EQ(formatFixedDate(-12'212'553'600'000, 0, layout, text), 24u);
  EXPECT_EQ(formatFixedDate(253'402'300'799'999, 0, layout, text), 24u);  // the last one of 9999
  EXPECT_EQ(formatFixedDate(253'402'300'800'000, 0, layout, text), 0u);
  EXPECT_EQ(formatFixedDate(INT64_MIN, 0, layout, text), 0u);
  EXPECT_EQ(formatFixedDate(INT64_MAX, 0, layout, text), 0u);
  EXPECT_EQ(formatFixedDate(0, 30, layout, text), 0u);
  EXPECT_EQ(formatFixedDate(0, 86'400, layout, text), 0u);
  EXPECT_EQ(formatFixedDate(0, 0, FixedDateLayout(), text), 0u);
}

TEST(FixedDateParserTest, CostComparedWithICU) {
  using Clock = std::chrono::steady_clock;
  for (const auto& [pattern, text] :
       {std::pair{"yyyy-MM-dd", "2016-05-15"}, std::pair{"yyyy-MM-dd'T'HH:mm:ss.SSSZ", "2016-05-15T10:20:30.123+08:00"},
        std::pair{"EEE MMM dd HH:mm:ss Z yyyy", "Sun May 15 10:20:30 +0800 2016"}}) {
    const FixedDateLayout layout{std::string_view(pattern)};
    const std::string narrow = text;
    const std::u16string wide(narrow.begin(), narrow.end());
    const Oracle oracle(pattern);
    const auto start = Clock::now();
    double seconds = 0;
    for (int i = 0; i < 20'000; ++i) {
      ASSERT_EQ(parseFixedDate(narrow.data(), narrow.size(), layout, &seconds), FixedDateResult::kParsed);
    }
    const auto between = Clock::now();
    for (int i = 0; i < 500; ++i) ASSERT_EQ(*oracle.parse(wide), seconds) << pattern;
    const auto end = Clock::now();
    const auto nanoseconds = [](auto from, auto to, int count) {
      return std::chrono::duration<double, std::nano>(to - from).count() / count;
    };
    std::printf("%-28s %6.1f ns a text, ICU %6.0f ns\n", pattern, nanoseconds(start, between, 20'000),
                nanoseconds(between, end, 500));
  }
}

}  // namespace
}  // namespace kvt
