#include <KVTFoundation/Cache/KVTLRUCache.h>

#include <KVTPlatform/Services/Notification/NSNotificationCenter.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "CacheTestSupport.h"
#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

Ref<KVTLRUCache> cacheOf(const std::string& letters, std::uint64_t limit = UINT64_MAX) {
  Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  cache->setCountLimit(limit);
  for (char each : letters) cache->setObject_forKey(letter(each), letter(each));
  return cache;
}

TEST(KVTLRUCacheTest, ANewOne) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  EXPECT_EQ(cache->totalCount(), 0u);
  EXPECT_EQ(cache->countLimit(), UINT64_MAX);
  EXPECT_FALSE(cache->shouldRemoveAllObjectsOnMemoryWarning());
  EXPECT_FALSE(cache->releaseOnMainThread());
  EXPECT_FALSE(cache->name());
  EXPECT_FALSE(cache->didReceiveMemoryWarningCompletion());
  EXPECT_EQ(listOf(cache), "");
}

TEST(KVTLRUCacheTest, NilKeysAndObjects) {
  const Ref<KVTLRUCache> cache = cacheOf("a");
  cache->setObject_forKey("x"_ns, nullptr);
  EXPECT_EQ(listOf(cache), "a");
  EXPECT_FALSE(cache->objectForKey(nullptr));
  EXPECT_FALSE(cache->containsObjectForKey(nullptr));
  cache->removeObjectForKey(nullptr);
  EXPECT_EQ(listOf(cache), "a");
  cache->setObject_forKey(nullptr, "b"_ns);
  EXPECT_EQ(listOf(cache), "a");
  cache->setObject_forKey(nullptr, "a"_ns);
  EXPECT_EQ(listOf(cache), "");
  EXPECT_FALSE(cache->objectForKey("a"_ns));
  cache->setObject_forKey(nullptr, nullptr);
}

// A row is a script: a letter is looked up; +x puts x in; -x removes it; ?x asks whether it is there; =n sets the
// limit; <n trims; ! removes everything.
void play(const Ref<KVTLRUCache>& cache, const std::string& script) {
  for (std::size_t i = 0; i < script.size(); ++i) {
    const auto number = [&] { return static_cast<std::uint64_t>(script[++i] - '0'); };
    switch (script[i]) {
      case '+':
        ++i;
        cache->setObject_forKey(letter(script[i]), letter(script[i]));
        break;
      case '-': cache->removeObjectForKey(letter(script[++i])); break;
      case '?': cache->containsObjectForKey(letter(script[++i])); break;
      case '=': cache->setCountLimit(number()); break;
      case '<': cache->trimToCount(number()); break;
      case '!': cache->removeAllObjects(); break;
      case ' ': break;
      default: cache->objectForKey(letter(script[i]));
    }
  }
}

TEST(KVTLRUCacheTest, WhatIsLeftAndInWhichOrder) {
  const struct {
    const char* script;
    const char* list;
  } rows[] = {{"+a +b +c", "cba"},
              {"+a +b +c a", "acb"},
              {"+a +b +c b", "bca"},
              {"+a +b +c c", "cba"},
              {"+a +b +c ?a", "cba"},
              {"+a +b x", "ba"},
              {"=2 +a +b a +c", "ca"},
              {"=2 +a +b +c", "cb"},
              {"=2 +a +b +a", "ab"},
              {"=2 +a +b +a +c", "ca"},
              {"+a +b +c +d +e =2", "edcba"},
              {"+a +b +c +d +e =2 +f", "fedcb"},
              {"+a +b +c +d +e =2 +e", "edcb"},
              {"+a +b +c +d +e =2 +f +g +h", "hgfed"},
              {"=0 +a", ""},
              {"=1 +a +b", "b"},
              {"+a -a", ""},
              {"+a -b", "a"},
              {"+a +b +c -c", "ba"},
              {"+a +b +c -b", "ca"},
              {"+a +b +c -a", "cb"},
              {"+a +b -a -b", ""},
              {"+a +b -b -a +c", "c"},
              {"+a +b +c !", ""},
              {"+a +b ! +c", "c"},
              {"!", ""},
              {"+a +b +c <0", ""},
              {"+a +b +c <1", "c"},
              {"+a +b +c a <2", "ac"},
              {"+a +b +c <3", "cba"},
              {"+a +b +c <4", "cba"},
              {"<0", ""}};
  for (const auto& row : rows) {
    const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
    play(cache, row.script);
    EXPECT_EQ(listOf(cache), row.list) << row.script;
    EXPECT_EQ(cache->totalCount(), std::string(row.list).size());
    for (char each = 'a'; each < 'i'; ++each) {
      const bool there = std::string(row.list).find(each) != std::string::npos;
      EXPECT_EQ(cache->containsObjectForKey(letter(each)), there) << row.script << ": " << each;
      EXPECT_EQ(static_cast<bool>(cache->objectForKey(letter(each))), there) << row.script << ": " << each;
    }
  }
}

