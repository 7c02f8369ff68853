// A model from a JSON text is the model from the dictionary that the text stands for, and the text of a model is the
// text of its JSON object: however either is done, the result is the same to the last bit.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;

class WaysInner : public NSObject {
 public:
  NSString name;
  std::int64_t count = 0;
  KVT_MODEL(WaysInner, name, count)
};

/// One property of each kind that JSON can fill.
class WaysPlain : public NSObject {
 public:
  bool flag = true;
  std::int8_t int8 = 1;
  std::uint16_t uint16 = 1;
  std::int32_t int32 = 1;
  std::int64_t int64 = 1;
  std::uint64_t uint64 = 1;
  float real32 = 1;
  double real64 = 1;
  long double real80 = 1;
  NSString text = "before";
  NSMutableString changing;
  NSNumber number = 1;
  NSDecimalNumber decimal;
  NSValue value;
  NSData data;
  NSMutableData changingData;
  NSDate date;
  NSURL url;
  NSArray list = {"before"};
  NSMutableArray changingList;
  NSDictionary map;
  NSMutableDictionary changingMap;
  NSSet set;
  NSMutableSet changingSet;
  id anything = NSString("before");
  Class cls = classOf<WaysInner>();
  SEL selector = "before:";
  CGSize size{1, 2};
  Ref<WaysInner> inner;
  Ref<WaysPlain> next;
  NSArray models;
  NSMutableArray changingModels;
  NSDictionary modelMap;
  NSSet modelSet;
  static NSDictionary modelContainerPropertyGenericClass() {
    return {
        {"models", "WaysInner"}, {"changingModels", "WaysPlain"}, {"modelMap", "WaysInner"}, {"modelSet", "WaysInner"}};
  }
  KVT_MODEL(WaysPlain, flag, int8, uint16, int32, int64, uint64, real32, real64, real80, text, changing, number,
            decimal, value, data, changingData, date, url, list, changingList, map, changingMap, set, changingSet,
            anything, cls, selector, size, inner, next, models, changingModels, modelMap, modelSet)
};

/// Keys, paths and lists.
class WaysKeys : public NSObject {
 public:
  NSString text, name, url, date, kind, extra;
  std::int64_t count = 5;
  id anything;
  Ref<WaysKeys> next;
  static NSDictionary modelCustomPropertyMapper() {
    return {{"text", "name"},
            {"name", "name"},
            {"url", "inner.name"},
            {"date", "map.a.b"},
            {"kind", NSArray{"id", "kind", "inner.kind"}},
            {"extra", "inner..x"},
            {"count", ""}};
  }
  KVT_MODEL(WaysKeys, text, name, url, date, kind, extra, count, anything, next)
};

/// Hooks, and setters of its own.
class WaysHooks : public NSObject {
 public:
  NSString name;
  NSString trail;
  std::int64_t count = 0;
  Ref<WaysHooks> next;
  NSArray models;
  void setCount(std::int64_t value) { count = value < 0 ? -1 : value; }
  void setName(const NSString& value) {
    name = value;
    trail = trail + NSString("n");
  }
  static NSArray modelPropertyBlacklist() { return {"trail"}; }
  static NSDictionary modelContainerPropertyGenericClass() { return {{"models", "WaysHooks"}}; }
  static Class modelCustomClassForDictionary(const NSDictionary& dictionary);
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) {
    if (dictionary["map"].is<NSNull>()) return {};
    trail = trail + NSString(dictionary.allKeys().description());
    return dictionary;
  }
  bool modelCustomTransformFromDictionary(const NSDictionary& dictionary) {
    trail = trail + NSString(dictionary.description());
    return !dictionary["list"].is<NSNull>();
  }
  bool modelCustomTransformToDictionary(const NSMutableDictionary& dictionary) {
    dictionary.setObject_forKey(trail ? trail : NSString(""), "trail");
    return count >= 0;
  }
  static void kvtDescribe(ClassBuilder<WaysHooks>& c) {
    c.method<&WaysHooks::setCount>("setCount:").method<&WaysHooks::setName>("setName:");
  }
  KVT_MODEL(WaysHooks, name, trail, count, next, models)
};
class WaysChosen : public WaysHooks {
 public:
  id anything;
  KVT_MODEL(WaysChosen, anything)
};
Class WaysHooks::modelCustomClassForDictionary(const NSDictionary& dictionary) {
  if (dictionary["kind"] == NSString("chosen")) return classOf<WaysChosen>();
  if (dictionary["kind"] == NSString("other")) return classOf<WaysPlain>();
  return {};
}

