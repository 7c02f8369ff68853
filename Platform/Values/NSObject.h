// The class that client classes derive from, the handles that hold them, and the macro that describes one to the run
// time.
//
//     class Session : public NSObject {
//      public:
//       NSString token;
//       int64_t expires = 0;
//       NSString description() const { return token; }      // overrides are found by name and signature
//       KVT_CLASS(Session, token, expires)
//     };
//
//     Ref<Session> session = make<Session>();
//     session->token = "abc";
//     session.get(&Session::token);                          // nil when `session` is nil; `->` raises then
//     Weak<Session> observer = session;                      // nil once the object is gone
//
// The macro's arguments are members; each becomes a property with an ivar of its name, a getter (`token`) and a setter
// (`setToken:`): text and blocks copy, other objects retain, `Weak<T>` is weak, scalars are plain, all nonatomic. A
// class with more to say (read-only or computed properties, own accessors, methods, protocols) declares `static void
// kvtDescribe(ClassBuilder<Session>& c)`; see <KVTPlatform/Runtime/ClassBuilder.h>. The superclass is the nearest
// described base. Overrides of `hash`, `isEqual`, `description`, `debugDescription`, `copyWithZone`,
// `mutableCopyWithZone`, `encodeWithCoder`, `initWithCoder` and the static `supportsSecureCoding` become methods of the
// class; one of another signature does not compile. Thread rule: classes may be asked for from any thread; objects are
// as safe as their members are.
#pragma once

#include <memory>
#include <utility>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/WeakReference.h>

#include "id.h"

namespace kvt {

class NSCoder;

class KVT_EXPORT NSObject : public Object {
 public:
  NSObject() = default;

  using KVTClassType = NSObject;
  static constexpr std::string_view kvtRegisteredName = "NSObject";
  static Class kvtClass();
  template <class>
  static Object* (*kvtConstructor())(void*) {
    return [](void* memory) -> Object* { return ::new (memory) NSObject(); };
  }

  // These send the message, so that an override or a replaced method is met. An override that wants the one it
  // overrides sends it: `objc_msgSendSuper<NSString>(this, classOf<Session>(), "description")`.
  std::uint64_t hash() const;
  bool isEqual(const id& other) const;
  NSString description() const;
  NSString debugDescription() const;
};

/// Raises NSInvalidArgumentException: "nil Ref<TYPE> dereferenced".
[[noreturn]] KVT_EXPORT void raiseNilDereference(std::string_view typeName);

/// A strong handle to an object of a class derived from `NSObject`. `T` may be incomplete until a member is used.
template <class T>
class Ref : public id {
 public:
  constexpr Ref() noexcept = default;
  constexpr Ref(std::nullptr_t) noexcept {}
  Ref(Adopt, Object* object) noexcept : id(adopt, object) {}
  Ref(Borrow, const Object* object) noexcept : id(borrow, object) {}
  /// Shares an object, `this` for example.
  Ref(T* object) noexcept : id(borrow, object) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
  noexcept : id(borrow, other.object()) {}

  static bool kvtAccepts(const Object* object) noexcept {
    return class_isSubclassOf(object_getClass(object), classOf<T>());
  }
  /// Known without registering the class: classes may name each other in circles.
  static std::string_view kvtClassName() {
    static_assert(std::is_same_v<typename T::KVTClassType, T>, "this class has no KVT_CLASS or KVT_MODEL of its own");
    return T::kvtRegisteredName;
  }

  /// The object; null when nil.
  T* get() const noexcept { return static_cast<T*>(object()); }
  T* operator->() const { return &**this; }
  T& operator*() const {
    if (object() == nullptr) raiseNilDereference(encoding::typeName<T>());
    return *static_cast<T*>(object());
  }
  /// A member's value, or its type's zero when nil.
  template <class M>
  M get(M T::*member) const {
    return object() == nullptr ? M() : static_cast<T*>(object())->*member;
  }
};

/// A new object of a described class.
template <class T, class... A>
Ref<T> make(A&&... arguments) {
  Class cls = classOf<T>();
  T* object = new T(std::forward<A>(arguments)...);
  ObjectAccess::setIsa(object, cls.body());
  return Ref<T>(adopt, object);
}

/// A zeroing weak reference. `H` is a handle type or a class derived from `NSObject`. Cells are shared: a weak
/// reference costs a table look-up to form, a lock of a few instructions to read.
template <class T>
class Weak {
 public:
  using KVTStrong = HandleFor<T>;

