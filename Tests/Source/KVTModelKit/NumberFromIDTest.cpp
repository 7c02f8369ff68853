// Which number a JSON value is.
#include <KVTFoundation/KVTModelKit/ModelValue.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "ModelKitTest.h"

namespace kvt {
namespace {

NSNumber numberOf(std::string_view text) { return KVTNSNumberCreateFromID(NSString(text)); }

TEST(NumberFromID, Words) {
  struct Row {
    const char* word;
    int value;  // -1: no number
  };
  const Row rows[] = {
      {"TRUE", 1},    {"True", 1},    {"true", 1},    {"YES", 1},     {"Yes", 1},     {"yes", 1},
      {"FALSE", 0},   {"False", 0},   {"false", 0},   {"NO", 0},      {"No", 0},      {"no", 0},
      {"NIL", -1},    {"Nil", -1},    {"nil", -1},    {"NULL", -1},   {"Null", -1},   {"null", -1},
      {"(NULL)", -1}, {"(Null)", -1}, {"(null)", -1}, {"<NULL>", -1}, {"<Null>", -1}, {"<null>", -1},
  };
  EXPECT_EQ(std::size(rows), 24u);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.word);
    NSNumber number = numberOf(row.word);
    if (row.value < 0) {
      EXPECT_FALSE(number);
    } else {
      ASSERT_TRUE(number);
      EXPECT_TRUE(number.isBool());
      EXPECT_EQ(number.boolValue(), row.value == 1);
    }
    // The table is exact: nothing may stand around a word.
    for (const std::string& text :
         {" " + std::string(row.word), std::string(row.word) + " ", std::string(row.word) + "\n"}) {
      number = numberOf(text);
      ASSERT_TRUE(number) << text;
      EXPECT_FALSE(number.isBool()) << text;
      EXPECT_EQ(number.longLongValue(), 0) << text;
    }
  }
}

TEST(NumberFromID, WordsOfAnotherSpellingAreTextWithoutANumber) {
  for (const char* word : {"tRUE", "TRue",   "yES",    "yeS",   "YEs",   "fALSE", "nO",    "nIL",      "NULl",
                           "nULL", "(NUll)", "<nULL>", "(nil)", "<nil>", "null)", "(null", "[null]",   "on",
                           "off",  "t",      "y",      "T",     "Y",     "f",     "n",     "undefined"}) {
    SCOPED_TRACE(word);
    NSNumber number = numberOf(word);
    ASSERT_TRUE(number);
    EXPECT_FALSE(number.isBool());
    EXPECT_EQ(number, NSNumber(0));
  }
}

TEST(NumberFromID, MutableTextIsText) {
  EXPECT_EQ(KVTNSNumberCreateFromID(NSMutableString::stringWithString("true")), NSNumber(true));
  EXPECT_FALSE(KVTNSNumberCreateFromID(NSMutableString::stringWithString("<null>")));
  EXPECT_EQ(KVTNSNumberCreateFromID(NSMutableString::stringWithString("-8")), NSNumber(-8));
}

