// How hooks, accessors and classes that only a name refers to are found, at first and after they changed.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>

#include <string>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::metaOf;
using modeltest::newInstance;

// ---- hooks by name and signature alone --------------------------------------------------------------------

class HookPublic : public NSObject {
 public:
  NSString a, b, c;
  static NSArray modelPropertyBlacklist() { return {"b"}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"a", "key"}}; }
  KVT_MODEL(HookPublic, a, b, c)
};

class HookPrivate : public NSObject {
 public:
  NSString a, b, c;
  int calls = 0;
  KVT_MODEL(HookPrivate, a, b, c)

 private:
  static NSArray modelPropertyWhitelist() { return {"a", "b"}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"a", "key"}}; }
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) {
    ++calls;
    return dictionary;
  }
  bool modelCustomTransformFromDictionary(const NSDictionary&) noexcept {
    ++calls;
    return true;
  }
  bool modelCustomTransformToDictionary(const NSMutableDictionary&) const {
    const_cast<HookPrivate*>(this)->calls++;
    return true;
  }
};

class HookProtected : public NSObject {
 public:
  NSString a;
  KVT_MODEL(HookProtected, a)

 protected:
  // By value is as good as by reference.
  bool modelCustomTransformFromDictionary(NSDictionary dictionary) { return !dictionary["refuse"]; }
};

TEST(Hooks, PublicAndPrivateOnesAreFound) {
  auto model = kvt_modelWithJSON<HookPublic>(R"({"key":"1","a":"x","b":"2","c":"3"})");
  EXPECT_EQ(model->a, "1");
  EXPECT_FALSE(model->b);
  EXPECT_EQ(model->c, "3");
  auto hidden = kvt_modelWithJSON<HookPrivate>(R"({"key":"1","b":"2","c":"3"})");
  ASSERT_TRUE(hidden);
  EXPECT_EQ(hidden->a, "1");
  EXPECT_EQ(hidden->b, "2");
  EXPECT_FALSE(hidden->c);
  EXPECT_EQ(hidden->calls, 2);
  EXPECT_TRUE(kvt_modelToJSONObject(hidden));
  EXPECT_EQ(hidden->calls, 3);
  EXPECT_TRUE(kvt_modelWithJSON<HookProtected>(R"({"a":"x"})"));
  EXPECT_FALSE(kvt_modelWithJSON<HookProtected>(R"({"refuse":1})"));
}

TEST(Hooks, HooksAreMethodsOfTheClass) {
  EXPECT_TRUE(class_getClassMethod(classOf<HookPublic>(), "modelPropertyBlacklist"));
  EXPECT_FALSE(class_getClassMethod(classOf<HookPublic>(), "modelPropertyWhitelist"));
  EXPECT_EQ(objc_msgSend<NSArray>(classOf<HookPrivate>(), "modelPropertyWhitelist"), (NSArray{"a", "b"}));
  EXPECT_TRUE(class_getInstanceMethod(classOf<HookPrivate>(), "modelCustomTransformToDictionary:"));
  EXPECT_STREQ(
      method_getTypeEncoding(class_getInstanceMethod(classOf<HookPrivate>(), "modelCustomTransformFromDictionary:")),
      "B24@0:8@16");
}

// ---- bases ------------------------------------------------------------------------------------------------

class HookBase : public NSObject {
 public:
  NSString a;
  NSString trail;
  static NSArray modelPropertyBlacklist() { return {"trail"}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"a", "key"}}; }
  bool modelCustomTransformFromDictionary(const NSDictionary&) {
    trail = trail + NSString("base");
    return true;
  }
  KVT_MODEL(HookBase, a, trail)
};
class HookInherits : public HookBase {
 public:
  NSString b;
  KVT_MODEL(HookInherits, b)
};
class HookOverrides : public HookBase {
 public:
  NSString b;
  static NSDictionary modelCustomPropertyMapper() { return {{"b", "key"}}; }
  bool modelCustomTransformFromDictionary(const NSDictionary& dictionary) {
    trail = trail + NSString("own,");
    return objc_msgSendSuper<bool>(this, classOf<HookOverrides>(), "modelCustomTransformFromDictionary:", dictionary);
  }
  KVT_MODEL(HookOverrides, b)
};

