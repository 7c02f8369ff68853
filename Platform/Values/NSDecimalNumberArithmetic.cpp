#include "NSDecimalNumberArithmetic.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

#include <boost/multiprecision/cpp_int.hpp>

#include "NSNumberBody.h"

namespace kvt {
namespace {

namespace mp = boost::multiprecision;

/// Holds two mantissas aligned over the whole range of exponents: 38 + 255 digits. Never allocates.
using Wide = mp::number<mp::cpp_int_backend<1024, 1024, mp::unsigned_magnitude, mp::unchecked, void>>;
constexpr int kWideDigits = 308;

using Unbounded = mp::cpp_int;

constexpr UInt128 powerOfTen(int n) noexcept {
  UInt128 power = 1;
  while (n-- > 0) power *= 10;
  return power;
}

constexpr auto kPowers = [] {
  std::array<UInt128, kDecimalDigits + 1> powers{};
  for (int i = 0; i <= kDecimalDigits; ++i) powers[static_cast<std::size_t>(i)] = powerOfTen(i);
  return powers;
}();

constexpr UInt128 tenTo(int n) noexcept { return kPowers[static_cast<std::size_t>(n)]; }

int bitLength(UInt128 value) noexcept {
  const auto high = static_cast<std::uint64_t>(value >> 64);
  const auto low = static_cast<std::uint64_t>(value);
  return high != 0 ? 128 - __builtin_clzll(high) : low != 0 ? 64 - __builtin_clzll(low) : 0;
}

/// Decimal digits; 0 has none.
int digitCount(UInt128 value) noexcept {
  if (value == 0) return 0;
  const int estimate = bitLength(value) * 1233 >> 12;  // log10(2)
  return estimate > kDecimalDigits || value >= tenTo(estimate) ? estimate + 1 : estimate;
}

const Wide& wideTenTo(int n) {
  static const auto powers = [] {
    std::array<Wide, kWideDigits + 1> table;
    table[0] = 1;
    for (std::size_t i = 1; i < table.size(); ++i) table[i] = table[i - 1] * 10;
    return table;
  }();
  return powers[static_cast<std::size_t>(n)];
}

template <class Big>
Big bigTenTo(std::int64_t n) {
  if constexpr (std::is_same_v<Big, Wide>) {
    return wideTenTo(static_cast<int>(n));
  } else {
    return mp::pow(Big(10), static_cast<unsigned>(n));
  }
}

template <class Big>
std::int64_t bigDigitCount(const Big& value) {
  if (value == 0) return 0;
  const auto bits = static_cast<std::int64_t>(mp::msb(value)) + 1;
  // 30103 / 100000 is log10(2) and a trifle: the estimate may be one off, either way.
  const std::int64_t estimate = (bits - 1) * 30103 / 100000 + 1;
  std::int64_t digits = estimate;
  if (value < bigTenTo<Big>(digits - 1))
    --digits;
  else if (value >= bigTenTo<Big>(digits))
    ++digits;
  return digits;
}

template <class Big>
Big fromMantissa(UInt128 value) {
  Big big = static_cast<std::uint64_t>(value >> 64);
  big <<= 64;
  big |= static_cast<std::uint64_t>(value);
  return big;
}

template <class Big>
UInt128 toMantissa(const Big& value) {
  const Big low = value & UINT64_MAX;
  const Big high = value >> 64;
  return static_cast<UInt128>(static_cast<std::uint64_t>(high)) << 64 | static_cast<std::uint64_t>(low);
}

/// Where the part that is cut off lies against half of the last digit that stays.
enum class Rest : std::uint8_t { kNone, kBelowHalf, kHalf, kAboveHalf };

bool roundsAway(Rest rest, bool lastIsOdd, bool negative, NSRoundingMode mode) noexcept {
  if (rest == Rest::kNone) return false;
  switch (mode) {
    case NSRoundDown: return negative;
    case NSRoundUp: return !negative;
    case NSRoundBankers: return rest == Rest::kAboveHalf || (rest == Rest::kHalf && lastIsOdd);
    case NSRoundPlain: break;
  }
  return rest >= Rest::kHalf;
}

/// Brings the mantissa, below 10^38 and with an exponent not below the smallest, to its one form.
DecimalStatus normalize(UInt128 mantissa, std::int64_t exponent, bool negative, DecimalStatus status, Decimal& result) {
  if (mantissa == 0) {
    result = Decimal{};
    return status;
  }
  while (exponent > kDecimalMaximumExponent && mantissa < tenTo(kDecimalDigits - 1)) {
    mantissa *= 10;
    --exponent;
  }
  if (exponent > kDecimalMaximumExponent) {
    result = decimalNaN();
    return DecimalStatus::kOverflow;
  }
  while (exponent < kDecimalMaximumExponent && mantissa % 10 == 0) {
    mantissa /= 10;
    ++exponent;
  }
  result = Decimal{mantissa, static_cast<std::int16_t>(exponent), negative, false};
  return status;
}

/// How many digits of a number have to go.
std::int64_t digitsToDrop(std::int64_t digits, std::int64_t exponent, const DecimalRounding& rounding) noexcept {
  std::int64_t drop = std::max<std::int64_t>(0, digits - kDecimalDigits);
  drop = std::max(drop, kDecimalMinimumExponent - exponent);
  if (rounding.scale != NSDecimalNoScale) drop = std::max(drop, -static_cast<std::int64_t>(rounding.scale) - exponent);
  return drop;
}

/// Rounds magnitude × 10^exponent to what a decimal holds. `more`: the true value is a little larger than the magnitude
/// says, by less than one; the magnitude then has more than 38 digits.
template <class Big>
DecimalStatus finish(const Big& magnitude, std::int64_t exponent, bool negative, bool more,
                     const DecimalRounding& rounding, Decimal& result) {
  if (magnitude == 0) {
    result = Decimal{};
    return DecimalStatus::kExact;
  }
  const std::int64_t digits = bigDigitCount(magnitude);
  const std::int64_t drop = digitsToDrop(digits, exponent, rounding);
  if (drop == 0) return normalize(toMantissa(magnitude), exponent, negative, DecimalStatus::kExact, result);

  Big kept = 0;
  Rest rest = Rest::kBelowHalf;
  if (drop <= digits) {
    const Big divisor = bigTenTo<Big>(drop);
    Big remainder;
    mp::divide_qr(magnitude, divisor, kept, remainder);
    const Big half = divisor / 2;
    if (remainder > half || (remainder == half && more))
      rest = Rest::kAboveHalf;
    else if (remainder == half)
      rest = Rest::kHalf;
    else if (remainder != 0 || more)
      rest = Rest::kBelowHalf;
    else
      rest = Rest::kNone;
  }
  UInt128 mantissa = toMantissa(kept);
  if (roundsAway(rest, (mantissa & 1) != 0, negative, rounding.mode)) ++mantissa;
  exponent += drop;
  if (mantissa == tenTo(kDecimalDigits)) {
    mantissa /= 10;
    ++exponent;
  }
  DecimalStatus status = rest == Rest::kNone ? DecimalStatus::kExact : DecimalStatus::kInexact;
  // A number that a scale rounds to zero is rounded as asked; one that is too small for any decimal is lost.
  const bool tooSmall = exponent == kDecimalMinimumExponent && !(rounding.scale <= -kDecimalMinimumExponent);
  if (mantissa == 0 && tooSmall) status = DecimalStatus::kUnderflow;
  return normalize(mantissa, exponent, negative, status, result);
}

DecimalStatus answerNaN(Decimal& result) noexcept {
  result = decimalNaN();
  return DecimalStatus::kExact;
}

bool parseExponent(std::string_view text, std::int64_t& exponent) noexcept {
  std::size_t i = 1;  // behind the letter
  bool negative = false;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) negative = text[i++] == '-';
  std::int64_t value = 0;
  const std::size_t first = i;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    // Larger than any number of digits in front of it can make up for.
    if (value < std::int64_t{1} << 40) value = value * 10 + (text[i] - '0');
  }
  if (i == first) return false;
  exponent = negative ? -value : value;
  return true;
}

}  // namespace

