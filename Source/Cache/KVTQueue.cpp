#include "KVTQueue.h"

namespace kvt {

KVTQueueNode::~KVTQueueNode() {
  // A long chain that nobody else holds goes node by node: its links would need as much stack as it is long.
  for (auto link : {&KVTQueueNode::next_, &KVTQueueNode::prev_}) {
    Ref<KVTQueueNode> rest = std::move(this->*link);
    while (rest && ObjectAccess::isUniquelyReferenced(rest.object())) {
      Ref<KVTQueueNode> further = std::move(*rest.*link);
      rest = std::move(further);
    }
  }
}

void KVTQueueNode::kvtDescribe(ClassBuilder<KVTQueueNode>& c) {
  c.property<&KVTQueueNode::value_>("value");
  c.property<&KVTQueueNode::next_>("next").property<&KVTQueueNode::prev_>("prev");
}

void KVTQueue::enqueue(const id& object) {
  if (!object) return;
  const Ref<KVTQueueNode> node = make<KVTQueueNode>();
  node->setValue(object);
  if (head_) {
    // Whoever sets the ends by hand may have left no tail.
    if (tail_) tail_->setNext(node);
    node->setPrev(tail_);
    tail_ = node;
  } else {
    tail_ = node;
    head_ = node;
  }
  ++count_;
}

id KVTQueue::dequeue() {
  if (!head_) return {};
  const Ref<KVTQueueNode> node = head_;
  head_ = node->next();
  if (head_) head_->setPrev(nullptr);
  node->setNext(nullptr);
  if (isIdentical(node, tail_)) tail_ = nullptr;
  --count_;
  return node->value();
}

void KVTQueue::remove(const Block<bool(id)>& predicate) {
  if (!predicate) return;
  for (Ref<KVTQueueNode> node = head_; node; node = Ref<KVTQueueNode>(node->next())) {
    if (!predicate(node->value())) continue;
    if (node->prev()) node->prev()->setNext(node->next());
    if (node->next()) node->next()->setPrev(node->prev());
    if (isIdentical(node, head_)) head_ = node->next();
    if (isIdentical(node, tail_)) tail_ = node->prev();
    --count_;
  }
}

void KVTQueue::kvtDescribe(ClassBuilder<KVTQueue>& c) {
  c.property<&KVTQueue::count_>("count");
  c.property<&KVTQueue::head_>("head").property<&KVTQueue::tail_>("tail");
  c.method<&KVTQueue::enqueue>("enqueue:").method<&KVTQueue::dequeue>("dequeue").method<&KVTQueue::remove>("remove:");
}

}  // namespace kvt
