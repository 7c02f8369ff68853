#include "NSJSONSerialization.h"

#include <bit>
#include <cstring>
#include <string>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSData.h"
#include "NSDataBody.h"
#include "NSDictionary.h"
#include "NSError.h"
#include "NSJSONSerializationPrivate.h"
#include "NSObject.h"
#include "NSString.h"
#include "NSStringBody.h"

namespace kvt {

const NSString NSJSONSerializationErrorIndexKey = "NSJSONSerializationErrorIndex"_ns;
const NSString NSJSONSerializationErrorLineKey = "NSJSONSerializationErrorLine"_ns;
const NSString NSJSONSerializationErrorColumnKey = "NSJSONSerializationErrorColumn"_ns;

namespace {

// ---- encodings ----------------------------------------------------------------------------------------------------

/// How the bytes of a text are to be read.
struct Encoding {
  std::size_t unit = 1;  // bytes
  bool bigEndian = false;
  std::size_t mark = 0;  // bytes of the byte order mark
};

/// By the mark or, without one, by where the first character, which is ASCII in JSON, has its zero bytes.
Encoding encodingOf(std::string_view bytes) noexcept {
  const auto startsWith = [bytes](std::string_view mark) { return bytes.substr(0, mark.size()) == mark; };
  using namespace std::string_view_literals;
  if (startsWith("\xEF\xBB\xBF"sv)) return {1, false, 3};
  if (startsWith("\xFF\xFE\0\0"sv)) return {4, false, 4};
  if (startsWith("\0\0\xFE\xFF"sv)) return {4, true, 4};
  if (startsWith("\xFF\xFE"sv)) return {2, false, 2};
  if (startsWith("\xFE\xFF"sv)) return {2, true, 2};
  const auto isZero = [bytes](std::size_t i) { return i < bytes.size() && bytes[i] == '\0'; };
  if (isZero(0) && isZero(1)) return {4, true, 0};
  if (isZero(1) && isZero(2) && isZero(3)) return {4, false, 0};
  if (isZero(0)) return {2, true, 0};
  if (isZero(1)) return {2, false, 0};
  return {};
}

std::uint32_t unitAt(std::string_view bytes, std::size_t at, const Encoding& encoding) noexcept {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < encoding.unit; ++i) {
    const std::size_t byte = encoding.bigEndian ? encoding.unit - 1 - i : i;
    value |= std::uint32_t{static_cast<unsigned char>(bytes[at + byte])} << (8 * i);
  }
  return value;
}

void appendCharacter(std::string& utf8, std::uint32_t c) {
  const auto add = [&utf8](std::uint32_t byte) { utf8.push_back(static_cast<char>(byte)); };
  if (c < 0x80) return add(c);
  if (c < 0x800) return add(0xC0 | (c >> 6)), add(0x80 | (c & 0x3F));
  if (c < 0x10000) return add(0xE0 | (c >> 12)), add(0x80 | ((c >> 6) & 0x3F)), add(0x80 | (c & 0x3F));
  add(0xF0 | (c >> 18)), add(0x80 | ((c >> 12) & 0x3F)), add(0x80 | ((c >> 6) & 0x3F)), add(0x80 | (c & 0x3F));
}

/// What comes before the first character that is none stays in `utf8`; `at` is where it lies.
JSONError convert(std::string_view bytes, const Encoding& encoding, std::string& utf8, std::size_t& at) {
  utf8.reserve(bytes.size() / encoding.unit);
  for (at = encoding.mark; at < bytes.size(); at += encoding.unit) {
    if (bytes.size() - at < encoding.unit) return JSONError::kBadEncoding;
    std::uint32_t c = unitAt(bytes, at, encoding);
    if (c >= 0xD800 && c < 0xE000) {
      const bool leads = encoding.unit == 2 && c < 0xDC00 && bytes.size() - at >= 4;
      const std::uint32_t low = leads ? unitAt(bytes, at + 2, encoding) : 0;
      if (low < 0xDC00 || low >= 0xE000) return JSONError::kLoneSurrogate;
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      at += 2;
    }
    if (c > 0x10FFFF) return JSONError::kBadEncoding;
    appendCharacter(utf8, c);
  }
  return JSONError::kNone;
}

/// The bytes that a stretch of valid UTF-8 takes in the encoding.
std::size_t sizeIn(const Encoding& encoding, std::string_view utf8) noexcept {
  if (encoding.unit == 1) return utf8.size();
  std::size_t units = 0;
  for (const char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte & 0xC0) == 0x80) continue;
    units += encoding.unit == 2 && byte >= 0xF0 ? 2 : 1;
  }
  return units * encoding.unit;
}

}  // namespace

