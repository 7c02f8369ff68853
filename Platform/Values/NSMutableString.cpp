#include "NSMutableString.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "NSObject.h"
#include "NSStringInternal.h"

namespace kvt {

using namespace text;

namespace {

StringBody& mutableBody(const NSMutableString& text) noexcept { return *static_cast<StringBody*>(text.object()); }

Object* createEmpty(Class cls) {
  StringBody* body = StringBody::createMutable();
  ObjectAccess::setIsa(body, cls.body());
  return body;
}

}  // namespace

Class NSMutableString::kvtClass() {
  static const Class cls = [] {
    using Self = NSMutableString;
    ClassBuilder<Self> c("NSMutableString", classOf<NSString>());
    c.createWith(&createEmpty);
    c.classMethod<&Self::string>("string").classMethod<&Self::stringWithCapacity>("stringWithCapacity:");
    c.classMethod<&Self::stringWithString>("stringWithString:");
    c.method<&Self::appendString>("appendString:").method<&Self::setString>("setString:");
    c.method<&Self::insertString_atIndex>("insertString:atIndex:");
    c.method<&Self::deleteCharactersInRange>("deleteCharactersInRange:");
    c.method<&Self::replaceCharactersInRange_withString>("replaceCharactersInRange:withString:");
    c.method<&Self::replaceOccurrencesOfString_withString_options_range>(
        "replaceOccurrencesOfString:withString:options:range:");
    return c.registerClass();
  }();
  return cls;
}

bool NSMutableString::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kMutableStringKind, kMutableStringKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSMutableString>(), true);

NSMutableString NSMutableString::string() { return NSMutableString(adopt, StringBody::createMutable()); }

NSMutableString NSMutableString::stringWithCapacity(NSUInteger capacity) {
  constexpr NSUInteger kMost = 1 << 20;  // it is a hint; text that is really longer grows into its size
  return NSMutableString(adopt, StringBody::createMutable(capacity < kMost ? capacity : kMost));
}

NSMutableString NSMutableString::stringWithString(const NSString& text) {
  checkNotNil(text, "+[NSMutableString stringWithString:]");
  return text.mutableCopy();
}

void NSMutableString::appendString(const NSString& text) const {
  if (!*this) return;
  checkNotNil(text, "-[NSMutableString appendString:]");
  mutableBody(*this).append(bodyOf(text));
}

void NSMutableString::insertString_atIndex(const NSString& text, NSUInteger index) const {
  if (!*this) return;
  checkNotNil(text, "-[NSMutableString insertString:atIndex:]");
  if (index > length()) raiseIndex("-[NSMutableString insertString:atIndex:]", index, length());
  mutableBody(*this).replace(index, 0, bodyOf(text));
}

void NSMutableString::deleteCharactersInRange(NSRange range) const {
  if (!*this) return;
  checkRange(range, length(), "-[NSMutableString deleteCharactersInRange:]");
  mutableBody(*this).replace(range.location, range.length, bodyOf(emptyText()));
}

void NSMutableString::replaceCharactersInRange_withString(NSRange range, const NSString& text) const {
  if (!*this) return;
  constexpr const char* kSelector = "-[NSMutableString replaceCharactersInRange:withString:]";
  checkNotNil(text, kSelector);
  checkRange(range, length(), kSelector);
  mutableBody(*this).replace(range.location, range.length, bodyOf(text));
}

void NSMutableString::setString(const NSString& text) const {
  if (!*this || isIdentical(*this, text)) return;
  checkNotNil(text, "-[NSMutableString setString:]");
  mutableBody(*this).clear();
  mutableBody(*this).append(bodyOf(text));
}

NSUInteger NSMutableString::replaceOccurrencesOfString_withString_options_range(const NSString& target,
                                                                                const NSString& replacement,
                                                                                NSStringCompareOptions options,
                                                                                NSRange range) const {
  if (!*this) return 0;
  constexpr const char* kSelector = "-[NSMutableString replaceOccurrencesOfString:withString:options:range:]";
  checkNotNil(target, kSelector);
  checkNotNil(replacement, kSelector);
  checkRange(range, length(), kSelector);
  NSUInteger count = 0;
  const NSString replaced = replaceAll(*this, target, replacement, options, range, &count);
  if (count != 0) setString(replaced);
  return count;
}

}  // namespace kvt
