#include "Text.h"

#include <cmath>
#include <cstdio>

namespace kvt::tool {
namespace {

constexpr char32_t kBadByte = 0xDC00;

struct Range {
  char32_t first, last;
};

// The few blocks that matter: a table of every character would be as long as this program.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x2614, 0x2615},   {0x26A1, 0x26A1},
    {0x2705, 0x2705},   {0x274C, 0x274C},   {0x2753, 0x2757},   {0x2795, 0x2797},   {0x2E80, 0x303E},
    {0x3041, 0x3098},   {0x309B, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97F},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F900, 0x1F9FF}, {0x1FA70, 0x1FAFF}, {0x20000, 0x3FFFD}};
constexpr Range kCombining[] = {{0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},   {0x064B, 0x065F},
                                {0x0E31, 0x0E31}, {0x0E34, 0x0E3A}, {0x0E47, 0x0E4E},   {0x1AB0, 0x1AFF},
                                {0x1DC0, 0x1DFF}, {0x200B, 0x200D}, {0x20D0, 0x20FF},   {0x3099, 0x309A},
                                {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF}, {0x1F3FB, 0x1F3FF}};
// C0 and C1 controls, direction marks and overrides, line and paragraph separators, the byte order mark, tags.
constexpr Range kUnprintable[] = {{0x00, 0x1F},     {0x7F, 0x9F},      {0x061C, 0x061C}, {0x200E, 0x200F},
                                  {0x2028, 0x202E}, {0x2066, 0x2069},  {0xD800, 0xDFFF}, {0xFEFF, 0xFEFF},
                                  {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F}};

template <std::size_t N>
bool isIn(const Range (&ranges)[N], char32_t c) noexcept {
  for (const Range& range : ranges) {
    if (c >= range.first && c <= range.last) return true;
  }
  return false;
}

std::size_t widthOf(char32_t c) noexcept {
  if (c < 0x300) return 1;
  return isIn(kCombining, c) ? 0 : isIn(kWide, c) ? 2 : 1;
}

std::string formatted(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

/// Three significant digits, fewer decimals the larger the number is.
std::string threeDigits(double value) {
  return formatted(value >= 99.95 ? "%.0f" : value >= 9.995 ? "%.1f" : "%.2f", value);
}

}  // namespace

char32_t nextCodePoint(std::string_view& utf8) noexcept {
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(utf8[i]); };
  const unsigned char lead = byteAt(0);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  char32_t c = length == 1 ? lead : lead & (0x7Fu >> length);
  bool good = length != 0 && length <= utf8.size();
  for (std::size_t i = 1; good && i < length; ++i) {
    good = (byteAt(i) & 0xC0) == 0x80;
    c = c << 6 | (byteAt(i) & 0x3Fu);
  }
  // Overlong forms, surrogates and what lies beyond Unicode.
  if (good && ((length == 3 && (c < 0x800 || (c >= 0xD800 && c <= 0xDFFF))) ||
               (length == 4 && (c < 0x10000 || c > 0x10FFFF)))) {
    good = false;
  }
  utf8.remove_prefix(good ? length : 1);
  return good ? c : kBadByte + lead;
}

std::string printable(std::string_view utf8, bool keepNewlines) {
  std::string result;
  result.reserve(utf8.size());
  while (!utf8.empty()) {
    const std::string_view before = utf8;
    const char32_t c = nextCodePoint(utf8);
    if ((c == '\n' && keepNewlines) || !isIn(kUnprintable, c)) {
      result += before.substr(0, before.size() - utf8.size());
      continue;
    }
    char escaped[16];
    switch (c) {
      case '\n': result += "\\n"; continue;
      case '\r': result += "\\r"; continue;
      case '\t': result += "\\t"; continue;
      default: break;
    }
    if (c >= kBadByte && c <= kBadByte + 0xFF)
      std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(c - kBadByte));
    else
      std::snprintf(escaped, sizeof escaped, c > 0xFFFF ? "\\U%08x" : "\\u%04x", static_cast<unsigned>(c));
    result += escaped;
  }
  return result;
}

std::size_t displayWidth(std::string_view utf8) noexcept {
  std::size_t width = 0;
  while (!utf8.empty()) width += widthOf(nextCodePoint(utf8));
  return width;
}

std::string fitted(std::string_view utf8, std::size_t width) {
  std::size_t used = 0, cut = 0;
  for (std::string_view rest = utf8; !rest.empty();) {
    const std::size_t start = utf8.size() - rest.size();
    used += widthOf(nextCodePoint(rest));
    if (used + 1 <= width) cut = utf8.size() - rest.size();
    if (used > width) return std::string(utf8.substr(0, cut == 0 ? start : cut)) + "…";
  }
  return std::string(utf8);
}

std::string padded(std::string_view utf8, std::size_t width) {
  const std::size_t own = displayWidth(utf8);
  return std::string(utf8) + std::string(own < width ? width - own : 0, ' ');
}

std::string paddedLeft(std::string_view utf8, std::size_t width) {
  const std::size_t own = displayWidth(utf8);
  return std::string(own < width ? width - own : 0, ' ') + std::string(utf8);
}

std::string grouped(std::uint64_t number) {
  std::string digits = std::to_string(number);
  for (std::size_t i = digits.size(); i > 3;) digits.insert(i -= 3, ",");
  return digits;
}

std::string counted(std::uint64_t number, std::string_view singular, std::string_view plural) {
  return grouped(number) + " " + std::string(number == 1 ? singular : plural);
}

std::string byteCount(std::uint64_t bytes) {
  const auto value = static_cast<double>(bytes);
  if (bytes < 1000) return counted(bytes, "byte", "bytes");
  if (bytes < 999'500) return threeDigits(value / 1e3) + " kB";
  return bytes < 999'500'000 ? threeDigits(value / 1e6) + " MB" : threeDigits(value / 1e9) + " GB";
}

std::string duration(double seconds) {
  if (seconds < 0.9995e-3) return threeDigits(seconds * 1e6) + " µs";
  return seconds < 0.9995 ? threeDigits(seconds * 1e3) + " ms" : threeDigits(seconds) + " s";
}

std::string magnitude(double number) {
  if (number < 999.5) return threeDigits(number);
  return number < 999'500 ? threeDigits(number / 1e3) + " thousand" : threeDigits(number / 1e6) + " million";
}

}  // namespace kvt::tool
