#include "JSONWriter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <new>

#include "JSONReader.h"

namespace kvt {
namespace {

/// How a character below 0x80 is written: 0 as it is, 'u' as \u00xx, else a backslash and this letter.
constexpr std::array<char, 128> kEscapes = [] {
  std::array<char, 128> escapes{};
  for (std::size_t c = 0; c < 0x20; ++c) escapes[c] = 'u';
  escapes['\b'] = 'b';
  escapes['\f'] = 'f';
  escapes['\n'] = 'n';
  escapes['\r'] = 'r';
  escapes['\t'] = 't';
  escapes['"'] = '"';
  escapes['\\'] = '\\';
  escapes['/'] = '/';
  return escapes;
}();

constexpr std::size_t kBlock = static_cast<std::size_t>(json::Block::kSize);
constexpr std::size_t kEscapeSize = 6;  // \u00xx

}  // namespace

JSONWriter::JSONWriter(std::size_t expectedSize, Slashes slashes) : slashes_(slashes) {
  if (expectedSize != 0) grow(expectedSize);
}

void JSONWriter::grow(std::size_t count) {
  const std::size_t used = size();
  const std::size_t capacity = std::max({used + count, 2 * static_cast<std::size_t>(end_ - begin_), std::size_t{256}});
  auto* larger = static_cast<char*>(std::realloc(begin_, capacity));
  if (larger == nullptr) throw std::bad_alloc();
  begin_ = larger;
  p_ = larger + used;
  end_ = larger + capacity;
}

std::unique_ptr<char, JSONWriter::Free> JSONWriter::detach(std::size_t& capacity) noexcept {
  char* bytes = begin_;
  capacity = static_cast<std::size_t>(end_ - begin_);
  const std::size_t used = size();
  if (used != 0 && capacity - used > used / 4 + 256) {
    if (void* exact = std::realloc(bytes, used)) {
      bytes = static_cast<char*>(exact);
      capacity = used;
    }
  }
  begin_ = p_ = end_ = nullptr;
  return std::unique_ptr<char, Free>(bytes);
}

void JSONWriter::string(std::string_view utf8) {
  character('"');
  stringRest(utf8);
}

template <bool isPadded>
void JSONWriter::writeRest(std::string_view utf8) {
  const char* p = utf8.data();
  const char* const end = p + utf8.size();
  // Room for all of it where no escape is longer than two characters; one that is asks anew. Blocks are stored whole.
  constexpr std::size_t kRoom = 2 + kBlock + kEscapeSize;
  reserve(2 * utf8.size() + kRoom);
  const unsigned slashes = slashes_ == kEscapeSlashes ? UINT_MAX : 0;
  char* out = p_;
  // NO where it took so much room that more must be asked for.
  const auto escape = [&] {
    const char letter = kEscapes[static_cast<unsigned char>(*p)];
    out[0] = '\\';
    out[1] = letter;
    out += 2;
    if (letter == 'u') [[unlikely]] {
      static constexpr char kHex[] = "0123456789abcdef";
      out[0] = out[1] = '0';
      out[2] = kHex[*p >> 4];
      out[3] = kHex[*p & 15];
      out += 4;
    }
    ++p;
    return letter != 'u';
  };
  const auto askForMore = [&] {
    p_ = out;
    reserve(2 * static_cast<std::size_t>(end - p) + kRoom);
    out = p_;
  };
  // A block's special characters one after the other: behind each, what is left of the block is stored anew.
  while (isPadded ? p < end : end - p >= static_cast<std::ptrdiff_t>(2 * kBlock)) {
    const std::size_t count = std::min(static_cast<std::size_t>(end - p), kBlock);
    const char* const blockEnd = p + count;
    const json::Block block(p);
    block.store(out);
    unsigned special = (block.special() | (block.equalTo('/') & slashes)) & ((1u << count) - 1);
    while (special != 0) {
      const int plain = __builtin_ctz(special);
      p += plain;
      out += plain;
      if (!escape()) [[unlikely]]
        askForMore();
      special >>= plain;
      special >>= 1;
      json::Block(p).store(out);
    }
    out += blockEnd - p;
    p = blockEnd;
  }
  while (p != end) {
    const std::size_t count = std::min(static_cast<std::size_t>(end - p), kBlock);
    const json::Block block = count == kBlock ? json::Block(p) : json::Block(p, count);
    block.store(out);
    // What lies behind a tail ends it as a special character would.
    const unsigned special = (block.special() | (block.equalTo('/') & slashes)) | 1u << count;
    const int plain = __builtin_ctz(special);
    p += plain;
    out += plain;
    if (plain == static_cast<int>(count)) continue;
    if (!escape()) [[unlikely]]
      askForMore();
  }
  *out++ = '"';
  p_ = out;
}
template void JSONWriter::writeRest<false>(std::string_view);
template void JSONWriter::writeRest<true>(std::string_view);

bool JSONWriter::real(double value) {
  if (!std::isfinite(value)) return false;
  const double magnitude = std::fabs(value);
  if (magnitude < 1e17 && magnitude == std::trunc(magnitude)) {
    if (std::signbit(value)) character('-');
    unsignedInteger(static_cast<std::uint64_t>(magnitude));
    return true;
  }
  reserve(64);
  // Most numbers that people write have few decimals. Of at most fifteen digits, the text that names a double is the
  // only one so short.
  constexpr double kScale = 1e6;
  const double scaled = magnitude * kScale;
  if (magnitude >= 1e-4 && scaled < 1e15) {
    const auto digits = static_cast<std::uint64_t>(scaled + 0.5);
    if (static_cast<double>(digits) / kScale == magnitude) {
      char* out = p_;
      *out = '-';
      out = putUnsigned(out + (std::signbit(value) ? 1 : 0), digits / 1'000'000);
      *out = '.';
      const auto fraction = static_cast<unsigned>(digits % 1'000'000);
      json::putFour(out + 1, fraction / 100);
      std::memcpy(out + 5, json::kTwoDigits + fraction % 100 * 2, 2);
      out += 7;
      while (out[-1] == '0') --out;
      p_ = out;
      return true;
    }
  }
  const auto format = magnitude >= 1e-4 && magnitude < 1e17 ? std::chars_format::fixed : std::chars_format::scientific;
  p_ = std::to_chars(p_, end_, value, format).ptr;
  return true;
}

}  // namespace kvt
