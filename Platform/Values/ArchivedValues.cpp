#include "ArchivedValues.h"

#include <KVTPlatform/Runtime/Raise.h>

#include "NSArray.h"
#include "NSAttributedString.h"
#include "NSDate.h"
#include "NSDateBody.h"
#include "NSDictionary.h"
#include "NSError.h"
#include "NSLocale.h"
#include "NSNull.h"
#include "NSNumber.h"
#include "NSTimeZone.h"
#include "NSURL.h"
#include "NSURLComponents.h"

namespace kvt {
namespace archive {
namespace {

struct Decoder {
  Class valueClass;
  IMP initWithCoder;
  ArchiveDecoder decode;
};

// Filled while the library is loaded; never destroyed.
std::vector<Decoder>& decoders() {
  static auto* all = new std::vector<Decoder>;
  return *all;
}

}  // namespace

ArchiveDecoder decoderOf(Class cls, IMP initWithCoder) noexcept {
  for (const Decoder& each : decoders()) {
    if (each.initWithCoder == initWithCoder && class_isSubclassOf(cls, each.valueClass)) return each.decode;
  }
  return nullptr;
}

void registerDecoder(Class valueClass, IMP initWithCoder, ArchiveDecoder decoder) {
  decoders().push_back({valueClass, initWithCoder, decoder});
}

const std::vector<Class>& propertyListClasses() {
  static const std::vector<Class> classes = {classOf<NSString>(), classOf<NSNumber>(), classOf<NSDate>(),
                                             classOf<NSData>(),   classOf<NSArray>(),  classOf<NSDictionary>()};
  return classes;
}

ArchiverBody& archiverOf(const NSCoder& coder) {
  if (ArchiverBody* body = ArchiverBody::of(coder.object())) return *body;
  objc_raise("NSInvalidArgumentException", "encodeWithCoder: needs a coder that encodes");
}

UnarchiverBody& unarchiverOf(const NSCoder& coder) {
  if (UnarchiverBody* body = UnarchiverBody::of(coder.object())) return *body;
  objc_raise("NSInvalidArgumentException", "initWithCoder: needs a coder that decodes");
}

}  // namespace archive

namespace {

using archive::archiverOf;
using archive::registerValue;

// ---- NSNull ---------------------------------------------------------------------------------------------------------

void encodeNull(const NSNull&, const NSCoder&) {}
id decodeNull(UnarchiverBody&, Class) { return NSNull::null(); }

// ---- NSDate ---------------------------------------------------------------------------------------------------------

void encodeDate(const NSDate& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.put("NS.time", archiver.list.real(self.timeIntervalSinceReferenceDate()));
}
id decodeDate(UnarchiverBody& unarchiver, Class cls) {
  double seconds = 0;
  if (!unarchiver.real("NS.time", seconds)) {
    unarchiver.fail("A date has no NS.time.");
    return id();
  }
  id date(adopt, new DateBody(seconds));
  archive::setClass(date, cls);
  return date;
}

// ---- NSURL ----------------------------------------------------------------------------------------------------------

void encodeURL(const NSURL& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.putObject(self.baseURL().object(), "NS.base");
  archiver.putObject(self.relativeString().object(), "NS.relative");
}
id decodeURL(UnarchiverBody& unarchiver, Class) {
  const auto base = unarchiver.part<NSURL>("NS.base");
  const auto relative = unarchiver.part<NSString>("NS.relative");
  NSURL url = NSURL::URLWithString_relativeToURL(relative, base);
  if (!url) unarchiver.fail("A URL has the text “" + relative.str().substr(0, 256) + "”, which is none.");
  return url;
}

// ---- NSURLQueryItem -------------------------------------------------------------------------------------------------

void encodeQueryItem(const NSURLQueryItem& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.putObject(self.name().object(), "NS.name");
  archiver.putObject(self.value().object(), "NS.value");
}
id decodeQueryItem(UnarchiverBody& unarchiver, Class) {
  const auto name = unarchiver.part<NSString>("NS.name");
  return NSURLQueryItem::queryItemWithName_value(name, unarchiver.part<NSString>("NS.value"));
}

// ---- NSError --------------------------------------------------------------------------------------------------------

void encodeError(const NSError& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.putObject(self.domain().object(), "NSDomain");
  archiver.put("NSCode", archiver.list.integer(self.code()));
  archiver.putObject(self.userInfo().object(), "NSUserInfo");
}
id decodeError(UnarchiverBody& unarchiver, Class) {
  static const UnarchiverBody::Classes detailClasses = [] {
    UnarchiverBody::Classes classes = archive::propertyListClasses();
    classes.insert(classes.end(), {classOf<NSError>(), classOf<NSURL>(), classOf<NSNull>()});
    return classes;
  }();
  const auto domain = unarchiver.part<NSString>("NSDomain");
  std::int64_t code = 0;
  unarchiver.integer("NSCode", INT64_MIN, INT64_MAX, code);
  const auto details = unarchiver.decode("NSUserInfo", &detailClasses).as<NSDictionary>();
  return NSError::errorWithDomain_code_userInfo(domain, code, details);
}

// ---- NSTimeZone, NSLocale
// ---------------------------------------------------------------------------------------------

void encodeTimeZone(const NSTimeZone& self, const NSCoder& coder) {
  archiverOf(coder).putObject(self.name().object(), "NS.name");
}
id decodeTimeZone(UnarchiverBody& unarchiver, Class) {
  const auto name = unarchiver.part<NSString>("NS.name");
  NSTimeZone zone = NSTimeZone::timeZoneWithName(name);
  if (!zone) unarchiver.fail("The time zone “" + name.str().substr(0, 256) + "” is unknown.");
  return zone;
}

void encodeLocale(const NSLocale& self, const NSCoder& coder) {
  archiverOf(coder).putObject(self.localeIdentifier().object(), "NS.identifier");
}
id decodeLocale(UnarchiverBody& unarchiver, Class) {
  NSLocale locale = NSLocale::localeWithLocaleIdentifier(unarchiver.part<NSString>("NS.identifier"));
  if (!locale) unarchiver.fail("A locale has no identifier, or too long a one.");
  return locale;
}

// ---- NSAttributedString ---------------------------------------------------------------------------------------------

void encodeAttributedString(const NSAttributedString& self, const NSCoder& coder) {
  ArchiverBody& archiver = archiverOf(coder);
  archiver.putObject(self.string().object(), "NSString");
  archiver.putObject(NSDictionary::dictionary().object(), "NSAttributes");
}
/// Attributes, whose classes nobody here has, are passed over.
id decodeAttributedString(UnarchiverBody& unarchiver, Class) {
  const auto text = unarchiver.part<NSString>("NSString");
  if (text) return NSAttributedString::initWithString(text);
  unarchiver.fail("An attributed string has no text.");
  return id();
}

[[maybe_unused]] const bool registered[] = {
    registerValue<NSNull, &encodeNull, &decodeNull>(),
    registerValue<NSDate, &encodeDate, &decodeDate>(),
    registerValue<NSURL, &encodeURL, &decodeURL>(),
    registerValue<NSURLQueryItem, &encodeQueryItem, &decodeQueryItem>(),
    registerValue<NSError, &encodeError, &decodeError>(),
    registerValue<NSTimeZone, &encodeTimeZone, &decodeTimeZone>(),
    registerValue<NSLocale, &encodeLocale, &decodeLocale>(),
    registerValue<NSAttributedString, &encodeAttributedString, &decodeAttributedString>(),
};

}  // namespace
}  // namespace kvt
