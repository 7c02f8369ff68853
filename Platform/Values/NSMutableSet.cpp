#include <algorithm>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "CollectionSupport.h"
#include "NSSet.h"
#include "NSSetBody.h"

namespace kvt {

using collections::raiseInvalidArgument;

namespace {

SetBody* bodyOf(const NSMutableSet& set) noexcept { return static_cast<SetBody*>(set.object()); }

/// A hint beyond this is not believed.
constexpr NSUInteger kMaximumHint = 1u << 16;

/// Every question is asked before anything is removed.
template <class Unwanted>
void removeWhere(const NSMutableSet& set, const Unwanted& unwanted) {
  std::vector<id> removed;
  for (const id& each : set) {
    if (unwanted(each)) removed.push_back(each);
  }
  for (const id& each : removed) bodyOf(set)->remove(each.object());
}

}  // namespace

NSMutableSet::NSMutableSet(std::initializer_list<Boxed> objects) {
  static_cast<id&>(*this) = NSSet(objects).mutableCopy();
}

NSMutableSet NSMutableSet::set() { return NSMutableSet(adopt, SetBody::create(kMutableSetKind, 8)); }

NSMutableSet NSMutableSet::setWithCapacity(NSUInteger capacity) {
  return NSMutableSet(adopt, SetBody::create(kMutableSetKind, std::min(capacity, kMaximumHint)));
}

NSMutableSet NSMutableSet::setWithObject(const Boxed& object) { return NSSet::setWithObject(object).mutableCopy(); }

NSMutableSet NSMutableSet::setWithObjects_count(const id* objects, NSUInteger count) {
  return NSSet::setWithObjects_count(objects, count).mutableCopy();
}

NSMutableSet NSMutableSet::setWithArray(const NSArray& array) { return NSSet::setWithArray(array).mutableCopy(); }

NSMutableSet NSMutableSet::setWithSet(const NSSet& other) { return other ? other.mutableCopy() : set(); }

void NSMutableSet::addObject(const Boxed& object) const {
  if (!*this) return;
  if (!object.object()) raiseInvalidArgument("-[NSMutableSet addObject:]", "object cannot be nil");
  bodyOf(*this)->add(id(object.object()));
}

void NSMutableSet::addObjectsFromArray(const NSArray& array) const {
  if (!*this) return;
  for (const id& each : array) bodyOf(*this)->add(id(each));
}

void NSMutableSet::removeObject(const Boxed& object) const {
  if (*this && object.object()) bodyOf(*this)->remove(object.object().object());
}

void NSMutableSet::removeAllObjects() const {
  if (!*this) return;
  const id self = *this;
  bodyOf(*this)->removeAll();
}

void NSMutableSet::unionSet(const NSSet& other) const {
  if (!*this || isIdentical(*this, other)) return;
  for (const id& each : other) bodyOf(*this)->add(id(each));
}

void NSMutableSet::minusSet(const NSSet& other) const {
  if (!*this) return;
  if (isIdentical(*this, other)) return removeAllObjects();
  for (const id& each : other) bodyOf(*this)->remove(each.object());
}

void NSMutableSet::intersectSet(const NSSet& other) const {
  if (*this) removeWhere(*this, [&other](const id& object) { return !other.containsObject(object); });
}

void NSMutableSet::setSet(const NSSet& other) const {
  if (!*this || isIdentical(*this, other)) return;
  // The old elements may be all that keeps the other one alive.
  const NSSet elements = other.copy();
  removeAllObjects();
  unionSet(elements);
}

void NSMutableSet::filterUsingBlock(const Block<bool(const id&)>& test) const {
  if (*this) removeWhere(*this, [&test](const id& object) { return !test(object); });
}

namespace {

using Self = NSMutableSet;

Self withObject(const id& object) { return Self::setWithObject(object); }
void add(const Self& self, const id& object) { self.addObject(object); }
void remove(const Self& self, const id& object) { self.removeObject(object); }

}  // namespace

Class NSMutableSet::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSMutableSet> c("NSMutableSet", classOf<NSSet>());
    c.classMethod<&Self::set>("set").classMethod<&Self::setWithCapacity>("setWithCapacity:");
    c.classMethod<&withObject>("setWithObject:").classMethod<&Self::setWithArray>("setWithArray:");
    c.classMethod<&Self::setWithSet>("setWithSet:");
    c.method<&add>("addObject:").method<&Self::addObjectsFromArray>("addObjectsFromArray:");
    c.method<&remove>("removeObject:").method<&Self::removeAllObjects>("removeAllObjects");
    c.method<&Self::unionSet>("unionSet:").method<&Self::minusSet>("minusSet:");
    c.method<&Self::intersectSet>("intersectSet:").method<&Self::setSet>("setSet:");
    c.createWith([](Class made) -> Object* {
      Object* body = SetBody::create(kMutableSetKind, 0);
      ObjectAccess::setIsa(body, made.body());
      return body;
    });
    return c.registerClass();
  }();
  return cls;
}

bool NSMutableSet::kvtAccepts(const Object* object) noexcept { return SetBody::ofMutable(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSMutableSet>(), true);

}  // namespace kvt
