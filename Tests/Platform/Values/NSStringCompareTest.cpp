#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include "TextSamples.h"

namespace kvt {
namespace {

constexpr auto kPlain = static_cast<NSStringCompareOptions>(0);
constexpr NSComparisonResult kLess = NSOrderedAscending, kSame = NSOrderedSame, kMore = NSOrderedDescending;

NSComparisonResult opposite(NSComparisonResult result) {
  return result == kLess ? kMore : result == kMore ? kLess : kSame;
}

TEST(NSStringCompareTest, OrdersByItsOptions) {
  const auto noCase = NSCaseInsensitiveSearch;
  const auto numeric = NSNumericSearch;
  const struct {
    NSString a, b;
    NSStringCompareOptions options;
    NSComparisonResult expected;
  } rows[] = {
      {"a", "b", kPlain, kLess},
      {"a", "a", kPlain, kSame},
      {"a", "ab", kPlain, kLess},
      {"", "a", kPlain, kLess},
      {"", "", kPlain, kSame},
      {"B", "a", kPlain, kLess},
      {"B", "a", noCase, kMore},
      {"ABC", "abc", noCase, kSame},
      {"_", "a", noCase, kLess},
      {"_", "A", kPlain, kMore},
      {"\u00E9", "e\u0301", kPlain, kSame},
      {"\u00E9", "e\u0301", NSLiteralSearch, kMore},
      {"\u00E9", "e\u0301", NSForcedOrderingSearch, kMore},
      {"\u00E9", "z", kPlain, kLess},  // e and its mark
      {"\u00E9", "z", NSLiteralSearch, kMore},
      {"stra\u00DFe", "STRASSE", noCase, kSame},
      {"caf\u00E9", "cafe", NSDiacriticInsensitiveSearch, kSame},
      {"CAF\u00C9", "cafe", NSDiacriticInsensitiveSearch | noCase, kSame},
      {"ＡＢ", "AB", NSWidthInsensitiveSearch, kSame},
      {"a10", "a9", kPlain, kLess},
      {"a10", "a9", numeric, kMore},
      {"a010", "a10", numeric, kSame},
      {"a010", "a10", numeric | NSForcedOrderingSearch, kLess},
      {"1.10.2", "1.9.3", numeric, kMore},
      {"1.2", "1.2.0", numeric, kLess},
      {"x99999999999999999999999", "x100000000000000000000000", numeric, kLess},
      {"会9", "会10", numeric, kLess},
      {"A2", "a10", numeric | noCase, kLess},
      {"abc", "ABC", noCase | NSForcedOrderingSearch, kMore},
      {"\uFFFD", "\U00010000", kPlain, kLess},
      {"\uFFFD", "\U00010000", NSLiteralSearch, kMore},
  };
  for (const auto& row : rows) {
    for (const NSString& a : text_test::inEveryForm(row.a.u16str())) {
      for (const NSString& b : text_test::inEveryForm(row.b.u16str())) {
        SCOPED_TRACE(row.a.str() + " / " + row.b.str() + " / " + std::to_string(row.options));
        EXPECT_EQ(a.compare_options(b, row.options), row.expected);
        EXPECT_EQ(b.compare_options(a, row.options), opposite(row.expected));
        if (row.options == kPlain) {
          EXPECT_EQ(a.compare(b), row.expected);
        }
        if (row.options == noCase) {
          EXPECT_EQ(a.caseInsensitiveCompare(b), row.expected);
        }
      }
    }
  }
  EXPECT_EQ(NSString("xabcx").compare_options_range("abc", kPlain, {1, 3}), kSame);
  EXPECT_EQ(NSString("x会议x").compare_options_range("会议", NSLiteralSearch, {1, 2}), kSame);
}

TEST(NSStringCompareTest, OrdersAsALanguageDoes) {
  const struct {
    const char* what;
    NSComparisonResult (NSString::*compare)(const NSString&) const;
    NSString a, b;
    NSComparisonResult expected;
  } rows[] = {
      {"letters before case", &NSString::localizedCompare, "a", "B", kLess},
      {"small before capital", &NSString::localizedCompare, "a", "A", kLess},
      {"accents after letters", &NSString::localizedCompare, "\u00E9", "f", kLess},
      {"accents count", &NSString::localizedCompare, "e", "\u00E9", kLess},
      {"normal forms", &NSString::localizedCompare, "\u00E9", "e\u0301", kSame},
      {"digits by character", &NSString::localizedCompare, "a10", "a9", kLess},
      {"case does not count", &NSString::localizedCaseInsensitiveCompare, "abc", "ABC", kSame},
      {"accents still do", &NSString::localizedCaseInsensitiveCompare, "e", "\u00C9", kLess},
      {"files by number", &NSString::localizedStandardCompare, "File 10", "File 9", kMore},
      {"files by case last", &NSString::localizedStandardCompare, "file", "File", kLess},
      {"nil", &NSString::localizedStandardCompare, "a", nullptr, kMore},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ((row.a.*row.compare)(row.b), row.expected);
  }
}

TEST(NSStringCompareTest, OrdersInAGivenLanguage) {
  const auto compare = [](const NSString& a, const NSString& b, NSStringCompareOptions options, const id& locale) {
    return a.compare_options_range_locale(b, options, {0, a.length()}, locale);
  };
  // "ä" is a letter behind z in Swedish, an a in German.
  EXPECT_EQ(compare("\u00E4", "z", kPlain, "sv"_ns), kMore);
  EXPECT_EQ(compare("\u00E4", "z", kPlain, "de_DE"_ns), kLess);
  EXPECT_EQ(compare("\u00E4", "z", kPlain, NSLocale::localeWithLocaleIdentifier("sv_SE")), kMore);
  EXPECT_EQ(compare("B", "a", kPlain, nullptr), kLess);
  EXPECT_EQ(compare("B", "a", kPlain, "en"_ns), kMore);
  EXPECT_EQ(compare("B", "a", NSLiteralSearch, "en"_ns), kLess);
  EXPECT_EQ(compare("ABC", "abc", NSCaseInsensitiveSearch, "en"_ns), kSame);
  EXPECT_EQ(compare("ABC", "abc", NSCaseInsensitiveSearch | NSForcedOrderingSearch, "en"_ns), kLess);
  EXPECT_EQ(compare("\u00E9", "E", NSDiacriticInsensitiveSearch, "en"_ns), kSame);
  EXPECT_EQ(compare("a10", "a9", NSNumericSearch, "en"_ns), kMore);
}

TEST(NSStringCompareTest, FindsTheCommonPrefix) {
  const struct {
    NSString a, b;
    NSStringCompareOptions options;
    NSString expected;
  } rows[] = {
      {"abcd", "abxy", kPlain, "ab"},
      {"abc", "abc", kPlain, "abc"},
      {"abc", "abcd", kPlain, "abc"},
      {"abc", "xyz", kPlain, ""},
      {"", "a", kPlain, ""},
      {"ABcd", "abCx", NSCaseInsensitiveSearch, "ABc"},
      {"caf\u00E9s", "cafe\u0301x", kPlain, "caf\u00E9"},
      {"cafe", "cafe\u0301", kPlain, "caf"},
      {"cafe", "cafe\u0301", NSLiteralSearch, "cafe"},
      {"a\U0001F600", "a\U0001F601", kPlain, "a"},
      {"会议x", "会议y", kPlain, "会议"},
      {"stra\u00DFe", "strasxe", NSCaseInsensitiveSearch, "stra"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.a.str() + " / " + row.b.str());
    EXPECT_EQ(row.a.commonPrefixWithString_options(row.b, row.options), row.expected);
  }
}

}  // namespace
}  // namespace kvt