TEST(KVTLRUCacheTest, AnotherValueForAKey) {
  const Ref<KVTLRUCache> cache = cacheOf("ab");
  cache->setObject_forKey("other"_ns, "a"_ns);
  EXPECT_EQ(cache->objectForKey("a"_ns), id("other"_ns));
  EXPECT_EQ(cache->objectForKey("b"_ns), id("b"_ns));
  EXPECT_EQ(cache->totalCount(), 2u);
}

TEST(KVTLRUCacheTest, AgainstAModel) {
  std::mt19937 random(7);
  const auto below = [&](unsigned end) { return static_cast<unsigned>(random() % end); };
  for (int round = 0; round < 20; ++round) {
    const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
    std::list<std::pair<unsigned, unsigned>> model;  // key and value, the one used last first
    std::uint64_t limit = UINT64_MAX;
    const unsigned keys = round % 2 != 0 ? 20 : 600;
    for (unsigned step = 0; step < 5000; ++step) {
      const unsigned key = below(keys);
      // Numbers as keys, some of them as other kinds of number.
      const id keyObject = step % 3 != 0 ? id(NSNumber(key)) : id(NSNumber(static_cast<double>(key)));
      const auto found = std::find_if(model.begin(), model.end(), [&](const auto& each) { return each.first == key; });
      const unsigned what = below(100);
      if (what < 45) {
        const id value = cache->objectForKey(keyObject);
        ASSERT_EQ(static_cast<bool>(value), found != model.end());
        if (found == model.end()) continue;
        ASSERT_EQ(value, id(NSNumber(found->second)));
        model.splice(model.begin(), model, found);
      } else if (what < 85) {
        cache->setObject_forKey(NSNumber(step), keyObject);
        if (found != model.end()) model.erase(found);
        model.emplace_front(key, step);
        if (model.size() > limit) model.pop_back();
      } else if (what < 96) {
        cache->removeObjectForKey(keyObject);
        if (found != model.end()) model.erase(found);
      } else if (what < 97) {
        const unsigned count = 1 + below(keys);
        cache->trimToCount(count);
        while (model.size() > count) model.pop_back();
      } else if (what < 98) {
        limit = below(4) != 0 ? below(keys) : UINT64_MAX;
        cache->setCountLimit(limit);
      } else if (what < 99) {
        ASSERT_EQ(cache->containsObjectForKey(keyObject), found != model.end());
      } else if (below(10) == 0) {
        cache->removeAllObjects();
        model.clear();
      }
      ASSERT_EQ(cache->totalCount(), model.size());
    }
    auto each = model.begin();
    for (const KVTLinkedMapNode* node = LRUCacheAccess::map(*cache).head(); node != nullptr;
         node = node->_next, ++each) {
      ASSERT_NE(each, model.end());
      ASSERT_EQ(node->_key, id(NSNumber(each->first)));
    }
    ASSERT_EQ(each, model.end());
  }
}

// ---- keys -----------------------------------------------------------------------------------------------------------

int copies = 0, comparisons = 0;

