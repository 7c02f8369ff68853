#include "NSLocale.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <unicode/localebuilder.h>

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <mutex>

#include "NSArray.h"
#include "NSLocaleBody.h"
#include "NSObject.h"

namespace kvt {
namespace {

constexpr std::size_t kLongestIdentifier = 255;

const LocaleBody* bodyOf(const id& locale) noexcept { return static_cast<const LocaleBody*>(locale.object()); }

std::uint64_t hashOf(const Object* object) { return static_cast<const LocaleBody*>(object)->identifier.hash(); }
bool isEqualTo(const Object* object, const Object* other) {
  return NSLocale::kvtAccepts(other) &&
         static_cast<const LocaleBody*>(object)->identifier == static_cast<const LocaleBody*>(other)->identifier;
}
std::uint64_t hashMethod(const NSLocale& self) { return hashOf(self.object()); }
bool isEqualMethod(const NSLocale& self, const id& other) {
  return isIdentical(self, other) || (other && isEqualTo(self.object(), other.object()));
}
Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

NSString codeOrNil(const char* code) { return code == nullptr || *code == '\0' ? NSString() : NSString(code); }

/// The first variable that is set to something.
std::string firstOf(std::initializer_list<const char*> names) {
  for (const char* name : names) {
    const char* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return value;
  }
  return std::string();
}

std::string_view withoutCharset(std::string_view name) { return name.substr(0, name.find_first_of(".@")); }

bool isPlainC(std::string_view name) { return name.empty() || name == "C" || name == "POSIX"; }

std::mutex preferredLanguagesLock;
NSArray& toldPreferredLanguages() {
  static auto* const languages = new NSArray();
  return *languages;
}

}  // namespace

LocaleBody::LocaleBody(const NSString& name, const icu::Locale& icuLocale)
    : Object(classOf<NSLocale>(), objectKind(kLocaleKind)), identifier(name), locale(icuLocale) {
  ObjectAccess::markImmutableValue(this);
}

const icu::Locale& icuLocaleOf(const NSLocale& locale) {
  if (locale) return bodyOf(locale)->locale;
  static const auto* const current = new NSLocale(NSLocale::currentLocale());
  return bodyOf(*current)->locale;
}

std::string localeIdentifierFromPOSIX(std::string_view name) {
  const std::string_view plain = withoutCharset(name);
  return isPlainC(plain) ? "en_US_POSIX" : std::string(plain);
}

std::string languageTagFromPOSIX(std::string_view name) {
  const std::string plain(withoutCharset(name));
  if (isPlainC(plain) || plain.size() > kLongestIdentifier) return std::string();
  icu::Locale locale = icu::Locale::createFromName(plain.c_str());
  UErrorCode status = U_ZERO_ERROR;
  if (std::string_view(locale.getLanguage()) == "zh" && *locale.getScript() == '\0') {
    // Two ways to write the language: the tag says which one the country's readers use.
    icu::Locale likely(locale);
    likely.addLikelySubtags(status);
    locale = icu::LocaleBuilder().setLocale(locale).setScript(likely.getScript()).build(status);
  }
  std::string tag = locale.toLanguageTag<std::string>(status);
  return U_FAILURE(status) || tag == "und" ? std::string() : tag;
}

std::vector<std::string> languageTagsFromPOSIX(std::string_view list, std::string_view locale) {
  std::vector<std::string> tags;
  const auto add = [&tags](std::string_view name) {
    std::string tag = languageTagFromPOSIX(name);
    if (!tag.empty() && std::find(tags.begin(), tags.end(), tag) == tags.end()) tags.push_back(std::move(tag));
  };
  if (!isPlainC(withoutCharset(locale))) {
    constexpr std::size_t kMostLanguages = 64;
    for (std::size_t start = 0; start <= list.size() && tags.size() < kMostLanguages;) {
      const std::size_t end = std::min(list.find(':', start), list.size());
      add(list.substr(start, end - start));
      start = end + 1;
    }
    add(locale);
  }
  if (tags.empty()) tags.emplace_back("en");
  return tags;
}

Class NSLocale::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSLocale> c("NSLocale", classOf<NSObject>());
    c.classMethod<&NSLocale::localeWithLocaleIdentifier>("localeWithLocaleIdentifier:");
    c.classMethod<&NSLocale::currentLocale>("currentLocale").classMethod<&NSLocale::systemLocale>("systemLocale");
    c.classMethod<&NSLocale::preferredLanguages>("preferredLanguages");
    c.method<&NSLocale::localeIdentifier>("localeIdentifier").method<&NSLocale::languageCode>("languageCode");
    c.method<&NSLocale::scriptCode>("scriptCode").method<&NSLocale::countryCode>("countryCode");
    c.method<&NSLocale::variantCode>("variantCode");
    c.method<&hashMethod>("hash").method<&isEqualMethod>("isEqual:");
    c.method<&NSLocale::localeIdentifier>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    registerValueOperations(kLocaleKind, {&hashOf, &isEqualTo});
    return c.registerClass();
  }();
  return cls;
}

bool NSLocale::kvtAccepts(const Object* object) noexcept { return isKindBetween(object, kLocaleKind, kLocaleKind); }

[[maybe_unused]] static const bool registered = (classOf<NSLocale>(), true);

NSLocale NSLocale::localeWithLocaleIdentifier(const NSString& identifier) {
  const std::string name(identifier.utf8());
  if (!identifier || name.size() > kLongestIdentifier) return NSLocale();
  return NSLocale(adopt, new LocaleBody(identifier.copy(), icu::Locale::createFromName(name.c_str())));
}

NSLocale NSLocale::currentLocale() {
  static const NSLocale* const current = [] {
    const std::string name = localeIdentifierFromPOSIX(firstOf({"LC_ALL", "LC_TIME", "LANG"}));
    auto* locale = new NSLocale(localeWithLocaleIdentifier(NSString(name)));
    if (!*locale) *locale = localeWithLocaleIdentifier("en_US_POSIX");
    return locale;
  }();
  return *current;
}

NSLocale NSLocale::systemLocale() {
  static const auto* const root = new NSLocale(adopt, new LocaleBody("", icu::Locale::getRoot()));
  return *root;
}

NSArray NSLocale::preferredLanguages() {
  {
    const std::lock_guard lock(preferredLanguagesLock);
    if (toldPreferredLanguages().count() > 0) return toldPreferredLanguages();
  }
  static const NSArray* const fromEnvironment = [] {
    const char* list = std::getenv("LANGUAGE");
    return new NSArray(languageTagsFromPOSIX(list == nullptr ? "" : list, firstOf({"LC_ALL", "LC_MESSAGES", "LANG"})));
  }();
  return *fromEnvironment;
}

void NSLocale::setPreferredLanguages(const NSArray& languages) {
  const NSArray kept = languages.copy();
  const std::lock_guard lock(preferredLanguagesLock);
  toldPreferredLanguages() = kept;
}

NSString NSLocale::localeIdentifier() const { return *this ? bodyOf(*this)->identifier : NSString(); }
NSString NSLocale::languageCode() const { return *this ? codeOrNil(bodyOf(*this)->locale.getLanguage()) : NSString(); }
NSString NSLocale::scriptCode() const { return *this ? codeOrNil(bodyOf(*this)->locale.getScript()) : NSString(); }
NSString NSLocale::countryCode() const { return *this ? codeOrNil(bodyOf(*this)->locale.getCountry()) : NSString(); }
NSString NSLocale::variantCode() const { return *this ? codeOrNil(bodyOf(*this)->locale.getVariant()) : NSString(); }

}  // namespace kvt
