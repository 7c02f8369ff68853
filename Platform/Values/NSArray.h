// Ordered lists of objects: NSArray, which never changes, and NSMutableArray.
//
//     NSArray row = {1, 2.5, "x", true, NSNull::null()};          // text and numbers are boxed
//     row[2];                                                     // an id holding "x"
//     for (const id& each : row) …
//     NSArray sorted = row.sortedArrayUsingComparator([](const id& a, const id& b) { … });
//     NSMutableArray list = row.mutableCopy();
//     list.addObject("y");
//
// A list holds no nil: putting one in raises NSInvalidArgumentException; `NSNull` stands for "nothing". An index beyond
// the end raises NSRangeException. Every operation on a nil list answers nil, 0 or NO and does nothing; a nil list is
// not an empty one. Access by index is O(1); elements lie side by side.
//
// Braces always make a list of what stands in them, `NSArray b{a}` a list with one element. (Clang before version 20
// takes that one form for a copy, against the language's rules of today; `NSArray::arrayWithObject(a)` says the same to
// every compiler.)
//
// Thread rule: immutable lists may be used from any thread; a mutable one by one thread at a time while it is changed.
#pragma once

#include <initializer_list>
#include <type_traits>
#include <vector>

#include <KVTPlatform/Runtime/Block.h>

#include "Boxed.h"
#include "CollectionIterator.h"
#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSEnumerator;
class NSMutableArray;
struct ArrayBody;

/// Orders two objects.
using NSComparator = Block<NSComparisonResult(const id& a, const id& b)>;

class KVT_EXPORT NSArray : public id {
  KVT_HANDLE(NSArray, id)

 public:
  using Iterator = detail::CollectionIterator<id, id>;
  using const_iterator = Iterator;
  using iterator = Iterator;
  using value_type = id;

  // ---- making ----

  /// Raises NSInvalidArgumentException for a nil element. (`NSArray a = {}` is nil; `NSArray::array()` is empty.)
  NSArray(std::initializer_list<Boxed> objects);
  /// A vector of handles, text or numbers. Raises likewise.
  template <class T>
  requires std::is_constructible_v<Boxed, const T&> NSArray(const std::vector<T>& objects)
      : NSArray(arrayWithRange(objects)) {}

  /// The empty list.
  static NSArray array();
  static NSArray arrayWithObject(const Boxed& object);
  /// Ends before the first nil, as the platform's argument lists do.
  template <class... T>
  static NSArray arrayWithObjects(const T&... objects) {
    return untilNil({Boxed(objects)...});
  }
  static NSArray arrayWithObjects_count(const id* objects, NSUInteger count);
  /// An immutable list of the same elements; empty for nil.
  static NSArray arrayWithArray(const NSArray& array);
  /// The list in a property list file, binary or XML; nil when the file cannot be read or holds something else.
  static NSArray arrayWithContentsOfFile(const NSString& path);
  /// Whatever a range-for loop can walk: handles, text or numbers. Raises NSInvalidArgumentException for a nil element.
  template <class Range>
  static NSArray arrayWithRange(const Range& range) {
    std::vector<id> objects;
    if constexpr (requires { range.size(); }) objects.reserve(range.size());
    for (const auto& each : range) objects.push_back(Boxed(each).object());
    return arrayWithObjects_count(objects.data(), objects.size());
  }

  // ---- reading ----

  NSUInteger count() const noexcept;
  /// Raises NSRangeException beyond the end.
  id objectAtIndex(NSUInteger index) const;
  id operator[](NSUInteger index) const { return objectAtIndex(index); }
  id objectAtIndexedSubscript(NSUInteger index) const { return objectAtIndex(index); }
  /// nil when empty.
  id firstObject() const;
  id lastObject() const;

