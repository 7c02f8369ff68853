// Text with attributes, as far as a program without a text view needs it: the text. What arrives as an attributed
// string keeps its class and gives its plain text.
//
//     NSAttributedString title = NSAttributedString::initWithString("Title");
//     title.string();                                          // "Title"
//
// Immutable. Called on nil, every operation answers nil, 0 or NO. Thread rule: any thread.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSString;

class KVT_EXPORT NSAttributedString : public id {
  KVT_HANDLE(NSAttributedString, id)

 public:
  /// A property of this type copies what is stored into it.
  static constexpr bool kvtCopies = true;

  /// Copies the text; raises NSInvalidArgumentException for nil.
  static NSAttributedString initWithString(const NSString& text);

  NSString string() const;
  /// In UTF-16 units.
  NSUInteger length() const;
  /// Raises NSRangeException beyond the text.
  NSAttributedString attributedSubstringFromRange(NSRange range) const;

  std::uint64_t hash() const;
  /// Another attributed string of the same text; NO for plain text.
  bool isEqual(const id& other) const;
  bool isEqualToAttributedString(const NSAttributedString& other) const;
  /// The text and its attributes in braces.
  NSString description() const;
  NSAttributedString copy() const { return *this; }
};

}  // namespace kvt
