#include "NSPropertyListSerialization.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "BinaryPropertyListWriter.h"
#include "NSArrayBody.h"
#include "NSData.h"
#include "NSDateBody.h"
#include "NSDecimalNumberBody.h"
#include "NSDictionaryBody.h"
#include "NSError.h"
#include "NSKeyedArchiverUID.h"
#include "NSNumberBody.h"
#include "NSSetBody.h"
#include "NSString.h"
#include "NSStringBody.h"
#include "PropertyListDocument.h"

namespace kvt {
namespace {

/// Objects into the binary form, which XML text is made from too. A container that stands at several places is written
/// once.
class TreeWriter {
 public:
  using Value = PropertyListValue;

  TreeWriter(NSPropertyListFormat format, PropertyListFailure& failure) : format_(format), failure_(failure) {}

  bool value(const Object* object, Value& result, std::size_t depth) {
    if (const StringBody* text = StringBody::of(object)) return result = out_.text(*text), true;
    if (const NumberBody* number = NumberBody::of(object)) return result = this->number(*number), true;
    if (collections::isCollection(object)) return collection(object, result, depth);
    if (isKindBetween(object, kDataKind, kMutableDataKind)) {
      return result = out_.data(NSData(borrow, object).view()), true;
    }
    if (isKindBetween(object, kDateKind, kDateKind)) {
      return result = out_.date(static_cast<const DateBody*>(object)->interval), true;
    }
    if (const DecimalNumberBody* decimal = DecimalNumberBody::of(object)) {
      return result = this->decimal(decimal->value()), true;
    }
    if (const auto uid = id(borrow, object).as<NSKeyedArchiverUID>()) {
      return result = out_.sparseUID(uid->value()), true;
    }
    return refuse(object);
  }

  NSData finish(Value top) { return out_.finish(top); }

 private:
  bool fail(std::string reason) {
    failure_ = {NSPropertyListWriteInvalidError, std::move(reason)};
    return false;
  }
  bool refuse(const Object* object) {
    return fail(object == nullptr ? std::string("There is no object.")
                                  : std::string("Property lists of this format cannot hold objects of class ") +
                                        class_getName(object_getClass(object)) + ".");
  }
  Value number(const NumberBody& number) {
    switch (number.type) {
      case NumberBody::Type::kBool: return out_.boolean(number.integer != 0);
      case NumberBody::Type::kUInt64: return out_.unsignedInteger(number.unsignedInteger);
      case NumberBody::Type::kFloat: return out_.real(static_cast<float>(number.real));
      case NumberBody::Type::kDouble: return out_.real(number.real);
      default: return out_.integer(number.integer);
    }
  }

  /// An integer where it is one of 128 bits, else the nearest double.
  Value decimal(const Decimal& value) {
    constexpr UInt128 kLargest = ~UInt128{0} >> 1;
    UInt128 magnitude = value.mantissa;
    bool isInteger = !value.notANumber && value.exponent >= 0;
    for (int i = 0; isInteger && i < value.exponent && magnitude != 0; ++i) {
      isInteger = magnitude <= kLargest / 10;
      magnitude *= 10;
    }
    if (!isInteger) return out_.real(decimalToDouble(value));
    const auto integer = static_cast<PropertyListWideInteger>(magnitude);
    if (value.negative)
      return integer <= INT64_MAX ? out_.integer(static_cast<std::int64_t>(-integer)) : out_.wideInteger(-integer);
    return integer <= INT64_MAX ? out_.integer(static_cast<std::int64_t>(integer)) : out_.wideInteger(integer);
  }

  bool collection(const Object* object, Value& result, std::size_t depth) {
    if (const auto found = written_.find(object); found != written_.end()) return result = found->second, true;
    if (depth == kPropertyListMaximumDepth) return fail("Containers are nested too deep, or contain themselves.");
    bool isWritten = false;
    if (const DictionaryBody* dictionary = DictionaryBody::of(object)) {
      isWritten = this->dictionary(*dictionary, result, depth);
    } else if (const ArrayBody* array = ArrayBody::of(object)) {
      isWritten = this->array(*array, result, depth);
    } else if (format_ == NSPropertyListBinaryFormat_v1_0) {
      isWritten = set(*SetBody::of(object), result, depth);
    } else {
      return refuse(object);
    }
    if (isWritten) written_.emplace(object, result);
    return isWritten;
  }

  /// Values of nested containers lie on one stack; those of this one are its last.
  bool push(const Object* object, std::size_t depth) {
    Value each;
    if (!value(object, each, depth + 1)) return false;
    values_.push_back(each);
    return true;
  }

  bool array(const ArrayBody& array, Value& result, std::size_t depth) {
    const std::size_t base = values_.size();
    for (std::size_t i = 0; i < array.count; ++i) {
      if (!push(array.items[i].object(), depth)) return false;
    }
    result = out_.array(values_.data() + base, array.count);
    values_.resize(base);
    return true;
  }

