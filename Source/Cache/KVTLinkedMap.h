// What a KVTLRUCache keeps its entries in: a dictionary from key to node, and a list of the same nodes, the one used
// last at its head; not installed.
//
//     KVTLinkedMapNode* node = map->nodeForKey(key, hash);            // in the dictionary
//     if (node != nullptr) map->bringNodeToHead(node);
//     RemovedNodes removed;                                           // declared before the lock is taken …
//     std::lock_guard guard(wordOf(lock));
//     if (map->count() > limit) removed.add(map->removeTailNode());   // … so that they die after it is given up
//
// A node belongs to the map as long as it is in the dictionary or on the list. As a rule it is in both; two things part
// them. Emptying the dictionary later than the list leaves nodes that are found but on no list ("strays"), and then
// nodes that came meanwhile on the list but not found ("orphans"). An orphan that leaves takes the entry of an equal
// key with it, as every removal goes by the key.
//
// Thread rule: everything under the lock that the map was made with, but for the deferred clearing, which takes it.
#pragma once

#include <cstring>

#include <KVTPlatform/Services/Dispatch/NSLock.h>
#include <KVTPlatform/Values/CollectionSupport.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSObject.h>

#include "NodeIndex.h"

namespace kvt {

/// An entry. Destroying it releases its key and value only.
class KVT_EXPORT KVTLinkedMapNode : public NSObject {
 public:
  // In the rest of the root's 24 bytes, so that a node is one line of the cache.
  bool inDictionary = false;
  bool isPlain = true;      // not of a class below
  std::uint32_t hash = 0;   // of the key
  std::uint32_t epoch = 0;  // of the list that it is on
  id _key;                  // as the dictionary has it: it does not change
  id _value;
  KVTLinkedMapNode* _prev = nullptr;
  KVTLinkedMapNode* _next = nullptr;
  KVT_CLASS(KVTLinkedMapNode)
};

/// Of a key of which the dictionary has a copy.
class KVT_EXPORT KVTCopiedKeyNode final : public KVTLinkedMapNode {
 public:
  explicit KVTCopiedKeyNode(const id& key = nullptr) : givenKey(key) { isPlain = false; }
  id givenKey;
  KVT_CLASS(KVTCopiedKeyNode)
};

/// Nodes that left a map, to be released with this object.
class RemovedNodes {
 public:
  RemovedNodes() noexcept = default;
  RemovedNodes(RemovedNodes&& other) noexcept : first_(std::exchange(other.first_, nullptr)) {}
  RemovedNodes& operator=(RemovedNodes&&) = delete;
  ~RemovedNodes() {
    while (first_ != nullptr) ObjectAccess::release(std::exchange(first_, first_->_next));
  }
  explicit operator bool() const noexcept { return first_ != nullptr; }
  /// Null is none.
  void add(KVTLinkedMapNode* node) noexcept {
    if (node == nullptr) return;
    node->_next = first_;
    first_ = node;
  }
  void addList(KVTLinkedMapNode* head, KVTLinkedMapNode* tail) noexcept {
    if (head == nullptr) return;
    tail->_next = first_;
    first_ = head;
  }
  KVTLinkedMapNode* first() const noexcept { return first_; }

 private:
  KVTLinkedMapNode* first_ = nullptr;
};

class KVT_EXPORT KVTLinkedMap final : public NSObject {
 public:
  /// The lock is the one that the deferred clearing takes.
  explicit KVTLinkedMap(const NSLock& lock = NSLock::new_());
  ~KVTLinkedMap() override;

  /// To be asked before the lock is taken: it may be a host's code.
  static std::uint32_t hashOfKey(const Object* key) {
    // Text has a seed of its own.
    if (const StringBody* text = StringBody::of(key)) {
      const std::uint32_t known = text->cachedHash.load(std::memory_order_relaxed);
      return known != 0 && !text->isMutable() ? known : text->hash();
    }
    return collections::tableHash(key);
  }

