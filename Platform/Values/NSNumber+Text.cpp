// The text of a floating number: the fewest digits that read back as the same value, laid out as `%g` does with as many
// digits as the type ever needs (17 for doubles, 9 for floats).
#include <charconv>
#include <cmath>
#include <cstring>

#include "NSNumberBody.h"

namespace kvt {
namespace {

char* put(char* out, const char* text, std::size_t count) noexcept {
  std::memcpy(out, text, count);
  return out + count;
}

char* putZeros(char* out, int count) noexcept {
  std::memset(out, '0', static_cast<std::size_t>(count));
  return out + count;
}

template <class T>
std::size_t format(T value, char* text, int precision, T largestWhole) noexcept {
  char* out = text;
  if (std::isnan(value)) return static_cast<std::size_t>(put(out, "nan", 3) - text);
  if (std::isinf(value)) {
    if (value < 0) *out++ = '-';
    return static_cast<std::size_t>(put(out, "inf", 3) - text);
  }
  // Whole numbers are printed to their last digit, although fewer would do to read them back.
  if (value == std::trunc(value) && std::fabs(value) < largestWhole) {
    if (value == 0 && std::signbit(value)) *out++ = '-';
    return static_cast<std::size_t>(std::to_chars(out, text + kNumberTextSize, static_cast<std::int64_t>(value)).ptr -
                                    text);
  }
  char scientific[kNumberTextSize];
  const char* end = std::to_chars(scientific, scientific + sizeof scientific, value, std::chars_format::scientific).ptr;
  const char* digits = scientific;
  if (*digits == '-') *out++ = *digits++;
  const char* letter = static_cast<const char*>(std::memchr(digits, 'e', static_cast<std::size_t>(end - digits)));
  int exponent = 0;
  std::from_chars(letter + (letter[1] == '+' ? 2 : 1), end, exponent);

  if (exponent < -4 || exponent >= precision)
    return static_cast<std::size_t>(put(out, digits, static_cast<std::size_t>(end - digits)) - text);

  const char first = *digits;
  const char* rest = digits[1] == '.' ? digits + 2 : letter;
  const int restCount = static_cast<int>(letter - rest);
  if (exponent < 0) {
    out = put(out, "0.", 2);
    out = putZeros(out, -exponent - 1);
    *out++ = first;
    return static_cast<std::size_t>(put(out, rest, static_cast<std::size_t>(restCount)) - text);
  }
  *out++ = first;
  const int whole = std::min(restCount, exponent);
  out = put(out, rest, static_cast<std::size_t>(whole));
  out = putZeros(out, exponent - whole);
  if (restCount > whole) {
    *out++ = '.';
    out = put(out, rest + whole, static_cast<std::size_t>(restCount - whole));
  }
  return static_cast<std::size_t>(out - text);
}

}  // namespace

std::size_t formatNumber(double value, char* text) noexcept { return format(value, text, 17, 1e17); }
std::size_t formatNumber(float value, char* text) noexcept { return format(value, text, 9, 1e9F); }

std::size_t formatNumber(const NumberBody& number, char* text) noexcept {
  switch (number.type) {
    case NumberBody::Type::kFloat: return formatNumber(static_cast<float>(number.real), text);
    case NumberBody::Type::kDouble: return formatNumber(number.real, text);
    case NumberBody::Type::kUInt64:
      return static_cast<std::size_t>(std::to_chars(text, text + kNumberTextSize, number.unsignedInteger).ptr - text);
    default: return static_cast<std::size_t>(std::to_chars(text, text + kNumberTextSize, number.integer).ptr - text);
  }
}

}  // namespace kvt
