// Text: an immutable sequence of UTF-16 units, shared by reference.
//
//     NSString name = "Zoë";                                   // copies UTF-8; text that is none gives nil
//     name.length();                                           // 3
//     if (name == "Zoë" && name.hasPrefix("Z")) …
//     NSString line = NSString::stringWithFormat("%@ has %d", name, 3);
//     std::string utf8(line);                                  // back to C++
//     "key"_ns                                                 // an immortal literal, made once
//
// Lengths, indices and ranges count UTF-16 units; a character outside the Basic Multilingual Plane has two. ASCII text
// takes a byte a character. Other text is kept as UTF-8; the first access by index makes its UTF-16 units, O(length),
// and keeps them, later ones are O(1). A surrogate that stands alone survives every operation by index, but such text
// has no UTF-8 form.
//
// Called on nil, every operation answers nil, 0, NO, an empty range or NSOrderedSame; a search on nil answers {0, 0}.
// An index or range beyond the text raises NSRangeException; nil where text is needed raises
// NSInvalidArgumentException, except where an operation says otherwise. Thread rule: immutable text may be used from
// any thread; mutable text (NSMutableString.h) by one thread at a time, or by several that only read.
#pragma once

#include <compare>
#include <concepts>
#include <string>
#include <string_view>

#include <KVTPlatform/Runtime/Block.h>

#include "NSStringFormat.h"
#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSArray;
class NSCharacterSet;
class NSData;
class NSError;
class NSMutableString;

/// How to search and compare. Without NSLiteralSearch canonically equivalent sequences are equal ("é" is one character
/// or two), and a match does not end between a character and its combining marks.
enum NSStringCompareOptions : NSUInteger {
  NSCaseInsensitiveSearch = 1,
  NSLiteralSearch = 2,    // unit by unit
  NSBackwardsSearch = 4,  // the last match
  NSAnchoredSearch = 8,   // only at the start (backwards: at the end) of the range
  NSNumericSearch = 64,   // comparing only: runs of digits by their value
  NSDiacriticInsensitiveSearch = 128,
  NSWidthInsensitiveSearch = 256,    // full-width and half-width forms are equal
  NSForcedOrderingSearch = 512,      // comparing only: NSOrderedSame for identical text alone
  NSRegularExpressionSearch = 1024,  // searching only; a pattern that is none finds nothing
};
constexpr NSStringCompareOptions operator|(NSStringCompareOptions a, NSStringCompareOptions b) {
  return static_cast<NSStringCompareOptions>(static_cast<NSUInteger>(a) | static_cast<NSUInteger>(b));
}
/// "No options", of whatever kind they are.
struct NilOptions {
  template <class E>
  requires std::is_enum_v<E>
  constexpr operator E() const noexcept { return E{}; }
};
inline constexpr NilOptions kNilOptions{};

enum NSStringEncoding : NSUInteger {
  NSASCIIStringEncoding = 1,
  NSJapaneseEUCStringEncoding = 3,
  NSUTF8StringEncoding = 4,
  NSISOLatin1StringEncoding = 5,
  // \ooo for U+0080…U+00FF, \uxxxx beyond, \\ for a backslash; reading takes \Uxxxx too.
  NSNonLossyASCIIStringEncoding = 7,
  NSShiftJISStringEncoding = 8,
  NSISOLatin2StringEncoding = 9,
  NSUnicodeStringEncoding = 10,  // UTF-16; written little-endian behind a byte order mark, read by its mark
  NSUTF16StringEncoding = NSUnicodeStringEncoding,
  NSWindowsCP1251StringEncoding = 11,
  NSWindowsCP1252StringEncoding = 12,
  NSWindowsCP1253StringEncoding = 13,
  NSWindowsCP1254StringEncoding = 14,
  NSWindowsCP1250StringEncoding = 15,
  NSISO2022JPStringEncoding = 21,
  NSMacOSRomanStringEncoding = 30,
  NSUTF16BigEndianStringEncoding = 0x90000100,
  NSUTF16LittleEndianStringEncoding = 0x94000100,
  NSUTF32StringEncoding = 0x8C000100,
  NSUTF32BigEndianStringEncoding = 0x98000100,
  NSUTF32LittleEndianStringEncoding = 0x9C000100,
  NSGBKStringEncoding = 0x80000631,
  NSGB18030StringEncoding = 0x80000632,
  NSBig5StringEncoding = 0x80000A03,
};

