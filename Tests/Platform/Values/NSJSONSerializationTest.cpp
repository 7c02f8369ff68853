#include <KVTPlatform/Values/NSJSONSerialization.h>

#include <cmath>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSJSONSerializationPrivate.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

id parse(std::string_view text, NSUInteger options = 0, NSError* error = nullptr) {
  return NSJSONSerialization::JSONObjectWithData_options_error(NSData(text), options, error);
}

id parseFragment(std::string_view text) { return parse(text, NSJSONReadingFragmentsAllowed); }

std::string write(const id& object, NSUInteger options = 0) {
  NSError error;
  const NSData data = NSJSONSerialization::dataWithJSONObject_options_error(object, options, &error);
  if (!data) return "(nil)";
  EXPECT_FALSE(error);
  return std::string(data.view());
}

std::string debugDescription(const NSError& error) {
  return error.userInfo()[NSDebugDescriptionErrorKey].as<NSString>().str();
}

template <class Action>
std::string raised(Action&& action) {
  try {
    action();
  } catch (const NSException& exception) {
    return exception.what();
  }
  return "(nothing)";
}

// ---- reading ------------------------------------------------------------------------------------------------------

TEST(NSJSONSerialization, ReadsContainers) {
  struct {
    std::string_view text;
    id object;
  } const rows[] = {
      {"[]", NSArray::array()},
      {"{}", NSDictionary::dictionary()},
      {"[1,\"two\",3.5,true,false,null]", NSArray{1, "two", 3.5, true, false, NSNull::null()}},
      {"{\"a\":1,\"b\":[2,{\"c\":{}}]}",
       NSDictionary{{"a", 1}, {"b", NSArray{2, NSDictionary{{"c", NSDictionary::dictionary()}}}}}},
      {" [ [ ] , [ [ ] ] ] ", NSArray{NSArray::array(), NSArray::arrayWithObject(NSArray::array())}},
      {"{\"\":{\"\":\"\"}}", NSDictionary{{"", NSDictionary{{"", ""}}}}},
      {R"({"é😀":"\u00e9\ud83d\ude00"})", NSDictionary{{"é😀", "é😀"}}},
      {R"(["a\u0000b"])", NSArray{std::string_view("a\0b", 3)}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const id object = parse(row.text);
    EXPECT_EQ(object, row.object);
    EXPECT_EQ(object.hash(), row.object.hash());
    EXPECT_EQ(object.class_() == classOf<NSArray>(), row.text.find('[') == row.text.find_first_not_of(' '));
  }
}

TEST(NSJSONSerialization, KeepsTheOrderOfKeys) {
  const NSDictionary object = parse(R"({"z":1,"a":2,"\u006d":3,"z":4,"b":5,"m":6})").as<NSDictionary>();
  // The last value of equal keys counts, in the first one's place; an escaped key is the same key.
  EXPECT_EQ(object.allKeys(), (NSArray{"z", "a", "m", "b"}));
  EXPECT_EQ(object.allValues(), (NSArray{4, 2, 6, 5}));

  const NSDictionary escapedFirst = parse(R"({"\u0061":1,"a":2,"a":3})").as<NSDictionary>();
  EXPECT_EQ(escapedFirst, (NSDictionary{{"a", 3}}));
  const NSDictionary escapedLast = parse(R"({"a":1,"b":2,"\u0061":3})").as<NSDictionary>();
  EXPECT_EQ(escapedLast.allKeys(), (NSArray{"a", "b"}));
  EXPECT_EQ(escapedLast["a"], id(NSNumber(3)));

  // An object within must not make the outer one forget which keys it had.
  const NSDictionary nested = parse(R"({"a":1,"b":{"a":2,"b":{"a":3}},"a":4})").as<NSDictionary>();
  EXPECT_EQ(nested.count(), 2u);
  EXPECT_EQ(nested["a"], id(NSNumber(4)));
  EXPECT_EQ(nested.allKeys(), (NSArray{"a", "b"}));

  // More entries than are searched one by one.
  std::string many = "{";
  for (int i = 0; i < 100; ++i) many += "\"k" + std::to_string(i % 60) + "\":" + std::to_string(i) + ",";
  const NSDictionary large = parse(many + "\"end\":[]}").as<NSDictionary>();
  ASSERT_EQ(large.count(), 61u);
  for (int i = 0; i < 60; ++i) {
    EXPECT_EQ(large["k" + std::to_string(i)], id(NSNumber(i < 40 ? i + 60 : i)));
  }
}

TEST(NSJSONSerialization, TellsKeysApartThatBeginAlike) {
  // Every object teaches the reader which key to expect; none may be taken for another.
  const std::string_view text = R"([{"a":1,"ab":2},{"ab":3,"a":4},{"a":5,"abc":6},{"a":7},{"ab":8,"a":9,"ab":10},
      {"this key has thirty characters":1,"this key has thirty characters!":2},
      {"this key has thirty characters!":3,"this key has thirty characters":4},{"a\"b":5,"a":6,"a\\":7},{"a":8,"a\"b":9},
      {"é":1,"è":2},{"è":3,"é":4},{"a":{"a":{"a":10}},"ab":{"ab":11}},{"a":{"ab":12},"ab":{"a":13}}])";
  const std::string last(30, 'x');
  const NSArray expected = {
      NSDictionary{{"a", 1}, {"ab", 2}},
      NSDictionary{{"ab", 3}, {"a", 4}},
      NSDictionary{{"a", 5}, {"abc", 6}},
      NSDictionary{{"a", 7}},
      NSDictionary{{"ab", 10}, {"a", 9}},
      NSDictionary{{"this key has thirty characters", 1}, {"this key has thirty characters!", 2}},
      NSDictionary{{"this key has thirty characters!", 3}, {"this key has thirty characters", 4}},
      NSDictionary{{"a\"b", 5}, {"a", 6}, {"a\\", 7}},
      NSDictionary{{"a", 8}, {"a\"b", 9}},
      NSDictionary{{"é", 1}, {"è", 2}},
      NSDictionary{{"è", 3}, {"é", 4}},
      NSDictionary{{"a", NSDictionary{{"a", NSDictionary{{"a", 10}}}}}, {"ab", NSDictionary{{"ab", 11}}}},
      NSDictionary{{"a", NSDictionary{{"ab", 12}}}, {"ab", NSDictionary{{"a", 13}}}},
  };
  for (int i = 0; i < 3; ++i) EXPECT_EQ(parse(text), id(expected));
  // A key that ends where the text does
  for (std::size_t size = 0; size < text.size(); ++size) EXPECT_FALSE(parse(text.substr(0, size))) << size;
}

