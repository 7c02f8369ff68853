#include <KVTFoundation/Category/NSArray/NSArray+KVTExtension.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <gtest/gtest.h>

#include <vector>

namespace kvt {
namespace {

const NSNull null = NSNull::null();

/// The same elements, immutable and mutable.
std::vector<NSArray> bothForms(const NSArray& array) { return {array.copy(), array.mutableCopy()}; }

TEST(NSArrayKVTExtension, SafeObjectAtIndex) {
  const NSArray empty = NSArray::array();
  const struct {
    NSArray array;
    NSUInteger index;
    id expected;
  } rows[] = {
      {{"a", "b"}, 0, NSString("a")},
      {{"a", "b"}, 1, NSString("b")},
      {{"a", "b"}, 2, nullptr},
      {{"a", "b"}, 3, nullptr},
      {{"a", "b"}, UINT64_MAX, nullptr},
      {{"a", "b"}, static_cast<NSUInteger>(NSNotFound), nullptr},
      {empty, 0, nullptr},
      {empty, 1, nullptr},
      {empty, UINT64_MAX, nullptr},
      {{null}, 0, nullptr},
      {{"a", null, "b"}, 1, nullptr},
      {{"a", null, "b"}, 2, NSString("b")},
      {{NSArray::array(), ""}, 0, NSArray::array()},
      {{0, ""}, 1, NSString("")},
      {nullptr, 0, nullptr},
  };
  for (const auto& row : rows) {
    for (const NSArray& array : bothForms(row.array)) {
      SCOPED_TRACE(::testing::PrintToString(array) + " at " + std::to_string(row.index));
      EXPECT_EQ(kvt_safeObjectAtIndex(array, row.index), row.expected);
      EXPECT_EQ(objc_msgSend<id>(array, "kvt_safeObjectAtIndex:", row.index), row.expected);
    }
  }
}

TEST(NSArrayKVTExtension, FirstAndLast) {
  const struct {
    NSArray array;
    id first, last;
  } rows[] = {
      {{"a"}, NSString("a"), NSString("a")},
      {{"a", "b", "c"}, NSString("a"), NSString("c")},
      {{null, "b"}, nullptr, NSString("b")},
      {{"a", null}, NSString("a"), nullptr},
      {{null}, nullptr, nullptr},
      {NSArray::array(), nullptr, nullptr},
      {nullptr, nullptr, nullptr},
  };
  for (const auto& row : rows) {
    for (const NSArray& array : bothForms(row.array)) {
      SCOPED_TRACE(::testing::PrintToString(array));
      EXPECT_EQ(kvt_safeFirstObject(array), row.first);
      EXPECT_EQ(kvt_safeLastObject(array), row.last);
      EXPECT_EQ(objc_msgSend<id>(array, "kvt_safeFirstObject"), row.first);
      EXPECT_EQ(objc_msgSend<id>(array, "kvt_safeLastObject"), row.last);
    }
  }
}

TEST(NSArrayKVTExtension, TheElementItselfIsAnswered) {
  const NSMutableString element = NSString("x").mutableCopy();
  EXPECT_TRUE(isIdentical(kvt_safeObjectAtIndex({element}, 0), element));
}

TEST(NSArrayKVTExtension, SafeAddObject) {
  const NSMutableArray list = NSMutableArray::array();
  kvt_safeAddObject(list, "a");
  kvt_safeAddObject(list, nullptr);
  kvt_safeAddObject(list, id());
  kvt_safeAddObject(list, NSString());
  kvt_safeAddObject(list, null);
  kvt_safeAddObject(list, 7);
  objc_msgSend(list, "kvt_safeAddObject:", NSString("b"));
  objc_msgSend(list, "kvt_safeAddObject:", nullptr);
  EXPECT_EQ(list, (NSArray{"a", null, 7, "b"}));

  const NSArray fixed = {"a"};
  kvt_safeAddObject(fixed, "b");
  objc_msgSend(fixed, "kvt_safeAddObject:", NSString("b"));
  EXPECT_EQ(fixed, NSArray{"a"});
  kvt_safeAddObject(nullptr, "b");

  // A mutable array behind an immutable handle is what it is.
  const NSArray shared = list;
  kvt_safeAddObject(shared, "c");
  EXPECT_EQ(list.count(), 5u);
}

TEST(NSArrayKVTExtension, SafeInsertObject) {
  const struct {
    NSArray before;
    id object;
    NSUInteger index;
    NSArray after;
  } rows[] = {
      {{"a", "b"}, NSString("x"), 0, {"x", "a", "b"}},
      {{"a", "b"}, NSString("x"), 1, {"a", "x", "b"}},
      {{"a", "b"}, NSString("x"), 2, {"a", "b", "x"}},
      {{"a", "b"}, NSString("x"), 3, {"a", "b"}},
      {{"a", "b"}, NSString("x"), UINT64_MAX, {"a", "b"}},
      {{"a", "b"}, nullptr, 0, {"a", "b"}},
      {{"a", "b"}, nullptr, 2, {"a", "b"}},
      {{"a", "b"}, null, 1, {"a", null, "b"}},
      {NSArray::array(), NSString("x"), 0, {"x"}},
      {NSArray::array(), NSString("x"), 1, NSArray::array()},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.before) + " at " + std::to_string(row.index));
    const NSMutableArray direct = row.before.mutableCopy(), sent = row.before.mutableCopy();
    kvt_safeInsertObject_atIndex(direct, row.object, row.index);
    EXPECT_EQ(direct, row.after);
    objc_msgSend(sent, "kvt_safeInsertObject:atIndex:", row.object, row.index);
    EXPECT_EQ(sent, row.after);
    const NSArray fixed = row.before.copy();
    kvt_safeInsertObject_atIndex(fixed, row.object, row.index);
    EXPECT_EQ(fixed, row.before);
  }
  kvt_safeInsertObject_atIndex(nullptr, "x", 0);
}

