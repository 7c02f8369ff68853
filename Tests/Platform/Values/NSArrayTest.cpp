#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSEnumerator.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <set>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

// ---- making -------------------------------------------------------------------------------------------------------

TEST(NSArrayTest, BracesBoxWhatStandsInThem) {
  const NSNumber number = 7;
  const std::string words = "std text";
  const NSArray array = {1,
                         2.5,
                         "x",
                         u"y",
                         true,
                         'c',
                         2.5f,
                         8u,
                         INT64_MIN,
                         UINT64_MAX,
                         words,
                         std::string_view("view"),
                         number,
                         NSNull::null(),
                         NSArray{1, 2},
                         classOf<NSArray>()};
  const struct {
    id expected;
    const char* type;  // of numbers
  } rows[] = {{NSNumber(1), "i"},
              {NSNumber(2.5), "d"},
              {NSString("x"), nullptr},
              {NSString("y"), nullptr},
              {NSNumber(true), "c"},
              {NSNumber('c'), "c"},
              {NSNumber(2.5f), "f"},
              {NSNumber(8u), "I"},
              {NSNumber(INT64_MIN), "q"},
              {NSNumber(UINT64_MAX), "Q"},
              {NSString("std text"), nullptr},
              {NSString("view"), nullptr},
              {number, "i"},
              {NSNull::null(), nullptr},
              {NSArray{1, 2}, nullptr},
              {id(classOf<NSArray>()), nullptr}};
  ASSERT_EQ(array.count(), std::size(rows));
  for (NSUInteger i = 0; i < array.count(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(array[i], rows[i].expected);
    if (rows[i].type != nullptr) {
      EXPECT_STREQ(array[i].as<NSNumber>().objCType(), rows[i].type);
    }
  }
  EXPECT_TRUE(array[4].as<NSNumber>().isBool());
  EXPECT_TRUE(isIdentical(array[12], number));
}

TEST(NSArrayTest, EmptyBracesAreNilAndNotEmpty) {
  const NSArray nil = {};
  const NSArray empty = NSArray::array();
  EXPECT_FALSE(nil);
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty.count(), 0u);
  EXPECT_FALSE(nil == empty);
  EXPECT_FALSE(empty == nil);
}

TEST(NSArrayTest, BracesNeverCopy) {
  const NSArray inner = {1, 2};
  // Clang takes this form for a copy until version 20.
#if !defined(__clang__) || __clang_major__ >= 20
  const NSArray outer{inner};
  ASSERT_EQ(outer.count(), 1u);
  EXPECT_TRUE(isIdentical(outer[0], inner));
  const NSMutableArray changing = {1};
  const NSMutableArray around{changing};
  ASSERT_EQ(around.count(), 1u);
  EXPECT_TRUE(isIdentical(around[0], changing));
#endif
  const NSArray one = NSArray::arrayWithObject(inner);
  ASSERT_EQ(one.count(), 1u);
  EXPECT_TRUE(isIdentical(one[0], inner));
  const NSArray two = {inner, inner};
  EXPECT_EQ(two.count(), 2u);
  const NSArray mixed = {inner, 1};
  EXPECT_EQ(mixed.count(), 2u);
  const NSArray same(inner);
  EXPECT_TRUE(isIdentical(same, inner));
}

TEST(NSArrayTest, MakersRefuseNil) {
  const id nil;
  const id objects[] = {NSString("a"), nil};
  const std::string reason =
      "NSInvalidArgumentException: *** -[NSArray initWithObjects:count:]: attempt to insert nil object from objects[1]";
  EXPECT_EQ(raisedBy([&] { NSArray{1, nil}; }), reason);
  EXPECT_EQ(raisedBy([&] { NSArray{1, nullptr}; }), reason);
  EXPECT_EQ(raisedBy([&] { NSArray{1, static_cast<const char*>(nullptr)}; }), reason);
  EXPECT_EQ(raisedBy([&] { NSArray{1, "\xFF"}; }), reason);  // no UTF-8
  EXPECT_EQ(raisedBy([&] { NSMutableArray{1, nil}; }), reason);
  EXPECT_EQ(raisedBy([&] { NSArray::arrayWithObjects_count(objects, 2); }), reason);
  EXPECT_EQ(raisedBy([&] { NSArray(std::vector<id>(objects, objects + 2)); }), reason);
  EXPECT_NE(raisedBy([&] { NSArray::arrayWithObject(nil); }), "");
  EXPECT_NE(raisedBy([&] { NSArray a = {nullptr}; }), "");
}

