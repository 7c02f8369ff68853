// What is asked of every cache in memory: the same keys in the same order, whoever it is.
//
//     struct Peer {
//       using Key = std::string;
//       using Value = std::shared_ptr<std::string>;
//       static Key key(const std::string& text);                // a new key object
//       static Value value(const std::string& text);            // a counted one
//       explicit Peer(std::size_t limit);
//       bool get(const Key& key);                                // holds the value, looks at it, lets it go
//       template <class K> void put(K&& key, const Value& value);
//     };
//     const bool registered = bench::cacheSuites<Peer>("std");
//
// Workloads are called lru1000fresh, lru1000000reusedx4 and so on: entries, keys, threads. Reused keys are the objects
// that entries were put in with; fresh ones are new objects with the same text, made before the time begins, of which
// no hash was asked before. Kinds:
//
//   hit     a key that is there, at random
//   miss    one that is not
//   mixed   a key at random, which is put in when it is not there; four in five are
//   evict   a new key is put in and sends the oldest away
#pragma once

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Support/Harness.h"

namespace bench {

/// So many that the clock does not count: operations of one thread in one turn.
inline int cacheBatch(int threads) { return threads > 1 ? 16384 : 2048; }

/// Neighbours' texts are far from each other, or trees would find keys of one kind side by side. Below ten million.
inline std::string cacheKeyText(std::size_t number) {
  number = number * 7'368'787 % 10'000'000;
  std::string text = "user/0000000/avatar";
  for (std::size_t at = 11; number != 0; number /= 10) text[at--] = static_cast<char>('0' + number % 10);
  return text;
}

template <class Peer>
struct CacheWorkload {
  using Key = typename Peer::Key;
  using Value = typename Peer::Value;
  using Numbers = std::vector<std::uint32_t>;

  CacheWorkload(std::size_t entries, int threadCount)
      : count(static_cast<std::uint32_t>(entries)), threads(threadCount), cache(entries) {
    // A cache with a lock serves several threads: without a second one the C library leaves out what they cost.
    std::thread([] {}).join();
    for (std::uint32_t i = 0; i < known() + share() * static_cast<std::uint32_t>(threads); ++i) {
      keys.push_back(Peer::key(cacheKeyText(i)));
      if (i < known()) values.push_back(Peer::value("value of " + std::to_string(i)));
    }
    for (std::uint32_t i = 0; i < count; ++i) cache.put(keys[i], values[i]);
    for (int i = 0; i < threads; ++i) turns.push_back({std::mt19937(static_cast<unsigned>(i)), 0});
  }

  /// Keys that are or have been in the cache, before `evict` begins.
  std::uint32_t known() const { return count + count / 4; }
  /// Of the keys beyond those, what each thread puts in again and again: so many that each has been sent away when its
  /// turn comes, though a thread may run alone for a while.
  std::uint32_t share() const {
    return std::max(count * 7 / 4 / static_cast<std::uint32_t>(threads), std::min(known(), std::uint32_t{100'000}));
  }
  const Value& valueOf(std::uint32_t number) const { return values[number % values.size()]; }

  Numbers random(int thread, std::uint32_t from, std::uint32_t to) {
    std::uniform_int_distribution<std::uint32_t> any(from, to - 1);
    Numbers numbers(static_cast<std::size_t>(cacheBatch(threads)));
    for (auto& each : numbers) each = any(turns[static_cast<std::size_t>(thread)].random);
    return numbers;
  }
  Numbers inTurn(int thread) {
    const std::uint32_t first = known() + static_cast<std::uint32_t>(thread) * share();
    std::uint32_t& next = turns[static_cast<std::size_t>(thread)].next;
    Numbers numbers(static_cast<std::size_t>(cacheBatch(threads)));
    for (auto& each : numbers) each = first + next++ % share();
    return numbers;
  }

  struct alignas(64) Turn {
    std::mt19937 random;
    std::uint32_t next;
  };
  std::uint32_t count;
  int threads;
  Peer cache;
  std::vector<Key> keys;
  std::vector<Value> values;
  std::vector<Turn> turns;
};

/// The keys of a batch: those that are kept, by number, …
template <class Peer>
struct ReusedKeys {
  ReusedKeys(CacheWorkload<Peer>& workload, std::vector<std::uint32_t> chosen)
      : numbers(std::move(chosen)), all(workload.keys) {}
  const typename Peer::Key& operator[](std::size_t i) { return all[numbers[i]]; }
  std::vector<std::uint32_t> numbers;
  const std::vector<typename Peer::Key>& all;
};
/// … or new ones, which whoever puts them in may have.
template <class Peer>
struct FreshKeys {
  FreshKeys(CacheWorkload<Peer>&, std::vector<std::uint32_t> chosen) : numbers(std::move(chosen)) {
    for (const std::uint32_t each : numbers) made.push_back(Peer::key(cacheKeyText(each)));
  }
  typename Peer::Key&& operator[](std::size_t i) { return std::move(made[i]); }
  std::vector<std::uint32_t> numbers;
  std::vector<typename Peer::Key> made;
};

template <class Peer, template <class> class Keys>
void addCacheOps(Suite& suite, std::size_t entries, int threads) {
  using Workload = CacheWorkload<Peer>;
  using Batch = Keys<Peer>;
  const auto workload = std::make_shared<Workload>(entries, threads);
  const auto lookUp = [&suite, workload, threads](const char* kind, std::uint32_t from, std::uint32_t to, int hits) {
    suite.preparedOp(
        kind, threads, cacheBatch(threads),
        [=](int thread) { return Batch(*workload, workload->random(thread, from, to)); },
        [=, who = suite](int, Batch& batch) {
          int found = 0;
          for (std::size_t i = 0; i < batch.numbers.size(); ++i) found += workload->cache.get(batch[i]);
          if (found != hits) who.fail("another number of hits than there should be");
        });
  };
  // In this order: `mixed` leaves others in the cache, and `evict` again others.
  lookUp("hit", 0, workload->count, cacheBatch(threads));
  lookUp("miss", workload->known(), workload->known() + workload->share(), 0);
  suite.preparedOp(
      "mixed", threads, cacheBatch(threads),
      [=](int thread) { return Batch(*workload, workload->random(thread, 0, workload->known())); },
      [=](int, Batch& batch) {
        for (std::size_t i = 0; i < batch.numbers.size(); ++i) {
          auto&& key = batch[i];
          if (!workload->cache.get(key)) {
            workload->cache.put(std::forward<decltype(key)>(key), workload->valueOf(batch.numbers[i]));
          }
        }
      });
  suite.preparedOp(
      "evict", threads, cacheBatch(threads), [=](int thread) { return Batch(*workload, workload->inTurn(thread)); },
      [=](int, Batch& batch) {
        for (std::size_t i = 0; i < batch.numbers.size(); ++i) {
          workload->cache.put(batch[i], workload->valueOf(batch.numbers[i]));
        }
      });
}

template <class Peer>
bool cacheSuites(const std::string& who) {
  for (const std::size_t entries : {1'000, 1'000'000}) {
    for (const int threads : {1, 4}) {
      const std::string name = "lru" + std::to_string(entries), suffix = threads > 1 ? "x4" : "";
      suite(who, name + "fresh" + suffix, [=](Suite& each) { addCacheOps<Peer, FreshKeys>(each, entries, threads); });
      suite(who, name + "reused" + suffix, [=](Suite& each) { addCacheOps<Peer, ReusedKeys>(each, entries, threads); });
    }
  }
  return true;
}

}  // namespace bench
