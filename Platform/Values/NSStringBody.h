// The body of immutable and mutable text; not installed.
//
// Text is UTF-8 behind the body, in the same allocation, NUL-terminated; ASCII (the common case) is flagged and needs
// nothing else. Other text carries a side record for its UTF-16 units, which are made when somebody first asks by index
// and are published atomically. Text that has no UTF-8 form (a surrogate stands alone) is kept as UTF-16.
//
//     StringBody* body = StringBody::createUninitialized(bound, false);   // a parser unescapes straight into it
//     char* end = unescape(input, body->bytes());
//     body->finish(end - body->bytes(), false);
//     NSString text(adopt, body);
//
// Mutable text has its characters in a buffer of its own, which grows by half. It starts as ASCII, becomes UTF-8 with
// the first other character, and UTF-16 once it is changed after somebody has asked by index: building stays free of
// conversions, editing by index needs no more than one.
#pragma once

#include <atomic>
#include <cstring>
#include <string_view>

#include <KVTPlatform/Runtime/ObjectMemory.h>

#include "Kinds.h"
#include "NSTypes.h"

namespace kvt {

struct KVT_EXPORT StringBody final : Object {
  enum class Form : std::uint8_t { kASCII, kUTF8, kUTF16 };

  /// The other representation: UTF-16 units of UTF-8 text, UTF-8 bytes of UTF-16 text.
  struct Side {
    static constexpr std::uint32_t kUnknown = UINT32_MAX;   // the size was not asked for yet
    static constexpr std::uint32_t kNone = UINT32_MAX - 1;  // UTF-16 text that has no UTF-8 form
    mutable std::atomic<void*> view{nullptr};
    mutable std::atomic<std::uint32_t> viewSize{kUnknown};
    std::uint32_t capacity = 0;  // of mutable text, in units of its form, the NUL excluded
  };
  /// Mutable text keeps its characters elsewhere.
  struct MutableSide : Side {
    void* buffer = nullptr;
  };

  /// The longest text, in bytes: what ICU can count. Longer text raises NSMallocException.
  static constexpr std::size_t kMaximumSize = INT32_MAX - 16;

  /// Copies valid UTF-8. `isASCII` must be right: it decides where the text lies.
  static StringBody* create(const char* utf8, std::size_t size, bool isASCII) {
    if (size > kMaximumSize) [[unlikely]]
      raiseTooLong();
    auto* memory = memory::allocatePadded(headerSize(isASCII) + size + 1);
    auto* body = ::new (memory) StringBody(immutableClass(), size, isASCII);
    char* const to = body->inlineBytes();
    copyBytes(to, utf8, size);
    to[size] = '\0';
    return body;
  }
  /// The same of a text behind which another sixteen bytes may be read, no longer than kMaximumSize.
  template <bool isASCII>
  static StringBody* createPadded(memory::Heap* heap, ClassBody* textClass, const char* utf8, std::size_t size) {
    // Whole grains behind the header: they hold the text, its NUL, and what is copied beyond.
    constexpr std::size_t header = headerSize(isASCII);
    static_assert(header % memory::kGrain == 0 && memory::kGrain == 16);
    if (size >= 256) [[unlikely]]
      return create(utf8, size, isASCII);
    auto* memory = memory::allocateFewGrains<header / memory::kGrain + 256 / memory::kGrain>(
        heap, header / memory::kGrain + size / memory::kGrain + 1);
    auto* body = ::new (memory) StringBody(textClass, size, isASCII);
    char* to = static_cast<char*>(memory) + header;
    std::size_t at = 0;
    do {
      std::memcpy(to + at, utf8 + at, 16);
      __asm__("" : "+r"(to));  // or compilers make the loop a call of memcpy
      at += 16;
    } while (at < size);
    to[size] = '\0';
    return body;
  }
  /// Room for `size` bytes of valid UTF-8, to be written to `bytes()` and closed by `finish`.
  static StringBody* createUninitialized(std::size_t size, bool isASCII);
  /// Cuts uninitialised text to what was written (at most what was asked for). A body made for any text may turn out
  /// ASCII; one made for ASCII must be.
  void finish(std::size_t size, bool isASCII) noexcept;
  /// Null when the text is no UTF-8.
  static StringBody* createFromUTF8(std::string_view text);
  static StringBody* createFromUTF16(std::u16string_view text);
  /// Mutable and empty.
  static StringBody* createMutable(std::size_t capacity = 0);
  static StringBody* createMutableCopy(const StringBody& other);
  static StringBody* createCopy(const StringBody& other);

  /// The object's body, null when it is no text.
  static const StringBody* of(const Object* object) noexcept {
    return isKindBetween(object, kStringKind, kMutableStringKind) ? static_cast<const StringBody*>(object) : nullptr;
  }

  bool isASCII() const noexcept { return form == Form::kASCII; }
  bool isMutable() const noexcept { return kindOf(this) == kMutableStringKind; }
  /// UTF-16 units.
  std::uint32_t length() const noexcept { return form == Form::kUTF8 ? lengthOfUTF8() : size; }
  /// NUL-terminated; null data for text that has no UTF-8 form. Valid while the body lives and is not changed.
  std::string_view utf8() const { return form == Form::kUTF16 ? utf8View() : std::string_view(bytes(), size); }
  /// The units of text that is not ASCII. Valid likewise.
  const char16_t* utf16() const { return form == Form::kUTF16 ? units() : utf16View(); }
  char16_t at(std::size_t index) const {
    return form == Form::kASCII ? static_cast<char16_t>(bytes()[index]) : utf16()[index];
  }
  /// The same for equal text, however it is kept; never 0.
  std::uint32_t hash() const;
  /// The hash that a text of these bytes has, for looking it up without making one. The bytes are valid UTF-8.
  static std::uint32_t hashOfUTF8(std::string_view text) noexcept;
  static bool equal(const StringBody& a, const StringBody& b);

