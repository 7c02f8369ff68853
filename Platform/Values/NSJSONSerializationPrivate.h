// JSON text to objects and back for the library's own units, without a detour through NSData; not installed.
//
//     id object = json::objectWithText(utf8, NSJSONReadingFragmentsAllowed, nullptr);
//     JSONWriter out;
//     if (json::write(object, 0, out, nullptr)) use(out.text());
#pragma once

#include <string_view>

#include "JSONReader.h"
#include "JSONWriter.h"
#include "NSJSONSerialization.h"

namespace kvt::json {

/// The objects of a UTF-8 text (without a byte order mark); nil and the failure when it is none. `knownUTF8` saves
/// checking it.
KVT_EXPORT id read(std::string_view utf8, NSUInteger options, bool knownUTF8, JSONFailure& failure);
/// The same, reporting as `NSJSONSerialization` does.
KVT_EXPORT id objectWithText(std::string_view utf8, NSUInteger options, NSError* error);
/// Text is valid UTF-8 unless a surrogate stands alone in it; nil for nil.
KVT_EXPORT id objectWithString(const NSString& text, NSUInteger options, NSError* error);

/// The objects of the value on which the cursor stands, and passes it. NO: the cursor has failed.
KVT_EXPORT bool readValue(JSONCursor& cursor, id& value);

/// Appends the text of a value that stands within so many containers. NO, and what was appended is void, where it is
/// not valid there; raises never.
KVT_EXPORT bool writeIfValid(const id& object, std::size_t containersAround, JSONWriter& out);
/// Appends the text of `object`. Raises and reports as `NSJSONSerialization` does.
KVT_EXPORT bool write(const id& object, NSUInteger options, JSONWriter& out, NSError* error);
/// The text as a string; nil where `write` answers NO.
KVT_EXPORT NSString stringWithObject(const id& object, NSUInteger options, NSError* error);

/// What was written, as data; the writer is empty afterwards. A large buffer changes hands without being copied.
KVT_EXPORT NSData dataWithWriter(JSONWriter& out);

/// `text` is what was read; `index` the byte of the caller's data, where that is another one than the failure's.
void reportFailure(std::string_view text, const JSONFailure& failure, std::size_t index, NSError* error);

}  // namespace kvt::json
