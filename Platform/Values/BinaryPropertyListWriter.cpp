#include "BinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>

#include <KVTPlatform/Runtime/Raise.h>

#include "NSDataBody.h"
#include "NSDataHash.h"
#include "NSDecimalNumberArithmetic.h"
#include "NSStringUnicode.h"
#include "ShortBytes.h"

namespace kvt {
namespace {

constexpr std::string_view kHeader = "bplist00";
constexpr std::size_t kMaximumHead = 1 + 1 + 8;  // marker, marker of the count, count
constexpr std::uint32_t kMaximumNumber = (1u << 30) - 2;

unsigned widthOf(std::uint64_t value) noexcept {
  return value <= UINT8_MAX ? 1 : value <= UINT16_MAX ? 2 : value <= UINT32_MAX ? 4 : 8;
}

template <class T>
T toBigEndian(T value) noexcept {
  if constexpr (std::endian::native == std::endian::big || sizeof(T) == 1)
    return value;
  else if constexpr (sizeof(T) == 2)
    return __builtin_bswap16(value);
  else if constexpr (sizeof(T) == 4)
    return __builtin_bswap32(value);
  else
    return __builtin_bswap64(value);
}

template <class T>
std::uint8_t* store(std::uint8_t* out, T value) noexcept {
  value = toBigEndian(value);
  std::memcpy(out, &value, sizeof value);
  return out + sizeof value;
}

[[noreturn]] void raiseTooMany() { objc_raise("NSMallocException", "*** a property list cannot hold so many objects"); }

}  // namespace

BinaryPropertyListWriter::BinaryPropertyListWriter() : seed_(hashOfBytes("", 0)) {
  grow(1024);
  std::memcpy(p_, kHeader.data(), kHeader.size());
  p_ += kHeader.size();
  std::fill(std::begin(smallIntegers_), std::end(smallIntegers_), kNone);
  std::fill(std::begin(booleans_), std::end(booleans_), kNone);
}

BinaryPropertyListWriter::~BinaryPropertyListWriter() { std::free(begin_); }

void BinaryPropertyListWriter::grow(std::size_t count) {
  const std::size_t used = size();
  const std::size_t capacity = std::max(used + count + kSlack, 2 * static_cast<std::size_t>(end_ - begin_));
  auto* larger = static_cast<std::uint8_t*>(std::realloc(begin_, capacity));
  if (larger == nullptr) throw std::bad_alloc();
  begin_ = larger;
  p_ = larger + used;
  end_ = larger + capacity - kSlack;
}

/// The lowest bytes of a value; there is room.
void BinaryPropertyListWriter::bigEndian(std::uint64_t value, unsigned width) noexcept {
  switch (width) {
    case 1: *p_++ = static_cast<std::uint8_t>(value); break;
    case 2: p_ = store(p_, static_cast<std::uint16_t>(value)); break;
    case 4: p_ = store(p_, static_cast<std::uint32_t>(value)); break;
    default: p_ = store(p_, value); break;
  }
}

/// A marker with its count, which follows as an integer when it does not fit; there is room.
void BinaryPropertyListWriter::head(std::uint8_t marker, std::size_t count) noexcept {
  if (count < 15) {
    *p_++ = static_cast<std::uint8_t>(marker | count);
    return;
  }
  const unsigned width = widthOf(count);
  *p_++ = static_cast<std::uint8_t>(marker | 0x0F);
  *p_++ = static_cast<std::uint8_t>(0x10 | std::countr_zero(width));
  bigEndian(count, width);
}

// ---- scalars ------------------------------------------------------------------------------------------------------

/// As `hashOfBytes`, but without a call for the bytes that are no whole word: there is more behind them to be read.
std::uint32_t BinaryPropertyListWriter::hashOf(const std::uint8_t* bytes, std::size_t size) const noexcept {
  constexpr std::uint64_t kFirst = 0xA0761D6478BD642FU, kSecond = 0xE7037ED1A0B428DBU;
  const auto word = [](const std::uint8_t* at) { return detail::loadWord<std::uint64_t>(at, 0); };
  const auto fold = [](std::uint64_t a, std::uint64_t b) {
    const UInt128 product = static_cast<UInt128>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
  };
  // The lowest `count` bytes of a word, as they lie in memory.
  const auto lowest = [](std::uint64_t value, std::size_t count) {
    if (count == 0) return std::uint64_t{0};
    const std::size_t unused = 64 - 8 * count;
    return std::endian::native == std::endian::little ? value << unused : value >> unused;
  };
  std::uint64_t state = seed_ ^ size;
  std::size_t rest = size;
  for (; rest >= 16; bytes += 16, rest -= 16) state = fold(word(bytes) ^ kFirst, word(bytes + 8) ^ state);
  const std::uint64_t first = rest < 8 ? lowest(word(bytes), rest) : word(bytes);
  const std::uint64_t second = rest < 8 ? 0 : lowest(word(bytes + 8), rest - 8);
  return static_cast<std::uint32_t>(fold(fold(first ^ kFirst, second ^ state), kSecond ^ rest));
}

/// What was written from `start` on is a scalar. One that was there already is taken back.
PropertyListValue BinaryPropertyListWriter::close(std::size_t start) {
  if (scalars_.size() * 4 >= index_.size() * 3) growIndex();
  const std::size_t length = size() - start;
  const auto hash = hashOf(begin_ + start, length);
  const std::size_t mask = index_.size() - 1;
  for (std::size_t at = hash & mask;; at = (at + 1) & mask) {
    Slot& slot = index_[at];
    if (slot.number == kNone) {
      if (scalars_.size() > kMaximumNumber) raiseTooMany();
      slot = {hash, static_cast<std::uint32_t>(scalars_.size())};
      scalars_.push_back(start);
      return Value(slot.number);
    }
    if (slot.hash != hash) continue;
    // No scalar begins like another one: what has the same bytes is as long.
    if (std::memcmp(begin_ + scalars_[slot.number], begin_ + start, length) != 0) continue;
    p_ = begin_ + start;
    return Value(slot.number);
  }
}

void BinaryPropertyListWriter::growIndex() {
  std::vector<Slot> larger(std::max<std::size_t>(index_.size() * 2, 64), Slot{0, kNone});
  const std::size_t mask = larger.size() - 1;
  for (const Slot& slot : index_) {
    if (slot.number == kNone) continue;
    std::size_t at = slot.hash & mask;
    while (larger[at].number != kNone) at = (at + 1) & mask;
    larger[at] = slot;
  }
  index_ = std::move(larger);
}

PropertyListValue BinaryPropertyListWriter::boolean(bool value) {
  std::uint32_t& known = booleans_[value ? 1 : 0];
  if (known != kNone) return Value(known);
  reserve(1);
  const std::size_t start = size();
  *p_++ = value ? 0x09 : 0x08;
  const Value result = close(start);
  known = result.number();
  return result;
}

PropertyListValue BinaryPropertyListWriter::integer(std::int64_t value) {
  if (value >= 0) return unsignedInteger(static_cast<std::uint64_t>(value));
  reserve(9);
  const std::size_t start = size();
  *p_++ = 0x13;  // only the wide forms are signed
  bigEndian(static_cast<std::uint64_t>(value), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::unsignedInteger(std::uint64_t value) {
  if (value > INT64_MAX) return wideInteger(value);
  if (value < std::size(smallIntegers_) && smallIntegers_[value] != kNone) return Value(smallIntegers_[value]);
  reserve(9);
  const std::size_t start = size();
  const unsigned width = widthOf(value);
  *p_++ = static_cast<std::uint8_t>(0x10 | std::countr_zero(width));
  bigEndian(value, width);
  const Value result = close(start);
  if (value < std::size(smallIntegers_)) smallIntegers_[value] = result.number();
  return result;
}

PropertyListValue BinaryPropertyListWriter::wideInteger(PropertyListWideInteger value) {
  reserve(17);
  const std::size_t start = size();
  *p_++ = 0x14;
  bigEndian(static_cast<std::uint64_t>(value >> 64), 8);
  bigEndian(static_cast<std::uint64_t>(value), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::real(double value) {
  reserve(9);
  const std::size_t start = size();
  *p_++ = 0x23;
  bigEndian(std::bit_cast<std::uint64_t>(value), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::real(float value) {
  reserve(5);
  const std::size_t start = size();
  *p_++ = 0x22;
  bigEndian(std::bit_cast<std::uint32_t>(value), 4);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::date(double secondsSince2001) {
  reserve(9);
  const std::size_t start = size();
  *p_++ = 0x33;
  bigEndian(std::bit_cast<std::uint64_t>(secondsSince2001), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::data(std::string_view bytes) {
  reserve(bytes.size() + kMaximumHead);
  const std::size_t start = size();
  head(0x40, bytes.size());
  copyBytes(p_, bytes.data(), bytes.size());
  p_ += bytes.size();
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::text(std::string_view text) {
  return unicode::isASCII(text.data(), text.size()) ? ascii(text) : utf8(text);
}

PropertyListValue BinaryPropertyListWriter::text(const StringBody& text) {
  if (text.form == StringBody::Form::kASCII) return ascii({text.bytes(), text.size});
  if (text.form == StringBody::Form::kUTF8) return this->text({text.bytes(), text.size});
  // Mutable text may have become ASCII since it was changed to units.
  if (unicode::isASCII(text.units(), text.size)) return ascii(text.utf8());
  reserve(std::size_t{text.size} * 2 + kMaximumHead);
  const std::size_t start = size();
  head(0x60, text.size);
  for (std::size_t i = 0; i < text.size; ++i) p_ = store(p_, static_cast<std::uint16_t>(text.units()[i]));
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::ascii(std::string_view text) {
  reserve(text.size() + kMaximumHead);
  const std::size_t start = size();
  head(0x50, text.size());
  copyBytes(p_, text.data(), text.size());
  p_ += text.size();
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::utf8(std::string_view text) {
  reserve(text.size() * 2 + kMaximumHead);  // a unit needs a byte of UTF-8 at least
  const std::size_t start = size();
  head(0x60, unicode::utf16Length(text.data(), text.size()));
  std::uint8_t* out = p_;
  for (std::size_t i = 0; i < text.size();) {
    const char32_t c = unicode::next(text.data(), i);
    if (c < 0x10000) {
      out = store(out, static_cast<std::uint16_t>(c));
    } else {
      out = store(out, static_cast<std::uint16_t>(0xD800 + ((c - 0x10000) >> 10)));
      out = store(out, static_cast<std::uint16_t>(0xDC00 + (c & 0x3FF)));
    }
  }
  p_ = out;
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::sparseUID(std::uint64_t value) {
  reserve(9);
  const std::size_t start = size();
  const unsigned width = widthOf(value);
  *p_++ = static_cast<std::uint8_t>(0x80 | (width - 1));
  bigEndian(value, width);
  return close(start);
}

// ---- containers ---------------------------------------------------------------------------------------------------

// While the list is being written a container is its marker, its count in the fifth to eighth byte, and its values.
constexpr std::size_t kOpenHead = 8;

PropertyListValue BinaryPropertyListWriter::container(Marker marker, const Value* first, const Value* second,
                                                      std::size_t count) {
  if (containers_.size() > kMaximumNumber || count > kMaximumNumber) raiseTooMany();
  const std::size_t half = count * sizeof(Value);
  reserve(kOpenHead + 2 * half);
  containers_.push_back(size());
  const auto shortCount = static_cast<std::uint32_t>(count);
  *p_ = marker;
  std::memcpy(p_ + 4, &shortCount, sizeof shortCount);
  p_ += kOpenHead;
  copyBytes(p_, first, half);
  p_ += half;
  if (second != nullptr) {
    copyBytes(p_, second, half);
    p_ += half;
  }
  return Value(Value::kContainer | static_cast<std::uint32_t>(containers_.size() - 1));
}

/// Gives every container its final form and moves everything together. Nothing gets longer by that. `bases` says by its
/// tags what to add to a value's number.
template <class Reference>
void BinaryPropertyListWriter::closeUp(const std::uint32_t* bases) {
  const std::size_t end = size();
  p_ = begin_ + kHeader.size();
  std::size_t scalar = 0;
  std::size_t from = kHeader.size();
  for (std::size_t container = 0; container <= containers_.size(); ++container) {
    const std::size_t next = container < containers_.size() ? containers_[container] : end;
    // The scalars before it.
    const std::size_t shift = from - size();
    for (; scalar < scalars_.size() && scalars_[scalar] < next; ++scalar) scalars_[scalar] -= shift;
    if (shift != 0) std::memmove(p_, begin_ + from, next - from);
    p_ += next - from;
    if (container == containers_.size()) return;

    const std::uint8_t marker = begin_[next];
    std::uint32_t count = 0;
    std::memcpy(&count, begin_ + next + 4, sizeof count);
    const std::uint8_t* in = begin_ + next + kOpenHead;
    containers_[container] = size();
    head(marker, count);
    std::uint8_t* out = p_;
    for (std::size_t left = marker == kDictionary ? std::size_t{count} * 2 : count; left > 0; --left) {
      std::uint32_t bits;
      std::memcpy(&bits, in, sizeof bits);
      in += sizeof bits;
      out = store(out, static_cast<Reference>(bases[bits >> 30] + (bits & ~Value::kTags)));
    }
    p_ = out;
    from = static_cast<std::size_t>(in - begin_);
  }
}

NSData BinaryPropertyListWriter::finish(Value top, std::uint32_t uids) {
  const std::uint64_t total = std::uint64_t{scalars_.size()} + uids + containers_.size();
  if (total > UINT32_MAX) raiseTooMany();

  // Objects are numbered scalars first, then UIDs, then containers.
  const auto firstUID = static_cast<std::uint32_t>(scalars_.size());
  const std::uint32_t bases[3] = {0, firstUID, firstUID + uids};
  const unsigned referenceWidth = widthOf(total);
  switch (referenceWidth) {
    case 1: closeUp<std::uint8_t>(bases); break;
    case 2: closeUp<std::uint16_t>(bases); break;
    default: closeUp<std::uint32_t>(bases); break;
  }
  const std::size_t firstUIDAt = size();
  const auto uidSize = [](std::uint32_t uid) { return 1 + widthOf(uid); };
  reserve(std::size_t{uids} * 5);
  for (std::uint32_t uid = 0; uid < uids; ++uid) {
    const unsigned width = widthOf(uid);
    *p_++ = static_cast<std::uint8_t>(0x80 | (width - 1));
    bigEndian(uid, width);
  }

  const std::uint64_t table = size();
  const unsigned offsetWidth = widthOf(table);
  reserve(total * offsetWidth + 32);
  for (const std::uint64_t offset : scalars_) bigEndian(offset, offsetWidth);
  std::uint64_t uidAt = firstUIDAt;
  for (std::uint32_t uid = 0; uid < uids; uidAt += uidSize(uid), ++uid) bigEndian(uidAt, offsetWidth);
  for (const std::uint64_t offset : containers_) bigEndian(offset, offsetWidth);
  std::memset(p_, 0, 6);
  p_ += 6;
  *p_++ = static_cast<std::uint8_t>(offsetWidth);
  *p_++ = static_cast<std::uint8_t>(referenceWidth);
  bigEndian(total, 8);
  bigEndian(bases[top.bits_ >> 30] + top.number(), 8);
  bigEndian(table, 8);

  DataBody* const body = DataBody::create(kDataKind, 0);
  const std::size_t length = size();
  if (void* exact = std::realloc(begin_, length)) begin_ = static_cast<std::uint8_t*>(exact);
  body->bytes = begin_;
  body->length = length;
  body->capacity = length;
  begin_ = p_ = end_ = nullptr;
  return NSData(adopt, body);
}

}  // namespace kvt
