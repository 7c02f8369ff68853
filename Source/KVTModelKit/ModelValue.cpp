#include "ModelValue.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include "ModelAccess.h"
#include "NSObject+KVTModel.h"

namespace kvt {

Class KVTNSBlockClass() {
  static const Class topmost = [] {
    const Block<void()> block = [] {};
    Class cls = object_getClass(block.object());
    const Class root = classOf<NSObject>();
    while (class_getSuperclass(cls) && class_getSuperclass(cls) != root) cls = class_getSuperclass(cls);
    return cls;
  }();
  return topmost;
}

namespace {

using model::setObject;
using model::setScalar;

/// A number at a property's width. Nothing counts as zero.
template <class T>
T numberAs(const NSNumber& number) {
  if constexpr (std::is_same_v<T, bool>)
    return number.boolValue();
  else if constexpr (std::is_same_v<T, std::int8_t>)
    return number.charValue();
  else if constexpr (std::is_same_v<T, std::uint8_t>)
    return number.unsignedCharValue();
  else if constexpr (std::is_same_v<T, std::int16_t>)
    return number.shortValue();
  else if constexpr (std::is_same_v<T, std::uint16_t>)
    return number.unsignedShortValue();
  else if constexpr (std::is_same_v<T, std::int32_t>)
    return number.intValue();
  else if constexpr (std::is_same_v<T, std::uint32_t>)
    return number.unsignedIntValue();
  else if constexpr (std::is_integral_v<T>) {
    // A decimal is read from its text, as a signed number in both cases: beyond 63 bits it ends at the largest one.
    if (number.is<NSDecimalNumber>()) {
      return static_cast<T>(std::strtoll(number.stringValue().UTF8String(), nullptr, 10));
    }
    if constexpr (std::is_signed_v<T>)
      return number.longLongValue();
    else
      return number.unsignedLongLongValue();
  } else {
    if constexpr (std::is_same_v<T, float>) {
      const float value = number.floatValue();
      return std::isfinite(value) ? value : 0;
    } else if constexpr (std::is_same_v<T, double>) {
      const double value = number.doubleValue();
      return std::isfinite(value) ? value : 0;
    } else {
      return static_cast<T>(number.doubleValue());
    }
  }
}

/// The text of a value that counts as text; mutable for bytes, which are decoded into new text. Nil for other values.
id textOf(const id& value, bool& isText) {
  isText = true;
  if (value.is<NSString>()) return value;
  if (NSNumber number = value.as<NSNumber>()) return number.stringValue();
  if (NSData data = value.as<NSData>()) {
    const NSString text(std::string_view(static_cast<const char*>(data.bytes()), data.length()));
    return text.mutableCopy();
  }
  if (NSURL url = value.as<NSURL>()) return url.absoluteString();
  if (NSAttributedString attributed = value.as<NSAttributedString>()) return attributed.string();
  isText = false;
  return {};
}

/// An array's elements, or a set's members; nil for anything else.
NSArray elementsOf(const id& value) {
  if (NSArray array = value.as<NSArray>()) return array;
  if (NSSet set = value.as<NSSet>()) return set.allObjects();
  return {};
}

/// The class that a nested dictionary becomes an instance of.
Class classFor(const _KVTModelPropertyMeta& meta, Class declared, const NSDictionary& dictionary) {
  if (meta.hasCustomClassFromDictionary) {
    static const SEL customClass = "modelCustomClassForDictionary:";
    if (Class chosen = objc_msgSend<Class>(declared, customClass, dictionary)) return chosen;
  }
  return declared;
}

/// A new model filled from a dictionary. A fill that was refused leaves the model as it is, and it counts all the same.
id modelFrom(const _KVTModelPropertyMeta& meta, Class declared, const NSDictionary& dictionary) {
  id one(adopt, class_createInstance(classFor(meta, declared, dictionary)));
  model::fillNested(one, dictionary);
  return one;
}

/// Instances of the element class as they are, dictionaries as new models, anything else dropped.
template <class Collection>
void addModels(const _KVTModelPropertyMeta& meta, const NSArray& source, Collection& into) {
  for (const id& element : source) {
    if (element.isKindOfClass(meta.genericCls)) {
      into.addObject(element);
    } else if (NSDictionary dictionary = element.as<NSDictionary>()) {
      if (id one = modelFrom(meta, meta.genericCls, dictionary)) into.addObject(one);
    }
  }
}

void setArray(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  const NSArray source = elementsOf(value);
  if (meta.genericCls) {
    if (!source) return;
    NSMutableArray models = NSMutableArray::array();
    addModels(meta, source, models);
    setObject(object, meta, models);
  } else if (source) {
    const bool isMutable = meta.nsType == KVTEncodingTypeNSMutableArray;
    setObject(object, meta, isMutable ? source.mutableCopy() : id(source));
  }
}

void setDictionary(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  const NSDictionary source = value.as<NSDictionary>();
  if (!source) return;
  if (meta.genericCls) {
    NSMutableDictionary models = NSMutableDictionary::dictionary();
    for (const auto& [key, element] : source) {
      if (NSDictionary dictionary = element.template as<NSDictionary>()) {
        if (id one = modelFrom(meta, meta.genericCls, dictionary)) models.setObject_forKey(one, key);
      }
    }
    setObject(object, meta, models);
  } else {
    const bool isMutable = meta.nsType == KVTEncodingTypeNSMutableDictionary;
    setObject(object, meta, isMutable ? source.mutableCopy() : id(source));
  }
}

/// Sets differ from arrays in what they make of other values: with an element class those give an empty set, without
/// one none.
void setSet(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  if (meta.genericCls) {
    NSMutableSet models = NSMutableSet::set();
    addModels(meta, elementsOf(value), models);
    setObject(object, meta, models);
    return;
  }
  id set;
  if (value.is<NSSet>())
    set = value;
  else if (NSArray array = value.as<NSArray>())
    set = NSMutableSet::setWithArray(array);
  const bool copies = meta.nsType == KVTEncodingTypeNSMutableSet && set;
  setObject(object, meta, copies ? set.mutableCopy() : set);
}

void setFoundationValue(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  if (value.is<NSNull>()) return setObject(object, meta, nullptr);
  switch (meta.nsType) {
    case KVTEncodingTypeNSString:
    case KVTEncodingTypeNSMutableString: {
      bool isText = false;
      id text = textOf(value, isText);
      if (!isText) return;
      const bool isMutable = meta.nsType == KVTEncodingTypeNSMutableString;
      // Decoded bytes are new mutable text already.
      setObject(object, meta, isMutable && text && !value.is<NSData>() ? text.mutableCopy() : text);
      return;
    }
    case KVTEncodingTypeNSValue:
      if (value.is<NSValue>()) setObject(object, meta, value);
      return;
    case KVTEncodingTypeNSNumber: return setObject(object, meta, KVTNSNumberCreateFromID(value));
    case KVTEncodingTypeNSDecimalNumber:
      if (value.is<NSDecimalNumber>()) {
        setObject(object, meta, value);
      } else if (NSNumber number = value.as<NSNumber>()) {
        setObject(object, meta, number.decimalValue());
      } else if (NSString text = value.as<NSString>()) {
        const NSDecimalNumber decimal = NSDecimalNumber::decimalNumberWithString(text);
        setObject(object, meta, decimal.isEqual(NSDecimalNumber::notANumber()) ? id() : id(decimal));
      }
      return;
    case KVTEncodingTypeNSData:
    case KVTEncodingTypeNSMutableData: {
      NSData data = value.as<NSData>();
      if (NSString text = value.as<NSString>()) {
        // Text with a lone surrogate has no bytes.
        data = text.UTF8String() != nullptr ? NSData(text.utf8()) : NSData();
      } else if (!data) {
        return;
      }
      const bool isMutable = meta.nsType == KVTEncodingTypeNSMutableData;
      setObject(object, meta, isMutable && data ? data.mutableCopy() : id(data));
      return;
    }
    case KVTEncodingTypeNSDate:
      if (value.is<NSDate>())
        setObject(object, meta, value);
      else if (NSString text = value.as<NSString>())
        setObject(object, meta, KVTNSDateFromString(text));
      return;
    case KVTEncodingTypeNSURL:
      if (value.is<NSURL>()) {
        setObject(object, meta, value);
      } else if (NSString text = value.as<NSString>()) {
        const NSString trimmed =
            text.stringByTrimmingCharactersInSet(NSCharacterSet::whitespaceAndNewlineCharacterSet());
        setObject(object, meta, trimmed.length() == 0 ? NSURL() : NSURL::URLWithString(trimmed));
      }
      return;
    case KVTEncodingTypeNSArray:
    case KVTEncodingTypeNSMutableArray: return setArray(object, value, meta);
    case KVTEncodingTypeNSDictionary:
    case KVTEncodingTypeNSMutableDictionary: return setDictionary(object, value, meta);
    case KVTEncodingTypeNSSet:
    case KVTEncodingTypeNSMutableSet: return setSet(object, value, meta);
    case KVTEncodingTypeNSUnknown: return;
  }
}

void setModelValue(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  const Class wanted = meta.genericCls ? meta.genericCls : meta.cls;
  if (value.is<NSNull>()) {
    setObject(object, meta, nullptr);
  } else if (!wanted || value.isKindOfClass(wanted)) {
    setObject(object, meta, value);
  } else if (NSDictionary dictionary = value.as<NSDictionary>()) {
    const id present = meta.getter ? model::getObject(object, meta) : id();
    if (present) {
      model::fillNested(present, dictionary);
    } else if (id one = modelFrom(meta, wanted, dictionary)) {
      setObject(object, meta, one);
    }
  }
}

void setOtherValue(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  const bool isNull = value.is<NSNull>();
  switch (meta.valueType()) {
    case KVTEncodingTypeObject: return setModelValue(object, value, meta);
    case KVTEncodingTypeClass:
      if (isNull) {
        setScalar<Class>(object, meta, Class());
      } else if (NSString name = value.as<NSString>()) {
        if (Class cls = objc_getClass(std::string(name))) setScalar<Class>(object, meta, cls);
      } else if (Class cls = value.asClass()) {
        setScalar<Class>(object, meta, cls);
      }
      return;
    case KVTEncodingTypeSEL:
      if (isNull)
        setScalar<SEL>(object, meta, SEL());
      else if (NSString name = value.as<NSString>())
        setScalar<SEL>(object, meta, SEL(std::string_view(std::string(name))));
      return;
    case KVTEncodingTypeBlock:
      if (isNull)
        setObject(object, meta, nullptr);
      else if (value.isKindOfClass(KVTNSBlockClass()))
        setObject(object, meta, value);
      return;
    case KVTEncodingTypePointer:
    case KVTEncodingTypeCString: {
      const bool isText = meta.valueType() == KVTEncodingTypeCString;
      void* pointer = nullptr;
      if (!isNull) {
        const NSValue boxed = value.as<NSValue>();
        if (!boxed || std::strcmp(boxed.objCType(), "^v") != 0) return;
        pointer = boxed.pointerValue();
      }
      if (isText)
        setScalar<const char*>(object, meta, static_cast<const char*>(pointer));
      else
        setScalar<void*>(object, meta, pointer);
      return;
    }
    case KVTEncodingTypeStruct:
    case KVTEncodingTypeUnion:
    case KVTEncodingTypeCArray: {
      const NSValue boxed = value.as<NSValue>();
      if (boxed && meta.info->kvtTypeEncoding() == boxed.objCType()) object.setValue_forKey(value, meta.name);
      return;
    }
    default: return;
  }
}

}  // namespace

void ModelSetNumberForProperty(const id& object, const NSNumber& number, const _KVTModelPropertyMeta& meta) {
  model::withNumberType(meta.valueType(), [&]<class T>(T) { setScalar<T>(object, meta, numberAs<T>(number)); });
}

void ModelSetValueForProperty(const id& object, const id& value, const _KVTModelPropertyMeta& meta) {
  if (meta.isCNumber) {
    ModelSetNumberForProperty(object, KVTNSNumberCreateFromID(value), meta);
  } else if (meta.nsType != KVTEncodingTypeNSUnknown) {
    setFoundationValue(object, value, meta);
  } else {
    setOtherValue(object, value, meta);
  }
}

}  // namespace kvt
