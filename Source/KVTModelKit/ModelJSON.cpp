// Model objects to JSON-ready values, bytes and text.
#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDateFormatter.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSURL.h>

#include "DirectWriter.h"
#include "ModelAccess.h"
#include "ModelMeta.h"
#include "ModelToJSON.h"
#include "NSObject+KVTModel.h"

namespace kvt {

/// The formatter of dates in JSON. Its zone is the system's, so that dates are written in local time with their offset.
const NSDateFormatter& KVTISODateFormatter() {
  static const auto* formatter = [] {
    auto* made = new NSDateFormatter(NSDateFormatter::new_());
    made->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    made->setDateFormat("yyyy-MM-dd'T'HH:mm:ssZ");
    return made;
  }();
  return *formatter;
}

namespace {

/// JSON ends at 512 levels.
constexpr std::size_t kDeepestValue = 512;

/// The way from the outermost value to the one that is being converted.
struct Walk {
  std::vector<const Object*> path;
  bool isCircular = false;
};

/// One step down, for as long as this lives. What contains itself has no JSON: the whole walk gives up then, which also
/// keeps it short where many values refer to each other.
class Step {
 public:
  Step(Walk& walk, const id& value) : walk_(walk) {
    const auto& path = walk.path;
    if (std::find(path.begin(), path.end(), value.object()) != path.end()) walk.isCircular = true;
    walk.path.push_back(value.object());
  }
  Step(const Step&) = delete;
  Step& operator=(const Step&) = delete;
  ~Step() { walk_.path.pop_back(); }
  bool isPossible() const { return !walk_.isCircular && walk_.path.size() <= kDeepestValue + 1; }

