// `id`: a nullable strong handle to any object, one pointer wide. Every typed handle (`NSString`, `NSArray`, `Ref<T>`,
// …) derives from it and adds the operations of its class.
//
//     id value = dictionary.objectForKey("name");
//     if (NSString name = value.as<NSString>()) …        // nil when it is something else
//     value == otherValue                                // two nils are equal, else isEqual:
//
// A message to nil is defined: every member called on nil answers nil, 0, NO or a zero structure, and does nothing.
// Text and numbers do not convert to `id` by themselves; the typed handles' constructors box them: `id x =
// NSString("x")`.
#pragma once

#include <concepts>
#include <iosfwd>
#include <string>
#include <type_traits>

#include <KVTPlatform/Runtime/Class.h>
#include <KVTPlatform/Runtime/Handle.h>

namespace kvt {

class NSString;
class id;
template <class T>
class Ref;

namespace detail {
template <class T>
struct HandleFor {
  using Type = Ref<T>;
};
// Asked by name: `T` may be a class that is not complete yet, which no handle type is.
template <class T>
requires requires { T::kvtTypeName; }
struct HandleFor<T> {
  using Type = T;
};
}  // namespace detail

/// The handle type of `T`: a handle type itself, `Ref<T>` for a class derived from `NSObject`.
template <class T>
using HandleFor = typename detail::HandleFor<T>::Type;

class KVT_EXPORT id : public Handle {
 public:
  constexpr id() noexcept = default;
  constexpr id(std::nullptr_t) noexcept {}
  id(Adopt, Object* object) noexcept : Handle(adopt, object) {}
  id(Borrow, const Object* object) noexcept : Handle(borrow, object) {}
  /// Blocks and other handles of the run time.
  template <class H>
  requires(HandleType<H> && !std::derived_from<H, id>) id(const H& handle)
  noexcept : Handle(handle) {}
  /// Class objects are objects.
  id(Class cls) noexcept : Handle(borrow, class_asObject(cls)) {}

  static constexpr std::string_view kvtTypeName = "";
  static bool kvtAccepts(const Object*) noexcept { return true; }

  /// The handle as a `T`, or nil when the object is none. `T` is a handle type or a class derived from `NSObject`.
  template <class T>
  HandleFor<T> as() const {
    using H = HandleFor<T>;
    return object() != nullptr && H::kvtAccepts(object()) ? H(borrow, object()) : H();
  }
  template <class T>
  bool is() const noexcept {
    return object() != nullptr && HandleFor<T>::kvtAccepts(object());
  }
  /// The object as a class; nil when it is none.
  Class asClass() const noexcept { return object_asClass(object()); }

  Class class_() const noexcept { return object_getClass(object()); }
  Class superclass() const noexcept { return class_getSuperclass(class_()); }
  bool isKindOfClass(Class cls) const noexcept { return class_isSubclassOf(class_(), cls); }
  bool isMemberOfClass(Class cls) const noexcept { return object() != nullptr && class_() == cls; }
  bool respondsToSelector(SEL sel) const noexcept { return class_respondsToSelector(class_(), sel); }
  bool conformsToProtocol(Protocol protocol) const noexcept { return class_conformsToProtocol(class_(), protocol); }

  /// Equal objects have equal hashes; 0 for nil.
  std::uint64_t hash() const;
  /// NO for nil, whatever the argument.
  bool isEqual(const id& other) const;
  /// The text that "%@" prints; nil for nil.
  NSString description() const;
  NSString debugDescription() const;
  /// `copyWithZone:`; raises NSInvalidArgumentException when the class does not answer it. The result is immutable.
  id copy() const;
  /// `mutableCopyWithZone:`; raises likewise.
  id mutableCopy() const;

  /// Sends the message; an object result is nil where the method answers none.
  id performSelector(SEL sel) const;
  id performSelector_withObject(SEL sel, const id& argument) const;
  id performSelector_withObject_withObject(SEL sel, const id& first, const id& second) const;

  // Key-value access: the getters `get<Key>`, `<key>`, `is<Key>`, then the instance variable; the setter `set<Key>:`,
  // then the instance variable. Numbers, structs and other non-objects are boxed (`NSNumber`, `NSValue`), Class values
  // as themselves.
  /// Raises NSUnknownKeyException for a key that there is none of, NSInvalidArgumentException for a nil key.
  id valueForKey(const NSString& key) const;
  /// "a.b.c", each part by `valueForKey:`.
  id valueForKeyPath(const NSString& keyPath) const;
  /// nil for a scalar property raises NSInvalidArgumentException.
  void setValue_forKey(const id& value, const NSString& key) const;
  void setValue_forKeyPath(const id& value, const NSString& keyPath) const;
};

/// Two nils are equal; nil and an object are not; else `isEqual:`.
KVT_EXPORT bool operator==(const id& a, const id& b);
inline bool operator==(const id& a, std::nullptr_t) noexcept { return !a; }

/// The description, "(null)" for nil.
KVT_EXPORT std::ostream& operator<<(std::ostream& stream, const id& value);
/// For GoogleTest failures.
KVT_EXPORT void PrintTo(const id& value, std::ostream* stream);

/// The class object that stands for a handle type or for a class derived from `NSObject`, registering it on first use.
template <class T>
Class classOf() {
  if constexpr (requires { typename T::KVTClassType; }) {
    static_assert(std::is_same_v<typename T::KVTClassType, T>,
                  "this class derives from a described one but has no KVT_CLASS or KVT_MODEL of its own");
  }
  return T::kvtClass();
}

}  // namespace kvt
