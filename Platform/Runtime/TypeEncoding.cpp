#include "TypeEncoding.h"

#include <algorithm>
#include <cstring>

namespace kvt {
namespace {

constexpr int kMaximumNesting = 64;
constexpr std::size_t kMaximumSize = std::size_t{1} << 40;  // far beyond any object, far below overflow

constexpr std::string_view kQualifiers = "rnNoORV";

/// Reads one encoding from a text that may be anything at all.
class EncodingReader {
 public:
  explicit EncodingReader(std::string_view text) : text_(text) {}

  bool type(SizeAndAlignment& result, int depth = 0) {
    while (!atEnd() && kQualifiers.find(peek()) != std::string_view::npos) ++position_;
    if (atEnd() || depth > kMaximumNesting) return false;
    switch (char c = text_[position_++]) {
      case 'v': result = {0, 1}; return true;
      case 'B': return scalar<bool>(result);
      case 'c':
      case 'C': return scalar<char>(result);
      case 's':
      case 'S': return scalar<short>(result);
      case 'i':
      case 'I':
      case 'l':
      case 'L': return scalar<int>(result);
      case 'q':
      case 'Q': return scalar<long long>(result);
      case 'f': return scalar<float>(result);
      case 'd': return scalar<double>(result);
      case 'D': return scalar<long double>(result);
      case '*':
      case '#':
      case ':':
      case '?': return scalar<void*>(result);
      case '@': return object(result);
      case '^': {
        SizeAndAlignment ignored;
        if (!type(ignored, depth + 1)) return false;
        return scalar<void*>(result);
      }
      case '[': return array(result, depth);
      case '{': return aggregate(result, depth, '}', false);
      case '(': return aggregate(result, depth, ')', true);
      case 'b': {
        std::size_t bits = 0;
        if (!number(bits)) return false;
        result = {(bits + 7) / 8, 1};
        return true;
      }
      default: static_cast<void>(c); return false;
    }
  }

  bool atEnd() const { return position_ >= text_.size(); }
  std::size_t position() const { return position_; }

 private:
  char peek() const { return text_[position_]; }

  template <class T>
  static bool scalar(SizeAndAlignment& result) {
    result = {sizeof(T), alignof(T)};
    return true;
  }

  bool object(SizeAndAlignment& result) {
    if (!atEnd() && peek() == '?') {
      ++position_;
      if (!atEnd() && peek() == '<') {
        std::size_t open = 0;
        for (; !atEnd(); ++position_) {
          if (peek() == '<') ++open;
          if (peek() == '>' && --open == 0) break;
        }
        if (atEnd()) return false;
        ++position_;
      }
    } else if (!atEnd() && peek() == '"') {
      std::size_t close = text_.find('"', position_ + 1);
      if (close == std::string_view::npos) return false;
      position_ = close + 1;
    }
    return scalar<void*>(result);
  }

  bool number(std::size_t& value) {
    if (atEnd() || peek() < '0' || peek() > '9') return false;
    value = 0;
    while (!atEnd() && peek() >= '0' && peek() <= '9') {
      value = value * 10 + static_cast<std::size_t>(peek() - '0');
      if (value > kMaximumSize) return false;
      ++position_;
    }
    return true;
  }

  bool array(SizeAndAlignment& result, int depth) {
    std::size_t count = 0;
    SizeAndAlignment element;
    if (!number(count) || !type(element, depth + 1)) return false;
    if (atEnd() || text_[position_++] != ']') return false;
    if (element.size != 0 && count > kMaximumSize / element.size) return false;
    result = {count * element.size, element.alignment};
    return true;
  }

  bool aggregate(SizeAndAlignment& result, int depth, char close, bool isUnion) {
    // The name runs to '=', or to the closing bracket where nothing is said of the fields.
    while (!atEnd() && peek() != '=' && peek() != close) ++position_;
    if (atEnd()) return false;
    result = {0, 1};
    if (text_[position_++] == close) return true;
    while (!atEnd() && peek() != close) {
      if (peek() == '"') {  // field names, where a compiler gives them
        std::size_t end = text_.find('"', position_ + 1);
        if (end == std::string_view::npos) return false;
        position_ = end + 1;
        continue;
      }
      SizeAndAlignment field;
      if (!type(field, depth + 1)) return false;
      if (isUnion) {
        result.size = std::max(result.size, field.size);
      } else {
        result.size = (result.size + field.alignment - 1) / field.alignment * field.alignment + field.size;
      }
      result.alignment = std::max(result.alignment, field.alignment);
      if (result.size > kMaximumSize) return false;
    }
    if (atEnd()) return false;
    ++position_;
    result.size = (result.size + result.alignment - 1) / result.alignment * result.alignment;
    return true;
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace

SizeAndAlignment sizeAndAlignment(std::string_view types, bool* valid) noexcept {
  EncodingReader reader(types);
  SizeAndAlignment result;
  const bool good = reader.type(result) && reader.atEnd();
  if (valid != nullptr) *valid = good && result.size != 0;
  return good ? result : SizeAndAlignment{};
}

std::size_t lengthOfFirstType(std::string_view types) noexcept {
  EncodingReader reader(types);
  SizeAndAlignment result;
  return reader.type(result) ? reader.position() : 0;
}

}  // namespace kvt
