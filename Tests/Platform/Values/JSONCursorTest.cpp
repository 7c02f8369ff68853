// The cursor where its caller pulls; what it makes of texts is in JSONReaderTest.cpp.

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <KVTPlatform/Values/JSONReader.h>

namespace kvt {
namespace {

std::string nested(std::size_t depth, std::string_view opening, std::string_view inner, std::string_view closing) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += opening;
  text += inner;
  for (std::size_t i = 0; i < depth; ++i) text += closing;
  return text;
}

TEST(JSONCursor, WalksWhereItsCallerKnowsTheWay) {
  const std::string text =
      R"( {"name":"Zoë", "skip" : {"deep":[1,{"x":null}]}, "list" : [ 1 , true,false,null, "s" ] } )";
  JSONCursor cursor(text);
  JSONText string;
  JSONNumber number;
  ASSERT_EQ(cursor.peek(), '{');
  ASSERT_EQ(cursor.firstMember(string), JSONCursor::Step::kItem);
  EXPECT_EQ(string.bytes, "name");
  EXPECT_TRUE(string.ascii);
  ASSERT_EQ(cursor.peek(), '"');
  ASSERT_TRUE(cursor.readString(string));
  EXPECT_EQ(string.bytes, "Zoë");
  EXPECT_FALSE(string.ascii);
  ASSERT_EQ(cursor.nextMember(string), JSONCursor::Step::kItem);
  EXPECT_EQ(string.bytes, "skip");
  ASSERT_TRUE(cursor.skipValue());
  ASSERT_EQ(cursor.nextMember(string), JSONCursor::Step::kItem);
  EXPECT_EQ(string.bytes, "list");
  ASSERT_EQ(cursor.firstElement(), JSONCursor::Step::kItem);
  ASSERT_TRUE(cursor.readNumber(number));
  EXPECT_EQ(number.integer, 1);
  ASSERT_EQ(cursor.nextElement(), JSONCursor::Step::kItem);
  EXPECT_TRUE(cursor.readTrue());
  ASSERT_EQ(cursor.nextElement(), JSONCursor::Step::kItem);
  EXPECT_TRUE(cursor.readFalse());
  ASSERT_EQ(cursor.nextElement(), JSONCursor::Step::kItem);
  EXPECT_TRUE(cursor.readNull());
  ASSERT_EQ(cursor.nextElement(), JSONCursor::Step::kItem);
  ASSERT_TRUE(cursor.readString(string));
  EXPECT_EQ(string.bytes, "s");
  EXPECT_EQ(cursor.nextElement(), JSONCursor::Step::kEnd);
  EXPECT_EQ(cursor.nextMember(string), JSONCursor::Step::kEnd);
  EXPECT_TRUE(cursor.finish());
  EXPECT_FALSE(cursor.failed());
}

TEST(JSONCursor, StopsAtTheEndWhateverIsStillOpen) {
  struct {
    std::string_view text;
    JSONError error;
  } const rows[] = {
      {"[{}", JSONError::kUnexpectedEnd},         {"[[1]", JSONError::kUnexpectedEnd}, {"[{}}", JSONError::kBadArray},
      {"[{},]", JSONError::kUnexpectedCharacter}, {"[{} {}]", JSONError::kBadArray},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    auto exact = std::make_unique<char[]>(row.text.size());
    std::copy(row.text.begin(), row.text.end(), exact.get());
    JSONCursor cursor(std::string_view(exact.get(), row.text.size()));
    auto step = cursor.firstElement();
    while (step == JSONCursor::Step::kItem && cursor.skipValue()) step = cursor.nextElement();
    EXPECT_TRUE(cursor.failed());
    EXPECT_EQ(cursor.failure().error, row.error);
    EXPECT_FALSE(cursor.finish());
    EXPECT_EQ(cursor.nextElement(), JSONCursor::Step::kFailed);
    JSONText key;
    EXPECT_EQ(cursor.nextMember(key), JSONCursor::Step::kFailed);
  }
  {
    const std::string object = "{\"a\":[]";
    JSONCursor cursor(object);
    JSONText key;
    ASSERT_EQ(cursor.firstMember(key), JSONCursor::Step::kItem);
    ASSERT_TRUE(cursor.skipValue());
    EXPECT_EQ(cursor.nextMember(key), JSONCursor::Step::kFailed);
    EXPECT_EQ(cursor.failure().error, JSONError::kUnexpectedEnd);
    EXPECT_EQ(cursor.failure().offset, 7u);
  }
  {
    JSONCursor cursor("\xFF");
    EXPECT_EQ(cursor.firstElement(), JSONCursor::Step::kFailed);
    EXPECT_FALSE(cursor.skipValue());
    // The first failure stands.
    EXPECT_FALSE(cursor.fail(JSONError::kFragment));
    EXPECT_EQ(cursor.failure().error, JSONError::kBadUTF8);
  }
}

TEST(JSONCursor, CountsDepthWhoeverWalks) {
  // However many of the containers are walked by the caller and however many are skipped: 512 pass, 513 do not.
  for (const std::size_t depth : {std::size_t{512}, std::size_t{513}}) {
    const std::string arrays = nested(depth, "[", "", "]");
    const std::string objects = nested(depth, "{\"a\":", "0", "}");
    for (const std::size_t walked : {std::size_t{0}, std::size_t{1}, std::size_t{100}, std::size_t{511}, depth}) {
      SCOPED_TRACE(testing::Message() << walked << " of " << depth);
      JSONText key;
      JSONCursor inArrays(arrays);
      JSONCursor inObjects(objects);
      for (std::size_t i = 0; i < walked; ++i) {
        inArrays.firstElement();
        inObjects.firstMember(key);
      }
      if (walked < depth) inArrays.skipValue();
      inObjects.skipValue();
      for (JSONCursor* cursor : {&inArrays, &inObjects}) {
        EXPECT_EQ(cursor->failure().error, depth == 512 ? JSONError::kNone : JSONError::kTooDeep);
      }
      EXPECT_EQ(inArrays.failure().offset, depth == 512 ? 0u : 512u);
    }
  }
}

TEST(JSONCursor, StandsAtTheEndOfNothingOnceItHasFailed) {
  for (const std::string_view text : {"", "[{}", "[1 2]", "\xFF", "[\"a"}) {
    SCOPED_TRACE(text);
    auto exact = std::make_unique<char[]>(text.size());
    std::copy(text.begin(), text.end(), exact.get());
    JSONCursor cursor(std::string_view(exact.get(), text.size()));
    EXPECT_FALSE(cursor.skipValue() && cursor.finish());
    const JSONFailure failure = cursor.failure();
    JSONText string;
    JSONNumber number;
    EXPECT_EQ(cursor.peek(), '\0');
    EXPECT_EQ(cursor.remaining(), 0u);
    EXPECT_FALSE(cursor.readNumber(number));
    EXPECT_FALSE(cursor.readTrue());
    EXPECT_FALSE(cursor.readFalse());
    EXPECT_FALSE(cursor.readNull());
    EXPECT_FALSE(cursor.skipValue());
    EXPECT_FALSE(cursor.finish());
    EXPECT_EQ(cursor.firstElement(), JSONCursor::Step::kFailed);
    EXPECT_EQ(cursor.nextElement(), JSONCursor::Step::kFailed);
    EXPECT_EQ(cursor.firstMember(string), JSONCursor::Step::kFailed);
    EXPECT_EQ(cursor.nextMember(string), JSONCursor::Step::kFailed);
    EXPECT_EQ(cursor.failure().error, failure.error);
    EXPECT_EQ(cursor.failure().offset, failure.offset);
  }
}

}  // namespace
}  // namespace kvt
