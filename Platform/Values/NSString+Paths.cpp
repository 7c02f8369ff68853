// Paths as text: components, extensions, tilde. Only the operations that say so look at the file system.
#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSArray.h"
#include "NSObject.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

/// The path's bytes; text with a lone surrogate names no file and is taken with U+FFFD in it.
std::string bytesOf(const NSString& path) { return path.str(); }

std::string_view withoutTrailingSlashes(std::string_view path) noexcept {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return path;
}

/// Repeated and trailing slashes taken away.
std::string tidied(std::string_view path) {
  std::string result;
  result.reserve(path.size());
  for (const char c : path) {
    if (c != '/' || result.empty() || result.back() != '/') result += c;
  }
  if (result.size() > 1 && result.back() == '/') result.pop_back();
  return result;
}

std::string_view lastComponent(std::string_view path) noexcept {
  path = withoutTrailingSlashes(path);
  return path == "/" ? path : path.substr(path.rfind('/') + 1);
}

/// Where the extension's dot stands in a component; npos when there is none: a name needs a character in front of it,
/// and one behind.
std::size_t extensionDot(std::string_view component) noexcept {
  const std::size_t dot = component.rfind('.');
  return dot == 0 || dot == component.npos || dot + 1 == component.size() ? component.npos : dot;
}

std::string homeOf(const std::string& user) {
  if (user.empty()) {
    if (const char* home = getenv("HOME"); home != nullptr && *home != '\0') return home;
  }
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (user.empty())
    getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found);
  else
    getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
  return found != nullptr && found->pw_dir != nullptr ? found->pw_dir : "";
}

std::string expandTilde(const std::string& path) {
  if (!path.starts_with('~')) return path;
  const std::size_t end = std::min(path.find('/'), path.size());
  const std::string home = homeOf(path.substr(1, end - 1));
  return home.empty() ? path : tidied(home + path.substr(end));
}

/// The real path of what exists; as it is otherwise.
std::string resolved(const std::string& path) {
  char* real = ::realpath(path.c_str(), nullptr);
  if (real == nullptr) return path;
  std::string result = real;
  ::free(real);
  return result;
}

/// "." taken away, and ".." with the component in front of it when the path is absolute; where that one is a link, what
/// it leads to counts.
std::string withoutDots(const std::string& path) {
  const bool isAbsolute = path.starts_with('/');
  std::string result = isAbsolute ? "/" : "";
  std::size_t at = 0;
  while (at < path.size()) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    const std::string_view component(path.data() + at, end - at);
    at = end + 1;
    if (component.empty() || component == ".") continue;
    if (component == ".." && isAbsolute) {
      result = resolved(result);
      result.resize(std::max<std::size_t>(result.rfind('/'), 1));
      continue;
    }
    if (!result.empty() && result.back() != '/') result += '/';
    result += component;
  }
  return result.empty() ? path : result;
}

}  // namespace

NSString NSString::lastPathComponent() const { return *this ? fromUTF8(lastComponent(bytesOf(*this))) : NSString(); }

NSString NSString::pathExtension() const {
  if (!*this) return NSString();
  const std::string path = bytesOf(*this);
  const std::string_view component = lastComponent(path);
  const std::size_t dot = extensionDot(component);
  return dot == component.npos ? emptyText() : fromUTF8(component.substr(dot + 1));
}

NSString NSString::stringByDeletingLastPathComponent() const {
  if (!*this) return NSString();
  const std::string path = tidied(bytesOf(*this));
  // A trailing slash counts as nothing, but of "/tmp/" and "/tmp" alike "/" is left.
  const std::size_t slash = path.rfind('/');
  if (slash == path.npos) return emptyText();
  return fromUTF8(std::string_view(path).substr(0, std::max<std::size_t>(slash, 1)));
}

NSString NSString::stringByDeletingPathExtension() const {
  if (!*this) return NSString();
  std::string path = tidied(bytesOf(*this));
  const std::string_view component = lastComponent(path);
  const std::size_t dot = component.rfind('.');
  if (dot != component.npos && dot != 0 && dot + 1 <= component.size())
    path.resize(path.size() - (component.size() - dot));
  return fromUTF8(path);
}

