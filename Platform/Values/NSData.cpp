#include "NSData.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSDataBody.h"
#include "NSDataHash.h"
#include "NSError.h"
#include "NSObject.h"
#include "NSString.h"

namespace kvt {

// ---- body ---------------------------------------------------------------------------------------------------------

namespace {

/// More than this no object can have, and additions below it do not overflow.
constexpr std::size_t kMaximumLength = PTRDIFF_MAX;

[[noreturn]] void raiseNoMemory(std::size_t length) {
  objc_raise("NSMallocException", "NSData: there is no memory for " + std::to_string(length) + " bytes");
}

}  // namespace

DataBody::DataBody(ValueKind kind) noexcept
    : Object(kind == kDataKind ? classOf<NSData>() : classOf<NSMutableData>(), objectKind(kind)) {
  if (kind == kDataKind) ObjectAccess::markImmutableValue(this);
}

DataBody::~DataBody() { std::free(bytes); }

DataBody* DataBody::create(ValueKind kind, std::size_t length) {
  auto* memory = length == 0 || length > kMaximumLength ? nullptr : static_cast<std::uint8_t*>(std::malloc(length));
  if (memory == nullptr && length != 0) raiseNoMemory(length);
  auto* body = new DataBody(kind);
  body->bytes = memory;
  body->length = body->capacity = length;
  return body;
}

DataBody* DataBody::create(ValueKind kind, const void* source, std::size_t length) {
  DataBody* body = create(kind, length);
  if (length != 0) std::memcpy(body->bytes, source, length);
  return body;
}

bool DataBody::tryReserve(std::size_t needed) noexcept {
  if (needed <= capacity) return true;
  if (needed > kMaximumLength) return false;
  const std::size_t wanted = std::min(std::max({needed, capacity + capacity / 2, std::size_t{32}}), kMaximumLength);
  void* memory = std::realloc(bytes, wanted);
  if (memory == nullptr) return false;
  bytes = static_cast<std::uint8_t*>(memory);
  capacity = wanted;
  return true;
}

void DataBody::reserve(std::size_t needed) {
  if (!tryReserve(needed)) raiseNoMemory(needed);
}

namespace {

const DataBody* bodyOf(const NSData& data) noexcept { return static_cast<const DataBody*>(data.object()); }
DataBody* mutableBodyOf(const NSMutableData& data) noexcept { return static_cast<DataBody*>(data.object()); }

std::string text(NSRange range) {
  return "{" + std::to_string(range.location) + ", " + std::to_string(range.length) + "}";
}

void checkRange(NSRange range, std::size_t length, const char* method) {
  if (range.location <= length && range.length <= length - range.location) return;
  objc_raise("NSRangeException",
             std::string(method) + ": range " + text(range) + " exceeds data length " + std::to_string(length));
}

void checkBytes(const void* bytes, NSUInteger length, const char* method) {
  if (bytes != nullptr || length == 0) return;
  objc_raise("NSInvalidArgumentException",
             std::string(method) + ": null bytes for a length of " + std::to_string(length));
}

// ---- searching ----------------------------------------------------------------------------------------------------

/// Where the needle lies last, by Knuth, Morris and Pratt from the end; `size` when it does not.
std::size_t findLast(const std::uint8_t* bytes, std::size_t size, const std::uint8_t* needle, std::size_t count) {
  const auto needleFromEnd = [&](std::size_t i) { return needle[count - 1 - i]; };
  std::vector<std::size_t> border(count, 0);
  for (std::size_t i = 1, matched = 0; i < count; ++i) {
    while (matched > 0 && needleFromEnd(i) != needleFromEnd(matched)) matched = border[matched - 1];
    if (needleFromEnd(i) == needleFromEnd(matched)) ++matched;
    border[i] = matched;
  }
  for (std::size_t i = size, matched = 0; i-- > 0;) {
    while (matched > 0 && bytes[i] != needleFromEnd(matched)) matched = border[matched - 1];
    if (bytes[i] == needleFromEnd(matched)) ++matched;
    if (matched == count) return i;
  }
  return size;
}

// ---- class --------------------------------------------------------------------------------------------------------

std::uint64_t hashOf(const Object* object) {
  const DataBody* body = DataBody::of(object);
  return hashOfBytes(body->bytes, body->length);
}

bool isEqualObject(const Object* a, const Object* b) {
  const DataBody* x = DataBody::of(a);
  const DataBody* y = DataBody::of(b);
  return y != nullptr && x->length == y->length && (x->length == 0 || std::memcmp(x->bytes, y->bytes, x->length) == 0);
}

void appendHex(std::string& out, const std::uint8_t* bytes, std::size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (std::size_t i = 0; i < count; ++i) {
    out += kDigits[bytes[i] >> 4];
    out += kDigits[bytes[i] & 15];
  }
}

std::string describe(const DataBody& body) {
  std::string out = "{length = " + std::to_string(body.length) + ", bytes = 0x";
  if (body.length <= 24) {
    appendHex(out, body.bytes, body.length);
    return out + "}";
  }
  for (std::size_t i = 0; i < 16; i += 4) {
    appendHex(out, body.bytes + i, 4);
    out += ' ';
  }
  out += "... ";
  for (std::size_t i = body.length - 8; i < body.length; i += 4) {
    appendHex(out, body.bytes + i, 4);
    out += ' ';
  }
  return out + "}";
}

bool isEqualMethod(const NSData& self, const id& other) { return self.isEqualToData(other.as<NSData>()); }
std::uint64_t hashMethod(const NSData& self) { return hashOf(self.object()); }
NSString descriptionMethod(const NSData& self) { return NSString(describe(*bodyOf(self))); }
Object* copyWithZone(Object* self, SEL, void*) { return NSData(borrow, self).copy().detach(); }
Object* mutableCopyWithZone(Object* self, SEL, void*) { return NSData(borrow, self).mutableCopy().detach(); }

}  // namespace

Class NSData::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSData> c("NSData", classOf<NSObject>());
    c.createWith([](Class) -> Object* { return DataBody::create(kDataKind, 0); });
    c.classMethod<&NSData::data>("data").classMethod<&NSData::dataWithBytes_length>("dataWithBytes:length:");
    c.classMethod<&NSData::dataWithData>("dataWithData:");
    c.classMethod<&NSData::dataWithContentsOfFile>("dataWithContentsOfFile:");
    c.classMethod<&NSData::dataWithContentsOfFile_options_error>("dataWithContentsOfFile:options:error:");
    c.method<&NSData::length>("length").method<&NSData::bytes>("bytes");
    c.method<&NSData::getBytes_length>("getBytes:length:").method<&NSData::getBytes_range>("getBytes:range:");
    c.method<&NSData::subdataWithRange>("subdataWithRange:");
    c.method<&NSData::rangeOfData_options_range>("rangeOfData:options:range:");
    c.method<&NSData::base64EncodedStringWithOptions>("base64EncodedStringWithOptions:");
    c.method<&NSData::base64EncodedDataWithOptions>("base64EncodedDataWithOptions:");
    c.method<&NSData::writeToFile_atomically>("writeToFile:atomically:");
    c.method<&NSData::writeToFile_options_error>("writeToFile:options:error:");
    c.method<&NSData::isEqualToData>("isEqualToData:");
    c.method<&isEqualMethod>("isEqual:").method<&hashMethod>("hash").method<&descriptionMethod>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    c.rawMethod("mutableCopyWithZone:", reinterpret_cast<IMP>(&mutableCopyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kDataKind, {&hashOf, &isEqualObject});
    registerValueOperations(kMutableDataKind, {&hashOf, &isEqualObject});
    return c.registerClass();
  }();
  return cls;
}