class Place : public NSObject {
 public:
  std::uint64_t number = 0, itsHash = 0;
  bool isBad = false;
  std::uint64_t hash() const {
    if (isBad) throw NSException::exceptionWithName_reason_userInfo("Hash", "why", {});
    return itsHash;
  }
  bool isEqual(const id& other) const {
    ++comparisons;
    const auto place = other.as<Place>();
    if (place && (number == 13 || place->number == 13)) {
      throw NSException::exceptionWithName_reason_userInfo("Equal", "why", {});
    }
    return place && number == place->number;
  }
  id copyWithZone() const {
    ++copies;
    const Ref<Place> copy = make<Place>();
    copy->number = number;
    copy->itsHash = itsHash;
    return copy;
  }
  KVT_CLASS(Place)
};

Ref<Place> place(std::uint64_t number, std::uint64_t hash) {
  const Ref<Place> made = make<Place>();
  made->number = number;
  made->itsHash = hash;
  return made;
}

TEST(KVTLRUCacheTest, KeysOfAnyClass) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  copies = 0;
  const Ref<Place> key = place(1, 99);
  cache->setObject_forKey("one"_ns, key);
  EXPECT_EQ(copies, 1);
  key->number = 2;  // the cache has a copy
  EXPECT_FALSE(cache->objectForKey(key));
  EXPECT_EQ(cache->objectForKey(place(1, 99)), id("one"_ns));
  EXPECT_FALSE(cache->objectForKey(place(1, 98))) << "equal, but of another hash";
  cache->setObject_forKey("two"_ns, key);
  EXPECT_EQ(cache->totalCount(), 2u);
  // The copy goes as the entry does, whatever became of the key.
  key->number = 3;
  cache->trimToCount(1);
  EXPECT_FALSE(cache->objectForKey(place(1, 99)));
  EXPECT_EQ(cache->objectForKey(place(2, 99)), id("two"_ns));
  cache->removeObjectForKey(place(2, 99));
  EXPECT_EQ(cache->totalCount(), 0u);
}

TEST(KVTLRUCacheTest, TheKeyThatWasGivenLivesAsLongAsItsEntry) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  Ref<Place> key = place(1, 1);
  const Weak<Place> weak = key;
  cache->setObject_forKey("one"_ns, key);
  key = nullptr;
  EXPECT_TRUE(weak.lock());
  cache->removeObjectForKey(place(1, 1));
  EXPECT_FALSE(weak.lock());
}

TEST(KVTLRUCacheTest, TextThatChanges) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  const NSMutableString text = NSMutableString::stringWithString("key");
  cache->setObject_forKey("v"_ns, text);
  EXPECT_EQ(cache->objectForKey("key"_ns), id("v"_ns));
  EXPECT_EQ(cache->objectForKey(text), id("v"_ns));
  text.appendString("s");
  EXPECT_FALSE(cache->objectForKey(text));
  EXPECT_EQ(cache->objectForKey("key"_ns), id("v"_ns));
  EXPECT_TRUE(cache->containsObjectForKey("key"_ns));
  cache->trimToCount(0);
  // Text that does not change is shared.
  const NSString key = NSString("shared");
  const std::int32_t before = ObjectAccess::retainCount(key.object());
  cache->setObject_forKey("v"_ns, key);
  EXPECT_EQ(ObjectAccess::retainCount(key.object()), before + 1);
}

TEST(KVTLRUCacheTest, TextOfAnyLengthAndForm) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  std::vector<std::string> texts;
  for (std::size_t length = 0; length < 80; ++length) {
    for (std::size_t changed = 0; changed < length; ++changed) {
      texts.emplace_back(length, 'x');
      texts.back()[changed] = 'y';
    }
    texts.emplace_back(length, 'x');
    std::string other;
    for (std::size_t i = 0; i < length; ++i) other += "é";
    if (length != 0) texts.push_back(other);
  }
  for (const std::string& text : texts) cache->setObject_forKey(NSString(text), NSString(text));
  EXPECT_EQ(cache->totalCount(), texts.size());
  for (const std::string& text : texts) {
    ASSERT_EQ(cache->objectForKey(NSString(text)), id(NSString(text)));
    // The same text, kept in units instead of bytes.
    const NSMutableString units = NSMutableString::stringWithString(NSString(text));
    units.appendString(NSString(u"\xD800"));
    units.deleteCharactersInRange({units.length() - 1, 1});
    ASSERT_EQ(cache->objectForKey(units.copy()), id(NSString(text))) << text;
  }
}

