#include <algorithm>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "CollectionSupport.h"
#include "NSDictionary.h"
#include "NSDictionaryBody.h"
#include "NSString.h"

namespace kvt {

using collections::raiseInvalidArgument;

namespace {

DictionaryBody* bodyOf(const NSMutableDictionary& dictionary) noexcept {
  return static_cast<DictionaryBody*>(dictionary.object());
}

/// A hint beyond this is not believed.
constexpr NSUInteger kMaximumHint = 1u << 16;

void checkKey(const id& key, const char* method) {
  if (!key) raiseInvalidArgument(method, "key cannot be nil");
}

}  // namespace

NSMutableDictionary::NSMutableDictionary(std::initializer_list<DictionaryPair> pairs) {
  static_cast<id&>(*this) = NSDictionary(pairs).mutableCopy();
}

NSMutableDictionary NSMutableDictionary::dictionary() {
  return NSMutableDictionary(adopt, DictionaryBody::create(kMutableDictionaryKind, 8));
}

NSMutableDictionary NSMutableDictionary::dictionaryWithCapacity(NSUInteger capacity) {
  return NSMutableDictionary(adopt, DictionaryBody::create(kMutableDictionaryKind, std::min(capacity, kMaximumHint)));
}

NSMutableDictionary NSMutableDictionary::dictionaryWithObject_forKey(const Boxed& object, const Boxed& key) {
  return NSDictionary::dictionaryWithObject_forKey(object, key).mutableCopy();
}

NSMutableDictionary NSMutableDictionary::dictionaryWithObjects_forKeys(const NSArray& objects, const NSArray& keys) {
  return NSDictionary::dictionaryWithObjects_forKeys(objects, keys).mutableCopy();
}

NSMutableDictionary NSMutableDictionary::dictionaryWithObjects_forKeys_count(const id* objects, const id* keys,
                                                                             NSUInteger count) {
  return NSDictionary::dictionaryWithObjects_forKeys_count(objects, keys, count).mutableCopy();
}

NSMutableDictionary NSMutableDictionary::dictionaryWithDictionary(const NSDictionary& other) {
  return other ? other.mutableCopy() : dictionary();
}

void NSMutableDictionary::setObject_forKey(const Boxed& object, const Boxed& key) const {
  if (!*this) return;
  checkKey(key.object(), "-[NSMutableDictionary setObject:forKey:]");
  if (!object.object()) {
    raiseInvalidArgument("-[NSMutableDictionary setObject:forKey:]",
                         "object cannot be nil (key: " + std::string(key.object().description()) + ")");
  }
  bodyOf(*this)->setCopyingKey(key.object(), object.object());
}

void NSMutableDictionary::setObject_forKeyedSubscript(const Boxed& object, const Boxed& key) const {
  if (object.object())
    setObject_forKey(object, key);
  else
    removeObjectForKey(key);
}

void NSMutableDictionary::setValue_forKey(const Boxed& value, const NSString& key) const {
  if (value.object())
    setObject_forKey(value, key);
  else
    removeObjectForKey(key);
}

void NSMutableDictionary::addEntriesFromDictionary(const NSDictionary& other) const {
  if (!*this || other.count() == 0 || isIdentical(*this, other)) return;
  DictionaryBody* body = bodyOf(*this);
  // Keys that are in a dictionary are immutable already.
  for (const auto& [key, value] : other) body->set(id(key), id(value));
}

void NSMutableDictionary::setDictionary(const NSDictionary& other) const {
  if (!*this || isIdentical(*this, other)) return;
  // The old entries may be all that keeps the other one alive.
  const NSDictionary entries = other.copy();
  removeAllObjects();
  addEntriesFromDictionary(entries);
}

void NSMutableDictionary::removeObjectForKey(const Boxed& key) const {
  if (!*this) return;
  checkKey(key.object(), "-[NSMutableDictionary removeObjectForKey:]");
  bodyOf(*this)->remove(key.object().object());
}

void NSMutableDictionary::removeObjectsForKeys(const NSArray& keys) const {
  if (!*this) return;
  for (const id& key : keys) bodyOf(*this)->remove(key.object());
}

void NSMutableDictionary::removeAllObjects() const {
  if (!*this) return;
  const id self = *this;
  bodyOf(*this)->removeAll();
}

namespace {

using Self = NSMutableDictionary;

Self withObjectForKey(const id& object, const id& key) { return Self::dictionaryWithObject_forKey(object, key); }
void setObject(const Self& self, const id& object, const id& key) { self.setObject_forKey(object, key); }
void setSubscript(const Self& self, const id& object, const id& key) { self.setObject_forKeyedSubscript(object, key); }
void setValue(const Self& self, const id& value, const NSString& key) { self.setValue_forKey(value, key); }
void removeObject(const Self& self, const id& key) { self.removeObjectForKey(key); }

}  // namespace

Class NSMutableDictionary::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSMutableDictionary> c("NSMutableDictionary", classOf<NSDictionary>());
    c.classMethod<&Self::dictionary>("dictionary")
        .classMethod<&Self::dictionaryWithCapacity>("dictionaryWithCapacity:");
    c.classMethod<&withObjectForKey>("dictionaryWithObject:forKey:");
    c.classMethod<&Self::dictionaryWithObjects_forKeys>("dictionaryWithObjects:forKeys:");
    c.classMethod<&Self::dictionaryWithDictionary>("dictionaryWithDictionary:");
    c.method<&setObject>("setObject:forKey:").method<&setSubscript>("setObject:forKeyedSubscript:");
    c.method<&setValue>("setValue:forKey:").method<&Self::addEntriesFromDictionary>("addEntriesFromDictionary:");
    c.method<&Self::setDictionary>("setDictionary:").method<&removeObject>("removeObjectForKey:");
    c.method<&Self::removeObjectsForKeys>("removeObjectsForKeys:").method<&Self::removeAllObjects>("removeAllObjects");
    c.createWith([](Class made) -> Object* {
      Object* body = DictionaryBody::create(kMutableDictionaryKind, 0);
      ObjectAccess::setIsa(body, made.body());
      return body;
    });
    return c.registerClass();
  }();
  return cls;
}

bool NSMutableDictionary::kvtAccepts(const Object* object) noexcept {
  return DictionaryBody::ofMutable(object) != nullptr;
}

[[maybe_unused]] static const bool registered = (classOf<NSMutableDictionary>(), true);

}  // namespace kvt
