// Models and values as indented text for logs.
#include <algorithm>
#include <cmath>
#include <string>
#include <unordered_set>
#include <vector>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSSet.h>

#include "ModelAccess.h"
#include "ModelDescription.h"
#include "ModelMeta.h"
#include "NSObject+KVTModel.h"

namespace kvt {

namespace {

/// Rebuilt in one pass: inserting line by line would move the rest each time.
template <class Text>
Text indentedLines(const Text& lines) {
  Text indented;
  indented.reserve(lines.size() + lines.size() / 8);
  for (auto c : lines) {
    indented += c;
    if (c == '\n') indented.append(4, ' ');
  }
  return indented;
}

}  // namespace

void ModelDescriptionAddIndent(const NSMutableString& text) {
  // Text with half a surrogate pair has no UTF-8.
  if (text.UTF8String() != nullptr)
    text.setString(NSString(indentedLines(std::string(text.utf8()))));
  else if (text)
    text.setString(NSString(indentedLines(text.u16str())));
}

namespace {

/// Descriptions of boxed values and bytes end here.
constexpr NSUInteger kLongestValue = 100;
/// What nests deeper than JSON may is not followed further.
constexpr std::size_t kDeepestValue = 512;
/// The platform's text for a missing object inside a format.
constexpr const char* kMissing = "(null)";

std::string textOf(const NSString& text) { return text ? std::string(text) : kMissing; }

std::string addressOf(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof text, pointer == nullptr ? "0x0" : "%p", pointer);
  return text;
}

/// Writes one description from front to back. Each entry of a block is indented by one level more than the block:
/// instead of indenting what is there again and again, every line feed is followed by the blanks of its level at once.
class Describer {
 public:
  void describe(const id& value);
  NSString text() const { return NSString(text_); }

 private:
  void describeElements(const id& owner, const NSArray& elements);
  void describeDictionary(const NSDictionary& dictionary);
  void describeModel(const id& object, const _KVTModelMeta& meta);
  void describeProperty(const id& object, const _KVTModelPropertyMeta& meta);

  void put(std::string_view text) {
    for (char c : text) {
      text_ += c;
      if (c == '\n') text_.append(4 * path_.size(), ' ');
    }
  }
  void putText(const NSString& text) { put(textOf(text)); }

  /// A block's lines, each ended by `entry`'s own writing and a semicolon, the last one without.
  template <class Entries, class Write>
  void block(const id& owner, const char* open, const Entries& entries, const char* close, Write&& write) {
    put(open);
    bool isFirst = true;
    for (const auto& entry : entries) {
      if (!isFirst) put(";\n");
      isFirst = false;
      text_ += "    ";
      write(entry, [&](auto&& inner) {
        path_.push_back(owner.object());
        inner();
        path_.pop_back();
      });
    }
    put("\n");
    text_ += close;
  }

  /// Whether the object's content is to be written here. Not inside itself; and once such a circle was met, not a
  /// second time, or a few objects that all know each other would fill the world.
  bool enters(const id& object) {
    if (std::find(path_.begin(), path_.end(), object.object()) != path_.end()) {
      isCircular_ = true;
      return false;
    }
    const bool isNew = described_.insert(object.object()).second;
    return (isNew || !isCircular_) && path_.size() <= kDeepestValue;
  }

