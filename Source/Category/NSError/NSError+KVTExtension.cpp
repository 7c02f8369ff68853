#include "NSError+KVTExtension.h"

#include <KVTPlatform/Values/NSDictionary.h>

#include "../Category.h"

namespace kvt {
namespace {

/// "" for what is no text.
NSString textOf(const Boxed& value) {
  const NSString text = value.object().as<NSString>();
  return text ? text.copy() : ""_ns;
}

}  // namespace

NSError kvt_errorWithDomain_code_description(const NSString& domain, NSInteger code, const Boxed& description) {
  const NSString text = textOf(description);
  NSDictionary details;
  if (text.length() > 0) details = {{NSLocalizedDescriptionKey, text}};
  return NSError::errorWithDomain_code_userInfo(domain, code, details);
}

NSError kvt_errorWithCode_description_failureReason(NSInteger code, const Boxed& description,
                                                    const Boxed& failureReason) {
  return NSError::errorWithDomain_code_userInfo(
      "com.vultex.brisko"_ns, code,
      {{NSLocalizedDescriptionKey, textOf(description)}, {NSLocalizedFailureReasonErrorKey, textOf(failureReason)}});
}

NSError kvt_errorWithCode_description(NSInteger code, const Boxed& description) {
  return kvt_errorWithCode_description_failureReason(code, description, ""_ns);
}

// ---- the category --------------------------------------------------------------------------------------------------

namespace {

NSError withDomain(const NSString& domain, NSInteger code, const id& description) {
  return kvt_errorWithDomain_code_description(domain, code, description);
}
NSError withCode(NSInteger code, const id& description) { return kvt_errorWithCode_description(code, description); }
NSError withCodeAndReason(NSInteger code, const id& description, const id& failureReason) {
  return kvt_errorWithCode_description_failureReason(code, description, failureReason);
}

[[maybe_unused]] const bool registered = addCategory<NSError>([](ClassBuilder<NSError>& c) {
  c.classMethod<&withDomain>("kvt_errorWithDomain:code:description:");
  c.classMethod<&withCode>("kvt_errorWithCode:description:");
  c.classMethod<&withCodeAndReason>("kvt_errorWithCode:description:failureReason:");
});

}  // namespace
}  // namespace kvt
