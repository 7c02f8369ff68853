#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

#include "TextSamples.h"

namespace kvt {
namespace {

TEST(NSStringNumbersTest, ReadsIntegers) {
  const struct {
    NSString text;
    int asInt;
    long long asLong;
  } rows[] = {
      {"0", 0, 0},
      {"42", 42, 42},
      {"-42", -42, -42},
      {"+42", 42, 42},
      {"  \t\n42 and more", 42, 42},
      {"\u3000\u00A042", 42, 42},
      {"42.9", 42, 42},
      {"4e2", 4, 4},
      {"", 0, 0},
      {"abc", 0, 0},
      {"-", 0, 0},
      {"- 1", 0, 0},
      {"--1", 0, 0},
      {"0x1F", 0, 0},
      {"007", 7, 7},
      {"2147483647", INT_MAX, INT_MAX},
      {"2147483648", INT_MAX, 2147483648},
      {"-2147483648", INT_MIN, INT_MIN},
      {"-2147483649", INT_MIN, -2147483649},
      {"9223372036854775807", INT_MAX, LLONG_MAX},
      {"9223372036854775808", INT_MAX, LLONG_MAX},
      {"-9223372036854775808", INT_MIN, LLONG_MIN},
      {"-9223372036854775809", INT_MIN, LLONG_MIN},
      {"99999999999999999999999999", INT_MAX, LLONG_MAX},
      {"000000000000000000000000000000012", 12, 12},
      {"42会", 42, 42},
      {"\u0664\u0662", 0, 0},  // digits of other scripts are none
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(text.intValue(), row.asInt);
      EXPECT_EQ(text.longLongValue(), row.asLong);
      EXPECT_EQ(text.integerValue(), row.asLong);
    }
  }
}

TEST(NSStringNumbersTest, ReadsFloatingNumbers) {
  const struct {
    NSString text;
    double expected;
  } rows[] = {
      {"1.5", 1.5},
      {"-1.5e3xyz", -1500},
      {" +.5", 0.5},
      {"5.", 5},
      {".", 0},
      {"-.e5", 0},
      {"1e", 1},
      {"1e+", 1},
      {"1e400", HUGE_VAL},
      {"-1e400", -HUGE_VAL},
      {"1e-400", 0},
      {"0.0001e320", HUGE_VAL},
      {"0.0001e312", 1e308},
      {"0e999999999999999999", 0},
      {"1e999999999999999999", HUGE_VAL},
      {"1e-999999999999999999", 0},
      {"4.9e-324", 4.9e-324},
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"nan", 0},
      {"inf", 0},
      {"0x10", 0},
      {"1,5", 1},
      {"0.1", 0.1},
      {"", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text.str());
    EXPECT_EQ(row.text.doubleValue(), row.expected);
    EXPECT_EQ(row.text.floatValue(), static_cast<float>(row.expected));
  }
  EXPECT_TRUE(std::signbit(NSString("-0").doubleValue()));
  const std::string tiny = "0." + std::string(400, '0') + "1", big = "1" + std::string(400, '0');
  EXPECT_EQ(NSString(tiny).doubleValue(), 0);
  EXPECT_EQ(NSString(big).doubleValue(), HUGE_VAL);
  EXPECT_EQ(NSString(tiny + "e500").doubleValue(), std::strtod((tiny + "e500").c_str(), nullptr));
}

TEST(NSStringNumbersTest, FloatingNumbersAgreeWithTheCLibrary) {
  std::mt19937_64 random(3);
  for (int i = 0; i < 2000; ++i) {
    char text[64];
    const double value = std::ldexp(static_cast<double>(random()), static_cast<int>(random() % 2000) - 1060);
    std::snprintf(text, sizeof text, i % 2 == 0 ? "%.17g" : "%.6e", value);
    ASSERT_EQ(NSString(text).doubleValue(), std::strtod(text, nullptr)) << text;
  }
}

TEST(NSStringNumbersTest, ReadsTruth) {
  const struct {
    const char* text;
    bool expected;
  } rows[] = {
      {"YES", true}, {"yes", true}, {"Y", true},      {"y", true},    {"true", true},   {"T", true},    {"1", true},
      {"9", true},   {"007", true}, {"-1", true},     {"+2", true},   {"  1", true},    {"-0Y", true},  {"00t", true},
      {"NO", false}, {"no", false}, {"false", false}, {"0", false},   {"", false},      {"000", false}, {"-", false},
      {"on", false}, {"x1", false}, {"0.1", false},   {"- 1", false}, {"\n\t y", true}, {"1x", true},   {"0x1", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(NSString(row.text).boolValue(), row.expected);
  }
}

}  // namespace
}  // namespace kvt
