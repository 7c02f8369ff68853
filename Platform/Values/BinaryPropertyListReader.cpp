// Binary property lists to nodes.
//
// Eight bytes of header, the objects, a table of their offsets, and 32 bytes of trailer that say how wide offsets and
// references are, how many objects there are, which one is the top and where the table begins. Each object is a marker
// whose low half is a size (15: an integer follows that says it) and its content; containers hold references.
#include <algorithm>
#include <bit>
#include <cstring>

#include "BigEndian.h"
#include "NSError.h"
#include "NSString.h"
#include "NSStringUnicode.h"
#include "PropertyListDocument.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;

std::uint64_t loadInteger(const char* bytes, std::size_t width) noexcept {
  switch (width) {
    case 1: return loadBigEndian<std::uint8_t>(bytes);
    case 2: return loadBigEndian<std::uint16_t>(bytes);
    case 4: return loadBigEndian<std::uint32_t>(bytes);
    case 8: return loadBigEndian<std::uint64_t>(bytes);
    default: break;
  }
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < width; ++i) value = value << 8 | static_cast<std::uint8_t>(bytes[i]);
  return value;
}

class Reader {
 public:
  Reader(std::string_view bytes, PropertyListDocument& document, PropertyListFailure& failure)
      : bytes_(bytes), document_(document), failure_(failure) {}

  bool read() {
    if (!readTrailer()) return false;
    document_.format = NSPropertyListBinaryFormat_v1_0;
    document_.top = static_cast<std::uint32_t>(top_);
    document_.nodes.reserve(count_);
    for (std::uint64_t i = 0; i < count_; ++i) {
      const std::uint64_t offset = loadInteger(bytes_.data() + table_ + i * offsetWidth_, offsetWidth_);
      if (offset < kHeaderSize || offset >= table_) {
        return fail("Object " + std::to_string(i) + " lies at " + std::to_string(offset) + ", outside the objects");
      }
      p_ = offset;
      if (!readObject(document_.nodes.emplace_back())) return false;
      // Objects may share bytes, but those that lie in each other by the hundreds would make a short file an endless
      // list.
      used_ += p_ - offset;
      if (used_ / 4 > table_ - kHeaderSize) return fail("Objects overlap at byte " + std::to_string(offset));
    }
    return checkKeys();
  }

 private:
  bool fail(std::string reason) {
    failure_ = {NSPropertyListReadCorruptError, std::move(reason) + "."};
    return false;
  }
  bool failAt(std::size_t offset, const char* what) { return fail(what + (" at byte " + std::to_string(offset))); }

  bool readTrailer() {
    if (bytes_.size() < kHeaderSize + 1 + kTrailerSize) return fail("The data ends before the trailer");
    const std::size_t end = bytes_.size() - kTrailerSize;
    const char* trailer = bytes_.data() + end;
    offsetWidth_ = static_cast<std::uint8_t>(trailer[6]);
    referenceWidth_ = static_cast<std::uint8_t>(trailer[7]);
    count_ = loadInteger(trailer + 8, 8);
    top_ = loadInteger(trailer + 16, 8);
    table_ = loadInteger(trailer + 24, 8);
    if (offsetWidth_ < 1 || offsetWidth_ > 8 || referenceWidth_ < 1 || referenceWidth_ > 8) {
      return fail("The trailer has offsets of " + std::to_string(offsetWidth_) + " and references of " +
                  std::to_string(referenceWidth_) + " bytes");
    }
    if (table_ <= kHeaderSize || table_ > end) {
      return fail("The table of offsets lies at " + std::to_string(table_) + ", outside the data");
    }
    if (count_ == 0 || count_ > (end - table_) / offsetWidth_ || count_ > UINT32_MAX) {
      return fail("The data has no room for " + std::to_string(count_) + " objects");
    }
    if (top_ >= count_) {
      return fail("The top is object " + std::to_string(top_) + " of " + std::to_string(count_));
    }
    return true;
  }

  /// Passes that many bytes; null when they are not there.
  const char* take(std::uint64_t count) {
    if (count > table_ - p_) return nullptr;
    const char* bytes = bytes_.data() + p_;
    p_ += count;
    return bytes;
  }

  bool readSize(unsigned low, std::uint64_t& size) {
    size = low;
    if (low != 15) return true;
    const char* marker = take(1);
    if (marker == nullptr || (static_cast<std::uint8_t>(*marker) & 0xF0) != 0x10) return false;
    const unsigned exponent = static_cast<std::uint8_t>(*marker) & 0x0F;
    if (exponent > 3) return false;
    const char* bytes = take(std::uint64_t{1} << exponent);
    if (bytes == nullptr) return false;
    size = loadInteger(bytes, std::size_t{1} << exponent);
    return true;
  }

