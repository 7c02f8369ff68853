#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTypes.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

namespace kvt {
namespace {

class Animal : public NSObject {
 public:
  NSString name;
  int32_t legs = 4;
  CGSize size;
  NSString speak() const { return "..."; }
  bool likes_times(const NSString& food, int64_t times) const {
    return food.length() == static_cast<NSUInteger>(times);
  }
  static NSString kingdom() { return "animalia"; }
  static NSString nameOfClass(Class cls) { return class_getName(cls); }
  static void kvtDescribe(ClassBuilder<Animal>& c) {
    c.protocol("Living").method<&Animal::speak>("speak").method<&Animal::likes_times>("likes:times:");
    c.classMethod<&Animal::kingdom>("kingdom").classMethod<&Animal::nameOfClass>("nameOfClass");
  }
  KVT_CLASS(Animal, name, legs, size)
};

class Dog : public Animal {
 public:
  Ref<Animal> prey;
  NSString speak() const { return "woof"; }
  NSString description() const { return "a dog"; }
  static void kvtDescribe(ClassBuilder<Dog>& c) { c.method<&Dog::speak>("speak"); }
  KVT_CLASS(Dog, prey)
};

std::vector<std::string> names(const std::vector<Method>& methods) {
  std::vector<std::string> list;
  for (Method method : methods) list.emplace_back(sel_getName(method_getName(method)));
  return list;
}

TEST(Class, IsKnownByNameFromTheStart) {
  EXPECT_EQ(objc_getClass("Animal"), classOf<Animal>());
  EXPECT_EQ(objc_lookUpClass("Dog"), classOf<Dog>());
  EXPECT_FALSE(objc_getClass("Unicorn"));
  EXPECT_FALSE(objc_getClass(""));
  const auto all = objc_copyClassList();
  EXPECT_NE(std::find(all.begin(), all.end(), classOf<Dog>()), all.end());
}

TEST(Class, ChainsOfClassesAndMetaclasses) {
  const Class dog = classOf<Dog>();
  EXPECT_EQ(class_getSuperclass(dog), classOf<Animal>());
  EXPECT_EQ(class_getSuperclass(classOf<Animal>()), classOf<NSObject>());
  EXPECT_FALSE(class_getSuperclass(classOf<NSObject>()));
  const Class meta = objc_getMetaClass("Dog");
  EXPECT_TRUE(class_isMetaClass(meta));
  EXPECT_FALSE(class_isMetaClass(dog));
  EXPECT_EQ(class_getSuperclass(meta), objc_getMetaClass("Animal"));
  const Class rootMeta = objc_getMetaClass("NSObject");
  EXPECT_EQ(class_getSuperclass(rootMeta), classOf<NSObject>());
  EXPECT_EQ(object_getClass(class_asObject(meta)), rootMeta);
  EXPECT_EQ(object_getClass(class_asObject(rootMeta)), rootMeta);
  EXPECT_STREQ(class_getName(meta), "Dog");
}

TEST(Class, NilAnswersNothing) {
  const Class nil;
  EXPECT_STREQ(class_getName(nil), "nil");
  EXPECT_FALSE(class_getSuperclass(nil));
  EXPECT_FALSE(class_isMetaClass(nil));
  EXPECT_EQ(class_getInstanceSize(nil), 0u);
  EXPECT_EQ(class_createInstance(nil), nullptr);
  EXPECT_TRUE(class_copyMethodList(nil).empty());
  EXPECT_TRUE(class_copyPropertyList(nil).empty());
  EXPECT_TRUE(class_copyIvarList(nil).empty());
  EXPECT_TRUE(class_copyProtocolList(nil).empty());
  EXPECT_EQ(class_getInstanceMethod(nil, "speak"), nullptr);
  EXPECT_EQ(class_getInstanceMethod(classOf<Dog>(), SEL()), nullptr);
  EXPECT_FALSE(class_addMethod(nil, "x", reinterpret_cast<IMP>(1), "v16@0:8"));
  EXPECT_FALSE(class_conformsToProtocol(classOf<Dog>(), nullptr));
  EXPECT_EQ(method_getImplementation(nullptr), nullptr);
  EXPECT_EQ(property_getName(nullptr), nullptr);
  EXPECT_EQ(ivar_getName(nullptr), nullptr);
  EXPECT_FALSE(object_getClass(nullptr));
  EXPECT_FALSE(objc_allocateClassPair(nil, "OfNothing"));
}

TEST(Class, ListsOwnMethodsOnly) {
  EXPECT_EQ(names(class_copyMethodList(classOf<Dog>())),
            (std::vector<std::string>{"speak", "description", "prey", "setPrey:"}));
  EXPECT_EQ(names(class_copyMethodList(objc_getMetaClass("Animal"))),
            (std::vector<std::string>{"kingdom", "nameOfClass"}));
}

TEST(Class, LookUpInherits) {
  EXPECT_EQ(class_getInstanceMethod(classOf<Dog>(), "legs"), class_getInstanceMethod(classOf<Animal>(), "legs"));
  EXPECT_NE(class_getInstanceMethod(classOf<Dog>(), "speak"), class_getInstanceMethod(classOf<Animal>(), "speak"));
  EXPECT_TRUE(class_respondsToSelector(classOf<Dog>(), "hash"));
  EXPECT_FALSE(class_respondsToSelector(classOf<Dog>(), "kingdom"));
  EXPECT_TRUE(class_getClassMethod(classOf<Dog>(), "kingdom"));
}

TEST(Class, MethodEncodingsCarryOffsets) {
  struct Row {
    const char* selector;
    const char* encoding;
    unsigned arguments;
  };
  const Row rows[] = {
      {"name", "@16@0:8", 2},
      {"setName:", "v24@0:8@16", 3},
      {"legs", "i16@0:8", 2},
      {"setLegs:", "v20@0:8i16", 3},
      {"size", "{CGSize=dd}16@0:8", 2},
      {"setSize:", "v32@0:8{CGSize=dd}16", 3},
      {"likes:times:", "B32@0:8@16q24", 4},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.selector);
    Method method = class_getInstanceMethod(classOf<Animal>(), row.selector);
    ASSERT_NE(method, nullptr);
    EXPECT_STREQ(method_getTypeEncoding(method), row.encoding);
    EXPECT_EQ(method_getNumberOfArguments(method), row.arguments);
    EXPECT_EQ(method_copyArgumentType(method, 0), "@");
    EXPECT_EQ(method_copyArgumentType(method, 1), ":");
    EXPECT_EQ(method_copyArgumentType(method, row.arguments), "");
  }
  EXPECT_EQ(method_copyArgumentType(class_getInstanceMethod(classOf<Animal>(), "likes:times:"), 3), "q");
  EXPECT_EQ(method_copyReturnType(class_getInstanceMethod(classOf<Animal>(), "likes:times:")), "B");
}

TEST(Class, PropertiesAndIvarsOfMembers) {
  const auto properties = class_copyPropertyList(classOf<Animal>());
  ASSERT_EQ(properties.size(), 3u);
  EXPECT_STREQ(property_getName(properties[0]), "name");
  EXPECT_STREQ(property_getAttributes(properties[0]), "T@\"NSString\",C,N,Vname");
  EXPECT_STREQ(property_getAttributes(properties[1]), "Ti,N,Vlegs");
  EXPECT_STREQ(property_getAttributes(properties[2]), "T{CGSize=dd},N,Vsize");
  EXPECT_STREQ(property_getAttributes(class_getProperty(classOf<Dog>(), "prey")), "T@\"Animal\",&,N,Vprey");
  EXPECT_EQ(class_getProperty(classOf<Dog>(), "name"), properties[0]);
  EXPECT_EQ(class_getProperty(classOf<Dog>(), "wings"), nullptr);

  auto rex = make<Dog>();
  Ivar legs = class_getInstanceVariable(classOf<Dog>(), "legs");
  ASSERT_NE(legs, nullptr);
  EXPECT_EQ(ivar_getOffset(legs), reinterpret_cast<char*>(&rex->legs) - reinterpret_cast<char*>(rex.object()));
  EXPECT_STREQ(ivar_getTypeEncoding(legs), "i");
  EXPECT_EQ(ivar_getSize(legs), sizeof(int32_t));
  EXPECT_EQ(class_getInstanceSize(classOf<Dog>()), sizeof(Dog));
}

TEST(Class, ProtocolsByName) {
  Protocol living = objc_getProtocol("Living");
  ASSERT_NE(living, nullptr);
  EXPECT_STREQ(protocol_getName(living), "Living");
  EXPECT_TRUE(class_conformsToProtocol(classOf<Dog>(), living));
  EXPECT_TRUE(class_copyProtocolList(classOf<Dog>()).empty());
  EXPECT_EQ(objc_getProtocol("NobodyNamedThis"), nullptr);
  EXPECT_EQ(objc_registerProtocol("Living"), living);
  EXPECT_FALSE(class_addProtocol(classOf<Animal>(), living));
}

TEST(Message, ReachesTheMostDerived) {
  id rex = make<Dog>();
  EXPECT_EQ(objc_msgSend<NSString>(rex, "speak"), NSString("woof"));
  EXPECT_EQ(objc_msgSendSuper<NSString>(rex, classOf<Dog>(), "speak"), NSString("..."));
  EXPECT_EQ(rex.description(), NSString("a dog"));
  EXPECT_EQ(objc_msgSend<NSString>(classOf<Dog>(), "kingdom"), NSString("animalia"));
  EXPECT_EQ(objc_msgSend<NSString>(classOf<Dog>(), "nameOfClass"), NSString("Dog"));
}

TEST(Message, PassesScalarsOfAnyWidth) {
  id rex = make<Dog>();
  objc_msgSend(rex, "setLegs:", 3);
  EXPECT_EQ(objc_msgSend<int>(rex, "legs"), 3);
  objc_msgSend(rex, "setLegs:", std::int64_t{-5});
  EXPECT_EQ(objc_msgSend<std::int64_t>(rex, "legs"), -5);
  objc_msgSend(rex, "setSize:", CGSize{2, 3});
  EXPECT_EQ(objc_msgSend<CGSize>(rex, "size"), (CGSize{2, 3}));
  EXPECT_TRUE(objc_msgSend<bool>(rex, "likes:times:", NSString("beef"), 4));
  EXPECT_FALSE(objc_msgSend<bool>(rex, "likes:times:", nullptr, 4));
}

TEST(Message, ToNilAnswersZero) {
  const id nil;
  EXPECT_EQ(objc_msgSend<int>(nil, "legs"), 0);
  EXPECT_FALSE(objc_msgSend<NSString>(nil, "speak"));
  EXPECT_EQ(objc_msgSend<CGSize>(nil, "size"), CGSize{});
  objc_msgSend(nil, "noSuchThing");
}

TEST(Message, MistakesRaiseWithClassAndSelector) {
  id rex = make<Dog>();
  auto reason = [](auto&& send) -> std::string {
    try {
      send();
    } catch (const NSException& exception) {
      EXPECT_EQ(exception.name(), NSString("NSInvalidArgumentException"));
      return std::string(exception.reason());
    }
    return "nothing was raised";
  };
  EXPECT_EQ(reason([&] { objc_msgSend(rex, "fly"); }), "-[Dog fly]: unrecognized selector sent to instance");
  EXPECT_EQ(reason([&] { objc_msgSend(classOf<Dog>(), "fly"); }), "+[Dog fly]: unrecognized selector sent to class");
  EXPECT_EQ(reason([&] { objc_msgSend(rex, "setLegs:"); }), "-[Dog setLegs:]: called with other types than v20@0:8i16");
  EXPECT_EQ(reason([&] { objc_msgSend(rex, "setLegs:", 1.5); }),
            "-[Dog setLegs:]: called with other types than v20@0:8i16");
  EXPECT_EQ(reason([&] { objc_msgSend(rex, "setName:", "text"); }),
            "-[Dog setName:]: called with other types than v24@0:8@16");
  EXPECT_EQ(reason([&] { objc_msgSend<double>(rex, "legs"); }), "-[Dog legs]: called with other types than i16@0:8");
}

TEST(Message, WrongClassesAreNil) {
  auto rex = make<Dog>();
  objc_msgSend(rex, "setName:", NSNumber(5));
  EXPECT_FALSE(rex->name);
  objc_msgSend(rex, "setPrey:", NSString("cat"));
  EXPECT_FALSE(rex->prey);
  EXPECT_FALSE(objc_msgSend<NSNumber>(rex, "speak"));
}

TEST(Message, PerformSelectorTakesObjects) {
  id rex = make<Dog>();
  EXPECT_EQ(rex.performSelector("speak"), NSString("woof"));
  EXPECT_FALSE(rex.performSelector_withObject("setName:", NSString("Rex")));
  EXPECT_EQ(rex.performSelector("name"), NSString("Rex"));
  EXPECT_FALSE(id().performSelector("speak"));
}

// ---- changing classes -----------------------------------------------------------------------------------------------

Object* answerFifty(Object*, SEL) { return NSNumber(50).detach(); }
Object* answerSixty(Object*, SEL) { return NSNumber(60).detach(); }

TEST(RunTimeChanges, AddReplaceExchange) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "Changed");
  objc_registerClassPair(cls);
  id object(adopt, class_createInstance(cls));
  EXPECT_FALSE(object.respondsToSelector("fifty"));

  std::uint64_t before = objc_runtimeGeneration();
  EXPECT_TRUE(class_addMethod(cls, "fifty", reinterpret_cast<IMP>(answerFifty), "@16@0:8"));
  EXPECT_GT(objc_runtimeGeneration(), before);
  EXPECT_TRUE(object.respondsToSelector("fifty"));
  EXPECT_EQ(object.performSelector("fifty"), NSNumber(50));
  EXPECT_FALSE(class_addMethod(cls, "fifty", reinterpret_cast<IMP>(answerSixty), "@16@0:8"));
  EXPECT_EQ(object.performSelector("fifty"), NSNumber(50));

  before = objc_runtimeGeneration();
  EXPECT_EQ(class_replaceMethod(cls, "fifty", reinterpret_cast<IMP>(answerSixty), "@16@0:8"),
            reinterpret_cast<IMP>(answerFifty));
  EXPECT_GT(objc_runtimeGeneration(), before);
  EXPECT_EQ(object.performSelector("fifty"), NSNumber(60));
  EXPECT_EQ(class_replaceMethod(cls, "sixty", reinterpret_cast<IMP>(answerFifty), "@16@0:8"), nullptr);

  method_exchangeImplementations(class_getInstanceMethod(cls, "fifty"), class_getInstanceMethod(cls, "sixty"));
  EXPECT_EQ(object.performSelector("fifty"), NSNumber(50));
  EXPECT_EQ(object.performSelector("sixty"), NSNumber(60));
  // A subclass's own method hides the inherited one from then on.
  Class sub = objc_allocateClassPair(cls, "ChangedSub");
  objc_registerClassPair(sub);
  id other(adopt, class_createInstance(sub));
  EXPECT_EQ(other.performSelector("fifty"), NSNumber(50));
  EXPECT_TRUE(class_addMethod(sub, "fifty", reinterpret_cast<IMP>(answerSixty), "@16@0:8"));
  EXPECT_EQ(other.performSelector("fifty"), NSNumber(60));
  EXPECT_EQ(object.performSelector("fifty"), NSNumber(50));
}