  std::string text_;
  std::vector<const Object*> path_;  // the blocks that are open, outermost first
  std::unordered_set<const Object*> described_;
  bool isCircular_ = false;
};

void Describer::describeElements(const id& owner, const NSArray& elements) {
  if (elements.count() == 0) return put("[]");
  if (!enters(owner)) return put("[...]");
  block(owner, "[\n", elements, "]", [&](const id& element, auto&& indented) { indented([&] { describe(element); }); });
}

void Describer::describeDictionary(const NSDictionary& dictionary) {
  if (dictionary.count() == 0) return put("{}");
  if (!enters(dictionary)) return put("{...}");
  block(dictionary, "{\n", dictionary, "}", [&](const DictionaryEntry& entry, auto&& indented) {
    putText(entry.key.description());
    text_ += " = ";
    indented([&] { describe(entry.value); });
  });
}

void Describer::describeModel(const id& object, const _KVTModelMeta& meta) {
  put("<" + std::string(class_getName(object.class_())) + ": " + addressOf(object.object()) + ">");
  if (meta.allPropertyMetas.count() == 0 || !enters(object)) return;
  std::vector<const _KVTModelPropertyMeta*> properties;
  for (const id& each : meta.allPropertyMetas) {
    properties.push_back(static_cast<const _KVTModelPropertyMeta*>(each.object()));
  }
  std::sort(properties.begin(), properties.end(),
            [](const auto* a, const auto* b) { return a->name.compare(b->name) == NSOrderedAscending; });
  block(object, " {\n", properties, "}", [&](const _KVTModelPropertyMeta* property, auto&& indented) {
    putText(property->name);
    text_ += " = ";
    indented([&] { describeProperty(object, *property); });
  });
}

void Describer::describeProperty(const id& object, const _KVTModelPropertyMeta& meta) {
  if (meta.isCNumber) {
    const NSNumber number = model::boxedNumber(object, meta);
    return putText(std::isfinite(number.doubleValue()) ? number.stringValue() : NSString());
  }
  switch (meta.valueType()) {
    case KVTEncodingTypeObject: return describe(model::getObject(object, meta));
    case KVTEncodingTypeClass: {
      const Class cls = model::getScalar<Class>(object, meta);
      return cls ? putText(id(cls).description()) : put("<nil>");
    }
    case KVTEncodingTypeSEL: {
      const SEL sel = model::getScalar<SEL>(object, meta);
      return put(sel ? sel_getName(sel) : "<NULL>");
    }
    case KVTEncodingTypeBlock: {
      const id callable = model::getObject(object, meta);
      return callable ? putText(callable.description()) : put("<nil>");
    }
    case KVTEncodingTypePointer:
    case KVTEncodingTypeCArray: return put(addressOf(objc_msgSend<const void*>(object, meta.getter)));
    case KVTEncodingTypeCString: return put(addressOf(model::getScalar<const char*>(object, meta)));
    case KVTEncodingTypeStruct:
    case KVTEncodingTypeUnion: {
      const id boxed = object.valueForKey(meta.name);
      return boxed ? putText(boxed.description()) : put("{unknown}");
    }
    default: return put("<unknown>");
  }
}

void Describer::describe(const id& value) {
  if (!value) return put("<nil>");
  if (value.is<NSNull>()) return put("<null>");
  if (!value.isKindOfClass(classOf<NSObject>())) return putText(value.description());
  const auto meta = _KVTModelMeta::metaWithClass(value.class_());
  switch (meta->nsType) {
    case KVTEncodingTypeNSString:
    case KVTEncodingTypeNSMutableString: return put("\"" + std::string(value.as<NSString>()) + "\"");
    case KVTEncodingTypeNSValue:
    case KVTEncodingTypeNSData:
    case KVTEncodingTypeNSMutableData: {
      const NSString text = value.description();
      if (text.length() <= kLongestValue) return putText(text);
      return put(std::string(text.substringToIndex(kLongestValue)) + "...");
    }
    case KVTEncodingTypeNSNumber:
    case KVTEncodingTypeNSDecimalNumber:
    case KVTEncodingTypeNSDate:
    case KVTEncodingTypeNSURL: return putText(value.description());
    case KVTEncodingTypeNSDictionary:
    case KVTEncodingTypeNSMutableDictionary: return describeDictionary(value.as<NSDictionary>());
    case KVTEncodingTypeNSArray:
    case KVTEncodingTypeNSMutableArray: return describeElements(value, value.as<NSArray>());
    case KVTEncodingTypeNSSet:
    case KVTEncodingTypeNSMutableSet: return describeElements(value, value.as<NSSet>().allObjects());
    case KVTEncodingTypeNSUnknown: break;
  }
  describeModel(value, *meta);
}

}  // namespace

NSString ModelDescription(const id& value) {
  Describer describer;
  describer.describe(value);
  return describer.text();
}

NSString kvt_modelDescription(const id& object) { return ModelDescription(object); }

}  // namespace kvt
