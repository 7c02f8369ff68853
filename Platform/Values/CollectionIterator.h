// The iterator of the collections' range-for loops; client code does not name it.
//
// It keeps the collection alive. Over an immutable collection it is a pointer into it. Over a mutable one it holds the
// element it stands on, so that changing the collection in the loop never leaves a dangling reference, and the next
// step after such a change raises NSGenericException.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "NSTypes.h"
#include "id.h"

namespace kvt::detail {

/// `Slot` is how the collection keeps an element, `Value` (the same or a base of it) what the loop sees.
template <class Slot, class Value>
class CollectionIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Value;
  using difference_type = std::ptrdiff_t;
  using pointer = const Value*;
  using reference = const Value&;

  /// Every mutable collection's end.
  static constexpr NSUInteger kEnd = NSNotFound;

  CollectionIterator() noexcept = default;
  /// The end.
  explicit CollectionIterator(NSUInteger index) noexcept : index_(index) {}
  /// On the first element of an immutable collection.
  CollectionIterator(const id& collection, const Slot* slots) noexcept : collection_(collection), slots_(slots) {}
  /// On the first element of a mutable collection, or at its end.
  explicit CollectionIterator(const id& collection) : collection_(collection) { enter(); }

  reference operator*() const noexcept { return slots_ != nullptr ? static_cast<const Value&>(slots_[index_]) : held_; }
  pointer operator->() const noexcept { return &**this; }
  CollectionIterator& operator++() {
    if (slots_ != nullptr)
      ++index_;
    else
      step();
    return *this;
  }
  CollectionIterator operator++(int) {
    CollectionIterator before(*this);
    ++*this;
    return before;
  }
  friend bool operator==(const CollectionIterator& a, const CollectionIterator& b) noexcept {
    return a.index_ == b.index_;
  }

 private:
  KVT_EXPORT void enter();
  KVT_EXPORT void step();
  void stand(NSUInteger from);

  id collection_;
  const Slot* slots_ = nullptr;
  NSUInteger index_ = 0;
  NSUInteger sizeSeen_ = 0;
  std::uint32_t changesSeen_ = 0;
  bool onLast_ = false;
  Value held_{};
};

}  // namespace kvt::detail
