#include "NSObject+KVTModel.h"

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDataBody.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSStringBody.h>

#include "../Category/Category.h"
#include "DirectReader.h"
#include "ModelAccess.h"
#include "ModelMeta.h"
#include "ModelValue.h"

namespace kvt {
namespace {

const SEL kCustomClass = "modelCustomClassForDictionary:";
const SEL kWillTransform = "modelCustomWillTransformFromDictionary:";
const SEL kTransformFrom = "modelCustomTransformFromDictionary:";

/// Dictionaries made by hand may nest without end; JSON text ends at 512.
constexpr int kDeepestModel = 1024;

/// One dictionary that a model is being filled from, for as long as this lives. What a dictionary holds is filled a
/// level below it; a hook or setter that fills another model begins anew, with whatever dictionary it likes.
class Level {
 public:
  Level(const id& dictionary, bool isNested)
      : dictionary_(dictionary.object()), previous_(current), above_(isNested ? current : nullptr) {
    root_ = above_ != nullptr ? above_->root_ : this;
    depth_ = previous_ != nullptr ? previous_->depth_ + 1 : 1;
    for (const Level* each = above_; each != nullptr && !root_->isCircular_; each = each->above_) {
      if (each->dictionary_ == dictionary_) root_->isCircular_ = true;
    }
    current = this;
  }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;
  ~Level() { current = previous_; }
  /// A dictionary that contains itself fills nothing more, on no level: it would go on for ever.
  bool isCircular() const { return root_->isCircular_; }
  bool isTooDeep() const { return depth_ > kDeepestModel; }

 private:
  static inline thread_local Level* current = nullptr;