  bool set(const SetBody& set, Value& result, std::size_t depth) {
    const auto& table = set.table;
    const std::size_t base = values_.size();
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      if (collections::isCollection(table.slots[i].object())) return fail("Sets in property lists hold no containers.");
      if (!push(table.slots[i].object(), depth)) return false;
    }
    result = out_.set(values_.data() + base, values_.size() - base);
    values_.resize(base);
    return true;
  }

  bool dictionary(const DictionaryBody& dictionary, Value& result, std::size_t depth) {
    const auto& table = dictionary.table;
    const std::size_t base = values_.size();
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      const StringBody* key = StringBody::of(table.slots[i].key.object());
      if (key == nullptr) {
        return fail(std::string("A dictionary has a key of class ") + class_getName(table.slots[i].key.class_()) +
                    "; keys are text.");
      }
      values_.push_back(out_.text(*key));
    }
    const std::size_t count = values_.size() - base;
    for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
      if (!push(table.slots[i].value.object(), depth)) return false;
    }
    result = out_.dictionary(values_.data() + base, values_.data() + base + count, count);
    values_.resize(base);
    return true;
  }

  BinaryPropertyListWriter out_;
  const NSPropertyListFormat format_;
  PropertyListFailure& failure_;
  std::vector<Value> values_;
  boost::unordered_flat_map<const Object*, Value> written_;
};

NSData write(const id& list, NSPropertyListFormat format, NSUInteger options, PropertyListFailure& failure) {
  if (format != NSPropertyListBinaryFormat_v1_0 && format != NSPropertyListXMLFormat_v1_0) {
    failure = {NSPropertyListWriteStreamError, format == NSPropertyListOpenStepFormat
                                                   ? "The old text format of property lists is not written."
                                                   : "The format of the property list is unknown."};
    return NSData();
  }
  if (options != 0) {
    failure = {NSPropertyListWriteStreamError, "There are no options for writing."};
    return NSData();
  }
  TreeWriter writer(format, failure);
  PropertyListValue top;
  if (!writer.value(list.object(), top, 0)) return NSData();
  NSData binary = writer.finish(top);
  if (format == NSPropertyListBinaryFormat_v1_0) return binary;
  return xmlOfBinaryPropertyList(binary, failure);
}

}  // namespace

NSData xmlOfBinaryPropertyList(const NSData& binary, PropertyListFailure& failure) {
  PropertyListDocument document;
  std::string text;
  if (!document.read(binary, failure) || !writeXMLPropertyList(document, text, failure)) return NSData();
  return NSData(text);
}

id NSPropertyListSerialization::propertyListWithData_options_format_error(const NSData& data,
                                                                          NSPropertyListReadOptions options,
                                                                          NSPropertyListFormat* format,
                                                                          NSError* error) {
  PropertyListDocument document;
  PropertyListFailure failure;
  id list;
  if (document.read(data, failure)) list = objectOfDocument(document, options, failure);
  if (list) {
    if (format != nullptr) *format = document.format;
  } else if (error != nullptr) {
    *error = propertyListError(failure);
  }
  return list;
}

NSData NSPropertyListSerialization::dataWithPropertyList_format_options_error(const id& propertyList,
                                                                              NSPropertyListFormat format,
                                                                              NSPropertyListWriteOptions options,
                                                                              NSError* error) {
  PropertyListFailure failure;
  NSData data = write(propertyList, format, options, failure);
  if (!data && error != nullptr) *error = propertyListError(failure);
  return data;
}

bool NSPropertyListSerialization::propertyList_isValidForFormat(const id& propertyList, NSPropertyListFormat format) {
  if (format != NSPropertyListBinaryFormat_v1_0 && format != NSPropertyListXMLFormat_v1_0) return false;
  PropertyListFailure failure;
  PropertyListValue top;
  return TreeWriter(format, failure).value(propertyList.object(), top, 0);
}

Class NSPropertyListSerialization::kvtClass() {
  static const Class cls = [] {
    using Self = NSPropertyListSerialization;
    ClassBuilder<Self> c("NSPropertyListSerialization", classOf<NSObject>());
    c.classMethod<&Self::propertyListWithData_options_format_error>("propertyListWithData:options:format:error:");
    c.classMethod<&Self::dataWithPropertyList_format_options_error>("dataWithPropertyList:format:options:error:");
    c.classMethod<&Self::propertyList_isValidForFormat>("propertyList:isValidForFormat:");
    return c.registerClass();
  }();
  return cls;
}

bool NSPropertyListSerialization::kvtAccepts(const Object* object) noexcept {
  return class_isSubclassOf(object_getClass(object), kvtClass());
}

[[maybe_unused]] static const bool registered = (classOf<NSPropertyListSerialization>(), true);

}  // namespace kvt
