// What went wrong, for operations that report instead of raising: a domain, a code, and details for the user.
//
//     NSError error;
//     NSData data = NSData::dataWithContentsOfFile_options_error(path, 0, &error);
//     if (!data) show(error.localizedDescription());   // The file “a.txt” couldn’t be opened because there is no such
//     file. error.code() == NSFileReadNoSuchFileError;
//
// Thread rule: immutable, any thread.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSString;
class NSDictionary;

extern KVT_EXPORT const NSString NSCocoaErrorDomain;
extern KVT_EXPORT const NSString NSPOSIXErrorDomain;  // codes are errno values
extern KVT_EXPORT const NSString NSOSStatusErrorDomain;

// Keys of the details. Values are texts unless said otherwise.
extern KVT_EXPORT const NSString NSLocalizedDescriptionKey;         // the whole message
extern KVT_EXPORT const NSString NSLocalizedFailureReasonErrorKey;  // why
extern KVT_EXPORT const NSString NSLocalizedRecoverySuggestionErrorKey;
extern KVT_EXPORT const NSString NSUnderlyingErrorKey;  // an NSError
extern KVT_EXPORT const NSString NSFilePathErrorKey;
extern KVT_EXPORT const NSString NSURLErrorKey;               // an NSURL
extern KVT_EXPORT const NSString NSDebugDescriptionErrorKey;  // for developers; its text is "NSDebugDescription"

/// Codes of NSCocoaErrorDomain that this library reports.
enum NSCocoaErrorCode : NSInteger {
  NSFileNoSuchFileError = 4,
  NSFileLockingError = 255,
  NSFileReadUnknownError = 256,
  NSFileReadNoPermissionError = 257,
  NSFileReadInvalidFileNameError = 258,
  NSFileReadCorruptFileError = 259,
  NSFileReadNoSuchFileError = 260,
  NSFileReadInapplicableStringEncodingError = 261,
  NSFileReadUnsupportedSchemeError = 262,
  NSFileReadTooLargeError = 263,
  NSFileWriteUnknownError = 512,
  NSFileWriteNoPermissionError = 513,
  NSFileWriteInvalidFileNameError = 514,
  NSFileWriteFileExistsError = 516,
  NSFileWriteInapplicableStringEncodingError = 517,
  NSFileWriteUnsupportedSchemeError = 518,
  NSFileWriteOutOfSpaceError = 640,
  NSFileWriteVolumeReadOnlyError = 642,
  NSKeyValueValidationError = 1024,
  NSFormattingError = 2048,
  NSUserCancelledError = 3072,
  NSPropertyListReadCorruptError = 3840,
  NSPropertyListReadUnknownVersionError = 3841,
  NSPropertyListReadStreamError = 3842,
  NSPropertyListWriteStreamError = 3851,
  NSPropertyListWriteInvalidError = 3852,
  NSCoderReadCorruptError = 4864,
  NSCoderValueNotFoundError = 4865,
  NSCoderInvalidValueError = 4866,
};

class KVT_EXPORT NSError : public id {
  KVT_HANDLE(NSError, id)

 public:
  /// `userInfo` may be nil; a mutable one is copied.
  static NSError errorWithDomain_code_userInfo(const NSString& domain, NSInteger code, const NSDictionary& userInfo);

  NSString domain() const;
  NSInteger code() const noexcept;
  /// Never nil: empty when none was given (nil on nil).
  NSDictionary userInfo() const;

  /// The text under NSLocalizedDescriptionKey; without one "The operation couldn’t be completed. REASON" with the
  /// failure reason or, when there is none, "The operation couldn’t be completed. (DOMAIN error CODE.)".
  NSString localizedDescription() const;
  /// The text under NSLocalizedFailureReasonErrorKey; without one, the system's text for the codes of the POSIX domain
  /// and of the Cocoa domain's files; else nil.
  NSString localizedFailureReason() const;
  /// The text under NSLocalizedRecoverySuggestionErrorKey, or nil.
  NSString localizedRecoverySuggestion() const;

  // `isEqual`: equal domains, codes and details.
  // `description`: Error Domain=DOMAIN Code=CODE "DESCRIPTION" UserInfo={KEY=VALUE, …}, without the last part when
  // there are no details; the description is (null) when nothing describes the error.
};

}  // namespace kvt
