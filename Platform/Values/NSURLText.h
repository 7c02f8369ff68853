// URLs as text (RFC 3986): taking apart, checking, resolving, escaping; not installed. Everything is linear in the
// length.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvt::urltext {

/// A stretch of a text, or nothing: "no query" is not "an empty query".
struct Span {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  bool isThere = false;

  std::string_view of(std::string_view text) const noexcept { return text.substr(begin, end - begin); }
  std::uint32_t size() const noexcept { return end - begin; }
};

/// Where the components of a URL or relative reference stand in its text, without their delimiters.
struct Parts {
  Span scheme, user, password, host, port, path, query, fragment;
  bool hasAuthority = false;
  bool hasAddress = false;  // the host is an address in brackets; they belong to `host`
  /// "mailto:somebody": what follows the scheme has no structure.
  bool isOpaque = false;
};

/// The parts of a text that keeps to the grammar to the letter, none of any other. A port beyond 65535 is refused too.
std::optional<Parts> split(std::string_view text) noexcept;

/// The text of a reference as seen from a base (RFC 3986, section 5.2, strict).
std::string resolve(std::string_view base, const Parts& baseParts, std::string_view reference, const Parts& parts);

/// The path without "." and "..": of an absolute one none is left; a relative one keeps the ".." that it starts with.
std::string withoutDotSegments(std::string_view path);

/// What may stand unescaped.
enum class Allowed : std::uint8_t {
  kUser = 1,        // also in a password
  kHost = 2,        // a name, not an address in brackets
  kPath = 4,        // slashes included
  kQuery = 8,       // also in a fragment
  kQueryItem = 16,  // as kQuery, without what separates names and values
  kNewUser = 32,    // as kUser, without the colon that begins a password
  kNewPath = 64,    // as kPath, without the semicolon, which once divided parameters from a path
};
bool isAllowed(char c, Allowed where) noexcept;
/// Every other byte as "%XX".
std::string escape(std::string_view text, Allowed where);
/// Escapes are to be well-formed, which those of a split text are. The bytes may be no UTF-8.
std::string unescape(std::string_view text);
/// Only allowed characters and well-formed escapes.
bool isEscaped(std::string_view text, Allowed where) noexcept;
bool isScheme(std::string_view text) noexcept;
/// "[::1]", "[fe80::1%25eth0]", "[v1.x]".
bool isAddress(std::string_view text) noexcept;

/// Whether the path would be read with a scheme or an authority if it began a text.
bool isMistakable(std::string_view path, bool hasScheme, bool hasAuthority) noexcept;

}  // namespace kvt::urltext
