#include "NSURLComponents.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include <optional>
#include <string>
#include <vector>

#include "Kinds.h"
#include "NSArray.h"
#include "NSNumber.h"
#include "NSObject.h"
#include "NSString.h"
#include "NSURL.h"
#include "NSURLText.h"

namespace kvt {
namespace {

using urltext::Allowed;
using Part = std::optional<std::string>;  // as it stands in a URL

// ---- query items
// -----------------------------------------------------------------------------------------------------

struct QueryItemBody final : Object {
  QueryItemBody(const NSString& itsName, const NSString& itsValue)
      : Object(classOf<NSURLQueryItem>(), objectKind(kURLQueryItemKind)), name(itsName), value(itsValue) {
    ObjectAccess::markImmutableValue(this);
  }
  const NSString name;
  const NSString value;
};

const QueryItemBody& bodyOf(const NSURLQueryItem& item) noexcept {
  return *static_cast<const QueryItemBody*>(item.object());
}
std::uint64_t hashOfItem(const Object* object) {
  const auto& body = *static_cast<const QueryItemBody*>(object);
  return body.name.hash() + 31 * body.value.hash();
}
bool isItemEqual(const Object* object, const Object* other) {
  if (!NSURLQueryItem::kvtAccepts(other)) return false;
  const auto& a = *static_cast<const QueryItemBody*>(object);
  const auto& b = *static_cast<const QueryItemBody*>(other);
  return a.name == b.name && a.value == b.value;
}
std::uint64_t hashItem(const NSURLQueryItem& self) { return hashOfItem(self.object()); }
bool isItemEqualMethod(const NSURLQueryItem& self, const id& other) {
  return isIdentical(self, other) || (other && isItemEqual(self.object(), other.object()));
}
NSString describeItem(const NSURLQueryItem& self) {
  return self.value() ? NSString(self.name().str() + "=" + self.value().str()) : self.name();
}
Object* copyItem(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

// ---- components
// ------------------------------------------------------------------------------------------------------

struct URLComponents {
  Part scheme, user, password, host, query, fragment;
  std::optional<int> port;
  std::string path;

  bool operator==(const URLComponents&) const = default;

  bool hasAuthority() const { return user || password || host || port; }
  Part text() const {
    if (hasAuthority() && !path.empty() && path[0] != '/') return std::nullopt;
    if (urltext::isMistakable(path, scheme.has_value(), hasAuthority())) return std::nullopt;
    std::string result;
    if (scheme) result += *scheme + ":";
    if (hasAuthority()) {
      result += "//";
      if (user) result += *user;
      if (password) result += ":" + *password;
      if (user || password) result += "@";
      if (host) result += *host;
      if (port) result += ":" + std::to_string(*port);
    }
    result += path;
    if (query) result += "?" + *query;
    if (fragment) result += "#" + *fragment;
    return result;
  }
};

struct URLComponentsBody final : Object {
  explicit URLComponentsBody(URLComponents its = URLComponents())
      : Object(classOf<NSURLComponents>(), objectKind(kURLComponentsKind)), components(std::move(its)) {}
  URLComponents components;
};

URLComponents& bodyOf(const NSURLComponents& components) noexcept {
  return static_cast<URLComponentsBody*>(components.object())->components;
}

std::uint64_t hashOfComponents(const Object* object) {
  const auto text = static_cast<const URLComponentsBody*>(object)->components.text();
  return text ? std::hash<std::string>()(*text) : 0;
}
bool areComponentsEqual(const Object* object, const Object* other) {
  return NSURLComponents::kvtAccepts(other) && static_cast<const URLComponentsBody*>(object)->components ==
                                                   static_cast<const URLComponentsBody*>(other)->components;
}
std::uint64_t hashComponents(const NSURLComponents& self) { return hashOfComponents(self.object()); }
bool areComponentsEqualMethod(const NSURLComponents& self, const id& other) {
  return isIdentical(self, other) || (other && areComponentsEqual(self.object(), other.object()));
}
Object* copyComponents(Object* self, SEL, void*) {
  return new URLComponentsBody(static_cast<URLComponentsBody*>(self)->components);
}
Object* createEmpty(Class cls) {
  Object* body = new URLComponentsBody;
  ObjectAccess::setIsa(body, cls.body());
  return body;
}

NSString asItStands(const Part& part) { return part ? NSString(*part) : NSString(); }
NSString decoded(const Part& part) { return part ? NSString(urltext::unescape(*part)) : NSString(); }

Part encoded(const NSString& text, Allowed where) {
  const std::string_view bytes = text.utf8();
  return bytes.data() == nullptr ? Part() : Part(urltext::escape(bytes, where));
}

Part encodedHost(const NSString& host) {
  const std::string_view bytes = host.utf8();
  return urltext::isAddress(bytes) ? Part(bytes) : encoded(host, Allowed::kHost);
}

Part checked(const NSString& text, Allowed where, const char* selector) {
  if (!text) return Part();
  const std::string_view bytes = text.utf8();
  const bool isAddress = where == Allowed::kHost && urltext::isAddress(bytes);
  if (bytes.data() == nullptr || (!isAddress && !urltext::isEscaped(bytes, where))) {
    objc_raise("NSInvalidArgumentException",
               std::string("-[NSURLComponents ") + selector + "]: invalid characters in argument");
  }
  return Part(bytes);
}

NSURLComponents componentsFrom(std::string_view text) {
  const auto parts = text.data() == nullptr ? std::nullopt : urltext::split(text);
  if (!parts) return NSURLComponents();
  const auto partOf = [text](const urltext::Span& span) { return span.isThere ? Part(span.of(text)) : Part(); };
  URLComponents components;
  components.scheme = partOf(parts->scheme);
  components.user = partOf(parts->user);
  components.password = partOf(parts->password);
  components.host = partOf(parts->host);
  if (parts->port.size() > 0) components.port = std::stoi(std::string(parts->port.of(text)));
  components.path = parts->path.of(text);
  components.query = partOf(parts->query);
  components.fragment = partOf(parts->fragment);
  return NSURLComponents(adopt, new URLComponentsBody(std::move(components)));
}

NSString itemText(std::string_view text) {
  const NSString plain(urltext::unescape(text));
  return plain ? plain : NSString(text);
}

}  // namespace

// ---- NSURLQueryItem
// --------------------------------------------------------------------------------------------------

Class NSURLQueryItem::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSURLQueryItem> c("NSURLQueryItem", classOf<NSObject>());
    c.classMethod<&NSURLQueryItem::queryItemWithName_value>("queryItemWithName:value:");
    c.method<&NSURLQueryItem::name>("name").method<&NSURLQueryItem::value>("value");
    c.method<&hashItem>("hash").method<&isItemEqualMethod>("isEqual:").method<&describeItem>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyItem), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kURLQueryItemKind, {&hashOfItem, &isItemEqual});
    return c.registerClass();
  }();
  return cls;
}

