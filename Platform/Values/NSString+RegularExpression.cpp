// Searching and replacing with NSRegularExpressionSearch.
#include <unicode/regex.h>

#include <memory>

#include "NSStringInternal.h"

namespace kvt::text {
namespace {

// ICU counts steps, about a tenth of a millisecond each: no pattern and text hold a thread for long.
constexpr std::int32_t kTimeLimit = 1000;

/// A matcher set to the range; null when the pattern is none. `source` must outlive it.
std::unique_ptr<icu::RegexMatcher> matcherFor(const NSString& pattern, NSUInteger options,
                                              const icu::UnicodeString& source, NSRange range) {
  UErrorCode status = U_ZERO_ERROR;
  const UTF16Text units(bodyOf(pattern));
  const icu::UnicodeString expression(units.data(), static_cast<std::int32_t>(units.size()));
  const std::uint32_t flags = (options & NSCaseInsensitiveSearch) != 0 ? UREGEX_CASE_INSENSITIVE : 0;
  auto matcher = std::make_unique<icu::RegexMatcher>(expression, flags, status);
  if (U_FAILURE(status)) return nullptr;
  matcher->reset(source);
  matcher->region(static_cast<std::int64_t>(range.location), static_cast<std::int64_t>(NSMaxRange(range)), status);
  matcher->setTimeLimit(kTimeLimit, status);
  return U_SUCCESS(status) ? std::move(matcher) : nullptr;
}

bool findNext(icu::RegexMatcher& matcher, bool anchored, UErrorCode& status) {
  return (anchored ? matcher.lookingAt(status) : matcher.find(status)) != 0 && U_SUCCESS(status);
}

}  // namespace

NSRange findPattern(const NSString& text, const NSString& pattern, NSUInteger options, NSRange range) {
  const UTF16Text units(bodyOf(text));
  const icu::UnicodeString source(false, units.data(), static_cast<std::int32_t>(units.size()));
  const auto matcher = matcherFor(pattern, options, source, range);
  UErrorCode status = U_ZERO_ERROR;
  if (matcher == nullptr || !findNext(*matcher, (options & NSAnchoredSearch) != 0, status)) return {NSNotFound, 0};
  const std::int32_t start = matcher->start(status), end = matcher->end(status);
  return {static_cast<NSUInteger>(start), static_cast<NSUInteger>(end - start)};
}

NSString replacePattern(const NSString& text, const NSString& pattern, const NSString& replacement, NSUInteger options,
                        NSRange range, NSUInteger* count) {
  const UTF16Text units(bodyOf(text)), insert(bodyOf(replacement));
  const icu::UnicodeString source(false, units.data(), static_cast<std::int32_t>(units.size()));
  const icu::UnicodeString replace(false, insert.data(), static_cast<std::int32_t>(insert.size()));
  const auto matcher = matcherFor(pattern, options, source, range);
  if (matcher == nullptr) return text.copy();
  const bool anchored = (options & NSAnchoredSearch) != 0;
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString result;
  NSUInteger replaced = 0;
  while (findNext(*matcher, anchored, status)) {
    matcher->appendReplacement(result, replace, status);
    ++replaced;
    if (anchored) break;
  }
  if (U_FAILURE(status) || replaced == 0) return text.copy();
  matcher->appendTail(result);
  *count = replaced;
  return fromUTF16({result.getBuffer(), static_cast<std::size_t>(result.length())});
}

}  // namespace kvt::text
