// JSON from models and other objects.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSTimeZone.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <string>

#include "ModelKitTest.h"

union ToUnion {
  std::int32_t number;
  double ratio;
};
KVT_UNION_ENCODING(ToUnion, number, ratio)

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::newInstance;

const double kInfinity = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

class ToPlain : public NSObject {
 public:
  NSString name;
  int64_t count = 0;
  KVT_MODEL(ToPlain, name, count)
};
class ToNothing : public NSObject {
 public:
  NSString fixed = "x";
  static void kvtDescribe(ClassBuilder<ToNothing>& c) { c.property<&ToNothing::fixed>("fixed", {.readonly = true}); }
  KVT_MODEL(ToNothing)
};

/// A class with properties of these names, all of them untyped objects, and an instance of it that holds these values.
id modelWith(const std::string& name, const std::vector<std::pair<std::string, id>>& values,
             const NSDictionary& mapper = nullptr) {
  ClassMaker maker(name);
  for (const auto& [property, value] : values) maker.property(property, "@");
  if (mapper) maker.answers("modelCustomPropertyMapper", mapper);
  const id model = newInstance(maker.make());
  for (const auto& [property, value] : values) model.setValue_forKey(value, NSString(property));
  return model;
}

/// What a value becomes as a property of a model: nil when it is left out.
id converted(const id& value) {
  static int number = 0;
  const id model = modelWith("ToHolder" + std::to_string(number++), {{"value", value}});
  return kvt_modelToJSONObject(model).as<NSDictionary>()["value"];
}

/// A zone for as long as this lives.
class DefaultZone {
 public:
  explicit DefaultZone(const char* name) { NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneWithName(name)); }
  ~DefaultZone() { NSTimeZone::setDefaultTimeZone(nullptr); }
};

// ---- what comes out at all --------------------------------------------------------------------------------

TEST(ModelToJSON, OnlyDictionariesAndArraysComeOut) {
  const id nothing[] = {
      nullptr,
      NSNull::null(),
      NSString("text"),
      NSMutableString::stringWithString("text"),
      NSNumber(1),
      NSDecimalNumber::one(),
      NSDate::date(),
      NSURL::URLWithString("http://a.b"),
      NSAttributedString::initWithString("x"),
      NSData(std::string_view("x")),
      NSMutableData::dataWithLength(2),
      NSValue::valueWithSize({1, 2}),
      make<ToNothing>(),
      newInstance(classOf<NSObject>()),
      classOf<ToPlain>(),
      Block<void()>([] {}),
  };
  for (const id& each : nothing) {
    SCOPED_TRACE(each.description().str());
    EXPECT_FALSE(kvt_modelToJSONObject(each));
    EXPECT_FALSE(kvt_modelToJSONData(each));
    EXPECT_FALSE(kvt_modelToJSONString(each));
  }
  struct Row {
    id value;
    const char* text;
  };
  auto plain = make<ToPlain>();
  plain->name = "Ann";
  const Row rows[] = {
      {NSArray::array(), "[]"},
      {NSArray{1, "x", true}, R"([1,"x",true])"},
      {NSMutableArray{1}, "[1]"},
      {NSSet::set(), "[]"},
      {NSSet{1}, "[1]"},
      {NSMutableSet{"x"}, R"(["x"])"},
      {NSDictionary::dictionary(), "{}"},
      {NSDictionary{{"a", 1}}, R"({"a":1})"},
      {NSMutableDictionary{{"a", NSNull::null()}}, R"({"a":null})"},
      {plain, R"({"name":"Ann","count":0})"},
      {NSArray{plain, plain}, R"([{"name":"Ann","count":0},{"name":"Ann","count":0}])"},
      {NSDictionary{{"k", plain}}, R"({"k":{"name":"Ann","count":0}})"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const id object = kvt_modelToJSONObject(row.value);
    ASSERT_TRUE(object.is<NSDictionary>() || object.is<NSArray>());
    EXPECT_EQ(object, modeltest::parse(row.text));
    EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(object));
    const NSData data = kvt_modelToJSONData(row.value);
    EXPECT_EQ(modeltest::parse(NSString(data.view())), modeltest::parse(row.text));
    EXPECT_EQ(kvt_modelToJSONString(row.value), NSString(data.view()));
  }
  EXPECT_EQ(kvt_modelToJSONString(NSArray{1, 2}), "[1,2]") << "compact";
}

