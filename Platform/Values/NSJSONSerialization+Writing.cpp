// From objects to text.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <KVTPlatform/Runtime/Raise.h>

#include "NSArrayBody.h"
#include "NSDecimalNumberBody.h"
#include "NSDictionary.h"
#include "NSDictionaryBody.h"
#include "NSError.h"
#include "NSJSONSerializationPrivate.h"
#include "NSNumberBody.h"
#include "NSString.h"
#include "NSStringBody.h"

namespace kvt {
namespace {

using Slot = DictionaryBody::Slot;

[[noreturn]] void raise(const std::string& reason) { objc_raise("NSInvalidArgumentException", reason); }

/// An entry on its way into the order of keys.
struct SortedEntry {
  SortedEntry(std::string_view keyText, const Slot* entry) noexcept : key(keyText), slot(entry) {
    for (std::size_t i = 0; i < 8 && i < key.size(); ++i) {
      start |= std::uint64_t{static_cast<unsigned char>(key[i])} << (56 - 8 * i);
    }
  }

  /// In the order of UTF-16 units. It is that of UTF-8's bytes, but for characters beyond U+FFFF: they are surrogates,
  /// and so come before U+E000.
  friend bool operator<(const SortedEntry& a, const SortedEntry& b) noexcept {
    constexpr std::uint64_t kNotAscii = 0x8080808080808080;
    if (a.start != b.start && ((a.start | b.start) & kNotAscii) == 0) return a.start < b.start;
    const auto [x, y] = std::mismatch(a.key.begin(), a.key.end(), b.key.begin(), b.key.end());
    if (x == a.key.end() || y == b.key.end()) return x == a.key.end() && y != b.key.end();
    const auto first = static_cast<unsigned char>(*x);
    const auto second = static_cast<unsigned char>(*y);
    const bool firstIsPair = first >= 0xF0;
    const bool secondIsPair = second >= 0xF0;
    if (firstIsPair != secondIsPair && first >= 0xEE && second >= 0xEE) return firstIsPair;
    return first < second;
  }

  std::uint64_t start = 0;  // the first eight bytes: most keys differ in them
  std::string_view key;
  const Slot* slot;
};

inline std::string_view keyText(const Slot& slot) {
  const StringBody* const key = StringBody::of(slot.key.object());
  if (key == nullptr) raise("Invalid (non-string) key in JSON dictionary");
  return key->utf8();
}

class TreeWriter {
 public:
  TreeWriter(NSUInteger options, JSONWriter& out)
      : out_(out),
        isPretty_((options & NSJSONWritingPrettyPrinted) != 0),
        isSorted_((options & NSJSONWritingSortedKeys) != 0) {}

  /// NO: a text has no UTF-8 form.
  bool value(const Object* object, std::size_t depth) {
    if (const StringBody* text = StringBody::of(object)) return string(text->utf8());
    if (const NumberBody* number = NumberBody::of(object)) {
      writeNumber(*number);
      return true;
    }
    if (const DictionaryBody* dictionary = DictionaryBody::of(object)) return writeDictionary(*dictionary, depth + 1);
    if (const ArrayBody* array = ArrayBody::of(object)) return writeArray(*array, depth + 1);
    if (isKindBetween(object, kNullKind, kNullKind)) {
      out_.null();
      return true;
    }
    if (const DecimalNumberBody* decimal = DecimalNumberBody::of(object)) {
      const Decimal number = decimal->value();
      if (number.notANumber) raise("Invalid number value (NaN) in JSON write");
      out_.raw(decimalText(number));
      return true;
    }
    raise("Invalid type in JSON write (" + std::string(class_getName(object_getClass(object))) + ")");
  }

 private:
  bool string(std::string_view utf8) {
    if (utf8.data() == nullptr) return false;
    out_.string(utf8);
    return true;
  }

  void writeNumber(const NumberBody& number) {
    switch (number.type) {
      case NumberBody::Type::kBool: out_.boolean(number.integer != 0); return;
      case NumberBody::Type::kUInt64: out_.unsignedInteger(number.unsignedInteger); return;
      case NumberBody::Type::kFloat:
      case NumberBody::Type::kDouble:
        if (out_.real(number.real)) return;
        raise(number.real != number.real ? "Invalid number value (NaN) in JSON write"
                                         : "Invalid number value (infinite) in JSON write");
      default: out_.integer(number.integer); return;
    }
  }

  bool writeArray(const ArrayBody& array, std::size_t depth) {
    checkDepth(depth);
    out_.character('[');
    for (std::size_t i = 0; i < array.count; ++i) {
      if (i != 0) out_.character(',');
      if (isPretty_) startLine(depth);
      if (!value(array.items[i].object(), depth)) return false;
    }
    end(']', array.count, depth);
    return true;
  }