/// Without a C++ type.
Class builtClass() {
  static const Class cls = [] {
    ClassMaker maker("WaysBuilt");
    maker.property("name", "@\"NSString\"", "C").property("count", "q").property("real32", "f").property("flag", "B");
    maker.property("inner", "@\"WaysInner\"")
        .property("next", "@\"WaysBuilt\"")
        .property("models", "@\"NSArray<WaysInner>\"");
    maker.property("anything", "@").property("cls", "#").property("number", "@\"NSNumber\"");
    return maker.make();
  }();
  return cls;
}

// ---- texts
// ----------------------------------------------------------------------------------------------------------------

class Texts {
 public:
  explicit Texts(std::uint64_t seed) : random_(seed) {}

  std::string object(int depth) {
    std::string text = "{" + blank();
    const unsigned count = below(depth > 0 ? 5 : 30);
    for (unsigned i = 0; i < count; ++i) {
      if (i > 0) text += "," + blank();
      text += key() + blank() + ":" + blank() + value(depth + 1) + blank();
    }
    return text + "}";
  }

 private:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  bool oneIn(unsigned n) { return below(n) == 0; }
  std::string blank() { return oneIn(6) ? (oneIn(2) ? " " : "\n\t\r ") : ""; }
  template <std::size_t N>
  const char* any(const char* const (&list)[N]) {
    return list[below(N)];
  }

  std::string key() {
    static const char* const kKeys[] = {"flag",     "int8",
                                        "uint16",   "int32",
                                        "int64",    "uint64",
                                        "real32",   "real64",
                                        "real80",   "text",
                                        "changing", "number",
                                        "decimal",  "value",
                                        "data",     "changingData",
                                        "date",     "url",
                                        "list",     "changingList",
                                        "map",      "changingMap",
                                        "set",      "changingSet",
                                        "anything", "cls",
                                        "selector", "size",
                                        "inner",    "next",
                                        "models",   "changingModels",
                                        "modelMap", "modelSet",
                                        "name",     "count",
                                        "kind",     "id",
                                        "a",        "b",
                                        "x",        "inner.name",
                                        "map.a.b",  "inner..x",
                                        "trail",    "",
                                        "extra"};
    std::string text = any(kKeys);
    // A key may be spelt with escapes, and then it is the same key; or be almost one.
    if (!text.empty() && oneIn(12)) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(text[0]));
      text = escaped + text.substr(1);
    } else if (oneIn(30)) {
      text += oneIn(2) ? "\\u0000" : "s";
    }
    return '"' + text + '"';
  }

  std::string value(int depth) {
    static const char* const kScalars[] = {
        "null",
        "true",
        "false",
        "0",
        "-0",
        "1",
        "-1",
        "12",
        "300",
        "-129",
        "65536",
        "2147483648",
        "-2147483649",
        "9223372036854775807",
        "-9223372036854775808",
        "9223372036854775808",
        "18446744073709551615",
        "18446744073709551616",
        "123456789012345678901234567890",
        "0.1",
        "-2.5",
        "3.75",
        "1e3",
        "1E-3",
        "1e300",
        "4.9e-324",
        "123456789.12345678901234",
        "0.30000000000000004",
        "1e39",
        "-1e39",
        "3.0",
        "\"\"",
        "\"text\"",
        "\"12\"",
        "\"12px\"",
        "\"3.7\"",
        "\" 5\"",
        "\"true\"",
        "\"YES\"",
        "\"no\"",
        "\"(null)\"",
        "\"1.0e400\"",
        "\"nan\"",
        "\"2014-01-20\"",
        "\"2014-01-20T12:24:48+08:00\"",
        "\"2014-01-20 12:24:48.123\"",
        "\"http:\\/\\/a.b\\/c\"",
        "\" http://a.b \"",
        "\"not a url\"",
        "\"NSArray\"",
        "\"a:b:\"",
        "\"\\u00e9\\ud83d\\ude00\"",
        "\"\xC3\xA9\xF0\x9F\x98\x80\"",
        "\"a\\u0000b\"",
        "\"\\\"\\\\\\n\"",
        "\"chosen\"",
        "\"other\"",
        "\"a somewhat longer text that does not fit into any small buffer whatsoever\""};
    if (depth > 4) return any(kScalars);
    switch (below(8)) {
      case 0:
      case 1: return object(depth);
      case 2: {
        std::string text = "[" + blank();
        const unsigned count = below(5);
        for (unsigned i = 0; i < count; ++i) text += (i > 0 ? "," : "") + blank() + value(depth + 1) + blank();
        return text + "]";
      }
      default: return any(kScalars);
    }
  }

  std::mt19937_64 random_;
};

