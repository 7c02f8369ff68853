// Describes a C++ class to the run time: its properties, methods and protocols. The declaring macros use it for the
// plain cases; a class with more to say writes the description itself:
//
//     static void kvtDescribe(ClassBuilder<Track>& c) {
//       c.protocol("Playable");
//       c.property<&Track::title>("title", {.readonly = true});
//       c.property<&Track::loud>("loud", {.getter = "isLoud"});
//       c.propertyOf<NSString>("label", {.readonly = true});    // no member behind it: `label` is a method
//       c.method<&Track::label>("label").method<&Track::play>("play:at:");
//       c.classMethod<&Track::shared>("sharedTrack");
//     }
//
// Accessors that the author registers as methods stand; the others are made from the member. Everything is in place
// when the class is registered; nothing here is for use afterwards (see Class.h for that).
#pragma once

#include <bit>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <vector>

#include "Abi.h"
#include "Class.h"
#include "TypeEncoding.h"

namespace kvt {

/// How a property holds an object.
enum class Ownership : std::uint8_t { kNone, kStrong, kCopy, kWeak };

/// What a default accessor does, so that callers who find it unchanged may read or store at the offset themselves.
struct Accessor {
  enum class Kind : std::uint8_t { kNone, kGetter, kSetter };
  Kind kind = Kind::kNone;
  Ownership ownership = Ownership::kNone;
  bool synthesized = false;   // made for a class without a C++ type
  std::ptrdiff_t offset = 0;  // from the object's address
  std::size_t size = 0;
  bool (*accepts)(const Object*) noexcept = nullptr;  // which objects the member may hold; null: any
  std::string className;                              // synthesized members: the class their encoding names
};

struct PropertyOptions {
  bool readonly = false;
  bool atomic = false;
  bool dynamic = false;                    // no accessors are made; the author provides them at run time
  const char* getter = nullptr;            // selector; the property's name without one
  const char* setter = nullptr;            // selector; set<Name>: without one
  const char* encoding = nullptr;          // in place of the derived one
  const char* protocols = nullptr;         // "A,B": `@"NSArray<A><B>"`
  Ownership ownership = Ownership::kNone;  // kNone: text and blocks copy, other objects retain, Weak<T> weak
};

/// Copies for a `copy` property: immutable values are shared, others answer `copyWithZone:`. The caller owns the
/// result.
KVT_EXPORT Object* objc_copyObject(Object* object);

namespace detail {

template <class F>
struct FunctionTraits;
#define KVT_FUNCTION_TRAITS_(qualifiers)             \
  template <class R, class C, class... A>            \
  struct FunctionTraits<R (C::*)(A...) qualifiers> { \
    using Result = R;                                \
    using Owner = C;                                 \
    using Arguments = std::tuple<A...>;              \
    static constexpr bool isMember = true;           \
  };
KVT_FUNCTION_TRAITS_()
KVT_FUNCTION_TRAITS_(const)
KVT_FUNCTION_TRAITS_(noexcept)
KVT_FUNCTION_TRAITS_(const noexcept)
#undef KVT_FUNCTION_TRAITS_
template <class R, class... A>
struct FunctionTraits<R (*)(A...)> {
  using Result = R;
  using Owner = void;
  using Arguments = std::tuple<A...>;
  static constexpr bool isMember = false;
};
template <class R, class... A>
struct FunctionTraits<R (*)(A...) noexcept> : FunctionTraits<R (*)(A...)> {};

/// "v24@0:8@16": the type of every argument followed by its offset; integers take four bytes at least.
KVT_EXPORT std::string methodEncoding(const char* result, std::initializer_list<const char*> arguments);

template <class Receiver, auto F, class Result, class... A>
struct MemberThunk {
  static AbiType<Result> call(Object* self, SEL, AbiType<A>... arguments) {
    if constexpr (HandleType<Receiver>) {
      typename Abi<Receiver>::Argument receiver(self);
      return answer([&](auto&&... a) -> Result { return (receiver.get().*F)(a...); }, arguments...);
    } else {
      auto* receiver = static_cast<Receiver*>(self);
      return answer([&](auto&&... a) -> Result { return (receiver->*F)(a...); }, arguments...);
    }
  }
  template <class Call>
  static AbiType<Result> answer(Call&& call, AbiType<A>... arguments) {
    if constexpr (std::is_void_v<Result>) {
      call(typename Abi<A>::Argument(arguments).get()...);
    } else {
      return Abi<Result>::result(call(typename Abi<A>::Argument(arguments).get()...));
    }
  }
};

/// A free function that takes the receiver first.
template <auto F, class Result, class First, class... A>
struct FreeThunk {
  static AbiType<Result> call(Object* self, SEL, AbiType<A>... arguments) {
    typename Abi<First>::Argument receiver(self);
    if constexpr (std::is_void_v<Result>) {
      F(receiver.get(), typename Abi<A>::Argument(arguments).get()...);
    } else {
      return Abi<Result>::result(F(receiver.get(), typename Abi<A>::Argument(arguments).get()...));
    }
  }
};

/// A class operation, told which class it was sent to where it asks.
template <auto F, bool TakesClass, class Result, class... A>
struct StaticThunk {
  static AbiType<Result> call(Object* self, SEL, AbiType<A>... arguments) {
    auto invoke = [&]() -> Result {
      if constexpr (TakesClass)
        return F(object_asClass(self), typename Abi<A>::Argument(arguments).get()...);
      else
        return F(typename Abi<A>::Argument(arguments).get()...);
    };
    if constexpr (std::is_void_v<Result>)
      invoke();
    else
      return Abi<Result>::result(invoke());
  }
};

template <class Result, class... A>
std::string encodingOfCall() {
  return methodEncoding(encodingOf<std::remove_cvref_t<Result>>(), {encodingOf<std::remove_cvref_t<A>>()...});
}

/// What the accessors of a member of type `M` pass: an array decays to a pointer, a weak reference is a strong handle.
template <class M>
struct PropertyAccess {
  using Value = M;
};
template <class E, std::size_t N>
struct PropertyAccess<E[N]> {
  using Value = E*;
};
template <WeakHandleType M>
struct PropertyAccess<M> {
  using Value = typename M::KVTStrong;
};

}  // namespace detail

class KVT_EXPORT ClassBuilderBase {
 public:
  ClassBuilderBase(const ClassBuilderBase&) = delete;
  ClassBuilderBase& operator=(const ClassBuilderBase&) = delete;

