#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSEnumerator.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <unordered_map>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

std::string entries(const NSDictionary& dictionary) {
  std::string all;
  for (const auto& [key, value] : dictionary) all += (all.empty() ? "" : " ") + text(key) + "=" + text(value);
  return all;
}

// ---- making -------------------------------------------------------------------------------------------------------

TEST(NSDictionaryTest, BracesTakePairs) {
  const NSString key = "typed";
  const NSDictionary dictionary = {
      {"a", 1}, {"b", "x"}, {key, NSNull::null()}, {7, true}, {std::string("s"), NSArray{1, 2}}};
  EXPECT_EQ(dictionary.count(), 5u);
  EXPECT_EQ(dictionary["a"], NSNumber(1));
  EXPECT_EQ(dictionary["b"], NSString("x"));
  EXPECT_EQ(dictionary[key], NSNull::null());
  EXPECT_TRUE(dictionary[NSNumber(7)].as<NSNumber>().isBool());
  EXPECT_TRUE(dictionary[7].as<NSNumber>().isBool());
  EXPECT_TRUE(dictionary.objectForKey(7.0));
  EXPECT_EQ((NSDictionary{{0, "zero"}})[0], NSString("zero"));  // a number, no null pointer
  EXPECT_EQ(dictionary["s"], (NSArray{1, 2}));
  const NSDictionary one = {{"a", "b"}};  // two texts are a pair, not a range of characters
  EXPECT_EQ(entries(one), "a=b");
  const NSDictionary two = {{"a", "b"}, {"c", "d"}};
  EXPECT_EQ(entries(two), "a=b c=d");
  const NSDictionary nil = {};
  EXPECT_FALSE(nil);
  EXPECT_TRUE(NSDictionary::dictionary());
  EXPECT_EQ(NSDictionary::dictionary().count(), 0u);
}

TEST(NSDictionaryTest, TheFirstOfEqualKeysCounts) {
  EXPECT_EQ(entries({{"a", 1}, {"b", 2}, {"a", 3}}), "a=1 b=2");
  EXPECT_EQ(entries({{1, "int"}, {1.0, "double"}}), "1=int");
  EXPECT_EQ(entries(NSDictionary::dictionaryWithObjects_forKeys(NSArray{1, 2}, NSArray{"a", "a"})), "a=1");
}

