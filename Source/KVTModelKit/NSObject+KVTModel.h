// Typed model objects from JSON, and JSON from model objects: operations added to every class.
//
//     Ref<User> user = kvt_modelWithJSON<User>(R"({"uid": 7, "name": "Ann", "address": {"city": "Bergen"}})");
//     NSArray users = kvt_modelArrayWithClass_json(classOf<User>(), text);
//     NSString json = kvt_modelToJSONString(user);
//     std::cout << kvt_modelDescription(user);
//
// JSON comes as text (`NSString`), bytes (`NSData`) or an already parsed dictionary or array. Which keys fill which
// properties, and how values are converted, is said by the class (see KVTModel.h) and by its properties' types: numbers
// are read from text, dates from nine textual forms, nested dictionaries become nested models. A value that cannot be
// converted leaves its property as it is. Nothing here raises or logs: input that cannot be used gives nil or NO.
// Thread rule: everything may be called from any thread; a model that is being filled is not locked.
#pragma once

#include "KVTModel.h"

namespace kvt {

class NSData;

// ---- from JSON
// --------------------------------------------------------------------------------------------------------

/// The parsed dictionary: a dictionary as it is, text and bytes parsed; nil for anything else and for a top level that
/// is none.
KVT_EXPORT NSDictionary _kvt_dictionaryWithJSON(const id& json);

/// A new model of the class, or of the one that its `modelCustomClassForDictionary` chooses. nil when the input is
/// unusable, the class maps no property, or a hook refuses.
KVT_EXPORT id kvt_modelWithJSON(Class cls, const id& json);
KVT_EXPORT id kvt_modelWithDictionary(Class cls, const id& dictionary);
template <class T>
Ref<T> kvt_modelWithJSON(const id& json) {
  return kvt_modelWithJSON(classOf<T>(), json).template as<T>();
}
template <class T>
Ref<T> kvt_modelWithJSON(const NSString& json) {
  return kvt_modelWithJSON<T>(static_cast<const id&>(json));
}
template <class T>
Ref<T> kvt_modelWithDictionary(const id& dictionary) {
  return kvt_modelWithDictionary(classOf<T>(), dictionary).template as<T>();
}

/// Fills an existing model; properties without a value keep theirs, nested models that are present are filled in place.
/// NO when the input is unusable, contains itself, or a hook refuses; what was set until then stays set. Dictionaries
/// made by hand are followed 1024 levels deep.
KVT_EXPORT bool kvt_modelSetWithJSON(const id& model, const id& json);
inline bool kvt_modelSetWithJSON(const id& model, const NSString& json) {
  return kvt_modelSetWithJSON(model, static_cast<const id&>(json));
}
KVT_EXPORT bool kvt_modelSetWithDictionary(const id& model, const id& dictionary);

/// Copies the values of `other`'s properties into those of the receiver that it has a setter for.
KVT_EXPORT void kvt_modelSetWithModel(const id& model, const id& other);

/// Models from the elements that are dictionaries, in order; other elements, and those that give no model, are skipped.
/// nil without a class or array, and for a top level that is none.
KVT_EXPORT NSArray kvt_modelArrayWithClass_json(Class cls, const id& json);
inline NSArray kvt_modelArrayWithClass_json(Class cls, const NSString& json) {
  return kvt_modelArrayWithClass_json(cls, static_cast<const id&>(json));
}
KVT_EXPORT NSArray kvt_modelArrayWithClass_array(Class cls, const NSArray& array);

/// The same for the values of a dictionary under its text keys.
KVT_EXPORT NSDictionary kvt_modelDictionaryWithClass_json(Class cls, const id& json);
inline NSDictionary kvt_modelDictionaryWithClass_json(Class cls, const NSString& json) {
  return kvt_modelDictionaryWithClass_json(cls, static_cast<const id&>(json));
}
KVT_EXPORT NSDictionary kvt_modelDictionaryWithClass_dictionary(Class cls, const NSDictionary& dictionary);

// ---- to JSON
// ----------------------------------------------------------------------------------------------------------

/// A dictionary or array that the JSON writer accepts; nil when the object is neither a model nor a collection, maps no
/// property, contains itself, or its hook refuses. Dates are written in local time with their offset, URLs as text,
/// data never.
KVT_EXPORT id kvt_modelToJSONObject(const id& object);
/// The same as compact JSON bytes, UTF-8.
KVT_EXPORT NSData kvt_modelToJSONData(const id& object);
/// The same as text.
KVT_EXPORT NSString kvt_modelToJSONString(const id& object);

// ---- for people
// -------------------------------------------------------------------------------------------------------

/// An indented text of the model's properties by name, nested models included; "<nil>" for nil.
KVT_EXPORT NSString kvt_modelDescription(const id& object);

}  // namespace kvt
