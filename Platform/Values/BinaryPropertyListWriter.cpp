#include "BinaryPropertyListWriter.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <KVTPlatform/Runtime/Raise.h>

#include "BigEndian.h"
#include "NSDataBody.h"
#include "NSDataHash.h"
#include "NSDecimalNumberArithmetic.h"
#include "NSStringUnicode.h"
#include "ShortBytes.h"

namespace kvt {
namespace {

constexpr std::string_view kHeader = "bplist00";
constexpr std::size_t kMaximumHead = 1 + 1 + 8;  // marker, marker of the count, count
constexpr std::size_t kTrailer = 32;
constexpr std::uint32_t kMaximumNumber = (1u << 30) - 2;

unsigned widthOf(std::uint64_t value) noexcept {
  return value <= UINT8_MAX ? 1 : value <= UINT16_MAX ? 2 : value <= UINT32_MAX ? 4 : 8;
}

template <class T>
std::uint8_t* store(std::uint8_t* out, T value) noexcept {
  value = bigEndian(value);
  std::memcpy(out, &value, sizeof value);
  return out + sizeof value;
}

/// The lowest bytes of a value.
std::uint8_t* storeInteger(std::uint8_t* out, std::uint64_t value, unsigned width) noexcept {
  switch (width) {
    case 1: return store(out, static_cast<std::uint8_t>(value));
    case 2: return store(out, static_cast<std::uint16_t>(value));
    case 4: return store(out, static_cast<std::uint32_t>(value));
    default: return store(out, value);
  }
}

/// A marker with its count, which follows as an integer when it does not fit.
std::uint8_t* storeHead(std::uint8_t* out, std::uint8_t marker, std::size_t count) noexcept {
  if (count < 15) {
    *out = static_cast<std::uint8_t>(marker | count);
    return out + 1;
  }
  const unsigned width = widthOf(count);
  out[0] = static_cast<std::uint8_t>(marker | 0x0F);
  out[1] = static_cast<std::uint8_t>(0x10 | std::countr_zero(width));
  return storeInteger(out + 2, count, width);
}
std::size_t headSize(std::size_t count) noexcept { return count < 15 ? 1 : 2 + widthOf(count); }

[[noreturn]] void raiseTooMany() { objc_raise("NSMallocException", "*** a property list cannot hold so many objects"); }

}  // namespace

// ---- memory -------------------------------------------------------------------------------------------------------

/// The memory of the thread's last writer.
struct BinaryPropertyListWriter::Spare {
  static constexpr std::size_t kMostBytes = std::size_t{4} << 20;

  Spare() = default;
  Spare(const Spare&) = delete;
  Spare& operator=(const Spare&) = delete;
  ~Spare() { std::free(bytes); }

  std::uint8_t* bytes = nullptr;
  std::size_t capacity = 0;
  std::size_t scalarsSeen = 0;  // how many the last writer had
  std::vector<std::uint64_t> scalars, containers;
  std::vector<Slot> index;

