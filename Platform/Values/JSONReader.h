// Reads JSON text as it lies in memory (RFC 8259, strict), without a tree and without recursion; not installed. Two
// faces share one scanner. `JSONCursor` is pulled: its caller asks for the next key or value where it knows what it
// wants. `readJSON` pushes: it walks a whole document and tells a handler what it meets.
//
//     JSONCursor cursor(text);                               // validates UTF-8; the text must outlive the cursor
//     struct Counter : JSONIgnore { void key(const JSONText&) { ++keys; } std::size_t keys = 0; } counter;
//     if (!readJSON(cursor, counter)) report(jsonErrorMessage(text, cursor.failure()));
//
// The text need not be padded or terminated: no byte outside it is read. A string without escapes is a view into it.
// What counts as a value is settled here for all readers:
//   - an integer is an int64 where it fits, else a uint64, else a decimal; `-0` is the real -0.0, so that its sign
//   lives;
//   - a number with a fraction or an exponent is a double with up to 17 significant digits (zeros at either end do not
//     count), a decimal beyond. A decimal has 38 digits (rounded half away from zero) and an exponent of -128 ... 127;
//     what exceeds that exponent is a double. What exceeds a double is an error; what is too small for one is 0;
//   - `\u0000` is a character like any other; surrogates in `\u` escapes must come in pairs;
//   - 512 containers may be nested, 513 may not.
// Thread rule: a cursor belongs to one thread.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

enum class JSONError : std::uint8_t {
  kNone,
  kEmpty,                // nothing but white space
  kUnexpectedEnd,        // the text ends inside a value
  kUnexpectedCharacter,  // where a value should begin
  kBadLiteral,           // begins like true, false or null and goes on otherwise
  kKeyExpected,          // in an object, where a key in quotes should begin
  kColonExpected,        // behind a key
  kBadArray,             // neither a comma nor the end behind an element
  kBadObject,            // neither a comma nor the end behind a member
  kTrailingText,         // anything behind the value
  kUnterminatedString,
  kControlCharacter,  // below U+0020, in a string
  kBadEscape,         // an unknown letter behind a backslash, or no four hexadecimal digits behind \u
  kLoneSurrogate,     // half of a pair, as an escape or in the text itself
  kBadNumber,         // no digit where one must be
  kLeadingZero,
  kNumberOutOfRange,  // beyond the largest double
  kTooDeep,
  kBadUTF8,
  kBadEncoding,  // the bytes are no UTF-16 or UTF-32 text, though they begin like one
  kFragment,     // the value is neither an array nor an object
};

/// What went wrong, and the offset in bytes of the character at which it was noticed.
struct JSONFailure {
  JSONError error = JSONError::kNone;
  std::size_t offset = 0;
};

/// Counted from 1, the column in characters (code points). A line ends with LF, CR or CR LF. O(offset).
struct JSONPosition {
  std::size_t line = 1;
  std::size_t column = 1;
};
KVT_EXPORT JSONPosition jsonPosition(std::string_view text, std::size_t offset) noexcept;
/// "Unexpected character 'x' around line 3, column 7."
KVT_EXPORT std::string jsonErrorMessage(std::string_view text, const JSONFailure& failure);

/// A string or a key with its escapes resolved: valid UTF-8, possibly with NUL characters in it. The bytes lie in the
/// text, or, where there were escapes, in the cursor until it reads the next string.
struct JSONText {
  std::string_view bytes;
  bool ascii = false;
  bool hadEscapes = false;
  bool isPadded = false;  // another sixteen bytes may be read behind them
};

__extension__ typedef unsigned __int128 JSONMantissa;

/// (-1)^negative * mantissa * 10^exponent, the exponent in -128 ... 127, the mantissa below 10^38.
struct JSONDecimal {
  JSONMantissa mantissa = 0;
  int exponent = 0;
  bool negative = false;
};

struct JSONNumber {
  enum class Kind : std::uint8_t { kInteger, kUnsigned, kReal, kDecimal };
  Kind kind = Kind::kInteger;
  union {
    std::int64_t integer = 0;
    std::uint64_t unsignedInteger;  // always above INT64_MAX
    double real;
  };
  JSONDecimal decimal;  // set for that kind alone
};

