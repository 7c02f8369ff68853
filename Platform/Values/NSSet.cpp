#include "NSSet.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "CollectionSupport.h"
#include "NSArrayBody.h"
#include "NSEnumerator.h"
#include "NSObject.h"
#include "NSSetBody.h"
#include "NSString.h"

namespace kvt {

using collections::raiseInvalidArgument;

// ---- the body -----------------------------------------------------------------------------------------------------

SetBody::SetBody(ValueKind kind, std::uint32_t room)
    : Object(kind == kSetKind ? classOf<NSSet>() : classOf<NSMutableSet>(), objectKind(kind)),
      table(inlineStorage(), room) {
  if (kind == kSetKind) ObjectAccess::markImmutableValue(this);
}

SetBody::~SetBody() { table.destroy(inlineStorage()); }

SetBody* SetBody::create(ValueKind kind, std::size_t capacity) {
  void* memory = Object::operator new(sizeof(SetBody) + Table::storageSize(capacity));
  return ::new (memory) SetBody(kind, static_cast<std::uint32_t>(capacity));
}

SetBody* SetBody::createCopy(ValueKind kind, const SetBody& other, std::size_t extraCapacity) {
  SetBody* body = create(kind, other.table.count + extraCapacity);
  const Table& from = other.table;
  for (std::uint32_t i = from.next(0); i < from.used; i = from.next(i + 1)) {
    body->table.appendUnchecked(Slot(from.slots[i]));
  }
  return body;
}

void SetBody::add(id&& object) {
  const std::uint32_t hash = collections::tableHash(object.object());
  if (table.find(object.object(), hash) != Table::kNone) return;
  table.append(inlineStorage(), Slot(std::move(object), hash));
}

void SetBody::remove(const Object* object) {
  const std::uint32_t number = table.find(object);
  if (number != Table::kNone) table.take(inlineStorage(), number);
}

// ---- making -------------------------------------------------------------------------------------------------------

namespace {

const SetBody* bodyOf(const NSSet& set) noexcept { return static_cast<const SetBody*>(set.object()); }

class Builder {
 public:
  explicit Builder(std::size_t capacity) : body_(SetBody::create(kSetKind, capacity)), set_(adopt, body_) {}
  void add(const id& object) {
    if (!object) {
      raiseInvalidArgument("-[NSSet initWithObjects:count:]",
                           "attempt to insert nil object from objects[" + std::to_string(index_) + "]");
    }
    ++index_;
    body_->add(id(object));
  }
  NSSet set() { return std::move(set_); }