  /// What a dictionary asks of two keys of the same hash.
  static bool isKey(const Object* wanted, const Object* key) {
    if (wanted == key) return true;
    // Most keys are text.
    if (kindOf(wanted) == kStringKind && kindOf(key) == kStringKind) {
      const auto& a = *static_cast<const StringBody*>(wanted);
      const auto& b = *static_cast<const StringBody*>(key);
      if (a.form == b.form && a.form != StringBody::Form::kUTF16) {
        return a.size == b.size && haveSameBytes(a.bytes(), b.bytes(), a.size);
      }
    }
    return collections::equal(wanted, key);
  }

  /// What the dictionary finds; null when there is none.
  KVTLinkedMapNode* nodeForKey(const Object* key, std::uint32_t hash) const {
    return dictionary_.find(hash, [key, hash](const KVTLinkedMapNode* node) {
      if (node->hash != hash) return false;
      // What is needed next lies anywhere: let it come while the key is looked at.
      __builtin_prefetch(node->_prev, 1);
      __builtin_prefetch(node->_next, 1);
      __builtin_prefetch(node->_value.object(), 1);
      return isKey(key, node->_key.object());
    });
  }
  NSArray allKeys() const;

  /// A node for `insertNodeAtHead`. `copy` is the key as a dictionary keeps it.
  KVTLinkedMapNode* makeNode(const id& key, const id& copy, const id& value, std::uint32_t hash);
  /// Keeps a node for the next `makeNode` after its content was taken out of it; answers whether it does.
  bool recycle(KVTLinkedMapNode* node) noexcept;

  /// Its key is not in the dictionary. When this raises, the node is still the caller's.
  void insertNodeAtHead(KVTLinkedMapNode* node);
  void bringNodeToHead(KVTLinkedMapNode* node) noexcept;
  /// The node is the caller's then. What belongs to nobody any more because of it goes to `removed`.
  void removeNode(KVTLinkedMapNode* node, RemovedNodes& removed);
  /// Null when there is none.
  KVTLinkedMapNode* removeTailNode(RemovedNodes& removed);
  /// Empties the list, and the dictionary with it or, where nodes are to die on the main thread and this is another
  /// one, by a block on the main queue.
  void removeAllNode(RemovedNodes& removed);

  std::uint64_t count() const noexcept { return _totalCount; }
  KVTLinkedMapNode* head() const noexcept { return _head; }
  KVTLinkedMapNode* tail() const noexcept { return _tail; }
  bool isOnList(const KVTLinkedMapNode* node) const noexcept { return node->epoch == epoch_; }

  bool releaseOnMainThread() const noexcept { return _releaseOnMainThread; }
  void setReleaseOnMainThread(bool releases) noexcept { _releaseOnMainThread = releases; }
  /// Whether what is removed now is to be handed to the main queue.
  bool handsOver() const noexcept;
  /// Has the nodes released on the main thread.
  static void handOver(RemovedNodes&& removed);

 private:
  /// Short ones without a call.
  static bool haveSameBytes(const char* a, const char* b, std::size_t size) noexcept {
    const auto differ = [a, b](std::size_t at) {
      std::uint64_t x = 0, y = 0;
      std::memcpy(&x, a + at, sizeof x);
      std::memcpy(&y, b + at, sizeof y);
      return x ^ y;
    };
    if (size < 8 || size > 64) return std::memcmp(a, b, size) == 0;
    std::uint64_t difference = differ(size - 8);
    for (std::size_t at = 0; at + 8 < size; at += 8) difference |= differ(at);
    return difference == 0;
  }

  static void kvtDescribe(ClassBuilder<KVTLinkedMap>& c);
  void takeOffList(KVTLinkedMapNode* node) noexcept;
  void removeFromDictionary(KVTLinkedMapNode* node, RemovedNodes& removed);
  void clearDictionary();

  NSLock lock_;
  NodeIndex dictionary_;
  std::uint64_t _totalCount = 0;
  KVTLinkedMapNode* _head = nullptr;
  KVTLinkedMapNode* _tail = nullptr;
  bool _releaseOnMainThread = false;
  std::uint32_t epoch_ = 1;
  std::uint64_t orphans_ = 0;
  KVTLinkedMapNode* spare_ = nullptr;
  KVT_CLASS(KVTLinkedMap)
};

}  // namespace kvt
