#include "ModelFields.h"

#include <algorithm>
#include <utility>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/Kinds.h>

namespace kvt::model {
namespace {

const SEL kValueForKey = "valueForKey:";
const SEL kSetValueForKey = "setValue:forKey:";
const SEL kHash = "hash";

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

/// Puts the members that count among those of their type.
void groupPlain(Fields& fields) {
  std::vector<PlainMembers>& groups = fields.plain;
  PlainMembers objects{KVTEncodingTypeObject, {}};
  for (const Field& field : fields.all) {
    if (!field.isKeyed) continue;
    if (!field.isPlain()) {
      fields.isPlain = false;
      continue;
    }
    const auto offset = static_cast<std::uint32_t>(field.offset);
    if (isObject(field.type)) {
      objects.offsets.push_back(offset);
      continue;
    }
    const auto isOfType = [&field](const PlainMembers& each) { return each.type == field.type; };
    auto group = std::find_if(groups.begin(), groups.end(), isOfType);
    if (group == groups.end()) group = groups.insert(groups.end(), PlainMembers{field.type, {}});
    group->offsets.push_back(offset);
  }
  if (!objects.offsets.empty()) groups.push_back(std::move(objects));
}

/// What a copy consists of when every accessor copies a member.
void groupCopied(Fields& fields) {
  for (const Field& field : fields.all) {
    if (!field.isCopied) {
      fields.isCopied = false;
      return;
    }
    const auto offset = static_cast<std::uint32_t>(field.offset);
    fields.copied.push_back({offset, field.size});
    if (isObject(field.type)) (field.copiesObject ? fields.copiedObjects : fields.heldObjects).push_back(offset);
  }
  const auto before = [](const Fields::Span& a, const Fields::Span& b) { return a.offset < b.offset; };
  std::sort(fields.copied.begin(), fields.copied.end(), before);
  std::vector<Fields::Span> joined;
  for (const Fields::Span& each : fields.copied) {
    // Two properties may have one member.
    const std::uint32_t end = joined.empty() ? 0 : joined.back().offset + joined.back().size;
    if (!joined.empty() && each.offset < end)
      fields.isCopied = false;
    else if (!joined.empty() && each.offset == end)
      joined.back().size += each.size;
    else
      joined.push_back(each);
  }
  fields.copied = std::move(joined);
}

Fields fieldsOf(Class cls, const _KVTModelMeta& meta) {
  Fields fields;
  fields.cls = cls;
  const Method hash = class_getInstanceMethod(cls, kHash);
  if (hash != nullptr && method_copyReturnType(hash) == "Q" && method_getNumberOfArguments(hash) == 2) {
    fields.hash = hash;
  }
  for (const id& each : meta.allPropertyMetas) {
    fields.all.push_back(fieldOf(cls, *static_cast<const _KVTModelPropertyMeta*>(each.object())));
    fields.anyKeyed = fields.anyKeyed || fields.all.back().isKeyed;
  }
  std::size_t late = fields.all.size();
  for (std::size_t i = fields.all.size(); i-- > 0;) {
    Field& field = fields.all[i];
    if (field.isKeyed && (isObject(field.type) || !field.isPlain())) late = i;
    field.nextLate = static_cast<std::uint32_t>(late);
  }
  groupPlain(fields);
  groupCopied(fields);
  return fields;
}

}  // namespace

bool Field::isPlain() const { return isRead && type != KVTEncodingTypeClass && !isAggregate(type); }

FieldsInUse::FieldsInUse(const Object* object) {
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
