// Numbers as binary property lists have them; not installed.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>

namespace kvt {

/// From this machine's order to big-endian, and back.
template <class T>
T bigEndian(T value) noexcept {
  if constexpr (std::endian::native == std::endian::big || sizeof(T) == 1)
    return value;
  else if constexpr (sizeof(T) == 2)
    return __builtin_bswap16(value);
  else if constexpr (sizeof(T) == 4)
    return __builtin_bswap32(value);
  else
    return __builtin_bswap64(value);
}

template <class T>
T loadBigEndian(const char* bytes) noexcept {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return bigEndian(value);
}

}  // namespace kvt
