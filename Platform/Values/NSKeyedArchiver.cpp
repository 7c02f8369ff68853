#include "NSKeyedArchiver.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include <mutex>
#include <unordered_map>

#include "ArchiverBody.h"
#include "NSData.h"
#include "NSError.h"
#include "NSException.h"
#include "NSObject.h"
#include "NSString.h"
#include "PropertyListDocument.h"

namespace kvt {

__attribute__((init_priority(200))) const NSString NSInvalidArchiveOperationException =
    "NSInvalidArchiveOperationException"_ns;
__attribute__((init_priority(200))) const NSString NSInvalidUnarchiveOperationException =
    "NSInvalidUnarchiveOperationException"_ns;
__attribute__((init_priority(200))) const NSString NSKeyedArchiveRootObjectKey = "root"_ns;

namespace {

struct ClassNames {
  std::mutex lock;
  std::atomic<bool> isUsed{false};
  std::unordered_map<ClassBody*, NSString> names;
};
ClassNames& classNames() {
  static auto* shared = new ClassNames;
  return *shared;
}

ArchiverBody* bodyOf(const NSKeyedArchiver& archiver) noexcept { return ArchiverBody::of(archiver.object()); }

NSKeyedArchiver make(Class cls = classOf<NSKeyedArchiver>()) { return NSKeyedArchiver(adopt, new ArchiverBody(cls)); }

}  // namespace

NSData NSKeyedArchiver::archivedDataWithRootObject(const id& object) {
  const NSKeyedArchiver archiver = make();
  archiver.encodeObject_forKey(object, NSKeyedArchiveRootObjectKey);
  return archiver.encodedData();
}

NSData NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(const id& object,
                                                                               bool requiresSecureCoding,
                                                                               NSError* error) {
  const NSKeyedArchiver archiver = initRequiringSecureCoding(requiresSecureCoding);
  NSError failure;
  try {
    archiver.encodeObject_forKey(object, NSKeyedArchiveRootObjectKey);
    if (NSData data = archiver.encodedData()) return data;
    failure = archiver.error();
  } catch (const NSException& exception) {
    failure = propertyListError({NSCoderInvalidValueError, exception.reason().str()});
  }
  if (error != nullptr) *error = failure;
  return NSData();
}

bool NSKeyedArchiver::archiveRootObject_toFile(const id& object, const NSString& path) {
  const NSData data = archivedDataWithRootObject(object);
  return data && data.writeToFile_atomically(path, true);
}

NSKeyedArchiver NSKeyedArchiver::initForWritingWithMutableData(const NSMutableData& data) {
  if (!data) objc_raise("NSInvalidArgumentException", "-[NSKeyedArchiver initForWritingWithMutableData:]: data is nil");
  NSKeyedArchiver archiver = make();
  bodyOf(archiver)->target = data;
  return archiver;
}

NSKeyedArchiver NSKeyedArchiver::initRequiringSecureCoding(bool requiresSecureCoding) {
  NSKeyedArchiver archiver = make();
  bodyOf(archiver)->requiresSecureCoding = requiresSecureCoding;
  return archiver;
}

void NSKeyedArchiver::finishEncoding() const {
  if (*this) bodyOf(*this)->finish();
}

NSData NSKeyedArchiver::encodedData() const {
  if (!*this) return NSData();
  bodyOf(*this)->finish();
  return bodyOf(*this)->encoded;
}

NSPropertyListFormat NSKeyedArchiver::outputFormat() const noexcept {
  return *this ? bodyOf(*this)->format : NSPropertyListFormat();
}

void NSKeyedArchiver::setOutputFormat(NSPropertyListFormat format) const {
  if (!*this) return;
  if (format != NSPropertyListBinaryFormat_v1_0 && format != NSPropertyListXMLFormat_v1_0) {
    objc_raise("NSInvalidArgumentException", "-[NSKeyedArchiver setOutputFormat:]: archives are binary or XML");
  }
  bodyOf(*this)->format = format;
}

void NSKeyedArchiver::setRequiresSecureCoding(bool requiresSecureCoding) const {
  if (*this) bodyOf(*this)->requiresSecureCoding = requiresSecureCoding;
}

void NSKeyedArchiver::setClassName_forClass(const NSString& name, Class cls) const {
  if (!*this || !cls) return;
  if (name)
    bodyOf(*this)->classNames.insert_or_assign(cls, name.copy());
  else
    bodyOf(*this)->classNames.erase(cls);
}

NSString NSKeyedArchiver::classNameForClass(Class cls) const {
  if (!*this) return NSString();
  const auto& names = bodyOf(*this)->classNames;
  const auto found = names.find(cls);
  return found != names.end() ? found->second : NSString();
}

void NSKeyedArchiver::setClassName_forClass_class(const NSString& name, Class cls) {
  if (!cls) return;
  ClassNames& shared = classNames();
  const NSString kept = name.copy();
  const std::lock_guard lock(shared.lock);
  shared.isUsed.store(true, std::memory_order_release);
  if (kept)
    shared.names.insert_or_assign(cls.body(), kept);
  else
    shared.names.erase(cls.body());
}

NSString NSKeyedArchiver::classNameForClass_class(Class cls) {
  ClassNames& shared = classNames();
  if (!shared.isUsed.load(std::memory_order_acquire)) return NSString();
  const std::lock_guard lock(shared.lock);
  const auto found = shared.names.find(cls.body());
  return found != shared.names.end() ? found->second : NSString();
}

// ---- the class ----------------------------------------------------------------------------------------------------

namespace {

NSKeyedArchiver initForWriting(const id&, const NSMutableData& data) {
  return NSKeyedArchiver::initForWritingWithMutableData(data);
}
NSKeyedArchiver initRequiring(const id&, bool requiresSecureCoding) {
  return NSKeyedArchiver::initRequiringSecureCoding(requiresSecureCoding);
}

}  // namespace

Class NSKeyedArchiver::kvtClass() {
  static const Class cls = [] {
    using Self = NSKeyedArchiver;
    ClassBuilder<Self> c("NSKeyedArchiver", classOf<NSCoder>());
    c.classMethod<&Self::archivedDataWithRootObject>("archivedDataWithRootObject:");
    c.classMethod<&Self::archivedDataWithRootObject_requiringSecureCoding_error>(
        "archivedDataWithRootObject:requiringSecureCoding:error:");
    c.classMethod<&Self::archiveRootObject_toFile>("archiveRootObject:toFile:");
    c.classMethod<&Self::setClassName_forClass_class>("setClassName:forClass:");
    c.classMethod<&Self::classNameForClass_class>("classNameForClass:");
    c.method<&initForWriting>("initForWritingWithMutableData:");
    c.method<&initRequiring>("initRequiringSecureCoding:");
    c.method<&Self::finishEncoding>("finishEncoding").method<&Self::encodedData>("encodedData");
    c.method<&Self::outputFormat>("outputFormat").method<&Self::setOutputFormat>("setOutputFormat:");
    c.method<&Self::setRequiresSecureCoding>("setRequiresSecureCoding:");
    c.method<&Self::setClassName_forClass>("setClassName:forClass:");
    c.method<&Self::classNameForClass>("classNameForClass:");
    c.createWith([](Class made) -> Object* { return make(made).detach(); });
    return c.registerClass();
  }();
  return cls;
}

bool NSKeyedArchiver::kvtAccepts(const Object* object) noexcept { return ArchiverBody::of(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSKeyedArchiver>(), true);

}  // namespace kvt
