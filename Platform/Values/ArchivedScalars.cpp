// Text, numbers and data in keyed archives. The immutable ones are values of the property list itself, which the
// archiver writes without asking; here are the mutable ones, decimals, and the forms that other writers have.
#include "ArchivedValues.h"
#include "NSDataBody.h"
#include "NSDecimalNumberBody.h"
#include "NSMutableString.h"
#include "NSNumberBody.h"
#include "NSStringBody.h"
#include "NSStringUnicode.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;
using archive::archiverOf;

// ---- NSString -------------------------------------------------------------------------------------------------------

void encodeString(const NSString& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.put("NS.string", archiver.list.text(*StringBody::of(self.object())));
}

NSString textIn(UnarchiverBody& unarchiver) {
  const Node* text = unarchiver.plain("NS.string");
  if (text != nullptr && text->isText()) return textOfNode(*text);
  const Node* bytes = unarchiver.plain("NS.bytes");
  if (bytes != nullptr && bytes->type == Type::kData) return NSString(bytes->view());
  return NSString();
}

id decodeString(UnarchiverBody& unarchiver, Class cls) {
  const NSString text = textIn(unarchiver);
  if (!text) {
    unarchiver.fail("A text has no NS.string.");
    return id();
  }
  const bool isMutable = class_isSubclassOf(cls, classOf<NSMutableString>());
  if (!isMutable && cls == classOf<NSString>()) return text;
  id copy = text.mutableCopy();
  // An immutable text of its own: the empty one, for example, is shared.
  if (!isMutable) copy = id(adopt, StringBody::createCopy(*StringBody::of(copy.object())));
  archive::setClass(copy, cls);
  return copy;
}

// ---- NSData ---------------------------------------------------------------------------------------------------------

void encodeData(const NSData& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.put("NS.data", archiver.list.data(self.view()));
}

id decodeData(UnarchiverBody& unarchiver, Class cls) {
  const Node* bytes = unarchiver.plain("NS.data");
  if (bytes == nullptr) bytes = unarchiver.plain("NS.bytes");
  if (bytes == nullptr || bytes->type != Type::kData) {
    unarchiver.fail("Data has no NS.data.");
    return id();
  }
  const bool isMutable = class_isSubclassOf(cls, classOf<NSMutableData>());
  id data(adopt, DataBody::create(isMutable ? kMutableDataKind : kDataKind, bytes->bytes, bytes->size));
  archive::setClass(data, cls);
  return data;
}

// ---- NSNumber -------------------------------------------------------------------------------------------------------

void encodeNumber(const NSNumber& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  BinaryPropertyListWriter& list = archiver.list;
  const NumberBody* number = NumberBody::of(self.object());
  if (number == nullptr) return;
  if (number->type == NumberBody::Type::kBool)
    archiver.put("NS.number", list.boolean(number->integer != 0));
  else if (number->isReal())
    archiver.put("NS.number", list.real(number->real));
  else
    archiver.put("NS.number", number->isUnsigned64() ? list.unsignedInteger(number->unsignedInteger)
                                                     : list.integer(number->integer));
}

id decodeNumber(UnarchiverBody& unarchiver, Class) {
  for (const char* key : {"NS.number", "NS.intval", "NS.dblval", "NS.boolval"}) {
    const Node* node = unarchiver.plain(key);
    if (node == nullptr || node->type < Type::kFalse || node->type > Type::kDouble) continue;
    PropertyListFailure failure;
    if (id number = scalarOfNode(*node, failure)) return number;
  }
  unarchiver.fail("A number has no value.");
  return id();
}

// ---- NSDecimalNumber ------------------------------------------------------------------------------------------------
// As the platform's NSDecimal: eight units of sixteen bits, the lowest first, as they lie in the memory of the machine
// that wrote them; how many of them count; an exponent of ten. No units and a sign are "not a number".

constexpr std::size_t kUnits = 8;
constexpr std::int64_t kLittleEndian = 1, kBigEndian = 2;

void encodeDecimalNumber(const NSDecimalNumber& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  BinaryPropertyListWriter& list = archiver.list;
  const Decimal value = DecimalNumberBody::of(self.object())->value();
  char bytes[2 * kUnits];
  std::int64_t length = 0;
  UInt128 rest = value.notANumber ? 0 : value.mantissa;
  for (std::size_t i = 0; i < kUnits; ++i, rest >>= 16) {
    if (rest != 0) ++length;
    bytes[2 * i] = static_cast<char>(rest & 0xFF);
    bytes[2 * i + 1] = static_cast<char>(rest >> 8 & 0xFF);
  }
  archiver.put("NS.exponent", list.integer(value.notANumber ? 0 : value.exponent));
  archiver.put("NS.length", list.integer(length));
  archiver.put("NS.negative", list.boolean(value.negative || value.notANumber));
  archiver.put("NS.compact", list.boolean(true));
  archiver.put("NS.mantissa.bo", list.integer(kLittleEndian));
  archiver.put("NS.mantissa", list.data({bytes, sizeof bytes}));
}

id decodeDecimalNumber(UnarchiverBody& unarchiver, Class) {
  std::int64_t exponent = 0, length = 0, order = kLittleEndian;
  bool isNegative = false;
  unarchiver.integer("NS.exponent", kDecimalMinimumExponent, kDecimalMaximumExponent, exponent);
  unarchiver.integer("NS.length", 0, kUnits, length);
  unarchiver.boolean("NS.negative", isNegative);
  unarchiver.integer("NS.mantissa.bo", kLittleEndian, kBigEndian, order);
  const Node* bytes = unarchiver.plain("NS.mantissa");
  const std::size_t count = static_cast<std::size_t>(length);
  if (count != 0 && (bytes == nullptr || bytes->type != Type::kData || bytes->size < 2 * count)) {
    unarchiver.fail("A decimal number has no mantissa of its length.");
    return id();
  }
  UInt128 mantissa = 0;
  for (std::size_t i = count; i-- > 0;) {
    const auto first = static_cast<std::uint8_t>(bytes->bytes[2 * i]);
    const auto second = static_cast<std::uint8_t>(bytes->bytes[2 * i + 1]);
    mantissa = mantissa << 16 | static_cast<unsigned>(order == kBigEndian ? first << 8 | second : second << 8 | first);
  }
  Decimal value;
  if (count == 0 && isNegative) {
    value = decimalNaN();
  } else if (decimalMake(mantissa, exponent, isNegative, {}, value) == DecimalStatus::kOverflow) {
    unarchiver.fail("A decimal number is too large.");
    return id();
  }
  return id(adopt, DecimalNumberBody::create(value));
}

[[maybe_unused]] const bool registered[] = {
    archive::registerValue<NSString, &encodeString, &decodeString>(),
    archive::registerValue<NSData, &encodeData, &decodeData>(),
    archive::registerValue<NSNumber, &encodeNumber, &decodeNumber>(),
    archive::registerValue<NSDecimalNumber, &encodeDecimalNumber, &decodeDecimalNumber>(),
};

}  // namespace
}  // namespace kvt
