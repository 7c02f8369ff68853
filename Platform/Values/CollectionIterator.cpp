#include "CollectionIterator.h"

#include "CollectionSupport.h"
#include "NSArrayBody.h"
#include "NSDictionaryBody.h"
#include "NSSetBody.h"

namespace kvt::detail {
namespace {

// What a walk over a mutable collection asks of its body: places are numbers, gaps are passed over.

template <class Slot>
struct BodyOf;
template <>
struct BodyOf<id> {
  static const ArrayBody& of(const id& collection) { return static_cast<const ArrayBody&>(*collection.object()); }
  static std::size_t next(const ArrayBody& body, std::size_t place) { return std::min(place, body.count); }
  static std::size_t end(const ArrayBody& body) { return body.count; }
  static std::size_t count(const ArrayBody& body) { return body.count; }
  static std::uint32_t mutations(const ArrayBody& body) { return body.mutations; }
  static const id& value(const ArrayBody& body, std::size_t place) { return body.items[place]; }
};
template <class Body>
struct BodyOfTable {
  static const Body& of(const id& collection) { return static_cast<const Body&>(*collection.object()); }
  static std::size_t next(const Body& body, std::size_t place) {
    return body.table.next(static_cast<std::uint32_t>(place));
  }
  static std::size_t end(const Body& body) { return body.table.used; }
  static std::size_t count(const Body& body) { return body.table.count; }
  static std::uint32_t mutations(const Body& body) { return body.table.mutations; }
  static const typename Body::Slot& value(const Body& body, std::size_t place) { return body.table.slots[place]; }
};
template <>
struct BodyOf<DictionarySlot> : BodyOfTable<DictionaryBody> {};
template <>
struct BodyOf<SetSlot> : BodyOfTable<SetBody> {};

}  // namespace

template <class Slot, class Value>
void CollectionIterator<Slot, Value>::enter() {
  using Access = BodyOf<Slot>;
  const auto& body = Access::of(collection_);
  changesSeen_ = Access::mutations(body);
  sizeSeen_ = Access::count(body);
  stand(0);
}

template <class Slot, class Value>
void CollectionIterator<Slot, Value>::stand(NSUInteger from) {
  using Access = BodyOf<Slot>;
  const auto& body = Access::of(collection_);
  const std::size_t place = Access::next(body, from);
  if (place >= Access::end(body)) {
    index_ = kEnd;
    held_ = Value();
    return;
  }
  index_ = place;
  held_ = Access::value(body, place);
  onLast_ = Access::next(body, place + 1) >= Access::end(body);
}

template <class Slot, class Value>
void CollectionIterator<Slot, Value>::step() {
  using Access = BodyOf<Slot>;
  if (index_ == kEnd) return;
  const auto& body = Access::of(collection_);
  if (Access::mutations(body) == changesSeen_) return stand(index_ + 1);
  // As on the platform, a change on the last element goes unnoticed unless it adds one: there is no next step.
  if (!onLast_ || Access::count(body) > sizeSeen_) collections::raiseMutated(collection_);
  index_ = kEnd;
  held_ = Value();
}

template class CollectionIterator<id, id>;
template class CollectionIterator<DictionarySlot, DictionaryEntry>;
template class CollectionIterator<SetSlot, id>;

}  // namespace kvt::detail
