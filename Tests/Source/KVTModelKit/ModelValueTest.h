// What the tests of copies, hashes and equality share: a model of every type, and what the operations are described to
// do, step by step.
#pragma once

#include <KVTFoundation/KVTModelKit/NSObject+KVTModel+Value.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>

#include "ModelKitTest.h"

union ValueUnion {
  std::int32_t number;
  double ratio;
};
KVT_UNION_ENCODING(ValueUnion, number, ratio)

namespace kvt::valuetest {

/// Leaves hash and equality to the root class.
class ValuePlain : public NSObject {
 public:
  NSString name;
  KVT_MODEL(ValuePlain, name)
};
class ValueEveryType : public NSObject {
 public:
  bool aBool = false;
  std::int8_t anInt8 = 0;
  std::uint8_t aUInt8 = 0;
  std::int16_t anInt16 = 0;
  std::uint16_t aUInt16 = 0;
  std::int32_t anInt32 = 0;
  std::uint32_t aUInt32 = 0;
  std::int64_t anInt64 = 0;
  std::uint64_t aUInt64 = 0;
  float aFloat = 0;
  double aDouble = 0;
  long double aLongDouble = 0;
  NSString text;
  NSMutableArray list;
  Ref<ValuePlain> model;
  Weak<ValuePlain> weak;
  id anything;
  Class cls;
  SEL selector;
  Block<int()> block;
  void* pointer = nullptr;
  const char* cString = nullptr;
  CGRect rect;
  ValueUnion either{};
  std::int32_t array[2] = {};
  std::uint64_t hash() const { return kvt_modelHash(this); }
  bool isEqual(const id& other) const { return kvt_modelIsEqual(this, other); }
  KVT_MODEL(ValueEveryType, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat,
            aDouble, aLongDouble, text, list, model, weak, anything, cls, selector, block, pointer, cString, rect,
            either, array)
};

template <class Visit>
void eachKeyedProperty(const id& model, const Visit& visit) {
  for (const id& each : _KVTModelMeta::metaWithClass(model.class_())->allPropertyMetas) {
    const auto meta = each.as<_KVTModelPropertyMeta>();
    if (meta->isKVCCompatible) visit(NSString(sel_getName(meta->getter)));
  }
}

inline std::uint64_t describedHash(const id& model) {
  std::uint64_t hash = 0;
  bool any = false;
  eachKeyedProperty(model, [&](const NSString& key) {
    hash ^= model.valueForKey(key).hash();
    any = true;
  });
  return any ? hash : reinterpret_cast<std::uintptr_t>(model.object());
}

inline bool areValuesEqual(const id& model, const id& other) {
  bool equal = true;
  eachKeyedProperty(model, [&](const NSString& key) {
    const id a = model.valueForKey(key), b = other.valueForKey(key);
    equal = equal && (isIdentical(a, b) || (a && b && a.isEqual(b)));
  });
  return equal;
}

inline bool describedEquality(const id& model, const id& other) {
  if (isIdentical(model, other)) return true;
  if (!other || model.class_() != other.class_() || model.hash() != other.hash()) return false;
  return areValuesEqual(model, other);
}

inline Object* replacedTitle(Object*, SEL) { return NSString("replaced").detach(); }

}  // namespace kvt::valuetest
