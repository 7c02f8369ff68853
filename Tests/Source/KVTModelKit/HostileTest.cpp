// Input that nobody sends by accident: each has a defined answer, and none costs more than its length.
#include <KVTFoundation/KVTModelKit/ModelDescription.h>
#include <KVTFoundation/KVTModelKit/ModelValue.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>

#include <cmath>
#include <limits>
#include <string>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::newInstance;

class HostileModel : public NSObject {
 public:
  NSString text;
  int64_t number = 0;
  double ratio = 0;
  float narrow = 0;
  long double wide = 0;
  NSNumber boxed;
  NSDecimalNumber decimal;
  NSDate date;
  NSURL url;
  NSArray list;
  NSDictionary dictionary;
  id anything;
  Ref<HostileModel> next;
  NSArray models;
  static NSDictionary modelContainerPropertyGenericClass() { return {{"models", classOf<HostileModel>()}}; }
  KVT_MODEL(HostileModel, text, number, ratio, narrow, wide, boxed, decimal, date, url, list, dictionary, anything,
            next, models)
};

std::string repeated(std::string_view part, std::size_t count) {
  std::string text;
  text.reserve(part.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

// ---- JSON text --------------------------------------------------------------------------------------------

TEST(Hostile, HundredThousandBrackets) {
  constexpr std::size_t kDepth = 100000;
  const std::string texts[] = {
      repeated("[", kDepth),
      repeated("{", kDepth),
      repeated("]", kDepth),
      repeated("[", kDepth) + repeated("]", kDepth),
      repeated("{\"a\":", kDepth) + "1" + repeated("}", kDepth),
      repeated("[{\"a\":", kDepth) + "1" + repeated("}]", kDepth),
      "{\"list\":" + repeated("[", kDepth) + repeated("]", kDepth) + "}",
      "{\"next\":" + repeated("{\"next\":", kDepth) + "{}" + repeated("}", kDepth) + "}",
      "{\"text\":\"" + repeated("[", kDepth),
  };
  for (const std::string& text : texts) {
    EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSString(text)));
    EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSData(std::string_view(text))));
    EXPECT_FALSE(kvt_modelArrayWithClass_json(classOf<HostileModel>(), NSString(text)));
  }
  // As text in a value brackets are text.
  auto model = kvt_modelWithJSON<HostileModel>(NSString("{\"text\":\"" + repeated("[{", kDepth) + "\"}"));
  EXPECT_EQ(model->text.length(), 2 * kDepth);
  // Many on one level are no depth.
  model = kvt_modelWithJSON<HostileModel>(NSString("{\"list\":[" + repeated("[],", kDepth) + "[]]}"));
  EXPECT_EQ(model->list.count(), kDepth + 1);
}

TEST(Hostile, ATextOfAHundredMegabytes) {
  constexpr std::size_t kSize = 100 << 20;
  std::string text = "{\"text\":\"";
  text.append(kSize, 'x');
  text += "\"}";
  auto model = kvt_modelWithJSON<HostileModel>(NSData(std::string_view(text)));
  text = {};
  ASSERT_TRUE(model);
  EXPECT_EQ(model->text.length(), kSize);
  EXPECT_EQ(model->text.characterAtIndex(kSize - 1), u'x');
  EXPECT_EQ(kvt_modelToJSONData(model).length() > kSize, true);
}

TEST(Hostile, ALongTextForEveryType) {
  const NSString huge = std::string(10000000, '1');
  auto model = make<HostileModel>();
  EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary{{"text", huge},
                                                             {"number", huge},
                                                             {"ratio", huge},
                                                             {"narrow", huge},
                                                             {"wide", huge},
                                                             {"boxed", huge},
                                                             {"decimal", huge},
                                                             {"date", huge},
                                                             {"url", huge},
                                                             {"list", huge},
                                                             {"next", huge},
                                                             {"models", huge}}));
  EXPECT_EQ(model->number, INT64_MAX);
  EXPECT_EQ(model->ratio, static_cast<double>(INT64_MAX));
  EXPECT_EQ(model->boxed, NSNumber(INT64_MAX));
  EXPECT_FALSE(model->decimal) << "too large for a decimal";
  EXPECT_FALSE(model->date);
  EXPECT_EQ(model->url.absoluteString().length(), 10000000u);
  EXPECT_FALSE(model->list);
  EXPECT_FALSE(model->next);
  EXPECT_FALSE(model->models);
  // With a point it is a double, and an infinite one none.
  EXPECT_FALSE(KVTNSNumberCreateFromID(NSString(std::string(10000000, '1') + ".0")));
  EXPECT_EQ(KVTNSNumberCreateFromID(NSString("0." + std::string(10000000, '3'))), NSNumber(1.0 / 3));
  EXPECT_EQ(KVTNSNumberCreateFromID(NSString(std::string(10000000, ' ') + "5")), NSNumber(5));
  EXPECT_EQ(KVTNSNumberCreateFromID(NSString(std::string(10000000, '0') + "5")), NSNumber(5));
}