 protected:
  struct CppType {
    const char* mangledName;
    std::size_t size;
    std::size_t alignment;
    Object* (*construct)(void* memory);
  };
  ClassBuilderBase(std::string_view name, Class superclass, const CppType& type);
  explicit ClassBuilderBase(Class existing);
  ~ClassBuilderBase();

  struct MemberDescription {
    const char* encoding;
    std::string_view className;  // "" for scalars and untyped objects
    std::ptrdiff_t offset;
    std::size_t size;
    Ownership ownership;
    IMP getter;
    IMP setter;
    IMP copyingSetter;
    const char* accessorEncoding;
    bool (*accepts)(const Object*) noexcept;
  };
  void addProtocol(std::string_view name);
  void addMethod(std::string_view selector, IMP imp, const std::string& types, bool onMetaclass);
  void addProperty(std::string_view name, const MemberDescription& member, bool hasMember,
                   const PropertyOptions& options);
  void setCreate(Object* (*create)(Class)) noexcept;
  Class finish();

 private:
  struct State;
  State* state_;
};

namespace detail {

template <class T, auto Member>
struct PropertyThunks {
  using M = typename encoding::MemberType<decltype(Member)>::Type;
  using Value = typename PropertyAccess<M>::Value;

  static AbiType<Value> get(Object* self, SEL) {
    M& member = static_cast<T*>(self)->*Member;
    if constexpr (WeakHandleType<M>)
      return Abi<Value>::result(member.lock());
    else if constexpr (std::is_array_v<M>)
      return member;
    else
      return Abi<Value>::result(member);
  }
  static void set(Object* self, SEL, AbiType<Value> raw) {
    M& member = static_cast<T*>(self)->*Member;
    if constexpr (std::is_array_v<M>) {
      if (raw == nullptr) return;
      for (std::size_t i = 0; i < std::extent_v<M>; ++i) member[i] = raw[i];
    } else if constexpr (HandleType<Value>) {
      member = shareAs<Value>(raw);
    } else {
      member = raw;
    }
  }
  static void setCopy(Object* self, SEL sel, AbiType<Value> raw) {
    if constexpr (HandleType<Value>) {
      Handle copy(adopt, acceptsObject<Value>(raw) && raw != nullptr ? objc_copyObject(raw) : nullptr);
      set(self, sel, copy.object());
    } else {
      set(self, sel, raw);
    }
  }
};

}  // namespace detail

/// The typed builder. `T` is a class derived from `NSObject`, or a handle type for a value class.
template <class T>
class ClassBuilder : public ClassBuilderBase {
 public:
  ClassBuilder(std::string_view name, Class superclass) : ClassBuilderBase(name, superclass, cppType()) {}
  /// Adds to a class that is there already: how a category registers its operations.
  explicit ClassBuilder(Class existing) : ClassBuilderBase(existing) {}

