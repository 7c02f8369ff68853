// Classes, metaclasses and what they hold: the run-time registry that everything above reads classes through.
//
//     Class cls = objc_getClass("User");                        // nil when no such class is registered
//     for (Property property : class_copyPropertyList(cls)) property_getName(property);
//     class_addMethod(cls, "greet", (IMP)greet, "@16@0:8");     // from now on its instances answer `greet`
//
// The functions carry the field's own names. Lists come back by value, own members only (not inherited), in the order
// in which they were added. Every function answers nil, an empty list, 0 or NO when its class or handle is nil.
// Methods, properties, ivars and their names and encodings live as long as the process (those of a disposed class
// excepted). Thread rule: everything may be called from any thread; look-ups take no lock once they are cached.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Export.h"
#include "Object.h"
#include "Selector.h"

namespace kvt {

struct ClassBody;
struct MethodBody;
struct PropertyBody;
struct IvarBody;
struct ProtocolBody;

using Method = MethodBody*;
using Property = PropertyBody*;
using Ivar = IvarBody*;
using Protocol = ProtocolBody*;

/// A class or metaclass, or nil. Class objects are objects (an `id` holds them), and immortal.
class Class {
 public:
  constexpr Class() noexcept = default;
  constexpr Class(std::nullptr_t) noexcept {}
  constexpr explicit Class(ClassBody* body) noexcept : body_(body) {}
  constexpr explicit operator bool() const noexcept { return body_ != nullptr; }
  constexpr ClassBody* body() const noexcept { return body_; }
  friend constexpr bool operator==(Class, Class) noexcept = default;

