#include "NSURLText.h"

#include <array>

namespace kvt::urltext {
namespace {

constexpr bool isAlpha(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
constexpr int hexValue(char c) {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}
constexpr bool isUnreserved(char c) { return isAlpha(c) || isDigit(c) || c == '-' || c == '.' || c == '_' || c == '~'; }

constexpr auto kAllowed = [] {
  std::array<std::uint8_t, 128> table{};
  const auto allow = [&table](std::string_view characters, unsigned where) {
    for (const char c : characters) table[static_cast<unsigned char>(c)] |= static_cast<std::uint8_t>(where);
  };
  constexpr unsigned user = 1 | 32, host = 2, path = 4 | 64, query = 8, item = 16, everywhere = 127;
  for (unsigned c = 0; c < 128; ++c) {
    if (isUnreserved(static_cast<char>(c))) table[c] = everywhere;
  }
  allow("!$'()*+,", everywhere);
  allow(";", everywhere & ~64U);
  allow("&=", user | host | path | query);
  allow(":", 1 | path | query | item);
  allow("@", path | query | item);
  allow("/", path | query | item);
  allow("?", query | item);
  return table;
}();

constexpr bool allows(char c, unsigned where) {
  const auto code = static_cast<unsigned char>(c);
  return code < 128 && (kAllowed[code] & where) != 0;
}

constexpr bool isEscape(std::string_view text, std::size_t at) {
  return text.size() - at >= 3 && hexValue(text[at + 1]) >= 0 && hexValue(text[at + 2]) >= 0;
}

/// Where the one to four hexadecimal digits from `at` end; `at` when there are none.
std::size_t endOfHexGroup(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && end - at < 4 && hexValue(text[end]) >= 0) ++end;
  return end;
}

bool isIPv4(std::string_view text) {
  int parts = 0;
  for (std::size_t at = 0;; ++at) {
    const std::size_t start = at;
    int value = 0;
    while (at < text.size() && isDigit(text[at]) && at - start < 3) value = value * 10 + (text[at++] - '0');
    if (at == start || value > 255 || (at - start > 1 && text[start] == '0')) return false;
    if (++parts == 4) return at == text.size();
    if (at == text.size() || text[at] != '.') return false;
  }
}

bool isIPv6(std::string_view text) {
  int groups = 0;
  bool isShortened = false;
  std::size_t at = 0;
  if (text.substr(0, 2) == "::") {
    isShortened = true;
    at = 2;
  }
  while (at < text.size()) {
    const std::size_t end = endOfHexGroup(text, at);
    if (end < text.size() && text[end] == '.') {
      groups += 2;
      return isIPv4(text.substr(at)) && (isShortened ? groups <= 7 : groups == 8);
    }
    if (end == at || ++groups > 8) return false;
    at = end;
    if (at == text.size()) break;
    if (text[at++] != ':' || at == text.size()) return false;
    if (text[at] == ':') {
      if (isShortened) return false;
      isShortened = true;
      ++at;
    }
  }
  return isShortened ? groups <= 7 : groups == 8;
}

constexpr Span spanOf(std::size_t begin, std::size_t end) {
  return {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end), true};
}

bool splitAuthority(std::string_view text, std::size_t begin, std::size_t end, Parts* parts) noexcept {
  const std::string_view authority = text.substr(begin, end - begin);
  std::size_t host = 0;
  if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
    const std::string_view information = authority.substr(0, at);
    if (!isEscaped(information, Allowed::kUser)) return false;
    const std::size_t colon = information.find(':');
    parts->user = spanOf(begin, begin + (colon == std::string_view::npos ? at : colon));
    if (colon != std::string_view::npos) parts->password = spanOf(begin + colon + 1, begin + at);
    host = at + 1;
  }
  const std::string_view rest = authority.substr(host);
  std::size_t hostSize = 0;
  if (!rest.empty() && rest[0] == '[') {
    const std::size_t bracket = rest.find(']');
    if (bracket == std::string_view::npos) return false;
    hostSize = bracket + 1;
    if (!isAddress(rest.substr(0, hostSize))) return false;
    parts->hasAddress = true;
  } else {
    hostSize = rest.find(':');
    if (hostSize == std::string_view::npos) hostSize = rest.size();
    if (!isEscaped(rest.substr(0, hostSize), Allowed::kHost)) return false;
  }
  parts->host = spanOf(begin + host, begin + host + hostSize);
  if (hostSize == rest.size()) return true;
  if (rest[hostSize] != ':') return false;
  unsigned port = 0;
  for (const char c : rest.substr(hostSize + 1)) {
    if (!isDigit(c)) return false;
    port = port * 10 + static_cast<unsigned>(c - '0');
    if (port > 65535) return false;
  }
  parts->port = spanOf(begin + host + hostSize + 1, end);
  return true;
}

}  // namespace

