// A cache that several threads use, and one whose values end on the main thread: the process's first, which is the one
// that runs these tests.

#include <KVTFoundation/Cache/KVTLRUCache.h>

#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "CacheTestSupport.h"

namespace kvt {
namespace {

class KVTLRUCacheThreadTest : public testing::Test {
 protected:
  void SetUp() override {
    drainMainQueue();
    Mortal::forget();
    cache->setReleaseOnMainThread(true);
  }
  void put(const std::string& letters) {
    for (char each : letters) cache->setObject_forKey(make<Mortal>(), letter(each));
  }
  /// Those of the letters that are found.
  std::string found(const std::string& letters) {
    std::string there;
    for (char each : letters) {
      if (cache->objectForKey(letter(each))) there += each;
    }
    return there;
  }
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
};

// ---- releases on the main thread ------------------------------------------------------------------------------------

TEST_F(KVTLRUCacheThreadTest, WhereValuesEnd) {
  const struct {
    const char* name;
    void (*letGo)(const Ref<KVTLRUCache>& cache);
    int ends;
    bool atOnce;  // on another thread too
  } rows[] = {
      {"evict", [](const auto& c) { c->setCountLimit(3), c->setObject_forKey("x"_ns, "x"_ns); }, 1, false},
      {"remove", [](const auto& c) { c->removeObjectForKey("a"_ns); }, 1, false},
      {"set nil", [](const auto& c) { c->setObject_forKey(nullptr, "a"_ns); }, 1, false},
      {"remove all", [](const auto& c) { c->removeAllObjects(); }, 3, false},
      {"trim", [](const auto& c) { c->trimToCount(1); }, 2, false},
      {"trim to none", [](const auto& c) { c->trimToCount(0); }, 3, false},
      {"replace", [](const auto& c) { c->setObject_forKey("x"_ns, "a"_ns); }, 1, true},
  };
  for (const auto& row : rows) {
    for (const bool asked : {true, false}) {
      for (const bool onMain : {true, false}) {
        const std::string name = std::string(row.name) + (asked ? ", asked" : "") + (onMain ? ", on main" : "");
        cache->setReleaseOnMainThread(false);
        cache->removeAllObjects();
        cache->setCountLimit(UINT64_MAX);
        put("abc");
        cache->setReleaseOnMainThread(asked);
        Mortal::forget();
        if (onMain) {
          row.letGo(cache);
          EXPECT_EQ(Mortal::onMain, row.ends) << name;
        } else {
          onAnotherThread([&] { row.letGo(cache); });
          const bool waits = asked && !row.atOnce;
          EXPECT_EQ(Mortal::onMain, 0) << name;
          EXPECT_EQ(Mortal::elsewhere, waits ? 0 : row.ends) << name;
          drainMainQueue();
          EXPECT_EQ(Mortal::onMain, waits ? row.ends : 0) << name;
        }
        EXPECT_EQ(Mortal::onMain + Mortal::elsewhere, row.ends) << name;
      }
    }
  }
}

TEST_F(KVTLRUCacheThreadTest, WhatWaitsOutlivesTheCache) {
  Ref<KVTLRUCache> own = make<KVTLRUCache>();
  own->setReleaseOnMainThread(true);
  for (char each : {'a', 'b', 'c'}) own->setObject_forKey(make<Mortal>(), letter(each));
  onAnotherThread([&] {
    own->removeObjectForKey("a"_ns);
    own->removeAllObjects();
    own = nullptr;
  });
  EXPECT_EQ(Mortal::onMain + Mortal::elsewhere, 0);
  drainMainQueue();
  EXPECT_EQ(Mortal::onMain, 3);
  EXPECT_EQ(Mortal::elsewhere, 0);
}

TEST_F(KVTLRUCacheThreadTest, ClearingOnAnotherThreadLeavesTheDictionaryForLater) {
  put("abc");
  onAnotherThread([&] { cache->removeAllObjects(); });
  EXPECT_EQ(cache->totalCount(), 0u);
  EXPECT_EQ(listOf(cache), "");
  EXPECT_EQ(found("abc"), "abc") << "until the main queue comes to it";
  EXPECT_TRUE(cache->containsObjectForKey("a"_ns));
  EXPECT_EQ(listOf(cache), "") << "what is found has no list to lead";
  drainMainQueue();
  EXPECT_EQ(found("abc"), "");
  EXPECT_EQ(Mortal::onMain, 3);
}

TEST_F(KVTLRUCacheThreadTest, WhatComesBeforeTheDictionaryIsClearedIsAnOrphan) {
  put("ab");
  onAnotherThread([&] {
    cache->removeAllObjects();
    put("cd");
  });
  EXPECT_EQ(found("abcd"), "abcd");
  EXPECT_EQ(listOf(cache), "dc");
  drainMainQueue();
  // On the list and counted, but not found.
  EXPECT_EQ(found("abcd"), "");
  EXPECT_FALSE(cache->containsObjectForKey("c"_ns));
  EXPECT_EQ(cache->totalCount(), 2u);
  EXPECT_EQ(listOf(cache), "dc");
  EXPECT_EQ(Mortal::onMain, 2);
  // It is evicted when its turn comes.
  put("e");
  EXPECT_EQ(listOf(cache), "edc");
  cache->trimToCount(1);
  EXPECT_EQ(listOf(cache), "e");
  EXPECT_EQ(found("cde"), "e");
  EXPECT_EQ(Mortal::onMain, 4);
}

TEST_F(KVTLRUCacheThreadTest, AnOrphanTakesTheEntryOfItsKeyAlong) {
  onAnotherThread([&] {
    cache->removeAllObjects();
    put("a");
  });
  drainMainQueue();
  EXPECT_EQ(found("a"), "");
  put("ab");
  EXPECT_EQ(listOf(cache), "baa");
  EXPECT_EQ(found("ab"), "ab");
  cache->trimToCount(2);
  EXPECT_EQ(listOf(cache), "ba") << "the orphan went";
  EXPECT_EQ(found("ab"), "b") << "and the other one is an orphan now";
  cache->removeObjectForKey("a"_ns);
  EXPECT_EQ(cache->totalCount(), 2u);
  cache->removeAllObjects();
  EXPECT_EQ(listOf(cache), "");
  EXPECT_EQ(Mortal::onMain, 3);
}

TEST_F(KVTLRUCacheThreadTest, OrphansGoWithTheNextClearing) {
  onAnotherThread([&] {
    cache->removeAllObjects();
    put("ab");
  });
  drainMainQueue();
  put("c");
  EXPECT_EQ(listOf(cache), "cba");
  onAnotherThread([&] { cache->removeAllObjects(); });
  EXPECT_EQ(listOf(cache), "");
  EXPECT_EQ(Mortal::onMain + Mortal::elsewhere, 0);
  drainMainQueue();
  EXPECT_EQ(Mortal::onMain, 3);
  EXPECT_EQ(Mortal::elsewhere, 0);
}

TEST_F(KVTLRUCacheThreadTest, StraysCanBeReplacedAndRemoved) {
  put("abc");
  onAnotherThread([&] { cache->removeAllObjects(); });
  cache->setObject_forKey("other"_ns, "a"_ns);
  EXPECT_EQ(Mortal::onMain, 1);
  EXPECT_EQ(cache->objectForKey("a"_ns), id("other"_ns));
  cache->removeObjectForKey("b"_ns);
  EXPECT_EQ(Mortal::onMain, 2);
  EXPECT_EQ(found("abc"), "ac");
  EXPECT_EQ(cache->totalCount(), 0u);
  // Here and now: also what is found but on no list.
  cache->removeAllObjects();
  EXPECT_EQ(found("abc"), "");
  EXPECT_EQ(Mortal::onMain, 3);
  drainMainQueue();
  EXPECT_EQ(cache->totalCount(), 0u);
}

/// The dictionary and the list word for word, with nodes that are numbers.
struct Model {
  std::vector<std::pair<int, int>> dictionary;  // key, node
  std::vector<int> list;                        // the one used last first
  std::vector<int> keys;                        // of each node
  int pending = 0;

