#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSNull.h>
#include <gtest/gtest.h>

#include "CollectionTestSupport.h"

namespace kvt::collection_test {
namespace {

TEST(NSNullTest, IsOneObjectAndNotNil) {
  const NSNull null = NSNull::null();
  EXPECT_TRUE(null);
  EXPECT_FALSE(null == nullptr);
  EXPECT_TRUE(isIdentical(null, NSNull::null()));
  EXPECT_TRUE(isIdentical(null, id(adopt, class_createInstance(classOf<NSNull>()))));
  EXPECT_TRUE(isIdentical(null, objc_msgSend<id>(classOf<NSNull>(), "null")));
  EXPECT_TRUE(null.is<NSNull>());
  EXPECT_FALSE(id(NSString("<null>")).is<NSNull>());
  EXPECT_EQ(objc_getClass("NSNull"), classOf<NSNull>());
}

TEST(NSNullTest, EqualsItselfAlone) {
  const NSNull null = NSNull::null();
  EXPECT_TRUE(null.isEqual(null));
  const struct {
    const char* what;
    id other;
  } rows[] = {{"nil", {}},           {"no text", NSString("")}, {"text", NSString("<null>")},
              {"zero", NSNumber(0)}, {"NO", NSNumber(false)},   {"an empty array", NSArray::array()}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_FALSE(null.isEqual(row.other));
    EXPECT_FALSE(row.other.isEqual(null));
    EXPECT_FALSE(id(null) == row.other);
    EXPECT_FALSE(objc_msgSend<bool>(null, "isEqual:", row.other));
  }
  EXPECT_NE(null.hash(), 0u);
  EXPECT_EQ(null.hash(), objc_msgSend<std::uint64_t>(null, "hash"));
}

TEST(NSNullTest, IsImmortalAndItsOwnCopy) {
  const NSNull null = NSNull::null();
  { std::vector<id> many(1000, null); }
  EXPECT_LT(ObjectAccess::retainCount(null.object()), 0);
  EXPECT_TRUE(isIdentical(null, null.copy()));
  EXPECT_EQ(text(null), "<null>");
}

TEST(NSNullTest, NilAnswersNothing) {
  const NSNull nil;
  EXPECT_FALSE(nil);
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_FALSE(nil.description());
  EXPECT_FALSE(nil.copy());
}

}  // namespace
}  // namespace kvt::collection_test
