#include "NSStringFormat.h"

#include <locale.h>
#include <clocale>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

constexpr int kMaximumWidth = 1 << 20;

struct Conversion {
  bool leftAligned = false, plusSign = false, blankSign = false, alternative = false, zeroPadded = false;
  int width = 0;
  int precision = -1;
  int cutToBytes = 0;  // h: 2, hh: 1
  char type = 0;
};

/// Walks the arguments: in order, or by position.
class Arguments {
 public:
  Arguments(const FormatArgument* list, std::size_t count) : list_(list), count_(count) {}
  /// `position` counts from 1; 0 takes the next one. Null when there is none.
  const FormatArgument* take(std::size_t position) noexcept {
    const std::size_t index = position != 0 ? position - 1 : next_++;
    return index < count_ ? list_ + index : nullptr;
  }
  std::size_t mark() const noexcept { return next_; }
  void reset(std::size_t mark) noexcept { next_ = mark; }

 private:
  const FormatArgument* list_;
  std::size_t count_;
  std::size_t next_ = 0;
};

/// What is written so far: UTF-8, until half of a pair is put. The halves may come one at a time (`%C%C`).
class Output {
 public:
  void put(std::string_view utf8) {
    if (wide_)
      utf16_ += unicode::toUTF16(utf8);
    else
      utf8_ += utf8;
  }
  void put(std::u16string_view utf16) {
    bool wellFormed = true;
    const std::size_t bytes = unicode::utf8Length(utf16.data(), utf16.size(), &wellFormed);
    if (!wellFormed && !wide_) {
      utf16_ = unicode::toUTF16(utf8_);
      wide_ = true;
    }
    if (wide_) {
      utf16_ += utf16;
      return;
    }
    utf8_.resize(utf8_.size() + bytes);
    unicode::toUTF8(utf16.data(), utf16.size(), utf8_.data() + utf8_.size() - bytes);
  }
  void fill(char c, std::size_t count) {
    if (wide_)
      utf16_.append(count, static_cast<char16_t>(c));
    else
      utf8_.append(count, c);
  }
  NSString text() const { return wide_ ? fromUTF16(utf16_) : fromUTF8(utf8_); }

  /// The text in its field; `units` is its length.
  template <class View>
  void field(const Conversion& how, View view, std::size_t units) {
    const std::size_t width = static_cast<std::size_t>(how.width);
    const std::size_t padding = width > units ? width - units : 0;
    if (!how.leftAligned) fill(' ', padding);
    put(view);
    if (how.leftAligned) fill(' ', padding);
  }

 private:
  std::string utf8_;
  std::u16string utf16_;
  bool wide_ = false;
};

/// A number's sign or prefix and its digits in their field.
void putNumber(Output& out, const Conversion& how, std::string_view prefix, std::string_view digits,
               bool mayPadWithZeros) {
  const std::size_t width = static_cast<std::size_t>(how.width);
  const std::size_t length = prefix.size() + digits.size();
  const std::size_t padding = width > length ? width - length : 0;
  const bool zeros = how.zeroPadded && mayPadWithZeros && !how.leftAligned;
  if (!zeros && !how.leftAligned) out.fill(' ', padding);
  out.put(prefix);
  if (zeros) out.fill('0', padding);
  out.put(digits);
  if (how.leftAligned) out.fill(' ', padding);
}

std::uint64_t cutTo(std::uint64_t value, int bytes) noexcept {
  return bytes >= 8 ? value : value & ((std::uint64_t{1} << (bytes * 8)) - 1);
}
std::int64_t signExtended(std::uint64_t value, int bytes) noexcept {
  const int shift = 64 - bytes * 8;
  return static_cast<std::int64_t>(value << shift) >> shift;
}

/// The argument as an integer of its own width; false when it is none.
bool integerOf(const FormatArgument& argument, std::uint64_t& value, int& bytes) noexcept {
  using Kind = FormatArgument::Kind;
  bytes = 8;
  switch (argument.kind()) {
    case Kind::kSigned:
    case Kind::kUnsigned:
      value = argument.integer();
      bytes = argument.width();
      return true;
    case Kind::kPointer: value = reinterpret_cast<std::uintptr_t>(argument.pointer()); return true;
    case Kind::kDouble:
    case Kind::kLongDouble: {
      const long double number =
          argument.kind() == Kind::kDouble ? static_cast<long double>(argument.floating()) : argument.longFloating();
      if (std::isnan(number))
        value = 0;
      else if (number >= 0x1p63L)
        value = INT64_MAX;
      else if (number <= -0x1p63L)
        value = static_cast<std::uint64_t>(INT64_MIN);
      else
        value = static_cast<std::uint64_t>(static_cast<std::int64_t>(number));
      return true;
    }
    default: return false;
  }
}

