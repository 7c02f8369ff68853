// How value types join keyed archives; not installed.
//
//     void encode(const NSNull&, const NSCoder&) {}
//     id decode(UnarchiverBody&, Class) { return NSNull::null(); }
//     [[maybe_unused]] static const bool registered = archive::registerValue<NSNull, &encode, &decode>();
//
// The class answers `encodeWithCoder:`, `initWithCoder:` and `supportsSecureCoding` then, and so do the classes below
// it.
#pragma once

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "ArchiverBody.h"
#include "UnarchiverBody.h"

namespace kvt::archive {

/// What the `initWithCoder:` of a class does, where it is that of the value type above it, so that no empty instance is
/// needed; null for any other method.
ArchiveDecoder decoderOf(Class cls, IMP initWithCoder) noexcept;
void registerDecoder(Class valueClass, IMP initWithCoder, ArchiveDecoder decoder);

/// Text, numbers, dates, data, arrays and dictionaries.
const std::vector<Class>& propertyListClasses();

/// The coder as what it must be here; raises NSInvalidArgumentException for another one.
ArchiverBody& archiverOf(const NSCoder& coder);
UnarchiverBody& unarchiverOf(const NSCoder& coder);

/// Gives a value that was just made, and that nobody shares, the class that it was archived with.
inline void setClass(const id& object, Class cls) noexcept { ObjectAccess::setIsa(object.object(), cls.body()); }

/// `initWithCoder:` answers a new object: values never change, so the empty one that it is sent to cannot become it.
template <class T, ArchiveDecoder Decode>
Object* initWithCoder(Object* self, SEL, Object* coder) {
  const Class cls = T::kvtAccepts(self) ? object_getClass(self) : classOf<T>();
  return Decode(unarchiverOf(NSCoder(borrow, coder)), cls).detach();
}

inline bool yes() noexcept { return true; }

template <class T, auto Encode, ArchiveDecoder Decode>
bool registerValue() {
  const auto init = reinterpret_cast<IMP>(&initWithCoder<T, Decode>);
  ClassBuilder<T> c(classOf<T>());
  c.template method<Encode>("encodeWithCoder:").rawMethod("initWithCoder:", init, "@24@0:8@16");
  c.template classMethod<&yes>("supportsSecureCoding");
  c.protocol("NSCoding").protocol("NSSecureCoding");
  c.registerClass();
  registerDecoder(classOf<T>(), init, Decode);
  return true;
}

}  // namespace kvt::archive
