// The mapping metadata of a model class, built once and cached: which properties are mapped, by which keys, and which
// hooks the class implements; not installed.
#pragma once

#include <string>
#include <vector>

#include "KVTClassInfo.h"

namespace kvt {

/// Where a class stands among the Foundation types.
enum KVTEncodingNSType : NSUInteger {
  KVTEncodingTypeNSUnknown = 0,
  KVTEncodingTypeNSString = 1,
  KVTEncodingTypeNSMutableString = 2,
  KVTEncodingTypeNSValue = 3,
  KVTEncodingTypeNSNumber = 4,
  KVTEncodingTypeNSDecimalNumber = 5,
  KVTEncodingTypeNSData = 6,
  KVTEncodingTypeNSMutableData = 7,
  KVTEncodingTypeNSDate = 8,
  KVTEncodingTypeNSURL = 9,
  KVTEncodingTypeNSArray = 10,
  KVTEncodingTypeNSMutableArray = 11,
  KVTEncodingTypeNSDictionary = 12,
  KVTEncodingTypeNSMutableDictionary = 13,
  KVTEncodingTypeNSSet = 14,
  KVTEncodingTypeNSMutableSet = 15,
};

/// The first Foundation type that the class is or inherits from, mutable types before their immutable bases.
KVT_EXPORT KVTEncodingNSType KVTClassGetNSType(Class cls);

/// One mappable property of a model class. Immutable once its model's meta is built.
class KVT_EXPORT _KVTModelPropertyMeta : public NSObject {
 public:
  static Ref<_KVTModelPropertyMeta> metaWithClassInfo_propertyInfo_generic(
      const Ref<KVTClassInfo>& classInfo, const Ref<KVTClassPropertyInfo>& propertyInfo, Class generic);

  NSString name;
  KVTEncodingType type = KVTEncodingTypeUnknown;
  KVTEncodingNSType nsType = KVTEncodingTypeNSUnknown;
  bool isCNumber = false;
  Class cls;
  Class genericCls;
  SEL getter;
  SEL setter;
  bool isKVCCompatible = false;
  bool isStructAvailableForKeyedArchiver = false;
  bool hasCustomClassFromDictionary = false;
  NSString mappedToKey;
  NSArray mappedToKeyPath;
  NSArray mappedToKeyArray;
  Ref<KVTClassPropertyInfo> info;
  Ref<_KVTModelPropertyMeta> next;

  KVTEncodingType valueType() const noexcept { return type & KVTEncodingTypeMask; }

  KVT_CLASS(_KVTModelPropertyMeta, name, type, nsType, isCNumber, cls, genericCls, getter, setter, isKVCCompatible,
            isStructAvailableForKeyedArchiver, hasCustomClassFromDictionary, mappedToKey, mappedToKeyPath,
            mappedToKeyArray, info, next)
};

/// The mapping of one class. Immutable once built.
class KVT_EXPORT _KVTModelMeta : public NSObject {
 public:
  /// The cached meta; nil for nil. A meta whose class info was marked stale is built anew.
  static Ref<_KVTModelMeta> metaWithClass(Class cls);

  Ref<KVTClassInfo> classInfo;
  NSDictionary mapper;  // JSON key (or key list) → head of a chain; nil when nothing is mapped
  NSArray allPropertyMetas;
  NSArray keyPathPropertyMetas;
  NSArray multiKeysPropertyMetas;
  NSUInteger keyMappedCount = 0;
  KVTEncodingNSType nsType = KVTEncodingTypeNSUnknown;
  bool hasCustomWillTransformFromDictionary = false;
  bool hasCustomTransformFromDictionary = false;
  bool hasCustomTransformToDictionary = false;
  bool hasCustomClassFromDictionary = false;

  KVT_CLASS(_KVTModelMeta, classInfo, mapper, allPropertyMetas, keyPathPropertyMetas, multiKeysPropertyMetas,
            keyMappedCount, nsType, hasCustomWillTransformFromDictionary, hasCustomTransformFromDictionary,
            hasCustomTransformToDictionary, hasCustomClassFromDictionary)

 private:
  static Ref<_KVTModelMeta> initWithClass(Class cls);
  bool isStale() const;

  std::uint64_t builtAt_ = 0;         // the run time's generation
  bool namesUnknownClasses_ = false;  // a class that is registered later may fill a gap
};

}  // namespace kvt
