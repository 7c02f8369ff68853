#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "Raised.h"

namespace kvt {
namespace {

// ---- making -------------------------------------------------------------------------------------------------------

TEST(NSStringTest, IsMadeOfUTF8AndUTF16) {
  const struct {
    const char* what;
    NSString text;
    std::u16string units;
  } rows[] = {
      {"ASCII", "abc", u"abc"},
      {"empty", "", u""},
      {"two bytes", "Zo\u00EB", u"Zo\u00EB"},
      {"three bytes", "会议", u"会议"},
      {"four bytes", "a\U0001F600b", u"a\U0001F600b"},
      {"std::string with a NUL", std::string("a\0b", 3), std::u16string(u"a\0b", 3)},
      {"string_view", std::string_view("abcdef").substr(2, 3), u"cde"},
      {"empty view", std::string_view(), u""},
      {"UTF-16", u"会议", u"会议"},
      {"u16string", std::u16string(u"x\U0001F600"), u"x\U0001F600"},
      {"literal", "Zo\u00EB"_ns, u"Zo\u00EB"},
      {"last code point", "\U0010FFFF", u"\U0010FFFF"},
      {"characters", NSString::stringWithCharacters_length(u"abc", 2), u"ab"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ASSERT_TRUE(row.text);
    EXPECT_EQ(row.text.u16str(), row.units);
    EXPECT_EQ(row.text.length(), row.units.size());
    for (std::size_t i = 0; i < row.units.size(); ++i) EXPECT_EQ(row.text.characterAtIndex(i), row.units[i]);
  }
}

TEST(NSStringTest, WhatIsNoUTF8GivesNil) {
  const std::string rows[] = {
      "\x80",
      "abc\xFF",
      "\xC3",
      "\xC0\xAF",
      "\xE0\x80\x80",
      "\xED\xA0\x80",
      "\xF4\x90\x80\x80",
      "\xF8\x88\x80\x80\x80",
      "\xE4\xBD",
  };
  for (const std::string& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row));
    EXPECT_FALSE(NSString(row));
    EXPECT_FALSE(NSString(row.c_str()));
    EXPECT_FALSE(NSString::stringWithUTF8String(row.c_str()));
  }
  EXPECT_FALSE(NSString(static_cast<const char*>(nullptr)));
  EXPECT_FALSE(NSString(static_cast<const char16_t*>(nullptr)));
  EXPECT_FALSE(NSString(nullptr));
  EXPECT_FALSE(NSString());
}

TEST(NSStringTest, LoneSurrogatesSurvive) {
  const std::u16string units = {u'a', 0xD83D, u'b', 0xDE00};
  const NSString text = units;
  EXPECT_EQ(text.length(), 4u);
  EXPECT_EQ(text.u16str(), units);
  EXPECT_EQ(text.UTF8String(), nullptr);
  EXPECT_EQ(text.utf8().data(), nullptr);
  EXPECT_EQ(text.str(), "a\uFFFDb\uFFFD");
  EXPECT_EQ(text.substringWithRange({1, 1}).u16str(), std::u16string(1, 0xD83D));
  EXPECT_EQ(text.substringWithRange({0, 1}), "a");
  EXPECT_EQ(text, NSString(units));
  EXPECT_EQ(text.hash(), NSString(units).hash());
  EXPECT_NE(text, NSString("a\uFFFDb\uFFFD"));
  EXPECT_FALSE(text == "a\uFFFDb\uFFFD");
  // Halves that meet make a character.
  const NSString joined = NSString(units.substr(0, 2)) + NSString(units.substr(3));
  EXPECT_EQ(joined, "a\U0001F600");
  EXPECT_EQ(joined.hash(), NSString("a\U0001F600").hash());
  EXPECT_STREQ(joined.UTF8String(), "a\U0001F600");
}

TEST(NSStringTest, LiteralsAreMadeOnceAndImmortal) {
  const auto make = [] { return "literal \u00E9"_ns; };
  const NSString text = make();
  EXPECT_EQ(text, "literal \u00E9");
  EXPECT_TRUE(isIdentical(text, make()));
  EXPECT_LT(ObjectAccess::retainCount(text.object()), 0);
  EXPECT_EQ("a\0b"_ns.length(), 3u);
  EXPECT_EQ(""_ns.length(), 0u);
  EXPECT_TRUE(isIdentical(NSString::string(), NSString::string()));
}

// ---- equality, order ----------------------------------------------------------------------------------------------

TEST(NSStringTest, EqualsByUnits) {
  const NSString nil;
  const struct {
    const char* what;
    NSString a, b;
    bool equal;
  } rows[] = {
      {"same", "abc", "abc", true},
      {"other length", "abc", "abcd", false},
      {"other case", "abc", "abC", false},
      {"UTF-8 and UTF-16", "会议", u"会议", true},
      {"composed and decomposed", "\u00E9", "e\u0301", false},
      {"two nils", nil, nil, true},
      {"nil and empty", nil, "", false},
      {"empty and empty", "", u"", true},
      {"NUL inside", std::string("a\0b", 3), std::string("a\0c", 3), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.a == row.b, row.equal);
    EXPECT_EQ(row.b == row.a, row.equal);
    EXPECT_EQ(row.a != row.b, !row.equal);
    EXPECT_EQ(static_cast<const id&>(row.a) == static_cast<const id&>(row.b), row.equal);
    EXPECT_EQ(row.a.isEqualToString(row.b), row.equal && row.a);
    EXPECT_EQ(row.a.isEqual(row.b), row.equal && row.a);
    if (row.equal) {
      EXPECT_EQ(row.a.hash(), row.b.hash());
      EXPECT_EQ(id(row.a).hash(), row.b.hash());
    }
  }
  EXPECT_FALSE(NSString("<null>").isEqual(NSNull::null()));
  EXPECT_FALSE(NSString("x").isEqual(nullptr));
}

TEST(NSStringTest, ComparesWithCppText) {
  const NSString text = "Zo\u00EB";
  const NSString nil;
  const std::string same = "Zo\u00EB";
  const char* const null = nullptr;
  EXPECT_TRUE(text == "Zo\u00EB");
  EXPECT_TRUE("Zo\u00EB" == text);
  EXPECT_TRUE(text == same);
  EXPECT_TRUE(same == text);
  EXPECT_TRUE(text == std::string_view(same));
  EXPECT_TRUE(text != "Zoe");
  EXPECT_TRUE(text != nullptr);
  EXPECT_TRUE(nil == nullptr);
  EXPECT_TRUE(nil == null);
  EXPECT_FALSE(text == null);
  EXPECT_FALSE(nil == "");
  EXPECT_TRUE(text.mutableCopy() == "Zo\u00EB");
  EXPECT_FALSE(text == "Zo\xEB");  // no UTF-8
}

TEST(NSStringTest, OrdersByUnitsForSortedContainers) {
  const NSString nil;
  const NSString ascending[] = {nil,      "",       "A",          "a",          "aa",     "b",
                                "\u00E9", "\uD7FF", "\U00010000", "\U0010FFFF", "\uE000", "\uFFFD"};
  for (std::size_t i = 0; i < std::size(ascending); ++i) {
    for (std::size_t k = 0; k < std::size(ascending); ++k) {
      SCOPED_TRACE(ascending[i].str() + " " + ascending[k].str());
      EXPECT_EQ(ascending[i] <=> ascending[k], i <=> k);
    }
  }
  std::map<NSString, int> map = {{"b", 2}, {"a", 1}};
  EXPECT_EQ(map.begin()->second, 1);
  EXPECT_LT(NSString("a"), "b");
}

TEST(NSStringTest, HashesSpread) {
  std::map<std::uint64_t, int> low;
  constexpr int kCount = 4096;
  for (int i = 0; i < kCount; ++i) ++low[NSString("key" + std::to_string(i)).hash() & 1023];
  for (const auto& [hash, count] : low) EXPECT_LT(count, 24);  // four expected
  EXPECT_GT(low.size(), 900u);
  EXPECT_NE(NSString("").hash(), 0u);
}

// ---- nil ----------------------------------------------------------------------------------------------------------

TEST(NSStringTest, NilAnswersNothing) {
  const NSString nil;
  const NSRange zero{0, 0};
  const NSRange range{3, 4};
  EXPECT_EQ(nil.length(), 0u);
  EXPECT_EQ(nil.characterAtIndex(7), 0);
  EXPECT_EQ(nil.UTF8String(), nullptr);
  EXPECT_EQ(nil.utf8(), "");
  EXPECT_EQ(nil.str(), "");
  EXPECT_EQ(nil.u16str(), u"");
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_FALSE(nil.isEqualToString(nil));
  EXPECT_FALSE(nil.description());
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.mutableCopy());
  unichar buffer[4] = {1, 1, 1, 1};
  nil.getCharacters_range(buffer, range);
  EXPECT_EQ(buffer[0], 1);
  EXPECT_FALSE(nil.dataUsingEncoding(NSUTF8StringEncoding));
  EXPECT_FALSE(nil.canBeConvertedToEncoding(NSUTF8StringEncoding));
  EXPECT_EQ(nil.lengthOfBytesUsingEncoding(NSUTF8StringEncoding), 0u);
  EXPECT_EQ(nil.compare("a"), NSOrderedSame);
  EXPECT_EQ(nil.compare_options("a", NSNumericSearch), NSOrderedSame);
  EXPECT_EQ(nil.compare_options_range("a", NSNumericSearch, range), NSOrderedSame);
  EXPECT_EQ(nil.compare_options_range_locale("a", NSNumericSearch, range, "de"_ns), NSOrderedSame);
  EXPECT_EQ(nil.caseInsensitiveCompare("a"), NSOrderedSame);
  EXPECT_EQ(nil.localizedCompare("a"), NSOrderedSame);
  EXPECT_EQ(nil.localizedCaseInsensitiveCompare("a"), NSOrderedSame);
  EXPECT_EQ(nil.localizedStandardCompare("a"), NSOrderedSame);
  EXPECT_FALSE(nil.commonPrefixWithString_options("a", kNilOptions));
  EXPECT_FALSE(nil.hasPrefix("a"));
  EXPECT_FALSE(nil.hasSuffix("a"));
  EXPECT_FALSE(nil.containsString("a"));
  EXPECT_FALSE(nil.localizedCaseInsensitiveContainsString("a"));
  EXPECT_EQ(nil.rangeOfString("a"), zero);
  EXPECT_EQ(nil.rangeOfString_options("a", NSBackwardsSearch), zero);
  EXPECT_EQ(nil.rangeOfString_options_range("a", NSBackwardsSearch, range), zero);
  const NSCharacterSet set = NSCharacterSet::letterCharacterSet();
  EXPECT_EQ(nil.rangeOfCharacterFromSet(set), zero);
  EXPECT_EQ(nil.rangeOfCharacterFromSet_options(set, NSBackwardsSearch), zero);
  EXPECT_EQ(nil.rangeOfCharacterFromSet_options_range(set, NSBackwardsSearch, range), zero);
  EXPECT_FALSE(nil.substringFromIndex(3));
  EXPECT_FALSE(nil.substringToIndex(3));
  EXPECT_FALSE(nil.substringWithRange(range));
  EXPECT_FALSE(nil.componentsSeparatedByString(","));
  EXPECT_FALSE(nil.componentsSeparatedByCharactersInSet(set));
  EXPECT_FALSE(nil.stringByTrimmingCharactersInSet(set));
  EXPECT_EQ(nil.rangeOfComposedCharacterSequenceAtIndex(3), zero);
  EXPECT_EQ(nil.rangeOfComposedCharacterSequencesForRange(range), zero);
  EXPECT_EQ(nil.lineRangeForRange(range), zero);
  EXPECT_EQ(nil.paragraphRangeForRange(range), zero);
  NSUInteger start = 9;
  nil.getLineStart_end_contentsEnd_forRange(&start, nullptr, nullptr, range);
  EXPECT_EQ(start, 0u);
  bool called = false;
  nil.enumerateLinesUsingBlock([&](const NSString&, bool*) { called = true; });
  nil.enumerateSubstringsInRange_options_usingBlock(range, NSStringEnumerationByWords,
                                                    [&](const NSString&, NSRange, NSRange, bool*) { called = true; });
  EXPECT_FALSE(called);
  EXPECT_FALSE(nil.stringByAppendingString("a"));
  EXPECT_FALSE(nil.stringByAppendingFormat("%d", 1));
  EXPECT_FALSE(nil.stringByReplacingOccurrencesOfString_withString("a", "b"));
  EXPECT_FALSE(nil.stringByReplacingOccurrencesOfString_withString_options_range("a", "b", NSLiteralSearch, range));
  EXPECT_FALSE(nil.stringByReplacingCharactersInRange_withString(range, "b"));
  EXPECT_FALSE(nil.stringByPaddingToLength_withString_startingAtIndex(4, " ", 0));
  EXPECT_FALSE(nil.uppercaseString());
  EXPECT_FALSE(nil.lowercaseString());
  EXPECT_FALSE(nil.capitalizedString());
  EXPECT_FALSE(nil.uppercaseStringWithLocale("tr"_ns));
  EXPECT_FALSE(nil.lowercaseStringWithLocale("tr"_ns));
  EXPECT_FALSE(nil.capitalizedStringWithLocale("tr"_ns));
  EXPECT_FALSE(nil.stringByFoldingWithOptions_locale(NSDiacriticInsensitiveSearch, nullptr));
  EXPECT_FALSE(nil.decomposedStringWithCanonicalMapping());
  EXPECT_FALSE(nil.precomposedStringWithCanonicalMapping());
  EXPECT_FALSE(nil.decomposedStringWithCompatibilityMapping());
  EXPECT_FALSE(nil.precomposedStringWithCompatibilityMapping());
  EXPECT_FALSE(nil.stringByAddingPercentEncodingWithAllowedCharacters(set));
  EXPECT_FALSE(nil.stringByRemovingPercentEncoding());
  EXPECT_EQ(nil.intValue(), 0);
  EXPECT_EQ(nil.integerValue(), 0);
  EXPECT_EQ(nil.longLongValue(), 0);
  EXPECT_EQ(nil.doubleValue(), 0);
  EXPECT_EQ(nil.floatValue(), 0);
  EXPECT_FALSE(nil.boolValue());
  EXPECT_FALSE(nil.lastPathComponent());
  EXPECT_FALSE(nil.pathExtension());
  EXPECT_FALSE(nil.stringByDeletingLastPathComponent());
  EXPECT_FALSE(nil.stringByDeletingPathExtension());
  EXPECT_FALSE(nil.stringByAppendingPathComponent("a"));
  EXPECT_FALSE(nil.stringByAppendingPathExtension("a"));
  EXPECT_FALSE(nil.pathComponents());
  EXPECT_FALSE(nil.isAbsolutePath());
  EXPECT_FALSE(nil.stringByStandardizingPath());
  EXPECT_FALSE(nil.stringByExpandingTildeInPath());
  EXPECT_FALSE(nil.stringByAbbreviatingWithTildeInPath());
  EXPECT_FALSE(nil.stringByResolvingSymlinksInPath());
}

