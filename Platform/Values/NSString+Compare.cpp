// Ordering: by folded characters, or by the rules of a language.
#include <unicode/coll.h>
#include <unicode/locid.h>

#include <map>
#include <mutex>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSObject.h"
#include "NSStringFolding.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

NSComparisonResult resultOf(std::strong_ordering order) noexcept {
  return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
}

/// The folded characters of a text, one after the other.
class FoldedReader {
 public:
  FoldedReader(const StringBody& body, NSRange range, Folding folding) : text_(body, range, folding, false) {}

  /// Null at the end.
  const FoldedCharacter* peek() {
    if (at_ == segment_.size()) {
      segment_.clear();
      at_ = 0;
      // A segment that folds to nothing (marks alone) is passed over.
      while (segment_.empty()) {
        if (!text_.appendSegment(segment_)) return nullptr;
      }
    }
    return &segment_[at_];
  }
  void skip() noexcept { ++at_; }

 private:
  FoldedText text_;
  std::vector<FoldedCharacter> segment_;
  std::size_t at_ = 0;
};

bool isDigit(const FoldedCharacter* character) noexcept {
  return character != nullptr && character->c >= '0' && character->c <= '9';
}

std::u32string readDigits(FoldedReader& reader) {
  std::u32string digits;
  for (; isDigit(reader.peek()); reader.skip()) {
    if (!digits.empty() || reader.peek()->c != '0') digits += reader.peek()->c;
  }
  return digits;
}

std::strong_ordering compareFolded(const StringBody& a, NSRange range, const StringBody& b, NSUInteger options) {
  const Folding folding(options);
  FoldedReader left(a, range, folding), right(b, {0, b.length()}, folding);
  const bool numeric = (options & NSNumericSearch) != 0;
  for (;;) {
    const FoldedCharacter* x = left.peek();
    const FoldedCharacter* y = right.peek();
    if (x == nullptr || y == nullptr) return (x != nullptr) <=> (y != nullptr);
    if (numeric && isDigit(x) && isDigit(y)) {
      const std::u32string m = readDigits(left), n = readDigits(right);
      if (m.size() != n.size()) return m.size() <=> n.size();
      if (m != n) return m.compare(n) <=> 0;
      continue;
    }
    if (x->c != y->c) return x->c <=> y->c;
    left.skip();
    right.skip();
  }
}

/// Canonical order of UTF-8 texts that differ first in characters that decompose to nothing else; NO where they do not.
bool compareUpToDifference(std::string_view a, std::string_view b, std::strong_ordering& order) {
  std::size_t i = 0;
  for (const std::size_t common = std::min(a.size(), b.size()); i < common && a[i] == b[i];) ++i;
  while (i > 0 && i < a.size() && (static_cast<std::uint8_t>(a[i]) & 0xC0) == 0x80) --i;
  while (i > 0 && i < b.size() && (static_cast<std::uint8_t>(b[i]) & 0xC0) == 0x80) --i;
  std::size_t x = i, y = i;
  const char32_t c = x < a.size() ? unicode::next(a.data(), x) : 0, d = y < b.size() ? unicode::next(b.data(), y) : 0;
  if (!isInert(c) || !isInert(d)) return false;
  if (i == a.size() || i == b.size())
    order = a.size() <=> b.size();
  else
    order = c <=> d;
  return true;
}

std::strong_ordering compareIgnoringASCIICase(std::string_view a, std::string_view b) noexcept {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; };
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const int x = lower(a[i]), y = lower(b[i]);
    if (x != y) return x <=> y;
  }
  return a.size() <=> b.size();
}

NSComparisonResult compareRange(const NSString& self, const NSString& other, NSUInteger options, NSRange range) {
  const StringBody& a = bodyOf(self);
  const StringBody& b = bodyOf(other);
  const bool whole = range.location == 0 && range.length == a.length();
  if (whole && StringBody::equal(a, b)) return NSOrderedSame;
  constexpr NSUInteger kFoldingOptions =
      NSCaseInsensitiveSearch | NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch | NSNumericSearch;
  const NSUInteger folding = options & kFoldingOptions;
  std::strong_ordering order = std::strong_ordering::equal;
  if (a.isASCII() && b.isASCII() && (folding & NSNumericSearch) == 0) {
    const std::string_view text(a.bytes() + range.location, range.length);
    order = (folding & NSCaseInsensitiveSearch) != 0 ? compareIgnoringASCIICase(text, b.utf8()) : text <=> b.utf8();
  } else if (folding == 0 && (options & NSLiteralSearch) != 0) {
    order = detail::orderText(whole ? self : slice(a, range.location, range.length), other);
  } else if (!(folding == 0 && whole && a.form != StringBody::Form::kUTF16 && b.form != StringBody::Form::kUTF16 &&
               compareUpToDifference(a.utf8(), b.utf8(), order))) {
    order = compareFolded(a, range, b, options);
  }
  if (order == 0 && (options & NSForcedOrderingSearch) != 0) {
    order = detail::orderText(whole ? self : slice(a, range.location, range.length), other);
  }
  return resultOf(order);
}

// ---- languages -----------------------------------------------------------------------------------------------------

enum class Strength : std::uint8_t { kCaseInsensitive, kFull, kStandard, kDiacriticInsensitive };

