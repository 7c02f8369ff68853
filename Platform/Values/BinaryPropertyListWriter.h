// Writes a binary property list; not installed.
//
//     BinaryPropertyListWriter out;
//     const PropertyListValue key = out.text("name"), value = out.integer(42);
//     const PropertyListValue top = out.dictionary(&key, &value, 1);
//     NSData data = out.finish(top);
//
// Scalars are written in their final form at once, and an equal one is found again instead of being written twice. How
// wide the references in containers are is known at the end only: until then they are four bytes each, and everything
// is copied into a block of its exact size at last. Costs O(1) a value, amortised; running out of memory throws
// std::bad_alloc or raises. A thread keeps the memory of its last writer for the next one, up to four megabytes: new
// pages cost more than what is written into them. Thread rule: a writer belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "NSData.h"
#include "NSStringBody.h"

namespace kvt {

__extension__ using PropertyListWideInteger = __int128;

/// What a container refers to: a scalar, a UID or another container.
class PropertyListValue {
 public:
  PropertyListValue() = default;
  static PropertyListValue uid(std::uint32_t number) noexcept { return PropertyListValue(kUID | number); }
  bool isScalar() const noexcept { return (bits_ & kTags) == 0; }
  /// Scalars are numbered in the order in which they came.
  std::uint32_t number() const noexcept { return bits_ & ~kTags; }
  friend bool operator==(PropertyListValue, PropertyListValue) noexcept = default;

 private:
  friend class BinaryPropertyListWriter;
  static constexpr std::uint32_t kUID = 1u << 30, kContainer = 1u << 31, kTags = kUID | kContainer;
  explicit PropertyListValue(std::uint32_t bits) noexcept : bits_(bits) {}
  std::uint32_t bits_ = 0;
};

class BinaryPropertyListWriter {
 public:
  using Value = PropertyListValue;

  BinaryPropertyListWriter();
  ~BinaryPropertyListWriter();
  BinaryPropertyListWriter(const BinaryPropertyListWriter&) = delete;
  BinaryPropertyListWriter& operator=(const BinaryPropertyListWriter&) = delete;

  // ---- scalars ----
  Value boolean(bool value);
  Value integer(std::int64_t value);
  Value unsignedInteger(std::uint64_t value);
  Value wideInteger(PropertyListWideInteger value);
  Value real(double value);
  Value real(float value);
  Value date(double secondsSince2001);
  Value data(std::string_view bytes);
  /// Valid UTF-8.
  Value text(std::string_view utf8);
  Value text(const StringBody& text);
  /// A UID as it stands in a list, of any value. Those of an archive, which are numbered from 0 on, are made by
  /// `PropertyListValue::uid` and cost nothing.
  Value sparseUID(std::uint64_t value);

  // ---- containers: the values are copied ----
  Value array(const Value* values, std::size_t count) { return container(kArray, values, nullptr, count); }
  Value set(const Value* values, std::size_t count) { return container(kSet, values, nullptr, count); }
  Value dictionary(const Value* keys, const Value* values, std::size_t count) {
    return container(kDictionary, keys, values, count);
  }

  /// The whole file. `uids`: how many UIDs of an archive there are. The writer is of no use afterwards.
  NSData finish(Value top, std::uint32_t uids = 0);

 private:
  enum Marker : std::uint8_t { kArray = 0xA0, kSet = 0xC0, kDictionary = 0xD0 };
  struct Slot {
    std::uint32_t hash;
    std::uint32_t number;
  };
  struct Spare;
  static constexpr std::uint32_t kNone = UINT32_MAX;
  static constexpr std::size_t kSlack = 16;

  std::size_t size() const noexcept { return static_cast<std::size_t>(p_ - begin_); }
  void reserve(std::size_t count) {
    if (static_cast<std::size_t>(end_ - p_) < count) [[unlikely]]
      grow(count);
  }
  void grow(std::size_t count);
  Value ascii(std::string_view text);
  Value utf8(std::string_view text);
  std::uint32_t hashOf(const std::uint8_t* bytes, std::size_t size) const noexcept;
  Value close(std::size_t start);
  void growIndex();
  void takeSpare() noexcept;
  void leaveSpare() noexcept;
  Value container(Marker marker, const Value* first, const Value* second, std::size_t count);
  template <class Reference>
  static void writeReferences(std::uint8_t* out, const std::uint8_t* in, std::size_t count, std::uint32_t firstUID,
                              std::uint32_t firstContainer) noexcept;
  template <class Reference>
  std::uint8_t* writeObjects(std::uint8_t* out, std::uint32_t firstUID, std::uint32_t firstContainer);

  std::uint8_t* begin_ = nullptr;
  std::uint8_t* p_ = nullptr;
  std::uint8_t* end_ = nullptr;            // kSlack bytes behind it may be read
  std::vector<std::uint64_t> scalars_;     // where each begins
  std::vector<std::uint64_t> containers_;  // likewise
  std::uint64_t heads_ = 0;                // bytes of the containers' final heads
  std::uint64_t references_ = 0;           // in all containers
  std::vector<Slot> index_;                // of scalars by hash, open addressing
  std::uint64_t seed_;
  std::uint32_t smallIntegers_[256];
  std::uint32_t booleans_[2];
};

}  // namespace kvt
