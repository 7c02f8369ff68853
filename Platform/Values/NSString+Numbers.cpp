// Numbers at the start of a text, in ASCII digits.
#include <charconv>
#include <climits>
#include <cmath>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSCharacterSetBody.h"
#include "NSObject.h"
#include "NSStringFolding.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

/// The ASCII text behind the leading white space, up to the first other character; a number has no more than that.
std::string numberText(const NSString& text) {
  if (!text) return {};
  const StringBody& body = bodyOf(text);
  const Units units(body);
  const std::size_t end = body.length();
  const NSCharacterSet set = NSCharacterSet::whitespaceAndNewlineCharacterSet();
  const CharacterSetBody& blanks = CharacterSetBody::of(set);
  std::size_t i = 0;
  while (i < end && blanks.contains(units[i])) ++i;
  std::string result;
  constexpr std::string_view kNumberCharacters = "0123456789+-.eEYyTt";
  for (; i < end && units[i] < 0x80 && kNumberCharacters.find(static_cast<char>(units[i])) != std::string_view::npos;
       ++i) {
    result += static_cast<char>(units[i]);
  }
  return result;
}

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isSign(char c) noexcept { return c == '+' || c == '-'; }

template <class T>
T integerOf(const NSString& text) {
  const std::string number = numberText(text);
  std::string_view digits = number;
  const bool negative = digits.starts_with('-');
  if (!digits.empty() && isSign(digits.front())) digits.remove_prefix(1);
  std::uint64_t magnitude = 0;
  constexpr auto kMaximum = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
  const std::uint64_t limit = negative ? kMaximum + 1 : kMaximum;
  for (const char c : digits) {
    if (!isDigit(c)) break;
    const auto digit = static_cast<std::uint64_t>(c - '0');
    if (magnitude > (limit - digit) / 10)
      return negative ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
    magnitude = magnitude * 10 + digit;
  }
  return static_cast<T>(negative ? std::uint64_t{0} - magnitude : magnitude);
}

/// "[sign] digits [. digits] [e [sign] digits]", with a digit before or after the point.
double doubleOf(const NSString& text) {
  const std::string number = numberText(text);
  std::size_t i = 0;
  const bool negative = number.starts_with('-');
  if (i < number.size() && isSign(number[i])) ++i;
  const std::size_t start = i;
  bool hasDigits = false;
  std::ptrdiff_t pointShift = 0;  // decimal places from the first digit that counts to the point
  bool counts = false;
  for (; i < number.size() && isDigit(number[i]); ++i) {
    hasDigits = true;
    counts |= number[i] != '0';
    pointShift += counts;
  }
  if (i < number.size() && number[i] == '.') {
    for (++i; i < number.size() && isDigit(number[i]); ++i) {
      hasDigits = true;
      pointShift -= !counts && number[i] == '0';
      counts |= number[i] != '0';
    }
  }
  if (!hasDigits) return 0;
  std::size_t end = i;
  bool largeExponent = false;
  if (i < number.size() && (number[i] == 'e' || number[i] == 'E')) {
    std::size_t digits = i + 1;
    if (digits < number.size() && isSign(number[digits])) ++digits;
    if (digits < number.size() && isDigit(number[digits])) {
      largeExponent = number[digits - 1] != '-';
      std::ptrdiff_t exponent = 0;
      for (end = digits; end < number.size() && isDigit(number[end]); ++end) {
        exponent = std::min<std::ptrdiff_t>(exponent * 10 + (number[end] - '0'), 1000000000);
      }
      largeExponent = pointShift + (largeExponent ? exponent : -exponent) > 0;
    } else {
      largeExponent = pointShift > 0;
    }
  } else {
    largeExponent = pointShift > 0;
  }
  double value = 0;
  const auto result = std::from_chars(number.data() + start, number.data() + end, value);
  if (result.ec == std::errc::result_out_of_range) value = largeExponent ? HUGE_VAL : 0;
  return negative ? -value : value;
}

}  // namespace

int NSString::intValue() const { return integerOf<int>(*this); }
NSInteger NSString::integerValue() const { return integerOf<NSInteger>(*this); }
long long NSString::longLongValue() const { return integerOf<long long>(*this); }
double NSString::doubleValue() const { return doubleOf(*this); }
float NSString::floatValue() const { return static_cast<float>(doubleOf(*this)); }

bool NSString::boolValue() const {
  const std::string text = numberText(*this);
  std::size_t i = 0;
  if (i < text.size() && isSign(text[i])) ++i;
  while (i < text.size() && text[i] == '0') ++i;
  return i < text.size() && (isDigit(text[i]) || std::string_view("YyTt").find(text[i]) != std::string_view::npos);
}

namespace {

[[maybe_unused]] const bool numbersRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.method<&Self::intValue>("intValue").method<&Self::integerValue>("integerValue");
  c.method<&Self::longLongValue>("longLongValue").method<&Self::doubleValue>("doubleValue");
  c.method<&Self::floatValue>("floatValue").method<&Self::boolValue>("boolValue");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
