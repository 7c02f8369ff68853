// A box for one C++ value of any type: its bytes and the encoding that names its type. Immutable; `NSNumber` is the box
// for numbers and derives from it.
//
//     NSValue frame = NSValue::of(CGRect{{0, 0}, {320, 200}});
//     frame.get<CGRect>().size.width;                            // 320
//     frame.get<CGSize>();                                       // {0, 0}: the encoding is another one
//     NSValue range = NSValue::valueWithRange({4, 2});
//     range.description();                                       // "NSRange: {4, 2}"
//
// Thread rule: immutable, any thread.
#pragma once

#include <type_traits>

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class KVT_EXPORT NSValue : public id {
  KVT_HANDLE(NSValue, id)

 public:
  /// Copies as many bytes as the encoding says. Raises NSInvalidArgumentException when the encoding is null, names no
  /// type of a size (`v`, unknown letters, an open bracket, more than one type), or `bytes` is null.
  static NSValue valueWithBytes_objCType(const void* bytes, const char* type);
  static NSValue value_withObjCType(const void* bytes, const char* type) {
    return valueWithBytes_objCType(bytes, type);
  }

  /// A value of any type that has an encoding: scalars, pointers, structs described with KVT_STRUCT_ENCODING. Objects
  /// are no values: a collection holds them as they are.
  template <class T>
  static NSValue of(const T& value) {
    static_assert(std::is_trivially_copyable_v<T> && !HandleType<T>, "only plain values can be boxed");
    return valueWithBytes_objCType(&value, encodingOf<T>());
  }
  /// The value; zero when nil or when the value's encoding is not exactly that of `T`.
  template <class T>
  T get() const {
    static_assert(std::is_trivially_copyable_v<T> && std::is_default_constructible_v<T>,
                  "only plain values can be boxed");
    T value{};
    if (!copyValue(&value, sizeof value, encodingOf<T>())) return T{};
    return value;
  }

  /// Copies the bytes out; `buffer` must have room for the encoding's size. Nothing happens on nil.
  void getValue(void* buffer) const;
  /// The same, but raises NSInvalidArgumentException when `size` is not the encoding's size.
  void getValue_size(void* buffer, NSUInteger size) const;
  /// The encoding; a null pointer for nil. Lives as long as the value.
  const char* objCType() const noexcept;

  /// A pointer, encoded "^v". What it points to is neither copied nor kept.
  static NSValue valueWithPointer(const void* pointer);
  /// Null unless the encoding is exactly "^v".
  void* pointerValue() const { return get<void*>(); }

  /// An object that the box does not retain: it must outlive its use.
  static NSValue valueWithNonretainedObject(const id& object);
  /// The object, nil unless boxed so.
  id nonretainedObjectValue() const;

  static NSValue valueWithRange(NSRange range) { return of(range); }
  static NSValue valueWithPoint(CGPoint point) { return of(point); }
  static NSValue valueWithSize(CGSize size) { return of(size); }
  static NSValue valueWithRect(CGRect rect) { return of(rect); }
  static NSValue valueWithCGPoint(CGPoint point) { return of(point); }
  static NSValue valueWithCGSize(CGSize size) { return of(size); }
  static NSValue valueWithCGRect(CGRect rect) { return of(rect); }
  static NSValue valueWithCGAffineTransform(CGAffineTransform transform) { return of(transform); }
  static NSValue valueWithUIEdgeInsets(UIEdgeInsets insets) { return of(insets); }
  static NSValue valueWithUIOffset(UIOffset offset) { return of(offset); }

  /// Each answers a zero structure when the value is of another type.
  NSRange rangeValue() const { return get<NSRange>(); }
  CGPoint pointValue() const { return get<CGPoint>(); }
  CGSize sizeValue() const { return get<CGSize>(); }
  CGRect rectValue() const { return get<CGRect>(); }
  CGPoint CGPointValue() const { return get<CGPoint>(); }
  CGSize CGSizeValue() const { return get<CGSize>(); }
  CGRect CGRectValue() const { return get<CGRect>(); }
  CGAffineTransform CGAffineTransformValue() const;
  UIEdgeInsets UIEdgeInsetsValue() const { return get<UIEdgeInsets>(); }
  UIOffset UIOffsetValue() const { return get<UIOffset>(); }

  /// Equal encodings and equal bytes (padding included); two numbers are compared as numbers; NO for nil on either
  /// side.
  bool isEqualToValue(const NSValue& other) const;

  // `description`: "NSSize: {1, 2}", "NSPoint: {1, 2}", "NSRect: {{0, 0}, {1, 2}}", "NSRange: {0, 5}", likewise for
  // insets, offsets and transforms; "<0x…>" for pointers and unretained objects; else the bytes in groups of four:
  // "<01020304 0506>".

 private:
  bool copyValue(void* buffer, std::size_t size, const char* type) const noexcept;
};

}  // namespace kvt