// ---- values -----------------------------------------------------------------------------------------------

TEST(ModelToJSON, ValuesAsPropertiesOfAModel) {
  const NSString text = "text";
  const NSNumber number = 12.5;
  const NSMutableString changing = NSMutableString::stringWithString("m");
  EXPECT_TRUE(isIdentical(converted(text), text));
  EXPECT_TRUE(isIdentical(converted(changing), changing)) << "as it is, though it may change";
  EXPECT_TRUE(isIdentical(converted(number), number));
  EXPECT_TRUE(isIdentical(converted(NSDecimalNumber::one()), NSDecimalNumber::one()));
  EXPECT_EQ(converted(NSNumber(true)), NSNumber(true));
  EXPECT_TRUE(converted(NSNumber(true)).as<NSNumber>().isBool());
  EXPECT_EQ(converted(NSURL::URLWithString("http://a.b/c?d=e")), NSString("http://a.b/c?d=e"));
  EXPECT_EQ(converted(NSURL::URLWithString_relativeToURL("c", NSURL::URLWithString("http://a.b/"))),
            NSString("http://a.b/c"))
      << "absolute";
  EXPECT_EQ(converted(NSAttributedString::initWithString("plain")), NSString("plain"));
  EXPECT_FALSE(converted(NSData(std::string_view("x"))));
  EXPECT_FALSE(converted(NSNull::null())) << "the null object of a property is left out";
  EXPECT_FALSE(converted(nullptr));
  EXPECT_FALSE(converted(make<ToNothing>()));
  EXPECT_FALSE(converted(NSValue::valueWithSize({1, 2})));
  EXPECT_FALSE(converted(Block<void()>([] {})));
  auto plain = make<ToPlain>();
  plain->count = 3;
  EXPECT_EQ(converted(plain), (NSDictionary{{"count", 3}}));
}

TEST(ModelToJSON, CollectionsThatAreJSONAlready) {
  const id rows[] = {
      NSArray::array(),
      NSArray{1, "x", NSNull::null(), NSArray{NSNull::null()}, NSDictionary{{"a", NSNull::null()}}},
      NSMutableArray{1, NSNull::null()},
      NSDictionary::dictionary(),
      NSDictionary{{"a", NSNull::null()}, {"b", NSArray{1, NSDictionary{{"c", true}}}}},
      NSMutableDictionary{{"a", 1}},
  };
  for (const id& row : rows) {
    SCOPED_TRACE(row.description().str());
    EXPECT_TRUE(isIdentical(kvt_modelToJSONObject(row), row));
    EXPECT_TRUE(isIdentical(converted(row), row));
  }
}

