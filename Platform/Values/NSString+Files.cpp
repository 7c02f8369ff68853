// Text in files.
#include "NSData.h"
#include "NSDictionary.h"
#include "NSError.h"
#include "NSNumber.h"
#include "NSStringInternal.h"

namespace kvt {
namespace {

void reportEncoding(NSError* error, NSCocoaErrorCode code, const NSString& path, NSStringEncoding encoding) {
  if (error == nullptr) return;
  const NSDictionary details = {{NSFilePathErrorKey, path},
                                {"NSStringEncoding", NSNumber(static_cast<NSUInteger>(encoding))}};
  *error = NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, code, details);
}

}  // namespace

NSString NSString::stringWithContentsOfFile_encoding_error(const NSString& path, NSStringEncoding encoding,
                                                           NSError* error) {
  text::checkNotNil(path, "+[NSString stringWithContentsOfFile:encoding:error:]");
  const NSData data = NSData::dataWithContentsOfFile_options_error(path, 0, error);
  if (!data) return NSString();
  const NSString text = stringWithData_encoding(data, encoding);
  if (!text) reportEncoding(error, NSFileReadInapplicableStringEncodingError, path, encoding);
  return text;
}

bool NSString::writeToFile_atomically_encoding_error(const NSString& path, bool atomically, NSStringEncoding encoding,
                                                     NSError* error) const {
  if (!*this) return false;
  text::checkNotNil(path, "-[NSString writeToFile:atomically:encoding:error:]");
  const NSData data = dataUsingEncoding(encoding);
  if (!data) {
    reportEncoding(error, NSFileWriteInapplicableStringEncodingError, path, encoding);
    return false;
  }
  return data.writeToFile_options_error(path, atomically ? NSUInteger{NSDataWritingAtomic} : 0, error);
}

}  // namespace kvt
