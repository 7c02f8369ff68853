#include "NSObject+KVTModel+Value.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>
#include <vector>

#include <KVTPlatform/Values/CollectionSupport.h>
#include <KVTPlatform/Values/NSNumberBody.h>
#include <KVTPlatform/Values/NSStringBody.h>
#include <KVTPlatform/Values/NSValue.h>
#include <KVTPlatform/Values/ShortBytes.h>

#include "../Category/Category.h"
#include "ModelAccess.h"
#include "ModelFields.h"

namespace kvt {
namespace {

using model::Field;
using model::Fields;
using model::FieldsInUse;
using model::FieldsView;
using model::PlainMembers;

constexpr unsigned kDeepestModel = 512;

/// The models that this thread is hashing or comparing, innermost first.
struct Visit {
  Visit(const Visit*& list, const FieldsView& itsFields, const Object* model, const Object* other)
      : innermost(list),
        outer(list),
        fields(itsFields),
        a(model),
        b(other),
        depth(list != nullptr ? list->depth + 1 : 1) {
    innermost = this;
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
  // Not inlined: the compiler would take the list for one that keeps what has ended.
  [[gnu::noinline]] ~Visit() { innermost = outer; }
  /// Whether the same is being done further out.
  bool isRepeated() const {
    for (const Visit* each = outer; each != nullptr; each = each->outer) {
      if (each->a == a && each->b == b) return true;
    }
    return false;
  }
  bool isTooDeep() const { return depth > kDeepestModel; }

  const Visit*& innermost;
  const Visit* const outer;
  const FieldsView& fields;
  const Object* const a;
  const Object* const b;
  const unsigned depth;
};
[[gnu::tls_model("initial-exec")]] constinit thread_local const Visit* hashing = nullptr;
[[gnu::tls_model("initial-exec")]] constinit thread_local const Visit* comparing = nullptr;

template <class T>
T load(const char* member) {
  T value;
  std::memcpy(&value, member, sizeof value);
  return value;
}

// What the operations of these call is none of a client's code. `nil` is such a value.
bool isLeaf(const Object* object) { return object == nullptr || collections::isLeaf(object); }
bool hashesItself(const Object* object) { return object == nullptr || object->kvtKind() >= ObjectKind::kFirstValue; }

/// What key-value access reads.
id plainValue(const id& model, const Field& field) {
  return model.valueForKey(NSString(sel_getName(field.meta->getter)));
}

// ---- hashes --------------------------------------------------------------------------------------------------------

std::uint64_t hashOfObject(const Object* object) {
  if (object == nullptr) return 0;
  if (const StringBody* text = StringBody::of(object)) return text->hash();
  // The model's member holds it; a client's code may let it go.
  if (hashesItself(object)) return Abi<id>::Argument(const_cast<Object*>(object)).get().hash();
  return id(borrow, object).hash();
}

/// The hash of the value that key-value access would box.
std::uint64_t hashOfField(const Field& field, const char* member) {
  const auto signedHash = [](std::int64_t value) { return hashOfInteger(static_cast<std::uint64_t>(value)); };
  switch (field.type) {
    case KVTEncodingTypeBool: return hashOfInteger(load<std::uint8_t>(member) != 0);
    case KVTEncodingTypeInt8: return signedHash(load<std::int8_t>(member));
    case KVTEncodingTypeUInt8: return hashOfInteger(load<std::uint8_t>(member));
    case KVTEncodingTypeInt16: return signedHash(load<std::int16_t>(member));
    case KVTEncodingTypeUInt16: return hashOfInteger(load<std::uint16_t>(member));
    case KVTEncodingTypeInt32: return signedHash(load<std::int32_t>(member));
    case KVTEncodingTypeUInt32: return hashOfInteger(load<std::uint32_t>(member));
    case KVTEncodingTypeInt64: return signedHash(load<std::int64_t>(member));
    case KVTEncodingTypeUInt64: return hashOfInteger(load<std::uint64_t>(member));
    case KVTEncodingTypeFloat: return hashOfReal(static_cast<double>(load<float>(member)));
    case KVTEncodingTypeDouble: return hashOfReal(load<double>(member));
    case KVTEncodingTypeClass: return id(load<Class>(member)).hash();
    case KVTEncodingTypeStruct:
    case KVTEncodingTypeUnion: return NSValue::valueWithBytes_objCType(member, field.encoding.c_str()).hash();
    default: return hashOfObject(load<const Object*>(member));
  }
}

/// Whether the field's value may be a client's object.
bool isObject(const Field& field) {
  return field.type == KVTEncodingTypeObject || field.type == KVTEncodingTypeBlock ||
         field.type == KVTEncodingTypeClass;
}

/// The hash of the value that key-value access would box, of many members.
template <class T>
std::uint64_t hashOfMembers(const PlainMembers& members, const char* model) {
  std::uint64_t hash = 0;
  for (const std::uint32_t offset : members.offsets) {
    const T value = load<T>(model + offset);
    if constexpr (std::is_same_v<T, const Object*>)
      hash ^= hashOfObject(value);
    else if constexpr (std::is_floating_point_v<T>)
      hash ^= hashOfReal(static_cast<double>(value));
    else
      hash ^= hashOfInteger(static_cast<std::uint64_t>(value));  // of the sign's bits, too
  }
  return hash;
}
std::uint64_t hashOfBools(const PlainMembers& members, const char* model) {
  std::uint64_t hash = 0;
  for (const std::uint32_t offset : members.offsets) hash ^= hashOfInteger(load<std::uint8_t>(model + offset) != 0);
  return hash;
}
std::uint64_t hashOfMembers(const PlainMembers& members, const char* model) {
  switch (members.type) {
    case KVTEncodingTypeBool: return hashOfBools(members, model);
    case KVTEncodingTypeInt8: return hashOfMembers<std::int8_t>(members, model);
    case KVTEncodingTypeUInt8: return hashOfMembers<std::uint8_t>(members, model);
    case KVTEncodingTypeInt16: return hashOfMembers<std::int16_t>(members, model);
    case KVTEncodingTypeUInt16: return hashOfMembers<std::uint16_t>(members, model);
    case KVTEncodingTypeInt32: return hashOfMembers<std::int32_t>(members, model);
    case KVTEncodingTypeUInt32: return hashOfMembers<std::uint32_t>(members, model);
    case KVTEncodingTypeInt64: return hashOfMembers<std::int64_t>(members, model);
    case KVTEncodingTypeUInt64: return hashOfMembers<std::uint64_t>(members, model);
    case KVTEncodingTypeFloat: return hashOfMembers<float>(members, model);
    case KVTEncodingTypeDouble: return hashOfMembers<double>(members, model);
    default: return hashOfMembers<const Object*>(members, model);
  }
}

/// Whether hashing the model's values calls none of a client's code, so that nobody can tell in which order it is done.
bool hashesPlainly(const FieldsView& fields, const char* model) {
  if (!fields->isPlain) return false;
  if (fields->plain.empty() || fields->plain.back().type != KVTEncodingTypeObject) return true;
  for (const std::uint32_t offset : fields->plain.back().offsets) {
    if (!hashesItself(load<const Object*>(model + offset))) return false;
  }
  return true;
}

std::uint64_t hashByFields(const FieldsView& fields, const Object* object) {
  if (!fields->anyKeyed) return reinterpret_cast<std::uintptr_t>(object);
  const Visit visit(hashing, fields, object, nullptr);
  if (visit.isRepeated() || visit.isTooDeep()) return 0;
  std::uint64_t hash = 0;
  if (const char* members = reinterpret_cast<const char*>(object); hashesPlainly(fields, members)) {
    for (const PlainMembers& each : fields->plain) hash ^= hashOfMembers(each, members);
    return hash;
  }
  bool isDirect = true;
  for (const Field& field : fields.all()) {
    if (!field.isKeyed) continue;
    const char* member = field.in(object);
    if (isDirect && field.isRead) {
      hash ^= hashOfField(field, member);
      if (!isObject(field) || hashesItself(load<const Object*>(member))) continue;
    } else {
      hash ^= plainValue(id(borrow, object), field).hash();
    }
    isDirect = fields.areUpToDate();
  }
  return hash;
}

std::uint64_t hashOfModel(const Object* object) {
  if (object == nullptr) return 0;
  // A class's hash comes here from the comparison of two of its objects, which has the fields already.
  if (comparing != nullptr && comparing->fields->cls == object_getClass(object) && comparing->fields.areUpToDate()) {
    return hashByFields(comparing->fields, object);
  }
  const FieldsInUse fields(object);
  return fields.isValue() ? id(borrow, object).hash() : hashByFields(fields, object);
}

/// What the fields' class answers to `hash`.
std::uint64_t ownHash(const FieldsView& fields, const id& model) {
  static const SEL hash = "hash";
  if (fields->hash == nullptr || !fields.areUpToDate()) return model.hash();
  const auto imp = reinterpret_cast<std::uint64_t (*)(Object*, SEL)>(method_getImplementation(fields->hash));
  return imp(const_cast<Object*>(model.object()), hash);
}

// ---- equality ------------------------------------------------------------------------------------------------------

bool areEqual(const id& a, const id& b) { return isIdentical(a, b) || (a && b && a.isEqual(b)); }

bool areEqualObjects(const Object* a, const Object* b) {
  if (a == b) return true;
  if (a == nullptr || b == nullptr) return false;
  const StringBody* text = StringBody::of(a);
  const StringBody* other = StringBody::of(b);
  if (text != nullptr && other != nullptr) return StringBody::equal(*text, *other);
  using Borrowed = Abi<id>::Argument;
  if (isLeaf(a)) return Borrowed(const_cast<Object*>(a)).get().isEqual(Borrowed(const_cast<Object*>(b)).get());
  return id(borrow, a).isEqual(id(borrow, b));
}

/// As boxed numbers: NaN equals NaN.
bool areEqualNumbers(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

bool areEqualFields(const Field& field, const char* a, const char* b) {
  switch (field.type) {
    case KVTEncodingTypeBool: return (load<std::uint8_t>(a) != 0) == (load<std::uint8_t>(b) != 0);
    case KVTEncodingTypeFloat:
      return areEqualNumbers(static_cast<double>(load<float>(a)), static_cast<double>(load<float>(b)));
    case KVTEncodingTypeDouble: return areEqualNumbers(load<double>(a), load<double>(b));
    case KVTEncodingTypeObject:
    case KVTEncodingTypeBlock: return areEqualObjects(load<const Object*>(a), load<const Object*>(b));
    case KVTEncodingTypeClass: return areEqual(id(load<Class>(a)), id(load<Class>(b)));
    // Integers of one width, and what is boxed byte by byte.
    default: return std::memcmp(a, b, field.size) == 0;
  }
}

/// Whether comparing the field's values calls none of a client's code.
bool comparesItself(const Field& field, const char* a) { return !isObject(field) || isLeaf(load<const Object*>(a)); }

template <class T>
bool areEqualMembers(const PlainMembers& members, const char* a, const char* b) {
  for (const std::uint32_t offset : members.offsets) {
    const T left = load<T>(a + offset), right = load<T>(b + offset);
    if constexpr (std::is_floating_point_v<T>) {
      if (!areEqualNumbers(static_cast<double>(left), static_cast<double>(right))) return false;
    } else {
      if (left != right) return false;
    }
  }
  return true;
}
bool areEqualBools(const PlainMembers& members, const char* a, const char* b) {
  for (const std::uint32_t offset : members.offsets) {
    if ((load<std::uint8_t>(a + offset) != 0) != (load<std::uint8_t>(b + offset) != 0)) return false;
  }
  return true;
}

enum class Comparison : std::uint8_t { kDifferent, kEqual, kEqualSoFar };

/// Passes over objects that a client's code compares.
Comparison comparePlainObjects(const PlainMembers& members, const char* a, const char* b) {
  Comparison result = Comparison::kEqual;
  for (const std::uint32_t offset : members.offsets) {
    const auto* left = load<const Object*>(a + offset);
    const auto* right = load<const Object*>(b + offset);
    if (left == right) continue;
    if (!isLeaf(left))
      result = Comparison::kEqualSoFar;
    else if (!areEqualObjects(left, right))
      return Comparison::kDifferent;
  }
  return result;
}

Comparison comparePlainMembers(const PlainMembers& members, const char* a, const char* b) {
  const auto result = [](bool isEqual) { return isEqual ? Comparison::kEqual : Comparison::kDifferent; };
  switch (members.type) {
    case KVTEncodingTypeBool: return result(areEqualBools(members, a, b));
    case KVTEncodingTypeInt8:
    case KVTEncodingTypeUInt8: return result(areEqualMembers<std::uint8_t>(members, a, b));
    case KVTEncodingTypeInt16:
    case KVTEncodingTypeUInt16: return result(areEqualMembers<std::uint16_t>(members, a, b));
    case KVTEncodingTypeInt32:
    case KVTEncodingTypeUInt32: return result(areEqualMembers<std::uint32_t>(members, a, b));
    case KVTEncodingTypeInt64:
    case KVTEncodingTypeUInt64: return result(areEqualMembers<std::uint64_t>(members, a, b));
    case KVTEncodingTypeFloat: return result(areEqualMembers<float>(members, a, b));
    case KVTEncodingTypeDouble: return result(areEqualMembers<double>(members, a, b));
    default: return comparePlainObjects(members, a, b);
  }
}

/// Two objects of the fields' class by the values that can be compared without anybody noticing.
Comparison comparePlainly(const FieldsView& fields, const Object* a, const Object* b) {
  Comparison result = fields->isPlain ? Comparison::kEqual : Comparison::kEqualSoFar;
  for (const PlainMembers& each : fields->plain) {
    switch (comparePlainMembers(each, reinterpret_cast<const char*>(a), reinterpret_cast<const char*>(b))) {
      case Comparison::kDifferent: return Comparison::kDifferent;
      case Comparison::kEqualSoFar: result = Comparison::kEqualSoFar; break;
      case Comparison::kEqual: break;
    }
  }
  return result;
}

// ---- copies --------------------------------------------------------------------------------------------------------

/// NO when a client's code may have run.
bool copyField(const Field& field, const char* from, char* to) {
  if (field.type != KVTEncodingTypeObject && field.type != KVTEncodingTypeBlock) {
    std::memcpy(to, from, field.size);
    return true;
  }
  Object* object = load<Object*>(from);
  Handle held = field.copiesObject ? Handle(adopt, objc_copyObject(object)) : Handle(borrow, object);
  const bool isShared = held.object() == object;
  held.swap(*reinterpret_cast<Handle*>(to));
  return isShared && isLeaf(held.object());
}

/// What copying the objects amounts to where it calls none of a client's code: every one is held once more. NO, and
/// nothing done, where it may.
bool holdObjects(const FieldsView& fields, const char* from, const char* to) {
  if (!fields->isCopied) return false;
  // Nothing is let go: what a constructor has put there is as good as a client's code.
  for (const std::uint32_t offset : fields->heldObjects) {
    if (load<const Object*>(to + offset) != nullptr) return false;
  }
  for (const std::uint32_t offset : fields->copiedObjects) {
    const auto* object = load<const Object*>(from + offset);
    if (load<const Object*>(to + offset) != nullptr) return false;
    if (object != nullptr && !ObjectAccess::isImmutableValue(object)) return false;
  }
  for (const std::vector<std::uint32_t>* offsets : {&fields->heldObjects, &fields->copiedObjects}) {
    for (const std::uint32_t offset : *offsets) {
      if (const auto* object = load<const Object*>(from + offset)) ObjectAccess::retain(object);
    }
  }
  return true;
}

}  // namespace

id kvt_modelCopy(const id& model) {
  if (!model) return {};
  const FieldsInUse fields(model.object());
  if (fields.isValue()) return model.copy();
  id copy(adopt, class_createInstance(model.class_()));
  if (!copy) return {};
  bool isDirect = fields.areUpToDate();
  const auto* from = reinterpret_cast<const char*>(model.object());
  auto* to = reinterpret_cast<char*>(copy.object());
  if (isDirect && holdObjects(fields, from, to)) {
    for (const Fields::Span& each : fields->copied) copyBytes(to + each.offset, from + each.offset, each.size);
    return copy;
  }
  for (const Field& field : fields.all()) {
    if (isDirect && field.isCopied) {
      if (copyField(field, field.in(std::as_const(model).object()), field.in(copy.object()))) continue;
    } else {
      model::transferProperty(model, copy, *field.meta);
    }
    isDirect = fields.areUpToDate();
  }
  return copy;
}

std::uint64_t kvt_modelHash(const id& model) { return hashOfModel(model.object()); }
std::uint64_t kvt_modelHash(const NSObject* model) { return hashOfModel(model); }

bool kvt_modelIsEqual(const id& model, const id& other) {
  if (!model || !other) return false;
  if (isIdentical(model, other)) return true;
  if (model.class_() != other.class_()) return false;
  const FieldsInUse fields(model.object());
  if (fields.isValue()) return model.isEqual(other);
  const Visit visit(comparing, fields, model.object(), other.object());
  if (visit.isRepeated()) return true;
  if (visit.isTooDeep()) return false;
  // Whatever the hashes are, and they cost more.
  const Comparison plainly = comparePlainly(fields, model.object(), other.object());
  if (plainly == Comparison::kDifferent || ownHash(fields, model) != ownHash(fields, other)) return false;
  bool isDirect = fields.areUpToDate();
  if (isDirect && plainly == Comparison::kEqual) return true;
  const std::vector<Field>& all = fields.all();
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (isDirect) i = all[i].nextLate;
    if (i == all.size()) break;
    const Field& field = all[i];
    if (!field.isKeyed) continue;
    const char* member = field.in(model.object());
    if (isDirect && field.isRead) {
      if (field.isPlain() && comparesItself(field, member)) continue;  // it does not differ
      if (!areEqualFields(field, member, field.in(other.object()))) return false;
    } else if (!areEqual(plainValue(model, field), plainValue(other, field))) {
      return false;
    }
    isDirect = fields.areUpToDate();
  }
  return true;
}

// What a message, an invocation and the method list see of this family.
[[maybe_unused]] static const bool registered = addCategory<NSObject>([](ClassBuilder<NSObject>& c) {
  c.method<static_cast<id (*)(const id&)>(&kvt_modelCopy)>("kvt_modelCopy");
  c.method<static_cast<std::uint64_t (*)(const id&)>(&kvt_modelHash)>("kvt_modelHash");
  c.method<static_cast<bool (*)(const id&, const id&)>(&kvt_modelIsEqual)>("kvt_modelIsEqual:");
});

}  // namespace kvt
