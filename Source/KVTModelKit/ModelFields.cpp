#include "ModelFields.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/Kinds.h>

namespace kvt::model {
namespace {

const SEL kValueForKey = "valueForKey:";
const SEL kSetValueForKey = "setValue:forKey:";

// Key-value access as it is registered: a class that has its own is asked.
const IMP kRootValueForKey = class_getMethodImplementation(classOf<NSObject>(), kValueForKey);
const IMP kRootSetValueForKey = class_getMethodImplementation(classOf<NSObject>(), kSetValueForKey);

std::string withPrefix(const char* prefix, std::string name) {
  if (!name.empty() && name[0] >= 'a' && name[0] <= 'z') name[0] = static_cast<char>(name[0] - 'a' + 'A');
  return prefix + name;
}

/// Bytes of a member of that type; 0 for structs, whose encoding says it, and for what is never a plain member.
std::size_t sizeOf(KVTEncodingType type) {
  switch (type) {
    case KVTEncodingTypeBool:
    case KVTEncodingTypeInt8:
    case KVTEncodingTypeUInt8: return 1;
    case KVTEncodingTypeInt16:
    case KVTEncodingTypeUInt16: return 2;
    case KVTEncodingTypeInt32:
    case KVTEncodingTypeUInt32:
    case KVTEncodingTypeFloat: return 4;
    case KVTEncodingTypeInt64:
    case KVTEncodingTypeUInt64:
    case KVTEncodingTypeDouble:
    case KVTEncodingTypeObject:
    case KVTEncodingTypeBlock:
    case KVTEncodingTypeClass:
    case KVTEncodingTypeSEL:
    case KVTEncodingTypePointer:
    case KVTEncodingTypeCString: return 8;
    case KVTEncodingTypeLongDouble: return sizeof(long double);
    default: return 0;
  }
}

bool isObject(KVTEncodingType type) { return type == KVTEncodingTypeObject || type == KVTEncodingTypeBlock; }
bool isAggregate(KVTEncodingType type) { return type == KVTEncodingTypeStruct || type == KVTEncodingTypeUnion; }

Field fieldOf(Class cls, const _KVTModelPropertyMeta& meta) {
  Field field;
  field.meta = &meta;
  field.type = meta.valueType();
  field.isKeyed = meta.isKVCCompatible;

  const Method getter = class_getInstanceMethod(cls, meta.getter);
  const Accessor* reads = method_getDefaultAccessor(getter);
  if (reads == nullptr || reads->kind != Accessor::Kind::kGetter || reads->ownership == Ownership::kWeak) return field;
  const std::string type = method_copyReturnType(getter);
  if ((KVTEncodingGetType(type.c_str()) & KVTEncodingTypeMask) != field.type) return field;
  bool isSized = true;
  const std::size_t size = isAggregate(field.type) ? sizeAndAlignment(type, &isSized).size : sizeOf(field.type);
  if (size == 0 || size != reads->size || !isSized) return field;
  field.offset = reads->offset;
  field.size = static_cast<std::uint32_t>(size);
  if (isAggregate(field.type)) field.encoding = type;

  // Key-value access tries another getter first.
  const std::string name = sel_getName(meta.getter);
  const Method preferred = class_getInstanceMethod(cls, SEL(std::string_view(withPrefix("get", name))));
  field.isRead = class_getMethodImplementation(cls, kValueForKey) == kRootValueForKey &&
                 (preferred == nullptr || method_getNumberOfArguments(preferred) != 2);

  const Method setter = class_getInstanceMethod(cls, meta.setter);
  const Accessor* writes = method_getDefaultAccessor(setter);
  if (writes == nullptr || writes->kind != Accessor::Kind::kSetter || writes->offset != reads->offset ||
      writes->size != reads->size || method_copyArgumentType(setter, 2) != type) {
    return field;
  }
  if (isObject(field.type)) {
    // A member without a C++ type checks by name what is stored in it, and one that is assigned does not hold it.
    field.isCopied =
        writes->className.empty() && (writes->ownership == Ownership::kStrong || writes->ownership == Ownership::kCopy);
    field.copiesObject = writes->ownership == Ownership::kCopy;
  } else if (isAggregate(field.type)) {
    // These go by key-value access.
    field.isCopied = field.isRead && class_getMethodImplementation(cls, kSetValueForKey) == kRootSetValueForKey &&
                     meta.setter == SEL(std::string_view(withPrefix("set", meta.name.str()) + ":"));
  } else {
    field.isCopied = true;
  }
  return field;
}

Fields fieldsOf(Class cls, const _KVTModelMeta& meta) {
  Fields fields;
  for (const id& each : meta.allPropertyMetas) {
    fields.all.push_back(fieldOf(cls, *static_cast<const _KVTModelPropertyMeta*>(each.object())));
    fields.anyKeyed = fields.anyKeyed || fields.all.back().isKeyed;
  }
  return fields;
}

}  // namespace

FieldsInUse::FieldsInUse(const Object* object) : generation_(objc_runtimeGeneration()) {
  const Class cls = object_getClass(object);
  direct::ClassPlan* plan = use_.planFor(cls);
  const _KVTModelMeta* meta = plan != nullptr ? plan->meta.get() : nullptr;
  if (plan == nullptr) {
    // Classes have changed since this thread's outermost operation began.
    ownMeta_ = _KVTModelMeta::metaWithClass(cls);
    meta = ownMeta_.get();
    own_ = std::make_shared<const Fields>(fieldsOf(cls, *meta));
  } else if (!plan->fields) {
    plan->fields = std::make_shared<const Fields>(fieldsOf(cls, *meta));
  }
  fields_ = plan != nullptr ? plan->fields.get() : own_.get();
  isValue_ = meta->nsType != KVTEncodingTypeNSUnknown || kindOf(object) == kNullKind;
}

}  // namespace kvt::model
