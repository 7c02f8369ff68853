#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSObject.h>
#include <gtest/gtest.h>

#include "Raised.h"

namespace kvt {
namespace {

TEST(NSAttributedStringTest, KeepsItsText) {
  const NSMutableString source = NSMutableString::stringWithString("Ti会");
  const NSAttributedString text = NSAttributedString::initWithString(source);
  source.appendString("!");
  EXPECT_EQ(text.string(), "Ti会");
  EXPECT_EQ(text.length(), 3u);
  EXPECT_EQ(text.description(), "Ti会{\n}");
  EXPECT_EQ(text.attributedSubstringFromRange({1, 2}).string(), "i会");
  EXPECT_EQ(raisedName([&] { return text.attributedSubstringFromRange({1, 3}); }), "NSRangeException");
  EXPECT_EQ(raisedName([] { return NSAttributedString::initWithString(nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(objc_msgSend<NSString>(text, "string"), "Ti会");
  const id empty(adopt, class_createInstance(classOf<NSAttributedString>()));
  EXPECT_EQ(empty.as<NSAttributedString>().string(), "");
}

TEST(NSAttributedStringTest, EqualsByText) {
  const NSAttributedString a = NSAttributedString::initWithString("x"), b = NSAttributedString::initWithString(u"x");
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_EQ(id(a).hash(), id(b).hash());
  EXPECT_TRUE(a.isEqualToAttributedString(b));
  EXPECT_NE(a, NSAttributedString::initWithString("y"));
  EXPECT_FALSE(a.isEqual(NSString("x")));
  EXPECT_FALSE(NSString("x").isEqual(a));
  EXPECT_TRUE(isIdentical(id(a).copy(), a));
}

TEST(NSAttributedStringTest, NilAnswersNothing) {
  const NSAttributedString nil;
  EXPECT_FALSE(nil.string());
  EXPECT_EQ(nil.length(), 0u);
  EXPECT_FALSE(nil.attributedSubstringFromRange({0, 1}));
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_FALSE(nil.isEqualToAttributedString(nil));
  EXPECT_FALSE(nil.description());
  EXPECT_FALSE(nil.copy());
}

}  // namespace
}  // namespace kvt
