#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <fstream>
#include <random>
#include <sstream>

#include "Raised.h"

namespace kvt {
namespace {

NSDecimalNumber D(std::string_view text) { return NSDecimalNumber::decimalNumberWithString(text); }

std::string nines(int count) { return std::string(static_cast<std::size_t>(count), '9'); }
std::string zeros(int count) { return std::string(static_cast<std::size_t>(count), '0'); }

TEST(NSDecimalNumberTest, NilAnswersNothing) {
  const NSDecimalNumber nil;
  const NSDecimalNumber one = NSDecimalNumber::one();
  EXPECT_TRUE(nil.decimalNumberByAdding(one) == nullptr);
  EXPECT_TRUE(nil.decimalNumberBySubtracting(one) == nullptr);
  EXPECT_TRUE(nil.decimalNumberByMultiplyingBy(one) == nullptr);
  EXPECT_TRUE(nil.decimalNumberByDividingBy(one) == nullptr);
  EXPECT_TRUE(nil.decimalNumberByRaisingToPower(2) == nullptr);
  EXPECT_TRUE(nil.decimalNumberByMultiplyingByPowerOf10(2) == nullptr);
  EXPECT_TRUE(nil.decimalNumberByRoundingToScale_mode(2, NSRoundPlain) == nullptr);
  EXPECT_TRUE(nil.stringValue() == nullptr);
  EXPECT_FALSE(nil.isNotANumber());
  EXPECT_FALSE(nil.isNegative());
  EXPECT_EQ(nil.doubleValue(), 0);
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithString(nullptr).isNotANumber());
  EXPECT_TRUE(NSDecimalNumber::decimalNumberWithNumber(nullptr) == nullptr);
}

TEST(NSDecimalNumberTest, NilArgumentsRaise) {
  const NSDecimalNumber one = NSDecimalNumber::one();
  EXPECT_EQ(raised([&] { return one.decimalNumberByAdding(nullptr); }),
            "NSInvalidArgumentException: -[NSDecimalNumber decimalNumberByAdding:]: nil argument");
  EXPECT_EQ(raisedName([&] { return one.decimalNumberBySubtracting(nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { return one.decimalNumberByMultiplyingBy(nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { return one.decimalNumberByDividingBy(nullptr); }), "NSInvalidArgumentException");
}

TEST(NSDecimalNumberTest, ReadsText) {
  const std::pair<std::string, std::string> rows[] = {
      {"0", "0"},
      {"-0", "0"},
      {"0.000", "0"},
      {"1", "1"},
      {"+1", "1"},
      {"-1", "-1"},
      {"12.5", "12.5"},
      {".5", "0.5"},
      {"-.5", "-0.5"},
      {"5.", "5"},
      {"007", "7"},
      {"1.50", "1.5"},
      {"1e3", "1000"},
      {"1E+3", "1000"},
      {"1.5e-3", "0.0015"},
      {"123000", "123000"},
      {" \n\t12", "12"},
      {"12abc", "12"},
      {"1.2.3", "1.2"},
      {"1,5", "1"},
      {"1e", "1"},
      {"1e+", "1"},
      {"1ex", "1"},
      {"12 34", "12"},
      {"", "NaN"},
      {" ", "NaN"},
      {"abc", "NaN"},
      {"-", "NaN"},
      {".", "NaN"},
      {"-.", "NaN"},
      {"e5", "NaN"},
      {"NaN", "NaN"},
      {"- 1", "NaN"},
      {"--1", "NaN"},
      {"0.1", "0.1"},
      {nines(38), nines(38)},
      {nines(39), "1" + zeros(39)},
      {"1" + zeros(37) + "4", "1" + zeros(38)},
      {"1" + zeros(37) + "5", "1" + zeros(36) + "10"},
      {"1" + zeros(37) + "49999999999999999999999999", "1" + zeros(63)},
      {"0." + zeros(127) + "1", "0." + zeros(127) + "1"},
      {"0." + zeros(128) + "4", "0"},
      {"0." + zeros(128) + "5", "0." + zeros(127) + "1"},
      {"1e-128", "0." + zeros(127) + "1"},
      {"1e-129", "0"},
      {"1e-99999999999999999999", "0"},
      {"1e164", "1" + zeros(164)},
      {"1e165", "NaN"},
      {"1e99999999999999999999", "NaN"},
      {"0e99999999999999999999", "0"},
      {zeros(500) + "1" + zeros(100) + "e-100", "1"},
      {"0." + zeros(300) + "1e301", "1"},
      {nines(38) + "e127", nines(38) + zeros(127)},
      {nines(38) + "4e126", nines(38) + zeros(127)},
      {nines(38) + "5e126", "NaN"},
      {"1" + zeros(164), "1" + zeros(164)},
  };
  for (const auto& [text, expected] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(D(text).stringValue(), expected);
    EXPECT_EQ(D(text).description(), expected);
  }
}

TEST(NSDecimalNumberTest, TextIsReadInLinearTime) {
  const std::string digits(1 << 22, '7');
  EXPECT_TRUE(D(digits).isNotANumber());
  EXPECT_EQ(D("0." + digits).decimalNumberByRoundingToScale_mode(3, NSRoundPlain).stringValue(), "0.778");
}

TEST(NSDecimalNumberTest, Constants) {
  EXPECT_EQ(NSDecimalNumber::zero().stringValue(), "0");
  EXPECT_EQ(NSDecimalNumber::one().stringValue(), "1");
  EXPECT_EQ(NSDecimalNumber::notANumber().stringValue(), "NaN");
  EXPECT_EQ(NSDecimalNumber::maximumDecimalNumber().stringValue(), nines(38) + zeros(127));
  EXPECT_EQ(NSDecimalNumber::minimumDecimalNumber().stringValue(), "-" + nines(38) + zeros(127));
  EXPECT_TRUE(NSDecimalNumber::minimumDecimalNumber().isNegative());
  EXPECT_FALSE(NSDecimalNumber::zero().isNegative());
  EXPECT_STREQ(NSDecimalNumber::one().objCType(), "d");
  double value = 0;
  NSDecimalNumber::one().getValue(&value);
  EXPECT_EQ(value, 1);
  EXPECT_EQ(class_getSuperclass(classOf<NSDecimalNumber>()), classOf<NSNumber>());
  EXPECT_TRUE(id(NSDecimalNumber::one()).is<NSNumber>());
  EXPECT_FALSE(id(NSNumber(1)).is<NSDecimalNumber>());
}

TEST(NSDecimalNumberTest, Mantissas) {
  using N = NSDecimalNumber;
  EXPECT_EQ(N::decimalNumberWithMantissa_exponent_isNegative(1234, -2, true).stringValue(), "-12.34");
  EXPECT_EQ(N::decimalNumberWithMantissa_exponent_isNegative(0, 5, true).stringValue(), "0");
  EXPECT_EQ(N::decimalNumberWithMantissa_exponent_isNegative(UINT64_MAX, 0, false).stringValue(),
            "18446744073709551615");
  EXPECT_EQ(raised([] { return N::decimalNumberWithMantissa_exponent_isNegative(1, 200, false); }),
            "NSDecimalNumberOverflowException: NSDecimalNumber overflow exception");
  EXPECT_EQ(raised([] { return N::decimalNumberWithMantissa_exponent_isNegative(1, -200, false); }),
            "NSDecimalNumberUnderflowException: NSDecimalNumber underflow exception");
}

TEST(NSDecimalNumberTest, Arithmetic) {
  struct Row {
    const char* a;
    char operation;
    const char* b;
    std::string result;
  };
  const Row rows[] = {
      {"0.1", '+', "0.2", "0.3"},
      {"1", '+', "-1", "0"},
      {"1e50", '+', "1", "1" + zeros(50)},
      {"1e37", '+', "0.5", "1" + zeros(36) + "1"},
      {"1e37", '+', "0.4", "1" + zeros(37)},
      {"-1e37", '+', "-0.5", "-1" + zeros(36) + "1"},
      {"1e127", '-', "1e-128", "1" + zeros(127)},
      {"5", '-', "7.25", "-2.25"},
      {"0", '-', "3", "-3"},
      {"3", '-', "0", "3"},
      {"19.99", '*', "3", "59.97"},
      {"-2", '*', "-3", "6"},
      {"0", '*', "-3", "0"},
      {"99999999999999999999999999999999999999", '*', "10", nines(38) + "0"},
      {"1", '/', "3", "0." + std::string(38, '3')},
      {"2", '/', "3", "0." + std::string(37, '6') + "7"},
      {"-2", '/', "3", "-0." + std::string(37, '6') + "7"},
      {"1", '/', "8", "0.125"},
      {"0", '/', "8", "0"},
      {"1e100", '/', "1e-20", "1" + zeros(120)},
      {"NaN", '+', "1", "NaN"},
      {"1", '-', "NaN", "NaN"},
      {"NaN", '*', "0", "NaN"},
      {"NaN", '/', "0", "NaN"},
      {"1", '/', "NaN", "NaN"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.a) + row.operation + row.b);
    const NSDecimalNumber a = D(row.a), b = D(row.b);
    const NSDecimalNumber result = row.operation == '+'   ? a.decimalNumberByAdding(b)
                                   : row.operation == '-' ? a.decimalNumberBySubtracting(b)
                                   : row.operation == '*' ? a.decimalNumberByMultiplyingBy(b)
                                                          : a.decimalNumberByDividingBy(b);
    EXPECT_EQ(result.stringValue(), row.result);
  }
}

TEST(NSDecimalNumberTest, Mishaps) {
  const NSDecimalNumber most = NSDecimalNumber::maximumDecimalNumber();
  const NSDecimalNumber least = D("1e-128");
  const NSDecimalNumber zero = NSDecimalNumber::zero();
  const NSDecimalNumber one = NSDecimalNumber::one();
  const char* const overflow = "NSDecimalNumberOverflowException";
  const char* const underflow = "NSDecimalNumberUnderflowException";
  EXPECT_EQ(raisedName([&] { return most.decimalNumberByAdding(most); }), overflow);
  EXPECT_EQ(raisedName([&] { return most.decimalNumberByMultiplyingBy(D("1.1")); }), overflow);
  EXPECT_EQ(raisedName([&] { return most.decimalNumberByDividingBy(D("0.1")); }), overflow);
  EXPECT_EQ(raisedName([&] { return D("10").decimalNumberByRaisingToPower(165); }), overflow);
  EXPECT_EQ(raisedName([&] { return D("2").decimalNumberByRaisingToPower(UINT64_MAX); }), overflow);
  EXPECT_EQ(raisedName([&] { return one.decimalNumberByMultiplyingByPowerOf10(165); }), overflow);
  EXPECT_EQ(raisedName([&] { return least.decimalNumberByMultiplyingBy(D("0.1")); }), underflow);
  EXPECT_EQ(raisedName([&] { return least.decimalNumberByDividingBy(D("3")); }), underflow);
  EXPECT_EQ(raisedName([&] { return D("0.5").decimalNumberByRaisingToPower(UINT64_MAX); }), underflow);
  EXPECT_EQ(raisedName([&] { return one.decimalNumberByMultiplyingByPowerOf10(-129); }), underflow);
  EXPECT_EQ(raised([&] { return one.decimalNumberByDividingBy(zero); }),
            "NSDecimalNumberDivideByZeroException: NSDecimalNumber divide by zero exception");
  EXPECT_EQ(raisedName([&] { return zero.decimalNumberByDividingBy(zero); }), "NSDecimalNumberDivideByZeroException");
  // What still rounds to the smallest number is none.
  EXPECT_EQ(least.decimalNumberByMultiplyingBy(D("0.5")).stringValue(), least.stringValue());

  NSDecimalNumberHandler silent;
  silent.raiseOnOverflow = silent.raiseOnUnderflow = silent.raiseOnDivideByZero = false;
  EXPECT_TRUE(most.decimalNumberByAdding_withBehavior(most, silent).isNotANumber());
  EXPECT_TRUE(one.decimalNumberByDividingBy_withBehavior(zero, silent).isNotANumber());
  EXPECT_EQ(least.decimalNumberByMultiplyingBy_withBehavior(D("0.1"), silent).stringValue(), "0");
  EXPECT_TRUE(D("2").decimalNumberByRaisingToPower_withBehavior(UINT64_MAX, silent).isNotANumber());

  NSDecimalNumberHandler exact;
  exact.raiseOnExactness = true;
  EXPECT_EQ(raisedName([&] { return one.decimalNumberByDividingBy_withBehavior(D("3"), exact); }),
            "NSDecimalNumberExactnessException");
  EXPECT_EQ(one.decimalNumberByDividingBy_withBehavior(D("4"), exact).stringValue(), "0.25");
  EXPECT_EQ(raisedName([&] { return D("1e37").decimalNumberByAdding_withBehavior(D("0.1"), exact); }),
            "NSDecimalNumberExactnessException");
}

TEST(NSDecimalNumberTest, Rounding) {
  struct Row {
    const char* value;
    std::int16_t scale;
    std::string plain, down, up, bankers;
  };
  const Row rows[] = {
      {"1.24", 1, "1.2", "1.2", "1.3", "1.2"},
      {"1.25", 1, "1.3", "1.2", "1.3", "1.2"},
      {"1.35", 1, "1.4", "1.3", "1.4", "1.4"},
      {"1.26", 1, "1.3", "1.2", "1.3", "1.3"},
      {"-1.24", 1, "-1.2", "-1.3", "-1.2", "-1.2"},
      {"-1.25", 1, "-1.3", "-1.3", "-1.2", "-1.2"},
      {"-1.35", 1, "-1.4", "-1.4", "-1.3", "-1.4"},
      {"0.5", 0, "1", "0", "1", "0"},
      {"1.5", 0, "2", "1", "2", "2"},
      {"-0.5", 0, "-1", "-1", "0", "0"},
      {"1.0000001", 0, "1", "1", "2", "1"},
      {"150", -2, "200", "100", "200", "200"},
      {"250", -2, "300", "200", "300", "200"},
      {"49", -2, "0", "0", "100", "0"},
      {"1", -40, "0", "0", "1" + zeros(40), "0"},
      {"-1", -40, "0", "-1" + zeros(40), "0", "0"},
      {"9.99", 1, "10", "9.9", "10", "10"},
      {"123.456", 10, "123.456", "123.456", "123.456", "123.456"},
      {"123.456", NSDecimalNoScale, "123.456", "123.456", "123.456", "123.456"},
      {"0", 3, "0", "0", "0", "0"},
      {"NaN", 3, "NaN", "NaN", "NaN", "NaN"},
      {"99999999999999999999999999999999999999", -1, "1" + zeros(38), nines(37) + "0", "1" + zeros(38),
       "1" + zeros(38)},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.value) + " to " + std::to_string(row.scale));
    const NSDecimalNumber value = D(row.value);
    EXPECT_EQ(value.decimalNumberByRoundingToScale_mode(row.scale, NSRoundPlain).stringValue(), row.plain);
    EXPECT_EQ(value.decimalNumberByRoundingToScale_mode(row.scale, NSRoundDown).stringValue(), row.down);
    EXPECT_EQ(value.decimalNumberByRoundingToScale_mode(row.scale, NSRoundUp).stringValue(), row.up);
    EXPECT_EQ(value.decimalNumberByRoundingToScale_mode(row.scale, NSRoundBankers).stringValue(), row.bankers);
  }
  EXPECT_EQ(raisedName([] { return D("1").decimalNumberByRoundingToScale_mode(-200, NSRoundUp); }),
            "NSDecimalNumberOverflowException");
}

TEST(NSDecimalNumberTest, RoundsOnceWithAScale) {
  // Rounded to 38 digits first, the second rounding would go up.
  NSDecimalNumberHandler cents;
  cents.scale = 2;
  const NSDecimalNumber a = D("0.00499999999999999999999999999999999999999999");
  EXPECT_EQ(a.decimalNumberByAdding_withBehavior(D("1"), cents).stringValue(), "1.01")
      << "the text itself was rounded to 38 digits, which is 0.005";
  const NSDecimalNumber b = D("0.0049999999999999999999999999999999999999");
  EXPECT_EQ(b.decimalNumberByAdding_withBehavior(D("1"), cents).stringValue(), "1");
  EXPECT_EQ(b.decimalNumberByAdding(D("1")).decimalNumberByRoundingToScale_mode(2, NSRoundPlain).stringValue(), "1.01");
}

TEST(NSDecimalNumberTest, Powers) {
  struct Row {
    const char* base;
    NSUInteger power;
    std::string result;
  };
  const Row rows[] = {
      {"2", 0, "1"},
      {"0", 0, "1"},
      {"0", 5, "0"},
      {"NaN", 2, "NaN"},
      {"2", 10, "1024"},
      {"-2", 3, "-8"},
      {"-2", 4, "16"},
      {"1.1", 2, "1.21"},
      {"10", 164, "1" + zeros(164)},
      {"0.1", 128, "0." + zeros(127) + "1"},
      {"1", UINT64_MAX, "1"},
      {"-1", UINT64_MAX, "-1"},
      // By Python's decimal module with 600 digits, rounded to 38 at the end.
      {"1.0000000001", 10000000000, "2.7182818283231311439497940012972294999"},
      {"1.0000000000000000001", UINT64_MAX, "6.3260397431407555111741292796869887183"},
      {"0.99999999999999999999999999999999999999", UINT64_MAX, "0.99999999999999999981553255926290448387"},
      {"3", 200, "265613988875874769338781322035779626829233452653394495974574961739092490901302182994384699044001"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.base) + "^" + std::to_string(row.power));
    std::string expected = row.result;
    const std::string value = D(row.base).decimalNumberByRaisingToPower(row.power).stringValue().str();
    if (expected.size() > 90) expected = D(expected).stringValue().str();
    EXPECT_EQ(value, expected);
  }
}

TEST(NSDecimalNumberTest, Readers) {
  EXPECT_EQ(D("0.1").doubleValue(), 0.1);
  EXPECT_EQ(D("-1e150").doubleValue(), -1e150);
  EXPECT_EQ(D("1e-128").doubleValue(), 1e-128);
  EXPECT_TRUE(std::isnan(D("NaN").doubleValue()));
  EXPECT_EQ(D("1e100").floatValue(), std::numeric_limits<float>::infinity());
  EXPECT_EQ(D("-1e100").floatValue(), -std::numeric_limits<float>::infinity());
  EXPECT_EQ(D("1e-100").floatValue(), 0);
  EXPECT_EQ(D("1e-45").floatValue(), 1e-45F);
  // A hair above the middle of two floats: by way of a double it would come to lie in the middle.
  EXPECT_EQ(D("1.00000005960464477539062500000000001").floatValue(), 1.00000011920928955078125F);
  // The same between doubles.
  EXPECT_EQ(D("9007199254740993.0000000000000000001").doubleValue(), 9007199254740994.0);
  EXPECT_EQ(D("9007199254740993").doubleValue(), 9007199254740992.0);
  EXPECT_EQ(D("12.9").intValue(), 12);
  EXPECT_EQ(D("-12.9").intValue(), -12);
  EXPECT_EQ(D("9223372036854775807").longLongValue(), INT64_MAX);
  EXPECT_EQ(D("-9223372036854775808").longLongValue(), INT64_MIN);
  EXPECT_EQ(D("9223372036854775808").longLongValue(), INT64_MAX);
  EXPECT_EQ(D("-1e30").longLongValue(), INT64_MIN);
  EXPECT_EQ(D("18446744073709551615").unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(D("18446744073709551616").unsignedLongLongValue(), UINT64_MAX);
  EXPECT_EQ(D("-1").unsignedLongLongValue(), 0U);
  EXPECT_EQ(D("5000000000").intValue(), INT32_MAX);
  EXPECT_EQ(D("NaN").longLongValue(), 0);
  EXPECT_TRUE(D("0.0001").boolValue());
  EXPECT_TRUE(D("NaN").boolValue());
  EXPECT_FALSE(D("0.000").boolValue());
}

TEST(NSDecimalNumberTest, EqualityAndHash) {
  const std::pair<NSNumber, NSNumber> equal[] = {
      {D("1.50"), D("1.5")},
      {D("100"), D("1e2")},
      {D("-0"), NSDecimalNumber::zero()},
      {D("NaN"), NSDecimalNumber::notANumber()},
      {D("42"), NSNumber(42)},
      {D("0.1"), NSNumber(0.1)},
      {D("0.5"), NSNumber(0.5F)},
      {D("1e22"), NSNumber(1e22)},
      {D("-9223372036854775808"), NSNumber(INT64_MIN)},
      {D("18446744073709551615"), NSNumber(UINT64_MAX)},
      {D("1"), NSNumber(true)},
  };
  int row = 0;
  for (const auto& [a, b] : equal) {
    SCOPED_TRACE(row++);
    EXPECT_TRUE(a == b);
    EXPECT_TRUE(b == a);
    EXPECT_EQ(a.hash(), b.hash());
  }
  EXPECT_FALSE(D("1") == D("1.00000000000000000001"));
  EXPECT_FALSE(D("1") == D("-1"));
  EXPECT_FALSE(D("NaN") == D("0"));
  EXPECT_EQ(D("NaN").compare(D("0")), NSOrderedAscending);
  EXPECT_EQ(D("1e-128").compare(D("0")), NSOrderedDescending);
  EXPECT_EQ(D("1e127").compare(D("1e-128")), NSOrderedDescending);
  EXPECT_EQ(D("-1e127").compare(D("1e-128")), NSOrderedAscending);
  EXPECT_EQ(D("12345678901234567890123456789012345678").compare(D("1234567890123456789012345678901234567.9")),
            NSOrderedDescending);
}

TEST(NSDecimalNumberTest, AnswersMessages) {
  const Class cls = objc_getClass("NSDecimalNumber");
  const auto a = objc_msgSend<NSDecimalNumber>(cls, "decimalNumberWithString:", NSString("2.5"));
  const auto b = objc_msgSend<NSDecimalNumber>(a, "decimalNumberByMultiplyingBy:", NSDecimalNumber::one());
  EXPECT_EQ(objc_msgSend<NSString>(b, "stringValue"), "2.5");
  EXPECT_EQ(objc_msgSend<NSDecimalNumber>(cls, "notANumber").stringValue(), "NaN");
  EXPECT_TRUE(isIdentical(a.copy(), a));
  EXPECT_TRUE(isIdentical(a.decimalValue(), a));
}

// ---- held against Python's decimal module
// -----------------------------------------------------------------------------

/// Runs the script with a file of input lines; its output lines, or none when there is no Python.
std::vector<std::string> python(const std::string& script, const std::vector<std::string>& input) {
  const std::string base = ::testing::TempDir() + "kvt-decimal-" + std::to_string(std::random_device()());
  std::ofstream(base + ".py") << script;
  {
    std::ofstream lines(base + ".in");
    for (const std::string& line : input) lines << line << '\n';
  }
  std::vector<std::string> output;
  const std::string command = "python3 '" + base + ".py' < '" + base + ".in' 2>/dev/null";
  if (FILE* pipe = ::popen(command.c_str(), "r")) {
    char buffer[4096];
    std::string line;
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
      line += buffer;
      if (line.back() != '\n') continue;
      line.pop_back();
      output.push_back(std::move(line));
      line.clear();
    }
    ::pclose(pipe);
  }
  std::remove((base + ".py").c_str());
  std::remove((base + ".in").c_str());
  return output;
}

std::string randomDecimal(std::mt19937_64& random) {
  std::string text = random() % 2 != 0 ? "-" : "";
  const auto count = random() % 8 == 0 ? 38 : 1 + random() % 38;
  for (std::size_t i = 0; i < count; ++i) {
    // Runs of 0 and 9 lead to carries and to ties.
    const auto kind = random() % 4;
    text += kind == 0 ? '0' : kind == 1 ? '9' : static_cast<char>('0' + random() % 10);
  }
  const int spread = random() % 2 != 0 ? 20 : 127;
  const int exponent = static_cast<int>(random() % static_cast<unsigned>(2 * spread)) - spread;
  return text + "e" + std::to_string(exponent);
}

constexpr const char* kArithmetic = R"(
import sys
from decimal import *
# Etiny is Emin - prec + 1 = -128, the largest exponent Emax - prec + 1 = 127.
rounding = {'0': ROUND_HALF_UP, '1': ROUND_FLOOR, '2': ROUND_CEILING, '3': ROUND_HALF_EVEN}
def context(mode):
    c = Context(prec=38, Emin=-91, Emax=164, rounding=rounding[mode], clamp=0)
    for trap in list(c.traps): c.traps[trap] = False
    return c
exact = Context(prec=20000, Emin=-99999, Emax=99999, traps=[])
def text(value, c):
    # Rounded towards zero, its overflow is the largest number.
    if c.flags[Overflow] or not value.is_finite(): return 'NaN'
    if value == 0: return '0'
    sign, digits, exponent = value.as_tuple()
    number = Decimal((sign, digits, exponent))
    result = format(number, 'f')
    if '.' in result: result = result.rstrip('0').rstrip('.')
    return result
for line in sys.stdin:
    operation, mode, a, b = line.split()
    c = context(mode)
    x = Decimal(a)
    if operation == '+': r = c.add(x, Decimal(b))
    elif operation == '-': r = c.subtract(x, Decimal(b))
    elif operation == '*': r = c.multiply(x, Decimal(b))
    elif operation == '/': r = c.divide(x, Decimal(b))
    elif operation == '^': r = c.plus(exact.power(x, int(b)))
    elif operation == 'r': r = x.quantize(Decimal(1).scaleb(-int(b)), rounding=rounding[mode], context=exact)
    elif operation == 's': r = c.create_decimal(a)
    print(text(r, c))
)";