TEST(NSDictionaryTest, MakersRefuseNilAndKeysThatCannotBeCopied) {
  const id nil;
  const struct {
    const char* what;
    std::function<void()> make;
    const char* raised;
  } rows[] = {
      {"nil object",
       [&] {
         NSDictionary{{"a", 1}, {"b", nil}};
       },
       "NSInvalidArgumentException: *** -[NSDictionary initWithObjects:forKeys:count:]: attempt to insert nil object "
       "from objects[1]"},
      {"nil key",
       [&] {
         NSDictionary{{nil, 1}};
       },
       "NSInvalidArgumentException: *** -[NSDictionary initWithObjects:forKeys:count:]: attempt to insert nil object "
       "from keys[0]"},
      {"null text",
       [&] {
         NSDictionary{{static_cast<const char*>(nullptr), 1}};
       },
       "NSInvalidArgumentException"},
      {"more keys",
       [] {
         NSDictionary::dictionaryWithObjects_forKeys(NSArray{1}, NSArray{"a", "b"});
       },
       "NSInvalidArgumentException: *** -[NSDictionary initWithObjects:forKeys:]: count of objects (1) differs from "
       "count of keys (2)"},
      {"nil keys", [] { NSDictionary::dictionaryWithObjects_forKeys(NSArray{1}, nullptr); },
       "NSInvalidArgumentException"},
      {"an object without a key", [] { NSDictionary::dictionaryWithObjectsAndKeys(1, "a", 2); },
       "NSInvalidArgumentException"},
      {"an object without its key", [&] { NSDictionary::dictionaryWithObjectsAndKeys(1, nil); },
       "NSInvalidArgumentException"},
      {"one object, nil", [&] { NSDictionary::dictionaryWithObject_forKey(nil, "a"); }, "NSInvalidArgumentException"},
      {"a key without copy",
       [] {
         NSDictionary{{make<Plain>(), 1}};
       },
       "NSInvalidArgumentException"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(raisedBy(row.make).substr(0, std::string_view(row.raised).size()), row.raised);
  }
}

TEST(NSDictionaryTest, TakesAndGivesStandardContainers) {
  EXPECT_EQ(entries(std::map<std::string, int>{{"b", 2}, {"a", 1}}), "a=1 b=2");
  EXPECT_EQ(entries(std::vector<std::pair<std::string, NSString>>{{"b", "x"}, {"a", "y"}}), "b=x a=y");
  EXPECT_EQ(entries(NSDictionary::dictionaryWithRange(std::unordered_map<int, double>{{1, 2.5}})), "1=2.5");
  EXPECT_EQ(entries(NSDictionary::dictionaryWithObjectsAndKeys(1, "a", 2, "b", nullptr)), "a=1 b=2");
  EXPECT_EQ(entries(NSDictionary::dictionaryWithObjectsAndKeys(1, "a", id(), "b")), "a=1");
  EXPECT_EQ(entries(NSDictionary::dictionaryWithObject_forKey(1, "a")), "a=1");

  const NSDictionary mixed = {{"a", 1}, {"b", "two"}, {3, "not text"}};
  EXPECT_EQ(mixed.toMap<int>(), (std::map<std::string, int>{{"a", 1}, {"b", 0}}));
  EXPECT_EQ(mixed.toMap<std::string>(), (std::map<std::string, std::string>{{"a", ""}, {"b", "two"}}));
  EXPECT_EQ(mixed.toMap().size(), 2u);
  EXPECT_TRUE(NSDictionary().toMap<int>().empty());
}

TEST(NSDictionaryTest, KeysAreCopied) {
  const NSMutableString key = NSMutableString::stringWithString("a");
  const NSDictionary dictionary = {{key, 1}};
  const NSMutableDictionary changing = NSMutableDictionary::dictionary();
  changing.setObject_forKey(1, key);
  key.appendString("b");
  for (const NSDictionary& each : {dictionary, static_cast<NSDictionary>(changing)}) {
    EXPECT_EQ(each["a"], NSNumber(1));
    EXPECT_FALSE(each["ab"]);
    EXPECT_FALSE(each.allKeys()[0].is<NSMutableString>());
  }
  const NSString fixed = "a";
  EXPECT_TRUE(isIdentical((NSDictionary{{fixed, 1}}).allKeys()[0], fixed));
}

// ---- reading ------------------------------------------------------------------------------------------------------

TEST(NSDictionaryTest, LooksUpByEquality) {
  for (int filler : {0, 20, 2000}) {
    SCOPED_TRACE(filler);
    const Ref<Item> item = make<Item>(7);
    std::vector<std::pair<id, id>> pairs = {{NSString("plain"), NSString("1")},
                                            {NSString("zoë"), NSString("2")},
                                            {NSNumber(3), NSString("3")},
                                            {NSNull::null(), NSString("4")},
                                            {item, NSString("5")},
                                            {NSArray{1, 2}, NSString("6")},
                                            {NSString(""), NSString("7")}};
    for (int i = 0; i < filler; ++i) pairs.emplace_back(NSString("filler" + std::to_string(i)), NSNumber(i));
    const NSDictionary dictionary(pairs);
    const struct {
      id key;
      const char* value;
    } rows[] = {{NSString("plain"), "1"},
                {NSMutableString::stringWithString("plain"), "1"},
                {NSString(u"zoë"), "2"},
                {NSNumber(3.0), "3"},
                {NSNumber(3u), "3"},
                {NSNull::null(), "4"},
                {make<Item>(7), "5"},
                {NSMutableArray{1, 2.0}, "6"},
                {NSString(""), "7"},
                {NSString("Plain"), "nil"},
                {NSNumber(4), "nil"},
                {make<Item>(8), "nil"},
                {id(), "nil"},
                {NSString("3"), "nil"}};
    for (const auto& row : rows) {
      SCOPED_TRACE(text(row.key));
      EXPECT_EQ(text(dictionary.objectForKey(row.key)), row.value);
      EXPECT_EQ(text(dictionary[row.key]), row.value);
      EXPECT_EQ(text(dictionary.objectForKeyedSubscript(row.key)), row.value);
      EXPECT_EQ(text(objc_msgSend<id>(dictionary, "objectForKey:", row.key)), row.value);
    }
    EXPECT_EQ(text(dictionary["zoë"]), "2");
    EXPECT_EQ(text(dictionary[std::string("plain")]), "1");
    EXPECT_EQ(text(dictionary.objectForKey(std::string_view("plainer").substr(0, 5))), "1");
    EXPECT_EQ(text(dictionary[""]), "7");
    EXPECT_FALSE(dictionary["3"]);
    EXPECT_FALSE(dictionary.objectForKey(static_cast<const char*>(nullptr)));
    EXPECT_EQ(text(dictionary.objectForKey("plain")), "1");
    for (int i = 0; i < filler; ++i) ASSERT_EQ(dictionary["filler" + std::to_string(i)], NSNumber(i));
  }
}

TEST(NSDictionaryTest, TextWithNULAndLoneSurrogatesAreKeys) {
  const char16_t lone[] = {0xD83D, 0};
  const std::string nul("a\0b", 3);
  const NSDictionary dictionary = {{lone, 1}, {nul, 2}, {"a", 3}};
  EXPECT_EQ(dictionary[NSString(lone)], NSNumber(1));
  EXPECT_EQ(dictionary[nul], NSNumber(2));
  EXPECT_EQ(dictionary["a"], NSNumber(3));
  EXPECT_FALSE(dictionary["😀"]);
}

TEST(NSDictionaryTest, KeepsTheOrderOfInsertion) {
  std::vector<std::pair<int, int>> pairs;
  std::string expected;
  for (int i = 0; i < 100; ++i) {
    pairs.emplace_back(i * 37 % 101, i);
    expected += (i == 0 ? "" : " ") + std::to_string(i * 37 % 101) + "=" + std::to_string(i);
  }
  const NSDictionary dictionary(pairs);
  EXPECT_EQ(entries(dictionary), expected);
  EXPECT_EQ(entries(dictionary.mutableCopy()), expected);
  EXPECT_EQ(entries(dictionary.mutableCopy().copy()), expected);
}

TEST(NSDictionaryTest, ListsKeysAndValues) {
  const NSDictionary dictionary = {{"b", 1}, {"a", 2}, {"c", 1}};
  for (const NSDictionary& each : {dictionary, static_cast<NSDictionary>(dictionary.mutableCopy())}) {
    EXPECT_EQ(texts(each.allKeys()), "b a c");
    EXPECT_EQ(texts(each.allValues()), "1 2 1");
    EXPECT_EQ(texts(each.keyEnumerator()), "b a c");
    EXPECT_EQ(texts(each.objectEnumerator()), "1 2 1");
    EXPECT_EQ(texts(each.allKeysForObject(1.0)), "b c");
    EXPECT_EQ(texts(each.allKeysForObject(nullptr)), "");
    EXPECT_EQ(texts(each.objectsForKeys_notFoundMarker(NSArray{"c", "x", "a"}, NSNull::null())), "1 <null> 2");
    EXPECT_NE(raisedBy([&] { each.objectsForKeys_notFoundMarker(NSArray{"x"}, nullptr); }), "");
    std::string walked;
    each.enumerateKeysAndObjectsUsingBlock([&](const id& key, const id& object, bool* stop) {
      walked += text(key) + text(object);
      *stop = key == NSString("a");
    });
    EXPECT_EQ(walked, "b1a2");
    EXPECT_EQ(each.keysOfEntriesPassingTest([](const id&, const id& x, bool*) { return x == NSNumber(1); }).size(), 2u);
    EXPECT_EQ(texts(each.keysSortedByValueUsingSelector("compare:")), "b c a");
    EXPECT_EQ(texts(each.keysSortedByValueUsingComparator(
                  [](const id& a, const id& b) { return b.as<NSNumber>().compare(a.as<NSNumber>()); })),
              "a b c");
  }
}

TEST(NSDictionaryTest, NilAnswersNothing) {
  const NSDictionary nil;
  bool called = false;
  EXPECT_EQ(nil.count(), 0u);
  EXPECT_FALSE(nil["a"]);
  EXPECT_FALSE(nil[NSString("a")]);
  EXPECT_FALSE(nil.objectForKey(id()));
  EXPECT_FALSE(nil.objectForKey(std::string_view("a")));
  EXPECT_FALSE(nil.objectsForKeys_notFoundMarker(NSArray{"a"}, nullptr));
  EXPECT_FALSE(nil.allKeys());
  EXPECT_FALSE(nil.allValues());
  EXPECT_FALSE(nil.allKeysForObject(NSString("a")));
  EXPECT_TRUE(nil.begin() == nil.end());
  EXPECT_FALSE(nil.keyEnumerator());
  EXPECT_FALSE(nil.objectEnumerator());
  nil.enumerateKeysAndObjectsUsingBlock([&](const id&, const id&, bool*) { called = true; });
  EXPECT_TRUE(nil.keysOfEntriesPassingTest([](const id&, const id&, bool*) { return true; }).empty());
  EXPECT_FALSE(nil.keysSortedByValueUsingSelector("compare:"));
  EXPECT_FALSE(nil.keysSortedByValueUsingComparator(nullptr));
  EXPECT_FALSE(nil.isEqualToDictionary(nil));
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_FALSE(nil.valueForKey("a"));
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.mutableCopy());
  EXPECT_FALSE(nil.description());
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(called);
  EXPECT_TRUE(NSDictionary::dictionaryWithDictionary(nil));
  EXPECT_EQ(NSDictionary::dictionaryWithObjects_forKeys(nullptr, nullptr).count(), 0u);
}