// ---- reporting ----------------------------------------------------------------------------------------------------

void json::reportFailure(std::string_view text, const JSONFailure& failure, std::size_t index, NSError* error) {
  if (error == nullptr) return;
  const JSONPosition position = jsonPosition(text, failure.offset);
  const NSDictionary details = {
      {NSLocalizedDescriptionKey, "The data couldn’t be read because it isn’t in the correct format."},
      {NSDebugDescriptionErrorKey, jsonErrorMessage(text, failure)},
      {NSJSONSerializationErrorIndexKey, index},
      {NSJSONSerializationErrorLineKey, position.line},
      {NSJSONSerializationErrorColumnKey, position.column},
  };
  *error = NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, NSPropertyListReadCorruptError, details);
}

// ---- entries ------------------------------------------------------------------------------------------------------

id json::objectWithText(std::string_view utf8, NSUInteger options, NSError* error) {
  JSONFailure failure;
  id object = read(utf8, options, false, failure);
  if (!object) reportFailure(utf8, failure, failure.offset, error);
  return object;
}

id json::objectWithString(const NSString& text, NSUInteger options, NSError* error) {
  const StringBody* const body = StringBody::of(text.object());
  if (body == nullptr) return id();
  const std::string_view utf8 = body->utf8();
  if (utf8.data() == nullptr) {
    // Its one offence is a surrogate that stands alone; conversion finds out where.
    const UTF16Text units(*body);
    const std::string_view bytes(reinterpret_cast<const char*>(units.data()), units.size() * 2);
    const Encoding encoding{2, std::endian::native == std::endian::big, 0};
    std::string readable;
    std::size_t at = 0;
    const JSONError problem = convert(bytes, encoding, readable, at);
    reportFailure(readable, {problem, readable.size()}, at, error);
    return id();
  }
  JSONFailure failure;
  id object = read(utf8, options, true, failure);
  if (!object) reportFailure(utf8, failure, failure.offset, error);
  return object;
}

id NSJSONSerialization::JSONObjectWithData_options_error(const NSData& data, NSUInteger options, NSError* error) {
  if (!data) {
    objc_raise("NSInvalidArgumentException",
               "*** +[NSJSONSerialization JSONObjectWithData:options:error:]: data parameter is nil");
  }
  const std::string_view bytes = data.view();
  const Encoding encoding = encodingOf(bytes);
  std::string_view text = bytes.substr(encoding.mark);
  std::string converted;
  if (encoding.unit != 1) {
    std::size_t at = 0;
    const JSONError problem = convert(bytes, encoding, converted, at);
    text = converted;
    if (problem != JSONError::kNone) {
      json::reportFailure(text, {problem, text.size()}, at, error);
      return id();
    }
  }
  JSONFailure failure;
  id object = json::read(text, options, encoding.unit != 1, failure);
  if (!object) {
    const std::size_t index = encoding.mark + sizeIn(encoding, text.substr(0, failure.offset));
    json::reportFailure(text, failure, index, error);
  }
  return object;
}

NSString json::stringWithObject(const id& object, NSUInteger options, NSError* error) {
  JSONWriter out;
  if (!write(object, options, out, error)) return NSString();
  return NSString(adopt, StringBody::createFromUTF8(out.text()));
}

NSData NSJSONSerialization::dataWithJSONObject_options_error(const id& object, NSUInteger options, NSError* error) {
  JSONWriter out;
  if (!json::write(object, options, out, error)) return NSData();
  return json::dataWithWriter(out);
}

NSData json::dataWithWriter(JSONWriter& out) {
  DataBody* const body = DataBody::create(kDataKind, 0);
  NSData data(adopt, body);
  body->length = out.size();
  body->bytes = reinterpret_cast<std::uint8_t*>(out.detach(body->capacity).release());
  return data;
}

Class NSJSONSerialization::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSJSONSerialization> c("NSJSONSerialization", classOf<NSObject>());
    c.classMethod<&NSJSONSerialization::JSONObjectWithData_options_error>("JSONObjectWithData:options:error:");
    c.classMethod<&NSJSONSerialization::isValidJSONObject>("isValidJSONObject:");
    c.classMethod<&NSJSONSerialization::dataWithJSONObject_options_error>("dataWithJSONObject:options:error:");
    return c.registerClass();
  }();
  return cls;
}

bool NSJSONSerialization::kvtAccepts(const Object* object) noexcept {
  return class_isSubclassOf(object_getClass(object), kvtClass());
}

[[maybe_unused]] static const bool registered = (classOf<NSJSONSerialization>(), true);

}  // namespace kvt
