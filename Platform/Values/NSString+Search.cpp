// Searching. Unit by unit where that is exact, by folded characters otherwise; linear in every case.
#include <algorithm>
#include <cstring>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSCharacterSetBody.h"
#include "NSObject.h"
#include "NSStringFolding.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

constexpr NSRange kNotFound = {NSNotFound, 0};

/// For every prefix of the pattern, the length of its longest proper prefix that is its suffix too.
template <class Pattern>
std::vector<std::uint32_t> borders(const Pattern& pattern) {
  std::vector<std::uint32_t> border(pattern.size(), 0);
  std::uint32_t k = 0;
  for (std::size_t i = 1; i < pattern.size(); ++i) {
    while (k > 0 && !(pattern[i] == pattern[k])) k = border[k - 1];
    if (pattern[i] == pattern[k]) ++k;
    border[i] = k;
  }
  return border;
}

/// Short patterns are tried at every place; a long one could make that quadratic.
constexpr std::size_t kShortPattern = 16;

template <class Char>
std::size_t findForward(std::basic_string_view<Char> text, std::basic_string_view<Char> what) {
  if (what.size() <= kShortPattern) return text.find(what);
  const std::vector<std::uint32_t> border = borders(what);
  std::uint32_t k = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    while (k > 0 && text[i] != what[k]) k = border[k - 1];
    if (text[i] == what[k] && ++k == what.size()) return i + 1 - k;
  }
  return text.npos;
}

template <class Char>
std::size_t findBackward(std::basic_string_view<Char> text, std::basic_string_view<Char> what) {
  if (what.size() <= kShortPattern) return text.rfind(what);
  std::basic_string<Char> reversed(what.rbegin(), what.rend());
  const std::vector<std::uint32_t> border = borders(reversed);
  std::uint32_t k = 0;
  for (std::size_t i = text.size(); i-- > 0;) {
    while (k > 0 && text[i] != reversed[k]) k = border[k - 1];
    if (text[i] == reversed[k] && ++k == reversed.size()) return i;
  }
  return text.npos;
}

/// Where `what` stands in `text` as it is; npos when nowhere.
template <class Char>
std::size_t findExact(std::basic_string_view<Char> text, std::basic_string_view<Char> what, NSUInteger options) {
  if (what.size() > text.size()) return text.npos;
  if ((options & NSAnchoredSearch) != 0) {
    const std::size_t at = (options & NSBackwardsSearch) != 0 ? text.size() - what.size() : 0;
    return text.substr(at, what.size()) == what ? at : text.npos;
  }
  if ((options & NSBackwardsSearch) != 0) return findBackward(text, what);
  if constexpr (sizeof(Char) == 1) {
    const void* found = memmem(text.data(), text.size(), what.data(), what.size());
    return found != nullptr ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : text.npos;
  } else {
    return findForward(text, what);
  }
}

NSRange rangeFromExact(std::size_t at, NSRange range, std::size_t length) {
  return at == std::string_view::npos ? kNotFound : NSMakeRange(range.location + at, length);
}

NSRange findLiteral(const StringBody& body, const StringBody& what, NSUInteger options, NSRange range) {
  if (body.isASCII()) {
    const std::string_view bytes = what.utf8();
    if (bytes.size() != what.length()) return kNotFound;  // something in it is not ASCII
    return rangeFromExact(findExact(std::string_view(body.bytes() + range.location, range.length), bytes, options),
                          range, bytes.size());
  }
  const bool whole = range.location == 0 && range.length == body.length();
  if (whole && body.form == StringBody::Form::kUTF8 && what.form != StringBody::Form::kUTF16) {
    // Valid UTF-8 is found in valid UTF-8 at whole characters only: no units need be made for it.
    const std::string_view bytes = body.utf8();
    const std::size_t at = findExact(bytes, what.utf8(), options);
    if (at == bytes.npos) return kNotFound;
    return {unicode::utf16Length(bytes.data(), at), what.length()};
  }
  const UTF16Text units(what);
  return rangeFromExact(
      findExact(std::u16string_view(body.utf16() + range.location, range.length), units.view(), options), range,
      units.size());
}

/// Whether the units from `start` up to `end` equal nothing but themselves.
bool isSimpleBetween(const StringBody& body, std::size_t start, std::size_t end) {
  if (body.isASCII()) return true;
  const char16_t* const units = body.utf16();
  for (std::size_t i = start; i < end;) {
    if (units[i] < 0x300) {
      ++i;
      continue;
    }
    if (!isSimple(unicode::next(units, end, i))) return false;
  }
  return true;
}

