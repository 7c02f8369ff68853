// A cache in memory: keys to values, of which the one that was used longest ago goes when there are too many.
//
//     Ref<KVTLRUCache> images = make<KVTLRUCache>();
//     images->setCountLimit(500);
//     images->setObject_forKey(image, url);
//     id image = images->objectForKey(url);                  // and this one counts as used now
//
// There is no limit of cost or age, and nothing trims in the background: an entry goes when an insertion finds the
// cache full, and by `trimToCount`. Keys are copied as a dictionary copies them (text that does not change is shared)
// and found by `hash` and `isEqual:`. Looking up, inserting and removing take the same time whatever the number of
// entries.
//
// Thread rule: any thread. One lock, which is not recursive, guards the entries: a key's `isEqual:` must not use the
// cache. What is removed is released after the lock is given up, so the end of a value may.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Services/Dispatch/NSLock.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt {

class KVTLinkedMap;

class KVT_EXPORT KVTLRUCache : public NSObject {
 public:
  KVTLRUCache();
  ~KVTLRUCache() override;

  // ---- entries --------------------------------------------------------------------------------------------------

  /// Whether the key is among all keys, which are looked through one by one: use `objectForKey` where that takes too
  /// long. The order of use stays. NO for nil.
  bool containsObjectForKey(const id& key) const;
  /// The value, which counts as used now; nil when there is none, and for a nil key.
  id objectForKey(const id& key);
  /// Puts a value in, or another one in the place of the key's present one. A new key that makes it more than
  /// `countLimit` entries sends one of them away, the one used longest ago: a cache that was over its limit before
  /// stays so. A nil value removes the key; nothing for a nil key. Raises NSInvalidArgumentException for a key that
  /// cannot be copied.
  void setObject_forKey(const id& object, const id& key);
  /// Nothing when there is no such key, and for nil.
  void removeObjectForKey(const id& key);
  /// Where values are to be released on the main thread and this is another one, the keys can be found until the main
  /// queue comes to it; a key that was put in meanwhile goes then too, but stays in the count until it is evicted.
  void removeAllObjects();
  /// Sends away what was used longest ago until `count` entries are left; 0 is `removeAllObjects`. One at a time, with
  /// the lock given up in between, and 10 ms of sleep whenever somebody else has it.
  void trimToCount(std::uint64_t count);

  /// Entries now.
  std::uint64_t totalCount() const;

  // ---- how it behaves ------------------------------------------------------------------------------------------

  /// 2^64 - 1 at first: no limit. Setting it sends nothing away.
  std::uint64_t countLimit() const noexcept { return countLimit_.load(std::memory_order_relaxed); }
  void setCountLimit(std::uint64_t limit) noexcept { countLimit_.store(limit, std::memory_order_relaxed); }
  /// Whether what is removed or evicted on another thread is released on the main one, when the main queue comes to it;
  /// for values that must end there. NO at first. A value in whose place another one was put is released at once.
  bool releaseOnMainThread() const;
  void setReleaseOnMainThread(bool releases);
  /// Any text; nil at first.
  NSString name() const;
  void setName(const NSString& name);

  // ---- memory warnings -----------------------------------------------------------------------------------------

  /// To be called by the host when memory is short: the cache listens to nobody. Removes all objects where
  /// `shouldRemoveAllObjectsOnMemoryWarning` says so, then calls the block.
  void didReceiveMemoryWarning();
  /// NO at first.
  bool shouldRemoveAllObjectsOnMemoryWarning() const noexcept {
    return shouldRemoveAllObjectsOnMemoryWarning_.load(std::memory_order_relaxed);
  }
  void setShouldRemoveAllObjectsOnMemoryWarning(bool should) noexcept {
    shouldRemoveAllObjectsOnMemoryWarning_.store(should, std::memory_order_relaxed);
  }
  /// Called with the cache, on the thread that brings the warning; nil at first.
  Block<void(Ref<KVTLRUCache>)> didReceiveMemoryWarningCompletion() const;
  void setDidReceiveMemoryWarningCompletion(const Block<void(Ref<KVTLRUCache>)>& completion);

 private:
  friend struct LRUCacheAccess;
  static void kvtDescribe(ClassBuilder<KVTLRUCache>& c);
  void trimStepwise(std::uint64_t count);

  NSLock lock_;
  Ref<KVTLinkedMap> lru_;
  std::atomic<std::uint64_t> countLimit_{UINT64_MAX};
  std::atomic<bool> shouldRemoveAllObjectsOnMemoryWarning_{false};
  mutable std::mutex mutex_;  // of the two below
  NSString name_;
  Block<void(Ref<KVTLRUCache>)> didReceiveMemoryWarningCompletion_;
  KVT_CLASS(KVTLRUCache)
};

}  // namespace kvt