TEST(NSArrayTest, ArgumentListsEndAtTheFirstNil) {
  EXPECT_EQ(texts(NSArray::arrayWithObjects("a", 2, nullptr)), "a 2");
  EXPECT_EQ(texts(NSArray::arrayWithObjects("a", id(), "c")), "a");
  EXPECT_EQ(texts(NSArray::arrayWithObjects("a", "c")), "a c");
  EXPECT_EQ(NSArray::arrayWithObjects().count(), 0u);
  const NSMutableArray changing = NSMutableArray::arrayWithObjects(1, 2, nullptr);
  changing.addObject(3);
  EXPECT_EQ(texts(changing), "1 2 3");
}

TEST(NSArrayTest, TakesAndGivesStandardContainers) {
  EXPECT_EQ(texts(NSArray(std::vector<int>{3, 1, 2})), "3 1 2");
  EXPECT_EQ(texts(NSArray(std::vector<std::string>{"a", "b"})), "a b");
  EXPECT_EQ(texts(NSArray(std::vector<NSString>{"a", "b"})), "a b");
  EXPECT_EQ(texts(NSArray::arrayWithRange(std::set<int>{3, 1, 2})), "1 2 3");
  EXPECT_EQ(texts(NSArray::arrayWithRange(std::list<const char*>{"x", "y"})), "x y");
  EXPECT_TRUE(NSArray(std::vector<bool>{true})[0].as<NSNumber>().isBool());
  EXPECT_EQ(NSArray(std::vector<int>{}).count(), 0u);

  const NSArray mixed = {1, "two", 3.5, NSNull::null()};
  EXPECT_EQ(mixed.toVector<int>(), (std::vector<int>{1, 0, 3, 0}));
  EXPECT_EQ(mixed.toVector<std::uint64_t>(), (std::vector<std::uint64_t>{1, 0, 3, 0}));
  EXPECT_EQ(mixed.toVector<double>(), (std::vector<double>{1, 0, 3.5, 0}));
  EXPECT_EQ(mixed.toVector<bool>(), (std::vector<bool>{true, false, true, false}));
  EXPECT_EQ(mixed.toVector<std::string>(), (std::vector<std::string>{"", "two", "", ""}));
  EXPECT_EQ(mixed.toVector<std::u16string>(), (std::vector<std::u16string>{u"", u"two", u"", u""}));
  const std::vector<NSString> strings = mixed.toVector<NSString>();
  ASSERT_EQ(strings.size(), 4u);
  EXPECT_FALSE(strings[0]);
  EXPECT_EQ(strings[1], "two");
  EXPECT_EQ(mixed.toVector().size(), 4u);
  EXPECT_TRUE(isIdentical(mixed.toVector()[3], NSNull::null()));
  EXPECT_TRUE(NSArray().toVector<int>().empty());
  EXPECT_EQ(std::vector<id>(mixed.begin(), mixed.end()).size(), 4u);
}

// ---- reading ------------------------------------------------------------------------------------------------------

TEST(NSArrayTest, AnswersByIndexAndRaisesBeyondTheEnd) {
  const NSArray array = {"a", "b", "c"};
  for (const NSArray& each : {array, static_cast<NSArray>(array.mutableCopy())}) {
    EXPECT_EQ(each.count(), 3u);
    EXPECT_EQ(text(each.objectAtIndex(0)), "a");
    EXPECT_EQ(text(each[2]), "c");
    EXPECT_EQ(text(each.objectAtIndexedSubscript(1)), "b");
    EXPECT_EQ(text(each.firstObject()), "a");
    EXPECT_EQ(text(each.lastObject()), "c");
    EXPECT_EQ(raisedBy([&] { each.objectAtIndex(3); }),
              "NSRangeException: *** -[NSArray objectAtIndex:]: index 3 beyond bounds [0 .. 2]");
    EXPECT_NE(raisedBy([&] { each[UINT64_MAX]; }), "");
  }
  EXPECT_FALSE(NSArray::array().firstObject());
  EXPECT_FALSE(NSArray::array().lastObject());
  EXPECT_EQ(raisedBy([&] { NSArray::array()[0]; }),
            "NSRangeException: *** -[NSArray objectAtIndex:]: index 0 beyond bounds for empty array");
}

