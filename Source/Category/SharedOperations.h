// Operations that several types have: one function over any object, which sends the message. nil, and an object that
// does not answer the message, give nil or NO.
//
//     kvt_isNotBlank(names)                         // of an array: it has elements
//     NSDictionary settings = kvt_deepCopy(json);   // nobody can change it any more, however deep
//     std::cout << __description(settings);         // { name = "会议" } in place of { name = "\U4f1a\U8bae" }
//
// Thread rule: as for the receiver.
#pragma once

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/id.h>

namespace kvt {

/// Whether there is something in it. Of arrays: at least one element.
KVT_EXPORT bool kvt_isNotBlank(const id& receiver);

/// Of arrays and dictionaries: an immutable copy in which every element (of a dictionary: every value) was copied in
/// turn, by `kvt_deepCopy` where it answers that, else by `copy`. What cannot be copied, and what gives nil as its
/// copy, is shared; so are keys. Sets and other collections are copied, not what is in them. Any depth is fine; a
/// collection that contains itself is shared at the place where it does.
KVT_EXPORT id kvt_deepCopy(const id& receiver);
inline NSArray kvt_deepCopy(const NSArray& array) { return kvt_deepCopy(static_cast<const id&>(array)).as<NSArray>(); }
inline NSDictionary kvt_deepCopy(const NSDictionary& dictionary) {
  return kvt_deepCopy(static_cast<const id&>(dictionary)).as<NSDictionary>();
}

/// The same with mutable copies: the collection itself, collections in it and everything else that answers
/// `mutableCopy` (text too) are mutable in the copy; what does not is copied by `copy`.
KVT_EXPORT id kvt_mutableDeepCopy(const id& receiver);
inline NSMutableArray kvt_mutableDeepCopy(const NSArray& array) {
  return kvt_mutableDeepCopy(static_cast<const id&>(array)).as<NSMutableArray>();
}
inline NSMutableDictionary kvt_mutableDeepCopy(const NSDictionary& dictionary) {
  return kvt_mutableDeepCopy(static_cast<const id&>(dictionary)).as<NSMutableDictionary>();
}

/// Of arrays and dictionaries: the description with characters in place of their escapes (\Uxxxx). nil when it holds
/// an escape that stands for no character, as \" and \n in quoted text do.
///
/// Made to be exchanged with `description`, so that everybody sees readable text: then the message `__description`
/// reaches the platform's own. Without the exchange it is read from `description`.
KVT_EXPORT NSString __description(const id& receiver);

}  // namespace kvt
