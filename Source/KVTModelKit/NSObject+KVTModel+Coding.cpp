#include "NSObject+KVTModel+Coding.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

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

/// Where the properties of one class's models go.
struct Encoding {
  ArchiverBody& archiver;
  ArchiverBody::KeyList& keys;
  const coding::ClassPlan& plan;

  void object(const Object* value, const Entry& entry) const {
    archiver.putObject(value, keys, plan.indexOf(entry), entry.key);
  }
  void number(NumberBody::Type type, std::int64_t integer, double real, const Entry& entry) const {
    archiver.putNumber(type, integer, real, keys, plan.indexOf(entry), entry.key);
  }
};

void encodeNumber(const id& model, const Entry& entry, const Encoding& to) {
  model::withNumberType(entry.meta->valueType(), [&]<class T>(T) {
    const T value = entry.offset != Entry::kNoMember ? load<T>(model.object(), entry.offset)
                                                     : model::getScalar<T>(model, *entry.meta);
    if constexpr (std::is_floating_point_v<T>) {
      if (std::isfinite(value)) to.number(numberType<T>(), 0, static_cast<double>(value), entry);
    } else {
      to.number(numberType<T>(), static_cast<std::int64_t>(value), 0, entry);
    }
  });
}

/// Objects that can archive themselves; of boxed values the numbers alone.
bool isArchivable(const Object* object, const _KVTModelPropertyMeta& meta) {
  if (object == nullptr || isKindBetween(object, kValueKind, kValueKind)) return false;
  return meta.nsType != KVTEncodingTypeNSUnknown || class_respondsToSelector(object_getClass(object), kEncodeWithCoder);
}

void encodeObject(const id& model, const Entry& entry, const Encoding& to) {
  if (entry.offset != Entry::kNoMember) {
    const Object* object = load<Object*>(model.object(), entry.offset);
    if (isArchivable(object, *entry.meta)) to.object(object, entry);
    return;
  }
  const id object = model::getObject(model, *entry.meta);
  if (isArchivable(object.object(), *entry.meta)) to.object(object.object(), entry);
}

void encodeStruct(const id& model, const Entry& entry, const Encoding& to) {
  if (!entry.meta->isStructAvailableForKeyedArchiver) return;
  const id value = model.valueForKey(NSString(sel_getName(entry.meta->getter)));
  if (value) to.object(value.object(), entry);
}

void decodeStruct(const id& model, const Entry& entry, const id& value) {
  if (!value) return;
  try {
    model.setValue_forKey(value, entry.meta->name);
  } catch (const NSException&) {
    // Another structure than the property's: it stays as it is.
  }
}

/// Stores a number that needs no conversion. NO, and nothing done, for others.
bool storeNumber(Object* model, const Entry& entry, const PropertyListNode& node) {
  using Type = PropertyListNode::Type;
  const bool isReal = node.type == Type::kFloat || node.type == Type::kDouble;
  if (node.type == Type::kUnsigned) return false;
  const std::int64_t integer = node.type == Type::kInteger ? node.integer : node.type == Type::kTrue ? 1 : 0;
  bool isStored = false;
  model::withNumberType(entry.meta->valueType(), [&]<class T>(T) {
    T value{};
    if constexpr (std::is_same_v<T, bool>) {
      if (isReal || (integer != 0 && integer != 1)) return;
      value = integer != 0;
    } else if constexpr (std::is_integral_v<T>) {
      if (isReal || !std::in_range<T>(integer)) return;
      value = static_cast<T>(integer);
    } else if constexpr (std::is_same_v<T, long double>) {
      return;
    } else {
      if (!isReal || std::fabs(node.real) > static_cast<double>(std::numeric_limits<T>::max())) return;
      if (std::isnan(node.real)) return;
      value = static_cast<T>(node.real);
    }
    std::memcpy(reinterpret_cast<char*>(model) + entry.stored, &value, sizeof value);
    isStored = true;
  });
  return isStored;
}

/// What the default setter does.
void storeObject(Object* model, const Entry& entry, const id& value) {
  Object* object = const_cast<Object*>(value.object());
  if (object != nullptr && entry.accepts != nullptr && !entry.accepts(object)) object = nullptr;
  Handle held = entry.isCopied ? Handle(adopt, objc_copyObject(object)) : Handle(borrow, object);
  held.swap(*reinterpret_cast<Handle*>(reinterpret_cast<char*>(model) + entry.stored));
}

/// Where the properties of one class's models come from.
struct Decoding {
  UnarchiverBody& unarchiver;
  UnarchiverBody::KeyList& keys;
  const coding::ClassPlan& plan;

  const PropertyListNode* find(const Entry& entry) const {
    return unarchiver.find(keys, plan.indexOf(entry), entry.key);
  }
  id object(const PropertyListNode* value, const Entry& entry, const UnarchiverBody::Classes* classes) const {
    return unarchiver.decodeValue(value, entry.key, classes);
  }
  /// Whether the setter is still the one that the plan knows: decoding an object may run anybody's code.
  bool isStored(const Entry& entry) const {
    return entry.stored != Entry::kNoMember && plan.generation == objc_runtimeGeneration();
  }
};

void decode(const id& model, const Entry& entry, const Decoding& from) {
  static const UnarchiverBody::Classes numbers{classOf<NSNumber>()}, texts{classOf<NSString>()},
      boxes{classOf<NSValue>()};
  Object* const self = const_cast<Object*>(model.object());
  const PropertyListNode* const value = from.find(entry);
  switch (entry.kind) {
    case Kind::kNumber:
      if (const PropertyListNode* node = from.unarchiver.numberOf(value)) {
        if (from.isStored(entry) && storeNumber(self, entry, *node)) break;
      }
      if (const auto number = from.object(value, entry, &numbers).as<NSNumber>()) {
        ModelSetNumberForProperty(model, number, *entry.meta);
      }
      break;
    case Kind::kObject: {
      const id object = from.object(value, entry, entry.classes.empty() ? nullptr : &entry.classes);
      if (from.isStored(entry))
        storeObject(self, entry, object);
      else
        model::setObject(model, *entry.meta, object);
      break;
    }
    case Kind::kSelector:
      if (const auto name = from.object(value, entry, &texts).as<NSString>()) {
        model::setScalar<SEL>(model, *entry.meta, SEL(std::string_view(name.str())));
      }
      break;
    case Kind::kStruct: decodeStruct(model, entry, from.object(value, entry, &boxes)); break;
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
  const coding::ClassPlan& plan = use.plan();
  const Encoding to{*archiver, archiver->keyList(plan.number, plan.entries.size()), plan};
  for (const Entry& entry : plan.entries) {
    if (!entry.meta->getter) continue;
    switch (entry.kind) {
      case Kind::kNumber: encodeNumber(model, entry, to); break;
      case Kind::kObject: encodeObject(model, entry, to); break;
      case Kind::kStruct: encodeStruct(model, entry, to); break;
      case Kind::kSelector:
        if (const SEL selector = model::getScalar<SEL>(model, *entry.meta)) {
          to.object(NSString(selector.name()).object(), entry);
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
  const coding::ClassPlan& plan = use.plan();
  const Decoding from{*unarchiver, unarchiver->keyList(plan.number, plan.entries.size()), plan};
  for (const Entry& entry : plan.entries) {
    if (entry.meta->setter && entry.kind != Kind::kOther) decode(model, entry, from);
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