bool isAllowed(char c, Allowed where) noexcept { return allows(c, static_cast<unsigned>(where)); }

bool isEscaped(std::string_view text, Allowed where) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%') {
      if (!isEscape(text, i)) return false;
      i += 2;
    } else if (!isAllowed(text[i], where)) {
      return false;
    }
  }
  return true;
}

bool isScheme(std::string_view text) noexcept {
  if (text.empty() || !isAlpha(text[0])) return false;
  for (const char c : text) {
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return false;
  }
  return true;
}

bool isAddress(std::string_view text) noexcept {
  if (text.size() < 4 || text.front() != '[' || text.back() != ']') return false;
  text = text.substr(1, text.size() - 2);
  if (text[0] == 'v' || text[0] == 'V') {
    std::size_t i = 1;
    while (i < text.size() && hexValue(text[i]) >= 0) ++i;
    if (i == 1 || i == text.size() || text[i] != '.' || ++i == text.size()) return false;
    for (; i < text.size(); ++i) {
      if (!isAllowed(text[i], Allowed::kUser)) return false;
    }
    return true;
  }
  if (const std::size_t zone = text.find('%'); zone != std::string_view::npos) {
    const std::string_view name = text.substr(zone);
    if (name.size() < 4 || name.substr(0, 3) != "%25") return false;
    for (std::size_t i = 3; i < name.size(); ++i) {
      if (name[i] == '%' && isEscape(name, i))
        i += 2;
      else if (!isUnreserved(name[i]))
        return false;
    }
    text = text.substr(0, zone);
  }
  return isIPv6(text);
}

std::optional<Parts> split(std::string_view text) noexcept {
  Parts parts;
  std::size_t at = text.find_first_of(":/?#");
  if (at != std::string_view::npos && text[at] == ':') {
    // A first segment with a colon that is no scheme is nothing at all.
    if (!isScheme(text.substr(0, at))) return std::nullopt;
    parts.scheme = spanOf(0, at);
    ++at;
  } else {
    at = 0;
  }
  if (text.substr(at, 2) == "//") {
    std::size_t end = text.find_first_of("/?#", at + 2);
    if (end == std::string_view::npos) end = text.size();
    parts.hasAuthority = true;
    if (!splitAuthority(text, at + 2, end, &parts)) return std::nullopt;
    at = end;
  }
  parts.isOpaque = parts.scheme.isThere && !parts.hasAuthority && text.substr(at, 1) != "/";

  std::size_t end = text.find_first_of("?#", at);
  if (end == std::string_view::npos) end = text.size();
  parts.path = spanOf(at, end);
  if (end < text.size() && text[end] == '?') {
    const std::size_t start = end + 1;
    end = text.find('#', start);
    if (end == std::string_view::npos) end = text.size();
    parts.query = spanOf(start, end);
  }
  if (end < text.size()) parts.fragment = spanOf(end + 1, text.size());

  if (!isEscaped(parts.path.of(text), Allowed::kPath)) return std::nullopt;
  if (!isEscaped(parts.query.of(text), Allowed::kQuery)) return std::nullopt;
  if (!isEscaped(parts.fragment.of(text), Allowed::kQuery)) return std::nullopt;
  return parts;
}

