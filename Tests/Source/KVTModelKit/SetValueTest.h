// Every kind of JSON value, every kind of property, and what the one becomes in the other: shared by the tests of
// values.
#pragma once

#include <KVTFoundation/KVTModelKit/KVTModel.h>
#include <KVTFoundation/KVTModelKit/ModelValue.h>
#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <string>

#include "ModelKitTest.h"

union SetUnion {
  std::int32_t number;
  double ratio;
};
KVT_UNION_ENCODING(SetUnion, number, ratio)

namespace kvt::modeltest {

class SetInner : public NSObject {
 public:
  int32_t a = 0;
  int32_t b = 0;
  KVT_MODEL(SetInner, a, b)
};
class SetInnerSub : public SetInner {
 public:
  KVT_MODEL(SetInnerSub)
};

class SetAll : public NSObject {
 public:
  bool aBool = false;
  std::int8_t anInt8 = 0;
  std::uint8_t aUInt8 = 0;
  std::int16_t anInt16 = 0;
  std::uint16_t aUInt16 = 0;
  std::int32_t anInt32 = 0;
  std::uint32_t aUInt32 = 0;
  std::int64_t anInt64 = 0;
  std::uint64_t aUInt64 = 0;
  float aFloat = 0;
  double aDouble = 0;
  long double aLongDouble = 0;

  NSString string;
  NSMutableString mutableString;
  NSValue value;
  NSNumber number;
  NSDecimalNumber decimal;
  NSData data;
  NSMutableData mutableData;
  NSDate date;
  NSURL url;
  NSArray array;
  NSMutableArray mutableArray;
  NSDictionary dictionary;
  NSMutableDictionary mutableDictionary;
  NSSet set;
  NSMutableSet mutableSet;

  Ref<SetInner> inner;
  id anything;
  id unknown;  // of a class that nobody knows
  NSAttributedString attributed;
  Class cls;
  SEL selector;
  Block<void()> block;
  void* pointer = nullptr;
  const void* constPointer = nullptr;
  char* text = nullptr;
  CGSize size;
  SetUnion either{};
  std::int32_t numbers[3] = {};

  static void kvtDescribe(ClassBuilder<SetAll>& c) {
    c.property<&SetAll::unknown>("unknown", {.encoding = "@\"SetNobodyHasThisName\""});
  }
  KVT_MODEL(SetAll, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat, aDouble,
            aLongDouble, string, mutableString, value, number, decimal, data, mutableData, date, url, array,
            mutableArray, dictionary, mutableDictionary, set, mutableSet, inner, anything, attributed, cls, selector,
            block, pointer, constPointer, text, size, either, numbers)
};

inline int pointee = 0;

// ---- the values -------------------------------------------------------------------------------------------

struct Value {
  const char* name;
  id value;
};

inline std::vector<Value> values() {
  const double infinity = std::numeric_limits<double>::infinity();
  const std::int32_t numbers[3] = {7, 8, 9};
  SetUnion either{};
  either.number = 77;
  return {
      {"none", nullptr},
      {"null", NSNull::null()},
      {"true", NSNumber(true)},
      {"false", NSNumber(false)},
      {"12", NSNumber(12)},
      {"-3", NSNumber(-3)},
      {"300", NSNumber(300)},
      {"max", NSNumber(UINT64_MAX)},
      {"min", NSNumber(INT64_MIN)},
      {"decimal", NSDecimalNumber::decimalNumberWithString("12345678901234567890123")},
      {"decimal -5.75", NSDecimalNumber::decimalNumberWithString("-5.75")},
      {"3.75", NSNumber(3.75)},
      {"-3.75", NSNumber(-3.75)},
      {"1e300", NSNumber(1e300)},
      {"nan", NSNumber(std::numeric_limits<double>::quiet_NaN())},
      {"inf", NSNumber(infinity)},
      {"-inf", NSNumber(-infinity)},
      {"\"12\"", NSString("12")},
      {"\"12px\"", NSString("12px")},
      {"\"YES\"", NSString("YES")},
      {"\"no\"", NSString("no")},
      {"\"(null)\"", NSString("(null)")},
      {"\"3.7\"", NSString("3.7")},
      {"\"\"", NSString("")},
      {"\"abc\"", NSString("abc")},
      {"\"1.0e400\"", NSString("1.0e400")},
      {"\"1.0e39\"", NSString("1.0e39")},
      {"date text", NSString("2014-01-20")},
      {"no date text", NSString("2014-01-20T12:24:48.1")},
      {"url text", NSString("http://a.b/c")},
      {"padded url text", NSString(" \thttp://a.b/c \r\n")},
      {"blank text", NSString(" \t\r\n")},
      {"no url text", NSString("not a url")},
      {"class text", NSString("NSArray")},
      {"selector text", NSString("a:b:")},
      {"mutable text", NSMutableString::stringWithString("12")},
      {"array", NSArray{1, "x"}},
      {"mutable array", NSMutableArray{1, "x"}},
      {"dictionary", NSDictionary{{"a", 1}}},
      {"mutable dictionary", NSMutableDictionary{{"a", 1}}},
      {"set", NSSet{1, "x"}},
      {"mutable set", NSMutableSet{1, "x"}},
      {"data", NSData(std::string_view("abc"))},
      {"mutable data", NSMutableData::dataWithBytes_length("abc", 3)},
      {"no text data", NSData(std::string_view("\xFF\xFE"))},
      {"date", NSDate::dateWithTimeIntervalSince1970(1000)},
      {"url", NSURL::URLWithString("http://a.b/d")},
      {"attributed", NSAttributedString::initWithString("plain")},
      {"pointer", NSValue::valueWithPointer(&pointee)},
      {"size", NSValue::valueWithSize({3, 4})},
      {"union", NSValue::of(either)},
      {"c array", NSValue::valueWithBytes_objCType(numbers, "[3i]")},
      {"class", classOf<NSDate>()},
      {"block", Block<void()>([] {})},
      {"inner", make<SetInner>()},
      {"sub inner", make<SetInnerSub>()},
      {"all", make<SetAll>()},
  };
}

// ---- what a property holds afterwards ---------------------------------------------------------------------

inline std::string hex(const NSData& data) {
  std::string text;
  for (unsigned char c : data.view()) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", c);
    text += two;
  }
  return text;
}

