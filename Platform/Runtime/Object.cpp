#include "Object.h"

#include "ClassBody.h"
#include "Dispose.h"
#include "ObjectMemory.h"

namespace kvt {

Object::Object(Class cls, ObjectKind kind) noexcept : isa_(cls.body()), kind_(kind) {}

void* Object::operator new(std::size_t size) { return memory::allocate(size); }

void Object::operator delete(void* memory) noexcept {
  if (memory != nullptr) memory::deallocate(memory);
}

bool ObjectAccess::tryRetain(const Object* object) noexcept {
  std::int32_t count = object->references_.load(std::memory_order_relaxed);
  while (count >= Object::kOne) {
    if (object->references_.compare_exchange_weak(count, count + Object::kOne, std::memory_order_acquire)) return true;
  }
  return (count & ~Object::kNeedsCare) == Object::kImmortal;
}

void ObjectAccess::dispose(Object* object) noexcept {
  if ((object->references_.load(std::memory_order_relaxed) & Object::kNeedsCare) == 0) {
    giveBack(object);
    return;
  }
  // From here on retain and release do nothing, so that destructors may form handles to the object.
  object->references_.store(Object::kDeallocating, std::memory_order_relaxed);
  if (isWeaklyReferenced(object)) weak_clear(object);
  if (object->isa_ != nullptr && object->isa_->builtAtRunTime) releaseSynthesizedIvars(object);
  object->~Object();
  memory::deallocate(static_cast<void*>(object));
}

void ObjectAccess::giveBack(Object* object) noexcept { memory::deallocate(object); }

}  // namespace kvt