TEST(Hostile, TenMillionDigits) {
  const std::string digits(10000000, '7');
  // Beyond a double there is no number, and so no JSON.
  EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSString("{\"number\":" + digits + "}")));
  EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSString("{\"number\":1e" + digits + "}")));
  auto model = kvt_modelWithJSON<HostileModel>(NSString("{\"ratio\":0." + digits + ",\"number\":-1e-" + digits + "}"));
  ASSERT_TRUE(model);
  EXPECT_NEAR(model->ratio, 7.0 / 9, 1e-12);
  EXPECT_EQ(model->number, 0);
  model = kvt_modelWithJSON<HostileModel>(NSString("{\"number\":\"" + digits + "\"}"));
  EXPECT_EQ(model->number, INT64_MAX);
}

TEST(Hostile, BrokenUTF8AtEveryPlace) {
  const std::string document = R"({"text":"a","list":["b",{"k":1.5}],"next":{"text":"c"},"number":12})";
  ASSERT_TRUE(kvt_modelWithJSON<HostileModel>(NSString(document)));
  const std::string broken[] = {
      "\x80", "\xC3", "\xC0\xAF", "\xE2\x82", "\xED\xA0\x80", "\xF0\x9F\x98", "\xF4\x90\x80\x80", "\xF8", "\xFF"};
  for (const std::string& bytes : broken) {
    for (std::size_t i = 0; i <= document.size(); ++i) {
      std::string inserted = document, replaced = document;
      inserted.insert(i, bytes);
      EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSData(std::string_view(inserted)))) << "at " << i;
      if (i == document.size()) continue;
      replaced.replace(i, 1, bytes);
      EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSData(std::string_view(replaced)))) << "at " << i;
    }
  }
  // And cut off anywhere.
  for (std::size_t i = 0; i < document.size(); ++i) {
    EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(NSString(document.substr(0, i)))) << i;
  }
}

TEST(Hostile, KeysOfAMegabyte) {
  const std::string key(1 << 20, 'k');
  auto model = kvt_modelWithJSON<HostileModel>(
      NSString("{\"" + key + "\":1,\"dictionary\":{\"" + key + "\":\"v\"},\"text\":\"t\"}"));
  ASSERT_TRUE(model);
  EXPECT_EQ(model->text, "t");
  EXPECT_EQ(model->dictionary[key], NSString("v"));
  EXPECT_EQ(modeltest::parse(kvt_modelToJSONString(model)).as<NSDictionary>()["dictionary"], model->dictionary);
  // As a property's key, plain and as a path of many parts.
  ClassMaker maker("HostileKeys");
  maker.property("plain", "@\"NSString\"").property("path", "@\"NSString\"");
  maker.answers("modelCustomPropertyMapper",
                NSDictionary{{"plain", NSString(key)}, {"path", NSString(repeated("p.", 10000) + "end")}});
  const Class cls = maker.make();
  const id object = kvt_modelWithDictionary(cls, NSDictionary{{NSString(key), "v"}});
  EXPECT_EQ(objc_msgSend<id>(object, "plain"), NSString("v"));
  EXPECT_EQ(modeltest::metaOf(cls, "path")->mappedToKeyPath.count(), 10001u);
}