// ---- what raises --------------------------------------------------------------------------------------------------

TEST(NSStringTest, RaisesBeyondTheText) {
  const NSString text = "abc";
  unichar buffer[8];
  const struct {
    const char* what;
    std::string raised;
    const char* expected;
  } rows[] = {
      {"characterAtIndex", raised([&] { return text.characterAtIndex(3); }),
       "NSRangeException: -[NSString characterAtIndex:]: Index 3 out of bounds; string length 3"},
      {"substringFromIndex", raised([&] { return text.substringFromIndex(4); }),
       "NSRangeException: -[NSString substringFromIndex:]: Index 4 out of bounds; string length 3"},
      {"substringToIndex", raised([&] { return text.substringToIndex(4); }),
       "NSRangeException: -[NSString substringToIndex:]: Index 4 out of bounds; string length 3"},
      {"substringWithRange", raised([&] {
         return text.substringWithRange({2, 2});
       }),
       "NSRangeException: -[NSString substringWithRange:]: Range {2, 2} out of bounds; string length 3"},
      {"a range that wraps", raised([&] {
         return text.substringWithRange({2, UINT64_MAX});
       }),
       "NSRangeException: -[NSString substringWithRange:]: Range {2, 18446744073709551615} out of bounds; string "
       "length 3"},
      {"NSNotFound", raised([&] {
         return text.substringWithRange({NSNotFound, 0});
       }),
       "NSRangeException: -[NSString substringWithRange:]: Range {9223372036854775807, 0} out of bounds; string length "
       "3"},
      {"getCharacters", raised([&] {
         return text.getCharacters_range(buffer, {0, 4}), 0;
       }),
       "NSRangeException: -[NSString getCharacters:range:]: Range {0, 4} out of bounds; string length 3"},
      {"nothing at the end", raised([&] { return text.substringFromIndex(3); }), ""},
      {"nothing for an empty range at the end", raised([&] {
         return text.substringWithRange({3, 0});
       }),
       ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.raised, row.expected);
  }
  const struct {
    const char* what;
    std::string raised;
  } names[] = {
      {"rangeOfString", raisedName([&] {
         return text.rangeOfString_options_range("a", kNilOptions, {0, 4});
       })},
      {"rangeOfCharacterFromSet", raisedName([&] {
         return text.rangeOfCharacterFromSet_options_range(NSCharacterSet::letterCharacterSet(), kNilOptions, {4, 0});
       })},
      {"compare", raisedName([&] {
         return text.compare_options_range("a", kNilOptions, {1, 3});
       })},
      {"replacing characters", raisedName([&] {
         return text.stringByReplacingCharactersInRange_withString({1, 3}, "");
       })},
      {"replacing", raisedName([&] {
         return text.stringByReplacingOccurrencesOfString_withString_options_range("a", "b", kNilOptions, {1, 3});
       })},
      {"composed", raisedName([&] { return text.rangeOfComposedCharacterSequenceAtIndex(3); })},
      {"composed range", raisedName([&] {
         return text.rangeOfComposedCharacterSequencesForRange({3, 1});
       })},
      {"lines", raisedName([&] {
         return text.lineRangeForRange({3, 1});
       })},
      {"paragraphs", raisedName([&] {
         return text.paragraphRangeForRange({3, 1});
       })},
      {"padding", raisedName([&] { return text.stringByPaddingToLength_withString_startingAtIndex(9, "ab", 2); })},
  };
  for (const auto& row : names) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.raised, "NSRangeException");
  }
}