// ---- making -------------------------------------------------------------------------------------------------------

Decimal decimalNaN() noexcept { return Decimal{0, 0, false, true}; }

Decimal decimalFromUnsigned(std::uint64_t value) noexcept {
  Decimal result;
  normalize(value, 0, false, DecimalStatus::kExact, result);
  return result;
}

Decimal decimalFromInteger(std::int64_t value) noexcept {
  Decimal result =
      decimalFromUnsigned(value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value));
  result.negative = value < 0;
  return result;
}

Decimal decimalFromDouble(double value) noexcept {
  if (!std::isfinite(value)) return decimalNaN();
  if (value == std::trunc(value) && value >= -0x1p63 && value < 0x1p63)
    return decimalFromInteger(static_cast<std::int64_t>(value));
  if (value == std::trunc(value) && value > 0 && value < 0x1p64)
    return decimalFromUnsigned(static_cast<std::uint64_t>(value));
  char text[kNumberTextSize];
  Decimal result;
  return decimalParse({text, formatNumber(value, text)}, result) ? result : decimalNaN();
}

DecimalStatus decimalMake(UInt128 mantissa, std::int64_t exponent, bool negative, const DecimalRounding& rounding,
                          Decimal& result) {
  if (rounding.scale == NSDecimalNoScale && mantissa < tenTo(kDecimalDigits) && exponent >= kDecimalMinimumExponent) {
    return normalize(mantissa, exponent, negative, DecimalStatus::kExact, result);
  }
  return finish(fromMantissa<Wide>(mantissa), exponent, negative, false, rounding, result);
}