  constexpr Weak() noexcept = default;
  constexpr Weak(std::nullptr_t) noexcept {}
  Weak(const KVTStrong& strong) : cell_(weak_cellOf(strong.object())) {}
  Weak(const Weak& other) noexcept : cell_(weak_retainCell(other.cell_)) {}
  Weak(Weak&& other) noexcept : cell_(std::exchange(other.cell_, nullptr)) {}
  ~Weak() { weak_releaseCell(cell_); }
  Weak& operator=(Weak other) noexcept {
    std::swap(cell_, other.cell_);
    return *this;
  }

  /// The object, or nil once it is gone.
  KVTStrong lock() const noexcept { return KVTStrong(adopt, weak_load(cell_)); }
  operator KVTStrong() const noexcept { return lock(); }

 private:
  WeakCell* cell_ = nullptr;
};

namespace detail {

/// The arguments a hook must have, const and noexcept left open.
template <class F, class Result, class... A>
constexpr bool isHook() {
  using Traits = FunctionTraits<F>;
  if constexpr (requires { typename Traits::Result; }) {
    return std::is_same_v<typename Traits::Result, Result> && []<class... B>(std::tuple<B...>*) {
      if constexpr (sizeof...(A) != sizeof...(B))
        return false;
      else
        return (std::is_same_v<std::remove_cvref_t<B>, A> && ...);
    }(static_cast<typename Traits::Arguments*>(nullptr));
  } else {
    return false;
  }
}

/// Whether the pointer to a member names a function of `T` itself and not one that it inherits.
template <class F, class T>
constexpr bool declaredIn() {
  if constexpr (std::is_member_function_pointer_v<F>) {
    return std::is_same_v<typename FunctionTraits<F>::Owner, T>;
  } else {
    return false;
  }
}

/// The zone argument of `copyWithZone:` is always null and has been for decades; overrides take none.
template <class T, auto F>
struct ZoneThunk {
  static Object* call(Object* self, SEL, void*) { return Abi<id>::result(id((static_cast<T*>(self)->*F)())); }
};

}  // namespace detail
}  // namespace kvt

