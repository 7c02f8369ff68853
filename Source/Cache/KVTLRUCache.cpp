#include "KVTLRUCache.h"

#include <KVTPlatform/Services/Dispatch/NSLockBody.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>
#include <KVTPlatform/Services/Notification/NSNotificationCenter.h>

#include "KVTLinkedMap.h"
#include "LRUCacheAccess.h"

namespace kvt {
namespace {

constexpr double kBackOff = 0.01;  // seconds

std::atomic<void (*)(double seconds)> wait{nullptr};

void backOff() {
  if (const auto replaced = wait.load(std::memory_order_acquire))
    replaced(kBackOff);
  else
    NSThread::sleepForTimeInterval(kBackOff);
}

}  // namespace

void LRUCacheAccess::setWait(void (*replaced)(double seconds)) noexcept {
  wait.store(replaced, std::memory_order_release);
}

KVTLRUCache::KVTLRUCache() : lock_(NSLock::new_()), lru_(make<KVTLinkedMap>(lock_)) {}

KVTLRUCache::~KVTLRUCache() { NSNotificationCenter::defaultCenter().removeObserver(id(borrow, this)); }

// ---- entries --------------------------------------------------------------------------------------------------------

bool KVTLRUCache::containsObjectForKey(const id& key) const {
  if (!key) return false;
  NSArray keys;  // released after the lock
  std::lock_guard guard(wordOf(lock_));
  keys = lru_->allKeys();
  return keys.containsObject(key);
}

id KVTLRUCache::objectForKey(const id& key) {
  if (!key) return {};
  KVTLinkedMap& map = *lru_.get();
  const std::uint32_t hash = KVTLinkedMap::hashOfKey(key.object());
  std::lock_guard guard(wordOf(lock_));
  KVTLinkedMapNode* const node = map.nodeForKey(key.object(), hash);
  if (node == nullptr) return {};
  map.bringNodeToHead(node);
  return node->_value;
}

void KVTLRUCache::setObject_forKey(const id& object, const id& key) {
  if (!key) return;
  if (!object) {
    removeObjectForKey(key);
    return;
  }
  KVTLinkedMap& map = *lru_.get();
  const std::uint32_t hash = KVTLinkedMap::hashOfKey(key.object());
  const id copy = ObjectAccess::isImmutableValue(key.object()) ? key : key.copy();
  // Released after the lock.
  id replaced, evictedKey, evictedValue;
  RemovedNodes removed;
  bool handsOver = false;
  {
    std::lock_guard guard(wordOf(lock_));
    if (KVTLinkedMapNode* const node = map.nodeForKey(key.object(), hash)) {
      replaced = std::exchange(node->_value, object);
      map.bringNodeToHead(node);
    } else {
      Ref<KVTLinkedMapNode> made(adopt, map.makeNode(key, copy, object, hash));
      map.insertNodeAtHead(made.get());
      static_cast<void>(made.detach());
    }
    if (map.count() > countLimit()) {
      KVTLinkedMapNode* const evicted = map.removeTailNode(removed);
      handsOver = map.handsOver();
      if (!handsOver && map.recycle(evicted)) {
        evictedKey = std::move(evicted->_key);
        evictedValue = std::move(evicted->_value);
      } else {
        removed.add(evicted);
      }
    }
  }
  if (handsOver) KVTLinkedMap::handOver(std::move(removed));
}

void KVTLRUCache::removeObjectForKey(const id& key) {
  if (!key) return;
  KVTLinkedMap& map = *lru_.get();
  const std::uint32_t hash = KVTLinkedMap::hashOfKey(key.object());
  RemovedNodes removed;
  bool handsOver = false;
  {
    std::lock_guard guard(wordOf(lock_));
    KVTLinkedMapNode* const node = map.nodeForKey(key.object(), hash);
    if (node == nullptr) return;
    map.removeNode(node, removed);
    removed.add(node);
    handsOver = map.handsOver();
  }
  if (handsOver) KVTLinkedMap::handOver(std::move(removed));
}

void KVTLRUCache::removeAllObjects() {
  RemovedNodes removed;
  std::lock_guard guard(wordOf(lock_));
  lru_->removeAllNode(removed);
}

void KVTLRUCache::trimToCount(std::uint64_t count) {
  if (count == 0)
    removeAllObjects();
  else if (totalCount() > count)
    trimStepwise(count);
}

void KVTLRUCache::trimStepwise(std::uint64_t count) {
  dispatch::ShortLock& word = wordOf(lock_);
  RemovedNodes removed;
  bool handsOver = false;
  for (;;) {
    if (!word.try_lock()) {
      backOff();
      continue;
    }
    std::lock_guard guard(word, std::adopt_lock);
    handsOver = lru_->handsOver();
    if (lru_->count() <= count) break;
    removed.add(lru_->removeTailNode(removed));
  }
  if (handsOver) KVTLinkedMap::handOver(std::move(removed));
}

std::uint64_t KVTLRUCache::totalCount() const {
  std::lock_guard guard(wordOf(lock_));
  return lru_->count();
}

// ---- how it behaves -------------------------------------------------------------------------------------------------

bool KVTLRUCache::releaseOnMainThread() const {
  std::lock_guard guard(wordOf(lock_));
  return lru_->releaseOnMainThread();
}

void KVTLRUCache::setReleaseOnMainThread(bool releases) {
  std::lock_guard guard(wordOf(lock_));
  lru_->setReleaseOnMainThread(releases);
}

NSString KVTLRUCache::name() const {
  std::lock_guard guard(mutex_);
  return name_;
}

void KVTLRUCache::setName(const NSString& name) {
  NSString copy = name.copy().as<NSString>();
  std::lock_guard guard(mutex_);
  name_.swap(copy);
}

// ---- memory warnings ------------------------------------------------------------------------------------------------

void KVTLRUCache::didReceiveMemoryWarning() {
  if (shouldRemoveAllObjectsOnMemoryWarning()) removeAllObjects();
  if (const auto completion = didReceiveMemoryWarningCompletion()) completion(Ref<KVTLRUCache>(this));
}

Block<void(Ref<KVTLRUCache>)> KVTLRUCache::didReceiveMemoryWarningCompletion() const {
  std::lock_guard guard(mutex_);
  return didReceiveMemoryWarningCompletion_;
}

void KVTLRUCache::setDidReceiveMemoryWarningCompletion(const Block<void(Ref<KVTLRUCache>)>& completion) {
  Block<void(Ref<KVTLRUCache>)> other = completion;
  std::lock_guard guard(mutex_);
  didReceiveMemoryWarningCompletion_.swap(other);
}

void KVTLRUCache::kvtDescribe(ClassBuilder<KVTLRUCache>& c) {
  using Self = KVTLRUCache;
  c.propertyOf<NSString>("name").method<&Self::name>("name").method<&Self::setName>("setName:");
  c.propertyOf<std::uint64_t>("countLimit");
  c.method<&Self::countLimit>("countLimit").method<&Self::setCountLimit>("setCountLimit:");
  c.propertyOf<bool>("shouldRemoveAllObjectsOnMemoryWarning");
  c.method<&Self::shouldRemoveAllObjectsOnMemoryWarning>("shouldRemoveAllObjectsOnMemoryWarning");
  c.method<&Self::setShouldRemoveAllObjectsOnMemoryWarning>("setShouldRemoveAllObjectsOnMemoryWarning:");
  c.propertyOf<Block<void(Ref<KVTLRUCache>)>>("didReceiveMemoryWarningCompletion");
  c.method<&Self::didReceiveMemoryWarningCompletion>("didReceiveMemoryWarningCompletion");
  c.method<&Self::setDidReceiveMemoryWarningCompletion>("setDidReceiveMemoryWarningCompletion:");
  c.propertyOf<std::uint64_t>("totalCount", {.readonly = true}).method<&Self::totalCount>("totalCount");
  c.propertyOf<bool>("releaseOnMainThread");
  c.method<&Self::releaseOnMainThread>("releaseOnMainThread");
  c.method<&Self::setReleaseOnMainThread>("setReleaseOnMainThread:");
  c.method<&Self::containsObjectForKey>("containsObjectForKey:").method<&Self::objectForKey>("objectForKey:");
  c.method<&Self::setObject_forKey>("setObject:forKey:").method<&Self::removeObjectForKey>("removeObjectForKey:");
  c.method<&Self::removeAllObjects>("removeAllObjects").method<&Self::trimToCount>("trimToCount:");
  c.method<&Self::didReceiveMemoryWarning>("didReceiveMemoryWarning");
}

}  // namespace kvt