TEST(Hostile, APathOfTenThousandParts) {
  ClassMaker maker("HostilePath");
  maker.property("path", "@\"NSString\"")
      .answers("modelCustomPropertyMapper", NSDictionary{{"path", NSString(repeated("p.", 10000) + "end")}});
  const Class cls = maker.make();
  NSDictionary input = {{"end", "v"}};
  for (int i = 0; i < 10000; ++i) input = {{"p", input}};
  const id model = kvt_modelWithDictionary(cls, input);
  EXPECT_EQ(objc_msgSend<id>(model, "path"), NSString("v"));
  NSDictionary output = kvt_modelToJSONObject(model).as<NSDictionary>();
  for (int i = 0; i < 10000; ++i) output = output["p"].as<NSDictionary>();
  EXPECT_EQ(output["end"], NSString("v"));
  EXPECT_FALSE(kvt_modelToJSONString(model)) << "deeper than JSON may be";
}

TEST(Hostile, KeysThatComeTwice) {
  auto model = kvt_modelWithJSON<HostileModel>(R"({"text":"1","number":1,"text":"2","number":2,"text":"3"})");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->text, "3");
  EXPECT_EQ(model->number, 2);
  std::string text = "{";
  for (int i = 0; i < 100000; ++i) text += "\"number\":" + std::to_string(i) + ",";
  model = kvt_modelWithJSON<HostileModel>(NSString(text + "\"text\":\"\"}"));
  EXPECT_EQ(model->number, 99999);
}

TEST(Hostile, AHundredThousandKeys) {
  std::string text = "{\"text\":\"t\"";
  for (int i = 0; i < 100000; ++i) text += ",\"k" + std::to_string(i) + "\":" + std::to_string(i);
  auto model = kvt_modelWithJSON<HostileModel>(NSString(text + "}"));
  EXPECT_EQ(model->text, "t");
}

// ---- numbers ----------------------------------------------------------------------------------------------

TEST(Hostile, NaNAndInfinityInEveryFloatingProperty) {
  const double infinity = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
  for (double odd : {nan, infinity, -infinity}) {
    auto model = make<HostileModel>();
    model->ratio = model->narrow = 1;
    EXPECT_TRUE(kvt_modelSetWithDictionary(
        model, NSDictionary{{"ratio", odd}, {"narrow", odd}, {"wide", odd}, {"boxed", odd}, {"decimal", odd}}));
    EXPECT_EQ(model->ratio, 0);
    EXPECT_EQ(model->narrow, 0);
    EXPECT_TRUE(std::isnan(odd) ? std::isnan(model->wide) : model->wide == odd);
    EXPECT_TRUE(model->boxed);
    EXPECT_TRUE(model->decimal.isNotANumber());
    EXPECT_NO_THROW(kvt_modelToJSONString(model));
    EXPECT_NO_THROW(kvt_modelDescription(model));
  }
  for (const char* text : {"nan", "inf", "-inf", "NaN.", "1.0e400", "-1.0e400", "infinity."}) {
    auto model = make<HostileModel>();
    model->ratio = model->narrow = 1;
    model->wide = 1;
    const NSString value = text;
    EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary{{"ratio", value}, {"narrow", value}, {"wide", value}}));
    EXPECT_EQ(model->ratio, 0) << text;
    EXPECT_EQ(model->narrow, 0) << text;
    EXPECT_EQ(model->wide, 0) << text;
  }
}

// ---- depth and circles ------------------------------------------------------------------------------------

/// `{key: {key: … }}` that deep, made by hand.
NSDictionary nested(const char* key, int depth) {
  NSDictionary dictionary = NSDictionary::dictionary();
  for (int i = 0; i < depth; ++i) dictionary = {{key, dictionary}};
  return dictionary;
}