  ClassBuilder& protocol(std::string_view name) {
    addProtocol(name);
    return *this;
  }
  /// A member function, or a free function that takes the receiver first.
  template <auto F>
  ClassBuilder& method(std::string_view selector) {
    using Traits = detail::FunctionTraits<decltype(F)>;
    addMethod(selector, methodImp<F>(static_cast<typename Traits::Arguments*>(nullptr)),
              methodTypes<F>(static_cast<typename Traits::Arguments*>(nullptr)), false);
    return *this;
  }
  /// An implementation as it is, with its full encoding.
  ClassBuilder& rawMethod(std::string_view selector, IMP imp, const std::string& types) {
    addMethod(selector, imp, types, false);
    return *this;
  }
  /// A static or free function. With one parameter more than the selector has colons, it is told first which `Class` it
  /// was sent to.
  template <auto F>
  ClassBuilder& classMethod(std::string_view selector) {
    using Traits = detail::FunctionTraits<decltype(F)>;
    addClassMethod<F>(selector, static_cast<typename Traits::Arguments*>(nullptr));
    return *this;
  }
  template <auto Member>
  ClassBuilder& property(std::string_view name, const PropertyOptions& options = {}) {
    using M = typename encoding::MemberType<decltype(Member)>::Type;
    using Thunks = detail::PropertyThunks<T, Member>;
    MemberDescription member = describe<M>();
    // A pointer to a data member is its offset, in the ABI that every supported compiler follows.
    auto pointer = Member;
    member.offset = std::bit_cast<std::ptrdiff_t>(pointer);
    member.getter = reinterpret_cast<IMP>(&Thunks::get);
    member.setter = reinterpret_cast<IMP>(&Thunks::set);
    if constexpr (HandleType<typename Thunks::Value>) member.copyingSetter = reinterpret_cast<IMP>(&Thunks::setCopy);
    addProperty(name, member, true, options);
    return *this;
  }
  /// A property without a member: its accessors are methods that the author registers.
  template <class M>
  ClassBuilder& propertyOf(std::string_view name, const PropertyOptions& options = {}) {
    addProperty(name, describe<M>(), false, options);
    return *this;
  }
  /// For classes whose instances are not made by default construction.
  ClassBuilder& createWith(Object* (*create)(Class)) {
    setCreate(create);
    return *this;
  }
  Class registerClass() { return finish(); }

