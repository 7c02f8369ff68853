// The parts of a URL one by one, to be changed and put together again; and the name-value pairs of a query.
//
//     NSURLComponents parts = NSURLComponents::componentsWithString("https://example.com/a?x=1");
//     parts.setPath("/b c");                                     // escaped as the part needs
//     parts.setQueryItems({NSURLQueryItem::queryItemWithName_value("q", "a&b")});
//     parts.URL().absoluteString();                              // "https://example.com/b%20c?q=a%26b"
//
// Each part has two faces: plain (`path`, escapes are made and undone) and as it stands (`percentEncodedPath`). A part
// that is nil is not there; the path is always there, and may be "". Every operation answers nil on nil, and setting
// does nothing. Thread rule: components are changed by one thread at a time; query items are immutable.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSArray;
class NSNumber;
class NSString;
class NSURL;

class KVT_EXPORT NSURLQueryItem : public id {
  KVT_HANDLE(NSURLQueryItem, id)

 public:
  /// A nil name counts as "". With a nil value the item is written without "=".
  static NSURLQueryItem queryItemWithName_value(const NSString& name, const NSString& value);
  NSString name() const;
  NSString value() const;

  // Equal are items of equal names and values. `description`: "name=value", or "name". A copy is the item itself.
};

class KVT_EXPORT NSURLComponents : public id {
  KVT_HANDLE(NSURLComponents, id)

 public:
  /// Nothing but an empty path.
  static NSURLComponents new_();
  /// nil for nil and for what is no URL or relative reference to the letter (see NSURL.h); "" is one.
  static NSURLComponents componentsWithString(const NSString& string);
  /// The parts of the relative string, or of the absolute one when resolving; nil for nil.
  static NSURLComponents componentsWithURL_resolvingAgainstBaseURL(const NSURL& url, bool resolve);

  /// The parts put together. nil when that would read differently: with user, password, host or port a path must be
  /// empty or start with a slash; without them it must not start with two; without a scheme too, its first segment has
  /// no colon.
  NSString string() const;
  /// nil when `string` is nil or empty.
  NSURL URL() const;
  NSURL URLRelativeToURL(const NSURL& base) const;

  // Plain. Reading gives nil where the decoded bytes are no UTF-8. A host in brackets is an address and keeps them.
  // Setting a text that is no UTF-8 sets nil, or "" for the path.
  /// Raises NSInvalidArgumentException for text that is no scheme.
  void setScheme(const NSString& scheme) const;
  NSString scheme() const;
  void setUser(const NSString& user) const;
  NSString user() const;
  void setPassword(const NSString& password) const;
  NSString password() const;
  void setHost(const NSString& host) const;
  NSString host() const;
  /// Raises NSInvalidArgumentException below 0 and above 65535.
  void setPort(const NSNumber& port) const;
  NSNumber port() const;
  void setPath(const NSString& path) const;
  NSString path() const;
  void setQuery(const NSString& query) const;
  NSString query() const;
  void setFragment(const NSString& fragment) const;
  NSString fragment() const;

  // As they stand. Setting raises NSInvalidArgumentException for characters that must be escaped and for broken
  // escapes.
  void setPercentEncodedUser(const NSString& user) const;
  NSString percentEncodedUser() const;
  void setPercentEncodedPassword(const NSString& password) const;
  NSString percentEncodedPassword() const;
  void setPercentEncodedHost(const NSString& host) const;
  NSString percentEncodedHost() const;
  void setPercentEncodedPath(const NSString& path) const;
  NSString percentEncodedPath() const;
  void setPercentEncodedQuery(const NSString& query) const;
  NSString percentEncodedQuery() const;
  void setPercentEncodedFragment(const NSString& fragment) const;
  NSString percentEncodedFragment() const;

  /// The query's pairs, decoded: split at "&", then at the first "=". Nothing between two "&" is an item with the name
  /// "" and no value. Empty for an empty query, nil for none. What is no UTF-8 when decoded stays as it stands.
  NSArray queryItems() const;
  /// Escapes "&" and "=" too. Elements that are no query items are left out; an empty list makes an empty query, nil
  /// none.
  void setQueryItems(const NSArray& items) const;

  NSURLComponents copy() const;

  // Equal are components of equal parts as they stand. `description` is the string.
};

}  // namespace kvt
