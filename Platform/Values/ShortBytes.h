// Copying and comparing a few bytes without a call; not installed. Longer stretches go to the C library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kvt {

namespace detail {
template <class Word>
Word loadWord(const void* bytes, std::size_t at) noexcept {
  Word word;
  std::memcpy(&word, static_cast<const char*>(bytes) + at, sizeof word);
  return word;
}
/// Both ends; they overlap where the stretch is shorter than two words.
template <class Word>
void copyEnds(void* to, const void* from, std::size_t size) noexcept {
  const auto first = loadWord<Word>(from, 0), last = loadWord<Word>(from, size - sizeof(Word));
  std::memcpy(to, &first, sizeof first);
  std::memcpy(static_cast<char*>(to) + size - sizeof(Word), &last, sizeof last);
}
template <class Word>
bool equalEnds(const void* a, const void* b, std::size_t size) noexcept {
  const std::size_t end = size - sizeof(Word);
  return loadWord<Word>(a, 0) == loadWord<Word>(b, 0) && loadWord<Word>(a, end) == loadWord<Word>(b, end);
}
}  // namespace detail

inline void copyBytes(void* to, const void* from, std::size_t size) noexcept {
  struct Block {
    std::uint64_t words[2];
  };
  if (size > 32) {
    std::memcpy(to, from, size);
  } else if (size >= 16) {
    detail::copyEnds<Block>(to, from, size);
  } else if (size >= 8) {
    detail::copyEnds<std::uint64_t>(to, from, size);
  } else if (size >= 4) {
    detail::copyEnds<std::uint32_t>(to, from, size);
  } else {
    for (std::size_t i = 0; i < size; ++i) static_cast<char*>(to)[i] = static_cast<const char*>(from)[i];
  }
}

inline bool equalBytes(const void* a, const void* b, std::size_t size) noexcept {
  if (size > 16) return std::memcmp(a, b, size) == 0;
  if (size >= 8) return detail::equalEnds<std::uint64_t>(a, b, size);
  if (size >= 4) return detail::equalEnds<std::uint32_t>(a, b, size);
  for (std::size_t i = 0; i < size; ++i) {
    if (static_cast<const char*>(a)[i] != static_cast<const char*>(b)[i]) return false;
  }
  return true;
}

}  // namespace kvt
