#include <KVTPlatform/Values/NSEnumerator.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <functional>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

TEST(NSSetTest, KeepsTheFirstOfEqualObjects) {
  const NSSet set = {"b", 1, "a", 1.0, "b", NSNull::null()};
  EXPECT_EQ(texts(set), "b 1 a <null>");
  EXPECT_STREQ(set.member(NSNumber(1.0)).as<NSNumber>().objCType(), "i");
  EXPECT_EQ(texts(NSSet::setWithArray(NSArray{2, 1, 2})), "2 1");
  EXPECT_EQ(texts(NSSet::setWithObjects(1, 2, nullptr)), "1 2");
  EXPECT_EQ(texts(NSSet::setWithObject("x")), "x");
  EXPECT_EQ(texts(NSSet(std::vector<int>{3, 3, 4})), "3 4");
  EXPECT_EQ((NSSet{1, 2}).toVector<int>(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(NSSet::set());
  EXPECT_EQ(NSSet::set().count(), 0u);
  EXPECT_EQ(NSSet::setWithArray(nullptr).count(), 0u);
  EXPECT_TRUE(NSSet::setWithSet(nullptr));
  const NSSet nil = {};
  EXPECT_FALSE(nil);
  EXPECT_EQ(
      raisedBy([] {
        NSSet{1, nullptr};
      }),
      "NSInvalidArgumentException: *** -[NSSet initWithObjects:count:]: attempt to insert nil object from objects[1]");
#if !defined(__clang__) || __clang_major__ >= 20
  const NSSet around{set};
  ASSERT_EQ(around.count(), 1u);
  EXPECT_TRUE(isIdentical(around.anyObject(), set));
#endif
}

TEST(NSSetTest, FindsMembers) {
  for (int filler : {0, 100}) {
    const NSMutableSet set = {"a", 3, NSArray{1}, make<Item>(7)};
    for (int i = 0; i < filler; ++i) set.addObject("filler" + std::to_string(i));
    for (const NSSet& each : {static_cast<NSSet>(set), set.copy()}) {
      EXPECT_TRUE(each.containsObject(NSMutableString::stringWithString("a")));
      EXPECT_TRUE(each.containsObject(NSNumber(3.0)));
      EXPECT_TRUE(each.containsObject("a"));
      EXPECT_EQ(text(each.member(3.0)), "3");
      EXPECT_TRUE(each.containsObject(NSMutableArray{1}));
      EXPECT_TRUE(each.containsObject(make<Item>(7)));
      EXPECT_FALSE(each.containsObject(NSNumber(4)));
      EXPECT_FALSE(each.containsObject(nullptr));
      EXPECT_FALSE(each.member(nullptr));
      EXPECT_FALSE(each.member(NSString("b")));
      EXPECT_EQ(text(each.anyObject()), "a");
      EXPECT_EQ(each.allObjects().count(), 4u + static_cast<NSUInteger>(filler));
    }
  }
  EXPECT_FALSE(NSSet::set().anyObject());
}

TEST(NSSetTest, NilAnswersNothing) {
  const NSSet nil;
  const NSMutableSet changing;
  bool called = false;
  EXPECT_EQ(nil.count(), 0u);
  EXPECT_FALSE(nil.member(NSString("a")));
  EXPECT_FALSE(nil.containsObject(NSString("a")));
  EXPECT_FALSE(nil.anyObject());
  EXPECT_FALSE(nil.allObjects());
  EXPECT_TRUE(nil.begin() == nil.end());
  EXPECT_FALSE(nil.objectEnumerator());
  nil.enumerateObjectsUsingBlock([&](const id&, bool*) { called = true; });
  nil.makeObjectsPerformSelector("self");
  EXPECT_FALSE(nil.objectsPassingTest([](const id&, bool*) { return true; }));
  EXPECT_FALSE(nil.filteredSetUsingBlock([](const id&) { return true; }));
  EXPECT_FALSE(nil.isSubsetOfSet(NSSet{1}));
  EXPECT_FALSE(nil.intersectsSet(NSSet{1}));
  EXPECT_FALSE(nil.isEqualToSet(nil));
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_FALSE(nil.setByAddingObject(1));
  EXPECT_FALSE(nil.setByAddingObjectsFromSet(NSSet{1}));
  EXPECT_FALSE(nil.setByAddingObjectsFromArray(NSArray{1}));
  EXPECT_FALSE(nil.valueForKey("a"));
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.mutableCopy());
  EXPECT_FALSE(nil.description());
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_TRUE(nil.toVector<int>().empty());
  changing.addObject(1);
  changing.addObject(nullptr);
  changing.addObjectsFromArray(NSArray{1});
  changing.removeObject(1);
  changing.removeAllObjects();
  changing.unionSet(NSSet{1});
  changing.minusSet(NSSet{1});
  changing.intersectSet(NSSet{1});
  changing.setSet(NSSet{1});
  changing.filterUsingBlock([](const id&) { return true; });
  EXPECT_FALSE(changing);
  EXPECT_FALSE(called);
}

TEST(NSSetTest, ComparesSets) {
  const struct {
    const char* what;
    NSSet a, b;
    bool subset, intersects, equal;
  } rows[] = {
      {"equal", {1, 2}, {2, 1}, true, true, true},
      {"mutable", {1, 2}, NSMutableSet{2.0, 1}, true, true, true},
      {"subset", {1}, {2, 1}, true, true, false},
      {"superset", {1, 2}, {1}, false, true, false},
      {"overlapping", {1, 2}, {2, 3}, false, true, false},
      {"disjoint", {1}, {2}, false, false, false},
      {"empty in one", NSSet::set(), {1}, true, false, false},
      {"both empty", NSSet::set(), NSMutableSet::set(), true, false, true},
      {"empty and nil", NSSet::set(), nullptr, true, false, false},
      {"one and nil", {1}, nullptr, false, false, false},
      {"nested", {NSSet{1}, NSSet{2}}, {NSSet{2}, NSMutableSet{1}}, true, true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.a.isSubsetOfSet(row.b), row.subset);
    EXPECT_EQ(row.a.intersectsSet(row.b), row.intersects);
    EXPECT_EQ(row.b.intersectsSet(row.a), row.intersects);
    EXPECT_EQ(row.a.isEqualToSet(row.b), row.equal);
    EXPECT_EQ(row.a.isEqual(row.b), row.equal);
    EXPECT_EQ(objc_msgSend<bool>(row.a, "isEqual:", row.b), row.equal);
    if (row.equal) {
      EXPECT_EQ(row.a.hash(), row.b.hash());
    }
  }
  EXPECT_FALSE((NSSet{1}).isEqual(NSArray{1}));
}

TEST(NSSetTest, MakesSetsFromItself) {
  const NSSet set = {1, 2, 3};
  EXPECT_EQ(texts(set.setByAddingObject(4)), "1 2 3 4");
  EXPECT_EQ(texts(set.setByAddingObject(2)), "1 2 3");
  EXPECT_NE(raisedBy([&] { set.setByAddingObject(nullptr); }), "");
  EXPECT_EQ(texts(set.setByAddingObjectsFromSet(NSSet{5, 1})), "1 2 3 5");
  EXPECT_EQ(texts(set.setByAddingObjectsFromSet(nullptr)), "1 2 3");
  EXPECT_EQ(texts(set.setByAddingObjectsFromArray(NSArray{9, 9, 8})), "1 2 3 9 8");
  EXPECT_EQ(texts(set.filteredSetUsingBlock([](const id& x) { return x != NSNumber(2); })), "1 3");
  EXPECT_EQ(texts(set.objectsPassingTest([](const id&, bool* stop) { return *stop = true; })), "1");
  EXPECT_EQ(texts(set.objectEnumerator()), "1 2 3");
  std::string walked;
  set.enumerateObjectsUsingBlock([&](const id& x, bool* stop) {
    walked += text(x);
    *stop = x == NSNumber(2);
  });
  EXPECT_EQ(walked, "12");
  EXPECT_EQ(texts(set), "1 2 3");
  const Ref<Item> a = make<Item>(1), b = make<Item>(1);
  b->value = 1;
  a->name = "n";
  const id items = NSSet{a, make<Item>(2)};
  EXPECT_EQ(texts(items.valueForKey("name").as<NSSet>()), "n");
  EXPECT_EQ(text(items.valueForKey("@count")), "2");
}

using S = const NSMutableSet&;

TEST(NSSetTest, ChangesInPlace) {
  const struct {
    const char* what;
    std::function<void(S)> change;
    const char* result;
  } rows[] = {
      {"add",
       [](S s) {
         s.addObject("x");
         s.addObject("a");
       },
       "a b c x"},
      {"add all",
       [](S s) {
         s.addObjectsFromArray(NSArray{"x", "x", "b"});
       },
       "a b c x"},
      {"remove",
       [](S s) {
         s.removeObject("b");
         s.removeObject("x");
         s.removeObject(nullptr);
       },
       "a c"},
      {"remove its own element", [](S s) { s.removeObject(s.anyObject()); }, "b c"},
      {"remove all", [](S s) { s.removeAllObjects(); }, ""},
      {"use again",
       [](S s) {
         s.removeAllObjects();
         s.addObject("z");
         s.addObject("a");
       },
       "z a"},
      {"union",
       [](S s) {
         s.unionSet(NSSet{"x", "a"});
         s.unionSet(nullptr);
         s.unionSet(s);
       },
       "a b c x"},
      {"minus",
       [](S s) {
         s.minusSet(NSSet{"x", "a"});
         s.minusSet(nullptr);
       },
       "b c"},
      {"minus itself", [](S s) { s.minusSet(s); }, ""},
      {"intersect",
       [](S s) {
         s.intersectSet(NSSet{"c", "a", "x"});
         s.intersectSet(s);
       },
       "a c"},
      {"intersect with nil", [](S s) { s.intersectSet(nullptr); }, ""},
      {"set",
       [](S s) {
         s.setSet(NSSet{"x"});
         s.setSet(s);
       },
       "x"},
      {"set nil", [](S s) { s.setSet(nullptr); }, ""},
      {"filter", [](S s) { s.filterUsingBlock([](const id& x) { return x == NSString("b"); }); }, "b"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSMutableSet set = {"a", "b", "c"};
    row.change(set);
    EXPECT_EQ(texts(set), row.result);
    row.change(NSMutableSet());
  }
  EXPECT_EQ(raisedBy([] { NSMutableSet::set().addObject(nullptr); }),
            "NSInvalidArgumentException: *** -[NSMutableSet addObject:]: object cannot be nil");
}

TEST(NSSetTest, NoticesChangesDuringAWalk) {
  const NSMutableSet set = {1, 2, 3};
  const std::string raised = raisedBy([&] {
    for (const id& each : set) set.removeObject(each);
  });
  EXPECT_TRUE(raised.starts_with("NSGenericException: *** Collection <NSMutableSet: 0x")) << raised;
  EXPECT_EQ(texts(set), "2 3");
  EXPECT_NE(raisedBy([&] {
              set.filterUsingBlock([&](const id&) {
                set.removeAllObjects();
                return true;
              });
            }),
            "");
}

TEST(NSSetTest, CopiesShareElementsOnly) {
  const NSSet set = {1};
  EXPECT_TRUE(isIdentical(set.copy(), set));
  EXPECT_TRUE(isIdentical(id(set).copy(), set));
  const NSMutableSet changing = set.mutableCopy(), alias = changing;
  const NSSet frozen = changing.copy();
  changing.addObject(2);
  EXPECT_EQ(texts(set) + "|" + texts(alias) + "|" + texts(frozen), "1|1 2|1");
  EXPECT_FALSE(frozen.is<NSMutableSet>());
  EXPECT_FALSE(id(set).as<NSMutableSet>());
  EXPECT_TRUE(id(changing).mutableCopy().is<NSMutableSet>());
  const NSMutableSet made = id(adopt, class_createInstance(classOf<NSMutableSet>())).as<NSMutableSet>();
  objc_msgSend(made, "addObject:", NSString("x"));
  EXPECT_TRUE(objc_msgSend<bool>(made, "containsObject:", NSString("x")));
  EXPECT_TRUE(objc_msgSend<id>(classOf<NSMutableSet>(), "set").is<NSMutableSet>());
  EXPECT_EQ(class_getSuperclass(classOf<NSMutableSet>()), classOf<NSSet>());
}

TEST(NSSetTest, NoPatternOfChangesIsQuadratic) {
  constexpr int kCount = 200000;
  const NSMutableSet set = NSMutableSet::set();
  for (int i = 0; i < kCount; ++i) set.addObject(i);
  // The oldest goes each time.
  for (int i = 0; i < kCount; ++i) {
    ASSERT_EQ(set.anyObject(), NSNumber(i));
    set.removeObject(set.anyObject());
    if (i % 2 == 0) set.addObject(kCount + i);
  }
  EXPECT_EQ(set.count(), static_cast<NSUInteger>(kCount / 2));
  for (const id& each : set.allObjects()) set.removeObject(each);
  EXPECT_EQ(set.count(), 0u);
}

}  // namespace
}  // namespace kvt::collection_test
