#include "NSString.h"

#include <algorithm>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSObject.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

std::uint64_t hashOf(const Object* object) { return static_cast<const StringBody*>(object)->hash(); }

bool isEqualTo(const Object* object, const Object* other) {
  const StringBody* body = StringBody::of(other);
  return body != nullptr && StringBody::equal(*static_cast<const StringBody*>(object), *body);
}

Object* copyWithZone(Object* self, SEL, void*) { return StringBody::createCopy(*static_cast<StringBody*>(self)); }
Object* mutableCopyWithZone(Object* self, SEL, void*) {
  return StringBody::createMutableCopy(*static_cast<StringBody*>(self));
}

Object* createEmpty(Class cls) {
  StringBody* body = StringBody::create("", 0, true);
  ObjectAccess::setIsa(body, cls.body());
  return body;
}

const char* UTF8StringOf(const NSString& text) { return text.UTF8String(); }

}  // namespace

Class NSString::kvtClass() {
  static const Class cls = [] {
    registerValueOperations(kStringKind, {&hashOf, &isEqualTo});
    registerValueOperations(kMutableStringKind, {&hashOf, &isEqualTo});
    ClassBuilder<NSString> c("NSString", classOf<NSObject>());
    c.createWith(&createEmpty);
    c.classMethod<&NSString::string>("string").classMethod<&NSString::stringWithString>("stringWithString:");
    c.classMethod<&NSString::stringWithUTF8String>("stringWithUTF8String:");
    c.classMethod<&NSString::stringWithCharacters_length>("stringWithCharacters:length:");
    c.method<&NSString::length>("length").method<&NSString::characterAtIndex>("characterAtIndex:");
    c.method<&NSString::getCharacters_range>("getCharacters:range:").method<&UTF8StringOf>("UTF8String");
    c.method<&NSString::hash>("hash").method<&NSString::isEqual>("isEqual:");
    c.method<&NSString::isEqualToString>("isEqualToString:").method<&NSString::description>("description");
    c.method<&NSString::substringFromIndex>("substringFromIndex:")
        .method<&NSString::substringToIndex>("substringToIndex:");
    c.method<&NSString::substringWithRange>("substringWithRange:");
    c.method<&NSString::stringByAppendingString>("stringByAppendingString:");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    c.rawMethod("mutableCopyWithZone:", reinterpret_cast<IMP>(&mutableCopyWithZone), "@24@0:8^{_NSZone=}16");
    c.protocol("NSCopying").protocol("NSMutableCopying");
    return c.registerClass();
  }();
  return cls;
}

bool NSString::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kStringKind, kMutableStringKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSString>(), true);

// ---- making --------------------------------------------------------------------------------------------------------

NSString::NSString(const char* utf8) : NSString(adopt, utf8 != nullptr ? StringBody::createFromUTF8(utf8) : nullptr) {}
NSString::NSString(std::string_view utf8) : NSString(adopt, StringBody::createFromUTF8(utf8)) {}
NSString::NSString(const char16_t* utf16)
    : NSString(adopt, utf16 != nullptr ? StringBody::createFromUTF16(utf16) : nullptr) {}
NSString::NSString(std::u16string_view utf16) : NSString(adopt, StringBody::createFromUTF16(utf16)) {}

NSString NSString::string() { return emptyText(); }

NSString NSString::stringWithString(const NSString& text) {
  checkNotNil(text, "+[NSString stringWithString:]");
  return text.copy();
}

NSString NSString::stringWithUTF8String(const char* utf8) {
  if (utf8 == nullptr) objc_raise("NSInvalidArgumentException", "+[NSString stringWithUTF8String:]: NULL cString");
  return NSString(utf8);
}

NSString NSString::stringWithCharacters_length(const unichar* characters, NSUInteger length) {
  if (characters == nullptr && length != 0) {
    objc_raise("NSInvalidArgumentException", "+[NSString stringWithCharacters:length:]: NULL characters");
  }
  return fromUTF16({characters, length});
}

// ---- reading -------------------------------------------------------------------------------------------------------

