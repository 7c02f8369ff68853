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

  /// Hands the buffer over (to be freed with `free`), cut to its size; the writer is empty afterwards.
  struct Free {
    void operator()(char* bytes) const noexcept { std::free(bytes); }
  };
  std::unique_ptr<char, Free> detach(std::size_t& size) noexcept;

  /// Text that is JSON already.
  void raw(std::string_view json) {
    if (json.empty()) return;
    reserve(json.size());
    std::memcpy(p_, json.data(), json.size());
    p_ += json.size();
  }
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
  void integer(std::int64_t value);
  void unsignedInteger(std::uint64_t value);
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

  char* begin_ = nullptr;
  char* p_ = nullptr;
  char* end_ = nullptr;
  Slashes slashes_;
};

}  // namespace kvt
