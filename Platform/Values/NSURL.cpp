#include "NSURL.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Kinds.h"
#include "NSArray.h"
#include "NSDictionary.h"
#include "NSError.h"
#include "NSNumber.h"
#include "NSObject.h"
#include "NSString.h"
#include "NSURL+Resources.h"
#include "NSURLText.h"

namespace kvt {
namespace {

using urltext::Allowed;
using urltext::Parts;
using urltext::Span;

struct URLBody final : Object {
  /// `text` is ASCII; the base, if any, has none itself.
  URLBody(const NSString& text, const Parts& itsParts, const NSURL& itsBase)
      : Object(classOf<NSURL>(), objectKind(kURLKind)), string(text), parts(itsParts), base(itsBase) {
    ObjectAccess::markImmutableValue(this);
    if (!base) return;
    const auto& other = *static_cast<const URLBody*>(base.object());
    const std::string resolved = urltext::resolve(other.text(), other.parts, this->text(), parts);
    if (const auto resolvedParts = urltext::split(resolved)) {
      absolute = NSURL(adopt, new URLBody(NSString(resolved), *resolvedParts, NSURL()));
    }
  }
  ~URLBody() override { std::free(filePath.load(std::memory_order_relaxed)); }

  std::string_view text() const { return string.utf8(); }
  std::string_view textOf(const Span& span) const { return span.of(text()); }
  /// The body whose parts are those of the whole URL.
  const URLBody& whole() const { return absolute ? *static_cast<const URLBody*>(absolute.object()) : *this; }