TEST(NSArrayTest, RangesAreChecked) {
  const NSArray array = {"a", "b", "a"};
  const struct {
    NSRange range;
    bool raises;
    const char* part;
    NSUInteger indexOfA;
  } rows[] = {
      {{0, 3}, false, "a b a", 0},     {{1, 2}, false, "b a", 2},       {{1, 1}, false, "b", NSNotFound},
      {{3, 0}, false, "", NSNotFound}, {{0, 0}, false, "", NSNotFound}, {{0, 4}, true, "", 0},
      {{4, 0}, true, "", 0},           {{2, UINT64_MAX}, true, "", 0},  {{UINT64_MAX, 2}, true, "", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.range.location << ", " << row.range.length);
    const NSString a = "a";
    const auto part = [&] { EXPECT_EQ(texts(array.subarrayWithRange(row.range)), row.part); };
    const auto index = [&] { EXPECT_EQ(array.indexOfObject_inRange(a, row.range), row.indexOfA); };
    const auto identical = [&] { EXPECT_EQ(array.indexOfObjectIdenticalTo_inRange(a, row.range), NSNotFound); };
    EXPECT_EQ(raisedBy(part).starts_with("NSRangeException: *** -[NSArray subarrayWithRange:]: range {"), row.raises);
    EXPECT_EQ(raisedBy(index).starts_with("NSRangeException"), row.raises);
    EXPECT_EQ(raisedBy(identical).starts_with("NSRangeException"), row.raises);
  }
}

TEST(NSArrayTest, NilAnswersNothing) {
  const NSArray nil;
  bool called = false;
  EXPECT_EQ(nil.count(), 0u);
  EXPECT_FALSE(nil.objectAtIndex(5));
  EXPECT_FALSE(nil[0]);
  EXPECT_FALSE(nil.firstObject());
  EXPECT_FALSE(nil.lastObject());
  EXPECT_TRUE(nil.begin() == nil.end());
  EXPECT_FALSE(nil.objectEnumerator());
  EXPECT_FALSE(nil.reverseObjectEnumerator());
  nil.enumerateObjectsUsingBlock([&](const id&, NSUInteger, bool*) { called = true; });
  nil.makeObjectsPerformSelector("self");
  EXPECT_FALSE(nil.containsObject(NSString("a")));
  EXPECT_EQ(nil.indexOfObject(NSString("a")), 0u);
  EXPECT_EQ(nil.indexOfObject_inRange(NSString("a"), {5, 5}), 0u);
  EXPECT_EQ(nil.indexOfObjectIdenticalTo(NSString("a")), 0u);
  EXPECT_EQ(nil.indexOfObjectPassingTest([](const id&, NSUInteger, bool*) { return true; }), 0u);
  EXPECT_TRUE(nil.indexesOfObjectsPassingTest([](const id&, NSUInteger, bool*) { return true; }).empty());
  EXPECT_FALSE(nil.firstObjectCommonWithArray(NSArray{1}));
  EXPECT_FALSE(nil.isEqualToArray(nil));
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_FALSE(nil.arrayByAddingObject(1));
  EXPECT_FALSE(nil.arrayByAddingObjectsFromArray(NSArray{1}));
  EXPECT_FALSE(nil.subarrayWithRange({1, 1}));
  EXPECT_FALSE(nil.filteredArrayUsingBlock([](const id&) { return true; }));
  EXPECT_FALSE(nil.arrayByMappingUsingBlock([](const id& x) { return x; }));
  EXPECT_FALSE(nil.componentsJoinedByString(","));
  EXPECT_FALSE(nil.sortedArrayUsingComparator([](const id&, const id&) { return NSOrderedSame; }));
  EXPECT_FALSE(nil.sortedArrayUsingSelector("compare:"));
  EXPECT_FALSE(nil.valueForKey("name"));
  nil.setValue_forKey(NSString("a"), "name");
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.mutableCopy());
  EXPECT_FALSE(nil.description());
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(called);
  EXPECT_EQ(NSArray::arrayWithArray(nil).count(), 0u);
  EXPECT_TRUE(NSArray::arrayWithArray(nil));
}

// ---- walking ------------------------------------------------------------------------------------------------------

