#include "NSNumber.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSDecimalNumber.h"
#include "NSDecimalNumberBody.h"
#include "NSNumberBody.h"
#include "NSString.h"

namespace kvt {
namespace {

using Type = NumberBody::Type;

static_assert(std::numeric_limits<float>::is_iec559 && std::numeric_limits<double>::is_iec559);

const NumberBody* plain(const id& number) noexcept { return NumberBody::of(number.object()); }
const DecimalNumberBody* decimal(const id& number) noexcept { return DecimalNumberBody::of(number.object()); }

constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

/// Without its fraction; the nearest value of `T` when it does not fit, 0 for NaN.
template <class T>
T saturated(double value) noexcept {
  using Limits = std::numeric_limits<T>;
  if (std::isnan(value)) return 0;
  // The limits as doubles: the upper one may round up to a power of two, which is just beyond `T`.
  if (value <= static_cast<double>(Limits::min())) return Limits::min();
  if (value >= static_cast<double>(Limits::max())) return Limits::max();
  return static_cast<T>(value);
}

template <class T>
T saturated(const Decimal& value) noexcept {
  using Limits = std::numeric_limits<T>;
  const DecimalInteger integer = decimalToInteger(value);
  if (integer.negative) {
    if constexpr (std::is_unsigned_v<T>) {
      return 0;
    } else {
      if (integer.magnitude > static_cast<std::uint64_t>(Limits::max())) return Limits::min();
      return static_cast<T>(-static_cast<std::int64_t>(integer.magnitude));
    }
  }
  if (integer.magnitude >= static_cast<std::uint64_t>(Limits::max())) return Limits::max();
  return static_cast<T>(integer.magnitude);
}

template <class T>
T integerValue(const id& number) noexcept {
  if (!number) return 0;
  const NumberBody* body = plain(number);
  if (body == nullptr) return saturated<T>(decimal(number)->value());
  if (body->isReal()) return saturated<T>(body->real);
  return body->isUnsigned64() ? static_cast<T>(body->unsignedInteger) : static_cast<T>(body->integer);
}

// ---- class ----------------------------------------------------------------------------------------------------------

bool isEqualObject(const Object* a, const Object* b) {
  return isKindBetween(b, kNumberKind, kDecimalNumberKind) && compareNumbers(a, b) == 0;
}

bool isEqualMethod(const NSNumber& self, const id& other) { return self.isEqualToNumber(other.as<NSNumber>()); }
std::uint64_t hashMethod(const NSNumber& self) { return self ? hashOfNumber(self.object()) : 0; }
NSString descriptionMethod(const NSNumber& self) { return self.stringValue(); }
NSString descriptionWithLocale(const NSNumber& self, const id&) { return self.stringValue(); }
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

}  // namespace

Class NSNumber::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSNumber> c("NSNumber", classOf<NSValue>());
    c.classMethod<&NSNumber::numberWithBool>("numberWithBool:");
    c.classMethod<&NSNumber::numberWithChar>("numberWithChar:");
    c.classMethod<&NSNumber::numberWithUnsignedChar>("numberWithUnsignedChar:");
    c.classMethod<&NSNumber::numberWithShort>("numberWithShort:");
    c.classMethod<&NSNumber::numberWithUnsignedShort>("numberWithUnsignedShort:");
    c.classMethod<&NSNumber::numberWithInt>("numberWithInt:");
    c.classMethod<&NSNumber::numberWithUnsignedInt>("numberWithUnsignedInt:");
    c.classMethod<&NSNumber::numberWithLong>("numberWithLong:");
    c.classMethod<&NSNumber::numberWithUnsignedLong>("numberWithUnsignedLong:");
    c.classMethod<&NSNumber::numberWithLongLong>("numberWithLongLong:");
    c.classMethod<&NSNumber::numberWithUnsignedLongLong>("numberWithUnsignedLongLong:");
    c.classMethod<&NSNumber::numberWithInteger>("numberWithInteger:");
    c.classMethod<&NSNumber::numberWithUnsignedInteger>("numberWithUnsignedInteger:");
    c.classMethod<&NSNumber::numberWithFloat>("numberWithFloat:");
    c.classMethod<&NSNumber::numberWithDouble>("numberWithDouble:");
    c.method<&NSNumber::boolValue>("boolValue");
    c.method<&NSNumber::charValue>("charValue").method<&NSNumber::unsignedCharValue>("unsignedCharValue");
    c.method<&NSNumber::shortValue>("shortValue").method<&NSNumber::unsignedShortValue>("unsignedShortValue");
    c.method<&NSNumber::intValue>("intValue").method<&NSNumber::unsignedIntValue>("unsignedIntValue");
    c.method<&NSNumber::longValue>("longValue").method<&NSNumber::unsignedLongValue>("unsignedLongValue");
    c.method<&NSNumber::longLongValue>("longLongValue");
    c.method<&NSNumber::unsignedLongLongValue>("unsignedLongLongValue");
    c.method<&NSNumber::integerValue>("integerValue");
    c.method<&NSNumber::unsignedIntegerValue>("unsignedIntegerValue");
    c.method<&NSNumber::floatValue>("floatValue").method<&NSNumber::doubleValue>("doubleValue");
    c.method<&NSNumber::decimalValue>("decimalValue").method<&NSNumber::stringValue>("stringValue");
    c.method<&NSNumber::compare>("compare:").method<&NSNumber::isEqualToNumber>("isEqualToNumber:");
    c.method<&isEqualMethod>("isEqual:").method<&hashMethod>("hash").method<&descriptionMethod>("description");
    c.method<&descriptionWithLocale>("descriptionWithLocale:");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kNumberKind, {&hashOfNumber, &isEqualObject});
    registerValueOperations(kDecimalNumberKind, {&hashOfNumber, &isEqualObject});
    return c.registerClass();
  }();
  return cls;
}

