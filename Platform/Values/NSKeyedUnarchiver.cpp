#include "NSKeyedUnarchiver.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include <atomic>
#include <mutex>

#include "NSData.h"
#include "NSError.h"
#include "NSException.h"
#include "NSObject.h"
#include "NSString.h"
#include "UnarchiverBody.h"

namespace kvt {
namespace {

struct NamedClasses {
  std::mutex lock;
  std::atomic<bool> isUsed{false};
  std::map<std::string, Class, std::less<>> classes;
};
NamedClasses& namedClasses() {
  static auto* shared = new NamedClasses;
  return *shared;
}

UnarchiverBody* bodyOf(const NSKeyedUnarchiver& unarchiver) noexcept { return UnarchiverBody::of(unarchiver.object()); }

/// An unarchiver on the data; nil and the failure when it is no archive.
NSKeyedUnarchiver open(const NSData& data, PropertyListFailure& failure) {
  auto* body = new UnarchiverBody(classOf<NSKeyedUnarchiver>());
  NSKeyedUnarchiver unarchiver(adopt, body);
  return body->open(data, failure) ? unarchiver : NSKeyedUnarchiver();
}

void set(std::map<std::string, Class, std::less<>>& classes, const NSString& name, Class cls) {
  if (cls)
    classes.insert_or_assign(name.str(), cls);
  else
    classes.erase(name.str());
}

id unarchive(const UnarchiverBody::Classes& classes, const NSData& data, NSError* error) {
  const auto fail = [error](const NSError& failure) {
    if (error != nullptr) *error = failure;
    return id();
  };
  NSError failure;
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingFromData_error(data, &failure);
  if (!unarchiver) return fail(failure);
  UnarchiverBody& body = *bodyOf(unarchiver);
  try {
    if (body.find(NSKeyedArchiveRootObjectKey.utf8()) == nullptr) {
      return fail(propertyListError({NSCoderValueNotFoundError, "The keyed archive has no root object."}));
    }
    const id object = body.decode(NSKeyedArchiveRootObjectKey.utf8(), &classes);
    return body.error ? fail(body.error) : object;
  } catch (const NSException& exception) {
    return fail(propertyListError({NSCoderReadCorruptError, exception.reason().str()}));
  }
}

}  // namespace

id NSKeyedUnarchiver::unarchivedObjectOfClass_fromData_error(Class cls, const NSData& data, NSError* error) {
  return unarchive({cls}, data, error);
}

id NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(const NSSet& classes, const NSData& data,
                                                               NSError* error) {
  UnarchiverBody::Classes list;
  for (const id& each : classes) list.push_back(each.asClass());
  return unarchive(list, data, error);
}

id NSKeyedUnarchiver::unarchiveObjectWithData(const NSData& data) {
  if (!data) return id();
  return initForReadingWithData(data).decodeObjectForKey(NSKeyedArchiveRootObjectKey);
}

id NSKeyedUnarchiver::unarchiveObjectWithFile(const NSString& path) {
  return unarchiveObjectWithData(NSData::dataWithContentsOfFile(path));
}

NSKeyedUnarchiver NSKeyedUnarchiver::initForReadingWithData(const NSData& data) {
  PropertyListFailure failure;
  NSKeyedUnarchiver unarchiver = open(data, failure);
  if (!unarchiver) {
    objc_raise("NSInvalidArgumentException",
               "*** -[NSKeyedUnarchiver initForReadingWithData:]: incomprehensible archive: " + failure.reason);
  }
  return unarchiver;
}

NSKeyedUnarchiver NSKeyedUnarchiver::initForReadingFromData_error(const NSData& data, NSError* error) {
  PropertyListFailure failure;
  NSKeyedUnarchiver unarchiver = open(data, failure);
  if (!unarchiver) {
    if (error != nullptr) *error = propertyListError({NSCoderReadCorruptError, failure.reason});
    return unarchiver;
  }
  bodyOf(unarchiver)->requiresSecureCoding = true;
  bodyOf(unarchiver)->policy = NSDecodingFailurePolicySetErrorAndReturn;
  return unarchiver;
}

void NSKeyedUnarchiver::finishDecoding() const {
  if (*this) bodyOf(*this)->isFinished = true;
}

void NSKeyedUnarchiver::setRequiresSecureCoding(bool requiresSecureCoding) const {
  if (*this) bodyOf(*this)->requiresSecureCoding = requiresSecureCoding;
}

void NSKeyedUnarchiver::setDecodingFailurePolicy(NSDecodingFailurePolicy policy) const {
  if (*this) bodyOf(*this)->policy = policy;
}

void NSKeyedUnarchiver::setClass_forClassName(Class cls, const NSString& name) const {
  if (*this && name) set(bodyOf(*this)->classes, name, cls);
}

Class NSKeyedUnarchiver::classForClassName(const NSString& name) const {
  if (!*this || !name) return Class();
  const auto& classes = bodyOf(*this)->classes;
  const auto found = classes.find(name.str());
  return found != classes.end() ? found->second : Class();
}

void NSKeyedUnarchiver::setClass_forClassName_class(Class cls, const NSString& name) {
  if (!name) return;
  NamedClasses& shared = namedClasses();
  const std::lock_guard lock(shared.lock);
  shared.isUsed.store(true, std::memory_order_release);
  set(shared.classes, name, cls);
}

Class NSKeyedUnarchiver::classForClassName_class(const NSString& name) {
  NamedClasses& shared = namedClasses();
  if (!name || !shared.isUsed.load(std::memory_order_acquire)) return Class();
  const std::lock_guard lock(shared.lock);
  const auto found = shared.classes.find(name.str());
  return found != shared.classes.end() ? found->second : Class();
}

// ---- the class ----------------------------------------------------------------------------------------------------

namespace {

NSKeyedUnarchiver initForReading(const id&, const NSData& data) {
  return NSKeyedUnarchiver::initForReadingWithData(data);
}
NSKeyedUnarchiver initForReadingFrom(const id&, const NSData& data, NSError* error) {
  return NSKeyedUnarchiver::initForReadingFromData_error(data, error);
}

}  // namespace

Class NSKeyedUnarchiver::kvtClass() {
  static const Class cls = [] {
    using Self = NSKeyedUnarchiver;
    ClassBuilder<Self> c("NSKeyedUnarchiver", classOf<NSCoder>());
    c.classMethod<&Self::unarchivedObjectOfClass_fromData_error>("unarchivedObjectOfClass:fromData:error:");
    c.classMethod<&Self::unarchivedObjectOfClasses_fromData_error>("unarchivedObjectOfClasses:fromData:error:");
    c.classMethod<&Self::unarchiveObjectWithData>("unarchiveObjectWithData:");
    c.classMethod<&Self::unarchiveObjectWithFile>("unarchiveObjectWithFile:");
    c.classMethod<&Self::setClass_forClassName_class>("setClass:forClassName:");
    c.classMethod<&Self::classForClassName_class>("classForClassName:");
    c.method<&initForReading>("initForReadingWithData:").method<&initForReadingFrom>("initForReadingFromData:error:");
    c.method<&Self::finishDecoding>("finishDecoding");
    c.method<&Self::setRequiresSecureCoding>("setRequiresSecureCoding:");
    c.method<&Self::setDecodingFailurePolicy>("setDecodingFailurePolicy:");
    c.method<&Self::setClass_forClassName>("setClass:forClassName:");
    c.method<&Self::classForClassName>("classForClassName:");
    // One that reads nothing, for the initialisers above to be sent to.
    c.createWith([](Class made) -> Object* { return new UnarchiverBody(made); });
    return c.registerClass();
  }();
  return cls;
}

bool NSKeyedUnarchiver::kvtAccepts(const Object* object) noexcept { return UnarchiverBody::of(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSKeyedUnarchiver>(), true);

}  // namespace kvt