Class NSMutableData::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSMutableData> c("NSMutableData", classOf<NSData>());
    c.createWith([](Class) -> Object* { return DataBody::create(kMutableDataKind, 0); });
    c.classMethod<&NSMutableData::data>("data");
    c.classMethod<&NSMutableData::dataWithCapacity>("dataWithCapacity:");
    c.classMethod<&NSMutableData::dataWithLength>("dataWithLength:");
    c.classMethod<&NSMutableData::dataWithBytes_length>("dataWithBytes:length:");
    c.classMethod<&NSMutableData::dataWithData>("dataWithData:");
    c.method<&NSMutableData::mutableBytes>("mutableBytes");
    c.method<&NSMutableData::setLength>("setLength:").method<&NSMutableData::increaseLengthBy>("increaseLengthBy:");
    c.method<&NSMutableData::appendData>("appendData:");
    c.method<&NSMutableData::appendBytes_length>("appendBytes:length:");
    c.method<&NSMutableData::setData>("setData:");
    c.method<&NSMutableData::replaceBytesInRange_withBytes>("replaceBytesInRange:withBytes:");
    c.method<&NSMutableData::replaceBytesInRange_withBytes_length>("replaceBytesInRange:withBytes:length:");
    c.method<&NSMutableData::resetBytesInRange>("resetBytesInRange:");
    return c.registerClass();
  }();
  return cls;
}

bool NSData::kvtAccepts(const Object* object) noexcept { return isKindBetween(object, kDataKind, kMutableDataKind); }
bool NSMutableData::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kMutableDataKind, kMutableDataKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSData>(), classOf<NSMutableData>(), true);