 private:
  ClassBody* body_ = nullptr;
};

/// An implementation: a function with C linkage's calling convention that takes the receiver and the selector first.
/// `id` arguments are raw, borrowed `Object*`; an `id` result is a raw `Object*` that the caller owns.
using IMP = void (*)();

/// The attribute of a property: one letter (as text) and its value, "" where it has none.
struct PropertyAttribute {
  std::string name;
  std::string value;
};

// ---- classes ------------------------------------------------------------------------------------------------------

/// The class of that name, or nil.
KVT_EXPORT Class objc_getClass(std::string_view name);
inline Class objc_lookUpClass(std::string_view name) { return objc_getClass(name); }
/// The metaclass of the class of that name, or nil.
KVT_EXPORT Class objc_getMetaClass(std::string_view name);
/// Every registered class, without metaclasses, in order of registration.
KVT_EXPORT std::vector<Class> objc_copyClassList();

/// The object's class; for a class its metaclass; nil for nil.
KVT_EXPORT Class object_getClass(const Object* object) noexcept;
/// Changes the class of one object to `cls`, which must not need more memory than its present one; NO otherwise.
KVT_EXPORT bool object_setClass(Object* object, Class cls) noexcept;
/// Whether the object is a class or metaclass.
KVT_EXPORT bool object_isClass(const Object* object) noexcept;
/// The class object as an object, to be held by handles.
KVT_EXPORT Object* class_asObject(Class cls) noexcept;
/// The object as a class, nil when it is none.
KVT_EXPORT Class object_asClass(const Object* object) noexcept;

/// "nil" for nil.
KVT_EXPORT const char* class_getName(Class cls) noexcept;
KVT_EXPORT Class class_getSuperclass(Class cls) noexcept;
KVT_EXPORT bool class_isMetaClass(Class cls) noexcept;
/// Bytes of an instance.
KVT_EXPORT std::size_t class_getInstanceSize(Class cls) noexcept;
/// Whether `cls` is `ancestor` or inherits from it. O(depth).
KVT_EXPORT bool class_isSubclassOf(Class cls, Class ancestor) noexcept;
/// A new instance with the count 1, default-constructed, further ivars zeroed; null when the class is nil, a metaclass,
/// or cannot be created without arguments.
KVT_EXPORT Object* class_createInstance(Class cls);

// ---- building classes at run time ----------------------------------------------------------------------------------

/// A new class and its metaclass under a superclass, not yet registered; nil when the name is empty or taken, or the
/// superclass is nil or a metaclass. `extraBytes` is accepted for the sake of ported code and not used.
KVT_EXPORT Class objc_allocateClassPair(Class superclass, std::string_view name, std::size_t extraBytes = 0);
/// Makes the class known by its name. Its ivars are fixed from now on.
KVT_EXPORT void objc_registerClassPair(Class cls);
/// Withdraws a class that was built at run time; no instance or subclass of it may exist. Refused for other classes.
KVT_EXPORT void objc_disposeClassPair(Class cls);

/// Adds an instance variable; only between allocation and registration, and not below a value class such as `NSArray`.
/// `alignment` is a power of two given by its exponent.
KVT_EXPORT bool class_addIvar(Class cls, std::string_view name, std::size_t size, std::uint8_t alignment,
                              std::string_view types);
/// Adds a method, NO when the class itself (not an ancestor) has one of that selector. Raises the generation.
KVT_EXPORT bool class_addMethod(Class cls, SEL sel, IMP imp, std::string_view types);
/// Replaces the class's own method or adds one; answers the implementation that was there, null when it is new.
KVT_EXPORT IMP class_replaceMethod(Class cls, SEL sel, IMP imp, std::string_view types);
/// Adds a property (its description only); NO when the class itself has one of that name.
KVT_EXPORT bool class_addProperty(Class cls, std::string_view name, const std::vector<PropertyAttribute>& attributes);
/// Replaces the description of the class's own property, or adds it.
KVT_EXPORT void class_replaceProperty(Class cls, std::string_view name,
                                      const std::vector<PropertyAttribute>& attributes);
/// Adds a property with everything it needs, as a compiler would: an ivar (named by the `V` attribute, "_name" without
/// one) and accessors made from the `T` encoding and the attributes. Only before registration. NO when the encoding has
/// no size, when the name is taken or when the getter would shadow a root method of another encoding (said on standard
/// error).
KVT_EXPORT bool class_synthesizeProperty(Class cls, std::string_view name,
                                         const std::vector<PropertyAttribute>& attributes);
/// Adopts a protocol; NO when the class itself adopted it already.
KVT_EXPORT bool class_addProtocol(Class cls, Protocol protocol);

/// Rises with every method, property or class that is added, replaced or exchanged. Caches of methods carry it.
KVT_EXPORT std::uint64_t objc_runtimeGeneration() noexcept;
/// Raises the generation for a change that the run time cannot see by itself.
KVT_EXPORT void objc_noteRuntimeChange() noexcept;

// ---- methods --------------------------------------------------------------------------------------------------------

/// The method that instances answer the selector with, inherited ones included, or nil. Cached per class.
KVT_EXPORT Method class_getInstanceMethod(Class cls, SEL sel) noexcept;
/// The method that the class itself answers the selector with, or nil.
KVT_EXPORT Method class_getClassMethod(Class cls, SEL sel) noexcept;
KVT_EXPORT IMP class_getMethodImplementation(Class cls, SEL sel) noexcept;
KVT_EXPORT bool class_respondsToSelector(Class cls, SEL sel) noexcept;
KVT_EXPORT std::vector<Method> class_copyMethodList(Class cls);

KVT_EXPORT SEL method_getName(Method method) noexcept;
KVT_EXPORT IMP method_getImplementation(Method method) noexcept;
/// Answers the previous one. Raises the generation.
KVT_EXPORT IMP method_setImplementation(Method method, IMP imp) noexcept;
/// Swaps two implementations at once. Raises the generation.
KVT_EXPORT void method_exchangeImplementations(Method a, Method b) noexcept;
/// The full encoding with argument offsets, as "v24@0:8@16"; null for nil.
KVT_EXPORT const char* method_getTypeEncoding(Method method) noexcept;
KVT_EXPORT std::string method_copyReturnType(Method method);
/// The encoding of an argument by index (0 is the receiver, 1 the selector); "" beyond the last.
KVT_EXPORT std::string method_copyArgumentType(Method method, unsigned index);
/// The two hidden ones included.
KVT_EXPORT unsigned method_getNumberOfArguments(Method method) noexcept;

struct Accessor;
/// What the method does as long as its implementation is the one it was registered with and that is a plain accessor of
/// a member; null for every other method. A caller may then read or store at the offset instead of calling.
KVT_EXPORT const Accessor* method_getDefaultAccessor(Method method) noexcept;

// ---- properties -----------------------------------------------------------------------------------------------------

/// The property of that name, inherited ones included.
KVT_EXPORT Property class_getProperty(Class cls, std::string_view name) noexcept;
KVT_EXPORT std::vector<Property> class_copyPropertyList(Class cls);
KVT_EXPORT const char* property_getName(Property property) noexcept;
/// The attributes as one text, as `T@"NSString",C,N,V_name`.
KVT_EXPORT const char* property_getAttributes(Property property) noexcept;
KVT_EXPORT std::vector<PropertyAttribute> property_copyAttributeList(Property property);
/// The value of one attribute; false when the property has no such attribute.
KVT_EXPORT bool property_getAttributeValue(Property property, char attribute, std::string& value);

// ---- instance variables
// -----------------------------------------------------------------------------------------------

KVT_EXPORT Ivar class_getInstanceVariable(Class cls, std::string_view name) noexcept;
KVT_EXPORT std::vector<Ivar> class_copyIvarList(Class cls);
KVT_EXPORT const char* ivar_getName(Ivar ivar) noexcept;
KVT_EXPORT const char* ivar_getTypeEncoding(Ivar ivar) noexcept;
KVT_EXPORT std::ptrdiff_t ivar_getOffset(Ivar ivar) noexcept;
KVT_EXPORT std::size_t ivar_getSize(Ivar ivar) noexcept;
/// Whether the variable holds a weak reference, which only its accessors can read.
KVT_EXPORT bool ivar_isWeak(Ivar ivar) noexcept;

// ---- protocols
// --------------------------------------------------------------------------------------------------------

/// The protocol of that name, or nil when no class and no code has named it yet.
KVT_EXPORT Protocol objc_getProtocol(std::string_view name) noexcept;
/// The protocol of that name, made on first use. O(1), by hash.
KVT_EXPORT Protocol objc_registerProtocol(std::string_view name);
KVT_EXPORT const char* protocol_getName(Protocol protocol) noexcept;
/// Whether the class itself adopted it; `class_conformsToProtocol` asks the ancestors too.
KVT_EXPORT std::vector<Protocol> class_copyProtocolList(Class cls);
KVT_EXPORT bool class_conformsToProtocol(Class cls, Protocol protocol) noexcept;

}  // namespace kvt