TEST(KVTLRUCacheTest, KeysThatFallUponEachOther) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  std::mt19937 random(3);
  constexpr std::uint64_t kKeys = 300;
  std::vector<std::uint64_t> order;
  for (std::uint64_t i = 100; i < 100 + kKeys; ++i) {
    cache->setObject_forKey(NSNumber(i), place(i, i % 3));
    order.push_back(i);
  }
  EXPECT_EQ(cache->totalCount(), kKeys);
  std::shuffle(order.begin(), order.end(), random);
  while (!order.empty()) {
    cache->removeObjectForKey(place(order.back(), order.back() % 3));
    order.pop_back();
    for (const std::uint64_t each : order) ASSERT_TRUE(cache->objectForKey(place(each, each % 3)));
    ASSERT_EQ(cache->totalCount(), order.size());
  }
}

TEST(KVTLRUCacheTest, KeysThatRaise) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  cache->setObject_forKey("a"_ns, place(1, 5));
  const Ref<Place> badHash = place(1, 5), unlucky = place(13, 5);
  badHash->isBad = true;
  const id noCopy = make<NSObject>();
  const struct {
    const char* name;
    id key;
    std::string looking, putting;
  } rows[] = {{"hash", badHash, "Hash", "Hash"},
              {"isEqual", unlucky, "Equal", "Equal"},
              {"copy", noCopy, "", "NSInvalidArgumentException"}};
  for (const auto& row : rows) {
    EXPECT_EQ(raisedName([&] { return cache->objectForKey(row.key); }), row.looking) << row.name;
    EXPECT_EQ(raisedName([&] { return cache->setObject_forKey("b"_ns, row.key), 0; }), row.putting) << row.name;
    EXPECT_EQ(raisedName([&] { return cache->removeObjectForKey(row.key), 0; }), row.looking) << row.name;
    // The lock is free, and nothing has changed.
    EXPECT_EQ(cache->totalCount(), 1u) << row.name;
    EXPECT_EQ(cache->objectForKey(place(1, 5)), id("a"_ns)) << row.name;
  }
  EXPECT_EQ(raisedName([&] { return cache->containsObjectForKey(unlucky); }), "Equal");
  EXPECT_EQ(cache->totalCount(), 1u);
}

TEST(KVTLRUCacheTest, WhetherAKeyIsThereIsSearchedFor) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  for (std::uint64_t i = 100; i < 200; ++i) cache->setObject_forKey(NSNumber(i), place(i, i));
  comparisons = 0;
  EXPECT_FALSE(cache->containsObjectForKey(place(300, 300)));
  EXPECT_EQ(comparisons, 100);
  // So a key is found that its hash would not lead to.
  EXPECT_TRUE(cache->containsObjectForKey(place(150, 1)));
  EXPECT_FALSE(cache->objectForKey(place(150, 1)));
}

TEST(KVTLRUCacheTest, ManyEntriesComeAndGo) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  constexpr int kEntries = 300'000;  // past the size from which tables lie on large pages
  for (int i = 0; i < kEntries; ++i) cache->setObject_forKey(NSNumber(-i), NSNumber(i));
  for (int i = 0; i < kEntries; i += 7) ASSERT_EQ(cache->objectForKey(NSNumber(i)), id(NSNumber(-i)));
  cache->trimToCount(10);
  EXPECT_EQ(cache->totalCount(), 10u);
  int found = 0;
  for (int i = 0; i < kEntries; ++i) found += static_cast<bool>(cache->objectForKey(NSNumber(i)));
  EXPECT_EQ(found, 10);
  cache->removeAllObjects();
  cache->setObject_forKey("a"_ns, "a"_ns);
  EXPECT_EQ(listOf(cache), "a");
}

// ---- ends -----------------------------------------------------------------------------------------------------------

