// The hash table under dictionaries and sets; not installed. It keeps the order of insertion: the slots lie in that
// order, side by side, and past eight of them an index of slot numbers (open addressing, at most half full) finds them
// by hash.
//
// A removed slot stays behind as a gap, which the index does not know; gaps are closed when there is no room left or
// when three in four slots are gaps, so that every operation is O(1) (amortised) under any pattern and walking is
// O(count). Slots start behind the body of their owner, in the same allocation, and move to one of their own when they
// grow.
//
// A slot is moved bytewise, offers `slotKey()` (nil in a gap) and `eachObject(f)`, and has a member `hash`.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "CollectionSupport.h"

namespace kvt {

[[noreturn]] void raiseTableTooLarge();

template <class Slot>
struct OrderedTable {
  static constexpr std::uint32_t kNone = UINT32_MAX;
  static constexpr std::uint32_t kUnindexed = 8;  // so many slots are searched one by one
  static constexpr std::uint32_t kMaximumCapacity = std::uint32_t{1} << 30;

  Slot* slots;
  std::uint32_t* index = nullptr;  // null while unindexed; lies behind the slots
  std::uint32_t capacity;
  std::uint32_t used = 0;   // slots, gaps included
  std::uint32_t count = 0;  // without them
  std::uint32_t first = 0;  // no slot before it is in use
  std::uint32_t mutations = 0;

  /// Bytes for so many slots and their index.
  static std::size_t storageSize(std::size_t capacity) {
    if (capacity > kMaximumCapacity) raiseTableTooLarge();
    return capacity * sizeof(Slot) +
           (capacity > kUnindexed ? indexSize(static_cast<std::uint32_t>(capacity)) * sizeof(std::uint32_t) : 0);
  }

  /// On uninitialised storage of that size.
  OrderedTable(void* storage, std::uint32_t room) noexcept { useStorage(storage, room); }
  OrderedTable(const OrderedTable&) = delete;
  OrderedTable& operator=(const OrderedTable&) = delete;

  bool isIn(const void* storage) const noexcept { return static_cast<const void*>(slots) == storage; }

  /// The next slot in use from `i` on; `used` when there is none.
  std::uint32_t next(std::uint32_t i) const noexcept {
    if (i < first) i = first;
    while (i < used && !slots[i].slotKey()) ++i;
    return i;
  }

  /// The slot of a key, or kNone. The hash is only asked for when the key itself is not among few slots.
  std::uint32_t find(const Object* key) const {
    if (index == nullptr) {
      for (std::uint32_t i = first; i < used; ++i) {
        if (slots[i].slotKey().object() == key) return i;
      }
      if (used == first) return kNone;
    }
    return find(key, collections::tableHash(key));
  }
  std::uint32_t find(const Object* key, std::uint32_t hash) const {
    return findWith(hash, [key](const Object* other) { return collections::equal(key, other); });
  }
  /// `matches` is called with the keys of that hash; raises NSGenericException when it changes the table.
  template <class Matches>
  std::uint32_t findWith(std::uint32_t hash, const Matches& matches) const {
    const std::uint32_t seen = mutations;
    const auto hits = [&](const Slot& slot) {
      if (slot.hash != hash || !slot.slotKey()) return false;
      const bool hit = matches(slot.slotKey().object());
      if (mutations != seen) collections::raiseChangedBySearch();
      return hit;
    };
    if (index == nullptr) {
      for (std::uint32_t i = first; i < used; ++i) {
        if (hits(slots[i])) return i;
      }
      return kNone;
    }
    const std::uint32_t mask = indexSize(capacity) - 1;
    for (std::uint32_t at = hash & mask;; at = (at + 1) & mask) {
      const std::uint32_t number = index[at];
      if (number == kNone || hits(slots[number])) return number;
    }
  }

  /// A slot whose key is not in the table yet. Needs room (`reserve`).
  void appendUnchecked(Slot&& slot) noexcept {
    if (index != nullptr) enter(slot.hash, used);
    ::new (static_cast<void*>(slots + used)) Slot(std::move(slot));
    ++used;
    ++count;
  }
  void append(const void* inlineStorage, Slot&& slot) {
    if (used == capacity) grow(inlineStorage);
    appendUnchecked(std::move(slot));
    ++mutations;
  }