TEST(NSStringTest, RaisesForNilWhereTextIsNeeded) {
  const NSString text = "abc";
  const NSString nil;
  const NSCharacterSet noSet;
  const struct {
    const char* what;
    std::string raised;
  } rows[] = {
      {"stringWithString", raised([&] { return NSString::stringWithString(nil); })},
      {"stringWithUTF8String", raised([] { return NSString::stringWithUTF8String(nullptr); })},
      {"stringWithFormat", raised([&] { return NSString::stringWithFormat(nil); })},
      {"stringByAppendingString", raised([&] { return text.stringByAppendingString(nil); })},
      {"hasPrefix", raised([&] { return text.hasPrefix(nil); })},
      {"hasSuffix", raised([&] { return text.hasSuffix(nil); })},
      {"containsString", raised([&] { return text.containsString(nil); })},
      {"rangeOfString", raised([&] { return text.rangeOfString(nil); })},
      {"rangeOfCharacterFromSet", raised([&] { return text.rangeOfCharacterFromSet(noSet); })},
      {"componentsSeparatedByString", raised([&] { return text.componentsSeparatedByString(nil); })},
      {"componentsSeparatedByCharactersInSet",
       raised([&] { return text.componentsSeparatedByCharactersInSet(noSet); })},
      {"trimming", raised([&] { return text.stringByTrimmingCharactersInSet(noSet); })},
      {"replacing, target", raised([&] { return text.stringByReplacingOccurrencesOfString_withString(nil, ""); })},
      {"replacing, replacement",
       raised([&] { return text.stringByReplacingOccurrencesOfString_withString("a", nil); })},
      {"replacing characters", raised([&] {
         return text.stringByReplacingCharactersInRange_withString({0, 1}, nil);
       })},
      {"padding", raised([&] { return text.stringByPaddingToLength_withString_startingAtIndex(9, nil, 0); })},
      {"empty padding", raised([&] { return text.stringByPaddingToLength_withString_startingAtIndex(9, "", 0); })},
      {"common prefix", raised([&] { return text.commonPrefixWithString_options(nil, kNilOptions); })},
      {"percent", raised([&] { return text.stringByAddingPercentEncodingWithAllowedCharacters(noSet); })},
      {"path component", raised([&] { return text.stringByAppendingPathComponent(nil); })},
      {"path extension", raised([&] { return text.stringByAppendingPathExtension(nil); })},
      {"lines", raised([&] { return text.enumerateLinesUsingBlock(nullptr), 0; })},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.raised.substr(0, row.raised.find(':')), "NSInvalidArgumentException");
  }
  EXPECT_EQ(raised([&] { return text.stringByAppendingString(nil); }),
            "NSInvalidArgumentException: -[NSString stringByAppendingString:]: nil argument");
  EXPECT_EQ(text.compare(nil), NSOrderedDescending);
  EXPECT_FALSE(text.isEqualToString(nil));
}

