// Text made of text: replacing, padding, trimming, case, normal forms, percent-encoding.
#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSCharacterSetBody.h"
#include "NSObject.h"
#include "NSStringFolding.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

icu::UnicodeString aliasOf(const UTF16Text& text) {
  return icu::UnicodeString(false, text.data(), static_cast<std::int32_t>(text.size()));
}

NSString fromICU(const icu::UnicodeString& text) {
  return fromUTF16({text.getBuffer(), static_cast<std::size_t>(text.length())});
}

// ---- replacing -----------------------------------------------------------------------------------------------------

/// By bytes, where the plain search finds what is wanted and nothing else would.
NSString replaceBytes(const NSString& text, std::string_view target, std::string_view replacement, NSRange bytes,
                      NSUInteger* count) {
  const std::string_view all = bodyOf(text).utf8();
  std::string result;
  std::size_t copied = 0;
  const std::string_view searched = all.substr(0, NSMaxRange(bytes));
  for (std::size_t at = bytes.location; (at = findBytes(searched, target, at)) != all.npos; at += target.size()) {
    result.append(all, copied, at - copied).append(replacement);
    copied = at + target.size();
    ++*count;
  }
  if (*count == 0) return text.copy();
  return fromUTF8(result.append(all, copied));
}

NSString replaceFound(const NSString& text, const NSString& target, const NSString& replacement, NSUInteger options,
                      NSRange range, NSUInteger* count) {
  const StringBody& body = bodyOf(text);
  std::vector<NSRange> ranges;
  NSRange rest = range;
  for (NSRange found; (found = find(body, bodyOf(target), options, rest)).location != NSNotFound;) {
    ranges.push_back(found);
    if ((options & NSBackwardsSearch) != 0)
      rest.length = found.location - rest.location;
    else
      rest = {NSMaxRange(found), NSMaxRange(rest) - NSMaxRange(found)};
  }
  *count = ranges.size();
  if (ranges.empty()) return text.copy();
  if ((options & NSBackwardsSearch) != 0) std::reverse(ranges.begin(), ranges.end());
  const UTF16Text all(body), insert(bodyOf(replacement));
  std::u16string result;
  std::size_t copied = 0;
  for (const NSRange& found : ranges) {
    result.append(all.view(), copied, found.location - copied).append(insert.view());
    copied = NSMaxRange(found);
  }
  return fromUTF16(result.append(all.view(), copied));
}

// ---- case ----------------------------------------------------------------------------------------------------------

template <class Map>
NSString mapASCII(const StringBody& body, Map map) {
  StringBody* result = StringBody::createUninitialized(body.size, true);
  for (std::size_t i = 0; i < body.size; ++i) result->bytes()[i] = map(body.bytes()[i]);
  return wrap(result);
}

enum class Case : std::uint8_t { kUpper, kLower, kCapital };