  const NSString string;
  const Parts parts;
  const NSURL base;
  NSURL absolute;                            // nil without a base
  std::unique_ptr<const FileValues> values;  // what an enumerator has found out
  mutable std::atomic<char*> filePath{nullptr};
};

const URLBody& bodyOf(const NSURL& url) noexcept { return *static_cast<const URLBody*>(url.object()); }
const URLBody& wholeOf(const NSURL& url) noexcept { return bodyOf(url).whole(); }

NSString textOf(const URLBody& body, const Span& span) {
  return span.isThere ? NSString(body.textOf(span)) : NSString();
}

NSURL makeURL(const NSString& string, const NSURL& base) {
  const std::string_view text = string.utf8();
  if (text.data() == nullptr) return NSURL();
  const auto parts = urltext::split(text);
  return parts ? NSURL(adopt, new URLBody(string, *parts, base)) : NSURL();
}

/// The same URL with another path, which is escaped already. What could be mistaken for a scheme or an authority is
/// told apart.
NSURL withPath(const NSURL& url, const URLBody& body, std::string_view path) {
  const std::string_view text = body.text();
  std::string result(text.substr(0, body.parts.path.begin));
  if (urltext::isMistakable(path, body.parts.scheme.isThere, body.parts.hasAuthority)) {
    result += path[0] == '/' ? "/." : "./";
  }
  result += path;
  result += text.substr(body.parts.path.end);
  return makeURL(NSString(result), &body == &bodyOf(url) ? body.base : NSURL());
}

/// Where to change the path of a URL: in the relative string, or in the whole one when the relative string has no path.
const URLBody& pathOwner(const NSURL& url) {
  const URLBody& body = bodyOf(url);
  return body.parts.path.size() == 0 ? body.whole() : body;
}

std::string decodedBytes(const URLBody& body) {
  std::string_view path = body.textOf(body.parts.path);
  if (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return urltext::unescape(path);
}
NSString decodedPath(const URLBody& body) { return body.parts.isOpaque ? NSString() : NSString(decodedBytes(body)); }

struct LastComponent {
  std::size_t begin = 0;  // within the path
  std::size_t end = 0;    // before the slashes that follow
};
LastComponent lastComponentOf(std::string_view path) {
  std::size_t end = path.size();
  while (end > 0 && path[end - 1] == '/') --end;
  std::size_t begin = end;
  while (begin > 0 && path[begin - 1] != '/') --begin;
  return {begin, end};
}

/// Where the extension's dot is in a component; npos when it has none.
std::size_t extensionDot(std::string_view component) {
  const std::size_t dot = component.rfind('.');
  return dot == 0 || dot == std::string_view::npos || dot + 1 == component.size() ? std::string_view::npos : dot;
}

bool isDirectory(const std::string& path) {
  struct stat status {};
  return path.find('\0') == std::string::npos && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

NSURL workingDirectory() {
  const std::unique_ptr<char, void (*)(void*)> path(getcwd(nullptr, 0), &std::free);
  std::string text = "file://";
  if (path != nullptr && *path == '/') text += urltext::escape(path.get(), Allowed::kNewPath);
  if (text.back() != '/') text += '/';
  return makeURL(NSString(text), NSURL());
}

std::string escapedPath(std::string_view path) {
  // A semicolon once divided parameters from a path, and is kept out of paths that are made here.
  std::string escaped = urltext::escape(path, Allowed::kNewPath);
  for (std::size_t i = escaped.find(';'); i != std::string::npos; i = escaped.find(';', i))
    escaped.replace(i, 1, "%3B");
  return escaped;
}

NSURL makeFileURL(std::string path, bool asDirectory) {
  if (asDirectory && (path.empty() || path.back() != '/')) path += path.empty() ? "./" : "/";
  std::string escaped = escapedPath(path);
  if (!path.empty() && path[0] == '/') return makeURL(NSString("file://" + escaped), NSURL());
  if (urltext::isMistakable(escaped, false, false)) escaped.insert(0, "./");
  return makeURL(NSString(escaped), workingDirectory());
}

/// The path as text to work on; raises for nil, false when it has no bytes.
bool readFilePath(const NSString& path, std::string* bytes) {
  if (!path) {
    objc_raise("NSInvalidArgumentException", "-[NSURL initFileURLWithPath:]: nil string parameter");
  }
  const std::string_view text = path.utf8();
  if (text.data() == nullptr) return false;
  *bytes = text;
  return true;
}

std::uint64_t hashOf(const Object* object) {
  const auto& body = *static_cast<const URLBody*>(object);
  return body.string.hash() + (body.base ? body.base.hash() * 31 : 0);
}
bool isEqualTo(const Object* object, const Object* other) {
  if (!NSURL::kvtAccepts(other)) return false;
  const auto& a = *static_cast<const URLBody*>(object);
  const auto& b = *static_cast<const URLBody*>(other);
  return a.string == b.string && (isIdentical(a.base, b.base) || (a.base && b.base && a.base.isEqualToURL(b.base)));
}
std::uint64_t hashMethod(const NSURL& self) { return hashOf(self.object()); }
bool isEqualMethod(const NSURL& self, const id& other) {
  return isIdentical(self, other) || (other && isEqualTo(self.object(), other.object()));
}
NSString descriptionMethod(const NSURL& self) {
  const URLBody& body = bodyOf(self);
  return body.base ? NSString(body.string.str() + " -- " + bodyOf(body.base).string.str()) : body.string;
}
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

}  // namespace

Class NSURL::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSURL> c("NSURL", classOf<NSObject>());
    c.classMethod<&NSURL::URLWithString>("URLWithString:");
    c.classMethod<&NSURL::URLWithString_relativeToURL>("URLWithString:relativeToURL:");
    c.classMethod<&NSURL::fileURLWithPath>("fileURLWithPath:");
    c.classMethod<&NSURL::fileURLWithPath_isDirectory>("fileURLWithPath:isDirectory:");
    c.method<&NSURL::absoluteString>("absoluteString").method<&NSURL::relativeString>("relativeString");
    c.method<&NSURL::baseURL>("baseURL").method<&NSURL::absoluteURL>("absoluteURL");
    c.method<&NSURL::scheme>("scheme").method<&NSURL::resourceSpecifier>("resourceSpecifier");
    c.method<&NSURL::user>("user").method<&NSURL::password>("password").method<&NSURL::host>("host");
    c.method<&NSURL::port>("port").method<&NSURL::path>("path").method<&NSURL::relativePath>("relativePath");
    c.method<&NSURL::query>("query").method<&NSURL::fragment>("fragment");
    c.method<&NSURL::pathComponents>("pathComponents").method<&NSURL::lastPathComponent>("lastPathComponent");
    c.method<&NSURL::pathExtension>("pathExtension").method<&NSURL::hasDirectoryPath>("hasDirectoryPath");
    c.method<&NSURL::URLByAppendingPathComponent>("URLByAppendingPathComponent:");
    c.method<&NSURL::URLByAppendingPathComponent_isDirectory>("URLByAppendingPathComponent:isDirectory:");
    c.method<&NSURL::URLByDeletingLastPathComponent>("URLByDeletingLastPathComponent");
    c.method<&NSURL::URLByAppendingPathExtension>("URLByAppendingPathExtension:");
    c.method<&NSURL::URLByDeletingPathExtension>("URLByDeletingPathExtension");
    c.method<&NSURL::standardizedURL>("standardizedURL").method<&NSURL::isFileURL>("isFileURL");
    c.method<&NSURL::fileSystemRepresentation>("fileSystemRepresentation");
    c.method<&NSURL::resourceValuesForKeys_error>("resourceValuesForKeys:error:");
    c.method<&NSURL::getResourceValue_forKey_error>("getResourceValue:forKey:error:");
    c.method<&hashMethod>("hash").method<&isEqualMethod>("isEqual:").method<&descriptionMethod>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kURLKind, {&hashOf, &isEqualTo});
    return c.registerClass();
  }();
  return cls;
}

