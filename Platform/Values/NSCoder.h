// What an object writes itself to, and reads itself from: values under keys.
//
//     class Track : public NSObject {
//      public:
//       NSString title;
//       double seconds = 0;
//       void encodeWithCoder(const NSCoder& coder) {
//         coder.encodeObject_forKey(title, "title");
//         coder.encodeDouble_forKey(seconds, "seconds");
//       }
//       id initWithCoder(const NSCoder& coder) {
//         title = coder.decodeObjectOfClass<NSString>("title");
//         seconds = coder.decodeDoubleForKey("seconds");
//         return Ref<Track>(this);
//       }
//       static bool supportsSecureCoding() { return true; }
//       KVT_CLASS(Track, title, seconds)
//     };
//     NSData data = NSKeyedArchiver::archivedDataWithRootObject(track);
//
// The coders are NSKeyedArchiver, which encodes, and NSKeyedUnarchiver, which decodes; the other half of the operations
// raises NSInvalidArgumentException on each. Keys are text of any kind and belong to the object that is being coded: a
// class and its superclass must not use the same ones. A nil key
// and one that is no UTF-8 raise NSInvalidArgumentException. Every operation on
// a nil coder answers nil, 0 or NO and does nothing.
//
// Decoding that fails (a class that is not known or not allowed, a value of another type, damaged data) raises
// NSInvalidUnarchiveOperationException or sets `error`, as `decodingFailurePolicy` says; once an error is set,
// everything decodes as nil, 0 or NO. Thread rule: one thread at a time.
#pragma once

#include <string>
#include <string_view>

#include "Boxed.h"
#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSError;
class NSSet;
class NSString;

/// A key: text of any kind, borrowed for the call. Made for parameter lists: nobody needs to name it.
class KVT_EXPORT CoderKey {
 public:
  CoderKey(const char* utf8) noexcept : text_(utf8 != nullptr ? std::string_view(utf8) : std::string_view()) {}
  CoderKey(std::string_view utf8) noexcept : text_(utf8) {}
  CoderKey(const std::string& utf8) noexcept : text_(utf8) {}
  CoderKey(const NSString& text);
  /// As it was given; null data for no key, and for text that has no UTF-8 form.
  std::string_view text() const noexcept { return text_; }

 private:
  std::string_view text_;
};

enum NSDecodingFailurePolicy : NSInteger {
  NSDecodingFailurePolicyRaiseException = 0,
  NSDecodingFailurePolicySetErrorAndReturn = 1,
};

class KVT_EXPORT NSCoder : public id {
  KVT_HANDLE(NSCoder, id)

 public:
  // ---- encoding ----

  /// An object, once however often it is met: references to it stay shared, in circles too. nil is encoded as such.
  /// Raises NSInvalidArgumentException for an object that does not answer `encodeWithCoder:`, and
  /// NSInvalidArchiveOperationException for a nesting of more than 1000 objects, and for a class that does not support
  /// secure coding where that is required.
  void encodeObject_forKey(const Boxed& object, const CoderKey& key) const;
  /// A reference to an object that is there only if something else encodes it; else nil. Text, numbers and data are
  /// always there.
  void encodeConditionalObject_forKey(const id& object, const CoderKey& key) const;

  // These are kept in the object itself and read by the operation of the same type.
  void encodeBool_forKey(bool value, const CoderKey& key) const;
  void encodeInt_forKey(int value, const CoderKey& key) const;
  void encodeInt32_forKey(std::int32_t value, const CoderKey& key) const;
  void encodeInt64_forKey(std::int64_t value, const CoderKey& key) const;
  void encodeInteger_forKey(NSInteger value, const CoderKey& key) const;
  void encodeFloat_forKey(float value, const CoderKey& key) const;
  void encodeDouble_forKey(double value, const CoderKey& key) const;
  /// A copy of the bytes; null bytes are none.
  void encodeBytes_length_forKey(const void* bytes, NSUInteger length, const CoderKey& key) const;
  /// As text: "{1, 2}" and "{{0, 0}, {1, 2}}".
  void encodePoint_forKey(CGPoint point, const CoderKey& key) const;
  void encodeSize_forKey(CGSize size, const CoderKey& key) const;
  void encodeRect_forKey(CGRect rect, const CoderKey& key) const;

  // ---- decoding: nil, 0 or NO for a key that there is none of ----

  bool containsValueForKey(const CoderKey& key) const;
  /// The object; where secure coding is required, of a class that the object which is being decoded may hold.
  id decodeObjectForKey(const CoderKey& key) const;
  /// Where secure coding is required, a failure unless the object is of the class or of one below it, and its class
  /// supports secure coding; elements of collections too, so that `classes` names theirs as well. Otherwise the same as
  /// `decodeObjectForKey`.
  id decodeObjectOfClass_forKey(Class cls, const CoderKey& key) const;
  id decodeObjectOfClasses_forKey(const NSSet& classes, const CoderKey& key) const;
  /// Likewise as a typed handle: nil when the object is none.
  template <class T>
  HandleFor<T> decodeObjectOfClass(const CoderKey& key) const {
    return decodeObjectOfClass_forKey(classOf<T>(), key).template as<T>();
  }
  /// Of what property lists hold: text, numbers, dates, data, arrays and dictionaries.
  id decodePropertyListForKey(const CoderKey& key) const;

  /// A failure for what is no number (and, for the integers, for what they cannot hold).
  bool decodeBoolForKey(const CoderKey& key) const;
  int decodeIntForKey(const CoderKey& key) const;
  std::int32_t decodeInt32ForKey(const CoderKey& key) const;
  std::int64_t decodeInt64ForKey(const CoderKey& key) const;
  NSInteger decodeIntegerForKey(const CoderKey& key) const;
  float decodeFloatForKey(const CoderKey& key) const;
  double decodeDoubleForKey(const CoderKey& key) const;
  /// The bytes live as long as the coder.
  const std::uint8_t* decodeBytesForKey_returnedLength(const CoderKey& key, NSUInteger* length) const;
  CGPoint decodePointForKey(const CoderKey& key) const;
  CGSize decodeSizeForKey(const CoderKey& key) const;
  CGRect decodeRectForKey(const CoderKey& key) const;

  // ---- both ----

  bool allowsKeyedCoding() const noexcept;
  bool requiresSecureCoding() const noexcept;
  /// The classes that may be decoded here, as class objects; nil where nothing is restricted.
  NSSet allowedClasses() const;
  NSDecodingFailurePolicy decodingFailurePolicy() const noexcept;
  /// Reports a failure as the coder's own are: for an object that finds its data wrong. The first error stays.
  void failWithError(const NSError& error) const;
  NSError error() const;
};

}  // namespace kvt
