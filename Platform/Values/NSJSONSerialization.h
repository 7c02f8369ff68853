// JSON text to objects and back (RFC 8259, strict).
//
//     NSError error;
//     id object = NSJSONSerialization::JSONObjectWithData_options_error(data, 0, &error);
//     if (!object) log(error.userInfo()[NSDebugDescriptionErrorKey]);   // Unexpected character 'x' around line 3,
//     column 7. NSString name = object.as<NSDictionary>()["name"].as<NSString>(); NSData text =
//     NSJSONSerialization::dataWithJSONObject_options_error(object, NSJSONWritingPrettyPrinted);
//
// An object of JSON is an NSDictionary (its keys in the order of the text), an array an NSArray, null `NSNull::null()`,
// text an NSString; true and false are numbers that answer `isBool`. Numbers:
//     an integer                      int64_t ("q"), above that uint64_t ("Q"), beyond 64 bits an NSDecimalNumber
//     -0                              the double -0.0
//     with a fraction or exponent     double up to 17 significant digits (zeros at either end do not count), an
//                                     NSDecimalNumber beyond
// A decimal keeps 38 digits, rounded; where its exponent would leave -128 … 127 the number is a double instead. A
// number beyond the largest double is an error, one too small for a double is 0.
//
// Thread rule: any thread. Objects that are written must not be changed meanwhile. Keys of up to 30 bytes are shared by
// the dictionaries that one thread reads: it keeps up to 512 of them (about 150 bytes each) until it ends. Those that
// come hundreds of times are kept for good, at most 4096 of them in all.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSString;
class NSData;
class NSError;

// Options combine with `|`.
enum NSJSONReadingOptions : NSUInteger {
  NSJSONReadingMutableContainers = 1 << 0,  // NSMutableArray and NSMutableDictionary
  NSJSONReadingMutableLeaves = 1 << 1,      // values that are text are NSMutableString; keys never are
  NSJSONReadingFragmentsAllowed = 1 << 2,   // the value need be neither an array nor an object
  NSJSONReadingAllowFragments = NSJSONReadingFragmentsAllowed,
};
enum NSJSONWritingOptions : NSUInteger {
  NSJSONWritingPrettyPrinted = 1 << 0,           // a line for each entry, indented by two spaces; `"key" : value`
  NSJSONWritingSortedKeys = 1 << 1,              // by their UTF-16 units, as `compare:` orders
  NSJSONWritingFragmentsAllowed = 1 << 2,        // also a lone string, number or null
  NSJSONWritingWithoutEscapingSlashes = 1 << 3,  // `/` instead of `\/`
};

// Where the reader stopped: keys of an error's `userInfo`, with numbers.
extern KVT_EXPORT const NSString
    NSJSONSerializationErrorIndexKey;  // byte in the data, from 0; "NSJSONSerializationErrorIndex"
extern KVT_EXPORT const NSString NSJSONSerializationErrorLineKey;  // from 1; "NSJSONSerializationErrorLine"
extern KVT_EXPORT const NSString
    NSJSONSerializationErrorColumnKey;  // in characters, from 1; "NSJSONSerializationErrorColumn"

class KVT_EXPORT NSJSONSerialization : public id {
  KVT_HANDLE(NSJSONSerialization, id)

 public:
  /// The value of a text in UTF-8, UTF-16 or UTF-32, with or without a byte order mark. nil when it is no JSON, when it
  /// nests more than 512 containers (512 pass), or when it is a fragment and those are not allowed; then `*error`,
  /// unless `error` is null, is an error of NSCocoaErrorDomain, code NSPropertyListReadCorruptError, that says what and
  /// where (the first offence against UTF-8 before any other). Of two equal keys the last value counts, in the first
  /// one's place. `\u0000` is a character like any other; half a surrogate pair is an error. Raises
  /// NSInvalidArgumentException for nil data. O(length), whatever the text.
  static id JSONObjectWithData_options_error(const NSData& data, NSUInteger options = 0, NSError* error = nullptr);

  /// Whether `object` can be written: an array or dictionary that holds, at up to 512 levels, text, numbers that are
  /// neither infinite nor NaN, nulls, arrays, and dictionaries whose keys are text. NO for nil and for what contains
  /// itself.
  static bool isValidJSONObject(const id& object);

  /// The text in UTF-8, compact unless told otherwise; dictionaries in their own order. `"`, `\`, `/` and characters
  /// below U+0020 are escaped (`\b \f \n \r \t`, else `\u001f`), nothing else. Integers and decimals are written to the
  /// last digit, other numbers with the fewest digits that read back as the same double: 0.1, 3 (for 3.0), 1e+20.
  /// Raises NSInvalidArgumentException for nil and for what `isValidJSONObject` refuses (fragments apart, where they
  /// are allowed). nil when a text holds half a surrogate pair; then `*error` is of NSCocoaErrorDomain, code
  /// NSPropertyListWriteInvalidError.
  static NSData dataWithJSONObject_options_error(const id& object, NSUInteger options = 0, NSError* error = nullptr);
};

}  // namespace kvt