void putInteger(Output& out, const Conversion& how, std::uint64_t value, int bytes) {
  if (how.cutToBytes != 0) bytes = std::min(bytes, how.cutToBytes);
  const bool isSigned = how.type == 'd' || how.type == 'i';
  std::uint64_t magnitude = cutTo(value, bytes);
  std::string prefix;
  if (isSigned) {
    const std::int64_t number = signExtended(value, bytes);
    magnitude = number < 0 ? std::uint64_t{0} - static_cast<std::uint64_t>(number) : static_cast<std::uint64_t>(number);
    if (number < 0)
      prefix = "-";
    else if (how.plusSign)
      prefix = "+";
    else if (how.blankSign)
      prefix = " ";
  }
  const unsigned base = how.type == 'x' || how.type == 'X' ? 16 : how.type == 'o' ? 8 : 10;
  const char* const digitTable = how.type == 'X' ? "0123456789ABCDEF" : "0123456789abcdef";
  char buffer[24];
  char* const end = buffer + sizeof buffer;
  char* start = end;
  for (std::uint64_t rest = magnitude; rest != 0; rest /= base) *--start = digitTable[rest % base];
  std::string digits(start, end);
  const std::size_t least = how.precision >= 0 ? static_cast<std::size_t>(how.precision) : 1;
  if (digits.size() < least) digits.insert(0, least - digits.size(), '0');
  if (how.alternative && base == 8 && (digits.empty() || digits.front() != '0')) digits.insert(0, 1, '0');
  if (how.alternative && base == 16 && magnitude != 0) prefix = how.type == 'X' ? "0X" : "0x";
  putNumber(out, how, prefix, digits, how.precision < 0);
}

template <class Number>
void putFloating(Output& out, const Conversion& how, Number number) {
  // The C library's own conversion (a double's own, for `%a` shows the type), in the C locale whatever the process has
  // set.
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  char format[16];
  char* f = format;
  *f++ = '%';
  if (how.alternative) *f++ = '#';
  if (how.precision >= 0) f = std::copy_n(".*", 2, f);
  if constexpr (sizeof(Number) > sizeof(double)) *f++ = 'L';
  *f++ = how.type;
  *f = '\0';
  const bool negative = std::signbit(number);
  const Number magnitude = negative ? -number : number;
  const locale_t before = uselocale(cLocale);
  const auto print = [&](char* buffer, std::size_t size) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    return how.precision >= 0 ? std::snprintf(buffer, size, format, how.precision, magnitude)
                              : std::snprintf(buffer, size, format, magnitude);
#pragma GCC diagnostic pop
  };
  std::string digits(64, '\0');
  int needed = print(digits.data(), digits.size() + 1);
  if (needed > 64) {
    digits.resize(static_cast<std::size_t>(needed));
    needed = print(digits.data(), digits.size() + 1);
  }
  uselocale(before);
  digits.resize(static_cast<std::size_t>(std::max(needed, 0)));
  std::string prefix = negative ? "-" : how.plusSign ? "+" : how.blankSign ? " " : "";
  const bool isFinite = std::isfinite(number);
  if (isFinite && (how.type == 'a' || how.type == 'A')) {  // zeros go behind the prefix
    prefix += digits.substr(0, 2);
    digits.erase(0, 2);
  }
  putNumber(out, how, prefix, digits, isFinite);
}

/// At most `limit` bytes, no character cut.
std::string_view cutBytes(std::string_view text, std::size_t limit) noexcept {
  if (text.size() <= limit) return text;
  while (limit > 0 && (static_cast<std::uint8_t>(text[limit]) & 0xC0) == 0x80) --limit;
  return text.substr(0, limit);
}
std::u16string_view cutUnits(std::u16string_view text, std::size_t limit) noexcept {
  if (text.size() <= limit) return text;
  if (limit > 0 && unicode::isHighSurrogate(text[limit - 1]) && unicode::isLowSurrogate(text[limit])) --limit;
  return text.substr(0, limit);
}

/// UTF-8 with U+FFFD for each byte that is none.
std::string repaired(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    std::size_t length = std::min<std::size_t>(text.size(), 4);
    while (length > 1 && !unicode::isUTF8(text.data(), length)) --length;
    // The longest valid stretch of up to four bytes holds one whole character at least.
    if (unicode::isUTF8(text.data(), length))
      result.append(text.substr(0, length));
    else
      result += "\xEF\xBF\xBD";
    text.remove_prefix(length);
  }
  return result;
}

