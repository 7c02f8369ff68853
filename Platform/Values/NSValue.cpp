#include "NSValue.h"

#include <cstdio>
#include <cstring>
#include <string>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "Kinds.h"
#include "NSDataHash.h"
#include "NSNumberBody.h"
#include "NSObject.h"
#include "NSString.h"

namespace kvt {
namespace {

/// The bytes lie behind the body in the same allocation, the encoding's text behind them.
struct ValueBody final : Object {
  static ValueBody* create(const void* bytes, std::size_t size, std::string_view encoding) {
    void* memory = Object::operator new(sizeof(ValueBody) + size + encoding.size() + 1);
    auto* body = ::new (memory) ValueBody(size);
    std::memcpy(body->bytes(), bytes, size);
    char* text = reinterpret_cast<char*>(body->bytes() + size);
    std::memcpy(text, encoding.data(), encoding.size());
    text[encoding.size()] = '\0';
    return body;
  }
  static const ValueBody* of(const Object* object) noexcept {
    return isKindBetween(object, kValueKind, kValueKind) ? static_cast<const ValueBody*>(object) : nullptr;
  }

  const char* encoding() const noexcept { return reinterpret_cast<const char*>(bytes() + size); }
  std::uint8_t* bytes() noexcept { return reinterpret_cast<std::uint8_t*>(this + 1); }
  const std::uint8_t* bytes() const noexcept { return reinterpret_cast<const std::uint8_t*>(this + 1); }

  const std::size_t size;

 private:
  explicit ValueBody(std::size_t valueSize) noexcept
      : Object(classOf<NSValue>(), objectKind(kValueKind)), size(valueSize) {
    ObjectAccess::markImmutableValue(this);
  }
};

static_assert(sizeof(ValueBody) % 16 == 0, "boxed bytes are aligned as an allocation is");

/// The bytes of a number in the type it was made from, at most eight.
std::size_t numberBytes(const Object* object, void* buffer) noexcept {
  const auto copy = [buffer](auto value) {
    std::memcpy(buffer, &value, sizeof value);
    return sizeof value;
  };
  const NSNumber number(borrow, object);
  const NumberBody* body = NumberBody::of(object);
  if (body == nullptr) return copy(number.doubleValue());
  switch (body->type) {
    case NumberBody::Type::kBool: return copy(number.boolValue());
    case NumberBody::Type::kInt8: return copy(number.charValue());
    case NumberBody::Type::kUInt8: return copy(number.unsignedCharValue());
    case NumberBody::Type::kInt16: return copy(number.shortValue());
    case NumberBody::Type::kUInt16: return copy(number.unsignedShortValue());
    case NumberBody::Type::kInt32: return copy(number.intValue());
    case NumberBody::Type::kUInt32: return copy(number.unsignedIntValue());
    case NumberBody::Type::kInt64: return copy(number.longLongValue());
    case NumberBody::Type::kUInt64: return copy(number.unsignedLongLongValue());
    case NumberBody::Type::kFloat: return copy(number.floatValue());
    case NumberBody::Type::kDouble: break;
  }
  return copy(number.doubleValue());
}

const char* numberCode(NumberBody::Type type) noexcept {
  switch (type) {
    case NumberBody::Type::kBool:
    case NumberBody::Type::kInt8: return "c";
    case NumberBody::Type::kUInt8: return "C";
    case NumberBody::Type::kInt16: return "s";
    case NumberBody::Type::kUInt16: return "S";
    case NumberBody::Type::kInt32: return "i";
    case NumberBody::Type::kUInt32: return "I";
    case NumberBody::Type::kInt64: return "q";
    case NumberBody::Type::kUInt64: return "Q";
    case NumberBody::Type::kFloat: return "f";
    case NumberBody::Type::kDouble: break;
  }
  return "d";
}

// ---- description --------------------------------------------------------------------------------------------------

std::string text(CGFloat value) {
  char buffer[kNumberTextSize];
  return std::string(buffer, formatNumber(value, buffer));
}

std::string list(std::initializer_list<CGFloat> values) {
  std::string result = "{";
  for (CGFloat value : values) result += (result.size() > 1 ? ", " : "") + text(value);
  return result + "}";
}

std::string hexBytes(const std::uint8_t* bytes, std::size_t size) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result = "<";
  result.reserve(size * 2 + size / 4 + 2);
  for (std::size_t i = 0; i < size; ++i) {
    if (i != 0 && i % 4 == 0) result += ' ';
    result += kDigits[bytes[i] >> 4];
    result += kDigits[bytes[i] & 15];
  }
  return result + ">";
}

std::string describe(const NSValue& value) {
  const std::string_view type = value.objCType();
  if (type == encodingOf<CGPoint>()) {
    const CGPoint p = value.pointValue();
    return "NSPoint: " + list({p.x, p.y});
  }
  if (type == encodingOf<CGSize>()) {
    const CGSize s = value.sizeValue();
    return "NSSize: " + list({s.width, s.height});
  }
  if (type == encodingOf<CGRect>()) {
    const CGRect r = value.rectValue();
    return "NSRect: {" + list({r.origin.x, r.origin.y}) + ", " + list({r.size.width, r.size.height}) + "}";
  }
  if (type == encodingOf<NSRange>()) {
    const NSRange r = value.rangeValue();
    return "NSRange: {" + std::to_string(r.location) + ", " + std::to_string(r.length) + "}";
  }
  if (type == encodingOf<UIEdgeInsets>()) {
    const UIEdgeInsets e = value.UIEdgeInsetsValue();
    return "UIEdgeInsets: " + list({e.top, e.left, e.bottom, e.right});
  }
  if (type == encodingOf<UIOffset>()) {
    const UIOffset o = value.UIOffsetValue();
    return "UIOffset: " + list({o.horizontal, o.vertical});
  }
  if (type == encodingOf<CGAffineTransform>()) {
    const CGAffineTransform t = value.CGAffineTransformValue();
    return "CGAffineTransform: {" + list({t.a, t.b, t.c, t.d}) + ", " + list({t.tx, t.ty}) + "}";
  }
  const ValueBody* body = ValueBody::of(value.object());
  if (type == "^v" || type == "@") {
    void* pointer = nullptr;
    value.getValue(&pointer);
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "<0x%llx>",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(pointer)));
    return buffer;
  }
  return hexBytes(body->bytes(), body->size);
}