  // ---- mutable text: nobody else uses it meanwhile ----
  void appendUTF8(const char* text, std::size_t count, bool ascii);
  void appendUTF16(const char16_t* text, std::size_t count);
  void append(const StringBody& other);
  /// Units `location` up to `location + length`, which must lie within the text.
  void replace(std::size_t location, std::size_t length, const StringBody& by);
  void clear() noexcept;

  /// The characters of ASCII and UTF-8 text, and of UTF-16 text. Behind those of immutable text another sixteen bytes
  /// may be read: `isPadded`.
  char* bytes() const noexcept { return static_cast<char*>(characters()); }
  char16_t* units() const noexcept { return static_cast<char16_t*>(characters()); }

  bool isPadded() const noexcept { return start != 0; }

  Form form;
  std::uint8_t start;  // of the characters, in bytes from the body's begin; 0 for those of mutable text
  mutable std::atomic<std::uint32_t> cachedHash{0};
  std::uint32_t size;  // bytes of ASCII and UTF-8, units of UTF-16

  ~StringBody();

  /// The class of immutable text.
  static ClassBody* immutableClass() noexcept {
    ClassBody* cls = knownClass.load(std::memory_order_relaxed);
    if (cls == nullptr) [[unlikely]]
      knownClass.store(cls = findClass(), std::memory_order_relaxed);
    return cls;
  }

 private:
  StringBody(ValueKind kind, Form form);
  /// Immutable text; the room behind it is filled by the caller.
  StringBody(ClassBody* textClass, std::size_t byteCount, bool isASCII) noexcept
      : Object(textClass, objectKind(kStringKind), PlainValue()),
        form(isASCII ? Form::kASCII : Form::kUTF8),
        start(static_cast<std::uint8_t>(headerSize(isASCII))),
        size(static_cast<std::uint32_t>(byteCount)) {
    if (!isASCII) ::new (static_cast<void*>(this + 1)) Side();
  }
  /// What lies in front of immutable text. ASCII text needs no side record.
  static constexpr std::size_t headerSize(bool isASCII) noexcept;
  bool hasSide() const noexcept { return start != headerSize(true); }
  char* inlineBytes() const noexcept { return reinterpret_cast<char*>(const_cast<StringBody*>(this)) + start; }
  void* characters() const noexcept { return start != 0 ? inlineBytes() : mutableSide().buffer; }
  [[noreturn]] static void raiseTooLong();
  static ClassBody* findClass() noexcept;
  static constinit std::atomic<ClassBody*> knownClass;

  /// What a parser cuts out is short as a rule, and calling memcpy costs more than copying it.
  static void copyBytes(char* to, const char* from, std::size_t count) noexcept {
    const auto move = [to, from]<class Word>(std::size_t at, Word word) {
      std::memcpy(&word, from + at, sizeof word);
      std::memcpy(to + at, &word, sizeof word);
    };
    struct Sixteen {
      std::uint64_t words[2];
    };
    if (count >= 16) {
      if (count > 256) {
        std::memcpy(to, from, count);
        return;
      }
      std::size_t at = 0;
      for (; at + 16 < count; at += 16) move(at, Sixteen{});
      move(count - 16, Sixteen{});
    } else if (count >= 8) {
      move(0, std::uint64_t{});
      move(count - 8, std::uint64_t{});
    } else if (count >= 4) {
      move(0, std::uint32_t{});
      move(count - 4, std::uint32_t{});
    } else if (count > 0) {
      to[0] = from[0];
      to[count / 2] = from[count / 2];
      to[count - 1] = from[count - 1];
    }
  }

  Side& side() const noexcept { return *reinterpret_cast<Side*>(const_cast<StringBody*>(this) + 1); }
  MutableSide& mutableSide() const noexcept { return static_cast<MutableSide&>(side()); }
  std::uint32_t lengthOfUTF8() const noexcept;
  std::string_view utf8View() const;
  const char16_t* utf16View() const;

  void dropView() noexcept;
  void reserve(std::size_t needed);
  void becomeUTF8() noexcept;
  void becomeUTF16();
  bool prefersUTF16() const noexcept;
};

static_assert(sizeof(StringBody) == 32, "short text shall fit one small allocation");

constexpr std::size_t StringBody::headerSize(bool isASCII) noexcept {
  return sizeof(StringBody) + (isASCII ? 0 : sizeof(Side));
}

/// The units of any text for the time of a call: the text's own where it keeps them, a conversion of ASCII otherwise.
class UTF16Text {
 public:
  explicit UTF16Text(const StringBody& body);
  ~UTF16Text() {
    if (data_ != inline_ && owned_) delete[] data_;
  }
  UTF16Text(const UTF16Text&) = delete;
  UTF16Text& operator=(const UTF16Text&) = delete;

  const char16_t* data() const noexcept { return data_; }
  std::size_t size() const noexcept { return size_; }
  char16_t operator[](std::size_t i) const noexcept { return data_[i]; }
  std::u16string_view view() const noexcept { return {data_, size_}; }

 private:
  const char16_t* data_;
  std::size_t size_;
  bool owned_ = false;
  char16_t inline_[64];
};

}  // namespace kvt
