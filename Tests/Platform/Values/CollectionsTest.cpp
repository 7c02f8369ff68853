// What arrays, dictionaries and sets do alike: descriptions, deep nesting, cycles, hashes, use from several threads.
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

// ---- descriptions -------------------------------------------------------------------------------------------------

TEST(CollectionDescriptionTest, IsAnOldStylePropertyList) {
  const struct {
    const char* what;
    id collection;
    const char* description;
  } rows[] = {
      {"empty array", NSArray::array(), "(\n)"},
      {"empty dictionary", NSDictionary::dictionary(), "{\n}"},
      {"empty set", NSSet::set(), "{(\n)}"},
      {"array", NSArray{"a", "b c"}, "(\n    a,\n    \"b c\"\n)"},
      {"mutable array", NSMutableArray{1}, "(\n    1\n)"},
      {"dictionary", NSDictionary{{"key", "value"}}, "{\n    key = value;\n}"},
      {"keys in ascending order", NSDictionary{{"b", 1}, {"a", 2}, {"B", 3}},
       "{\n    B = 3;\n    a = 2;\n    b = 1;\n}"},
      {"keys by UTF-16 units", NSDictionary{{"\uFF5E", 1}, {"😀", 2}, {"z", 3}},
       "{\n    z = 3;\n    \"\\Ud83d\\Ude00\" = 2;\n    \"\\Uff5e\" = 1;\n}"},
      {"other keys as they came", NSDictionary{{2, "x"}, {1, "y"}}, "{\n    2 = x;\n    1 = y;\n}"},
      {"quoted key", NSDictionary{{"Content-Type", "text/html"}}, "{\n    \"Content-Type\" = \"text/html\";\n}"},
      {"set", NSSet{"a", "b"}, "{(\n    a,\n    b\n)}"},
      {"null", NSArray{NSNull::null()}, "(\n    \"<null>\"\n)"},
      {"numbers", NSArray{1, -1, 1.5, true}, "(\n    1,\n    \"-1\",\n    \"1.5\",\n    1\n)"},
      {"object", NSArray{make<Item>(3)}, "(\n    \"item 3\"\n)"},
      {"array in array", NSArray{NSArray{1}, 2}, "(\n        (\n        1\n    ),\n    2\n)"},
      {"dictionary in dictionary", NSDictionary{{"a", NSDictionary{{"b", 1}}}},
       "{\n    a =     {\n        b = 1;\n    };\n}"},
      {"array in dictionary", NSDictionary{{"a", NSArray{1, 2}}}, "{\n    a =     (\n        1,\n        2\n    );\n}"},
      {"dictionary in array in dictionary", NSDictionary{{"r", NSArray{NSDictionary{{"x", 1}}}}},
       "{\n    r =     (\n                {\n            x = 1;\n        }\n    );\n}"},
      {"set in array", NSArray{NSSet{1}}, "(\n        {(\n        1\n    )}\n)"},
      {"empty ones within", NSArray{NSArray::array(), NSDictionary::dictionary()},
       "(\n        (\n    ),\n        {\n    }\n)"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(text(row.collection), row.description);
    EXPECT_EQ(objc_msgSend<NSString>(row.collection, "description").str(), row.description);
  }
}

TEST(CollectionDescriptionTest, QuotesAndEscapesText) {
  const char16_t lone[] = {u'a', 0xDC00, 0};
  const struct {
    NSString text;
    const char* shown;
  } rows[] = {
      {"abcXYZ019", "abcXYZ019"},
      {"", "\"\""},
      {"a_b", "\"a_b\""},
      {"a.b", "\"a.b\""},
      {"/usr/bin", "\"/usr/bin\""},
      {"12:30", "\"12:30\""},
      {"a b", "\"a b\""},
      {"say \"x\"", "\"say \\\"x\\\"\""},
      {"back\\slash", "\"back\\\\slash\""},
      {"line\nfeed\r\ttab", "\"line\\nfeed\\r\\ttab\""},
      {"\a\b\v\f", "\"\\a\\b\\v\\f\""},
      {NSString(std::string_view("\0\x1f\x7f", 3)), "\"\\U0000\\U001f\\U007f\""},
      {"é", "\"\\U00e9\""},
      {"你好", "\"\\U4f60\\U597d\""},
      {"😀", "\"\\Ud83d\\Ude00\""},
      {lone, "\"a\\Udc00\""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.shown);
    EXPECT_EQ(text(NSArray{row.text}), "(\n    " + std::string(row.shown) + "\n)");
    EXPECT_EQ(text(NSDictionary{{row.text, 1}}), "{\n    " + std::string(row.shown) + " = 1;\n}");
  }
}

/// Prints the collection it is in.
class Printer : public NSObject {
 public:
  id collection;
  NSString description() const { return collection.description(); }
  KVT_CLASS(Printer, collection)
};

TEST(CollectionDescriptionTest, EndsForCollectionsThatContainThemselves) {
  const NSMutableArray array = {1};
  array.addObject(array);
  EXPECT_EQ(text(array), "(\n    1,\n    (...)\n)");
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  dictionary.setObject_forKey(NSArray{dictionary, array}, "self");
  EXPECT_EQ(text(dictionary),
            "{\n    self =     (\n        {...},\n                (\n            1,\n            (...)\n        )\n    "
            ");\n}");
  const NSMutableSet set = NSMutableSet::set();
  set.addObject(NSArray{set});
  EXPECT_EQ(text(set), "{(\n        (\n        {(...)}\n    )\n)}");
  // Twice beside each other is not within each other.
  const NSArray part = {1};
  EXPECT_EQ(text(NSArray{part, part}), "(\n        (\n        1\n    ),\n        (\n        1\n    )\n)");

  const Ref<Printer> printer = make<Printer>();
  const NSMutableArray printed = {printer};
  printer->collection = printed;
  EXPECT_EQ(text(printed), "(\n    \"(...)\"\n)");
  EXPECT_EQ(text(printed), "(\n    \"(...)\"\n)");  // nothing is left behind

  array.removeAllObjects();
  dictionary.removeAllObjects();
  set.removeAllObjects();
  printed.removeAllObjects();
}

/// Has no description.
class Raiser : public NSObject {
 public:
  NSString description() const { NSException::raise_format("Oops", "no text"); }
  KVT_CLASS(Raiser)
};

TEST(CollectionDescriptionTest, RecoversFromADescriptionThatRaises) {
  const NSArray array = {NSArray{make<Raiser>()}};
  EXPECT_EQ(raisedBy([&] { array.description(); }), "Oops: no text");
  EXPECT_EQ(raisedBy([&] { array.description(); }), "Oops: no text");
  EXPECT_EQ(text(NSArray{1}), "(\n    1\n)");
}

/// Empties the array that it is in.
class Changer : public NSObject {
 public:
  id array;
  NSString description() const {
    array.as<NSMutableArray>().removeAllObjects();
    return "gone";
  }
  KVT_CLASS(Changer, array)
};

TEST(CollectionDescriptionTest, MayChangeTheCollection) {
  const Ref<Changer> changer = make<Changer>();
  const NSMutableArray array = {changer, "next"};
  changer->array = array;
  EXPECT_EQ(text(array), "(\n    gone,\n    next\n)");
  EXPECT_EQ(array.count(), 0u);
}

// ---- deep nesting -------------------------------------------------------------------------------------------------

constexpr int kDepth = 100000;

struct Nesting {
  const char* what;
  id (*around)(const id& inner);
  bool comparable;  // sets and keys are told apart on the spot, to a depth of 1000
};
const Nesting kNestings[] = {
    {"arrays", [](const id& inner) -> id { return NSArray::arrayWithObject(inner); }, true},
    {"mutable arrays", [](const id& inner) -> id { return NSMutableArray::arrayWithObject(inner); }, true},
    {"dictionaries",
     [](const id& inner) -> id {
       return NSDictionary{{"k", inner}};
     },
     true},
    {"mutable dictionaries",
     [](const id& inner) -> id {
       return NSMutableDictionary{{"k", inner}};
     },
     true},
    {"arrays and dictionaries",
     [](const id& inner) -> id {
       return NSArray{1, NSDictionary{{"a", 1}, {"k", inner}}, 2};
     },
     true},
    {"sets", [](const id& inner) -> id { return NSSet::setWithObject(inner); }, false},
    {"keys",
     [](const id& inner) -> id {
       return NSDictionary{{inner, 1}};
     },
     false},
};

id nested(const Nesting& nesting, int depth, const id& innermost) {
  id value = innermost;
  for (int i = 0; i < depth; ++i) value = nesting.around(value);
  return value;
}

TEST(DeepCollectionTest, NeedsNoStack) {
  for (const Nesting& nesting : kNestings) {
    SCOPED_TRACE(nesting.what);
    const id one = nested(nesting, kDepth, make<Item>(1));
    const id same = nested(nesting, kDepth, make<Item>(1));
    const id other = nested(nesting, kDepth, make<Item>(2));
    EXPECT_EQ(Item::alive, 3);
    EXPECT_EQ(one.hash(), same.hash());
    EXPECT_EQ(one.isEqual(same), nesting.comparable);
    EXPECT_FALSE(one.isEqual(other));
    EXPECT_TRUE(one.isEqual(one));
    const std::string description = text(one);
    EXPECT_NE(description.find("..."), std::string::npos);
    EXPECT_LT(description.size(), 1000000u);
  }
  EXPECT_EQ(Item::alive, 0);
}

TEST(DeepCollectionTest, IsComparedToTheBottom) {
  for (const Nesting& nesting : kNestings) {
    SCOPED_TRACE(nesting.what);
    const id one = nested(nesting, 400, NSNumber(1));
    EXPECT_TRUE(one.isEqual(nested(nesting, 400, NSNumber(1.0))));
    EXPECT_FALSE(one.isEqual(nested(nesting, 400, NSNumber(2))));
    EXPECT_FALSE(one.isEqual(nested(nesting, 399, NSNumber(1))));
  }
}

TEST(DeepCollectionTest, IsReleasedFromMutableOnesToo) {
  const NSMutableArray array = {nested(kNestings[0], kDepth, make<Item>(1))};
  const NSMutableDictionary dictionary = {{"a", nested(kNestings[2], kDepth, make<Item>(2))}};
  const NSMutableSet set = {nested(kNestings[4], kDepth, make<Item>(3))};
  array.removeAllObjects();
  dictionary.removeObjectForKey("a");
  set.removeAllObjects();
  EXPECT_EQ(Item::alive, 0);
}

TEST(DeepCollectionTest, IsReleasedWhole) {
  // Wide as well as deep: everything that was put aside goes.
  id value = make<Item>(0);
  for (int64_t i = 1; i <= 2000; ++i)
    value = NSArray{make<Item>(i), NSDictionary{{make<Item>(-i), value}}, NSSet{make<Item>(i), NSArray{make<Item>(i)}}};
  EXPECT_EQ(Item::alive, 1 + 4 * 2000);
  value = nullptr;
  EXPECT_EQ(Item::alive, 0);
}

// ---- cycles and shared parts --------------------------------------------------------------------------------------

TEST(CyclicCollectionTest, IsComparedAndHashed) {
  const NSMutableArray a = {1}, b = {1}, c = {2};
  for (const NSMutableArray& each : {a, b, c}) {
    each.addObject(each);
    each.addObject(NSDictionary{{"k", each}});
  }
  EXPECT_TRUE(a.isEqual(b));
  EXPECT_FALSE(a.isEqual(c));
  EXPECT_EQ(a.hash(), b.hash());
  const NSMutableArray crossed = {1, b, NSDictionary{{"k", a}}};
  EXPECT_TRUE(a.isEqual(crossed));
  const NSMutableSet s = NSMutableSet::set();
  s.addObject(NSArray{s});
  EXPECT_TRUE(s.isEqual(s));
  for (const NSMutableArray& each : {a, b, c}) each.removeAllObjects();
  s.removeAllObjects();
}

TEST(CyclicCollectionTest, SharedPartsAreComparedOnce) {
  // Two hundred levels with two references each: 2^200 paths.
  id a = NSArray{1}, b = NSArray{1};
  for (int i = 0; i < 200; ++i) {
    a = NSArray{a, a};
    b = NSArray{b, b};
  }
  EXPECT_TRUE(a.isEqual(b));
  EXPECT_EQ(a.hash(), b.hash());
}

// ---- hashes -------------------------------------------------------------------------------------------------------

TEST(CollectionHashTest, TellsMostCollectionsApart) {
  std::set<std::uint64_t> arrays, dictionaries, sets;
  for (int i = 0; i < 1000; ++i) {
    arrays.insert(NSArray{i, NSArray{i % 10}}.hash());
    dictionaries.insert(NSDictionary{{"id", i}, {"name", "n"}}.hash());
    sets.insert(NSSet{i, "x"}.hash());
  }
  EXPECT_GT(arrays.size(), 990u);
  EXPECT_GT(dictionaries.size(), 990u);
  EXPECT_GT(sets.size(), 990u);
  EXPECT_NE((NSArray{1, 2}).hash(), (NSArray{2, 1}).hash());
  EXPECT_NE((NSDictionary{{"a", 1}, {"b", 2}}).hash(), (NSDictionary{{"a", 2}, {"b", 1}}).hash());
}

TEST(CollectionHashTest, CollectionsAreKeysAndElements) {
  const NSMutableSet records = NSMutableSet::set();
  const NSMutableDictionary index = NSMutableDictionary::dictionary();
  for (int i = 0; i < 20000; ++i) {
    records.addObject(NSDictionary{{"id", i % 10000}, {"tags", NSArray{"a", i % 10000}}});
    index.setObject_forKey(i, NSArray{i % 10000, "x"});
  }
  EXPECT_EQ(records.count(), 10000u);
  EXPECT_EQ(index.count(), 10000u);
  EXPECT_TRUE(records.containsObject(NSMutableDictionary{{"tags", NSMutableArray{"a", 5.0}}, {"id", 5}}));
  EXPECT_EQ((index[NSArray{7, "x"}]), NSNumber(10007));
}

// ---- threads ------------------------------------------------------------------------------------------------------

TEST(CollectionThreadTest, ImmutableCollectionsAreReadFromAnyThread) {
  std::vector<std::pair<std::string, int>> pairs;
  for (int i = 0; i < 200; ++i) pairs.emplace_back("key" + std::to_string(i), i);
  const NSDictionary dictionary(pairs);
  const NSArray array = dictionary.allValues();
  const NSSet set = NSSet::setWithArray(dictionary.allKeys());
  std::vector<std::thread> threads;
  std::atomic<int> right{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      int sum = 0;
      for (const auto& [key, value] : dictionary) {
        if (set.containsObject(key) && dictionary[key] == value && array.containsObject(value)) {
          sum += value.as<NSNumber>().intValue();
        }
      }
      if (sum == 199 * 200 / 2 && dictionary.hash() == dictionary.mutableCopy().hash()) ++right;
    });
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(right, 4);
}

TEST(CollectionThreadTest, DeepCollectionsAreReleasedOnAnyThread) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      id value = nested(kNestings[4], 20000, NSNumber(1));
      // Kept until the thread's own storage is torn down.
      thread_local id last;
      last = value;
    });
  }
  for (std::thread& each : threads) each.join();
}

}  // namespace
}  // namespace kvt::collection_test
