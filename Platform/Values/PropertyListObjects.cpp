// Nodes to objects.
#include <vector>

#include "NSArrayBody.h"
#include "NSDataBody.h"
#include "NSDateBody.h"
#include "NSDecimalNumberBody.h"
#include "NSDictionaryBody.h"
#include "NSError.h"
#include "NSKeyedArchiverUID.h"
#include "NSNull.h"
#include "NSNumberBody.h"
#include "NSSetBody.h"
#include "NSString.h"
#include "PropertyListDocument.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;

id wideNumber(const Node& node, PropertyListFailure& failure) {
  UInt128 magnitude = static_cast<UInt128>(node.size) << 64 | node.unsignedInteger;
  const bool isNegative = static_cast<std::int64_t>(node.size) < 0;
  if (isNegative) magnitude = ~magnitude + 1;
  Decimal value;
  if (decimalMake(magnitude, 0, isNegative, {}, value) != DecimalStatus::kExact) {
    failure = {NSPropertyListReadCorruptError, "An integer of more than 38 digits."};
    return id();
  }
  return id(adopt, DecimalNumberBody::create(value));
}

class ObjectMaker {
 public:
  ObjectMaker(const PropertyListDocument& document, NSUInteger options, PropertyListFailure& failure)
      : document_(document),
        hasMutableContainers_(
            (options & (NSPropertyListMutableContainers | NSPropertyListMutableContainersAndLeaves)) != 0),
        hasMutableLeaves_((options & NSPropertyListMutableContainersAndLeaves) != 0),
        failure_(failure),
        made_(document.nodes.size()),
        isBeingMade_(document.nodes.size()),
        budget_(document) {}

  id top() { return value(document_.top, 0); }

 private:
  id fail(const char* reason) {
    failure_ = {NSPropertyListReadCorruptError, reason};
    return id();
  }

  id value(std::uint32_t number, std::size_t depth) {
    const Node& node = document_.nodes[number];
    if (hasMutableLeaves_ && (node.isText() || node.type == Type::kData)) return mutableLeaf(node);
    if (made_[number]) return shared(node, number, depth);
    if (!node.isContainer()) return made_[number] = scalarOfNode(node, failure_);
    if (isBeingMade_[number]) return fail("A container contains itself.");
    if (depth == kPropertyListMaximumDepth) return fail("Containers are nested too deep.");
    isBeingMade_[number] = true;
    id object = container(node, depth + 1);
    isBeingMade_[number] = false;
    if (object) made_[number] = object;
    return object;
  }

  /// A value that is met again. Who may change it at one place must not see it change at another one, so mutable
  /// containers are made anew.
  id shared(const Node& node, std::uint32_t number, std::size_t depth) {
    if (!hasMutableContainers_ || !node.isContainer()) return made_[number];
    if (depth == kPropertyListMaximumDepth) return fail("Containers are nested too deep.");
    return budget_.take(node) ? container(node, depth + 1) : fail("Shared containers have too many places.");
  }

  id mutableLeaf(const Node& node) {
    if (!budget_.take(node)) return fail("Shared values have too many places.");
    return scalarOfNode(node, failure_).mutableCopy();
  }

  id container(const Node& node, std::size_t depth) {
    switch (node.type) {
      case Type::kArray: return array(node, depth);
      case Type::kSet: return set(node, depth);
      default: return dictionary(node, depth);
    }
  }

  id array(const Node& node, std::size_t depth) {
    ArrayBody* body = ArrayBody::create(hasMutableContainers_ ? kMutableArrayKind : kArrayKind, node.size);
    const id result(adopt, body);
    for (std::size_t i = 0; i < node.size; ++i) {
      id element = value(document_.children[node.first + i], depth);
      if (!element) return id();
      body->appendUnchecked(std::move(element));
    }
    return result;
  }

  id set(const Node& node, std::size_t depth) {
    SetBody* body = SetBody::create(hasMutableContainers_ ? kMutableSetKind : kSetKind, node.size);
    const id result(adopt, body);
    for (std::size_t i = 0; i < node.size; ++i) {
      // Telling containers apart may take as long as the bytes like.
      if (document_.child(node, i).isContainer()) return fail("A set holds a container.");
      id element = value(document_.children[node.first + i], depth);
      if (!element) return id();
      body->add(std::move(element));
      if (body->table.count != i + 1) return fail("A set has equal elements.");
    }
    return result;
  }

  id dictionary(const Node& node, std::size_t depth) {
    DictionaryBody* body =
        DictionaryBody::create(hasMutableContainers_ ? kMutableDictionaryKind : kDictionaryKind, node.size);
    const id result(adopt, body);
    for (std::size_t i = 0; i < node.size; ++i) {
      const std::uint32_t keyNumber = document_.children[node.first + i];
      id key = made_[keyNumber];
      if (!key) key = made_[keyNumber] = textOfNode(document_.nodes[keyNumber]);
      id object = key ? value(document_.children[node.first + node.size + i], depth) : fail("A key is too long.");
      if (!object) return id();
      if (!body->add(std::move(key), std::move(object))) {
        failure_ = {NSPropertyListReadCorruptError,
                    "The key " + quotedText(document_.nodes[keyNumber]) + " comes twice in a dictionary."};
        return id();
      }
    }
    return result;
  }

  const PropertyListDocument& document_;
  const bool hasMutableContainers_;
  const bool hasMutableLeaves_;
  PropertyListFailure& failure_;
  std::vector<id> made_;
  std::vector<bool> isBeingMade_;
  PropertyListBudget budget_;
};

}  // namespace

id scalarOfNode(const Node& node, PropertyListFailure& failure) {
  switch (node.type) {
    case Type::kNull: return NSNull::null();
    case Type::kFalse: return NSNumber(false);
    case Type::kTrue: return NSNumber(true);
    case Type::kInteger: return id(adopt, NumberBody::create(node.integer));
    case Type::kUnsigned: return id(adopt, NumberBody::create(node.unsignedInteger));
    case Type::kWide: return wideNumber(node, failure);
    case Type::kFloat: return NSNumber(static_cast<float>(node.real));
    case Type::kDouble: return id(adopt, NumberBody::create(node.real));
    case Type::kDate: return id(adopt, new DateBody(node.real));
    case Type::kData: return id(adopt, DataBody::create(kDataKind, node.bytes, node.size));
    case Type::kUID: return NSKeyedArchiverUID::UIDWithValue(node.unsignedInteger);
    case Type::kASCII:
    case Type::kUTF8:
    case Type::kUTF16: {
      const NSString text = textOfNode(node);
      if (!text) failure = {NSPropertyListReadCorruptError, "A text is too long."};
      return text;
    }
    case Type::kArray:
    case Type::kSet:
    case Type::kDictionary: break;
  }
  return id();
}

id objectOfDocument(const PropertyListDocument& document, NSUInteger options, PropertyListFailure& failure) {
  return ObjectMaker(document, options, failure).top();
}

}  // namespace kvt
