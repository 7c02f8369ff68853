#include "NSNull.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "Kinds.h"
#include "NSObject.h"
#include "NSString.h"

namespace kvt {
namespace {

struct NullBody final : Object {
  NullBody() : Object(classOf<NSNull>(), objectKind(kNullKind)) {
    ObjectAccess::markImmutableValue(this);
    ObjectAccess::makeImmortal(this);
  }
};

std::uint64_t hashNull(const Object*) { return 0x6E756C6C; }
bool isEqualNull(const Object* a, const Object* b) { return a == b; }

std::uint64_t nullHash(const NSNull& self) { return hashNull(self.object()); }
bool nullIsEqual(const NSNull& self, const id& other) { return isIdentical(self, other); }
NSString nullDescription(const NSNull&) { return "<null>"_ns; }
Object* nullCopy(Object* self, SEL, void*) { return self; }

}  // namespace

NSNull NSNull::null() {
  static Object* const body = new NullBody();
  return NSNull(borrow, body);
}

Class NSNull::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSNull> c("NSNull", classOf<NSObject>());
    c.classMethod<&NSNull::null>("null");
    c.method<&nullHash>("hash").method<&nullIsEqual>("isEqual:").method<&nullDescription>("description");
    c.rawMethod("copyWithZone:", reinterpret_cast<IMP>(&nullCopy), "@24@0:8^{_NSZone=}16");
    c.createWith([](Class) { return NSNull::null().object(); });
    registerValueOperations(kNullKind, {hashNull, isEqualNull});
    return c.registerClass();
  }();
  return cls;
}

bool NSNull::kvtAccepts(const Object* object) noexcept { return isKindBetween(object, kNullKind, kNullKind); }

[[maybe_unused]] static const bool registered = (classOf<NSNull>(), true);

}  // namespace kvt