/// Canonical search where nothing needs to be folded. NO when the text holds something that may equal something else
/// before the answer is certain. Goes through the text in stretches that grow, so that repeated searches stay linear
/// together, whatever comes: each looks no further than about twice the way to its match.
class SimpleSearch {
 public:
  SimpleSearch(const StringBody& body, const StringBody& what, NSUInteger options, NSRange range)
      : body_(body), what_(what), options_(options), start_(range.location), end_(NSMaxRange(range)) {}

  bool run(NSRange& found) {
    if (!isSimpleBetween(what_, 0, what_.length())) return false;
    if ((options_ & NSAnchoredSearch) != 0) return anchored(found);
    return (options_ & NSBackwardsSearch) != 0 ? backward(found) : forward(found);
  }

 private:
  std::size_t alignedForward(std::size_t at) const {
    return at > start_ && at < end_ && unicode::isHighSurrogate(body_.at(at - 1)) ? at + 1 : at;
  }
  std::size_t alignedBackward(std::size_t at) const {
    return at > start_ && at < end_ && unicode::isLowSurrogate(body_.at(at)) ? at - 1 : at;
  }
  std::size_t firstStretch() const { return std::max<std::size_t>(32, 2 * what_.length()); }

  bool anchored(NSRange& found) const {
    // The match, and the character behind it.
    const std::size_t reach = std::min<std::size_t>(what_.length() + 1, end_ - start_);
    const bool backwards = (options_ & NSBackwardsSearch) != 0;
    const std::size_t from = backwards ? alignedBackward(end_ - reach) : start_;
    const std::size_t to = backwards ? end_ : alignedForward(start_ + reach);
    found = findLiteral(body_, what_, options_, {start_, end_ - start_});
    return isSimpleBetween(body_, from, to);
  }

  bool forward(NSRange& found) const {
    const std::size_t length = what_.length();
    std::size_t from = start_, checked = start_;
    for (std::size_t stretch = firstStretch();; stretch *= 2) {
      const std::size_t to = alignedForward(std::min(end_, checked + stretch));
      if (!isSimpleBetween(body_, checked, to)) return false;
      checked = to;
      found = findLiteral(body_, what_, options_, {from, to - from});
      if (found.location != NSNotFound) {
        const std::size_t behind = NSMaxRange(found);
        return behind < to || isSimpleBetween(body_, behind, alignedForward(std::min(behind + 1, end_)));
      }
      if (to == end_) return true;
      from = std::max(from, to - std::min(to, length - 1));
    }
  }

  bool backward(NSRange& found) const {
    const std::size_t length = what_.length();
    std::size_t to = end_, checked = end_;
    for (std::size_t stretch = firstStretch();; stretch *= 2) {
      const std::size_t from = alignedBackward(checked - std::min(checked - start_, stretch));
      if (!isSimpleBetween(body_, from, checked)) return false;
      checked = from;
      found = findLiteral(body_, what_, options_, {from, to - from});
      if (found.location != NSNotFound || from == start_) return true;
      to = std::min(to, from + length - 1);
    }
  }

  const StringBody& body_;
  const StringBody& what_;
  NSUInteger options_;
  std::size_t start_, end_;
};

/// The whole of UTF-8 text, without making its units.
bool findSimpleUTF8(const StringBody& body, const StringBody& what, NSRange& found) {
  const std::string_view text = body.utf8(), bytes = what.utf8();
  if (!isSimple(bytes)) return false;
  const std::size_t at = findExact(text, bytes, 0);
  // Everything up to the match, and the character behind it, must equal nothing but itself: then no other is earlier.
  std::size_t end = at == text.npos ? text.size() : at + bytes.size();
  if (end < text.size()) unicode::next(text.data(), end);
  if (!isSimple(text.substr(0, end))) return false;
  found = at == text.npos ? kNotFound : NSMakeRange(unicode::utf16Length(text.data(), at), what.length());
  return true;
}

bool findCanonicallySimple(const StringBody& body, const StringBody& what, NSUInteger options, NSRange range,
                           NSRange& found) {
  const bool wholeForward =
      range.location == 0 && range.length == body.length() && (options & (NSBackwardsSearch | NSAnchoredSearch)) == 0;
  if (wholeForward && body.form == StringBody::Form::kUTF8 && what.form != StringBody::Form::kUTF16) {
    return findSimpleUTF8(body, what, found);
  }
  return SimpleSearch(body, what, options, range).run(found);
}

char asciiLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

NSRange findIgnoringASCIICase(std::string_view text, std::string_view what, NSUInteger options, NSRange range) {
  if (what.size() > text.size()) return kNotFound;
  const std::size_t last = text.size() - what.size();
  const auto matchesAt = [&](std::size_t at) {
    for (std::size_t k = 0; k < what.size(); ++k) {
      if (asciiLower(text[at + k]) != asciiLower(what[k])) return false;
    }
    return true;
  };
  const bool backwards = (options & NSBackwardsSearch) != 0;
  const std::size_t places = (options & NSAnchoredSearch) != 0 ? 1 : last + 1;
  for (std::size_t i = 0; i < places; ++i) {
    const std::size_t at = backwards ? last - i : i;
    if (matchesAt(at)) return {range.location + at, what.size()};
  }
  return kNotFound;
}

