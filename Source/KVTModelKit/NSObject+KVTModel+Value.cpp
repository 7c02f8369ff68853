#include "NSObject+KVTModel+Value.h"

#include <cmath>
#include <cstring>
#include <utility>

#include <KVTPlatform/Values/CollectionSupport.h>
#include <KVTPlatform/Values/NSNumberBody.h>
#include <KVTPlatform/Values/NSStringBody.h>
#include <KVTPlatform/Values/NSValue.h>

#include "../Category/Category.h"
#include "ModelAccess.h"
#include "ModelFields.h"

namespace kvt {
namespace {

using model::Field;
using model::FieldsInUse;

constexpr unsigned kDeepestModel = 512;

/// The models that this thread is hashing or comparing, innermost first.
struct Visit {
  Visit(const Visit*& list, const Object* model, const Object* other)
      : innermost(list), outer(list), a(model), b(other), depth(list != nullptr ? list->depth + 1 : 1) {
    innermost = this;
  }
  Visit(const Visit&) = delete;
  Visit& operator=(const Visit&) = delete;
  ~Visit() { innermost = outer; }
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

std::uint64_t hashOfModel(const Object* object) {
  if (object == nullptr) return 0;
  const FieldsInUse fields(object);
  if (fields.isValue()) return id(borrow, object).hash();
  if (!fields.anyKeyed()) return reinterpret_cast<std::uintptr_t>(object);
  const Visit visit(hashing, object, nullptr);
  if (visit.isRepeated() || visit.isTooDeep()) return 0;
  std::uint64_t hash = 0;
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

/// Whether two objects of the fields' class differ in values that can be compared without anybody noticing.
bool differPlainly(const FieldsInUse& fields, const Object* a, const Object* b) {
  for (const Field& field : fields.all()) {
    if (!field.isKeyed || !field.isRead || !comparesItself(field, field.in(a))) continue;
    if (!areEqualFields(field, field.in(a), field.in(b))) return true;
  }
  return false;
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

}  // namespace

id kvt_modelCopy(const id& model) {
  if (!model) return {};
  const FieldsInUse fields(model.object());
  if (fields.isValue()) return model.copy();
  id copy(adopt, class_createInstance(model.class_()));
  if (!copy) return {};
  bool isDirect = fields.areUpToDate();
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
  const Visit visit(comparing, model.object(), other.object());
  if (visit.isRepeated()) return true;
  if (visit.isTooDeep()) return false;
  // Whatever the hashes are, and they cost more.
  if (differPlainly(fields, model.object(), other.object())) return false;
  if (model.hash() != other.hash()) return false;
  bool isDirect = fields.areUpToDate();
  for (const Field& field : fields.all()) {
    if (!field.isKeyed) continue;
    const char* member = field.in(model.object());
    if (isDirect && field.isRead) {
      if (comparesItself(field, member)) continue;  // it does not differ
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