TEST(NSJSONSerialization, SharesKeysAmongDictionaries) {
  const NSArray objects = parse(R"([{"shared key":1},{"shared key":2}])").as<NSArray>();
  const id first = objects[0].as<NSDictionary>().allKeys()[0];
  EXPECT_TRUE(isIdentical(first, objects[1].as<NSDictionary>().allKeys()[0]));
  // Values are not keys, and no two dictionaries share a key that may be changed.
  const NSArray values = parse(R"([{"shared key":"shared key"}])", NSJSONReadingMutableLeaves).as<NSArray>();
  EXPECT_FALSE(values[0].as<NSDictionary>().allKeys()[0].is<NSMutableString>());
  EXPECT_TRUE(values[0].as<NSDictionary>().allValues()[0].is<NSMutableString>());
}

TEST(NSJSONSerialization, ReadsMoreKeysThanItShares) {
  for (int round = 0; round < 3; ++round) {
    std::string text = "[";
    for (int i = 0; i < 3000; ++i) {
      const std::string key = std::to_string(round) + "-" + std::to_string(i % 1500);
      text +=
          "{\"" + key + "\":" + std::to_string(i) + ",\"name\":\"x\",\"" + key + "\":" + std::to_string(i + 1) + "},";
    }
    const NSArray objects = parse(text + "{}]").as<NSArray>();
    ASSERT_EQ(objects.count(), 3001u);
    for (int i = 0; i < 3000; ++i) {
      const std::string key = std::to_string(round) + "-" + std::to_string(i % 1500);
      ASSERT_EQ(objects[static_cast<NSUInteger>(i)], id(NSDictionary{{key.c_str(), i + 1}, {"name", "x"}}));
    }
  }
}