NSUInteger NSString::length() const { return *this ? bodyOf(*this).length() : 0; }

unichar NSString::characterAtIndex(NSUInteger index) const {
  if (!*this) return 0;
  const StringBody& body = bodyOf(*this);
  if (index >= body.length()) raiseIndex("-[NSString characterAtIndex:]", index, body.length());
  return body.at(index);
}

void NSString::getCharacters_range(unichar* buffer, NSRange range) const {
  if (!*this) return;
  const StringBody& body = bodyOf(*this);
  checkRange(range, body.length(), "-[NSString getCharacters:range:]");
  if (range.length == 0) return;
  if (body.isASCII())
    unicode::toUTF16(body.bytes() + range.location, range.length, buffer);
  else
    std::copy_n(body.utf16() + range.location, range.length, buffer);
}

const char* NSString::UTF8String() const { return *this ? bodyOf(*this).utf8().data() : nullptr; }
std::string_view NSString::utf8() const { return *this ? bodyOf(*this).utf8() : std::string_view(); }

std::string NSString::str() const {
  if (!*this) return std::string();
  const StringBody& body = bodyOf(*this);
  const std::string_view text = body.utf8();
  return text.data() != nullptr ? std::string(text) : unicode::toUTF8(std::u16string_view(body.units(), body.size));
}

std::u16string NSString::u16str() const {
  return *this ? std::u16string(UTF16Text(bodyOf(*this)).view()) : std::u16string();
}

// ---- equality, copies ----------------------------------------------------------------------------------------------

std::uint64_t NSString::hash() const { return *this ? bodyOf(*this).hash() : 0; }

bool NSString::isEqual(const id& other) const {
  return *this && other && (isIdentical(*this, other) || isEqualTo(object(), other.object()));
}

bool NSString::isEqualToString(const NSString& other) const {
  return *this && other && (isIdentical(*this, other) || StringBody::equal(bodyOf(*this), bodyOf(other)));
}

NSString NSString::copy() const { return *this ? wrap(StringBody::createCopy(bodyOf(*this))) : NSString(); }

NSMutableString NSString::mutableCopy() const {
  return *this ? NSMutableString(adopt, StringBody::createMutableCopy(bodyOf(*this))) : NSMutableString();
}

// ---- parts ---------------------------------------------------------------------------------------------------------

NSString NSString::substringFromIndex(NSUInteger index) const {
  if (!*this) return NSString();
  const NSUInteger size = length();
  if (index > size) raiseIndex("-[NSString substringFromIndex:]", index, size);
  return slice(bodyOf(*this), index, size - index);
}

NSString NSString::substringToIndex(NSUInteger index) const {
  if (!*this) return NSString();
  if (index > length()) raiseIndex("-[NSString substringToIndex:]", index, length());
  return slice(bodyOf(*this), 0, index);
}

NSString NSString::substringWithRange(NSRange range) const {
  if (!*this) return NSString();
  checkRange(range, length(), "-[NSString substringWithRange:]");
  return slice(bodyOf(*this), range.location, range.length);
}

NSString NSString::stringByAppendingString(const NSString& text) const {
  if (!*this) return NSString();
  checkNotNil(text, "-[NSString stringByAppendingString:]");
  return detail::joinText(*this, text);
}

