#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSEnumerator.h>
#include <KVTPlatform/Values/NSNull.h>
#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

using D = const NSMutableDictionary&;

std::string entries(const NSDictionary& dictionary) {
  std::string all;
  for (const auto& [key, value] : dictionary) all += (all.empty() ? "" : " ") + text(key) + "=" + text(value);
  return all;
}

TEST(NSMutableDictionaryTest, ChangesInPlace) {
  const struct {
    const char* what;
    std::function<void(D)> change;
    const char* result;
  } rows[] = {
      {"add", [](D d) { d.setObject_forKey("x", "d"); }, "a=1 b=2 c=3 d=x"},
      {"replace", [](D d) { d.setObject_forKey("x", "a"); }, "a=x b=2 c=3"},
      {"replace by an equal key", [](D d) { d.setObject_forKey("x", NSMutableString::stringWithString("b")); },
       "a=1 b=x c=3"},
      {"replace by itself", [](D d) { d.setObject_forKey(d["a"], "a"); }, "a=1 b=2 c=3"},
      {"subscript",
       [](D d) {
         d.setObject_forKeyedSubscript("x", "a");
         d.setObject_forKeyedSubscript(nullptr, "b");
       },
       "a=x c=3"},
      {"value",
       [](D d) {
         d.setValue_forKey("x", "a");
         d.setValue_forKey(nullptr, "b");
         d.setValue_forKey(nullptr, "none");
       },
       "a=x c=3"},
      {"value through id",
       [](D d) {
         id(d).setValue_forKey(NSString("x"), "a");
         id(d).setValue_forKey(nullptr, "b");
       },
       "a=x c=3"},
      {"remove", [](D d) { d.removeObjectForKey("b"); }, "a=1 c=3"},
      {"remove what is not there",
       [](D d) {
         d.removeObjectForKey("x");
         d.removeObjectForKey(2);
       },
       "a=1 b=2 c=3"},
      {"remove and add",
       [](D d) {
         d.removeObjectForKey("a");
         d.setObject_forKey(4, "a");
       },
       "b=2 c=3 a=4"},
      {"remove several",
       [](D d) {
         d.removeObjectsForKeys(NSArray{"c", "x", "a"});
       },
       "b=2"},
      {"remove its keys", [](D d) { d.removeObjectsForKeys(d.allKeys()); }, ""},
      {"remove no keys", [](D d) { d.removeObjectsForKeys(nullptr); }, "a=1 b=2 c=3"},
      {"remove all",
       [](D d) {
         d.removeAllObjects();
         d.removeAllObjects();
       },
       ""},
      {"use again",
       [](D d) {
         d.removeAllObjects();
         d.setObject_forKey(1, "z");
         d.setObject_forKey(2, "a");
       },
       "z=1 a=2"},
      {"add entries",
       [](D d) {
         d.addEntriesFromDictionary({{"b", "x"}, {"z", "y"}});
       },
       "a=1 b=x c=3 z=y"},
      {"add no entries",
       [](D d) {
         d.addEntriesFromDictionary(nullptr);
         d.addEntriesFromDictionary(d);
       },
       "a=1 b=2 c=3"},
      {"set",
       [](D d) {
         d.setDictionary({{"z", "y"}});
       },
       "z=y"},
      {"set itself", [](D d) { d.setDictionary(d); }, "a=1 b=2 c=3"},
      {"set nil", [](D d) { d.setDictionary(nullptr); }, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSMutableDictionary literal = {{"a", 1}, {"b", 2}, {"c", 3}};
    const NSMutableDictionary grown = NSMutableDictionary::dictionaryWithCapacity(0);
    for (const auto& [key, value] : literal) grown.setObject_forKey(value, key);
    for (const NSMutableDictionary& dictionary : {literal, grown}) {
      row.change(dictionary);
      EXPECT_EQ(entries(dictionary), row.result);
    }
    row.change(NSMutableDictionary());
  }
}

TEST(NSMutableDictionaryTest, RaisesForNil) {
  const struct {
    std::function<void(D)> change;
    const char* raised;
  } rows[] = {
      {[](D d) { d.setObject_forKey(1, nullptr); },
       "NSInvalidArgumentException: *** -[NSMutableDictionary setObject:forKey:]: key cannot be nil"},
      {[](D d) { d.setObject_forKey(nullptr, "k"); },
       "NSInvalidArgumentException: *** -[NSMutableDictionary setObject:forKey:]: object cannot be nil (key: k)"},
      {[](D d) { d.removeObjectForKey(nullptr); },
       "NSInvalidArgumentException: *** -[NSMutableDictionary removeObjectForKey:]: key cannot be nil"},
      {[](D d) { d.setValue_forKey(nullptr, nullptr); },
       "NSInvalidArgumentException: *** -[NSMutableDictionary removeObjectForKey:]: key cannot be nil"},
      {[](D d) { d.setObject_forKey(1, make<Plain>()); }, "NSInvalidArgumentException"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.raised);
    const NSMutableDictionary dictionary = {{"a", 1}};
    EXPECT_EQ(raisedBy([&] { row.change(dictionary); }).substr(0, std::string_view(row.raised).size()), row.raised);
    EXPECT_EQ(entries(dictionary), "a=1");
  }
}

TEST(NSMutableDictionaryTest, NoticesChangesDuringAWalk) {
  const auto isReport = [](const std::string& raised) {
    return raised.starts_with("NSGenericException: *** Collection <NSMutableDictionary: 0x") &&
           raised.ends_with("> was mutated while being enumerated.");
  };
  const struct {
    const char* what;
    std::function<void(D)> change;
  } changes[] = {
      {"add", [](D d) { d.setObject_forKey(1, "new"); }},
      {"replace", [](D d) { d.setObject_forKey(1, "a"); }},
      {"remove", [](D d) { d.removeObjectForKey("a"); }},
      {"remove all", [](D d) { d.removeAllObjects(); }},
      {"grow",
       [](D d) {
         for (int i = 0; i < 100; ++i) d.setObject_forKey(i, i);
       }},
  };
  for (const auto& row : changes) {
    SCOPED_TRACE(row.what);
    const auto fresh = [] {
      return NSMutableDictionary{{"a", make<Item>(1)}, {"b", make<Item>(2)}, {"c", make<Item>(3)}};
    };
    const NSMutableDictionary a = fresh(), b = fresh(), c = fresh();
    int64_t seen = 0;
    EXPECT_TRUE(isReport(raisedBy([&] {
      for (const auto& [key, value] : a) {
        row.change(a);
        seen += value.as<Item>()->value + static_cast<int64_t>(text(key).size());
      }
    })));
    EXPECT_EQ(seen, 2);
    EXPECT_TRUE(isReport(
        raisedBy([&] { b.enumerateKeysAndObjectsUsingBlock([&](const id&, const id&, bool*) { row.change(b); }); })));
    const NSEnumerator keys = c.keyEnumerator();
    keys.nextObject();
    row.change(c);
    EXPECT_TRUE(isReport(raisedBy([&] { keys.nextObject(); })));
  }
  EXPECT_EQ(Item::alive, 0);
  const NSMutableDictionary last = {{"a", 1}, {"b", 2}};
  EXPECT_EQ(raisedBy([&] {
              for (const auto& [key, value] : last) {
                if (value == NSNumber(2)) last.removeObjectForKey(key);
              }
            }),
            "");
  EXPECT_EQ(entries(last), "a=1");
}

TEST(NSMutableDictionaryTest, IsInOrderWhenItsObjectsGo) {
  const struct {
    const char* what;
    std::function<void(D)> change;
    const char* seenByDestructor;
  } rows[] = {
      {"replace", [](D d) { d.setObject_forKey(1, "a"); }, "a=1 b=2"},
      {"remove", [](D d) { d.removeObjectForKey("a"); }, "b=2"},
      {"remove all", [](D d) { d.removeAllObjects(); }, ""},
      {"set",
       [](D d) {
         d.setDictionary({{"z", 1}});
       },
       ""},
      {"add entries",
       [](D d) {
         d.addEntriesFromDictionary({{"a", 3}});
       },
       "a=3 b=2"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
    std::string seen = "not called";
    {
      const Ref<Item> item = make<Item>(1);
      item->onDestruction = [&] {
        seen = entries(dictionary);
        for (int i = 0; i < 50; ++i) dictionary.setObject_forKey("late", "late" + std::to_string(i));
      };
      dictionary.setObject_forKey(item, "a");
      dictionary.setObject_forKey(2, "b");
    }
    row.change(dictionary);
    EXPECT_EQ(Item::alive, 0);
    EXPECT_EQ(seen, row.seenByDestructor);
    EXPECT_EQ(text(dictionary["late49"]), "late");
  }
}

TEST(NSMutableDictionaryTest, AnEqualityThatChangesTheDictionaryRaises) {
  for (int filler : {0, 50}) {
    const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
    for (int i = 0; i < filler; ++i) dictionary.setObject_forKey(i, "k" + std::to_string(i));
    dictionary.setObject_forKey(1, make<Item>(5));
    const Ref<Item> key = make<Item>(5);
    key->onComparison = [&] { dictionary.removeAllObjects(); };
    EXPECT_TRUE(raisedBy([&] { dictionary.setObject_forKey(2, key); }).starts_with("NSGenericException"));
    EXPECT_EQ(dictionary.count(), 0u);
  }
}

/// Does something else when it is copied.
class OddKey : public NSObject {
 public:
  std::function<id(const id&)> copying;
  id copyWithZone() const { return copying(id(borrow, this)); }
  KVT_CLASS(OddKey)
};

TEST(NSMutableDictionaryTest, SurvivesKeysThatCopyOddly) {
  const NSMutableDictionary dictionary = {{"a", 1}};
  const Ref<OddKey> key = make<OddKey>();
  key->copying = [](const id&) { return id(); };
  EXPECT_TRUE(raisedBy([&] { dictionary.setObject_forKey(1, key); }).starts_with("NSInvalidArgumentException"));
  EXPECT_TRUE(raisedBy([&] { NSDictionary{{key, 1}}; }).starts_with("NSInvalidArgumentException"));
  EXPECT_EQ(entries(dictionary), "a=1");
  bool isFirst = true;
  key->copying = [&](const id& self) {
    if (std::exchange(isFirst, false)) dictionary.setObject_forKey("inner", self);
    return self;
  };
  dictionary.setObject_forKey("outer", key);
  EXPECT_EQ(dictionary.count(), 2u);
  EXPECT_EQ(text(dictionary[key]), "outer");
}

// ---- cost: each of these would take minutes if a step walked the table ----------------------------------------------

TEST(NSMutableDictionaryTest, NoPatternOfChangesIsQuadratic) {
  constexpr int kCount = 200000;
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  // A queue: the oldest goes.
  for (int i = 0; i < kCount; ++i) dictionary.setObject_forKey(i, i);
  for (int i = 0; i < kCount; ++i) {
    for (const auto& [key, value] : dictionary) {
      ASSERT_EQ(key, NSNumber(i));
      break;
    }
    dictionary.removeObjectForKey(i);
    dictionary.setObject_forKey(i, kCount + i);
  }
  // A stack: the newest goes and comes back.
  for (int i = 0; i < kCount; ++i) {
    dictionary.removeObjectForKey(2 * kCount - 1);
    dictionary.setObject_forKey(i, 2 * kCount - 1);
  }
  EXPECT_EQ(dictionary.count(), static_cast<NSUInteger>(kCount));
  // All but the first and the last go: walking what is left costs what is left.
  for (int i = 1; i < kCount - 1; ++i) dictionary.removeObjectForKey(kCount + i);
  ASSERT_EQ(dictionary.count(), 2u);
  NSUInteger walked = 0;
  for (int i = 0; i < kCount; ++i) {
    for (const auto& entry : dictionary) walked += entry.key ? 1 : 0;
  }
  EXPECT_EQ(walked, 2u * kCount);
}

TEST(NSMutableDictionaryTest, KeysAtEqualDistancesDoNotCollide) {
  for (const int shift : {0, 8, 16, 32, 40}) {
    const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
    for (int64_t i = 0; i < 100000; ++i) dictionary.setObject_forKey(i, i << shift);
    EXPECT_EQ(dictionary.count(), 100000u);
    EXPECT_EQ(dictionary[NSNumber(int64_t{99999} << shift)], NSNumber(99999));
  }
}

TEST(NSMutableDictionaryTest, EqualHashesCostTimeOnly) {
  Item::hashes = [](int64_t value) { return static_cast<std::uint64_t>(value % 3); };
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  for (int64_t i = 0; i < 300; ++i) dictionary.setObject_forKey(i, make<Item>(i));
  for (int64_t i = 0; i < 300; i += 2) dictionary.removeObjectForKey(make<Item>(i));
  EXPECT_EQ(dictionary.count(), 150u);
  for (int64_t i = 0; i < 300; ++i) {
    EXPECT_EQ(text(dictionary[make<Item>(i)]), i % 2 == 0 ? "nil" : std::to_string(i));
  }
  Item::hashes = nullptr;
}

TEST(NSMutableDictionaryTest, CapacityIsAHint) {
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionaryWithCapacity(UINT64_MAX);
  for (int i = 0; i < 100; ++i) dictionary.setObject_forKey(i, i);
  EXPECT_EQ(dictionary.count(), 100u);
}

}  // namespace
}  // namespace kvt::collection_test