// ---- NSData -------------------------------------------------------------------------------------------------------

NSData::NSData(std::string_view bytes) : NSData(adopt, DataBody::create(kDataKind, bytes.data(), bytes.size())) {}
NSData::NSData(const std::vector<std::byte>& bytes)
    : NSData(adopt, DataBody::create(kDataKind, bytes.data(), bytes.size())) {}
NSData::NSData(const std::vector<std::uint8_t>& bytes)
    : NSData(adopt, DataBody::create(kDataKind, bytes.data(), bytes.size())) {}

NSData NSData::data() {
  static const NSData empty = [] {
    DataBody* body = DataBody::create(kDataKind, 0);
    ObjectAccess::makeImmortal(body);
    return NSData(adopt, body);
  }();
  return empty;
}

NSData NSData::dataWithBytes_length(const void* bytes, NSUInteger length) {
  checkBytes(bytes, length, "+[NSData dataWithBytes:length:]");
  return NSData(adopt, DataBody::create(kDataKind, bytes, length));
}

NSData NSData::dataWithData(const NSData& other) { return other ? other.copy() : data(); }

NSUInteger NSData::length() const noexcept { return *this ? bodyOf(*this)->length : 0; }
const void* NSData::bytes() const noexcept { return length() != 0 ? bodyOf(*this)->bytes : nullptr; }
std::string_view NSData::view() const noexcept {
  return length() != 0 ? std::string_view(reinterpret_cast<const char*>(bodyOf(*this)->bytes), bodyOf(*this)->length)
                       : std::string_view();
}
std::vector<std::uint8_t> NSData::vector() const {
  const auto* first = static_cast<const std::uint8_t*>(bytes());
  return first != nullptr ? std::vector<std::uint8_t>(first, first + length()) : std::vector<std::uint8_t>();
}

void NSData::getBytes_length(void* buffer, NSUInteger count) const noexcept {
  const std::size_t size = std::min<std::size_t>(count, length());
  if (size != 0) std::memcpy(buffer, bytes(), size);
}

void NSData::getBytes_range(void* buffer, NSRange range) const {
  if (!*this) return;
  checkRange(range, length(), "-[NSData getBytes:range:]");
  if (range.length != 0) std::memcpy(buffer, bodyOf(*this)->bytes + range.location, range.length);
}

NSData NSData::subdataWithRange(NSRange range) const {
  if (!*this) return {};
  checkRange(range, length(), "-[NSData subdataWithRange:]");
  if (range.length == 0) return data();
  if (range.length == length()) return copy();
  return NSData(adopt, DataBody::create(kDataKind, bodyOf(*this)->bytes + range.location, range.length));
}

NSRange NSData::rangeOfData_options_range(const NSData& data, NSUInteger options, NSRange range) const {
  if (!*this) return {};
  if (!data) objc_raise("NSInvalidArgumentException", "-[NSData rangeOfData:options:range:]: nil argument");
  checkRange(range, length(), "-[NSData rangeOfData:options:range:]");
  const std::size_t count = data.length();
  const NSRange none{NSNotFound, 0};
  if (count == 0 || count > range.length) return none;

  const std::uint8_t* first = bodyOf(*this)->bytes + range.location;
  const std::uint8_t* needle = bodyOf(data)->bytes;
  const bool backwards = (options & NSDataSearchBackwards) != 0;
  if ((options & NSDataSearchAnchored) != 0) {
    const std::size_t at = backwards ? range.length - count : 0;
    return std::memcmp(first + at, needle, count) == 0 ? NSRange{range.location + at, count} : none;
  }
  if (backwards) {
    const std::size_t at = findLast(first, range.length, needle, count);
    return at < range.length ? NSRange{range.location + at, count} : none;
  }
  const void* found = ::memmem(first, range.length, needle, count);
  if (found == nullptr) return none;
  return {range.location + static_cast<NSUInteger>(static_cast<const std::uint8_t*>(found) - first), count};
}

bool NSData::isEqualToData(const NSData& other) const noexcept {
  return *this && other && (isIdentical(*this, other) || isEqualObject(object(), other.object()));
}

NSData NSData::copy() const {
  if (!*this || kindOf(object()) == kDataKind) return *this;
  return NSData(adopt, DataBody::create(kDataKind, bodyOf(*this)->bytes, bodyOf(*this)->length));
}

NSMutableData NSData::mutableCopy() const {
  if (!*this) return {};
  return NSMutableData(adopt, DataBody::create(kMutableDataKind, bodyOf(*this)->bytes, bodyOf(*this)->length));
}

