// What the platform's operations raise for a programmer's mistake: a C++ exception with a name and a reason.
//
//     try {
//       array.objectAtIndex(7);
//     } catch (const NSException& e) {
//       e.name() == NSRangeException;      // YES
//       e.what();                          // "NSRangeException: -[NSArray objectAtIndex:]: index 7 beyond bounds [0 ..
//       2]"
//     }
//
// It is thrown by value and caught by reference; copies share their content and cannot fail. Thread rule: immutable.
#pragma once

#include <exception>
#include <memory>

#include "NSStringFormat.h"
#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSString;
class NSDictionary;

class KVT_EXPORT NSException : public std::exception {
 public:
  /// `userInfo` may be nil. A nil name reads as "NSGenericException"; a nil reason stays nil.
  NSException(const NSString& name, const NSString& reason, const NSDictionary& userInfo);
  NSException(const NSString& name, const NSString& reason);
  ~NSException() override;
  NSException(const NSException&) noexcept = default;
  NSException& operator=(const NSException&) noexcept = default;

  static NSException exceptionWithName_reason_userInfo(const NSString& name, const NSString& reason,
                                                       const NSDictionary& userInfo);

  NSString name() const;
  NSString reason() const;
  NSDictionary userInfo() const;
  /// "NAME: REASON" in UTF-8, the name alone when there is no reason.
  const char* what() const noexcept override;

  /// Throws a copy of itself.
  [[noreturn]] void raise() const;
  /// Throws an exception with that name and a reason made as by `NSString::stringWithFormat`.
  template <class... A>
  [[noreturn]] static void raise_format(const NSString& name, const NSString& format, const A&... arguments) {
    const FormatArgument list[sizeof...(A) + 1] = {FormatArgument(arguments)..., FormatArgument(0)};
    raise_format_arguments(name, format, list, sizeof...(A));
  }
  [[noreturn]] static void raise_format_arguments(const NSString& name, const NSString& format,
                                                  const FormatArgument* arguments, NSUInteger count);

 private:
  struct Content;
  std::shared_ptr<const Content> content_;
};

extern KVT_EXPORT const NSString NSGenericException;
extern KVT_EXPORT const NSString NSRangeException;
extern KVT_EXPORT const NSString NSInvalidArgumentException;
extern KVT_EXPORT const NSString NSInternalInconsistencyException;
extern KVT_EXPORT const NSString NSMallocException;
extern KVT_EXPORT const NSString NSObjectNotAvailableException;
extern KVT_EXPORT const NSString NSUnknownKeyException;  // key-value access; its text is "NSUnknownKeyException"
extern KVT_EXPORT const NSString NSDecimalNumberExactnessException;
extern KVT_EXPORT const NSString NSDecimalNumberOverflowException;
extern KVT_EXPORT const NSString NSDecimalNumberUnderflowException;
extern KVT_EXPORT const NSString NSDecimalNumberDivideByZeroException;

}  // namespace kvt