  const Object* dictionary_;
  Level* previous_;
  Level* above_;
  Level* root_;
  int depth_;
  bool isCircular_ = false;
};

/// A parsed top level of the wanted kind: itself, or parsed from text or bytes.
template <class Collection>
Collection parsed(const id& json) {
  if (Collection collection = json.as<Collection>()) return collection;
  NSData data = json.as<NSData>();
  if (NSString text = json.as<NSString>()) {
    if (text.UTF8String() == nullptr) return {};
    data = NSData(text.utf8());
  }
  if (!data) return {};
  return NSJSONSerialization::JSONObjectWithData_options_error(data, 0, nullptr).template as<Collection>();
}

/// Follows a key path; nil where it ends early.
id valueAtPath(const NSDictionary& dictionary, const NSArray& path) {
  id value = dictionary;
  for (const id& part : path) {
    const NSDictionary level = value.as<NSDictionary>();
    if (!level) return {};
    value = level.objectForKey(part);
    if (!value) return {};
  }
  return value;
}

id valueForMeta(const NSDictionary& dictionary, const _KVTModelPropertyMeta& meta) {
  if (meta.mappedToKeyArray) {
    for (const id& entry : meta.mappedToKeyArray) {
      const NSArray path = entry.as<NSArray>();
      if (id value = path ? valueAtPath(dictionary, path) : dictionary.objectForKey(entry)) return value;
    }
    return {};
  }
  if (meta.mappedToKeyPath) return valueAtPath(dictionary, meta.mappedToKeyPath);
  // A property that was taken out of the mapping has no key.
  return meta.mappedToKey ? dictionary.objectForKey(meta.mappedToKey) : id();
}

void setFromMetas(const id& model, const NSDictionary& dictionary, const NSArray& metas) {
  for (const id& each : metas) {
    const auto& meta = *static_cast<const _KVTModelPropertyMeta*>(each.object());
    if (!meta.setter) continue;
    if (id value = valueForMeta(dictionary, meta)) ModelSetValueForProperty(model, value, meta);
  }
}

void setFromEntries(const id& model, const NSDictionary& dictionary, const _KVTModelMeta& meta) {
  for (const auto& [key, value] : dictionary) {
    const id head = meta.mapper.objectForKey(key);
    for (auto* each = static_cast<const _KVTModelPropertyMeta*>(head.object()); each != nullptr;
         each = each->next.get()) {
      if (each->setter) ModelSetValueForProperty(model, value, *each);
    }
  }
}

}  // namespace

NSDictionary _kvt_dictionaryWithJSON(const id& json) { return parsed<NSDictionary>(json); }

namespace {

using DirectRead = direct::Outcome (*)(Class, std::string_view, bool, id&);

/// Text and bytes go straight into models where nothing could tell the difference. NO: parse first.
bool readDirectly(DirectRead read, Class cls, const id& json, id& result) {
  if (!cls) return false;
  if (const StringBody* text = StringBody::of(json.object())) {
    const std::string_view utf8 = text->utf8();
    return utf8.data() != nullptr && read(cls, utf8, true, result) == direct::Outcome::kDone;
  }
  const DataBody* data = DataBody::of(json.object());
  if (data == nullptr || data->length == 0) return false;
  const std::string_view bytes(reinterpret_cast<const char*>(data->bytes), data->length);
  return read(cls, bytes, false, result) == direct::Outcome::kDone;
}

}  // namespace

id kvt_modelWithJSON(Class cls, const id& json) {
  id model;
  if (readDirectly(&direct::readModel, cls, json, model)) return model;
  return kvt_modelWithDictionary(cls, _kvt_dictionaryWithJSON(json));
}

id kvt_modelWithDictionary(Class cls, const id& json) {
  const NSDictionary dictionary = json.as<NSDictionary>();
  if (!dictionary || !cls) return {};
  const auto meta = _KVTModelMeta::metaWithClass(cls);
  if (meta->hasCustomClassFromDictionary) {
    if (Class chosen = objc_msgSend<Class>(cls, kCustomClass, dictionary)) cls = chosen;
  }
  id one(adopt, class_createInstance(cls));
  return one && kvt_modelSetWithDictionary(one, dictionary) ? one : id();
}

bool kvt_modelSetWithJSON(const id& model, const id& json) {
  return kvt_modelSetWithDictionary(model, _kvt_dictionaryWithJSON(json));
}

namespace {

bool fill(const id& model, const id& json, bool isNested) {
  NSDictionary dictionary = json.as<NSDictionary>();
  if (!dictionary || !model) return false;
  const Level level(dictionary, isNested);
  if (level.isCircular() || level.isTooDeep()) return false;
  const auto meta = _KVTModelMeta::metaWithClass(model.class_());
  if (!meta || meta->keyMappedCount == 0) return false;
  if (meta->hasCustomWillTransformFromDictionary) {
    dictionary = objc_msgSend<id>(model, kWillTransform, dictionary).as<NSDictionary>();
    if (!dictionary) return false;
  }
  // The cost follows the smaller side.
  if (meta->keyMappedCount >= dictionary.count()) {
    setFromEntries(model, dictionary, *meta);
    setFromMetas(model, dictionary, meta->keyPathPropertyMetas);
    setFromMetas(model, dictionary, meta->multiKeysPropertyMetas);
  } else {
    setFromMetas(model, dictionary, meta->allPropertyMetas);
  }
  if (level.isCircular()) return false;
  return !meta->hasCustomTransformFromDictionary || objc_msgSend<bool>(model, kTransformFrom, dictionary);
}

}  // namespace

bool kvt_modelSetWithDictionary(const id& model, const id& dictionary) { return fill(model, dictionary, false); }
bool model::fillNested(const id& model, const NSDictionary& dictionary) { return fill(model, dictionary, true); }

void kvt_modelSetWithModel(const id& model, const id& other) {
  // It is the receiver that must not be the null object.
  if (!model || model.is<NSNull>() || !other) return;
  const auto meta = _KVTModelMeta::metaWithClass(other.class_());
  if (!meta || meta->nsType != KVTEncodingTypeNSUnknown) return;
  for (const id& each : meta->allPropertyMetas) {
    const auto& property = *static_cast<const _KVTModelPropertyMeta*>(each.object());
    if (property.getter && property.setter && model.respondsToSelector(property.setter)) {
      model::transferProperty(other, model, property);
    }
  }
}

NSArray kvt_modelArrayWithClass_json(Class cls, const id& json) {
  id models;
  if (readDirectly(&direct::readModels, cls, json, models)) return models.as<NSArray>();
  return kvt_modelArrayWithClass_array(cls, parsed<NSArray>(json));
}

NSArray kvt_modelArrayWithClass_array(Class cls, const NSArray& array) {
  if (!cls || !array) return {};
  NSMutableArray models = NSMutableArray::array();
  for (const id& element : array) {
    if (id one = kvt_modelWithDictionary(cls, element)) models.addObject(one);
  }
  return models;
}

NSDictionary kvt_modelDictionaryWithClass_json(Class cls, const id& json) {
  return kvt_modelDictionaryWithClass_dictionary(cls, parsed<NSDictionary>(json));
}

NSDictionary kvt_modelDictionaryWithClass_dictionary(Class cls, const NSDictionary& dictionary) {
  if (!cls || !dictionary) return {};
  NSMutableDictionary models = NSMutableDictionary::dictionary();
  for (const auto& [key, value] : dictionary) {
    if (!key.is<NSString>()) continue;
    if (id one = kvt_modelWithDictionary(cls, value)) models.setObject_forKey(one, key);
  }
  return models;
}

// What a message, an invocation and the method list see of this family.
[[maybe_unused]] static const bool registered =
    addCategory<NSObject>([](ClassBuilder<NSObject>& c) {
      c.classMethod<&_kvt_dictionaryWithJSON>("_kvt_dictionaryWithJSON:");
      c.classMethod<static_cast<id (*)(Class, const id&)>(&kvt_modelWithJSON)>("kvt_modelWithJSON:");
      c.classMethod<static_cast<id (*)(Class, const id&)>(&kvt_modelWithDictionary)>("kvt_modelWithDictionary:");
      c.method<static_cast<bool (*)(const id&, const id&)>(&kvt_modelSetWithJSON)>("kvt_modelSetWithJSON:");
      c.method<&kvt_modelSetWithDictionary>("kvt_modelSetWithDictionary:");
      c.method<&kvt_modelSetWithModel>("kvt_modelSetWithModel:");
      c.method<&kvt_modelToJSONObject>("kvt_modelToJSONObject");
      c.method<&kvt_modelToJSONData>("kvt_modelToJSONData");
      c.method<&kvt_modelToJSONString>("kvt_modelToJSONString");
      c.method<&kvt_modelDescription>("kvt_modelDescription");
    }) &&
    addCategory<NSArray>([](ClassBuilder<NSArray>& c) {
      c.classMethod<static_cast<NSArray (*)(Class, const id&)>(&kvt_modelArrayWithClass_json)>(
          "kvt_modelArrayWithClass:json:");
      c.classMethod<&kvt_modelArrayWithClass_array>("kvt_modelArrayWithClass:array:");
    }) &&
    addCategory<NSDictionary>([](ClassBuilder<NSDictionary>& c) {
      c.classMethod<static_cast<NSDictionary (*)(Class, const id&)>(&kvt_modelDictionaryWithClass_json)>(
          "kvt_modelDictionaryWithClass:json:");
      c.classMethod<&kvt_modelDictionaryWithClass_dictionary>("kvt_modelDictionaryWithClass:dictionary:");
    });

}  // namespace kvt
