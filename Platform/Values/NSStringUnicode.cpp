#include "NSStringUnicode.h"

#include <simdjson.h>

namespace kvt::unicode {

bool isUTF8(const char* text, std::size_t size) noexcept { return simdjson::validate_utf8(text, size); }

std::size_t utf16Length(const char* text, std::size_t size) noexcept {
  // Every byte but a continuation starts a character; four-byte forms make two units. Counted in blocks whose counters
  // fit a byte, so that the compiler keeps them in vectors of bytes.
  std::size_t units = 0;
  std::size_t i = 0;
  while (i < size) {
    const std::size_t end = size - i < 126 ? size : i + 126;
    std::uint8_t block = 0;
    for (; i < end; ++i) {
      const auto byte = static_cast<std::int8_t>(text[i]);
      block = static_cast<std::uint8_t>(block + (byte > -65) + (static_cast<std::uint8_t>(text[i]) >= 0xF0));
    }
    units += block;
  }
  return units;
}

std::size_t utf8Length(const char16_t* text, std::size_t size, bool* isWellFormed) noexcept {
  std::size_t bytes = 0;
  bool wellFormed = true;
  for (std::size_t i = 0; i < size;) {
    const char32_t c = next(text, size, i);
    if (isSurrogate(c)) wellFormed = false;
    bytes += c < 0x80 ? 1u : c < 0x800 ? 2u : c < 0x10000 ? 3u : 4u;
  }
  if (isWellFormed != nullptr) *isWellFormed = wellFormed;
  return bytes;
}

void toUTF16(const char* text, std::size_t size, char16_t* result) noexcept {
  std::size_t i = 0;
  while (i < size) {
    if (i + 8 <= size && isASCII(text + i, 8)) {
      for (std::size_t k = 0; k < 8; ++k) result[k] = static_cast<std::uint8_t>(text[i + k]);
      i += 8;
      result += 8;
      continue;
    }
    const char32_t c = next(text, i);
    if (c < 0x10000) {
      *result++ = static_cast<char16_t>(c);
    } else {
      *result++ = static_cast<char16_t>(0xD7C0 + (c >> 10));
      *result++ = static_cast<char16_t>(0xDC00 + (c & 0x3FF));
    }
  }
}

std::size_t encode(char32_t c, char* result) noexcept {
  const auto put = [&](std::size_t k, char32_t byte) {
    result[k] = static_cast<char>(static_cast<std::uint8_t>(byte));
  };
  if (c < 0x80) return put(0, c), 1;
  if (c < 0x800) return put(0, 0xC0 | (c >> 6)), put(1, 0x80 | (c & 0x3F)), 2;
  if (c < 0x10000) {
    put(0, 0xE0 | (c >> 12)), put(1, 0x80 | ((c >> 6) & 0x3F)), put(2, 0x80 | (c & 0x3F));
    return 3;
  }
  put(0, 0xF0 | (c >> 18)), put(1, 0x80 | ((c >> 12) & 0x3F)), put(2, 0x80 | ((c >> 6) & 0x3F)),
      put(3, 0x80 | (c & 0x3F));
  return 4;
}

void toUTF8(const char16_t* text, std::size_t size, char* result) noexcept {
  for (std::size_t i = 0; i < size;) {
    const char32_t c = next(text, size, i);
    result += encode(isSurrogate(c) ? kReplacement : c, result);
  }
}

std::size_t byteOffset(const char* text, std::size_t size, std::size_t index) noexcept {
  std::size_t units = 0;
  std::size_t i = 0;
  while (i + 64 <= size) {
    const std::size_t block = utf16Length(text + i, 64);
    if (units + block > index) break;
    units += block;
    i += 64;
  }
  // A block may have ended within a character: its continuation bytes count for nothing.
  while (i < size && (static_cast<std::uint8_t>(text[i]) & 0xC0) == 0x80) ++i;
  while (i < size) {
    std::size_t after = i;
    units += next(text, after) >= 0x10000 ? 2 : 1;
    if (units > index) break;
    i = after;
  }
  return i;
}

std::string toUTF8(std::u16string_view text) {
  std::string result(utf8Length(text.data(), text.size(), nullptr), '\0');
  toUTF8(text.data(), text.size(), result.data());
  return result;
}

std::u16string toUTF16(std::string_view text) {
  std::u16string result(utf16Length(text.data(), text.size()), u'\0');
  toUTF16(text.data(), text.size(), result.data());
  return result;
}

}  // namespace kvt::unicode