  /// Over an immutable list as fast as over an array of pointers. Changing a mutable list in the loop raises
  /// NSGenericException at the next step ("*** Collection <…> was mutated while being enumerated.").
  Iterator begin() const;
  Iterator end() const;
  NSEnumerator objectEnumerator() const;
  /// Last to first.
  NSEnumerator reverseObjectEnumerator() const;
  /// Calls the block with each element, its index and a flag that ends the walk when set.
  void enumerateObjectsUsingBlock(const Block<void(const id& object, NSUInteger index, bool* stop)>& block) const;
  void makeObjectsPerformSelector(SEL sel) const;
  void makeObjectsPerformSelector_withObject(SEL sel, const id& argument) const;

  /// Elements as `T`: a handle type (nil where the element is of another class), a number, std::string or
  /// std::u16string (0 and "" where it is none).
  template <class T = id>
  std::vector<T> toVector() const {
    std::vector<T> result;
    result.reserve(count());
    for (const id& each : *this) result.push_back(detail::unbox<T>(each));
    return result;
  }

  // ---- searching: by isEqual:, O(count) ----

  bool containsObject(const Boxed& object) const;
  /// NSNotFound when there is none.
  NSUInteger indexOfObject(const Boxed& object) const;
  /// Raises NSRangeException when the range reaches beyond the end; so do all that take one.
  NSUInteger indexOfObject_inRange(const Boxed& object, NSRange range) const;
  NSUInteger indexOfObjectIdenticalTo(const id& object) const;
  NSUInteger indexOfObjectIdenticalTo_inRange(const id& object, NSRange range) const;
  NSUInteger indexOfObjectPassingTest(const Block<bool(const id& object, NSUInteger index, bool* stop)>& test) const;
  /// Ascending.
  std::vector<NSUInteger> indexesOfObjectsPassingTest(
      const Block<bool(const id& object, NSUInteger index, bool* stop)>& test) const;
  /// The first element that the other list contains too; nil when there is none. O(count + other.count).
  id firstObjectCommonWithArray(const NSArray& other) const;

  /// Same count, elements equal pairwise; NO for nil on either side. As `isEqual:`, which is defined for every nesting:
  /// lists that contain themselves are compared, and sets or keys nested more than 1000 deep are not equal.
  bool isEqualToArray(const NSArray& other) const;

  // ---- new lists from this one ----

  /// Raises NSInvalidArgumentException for nil.
  NSArray arrayByAddingObject(const Boxed& object) const;
  /// A copy of this one when the other is nil.
  NSArray arrayByAddingObjectsFromArray(const NSArray& other) const;
  NSArray subarrayWithRange(NSRange range) const;
  /// The elements that the block answers YES for.
  NSArray filteredArrayUsingBlock(const Block<bool(const id& object)>& test) const;
  /// What the block answers for each element; nil raises NSInvalidArgumentException.
  NSArray arrayByMappingUsingBlock(const Block<id(const id& object)>& transform) const;
  /// The descriptions of the elements with the separator (none for nil) between them; "" when empty.
  NSString componentsJoinedByString(const NSString& separator) const;

  // Sorting is stable, O(n log n), and ends in some order even where the comparison contradicts itself.
  NSArray sortedArrayUsingComparator(const NSComparator& comparator) const;
  /// By a message like `compare:`, which every element must answer with an NSComparisonResult.
  NSArray sortedArrayUsingSelector(SEL comparator) const;

  // ---- key-value access ----

  /// What each element answers for the key, NSNull where that is nil. "@count" is the number of elements, other keys
  /// with "@" are looked up on the list itself.
  id valueForKey(const NSString& key) const;
  /// Sets the value on each element.
  void setValue_forKey(const id& value, const NSString& key) const;

  // ---- files ----

  /// As an XML property list; atomically as `NSData::writeToFile_atomically`. NO when it holds what a property list
  /// cannot.
  bool writeToFile_atomically(const NSString& path, bool atomically) const;

  // ---- copies ----

