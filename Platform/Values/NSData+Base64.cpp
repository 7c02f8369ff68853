// Base64 as RFC 4648 has it, with padding.
#include <array>
#include <cstring>

#include "NSData.h"
#include "NSDataBody.h"
#include "NSString.h"
#include "NSStringBody.h"

namespace kvt {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t kUnknown = 0xFF;

constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> values{};
  for (auto& value : values) value = kUnknown;
  for (std::uint8_t i = 0; i < 64; ++i) values[static_cast<std::uint8_t>(kAlphabet[i])] = i;
  return values;
}();

struct Lines {
  std::size_t length = 0;  // 0: one line
  std::string_view end;
};

Lines linesFrom(NSUInteger options) noexcept {
  Lines lines;
  if ((options & NSDataBase64Encoding64CharacterLineLength) != 0)
    lines.length = 64;
  else if ((options & NSDataBase64Encoding76CharacterLineLength) != 0)
    lines.length = 76;
  const bool cr = (options & NSDataBase64EncodingEndLineWithCarriageReturn) != 0;
  const bool lf = (options & NSDataBase64EncodingEndLineWithLineFeed) != 0;
  lines.end = cr == lf ? "\r\n" : cr ? "\r" : "\n";
  return lines;
}

std::size_t encodedSize(std::size_t length, const Lines& lines) noexcept {
  const std::size_t characters = (length + 2) / 3 * 4;
  if (lines.length == 0 || characters == 0) return characters;
  return characters + (characters - 1) / lines.length * lines.end.size();
}

/// Both line lengths are multiples of four, so that a line ends between two groups.
void encode(std::string_view bytes, const Lines& lines, char* out) noexcept {
  const auto* in = reinterpret_cast<const std::uint8_t*>(bytes.data());
  std::size_t rest = bytes.size();
  std::size_t column = 0;
  while (rest > 0) {
    if (lines.length != 0 && column == lines.length) {
      std::memcpy(out, lines.end.data(), lines.end.size());
      out += lines.end.size();
      column = 0;
    }
    const std::uint32_t group = static_cast<std::uint32_t>(in[0]) << 16 |
                                (rest > 1 ? static_cast<std::uint32_t>(in[1]) << 8 : 0) | (rest > 2 ? in[2] : 0U);
    out[0] = kAlphabet[group >> 18];
    out[1] = kAlphabet[group >> 12 & 63];
    out[2] = rest > 1 ? kAlphabet[group >> 6 & 63] : '=';
    out[3] = rest > 2 ? kAlphabet[group & 63] : '=';
    out += 4;
    column += 4;
    const std::size_t used = rest < 3 ? rest : 3;
    in += used;
    rest -= used;
  }
}

NSData decode(std::string_view text, bool ignoreUnknown) {
  DataBody* body = DataBody::create(kDataKind, text.size() / 4 * 3 + 3);
  NSData data(adopt, body);
  std::size_t length = 0;
  std::uint32_t group = 0;
  int inGroup = 0, padding = 0;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (c == '=') {
      // Padding closes the last group and nothing else.
      if (inGroup < 2 || ++padding > 4 - inGroup) return {};
      continue;
    }
    if (kValues[byte] == kUnknown) {
      if (!ignoreUnknown) return {};
      continue;
    }
    if (padding != 0) return {};
    group = group << 6 | kValues[byte];
    if (++inGroup < 4) continue;
    body->bytes[length++] = static_cast<std::uint8_t>(group >> 16);
    body->bytes[length++] = static_cast<std::uint8_t>(group >> 8);
    body->bytes[length++] = static_cast<std::uint8_t>(group);
    group = 0;
    inGroup = 0;
  }
  if (inGroup != 0) {
    if (inGroup + padding != 4) return {};
    // Two characters carry one byte, three carry two; what is left of the last one is not looked at.
    group <<= 6 * padding;
    body->bytes[length++] = static_cast<std::uint8_t>(group >> 16);
    if (inGroup == 3) body->bytes[length++] = static_cast<std::uint8_t>(group >> 8);
  }
  body->length = length;
  return data;
}

}  // namespace

NSString NSData::base64EncodedStringWithOptions(NSUInteger options) const {
  if (!*this) return {};
  const Lines lines = linesFrom(options);
  const std::size_t size = encodedSize(length(), lines);
  StringBody* body = StringBody::createUninitialized(size, true);
  encode(view(), lines, body->bytes());
  body->finish(size, true);
  return NSString(adopt, body);
}

NSData NSData::base64EncodedDataWithOptions(NSUInteger options) const {
  if (!*this) return {};
  const Lines lines = linesFrom(options);
  DataBody* body = DataBody::create(kDataKind, encodedSize(length(), lines));
  encode(view(), lines, reinterpret_cast<char*>(body->bytes));
  return NSData(adopt, body);
}

NSData NSData::dataWithBase64EncodedString_options(const NSString& text, NSUInteger options) {
  if (!text) return {};
  return decode(text.str(), (options & NSDataBase64DecodingIgnoreUnknownCharacters) != 0);
}

NSData NSData::dataWithBase64EncodedData_options(const NSData& text, NSUInteger options) {
  if (!text) return {};
  return decode(text.view(), (options & NSDataBase64DecodingIgnoreUnknownCharacters) != 0);
}

}  // namespace kvt
