// XML property lists to nodes, by way of pugixml's tree.
//
// pugixml is told to leave text as it stands: it passes over references that it does not know, and it drops blanks,
// which would both change what a text says. Entities that a document declares are refused, so that none can grow.
#include <locale.h>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <pugixml.hpp>

#include "BinaryPropertyListWriter.h"
#include "NSError.h"
#include "NSString.h"
#include "NSStringUnicode.h"
#include "PropertyListDocument.h"
#include "PropertyListText.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;

// ---- encodings ----------------------------------------------------------------------------------------------------

bool equalsIgnoringCase(std::string_view a, std::string_view b) noexcept {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [lower](char x, char y) { return lower(x) == lower(y); });
}

/// What the declaration says behind `encoding=`; "" when it says nothing.
std::string_view declaredEncoding(std::string_view text) noexcept {
  if (!text.starts_with("<?xml")) return {};
  text = text.substr(0, text.find("?>"));
  std::size_t at = text.find("encoding");
  if (at == std::string_view::npos) return {};
  at = text.find_first_of("\"'", at);
  if (at == std::string_view::npos) return {};
  const std::size_t end = text.find(text[at], at + 1);
  return end == std::string_view::npos ? std::string_view() : text.substr(at + 1, end - at - 1);
}

constexpr NSStringEncoding kUnknownEncoding{};

/// By the mark, by where `<` has its zero bytes, or by what the declaration says.
NSStringEncoding encodingOf(std::string_view bytes) noexcept {
  using namespace std::string_view_literals;
  struct Start {
    std::string_view bytes;
    NSStringEncoding encoding;
  };
  static constexpr Start kStarts[] = {
      {"\xFF\xFE\0\0"sv, NSUTF32StringEncoding},     {"\0\0\xFE\xFF"sv, NSUTF32StringEncoding},
      {"\xFF\xFE"sv, NSUTF16StringEncoding},         {"\xFE\xFF"sv, NSUTF16StringEncoding},
      {"\xEF\xBB\xBF"sv, NSUTF8StringEncoding},      {"<\0\0\0"sv, NSUTF32LittleEndianStringEncoding},
      {"\0\0\0<"sv, NSUTF32BigEndianStringEncoding}, {"<\0"sv, NSUTF16LittleEndianStringEncoding},
      {"\0<"sv, NSUTF16BigEndianStringEncoding},
  };
  for (const Start& start : kStarts) {
    if (bytes.starts_with(start.bytes)) return start.encoding;
  }
  struct Name {
    std::string_view name;
    NSStringEncoding encoding;
  };
  static constexpr Name kNames[] = {
      {"", NSUTF8StringEncoding},
      {"UTF-8", NSUTF8StringEncoding},
      {"UTF8", NSUTF8StringEncoding},
      {"US-ASCII", NSUTF8StringEncoding},
      {"ASCII", NSUTF8StringEncoding},
      {"ISO-8859-1", NSISOLatin1StringEncoding},
      {"Latin1", NSISOLatin1StringEncoding},
      {"windows-1252", NSWindowsCP1252StringEncoding},
  };
  const std::string_view declared = declaredEncoding(bytes);
  for (const Name& name : kNames) {
    if (equalsIgnoringCase(name.name, declared)) return name.encoding;
  }
  return kUnknownEncoding;
}

// ---- values -------------------------------------------------------------------------------------------------------

