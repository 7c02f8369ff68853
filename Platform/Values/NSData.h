// Bytes: immutable, or mutable with `NSMutableData`.
//
//     NSData data = NSData::dataWithBytes_length("abc", 3);
//     data.base64EncodedStringWithOptions();                         // "YWJj"
//     NSMutableData buffer = data.mutableCopy();
//     buffer.appendBytes_length("\0d", 2);
//     buffer.description();                                          // "{length = 5, bytes = 0x6162630064}"
//
// Thread rule: NSData may be read from any thread; NSMutableData belongs to one thread at a time.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSString;
class NSError;
class NSMutableData;

// Options combine with `|`.
enum NSDataBase64EncodingOptions : NSUInteger {
  NSDataBase64Encoding64CharacterLineLength = 1 << 0,
  NSDataBase64Encoding76CharacterLineLength = 1 << 1,
  NSDataBase64EncodingEndLineWithCarriageReturn = 1 << 4,
  NSDataBase64EncodingEndLineWithLineFeed = 1 << 5,
};
enum NSDataBase64DecodingOptions : NSUInteger { NSDataBase64DecodingIgnoreUnknownCharacters = 1 << 0 };
enum NSDataSearchOptions : NSUInteger { NSDataSearchBackwards = 1 << 0, NSDataSearchAnchored = 1 << 1 };
enum NSDataReadingOptions : NSUInteger { NSDataReadingMappedIfSafe = 1 << 0, NSDataReadingUncached = 1 << 1 };
enum NSDataWritingOptions : NSUInteger { NSDataWritingAtomic = 1 << 0, NSDataWritingWithoutOverwriting = 1 << 1 };

class KVT_EXPORT NSData : public id {
  KVT_HANDLE(NSData, id)

 public:
  /// A property of this type copies what is stored into it.
  static constexpr bool kvtCopies = true;

  // All of these copy the bytes. Text is never taken for bytes silently.
  explicit NSData(std::string_view bytes);
  NSData(const std::vector<std::byte>& bytes);
  NSData(const std::vector<std::uint8_t>& bytes);
  static NSData data();
  /// Raises NSInvalidArgumentException when `bytes` is null and `length` is not 0, or `length` is beyond memory.
  static NSData dataWithBytes_length(const void* bytes, NSUInteger length);
  static NSData dataWithData(const NSData& data);

  /// The file's content; nil when it cannot be read. The second form says why in `*error` (which may be null).
  static NSData dataWithContentsOfFile(const NSString& path);
  static NSData dataWithContentsOfFile_options_error(const NSString& path, NSUInteger options, NSError* error);

  /// nil unless the text is base64 (RFC 4648 with padding) throughout; with
  /// NSDataBase64DecodingIgnoreUnknownCharacters, what is not of the alphabet is skipped.
  static NSData dataWithBase64EncodedString_options(const NSString& text, NSUInteger options = 0);
  static NSData dataWithBase64EncodedData_options(const NSData& text, NSUInteger options = 0);

  NSUInteger length() const noexcept;
  /// Null when nil or empty. Valid as long as the data lives and, when mutable, is not changed.
  const void* bytes() const noexcept;
  /// The same bytes as a view.
  std::string_view view() const noexcept;
  std::vector<std::uint8_t> vector() const;

  /// Copies the first `length` bytes at most.
  void getBytes_length(void* buffer, NSUInteger length) const noexcept;
  /// Raises NSRangeException when the range leaves the data; so do all that take a range.
  void getBytes_range(void* buffer, NSRange range) const;
  NSData subdataWithRange(NSRange range) const;
  /// Where `data` first (backwards: last) lies within the range; anchored: only at its start (end). {NSNotFound, 0}
  /// when it does not, or is empty. Raises NSInvalidArgumentException for nil. O(range + data) whatever the bytes.
  NSRange rangeOfData_options_range(const NSData& data, NSUInteger options, NSRange range) const;

  /// Without options one line. With a line length and no end of line chosen, lines end with CR LF.
  NSString base64EncodedStringWithOptions(NSUInteger options = 0) const;
  NSData base64EncodedDataWithOptions(NSUInteger options = 0) const;

  /// Atomically: into a temporary file beside the target, flushed to the disk and then renamed over it, so that the
  /// target is either the old or the new file, whatever happens; it keeps its permissions, and a symbolic link its
  /// place. NO on failure.
  bool writeToFile_atomically(const NSString& path, bool atomically) const;
  bool writeToFile_options_error(const NSString& path, NSUInteger options, NSError* error) const;

  /// The same bytes; NO for nil on either side. Mutable and immutable data of the same bytes are equal.
  bool isEqualToData(const NSData& other) const noexcept;
  NSData copy() const;
  NSMutableData mutableCopy() const;

  // `hash` reads all bytes. `description`: "{length = 3, bytes = 0x010203}"; of more than 24 bytes the first 16 and the
  // last 8:
  // "{length = 25, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 11121314 15161718 }".
};

class KVT_EXPORT NSMutableData : public NSData {
  KVT_HANDLE(NSMutableData, NSData)

 public:
  static NSMutableData data();
  static NSMutableData dataWithCapacity(NSUInteger capacity);
  /// Zero bytes.
  static NSMutableData dataWithLength(NSUInteger length);
  static NSMutableData dataWithBytes_length(const void* bytes, NSUInteger length);
  static NSMutableData dataWithData(const NSData& data);

  // All of them do nothing on nil. Growing beyond memory raises NSMallocException.
  /// Null when nil or empty; valid until the data is changed.
  void* mutableBytes() const noexcept;
  /// New bytes are 0.
  void setLength(NSUInteger length) const;
  void increaseLengthBy(NSUInteger count) const;
  /// Appending costs amortised O(length). nil appends nothing; data may be appended to itself.
  void appendData(const NSData& data) const;
  void appendBytes_length(const void* bytes, NSUInteger length) const;
  void setData(const NSData& data) const;
  /// Raise NSRangeException when the range starts beyond the end; a range that ends beyond it makes the data longer.
  void replaceBytesInRange_withBytes(NSRange range, const void* bytes) const;
  void resetBytesInRange(NSRange range) const;
  /// The range's bytes go and `length` others come, so that the rest moves. The range must lie within the data.
  void replaceBytesInRange_withBytes_length(NSRange range, const void* bytes, NSUInteger length) const;

 private:
  // A property of this type shares: a copy would be immutable.
  static constexpr bool kvtCopies = false;
};

}  // namespace kvt
