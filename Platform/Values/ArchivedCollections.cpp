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
id keyOf(UnarchiverBody& unarchiver, const Node& keys, std::size_t index) {
  id key = unarchiver.elementAt(keys, index, "NS.keys");
  if (!key || ObjectAccess::isImmutableValue(key.object())) return key;
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
    id key = keyOf(unarchiver, *keys, i);
    if (!key) return id();
    // Its hash is not yet what it will be.
    if (unarchiver.isUnfinishedCollection(unarchiver.document.child(*keys, i))) {
      unarchiver.fail("A dictionary is a part of its own key.");
      return id();
    }
    id object = unarchiver.elementAt(*objects, i, "NS.objects");
    if (!object) return id();
    if (!body->add(std::move(key), std::move(object))) {
      unarchiver.fail("A dictionary has two equal keys.");
      return id();
    }
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
    body->add(std::move(element));
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