TEST(RunTimeChanges, DefaultAccessorsAreKnownUntilReplaced) {
  class_addMethod(classOf<Animal>(), "own", reinterpret_cast<IMP>(answerFifty), "@16@0:8");
  Method setter = class_getInstanceMethod(classOf<Animal>(), "setLegs:");
  const Accessor* accessor = method_getDefaultAccessor(setter);
  ASSERT_NE(accessor, nullptr);
  EXPECT_EQ(accessor->kind, Accessor::Kind::kSetter);
  EXPECT_EQ(accessor->size, sizeof(int32_t));
  EXPECT_EQ(method_getDefaultAccessor(class_getInstanceMethod(classOf<Animal>(), "own")), nullptr);
  IMP original = method_setImplementation(setter, reinterpret_cast<IMP>(answerFifty));
  EXPECT_EQ(method_getDefaultAccessor(setter), nullptr);
  method_setImplementation(setter, original);
  EXPECT_EQ(method_getDefaultAccessor(setter), accessor);
}

TEST(RunTimeClass, IsLaidOutWithAccessors) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "Built");
  ASSERT_TRUE(cls);
  EXPECT_FALSE(objc_getClass("Built"));
  EXPECT_TRUE(class_synthesizeProperty(cls, "flag", {{"T", "B"}, {"N", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "count", {{"T", "q"}, {"N", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "small", {{"T", "c"}, {"N", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "ratio", {{"T", "f"}, {"N", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "wide", {{"T", "D"}, {"N", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "title", {{"T", "@\"NSString\""}, {"C", ""}, {"N", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "any", {{"T", "@"}, {"&", ""}, {"V", "any_"}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "owner", {{"T", "@"}, {"W", ""}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "frame", {{"T", "{CGRect={CGPoint=dd}{CGSize=dd}}"}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "small2", {{"T", "{S=ff}"}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "isOn", {{"T", "B"}, {"G", "on"}, {"S", "turn:"}}));
  EXPECT_TRUE(class_synthesizeProperty(cls, "fixed", {{"T", "i"}, {"R", ""}}));
  EXPECT_FALSE(class_synthesizeProperty(cls, "count", {{"T", "q"}}));
  EXPECT_FALSE(class_synthesizeProperty(cls, "broken", {{"T", "{S="}}));
  EXPECT_FALSE(class_synthesizeProperty(cls, "nothing", {{"T", "v"}}));
  EXPECT_FALSE(class_synthesizeProperty(cls, "hash", {{"T", "@"}, {"&", ""}}));
  objc_registerClassPair(cls);
  EXPECT_EQ(objc_getClass("Built"), cls);
  EXPECT_FALSE(class_synthesizeProperty(cls, "late", {{"T", "q"}}));
  EXPECT_FALSE(objc_allocateClassPair(classOf<NSObject>(), "Built"));

  id object(adopt, class_createInstance(cls));
  EXPECT_EQ(objc_msgSend<int64_t>(object, "count"), 0);
  objc_msgSend(object, "setFlag:", true);
  objc_msgSend(object, "setCount:", INT64_MIN);
  objc_msgSend(object, "setSmall:", -7);
  objc_msgSend(object, "setRatio:", 1.5f);
  objc_msgSend(object, "setWide:", 2.25L);
  objc_msgSend(object, "setFrame:", CGRect{{1, 2}, {3, 4}});
  EXPECT_TRUE(objc_msgSend<bool>(object, "flag"));
  EXPECT_EQ(objc_msgSend<int64_t>(object, "count"), INT64_MIN);
  EXPECT_EQ(objc_msgSend<int>(object, "small"), -7);
  EXPECT_EQ(objc_msgSend<float>(object, "ratio"), 1.5f);
  EXPECT_EQ(objc_msgSend<long double>(object, "wide"), 2.25L);
  EXPECT_EQ(objc_msgSend<CGRect>(object, "frame"), (CGRect{{1, 2}, {3, 4}}));
  objc_msgSend(object, "turn:", true);
  EXPECT_TRUE(objc_msgSend<bool>(object, "on"));
  EXPECT_FALSE(object.respondsToSelector("isOn"));
  EXPECT_FALSE(object.respondsToSelector("setFixed:"));

  // `copy` copies, a wrong class is nil, `weak` lets go.
  id text = NSString("mutable").mutableCopy();
  objc_msgSend(object, "setTitle:", text);
  EXPECT_FALSE(isIdentical(objc_msgSend<id>(object, "title"), text));
  EXPECT_EQ(objc_msgSend<id>(object, "title"), text);
  objc_msgSend(object, "setTitle:", NSNumber(1));
  EXPECT_FALSE(objc_msgSend<id>(object, "title"));
  id owner = make<Animal>();
  objc_msgSend(object, "setOwner:", owner);
  objc_msgSend(object, "setAny:", owner);
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(object, "owner"), owner));
  EXPECT_EQ(ObjectAccess::retainCount(owner.object()), 2);
  Weak<id> watch = owner;
  owner = nullptr;
  EXPECT_TRUE(objc_msgSend<id>(object, "owner"));
  object = nullptr;
  EXPECT_FALSE(watch.lock());
}

TEST(RunTimeClass, ExchangedAccessorsKeepTheirIvars) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "Swapped");
  class_synthesizeProperty(cls, "a", {{"T", "i"}});
  class_synthesizeProperty(cls, "b", {{"T", "i"}});
  objc_registerClassPair(cls);
  method_exchangeImplementations(class_getInstanceMethod(cls, "setA:"), class_getInstanceMethod(cls, "setB:"));
  id object(adopt, class_createInstance(cls));
  objc_msgSend(object, "setA:", 1);
  EXPECT_EQ(objc_msgSend<int>(object, "a"), 0);
  EXPECT_EQ(objc_msgSend<int>(object, "b"), 1);
}

TEST(RunTimeClass, ExtendsACppClass) {
  Class cls = objc_allocateClassPair(classOf<Animal>(), "BuiltOnAnimal");
  ASSERT_TRUE(class_synthesizeProperty(cls, "tag", {{"T", "@\"NSString\""}, {"C", ""}}));
  objc_registerClassPair(cls);
  id object(adopt, class_createInstance(cls));
  auto animal = object.as<Animal>();
  ASSERT_TRUE(animal);
  EXPECT_EQ(animal->legs, 4);
  animal->name = "built";
  objc_msgSend(object, "setTag:", NSString("t"));
  EXPECT_EQ(objc_msgSend<NSString>(object, "tag"), NSString("t"));
  EXPECT_EQ(objc_msgSend<NSString>(object, "name"), NSString("built"));
  EXPECT_FALSE(object.is<Dog>());
}

TEST(RunTimeClass, DisposingForgetsTheName) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "Temporary");
  objc_registerClassPair(cls);
  objc_disposeClassPair(cls);
  EXPECT_FALSE(objc_getClass("Temporary"));
  objc_disposeClassPair(classOf<Animal>());
  EXPECT_TRUE(objc_getClass("Animal"));
}

TEST(RunTimeClass, ManyThreadsBuildAndAskAtOnce) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 50; ++i) {
        const std::string name = "Thread" + std::to_string(t) + "Class" + std::to_string(i);
        Class cls = objc_allocateClassPair(classOf<Animal>(), name);
        class_synthesizeProperty(cls, "extra", {{"T", "i"}});
        objc_registerClassPair(cls);
        id object(adopt, class_createInstance(cls));
        objc_msgSend(object, "setExtra:", i);
        objc_msgSend(object, "setLegs:", i);
        EXPECT_EQ(objc_msgSend<int>(object, "extra") + objc_msgSend<int>(object, "legs"), 2 * i);
        EXPECT_EQ(objc_getClass(name), cls);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

// ---- blocks
// -----------------------------------------------------------------------------------------------------------

TEST(Block, CallsAndClasses) {
  int calls = 0;
  Block<int(int)> captured = [&calls](int n) { return n + ++calls; };
  Block<int(int)> plain = [](int n) { return n * 2; };
  EXPECT_EQ(captured(1), 2);
  EXPECT_EQ(plain(4), 8);
  EXPECT_EQ(Block<int(int)>()(4), 0);
  EXPECT_STREQ(class_getName(id(captured).class_()), "__NSMallocBlock__");
  EXPECT_STREQ(class_getName(id(plain).class_()), "__NSGlobalBlock__");
  EXPECT_STREQ(class_getName(class_getSuperclass(id(plain).class_())), "__NSGlobalBlock");
  EXPECT_TRUE(id(plain).isKindOfClass(objc_getClass("NSBlock")));
  EXPECT_EQ(class_getSuperclass(objc_getClass("NSBlock")), classOf<NSObject>());
  EXPECT_TRUE(isIdentical(id(captured).copy(), captured));
}

TEST(Block, SignaturesAreTold) {
  id block = Block<int(int)>([](int n) { return n; });
  EXPECT_TRUE((block.is<Block<int(int)>>()));
  EXPECT_FALSE((block.is<Block<int(double)>>()));
  EXPECT_FALSE((id(NSString("x")).is<Block<int(int)>>()));
  EXPECT_EQ((block.as<Block<int(int)>>()(3)), 3);
}

TEST(Block, HoldsItsCapturesUntilItGoes) {
  id object = make<Animal>();
  Weak<id> watch = object;
  Block<id()> block = [object] { return object; };
  object = nullptr;
  EXPECT_TRUE(watch.lock());
  block = nullptr;
  EXPECT_FALSE(watch.lock());
}

}  // namespace
}  // namespace kvt
