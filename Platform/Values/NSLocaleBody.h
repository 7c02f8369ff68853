// What other value types need of a locale; not installed.
#pragma once

#include <unicode/locid.h>

#include <string>
#include <string_view>
#include <vector>

#include "Kinds.h"
#include "NSLocale.h"
#include "NSString.h"

namespace kvt {

struct LocaleBody final : Object {
  LocaleBody(const NSString& name, const icu::Locale& icuLocale);

  const NSString identifier;
  const icu::Locale locale;
};

/// The current locale's for nil.
const icu::Locale& icuLocaleOf(const NSLocale& locale);

/// "zh_CN.UTF-8@pinyin" → "zh_CN"; "C", "POSIX" and "" → "en_US_POSIX".
KVT_EXPORT std::string localeIdentifierFromPOSIX(std::string_view name);
/// "zh_CN.UTF-8" → "zh-Hans-CN"; "" for "C", "POSIX" and "".
KVT_EXPORT std::string languageTagFromPOSIX(std::string_view name);
/// `list` is separated by colons and goes first, unless the locale says "C".
KVT_EXPORT std::vector<std::string> languageTagsFromPOSIX(std::string_view list, std::string_view locale);

}  // namespace kvt