TEST(ModelToJSON, NullVanishesFromArraysThatAreConverted) {
  const NSURL url = NSURL::URLWithString("http://a.b");
  // Valid as it stands: the nulls stay.
  EXPECT_EQ(kvt_modelToJSONObject(NSArray{1, NSNull::null()}), (NSArray{1, NSNull::null()}));
  // Converted: they go, with everything else that has no JSON; inner arrays that are valid stay whole.
  const NSArray list = {NSNull::null(),
                        url,
                        NSData(std::string_view("x")),
                        "t",
                        5,
                        make<ToNothing>(),
                        NSArray{NSNull::null()},
                        NSArray{NSNull::null(), url},
                        NSValue::valueWithSize({1, 2}),
                        NSSet{url},
                        NSDictionary{{"n", NSNull::null()}}};
  EXPECT_EQ(kvt_modelToJSONObject(list), (NSArray{"http://a.b", "t", 5, NSArray{NSNull::null()}, NSArray{"http://a.b"},
                                                  NSArray{"http://a.b"}, NSDictionary{{"n", NSNull::null()}}}));
  EXPECT_TRUE(kvt_modelToJSONObject(list).is<NSMutableArray>());
  // In dictionaries what has no JSON becomes null.
  const NSDictionary dictionary = {{"null", NSNull::null()},
                                   {"data", NSData(std::string_view("x"))},
                                   {"url", url},
                                   {"nothing", make<ToNothing>()},
                                   {"list", NSArray{NSNull::null(), url}}};
  EXPECT_EQ(kvt_modelToJSONObject(dictionary), (NSDictionary{{"null", NSNull::null()},
                                                             {"data", NSNull::null()},
                                                             {"url", "http://a.b"},
                                                             {"nothing", NSNull::null()},
                                                             {"list", NSArray{"http://a.b"}}}));
  EXPECT_TRUE(kvt_modelToJSONObject(dictionary).is<NSMutableDictionary>());
  EXPECT_EQ(kvt_modelToJSONObject(NSArray{NSData(std::string_view("x"))}), NSArray::array());
}

TEST(ModelToJSON, NumbersThatJSONCannotHold) {
  // A number is what it is; the collection around it is no JSON, and so there are no bytes.
  const NSArray list = {kNaN, 1};
  const id object = kvt_modelToJSONObject(list);
  ASSERT_EQ(object.as<NSArray>().count(), 2u);
  EXPECT_TRUE(std::isnan(object.as<NSArray>()[0].as<NSNumber>().doubleValue()));
}

TEST(ModelToJSON, KeysThatAreNoText) {
  const NSURL url = NSURL::URLWithString("http://a.b");
  const NSDictionary dictionary = {{1, "int"}, {2.5, "double"}, {NSNull::null(), "null"}, {url, url}, {"text", url}};
  const NSDictionary object = kvt_modelToJSONObject(dictionary).as<NSDictionary>();
  EXPECT_EQ(
      object,
      (NSDictionary{
          {"1", "int"}, {"2.5", "double"}, {"<null>", "null"}, {"http://a.b", "http://a.b"}, {"text", "http://a.b"}}));
  EXPECT_TRUE(NSJSONSerialization::isValidJSONObject(object));
}

TEST(ModelToJSON, SetsAreArrays) {
  EXPECT_EQ(kvt_modelToJSONObject(NSSet{1, "x"}), (NSArray{1, "x"}));
  EXPECT_EQ(kvt_modelToJSONObject(NSSet{NSNull::null(), 1}), (NSArray{NSNull::null(), 1})) << "valid as it stands";
  EXPECT_EQ(kvt_modelToJSONObject(NSSet{NSNull::null(), NSURL::URLWithString("u")}), NSArray{"u"});
  EXPECT_EQ(converted(NSMutableSet{NSSet{1}}), (NSArray::arrayWithObject(NSArray{1})));
}

// ---- dates ------------------------------------------------------------------------------------------------

TEST(ModelToJSON, DatesAreWrittenInLocalTime) {
  // 2024-01-01 19:04:05 GMT
  const NSDate date = NSDate::dateWithTimeIntervalSince1970(1704135845);
  // The zone is the one that is current when the first date is written.
  const DefaultZone zone("Asia/Shanghai");
  EXPECT_EQ(converted(date), NSString("2024-01-02T03:04:05+0800"));
  EXPECT_EQ(kvt_modelToJSONObject(NSArray{date, NSDate::dateWithTimeIntervalSince1970(0.9)}),
            (NSArray{"2024-01-02T03:04:05+0800", "1970-01-01T08:00:00+0800"}));
  EXPECT_EQ(kvt_modelToJSONObject(NSDictionary{{"d", date}}), (NSDictionary{{"d", "2024-01-02T03:04:05+0800"}}));
}

// ---- properties of each type ------------------------------------------------------------------------------

