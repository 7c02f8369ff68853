// Decimal arithmetic as such, without objects: what `NSDecimalNumber` and the order of numbers are made of; not
// installed.
//
//     Decimal sum;
//     DecimalStatus status = decimalAdd(a, b, {}, sum);
//
// A decimal is kept in one form only: no trailing zeros in the mantissa as long as the exponent can take them, zero
// without a sign. So equal values have equal fields.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "NSDecimalNumber.h"

namespace kvt {

__extension__ using UInt128 = unsigned __int128;

inline constexpr int kDecimalDigits = 38;
inline constexpr int kDecimalMinimumExponent = -128;
inline constexpr int kDecimalMaximumExponent = 127;

struct Decimal {
  UInt128 mantissa = 0;  // below 10^38
  std::int16_t exponent = 0;
  bool negative = false;
  bool notANumber = false;

  bool isZero() const noexcept { return mantissa == 0 && !notANumber; }
  friend bool operator==(const Decimal&, const Decimal&) = default;
};

enum class DecimalStatus : std::uint8_t { kExact, kInexact, kUnderflow, kOverflow, kDivideByZero };

struct DecimalRounding {
  NSRoundingMode mode = NSRoundPlain;
  int scale = NSDecimalNoScale;
};

Decimal decimalNaN() noexcept;
Decimal decimalFromInteger(std::int64_t value) noexcept;
Decimal decimalFromUnsigned(std::uint64_t value) noexcept;
/// Exact when it is an integer of 64 bits, else the shortest text that reads back as the same double. NaN when
/// infinite, NaN or too large.
Decimal decimalFromDouble(double value) noexcept;
/// The normal form of mantissa × 10^exponent, rounded when need be; any mantissa and exponent.
DecimalStatus decimalMake(UInt128 mantissa, std::int64_t exponent, bool negative, const DecimalRounding& rounding,
                          Decimal& result);
/// Reads the number at the start of the text; false when there is no digit. Too large: NaN.
bool decimalParse(std::string_view text, Decimal& result);

// NaN in gives NaN out, and kExact. On overflow and division by zero the result is NaN, on underflow zero.
DecimalStatus decimalAdd(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result);
DecimalStatus decimalMultiply(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result);
DecimalStatus decimalDivide(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result);
DecimalStatus decimalPower(const Decimal& base, std::uint64_t power, const DecimalRounding& rounding, Decimal& result);
DecimalStatus decimalRound(const Decimal& value, const DecimalRounding& rounding, Decimal& result);

/// -1, 0 or 1; neither may be NaN. The second value is ±mantissa × 10^exponent, of any exponent.
int decimalCompare(const Decimal& a, const Decimal& b) noexcept;
/// Compares with a finite double that is no integer of 64 bits, by its shortest text.
int decimalCompareWithDouble(const Decimal& a, double b) noexcept;

std::string decimalText(const Decimal& value);
/// Nearest; NaN for NaN.
double decimalToDouble(const Decimal& value) noexcept;
float decimalToFloat(const Decimal& value) noexcept;
/// The integer part. `magnitude` is that of the number, and saturates at 2^64 - 1 when it is larger.
struct DecimalInteger {
  std::uint64_t magnitude = 0;
  bool negative = false;
  bool exact = false;  // the number has no fraction and was not saturated
};
DecimalInteger decimalToInteger(const Decimal& value) noexcept;

}  // namespace kvt