/// Made once for each language and kind, and never changed, so that any thread may compare with it.
const icu::Collator* collator(const std::string& locale, Strength strength, bool numeric) {
  static std::mutex mutex;
  static auto& collators = *new std::map<std::tuple<std::string, Strength, bool>, std::unique_ptr<icu::Collator>>();
  std::lock_guard lock(mutex);
  std::unique_ptr<icu::Collator>& entry = collators[{locale, strength, numeric}];
  if (entry == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    entry.reset(icu::Collator::createInstance(icu::Locale(locale.c_str()), status));
    if (U_FAILURE(status)) return nullptr;
    const bool secondary = strength == Strength::kCaseInsensitive;
    entry->setStrength(secondary                                     ? icu::Collator::SECONDARY
                       : strength == Strength::kDiacriticInsensitive ? icu::Collator::PRIMARY
                                                                     : icu::Collator::TERTIARY);
    if (numeric) entry->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    entry->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
  }
  return entry.get();
}

/// The language of the process. "C" and POSIX order by codes, which is no language's order: the root order stands in.
const std::string& processLocale() {
  static const std::string name = [] {
    const std::string identifier = icu::Locale::getDefault().getName();
    return identifier.find("POSIX") != std::string::npos ? std::string() : identifier;
  }();
  return name;
}

NSComparisonResult collate(const StringBody& a, NSRange range, const StringBody& b, const std::string& locale,
                           Strength strength, bool numeric) {
  const icu::Collator* order = collator(locale, strength, numeric);
  const UTF16Text x(a), y(b);
  if (order == nullptr) return resultOf(x.view().substr(range.location, range.length) <=> y.view());
  UErrorCode status = U_ZERO_ERROR;
  const UCollationResult result = order->compare(x.data() + range.location, static_cast<std::int32_t>(range.length),
                                                 y.data(), static_cast<std::int32_t>(y.size()), status);
  return static_cast<NSComparisonResult>(result);
}

NSComparisonResult collateWhole(const NSString& a, const NSString& b, Strength strength, bool numeric) {
  if (!a) return NSOrderedSame;
  if (!b) return NSOrderedDescending;
  return collate(bodyOf(a), {0, a.length()}, bodyOf(b), processLocale(), strength, numeric);
}

}  // namespace

NSComparisonResult NSString::compare(const NSString& other) const { return compare_options(other, kNilOptions); }

NSComparisonResult NSString::compare_options(const NSString& other, NSStringCompareOptions options) const {
  return compare_options_range(other, options, {0, length()});
}

NSComparisonResult NSString::compare_options_range(const NSString& other, NSStringCompareOptions options,
                                                   NSRange range) const {
  if (!*this) return NSOrderedSame;
  checkRange(range, length(), "-[NSString compare:options:range:]");
  return other ? compareRange(*this, other, options, range) : NSOrderedDescending;
}

NSComparisonResult NSString::compare_options_range_locale(const NSString& other, NSStringCompareOptions options,
                                                          NSRange range, const id& locale) const {
  if (!*this || !other || !locale || (options & NSLiteralSearch) != 0) {
    return compare_options_range(other, options, range);
  }
  checkRange(range, length(), "-[NSString compare:options:range:locale:]");
  const Strength strength = (options & NSDiacriticInsensitiveSearch) != 0 ? Strength::kDiacriticInsensitive
                            : (options & NSCaseInsensitiveSearch) != 0    ? Strength::kCaseInsensitive
                                                                          : Strength::kFull;
  const NSComparisonResult result =
      collate(bodyOf(*this), range, bodyOf(other), localeName(locale), strength, (options & NSNumericSearch) != 0);
  if (result != NSOrderedSame || (options & NSForcedOrderingSearch) == 0) return result;
  return compare_options_range(other, NSLiteralSearch, range);
}

NSComparisonResult NSString::caseInsensitiveCompare(const NSString& other) const {
  return compare_options(other, NSCaseInsensitiveSearch);
}

NSComparisonResult NSString::localizedCompare(const NSString& other) const {
  return collateWhole(*this, other, Strength::kFull, false);
}

NSComparisonResult NSString::localizedCaseInsensitiveCompare(const NSString& other) const {
  return collateWhole(*this, other, Strength::kCaseInsensitive, false);
}

NSComparisonResult NSString::localizedStandardCompare(const NSString& other) const {
  return collateWhole(*this, other, Strength::kStandard, true);
}

NSString NSString::commonPrefixWithString_options(const NSString& other, NSStringCompareOptions options) const {
  if (!*this) return NSString();
  checkNotNil(other, "-[NSString commonPrefixWithString:options:]");
  const Folding folding(options);
  FoldedReader left(bodyOf(*this), {0, length()}, folding), right(bodyOf(other), {0, other.length()}, folding);
  // The prefix ends where a character ends on both sides, its marks included.
  const auto isBoundary = [&](const FoldedCharacter* c) {
    return c == nullptr || (c->isFirst && !(folding.canonical && c->isMark));
  };
  NSUInteger end = 0;
  for (;;) {
    const FoldedCharacter* x = left.peek();
    const FoldedCharacter* y = right.peek();
    if (isBoundary(x) && isBoundary(y)) end = x != nullptr ? x->start : length();
    if (x == nullptr || y == nullptr || x->c != y->c) return slice(bodyOf(*this), 0, end);
    left.skip();
    right.skip();
  }
}

namespace {

[[maybe_unused]] const bool compareRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.method<&Self::compare>("compare:").method<&Self::compare_options>("compare:options:");
  c.method<&Self::compare_options_range>("compare:options:range:");
  c.method<&Self::compare_options_range_locale>("compare:options:range:locale:");
  c.method<&Self::caseInsensitiveCompare>("caseInsensitiveCompare:");
  c.method<&Self::localizedCompare>("localizedCompare:");
  c.method<&Self::localizedCaseInsensitiveCompare>("localizedCaseInsensitiveCompare:");
  c.method<&Self::localizedStandardCompare>("localizedStandardCompare:");
  c.method<&Self::commonPrefixWithString_options>("commonPrefixWithString:options:");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
