// Describes a class: its instance variables, methods and properties with decoded type encodings, cached once per class.
//
//     Ref<KVTClassInfo> info = KVTClassInfo::classInfoWithClass(classOf<User>());
//     for (auto [name, property] : info->kvtPropertyInfos())
//       property.as<KVTClassPropertyInfo>()->kvtType() & KVTEncodingTypeMask;      // KVTEncodingTypeObject, …
//
// Infos are made once and not changed afterwards, except that a `KVTClassInfo` marked by `setNeedUpdate` rebuilds its
// three dictionaries in place at the next request. Requests cost a semaphore and a hash look-up; the first one for a
// class walks its tables. Thread rule: everything here may be used from any thread.
#pragma once

#include <atomic>
#include <mutex>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTypes.h>

namespace kvt {

/// A decoded type encoding: the value type in the low byte, method qualifiers in the second, property attributes in the
/// third.
enum KVTEncodingType : NSUInteger {
  KVTEncodingTypeMask = 0xFF,
  KVTEncodingTypeUnknown = 0,
  KVTEncodingTypeVoid = 1,
  KVTEncodingTypeBool = 2,
  KVTEncodingTypeInt8 = 3,
  KVTEncodingTypeUInt8 = 4,
  KVTEncodingTypeInt16 = 5,
  KVTEncodingTypeUInt16 = 6,
  KVTEncodingTypeInt32 = 7,
  KVTEncodingTypeUInt32 = 8,
  KVTEncodingTypeInt64 = 9,
  KVTEncodingTypeUInt64 = 10,
  KVTEncodingTypeFloat = 11,
  KVTEncodingTypeDouble = 12,
  KVTEncodingTypeLongDouble = 13,
  KVTEncodingTypeObject = 14,
  KVTEncodingTypeClass = 15,
  KVTEncodingTypeSEL = 16,
  KVTEncodingTypeBlock = 17,
  KVTEncodingTypePointer = 18,
  KVTEncodingTypeStruct = 19,
  KVTEncodingTypeUnion = 20,
  KVTEncodingTypeCString = 21,
  KVTEncodingTypeCArray = 22,

  KVTEncodingTypeQualifierMask = 0xFF00,
  KVTEncodingTypeQualifierConst = 0x100,
  KVTEncodingTypeQualifierIn = 0x200,
  KVTEncodingTypeQualifierInout = 0x400,
  KVTEncodingTypeQualifierOut = 0x800,
  KVTEncodingTypeQualifierBycopy = 0x1000,
  KVTEncodingTypeQualifierByref = 0x2000,
  KVTEncodingTypeQualifierOneway = 0x4000,

  KVTEncodingTypePropertyMask = 0xFF0000,
  KVTEncodingTypePropertyReadonly = 0x10000,
  KVTEncodingTypePropertyCopy = 0x20000,
  KVTEncodingTypePropertyRetain = 0x40000,
  KVTEncodingTypePropertyNonatomic = 0x80000,
  KVTEncodingTypePropertyWeak = 0x100000,
  KVTEncodingTypePropertyCustomGetter = 0x200000,
  KVTEncodingTypePropertyCustomSetter = 0x400000,
  KVTEncodingTypePropertyDynamic = 0x800000,
};

constexpr KVTEncodingType operator|(KVTEncodingType a, KVTEncodingType b) noexcept {
  return static_cast<KVTEncodingType>(static_cast<NSUInteger>(a) | static_cast<NSUInteger>(b));
}
constexpr KVTEncodingType operator&(KVTEncodingType a, KVTEncodingType b) noexcept {
  return static_cast<KVTEncodingType>(static_cast<NSUInteger>(a) & static_cast<NSUInteger>(b));
}
constexpr KVTEncodingType& operator|=(KVTEncodingType& a, KVTEncodingType b) noexcept { return a = a | b; }

/// Decodes a type encoding; 0 for null and for "". Leading qualifiers are collected; of the rest the first character
/// decides, except that exactly "@?" is a block. An unknown character leaves the low byte 0.
KVT_EXPORT KVTEncodingType KVTEncodingGetType(const char* typeEncoding) noexcept;

class KVT_EXPORT KVTClassIvarInfo : public NSObject {
 public:
  /// nil for a null ivar.
  static Ref<KVTClassIvarInfo> initWithIvarInfo(Ivar ivar);

  Ivar kvtIvar() const noexcept { return kvtIvar_; }
  const NSString& kvtName() const noexcept { return kvtName_; }
  /// Bytes from the object's address.
  std::ptrdiff_t kvtOffset() const noexcept { return kvtOffset_; }
  const NSString& kvtTypeEncoding() const noexcept { return kvtTypeEncoding_; }
  KVTEncodingType kvtType() const noexcept { return kvtType_; }

 private:
  static void kvtDescribe(ClassBuilder<KVTClassIvarInfo>& c);
  Ivar kvtIvar_ = nullptr;
  NSString kvtName_;
  std::ptrdiff_t kvtOffset_ = 0;
  NSString kvtTypeEncoding_;
  KVTEncodingType kvtType_ = KVTEncodingTypeUnknown;
  KVT_CLASS(KVTClassIvarInfo)
};

class KVT_EXPORT KVTClassMethodInfo : public NSObject {
 public:
  /// nil for a null method.
  static Ref<KVTClassMethodInfo> initWithMethod(Method method);

