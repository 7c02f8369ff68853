// Keys and values: NSDictionary, which never changes, and NSMutableDictionary.
//
//     NSDictionary user = {{"name", "Zoë"}, {"age", 31}};          // text and numbers are boxed
//     user["name"];                                               // an id; nil when there is no such key
//     for (const auto& [key, value] : user) …                     // in the order in which the keys were put in
//     NSMutableDictionary edited = user.mutableCopy();
//     edited.setObject_forKey("Zoe", "name");
//
// Keys are compared by isEqual:. A key is copied when it is put in (immutable text is its own copy), so that nobody can
// change it later; one that cannot be copied raises NSInvalidArgumentException, and so does a nil key or value. Looking
// up costs O(1), in small dictionaries a few comparisons. Every operation on a nil dictionary answers nil, 0 or NO and
// does nothing.
//
// A replaced value keeps its key's place in the order; a key that was removed and put in again comes last.
//
// Thread rule: immutable dictionaries may be used from any thread; a mutable one by one thread at a time while it is
// changed.
#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <KVTPlatform/Runtime/Block.h>

#include "Boxed.h"
#include "CollectionIterator.h"
#include "NSArray.h"
#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSEnumerator;
class NSMutableDictionary;

/// What a range-for loop over a dictionary sees.
struct KVT_EXPORT DictionaryEntry {
  id key;
  id value;
};

/// One pair in the braces of a dictionary.
struct DictionaryPair {
  Boxed key;
  Boxed value;
};

namespace detail {
struct KVT_EXPORT DictionarySlot : DictionaryEntry {
  std::uint32_t hash = 0;
  DictionarySlot() noexcept = default;
  DictionarySlot(id&& k, id&& v, std::uint32_t h) noexcept : DictionaryEntry{std::move(k), std::move(v)}, hash(h) {}
  const id& slotKey() const noexcept { return key; }
  template <class F>
  void eachObject(const F& call) {
    call(key);
    call(value);
  }
};
}  // namespace detail

class KVT_EXPORT NSDictionary : public id {
  KVT_HANDLE(NSDictionary, id)

 public:
  using Iterator = detail::CollectionIterator<detail::DictionarySlot, DictionaryEntry>;
  using const_iterator = Iterator;
  using iterator = Iterator;
  using value_type = DictionaryEntry;

  // ---- making: of two equal keys the first one counts ----

  /// Raises NSInvalidArgumentException for a nil key or value. (`NSDictionary d = {}` is nil; `dictionary()` is empty.)
  NSDictionary(std::initializer_list<DictionaryPair> pairs);
  /// Keys and values may be handles, text or numbers.
  template <class K, class V, class C, class A>
  requires(std::is_constructible_v<Boxed, const K&>&& std::is_constructible_v<Boxed, const V&>)
      NSDictionary(const std::map<K, V, C, A>& pairs)
      : NSDictionary(dictionaryWithRange(pairs)) {}
  template <class K, class V>
  requires(std::is_constructible_v<Boxed, const K&>&& std::is_constructible_v<Boxed, const V&>)
      NSDictionary(const std::vector<std::pair<K, V>>& pairs)
      : NSDictionary(dictionaryWithRange(pairs)) {}

  /// The empty dictionary.
  static NSDictionary dictionary();
  static NSDictionary dictionaryWithObject_forKey(const Boxed& object, const Boxed& key);
  /// Raises NSInvalidArgumentException when the counts differ.
  static NSDictionary dictionaryWithObjects_forKeys(const NSArray& objects, const NSArray& keys);
  static NSDictionary dictionaryWithObjects_forKeys_count(const id* objects, const id* keys, NSUInteger count);
  /// Object, key, object, key …; ends before the first nil object, as the platform's argument lists do.
  template <class... T>
  static NSDictionary dictionaryWithObjectsAndKeys(const T&... objectsAndKeys) {
    return untilNil({Boxed(objectsAndKeys)...});
  }
  /// An immutable dictionary of the same entries; empty for nil.
  static NSDictionary dictionaryWithDictionary(const NSDictionary& other);
  /// The dictionary in a property list file, binary or XML; nil when the file cannot be read or holds something else.
  static NSDictionary dictionaryWithContentsOfFile(const NSString& path);
  /// Whatever a range-for loop can walk that gives pairs.
  template <class Range>
  static NSDictionary dictionaryWithRange(const Range& range) {
    std::vector<id> keys, objects;
    for (const auto& [key, value] : range) {
      keys.push_back(Boxed(key).object());
      objects.push_back(Boxed(value).object());
    }
    return dictionaryWithObjects_forKeys_count(objects.data(), keys.data(), keys.size());
  }

  // ---- reading ----

  NSUInteger count() const noexcept;
  /// nil when there is no such key, and for a nil key.
  id objectForKey(const id& key) const;
  /// By text, without making a string of it. (A null pointer is a nil key.)
  id objectForKey(std::string_view key) const;
  id objectForKey(const char* key) const { return key != nullptr ? objectForKey(std::string_view(key)) : id(); }
  id objectForKey(const std::string& key) const { return objectForKey(std::string_view(key)); }
  template <class N>
  requires std::is_arithmetic_v<N> id objectForKey(N key)
  const { return objectForKey(Boxed(key).object()); }
  id operator[](const id& key) const { return objectForKey(key); }
  id operator[](std::string_view key) const { return objectForKey(key); }
  id operator[](const char* key) const { return objectForKey(key); }
  id operator[](const std::string& key) const { return objectForKey(key); }
  template <class N>
  requires std::is_arithmetic_v<N> id operator[](N key) const { return objectForKey(key); }
  id objectForKeyedSubscript(const id& key) const { return objectForKey(key); }
  /// The values of the keys in their order, `marker` for a key that there is none of. Raises for a nil marker if it is
  /// needed.
  NSArray objectsForKeys_notFoundMarker(const NSArray& keys, const id& marker) const;