 private:
  Walk& walk_;
};

id ModelToJSONObjectRecursive(const id& value, Walk& walk);

id dictionaryToJSON(const NSDictionary& dictionary, Walk& walk) {
  if (NSJSONSerialization::isValidJSONObject(dictionary)) return dictionary;
  const Step step(walk, dictionary);
  if (!step.isPossible()) return {};
  NSMutableDictionary converted = NSMutableDictionary::dictionary();
  for (const auto& [key, element] : dictionary) {
    const NSString text = key.template is<NSString>() ? key.template as<NSString>() : key.description();
    if (!text) continue;
    const id result = ModelToJSONObjectRecursive(element, walk);
    converted.setObject_forKey(result ? result : NSNull::null(), text);
  }
  return converted;
}

/// `owner` is the array itself, or the set that it lists.
id arrayToJSON(const NSArray& array, const id& owner, Walk& walk) {
  // Null elements stay in an array that is valid as it stands, and vanish from one that must be converted.
  if (NSJSONSerialization::isValidJSONObject(array)) return array;
  const Step step(walk, owner);
  if (!step.isPossible()) return {};
  NSMutableArray converted = NSMutableArray::array();
  for (const id& element : array) {
    if (element.is<NSString>() || element.is<NSNumber>()) {
      converted.addObject(element);
    } else if (const id result = ModelToJSONObjectRecursive(element, walk); result && !result.is<NSNull>()) {
      converted.addObject(result);
    }
  }
  return converted;
}

NSNumber finiteNumber(const id& object, const _KVTModelPropertyMeta& meta) {
  const NSNumber number = model::boxedNumber(object, meta);
  return std::isfinite(number.doubleValue()) ? number : NSNumber();
}

/// A property's value as JSON has it; nil where it is to be left out.
id propertyToJSON(const id& object, const _KVTModelPropertyMeta& meta, Walk& walk) {
  if (meta.isCNumber) return finiteNumber(object, meta);
  switch (meta.valueType()) {
    case KVTEncodingTypeObject: {
      const id result = ModelToJSONObjectRecursive(model::getObject(object, meta), walk);
      return meta.nsType == KVTEncodingTypeNSUnknown && result.is<NSNull>() ? id() : result;
    }
    case KVTEncodingTypeClass: {
      const Class cls = model::getScalar<Class>(object, meta);
      return cls ? NSString(class_getName(cls)) : NSString();
    }
    case KVTEncodingTypeSEL: {
      const SEL sel = model::getScalar<SEL>(object, meta);
      return sel ? NSString(sel_getName(sel)) : NSString();
    }
    default: return {};
  }
}

/// Stores under a key path, making dictionaries on the way. A value in the way that is no dictionary keeps its place,
/// and so does one that is there already.
void storeAtPath(const NSMutableDictionary& output, const NSArray& path, const id& value) {
  NSMutableDictionary level = output;
  const NSUInteger last = path.count() - 1;
  for (NSUInteger i = 0; i < last; ++i) {
    const NSString part = path.objectAtIndex(i).as<NSString>();
    const id next = level.objectForKey(part);
    NSMutableDictionary below;
    if (!next)
      below = NSMutableDictionary::dictionary();
    else if (next.is<NSDictionary>())
      below = next.mutableCopy().as<NSMutableDictionary>();
    else
      return;
    level.setObject_forKey(below, part);
    level = below;
  }
  const NSString part = path.objectAtIndex(last).as<NSString>();
  if (!level.objectForKey(part)) level.setObject_forKey(value, part);
}

id modelToJSON(const id& object, Walk& walk) {
  const auto meta = _KVTModelMeta::metaWithClass(object.class_());
  if (!meta || meta->keyMappedCount == 0) return {};
  const Step step(walk, object);
  if (!step.isPossible()) return {};
  // Room for what will stand in it: of many small models, spare room would be most of the memory.
  NSMutableDictionary output = NSMutableDictionary::dictionaryWithCapacity(meta->mapper.count());
  // Once for each JSON key, and for the head of its chain alone.
  for (const auto& [key, head] : meta->mapper) {
    const auto& property = *static_cast<const _KVTModelPropertyMeta*>(head.object());
    if (!property.getter) continue;
    const id value = propertyToJSON(object, property, walk);
    if (!value) continue;
    if (property.mappedToKeyPath) {
      storeAtPath(output, property.mappedToKeyPath, value);
    } else if (!output.objectForKey(property.mappedToKey)) {
      output.setObject_forKey(value, property.mappedToKey);
    }
  }
  if (meta->hasCustomTransformToDictionary &&
      !objc_msgSend<bool>(object, "modelCustomTransformToDictionary:", output)) {
    return {};
  }
  return output;
}

id ModelToJSONObjectRecursive(const id& value, Walk& walk) {
  if (!value || walk.isCircular) return {};
  if (value.is<NSNull>() || value.is<NSString>() || value.is<NSNumber>()) return value;
  if (NSDictionary dictionary = value.as<NSDictionary>()) return dictionaryToJSON(dictionary, walk);
  if (NSSet set = value.as<NSSet>()) return arrayToJSON(set.allObjects(), set, walk);
  if (NSArray array = value.as<NSArray>()) return arrayToJSON(array, array, walk);
  if (NSURL url = value.as<NSURL>()) return url.absoluteString();
  if (NSAttributedString attributed = value.as<NSAttributedString>()) return attributed.string();
  if (NSDate date = value.as<NSDate>()) return KVTISODateFormatter().stringFromDate(date);
  if (value.is<NSData>()) return {};
  return modelToJSON(value, walk);
}

}  // namespace

id ModelPropertyToJSON(const id& object, const _KVTModelPropertyMeta& meta, bool& isCircular) {
  Walk walk;
  id json = propertyToJSON(object, meta, walk);
  isCircular = walk.isCircular;
  return json;
}

id kvt_modelToJSONObject(const id& object) {
  Walk walk;
  const id json = ModelToJSONObjectRecursive(object, walk);
  if (walk.isCircular) return {};
  return json.is<NSArray>() || json.is<NSDictionary>() ? json : id();
}

namespace {

/// The text of a model or of models, written straight from their properties; NO where a tree must come first.
bool writeDirectly(const id& object, JSONWriter& out) { return direct::write(object, out) == direct::Outcome::kDone; }

}  // namespace

NSData kvt_modelToJSONData(const id& object) {
  JSONWriter out;
  if (writeDirectly(object, out)) return json::dataWithWriter(out);
  const id json = kvt_modelToJSONObject(object);
  // A hook may have put in what JSON cannot hold.
  if (!NSJSONSerialization::isValidJSONObject(json)) return {};
  return NSJSONSerialization::dataWithJSONObject_options_error(json, 0, nullptr);
}

NSString kvt_modelToJSONString(const id& object) {
  JSONWriter out;
  if (writeDirectly(object, out)) return NSString(out.text());
  const NSData data = kvt_modelToJSONData(object);
  if (data.length() == 0) return {};
  return NSString(std::string_view(static_cast<const char*>(data.bytes()), data.length()));
}

}  // namespace kvt