 private:
  SetBody* body_;
  NSSet set_;
  std::size_t index_ = 0;
};

}  // namespace

NSSet::NSSet(std::initializer_list<Boxed> objects) {
  Builder builder(objects.size());
  for (const Boxed& each : objects) builder.add(each.object());
  *this = builder.set();
}

NSSet NSSet::set() {
  static Object* const empty = [] {
    Object* body = SetBody::create(kSetKind, 0);
    ObjectAccess::makeImmortal(body);
    return body;
  }();
  return NSSet(borrow, empty);
}

NSSet NSSet::setWithObject(const Boxed& object) { return setWithObjects_count(&object.object(), 1); }

NSSet NSSet::setWithObjects_count(const id* objects, NSUInteger count) {
  Builder builder(count);
  for (NSUInteger i = 0; i < count; ++i) builder.add(objects[i]);
  return builder.set();
}

NSSet NSSet::setWithArray(const NSArray& array) {
  Builder builder(array.count());
  for (const id& each : array) builder.add(each);
  return builder.set();
}

NSSet NSSet::setWithSet(const NSSet& other) { return other ? other.copy() : set(); }

// ---- reading ------------------------------------------------------------------------------------------------------

NSUInteger NSSet::count() const noexcept { return *this ? bodyOf(*this)->table.count : 0; }

id NSSet::member(const Boxed& boxed) const {
  const id& object = boxed.object();
  if (!*this || !object) return {};
  const auto& table = bodyOf(*this)->table;
  const std::uint32_t number = table.find(object.object());
  return number == SetBody::Table::kNone ? id() : table.slots[number];
}

bool NSSet::containsObject(const Boxed& object) const {
  return *this && object.object() && bodyOf(*this)->contains(object.object().object());
}

id NSSet::anyObject() const {
  if (count() == 0) return {};
  const auto& table = bodyOf(*this)->table;
  return table.slots[table.next(0)];
}

NSArray NSSet::allObjects() const {
  if (!*this) return {};
  ArrayBody* body = ArrayBody::create(kArrayKind, count());
  for (const id& each : *this) body->appendUnchecked(id(each));
  return NSArray(adopt, body);
}

NSSet::Iterator NSSet::begin() const {
  if (!*this) return {};
  const SetBody* body = bodyOf(*this);
  return body->isMutable() ? Iterator(*this) : Iterator(*this, body->table.slots);
}

NSSet::Iterator NSSet::end() const {
  if (!*this) return {};
  const SetBody* body = bodyOf(*this);
  return body->isMutable() ? Iterator(Iterator::kEnd) : Iterator(body->table.count);
}

void NSSet::enumerateObjectsUsingBlock(const Block<void(const id&, bool*)>& block) const {
  bool stop = false;
  for (const id& each : *this) {
    block(each, &stop);
    if (stop) return;
  }
}

NSSet NSSet::objectsPassingTest(const Block<bool(const id&, bool*)>& test) const {
  if (!*this) return {};
  std::vector<id> kept;
  bool stop = false;
  for (const id& each : *this) {
    if (test(each, &stop)) kept.push_back(each);
    if (stop) break;
  }
  return setWithObjects_count(kept.data(), kept.size());
}

NSSet NSSet::filteredSetUsingBlock(const Block<bool(const id&)>& test) const {
  return objectsPassingTest([&test](const id& object, bool*) { return test(object); });
}

void NSSet::makeObjectsPerformSelector(SEL sel) const {
  for (const id& each : *this) each.performSelector(sel);
}

void NSSet::makeObjectsPerformSelector_withObject(SEL sel, const id& argument) const {
  for (const id& each : *this) each.performSelector_withObject(sel, argument);
}

bool NSSet::isSubsetOfSet(const NSSet& other) const {
  if (!*this || count() > other.count()) return false;
  for (const id& each : *this) {
    if (!other.containsObject(each)) return false;
  }
  return true;
}

bool NSSet::intersectsSet(const NSSet& other) const {
  if (count() == 0 || other.count() == 0) return false;
  const bool thisIsSmaller = count() <= other.count();
  const NSSet& larger = thisIsSmaller ? other : *this;
  for (const id& each : thisIsSmaller ? *this : other) {
    if (larger.containsObject(each)) return true;
  }
  return false;
}

bool NSSet::isEqualToSet(const NSSet& other) const {
  return *this && other && collections::equalCollections(object(), other.object());
}

// ---- new sets -----------------------------------------------------------------------------------------------------

NSSet NSSet::setByAddingObject(const Boxed& object) const {
  if (!*this) return {};
  if (!object.object()) raiseInvalidArgument("-[NSSet setByAddingObject:]", "object cannot be nil");
  SetBody* body = SetBody::createCopy(kSetKind, *bodyOf(*this), 1);
  NSSet result(adopt, body);
  body->add(id(object.object()));
  return result;
}

NSSet NSSet::setByAddingObjectsFromSet(const NSSet& other) const {
  if (!*this) return {};
  SetBody* body = SetBody::createCopy(kSetKind, *bodyOf(*this), other.count());
  NSSet result(adopt, body);
  for (const id& each : other) body->add(id(each));
  return result;
}

NSSet NSSet::setByAddingObjectsFromArray(const NSArray& other) const {
  return *this ? setByAddingObjectsFromSet(NSSet::setWithArray(other)) : NSSet();
}

id NSSet::valueForKey(const NSString& key) const {
  if (!*this) return {};
  if (key.hasPrefix("@"_ns)) return collections::valueForOperatorKey(*this, key);
  std::vector<id> values;
  for (const id& each : *this) {
    if (id value = each.valueForKey(key)) values.push_back(std::move(value));
  }
  return setWithObjects_count(values.data(), values.size());
}

// ---- copies -------------------------------------------------------------------------------------------------------

NSSet NSSet::copy() const {
  if (!*this || !bodyOf(*this)->isMutable()) return *this;
  return NSSet(adopt, SetBody::createCopy(kSetKind, *bodyOf(*this)));
}

NSMutableSet NSSet::mutableCopy() const {
  if (!*this) return {};
  return NSMutableSet(adopt, SetBody::createCopy(kMutableSetKind, *bodyOf(*this), 4));
}

// ---- the class ----------------------------------------------------------------------------------------------------

namespace {

std::uint64_t setHash(const NSSet& self) { return collections::hashCollection(self.object()); }
bool setIsEqual(const NSSet& self, const id& other) {
  return isIdentical(self, other) || self.isEqualToSet(other.as<NSSet>());
}
NSString setDescription(const NSSet& self) { return collections::describeCollection(self.object()); }
Object* setCopy(Object* self, SEL, void*) { return NSSet(borrow, self).copy().detach(); }
Object* setMutableCopy(Object* self, SEL, void*) { return NSSet(borrow, self).mutableCopy().detach(); }
NSSet setWithObjectMethod(const id& object) { return NSSet::setWithObject(object); }
id memberMethod(const NSSet& self, const id& object) { return self.member(object); }
bool containsMethod(const NSSet& self, const id& object) { return self.containsObject(object); }
NSSet setByAddingObjectMethod(const NSSet& self, const id& object) { return self.setByAddingObject(object); }

}  // namespace

Class NSSet::kvtClass() {
  static const Class cls = [] {
    using Self = NSSet;
    ClassBuilder<NSSet> c("NSSet", classOf<NSObject>());
    c.classMethod<&Self::set>("set").classMethod<&setWithObjectMethod>("setWithObject:");
    c.classMethod<&Self::setWithArray>("setWithArray:").classMethod<&Self::setWithSet>("setWithSet:");
    c.method<&setHash>("hash").method<&setIsEqual>("isEqual:").method<&setDescription>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&setCopy), "@24@0:8^{_NSZone=}16");
    c.rawMethod("mutableCopyWithZone:", reinterpret_cast<IMP>(&setMutableCopy), "@24@0:8^{_NSZone=}16");
    c.method<&Self::count>("count").method<&memberMethod>("member:");
    c.method<&containsMethod>("containsObject:").method<&Self::anyObject>("anyObject");
    c.method<&Self::allObjects>("allObjects").method<&Self::objectEnumerator>("objectEnumerator");
    c.method<&Self::enumerateObjectsUsingBlock>("enumerateObjectsUsingBlock:");
    c.method<&Self::objectsPassingTest>("objectsPassingTest:");
    c.method<&Self::makeObjectsPerformSelector>("makeObjectsPerformSelector:");
    c.method<&Self::makeObjectsPerformSelector_withObject>("makeObjectsPerformSelector:withObject:");
    c.method<&Self::isSubsetOfSet>("isSubsetOfSet:").method<&Self::intersectsSet>("intersectsSet:");
    c.method<&Self::isEqualToSet>("isEqualToSet:").method<&setByAddingObjectMethod>("setByAddingObject:");
    c.method<&Self::setByAddingObjectsFromSet>("setByAddingObjectsFromSet:");
    c.method<&Self::setByAddingObjectsFromArray>("setByAddingObjectsFromArray:");
    c.method<&Self::valueForKey>("valueForKey:");
    c.createWith([](Class made) -> Object* {
      Object* body = SetBody::create(kSetKind, 0);
      ObjectAccess::setIsa(body, made.body());
      return body;
    });
    const ValueOperations operations{collections::hashCollection, collections::equalCollections};
    registerValueOperations(kSetKind, operations);
    registerValueOperations(kMutableSetKind, operations);
    return c.registerClass();
  }();
  return cls;
}

bool NSSet::kvtAccepts(const Object* object) noexcept { return collections::isSet(object); }

[[maybe_unused]] static const bool registered = (classOf<NSSet>(), true);

}  // namespace kvt