void putUTF8(Output& out, const Conversion& how, std::string_view text, bool precisionInUnits) {
  std::string copy;
  if (!unicode::isUTF8(text.data(), text.size())) text = copy = repaired(text);
  if (how.precision >= 0) {
    const auto limit = static_cast<std::size_t>(how.precision);
    if (precisionInUnits && !unicode::isASCII(text.data(), text.size())) {
      return out.field(how, std::u16string_view(cutUnits(unicode::toUTF16(text), limit)),
                       cutUnits(unicode::toUTF16(text), limit).size());
    }
    text = cutBytes(text, limit);
  }
  out.field(how, text, how.width != 0 ? unicode::utf16Length(text.data(), text.size()) : 0);
}

void putUTF16(Output& out, const Conversion& how, std::u16string_view text) {
  if (how.precision >= 0) text = cutUnits(text, static_cast<std::size_t>(how.precision));
  out.field(how, text, text.size());
}

void putObject(Output& out, const Conversion& how, const Object* object) {
  const id value(borrow, object);
  NSString text = value.as<NSString>();
  if (!text) text = value.description();
  if (!text) return putUTF8(out, how, "(null)", true);
  const StringBody& body = bodyOf(text);
  if (body.isASCII() || (how.precision < 0 && body.utf8().data() != nullptr))
    putUTF8(out, how, body.utf8(), true);
  else
    putUTF16(out, how, UTF16Text(body).view());
}

void putPointer(Output& out, const Conversion& how, std::uint64_t address) {
  Conversion hexadecimal = how;
  hexadecimal.type = 'x';
  hexadecimal.cutToBytes = 0;
  hexadecimal.alternative = address != 0;
  if (address == 0)
    putNumber(out, how, "0x", "0", how.precision < 0);
  else
    putInteger(out, hexadecimal, address, 8);
}

/// The argument as it is by itself: numbers in decimal, text as text, objects by description, pointers as addresses.
void putNatural(Output& out, const Conversion& how, const FormatArgument& argument) {
  using Kind = FormatArgument::Kind;
  Conversion plain = how;
  switch (argument.kind()) {
    case Kind::kSigned: plain.type = 'd'; return putInteger(out, plain, argument.integer(), argument.width());
    case Kind::kUnsigned: plain.type = 'u'; return putInteger(out, plain, argument.integer(), argument.width());
    case Kind::kDouble: plain.type = 'g'; return putFloating(out, plain, argument.floating());
    case Kind::kLongDouble: plain.type = 'g'; return putFloating(out, plain, argument.longFloating());
    case Kind::kPointer: return putPointer(out, how, reinterpret_cast<std::uintptr_t>(argument.pointer()));
    case Kind::kObject: return putObject(out, how, static_cast<const Object*>(argument.pointer()));
    case Kind::kUTF8:
      if (argument.pointer() == nullptr) return putUTF8(out, how, "(null)", true);
      return putUTF8(out, how, {static_cast<const char*>(argument.pointer()), argument.size()}, how.type != 's');
    case Kind::kUTF16:
      if (argument.pointer() == nullptr) return putUTF8(out, how, "(null)", true);
      return putUTF16(out, how, {static_cast<const char16_t*>(argument.pointer()), argument.size()});
  }
}

void putCharacter(Output& out, const Conversion& how, std::uint64_t code, int bytes) {
  Conversion single = how;
  single.precision = -1;
  code = cutTo(code, how.type == 'c' ? 1 : bytes < 4 ? 2 : 4);
  if (code > 0x10FFFF) code = unicode::kReplacement;
  char16_t units[2] = {static_cast<char16_t>(code), 0};
  if (code < 0x10000) return putUTF16(out, single, {units, 1});
  units[0] = static_cast<char16_t>(0xD7C0 + (code >> 10));
  units[1] = static_cast<char16_t>(0xDC00 + (code & 0x3FF));
  putUTF16(out, single, {units, 2});
}

void put(Output& out, const Conversion& how, const FormatArgument& argument) {
  std::uint64_t integer = 0;
  int bytes = 8;
  switch (how.type) {
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
      if (integerOf(argument, integer, bytes)) return putInteger(out, how, integer, bytes);
      break;
    case 'c':
    case 'C':
      if (integerOf(argument, integer, bytes)) return putCharacter(out, how, integer, bytes);
      break;
    case 'p':
      if (integerOf(argument, integer, bytes)) return putPointer(out, how, integer);
      return putPointer(out, how, reinterpret_cast<std::uintptr_t>(argument.pointer()));
    case '@':
    case 's':
    case 'S': break;
    default:  // floating
      switch (argument.kind()) {
        case FormatArgument::Kind::kDouble: return putFloating(out, how, argument.floating());
        case FormatArgument::Kind::kLongDouble: return putFloating(out, how, argument.longFloating());
        case FormatArgument::Kind::kSigned:
          return putFloating(out, how, static_cast<long double>(static_cast<std::int64_t>(argument.integer())));
        case FormatArgument::Kind::kUnsigned:
          return putFloating(out, how, static_cast<long double>(argument.integer()));
        default: break;
      }
  }
  putNatural(out, how, argument);
}