// ---- comparing
// --------------------------------------------------------------------------------------------------------------

/// Where two values differ: "" when nowhere. Classes, number types, bits and the order of keys count.
std::string difference(const id& a, const id& b) {
  if (!a || !b) return !a && !b ? "" : "nil";
  if (isIdentical(a, b)) return "";
  if (a.class_() != b.class_()) return std::string(class_getName(a.class_())) + " and " + class_getName(b.class_());
  auto elements = [](const auto& x, const auto& y) -> std::string {
    if (x.count() != y.count()) return "count";
    const NSArray left = NSArray::arrayWithRange(x), right = NSArray::arrayWithRange(y);
    for (NSUInteger i = 0; i < left.count(); ++i) {
      if (const std::string inner = difference(left[i], right[i]); !inner.empty())
        return "[" + std::to_string(i) + "]" + inner;
    }
    return "";
  };
  if (auto number = a.as<NSNumber>()) {
    const auto other = b.as<NSNumber>();
    const bool same = std::strcmp(number.objCType(), other.objCType()) == 0 && number == other &&
                      number.isBool() == other.isBool() &&
                      std::signbit(number.doubleValue()) == std::signbit(other.doubleValue());
    return same ? "" : number.stringValue().str() + " and " + other.stringValue().str();
  }
  if (auto list = a.as<NSArray>()) return elements(list, b.as<NSArray>());
  if (auto set = a.as<NSSet>()) return elements(set, b.as<NSSet>());
  if (auto map = a.as<NSDictionary>()) {
    const auto other = b.as<NSDictionary>();
    const std::string keys = elements(map.allKeys(), other.allKeys());
    return keys.empty() ? elements(map.allValues(), other.allValues()) : "keys" + keys;
  }
  auto meta = _KVTModelMeta::metaWithClass(a.class_());
  if (meta->nsType != KVTEncodingTypeNSUnknown || meta->keyMappedCount == 0) return a == b ? "" : "value";
  for (const id& each : meta->allPropertyMetas) {
    auto property = each.as<_KVTModelPropertyMeta>();
    if (!property->isKVCCompatible) continue;
    const std::string inner = difference(a.valueForKey(property->name), b.valueForKey(property->name));
    if (!inner.empty()) return "." + property->name.str() + inner;
  }
  if (auto plain = a.as<WaysPlain>()) {
    const auto other = b.as<WaysPlain>();
    if (plain->real80 != other->real80 || plain->selector != other->selector) return ".real80 or selector";
  }
  if (auto hooks = a.as<WaysHooks>(); hooks && !(hooks->trail == b.as<WaysHooks>()->trail)) return ".trail";
  return "";
}

/// The JSON of an object through its JSON object; nil when there is none.
NSData throughObject(const id& value) {
  const id json = kvt_modelToJSONObject(value);
  return NSJSONSerialization::isValidJSONObject(json) ? NSJSONSerialization::dataWithJSONObject_options_error(json)
                                                      : NSData();
}

