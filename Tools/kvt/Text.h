// Text for people: what a terminal may be shown, how wide it is there, and numbers that can be read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kvt::tool {

/// Takes the first code point away from `utf8`, which must not be empty. Of bytes that are no UTF-8 it takes one and
/// answers 0xDC00 plus that byte: a lone surrogate, which is no character either.
char32_t nextCodePoint(std::string_view& utf8) noexcept;

/// With everything escaped that would steer a terminal or reorder its text: controls, direction marks, line separators
/// and bytes that are no UTF-8. `keepNewlines` leaves line feeds in place.
std::string printable(std::string_view utf8, bool keepNewlines = false);

/// Columns on a terminal: wide characters (East Asian, emoji) take two, combining ones none.
std::size_t displayWidth(std::string_view utf8) noexcept;
/// Cut to at most `width` columns; what is cut ends with "…".
std::string fitted(std::string_view utf8, std::size_t width);
/// Filled up with blanks on the right, or on the left.
std::string padded(std::string_view utf8, std::size_t width);
std::string paddedLeft(std::string_view utf8, std::size_t width);

/// "1,234,567".
std::string grouped(std::uint64_t number);
/// "1 object", "2 objects".
std::string counted(std::uint64_t number, std::string_view singular, std::string_view plural);
/// Decimal units, three digits: "874 kB", "1.25 MB".
std::string byteCount(std::uint64_t bytes);
/// "0.42 ms", "1.25 s".
std::string duration(double seconds);
/// Three digits: "412", "1.23 million".
std::string magnitude(double number);

}  // namespace kvt::tool
