// The body of a character set, for the text operations that ask it for every character; not installed.
#pragma once

#include <unicode/uniset.h>

#include <memory>

#include "Kinds.h"
#include "NSCharacterSet.h"

namespace kvt {

struct CharacterSetBody final : Object {
  /// Takes the set over.
  explicit CharacterSetBody(std::unique_ptr<icu::UnicodeSet> members);

  static const CharacterSetBody& of(const NSCharacterSet& set) noexcept {
    return *static_cast<const CharacterSetBody*>(set.object());
  }

  bool contains(char32_t c) const noexcept {
    return c < 128 ? (ascii[c >> 6] >> (c & 63) & 1) != 0 : containsBeyondASCII(c);
  }
  bool containsBeyondASCII(char32_t c) const noexcept { return members->contains(static_cast<UChar32>(c)) != 0; }

  std::uint64_t ascii[2] = {0, 0};
  std::unique_ptr<icu::UnicodeSet> members;  // frozen
};

}  // namespace kvt