/// Containers within containers that a document may have.
inline constexpr std::size_t kJSONMaximumDepth = 512;

namespace json {

/// Sixteen bytes seen at once, as bit masks with one bit a byte.
struct Block {
#if defined(__SSE2__)
  explicit Block(const char* bytes) noexcept : v(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))) {}
  /// A block of which no more than `size` bytes, less than sixteen, are read; the others are zero. Built in registers:
  /// it would take long to load what was just stored in pieces.
  Block(const char* bytes, std::size_t size) noexcept {
    const auto load = [bytes]<class Word>(std::size_t at, Word word) {
      std::memcpy(&word, bytes + at, sizeof word);
      return std::uint64_t{word};
    };
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    if (size >= 8) {
      low = load(0, std::uint64_t{});
      high = load(size - 8, std::uint64_t{}) >> (8 * (15 - size)) >> 8;
    } else if (size >= 4) {
      low = load(0, std::uint32_t{}) | load(size - 4, std::uint32_t{}) << (8 * (size - 4));
    } else if (size > 0) {
      low = load(0, std::uint8_t{}) | load(size / 2, std::uint8_t{}) << (8 * (size / 2)) |
            load(size - 1, std::uint8_t{}) << (8 * (size - 1));
    }
    v = _mm_set_epi64x(static_cast<std::int64_t>(high), static_cast<std::int64_t>(low));
  }
  /// Quotes, backslashes and control characters: what a run of plain characters ends at.
  unsigned special() const noexcept {
    // With this bit turned, the quote is next to the control characters.
    const __m128i turned = _mm_xor_si128(v, _mm_set1_epi8('"' ^ 0x20));
    const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(turned, _mm_set1_epi8(0x20)), turned);
    const __m128i backslash = _mm_cmpeq_epi8(v, _mm_set1_epi8('\\'));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(low, backslash)));
  }
  unsigned equalTo(char c) const noexcept {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(c))));
  }
  unsigned equalTo(const Block& other) const noexcept {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, other.v)));
  }
  unsigned notAscii() const noexcept { return static_cast<unsigned>(_mm_movemask_epi8(v)); }
  void store(char* target) const noexcept { _mm_storeu_si128(reinterpret_cast<__m128i*>(target), v); }
  __m128i v;
#else
  explicit Block(const char* bytes) noexcept { std::memcpy(v, bytes, sizeof v); }
  Block(const char* bytes, std::size_t size) noexcept : v{} { std::memcpy(v, bytes, size); }
  unsigned special() const noexcept {
    return mask([](std::uint8_t c) { return c == '"' || c == '\\' || c < 0x20; });
  }
  unsigned equalTo(char wanted) const noexcept {
    return mask([wanted](std::uint8_t c) { return c == static_cast<std::uint8_t>(wanted); });
  }
  unsigned equalTo(const Block& other) const noexcept {
    unsigned bits = 0;
    for (unsigned i = 0; i < sizeof v; ++i) bits |= static_cast<unsigned>(v[i] == other.v[i]) << i;
    return bits;
  }
  unsigned notAscii() const noexcept {
    return mask([](std::uint8_t c) { return c >= 0x80; });
  }
  void store(char* target) const noexcept { std::memcpy(target, v, sizeof v); }
  template <class Test>
  unsigned mask(Test test) const noexcept {
    unsigned bits = 0;
    for (unsigned i = 0; i < sizeof v; ++i) bits |= static_cast<unsigned>(test(v[i])) << i;
    return bits;
  }
  std::uint8_t v[16];
#endif
  static constexpr std::ptrdiff_t kSize = 16;
};

inline bool isDigit(char c) noexcept { return static_cast<unsigned char>(c - '0') < 10; }
inline bool isSpace(char c) noexcept { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }

inline constexpr std::uint64_t kPowersOfTen[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

/// Appends a run of digits to `value`, eight at a time, and passes them. What follows the run must be readable.
inline void readDigits(const char*& p, const char* end, std::uint64_t& value) noexcept {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  while (end - p >= 8) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
    v ^= 0x3030303030303030;
    // A byte above nine, or carried into by one: the lowest is right, and the first that is no digit.
    const std::uint64_t others = ((v + 0x7676767676767676) | v) & 0x8080808080808080;
    unsigned count = 8;
    if (others != 0) {
      count = static_cast<unsigned>(__builtin_ctzll(others)) / 8;
      if (count == 0) return;
      v <<= 64 - 8 * count;  // zeros come in front
    }
    v = v * 10 + (v >> 8);
    v = ((v & 0x000000FF000000FF) * 0x000F424000000064 + ((v >> 16) & 0x000000FF000000FF) * 0x0000271000000001) >> 32;
    value = value * kPowersOfTen[count] + v;
    p += count;
    if (count != 8) return;
  }
#endif
  while (isDigit(*p)) value = value * 10 + static_cast<std::uint64_t>(*p++ - '0');
}

/// Passes up to eighteen digits; null when there is none, or more. Another 24 bytes must be readable.
[[gnu::noinline]] inline const char* passManyDigits(const char* p, std::uint64_t& value) noexcept {
  const char* const digits = p;
  value = 0;
  readDigits(p, p + 24, value);
  return p == digits || p - digits > 18 ? nullptr : p;
}
/// The same; most numbers are short.
[[gnu::always_inline]] inline const char* passDigits(const char* p, std::uint64_t& value) noexcept {
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  std::uint64_t v;
  std::memcpy(&v, p, sizeof v);
  v ^= 0x3030303030303030;
  const std::uint64_t others = ((v + 0x7676767676767676) | v) & 0x8080808080808080;
  if (others != 0) [[likely]] {
    const unsigned bits = static_cast<unsigned>(__builtin_ctzll(others)) & ~7u;
    if (bits == 0) return nullptr;
    v <<= 64 - bits;
    v = v * 10 + (v >> 8);
    value =
        ((v & 0x000000FF000000FF) * 0x000F424000000064 + ((v >> 16) & 0x000000FF000000FF) * 0x0000271000000001) >> 32;
    return p + bits / 8;
  }
#endif
  std::uint64_t many;
  p = passManyDigits(p, many);
  value = many;
  return p;
}

/// What a backslash and this letter stand for; NUL for `u` and for what is no escape.
inline char letterOfEscape(char letter) noexcept {
  switch (letter) {
    case '"':
    case '\\':
    case '/': return letter;
    case 'b': return '\b';
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    default: return '\0';
  }
}

}  // namespace json

class KVT_EXPORT JSONCursor {
 public:
  /// Validates the whole text first, unless it is known to be UTF-8. The cursor may have failed from the start.
  explicit JSONCursor(std::string_view text, bool knownUTF8 = false);
  JSONCursor(const JSONCursor&) = delete;
  JSONCursor& operator=(const JSONCursor&) = delete;

  /// A cursor that has failed stands at the end of nothing: `peek` answers NUL, everything else NO.
  bool failed() const noexcept { return error_ != JSONError::kNone; }
  JSONFailure failure() const noexcept { return {error_, offset_}; }
  /// Stops here; what is noticed at the very end of the text is an unexpected end. Answers NO.
  bool fail(JSONError error) noexcept { return failAt(error, p_); }

  /// Passes white space and answers the character that follows, without passing it; NUL at the end.
  char peek() noexcept {
    if (static_cast<unsigned char>(*p_) > ' ') [[likely]]
      return *p_;
    return peekBehindSpace();
  }

  // One value each; the cursor stands on its first character as `peek` has shown it. NO: the cursor has failed.
  bool readString(JSONText& text) {
    text.isPadded = false;
    const char* const start = ++p_;
    const char* p = start;
    unsigned notAscii = 0;
    while (end_ - p >= json::Block::kSize) {
      const json::Block block(p);
      const unsigned special = block.special();
      const unsigned high = block.notAscii();
      if (special != 0) {
        notAscii |= high & (special ^ (special - 1));  // the bits up to the first special one
        p += __builtin_ctz(special);
        if (*p != '"') [[unlikely]]
          return finishString(start, p, text);
        p_ = p + 1;
        text.bytes = std::string_view(start, static_cast<std::size_t>(p - start));
        text.ascii = notAscii == 0;
        text.hadEscapes = false;
        return true;
      }
      notAscii |= high;
      p += json::Block::kSize;
    }
    return finishString(start, start, text);
  }