TEST(NSArrayTest, WalksInOrder) {
  const NSArray array = {"a", "b", "c"};
  EXPECT_EQ(texts(array), "a b c");
  EXPECT_EQ(texts(array.mutableCopy()), "a b c");
  EXPECT_EQ(texts(array.objectEnumerator()), "a b c");
  EXPECT_EQ(texts(array.reverseObjectEnumerator()), "c b a");
  EXPECT_EQ(texts(NSArray::array().reverseObjectEnumerator()), "");
  std::string walked;
  array.enumerateObjectsUsingBlock([&](const id& object, NSUInteger index, bool* stop) {
    walked += text(object) + std::to_string(index);
    *stop = index == 1;
  });
  EXPECT_EQ(walked, "a0b1");
  EXPECT_EQ(std::count_if(array.begin(), array.end(), [](const id& x) { return x == NSString("b"); }), 1);
}

TEST(NSArrayTest, EnumeratorsAreUsedUp) {
  const NSArray array = {1, 2, 3};
  const NSEnumerator forward = array.objectEnumerator();
  EXPECT_EQ(text(forward.nextObject()), "1");
  EXPECT_EQ(texts(forward.allObjects()), "2 3");
  EXPECT_FALSE(forward.nextObject());
  EXPECT_FALSE(forward.nextObject());
  EXPECT_EQ(forward.allObjects().count(), 0u);
  int next = 0;
  const NSEnumerator counted =
      NSEnumerator::enumeratorWithBlock([&next]() -> id { return next < 3 ? NSNumber(next++) : id(); });
  EXPECT_EQ(texts(counted), "0 1 2");
  EXPECT_EQ(text(objc_msgSend<id>(array.objectEnumerator(), "nextObject")), "1");
  EXPECT_FALSE(NSEnumerator().nextObject());
  EXPECT_FALSE(NSEnumerator().allObjects());
  EXPECT_EQ(texts(NSEnumerator()), "");
}

TEST(NSArrayTest, AWalkKeepsItsArrayAlive) {
  NSArray array = {make<Item>(1), make<Item>(2)};
  NSMutableArray changing = {make<Item>(3), make<Item>(4)};
  int seen = 0;
  for (const id& each : array) {
    array = nullptr;
    seen += static_cast<int>(each.as<Item>()->value);
  }
  for (const id& each : changing) {
    changing = nullptr;
    seen += static_cast<int>(each.as<Item>()->value);
  }
  EXPECT_EQ(seen, 10);
  EXPECT_EQ(Item::alive, 0);
}

TEST(NSArrayTest, SendsMessagesToItsElements) {
  const Ref<Item> a = make<Item>(1), b = make<Item>(2);
  const NSArray array = {a, b};
  array.makeObjectsPerformSelector_withObject("setName:", NSString("n"));
  EXPECT_EQ(a->name, "n");
  EXPECT_EQ(b->name, "n");
  array.makeObjectsPerformSelector("self");
  EXPECT_NE(raisedBy([&] { array.makeObjectsPerformSelector("noSuchSelector"); }), "");
}

// ---- searching ----------------------------------------------------------------------------------------------------

TEST(NSArrayTest, FindsByEqualityOrIdentity) {
  const NSString key = "b";
  const NSArray array = {"a", key, 3, 3.0, "b", make<Item>(7), NSNull::null(), NSArray{1, 2}};
  const struct {
    id object;
    NSUInteger index;
  } rows[] = {{NSString("b"), 1},          {NSMutableString::stringWithString("a"), 0},
              {NSNumber(3.0), 2},          {make<Item>(7), 5},
              {NSNull::null(), 6},         {NSArray{1, 2}, 7},
              {NSMutableArray{1.0, 2}, 7}, {NSArray{2, 1}, NSNotFound},
              {NSString("c"), NSNotFound}, {NSNumber(4), NSNotFound},
              {id(), NSNotFound}};
  for (const auto& row : rows) {
    SCOPED_TRACE(text(row.object));
    EXPECT_EQ(array.indexOfObject(row.object), row.index);
    EXPECT_EQ(array.containsObject(row.object), row.index != NSNotFound);
  }
  EXPECT_TRUE(array.containsObject("a"));
  EXPECT_EQ(array.indexOfObject(3), 2u);
  EXPECT_FALSE(array.containsObject(nullptr));
  EXPECT_EQ(array.indexOfObjectIdenticalTo(key), 1u);
  EXPECT_EQ(array.indexOfObjectIdenticalTo(NSMutableString::stringWithString("b")), NSNotFound);
  EXPECT_EQ(array.indexOfObjectIdenticalTo(id()), NSNotFound);
}