bool NSURL::kvtAccepts(const Object* object) noexcept { return isKindBetween(object, kURLKind, kURLKind); }

[[maybe_unused]] static const bool registered = (classOf<NSURL>(), true);

// ---- making
// ----------------------------------------------------------------------------------------------------------

NSURL NSURL::URLWithString(const NSString& string) { return URLWithString_relativeToURL(string, NSURL()); }

NSURL NSURL::URLWithString_relativeToURL(const NSString& string, const NSURL& base) {
  if (!string || (!base && string.length() == 0)) return NSURL();
  // Bases of bases are resolved, so that a chain of any length stays one step deep.
  return makeURL(string.copy(), base.absoluteURL());
}

NSURL NSURL::fileURLWithPath(const NSString& path) {
  std::string bytes;
  if (!readFilePath(path, &bytes)) return NSURL();
  return makeFileURL(bytes, bytes.empty() || isDirectory(bytes));
}

NSURL NSURL::fileURLWithPath_isDirectory(const NSString& path, bool isDirectory) {
  std::string bytes;
  if (!readFilePath(path, &bytes)) return NSURL();
  return makeFileURL(bytes, bytes.empty() || isDirectory);
}

NSURL fileURLWithValues(std::string_view path, bool isDirectory, const FileValues* values) {
  std::string text = "file://" + escapedPath(path);
  if (isDirectory) text += '/';
  NSURL url = makeURL(NSString(text), NSURL());
  if (url && values != nullptr) {
    static_cast<URLBody*>(url.object())->values = std::make_unique<const FileValues>(*values);
  }
  return url;
}

const FileValues* fileValuesOf(const NSURL& url) noexcept { return url ? bodyOf(url).values.get() : nullptr; }

// ---- reading
// ---------------------------------------------------------------------------------------------------------

NSString NSURL::absoluteString() const { return *this ? wholeOf(*this).string : NSString(); }
NSString NSURL::relativeString() const { return *this ? bodyOf(*this).string : NSString(); }
NSURL NSURL::baseURL() const { return *this ? bodyOf(*this).base : NSURL(); }
NSURL NSURL::absoluteURL() const { return *this && bodyOf(*this).absolute ? bodyOf(*this).absolute : *this; }

