// Arrays that forgive: operations that answer nil or do nothing where the platform's would raise, and that take
// `NSNull` (JSON's null) for nothing. Beside them `kvt_isNotBlank`, `kvt_deepCopy`, `kvt_mutableDeepCopy` and
// `__description`.
//
//     NSArray phones = kvt_safeObjectForKey(json, "phones").as<NSArray>();
//     NSString first = kvt_safeFirstObject(phones).as<NSString>();      // nil when there is none
//     kvt_safeAddObject(list, first);                                   // and then nothing is added
//
// A nil array gives nil. Nothing here raises. Thread rule: as for the array.
#pragma once

#include <KVTFoundation/Category/SharedOperations.h>
#include <KVTPlatform/Values/Boxed.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSTypes.h>

namespace kvt {

/// The element; nil beyond the end and for NSNull.
KVT_EXPORT id kvt_safeObjectAtIndex(const NSArray& array, NSUInteger index);
/// Likewise the first and the last one; nil when empty.
KVT_EXPORT id kvt_safeFirstObject(const NSArray& array);
KVT_EXPORT id kvt_safeLastObject(const NSArray& array);

/// Appends to a mutable array; nothing happens for nil and to an immutable one. NSNull is an object like any other.
KVT_EXPORT void kvt_safeAddObject(const NSArray& array, const Boxed& object);
/// Likewise at an index; at `count` it appends, beyond nothing happens.
KVT_EXPORT void kvt_safeInsertObject_atIndex(const NSArray& array, const Boxed& object, NSUInteger index);

/// The elements of a range as a new array. nil when the range begins at the end or beyond, be it empty, and when it
/// ends beyond; so always nil of an empty array.
KVT_EXPORT NSArray kvt_safeSubarrayWithRange(const NSArray& array, NSRange range);

}  // namespace kvt
