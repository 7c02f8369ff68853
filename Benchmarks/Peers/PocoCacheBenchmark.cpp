// Poco's LRUCache, which brings its own lock.

#include <Poco/LRUCache.h>

#include <string>

#include "Support/CacheSuites.h"

namespace {

class PocoCache {
 public:
  using Key = std::string;
  using Value = Poco::SharedPtr<std::string>;
  static Key key(const std::string& text) { return text; }
  static Value value(const std::string& text) { return {new std::string(text)}; }

  explicit PocoCache(std::size_t limit) : cache_(limit) {}
  bool get(const Key& key) {
    const Value value = cache_.get(key);
    return !value.isNull();
  }
  void put(const Key& key, const Value& value) { cache_.update(key, value); }

 private:
  Poco::LRUCache<std::string, std::string> cache_;
};

const bool registered = bench::cacheSuites<PocoCache>("poco");

}  // namespace
