// A set of Unicode characters, immutable.
//
//     NSString word = text.stringByTrimmingCharactersInSet(NSCharacterSet::whitespaceAndNewlineCharacterSet());
//     NSCharacterSet hex = NSCharacterSet::characterSetWithCharactersInString("0123456789abcdef");
//     hex.characterIsMember('c');                              // YES
//
// Members are code points; in text, a surrogate pair is one of them. Asking costs O(1) for ASCII, a few nanoseconds
// otherwise. The named sets are made when first asked for, and shared. Called on nil, every operation answers nil or
// NO. Thread rule: any thread.
#pragma once

#include <string_view>

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSString;

class KVT_EXPORT NSCharacterSet : public id {
  KVT_HANDLE(NSCharacterSet, id)

 public:
  // ---- by name (general categories of Unicode in brackets) ---------------------------------------------------------

  /// [Zs] and TAB.
  static NSCharacterSet whitespaceCharacterSet();
  /// [Z], TAB, U+000A…U+000D and U+0085.
  static NSCharacterSet whitespaceAndNewlineCharacterSet();
  /// U+000A…U+000D, U+0085, U+2028, U+2029.
  static NSCharacterSet newlineCharacterSet();
  /// [L], [M], [N].
  static NSCharacterSet alphanumericCharacterSet();
  /// [L], [M].
  static NSCharacterSet letterCharacterSet();
  /// [Lu], [Lt].
  static NSCharacterSet uppercaseLetterCharacterSet();
  /// [Ll].
  static NSCharacterSet lowercaseLetterCharacterSet();
  /// [Lt].
  static NSCharacterSet capitalizedLetterCharacterSet();
  /// [Nd].
  static NSCharacterSet decimalDigitCharacterSet();
  /// [P].
  static NSCharacterSet punctuationCharacterSet();
  /// [S].
  static NSCharacterSet symbolCharacterSet();
  /// [Cc], [Cf].
  static NSCharacterSet controlCharacterSet();
  /// [M].
  static NSCharacterSet nonBaseCharacterSet();
  /// Characters that canonically decompose.
  static NSCharacterSet decomposableCharacterSet();
  /// Code points that are no characters, or not yet.
  static NSCharacterSet illegalCharacterSet();

  // What may stand in a part of a URL as it is: letters, digits, -._~!$&'()*+,= and
  /// :;[]
  static NSCharacterSet URLHostAllowedCharacterSet();
  /// /:@
  static NSCharacterSet URLPathAllowedCharacterSet();
  /// /?:@;
  static NSCharacterSet URLQueryAllowedCharacterSet();
  /// /?:@;
  static NSCharacterSet URLFragmentAllowedCharacterSet();
  /// ;
  static NSCharacterSet URLUserAllowedCharacterSet();
  /// ;
  static NSCharacterSet URLPasswordAllowedCharacterSet();

  // ---- by content --------------------------------------------------------------------------------------------------

  /// Raises for nil.
  static NSCharacterSet characterSetWithCharactersInString(const NSString& characters);
  /// Code points from `range.location` on; raises beyond U+10FFFF.
  static NSCharacterSet characterSetWithRange(NSRange range);
  /// Everything that is not in the receiver.
  NSCharacterSet invertedSet() const;
  /// Both; a nil one counts as empty, nil when both are.
  NSCharacterSet characterSetByUniting(const NSCharacterSet& other) const;
  NSCharacterSet characterSetByIntersecting(const NSCharacterSet& other) const;

  // ---- asking ------------------------------------------------------------------------------------------------------

  bool characterIsMember(unichar character) const;
  bool longCharacterIsMember(char32_t character) const;
  bool isSupersetOfSet(const NSCharacterSet& other) const;

  std::uint64_t hash() const;
  /// The same members.
  bool isEqual(const id& other) const;
  NSString description() const;
  NSCharacterSet copy() const { return *this; }
};

}  // namespace kvt
