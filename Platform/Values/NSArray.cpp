#include "NSArray.h"

#include <cstring>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "CollectionSupport.h"
#include "MergeSort.h"
#include "NSArrayBody.h"
#include "NSEnumerator.h"
#include "NSNull.h"
#include "NSObject.h"
#include "NSSetBody.h"
#include "NSString.h"

namespace kvt {

using collections::raiseInvalidArgument;

namespace {

const ArrayBody* bodyOf(const NSArray& array) noexcept { return static_cast<const ArrayBody*>(array.object()); }
std::size_t countOf(const NSArray& array) noexcept { return array ? bodyOf(array)->count : 0; }

[[noreturn]] void raiseNilElement(const char* method, std::size_t index) {
  raiseInvalidArgument(method, "attempt to insert nil object from objects[" + std::to_string(index) + "]");
}

/// Collects what a walk chooses.
class Builder {
 public:
  explicit Builder(std::size_t capacity) : body_(ArrayBody::create(kArrayKind, capacity)), array_(adopt, body_) {}
  void add(id object) { body_->appendUnchecked(std::move(object)); }
  NSArray array() { return std::move(array_); }

 private:
  ArrayBody* body_;
  NSArray array_;
};

NSArray arrayOf(const std::vector<id>& objects) {
  return NSArray(adopt, ArrayBody::createCopy(kArrayKind, objects.data(), objects.size()));
}

void checkRange(const NSArray& array, NSRange range, const char* method) {
  const NSUInteger count = array.count();
  if (range.location <= count && range.length <= count - range.location) return;
  objc_raise("NSRangeException", std::string("*** ") + method + ": range {" + std::to_string(range.location) + ", " +
                                     std::to_string(range.length) + "} extends beyond bounds [0 .. " +
                                     std::to_string(count) + "]");
}

NSUInteger find(const NSArray& array, const id& object, NSUInteger from, NSUInteger end) {
  if (!object) return NSNotFound;
  const ArrayBody* body = bodyOf(array);
  // A client's `isEqual:` may shorten the array.
  for (NSUInteger i = from; i < end && i < body->count; ++i) {
    if (collections::equal(object.object(), body->items[i].object())) return i;
  }
  return NSNotFound;
}

NSUInteger findIdentical(const NSArray& array, const id& object, NSUInteger from, NSUInteger end) noexcept {
  const ArrayBody* body = bodyOf(array);
  for (NSUInteger i = from; i < end; ++i) {
    if (isIdentical(object, body->items[i])) return i;
  }
  return NSNotFound;
}

/// Calls back with each element and its index until it answers false. Notices changes as a range-for loop does.
template <class Visit>
void visit(const NSArray& array, const Visit& call) {
  NSUInteger index = 0;
  for (const id& each : array) {
    if (!call(each, index++)) return;
  }
}

}  // namespace

// ---- making -------------------------------------------------------------------------------------------------------

NSArray::NSArray(std::initializer_list<Boxed> objects) {
  Builder builder(objects.size());
  std::size_t index = 0;
  for (const Boxed& each : objects) {
    if (!each.object()) raiseNilElement("-[NSArray initWithObjects:count:]", index);
    builder.add(each.object());
    ++index;
  }
  *this = builder.array();
}

NSArray NSArray::untilNil(std::initializer_list<Boxed> objects) {
  Builder builder(objects.size());
  for (const Boxed& each : objects) {
    if (!each.object()) break;
    builder.add(each.object());
  }
  return builder.array();
}

NSArray NSArray::array() {
  static Object* const empty = [] {
    Object* body = ArrayBody::create(kArrayKind, 0);
    ObjectAccess::makeImmortal(body);
    return body;
  }();
  return NSArray(borrow, empty);
}

NSArray NSArray::arrayWithObject(const Boxed& object) { return arrayWithObjects_count(&object.object(), 1); }

NSArray NSArray::arrayWithObjects_count(const id* objects, NSUInteger count) {
  for (NSUInteger i = 0; i < count; ++i) {
    if (!objects[i]) raiseNilElement("-[NSArray initWithObjects:count:]", i);
  }
  return NSArray(adopt, ArrayBody::createCopy(kArrayKind, objects, count));
}

NSArray NSArray::arrayWithArray(const NSArray& array) { return array ? array.copy() : NSArray::array(); }

// ---- reading ------------------------------------------------------------------------------------------------------

NSUInteger NSArray::count() const noexcept { return countOf(*this); }

id NSArray::objectAtIndex(NSUInteger index) const {
  const ArrayBody* body = bodyOf(*this);
  if (body == nullptr) return {};
  if (index < body->count) return body->items[index];
  objc_raise("NSRangeException",
             "*** -[NSArray objectAtIndex:]: index " + std::to_string(index) + " beyond bounds " +
                 (body->count == 0 ? "for empty array" : "[0 .. " + std::to_string(body->count - 1) + "]"));
}

id NSArray::firstObject() const { return countOf(*this) != 0 ? bodyOf(*this)->items[0] : id(); }
id NSArray::lastObject() const { return countOf(*this) != 0 ? bodyOf(*this)->items[countOf(*this) - 1] : id(); }

NSArray::Iterator NSArray::begin() const {
  const ArrayBody* body = bodyOf(*this);
  if (body == nullptr) return {};
  return body->isMutable() ? Iterator(*this) : Iterator(*this, body->items);
}

NSArray::Iterator NSArray::end() const {
  const ArrayBody* body = bodyOf(*this);
  if (body == nullptr) return {};
  return body->isMutable() ? Iterator(Iterator::kEnd) : Iterator(body->count);
}

void NSArray::enumerateObjectsUsingBlock(const Block<void(const id&, NSUInteger, bool*)>& block) const {
  if (!*this || !block) return;
  visit(*this, [&](const id& object, NSUInteger index) {
    bool stop = false;
    block(object, index, &stop);
    return !stop;
  });
}

void NSArray::makeObjectsPerformSelector(SEL sel) const {
  for (const id& each : *this) each.performSelector(sel);
}

void NSArray::makeObjectsPerformSelector_withObject(SEL sel, const id& argument) const {
  for (const id& each : *this) each.performSelector_withObject(sel, argument);
}

// ---- searching ----------------------------------------------------------------------------------------------------

bool NSArray::containsObject(const Boxed& object) const { return *this && indexOfObject(object) != NSNotFound; }

NSUInteger NSArray::indexOfObject(const Boxed& object) const {
  return *this ? find(*this, object.object(), 0, countOf(*this)) : 0;
}

NSUInteger NSArray::indexOfObject_inRange(const Boxed& object, NSRange range) const {
  if (!*this) return 0;
  checkRange(*this, range, "-[NSArray indexOfObject:inRange:]");
  return find(*this, object.object(), range.location, NSMaxRange(range));
}

NSUInteger NSArray::indexOfObjectIdenticalTo(const id& object) const {
  return *this ? findIdentical(*this, object, 0, countOf(*this)) : 0;
}

NSUInteger NSArray::indexOfObjectIdenticalTo_inRange(const id& object, NSRange range) const {
  if (!*this) return 0;
  checkRange(*this, range, "-[NSArray indexOfObjectIdenticalTo:inRange:]");
  return findIdentical(*this, object, range.location, NSMaxRange(range));
}

NSUInteger NSArray::indexOfObjectPassingTest(const Block<bool(const id&, NSUInteger, bool*)>& test) const {
  if (!*this) return 0;
  NSUInteger found = NSNotFound;
  visit(*this, [&](const id& object, NSUInteger index) {
    bool stop = false;
    if (test(object, index, &stop)) found = index;
    return found == NSNotFound && !stop;
  });
  return found;
}

std::vector<NSUInteger> NSArray::indexesOfObjectsPassingTest(
    const Block<bool(const id&, NSUInteger, bool*)>& test) const {
  std::vector<NSUInteger> found;
  if (!*this) return found;
  visit(*this, [&](const id& object, NSUInteger index) {
    bool stop = false;
    if (test(object, index, &stop)) found.push_back(index);
    return !stop;
  });
  return found;
}

id NSArray::firstObjectCommonWithArray(const NSArray& other) const {
  if (countOf(*this) == 0 || countOf(other) == 0) return {};
  const NSSet others = NSSet::setWithArray(other);
  for (const id& each : *this) {
    if (others.containsObject(each)) return each;
  }
  return {};
}

bool NSArray::isEqualToArray(const NSArray& other) const {
  return *this && other && collections::equalCollections(object(), other.object());
}

// ---- new arrays ---------------------------------------------------------------------------------------------------

NSArray NSArray::arrayByAddingObject(const Boxed& object) const {
  if (!*this) return {};
  if (!object.object()) raiseInvalidArgument("-[NSArray arrayByAddingObject:]", "object cannot be nil");
  Builder builder(count() + 1);
  for (const id& each : *this) builder.add(each);
  builder.add(object.object());
  return builder.array();
}

NSArray NSArray::arrayByAddingObjectsFromArray(const NSArray& other) const {
  if (!*this) return {};
  Builder builder(count() + other.count());
  for (const id& each : *this) builder.add(each);
  for (const id& each : other) builder.add(each);
  return builder.array();
}

NSArray NSArray::subarrayWithRange(NSRange range) const {
  if (!*this) return {};
  checkRange(*this, range, "-[NSArray subarrayWithRange:]");
  return NSArray(adopt, ArrayBody::createCopy(kArrayKind, bodyOf(*this)->items + range.location, range.length));
}

NSArray NSArray::filteredArrayUsingBlock(const Block<bool(const id&)>& test) const {
  if (!*this) return {};
  std::vector<id> kept;
  for (const id& each : *this) {
    if (test(each)) kept.push_back(each);
  }
  return arrayOf(kept);
}

NSArray NSArray::arrayByMappingUsingBlock(const Block<id(const id&)>& transform) const {
  if (!*this) return {};
  Builder builder(count());
  std::size_t index = 0;
  for (const id& each : *this) {
    id answer = transform(each);
    if (!answer) raiseNilElement("-[NSArray arrayByMappingUsingBlock:]", index);
    builder.add(std::move(answer));
    ++index;
  }
  return builder.array();
}

NSString NSArray::componentsJoinedByString(const NSString& separator) const {
  if (!*this) return {};
  // Only text with lone surrogates has no UTF-8 form.
  std::string joined;
  std::u16string joined16;
  bool wide = false;
  const auto add = [&](const NSString& text) {
    const StringBody* body = StringBody::of(text.object());
    if (body == nullptr) return;
    if (!wide) {
      const std::string_view utf8 = body->utf8();
      if (utf8.data() != nullptr) {
        joined += utf8;
        return;
      }
      joined16 = NSString(std::string_view(joined)).u16str();
      wide = true;
    }
    joined16 += UTF16Text(*body).view();
  };
  bool first = true;
  for (const id& each : *this) {
    if (!first) add(separator);
    first = false;
    add(StringBody::of(each.object()) != nullptr ? each.as<NSString>() : each.description());
  }
  return wide ? NSString(std::u16string_view(joined16)) : NSString(std::string_view(joined));
}

NSArray NSArray::sortedArrayUsingComparator(const NSComparator& comparator) const {
  if (!*this) return {};
  std::vector<id> objects = toVector();
  mergeSort(objects, [&](const id& a, const id& b) { return comparator(a, b) != NSOrderedDescending; });
  return arrayOf(objects);
}

NSArray NSArray::sortedArrayUsingSelector(SEL comparator) const {
  if (!*this) return {};
  std::vector<id> objects = toVector();
  mergeSort(objects, [&](const id& a, const id& b) { return objc_msgSend<NSInteger>(a, comparator, b) <= 0; });
  return arrayOf(objects);
}

// ---- key-value access ---------------------------------------------------------------------------------------------

id NSArray::valueForKey(const NSString& key) const {
  if (!*this) return {};
  if (key.hasPrefix("@"_ns)) return collections::valueForOperatorKey(*this, key);
  Builder builder(count());
  for (const id& each : *this) {
    id value = each.valueForKey(key);
    builder.add(value ? std::move(value) : NSNull::null());
  }
  return builder.array();
}

void NSArray::setValue_forKey(const id& value, const NSString& key) const {
  for (const id& each : *this) each.setValue_forKey(value, key);
}

// ---- copies -------------------------------------------------------------------------------------------------------

NSArray NSArray::copy() const {
  const ArrayBody* body = bodyOf(*this);
  if (body == nullptr || !body->isMutable()) return *this;
  return NSArray(adopt, ArrayBody::createCopy(kArrayKind, body->items, body->count));
}

NSMutableArray NSArray::mutableCopy() const {
  const ArrayBody* body = bodyOf(*this);
  if (body == nullptr) return {};
  return NSMutableArray(adopt, ArrayBody::createCopy(kMutableArrayKind, body->items, body->count));
}

// ---- the class ----------------------------------------------------------------------------------------------------

namespace {

std::uint64_t arrayHash(const NSArray& self) { return collections::hashCollection(self.object()); }
bool arrayIsEqual(const NSArray& self, const id& other) {
  return isIdentical(self, other) || self.isEqualToArray(other.as<NSArray>());
}
NSString arrayDescription(const NSArray& self) { return collections::describeCollection(self.object()); }
Object* arrayCopy(Object* self, SEL, void*) { return NSArray(borrow, self).copy().detach(); }
Object* arrayMutableCopy(Object* self, SEL, void*) { return NSArray(borrow, self).mutableCopy().detach(); }
NSArray arrayWithObjectMethod(const id& object) { return NSArray::arrayWithObject(object); }
bool contains(const NSArray& self, const id& object) { return self.containsObject(object); }
NSUInteger indexOf(const NSArray& self, const id& object) { return self.indexOfObject(object); }
NSUInteger indexInRange(const NSArray& self, const id& object, NSRange range) {
  return self.indexOfObject_inRange(object, range);
}
NSArray arrayByAddingObjectMethod(const NSArray& self, const id& object) { return self.arrayByAddingObject(object); }

}  // namespace

Class NSArray::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSArray> c("NSArray", classOf<NSObject>());
    c.classMethod<&NSArray::array>("array").classMethod<&arrayWithObjectMethod>("arrayWithObject:");
    c.classMethod<&NSArray::arrayWithArray>("arrayWithArray:");
    c.method<&arrayHash>("hash").method<&arrayIsEqual>("isEqual:").method<&arrayDescription>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&arrayCopy), "@24@0:8^{_NSZone=}16");
    c.rawMethod("mutableCopyWithZone:", reinterpret_cast<IMP>(&arrayMutableCopy), "@24@0:8^{_NSZone=}16");
    c.method<&NSArray::count>("count").method<&NSArray::objectAtIndex>("objectAtIndex:");
    c.method<&NSArray::objectAtIndexedSubscript>("objectAtIndexedSubscript:");
    c.method<&NSArray::firstObject>("firstObject").method<&NSArray::lastObject>("lastObject");
    c.method<&NSArray::objectEnumerator>("objectEnumerator");
    c.method<&NSArray::reverseObjectEnumerator>("reverseObjectEnumerator");
    c.method<&NSArray::enumerateObjectsUsingBlock>("enumerateObjectsUsingBlock:");
    c.method<&NSArray::makeObjectsPerformSelector>("makeObjectsPerformSelector:");
    c.method<&NSArray::makeObjectsPerformSelector_withObject>("makeObjectsPerformSelector:withObject:");
    c.method<&contains>("containsObject:").method<&indexOf>("indexOfObject:");
    c.method<&indexInRange>("indexOfObject:inRange:");
    c.method<&NSArray::indexOfObjectIdenticalTo>("indexOfObjectIdenticalTo:");
    c.method<&NSArray::indexOfObjectIdenticalTo_inRange>("indexOfObjectIdenticalTo:inRange:");
    c.method<&NSArray::indexOfObjectPassingTest>("indexOfObjectPassingTest:");
    c.method<&NSArray::firstObjectCommonWithArray>("firstObjectCommonWithArray:");
    c.method<&NSArray::isEqualToArray>("isEqualToArray:");
    c.method<&arrayByAddingObjectMethod>("arrayByAddingObject:");
    c.method<&NSArray::arrayByAddingObjectsFromArray>("arrayByAddingObjectsFromArray:");
    c.method<&NSArray::subarrayWithRange>("subarrayWithRange:");
    c.method<&NSArray::componentsJoinedByString>("componentsJoinedByString:");
    c.method<&NSArray::sortedArrayUsingComparator>("sortedArrayUsingComparator:");
    c.method<&NSArray::sortedArrayUsingSelector>("sortedArrayUsingSelector:");
    c.method<&NSArray::valueForKey>("valueForKey:").method<&NSArray::setValue_forKey>("setValue:forKey:");
    c.createWith([](Class made) -> Object* {
      Object* body = ArrayBody::create(kArrayKind, 0);
      ObjectAccess::setIsa(body, made.body());
      return body;
    });
    const ValueOperations operations{collections::hashCollection, collections::equalCollections};
    registerValueOperations(kArrayKind, operations);
    registerValueOperations(kMutableArrayKind, operations);
    return c.registerClass();
  }();
  return cls;
}

bool NSArray::kvtAccepts(const Object* object) noexcept { return collections::isArray(object); }

[[maybe_unused]] static const bool registered = (classOf<NSArray>(), true);

}  // namespace kvt
