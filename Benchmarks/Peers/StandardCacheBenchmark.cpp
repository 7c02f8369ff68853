// The standard library: a hash table of keys to places in a list, whose elements know their place in the table, under
// one mutex.

#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "Support/CacheSuites.h"

namespace {

class StandardCache {
 public:
  using Key = std::string;
  using Value = std::shared_ptr<std::string>;
  static Key key(const std::string& text) { return text; }
  static Value value(const std::string& text) { return std::make_shared<std::string>(text); }

  explicit StandardCache(std::size_t limit) : limit_(limit) { map_.reserve(limit + 1); }

  bool get(const Key& key) {
    Value value;
    {
      std::lock_guard lock(mutex_);
      const auto found = map_.find(key);
      if (found == map_.end()) return false;
      list_.splice(list_.begin(), list_, found->second);
      value = found->second->value;
    }
    return value != nullptr;
  }

  template <class K>
  void put(K&& key, const Value& value) {
    Value old;  // let go after the lock
    std::lock_guard lock(mutex_);
    const auto [place, isNew] = map_.try_emplace(std::forward<K>(key));
    if (!isNew) {
      old = std::exchange(place->second->value, value);
      list_.splice(list_.begin(), list_, place->second);
      return;
    }
    list_.push_front({place, value});
    place->second = list_.begin();
    if (map_.size() <= limit_) return;
    old = std::move(list_.back().value);
    map_.erase(list_.back().place);
    list_.pop_back();
  }

 private:
  struct Entry;
  using List = std::list<Entry>;
  using Map = std::unordered_map<std::string, List::iterator>;
  struct Entry {
    Map::iterator place;
    Value value;
  };
  std::mutex mutex_;
  std::size_t limit_;
  Map map_;
  List list_;
};

const bool registered = bench::cacheSuites<StandardCache>("std");

}  // namespace