TEST(NumberFromID, TextWithoutAPointIsASignedInteger) {
  struct Row {
    std::string text;
    std::int64_t value;
  };
  const Row rows[] = {
      {"0", 0},
      {"7", 7},
      {"-7", -7},
      {"+7", 7},
      {"-0", 0},
      {"007", 7},
      {"12px", 12},
      {"12 34", 12},
      {"1,000", 1},
      {"1_000", 1},
      {"1e5", 1},
      {"1E5", 1},
      {"abc", 0},
      {"", 0},
      {" ", 0},
      {"\t\n", 0},
      {"-", 0},
      {"+", 0},
      {"--5", 0},
      {"+-5", 0},
      {"- 5", 0},
      {"e5", 0},
      {"$5", 0},
      {"0x10", 0},
      {"0X10", 0},
      {"0b1", 0},
      {"010", 10},
      {"nan", 0},
      {"NaN", 0},
      {"inf", 0},
      {"-inf", 0},
      {"Infinity", 0},
      {"True ", 0},
      // White space in front is skipped, every kind that C knows.
      {" 12", 12},
      {"   -12", -12},
      {"\t12", 12},
      {"\n12", 12},
      {"\v\f\r 12", 12},
      {"12\n", 12},
      {"\u00A012", 0},  // no-break space is none of them
      {"\uFEFF12", 0},  // nor is a byte order mark
      // Digits of other alphabets are none.
      {"\u0661\u0662", 0},
      {"\uFF11\uFF12", 0},
      {"1\uFF12", 1},
      {"\u221212", 0},  // a minus sign that is no hyphen
      // The ends of the type.
      {"9223372036854775806", INT64_MAX - 1},
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", INT64_MAX},
      {"18446744073709551615", INT64_MAX},
      {"99999999999999999999999999", INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-9223372036854775809", INT64_MIN},
      {"-99999999999999999999999999", INT64_MIN},
      {"00000000000000000000000000000000000000005", 5},
      // What stands behind a NUL is not read.
      {std::string("12\0"
                   "34",
                   5),
       12},
      {std::string("\0"
                   "12",
                   3),
       0},
      {std::string("true\0", 5), 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    NSNumber number = numberOf(row.text);
    ASSERT_TRUE(number);
    EXPECT_EQ(number.longLongValue(), row.value);
    EXPECT_FALSE(number.isFloatingPoint());
    EXPECT_FALSE(number.isBool());
    EXPECT_STREQ(number.objCType(), "q");
  }
}

TEST(NumberFromID, TextWithAPointIsADouble) {
  const double kTiny = std::numeric_limits<double>::denorm_min();
  struct Row {
    std::string text;
    double value;
  };
  const Row rows[] = {
      {"3.7", 3.7},
      {"-3.7", -3.7},
      {"+3.7", 3.7},
      {"3.", 3},
      {".5", 0.5},
      {"-.5", -0.5},
      {".", 0},
      {"-.", 0},
      {"..5", 0},
      {"0.0", 0},
      {"-0.0", -0.0},
      {"1.5e3", 1500},
      {"1.5E3", 1500},
      {"1.5e+3", 1500},
      {"1.5e-3", 0.0015},
      {"1.5e", 1.5},
      {"1.5e+", 1.5},
      {"1e2.5", 100},
      {"1.2.3", 1.2},
      {"1.5px", 1.5},
      {"1,5.5", 1},
      {"192.168.0.1", 192.168},
      {"abc.def", 0},
      {"v1.5", 0},
      {"http://a.b", 0},
      {"true.", 0},
      {"null.", 0},
      {" 1.5", 1.5},
      {"\t\n\v\f\r 1.5", 1.5},
      {"1.5 ", 1.5},
      {"1 .5", 1},
      {"0x1.8p1", 3},  // C reads hexadecimal
      {"0X.8", 0.5},
      {"0x.", 0},
      {"0x1p4.", 16},
      {"12345678901234567890.5", 12345678901234567890.5},
      {"0.1", 0.1},
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"4.9406564584124654e-324", kTiny},
      {"1.0e-400", 0},
      {"-1.0e-400", -0.0},
      {"9007199254740993.", 9007199254740992.0},
      {"12.\xEF\xBC\x91", 12},
      {std::string("1.5\0"
                   "7",
                   5),
       1.5},
      {std::string("1\0.5", 4), 1},
      {std::string("\0.5", 3), 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    NSNumber number = numberOf(row.text);
    ASSERT_TRUE(number);
    EXPECT_TRUE(number.isFloatingPoint());
    EXPECT_STREQ(number.objCType(), "d");
    EXPECT_EQ(number.doubleValue(), row.value);
    EXPECT_EQ(std::signbit(number.doubleValue()), std::signbit(row.value));
  }
}

TEST(NumberFromID, InfiniteAndNaNAreNoNumbers) {
  for (const char* text : {"1.0e400", "-1.0e400", "1.0e99999999999", "inf.", "-inf.", "+inf.", "INF.", "infinity.",
                           "INFINITY.x", "nan.", "NaN.", "-nan.", "nan(1.5)", "nan(a.b)", " inf.", "0x1.p99999"}) {
    EXPECT_FALSE(numberOf(text)) << text;
  }
}

TEST(NumberFromID, TextWithoutUTF8IsNoNumber) {
  // Half a surrogate pair has no UTF-8 form.
  EXPECT_FALSE(KVTNSNumberCreateFromID(NSString(std::u16string_view(u"12\xD800", 3))));
  EXPECT_FALSE(KVTNSNumberCreateFromID(NSString(std::u16string_view(u"1.5\xDC00", 4))));
  EXPECT_EQ(KVTNSNumberCreateFromID(NSString(u"12\U0001F600")), NSNumber(12));
}

TEST(NumberFromID, NumbersAreReturnedAsTheyAre) {
  const NSNumber rows[] = {
      true,
      false,
      0,
      -1,
      7,
      INT64_MIN,
      UINT64_MAX,
      1.5f,
      -2.5,
      std::numeric_limits<double>::infinity(),
      std::numeric_limits<double>::quiet_NaN(),
      NSDecimalNumber::decimalNumberWithString("12345678901234567890123.5"),
      NSDecimalNumber::notANumber(),
  };
  for (const NSNumber& row : rows) EXPECT_TRUE(isIdentical(KVTNSNumberCreateFromID(row), row)) << row;
}

TEST(NumberFromID, EverythingElseIsNoNumber) {
  const id rows[] = {
      nullptr,
      NSNull::null(),
      NSArray{1},
      NSDictionary{{"a", 1}},
      NSSet{1},
      NSData(std::string_view("12")),
      NSDate::date(),
      NSURL::URLWithString("12"),
      NSValue::valueWithPointer(nullptr),
      NSValue::valueWithSize({1, 2}),
      classOf<NSNumber>(),
      Block<void()>([] {}),
      id(adopt, class_createInstance(classOf<NSObject>())),
  };
  for (const id& row : rows) EXPECT_FALSE(KVTNSNumberCreateFromID(row)) << row;
}

/// Makes a locale whose decimal point is a comma, and switches to it; false where the C library has no means to.
bool switchToDecimalComma() {
  const std::string folder = testing::TempDir() + "/kvt-locales", source = folder + "/comma.src";
  std::filesystem::create_directories(folder);
  std::ofstream(source)
      << "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\ngrouping 3;3\nEND LC_NUMERIC\n";
  const std::string command = "localedef --no-archive -c -i '" + source + "' '" + folder + "/comma' > /dev/null 2>&1";
  static_cast<void>(std::system(command.c_str()));  // it warns of the other categories, and says so by its status
  setenv("LOCPATH", folder.c_str(), 1);
  const char* name = std::setlocale(LC_NUMERIC, "comma");
  unsetenv("LOCPATH");
  return name != nullptr && *std::localeconv()->decimal_point == ',';
}

TEST(NumberFromID, TheLocaleChangesNothing) {
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  if (!switchToDecimalComma()) GTEST_SKIP() << "no locale with a decimal comma can be made here";
  EXPECT_EQ(std::atof("3.75"), 3) << "the C library reads otherwise now";
  const NSNumber point = numberOf("3.75"), comma = numberOf("3,75"), both = numberOf("1.234,5");
  std::setlocale(LC_NUMERIC, before.c_str());
  EXPECT_EQ(point, NSNumber(3.75));
  EXPECT_EQ(comma, NSNumber(3));
  EXPECT_EQ(both, NSNumber(1.234));
}

}  // namespace
}  // namespace kvt