class ToEveryType : public NSObject {
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
  NSString text;
  NSNumber number;
  NSURL url;
  NSData data;
  NSArray list;
  NSSet set;
  NSDictionary dictionary;
  Ref<ToPlain> model;
  id anything;
  Class cls;
  SEL selector;
  Block<void()> block;
  void* pointer = nullptr;
  const char* cString = nullptr;
  CGSize size;
  ToUnion either{};
  std::int32_t array[2] = {};
  KVT_MODEL(ToEveryType, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat, aDouble,
            aLongDouble, text, number, url, data, list, set, dictionary, model, anything, cls, selector, block, pointer,
            cString, size, either, array)
};

NSDictionary jsonOf(const id& model) { return kvt_modelToJSONObject(model).as<NSDictionary>(); }

TEST(ModelToJSON, AnEmptyModelWritesItsNumbers) {
  EXPECT_EQ(jsonOf(make<ToEveryType>()), (NSDictionary{{"aBool", false},
                                                       {"anInt8", 0},
                                                       {"aUInt8", 0},
                                                       {"anInt16", 0},
                                                       {"aUInt16", 0},
                                                       {"anInt32", 0},
                                                       {"aUInt32", 0},
                                                       {"anInt64", 0},
                                                       {"aUInt64", 0},
                                                       {"aFloat", 0},
                                                       {"aDouble", 0},
                                                       {"aLongDouble", 0}}));
}

TEST(ModelToJSON, PropertiesOfEachType) {
  auto model = make<ToEveryType>();
  model->aBool = true;
  model->anInt8 = INT8_MIN;
  model->aUInt8 = UINT8_MAX;
  model->anInt16 = INT16_MIN;
  model->aUInt16 = UINT16_MAX;
  model->anInt32 = INT32_MIN;
  model->aUInt32 = UINT32_MAX;
  model->anInt64 = INT64_MIN;
  model->aUInt64 = UINT64_MAX;
  model->aFloat = 0.5f;
  model->aDouble = 0.1;
  model->aLongDouble = 0.1L;
  model->text = "t";
  model->number = 7;
  model->url = NSURL::URLWithString("u");
  model->data = NSData(std::string_view("x"));
  model->list = {1};
  model->set = NSSet{2};
  model->dictionary = {{"k", "v"}};
  model->model = make<ToPlain>();
  model->anything = NSString("any");
  model->cls = classOf<ToPlain>();
  model->selector = "act:with:";
  model->block = [] {};
  model->pointer = model.object();
  model->cString = "c";
  model->size = {1, 2};
  model->either.number = 1;
  const NSDictionary json = jsonOf(model);
  EXPECT_EQ(json, (NSDictionary{{"aBool", true},
                                {"anInt8", INT8_MIN},
                                {"aUInt8", UINT8_MAX},
                                {"anInt16", INT16_MIN},
                                {"aUInt16", UINT16_MAX},
                                {"anInt32", INT32_MIN},
                                {"aUInt32", UINT32_MAX},
                                {"anInt64", INT64_MIN},
                                {"aUInt64", UINT64_MAX},
                                {"aFloat", 0.5f},
                                {"aDouble", 0.1},
                                {"aLongDouble", static_cast<double>(0.1L)},
                                {"text", "t"},
                                {"number", 7},
                                {"url", "u"},
                                {"list", NSArray{1}},
                                {"set", NSArray{2}},
                                {"dictionary", NSDictionary{{"k", "v"}}},
                                {"model", NSDictionary{{"count", 0}}},
                                {"anything", "any"},
                                {"cls", "ToPlain"},
                                {"selector", "act:with:"}}));
  // Boxed at their own width.
  const std::pair<const char*, const char*> codes[] = {
      {"anInt8", "c"},  {"aUInt8", "C"},  {"anInt16", "s"}, {"aUInt16", "S"}, {"anInt32", "i"},     {"aUInt32", "I"},
      {"anInt64", "q"}, {"aUInt64", "Q"}, {"aFloat", "f"},  {"aDouble", "d"}, {"aLongDouble", "d"}, {"aBool", "c"},
  };
  for (const auto& [name, code] : codes) EXPECT_STREQ(json[name].as<NSNumber>().objCType(), code) << name;
  EXPECT_TRUE(json["aBool"].as<NSNumber>().isBool());
  EXPECT_FALSE(json["anInt8"].as<NSNumber>().isBool());
  EXPECT_TRUE(kvt_modelToJSONString(model).containsString("\"aBool\":true"));
}

