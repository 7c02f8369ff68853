#include "KeyValueCoding.h"

#include <cstring>
#include <string>
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Invoke.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Raise.h>
#include <KVTPlatform/Runtime/WeakReference.h>

#include "NSNumber.h"
#include "NSValue.h"

namespace kvt {
namespace {

std::string capitalized(std::string key) {
  if (!key.empty() && key[0] >= 'a' && key[0] <= 'z') key[0] = static_cast<char>(key[0] - 'a' + 'A');
  return key;
}

std::string_view withoutQualifiers(std::string_view type) {
  const std::size_t first = type.find_first_not_of("rnNoORV");
  return first == std::string_view::npos ? std::string_view() : type.substr(first);
}

/// The value at `bytes`, whose type the encoding names, as an object. `owned`: an object among them is the caller's.
id box(std::string_view type, const void* bytes, bool owned) {
  type = withoutQualifiers(type);
  auto as = [bytes]<class T>(T) {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
  };
  if (type.empty()) return {};
  switch (type[0]) {
    case '@': {
      Object* object = as(static_cast<Object*>(nullptr));
      return owned ? id(adopt, object) : id(borrow, object);
    }
    case '#': return id(as(Class()));
    case 'B': return NSNumber(as(bool()));
    case 'c': return NSNumber(as(std::int8_t()));
    case 'C': return NSNumber(as(std::uint8_t()));
    case 's': return NSNumber(as(std::int16_t()));
    case 'S': return NSNumber(as(std::uint16_t()));
    case 'i':
    case 'l': return NSNumber(as(std::int32_t()));
    case 'I':
    case 'L': return NSNumber(as(std::uint32_t()));
    case 'q': return NSNumber(as(std::int64_t()));
    case 'Q': return NSNumber(as(std::uint64_t()));
    case 'f': return NSNumber(as(float()));
    case 'd': return NSNumber(as(double()));
    case 'D': return NSNumber(static_cast<double>(as(static_cast<long double>(0))));
    case 'v': return {};
    default: return NSValue::valueWithBytes_objCType(bytes, std::string(type).c_str());
  }
}

/// The bytes of a value for a scalar or struct of that type. False when the value cannot be one.
bool unbox(const id& value, std::string_view type, std::vector<char>& bytes) {
  type = withoutQualifiers(type);
  auto put = [&bytes](auto number) {
    bytes.resize(sizeof number);
    std::memcpy(bytes.data(), &number, sizeof number);
    return true;
  };
  if (type.empty()) return false;
  if (std::strchr("BcCsSilILqQfdD", type[0]) != nullptr) {
    NSNumber number = value.as<NSNumber>();
    if (NSString text = value.as<NSString>()) {
      number = type[0] == 'f' || type[0] == 'd' || type[0] == 'D' ? NSNumber(text.doubleValue())
               : type[0] == 'B'                                   ? NSNumber(text.boolValue())
                                                                  : NSNumber(text.longLongValue());
    }
    if (!number) return false;
    switch (type[0]) {
      case 'B': return put(number.boolValue());
      case 'c': return put(number.charValue());
      case 'C': return put(number.unsignedCharValue());
      case 's': return put(number.shortValue());
      case 'S': return put(number.unsignedShortValue());
      case 'i':
      case 'l': return put(number.intValue());
      case 'I':
      case 'L': return put(number.unsignedIntValue());
      case 'q': return put(number.longLongValue());
      case 'Q': return put(number.unsignedLongLongValue());
      case 'f': return put(number.floatValue());
      case 'd': return put(number.doubleValue());
      default: return put(static_cast<long double>(number.doubleValue()));
    }
  }
  if (type[0] == '#') {
    Class cls = value.asClass();
    return (cls || !value) && put(cls);
  }
  NSValue boxed = value.as<NSValue>();
  if (!boxed || type != boxed.objCType()) return false;
  bytes.resize(sizeAndAlignment(type).size);
  boxed.getValue(bytes.data());
  return true;
}

/// An array cannot be an argument: it travels as a pointer to its first element.
bool isArray(std::string_view type) { return withoutQualifiers(type).starts_with("["); }

Ivar ivarForKey(Class cls, const std::string& key) {
  for (const std::string& name : {"_" + key, "_is" + capitalized(key), key, "is" + capitalized(key)}) {
    if (Ivar ivar = class_getInstanceVariable(cls, name); ivar != nullptr && !ivar_isWeak(ivar)) return ivar;
  }
  return nullptr;
}

[[noreturn]] void raiseUnknownKey(const id& self, const std::string& key, const char* operation) {
  objc_raise("NSUnknownKeyException", "[<" + std::string(class_getName(self.class_())) + "> " + operation +
                                          "]: this class is not key value coding-compliant for the key " + key + ".");
}

std::string keyText(const NSString& key, const char* operation) {
  if (!key) objc_raise("NSInvalidArgumentException", std::string(operation) + ": attempt to use a nil key");
  return std::string(key);
}

/// What a default getter reads, without calling it; arrays are read whole.
id readMember(const id& self, const Accessor& accessor, std::string_view type) {
  const char* field = reinterpret_cast<const char*>(self.object()) + accessor.offset;
  return box(type, field, false);
}

std::string propertyType(Class cls, const std::string& key) {
  std::string type;
  property_getAttributeValue(class_getProperty(cls, key), 'T', type);
  return type;
}

/// "a.b.c" before and after its last or first point.
std::pair<std::string, std::string> split(const std::string& path, std::size_t point) {
  if (point == std::string::npos) return {path, ""};
  return {path.substr(0, point), path.substr(point + 1)};
}

}  // namespace

namespace kvc {

id valueForKey(const id& self, const NSString& key) {
  if (!self) return {};
  const std::string name = keyText(key, "valueForKey:");
  Class cls = self.class_();
  for (const std::string& getter : {"get" + capitalized(name), name, "is" + capitalized(name)}) {
    SEL sel{std::string_view(getter)};
    Method method = class_getInstanceMethod(cls, sel);
    if (method == nullptr || method_getNumberOfArguments(method) != 2) continue;
    const std::string type = method_copyReturnType(method);
    if (type == "@" || type == "@?") return objc_msgSend<id>(self, sel);
    // An array's getter answers a pointer; the property knows how much there is behind it.
    if (const Accessor* accessor = method_getDefaultAccessor(method)) {
      const std::string declared = propertyType(cls, name);
      return readMember(self, *accessor, isArray(declared) ? declared : type);
    }
    if (isArray(type)) continue;
    std::vector<char> bytes(std::max(sizeAndAlignment(type).size, sizeof(long double)));
    if (!objc_invoke(self.object(), method, nullptr, bytes.data())) continue;
    return box(type, bytes.data(), true);
  }
  if (Ivar ivar = ivarForKey(cls, name)) {
    return box(ivar_getTypeEncoding(ivar), reinterpret_cast<const char*>(self.object()) + ivar_getOffset(ivar), false);
  }
  raiseUnknownKey(self, name, "valueForUndefinedKey:");
}

void setValueForKey(const id& self, const id& value, const NSString& key) {
  if (!self) return;
  const std::string name = keyText(key, "setValue:forKey:");
  Class cls = self.class_();
  SEL sel{std::string_view("set" + capitalized(name) + ":")};
  Method method = class_getInstanceMethod(cls, sel);
  std::string type;
  Ivar ivar = nullptr;
  if (method != nullptr && method_getNumberOfArguments(method) == 3) {
    type = method_copyArgumentType(method, 2);
    if (type == "@" || type == "@?") return objc_msgSend(self, sel, value);
    const std::string declared = propertyType(cls, name);
    if (isArray(declared)) type = declared;
  } else if ((ivar = ivarForKey(cls, name)) != nullptr) {
    type = ivar_getTypeEncoding(ivar);
  } else {
    raiseUnknownKey(self, name, "setValue:forUndefinedKey:");
  }
  if (!value && withoutQualifiers(type)[0] != '@' && withoutQualifiers(type)[0] != '#') {
    objc_raise("NSInvalidArgumentException", "[<" + std::string(class_getName(cls)) +
                                                 "> setNilValueForKey]: could not set nil as the value for the key " +
                                                 name + ".");
  }
  if (ivar != nullptr && withoutQualifiers(type)[0] == '@') {
    // Without a setter the handle behind the ivar is written as it is.
    auto& field = *reinterpret_cast<Handle*>(reinterpret_cast<char*>(self.object()) + ivar_getOffset(ivar));
    Class wanted;
    if (type.starts_with("@\""))
      wanted = objc_getClass(std::string_view(type).substr(2, type.find_first_of("\"<", 2) - 2));
    field = !wanted || value.isKindOfClass(wanted) ? Handle(value) : Handle();
    return;
  }
  std::vector<char> bytes;
  if (!unbox(value, type, bytes)) {
    objc_raise("NSInvalidArgumentException", "[<" + std::string(class_getName(cls)) + "> setValue:forKey:]: a " +
                                                 class_getName(value.class_()) + " cannot be the value of " + name +
                                                 ", which is " + type);
  }
  if (ivar != nullptr) {
    std::memcpy(reinterpret_cast<char*>(self.object()) + ivar_getOffset(ivar), bytes.data(), bytes.size());
    return;
  }
  const void* pointer = bytes.data();
  const void* arguments[] = {isArray(type) ? static_cast<const void*>(&pointer) : bytes.data()};
  objc_invoke(self.object(), method, arguments, nullptr);
}

id valueForKeyPath(const id& self, const NSString& keyPath) {
  const std::string path = keyText(keyPath, "valueForKeyPath:");
  auto [first, rest] = split(path, path.find('.'));
  id value = self.valueForKey(NSString(first));
  return rest.empty() ? value : value.valueForKeyPath(NSString(rest));
}

void setValueForKeyPath(const id& self, const id& value, const NSString& keyPath) {
  const std::string path = keyText(keyPath, "setValue:forKeyPath:");
  auto [first, rest] = split(path, path.find('.'));
  if (rest.empty()) return self.setValue_forKey(value, NSString(first));
  self.valueForKey(NSString(first)).setValue_forKeyPath(value, NSString(rest));
}

}  // namespace kvc

id id::valueForKey(const NSString& key) const { return objc_msgSend<id>(*this, "valueForKey:", key); }
id id::valueForKeyPath(const NSString& path) const { return objc_msgSend<id>(*this, "valueForKeyPath:", path); }
void id::setValue_forKey(const id& value, const NSString& key) const {
  objc_msgSend(*this, "setValue:forKey:", value, key);
}
void id::setValue_forKeyPath(const id& value, const NSString& path) const {
  objc_msgSend(*this, "setValue:forKeyPath:", value, path);
}

}  // namespace kvt
