#include "NSCharacterSet.h"

#include <unicode/uniset.h>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "NSCharacterSetBody.h"
#include "NSObject.h"
#include "NSStringInternal.h"

namespace kvt {
namespace {

using MemberSet = std::unique_ptr<icu::UnicodeSet>;

NSCharacterSet wrap(MemberSet members) { return NSCharacterSet(adopt, new CharacterSetBody(std::move(members))); }

/// A set by ICU's pattern, immortal.
Object* named(const char* pattern) {
  UErrorCode status = U_ZERO_ERROR;
  auto members = std::make_unique<icu::UnicodeSet>(icu::UnicodeString::fromUTF8(pattern), status);
  Object* body = new CharacterSetBody(std::move(members));
  ObjectAccess::makeImmortal(body);
  return body;
}

constexpr char kSharedInURLs[] = "A-Za-z0-9\\-._~!$\\&'()*+,=";

Object* allowedInURL(const char* further) { return named(("[" + std::string(kSharedInURLs) + further + "]").c_str()); }

std::uint64_t hashOf(const Object* object) {
  return static_cast<std::uint32_t>(static_cast<const CharacterSetBody*>(object)->members->hashCode());
}

bool isEqualTo(const Object* object, const Object* other) {
  if (!isKindBetween(other, kCharacterSetKind, kCharacterSetKind)) return false;
  return *static_cast<const CharacterSetBody*>(object)->members ==
         *static_cast<const CharacterSetBody*>(other)->members;
}

Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

Object* createEmpty(Class cls) {
  auto* body = new CharacterSetBody(std::make_unique<icu::UnicodeSet>());
  ObjectAccess::setIsa(body, cls.body());
  return body;
}

MemberSet copyOf(const NSCharacterSet& set) {
  return MemberSet(static_cast<icu::UnicodeSet*>(CharacterSetBody::of(set).members->cloneAsThawed()));
}

}  // namespace

CharacterSetBody::CharacterSetBody(MemberSet set)
    : Object(classOf<NSCharacterSet>(), objectKind(kCharacterSetKind)), members(std::move(set)) {
  ObjectAccess::markImmutableValue(this);
  members->freeze();
  for (char32_t c = 0; c < 128; ++c) {
    if (containsBeyondASCII(c)) ascii[c >> 6] |= std::uint64_t{1} << (c & 63);
  }
}

Class NSCharacterSet::kvtClass() {
  static const Class cls = [] {
    using Self = NSCharacterSet;
    registerValueOperations(kCharacterSetKind, {&hashOf, &isEqualTo});
    ClassBuilder<Self> c("NSCharacterSet", classOf<NSObject>());
    c.createWith(&createEmpty).protocol("NSCopying");
    c.classMethod<&Self::whitespaceCharacterSet>("whitespaceCharacterSet");
    c.classMethod<&Self::whitespaceAndNewlineCharacterSet>("whitespaceAndNewlineCharacterSet");
    c.classMethod<&Self::newlineCharacterSet>("newlineCharacterSet");
    c.classMethod<&Self::alphanumericCharacterSet>("alphanumericCharacterSet");
    c.classMethod<&Self::letterCharacterSet>("letterCharacterSet");
    c.classMethod<&Self::uppercaseLetterCharacterSet>("uppercaseLetterCharacterSet");
    c.classMethod<&Self::lowercaseLetterCharacterSet>("lowercaseLetterCharacterSet");
    c.classMethod<&Self::capitalizedLetterCharacterSet>("capitalizedLetterCharacterSet");
    c.classMethod<&Self::decimalDigitCharacterSet>("decimalDigitCharacterSet");
    c.classMethod<&Self::punctuationCharacterSet>("punctuationCharacterSet");
    c.classMethod<&Self::symbolCharacterSet>("symbolCharacterSet");
    c.classMethod<&Self::controlCharacterSet>("controlCharacterSet");
    c.classMethod<&Self::nonBaseCharacterSet>("nonBaseCharacterSet");
    c.classMethod<&Self::decomposableCharacterSet>("decomposableCharacterSet");
    c.classMethod<&Self::illegalCharacterSet>("illegalCharacterSet");
    c.classMethod<&Self::URLHostAllowedCharacterSet>("URLHostAllowedCharacterSet");
    c.classMethod<&Self::URLPathAllowedCharacterSet>("URLPathAllowedCharacterSet");
    c.classMethod<&Self::URLQueryAllowedCharacterSet>("URLQueryAllowedCharacterSet");
    c.classMethod<&Self::URLFragmentAllowedCharacterSet>("URLFragmentAllowedCharacterSet");
    c.classMethod<&Self::URLUserAllowedCharacterSet>("URLUserAllowedCharacterSet");
    c.classMethod<&Self::URLPasswordAllowedCharacterSet>("URLPasswordAllowedCharacterSet");
    c.classMethod<&Self::characterSetWithCharactersInString>("characterSetWithCharactersInString:");
    c.classMethod<&Self::characterSetWithRange>("characterSetWithRange:");
    c.method<&Self::invertedSet>("invertedSet").method<&Self::characterIsMember>("characterIsMember:");
    c.method<&Self::longCharacterIsMember>("longCharacterIsMember:");
    c.method<&Self::isSupersetOfSet>("isSupersetOfSet:");
    c.method<&Self::hash>("hash").method<&Self::isEqual>("isEqual:").method<&Self::description>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    return c.registerClass();
  }();
  return cls;
}

bool NSCharacterSet::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kCharacterSetKind, kCharacterSetKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSCharacterSet>(), true);

