// What the units of NSString share; not installed.
#pragma once

#include <string>
#include <string_view>

#include <KVTPlatform/Runtime/Raise.h>

#include "NSMutableString.h"
#include "NSString.h"
#include "NSStringBody.h"
#include "NSStringUnicode.h"

namespace kvt::text {

inline const StringBody& bodyOf(const NSString& text) noexcept {
  return *static_cast<const StringBody*>(text.object());
}

inline NSString wrap(StringBody* body) noexcept { return NSString(adopt, body); }
inline NSString emptyText() {
  using namespace literals;
  return ""_ns;
}

/// Valid UTF-8 whose ASCII-ness is asked for here.
inline NSString fromUTF8(std::string_view utf8) {
  if (utf8.empty()) return emptyText();
  return wrap(StringBody::create(utf8.data(), utf8.size(), unicode::isASCII(utf8.data(), utf8.size())));
}
inline NSString fromUTF16(std::u16string_view utf16) {
  return utf16.empty() ? emptyText() : wrap(StringBody::createFromUTF16(utf16));
}

[[noreturn]] void raiseNilArgument(const char* selector);
[[noreturn]] void raiseIndex(const char* selector, NSUInteger index, NSUInteger length);
[[noreturn]] void raiseRange(const char* selector, NSRange range, NSUInteger length);

inline void checkNotNil(const id& argument, const char* selector) {
  if (!argument) raiseNilArgument(selector);
}
inline void checkRange(NSRange range, NSUInteger length, const char* selector) {
  if (range.location > length || range.length > length - range.location) raiseRange(selector, range, length);
}

/// The part of the text; the range is within it.
NSString slice(const StringBody& body, NSUInteger location, NSUInteger length);

/// ICU's name for the locale that an NSLocale or an identifier's text stands for; "" (the root) for nil and anything
/// else.
std::string localeName(const id& locale);

/// Searching with every option but regular expressions; the range is within the text. {NSNotFound, 0} for an empty
/// `text`.
NSRange find(const StringBody& body, const StringBody& text, NSUInteger options, NSRange range);

/// The same with a regular expression.
NSRange findPattern(const NSString& text, const NSString& pattern, NSUInteger options, NSRange range);

/// The text with what the options find replaced; `*count` is how often. The arguments were checked.
NSString replaceAll(const NSString& text, const NSString& target, const NSString& replacement, NSUInteger options,
                    NSRange range, NSUInteger* count);

NSString replacePattern(const NSString& text, const NSString& pattern, const NSString& replacement, NSUInteger options,
                        NSRange range, NSUInteger* count);

/// Linear search for a sequence within a sequence, unit by unit; npos when it is not there.
std::size_t findBytes(std::string_view text, std::string_view what, std::size_t from = 0) noexcept;
std::size_t findUnits(std::u16string_view text, std::u16string_view what, std::size_t from = 0);

}  // namespace kvt::text
