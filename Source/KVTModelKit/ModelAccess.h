// Reading and writing a model's properties through their accessors; not installed. An accessor that is still the
// registered default is replaced by the load or store that it would do; every other one is sent as a message.
#pragma once

#include <cstring>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSNumber.h>

#include "ModelMeta.h"

namespace kvt::model {

/// Where a default accessor of exactly this size finds its member; null when the message must be sent.
inline char* memberBehind(Object* object, SEL sel, Accessor::Kind kind, std::size_t size) {
  Method method = class_getInstanceMethod(object_getClass(object), sel);
  const Accessor* accessor = method_getDefaultAccessor(method);
  if (accessor == nullptr || accessor->kind != kind || accessor->size != size) return nullptr;
  return reinterpret_cast<char*>(object) + accessor->offset;
}

template <class T>
T getScalar(const id& object, const _KVTModelPropertyMeta& meta) {
  if (const char* member = memberBehind(object.object(), meta.getter, Accessor::Kind::kGetter, sizeof(T))) {
    T value;
    std::memcpy(&value, member, sizeof value);
    return value;
  }
  return objc_msgSend<T>(object, meta.getter);
}

template <class T>
void setScalar(const id& object, const _KVTModelPropertyMeta& meta, T value) {
  if (char* member = memberBehind(object.object(), meta.setter, Accessor::Kind::kSetter, sizeof(T))) {
    std::memcpy(member, &value, sizeof value);
    return;
  }
  objc_msgSend(object, meta.setter, value);
}

inline id getObject(const id& object, const _KVTModelPropertyMeta& meta) {
  return objc_msgSend<id>(object, meta.getter);
}
inline void setObject(const id& object, const _KVTModelPropertyMeta& meta, const id& value) {
  objc_msgSend(object, meta.setter, value);
}

/// Calls `body` with a zero of the C++ type behind a C number's value type; does nothing for other types.
template <class F>
void withNumberType(KVTEncodingType valueType, F&& body) {
  switch (valueType) {
    case KVTEncodingTypeBool: return body(bool());
    case KVTEncodingTypeInt8: return body(std::int8_t());
    case KVTEncodingTypeUInt8: return body(std::uint8_t());
    case KVTEncodingTypeInt16: return body(std::int16_t());
    case KVTEncodingTypeUInt16: return body(std::uint16_t());
    case KVTEncodingTypeInt32: return body(std::int32_t());
    case KVTEncodingTypeUInt32: return body(std::uint32_t());
    case KVTEncodingTypeInt64: return body(std::int64_t());
    case KVTEncodingTypeUInt64: return body(std::uint64_t());
    case KVTEncodingTypeFloat: return body(float());
    case KVTEncodingTypeDouble: return body(double());
    case KVTEncodingTypeLongDouble: return body(static_cast<long double>(0));
    default: return;
  }
}

/// The number of a C number property, boxed at its width (a long double narrowed to double); nil for other properties.
NSNumber boxedNumber(const id& object, const _KVTModelPropertyMeta& meta);

/// `kvt_modelSetWithDictionary:` with a dictionary that is a value inside the one that is being read: never one that
/// contains itself.
bool fillNested(const id& model, const NSDictionary& dictionary);

/// Copies one property's value from an object to another, by value type: what `kvt_modelSetWithModel:` and
/// `kvt_modelCopy` do.
void transferProperty(const id& from, const id& to, const _KVTModelPropertyMeta& meta);

}  // namespace kvt::model