TEST(ModelToJSON, NaNAndInfinityAreLeftOut) {
  for (double odd : {kNaN, kInfinity, -kInfinity}) {
    auto model = make<ToEveryType>();
    model->aFloat = static_cast<float>(odd);
    model->aDouble = odd;
    model->aLongDouble = odd;
    const NSDictionary json = jsonOf(model);
    EXPECT_FALSE(json["aFloat"]);
    EXPECT_FALSE(json["aDouble"]);
    EXPECT_FALSE(json["aLongDouble"]);
    EXPECT_TRUE(json["anInt64"]);
    EXPECT_TRUE(kvt_modelToJSONString(model));
  }
  // Finite, but not as a double.
  auto model = make<ToEveryType>();
  model->aLongDouble = std::numeric_limits<long double>::max();
  EXPECT_FALSE(jsonOf(model)["aLongDouble"]);
  // A boxed one is a number as it is.
  model = make<ToEveryType>();
  model->number = kNaN;
  EXPECT_TRUE(jsonOf(model)["number"]);
}

TEST(ModelToJSON, ANullObjectInATypedProperty) {
  // Only the null object of an untyped property is left out; what a container holds follows the container's rules.
  auto model = make<ToEveryType>();
  model->anything = NSNull::null();
  model->list = {NSNull::null()};
  model->dictionary = {{"k", NSNull::null()}};
  const NSDictionary json = jsonOf(model);
  EXPECT_FALSE(json["anything"]);
  EXPECT_EQ(json["list"], NSArray{NSNull::null()});
  EXPECT_EQ(json["dictionary"], (NSDictionary{{"k", NSNull::null()}}));
}

TEST(ModelToJSON, AWriteOnlyPropertyIsNotWritten) {
  ClassMaker maker("ToWriteOnly");
  maker.property("shown", "i")
      .describe("hidden", {{"T", "i"}})
      .method(
          "setHidden:", +[](Object*, SEL, int) {}, "v20@0:8i16");
  EXPECT_EQ(jsonOf(newInstance(maker.make())), (NSDictionary{{"shown", 0}}));
}

// ---- keys -------------------------------------------------------------------------------------------------