bool isSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view trimmed(std::string_view text) noexcept {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

/// Characters that XML may refer to by number.
bool isCharacter(std::uint32_t c) noexcept {
  if (c < 0x20) return c == '\t' || c == '\n' || c == '\r';
  return c <= 0x10FFFF && !unicode::isSurrogate(c) && c != 0xFFFE && c != 0xFFFF;
}

/// Appends the character that a reference (without & and ;) stands for.
bool appendReference(std::string_view name, std::string& text) {
  struct Named {
    std::string_view name;
    char character;
  };
  static constexpr Named kNamed[] = {{"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"quot", '"'}, {"apos", '\''}};
  for (const Named& named : kNamed) {
    if (name == named.name) return text += named.character, true;
  }
  if (!name.starts_with('#')) return false;
  name.remove_prefix(1);
  const bool isHex = name.starts_with('x');
  if (isHex) name.remove_prefix(1);
  std::uint32_t character = 0;
  const char* const end = name.data() + name.size();
  const auto [stop, problem] = std::from_chars(name.data(), end, character, isHex ? 16 : 10);
  if (problem != std::errc() || stop != end || !isCharacter(character)) return false;
  char bytes[4];
  text.append(bytes, unicode::encode(character, bytes));
  return true;
}

bool parseInteger(std::string_view text, Node& node) noexcept {
  bool isNegative = false;
  if (text.starts_with('-') || text.starts_with('+')) {
    isNegative = text.front() == '-';
    text.remove_prefix(1);
  }
  const bool isHex = text.starts_with("0x") || text.starts_with("0X");
  if (isHex) text.remove_prefix(2);
  if (text.empty()) return false;
  using Wide = PropertyListWideInteger;
  constexpr Wide kLargest = (((Wide{1} << 126) - 1) << 1) + 1;
  const unsigned base = isHex ? 16 : 10;
  Wide value = 0;
  for (const char c : text) {
    unsigned digit = 16;
    if (c >= '0' && c <= '9')
      digit = static_cast<unsigned>(c - '0');
    else if (c >= 'a' && c <= 'f')
      digit = static_cast<unsigned>(c - 'a' + 10);
    else if (c >= 'A' && c <= 'F')
      digit = static_cast<unsigned>(c - 'A' + 10);
    if (digit >= base || value > (kLargest - digit) / base) return false;
    value = value * base + digit;
  }
  if (isNegative) value = -value;
  node.unsignedInteger = static_cast<std::uint64_t>(value);
  node.size = static_cast<std::uint64_t>(value >> 64);
  if (value >= INT64_MIN && value <= INT64_MAX)
    node.type = Type::kInteger;
  else
    node.type = value > 0 && value <= UINT64_MAX ? Type::kUnsigned : Type::kWide;
  if (node.type != Type::kWide) node.size = 0;
  return true;
}

bool parseReal(std::string_view text, Node& node) {
  node.type = Type::kDouble;
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (equalsIgnoringCase(text, "nan")) return node.real = std::nan(""), true;
  if (equalsIgnoringCase(text, "inf") || equalsIgnoringCase(text, "infinity")) {
    node.real = isNegative ? -HUGE_VAL : HUGE_VAL;
    return true;
  }
  if (text.empty() || text.find_first_not_of("0123456789.eE+-") != std::string_view::npos) return false;
  const char* const end = text.data() + text.size();
  double value = 0;
  const auto [stop, problem] = std::from_chars(text.data(), end, value);
  if (stop != end || (problem != std::errc() && problem != std::errc::result_out_of_range)) return false;
  if (problem == std::errc::result_out_of_range) {
    // Infinite or zero, as the C library says.
    static const locale_t plain = newlocale(LC_ALL_MASK, "C", nullptr);
    value = strtod_l(std::string(text).c_str(), nullptr, plain);
  }
  node.real = isNegative ? -value : value;
  return true;
}

class Reader {
 public:
  Reader(std::string_view text, PropertyListDocument& document, PropertyListFailure& failure)
      : text_(text), document_(document), failure_(failure) {}

  /// `buffer` is a copy of the text, which is parsed in place and must live as long as the document.
  bool read(std::vector<char>& buffer) {
    constexpr unsigned kFlags =
        pugi::parse_cdata | pugi::parse_ws_pcdata | pugi::parse_eol | pugi::parse_doctype | pugi::parse_fragment;
    const pugi::xml_parse_result result =
        tree_.load_buffer_inplace(buffer.data(), buffer.size(), kFlags, pugi::encoding_utf8);
    if (!result) return fail(result.description(), static_cast<std::size_t>(result.offset));
    document_.format = NSPropertyListXMLFormat_v1_0;
    pugi::xml_node root;
    for (const pugi::xml_node& each : tree_.children()) {
      if (each.type() == pugi::node_doctype) {
        if (std::strstr(each.value(), "<!ENTITY") == nullptr) continue;
        return fail("Entities that the document declares itself are refused", each);
      }
      if (isBlank(each)) continue;
      if (each.type() != pugi::node_element || root) return fail("Something else than one property list", each);
      root = each;
    }
    if (!root) return fail("There is no element", 0);
    if (std::strcmp(root.name(), "plist") != 0) return value(root, 0, document_.top);
    pugi::xml_node top;
    for (const pugi::xml_node& each : root.children()) {
      if (isBlank(each)) continue;
      if (each.type() != pugi::node_element || top) return fail("Something else than one value in <plist>", each);
      top = each;
    }
    return top ? value(top, 0, document_.top) : fail("Element <plist> without a value", root);
  }

 private:
  bool fail(const std::string& what, std::size_t offset) {
    failure_ = {NSPropertyListReadCorruptError, what + propertylist::placeOf(text_, offset)};
    return false;
  }
  bool fail(const std::string& what, const pugi::xml_node& node) {
    const std::ptrdiff_t offset = node.offset_debug();
    const std::size_t blanks = std::strspn(node.value(), " \t\r\n");
    return fail(what, offset < 0 ? 0 : static_cast<std::size_t>(offset) + blanks);
  }
  static std::string tag(const pugi::xml_node& node) {
    const std::string_view name = node.name();
    return name.size() <= 64 ? "<" + std::string(name) + ">" : std::string("of a long name");
  }

  static bool isBlank(const pugi::xml_node& node) noexcept {
    return node.type() == pugi::node_pcdata && trimmed(node.value()).empty();
  }

  /// The element's node is put at the end of the table, behind those that it holds.
  bool value(const pugi::xml_node& element, std::size_t depth, std::uint32_t& number) {
    Node node;
    const std::string_view name = element.name();
    if (name == "dict" || name == "array") {
      if (depth == kPropertyListMaximumDepth) return fail("Elements are nested too deep", element);
      if (!(name == "dict" ? dictionary(element, depth + 1, node) : array(element, depth + 1, node))) return false;
    } else if (!scalar(element, name, node)) {
      return false;
    }
    number = static_cast<std::uint32_t>(document_.nodes.size());
    document_.nodes.push_back(node);
    return true;
  }

  bool array(const pugi::xml_node& element, std::size_t depth, Node& node) {
    std::vector<std::uint32_t> elements;
    for (const pugi::xml_node& each : element.children()) {
      if (isBlank(each)) continue;
      if (each.type() != pugi::node_element) return fail("Text in an <array>", each);
      if (!value(each, depth, elements.emplace_back())) return false;
    }
    node.type = Type::kArray;
    node.size = elements.size();
    node.first = document_.children.size();
    document_.children.insert(document_.children.end(), elements.begin(), elements.end());
    return true;
  }

  bool dictionary(const pugi::xml_node& element, std::size_t depth, Node& node) {
    std::vector<std::uint32_t> keys, values;
    for (const pugi::xml_node& each : element.children()) {
      if (isBlank(each)) continue;
      if (each.type() != pugi::node_element) return fail("Text in a <dict>", each);
      const bool isKey = std::strcmp(each.name(), "key") == 0;
      if (isKey != (keys.size() == values.size())) {
        return isKey ? fail("Element <key> without a value", each)
                     : fail("Element " + tag(each) + " without a key", each);
      }
      if (!isKey) {
        if (!value(each, depth, values.emplace_back())) return false;
        continue;
      }
      Node key;
      if (!text(each, key)) return false;
      keys.push_back(static_cast<std::uint32_t>(document_.nodes.size()));
      document_.nodes.push_back(key);
    }
    if (keys.size() != values.size()) return fail("Element <key> without a value", element.last_child());
    // XML has no element for UIDs.
    if (keys.size() == 1 && equalsText(document_.nodes[keys[0]], "CF$UID")) {
      const Node& uid = document_.nodes[values[0]];
      if ((uid.type == Type::kInteger && uid.integer >= 0) || uid.type == Type::kUnsigned) {
        node = uid;
        node.type = Type::kUID;
        return true;
      }
    }
    node.type = Type::kDictionary;
    node.size = keys.size();
    node.first = document_.children.size();
    document_.children.insert(document_.children.end(), keys.begin(), keys.end());
    document_.children.insert(document_.children.end(), values.begin(), values.end());
    return true;
  }

  bool scalar(const pugi::xml_node& element, std::string_view name, Node& node) {
    if (name == "string") return text(element, node);
    if (name == "data") return data(element, node);
    const bool isInteger = name == "integer", isReal = name == "real", isDate = name == "date";
    const bool isTrue = name == "true", isFalse = name == "false";
    if (!isInteger && !isReal && !isDate && !isTrue && !isFalse)
      return fail("Unknown element " + tag(element), element);
    Node content;
    if (!text(element, content)) return false;
    const std::string_view what = trimmed(content.view());
    bool isGood = what.empty();
    if (isInteger)
      isGood = parseInteger(what, node);
    else if (isReal)
      isGood = parseReal(what, node);
    else if (isDate)
      isGood = propertylist::parseDate(what, node.real);
    if (isDate) node.type = Type::kDate;
    if (isTrue) node.type = Type::kTrue;
    if (isFalse) node.type = Type::kFalse;
    return isGood || fail("Element " + tag(element) + " with the content " + quotedText(content), element);
  }

  bool data(const pugi::xml_node& element, Node& node) {
    Node content;
    if (!text(element, content)) return false;
    std::string packed;
    packed.reserve(content.size);
    for (const char c : content.view()) {
      if (!isSpace(c)) packed += c;
    }
    const NSData bytes = NSData::dataWithBase64EncodedString_options(NSString(packed));
    if (!bytes) return fail("Element <data> with a content that is not base64", element);
    const std::string_view kept = document_.keep(std::string(bytes.view()));
    node.type = Type::kData;
    node.bytes = kept.data();
    node.size = kept.size();
    return true;
  }

  /// The element's text, which may be in several pieces: where it stands when it is in one and says what it says.
  bool text(const pugi::xml_node& element, Node& node) {
    std::string_view only;
    std::string joined;
    bool isJoined = false;
    for (const pugi::xml_node& each : element.children()) {
      const bool isRaw = each.type() == pugi::node_cdata;
      if (!isRaw && each.type() != pugi::node_pcdata) {
        return fail("Element " + tag(each) + " within " + tag(element), each);
      }
      const std::string_view piece = each.value();
      const bool isPlain = isRaw || piece.find('&') == std::string_view::npos;
      if (isPlain && only.empty() && !isJoined) {
        only = piece;
        continue;
      }
      if (!isJoined) joined = only;
      isJoined = true;
      if (isPlain)
        joined += piece;
      else if (!unescape(piece, each, joined))
        return false;
    }
    if (isJoined) only = document_.keep(std::move(joined));
    node.type = Type::kUTF8;
    node.bytes = only.data();
    node.size = only.size();
    return true;
  }

  bool unescape(std::string_view piece, const pugi::xml_node& node, std::string& result) {
    while (true) {
      const std::size_t at = piece.find('&');
      result += piece.substr(0, at);
      if (at == std::string_view::npos) return true;
      const std::size_t end = piece.find(';', at);
      if (end == std::string_view::npos) return fail("A reference that does not end", node);
      if (!appendReference(piece.substr(at + 1, end - at - 1), result)) {
        const std::string_view name = piece.substr(at, std::min<std::size_t>(end - at + 1, 32));
        return fail("Unknown reference " + NSString(name).str(), node);
      }
      piece = piece.substr(end + 1);
    }
  }

  const std::string_view text_;
  PropertyListDocument& document_;
  PropertyListFailure& failure_;
  pugi::xml_document tree_;
};

/// The first line with bytes that are no UTF-8.
std::size_t firstBadLine(std::string_view text) noexcept {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    if (!unicode::isUTF8(text.data() + start, end - start)) return start;
    start = end + 1;
  }
  return 0;
}

}  // namespace

