#include "NSStringGraphemes.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include "NSStringUnicode.h"

namespace kvt::text {
namespace {

UGraphemeClusterBreak breakOf(char32_t c) noexcept {
  if (c < 0x300) {
    if (c == '\r' || c == '\n' || c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0xAD) return U_GCB_CONTROL;
    return U_GCB_OTHER;
  }
  if (c >= 0x3400 && c <= 0x9FFF) return U_GCB_OTHER;
  return static_cast<UGraphemeClusterBreak>(
      u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_GRAPHEME_CLUSTER_BREAK));
}

bool isPictographic(char32_t c) noexcept {
  return c >= 0xA9 && u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_EXTENDED_PICTOGRAPHIC);
}

/// Consonants and viramas of the scripts whose conjuncts are one character to their readers.
bool isOfConjunctScript(char32_t c, UIndicSyllabicCategory category) noexcept {
  if (c < 0x900 || c > 0x11BFF || (c > 0xD7F && c < 0xA8E0)) return false;
  if (u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_INDIC_SYLLABIC_CATEGORY) != category) return false;
  switch (u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_SCRIPT)) {
    case USCRIPT_BENGALI:
    case USCRIPT_DEVANAGARI:
    case USCRIPT_GUJARATI:
    case USCRIPT_MALAYALAM:
    case USCRIPT_ORIYA:
    case USCRIPT_TELUGU: return true;
    default: return false;
  }
}
bool isLinkingConsonant(char32_t c) noexcept { return isOfConjunctScript(c, U_INSC_CONSONANT); }

/// What a rule needs to know of the characters in front of a place.
struct Context {
  UGraphemeClusterBreak last = U_GCB_CONTROL;
  bool pictographJoined = false;    // a pictograph, marks, and a joiner stand right in front
  bool pictographExtended = false;  // a pictograph and marks do
  enum class Conjunct : std::uint8_t {
    kNone,
    kConsonant,
    kLinked
  } conjunct = Conjunct::kNone;  // kLinked: a virama followed
  bool oddRegional = false;      // an odd number of regional indicators does

  void add(char32_t c, UGraphemeClusterBreak kind) noexcept {
    pictographJoined = pictographExtended && kind == U_GCB_ZWJ;
    pictographExtended = (pictographExtended && kind == U_GCB_EXTEND) || (kind == U_GCB_OTHER && isPictographic(c));
    if (isLinkingConsonant(c)) {
      conjunct = Conjunct::kConsonant;
    } else if (conjunct != Conjunct::kNone) {
      const bool isMark = kind == U_GCB_EXTEND && u_getCombiningClass(static_cast<UChar32>(c)) != 0;
      if (isOfConjunctScript(c, U_INSC_VIRAMA))
        conjunct = Conjunct::kLinked;
      else if (!isMark && kind != U_GCB_ZWJ)
        conjunct = Conjunct::kNone;
    }
    oddRegional = kind == U_GCB_REGIONAL_INDICATOR && !oddRegional;
    last = kind;
  }

  /// Whether the character goes on with the cluster.
  bool joins(char32_t c, UGraphemeClusterBreak kind) const noexcept {
    if (last == U_GCB_CONTROL || last == U_GCB_CR || last == U_GCB_LF) return false;
    switch (kind) {
      case U_GCB_CONTROL:
      case U_GCB_CR:
      case U_GCB_LF: return false;
      case U_GCB_EXTEND:
      case U_GCB_ZWJ:
      case U_GCB_SPACING_MARK: return true;
      case U_GCB_L: return last == U_GCB_L || last == U_GCB_PREPEND;
      case U_GCB_V: return last == U_GCB_L || last == U_GCB_LV || last == U_GCB_V || last == U_GCB_PREPEND;
      case U_GCB_T:
        return last == U_GCB_LV || last == U_GCB_V || last == U_GCB_LVT || last == U_GCB_T || last == U_GCB_PREPEND;
      case U_GCB_LV:
      case U_GCB_LVT: return last == U_GCB_L || last == U_GCB_PREPEND;
      case U_GCB_REGIONAL_INDICATOR: return oddRegional || last == U_GCB_PREPEND;
      default:
        return last == U_GCB_PREPEND || (pictographJoined && isPictographic(c)) ||
               (conjunct == Conjunct::kLinked && isLinkingConsonant(c));
    }
  }
};

/// Whether nothing in front of this character matters to what follows: a place from which to read on.
bool isCertainStart(UGraphemeClusterBreak previous, UGraphemeClusterBreak kind, char32_t c) noexcept {
  if (previous == U_GCB_CONTROL || previous == U_GCB_CR || previous == U_GCB_LF) return true;
  switch (kind) {
    case U_GCB_CONTROL:
    case U_GCB_CR:
    case U_GCB_LF: return true;
    case U_GCB_OTHER:
      if (previous == U_GCB_ZWJ && isPictographic(c)) return false;
      if ((previous == U_GCB_ZWJ || previous == U_GCB_EXTEND) && isLinkingConsonant(c)) return false;
      return previous != U_GCB_PREPEND;
    case U_GCB_PREPEND: return previous != U_GCB_PREPEND;
    case U_GCB_L: return previous != U_GCB_PREPEND && previous != U_GCB_L;
    case U_GCB_LV:
    case U_GCB_LVT: return previous != U_GCB_PREPEND && previous != U_GCB_L;
    case U_GCB_REGIONAL_INDICATOR: return previous != U_GCB_PREPEND && previous != U_GCB_REGIONAL_INDICATOR;
    default: return false;
  }
}

}  // namespace

std::size_t clusterEnd(const Units& units, std::size_t start, std::size_t end) {
  std::size_t i = start;
  const char32_t first = units.next(i, end);
  // Two characters below the first combining mark never belong together.
  if (first < 0x300 && (i == end || units[i] < 0x300)) return i;
  Context context;
  context.add(first, breakOf(first));
  while (i < end) {
    std::size_t after = i;
    const char32_t c = units.next(after, end);
    const UGraphemeClusterBreak kind = breakOf(c);
    if (!context.joins(c, kind)) break;
    context.add(c, kind);
    i = after;
  }
  return i;
}

std::size_t clusterStart(const Units& units, std::size_t index, std::size_t length) {
  if (index > 0 && index < length && unicode::isLowSurrogate(units[index]) &&
      unicode::isHighSurrogate(units[index - 1])) {
    --index;
  }
  // Back to a place where a cluster begins whatever stands in front of it, then forward.
  std::size_t start = index;
  while (start > 0) {
    std::size_t at = start, before = start;
    const char32_t c = units.next(at, length);
    const char32_t previous = units.previous(before, 0);
    if ((c < 0x300 && previous < 0x300) || isCertainStart(breakOf(previous), breakOf(c), c)) break;
    start = before;
  }
  for (;;) {
    const std::size_t end = clusterEnd(units, start, length);
    if (end > index || end == length) return start;
    start = end;
  }
}

}  // namespace kvt::text
