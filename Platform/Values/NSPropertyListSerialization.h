// Property lists: text, numbers, dates, data, arrays and dictionaries with text keys, as a file of the platform's
// binary or XML format, and back.
//
//     NSError error;
//     NSPropertyListFormat format;
//     id list = NSPropertyListSerialization::propertyListWithData_options_format_error(data, 0, &format, &error);
//     if (!list) log(error.userInfo()[NSDebugDescriptionErrorKey]);   // Element <key> without a value at line 7.
//     NSData xml = NSPropertyListSerialization::dataWithPropertyList_format_options_error(
//         list, NSPropertyListXMLFormat_v1_0);
//
// Both formats keep what they hold: integers of 64 bits (those above INT64_MAX as unsigned ones) and, as decimal
// numbers, larger ones up to 38 digits; reals to the last bit (a float is one again after the binary format, a double
// after XML); dates to the last bit in the binary format, to the second in XML; text with surrogates that stand
// alone in the binary format only. Dictionaries keep their order. A UID, which keyed archives are made of, is an
// `NSKeyedArchiverUID`.
//
// Whatever the bytes: a reader answers in time and memory proportional to their number, and says what is wrong where.
// Containers may be nested 512 deep. Thread rule: any thread. Objects that are written must not be changed meanwhile.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSData;
class NSError;
class NSString;

enum NSPropertyListFormat : NSUInteger {
  NSPropertyListOpenStepFormat = 1,  // the old text format: neither read nor written
  NSPropertyListXMLFormat_v1_0 = 100,
  NSPropertyListBinaryFormat_v1_0 = 200,
};

enum NSPropertyListMutabilityOptions : NSUInteger {
  NSPropertyListImmutable = 0,
  NSPropertyListMutableContainers = 1,           // NSMutableArray, NSMutableDictionary and NSMutableSet
  NSPropertyListMutableContainersAndLeaves = 2,  // NSMutableString and NSMutableData too; keys stay immutable
};
using NSPropertyListReadOptions = NSUInteger;
using NSPropertyListWriteOptions = NSUInteger;

class KVT_EXPORT NSPropertyListSerialization : public id {
  KVT_HANDLE(NSPropertyListSerialization, id)

 public:
  /// The list in the data; its format is found out, and told in `*format` unless that is null. nil for nil, empty data
  /// and whatever is no property list; then `*error`, unless `error` is null, is of NSCocoaErrorDomain: code
  /// NSPropertyListReadUnknownVersionError for a version or format that is not read, else
  /// NSPropertyListReadCorruptError.
  ///
  /// A null of the binary format is an NSNull, a set an NSSet. XML may be in UTF-8, UTF-16, UTF-32, Latin-1 or Windows
  /// 1252; entities that a document declares itself are refused.
  static id propertyListWithData_options_format_error(const NSData& data, NSPropertyListReadOptions options = 0,
                                                      NSPropertyListFormat* format = nullptr, NSError* error = nullptr);

  /// The bytes of a list, which may be a lone value. nil for nil and for what `propertyList_isValidForFormat` refuses,
  /// for text that XML cannot hold (control characters, halves of surrogate pairs), and where containers are nested too
  /// deep or contain themselves; then `*error`, unless null, is of NSCocoaErrorDomain, code
  /// NSPropertyListWriteInvalidError, or NSPropertyListWriteStreamError for a format that is not written. `options`
  /// must be 0. Equal scalars are written once in the binary format.
  static NSData dataWithPropertyList_format_options_error(const id& propertyList, NSPropertyListFormat format,
                                                          NSPropertyListWriteOptions options = 0,
                                                          NSError* error = nullptr);

  /// Whether the list holds nothing but what the format has: text, numbers, dates, data, UIDs, arrays, dictionaries
  /// whose keys are text and, in the binary format, sets without containers. NO for nil, what is nested too deep and
  /// what contains itself.
  static bool propertyList_isValidForFormat(const id& propertyList, NSPropertyListFormat format);
};

}  // namespace kvt