/// The search by folded characters: the pattern's borders lead it over them as they come.
class FoldedSearch {
 public:
  FoldedSearch(const StringBody& body, const std::u32string& pattern, NSUInteger options, NSRange range)
      : text_(body, range, Folding(options), (options & NSBackwardsSearch) != 0),
        pattern_(pattern),
        range_(range),
        backwards_((options & NSBackwardsSearch) != 0),
        checksMarks_(Folding(options).canonical && !Folding(options).ignoresMarks) {
    if (backwards_) std::reverse(pattern_.begin(), pattern_.end());
  }

  NSRange run(bool anchored) {
    const std::vector<std::uint32_t> border = borders(pattern_);
    std::size_t k = 0;
    for (std::size_t at = 0; available(at); ++at) {
      const char32_t c = element(at).c;
      while (k > 0 && pattern_[k] != c) {
        if (anchored) return kNotFound;
        k = border[k - 1];
      }
      if (pattern_[k] == c)
        ++k;
      else if (anchored)
        return kNotFound;
      if (k < pattern_.size()) continue;
      const NSRange found = match(at + 1 - k, at);
      if (found.location != NSNotFound || anchored) return found;
      k = border[k - 1];
    }
    return kNotFound;
  }

 private:
  const FoldedCharacter& element(std::size_t at) const { return window_[at - dropped_]; }

  bool available(std::size_t at) {
    while (at - dropped_ >= window_.size()) {
      // What lies further back than a match can reach is let go.
      const std::size_t keep = pattern_.size() + 2;
      if (window_.size() > 2 * keep + 1024) {
        const std::size_t excess = window_.size() - keep;
        window_.erase(window_.begin(), window_.begin() + static_cast<std::ptrdiff_t>(excess));
        dropped_ += excess;
      }
      if (!text_.appendSegment(window_)) return false;
    }
    return true;
  }

  /// The range of elements `from` to `to` (both included), unless it cuts a character or leaves its marks behind.
  NSRange match(std::size_t from, std::size_t to) {
    const FoldedCharacter first = element(backwards_ ? to : from);
    const FoldedCharacter* behind = nullptr;
    if (backwards_ && from > 0) behind = &element(from - 1);
    if (!backwards_ && available(to + 1)) behind = &element(to + 1);
    if (!first.isFirst) return kNotFound;
    if (behind != nullptr && (!behind->isFirst || (checksMarks_ && behind->isMark))) return kNotFound;
    const std::size_t end = behind != nullptr ? behind->start : NSMaxRange(range_);
    return end > first.start ? NSMakeRange(first.start, end - first.start) : kNotFound;
  }

  FoldedText text_;
  std::u32string pattern_;
  NSRange range_;
  bool backwards_, checksMarks_;
  std::vector<FoldedCharacter> window_;
  std::size_t dropped_ = 0;
};

NSRange search(const NSString& self, const NSString& what, NSUInteger options, NSRange range, const char* selector) {
  if (!self) return {0, 0};
  checkNotNil(what, selector);
  const StringBody& body = bodyOf(self);
  checkRange(range, body.length(), selector);
  if ((options & NSRegularExpressionSearch) != 0) return findPattern(self, what, options, range);
  return find(body, bodyOf(what), options, range);
}

}  // namespace

namespace text {

NSRange find(const StringBody& body, const StringBody& what, NSUInteger options, NSRange range) {
  if (what.size == 0) return kNotFound;
  const Folding folding(options);
  if (folding.foldsNothing()) {
    if (!folding.canonical || (body.isASCII() && what.isASCII())) return findLiteral(body, what, options, range);
    NSRange found;
    if (findCanonicallySimple(body, what, options, range, found)) return found;
  } else if (folding.ignoresCase && !folding.ignoresMarks && !folding.ignoresWidth && body.isASCII() &&
             what.isASCII() && what.size <= 2 * kShortPattern) {
    return findIgnoringASCIICase({body.bytes() + range.location, range.length}, what.utf8(), options, range);
  }
  const std::u32string pattern = folded(what, folding);
  if (pattern.empty()) return kNotFound;
  return FoldedSearch(body, pattern, options, range).run((options & NSAnchoredSearch) != 0);
}

std::size_t findBytes(std::string_view text, std::string_view what, std::size_t from) noexcept {
  if (from > text.size() || what.size() > text.size() - from) return text.npos;
  const void* found = memmem(text.data() + from, text.size() - from, what.data(), what.size());
  return found != nullptr ? static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) : text.npos;
}