TEST(ModelToJSON, Keys) {
  struct Row {
    const char* name;
    std::vector<std::pair<std::string, id>> values;
    NSDictionary mapper;
    const char* json;
  };
  const NSString v = "v", w = "w", x = "x";
  const Row rows[] = {
      {"ToKeyName", {{"a", v}}, nullptr, R"({"a":"v"})"},
      {"ToKeyOther", {{"a", v}}, {{"a", "k"}}, R"({"k":"v"})"},
      {"ToKeyDropped", {{"a", v}, {"b", w}}, {{"a", ""}}, R"({"b":"w"})"},
      {"ToKeyAllDropped", {{"a", v}}, {{"a", NSNull::null()}}, "{}"},
      {"ToKeyPath", {{"a", v}}, {{"a", "k.l"}}, R"({"k":{"l":"v"}})"},
      {"ToKeyDeepPath", {{"a", v}}, {{"a", "k.l.m.n"}}, R"({"k":{"l":{"m":{"n":"v"}}}})"},
      {"ToKeyTwoDots", {{"a", v}}, {{"a", "k..l"}}, R"({"k":{"l":"v"}})"},
      {"ToKeyDotBehind", {{"a", v}}, {{"a", "k."}}, R"({"k.":"v"})"},
      {"ToKeyDot", {{"a", v}}, {{"a", "."}}, R"({".":"v"})"},
      {"ToKeyList", {{"a", v}}, {{"a", NSArray{"k", "l"}}}, R"({"k":"v"})"},
      {"ToKeyListPath", {{"a", v}}, {{"a", NSArray{"k.l", "m"}}}, R"({"k":{"l":"v"}})"},
      {"ToKeyListSkips", {{"a", v}}, {{"a", NSArray{"", 1, "m"}}}, R"({"m":"v"})"},
      {"ToKeyListEmptyParts", {{"a", v}}, {{"a", NSArray{"k..l"}}}, R"({"k":{"":{"l":"v"}}})"},
      // Paths that meet.
      {"ToPathsMeet", {{"a", v}, {"b", w}}, {{"a", "k.l"}, {"b", "k.m"}}, R"({"k":{"l":"v","m":"w"}})"},
      {"ToPathsMeetDeeper",
       {{"a", v}, {"b", w}, {"c", x}},
       {{"a", "k.l.m"}, {"b", "k.l.n"}, {"c", "k.o"}},
       R"({"k":{"l":{"m":"v","n":"w"},"o":"x"}})"},
      // Of a chain only the head is written: the one that was registered last.
      {"ToChain", {{"a", v}, {"b", w}}, {{"a", "k"}, {"b", "k"}}, R"({"k":"w"})"},
      {"ToChainReversed", {{"a", v}, {"b", w}}, {{"b", "k"}, {"a", "k"}}, R"({"k":"v"})"},
      {"ToChainOfPaths", {{"a", v}, {"b", w}}, {{"a", "k.l"}, {"b", "k.l"}}, R"({"k":{"l":"w"}})"},
      {"ToChainOfLists", {{"a", v}, {"b", w}}, {{"a", NSArray{"k", "l"}}, {"b", NSArray{"k", "l"}}}, R"({"k":"w"})"},
      {"ToChainByName", {{"a", v}, {"k", w}}, {{"a", "k"}}, R"({"k":"w"})"},
      // The head is written, or nothing is.
      {"ToChainEmptyHead", {{"a", v}, {"b", nullptr}}, {{"a", "k"}, {"b", "k"}}, "{}"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(jsonOf(modelWith(row.name, row.values, row.mapper)), modeltest::parse(row.json));
  }
}

TEST(ModelToJSON, TheFirstWriterOfAKeyWins) {
  // A key, a list's first key, and two spellings of one path lead to one place; which comes first is the mapper's
  // affair.
  const id model =
      modelWith("ToFirstWriter", {{"a", NSString("v")}, {"b", NSString("w")}}, {{"a", "k"}, {"b", NSArray{"k", "l"}}});
  const NSDictionary json = jsonOf(model);
  ASSERT_EQ(json.count(), 1u);
  NSString first;
  for (const auto& [key, meta] : _KVTModelMeta::metaWithClass(model.class_())->mapper) {
    first = model.valueForKey(meta.as<_KVTModelPropertyMeta>()->name).as<NSString>();
    break;
  }
  EXPECT_EQ(json["k"], first);
  const id paths =
      modelWith("ToFirstWriterOfPaths", {{"a", NSString("v")}, {"b", NSString("w")}}, {{"a", "k.l"}, {"b", "k..l"}});
  for (const auto& [key, meta] : _KVTModelMeta::metaWithClass(paths.class_())->mapper) {
    first = paths.valueForKey(meta.as<_KVTModelPropertyMeta>()->name).as<NSString>();
    break;
  }
  EXPECT_EQ(jsonOf(paths), (NSDictionary{{"k", NSDictionary{{"l", first}}}}));
}

TEST(ModelToJSON, APathThatMeetsAValue) {
  // Of a path through a key that holds text, and the key itself, whichever is written first stays; there is never a
  // mixture.
  const id model =
      modelWith("ToConflict", {{"text", NSString("t")}, {"path", NSString("p")}}, {{"text", "k"}, {"path", "k.l"}});
  const NSDictionary json = jsonOf(model);
  const NSDictionary mapper = _KVTModelMeta::metaWithClass(model.class_())->mapper;
  const bool textFirst = mapper.allKeys()[0] == NSString("k");
  EXPECT_EQ(json, textFirst ? (NSDictionary{{"k", "t"}}) : (NSDictionary{{"k", NSDictionary{{"l", "p"}}}}));
  // Arrays are no dictionaries either.
  const id list =
      modelWith("ToConflictArray", {{"list", NSArray{1}}, {"path", NSString("p")}}, {{"list", "k"}, {"path", "k.l"}});
  const NSDictionary listMapper = _KVTModelMeta::metaWithClass(list.class_())->mapper;
  EXPECT_EQ(jsonOf(list), listMapper.allKeys()[0] == NSString("k") ? (NSDictionary{{"k", NSArray{1}}})
                                                                   : (NSDictionary{{"k", NSDictionary{{"l", "p"}}}}));
}

TEST(ModelToJSON, APathIntoADictionaryOfTheModelLeavesThatAlone) {
  const NSMutableDictionary given = {{"own", 1}};
  const NSMutableDictionary inner = {{"deep", 2}};
  given.setObject_forKey(inner, "inner");
  const id model = modelWith("ToMerge", {{"dictionary", given}, {"path", NSString("p")}, {"deeper", NSString("d")}},
                             {{"dictionary", "k"}, {"path", "k.path"}, {"deeper", "k.inner.deeper"}});
  const NSDictionary mapper = _KVTModelMeta::metaWithClass(model.class_())->mapper;
  const NSDictionary json = jsonOf(model);
  // Where the dictionary is written first the paths go into copies of it.
  if (mapper.allKeys()[0] == NSString("k")) {
    EXPECT_EQ(json, modeltest::parse(R"({"k":{"own":1,"inner":{"deep":2,"deeper":"d"},"path":"p"}})"));
    EXPECT_FALSE(isIdentical(json["k"], given));
  } else {
    EXPECT_FALSE(json["k"].as<NSDictionary>()["own"]);
  }
  EXPECT_EQ(given, (NSDictionary{{"own", 1}, {"inner", NSDictionary{{"deep", 2}}}}))
      << "what the model holds is not written to";
  EXPECT_EQ(inner, (NSDictionary{{"deep", 2}}));
}

TEST(ModelToJSON, APathDoesNotReplaceAKeyOfADictionary) {
  const id model = modelWith("ToMergeKeeps", {{"dictionary", NSDictionary{{"l", "own"}}}, {"path", NSString("p")}},
                             {{"dictionary", "k"}, {"path", "k.l"}});
  const NSDictionary mapper = _KVTModelMeta::metaWithClass(model.class_())->mapper;
  EXPECT_EQ(jsonOf(model),
            (NSDictionary{{"k", NSDictionary{{"l", mapper.allKeys()[0] == NSString("k") ? "own" : "p"}}}}));
}

TEST(ModelToJSON, DroppedPropertiesAreNotWritten) {
  const id model = modelWith("ToDropped", {{"a", NSString("v")}, {"b", NSString("w")}},
                             {{"a", NSNull::null()}, {"b", NSArray{"", 1}}});
  EXPECT_EQ(kvt_modelToJSONString(model), "{}");
}

// ---- hooks and bases --------------------------------------------------------------------------------------

class ToHook : public NSObject {
 public:
  NSString name;
  bool refuse = false;
  static NSArray modelPropertyBlacklist() { return {"refuse"}; }
  bool modelCustomTransformToDictionary(const NSMutableDictionary& dictionary) {
    dictionary.setObject_forKey("added", "extra");
    dictionary.removeObjectForKey("name");
    return !refuse;
  }
  KVT_MODEL(ToHook, name, refuse)
};

TEST(ModelToJSON, TheLastHookChangesOrRefuses) {
  auto model = make<ToHook>();
  model->name = "n";
  EXPECT_EQ(jsonOf(model), (NSDictionary{{"extra", "added"}}));
  model->refuse = true;
  EXPECT_FALSE(kvt_modelToJSONObject(model));
  EXPECT_FALSE(kvt_modelToJSONData(model));
  EXPECT_FALSE(kvt_modelToJSONString(model));
  // Inside something else it is what has no JSON.
  auto fine = make<ToHook>();
  EXPECT_EQ(kvt_modelToJSONObject(NSArray{model, fine}), NSArray::arrayWithObject(NSDictionary{{"extra", "added"}}));
  EXPECT_EQ(kvt_modelToJSONObject(NSDictionary{{"a", model}}), (NSDictionary{{"a", NSNull::null()}}));
  EXPECT_EQ(jsonOf(modelWith("ToHoldsRefusal", {{"a", model}, {"b", NSString("x")}})), (NSDictionary{{"b", "x"}}));
}

TEST(ModelToJSON, WhatTheHookPutsInNeedNotBeJSON) {
  ClassMaker maker("ToHookPutsURL");
  maker.property("a", "i").method(
      "modelCustomTransformToDictionary:",
      +[](Object*, SEL, Object* dictionary) {
        id(borrow, dictionary).as<NSMutableDictionary>().setObject_forKey(NSURL::URLWithString("u"), "u");
        return true;
      },
      "B24@0:8@16");
  const id model = newInstance(maker.make());
  EXPECT_TRUE(jsonOf(model)["u"].is<NSURL>());
}

class ToBase : public NSObject {
 public:
  NSString base;
  KVT_MODEL(ToBase, base)
};
class ToDerived : public ToBase {
 public:
  NSString derived;
  Ref<ToDerived> next;
  KVT_MODEL(ToDerived, derived, next)
};

TEST(ModelToJSON, InheritedProperties) {
  auto model = make<ToDerived>();
  model->base = "b";
  model->derived = "d";
  model->next = make<ToDerived>();
  model->next->base = "n";
  EXPECT_EQ(jsonOf(model), modeltest::parse(R"({"base":"b","derived":"d","next":{"base":"n"}})"));
}

TEST(ModelToJSON, ThereAndBack) {
  const char* text =
      R"({"aBool":true,"anInt8":-1,"aUInt8":255,"anInt64":-9223372036854775808,"aUInt64":18446744073709551615,
    "aFloat":0.5,"aDouble":1e-300,"text":"\u0000\"/\u00e9\ud83d\ude00","number":1.5,"url":"http://a.b/?c","list":[null,{"a":[]}],
    "dictionary":{"":null},"model":{"name":"x","count":-1},"anything":{"free":[1]},"cls":"ToPlain","selector":"a:b:"})";
  auto model = kvt_modelWithJSON<ToEveryType>(text);
  ASSERT_TRUE(model);
  const NSString once = kvt_modelToJSONString(model);
  ASSERT_TRUE(once);
  const NSString twice = kvt_modelToJSONString(kvt_modelWithJSON<ToEveryType>(once));
  EXPECT_EQ(once, twice);
  const NSDictionary given = modeltest::parse(text).as<NSDictionary>(),
                     written = modeltest::parse(once).as<NSDictionary>();
  for (const auto& [key, value] : given) EXPECT_EQ(written[key], value) << key;
}

TEST(ModelToJSON, TextWithoutUTF8HasNoBytes) {
  auto model = make<ToPlain>();
  model->name = NSString(std::u16string_view(u"\xD800", 1));
  EXPECT_TRUE(kvt_modelToJSONObject(model));
  EXPECT_FALSE(kvt_modelToJSONData(model));
  EXPECT_FALSE(kvt_modelToJSONString(model));
}

TEST(ModelToJSON, WhatIsNoJSONHasNoBytes) {
  // The writer would raise; nothing here does.
  const id rows[] = {NSArray{kNaN}, NSDictionary{{"a", kInfinity}}};
  for (const id& row : rows) {
    EXPECT_NO_THROW(EXPECT_FALSE(kvt_modelToJSONData(row)));
    EXPECT_NO_THROW(EXPECT_FALSE(kvt_modelToJSONString(row)));
  }
  auto model = make<ToEveryType>();
  model->number = kNaN;
  EXPECT_NO_THROW(EXPECT_FALSE(kvt_modelToJSONString(model)));
}

}  // namespace
}  // namespace kvt
