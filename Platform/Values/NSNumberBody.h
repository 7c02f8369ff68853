// The body of a boxed number, for the units that make or read many of them; not installed.
//
//     NSNumber number(adopt, NumberBody::create(std::int64_t{42}));
//     char text[kNumberTextSize];
//     std::string_view digits(text, formatNumber(0.1, text));   // "0.1"
#pragma once

#include <atomic>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>

#include <KVTPlatform/Runtime/ObjectMemory.h>

#include "Kinds.h"
#include "NSNumber.h"

namespace kvt {

struct KVT_EXPORT NumberBody final : Object {
  /// The type code of the C++ type that was boxed, except that booleans, whose code is `c` too, are told apart.
  enum class Type : char {
    kBool = 'B',
    kInt8 = 'c',
    kUInt8 = 'C',
    kInt16 = 's',
    kUInt16 = 'S',
    kInt32 = 'i',
    kUInt32 = 'I',
    kInt64 = 'q',
    kUInt64 = 'Q',
    kFloat = 'f',
    kDouble = 'd',
  };

  NumberBody(Type numberType, std::int64_t value) noexcept : NumberBody(numberType) { integer = value; }
  explicit NumberBody(std::uint64_t value) noexcept : NumberBody(Type::kUInt64) { unsignedInteger = value; }
  NumberBody(Type numberType, double value) noexcept : NumberBody(numberType) { real = value; }

  // What these answer has a reference for the caller; shared numbers are immortal.
  static NumberBody* create(bool value) { return sharedBool(value); }
  static NumberBody* create(Type type, std::int64_t value) {
    if ((type == Type::kInt64 || type == Type::kInt32) && value >= kFirstShared && value <= kLastShared) {
      return sharedNumbers() + (type == Type::kInt64 ? 0 : kSharedCount) + (value - kFirstShared);
    }
    return make(type, value);
  }
  static NumberBody* create(std::int64_t value) { return create(Type::kInt64, value); }
  /// Null when this number is not shared.
  static NumberBody* sharedFor(std::int64_t value) {
    return value >= kFirstShared && value <= kLastShared ? sharedNumbers() + (value - kFirstShared) : nullptr;
  }
  static NumberBody* create(std::uint64_t value) { return make(value); }
  static NumberBody* create(double value) { return make(Type::kDouble, value); }

  /// The object's body; null when it is no number or a decimal one.
  static const NumberBody* of(const Object* object) noexcept {
    return isKindBetween(object, kNumberKind, kNumberKind) ? static_cast<const NumberBody*>(object) : nullptr;
  }

  bool isReal() const noexcept { return type == Type::kFloat || type == Type::kDouble; }
  bool isUnsigned64() const noexcept { return type == Type::kUInt64; }

  static constexpr std::int64_t kFirstShared = -1;
  static constexpr std::int64_t kLastShared = 255;

  const Type type;  // lies in the header's padding
  union {
    std::int64_t integer;           // every integer type but uint64, and booleans
    std::uint64_t unsignedInteger;  // uint64
    double real;                    // double, and float without loss
  };

 private:
  explicit NumberBody(Type numberType) noexcept
      : Object(numberClass(), objectKind(kNumberKind), PlainValue()), type(numberType) {}
  /// Without a call: readers make many.
  template <class... A>
  static NumberBody* make(A... arguments) {
    return ::new (memory::allocate(sizeof(NumberBody))) NumberBody(arguments...);
  }
  static NumberBody* sharedBool(bool value) { return sharedNumbers() + 2 * kSharedCount + (value ? 1 : 0); }
  /// The shared int64s, then the int32s, then NO and YES.
  static NumberBody* sharedNumbers() noexcept {
    NumberBody* const numbers = knownNumbers.load(std::memory_order_acquire);
    return numbers != nullptr ? numbers : makeSharedNumbers();
  }
  static NumberBody* makeSharedNumbers() noexcept;
  static ClassBody* numberClass() noexcept {
    ClassBody* cls = knownClass.load(std::memory_order_relaxed);
    if (cls == nullptr) [[unlikely]]
      knownClass.store(cls = findClass(), std::memory_order_relaxed);
    return cls;
  }
  static ClassBody* findClass() noexcept;

  static constexpr std::ptrdiff_t kSharedCount = kLastShared - kFirstShared + 1;
  // Both null until the first is asked for.
  static constinit std::atomic<NumberBody*> knownNumbers;
  static constinit std::atomic<ClassBody*> knownClass;
};

static_assert(sizeof(NumberBody) == 32, "a number is its header and eight bytes");

/// Room for the text of any number that is no decimal.
inline constexpr std::size_t kNumberTextSize = 32;
/// Write the text that `description` answers, without a NUL, and answer its length.
std::size_t formatNumber(double value, char* text) noexcept;
std::size_t formatNumber(float value, char* text) noexcept;
std::size_t formatNumber(const NumberBody& number, char* text) noexcept;

/// The order that `compare` answers, -1, 0 or 1, of two numbers of any kind (decimals too).
int compareNumbers(const Object* a, const Object* b) noexcept;
std::uint64_t hashOfNumber(const Object* number) noexcept;

// The hashes of numbers that are not boxed are those of the boxed ones. Equal numbers of any type have equal hashes.

/// Of an integer, a signed one extended to 64 bits, a boolean as 0 or 1. Neighbouring numbers get hashes that differ in
/// all bits.
inline std::uint64_t hashOfInteger(std::uint64_t bits) noexcept {
  bits ^= bits >> 32;
  bits *= 0xE9846AF9B1A615DU;
  bits ^= bits >> 32;
  bits *= 0xE9846AF9B1A615DU;
  return bits ^ (bits >> 28);
}

/// Whether int64_t or uint64_t can hold it.
inline bool isInteger64(double value) noexcept {
  return value >= -9223372036854775808.0 && value < 18446744073709551616.0 && value == std::trunc(value);
}

inline std::uint64_t hashOfReal(double value) noexcept {
  if (isInteger64(value)) {
    return hashOfInteger(value < 0 ? static_cast<std::uint64_t>(static_cast<std::int64_t>(value))
                                   : static_cast<std::uint64_t>(value));
  }
  return hashOfInteger(std::isnan(value) ? 0x7FF8000000000000U : std::bit_cast<std::uint64_t>(value));
}

}  // namespace kvt