bool readXMLPropertyList(std::string_view bytes, PropertyListDocument& document, PropertyListFailure& failure) {
  const auto fail = [&failure](const std::string& reason) {
    failure = {NSPropertyListReadCorruptError, reason};
    return false;
  };
  const NSStringEncoding encoding = encodingOf(bytes);
  if (encoding == kUnknownEncoding) {
    return fail("The encoding " + NSString(declaredEncoding(bytes).substr(0, 64)).str() + " is not read.");
  }
  std::string converted;
  std::string_view text = bytes;
  if (encoding != NSUTF8StringEncoding) {
    const NSString decoded = NSString::stringWithBytes_length_encoding(bytes.data(), bytes.size(), encoding);
    if (decoded.utf8().data() == nullptr) return fail("The bytes are not in the encoding that they seem to be in.");
    converted = decoded.utf8();
    text = converted;
  }
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  if (const std::size_t zero = text.find('\0'); zero != std::string_view::npos) {
    return fail("A zero byte" + propertylist::placeOf(text, zero));
  }
  if (!unicode::isUTF8(text.data(), text.size())) {
    return fail("Bytes that are not UTF-8" + propertylist::placeOf(text, firstBadLine(text)));
  }
  document.buffer_.reserve(text.size() + 1);
  document.buffer_.assign(text.begin(), text.end());
  document.buffer_.push_back('\n');  // pugixml puts its end mark in the last place, whatever stands there
  return Reader(text, document, failure).read(document.buffer_);
}

}  // namespace kvt
