#include <algorithm>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "CollectionSupport.h"
#include "MergeSort.h"
#include "NSArray.h"
#include "NSArrayBody.h"
#include "NSSetBody.h"
#include "NSString.h"

namespace kvt {

using collections::raiseInvalidArgument;

namespace {

ArrayBody* bodyOf(const NSMutableArray& array) noexcept { return static_cast<ArrayBody*>(array.object()); }

/// A hint beyond this is not believed.
constexpr NSUInteger kMaximumHint = 1u << 20;

void checkIndex(const ArrayBody* body, NSUInteger index, NSUInteger end, const char* method) {
  if (index < end) return;
  objc_raise("NSRangeException", std::string("*** ") + method + ": index " + std::to_string(index) + " beyond bounds " +
                                     (end == 0 ? "for empty array" : "[0 .. " + std::to_string(end - 1) + "]"));
  static_cast<void>(body);
}

void checkRange(const ArrayBody* body, NSRange range, const char* method) {
  if (range.location <= body->count && range.length <= body->count - range.location) return;
  objc_raise("NSRangeException", std::string("*** ") + method + ": range {" + std::to_string(range.location) + ", " +
                                     std::to_string(range.length) + "} extends beyond bounds [0 .. " +
                                     std::to_string(body->count) + "]");
}

void checkObject(const id& object, const char* method) {
  if (!object) raiseInvalidArgument(method, "object cannot be nil");
}

/// Removes the elements of a range that `unwanted` answers true for, in one pass. Every question is asked before
/// anything is removed; what a client's code removes meanwhile raises.
template <class Unwanted>
void removeWhere(const NSMutableArray& array, NSRange range, const Unwanted& unwanted) {
  ArrayBody* body = bodyOf(array);
  const std::uint32_t seen = body->mutations;
  std::vector<bool> marks(range.length);
  std::size_t marked = 0;
  for (std::size_t i = 0; i < range.length; ++i) {
    const id object = body->items[range.location + i];
    if (unwanted(object)) {
      marks[i] = true;
      ++marked;
    }
    if (body->mutations != seen) collections::raiseMutated(array);
  }
  if (marked == 0) return;
  std::vector<id> removed;
  removed.reserve(marked);
  id* kept = body->items + range.location;
  for (std::size_t i = 0; i < range.length; ++i) {
    id& item = body->items[range.location + i];
    if (marks[i]) {
      removed.emplace_back(adopt, item.detach());
    } else {
      if (kept != &item) *kept = std::move(item);
      ++kept;
    }
  }
  // The gap that is left holds nothing.
  body->remove(static_cast<std::size_t>(kept - body->items), marked);
}

void insertAll(ArrayBody* body, std::size_t index, const NSArray& other) {
  // The other may be the array itself, or change when room is made.
  const std::vector<id> objects = other.toVector();
  body->openGap(index, objects.size());
  for (std::size_t i = 0; i < objects.size(); ++i) ::new (static_cast<void*>(body->items + index + i)) id(objects[i]);
}

template <class Ascending>
void sort(const NSMutableArray& array, const Ascending& ascending) {
  ArrayBody* body = bodyOf(array);
  const std::uint32_t seen = body->mutations;
  std::vector<id> objects = array.toVector();
  mergeSort(objects, ascending);
  if (body->mutations != seen) collections::raiseMutated(array);
  for (std::size_t i = 0; i < objects.size(); ++i) body->items[i].swap(objects[i]);
  ++body->mutations;
}

}  // namespace

// ---- making -------------------------------------------------------------------------------------------------------

NSMutableArray::NSMutableArray(std::initializer_list<Boxed> objects) {
  static_cast<id&>(*this) = NSArray(objects).mutableCopy();
}

NSMutableArray NSMutableArray::array() { return NSMutableArray(adopt, ArrayBody::create(kMutableArrayKind, 4)); }

NSMutableArray NSMutableArray::arrayWithCapacity(NSUInteger capacity) {
  return NSMutableArray(adopt, ArrayBody::create(kMutableArrayKind, std::min(capacity, kMaximumHint)));
}

NSMutableArray NSMutableArray::arrayWithObject(const Boxed& object) {
  return NSArray::arrayWithObject(object).mutableCopy();
}

NSMutableArray NSMutableArray::arrayWithObjects_count(const id* objects, NSUInteger count) {
  return NSArray::arrayWithObjects_count(objects, count).mutableCopy();
}

NSMutableArray NSMutableArray::arrayWithArray(const NSArray& array) {
  return array ? array.mutableCopy() : NSMutableArray::array();
}

// ---- putting in ---------------------------------------------------------------------------------------------------

void NSMutableArray::addObject(const Boxed& object) const {
  if (!*this) return;
  if (!object.object()) checkObject(object.object(), "-[NSMutableArray addObject:]");
  bodyOf(*this)->append(object.object());
}

void NSMutableArray::addObjectsFromArray(const NSArray& other) const {
  if (*this && other.count() != 0) insertAll(bodyOf(*this), count(), other);
}

void NSMutableArray::insertObject_atIndex(const Boxed& object, NSUInteger index) const {
  if (!*this) return;
  checkObject(object.object(), "-[NSMutableArray insertObject:atIndex:]");
  checkIndex(bodyOf(*this), index, count() + 1, "-[NSMutableArray insertObject:atIndex:]");
  bodyOf(*this)->insert(index, object.object());
}

void NSMutableArray::insertObjectsFromArray_atIndex(const NSArray& other, NSUInteger index) const {
  if (!*this) return;
  checkIndex(bodyOf(*this), index, count() + 1, "-[NSMutableArray insertObjectsFromArray:atIndex:]");
  if (other.count() != 0) insertAll(bodyOf(*this), index, other);
}

void NSMutableArray::replaceObjectAtIndex_withObject(NSUInteger index, const Boxed& object) const {
  if (!*this) return;
  checkObject(object.object(), "-[NSMutableArray replaceObjectAtIndex:withObject:]");
  checkIndex(bodyOf(*this), index, count(), "-[NSMutableArray replaceObjectAtIndex:withObject:]");
  ++bodyOf(*this)->mutations;
  // The old one goes last: its destructor may come back here.
  id replacement = object.object();
  bodyOf(*this)->items[index].swap(replacement);
}

void NSMutableArray::setObject_atIndexedSubscript(const Boxed& object, NSUInteger index) const {
  if (*this && index == count())
    addObject(object);
  else
    replaceObjectAtIndex_withObject(index, object);
}

void NSMutableArray::exchangeObjectAtIndex_withObjectAtIndex(NSUInteger first, NSUInteger second) const {
  if (!*this) return;
  checkIndex(bodyOf(*this), first, count(), "-[NSMutableArray exchangeObjectAtIndex:withObjectAtIndex:]");
  checkIndex(bodyOf(*this), second, count(), "-[NSMutableArray exchangeObjectAtIndex:withObjectAtIndex:]");
  bodyOf(*this)->items[first].swap(bodyOf(*this)->items[second]);
  ++bodyOf(*this)->mutations;
}

void NSMutableArray::replaceObjectsInRange_withObjectsFromArray(NSRange range, const NSArray& other) const {
  if (!*this) return;
  checkRange(bodyOf(*this), range, "-[NSMutableArray replaceObjectsInRange:withObjectsFromArray:]");
  const NSArray replacement = other.copy();
  // What goes is released at the end, when the array is in order.
  const NSArray removed = subarrayWithRange(range);
  insertAll(bodyOf(*this), NSMaxRange(range), replacement);
  bodyOf(*this)->remove(range.location, range.length);
}

void NSMutableArray::setArray(const NSArray& other) const {
  if (*this) replaceObjectsInRange_withObjectsFromArray({0, count()}, other);
}

// ---- removing -----------------------------------------------------------------------------------------------------

void NSMutableArray::removeObjectAtIndex(NSUInteger index) const {
  if (!*this) return;
  checkIndex(bodyOf(*this), index, count(), "-[NSMutableArray removeObjectAtIndex:]");
  bodyOf(*this)->take(index);
}

void NSMutableArray::removeLastObject() const {
  if (count() != 0) bodyOf(*this)->take(count() - 1);
}

void NSMutableArray::removeObject(const Boxed& object) const {
  if (*this) removeObject_inRange(object, {0, count()});
}

void NSMutableArray::removeObject_inRange(const Boxed& object, NSRange range) const {
  if (!*this) return;
  checkRange(bodyOf(*this), range, "-[NSMutableArray removeObject:inRange:]");
  if (!object.object()) return;
  const id wanted = object.object();
  removeWhere(*this, range, [&](const id& each) { return collections::equal(wanted.object(), each.object()); });
}

void NSMutableArray::removeObjectIdenticalTo(const id& object) const {
  if (!*this || !object) return;
  const id wanted = object;
  removeWhere(*this, {0, count()}, [&](const id& each) { return isIdentical(wanted, each); });
}

void NSMutableArray::removeObjectsInRange(NSRange range) const {
  if (!*this) return;
  checkRange(bodyOf(*this), range, "-[NSMutableArray removeObjectsInRange:]");
  bodyOf(*this)->remove(range.location, range.length);
}

void NSMutableArray::removeObjectsInArray(const NSArray& other) const {
  if (!*this || other.count() == 0) return;
  const NSSet unwanted = NSSet::setWithArray(other);
  removeWhere(*this, {0, count()}, [&](const id& each) { return unwanted.containsObject(each); });
}

void NSMutableArray::removeAllObjects() const {
  if (!*this) return;
  const id self = *this;
  bodyOf(*this)->removeAll();
}

void NSMutableArray::filterUsingBlock(const Block<bool(const id&)>& test) const {
  if (*this) removeWhere(*this, {0, count()}, [&](const id& each) { return !test(each); });
}

// ---- sorting ------------------------------------------------------------------------------------------------------

void NSMutableArray::sortUsingComparator(const NSComparator& comparator) const {
  if (*this) sort(*this, [&](const id& a, const id& b) { return comparator(a, b) != NSOrderedDescending; });
}

void NSMutableArray::sortUsingSelector(SEL comparator) const {
  if (*this) sort(*this, [&](const id& a, const id& b) { return objc_msgSend<NSInteger>(a, comparator, b) <= 0; });
}

// ---- the class ----------------------------------------------------------------------------------------------------

namespace {

using Self = NSMutableArray;

Self withObject(const id& object) { return Self::arrayWithObject(object); }
void add(const Self& self, const id& object) { self.addObject(object); }
void insert(const Self& self, const id& object, NSUInteger index) { self.insertObject_atIndex(object, index); }
void replace(const Self& self, NSUInteger index, const id& object) {
  self.replaceObjectAtIndex_withObject(index, object);
}
void remove(const Self& self, const id& object) { self.removeObject(object); }
void removeInRange(const Self& self, const id& object, NSRange range) { self.removeObject_inRange(object, range); }
void setSubscript(const Self& self, const id& object, NSUInteger index) {
  self.setObject_atIndexedSubscript(object, index);
}

}  // namespace

Class NSMutableArray::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSMutableArray> c("NSMutableArray", classOf<NSArray>());
    c.classMethod<&Self::array>("array").classMethod<&Self::arrayWithCapacity>("arrayWithCapacity:");
    c.classMethod<&withObject>("arrayWithObject:").classMethod<&Self::arrayWithArray>("arrayWithArray:");
    c.method<&add>("addObject:").method<&Self::addObjectsFromArray>("addObjectsFromArray:");
    c.method<&insert>("insertObject:atIndex:").method<&replace>("replaceObjectAtIndex:withObject:");
    c.method<&setSubscript>("setObject:atIndexedSubscript:");
    c.method<&Self::exchangeObjectAtIndex_withObjectAtIndex>("exchangeObjectAtIndex:withObjectAtIndex:");
    c.method<&Self::replaceObjectsInRange_withObjectsFromArray>("replaceObjectsInRange:withObjectsFromArray:");
    c.method<&Self::setArray>("setArray:").method<&Self::removeObjectAtIndex>("removeObjectAtIndex:");
    c.method<&Self::removeLastObject>("removeLastObject").method<&remove>("removeObject:");
    c.method<&removeInRange>("removeObject:inRange:");
    c.method<&Self::removeObjectIdenticalTo>("removeObjectIdenticalTo:");
    c.method<&Self::removeObjectsInRange>("removeObjectsInRange:");
    c.method<&Self::removeObjectsInArray>("removeObjectsInArray:");
    c.method<&Self::removeAllObjects>("removeAllObjects");
    c.method<&Self::sortUsingComparator>("sortUsingComparator:").method<&Self::sortUsingSelector>("sortUsingSelector:");
    c.createWith([](Class made) -> Object* {
      Object* body = ArrayBody::create(kMutableArrayKind, 0);
      ObjectAccess::setIsa(body, made.body());
      return body;
    });
    return c.registerClass();
  }();
  return cls;
}

bool NSMutableArray::kvtAccepts(const Object* object) noexcept { return ArrayBody::ofMutable(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSMutableArray>(), true);

}  // namespace kvt