bool decimalParse(std::string_view text, Decimal& result) {
  std::size_t i = text.find_first_not_of(" \t\n\v\f\r");
  if (i == std::string_view::npos) return false;
  bool negative = false;
  if (text[i] == '+' || text[i] == '-') negative = text[i++] == '-';

  // 38 digits and the one that decides the rounding; of the others only whether they are all 0.
  UInt128 leading = 0;
  int leadingCount = 0;
  unsigned deciding = 0;
  bool hasDeciding = false, more = false, any = false, point = false;
  std::int64_t exponent = 0;
  for (; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '.' && !point) {
      point = true;
      continue;
    }
    if (c < '0' || c > '9') break;
    any = true;
    const auto digit = static_cast<unsigned>(c - '0');
    if (leadingCount < kDecimalDigits) {
      leading = leading * 10 + digit;
      if (leading != 0) ++leadingCount;
      if (point) --exponent;
      continue;
    }
    if (!hasDeciding) {
      hasDeciding = true;
      deciding = digit;
      if (point) --exponent;
      continue;
    }
    more = more || digit != 0;
    if (!point) ++exponent;
  }
  if (!any) return false;
  std::int64_t written = 0;
  if (i < text.size() && (text[i] == 'e' || text[i] == 'E') && parseExponent(text.substr(i), written))
    exponent += written;
  if (!hasDeciding) {
    decimalMake(leading, exponent, negative, {}, result);
  } else {
    finish(Wide(fromMantissa<Wide>(leading) * 10 + deciding), exponent, negative, more, {}, result);
  }
  return true;
}

// ---- arithmetic ---------------------------------------------------------------------------------------------------

