// URLs: a text is taken as it is or refused; what is taken apart reads the same when put together again; resolving and
// standardising end after one step. A line break divides the input into a URL, a base and a path component.
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSURLComponents.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

using namespace kvt;

void require(bool condition, const char* what, const NSURL& url) {
  if (condition) return;
  std::fprintf(stderr, "%s: %s\n", what, url.description().str().c_str());
  std::abort();
}

std::string_view takeLine(std::string_view* text) {
  const std::size_t end = text->find('\n');
  const std::string_view line = text->substr(0, end);
  *text = end == std::string_view::npos ? std::string_view() : text->substr(end + 1);
  return line;
}

void checkReading(const NSURL& url) {
  for (const char c : url.absoluteString().str()) {
    require(c > ' ' && c < 0x7F && std::string_view("<>\"{}|\\^`").find(c) == std::string_view::npos, "a bad character",
            url);
  }
  const NSURL absolute = url.absoluteURL();
  require(absolute.relativeString() == url.absoluteString(), "another absolute URL", url);
  require(url.scheme() == absolute.scheme() && url.host() == absolute.host() && url.path() == absolute.path() &&
              url.query() == absolute.query() && url.fragment() == absolute.fragment() && url.port() == absolute.port(),
          "components that are not those of the absolute URL", url);
  require(absolute.absoluteString().length() == 0 || NSURL::URLWithString(absolute.absoluteString()) == absolute,
          "not read back", url);
  require(url.isEqual(NSURL::URLWithString_relativeToURL(url.relativeString(), url.baseURL())), "not equal", url);
  if (url.pathComponents() && url.pathComponents().count() > 0) {
    require(url.pathComponents().lastObject() == url.lastPathComponent(), "another last component", url);
  }
}

void checkComponents(const NSURL& url) {
  const NSURLComponents parts = NSURLComponents::componentsWithURL_resolvingAgainstBaseURL(url, false);
  require(parts && parts.string(), "no components", url);
  const NSString text = parts.string();
  // A port may lose zeros at its front, or its colon when it is empty; nothing else changes.
  if (text != url.relativeString()) {
    require(text.length() < url.relativeString().length(), "components of another URL", url);
    require(NSURLComponents::componentsWithString(text).string() == text, "components that change again", url);
  }
  const NSURLComponents again = NSURLComponents::new_();
  again.setPercentEncodedPath(parts.percentEncodedPath());
  again.setPercentEncodedQuery(parts.percentEncodedQuery());
  again.setPercentEncodedFragment(parts.percentEncodedFragment());
  if (parts.path()) again.setPath(parts.path());
  require(!parts.path() || again.path() == parts.path(), "a path that changes when it is escaped", url);
  if (const NSArray items = parts.queryItems()) {
    again.setQueryItems(items);
    require(again.queryItems() == items, "query items that change when they are escaped", url);
  }
}

void checkChanging(const NSURL& url, const NSString& component) {
  const NSURL standardized = url.standardizedURL();
  require(static_cast<bool>(standardized), "no standard form", url);
  require(standardized.standardizedURL() == standardized, "another standard form", url);
  const NSURL extended = url.URLByAppendingPathExtension("x");
  // Nothing but a base's fragment leaves nothing when it is resolved.
  if (extended.absoluteString().length() > 0) {
    require(static_cast<bool>(NSURL::URLWithString(extended.absoluteString())), "a bad extension", url);
  }
  url.URLByDeletingPathExtension();
  if (url.path()) require(static_cast<bool>(url.URLByDeletingLastPathComponent()), "nothing is left", url);
  const NSURL longer = url.URLByAppendingPathComponent_isDirectory(component, false);
  if (!url.absoluteURL().path() || !longer) return;
  const std::string plain = component.str();
  if (!plain.empty() && plain.find('/') == std::string::npos && !url.baseURL()) {
    require(longer.lastPathComponent() == component, "another component than was appended", longer);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const NSString text(takeLine(&input)), baseText(takeLine(&input)), component(takeLine(&input));

  const NSURL base = NSURL::URLWithString(baseText);
  for (const NSURL& url : {NSURL::URLWithString(text), NSURL::URLWithString_relativeToURL(text, base)}) {
    if (!url) continue;
    require(url.relativeString() == text, "another text", url);
    checkReading(url);
    checkComponents(url);
    checkChanging(url, component);
  }
  if (base) {
    const NSURL again = NSURL::URLWithString_relativeToURL(base.standardizedURL().absoluteString(), base);
    if (base.scheme())
      require(again.absoluteString() == base.standardizedURL().absoluteString(), "resolved otherwise", again);
  }
  if (component && component.str().find('\0') == std::string::npos) {
    const NSURL file = NSURL::fileURLWithPath_isDirectory(NSString("/" + component.str()), false);
    std::string path = "/" + component.str();
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    require(file && file.path() == path && file.fileSystemRepresentation() == path, "another path", file);
  }
  return 0;
}
