// Where characters, lines, words and sentences begin and end.
#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSObject.h"
#include "NSStringGraphemes.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

using EnumerationBlock = Block<void(const NSString&, NSRange, NSRange, bool*)>;

struct Lines {
  bool paragraphs;  // only what ends a paragraph counts

  bool isEnd(char16_t c) const noexcept {
    return c == '\n' || c == '\r' || c == 0x2029 || (!paragraphs && (c == 0x85 || c == 0x2028));
  }
  /// The start of the line that holds the place `at`.
  std::size_t start(const Units& units, std::size_t at, std::size_t length) const {
    // Between CR and LF is within the line's end.
    if (at > 0 && at < length && units[at] == '\n' && units[at - 1] == '\r') --at;
    while (at > 0 && !isEnd(units[at - 1])) --at;
    return at;
  }
  /// Where its contents end, and behind its end. Looks back no further than `first`.
  void end(const Units& units, std::size_t first, std::size_t at, std::size_t length, std::size_t& contentsEnd,
           std::size_t& end) const {
    if (at > first && at < length && units[at] == '\n' && units[at - 1] == '\r') --at;
    while (at < length && !isEnd(units[at])) ++at;
    contentsEnd = end = at;
    if (at == length) return;
    end = at + 1;
    if (units[at] == '\r' && end < length && units[end] == '\n') ++end;
  }
};

NSRange lineRange(const NSString& text, NSRange range, bool paragraphs, std::size_t& contentsEnd) {
  const std::size_t length = text.length();
  const Units units(bodyOf(text));
  const Lines lines{paragraphs};
  const std::size_t start = lines.start(units, range.location, length);
  // The line of the range's last character; that of its place when it is empty.
  const std::size_t last = range.length == 0 ? range.location : NSMaxRange(range) - 1;
  std::size_t end = 0;
  lines.end(units, 0, last, length, contentsEnd, end);
  return {start, end - start};
}

/// Hands substrings to the block; NO once it has stopped.
class Enumeration {
 public:
  Enumeration(const NSString& text, NSStringEnumerationOptions options, const EnumerationBlock& block)
      : text_(text), wantsText_((options & NSStringEnumerationSubstringNotRequired) == 0), block_(block) {}

  bool give(NSRange range, NSRange enclosing) {
    bool stop = false;
    block_(wantsText_ ? slice(bodyOf(text_), range.location, range.length) : NSString(), range, enclosing, &stop);
    return !stop;
  }

 private:
  const NSString& text_;
  bool wantsText_;
  const EnumerationBlock& block_;
};

struct Piece {
  NSRange range, enclosing;
};

/// Words and sentences, by ICU's rules. Collected before the block runs: it may enumerate in turn.
std::vector<Piece> piecesByICU(const StringBody& body, NSRange range, bool words) {
  std::vector<Piece> pieces;
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> breaks(
      words ? icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status)
            : icu::BreakIterator::createSentenceInstance(icu::Locale::getRoot(), status));
  const UTF16Text units(body);
  UText source = UTEXT_INITIALIZER;
  utext_openUChars(&source, units.data() + range.location, static_cast<std::int64_t>(range.length), &status);
  if (U_FAILURE(status)) return pieces;
  breaks->setText(&source, status);
  std::int32_t start = breaks->first();
  for (std::int32_t end = breaks->next(); end != icu::BreakIterator::DONE; start = end, end = breaks->next()) {
    const NSRange found = {range.location + static_cast<NSUInteger>(start), static_cast<NSUInteger>(end - start)};
    // Blanks and punctuation belong to the word in front of them, those at the start to the first word.
    if (words && breaks->getRuleStatus() < UBRK_WORD_NONE_LIMIT) {
      if (!pieces.empty()) pieces.back().enclosing.length += found.length;
      continue;
    }
    const NSUInteger from = pieces.empty() ? range.location : found.location;
    pieces.push_back({found, {from, NSMaxRange(found) - from}});
  }
  utext_close(&source);
  return pieces;
}

}  // namespace

NSRange NSString::rangeOfComposedCharacterSequenceAtIndex(NSUInteger index) const {
  if (!*this) return {0, 0};
  const StringBody& body = bodyOf(*this);
  const NSUInteger size = body.length();
  if (index >= size) raiseIndex("-[NSString rangeOfComposedCharacterSequenceAtIndex:]", index, size);
  const Units units(body);
  const std::size_t start = clusterStart(units, index, size);
  return {start, clusterEnd(units, start, size) - start};
}

