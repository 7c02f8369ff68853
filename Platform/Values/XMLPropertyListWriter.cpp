// Nodes to XML text, laid out as the platform's own.
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "NSError.h"
#include "NSNumberBody.h"
#include "NSString.h"
#include "NSStringUnicode.h"
#include "PropertyListDocument.h"
#include "PropertyListText.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using Type = PropertyListNode::Type;

class Writer {
 public:
  Writer(const PropertyListDocument& document, std::string& out, PropertyListFailure& failure)
      : document_(document), out_(out), failure_(failure), budget_(document) {}

  bool write() {
    out_ +=
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
        "<plist version=\"1.0\">\n";
    if (!value(document_.nodes[document_.top], 0)) return false;
    out_ += "</plist>\n";
    return true;
  }

 private:
  bool fail(const std::string& reason) {
    failure_ = {NSPropertyListWriteInvalidError, reason};
    return false;
  }

  void indent(std::size_t depth) { out_.append(depth, '\t'); }

  void element(const char* name, std::string_view content) {
    out_ += '<';
    out_ += name;
    out_ += '>';
    out_ += content;
    out_ += "</";
    out_ += name;
    out_ += ">\n";
  }

  bool value(const Node& node, std::size_t depth) {
    if (depth > kPropertyListMaximumDepth) return fail("Containers are nested too deep, or contain themselves.");
    if (!budget_.take(node)) return fail("Shared values have too many places.");
    indent(depth);
    switch (node.type) {
      case Type::kNull: return fail("XML property lists have no null.");
      case Type::kSet: return fail("XML property lists have no sets.");
      case Type::kFalse: return out_ += "<false/>\n", true;
      case Type::kTrue: return out_ += "<true/>\n", true;
      case Type::kInteger: return element("integer", std::to_string(node.integer)), true;
      case Type::kUnsigned: return element("integer", std::to_string(node.unsignedInteger)), true;
      case Type::kWide: return wide(node);
      case Type::kFloat:
      case Type::kDouble: return real(node);
      case Type::kDate: return date(node);
      case Type::kData: return data(node, depth), true;
      case Type::kASCII:
      case Type::kUTF8:
      case Type::kUTF16: return text("string", node);
      case Type::kUID:
        out_ += "<dict>\n";
        indent(depth + 1);
        element("key", "CF$UID");
        indent(depth + 1);
        element("integer", std::to_string(node.unsignedInteger));
        indent(depth);
        return out_ += "</dict>\n", true;
      case Type::kArray: return array(node, depth);
      case Type::kDictionary: return dictionary(node, depth);
    }
    return false;
  }

  bool wide(const Node& node) {
    PropertyListFailure tooWide;
    const id number = scalarOfNode(node, tooWide);
    if (!number) return fail(tooWide.reason);
    return element("integer", number.description().str()), true;
  }

  bool real(const Node& node) {
    if (std::isnan(node.real)) return element("real", "nan"), true;
    if (std::isinf(node.real)) return element("real", node.real < 0 ? "-infinity" : "+infinity"), true;
    char digits[kNumberTextSize];
    const std::size_t size = formatNumber(node.real, digits);
    return element("real", {digits, size}), true;
  }

  bool date(const Node& node) {
    std::string content;
    if (!propertylist::formatDate(node.real, content)) return fail("A date that no calendar reaches.");
    return element("date", content), true;
  }

  void data(const Node& node, std::size_t depth) {
    out_ += "<data>\n";
    const NSData bytes = NSData::dataWithBytes_length(node.bytes, node.size);
    const std::string packed = bytes.base64EncodedStringWithOptions().str();
    // Lines end at column 76, with tabs of eight.
    const std::size_t width = std::max<std::size_t>(76 - std::min<std::size_t>(depth * 8, 60), 16) / 4 * 4;
    for (std::size_t at = 0; at < packed.size(); at += width) {
      indent(depth);
      out_.append(packed, at, width);
      out_ += '\n';
    }
    indent(depth);
    out_ += "</data>\n";
  }

  bool array(const Node& node, std::size_t depth) {
    if (node.size == 0) return out_ += "<array/>\n", true;
    out_ += "<array>\n";
    for (std::size_t i = 0; i < node.size; ++i) {
      if (!value(document_.child(node, i), depth + 1)) return false;
    }
    indent(depth);
    return out_ += "</array>\n", true;
  }

  bool dictionary(const Node& node, std::size_t depth) {
    if (node.size == 0) return out_ += "<dict/>\n", true;
    out_ += "<dict>\n";
    for (std::size_t i = 0; i < node.size; ++i) {
      indent(depth + 1);
      if (!text("key", document_.keyAt(node, i)) || !value(document_.valueAt(node, i), depth + 1)) return false;
    }
    indent(depth);
    return out_ += "</dict>\n", true;
  }

  bool text(const char* name, const Node& node) {
    const NSString converted = node.type == Type::kUTF16 ? textOfNode(node) : NSString();
    const std::string_view utf8 = node.type == Type::kUTF16 ? converted.utf8() : node.view();
    if (node.size != 0 && utf8.data() == nullptr) return fail("Text with an unpaired surrogate has no XML form.");
    out_ += '<';
    out_ += name;
    out_ += '>';
    for (std::size_t i = 0; i < utf8.size(); ++i) {
      const char c = utf8[i];
      switch (c) {
        case '<': out_ += "&lt;"; break;
        case '>': out_ += "&gt;"; break;
        case '&': out_ += "&amp;"; break;
        case '\r': out_ += "&#13;"; break;  // as it stands it would be read as a line feed
        default: {
          const bool isControl = static_cast<std::uint8_t>(c) < 0x20 && c != '\t' && c != '\n';
          const std::string_view rest = utf8.substr(i, 3);
          if (isControl || rest == "\xEF\xBF\xBE" || rest == "\xEF\xBF\xBF") {
            return fail("Text with a character that has no XML form: " + quotedText(node) + ".");
          }
          out_ += c;
        }
      }
    }
    out_ += "</";
    out_ += name;
    return out_ += ">\n", true;
  }

  const PropertyListDocument& document_;
  std::string& out_;
  PropertyListFailure& failure_;
  PropertyListBudget budget_;
};

}  // namespace

bool writeXMLPropertyList(const PropertyListDocument& document, std::string& text, PropertyListFailure& failure) {
  return Writer(document, text, failure).write();
}

}  // namespace kvt
