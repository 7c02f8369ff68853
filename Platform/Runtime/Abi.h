// How C++ values cross an implementation (`IMP`): handles as raw object pointers (arguments borrowed, results owned by
// the caller), everything else as itself.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Class.h"
#include "Handle.h"
#include "TypeEncoding.h"

namespace kvt {

/// Whether an object may stand where a `T` is declared; nil always may.
template <HandleType T>
bool acceptsObject(const Object* object) noexcept {
  if constexpr (requires { T::kvtAccepts(object); }) {
    return object == nullptr || T::kvtAccepts(object);
  } else {
    return true;
  }
}

/// The object as a `T`, sharing it, or nil when it is none.
template <HandleType T>
T shareAs(const Object* object) noexcept {
  return acceptsObject<T>(object) ? T(borrow, object) : T();
}

template <class T>
struct Abi {
  using Value = std::remove_cvref_t<T>;
  using Type = Value;
  /// What an implementation receives, for the time of the call.
  struct Argument {
    Value value;
    explicit Argument(Type raw) : value(raw) {}
    const Value& get() const { return value; }
  };
  static Type result(Value value) { return value; }
};

template <class T>
requires HandleType<std::remove_cvref_t<T>>
struct Abi<T> {
  using Value = std::remove_cvref_t<T>;
  using Type = Object*;
  struct Argument {
    union {
      Value value;  // borrowed: never released here
    };
    explicit Argument(Object* raw) : value(adopt, acceptsObject<Value>(raw) ? raw : nullptr) {}
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;
    ~Argument() {}
    const Value& get() const { return value; }
  };
  static Object* result(Value value) { return value.detach(); }
};

template <>
struct Abi<void> {
  using Value = void;
  using Type = void;
};

template <class T>
using AbiType = typename Abi<T>::Type;

/// One letter a register class: `i` integers, `@` objects and classes, `:` selectors, `*` C strings, `^` pointers, `f`,
/// `d`, `D`, `v`; a struct is `{` and its size as one character.
template <class T>
consteval auto abiLetter() {
  using U = std::remove_cvref_t<T>;
  if constexpr (std::is_void_v<U>)
    return FixedString("v");
  else if constexpr (std::is_same_v<U, std::nullptr_t>)
    return FixedString("0");
  else if constexpr (std::is_integral_v<U> || std::is_enum_v<U>)
    return FixedString("i");
  else if constexpr (std::is_same_v<U, float>)
    return FixedString("f");
  else if constexpr (std::is_same_v<U, double>)
    return FixedString("d");
  else if constexpr (std::is_same_v<U, long double>)
    return FixedString("D");
  else if constexpr (HandleType<U> || std::is_same_v<U, Class> || std::is_convertible_v<U, const Object*>)
    return FixedString("@");
  else if constexpr (std::is_same_v<U, SEL>)
    return FixedString(":");
  else if constexpr (std::is_same_v<U, char*> || std::is_same_v<U, const char*>)
    return FixedString("*");
  else if constexpr (std::is_pointer_v<U>)
    return FixedString("^");
  else {
    FixedString<2> text;
    text.text[0] = '{';
    text.text[1] = static_cast<char>(sizeof(U));
    return text;
  }
}

}  // namespace kvt