/// Refuses a class that declares `function` in a way of which its address cannot be taken: overloaded, or as a
/// template. Whether a name is there at all is asked by making it ambiguous. A private hook of a base is the base's own
/// affair.
#define KVT_REFUSE_OVERLOADS_(function)                                                                                \
  if constexpr (!requires { &KVTType::function; } && !::std::is_final_v<KVTType>) {                                    \
    struct KVTName {                                                                                                   \
      int function;                                                                                                    \
    };                                                                                                                 \
    struct KVTWithName : KVTType, KVTName {};                                                                          \
    if constexpr (!requires { &KVTWithName::function; }) {                                                             \
      struct KVTSuperWithName : KVTType::KVTSuperType, KVTName {};                                                     \
      static_assert(!(requires { &KVTSuperWithName::function; }) && !(requires { &KVTType::KVTSuperType::function; }), \
                    #function " is looked for by this name and cannot be overloaded");                                 \
    }                                                                                                                  \
  }

/// Registers an instance method under `selector` when the class itself declares `function`.
#define KVT_INSTANCE_HOOK_(builder, selector, function, ...)                                                      \
  if constexpr (requires { &KVTType::function; }) {                                                               \
    static_assert(!::std::is_function_v<::std::remove_pointer_t<decltype(&KVTType::function)>>,                   \
                  #function " is looked for by this name and must not be static");                                \
    if constexpr (::kvt::detail::declaredIn<decltype(&KVTType::function), KVTType>()) {                           \
      static_assert(::kvt::detail::isHook<decltype(&KVTType::function), __VA_ARGS__>(), #function                 \
                    " is looked for by this name and must have its signature: (" #__VA_ARGS__ "), result first"); \
      (builder).template method<&KVTType::function>(selector);                                                    \
    }                                                                                                             \
  }                                                                                                               \
  KVT_REFUSE_OVERLOADS_(function)
/// Registers a class method under `selector` when the class itself declares the static `function`.
#define KVT_CLASS_HOOK_(builder, selector, function, ...)                                                         \
  if constexpr (requires { &KVTType::function; }) {                                                               \
    constexpr bool inherited = [] {                                                                               \
      if constexpr (requires { &KVTType::KVTSuperType::function; }) {                                             \
        if constexpr (std::is_same_v<decltype(&KVTType::function), decltype(&KVTType::KVTSuperType::function)>)   \
          return &KVTType::function == &KVTType::KVTSuperType::function;                                          \
      }                                                                                                           \
      return false;                                                                                               \
    }();                                                                                                          \
    if constexpr (!inherited) {                                                                                   \
      static_assert(::kvt::detail::isHook<decltype(&KVTType::function), __VA_ARGS__>(),                           \
                    #function " is looked for by this name and must be static with its signature: (" #__VA_ARGS__ \
                              "), result first");                                                                 \
      (builder).template classMethod<&KVTType::function>(selector);                                               \
    }                                                                                                             \
  }                                                                                                               \
  KVT_REFUSE_OVERLOADS_(function)
#define KVT_ZONE_HOOK_(builder, selector, function)                                                                   \
  if constexpr (requires { &KVTType::function; }) {                                                                   \
    if constexpr (::kvt::detail::declaredIn<decltype(&KVTType::function), KVTType>()) {                               \
      (builder).rawMethod(selector,                                                                                   \
                          reinterpret_cast<::kvt::IMP>(&::kvt::detail::ZoneThunk<KVTType, &KVTType::function>::call), \
                          "@24@0:8^{_NSZone=}16");                                                                    \
    }                                                                                                                 \
  }                                                                                                                   \
  KVT_REFUSE_OVERLOADS_(function)
#define KVT_MEMBER_PROPERTY_(builder, member) (builder).template property<&KVTType::member>(#member);

/// What every described class gets; `extraHooks` is a statement macro called with the builder.
#define KVT_DESCRIBE_(Self, Name, extraHooks, ...)                                                       \
 public:                                                                                                 \
  using KVTSuperType = typename Self::KVTClassType;                                                      \
  using KVTClassType = Self;                                                                             \
  static constexpr ::std::string_view kvtRegisteredName = Name;                                          \
  static ::kvt::Class kvtClass() {                                                                       \
    static const ::kvt::Class cls = kvtRegisterClass<Self>();                                            \
    return cls;                                                                                          \
  }                                                                                                      \
  template <class KVTType>                                                                               \
  static ::kvt::Object* (*kvtConstructor())(void*) {                                                     \
    if constexpr (requires(void* memory) { ::new (memory) KVTType(); }) {                                \
      return [](void* memory) -> ::kvt::Object* { return ::new (memory) KVTType(); };                    \
    } else {                                                                                             \
      return nullptr;                                                                                    \
    }                                                                                                    \
  }                                                                                                      \
                                                                                                         \
 private:                                                                                                \
  template <class KVTType>                                                                               \
  static ::kvt::Class kvtRegisterClass() {                                                               \
    static_assert(std::is_base_of_v<::kvt::NSObject, KVTType>, #Self " must derive from kvt::NSObject"); \
    ::kvt::ClassBuilder<KVTType> builder(kvtRegisteredName, ::kvt::classOf<KVTSuperType>());             \
    if constexpr (requires { KVTType::kvtDescribe(builder); }) KVTType::kvtDescribe(builder);            \
    KVT_FOR_EACH_1(KVT_MEMBER_PROPERTY_, builder, __VA_ARGS__)                                           \
    KVT_INSTANCE_HOOK_(builder, "hash", hash, ::std::uint64_t)                                           \
    KVT_INSTANCE_HOOK_(builder, "isEqual:", isEqual, bool, ::kvt::id)                                    \
    KVT_INSTANCE_HOOK_(builder, "description", description, ::kvt::NSString)                             \
    KVT_INSTANCE_HOOK_(builder, "debugDescription", debugDescription, ::kvt::NSString)                   \
    KVT_INSTANCE_HOOK_(builder, "encodeWithCoder:", encodeWithCoder, void, ::kvt::NSCoder)               \
    KVT_INSTANCE_HOOK_(builder, "initWithCoder:", initWithCoder, ::kvt::id, ::kvt::NSCoder)              \
    KVT_CLASS_HOOK_(builder, "supportsSecureCoding", supportsSecureCoding, bool)                         \
    KVT_ZONE_HOOK_(builder, "copyWithZone:", copyWithZone)                                               \
    KVT_ZONE_HOOK_(builder, "mutableCopyWithZone:", mutableCopyWithZone)                                 \
    extraHooks(builder) return builder.registerClass();                                                  \
  }                                                                                                      \
  [[gnu::used]] static inline const bool kvtRegisteredAtStart = (kvtClass(), true);                      \
                                                                                                         \
 public:

#define KVT_NO_HOOKS_(builder)

/// Describes a class to the run time; the arguments are the members that become properties.
#define KVT_CLASS(Self, ...) KVT_DESCRIBE_(Self, #Self, KVT_NO_HOOKS_, __VA_ARGS__)
/// The same under another name than the C++ one: KVT_CLASS_NAMED(Track, "media.Track", title).
#define KVT_CLASS_NAMED(Self, Name, ...) KVT_DESCRIBE_(Self, Name, KVT_NO_HOOKS_, __VA_ARGS__)
