#include "NSAttributedString.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "Kinds.h"
#include "NSObject.h"
#include "NSStringInternal.h"

namespace kvt {
namespace {

struct AttributedStringBody final : Object {
  explicit AttributedStringBody(NSString contents)
      : Object(classOf<NSAttributedString>(), objectKind(kAttributedStringKind)), text(std::move(contents)) {
    ObjectAccess::markImmutableValue(this);
  }
  const NSString text;
};

const NSString& textOf(const Object* object) noexcept { return static_cast<const AttributedStringBody*>(object)->text; }

std::uint64_t hashOf(const Object* object) { return textOf(object).hash(); }

bool isEqualTo(const Object* object, const Object* other) {
  return isKindBetween(other, kAttributedStringKind, kAttributedStringKind) &&
         textOf(object).isEqualToString(textOf(other));
}

Object* copyWithZone(Object* self, SEL, void*) {
  ObjectAccess::retain(self);
  return self;
}

Object* createEmpty(Class cls) {
  auto* body = new AttributedStringBody(NSString::string());
  ObjectAccess::setIsa(body, cls.body());
  return body;
}

}  // namespace

Class NSAttributedString::kvtClass() {
  static const Class cls = [] {
    using Self = NSAttributedString;
    registerValueOperations(kAttributedStringKind, {&hashOf, &isEqualTo});
    ClassBuilder<Self> c("NSAttributedString", classOf<NSObject>());
    c.createWith(&createEmpty).protocol("NSCopying");
    c.method<&Self::string>("string").method<&Self::length>("length");
    c.method<&Self::attributedSubstringFromRange>("attributedSubstringFromRange:");
    c.method<&Self::hash>("hash").method<&Self::isEqual>("isEqual:").method<&Self::description>("description");
    c.method<&Self::isEqualToAttributedString>("isEqualToAttributedString:");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&copyWithZone), "@24@0:8^{_NSZone=}16");
    return c.registerClass();
  }();
  return cls;
}

bool NSAttributedString::kvtAccepts(const Object* object) noexcept {
  return isKindBetween(object, kAttributedStringKind, kAttributedStringKind);
}

[[maybe_unused]] static const bool registered = (classOf<NSAttributedString>(), true);

NSAttributedString NSAttributedString::initWithString(const NSString& text) {
  text::checkNotNil(text, "-[NSAttributedString initWithString:]");
  return NSAttributedString(adopt, new AttributedStringBody(text.copy()));
}

NSString NSAttributedString::string() const { return *this ? textOf(object()) : NSString(); }
NSUInteger NSAttributedString::length() const { return string().length(); }

NSAttributedString NSAttributedString::attributedSubstringFromRange(NSRange range) const {
  if (!*this) return NSAttributedString();
  text::checkRange(range, length(), "-[NSAttributedString attributedSubstringFromRange:]");
  return initWithString(textOf(object()).substringWithRange(range));
}

std::uint64_t NSAttributedString::hash() const { return string().hash(); }

bool NSAttributedString::isEqual(const id& other) const {
  return *this && other && (isIdentical(*this, other) || isEqualTo(object(), other.object()));
}
bool NSAttributedString::isEqualToAttributedString(const NSAttributedString& other) const { return isEqual(other); }

NSString NSAttributedString::description() const { return *this ? textOf(object()) + "{\n}" : NSString(); }

}  // namespace kvt
