#include <KVTPlatform/Values/JSONReader.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace kvt {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::string digitsOf(JSONMantissa mantissa) {
  std::string digits;
  do {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(mantissa % 10)));
    mantissa /= 10;
  } while (mantissa != 0);
  return digits;
}

std::string hexReal(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%a", value);
  return text;
}

/// Writes down what it is told: `i1 u2 r0x1p+0 d12e3 "text" key: { } [ ] true null`.
struct Recorder {
  void startObject() { add("{"); }
  void key(const JSONText& text) {
    check(text);
    add(std::string(text.bytes) + ":");
  }
  void endObject() { add("}"); }
  void startArray() { add("["); }
  void endArray() { add("]"); }
  void string(const JSONText& text) {
    check(text);
    add("\"" + std::string(text.bytes) + "\"");
  }
  void integer(std::int64_t value) { add("i" + std::to_string(value)); }
  void unsignedInteger(std::uint64_t value) { add("u" + std::to_string(value)); }
  void real(double value) { add("r" + hexReal(value)); }
  void decimal(const JSONDecimal& value) {
    add((value.negative ? "d-" : "d") + digitsOf(value.mantissa) + "e" + std::to_string(value.exponent));
  }
  void boolean(bool value) { add(value ? "true" : "false"); }
  void null() { add("null"); }

  void check(const JSONText& text) {
    const bool ascii =
        std::all_of(text.bytes.begin(), text.bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii != text.ascii) add("(wrongly " + std::string(text.ascii ? "" : "not ") + "ASCII)");
  }
  void add(const std::string& token) {
    if (!trace.empty()) trace += ' ';
    trace += token;
  }
  std::string trace;
};

struct Outcome {
  std::string trace;
  JSONFailure failure;
};

/// Reads a copy that fills its allocation, so that a sanitizer sees every byte that is read beyond it.
Outcome read(std::string_view text) {
  auto exact = std::make_unique<char[]>(text.size());
  std::copy(text.begin(), text.end(), exact.get());
  JSONCursor cursor(std::string_view(exact.get(), text.size()));
  Recorder recorder;
  const bool done = readJSON(cursor, recorder);
  EXPECT_EQ(done, !cursor.failed());
  return {recorder.trace, cursor.failure()};
}

std::string traceOf(std::string_view text) {
  Outcome outcome = read(text);
  if (outcome.failure.error != JSONError::kNone) return jsonErrorMessage(text, outcome.failure);
  return outcome.trace;
}

std::string nested(std::size_t depth, std::string_view opening, std::string_view inner, std::string_view closing) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += opening;
  text += inner;
  for (std::size_t i = 0; i < depth; ++i) text += closing;
  return text;
}

