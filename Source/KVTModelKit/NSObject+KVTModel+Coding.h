// Archiving of models by their properties: operations added to every class.
//
//     class User : public NSObject {
//      public:
//       int64_t uid = 0;
//       NSString name;
//       void encodeWithCoder(const NSCoder& coder) { kvt_modelEncodeWithCoder(this, coder); }
//       id initWithCoder(const NSCoder& coder) { return kvt_modelInitWithCoder(this, coder); }
//       KVT_MODEL(User, uid, name)
//     };
//     NSData data = NSKeyedArchiver::archivedDataWithRootObject(user);
//
// What a property is kept as, under its name (mappings to JSON keys play no part):
//
//     a C number       a number; left out when it is NaN or infinite
//     an object        itself, when it can be archived; a boxed value only if it is a number
//     a selector       its name
//     CGPoint, CGSize, CGRect, CGAffineTransform, UIEdgeInsets, UIOffset, of floats or doubles: a boxed value
//     anything else    nothing
//
// Thread rule: as for the coder; the model must not be changed meanwhile.
#pragma once

#include <KVTPlatform/Values/NSCoder.h>
#include <KVTPlatform/Values/NSObject.h>

namespace kvt {

/// Encodes every property that can be read. The null object and Foundation types encode themselves. Nothing happens
/// without a model or a coder. Raises what the coder raises for an object within a collection that cannot be archived.
KVT_EXPORT void kvt_modelEncodeWithCoder(const id& model, const NSCoder& coder);
inline void kvt_modelEncodeWithCoder(const NSObject* model, const NSCoder& coder) {
  kvt_modelEncodeWithCoder(id(borrow, model), coder);
}

/// Sets every property that can be set: a C number, selector or struct when one is there that fits, an object as it is
/// decoded (one of another class, or none, leaves nil). Answers the model. Where the coder requires secure coding, an
/// object must be of its property's class, and a collection hold instances of its element class, text, numbers, dates,
/// data, nulls and collections of such. The null object and Foundation types are answered as they are, and so is every
/// model without a coder.
KVT_EXPORT id kvt_modelInitWithCoder(const id& model, const NSCoder& coder);
inline id kvt_modelInitWithCoder(const NSObject* model, const NSCoder& coder) {
  return kvt_modelInitWithCoder(id(borrow, model), coder);
}

}  // namespace kvt
