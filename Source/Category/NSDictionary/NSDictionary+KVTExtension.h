// Dictionaries that forgive: a missing value, `NSNull` (JSON's null) and an unusable key all give nil. Beside them
// `kvt_deepCopy`, `kvt_mutableDeepCopy` and `__description`.
//
//     NSDictionary user = kvt_safeObjectForKey(json, "user").as<NSDictionary>();
//     if (kvt_boolForKey(user, "vip")) …                                // 1, true, "yes", "1"
//     NSString query = kvt_URLQueryStringWithSortedKeys({{"b", 2}, {"a", "x y"}}, true);   // a=x%20y&b=2
//
// A nil dictionary gives nil and NO. Nothing here raises. Thread rule: as for the dictionary.
#pragma once

#include <concepts>

#include <KVTFoundation/Category/SharedOperations.h>
#include <KVTPlatform/Values/NSDictionary.h>

namespace kvt {

namespace detail {
/// nil for NSNull.
KVT_EXPORT id unlessNull(id object);
/// The value's `boolValue`; `defaultValue` when it has none.
KVT_EXPORT bool boolOr(const id& value, bool defaultValue);
}  // namespace detail

// Keys are whatever `objectForKey` takes: objects, numbers, and text, of which no string is made.

/// The value; nil for NSNull, as value and as key.
template <class Key>
id kvt_safeObjectForKey(const NSDictionary& dictionary, const Key& key) {
  if constexpr (std::derived_from<Key, id>) {
    return detail::unlessNull(dictionary.objectForKey(detail::unlessNull(key)));
  } else {
    return detail::unlessNull(dictionary.objectForKey(key));
  }
}

/// What the value answers to `boolValue`, as numbers and text do (of text: a leading Y, y, T, t or digit other than
/// 0); `defaultValue` for every other value and where there is none.
template <class Key>
bool kvt_boolForKey_defaultValue(const NSDictionary& dictionary, const Key& key, bool defaultValue) {
  return dictionary && detail::boolOr(dictionary.objectForKey(key), defaultValue);
}
/// The same with NO.
template <class Key>
bool kvt_boolForKey(const NSDictionary& dictionary, const Key& key) {
  return kvt_boolForKey_defaultValue(dictionary, key, false);
}

/// What the JSON file of that name (with its extension) among the main bundle's resources holds: a dictionary or an
/// array. nil without a name, without such a file, and when it is no JSON.
KVT_EXPORT id kvt_dictionaryWithJsonContentFile(const NSString& name);

/// "key=value&key=value", percent-encoded as a URL's query is: "&", "=", "?" and "/" stay as they are. Values are
/// written by their description; a value that is NSNull, or whose description is empty, leaves the key alone, without
/// "=". The order is that of the keys, or by their `compare:` (keys that raise when they are compared stay in their
/// order). Text with a lone surrogate cannot be encoded: such a value counts as empty, such a key is left out. nil
/// when there is nothing to write.
KVT_EXPORT NSString kvt_URLQueryStringWithSortedKeys(const NSDictionary& dictionary, bool sorted);
/// The same in the order of the keys.
KVT_EXPORT NSString kvt_URLQueryString(const NSDictionary& dictionary);

}  // namespace kvt