// ---- parts, joining -----------------------------------------------------------------------------------------------

TEST(NSStringTest, CutsSubstrings) {
  const NSString texts[] = {"0123456789", "01\u00E94会6789", u"01\U0001F60056789"};
  for (const NSString& text : texts) {
    SCOPED_TRACE(text.str());
    const std::u16string units = text.u16str();
    for (NSUInteger i = 0; i <= units.size(); ++i) {
      EXPECT_EQ(text.substringFromIndex(i).u16str(), units.substr(i));
      EXPECT_EQ(text.substringToIndex(i).u16str(), units.substr(0, i));
      for (NSUInteger n = 0; i + n <= units.size(); ++n) {
        EXPECT_EQ(text.substringWithRange({i, n}).u16str(), units.substr(i, n));
        std::u16string buffer(n, u'#');
        text.getCharacters_range(buffer.data(), {i, n});
        EXPECT_EQ(buffer, units.substr(i, n));
      }
    }
    EXPECT_TRUE(isIdentical(text.substringFromIndex(0), text));
  }
}

TEST(NSStringTest, Joins) {
  const NSString nil;
  EXPECT_EQ(NSString("a") + "b", "ab");
  EXPECT_EQ("a" + NSString("会"), "a会");
  EXPECT_EQ(NSString("a") + std::string("b") + u"c", "abc");
  EXPECT_EQ(nil + "b", "b");
  EXPECT_EQ("a" + nil, "a");
  EXPECT_FALSE(nil + nil);
  EXPECT_EQ(NSString("a").stringByAppendingString(""), "a");
  EXPECT_EQ(NSString("").stringByAppendingString("b"), "b");
  EXPECT_EQ(NSString("a").stringByAppendingFormat("-%d-%@", 7, "x"_ns), "a-7-x");
  // What is joined to a mutable text stays when that changes.
  const NSMutableString changing = NSMutableString::stringWithString("x");
  const NSString joined = changing + "";
  changing.appendString("y");
  EXPECT_EQ(joined, "x");
}