  std::vector<std::pair<int, int>>::iterator entry(int key) {
    return std::find_if(dictionary.begin(), dictionary.end(), [key](const auto& each) { return each.first == key; });
  }
  void forget(int key) {
    if (const auto found = entry(key); found != dictionary.end()) dictionary.erase(found);
  }
  void use(int node) {
    const auto place = std::find(list.begin(), list.end(), node);
    if (place != list.end()) std::rotate(list.begin(), place, place + 1);
  }
  void removeTail() {
    forget(keys[static_cast<std::size_t>(list.back())]);
    list.pop_back();
  }
  void put(int key, std::uint64_t limit) {
    if (const auto found = entry(key); found != dictionary.end()) {
      use(found->second);
    } else {
      keys.push_back(key);
      dictionary.emplace_back(key, static_cast<int>(keys.size()) - 1);
      list.insert(list.begin(), static_cast<int>(keys.size()) - 1);
    }
    if (list.size() > limit) removeTail();
  }
};

TEST_F(KVTLRUCacheThreadTest, AgainstAModelThatClearsLate) {
  std::mt19937 random(11);
  Model model;
  constexpr std::uint64_t kLimit = 8;
  cache->setCountLimit(kLimit);
  int made = 0;
  for (int step = 0; step < 4000; ++step) {
    const int key = static_cast<int>(random() % 12);
    const auto what = random() % 100;
    const auto found = model.entry(key);
    bool isFound = false;
    onAnotherThread([&] {
      if (what < 30) {
        isFound = static_cast<bool>(cache->objectForKey(NSNumber(key)));
      } else if (what < 75) {
        if (found == model.dictionary.end()) ++made;
        cache->setObject_forKey(
            found == model.dictionary.end() ? id(make<Mortal>()) : cache->objectForKey(NSNumber(key)), NSNumber(key));
      } else if (what < 85) {
        cache->removeObjectForKey(NSNumber(key));
      } else if (what < 88) {
        cache->trimToCount(5);
      } else if (what < 94) {
        cache->removeAllObjects();
      }
    });
    if (what < 30) {
      ASSERT_EQ(isFound, found != model.dictionary.end()) << step;
      if (isFound) model.use(found->second);
    } else if (what < 75) {
      model.put(key, kLimit);
    } else if (what < 85) {
      if (found != model.dictionary.end()) {
        std::erase(model.list, found->second);
        model.forget(key);
      }
    } else if (what < 88) {
      while (model.list.size() > 5) model.removeTail();
    } else if (what < 94) {
      model.list.clear();
      ++model.pending;
    } else {
      drainMainQueue();
      if (std::exchange(model.pending, 0) != 0) model.dictionary.clear();
    }
    ASSERT_EQ(cache->totalCount(), model.list.size()) << step;
    std::vector<int> keys;
    for (const KVTLinkedMapNode* node = LRUCacheAccess::map(*cache).head(); node != nullptr; node = node->_next) {
      keys.push_back(static_cast<int>(node->_key.as<NSNumber>().integerValue()));
    }
    std::vector<int> expected;
    for (const int node : model.list) expected.push_back(model.keys[static_cast<std::size_t>(node)]);
    ASSERT_EQ(keys, expected) << step;
  }
  drainMainQueue();
  cache->setReleaseOnMainThread(false);
  cache->removeAllObjects();
  EXPECT_EQ(Mortal::elsewhere, 0);
  EXPECT_EQ(Mortal::onMain, made);
}

// ---- many threads ---------------------------------------------------------------------------------------------------

constexpr int kThreads = 8;

/// Who finds the lock busy while trimming looks again instead of sleeping.
struct WithoutSleep {
  WithoutSleep() {
    LRUCacheAccess::setWait([](double) { std::this_thread::yield(); });
  }
  ~WithoutSleep() { LRUCacheAccess::setWait(nullptr); }
};

/// Of each thread; KVT_STRESS_OPERATIONS asks for more.
int operations(int usual) {
  const char* asked = std::getenv("KVT_STRESS_OPERATIONS");
  return asked != nullptr ? std::atoi(asked) : usual;
}

template <class F>
void together(const F& call) {
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) threads.emplace_back([&call, i] { call(i); });
  for (std::thread& each : threads) each.join();
}

/// What must hold whatever happened: list and dictionary hold the same nodes.
void expectWhole(const Ref<KVTLRUCache>& cache) {
  const KVTLinkedMap& map = LRUCacheAccess::map(*cache);
  std::uint64_t count = 0;
  const KVTLinkedMapNode* last = nullptr;
  for (const KVTLinkedMapNode* node = map.head(); node != nullptr; node = node->_next) {
    ASSERT_EQ(node->_prev, last);
    ASSERT_EQ(map.nodeForKey(node->_key.object(), node->hash), node);
    last = node;
    ++count;
  }
  EXPECT_EQ(map.tail(), last);
  EXPECT_EQ(map.count(), count);
  EXPECT_EQ(map.allKeys().count(), count);
}

TEST(KVTLRUCacheConcurrentTest, MixedOperations) {
  constexpr std::uint64_t kLimit = 1000;
  constexpr int kKeys = 2000;
  const WithoutSleep scope;
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  cache->setCountLimit(kLimit);
  std::atomic<long> hits{0}, wrong{0};
  together([&](int thread) {
    std::mt19937 random(static_cast<unsigned>(thread));
    for (int i = operations(50'000); i > 0; --i) {
      const int number = static_cast<int>(random() % kKeys);
      const NSString key("key " + std::to_string(number));
      const auto what = random() % 10'000;
      if (what < 4'000) {
        if (const id value = cache->objectForKey(key)) {
          ++hits;
          wrong += value.as<NSNumber>().intValue() != number;
        }
      } else if (what < 8'500) {
        cache->setObject_forKey(NSNumber(number), key);
      } else if (what < 9'900) {
        cache->removeObjectForKey(key);
      } else if (what < 9'960) {
        wrong += cache->totalCount() > kLimit;
      } else if (what < 9'970) {
        cache->containsObjectForKey(key);
      } else if (what < 9'980) {
        cache->trimToCount(900);
      } else if (what < 9'982) {
        cache->removeAllObjects();
      } else if (what < 9'990) {
        cache->setCountLimit(kLimit);
        cache->setName(key);
        cache->setShouldRemoveAllObjectsOnMemoryWarning(false);
      } else {
        wrong += cache->countLimit() != kLimit || cache->shouldRemoveAllObjectsOnMemoryWarning();
        static_cast<void>(cache->name());
        cache->didReceiveMemoryWarning();
      }
    }
  });
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(hits, 0);
  EXPECT_LE(cache->totalCount(), kLimit);
  expectWhole(cache);
}

TEST(KVTLRUCacheConcurrentTest, EveryValueEndsOnTheMainThread) {
  drainMainQueue();
  Mortal::forget();
  const WithoutSleep scope;
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  cache->setCountLimit(100);
  cache->setReleaseOnMainThread(true);
  const int each = operations(5'000);
  std::atomic<int> running{kThreads};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      // No key comes twice: a value that is replaced ends where that happens.
      for (int i = 0; i < each; ++i) {
        {
          const Ref<Mortal> value = make<Mortal>();
          Mortal::mine = value.get();
          cache->setObject_forKey(value, NSNumber(i * kThreads + thread));
        }
        Mortal::mine = nullptr;
        if (i % 16 == 0) cache->removeObjectForKey(NSNumber(i * kThreads + thread));
        if (i % 128 == 64) cache->removeAllObjects();
        if (i % 128 == 0) cache->trimToCount(10);
      }
      --running;
    });
  }
  while (running != 0) dispatch_main_queue_drain(64);
  for (std::thread& thread : threads) thread.join();
  drainMainQueue();
  EXPECT_EQ(Mortal::elsewhere, 0);
  EXPECT_LE(cache->totalCount(), 100u);
  cache->removeAllObjects();
  EXPECT_EQ(cache->totalCount(), 0u);
  EXPECT_EQ(Mortal::onMain + Mortal::withMe, kThreads * each);
  EXPECT_LT(Mortal::withMe, each);
}

TEST(KVTLRUCacheConcurrentTest, ReadersGoOnWhileItIsTrimmed) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  constexpr int kEntries = 20'000;
  for (int i = 0; i < kEntries; ++i) cache->setObject_forKey(NSNumber(i), NSNumber(i));
  const WithoutSleep scope;
  std::atomic<bool> over{false};
  std::thread reader([&] {
    while (!over) cache->objectForKey(NSNumber(0));
  });
  cache->trimToCount(1);
  over = true;
  reader.join();
  EXPECT_EQ(cache->totalCount(), 1u);
  expectWhole(cache);
}

}  // namespace
}  // namespace kvt