TEST(NSDictionaryTest, AnswersKeyValueAccess) {
  const id dictionary = NSDictionary{{"name", "n"}, {"@odd", 1}, {"inner", NSDictionary{{"x", 5}}}};
  EXPECT_EQ(text(dictionary.valueForKey("name")), "n");
  EXPECT_EQ(text(dictionary.valueForKey("none")), "nil");
  EXPECT_EQ(text(dictionary.valueForKey("@count")), "3");
  EXPECT_EQ(texts(dictionary.valueForKey("@allKeys").as<NSArray>()), "name @odd inner");
  EXPECT_EQ(text(dictionary.valueForKeyPath("inner.x")), "5");
  EXPECT_TRUE(raisedBy([&] { dictionary.valueForKey("@odd"); }).starts_with("NSUnknownKeyException"));
  EXPECT_TRUE(raisedBy([&] { dictionary.setValue_forKey(NSNumber(1), "name"); }).starts_with("NSUnknownKeyException"));
}

// ---- equality and copies ------------------------------------------------------------------------------------------

TEST(NSDictionaryTest, EqualDictionariesHaveEqualHashesWhateverTheirOrder) {
  const NSDictionary nested = {{"a", NSArray{1, NSDictionary{{"b", NSNull::null()}}}}};
  const struct {
    const char* what;
    id a, b;
    bool equal;
  } rows[] = {
      {"same", NSDictionary{{"a", 1}, {"b", 2}}, NSDictionary{{"a", 1}, {"b", 2}}, true},
      {"other order", NSDictionary{{"a", 1}, {"b", 2}}, NSDictionary{{"b", 2}, {"a", 1}}, true},
      {"mutable", NSDictionary{{"a", 1}}, NSMutableDictionary{{"a", 1.0}}, true},
      {"both empty", NSDictionary::dictionary(), NSMutableDictionary::dictionary(), true},
      {"nested", nested, NSDictionary{{"a", NSMutableArray{1, NSMutableDictionary{{"b", NSNull::null()}}}}}, true},
      {"other value", NSDictionary{{"a", 1}}, NSDictionary{{"a", 2}}, false},
      {"other key", NSDictionary{{"a", 1}}, NSDictionary{{"b", 1}}, false},
      {"more entries", NSDictionary{{"a", 1}}, NSDictionary{{"a", 1}, {"b", 1}}, false},
      {"values exchanged", NSDictionary{{"a", 1}, {"b", 2}}, NSDictionary{{"a", 2}, {"b", 1}}, false},
      {"null for nothing", NSDictionary{{"a", NSNull::null()}}, NSDictionary::dictionary(), false},
      {"an array", NSDictionary{{"a", 1}}, NSArray{"a", 1}, false},
      {"nil", NSDictionary::dictionary(), id(), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.a.isEqual(row.b), row.equal);
    EXPECT_EQ(row.b.isEqual(row.a), row.equal);
    EXPECT_EQ(objc_msgSend<bool>(row.a, "isEqual:", row.b), row.equal);
    EXPECT_EQ(row.a.as<NSDictionary>().isEqualToDictionary(row.b.as<NSDictionary>()), row.equal);
    if (row.equal) {
      EXPECT_EQ(row.a.hash(), row.b.hash());
    }
    EXPECT_EQ(row.a.hash(), objc_msgSend<std::uint64_t>(row.a, "hash"));
  }
}