TEST(Hooks, ABaseHookServesItsSubclasses) {
  EXPECT_EQ(kvt_modelWithJSON<HookBase>(R"({"key":"1"})")->trail, "base");
  auto model = kvt_modelWithJSON<HookInherits>(R"({"key":"1","b":"2"})");
  EXPECT_EQ(model->a, "1");
  EXPECT_EQ(model->b, "2");
  EXPECT_EQ(model->trail, "base");
  auto other = kvt_modelWithJSON<HookOverrides>(R"({"key":"1","a":"2"})");
  EXPECT_EQ(other->b, "1");
  EXPECT_EQ(other->a, "2");
  EXPECT_EQ(other->trail, "own,base");
  // Registered where they stand, once.
  EXPECT_EQ(class_getInstanceMethod(classOf<HookInherits>(), "modelCustomTransformFromDictionary:"),
            class_getInstanceMethod(classOf<HookBase>(), "modelCustomTransformFromDictionary:"));
  EXPECT_NE(class_getInstanceMethod(classOf<HookOverrides>(), "modelCustomTransformFromDictionary:"),
            class_getInstanceMethod(classOf<HookBase>(), "modelCustomTransformFromDictionary:"));
  EXPECT_TRUE(class_copyMethodList(object_getClass(class_asObject(classOf<HookInherits>()))).empty());
}

// ---- classes that only a name refers to -------------------------------------------------------------------

TEST(Hooks, AnElementClassThatIsRegisteredLater) {
  ClassMaker owner("HookOwnerOfLater");
  owner.property("byName", "@\"NSArray\"").property("byProtocol", "@\"NSArray<HookLaterByProtocol>\"");
  owner.property("typed", "@\"HookLaterTyped\"");
  owner.answers("modelContainerPropertyGenericClass", NSDictionary{{"byName", "HookLaterByName"}});
  const Class cls = owner.make();
  const NSDictionary input = {{"byName", NSArray::arrayWithObject(NSDictionary{{"v", 1}})},
                              {"byProtocol", NSArray::arrayWithObject(NSDictionary{{"v", 2}})},
                              {"typed", NSDictionary{{"v", 3}}}};
  // Nobody knows the classes yet, and the meta is cached so.
  id model = kvt_modelWithDictionary(cls, input);
  EXPECT_EQ(objc_msgSend<id>(model, "byName"), input["byName"]) << "a list of dictionaries, as it is";
  EXPECT_FALSE(metaOf(cls, "byName")->genericCls);
  EXPECT_FALSE(metaOf(cls, "byProtocol")->genericCls);
  EXPECT_FALSE(metaOf(cls, "typed")->cls);
  EXPECT_TRUE(objc_msgSend<id>(model, "typed").is<NSDictionary>());

  for (const char* name : {"HookLaterByName", "HookLaterByProtocol", "HookLaterTyped"})
    ClassMaker(name).property("v", "i");
  model = kvt_modelWithDictionary(cls, input);
  EXPECT_EQ(metaOf(cls, "byName")->genericCls, objc_getClass("HookLaterByName"));
  EXPECT_EQ(metaOf(cls, "byProtocol")->genericCls, objc_getClass("HookLaterByProtocol"));
  EXPECT_EQ(metaOf(cls, "typed")->cls, objc_getClass("HookLaterTyped"));
  EXPECT_EQ(objc_msgSend<int>(objc_msgSend<NSArray>(model, "byName")[0], "v"), 1);
  EXPECT_EQ(objc_msgSend<int>(objc_msgSend<NSArray>(model, "byProtocol")[0], "v"), 2);
  EXPECT_EQ(objc_msgSend<int>(objc_msgSend<id>(model, "typed"), "v"), 3);
}

TEST(Hooks, APropertyOfABaseMayNameALaterClass) {
  ClassMaker base("HookBaseOfLater");
  base.property("typed", "@\"HookLaterInBase\"").make();
  ClassMaker sub("HookSubOfLater", objc_getClass("HookBaseOfLater"));
  const Class cls = sub.property("own", "i").make();
  EXPECT_FALSE(metaOf(cls, "typed")->cls);
  ClassMaker("HookLaterInBase").property("v", "i");
  EXPECT_EQ(metaOf(cls, "typed")->cls, objc_getClass("HookLaterInBase"));
}

// ---- accessors --------------------------------------------------------------------------------------------

class HookAccessors : public NSObject {
 public:
  NSString text;
  int64_t number = 0;
  double ratio = 0;
  bool flag = false;
  Ref<HookPublic> model;
  NSArray list;
  KVT_MODEL(HookAccessors, text, number, ratio, flag, model, list)
};

std::string trail;
template <class T>
struct Watched {
  static inline void (*original)(Object*, SEL, T) = nullptr;
  static inline T (*originalGetter)(Object*, SEL) = nullptr;
  static void set(Object* self, SEL sel, T value) {
    trail += sel.name();
    original(self, sel, value);
  }
  static T get(Object* self, SEL sel) {
    trail += sel.name();
    return originalGetter(self, sel);
  }
};
Object* refusingText(Object*, SEL) { return NSString("other").detach(); }

