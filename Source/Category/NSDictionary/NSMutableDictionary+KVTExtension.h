// Mutable dictionaries that forgive: nil takes a value away, and a key that is nil or `NSNull` does nothing.
//
//     kvt_safeSetObject_forKey(settings, name, "name");      // a nil name: the entry goes
//     kvt_setBool_forKey(settings, true, "vip");
//
// Nothing happens to a nil dictionary. Thread rule: as for the dictionary.
#pragma once

#include <KVTPlatform/Values/Boxed.h>
#include <KVTPlatform/Values/NSDictionary.h>

namespace kvt {

/// Puts in or replaces; nil removes the entry, NSNull is stored as it is. Text keys go by `setValue:forKey:`, others by
/// `setObject:forKey:`. Nothing happens for a key that is nil, NSNull or cannot be copied.
KVT_EXPORT void kvt_safeSetObject_forKey(const NSMutableDictionary& dictionary, const Boxed& object, const Boxed& key);
/// Nothing happens for a key that is nil, NSNull or not there.
KVT_EXPORT void kvt_safeRemoveObjectForKey(const NSMutableDictionary& dictionary, const Boxed& key);
/// Puts the boolean in as a number. Checks nothing: a nil key raises NSInvalidArgumentException, as the platform does.
KVT_EXPORT void kvt_setBool_forKey(const NSMutableDictionary& dictionary, bool value, const Boxed& key);

}  // namespace kvt
