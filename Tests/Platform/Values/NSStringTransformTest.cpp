#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include "Raised.h"
#include "TextSamples.h"

namespace kvt {
namespace {

constexpr auto kPlain = static_cast<NSStringCompareOptions>(0);

TEST(NSStringTransformTest, Replaces) {
  const struct {
    NSString text, target, replacement;
    NSStringCompareOptions options;
    NSRange range;
    NSString expected;
    NSUInteger count;
  } rows[] = {
      {"a,b,c", ",", ";", kPlain, {0, 5}, "a;b;c", 2},
      {"a,b,c", ",", "", kPlain, {0, 5}, "abc", 2},
      {"a,b,c", "x", ";", kPlain, {0, 5}, "a,b,c", 0},
      {"a,b,c", "", ";", kPlain, {0, 5}, "a,b,c", 0},
      {"aaaa", "aa", "b", kPlain, {0, 4}, "bb", 2},
      {"aaa", "aa", "b", kPlain, {0, 3}, "ba", 1},
      {"aaa", "aa", "b", NSBackwardsSearch, {0, 3}, "ab", 1},
      {"a,b,c", ",", "--", kPlain, {0, 2}, "a--b,c", 1},
      {"a,b,c", ",", "--", kPlain, {2, 3}, "a,b--c", 1},
      {"aXbxc", "x", "-", NSCaseInsensitiveSearch, {0, 5}, "a-b-c", 2},
      {"aab", "a", "-", NSAnchoredSearch, {0, 3}, "--b", 2},  // each time at what is left
      {"baa", "a", "-", NSAnchoredSearch, {0, 3}, "baa", 0},
      {"会,议", ",", "\u00E9", kPlain, {0, 3}, "会\u00E9议", 1},
      {"a,b", ",", "会", kPlain, {0, 3}, "a会b", 1},
      {"cafe\u0301 \u00E9", "\u00E9", "E", kPlain, {0, 7}, "cafE E", 2},
      {"cafe\u0301 \u00E9", "\u00E9", "E", NSLiteralSearch, {0, 7}, "cafe\u0301 E", 1},
      {"a\U0001F600b\U0001F600", "\U0001F600", "", kPlain, {0, 6}, "ab", 2},
      {"a1b22", "[0-9]+", "#", NSRegularExpressionSearch, {0, 5}, "a#b#", 2},
      {"a1b22", "([a-z])([0-9]+)", "$2$1\\$", NSRegularExpressionSearch, {0, 5}, "1a$22b$", 2},
      {"a1b22", "[0-9]+", "#", NSRegularExpressionSearch, {2, 3}, "a1b#", 1},
      {"a1b22", "[a-z][0-9]", "#", NSRegularExpressionSearch | NSAnchoredSearch, {0, 5}, "#b22", 1},
      {"A1", "a", "#", NSRegularExpressionSearch | NSCaseInsensitiveSearch, {0, 2}, "#1", 1},
      {"a1", "(", "#", NSRegularExpressionSearch, {0, 2}, "a1", 0},
      {"a1", "a", "$9", NSRegularExpressionSearch, {0, 2}, "a1", 0},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str() + " / " + row.target.str() + " / " + std::to_string(row.options));
      EXPECT_EQ(text.stringByReplacingOccurrencesOfString_withString_options_range(row.target, row.replacement,
                                                                                   row.options, row.range),
                row.expected);
      const NSMutableString changing = text.mutableCopy();
      EXPECT_EQ(changing.replaceOccurrencesOfString_withString_options_range(row.target, row.replacement, row.options,
                                                                             row.range),
                row.count);
      EXPECT_EQ(changing, row.expected);
      EXPECT_EQ(text, row.text);
    }
  }
  const NSString text = "abc";
  EXPECT_TRUE(isIdentical(text.stringByReplacingOccurrencesOfString_withString("x", "y"), text));
}

TEST(NSStringTransformTest, ReplacesRanges) {
  const struct {
    NSString text;
    NSRange range;
    NSString replacement, expected;
  } rows[] = {
      {"abc", {1, 1}, "X", "aXc"},    {"abc", {0, 3}, "", ""},      {"abc", {3, 0}, "d", "abcd"},
      {"abc", {0, 0}, "会", "会abc"}, {"会议", {1, 1}, "x", "会x"}, {"a\U0001F600b", {1, 2}, "-", "a-b"},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(text.stringByReplacingCharactersInRange_withString(row.range, row.replacement), row.expected);
    }
  }
  // Half a pair stays as half a pair.
  const NSString half = NSString("a\U0001F600b").stringByReplacingCharactersInRange_withString({1, 1}, "");
  EXPECT_EQ(half.u16str(), (std::u16string{u'a', 0xDE00, u'b'}));
}