NSString NSURL::scheme() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  return textOf(body, body.parts.scheme);
}

NSString NSURL::resourceSpecifier() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  return body.parts.scheme.isThere ? NSString(body.text().substr(body.parts.scheme.end + 1)) : body.string;
}

NSString NSURL::user() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  return textOf(body, body.parts.user);
}

NSString NSURL::password() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  return textOf(body, body.parts.password);
}

NSString NSURL::host() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  std::string_view host = body.textOf(body.parts.host);
  if (host.empty()) return NSString();
  if (body.parts.hasAddress) host = host.substr(1, host.size() - 2);
  return NSString(urltext::unescape(host));
}

NSNumber NSURL::port() const {
  if (!*this) return NSNumber();
  const URLBody& body = wholeOf(*this);
  const std::string_view port = body.textOf(body.parts.port);
  if (port.empty()) return NSNumber();
  int number = 0;
  for (const char c : port) number = number * 10 + (c - '0');
  return NSNumber(number);
}

NSString NSURL::path() const { return *this ? decodedPath(wholeOf(*this)) : NSString(); }
NSString NSURL::relativePath() const { return *this ? decodedPath(bodyOf(*this)) : NSString(); }

NSString NSURL::query() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  return body.parts.isOpaque ? NSString() : textOf(body, body.parts.query);
}

NSString NSURL::fragment() const {
  if (!*this) return NSString();
  const URLBody& body = wholeOf(*this);
  return body.parts.isOpaque ? NSString() : textOf(body, body.parts.fragment);
}

NSArray NSURL::pathComponents() const {
  if (!*this || wholeOf(*this).parts.isOpaque) return NSArray();
  const URLBody& body = wholeOf(*this);
  const std::string_view path = body.textOf(body.parts.path);
  std::vector<NSString> components;
  if (!path.empty() && path[0] == '/') components.emplace_back("/");
  for (std::size_t at = 0; at < path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    if (end > at) {
      NSString component(urltext::unescape(path.substr(at, end - at)));
      if (!component) return NSArray();
      components.push_back(std::move(component));
    }
    at = end + 1;
  }
  return NSArray(components);
}

NSString NSURL::lastPathComponent() const {
  if (!*this || wholeOf(*this).parts.isOpaque) return NSString();
  const URLBody& body = wholeOf(*this);
  const std::string_view path = body.textOf(body.parts.path);
  const LastComponent last = lastComponentOf(path);
  if (last.end == 0) return NSString(path.substr(0, 1));
  return NSString(urltext::unescape(path.substr(last.begin, last.end - last.begin)));
}

NSString NSURL::pathExtension() const {
  const NSString last = lastPathComponent();
  if (!last) return last;
  const std::string_view text = last.utf8();
  const std::size_t dot = extensionDot(text);
  return dot == std::string_view::npos ? NSString("") : NSString(text.substr(dot + 1));
}

bool NSURL::hasDirectoryPath() const {
  if (!*this || wholeOf(*this).parts.isOpaque) return false;
  const URLBody& body = wholeOf(*this);
  const std::string_view path = body.textOf(body.parts.path);
  const std::string_view last = path.substr(path.rfind('/') + 1);
  return (last.empty() && !path.empty()) || last == "." || last == "..";
}

// ---- new URLs from this one
// ------------------------------------------------------------------------------------------

NSURL NSURL::URLByAppendingPathComponent(const NSString& component) const {
  const NSURL result = URLByAppendingPathComponent_isDirectory(component, false);
  if (!result.isFileURL() || result.hasDirectoryPath()) return result;
  const char* path = result.fileSystemRepresentation();
  return path != nullptr && isDirectory(path) ? URLByAppendingPathComponent_isDirectory(component, true) : result;
}