// ---- NSMutableData ------------------------------------------------------------------------------------------------

NSMutableData NSMutableData::data() { return NSMutableData(adopt, DataBody::create(kMutableDataKind, 0)); }

NSMutableData NSMutableData::dataWithCapacity(NSUInteger capacity) {
  NSMutableData data = NSMutableData::data();
  mutableBodyOf(data)->reserve(capacity);
  return data;
}

NSMutableData NSMutableData::dataWithLength(NSUInteger length) {
  NSMutableData data = NSMutableData::data();
  data.setLength(length);
  return data;
}

NSMutableData NSMutableData::dataWithBytes_length(const void* bytes, NSUInteger length) {
  checkBytes(bytes, length, "+[NSMutableData dataWithBytes:length:]");
  return NSMutableData(adopt, DataBody::create(kMutableDataKind, bytes, length));
}

NSMutableData NSMutableData::dataWithData(const NSData& other) { return other ? other.mutableCopy() : data(); }

void* NSMutableData::mutableBytes() const noexcept { return length() != 0 ? mutableBodyOf(*this)->bytes : nullptr; }

void NSMutableData::setLength(NSUInteger length) const {
  if (!*this) return;
  DataBody* body = mutableBodyOf(*this);
  const std::size_t old = body->length;
  body->resize(length);
  if (length > old) std::memset(body->bytes + old, 0, length - old);
}

void NSMutableData::increaseLengthBy(NSUInteger count) const {
  if (!*this) return;
  const std::size_t old = length();
  if (count > kMaximumLength - old) raiseNoMemory(count);
  setLength(old + count);
}

void NSMutableData::appendData(const NSData& data) const {
  // The length is taken before the body grows: the data may be the receiver itself.
  if (*this && data) appendBytes_length(data.bytes(), data.length());
}

void NSMutableData::appendBytes_length(const void* bytes, NSUInteger length) const {
  if (!*this || length == 0) return;
  checkBytes(bytes, length, "-[NSMutableData appendBytes:length:]");
  replaceBytesInRange_withBytes_length({this->length(), 0}, bytes, length);
}

void NSMutableData::setData(const NSData& data) const {
  if (!*this) return;
  replaceBytesInRange_withBytes_length({0, length()}, data.bytes(), data.length());
}

void NSMutableData::replaceBytesInRange_withBytes(NSRange range, const void* bytes) const {
  if (!*this) return;
  checkBytes(bytes, range.length, "-[NSMutableData replaceBytesInRange:withBytes:]");
  const std::size_t old = length();
  if (range.location > old) checkRange(range, old, "-[NSMutableData replaceBytesInRange:withBytes:]");
  const NSRange within{range.location, std::min<NSUInteger>(range.length, old - range.location)};
  replaceBytesInRange_withBytes_length(within, bytes, range.length);
}

void NSMutableData::resetBytesInRange(NSRange range) const {
  if (!*this) return;
  const std::size_t old = length();
  if (range.location > old) checkRange(range, old, "-[NSMutableData resetBytesInRange:]");
  if (range.length > kMaximumLength - range.location) raiseNoMemory(range.length);
  if (range.location + range.length > old) setLength(range.location + range.length);
  if (range.length != 0) std::memset(mutableBodyOf(*this)->bytes + range.location, 0, range.length);
}

void NSMutableData::replaceBytesInRange_withBytes_length(NSRange range, const void* bytes, NSUInteger count) const {
  if (!*this) return;
  checkBytes(bytes, count, "-[NSMutableData replaceBytesInRange:withBytes:length:]");
  DataBody* body = mutableBodyOf(*this);
  const std::size_t old = body->length;
  checkRange(range, old, "-[NSMutableData replaceBytesInRange:withBytes:length:]");
  if (count > kMaximumLength - old) raiseNoMemory(count);

  // Bytes of the receiver itself would move under the copy.
  const auto* source = static_cast<const std::uint8_t*>(bytes);
  const auto begin = reinterpret_cast<std::uintptr_t>(body->bytes), from = reinterpret_cast<std::uintptr_t>(source);
  const bool own = count != 0 && from < begin + body->capacity && from + count > begin;
  std::vector<std::uint8_t> saved;
  if (own) {
    saved.assign(source, source + count);
    source = saved.data();
  }
  const std::size_t tail = old - range.location - range.length;
  body->reserve(old - range.length + count);
  if (body->bytes == nullptr) return;
  std::memmove(body->bytes + range.location + count, body->bytes + range.location + range.length, tail);
  if (count != 0) std::memcpy(body->bytes + range.location, source, count);
  body->length = old - range.length + count;
}

}  // namespace kvt