TEST(NSDecimalNumberTest, AgreesWithPython) {
  std::mt19937_64 random(1582);
  std::vector<std::string> input, ours;
  NSDecimalNumberHandler behavior;
  behavior.raiseOnOverflow = behavior.raiseOnUnderflow = behavior.raiseOnDivideByZero = false;
  for (int i = 0; i < 30000; ++i) {
    const std::string a = randomDecimal(random);
    std::string b = randomDecimal(random);
    const auto mode = random() % 4;
    behavior.roundingMode = static_cast<NSRoundingMode>(mode);
    const NSDecimalNumber x = D(a);
    const NSDecimalNumber y = D(b);
    if (x.isNotANumber() || y.isNotANumber()) continue;
    std::string mine;
    char operation = "+-*/^rs"[random() % 7];
    switch (operation) {
      case '+': mine = x.decimalNumberByAdding_withBehavior(y, behavior).stringValue().str(); break;
      case '-': mine = x.decimalNumberBySubtracting_withBehavior(y, behavior).stringValue().str(); break;
      case '*': mine = x.decimalNumberByMultiplyingBy_withBehavior(y, behavior).stringValue().str(); break;
      case '/': mine = x.decimalNumberByDividingBy_withBehavior(y, behavior).stringValue().str(); break;
      case '^': {
        const auto power = random() % 40;
        b = std::to_string(power);
        mine = x.decimalNumberByRaisingToPower_withBehavior(power, behavior).stringValue().str();
        if (power == 0) continue;  // Python calls 0^0 undefined
        break;
      }
      case 'r': {
        const auto scale = static_cast<std::int16_t>(static_cast<int>(random() % 60) - 30);
        b = std::to_string(scale);
        mine = x.decimalNumberByRoundingToScale_mode(scale, behavior.roundingMode).stringValue().str();
        break;
      }
      default: break;
    }
    if (operation == 's') {
      // More digits than are kept, as text; Python reads it with the default mode.
      const std::string more = a.substr(0, a.find('e')) + std::to_string(random()) + a.substr(a.find('e'));
      input.push_back("s 0 " + more + " 0");
      ours.push_back(D(more).stringValue().str());
      continue;
    }
    input.push_back(std::string(1, operation) + " " + std::to_string(mode) + " " + a + " " + b);
    ours.push_back(mine);
  }
  const std::vector<std::string> theirs = python(kArithmetic, input);
  if (theirs.empty()) GTEST_SKIP() << "there is no python3 here to compare with";
  ASSERT_EQ(theirs.size(), ours.size());
  for (std::size_t i = 0; i < ours.size(); ++i) ASSERT_EQ(ours[i], theirs[i]) << input[i];
}

