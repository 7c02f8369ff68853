#include "NSKeyedArchiverUID.h"

namespace kvt {

Ref<NSKeyedArchiverUID> NSKeyedArchiverUID::UIDWithValue(NSUInteger value) {
  auto uid = make<NSKeyedArchiverUID>();
  uid->value_ = value;
  return uid;
}

bool NSKeyedArchiverUID::isEqual(const id& other) const {
  const auto uid = other.as<NSKeyedArchiverUID>();
  return uid && uid->value_ == value_;
}

NSString NSKeyedArchiverUID::description() const { return NSString("<UID " + std::to_string(value_) + ">"); }

void NSKeyedArchiverUID::kvtDescribe(ClassBuilder<NSKeyedArchiverUID>& c) {
  c.classMethod<&NSKeyedArchiverUID::UIDWithValue>("UIDWithValue:");
  c.method<&NSKeyedArchiverUID::value>("value");
}

}  // namespace kvt
