// A boxed number. It remembers the C++ type it was made from; comparing, equality and hash go by the numeric value
// alone.
//
//     NSNumber answer = 42;                       // any arithmetic type converts
//     answer.objCType();                          // "i"
//     answer == NSNumber(42.0);                   // YES
//     NSNumber(UINT64_MAX).compare(NSNumber(-1)); // NSOrderedDescending: exact, whatever the types
//     NSNumber(true).isBool();                    // YES, though its type code is "c"
//
// Booleans and the integers -1 … 255 of the types int and int64_t are shared and cost no allocation; other numbers take
// 32 bytes. Every reader answers 0 (NO, nil) on nil. Thread rule: immutable, any thread.
#pragma once

#include "NSValue.h"

namespace kvt {

class NSString;
class NSDecimalNumber;

class KVT_EXPORT NSNumber : public NSValue {
  KVT_HANDLE(NSNumber, NSValue)

 public:
  // What a conversion boxes; the comment is the type code that `objCType` answers.
  NSNumber(bool value);                // c
  NSNumber(char value);                // c
  NSNumber(signed char value);         // c
  NSNumber(unsigned char value);       // C
  NSNumber(short value);               // s
  NSNumber(unsigned short value);      // S
  NSNumber(int value);                 // i
  NSNumber(unsigned value);            // I
  NSNumber(long value);                // q
  NSNumber(unsigned long value);       // Q
  NSNumber(long long value);           // q
  NSNumber(unsigned long long value);  // Q
  NSNumber(float value);               // f
  NSNumber(double value);              // d
  NSNumber(long double value);         // d: narrowed to the nearest double
  // A pointer must not become a boolean on its way here.
  template <class T>
  NSNumber(T*) = delete;
  template <class T, class C>
  NSNumber(T C::*) = delete;

  static NSNumber numberWithBool(bool value) { return value; }
  static NSNumber numberWithChar(std::int8_t value) { return value; }
  static NSNumber numberWithUnsignedChar(std::uint8_t value) { return value; }
  static NSNumber numberWithShort(std::int16_t value) { return value; }
  static NSNumber numberWithUnsignedShort(std::uint16_t value) { return value; }
  static NSNumber numberWithInt(std::int32_t value) { return value; }
  static NSNumber numberWithUnsignedInt(std::uint32_t value) { return value; }
  static NSNumber numberWithLong(std::int64_t value) { return value; }
  static NSNumber numberWithUnsignedLong(std::uint64_t value) { return value; }
  static NSNumber numberWithLongLong(std::int64_t value) { return value; }
  static NSNumber numberWithUnsignedLongLong(std::uint64_t value) { return value; }
  static NSNumber numberWithInteger(NSInteger value) { return value; }
  static NSNumber numberWithUnsignedInteger(NSUInteger value) { return value; }
  static NSNumber numberWithFloat(float value) { return value; }
  static NSNumber numberWithDouble(double value) { return value; }

  // Conversions never fail. An integer keeps its low bits when it does not fit (as a C cast does). A float, double or
  // decimal loses its fraction, and one that does not fit gives the nearest value of the target type (a negative one 0
  // for the unsigned types); NaN gives 0.
  /// NO for zero alone (NaN is YES).
  bool boolValue() const noexcept;
  std::int8_t charValue() const noexcept;
  std::uint8_t unsignedCharValue() const noexcept;
  std::int16_t shortValue() const noexcept;
  std::uint16_t unsignedShortValue() const noexcept;
  std::int32_t intValue() const noexcept;
  std::uint32_t unsignedIntValue() const noexcept;
  std::int64_t longValue() const noexcept { return longLongValue(); }
  std::uint64_t unsignedLongValue() const noexcept { return unsignedLongLongValue(); }
  std::int64_t longLongValue() const noexcept;
  std::uint64_t unsignedLongLongValue() const noexcept;
  NSInteger integerValue() const noexcept { return longLongValue(); }
  NSUInteger unsignedIntegerValue() const noexcept { return unsignedLongLongValue(); }
  /// The nearest float; too large ones are infinite.
  float floatValue() const noexcept;
  /// The nearest double.
  double doubleValue() const noexcept;
  /// As a decimal number: exact for every integer type and for floating values that are integers of 64 bits; other
  /// floating values by their shortest text (0.1 gives 0.1). Infinite, NaN or beyond the decimals' range: `notANumber`.
  NSDecimalNumber decimalValue() const;

  /// The same as `description`: integers in decimal, booleans "1" and "0"; floating values by the shortest digits that
  /// read back as the same value of their type: "0.1", "3", "1e+20", "inf", "-inf", "nan".
  NSString stringValue() const;

  /// By exact numeric value across all types, without any loss. A floating value that is no integer is compared with a
  /// decimal by its shortest text. -0 equals 0; NaN equals NaN, and stands between the negative numbers and 0. Raises
  /// NSInvalidArgumentException for nil.
  NSComparisonResult compare(const NSNumber& other) const;
  /// `compare` answers NSOrderedSame: 1 equals 1.0 equals true. NO for nil on either side. Equal numbers have equal
  /// hashes.
  bool isEqualToNumber(const NSNumber& other) const;

  /// Whether it was made from a boolean (JSON writes it as `true` or `false`).
  bool isBool() const noexcept;
  /// Whether it holds a float or double; NO for decimals.
  bool isFloatingPoint() const noexcept;
};

}  // namespace kvt