int expectSame(Class cls, const NSString& text) {
  const NSData data = text.dataUsingEncoding(NSUTF8StringEncoding);
  const id object = NSJSONSerialization::JSONObjectWithData_options_error(data);
  const id byObject = kvt_modelWithDictionary(cls, object);
  int models = 0;
  for (const id& json : {id(text), id(text.mutableCopy()), id(data)}) {
    const id model = kvt_modelWithJSON(cls, json);
    EXPECT_EQ(difference(model, byObject), "") << class_getName(cls) << " of " << text;
    // One that is there already is filled alike.
    const id left = modeltest::newInstance(cls), right = modeltest::newInstance(cls);
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(kvt_modelSetWithJSON(left, json), kvt_modelSetWithDictionary(right, object)) << text;
      EXPECT_EQ(difference(left, right), "") << class_getName(cls) << " filled from " << text;
    }
    EXPECT_EQ(kvt_modelToJSONData(model), throughObject(model)) << text;
    EXPECT_EQ(kvt_modelToJSONString(left),
              NSString::stringWithData_encoding(throughObject(right), NSUTF8StringEncoding))
        << text;
    models += static_cast<bool>(model);
  }
  const NSString listed = NSString("[") + text + NSString(",7,") + text + NSString("]");
  const NSArray byText = kvt_modelArrayWithClass_json(cls, listed);
  EXPECT_EQ(difference(byText, kvt_modelArrayWithClass_array(cls, modeltest::parse(listed).as<NSArray>())), "") << text;
  EXPECT_EQ(kvt_modelToJSONData(byText), throughObject(byText)) << text;
  const NSDictionary map = kvt_modelDictionaryWithClass_json(cls, text);
  EXPECT_EQ(difference(map, kvt_modelDictionaryWithClass_dictionary(cls, object.as<NSDictionary>())), "") << text;
  return models;
}

TEST(TwoWays, TextAndDictionary) {
  Texts texts(20140120);
  const Class classes[] = {classOf<WaysPlain>(), classOf<WaysKeys>(), classOf<WaysHooks>(), classOf<WaysInner>(),
                           builtClass()};
  int models = 0;
  for (int i = 0; i < 600 && !testing::Test::HasFailure(); ++i) {
    const NSString text = texts.object(0);
    ASSERT_TRUE(modeltest::parse(text)) << text;
    for (Class cls : classes) models += expectSame(cls, text);
  }
  EXPECT_GT(models, 5000);
}

TEST(TwoWays, TextsThatAreNoJSON) {
  Texts texts(7);
  std::mt19937_64 random(7);
  int broken = 0;
  for (int i = 0; i < 1500 && !testing::Test::HasFailure(); ++i) {
    std::string text = texts.object(1);
    const std::size_t at = random() % text.size();
    switch (random() % 3) {
      case 0: text.erase(at, 1); break;
      case 1: text.insert(at, 1, "{}[],:\"\\0a\x01 "[random() % 12]); break;
      default: text.resize(at);
    }
    const id object = NSJSONSerialization::JSONObjectWithData_options_error(NSData(std::string_view(text)));
    for (Class cls : {classOf<WaysPlain>(), classOf<WaysKeys>(), classOf<WaysHooks>(), builtClass()}) {
      const id byText = kvt_modelWithJSON(cls, NSData(std::string_view(text)));
      EXPECT_EQ(difference(byText, kvt_modelWithDictionary(cls, object)), "") << text;
      // A text that breaks off in the middle has set nothing of what is there.
      const id model = modeltest::newInstance(cls), untouched = modeltest::newInstance(cls);
      if (!object.is<NSDictionary>()) {
        EXPECT_FALSE(kvt_modelSetWithJSON(model, NSData(std::string_view(text))));
        EXPECT_EQ(difference(model, untouched), "") << text;
      }
    }
    broken += !object;
  }
  EXPECT_GT(broken, 700);
}

TEST(TwoWays, EscapedAndDoubledKeys) {
  const char* const texts[] = {
      R"({"\u006eame":"escaped"})",
      R"({"name":"1","\u006eame":"2"})",
      R"({"\u006eame":"1","name":"2"})",
      R"({"name":"1","name":null})",
      R"({"name":"1","count":2,"name":"3"})",
      R"({"count":"x","count":5})",
      R"({"inner":{"name":"1"},"inner":{"count":2}})",
      R"({"inner":{"name":"1"},"inner":null})",
      R"({"next":{"count":1},"next":{"name":"2"}})",
      R"({"models":[{"name":"1"}],"models":[]})",
      R"({"models":[{"name":"1"}],"models":7})",
      R"({"anything":[1],"anything":{"a":1}})",
      R"({"name\u0000":"x"})",
      R"({"na\u0000me":"x"})",
      R"({"":1,"":2})",
      R"({"inner.name":"literal","inner":{"name":"path"}})",
      R"({"inner":{"name":"path"},"inner.name":"literal"})",
      R"({"inner":{"name":"path"},"inner":{"x":"y"}})",
      R"({"id":1,"kind":2,"id":null})",
      R"({"text":"\ud83d\ude00","name":"\u00e9\u0000\/"})",
  };
  for (const char* text : texts) {
    for (Class cls :
         {classOf<WaysPlain>(), classOf<WaysKeys>(), classOf<WaysHooks>(), classOf<WaysInner>(), builtClass()}) {
      expectSame(cls, text);
    }
  }
}