enum NSStringEnumerationOptions : NSUInteger {
  NSStringEnumerationByLines = 0,
  NSStringEnumerationByParagraphs = 1,
  NSStringEnumerationByComposedCharacterSequences = 2,
  NSStringEnumerationByWords = 3,
  NSStringEnumerationBySentences = 4,
  NSStringEnumerationReverse = 1u << 8,
  NSStringEnumerationSubstringNotRequired = 1u << 9,  // the block gets nil for the substring
};
constexpr NSStringEnumerationOptions operator|(NSStringEnumerationOptions a, NSStringEnumerationOptions b) {
  return static_cast<NSStringEnumerationOptions>(static_cast<NSUInteger>(a) | static_cast<NSUInteger>(b));
}

class KVT_EXPORT NSString : public id {
  KVT_HANDLE(NSString, id)

 public:
  /// A property of this type copies what is stored into it.
  static constexpr bool kvtCopies = true;

  // ---- making text -------------------------------------------------------------------------------------------------

  /// Copies UTF-8; nil for a null pointer and for bytes that are no UTF-8.
  NSString(const char* utf8);
  NSString(std::string_view utf8);
  NSString(const std::string& utf8) : NSString(std::string_view(utf8)) {}
  /// Copies UTF-16 as it is, lone surrogates included; nil for a null pointer.
  NSString(const char16_t* utf16);
  NSString(std::u16string_view utf16);
  NSString(const std::u16string& utf16) : NSString(std::u16string_view(utf16)) {}

  /// The empty text.
  static NSString string();
  /// An immutable text; raises for nil.
  static NSString stringWithString(const NSString& text);
  /// Nil when it is no UTF-8; raises for a null pointer.
  static NSString stringWithUTF8String(const char* utf8);
  static NSString stringWithCharacters_length(const unichar* characters, NSUInteger length);
  /// Nil when the bytes are not text of that encoding, or the encoding is unknown. A byte order mark is taken away
  /// where the encoding has one (UTF-8, UTF-16, UTF-32).
  static NSString stringWithData_encoding(const NSData& data, NSStringEncoding encoding);
  static NSString stringWithBytes_length_encoding(const void* bytes, NSUInteger length, NSStringEncoding encoding);
  static NSString stringWithCString_encoding(const char* text, NSStringEncoding encoding);

  /// A file's text; nil when it cannot be read or is no text of that encoding, and why in `*error` (which may be null).
  static NSString stringWithContentsOfFile_encoding_error(const NSString& path, NSStringEncoding encoding,
                                                          NSError* error);

  /// Fills in a format, type-checked: what each argument is decides what is printed, the conversion how.
  ///   %@                    an object's description, "(null)" for nil; text and numbers as they are
  ///   %d %i %u %x %X %o     integers, at the width of their own type (`%x` of int -1: ffffffff); h and hh cut, the
  ///                         other length modifiers (l ll q z t j L) are read and mean nothing more
  ///   %f %F %e %E %g %G %a %A   floating numbers, "." whatever the locale
  ///   %c %C                 one character by its code
  ///   %s %S                 text; a precision counts bytes (of %S and %@: units) and cuts no character
  ///   %p                    an address
  ///   %%                    a percent sign
  /// Flags (-, +, blank, #, 0), width, precision, `*` and positions (`%1$@`, `%2$*1$d`) are those of C.
  ///
  /// Nothing that is passed can do harm. A number of the other kind is converted (`%d` of 3.7: 3; `%f` of 3: 3.000000).
  /// Where that is impossible the argument is printed in its own way (`%d` of text: the text; `%x` of an object: its
  /// description). A conversion without an argument, or that nobody knows, is copied as it stands. Width and precision
  /// beyond 1048576 count as that. Raises for a nil format.
  template <class... A>
  static NSString stringWithFormat(const NSString& format, const A&... arguments) {
    const FormatArgument list[sizeof...(A) + 1] = {FormatArgument(arguments)..., FormatArgument(0)};
    return stringWithFormat_arguments(format, list, sizeof...(A));
  }
  static NSString stringWithFormat_arguments(const NSString& format, const FormatArgument* arguments, NSUInteger count);