// ---- the root class's operations ----------------------------------------------------------------------------------

TEST(NSStringTest, CopiesShareWhatNeverChanges) {
  const NSString text = "abc";
  EXPECT_TRUE(isIdentical(text.copy(), text));
  EXPECT_TRUE(isIdentical(id(text).copy(), text));
  EXPECT_TRUE(isIdentical(NSString::stringWithString(text), text));
  const NSMutableString changing = text.mutableCopy();
  EXPECT_FALSE(isIdentical(changing, text));
  EXPECT_EQ(changing, text);
  const id copy = id(changing).copy();
  EXPECT_FALSE(isIdentical(copy, changing));
  EXPECT_FALSE(copy.is<NSMutableString>());
  EXPECT_TRUE(id(text).mutableCopy().is<NSMutableString>());
  EXPECT_EQ(copy, text);
  EXPECT_EQ(text.description(), text);
  std::ostringstream stream;
  stream << text << NSString();
  EXPECT_EQ(stream.str(), "abc(null)");
}

TEST(NSStringTest, HasItsClassesAndMethods) {
  EXPECT_STREQ(class_getName(NSString("x").class_()), "NSString");
  EXPECT_STREQ(class_getName(NSMutableString::string().class_()), "NSMutableString");
  EXPECT_TRUE(class_isSubclassOf(classOf<NSMutableString>(), classOf<NSString>()));
  EXPECT_EQ(objc_getClass("NSString"), classOf<NSString>());
  const NSString text = "Hello";
  EXPECT_EQ(objc_msgSend<NSUInteger>(text, "length"), 5u);
  EXPECT_EQ(objc_msgSend<unichar>(text, "characterAtIndex:", 1), u'e');
  EXPECT_EQ(objc_msgSend<NSString>(text, "substringFromIndex:", 3), "lo");
  EXPECT_EQ(objc_msgSend<NSRange>(text, "rangeOfString:", "l"_ns), (NSRange{2, 1}));
  EXPECT_EQ(objc_msgSend<NSString>(text, "stringByReplacingOccurrencesOfString:withString:", "l"_ns, "L"_ns), "HeLLo");
  EXPECT_EQ(objc_msgSend<NSComparisonResult>(text, "compare:", "Hello2"_ns), NSOrderedAscending);
  EXPECT_EQ(objc_msgSend<NSArray>(text, "componentsSeparatedByString:", "e"_ns).count(), 2u);
  EXPECT_EQ(objc_msgSend<double>("2.5"_ns, "doubleValue"), 2.5);
  EXPECT_EQ(objc_msgSend<NSString>(classOf<NSString>(), "stringWithString:", text), text);
  EXPECT_STREQ(objc_msgSend<const char*>(text, "UTF8String"), "Hello");
  const char* const selectors[] = {
      "hash",
      "isEqual:",
      "description",
      "copyWithZone:",
      "mutableCopyWithZone:",
      "uppercaseString",
      "lowercaseString",
      "stringByTrimmingCharactersInSet:",
      "hasPrefix:",
      "lastPathComponent",
      "dataUsingEncoding:",
      "intValue",
      "boolValue",
      "stringByAddingPercentEncodingWithAllowedCharacters:",
      "rangeOfComposedCharacterSequenceAtIndex:",
  };
  for (const char* selector : selectors) EXPECT_TRUE(text.respondsToSelector(selector)) << selector;
  EXPECT_FALSE(text.respondsToSelector("appendString:"));
  EXPECT_TRUE(NSMutableString::string().respondsToSelector("appendString:"));
}