  Method kvtMethod() const noexcept { return kvtMethod_; }
  const NSString& kvtName() const noexcept { return kvtName_; }
  SEL kvtSel() const noexcept { return kvtSel_; }
  /// The implementation at the time when the info was made.
  IMP kvtImp() const noexcept { return kvtImp_; }
  const NSString& kvtTypeEncoding() const noexcept { return kvtTypeEncoding_; }
  const NSString& kvtReturnTypeEncoding() const noexcept { return kvtReturnTypeEncoding_; }
  /// One text for each argument, receiver and selector included; nil for a method without arguments.
  const NSArray& kvtArgumentTypeEncodings() const noexcept { return kvtArgumentTypeEncodings_; }

 private:
  static void kvtDescribe(ClassBuilder<KVTClassMethodInfo>& c);
  Method kvtMethod_ = nullptr;
  NSString kvtName_;
  SEL kvtSel_;
  IMP kvtImp_ = nullptr;
  NSString kvtTypeEncoding_;
  NSString kvtReturnTypeEncoding_;
  NSArray kvtArgumentTypeEncodings_;
  KVT_CLASS(KVTClassMethodInfo)
};

class KVT_EXPORT KVTClassPropertyInfo : public NSObject {
 public:
  /// nil for a null property.
  static Ref<KVTClassPropertyInfo> initWithProperty(Property property);

  Property kvtProperty() const noexcept { return kvtProperty_; }
  const NSString& kvtName() const noexcept { return kvtName_; }
  /// With the attribute bits.
  KVTEncodingType kvtType() const noexcept { return kvtType_; }
  const NSString& kvtTypeEncoding() const noexcept { return kvtTypeEncoding_; }
  const NSString& kvtIvarName() const noexcept { return kvtIvarName_; }
  /// The class that an object encoding names; nil when it names none or one that is not known.
  Class kvtCls() const noexcept { return kvtCls_; }
  /// Protocol names in order; nil when there are none.
  const NSArray& kvtProtocols() const noexcept { return kvtProtocols_; }
  SEL kvtGetter() const noexcept { return kvtGetter_; }
  SEL kvtSetter() const noexcept { return kvtSetter_; }

 private:
  friend class KVTClassInfo;
  static void kvtDescribe(ClassBuilder<KVTClassPropertyInfo>& c);
  void readTypeEncoding(const std::string& encoding);

  Property kvtProperty_ = nullptr;
  NSString kvtName_;
  KVTEncodingType kvtType_ = KVTEncodingTypeUnknown;
  NSString kvtTypeEncoding_;
  NSString kvtIvarName_;
  Class kvtCls_;
  NSArray kvtProtocols_;
  SEL kvtGetter_;
  SEL kvtSetter_;
  bool namesUnknownClass_ = false;
  KVT_CLASS(KVTClassPropertyInfo)
};

class KVT_EXPORT KVTClassInfo : public NSObject {
 public:
  /// The info of a class, made on first request; nil for nil. Metaclasses have infos of their own.
  static Ref<KVTClassInfo> classInfoWithClass(Class cls);
  /// The same by name; nil when no class of that name is registered.
  static Ref<KVTClassInfo> classInfoWithClassName(const NSString& className);

  /// Marks the info stale: for callers that have added methods or properties to the class at run time. The next request
  /// rebuilds the dictionaries of this very object.
  void setNeedUpdate() noexcept;
  bool needUpdate() const noexcept { return needUpdate_.load(std::memory_order_acquire); }

  bool kvtIsMeta() const noexcept { return kvtIsMeta_; }
  Class cls() const noexcept { return cls_; }
  Class kvtSuperCls() const noexcept { return kvtSuperCls_; }
  /// nil for a metaclass.
  Class kvtMetaCls() const noexcept { return kvtMetaCls_; }
  const NSString& kvtName() const noexcept { return kvtName_; }
  /// nil for a root class.
  const Ref<KVTClassInfo>& kvtSuperClassInfo() const noexcept { return kvtSuperClassInfo_; }
  /// Own members by name; never nil. The dictionaries as they are now: an update makes new ones.
  NSDictionary kvtIvarInfos() const;
  NSDictionary kvtMethodInfos() const;
  NSDictionary kvtPropertyInfos() const;

  /// Whether a property names a class that was not known when it was described and may be by now: a class that was
  /// registered later is found without a mark.
  bool namesUnknownClasses() const noexcept { return namesUnknownClasses_.load(std::memory_order_acquire); }

 private:
  static void kvtDescribe(ClassBuilder<KVTClassInfo>& c);
  static Ref<KVTClassInfo> initWithClass(Class cls);
  void _update();
  bool isStale() const noexcept;

  Class cls_;
  Class kvtSuperCls_;
  Class kvtMetaCls_;
  bool kvtIsMeta_ = false;
  std::atomic<bool> needUpdate_{false};
  std::atomic<bool> namesUnknownClasses_{false};
  std::uint64_t describedAt_ = 0;  // the run time's generation; guarded by the cache's semaphore
  NSString kvtName_;
  Ref<KVTClassInfo> kvtSuperClassInfo_;
  mutable std::mutex mutex_;  // guards the dictionaries against an update while they are read
  NSDictionary kvtIvarInfos_, kvtMethodInfos_, kvtPropertyInfos_;
  KVT_CLASS(KVTClassInfo)
};

}  // namespace kvt