bool NSURLQueryItem::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kURLQueryItemKind, kURLQueryItemKind);
}

NSURLQueryItem NSURLQueryItem::queryItemWithName_value(const NSString& name, const NSString& value) {
  return NSURLQueryItem(adopt, new QueryItemBody(name ? name.copy() : NSString(""), value.copy()));
}
NSString NSURLQueryItem::name() const { return *this ? bodyOf(*this).name : NSString(); }
NSString NSURLQueryItem::value() const { return *this ? bodyOf(*this).value : NSString(); }

// ---- NSURLComponents
// -------------------------------------------------------------------------------------------------

Class NSURLComponents::kvtClass() {
  static const Class cls = [] {
    using Self = NSURLComponents;
    ClassBuilder<Self> c("NSURLComponents", classOf<NSObject>());
    c.createWith(&createEmpty);
    c.classMethod<&Self::componentsWithString>("componentsWithString:");
    c.classMethod<&Self::componentsWithURL_resolvingAgainstBaseURL>("componentsWithURL:resolvingAgainstBaseURL:");
    c.method<&Self::string>("string").method<&Self::URL>("URL").method<&Self::URLRelativeToURL>("URLRelativeToURL:");
    c.method<&Self::setScheme>("setScheme:").method<&Self::scheme>("scheme");
    c.method<&Self::setUser>("setUser:").method<&Self::user>("user");
    c.method<&Self::setPassword>("setPassword:").method<&Self::password>("password");
    c.method<&Self::setHost>("setHost:").method<&Self::host>("host");
    c.method<&Self::setPort>("setPort:").method<&Self::port>("port");
    c.method<&Self::setPath>("setPath:").method<&Self::path>("path");
    c.method<&Self::setQuery>("setQuery:").method<&Self::query>("query");
    c.method<&Self::setFragment>("setFragment:").method<&Self::fragment>("fragment");
    c.method<&Self::setPercentEncodedUser>("setPercentEncodedUser:");
    c.method<&Self::percentEncodedUser>("percentEncodedUser");
    c.method<&Self::setPercentEncodedPassword>("setPercentEncodedPassword:");
    c.method<&Self::percentEncodedPassword>("percentEncodedPassword");
    c.method<&Self::setPercentEncodedHost>("setPercentEncodedHost:");
    c.method<&Self::percentEncodedHost>("percentEncodedHost");
    c.method<&Self::setPercentEncodedPath>("setPercentEncodedPath:");
    c.method<&Self::percentEncodedPath>("percentEncodedPath");
    c.method<&Self::setPercentEncodedQuery>("setPercentEncodedQuery:");
    c.method<&Self::percentEncodedQuery>("percentEncodedQuery");
    c.method<&Self::setPercentEncodedFragment>("setPercentEncodedFragment:");
    c.method<&Self::percentEncodedFragment>("percentEncodedFragment");
    c.method<&Self::setQueryItems>("setQueryItems:").method<&Self::queryItems>("queryItems");
    c.method<&hashComponents>("hash").method<&areComponentsEqualMethod>("isEqual:");
    c.method<&Self::string>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyComponents), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kURLComponentsKind, {&hashOfComponents, &areComponentsEqual});
    return c.registerClass();
  }();
  return cls;
}

