// The body of dictionaries; not installed. Readers build one directly:
//
//     DictionaryBody* body = DictionaryBody::create(kDictionaryKind, count);   // one allocation
//     body->add(std::move(key), std::move(value));      // key immutable, neither nil; of equal keys the first one
//     counts, body->set(std::move(key), std::move(value));      // … or the last one NSDictionary dictionary(adopt,
//     body);
#pragma once

#include <utility>

#include "Kinds.h"
#include "NSDictionary.h"
#include "OrderedTable.h"

namespace kvt {

struct DictionaryBody final : Object {
  using Slot = detail::DictionarySlot;
  using Table = OrderedTable<Slot>;

  /// Room for `capacity` entries in the same allocation.
  static DictionaryBody* create(ValueKind kind, std::size_t capacity);
  /// Shares keys and values.
  static DictionaryBody* createCopy(ValueKind kind, const DictionaryBody& other, std::size_t extraCapacity = 0);
  static const DictionaryBody* of(const Object* object) noexcept {
    return collections::isDictionary(object) ? static_cast<const DictionaryBody*>(object) : nullptr;
  }
  static DictionaryBody* ofMutable(const Object* object) noexcept {
    return isKindBetween(object, kMutableDictionaryKind, kMutableDictionaryKind)
               ? const_cast<DictionaryBody*>(static_cast<const DictionaryBody*>(object))
               : nullptr;
  }

  bool isMutable() const noexcept { return kindOf(this) == kMutableDictionaryKind; }

  /// The value of a key, not retained; null when there is none. The key must not be null.
  const Object* valueOf(const Object* key) const {
    const std::uint32_t number = table.find(key);
    return number == Table::kNone ? nullptr : table.slots[number].value.object();
  }
  const Object* valueOf(std::string_view utf8Key) const;

  /// Puts in an entry whose key is immutable already; false, and nothing done, when an equal key is there.
  bool add(id&& key, id&& value);
  /// Likewise, replacing the value of an equal key.
  void set(id&& key, id&& value);
  /// Puts in an entry whose key is known to be new, with its `collections::tableHash`.
  void addNew(id&& key, id&& value, std::uint32_t hash) {
    table.append(inlineStorage(), Slot(std::move(key), std::move(value), hash));
  }
  /// Copies the key where it is new.
  void setCopyingKey(const id& key, const id& value);
  void remove(const Object* key);
  void removeAll() noexcept { table.removeAll(inlineStorage()); }
  void reserve(std::size_t total) { table.reserve(inlineStorage(), total); }

  Table table;

  ~DictionaryBody();

 private:
  DictionaryBody(ValueKind kind, std::uint32_t room);
  void* inlineStorage() noexcept { return this + 1; }
};

}  // namespace kvt
