// What tests see of a cache in memory; not installed.
#pragma once

#include "KVTLRUCache.h"
#include "KVTLinkedMap.h"

namespace kvt {

struct KVT_EXPORT LRUCacheAccess {
  static const NSLock& lock(const KVTLRUCache& cache) noexcept { return cache.lock_; }
  static KVTLinkedMap& map(const KVTLRUCache& cache) noexcept { return *cache.lru_; }
  /// What `trimToCount` does once it has seen that there is something to do.
  static void trimStepwise(KVTLRUCache& cache, std::uint64_t count) { cache.trimStepwise(count); }
  /// What `trimToCount` does while somebody else has the lock; null: it sleeps.
  static void setWait(void (*wait)(double seconds)) noexcept;
};

}  // namespace kvt
