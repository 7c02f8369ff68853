// Arrays, dictionaries and sets in keyed archives.
#include "ArchivedValues.h"
#include "CollectionSupport.h"
#include "NSArrayBody.h"
#include "NSDictionaryBody.h"
#include "NSSetBody.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using archive::archiverOf;

// ---- NSArray --------------------------------------------------------------------------------------------------------

void encodeArray(const NSArray& self, const NSCoder& coder) {
  archiverOf(coder).putObjects("NS.objects", [&self](const auto& add) {
    for (const id& each : self) add(each);
  });
}

id decodeArray(UnarchiverBody& unarchiver, Class cls) {
  const Node* objects = unarchiver.references("NS.objects");
  if (objects == nullptr) return id();
  const bool isMutable = class_isSubclassOf(cls, classOf<NSMutableArray>());
  ArrayBody* body = ArrayBody::create(isMutable ? kMutableArrayKind : kArrayKind, objects->size);
  const id array(adopt, body);
  archive::setClass(array, cls);
  unarchiver.announce(array);
  for (std::size_t i = 0; i < objects->size; ++i) {
    id element = unarchiver.elementAt(*objects, i, "NS.objects");
    if (!element) return id();
    if (isMutable)
      body->append(std::move(element));
    else
      body->appendUnchecked(std::move(element));
  }
  return array;
}

// ---- what is told apart ---------------------------------------------------------------------------------------------

/// How many steps it may take, at the most, to hash a collection or to compare it with another one; more than `limit`
/// when there are more. A collection that contains itself has no end.
std::uint64_t costOf(const Object* object, std::uint64_t limit, unsigned depth = 0) {
  if (!collections::isCollection(object)) return 1;
  if (depth > kArchiveMaximumDepth) return limit + 1;
  std::uint64_t cost = 1;
  const auto add = [&](const Object* element, std::uint64_t times) {
    if (cost > limit) return;
    const std::uint64_t each = costOf(element, (limit - cost) / times, depth + 1);
    cost += each * (each > 1 ? times : 1);
  };
  // Collections that are looked up may fall upon each other: each is compared with all of them.
  if (const ArrayBody* array = ArrayBody::of(object)) {
    for (std::size_t i = 0; i < array->count; ++i) add(array->items[i].object(), 1);
  } else if (const SetBody* set = SetBody::of(object)) {
    const auto& table = set->table;
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      add(table.slots[i].object(), table.count);
    }
  } else {
    const auto& table = DictionaryBody::of(object)->table;
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      add(table.slots[i].key.object(), table.count);
      add(table.slots[i].value.object(), 1);
    }
  }
  return cost;
}

/// Whether a key or an element of a set can be dealt with; NO, and a failure, otherwise. `cost` is what each comparison
/// takes.
bool canTellApart(UnarchiverBody& unarchiver, const id& object, std::uint64_t& cost) {
  constexpr std::uint64_t kMost = 1'000'000;
  cost = 0;
  if (!collections::isCollection(object.object())) return true;
  cost = costOf(object.object(), std::min(kMost, unarchiver.stepsLeft));
  if (cost <= kMost && cost < unarchiver.stepsLeft) {
    unarchiver.stepsLeft -= cost;
    return true;
  }
  unarchiver.fail("A key or an element of a set is too large a collection.");
  return false;
}

/// Looks for an equal key. NO, and a failure, where that takes too long.
template <class Table>
bool find(UnarchiverBody& unarchiver, const Table& table, const Object* key, std::uint32_t hash, std::uint64_t cost,
          bool& isThere) {
  bool isTired = false;
  isThere = table.findWith(hash, [&](const Object* other) {
    isTired = isTired || cost >= unarchiver.stepsLeft;
    if (isTired) return true;
    unarchiver.stepsLeft -= cost;
    return collections::equal(key, other);
  }) != Table::kNone;
  if (isTired) unarchiver.fail("Keys or elements of sets take too long to be told apart.");
  return !isTired;
}

// ---- NSDictionary ---------------------------------------------------------------------------------------------------

void encodeDictionary(const NSDictionary& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.putObjects("NS.keys", [&self](const auto& add) {
    for (const DictionaryEntry& entry : self) add(entry.key);
  });
  archiver.putObjects("NS.objects", [&self](const auto& add) {
    for (const DictionaryEntry& entry : self) add(entry.value);
  });
}

