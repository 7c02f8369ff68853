// JSON values into containers whose elements are models.
#include <string>
#include <vector>

#include "SetValueTest.h"

namespace kvt {
namespace {

using namespace modeltest;

// ---- containers with an element class ---------------------------------------------------------------------

class SetRefusing : public NSObject {
 public:
  int32_t a = 0;
  bool modelCustomTransformFromDictionary(const NSDictionary&) { return false; }
  KVT_MODEL(SetRefusing, a)
};

class SetChosen;
class SetChooser : public NSObject {
 public:
  int32_t a = 0;
  static Class modelCustomClassForDictionary(const NSDictionary& dictionary);
  KVT_MODEL(SetChooser, a)
};
class SetChosen : public SetChooser {
 public:
  KVT_MODEL(SetChosen)
};
Class SetChooser::modelCustomClassForDictionary(const NSDictionary& dictionary) {
  const NSString kind = dictionary["kind"].as<NSString>();
  if (kind == "chosen") return classOf<SetChosen>();
  if (kind == "other") return classOf<SetInner>();
  return {};
}

class SetContainers : public NSObject {
 public:
  NSArray array;
  NSMutableArray mutableArray;
  NSSet set;
  NSMutableSet mutableSet;
  NSDictionary dictionary;
  NSMutableDictionary mutableDictionary;
  NSArray refusing, choosing;
  NSDictionary choosingDictionary;
  NSSet choosingSet;
  id anything;  // with an element class, that is the class to match
  static NSDictionary modelContainerPropertyGenericClass() {
    return {{"array", "SetInner"},         {"mutableArray", "SetInner"}, {"set", "SetInner"},
            {"mutableSet", "SetInner"},    {"dictionary", "SetInner"},   {"mutableDictionary", "SetInner"},
            {"refusing", "SetRefusing"},   {"choosing", "SetChooser"},   {"choosingDictionary", "SetChooser"},
            {"choosingSet", "SetChooser"}, {"anything", "SetInner"}};
  }
  KVT_MODEL(SetContainers, array, mutableArray, set, mutableSet, dictionary, mutableDictionary, refusing, choosing,
            choosingDictionary, choosingSet, anything)
};

template <class H>
std::string afterSetting(const char* name, H SetContainers::*member, const id& value, const id& before) {
  auto model = make<SetContainers>();
  model.get()->*member = shareAs<H>(before.object());
  ModelSetValueForProperty(model, value, *metaOf(classOf<SetContainers>(), name));
  return compare(model.get()->*member, value, before);
}

TEST(SetValue, ElementsOfArraysAndSets) {
  const id inner = make<SetInner>(), sub = make<SetInnerSub>();
  const NSArray elements = {NSDictionary{{"a", 1}},
                            inner,
                            "text",
                            7,
                            NSNull::null(),
                            NSArray{1},
                            NSDictionary::dictionary(),
                            sub,
                            make<SetAll>(),
                            NSMutableDictionary{{"b", 2}}};
  // Elements of the class pass, dictionaries become models, everything else is dropped.
  const std::string list = "SetInner 1 0,SetInner 0 0,SetInner 0 0,SetInnerSub 0 0,SetInner 0 2";
  for (const id& source : {id(elements), id(elements.mutableCopy()), id(NSSet::setWithArray(elements))}) {
    EXPECT_EQ(afterSetting("array", &SetContainers::array, source, NSArray{"before"}), "m[" + list + "]");
    EXPECT_EQ(afterSetting("mutableArray", &SetContainers::mutableArray, source, NSMutableArray{"b"}),
              "m[" + list + "]");
    EXPECT_EQ(afterSetting("set", &SetContainers::set, source, NSSet{"before"}), "m{" + list + "}");
    EXPECT_EQ(afterSetting("mutableSet", &SetContainers::mutableSet, source, NSMutableSet{"b"}), "m{" + list + "}");
  }
  auto model = make<SetContainers>();
  ModelSetValueForProperty(model, elements, *metaOf(classOf<SetContainers>(), "array"));
  EXPECT_TRUE(isIdentical(model->array[1], inner));
  EXPECT_TRUE(isIdentical(model->array[3], sub));
}

TEST(SetValue, ElementsOfDictionaries) {
  const NSDictionary source = {
      {"one", NSDictionary{{"a", 1}}},      {"two", make<SetInner>()}, {"three", NSNull::null()},
      {4, NSDictionary{{"b", 2}}},          {"five", "text"},          {"six", NSArray{1}},
      {"seven", NSDictionary::dictionary()}};
  // Only dictionaries become entries; models that are there already do not.
  const std::string entries = "m(\"one\"=SetInner 1 0;number 4=SetInner 0 2;\"seven\"=SetInner 0 0;)";
  const NSDictionary before = {{"b", 1}};
  EXPECT_EQ(afterSetting("dictionary", &SetContainers::dictionary, source, before), entries);
  EXPECT_EQ(afterSetting("mutableDictionary", &SetContainers::mutableDictionary, source, before.mutableCopy()),
            entries);
  EXPECT_EQ(afterSetting("dictionary", &SetContainers::dictionary, NSDictionary::dictionary(), before), "m()");
}

TEST(SetValue, WrongKindsForContainersOfModels) {
  for (const Value& value : values()) {
    SCOPED_TRACE(value.name);
    const bool isList = value.value.is<NSArray>() || value.value.is<NSSet>(), isNull = value.value.is<NSNull>();
    const bool isDictionary = value.value.is<NSDictionary>();
    const char* list = isNull ? "nil" : isList ? "m[]" : "kept";
    const char* set = isNull ? "nil" : "m{}";  // asymmetric: whatever is no collection counts as an empty one
    const char* dictionary = isNull ? "nil" : isDictionary ? "m()" : "kept";
    EXPECT_EQ(afterSetting("array", &SetContainers::array, value.value, NSArray{"before"}), list);
    EXPECT_EQ(afterSetting("mutableArray", &SetContainers::mutableArray, value.value, NSMutableArray{"b"}), list);
    EXPECT_EQ(afterSetting("set", &SetContainers::set, value.value, NSSet{"before"}), set);
    EXPECT_EQ(afterSetting("mutableSet", &SetContainers::mutableSet, value.value, NSMutableSet{"b"}), set);
    EXPECT_EQ(afterSetting("dictionary", &SetContainers::dictionary, value.value, NSDictionary{{"b", 1}}), dictionary);
    EXPECT_EQ(afterSetting("mutableDictionary", &SetContainers::mutableDictionary, value.value,
                           NSMutableDictionary{{"b", 1}}),
              dictionary);
  }
}

TEST(SetValue, EmptyContainersOfModelsAreSet) {
  EXPECT_EQ(afterSetting("array", &SetContainers::array, NSArray{"nothing", 2}, NSArray{"before"}), "m[]");
  EXPECT_EQ(afterSetting("array", &SetContainers::array, NSArray::array(), NSArray{"before"}), "m[]");
  EXPECT_EQ(afterSetting("set", &SetContainers::set, NSArray::array(), NSSet{"before"}), "m{}");
  EXPECT_EQ(afterSetting("set", &SetContainers::set, NSSet{1, 2}, NSSet{"before"}), "m{}");
}

TEST(SetValue, ARefusedElementIsAddedAllTheSame) {
  auto model = make<SetContainers>();
  ModelSetValueForProperty(model, NSArray{NSDictionary{{"a", 6}}, NSDictionary::dictionary()},
                           *metaOf(classOf<SetContainers>(), "refusing"));
  ASSERT_EQ(model->refusing.count(), 2u);
  EXPECT_EQ(model->refusing[0].as<SetRefusing>()->a, 6);
}

TEST(SetValue, ElementsOfAChosenClass) {
  const NSDictionary plain = {{"a", 1}}, chosen = {{"kind", "chosen"}, {"a", 2}}, other = {{"kind", "other"}, {"a", 3}};
  auto classes = [](const auto& container) {
    std::vector<std::string> names;
    for (const id& each : container) names.emplace_back(class_getName(each.class_()));
    return names;
  };
  const std::vector<std::string> expected = {"SetChooser", "SetChosen", "SetInner"};
  auto model = make<SetContainers>();
  ModelSetValueForProperty(model, NSArray{plain, chosen, other}, *metaOf(classOf<SetContainers>(), "choosing"));
  EXPECT_EQ(classes(model->choosing), expected);
  EXPECT_EQ(model->choosing[1].as<SetChosen>()->a, 2);
  ModelSetValueForProperty(model, NSArray{plain, chosen, other}, *metaOf(classOf<SetContainers>(), "choosingSet"));
  EXPECT_EQ(classes(model->choosingSet), expected);
  ModelSetValueForProperty(model, NSDictionary{{"x", plain}, {"y", chosen}, {"z", other}},
                           *metaOf(classOf<SetContainers>(), "choosingDictionary"));
  EXPECT_EQ(classes(model->choosingDictionary.allValues()), expected);
}

TEST(SetValue, AnElementClassOnAnObjectIsTheClassToMatch) {
  const id inner = make<SetInner>();
  EXPECT_EQ(afterSetting("anything", &SetContainers::anything, inner, nullptr), "=");
  EXPECT_EQ(afterSetting("anything", &SetContainers::anything, NSString("x"), NSString("before")), "kept");
  EXPECT_EQ(afterSetting("anything", &SetContainers::anything, NSDictionary{{"a", 9}}, nullptr), "SetInner 9 0");
  EXPECT_EQ(afterSetting("anything", &SetContainers::anything, NSNull::null(), inner), "nil");
}

}  // namespace
}  // namespace kvt
