#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSValue.h>
#include <gtest/gtest.h>

#include <cstring>

#include "Raised.h"

namespace kvt {
namespace {

struct Triple {
  std::int8_t a = 0;
  std::int8_t b = 0;
  std::int8_t c = 0;
};

}  // namespace
}  // namespace kvt
KVT_STRUCT_ENCODING(kvt::Triple, a, b, c)

namespace kvt {
namespace {

TEST(NSValueTest, NilAnswersNothing) {
  const NSValue nil;
  char buffer[8] = "keep";
  nil.getValue(buffer);
  nil.getValue_size(buffer, 3);
  EXPECT_STREQ(buffer, "keep");
  EXPECT_EQ(nil.objCType(), nullptr);
  EXPECT_EQ(nil.get<int>(), 0);
  EXPECT_EQ(nil.pointerValue(), nullptr);
  EXPECT_TRUE(nil.nonretainedObjectValue() == nullptr);
  EXPECT_EQ(nil.rangeValue(), NSRange());
  EXPECT_EQ(nil.CGRectValue(), CGRect());
  EXPECT_EQ(nil.CGAffineTransformValue(), (CGAffineTransform{0, 0, 0, 0, 0, 0}));
  EXPECT_FALSE(nil.isEqualToValue(NSValue::of(1)));
  EXPECT_FALSE(nil.isEqualToValue(nil));
  EXPECT_FALSE(NSValue::of(1).isEqualToValue(nil));
  EXPECT_EQ(nil.hash(), 0U);
  EXPECT_TRUE(nil.description() == nullptr);
}

TEST(NSValueTest, KeepsBytesAndEncoding) {
  const NSValue value = NSValue::of(Triple{1, 2, 3});
  EXPECT_STREQ(value.objCType(), "{Triple=ccc}");
  Triple out;
  value.getValue(&out);
  EXPECT_EQ(out.b, 2);
  EXPECT_EQ(value.get<Triple>().c, 3);
  EXPECT_EQ(value.get<std::int8_t>(), 0);

  std::int16_t numbers[3] = {7, 8, 9};
  const NSValue array = NSValue::valueWithBytes_objCType(numbers, "[3s]");
  numbers[0] = 0;
  std::int16_t copy[3] = {};
  array.getValue_size(copy, sizeof copy);
  EXPECT_EQ(copy[0], 7);
  EXPECT_EQ(copy[2], 9);
}

TEST(NSValueTest, BoxedBytesAreAligned) {
  const NSValue value = NSValue::of(CGRect{{1, 2}, {3, 4}});
  EXPECT_EQ(value.get<CGRect>(), (CGRect{{1, 2}, {3, 4}}));
  EXPECT_EQ(NSValue::of(static_cast<long double>(2)).get<long double>(), 2);
}

TEST(NSValueTest, RefusesEncodingsWithoutSize) {
  int number = 1;
  for (const char* type : {"", "v", "z", "ii", "{A=", "["}) {
    SCOPED_TRACE(type);
    EXPECT_EQ(raised([&] { return NSValue::valueWithBytes_objCType(&number, type); }),
              "NSInvalidArgumentException: +[NSValue valueWithBytes:objCType:]: type encoding '" + std::string(type) +
                  "' has no size");
  }
  EXPECT_EQ(raisedName([&] { return NSValue::valueWithBytes_objCType(&number, nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { return NSValue::valueWithBytes_objCType(nullptr, "i"); }), "NSInvalidArgumentException");
}

TEST(NSValueTest, ChecksTheSizeThatIsAskedFor) {
  std::int64_t out = 0;
  EXPECT_EQ(raised([&] {
              NSValue::of(CGSize{1, 2}).getValue_size(&out, sizeof out);
              return 0;
            }),
            "NSInvalidArgumentException: -[NSValue getValue:size:]: cannot get value with size 8: the type encoded as "
            "{CGSize=dd} is expected to be 16 bytes");
  NSValue(NSNumber(std::int64_t{-5})).getValue_size(&out, sizeof out);
  EXPECT_EQ(out, -5);
}

TEST(NSValueTest, Pointers) {
  int target = 0;
  const NSValue value = NSValue::valueWithPointer(&target);
  EXPECT_STREQ(value.objCType(), "^v");
  EXPECT_EQ(value.pointerValue(), &target);
  EXPECT_EQ(NSValue::of(&target).pointerValue(), nullptr) << "another pointer type is another encoding";
  EXPECT_EQ(NSValue::valueWithPointer(nullptr).description(), "<0x0>");
  EXPECT_EQ(NSValue::valueWithPointer(reinterpret_cast<void*>(0xBEEF)).description(), "<0xbeef>");
}

TEST(NSValueTest, NonretainedObjectIsNotRetained) {
  const NSString text(std::string_view("some text that is not shared"));
  const auto before = ObjectAccess::retainCount(text.object());
  const NSValue value = NSValue::valueWithNonretainedObject(text);
  EXPECT_EQ(ObjectAccess::retainCount(text.object()), before);
  EXPECT_TRUE(isIdentical(value.nonretainedObjectValue(), text));
  EXPECT_EQ(ObjectAccess::retainCount(text.object()), before);
}

TEST(NSValueTest, Geometry) {
  EXPECT_EQ(NSValue::valueWithSize({1, 2}).sizeValue(), (CGSize{1, 2}));
  EXPECT_EQ(NSValue::valueWithCGSize({1, 2}).CGSizeValue(), (CGSize{1, 2}));
  EXPECT_EQ(NSValue::valueWithPoint({1, 2}).pointValue(), (CGPoint{1, 2}));
  EXPECT_EQ(NSValue::valueWithCGPoint({1, 2}).CGPointValue(), (CGPoint{1, 2}));
  EXPECT_EQ(NSValue::valueWithRect({{1, 2}, {3, 4}}).rectValue(), (CGRect{{1, 2}, {3, 4}}));
  EXPECT_EQ(NSValue::valueWithRange({5, 6}).rangeValue(), (NSRange{5, 6}));
  EXPECT_EQ(NSValue::valueWithUIOffset({1, 2}).UIOffsetValue(), (UIOffset{1, 2}));
  EXPECT_EQ(NSValue::valueWithUIEdgeInsets({1, 2, 3, 4}).UIEdgeInsetsValue(), (UIEdgeInsets{1, 2, 3, 4}));
  EXPECT_EQ(NSValue::valueWithCGAffineTransform({1, 2, 3, 4, 5, 6}).CGAffineTransformValue(),
            (CGAffineTransform{1, 2, 3, 4, 5, 6}));
  // Same layout, another type.
  EXPECT_EQ(NSValue::valueWithSize({1, 2}).pointValue(), CGPoint());
  EXPECT_EQ(NSValue::valueWithSize({1, 2}).CGAffineTransformValue(), (CGAffineTransform{0, 0, 0, 0, 0, 0}));
}

TEST(NSValueTest, Descriptions) {
  const std::pair<NSValue, const char*> rows[] = {
      {NSValue::valueWithSize({1, 2}), "NSSize: {1, 2}"},
      {NSValue::valueWithPoint({-1.5, 0.1}), "NSPoint: {-1.5, 0.1}"},
      {NSValue::valueWithRect({{0, 0}, {1, 2}}), "NSRect: {{0, 0}, {1, 2}}"},
      {NSValue::valueWithRange({0, 5}), "NSRange: {0, 5}"},
      {NSValue::valueWithRange({NSNotFound, 0}), "NSRange: {9223372036854775807, 0}"},
      {NSValue::valueWithUIEdgeInsets({1, 2, 3, 4}), "UIEdgeInsets: {1, 2, 3, 4}"},
      {NSValue::valueWithUIOffset({1, 2}), "UIOffset: {1, 2}"},
      {NSValue::valueWithCGAffineTransform({}), "CGAffineTransform: {{1, 0, 0, 1}, {0, 0}}"},
      {NSValue::of(Triple{1, 2, -1}), "<0102ff>"},
      {NSValue::valueWithBytes_objCType("\1\2\3\4\5\6\7\10\11", "[9c]"), "<01020304 05060708 09>"},
      {NSValue::valueWithBytes_objCType("\1\2\3\4\5\6\7\10", "[8c]"), "<01020304 05060708>"},
  };
  for (const auto& [value, expected] : rows) EXPECT_EQ(value.description(), expected);
}

TEST(NSValueTest, EqualityIsEncodingAndBytes) {
  const NSValue a = NSValue::of(CGSize{1, 2});
  const NSValue same = NSValue::of(CGSize{1, 2});
  EXPECT_TRUE(a.isEqualToValue(same));
  EXPECT_TRUE(a == same);
  EXPECT_EQ(a.hash(), same.hash());
  EXPECT_FALSE(a == NSValue::of(CGPoint{1, 2}));
  EXPECT_FALSE(a == NSValue::of(CGSize{1, 3}));
  EXPECT_FALSE(a.isEqual(NSString("x")));
  EXPECT_FALSE(a.isEqual(nullptr));
  // A boxed number and a box that has a number's bytes are two things.
  EXPECT_FALSE(NSValue::of(1) == NSNumber(1));
  EXPECT_FALSE(NSNumber(1) == NSValue::of(1));
  EXPECT_TRUE(NSValue(NSNumber(1)).isEqualToValue(NSNumber(1.0)));
}

TEST(NSValueTest, NumbersGiveTheirBytes) {
  EXPECT_EQ(NSNumber(std::int16_t{-3}).get<std::int16_t>(), -3);
  EXPECT_EQ(NSNumber(std::int16_t{-3}).get<int>(), 0);
  EXPECT_EQ(NSNumber(2.5F).get<float>(), 2.5F);
  EXPECT_EQ(NSNumber(UINT64_MAX).get<std::uint64_t>(), UINT64_MAX);
  EXPECT_TRUE(NSNumber(true).get<bool>());
  EXPECT_EQ(NSNumber(true).get<std::int8_t>(), 1);
  EXPECT_FALSE(NSNumber(std::int8_t{1}).get<bool>());
  std::uint8_t byte = 0;
  NSNumber(std::uint8_t{200}).getValue(&byte);
  EXPECT_EQ(byte, 200);
}

TEST(NSValueTest, CopyIsTheSameObject) {
  const NSValue value = NSValue::of(CGSize{1, 2});
  EXPECT_TRUE(isIdentical(value.copy(), value));
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(value, "copyWithZone:", nullptr), value));
}

TEST(NSValueTest, AnswersMessages) {
  const NSValue value = objc_msgSend<NSValue>(objc_getClass("NSValue"), "valueWithRange:", NSRange{1, 2});
  EXPECT_EQ(objc_msgSend<NSRange>(value, "rangeValue"), (NSRange{1, 2}));
  EXPECT_STREQ(objc_msgSend<const char*>(value, "objCType"), "{_NSRange=QQ}");
  EXPECT_TRUE(objc_msgSend<bool>(value, "isEqualToValue:", NSValue::valueWithRange({1, 2})));
  EXPECT_TRUE(objc_msgSend<bool>(value, "isEqual:", NSValue::valueWithRange({1, 2})));
  EXPECT_EQ(objc_msgSend<std::uint64_t>(value, "hash"), value.hash());
  EXPECT_EQ(class_getName(value.class_()), std::string("NSValue"));
  EXPECT_EQ(class_getSuperclass(classOf<NSNumber>()), classOf<NSValue>());
}

TEST(NSValueTest, Casts) {
  const id number = NSNumber(1);
  const id value = NSValue::of(1);
  EXPECT_TRUE(number.is<NSValue>());
  EXPECT_FALSE(value.is<NSNumber>());
  EXPECT_FALSE(id(NSString("x")).is<NSValue>());
}

}  // namespace
}  // namespace kvt
