#include "NSStringBody.h"

#include <sys/auxv.h>

#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include <KVTPlatform/Runtime/ObjectMemory.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSMutableString.h"
#include "NSString.h"
#include "NSStringUnicode.h"

namespace kvt {

void StringBody::raiseTooLong() {
  objc_raise("NSMallocException", "text of more than 2147483631 bytes cannot be kept as one string");
}

namespace {

void* allocateBytes(std::size_t size) {
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

// ---- hashing -------------------------------------------------------------------------------------------------------

std::uint64_t fold(std::uint64_t a, std::uint64_t b) noexcept {
  __extension__ using Wide = unsigned __int128;
  const Wide product = static_cast<Wide>(a) * b;
  return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

std::uint64_t load8(const char* p) noexcept {
  std::uint64_t word;
  std::memcpy(&word, p, 8);
  return word;
}
std::uint64_t load4(const char* p) noexcept {
  std::uint32_t word;
  std::memcpy(&word, p, 4);
  return word;
}

/// Another one in each process, so that nobody can prepare keys that collide.
std::uint64_t processSeed() noexcept {
  static const std::uint64_t seed = [] {
    std::uint64_t random = 0;
    if (const auto* bytes = reinterpret_cast<const char*>(getauxval(AT_RANDOM))) random = load8(bytes);
    return random ^ 0x9E3779B97F4A7C15u;
  }();
  return seed;
}

/// Multiply and fold, sixteen bytes a step: about 0.2 ns a byte.
std::uint32_t hashBytes(const char* p, std::size_t size) noexcept {
  constexpr std::uint64_t k0 = 0xA0761D6478BD642Fu, k1 = 0xE7037ED1A0B428DBu;
  std::uint64_t state = processSeed();
  std::uint64_t a = 0, b = 0;
  std::size_t rest = size;
  if (rest > 16) {
    do {
      state = fold(load8(p) ^ k0, load8(p + 8) ^ state);
      p += 16;
      rest -= 16;
    } while (rest > 16);
    // The last sixteen bytes, overlapping what was read before.
    a = load8(p + rest - 16);
    b = load8(p + rest - 8);
  } else if (rest >= 8) {
    a = load8(p);
    b = load8(p + rest - 8);
  } else if (rest >= 4) {
    a = load4(p);
    b = load4(p + rest - 4);
  } else if (rest > 0) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint64_t>(static_cast<std::uint8_t>(p[i])); };
    a = (byte(0) << 16) | (byte(rest >> 1) << 8) | byte(rest - 1);
  }
  const std::uint64_t mixed = fold(k1 ^ size, fold(a ^ k0, b ^ state));
  const auto hash = static_cast<std::uint32_t>(mixed ^ (mixed >> 32));
  return hash != 0 ? hash : 1;
}

}  // namespace

// ---- making --------------------------------------------------------------------------------------------------------

constinit std::atomic<ClassBody*> StringBody::knownClass = nullptr;

ClassBody* StringBody::findClass() noexcept { return classOf<NSString>().body(); }

StringBody::StringBody(ValueKind kind, Form textForm)
    : Object(kind == kStringKind ? classOf<NSString>() : classOf<NSMutableString>(), objectKind(kind)),
      form(textForm),
      start(kind == kStringKind ? headerSize(false) : 0),
      size(0) {
  if (kind != kStringKind) {
    ::new (static_cast<void*>(this + 1)) MutableSide();
    return;
  }
  ::new (static_cast<void*>(this + 1)) Side();
  ObjectAccess::markImmutableValue(this);
  ObjectAccess::markDestructorNeedless(this);  // until it has a view
}

StringBody* StringBody::createUninitialized(std::size_t size, bool isASCII) {
  if (size > kMaximumSize) raiseTooLong();
  void* memory = kvt::memory::allocatePadded(headerSize(isASCII) + size + 1);
  auto* body = ::new (memory) StringBody(immutableClass(), size, isASCII);
  body->inlineBytes()[size] = '\0';
  return body;
}

void StringBody::finish(std::size_t written, bool isASCII) noexcept {
  size = static_cast<std::uint32_t>(written);
  bytes()[written] = '\0';
  if (isASCII) form = Form::kASCII;
}

StringBody* StringBody::createFromUTF8(std::string_view text) {
  if (unicode::isASCII(text.data(), text.size())) return create(text.data(), text.size(), true);
  return unicode::isUTF8(text.data(), text.size()) ? create(text.data(), text.size(), false) : nullptr;
}

StringBody* StringBody::createFromUTF16(std::u16string_view text) {
  if (text.size() > kMaximumSize) raiseTooLong();
  bool wellFormed = true;
  const std::size_t bytes = unicode::utf8Length(text.data(), text.size(), &wellFormed);
  if (!wellFormed) {
    void* memory = kvt::memory::allocatePadded(headerSize(false) + (text.size() + 1) * 2);
    auto* body = ::new (memory) StringBody(kStringKind, Form::kUTF16);
    std::memcpy(body->units(), text.data(), text.size() * 2);
    body->units()[text.size()] = 0;
    body->size = static_cast<std::uint32_t>(text.size());
    body->side().viewSize.store(Side::kNone, std::memory_order_relaxed);
    return body;
  }
  StringBody* body = createUninitialized(bytes, bytes == text.size());
  unicode::toUTF8(text.data(), text.size(), body->bytes());
  return body;
}

StringBody* StringBody::createMutable(std::size_t capacity) {
  void* memory = kvt::memory::allocate(sizeof(StringBody) + sizeof(MutableSide));
  auto* body = ::new (memory) StringBody(kMutableStringKind, Form::kASCII);
  NSMutableString owner(adopt, body);
  body->reserve(capacity);
  body->bytes()[0] = '\0';
  return static_cast<StringBody*>(owner.detach());
}

StringBody* StringBody::createMutableCopy(const StringBody& other) {
  NSMutableString owner(adopt, createMutable(other.form == Form::kUTF16 ? 0 : other.size));
  static_cast<StringBody*>(owner.object())->append(other);
  return static_cast<StringBody*>(owner.detach());
}

StringBody* StringBody::createCopy(const StringBody& other) {
  if (!other.isMutable()) {
    ObjectAccess::retain(&other);
    return const_cast<StringBody*>(&other);
  }
  if (other.form == Form::kUTF16) return createFromUTF16({other.units(), other.size});
  return create(other.bytes(), other.size, other.isASCII());
}

StringBody::~StringBody() {
  if (hasSide()) std::free(side().view.load(std::memory_order_acquire));
  if (isMutable()) std::free(mutableSide().buffer);
}

// ---- reading -------------------------------------------------------------------------------------------------------

std::uint32_t StringBody::lengthOfUTF8() const noexcept {
  std::uint32_t length = side().viewSize.load(std::memory_order_relaxed);
  if (length == Side::kUnknown) {
    length = static_cast<std::uint32_t>(unicode::utf16Length(bytes(), size));
    side().viewSize.store(length, std::memory_order_relaxed);
  }
  return length;
}

const char16_t* StringBody::utf16View() const {
  void* view = side().view.load(std::memory_order_acquire);
  if (view != nullptr) return static_cast<const char16_t*>(view);
  auto* fresh = static_cast<char16_t*>(allocateBytes((static_cast<std::size_t>(length()) + 1) * 2));
  unicode::toUTF16(bytes(), size, fresh);
  fresh[length()] = 0;
  if (!isMutable()) ObjectAccess::markDestructorNeeded(this);
  // Threads that ask at the same time make the same units; all but the first throw theirs away.
  if (side().view.compare_exchange_strong(view, fresh, std::memory_order_acq_rel, std::memory_order_acquire))
    return fresh;
  std::free(fresh);
  return static_cast<const char16_t*>(view);
}

std::string_view StringBody::utf8View() const {
  const std::uint32_t known = side().viewSize.load(std::memory_order_relaxed);
  if (known == Side::kNone) return {};
  void* view = side().view.load(std::memory_order_acquire);
  if (view != nullptr) return {static_cast<const char*>(view), side().viewSize.load(std::memory_order_relaxed)};
  bool wellFormed = true;
  const std::size_t count = unicode::utf8Length(units(), size, &wellFormed);
  if (!wellFormed) {
    side().viewSize.store(Side::kNone, std::memory_order_relaxed);
    return {};
  }
  auto* fresh = static_cast<char*>(allocateBytes(count + 1));
  unicode::toUTF8(units(), size, fresh);
  fresh[count] = '\0';
  if (!isMutable()) ObjectAccess::markDestructorNeeded(this);
  side().viewSize.store(static_cast<std::uint32_t>(count), std::memory_order_relaxed);
  if (side().view.compare_exchange_strong(view, fresh, std::memory_order_acq_rel, std::memory_order_acquire)) {
    return {fresh, count};
  }
  std::free(fresh);
  return {static_cast<const char*>(view), count};
}

std::uint32_t StringBody::hashOfUTF8(std::string_view text) noexcept { return hashBytes(text.data(), text.size()); }

std::uint32_t StringBody::hash() const {
  const bool cacheable = !isMutable();
  if (cacheable) {
    if (const std::uint32_t known = cachedHash.load(std::memory_order_relaxed)) return known;
  }
  const std::string_view text = utf8();
  const std::uint32_t hash = text.data() != nullptr
                                 ? hashBytes(text.data(), text.size())
                                 : hashBytes(reinterpret_cast<const char*>(units()), size * std::size_t{2});
  if (cacheable) cachedHash.store(hash, std::memory_order_relaxed);
  return hash;
}

bool StringBody::equal(const StringBody& a, const StringBody& b) {
  if (a.form == b.form) {
    return a.size == b.size &&
           std::memcmp(a.bytes(), b.bytes(), a.form == Form::kUTF16 ? a.size * std::size_t{2} : a.size) == 0;
  }
  if (a.length() != b.length()) return false;
  // UTF-8 bodies are not always flagged as finely as they could be (mutable text keeps its form when it shrinks).
  const std::string_view left = a.utf8();
  const std::string_view right = b.utf8();
  return left.data() != nullptr && right.data() != nullptr && left == right;
}

// ---- changing ------------------------------------------------------------------------------------------------------

void StringBody::dropView() noexcept {
  std::free(side().view.exchange(nullptr, std::memory_order_relaxed));
  side().viewSize.store(Side::kUnknown, std::memory_order_relaxed);
}

void StringBody::reserve(std::size_t needed) {
  const std::size_t width = form == Form::kUTF16 ? 2 : 1;
  const std::uint32_t capacity = side().capacity;
  void*& buffer = mutableSide().buffer;
  if (buffer != nullptr && needed <= capacity) return;
  if (needed > kMaximumSize) raiseTooLong();
  std::size_t grown = capacity + std::size_t{capacity} / 2;
  if (grown < 24) grown = 23;
  if (grown < needed) grown = needed;
  if (grown > kMaximumSize) grown = kMaximumSize;
  void* memory = std::realloc(buffer, (grown + 1) * width);
  if (memory == nullptr) throw std::bad_alloc();
  buffer = memory;
  side().capacity = static_cast<std::uint32_t>(grown);
}

bool StringBody::prefersUTF16() const noexcept {
  return form == Form::kUTF16 || (form == Form::kUTF8 && side().view.load(std::memory_order_relaxed) != nullptr);
}

void StringBody::becomeUTF8() noexcept {
  if (form != Form::kASCII) return;
  form = Form::kUTF8;
  side().viewSize.store(size, std::memory_order_relaxed);
}

void StringBody::becomeUTF16() {
  if (form == Form::kUTF16) return;
  const std::uint32_t count = length();
  char16_t* fresh = nullptr;
  if (form == Form::kUTF8) {
    fresh = const_cast<char16_t*>(utf16View());
    side().view.store(nullptr, std::memory_order_relaxed);
  } else {
    fresh = static_cast<char16_t*>(allocateBytes((std::size_t{count} + 1) * 2));
    unicode::toUTF16(bytes(), size, fresh);
    fresh[count] = 0;
  }
  std::free(std::exchange(mutableSide().buffer, fresh));
  size = count;
  side().capacity = count;
  side().viewSize.store(Side::kUnknown, std::memory_order_relaxed);
  form = Form::kUTF16;
}

void StringBody::appendUTF8(const char* text, std::size_t count, bool ascii) {
  if (count == 0) return;
  if (prefersUTF16()) {
    becomeUTF16();
    const std::size_t added = ascii ? count : unicode::utf16Length(text, count);
    reserve(size + added);
    unicode::toUTF16(text, count, units() + size);
    size += static_cast<std::uint32_t>(added);
    units()[size] = 0;
    dropView();
    return;
  }
  reserve(size + count);
  if (!ascii) becomeUTF8();
  if (form == Form::kUTF8) {
    const std::uint32_t known = side().viewSize.load(std::memory_order_relaxed);
    if (known != Side::kUnknown) {
      const std::size_t added = ascii ? count : unicode::utf16Length(text, count);
      side().viewSize.store(known + static_cast<std::uint32_t>(added), std::memory_order_relaxed);
    }
  }
  std::memcpy(bytes() + size, text, count);
  size += static_cast<std::uint32_t>(count);
  bytes()[size] = '\0';
}

void StringBody::appendUTF16(const char16_t* text, std::size_t count) {
  if (count == 0) return;
  bool wellFormed = true;
  const std::size_t added = unicode::utf8Length(text, count, &wellFormed);
  if (wellFormed && !prefersUTF16()) {
    reserve(size + added);
    const bool ascii = added == count;
    if (!ascii) becomeUTF8();
    if (form == Form::kUTF8) {
      const std::uint32_t known = side().viewSize.load(std::memory_order_relaxed);
      if (known != Side::kUnknown) {
        side().viewSize.store(known + static_cast<std::uint32_t>(count), std::memory_order_relaxed);
      }
    }
    unicode::toUTF8(text, count, bytes() + size);
    size += static_cast<std::uint32_t>(added);
    bytes()[size] = '\0';
    return;
  }
  becomeUTF16();
  reserve(size + count);
  std::memcpy(units() + size, text, count * 2);
  size += static_cast<std::uint32_t>(count);
  units()[size] = 0;
  dropView();
}

void StringBody::append(const StringBody& other) {
  if (&other == this) {
    const NSString copy(adopt, createCopy(other));
    append(*static_cast<const StringBody*>(copy.object()));
  } else if (other.form == Form::kUTF16) {
    appendUTF16(other.units(), other.size);
  } else {
    appendUTF8(other.bytes(), other.size, other.isASCII());
  }
}

void StringBody::replace(std::size_t location, std::size_t length, const StringBody& by) {
  if (&by == this) {
    const NSString copy(adopt, createCopy(by));
    return replace(location, length, *static_cast<const StringBody*>(copy.object()));
  }
  const std::size_t tail = this->length() - location - length;
  if (tail == 0 && length == 0) return append(by);
  if (form == Form::kASCII && by.isASCII()) {
    reserve(size - length + by.size);
    std::memmove(bytes() + location + by.size, bytes() + location + length, tail);
    std::memcpy(bytes() + location, by.bytes(), by.size);
    size = static_cast<std::uint32_t>(size - length + by.size);
    bytes()[size] = '\0';
    return;
  }
  becomeUTF16();
  const std::size_t added = by.length();
  reserve(size - length + added);
  std::memmove(units() + location + added, units() + location + length, tail * 2);
  if (by.form == Form::kUTF16)
    std::memcpy(units() + location, by.units(), added * 2);
  else
    unicode::toUTF16(by.bytes(), by.size, units() + location);
  size = static_cast<std::uint32_t>(size - length + added);
  units()[size] = 0;
  dropView();
}

void StringBody::clear() noexcept {
  dropView();
  if (form == Form::kUTF16) side().capacity = side().capacity * 2 + 1;
  form = Form::kASCII;
  size = 0;
  bytes()[0] = '\0';
}

// ---- UTF16Text -----------------------------------------------------------------------------------------------------

UTF16Text::UTF16Text(const StringBody& body) : size_(body.length()) {
  if (!body.isASCII()) {
    data_ = body.utf16();
    return;
  }
  char16_t* units = inline_;
  if (size_ >= std::size(inline_)) {
    units = new char16_t[size_ + 1];
    owned_ = true;
  }
  unicode::toUTF16(body.bytes(), body.size, units);
  units[size_] = 0;
  data_ = units;
}

}  // namespace kvt
