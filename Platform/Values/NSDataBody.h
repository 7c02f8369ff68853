// The body of immutable and mutable data; not installed.
//
//     DataBody* body = DataBody::create(kDataKind, 4096);     // uninitialised bytes
//     body->length = read(fd, body->bytes, body->capacity);
//     NSData data(adopt, body);
#pragma once

#include <cstddef>
#include <cstdint>

#include "Kinds.h"
#include "NSData.h"

namespace kvt {

struct KVT_EXPORT DataBody final : Object {
  /// `length` uninitialised bytes. Raises NSMallocException when there is no memory for them.
  static DataBody* create(ValueKind kind, std::size_t length);
  static DataBody* create(ValueKind kind, const void* bytes, std::size_t length);
  /// The object's body; null when it is no data.
  static const DataBody* of(const Object* object) noexcept {
    return isKindBetween(object, kDataKind, kMutableDataKind) ? static_cast<const DataBody*>(object) : nullptr;
  }

  ~DataBody() override;

  /// Room for that many bytes; grows by half at least, so that appending is cheap. False when there is no memory.
  bool tryReserve(std::size_t needed) noexcept;
  /// The same, but raises NSMallocException.
  void reserve(std::size_t needed);
  /// New bytes are not initialised.
  void resize(std::size_t newLength) {
    reserve(newLength);
    length = newLength;
  }

  std::uint8_t* bytes = nullptr;  // from malloc
  std::size_t length = 0;
  std::size_t capacity = 0;

 private:
  explicit DataBody(ValueKind kind) noexcept;
};

}  // namespace kvt