  bool readNumber(JSONNumber& number) {
    const char* p = p_;
    const bool negative = *p == '-';
    p += negative ? 1 : 0;
    const char* const digits = p;
    std::uint64_t value = 0;
    json::readDigits(p, end_, value);
    const std::ptrdiff_t count = p - digits;
    const char next = *p;
    // Eighteen digits cannot overflow; the sign of a zero, a leading zero and all else is for the slow path.
    if (count > 18 || (*digits == '0' && (count > 1 || negative)) || count == 0 || next == '.' || (next | 0x20) == 'e')
        [[unlikely]] {
      return finishNumber(digits, p, value, negative, number);
    }
    number.kind = JSONNumber::Kind::kInteger;
    number.integer = negative ? -static_cast<std::int64_t>(value) : static_cast<std::int64_t>(value);
    p_ = p;
    return true;
  }

  bool readTrue() { return readLiteral("true", 4); }
  bool readFalse() { return readLiteral("false", 5); }
  bool readNull() { return readLiteral("null", 4); }

  /// Passes one value of any kind, checking all of it.
  bool skipValue();

  enum class Step : std::uint8_t { kItem, kEnd, kFailed };
  // Walks an array: `firstElement` on its bracket, `nextElement` behind each element. kItem: a value follows.
  Step firstElement();
  Step nextElement();
  // Walks an object likewise, passing key and colon.
  Step firstMember(JSONText& key);
  Step nextMember(JSONText& key);

  /// Nothing but white space may follow; NO otherwise.
  bool finish() noexcept;

  // For callers who compare the text ahead with what they expect, and pass brackets by themselves.
  const char* position() const noexcept { return p_; }
  std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - p_); }
  /// The caller has seen that many bytes.
  void advance(std::size_t count) noexcept { p_ += count; }
  /// Passes an opening bracket; NO where too many are open.
  bool enter() noexcept {
    if (depth_ == kJSONMaximumDepth) [[unlikely]]
      return fail(JSONError::kTooDeep);
    ++depth_;
    ++p_;
    return true;
  }
  /// Passes a closing bracket. Nothing behind it may be looked at before `atEnd` was asked.
  void leave() noexcept {
    --depth_;
    ++p_;
  }
  bool atEnd() const noexcept { return p_ == end_; }
  /// Back to a place where the cursor stood before, within the containers that are open now.
  void rewind(const char* position) noexcept { p_ = position; }
  /// Goes on in a copy of the rest of the text. No place in the text that was read may be used any more.
  void moveRest(const char* copy) noexcept {
    passed_ += static_cast<std::size_t>(p_ - begin_);
    end_ = copy + remaining();
    begin_ = p_ = copy;
  }
  /// Containers that are open.
  std::size_t depth() const noexcept { return depth_; }

 private:
  bool failAt(JSONError error, const char* position) noexcept;
  char peekBehindSpace() noexcept;
  bool readLiteral(const char* literal, std::size_t length) noexcept {
    if (remaining() < length || std::memcmp(p_, literal, length) != 0) [[unlikely]]
      return failLiteral(literal);
    p_ += length;
    return true;
  }
  bool failLiteral(const char* literal) noexcept;
  bool finishString(const char* start, const char* p, JSONText& text);
  bool resolveEscapes(const char* start, const char* p, JSONText& text);
  bool readEscape(const char*& p, char*& out) noexcept;
  void growScratch(std::size_t used, std::size_t wanted);
  bool finishNumber(const char* digits, const char* p, std::uint64_t value, bool negative, JSONNumber& number);
  Step readKey(JSONText& key);

  // Every loop that passes characters stops at the last one: it is a closing bracket, or else the text is a copy with a
  // NUL behind it. So `*p_` may be read anywhere but behind a closing bracket, and only there is the end asked for.
  const char* begin_ = nullptr;
  std::size_t passed_ = 0;  // in front of it
  const char* p_ = nullptr;
  const char* end_ = nullptr;
  JSONError error_ = JSONError::kNone;
  std::size_t offset_ = 0;
  std::size_t depth_ = 0;
  std::unique_ptr<char[]> copy_;
  std::unique_ptr<char[]> scratch_;
  std::size_t scratchSize_ = 0;
};

