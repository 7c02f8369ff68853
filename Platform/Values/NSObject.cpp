#include "NSObject.h"

#include <ostream>

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "KeyValueCoding.h"
#include "Kinds.h"
#include "NSString.h"

namespace kvt {
namespace {

ValueOperations valueOperations[256];

const ValueOperations& operationsOf(const Object* object) noexcept {
  return valueOperations[static_cast<std::uint8_t>(object->kvtKind())];
}

const SEL kHash = "hash";
const SEL kIsEqual = "isEqual:";
const SEL kDescription = "description";
const SEL kDebugDescription = "debugDescription";
const SEL kMutableCopyWithZone = "mutableCopyWithZone:";

// ---- what every object answers ------------------------------------------------------------------------------------
// Free functions with the receiver first: the class table and the class objects share them.

std::uint64_t rootHash(const id& self) { return reinterpret_cast<std::uintptr_t>(self.object()) >> 4; }
bool rootIsEqual(const id& self, const id& other) { return isIdentical(self, other); }
NSString rootDescription(const id& self) {
  if (Class cls = self.asClass()) return NSString(class_getName(cls));
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(self.object()));
  return NSString("<" + std::string(class_getName(self.class_())) + ": " + address + ">");
}
NSString rootDebugDescription(const id& self) { return self.description(); }
id rootSelf(const id& self) { return self; }
Class rootClass(const id& self) { return self.asClass() ? self.asClass() : self.class_(); }
Class rootSuperclass(const id& self) { return class_getSuperclass(rootClass(self)); }
bool rootIsKindOfClass(const id& self, Class cls) { return self.isKindOfClass(cls); }
bool rootIsMemberOfClass(const id& self, Class cls) { return self.isMemberOfClass(cls); }
bool rootRespondsToSelector(const id& self, SEL sel) { return self.respondsToSelector(sel); }
id rootPerform(const id& self, SEL sel) { return self.performSelector(sel); }
id rootPerformWith(const id& self, SEL sel, const id& argument) {
  return self.performSelector_withObject(sel, argument);
}
id rootPerformWithTwo(const id& self, SEL sel, const id& first, const id& second) {
  return self.performSelector_withObject_withObject(sel, first, second);
}
id rootCopy(const id& self) { return self.copy(); }
id rootMutableCopy(const id& self) { return self.mutableCopy(); }
id rootInit(const id& self) { return self; }
id rootNew(Class cls) { return id(adopt, class_createInstance(cls)); }
bool rootInstancesRespondToSelector(Class cls, SEL sel) { return class_respondsToSelector(cls, sel); }
bool rootIsSubclassOfClass(Class cls, Class ancestor) { return class_isSubclassOf(cls, ancestor); }

}  // namespace

void registerValueOperations(ValueKind kind, const ValueOperations& operations) noexcept {
  valueOperations[kind] = operations;
}

Class NSObject::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSObject> c("NSObject", Class());
    c.method<&rootHash>("hash").method<&rootIsEqual>("isEqual:");
    c.method<&rootDescription>("description").method<&rootDebugDescription>("debugDescription");
    c.method<&rootSelf>("self").method<&rootClass>("class").method<&rootSuperclass>("superclass");
    c.method<&rootIsKindOfClass>("isKindOfClass:").method<&rootIsMemberOfClass>("isMemberOfClass:");
    c.method<&rootRespondsToSelector>("respondsToSelector:");
    c.method<&rootPerform>("performSelector:").method<&rootPerformWith>("performSelector:withObject:");
    c.method<&rootPerformWithTwo>("performSelector:withObject:withObject:");
    c.method<&rootInit>("init").method<&rootCopy>("copy").method<&rootMutableCopy>("mutableCopy");
    c.method<&kvc::valueForKey>("valueForKey:").method<&kvc::valueForKeyPath>("valueForKeyPath:");
    c.method<&kvc::setValueForKey>("setValue:forKey:").method<&kvc::setValueForKeyPath>("setValue:forKeyPath:");
    c.classMethod<&rootNew>("new").classMethod<&rootNew>("alloc");
    c.classMethod<&rootInstancesRespondToSelector>("instancesRespondToSelector:");
    c.classMethod<&rootIsSubclassOfClass>("isSubclassOfClass:");
    return c.registerClass();
  }();
  return cls;
}

// The platform knows its block classes by name from the start.
[[maybe_unused]] static const bool registered = (classOf<NSObject>(), blockClass(), true);

std::uint64_t NSObject::hash() const { return objc_msgSend<std::uint64_t>(this, kHash); }
bool NSObject::isEqual(const id& other) const { return objc_msgSend<bool>(this, kIsEqual, other); }
NSString NSObject::description() const { return objc_msgSend<NSString>(this, kDescription); }
NSString NSObject::debugDescription() const { return objc_msgSend<NSString>(this, kDebugDescription); }

void raiseNilDereference(std::string_view typeName) {
  objc_raise("NSInvalidArgumentException", "nil Ref<" + std::string(typeName) + "> dereferenced");
}

// ---- id -----------------------------------------------------------------------------------------------------------

std::uint64_t id::hash() const {
  if (object() == nullptr) return 0;
  if (auto hash = operationsOf(object()).hash) return hash(object());
  return objc_msgSend<std::uint64_t>(*this, kHash);
}

bool id::isEqual(const id& other) const {
  if (object() == nullptr) return false;
  if (auto isEqual = operationsOf(object()).isEqual) {
    if (isIdentical(*this, other)) return true;
    return other.object() != nullptr && isEqual(object(), other.object());
  }
  return objc_msgSend<bool>(*this, kIsEqual, other);
}

bool operator==(const id& a, const id& b) { return isIdentical(a, b) || a.isEqual(b); }

NSString id::description() const { return objc_msgSend<NSString>(*this, kDescription); }
NSString id::debugDescription() const { return objc_msgSend<NSString>(*this, kDebugDescription); }

id id::copy() const { return object() == nullptr ? id() : id(adopt, objc_copyObject(object())); }

id id::mutableCopy() const { return objc_msgSend<id>(*this, kMutableCopyWithZone, nullptr); }

namespace {

/// Whatever a method answers, as an object; a void method answers nil.
template <class... A>
id perform(const id& self, SEL sel, const A&... arguments) {
  if (!self) return id();
  Method method = class_getInstanceMethod(self.class_(), sel);
  if (method != nullptr && method_copyReturnType(method) == "v") {
    objc_msgSend(self, sel, arguments...);
    return id();
  }
  return objc_msgSend<id>(self, sel, arguments...);
}

}  // namespace

id id::performSelector(SEL sel) const { return perform(*this, sel); }
id id::performSelector_withObject(SEL sel, const id& argument) const { return perform(*this, sel, argument); }
id id::performSelector_withObject_withObject(SEL sel, const id& first, const id& second) const {
  return perform(*this, sel, first, second);
}

std::ostream& operator<<(std::ostream& stream, const id& value) {
  if (!value) return stream << "(null)";
  return stream << std::string(value.description());
}

void PrintTo(const id& value, std::ostream* stream) { *stream << value; }

}  // namespace kvt
