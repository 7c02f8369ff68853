// A model class's properties as plain members, for copying, hashing and comparing models; not installed.
//
// A property whose accessors are the registered defaults is a member at an offset, and what its accessors or key-value
// access would do with it is known. Each thread keeps the fields of a class with its plan of that class, and drops them
// when the run time's tables change.
#pragma once

#include <cstdint>
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
  std::string encoding;        // of a struct or union
  std::uint32_t nextLate = 0;  // from this one on, the first that comparing may ask a client's object for

  /// Read by key-value access, and what it reads is not boxed byte by byte.
  bool isPlain() const;

  const char* in(const Object* object) const { return reinterpret_cast<const char*>(object) + offset; }
  char* in(Object* object) const { return reinterpret_cast<char*>(object) + offset; }
};

/// Members of one type, that key-value access would only box.
struct PlainMembers {
  KVTEncodingType type = KVTEncodingTypeUnknown;
  std::vector<std::uint32_t> offsets;
};

struct Fields {
  Class cls;
  Method hash = nullptr;  // what the class answers to it, when it answers a uint64_t
  std::vector<Field> all;
  bool anyKeyed = false;
  /// The plain ones among those that count in hash and equality; objects and blocks are of one type, and the last.
  std::vector<PlainMembers> plain;
  bool isPlain = true;  // all that count are

  /// Members that lie side by side.
  struct Span {
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
  };
  bool isCopied = true;  // getters and setters of all copy members …
  std::vector<Span> copied;
  std::vector<std::uint32_t> heldObjects;    // … among them objects that are held as they are …
  std::vector<std::uint32_t> copiedObjects;  // … and those that are copied
};

/// The fields of a class as they were when the run time's tables were as `generation` says.
class FieldsView {
 public:
  const std::vector<Field>& all() const { return fields_->all; }
  const Fields* operator->() const { return fields_; }
  /// Whether what the fields say still holds: code that runs in between may replace an accessor. If not, every property
  /// goes by its accessors.
  bool areUpToDate() const noexcept { return generation_ == objc_runtimeGeneration(); }

 protected:
  FieldsView() : generation_(objc_runtimeGeneration()) {}
  std::uint64_t generation_;
  const Fields* fields_ = nullptr;
};

/// The fields of one object's class for the time of an operation.
class FieldsInUse : public FieldsView {
 public:
  explicit FieldsInUse(const Object* object);
  FieldsInUse(const FieldsInUse&) = delete;
  FieldsInUse& operator=(const FieldsInUse&) = delete;

  /// Whether the object is a value or the null object, which answer for themselves.
  bool isValue() const { return isValue_; }

 private:
  const direct::PlanUse use_;
  Ref<_KVTModelMeta> ownMeta_;  // without a plan
  std::shared_ptr<const Fields> own_;
  bool isValue_;
};

}  // namespace kvt::model
