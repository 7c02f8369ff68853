#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdio>

#include "Raised.h"

namespace kvt {
namespace {

template <class... A>
std::string formatted(const NSString& format, const A&... arguments) {
  return NSString::stringWithFormat(format, arguments...).str();
}

class Thing : public NSObject {
 public:
  NSString description() const { return "a thing"; }
  KVT_CLASS(Thing)
};

enum class Level : std::uint8_t { kHigh = 200 };

TEST(NSStringFormatTest, FillsInWhatFits) {
  const NSString nil;
  const char* const noText = nullptr;
  const std::string text = "std";
  const struct {
    std::string result;
    const char* expected;
  } rows[] = {
      {formatted("plain"), "plain"},
      {formatted(""), ""},
      {formatted("100%%"), "100%"},
      {formatted("%@", "x"_ns), "x"},
      {formatted("%@ and %@", "会议"_ns, make<Thing>()), "会议 and a thing"},
      {formatted("%@", nil), "(null)"},
      {formatted("%@", nullptr), "(null)"},
      {formatted("%@", NSNumber(7)), "7"},
      {formatted("%@", classOf<NSString>()), "NSString"},
      {formatted("%d %i", 42, -7), "42 -7"},
      {formatted("%ld %lld %zd %qd", INT64_MIN, INT64_MAX, std::ptrdiff_t{-1}, 5LL),
       "-9223372036854775808 9223372036854775807 -1 5"},
      {formatted("%u %lu %llu", 42u, 43ul, UINT64_MAX), "42 43 18446744073709551615"},
      {formatted("%x %X %o", 255, 255, 8), "ff FF 10"},
      {formatted("%#x %#X %#o %#x", 255, 255, 8, 0), "0xff 0XFF 010 0"},
      {formatted("%x", -1), "ffffffff"},
      {formatted("%x", static_cast<std::int8_t>(-1)), "ff"},
      {formatted("%lx", -1L), "ffffffffffffffff"},
      {formatted("%u", -1), "4294967295"},
      {formatted("%d", 4294967295u), "-1"},
      {formatted("%hhd %hd %hhu", 257, 65537, 511), "1 1 255"},
      {formatted("%d", Level::kHigh), "-56"},
      {formatted("%u", Level::kHigh), "200"},
      {formatted("%d %d", true, 'a'), "1 97"},
      {formatted("%c%c", 'a', 0xE9), "a\u00E9"},
      {formatted("%C%C", u'会', char16_t{0x8BAE}), "会议"},
      {formatted("%C%C|", char16_t{0xD83D}, char16_t{0xDE00}), "\U0001F600|"},
      {formatted("%C", U'\U0001F600'), "\U0001F600"},
      {formatted("%s %s %s", "c", text, std::string_view("view")), "c std view"},
      {formatted("%s %S", noText, u"会议"), "(null) 会议"},
      {formatted("%s", SEL("setName:")), "setName:"},
      {formatted("%s", "bad\xFFtext"), "bad\uFFFDtext"},
      {formatted("%p", static_cast<void*>(nullptr)), "0x0"},
      {formatted("%p", reinterpret_cast<void*>(0xABCD)), "0xabcd"},
      {formatted("%f %.2f %e %g", 1.5, 2.345678, 12345.678, 0.0001), "1.500000 2.35 1.234568e+04 0.0001"},
      {formatted("%F %E %G %a %A", 1.5, 1.5, 1e30, 1.5, 1.5), "1.500000 1.500000E+00 1E+30 0x1.8p+0 0X1.8P+0"},
      {formatted("%f %f %F", HUGE_VAL, -HUGE_VAL, std::nan("")), "inf -inf NAN"},
      {formatted("%.1f", 2.5f), "2.5"},
      {formatted("%.3Lf", 2.5L), "2.500"},
      {formatted("%.0f %#.0f", 0.5, 1.0), "0 1."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(row.result, row.expected);
  }
}

TEST(NSStringFormatTest, KeepsWidthsPrecisionsAndPositions) {
  const struct {
    std::string result;
    const char* expected;
  } rows[] = {
      {formatted("[%5d]", 42), "[   42]"},
      {formatted("[%-5d]", 42), "[42   ]"},
      {formatted("[%05d]", -42), "[-0042]"},
      {formatted("[%-05d]", 42), "[42   ]"},
      {formatted("[%+d % d]", 42, 42), "[+42  42]"},
      {formatted("[%.5d]", 42), "[00042]"},
      {formatted("[%8.5d]", -42), "[  -00042]"},
      {formatted("[%08.5d]", 42), "[   00042]"},
      {formatted("[%.0d]", 0), "[]"},
      {formatted("[%#010x]", 255), "[0x000000ff]"},
      {formatted("[%8.2f]", -3.14159), "[   -3.14]"},
      {formatted("[%08.2f]", -3.14159), "[-0003.14]"},
      {formatted("[%08f]", HUGE_VAL), "[     inf]"},
      {formatted("[%020a]", 1.0), "[0x000000000000001p+0]"},
      {formatted("[%5s]", "ab"), "[   ab]"},
      {formatted("[%-5s]", "ab"), "[ab   ]"},
      {formatted("[%.2s]", "abc"), "[ab]"},
      {formatted("[%.4s]", "会议"), "[会]"},      // bytes, no character cut
      {formatted("[%5s]", "会议"), "[   会议]"},  // a field counts characters
      {formatted("[%5@]", "会议"_ns), "[   会议]"},
      {formatted("[%-5@]", "ab"_ns), "[ab   ]"},
      {formatted("[%.1@]", "会议"_ns), "[会]"},
      {formatted("[%.1@]", "\U0001F600x"_ns), "[]"},
      {formatted("[%.2@]", "\U0001F600x"_ns), "[\U0001F600]"},
      {formatted("[%.2S]", u"abc"), "[ab]"},
      {formatted("[%3c]", 'a'), "[  a]"},
      {formatted("[%*d]", 5, 42), "[   42]"},
      {formatted("[%*d]", -5, 42), "[42   ]"},
      {formatted("[%.*f]", 2, 3.14159), "[3.14]"},
      {formatted("[%.*d]", -1, 7), "[7]"},
      {formatted("[%*.*f]", 8, 2, 3.14159), "[    3.14]"},
      {formatted("%2$@ %1$@", "a"_ns, "b"_ns), "b a"},
      {formatted("%1$d %1$x", 255), "255 ff"},
      {formatted("%2$*1$d|", 5, 42), "   42|"},
      {formatted("%2$@ %@ %@", "a"_ns, "b"_ns), "b a b"},  // positions do not move the order
      {formatted("[%16p]", reinterpret_cast<void*>(0xABCD)), "[          0xabcd]"},
      {formatted("%'d", 1234567), "1234567"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(row.result, row.expected);
  }
}

TEST(NSStringFormatTest, IsSafeWhereArgumentsDoNotFit) {
  const struct {
    std::string result;
    const char* expected;
  } rows[] = {
      // The other kind of number.
      {formatted("%d", 3.7), "3"},
      {formatted("%d", -3.7), "-3"},
      {formatted("%d", 1e300), "9223372036854775807"},
      {formatted("%d", std::nan("")), "0"},
      {formatted("%f", 3), "3.000000"},
      {formatted("%.1f", UINT64_MAX), "18446744073709551615.0"},
      {formatted("%ld", static_cast<short>(-3)), "-3"},
      {formatted("%d", INT64_MAX), "9223372036854775807"},
      // What is no number, in its own way.
      {formatted("%d", "text"), "text"},
      {formatted("%d", "text"_ns), "text"},
      {formatted("%x", make<Thing>()), "a thing"},
      {formatted("%f", nullptr), "(null)"},
      {formatted("%s", "object"_ns), "object"},
      {formatted("%s", 42), "42"},
      {formatted("%@", 42), "42"},
      {formatted("%@", -1.5), "-1.5"},
      {formatted("%@", "c text"), "c text"},
      {formatted("%@", u"utf16"), "utf16"},
      {formatted("%@", true), "1"},
      {formatted("%@", UINT64_MAX), "18446744073709551615"},
      {formatted("%s", reinterpret_cast<void*>(0x10)), "0x10"},
      {formatted("%c", "text"), "text"},
      // No argument, or nothing that is a conversion: as it stands.
      {formatted("%d %@", 1), "1 %@"},
      {formatted("%d"), "%d"},
      {formatted("%3$d", 1), "%3$d"},
      {formatted("%*d", 1), "%*d"},
      {formatted("%*d", "x"), "%*d"},
      {formatted("%n %k %", 1, 2), "%n %k %"},
      {formatted("%-08.3ly%d", 5), "%-08.3ly5"},
      {formatted("%y%d", 5), "%y5"},
      {formatted("50% of %d", 5), "505f %d"},  // "% o" is an octal number
      {formatted("", 1, 2, 3), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected);
    EXPECT_EQ(row.result, row.expected);
  }
  EXPECT_EQ(NSString::stringWithFormat("%2000000000d", 1).length(), 1048576u);
  EXPECT_EQ(NSString::stringWithFormat("%.99999999999999999999f", 1.0).length(), 1048578u);
}

TEST(NSStringFormatTest, AgreesWithTheCLibrary) {
  const char* const flags[] = {"", "-", "+", " ", "0", "#", "-+", "0+", "#0", "- #"};
  const char* const fields[] = {"", "1", "7", "20", ".0", ".3", "9.4", "12.0", ".12"};
  const long long integers[] = {0, 1, -1, 9, 255, -300, 123456789, INT64_MAX, INT64_MIN};
  const double numbers[] = {0, -0.0, 1, -1.5, 0.1, 123456.789, 1e-10, -1e22, 1e300, 2.5};
  char expected[1024];
  int compared = 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  for (const char* flag : flags) {
    for (const char* field : fields) {
      for (const char type : {'d', 'u', 'x', 'X', 'o'}) {
        const std::string format = std::string("%") + flag + field + "ll" + type;
        for (const long long value : integers) {
          std::snprintf(expected, sizeof expected, format.c_str(), value);
          ASSERT_EQ(formatted(NSString(format), value), expected) << format << " " << value;
          ++compared;
        }
      }
      for (const char type : {'f', 'e', 'G', 'a'}) {
        const std::string format = std::string("%") + flag + field + type;
        for (const double value : numbers) {
          std::snprintf(expected, sizeof expected, format.c_str(), value);
          ASSERT_EQ(formatted(NSString(format), value), expected) << format << " " << value;
          ++compared;
        }
      }
    }
  }
#pragma GCC diagnostic pop
  EXPECT_GT(compared, 7000);
}

TEST(NSStringFormatTest, AppendsAndKeepsItsWay) {
  const NSMutableString text = NSMutableString::stringWithFormat("%d", 1);
  text.appendFormat("-%@", "b"_ns);
  EXPECT_EQ(text, "1-b");
  EXPECT_TRUE(id(text).is<NSMutableString>());
  NSMutableString().appendFormat("%d", 1);
  // A lone surrogate goes through.
  EXPECT_EQ(NSString::stringWithFormat("a%Cb", char16_t{0xD800}).u16str(), (std::u16string{u'a', 0xD800, u'b'}));
  EXPECT_EQ(NSString::stringWithFormat("%@", NSString(std::u16string(1, 0xDC00))).length(), 1u);
  // Whatever the host's locale says, the point is a point.
  const std::string before = std::setlocale(LC_ALL, nullptr);
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "C.UTF-8"}) {
    if (std::setlocale(LC_ALL, name) == nullptr) continue;
    EXPECT_EQ(formatted("%.2f", 1.25), "1.25") << name;
  }
  std::setlocale(LC_ALL, before.c_str());
  const FormatArgument list[] = {"a", 2};
  EXPECT_EQ(NSString::stringWithFormat_arguments("%@ %d", list, 2), "a 2");
  EXPECT_EQ(NSString::stringWithFormat_arguments("%@ %d", list, 1), "a %d");
}

}  // namespace
}  // namespace kvt