/// The key as a dictionary keeps it; nil, and a failure, for what cannot be one.
id keyOf(UnarchiverBody& unarchiver, const Node& keys, std::size_t index, std::uint64_t& cost) {
  id key = unarchiver.elementAt(keys, index, "NS.keys");
  // Its hash is not yet what it will be.
  if (key && unarchiver.isUnfinishedCollection(unarchiver.document.child(keys, index))) {
    unarchiver.fail("A dictionary is a part of its own key.");
    return id();
  }
  if (!key || !canTellApart(unarchiver, key, cost)) return id();
  if (ObjectAccess::isImmutableValue(key.object())) return key;
  static const SEL copyWithZone = "copyWithZone:";
  if (key.respondsToSelector(copyWithZone))
    key = key.copy();
  else
    key = id();
  if (!key) unarchiver.fail("A dictionary has a key that cannot be copied.");
  return key;
}

id decodeDictionary(UnarchiverBody& unarchiver, Class cls) {
  const Node* keys = unarchiver.references("NS.keys");
  const Node* objects = unarchiver.references("NS.objects");
  if (keys == nullptr || objects == nullptr) return id();
  if (keys->size != objects->size) {
    unarchiver.fail("A dictionary has " + std::to_string(keys->size) + " keys and " + std::to_string(objects->size) +
                    " objects.");
    return id();
  }
  const bool isMutable = class_isSubclassOf(cls, classOf<NSMutableDictionary>());
  DictionaryBody* body = DictionaryBody::create(isMutable ? kMutableDictionaryKind : kDictionaryKind, keys->size);
  const id dictionary(adopt, body);
  archive::setClass(dictionary, cls);
  unarchiver.announce(dictionary);
  for (std::size_t i = 0; i < keys->size; ++i) {
    std::uint64_t cost = 0;
    id key = keyOf(unarchiver, *keys, i, cost);
    if (!key) return id();
    id object = unarchiver.elementAt(*objects, i, "NS.objects");
    if (!object) return id();
    const std::uint32_t hash = collections::tableHash(key.object());
    bool isThere = false;
    if (!find(unarchiver, body->table, key.object(), hash, cost, isThere)) return id();
    if (isThere) {
      unarchiver.fail("A dictionary has two equal keys.");
      return id();
    }
    body->addNew(std::move(key), std::move(object), hash);
  }
  return dictionary;
}

// ---- NSSet ----------------------------------------------------------------------------------------------------------

void encodeSet(const NSSet& self, const NSCoder& coder) {
  archiverOf(coder).putObjects("NS.objects", [&self](const auto& add) {
    for (const id& each : self) add(each);
  });
}

id decodeSet(UnarchiverBody& unarchiver, Class cls) {
  const Node* objects = unarchiver.references("NS.objects");
  if (objects == nullptr) return id();
  const bool isMutable = class_isSubclassOf(cls, classOf<NSMutableSet>());
  SetBody* body = SetBody::create(isMutable ? kMutableSetKind : kSetKind, objects->size);
  const id set(adopt, body);
  archive::setClass(set, cls);
  unarchiver.announce(set);
  for (std::size_t i = 0; i < objects->size; ++i) {
    id element = unarchiver.elementAt(*objects, i, "NS.objects");
    if (!element) return id();
    if (unarchiver.isUnfinishedCollection(unarchiver.document.child(*objects, i))) {
      unarchiver.fail("A set is a part of its own element.");
      return id();
    }
    std::uint64_t cost = 0;
    if (!canTellApart(unarchiver, element, cost)) return id();
    const std::uint32_t hash = collections::tableHash(element.object());
    bool isThere = false;
    if (!find(unarchiver, body->table, element.object(), hash, cost, isThere)) return id();
    if (!isThere) body->addNew(std::move(element), hash);
  }
  return set;
}

[[maybe_unused]] const bool registered[] = {
    archive::registerValue<NSArray, &encodeArray, &decodeArray>(),
    archive::registerValue<NSDictionary, &encodeDictionary, &decodeDictionary>(),
    archive::registerValue<NSSet, &encodeSet, &decodeSet>(),
};

}  // namespace
}  // namespace kvt
