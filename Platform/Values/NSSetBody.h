// The body of sets; not installed.
//
//     SetBody* body = SetBody::create(kSetKind, count);   // one allocation
//     body->add(std::move(object));                       // not nil; does nothing when an equal one is there
//     NSSet set(adopt, body);
#pragma once

#include <utility>

#include "Kinds.h"
#include "NSSet.h"
#include "OrderedTable.h"

namespace kvt {

struct SetBody final : Object {
  using Slot = detail::SetSlot;
  using Table = OrderedTable<Slot>;

  /// Room for `capacity` elements in the same allocation.
  static SetBody* create(ValueKind kind, std::size_t capacity);
  /// Shares the elements.
  static SetBody* createCopy(ValueKind kind, const SetBody& other, std::size_t extraCapacity = 0);
  static const SetBody* of(const Object* object) noexcept {
    return collections::isSet(object) ? static_cast<const SetBody*>(object) : nullptr;
  }
  static SetBody* ofMutable(const Object* object) noexcept {
    return isKindBetween(object, kMutableSetKind, kMutableSetKind)
               ? const_cast<SetBody*>(static_cast<const SetBody*>(object))
               : nullptr;
  }

  bool isMutable() const noexcept { return kindOf(this) == kMutableSetKind; }
  bool contains(const Object* object) const { return table.find(object) != Table::kNone; }

  void add(id&& object);
  /// An element that is known to be new, with its `collections::tableHash`.
  void addNew(id&& object, std::uint32_t hash) { table.append(inlineStorage(), Slot(std::move(object), hash)); }
  void remove(const Object* object);
  void removeAll() noexcept { table.removeAll(inlineStorage()); }
  void reserve(std::size_t total) { table.reserve(inlineStorage(), total); }

  Table table;

  ~SetBody();

 private:
  SetBody(ValueKind kind, std::uint32_t room);
  void* inlineStorage() noexcept { return this + 1; }
};

}  // namespace kvt
