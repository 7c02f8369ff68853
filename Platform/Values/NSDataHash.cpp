#include "NSDataHash.h"

#include <sys/auxv.h>

#include <cstring>

namespace kvt {
namespace {

std::uint64_t load(const std::uint8_t* bytes, std::size_t count) noexcept {
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, count);
  return word;
}

std::uint64_t seed() noexcept {
  static const std::uint64_t value = [] {
    std::uint64_t random = 0;
    if (const auto* bytes = reinterpret_cast<const std::uint8_t*>(getauxval(AT_RANDOM))) random = load(bytes + 8, 8);
    return random ^ 0x9E3779B97F4A7C15U;
  }();
  return value;
}

std::uint64_t fold(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

}  // namespace

std::uint64_t hashOfBytes(const void* data, std::size_t size) noexcept {
  constexpr std::uint64_t kFirst = 0xA0761D6478BD642FU, kSecond = 0xE7037ED1A0B428DBU;
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  std::uint64_t state = seed() ^ size;
  std::size_t rest = size;
  for (; rest >= 16; bytes += 16, rest -= 16) state = fold(load(bytes, 8) ^ kFirst, load(bytes + 8, 8) ^ state);
  const std::size_t half = rest < 8 ? rest : 8;
  const std::uint64_t first = half != 0 ? load(bytes, half) : 0;
  const std::uint64_t second = rest > half ? load(bytes + half, rest - half) : 0;
  return fold(fold(first ^ kFirst, second ^ state), kSecond ^ rest);
}

}  // namespace kvt