DecimalStatus decimalAdd(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result) {
  if (a.notANumber || b.notANumber) return answerNaN(result);
  if (a.isZero()) return decimalRound(b, rounding, result);
  if (b.isZero()) return decimalRound(a, rounding, result);
  const Decimal& high = a.exponent >= b.exponent ? a : b;
  const Decimal& low = a.exponent >= b.exponent ? b : a;
  const int shift = high.exponent - low.exponent;

  // Mostly the sum fits a machine's integers.
  if (digitCount(high.mantissa) + shift < kDecimalDigits && low.mantissa < tenTo(kDecimalDigits - 1)) {
    const UInt128 aligned = high.mantissa * tenTo(shift);
    if (high.negative == low.negative) {
      return decimalMake(aligned + low.mantissa, low.exponent, high.negative, rounding, result);
    }
    const bool highIsLarger = aligned >= low.mantissa;
    return decimalMake(highIsLarger ? aligned - low.mantissa : low.mantissa - aligned, low.exponent,
                       highIsLarger ? high.negative : low.negative, rounding, result);
  }
  const Wide aligned = fromMantissa<Wide>(high.mantissa) * wideTenTo(shift);
  const Wide other = fromMantissa<Wide>(low.mantissa);
  if (high.negative == low.negative) {
    return finish(Wide(aligned + other), low.exponent, high.negative, false, rounding, result);
  }
  const bool highIsLarger = aligned >= other;
  return finish(highIsLarger ? Wide(aligned - other) : Wide(other - aligned), low.exponent,
                highIsLarger ? high.negative : low.negative, false, rounding, result);
}

DecimalStatus decimalMultiply(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result) {
  if (a.notANumber || b.notANumber) return answerNaN(result);
  const std::int64_t exponent = std::int64_t{a.exponent} + b.exponent;
  const bool negative = a.negative != b.negative;
  if (bitLength(a.mantissa) + bitLength(b.mantissa) <= 126) {
    return decimalMake(a.mantissa * b.mantissa, exponent, negative, rounding, result);
  }
  return finish(Wide(fromMantissa<Wide>(a.mantissa) * fromMantissa<Wide>(b.mantissa)), exponent, negative, false,
                rounding, result);
}

DecimalStatus decimalDivide(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result) {
  if (a.notANumber || b.notANumber) return answerNaN(result);
  if (b.isZero()) {
    result = decimalNaN();
    return DecimalStatus::kDivideByZero;
  }
  // Enough digits that the quotient has two more than are kept: the remainder then only says whether it is exact.
  const int shift = std::max(0, kDecimalDigits + 2 + digitCount(b.mantissa) - digitCount(a.mantissa));
  const Wide numerator = fromMantissa<Wide>(a.mantissa) * wideTenTo(shift);
  Wide quotient, remainder;
  mp::divide_qr(numerator, fromMantissa<Wide>(b.mantissa), quotient, remainder);
  return finish(quotient, std::int64_t{a.exponent} - b.exponent - shift, a.negative != b.negative, remainder != 0,
                rounding, result);
}

DecimalStatus decimalRound(const Decimal& value, const DecimalRounding& rounding, Decimal& result) {
  if (value.notANumber) return answerNaN(result);
  return decimalMake(value.mantissa, value.exponent, value.negative, rounding, result);
}

namespace {

/// A lower bound of a power, and by how much it may be too small: value ≤ true value ≤ value × (1 + error × 10^(1 -
/// digits)).
struct Approximation {
  Unbounded mantissa = 1;
  std::int64_t exponent = 0;
  UInt128 error = 0;  // 0: exact

  void cut(std::int64_t digits) {
    const std::int64_t drop = bigDigitCount(mantissa) - digits;
    if (drop <= 0) return;
    Unbounded remainder;
    Unbounded kept;
    mp::divide_qr(mantissa, bigTenTo<Unbounded>(drop), kept, remainder);
    mantissa = kept;
    exponent += drop;
    // (1 + e)(1 + u) = 1 + e + u + eu, and the last term is far below another u.
    if (remainder != 0) error += error == 0 ? 1 : 2;
  }
};

Approximation multiply(const Approximation& a, const Approximation& b, std::int64_t digits) {
  Approximation product;
  product.mantissa = a.mantissa * b.mantissa;
  product.exponent = a.exponent + b.exponent;
  // The same: (1 + x)(1 + y) = 1 + x + y + xy.
  product.error = a.error + b.error + (a.error != 0 && b.error != 0 ? 1 : 0);
  product.cut(digits);
  return product;
}

Approximation powerOf(const Decimal& base, std::uint64_t power, std::int64_t digits) {
  Approximation result;
  Approximation square;
  square.mantissa = fromMantissa<Unbounded>(base.mantissa);
  square.exponent = base.exponent;
  for (;; square = multiply(square, square, digits)) {
    if ((power & 1) != 0) result = multiply(result, square, digits);
    power >>= 1;
    if (power == 0) return result;
  }
}

/// log10 of the magnitude, with a small relative error also next to 1.
double logarithm(Decimal value) {
  value.negative = false;
  Decimal distance;
  decimalAdd(value, Decimal{1, 0, true, false}, {}, distance);
  const double fromOne = decimalToDouble(distance);
  if (std::fabs(fromOne) < 0.5) return std::log1p(fromOne) / std::log(10.0);
  return std::log10(static_cast<double>(value.mantissa)) + value.exponent;
}

}  // namespace