/// Puts an implementation in place of a method's for as long as this lives.
class Replaced {
 public:
  template <class F>
  Replaced(Class cls, const char* selector, F* implementation)
      : method_(class_getInstanceMethod(cls, selector)),
        original_(method_setImplementation(method_, reinterpret_cast<IMP>(implementation))) {}
  ~Replaced() { method_setImplementation(method_, original_); }
  IMP original() const { return original_; }

 private:
  Method method_;
  IMP original_;
};

TEST(Hooks, AReplacedSetterIsCalled) {
  const Class cls = classOf<HookAccessors>();
  const char* json = R"({"text":"t","number":1,"ratio":1.5,"flag":true,"list":[1]})";
  // The class is known and mapped before anything changes.
  ASSERT_TRUE(kvt_modelWithJSON<HookAccessors>(json));
  trail.clear();
  {
    Replaced number(cls, "setNumber:", &Watched<std::int64_t>::set), text(cls, "setText:", &Watched<Object*>::set);
    Replaced ratio(cls, "setRatio:", &Watched<double>::set), flag(cls, "setFlag:", &Watched<bool>::set);
    Watched<std::int64_t>::original = reinterpret_cast<void (*)(Object*, SEL, std::int64_t)>(number.original());
    Watched<Object*>::original = reinterpret_cast<void (*)(Object*, SEL, Object*)>(text.original());
    Watched<double>::original = reinterpret_cast<void (*)(Object*, SEL, double)>(ratio.original());
    Watched<bool>::original = reinterpret_cast<void (*)(Object*, SEL, bool)>(flag.original());
    auto model = kvt_modelWithJSON<HookAccessors>(json);
    EXPECT_EQ(trail, "setText:setNumber:setRatio:setFlag:");
    EXPECT_EQ(model->number, 1);
    EXPECT_EQ(model->ratio, 1.5);
    EXPECT_TRUE(model->flag);
    EXPECT_EQ(model->text, "t");
  }
  trail.clear();
  auto model = kvt_modelWithJSON<HookAccessors>(json);
  EXPECT_EQ(trail, "") << "put back";
  EXPECT_EQ(model->number, 1);
}

TEST(Hooks, AReplacedGetterIsCalled) {
  auto model = kvt_modelWithJSON<HookAccessors>(R"({"text":"t","number":1,"ratio":1.5,"flag":true})");
  const Class cls = classOf<HookAccessors>();
  trail.clear();
  Replaced text(cls, "text", &refusingText), number(cls, "number", &Watched<std::int64_t>::get);
  Replaced ratio(cls, "ratio", &Watched<double>::get), flag(cls, "flag", &Watched<bool>::get);
  Watched<std::int64_t>::originalGetter = reinterpret_cast<std::int64_t (*)(Object*, SEL)>(number.original());
  Watched<double>::originalGetter = reinterpret_cast<double (*)(Object*, SEL)>(ratio.original());
  Watched<bool>::originalGetter = reinterpret_cast<bool (*)(Object*, SEL)>(flag.original());
  EXPECT_EQ(kvt_modelToJSONObject(model), modeltest::parse(R"({"text":"other","number":1,"ratio":1.5,"flag":true})"));
  EXPECT_EQ(trail, "numberratioflag");
  auto copy = make<HookAccessors>();
  kvt_modelSetWithModel(copy, model);
  EXPECT_EQ(copy->text, "other");
  EXPECT_EQ(trail, "numberratioflagnumberratioflag");
  EXPECT_TRUE(kvt_modelDescription(model).containsString("text = \"other\""));
}

TEST(Hooks, ExchangedSetters) {
  ClassMaker maker("HookExchanged");
  maker.property("a", "@\"NSString\"").property("b", "@\"NSString\"").property("m", "q").property("n", "q");
  const Class cls = maker.make();
  const NSDictionary input = {{"a", "1"}, {"b", "2"}, {"m", 3}, {"n", 4}};
  const id before = kvt_modelWithDictionary(cls, input);
  EXPECT_EQ(kvt_modelToJSONObject(before), input);
  method_exchangeImplementations(class_getInstanceMethod(cls, "setA:"), class_getInstanceMethod(cls, "setB:"));
  method_exchangeImplementations(class_getInstanceMethod(cls, "setM:"), class_getInstanceMethod(cls, "setN:"));
  const id after = kvt_modelWithDictionary(cls, input);
  EXPECT_EQ(kvt_modelToJSONObject(after), (NSDictionary{{"a", "2"}, {"b", "1"}, {"m", 4}, {"n", 3}}));
  method_exchangeImplementations(class_getInstanceMethod(cls, "a"), class_getInstanceMethod(cls, "b"));
  method_exchangeImplementations(class_getInstanceMethod(cls, "m"), class_getInstanceMethod(cls, "n"));
  EXPECT_EQ(kvt_modelToJSONObject(after), input);
}

