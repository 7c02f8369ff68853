// Text as searching and comparing see it: code points, folded as the options say, each with the place it comes from.
// Folded a segment (a character and its combining marks) at a time, from either end, so that a search costs no more
// than the way to its first match; not installed.
#pragma once

#include <string>
#include <vector>

#include "NSString.h"
#include "NSStringBody.h"

namespace kvt::text {

/// Whether the character equals nothing but itself under canonical equivalence and carries nothing: text of such
/// characters alone may be searched and compared unit by unit.
bool isSimple(char32_t c) noexcept;
/// The same of all of the text (valid UTF-8).
bool isSimple(std::string_view utf8) noexcept;
/// Whether canonical decomposition leaves the character as and where it is.
bool isInert(char32_t c) noexcept;
/// Whether a match may not end in front of it.
bool isCombiningMark(char32_t c) noexcept;

struct Folding {
  bool canonical = false;  // canonically equivalent text is equal
  bool ignoresCase = false;
  bool ignoresMarks = false;
  bool ignoresWidth = false;

  explicit Folding(NSUInteger options) noexcept
      : canonical((options & NSLiteralSearch) == 0),
        ignoresCase((options & NSCaseInsensitiveSearch) != 0),
        ignoresMarks((options & NSDiacriticInsensitiveSearch) != 0),
        ignoresWidth((options & NSWidthInsensitiveSearch) != 0) {}
  bool foldsNothing() const noexcept { return !ignoresCase && !ignoresMarks && !ignoresWidth; }
};

struct FoldedCharacter {
  char32_t c;
  std::uint32_t start;  // the unit at which the character that it comes from begins
  std::uint32_t end;
  bool isFirst;  // of what that character folds to
  bool isMark;
};

/// The units of a range, read as code points: ASCII bytes and UTF-16 alike.
class Units {
 public:
  explicit Units(const StringBody& body)
      : ascii_(body.isASCII() ? body.bytes() : nullptr), units_(ascii_ ? nullptr : body.utf16()) {}
  char16_t operator[](std::size_t i) const noexcept {
    return ascii_ != nullptr ? static_cast<char16_t>(ascii_[i]) : units_[i];
  }
  char32_t next(std::size_t& i, std::size_t end) const noexcept;
  char32_t previous(std::size_t& i, std::size_t start) const noexcept;

 private:
  const char* ascii_;
  const char16_t* units_;
};

class FoldedText {
 public:
  FoldedText(const StringBody& body, NSRange range, Folding folding, bool backwards)
      : units_(body), folding_(folding), backwards_(backwards), start_(range.location), end_(NSMaxRange(range)) {}

  /// The folded characters of the next segment, or of several that are a character each, behind the others; NO at the
  /// end. Backwards, the last comes first.
  bool appendSegment(std::vector<FoldedCharacter>& out);

 private:
  bool startsSegment(char32_t c) const noexcept;
  bool appendTrivial(std::vector<FoldedCharacter>& out);
  void appendCharacter(char32_t c, std::size_t start, std::size_t end, std::vector<FoldedCharacter>& out) const;

  Units units_;
  Folding folding_;
  bool backwards_;
  std::size_t start_, end_;  // what is left
};

/// All of it at once, code points alone.
std::u32string folded(const StringBody& body, Folding folding);
/// What a single code point folds to without regard to its neighbours.
void appendFolded(char32_t c, Folding folding, std::u32string& out);

}  // namespace kvt::text