TEST(NSArrayTest, FindsByTest) {
  const NSArray array = {1, 2, 3, 4, 5};
  const auto isEven = [](const id& x, NSUInteger, bool*) { return x.as<NSNumber>().intValue() % 2 == 0; };
  EXPECT_EQ(array.indexOfObjectPassingTest(isEven), 1u);
  EXPECT_EQ(array.indexesOfObjectsPassingTest(isEven), (std::vector<NSUInteger>{1, 3}));
  const auto stopsAtThree = [](const id& x, NSUInteger, bool* stop) {
    *stop = x.as<NSNumber>().intValue() == 3;
    return x.as<NSNumber>().intValue() >= 3;
  };
  EXPECT_EQ(array.indexesOfObjectsPassingTest(stopsAtThree), (std::vector<NSUInteger>{2}));
  EXPECT_EQ(array.indexOfObjectPassingTest([](const id&, NSUInteger, bool* stop) { return !(*stop = true); }),
            NSNotFound);
  EXPECT_EQ(text(array.firstObjectCommonWithArray(NSArray{9, 4, 2})), "2");
  EXPECT_FALSE(array.firstObjectCommonWithArray(NSArray{9}));
  EXPECT_FALSE(array.firstObjectCommonWithArray(NSArray()));
}

TEST(NSArrayTest, SurvivesAnEqualityThatChangesIt) {
  const NSMutableArray array = {make<Item>(1), make<Item>(2), make<Item>(3)};
  const Ref<Item> wanted = make<Item>(9);
  wanted->onComparison = [&array] { array.removeAllObjects(); };
  EXPECT_EQ(array.indexOfObject(wanted), NSNotFound);
  EXPECT_EQ(array.count(), 0u);
}

// ---- new arrays ---------------------------------------------------------------------------------------------------

TEST(NSArrayTest, MakesArraysFromItself) {
  const NSArray array = {3, 1, 2};
  EXPECT_EQ(texts(array.arrayByAddingObject("x")), "3 1 2 x");
  EXPECT_EQ(raisedBy([&] { array.arrayByAddingObject(nullptr); }),
            "NSInvalidArgumentException: *** -[NSArray arrayByAddingObject:]: object cannot be nil");
  EXPECT_EQ(texts(array.arrayByAddingObjectsFromArray(array)), "3 1 2 3 1 2");
  EXPECT_EQ(texts(array.arrayByAddingObjectsFromArray(nullptr)), "3 1 2");
  EXPECT_EQ(texts(array.filteredArrayUsingBlock([](const id& x) { return x.as<NSNumber>().intValue() > 1; })), "3 2");
  EXPECT_EQ(texts(array.arrayByMappingUsingBlock(
                [](const id& x) -> id { return NSNumber(x.as<NSNumber>().intValue() * 2); })),
            "6 2 4");
  EXPECT_NE(raisedBy([&] { array.arrayByMappingUsingBlock([](const id&) { return id(); }); }), "");
  EXPECT_EQ(texts(array), "3 1 2");
}

TEST(NSArrayTest, JoinsDescriptions) {
  const char16_t lone[] = {u'h', 0xD800, 0};
  EXPECT_EQ((NSArray{1, "b", NSNull::null()}).componentsJoinedByString(", "), "1, b, <null>");
  EXPECT_EQ((NSArray{"a", "b"}).componentsJoinedByString(nullptr), "ab");
  EXPECT_EQ((NSArray{"a"}).componentsJoinedByString("-"), "a");
  EXPECT_EQ(NSArray::array().componentsJoinedByString("-"), "");
  EXPECT_EQ((NSArray{"é", "😀"}).componentsJoinedByString("·"), "é·😀");
  EXPECT_EQ((NSArray{"é", lone, "b"}).componentsJoinedByString("-").u16str(), std::u16string(u"é-h") + lone[1] + u"-b");
}