constexpr const char* kReaders = R"(
import sys
from decimal import *
for line in sys.stdin:
    x = Decimal(line.strip())
    print(float(x).hex(), max(-2**63, min(2**63 - 1, int(x))), max(0, min(2**64 - 1, int(x))))
)";

TEST(NSDecimalNumberTest, ReadersAgreeWithPython) {
  std::mt19937_64 random(1992);
  std::vector<std::string> input, ours;
  for (int i = 0; i < 5000; ++i) {
    const std::string text = randomDecimal(random);
    const NSDecimalNumber value = D(text);
    if (value.isNotANumber()) continue;
    input.push_back(text);
    ours.push_back(std::to_string(std::bit_cast<std::uint64_t>(value.doubleValue() + 0.0)) + " " +
                   std::to_string(value.longLongValue()) + " " + std::to_string(value.unsignedLongLongValue()));
  }
  const std::vector<std::string> theirs = python(kReaders, input);
  if (theirs.empty()) GTEST_SKIP() << "there is no python3 here to compare with";
  ASSERT_EQ(theirs.size(), ours.size());
  for (std::size_t i = 0; i < ours.size(); ++i) {
    std::istringstream fields(theirs[i]);
    std::string hex, rest;
    fields >> hex;
    std::getline(fields, rest);
    const double value = std::strtod(hex.c_str(), nullptr);
    ASSERT_EQ(ours[i], std::to_string(std::bit_cast<std::uint64_t>(value + 0.0)) + rest) << input[i];
  }
}

}  // namespace
}  // namespace kvt