TEST(TwoWays, AReplacedSetterIsSeenByBoth) {
  const NSString text = R"({"name":"n","count":5,"inner":{"name":"i"},"models":[{"count":7}]})";
  ASSERT_TRUE(kvt_modelWithJSON(builtClass(), text));
  for (const char* selector : {"setName:", "setCount:"}) {
    const Method method = class_getInstanceMethod(classOf<WaysInner>(), selector);
    const IMP original = method_setImplementation(method, reinterpret_cast<IMP>(+[](Object*, SEL) {}));
    expectSame(classOf<WaysInner>(), text);
    expectSame(classOf<WaysPlain>(), text);
    const id model = kvt_modelWithJSON(classOf<WaysInner>(), text);
    EXPECT_EQ(model.as<WaysInner>()->count, selector == std::string("setName:") ? 5 : 0);
    method_setImplementation(method, original);
    EXPECT_EQ(kvt_modelWithJSON(classOf<WaysInner>(), text).as<WaysInner>()->count, 5);
  }
}

TEST(TwoWays, AReplacedGetterIsSeenByBoth) {
  auto inner = kvt_modelWithJSON<WaysInner>(R"({"name":"n","count":5})");
  EXPECT_EQ(kvt_modelToJSONString(inner), R"({"name":"n","count":5})");
  const Method method = class_getInstanceMethod(classOf<WaysInner>(), "count");
  const IMP original =
      method_setImplementation(method, reinterpret_cast<IMP>(+[](Object*, SEL) -> std::int64_t { return 9; }));
  EXPECT_EQ(kvt_modelToJSONString(inner), R"({"name":"n","count":9})");
  EXPECT_EQ(kvt_modelToJSONData(inner), throughObject(inner));
  method_setImplementation(method, original);
  EXPECT_EQ(kvt_modelToJSONString(inner), R"({"name":"n","count":5})");
}

TEST(TwoWays, AHookThatIsAddedLaterIsSeenByBoth) {
  ClassMaker maker("WaysLater");
  const Class cls = maker.property("count", "q").make();
  const NSString text = R"({"count":5})";
  EXPECT_TRUE(kvt_modelWithJSON(cls, text));
  EXPECT_EQ(kvt_modelToJSONString(kvt_modelWithJSON(cls, text)), text);
  ASSERT_TRUE(class_addMethod(cls, "modelCustomTransformFromDictionary:",
                              reinterpret_cast<IMP>(+[](Object*, SEL, Object*) { return false; }), "B24@0:8@16"));
  ASSERT_TRUE(class_addMethod(cls, "modelCustomTransformToDictionary:",
                              reinterpret_cast<IMP>(+[](Object*, SEL, Object*) { return false; }), "B24@0:8@16"));
  KVTClassInfo::classInfoWithClass(cls)->setNeedUpdate();
  EXPECT_FALSE(kvt_modelWithJSON(cls, text));
  EXPECT_FALSE(kvt_modelWithDictionary(cls, modeltest::parse(text)));
  EXPECT_FALSE(kvt_modelToJSONString(modeltest::newInstance(cls)));
  EXPECT_FALSE(kvt_modelToJSONObject(modeltest::newInstance(cls)));
}

TEST(TwoWays, ThreadsReadAndWriteTexts) {
  // The first use of what is remembered of a class for texts may happen on any thread.
  std::vector<std::string> results(8);
  std::vector<std::thread> threads;
  const NSString text =
      R"({"name":"n","count":5,"next":{"name":"m","models":[{"count":1},{"kind":"chosen"}]},"models":[{}]})";
  for (std::size_t i = 0; i < results.size(); ++i) {
    threads.emplace_back([&, i] {
      for (int n = 0; n < 50; ++n) {
        for (Class cls : {classOf<WaysPlain>(), classOf<WaysKeys>(), classOf<WaysHooks>(), builtClass()}) {
          const id model = kvt_modelWithJSON(cls, text);
          if (n == 49) results[i] += kvt_modelToJSONString(model).str();
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& each : results) EXPECT_EQ(each, results[0]);
  EXPECT_FALSE(results[0].empty());
}

}  // namespace
}  // namespace kvt