TEST(NSStringTransformTest, PadsAndCuts) {
  const struct {
    NSString text;
    NSUInteger length;
    NSString padding;
    NSUInteger index;
    NSString expected;
  } rows[] = {
      {"abc", 9, ".", 0, "abc......"}, {"abc", 2, ".", 0, "ab"},         {"abc", 3, nullptr, 0, "abc"},
      {"abc", 0, ".", 0, ""},          {"abc", 9, ". ", 1, "abc . . ."}, {"", 4, "xyz", 2, "zxyz"},
      {"会", 3, "议", 0, "会议议"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected.str());
    EXPECT_EQ(row.text.stringByPaddingToLength_withString_startingAtIndex(row.length, row.padding, row.index),
              row.expected);
  }
  EXPECT_EQ(
      raisedName([] { return NSString("a").stringByPaddingToLength_withString_startingAtIndex(UINT64_MAX, " ", 0); }),
      "NSMallocException");
}

TEST(NSStringTransformTest, Trims) {
  const NSCharacterSet blanks = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  const NSCharacterSet odd = NSCharacterSet::characterSetWithCharactersInString("x\u00E9会\U0001F600");
  const struct {
    NSString text;
    NSCharacterSet set;
    NSString expected;
  } rows[] = {
      {"  a b \n", blanks, "a b"},
      {"a", blanks, "a"},
      {"", blanks, ""},
      {" \t\r\n", blanks, ""},
      {"\u3000\u00A0会\u2028", blanks, "会"},
      {"\u200Ba", blanks, "\u200Ba"},  // no white space since Unicode 4
      {"x会\u00E9a\U0001F600b\U0001F600\u00E9x", odd, "a\U0001F600b"},
      {"\U0001F600", odd, ""},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(text.stringByTrimmingCharactersInSet(row.set), row.expected);
    }
  }
  const std::u16string broken = {u' ', 0xD800, u' '};
  EXPECT_EQ(NSString(broken).stringByTrimmingCharactersInSet(blanks).u16str(), std::u16string(1, 0xD800));
}

TEST(NSStringTransformTest, ConvertsCase) {
  const struct {
    NSString text, upper, lower, capital;
  } rows[] = {
      {"", "", "", ""},
      {"hello World-foo 2b", "HELLO WORLD-FOO 2B", "hello world-foo 2b", "Hello World-Foo 2b"},
      {"it's", "IT'S", "it's", "It's"},
      {"stra\u00DFe", "STRASSE", "stra\u00DFe", "Stra\u00DFe"},
      {"\u01C6", "\u01C4", "\u01C6", "\u01C5"},
      {"\u039F\u03A3 \u039F", "\u039F\u03A3 \u039F", "\u03BF\u03C2 \u03BF", "\u039F\u03C2 \u039F"},
      {"\uFB01x", "FIX", "\uFB01x", "Fix"},
      {"会议 abc", "会议 ABC", "会议 abc", "会议 Abc"},
      {"\U00010428", "\U00010400", "\U00010428", "\U00010400"},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(text.uppercaseString(), row.upper);
      EXPECT_EQ(text.lowercaseString(), row.lower);
      EXPECT_EQ(text.capitalizedString(), row.capital);
    }
  }
  EXPECT_EQ(NSString("title").uppercaseStringWithLocale("tr"_ns), "T\u0130TLE");
  EXPECT_EQ(NSString("TITLE").lowercaseStringWithLocale("tr"_ns), "t\u0131tle");
  EXPECT_EQ(NSString("ijs").capitalizedStringWithLocale("nl"_ns), "IJs");
  EXPECT_EQ(NSString("TITLE").lowercaseStringWithLocale(nullptr), "title");
}

TEST(NSStringTransformTest, Folds) {
  const struct {
    NSString text;
    NSStringCompareOptions options;
    NSString expected;
  } rows[] = {
      {"\u00C9t\u00E9", NSDiacriticInsensitiveSearch, "Ete"},
      {"\u00C9t\u00E9", NSCaseInsensitiveSearch, "\u00E9t\u00E9"},
      {"\u00C9T\u00E9", NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch, "ete"},
      {"hu\u00EC y\u00EC", NSDiacriticInsensitiveSearch, "hui yi"},
      {"l\u01DC", NSDiacriticInsensitiveSearch, "lu"},
      {"e\u0301", NSCaseInsensitiveSearch, "e\u0301"},
      {"ＡＢＣ", NSWidthInsensitiveSearch, "ABC"},
      {"stra\u00DFe", NSCaseInsensitiveSearch, "strasse"},
      {"한글", NSDiacriticInsensitiveSearch, "한글"},
      {"\u00F8\u0142", NSDiacriticInsensitiveSearch, "\u00F8\u0142"},  // letters of their own
      {"abc", kPlain, "abc"},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(text.stringByFoldingWithOptions_locale(row.options, nullptr), row.expected);
    }
  }
  EXPECT_EQ(NSString("I").stringByFoldingWithOptions_locale(NSCaseInsensitiveSearch, "tr"_ns), "\u0131");
}