TEST(Hostile, HundredThousandNestedDictionaries) {
  const NSDictionary input = nested("next", 100000);
  // Filling models that deep ends, somewhere, without harm.
  auto model = kvt_modelWithDictionary<HostileModel>(input);
  ASSERT_TRUE(model);
  int depth = 0;
  for (Ref<HostileModel> each = model; each->next; each = each->next) ++depth;
  EXPECT_EQ(depth, 1024);
  EXPECT_NO_THROW(kvt_modelToJSONObject(model));
  EXPECT_FALSE(kvt_modelToJSONString(model)) << "deeper than JSON may be";
  EXPECT_NO_THROW(kvt_modelDescription(model));
  // So does everything else with what is that deep.
  model = kvt_modelWithDictionary<HostileModel>(
      NSDictionary{{"anything", input}, {"dictionary", input}, {"list", NSArray::arrayWithObject(input)}});
  ASSERT_TRUE(model);
  EXPECT_TRUE(isIdentical(model->anything, input));
  EXPECT_NO_THROW(kvt_modelToJSONObject(model));
  EXPECT_NO_THROW(kvt_modelToJSONString(model));
  EXPECT_NO_THROW(kvt_modelDescription(model));
  EXPECT_FALSE(kvt_modelToJSONString(input));
  EXPECT_NO_THROW(kvt_modelDescription(input));
}

TEST(Hostile, ManyNestedArrays) {
  NSArray list = NSArray::array();
  for (int i = 0; i < 100000; ++i) list = NSArray::arrayWithObject(list);
  EXPECT_FALSE(kvt_modelToJSONString(list));
  EXPECT_NO_THROW(kvt_modelToJSONObject(list));
  EXPECT_NO_THROW(kvt_modelDescription(list));
}

TEST(Hostile, DepthThatIsStillFine) {
  // What a text may hold, a model can be made of, and a text again.
  const std::string text = repeated("{\"next\":", 500) + "{\"number\":5}" + repeated("}", 500);
  auto model = kvt_modelWithJSON<HostileModel>(NSString(text));
  ASSERT_TRUE(model);
  Ref<HostileModel> last = model;
  int depth = 0;
  for (; last->next; last = last->next) ++depth;
  EXPECT_EQ(depth, 500);
  EXPECT_EQ(last->number, 5);
  const NSString json = kvt_modelToJSONString(model);
  ASSERT_TRUE(json);
  EXPECT_EQ(kvt_modelToJSONString(kvt_modelWithJSON<HostileModel>(json)), json);
  EXPECT_GT(kvt_modelDescription(model).length(), json.length());
}

TEST(Hostile, ADictionaryThatContainsItself) {
  const NSMutableDictionary circle = {{"text", "t"}};
  circle.setObject_forKey(circle, "next");
  circle.setObject_forKey(NSArray{circle, circle}, "models");
  circle.setObject_forKey(circle, "anything");
  // No model comes of it; one that is there keeps what was set until then.
  EXPECT_FALSE(kvt_modelWithDictionary<HostileModel>(circle));
  EXPECT_FALSE(kvt_modelWithJSON<HostileModel>(circle));
  auto model = make<HostileModel>();
  EXPECT_FALSE(kvt_modelSetWithDictionary(model, circle));
  EXPECT_EQ(model->text, "t");
  EXPECT_FALSE(kvt_modelToJSONObject(circle));
  EXPECT_FALSE(kvt_modelToJSONString(circle));
  EXPECT_TRUE(kvt_modelDescription(circle).containsString("next = {...};"));
  circle.removeAllObjects();

  // A longer way round.
  const NSMutableDictionary one = {{"text", "one"}}, two = {{"text", "two"}};
  one.setObject_forKey(NSArray::arrayWithObject(two), "models");
  two.setObject_forKey(one, "next");
  EXPECT_FALSE(kvt_modelWithDictionary<HostileModel>(one));
  EXPECT_FALSE(kvt_modelToJSONObject(NSDictionary{{"two", two}}));
  two.removeAllObjects();
  EXPECT_TRUE(kvt_modelWithDictionary<HostileModel>(one)) << "the circle is broken";

  const NSMutableArray list = {1};
  list.addObject(list);
  EXPECT_FALSE(kvt_modelToJSONObject(list));
  EXPECT_FALSE(kvt_modelToJSONString(list));
  EXPECT_EQ(kvt_modelDescription(list), "[\n    1;\n    [...]\n]");
  const NSMutableSet set = {1};
  set.addObject(NSArray::arrayWithObject(set));
  EXPECT_FALSE(kvt_modelToJSONObject(set));
  EXPECT_TRUE(kvt_modelDescription(set).containsString("[...]"));
  list.removeAllObjects();
  set.removeAllObjects();
}

