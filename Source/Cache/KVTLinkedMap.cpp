#include "KVTLinkedMap.h"

#include <mutex>
#include <vector>

#include <KVTPlatform/Runtime/Raise.h>
#include <KVTPlatform/Services/Dispatch/DispatchQueue.h>
#include <KVTPlatform/Services/Dispatch/NSLockBody.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>

namespace kvt {

static_assert(sizeof(KVTLinkedMapNode) == 64, "a node shall be one line of the cache");

KVTLinkedMap::KVTLinkedMap(const NSLock& lock) : lock_(lock) {}

KVTLinkedMap::~KVTLinkedMap() {
  RemovedNodes removed;
  _releaseOnMainThread = false;
  removeAllNode(removed);
  removed.add(std::exchange(spare_, nullptr));
}

NSArray KVTLinkedMap::allKeys() const {
  std::vector<id> keys;
  keys.reserve(dictionary_.size());
  dictionary_.forEach([&](const KVTLinkedMapNode* node) { keys.push_back(node->_key); });
  return NSArray::arrayWithObjects_count(keys.data(), keys.size());
}

// ---- nodes ----------------------------------------------------------------------------------------------------------

KVTLinkedMapNode* KVTLinkedMap::makeNode(const id& key, const id& copy, const id& value, std::uint32_t hash) {
  KVTLinkedMapNode* node = nullptr;
  if (!isIdentical(key, copy)) {
    node = static_cast<KVTLinkedMapNode*>(make<KVTCopiedKeyNode>(key).detach());
  } else if (spare_ != nullptr) {
    node = std::exchange(spare_, nullptr);
  } else {
    node = static_cast<KVTLinkedMapNode*>(make<KVTLinkedMapNode>().detach());
  }
  node->hash = hash;
  node->_key = copy;
  node->_value = value;
  return node;
}

bool KVTLinkedMap::recycle(KVTLinkedMapNode* node) noexcept {
  if (spare_ != nullptr || !node->isPlain || !ObjectAccess::isUniquelyReferenced(node)) return false;
  spare_ = node;
  return true;
}

// ---- the list -------------------------------------------------------------------------------------------------------

void KVTLinkedMap::insertNodeAtHead(KVTLinkedMapNode* node) {
  dictionary_.insert(node);
  node->inDictionary = true;
  node->epoch = epoch_;
  ++_totalCount;
  node->_prev = nullptr;
  node->_next = _head;
  if (_head != nullptr)
    _head->_prev = node;
  else
    _tail = node;
  _head = node;
}

void KVTLinkedMap::bringNodeToHead(KVTLinkedMapNode* node) noexcept {
  // A stray is found, but there is no list that it could lead.
  if (node == _head || !isOnList(node)) return;
  if (node == _tail) {
    _tail = node->_prev;
    _tail->_next = nullptr;
  } else {
    node->_prev->_next = node->_next;
    node->_next->_prev = node->_prev;
  }
  node->_prev = nullptr;
  node->_next = _head;
  _head->_prev = node;
  _head = node;
}

void KVTLinkedMap::takeOffList(KVTLinkedMapNode* node) noexcept {
  if (!isOnList(node)) return;
  if (node->_prev != nullptr) node->_prev->_next = node->_next;
  if (node->_next != nullptr) node->_next->_prev = node->_prev;
  if (node == _head) _head = node->_next;
  if (node == _tail) _tail = node->_prev;
  --_totalCount;
  node->epoch = 0;
}

void KVTLinkedMap::removeFromDictionary(KVTLinkedMapNode* node, RemovedNodes& removed) {
  if (node->inDictionary) {
    dictionary_.erase(node);
    node->inDictionary = false;
    return;
  }
  // An orphan: the entry that goes by its key is another node's.
  KVTLinkedMapNode* const other = nodeForKey(node->_key.object(), node->hash);
  --orphans_;
  if (other == nullptr) return;
  dictionary_.erase(other);
  other->inDictionary = false;
  if (isOnList(other))
    ++orphans_;
  else
    removed.add(other);
}

void KVTLinkedMap::removeNode(KVTLinkedMapNode* node, RemovedNodes& removed) {
  removeFromDictionary(node, removed);
  takeOffList(node);
}

KVTLinkedMapNode* KVTLinkedMap::removeTailNode(RemovedNodes& removed) {
  KVTLinkedMapNode* const node = _tail;
  if (node != nullptr) removeNode(node, removed);
  return node;
}

// ---- everything -----------------------------------------------------------------------------------------------------

bool KVTLinkedMap::handsOver() const noexcept { return _releaseOnMainThread && !NSThread::isMainThread(); }

void KVTLinkedMap::handOver(RemovedNodes&& removed) {
  if (!removed) return;
  // The block need not do anything with them: that they go with it is what counts.
  dispatch_async(dispatch_get_main_queue(), [held = std::move(removed)] { static_cast<void>(held.first()); });
}

void KVTLinkedMap::removeAllNode(RemovedNodes& removed) {
  if (handsOver()) {
    if (orphans_ != 0) {
      // The dictionary does not know these, so nobody would.
      RemovedNodes orphans;
      for (KVTLinkedMapNode* node = _head; node != nullptr;) {
        KVTLinkedMapNode* const next = node->_next;
        if (!node->inDictionary) orphans.add(node);
        node = next;
      }
      handOver(std::move(orphans));
    }
    dispatch_async(dispatch_get_main_queue(), [map = Ref<KVTLinkedMap>(this)] { map->clearDictionary(); });
  } else {
    if (dictionary_.size() + orphans_ != _totalCount) {
      dictionary_.forEach([&](KVTLinkedMapNode* node) {
        if (!isOnList(node)) removed.add(node);
      });
    }
    NodeIndex(std::move(dictionary_));
    removed.addList(_head, _tail);
  }
  ++epoch_;
  orphans_ = 0;
  _totalCount = 0;
  _head = _tail = nullptr;
}

void KVTLinkedMap::clearDictionary() {
  RemovedNodes removed;
  std::lock_guard guard(wordOf(lock_));
  dictionary_.forEach([&](KVTLinkedMapNode* node) {
    node->inDictionary = false;
    if (isOnList(node))
      ++orphans_;
    else
      removed.add(node);
  });
  NodeIndex(std::move(dictionary_));
}

// ---- as a class -----------------------------------------------------------------------------------------------------
// Messages pass nodes that are counted as everything is; the map has one of the counts.

namespace {

using Map = const Ref<KVTLinkedMap>&;
using Node = const Ref<KVTLinkedMapNode>&;

void insertMethod(Map self, Node node) {
  if (!node || !node->_key) objc_raise("NSInvalidArgumentException", "*** a node needs a key");
  RemovedNodes removed;
  node->hash = KVTLinkedMap::hashOfKey(node->_key.object());
  if (KVTLinkedMapNode* other = self->nodeForKey(node->_key.object(), node->hash)) {
    self->removeNode(other, removed);
    removed.add(other);
  }
  self->insertNodeAtHead(node.get());
  ObjectAccess::retain(node.get());
}
void bringMethod(Map self, Node node) {
  if (node) self->bringNodeToHead(node.get());
}
void removeMethod(Map self, Node node) {
  if (!node || (!node->inDictionary && !self->isOnList(node.get()))) return;
  RemovedNodes removed;
  self->removeNode(node.get(), removed);
  ObjectAccess::release(node.get());
}
Ref<KVTLinkedMapNode> removeTailMethod(Map self) {
  RemovedNodes removed;
  return {adopt, self->removeTailNode(removed)};
}
void removeAllMethod(Map self) {
  RemovedNodes removed;
  self->removeAllNode(removed);
}

}  // namespace

void KVTLinkedMap::kvtDescribe(ClassBuilder<KVTLinkedMap>& c) {
  c.method<&insertMethod>("insertNodeAtHead:").method<&bringMethod>("bringNodeToHead:");
  c.method<&removeMethod>("removeNode:").method<&removeTailMethod>("removeTailNode");
  c.method<&removeAllMethod>("removeAllNode");
}

}  // namespace kvt
