// Models of classes that no C++ type stands behind behave like the others.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <string>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::metaOf;
using modeltest::newInstance;

class BuiltTwin : public NSObject {
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
  NSDate date;
  NSArray list;
  NSMutableArray mutableList;
  NSDictionary dictionary;
  NSSet set;
  Ref<BuiltTwin> twin;
  id anything;
  Class cls;
  SEL selector;
  CGSize size;
  KVT_MODEL(BuiltTwin, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat, aDouble,
            aLongDouble, text, number, url, date, list, mutableList, dictionary, set, twin, anything, cls, selector,
            size)
};

/// The same class again, from the description of the first one.
Class builtTwin() {
  static const Class cls = [] {
    ClassMaker maker("BuiltAgain");
    for (Property property : class_copyPropertyList(classOf<BuiltTwin>())) {
      std::string type;
      property_getAttributeValue(property, 'T', type);
      if (type == "@\"BuiltTwin\"") type = "@\"BuiltAgain\"";
      maker.property(property_getName(property), type, type == "@\"NSString\"" ? "C" : "");
    }
    return maker.make();
  }();
  return cls;
}

TEST(RunTimeClass, MapsLikeItsTwin) {
  const char* const inputs[] = {
      "{}",
      R"({"aBool":true,"anInt8":-128,"aUInt8":255,"anInt16":-32768,"aUInt16":65535,"anInt32":-2147483648,"aUInt32":4294967295,
          "anInt64":-9223372036854775808,"aUInt64":18446744073709551615,"aFloat":0.1,"aDouble":0.1,"aLongDouble":0.1})",
      R"({"aBool":"YES","anInt8":"300","aUInt8":"-1","anInt16":1e9,"aUInt16":"x","anInt32":null,"aUInt32":[],"anInt64":{},
          "aUInt64":"12px","aFloat":"1.0e400","aDouble":"3.7","aLongDouble":"nan"})",
      R"({"text":"t","number":"5","url":" http://a.b ","date":"2014-01-20","list":[1,null],"mutableList":[2],"dictionary":{"a":null},
          "set":[1,1,2],"twin":{"text":"inner","twin":{"anInt32":4}},"anything":{"x":[1]},"cls":"NSArray","selector":"a:b:"})",
      R"({"text":5,"number":"x","url":"","date":"never","list":"no","mutableList":7,"dictionary":[],"set":"x","twin":"no",
          "anything":5,"cls":"NobodyHasThisName","selector":6,"size":[1]})",
      R"({"text":null,"number":null,"url":null,"date":null,"list":null,"mutableList":null,"dictionary":null,"set":null,"twin":null,
          "anything":null,"cls":null,"selector":null,"size":null})",
  };
  for (const char* input : inputs) {
    SCOPED_TRACE(input);
    const id twin = kvt_modelWithJSON(classOf<BuiltTwin>(), NSString(input)),
             built = kvt_modelWithJSON(builtTwin(), NSString(input));
    ASSERT_TRUE(built);
    EXPECT_TRUE(built.isMemberOfClass(builtTwin()));
    EXPECT_EQ(kvt_modelToJSONString(built), kvt_modelToJSONString(twin));
    // Both descriptions are the same but for names and addresses.
    auto lines = [](const id& model) {
      std::string text = kvt_modelDescription(model).str(), plain;
      for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '<')
          i = text.find('>', i);
        else
          plain += text[i];
      }
      return plain;
    };
    EXPECT_EQ(lines(built), lines(twin));
    // One into the other, both ways.
    const id copy = newInstance(builtTwin()), other = make<BuiltTwin>();
    kvt_modelSetWithModel(copy, built);
    EXPECT_EQ(kvt_modelToJSONString(copy), kvt_modelToJSONString(built));
    kvt_modelSetWithModel(other, built);
    EXPECT_EQ(other.as<BuiltTwin>()->aUInt64, twin.as<BuiltTwin>()->aUInt64);
    EXPECT_EQ(other.as<BuiltTwin>()->text, twin.as<BuiltTwin>()->text);
    EXPECT_FALSE(other.as<BuiltTwin>()->twin) << "another class's object";
  }
}