TEST(Hostile, TheSameDictionaryTwiceIsNoCircle) {
  const NSDictionary shared = {{"text", "shared"}};
  auto model = kvt_modelWithDictionary<HostileModel>(
      NSDictionary{{"next", NSDictionary{{"next", shared}, {"text", "t"}}},
                   {"models", NSArray{shared, shared, NSDictionary{{"next", shared}}}}});
  ASSERT_TRUE(model);
  EXPECT_EQ(model->next->next->text, "shared");
  ASSERT_EQ(model->models.count(), 3u);
  EXPECT_EQ(model->models[2].as<HostileModel>()->next->text, "shared");
  EXPECT_TRUE(kvt_modelToJSONString(NSArray{model, model}));
}

class HostileReader : public NSObject {
 public:
  NSString text;
  Ref<HostileModel> made;
  Ref<HostileReader> next;
  static NSArray modelPropertyBlacklist() { return {"made"}; }
  // The same dictionary again for another model: that is no circle.
  bool modelCustomTransformFromDictionary(const NSDictionary& dictionary) {
    made = kvt_modelWithDictionary<HostileModel>(dictionary);
    return static_cast<bool>(made);
  }
  KVT_MODEL(HostileReader, text, made, next)
};

TEST(Hostile, AHookMayFillAnotherModelFromTheSameDictionary) {
  auto model = kvt_modelWithJSON<HostileReader>(R"({"text":"a","next":{"text":"b","next":{"text":"c"}}})");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->made->text, "a");
  EXPECT_EQ(model->made->next->next->text, "c");
  EXPECT_EQ(model->next->made->next->text, "c");
  EXPECT_EQ(model->next->next->made->text, "c");
}

TEST(Hostile, DictionariesThatAllKnowEachOther) {
  std::vector<NSMutableDictionary> all;
  for (int i = 0; i < 60; ++i) all.push_back(NSMutableDictionary{{"number", i}});
  for (const auto& each : all) {
    each.setObject_forKey(NSArray(all), "models");
    each.setObject_forKey(all[0], "next");
  }
  EXPECT_FALSE(kvt_modelWithDictionary<HostileModel>(all[0]));
  EXPECT_FALSE(kvt_modelToJSONObject(all[5]));
  EXPECT_FALSE(kvt_modelDescription(all[9]).length() == 0);
  for (const auto& each : all) each.removeAllObjects();
}

TEST(Hostile, ModelsThatAllKnowEachOther) {
  std::vector<Ref<HostileModel>> all;
  for (int i = 0; i < 60; ++i) all.push_back(make<HostileModel>());
  for (const auto& each : all) {
    each->models = all;
    each->next = all[0];
    each->anything = each;
  }
  EXPECT_FALSE(kvt_modelToJSONObject(all[0]));
  EXPECT_FALSE(kvt_modelToJSONString(NSArray(all)));
  const NSString text = kvt_modelDescription(all[0]);
  // Each is described once, and named wherever else it is met.
  EXPECT_EQ(text.componentsSeparatedByString("> {\n").count(), 61u);
  auto copy = make<HostileModel>();
  kvt_modelSetWithModel(copy, all[0]);
  EXPECT_TRUE(isIdentical(copy->models, all[0]->models));
  for (const auto& each : all) {
    each->models = nullptr;
    each->next = nullptr;
    each->anything = nullptr;
  }
}

TEST(Hostile, ModelsInCircles) {
  auto one = make<HostileModel>(), two = make<HostileModel>();
  one->next = two;
  two->next = one;
  one->text = "one";
  EXPECT_FALSE(kvt_modelToJSONObject(one));
  EXPECT_FALSE(kvt_modelToJSONString(one));
  EXPECT_EQ(kvt_modelDescription(one).componentsSeparatedByString("<HostileModel: ").count(), 4u)
      << "one, two, and one again";
  EXPECT_FALSE(kvt_modelToJSONObject(NSArray{1, one})) << "wherever it is";
  two->next = nullptr;
  two->models = {one};
  EXPECT_FALSE(kvt_modelToJSONObject(one));
  EXPECT_TRUE(kvt_modelDescription(one));
  two->models = nullptr;
  two->anything = NSDictionary{{"one", one}};
  EXPECT_FALSE(kvt_modelToJSONObject(one));
  EXPECT_TRUE(kvt_modelDescription(one));
  two->anything = nullptr;
  EXPECT_TRUE(kvt_modelToJSONString(one)) << "the circle is broken";
  // Twice is no circle.
  two->models = {make<HostileModel>(), make<HostileModel>()};
  one->models = {two, two};
  EXPECT_TRUE(kvt_modelToJSONString(one));
  EXPECT_TRUE(kvt_modelDescription(one));
  // A model that is filled from what it holds.
  one->anything = NSDictionary{{"text", "inner"}};
  EXPECT_TRUE(kvt_modelSetWithDictionary(one, one->anything));
  EXPECT_EQ(one->text, "inner");
}