TEST(NSArrayTest, SortsStably) {
  std::vector<id> items;
  for (int64_t i = 0; i < 1000; ++i) items.push_back(make<Item>(i * 7919 % 1000));
  const NSArray shuffled(items);
  const NSArray byTens = shuffled.sortedArrayUsingComparator([](const id& a, const id& b) {
    const int64_t x = a.as<Item>()->value / 10, y = b.as<Item>()->value / 10;
    return x < y ? NSOrderedAscending : x > y ? NSOrderedDescending : NSOrderedSame;
  });
  auto expected = items;
  std::stable_sort(expected.begin(), expected.end(),
                   [](const id& a, const id& b) { return a.as<Item>()->value / 10 < b.as<Item>()->value / 10; });
  ASSERT_EQ(byTens.count(), expected.size());
  for (NSUInteger i = 0; i < byTens.count(); ++i) ASSERT_TRUE(isIdentical(byTens[i], expected[i])) << i;

  const NSArray sorted = shuffled.sortedArrayUsingSelector("compare:");
  for (NSUInteger i = 0; i < sorted.count(); ++i) ASSERT_EQ(sorted[i].as<Item>()->value, static_cast<int64_t>(i));
  EXPECT_TRUE(isIdentical(shuffled[1], items[1]));
  EXPECT_EQ(texts((NSArray{"b", "c", "a"}).sortedArrayUsingSelector("compare:")), "a b c");
  EXPECT_EQ(texts(NSArray::array().sortedArrayUsingSelector("compare:")), "");
}

TEST(NSArrayTest, SortingSurvivesAnyComparison) {
  std::vector<int> numbers(500);
  for (int i = 0; i < 500; ++i) numbers[static_cast<std::size_t>(i)] = i;
  const NSArray array(numbers);
  unsigned state = 1;
  const struct {
    const char* what;
    NSComparator comparator;
  } rows[] = {
      {"random",
       [&state](const id&, const id&) {
         return static_cast<NSComparisonResult>(static_cast<int>((state = state * 1664525 + 1013904223) >> 30) % 3 - 1);
       }},
      {"always less", [](const id&, const id&) { return NSOrderedAscending; }},
      {"always more", [](const id&, const id&) { return NSOrderedDescending; }},
      {"nil", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<int> sorted = array.sortedArrayUsingComparator(row.comparator).toVector<int>();
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, numbers);
  }
}

// ---- key-value access, copies, messages ---------------------------------------------------------------------------

TEST(NSArrayTest, CollectsValuesForKeys) {
  const Ref<Item> a = make<Item>(1), b = make<Item>(2);
  a->name = "n";
  const NSArray array = {a, b};
  const id untyped = array;
  EXPECT_EQ(texts(untyped.valueForKey("value").as<NSArray>()), "1 2");
  EXPECT_EQ(texts(array.valueForKey("name").as<NSArray>()), "n <null>");
  EXPECT_EQ(text(untyped.valueForKey("@count")), "2");
  EXPECT_EQ(text(untyped.valueForKeyPath("value.@count")), "2");
  EXPECT_TRUE(raisedBy([&] { array.valueForKey("nothing"); }).starts_with("NSUnknownKeyException"));
  EXPECT_TRUE(raisedBy([&] { array.valueForKey("@nothing"); }).starts_with("NSUnknownKeyException"));
  untyped.setValue_forKey(NSNumber(5), "value");
  EXPECT_EQ(a->value + b->value, 10);
  EXPECT_EQ(NSArray::array().valueForKey("nothing").as<NSArray>().count(), 0u);
}

TEST(NSArrayTest, CopiesShareElementsOnly) {
  const NSArray array = {"a", "b"};
  EXPECT_TRUE(isIdentical(array.copy(), array));
  EXPECT_TRUE(isIdentical(id(array).copy(), array));
  EXPECT_TRUE(isIdentical(NSArray::arrayWithArray(array), array));
  const NSMutableArray changing = array.mutableCopy();
  EXPECT_FALSE(isIdentical(changing, array));
  EXPECT_TRUE(isIdentical(changing[0], array[0]));
  const NSMutableArray alias = changing;
  const NSArray frozen = changing.copy();
  const id generic = id(changing).copy();
  changing.addObject("c");
  EXPECT_EQ(texts(array), "a b");
  EXPECT_EQ(texts(alias), "a b c");
  EXPECT_EQ(texts(frozen), "a b");
  EXPECT_EQ(texts(generic.as<NSArray>()), "a b");
  EXPECT_FALSE(frozen.is<NSMutableArray>());
  EXPECT_TRUE(id(changing).mutableCopy().is<NSMutableArray>());
  EXPECT_TRUE(changing.is<NSArray>());
}