  // ---- reading -----------------------------------------------------------------------------------------------------

  /// O(1) for ASCII; else counted once, about 0.1 ns a byte.
  NSUInteger length() const;
  unichar characterAtIndex(NSUInteger index) const;
  /// Writes `range.length` units.
  void getCharacters_range(unichar* buffer, NSRange range) const;

  /// NUL-terminated, O(1), valid while the object lives and is not changed. Null for text with a lone surrogate.
  const char* UTF8String() const;
  /// The same with its length; empty for nil and for text with a lone surrogate (`data()` is null then).
  std::string_view utf8() const;
  /// A copy; "" for nil, U+FFFD in place of lone surrogates.
  std::string str() const;
  std::u16string u16str() const;
  explicit operator std::string() const { return str(); }
  explicit operator std::u16string() const { return u16str(); }

  /// Nil where the text cannot be written in the encoding, unless `lossy`: "?" stands for what cannot be.
  NSData dataUsingEncoding(NSStringEncoding encoding) const;
  NSData dataUsingEncoding_allowLossyConversion(NSStringEncoding encoding, bool lossy) const;
  bool canBeConvertedToEncoding(NSStringEncoding encoding) const;
  /// 0 where it cannot be converted.
  NSUInteger lengthOfBytesUsingEncoding(NSStringEncoding encoding) const;

  /// NO when it cannot be written, and why in `*error`. `atomically`: the file is the old or the new one, whatever
  /// happens.
  bool writeToFile_atomically_encoding_error(const NSString& path, bool atomically, NSStringEncoding encoding,
                                             NSError* error) const;

  // ---- comparing ---------------------------------------------------------------------------------------------------

  std::uint64_t hash() const;
  /// Unit by unit; NO for anything but text.
  bool isEqual(const id& other) const;
  bool isEqualToString(const NSString& other) const;
  /// By code points of the canonical form; not the order of any language. A nil `other` sorts first.
  NSComparisonResult compare(const NSString& other) const;
  NSComparisonResult compare_options(const NSString& other, NSStringCompareOptions options) const;
  /// Compares the receiver's `range` with all of `other`.
  NSComparisonResult compare_options_range(const NSString& other, NSStringCompareOptions options, NSRange range) const;
  /// `locale`: an NSLocale or its identifier; by that language's order. Nil: as above.
  NSComparisonResult compare_options_range_locale(const NSString& other, NSStringCompareOptions options, NSRange range,
                                                  const id& locale) const;
  NSComparisonResult caseInsensitiveCompare(const NSString& other) const;
  /// In the order of the process's language (the root order when it has none).
  NSComparisonResult localizedCompare(const NSString& other) const;
  NSComparisonResult localizedCaseInsensitiveCompare(const NSString& other) const;
  /// As file lists are sorted: "2" before "10", case last.
  NSComparisonResult localizedStandardCompare(const NSString& other) const;
  NSString commonPrefixWithString_options(const NSString& other, NSStringCompareOptions options) const;

  // ---- searching; an empty text is never found ---------------------------------------------------------------------

  /// Unit by unit.
  bool hasPrefix(const NSString& text) const;
  bool hasSuffix(const NSString& text) const;
  bool containsString(const NSString& text) const;
  bool localizedCaseInsensitiveContainsString(const NSString& text) const;
  /// {NSNotFound, 0} when it is not there. Linear in the text and the searched text together.
  NSRange rangeOfString(const NSString& text) const;
  NSRange rangeOfString_options(const NSString& text, NSStringCompareOptions options) const;
  NSRange rangeOfString_options_range(const NSString& text, NSStringCompareOptions options, NSRange range) const;
  /// The first character (backwards: the last; anchored: only at the edge) that is in the set.
  NSRange rangeOfCharacterFromSet(const NSCharacterSet& set) const;
  NSRange rangeOfCharacterFromSet_options(const NSCharacterSet& set, NSStringCompareOptions options) const;
  NSRange rangeOfCharacterFromSet_options_range(const NSCharacterSet& set, NSStringCompareOptions options,
                                                NSRange range) const;

