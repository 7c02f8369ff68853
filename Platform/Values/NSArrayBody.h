// The body of arrays; not installed. Readers that know how many elements come build one directly:
//
//     ArrayBody* body = ArrayBody::create(kArrayKind, count);   // one allocation, the elements behind the body
//     body->appendUnchecked(std::move(object));                 // count times at most, no nil
//     NSArray array(adopt, body);
#pragma once

#include <new>
#include <utility>

#include "Kinds.h"
#include "id.h"

namespace kvt {

struct KVT_EXPORT ArrayBody final : Object {
  /// Room for `capacity` elements in the same allocation.
  static ArrayBody* create(ValueKind kind, std::size_t capacity);
  /// Takes over the elements' references.
  static ArrayBody* createWith(ValueKind kind, Object* const* elements, std::size_t count);
  /// Shares the elements.
  static ArrayBody* createCopy(ValueKind kind, const id* objects, std::size_t count);
  static const ArrayBody* of(const Object* object) noexcept {
    return isKindBetween(object, kArrayKind, kMutableArrayKind) ? static_cast<const ArrayBody*>(object) : nullptr;
  }
  static ArrayBody* ofMutable(const Object* object) noexcept {
    return isKindBetween(object, kMutableArrayKind, kMutableArrayKind)
               ? const_cast<ArrayBody*>(static_cast<const ArrayBody*>(object))
               : nullptr;
  }

  bool isMutable() const noexcept { return kindOf(this) == kMutableArrayKind; }

  /// For a body that nobody else knows yet, and that has room.
  void appendUnchecked(id&& object) noexcept {
    ::new (static_cast<void*>(items + count)) id(std::move(object));
    ++count;
  }

  // ---- mutable arrays. Each counts as a change; nothing is changed when memory runs out ----
  void append(id object) {
    if (items + count == storage + capacity) makeRoom(false, 1);
    appendUnchecked(std::move(object));
    ++mutations;
  }
  void insert(std::size_t index, id object) {
    openGap(index, 1);
    ::new (static_cast<void*>(items + index)) id(std::move(object));
  }
  /// Makes `length` places from `index` on, which the caller fills at once with `::new`.
  void openGap(std::size_t index, std::size_t length);
  /// Removes a range; what was in it is released after the body is in order again.
  void remove(std::size_t index, std::size_t length);
  /// The element, whose place is closed.
  id take(std::size_t index) noexcept;
  void removeAll() noexcept;
  void reserve(std::size_t total);

  id* items;  // within the storage: a mutable array may have room at both ends
  std::size_t count = 0;
  id* storage;
  std::size_t capacity;  // of the storage
  std::uint32_t mutations = 0;

  ~ArrayBody();

 private:
  ArrayBody(ValueKind kind, std::size_t room) noexcept;
  id* inlineStorage() noexcept { return reinterpret_cast<id*>(this + 1); }
  void closeGap(std::size_t index, std::size_t length) noexcept;
  void makeRoom(bool before, std::size_t length);
  void moveTo(id* target, std::size_t from, std::size_t length) noexcept;
};

}  // namespace kvt