bool NSURLComponents::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kURLComponentsKind, kURLComponentsKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSURLComponents>(), classOf<NSURLQueryItem>(), true);

NSURLComponents NSURLComponents::new_() { return NSURLComponents(adopt, new URLComponentsBody); }

NSURLComponents NSURLComponents::componentsWithString(const NSString& string) { return componentsFrom(string.utf8()); }

NSURLComponents NSURLComponents::componentsWithURL_resolvingAgainstBaseURL(const NSURL& url, bool resolve) {
  const NSString text = resolve ? url.absoluteString() : url.relativeString();
  return componentsFrom(text.utf8());
}

NSString NSURLComponents::string() const { return *this ? asItStands(bodyOf(*this).text()) : NSString(); }
NSURL NSURLComponents::URL() const { return NSURL::URLWithString(string()); }
NSURL NSURLComponents::URLRelativeToURL(const NSURL& base) const {
  return NSURL::URLWithString_relativeToURL(string(), base);
}

void NSURLComponents::setScheme(const NSString& scheme) const {
  if (!*this) return;
  if (scheme && !urltext::isScheme(scheme.utf8())) {
    objc_raise("NSInvalidArgumentException", "-[NSURLComponents setScheme:]: invalid characters in argument");
  }
  bodyOf(*this).scheme = scheme ? Part(scheme.utf8()) : Part();
}
NSString NSURLComponents::scheme() const { return *this ? asItStands(bodyOf(*this).scheme) : NSString(); }

void NSURLComponents::setUser(const NSString& user) const {
  if (*this) bodyOf(*this).user = encoded(user, Allowed::kNewUser);
}
NSString NSURLComponents::user() const { return *this ? decoded(bodyOf(*this).user) : NSString(); }

void NSURLComponents::setPassword(const NSString& password) const {
  if (*this) bodyOf(*this).password = encoded(password, Allowed::kUser);
}
NSString NSURLComponents::password() const { return *this ? decoded(bodyOf(*this).password) : NSString(); }

void NSURLComponents::setHost(const NSString& host) const {
  if (*this) bodyOf(*this).host = encodedHost(host);
}
NSString NSURLComponents::host() const { return *this ? decoded(bodyOf(*this).host) : NSString(); }

void NSURLComponents::setPort(const NSNumber& port) const {
  if (!*this) return;
  if (port && (port.longLongValue() < 0 || port.longLongValue() > 65535)) {
    objc_raise("NSInvalidArgumentException",
               "-[NSURLComponents setPort:]: " + std::to_string(port.longLongValue()) + " is no port");
  }
  bodyOf(*this).port = port ? std::optional<int>(port.intValue()) : std::nullopt;
}
NSNumber NSURLComponents::port() const {
  return *this && bodyOf(*this).port ? NSNumber(*bodyOf(*this).port) : NSNumber();
}

