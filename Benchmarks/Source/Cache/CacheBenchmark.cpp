// KVTLRUCache with text for keys, beside Peers/*CacheBenchmark.cpp.

#include <KVTFoundation/Cache/KVTLRUCache.h>

#include "Support/CacheSuites.h"

namespace {

using namespace kvt;

struct OurCache {
  using Key = NSString;
  using Value = NSString;
  static Key key(const std::string& text) { return NSString(text); }
  static Value value(const std::string& text) { return NSString(text); }

  explicit OurCache(std::size_t limit) { cache->setCountLimit(limit); }
  bool get(const Key& key) {
    const id value = cache->objectForKey(key);
    return static_cast<bool>(value);
  }
  void put(const Key& key, const Value& value) { cache->setObject_forKey(value, key); }

  Ref<KVTLRUCache> cache = make<KVTLRUCache>();
};

const bool registered = bench::cacheSuites<OurCache>("kvt");

}  // namespace
