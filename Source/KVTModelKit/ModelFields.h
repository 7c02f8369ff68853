// A model class's properties as plain members, for copying, hashing and comparing models; not installed.
//
// A property whose accessors are the registered defaults is a member at an offset, and what its accessors or key-value
// access would do with it is known. Each thread keeps the fields of a class with its plan of that class, and drops them
// when the run time's tables change.
#pragma once

#include <string>
#include <vector>

#include "DirectPlan.h"
#include "ModelMeta.h"

namespace kvt::model {

struct Field {
  const _KVTModelPropertyMeta* meta = nullptr;
  KVTEncodingType type = KVTEncodingTypeUnknown;  // the value type
  bool isKeyed = false;                           // reached by key-value access: counts in hash and equality
  bool isRead = false;                            // reading it by key-value access boxes the member
  bool isCopied = false;                          // getter and setter copy the member …
  bool copiesObject = false;                      // … and the object in it
  std::uint32_t size = 0;
  std::ptrdiff_t offset = 0;
  std::string encoding;  // of a struct or union

  const char* in(const Object* object) const { return reinterpret_cast<const char*>(object) + offset; }
  char* in(Object* object) const { return reinterpret_cast<char*>(object) + offset; }
};

struct Fields {
  std::vector<Field> all;
  bool anyKeyed = false;
};

/// The fields of one object's class for the time of an operation.
class FieldsInUse {
 public:
  explicit FieldsInUse(const Object* object);
  FieldsInUse(const FieldsInUse&) = delete;
  FieldsInUse& operator=(const FieldsInUse&) = delete;

  /// Whether the object is a value or the null object, which answer for themselves.
  bool isValue() const { return isValue_; }
  const std::vector<Field>& all() const { return fields_->all; }
  bool anyKeyed() const { return fields_->anyKeyed; }
  /// Whether what the fields say still holds: code that runs in between may replace an accessor. If not, every property
  /// goes by its accessors.
  bool areUpToDate() const noexcept { return generation_ == objc_runtimeGeneration(); }

 private:
  const direct::PlanUse use_;
  std::uint64_t generation_;
  Ref<_KVTModelMeta> ownMeta_;  // without a plan
  std::shared_ptr<const Fields> own_;
  const Fields* fields_;
  bool isValue_;
};

}  // namespace kvt::model
