// What both keyed coders have; not installed.
#pragma once

#include "Kinds.h"
#include "NSCoder.h"
#include "NSError.h"

namespace kvt {

struct CoderBody : Object {
  static CoderBody* of(const Object* object) noexcept {
    return isKindBetween(object, kCoderKind, kCoderKind) ? const_cast<CoderBody*>(static_cast<const CoderBody*>(object))
                                                         : nullptr;
  }

  const bool isArchiver;
  bool requiresSecureCoding = false;
  bool isFinished = false;
  NSDecodingFailurePolicy policy = NSDecodingFailurePolicyRaiseException;
  NSError error;

 protected:
  CoderBody(Class cls, bool encodes) noexcept : Object(cls, objectKind(kCoderKind)), isArchiver(encodes) {}
};

/// How deep objects may be nested in each other: encoding and decoding call themselves for each level.
inline constexpr unsigned kArchiveMaximumDepth = 1000;

/// Stands at index 0 of an archive's objects, for nil.
inline constexpr std::string_view kArchiveNull = "$null";

/// Keys that begin with "$" belong to the archive; a client's get another one in front.
class KVT_EXPORT ArchiveKey {
 public:
  /// Raises NSInvalidArgumentException for no key, and for one that is no UTF-8.
  explicit ArchiveKey(const CoderKey& key);
  ArchiveKey(const ArchiveKey&) = delete;
  ArchiveKey& operator=(const ArchiveKey&) = delete;
  std::string_view text() const noexcept { return text_; }

 private:
  std::string_view text_;
  std::string escaped_;
};

/// Whether the class answers YES to `supportsSecureCoding`.
bool classSupportsSecureCoding(Class cls);

}  // namespace kvt
