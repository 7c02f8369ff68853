#include "NSDecimalNumber.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSDecimalNumberBody.h"
#include "NSString.h"

namespace kvt {
namespace {

using Operation = DecimalStatus (*)(const Decimal&, const Decimal&, const DecimalRounding&, Decimal&);

Decimal valueOf(const NSDecimalNumber& number) noexcept { return DecimalNumberBody::of(number.object())->value(); }

NSDecimalNumber numberWith(const Decimal& value) { return NSDecimalNumber(adopt, DecimalNumberBody::create(value)); }

NSDecimalNumber shared(const Decimal& value) {
  DecimalNumberBody* body = DecimalNumberBody::create(value);
  ObjectAccess::makeImmortal(body);
  return NSDecimalNumber(adopt, body);
}

Decimal largest(bool negative) noexcept {
  UInt128 mantissa = 1;
  for (int i = 0; i < kDecimalDigits; ++i) mantissa *= 10;
  return {mantissa - 1, kDecimalMaximumExponent, negative, false};
}

/// What an operation came to, raised where the behaviour says so.
NSDecimalNumber conclude(DecimalStatus status, const Decimal& result, const NSDecimalNumberHandler& behavior) {
  switch (status) {
    case DecimalStatus::kExact: break;
    case DecimalStatus::kInexact:
      if (behavior.raiseOnExactness) {
        objc_raise("NSDecimalNumberExactnessException", "NSDecimalNumber exactness exception");
      }
      break;
    case DecimalStatus::kUnderflow:
      if (behavior.raiseOnUnderflow) {
        objc_raise("NSDecimalNumberUnderflowException", "NSDecimalNumber underflow exception");
      }
      break;
    case DecimalStatus::kOverflow:
      if (behavior.raiseOnOverflow) {
        objc_raise("NSDecimalNumberOverflowException", "NSDecimalNumber overflow exception");
      }
      break;
    case DecimalStatus::kDivideByZero:
      if (behavior.raiseOnDivideByZero) {
        objc_raise("NSDecimalNumberDivideByZeroException", "NSDecimalNumber divide by zero exception");
      }
      break;
  }
  return numberWith(result);
}

DecimalRounding roundingOf(const NSDecimalNumberHandler& behavior) noexcept {
  return {behavior.roundingMode, behavior.scale};
}

NSDecimalNumber apply(Operation operation, const NSDecimalNumber& a, const NSDecimalNumber& b,
                      const NSDecimalNumberHandler& behavior, const char* selector) {
  if (!a) return {};
  if (!b) {
    objc_raise("NSInvalidArgumentException", "-[NSDecimalNumber " + std::string(selector) + "]: nil argument");
  }
  Decimal result;
  const DecimalStatus status = operation(valueOf(a), valueOf(b), roundingOf(behavior), result);
  return conclude(status, result, behavior);
}

DecimalStatus subtract(const Decimal& a, const Decimal& b, const DecimalRounding& rounding, Decimal& result) {
  Decimal negated = b;
  negated.negative = !b.negative && !b.isZero();
  return decimalAdd(a, negated, rounding, result);
}

}  // namespace

Class NSDecimalNumber::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSDecimalNumber> c("NSDecimalNumber", classOf<NSNumber>());
    using N = NSDecimalNumber;
    c.classMethod<&N::decimalNumberWithString>("decimalNumberWithString:");
    c.classMethod<&N::decimalNumberWithMantissa_exponent_isNegative>("decimalNumberWithMantissa:exponent:isNegative:");
    c.classMethod<&N::zero>("zero").classMethod<&N::one>("one").classMethod<&N::notANumber>("notANumber");
    c.classMethod<&N::maximumDecimalNumber>("maximumDecimalNumber");
    c.classMethod<&N::minimumDecimalNumber>("minimumDecimalNumber");
    c.method<&N::decimalNumberByAdding>("decimalNumberByAdding:");
    c.method<&N::decimalNumberBySubtracting>("decimalNumberBySubtracting:");
    c.method<&N::decimalNumberByMultiplyingBy>("decimalNumberByMultiplyingBy:");
    c.method<&N::decimalNumberByDividingBy>("decimalNumberByDividingBy:");
    c.method<&N::decimalNumberByRaisingToPower>("decimalNumberByRaisingToPower:");
    c.method<&N::decimalNumberByMultiplyingByPowerOf10>("decimalNumberByMultiplyingByPowerOf10:");
    return c.registerClass();
  }();
  return cls;
}

bool NSDecimalNumber::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kDecimalNumberKind, kDecimalNumberKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSDecimalNumber>(), true);

NSDecimalNumber NSDecimalNumber::decimalNumberWithString(const NSString& text) {
  Decimal value;
  if (!text || !decimalParse(text.str(), value)) return notANumber();
  return numberWith(value);
}

NSDecimalNumber NSDecimalNumber::decimalNumberWithMantissa_exponent_isNegative(std::uint64_t mantissa,
                                                                               std::int16_t exponent, bool isNegative) {
  Decimal value;
  const DecimalStatus status = decimalMake(mantissa, exponent, isNegative, {}, value);
  return conclude(status, value, {});
}