NSURL NSURL::URLByAppendingPathComponent_isDirectory(const NSString& component, bool isDirectory) const {
  if (!*this || wholeOf(*this).parts.isOpaque) return NSURL();
  std::string_view bytes = component.utf8();
  if (bytes.data() == nullptr) return NSURL();
  const URLBody& body = pathOwner(*this);
  std::string path(body.textOf(body.parts.path));
  if ((!path.empty() || body.parts.hasAuthority) && (path.empty() || path.back() != '/')) path += '/';
  if (!path.empty()) bytes.remove_prefix(std::min(bytes.find_first_not_of('/'), bytes.size()));
  path += urltext::escape(bytes, Allowed::kNewPath);
  if (isDirectory && (path.empty() || path.back() != '/')) path += '/';
  return withPath(*this, body, path);
}

NSURL NSURL::URLByDeletingLastPathComponent() const {
  if (!*this || wholeOf(*this).parts.isOpaque) return NSURL();
  const URLBody& body = pathOwner(*this);
  std::string path(body.textOf(body.parts.path));
  if (path.empty()) return *this;
  const LastComponent last = lastComponentOf(path);
  const std::string_view name = std::string_view(path).substr(last.begin, last.end - last.begin);
  if (name.empty() || name == "." || name == "..") {
    if (path.back() != '/') path += '/';
    path += "../";
  } else {
    path.resize(last.begin);
    if (path.empty()) path = "./";
  }
  return withPath(*this, body, path);
}

NSURL NSURL::URLByAppendingPathExtension(const NSString& extension) const {
  if (!*this || wholeOf(*this).parts.isOpaque) return NSURL();
  const std::string_view bytes = extension.utf8();
  if (bytes.empty() || bytes.find('/') != std::string_view::npos) return *this;
  const URLBody& body = pathOwner(*this);
  std::string path(body.textOf(body.parts.path));
  const LastComponent last = lastComponentOf(path);
  if (last.end == last.begin) return *this;
  path.insert(last.end, "." + urltext::escape(bytes, Allowed::kNewPath));
  return withPath(*this, body, path);
}

NSURL NSURL::URLByDeletingPathExtension() const {
  if (!*this || wholeOf(*this).parts.isOpaque) return NSURL();
  const URLBody& body = pathOwner(*this);
  std::string path(body.textOf(body.parts.path));
  const LastComponent last = lastComponentOf(path);
  const std::size_t dot = extensionDot(std::string_view(path).substr(last.begin, last.end - last.begin));
  if (dot == std::string_view::npos) return *this;
  path.erase(last.begin + dot, last.end - last.begin - dot);
  return withPath(*this, body, path);
}

NSURL NSURL::standardizedURL() const {
  if (!*this || wholeOf(*this).parts.isOpaque) return *this;
  const URLBody& body = bodyOf(*this);
  const std::string_view path = body.textOf(body.parts.path);
  const std::string standardized = urltext::withoutDotSegments(path);
  return standardized == path ? *this : withPath(*this, body, standardized);
}

// ---- files
// -----------------------------------------------------------------------------------------------------------

bool NSURL::isFileURL() const {
  if (!*this) return false;
  const URLBody& body = wholeOf(*this);
  const std::string_view scheme = body.textOf(body.parts.scheme);
  return scheme.size() == 4 && strncasecmp(scheme.data(), "file", 4) == 0;
}

const char* NSURL::fileSystemRepresentation() const {
  if (!isFileURL()) return nullptr;
  const URLBody& body = bodyOf(*this);
  if (const char* known = body.filePath.load(std::memory_order_acquire)) return known;
  const std::string bytes = body.whole().parts.isOpaque ? "" : decodedBytes(body.whole());
  if (bytes.empty() || bytes.find('\0') != std::string_view::npos) return nullptr;
  char* fresh = strndup(bytes.data(), bytes.size());
  char* present = nullptr;
  if (body.filePath.compare_exchange_strong(present, fresh, std::memory_order_acq_rel)) return fresh;
  std::free(fresh);
  return present;
}

bool NSURL::isEqualToURL(const NSURL& other) const {
  return *this && other && (isIdentical(*this, other) || isEqualTo(object(), other.object()));
}

}  // namespace kvt