TEST(NSJSONSerialization, ReadsNumbers) {
  const auto decimal = [](const char* text) { return NSDecimalNumber::decimalNumberWithString(text); };
  struct {
    std::string_view text;
    NSNumber value;
    std::string_view type;
  } const rows[] = {
      {"0", 0, "q"},
      {"-1", -1, "q"},
      {"300", 300, "q"},
      {"9223372036854775807", INT64_MAX, "q"},
      {"-9223372036854775808", INT64_MIN, "q"},
      {"9223372036854775808", 9223372036854775808u, "Q"},
      {"18446744073709551615", UINT64_MAX, "Q"},
      {"1.5", 1.5, "d"},
      {"1.0", 1.0, "d"},
      {"1e3", 1000.0, "d"},
      {"0.12345678901234567", 0.12345678901234567, "d"},
      {"1e308", 1e308, "d"},
      {"1e-400", 0.0, "d"},
      {"18446744073709551616", decimal("18446744073709551616"), "decimal"},
      {"-9223372036854775809", decimal("-9223372036854775809"), "decimal"},
      {"12345678901234567890123456789012345678", decimal("12345678901234567890123456789012345678"), "decimal"},
      {"123456789012345678901234567890123456785", decimal("12345678901234567890123456789012345679e1"), "decimal"},
      {"0.123456789012345678", decimal("0.123456789012345678"), "decimal"},
      {"-1234567890.123456789e100", decimal("-1234567890123456789e91"), "decimal"},
      {"1e200", 1e200, "d"},
      {"12345678901234567890e180", 12345678901234567890e180, "d"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const NSNumber number = parseFragment(row.text).as<NSNumber>();
    ASSERT_TRUE(number);
    EXPECT_EQ(number, row.value);
    EXPECT_EQ(number.hash(), row.value.hash());
    EXPECT_EQ(number.is<NSDecimalNumber>(), row.type == "decimal");
    EXPECT_EQ(number.objCType(), row.type == "decimal" ? "d" : row.type);
    EXPECT_FALSE(number.isBool());
  }
  const NSNumber minusZero = parseFragment("-0").as<NSNumber>();
  EXPECT_STREQ(minusZero.objCType(), "d");
  EXPECT_TRUE(std::signbit(minusZero.doubleValue()));
  EXPECT_TRUE(parseFragment("true").as<NSNumber>().isBool());
  EXPECT_TRUE(parseFragment("true").as<NSNumber>().boolValue());
  EXPECT_TRUE(parseFragment("false").as<NSNumber>().isBool());
  EXPECT_FALSE(parseFragment("false").as<NSNumber>().boolValue());
  EXPECT_TRUE(isIdentical(parseFragment("null"), NSNull::null()));
}

TEST(NSJSONSerialization, MakesMutableObjectsOnRequest) {
  const std::string_view text = R"({"list":[{"k":"v"},[],{}],"text":"t"})";
  struct {
    NSUInteger options;
    bool containers, leaves;
  } const rows[] = {
      {0, false, false},
      {NSJSONReadingMutableContainers, true, false},
      {NSJSONReadingMutableLeaves, false, true},
      {NSJSONReadingMutableContainers | NSJSONReadingMutableLeaves, true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.options);
    const NSDictionary object = parse(text, row.options).as<NSDictionary>();
    const NSArray list = object["list"].as<NSArray>();
    ASSERT_EQ(list.count(), 3u);
    EXPECT_EQ(object.is<NSMutableDictionary>(), row.containers);
    EXPECT_EQ(list.is<NSMutableArray>(), row.containers);
    EXPECT_EQ(list[0].is<NSMutableDictionary>(), row.containers);
    EXPECT_EQ(list[1].is<NSMutableArray>(), row.containers);
    EXPECT_EQ(list[2].is<NSMutableDictionary>(), row.containers);
    EXPECT_EQ(object["text"].is<NSMutableString>(), row.leaves);
    EXPECT_EQ(list[0].as<NSDictionary>()["k"].is<NSMutableString>(), row.leaves);
    for (const auto& [key, value] : object) EXPECT_FALSE(key.is<NSMutableString>());
    EXPECT_EQ(object, id(parse(text)));
  }
  // Two results share nothing that can be changed.
  const NSMutableArray one = parse("[[]]", NSJSONReadingMutableContainers).as<NSMutableArray>();
  const NSMutableArray two = parse("[[]]", NSJSONReadingMutableContainers).as<NSMutableArray>();
  one[0].as<NSMutableArray>().addObject("x");
  EXPECT_EQ(two[0].as<NSArray>().count(), 0u);
  const NSMutableDictionary grown = parse(R"({"a":1})", NSJSONReadingMutableContainers).as<NSMutableDictionary>();
  for (int i = 0; i < 50; ++i) grown.setObject_forKey(i, std::to_string(i).c_str());
  EXPECT_EQ(grown.count(), 51u);
  const NSMutableString leaf = parse(R"(["é"])", NSJSONReadingMutableLeaves).as<NSArray>()[0].as<NSMutableString>();
  leaf.appendString("!");
  EXPECT_EQ(leaf, "é!");
}

TEST(NSJSONSerialization, TakesFragmentsOnlyWhenAllowed) {
  for (const std::string_view text : {"1", "\"text\"", "true", "null", " 1.5 "}) {
    SCOPED_TRACE(text);
    NSError error;
    EXPECT_FALSE(parse(text, 0, &error));
    EXPECT_EQ(
        debugDescription(error),
        "JSON text did not start with array or object and option to allow fragments not set around line 1, column " +
            std::to_string(text.front() == ' ' ? 2 : 1) + ".");
    EXPECT_TRUE(parse(text, NSJSONReadingFragmentsAllowed));
    EXPECT_TRUE(parse(text, NSJSONReadingAllowFragments | NSJSONReadingMutableContainers));
  }
  EXPECT_FALSE(parseFragment("1 2"));
  EXPECT_FALSE(parseFragment(""));
  EXPECT_FALSE(parseFragment("\"open"));
}

std::string encoded(std::u32string_view text, std::size_t unit, bool bigEndian) {
  std::string bytes;
  const auto put = [&](std::uint32_t value) {
    for (std::size_t i = 0; i < unit; ++i) {
      const std::size_t shift = bigEndian ? unit - 1 - i : i;
      bytes.push_back(static_cast<char>(value >> (8 * shift)));
    }
  };
  for (const std::uint32_t c : text) {
    if (unit == 2 && c >= 0x10000) {
      put(0xD800 + ((c - 0x10000) >> 10));
      put(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      put(c);
    }
  }
  return bytes;
}

struct TestEncoding {
  std::size_t unit;
  bool bigEndian;
};
constexpr TestEncoding kWideEncodings[] = {{2, false}, {2, true}, {4, false}, {4, true}};

TEST(NSJSONSerialization, DetectsTheEncoding) {
  const NSDictionary expected = {{"ключ", NSArray{"é€😀", 1, NSNull::null()}}, {"a", "b"}};
  const std::u32string text = U"{\"ключ\":[\"é€😀\",1,null],\"a\":\"b\"}";
  EXPECT_EQ(parse("\xEF\xBB\xBF{\"ключ\":[\"é€😀\",1,null],\"a\":\"b\"}"), id(expected));
  for (const auto& [unit, bigEndian] : kWideEncodings) {
    SCOPED_TRACE(testing::Message() << unit * 8 << (bigEndian ? " BE" : " LE"));
    EXPECT_EQ(parse(encoded(text, unit, bigEndian)), id(expected));
    EXPECT_EQ(parse(encoded(U"\uFEFF" + text, unit, bigEndian)), id(expected));
    // The shortest texts, and one whose second character is beyond ASCII
    EXPECT_EQ(parseFragment(encoded(U"7", unit, bigEndian)), id(NSNumber(7)));
    EXPECT_EQ(parseFragment(encoded(U"\"山\"", unit, bigEndian)), id(NSString("山")));
    EXPECT_EQ(parse(encoded(U"[]", unit, bigEndian)), id(NSArray::array()));
    EXPECT_FALSE(parseFragment(encoded(U"\uFEFF", unit, bigEndian)));
    EXPECT_FALSE(parseFragment(encoded(U"[\uFEFF]", unit, bigEndian)));
  }
}

TEST(NSJSONSerialization, RefusesBrokenEncodings) {
  struct {
    std::string bytes;
    std::int64_t index, line, column;
    std::string_view message;
  } const rows[] = {
      {"[\"\xFF\"]", 2, 1, 3, "Text that is not UTF-8 around line 1, column 3."},
      {"\xEF\xBB\xBF[\n\"\xC3\"]", 6, 2, 2, "Text that is not UTF-8 around line 2, column 2."},
      {"[\"\xED\xA0\x80\"]", 2, 1, 3, "Unpaired surrogate around line 1, column 3."},
      {encoded(U"[\"é\xD800\"]", 2, false), 6, 1, 4, "Unpaired surrogate around line 1, column 4."},
      {encoded(U"[\"\xDC00\xD800\"]", 2, true), 4, 1, 3, "Unpaired surrogate around line 1, column 3."},
      {encoded(U"\uFEFF[\"\xD83D", 2, true), 6, 1, 3, "Unpaired surrogate around line 1, column 3."},
      {encoded(U"[\"\xD83Dx\"]", 2, true), 4, 1, 3, "Unpaired surrogate around line 1, column 3."},
      {encoded(U"[\"\xD83D\xDE00\"]", 4, false), 8, 1, 3, "Unpaired surrogate around line 1, column 3."},
      {encoded(U"[]", 2, false) + " ", 4, 1, 3,
       "Text that is neither UTF-8 nor UTF-16 nor UTF-32 around line 1, column 3."},
      {encoded(U"[]", 4, true) + "\0\0"s, 8, 1, 3,
       "Text that is neither UTF-8 nor UTF-16 nor UTF-32 around line 1, column 3."},
      {encoded(U"[", 4, true) + "\0\x11\0\0"s, 4, 1, 2,
       "Text that is neither UTF-8 nor UTF-16 nor UTF-32 around line 1, column 2."},
      // What is wrong with the text is counted in bytes of the data, whatever the encoding.
      {encoded(U"[\"é😀\",x]", 2, false), 14, 1, 7, "Unexpected character 'x' around line 1, column 7."},
      {encoded(U"\uFEFF[\"é😀\",x]", 2, true), 16, 1, 7, "Unexpected character 'x' around line 1, column 7."},
      {encoded(U"[\"é😀\",x]", 4, false), 24, 1, 7, "Unexpected character 'x' around line 1, column 7."},
      {"\xEF\xBB\xBF[\"é😀\",x]", 13, 1, 7, "Unexpected character 'x' around line 1, column 7."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    NSError error;
    EXPECT_FALSE(parse(row.bytes, 0, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(debugDescription(error), row.message);
    EXPECT_EQ(error.userInfo()[NSJSONSerializationErrorIndexKey], id(NSNumber(row.index)));
    EXPECT_EQ(error.userInfo()[NSJSONSerializationErrorLineKey], id(NSNumber(row.line)));
    EXPECT_EQ(error.userInfo()[NSJSONSerializationErrorColumnKey], id(NSNumber(row.column)));
  }
}

TEST(NSJSONSerialization, ReportsWhatIsWrong) {
  NSError error;
  EXPECT_FALSE(parse("{\n \"a\": 1,\n \"é\": x\n}", 0, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_EQ(error.code(), NSPropertyListReadCorruptError);
  EXPECT_EQ(error.code(), 3840);
  EXPECT_EQ(error.localizedDescription(), "The data couldn’t be read because it isn’t in the correct format.");
  EXPECT_EQ(error.userInfo()["NSDebugDescription"].as<NSString>(), "Unexpected character 'x' around line 3, column 7.");
  EXPECT_EQ(error.userInfo()["NSJSONSerializationErrorIndex"], id(NSNumber(18)));
  EXPECT_EQ(error.userInfo()["NSJSONSerializationErrorLine"], id(NSNumber(3)));
  EXPECT_EQ(error.userInfo()["NSJSONSerializationErrorColumn"], id(NSNumber(7)));

  EXPECT_FALSE(parse("", 0, &error));
  EXPECT_EQ(debugDescription(error), "Unable to parse empty data.");
  EXPECT_EQ(error.userInfo()[NSJSONSerializationErrorIndexKey], id(NSNumber(0)));
  EXPECT_FALSE(parse("[\"open", 0, &error));
  EXPECT_EQ(debugDescription(error), "Unterminated string around line 1, column 2.");

  // Without a place to report to, and with one when all is well
  EXPECT_FALSE(parse("[", 0, nullptr));
  NSError untouched;
  EXPECT_TRUE(parse("[]", 0, &untouched));
  EXPECT_FALSE(untouched);
}

TEST(NSJSONSerialization, RaisesForNilData) {
  EXPECT_EQ(raised([] { NSJSONSerialization::JSONObjectWithData_options_error(nullptr); }),
            "NSInvalidArgumentException: *** +[NSJSONSerialization JSONObjectWithData:options:error:]: data parameter "
            "is nil");
}

TEST(NSJSONSerialization, LetsGoOfEverythingWhenATextIsBroken) {
  // What was made before the offence must go; a leak is seen by the sanitizer.
  const std::string_view text =
      R"({"own\u0020key":{"deep":["a",[1000,2000,{"x":"y","\u0061":"z"}],123456789012345678901234567890]},"k":"v"})";
  ASSERT_TRUE(parse(text));
  for (std::size_t size = 0; size < text.size(); ++size) {
    EXPECT_FALSE(parse(text.substr(0, size), NSJSONReadingMutableContainers | NSJSONReadingMutableLeaves));
  }
}

TEST(NSJSONSerialization, ReadsOnManyThreads) {
  const std::string text = R"([{"id":1,"name":"a"},{"id":2,"name":"b","more":{"id":[1,2,3]}}])";
  const id expected = parse(text);
  std::vector<id> results(8);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < results.size(); ++t) {
    threads.emplace_back([&, t] {
      // Often enough for the keys to be made permanent, by several threads at the same time.
      for (int i = 0; i < 300; ++i) results[t] = parse(text);
    });
  }
  for (std::thread& thread : threads) thread.join();
  // The threads and their keys are gone, what they made is not.
  for (const id& result : results) EXPECT_EQ(result, expected);
}

id onlyKey(std::string_view text) { return parse(text).as<NSDictionary>().allKeys()[0]; }

TEST(NSJSONSerialization, KeepsFrequentKeysForGood) {
  const std::string_view text = R"({"a frequent key":[{"a frequent key":1}]})";
  EXPECT_GT(ObjectAccess::retainCount(onlyKey(R"({"a rare key":1})").object()), 0);
  for (int i = 0; i < 300; ++i) parse(text);
  const id key = onlyKey(text);
  EXPECT_LT(ObjectAccess::retainCount(key.object()), 0);  // no longer counted
  id others[4];
  std::vector<std::thread> threads;
  for (id& other : others) threads.emplace_back([&] { other = onlyKey(text); });
  for (std::thread& thread : threads) thread.join();
  for (const id& other : others) EXPECT_TRUE(isIdentical(other, key));
}

/// Reads when its thread ends, after the thread's own keys may be gone.
struct ReadsLate {
  ~ReadsLate() { *result = parse(R"({"late":[{"late":1}]})"); }
  id* result = nullptr;
};

TEST(NSJSONSerialization, ReadsWhileAThreadEnds) {
  id late;
  std::thread([&late] {
    static thread_local ReadsLate reader;  // made before the keys, so it goes after them
    reader.result = &late;
    parse(R"({"early":1})");
  }).join();
  EXPECT_EQ(late, id(NSDictionary{{"late", NSArray{NSDictionary{{"late", 1}}}}}));
}

// ---- writing ------------------------------------------------------------------------------------------------------

TEST(NSJSONSerialization, WritesCompactText) {
  NSMutableString emptyMutable = NSMutableString::string();
  struct {
    id object;
    std::string_view json;
  } const rows[] = {
      {NSArray::array(), "[]"},
      {NSDictionary::dictionary(), "{}"},
      {NSMutableArray::array(), "[]"},
      {NSArray{1, -2, 3.5, true, false, NSNull::null(), "x"}, R"([1,-2,3.5,true,false,null,"x"])"},
      {NSDictionary{{"z", 1}, {"a", NSArray{NSDictionary{{"b", "c"}}}}}, R"({"z":1,"a":[{"b":"c"}]})"},
      {NSArray{"a/b\\\"\n", "é😀"}, R"(["a\/b\\\"\n","é😀"])"},
      {NSArray{std::string_view("\0", 1)}, R"(["\u0000"])"},
      {NSDictionary{{"k/\n", "v"}}, R"({"k\/\n":"v"})"},
      {NSArray{emptyMutable, NSMutableString::stringWithString("m")}, R"(["","m"])"},
      {NSArray{INT64_MIN, UINT64_MAX, static_cast<signed char>(-5), static_cast<unsigned char>(200)},
       "[-9223372036854775808,18446744073709551615,-5,200]"},
      {NSArray{3.0, -0.0, 0.1, 1e20, 0.1f, 0.5f}, "[3,-0,0.1,1e+20,0.10000000149011612,0.5]"},
      {NSArray{'c'}, "[99]"},
      {NSArray{NSDecimalNumber::decimalNumberWithString("12345678901234567890.123"),
               NSDecimalNumber::decimalNumberWithString("-0.5"), NSDecimalNumber::decimalNumberWithString("1e30")},
       "[12345678901234567890.123,-0.5,1000000000000000000000000000000]"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    EXPECT_EQ(write(row.object), row.json);
    EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(row.object));
    EXPECT_EQ(parse(row.json), row.object);
  }
}

TEST(NSJSONSerialization, WritesWithOptions) {
  const NSDictionary object = {{"key", "a/b"},
                               {"list", NSArray{1, NSArray{2, 3}, NSArray::array(), NSDictionary::dictionary()}},
                               {"a", NSDictionary{{"x", NSNull::null()}, {"b", true}}}};
  EXPECT_EQ(write(object, NSJSONWritingPrettyPrinted), R"({
  "key" : "a\/b",
  "list" : [
    1,
    [
      2,
      3
    ],
    [

    ],
    {

    }
  ],
  "a" : {
    "x" : null,
    "b" : true
  }
})");
  EXPECT_EQ(write(object, NSJSONWritingSortedKeys | NSJSONWritingWithoutEscapingSlashes),
            R"({"a":{"b":true,"x":null},"key":"a/b","list":[1,[2,3],[],{}]})");
  EXPECT_EQ(write(NSDictionary{{"b", 1}, {"a", 2}}, NSJSONWritingSortedKeys | NSJSONWritingPrettyPrinted),
            "{\n  \"a\" : 2,\n  \"b\" : 1\n}");
  EXPECT_EQ(write(NSArray::array(), NSJSONWritingPrettyPrinted), "[\n\n]");
  EXPECT_EQ(write(NSDictionary::dictionary(), NSJSONWritingPrettyPrinted), "{\n\n}");
  EXPECT_EQ(write(NSArray{1}, NSJSONWritingPrettyPrinted), "[\n  1\n]");
}

TEST(NSJSONSerialization, SortsKeysByUnits) {
  const NSDictionary object = {{"b", 0},   {"ab", 0},     {"a", 0},      {"", 0},   {"B", 0},
                               {"a10", 0}, {"a9", 0},     {"é", 0},      {"z", 0},  {"\uFFFD", 0},
                               {"😀", 0},   {"\uD7FF", 0}, {"\uE000", 0}, {"山", 0}, {"😁", 0}};
  EXPECT_EQ(write(object, NSJSONWritingSortedKeys),
            "{\"\":0,\"B\":0,\"a\":0,\"a10\":0,\"a9\":0,\"ab\":0,\"b\":0,\"z\":0,\"é\":0,\"山\":0,\"\uD7FF\":0,\"😀\":0,"
            "\"😁\":0,\"\uE000\":0,\"\uFFFD\":0}");
}

TEST(NSJSONSerialization, WritesFragmentsOnlyWhenAllowed) {
  struct {
    id object;
    std::string_view json;
  } const rows[] = {
      {NSString("a"), "\"a\""}, {NSNumber(1), "1"},     {NSNumber(true), "true"},
      {NSNull::null(), "null"}, {NSNumber(0.5), "0.5"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    EXPECT_EQ(
        raised([&] { NSJSONSerialization::dataWithJSONObject_options_error(row.object); }),
        "NSInvalidArgumentException: *** +[NSJSONSerialization dataWithJSONObject:options:error:]: Invalid top-level "
        "type in JSON write");
    EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(row.object));
    EXPECT_EQ(write(row.object, NSJSONWritingFragmentsAllowed), row.json);
    EXPECT_EQ(write(row.object, NSJSONWritingFragmentsAllowed | NSJSONWritingPrettyPrinted), row.json);
  }
}

TEST(NSJSONSerialization, RefusesWhatCannotBeWritten) {
  const double infinity = std::numeric_limits<double>::infinity();
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(0);
  const NSMutableArray cycle = NSMutableArray::array();
  cycle.addObject(cycle);
  cycle.addObject(cycle);
  const NSMutableDictionary ring = NSMutableDictionary::dictionary();
  ring.setObject_forKey(NSArray{ring}, "ring");
  struct {
    id object;
    std::string_view reason;
  } const rows[] = {
      {NSArray{date}, "Invalid type in JSON write (NSDate)"},
      {NSDictionary{{"a", NSArray{NSData("x")}}}, "Invalid type in JSON write (NSData)"},
      {NSDictionary{{1, "a"}}, "Invalid (non-string) key in JSON dictionary"},
      {NSDictionary{{"a", 1}, {NSNull::null(), 2}}, "Invalid (non-string) key in JSON dictionary"},
      {NSArray{std::numeric_limits<double>::quiet_NaN()}, "Invalid number value (NaN) in JSON write"},
      {NSArray{std::numeric_limits<float>::quiet_NaN()}, "Invalid number value (NaN) in JSON write"},
      {NSArray{NSDecimalNumber::notANumber()}, "Invalid number value (NaN) in JSON write"},
      {NSArray{infinity}, "Invalid number value (infinite) in JSON write"},
      {NSDictionary{{"a", -infinity}}, "Invalid number value (infinite) in JSON write"},
      {NSArray{id(classOf<NSString>())}, "Invalid type in JSON write (NSString)"},
      {cycle, "Too many nested arrays or dictionaries in JSON write"},
      {ring, "Too many nested arrays or dictionaries in JSON write"},
      {date, "*** +[NSJSONSerialization dataWithJSONObject:options:error:]: Invalid top-level type in JSON write"},
      {nullptr, "*** +[NSJSONSerialization dataWithJSONObject:options:error:]: value parameter is nil"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.reason);
    EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(row.object));
    for (const NSUInteger options : {NSUInteger{0}, NSUInteger{NSJSONWritingSortedKeys}}) {
      NSError error;
      EXPECT_EQ(raised([&] { NSJSONSerialization::dataWithJSONObject_options_error(row.object, options, &error); }),
                "NSInvalidArgumentException: " + std::string(row.reason));
      EXPECT_FALSE(error);
    }
  }
  cycle.removeAllObjects();
  ring.removeAllObjects();
}

TEST(NSJSONSerialization, Writes512Levels) {
  for (const bool dictionaries : {false, true}) {
    id object = dictionaries ? id(NSDictionary{{"a", 1}}) : id(NSArray{1});
    for (int level = 2; level <= 512; ++level)
      object = dictionaries ? id(NSDictionary{{"a", object}}) : id(NSArray{object});
    EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(object));
    EXPECT_EQ(parse(write(object)), object);
    object = NSArray{object};
    EXPECT_FALSE(NSJSONSerialization::isValidJSONObject(object));
    EXPECT_EQ(raised([&] { write(object); }),
              "NSInvalidArgumentException: Too many nested arrays or dictionaries in JSON write");
  }
}

TEST(NSJSONSerialization, ReportsTextWithoutUTF8) {
  const NSString lone(u"a\xD83D"sv);
  for (const id& object : {id(NSArray{lone}), id(NSDictionary{{lone, 1}}), id(NSDictionary{{"k", NSArray{1, lone}}})}) {
    for (const NSUInteger options : {NSUInteger{0}, NSUInteger{NSJSONWritingSortedKeys}}) {
      NSError error;
      EXPECT_FALSE(NSJSONSerialization::dataWithJSONObject_options_error(object, options, &error));
      ASSERT_TRUE(error);
      EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
      EXPECT_EQ(error.code(), NSPropertyListWriteInvalidError);
      EXPECT_EQ(error.localizedDescription(), "The data couldn’t be written because it isn’t in the correct format.");
      EXPECT_EQ(debugDescription(error), "Text with an unpaired surrogate in JSON write");
      EXPECT_FALSE(NSJSONSerialization::dataWithJSONObject_options_error(object, options, nullptr));
    }
    EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(object));
  }
}

TEST(NSJSONSerialization, WritesTextThatIsKeptAsUTF16) {
  const NSMutableString text = NSMutableString::stringWithString("é");
  text.characterAtIndex(0);
  text.appendString("😀");
  EXPECT_EQ(write(NSArray{text}), "[\"é😀\"]");
  EXPECT_EQ(write(NSArray{NSString(u"山\xD83D\xDE00"sv)}), "[\"山😀\"]");
}

// ---- the short ways of the library ----------------------------------------------------------------------------------

TEST(NSJSONSerialization, ReadsAndWritesStringsDirectly) {
  NSError error;
  EXPECT_EQ(json::objectWithText("[1]", 0, &error), id(NSArray{1}));
  EXPECT_EQ(json::objectWithString("[\"é\"]", 0, &error), id(NSArray{"é"}));
  EXPECT_FALSE(error);
  EXPECT_FALSE(json::objectWithString(nullptr, 0, &error));
  EXPECT_FALSE(error);
  EXPECT_FALSE(json::objectWithString("[\"é\",x]", 0, &error));
  EXPECT_EQ(debugDescription(error), "Unexpected character 'x' around line 1, column 6.");
  error = nullptr;
  EXPECT_FALSE(json::objectWithString(NSString(u"[\"é\xDC00\"]"sv), 0, &error));
  EXPECT_EQ(debugDescription(error), "Unpaired surrogate around line 1, column 4.");
  EXPECT_EQ(error.userInfo()[NSJSONSerializationErrorIndexKey], id(NSNumber(6)));
  EXPECT_EQ(json::stringWithObject(NSArray{"é", 1}, 0, nullptr), "[\"é\",1]");
  EXPECT_FALSE(json::stringWithObject(NSArray{NSString(u"\xDC00"sv)}, 0, &error));
}

TEST(NSJSONSerialization, AnswersItsSelectors) {
  const id cls = classOf<NSJSONSerialization>();
  EXPECT_TRUE(cls.respondsToSelector("JSONObjectWithData:options:error:"));
  EXPECT_TRUE(cls.respondsToSelector("dataWithJSONObject:options:error:"));
  EXPECT_TRUE(objc_msgSend<bool>(cls, "isValidJSONObject:", NSArray::array()));
  NSError error;
  const id object = objc_msgSend<id>(cls, "JSONObjectWithData:options:error:", NSData("[x]"), NSUInteger{0}, &error);
  EXPECT_FALSE(object);
  EXPECT_EQ(debugDescription(error), "Unexpected character 'x' around line 1, column 2.");
  EXPECT_FALSE(id(NSString("x")).is<NSJSONSerialization>());
}

// ---- hostile texts --------------------------------------------------------------------------------------------------

TEST(NSJSONSerialization, StandsHostileTexts) {
  // Each would take hours if it cost quadratic time.
  EXPECT_FALSE(parse(std::string(100'000, '[')));
  std::string deep;
  for (int i = 0; i < 100'000; ++i) deep += "{\"a\":[";
  EXPECT_FALSE(parse(deep));

  const std::size_t large = 100'000'000;
  {
    const NSArray array = parse("[\"" + std::string(large, 'x') + "\"]").as<NSArray>();
    EXPECT_EQ(array[0].as<NSString>().length(), large);
  }
  EXPECT_FALSE(parse("[" + std::string(10'000'000, '7') + "]"));
  EXPECT_EQ(parse("[0." + std::string(10'000'000, '3') + "]").as<NSArray>()[0],
            id(NSDecimalNumber::decimalNumberWithString("0.33333333333333333333333333333333333333")));

  const std::string key(1'000'000, 'k');
  const NSDictionary longKeys = parse("{\"" + key + "\":1,\"" + key + "x\":2,\"" + key + "\":3}").as<NSDictionary>();
  EXPECT_EQ(longKeys.count(), 2u);
  EXPECT_EQ(longKeys[key], id(NSNumber(3)));

  for (const std::string_view repeated : {"\"a\":1,", "\"\\u0061\":1,", "\"this key is too long to be shared\":1,"}) {
    std::string text = "{";
    for (int i = 0; i < 1'000'000; ++i) text += repeated;
    const NSDictionary object = parse(text + "\"b\":2}").as<NSDictionary>();
    EXPECT_EQ(object.count(), 2u);
    EXPECT_EQ(object["b"], id(NSNumber(2)));
  }
  std::string distinct = "{";
  for (int i = 0; i < 300'000; ++i) distinct += "\"" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  const NSDictionary object = parse(distinct + "\"0\":-1}").as<NSDictionary>();
  EXPECT_EQ(object.count(), 300'000u);
  EXPECT_EQ(object["0"], id(NSNumber(-1)));
  EXPECT_EQ(object["299999"], id(NSNumber(299'999)));
}

}  // namespace
}  // namespace kvt