  bool readObject(Node& node) {
    const std::size_t start = p_;
    const auto marker = static_cast<std::uint8_t>(*take(1));
    const unsigned low = marker & 0x0F;
    switch (marker >> 4) {
      case 0x0:
        if (marker != 0x00 && marker != 0x08 && marker != 0x09) break;
        node.type = marker == 0x00 ? Type::kNull : marker == 0x08 ? Type::kFalse : Type::kTrue;
        return true;
      case 0x1:
        return low <= 4 ? readInteger(node, std::size_t{1} << low, start) : failAt(start, "Too wide an integer");
      case 0x2:
        if (low != 2 && low != 3) break;
        return readReal(node, low == 2 ? Type::kFloat : Type::kDouble, start);
      case 0x3:
        if (low != 3) break;
        return readReal(node, Type::kDate, start);
      case 0x4: return readBytes(node, Type::kData, low, start);
      case 0x5: return readBytes(node, Type::kASCII, low, start);
      case 0x6: return readBytes(node, Type::kUTF16, low, start);
      case 0x8: {
        const char* bytes = take(low + 1);
        if (bytes == nullptr) return failAt(start, "The data ends in a UID");
        if (low > 7) return failAt(start, "Too wide a UID");
        node.type = Type::kUID;
        node.unsignedInteger = loadInteger(bytes, low + 1);
        return true;
      }
      case 0xA: return readContainer(node, Type::kArray, low, start);
      case 0xC: return readContainer(node, Type::kSet, low, start);
      case 0xD: return readContainer(node, Type::kDictionary, low, start);
      default: break;
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    return fail(std::string("Unknown marker 0x") + kDigits[marker >> 4] + kDigits[low] + " at byte " +
                std::to_string(start));
  }

  bool readInteger(Node& node, std::size_t width, std::size_t start) {
    const char* bytes = take(width);
    if (bytes == nullptr) return failAt(start, "The data ends in an integer");
    node.type = Type::kInteger;
    if (width < 16) {
      node.unsignedInteger = loadInteger(bytes, width);  // eight bytes are signed, fewer never negative
      return true;
    }
    const std::uint64_t high = loadInteger(bytes, 8), low = loadInteger(bytes + 8, 8);
    node.unsignedInteger = low;
    if (high == (low > INT64_MAX ? UINT64_MAX : 0)) return true;
    node.type = high == 0 ? Type::kUnsigned : Type::kWide;
    node.size = high;
    return true;
  }

  bool readReal(Node& node, Type type, std::size_t start) {
    const std::size_t width = type == Type::kFloat ? 4 : 8;
    const char* bytes = take(width);
    if (bytes == nullptr)
      return failAt(start, type == Type::kDate ? "The data ends in a date" : "The data ends in a real");
    const std::uint64_t bits = loadInteger(bytes, width);
    node.type = type;
    node.real = type == Type::kFloat ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                                     : std::bit_cast<double>(bits);
    return true;
  }

  bool readBytes(Node& node, Type type, unsigned low, std::size_t start) {
    node.type = type;
    if (!readSize(low, node.size)) return failAt(start, "A size that is none");
    if (type == Type::kUTF16 && node.size > bytes_.size()) return failAt(start, "Text longer than the data");
    node.bytes = take(type == Type::kUTF16 ? node.size * 2 : node.size);
    if (node.bytes == nullptr) {
      return failAt(start, type == Type::kData ? "Bytes longer than the data" : "Text longer than the data");
    }
    if (type == Type::kASCII && !unicode::isASCII(node.bytes, node.size)) {
      return failAt(start, "Text with bytes that are not ASCII");
    }
    return true;
  }

  bool readContainer(Node& node, Type type, unsigned low, std::size_t start) {
    node.type = type;
    if (!readSize(low, node.size)) return failAt(start, "A size that is none");
    if (node.size > bytes_.size()) return failAt(start, "A container larger than the data");
    const std::uint64_t references = type == Type::kDictionary ? node.size * 2 : node.size;
    const char* bytes = take(references * referenceWidth_);
    if (bytes == nullptr) return failAt(start, "A container larger than the data");
    auto& children = document_.children;
    node.first = children.size();
    children.resize(node.first + references);
    std::uint32_t* const into = children.data() + node.first;
    const bool areGood = referenceWidth_ == 1   ? readReferences<std::uint8_t>(bytes, into, references)
                         : referenceWidth_ == 2 ? readReferences<std::uint16_t>(bytes, into, references)
                         : referenceWidth_ == 4 ? readReferences<std::uint32_t>(bytes, into, references)
                                                : readWideReferences(bytes, into, references);
    if (areGood) return true;
    for (std::uint64_t i = 0;; ++i) {
      const std::uint64_t reference = loadInteger(bytes + i * referenceWidth_, referenceWidth_);
      if (reference < count_) continue;
      return fail("A reference to object " + std::to_string(reference) + " of " + std::to_string(count_) +
                  " in the container at byte " + std::to_string(start));
    }
  }

  /// NO when one of them refers to nothing. Written so that it becomes vector instructions.
  template <class Reference>
  bool readReferences(const char* bytes, std::uint32_t* into, std::uint64_t count) const noexcept {
    std::uint32_t largest = 0;
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint32_t reference = loadBigEndian<Reference>(bytes + i * sizeof(Reference));
      into[i] = reference;
      largest = std::max(largest, reference);
    }
    return largest < count_;
  }
  bool readWideReferences(const char* bytes, std::uint32_t* into, std::uint64_t count) const noexcept {
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::uint64_t reference = loadInteger(bytes + i * referenceWidth_, referenceWidth_);
      if (reference >= count_) return false;
      into[i] = static_cast<std::uint32_t>(reference);
    }
    return true;
  }

  bool checkKeys() {
    for (const Node& node : document_.nodes) {
      if (node.type != Type::kDictionary) continue;
      for (std::uint64_t i = 0; i < node.size; ++i) {
        if (!document_.keyAt(node, i).isText()) [[unlikely]] {
          return fail("Key " + std::to_string(i) + " of a dictionary, object " +
                      std::to_string(document_.children[node.first + i]) + ", is no text");
        }
      }
    }
    return true;
  }

  const std::string_view bytes_;
  PropertyListDocument& document_;
  PropertyListFailure& failure_;
  std::size_t p_ = 0;
  std::uint64_t used_ = 0;
  std::uint64_t count_ = 0, top_ = 0, table_ = 0;
  std::size_t offsetWidth_ = 0, referenceWidth_ = 0;
};

}  // namespace

bool readBinaryPropertyList(std::string_view bytes, PropertyListDocument& document, PropertyListFailure& failure) {
  return Reader(bytes, document, failure).read();
}

}  // namespace kvt