TEST(RunTimeClass, StructsBySettingValues) {
  const id model = newInstance(builtTwin());
  EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary{{"size", NSValue::valueWithSize({3, 4})}}));
  EXPECT_EQ(objc_msgSend<CGSize>(model, "size"), (CGSize{3, 4}));
  EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary{{"size", NSValue::valueWithPoint({5, 6})}}));
  EXPECT_EQ(objc_msgSend<CGSize>(model, "size"), (CGSize{3, 4}));
  const id copy = newInstance(builtTwin());
  kvt_modelSetWithModel(copy, model);
  EXPECT_EQ(objc_msgSend<CGSize>(copy, "size"), (CGSize{3, 4}));
}

bool refuses(Object*, SEL, Object* dictionary) { return !id(borrow, dictionary).as<NSDictionary>()["refuse"]; }
Object* rewrites(Object*, SEL, Object* dictionary) {
  NSMutableDictionary changed = id(borrow, dictionary).as<NSDictionary>().mutableCopy();
  changed.setObject_forKey("added", "b");
  return changed.detach();
}
bool extends(Object*, SEL, Object* dictionary) {
  id(borrow, dictionary).as<NSMutableDictionary>().setObject_forKey(1, "extra");
  return true;
}
Object* chooses(Object*, SEL, Object* dictionary) {
  const NSString name = id(borrow, dictionary).as<NSDictionary>()["class"].as<NSString>();
  return name ? class_asObject(objc_getClass(name.str())) : nullptr;
}

TEST(RunTimeClass, AllHooks) {
  ClassMaker maker("BuiltWithHooks");
  maker.property("a", "@\"NSString\"")
      .property("b", "@\"NSString\"")
      .property("list", "@\"NSArray\"")
      .property("no", "i");
  maker.answers("modelPropertyBlacklist", NSArray{"no"})
      .answers("modelPropertyWhitelist", NSArray{"a", "b", "list", "no"});
  maker.answers("modelContainerPropertyGenericClass", NSDictionary{{"list", "BuiltWithHooks"}});
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"a", "deep.a"}});
  maker.method("modelCustomWillTransformFromDictionary:", &rewrites, "@24@0:8@16");
  maker.method("modelCustomTransformFromDictionary:", &refuses, "B24@0:8@16");
  maker.method("modelCustomTransformToDictionary:", &extends, "B24@0:8@16");
  maker.classMethod("modelCustomClassForDictionary:", &chooses, "#24@0:8@16");
  const Class cls = maker.make();
  ClassMaker sub("BuiltChosen", cls);
  sub.property("own", "i").answers("modelPropertyWhitelist", nullptr).make();

  id model = kvt_modelWithJSON(
      cls, NSString(R"({"deep":{"a":"x"},"no":5,"list":[{"deep":{"a":"y"}},{"class":"BuiltChosen","own":3}]})"));
  ASSERT_TRUE(model);
  EXPECT_EQ(objc_msgSend<id>(model, "a"), NSString("x"));
  EXPECT_EQ(objc_msgSend<id>(model, "b"), NSString("added"));
  EXPECT_EQ(objc_msgSend<int>(model, "no"), 0);
  const NSArray list = objc_msgSend<NSArray>(model, "list");
  ASSERT_EQ(list.count(), 2u);
  EXPECT_TRUE(list[0].isMemberOfClass(cls));
  EXPECT_EQ(objc_msgSend<id>(list[0], "a"), NSString("y"));
  EXPECT_TRUE(list[1].isMemberOfClass(objc_getClass("BuiltChosen")));
  EXPECT_EQ(objc_msgSend<int>(list[1], "own"), 3);
  EXPECT_FALSE(kvt_modelWithJSON(cls, NSString(R"({"refuse":1})")));
  EXPECT_EQ(kvt_modelToJSONObject(newInstance(cls)), (NSDictionary{{"extra", 1}}));
  model = kvt_modelWithJSON(cls, NSString(R"({"class":"BuiltChosen"})"));
  EXPECT_TRUE(model.isMemberOfClass(objc_getClass("BuiltChosen")));
}

TEST(RunTimeClass, ASubclassOfACppModel) {
  ClassMaker maker("BuiltOnTwin", classOf<BuiltTwin>());
  const Class cls = maker.property("extra", "@\"NSString\"", "C").property("count", "q").make();
  const id model = kvt_modelWithJSON(cls, NSString(R"({"text":"base","extra":"own","count":3,"aBool":1})"));
  ASSERT_TRUE(model.is<BuiltTwin>());
  EXPECT_EQ(model.as<BuiltTwin>()->text, "base");
  EXPECT_TRUE(model.as<BuiltTwin>()->aBool);
  EXPECT_EQ(objc_msgSend<id>(model, "extra"), NSString("own"));
  EXPECT_EQ(objc_msgSend<int64_t>(model, "count"), 3);
  EXPECT_EQ(kvt_modelToJSONObject(model).as<NSDictionary>()["extra"], NSString("own"));
}

