#include "NSStringFolding.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>

#include <algorithm>

#include "NSStringUnicode.h"

namespace kvt::text {
namespace {

const icu::Normalizer2& decomposer() {
  static const icu::Normalizer2* const instance = [] {
    UErrorCode status = U_ZERO_ERROR;
    return icu::Normalizer2::getNFDInstance(status);
  }();
  return *instance;
}

const icu::Normalizer2& compatibilityDecomposer() {
  static const icu::Normalizer2* const instance = [] {
    UErrorCode status = U_ZERO_ERROR;
    return icu::Normalizer2::getNFKDInstance(status);
  }();
  return *instance;
}

UChar32 codePoint(char32_t c) noexcept { return static_cast<UChar32>(c); }

/// Ideographs and Hangul syllables: most of what text holds above U+0300.
bool isPlainEastAsian(char32_t c) noexcept { return (c >= 0x3400 && c <= 0x9FFF) || (c >= 0xAC00 && c <= 0xD7A3); }

/// The marks that scripts add to letters, but not the vowel signs that are letters themselves.
bool isDiacritic(char32_t c) noexcept {
  if (c < 0x300 || isPlainEastAsian(c) || u_charType(codePoint(c)) != U_NON_SPACING_MARK) return false;
  switch (u_getIntPropertyValue(codePoint(c), UCHAR_SCRIPT)) {
    case USCRIPT_COMMON:
    case USCRIPT_INHERITED:
    case USCRIPT_ARABIC:
    case USCRIPT_CYRILLIC:
    case USCRIPT_GREEK:
    case USCRIPT_HEBREW:
    case USCRIPT_LATIN: return true;
    default: return false;
  }
}

template <class Out>
void foldCase(char32_t c, Out&& out) {
  if (c < 0x80) return out(c >= 'A' && c <= 'Z' ? c + 32 : c);
  if (isPlainEastAsian(c) || !u_hasBinaryProperty(codePoint(c), UCHAR_CHANGES_WHEN_CASEFOLDED)) return out(c);
  icu::UnicodeString text(codePoint(c));
  text.foldCase(U_FOLD_CASE_DEFAULT);
  for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) out(static_cast<char32_t>(text.char32At(i)));
}

template <class Out>
void fold(char32_t c, Folding folding, Out&& out) {
  const auto emit = [&](char32_t d) {
    if (folding.ignoresMarks && isDiacritic(d)) return;
    if (folding.ignoresCase)
      foldCase(d, out);
    else
      out(d);
  };
  if (c < 0xC0 || (c >= 0x3400 && c <= 0x9FFF)) return emit(c);
  icu::UnicodeString text;
  if (folding.ignoresWidth) {
    const std::int32_t kind = u_getIntPropertyValue(codePoint(c), UCHAR_DECOMPOSITION_TYPE);
    if ((kind == U_DT_WIDE || kind == U_DT_NARROW) &&
        compatibilityDecomposer().getRawDecomposition(codePoint(c), text)) {
      return fold(static_cast<char32_t>(text.char32At(0)), folding, out);
    }
  }
  if (!(folding.canonical || folding.ignoresMarks) || !decomposer().getDecomposition(codePoint(c), text))
    return emit(c);
  for (std::int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) emit(static_cast<char32_t>(text.char32At(i)));
}

int combiningClass(char32_t c) noexcept { return c < 0x300 ? 0 : u_getCombiningClass(codePoint(c)); }

}  // namespace

bool isCombiningMark(char32_t c) noexcept {
  if (c < 0x300 || isPlainEastAsian(c)) return false;
  const int type = u_charType(codePoint(c));
  return type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || combiningClass(c) != 0;
}

bool isSimple(char32_t c) noexcept {
  if (c < 0x300 || isPlainEastAsian(c)) return true;
  if (unicode::isSurrogate(c)) return false;  // half of a pair, maybe, which no search may find
  return u_getIntPropertyValue(codePoint(c), UCHAR_NFC_QUICK_CHECK) == UNORM_YES && !isCombiningMark(c);
}

bool isSimple(std::string_view utf8) noexcept {
  for (std::size_t i = 0; i < utf8.size();) {
    const auto lead = static_cast<std::uint8_t>(utf8[i]);
    if (lead < 0x80)
      i += 1;
    else if (lead < 0xCC)
      i += 2;  // below U+0300
    else if (lead >= 0xE4 && lead <= 0xE9)
      i += 3;  // ideographs, U+4000 to U+9FFF
    else if (!isSimple(unicode::next(utf8.data(), i)))
      return false;
  }
  return true;
}