bool NSNumber::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kNumberKind, kDecimalNumberKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSNumber>(), true);

// ---- making -------------------------------------------------------------------------------------------------------

constinit std::atomic<NumberBody*> NumberBody::knownNumbers = nullptr;
constinit std::atomic<ClassBody*> NumberBody::knownClass = nullptr;

ClassBody* NumberBody::findClass() noexcept { return classOf<NSNumber>().body(); }

NumberBody* NumberBody::makeSharedNumbers() noexcept {
  // In static memory and never destroyed: handles in static objects may outlive any order of destruction.
  alignas(NumberBody) static std::byte memory[2 * kSharedCount + 2][sizeof(NumberBody)];
  static NumberBody* const numbers = [] {
    std::byte(*place)[sizeof(NumberBody)] = memory;
    for (const Type kind : {Type::kInt64, Type::kInt32}) {
      for (std::int64_t number = kFirstShared; number <= kLastShared; ++number) {
        ObjectAccess::makeImmortal(new (*place++) NumberBody(kind, number));
      }
    }
    for (const std::int64_t number : {0, 1}) {
      ObjectAccess::makeImmortal(new (*place++) NumberBody(Type::kBool, number));
    }
    return std::launder(reinterpret_cast<NumberBody*>(memory));
  }();
  knownNumbers.store(numbers, std::memory_order_release);
  return numbers;
}

NSNumber::NSNumber(bool value) : NSNumber(adopt, NumberBody::create(value)) {}
NSNumber::NSNumber(char value) : NSNumber(static_cast<signed char>(value)) {}
NSNumber::NSNumber(signed char value) : NSNumber(adopt, NumberBody::create(Type::kInt8, value)) {}
NSNumber::NSNumber(unsigned char value) : NSNumber(adopt, NumberBody::create(Type::kUInt8, value)) {}
NSNumber::NSNumber(short value) : NSNumber(adopt, NumberBody::create(Type::kInt16, value)) {}
NSNumber::NSNumber(unsigned short value) : NSNumber(adopt, NumberBody::create(Type::kUInt16, value)) {}
NSNumber::NSNumber(int value) : NSNumber(adopt, NumberBody::create(Type::kInt32, value)) {}
NSNumber::NSNumber(unsigned value) : NSNumber(adopt, NumberBody::create(Type::kUInt32, value)) {}
NSNumber::NSNumber(long value) : NSNumber(adopt, NumberBody::create(Type::kInt64, value)) {}
NSNumber::NSNumber(unsigned long value) : NSNumber(adopt, NumberBody::create(static_cast<std::uint64_t>(value))) {}
NSNumber::NSNumber(long long value) : NSNumber(adopt, NumberBody::create(Type::kInt64, value)) {}
NSNumber::NSNumber(unsigned long long value) : NSNumber(adopt, NumberBody::create(static_cast<std::uint64_t>(value))) {}
NSNumber::NSNumber(float value) : NSNumber(adopt, new NumberBody(Type::kFloat, static_cast<double>(value))) {}
NSNumber::NSNumber(double value) : NSNumber(adopt, NumberBody::create(value)) {}
NSNumber::NSNumber(long double value) : NSNumber(static_cast<double>(value)) {}

// ---- reading ------------------------------------------------------------------------------------------------------