  // ---- parts -------------------------------------------------------------------------------------------------------

  NSString substringFromIndex(NSUInteger index) const;
  NSString substringToIndex(NSUInteger index) const;
  NSString substringWithRange(NSRange range) const;
  /// The pieces between the separators: one more than there are separators; the text itself for an empty separator.
  NSArray componentsSeparatedByString(const NSString& separator) const;
  NSArray componentsSeparatedByCharactersInSet(const NSCharacterSet& separators) const;
  NSString stringByTrimmingCharactersInSet(const NSCharacterSet& set) const;

  /// The character as a reader sees it (an extended grapheme cluster) around the index. CR LF counts as two, as it
  /// always has in this call. To walk a text, enumerate it.
  NSRange rangeOfComposedCharacterSequenceAtIndex(NSUInteger index) const;
  /// Widened so that it cuts no composed character sequence. An empty range widens to the sequence at its place.
  NSRange rangeOfComposedCharacterSequencesForRange(NSRange range) const;
  /// The lines that the range touches, their ends included. A line ends at LF, CR, CR LF, U+0085, U+2028 or U+2029; a
  /// paragraph at the same but U+0085 and U+2028.
  NSRange lineRangeForRange(NSRange range) const;
  NSRange paragraphRangeForRange(NSRange range) const;
  /// Any result may be null. `contentsEnd` is where the line's own end begins.
  void getLineStart_end_contentsEnd_forRange(NSUInteger* start, NSUInteger* end, NSUInteger* contentsEnd,
                                             NSRange range) const;
  /// Linear. The block gets the substring, its range, the range with what lies between it and the next one, and may
  /// stop.
  void enumerateSubstringsInRange_options_usingBlock(
      NSRange range, NSStringEnumerationOptions options,
      const Block<void(const NSString& substring, NSRange range, NSRange enclosing, bool* stop)>& block) const;
  /// Lines without their ends.
  void enumerateLinesUsingBlock(const Block<void(const NSString& line, bool* stop)>& block) const;

  // ---- making other text of it -------------------------------------------------------------------------------------

  NSString stringByAppendingString(const NSString& text) const;
  template <class... A>
  NSString stringByAppendingFormat(const NSString& format, const A&... arguments) const {
    return *this ? stringByAppendingString(stringWithFormat(format, arguments...)) : NSString();
  }
  /// Nil for `target` or `replacement` raises. The text itself when there is nothing to replace.
  NSString stringByReplacingOccurrencesOfString_withString(const NSString& target, const NSString& replacement) const;
  /// With NSRegularExpressionSearch `replacement` is a template ($1, \$).
  NSString stringByReplacingOccurrencesOfString_withString_options_range(const NSString& target,
                                                                         const NSString& replacement,
                                                                         NSStringCompareOptions options,
                                                                         NSRange range) const;
  NSString stringByReplacingCharactersInRange_withString(NSRange range, const NSString& replacement) const;
  /// Cut to `length` units, or filled up with `padding`, from its unit `index` on and over again. Raises when padding
  /// is needed and `padding` is nil or empty, or `index` is beyond it.
  NSString stringByPaddingToLength_withString_startingAtIndex(NSUInteger length, const NSString& padding,
                                                              NSUInteger index) const;

  // Case by Unicode's rules, in no language ("ß" becomes "SS").
  NSString uppercaseString() const;
  NSString lowercaseString() const;
  /// Each word with a capital and small letters behind it.
  NSString capitalizedString() const;
  NSString uppercaseStringWithLocale(const id& locale) const;
  NSString lowercaseStringWithLocale(const id& locale) const;
  NSString capitalizedStringWithLocale(const id& locale) const;
  /// Takes away what the options (case, diacritics, width) ignore.
  NSString stringByFoldingWithOptions_locale(NSStringCompareOptions options, const id& locale) const;
  // Unicode normalisation: NFD, NFC, NFKD, NFKC.
  NSString decomposedStringWithCanonicalMapping() const;
  NSString precomposedStringWithCanonicalMapping() const;
  NSString decomposedStringWithCompatibilityMapping() const;
  NSString precomposedStringWithCompatibilityMapping() const;