namespace detail {

bool equalText(const NSString& a, std::string_view utf8) noexcept {
  if (!a) return false;
  const StringBody& body = bodyOf(a);
  if (body.form != StringBody::Form::kUTF16) return body.utf8() == utf8;
  // Not by the other form: making it may fail, and comparing shall not.
  std::size_t i = 0, k = 0;
  if (!unicode::isUTF8(utf8.data(), utf8.size())) return false;
  while (i < body.size && k < utf8.size()) {
    if (unicode::next(body.units(), body.size, i) != unicode::next(utf8.data(), k)) return false;
  }
  return i == body.size && k == utf8.size();
}

std::strong_ordering orderText(const NSString& a, const NSString& b) {
  if (!a || !b) return static_cast<bool>(a) <=> static_cast<bool>(b);
  if (isIdentical(a, b)) return std::strong_ordering::equal;
  const StringBody& left = bodyOf(a);
  const StringBody& right = bodyOf(b);
  if (left.isASCII() && right.isASCII()) return left.utf8() <=> right.utf8();
  if (left.form != StringBody::Form::kUTF16 && right.form != StringBody::Form::kUTF16) {
    // The bytes agree up to the first difference; the characters there decide, by their units.
    const std::string_view x = left.utf8(), y = right.utf8();
    std::size_t i = 0;
    const std::size_t common = std::min(x.size(), y.size());
    i = static_cast<std::size_t>(
        std::mismatch(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(common), y.begin()).first - x.begin());
    if (i == common) return x.size() <=> y.size();
    while (i > 0 && (static_cast<std::uint8_t>(x[i]) & 0xC0) == 0x80) --i;
    std::size_t xi = i, yi = i;
    const char32_t c = unicode::next(x.data(), xi), d = unicode::next(y.data(), yi);
    const auto firstUnit = [](char32_t character) {
      return character < 0x10000 ? character : 0xD7C0 + (character >> 10);
    };
    if (firstUnit(c) != firstUnit(d)) return firstUnit(c) <=> firstUnit(d);
    return c <=> d;
  }
  return UTF16Text(left).view() <=> UTF16Text(right).view();
}

NSString joinText(const NSString& a, const NSString& b) {
  if (!a || !b) return a ? a.copy() : b.copy();
  const StringBody& left = bodyOf(a);
  const StringBody& right = bodyOf(b);
  if (left.size == 0) return b.copy();
  if (right.size == 0) return a.copy();
  const std::string_view x = left.utf8(), y = right.utf8();
  if (x.data() == nullptr || y.data() == nullptr) {  // two halves of a pair may meet
    const UTF16Text head(left), tail(right);
    std::u16string joined;
    joined.reserve(head.size() + tail.size());
    return fromUTF16(joined.append(head.view()).append(tail.view()));
  }
  StringBody* body = StringBody::createUninitialized(x.size() + y.size(), left.isASCII() && right.isASCII());
  std::copy(y.begin(), y.end(), std::copy(x.begin(), x.end(), body->bytes()));
  return wrap(body);
}

Object* makeLiteral(const char* utf8, std::size_t size) {
  StringBody* body = StringBody::createFromUTF8({utf8, size});
  if (body != nullptr) ObjectAccess::makeImmortal(body);
  return body;
}

}  // namespace detail

// ---- shared by the units -------------------------------------------------------------------------------------------

namespace text {

void raiseNilArgument(const char* selector) {
  objc_raise("NSInvalidArgumentException", std::string(selector) + ": nil argument");
}

void raiseIndex(const char* selector, NSUInteger index, NSUInteger length) {
  objc_raise("NSRangeException", std::string(selector) + ": Index " + std::to_string(index) +
                                     " out of bounds; string length " + std::to_string(length));
}

void raiseRange(const char* selector, NSRange range, NSUInteger length) {
  objc_raise("NSRangeException", std::string(selector) + ": Range {" + std::to_string(range.location) + ", " +
                                     std::to_string(range.length) + "} out of bounds; string length " +
                                     std::to_string(length));
}

NSString slice(const StringBody& body, NSUInteger location, NSUInteger length) {
  if (length == 0) return emptyText();
  if (length == body.length()) return wrap(StringBody::createCopy(body));
  if (body.isASCII()) return wrap(StringBody::create(body.bytes() + location, length, true));
  return wrap(StringBody::createFromUTF16({body.utf16() + location, length}));
}

std::string localeName(const id& locale) {
  static const SEL localeIdentifier = "localeIdentifier";
  NSString name = locale.as<NSString>();
  if (!name && locale.respondsToSelector(localeIdentifier)) name = objc_msgSend<NSString>(locale, localeIdentifier);
  return name.str();
}

}  // namespace text
}  // namespace kvt
