#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include "Raised.h"
#include "TextSamples.h"

namespace kvt {
namespace {

TEST(NSMutableStringTest, Changes) {
  const struct {
    const char* what;
    NSString text;
    void (*change)(const NSMutableString&);
    NSString expected;
  } rows[] = {
      {"append", "ab", [](const NSMutableString& t) { t.appendString("c"); }, "abc"},
      {"append other characters", "ab", [](const NSMutableString& t) { t.appendString("会\U0001F600"); },
       "ab会\U0001F600"},
      {"append nothing", "ab", [](const NSMutableString& t) { t.appendString(""); }, "ab"},
      {"append itself", "会a", [](const NSMutableString& t) { t.appendString(t); }, "会a会a"},
      {"append a format", "x", [](const NSMutableString& t) { t.appendFormat("%d%@", 1, "会"_ns); }, "x1会"},
      {"insert at the start", "bc", [](const NSMutableString& t) { t.insertString_atIndex("a", 0); }, "abc"},
      {"insert at the end", "ab", [](const NSMutableString& t) { t.insertString_atIndex("c", 2); }, "abc"},
      {"insert within", "会议", [](const NSMutableString& t) { t.insertString_atIndex("x", 1); }, "会x议"},
      {"insert itself", "ab", [](const NSMutableString& t) { t.insertString_atIndex(t, 1); }, "aabb"},
      {"delete", "abcd",
       [](const NSMutableString& t) {
         t.deleteCharactersInRange({1, 2});
       },
       "ad"},
      {"delete all", "会议",
       [](const NSMutableString& t) {
         t.deleteCharactersInRange({0, 2});
       },
       ""},
      {"delete nothing", "abc",
       [](const NSMutableString& t) {
         t.deleteCharactersInRange({3, 0});
       },
       "abc"},
      {"replace", "abcd",
       [](const NSMutableString& t) {
         t.replaceCharactersInRange_withString({1, 2}, "会");
       },
       "a会d"},
      {"replace by itself", "abc",
       [](const NSMutableString& t) {
         t.replaceCharactersInRange_withString({1, 1}, t);
       },
       "aabcc"},
      {"set", "abc", [](const NSMutableString& t) { t.setString("会"); }, "会"},
      {"set to itself", "abc", [](const NSMutableString& t) { t.setString(t); }, "abc"},
      {"set and go on", "会议", [](const NSMutableString& t) { t.setString("a"), t.appendString("b"); }, "ab"},
  };
  for (const auto& row : rows) {
    for (const NSString& form : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.what);
      const NSMutableString text = form.mutableCopy();
      const NSMutableString alias = text;
      const NSString before = text.copy();
      row.change(text);
      EXPECT_EQ(text, row.expected);
      EXPECT_EQ(alias, row.expected);
      EXPECT_EQ(before, row.text);
      EXPECT_EQ(form, row.text);
      EXPECT_EQ(text.length(), row.expected.length());
      EXPECT_EQ(text.utf8(), row.expected.utf8());
      EXPECT_EQ(text.hash(), row.expected.hash());
      EXPECT_STREQ(text.UTF8String(), row.expected.UTF8String());
    }
  }
}

TEST(NSMutableStringTest, NilDoesNothing) {
  const NSMutableString nil;
  nil.appendString("a");
  nil.appendFormat("%d", 1);
  nil.insertString_atIndex("a", 3);
  nil.deleteCharactersInRange({1, 2});
  nil.replaceCharactersInRange_withString({1, 2}, "a");
  nil.setString("a");
  EXPECT_EQ(nil.replaceOccurrencesOfString_withString_options_range("a", "b", kNilOptions, {0, 9}), 0u);
  EXPECT_FALSE(nil);
  EXPECT_EQ(nil.length(), 0u);
}

TEST(NSMutableStringTest, RaisesAndStaysAsItWas) {
  const NSMutableString text = NSMutableString::stringWithString("abc");
  const NSString nil;
  const struct {
    const char* what;
    std::string raised;
    const char* expected;
  } rows[] = {
      {"append nil", raised([&] { return text.appendString(nil), 0; }),
       "NSInvalidArgumentException: -[NSMutableString appendString:]: nil argument"},
      {"insert nil", raised([&] { return text.insertString_atIndex(nil, 0), 0; }),
       "NSInvalidArgumentException: -[NSMutableString insertString:atIndex:]: nil argument"},
      {"insert beyond", raised([&] { return text.insertString_atIndex("x", 4), 0; }),
       "NSRangeException: -[NSMutableString insertString:atIndex:]: Index 4 out of bounds; string length 3"},
      {"delete beyond", raised([&] {
         return text.deleteCharactersInRange({2, 2}), 0;
       }),
       "NSRangeException: -[NSMutableString deleteCharactersInRange:]: Range {2, 2} out of bounds; string length 3"},
      {"replace beyond", raised([&] {
         return text.replaceCharactersInRange_withString({4, 0}, "x"), 0;
       }),
       "NSRangeException: -[NSMutableString replaceCharactersInRange:withString:]: Range {4, 0} out of bounds; string "
       "length 3"},
      {"set nil", raised([&] { return text.setString(nil), 0; }),
       "NSInvalidArgumentException: -[NSMutableString setString:]: nil argument"},
      {"from nil", raised([&] { return NSMutableString::stringWithString(nil); }),
       "NSInvalidArgumentException: +[NSMutableString stringWithString:]: nil argument"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.raised, row.expected);
  }
  EXPECT_EQ(text, "abc");
}

TEST(NSMutableStringTest, IsNeverAnImmutableText) {
  EXPECT_FALSE(id(NSString("a")).as<NSMutableString>());
  EXPECT_TRUE(id(NSMutableString::string()).as<NSString>());
  EXPECT_FALSE(id(NSMutableString::string().copy()).as<NSMutableString>());
  EXPECT_TRUE(NSMutableString::stringWithCapacity(UINT64_MAX));
}

TEST(NSMutableStringTest, BuildingAndTakingOffCostLittle) {
  // Quadratic behaviour would take minutes.
  constexpr NSUInteger kCount = 300000;
  const NSMutableString text = NSMutableString::string();
  for (NSUInteger i = 0; i < kCount; ++i) {
    text.appendString("会");
    ASSERT_EQ(text.length(), i + 1);
    ASSERT_EQ(text.characterAtIndex(i), u'会');
  }
  for (NSUInteger i = kCount; i > 0; --i) text.deleteCharactersInRange({i - 1, 1});
  EXPECT_EQ(text.length(), 0u);
}

}  // namespace
}  // namespace kvt
