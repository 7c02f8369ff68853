// Conversions between UTF-8 and UTF-16 that every string operation stands on; not installed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace kvt::unicode {

inline constexpr char32_t kReplacement = 0xFFFD;

constexpr bool isHighSurrogate(char32_t c) noexcept { return (c & 0xFFFFFC00) == 0xD800; }
constexpr bool isLowSurrogate(char32_t c) noexcept { return (c & 0xFFFFFC00) == 0xDC00; }
constexpr bool isSurrogate(char32_t c) noexcept { return (c & 0xFFFFF800) == 0xD800; }
constexpr char32_t combine(char16_t high, char16_t low) noexcept {
  return 0x10000 + ((static_cast<char32_t>(high) - 0xD800) << 10) + (static_cast<char32_t>(low) - 0xDC00);
}

inline bool isASCII(const char* text, std::size_t size) noexcept {
  constexpr std::uint64_t kHighBits = 0x8080808080808080u;
  const auto word = [text](std::size_t at) {
    std::uint64_t bytes;
    std::memcpy(&bytes, text + at, 8);
    return bytes;
  };
  std::size_t i = 0;
  for (; i + 64 <= size; i += 64) {
    std::uint64_t bits = 0;
    for (std::size_t k = 0; k < 64; k += 8) bits |= word(i + k);
    if ((bits & kHighBits) != 0) return false;
  }
  std::uint64_t bits = 0;
  for (; i + 8 <= size; i += 8) bits |= word(i);
  for (; i < size; ++i) bits |= static_cast<std::uint8_t>(text[i]);
  return (bits & kHighBits) == 0;
}
inline bool isASCII(const char16_t* text, std::size_t size) noexcept {
  char16_t bits = 0;
  for (std::size_t i = 0; i < size; ++i) bits = static_cast<char16_t>(bits | text[i]);
  return bits < 0x80;
}

/// Whether the bytes are UTF-8 (no surrogates, no overlong forms).
bool isUTF8(const char* text, std::size_t size) noexcept;
/// UTF-16 units of valid UTF-8. Vectorised: a fraction of a nanosecond a byte.
std::size_t utf16Length(const char* text, std::size_t size) noexcept;
/// Bytes of the text as UTF-8; `*isWellFormed` tells whether no surrogate stands alone (one that does counts as
/// U+FFFD).
std::size_t utf8Length(const char16_t* text, std::size_t size, bool* isWellFormed) noexcept;
/// Converts valid UTF-8; writes `utf16Length` units.
void toUTF16(const char* text, std::size_t size, char16_t* result) noexcept;
/// Writes `utf8Length` bytes; U+FFFD for a lone surrogate.
void toUTF8(const char16_t* text, std::size_t size, char* result) noexcept;
/// One code point as UTF-8; the number of bytes.
std::size_t encode(char32_t c, char* result) noexcept;
/// The byte at which the UTF-16 unit `index` of valid UTF-8 begins (the start of the pair for its second half).
std::size_t byteOffset(const char* text, std::size_t size, std::size_t index) noexcept;

std::string toUTF8(std::u16string_view text);
/// `text` is valid UTF-8.
std::u16string toUTF16(std::string_view text);

/// The code point at `i`, which moves behind it; a lone surrogate as itself.
inline char32_t next(const char16_t* text, std::size_t size, std::size_t& i) noexcept {
  const char16_t c = text[i++];
  if (isHighSurrogate(c) && i < size && isLowSurrogate(text[i])) return combine(c, text[i++]);
  return c;
}
/// The code point at `i` of valid UTF-8.
inline char32_t next(const char* text, std::size_t& i) noexcept {
  const auto at = [&](std::size_t k) { return static_cast<char32_t>(static_cast<std::uint8_t>(text[k])); };
  const char32_t c = at(i);
  if (c < 0x80) return i += 1, c;
  if (c < 0xE0) return i += 2, ((c & 0x1F) << 6) | (at(i - 1) & 0x3F);
  if (c < 0xF0) return i += 3, ((c & 0x0F) << 12) | ((at(i - 2) & 0x3F) << 6) | (at(i - 1) & 0x3F);
  return i += 4, ((c & 0x07) << 18) | ((at(i - 3) & 0x3F) << 12) | ((at(i - 2) & 0x3F) << 6) | (at(i - 1) & 0x3F);
}

}  // namespace kvt::unicode
