// A reference from one object of a keyed archive to another, as a property list holds it: an index.
//
//     NSKeyedArchiverUID::UIDWithValue(1)->value();     // 1
//
// Archives are read and written by NSKeyedUnarchiver and NSKeyedArchiver; who looks at one as a property list meets
// these. Thread rule: immutable, any thread.
#pragma once

#include "NSObject.h"
#include "NSString.h"
#include "NSTypes.h"

namespace kvt {

class KVT_EXPORT NSKeyedArchiverUID : public NSObject {
 public:
  static Ref<NSKeyedArchiverUID> UIDWithValue(NSUInteger value);
  NSUInteger value() const noexcept { return value_; }

  std::uint64_t hash() const { return value_; }
  /// Another UID of the same value.
  bool isEqual(const id& other) const;
  /// "<UID 1>"
  NSString description() const;
  id copyWithZone() const { return id(borrow, this); }

 private:
  static void kvtDescribe(ClassBuilder<NSKeyedArchiverUID>& c);
  NSUInteger value_ = 0;
  KVT_CLASS(NSKeyedArchiverUID)
};

}  // namespace kvt