void NSURLComponents::setPath(const NSString& path) const {
  if (*this) bodyOf(*this).path = encoded(path, Allowed::kNewPath).value_or("");
}
NSString NSURLComponents::path() const { return *this ? decoded(bodyOf(*this).path) : NSString(); }

void NSURLComponents::setQuery(const NSString& query) const {
  if (*this) bodyOf(*this).query = encoded(query, Allowed::kQuery);
}
NSString NSURLComponents::query() const { return *this ? decoded(bodyOf(*this).query) : NSString(); }

void NSURLComponents::setFragment(const NSString& fragment) const {
  if (*this) bodyOf(*this).fragment = encoded(fragment, Allowed::kQuery);
}
NSString NSURLComponents::fragment() const { return *this ? decoded(bodyOf(*this).fragment) : NSString(); }

void NSURLComponents::setPercentEncodedUser(const NSString& user) const {
  if (*this) bodyOf(*this).user = checked(user, Allowed::kNewUser, "setPercentEncodedUser:");
}
NSString NSURLComponents::percentEncodedUser() const { return *this ? asItStands(bodyOf(*this).user) : NSString(); }

void NSURLComponents::setPercentEncodedPassword(const NSString& password) const {
  if (*this) bodyOf(*this).password = checked(password, Allowed::kUser, "setPercentEncodedPassword:");
}
NSString NSURLComponents::percentEncodedPassword() const {
  return *this ? asItStands(bodyOf(*this).password) : NSString();
}

void NSURLComponents::setPercentEncodedHost(const NSString& host) const {
  if (*this) bodyOf(*this).host = checked(host, Allowed::kHost, "setPercentEncodedHost:");
}
NSString NSURLComponents::percentEncodedHost() const { return *this ? asItStands(bodyOf(*this).host) : NSString(); }

void NSURLComponents::setPercentEncodedPath(const NSString& path) const {
  if (*this) bodyOf(*this).path = checked(path, Allowed::kPath, "setPercentEncodedPath:").value_or("");
}
NSString NSURLComponents::percentEncodedPath() const { return *this ? NSString(bodyOf(*this).path) : NSString(); }

void NSURLComponents::setPercentEncodedQuery(const NSString& query) const {
  if (*this) bodyOf(*this).query = checked(query, Allowed::kQuery, "setPercentEncodedQuery:");
}
NSString NSURLComponents::percentEncodedQuery() const { return *this ? asItStands(bodyOf(*this).query) : NSString(); }

void NSURLComponents::setPercentEncodedFragment(const NSString& fragment) const {
  if (*this) bodyOf(*this).fragment = checked(fragment, Allowed::kQuery, "setPercentEncodedFragment:");
}
NSString NSURLComponents::percentEncodedFragment() const {
  return *this ? asItStands(bodyOf(*this).fragment) : NSString();
}

NSArray NSURLComponents::queryItems() const {
  if (!*this || !bodyOf(*this).query) return NSArray();
  const std::string_view query = *bodyOf(*this).query;
  std::vector<NSURLQueryItem> items;
  for (std::size_t at = 0; !query.empty() && at <= query.size();) {
    const std::size_t end = std::min(query.find('&', at), query.size());
    const std::string_view item = query.substr(at, end - at);
    const std::size_t equals = item.find('=');
    items.push_back(NSURLQueryItem::queryItemWithName_value(
        itemText(item.substr(0, equals)),
        equals == std::string_view::npos ? NSString() : itemText(item.substr(equals + 1))));
    at = end + 1;
  }
  return NSArray(items);
}

void NSURLComponents::setQueryItems(const NSArray& items) const {
  if (!*this) return;
  if (!items) {
    bodyOf(*this).query.reset();
    return;
  }
  std::string query;
  bool isFirst = true;
  for (const id& each : items) {
    const auto item = each.as<NSURLQueryItem>();
    if (!item) continue;
    if (!isFirst) query += '&';
    isFirst = false;
    query += urltext::escape(item.name().str(), Allowed::kQueryItem);
    if (item.value()) query += "=" + urltext::escape(item.value().str(), Allowed::kQueryItem);
  }
  bodyOf(*this).query = std::move(query);
}

NSURLComponents NSURLComponents::copy() const {
  return *this ? NSURLComponents(adopt, new URLComponentsBody(bodyOf(*this))) : NSURLComponents();
}

}  // namespace kvt
