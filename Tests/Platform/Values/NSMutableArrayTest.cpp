#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSEnumerator.h>
#include <gtest/gtest.h>

#include <functional>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

TEST(NSMutableArrayTest, ChangesInPlace) {
  const struct {
    const char* what;
    std::function<void(const NSMutableArray&)> change;
    const char* result;
  } rows[] = {
      {"add", [](const NSMutableArray& a) { a.addObject("x"); }, "a b c x"},
      {"add all",
       [](const NSMutableArray& a) {
         a.addObjectsFromArray(NSArray{1, 2});
       },
       "a b c 1 2"},
      {"add itself", [](const NSMutableArray& a) { a.addObjectsFromArray(a); }, "a b c a b c"},
      {"add none", [](const NSMutableArray& a) { a.addObjectsFromArray(nullptr); }, "a b c"},
      {"insert first", [](const NSMutableArray& a) { a.insertObject_atIndex("x", 0); }, "x a b c"},
      {"insert within", [](const NSMutableArray& a) { a.insertObject_atIndex("x", 2); }, "a b x c"},
      {"insert last", [](const NSMutableArray& a) { a.insertObject_atIndex("x", 3); }, "a b c x"},
      {"insert all", [](const NSMutableArray& a) { a.insertObjectsFromArray_atIndex(a, 1); }, "a a b c b c"},
      {"replace", [](const NSMutableArray& a) { a.replaceObjectAtIndex_withObject(1, "x"); }, "a x c"},
      {"set", [](const NSMutableArray& a) { a.setObject_atIndexedSubscript("x", 0); }, "x b c"},
      {"set at the end", [](const NSMutableArray& a) { a.setObject_atIndexedSubscript("x", 3); }, "a b c x"},
      {"exchange", [](const NSMutableArray& a) { a.exchangeObjectAtIndex_withObjectAtIndex(0, 2); }, "c b a"},
      {"exchange with itself", [](const NSMutableArray& a) { a.exchangeObjectAtIndex_withObjectAtIndex(1, 1); },
       "a b c"},
      {"replace a range",
       [](const NSMutableArray& a) {
         a.replaceObjectsInRange_withObjectsFromArray({0, 2}, NSArray{1});
       },
       "1 c"},
      {"replace with itself",
       [](const NSMutableArray& a) {
         a.replaceObjectsInRange_withObjectsFromArray({1, 1}, a);
       },
       "a a b c c"},
      {"replace with nil",
       [](const NSMutableArray& a) {
         a.replaceObjectsInRange_withObjectsFromArray({1, 2}, nullptr);
       },
       "a"},
      {"set array",
       [](const NSMutableArray& a) {
         a.setArray(NSArray{1, 2});
       },
       "1 2"},
      {"set itself", [](const NSMutableArray& a) { a.setArray(a); }, "a b c"},
      {"set nil", [](const NSMutableArray& a) { a.setArray(nullptr); }, ""},
      {"remove first", [](const NSMutableArray& a) { a.removeObjectAtIndex(0); }, "b c"},
      {"remove last", [](const NSMutableArray& a) { a.removeLastObject(); }, "a b"},
      {"remove by object",
       [](const NSMutableArray& a) {
         a.addObject("b");
         a.removeObject(NSString("b"));
       },
       "a c"},
      {"remove none",
       [](const NSMutableArray& a) {
         a.removeObject(NSString("x"));
         a.removeObject(nullptr);
       },
       "a b c"},
      {"remove an element of its own", [](const NSMutableArray& a) { a.removeObject(a[0]); }, "b c"},
      {"remove in a range",
       [](const NSMutableArray& a) {
         a.addObject("a");
         a.removeObject_inRange(NSString("a"), {1, 3});
       },
       "a b c"},
      {"remove by identity",
       [](const NSMutableArray& a) {
         const NSMutableString b = NSMutableString::stringWithString("b");
         a.addObject(b);
         a.removeObjectIdenticalTo(b);
       },
       "a b c"},
      {"remove a range",
       [](const NSMutableArray& a) {
         a.removeObjectsInRange({0, 2});
       },
       "c"},
      {"remove no range",
       [](const NSMutableArray& a) {
         a.removeObjectsInRange({3, 0});
       },
       "a b c"},
      {"remove all of",
       [](const NSMutableArray& a) {
         a.removeObjectsInArray(NSArray{"a", "c", "x"});
       },
       "b"},
      {"remove itself", [](const NSMutableArray& a) { a.removeObjectsInArray(a); }, ""},
      {"remove all",
       [](const NSMutableArray& a) {
         a.removeAllObjects();
         a.removeLastObject();
         a.removeAllObjects();
       },
       ""},
      {"use again",
       [](const NSMutableArray& a) {
         a.removeAllObjects();
         a.addObject(1);
         a.insertObject_atIndex(0, 0);
       },
       "0 1"},
      {"filter", [](const NSMutableArray& a) { a.filterUsingBlock([](const id& x) { return x != NSString("b"); }); },
       "a c"},
      {"sort",
       [](const NSMutableArray& a) {
         a.sortUsingComparator([](const id& x, const id& y) { return y.as<NSString>().compare(x.as<NSString>()); });
       },
       "c b a"},
      {"sort by selector",
       [](const NSMutableArray& a) {
         a.exchangeObjectAtIndex_withObjectAtIndex(0, 2);
         a.sortUsingSelector("compare:");
       },
       "a b c"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSMutableArray literal = {"a", "b", "c"};
    const NSMutableArray grown = NSMutableArray::arrayWithCapacity(0);
    for (const char* each : {"a", "b", "c"}) grown.addObject(each);
    for (const NSMutableArray& array : {literal, grown}) {
      row.change(array);
      EXPECT_EQ(texts(array), row.result);
    }
    row.change(NSMutableArray());
  }
}

TEST(NSMutableArrayTest, RaisesAndStaysAsItWas) {
  const struct {
    std::function<void(const NSMutableArray&)> change;
    const char* raised;
  } rows[] = {
      {[](const NSMutableArray& a) { a.addObject(nullptr); },
       "NSInvalidArgumentException: *** -[NSMutableArray addObject:]: object cannot be nil"},
      {[](const NSMutableArray& a) { a.insertObject_atIndex(nullptr, 0); },
       "NSInvalidArgumentException: *** -[NSMutableArray insertObject:atIndex:]: object cannot be nil"},
      {[](const NSMutableArray& a) { a.insertObject_atIndex("x", 3); },
       "NSRangeException: *** -[NSMutableArray insertObject:atIndex:]: index 3 beyond bounds [0 .. 2]"},
      {[](const NSMutableArray& a) { a.insertObjectsFromArray_atIndex(NSArray{1}, 3); },
       "NSRangeException: *** -[NSMutableArray insertObjectsFromArray:atIndex:]: index 3 beyond bounds [0 .. 2]"},
      {[](const NSMutableArray& a) { a.replaceObjectAtIndex_withObject(0, nullptr); },
       "NSInvalidArgumentException: *** -[NSMutableArray replaceObjectAtIndex:withObject:]: object cannot be nil"},
      {[](const NSMutableArray& a) { a.replaceObjectAtIndex_withObject(2, 1); },
       "NSRangeException: *** -[NSMutableArray replaceObjectAtIndex:withObject:]: index 2 beyond bounds [0 .. 1]"},
      {[](const NSMutableArray& a) { a.setObject_atIndexedSubscript("x", 3); },
       "NSRangeException: *** -[NSMutableArray replaceObjectAtIndex:withObject:]: index 3 beyond bounds [0 .. 1]"},
      {[](const NSMutableArray& a) { a.exchangeObjectAtIndex_withObjectAtIndex(0, 2); },
       "NSRangeException: *** -[NSMutableArray exchangeObjectAtIndex:withObjectAtIndex:]: index 2 beyond bounds [0 .. "
       "1]"},
      {[](const NSMutableArray& a) { a.removeObjectAtIndex(2); },
       "NSRangeException: *** -[NSMutableArray removeObjectAtIndex:]: index 2 beyond bounds [0 .. 1]"},
      {[](const NSMutableArray& a) {
         a.removeObjectsInRange({1, 2});
       },
       "NSRangeException: *** -[NSMutableArray removeObjectsInRange:]: range {1, 2} extends beyond bounds [0 .. 2]"},
      {[](const NSMutableArray& a) {
         a.removeObject_inRange(NSString("a"), {UINT64_MAX, 2});
       },
       "NSRangeException: *** -[NSMutableArray removeObject:inRange:]: range {18446744073709551615, 2} extends beyond "
       "bounds [0 .. 2]"},
      {[](const NSMutableArray& a) {
         a.replaceObjectsInRange_withObjectsFromArray({3, 0}, NSArray{1});
       },
       "NSRangeException: *** -[NSMutableArray replaceObjectsInRange:withObjectsFromArray:]: range {3, 0} extends "
       "beyond bounds [0 .. 2]"},
      {[](const NSMutableArray& a) { a.sortUsingSelector("noSuchSelector:"); }, "NSInvalidArgumentException"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.raised);
    const NSMutableArray array = {"a", "b"};
    const std::string raised = raisedBy([&] { row.change(array); });
    EXPECT_EQ(raised.substr(0, std::string_view(row.raised).size()), row.raised);
    EXPECT_EQ(texts(array), "a b");
  }
  EXPECT_EQ(raisedBy([] { NSMutableArray::array().removeObjectAtIndex(0); }),
            "NSRangeException: *** -[NSMutableArray removeObjectAtIndex:]: index 0 beyond bounds for empty array");
}

TEST(NSMutableArrayTest, ASortThatRaisesLosesNothing) {
  std::vector<int> numbers;
  for (int i = 0; i < 100; ++i) numbers.push_back(99 - i);
  const NSMutableArray array(numbers);
  int left = 300;
  EXPECT_EQ(raisedBy([&] {
              array.sortUsingComparator([&](const id& a, const id& b) {
                if (--left == 0) NSException::raise_format("Enough", "x");
                return a.as<NSNumber>().compare(b.as<NSNumber>());
              });
            }),
            "Enough: x");
  EXPECT_EQ(array.toVector<int>(), numbers);
}

// ---- changing during a walk ---------------------------------------------------------------------------------------

bool isMutationReport(const std::string& raised) {
  return raised.starts_with("NSGenericException: *** Collection <NSMutableArray: 0x") &&
         raised.ends_with("> was mutated while being enumerated.");
}

TEST(NSMutableArrayTest, NoticesChangesDuringAWalk) {
  const struct {
    const char* what;
    std::function<void(const NSMutableArray&)> change;
  } changes[] = {
      {"add", [](const NSMutableArray& a) { a.addObject("x"); }},
      {"remove first", [](const NSMutableArray& a) { a.removeObjectAtIndex(0); }},
      {"remove all", [](const NSMutableArray& a) { a.removeAllObjects(); }},
      {"replace", [](const NSMutableArray& a) { a.replaceObjectAtIndex_withObject(0, make<Item>(5)); }},
      {"exchange", [](const NSMutableArray& a) { a.exchangeObjectAtIndex_withObjectAtIndex(0, 1); }},
      {"insert", [](const NSMutableArray& a) { a.insertObject_atIndex("x", 0); }},
      {"sort", [](const NSMutableArray& a) { a.sortUsingSelector("compare:"); }},
  };
  for (const auto& row : changes) {
    SCOPED_TRACE(row.what);
    const auto fresh = [] { return NSMutableArray{make<Item>(1), make<Item>(2), make<Item>(3)}; };
    int seen = 0;
    const NSMutableArray a = fresh(), b = fresh(), c = fresh(), d = fresh();
    EXPECT_TRUE(isMutationReport(raisedBy([&] {
      for (const id& each : a) {
        row.change(a);
        seen += static_cast<int>(each.as<Item>()->value);  // still there, though the array has let it go
      }
    })));
    EXPECT_EQ(seen, 1);
    EXPECT_TRUE(isMutationReport(raisedBy([&] {
      b.enumerateObjectsUsingBlock([&](const id& each, NSUInteger, bool*) {
        row.change(b);
        seen += static_cast<int>(each.as<Item>()->value);
      });
    })));
    EXPECT_EQ(seen, 2);
    const NSEnumerator forward = c.objectEnumerator(), backward = d.reverseObjectEnumerator();
    forward.nextObject();
    backward.nextObject();
    row.change(c);
    row.change(d);
    EXPECT_TRUE(isMutationReport(raisedBy([&] { forward.nextObject(); })));
    EXPECT_TRUE(isMutationReport(raisedBy([&] { backward.nextObject(); })));
  }
  EXPECT_EQ(Item::alive, 0);
}

TEST(NSMutableArrayTest, AChangeOnTheLastElementEndsTheWalk) {
  const NSMutableArray array = {1, 2, 3};
  EXPECT_EQ(raisedBy([&] {
              for (const id& each : array) {
                if (each == NSNumber(3)) array.removeObject(each);
              }
            }),
            "");
  EXPECT_EQ(texts(array), "1 2");
  EXPECT_TRUE(isMutationReport(raisedBy([&] {
    for (const id& each : array) {
      if (each == NSNumber(2)) array.addObject(each);
    }
  })));
  EXPECT_EQ(raisedBy([&] {
              for (const id& each : array) {
                array.removeObject(each);
                break;
              }
            }),
            "");
}

TEST(NSMutableArrayTest, NoticesChangesByWhatItAsks) {
  const NSMutableArray array = {1, 2, 3};
  EXPECT_TRUE(isMutationReport(raisedBy([&] {
    array.filterUsingBlock([&](const id&) {
      array.removeAllObjects();
      return false;
    });
  })));
  array.setArray(NSArray{1, 2, 3});
  EXPECT_TRUE(isMutationReport(raisedBy([&] {
    array.sortUsingComparator([&](const id&, const id&) {
      array.addObject(0);
      return NSOrderedSame;
    });
  })));
}

// ---- what it lets go ----------------------------------------------------------------------------------------------

TEST(NSMutableArrayTest, IsInOrderWhenItsElementsGo) {
  const struct {
    const char* what;
    std::function<void(const NSMutableArray&)> change;
    const char* seenByDestructor;
  } rows[] = {
      {"remove", [](const NSMutableArray& a) { a.removeObjectAtIndex(0); }, "b c"},
      {"remove a range",
       [](const NSMutableArray& a) {
         a.removeObjectsInRange({0, 2});
       },
       "c"},
      {"remove all", [](const NSMutableArray& a) { a.removeAllObjects(); }, ""},
      {"replace", [](const NSMutableArray& a) { a.replaceObjectAtIndex_withObject(0, "x"); }, "x b c"},
      {"set", [](const NSMutableArray& a) { a.setArray(NSArray{1}); }, "1"},
      {"filter", [](const NSMutableArray& a) { a.filterUsingBlock([](const id& x) { return x.is<NSString>(); }); },
       "b c"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSMutableArray array = NSMutableArray::array();
    std::string seen;
    {
      const Ref<Item> item = make<Item>(1);
      item->onDestruction = [&] {
        seen = texts(array);
        for (int i = 0; i < 20; ++i) array.addObject("late");
      };
      array.addObjectsFromArray(NSArray{item, "b", "c"});
    }
    row.change(array);
    EXPECT_EQ(Item::alive, 0);
    EXPECT_EQ(seen, row.seenByDestructor);
    EXPECT_EQ(texts(array).substr(0, seen.size()), seen);
    EXPECT_EQ(text(array.lastObject()), "late");
  }
}

TEST(NSMutableArrayTest, MayGoWhileItRemovesItsElements) {
  NSMutableArray array = NSMutableArray::array();
  const Ref<Item> item = make<Item>(1);
  item->onDestruction = nullptr;
  {
    const Ref<Item> last = make<Item>(2);
    last->onDestruction = [&] { array = nullptr; };
    array.addObject(last);
  }
  array.removeAllObjects();
  EXPECT_FALSE(array);
}

// ---- cost ---------------------------------------------------------------------------------------------------------

TEST(NSMutableArrayTest, BothEndsAreCheap) {
  // With elements moved on each step these would take minutes.
  constexpr int kCount = 400000;
  const NSMutableArray queue = NSMutableArray::array();
  const NSNumber one = 1;
  for (int i = 0; i < kCount; ++i) queue.addObject(one);
  for (int i = 0; i < kCount; ++i) {
    queue.addObject(one);
    queue.removeObjectAtIndex(0);
  }
  for (int i = 0; i < kCount; ++i) {
    queue.insertObject_atIndex(one, 0);
    queue.removeLastObject();
  }
  for (int i = 0; i < kCount; ++i) {
    queue.insertObject_atIndex(one, 0);
    queue.addObject(one);
  }
  for (int i = 0; i < kCount; ++i) {
    queue.removeObjectAtIndex(0);
    queue.removeLastObject();
  }
  EXPECT_EQ(queue.count(), static_cast<NSUInteger>(kCount));
  while (queue.count() != 0) queue.removeObjectAtIndex(0);
  queue.addObject(one);
  EXPECT_EQ(texts(queue), "1");
}

TEST(NSMutableArrayTest, CapacityIsAHint) {
  const NSMutableArray array = NSMutableArray::arrayWithCapacity(UINT64_MAX);
  array.addObject(1);
  EXPECT_EQ(array.count(), 1u);
}

}  // namespace
}  // namespace kvt::collection_test