/// Reads one conversion behind its "%". Positions and `*` take their arguments on the way.
class ConversionReader {
 public:
  ConversionReader(std::string_view format, std::size_t at, Arguments& arguments)
      : format_(format), at_(at), arguments_(arguments) {}

  /// False when the text is no conversion.
  bool read(Conversion& how, std::size_t& position) {
    position = readPosition();
    readFlags(how);
    int value = 0;
    if (readNumber(value)) {
      how.leftAligned |= value < 0;
      how.width = value < 0 ? -value : value;
    }
    if (peek() == '.') {
      ++at_;
      how.precision = readNumber(value) ? value : 0;  // a negative one counts as none
    }
    readLength(how);
    how.type = peek();
    if (how.type == 'D' || how.type == 'U' || how.type == 'O') how.type = static_cast<char>(how.type + 32);
    if (how.type == '\0' || std::string_view("@diuxXoceEfFgGaAspCS").find(how.type) == std::string_view::npos)
      return false;
    ++at_;
    return !failed_;
  }
  std::size_t end() const noexcept { return at_; }

 private:
  char peek() const noexcept { return at_ < format_.size() ? format_[at_] : '\0'; }
  static bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

  int readDigits() noexcept {
    int value = 0;
    for (; isDigit(peek()); ++at_) value = std::min(value * 10 + (format_[at_] - '0'), kMaximumWidth);
    return value;
  }
  std::size_t readPosition() noexcept {
    const std::size_t before = at_;
    const int value = readDigits();
    if (at_ != before && peek() == '$' && value > 0) {
      ++at_;
      return static_cast<std::size_t>(value);
    }
    at_ = before;
    return 0;
  }
  void readFlags(Conversion& how) noexcept {
    for (;; ++at_) {
      switch (peek()) {
        case '-': how.leftAligned = true; break;
        case '+': how.plusSign = true; break;
        case ' ': how.blankSign = true; break;
        case '#': how.alternative = true; break;
        case '0': how.zeroPadded = true; break;
        case '\'': break;  // no locale, no groups
        default: return;
      }
    }
  }
  /// Digits, `*` or `*1$`; true when there was something.
  bool readNumber(int& value) {
    if (peek() != '*') {
      const std::size_t before = at_;
      value = readDigits();
      return at_ != before;
    }
    ++at_;
    const FormatArgument* argument = arguments_.take(readPosition());
    std::uint64_t integer = 0;
    int bytes = 8;
    if (argument == nullptr || !integerOf(*argument, integer, bytes)) {
      failed_ = true;
      return false;
    }
    const auto number = static_cast<std::int64_t>(integer);
    value = static_cast<int>(std::clamp<std::int64_t>(number, -kMaximumWidth, kMaximumWidth));
    return true;
  }
  void readLength(Conversion& how) noexcept {
    for (;; ++at_) {
      switch (peek()) {
        case 'h': how.cutToBytes = how.cutToBytes == 2 ? 1 : 2; break;
        case 'l':
        case 'L':
        case 'q':
        case 'z':
        case 't':
        case 'j': break;
        default: return;
      }
    }
  }

  std::string_view format_;
  std::size_t at_;
  Arguments& arguments_;
  bool failed_ = false;
};

}  // namespace

NSString NSString::stringWithFormat_arguments(const NSString& format, const FormatArgument* list, NSUInteger count) {
  checkNotNil(format, "+[NSString stringWithFormat:]");
  std::string holder;
  std::string_view text = format.utf8();
  if (text.data() == nullptr) text = holder = format.str();
  Output out;
  Arguments arguments(list, count);
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t percent = std::min(text.find('%', i), text.size());
    out.put(text.substr(i, percent - i));
    if (percent == text.size()) break;
    i = percent + 1;
    if (i < text.size() && text[i] == '%') {
      out.put("%");
      ++i;
      continue;
    }
    Conversion how;
    std::size_t position = 0;
    const std::size_t mark = arguments.mark();
    ConversionReader reader(text, i, arguments);
    const FormatArgument* argument = nullptr;
    if (reader.read(how, position)) argument = arguments.take(position);
    if (argument == nullptr) {
      arguments.reset(mark);
      out.put("%");
      continue;  // the rest of it is plain text
    }
    put(out, how, *argument);
    i = reader.end();
  }
  return out.text();
}

}  // namespace kvt