TEST(JSONReader, ReadsValues) {
  struct {
    std::string_view text;
    std::string_view trace;
  } const rows[] = {
      {"[]", "[ ]"},
      {"{}", "{ }"},
      {" \t\r\n[ \t\r\n] \t\r\n", "[ ]"},
      {"[1,-2,3]", "[ i1 i-2 i3 ]"},
      {"[true,false,null]", "[ true false null ]"},
      {"{\"a\":1,\"b\":{\"c\":[]},\"a\":2}", "{ a: i1 b: { c: [ ] } a: i2 }"},
      {"{ \"a\" : 1 , \"b\" : [ 2 , 3 ] }", "{ a: i1 b: [ i2 i3 ] }"},
      {"{\"\":\"\"}", "{ : \"\" }"},
      {"[[[]],[{}]]", "[ [ [ ] ] [ { } ] ]"},
      {"{\n                    \"a\":\n                                   1\n}", "{ a: i1 }"},
      // Fragments are for the caller to allow or not.
      {"1", "i1"},
      {" -12 ", "i-12"},
      {"true", "true"},
      {"false\n", "false"},
      {"null", "null"},
      {"\"\"", "\"\""},
      {"\"text\"", "\"text\""},
      {"\"a string that is longer than one block of sixteen\"",
       "\"a string that is longer than one block of sixteen\""},
      {"1.5", "r0x1.8p+0"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(traceOf(row.text), row.trace);
  }
}

TEST(JSONReader, ReadsStrings) {
  struct {
    std::string_view text;
    std::string_view value;
  } const rows[] = {
      {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
      {R"("/")", "/"},
      {R"("\u0041\u00e9\u20AC\ud83d\uDE00")", "Aé€😀"},
      {R"("\u0000")", "\0"sv},
      {R"("a\u0000b")", "a\0b"sv},
      {R"("\u007f\u0080\u07ff\u0800\ud7ff\ue000\uffff")",
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
      {R"("\ud800\udc00\udbff\udfff")", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"\"\x7F\"", "\x7F"},
      {"\"\xC2\x80\"", "\xC2\x80"},
      {"\"é€😀\"", "é€😀"},
      {"\"\xEF\xBB\xBF\"", "\xEF\xBB\xBF"},
      {R"("\\u0041")", "\\u0041"},
      {R"("ends in a backslash\\")", "ends in a backslash\\"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(traceOf(row.text), "\"" + std::string(row.value) + "\"");
    // As a key, and with enough behind it for whole blocks.
    const std::string object = "{" + std::string(row.text) + ":0}                    ";
    EXPECT_EQ(traceOf(object), "{ " + std::string(row.value) + ": i0 }");
    const std::string array = "[" + std::string(row.text) + ",\"0123456789abcdef0123456789\"]";
    EXPECT_EQ(traceOf(array), "[ \"" + std::string(row.value) + "\" \"0123456789abcdef0123456789\" ]");
  }
}

TEST(JSONReader, FindsWhatEndsARunOfPlainCharactersAtEveryOffset) {
  struct {
    std::string_view text;
    std::string_view value;
  } const specials[] = {{"\\n", "\n"}, {"\\\"", "\""}, {"\\u00e9", "é"},
                        {"é", "é"},    {"😀", "😀"},     {"\\ud83d\\ude00", "😀"}};
  for (const auto& special : specials) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (std::size_t behind = 0; behind < 40; behind += 3) {
        const std::string head(before, 'a');
        const std::string tail(behind, 'z');
        const std::string text = "[\"" + head + std::string(special.text) + tail + "\"]";
        ASSERT_EQ(traceOf(text), "[ \"" + head + std::string(special.value) + tail + "\" ]") << text;
      }
    }
  }
  for (std::size_t before = 0; before < 40; ++before) {
    const std::string head(before, 'a');
    const Outcome control = read("[\"" + head + "\x1F\"]");
    ASSERT_EQ(control.failure.error, JSONError::kControlCharacter);
    ASSERT_EQ(control.failure.offset, before + 2);
    const Outcome escaped = read("[\"\\n" + head + "\x1F\"]");
    ASSERT_EQ(escaped.failure.error, JSONError::kControlCharacter);
    ASSERT_EQ(escaped.failure.offset, before + 4);
  }
}

/// In every surrounding that ends a number differently.
void expectNumber(std::string_view number, const std::string& trace) {
  SCOPED_TRACE(number);
  const std::string text(number);
  EXPECT_EQ(traceOf(text), trace);
  EXPECT_EQ(traceOf("[" + text + "]"), "[ " + trace + " ]");
  EXPECT_EQ(traceOf("{\"a\":" + text + " }"), "{ a: " + trace + " }");
  EXPECT_EQ(traceOf("[" + text + ",          true]"), "[ " + trace + " true ]");
}

TEST(JSONReader, ReadsIntegersAndDecimals) {
  struct {
    std::string_view text;
    std::string_view trace;
  } const rows[] = {
      {"0", "i0"},
      {"1234567", "i1234567"},
      {"12345678", "i12345678"},
      {"123456789", "i123456789"},
      {"1234567890123456", "i1234567890123456"},
      {"999999999999999999", "i999999999999999999"},
      {"1000000000000000000", "i1000000000000000000"},
      {"9223372036854775807", "i9223372036854775807"},
      {"9223372036854775808", "u9223372036854775808"},
      {"18446744073709551615", "u18446744073709551615"},
      {"18446744073709551616", "d18446744073709551616e0"},
      {"-9223372036854775808", "i-9223372036854775808"},
      {"-9223372036854775809", "d-9223372036854775809e0"},
      {"-18446744073709551616", "d-18446744073709551616e0"},
      {"99999999999999999999", "d99999999999999999999e0"},
      {"100000000000000000000", "d1e20"},
      // Up to 38 digits are exact, further ones round half away from zero.
      {"12345678901234567890123456789012345678", "d12345678901234567890123456789012345678e0"},
      {"99999999999999999999999999999999999999", "d99999999999999999999999999999999999999e0"},
      {"123456789012345678901234567890123456784", "d12345678901234567890123456789012345678e1"},
      {"123456789012345678901234567890123456785", "d12345678901234567890123456789012345679e1"},
      {"-123456789012345678901234567890123456785", "d-12345678901234567890123456789012345679e1"},
      {"999999999999999999999999999999999999994", "d99999999999999999999999999999999999999e1"},
      {"999999999999999999999999999999999999995", "d1e39"},
      {"123456789012345678901234567890123456704999", "d1234567890123456789012345678901234567e5"},
      // Eighteen significant digits and more; zeros at the ends are not significant.
      {"0.123456789012345678", "d123456789012345678e-18"},
      {"-1.23456789012345678", "d-123456789012345678e-17"},
      {"123456789012345678e0", "d123456789012345678e0"},
      {"0.000000000000000000000000123456789012345678", "d123456789012345678e-42"},
      {"1234567890123456780e1", "d123456789012345678e2"},
      {"12345678901234567890.5", "d123456789012345678905e-1"},
      {"12345678901234567890e-5", "d1234567890123456789e-4"},
      {"3.14159265358979323846264338327950288419716939937510", "d31415926535897932384626433832795028842e-37"},
      {"0.99999999999999999999999999999999999999999999", "d1e0"},
      {"1.00000000000000000000000000000000000000000001", "d1e0"},
      // Up to the ends of a decimal's exponent; zeros of the mantissa stretch the upper one.
      {"123456789012345678e127", "d123456789012345678e127"},
      {"123456789012345678e147", "d12345678901234567800000000000000000000e127"},
      {"1.23456789012345678e-111", "d123456789012345678e-128"},
  };
  for (const auto& row : rows) expectNumber(row.text, std::string(row.trace));
}

TEST(JSONReader, ReadsReals) {
  // The compiler's own reading of the literal is what is expected.
#define ROW(literal) \
  { #literal, literal }
  struct {
    std::string_view text;
    double value;
  } const rows[] = {
      ROW(0.0),
      ROW(-0.0),
      ROW(0e0),
      ROW(-0e-5),
      ROW(1.5),
      ROW(-1.5),
      ROW(1.0),
      ROW(1e2),
      ROW(1E+2),
      ROW(1e-2),
      ROW(0.1),
      ROW(0.2),
      ROW(0.3),
      ROW(123.456),
      ROW(12345678.12345678),
      ROW(1e22),
      ROW(1e23),
      ROW(1e-22),
      ROW(1e-23),
      ROW(9007199254740992.0),
      ROW(9007199254740993.0),
      ROW(9007199254740993e0),
      ROW(900719925474099.3e1),
      ROW(1.7976931348623157e308),
      ROW(-1.7976931348623157e308),
      ROW(1.797693134862315807e308),
      ROW(2.2250738585072014e-308),
      ROW(2.2250738585072011e-308),
      ROW(4.9406564584124654e-324),
      // Seventeen significant digits
      ROW(0.12345678901234567),
      ROW(1.2345678901234567),
      ROW(12345678901234567e0),
      ROW(99999999999999999e-5),
      ROW(0.00000000000000000000000012345),
      ROW(0.00000000000000000000000012345678901234567),
      ROW(1.00000000000000000000000000),
      ROW(100000000000000000000.0),
      ROW(123000000000000000000000000000000e-10),
      // Eighteen, but beyond what a decimal's exponent says
      ROW(123456789012345678e148),
      ROW(12345678901234567891e200),
      ROW(1.23456789012345678e-112),
      ROW(0.123456789012345678e-200),
  };
#undef ROW
  for (const auto& row : rows) expectNumber(row.text, "r" + hexReal(row.value));

  struct {
    std::string text;
    double value;
  } const others[] = {
      {"-0", -0.0},
      {"2.5e-324", 4.9406564584124654e-324},
      {"2.4e-324", 0},
      {"1e-400", 0},
      {"-1e-99999999999999999999999", -0.0},
      {"0e99999999999999999999999", 0},
      {"-0.000e400", -0.0},
      {"1" + std::string(166, '0'), 1e166},
      {"1" + std::string(300, '0'), 1e300},
      {"0." + std::string(1000, '0') + "1e1001", 1},
      {"1" + std::string(1000, '0') + "e-1000", 1},
  };
  for (const auto& row : others) expectNumber(row.text, "r" + hexReal(row.value));
}

TEST(JSONReader, ReadsRealsAsTheCLibraryDoes) {
  std::mt19937_64 random(20240607);
  const char* const formats[] = {"%.17g", "%.16g", "%.15g", "%.6g", "%.3g", "%.17e", "%.10e", "%.5f"};
  for (int i = 0; i < 40000; ++i) {
    double value = std::bit_cast<double>(random());
    if (!std::isfinite(value)) continue;
    if (i % 2 == 0) value = static_cast<double>(static_cast<std::int64_t>(random() >> (random() % 60))) / 1000;
    char text[512];
    std::snprintf(text, sizeof text, formats[random() % std::size(formats)], value);
    const Outcome outcome = read(text);
    const double expected = std::strtod(text, nullptr);
    if (outcome.trace.starts_with("r") || std::isinf(expected)) {
      const std::string trace = std::isinf(expected) ? "" : "r" + hexReal(expected);
      ASSERT_EQ(outcome.trace, trace) << text;
    } else if (outcome.trace.starts_with("i")) {
      ASSERT_EQ(std::stod(outcome.trace.substr(1)), expected) << text;
    } else {
      // Eighteen digits: a decimal that is the text to the last digit.
      ASSERT_TRUE(outcome.trace.starts_with("d")) << text << " " << outcome.trace;
      ASSERT_EQ(std::strtod(outcome.trace.c_str() + 1, nullptr), expected) << text;
    }
  }
}

TEST(JSONReader, RefusesWhatIsNoJSON) {
  struct {
    std::string text;
    JSONError error;
    std::size_t offset;
  } const rows[] = {
      {"", JSONError::kEmpty, 0},
      {" \n\t ", JSONError::kEmpty, 0},
      {"[", JSONError::kUnexpectedEnd, 1},
      {"[ ", JSONError::kUnexpectedEnd, 1},
      {"]", JSONError::kUnexpectedCharacter, 0},
      {"}", JSONError::kUnexpectedCharacter, 0},
      {",", JSONError::kUnexpectedCharacter, 0},
      {"[,1]", JSONError::kUnexpectedCharacter, 1},
      {"[1,]", JSONError::kUnexpectedCharacter, 3},
      {"[1,,2]", JSONError::kUnexpectedCharacter, 3},
      {"[1", JSONError::kUnexpectedEnd, 2},
      {"[1,", JSONError::kUnexpectedEnd, 3},
      {"[1 2]", JSONError::kBadArray, 3},
      {"[1}", JSONError::kBadArray, 2},
      {"[1:2]", JSONError::kBadArray, 2},
      {"[\"a\"", JSONError::kUnexpectedEnd, 4},
      {"[[]", JSONError::kUnexpectedEnd, 3},
      {"[{}", JSONError::kUnexpectedEnd, 3},
      {"{\"a\":[]", JSONError::kUnexpectedEnd, 7},
      {"{", JSONError::kUnexpectedEnd, 1},
      {"{]", JSONError::kKeyExpected, 1},
      {"{1:2}", JSONError::kKeyExpected, 1},
      {"{a:2}", JSONError::kKeyExpected, 1},
      {"{'a':2}", JSONError::kKeyExpected, 1},
      {"{\"a\":1,}", JSONError::kKeyExpected, 7},
      {"{,\"a\":1}", JSONError::kKeyExpected, 1},
      {"{\"a\"}", JSONError::kColonExpected, 4},
      {"{\"a\" 1}", JSONError::kColonExpected, 5},
      {"{\"a\",1}", JSONError::kColonExpected, 4},
      {"{\"a\":}", JSONError::kUnexpectedCharacter, 5},
      {"{\"a\"", JSONError::kUnexpectedEnd, 4},
      {"{\"a\":", JSONError::kUnexpectedEnd, 5},
      {"{\"a\":1", JSONError::kUnexpectedEnd, 6},
      {"{\"a\":1]", JSONError::kBadObject, 6},
      {"{\"a\":1 \"b\":2}", JSONError::kBadObject, 7},
      {"{\"a\":1;}", JSONError::kBadObject, 6},
      {"[] []", JSONError::kTrailingText, 3},
      {"[]]", JSONError::kTrailingText, 2},
      {"{}x", JSONError::kTrailingText, 2},
      {"1 2", JSONError::kTrailingText, 2},
      {"\"a\"b", JSONError::kTrailingText, 3},
      {"[]\0"s, JSONError::kTrailingText, 2},
      {"[/**/]", JSONError::kUnexpectedCharacter, 1},
      {"// x\n[]", JSONError::kUnexpectedCharacter, 0},
      {"[1] // x", JSONError::kTrailingText, 4},
      {"[NaN]", JSONError::kUnexpectedCharacter, 1},
      {"[Infinity]", JSONError::kUnexpectedCharacter, 1},
      {"[-Infinity]", JSONError::kBadNumber, 2},
      {"[nan]", JSONError::kBadLiteral, 1},
      {"[True]", JSONError::kUnexpectedCharacter, 1},
      {"[tru]", JSONError::kBadLiteral, 1},
      {"[truE]", JSONError::kBadLiteral, 1},
      {"[truex]", JSONError::kBadArray, 5},
      {"[nul", JSONError::kUnexpectedEnd, 4},
      {"fals", JSONError::kUnexpectedEnd, 4},
      {"[fal}", JSONError::kBadLiteral, 1},
      {"[\xC2\xA0]", JSONError::kUnexpectedCharacter, 1},  // a space, but not one of JSON's
      {"[\f1]", JSONError::kUnexpectedCharacter, 1},
      {"[\v1]", JSONError::kUnexpectedCharacter, 1},
      {"[\0]"s, JSONError::kUnexpectedCharacter, 1},
      {"\xEF\xBB\xBF[]", JSONError::kUnexpectedCharacter, 0},  // a mark of the encoding is no text
      // Strings
      {"\"", JSONError::kUnterminatedString, 0},
      {"[\"abc", JSONError::kUnterminatedString, 1},
      {"[\"abc]", JSONError::kUnterminatedString, 1},
      {"[\"abcdefghijklmnopqrstuvwxyz]", JSONError::kUnterminatedString, 1},
      {"[\"a\\", JSONError::kUnterminatedString, 1},
      {"[\"a\\\"]", JSONError::kUnterminatedString, 1},
      {"[\"a\nb\"]", JSONError::kControlCharacter, 3},
      {"[\"a\0b\"]"s, JSONError::kControlCharacter, 3},
      {"[\"a\x1F\"]", JSONError::kControlCharacter, 3},
      {"[\"\\n\t\"]", JSONError::kControlCharacter, 4},
      {"['a']", JSONError::kUnexpectedCharacter, 1},
      {R"(["\a"])", JSONError::kBadEscape, 2},
      {R"(["\'"])", JSONError::kBadEscape, 2},
      {R"(["ab\x41"])", JSONError::kBadEscape, 4},
      {R"(["\U0041"])", JSONError::kBadEscape, 2},
      {R"(["\u"])", JSONError::kBadEscape, 2},
      {R"(["\u12"])", JSONError::kBadEscape, 2},
      {R"(["\u123g"])", JSONError::kBadEscape, 2},
      {R"(["\u 123"])", JSONError::kBadEscape, 2},
      {R"(["\u+123"])", JSONError::kBadEscape, 2},
      {R"(["\ud800"])", JSONError::kLoneSurrogate, 2},
      {R"(["\udc00"])", JSONError::kLoneSurrogate, 2},
      {R"(["\udfff\ud800"])", JSONError::kLoneSurrogate, 2},
      {R"(["\ud800\ud800"])", JSONError::kLoneSurrogate, 2},
      {R"(["x\ud83dx"])", JSONError::kLoneSurrogate, 3},
      {R"(["\ud83d\n"])", JSONError::kLoneSurrogate, 2},
      {R"(["\ud83d\u0041"])", JSONError::kLoneSurrogate, 2},
      {R"(["\ud83d\udg00"])", JSONError::kLoneSurrogate, 2},
      {R"({"\ud83d":1})", JSONError::kLoneSurrogate, 2},
      // Numbers
      {"[-]", JSONError::kBadNumber, 2},
      {"[--1]", JSONError::kBadNumber, 2},
      {"[+1]", JSONError::kUnexpectedCharacter, 1},
      {"[.5]", JSONError::kUnexpectedCharacter, 1},
      {"[-.5]", JSONError::kBadNumber, 2},
      {"[1.]", JSONError::kBadNumber, 3},
      {"[1.e5]", JSONError::kBadNumber, 3},
      {"[1e]", JSONError::kBadNumber, 3},
      {"[1e+]", JSONError::kBadNumber, 4},
      {"[1e+-1]", JSONError::kBadNumber, 4},
      {"[1.5e-]", JSONError::kBadNumber, 6},
      {"[1ee5]", JSONError::kBadNumber, 3},
      {"[1.5.5]", JSONError::kBadArray, 4},
      {"[1e5.5]", JSONError::kBadArray, 4},
      {"[1e5e5]", JSONError::kBadArray, 4},
      {"[0x10]", JSONError::kBadArray, 2},
      {"[1_000]", JSONError::kBadArray, 2},
      {"[1f]", JSONError::kBadArray, 2},
      {"[00]", JSONError::kLeadingZero, 1},
      {"[01]", JSONError::kLeadingZero, 1},
      {"[-01]", JSONError::kLeadingZero, 1},
      {"[01.5]", JSONError::kLeadingZero, 1},
      {"[0000000000000000000001]", JSONError::kLeadingZero, 1},
      {"-", JSONError::kUnexpectedEnd, 1},
      {"1.", JSONError::kUnexpectedEnd, 2},
      {"1e", JSONError::kUnexpectedEnd, 2},
      {"[1e309]", JSONError::kNumberOutOfRange, 1},
      {"[-1e309]", JSONError::kNumberOutOfRange, 1},
      {"[1.7976931348623159e308]", JSONError::kNumberOutOfRange, 1},
      {"[123456789012345678e300]", JSONError::kNumberOutOfRange, 1},
      {"[1e99999999999999999999999]", JSONError::kNumberOutOfRange, 1},
      {"[1" + std::string(309, '0') + "]", JSONError::kNumberOutOfRange, 1},
      // Bytes that are no UTF-8 are noticed first, wherever they stand.
      {"[\"\x80\"]", JSONError::kBadUTF8, 2},
      {"[\"\xC3\"]", JSONError::kBadUTF8, 2},
      {"[\"\xC0\x80\"]", JSONError::kBadUTF8, 2},
      {"[\"\xE0\x80\x80\"]", JSONError::kBadUTF8, 2},
      {"[\"\xF0\x80\x80\x80\"]", JSONError::kBadUTF8, 2},
      {"[\"\xF4\x90\x80\x80\"]", JSONError::kBadUTF8, 2},
      {"[\"\xFF\"]", JSONError::kBadUTF8, 2},
      {"[\"\xED\xA0\x80\"]", JSONError::kLoneSurrogate, 2},
      {"[\"\xED\xBF\xBF\"]", JSONError::kLoneSurrogate, 2},
      {"[\"a\xE2\x82", JSONError::kBadUTF8, 3},
      {"x\xFF", JSONError::kBadUTF8, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text));
    const Outcome outcome = read(row.text);
    EXPECT_EQ(outcome.failure.error, row.error) << jsonErrorMessage(row.text, outcome.failure);
    EXPECT_EQ(outcome.failure.offset, row.offset);
  }
}

TEST(JSONReader, Nests512Containers) {
  struct {
    std::string_view opening, inner, closing;
  } const rows[] = {{"[", "", "]"}, {"{\"a\":", "1", "}"}, {"[{\"a\":", "[]", "}]"}};
  for (const auto& row : rows) {
    const std::size_t each = row.opening.size() > 5 ? 2 : 1;
    const std::size_t inner = row.inner == "[]" ? 1 : 0;
    SCOPED_TRACE(row.opening);
    const std::size_t passes = (kJSONMaximumDepth - inner) / each;
    EXPECT_EQ(read(nested(passes, row.opening, row.inner, row.closing)).failure.error, JSONError::kNone);
    const Outcome outcome = read(nested(passes + 1, row.opening, row.inner, row.closing));
    EXPECT_EQ(outcome.failure.error, JSONError::kTooDeep);
  }
  const Outcome outcome = read(std::string(513, '['));
  EXPECT_EQ(outcome.failure.error, JSONError::kTooDeep);
  EXPECT_EQ(outcome.failure.offset, 512u);
  // Depth is what is open at once, not what there is.
  std::string siblings = "[";
  for (int i = 0; i < 2000; ++i) siblings += "[],";
  EXPECT_EQ(read(siblings + "{}]").failure.error, JSONError::kNone);
  // Arrays and objects in every order are told apart on the way out.
  std::string text, closing, trace, closingTrace;
  for (std::size_t i = 0; i < kJSONMaximumDepth; ++i) {
    const bool object = (i * 7 + i / 64) % 3 == 0;
    text += object ? "{\"k\":" : "[";
    closing.insert(0, object ? "}" : "]");
    trace += object ? "{ k: " : "[ ";
    closingTrace.insert(0, object ? " }" : " ]");
  }
  EXPECT_EQ(traceOf(text + "0" + closing), trace + "i0" + closingTrace);
}

TEST(JSONReader, RefusesEveryTruncation) {
  const std::string text =
      R"({"id":9007199254740,"name":"D\u00fcr\u00f4m-山田 \ud83d\ude00","tags":["a",[],{},-1.5e+3,123456789012345678901234567890],)"
      R"("flags":{"t":true,"f":false,"n":null}, "text" : "plain characters over more than one block" })";
  EXPECT_EQ(read(text).failure.error, JSONError::kNone);
  for (std::size_t size = 0; size < text.size(); ++size) {
    const Outcome outcome = read(std::string_view(text).substr(0, size));
    EXPECT_NE(outcome.failure.error, JSONError::kNone) << size;
    EXPECT_LE(outcome.failure.offset, size);
  }
}

TEST(JSONReader, RefusesABadByteAtEveryPosition) {
  const std::string text = R"({"name":"Ωmega and more than one block of text","list":[1,2.5,"é"],"flag":true})";
  ASSERT_EQ(read(text).failure.error, JSONError::kNone);
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (const char bad : {'\x80', '\xC0', '\xED', '\xF5', '\xFF', '\x01'}) {
      std::string broken = text;
      broken[i] = bad;
      if (bad == '\x80' && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) continue;  // still a character
      const Outcome outcome = read(broken);
      EXPECT_NE(outcome.failure.error, JSONError::kNone) << i;
      std::string longer = text;
      longer.insert(i, 1, bad);
      EXPECT_NE(read(longer).failure.error, JSONError::kNone) << i;
    }
  }
}

TEST(JSONReader, NeedsNoValidationOfTextThatIsKnown) {
  const std::string text = "[\"é\"]";
  JSONCursor cursor(text, true);
  Recorder recorder;
  EXPECT_TRUE(readJSON(cursor, recorder));
  EXPECT_EQ(recorder.trace, "[ \"é\" ]");
}

TEST(JSONReader, CountsLinesAndColumns) {
  struct {
    std::string_view text;
    std::size_t offset, line, column;
  } const rows[] = {
      {"", 0, 1, 1},       {"abc", 0, 1, 1},    {"abc", 2, 1, 3},    {"abc", 3, 1, 4},    {"abc", 99, 1, 4},
      {"a\nb", 1, 1, 2},   {"a\nb", 2, 2, 1},   {"a\n\nb", 3, 3, 1}, {"a\rb", 2, 2, 1},   {"a\r\nb", 3, 2, 1},
      {"a\r\rb", 3, 3, 1}, {"a\n\rb", 3, 3, 1}, {"é€😀x", 9, 1, 4},   {"é\né€x", 8, 2, 3}, {"a\r", 2, 2, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text) + " at " + std::to_string(row.offset));
    const JSONPosition position = jsonPosition(row.text, row.offset);
    EXPECT_EQ(position.line, row.line);
    EXPECT_EQ(position.column, row.column);
  }
}

TEST(JSONReader, SaysWhatIsWrongAndWhere) {
  struct {
    std::string text;
    std::string_view message;
  } const rows[] = {
      {"", "Unable to parse empty data."},
      {"{\n  \"a\": 1,\n  \"b\": x}", "Unexpected character 'x' around line 3, column 8."},
      {"[é, €]", "Unexpected character 'é' around line 1, column 2."},
      {"[\x01]", "Unexpected character '\\x01' around line 1, column 2."},
      {"[\x7F]", "Unexpected character '\\x7f' around line 1, column 2."},
      {"[\"é\", \"open]", "Unterminated string around line 1, column 7."},
      {"[1,", "Unexpected end of file around line 1, column 4."},
      {"[tru]", "Invalid value around line 1, column 2."},
      {"{1:2}", "No string key for value in object around line 1, column 2."},
      {"{\"a\" 2}", "No value for key in object around line 1, column 6."},
      {"[1\n2]", "Badly formed array around line 2, column 1."},
      {"{\"a\":1\r\n\"b\"}", "Badly formed object around line 2, column 1."},
      {"[]\n\n x", "Garbage at end around line 3, column 2."},
      {"[\"\t\"]", "Unescaped control character around line 1, column 3."},
      {"[\"\\q\"]", "Invalid escape sequence around line 1, column 3."},
      {"[\"\\ud800\"]", "Unpaired surrogate around line 1, column 3."},
      {"[1.]", "Number without a digit where one is needed around line 1, column 4."},
      {"[01]", "Number with leading zero around line 1, column 2."},
      {"[1e999]", "Number too large around line 1, column 2."},
      {std::string(600, '['), "Too many nested arrays or dictionaries around line 1, column 513."},
      {"[\"\xFF\"]", "Text that is not UTF-8 around line 1, column 3."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text));
    EXPECT_EQ(traceOf(row.text), row.message);
  }
}