  /// All three in the order of insertion.
  NSArray allKeys() const;
  NSArray allValues() const;
  NSArray allKeysForObject(const Boxed& object) const;

  /// Changing a mutable dictionary in the loop raises NSGenericException at the next step.
  Iterator begin() const;
  Iterator end() const;
  NSEnumerator keyEnumerator() const;
  NSEnumerator objectEnumerator() const;
  /// Calls the block with each key, its value and a flag that ends the walk when set.
  void enumerateKeysAndObjectsUsingBlock(const Block<void(const id& key, const id& object, bool* stop)>& block) const;
  std::vector<id> keysOfEntriesPassingTest(const Block<bool(const id& key, const id& object, bool* stop)>& test) const;

  /// The keys ordered by their values; stable.
  NSArray keysSortedByValueUsingComparator(const NSComparator& comparator) const;
  NSArray keysSortedByValueUsingSelector(SEL comparator) const;

  /// Same count, and each key's values are equal; the order does not matter. NO for nil on either side. See
  /// `NSArray::isEqualToArray` for deep nestings.
  bool isEqualToDictionary(const NSDictionary& other) const;

  /// Entries with text keys, the values as `T` (see `NSArray::toVector`); other entries are left out.
  template <class T = id>
  std::map<std::string, T> toMap() const {
    std::map<std::string, T> result;
    for (const DictionaryEntry& entry : *this) {
      if (isText(entry.key)) result.emplace(detail::unbox<std::string>(entry.key), detail::unbox<T>(entry.value));
    }
    return result;
  }

  // ---- key-value access ----

  /// `objectForKey`; a key with "@" in front is looked up on the dictionary itself ("@count").
  id valueForKey(const NSString& key) const;

  // ---- files ----

  /// As an XML property list; atomically as `NSData::writeToFile_atomically`. NO when it holds what a property list
  /// cannot.
  bool writeToFile_atomically(const NSString& path, bool atomically) const;

  // ---- copies ----

  /// Immutable; an immutable dictionary is its own copy.
  NSDictionary copy() const;
  NSMutableDictionary mutableCopy() const;

  // `description` is the platform's old-style property list, with the keys in ascending order when all are text:
  //     {
  //         name = Zoe;
  //         tags =     (
  //             1
  //         );
  //     }
  // See NSArray for quoting and depth.

 protected:
  static NSDictionary untilNil(std::initializer_list<Boxed> objectsAndKeys);

 private:
  static bool isText(const id& object) noexcept;
};

/// A dictionary that can be changed. Every handle to it sees the change.
class KVT_EXPORT NSMutableDictionary : public NSDictionary {
  KVT_HANDLE(NSMutableDictionary, NSDictionary)

 public:
  NSMutableDictionary(std::initializer_list<DictionaryPair> pairs);

  static NSMutableDictionary dictionary();
  /// Empty, with room for that many entries; a hint.
  static NSMutableDictionary dictionaryWithCapacity(NSUInteger capacity);
  static NSMutableDictionary dictionaryWithObject_forKey(const Boxed& object, const Boxed& key);
  static NSMutableDictionary dictionaryWithObjects_forKeys(const NSArray& objects, const NSArray& keys);
  static NSMutableDictionary dictionaryWithObjects_forKeys_count(const id* objects, const id* keys, NSUInteger count);
  template <class... T>
  static NSMutableDictionary dictionaryWithObjectsAndKeys(const T&... objectsAndKeys) {
    return untilNil({Boxed(objectsAndKeys)...}).mutableCopy();
  }
  static NSMutableDictionary dictionaryWithDictionary(const NSDictionary& other);
  /// What it holds is mutable too.
  static NSMutableDictionary dictionaryWithContentsOfFile(const NSString& path);
  template <class Range>
  static NSMutableDictionary dictionaryWithRange(const Range& range) {
    return NSDictionary::dictionaryWithRange(range).mutableCopy();
  }

  /// Puts in or replaces. Raises NSInvalidArgumentException for a nil object or key.
  void setObject_forKey(const Boxed& object, const Boxed& key) const;
  /// Likewise; a nil object removes the key.
  void setObject_forKeyedSubscript(const Boxed& object, const Boxed& key) const;
  /// Likewise with a text key: what key-value access does.
  void setValue_forKey(const Boxed& value, const NSString& key) const;
  /// The other's entries, replacing those of equal keys.
  void addEntriesFromDictionary(const NSDictionary& other) const;
  /// The other's entries in place of the present ones; none for nil.
  void setDictionary(const NSDictionary& other) const;

  /// Does nothing when there is no such key; raises NSInvalidArgumentException for nil.
  void removeObjectForKey(const Boxed& key) const;
  void removeObjectsForKeys(const NSArray& keys) const;
  void removeAllObjects() const;
};

}  // namespace kvt
