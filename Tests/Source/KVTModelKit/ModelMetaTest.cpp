// What the engine knows of a model class: which properties it maps, by which keys, and which hooks there are.
#include <KVTFoundation/KVTModelKit/KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <algorithm>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using namespace modeltest;

Object* self_(Object* self, SEL) { return id(borrow, self).detach(); }
void set_(Object*, SEL, Object*) {}

// ---- Foundation types -------------------------------------------------------------------------------------

TEST(ModelMeta, FoundationTypeOfAClass) {
  struct Row {
    Class cls;
    NSUInteger type;
  };
  const Row rows[] = {
      {classOf<NSMutableString>(), 2},
      {classOf<NSString>(), 1},
      {classOf<NSDecimalNumber>(), 5},
      {classOf<NSNumber>(), 4},
      {classOf<NSValue>(), 3},
      {classOf<NSMutableData>(), 7},
      {classOf<NSData>(), 6},
      {classOf<NSDate>(), 8},
      {classOf<NSURL>(), 9},
      {classOf<NSMutableArray>(), 11},
      {classOf<NSArray>(), 10},
      {classOf<NSMutableDictionary>(), 13},
      {classOf<NSDictionary>(), 12},
      {classOf<NSMutableSet>(), 15},
      {classOf<NSSet>(), 14},
      {classOf<NSObject>(), 0},
      {classOf<NSNull>(), 0},
      {Class(), 0},
      {blockClass(), 0},
      {objc_getMetaClass("NSString"), 0},
  };
  int number = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(class_getName(row.cls));
    EXPECT_EQ(KVTClassGetNSType(row.cls), row.type);
    if (!row.cls) continue;
    EXPECT_EQ(_KVTModelMeta::metaWithClass(row.cls)->nsType, row.type);
    if (class_isMetaClass(row.cls)) continue;
    // A subclass counts as what it inherits from.
    const Class sub = objc_allocateClassPair(row.cls, "MetaSubclassOfFoundation" + std::to_string(number++));
    objc_registerClassPair(sub);
    EXPECT_EQ(KVTClassGetNSType(sub), row.type);
    EXPECT_EQ(_KVTModelMeta::metaWithClass(sub)->nsType, row.type);
  }
}

TEST(ModelMeta, NumbersOfTheFoundationTypes) {
  EXPECT_EQ(KVTEncodingTypeNSUnknown, 0u);
  EXPECT_EQ(KVTEncodingTypeNSString, 1u);
  EXPECT_EQ(KVTEncodingTypeNSMutableString, 2u);
  EXPECT_EQ(KVTEncodingTypeNSValue, 3u);
  EXPECT_EQ(KVTEncodingTypeNSNumber, 4u);
  EXPECT_EQ(KVTEncodingTypeNSDecimalNumber, 5u);
  EXPECT_EQ(KVTEncodingTypeNSData, 6u);
  EXPECT_EQ(KVTEncodingTypeNSMutableData, 7u);
  EXPECT_EQ(KVTEncodingTypeNSDate, 8u);
  EXPECT_EQ(KVTEncodingTypeNSURL, 9u);
  EXPECT_EQ(KVTEncodingTypeNSArray, 10u);
  EXPECT_EQ(KVTEncodingTypeNSMutableArray, 11u);
  EXPECT_EQ(KVTEncodingTypeNSDictionary, 12u);
  EXPECT_EQ(KVTEncodingTypeNSMutableDictionary, 13u);
  EXPECT_EQ(KVTEncodingTypeNSSet, 14u);
  EXPECT_EQ(KVTEncodingTypeNSMutableSet, 15u);
}

// ---- one property -----------------------------------------------------------------------------------------

