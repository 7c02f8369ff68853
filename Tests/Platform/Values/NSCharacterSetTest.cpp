#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unorm2.h>

#include "Raised.h"

namespace kvt {
namespace {

TEST(NSCharacterSetTest, NamedSetsHoldTheirCategories) {
  const struct {
    const char* what;
    NSCharacterSet set;
    bool (*expected)(UChar32 c);
  } rows[] = {
      {"whitespace", NSCharacterSet::whitespaceCharacterSet(),
       [](UChar32 c) { return c == 9 || (U_GET_GC_MASK(c) & U_GC_ZS_MASK) != 0; }},
      {"whitespace and newline", NSCharacterSet::whitespaceAndNewlineCharacterSet(),
       [](UChar32 c) { return (c >= 9 && c <= 13) || c == 0x85 || (U_GET_GC_MASK(c) & U_GC_Z_MASK) != 0; }},
      {"newline", NSCharacterSet::newlineCharacterSet(),
       [](UChar32 c) { return (c >= 10 && c <= 13) || c == 0x85 || c == 0x2028 || c == 0x2029; }},
      {"alphanumeric", NSCharacterSet::alphanumericCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0; }},
      {"letter", NSCharacterSet::letterCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK)) != 0; }},
      {"uppercase", NSCharacterSet::uppercaseLetterCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & (U_GC_LU_MASK | U_GC_LT_MASK)) != 0; }},
      {"lowercase", NSCharacterSet::lowercaseLetterCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_LL_MASK) != 0; }},
      {"capitalized", NSCharacterSet::capitalizedLetterCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_LT_MASK) != 0; }},
      {"decimal digit", NSCharacterSet::decimalDigitCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_ND_MASK) != 0; }},
      {"punctuation", NSCharacterSet::punctuationCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_P_MASK) != 0; }},
      {"symbol", NSCharacterSet::symbolCharacterSet(), [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_S_MASK) != 0; }},
      {"control", NSCharacterSet::controlCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & (U_GC_CC_MASK | U_GC_CF_MASK)) != 0; }},
      {"non-base", NSCharacterSet::nonBaseCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_M_MASK) != 0; }},
      {"illegal", NSCharacterSet::illegalCharacterSet(),
       [](UChar32 c) { return (U_GET_GC_MASK(c) & U_GC_CN_MASK) != 0; }},
      {"decomposable", NSCharacterSet::decomposableCharacterSet(),
       [](UChar32 c) { return u_getIntPropertyValue(c, UCHAR_NFD_QUICK_CHECK) == UNORM_NO; }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSCharacterSet inverted = row.set.invertedSet();
    for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
      const auto character = static_cast<char32_t>(c);
      ASSERT_EQ(row.set.longCharacterIsMember(character), row.expected(c)) << std::hex << c;
      ASSERT_NE(inverted.longCharacterIsMember(character), row.expected(c)) << std::hex << c;
    }
    EXPECT_FALSE(row.set.longCharacterIsMember(0x110000));
    EXPECT_FALSE(inverted.longCharacterIsMember(0xFFFFFFFF));
  }
  EXPECT_TRUE(isIdentical(NSCharacterSet::letterCharacterSet(), NSCharacterSet::letterCharacterSet()));
}

