// Walks a collection, or anything else that can be walked, one object at a time.
//
//     NSEnumerator keys = dictionary.keyEnumerator();
//     while (id key = keys.nextObject()) …
//     for (const id& each : array.reverseObjectEnumerator()) …
//
// An enumerator keeps its collection alive and is used up by walking. A mutable collection that changes meanwhile
// raises NSGenericException at the next step. On nil everything answers nil. Thread rule: one thread at a time.
#pragma once

#include <iterator>

#include <KVTPlatform/Runtime/Block.h>

#include "id.h"

namespace kvt {

class NSArray;

class KVT_EXPORT NSEnumerator : public id {
  KVT_HANDLE(NSEnumerator, id)

 public:
  /// An enumerator that asks the block for each next object until it answers nil.
  static NSEnumerator enumeratorWithBlock(const Block<id()>& next);

  /// nil at the end, and ever after.
  id nextObject() const;
  /// What is left.
  NSArray allObjects() const;

  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = id;
    using difference_type = std::ptrdiff_t;
    using pointer = const id*;
    using reference = const id&;

    Iterator() noexcept = default;
    explicit Iterator(const NSEnumerator& enumerator);

    const id& operator*() const noexcept { return current_; }
    const id* operator->() const noexcept { return &current_; }
    Iterator& operator++();
    void operator++(int) { ++*this; }
    friend bool operator==(const Iterator& a, const Iterator& b) noexcept {
      return isIdentical(a.current_, b.current_);
    }

   private:
    id enumerator_;
    id current_;
  };
  Iterator begin() const { return Iterator(*this); }
  Iterator end() const noexcept { return {}; }
};

}  // namespace kvt
