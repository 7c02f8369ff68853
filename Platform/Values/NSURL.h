// A URL, or a reference relative to one (RFC 3986). The text is kept as it was given; components are read from it.
//
//     NSURL url = NSURL::URLWithString("https://example.com:8443/a%20b/c.txt?q=1#top");
//     url.host();                                               // "example.com"
//     url.path();                                               // "/a b/c.txt": decoded
//     url.query();                                              // "q=1": as it stands
//     NSURL::URLWithString_relativeToURL("../d", url).absoluteString();   // "https://example.com:8443/d"
//     NSURL::URLWithString("not a url");                        // nil
//
// A text is taken as it is or not at all: characters that must be escaped are never escaped on the way in. A relative
// URL answers the components of the whole: its base's scheme and host, the resolved path, its own query and fragment.
// An opaque one
// ("mailto:somebody@example.com") has a scheme and a resource specifier and nothing else. Every operation answers nil,
// or NO, on nil. Making and reading are linear in the length. Thread rule: immutable, any thread.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSArray;
class NSDictionary;
class NSError;
class NSNumber;
class NSString;

// What the file system knows of a file: keys of its resource values. Numbers and truth values are NSNumbers. The first
// seven never fail for a file that is there.
extern KVT_EXPORT const NSString NSURLNameKey;            // text
extern KVT_EXPORT const NSString NSURLIsDirectoryKey;     // of a link that leads to one: NO
extern KVT_EXPORT const NSString NSURLIsRegularFileKey;   //
extern KVT_EXPORT const NSString NSURLIsSymbolicLinkKey;  //
extern KVT_EXPORT const NSString NSURLIsHiddenKey;        // a name that begins with a dot
extern KVT_EXPORT const NSString NSURLContentAccessDateKey;
extern KVT_EXPORT const NSString NSURLContentModificationDateKey;
extern KVT_EXPORT const NSString NSURLAttributeModificationDateKey;
/// When the file was made. Some file systems do not know it (network shares, /proc): there is no value then.
extern KVT_EXPORT const NSString NSURLCreationDateKey;
/// Bytes of content. Directories have no value under this key and the next three.
extern KVT_EXPORT const NSString NSURLFileSizeKey;
extern KVT_EXPORT const NSString NSURLTotalFileSizeKey;
/// Bytes on the disk: blocks of 512, so that a file with holes takes less than its size and a short one more.
extern KVT_EXPORT const NSString NSURLFileAllocatedSizeKey;
extern KVT_EXPORT const NSString NSURLTotalFileAllocatedSizeKey;

class KVT_EXPORT NSURL : public id {
  KVT_HANDLE(NSURL, id)

 public:
  /// nil for nil, "", and any text that is no URL or relative reference to the letter: with blanks, control characters,
  /// characters beyond ASCII, any of <>"{}|\^`, brackets other than around an address in the host's place, "%" without
  /// two hexadecimal digits, a second "#", a port that is no number up to 65535, a colon in the first segment that
  /// follows no scheme.
  static NSURL URLWithString(const NSString& string);
  /// Seen from a base, which is kept as its absolute URL; "" means the base's own document. Without a base as above.
  static NSURL URLWithString_relativeToURL(const NSString& string, const NSURL& base);
  /// The file at a path, which is escaped as needed. A relative path is seen from the working directory as it is now. A
  /// path that is a directory gets a slash at its end, for which the first form asks the file system. Raises
  /// NSInvalidArgumentException for nil; nil for text that is no UTF-8.
  static NSURL fileURLWithPath(const NSString& path);
  static NSURL fileURLWithPath_isDirectory(const NSString& path, bool isDirectory);

  /// Resolved against the base.
  NSString absoluteString() const;
  /// As it was given.
  NSString relativeString() const;
  /// nil for a URL that was made without one.
  NSURL baseURL() const;
  /// The URL itself when it has no base.
  NSURL absoluteURL() const;

  NSString scheme() const;
  /// What stands behind the scheme's colon; the whole text without a scheme.
  NSString resourceSpecifier() const;
  /// As they stand, escapes included; nil when there are none.
  NSString user() const;
  NSString password() const;
  /// Decoded; an address without its brackets. nil when there is none or it is empty, and when its bytes are no UTF-8.
  NSString host() const;
  /// nil when there is none or it is empty.
  NSNumber port() const;
  /// Decoded, without a slash at its end unless that is all. "" where the URL has no path, nil for opaque URLs and when
  /// the bytes are no UTF-8.
  NSString path() const;
  /// The same of the relative string alone.
  NSString relativePath() const;
  /// As they stand; nil when there are none, "" when nothing follows the mark.
  NSString query() const;
  NSString fragment() const;

  /// Decoded segments, the first one "/" for an absolute path: "/", "a b", "c.txt". An escaped slash divides nothing.
  NSArray pathComponents() const;
  /// The last of them; "" when there is none.
  NSString lastPathComponent() const;
  /// Behind the last component's last dot; "" when there is none or the dot comes first.
  NSString pathExtension() const;
  /// Whether the path ends with a slash, "." or "..".
  bool hasDirectoryPath() const;

  // New URLs from this one: only the path changes; query, fragment and base stay. nil for opaque URLs.
  /// Escapes what the component needs; slashes in it divide. One is put between. A file URL that then names a directory
  /// gets a slash at its end. nil for a component that is nil or no UTF-8.
  NSURL URLByAppendingPathComponent(const NSString& component) const;
  NSURL URLByAppendingPathComponent_isDirectory(const NSString& component, bool isDirectory) const;
  /// ".../a/b" gives ".../a/"; a root, "." or ".." gets "../" appended; without a path the URL itself.
  NSURL URLByDeletingLastPathComponent() const;
  /// The URL itself when the extension is nil, empty or has a slash, or the path names nothing.
  NSURL URLByAppendingPathExtension(const NSString& extension) const;
  NSURL URLByDeletingPathExtension() const;
  /// Without "." and ".." segments.
  NSURL standardizedURL() const;

  /// Whether the scheme is "file", in either case.
  bool isFileURL() const;
  /// The path's bytes for calls of the operating system, valid as long as the URL; null unless it is a file URL with a
  /// path. They need be no UTF-8.
  const char* fileSystemRepresentation() const;

  /// The values of those of the keys that the file has a value for (see above; unknown keys have none). A link is asked
  /// itself, not where it leads. nil, and why in `*error` (which may be null), for what is no file URL or not there.
  /// A URL that a directory enumerator has given with prefetched values answers those; every other one asks the file
  /// system once a call.
  NSDictionary resourceValuesForKeys_error(const NSArray& keys, NSError* error) const;
  /// One of them; `*value` is nil when the file has none. NO where the form above answers nil. `value` may be null.
  bool getResourceValue_forKey_error(id* value, const NSString& key, NSError* error) const;

  /// The same relative string, and equal bases or none; `isEqual:` says the same. NO for nil on either side.
  bool isEqualToURL(const NSURL& other) const;

  // `description`: the string; of a relative one "../d -- https://example.com/a/". A copy is the URL itself.
};

}  // namespace kvt
