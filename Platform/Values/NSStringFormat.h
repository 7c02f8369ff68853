// One argument of a format: what `NSString::stringWithFormat` makes of each value it is given. Nobody writes it by
// hand; code that collects arguments itself (a logger) keeps an array of them for the time of one call.
//
//     const FormatArgument arguments[] = {name, 3};
//     NSString text = NSString::stringWithFormat_arguments("%@ has %d", arguments, 2);
//
// An argument borrows: text, objects and pointers must outlive it. Built from: every integer, enumeration and floating
// type, `const char*`, `std::string` and `std::string_view` (UTF-8), `const char16_t*`, `std::u16string(_view)`,
// handles, `Object*`, classes, selectors and pointers.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include <KVTPlatform/Runtime/Class.h>
#include <KVTPlatform/Runtime/Handle.h>
#include <KVTPlatform/Runtime/Selector.h>

namespace kvt {

class FormatArgument {
 public:
  enum class Kind : std::uint8_t { kSigned, kUnsigned, kDouble, kLongDouble, kPointer, kUTF8, kUTF16, kObject };

  template <class T>
  requires(std::is_integral_v<T> || std::is_enum_v<T>) constexpr FormatArgument(T value) noexcept : width_(sizeof(T)) {
    if constexpr (std::is_enum_v<T>) {
      *this = FormatArgument(static_cast<std::underlying_type_t<T>>(value));
    } else if constexpr (std::is_signed_v<T>) {
      kind_ = Kind::kSigned;
      value_.integer = static_cast<std::uint64_t>(static_cast<std::int64_t>(value));
    } else {
      kind_ = Kind::kUnsigned;
      value_.integer = static_cast<std::uint64_t>(value);
    }
  }
  constexpr FormatArgument(float value) noexcept : FormatArgument(static_cast<double>(value)) {}
  constexpr FormatArgument(double value) noexcept : kind_(Kind::kDouble) { value_.floating = value; }
  constexpr FormatArgument(long double value) noexcept : kind_(Kind::kLongDouble) { value_.longFloating = value; }

  FormatArgument(const char* utf8) noexcept : kind_(Kind::kUTF8) {
    value_.pointer = utf8;
    if (utf8 != nullptr) size_ = std::char_traits<char>::length(utf8);
  }
  FormatArgument(const unsigned char* utf8) noexcept : FormatArgument(reinterpret_cast<const char*>(utf8)) {}
  FormatArgument(const char8_t* utf8) noexcept : FormatArgument(reinterpret_cast<const char*>(utf8)) {}
  FormatArgument(std::string_view utf8) noexcept : kind_(Kind::kUTF8), size_(utf8.size()) {
    value_.pointer = utf8.data() != nullptr ? utf8.data() : "";
  }
  FormatArgument(const std::string& utf8) noexcept : FormatArgument(std::string_view(utf8)) {}
  FormatArgument(const char16_t* utf16) noexcept : kind_(Kind::kUTF16) {
    value_.pointer = utf16;
    if (utf16 != nullptr) size_ = std::char_traits<char16_t>::length(utf16);
  }
  FormatArgument(std::u16string_view utf16) noexcept : kind_(Kind::kUTF16), size_(utf16.size()) {
    value_.pointer = utf16.data() != nullptr ? utf16.data() : u"";
  }
  FormatArgument(const std::u16string& utf16) noexcept : FormatArgument(std::u16string_view(utf16)) {}

  FormatArgument(const Object* object) noexcept : kind_(Kind::kObject) { value_.pointer = object; }
  FormatArgument(std::nullptr_t) noexcept : FormatArgument(static_cast<const Object*>(nullptr)) {}
  FormatArgument(const Handle& handle) noexcept : FormatArgument(handle.object()) {}
  /// What a weak reference gives would be gone before it is printed: pass `weak.lock()`.
  template <WeakHandleType W>
  FormatArgument(const W&) = delete;
  FormatArgument(Class cls) noexcept : FormatArgument(class_asObject(cls)) {}
  FormatArgument(SEL selector) noexcept : FormatArgument(selector.name()) {}
  FormatArgument(const void* pointer) noexcept : kind_(Kind::kPointer) { value_.pointer = pointer; }

  Kind kind() const noexcept { return kind_; }
  /// Bytes of the integer's own type.
  std::uint8_t width() const noexcept { return width_; }
  /// Signed integers are sign-extended.
  std::uint64_t integer() const noexcept { return value_.integer; }
  double floating() const noexcept { return value_.floating; }
  long double longFloating() const noexcept { return value_.longFloating; }
  const void* pointer() const noexcept { return value_.pointer; }
  /// Bytes or UTF-16 units of text.
  std::size_t size() const noexcept { return size_; }

 private:
  Kind kind_ = Kind::kSigned;
  std::uint8_t width_ = 0;
  std::size_t size_ = 0;
  union {
    std::uint64_t integer;
    double floating;
    long double longFloating;
    const void* pointer;
  } value_{};
};

}  // namespace kvt
