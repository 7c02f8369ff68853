// A queue: objects leave in the order in which they came. Those that match a predicate can be taken out of its middle.
//
//     Ref<KVTQueue> queue = make<KVTQueue>();
//     queue->enqueue(request);
//     queue->remove([](const id& each) { return each.as<Request>()->isCancelled(); });
//     while (id each = queue->dequeue()) send(each);
//
// Neighbouring nodes own each other, so a queue that is dropped with two or more objects in it leaks them. Empty it
// first: `dequeue` until nil, or `remove` everything; nodes that left either way are owned by nobody.
//
// Thread rule: one thread at a time.
#pragma once

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Values/NSObject.h>

namespace kvt {

/// A link of the chain. Owns its value and both neighbours.
class KVT_EXPORT KVTQueueNode : public NSObject {
 public:
  KVTQueueNode() = default;
  ~KVTQueueNode() override;

  const id& value() const noexcept { return value_; }
  void setValue(const id& value) { value_ = value; }
  const Ref<KVTQueueNode>& next() const noexcept { return next_; }
  void setNext(const Ref<KVTQueueNode>& next) { next_ = next; }
  const Ref<KVTQueueNode>& prev() const noexcept { return prev_; }
  void setPrev(const Ref<KVTQueueNode>& prev) { prev_ = prev; }

 private:
  static void kvtDescribe(ClassBuilder<KVTQueueNode>& c);
  id value_;
  Ref<KVTQueueNode> next_;
  Ref<KVTQueueNode> prev_;
  KVT_CLASS(KVTQueueNode)
};

class KVT_EXPORT KVTQueue : public NSObject {
 public:
  /// Puts the object behind all others. Nothing for nil. O(1).
  void enqueue(const id& object);
  /// Takes out the oldest object; nil when there is none. O(1).
  id dequeue();
  /// Takes out every object that the predicate says YES to, which is asked from the oldest to the newest. Nothing for a
  /// nil predicate. When the predicate raises, those it said YES to before are out. O(count).
  void remove(const Block<bool(id)>& predicate);

  // The chain as it stands. Setting a part of it sets nothing else.
  std::uint64_t count() const noexcept { return count_; }
  void setCount(std::uint64_t count) noexcept { count_ = count; }
  const Ref<KVTQueueNode>& head() const noexcept { return head_; }
  void setHead(const Ref<KVTQueueNode>& head) { head_ = head; }
  const Ref<KVTQueueNode>& tail() const noexcept { return tail_; }
  void setTail(const Ref<KVTQueueNode>& tail) { tail_ = tail; }

 private:
  static void kvtDescribe(ClassBuilder<KVTQueue>& c);
  std::uint64_t count_ = 0;
  Ref<KVTQueueNode> head_;
  Ref<KVTQueueNode> tail_;
  KVT_CLASS(KVTQueue)
};

}  // namespace kvt
