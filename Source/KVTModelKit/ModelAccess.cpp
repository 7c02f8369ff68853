#include "ModelAccess.h"

#include <type_traits>

namespace kvt::model {

NSNumber boxedNumber(const id& object, const _KVTModelPropertyMeta& meta) {
  NSNumber number;
  withNumberType(meta.valueType(), [&]<class T>(T) {
    if constexpr (std::is_same_v<T, long double>)
      number = NSNumber(static_cast<double>(getScalar<T>(object, meta)));
    else
      number = NSNumber(getScalar<T>(object, meta));
  });
  return number;
}

namespace {

/// Types that one setter takes: integers of any width, objects and blocks, everything else by itself.
KVTEncodingType groupOf(KVTEncodingType type) {
  type = type & KVTEncodingTypeMask;
  if (type >= KVTEncodingTypeBool && type <= KVTEncodingTypeUInt64) return KVTEncodingTypeInt64;
  return type == KVTEncodingTypeBlock ? KVTEncodingTypeObject : type;
}

/// Whether the receiver's setter takes what the property holds: another class's property of that name may be of another
/// type.
bool takesValue(const id& from, const id& to, const _KVTModelPropertyMeta& meta) {
  const Method setter = class_getInstanceMethod(object_getClass(to.object()), meta.setter);
  if (setter == class_getInstanceMethod(object_getClass(from.object()), meta.setter)) return true;
  const std::string type = method_copyArgumentType(setter, 2);
  const KVTEncodingType group = groupOf(KVTEncodingGetType(type.c_str()));
  if (group != groupOf(meta.type)) return false;
  const bool isAggregate = group == KVTEncodingTypeStruct || group == KVTEncodingTypeUnion;
  return !isAggregate || meta.info->kvtTypeEncoding() == type;
}

}  // namespace

void transferProperty(const id& from, const id& to, const _KVTModelPropertyMeta& meta) {
  if (!takesValue(from, to, meta)) return;
  if (meta.isCNumber) {
    withNumberType(meta.valueType(), [&]<class T>(T) { setScalar<T>(to, meta, getScalar<T>(from, meta)); });
    return;
  }
  switch (meta.valueType()) {
    case KVTEncodingTypeObject:
    case KVTEncodingTypeBlock: setObject(to, meta, getObject(from, meta)); break;
    case KVTEncodingTypeClass: setScalar<Class>(to, meta, getScalar<Class>(from, meta)); break;
    case KVTEncodingTypeSEL: setScalar<SEL>(to, meta, getScalar<SEL>(from, meta)); break;
    case KVTEncodingTypePointer: setScalar<void*>(to, meta, getScalar<void*>(from, meta)); break;
    case KVTEncodingTypeCString: setScalar<const char*>(to, meta, getScalar<const char*>(from, meta)); break;
    case KVTEncodingTypeStruct:
    case KVTEncodingTypeUnion: {
      const id value = from.valueForKey(NSString(sel_getName(meta.getter)));
      if (value) to.setValue_forKey(value, meta.name);
      break;
    }
    default: break;
  }
}

}  // namespace kvt::model