std::size_t findUnits(std::u16string_view text, std::u16string_view what, std::size_t from) {
  if (from > text.size()) return text.npos;
  const std::size_t at = findForward(text.substr(from), what);
  return at == text.npos ? at : at + from;
}

}  // namespace text

bool NSString::hasPrefix(const NSString& text) const {
  if (!*this) return false;
  checkNotNil(text, "-[NSString hasPrefix:]");
  const StringBody& body = bodyOf(*this);
  const StringBody& prefix = bodyOf(text);
  if (prefix.size == 0) return false;
  if (body.form != StringBody::Form::kUTF16 && prefix.form != StringBody::Form::kUTF16) {
    return body.utf8().starts_with(prefix.utf8());
  }
  return UTF16Text(body).view().starts_with(UTF16Text(prefix).view());
}

bool NSString::hasSuffix(const NSString& text) const {
  if (!*this) return false;
  checkNotNil(text, "-[NSString hasSuffix:]");
  const StringBody& body = bodyOf(*this);
  const StringBody& suffix = bodyOf(text);
  if (suffix.size == 0) return false;
  if (body.form != StringBody::Form::kUTF16 && suffix.form != StringBody::Form::kUTF16) {
    return body.utf8().ends_with(suffix.utf8());
  }
  return UTF16Text(body).view().ends_with(UTF16Text(suffix).view());
}

bool NSString::containsString(const NSString& text) const {
  return search(*this, text, 0, {0, length()}, "-[NSString containsString:]").length != 0;
}

bool NSString::localizedCaseInsensitiveContainsString(const NSString& text) const {
  return search(*this, text, NSCaseInsensitiveSearch, {0, length()},
                "-[NSString localizedCaseInsensitiveContainsString:]")
             .length != 0;
}

NSRange NSString::rangeOfString(const NSString& text) const {
  return search(*this, text, 0, {0, length()}, "-[NSString rangeOfString:]");
}

NSRange NSString::rangeOfString_options(const NSString& text, NSStringCompareOptions options) const {
  return search(*this, text, options, {0, length()}, "-[NSString rangeOfString:options:]");
}

NSRange NSString::rangeOfString_options_range(const NSString& text, NSStringCompareOptions options,
                                              NSRange range) const {
  return search(*this, text, options, range, "-[NSString rangeOfString:options:range:]");
}

NSRange NSString::rangeOfCharacterFromSet(const NSCharacterSet& set) const {
  return rangeOfCharacterFromSet_options(set, kNilOptions);
}

NSRange NSString::rangeOfCharacterFromSet_options(const NSCharacterSet& set, NSStringCompareOptions options) const {
  return rangeOfCharacterFromSet_options_range(set, options, {0, length()});
}

NSRange NSString::rangeOfCharacterFromSet_options_range(const NSCharacterSet& set, NSStringCompareOptions options,
                                                        NSRange range) const {
  if (!*this) return {0, 0};
  constexpr const char* kSelector = "-[NSString rangeOfCharacterFromSet:options:range:]";
  checkNotNil(set, kSelector);
  const StringBody& body = bodyOf(*this);
  checkRange(range, body.length(), kSelector);
  const CharacterSetBody& members = CharacterSetBody::of(set);
  const Units units(body);
  const bool backwards = (options & NSBackwardsSearch) != 0;
  const std::size_t start = range.location, end = NSMaxRange(range);
  for (std::size_t i = backwards ? end : start; backwards ? i > start : i < end;) {
    const std::size_t before = i;
    const char32_t c = backwards ? units.previous(i, start) : units.next(i, end);
    if (members.contains(c)) return {std::min(before, i), std::max(before, i) - std::min(before, i)};
    if ((options & NSAnchoredSearch) != 0) break;
  }
  return kNotFound;
}

namespace {

[[maybe_unused]] const bool searchRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.method<&Self::hasPrefix>("hasPrefix:").method<&Self::hasSuffix>("hasSuffix:");
  c.method<&Self::containsString>("containsString:").method<&Self::rangeOfString>("rangeOfString:");
  c.method<&Self::localizedCaseInsensitiveContainsString>("localizedCaseInsensitiveContainsString:");
  c.method<&Self::rangeOfString_options>("rangeOfString:options:");
  c.method<&Self::rangeOfString_options_range>("rangeOfString:options:range:");
  c.method<&Self::rangeOfCharacterFromSet>("rangeOfCharacterFromSet:");
  c.method<&Self::rangeOfCharacterFromSet_options>("rangeOfCharacterFromSet:options:");
  c.method<&Self::rangeOfCharacterFromSet_options_range>("rangeOfCharacterFromSet:options:range:");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