TEST(NSCharacterSetTest, URLSetsHoldWhatMayStand) {
  const std::string unreserved = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,=";
  const struct {
    const char* what;
    NSCharacterSet set;
    const char* further;
  } rows[] = {
      {"host", NSCharacterSet::URLHostAllowedCharacterSet(), ":;[]"},
      {"path", NSCharacterSet::URLPathAllowedCharacterSet(), "/:@"},
      {"query", NSCharacterSet::URLQueryAllowedCharacterSet(), "/?:@;"},
      {"fragment", NSCharacterSet::URLFragmentAllowedCharacterSet(), "/?:@;"},
      {"user", NSCharacterSet::URLUserAllowedCharacterSet(), ";"},
      {"password", NSCharacterSet::URLPasswordAllowedCharacterSet(), ";"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const std::string all = unreserved + row.further;
    for (char32_t c = 0; c < 0x250; ++c) {
      EXPECT_EQ(row.set.longCharacterIsMember(c), c < 0x80 && c != 0 && all.find(static_cast<char>(c)) != all.npos)
          << static_cast<unsigned>(c);
    }
  }
}

TEST(NSCharacterSetTest, IsMadeOfCharactersAndRanges) {
  const NSCharacterSet set = NSCharacterSet::characterSetWithCharactersInString("a会\U0001F600a");
  const NSCharacterSet range = NSCharacterSet::characterSetWithRange({0x61, 3});
  const NSCharacterSet both = set.characterSetByUniting(range);
  const NSCharacterSet common = set.characterSetByIntersecting(range);
  const struct {
    char32_t c;
    bool inSet, inRange;
  } rows[] = {{U'a', true, true},   {U'b', false, true},          {U'c', false, true},    {U'd', false, false},
              {U'会', true, false}, {U'\U0001F600', true, false}, {0xD83D, false, false}, {0, false, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(static_cast<unsigned>(row.c));
    EXPECT_EQ(set.longCharacterIsMember(row.c), row.inSet);
    EXPECT_EQ(range.longCharacterIsMember(row.c), row.inRange);
    EXPECT_EQ(both.longCharacterIsMember(row.c), row.inSet || row.inRange);
    EXPECT_EQ(common.longCharacterIsMember(row.c), row.inSet && row.inRange);
    EXPECT_EQ(set.invertedSet().longCharacterIsMember(row.c), !row.inSet);
    if (row.c >= 0x10000) continue;
    EXPECT_EQ(set.characterIsMember(static_cast<unichar>(row.c)), row.inSet);
  }
  EXPECT_TRUE(both.isSupersetOfSet(set));
  EXPECT_FALSE(set.isSupersetOfSet(both));
  EXPECT_TRUE(set.isSupersetOfSet(nullptr));
  EXPECT_FALSE(NSCharacterSet::characterSetWithCharactersInString("").longCharacterIsMember(U'a'));
  EXPECT_FALSE(NSCharacterSet::characterSetWithRange({0x61, 0}).longCharacterIsMember(0x61));
  EXPECT_TRUE(NSCharacterSet::characterSetWithRange({0, 0x110000}).longCharacterIsMember(0x10FFFF));
  const NSCharacterSet half = NSCharacterSet::characterSetWithCharactersInString(std::u16string(1, 0xD800));
  EXPECT_TRUE(half.characterIsMember(0xD800));
  EXPECT_EQ(raisedName([] {
              return NSCharacterSet::characterSetWithRange({0x10FFFF, 2});
            }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { return NSCharacterSet::characterSetWithCharactersInString(nullptr); }),
            "NSInvalidArgumentException");
}

TEST(NSCharacterSetTest, EqualsByMembers) {
  const NSCharacterSet a = NSCharacterSet::characterSetWithCharactersInString("abc");
  const NSCharacterSet b = NSCharacterSet::characterSetWithRange({0x61, 3});
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_EQ(id(a).hash(), b.hash());
  EXPECT_NE(a, NSCharacterSet::characterSetWithCharactersInString("ab"));
  EXPECT_NE(id(a), id(NSString("abc")));
  EXPECT_TRUE(isIdentical(id(a).copy(), a));
  EXPECT_TRUE(a.description().hasPrefix("<NSCharacterSet: 0x"));
  EXPECT_TRUE(objc_msgSend<bool>(a, "characterIsMember:", u'b'));
  EXPECT_TRUE(objc_msgSend<NSCharacterSet>(classOf<NSCharacterSet>(), "newlineCharacterSet").characterIsMember('\n'));
  const id empty(adopt, class_createInstance(classOf<NSCharacterSet>()));
  EXPECT_EQ(empty, id(NSCharacterSet::characterSetWithCharactersInString("")));
}

TEST(NSCharacterSetTest, NilAnswersNothing) {
  const NSCharacterSet nil, set = NSCharacterSet::letterCharacterSet();
  EXPECT_FALSE(nil.characterIsMember('a'));
  EXPECT_FALSE(nil.longCharacterIsMember('a'));
  EXPECT_FALSE(nil.invertedSet());
  EXPECT_FALSE(nil.isSupersetOfSet(set));
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(nil.description());
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.characterSetByIntersecting(set));
  EXPECT_FALSE(nil.characterSetByUniting(nil));
  EXPECT_TRUE(isIdentical(nil.characterSetByUniting(set), set));
  EXPECT_FALSE(set.characterSetByIntersecting(nil).characterIsMember('a'));
}

}  // namespace
}  // namespace kvt