std::string withoutDotSegments(std::string_view path) {
  const bool isAbsolute = !path.empty() && path[0] == '/';
  // Segments are put behind `result` one by one; ".." takes the last one away. What is taken away was put there before,
  // so the work is linear.
  std::string result(isAbsolute ? "/" : "");
  std::size_t floor = result.size();  // what ".." must leave
  std::size_t at = floor;
  while (at < path.size()) {
    std::size_t end = path.find('/', at);
    const bool isLast = end == std::string_view::npos;
    if (isLast) end = path.size();
    const std::string_view segment = path.substr(at, end - at);
    at = end + 1;
    if (segment == ".") continue;
    if (segment == "..") {
      if (result.size() > floor) {
        // Every segment here ends with its slash.
        const std::size_t slash = result.size() < 2 ? std::string::npos : result.rfind('/', result.size() - 2);
        result.resize(slash == std::string::npos || slash + 1 < floor ? floor : slash + 1);
      } else if (!isAbsolute) {
        result += "../";
        floor = result.size();
      }
      continue;
    }
    result += segment;
    if (!isLast) result += '/';
  }
  // An empty reference would mean something else.
  if (result.empty() && !path.empty()) result = "./";
  return result;
}

bool isMistakable(std::string_view path, bool hasScheme, bool hasAuthority) noexcept {
  if (hasAuthority) return false;
  if (path.substr(0, 2) == "//") return true;
  if (hasScheme) return false;
  const std::size_t at = path.find_first_of("/:");
  return at != std::string_view::npos && path[at] == ':';
}

std::string resolve(std::string_view base, const Parts& baseParts, std::string_view reference, const Parts& parts) {
  const bool keepsAuthority = !parts.scheme.isThere && !parts.hasAuthority;
  const bool keepsPath = keepsAuthority && parts.path.size() == 0;
  std::string path;
  if (keepsPath) {
    path = baseParts.path.of(base);
  } else if (!keepsAuthority || reference[parts.path.begin] == '/') {
    path = parts.path.of(reference);
    if (!parts.isOpaque) path = withoutDotSegments(path);
  } else {
    const std::string_view basePath = baseParts.path.of(base);
    if (baseParts.hasAuthority && basePath.empty())
      path = "/";
    else
      path = basePath.substr(0, basePath.rfind('/') + 1);
    path += parts.path.of(reference);
    path = withoutDotSegments(path);
  }

  std::string result;
  result.reserve(base.size() + reference.size() + 4);
  const bool hasScheme = parts.scheme.isThere || baseParts.scheme.isThere;
  if (parts.scheme.isThere)
    result.append(parts.scheme.of(reference)).append(1, ':');
  else if (hasScheme)
    result.append(baseParts.scheme.of(base)).append(1, ':');
  // The authority stands between the two slashes and the path.
  const auto appendAuthority = [&result](std::string_view text, const Parts& of) {
    const std::size_t begin = of.user.isThere ? of.user.begin : of.host.begin;
    result.append("//").append(text.substr(begin, of.path.begin - begin));
  };
  const bool hasAuthority = keepsAuthority ? baseParts.hasAuthority : parts.hasAuthority;
  if (hasAuthority) {
    if (keepsAuthority)
      appendAuthority(base, baseParts);
    else
      appendAuthority(reference, parts);
  }
  if (isMistakable(path, hasScheme, hasAuthority)) result += path[0] == '/' ? "/." : "./";
  result += path;
  if (parts.query.isThere)
    result.append(1, '?').append(parts.query.of(reference));
  else if (keepsPath && baseParts.query.isThere)
    result.append(1, '?').append(baseParts.query.of(base));
  if (parts.fragment.isThere) result.append(1, '#').append(parts.fragment.of(reference));
  return result;
}

std::string escape(std::string_view text, Allowed where) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    if (isAllowed(c, where)) {
      result += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      result += '%';
      result += kHex[byte >> 4];
      result += kHex[byte & 15];
    }
  }
  return result;
}

std::string unescape(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && isEscape(text, i)) {
      result += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

}  // namespace kvt::urltext