TEST(Hostile, ListsSharedThousandsOfTimes) {
  // Each level holds the one below twice: what is shared is written wherever it stands.
  NSArray list = NSArray::array();
  for (int i = 0; i < 12; ++i) list = {list, list};
  EXPECT_TRUE(isIdentical(kvt_modelToJSONObject(list), list));
  EXPECT_EQ(kvt_modelDescription(list).componentsSeparatedByString("[]").count(), 4097u);
}

// ---- classes ----------------------------------------------------------------------------------------------

TEST(Hostile, TenThousandProperties) {
  constexpr int kCount = 10000;
  ClassMaker maker("HostileLarge");
  NSMutableDictionary input = NSMutableDictionary::dictionary();
  for (int i = 0; i < kCount; ++i) {
    const std::string name = "p" + std::to_string(i);
    maker.property(name, "q");
    input.setObject_forKey(i, name);
  }
  const Class cls = maker.make();
  EXPECT_EQ(KVTClassInfo::classInfoWithClass(cls)->kvtPropertyInfos().count(), static_cast<NSUInteger>(kCount));
  const id model = kvt_modelWithDictionary(cls, input);
  ASSERT_TRUE(model);
  EXPECT_EQ(objc_msgSend<int64_t>(model, "p9999"), 9999);
  EXPECT_EQ(kvt_modelToJSONObject(model), input);
  EXPECT_GT(kvt_modelDescription(model).length(), static_cast<NSUInteger>(10 * kCount));
}

TEST(Hostile, TenThousandPropertiesOfOneKey) {
  constexpr int kCount = 10000;
  ClassMaker maker("HostileChain");
  NSMutableDictionary mapper = NSMutableDictionary::dictionary();
  for (int i = 0; i < kCount; ++i) {
    const std::string name = "p" + std::to_string(i);
    maker.property(name, "q");
    mapper.setObject_forKey("key", name);
  }
  maker.answers("modelCustomPropertyMapper", mapper);
  const Class cls = maker.make();
  const id model = kvt_modelWithDictionary(cls, NSDictionary{{"key", 7}});
  EXPECT_EQ(objc_msgSend<int64_t>(model, "p0"), 7);
  EXPECT_EQ(objc_msgSend<int64_t>(model, "p9999"), 7);
  EXPECT_EQ(kvt_modelToJSONObject(model), (NSDictionary{{"key", 7}}));
}

TEST(Hostile, AThousandSuperclasses) {
  Class cls = classOf<NSObject>();
  for (int i = 0; i < 1000; ++i) {
    ClassMaker maker("HostileDeep" + std::to_string(i), cls);
    cls = maker.property("p" + std::to_string(i), "i").make();
  }
  const id model = kvt_modelWithDictionary(cls, NSDictionary{{"p0", 1}, {"p999", 2}});
  EXPECT_EQ(objc_msgSend<int>(model, "p0"), 1);
  EXPECT_EQ(objc_msgSend<int>(model, "p999"), 2);
  EXPECT_EQ(_KVTModelMeta::metaWithClass(cls)->keyMappedCount, 1000u);
}

TEST(Hostile, DescriptionsOfLongAndManyLines) {
  const NSMutableString text = NSMutableString::stringWithString(NSString(std::string(1000000, '\n')));
  ModelDescriptionAddIndent(text);
  EXPECT_EQ(text.length(), 5000000u);
  const NSString lines = std::string(100000, '\n');
  EXPECT_EQ(ModelDescription(NSArray{lines}).length(), 100000u * 5 + 2 + 8);
}

}  // namespace
}  // namespace kvt
