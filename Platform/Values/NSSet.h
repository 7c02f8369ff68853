// Collections of distinct objects: NSSet, which never changes, and NSMutableSet.
//
//     NSSet tags = {"a", "b", "a"};                 // text and numbers are boxed; two elements
//     tags.containsObject("b");                     // YES
//     for (const id& each : tags) …                 // in the order in which the elements were put in
//     NSMutableSet more = tags.mutableCopy();
//     more.addObject("c");
//
// Elements are told apart by isEqual:; the first of equal ones stays. A set holds no nil: putting one in raises
// NSInvalidArgumentException. An element that changes its hash while it is in a set is not found any more. Looking up
// costs O(1). Every operation on a nil set answers nil, 0 or NO and does nothing.
//
// Braces always make a set of what stands in them (see NSArray).
//
// Thread rule: immutable sets may be used from any thread; a mutable one by one thread at a time while it is changed.
#pragma once

#include <initializer_list>
#include <type_traits>
#include <vector>

#include <KVTPlatform/Runtime/Block.h>

#include "Boxed.h"
#include "CollectionIterator.h"
#include "NSArray.h"
#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSEnumerator;
class NSMutableSet;

namespace detail {
struct KVT_EXPORT SetSlot : id {
  std::uint32_t hash = 0;
  SetSlot() noexcept = default;
  SetSlot(id&& object, std::uint32_t h) noexcept : id(std::move(object)), hash(h) {}
  const id& slotKey() const noexcept { return *this; }
  template <class F>
  void eachObject(const F& call) {
    call(*this);
  }
};
}  // namespace detail

class KVT_EXPORT NSSet : public id {
  KVT_HANDLE(NSSet, id)

 public:
  using Iterator = detail::CollectionIterator<detail::SetSlot, id>;
  using const_iterator = Iterator;
  using iterator = Iterator;
  using value_type = id;

  // ---- making ----

  /// Raises NSInvalidArgumentException for a nil element. (`NSSet s = {}` is nil; `NSSet::set()` is empty.)
  NSSet(std::initializer_list<Boxed> objects);
  /// A vector of handles, text or numbers. Raises likewise.
  template <class T>
  requires std::is_constructible_v<Boxed, const T&> NSSet(const std::vector<T>& objects)
      : NSSet(setWithRange(objects)) {}

  /// The empty set.
  static NSSet set();
  static NSSet setWithObject(const Boxed& object);
  /// Ends before the first nil.
  template <class... T>
  static NSSet setWithObjects(const T&... objects) {
    return setWithArray(NSArray::arrayWithObjects(objects...));
  }
  static NSSet setWithObjects_count(const id* objects, NSUInteger count);
  /// Empty for nil, as `setWithSet`.
  static NSSet setWithArray(const NSArray& array);
  static NSSet setWithSet(const NSSet& other);
  /// Whatever a range-for loop can walk: handles, text or numbers.
  template <class Range>
  static NSSet setWithRange(const Range& range) {
    return setWithArray(NSArray::arrayWithRange(range));
  }

  // ---- reading ----

  NSUInteger count() const noexcept;
  /// The element equal to the object; nil when there is none.
  id member(const Boxed& object) const;
  bool containsObject(const Boxed& object) const;
  /// The element that was put in first; nil when empty. O(1).
  id anyObject() const;
  /// In the order of insertion.
  NSArray allObjects() const;

  /// Changing a mutable set in the loop raises NSGenericException at the next step.
  Iterator begin() const;
  Iterator end() const;
  NSEnumerator objectEnumerator() const;
  /// Calls the block with each element and a flag that ends the walk when set.
  void enumerateObjectsUsingBlock(const Block<void(const id& object, bool* stop)>& block) const;
  NSSet objectsPassingTest(const Block<bool(const id& object, bool* stop)>& test) const;
  NSSet filteredSetUsingBlock(const Block<bool(const id& object)>& test) const;
  void makeObjectsPerformSelector(SEL sel) const;
  void makeObjectsPerformSelector_withObject(SEL sel, const id& argument) const;
  /// Elements as `T`; see `NSArray::toVector`.
  template <class T = id>
  std::vector<T> toVector() const {
    std::vector<T> result;
    result.reserve(count());
    for (const id& each : *this) result.push_back(detail::unbox<T>(each));
    return result;
  }

  /// A nil set counts as an empty one on the right-hand side.
  bool isSubsetOfSet(const NSSet& other) const;
  bool intersectsSet(const NSSet& other) const;
  /// Same elements; NO for nil on either side. See `NSArray::isEqualToArray` for deep nestings.
  bool isEqualToSet(const NSSet& other) const;

  // ---- new sets from this one ----

  NSSet setByAddingObject(const Boxed& object) const;
  NSSet setByAddingObjectsFromSet(const NSSet& other) const;
  NSSet setByAddingObjectsFromArray(const NSArray& other) const;

  /// The set of what the elements answer for the key, without nil; "@count" is the number of elements.
  id valueForKey(const NSString& key) const;

  /// Immutable; an immutable set is its own copy.
  NSSet copy() const;
  NSMutableSet mutableCopy() const;

  // `description` is "{(\n    a,\n    b\n)}"; see NSArray for quoting and depth.
};

/// A set that can be changed. Every handle to it sees the change.
class KVT_EXPORT NSMutableSet : public NSSet {
  KVT_HANDLE(NSMutableSet, NSSet)

 public:
  NSMutableSet(std::initializer_list<Boxed> objects);

  static NSMutableSet set();
  /// Empty, with room for that many elements; a hint.
  static NSMutableSet setWithCapacity(NSUInteger capacity);
  static NSMutableSet setWithObject(const Boxed& object);
  template <class... T>
  static NSMutableSet setWithObjects(const T&... objects) {
    return setWithArray(NSArray::arrayWithObjects(objects...));
  }
  static NSMutableSet setWithObjects_count(const id* objects, NSUInteger count);
  static NSMutableSet setWithArray(const NSArray& array);
  static NSMutableSet setWithSet(const NSSet& other);
  template <class Range>
  static NSMutableSet setWithRange(const Range& range) {
    return setWithArray(NSArray::arrayWithRange(range));
  }

  /// Does nothing when an equal element is there; raises NSInvalidArgumentException for nil.
  void addObject(const Boxed& object) const;
  void addObjectsFromArray(const NSArray& array) const;
  /// Does nothing when there is none.
  void removeObject(const Boxed& object) const;
  void removeAllObjects() const;
  void unionSet(const NSSet& other) const;
  void minusSet(const NSSet& other) const;
  /// Keeps what the other contains too: nothing when it is nil.
  void intersectSet(const NSSet& other) const;
  void setSet(const NSSet& other) const;
  /// Keeps the elements that the block answers YES for.
  void filterUsingBlock(const Block<bool(const id& object)>& test) const;
};

}  // namespace kvt