TEST(NSDictionaryTest, CopiesShareEntriesOnly) {
  const NSDictionary dictionary = {{"a", 1}};
  EXPECT_TRUE(isIdentical(dictionary.copy(), dictionary));
  EXPECT_TRUE(isIdentical(id(dictionary).copy(), dictionary));
  const NSMutableDictionary changing = dictionary.mutableCopy();
  const NSMutableDictionary alias = changing;
  const NSDictionary frozen = changing.copy();
  const id generic = id(changing).copy();
  changing.setObject_forKey(2, "b");
  EXPECT_EQ(entries(dictionary), "a=1");
  EXPECT_EQ(entries(alias), "a=1 b=2");
  EXPECT_EQ(entries(frozen), "a=1");
  EXPECT_EQ(entries(generic.as<NSDictionary>()), "a=1");
  EXPECT_FALSE(frozen.is<NSMutableDictionary>());
  EXPECT_FALSE(generic.is<NSMutableDictionary>());
  EXPECT_TRUE(id(dictionary).mutableCopy().is<NSMutableDictionary>());
  EXPECT_FALSE(id(dictionary).as<NSMutableDictionary>());
  const NSMutableDictionary withGaps = {{"a", 1}, {"b", 2}, {"c", 3}};
  withGaps.removeObjectForKey("b");
  EXPECT_EQ(entries(withGaps.copy()), "a=1 c=3");
  EXPECT_EQ(withGaps.copy()["c"], NSNumber(3));
  EXPECT_EQ(entries(withGaps.mutableCopy()), "a=1 c=3");
}