DecimalStatus decimalPower(const Decimal& base, std::uint64_t power, const DecimalRounding& rounding, Decimal& result) {
  if (base.notANumber) return answerNaN(result);
  if (power == 0) return decimalMake(1, 0, false, rounding, result);
  if (base.isZero()) {
    result = Decimal{};
    return DecimalStatus::kExact;
  }
  const bool negative = base.negative && (power & 1) != 0;
  // Far beyond both ends of the range there is nothing to compute: the magnitude's logarithm decides.
  const double magnitude = static_cast<double>(power) * logarithm(base);
  if (magnitude > 200) {
    result = decimalNaN();
    return DecimalStatus::kOverflow;
  }
  if (magnitude < -200) return finish(Wide(1), -400, negative, false, rounding, result);

  // With more and more digits, until both ends of what the power may be round to the same decimal. An exact power ends
  // the search because its error is 0.
  for (std::int64_t digits = 2 * kDecimalDigits + 24;; digits *= 2) {
    const Approximation low = powerOf(base, power, digits);
    const DecimalStatus status = finish(low.mantissa, low.exponent, negative, low.error != 0, rounding, result);
    if (low.error == 0) return status;
    // The mantissa has `digits` digits, so the error is at most ten units of its last place for each.
    Unbounded upper = low.mantissa + fromMantissa<Unbounded>(low.error) * 10;
    Decimal fromUpper;
    if (finish(upper, low.exponent, negative, true, rounding, fromUpper) == status && fromUpper == result)
      return status;
  }
}

// ---- order --------------------------------------------------------------------------------------------------------

namespace {

/// Magnitudes of two numbers that are not zero.
int compareMagnitudes(UInt128 a, std::int64_t aExponent, UInt128 b, std::int64_t bExponent) noexcept {
  const std::int64_t aTop = digitCount(a) + aExponent;
  const std::int64_t bTop = digitCount(b) + bExponent;
  if (aTop != bTop) return aTop < bTop ? -1 : 1;
  // As many digits before the point: aligned, both have the longer one's, at most 38.
  if (aExponent > bExponent)
    a *= tenTo(static_cast<int>(aExponent - bExponent));
  else
    b *= tenTo(static_cast<int>(bExponent - aExponent));
  return a < b ? -1 : a > b ? 1 : 0;
}

int compareSigned(const Decimal& a, UInt128 bMantissa, std::int64_t bExponent, bool bNegative) noexcept {
  const int aSign = a.mantissa == 0 ? 0 : a.negative ? -1 : 1;
  const int bSign = bMantissa == 0 ? 0 : bNegative ? -1 : 1;
  if (aSign != bSign) return aSign < bSign ? -1 : 1;
  if (aSign == 0) return 0;
  return aSign * compareMagnitudes(a.mantissa, a.exponent, bMantissa, bExponent);
}

}  // namespace

int decimalCompare(const Decimal& a, const Decimal& b) noexcept {
  return compareSigned(a, b.mantissa, b.exponent, b.negative);
}