TEST(ModelMeta, PropertyOfEachValueType) {
  struct Row {
    const char* name;
    const char* encoding;
    NSUInteger valueType;
    bool isCNumber, isKVCCompatible;
  };
  const Row rows[] = {
      {"aBool", "B", 2, true, true},
      {"anInt8", "c", 3, true, true},
      {"aUInt8", "C", 4, true, true},
      {"anInt16", "s", 5, true, true},
      {"aUInt16", "S", 6, true, true},
      {"anInt32", "i", 7, true, true},
      {"aUInt32", "I", 8, true, true},
      {"anInt64", "q", 9, true, true},
      {"aUInt64", "Q", 10, true, true},
      {"aFloat", "f", 11, true, true},
      {"aDouble", "d", 12, true, true},
      {"aLongDouble", "D", 13, true, false},
      {"anObject", "@", 14, false, true},
      {"aText", "@\"NSString\"", 14, false, true},
      {"aClass", "#", 15, false, true},
      {"aSelector", ":", 16, false, false},
      {"aBlock", "@?", 17, false, true},
      {"aPointer", "^v", 18, false, false},
      {"aStruct", "{CGSize=dd}", 19, false, true},
      {"aUnion", "(MetaUnion=id)", 20, false, true},
      {"aCString", "*", 21, false, false},
      {"aCArray", "[3i]", 22, false, false},
  };
  ClassMaker maker("MetaValueTypes");
  for (const Row& row : rows) maker.property(row.name, row.encoding);
  // Types that nothing can be synthesised for.
  maker.describe("aVoid", {{"T", "v"}}).method("aVoid", &self_, "@16@0:8").method("setAVoid:", &set_, "v24@0:8@16");
  maker.describe("bits", {{"T", "b3"}}).method("bits", &self_, "@16@0:8").method("setBits:", &set_, "v24@0:8@16");
  const Class cls = maker.make();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto meta = metaOf(cls, row.name);
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->name, row.name);
    EXPECT_EQ(meta->type & KVTEncodingTypeMask, row.valueType);
    EXPECT_EQ(meta->type & KVTEncodingTypePropertyNonatomic, KVTEncodingTypePropertyNonatomic) << "with its attributes";
    EXPECT_EQ(meta->isCNumber, row.isCNumber);
    EXPECT_EQ(meta->isKVCCompatible, row.isKVCCompatible);
    EXPECT_EQ(meta->nsType,
              row.encoding == std::string("@\"NSString\"") ? KVTEncodingTypeNSString : KVTEncodingTypeNSUnknown);
    EXPECT_EQ(meta->getter, SEL(row.name));
    EXPECT_TRUE(meta->setter);
    EXPECT_FALSE(meta->genericCls);
    EXPECT_FALSE(meta->hasCustomClassFromDictionary);
    EXPECT_EQ(meta->mappedToKey, row.name);
    EXPECT_FALSE(meta->mappedToKeyPath);
    EXPECT_FALSE(meta->mappedToKeyArray);
    EXPECT_FALSE(meta->next);
    EXPECT_TRUE(isIdentical(meta->info, KVTClassInfo::classInfoWithClass(cls)->kvtPropertyInfos()[row.name]));
    EXPECT_EQ(meta->cls, meta->info->kvtCls());
  }
  for (const char* name : {"aVoid", "bits"}) {
    SCOPED_TRACE(name);
    auto meta = metaOf(cls, name);
    ASSERT_TRUE(meta);
    EXPECT_FALSE(meta->isCNumber);
    EXPECT_FALSE(meta->isKVCCompatible);
  }
}

TEST(ModelMeta, QualifiersDoNotChangeTheKind) {
  ClassMaker maker("MetaQualified");
  maker.property("fixed", "ri").property("text", "r*").property("remote", "Nq");
  const Class cls = maker.make();
  EXPECT_TRUE(metaOf(cls, "fixed")->isCNumber);
  EXPECT_TRUE(metaOf(cls, "fixed")->isKVCCompatible);
  EXPECT_TRUE(metaOf(cls, "remote")->isCNumber);
  EXPECT_FALSE(metaOf(cls, "text")->isCNumber);
  EXPECT_FALSE(metaOf(cls, "text")->isKVCCompatible);
}