NSString NSString::stringByAppendingPathComponent(const NSString& component) const {
  if (!*this) return NSString();
  checkNotNil(component, "-[NSString stringByAppendingPathComponent:]");
  const std::string path = bytesOf(*this), name = bytesOf(component);
  if (name.empty()) return fromUTF8(tidied(path));
  return fromUTF8(tidied(path.empty() ? name : path + "/" + name));
}

NSString NSString::stringByAppendingPathExtension(const NSString& extension) const {
  if (!*this) return NSString();
  checkNotNil(extension, "-[NSString stringByAppendingPathExtension:]");
  const std::string path = tidied(bytesOf(*this));
  if (path.empty() || path == "/") return copy();
  return fromUTF8(path + "." + bytesOf(extension));
}

NSArray NSString::pathComponents() const {
  if (!*this) return NSArray();
  const std::string path = bytesOf(*this);
  std::vector<id> components;
  if (path.starts_with('/')) components.push_back("/"_ns);
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    if (end != at) components.push_back(fromUTF8(std::string_view(path).substr(at, end - at)));
    at = end + 1;
  }
  if (path.size() > 1 && path.back() == '/' && components.size() > 1) components.push_back("/"_ns);
  return NSArray::arrayWithObjects_count(components.data(), components.size());
}

NSString NSString::pathWithComponents(const NSArray& components) {
  checkNotNil(components, "+[NSString pathWithComponents:]");
  std::string path;
  for (const id& component : components) {
    const NSString name = component.as<NSString>();
    if (!name || name.length() == 0) continue;
    if (!path.empty()) path += '/';
    path += bytesOf(name);
  }
  return fromUTF8(tidied(path));
}

bool NSString::isAbsolutePath() const {
  if (!*this || length() == 0) return false;
  const unichar first = characterAtIndex(0);
  return first == '/' || first == '~';
}

NSString NSString::stringByExpandingTildeInPath() const {
  return *this ? fromUTF8(expandTilde(bytesOf(*this))) : NSString();
}

NSString NSString::stringByAbbreviatingWithTildeInPath() const {
  if (!*this) return NSString();
  const std::string path = tidied(bytesOf(*this)), home = tidied(homeOf(""));
  if (home.size() <= 1 || !path.starts_with(home)) return fromUTF8(path);
  if (path.size() != home.size() && path[home.size()] != '/') return fromUTF8(path);
  return fromUTF8("~" + path.substr(home.size()));
}

NSString NSString::stringByStandardizingPath() const {
  return *this ? fromUTF8(withoutDots(tidied(expandTilde(bytesOf(*this))))) : NSString();
}

NSString NSString::stringByResolvingSymlinksInPath() const {
  if (!*this) return NSString();
  const std::string path = withoutDots(tidied(expandTilde(bytesOf(*this))));
  return NSString(path.starts_with('/') ? resolved(path) : path);
}

namespace {

[[maybe_unused]] const bool pathsRegistered = [] {
  using Self = NSString;
  ClassBuilder<Self> c(classOf<Self>());
  c.method<&Self::lastPathComponent>("lastPathComponent").method<&Self::pathExtension>("pathExtension");
  c.method<&Self::stringByDeletingLastPathComponent>("stringByDeletingLastPathComponent");
  c.method<&Self::stringByDeletingPathExtension>("stringByDeletingPathExtension");
  c.method<&Self::stringByAppendingPathComponent>("stringByAppendingPathComponent:");
  c.method<&Self::stringByAppendingPathExtension>("stringByAppendingPathExtension:");
  c.method<&Self::pathComponents>("pathComponents").method<&Self::isAbsolutePath>("isAbsolutePath");
  c.method<&Self::stringByStandardizingPath>("stringByStandardizingPath");
  c.method<&Self::stringByExpandingTildeInPath>("stringByExpandingTildeInPath");
  c.method<&Self::stringByAbbreviatingWithTildeInPath>("stringByAbbreviatingWithTildeInPath");
  c.method<&Self::stringByResolvingSymlinksInPath>("stringByResolvingSymlinksInPath");
  c.classMethod<&Self::pathWithComponents>("pathWithComponents:");
  c.registerClass();
  return true;
}();

}  // namespace
}  // namespace kvt
