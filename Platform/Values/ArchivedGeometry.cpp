// NSValue in keyed archives.
//
// Points, sizes, rectangles and ranges have the platform's own forms, which `NS.special` tells apart. Other values are
// kept by their encoding and the numbers in it, one after the other, so that neither the byte order nor the padding of
// a machine matters.
#include "ArchivedGeometry.h"

#include <KVTPlatform/Runtime/Raise.h>

#include <charconv>
#include <cstring>
#include <utility>

#include "ArchivedValues.h"
#include "NSNumberBody.h"
#include "NSValue.h"

namespace kvt {
namespace archive {
namespace {

std::string number(CGFloat value) {
  char digits[kNumberTextSize];
  return std::string(digits, formatNumber(value, digits));
}

/// Reads what it is told to, blanks aside.
class Scanner {
 public:
  explicit Scanner(std::string_view text) noexcept : text_(text) {}
  Scanner& punctuation(char c) noexcept {
    skipBlanks();
    isGood_ = isGood_ && !text_.empty() && text_.front() == c;
    if (isGood_) text_.remove_prefix(1);
    return *this;
  }
  Scanner& number(CGFloat& value) noexcept {
    skipBlanks();
    const auto [stop, problem] = std::from_chars(text_.data(), text_.data() + text_.size(), value);
    isGood_ = isGood_ && problem == std::errc();
    if (isGood_) text_.remove_prefix(static_cast<std::size_t>(stop - text_.data()));
    return *this;
  }
  Scanner& pair(CGFloat& first, CGFloat& second) noexcept {
    return punctuation('{').number(first).punctuation(',').number(second).punctuation('}');
  }
  bool isDone() noexcept {
    skipBlanks();
    return isGood_ && text_.empty();
  }