TEST(ModelMeta, FoundationTypeOfAProperty) {
  const std::pair<const char*, NSUInteger> rows[] = {
      {"NSString", 1},
      {"NSMutableString", 2},
      {"NSValue", 3},
      {"NSNumber", 4},
      {"NSDecimalNumber", 5},
      {"NSData", 6},
      {"NSMutableData", 7},
      {"NSDate", 8},
      {"NSURL", 9},
      {"NSArray", 10},
      {"NSMutableArray", 11},
      {"NSDictionary", 12},
      {"NSMutableDictionary", 13},
      {"NSSet", 14},
      {"NSMutableSet", 15},
      {"NSObject", 0},
      {"NSAttributedString", 0},
      {"MetaNobodyHasThisName", 0},
  };
  ClassMaker maker("MetaFoundationProperties");
  for (const auto& [name, type] : rows) maker.property(std::string("a") + name, "@\"" + std::string(name) + "\"");
  const Class cls = maker.make();
  for (const auto& [name, type] : rows) {
    SCOPED_TRACE(name);
    auto meta = metaOf(cls, NSString(std::string("a") + name));
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->nsType, type);
    EXPECT_EQ(meta->cls, objc_getClass(name));
  }
}

TEST(ModelMeta, GeometryThatArchivesKnow) {
  const char* const known[] = {
      "{CGSize=ff}",
      "{CGPoint=ff}",
      "{CGRect={CGPoint=ff}{CGSize=ff}}",
      "{CGAffineTransform=ffffff}",
      "{UIEdgeInsets=ffff}",
      "{UIOffset=ff}",
      "{CGSize=dd}",
      "{CGPoint=dd}",
      "{CGRect={CGPoint=dd}{CGSize=dd}}",
      "{CGAffineTransform=dddddd}",
      "{UIEdgeInsets=dddd}",
      "{UIOffset=dd}",
  };
  const char* const unknown[] = {
      "{_NSRange=QQ}", "{CGSize=df}",    "{CGSize=fd}",
      "{CGSize=ddd}",  "{CGSize=d}",     "{NSSize=dd}",
      "{cgSize=dd}",   "{CGRect=dddd}",  "{CGRect={CGSize=dd}{CGPoint=dd}}",
      "{CGVector=dd}", "{UIOffset=dd}d", "r{CGSize=dd}",
      "(CGSize=dd)",   "^{CGSize=dd}",   "[1{CGSize=dd}]",
  };
  ClassMaker maker("MetaGeometry");
  int number = 0;
  auto add = [&](const char* encoding) {
    const std::string name = "p" + std::to_string(number++);
    maker.describe(name, {{"T", encoding}});
    maker.method(name.c_str(), &self_, "@16@0:8");
    maker.method(("setP" + std::to_string(number - 1) + ":").c_str(), &set_, "v24@0:8@16");
  };
  for (const char* encoding : known) add(encoding);
  for (const char* encoding : unknown) add(encoding);
  const Class cls = maker.make();
  number = 0;
  auto next = [&] { return metaOf(cls, NSString("p" + std::to_string(number++))); };
  for (const char* encoding : known) EXPECT_TRUE(next()->isStructAvailableForKeyedArchiver) << encoding;
  for (const char* encoding : unknown) EXPECT_FALSE(next()->isStructAvailableForKeyedArchiver) << encoding;
}

