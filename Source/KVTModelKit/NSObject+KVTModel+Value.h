// Copying, hashing and comparing models by their properties: what a model class calls from its own operations.
//
//     class Track : public NSObject {
//      public:
//       NSString title;
//       double seconds = 0;
//       id copyWithZone() const { return kvt_modelCopy(this); }
//       std::uint64_t hash() const { return kvt_modelHash(this); }
//       bool isEqual(const id& other) const { return kvt_modelIsEqual(this, other); }
//       KVT_MODEL(Track, title, seconds)
//     };
//
// The properties are those that the class's mapping knows (see KVTModel.h): with a getter and a setter, on none of the
// class's lists of excluded ones. A value class (`NSString`, `NSArray`, …) and NSNull answer as they always do. Called
// on nil, they answer nil, 0 and NO. Raises only what accessors and values raise. Thread rule: as for the models; they
// must not be changed meanwhile.
#pragma once

#include <KVTPlatform/Values/NSObject.h>

namespace kvt {

/// A new object of the model's class with the model's values: numbers, objects (shared, not copied, unless the property
/// copies), classes, selectors, pointers, structs and unions; arrays in C's sense are left out. Of a value class its
/// `copy`, of NSNull itself. nil when the class cannot be created without arguments.
KVT_EXPORT id kvt_modelCopy(const id& model);
inline id kvt_modelCopy(const NSObject* model) { return kvt_modelCopy(id(borrow, model)); }
template <class T>
Ref<T> kvt_modelCopy(const Ref<T>& model) {
  return kvt_modelCopy(static_cast<const id&>(model)).template as<T>();
}

/// The exclusive or of the hashes of the properties' values, as key-value access gives them (numbers boxed); long
/// doubles, selectors and pointers do not count, nil is 0. Without a property that counts, the model's address. A model
/// that is reached again from its own properties counts as 0 there, and so does one more than 512 models deep.
KVT_EXPORT std::uint64_t kvt_modelHash(const id& model);
KVT_EXPORT std::uint64_t kvt_modelHash(const NSObject* model);

/// Whether both are the same object, or of the same class (a subclass is another one) with equal hashes, as `hash`
/// says, and equal values of all properties that count in `kvt_modelHash`. So models of a class that does not override
/// `hash` are equal to themselves alone. Two models that are reached again while they are compared count as equal
/// there; more than 512 models deep nothing but the same object is equal.
KVT_EXPORT bool kvt_modelIsEqual(const id& model, const id& other);
inline bool kvt_modelIsEqual(const NSObject* model, const id& other) {
  return kvt_modelIsEqual(id(borrow, model), other);
}

}  // namespace kvt