 private:
  void skipBlanks() noexcept {
    while (!text_.empty() && text_.front() == ' ') text_.remove_prefix(1);
  }
  std::string_view text_;
  bool isGood_ = true;
};

}  // namespace

std::string textOf(CGPoint point) { return "{" + number(point.x) + ", " + number(point.y) + "}"; }
std::string textOf(CGSize size) { return textOf(CGPoint{size.width, size.height}); }
std::string textOf(CGRect rect) { return "{" + textOf(rect.origin) + ", " + textOf(rect.size) + "}"; }

bool parse(std::string_view text, CGPoint& point) noexcept { return Scanner(text).pair(point.x, point.y).isDone(); }
bool parse(std::string_view text, CGSize& size) noexcept {
  return Scanner(text).pair(size.width, size.height).isDone();
}
bool parse(std::string_view text, CGRect& rect) noexcept {
  Scanner scanner(text);
  scanner.punctuation('{').pair(rect.origin.x, rect.origin.y).punctuation(',');
  return scanner.pair(rect.size.width, rect.size.height).punctuation('}').isDone();
}

}  // namespace archive

namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;
using archive::archiverOf;

enum Special : std::int64_t { kPoint = 1, kSize = 2, kRect = 3, kRange = 4 };

constexpr std::int64_t kOwnVersion = 1;

// ---- the numbers in a value
// -------------------------------------------------------------------------------------------

/// Calls `visit` with the code and offset of each number that a value of the encoding consists of. NO for an encoding
/// with anything else in it, and when `visit` answers NO.
template <class Visit>
bool eachNumber(std::string_view type, std::size_t offset, int depth, const Visit& visit) {
  constexpr int kDeepest = 32;
  if (type.empty() || depth > kDeepest) return false;
  if (std::strchr("BcCsSiIlLqQfd", type[0]) != nullptr) return visit(type[0], offset);
  if (type[0] == '[') {
    std::size_t count = 0;
    const auto [element, problem] = std::from_chars(type.data() + 1, type.data() + type.size(), count);
    if (problem != std::errc()) return false;
    const std::string_view inner(element, static_cast<std::size_t>(type.data() + type.size() - 1 - element));
    const std::size_t size = sizeAndAlignment(inner).size;
    if (size == 0) return false;
    for (std::size_t i = 0; i < count; ++i) {
      if (!eachNumber(inner, offset + i * size, depth + 1, visit)) return false;
    }
    return true;
  }
  if (type[0] != '{') return false;
  const std::size_t equals = type.find('=');
  if (equals == std::string_view::npos) return false;
  std::string_view fields = type.substr(equals + 1, type.size() - equals - 2);
  while (!fields.empty()) {
    if (fields.front() == '"') {  // a field's name
      fields.remove_prefix(fields.find('"', 1) + 1);
      continue;
    }
    const std::size_t length = lengthOfFirstType(fields);
    if (length == 0) return false;
    const SizeAndAlignment layout = sizeAndAlignment(fields.substr(0, length));
    if (layout.alignment == 0) return false;
    offset = (offset + layout.alignment - 1) / layout.alignment * layout.alignment;
    if (!eachNumber(fields.substr(0, length), offset, depth + 1, visit)) return false;
    offset += layout.size;
    fields.remove_prefix(length);
  }
  return true;
}

template <class T>
T load(const std::vector<char>& bytes, std::size_t offset) noexcept {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}

template <class T>
bool store(std::vector<char>& bytes, std::size_t offset, T value) noexcept {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
  return true;
}

PropertyListValue writeNumber(BinaryPropertyListWriter& list, char code, const std::vector<char>& bytes,
                              std::size_t offset) {
  switch (code) {
    case 'B': return list.boolean(load<std::uint8_t>(bytes, offset) != 0);
    case 'c': return list.integer(load<std::int8_t>(bytes, offset));
    case 'C': return list.integer(load<std::uint8_t>(bytes, offset));
    case 's': return list.integer(load<std::int16_t>(bytes, offset));
    case 'S': return list.integer(load<std::uint16_t>(bytes, offset));
    case 'i':
    case 'l': return list.integer(load<std::int32_t>(bytes, offset));
    case 'I':
    case 'L': return list.integer(load<std::uint32_t>(bytes, offset));
    case 'q': return list.integer(load<std::int64_t>(bytes, offset));
    case 'Q': return list.unsignedInteger(load<std::uint64_t>(bytes, offset));
    case 'f': return list.real(load<float>(bytes, offset));
    default: return list.real(load<double>(bytes, offset));
  }
}

/// NO for a number that is not of the type, or too large for it.
bool readNumber(const Node& node, char code, std::vector<char>& bytes, std::size_t offset) {
  if (code == 'f' || code == 'd') {
    if (node.type != Type::kFloat && node.type != Type::kDouble) return false;
    return code == 'f' ? store(bytes, offset, static_cast<float>(node.real)) : store(bytes, offset, node.real);
  }
  if (code == 'B') {
    if (node.type != Type::kTrue && node.type != Type::kFalse) return false;
    return store(bytes, offset, static_cast<std::uint8_t>(node.type == Type::kTrue));
  }
  if (code == 'Q' && node.type == Type::kUnsigned) return store(bytes, offset, node.unsignedInteger);
  if (node.type != Type::kInteger) return false;
  const auto put = [&]<class T>(T) {
    return std::in_range<T>(node.integer) && store(bytes, offset, static_cast<T>(node.integer));
  };
  switch (code) {
    case 'c': return put(std::int8_t());
    case 'C': return put(std::uint8_t());
    case 's': return put(std::int16_t());
    case 'S': return put(std::uint16_t());
    case 'i':
    case 'l': return put(std::int32_t());
    case 'I':
    case 'L': return put(std::uint32_t());
    case 'q': return put(std::int64_t());
    default: return put(std::uint64_t());
  }
}

// ---- NSValue --------------------------------------------------------------------------------------------------------

void encodeOwn(const NSValue& self, std::string_view type, ArchiverBody& archiver) {
  std::vector<char> bytes(sizeAndAlignment(type).size);
  self.getValue(bytes.data());
  std::vector<PropertyListValue> numbers;
  const bool isGood = eachNumber(type, 0, 0, [&](char code, std::size_t offset) {
    numbers.push_back(writeNumber(archiver.list, code, bytes, offset));
    return true;
  });
  if (!isGood || !NSString(type)) {
    objc_raise("NSInvalidArgumentException",
               "-[NSValue encodeWithCoder:]: a value of the type '" + std::string(type) + "' has no archive form");
  }
  archiver.put("KVT.value.version", archiver.list.integer(kOwnVersion));
  archiver.put("KVT.value.type", archiver.list.text(type));
  archiver.put("KVT.value.numbers", archiver.list.array(numbers.data(), numbers.size()));
}

void encodeValue(const NSValue& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  const std::string_view type = self.objCType();
  const auto special = [&archiver](Special which) { archiver.put("NS.special", archiver.list.integer(which)); };
  const auto text = [&archiver](const std::string& value, std::string_view key) {
    archiver.putObject(NSString(value).object(), key);
  };
  if (type == encodingOf<CGPoint>()) {
    text(archive::textOf(self.pointValue()), "NS.pointval");
    special(kPoint);
  } else if (type == encodingOf<CGSize>()) {
    text(archive::textOf(self.sizeValue()), "NS.sizeval");
    special(kSize);
  } else if (type == encodingOf<CGRect>()) {
    text(archive::textOf(self.rectValue()), "NS.rectval");
    special(kRect);
  } else if (type == encodingOf<NSRange>()) {
    const NSRange range = self.rangeValue();
    archiver.putObject(NSNumber(range.location).object(), "NS.rangeval.location");
    archiver.putObject(NSNumber(range.length).object(), "NS.rangeval.length");
    special(kRange);
  } else {
    encodeOwn(self, type, archiver);
  }
}

template <class T>
id decodeText(UnarchiverBody& unarchiver, std::string_view key) {
  const Node* node = unarchiver.plain(key);
  T value;
  if (node != nullptr && node->isText() && archive::parse(textOfNode(*node).str(), value)) return NSValue::of(value);
  unarchiver.fail("A value has no " + std::string(key) + ".");
  return id();
}

id decodeRange(UnarchiverBody& unarchiver) {
  const auto read = [&unarchiver](std::string_view key, NSUInteger& value) {
    const Node* node = unarchiver.plain(key);
    if (node == nullptr || (node->type != Type::kUnsigned && (node->type != Type::kInteger || node->integer < 0))) {
      return false;
    }
    value = node->unsignedInteger;
    return true;
  };
  NSRange range;
  if (read("NS.rangeval.location", range.location) && read("NS.rangeval.length", range.length)) {
    return NSValue::valueWithRange(range);
  }
  unarchiver.fail("A range has no location and length.");
  return id();
}

id decodeOwn(UnarchiverBody& unarchiver) {
  const auto fail = [&unarchiver](const char* reason) {
    unarchiver.fail(reason);
    return id();
  };
  std::int64_t version = 0;
  if (!unarchiver.integer("KVT.value.version", INT64_MIN, INT64_MAX, version))
    return fail("A value has no known form.");
  if (version != kOwnVersion) return fail("A value has a form of an unknown version.");
  const Node* typeNode = unarchiver.plain("KVT.value.type");
  const Node* numbers = unarchiver.find("KVT.value.numbers");
  if (typeNode == nullptr || !typeNode->isText() || numbers == nullptr || numbers->type != Type::kArray) {
    return fail("A value has no type, or no numbers.");
  }
  const std::string type = textOfNode(*typeNode).str();
  bool isValid = false;
  const SizeAndAlignment layout = sizeAndAlignment(type, &isValid);
  // A number takes eight bytes at most, and padding no more than as much again.
  if (!isValid || layout.size > 16 * numbers->size) return fail("A value has a type that does not fit its numbers.");
  std::vector<char> bytes(layout.size);
  std::size_t used = 0;
  const bool isGood = eachNumber(type, 0, 0, [&](char code, std::size_t offset) {
    return used < numbers->size && readNumber(unarchiver.document.child(*numbers, used++), code, bytes, offset);
  });
  if (!isGood || used != numbers->size) return fail("A value has numbers that do not fit its type.");
  return NSValue::valueWithBytes_objCType(bytes.data(), type.c_str());
}

id decodeValue(UnarchiverBody& unarchiver, Class) {
  if (unarchiver.find("NS.special") == nullptr) return decodeOwn(unarchiver);
  std::int64_t special = 0;
  unarchiver.integer("NS.special", INT64_MIN, INT64_MAX, special);
  switch (special) {
    case kPoint: return decodeText<CGPoint>(unarchiver, "NS.pointval");
    case kSize: return decodeText<CGSize>(unarchiver, "NS.sizeval");
    case kRect: return decodeText<CGRect>(unarchiver, "NS.rectval");
    case kRange: return decodeRange(unarchiver);
    default: unarchiver.fail("A value has the unknown form NS.special " + std::to_string(special) + "."); return id();
  }
}

[[maybe_unused]] const bool registered = archive::registerValue<NSValue, &encodeValue, &decodeValue>();

}  // namespace
}  // namespace kvt