 private:
  static CppType cppType() {
    if constexpr (HandleType<T>) {
      return {nullptr, 0, alignof(void*), nullptr};
    } else {
      return {__PRETTY_FUNCTION__, sizeof(T), alignof(T), constructor()};
    }
  }
  static Object* (*constructor())(void*) {
    if constexpr (requires { T::template kvtConstructor<T>(); })
      return T::template kvtConstructor<T>();
    else if constexpr (std::is_default_constructible_v<T> && !std::is_abstract_v<T>) {
      return [](void* memory) -> Object* { return ::new (memory) T(); };
    } else {
      return nullptr;
    }
  }

  template <class M>
  static MemberDescription describe() {
    using Value = typename detail::PropertyAccess<M>::Value;
    MemberDescription member{};
    member.encoding = encodingOf<M>();
    member.accessorEncoding = encodingOf<Value>();
    member.size = sizeof(M);
    if constexpr (HandleType<Value>) {
      if constexpr (WeakHandleType<M>)
        member.ownership = Ownership::kWeak;
      else if constexpr (requires { M::kvtCopies; })
        member.ownership = Ownership::kCopy;
      else
        member.ownership = Ownership::kStrong;
      if constexpr (requires { Value::kvtClassName(); })
        member.className = Value::kvtClassName();
      else if constexpr (requires { Value::kvtTypeName; })
        member.className = Value::kvtTypeName;
      member.accepts = [](const Object* object) noexcept { return acceptsObject<Value>(object); };
    }
    return member;
  }

  template <auto F, class... A>
  static IMP methodImp(std::tuple<A...>*) {
    using Traits = detail::FunctionTraits<decltype(F)>;
    if constexpr (Traits::isMember) {
      using Receiver = std::conditional_t<HandleType<T>, T, typename Traits::Owner>;
      return reinterpret_cast<IMP>(&detail::MemberThunk<Receiver, F, typename Traits::Result, A...>::call);
    } else {
      return reinterpret_cast<IMP>(&detail::FreeThunk<F, typename Traits::Result, A...>::call);
    }
  }
  template <auto F, class... A>
  static std::string methodTypes(std::tuple<A...>*) {
    using Traits = detail::FunctionTraits<decltype(F)>;
    if constexpr (Traits::isMember)
      return detail::encodingOfCall<typename Traits::Result, A...>();
    else
      return withoutFirst<typename Traits::Result>(static_cast<std::tuple<A...>*>(nullptr));
  }
  template <class Result, class First, class... A>
  static std::string withoutFirst(std::tuple<First, A...>*) {
    return detail::encodingOfCall<Result, A...>();
  }
  template <auto F, class... A>
  void addClassMethod(std::string_view selector, std::tuple<A...>*) {
    using Result = typename detail::FunctionTraits<decltype(F)>::Result;
    static_assert(!detail::FunctionTraits<decltype(F)>::isMember, "a class operation is a static function");
    addMethod(selector, reinterpret_cast<IMP>(&detail::StaticThunk<F, false, Result, A...>::call),
              detail::encodingOfCall<Result, A...>(), true);
  }
  template <auto F, class... A>
  void addClassMethod(std::string_view selector, std::tuple<Class, A...>*) {
    using Result = typename detail::FunctionTraits<decltype(F)>::Result;
    // Each colon is an argument; a `Class` beyond them is the receiver.
    std::size_t colons = 0;
    for (char c : selector) colons += c == ':';
    if (colons == sizeof...(A)) {
      addMethod(selector, reinterpret_cast<IMP>(&detail::StaticThunk<F, true, Result, A...>::call),
                detail::encodingOfCall<Result, A...>(), true);
    } else {
      addMethod(selector, reinterpret_cast<IMP>(&detail::StaticThunk<F, false, Result, Class, A...>::call),
                detail::encodingOfCall<Result, Class, A...>(), true);
    }
  }
};

}  // namespace kvt
