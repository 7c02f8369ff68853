#include "NSDictionary.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Message.h>

#include "CollectionSupport.h"
#include "MergeSort.h"
#include "NSArrayBody.h"
#include "NSDictionaryBody.h"
#include "NSEnumerator.h"
#include "NSObject.h"
#include "NSString.h"

namespace kvt {

using collections::raiseInvalidArgument;

namespace {

id copiedKey(const id& key) {
  id copied = key.copy();
  if (!copied) raiseInvalidArgument("-[NSDictionary setObject:forKey:]", "the copy of a key is nil");
  return copied;
}

}  // namespace

// ---- the body -----------------------------------------------------------------------------------------------------

DictionaryBody::DictionaryBody(ValueKind kind, std::uint32_t room)
    : Object(kind == kDictionaryKind ? classOf<NSDictionary>() : classOf<NSMutableDictionary>(), objectKind(kind)),
      table(inlineStorage(), room) {
  if (kind == kDictionaryKind) ObjectAccess::markImmutableValue(this);
}

DictionaryBody::~DictionaryBody() { table.destroy(inlineStorage()); }

DictionaryBody* DictionaryBody::create(ValueKind kind, std::size_t capacity) {
  void* memory = Object::operator new(sizeof(DictionaryBody) + Table::storageSize(capacity));
  return ::new (memory) DictionaryBody(kind, static_cast<std::uint32_t>(capacity));
}

DictionaryBody* DictionaryBody::createCopy(ValueKind kind, const DictionaryBody& other, std::size_t extraCapacity) {
  DictionaryBody* body = create(kind, other.table.count + extraCapacity);
  const Table& from = other.table;
  for (std::uint32_t i = from.next(0); i < from.used; i = from.next(i + 1)) {
    body->table.appendUnchecked(Slot(from.slots[i]));
  }
  return body;
}

const Object* DictionaryBody::valueOf(std::string_view utf8Key) const {
  if (table.count == 0) return nullptr;
  const std::uint32_t hash = collections::mixedHash(StringBody::hashOfUTF8(utf8Key));
  const std::uint32_t number = table.findWith(hash, [utf8Key](const Object* key) {
    const StringBody* text = StringBody::of(key);
    return text != nullptr && text->utf8() == utf8Key;
  });
  return number == Table::kNone ? nullptr : table.slots[number].value.object();
}

bool DictionaryBody::add(id&& key, id&& value) {
  const std::uint32_t hash = collections::tableHash(key.object());
  if (table.find(key.object(), hash) != Table::kNone) return false;
  addNew(std::move(key), std::move(value), hash);
  return true;
}

void DictionaryBody::set(id&& key, id&& value) {
  const std::uint32_t hash = collections::tableHash(key.object());
  const std::uint32_t number = table.find(key.object(), hash);
  if (number == Table::kNone) return addNew(std::move(key), std::move(value), hash);
  ++table.mutations;
  // The old value goes when the caller's handle does: its destructor may come back here.
  table.slots[number].value.swap(value);
}

void DictionaryBody::setCopyingKey(const id& key, const id& value) {
  id kept = value;
  const std::uint32_t hash = collections::tableHash(key.object());
  const std::uint32_t number = table.find(key.object(), hash);
  if (number != Table::kNone) {
    ++table.mutations;
    table.slots[number].value.swap(kept);
    return;
  }
  const std::uint32_t seen = table.mutations;
  id copied = copiedKey(key);
  // The key's own copying may have put it in.
  if (table.mutations != seen) return set(std::move(copied), std::move(kept));
  addNew(std::move(copied), std::move(kept), hash);
}

void DictionaryBody::remove(const Object* key) {
  const std::uint32_t number = table.find(key);
  if (number != Table::kNone) table.take(inlineStorage(), number);
}

// ---- making -------------------------------------------------------------------------------------------------------

namespace {

const DictionaryBody* bodyOf(const NSDictionary& dictionary) noexcept {
  return static_cast<const DictionaryBody*>(dictionary.object());
}

/// Collects the entries of a new dictionary; of equal keys the first one counts.
class Builder {
 public:
  explicit Builder(std::size_t capacity)
      : body_(DictionaryBody::create(kDictionaryKind, capacity)), dictionary_(adopt, body_) {}
  void add(const id& key, const id& value, std::size_t index) {
    if (!key || !value) {
      raiseInvalidArgument("-[NSDictionary initWithObjects:forKeys:count:]",
                           std::string("attempt to insert nil object from ") + (key ? "objects[" : "keys[") +
                               std::to_string(index) + "]");
    }
    const std::uint32_t hash = collections::tableHash(key.object());
    const auto& table = body_->table;
    if (table.find(key.object(), hash) != DictionaryBody::Table::kNone) return;
    body_->addNew(copiedKey(key), id(value), hash);
  }
  NSDictionary dictionary() { return std::move(dictionary_); }