/// A handler that listens to nothing: derive from it and hide what you want to hear.
struct JSONIgnore {
  void startObject() {}
  void key(const JSONText&) {}
  void endObject() {}
  void startArray() {}
  void endArray() {}
  void string(const JSONText&) {}
  void integer(std::int64_t) {}
  void unsignedInteger(std::uint64_t) {}
  void real(double) {}
  void decimal(const JSONDecimal&) {}
  void boolean(bool) {}
  void null() {}
};

/// A handler may know the next key: it then says how long it is, quotes included, and hears of it no more. 0: it is
/// another one, to be read.
template <class Handler>
concept ForeseesKeys = requires(Handler handler, const char* p) {
  { handler.foreseenKey(p, p) } -> std::same_as<std::size_t>;
};

namespace json {

/// Passes a string without escapes that does not end close to the end of the text. NO: it is another one, and nothing
/// has happened.
[[gnu::always_inline]] inline bool passString(const char*& p, const char* end, JSONText& text) noexcept {
  const char* const start = p + 1;
  const char* q = start;
  unsigned notAscii = 0;
  for (;;) {
    if (end - q < 2 * Block::kSize) [[unlikely]]
      return false;
    const Block block(q);
    const unsigned special = block.special();
    const unsigned high = block.notAscii();
    if (special != 0) {
      notAscii |= high & (special ^ (special - 1));  // the bits up to the first special one
      q += __builtin_ctz(special);
      break;
    }
    notAscii |= high;
    q += Block::kSize;
  }
  if (*q != '"') return false;
  p = q + 1;
  text.bytes = std::string_view(start, static_cast<std::size_t>(q - start));
  text.ascii = notAscii == 0;
  text.hadEscapes = false;
  text.isPadded = true;
  return true;
}

/// Passes a whole number of up to eighteen digits that does not end close to the end of the text; NO likewise.
[[gnu::always_inline]] inline bool passInteger(const char*& p, const char* end, std::int64_t& number) noexcept {
  if (end - p < 2 * Block::kSize) [[unlikely]]
    return false;
  const bool negative = *p == '-';
  const char* const digits = p + (negative ? 1 : 0);
  const char* q = digits;
  std::uint64_t value = 0;
  readDigits(q, q + 24, value);
  const std::ptrdiff_t count = q - digits;
  // The sign of a zero, a leading zero and all else is not for here.
  if (count > 18 || count == 0 || (*digits == '0' && (count > 1 || negative)) || *q == '.' || (*q | 0x20) == 'e')
      [[unlikely]] {
    return false;
  }
  p = q;
  number = negative ? -static_cast<std::int64_t>(value) : static_cast<std::int64_t>(value);
  return true;
}

}  // namespace json