NSCharacterSet NSCharacterSet::whitespaceCharacterSet() {
  static Object* const set = named("[[:Zs:]\\u0009]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::whitespaceAndNewlineCharacterSet() {
  static Object* const set = named("[[:Z:]\\u0009-\\u000D\\u0085]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::newlineCharacterSet() {
  static Object* const set = named("[\\u000A-\\u000D\\u0085\\u2028\\u2029]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::alphanumericCharacterSet() {
  static Object* const set = named("[[:L:][:M:][:N:]]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::letterCharacterSet() {
  static Object* const set = named("[[:L:][:M:]]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::uppercaseLetterCharacterSet() {
  static Object* const set = named("[[:Lu:][:Lt:]]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::lowercaseLetterCharacterSet() {
  static Object* const set = named("[:Ll:]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::capitalizedLetterCharacterSet() {
  static Object* const set = named("[:Lt:]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::decimalDigitCharacterSet() {
  static Object* const set = named("[:Nd:]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::punctuationCharacterSet() {
  static Object* const set = named("[:P:]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::symbolCharacterSet() {
  static Object* const set = named("[:S:]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::controlCharacterSet() {
  static Object* const set = named("[[:Cc:][:Cf:]]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::nonBaseCharacterSet() {
  static Object* const set = named("[:M:]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::decomposableCharacterSet() {
  static Object* const set = named("[[:NFD_Quick_Check=No:]]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::illegalCharacterSet() {
  static Object* const set = named("[:Cn:]");
  return NSCharacterSet(borrow, set);
}

NSCharacterSet NSCharacterSet::URLHostAllowedCharacterSet() {
  static Object* const set = allowedInURL("\\:;\\[\\]");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::URLPathAllowedCharacterSet() {
  static Object* const set = allowedInURL("/\\:@");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::URLQueryAllowedCharacterSet() {
  static Object* const set = allowedInURL("/?\\:@;");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::URLFragmentAllowedCharacterSet() { return URLQueryAllowedCharacterSet(); }
NSCharacterSet NSCharacterSet::URLUserAllowedCharacterSet() {
  static Object* const set = allowedInURL(";");
  return NSCharacterSet(borrow, set);
}
NSCharacterSet NSCharacterSet::URLPasswordAllowedCharacterSet() { return URLUserAllowedCharacterSet(); }

NSCharacterSet NSCharacterSet::characterSetWithCharactersInString(const NSString& characters) {
  text::checkNotNil(characters, "+[NSCharacterSet characterSetWithCharactersInString:]");
  auto members = std::make_unique<icu::UnicodeSet>();
  const UTF16Text units(text::bodyOf(characters));
  for (std::size_t i = 0; i < units.size();) {
    members->add(static_cast<UChar32>(unicode::next(units.data(), units.size(), i)));
  }
  return wrap(std::move(members));
}

NSCharacterSet NSCharacterSet::characterSetWithRange(NSRange range) {
  constexpr NSUInteger kEnd = 0x110000;
  if (range.location > kEnd || range.length > kEnd - range.location) {
    objc_raise("NSInvalidArgumentException", "+[NSCharacterSet characterSetWithRange:]: Range {" +
                                                 std::to_string(range.location) + ", " + std::to_string(range.length) +
                                                 "} outside of Unicode");
  }
  auto members = std::make_unique<icu::UnicodeSet>();
  if (range.length != 0) {
    members->add(static_cast<UChar32>(range.location), static_cast<UChar32>(NSMaxRange(range) - 1));
  }
  return wrap(std::move(members));
}

NSCharacterSet NSCharacterSet::invertedSet() const {
  if (!*this) return NSCharacterSet();
  MemberSet members = copyOf(*this);
  members->complement();
  return wrap(std::move(members));
}

NSCharacterSet NSCharacterSet::characterSetByUniting(const NSCharacterSet& other) const {
  if (!*this || !other) return *this ? *this : other;
  MemberSet members = copyOf(*this);
  members->addAll(*CharacterSetBody::of(other).members);
  return wrap(std::move(members));
}

NSCharacterSet NSCharacterSet::characterSetByIntersecting(const NSCharacterSet& other) const {
  if (!*this) return NSCharacterSet();
  MemberSet members = copyOf(*this);
  if (other)
    members->retainAll(*CharacterSetBody::of(other).members);
  else
    members->clear();
  return wrap(std::move(members));
}

bool NSCharacterSet::characterIsMember(unichar character) const {
  return *this && CharacterSetBody::of(*this).contains(character);
}

bool NSCharacterSet::longCharacterIsMember(char32_t character) const {
  return *this && CharacterSetBody::of(*this).contains(character);
}

bool NSCharacterSet::isSupersetOfSet(const NSCharacterSet& other) const {
  if (!*this) return false;
  return !other || CharacterSetBody::of(*this).members->containsAll(*CharacterSetBody::of(other).members);
}

std::uint64_t NSCharacterSet::hash() const { return *this ? hashOf(object()) : 0; }

bool NSCharacterSet::isEqual(const id& other) const {
  return *this && other && (isIdentical(*this, other) || isEqualTo(object(), other.object()));
}

NSString NSCharacterSet::description() const {
  if (!*this) return NSString();
  return NSString::stringWithFormat("<%s: %p>", class_getName(class_()), static_cast<const void*>(object()));
}

}  // namespace kvt