NSString convertCase(const NSString& text, Case to, const std::string& localeIdentifier) {
  if (!text) return NSString();
  const StringBody& body = bodyOf(text);
  if (body.isASCII() && localeIdentifier.empty() && to != Case::kCapital) {
    if (to == Case::kUpper) {
      return mapASCII(body, [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    }
    return mapASCII(body, [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  }
  const icu::Locale locale = localeIdentifier.empty() ? icu::Locale::getRoot() : icu::Locale(localeIdentifier.c_str());
  const UTF16Text units(body);
  icu::UnicodeString converted(units.data(), static_cast<std::int32_t>(units.size()));
  switch (to) {
    case Case::kUpper: converted.toUpper(locale); break;
    case Case::kLower: converted.toLower(locale); break;
    case Case::kCapital: converted.toTitle(nullptr, locale); break;
  }
  return fromICU(converted);
}

// ---- normal forms --------------------------------------------------------------------------------------------------

NSString normalize(const NSString& text, const icu::Normalizer2* (*form)(UErrorCode&)) {
  if (!text) return NSString();
  const StringBody& body = bodyOf(text);
  if (body.isASCII()) return text.copy();
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* normalizer = form(status);
  const UTF16Text units(body);
  const icu::UnicodeString source = aliasOf(units);
  if (U_FAILURE(status) || normalizer->isNormalized(source, status)) return text.copy();
  return fromICU(normalizer->normalize(source, status));
}

int hexadecimalValue(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

namespace text {

NSString replaceAll(const NSString& text, const NSString& target, const NSString& replacement, NSUInteger options,
                    NSRange range, NSUInteger* count) {
  *count = 0;
  if ((options & NSRegularExpressionSearch) != 0)
    return replacePattern(text, target, replacement, options, range, count);
  const StringBody& body = bodyOf(text);
  const StringBody& what = bodyOf(target);
  if (what.size == 0) return text.copy();
  constexpr NSUInteger kOtherThanPlain = NSCaseInsensitiveSearch | NSBackwardsSearch | NSAnchoredSearch |
                                         NSDiacriticInsensitiveSearch | NSWidthInsensitiveSearch;
  const std::string_view insert = bodyOf(replacement).utf8();
  const bool isPlain = (options & kOtherThanPlain) == 0 && insert.data() != nullptr &&
                       body.form != StringBody::Form::kUTF16 && what.form != StringBody::Form::kUTF16;
  if (isPlain && body.isASCII() && what.isASCII()) return replaceBytes(text, what.utf8(), insert, range, count);
  if (isPlain && range.location == 0 && range.length == body.length() &&
      ((options & NSLiteralSearch) != 0 || (isSimple(what.utf8()) && isSimple(body.utf8())))) {
    return replaceBytes(text, what.utf8(), insert, {0, body.size}, count);
  }
  return replaceFound(text, target, replacement, options, range, count);
}

}  // namespace text

NSString NSString::stringByReplacingOccurrencesOfString_withString(const NSString& target,
                                                                   const NSString& replacement) const {
  return stringByReplacingOccurrencesOfString_withString_options_range(target, replacement, kNilOptions, {0, length()});
}

NSString NSString::stringByReplacingOccurrencesOfString_withString_options_range(const NSString& target,
                                                                                 const NSString& replacement,
                                                                                 NSStringCompareOptions options,
                                                                                 NSRange range) const {
  if (!*this) return NSString();
  constexpr const char* kSelector = "-[NSString stringByReplacingOccurrencesOfString:withString:options:range:]";
  checkNotNil(target, kSelector);
  checkNotNil(replacement, kSelector);
  checkRange(range, length(), kSelector);
  NSUInteger count = 0;
  return replaceAll(*this, target, replacement, options, range, &count);
}

NSString NSString::stringByReplacingCharactersInRange_withString(NSRange range, const NSString& replacement) const {
  if (!*this) return NSString();
  constexpr const char* kSelector = "-[NSString stringByReplacingCharactersInRange:withString:]";
  checkNotNil(replacement, kSelector);
  checkRange(range, length(), kSelector);
  const StringBody& body = bodyOf(*this);
  const StringBody& insert = bodyOf(replacement);
  if (body.isASCII() && insert.isASCII()) {
    return fromUTF8(std::string(body.utf8()).replace(range.location, range.length, insert.utf8()));
  }
  return fromUTF16(u16str().replace(range.location, range.length, UTF16Text(insert).view()));
}

NSString NSString::stringByPaddingToLength_withString_startingAtIndex(NSUInteger newLength, const NSString& padding,
                                                                      NSUInteger index) const {
  if (!*this) return NSString();
  const NSUInteger present = length();
  if (newLength <= present) return slice(bodyOf(*this), 0, newLength);
  constexpr const char* kSelector = "-[NSString stringByPaddingToLength:withString:startingAtIndex:]";
  if (!padding || padding.length() == 0) {
    objc_raise("NSInvalidArgumentException", std::string(kSelector) + ": nil or empty padding");
  }
  if (index >= padding.length()) raiseIndex(kSelector, index, padding.length());
  if (newLength > StringBody::kMaximumSize) {
    objc_raise("NSMallocException", std::string(kSelector) + ": length " + std::to_string(newLength) + " is too large");
  }
  std::u16string result = u16str();
  const UTF16Text units(bodyOf(padding));
  result.reserve(newLength);
  for (NSUInteger i = index; result.size() < newLength; i = i + 1 == units.size() ? 0 : i + 1) result += units[i];
  return fromUTF16(result);
}

NSString NSString::stringByTrimmingCharactersInSet(const NSCharacterSet& set) const {
  if (!*this) return NSString();
  checkNotNil(set, "-[NSString stringByTrimmingCharactersInSet:]");
  const CharacterSetBody& members = CharacterSetBody::of(set);
  const StringBody& body = bodyOf(*this);
  if (body.form == StringBody::Form::kUTF16) {
    const Units units(body);
    std::size_t start = 0, end = body.size;
    for (std::size_t i = start; i < end && members.contains(units.next(i, end)); start = i) {
    }
    for (std::size_t i = end; i > start && members.contains(units.previous(i, start)); end = i) {
    }
    return slice(body, start, end - start);
  }
  std::string_view text = body.utf8();
  for (std::size_t i = 0; !text.empty() && members.contains(unicode::next(text.data(), i)); i = 0)
    text.remove_prefix(i);
  while (!text.empty()) {
    std::size_t at = text.size() - 1;
    while ((static_cast<std::uint8_t>(text[at]) & 0xC0) == 0x80) --at;
    std::size_t i = at;
    if (!members.contains(unicode::next(text.data(), i))) break;
    text = text.substr(0, at);
  }
  return text.size() == body.size ? copy() : fromUTF8(text);
}

NSString NSString::uppercaseString() const { return convertCase(*this, Case::kUpper, ""); }
NSString NSString::lowercaseString() const { return convertCase(*this, Case::kLower, ""); }
NSString NSString::capitalizedString() const { return convertCase(*this, Case::kCapital, ""); }
NSString NSString::uppercaseStringWithLocale(const id& locale) const {
  return convertCase(*this, Case::kUpper, localeName(locale));
}
NSString NSString::lowercaseStringWithLocale(const id& locale) const {
  return convertCase(*this, Case::kLower, localeName(locale));
}
NSString NSString::capitalizedStringWithLocale(const id& locale) const {
  return convertCase(*this, Case::kCapital, localeName(locale));
}

NSString NSString::stringByFoldingWithOptions_locale(NSStringCompareOptions options, const id& locale) const {
  if (!*this) return NSString();
  NSString result = *this;
  const std::string name = localeName(locale);
  if ((options & NSCaseInsensitiveSearch) != 0 && (name.starts_with("tr") || name.starts_with("az"))) {
    result = convertCase(result, Case::kLower, name);  // the dotless i
  }
  // What is left alone stays in the form in which it is: only the characters that fold are taken apart.
  Folding folding(options | NSLiteralSearch);
  if (folding.foldsNothing()) return result.copy();
  const StringBody& body = bodyOf(result);
  const Units units(body);
  const std::size_t end = body.length();
  std::u16string folded;
  folded.reserve(end);
  std::u32string characters;
  for (std::size_t i = 0; i < end;) {
    characters.clear();
    appendFolded(units.next(i, end), folding, characters);
    for (const char32_t c : characters) {
      if (c >= 0x10000) folded += static_cast<char16_t>(0xD7C0 + (c >> 10));
      folded += static_cast<char16_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF));
    }
  }
  const NSString text = fromUTF16(folded);
  return folding.ignoresMarks ? text.precomposedStringWithCanonicalMapping() : text;
}

NSString NSString::decomposedStringWithCanonicalMapping() const {
  return normalize(*this, &icu::Normalizer2::getNFDInstance);
}
NSString NSString::precomposedStringWithCanonicalMapping() const {
  return normalize(*this, &icu::Normalizer2::getNFCInstance);
}
NSString NSString::decomposedStringWithCompatibilityMapping() const {
  return normalize(*this, &icu::Normalizer2::getNFKDInstance);
}
NSString NSString::precomposedStringWithCompatibilityMapping() const {
  return normalize(*this, &icu::Normalizer2::getNFKCInstance);
}

NSString NSString::stringByAddingPercentEncodingWithAllowedCharacters(const NSCharacterSet& allowed) const {
  if (!*this) return NSString();
  checkNotNil(allowed, "-[NSString stringByAddingPercentEncodingWithAllowedCharacters:]");
  const std::string_view text = utf8();
  if (text.data() == nullptr) return NSString();
  const CharacterSetBody& members = CharacterSetBody::of(allowed);
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (byte < 0x80 && members.contains(byte)) {
      result += c;
    } else {
      result += '%';
      result += kDigits[byte >> 4];
      result += kDigits[byte & 15];
    }
  }
  return result.size() == text.size() ? copy() : wrap(StringBody::create(result.data(), result.size(), true));
}

NSString NSString::stringByRemovingPercentEncoding() const {
  if (!*this) return NSString();
  const std::string_view text = utf8();
  if (text.data() == nullptr) return NSString();
  if (text.find('%') == text.npos) return copy();
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      result += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return NSString();
    const int high = hexadecimalValue(text[i + 1]), low = hexadecimalValue(text[i + 2]);
    if (high < 0 || low < 0) return NSString();
    result += static_cast<char>(static_cast<unsigned char>(high * 16 + low));
    i += 2;
  }
  return NSString(result);
}

namespace {

[[maybe_unused]] const bool transformRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.method<&Self::stringByReplacingOccurrencesOfString_withString>("stringByReplacingOccurrencesOfString:withString:");
  c.method<&Self::stringByReplacingOccurrencesOfString_withString_options_range>(
      "stringByReplacingOccurrencesOfString:withString:options:range:");
  c.method<&Self::stringByReplacingCharactersInRange_withString>("stringByReplacingCharactersInRange:withString:");
  c.method<&Self::stringByPaddingToLength_withString_startingAtIndex>(
      "stringByPaddingToLength:withString:startingAtIndex:");
  c.method<&Self::stringByTrimmingCharactersInSet>("stringByTrimmingCharactersInSet:");
  c.method<&Self::uppercaseString>("uppercaseString").method<&Self::lowercaseString>("lowercaseString");
  c.method<&Self::capitalizedString>("capitalizedString");
  c.method<&Self::uppercaseStringWithLocale>("uppercaseStringWithLocale:");
  c.method<&Self::lowercaseStringWithLocale>("lowercaseStringWithLocale:");
  c.method<&Self::capitalizedStringWithLocale>("capitalizedStringWithLocale:");
  c.method<&Self::stringByFoldingWithOptions_locale>("stringByFoldingWithOptions:locale:");
  c.method<&Self::decomposedStringWithCanonicalMapping>("decomposedStringWithCanonicalMapping");
  c.method<&Self::precomposedStringWithCanonicalMapping>("precomposedStringWithCanonicalMapping");
  c.method<&Self::decomposedStringWithCompatibilityMapping>("decomposedStringWithCompatibilityMapping");
  c.method<&Self::precomposedStringWithCompatibilityMapping>("precomposedStringWithCompatibilityMapping");
  c.method<&Self::stringByAddingPercentEncodingWithAllowedCharacters>(
      "stringByAddingPercentEncodingWithAllowedCharacters:");
  c.method<&Self::stringByRemovingPercentEncoding>("stringByRemovingPercentEncoding");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
