// Text that can be changed. Handles share the body: each of them sees a change.
//
//     NSMutableString list = NSMutableString::string();
//     list.appendFormat("%d, ", 7);
//     list.deleteCharactersInRange({list.length() - 2, 2});
//     NSString result = list.copy();                           // immutable
//
// Appending costs amortised the appended length. Changing by index costs a move of what lies behind, and once, for text
// that is not ASCII, a conversion to UTF-16. Called on nil, changes do nothing; raising and indices are as for
// NSString. An immutable NSString never is an NSMutableString: `as<NSMutableString>()` answers nil; ask for a
// `mutableCopy()`. Thread rule: one thread at a time changes, and nobody reads meanwhile.
#pragma once

#include "NSString.h"

namespace kvt {

class KVT_EXPORT NSMutableString : public NSString {
  KVT_HANDLE(NSMutableString, NSString)

 public:
  /// A new, empty one.
  static NSMutableString string();
  /// A new, empty one; the capacity is a hint, in characters.
  static NSMutableString stringWithCapacity(NSUInteger capacity);
  /// A changeable copy; raises for nil.
  static NSMutableString stringWithString(const NSString& text);
  template <class... A>
  static NSMutableString stringWithFormat(const NSString& format, const A&... arguments) {
    return NSString::stringWithFormat(format, arguments...).mutableCopy();
  }

  /// Raises for nil, as all of these do.
  void appendString(const NSString& text) const;
  template <class... A>
  void appendFormat(const NSString& format, const A&... arguments) const {
    if (*this) appendString(NSString::stringWithFormat(format, arguments...));
  }
  void insertString_atIndex(const NSString& text, NSUInteger index) const;
  void deleteCharactersInRange(NSRange range) const;
  void replaceCharactersInRange_withString(NSRange range, const NSString& text) const;
  /// The number of replacements. With NSRegularExpressionSearch `replacement` is a template.
  NSUInteger replaceOccurrencesOfString_withString_options_range(const NSString& target, const NSString& replacement,
                                                                 NSStringCompareOptions options, NSRange range) const;
  void setString(const NSString& text) const;

 private:
  // A property of this type shares what is stored into it: a copy would be immutable.
  static constexpr bool kvtCopies = false;
};

}  // namespace kvt