bool NSNumber::boolValue() const noexcept {
  if (!*this) return false;
  const NumberBody* body = plain(*this);
  if (body == nullptr) return !decimal(*this)->value().isZero();
  return body->isReal() ? body->real != 0 : body->integer != 0;
}
std::int8_t NSNumber::charValue() const noexcept { return kvt::integerValue<std::int8_t>(*this); }
std::uint8_t NSNumber::unsignedCharValue() const noexcept { return kvt::integerValue<std::uint8_t>(*this); }
std::int16_t NSNumber::shortValue() const noexcept { return kvt::integerValue<std::int16_t>(*this); }
std::uint16_t NSNumber::unsignedShortValue() const noexcept { return kvt::integerValue<std::uint16_t>(*this); }
std::int32_t NSNumber::intValue() const noexcept { return kvt::integerValue<std::int32_t>(*this); }
std::uint32_t NSNumber::unsignedIntValue() const noexcept { return kvt::integerValue<std::uint32_t>(*this); }
std::int64_t NSNumber::longLongValue() const noexcept { return kvt::integerValue<std::int64_t>(*this); }
std::uint64_t NSNumber::unsignedLongLongValue() const noexcept { return kvt::integerValue<std::uint64_t>(*this); }

double NSNumber::doubleValue() const noexcept {
  if (!*this) return 0;
  const NumberBody* body = plain(*this);
  if (body == nullptr) return decimalToDouble(decimal(*this)->value());
  if (body->isReal()) return body->real;
  return body->isUnsigned64() ? static_cast<double>(body->unsignedInteger) : static_cast<double>(body->integer);
}

float NSNumber::floatValue() const noexcept {
  if (!*this) return 0;
  const NumberBody* body = plain(*this);
  // Each straight to float: by way of a double it would be rounded twice.
  if (body == nullptr) return decimalToFloat(decimal(*this)->value());
  if (body->isReal()) return static_cast<float>(body->real);
  return body->isUnsigned64() ? static_cast<float>(body->unsignedInteger) : static_cast<float>(body->integer);
}

NSDecimalNumber NSNumber::decimalValue() const {
  if (!*this) return {};
  const NumberBody* body = plain(*this);
  if (body == nullptr) return NSDecimalNumber(borrow, object());
  if (body->isReal()) {
    // A float by its own shortest text, which is shorter than that of the same double.
    if (body->type == Type::kFloat && !isInteger64(body->real)) {
      char text[kNumberTextSize];
      Decimal value;
      if (!decimalParse({text, formatNumber(static_cast<float>(body->real), text)}, value)) value = decimalNaN();
      return NSDecimalNumber(adopt, DecimalNumberBody::create(value));
    }
    return NSDecimalNumber(adopt, DecimalNumberBody::create(decimalFromDouble(body->real)));
  }
  return NSDecimalNumber(adopt,
                         DecimalNumberBody::create(body->isUnsigned64() ? decimalFromUnsigned(body->unsignedInteger)
                                                                        : decimalFromInteger(body->integer)));
}

NSString NSNumber::stringValue() const {
  if (!*this) return {};
  const NumberBody* body = plain(*this);
  if (body == nullptr) return NSString(decimalText(decimal(*this)->value()));
  char text[kNumberTextSize];
  return NSString(std::string_view(text, formatNumber(*body, text)));
}

bool NSNumber::isBool() const noexcept {
  const NumberBody* body = plain(*this);
  return body != nullptr && body->type == Type::kBool;
}

bool NSNumber::isFloatingPoint() const noexcept {
  const NumberBody* body = plain(*this);
  return body != nullptr && body->isReal();
}

// ---- order and equality -------------------------------------------------------------------------------------------
// All numbers are compared as points of one line, so that the order is total and equality transitive: integers and
// decimals stand at their value. A floating value stands at its value when it is an integer of 64 bits, else where its
// shortest text stands: 0.1 at the decimal 0.1, next to which it lies. Shortest texts keep the order of doubles, and a
// fraction never passes an integer, so this agrees with the exact comparison wherever that does not tell 0.1 from 0.1.

