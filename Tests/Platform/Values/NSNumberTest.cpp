#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <bit>
#include <boost/multiprecision/cpp_int.hpp>
#include <cmath>
#include <limits>
#include <random>
#include <type_traits>

#include "Raised.h"

namespace kvt {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// A pointer never becomes a number, nor does text.
static_assert(!std::is_constructible_v<NSNumber, const char*>);
static_assert(!std::is_constructible_v<NSNumber, int*>);
static_assert(!std::is_constructible_v<NSNumber, void (*)()>);
static_assert(!std::is_constructible_v<NSNumber, int std::pair<int, int>::*>);
static_assert(!std::is_convertible_v<id, NSNumber>);
static_assert(!std::is_convertible_v<NSString, NSNumber>);
static_assert(std::is_convertible_v<std::size_t, NSNumber>);

TEST(NSNumberTest, NilAnswersZero) {
  const NSNumber nil;
  EXPECT_FALSE(nil.boolValue());
  EXPECT_EQ(nil.charValue(), 0);
  EXPECT_EQ(nil.unsignedCharValue(), 0);
  EXPECT_EQ(nil.shortValue(), 0);
  EXPECT_EQ(nil.unsignedShortValue(), 0);
  EXPECT_EQ(nil.intValue(), 0);
  EXPECT_EQ(nil.unsignedIntValue(), 0U);
  EXPECT_EQ(nil.longValue(), 0);
  EXPECT_EQ(nil.unsignedLongValue(), 0U);
  EXPECT_EQ(nil.longLongValue(), 0);
  EXPECT_EQ(nil.unsignedLongLongValue(), 0U);
  EXPECT_EQ(nil.integerValue(), 0);
  EXPECT_EQ(nil.unsignedIntegerValue(), 0U);
  EXPECT_EQ(nil.floatValue(), 0);
  EXPECT_EQ(nil.doubleValue(), 0);
  EXPECT_TRUE(nil.decimalValue() == nullptr);
  EXPECT_TRUE(nil.stringValue() == nullptr);
  EXPECT_TRUE(nil.description() == nullptr);
  EXPECT_EQ(nil.compare(NSNumber(1)), NSOrderedSame);
  EXPECT_FALSE(nil.isEqualToNumber(NSNumber(0)));
  EXPECT_FALSE(nil.isEqualToNumber(nil));
  EXPECT_FALSE(nil.isBool());
  EXPECT_FALSE(nil.isFloatingPoint());
  EXPECT_EQ(nil.objCType(), nullptr);
  EXPECT_EQ(nil.hash(), 0U);
  EXPECT_EQ(NSNumber(nullptr).intValue(), 0);
}

enum class Small : std::uint8_t { kOne = 1 };
enum Plain : std::int64_t { kPlain = -7 };

TEST(NSNumberTest, RemembersItsType) {
  const std::pair<NSNumber, const char*> rows[] = {
      {NSNumber(true), "c"},
      {NSNumber('a'), "c"},
      {NSNumber(std::int8_t{1}), "c"},
      {NSNumber(std::uint8_t{1}), "C"},
      {NSNumber(std::int16_t{1}), "s"},
      {NSNumber(std::uint16_t{1}), "S"},
      {NSNumber(1), "i"},
      {NSNumber(1U), "I"},
      {NSNumber(1L), "q"},
      {NSNumber(1UL), "Q"},
      {NSNumber(1LL), "q"},
      {NSNumber(1ULL), "Q"},
      {NSNumber(1.0F), "f"},
      {NSNumber(1.0), "d"},
      {NSNumber(1.0L), "d"},
      {NSNumber(kPlain), "q"},
      {NSNumber::numberWithBool(true), "c"},
      {NSNumber::numberWithChar(1), "c"},
      {NSNumber::numberWithUnsignedChar(1), "C"},
      {NSNumber::numberWithShort(1), "s"},
      {NSNumber::numberWithUnsignedShort(1), "S"},
      {NSNumber::numberWithInt(1), "i"},
      {NSNumber::numberWithUnsignedInt(1), "I"},
      {NSNumber::numberWithLong(1), "q"},
      {NSNumber::numberWithUnsignedLong(1), "Q"},
      {NSNumber::numberWithLongLong(1), "q"},
      {NSNumber::numberWithUnsignedLongLong(1), "Q"},
      {NSNumber::numberWithInteger(1), "q"},
      {NSNumber::numberWithUnsignedInteger(1), "Q"},
      {NSNumber::numberWithFloat(1), "f"},
      {NSNumber::numberWithDouble(1), "d"},
  };
  int row = 0;
  for (const auto& [number, type] : rows) {
    SCOPED_TRACE(row++);
    EXPECT_STREQ(number.objCType(), type);
    EXPECT_EQ(number.isBool(), row == 1 || row == 17);
    EXPECT_EQ(number.isFloatingPoint(), type[0] == 'f' || type[0] == 'd');
  }
  EXPECT_FALSE(NSDecimalNumber::one().isFloatingPoint());
  EXPECT_FALSE(NSDecimalNumber::one().isBool());
}

TEST(NSNumberTest, SharesBooleansAndSmallIntegers) {
  EXPECT_TRUE(isIdentical(NSNumber(true), NSNumber::numberWithBool(true)));
  EXPECT_TRUE(isIdentical(NSNumber(false), NSNumber(false)));
  EXPECT_FALSE(isIdentical(NSNumber(true), NSNumber(false)));
  EXPECT_FALSE(isIdentical(NSNumber(true), NSNumber(1)));
  for (std::int64_t i = -1; i <= 255; ++i) {
    SCOPED_TRACE(i);
    EXPECT_TRUE(isIdentical(NSNumber(i), NSNumber(i)));
    EXPECT_TRUE(isIdentical(NSNumber(static_cast<int>(i)), NSNumber(static_cast<int>(i))));
    EXPECT_FALSE(isIdentical(NSNumber(i), NSNumber(static_cast<int>(i))));
    EXPECT_EQ(NSNumber(i).longLongValue(), i);
    EXPECT_EQ(NSNumber(static_cast<int>(i)).longLongValue(), i);
    EXPECT_LT(ObjectAccess::retainCount(NSNumber(i).object()), 0);
  }
  EXPECT_FALSE(isIdentical(NSNumber(std::int64_t{256}), NSNumber(std::int64_t{256})));
  EXPECT_FALSE(isIdentical(NSNumber(std::int64_t{-2}), NSNumber(std::int64_t{-2})));
  EXPECT_EQ(ObjectAccess::retainCount(NSNumber(1000).object()), 1);
}

TEST(NSNumberTest, IntegersKeepTheirLowBits) {
  const NSNumber minusOne(-1);
  EXPECT_EQ(minusOne.unsignedCharValue(), 255);
  EXPECT_EQ(minusOne.unsignedShortValue(), 65535);
  EXPECT_EQ(minusOne.unsignedIntValue(), UINT32_MAX);
  EXPECT_EQ(minusOne.unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(NSNumber(UINT64_MAX).longLongValue(), -1);
  EXPECT_EQ(NSNumber(UINT64_MAX).intValue(), -1);
  EXPECT_EQ(NSNumber(300).charValue(), 44);
  EXPECT_EQ(NSNumber(70000).shortValue(), 4464);
  EXPECT_EQ(NSNumber(std::int64_t{1} << 32).intValue(), 0);
  EXPECT_EQ(NSNumber(INT64_MIN).longLongValue(), INT64_MIN);
  EXPECT_EQ(NSNumber(UINT64_MAX).unsignedLongLongValue(), UINT64_MAX);
  EXPECT_TRUE(NSNumber(std::int64_t{1} << 40).boolValue());
}

TEST(NSNumberTest, FloatingValuesSaturate) {
  struct Row {
    double value;
    std::int8_t c;
    std::uint8_t C;
    std::int32_t i;
    std::uint32_t I;
    std::int64_t q;
    std::uint64_t Q;
  };
  const Row rows[] = {
      {0, 0, 0, 0, 0, 0, 0},
      {-0.0, 0, 0, 0, 0, 0, 0},
      {2.9, 2, 2, 2, 2, 2, 2},
      {-2.9, -2, 0, -2, 0, -2, 0},
      {127.9, 127, 127, 127, 127, 127, 127},
      {128, 127, 128, 128, 128, 128, 128},
      {-128.9, -128, 0, -128, 0, -128, 0},
      {255.99, 127, 255, 255, 255, 255, 255},
      {1e10, 127, 255, INT32_MAX, UINT32_MAX, 10000000000, 10000000000U},
      {-1e10, -128, 0, INT32_MIN, 0, -10000000000, 0},
      {4294967295.5, 127, 255, INT32_MAX, UINT32_MAX, 4294967295, 4294967295U},
      {9007199254740993.0, 127, 255, INT32_MAX, UINT32_MAX, 9007199254740992, 9007199254740992U},
      {0x1p63, 127, 255, INT32_MAX, UINT32_MAX, INT64_MAX, 0x8000000000000000U},
      {-0x1p63, -128, 0, INT32_MIN, 0, INT64_MIN, 0},
      {0x1p64, 127, 255, INT32_MAX, UINT32_MAX, INT64_MAX, UINT64_MAX},
      {1e300, 127, 255, INT32_MAX, UINT32_MAX, INT64_MAX, UINT64_MAX},
      {-1e300, -128, 0, INT32_MIN, 0, INT64_MIN, 0},
      {kInfinity, 127, 255, INT32_MAX, UINT32_MAX, INT64_MAX, UINT64_MAX},
      {-kInfinity, -128, 0, INT32_MIN, 0, INT64_MIN, 0},
      {kNaN, 0, 0, 0, 0, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value);
    const NSNumber number(row.value);
    EXPECT_EQ(number.charValue(), row.c);
    EXPECT_EQ(number.unsignedCharValue(), row.C);
    EXPECT_EQ(number.intValue(), row.i);
    EXPECT_EQ(number.unsignedIntValue(), row.I);
    EXPECT_EQ(number.longLongValue(), row.q);
    EXPECT_EQ(number.unsignedLongLongValue(), row.Q);
    // A decimal of the same value reads the same, where there is one.
    const NSDecimalNumber decimal = number.decimalValue();
    if (decimal.isNotANumber() || std::fabs(row.value) > 1e16) continue;
    EXPECT_EQ(decimal.charValue(), row.c);
    EXPECT_EQ(decimal.unsignedCharValue(), row.C);
    EXPECT_EQ(decimal.intValue(), row.i);
    EXPECT_EQ(decimal.unsignedIntValue(), row.I);
    EXPECT_EQ(decimal.longLongValue(), row.q);
    EXPECT_EQ(decimal.unsignedLongLongValue(), row.Q);
  }
}

TEST(NSNumberTest, BooleansAndFloats) {
  EXPECT_TRUE(NSNumber(0.1).boolValue());
  EXPECT_TRUE(NSNumber(kNaN).boolValue());
  EXPECT_FALSE(NSNumber(-0.0).boolValue());
  EXPECT_TRUE(NSNumber(-1).boolValue());
  EXPECT_EQ(NSNumber(true).intValue(), 1);
  EXPECT_EQ(NSNumber(true).doubleValue(), 1.0);
  EXPECT_EQ(NSNumber(0.1).floatValue(), 0.1F);
  EXPECT_EQ(NSNumber(1e300).floatValue(), std::numeric_limits<float>::infinity());
  EXPECT_EQ(NSNumber(0.1F).doubleValue(), static_cast<double>(0.1F));
  // By way of a double this one would be rounded twice, to 16777218.
  EXPECT_EQ(NSNumber((std::int64_t{1} << 54) + (std::int64_t{1} << 30) + 1).floatValue(), 18014400656965632.0F);
}

TEST(NSNumberTest, Texts) {
  const std::pair<NSNumber, const char*> rows[] = {
      {NSNumber(true), "1"},
      {NSNumber(false), "0"},
      {NSNumber('a'), "97"},
      {NSNumber(std::uint8_t{255}), "255"},
      {NSNumber(-7), "-7"},
      {NSNumber(INT64_MIN), "-9223372036854775808"},
      {NSNumber(UINT64_MAX), "18446744073709551615"},
      {NSNumber(0.0), "0"},
      {NSNumber(-0.0), "-0"},
      {NSNumber(3.0), "3"},
      {NSNumber(0.1), "0.1"},
      {NSNumber(-0.1), "-0.1"},
      {NSNumber(0.1 + 0.2), "0.30000000000000004"},
      {NSNumber(100000.0), "100000"},
      {NSNumber(123456.789), "123456.789"},
      {NSNumber(0.0001), "0.0001"},
      {NSNumber(0.00012345), "0.00012345"},
      {NSNumber(0.00001), "1e-05"},
      {NSNumber(1.5e-7), "1.5e-07"},
      {NSNumber(1e16), "10000000000000000"},
      {NSNumber(72057594037927936.0), "72057594037927936"},
      {NSNumber(1e17), "1e+17"},
      {NSNumber(1e20), "1e+20"},
      {NSNumber(-1.25e100), "-1.25e+100"},
      {NSNumber(1.7976931348623157e308), "1.7976931348623157e+308"},
      {NSNumber(5e-324), "5e-324"},
      {NSNumber(kInfinity), "inf"},
      {NSNumber(-kInfinity), "-inf"},
      {NSNumber(kNaN), "nan"},
      {NSNumber(-kNaN), "nan"},
      {NSNumber(0.1F), "0.1"},
      {NSNumber(16777216.0F), "16777216"},
      {NSNumber(999999936.0F), "999999936"},
      {NSNumber(1e9F), "1e+09"},
      {NSNumber(3.4028235e38F), "3.4028235e+38"},
      {NSNumber(1e-45F), "1e-45"},
      {NSNumber(1234.5F), "1234.5"},
  };
  for (const auto& [number, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(number.stringValue(), text);
    EXPECT_EQ(number.description(), text);
    EXPECT_EQ(objc_msgSend<NSString>(number, "descriptionWithLocale:", nullptr), text);
  }
}

TEST(NSNumberTest, TextsReadBackAsTheSameValue) {
  std::mt19937_64 random(20140120);
  for (int i = 0; i < 20000; ++i) {
    const double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    const std::string text = NSNumber(value).stringValue().str();
    EXPECT_EQ(std::strtod(text.c_str(), nullptr), value) << text;
    const float single = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (!std::isfinite(single)) continue;
    const std::string singleText = NSNumber(single).stringValue().str();
    EXPECT_EQ(std::strtof(singleText.c_str(), nullptr), single) << singleText;
  }
}

TEST(NSNumberTest, EqualAcrossTypes) {
  const NSNumber ones[] = {
      NSNumber(true), NSNumber('\1'), NSNumber(std::uint8_t{1}), NSNumber(1), NSNumber(1U), NSNumber(1L), NSNumber(1UL),
      NSNumber(1.0F), NSNumber(1.0),  NSDecimalNumber::one()};
  for (const NSNumber& a : ones) {
    for (const NSNumber& b : ones) {
      EXPECT_TRUE(a.isEqualToNumber(b));
      EXPECT_TRUE(a == b);
      EXPECT_TRUE(a.isEqual(b));
      EXPECT_EQ(a.compare(b), NSOrderedSame);
      EXPECT_EQ(a.hash(), b.hash());
    }
    EXPECT_FALSE(a == NSNumber(2));
    EXPECT_FALSE(a.isEqual(NSString("1")));
    EXPECT_FALSE(a.isEqual(nullptr));
    EXPECT_FALSE(a.isEqualToNumber(nullptr));
  }
}

TEST(NSNumberTest, OrderIsExact) {
  struct Row {
    NSNumber a, b;
    int order;
  };
  const Row rows[] = {
      {NSNumber(-1), NSNumber(UINT64_MAX), -1},
      {NSNumber(UINT64_MAX), NSNumber(-1), 1},
      {NSNumber(INT64_MAX), NSNumber(UINT64_MAX), -1},
      {NSNumber(INT64_MAX), NSNumber(0x1p63), -1},
      {NSNumber(INT64_MAX - 1), NSNumber(0x1p63), -1},
      {NSNumber(std::uint64_t{1} << 63), NSNumber(0x1p63), 0},
      {NSNumber((std::uint64_t{1} << 63) + 1), NSNumber(0x1p63), 1},
      {NSNumber(UINT64_MAX), NSNumber(0x1p64), -1},
      {NSNumber(INT64_MIN), NSNumber(-0x1p63), 0},
      {NSNumber(INT64_MIN), NSNumber(-0x1.0000000000001p63), 1},
      {NSNumber(std::int64_t{9007199254740993}), NSNumber(9007199254740992.0), 1},
      {NSNumber(std::int64_t{-9007199254740993}), NSNumber(-9007199254740992.0), -1},
      {NSNumber(1), NSNumber(1.5), -1},
      {NSNumber(-1), NSNumber(-1.5), 1},
      {NSNumber(0), NSNumber(-0.5), 1},
      {NSNumber(0U), NSNumber(5e-324), -1},
      {NSNumber(0.0), NSNumber(-0.0), 0},
      {NSNumber(0.1F), NSNumber(0.1), 1},
      {NSNumber(INT64_MAX), NSNumber(kInfinity), -1},
      {NSNumber(INT64_MIN), NSNumber(-kInfinity), 1},
      {NSNumber(kInfinity), NSNumber(1e308), 1},
      {NSNumber(true), NSNumber(false), 1},
      {NSNumber(kNaN), NSNumber(-kNaN), 0},
      {NSNumber(kNaN), NSNumber(0), -1},
      {NSNumber(kNaN), NSNumber(-5e-324), 1},
      {NSNumber(kNaN), NSNumber(kInfinity), -1},
      {NSNumber(kNaN), NSNumber(-kInfinity), 1},
      {NSNumber(kNaN), NSDecimalNumber::notANumber(), 0},
      {NSNumber(0.1), NSDecimalNumber::decimalNumberWithString("0.1"), 0},
      {NSNumber(0.1), NSDecimalNumber::decimalNumberWithString("0.10000000000000000000000001"), -1},
      {NSNumber(0.1F), NSDecimalNumber::decimalNumberWithString("0.1"), 1},
      {NSNumber(1e300), NSDecimalNumber::maximumDecimalNumber(), 1},
      {NSNumber(-1e300), NSDecimalNumber::minimumDecimalNumber(), -1},
      {NSNumber(1e-300), NSDecimalNumber::zero(), 1},
      {NSNumber(kInfinity), NSDecimalNumber::maximumDecimalNumber(), 1},
      {NSNumber(0x1p63), NSDecimalNumber::decimalNumberWithString("9223372036854775808"), 0},
      {NSNumber(UINT64_MAX), NSDecimalNumber::decimalNumberWithString("18446744073709551615"), 0},
      {NSNumber(UINT64_MAX), NSDecimalNumber::decimalNumberWithString("18446744073709551615.5"), -1},
      {NSNumber(1e23), NSDecimalNumber::decimalNumberWithString("1e23"), 0},
  };
  int index = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(index++);
    EXPECT_EQ(row.a.compare(row.b), row.order);
    EXPECT_EQ(row.b.compare(row.a), -row.order);
    EXPECT_EQ(row.a == row.b, row.order == 0);
    if (row.order == 0) {
      EXPECT_EQ(row.a.hash(), row.b.hash());
    }
  }
}

// ---- held against exact rational arithmetic -------------------------------------------------------------------------

using Rational = boost::multiprecision::cpp_rational;
using Integer = boost::multiprecision::cpp_int;

struct Sample {
  NSNumber number;
  Rational value;
};

Rational rational(double value) {
  int exponent = 0;
  const double fraction = std::frexp(value, &exponent);
  const auto mantissa = static_cast<std::int64_t>(std::ldexp(fraction, 53));
  exponent -= 53;
  const Integer power = boost::multiprecision::pow(Integer(2), static_cast<unsigned>(std::abs(exponent)));
  return exponent >= 0 ? Rational(Integer(mantissa) * power) : Rational(Integer(mantissa), power);
}

/// Values crowded around the places where conversions between the types go wrong.
Sample sample(std::mt19937_64& random) {
  const std::uint64_t bits = random() >> (random() % 64);
  const std::uint64_t edge = (std::uint64_t{1} << (random() % 64)) + random() % 5 - 2;
  const std::uint64_t integer = random() % 2 != 0 ? bits : edge;
  switch (random() % 6) {
    case 0: return {NSNumber(static_cast<std::int64_t>(integer)), Rational(static_cast<std::int64_t>(integer))};
    case 1: return {NSNumber(integer), Rational(integer)};
    case 2: return {NSNumber(static_cast<int>(integer)), Rational(static_cast<int>(integer))};
    case 3: {
      const double value = static_cast<double>(integer) * (random() % 2 != 0 ? 1 : -1);
      return {NSNumber(value), rational(value)};
    }
    case 4: {
      double value = std::bit_cast<double>(random());
      if (!std::isfinite(value)) value = 0.5;
      return {NSNumber(value), rational(value)};
    }
    default: {
      const float value = static_cast<float>(static_cast<std::int64_t>(integer)) / 8;
      return {NSNumber(value), rational(static_cast<double>(value))};
    }
  }
}

TEST(NSNumberTest, OrderAgreesWithRationals) {
  std::mt19937_64 random(38);
  for (int i = 0; i < 100000; ++i) {
    const Sample a = sample(random);
    const Sample b =
        random() % 8 == 0 ? Sample{NSNumber(a.number.doubleValue()), rational(a.number.doubleValue())} : sample(random);
    const int expected = a.value < b.value ? -1 : a.value > b.value ? 1 : 0;
    ASSERT_EQ(a.number.compare(b.number), expected) << a.number << " " << b.number;
    ASSERT_EQ(a.number.isEqualToNumber(b.number), expected == 0) << a.number << " " << b.number;
    if (expected == 0) {
      ASSERT_EQ(a.number.hash(), b.number.hash()) << a.number << " " << b.number;
    }
  }
}

TEST(NSNumberTest, DecimalValueEqualsTheNumber) {
  std::mt19937_64 random(39);
  for (int i = 0; i < 20000; ++i) {
    const Sample a = sample(random);
    if (a.number.objCType()[0] == 'f') continue;  // a float's text is shorter than that of the same double
    const NSDecimalNumber decimal = a.number.decimalValue();
    const double magnitude = std::fabs(a.number.doubleValue());
    if (magnitude > 1e160 || (magnitude < 1e-100 && magnitude != 0)) continue;
    ASSERT_FALSE(decimal.isNotANumber()) << a.number;
    ASSERT_TRUE(decimal.isEqualToNumber(a.number)) << a.number << " " << decimal;
    ASSERT_TRUE(a.number.isEqualToNumber(decimal)) << a.number << " " << decimal;
    ASSERT_EQ(decimal.hash(), a.number.hash()) << a.number;
    ASSERT_EQ(decimal.doubleValue(), a.number.doubleValue()) << a.number;
    ASSERT_EQ(decimal.floatValue(), static_cast<float>(a.number.doubleValue())) << a.number;
  }
}

TEST(NSNumberTest, OrderIsTransitive) {
  std::mt19937_64 random(40);
  std::vector<NSNumber> numbers = {
      NSNumber(kNaN), NSNumber(kInfinity),           NSNumber(-kInfinity),
      NSNumber(-0.0), NSDecimalNumber::notANumber(), NSDecimalNumber::maximumDecimalNumber()};
  for (int i = 0; i < 40; ++i) {
    const NSNumber number = sample(random).number;
    numbers.push_back(number);
    numbers.push_back(number.decimalValue());
    numbers.push_back(NSNumber(number.doubleValue()));
    numbers.push_back(NSNumber(std::nextafter(number.doubleValue(), 0)));
  }
  for (const NSNumber& a : numbers) {
    for (const NSNumber& b : numbers) {
      ASSERT_EQ(a.compare(b), -b.compare(a)) << a << " " << b;
      if (a.compare(b) > 0) continue;
      for (const NSNumber& c : numbers) {
        if (b.compare(c) > 0) continue;
        ASSERT_LE(a.compare(c), 0) << a << " " << b << " " << c;
        ASSERT_EQ(a.compare(c) == 0, a.compare(b) == 0 && b.compare(c) == 0) << a << " " << b << " " << c;
      }
    }
  }
}

TEST(NSNumberTest, HashesOfNeighboursDiffer) {
  std::vector<std::uint64_t> seen;
  for (std::int64_t i = -500; i < 500; ++i) seen.push_back(NSNumber(i).hash());
  for (std::int64_t i = 0; i < 500; ++i) seen.push_back(NSNumber(static_cast<double>(i) + 0.5).hash());
  std::sort(seen.begin(), seen.end());
  EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end());
  // The low bits choose a table's slot.
  std::vector<int> slots(256);
  for (std::int64_t i = 0; i < 4096; ++i) ++slots[NSNumber(i << 20).hash() & 255];
  EXPECT_LT(*std::max_element(slots.begin(), slots.end()), 64);
}

TEST(NSNumberTest, CompareRaisesForNil) {
  EXPECT_EQ(raised([] { return NSNumber(1).compare(nullptr); }),
            "NSInvalidArgumentException: -[NSNumber compare:]: nil argument");
}

TEST(NSNumberTest, DecimalValues) {
  const std::pair<NSNumber, const char*> rows[] = {
      {NSNumber(true), "1"},
      {NSNumber(INT64_MIN), "-9223372036854775808"},
      {NSNumber(UINT64_MAX), "18446744073709551615"},
      {NSNumber(0x1p63), "9223372036854775808"},
      {NSNumber(-0x1p63), "-9223372036854775808"},
      {NSNumber(0.1), "0.1"},
      {NSNumber(0.1F), "0.1"},
      {NSNumber(1e23), "100000000000000000000000"},
      {NSNumber(1e20F), "100000000000000000000"},
      {NSNumber(-0.0), "0"},
      {NSNumber(1e-300), "0"},
      {NSNumber(1e300), "NaN"},
      {NSNumber(kInfinity), "NaN"},
      {NSNumber(kNaN), "NaN"},
  };
  for (const auto& [number, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(number.decimalValue().stringValue(), text);
  }
}

TEST(NSNumberTest, AnswersMessages) {
  const Class cls = objc_getClass("NSNumber");
  const NSNumber number = objc_msgSend<NSNumber>(cls, "numberWithInteger:", 1234);
  EXPECT_EQ(objc_msgSend<int>(number, "intValue"), 1234);
  EXPECT_EQ(objc_msgSend<double>(number, "doubleValue"), 1234.0);
  EXPECT_EQ(objc_msgSend<NSString>(number, "stringValue"), "1234");
  EXPECT_EQ(objc_msgSend<NSInteger>(number, "compare:", NSNumber(5)), NSOrderedDescending);
  EXPECT_TRUE(objc_msgSend<bool>(number, "isEqual:", NSNumber(1234.0)));
  EXPECT_EQ(objc_msgSend<std::uint64_t>(number, "hash"), NSNumber(1234.0).hash());
  EXPECT_TRUE(isIdentical(number.copy(), number));
  EXPECT_TRUE(objc_msgSend<NSNumber>(cls, "numberWithBool:", true).isBool());
  EXPECT_TRUE(objc_msgSend<bool>(NSNumber(true), "boolValue"));
}

}  // namespace
}  // namespace kvt
