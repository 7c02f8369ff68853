// Character sets in keyed archives: a bit for each of the 65536 characters of the first plane, and behind it, for each
// further plane that has members, its number in a byte and its bits.
#include <unicode/uniset.h>

#include <memory>
#include <string>

#include "ArchivedValues.h"
#include "NSCharacterSetBody.h"

namespace kvt {
namespace {

using Node = PropertyListNode;
using archive::archiverOf;

constexpr UChar32 kPlaneSize = 0x10000;
constexpr std::size_t kPlaneBytes = kPlaneSize / 8;
constexpr UChar32 kPlanes = 17;

void addRange(std::string& bits, std::size_t start, UChar32 first, UChar32 last) {
  for (UChar32 c = first; c <= last; ++c) {
    const std::size_t at = start + static_cast<std::size_t>(c) / 8;
    bits[at] = static_cast<char>(static_cast<unsigned char>(bits[at]) | 1u << (c & 7));
  }
}

std::string bitmapOf(const icu::UnicodeSet& set) {
  std::string bits(kPlaneBytes, '\0');
  std::size_t start = 0;
  UChar32 plane = 0;
  for (std::int32_t i = 0; i < set.getRangeCount(); ++i) {
    UChar32 first = set.getRangeStart(i);
    const UChar32 last = set.getRangeEnd(i);
    while (first <= last) {
      if (first / kPlaneSize != plane) {
        plane = first / kPlaneSize;
        bits += static_cast<char>(plane);
        start = bits.size();
        bits.append(kPlaneBytes, '\0');
      }
      const UChar32 end = std::min(last, (plane + 1) * kPlaneSize - 1);
      addRange(bits, start, first % kPlaneSize, end % kPlaneSize);
      first = end + 1;
    }
  }
  return bits;
}

void addPlane(icu::UnicodeSet& set, UChar32 plane, const char* bits) {
  const auto isMember = [bits](UChar32 c) { return (static_cast<unsigned char>(bits[c / 8]) >> (c & 7) & 1) != 0; };
  for (UChar32 c = 0; c < kPlaneSize;) {
    if (!isMember(c)) {
      ++c;
      continue;
    }
    const UChar32 first = c;
    while (c < kPlaneSize && isMember(c)) ++c;
    set.add(plane * kPlaneSize + first, plane * kPlaneSize + c - 1);
  }
}

void encodeCharacterSet(const NSCharacterSet& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  const NSData bitmap(std::string_view(bitmapOf(*CharacterSetBody::of(self).members)));
  archiver.putObject(bitmap.object(), "NSBitmapObject");
}

id decodeCharacterSet(UnarchiverBody& unarchiver, Class) {
  const auto fail = [&unarchiver](const char* reason) {
    unarchiver.fail(reason);
    return id();
  };
  const Node* bitmap = unarchiver.plain("NSBitmapObject");
  if (bitmap == nullptr) bitmap = unarchiver.plain("NSBitmap");
  if (bitmap == nullptr || bitmap->type != Node::Type::kData) return fail("A character set has no bitmap.");
  if (bitmap->size < kPlaneBytes || (bitmap->size - kPlaneBytes) % (kPlaneBytes + 1) != 0) {
    return fail("A character set has a bitmap of an odd size.");
  }
  auto members = std::make_unique<icu::UnicodeSet>();
  addPlane(*members, 0, bitmap->bytes);
  UChar32 previous = 0;
  for (std::size_t at = kPlaneBytes; at < bitmap->size; at += kPlaneBytes + 1) {
    const UChar32 plane = static_cast<unsigned char>(bitmap->bytes[at]);
    if (plane <= previous || plane >= kPlanes) return fail("A character set has a bitmap of an unknown plane.");
    addPlane(*members, plane, bitmap->bytes + at + 1);
    previous = plane;
  }
  bool isInverted = false;
  if (unarchiver.find("NSIsInverted") != nullptr && unarchiver.boolean("NSIsInverted", isInverted) && isInverted) {
    members->complement();
  }
  return id(adopt, new CharacterSetBody(std::move(members)));
}

[[maybe_unused]] const bool registered =
    archive::registerValue<NSCharacterSet, &encodeCharacterSet, &decodeCharacterSet>();

}  // namespace
}  // namespace kvt
