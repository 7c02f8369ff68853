// Which body a value object has; not installed. Bodies are final, so a kind says the layout, and a test by kind is one
// byte's comparison. The kinds of one family are neighbours, so that a family is a range.
#pragma once

#include <KVTPlatform/Runtime/Object.h>

namespace kvt {

enum ValueKind : std::uint8_t {
  kStringKind = static_cast<std::uint8_t>(ObjectKind::kFirstValue),
  kMutableStringKind,
  kAttributedStringKind,
  kNullKind,
  kValueKind,  // NSValue, and below it the numbers
  kNumberKind,
  kDecimalNumberKind,
  kDataKind,
  kMutableDataKind,
  kDateKind,
  kURLKind,
  kArrayKind,
  kMutableArrayKind,
  kDictionaryKind,
  kMutableDictionaryKind,
  kSetKind,
  kMutableSetKind,
  kErrorKind,
  kExceptionKind,
  kLocaleKind,
  kTimeZoneKind,
  kDateFormatterKind,
  kCharacterSetKind,
  kEnumeratorKind,
  kCoderKind,
  kURLComponentsKind,
  kURLQueryItemKind,
  kKindCount
};

inline ValueKind kindOf(const Object* object) noexcept { return static_cast<ValueKind>(object->kvtKind()); }
constexpr ObjectKind objectKind(ValueKind kind) noexcept { return static_cast<ObjectKind>(kind); }
inline bool isKindBetween(const Object* object, ValueKind first, ValueKind last) noexcept {
  return object != nullptr && kindOf(object) >= first && kindOf(object) <= last;
}

/// What `hash` and `isEqual:` of a value type do, so that collections need not send a message.
struct ValueOperations {
  std::uint64_t (*hash)(const Object*) = nullptr;
  bool (*isEqual)(const Object*,
                  const Object*) = nullptr;  // both non-null, not identical; the second may be of any kind
};
/// Called by each value type from the unit that defines it, before its first object is made.
void registerValueOperations(ValueKind kind, const ValueOperations& operations) noexcept;

}  // namespace kvt