TEST(NSStringTest, InstancesMadeByTheRunTimeAreEmpty) {
  const id text(adopt, class_createInstance(classOf<NSString>()));
  EXPECT_EQ(text.as<NSString>().length(), 0u);
  EXPECT_TRUE(text.is<NSString>());
  const id changing(adopt, class_createInstance(classOf<NSMutableString>()));
  changing.as<NSMutableString>().appendString("x");
  EXPECT_EQ(changing, NSString("x"));
}

class Card : public NSObject {
 public:
  NSString title;
  NSMutableString notes;
  KVT_CLASS(Card, title, notes)
};

TEST(NSStringTest, PropertiesCopyTextAndShareMutableText) {
  EXPECT_STREQ(property_getAttributes(class_getProperty(classOf<Card>(), "title")), "T@\"NSString\",C,N,Vtitle");
  EXPECT_STREQ(property_getAttributes(class_getProperty(classOf<Card>(), "notes")), "T@\"NSMutableString\",&,N,Vnotes");
  const Ref<Card> card = make<Card>();
  const NSMutableString text = NSMutableString::stringWithString("a");
  objc_msgSend(card, "setTitle:", text);
  objc_msgSend(card, "setNotes:", text);
  text.appendString("b");
  EXPECT_EQ(card->title, "a");
  EXPECT_EQ(card->notes, "ab");
  objc_msgSend(card, "setNotes:", "immutable"_ns);
  EXPECT_FALSE(card->notes);
}

}  // namespace
}  // namespace kvt
