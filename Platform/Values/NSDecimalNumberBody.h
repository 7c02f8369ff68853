// The body of a decimal number, for the units that make them; not installed.
//
//     NSDecimalNumber number(adopt, DecimalNumberBody::create(decimal));   // `decimal` in its normal form, see
//     decimalMake
#pragma once

#include "Kinds.h"
#include "NSDecimalNumberArithmetic.h"

namespace kvt {

struct DecimalNumberBody final : Object {
  explicit DecimalNumberBody(const Decimal& value) noexcept
      : Object(classOf<NSDecimalNumber>(), objectKind(kDecimalNumberKind)),
        flags(static_cast<std::uint8_t>((value.negative ? kNegative : 0) | (value.notANumber ? kNotANumber : 0))),
        exponent(static_cast<std::int8_t>(value.exponent)),
        low(static_cast<std::uint64_t>(value.mantissa)),
        high(static_cast<std::uint64_t>(value.mantissa >> 64)) {
    ObjectAccess::markImmutableValue(this);
    ObjectAccess::markDestructorNeedless(this);
  }
  static DecimalNumberBody* create(const Decimal& value) { return new DecimalNumberBody(value); }

  /// The object's body; null when it is no decimal number.
  static const DecimalNumberBody* of(const Object* object) noexcept {
    return isKindBetween(object, kDecimalNumberKind, kDecimalNumberKind) ? static_cast<const DecimalNumberBody*>(object)
                                                                         : nullptr;
  }

  Decimal value() const noexcept {
    return {static_cast<UInt128>(high) << 64 | low, exponent, (flags & kNegative) != 0, (flags & kNotANumber) != 0};
  }

  enum Flag : std::uint8_t { kNegative = 1, kNotANumber = 2 };

  // These two lie in the header's padding.
  const std::uint8_t flags;
  const std::int8_t exponent;
  // In two words: the compiler would align a single one to sixteen bytes.
  const std::uint64_t low;
  const std::uint64_t high;
};

static_assert(sizeof(DecimalNumberBody) == 40, "a decimal number is its header and its mantissa");

}  // namespace kvt