  bool writeDictionary(const DictionaryBody& dictionary, std::size_t depth) {
    checkDepth(depth);
    const auto& table = dictionary.table;
    out_.character('{');
    if (isSorted_) {
      std::vector<SortedEntry> entries;
      entries.reserve(table.count);
      for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
        const std::string_view key = keyText(table.slots[i]);
        if (key.data() == nullptr) return false;
        entries.emplace_back(key, &table.slots[i]);
      }
      std::sort(entries.begin(), entries.end());
      for (std::size_t i = 0; i < entries.size(); ++i) {
        if (!writeEntry(entries[i].key, *entries[i].slot, i == 0, depth)) return false;
      }
    } else {
      bool isFirst = true;
      for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
        if (!writeEntry(keyText(table.slots[i]), table.slots[i], isFirst, depth)) return false;
        isFirst = false;
      }
    }
    end('}', table.count, depth);
    return true;
  }

  bool writeEntry(std::string_view key, const Slot& slot, bool isFirst, std::size_t depth) {
    if (!isFirst) out_.character(',');
    if (isPretty_) startLine(depth);
    if (!string(key)) return false;
    out_.raw(isPretty_ ? " : " : ":");
    return value(slot.value.object(), depth);
  }

  static void checkDepth(std::size_t depth) {
    if (depth > kJSONMaximumDepth) raise("Too many nested arrays or dictionaries in JSON write");
  }

  void startLine(std::size_t depth) {
    out_.character('\n');
    out_.spaces(2 * depth);
  }
  void end(char bracket, std::size_t count, std::size_t depth) {
    if (isPretty_) {
      if (count == 0) out_.character('\n');  // an empty line, as the platform has it
      startLine(depth - 1);
    }
    out_.character(bracket);
  }

  JSONWriter& out_;
  const bool isPretty_;
  const bool isSorted_;
};

bool isContainer(const Object* object) noexcept {
  return ArrayBody::of(object) != nullptr || DictionaryBody::of(object) != nullptr;
}

bool isValid(const Object* object, std::size_t depth) {
  if (StringBody::of(object) != nullptr || isKindBetween(object, kNullKind, kNullKind)) return true;
  if (const NumberBody* number = NumberBody::of(object)) return !number->isReal() || number->real - number->real == 0;
  if (const DecimalNumberBody* decimal = DecimalNumberBody::of(object)) return !decimal->value().notANumber;
  if (depth == kJSONMaximumDepth) return false;
  if (const ArrayBody* array = ArrayBody::of(object)) {
    return std::all_of(array->items, array->items + array->count,
                       [depth](const id& element) { return isValid(element.object(), depth + 1); });
  }
  if (const DictionaryBody* dictionary = DictionaryBody::of(object)) {
    const auto& table = dictionary->table;
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      if (StringBody::of(table.slots[i].key.object()) == nullptr) return false;
      if (!isValid(table.slots[i].value.object(), depth + 1)) return false;
    }
    return true;
  }
  return false;
}

}  // namespace

bool NSJSONSerialization::isValidJSONObject(const id& object) {
  return isContainer(object.object()) && isValid(object.object(), 0);
}

bool json::writeIfValid(const id& object, std::size_t containersAround, JSONWriter& out) {
  return isValid(object.object(), containersAround) && TreeWriter(0, out).value(object.object(), containersAround);
}

bool json::write(const id& object, NSUInteger options, JSONWriter& out, NSError* error) {
  constexpr const char* kMethod = "*** +[NSJSONSerialization dataWithJSONObject:options:error:]: ";
  if (!object) raise(std::string(kMethod) + "value parameter is nil");
  if ((options & NSJSONWritingFragmentsAllowed) == 0 && !isContainer(object.object())) {
    raise(std::string(kMethod) + "Invalid top-level type in JSON write");
  }
  out.setSlashes((options & NSJSONWritingWithoutEscapingSlashes) != 0 ? JSONWriter::kPlainSlashes
                                                                      : JSONWriter::kEscapeSlashes);
  TreeWriter writer(options, out);
  if (writer.value(object.object(), 0)) return true;
  if (error != nullptr) {
    const NSDictionary details = {
        {NSLocalizedDescriptionKey, "The data couldn’t be written because it isn’t in the correct format."},
        {NSDebugDescriptionErrorKey, "Text with an unpaired surrogate in JSON write"},
    };
    *error = NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, NSPropertyListWriteInvalidError, details);
  }
  return false;
}

}  // namespace kvt
