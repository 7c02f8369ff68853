// Sending messages by selector: the method is looked up in the receiver's class (cached, no lock) and called.
//
//     objc_msgSend<NSString>(user, "name");             // nil when `user` is nil
//     objc_msgSend(user, "setUid:", 42);                // integers of any width fit integer parameters
//     objc_msgSendSuper<NSString>(this, classOf<Base>(), "description");
//
// A message to nil does nothing and answers nil, 0 or a zero structure. A selector that the receiver does not answer, a
// wrong number of arguments or one of another kind (a floating number for an integer, text for an object) raises
// NSInvalidArgumentException with a reason that names class and selector. About 10 ns more than a direct call.
#pragma once

#include <array>
#include <cstring>

#include "Abi.h"
#include "Class.h"

namespace kvt {

namespace detail {

/// The method after checking that it can be called so; raises otherwise. `abi`: the caller's letters, result first.
KVT_EXPORT IMP implementationFor(const Object* receiver, Class lookIn, SEL sel, const char* abi, std::size_t length,
                                 char* resultType);
/// A register's worth of integer, as the method's declared result type says to read it.
KVT_EXPORT std::int64_t integerResult(char type, std::uint64_t raw) noexcept;

template <class T>
auto toRegister(const T& value) {
  if constexpr (HandleType<T>)
    return value.object();
  else if constexpr (std::is_same_v<T, std::nullptr_t>)
    return static_cast<void*>(nullptr);
  else if constexpr (std::is_same_v<T, Class>)
    return class_asObject(value);
  else if constexpr (std::is_enum_v<T> || std::is_integral_v<T>) {
    if constexpr (std::is_unsigned_v<T>)
      return static_cast<std::uint64_t>(value);
    else
      return static_cast<std::int64_t>(value);
  } else
    return value;
}

template <class A>
using RegisterType = decltype(toRegister<std::decay_t<const A&>>(std::declval<const std::decay_t<const A&>&>()));

template <class R, class... A>
inline constexpr auto kCallAbi = [] {
  if constexpr (sizeof...(A) == 0)
    return abiLetter<R>();
  else
    return (abiLetter<R>() + ... + abiLetter<std::decay_t<const A&>>());
}();

template <class R, class... A>
R send(Object* self, Class lookIn, SEL sel, const A&... arguments) {
  constexpr auto abi = kCallAbi<R, A...>;
  char type = 0;
  IMP imp = implementationFor(self, lookIn, sel, abi.text, abi.view().size(), &type);
  if constexpr (std::is_void_v<R>) {
    if (type == '@') {  // an object that nobody wants
      Handle(adopt, reinterpret_cast<Object* (*)(Object*, SEL, RegisterType<A>...)>(imp)(
                        self, sel, toRegister<std::decay_t<const A&>>(arguments)...));
    } else {
      reinterpret_cast<void (*)(Object*, SEL, RegisterType<A>...)>(imp)(
          self, sel, toRegister<std::decay_t<const A&>>(arguments)...);
    }
  } else if constexpr (std::is_integral_v<R> || std::is_enum_v<R>) {
    const std::uint64_t raw = reinterpret_cast<std::uint64_t (*)(Object*, SEL, RegisterType<A>...)>(imp)(
        self, sel, toRegister<std::decay_t<const A&>>(arguments)...);
    return static_cast<R>(integerResult(type, raw));
  } else {
    auto raw = reinterpret_cast<AbiType<R> (*)(Object*, SEL, RegisterType<A>...)>(imp)(
        self, sel, toRegister<std::decay_t<const A&>>(arguments)...);
    if constexpr (HandleType<R>) {
      Handle owner(adopt, raw);
      if (!acceptsObject<R>(raw)) return R();
      return R(adopt, owner.detach());
    } else {
      return raw;
    }
  }
}

inline Object* receiverOf(const Handle& handle) noexcept { return handle.object(); }
inline Object* receiverOf(const Object* object) noexcept { return const_cast<Object*>(object); }
inline Object* receiverOf(Class cls) noexcept { return class_asObject(cls); }

}  // namespace detail

/// Sends the message to a handle, an object or a class. A result of another class than the handle type `R` is nil.
template <class R = void, class Receiver, class... A>
R objc_msgSend(const Receiver& receiver, SEL sel, const A&... arguments) {
  Object* self = detail::receiverOf(receiver);
  if (self == nullptr) return R();
  return detail::send<R>(self, Class(), sel, arguments...);
}

/// Sends the message to the implementation that `cls`'s superclass answers with: what an override calls to reach the
/// one it overrides.
template <class R = void, class Receiver, class... A>
R objc_msgSendSuper(const Receiver& receiver, Class cls, SEL sel, const A&... arguments) {
  Object* self = detail::receiverOf(receiver);
  if (self == nullptr) return R();
  return detail::send<R>(self, class_getSuperclass(cls), sel, arguments...);
}

}  // namespace kvt