TEST(NSArrayKVTExtension, SafeSubarray) {
  const NSArray three = {"a", "b", "c"};
  const struct {
    NSArray array;
    NSRange range;
    NSArray expected;
  } rows[] = {
      {three, {0, 3}, three},
      {three, {0, 2}, {"a", "b"}},
      {three, {1, 2}, {"b", "c"}},
      {three, {2, 1}, {"c"}},
      {three, {0, 0}, NSArray::array()},
      {three, {2, 0}, NSArray::array()},
      {three, {3, 0}, nullptr},
      {three, {4, 0}, nullptr},
      {three, {0, 4}, nullptr},
      {three, {2, 2}, nullptr},
      {three, {3, 1}, nullptr},
      // The end of these lies beyond the largest number.
      {three, {1, UINT64_MAX}, nullptr},
      {three, {2, UINT64_MAX - 1}, nullptr},
      {three, {UINT64_MAX, 1}, nullptr},
      {three, {UINT64_MAX, UINT64_MAX}, nullptr},
      {three, {NSNotFound, 0}, nullptr},
      {{"a"}, {0, 0}, NSArray::array()},
      {{"a"}, {1, 0}, nullptr},
      {{null}, {0, 1}, {null}},
      {NSArray::array(), {0, 0}, nullptr},
      {NSArray::array(), {0, 1}, nullptr},
      {nullptr, {0, 0}, nullptr},
  };
  for (const auto& row : rows) {
    for (const NSArray& array : bothForms(row.array)) {
      SCOPED_TRACE(::testing::PrintToString(array) + " {" + std::to_string(row.range.location) + ", " +
                   std::to_string(row.range.length) + "}");
      EXPECT_EQ(kvt_safeSubarrayWithRange(array, row.range), row.expected);
      EXPECT_EQ(objc_msgSend<NSArray>(array, "kvt_safeSubarrayWithRange:", row.range), row.expected);
      EXPECT_FALSE(kvt_safeSubarrayWithRange(array, row.range).is<NSMutableArray>());
    }
  }
}

TEST(NSArrayKVTExtension, IsNotBlank) {
  const struct {
    id receiver;
    bool expected;
  } rows[] = {
      {NSArray{1}, true},
      {NSArray{null}, true},
      {NSMutableArray{1}, true},
      {NSArray::array(), false},
      {NSMutableArray::array(), false},
      {nullptr, false},
      {null, false},
      {NSNumber(1), false},
      {NSDictionary{{"a", 1}}, false},
      {classOf<NSArray>(), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.receiver));
    EXPECT_EQ(kvt_isNotBlank(row.receiver), row.expected);
  }
}

}  // namespace
}  // namespace kvt
