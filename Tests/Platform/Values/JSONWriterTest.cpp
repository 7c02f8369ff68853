#include <KVTPlatform/Values/JSONWriter.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace kvt {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string written(std::string_view text, JSONWriter::Slashes slashes = JSONWriter::kEscapeSlashes) {
  JSONWriter out(0, slashes);
  out.string(text);
  return std::string(out.text());
}

/// One character after the other.
std::string plainlyWritten(std::string_view text, bool escapesSlashes) {
  std::string result = "\"";
  for (const char c : text) {
    switch (c) {
      case '"': result += "\\\""; break;
      case '\\': result += "\\\\"; break;
      case '/': result += escapesSlashes ? "\\/" : "/"; break;
      case '\b': result += "\\b"; break;
      case '\f': result += "\\f"; break;
      case '\n': result += "\\n"; break;
      case '\r': result += "\\r"; break;
      case '\t': result += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char escape[8];
          std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
          result += escape;
        } else {
          result += c;
        }
    }
  }
  return result + "\"";
}

TEST(JSONWriter, EscapesStrings) {
  struct {
    std::string_view text;
    std::string_view json;
  } const rows[] = {
      {"", R"("")"},
      {"plain", R"("plain")"},
      {"\"", R"("\"")"},
      {"\\", R"("\\")"},
      {"a/b", R"("a\/b")"},
      {"\b\f\n\r\t", R"("\b\f\n\r\t")"},
      {"\0"sv, R"("\u0000")"},
      {"\x01\x0B\x1F", R"("\u0001\u000b\u001f")"},
      {"\x7F", "\"\x7F\""},
      {"é€😀", "\"é€😀\""},
      {"\u2028\u2029", "\"\u2028\u2029\""},
      {"text of more than one block, plain", R"("text of more than one block, plain")"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    EXPECT_EQ(written(row.text), row.json);
  }
  EXPECT_EQ(written("a/b\n/", JSONWriter::kPlainSlashes), R"("a/b\n/")");
}

TEST(JSONWriter, EscapesAtEveryOffset) {
  for (const std::string_view special : {"\""sv, "\\"sv, "/"sv, "\n"sv, "\0"sv, "\x1F"sv, "é"sv}) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (std::size_t behind = 0; behind < 40; ++behind) {
        const std::string text = std::string(before, 'a') + std::string(special) + std::string(behind, 'z');
        ASSERT_EQ(written(text), plainlyWritten(text, true));
        ASSERT_EQ(written(text, JSONWriter::kPlainSlashes), plainlyWritten(text, false));
      }
    }
  }
}

TEST(JSONWriter, EscapesRandomTextLikeThePlainWay) {
  std::mt19937 random(7);
  for (int i = 0; i < 3000; ++i) {
    std::string text(random() % 300, ' ');
    const auto density = 1 + random() % 40;
    for (char& c : text) c = static_cast<char>(random() % density == 0 ? random() % 0x80 : 'a' + random() % 26);
    ASSERT_EQ(written(text), plainlyWritten(text, true));
  }
}

TEST(JSONWriter, GrowsWithWhatIsAppended) {
  JSONWriter out;
  std::string expected;
  for (int i = 0; i < 2000; ++i) {
    const std::string text(static_cast<std::size_t>(i % 97), i % 3 == 0 ? '\x01' : 'x');
    out.string(text);
    expected += plainlyWritten(text, true);
    out.character(',');
    expected += ',';
    out.spaces(static_cast<std::size_t>(i % 5));
    expected += std::string(static_cast<std::size_t>(i % 5), ' ');
    out.raw("");
    out.raw("null");
    expected += "null";
  }
  EXPECT_EQ(out.text(), expected);
  std::size_t size = 0;
  const auto bytes = out.detach(size);
  EXPECT_EQ(std::string_view(bytes.get(), size), expected);
  EXPECT_EQ(out.text(), "");
  out.boolean(true);
  out.boolean(false);
  out.null();
  EXPECT_EQ(out.text(), "truefalsenull");
  out.clear();
  EXPECT_EQ(out.size(), 0u);
}

TEST(JSONWriter, WritesIntegers) {
  JSONWriter out;
  out.integer(0);
  out.character(' ');
  out.integer(-1);
  out.character(' ');
  out.integer(INT64_MAX);
  out.character(' ');
  out.integer(INT64_MIN);
  out.character(' ');
  out.unsignedInteger(UINT64_MAX);
  EXPECT_EQ(out.text(), "0 -1 9223372036854775807 -9223372036854775808 18446744073709551615");
}

std::string writtenReal(double value) {
  JSONWriter out;
  EXPECT_TRUE(out.real(value));
  return std::string(out.text());
}

TEST(JSONWriter, WritesRealsShortest) {
  struct {
    double value;
    std::string_view json;
  } const rows[] = {
      {0.0, "0"},
      {-0.0, "-0"},
      {3.0, "3"},
      {-3.0, "-3"},
      {100000.0, "100000"},
      {123456789012.0, "123456789012"},
      {72057594037927936.0, "72057594037927936"},
      {99999999999999984.0, "99999999999999984"},
      {1e17, "1e+17"},
      {1e20, "1e+20"},
      {1.5e300, "1.5e+300"},
      {0.1, "0.1"},
      {-0.1, "-0.1"},
      {0.30000000000000004, "0.30000000000000004"},
      {1.0 / 3, "0.3333333333333333"},
      {123.456, "123.456"},
      {0.0001, "0.0001"},
      {0.00012345, "0.00012345"},
      {0.00001, "1e-05"},
      {1.5e-10, "1.5e-10"},
      {static_cast<double>(0.1f), "0.10000000149011612"},
      {std::numeric_limits<double>::max(), "1.7976931348623157e+308"},
      {std::numeric_limits<double>::denorm_min(), "5e-324"},
      {2.2250738585072014e-308, "2.2250738585072014e-308"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    EXPECT_EQ(writtenReal(row.value), row.json);
  }
  JSONWriter out;
  EXPECT_FALSE(out.real(std::numeric_limits<double>::infinity()));
  EXPECT_FALSE(out.real(-std::numeric_limits<double>::infinity()));
  EXPECT_FALSE(out.real(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_EQ(out.text(), "");
}

TEST(JSONWriter, WritesRealsThatReadBack) {
  std::mt19937_64 random(11);
  for (int i = 0; i < 50000; ++i) {
    double value = std::bit_cast<double>(random());
    if (i % 3 == 0) value = static_cast<double>(static_cast<std::int64_t>(random())) / 1e6;
    if (i % 7 == 0) value = static_cast<double>(random() >> (random() % 64));
    if (!std::isfinite(value)) continue;
    const std::string text = writtenReal(value);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)), std::bit_cast<std::uint64_t>(value))
        << text;
    // No other digits of a smaller number do: those of %g with one digit less are the nearest ones.
    std::size_t digits = 0;
    for (const char c : text.substr(0, text.find('e'))) digits += c >= '0' && c <= '9' ? 1 : 0;
    if (text.find_first_of(".e") == std::string::npos || digits < 2 || text.starts_with("0") ||
        text.starts_with("-0")) {
      continue;
    }
    char shorter[64];
    std::snprintf(shorter, sizeof shorter, "%.*g", static_cast<int>(digits - 1), value);
    ASSERT_NE(std::strtod(shorter, nullptr), value) << text;
  }
}

}  // namespace
}  // namespace kvt