TEST(ModelMeta, AccessorsAreKeptWhereInstancesAnswer) {
  ClassMaker maker("MetaAccessors");
  maker.describe("both", {{"T", "@"}}).method("both", &self_, "@16@0:8").method("setBoth:", &set_, "v24@0:8@16");
  maker.describe("readonly", {{"T", "@"}, {"R", ""}}).method("readonly", &self_, "@16@0:8");
  maker.describe("writeonly", {{"T", "@"}}).method("setWriteonly:", &set_, "v24@0:8@16");
  maker.describe("neither", {{"T", "@"}, {"D", ""}});
  maker.describe("renamed", {{"T", "@"}, {"G", "isRenamed"}, {"S", "rename:"}});
  maker.method("isRenamed", &self_, "@16@0:8").method("rename:", &set_, "v24@0:8@16");
  maker.describe("misnamed", {{"T", "@"}, {"G", "isMisnamed"}}).method("misnamed", &self_, "@16@0:8");
  maker.method("setMisnamed:", &set_, "v24@0:8@16");
  // Marked read-only, and yet there is a setter: what is there counts.
  maker.describe("opened", {{"T", "@"}, {"R", ""}}).method("opened", &self_, "@16@0:8");
  maker.method("setOpened:", &set_, "v24@0:8@16");
  const Class cls = maker.make();

  auto info = KVTClassInfo::classInfoWithClass(cls);
  struct Row {
    const char* name;
    const char* getter;
    const char* setter;
  };
  const Row rows[] = {
      {"both", "both", "setBoth:"},       {"readonly", "readonly", nullptr},   {"writeonly", nullptr, "setWriteonly:"},
      {"neither", nullptr, nullptr},      {"renamed", "isRenamed", "rename:"}, {"misnamed", nullptr, "setMisnamed:"},
      {"opened", "opened", "setOpened:"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto property = info->kvtPropertyInfos()[row.name].as<KVTClassPropertyInfo>();
    auto meta = _KVTModelPropertyMeta::metaWithClassInfo_propertyInfo_generic(info, property, Class());
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->getter, row.getter != nullptr ? SEL(row.getter) : SEL());
    EXPECT_EQ(meta->setter, row.setter != nullptr ? SEL(row.setter) : SEL());
    EXPECT_EQ(meta->isKVCCompatible, row.getter != nullptr && row.setter != nullptr);
    EXPECT_TRUE(isIdentical(meta->info, property));
  }
  EXPECT_EQ(allNames(cls), (Names{"both", "opened", "renamed"}));
  EXPECT_EQ(_KVTModelMeta::metaWithClass(cls)->keyMappedCount, 3u);
}

TEST(ModelMeta, AccessorsMayBeInherited) {
  const Class base = ClassMaker("MetaInheritedBase")
                         .method("value", &self_, "@16@0:8")
                         .method("setValue:", &set_, "v24@0:8@16")
                         .make();
  ClassMaker maker("MetaInheritedSub", base);
  const Class cls = maker.describe("value", {{"T", "@"}}).make();
  EXPECT_EQ(allNames(cls), Names{"value"});
  EXPECT_FALSE(_KVTModelMeta::metaWithClass(base)->allPropertyMetas);
}

// ---- element classes --------------------------------------------------------------------------------------

class MetaPart : public NSObject {
 public:
  NSString name;
  KVT_MODEL(MetaPart, name)
};

class MetaChoosyPart : public NSObject {
 public:
  NSString name;
  static Class modelCustomClassForDictionary(const NSDictionary&) { return Class(); }
  KVT_MODEL(MetaChoosyPart, name)
};

class MetaChoosySubPart : public MetaChoosyPart {
 public:
  KVT_MODEL(MetaChoosySubPart)
};

class MetaWhole : public NSObject {
 public:
  NSArray byClass, byName, byProtocol, bySecondProtocol, byNoProtocol, byUnknownName, byNumber, byInstance, byBoth,
      plain;
  NSDictionary dictionary;
  NSSet set;
  Ref<MetaPart> object;
  id anything;
  Ref<MetaChoosyPart> choosy;
  Ref<MetaChoosySubPart> choosySub;
  NSArray choosyList, choosySubList;
  static NSDictionary modelContainerPropertyGenericClass() {
    return {{"byClass", classOf<MetaPart>()},
            {"byName", "MetaPart"},
            {"byUnknownName", "MetaNobodyHasThisName"},
            {"byNumber", 7},
            {"byInstance", make<MetaPart>()},
            {"byBoth", "MetaChoosyPart"},
            {"dictionary", classOf<MetaPart>()},
            {"set", "MetaPart"},
            {"object", "MetaChoosyPart"},
            {"anything", classOf<MetaPart>()},
            {"choosyList", classOf<MetaChoosyPart>()},
            {"choosySubList", "MetaChoosySubPart"},
            {"notThere", classOf<MetaPart>()},
            {NSNull::null(), classOf<MetaPart>()},
            {5, "MetaPart"}};
  }
  static void kvtDescribe(ClassBuilder<MetaWhole>& c) {
    c.property<&MetaWhole::byProtocol>("byProtocol", {.protocols = "MetaPart"});
    c.property<&MetaWhole::bySecondProtocol>("bySecondProtocol", {.protocols = "NSCopying,MetaPart,MetaChoosyPart"});
    c.property<&MetaWhole::byNoProtocol>("byNoProtocol", {.protocols = "NSCopying,NSCoding"});
    c.property<&MetaWhole::byBoth>("byBoth", {.protocols = "MetaPart"});
  }
  KVT_MODEL(MetaWhole, byClass, byName, byUnknownName, byNumber, byInstance, plain, dictionary, set, object, anything,
            choosy, choosySub, choosyList, choosySubList)
};