TEST(NSStringTransformTest, Normalizes) {
  const struct {
    NSString text, nfd, nfc, nfkd, nfkc;
  } rows[] = {
      {"abc", "abc", "abc", "abc", "abc"},
      {"\u00E9", "e\u0301", "\u00E9", "e\u0301", "\u00E9"},
      {"e\u0301", "e\u0301", "\u00E9", "e\u0301", "\u00E9"},
      {"\uFB01", "\uFB01", "\uFB01", "fi", "fi"},
      {"\u212B", "A\u030A", "\u00C5", "A\u030A", "\u00C5"},
      {"각", "\u1100\u1161\u11A8", "각", "\u1100\u1161\u11A8", "각"},
      {"q\u0307\u0323", "q\u0323\u0307", "q\u0323\u0307", "q\u0323\u0307", "q\u0323\u0307"},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(text.decomposedStringWithCanonicalMapping(), row.nfd);
      EXPECT_EQ(text.precomposedStringWithCanonicalMapping(), row.nfc);
      EXPECT_EQ(text.decomposedStringWithCompatibilityMapping(), row.nfkd);
      EXPECT_EQ(text.precomposedStringWithCompatibilityMapping(), row.nfkc);
    }
  }
}

TEST(NSStringTransformTest, EncodesPercents) {
  const NSCharacterSet query = NSCharacterSet::URLQueryAllowedCharacterSet();
  const struct {
    NSString text, encoded;
  } rows[] = {
      {"", ""},
      {"abc", "abc"},
      {"a b", "a%20b"},
      {"a&b=c?d/e", "a&b=c?d/e"},
      {"100%", "100%25"},
      {"会议", "%E4%BC%9A%E8%AE%AE"},
      {"\u00E9\U0001F600", "%C3%A9%F0%9F%98%80"},
      {"#[]<>\"", "%23%5B%5D%3C%3E%22"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.str());
    EXPECT_EQ(row.text.stringByAddingPercentEncodingWithAllowedCharacters(query), row.encoded);
    EXPECT_EQ(row.encoded.stringByRemovingPercentEncoding(), row.text);
  }
  // A character beyond ASCII is encoded even where the set holds it.
  EXPECT_EQ(NSString("\u00E9").stringByAddingPercentEncodingWithAllowedCharacters(NSCharacterSet::letterCharacterSet()),
            "%C3%A9");
  EXPECT_FALSE(NSString(std::u16string(1, 0xD800)).stringByAddingPercentEncodingWithAllowedCharacters(query));
  EXPECT_EQ(NSString("a+b%2B").stringByRemovingPercentEncoding(), "a+b+");
  EXPECT_EQ(NSString("%e4%bc%9A").stringByRemovingPercentEncoding(), "会");
  EXPECT_EQ(NSString("会%41").stringByRemovingPercentEncoding(), "会A");
  for (const char* malformed : {"%", "a%4", "%G0", "%4G", "100% sure", "%FF", "%C3", "%ED%A0%80"}) {
    EXPECT_FALSE(NSString(malformed).stringByRemovingPercentEncoding()) << malformed;
  }
}

TEST(NSStringTransformTest, Separates) {
  const auto pieces = [](const NSArray& array) { return array.toVector<std::string>(); };
  using Pieces = std::vector<std::string>;
  const struct {
    NSString text, separator;
    Pieces expected;
  } rows[] = {
      {"a,b,c", ",", {"a", "b", "c"}},
      {"a", ",", {"a"}},
      {"", ",", {""}},
      {",", ",", {"", ""}},
      {",a,,b,", ",", {"", "a", "", "b", ""}},
      {"a--b--c", "--", {"a", "b", "c"}},
      {"aaa", "aa", {"", "a"}},
      {"会,议", ",", {"会", "议"}},
      {"会议会", "议", {"会", "会"}},
      {"a\U0001F600b", "\U0001F600", {"a", "b"}},
      {"abc", "", {"abc"}},
      {"a", "abc", {"a"}},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(pieces(text.componentsSeparatedByString(row.separator)), row.expected);
    }
  }
  const NSCharacterSet set = NSCharacterSet::characterSetWithCharactersInString(",;会\U0001F600");
  const struct {
    NSString text;
    Pieces expected;
  } sets[] = {
      {"a,b;c", {"a", "b", "c"}}, {"a,;b", {"a", "", "b"}},           {"", {""}},
      {"abc", {"abc"}},           {"a会b\U0001F600", {"a", "b", ""}},
  };
  for (const auto& row : sets) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(pieces(text.componentsSeparatedByCharactersInSet(set)), row.expected);
    }
  }
  const std::u16string broken = {0xD800, u',', 0xDC00};
  const NSArray halves = NSString(broken).componentsSeparatedByString(",");
  ASSERT_EQ(halves.count(), 2u);
  EXPECT_EQ(halves[0].as<NSString>().u16str(), std::u16string(1, 0xD800));
  EXPECT_EQ(halves[1].as<NSString>().u16str(), std::u16string(1, 0xDC00));
  EXPECT_EQ(NSString(broken).componentsSeparatedByCharactersInSet(set).count(), 2u);
}

}  // namespace
}  // namespace kvt