TEST(KVTLRUCacheTest, TheEndOfAValueMayUseTheCache) {
  const struct {
    const char* name;
    void (*letGo)(const Ref<KVTLRUCache>& cache);
  } rows[] = {{"evict", [](const Ref<KVTLRUCache>& cache) { play(cache, "=2 +b +c"); }},
              {"replace", [](const Ref<KVTLRUCache>& cache) { play(cache, "+a"); }},
              {"replace and evict", [](const Ref<KVTLRUCache>& cache) { play(cache, "+b =1 +a"); }},
              {"remove", [](const Ref<KVTLRUCache>& cache) { play(cache, "-a"); }},
              {"set nil", [](const Ref<KVTLRUCache>& cache) { cache->setObject_forKey(nullptr, "a"_ns); }},
              {"remove all", [](const Ref<KVTLRUCache>& cache) { play(cache, "!"); }},
              {"trim", [](const Ref<KVTLRUCache>& cache) { play(cache, "+b <1"); }},
              {"trim to none", [](const Ref<KVTLRUCache>& cache) { play(cache, "<0"); }},
              {"warning", [](const Ref<KVTLRUCache>& cache) {
                 cache->setShouldRemoveAllObjectsOnMemoryWarning(true);
                 cache->didReceiveMemoryWarning();
               }}};
  for (const auto& row : rows) {
    const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
    int ends = 0;
    {
      const Ref<Mortal> value = make<Mortal>();
      value->atEnd = [&ends, raw = cache.get()] {
        ++ends;
        raw->setObject_forKey("z"_ns, "z"_ns);
        raw->objectForKey("b"_ns);
      };
      cache->setObject_forKey(value, "a"_ns);
    }
    row.letGo(cache);
    EXPECT_EQ(ends, 1) << row.name;
    EXPECT_TRUE(cache->objectForKey("z"_ns)) << row.name;
  }
}

TEST(KVTLRUCacheTest, EverythingGoesWithTheCache) {
  Mortal::forget();
  {
    const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
    for (int i = 0; i < 5; ++i) cache->setObject_forKey(make<Mortal>(), NSNumber(i));
    EXPECT_EQ(Mortal::onMain, 0);
  }
  EXPECT_EQ(Mortal::onMain, 5);
}

TEST(KVTLRUCacheTest, TrimmingWaitsWhileTheLockIsBusy) {
  static Ref<KVTLRUCache> cache;
  static std::vector<double> waits;
  cache = cacheOf("abcde");
  waits.clear();
  LRUCacheAccess::setWait([](double seconds) {
    waits.push_back(seconds);
    EXPECT_EQ(LRUCacheAccess::map(*cache).count(), 5u);
    if (waits.size() == 3) LRUCacheAccess::lock(*cache).unlock();
  });
  LRUCacheAccess::lock(*cache).lock();
  LRUCacheAccess::trimStepwise(*cache, 2);
  EXPECT_EQ(waits, std::vector<double>(3, 0.01));
  EXPECT_EQ(listOf(cache), "ed");
  // Nobody has it: no wait.
  cache->trimToCount(1);
  EXPECT_EQ(waits.size(), 3u);
  EXPECT_EQ(listOf(cache), "e");
  LRUCacheAccess::setWait(nullptr);
  cache = nullptr;
}

// ---- memory warnings ------------------------------------------------------------------------------------------------

TEST(KVTLRUCacheTest, MemoryWarnings) {
  const struct { bool removes, calls; } rows[] = {{false, false}, {true, false}, {false, true}, {true, true}};
  for (const auto& row : rows) {
    const Ref<KVTLRUCache> cache = cacheOf("ab");
    cache->setShouldRemoveAllObjectsOnMemoryWarning(row.removes);
    std::vector<std::uint64_t> seen;
    if (row.calls) {
      cache->setDidReceiveMemoryWarningCompletion([&](const Ref<KVTLRUCache>& which) {
        EXPECT_TRUE(isIdentical(which, cache));
        seen.push_back(which->totalCount());
      });
    }
    cache->didReceiveMemoryWarning();
    EXPECT_EQ(cache->totalCount(), row.removes ? 0u : 2u);
    EXPECT_EQ(seen, row.calls ? std::vector<std::uint64_t>{cache->totalCount()} : std::vector<std::uint64_t>{});
    cache->setDidReceiveMemoryWarningCompletion(nullptr);
    cache->didReceiveMemoryWarning();
    EXPECT_EQ(seen.size(), row.calls ? 1u : 0u);
  }
}

