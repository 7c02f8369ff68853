#include "JSONReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include <simdjson.h>

namespace kvt {
namespace {

// ---- text ---------------------------------------------------------------------------------------------------------

/// The bytes of the character at `p` when it is well-formed, 0 otherwise. Surrogates and overlong forms are not.
std::size_t characterLength(const char* p, const char* end) noexcept {
  const auto byte = [p](std::size_t i) { return static_cast<unsigned char>(p[i]); };
  const auto left = static_cast<std::size_t>(end - p);
  const unsigned char first = byte(0);
  if (first < 0x80) return 1;
  if (first < 0xC2 || first > 0xF4) return 0;
  const std::size_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (left < length) return 0;
  // The second byte's range depends on the first; the others are plain continuations.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (first == 0xE0) low = 0xA0;
  if (first == 0xED) high = 0x9F;
  if (first == 0xF0) low = 0x90;
  if (first == 0xF4) high = 0x8F;
  if (byte(1) < low || byte(1) > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

bool isSurrogate(const char* p, const char* end) noexcept {
  return end - p >= 3 && static_cast<unsigned char>(p[0]) == 0xED &&
         (static_cast<unsigned char>(p[1]) & 0xE0) == 0xA0 && (static_cast<unsigned char>(p[2]) & 0xC0) == 0x80;
}

const char* firstMalformed(const char* p, const char* end) noexcept {
  while (p < end) {
    const std::size_t length = characterLength(p, end);
    if (length == 0) break;
    p += length;
  }
  return p;
}

bool isAscii(const char* p, const char* end) noexcept {
  for (; end - p >= json::Block::kSize; p += json::Block::kSize) {
    if (json::Block(p).notAscii() != 0) return false;
  }
  return std::all_of(p, end, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

char* appendCharacter(char* out, unsigned c) noexcept {
  if (c < 0x80) {
    *out++ = static_cast<char>(c);
  } else if (c < 0x800) {
    *out++ = static_cast<char>(0xC0 | (c >> 6));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    *out++ = static_cast<char>(0xE0 | (c >> 12));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  } else {
    *out++ = static_cast<char>(0xF0 | (c >> 18));
    *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
    *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}

/// Four hexadecimal digits; NO when there are none.
bool readHexUnit(const char* p, const char* end, unsigned& unit) noexcept {
  if (end - p < 4) return false;
  unsigned value = 0;
  for (int i = 0; i < 4; ++i) {
    const char c = p[i];
    const char lower = static_cast<char>(c | 0x20);
    unsigned digit;
    if (json::isDigit(c))
      digit = static_cast<unsigned>(c - '0');
    else if (lower >= 'a' && lower <= 'f')
      digit = static_cast<unsigned>(lower - 'a' + 10);
    else
      return false;
    value = value << 4 | digit;
  }
  unit = value;
  return true;
}

// ---- numbers ------------------------------------------------------------------------------------------------------

constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr std::uint64_t kExactInteger = std::uint64_t{1} << 53;
constexpr std::uint64_t kSeventeenDigits = 100'000'000'000'000'000;
constexpr std::ptrdiff_t kRealDigits = 17;
constexpr int kDecimalDigits = 38;
constexpr JSONMantissa kDecimalLimit = JSONMantissa{10'000'000'000'000'000'000u} * 10'000'000'000'000'000'000u;
constexpr std::int64_t kDecimalMaximumExponent = 127;
constexpr std::int64_t kDecimalMinimumExponent = -128;

/// The digits of a number without the zeros at either end, and how they are to be weighted: 0.d1d2d3... * 10^magnitude.
struct Digits {
  Digits(const char* first, const char* last, std::int64_t exponent) noexcept {
    const char* p = first;
    const char* point = last;
    begin = last;
    for (; p != last && *p != 'e' && *p != 'E'; ++p) {
      if (*p == '.') {
        point = p;
      } else if (*p != '0') {
        if (count == 0) begin = p;
        end = p + 1;
        count = 1;
      }
    }
    if (point == last) point = p;
    if (count == 0) return;
    count = end - begin - (begin < point && point < end ? 1 : 0);
    magnitude = exponent + (begin < point ? point - begin : point + 1 - begin);
  }
  const char* begin = nullptr;
  const char* end = nullptr;
  std::ptrdiff_t count = 0;
  std::int64_t magnitude = 0;
};

/// NO when the exponent leaves a decimal's range.
bool makeDecimal(const Digits& digits, bool negative, JSONDecimal& decimal) noexcept {
  JSONMantissa mantissa = 0;
  int used = 0;
  const char* p = digits.begin;
  for (; p != digits.end && used < kDecimalDigits; ++p) {
    if (*p == '.') continue;
    mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
    ++used;
  }
  std::int64_t exponent = digits.magnitude - used;
  if (p != digits.end && *p == '.') ++p;
  if (p != digits.end && *p >= '5' && ++mantissa == kDecimalLimit) {
    mantissa = 1;
    exponent += used;
    used = 1;
  }
  // Rounding, or cutting off at a zero, leaves zeros at the end.
  while (mantissa % 10 == 0) {
    mantissa /= 10;
    ++exponent;
    --used;
  }
  while (exponent > kDecimalMaximumExponent && used < kDecimalDigits) {
    mantissa *= 10;
    --exponent;
    ++used;
  }
  if (exponent > kDecimalMaximumExponent || exponent < kDecimalMinimumExponent) return false;
  decimal = {mantissa, static_cast<int>(exponent), negative};
  return true;
}

/// NO when the number is beyond the largest double. `first` ... `last` is the number without its sign.
bool makeReal(const char* first, const char* last, std::int64_t magnitude, bool negative, double& real) noexcept {
  double value = 0;
  const auto result = std::from_chars(first, last, value);
  // A result out of range leaves the value alone: which end was missed is told by the magnitude.
  if (result.ec == std::errc::result_out_of_range) value = magnitude > 0 ? std::numeric_limits<double>::infinity() : 0;
  real = negative ? -value : value;
  return std::isfinite(value);
}

// ---- messages -----------------------------------------------------------------------------------------------------

const char* describe(JSONError error) noexcept {
  switch (error) {
    case JSONError::kNone: return "No error";
    case JSONError::kEmpty: return "Unable to parse empty data";
    case JSONError::kUnexpectedEnd: return "Unexpected end of file";
    case JSONError::kUnexpectedCharacter: return "Unexpected character";
    case JSONError::kBadLiteral: return "Invalid value";
    case JSONError::kKeyExpected: return "No string key for value in object";
    case JSONError::kColonExpected: return "No value for key in object";
    case JSONError::kBadArray: return "Badly formed array";
    case JSONError::kBadObject: return "Badly formed object";
    case JSONError::kTrailingText: return "Garbage at end";
    case JSONError::kUnterminatedString: return "Unterminated string";
    case JSONError::kControlCharacter: return "Unescaped control character";
    case JSONError::kBadEscape: return "Invalid escape sequence";
    case JSONError::kLoneSurrogate: return "Unpaired surrogate";
    case JSONError::kBadNumber: return "Number without a digit where one is needed";
    case JSONError::kLeadingZero: return "Number with leading zero";
    case JSONError::kNumberOutOfRange: return "Number too large";
    case JSONError::kTooDeep: return "Too many nested arrays or dictionaries";
    case JSONError::kBadUTF8: return "Text that is not UTF-8";
    case JSONError::kBadEncoding: return "Text that is neither UTF-8 nor UTF-16 nor UTF-32";
    case JSONError::kFragment:
      return "JSON text did not start with array or object and option to allow fragments not set";
  }
  return "Unknown error";
}

std::string quoted(std::string_view text, std::size_t offset) {
  const char* const p = text.data() + offset;
  const std::size_t length = characterLength(p, text.data() + text.size());
  const auto byte = static_cast<unsigned char>(*p);
  if (length == 0 || byte < 0x20 || byte == 0x7F) {
    static constexpr char kHex[] = "0123456789abcdef";
    return std::string("'\\x") + kHex[byte >> 4] + kHex[byte & 15] + "'";
  }
  return "'" + std::string(p, length) + "'";
}

}  // namespace

JSONPosition jsonPosition(std::string_view text, std::size_t offset) noexcept {
  JSONPosition position;
  const std::size_t end = std::min(offset, text.size());
  for (std::size_t i = 0; i < end; ++i) {
    const char c = text[i];
    const bool endsLine = c == '\n' || (c == '\r' && (i + 1 == text.size() || text[i + 1] != '\n'));
    if (endsLine) {
      ++position.line;
      position.column = 1;
    } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
      ++position.column;
    }
  }
  return position;
}

std::string jsonErrorMessage(std::string_view text, const JSONFailure& failure) {
  std::string message = describe(failure.error);
  if (failure.error == JSONError::kEmpty || failure.error == JSONError::kNone) return message + ".";
  if (failure.error == JSONError::kUnexpectedCharacter && failure.offset < text.size()) {
    message += " " + quoted(text, failure.offset);
  }
  const JSONPosition position = jsonPosition(text, failure.offset);
  return message + " around line " + std::to_string(position.line) + ", column " + std::to_string(position.column) +
         ".";
}

JSONCursor::JSONCursor(std::string_view text, bool knownUTF8) {
  begin_ = text.data();
  p_ = begin_;
  end_ = begin_ + text.size();
  if (!knownUTF8 && !simdjson::validate_utf8(text.data(), text.size())) {
    const char* const bad = firstMalformed(begin_, end_);
    failAt(isSurrogate(bad, end_) ? JSONError::kLoneSurrogate : JSONError::kBadUTF8, bad);
    return;
  }
  while (end_ != p_ && json::isSpace(end_[-1])) --end_;
  if (end_ == p_) {
    failAt(JSONError::kEmpty, p_);
    return;
  }
  if (end_[-1] == ']' || end_[-1] == '}') return;
  // A fragment, or broken text: the copy's NUL stops every loop.
  const auto size = static_cast<std::size_t>(end_ - begin_);
  copy_ = std::make_unique_for_overwrite<char[]>(size + 1);
  std::memcpy(copy_.get(), begin_, size);
  copy_[size] = '\0';
  begin_ = copy_.get();
  p_ = begin_;
  end_ = begin_ + size;
}

bool JSONCursor::failAt(JSONError error, const char* position) noexcept {
  if (failed()) return false;
  error_ = error;
  if (position >= end_ && error != JSONError::kEmpty && error != JSONError::kUnterminatedString) {
    error_ = JSONError::kUnexpectedEnd;
  }
  offset_ = passed_ + static_cast<std::size_t>(position - begin_);
  static constexpr char kNothing = '\0';
  begin_ = p_ = end_ = &kNothing;
  return false;
}

char JSONCursor::peekBehindSpace() noexcept {
  // Indented text: a line end and a run of spaces.
  while (json::isSpace(*p_)) {
    ++p_;
    while (end_ - p_ >= json::Block::kSize) {
      const unsigned spaces = json::Block(p_).equalTo(' ');
      if (spaces != 0xFFFF) {
        p_ += __builtin_ctz(~spaces);
        break;
      }
      p_ += json::Block::kSize;
    }
  }
  return *p_;
}

bool JSONCursor::failLiteral(const char* literal) noexcept {
  const char* p = p_;
  while (p != end_ && *p == *literal) {
    ++p;
    ++literal;
  }
  return failAt(p == end_ ? JSONError::kUnexpectedEnd : JSONError::kBadLiteral, p == end_ ? end_ : p_);
}

// ---- strings ------------------------------------------------------------------------------------------------------

bool JSONCursor::finishString(const char* start, const char* p, JSONText& text) {
  // Everything before `p` is plain; it is a special character, or so near to the end that no block fits.
  while (p != end_ && *p != '"' && *p != '\\' && static_cast<unsigned char>(*p) >= 0x20) ++p;
  if (p == end_) return failAt(JSONError::kUnterminatedString, start - 1);
  if (*p == '\\') return resolveEscapes(start, p, text);
  if (*p != '"') return failAt(JSONError::kControlCharacter, p);
  p_ = p + 1;
  text.bytes = std::string_view(start, static_cast<std::size_t>(p - start));
  text.ascii = isAscii(start, p);
  text.hadEscapes = false;
  return true;
}

void JSONCursor::growScratch(std::size_t used, std::size_t wanted) {
  const std::size_t size = std::max({wanted, scratchSize_ * 2, std::size_t{256}});
  auto larger = std::make_unique_for_overwrite<char[]>(size);
  if (used != 0) std::memcpy(larger.get(), scratch_.get(), used);
  scratch_ = std::move(larger);
  scratchSize_ = size;
}

bool JSONCursor::resolveEscapes(const char* start, const char* p, JSONText& text) {
  // Room for a whole block behind what is needed, so that blocks are stored without asking.
  const auto plain = static_cast<std::size_t>(p - start);
  constexpr std::size_t kRoom = static_cast<std::size_t>(json::Block::kSize);
  if (scratchSize_ < plain + 2 * kRoom) growScratch(0, 2 * (plain + 2 * kRoom));
  std::memcpy(scratch_.get(), start, plain);
  char* out = scratch_.get() + plain;
  for (;;) {
    const auto used = static_cast<std::size_t>(out - scratch_.get());
    if (scratchSize_ - used < 2 * kRoom) {
      growScratch(used, used + 2 * kRoom);
      out = scratch_.get() + used;
    }
    if (end_ - p >= json::Block::kSize) {
      const json::Block block(p);
      const unsigned special = block.special();
      block.store(out);
      if (special == 0) {
        p += json::Block::kSize;
        out += json::Block::kSize;
        continue;
      }
      const int before = __builtin_ctz(special);
      p += before;
      out += before;
    } else if (p == end_) {
      return failAt(JSONError::kUnterminatedString, start - 1);
    } else if (*p != '"' && *p != '\\' && static_cast<unsigned char>(*p) >= 0x20) {
      *out++ = *p++;
      continue;
    }
    if (*p == '\\') {
      if (end_ - p < 2) return failAt(JSONError::kUnterminatedString, start - 1);
      if (!readEscape(p, out)) return false;
    } else if (*p == '"') {
      p_ = p + 1;
      text.bytes = std::string_view(scratch_.get(), static_cast<std::size_t>(out - scratch_.get()));
      text.ascii = isAscii(scratch_.get(), out);
      text.hadEscapes = true;
      return true;
    } else {
      return failAt(JSONError::kControlCharacter, p);
    }
  }
}

bool JSONCursor::readEscape(const char*& p, char*& out) noexcept {
  const char* const escape = p;
  p += 2;
  if (const char c = json::letterOfEscape(escape[1]); c != '\0') {
    *out++ = c;
    return true;
  }
  if (escape[1] != 'u') return failAt(JSONError::kBadEscape, escape);
  unsigned unit = 0;
  if (!readHexUnit(p, end_, unit)) return failAt(JSONError::kBadEscape, escape);
  p += 4;
  if ((unit & 0xF800) == 0xD800) {
    unsigned low = 0;
    const bool paired = (unit & 0x0400) == 0 && end_ - p >= 6 && p[0] == '\\' && p[1] == 'u' &&
                        readHexUnit(p + 2, end_, low) && (low & 0xFC00) == 0xDC00;
    if (!paired) return failAt(JSONError::kLoneSurrogate, escape);
    p += 6;
    unit = 0x10000 + ((unit & 0x3FF) << 10) + (low & 0x3FF);
  }
  out = appendCharacter(out, unit);
  return true;
}

// ---- numbers ------------------------------------------------------------------------------------------------------

bool JSONCursor::finishNumber(const char* digits, const char* p, std::uint64_t value, bool negative,
                              JSONNumber& number) {
  // `digits` ... `p` is the integer part; `value` is meaningless beyond nineteen digits.
  const std::ptrdiff_t count = p - digits;
  if (count == 0) return failAt(JSONError::kBadNumber, p);
  if (*digits == '0' && count > 1) return failAt(JSONError::kLeadingZero, p_);
  if (*p != '.' && *p != 'e' && *p != 'E') {
    std::uint64_t large = value;
    if (count <= 20 && std::from_chars(digits, p, large).ec == std::errc()) {
      constexpr auto kLargest = static_cast<std::uint64_t>(INT64_MAX);
      if (negative && large == 0) {
        number.kind = JSONNumber::Kind::kReal;
        number.real = -0.0;
        p_ = p;
        return true;
      }
      if (large <= kLargest || (negative && large == kLargest + 1)) {
        number.kind = JSONNumber::Kind::kInteger;
        number.integer = static_cast<std::int64_t>(negative ? 0 - large : large);
        p_ = p;
        return true;
      }
      if (!negative) {
        number.kind = JSONNumber::Kind::kUnsigned;
        number.unsignedInteger = large;
        p_ = p;
        return true;
      }
    }
    const Digits significant(digits, p, 0);
    number.kind = JSONNumber::Kind::kDecimal;
    if (!makeDecimal(significant, negative, number.decimal)) {
      number.kind = JSONNumber::Kind::kReal;
      if (!makeReal(digits, p, significant.magnitude, negative, number.real)) {
        return failAt(JSONError::kNumberOutOfRange, p_);
      }
    }
    p_ = p;
    return true;
  }

  std::ptrdiff_t fraction = 0;
  if (*p == '.') {
    const char* const first = ++p;
    json::readDigits(p, end_, value);
    fraction = p - first;
    if (fraction == 0) return failAt(JSONError::kBadNumber, p);
  }
  std::int64_t exponent = 0;
  if (*p == 'e' || *p == 'E') {
    ++p;
    const bool below = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    if (!json::isDigit(*p)) return failAt(JSONError::kBadNumber, p);
    // Far beyond any text's length, so that no number of digits before or behind the point can make up for it.
    constexpr std::int64_t kHuge = 100'000'000'000'000'000;
    for (; json::isDigit(*p); ++p) exponent = std::min(exponent * 10 + (*p - '0'), kHuge);
    if (below) exponent = -exponent;
  }

  number.kind = JSONNumber::Kind::kReal;
  if (count + fraction <= 19 && value < kSeventeenDigits) {
    const std::int64_t scale = exponent - fraction;
    if (value <= kExactInteger && scale >= -22 && scale <= 22) {
      // Both factors are exact, so the one rounding is right.
      const auto exact = static_cast<double>(value);
      const double real = scale < 0 ? exact / kPowersOfTen[-scale] : exact * kPowersOfTen[scale];
      number.real = negative ? -real : real;
      p_ = p;
      return true;
    }
    if (value == 0) {
      number.real = negative ? -0.0 : 0.0;
      p_ = p;
      return true;
    }
  }
  const Digits significant(digits, p, exponent);
  if (significant.count > kRealDigits && makeDecimal(significant, negative, number.decimal)) {
    number.kind = JSONNumber::Kind::kDecimal;
  } else if (significant.count == 0) {
    number.real = negative ? -0.0 : 0.0;
  } else if (!makeReal(digits, p, significant.magnitude, negative, number.real)) {
    return failAt(JSONError::kNumberOutOfRange, p_);
  }
  p_ = p;
  return true;
}

// ---- walking ------------------------------------------------------------------------------------------------------

bool JSONCursor::skipValue() {
  JSONIgnore nothing;
  return readJSONValue(*this, nothing);
}

bool JSONCursor::finish() noexcept {
  if (failed()) return false;
  while (p_ != end_ && json::isSpace(*p_)) ++p_;
  return p_ == end_ || fail(JSONError::kTrailingText);
}

JSONCursor::Step JSONCursor::firstElement() {
  if (failed() || !enter()) return Step::kFailed;
  if (peek() != ']') return Step::kItem;
  leave();
  return Step::kEnd;
}

JSONCursor::Step JSONCursor::nextElement() {
  const char c = atEnd() ? '\0' : peek();
  if (c == ',') {
    ++p_;
    peek();
    return Step::kItem;
  }
  if (c != ']') return fail(JSONError::kBadArray), Step::kFailed;
  leave();
  return Step::kEnd;
}

JSONCursor::Step JSONCursor::firstMember(JSONText& key) {
  if (failed() || !enter()) return Step::kFailed;
  if (peek() != '}') return readKey(key);
  leave();
  return Step::kEnd;
}

JSONCursor::Step JSONCursor::nextMember(JSONText& key) {
  const char c = atEnd() ? '\0' : peek();
  if (c == ',') {
    ++p_;
    return readKey(key);
  }
  if (c != '}') return fail(JSONError::kBadObject), Step::kFailed;
  leave();
  return Step::kEnd;
}

JSONCursor::Step JSONCursor::readKey(JSONText& key) {
  if (peek() != '"') return fail(JSONError::kKeyExpected), Step::kFailed;
  if (!readString(key)) return Step::kFailed;
  if (peek() != ':') return fail(JSONError::kColonExpected), Step::kFailed;
  ++p_;
  peek();
  return Step::kItem;
}

}  // namespace kvt