  /// Immutable; an immutable list is its own copy.
  NSArray copy() const;
  NSMutableArray mutableCopy() const;

  // `description` is the platform's old-style property list:
  //     (
  //         1,
  //         "two words"
  //     )
  // Text with anything but ASCII letters and digits is quoted, other characters are escaped as \Uxxxx. Collections
  // nested deeper than 128 and those that contain themselves print as "(...)", "{...}" and "{(...)}". `hash` reads
  // elements two levels deep; it is the same for mutable and immutable lists.

 protected:
  static NSArray untilNil(std::initializer_list<Boxed> objects);
};

/// A list that can be changed. Every handle to it sees the change. Adding and removing at either end is O(1)
/// (amortised), elsewhere O(distance to the nearer end).
class KVT_EXPORT NSMutableArray : public NSArray {
  KVT_HANDLE(NSMutableArray, NSArray)

 public:
  NSMutableArray(std::initializer_list<Boxed> objects);
  template <class T>
  requires std::is_constructible_v<Boxed, const T&>
  explicit NSMutableArray(const std::vector<T>& objects) : NSMutableArray(arrayWithRange(objects)) {}

  static NSMutableArray array();
  /// Empty, with room for that many elements; a hint.
  static NSMutableArray arrayWithCapacity(NSUInteger capacity);
  static NSMutableArray arrayWithObject(const Boxed& object);
  template <class... T>
  static NSMutableArray arrayWithObjects(const T&... objects) {
    return untilNil({Boxed(objects)...}).mutableCopy();
  }
  static NSMutableArray arrayWithObjects_count(const id* objects, NSUInteger count);
  static NSMutableArray arrayWithArray(const NSArray& array);
  /// What it holds is mutable too.
  static NSMutableArray arrayWithContentsOfFile(const NSString& path);
  template <class Range>
  static NSMutableArray arrayWithRange(const Range& range) {
    return NSArray::arrayWithRange(range).mutableCopy();
  }

  /// Raises NSInvalidArgumentException for nil, as everything that puts an object in.
  void addObject(const Boxed& object) const;
  void addObjectsFromArray(const NSArray& other) const;
  /// At `count` it appends; beyond raises NSRangeException.
  void insertObject_atIndex(const Boxed& object, NSUInteger index) const;
  /// The elements in order, the first at `index`. O(count + other.count).
  void insertObjectsFromArray_atIndex(const NSArray& other, NSUInteger index) const;

  void replaceObjectAtIndex_withObject(NSUInteger index, const Boxed& object) const;
  /// Replaces, or appends at `count`.
  void setObject_atIndexedSubscript(const Boxed& object, NSUInteger index) const;
  void exchangeObjectAtIndex_withObjectAtIndex(NSUInteger first, NSUInteger second) const;
  void replaceObjectsInRange_withObjectsFromArray(NSRange range, const NSArray& other) const;
  /// The other's elements in place of the present ones; none for nil.
  void setArray(const NSArray& other) const;

  /// Raises NSRangeException beyond the end.
  void removeObjectAtIndex(NSUInteger index) const;
  /// Does nothing when empty.
  void removeLastObject() const;
  /// Every element equal to the object. O(count).
  void removeObject(const Boxed& object) const;
  void removeObject_inRange(const Boxed& object, NSRange range) const;
  /// Every occurrence of the object itself.
  void removeObjectIdenticalTo(const id& object) const;
  void removeObjectsInRange(NSRange range) const;
  /// Every element that the other list contains. O(count + other.count).
  void removeObjectsInArray(const NSArray& other) const;
  void removeAllObjects() const;
  /// Keeps the elements that the block answers YES for.
  void filterUsingBlock(const Block<bool(const id& object)>& test) const;

  /// As the sorting of NSArray. When the comparison raises, the list is as it was.
  void sortUsingComparator(const NSComparator& comparator) const;
  void sortUsingSelector(SEL comparator) const;
};

}  // namespace kvt