  // A plain pointer finds it at once. null: there is none yet, or the thread is ending.
  [[gnu::tls_model("initial-exec")]] static constinit thread_local Spare* known;
};
constinit thread_local BinaryPropertyListWriter::Spare* BinaryPropertyListWriter::Spare::known = nullptr;

void BinaryPropertyListWriter::takeSpare() noexcept {
  Spare* const spare = Spare::known;
  if (spare == nullptr || spare->bytes == nullptr) return;
  begin_ = p_ = std::exchange(spare->bytes, nullptr);
  end_ = begin_ + spare->capacity - kSlack;
  scalars_.swap(spare->scalars);
  containers_.swap(spare->containers);
  index_.swap(spare->index);
  // As many slots as the last one needed: emptying them costs something, too.
  while (index_.size() > 64 && index_.size() / 8 > spare->scalarsSeen) index_.resize(index_.size() / 2);
  std::fill(index_.begin(), index_.end(), Slot{0, kNone});
}

void BinaryPropertyListWriter::leaveSpare() noexcept {
  const std::size_t capacity = begin_ == nullptr ? 0 : static_cast<std::size_t>(end_ - begin_) + kSlack;
  const std::size_t tables = (scalars_.capacity() + containers_.capacity()) * sizeof(std::uint64_t);
  if (Spare::known != nullptr && Spare::known->bytes == nullptr &&
      capacity + tables + index_.capacity() * sizeof(Slot) <= Spare::kMostBytes) {
    Spare& spare = *Spare::known;
    spare.bytes = std::exchange(begin_, nullptr);
    spare.capacity = capacity;
    spare.scalarsSeen = scalars_.size();
    scalars_.clear();
    containers_.clear();
    spare.scalars.swap(scalars_);
    spare.containers.swap(containers_);
    spare.index.swap(index_);
  }
  std::free(begin_);
}

BinaryPropertyListWriter::BinaryPropertyListWriter() : seed_(hashOfBytes("", 0)) {
  struct Owner {
    Owner() : spare(new Spare) { Spare::known = spare; }
    ~Owner() {
      Spare::known = nullptr;
      delete spare;
    }
    Spare* const spare;
  };
  static thread_local Owner owner;
  // To mention it is to have it made, and destroyed at the thread's end.
  (void)&owner;
  takeSpare();
  reserve(1024);
  std::memcpy(p_, kHeader.data(), kHeader.size());
  p_ += kHeader.size();
  std::fill(std::begin(smallIntegers_), std::end(smallIntegers_), kNone);
  std::fill(std::begin(booleans_), std::end(booleans_), kNone);
}

BinaryPropertyListWriter::~BinaryPropertyListWriter() { leaveSpare(); }

void BinaryPropertyListWriter::grow(std::size_t count) {
  const std::size_t used = size();
  const std::size_t capacity = std::max(used + count + kSlack, 2 * static_cast<std::size_t>(end_ - begin_));
  auto* larger = static_cast<std::uint8_t*>(std::realloc(begin_, capacity));
  if (larger == nullptr) throw std::bad_alloc();
  begin_ = larger;
  p_ = larger + used;
  end_ = larger + capacity - kSlack;
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
  p_ = storeInteger(p_, static_cast<std::uint64_t>(value), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::unsignedInteger(std::uint64_t value) {
  if (value > INT64_MAX) return wideInteger(value);
  if (value < std::size(smallIntegers_) && smallIntegers_[value] != kNone) return Value(smallIntegers_[value]);
  reserve(9);
  const std::size_t start = size();
  const unsigned width = widthOf(value);
  *p_++ = static_cast<std::uint8_t>(0x10 | std::countr_zero(width));
  p_ = storeInteger(p_, value, width);
  const Value result = close(start);
  if (value < std::size(smallIntegers_)) smallIntegers_[value] = result.number();
  return result;
}

PropertyListValue BinaryPropertyListWriter::wideInteger(PropertyListWideInteger value) {
  reserve(17);
  const std::size_t start = size();
  *p_++ = 0x14;
  p_ = storeInteger(p_, static_cast<std::uint64_t>(value >> 64), 8);
  p_ = storeInteger(p_, static_cast<std::uint64_t>(value), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::real(double value) {
  reserve(9);
  const std::size_t start = size();
  *p_++ = 0x23;
  p_ = storeInteger(p_, std::bit_cast<std::uint64_t>(value), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::real(float value) {
  reserve(5);
  const std::size_t start = size();
  *p_++ = 0x22;
  p_ = storeInteger(p_, std::bit_cast<std::uint32_t>(value), 4);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::date(double secondsSince2001) {
  reserve(9);
  const std::size_t start = size();
  *p_++ = 0x33;
  p_ = storeInteger(p_, std::bit_cast<std::uint64_t>(secondsSince2001), 8);
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::data(std::string_view bytes) {
  reserve(bytes.size() + kMaximumHead);
  const std::size_t start = size();
  p_ = storeHead(p_, 0x40, bytes.size());
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
  p_ = storeHead(p_, 0x60, text.size);
  for (std::size_t i = 0; i < text.size; ++i) p_ = store(p_, static_cast<std::uint16_t>(text.units()[i]));
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::ascii(std::string_view text) {
  reserve(text.size() + kMaximumHead);
  const std::size_t start = size();
  p_ = storeHead(p_, 0x50, text.size());
  copyBytes(p_, text.data(), text.size());
  p_ += text.size();
  return close(start);
}

PropertyListValue BinaryPropertyListWriter::utf8(std::string_view text) {
  reserve(text.size() * 2 + kMaximumHead);  // a unit needs a byte of UTF-8 at least
  const std::size_t start = size();
  p_ = storeHead(p_, 0x60, unicode::utf16Length(text.data(), text.size()));
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
  p_ = storeInteger(p_, value, width);
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
  heads_ += headSize(count);
  references_ += second != nullptr ? 2 * count : count;
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

// ---- the file -----------------------------------------------------------------------------------------------------

/// The values of a container as references. Written so that it becomes vector instructions.
template <class Reference>
void BinaryPropertyListWriter::writeReferences(std::uint8_t* __restrict out, const std::uint8_t* __restrict in,
                                               std::size_t count, std::uint32_t firstUID,
                                               std::uint32_t firstContainer) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint32_t bits;
    std::memcpy(&bits, in + i * sizeof bits, sizeof bits);
    const std::uint32_t isUID = 0u - (bits >> 30 & 1), isContainer = 0u - (bits >> 31);
    const std::uint32_t number = (bits & ~Value::kTags) + (firstUID & isUID) + (firstContainer & isContainer);
    const Reference reference = bigEndian(static_cast<Reference>(number));
    std::memcpy(out + i * sizeof reference, &reference, sizeof reference);
  }
}

/// Copies everything in its order, the containers in their final form; from now on objects lie where they lie there.
/// Answers where the output ends.
template <class Reference>
std::uint8_t* BinaryPropertyListWriter::writeObjects(std::uint8_t* const file, std::uint32_t firstUID,
                                                     std::uint32_t firstContainer) {
  std::uint8_t* out = file;
  std::size_t from = 0, scalar = 0;
  const auto copyScalars = [&](std::size_t end) {
    const std::uint64_t shift = from - static_cast<std::size_t>(out - file);
    for (; scalar < scalars_.size() && scalars_[scalar] < end; ++scalar) scalars_[scalar] -= shift;
    copyBytes(out, begin_ + from, end - from);
    out += end - from;
  };
  for (std::uint64_t& container : containers_) {
    copyScalars(container);
    const std::uint8_t* in = begin_ + container;
    const std::uint8_t marker = *in;
    std::uint32_t count = 0;
    std::memcpy(&count, in + 4, sizeof count);
    from = container + kOpenHead;
    container = static_cast<std::uint64_t>(out - file);
    out = storeHead(out, marker, count);
    const std::size_t references = marker == kDictionary ? std::size_t{count} * 2 : count;
    writeReferences<Reference>(out, begin_ + from, references, firstUID, firstContainer);
    out += references * sizeof(Reference);
    from += references * sizeof(Value);
  }
  copyScalars(size());
  return out;
}

namespace {

template <class Offset>
std::uint8_t* storeOffsets(std::uint8_t* out, const std::vector<std::uint64_t>& offsets) noexcept {
  for (const std::uint64_t offset : offsets) out = store(out, static_cast<Offset>(offset));
  return out;
}

std::uint8_t* storeOffsets(std::uint8_t* out, const std::vector<std::uint64_t>& offsets, unsigned width) noexcept {
  switch (width) {
    case 1: return storeOffsets<std::uint8_t>(out, offsets);
    case 2: return storeOffsets<std::uint16_t>(out, offsets);
    case 4: return storeOffsets<std::uint32_t>(out, offsets);
    default: return storeOffsets<std::uint64_t>(out, offsets);
  }
}

/// UIDs from 0 on are as wide as the last one of their width: how many bytes the first `count` take.
std::uint64_t sizeOfUIDs(std::uint64_t count) noexcept {
  std::uint64_t size = 0, done = 0;
  for (const unsigned width : {1u, 2u, 4u}) {
    const std::uint64_t end = std::min(count, std::uint64_t{1} << (8 * width));
    if (end > done) size += (end - done) * (1 + width);
    done = std::max(done, end);
  }
  return size;
}

}  // namespace

NSData BinaryPropertyListWriter::finish(Value top, std::uint32_t uids) {
  const std::uint64_t total = std::uint64_t{scalars_.size()} + uids + containers_.size();
  if (total > UINT32_MAX) raiseTooMany();

  // Objects are numbered scalars first, then UIDs, then containers.
  const auto firstUID = static_cast<std::uint32_t>(scalars_.size());
  const std::uint32_t firstContainer = firstUID + uids;
  const unsigned referenceWidth = widthOf(total);
  const std::uint64_t openContainers = containers_.size() * kOpenHead + references_ * sizeof(Value);
  const std::uint64_t uidsAt = size() - openContainers + heads_ + references_ * referenceWidth;
  const std::uint64_t table = uidsAt + sizeOfUIDs(uids);
  const unsigned offsetWidth = widthOf(table);

  DataBody* const body = DataBody::create(kDataKind, table + total * offsetWidth + kTrailer);
  NSData file(adopt, body);
  std::uint8_t* out = body->bytes;
  switch (referenceWidth) {
    case 1: out = writeObjects<std::uint8_t>(out, firstUID, firstContainer); break;
    case 2: out = writeObjects<std::uint16_t>(out, firstUID, firstContainer); break;
    default: out = writeObjects<std::uint32_t>(out, firstUID, firstContainer); break;
  }
  for (std::uint32_t uid = 0; uid < uids; ++uid) {
    const unsigned width = widthOf(uid);
    *out++ = static_cast<std::uint8_t>(0x80 | (width - 1));
    out = storeInteger(out, uid, width);
  }
  out = storeOffsets(out, scalars_, offsetWidth);
  std::uint64_t uidAt = uidsAt;
  for (std::uint32_t uid = 0; uid < uids; uidAt += 1 + widthOf(uid), ++uid) out = storeInteger(out, uidAt, offsetWidth);
  out = storeOffsets(out, containers_, offsetWidth);
  std::memset(out, 0, 6);
  out += 6;
  *out++ = static_cast<std::uint8_t>(offsetWidth);
  *out++ = static_cast<std::uint8_t>(referenceWidth);
  out = store(out, total);
  out = store(out, std::uint64_t{top.number()} + (top.isScalar() ? 0 : firstContainer));
  store(out, table);
  return file;
}

}  // namespace kvt