  /// The UTF-8 bytes of every character that is not in the set (and of all that are not ASCII) as %XX. Nil for text
  /// with a lone surrogate.
  NSString stringByAddingPercentEncodingWithAllowedCharacters(const NSCharacterSet& allowed) const;
  /// Nil when a "%" is not followed by two hexadecimal digits, or the bytes are no UTF-8.
  NSString stringByRemovingPercentEncoding() const;

  // ---- numbers: leading white space is skipped, what follows the number ignored, 0 where there is none -------------

  /// Too large numbers give the largest or smallest of the type.
  int intValue() const;
  NSInteger integerValue() const;
  long long longLongValue() const;
  /// Decimal; ±infinity when it is too large.
  double doubleValue() const;
  float floatValue() const;
  /// YES when the text, past white space, a sign and zeros, goes on with Y, y, T, t or a digit 1…9.
  bool boolValue() const;

  // ---- paths -------------------------------------------------------------------------------------------------------

  NSString lastPathComponent() const;
  NSString pathExtension() const;
  NSString stringByDeletingLastPathComponent() const;
  NSString stringByDeletingPathExtension() const;
  /// One "/" between the two; repeated and trailing ones go.
  NSString stringByAppendingPathComponent(const NSString& component) const;
  /// The path itself where there is no name to take one ("", "/").
  NSString stringByAppendingPathExtension(const NSString& extension) const;
  /// "/" first for an absolute path, and last when the path ends so.
  NSArray pathComponents() const;
  static NSString pathWithComponents(const NSArray& components);
  /// Starts with "/" or "~".
  bool isAbsolutePath() const;
  /// "~" expanded; "//", "/." and trailing "/" taken away; in absolute paths ".." too (through links where they exist).
  NSString stringByStandardizingPath() const;
  /// "~" and "~user" at the start; the path itself when there is no such user.
  NSString stringByExpandingTildeInPath() const;
  NSString stringByAbbreviatingWithTildeInPath() const;
  NSString stringByResolvingSymlinksInPath() const;

  // ---- the root class's --------------------------------------------------------------------------------------------

  NSString description() const { return *this; }
  /// The text itself when it is immutable.
  NSString copy() const;
  NSMutableString mutableCopy() const;
};

// ---- operators -----------------------------------------------------------------------------------------------------

namespace detail {
KVT_EXPORT bool equalText(const NSString& a, std::string_view utf8) noexcept;
KVT_EXPORT std::strong_ordering orderText(const NSString& a, const NSString& b);
KVT_EXPORT NSString joinText(const NSString& a, const NSString& b);
KVT_EXPORT Object* makeLiteral(const char* utf8, std::size_t size);

template <class T>
concept PlainText = std::convertible_to<const T&, std::string_view> && !std::same_as<T, std::nullptr_t>;
}  // namespace detail

/// Two nils are equal; nil is not the empty text.
inline bool operator==(const NSString& a, const NSString& b) { return isIdentical(a, b) || a.isEqualToString(b); }
inline bool operator==(const NSString& a, std::nullptr_t) noexcept { return !a; }
// The left side must be text already, or comparing two std::string_views would be ambiguous wherever this is visible.
template <std::derived_from<NSString> S, detail::PlainText T>
bool operator==(const S& a, const T& utf8) {
  if constexpr (std::convertible_to<const T&, const char*>) {
    const char* text = utf8;
    return text == nullptr ? !a : detail::equalText(a, text);
  } else {
    return detail::equalText(a, utf8);
  }
}

/// Unit by unit, nil first: a total order that agrees with `==`, for sorted containers.
inline std::strong_ordering operator<=>(const NSString& a, const NSString& b) { return detail::orderText(a, b); }

/// Both texts in a row; a nil one counts as empty, two nils give nil.
inline NSString operator+(const NSString& a, const NSString& b) { return detail::joinText(a, b); }

inline namespace literals {
/// Immortal text, made once: `"x"_ns` costs a load.
template <FixedString Text>
NSString operator""_ns() {
  static Object* const body = detail::makeLiteral(Text.text, Text.view().size());
  return NSString(borrow, body);
}
}  // namespace literals

}  // namespace kvt