TEST(KVTLRUCacheTest, TheHostMayBringWarningsByNotification) {
  Ref<KVTLRUCache> cache = cacheOf("ab");
  cache->setShouldRemoveAllObjectsOnMemoryWarning(true);
  const NSNotificationCenter center = NSNotificationCenter::defaultCenter();
  center.postNotificationName_object("MemoryIsShort", nullptr);
  EXPECT_EQ(cache->totalCount(), 2u) << "it listens to nobody by itself";
  center.addObserver_selector_name_object(cache, "didReceiveMemoryWarning", "MemoryIsShort", nullptr);
  center.postNotificationName_object("MemoryIsShort", nullptr);
  EXPECT_EQ(cache->totalCount(), 0u);
  cache = nullptr;
  center.postNotificationName_object("MemoryIsShort", nullptr);
}

// ---- as a class -----------------------------------------------------------------------------------------------------

TEST(KVTLRUCacheTest, TheNameIsCopied) {
  const Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  const NSMutableString name = NSMutableString::stringWithString("images");
  cache->setName(name);
  name.appendString("!");
  EXPECT_EQ(cache->name(), "images"_ns);
  cache->setName(nullptr);
  EXPECT_FALSE(cache->name());
}

TEST(KVTLRUCacheTest, TheRunTimeKnowsIt) {
  const Class cls = objc_getClass("KVTLRUCache");
  const struct {
    const char* property;
    const char* attributes;
  } properties[] = {{"name", "T@\"NSString\",C,N"},
                    {"countLimit", "TQ,N"},
                    {"shouldRemoveAllObjectsOnMemoryWarning", "TB,N"},
                    {"didReceiveMemoryWarningCompletion", "T@?,C,N"},
                    {"totalCount", "TQ,R,N"},
                    {"releaseOnMainThread", "TB,N"}};
  EXPECT_EQ(class_copyPropertyList(cls).size(), std::size(properties));
  for (const auto& row : properties) {
    const Property property = class_getProperty(cls, row.property);
    ASSERT_TRUE(property) << row.property;
    EXPECT_STREQ(property_getAttributes(property), row.attributes);
  }
  for (const char* selector :
       {"name", "setName:", "countLimit", "setCountLimit:", "shouldRemoveAllObjectsOnMemoryWarning",
        "setShouldRemoveAllObjectsOnMemoryWarning:", "didReceiveMemoryWarningCompletion",
        "setDidReceiveMemoryWarningCompletion:", "totalCount", "releaseOnMainThread", "setReleaseOnMainThread:",
        "containsObjectForKey:", "objectForKey:", "setObject:forKey:", "removeObjectForKey:", "removeAllObjects",
        "trimToCount:", "didReceiveMemoryWarning"}) {
    EXPECT_TRUE(class_respondsToSelector(cls, selector)) << selector;
  }
  EXPECT_TRUE(objc_getClass("KVTLinkedMap"));
  EXPECT_TRUE(objc_getClass("KVTLinkedMapNode"));

  const id cache(adopt, class_createInstance(cls));
  objc_msgSend(cache, "setObject:forKey:", NSString("v"), NSString("k"));
  EXPECT_EQ(objc_msgSend<id>(cache, "objectForKey:", NSString("k")), id("v"_ns));
  EXPECT_TRUE(objc_msgSend<bool>(cache, "containsObjectForKey:", NSString("k")));
  cache.setValue_forKey(NSNumber(7), "countLimit");
  EXPECT_EQ(cache.as<KVTLRUCache>()->countLimit(), 7u);
  cache.setValue_forKey(NSNumber(true), "releaseOnMainThread");
  EXPECT_TRUE(cache.as<KVTLRUCache>()->releaseOnMainThread());
  EXPECT_EQ(cache.valueForKey("totalCount"), id(NSNumber(1u)));
  objc_msgSend(cache, "trimToCount:", 0);
  EXPECT_EQ(cache.valueForKey("totalCount"), id(NSNumber(0u)));
}

}  // namespace
}  // namespace kvt
