// What the collections take where a C++ value may stand for an object: handles pass as they are, text becomes an
// NSString, numbers and booleans an NSNumber.
//
//     NSArray row = {1, 2.5, "x", true, NSNull::null(), otherArray};
//
// Made for parameter lists: nobody needs to name it. Text that is no UTF-8 and null pointers give nil.
#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include <KVTPlatform/Runtime/Abi.h>

#include "id.h"

namespace kvt {

class KVT_EXPORT Boxed {
 public:
  Boxed(std::nullptr_t) noexcept {}
  /// Borrows: the object is the caller's for as long as the call lasts.
  Boxed(const id& object) noexcept : object_(adopt, object.object()), borrowed_(true) {}
  Boxed(id&& object) noexcept : object_(std::move(object)) {}
  /// Blocks and other handles of the run time.
  template <class H>
  requires(HandleType<H> && !std::derived_from<H, id>) Boxed(const H& handle)
  noexcept : object_(handle) {}
  Boxed(Class cls) noexcept : object_(cls) {}

  Boxed(const char* utf8);
  Boxed(std::string_view utf8);
  Boxed(const std::string& utf8) : Boxed(std::string_view(utf8)) {}
  Boxed(const char16_t* utf16);
  Boxed(std::u16string_view utf16);
  Boxed(const std::u16string& utf16) : Boxed(std::u16string_view(utf16)) {}

  // The number keeps its C++ type, as a conversion to NSNumber does.
  Boxed(bool value);
  Boxed(char value);
  Boxed(signed char value);
  Boxed(unsigned char value);
  Boxed(short value);
  Boxed(unsigned short value);
  Boxed(int value);
  Boxed(unsigned value);
  Boxed(long value);
  Boxed(unsigned long value);
  Boxed(long long value);
  Boxed(unsigned long long value);
  Boxed(float value);
  Boxed(double value);
  // A pointer must not become a boolean on its way here.
  template <class T>
  Boxed(T*) = delete;

  Boxed(const Boxed&) = delete;
  Boxed& operator=(const Boxed&) = delete;
  ~Boxed() {
    if (borrowed_) static_cast<void>(object_.detach());
  }

  const id& object() const noexcept { return object_; }

 private:
  id object_;
  bool borrowed_ = false;
};

namespace detail {

KVT_EXPORT bool unboxBool(const id& object);
KVT_EXPORT std::int64_t unboxInteger(const id& object);
KVT_EXPORT std::uint64_t unboxUnsigned(const id& object);
KVT_EXPORT double unboxDouble(const id& object);
KVT_EXPORT std::string unboxText(const id& object);
KVT_EXPORT std::u16string unboxText16(const id& object);

/// The object as a `T`: a handle (nil when it is another class's), the number, or the text. 0 and "" for anything else.
template <class T>
T unbox(const id& object) {
  if constexpr (HandleType<T>)
    return shareAs<T>(object.object());
  else if constexpr (std::is_same_v<T, bool>)
    return unboxBool(object);
  else if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(unboxDouble(object));
  else if constexpr (std::is_integral_v<T> && std::is_unsigned_v<T>)
    return static_cast<T>(unboxUnsigned(object));
  else if constexpr (std::is_integral_v<T>)
    return static_cast<T>(unboxInteger(object));
  else if constexpr (std::is_same_v<T, std::u16string>)
    return unboxText16(object);
  else {
    static_assert(std::is_same_v<T, std::string>,
                  "handles, numbers, std::string and std::u16string come out of a collection");
    return unboxText(object);
  }
}

}  // namespace detail
}  // namespace kvt
