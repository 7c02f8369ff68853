#include "NSArrayBody.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include <KVTPlatform/Runtime/ObjectMemory.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "CollectionSupport.h"
#include "NSArray.h"

namespace kvt {
namespace {

constexpr std::size_t kMaximumCount = SIZE_MAX / 4 / sizeof(id);

[[noreturn]] void raiseTooLarge(std::size_t count) {
  objc_raise("NSMallocException", "*** an array cannot hold " + std::to_string(count) + " elements");
}

id* allocate(std::size_t count) { return static_cast<id*>(Object::operator new(count * sizeof(id))); }

}  // namespace

/// Looked up once: many arrays are made. Threads that look at the same time find the same.
static ClassBody* classOfArray(ValueKind kind) noexcept {
  static constinit std::atomic<ClassBody*> known[2] = {};
  std::atomic<ClassBody*>& mine = known[kind == kArrayKind ? 0 : 1];
  ClassBody* cls = mine.load(std::memory_order_relaxed);
  if (cls == nullptr) [[unlikely]] {
    cls = (kind == kArrayKind ? classOf<NSArray>() : classOf<NSMutableArray>()).body();
    mine.store(cls, std::memory_order_relaxed);
  }
  return cls;
}

inline ArrayBody::ArrayBody(ValueKind kind, std::size_t room) noexcept
    : Object(classOfArray(kind), objectKind(kind)), items(inlineStorage()), storage(items), capacity(room) {
  if (kind == kArrayKind) ObjectAccess::markImmutableValue(this);
}

ArrayBody::~ArrayBody() {
  if (count != 0) {
    collections::ReleaseScope scope;
    for (std::size_t i = 0; i < count; ++i) scope.release(items[i].detach());
  }
  if (storage != inlineStorage()) Object::operator delete(storage);
}

ArrayBody* ArrayBody::create(ValueKind kind, std::size_t capacity) {
  if (capacity > kMaximumCount) [[unlikely]]
    raiseTooLarge(capacity);
  void* memory = memory::allocate(sizeof(ArrayBody) + capacity * sizeof(id));
  return ::new (memory) ArrayBody(kind, capacity);
}

ArrayBody* ArrayBody::createWith(ValueKind kind, Object* const* elements, std::size_t count) {
  ArrayBody* body = create(kind, count);
  for (std::size_t i = 0; i < count; ++i) ::new (static_cast<void*>(body->items + i)) id(adopt, elements[i]);
  body->count = count;
  return body;
}

ArrayBody* ArrayBody::createCopy(ValueKind kind, const id* objects, std::size_t count) {
  ArrayBody* body = create(kind, count);
  for (std::size_t i = 0; i < count; ++i) body->appendUnchecked(id(objects[i]));
  return body;
}

/// Handles may be moved bytewise: a moved-from one needs no destructor.
void ArrayBody::moveTo(id* target, std::size_t from, std::size_t length) noexcept {
  std::memmove(static_cast<void*>(target), static_cast<const void*>(items + from), length * sizeof(id));
}

/// Sees to it that `length` places are free before or behind the elements. What else is free lies behind after growing
/// for an append, and is divided otherwise, so that neither end is starved by the other.
void ArrayBody::makeRoom(bool before, std::size_t length) {
  if (length > kMaximumCount - count) raiseTooLarge(count + length);
  const std::size_t total = count + length;
  const std::size_t room = capacity - count;
  // Shifting within the storage pays when it buys room for many more insertions.
  if (room >= length && room - length >= total / 2) {
    const std::size_t spare = room - length;
    id* target = storage + (before ? spare / 2 + length : spare / 4);
    moveTo(target, 0, count);
    items = target;
    return;
  }
  const std::size_t grown = std::max<std::size_t>(2 * total, 8);
  id* fresh = allocate(grown);
  id* target = fresh + (before ? (grown - total) / 2 + length : 0);
  moveTo(target, 0, count);
  if (storage != inlineStorage()) Object::operator delete(storage);
  storage = fresh;
  items = target;
  capacity = grown;
}

void ArrayBody::reserve(std::size_t total) {
  if (total <= count || total - count <= static_cast<std::size_t>(storage + capacity - (items + count))) return;
  if (total > kMaximumCount) raiseTooLarge(total);
  id* fresh = allocate(total);
  moveTo(fresh, 0, count);
  if (storage != inlineStorage()) Object::operator delete(storage);
  storage = items = fresh;
  capacity = total;
}

void ArrayBody::openGap(std::size_t index, std::size_t length) {
  if (length == 0) return;
  const auto roomBefore = [this] { return static_cast<std::size_t>(items - storage); };
  const auto roomBehind = [this] { return static_cast<std::size_t>(storage + capacity - (items + count)); };
  const bool front = index < count - index;
  if ((front ? roomBefore() : roomBehind()) < length) makeRoom(front, length);
  if (front) {
    moveTo(items - length, 0, index);
    items -= length;
  } else {
    moveTo(items + index + length, index, count - index);
  }
  count += length;
  ++mutations;
}

void ArrayBody::closeGap(std::size_t index, std::size_t length) noexcept {
  const std::size_t behind = count - index - length;
  if (index < behind) {
    moveTo(items + length, 0, index);
    items += length;
  } else {
    moveTo(items + index, index + length, behind);
  }
  count -= length;
  if (count == 0) items = storage;
  ++mutations;
}

id ArrayBody::take(std::size_t index) noexcept {
  id object(adopt, items[index].detach());
  closeGap(index, 1);
  return object;
}

void ArrayBody::remove(std::size_t index, std::size_t length) {
  if (length == 0) return;
  if (length == count) return removeAll();
  std::vector<id> removed(length);
  moveTo(removed.data(), index, length);
  closeGap(index, length);
}

void ArrayBody::removeAll() noexcept {
  if (count == 0) return;
  id* old = items;
  id* oldStorage = storage;
  const std::size_t oldCount = count;
  const std::size_t oldCapacity = capacity;
  // Destructors may fill the array again: not into the places that are still being emptied.
  items = storage = inlineStorage();
  count = capacity = 0;
  ++mutations;
  {
    collections::ReleaseScope scope;
    for (std::size_t i = 0; i < oldCount; ++i) scope.release(old[i].detach());
  }
  if (oldStorage != inlineStorage())
    Object::operator delete(oldStorage);
  else if (storage == oldStorage)
    capacity = oldCapacity;
}

}  // namespace kvt
