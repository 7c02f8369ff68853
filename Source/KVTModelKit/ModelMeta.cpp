#include "ModelMeta.h"

#include <algorithm>
#include <array>
#include <semaphore>
#include <set>
#include <unordered_map>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSSet.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

namespace kvt {

KVTEncodingNSType KVTClassGetNSType(Class cls) {
  // Mutable types stand before their immutable bases: the first hit wins.
  static const std::array<std::pair<Class, KVTEncodingNSType>, 15> table = {{
      {classOf<NSMutableString>(), KVTEncodingTypeNSMutableString},
      {classOf<NSString>(), KVTEncodingTypeNSString},
      {classOf<NSDecimalNumber>(), KVTEncodingTypeNSDecimalNumber},
      {classOf<NSNumber>(), KVTEncodingTypeNSNumber},
      {classOf<NSValue>(), KVTEncodingTypeNSValue},
      {classOf<NSMutableData>(), KVTEncodingTypeNSMutableData},
      {classOf<NSData>(), KVTEncodingTypeNSData},
      {classOf<NSDate>(), KVTEncodingTypeNSDate},
      {classOf<NSURL>(), KVTEncodingTypeNSURL},
      {classOf<NSMutableArray>(), KVTEncodingTypeNSMutableArray},
      {classOf<NSArray>(), KVTEncodingTypeNSArray},
      {classOf<NSMutableDictionary>(), KVTEncodingTypeNSMutableDictionary},
      {classOf<NSDictionary>(), KVTEncodingTypeNSDictionary},
      {classOf<NSMutableSet>(), KVTEncodingTypeNSMutableSet},
      {classOf<NSSet>(), KVTEncodingTypeNSSet},
  }};
  if (!cls) return KVTEncodingTypeNSUnknown;
  for (const auto& [type, value] : table) {
    if (class_isSubclassOf(cls, type)) return value;
  }
  return KVTEncodingTypeNSUnknown;
}

namespace {

const SEL kBlacklist = "modelPropertyBlacklist";
const SEL kWhitelist = "modelPropertyWhitelist";
const SEL kGenericClass = "modelContainerPropertyGenericClass";
const SEL kPropertyMapper = "modelCustomPropertyMapper";
const SEL kCustomClass = "modelCustomClassForDictionary:";
const SEL kWillTransform = "modelCustomWillTransformFromDictionary:";
const SEL kTransformFrom = "modelCustomTransformFromDictionary:";
const SEL kTransformTo = "modelCustomTransformToDictionary:";

bool classResponds(Class cls, SEL sel) { return class_getClassMethod(cls, sel) != nullptr; }

/// Geometry that a keyed archive can hold, in its two widths.
bool isArchivableGeometry(const NSString& encoding) {
  static const std::set<std::string, std::less<>> encodings = {
      "{CGSize=ff}",
      "{CGPoint=ff}",
      "{CGRect={CGPoint=ff}{CGSize=ff}}",
      "{CGAffineTransform=ffffff}",
      "{UIEdgeInsets=ffff}",
      "{UIOffset=ff}",
      "{CGSize=dd}",
      "{CGPoint=dd}",
      "{CGRect={CGPoint=dd}{CGSize=dd}}",
      "{CGAffineTransform=dddddd}",
      "{UIEdgeInsets=dddd}",
      "{UIOffset=dd}",
  };
  return encodings.contains(std::string(encoding));
}

std::vector<NSString> splitAtPoints(const NSString& key) {
  std::vector<NSString> parts;
  const std::string text(key);
  std::size_t start = 0;
  for (std::size_t point; (point = text.find('.', start)) != std::string::npos; start = point + 1) {
    parts.emplace_back(text.substr(start, point - start));
  }
  parts.emplace_back(text.substr(start));
  return parts;
}

NSArray arrayOf(const std::vector<NSString>& parts) {
  NSMutableArray array = NSMutableArray::array();
  for (const NSString& part : parts) array.addObject(part);
  return array.copy().as<NSArray>();
}

/// A hook's answer, if it is a collection of the kind that is asked for.
template <class Collection>
Collection answerOf(Class cls, SEL hook) {
  return classResponds(cls, hook) ? objc_msgSend<id>(cls, hook).as<Collection>() : Collection();
}

/// Property names to consider, from a black- or whitelist.
NSSet namesFrom(Class cls, SEL hook) {
  NSArray names = answerOf<NSArray>(cls, hook);
  return names ? NSSet::setWithArray(names) : NSSet();
}

/// Property name → element class, unusable entries dropped.
NSDictionary genericClasses(Class cls, bool& namesUnknownClass) {
  NSDictionary declared = answerOf<NSDictionary>(cls, kGenericClass);
  if (!declared) return {};
  NSMutableDictionary usable = NSMutableDictionary::dictionary();
  for (const auto& [key, value] : declared) {
    if (!key.template is<NSString>()) continue;
    if (value.class_() && class_isMetaClass(value.class_())) {
      usable.setObject_forKey(value, key);
    } else if (NSString name = value.template as<NSString>()) {
      if (Class named = objc_getClass(std::string(name)))
        usable.setObject_forKey(id(named), key);
      else
        namesUnknownClass = true;
    }
  }
  return usable;
}

}  // namespace

Ref<_KVTModelPropertyMeta> _KVTModelPropertyMeta::metaWithClassInfo_propertyInfo_generic(
    const Ref<KVTClassInfo>& classInfo, const Ref<KVTClassPropertyInfo>& propertyInfo, Class generic) {
  if (!classInfo || !propertyInfo) return {};
  // An array declared with a protocol that is named like a model class has that class as its elements' class.
  if (!generic) {
    for (const id& protocol : propertyInfo->kvtProtocols()) {
      if ((generic = objc_getClass(std::string(protocol.as<NSString>())))) break;
    }
  }
  auto meta = make<_KVTModelPropertyMeta>();
  meta->name = propertyInfo->kvtName();
  meta->type = propertyInfo->kvtType();
  meta->info = propertyInfo;
  meta->genericCls = generic;
  const KVTEncodingType valueType = meta->valueType();
  if (valueType == KVTEncodingTypeObject) {
    meta->nsType = KVTClassGetNSType(propertyInfo->kvtCls());
  } else {
    meta->isCNumber = valueType >= KVTEncodingTypeBool && valueType <= KVTEncodingTypeLongDouble;
  }
  if (valueType == KVTEncodingTypeStruct) {
    meta->isStructAvailableForKeyedArchiver = isArchivableGeometry(propertyInfo->kvtTypeEncoding());
  }
  meta->cls = propertyInfo->kvtCls();
  if (generic) {
    meta->hasCustomClassFromDictionary = classResponds(generic, kCustomClass);
  } else if (meta->cls && meta->nsType == KVTEncodingTypeNSUnknown) {
    meta->hasCustomClassFromDictionary = classResponds(meta->cls, kCustomClass);
  }
  if (class_respondsToSelector(classInfo->cls(), propertyInfo->kvtGetter())) meta->getter = propertyInfo->kvtGetter();
  if (class_respondsToSelector(classInfo->cls(), propertyInfo->kvtSetter())) meta->setter = propertyInfo->kvtSetter();
  if (meta->getter && meta->setter) {
    meta->isKVCCompatible = (valueType >= KVTEncodingTypeBool && valueType <= KVTEncodingTypeDouble) ||
                            valueType == KVTEncodingTypeObject || valueType == KVTEncodingTypeClass ||
                            valueType == KVTEncodingTypeBlock || valueType == KVTEncodingTypeStruct ||
                            valueType == KVTEncodingTypeUnion;
  }
  return meta;
}

Ref<_KVTModelMeta> _KVTModelMeta::initWithClass(Class cls) {
  const std::uint64_t generation = objc_runtimeGeneration();
  Ref<KVTClassInfo> classInfo = KVTClassInfo::classInfoWithClass(cls);
  if (!classInfo) return {};
  auto meta = make<_KVTModelMeta>();
  meta->classInfo = classInfo;
  meta->builtAt_ = generation;

  const NSSet blacklist = namesFrom(cls, kBlacklist);
  const NSSet whitelist = namesFrom(cls, kWhitelist);
  const NSDictionary generics = genericClasses(cls, meta->namesUnknownClasses_);

  // From the class upwards, the root excluded; the first property of a name is kept, so a subclass's declaration wins.
  NSMutableArray all = NSMutableArray::array();
  NSMutableDictionary unmapped = NSMutableDictionary::dictionary();
  NSMutableSet kept = NSMutableSet::set();
  // Each is asked for by its class, so that one which names a class that was registered meanwhile is up to date.
  for (Ref<KVTClassInfo> each = classInfo; each && each->kvtSuperCls();
       each = KVTClassInfo::classInfoWithClass(each->kvtSuperCls())) {
    meta->namesUnknownClasses_ = meta->namesUnknownClasses_ || each->namesUnknownClasses();
    for (const auto& [key, value] : each->kvtPropertyInfos()) {
      auto propertyInfo = value.template as<KVTClassPropertyInfo>();
      const NSString name = propertyInfo->kvtName();
      if (!name || blacklist.containsObject(name) || (whitelist && !whitelist.containsObject(name))) continue;
      auto property = _KVTModelPropertyMeta::metaWithClassInfo_propertyInfo_generic(
          classInfo, propertyInfo, generics.objectForKey(name).asClass());
      if (!property || !property->name || !property->getter || !property->setter || kept.containsObject(name)) continue;
      kept.addObject(name);
      all.addObject(property);
      unmapped.setObject_forKey(property, name);
    }
  }
  if (all.count() > 0) meta->allPropertyMetas = all;
  meta->keyMappedCount = all.count();

  NSMutableDictionary mapper = NSMutableDictionary::dictionary();
  NSMutableArray keyPaths = NSMutableArray::array();
  NSMutableArray multiKeys = NSMutableArray::array();
  auto chain = [&mapper](const Ref<_KVTModelPropertyMeta>& property, const id& key) {
    property->next = mapper.objectForKey(key).as<_KVTModelPropertyMeta>();
    mapper.setObject_forKey(property, key);
  };
  for (const auto& [name, mapped] : answerOf<NSDictionary>(cls, kPropertyMapper)) {
    auto property = unmapped.objectForKey(name).template as<_KVTModelPropertyMeta>();
    if (!property) continue;
    unmapped.removeObjectForKey(name);
    if (NSString key = mapped.template as<NSString>()) {
      if (key.length() == 0) continue;  // an empty key takes the property out of the mapping
      property->mappedToKey = key.copy().template as<NSString>();
      std::vector<NSString> parts = splitAtPoints(key);
      std::erase_if(parts, [](const NSString& part) { return part.length() == 0; });
      if (parts.size() > 1) {
        property->mappedToKeyPath = arrayOf(parts);
        keyPaths.addObject(property);
      }
      chain(property, property->mappedToKey);
    } else if (NSArray list = mapped.template as<NSArray>()) {
      NSMutableArray keys = NSMutableArray::array();
      for (const id& element : list) {
        NSString each = element.as<NSString>();
        if (each.length() == 0) continue;
        const std::vector<NSString> parts = splitAtPoints(each);
        const NSArray path = parts.size() > 1 ? arrayOf(parts) : NSArray();
        keys.addObject(path ? id(path) : each.copy());
        if (!property->mappedToKey) {
          property->mappedToKey = each.copy().as<NSString>();
          property->mappedToKeyPath = path;
        }
      }
      if (!property->mappedToKey) continue;
      property->mappedToKeyArray = keys;
      multiKeys.addObject(property);
      chain(property, list);
    }
  }
  for (const auto& [name, value] : unmapped) {
    auto property = value.template as<_KVTModelPropertyMeta>();
    property->mappedToKey = property->name;
    chain(property, property->name);
  }
  if (mapper.count() > 0) meta->mapper = mapper;
  meta->keyPathPropertyMetas = keyPaths;
  meta->multiKeysPropertyMetas = multiKeys;

  meta->nsType = KVTClassGetNSType(cls);
  meta->hasCustomWillTransformFromDictionary = class_respondsToSelector(cls, kWillTransform);
  meta->hasCustomTransformFromDictionary = class_respondsToSelector(cls, kTransformFrom);
  meta->hasCustomTransformToDictionary = class_respondsToSelector(cls, kTransformTo);
  meta->hasCustomClassFromDictionary = classResponds(cls, kCustomClass);
  return meta;
}

bool _KVTModelMeta::isStale() const {
  return classInfo->needUpdate() || (namesUnknownClasses_ && builtAt_ != objc_runtimeGeneration());
}

namespace {

struct ModelMetaCache {
  std::unordered_map<ClassBody*, Ref<_KVTModelMeta>> metas;
  std::counting_semaphore<> lock{1};
};

// Lives for the process, like the class infos under it.
ModelMetaCache& modelMetaCache() {
  static auto* cache = new ModelMetaCache;
  return *cache;
}

}  // namespace

Ref<_KVTModelMeta> _KVTModelMeta::metaWithClass(Class cls) {
  if (!cls) return {};
  ModelMetaCache& cache = modelMetaCache();
  cache.lock.acquire();
  Ref<_KVTModelMeta> meta;
  if (auto found = cache.metas.find(cls.body()); found != cache.metas.end()) meta = found->second;
  cache.lock.release();
  if (meta && !meta->isStale()) return meta;
  // Built outside the lock: hooks run. Of two threads that build the same one, the later store wins.
  meta = initWithClass(cls);
  if (!meta) return {};
  cache.lock.acquire();
  cache.metas[cls.body()] = meta;
  cache.lock.release();
  return meta;
}

}  // namespace kvt