/// Walks one value, with which the text need not end. NO: the cursor has failed; the handler knows what came before.
///
/// The place in the text is kept in a register while nothing unusual comes; the cursor is told of it before it is asked
/// for anything.
template <class Handler>
bool readJSONValue(JSONCursor& cursor, Handler& handler) {
  std::uint64_t isObject[kJSONMaximumDepth / 64] = {};
  const std::size_t outerDepth = cursor.depth();
  if (cursor.failed()) return false;
  bool inObject = false;
  JSONText text;
  JSONNumber number;
  const char* p = cursor.position();
  const char* const end = p + cursor.remaining();

  const auto peek = [&]() __attribute__((always_inline)) {
    if (static_cast<unsigned char>(*p) > ' ') [[likely]]
      return *p;
    cursor.rewind(p);
    const char c = cursor.peek();
    p = cursor.position();
    return c;
  };
  const auto fail = [&](JSONError error) {
    cursor.rewind(p);
    return cursor.fail(error);
  };
  const auto enter = [&](bool object) {
    cursor.rewind(p);
    if (!cursor.enter()) [[unlikely]]
      return false;
    p = cursor.position();
    const std::size_t level = cursor.depth() - 1;
    const std::uint64_t bit = std::uint64_t{1} << (level % 64);
    std::uint64_t& word = isObject[level / 64];
    word = object ? word | bit : word & ~bit;
    inObject = object;
    return true;
  };

value:
  switch (peek()) {
    case '"':
      if (!json::passString(p, end, text)) [[unlikely]] {
        cursor.rewind(p);
        if (!cursor.readString(text)) return false;
        p = cursor.position();
      }
      handler.string(text);
      break;
    case '{':
      if (!enter(true)) [[unlikely]]
        return false;
      handler.startObject();
      if (peek() == '}') goto close;
      goto key;
    case '[':
      if (!enter(false)) [[unlikely]]
        return false;
      handler.startArray();
      if (peek() == ']') goto close;
      goto value;
    case '-':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9': {
      std::int64_t integer = 0;
      if (json::passInteger(p, end, integer)) [[likely]] {
        handler.integer(integer);
        break;
      }
      cursor.rewind(p);
      if (!cursor.readNumber(number)) [[unlikely]]
        return false;
      p = cursor.position();
      switch (number.kind) {
        case JSONNumber::Kind::kInteger: handler.integer(number.integer); break;
        case JSONNumber::Kind::kUnsigned: handler.unsignedInteger(number.unsignedInteger); break;
        case JSONNumber::Kind::kReal: handler.real(number.real); break;
        case JSONNumber::Kind::kDecimal: handler.decimal(number.decimal); break;
      }
      break;
    }
    case 't':
      cursor.rewind(p);
      if (!cursor.readTrue()) [[unlikely]]
        return false;
      p = cursor.position();
      handler.boolean(true);
      break;
    case 'f':
      cursor.rewind(p);
      if (!cursor.readFalse()) [[unlikely]]
        return false;
      p = cursor.position();
      handler.boolean(false);
      break;
    case 'n':
      cursor.rewind(p);
      if (!cursor.readNull()) [[unlikely]]
        return false;
      p = cursor.position();
      handler.null();
      break;
    default: return fail(JSONError::kUnexpectedCharacter);
  }

next:
  if (cursor.depth() == outerDepth) {
    cursor.rewind(p);
    return true;
  }
  switch (peek()) {
    case ',':
      ++p;
      if (inObject) goto key;
      goto value;
    case '}':
      if (inObject) goto close;
      break;
    case ']':
      if (!inObject) goto close;
      break;
    default: break;
  }
  return fail(inObject ? JSONError::kBadObject : JSONError::kBadArray);

key:
  if (peek() != '"') [[unlikely]]
    return fail(JSONError::kKeyExpected);
  {
    std::size_t passed = 0;
    if constexpr (ForeseesKeys<Handler>) passed = handler.foreseenKey(p, end);
    if (passed != 0) [[likely]] {
      p += passed;
    } else {
      if (!json::passString(p, end, text)) [[unlikely]] {
        cursor.rewind(p);
        if (!cursor.readString(text)) return false;
        p = cursor.position();
      }
      handler.key(text);
    }
  }
  if (peek() != ':') [[unlikely]]
    return fail(JSONError::kColonExpected);
  ++p;
  goto value;

close:
  cursor.rewind(p);
  cursor.leave();
  p = cursor.position();
  if (inObject)
    handler.endObject();
  else
    handler.endArray();
  if (cursor.depth() == outerDepth) return true;
  inObject = ((isObject[(cursor.depth() - 1) / 64] >> ((cursor.depth() - 1) % 64)) & 1) != 0;
  if (cursor.atEnd()) [[unlikely]]
    return cursor.fail(JSONError::kUnexpectedEnd);
  goto next;
}

/// Walks a whole document: one value and nothing behind it.
template <class Handler>
bool readJSON(JSONCursor& cursor, Handler& handler) {
  return readJSONValue(cursor, handler) && cursor.finish();
}

}  // namespace kvt
