// Every kind of JSON value into the C number types.
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <string>

#include "SetValueTest.h"

namespace kvt {
namespace {

using namespace modeltest;

// ---- numbers ----------------------------------------------------------------------------------------------

template <class T>
void expectNumber(const char* name, T SetAll::*member, const std::map<std::string, std::string>& results) {
  SCOPED_TRACE(name);
  auto meta = metaOf(classOf<SetAll>(), name);
  ASSERT_TRUE(meta);
  std::size_t used = 0;
  for (const Value& value : values()) {
    SCOPED_TRACE(value.name);
    auto found = results.find(value.name);
    used += found != results.end();
    // What is no number sets zero: nothing is left as it was.
    const std::string expected = found != results.end() ? found->second : "0";
    for (T before : {T(0), T(1), T(5)}) {
      auto model = make<SetAll>();
      model.get()->*member = before;
      ModelSetValueForProperty(model, value.value, *meta);
      const T now = model.get()->*member;
      if constexpr (std::is_floating_point_v<T>) {
        const T wanted = static_cast<T>(std::strtod(expected.c_str(), nullptr));
        EXPECT_TRUE(std::isnan(wanted) ? std::isnan(now) : now == wanted)
            << static_cast<double>(now) << " not " << expected;
      } else {
        EXPECT_EQ(std::to_string(now), expected);
      }
    }
  }
  EXPECT_EQ(used, results.size()) << "a result names no value";
}

TEST(SetValue, Bool) {
  std::map<std::string, std::string> results;
  for (const char* name :
       {"true",    "12",      "-3",         "300",       "max",          "min",         "decimal", "decimal -5.75",
        "3.75",    "-3.75",   "1e300",      "nan",       "inf",          "-inf",        "\"12\"",  "\"12px\"",
        "\"YES\"", "\"3.7\"", "\"1.0e39\"", "date text", "no date text", "mutable text"}) {
    results[name] = "1";
  }
  expectNumber("aBool", &SetAll::aBool, results);
}

/// What all integer types make of them.
const std::map<std::string, std::string> kIntegers = {
    {"true", "1"},      {"12", "12"},     {"3.75", "3"},    {"\"12\"", "12"},
    {"\"12px\"", "12"}, {"\"YES\"", "1"}, {"\"3.7\"", "3"}, {"mutable text", "12"},
};

TEST(SetValue, Int8) {
  expectNumber("anInt8", &SetAll::anInt8,
               with(kIntegers, {{"-3", "-3"},
                                {"300", "44"},
                                {"max", "-1"},
                                {"decimal", "127"},
                                {"decimal -5.75", "-5"},
                                {"-3.75", "-3"},
                                {"1e300", "127"},
                                {"inf", "127"},
                                {"-inf", "-128"},
                                {"\"1.0e39\"", "127"},
                                {"date text", "-34"},
                                {"no date text", "127"}}));
}
TEST(SetValue, UInt8) {
  expectNumber("aUInt8", &SetAll::aUInt8,
               with(kIntegers, {{"-3", "253"},
                                {"300", "44"},
                                {"max", "255"},
                                {"decimal", "255"},
                                {"1e300", "255"},
                                {"inf", "255"},
                                {"\"1.0e39\"", "255"},
                                {"date text", "222"},
                                {"no date text", "255"}}));
}
TEST(SetValue, Int16) {
  expectNumber("anInt16", &SetAll::anInt16,
               with(kIntegers, {{"-3", "-3"},
                                {"300", "300"},
                                {"max", "-1"},
                                {"decimal", "32767"},
                                {"decimal -5.75", "-5"},
                                {"-3.75", "-3"},
                                {"1e300", "32767"},
                                {"inf", "32767"},
                                {"-inf", "-32768"},
                                {"\"1.0e39\"", "32767"},
                                {"date text", "2014"},
                                {"no date text", "2014"}}));
}
TEST(SetValue, UInt16) {
  expectNumber("aUInt16", &SetAll::aUInt16,
               with(kIntegers, {{"-3", "65533"},
                                {"300", "300"},
                                {"max", "65535"},
                                {"decimal", "65535"},
                                {"1e300", "65535"},
                                {"inf", "65535"},
                                {"\"1.0e39\"", "65535"},
                                {"date text", "2014"},
                                {"no date text", "2014"}}));
}
TEST(SetValue, Int32) {
  expectNumber("anInt32", &SetAll::anInt32,
               with(kIntegers, {{"-3", "-3"},
                                {"300", "300"},
                                {"max", "-1"},
                                {"decimal", "2147483647"},
                                {"decimal -5.75", "-5"},
                                {"-3.75", "-3"},
                                {"1e300", "2147483647"},
                                {"inf", "2147483647"},
                                {"-inf", "-2147483648"},
                                {"\"1.0e39\"", "2147483647"},
                                {"date text", "2014"},
                                {"no date text", "2014"}}));
}
TEST(SetValue, UInt32) {
  expectNumber("aUInt32", &SetAll::aUInt32,
               with(kIntegers, {{"-3", "4294967293"},
                                {"300", "300"},
                                {"max", "4294967295"},
                                {"decimal", "4294967295"},
                                {"1e300", "4294967295"},
                                {"inf", "4294967295"},
                                {"\"1.0e39\"", "4294967295"},
                                {"date text", "2014"},
                                {"no date text", "2014"}}));
}
TEST(SetValue, Int64) {
  // A decimal is read by its text.
  expectNumber("anInt64", &SetAll::anInt64,
               with(kIntegers, {{"-3", "-3"},
                                {"300", "300"},
                                {"max", "-1"},
                                {"min", "-9223372036854775808"},
                                {"decimal", "9223372036854775807"},
                                {"decimal -5.75", "-5"},
                                {"-3.75", "-3"},
                                {"1e300", "9223372036854775807"},
                                {"inf", "9223372036854775807"},
                                {"-inf", "-9223372036854775808"},
                                {"\"1.0e39\"", "9223372036854775807"},
                                {"date text", "2014"},
                                {"no date text", "2014"}}));
}
TEST(SetValue, UInt64) {
  // A decimal is read by its text, and as a signed number here too.
  expectNumber("aUInt64", &SetAll::aUInt64,
               with(kIntegers, {{"-3", "18446744073709551613"},
                                {"300", "300"},
                                {"max", "18446744073709551615"},
                                {"min", "9223372036854775808"},
                                {"decimal", "9223372036854775807"},
                                {"decimal -5.75", "18446744073709551611"},
                                {"1e300", "18446744073709551615"},
                                {"inf", "18446744073709551615"},
                                {"\"1.0e39\"", "18446744073709551615"},
                                {"date text", "2014"},
                                {"no date text", "2014"}}));
}

const std::map<std::string, std::string> kFloating = {
    {"true", "1"},
    {"12", "12"},
    {"-3", "-3"},
    {"300", "300"},
    {"max", "18446744073709551615"},
    {"min", "-9223372036854775808"},
    {"decimal", "12345678901234567890123"},
    {"decimal -5.75", "-5.75"},
    {"3.75", "3.75"},
    {"-3.75", "-3.75"},
    {"\"12\"", "12"},
    {"\"12px\"", "12"},
    {"\"YES\"", "1"},
    {"\"3.7\"", "3.7"},
    {"date text", "2014"},
    {"no date text", "2014"},
    {"mutable text", "12"},
};

TEST(SetValue, Float) {
  // Beyond a float is infinite, and that is zero.
  expectNumber("aFloat", &SetAll::aFloat, kFloating);
}
TEST(SetValue, Double) {
  expectNumber("aDouble", &SetAll::aDouble, with(kFloating, {{"1e300", "1e300"}, {"\"1.0e39\"", "1e39"}}));
}
TEST(SetValue, LongDouble) {
  // The double as it is: infinite and NaN stay so.
  expectNumber(
      "aLongDouble", &SetAll::aLongDouble,
      with(kFloating, {{"1e300", "1e300"}, {"\"1.0e39\"", "1e39"}, {"nan", "nan"}, {"inf", "inf"}, {"-inf", "-inf"}}));
}

TEST(SetValue, DecimalsInto64Bits) {
  struct Decimal {
    const char* text;
    std::int64_t value;
  };
  const Decimal rows[] = {
      {"0", 0},
      {"42", 42},
      {"42.999", 42},
      {"-42.999", -42},
      {"0.9", 0},
      {"9007199254740993", 9007199254740993},
      {"9007199254740993.5", 9007199254740993},
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775807.9", INT64_MAX},
      {"9223372036854775808", INT64_MAX},
      {"18446744073709551615", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-9223372036854775809", INT64_MIN},
      {"1e20", INT64_MAX},
      {"1e3", 1000},
      {"NaN", 0},
  };
  for (const Decimal& row : rows) {
    SCOPED_TRACE(row.text);
    auto model = make<SetAll>();
    const NSDecimalNumber decimal = NSDecimalNumber::decimalNumberWithString(row.text);
    ModelSetValueForProperty(model, decimal, *metaOf(classOf<SetAll>(), "anInt64"));
    ModelSetValueForProperty(model, decimal, *metaOf(classOf<SetAll>(), "aUInt64"));
    EXPECT_EQ(model->anInt64, row.value);
    EXPECT_EQ(model->aUInt64, static_cast<std::uint64_t>(row.value));
  }
}

TEST(SetValue, ExamplesOfNumbers) {
  auto model = make<SetAll>();
  auto set = [&](const char* name, const id& value) {
    ModelSetValueForProperty(model, value, *metaOf(classOf<SetAll>(), name));
  };
  set("aBool", NSString("true"));
  EXPECT_TRUE(model->aBool);
  set("aBool", NSString("True "));
  EXPECT_FALSE(model->aBool);
  set("anInt32", NSString("3.7"));
  EXPECT_EQ(model->anInt32, 3);
  model->aDouble = 1;
  set("aDouble", NSString("1.0e400"));
  EXPECT_EQ(model->aDouble, 0);
  model->aDouble = 1;
  set("aDouble", NSString("nan"));
  EXPECT_EQ(model->aDouble, 0);
  model->anInt64 = 1;
  set("anInt64", NSNull::null());
  EXPECT_EQ(model->anInt64, 0);
  set("aDouble", NSNumber(-0.0));
  EXPECT_TRUE(std::signbit(model->aDouble));
}

}  // namespace
}  // namespace kvt
