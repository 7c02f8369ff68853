// A property list as a table of nodes: what both readers make, and what objects, archives and XML text are made from;
// not installed.
//
//     PropertyListDocument document;
//     PropertyListFailure failure;
//     if (!document.read(data, failure)) report(failure.code, failure.reason);
//     const PropertyListNode& top = document.nodes[document.top];
//
// The table is as large as the bytes it came from, whatever they say: a node that several containers share is there
// once, and nothing is followed while reading. So a document may contain itself and be of any depth; who walks it minds
// that. Thread rule: a document that is not being read may be used from any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "NSData.h"
#include "NSPropertyListSerialization.h"

namespace kvt {

struct PropertyListNode {
  enum class Type : std::uint8_t {
    kNull,
    kFalse,
    kTrue,
    kInteger,   // `integer`
    kUnsigned,  // `unsignedInteger`, beyond int64_t
    kWide,      // 128 bits beyond both: `unsignedInteger` is the low half, `size` the high one
    kFloat,     // `real`, which came in four bytes
    kDouble,    // `real`
    kDate,      // `real`, seconds since 2001
    kData,      // `size` bytes
    kASCII,     // `size` bytes of text
    kUTF8,      // likewise, valid
    kUTF16,     // `size` units, big-endian, at any address; surrogates may stand alone
    kUID,       // `unsignedInteger`
    kArray,     // `size` children from `first` on
    kSet,
    kDictionary,  // `size` keys from `first` on, and as many values behind them; keys are text
  };

  bool isText() const noexcept { return type >= Type::kASCII && type <= Type::kUTF16; }
  bool isContainer() const noexcept { return type >= Type::kArray; }
  /// Of data, ASCII and UTF-8.
  std::string_view view() const noexcept { return {bytes, size}; }

  Type type = Type::kNull;
  std::uint64_t size = 0;
  union {
    std::int64_t integer = 0;
    std::uint64_t unsignedInteger;
    double real;
    const char* bytes;
    std::uint64_t first;  // in the document's `children`
  };
};

/// Why bytes are no property list: a code of NSCocoaErrorDomain, and what is wrong where.
struct PropertyListFailure {
  NSInteger code = 0;
  std::string reason;
};

class PropertyListDocument {
 public:
  using Node = PropertyListNode;

  PropertyListDocument() = default;
  PropertyListDocument(const PropertyListDocument&) = delete;
  PropertyListDocument& operator=(const PropertyListDocument&) = delete;

  /// Finds out the format and reads it. The data is kept as long as the document; mutable data is copied. NO: the
  /// document is of no use.
  bool read(const NSData& data, PropertyListFailure& failure);

  const Node& child(const Node& container, std::size_t index) const noexcept {
    return nodes[children[container.first + index]];
  }
  const Node& keyAt(const Node& dictionary, std::size_t index) const noexcept { return child(dictionary, index); }
  const Node& valueAt(const Node& dictionary, std::size_t index) const noexcept {
    return child(dictionary, dictionary.size + index);
  }
  /// The value of a key, which is UTF-8; null when there is none. Searches from entry `*from` on and leaves there where
  /// the next one is expected, so that who asks in the order of the document finds at once.
  const Node* find(const Node& dictionary, std::string_view key, std::size_t* from = nullptr) const noexcept;

  /// Keeps a text or bytes that stand nowhere in the data.
  std::string_view keep(std::string&& text) { return texts_.emplace_back(std::move(text)); }

  std::vector<Node> nodes;
  std::vector<std::uint32_t> children;  // numbers of nodes, all of them valid
  std::uint32_t top = 0;
  NSPropertyListFormat format = NSPropertyListBinaryFormat_v1_0;

 private:
  friend bool readXMLPropertyList(std::string_view text, PropertyListDocument& document, PropertyListFailure& failure);

  NSData data_;
  std::deque<std::string> texts_;
  std::vector<char> buffer_;  // what XML text was parsed in
};

/// How deep containers may be nested in what is read and written.
inline constexpr std::size_t kPropertyListMaximumDepth = 512;

/// What is shared in a document comes once for each place in XML text and in mutable objects. Where each of many levels
/// holds the next one twice that would have no end, so there is a limit to what all places cost together.
class PropertyListBudget {
 public:
  explicit PropertyListBudget(const PropertyListDocument& document) noexcept
      : left_(4'000'000 + 16 * std::uint64_t{document.nodes.size()}) {}
  /// NO once there is nothing left.
  bool take(const PropertyListNode& node) noexcept {
    const bool isLong = node.isText() || node.type == PropertyListNode::Type::kData;
    const std::uint64_t cost = 1 + (isLong ? node.size / 16 : 0);
    left_ -= cost < left_ ? cost : left_;
    return left_ != 0;
  }

 private:
  std::uint64_t left_;
};

/// Both fill an empty document; the bytes must outlive it.
bool readBinaryPropertyList(std::string_view bytes, PropertyListDocument& document, PropertyListFailure& failure);
bool readXMLPropertyList(std::string_view text, PropertyListDocument& document, PropertyListFailure& failure);

/// Appends the document as XML text. NO when something in it has no XML form, or it is nested too deep.
bool writeXMLPropertyList(const PropertyListDocument& document, std::string& text, PropertyListFailure& failure);

/// The same list as XML text; nil and the failure where it has none.
NSData xmlOfBinaryPropertyList(const NSData& binary, PropertyListFailure& failure);

/// Whether a text node says the same as valid UTF-8.
bool equalsText(const PropertyListNode& node, std::string_view utf8) noexcept;
NSString textOfNode(const PropertyListNode& node);
/// For messages: valid UTF-8, cut where it is long.
std::string quotedText(const PropertyListNode& node);
/// Text, a number, a date, data, a UID or a null as an object; nil, and nothing said, for a container. An integer that
/// no number can hold is a failure.
id scalarOfNode(const PropertyListNode& node, PropertyListFailure& failure);

/// The objects of the document's top. `options` as for NSPropertyListSerialization; nil and the failure when it holds
/// what has no object, is nested too deep or contains itself.
id objectOfDocument(const PropertyListDocument& document, NSUInteger options, PropertyListFailure& failure);

/// An error of NSCocoaErrorDomain with the reason under NSDebugDescriptionErrorKey.
NSError propertyListError(const PropertyListFailure& failure);

}  // namespace kvt