NSRange NSString::rangeOfComposedCharacterSequencesForRange(NSRange range) const {
  if (!*this) return {0, 0};
  const StringBody& body = bodyOf(*this);
  const NSUInteger size = body.length();
  checkRange(range, size, "-[NSString rangeOfComposedCharacterSequencesForRange:]");
  if (range.location == size) return {size, 0};
  const Units units(body);
  const std::size_t start = clusterStart(units, range.location, size);
  const std::size_t last = range.length == 0 ? range.location : NSMaxRange(range) - 1;
  return {start, clusterEnd(units, clusterStart(units, last, size), size) - start};
}

void NSString::getLineStart_end_contentsEnd_forRange(NSUInteger* start, NSUInteger* end, NSUInteger* contentsEnd,
                                                     NSRange range) const {
  NSRange line;
  std::size_t contents = 0;
  if (*this) {
    checkRange(range, length(), "-[NSString getLineStart:end:contentsEnd:forRange:]");
    line = lineRange(*this, range, false, contents);
  }
  if (start != nullptr) *start = line.location;
  if (end != nullptr) *end = NSMaxRange(line);
  if (contentsEnd != nullptr) *contentsEnd = contents;
}

NSRange NSString::lineRangeForRange(NSRange range) const {
  if (!*this) return {0, 0};
  checkRange(range, length(), "-[NSString lineRangeForRange:]");
  std::size_t contentsEnd = 0;
  return lineRange(*this, range, false, contentsEnd);
}

NSRange NSString::paragraphRangeForRange(NSRange range) const {
  if (!*this) return {0, 0};
  checkRange(range, length(), "-[NSString paragraphRangeForRange:]");
  std::size_t contentsEnd = 0;
  return lineRange(*this, range, true, contentsEnd);
}

void NSString::enumerateSubstringsInRange_options_usingBlock(NSRange range, NSStringEnumerationOptions options,
                                                             const EnumerationBlock& block) const {
  if (!*this) return;
  constexpr const char* kSelector = "-[NSString enumerateSubstringsInRange:options:usingBlock:]";
  checkRange(range, length(), kSelector);
  if (!block) raiseNilArgument(kSelector);
  const NSString text = copy();  // the block may change a mutable text
  const StringBody& body = bodyOf(text);
  Enumeration enumeration(text, options, block);
  const bool reverse = (options & NSStringEnumerationReverse) != 0;
  const NSUInteger kind = options & 0xFF;
  const std::size_t end = NSMaxRange(range);

  std::vector<Piece> pieces;
  if (kind == NSStringEnumerationByWords || kind == NSStringEnumerationBySentences) {
    pieces = piecesByICU(body, range, kind == NSStringEnumerationByWords);
    if (!reverse) {
      for (const Piece& piece : pieces) {
        if (!enumeration.give(piece.range, piece.enclosing)) return;
      }
      return;
    }
  } else {
    const Units units(body);
    const Lines lines{kind == NSStringEnumerationByParagraphs};
    for (std::size_t i = range.location; i < end;) {
      std::size_t contentsEnd = 0, next = 0;
      if (kind == NSStringEnumerationByComposedCharacterSequences)
        next = contentsEnd = clusterEnd(units, i, end);
      else
        lines.end(units, i, i, end, contentsEnd, next);
      const Piece piece = {{i, contentsEnd - i}, {i, next - i}};
      i = next;
      if (reverse)
        pieces.push_back(piece);
      else if (!enumeration.give(piece.range, piece.enclosing))
        return;
    }
  }
  for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) {
    if (!enumeration.give(piece->range, piece->enclosing)) return;
  }
}

void NSString::enumerateLinesUsingBlock(const Block<void(const NSString&, bool*)>& block) const {
  if (!*this) return;
  if (!block) raiseNilArgument("-[NSString enumerateLinesUsingBlock:]");
  enumerateSubstringsInRange_options_usingBlock(
      {0, length()}, NSStringEnumerationByLines,
      [&block](const NSString& line, NSRange, NSRange, bool* stop) { block(line, stop); });
}

namespace {

[[maybe_unused]] const bool boundariesRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.method<&Self::rangeOfComposedCharacterSequenceAtIndex>("rangeOfComposedCharacterSequenceAtIndex:");
  c.method<&Self::rangeOfComposedCharacterSequencesForRange>("rangeOfComposedCharacterSequencesForRange:");
  c.method<&Self::getLineStart_end_contentsEnd_forRange>("getLineStart:end:contentsEnd:forRange:");
  c.method<&Self::lineRangeForRange>("lineRangeForRange:");
  c.method<&Self::paragraphRangeForRange>("paragraphRangeForRange:");
  c.method<&Self::enumerateSubstringsInRange_options_usingBlock>("enumerateSubstringsInRange:options:usingBlock:");
  c.method<&Self::enumerateLinesUsingBlock>("enumerateLinesUsingBlock:");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
