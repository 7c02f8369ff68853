#include "NSException.h"

#include <string>

#include <KVTPlatform/Runtime/Raise.h>

#include "NSDictionary.h"
#include "NSString.h"

// Made before other static objects, whose construction may raise or compare names.
#define KVT_NAME_CONSTANT(name) __attribute__((init_priority(200))) const NSString name = #name##_ns

namespace kvt {

KVT_NAME_CONSTANT(NSGenericException);
KVT_NAME_CONSTANT(NSRangeException);
KVT_NAME_CONSTANT(NSInvalidArgumentException);
KVT_NAME_CONSTANT(NSInternalInconsistencyException);
KVT_NAME_CONSTANT(NSMallocException);
KVT_NAME_CONSTANT(NSObjectNotAvailableException);
KVT_NAME_CONSTANT(NSUnknownKeyException);
KVT_NAME_CONSTANT(NSDecimalNumberExactnessException);
KVT_NAME_CONSTANT(NSDecimalNumberOverflowException);
KVT_NAME_CONSTANT(NSDecimalNumberUnderflowException);
KVT_NAME_CONSTANT(NSDecimalNumberDivideByZeroException);

namespace {

[[noreturn]] void throwException(const char* name, const std::string& reason) { throw NSException(name, reason); }

__attribute__((constructor(201))) void installRaiseHandler() { objc_setRaiseHandler(&throwException); }

}  // namespace

struct NSException::Content {
  NSString name;
  NSString reason;
  NSDictionary userInfo;
  std::string what;
};

NSException::NSException(const NSString& name, const NSString& reason, const NSDictionary& userInfo) {
  auto content = std::make_shared<Content>();
  content->name = name ? name.copy() : NSGenericException;
  content->reason = reason.copy();
  if (userInfo) content->userInfo = NSDictionary::dictionaryWithDictionary(userInfo);
  content->what = content->name.str();
  if (reason) content->what += ": " + reason.str();
  content_ = std::move(content);
}
NSException::NSException(const NSString& name, const NSString& reason) : NSException(name, reason, NSDictionary()) {}
NSException::~NSException() = default;

NSException NSException::exceptionWithName_reason_userInfo(const NSString& name, const NSString& reason,
                                                           const NSDictionary& userInfo) {
  return NSException(name, reason, userInfo);
}

NSString NSException::name() const { return content_->name; }
NSString NSException::reason() const { return content_->reason; }
NSDictionary NSException::userInfo() const { return content_->userInfo; }
const char* NSException::what() const noexcept { return content_->what.c_str(); }

void NSException::raise() const { throw *this; }

void NSException::raise_format_arguments(const NSString& name, const NSString& format, const FormatArgument* arguments,
                                         NSUInteger count) {
  throw NSException(name, NSString::stringWithFormat_arguments(format, arguments, count));
}

}  // namespace kvt
