// Scalar types and small structs that the value types share.
#pragma once

#include <cstdint>

#include <KVTPlatform/Runtime/TypeEncoding.h>

namespace kvt {

using NSInteger = std::int64_t;
using NSUInteger = std::uint64_t;
using BOOL = bool;
inline constexpr bool YES = true;
inline constexpr bool NO = false;
using unichar = char16_t;
using NSTimeInterval = double;
using CGFloat = double;

/// "No such index."
inline constexpr NSUInteger NSNotFound = INT64_MAX;

enum NSComparisonResult : NSInteger { NSOrderedAscending = -1, NSOrderedSame = 0, NSOrderedDescending = 1 };

/// A stretch of a sequence: text (in UTF-16 units), bytes or elements.
struct NSRange {
  NSUInteger location = 0;
  NSUInteger length = 0;
  friend constexpr bool operator==(const NSRange&, const NSRange&) = default;
};
constexpr NSRange NSMakeRange(NSUInteger location, NSUInteger length) { return {location, length}; }
constexpr NSUInteger NSMaxRange(NSRange range) { return range.location + range.length; }

struct CGPoint {
  CGFloat x = 0, y = 0;
  friend constexpr bool operator==(const CGPoint&, const CGPoint&) = default;
};
struct CGSize {
  CGFloat width = 0, height = 0;
  friend constexpr bool operator==(const CGSize&, const CGSize&) = default;
};
struct CGRect {
  CGPoint origin;
  CGSize size;
  friend constexpr bool operator==(const CGRect&, const CGRect&) = default;
};
struct CGAffineTransform {
  CGFloat a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  friend constexpr bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};
struct UIEdgeInsets {
  CGFloat top = 0, left = 0, bottom = 0, right = 0;
  friend constexpr bool operator==(const UIEdgeInsets&, const UIEdgeInsets&) = default;
};
struct UIOffset {
  CGFloat horizontal = 0, vertical = 0;
  friend constexpr bool operator==(const UIOffset&, const UIOffset&) = default;
};

}  // namespace kvt

namespace kvt::encoding {
// The platform's name for a range's encoding carries an underscore.
template <>
struct Described<NSRange> {
  static constexpr bool known = true;
  static consteval auto text() { return FixedString("{_NSRange=QQ}"); }
};
}  // namespace kvt::encoding
KVT_STRUCT_ENCODING(kvt::CGPoint, x, y)
KVT_STRUCT_ENCODING(kvt::CGSize, width, height)
KVT_STRUCT_ENCODING(kvt::CGRect, origin, size)
KVT_STRUCT_ENCODING(kvt::CGAffineTransform, a, b, c, d, tx, ty)
KVT_STRUCT_ENCODING(kvt::UIEdgeInsets, top, left, bottom, right)
KVT_STRUCT_ENCODING(kvt::UIOffset, horizontal, vertical)
