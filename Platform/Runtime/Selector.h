// Selectors: interned method names. Two selectors of the same name are the same pointer, so comparing them costs
// nothing.
//
//     SEL setter = "setName:";                 // interned on first use, O(length) hash look-up
//     if (setter == "setName:"_sel) …
//     sel_getName(setter);                     // "setName:"
//
// A default-constructed SEL is nil: its name is "<null selector>", and sending it raises.
// Thread rule: everything here may be used from any thread. Selectors live as long as the process.
#pragma once

#include <cstddef>
#include <string_view>

#include "Export.h"

namespace kvt {

class SEL {
 public:
  constexpr SEL() noexcept = default;
  constexpr SEL(std::nullptr_t) noexcept {}
  /// The selector of that name; a null pointer gives nil.
  SEL(const char* name) : SEL(name != nullptr ? SEL(std::string_view(name)) : SEL()) {}
  KVT_EXPORT explicit SEL(std::string_view name);

  constexpr explicit operator bool() const noexcept { return name_ != nullptr; }
  /// NUL-terminated; a null pointer for nil.
  constexpr const char* name() const noexcept { return name_; }
  friend constexpr bool operator==(SEL, SEL) noexcept = default;

 private:
  const char* name_ = nullptr;
};

/// The selector of that name, interned on first use; nil for a null pointer.
inline SEL sel_registerName(const char* name) { return SEL(name); }
/// Same as `sel_registerName`.
inline SEL sel_getUid(const char* name) { return SEL(name); }
/// The name; "<null selector>" for nil.
inline const char* sel_getName(SEL sel) noexcept { return sel ? sel.name() : "<null selector>"; }
inline bool sel_isEqual(SEL a, SEL b) noexcept { return a == b; }

inline namespace literals {
inline SEL operator""_sel(const char* name, std::size_t length) { return SEL(std::string_view(name, length)); }
}  // namespace literals

}  // namespace kvt