TEST(Hooks, ExchangedSettersOfMembers) {
  const Class cls = classOf<HookAccessors>();
  const Method number = class_getInstanceMethod(cls, "setNumber:");
  // Exchanged with itself nothing changes; with another of its type the value goes there.
  method_exchangeImplementations(number, number);
  EXPECT_EQ(kvt_modelWithJSON<HookAccessors>(R"({"number":5})")->number, 5);
}

// A subclass that stores a value in its own way.
class HookStrict : public HookAccessors {
 public:
  void setNumber(int64_t value) { number = value < 0 ? 0 : value; }
  void setText(const NSString& value) { text = value.uppercaseString(); }
  static void kvtDescribe(ClassBuilder<HookStrict>& c) {
    c.method<&HookStrict::setNumber>("setNumber:").method<&HookStrict::setText>("setText:");
  }
  KVT_MODEL(HookStrict)
};

TEST(Hooks, ASubclassMayOverrideASetter) {
  const char* json = R"({"number":-5,"text":"abc","ratio":2})";
  EXPECT_EQ(kvt_modelWithJSON<HookAccessors>(json)->number, -5);
  auto strict = kvt_modelWithJSON<HookStrict>(json);
  EXPECT_EQ(strict->number, 0);
  EXPECT_EQ(strict->text, "ABC");
  EXPECT_EQ(strict->ratio, 2);
  auto from = make<HookAccessors>();
  from->number = -9;
  kvt_modelSetWithModel(strict, from);
  EXPECT_EQ(strict->number, 0);
}

Object* loudText(Object*, SEL) { return NSString("loud").detach(); }

TEST(Hooks, ASubclassAddedAtRunTimeMayOverrideAGetter) {
  ClassMaker maker("HookLoud", classOf<HookAccessors>());
  maker.method("text", &loudText, "@16@0:8");
  const id model = kvt_modelWithJSON(maker.make(), NSString(R"({"text":"quiet"})"));
  ASSERT_TRUE(model.is<HookAccessors>());
  EXPECT_EQ(model.as<HookAccessors>()->text, "quiet");
  EXPECT_EQ(kvt_modelToJSONObject(model).as<NSDictionary>()["text"], NSString("loud"));
}

int setterCalls = 0;

TEST(Hooks, ASetterThatIsAddedLaterToASubclass) {
  // The subclass uses the inherited setter, then gets its own: found without a mark, since the selector is what is
  // cached.
  ClassMaker base("HookAddedBase");
  base.property("n", "i").make();
  ClassMaker maker("HookAddedSub", objc_getClass("HookAddedBase"));
  const Class cls = maker.make();
  EXPECT_EQ(objc_msgSend<int>(kvt_modelWithDictionary(cls, NSDictionary{{"n", 3}}), "n"), 3);
  setterCalls = 0;
  ASSERT_TRUE(
      class_addMethod(cls, "setN:", reinterpret_cast<IMP>(+[](Object*, SEL, int) { ++setterCalls; }), "v20@0:8i16"));
  EXPECT_EQ(objc_msgSend<int>(kvt_modelWithDictionary(cls, NSDictionary{{"n", 3}}), "n"), 0);
  EXPECT_EQ(setterCalls, 1);
}

TEST(Hooks, AHookThatIsAddedLater) {
  ClassMaker maker("HookAddedLater");
  const Class cls = maker.property("n", "i").make();
  EXPECT_TRUE(kvt_modelWithDictionary(cls, NSDictionary{{"n", 3}}));
  ASSERT_TRUE(class_addMethod(cls, "modelCustomTransformFromDictionary:",
                              reinterpret_cast<IMP>(+[](Object*, SEL, Object*) { return false; }), "B24@0:8@16"));
  KVTClassInfo::classInfoWithClass(cls)->setNeedUpdate();
  EXPECT_FALSE(kvt_modelWithDictionary(cls, NSDictionary{{"n", 3}}));
}

// ---- a setter that asks for more --------------------------------------------------------------------------

class HookReentrant : public NSObject {
 public:
  NSString json;
  Ref<HookReentrant> parsed;
  int64_t value = 0;
  void setJson(const NSString& text) {
    json = text;
    parsed = kvt_modelWithJSON<HookReentrant>(text);
  }
  static NSArray modelPropertyBlacklist() { return {"parsed"}; }
  static void kvtDescribe(ClassBuilder<HookReentrant>& c) { c.method<&HookReentrant::setJson>("setJson:"); }
  KVT_MODEL(HookReentrant, json, parsed, value)
};

TEST(Hooks, ASetterMayUseTheEngine) {
  auto model = kvt_modelWithJSON<HookReentrant>(R"({"json":"{\"json\":\"{\\\"value\\\":7}\"}","value":1})");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->value, 1);
  EXPECT_EQ(model->parsed->parsed->value, 7);
}

}  // namespace
}  // namespace kvt