TEST(JSONReader, TakesLinearTimeForHostileText) {
  const auto errorOf = [](const std::string& text) {
    JSONCursor cursor(text);
    JSONIgnore ignore;
    readJSON(cursor, ignore);
    return cursor.failure().error;
  };
  const std::size_t many = 10'000'000;  // quadratic work would take hours
  EXPECT_EQ(errorOf(std::string(100'000, '[')), JSONError::kTooDeep);
  EXPECT_EQ(errorOf(nested(100'000, "{\"a\":", "1", "}")), JSONError::kTooDeep);
  EXPECT_EQ(errorOf("[" + std::string(many, '7') + "]"), JSONError::kNumberOutOfRange);
  EXPECT_EQ(errorOf("[0." + std::string(many, '7') + "]"), JSONError::kNone);
  EXPECT_EQ(errorOf("[0." + std::string(many, '0') + "7]"), JSONError::kNone);
  EXPECT_EQ(errorOf("[1" + std::string(many, '0') + "e-10000000]"), JSONError::kNone);
  EXPECT_EQ(errorOf("[1e" + std::string(many, '9') + "]"), JSONError::kNumberOutOfRange);
  EXPECT_EQ(errorOf("[\"" + std::string(many, 'x')), JSONError::kUnterminatedString);
  std::string escapes = "[\"";
  for (std::size_t i = 0; i < many / 2; ++i) escapes += "\\n";
  EXPECT_EQ(errorOf(escapes + "\"]"), JSONError::kNone);
  EXPECT_EQ(errorOf(std::string(many, ' ') + "[" + std::string(many, '\n') + "]" + std::string(many, '\t')),
            JSONError::kNone);
}

}  // namespace
}  // namespace kvt