NSDecimalNumber NSDecimalNumber::zero() {
  static const NSDecimalNumber number = shared(decimalFromInteger(0));
  return number;
}
NSDecimalNumber NSDecimalNumber::one() {
  static const NSDecimalNumber number = shared(decimalFromInteger(1));
  return number;
}
NSDecimalNumber NSDecimalNumber::notANumber() {
  static const NSDecimalNumber number = shared(decimalNaN());
  return number;
}
NSDecimalNumber NSDecimalNumber::maximumDecimalNumber() {
  static const NSDecimalNumber number = shared(largest(false));
  return number;
}
NSDecimalNumber NSDecimalNumber::minimumDecimalNumber() {
  static const NSDecimalNumber number = shared(largest(true));
  return number;
}

// ---- arithmetic ---------------------------------------------------------------------------------------------------

NSDecimalNumber NSDecimalNumber::decimalNumberByAdding_withBehavior(const NSDecimalNumber& other,
                                                                    const NSDecimalNumberHandler& behavior) const {
  return apply(&decimalAdd, *this, other, behavior, "decimalNumberByAdding:");
}
NSDecimalNumber NSDecimalNumber::decimalNumberBySubtracting_withBehavior(const NSDecimalNumber& other,
                                                                         const NSDecimalNumberHandler& behavior) const {
  return apply(&subtract, *this, other, behavior, "decimalNumberBySubtracting:");
}
NSDecimalNumber NSDecimalNumber::decimalNumberByMultiplyingBy_withBehavior(
    const NSDecimalNumber& other, const NSDecimalNumberHandler& behavior) const {
  return apply(&decimalMultiply, *this, other, behavior, "decimalNumberByMultiplyingBy:");
}
NSDecimalNumber NSDecimalNumber::decimalNumberByDividingBy_withBehavior(const NSDecimalNumber& other,
                                                                        const NSDecimalNumberHandler& behavior) const {
  return apply(&decimalDivide, *this, other, behavior, "decimalNumberByDividingBy:");
}
NSDecimalNumber NSDecimalNumber::decimalNumberByRaisingToPower_withBehavior(
    NSUInteger power, const NSDecimalNumberHandler& behavior) const {
  if (!*this) return {};
  Decimal result;
  const DecimalStatus status = decimalPower(valueOf(*this), power, roundingOf(behavior), result);
  return conclude(status, result, behavior);
}
NSDecimalNumber NSDecimalNumber::decimalNumberByMultiplyingByPowerOf10_withBehavior(
    std::int16_t power, const NSDecimalNumberHandler& behavior) const {
  if (!*this) return {};
  const Decimal value = valueOf(*this);
  if (value.notANumber) return *this;
  Decimal result;
  const DecimalStatus status =
      decimalMake(value.mantissa, std::int64_t{value.exponent} + power, value.negative, roundingOf(behavior), result);
  return conclude(status, result, behavior);
}

NSDecimalNumber NSDecimalNumber::decimalNumberByAdding(const NSDecimalNumber& other) const {
  return decimalNumberByAdding_withBehavior(other, {});
}
NSDecimalNumber NSDecimalNumber::decimalNumberBySubtracting(const NSDecimalNumber& other) const {
  return decimalNumberBySubtracting_withBehavior(other, {});
}
NSDecimalNumber NSDecimalNumber::decimalNumberByMultiplyingBy(const NSDecimalNumber& other) const {
  return decimalNumberByMultiplyingBy_withBehavior(other, {});
}
NSDecimalNumber NSDecimalNumber::decimalNumberByDividingBy(const NSDecimalNumber& other) const {
  return decimalNumberByDividingBy_withBehavior(other, {});
}
NSDecimalNumber NSDecimalNumber::decimalNumberByRaisingToPower(NSUInteger power) const {
  return decimalNumberByRaisingToPower_withBehavior(power, {});
}
NSDecimalNumber NSDecimalNumber::decimalNumberByMultiplyingByPowerOf10(std::int16_t power) const {
  return decimalNumberByMultiplyingByPowerOf10_withBehavior(power, {});
}

NSDecimalNumber NSDecimalNumber::decimalNumberByRoundingAccordingToBehavior(
    const NSDecimalNumberHandler& behavior) const {
  if (!*this) return {};
  Decimal result;
  const DecimalStatus status = decimalRound(valueOf(*this), roundingOf(behavior), result);
  return conclude(status, result, behavior);
}

NSDecimalNumber NSDecimalNumber::decimalNumberByRoundingToScale_mode(std::int16_t scale, NSRoundingMode mode) const {
  NSDecimalNumberHandler behavior;
  behavior.roundingMode = mode;
  behavior.scale = scale;
  return decimalNumberByRoundingAccordingToBehavior(behavior);
}

bool NSDecimalNumber::isNotANumber() const noexcept { return *this && valueOf(*this).notANumber; }
bool NSDecimalNumber::isNegative() const noexcept { return *this && valueOf(*this).negative; }

}  // namespace kvt