// ---- class --------------------------------------------------------------------------------------------------------

std::uint64_t hashOf(const Object* object) {
  // Equal bytes of different types are rare enough not to be told apart here.
  const ValueBody* body = ValueBody::of(object);
  return hashOfBytes(body->bytes(), body->size);
}

bool isEqualObject(const Object* a, const Object* b) {
  const ValueBody* x = ValueBody::of(a);
  const ValueBody* y = ValueBody::of(b);
  return y != nullptr && x->size == y->size && std::strcmp(x->encoding(), y->encoding()) == 0 &&
         std::memcmp(x->bytes(), y->bytes(), x->size) == 0;
}

bool isEqualMethod(const NSValue& self, const id& other) { return self.isEqualToValue(other.as<NSValue>()); }
std::uint64_t hashMethod(const NSValue& self) { return hashOf(self.object()); }
NSString descriptionMethod(const NSValue& self) { return NSString(describe(self)); }
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

}  // namespace

Class NSValue::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSValue> c("NSValue", classOf<NSObject>());
    c.classMethod<&NSValue::valueWithBytes_objCType>("valueWithBytes:objCType:");
    c.classMethod<&NSValue::value_withObjCType>("value:withObjCType:");
    c.classMethod<&NSValue::valueWithPointer>("valueWithPointer:");
    c.classMethod<&NSValue::valueWithNonretainedObject>("valueWithNonretainedObject:");
    c.classMethod<&NSValue::valueWithRange>("valueWithRange:");
    c.classMethod<&NSValue::valueWithPoint>("valueWithPoint:").classMethod<&NSValue::valueWithSize>("valueWithSize:");
    c.classMethod<&NSValue::valueWithRect>("valueWithRect:");
    c.classMethod<&NSValue::valueWithCGPoint>("valueWithCGPoint:");
    c.classMethod<&NSValue::valueWithCGSize>("valueWithCGSize:");
    c.classMethod<&NSValue::valueWithCGRect>("valueWithCGRect:");
    c.classMethod<&NSValue::valueWithCGAffineTransform>("valueWithCGAffineTransform:");
    c.classMethod<&NSValue::valueWithUIEdgeInsets>("valueWithUIEdgeInsets:");
    c.classMethod<&NSValue::valueWithUIOffset>("valueWithUIOffset:");
    c.method<&NSValue::getValue>("getValue:").method<&NSValue::getValue_size>("getValue:size:");
    c.method<&NSValue::objCType>("objCType").method<&NSValue::pointerValue>("pointerValue");
    c.method<&NSValue::nonretainedObjectValue>("nonretainedObjectValue");
    c.method<&NSValue::rangeValue>("rangeValue");
    c.method<&NSValue::pointValue>("pointValue").method<&NSValue::sizeValue>("sizeValue");
    c.method<&NSValue::rectValue>("rectValue").method<&NSValue::CGPointValue>("CGPointValue");
    c.method<&NSValue::CGSizeValue>("CGSizeValue").method<&NSValue::CGRectValue>("CGRectValue");
    c.method<&NSValue::CGAffineTransformValue>("CGAffineTransformValue");
    c.method<&NSValue::UIEdgeInsetsValue>("UIEdgeInsetsValue").method<&NSValue::UIOffsetValue>("UIOffsetValue");
    c.method<&NSValue::isEqualToValue>("isEqualToValue:");
    c.method<&isEqualMethod>("isEqual:").method<&hashMethod>("hash").method<&descriptionMethod>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kValueKind, {&hashOf, &isEqualObject});
    return c.registerClass();
  }();
  return cls;
}

