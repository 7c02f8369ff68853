// Appends JSON text to a buffer that grows; not installed. It writes tokens; commas, colons and layout are its
// caller's.
//
//     JSONWriter out;
//     out.raw("{\"name\":");
//     out.string(name.utf8());
//     out.raw("}");
//     NSString text(adopt, StringBody::createFromUTF8(out.text()));
//
// Growing doubles the buffer, so a whole text costs O(its length). Running out of memory throws std::bad_alloc.
// Thread rule: a writer belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

class KVT_EXPORT JSONWriter {
 public:
  enum Slashes : std::uint8_t { kEscapeSlashes, kPlainSlashes };

  /// `expectedSize` saves growing steps and limits nothing.
  explicit JSONWriter(std::size_t expectedSize = 0, Slashes slashes = kEscapeSlashes);
  void setSlashes(Slashes slashes) noexcept { slashes_ = slashes; }
  ~JSONWriter() { std::free(begin_); }
  JSONWriter(const JSONWriter&) = delete;
  JSONWriter& operator=(const JSONWriter&) = delete;

  /// What was written so far; valid until more is.
  std::string_view text() const noexcept { return {begin_, size()}; }
  std::size_t size() const noexcept { return static_cast<std::size_t>(p_ - begin_); }
  void clear() noexcept { p_ = begin_; }

  /// Hands the buffer over (to be freed with `free`), cut where much of it would be wasted, and says how large it is
  /// then; the writer is empty afterwards.
  struct Free {
    void operator()(char* bytes) const noexcept { std::free(bytes); }
  };
  std::unique_ptr<char, Free> detach(std::size_t& capacity) noexcept;

  /// Text that is JSON already.
  void raw(std::string_view json) {
    if (json.empty()) return;
    reserve(json.size());
    std::memcpy(p_, json.data(), json.size());
    p_ += json.size();
  }
  /// The same for what is short and lies in blocks of sixteen bytes, all of which may be read.
  void token(const char* json, std::size_t count) {
    reserve(count + 16);
    for (std::size_t at = 0; at < count; at += 16) std::memcpy(p_ + at, json + at, 16);
    p_ += count;
  }
  /// For callers that write by themselves: where to, with room for `count` bytes …
  char* room(std::size_t count) {
    reserve(count);
    return p_;
  }
  /// … which is still there behind `place` …
  bool hasRoom(const char* place, std::size_t count) const noexcept {
    return static_cast<std::size_t>(end_ - place) >= count;
  }
  /// … and how far they came.
  void wrote(char* end) noexcept { p_ = end; }
  /// Digits of a whole number; behind `out` there must be room for 32 bytes.
  static char* putUnsigned(char* out, std::uint64_t value) noexcept;
  static char* putInteger(char* out, std::int64_t value) noexcept {
    *out = '-';
    return putUnsigned(out + (value < 0 ? 1 : 0),
                       value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value));
  }
  /// Changes what was written before.
  void set(std::size_t index, char c) noexcept { begin_[index] = c; }
  void character(char c) {
    reserve(1);
    *p_++ = c;
  }
  /// That many spaces.
  void spaces(std::size_t count) {
    reserve(count);
    std::memset(p_, ' ', count);
    p_ += count;
  }

  /// In quotes, escaped: `"`, `\`, `/` (unless left plain), and what is below U+0020. `utf8` must be valid UTF-8.
  void string(std::string_view utf8);
  /// The rest of a string of which the quote and what comes before `rest` are written.
  void stringRest(std::string_view rest) { writeRest<false>(rest); }
  /// The same where another sixteen bytes may be read behind it.
  void paddedStringRest(std::string_view rest) { writeRest<true>(rest); }
  void integer(std::int64_t value) { wrote(putInteger(room(32), value)); }
  void unsignedInteger(std::uint64_t value) { wrote(putUnsigned(room(32), value)); }
  /// The shortest digits that read back as the same double; a whole one below 10^17 without fraction and exponent. NO
  /// for an infinite one and for NaN, of which nothing is written.
  bool real(double value);
  void boolean(bool value) { raw(value ? "true" : "false"); }
  void null() { raw("null"); }

 private:
  void reserve(std::size_t count) {
    if (static_cast<std::size_t>(end_ - p_) < count) [[unlikely]]
      grow(count);
  }
  void grow(std::size_t count);
  template <bool isPadded>
  void writeRest(std::string_view rest);

  char* begin_ = nullptr;
  char* p_ = nullptr;
  char* end_ = nullptr;
  Slashes slashes_;
};

namespace json {

inline constexpr char kTwoDigits[] =
    "000102030405060708091011121314151617181920212223242526272829303132333435363738394041424344454647484950515253545556"
    "57"
    "585960616263646566676869707172737475767778798081828384858687888990919293949596979899";

/// Four digits, zeros in front included.
inline void putFour(char* out, unsigned value) noexcept {
  std::memcpy(out, kTwoDigits + value / 100 * 2, 2);
  std::memcpy(out + 2, kTwoDigits + value % 100 * 2, 2);
}
/// At most four digits, without zeros in front.
inline char* putUpToFour(char* out, unsigned value) noexcept {
  if (value < 100) {
    if (value < 10) {
      *out = static_cast<char>('0' + value);
      return out + 1;
    }
    std::memcpy(out, kTwoDigits + value * 2, 2);
    return out + 2;
  }
  char digits[4];
  putFour(digits, value);
  const unsigned skipped = value < 1000 ? 1 : 0;
  std::memcpy(out, digits + skipped, 3);
  out[3] = digits[3];  // overwritten by what follows, where there are three
  return out + 4 - skipped;
}

}  // namespace json

inline char* JSONWriter::putUnsigned(char* out, std::uint64_t value) noexcept {
  constexpr std::uint64_t kEight = 100'000'000;
  if (value < 10'000) return json::putUpToFour(out, static_cast<unsigned>(value));
  if (value < kEight) {
    const auto number = static_cast<unsigned>(value);
    out = json::putUpToFour(out, number / 10'000);
    json::putFour(out, number % 10'000);
    return out + 4;
  }
  out = putUnsigned(out, value / kEight);
  const auto rest = static_cast<unsigned>(value % kEight);
  json::putFour(out, rest / 10'000);
  json::putFour(out + 4, rest % 10'000);
  return out + 8;
}

}  // namespace kvt