bool isInert(char32_t c) noexcept {
  if (c < 0xC0 || (c >= 0x3400 && c <= 0x9FFF)) return true;
  return u_getIntPropertyValue(codePoint(c), UCHAR_NFD_QUICK_CHECK) == UNORM_YES && combiningClass(c) == 0;
}

char32_t Units::next(std::size_t& i, std::size_t end) const noexcept {
  if (ascii_ != nullptr) return static_cast<unsigned char>(ascii_[i++]);
  return unicode::next(units_, end, i);
}

char32_t Units::previous(std::size_t& i, std::size_t start) const noexcept {
  const char16_t c = (*this)[--i];
  if (unicode::isLowSurrogate(c) && i > start && unicode::isHighSurrogate((*this)[i - 1])) {
    return unicode::combine((*this)[--i], c);
  }
  return c;
}

void FoldedText::appendCharacter(char32_t c, std::size_t start, std::size_t end,
                                 std::vector<FoldedCharacter>& out) const {
  bool isFirst = true;
  fold(c, folding_, [&](char32_t d) {
    out.push_back({d, static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(end), isFirst, isCombiningMark(d)});
    isFirst = false;
  });
}

bool FoldedText::startsSegment(char32_t c) const noexcept {
  if (c < 0x300 || !(folding_.canonical || folding_.ignoresMarks) || isPlainEastAsian(c)) return true;
  return u_getIntPropertyValue(codePoint(c), UCHAR_LEAD_CANONICAL_COMBINING_CLASS) == 0;
}

/// A run of ASCII and ideographs, each of them a segment that folds to itself or its small letter.
bool FoldedText::appendTrivial(std::vector<FoldedCharacter>& out) {
  const auto isTrivial = [](char16_t c) { return c < 0x80 || (c >= 0x3400 && c <= 0x9FFF); };
  constexpr std::size_t kMost = 64;
  const std::size_t limit = std::min(end_, start_ + kMost);
  std::size_t i = start_;
  while (i < limit && isTrivial(units_[i])) ++i;
  // What follows may be a mark of the last one.
  if (i == start_ || (i < end_ && !isTrivial(units_[i]) && --i == start_)) return false;
  for (; start_ < i; ++start_) {
    char32_t c = units_[start_];
    if (folding_.ignoresCase && c >= 'A' && c <= 'Z') c += 32;
    const auto at = static_cast<std::uint32_t>(start_);
    out.push_back({c, at, at + 1, true, false});
  }
  return true;
}

bool FoldedText::appendSegment(std::vector<FoldedCharacter>& out) {
  if (start_ == end_) return false;
  if (!backwards_ && appendTrivial(out)) return true;
  const std::size_t before = out.size();
  std::size_t from = start_, to = end_;
  if (backwards_) {
    for (from = end_; from > start_;) {
      if (startsSegment(units_.previous(from, start_))) break;
    }
    end_ = from;
  } else {
    units_.next(from, end_);
    for (to = from, from = start_; to < end_;) {
      std::size_t after = to;
      if (startsSegment(units_.next(after, end_))) break;
      to = after;
    }
    start_ = to;
  }
  for (std::size_t i = from; i < to;) {
    const std::size_t at = i;
    const char32_t c = units_.next(i, to);
    appendCharacter(c, at, i, out);
  }
  const auto first = out.begin() + static_cast<std::ptrdiff_t>(before);
  if (folding_.canonical && out.size() - before > 1) {  // marks in canonical order
    for (auto run = first; run != out.end();) {
      if (combiningClass(run->c) == 0) {
        ++run;
        continue;
      }
      const auto end = std::find_if(run, out.end(), [](const FoldedCharacter& f) { return combiningClass(f.c) == 0; });
      std::stable_sort(run, end, [](const FoldedCharacter& a, const FoldedCharacter& b) {
        return combiningClass(a.c) < combiningClass(b.c);
      });
      run = end;
    }
  }
  if (backwards_) std::reverse(first, out.end());
  return true;
}

std::u32string folded(const StringBody& body, Folding folding) {
  FoldedText text(body, {0, body.length()}, folding, false);
  std::vector<FoldedCharacter> characters;
  while (text.appendSegment(characters)) {
  }
  std::u32string result;
  result.reserve(characters.size());
  for (const FoldedCharacter& character : characters) result += character.c;
  return result;
}

void appendFolded(char32_t c, Folding folding, std::u32string& out) {
  fold(c, folding, [&](char32_t d) { out += d; });
}

}  // namespace kvt::text
