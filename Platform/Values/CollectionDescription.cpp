// The platform's old-style property list text of collections.
#include <algorithm>
#include <string>
#include <vector>

#include "CollectionSupport.h"
#include "NSArrayBody.h"
#include "NSDictionaryBody.h"
#include "NSSetBody.h"
#include "NSString.h"

namespace kvt::collections {
namespace {

/// Deeper collections are abbreviated: each level indents every line below it.
constexpr unsigned kMaximumDepth = 128;

/// The collections that this thread is describing, innermost first. It spans the descriptions of clients' objects in
/// between, so that an object that prints the collection it is in comes to an end too.
struct Frame {
  const Object* collection;
  const Frame* outer;
  unsigned depth;
};
constinit thread_local const Frame* innermost = nullptr;

class FrameScope {
 public:
  explicit FrameScope(const Object* collection) noexcept
      : frame_{collection, innermost, innermost != nullptr ? innermost->depth + 1 : 1} {
    innermost = &frame_;
  }
  ~FrameScope() { innermost = frame_.outer; }
  FrameScope(const FrameScope&) = delete;
  FrameScope& operator=(const FrameScope&) = delete;

 private:
  Frame frame_;
};

bool isOmitted(const Object* collection) noexcept {
  if (innermost == nullptr) return false;
  if (innermost->depth >= kMaximumDepth) return true;
  for (const Frame* frame = innermost; frame != nullptr; frame = frame->outer) {
    if (frame->collection == collection) return true;
  }
  return false;
}

bool isPlain(std::string_view text) noexcept {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  });
}

void appendUnit(std::string& out, char16_t unit) {
  switch (unit) {
    case u'"': out += "\\\""; return;
    case u'\\': out += "\\\\"; return;
    case u'\a': out += "\\a"; return;
    case u'\b': out += "\\b"; return;
    case u'\f': out += "\\f"; return;
    case u'\n': out += "\\n"; return;
    case u'\r': out += "\\r"; return;
    case u'\t': out += "\\t"; return;
    case u'\v': out += "\\v"; return;
    default: break;
  }
  if (unit >= 0x20 && unit < 0x7F) {
    out += static_cast<char>(unit);
    return;
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  out += "\\U";
  for (int shift = 12; shift >= 0; shift -= 4) out += kDigits[(unit >> shift) & 0xF];
}

void appendText(std::string& out, const StringBody& body) {
  if (body.isASCII() && isPlain(body.utf8())) {
    out += body.utf8();
    return;
  }
  out += '"';
  const UTF16Text text(body);
  for (std::size_t i = 0; i < text.size(); ++i) appendUnit(out, text[i]);
  out += '"';
}

class Writer {
 public:
  void collection(const Object* object, unsigned level) {
    const Frames frames = framesOf(object);
    if (isOmitted(object)) {
      out_ += frames.omitted;
      return;
    }
    FrameScope scope(object);
    // Clients' descriptions may change the collection: its content is taken beforehand.
    std::vector<DictionaryEntry> entries = entriesOf(object);
    out_ += frames.opening;
    out_ += '\n';
    for (std::size_t i = 0; i < entries.size(); ++i) {
      indent(level + 1);
      if (isDictionary(object)) {
        element(entries[i].key, level + 1);
        out_ += " = ";
      }
      element(entries[i].value, level + 1);
      if (isDictionary(object))
        out_ += ';';
      else if (i + 1 < entries.size())
        out_ += ',';
      out_ += '\n';
    }
    indent(level);
    out_ += frames.closing;
  }

  const std::string& text() const noexcept { return out_; }

 private:
  struct Frames {
    const char *opening, *closing, *omitted;
  };
  static Frames framesOf(const Object* object) noexcept {
    if (isArray(object)) return {"(", ")", "(...)"};
    if (isDictionary(object)) return {"{", "}", "{...}"};
    return {"{(", ")}", "{(...)}"};
  }

  static std::vector<DictionaryEntry> entriesOf(const Object* object) {
    std::vector<DictionaryEntry> entries;
    if (isArray(object)) {
      const auto& body = static_cast<const ArrayBody&>(*object);
      entries.reserve(body.count);
      for (std::size_t i = 0; i < body.count; ++i) entries.push_back({id(), body.items[i]});
    } else if (isSet(object)) {
      const auto& table = static_cast<const SetBody&>(*object).table;
      entries.reserve(table.count);
      for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1))
        entries.push_back({id(), table.slots[i]});
    } else {
      const auto& table = static_cast<const DictionaryBody&>(*object).table;
      entries.reserve(table.count);
      bool allText = true;
      for (std::uint32_t i = table.next(0); i < table.used; i = table.next(i + 1)) {
        entries.push_back(table.slots[i]);
        allText = allText && StringBody::of(table.slots[i].key.object()) != nullptr;
      }
      if (allText) {
        std::sort(entries.begin(), entries.end(), [](const DictionaryEntry& a, const DictionaryEntry& b) {
          return precedes(*StringBody::of(a.key.object()), *StringBody::of(b.key.object()));
        });
      }
    }
    return entries;
  }

  /// By UTF-16 units.
  static bool precedes(const StringBody& a, const StringBody& b) {
    if (a.isASCII() && b.isASCII()) return a.utf8() < b.utf8();
    return UTF16Text(a).view() < UTF16Text(b).view();
  }

  void element(const id& element, unsigned level) {
    const Object* object = element.object();
    if (isCollection(object)) {
      // A nested collection stands behind the indentation of its own level.
      if (!isOmitted(object)) indent(level);
      return collection(object, level);
    }
    if (const StringBody* body = StringBody::of(object)) return appendText(out_, *body);
    const NSString description = element.description();
    const StringBody* body = StringBody::of(description.object());
    if (body == nullptr) {
      out_ += "\"(null)\"";
    } else if (isKindBetween(object, kDataKind, kMutableDataKind) && body->isASCII()) {
      out_ += body->utf8();
    } else {
      appendText(out_, *body);
    }
  }

  void indent(unsigned level) { out_.append(4 * std::size_t{level}, ' '); }

  std::string out_;
};

}  // namespace

NSString describeCollection(const Object* collection) {
  Writer writer;
  writer.collection(collection, 0);
  return NSString(std::string_view(writer.text()));
}

}  // namespace kvt::collections