bool NSValue::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kValueKind, kDecimalNumberKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSValue>(), true);

NSValue NSValue::valueWithBytes_objCType(const void* bytes, const char* type) {
  if (type == nullptr)
    objc_raise("NSInvalidArgumentException", "+[NSValue valueWithBytes:objCType:]: null type encoding");
  bool valid = false;
  const SizeAndAlignment layout = sizeAndAlignment(type, &valid);
  if (!valid) {
    objc_raise("NSInvalidArgumentException",
               "+[NSValue valueWithBytes:objCType:]: type encoding '" + std::string(type) + "' has no size");
  }
  if (bytes == nullptr) objc_raise("NSInvalidArgumentException", "+[NSValue valueWithBytes:objCType:]: null bytes");
  return NSValue(adopt, ValueBody::create(bytes, layout.size, type));
}

NSValue NSValue::valueWithPointer(const void* pointer) { return valueWithBytes_objCType(&pointer, "^v"); }

NSValue NSValue::valueWithNonretainedObject(const id& object) {
  Object* pointer = object.object();
  return valueWithBytes_objCType(&pointer, "@");
}

id NSValue::nonretainedObjectValue() const { return id(borrow, get<Object*>()); }

void NSValue::getValue(void* buffer) const {
  if (!*this) return;
  if (const ValueBody* body = ValueBody::of(object()))
    std::memcpy(buffer, body->bytes(), body->size);
  else
    numberBytes(object(), buffer);
}

void NSValue::getValue_size(void* buffer, NSUInteger size) const {
  if (!*this) return;
  const std::size_t expected = sizeAndAlignment(objCType()).size;
  if (size != expected) {
    objc_raise("NSInvalidArgumentException", "-[NSValue getValue:size:]: cannot get value with size " +
                                                 std::to_string(size) + ": the type encoded as " + objCType() +
                                                 " is expected to be " + std::to_string(expected) + " bytes");
  }
  getValue(buffer);
}

const char* NSValue::objCType() const noexcept {
  if (!*this) return nullptr;
  if (const ValueBody* body = ValueBody::of(object())) return body->encoding();
  const NumberBody* number = NumberBody::of(object());
  return number != nullptr ? numberCode(number->type) : "d";
}

CGAffineTransform NSValue::CGAffineTransformValue() const {
  // The zero structure, which is not the type's default: that one is the identity.
  CGAffineTransform transform{0, 0, 0, 0, 0, 0};
  copyValue(&transform, sizeof transform, encodingOf<CGAffineTransform>());
  return transform;
}

bool NSValue::isEqualToValue(const NSValue& other) const {
  if (!*this || !other) return false;
  if (isIdentical(*this, other)) return true;
  if (ValueBody::of(object()) != nullptr) return isEqualObject(object(), other.object());
  return ValueBody::of(other.object()) == nullptr && compareNumbers(object(), other.object()) == 0;
}

bool NSValue::copyValue(void* buffer, std::size_t size, const char* type) const noexcept {
  if (!*this) return false;
  if (const ValueBody* body = ValueBody::of(object())) {
    if (body->size != size || std::strcmp(body->encoding(), type) != 0) return false;
    std::memcpy(buffer, body->bytes(), size);
    return true;
  }
  // A boxed boolean is one, whatever its type code says.
  const NumberBody* number = NumberBody::of(object());
  const bool isBool = number != nullptr && number->type == NumberBody::Type::kBool && std::strcmp(type, "B") == 0;
  if (!isBool && std::strcmp(objCType(), type) != 0) return false;
  numberBytes(object(), buffer);
  return true;
}

}  // namespace kvt
