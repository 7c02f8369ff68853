// Type encodings: the short texts by which the run time names types, derived from C++ types at compile time and read
// back at run time.
//
//     encodingOf<int64_t>()                 // "q"
//     encodingOf<CGSize>()                  // "{CGSize=dd}"
//     propertyEncodingOf<NSString>()        // "@\"NSString\""
//     sizeAndAlignment("{CGSize=dd}")       // 16, 8
//
// A struct or union takes part once its fields are named, at namespace scope, after its definition:
//
//     struct Range { int64_t location, length; };
//     KVT_STRUCT_ENCODING(Range, location, length)
//
// In methods an object is "@"; in properties and ivars its class stands behind it in quotes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include "Export.h"
#include "Handle.h"
#include "Macros.h"
#include "Selector.h"

namespace kvt {

class Class;

/// The name without its namespaces.
constexpr std::string_view unqualified(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// A text that templates can carry.
template <std::size_t N>
struct FixedString {
  char text[N + 1] = {};
  constexpr FixedString() = default;
  constexpr FixedString(const char (&literal)[N + 1]) {
    for (std::size_t i = 0; i < N; ++i) text[i] = literal[i];
  }
  constexpr explicit FixedString(std::string_view view) {
    for (std::size_t i = 0; i < N; ++i) text[i] = view[i];
  }
  constexpr std::string_view view() const { return {text, N}; }
  template <std::size_t M>
  constexpr FixedString<N + M> operator+(const FixedString<M>& other) const {
    FixedString<N + M> sum;
    for (std::size_t i = 0; i < N; ++i) sum.text[i] = text[i];
    for (std::size_t i = 0; i < M; ++i) sum.text[N + i] = other.text[i];
    return sum;
  }
  template <std::size_t M>
  constexpr FixedString<N + M - 1> operator+(const char (&literal)[M]) const {
    return *this + FixedString<M - 1>(literal);
  }
};
template <std::size_t N>
FixedString(const char (&)[N]) -> FixedString<N - 1>;

namespace encoding {

template <class>
inline constexpr bool kNoEncoding = false;

template <std::size_t Value>
consteval auto digits() {
  if constexpr (Value < 10) {
    FixedString<1> text;
    text.text[0] = static_cast<char>('0' + Value);
    return text;
  } else {
    return digits<Value / 10>() + digits<Value % 10>();
  }
}

/// Specialised by KVT_STRUCT_ENCODING and KVT_UNION_ENCODING.
template <class T>
struct Described {
  static constexpr bool known = false;
};

template <class T>
consteval std::string_view typeName() {
  std::string_view name = __PRETTY_FUNCTION__;
  name.remove_prefix(name.find("T = ") + 4);
  name = name.substr(0, name.find_first_of(";]"));
  return unqualified(name);
}

template <class T>
consteval auto of();

template <class T>
consteval auto pointee() {
  if constexpr (std::is_function_v<T>) {
    return FixedString("^?");
  } else if constexpr (std::is_const_v<T>) {
    return FixedString("r") + (FixedString("^") + of<std::remove_const_t<T>>());
  } else if constexpr ((std::is_class_v<T> || std::is_union_v<T>)&&!Described<T>::known && !std::is_same_v<T, SEL> &&
                       !std::is_same_v<T, Class> && !requires { T::kvtTypeName; }) {
    // Of a struct that nobody described, or that is not complete here, a pointer needs the name alone.
    constexpr std::string_view name = typeName<T>();
    return FixedString("^{") + FixedString<name.size()>(name) + "}";
  } else {
    return FixedString("^") + of<T>();
  }
}

template <class T>
consteval auto of() {
  using U = std::remove_cv_t<T>;
  if constexpr (std::is_void_v<U>)
    return FixedString("v");
  else if constexpr (std::is_same_v<U, bool>)
    return FixedString("B");
  else if constexpr (std::is_same_v<U, char> || std::is_same_v<U, signed char>)
    return FixedString("c");
  else if constexpr (std::is_same_v<U, unsigned char> || std::is_same_v<U, char8_t>)
    return FixedString("C");
  else if constexpr (std::is_enum_v<U>)
    return of<std::underlying_type_t<U>>();
  else if constexpr (std::is_integral_v<U>) {
    constexpr bool isSigned = std::is_signed_v<U>;
    if constexpr (sizeof(U) == 2)
      return isSigned ? FixedString("s") : FixedString("S");
    else if constexpr (sizeof(U) == 4)
      return isSigned ? FixedString("i") : FixedString("I");
    else if constexpr (sizeof(U) == 8)
      return isSigned ? FixedString("q") : FixedString("Q");
    else
      static_assert(kNoEncoding<T>, "this integer type has no encoding");
  } else if constexpr (std::is_same_v<U, float>)
    return FixedString("f");
  else if constexpr (std::is_same_v<U, double>)
    return FixedString("d");
  else if constexpr (std::is_same_v<U, long double>)
    return FixedString("D");
  else if constexpr (std::is_same_v<U, SEL>)
    return FixedString(":");
  else if constexpr (std::is_same_v<U, Class>)
    return FixedString("#");
  else if constexpr (std::is_same_v<U, Object*> || std::is_same_v<U, const Object*>)
    return FixedString("@");
  else if constexpr (HandleType<U>) {
    if constexpr (requires { U::kvtIsBlock; })
      return FixedString("@?");
    else
      return FixedString("@");
  } else if constexpr (WeakHandleType<U>)
    return FixedString("@");
  else if constexpr (std::is_same_v<U, char*>)
    return FixedString("*");
  else if constexpr (std::is_same_v<U, const char*>)
    return FixedString("r*");
  else if constexpr (std::is_pointer_v<U>)
    return pointee<std::remove_pointer_t<U>>();
  else if constexpr (std::is_array_v<U>) {
    return FixedString("[") + digits<std::extent_v<U>>() + of<std::remove_extent_t<U>>() + "]";
  } else if constexpr (Described<U>::known)
    return Described<U>::text();
  else
    static_assert(kNoEncoding<T>, "name the fields of this type with KVT_STRUCT_ENCODING or KVT_UNION_ENCODING");
}

template <class Member>
struct MemberType;
template <class Owner, class T>
struct MemberType<T Owner::*> {
  using Type = T;
};

}  // namespace encoding

template <class T>
inline constexpr auto kEncoding = encoding::of<T>();

/// The encoding as it stands in a method ("@" for every object).
template <class T>
constexpr const char* encodingOf() {
  return kEncoding<T>.text;
}

struct SizeAndAlignment {
  std::size_t size = 0;
  std::size_t alignment = 1;
};

/// Size and alignment of what the encoding describes. Leading qualifiers are skipped. `valid` becomes false (and the
/// sizes 0 and 1) when the text is no encoding of a storable type: unknown characters, open brackets, `v`, nesting
/// beyond 64.
KVT_EXPORT SizeAndAlignment sizeAndAlignment(std::string_view types, bool* valid = nullptr) noexcept;

/// The length of the first complete type at the start of `types` (qualifiers included), 0 when there is none. Any text
/// is safe to pass.
KVT_EXPORT std::size_t lengthOfFirstType(std::string_view types) noexcept;

}  // namespace kvt

#define KVT_FIELD_ENCODING_(Type, field) +::kvt::encoding::of<decltype(Type::field)>()

/// Names a struct's fields, in order, so that it has an encoding: `{Type=…}`.
#define KVT_STRUCT_ENCODING(Type, ...)                                               \
  template <>                                                                        \
  struct kvt::encoding::Described<Type> {                                            \
    static constexpr bool known = true;                                              \
    static consteval auto text() {                                                   \
      constexpr std::string_view name = ::kvt::unqualified(#Type);                   \
      return (::kvt::FixedString("{") + ::kvt::FixedString<name.size()>(name) + "=") \
                 KVT_FOR_EACH_1(KVT_FIELD_ENCODING_, Type, __VA_ARGS__) +            \
             "}";                                                                    \
    }                                                                                \
  };
/// The same for a union: `(Type=…)`.
#define KVT_UNION_ENCODING(Type, ...)                                                \
  template <>                                                                        \
  struct kvt::encoding::Described<Type> {                                            \
    static constexpr bool known = true;                                              \
    static consteval auto text() {                                                   \
      constexpr std::string_view name = ::kvt::unqualified(#Type);                   \
      return (::kvt::FixedString("(") + ::kvt::FixedString<name.size()>(name) + "=") \
                 KVT_FOR_EACH_1(KVT_FIELD_ENCODING_, Type, __VA_ARGS__) +            \
             ")";                                                                    \
    }                                                                                \
  };
