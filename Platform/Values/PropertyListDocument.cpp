#include "PropertyListDocument.h"

#include <bit>
#include <cstring>
#include <iterator>

#include "NSDictionary.h"
#include "NSError.h"
#include "NSString.h"
#include "NSStringInternal.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;

char16_t unitAt(const Node& node, std::size_t index) noexcept {
  char16_t unit;
  std::memcpy(&unit, node.bytes + 2 * index, sizeof unit);
  if constexpr (std::endian::native == std::endian::big) return unit;
  return static_cast<char16_t>(__builtin_bswap16(unit));
}

bool isSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// What stands first in a text of any encoding that XML may have, zero bytes left out; 0 when nothing does.
char firstCharacter(std::string_view bytes) noexcept {
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    const bool isMark = byte == 0xEF || byte == 0xBB || byte == 0xBF || byte == 0xFE || byte == 0xFF;
    if (byte != 0 && !isMark && !isSpace(c)) return c;
  }
  return 0;
}

}  // namespace

bool PropertyListDocument::read(const NSData& data, PropertyListFailure& failure) {
  data_ = data.copy();
  const std::string_view bytes = data_.view();
  if (bytes.empty()) {
    failure = {NSPropertyListReadCorruptError, data ? "The data is empty." : "There is no data."};
    return false;
  }
  if (bytes.starts_with("bplist")) {
    const std::string_view version = bytes.substr(6, 2);
    if (version == "00" || version == "01") return readBinaryPropertyList(bytes, *this, failure);
    failure = {NSPropertyListReadUnknownVersionError, "The version of the binary property list is unknown."};
    return false;
  }
  const char first = firstCharacter(bytes);
  if (first == '<') return readXMLPropertyList(bytes, *this, failure);
  if (first == '{' || first == '(' || first == '"' || first == '/') {
    failure = {NSPropertyListReadUnknownVersionError, "The old text format of property lists is not read."};
  } else {
    failure = {NSPropertyListReadCorruptError, "The data is neither a binary nor an XML property list."};
  }
  return false;
}

const Node* PropertyListDocument::find(const Node& dictionary, std::string_view key, std::size_t* from) const noexcept {
  const std::size_t count = dictionary.size;
  std::size_t at = from != nullptr && *from < count ? *from : 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (equalsText(keyAt(dictionary, at), key)) {
      if (from != nullptr) *from = at + 1;
      return &valueAt(dictionary, at);
    }
    if (++at == count) at = 0;
  }
  return nullptr;
}

bool equalsText(const Node& node, std::string_view utf8) noexcept {
  if (node.type == Type::kASCII || node.type == Type::kUTF8) return node.view() == utf8;
  if (node.type != Type::kUTF16 || node.size > utf8.size()) return false;
  std::size_t unit = 0;
  for (std::size_t i = 0; i < utf8.size();) {
    const char32_t c = unicode::next(utf8.data(), i);
    const std::size_t units = c < 0x10000 ? 1 : 2;
    if (node.size - unit < units) return false;
    const char32_t other =
        units == 1 ? unitAt(node, unit) : unicode::combine(unitAt(node, unit), unitAt(node, unit + 1));
    if (c != other) return false;
    unit += units;
  }
  return unit == node.size;
}

NSString textOfNode(const Node& node) {
  if (node.size > StringBody::kMaximumSize) return NSString();
  if (node.type == Type::kASCII) {
    return node.size == 0 ? text::emptyText() : text::wrap(StringBody::create(node.bytes, node.size, true));
  }
  if (node.type == Type::kUTF8) return text::fromUTF8(node.view());
  if (node.type != Type::kUTF16) return NSString();
  const auto read = [&node](char16_t* units) {
    for (std::size_t i = 0; i < node.size; ++i) units[i] = unitAt(node, i);
  };
  char16_t few[256];
  if (node.size <= std::size(few)) return read(few), text::fromUTF16({few, node.size});
  std::u16string units(node.size, u'\0');
  read(units.data());
  return text::fromUTF16(units);
}

std::string quotedText(const Node& node) {
  constexpr std::size_t kLongest = 64;
  if (!node.isText()) return "(no text)";
  Node start = node;
  const bool isCut = node.size > kLongest;
  if (isCut) start.size = kLongest;
  std::string result = "“";
  if (node.type == Type::kUTF8) {
    while (isCut && start.size > 0 && (static_cast<std::uint8_t>(node.bytes[start.size]) & 0xC0) == 0x80) --start.size;
    result += start.view();
  } else {
    result += textOfNode(start).str();
  }
  return result + (isCut ? "…”" : "”");
}

NSError propertyListError(const PropertyListFailure& failure) {
  const bool isWriting =
      failure.code == NSPropertyListWriteInvalidError || failure.code == NSPropertyListWriteStreamError;
  const NSDictionary details = {
      {NSLocalizedDescriptionKey, isWriting ? "The data couldn’t be written because it isn’t in the correct format."
                                            : "The data couldn’t be read because it isn’t in the correct format."},
      {NSDebugDescriptionErrorKey, failure.reason},
  };
  return NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, failure.code, details);
}

}  // namespace kvt
