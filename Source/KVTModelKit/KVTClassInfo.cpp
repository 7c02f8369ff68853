#include "KVTClassInfo.h"

#include <semaphore>
#include <unordered_map>

namespace kvt {

KVTEncodingType KVTEncodingGetType(const char* typeEncoding) noexcept {
  if (typeEncoding == nullptr || *typeEncoding == '\0') return KVTEncodingTypeUnknown;
  KVTEncodingType qualifiers = KVTEncodingTypeUnknown;
  for (;; ++typeEncoding) {
    KVTEncodingType qualifier = KVTEncodingTypeUnknown;
    switch (*typeEncoding) {
      case 'r': qualifier = KVTEncodingTypeQualifierConst; break;
      case 'n': qualifier = KVTEncodingTypeQualifierIn; break;
      case 'N': qualifier = KVTEncodingTypeQualifierInout; break;
      case 'o': qualifier = KVTEncodingTypeQualifierOut; break;
      case 'O': qualifier = KVTEncodingTypeQualifierBycopy; break;
      case 'R': qualifier = KVTEncodingTypeQualifierByref; break;
      case 'V': qualifier = KVTEncodingTypeQualifierOneway; break;
      default: break;
    }
    if (qualifier == KVTEncodingTypeUnknown) break;
    qualifiers |= qualifier;
  }
  switch (*typeEncoding) {
    case 'v': return qualifiers | KVTEncodingTypeVoid;
    case 'B': return qualifiers | KVTEncodingTypeBool;
    case 'c': return qualifiers | KVTEncodingTypeInt8;
    case 'C': return qualifiers | KVTEncodingTypeUInt8;
    case 's': return qualifiers | KVTEncodingTypeInt16;
    case 'S': return qualifiers | KVTEncodingTypeUInt16;
    case 'i':
    case 'l': return qualifiers | KVTEncodingTypeInt32;
    case 'I':
    case 'L': return qualifiers | KVTEncodingTypeUInt32;
    case 'q': return qualifiers | KVTEncodingTypeInt64;
    case 'Q': return qualifiers | KVTEncodingTypeUInt64;
    case 'f': return qualifiers | KVTEncodingTypeFloat;
    case 'd': return qualifiers | KVTEncodingTypeDouble;
    case 'D': return qualifiers | KVTEncodingTypeLongDouble;
    case '#': return qualifiers | KVTEncodingTypeClass;
    case ':': return qualifiers | KVTEncodingTypeSEL;
    case '*': return qualifiers | KVTEncodingTypeCString;
    case '^': return qualifiers | KVTEncodingTypePointer;
    case '[': return qualifiers | KVTEncodingTypeCArray;
    case '(': return qualifiers | KVTEncodingTypeUnion;
    case '{': return qualifiers | KVTEncodingTypeStruct;
    case '@':
      // A longer text that starts with "@?" is an object, not a block.
      return qualifiers |
             (typeEncoding[1] == '?' && typeEncoding[2] == '\0' ? KVTEncodingTypeBlock : KVTEncodingTypeObject);
    default: return qualifiers;
  }
}

// ---- ivars, methods -------------------------------------------------------------------------------------------------

Ref<KVTClassIvarInfo> KVTClassIvarInfo::initWithIvarInfo(Ivar ivar) {
  if (ivar == nullptr) return {};
  auto info = make<KVTClassIvarInfo>();
  info->kvtIvar_ = ivar;
  if (const char* name = ivar_getName(ivar)) info->kvtName_ = NSString(name);
  info->kvtOffset_ = ivar_getOffset(ivar);
  if (const char* encoding = ivar_getTypeEncoding(ivar)) {
    info->kvtTypeEncoding_ = NSString(encoding);
    info->kvtType_ = KVTEncodingGetType(encoding);
  }
  return info;
}

void KVTClassIvarInfo::kvtDescribe(ClassBuilder<KVTClassIvarInfo>& c) {
  c.property<&KVTClassIvarInfo::kvtIvar_>("kvtIvar", {.readonly = true});
  c.property<&KVTClassIvarInfo::kvtName_>("kvtName", {.readonly = true});
  c.property<&KVTClassIvarInfo::kvtOffset_>("kvtOffset", {.readonly = true});
  c.property<&KVTClassIvarInfo::kvtTypeEncoding_>("kvtTypeEncoding", {.readonly = true});
  c.property<&KVTClassIvarInfo::kvtType_>("kvtType", {.readonly = true});
}

Ref<KVTClassMethodInfo> KVTClassMethodInfo::initWithMethod(Method method) {
  if (method == nullptr) return {};
  auto info = make<KVTClassMethodInfo>();
  info->kvtMethod_ = method;
  info->kvtSel_ = method_getName(method);
  info->kvtImp_ = method_getImplementation(method);
  if (info->kvtSel_) info->kvtName_ = NSString(sel_getName(info->kvtSel_));
  if (const char* encoding = method_getTypeEncoding(method)) info->kvtTypeEncoding_ = NSString(encoding);
  info->kvtReturnTypeEncoding_ = NSString(method_copyReturnType(method));
  if (const unsigned count = method_getNumberOfArguments(method)) {
    NSMutableArray encodings = NSMutableArray::array();
    for (unsigned i = 0; i < count; ++i) encodings.addObject(NSString(method_copyArgumentType(method, i)));
    info->kvtArgumentTypeEncodings_ = encodings;
  }
  return info;
}

void KVTClassMethodInfo::kvtDescribe(ClassBuilder<KVTClassMethodInfo>& c) {
  c.property<&KVTClassMethodInfo::kvtMethod_>("kvtMethod", {.readonly = true});
  c.property<&KVTClassMethodInfo::kvtName_>("kvtName", {.readonly = true});
  c.property<&KVTClassMethodInfo::kvtSel_>("kvtSel", {.readonly = true});
  c.property<&KVTClassMethodInfo::kvtImp_>("kvtImp", {.readonly = true});
  c.property<&KVTClassMethodInfo::kvtTypeEncoding_>("kvtTypeEncoding", {.readonly = true});
  c.property<&KVTClassMethodInfo::kvtReturnTypeEncoding_>("kvtReturnTypeEncoding", {.readonly = true});
  c.property<&KVTClassMethodInfo::kvtArgumentTypeEncodings_>("kvtArgumentTypeEncodings", {.readonly = true});
}

// ---- properties -----------------------------------------------------------------------------------------------------

void KVTClassPropertyInfo::readTypeEncoding(const std::string& encoding) {
  kvtTypeEncoding_ = NSString(encoding);
  // The type comes first in every attribute list: nothing that was collected before is lost.
  kvtType_ = KVTEncodingGetType(encoding.c_str());
  if ((kvtType_ & KVTEncodingTypeMask) != KVTEncodingTypeObject || !encoding.starts_with("@\"")) return;
  std::size_t position = encoding.find_first_of("\"<", 2);
  const std::string className = encoding.substr(2, position == std::string::npos ? position : position - 2);
  if (!className.empty()) {
    kvtCls_ = objc_getClass(className);
    namesUnknownClass_ = !kvtCls_;
  }
  NSMutableArray protocols;
  while (position < encoding.size() && encoding[position] == '<') {
    const std::size_t close = encoding.find('>', ++position);
    const std::string protocol = encoding.substr(position, close == std::string::npos ? close : close - position);
    if (!protocol.empty()) {
      if (!protocols) protocols = NSMutableArray::array();
      protocols.addObject(NSString(protocol));
      // A protocol may be named like a class that comes later.
      if (!objc_getClass(protocol)) namesUnknownClass_ = true;
    }
    position = close == std::string::npos ? encoding.size() : close + 1;
  }
  kvtProtocols_ = protocols;
}

Ref<KVTClassPropertyInfo> KVTClassPropertyInfo::initWithProperty(Property property) {
  if (property == nullptr) return {};
  auto info = make<KVTClassPropertyInfo>();
  info->kvtProperty_ = property;
  const std::string name = property_getName(property) != nullptr ? property_getName(property) : "";
  info->kvtName_ = NSString(name);
  for (const PropertyAttribute& attribute : property_copyAttributeList(property)) {
    const std::string& value = attribute.value;
    switch (attribute.name.empty() ? '\0' : attribute.name[0]) {
      case 'T':
        if (!value.empty()) info->readTypeEncoding(value);
        break;
      case 'V':
        if (!value.empty()) info->kvtIvarName_ = NSString(value);
        break;
      case 'R': info->kvtType_ |= KVTEncodingTypePropertyReadonly; break;
      case 'C': info->kvtType_ |= KVTEncodingTypePropertyCopy; break;
      case '&': info->kvtType_ |= KVTEncodingTypePropertyRetain; break;
      case 'N': info->kvtType_ |= KVTEncodingTypePropertyNonatomic; break;
      case 'W': info->kvtType_ |= KVTEncodingTypePropertyWeak; break;
      case 'D': info->kvtType_ |= KVTEncodingTypePropertyDynamic; break;
      case 'G':
        info->kvtType_ |= KVTEncodingTypePropertyCustomGetter;
        if (!value.empty()) info->kvtGetter_ = SEL(std::string_view(value));
        break;
      case 'S':
        info->kvtType_ |= KVTEncodingTypePropertyCustomSetter;
        if (!value.empty()) info->kvtSetter_ = SEL(std::string_view(value));
        break;
      default: break;
    }
  }
  if (!name.empty()) {
    if (!info->kvtGetter_) info->kvtGetter_ = SEL(std::string_view(name));
    if (!info->kvtSetter_) {
      const NSString first =
          info->kvtName_.substringToIndex(info->kvtName_.rangeOfComposedCharacterSequenceAtIndex(0).length)
              .uppercaseString();
      const NSString rest =
          info->kvtName_.substringFromIndex(info->kvtName_.rangeOfComposedCharacterSequenceAtIndex(0).length);
      info->kvtSetter_ = SEL(std::string_view("set" + std::string(first) + std::string(rest) + ":"));
    }
  }
  return info;
}

void KVTClassPropertyInfo::kvtDescribe(ClassBuilder<KVTClassPropertyInfo>& c) {
  c.property<&KVTClassPropertyInfo::kvtProperty_>("kvtProperty", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtName_>("kvtName", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtType_>("kvtType", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtTypeEncoding_>("kvtTypeEncoding", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtIvarName_>("kvtIvarName", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtCls_>("kvtCls", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtProtocols_>("kvtProtocols", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtGetter_>("kvtGetter", {.readonly = true});
  c.property<&KVTClassPropertyInfo::kvtSetter_>("kvtSetter", {.readonly = true});
}

// ---- classes --------------------------------------------------------------------------------------------------------

namespace {

struct ClassInfoCache {
  std::unordered_map<ClassBody*, Ref<KVTClassInfo>> classes;
  std::unordered_map<ClassBody*, Ref<KVTClassInfo>> metaclasses;
  std::counting_semaphore<> lock{1};
};

// Lives for the process: an info may be asked for while statics are destroyed.
ClassInfoCache& classInfoCache() {
  static auto* cache = new ClassInfoCache;
  return *cache;
}

template <class Info>
void addByName(NSMutableDictionary& dictionary, const Ref<Info>& info) {
  if (info && info->kvtName().length() > 0) dictionary.setObject_forKey(info, info->kvtName());
}

}  // namespace

Ref<KVTClassInfo> KVTClassInfo::initWithClass(Class cls) {
  if (!cls) return {};
  auto info = make<KVTClassInfo>();
  info->cls_ = cls;
  info->kvtSuperCls_ = class_getSuperclass(cls);
  info->kvtIsMeta_ = class_isMetaClass(cls);
  if (!info->kvtIsMeta_) info->kvtMetaCls_ = objc_getMetaClass(class_getName(cls));
  info->kvtName_ = NSString(class_getName(cls));
  info->_update();
  info->kvtSuperClassInfo_ = classInfoWithClass(info->kvtSuperCls_);
  return info;
}

void KVTClassInfo::_update() {
  // A mark that is set while the tables are read stays set: they may have been read before what it is for was added.
  needUpdate_.store(false, std::memory_order_release);
  describedAt_ = objc_runtimeGeneration();
  NSMutableDictionary methods = NSMutableDictionary::dictionary();
  for (Method method : class_copyMethodList(cls_)) addByName(methods, KVTClassMethodInfo::initWithMethod(method));
  NSMutableDictionary properties = NSMutableDictionary::dictionary();
  bool unknown = false;
  for (Property property : class_copyPropertyList(cls_)) {
    auto info = KVTClassPropertyInfo::initWithProperty(property);
    addByName(properties, info);
    unknown = unknown || info->namesUnknownClass_;
  }
  NSMutableDictionary ivars = NSMutableDictionary::dictionary();
  for (Ivar ivar : class_copyIvarList(cls_)) addByName(ivars, KVTClassIvarInfo::initWithIvarInfo(ivar));

  namesUnknownClasses_.store(unknown, std::memory_order_release);
  std::lock_guard lock(mutex_);
  kvtMethodInfos_ = methods;
  kvtPropertyInfos_ = properties;
  kvtIvarInfos_ = ivars;
}

bool KVTClassInfo::isStale() const noexcept {
  return needUpdate() || (namesUnknownClasses() && describedAt_ != objc_runtimeGeneration());
}

Ref<KVTClassInfo> KVTClassInfo::classInfoWithClass(Class cls) {
  if (!cls) return {};
  ClassInfoCache& cache = classInfoCache();
  cache.lock.acquire();
  auto& known = class_isMetaClass(cls) ? cache.metaclasses : cache.classes;
  if (auto found = known.find(cls.body()); found != known.end()) {
    Ref<KVTClassInfo> info = found->second;
    if (info->isStale()) info->_update();
    cache.lock.release();
    return info;
  }
  cache.lock.release();
  // Made outside the lock: this asks for the superclass's info.
  Ref<KVTClassInfo> info = initWithClass(cls);
  cache.lock.acquire();
  Ref<KVTClassInfo>& stored = (info->kvtIsMeta_ ? cache.metaclasses : cache.classes)[cls.body()];
  // Another thread was faster. The later store wins; what was built on the earlier one must notice, for marks will not
  // reach it.
  if (stored) stored->needUpdate_.store(true, std::memory_order_release);
  stored = info;
  cache.lock.release();
  return info;
}

Ref<KVTClassInfo> KVTClassInfo::classInfoWithClassName(const NSString& className) {
  return className ? classInfoWithClass(objc_getClass(std::string(className))) : Ref<KVTClassInfo>();
}

void KVTClassInfo::setNeedUpdate() noexcept {
  needUpdate_.store(true, std::memory_order_release);
  // Whatever was derived from classes elsewhere is out of date too.
  objc_noteRuntimeChange();
}

NSDictionary KVTClassInfo::kvtIvarInfos() const {
  std::lock_guard lock(mutex_);
  return kvtIvarInfos_;
}
NSDictionary KVTClassInfo::kvtMethodInfos() const {
  std::lock_guard lock(mutex_);
  return kvtMethodInfos_;
}
NSDictionary KVTClassInfo::kvtPropertyInfos() const {
  std::lock_guard lock(mutex_);
  return kvtPropertyInfos_;
}

void KVTClassInfo::kvtDescribe(ClassBuilder<KVTClassInfo>& c) {
  c.property<&KVTClassInfo::cls_>("cls", {.readonly = true});
  c.property<&KVTClassInfo::kvtSuperCls_>("kvtSuperCls", {.readonly = true});
  c.property<&KVTClassInfo::kvtMetaCls_>("kvtMetaCls", {.readonly = true});
  c.property<&KVTClassInfo::kvtIsMeta_>("kvtIsMeta", {.readonly = true});
  c.property<&KVTClassInfo::kvtName_>("kvtName", {.readonly = true});
  c.property<&KVTClassInfo::kvtSuperClassInfo_>("kvtSuperClassInfo", {.readonly = true});
  c.propertyOf<bool>("needUpdate", {.readonly = true}).method<&KVTClassInfo::needUpdate>("needUpdate");
  c.method<&KVTClassInfo::setNeedUpdate>("setNeedUpdate");
  c.propertyOf<NSDictionary>("kvtIvarInfos", {.readonly = true}).method<&KVTClassInfo::kvtIvarInfos>("kvtIvarInfos");
  c.propertyOf<NSDictionary>("kvtMethodInfos", {.readonly = true})
      .method<&KVTClassInfo::kvtMethodInfos>("kvtMethodInfos");
  c.propertyOf<NSDictionary>("kvtPropertyInfos", {.readonly = true})
      .method<&KVTClassInfo::kvtPropertyInfos>("kvtPropertyInfos");
  c.classMethod<&KVTClassInfo::classInfoWithClass>("classInfoWithClass:");
  c.classMethod<&KVTClassInfo::classInfoWithClassName>("classInfoWithClassName:");
}

}  // namespace kvt