 private:
  DictionaryBody* body_;
  NSDictionary dictionary_;
};

}  // namespace

NSDictionary::NSDictionary(std::initializer_list<DictionaryPair> pairs) {
  Builder builder(pairs.size());
  std::size_t index = 0;
  for (const DictionaryPair& pair : pairs) builder.add(pair.key.object(), pair.value.object(), index++);
  *this = builder.dictionary();
}

NSDictionary NSDictionary::untilNil(std::initializer_list<Boxed> objectsAndKeys) {
  Builder builder(objectsAndKeys.size() / 2);
  std::size_t index = 0;
  for (const Boxed* at = objectsAndKeys.begin(); at != objectsAndKeys.end() && at->object(); at += 2, ++index) {
    if (at + 1 == objectsAndKeys.end()) {
      raiseInvalidArgument("+[NSDictionary dictionaryWithObjectsAndKeys:]", "an object without a key");
    }
    builder.add(at[1].object(), at[0].object(), index);
  }
  return builder.dictionary();
}

NSDictionary NSDictionary::dictionary() {
  static Object* const empty = [] {
    Object* body = DictionaryBody::create(kDictionaryKind, 0);
    ObjectAccess::makeImmortal(body);
    return body;
  }();
  return NSDictionary(borrow, empty);
}

NSDictionary NSDictionary::dictionaryWithObject_forKey(const Boxed& object, const Boxed& key) {
  return dictionaryWithObjects_forKeys_count(&object.object(), &key.object(), 1);
}

NSDictionary NSDictionary::dictionaryWithObjects_forKeys(const NSArray& objects, const NSArray& keys) {
  if (objects.count() != keys.count()) {
    raiseInvalidArgument("-[NSDictionary initWithObjects:forKeys:]",
                         "count of objects (" + std::to_string(objects.count()) + ") differs from count of keys (" +
                             std::to_string(keys.count()) + ")");
  }
  const std::vector<id> values = objects.toVector(), names = keys.toVector();
  return dictionaryWithObjects_forKeys_count(values.data(), names.data(), values.size());
}

NSDictionary NSDictionary::dictionaryWithObjects_forKeys_count(const id* objects, const id* keys, NSUInteger count) {
  Builder builder(count);
  for (NSUInteger i = 0; i < count; ++i) builder.add(keys[i], objects[i], i);
  return builder.dictionary();
}

NSDictionary NSDictionary::dictionaryWithDictionary(const NSDictionary& other) {
  return other ? other.copy() : dictionary();
}

// ---- reading ------------------------------------------------------------------------------------------------------

NSUInteger NSDictionary::count() const noexcept { return *this ? bodyOf(*this)->table.count : 0; }

id NSDictionary::objectForKey(const id& key) const {
  if (!*this || !key) return {};
  return id(borrow, bodyOf(*this)->valueOf(key.object()));
}

id NSDictionary::objectForKey(std::string_view key) const {
  return *this ? id(borrow, bodyOf(*this)->valueOf(key)) : id();
}

NSArray NSDictionary::objectsForKeys_notFoundMarker(const NSArray& keys, const id& marker) const {
  if (!*this) return {};
  std::vector<id> objects;
  objects.reserve(keys.count());
  for (const id& key : keys) {
    id object = objectForKey(key);
    objects.push_back(object ? std::move(object) : marker);
  }
  return NSArray::arrayWithObjects_count(objects.data(), objects.size());
}

NSArray NSDictionary::allKeys() const {
  if (!*this) return {};
  ArrayBody* body = ArrayBody::create(kArrayKind, count());
  for (const DictionaryEntry& entry : *this) body->appendUnchecked(id(entry.key));
  return NSArray(adopt, body);
}

NSArray NSDictionary::allValues() const {
  if (!*this) return {};
  ArrayBody* body = ArrayBody::create(kArrayKind, count());
  for (const DictionaryEntry& entry : *this) body->appendUnchecked(id(entry.value));
  return NSArray(adopt, body);
}

NSArray NSDictionary::allKeysForObject(const Boxed& boxed) const {
  const id& object = boxed.object();
  if (!*this) return {};
  std::vector<id> keys;
  if (object) {
    for (const DictionaryEntry& entry : *this) {
      if (collections::equal(object.object(), entry.value.object())) keys.push_back(entry.key);
    }
  }
  return NSArray::arrayWithObjects_count(keys.data(), keys.size());
}

NSDictionary::Iterator NSDictionary::begin() const {
  if (!*this) return {};
  const DictionaryBody* body = bodyOf(*this);
  return body->isMutable() ? Iterator(*this) : Iterator(*this, body->table.slots);
}

NSDictionary::Iterator NSDictionary::end() const {
  if (!*this) return {};
  const DictionaryBody* body = bodyOf(*this);
  return body->isMutable() ? Iterator(Iterator::kEnd) : Iterator(body->table.count);
}

void NSDictionary::enumerateKeysAndObjectsUsingBlock(const Block<void(const id&, const id&, bool*)>& block) const {
  bool stop = false;
  for (const DictionaryEntry& entry : *this) {
    block(entry.key, entry.value, &stop);
    if (stop) return;
  }
}

std::vector<id> NSDictionary::keysOfEntriesPassingTest(const Block<bool(const id&, const id&, bool*)>& test) const {
  std::vector<id> keys;
  bool stop = false;
  for (const DictionaryEntry& entry : *this) {
    if (test(entry.key, entry.value, &stop)) keys.push_back(entry.key);
    if (stop) break;
  }
  return keys;
}

namespace {

template <class Ascending>
NSArray keysSorted(const NSDictionary& dictionary, const Ascending& ascending) {
  std::vector<DictionaryEntry> entries(dictionary.begin(), dictionary.end());
  mergeSort(entries, [&](const DictionaryEntry& a, const DictionaryEntry& b) { return ascending(a.value, b.value); });
  ArrayBody* body = ArrayBody::create(kArrayKind, entries.size());
  for (DictionaryEntry& entry : entries) body->appendUnchecked(std::move(entry.key));
  return NSArray(adopt, body);
}

}  // namespace

NSArray NSDictionary::keysSortedByValueUsingComparator(const NSComparator& comparator) const {
  if (!*this) return {};
  return keysSorted(*this, [&](const id& a, const id& b) { return comparator(a, b) != NSOrderedDescending; });
}

NSArray NSDictionary::keysSortedByValueUsingSelector(SEL comparator) const {
  if (!*this) return {};
  return keysSorted(*this, [&](const id& a, const id& b) { return objc_msgSend<NSInteger>(a, comparator, b) <= 0; });
}

bool NSDictionary::isEqualToDictionary(const NSDictionary& other) const {
  return *this && other && collections::equalCollections(object(), other.object());
}

bool NSDictionary::isText(const id& object) noexcept { return StringBody::of(object.object()) != nullptr; }

id NSDictionary::valueForKey(const NSString& key) const {
  if (!*this) return {};
  if (key.hasPrefix("@"_ns)) return collections::valueForOperatorKey(*this, key);
  return objectForKey(key);
}

// ---- copies -------------------------------------------------------------------------------------------------------

NSDictionary NSDictionary::copy() const {
  if (!*this || !bodyOf(*this)->isMutable()) return *this;
  return NSDictionary(adopt, DictionaryBody::createCopy(kDictionaryKind, *bodyOf(*this)));
}

NSMutableDictionary NSDictionary::mutableCopy() const {
  if (!*this) return {};
  // Whoever wants a mutable copy is about to put something in.
  return NSMutableDictionary(adopt, DictionaryBody::createCopy(kMutableDictionaryKind, *bodyOf(*this), 4));
}

// ---- the class ----------------------------------------------------------------------------------------------------

namespace {

std::uint64_t dictionaryHash(const NSDictionary& self) { return collections::hashCollection(self.object()); }
bool dictionaryIsEqual(const NSDictionary& self, const id& other) {
  return isIdentical(self, other) || self.isEqualToDictionary(other.as<NSDictionary>());
}
NSString dictionaryDescription(const NSDictionary& self) { return collections::describeCollection(self.object()); }
Object* dictionaryCopy(Object* self, SEL, void*) { return NSDictionary(borrow, self).copy().detach(); }
Object* dictionaryMutableCopy(Object* self, SEL, void*) { return NSDictionary(borrow, self).mutableCopy().detach(); }
NSArray keysForObject(const NSDictionary& self, const id& object) { return self.allKeysForObject(object); }
NSDictionary withObjectForKey(const id& object, const id& key) {
  return NSDictionary::dictionaryWithObject_forKey(object, key);
}

}  // namespace

Class NSDictionary::kvtClass() {
  static const Class cls = [] {
    using Self = NSDictionary;
    ClassBuilder<NSDictionary> c("NSDictionary", classOf<NSObject>());
    c.classMethod<&Self::dictionary>("dictionary").classMethod<&withObjectForKey>("dictionaryWithObject:forKey:");
    c.classMethod<&Self::dictionaryWithObjects_forKeys>("dictionaryWithObjects:forKeys:");
    c.classMethod<&Self::dictionaryWithDictionary>("dictionaryWithDictionary:");
    c.method<&dictionaryHash>("hash").method<&dictionaryIsEqual>("isEqual:");
    c.method<&dictionaryDescription>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&dictionaryCopy), "@24@0:8^{_NSZone=}16");
    c.rawMethod("mutableCopyWithZone:", reinterpret_cast<IMP>(&dictionaryMutableCopy), "@24@0:8^{_NSZone=}16");
    c.method<&Self::count>("count");
    c.method<static_cast<id (Self::*)(const id&) const>(&Self::objectForKey)>("objectForKey:");
    c.method<&Self::objectForKeyedSubscript>("objectForKeyedSubscript:");
    c.method<&Self::objectsForKeys_notFoundMarker>("objectsForKeys:notFoundMarker:");
    c.method<&Self::allKeys>("allKeys").method<&Self::allValues>("allValues");
    c.method<&keysForObject>("allKeysForObject:");
    c.method<&Self::keyEnumerator>("keyEnumerator").method<&Self::objectEnumerator>("objectEnumerator");
    c.method<&Self::enumerateKeysAndObjectsUsingBlock>("enumerateKeysAndObjectsUsingBlock:");
    c.method<&Self::keysSortedByValueUsingComparator>("keysSortedByValueUsingComparator:");
    c.method<&Self::keysSortedByValueUsingSelector>("keysSortedByValueUsingSelector:");
    c.method<&Self::isEqualToDictionary>("isEqualToDictionary:").method<&Self::valueForKey>("valueForKey:");
    c.createWith([](Class made) -> Object* {
      Object* body = DictionaryBody::create(kDictionaryKind, 0);
      ObjectAccess::setIsa(body, made.body());
      return body;
    });
    const ValueOperations operations{collections::hashCollection, collections::equalCollections};
    registerValueOperations(kDictionaryKind, operations);
    registerValueOperations(kMutableDictionaryKind, operations);
    return c.registerClass();
  }();
  return cls;
}

bool NSDictionary::kvtAccepts(const Object* object) noexcept { return collections::isDictionary(object); }

[[maybe_unused]] static const bool registered = (classOf<NSDictionary>(), true);

}  // namespace kvt
