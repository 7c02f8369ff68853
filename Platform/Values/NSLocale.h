// A locale: language, script, country and their conventions, by identifier.
//
//     NSLocale posix = NSLocale::localeWithLocaleIdentifier("en_US_POSIX");     // for machine-readable dates
//     posix.languageCode();                                                     // "en"
//     NSLocale::currentLocale().localeIdentifier();                             // "zh_CN": from LC_ALL, LC_TIME or
//     LANG NSLocale::preferredLanguages();                                           // "zh-Hans-CN", "en-US"
//
// Every operation answers nil on nil. Thread rule: immutable, any thread.
#pragma once

#include "NSTypes.h"
#include "id.h"

namespace kvt {

class NSArray;
class NSString;

class KVT_EXPORT NSLocale : public id {
  KVT_HANDLE(NSLocale, id)

 public:
  /// Any text makes a locale; what it does not name is nil, and conventions come from the root locale then. "_" and "-"
  /// both separate; keywords ("ja_JP@calendar=japanese") are kept. nil for nil and for text beyond 255 bytes.
  static NSLocale localeWithLocaleIdentifier(const NSString& identifier);
  /// The user's, read from the environment at the first call: LC_ALL, LC_TIME, LANG, whichever is there first;
  /// "en_US_POSIX" without any of them.
  static NSLocale currentLocale();
  /// The root locale, whose identifier is "".
  static NSLocale systemLocale();
  /// Language tags in the order in which the user prefers them, at least one ("en"). They are what
  /// `setPreferredLanguages` was told, else the environment's (LANGUAGE, LC_ALL, LC_MESSAGES, LANG). Chinese tags name
  /// their script.
  static NSArray preferredLanguages();
  /// For what keeps the user's settings: replaces the environment's list from now on; nil or empty goes back to it.
  static void setPreferredLanguages(const NSArray& languages);

  /// As it was given.
  NSString localeIdentifier() const;
  /// Lower-case, "zh"; nil when the identifier names none.
  NSString languageCode() const;
  /// "Hans"; nil when the identifier names none.
  NSString scriptCode() const;
  /// Upper-case, "CN"; nil when the identifier names none.
  NSString countryCode() const;
  /// "POSIX"; nil when the identifier names none.
  NSString variantCode() const;

  // Equal are locales of one identifier. `description` is the identifier; a copy is the locale itself.
};

}  // namespace kvt
