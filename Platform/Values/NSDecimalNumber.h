// A number in base ten, for what must not be rounded to binary: 38 significant digits and an exponent from -128 to 127.
//
//     NSDecimalNumber price = NSDecimalNumber::decimalNumberWithString("19.99");
//     NSDecimalNumber total = price.decimalNumberByMultiplyingBy(NSDecimalNumber::decimalNumberWithString("3"));
//     total.description();                                           // "59.97"
//     total.decimalNumberByRoundingToScale_mode(1, NSRoundPlain);    // 60
//
// Results are exact where 38 digits hold them, else rounded once, correctly. "Not a number" is a value of its own: it
// comes out of whatever it goes into, equals itself, and raises nothing. Thread rule: immutable, any thread.
#pragma once

#include "NSNumber.h"

namespace kvt {

enum NSRoundingMode : NSUInteger {
  NSRoundPlain,    // to nearest, a half away from zero
  NSRoundDown,     // towards minus infinity
  NSRoundUp,       // towards plus infinity
  NSRoundBankers,  // to nearest, a half to the even digit
};

/// "As many decimals as there are."
inline constexpr std::int16_t NSDecimalNoScale = INT16_MAX;

/// How an operation rounds, and which of its mishaps raise. What does not raise gives `notANumber` on overflow and
/// division by zero, zero on underflow, the rounded value on lost digits.
struct NSDecimalNumberHandler {
  NSRoundingMode roundingMode = NSRoundPlain;
  std::int16_t scale = NSDecimalNoScale;  // decimals behind the point; negative rounds before it
  bool raiseOnExactness = false;
  bool raiseOnOverflow = true;
  bool raiseOnUnderflow = true;
  bool raiseOnDivideByZero = true;
};

class KVT_EXPORT NSDecimalNumber : public NSNumber {
  KVT_HANDLE(NSDecimalNumber, NSNumber)

 public:
  /// Reads a number at the start of the text: white space, a sign, digits with at most one point, an exponent (`e` or
  /// `E`, a sign, digits); what follows is ignored. `notANumber` when there is no digit, when the number is too large,
  /// and for nil; digits beyond the 38th and below 10^-128 are rounded. O(length).
  static NSDecimalNumber decimalNumberWithString(const NSString& text);
  /// mantissa × 10^exponent. Raises NSDecimalNumberOverflowException or NSDecimalNumberUnderflowException out of range.
  static NSDecimalNumber decimalNumberWithMantissa_exponent_isNegative(std::uint64_t mantissa, std::int16_t exponent,
                                                                       bool isNegative);
  /// The same as `number.decimalValue()`.
  static NSDecimalNumber decimalNumberWithNumber(const NSNumber& number) { return number.decimalValue(); }

  static NSDecimalNumber zero();
  static NSDecimalNumber one();
  static NSDecimalNumber notANumber();
  /// 99999999999999999999999999999999999999 × 10^127, and its negative.
  static NSDecimalNumber maximumDecimalNumber();
  static NSDecimalNumber minimumDecimalNumber();

  // Each answers nil on nil and raises NSInvalidArgumentException for a nil argument; NSDecimalNumberOverflowException
  // when the result is too large, NSDecimalNumberUnderflowException when it is not zero but rounds to it,
  // NSDecimalNumberDivideByZeroException. The forms with a behaviour round and raise as it says.
  NSDecimalNumber decimalNumberByAdding(const NSDecimalNumber& other) const;
  NSDecimalNumber decimalNumberBySubtracting(const NSDecimalNumber& other) const;
  NSDecimalNumber decimalNumberByMultiplyingBy(const NSDecimalNumber& other) const;
  NSDecimalNumber decimalNumberByDividingBy(const NSDecimalNumber& other) const;
  /// Correctly rounded for any power; 1 for the power 0.
  NSDecimalNumber decimalNumberByRaisingToPower(NSUInteger power) const;
  NSDecimalNumber decimalNumberByMultiplyingByPowerOf10(std::int16_t power) const;
  NSDecimalNumber decimalNumberByAdding_withBehavior(const NSDecimalNumber& other,
                                                     const NSDecimalNumberHandler& behavior) const;
  NSDecimalNumber decimalNumberBySubtracting_withBehavior(const NSDecimalNumber& other,
                                                          const NSDecimalNumberHandler& behavior) const;
  NSDecimalNumber decimalNumberByMultiplyingBy_withBehavior(const NSDecimalNumber& other,
                                                            const NSDecimalNumberHandler& behavior) const;
  NSDecimalNumber decimalNumberByDividingBy_withBehavior(const NSDecimalNumber& other,
                                                         const NSDecimalNumberHandler& behavior) const;
  NSDecimalNumber decimalNumberByRaisingToPower_withBehavior(NSUInteger power,
                                                             const NSDecimalNumberHandler& behavior) const;
  NSDecimalNumber decimalNumberByMultiplyingByPowerOf10_withBehavior(std::int16_t power,
                                                                     const NSDecimalNumberHandler& behavior) const;

  NSDecimalNumber decimalNumberByRoundingAccordingToBehavior(const NSDecimalNumberHandler& behavior) const;
  NSDecimalNumber decimalNumberByRoundingToScale_mode(std::int16_t scale, NSRoundingMode mode) const;

  bool isNotANumber() const noexcept;
  bool isNegative() const noexcept;

  // `objCType` is "d"; `getValue` copies the nearest double. `description` and `stringValue` write all digits and no
  // exponent, as "1200" or "0.00012", and "NaN". Readers, `compare` and equality are those of `NSNumber`.
};

}  // namespace kvt
