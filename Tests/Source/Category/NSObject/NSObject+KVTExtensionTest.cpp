#include <KVTFoundation/Category/NSObject/NSObject+KVTExtension.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <cmath>
#include <string>

namespace kvt {
namespace {

NSData bytes(std::string_view text) { return NSData(text); }

class ExtensionPlain : public NSObject {
 public:
  KVT_CLASS(ExtensionPlain)
};

const char* const kUnsupported = "JSON Parse Error: unsupported unsupported";
const char* const kUnreadable = "JSON Parse Error: The data couldn’t be read because it isn’t in the correct format. ";

TEST(JSONString, Whole) {
  const struct {
    const char* what;
    id receiver;
    NSString expected;
  } rows[] = {
      {"an empty array", NSArray::array(), "[]"},
      {"an empty dictionary", NSDictionary::dictionary(), "{}"},
      {"an array", NSArray{1, "x", NSNull::null(), true, 1.5, NSArray{2}}, R"([1,"x",null,true,1.5,[2]])"},
      {"a mutable array", NSMutableArray{1}, "[1]"},
      {"a dictionary", NSDictionary{{"b", 1}, {"a", NSDictionary{{"c", "会"}}}}, R"({"b":1,"a":{"c":"会"}})"},
      {"a mutable dictionary", NSMutableDictionary{{"a", 1}}, R"({"a":1})"},
      {"text", NSString(R"({"a":1})"), R"({"a":1})"},
      {"text with blanks", NSString(" { \"a\" :\n 1 , \"b\":[ ] } "), R"({"a":1,"b":[]})"},
      {"mutable text", NSString("[1, 2]").mutableCopy(), "[1,2]"},
      {"text with other characters", NSString("[\"\\u4f1a😀\"]"), "[\"会😀\"]"},
      {"bytes", bytes("[1, {\"a\": null}]"), R"([1,{"a":null}])"},
      {"bytes with a mark", bytes("\xEF\xBB\xBF[1]"), "[1]"},
      {"mutable bytes", bytes("{}").mutableCopy(), "{}"},
      {"UTF-16 bytes", NSString("[1]").dataUsingEncoding(NSUnicodeStringEncoding), "[1]"},
      {"a number", NSNumber(1), kUnsupported},
      {"null", NSNull::null(), kUnsupported},
      {"a set", NSSet{1}, kUnsupported},
      {"a date", NSDate::date(), kUnsupported},
      {"an object", make<ExtensionPlain>(), kUnsupported},
      {"a class", classOf<NSArray>(), kUnsupported},
      {"nil", nullptr, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(kvt_JSONString(row.receiver), row.expected);
    EXPECT_EQ(objc_msgSend<NSString>(row.receiver, "kvt_JSONString"), row.expected);
  }
}

const char* const kFragment =
    "JSON text did not start with array or object and option to allow fragments not set around line 1, column 1.";

TEST(JSONString, LinesOfUnreadableText) {
  const struct {
    const char* what;
    id receiver;
    const char* where;  // how the second part goes on
  } rows[] = {
      {"no JSON", NSString("abc"), kFragment},
      {"empty text", NSString(""), ""},
      {"a fragment", NSString("7"), kFragment},
      {"text in quotes", NSString("\"x\""), ""},
      {"cut", NSString("{\"a\": 1"), ""},
      {"on another line", NSString("[1,\n 2,\n x]"), "Unexpected character 'x' around line 3, column 2."},
      {"half a pair", NSString(std::u16string{u'[', u'"', 0xD800, u'"', u']'}), ""},
      {"empty bytes", NSData::data(), ""},
      {"bytes that are no text", bytes("[\"\xFF\"]"), ""},
      {"bytes that are no JSON", bytes("abc"), kFragment},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSString line = kvt_JSONString(row.receiver);
    ASSERT_TRUE(line.hasPrefix(kUnreadable)) << line;
    const NSString where = line.substringFromIndex(NSString(kUnreadable).length());
    EXPECT_GT(where.length(), 0u);
    EXPECT_NE(where, "unsupported");
    if (*row.where != '\0') {
      EXPECT_EQ(where, row.where);
    }
  }
}

TEST(JSONString, WhatJSONCannotHoldRaisesNothing) {
  id deep = NSArray::array();
  for (int i = 0; i < 600; ++i) deep = NSArray{deep};
  const NSMutableArray circular = NSMutableArray::array();
  circular.addObject(circular);
  const struct {
    const char* what;
    id receiver;
    NSString expected;
  } rows[] = {
      {"a date", NSArray{NSDate::date()}, "JSON Parse Error: Invalid type in JSON write (NSDate) unsupported"},
      {"an object", NSDictionary{{"k", make<ExtensionPlain>()}},
       "JSON Parse Error: Invalid type in JSON write (ExtensionPlain) unsupported"},
      {"another key", NSDictionary{{1, 1}},
       "JSON Parse Error: Invalid (non-string) key in JSON dictionary unsupported"},
      {"NaN", NSArray{NAN}, "JSON Parse Error: Invalid number value (NaN) in JSON write unsupported"},
      {"too deep", deep, nullptr},
      {"in itself", circular, nullptr},
      {"half a pair", NSArray{std::u16string{0xD800}}, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    NSString line;
    EXPECT_NO_THROW(line = kvt_JSONString(row.receiver));
    EXPECT_TRUE(line.hasPrefix("JSON Parse Error: ")) << line;
    EXPECT_GT(line.length(), NSString("JSON Parse Error: ").length() + 10);
    if (row.expected) {
      EXPECT_EQ(line, row.expected);
    }
  }
  circular.removeAllObjects();
}

}  // namespace
}  // namespace kvt