TEST(ModelMeta, ElementClasses) {
  struct Row {
    const char* name;
    const char* generic;
    bool choosy;
  };
  const Row rows[] = {
      {"byClass", "MetaPart", false},
      {"byName", "MetaPart", false},
      {"byProtocol", "MetaPart", false},
      {"bySecondProtocol", "MetaPart", false},  // the first that is a class
      {"byNoProtocol", nullptr, false},
      {"byUnknownName", nullptr, false},
      {"byNumber", nullptr, false},
      {"byInstance", nullptr, false},      // an object of the class is not the class
      {"byBoth", "MetaChoosyPart", true},  // the hook comes before the protocols
      {"plain", nullptr, false},
      {"dictionary", "MetaPart", false},
      {"set", "MetaPart", false},
      {"object", "MetaChoosyPart", true},  // the generic class is asked, not the declared one
      {"anything", "MetaPart", false},
      {"choosy", nullptr, true},
      {"choosySub", nullptr, true},  // the hook may be inherited
      {"choosyList", "MetaChoosyPart", true},
      {"choosySubList", "MetaChoosySubPart", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto meta = metaOf(classOf<MetaWhole>(), row.name);
    ASSERT_TRUE(meta);
    EXPECT_EQ(meta->genericCls, row.generic != nullptr ? objc_getClass(row.generic) : Class());
    EXPECT_EQ(meta->hasCustomClassFromDictionary, row.choosy);
  }
  EXPECT_EQ(metaOf(classOf<MetaWhole>(), "object")->cls, classOf<MetaPart>());
}

TEST(ModelMeta, AChoosyFoundationClassIsNotAsked) {
  // A subclass of a Foundation type that would choose: without a generic class only unknown types are asked.
  ClassMaker text("MetaChoosyText", classOf<NSString>());
  text.classMethod("modelCustomClassForDictionary:", &set_, "#24@0:8@16").make();
  ClassMaker maker("MetaChoosyTextOwner");
  const Class cls = maker.property("text", "@\"MetaChoosyText\"").make();
  EXPECT_EQ(metaOf(cls, "text")->nsType, KVTEncodingTypeNSString);
  EXPECT_FALSE(metaOf(cls, "text")->hasCustomClassFromDictionary);
}

TEST(ModelMeta, AGivenGenericClassComesBeforeProtocols) {
  auto info = KVTClassInfo::classInfoWithClass(classOf<MetaWhole>());
  auto property = info->kvtPropertyInfos()["byProtocol"].as<KVTClassPropertyInfo>();
  auto meta = _KVTModelPropertyMeta::metaWithClassInfo_propertyInfo_generic(info, property, classOf<MetaChoosyPart>());
  EXPECT_EQ(meta->genericCls, classOf<MetaChoosyPart>());
  meta = _KVTModelPropertyMeta::metaWithClassInfo_propertyInfo_generic(info, property, Class());
  EXPECT_EQ(meta->genericCls, classOf<MetaPart>());
}

// ---- black and white lists --------------------------------------------------------------------------------

TEST(ModelMeta, BlackAndWhiteLists) {
  struct Row {
    const char* name;
    NSArray black, white;
    Names mapped;
  };
  const NSArray none = nullptr;
  const Row rows[] = {
      {"MetaListsNone", none, none, {"a", "b", "c"}},
      {"MetaListsBlack", {"b"}, none, {"a", "c"}},
      {"MetaListsWhite", none, {"b"}, {"b"}},
      {"MetaListsBoth", {"a"}, {"a", "b"}, {"b"}},  // on both lists: not mapped
      {"MetaListsAllBlack", {"a", "b", "c"}, none, {}},
      {"MetaListsOtherWhite", none, {"z"}, {}},
      {"MetaListsEmptyBlack", NSArray::array(), none, {"a", "b", "c"}},
      {"MetaListsEmptyWhite", none, NSArray::array(), {}},  // a list was given, and nothing is on it
      {"MetaListsOdd", {1, NSNull::null(), "c"}, {2, "a", "c"}, {"a"}},
      {"MetaListsDouble", {"a", "a"}, {"b", "b", "a"}, {"b"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    ClassMaker maker(row.name);
    withText(maker, {"a", "b", "c"});
    if (row.black) maker.answers("modelPropertyBlacklist", row.black);
    if (row.white) maker.answers("modelPropertyWhitelist", row.white);
    const Class cls = maker.make();
    EXPECT_EQ(allNames(cls), row.mapped);
    EXPECT_EQ(_KVTModelMeta::metaWithClass(cls)->keyMappedCount, row.mapped.size());
    for (const char* name : {"a", "b", "c"}) {
      const bool mapped = std::find(row.mapped.begin(), row.mapped.end(), name) != row.mapped.end();
      EXPECT_EQ(chain(cls, name), mapped ? Names{name} : Names{}) << name;
    }
  }
}

TEST(ModelMeta, AListThatAnswersNil) {
  ClassMaker maker("MetaListsNil");
  withText(maker, {"a"});
  maker.answers("modelPropertyBlacklist", nullptr).answers("modelPropertyWhitelist", nullptr);
  maker.answers("modelContainerPropertyGenericClass", nullptr).answers("modelCustomPropertyMapper", nullptr);
  EXPECT_EQ(allNames(maker.make()), Names{"a"});
}

TEST(ModelMeta, ListsReachInheritedProperties) {
  ClassMaker base("MetaListsBase");
  withText(base, {"a", "b"}).make();
  ClassMaker maker("MetaListsSub", objc_getClass("MetaListsBase"));
  withText(maker, {"c", "d"}).answers("modelPropertyBlacklist", NSArray{"a", "d"});
  EXPECT_EQ(allNames(maker.make()), (Names{"b", "c"}));
  EXPECT_EQ(allNames(objc_getClass("MetaListsBase")), (Names{"a", "b"}));
  // The list itself is inherited too.
  ClassMaker sub("MetaListsSubSub", objc_getClass("MetaListsSub"));
  EXPECT_EQ(allNames(withText(sub, {"e"}).make()), (Names{"b", "c", "e"}));
}

// ---- inheritance ------------------------------------------------------------------------------------------

TEST(ModelMeta, TheSubclassWins) {
  ClassMaker base("MetaWinsBase");
  base.property("value", "@\"NSString\"", "C").property("other", "i").make();
  ClassMaker maker("MetaWinsSub", objc_getClass("MetaWinsBase"));
  maker.describe("value", {{"T", "@\"NSNumber\""}, {"&", ""}});
  maker.method("value", &self_, "@16@0:8").method("setValue:", &set_, "v24@0:8@16");
  const Class cls = maker.make();
  EXPECT_EQ(allNames(cls), (Names{"other", "value"}));
  EXPECT_EQ(metaOf(cls, "value")->cls, classOf<NSNumber>());
  EXPECT_EQ(metaOf(cls, "value")->nsType, KVTEncodingTypeNSNumber);
  EXPECT_EQ(metaOf(objc_getClass("MetaWinsBase"), "value")->cls, classOf<NSString>());
}

TEST(ModelMeta, ASubclassDeclarationWithoutASetterUsesTheInheritedOne) {
  ClassMaker base("MetaOpensBase");
  base.property("value", "@\"NSString\"", "C").make();
  ClassMaker maker("MetaOpensSub", objc_getClass("MetaOpensBase"));
  const Class cls = maker.describe("value", {{"T", "@\"NSNumber\""}, {"R", ""}}).make();
  EXPECT_EQ(metaOf(cls, "value")->cls, classOf<NSNumber>());
  EXPECT_EQ(metaOf(cls, "value")->setter, SEL("setValue:"));
}

TEST(ModelMeta, ASubclassDeclarationThatCannotBeMappedGivesWay) {
  ClassMaker base("MetaGivesWayBase");
  base.property("value", "@\"NSString\"", "C").make();
  ClassMaker maker("MetaGivesWaySub", objc_getClass("MetaGivesWayBase"));
  const Class cls = maker.describe("value", {{"T", "@\"NSNumber\""}, {"S", "nobodyAnswers:"}}).make();
  EXPECT_EQ(metaOf(cls, "value")->cls, classOf<NSString>());
}

TEST(ModelMeta, TheRootClassIsLeftOut) {
  // Even a property that the root class has got is mapped by no model.
  ASSERT_TRUE(class_addProperty(classOf<NSObject>(), "metaRootProperty", {{"T", "@"}}));
  ASSERT_TRUE(class_addMethod(classOf<NSObject>(), "metaRootProperty", reinterpret_cast<IMP>(&self_), "@16@0:8"));
  ASSERT_TRUE(class_addMethod(classOf<NSObject>(), "setMetaRootProperty:", reinterpret_cast<IMP>(&set_), "v24@0:8@16"));
  KVTClassInfo::classInfoWithClass(classOf<NSObject>())->setNeedUpdate();
  ASSERT_TRUE(KVTClassInfo::classInfoWithClass(classOf<NSObject>())->kvtPropertyInfos()["metaRootProperty"]);
  ClassMaker maker("MetaUnderRoot");
  EXPECT_EQ(allNames(withText(maker, {"own"}).make()), Names{"own"});
  EXPECT_EQ(_KVTModelMeta::metaWithClass(classOf<NSObject>())->keyMappedCount, 0u);
}

// ---- hooks ------------------------------------------------------------------------------------------------

class MetaHookless : public NSObject {
 public:
  KVT_MODEL(MetaHookless)
};
class MetaWill : public NSObject {
 public:
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) { return dictionary; }
  KVT_MODEL(MetaWill)
};
class MetaFrom : public NSObject {
 public:
  bool modelCustomTransformFromDictionary(const NSDictionary&) { return true; }
  KVT_MODEL(MetaFrom)
};
class MetaTo : public NSObject {
 public:
  bool modelCustomTransformToDictionary(const NSMutableDictionary&) { return true; }
  KVT_MODEL(MetaTo)
};
class MetaInheritsWill : public MetaWill {
 public:
  bool modelCustomTransformToDictionary(const NSMutableDictionary&) { return true; }
  KVT_MODEL(MetaInheritsWill)
};

TEST(ModelMeta, HooksOfAClass) {
  struct Row {
    Class cls;
    bool will, from, to, choose;
  };
  const Row rows[] = {
      {classOf<MetaHookless>(), false, false, false, false},
      {classOf<MetaWill>(), true, false, false, false},
      {classOf<MetaFrom>(), false, true, false, false},
      {classOf<MetaTo>(), false, false, true, false},
      {classOf<MetaChoosyPart>(), false, false, false, true},
      {classOf<MetaChoosySubPart>(), false, false, false, true},  // inherited
      {classOf<MetaInheritsWill>(), true, false, true, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(class_getName(row.cls));
    auto meta = _KVTModelMeta::metaWithClass(row.cls);
    EXPECT_EQ(meta->hasCustomWillTransformFromDictionary, row.will);
    EXPECT_EQ(meta->hasCustomTransformFromDictionary, row.from);
    EXPECT_EQ(meta->hasCustomTransformToDictionary, row.to);
    EXPECT_EQ(meta->hasCustomClassFromDictionary, row.choose);
  }
}

TEST(ModelMeta, AHookOfTheOtherKindIsNone) {
  ClassMaker maker("MetaWrongKind");
  // Instance hooks as class methods, and the class hook as an instance method.
  maker.classMethod("modelCustomWillTransformFromDictionary:", &set_, "@24@0:8@16");
  maker.classMethod("modelCustomTransformFromDictionary:", &set_, "B24@0:8@16");
  maker.classMethod("modelCustomTransformToDictionary:", &set_, "B24@0:8@16");
  maker.method("modelCustomClassForDictionary:", &set_, "#24@0:8@16");
  withText(maker, {"a"}).method("modelPropertyBlacklist", &self_, "@16@0:8");
  auto meta = _KVTModelMeta::metaWithClass(maker.make());
  EXPECT_FALSE(meta->hasCustomWillTransformFromDictionary);
  EXPECT_FALSE(meta->hasCustomTransformFromDictionary);
  EXPECT_FALSE(meta->hasCustomTransformToDictionary);
  EXPECT_FALSE(meta->hasCustomClassFromDictionary);
  EXPECT_EQ(meta->keyMappedCount, 1u);
}

TEST(ModelMeta, HooksThatAnswerOtherThings) {
  ClassMaker maker("MetaOddAnswers");
  withText(maker, {"a"});
  maker.answers("modelPropertyBlacklist", NSString("a")).answers("modelPropertyWhitelist", NSNumber(1));
  maker.answers("modelContainerPropertyGenericClass", NSArray{"a"});
  maker.answers("modelCustomPropertyMapper", NSString("a"));
  // Nothing sensible is said, so nothing is raised either; the property is there.
  EXPECT_EQ(allNames(maker.make()), Names{"a"});
}

// ---- the cache --------------------------------------------------------------------------------------------

TEST(ModelMeta, OneMetaForEachClass) {
  EXPECT_FALSE(_KVTModelMeta::metaWithClass(Class()));
  auto meta = _KVTModelMeta::metaWithClass(classOf<MetaWhole>());
  EXPECT_TRUE(isIdentical(meta, _KVTModelMeta::metaWithClass(classOf<MetaWhole>())));
  EXPECT_TRUE(isIdentical(meta->classInfo, KVTClassInfo::classInfoWithClass(classOf<MetaWhole>())));
  EXPECT_FALSE(isIdentical(meta, _KVTModelMeta::metaWithClass(classOf<MetaPart>())));
}

TEST(ModelMeta, AMarkedClassGetsANewMeta) {
  ClassMaker maker("MetaMarked");
  const Class cls = withText(maker, {"a"}).make();
  auto before = _KVTModelMeta::metaWithClass(cls);
  class_addProperty(cls, "b", {{"T", "@"}});
  class_addMethod(cls, "b", reinterpret_cast<IMP>(&self_), "@16@0:8");
  class_addMethod(cls, "setB:", reinterpret_cast<IMP>(&set_), "v24@0:8@16");
  class_addMethod(cls, "modelCustomTransformFromDictionary:", reinterpret_cast<IMP>(&set_), "B24@0:8@16");
  KVTClassInfo::classInfoWithClass(cls)->setNeedUpdate();
  auto after = _KVTModelMeta::metaWithClass(cls);
  EXPECT_FALSE(isIdentical(before, after));
  EXPECT_TRUE(isIdentical(before->classInfo, after->classInfo)) << "its class info is rebuilt in place";
  EXPECT_EQ(allNames(cls), (Names{"a", "b"}));
  EXPECT_TRUE(after->hasCustomTransformFromDictionary);
  // What was handed out stays what it was.
  EXPECT_EQ(before->keyMappedCount, 1u);
  EXPECT_FALSE(before->hasCustomTransformFromDictionary);
  EXPECT_TRUE(isIdentical(after, _KVTModelMeta::metaWithClass(cls)));
}

}  // namespace
}  // namespace kvt