TEST(NSDictionaryTest, AnswersMessages) {
  EXPECT_TRUE(objc_msgSend<id>(classOf<NSDictionary>(), "dictionary").is<NSDictionary>());
  const NSMutableDictionary made =
      id(adopt, class_createInstance(classOf<NSMutableDictionary>())).as<NSMutableDictionary>();
  objc_msgSend(made, "setObject:forKey:", NSNumber(1), NSString("a"));
  objc_msgSend(made, "setValue:forKey:", NSNumber(2), NSString("b"));
  EXPECT_EQ(objc_msgSend<NSUInteger>(made, "count"), 2u);
  EXPECT_EQ(texts(objc_msgSend<NSArray>(made, "allKeys")), "a b");
  objc_msgSend(made, "removeObjectForKey:", NSString("a"));
  EXPECT_EQ(entries(made), "b=2");
  EXPECT_EQ(class_getSuperclass(classOf<NSMutableDictionary>()), classOf<NSDictionary>());
  EXPECT_FALSE(id(NSDictionary::dictionary()).respondsToSelector("setObject:forKey:"));
}

TEST(NSDictionaryTest, ReleasesKeysAndValues) {
  ASSERT_EQ(Item::alive, 0);
  {
    NSDictionary dictionary = {{make<Item>(1), make<Item>(2)}};
    for (const auto& [key, value] : dictionary) {
      dictionary = nullptr;
      EXPECT_EQ(key.as<Item>()->value + value.as<Item>()->value, 3);
    }
  }
  EXPECT_EQ(Item::alive, 0);
}

}  // namespace
}  // namespace kvt::collection_test