/// One line that tells any two values of these tests apart; "m" in front of what can be changed.
inline std::string render(const id& value) {
  auto list = [](const auto& elements, const char* open, const char* close) {
    std::string text;
    for (const id& each : elements) text += (text.empty() ? "" : ",") + render(each);
    return open + text + close;
  };
  if (!value) return "nil";
  if (value.is<NSNull>()) return "null";
  if (NSString text = value.as<NSString>()) return (value.is<NSMutableString>() ? "m\"" : "\"") + text.str() + "\"";
  if (auto number = value.as<NSDecimalNumber>()) return "decimal " + number.stringValue().str();
  if (auto number = value.as<NSNumber>()) return (number.isBool() ? "bool " : "number ") + number.stringValue().str();
  if (auto data = value.as<NSData>()) return (value.is<NSMutableData>() ? "mdata " : "data ") + hex(data);
  if (auto date = value.as<NSDate>()) return "date " + NSNumber(date.timeIntervalSince1970()).stringValue().str();
  if (auto url = value.as<NSURL>()) return "url " + url.absoluteString().str();
  if (auto array = value.as<NSArray>()) return list(array, value.is<NSMutableArray>() ? "m[" : "[", "]");
  if (auto set = value.as<NSSet>()) return list(set, value.is<NSMutableSet>() ? "m{" : "{", "}");
  if (auto dictionary = value.as<NSDictionary>()) {
    std::string text;
    for (const auto& [key, object] : dictionary) text += render(key) + "=" + render(object) + ";";
    return (value.is<NSMutableDictionary>() ? "m(" : "(") + text + ")";
  }
  if (auto inner = value.as<SetInner>()) {
    return std::string(class_getName(value.class_())) + " " + std::to_string(inner->a) + " " + std::to_string(inner->b);
  }
  if (Class cls = value.asClass()) return std::string("class ") + class_getName(cls);
  return "an object of " + std::string(class_getName(value.class_()));
}

/// One property: how it is filled before, and what is in it afterwards.
struct Target {
  const char* name;
  std::function<void(SetAll&, const id& before)> prepare;
  std::function<std::string(const SetAll&, const id& given, const id& before)> read;
  /// What the property holds beforehand.
  std::function<id()> before;
};

/// "=" for the value itself, "kept" for what was there, else what it holds.
inline std::string compare(const id& now, const id& given, const id& before) {
  if (!now) return "nil";
  if (isIdentical(now, given)) return "=";
  if (isIdentical(now, before)) return "kept";
  return render(now);
}

template <class H>
Target object(const char* name, H SetAll::*member, std::function<id()> before) {
  return {name, [member](SetAll& model, const id& object) { model.*member = shareAs<H>(object.object()); },
          [member](const SetAll& model, const id& given, const id& previous) {
            return compare(id(borrow, (model.*member).object()), given, previous);
          },
          std::move(before)};
}

template <class T>
Target plain(const char* name, T SetAll::*member, T before, std::function<std::string(const T&)> text) {
  return {name, [member, before](SetAll& model, const id&) { model.*member = before; },
          [member, before, text](const SetAll& model, const id&, const id&) {
            return std::memcmp(&(model.*member), &before, sizeof before) == 0 ? "kept" : text(model.*member);
          },
          [] { return id(); }};
}

struct ValueRow {
  Target property;
  /// What every value does that is not named below.
  const char* otherwise;
  std::map<std::string, std::string> results;
};

inline void expectRow(const ValueRow& row) {
  SCOPED_TRACE(row.property.name);
  auto meta = metaOf(classOf<SetAll>(), row.property.name);
  ASSERT_TRUE(meta);
  std::size_t used = 0;
  for (const Value& value : values()) {
    SCOPED_TRACE(value.name);
    auto found = row.results.find(value.name);
    used += found != row.results.end();
    const std::string expected = found != row.results.end() ? found->second : row.otherwise;
    auto model = make<SetAll>();
    const id before = row.property.before();
    row.property.prepare(*model, before);
    ModelSetValueForProperty(model, value.value, *meta);
    EXPECT_EQ(row.property.read(*model, value.value, before), expected);
  }
  EXPECT_EQ(used, row.results.size()) << "a result names no value";
}

/// The results, some of them replaced or added.
inline std::map<std::string, std::string> with(std::map<std::string, std::string> results,
                                               const std::map<std::string, std::string>& others) {
  for (const auto& [name, result] : others) results[name] = result;
  return results;
}

}  // namespace kvt::modeltest