int decimalCompareWithDouble(const Decimal& a, double b) noexcept {
  char text[kNumberTextSize];
  const char* end = std::to_chars(text, text + sizeof text, b, std::chars_format::scientific).ptr;
  const char* p = text;
  const bool negative = *p == '-';
  if (negative) ++p;
  std::uint64_t mantissa = 0;
  int decimals = 0;
  bool point = false;
  for (; *p != 'e'; ++p) {
    if (*p == '.') {
      point = true;
      continue;
    }
    mantissa = mantissa * 10 + static_cast<unsigned>(*p - '0');
    if (point) ++decimals;
  }
  int exponent = 0;
  std::from_chars(p + (p[1] == '+' ? 2 : 1), end, exponent);
  return compareSigned(a, mantissa, exponent - decimals, negative);
}

// ---- reading ------------------------------------------------------------------------------------------------------

namespace {

/// The mantissa's digits, without a NUL.
std::size_t writeDigits(UInt128 value, char* text) noexcept {
  const UInt128 high = value / tenTo(19);
  const auto low = static_cast<std::uint64_t>(value % tenTo(19));
  if (high == 0) return static_cast<std::size_t>(std::to_chars(text, text + 20, low).ptr - text);
  char* p = std::to_chars(text, text + 20, static_cast<std::uint64_t>(high)).ptr;
  char rest[20];
  const char* end = std::to_chars(rest, rest + sizeof rest, low).ptr;
  const std::size_t count = static_cast<std::size_t>(end - rest);
  std::memset(p, '0', 19 - count);
  std::memcpy(p + 19 - count, rest, count);
  return static_cast<std::size_t>(p - text) + 19;
}

template <class T>
T nearest(const Decimal& value) noexcept {
  if (value.notANumber) return std::numeric_limits<T>::quiet_NaN();
  char text[64];
  char* p = text;
  if (value.negative) *p++ = '-';
  p += writeDigits(value.mantissa, p);
  *p++ = 'e';
  p = std::to_chars(p, text + sizeof text, value.exponent).ptr;
  T result = 0;
  if (std::from_chars(text, p, result).ec == std::errc::result_out_of_range) {
    const bool large = value.exponent > 0;
    result = large ? std::numeric_limits<T>::infinity() : T(0);
    if (value.negative) result = -result;
  }
  return result;
}

}  // namespace

std::string decimalText(const Decimal& value) {
  if (value.notANumber) return "NaN";
  char digits[kDecimalDigits + 2];
  const auto count = static_cast<int>(writeDigits(value.mantissa, digits));
  std::string text;
  if (value.negative) text += '-';
  if (value.exponent >= 0) {
    text.append(digits, static_cast<std::size_t>(count));
    text.append(static_cast<std::size_t>(value.exponent), '0');
    return text;
  }
  const int whole = count + value.exponent;
  if (whole > 0) {
    text.append(digits, static_cast<std::size_t>(whole));
  } else {
    text += '0';
  }
  text += '.';
  if (whole < 0) text.append(static_cast<std::size_t>(-whole), '0');
  const int first = std::max(whole, 0);
  text.append(digits + first, static_cast<std::size_t>(count - first));
  return text;
}

double decimalToDouble(const Decimal& value) noexcept { return nearest<double>(value); }
float decimalToFloat(const Decimal& value) noexcept { return nearest<float>(value); }

DecimalInteger decimalToInteger(const Decimal& value) noexcept {
  DecimalInteger result;
  if (value.notANumber) return result;
  UInt128 whole = value.mantissa;
  bool exact = true;
  if (value.exponent < 0) {
    const int drop = -value.exponent;
    exact = false;  // in the normal form the last digit is not 0
    whole = drop > kDecimalDigits ? 0 : value.mantissa / tenTo(drop);
  } else if (value.exponent > 0 && whole != 0) {
    const bool tooLarge = digitCount(whole) + value.exponent > 20;
    whole = tooLarge ? static_cast<UInt128>(UINT64_MAX) + 1 : whole * tenTo(value.exponent);
  }
  const bool saturated = whole > UINT64_MAX;
  result.magnitude = saturated ? UINT64_MAX : static_cast<std::uint64_t>(whole);
  result.negative = value.negative && result.magnitude != 0;
  result.exact = exact && !saturated;
  return result;
}

}  // namespace kvt