TEST(RunTimeClass, AComputedProperty) {
  ClassMaker maker("BuiltComputed");
  maker.property("stored", "q").describe("doubled", {{"T", "q"}});
  maker.method(
      "doubled", +[](Object* self, SEL) -> std::int64_t { return 2 * objc_msgSend<std::int64_t>(self, "stored"); },
      "q16@0:8");
  maker.method(
      "setDoubled:", +[](Object* self, SEL, std::int64_t value) { objc_msgSend(self, "setStored:", value / 2); },
      "v24@0:8q16");
  const Class cls = maker.make();
  const id model = kvt_modelWithJSON(cls, NSString(R"({"doubled":"8"})"));
  EXPECT_EQ(kvt_modelToJSONObject(model), (NSDictionary{{"stored", 4}, {"doubled", 8}}));
}

TEST(RunTimeClass, AccessorsOfAnotherName) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "BuiltRenamed");
  ASSERT_TRUE(class_synthesizeProperty(cls, "on", {{"T", "B"}, {"G", "isOn"}, {"S", "turnOn:"}}));
  // A name that no message may have: the accessors are called otherwise.
  ASSERT_TRUE(class_synthesizeProperty(cls, "hash",
                                       {{"T", "@\"NSString\""}, {"C", ""}, {"G", "theHash"}, {"S", "setTheHash:"}}));
  objc_registerClassPair(cls);
  const id model = kvt_modelWithJSON(cls, NSString(R"({"on":true,"hash":"abc"})"));
  EXPECT_TRUE(objc_msgSend<bool>(model, "isOn"));
  EXPECT_EQ(objc_msgSend<id>(model, "theHash"), NSString("abc"));
  EXPECT_EQ(kvt_modelToJSONObject(model), (NSDictionary{{"on", true}, {"hash", "abc"}}));
}

TEST(RunTimeClass, NamesInOtherAlphabets) {
  ClassMaker maker("BuiltNames");
  // The setter's name begins with the capital letter, whatever the alphabet.
  maker.property("\u540D\u524D", "@\"NSString\"").describe("\u00E9t\u00E9", {{"T", "q"}});
  maker.method(
      "\u00E9t\u00E9", +[](Object*, SEL) -> std::int64_t { return 8; }, "q16@0:8");
  maker.method(
      "set\u00C9t\u00E9:", +[](Object*, SEL, std::int64_t) {}, "v24@0:8q16");
  const id model = kvt_modelWithJSON(maker.make(), NSString("{\"\u540D\u524D\":\"x\",\"\u00E9t\u00E9\":1}"));
  EXPECT_EQ(kvt_modelToJSONObject(model), (NSDictionary{{"\u540D\u524D", "x"}, {"\u00E9t\u00E9", 8}}));
}

TEST(RunTimeClass, WhatAModelHoldsGoesWithIt) {
  Weak<BuiltTwin> watched;
  {
    auto held = make<BuiltTwin>();
    watched = held;
    const id model = kvt_modelWithDictionary(builtTwin(), NSDictionary{{"anything", held}, {"list", NSArray{held}}});
    held = nullptr;
    EXPECT_TRUE(watched.lock());
    EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary{{"anything", NSNull::null()}}));
    EXPECT_TRUE(watched.lock()) << "the list holds it";
  }
  EXPECT_FALSE(watched.lock());
}

TEST(RunTimeClass, AWeakPropertyLetsGo) {
  ClassMaker maker("BuiltWeak");
  const Class cls = maker.property("owner", "@", "W").make();
  const id model = newInstance(cls);
  id owner = make<BuiltTwin>();
  EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary{{"owner", owner}}));
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(model, "owner"), owner));
  owner = nullptr;
  EXPECT_FALSE(objc_msgSend<id>(model, "owner"));
  EXPECT_EQ(kvt_modelToJSONString(model), "{}");
}

}  // namespace
}  // namespace kvt