  /// The slot's content; the caller lets it go when the table is in order.
  Slot take(const void* inlineStorage, std::uint32_t number) noexcept {
    if (index != nullptr) withdraw(slots[number].hash, number);
    Slot taken = std::move(slots[number]);  // leaves a gap
    --count;
    ++mutations;
    if (number == first) first = next(number + 1);
    while (used > first && !slots[used - 1].slotKey()) --used;
    if (count == 0) {
      used = first = 0;
    } else if (used > 2 * kUnindexed && count < used / 4) {
      // Without memory the gaps stay a while longer.
      try {
        rebuild(inlineStorage, std::max(count * 2, kUnindexed));
      } catch (const std::bad_alloc&) {
      }
    }
    return taken;
  }

  /// Room for `total` slots in all.
  void reserve(const void* inlineStorage, std::size_t total) {
    if (total > capacity - (used - count)) {
      if (total > kMaximumCapacity) raiseTableTooLarge();
      rebuild(inlineStorage, static_cast<std::uint32_t>(total));
    }
  }

  /// Takes all slots out. The table is empty and without room when they are released, and gets its own storage back.
  void removeAll(const void* inlineStorage) noexcept {
    Slot* old = slots;
    const std::uint32_t oldUsed = used, oldCapacity = capacity;
    useStorage(const_cast<void*>(inlineStorage), 0);
    used = count = first = 0;
    ++mutations;
    {
      collections::ReleaseScope scope;
      for (std::uint32_t i = 0; i < oldUsed; ++i) release(scope, old[i]);
    }
    if (old != inlineStorage)
      Object::operator delete(old);
    else if (slots == inlineStorage)
      useStorage(const_cast<void*>(inlineStorage), oldCapacity);
  }

  /// For the owner's destructor.
  void destroy(const void* inlineStorage) noexcept {
    if (count != 0) {
      collections::ReleaseScope scope;
      for (std::uint32_t i = first; i < used; ++i) release(scope, slots[i]);
    }
    if (slots != inlineStorage) Object::operator delete(slots);
  }

 private:
  static std::uint32_t indexSize(std::uint32_t room) noexcept { return std::bit_ceil(room) * 2; }

  static void release(collections::ReleaseScope& scope, Slot& slot) noexcept {
    if (!slot.slotKey()) return;
    slot.eachObject([&scope](id& object) { scope.release(object.detach()); });
  }

  void useStorage(void* storage, std::uint32_t room) noexcept {
    slots = static_cast<Slot*>(storage);
    capacity = room;
    index = nullptr;
    if (room <= kUnindexed) return;
    index = reinterpret_cast<std::uint32_t*>(slots + room);
    clearIndex();
  }
  void clearIndex() noexcept { std::memset(index, 0xFF, indexSize(capacity) * sizeof(std::uint32_t)); }

  void enter(std::uint32_t hash, std::uint32_t number) noexcept {
    const std::uint32_t mask = indexSize(capacity) - 1;
    std::uint32_t at = hash & mask;
    while (index[at] != kNone) at = (at + 1) & mask;
    index[at] = number;
  }

  /// Closes the place in the index, so that a key that comes and goes leaves nothing behind that later searches would
  /// pass.
  void withdraw(std::uint32_t hash, std::uint32_t number) noexcept {
    const std::uint32_t mask = indexSize(capacity) - 1;
    std::uint32_t hole = hash & mask;
    while (index[hole] != number) hole = (hole + 1) & mask;
    for (std::uint32_t at = (hole + 1) & mask; index[at] != kNone; at = (at + 1) & mask) {
      const std::uint32_t home = slots[index[at]].hash & mask;
      if (((at - home) & mask) < ((at - hole) & mask)) continue;  // it would stand before its home
      index[hole] = index[at];
      hole = at;
    }
    index[hole] = kNone;
  }

  void grow(const void* inlineStorage) {
    if (capacity >= kMaximumCapacity) raiseTableTooLarge();
    // With a quarter of gaps, closing them makes room enough.
    rebuild(inlineStorage, count + 1 > capacity - capacity / 4 ? std::max(capacity * 2, kUnindexed) : capacity);
  }

  void rebuild(const void* inlineStorage, std::uint32_t room) {
    room = std::max(room, kUnindexed);
    Slot* old = slots;
    const std::uint32_t oldUsed = used;
    useStorage(Object::operator new(storageSize(room)), room);
    std::uint32_t live = 0;
    for (std::uint32_t i = first; i < oldUsed; ++i) {
      if (!old[i].slotKey()) continue;
      std::memcpy(static_cast<void*>(slots + live), static_cast<const void*>(old + i), sizeof(Slot));
      if (index != nullptr) enter(slots[live].hash, live);
      ++live;
    }
    used = live;
    first = 0;
    if (old != inlineStorage) Object::operator delete(old);
  }
};

}  // namespace kvt
