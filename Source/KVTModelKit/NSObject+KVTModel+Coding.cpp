#include "NSObject+KVTModel+Coding.h"

#include <cmath>
#include <cstring>
#include <type_traits>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/ArchiverBody.h>
#include <KVTPlatform/Values/Kinds.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSValue.h>
#include <KVTPlatform/Values/UnarchiverBody.h>

#include "CodingPlan.h"
#include "ModelAccess.h"
#include "ModelValue.h"

namespace kvt {
namespace {

using coding::Entry;
using coding::Kind;
using coding::PlanUse;

const SEL kEncodeWithCoder = "encodeWithCoder:";

template <class T>
T load(const Object* object, std::ptrdiff_t offset) noexcept {
  T value;
  std::memcpy(&value, reinterpret_cast<const char*>(object) + offset, sizeof value);
  return value;
}

template <class T>
constexpr NumberBody::Type numberType() {
  if constexpr (std::is_same_v<T, bool>)
    return NumberBody::Type::kBool;
  else if constexpr (std::is_same_v<T, float>)
    return NumberBody::Type::kFloat;
  else if constexpr (std::is_floating_point_v<T>)
    return NumberBody::Type::kDouble;
  else if constexpr (std::is_unsigned_v<T> && sizeof(T) == 8)
    return NumberBody::Type::kUInt64;
  else
    return NumberBody::Type::kInt64;  // integers are kept by their value
}

void encodeNumber(const id& model, const Entry& entry, ArchiverBody& archiver) {
  model::withNumberType(entry.meta->valueType(), [&]<class T>(T) {
    const T value = entry.offset != Entry::kNoMember ? load<T>(model.object(), entry.offset)
                                                     : model::getScalar<T>(model, *entry.meta);
    if constexpr (std::is_floating_point_v<T>) {
      if (std::isfinite(value)) archiver.putNumber(numberType<T>(), 0, static_cast<double>(value), entry.key);
    } else {
      archiver.putNumber(numberType<T>(), static_cast<std::int64_t>(value), 0, entry.key);
    }
  });
}

/// Objects that can archive themselves; of boxed values the numbers alone.
bool isArchivable(const Object* object, const _KVTModelPropertyMeta& meta) {
  if (object == nullptr || isKindBetween(object, kValueKind, kValueKind)) return false;
  return meta.nsType != KVTEncodingTypeNSUnknown || class_respondsToSelector(object_getClass(object), kEncodeWithCoder);
}

void encodeObject(const id& model, const Entry& entry, ArchiverBody& archiver) {
  if (entry.offset != Entry::kNoMember) {
    const Object* object = load<Object*>(model.object(), entry.offset);
    if (isArchivable(object, *entry.meta)) archiver.putObject(object, entry.key);
    return;
  }
  const id object = model::getObject(model, *entry.meta);
  if (isArchivable(object.object(), *entry.meta)) archiver.putObject(object.object(), entry.key);
}

void encodeStruct(const id& model, const Entry& entry, ArchiverBody& archiver) {
  if (!entry.meta->isStructAvailableForKeyedArchiver) return;
  const id value = model.valueForKey(NSString(sel_getName(entry.meta->getter)));
  if (value) archiver.putObject(value.object(), entry.key);
}

void decodeStruct(const id& model, const Entry& entry, const id& value) {
  if (!value) return;
  try {
    model.setValue_forKey(value, entry.meta->name);
  } catch (const NSException&) {
    // Another structure than the property's: it stays as it is.
  }
}

void decode(const id& model, const Entry& entry, UnarchiverBody& unarchiver) {
  static const UnarchiverBody::Classes numbers{classOf<NSNumber>()}, texts{classOf<NSString>()},
      boxes{classOf<NSValue>()};
  switch (entry.kind) {
    case Kind::kNumber:
      if (const auto number = unarchiver.decode(entry.key, &numbers).as<NSNumber>()) {
        ModelSetNumberForProperty(model, number, *entry.meta);
      }
      break;
    case Kind::kObject:
      model::setObject(model, *entry.meta,
                       unarchiver.decode(entry.key, entry.classes.empty() ? nullptr : &entry.classes));
      break;
    case Kind::kSelector:
      if (const auto name = unarchiver.decode(entry.key, &texts).as<NSString>()) {
        model::setScalar<SEL>(model, *entry.meta, SEL(std::string_view(name.str())));
      }
      break;
    case Kind::kStruct: decodeStruct(model, entry, unarchiver.decode(entry.key, &boxes)); break;
    case Kind::kOther: break;
  }
}

}  // namespace

void kvt_modelEncodeWithCoder(const id& model, const NSCoder& coder) {
  if (!model || !coder) return;
  const PlanUse use(model.class_());
  if (use.plan().isFoundationType || model.is<NSNull>()) return objc_msgSend(model, kEncodeWithCoder, coder);
  ArchiverBody* archiver = ArchiverBody::of(coder.object());
  // Only an archiver encodes; another coder says so itself.
  if (archiver == nullptr) return coder.encodeObject_forKey(nullptr, "");
  for (const Entry& entry : use.plan().entries) {
    if (!entry.meta->getter) continue;
    switch (entry.kind) {
      case Kind::kNumber: encodeNumber(model, entry, *archiver); break;
      case Kind::kObject: encodeObject(model, entry, *archiver); break;
      case Kind::kStruct: encodeStruct(model, entry, *archiver); break;
      case Kind::kSelector:
        if (const SEL selector = model::getScalar<SEL>(model, *entry.meta)) {
          archiver->putObject(NSString(selector.name()).object(), entry.key);
        }
        break;
      case Kind::kOther: break;
    }
  }
}

id kvt_modelInitWithCoder(const id& model, const NSCoder& coder) {
  if (!model || !coder || model.is<NSNull>()) return model;
  const PlanUse use(model.class_());
  if (use.plan().isFoundationType) return model;
  UnarchiverBody* unarchiver = UnarchiverBody::of(coder.object());
  if (unarchiver == nullptr) return coder.decodeObjectForKey(""), model;
  for (const Entry& entry : use.plan().entries) {
    if (entry.meta->setter) decode(model, entry, *unarchiver);
  }
  return model;
}

// What a message, an invocation and the method list see of this category.
[[maybe_unused]] static const bool registered = [] {
  ClassBuilder<id> object(classOf<NSObject>());
  object.method<static_cast<void (*)(const id&, const NSCoder&)>(&kvt_modelEncodeWithCoder)>(
      "kvt_modelEncodeWithCoder:");
  object.method<static_cast<id (*)(const id&, const NSCoder&)>(&kvt_modelInitWithCoder)>("kvt_modelInitWithCoder:");
  object.registerClass();
  return true;
}();

}  // namespace kvt