namespace {

template <class T>
int order(T a, T b) noexcept {
  return a < b ? -1 : a > b ? 1 : 0;
}

int orderOf(std::int64_t a, std::uint64_t b) noexcept { return a < 0 ? -1 : order(static_cast<std::uint64_t>(a), b); }

int orderOf(std::int64_t a, double b) noexcept {
  if (b >= kTwo63) return -1;
  if (b < -kTwo63) return 1;
  const auto whole = static_cast<std::int64_t>(b);
  return a != whole ? order(a, whole) : order(static_cast<double>(whole), b);
}

int orderOf(std::uint64_t a, double b) noexcept {
  if (b >= kTwo64) return -1;
  if (b < 0) return 1;
  const auto whole = static_cast<std::uint64_t>(b);
  return a != whole ? order(a, whole) : order(static_cast<double>(whole), b);
}

bool isNaN(const Object* object) noexcept {
  if (const NumberBody* number = NumberBody::of(object)) return number->isReal() && std::isnan(number->real);
  return (DecimalNumberBody::of(object)->flags & DecimalNumberBody::kNotANumber) != 0;
}

bool isBelowZero(const Object* object) noexcept {
  if (const NumberBody* number = NumberBody::of(object)) {
    return number->isReal() ? number->real < 0 : !number->isUnsigned64() && number->integer < 0;
  }
  return (DecimalNumberBody::of(object)->flags & DecimalNumberBody::kNegative) != 0;
}

int compareWithDecimal(const NumberBody& a, const Decimal& b) noexcept {
  if (!a.isReal()) {
    return decimalCompare(a.isUnsigned64() ? decimalFromUnsigned(a.unsignedInteger) : decimalFromInteger(a.integer), b);
  }
  if (std::isinf(a.real)) return a.real < 0 ? -1 : 1;
  if (isInteger64(a.real)) return decimalCompare(decimalFromDouble(a.real), b);
  return -decimalCompareWithDouble(b, a.real);
}

int comparePlain(const NumberBody& a, const NumberBody& b) noexcept {
  if (a.isReal() && b.isReal()) return order(a.real, b.real);
  if (a.isReal()) return -(b.isUnsigned64() ? orderOf(b.unsignedInteger, a.real) : orderOf(b.integer, a.real));
  if (b.isReal()) return a.isUnsigned64() ? orderOf(a.unsignedInteger, b.real) : orderOf(a.integer, b.real);
  if (a.isUnsigned64()) {
    return b.isUnsigned64() ? order(a.unsignedInteger, b.unsignedInteger) : -orderOf(b.integer, a.unsignedInteger);
  }
  return b.isUnsigned64() ? orderOf(a.integer, b.unsignedInteger) : order(a.integer, b.integer);
}

}  // namespace

int compareNumbers(const Object* a, const Object* b) noexcept {
  const bool aIsNaN = isNaN(a), bIsNaN = isNaN(b);
  if (aIsNaN || bIsNaN) {
    if (aIsNaN && bIsNaN) return 0;
    if (aIsNaN) return isBelowZero(b) ? 1 : -1;
    return isBelowZero(a) ? -1 : 1;
  }
  const NumberBody* plainA = NumberBody::of(a);
  const NumberBody* plainB = NumberBody::of(b);
  if (plainA != nullptr && plainB != nullptr) return comparePlain(*plainA, *plainB);
  if (plainA != nullptr) return compareWithDecimal(*plainA, DecimalNumberBody::of(b)->value());
  const Decimal value = DecimalNumberBody::of(a)->value();
  return plainB != nullptr ? -compareWithDecimal(*plainB, value)
                           : decimalCompare(value, DecimalNumberBody::of(b)->value());
}

std::uint64_t hashOfNumber(const Object* object) noexcept {
  if (const NumberBody* number = NumberBody::of(object)) {
    if (number->isReal()) return hashOfReal(number->real);
    return hashOfInteger(number->isUnsigned64() ? number->unsignedInteger
                                                : static_cast<std::uint64_t>(number->integer));
  }
  const Decimal value = DecimalNumberBody::of(object)->value();
  const DecimalInteger integer = decimalToInteger(value);
  if (integer.exact && (!integer.negative || integer.magnitude <= static_cast<std::uint64_t>(INT64_MAX) + 1)) {
    return hashOfInteger(integer.negative ? -integer.magnitude : integer.magnitude);
  }
  // A floating value that equals it is the nearest one to it.
  return hashOfReal(decimalToDouble(value));
}

NSComparisonResult NSNumber::compare(const NSNumber& other) const {
  if (!*this) return NSOrderedSame;
  if (!other) objc_raise("NSInvalidArgumentException", "-[NSNumber compare:]: nil argument");
  return static_cast<NSComparisonResult>(compareNumbers(object(), other.object()));
}

bool NSNumber::isEqualToNumber(const NSNumber& other) const {
  return *this && other && (isIdentical(*this, other) || compareNumbers(object(), other.object()) == 0);
}

}  // namespace kvt