TEST(NSArrayTest, EqualArraysHaveEqualHashesWhateverTheirMutability) {
  const struct {
    const char* what;
    id a, b;
    bool equal;
  } rows[] = {
      {"same elements", NSArray{1, "b"}, NSArray{1, "b"}, true},
      {"mutable", NSArray{1, "b"}, NSMutableArray{1, "b"}, true},
      {"numbers of other types", NSArray{1}, NSArray{1.0}, true},
      {"both empty", NSArray::array(), NSMutableArray::array(), true},
      {"nested", NSArray{0, NSArray{0, NSArray{1}}}, NSArray{0, NSMutableArray{0, NSArray{1}}}, true},
      {"other order", NSArray{1, 2}, NSArray{2, 1}, false},
      {"shorter", NSArray{1, 2}, NSArray{1}, false},
      {"an empty one", NSArray{1}, NSArray::array(), false},
      {"nested differently", NSArray{0, NSArray{0, NSArray{1}}}, NSArray{0, NSArray{0, NSArray{2}}}, false},
      {"a set", NSArray{1}, NSSet{1}, false},
      {"text", NSArray{"a"}, NSString("a"), false},
      {"nil", NSArray{"a"}, id(), false},
      {"null", NSArray::array(), NSNull::null(), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.a.isEqual(row.b), row.equal);
    EXPECT_EQ(row.b.isEqual(row.a), row.equal);
    EXPECT_EQ(objc_msgSend<bool>(row.a, "isEqual:", row.b), row.equal);
    EXPECT_EQ(row.a.as<NSArray>().isEqualToArray(row.b.as<NSArray>()), row.equal);
    if (row.equal) {
      EXPECT_EQ(row.a.hash(), row.b.hash());
    }
    EXPECT_EQ(row.a.hash(), objc_msgSend<std::uint64_t>(row.a, "hash"));
  }
}

TEST(NSArrayTest, AnswersMessages) {
  const NSArray array = {"a", "b"};
  EXPECT_EQ(objc_msgSend<NSUInteger>(array, "count"), 2u);
  EXPECT_EQ(text(objc_msgSend<id>(array, "objectAtIndex:", NSUInteger{1})), "b");
  EXPECT_EQ(texts(objc_msgSend<NSArray>(array, "arrayByAddingObject:", NSString("c"))), "a b c");
  EXPECT_TRUE(objc_msgSend<id>(classOf<NSArray>(), "array").is<NSArray>());
  EXPECT_TRUE(objc_msgSend<id>(classOf<NSMutableArray>(), "array").is<NSMutableArray>());
  EXPECT_TRUE(objc_msgSend<id>(classOf<NSMutableArray>(), "arrayWithObject:", NSString("c")).is<NSMutableArray>());
  const NSMutableArray made = id(adopt, class_createInstance(classOf<NSMutableArray>())).as<NSMutableArray>();
  objc_msgSend(made, "addObject:", NSString("x"));
  EXPECT_EQ(texts(made), "x");
  EXPECT_EQ(id(adopt, class_createInstance(classOf<NSArray>())).as<NSArray>().count(), 0u);
  EXPECT_EQ(class_getSuperclass(classOf<NSMutableArray>()), classOf<NSArray>());
  EXPECT_FALSE(array.respondsToSelector("addObject:"));
  EXPECT_TRUE(array.respondsToSelector("copyWithZone:"));
  EXPECT_EQ(objc_getClass("NSMutableArray"), classOf<NSMutableArray>());
}

TEST(NSArrayTest, AMutableHandleHoldsNoImmutableArray) {
  const id array = NSArray{1};
  EXPECT_FALSE(array.as<NSMutableArray>());
  EXPECT_TRUE(array.as<NSArray>());
  EXPECT_FALSE(id(NSSet{1}).as<NSArray>());
  EXPECT_FALSE(id().as<NSArray>());
}

TEST(NSArrayTest, ReleasesItsElements) {
  ASSERT_EQ(Item::alive, 0);
  {
    const NSArray array = {make<Item>(1), make<Item>(2)};
    const NSArray part = array.subarrayWithRange({1, 1});
    EXPECT_EQ(Item::alive, 2);
  }
  EXPECT_EQ(Item::alive, 0);
  EXPECT_NE(raisedBy([] { NSArray{make<Item>(1), nullptr}; }), "");
  EXPECT_EQ(Item::alive, 0);
}

}  // namespace
}  // namespace kvt::collection_test
