// Descriptions of classes, ivars, methods and properties, and their cache.
#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;

class InfoPlain : public NSObject {
 public:
  KVT_CLASS(InfoPlain)
};

class InfoPerson : public NSObject {
 public:
  NSString name;
  int64_t age = 0;
  bool member = false;
  double height = 0;
  CGSize size;
  id anything;
  NSArray friends;
  Weak<InfoPerson> partner;
  Block<void()> greeting;
  Class kind;
  SEL action;
  const char* text = nullptr;
  void* pointer = nullptr;
  NSString serial() const { return "s"; }
  bool greets_with(const NSString&, double) { return true; }
  static NSString species() { return "homo"; }
  static void kvtDescribe(ClassBuilder<InfoPerson>& c) {
    c.propertyOf<NSString>("serial", {.readonly = true}).method<&InfoPerson::serial>("serial");
    c.property<&InfoPerson::friends>("friends", {.protocols = "InfoPerson,NSCopying"});
    c.property<&InfoPerson::member>("member", {.atomic = true, .getter = "isMember", .setter = "makeMember:"});
    c.propertyOf<NSString>("lazy", {.dynamic = true});
    c.method<&InfoPerson::greets_with>("greets:with:");
    c.classMethod<&InfoPerson::species>("species");
  }
  KVT_CLASS(InfoPerson, name, age, height, size, anything, partner, greeting, kind, action, text, pointer)
};

class InfoChild : public InfoPerson {
 public:
  int32_t grade = 0;
  KVT_CLASS(InfoChild, grade)
};

Ref<KVTClassPropertyInfo> propertyOf(Class cls, const char* name) {
  return KVTClassInfo::classInfoWithClass(cls)->kvtPropertyInfos()[name].as<KVTClassPropertyInfo>();
}
Ref<KVTClassMethodInfo> methodOf(Class cls, const char* name) {
  return KVTClassInfo::classInfoWithClass(cls)->kvtMethodInfos()[name].as<KVTClassMethodInfo>();
}
Ref<KVTClassIvarInfo> ivarOf(Class cls, const char* name) {
  return KVTClassInfo::classInfoWithClass(cls)->kvtIvarInfos()[name].as<KVTClassIvarInfo>();
}

void noop(Object*, SEL) {}
Object* answersNil(Object*, SEL) { return nullptr; }

// ---- ivars ------------------------------------------------------------------------------------------------

TEST(ClassInfo, NoHandleNoInfo) {
  EXPECT_FALSE(KVTClassIvarInfo::initWithIvarInfo(nullptr));
  EXPECT_FALSE(KVTClassMethodInfo::initWithMethod(nullptr));
  EXPECT_FALSE(KVTClassPropertyInfo::initWithProperty(nullptr));
  EXPECT_FALSE(KVTClassInfo::classInfoWithClass(Class()));
  EXPECT_FALSE(KVTClassInfo::classInfoWithClassName(nullptr));
  EXPECT_FALSE(KVTClassInfo::classInfoWithClassName(""));
  EXPECT_FALSE(KVTClassInfo::classInfoWithClassName("InfoNobodyHasThisName"));
}

TEST(ClassInfo, IvarsOfMembers) {
  struct Row {
    const char* name;
    const char* encoding;
    NSUInteger type;
  };
  const Row rows[] = {
      {"name", "@\"NSString\"", KVTEncodingTypeObject},
      {"age", "q", KVTEncodingTypeInt64},
      {"member", "B", KVTEncodingTypeBool},
      {"height", "d", KVTEncodingTypeDouble},
      {"size", "{CGSize=dd}", KVTEncodingTypeStruct},
      {"anything", "@", KVTEncodingTypeObject},
      {"greeting", "@?", KVTEncodingTypeBlock},
      {"kind", "#", KVTEncodingTypeClass},
      {"action", ":", KVTEncodingTypeSEL},
      {"text", "r*", KVTEncodingTypeCString | KVTEncodingTypeQualifierConst},
      {"pointer", "^v", KVTEncodingTypePointer},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto info = ivarOf(classOf<InfoPerson>(), row.name);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kvtIvar(), class_getInstanceVariable(classOf<InfoPerson>(), row.name));
    EXPECT_EQ(info->kvtName(), row.name);
    EXPECT_EQ(info->kvtOffset(), ivar_getOffset(info->kvtIvar()));
    EXPECT_EQ(info->kvtTypeEncoding(), row.encoding);
    EXPECT_EQ(info->kvtType(), row.type);
  }
  auto person = make<InfoPerson>();
  EXPECT_EQ(ivarOf(classOf<InfoPerson>(), "age")->kvtOffset(),
            reinterpret_cast<char*>(&person->age) - reinterpret_cast<char*>(person.object()));
}

TEST(ClassInfo, IvarsAreOwnOnly) {
  EXPECT_TRUE(ivarOf(classOf<InfoChild>(), "grade"));
  EXPECT_FALSE(ivarOf(classOf<InfoChild>(), "age"));
  EXPECT_EQ(KVTClassInfo::classInfoWithClass(classOf<InfoChild>())->kvtIvarInfos().count(), 1u);
}

TEST(ClassInfo, IvarsOfAClassBuiltByHand) {
  Class cls = objc_allocateClassPair(classOf<NSObject>(), "InfoIvars");
  ASSERT_TRUE(class_addIvar(cls, "_small", 1, 0, "c"));
  ASSERT_TRUE(class_addIvar(cls, "_large", 8, 3, "Q"));
  ASSERT_TRUE(class_addIvar(cls, "_odd", 4, 2, "b3"));
  ASSERT_TRUE(class_addIvar(cls, "_silent", 4, 2, ""));
  objc_registerClassPair(cls);
  EXPECT_EQ(ivarOf(cls, "_small")->kvtType(), KVTEncodingTypeInt8);
  EXPECT_EQ(ivarOf(cls, "_large")->kvtType(), KVTEncodingTypeUInt64);
  EXPECT_EQ(ivarOf(cls, "_large")->kvtOffset() % 8, 0);
  EXPECT_GT(ivarOf(cls, "_large")->kvtOffset(), ivarOf(cls, "_small")->kvtOffset());
  EXPECT_EQ(ivarOf(cls, "_odd")->kvtType(), KVTEncodingTypeUnknown);
  EXPECT_EQ(ivarOf(cls, "_odd")->kvtTypeEncoding(), "b3");
  EXPECT_EQ(ivarOf(cls, "_silent")->kvtType(), KVTEncodingTypeUnknown);
}

// ---- methods ----------------------------------------------------------------------------------------------

TEST(ClassInfo, Methods) {
  struct Row {
    const char* selector;
    const char* encoding;
    const char* result;
    std::vector<std::string> arguments;
  };
  const Row rows[] = {
      {"name", "@16@0:8", "@", {"@", ":"}},
      {"setName:", "v24@0:8@16", "v", {"@", ":", "@"}},
      {"setAge:", "v24@0:8q16", "v", {"@", ":", "q"}},
      {"isMember", "B16@0:8", "B", {"@", ":"}},
      {"makeMember:", "v20@0:8B16", "v", {"@", ":", "B"}},
      {"size", "{CGSize=dd}16@0:8", "{CGSize=dd}", {"@", ":"}},
      {"setSize:", "v32@0:8{CGSize=dd}16", "v", {"@", ":", "{CGSize=dd}"}},
      {"greets:with:", "B32@0:8@16d24", "B", {"@", ":", "@", "d"}},
      {"serial", "@16@0:8", "@", {"@", ":"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.selector);
    auto info = methodOf(classOf<InfoPerson>(), row.selector);
    ASSERT_TRUE(info);
    Method method = class_getInstanceMethod(classOf<InfoPerson>(), row.selector);
    EXPECT_EQ(info->kvtMethod(), method);
    EXPECT_EQ(info->kvtName(), row.selector);
    EXPECT_EQ(info->kvtSel(), SEL(row.selector));
    EXPECT_EQ(info->kvtImp(), method_getImplementation(method));
    EXPECT_EQ(info->kvtTypeEncoding(), row.encoding);
    EXPECT_EQ(info->kvtReturnTypeEncoding(), row.result);
    EXPECT_EQ(info->kvtArgumentTypeEncodings().toVector<std::string>(), row.arguments);
  }
  EXPECT_FALSE(methodOf(classOf<InfoPerson>(), "species"));  // a class operation
  EXPECT_FALSE(methodOf(classOf<InfoChild>(), "name"));      // inherited
}

TEST(ClassInfo, MethodsOfOddEncodings) {
  ClassMaker maker("InfoOddMethods");
  maker.method("noArguments", &noop, "v").method("nothing", &noop, "").method("struct:", &noop, "^v24@0:8r^{S=i@}16");
  maker.method("bare:", &noop, "v@:i");
  const Class cls = maker.make();
  auto none = methodOf(cls, "noArguments");
  ASSERT_TRUE(none);
  EXPECT_FALSE(none->kvtArgumentTypeEncodings()) << "no arguments, no array";
  EXPECT_EQ(none->kvtReturnTypeEncoding(), "v");
  auto nothing = methodOf(cls, "nothing");
  ASSERT_TRUE(nothing);
  EXPECT_FALSE(nothing->kvtArgumentTypeEncodings());
  EXPECT_EQ(methodOf(cls, "struct:")->kvtReturnTypeEncoding(), "^v");
  EXPECT_EQ(methodOf(cls, "struct:")->kvtArgumentTypeEncodings(), (NSArray{"@", ":", "r^{S=i@}"}));
  EXPECT_EQ(methodOf(cls, "bare:")->kvtArgumentTypeEncodings(), (NSArray{"@", ":", "i"}));
}

TEST(ClassInfo, AMethodInfoKeepsTheImplementationItSaw) {
  ClassMaker maker("InfoKeepsImp");
  maker.method("act", &noop, "v16@0:8");
  const Class cls = maker.make();
  auto info = methodOf(cls, "act");
  method_setImplementation(info->kvtMethod(), reinterpret_cast<IMP>(&answersNil));
  EXPECT_EQ(info->kvtImp(), reinterpret_cast<IMP>(&noop));
  EXPECT_EQ(KVTClassMethodInfo::initWithMethod(info->kvtMethod())->kvtImp(), reinterpret_cast<IMP>(&answersNil));
}

// ---- properties -------------------------------------------------------------------------------------------

TEST(ClassInfo, PropertiesOfMembers) {
  constexpr NSUInteger kNonatomic = KVTEncodingTypePropertyNonatomic, kCopy = KVTEncodingTypePropertyCopy,
                       kRetain = KVTEncodingTypePropertyRetain;
  struct Row {
    const char* name;
    NSUInteger type;
    const char* encoding;
    const char* ivar;
    const char* cls;
    const char* getter;
    const char* setter;
  };
  const Row rows[] = {
      {"name", 14 | kNonatomic | kCopy, "@\"NSString\"", "name", "NSString", "name", "setName:"},
      {"age", 9 | kNonatomic, "q", "age", nullptr, "age", "setAge:"},
      {"height", 12 | kNonatomic, "d", "height", nullptr, "height", "setHeight:"},
      {"size", 19 | kNonatomic, "{CGSize=dd}", "size", nullptr, "size", "setSize:"},
      {"anything", 14 | kNonatomic | kRetain, "@", "anything", nullptr, "anything", "setAnything:"},
      {"partner", 14 | kNonatomic | KVTEncodingTypePropertyWeak, "@\"InfoPerson\"", "partner", "InfoPerson", "partner",
       "setPartner:"},
      {"greeting", 17 | kNonatomic | kCopy, "@?", "greeting", nullptr, "greeting", "setGreeting:"},
      {"kind", 15 | kNonatomic, "#", "kind", nullptr, "kind", "setKind:"},
      {"action", 16 | kNonatomic, ":", "action", nullptr, "action", "setAction:"},
      {"text", 21 | kNonatomic | KVTEncodingTypeQualifierConst, "r*", "text", nullptr, "text", "setText:"},
      {"pointer", 18 | kNonatomic, "^v", "pointer", nullptr, "pointer", "setPointer:"},
      {"serial", 14 | kNonatomic | kCopy | KVTEncodingTypePropertyReadonly, "@\"NSString\"", nullptr, "NSString",
       "serial", "setSerial:"},
      {"friends", 14 | kNonatomic | kRetain, "@\"NSArray<InfoPerson><NSCopying>\"", "friends", "NSArray", "friends",
       "setFriends:"},
      {"member", 2 | KVTEncodingTypePropertyCustomGetter | KVTEncodingTypePropertyCustomSetter, "B", "member", nullptr,
       "isMember", "makeMember:"},
      {"lazy", 14 | kNonatomic | kCopy | KVTEncodingTypePropertyDynamic, "@\"NSString\"", nullptr, "NSString", "lazy",
       "setLazy:"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto info = propertyOf(classOf<InfoPerson>(), row.name);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kvtProperty(), class_getProperty(classOf<InfoPerson>(), row.name));
    EXPECT_EQ(info->kvtName(), row.name);
    EXPECT_EQ(info->kvtType(), row.type);
    EXPECT_EQ(info->kvtTypeEncoding(), row.encoding);
    EXPECT_EQ(info->kvtIvarName(), row.ivar);
    EXPECT_EQ(info->kvtCls(), row.cls != nullptr ? objc_getClass(row.cls) : Class());
    EXPECT_EQ(info->kvtGetter(), SEL(row.getter));
    EXPECT_EQ(info->kvtSetter(), SEL(row.setter));
  }
  EXPECT_EQ(propertyOf(classOf<InfoPerson>(), "friends")->kvtProtocols(), (NSArray{"InfoPerson", "NSCopying"}));
  EXPECT_FALSE(propertyOf(classOf<InfoPerson>(), "name")->kvtProtocols());
  EXPECT_FALSE(propertyOf(classOf<InfoPerson>(), "anything")->kvtProtocols());
  EXPECT_FALSE(propertyOf(classOf<InfoChild>(), "name")) << "own properties only";
}

TEST(ClassInfo, AttributesAreReadInTheirOrder) {
  struct Row {
    const char* name;
    std::vector<PropertyAttribute> attributes;
    NSUInteger type;
    const char* encoding;
    const char* ivar;
    const char* getter;
    const char* setter;
  };
  const Row rows[] = {
      // One row for each attribute.
      {"a", {{"T", "i"}}, 7, "i", nullptr, "a", "setA:"},
      {"b", {{"T", "i"}, {"R", ""}}, 0x10007, "i", nullptr, "b", "setB:"},
      {"c", {{"T", "@"}, {"C", ""}}, 0x2000E, "@", nullptr, "c", "setC:"},
      {"d", {{"T", "@"}, {"&", ""}}, 0x4000E, "@", nullptr, "d", "setD:"},
      {"e", {{"T", "i"}, {"N", ""}}, 0x80007, "i", nullptr, "e", "setE:"},
      {"f", {{"T", "@"}, {"W", ""}}, 0x10000E, "@", nullptr, "f", "setF:"},
      {"g", {{"T", "i"}, {"G", "isG"}}, 0x200007, "i", nullptr, "isG", "setG:"},
      {"h", {{"T", "i"}, {"S", "putH:"}}, 0x400007, "i", nullptr, "h", "putH:"},
      {"i", {{"T", "i"}, {"D", ""}}, 0x800007, "i", nullptr, "i", "setI:"},
      {"j", {{"T", "i"}, {"V", "_j"}}, 7, "i", "_j", "j", "setJ:"},
      {"everything",
       {{"T", "r*"},
        {"R", ""},
        {"C", ""},
        {"&", ""},
        {"N", ""},
        {"W", ""},
        {"D", ""},
        {"G", "g"},
        {"S", "s:"},
        {"V", "v"}},
       0xFF0115,
       "r*",
       "v",
       "g",
       "s:"},
      // Qualifiers of the type stay beside the attributes.
      {"qualified", {{"T", "rnNoORVi"}, {"N", ""}}, 0x87F07, "rnNoORVi", nullptr, "qualified", "setQualified:"},
      // The type replaces what was read before it; an attribute twice is the same as once, a value twice is the last
      // one.
      {"late", {{"N", ""}, {"C", ""}, {"T", "q"}, {"R", ""}}, 0x10009, "q", nullptr, "late", "setLate:"},
      {"twice",
       {{"T", "q"}, {"N", ""}, {"N", ""}, {"T", "d"}, {"R", ""}, {"R", ""}},
       0x1000C,
       "d",
       nullptr,
       "twice",
       "setTwice:"},
      {"values",
       {{"T", "i"}, {"G", "one"}, {"G", "two"}, {"V", "x"}, {"V", "y"}},
       0x200007,
       "i",
       "y",
       "two",
       "setValues:"},
      // No type at all, no attribute at all, attributes that nobody knows.
      {"typeless", {{"N", ""}, {"R", ""}}, 0x90000, nullptr, nullptr, "typeless", "setTypeless:"},
      {"bare", {}, 0, nullptr, nullptr, "bare", "setBare:"},
      {"strange",
       {{"T", "i"}, {"P", ""}, {"t", "q"}, {"?", ""}, {"x", "y"}, {"n", ""}},
       7,
       "i",
       nullptr,
       "strange",
       "setStrange:"},
      {"bits", {{"T", "b4"}, {"N", ""}}, 0x80000, "b4", nullptr, "bits", "setBits:"},
      // Accessors named without a value: the mark, and the usual selector.
      {"unnamed", {{"T", "i"}, {"G", ""}, {"S", ""}}, 0x600007, "i", nullptr, "unnamed", "setUnnamed:"},
  };
  ClassMaker maker("InfoAttributes");
  for (const Row& row : rows) maker.describe(row.name, row.attributes);
  const Class cls = maker.make();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    auto info = propertyOf(cls, row.name);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kvtType(), row.type) << std::hex << info->kvtType();
    EXPECT_EQ(info->kvtTypeEncoding(), row.encoding);
    EXPECT_EQ(info->kvtIvarName(), row.ivar);
    EXPECT_EQ(info->kvtGetter(), SEL(row.getter));
    EXPECT_EQ(info->kvtSetter(), SEL(row.setter));
    EXPECT_FALSE(info->kvtCls());
    EXPECT_FALSE(info->kvtProtocols());
  }
}

TEST(ClassInfo, ClassAndProtocolsOfAnObjectEncoding) {
  struct Row {
    const char* encoding;
    const char* cls;
    std::vector<std::string> protocols;
  };
  const Row rows[] = {
      {"@", nullptr, {}},
      {"@\"NSString\"", "NSString", {}},
      {"@\"InfoPerson\"", "InfoPerson", {}},
      {"@\"InfoNobodyHasThisName\"", nullptr, {}},
      {"@\"NSArray<A>\"", "NSArray", {"A"}},
      {"@\"NSArray<A><B>\"", "NSArray", {"A", "B"}},
      {"@\"NSArray<A><B><C><D>\"", "NSArray", {"A", "B", "C", "D"}},
      {"@\"NSArray<B><A><B>\"", "NSArray", {"B", "A", "B"}},
      {"@\"<A>\"", nullptr, {"A"}},
      {"@\"<A><B>\"", nullptr, {"A", "B"}},
      {"@\"InfoNobodyHasThisName<A>\"", nullptr, {"A"}},
      // Empty names are no names.
      {"@\"\"", nullptr, {}},
      {"@\"<>\"", nullptr, {}},
      {"@\"NSArray<>\"", "NSArray", {}},
      {"@\"NSArray<><B>\"", "NSArray", {"B"}},
      {"@\"NSArray<A><>\"", "NSArray", {"A"}},
      // What is between or behind the brackets ends the list.
      {"@\"NSArray<A>x<B>\"", "NSArray", {"A"}},
      {"@\"NSArray\"<A>", "NSArray", {}},
      // No quote, no class.
      {"@NSString", nullptr, {}},
      {"@<A>", nullptr, {}},
      {"@?<v@?>", nullptr, {}},
      {"@?\"NSString\"", nullptr, {}},
      {"@ \"NSString\"", nullptr, {}},
      // Open ends.
      {"@\"", nullptr, {}},
      {"@\"NSString", "NSString", {}},
      {"@\"NSArray<", "NSArray", {}},
      // Qualifiers: the scan starts at the first character.
      {"r@\"NSString\"", nullptr, {}},
      // Blocks and everything else are not scanned.
      {"@?", nullptr, {}},
      {"^@\"NSString\"", nullptr, {}},
      {"#\"NSString\"", nullptr, {}},
  };
  ClassMaker maker("InfoEncodings");
  int number = 0;
  for (const Row& row : rows) maker.describe("p" + std::to_string(number++), {{"T", row.encoding}});
  const Class cls = maker.make();
  number = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(row.encoding);
    auto info = propertyOf(cls, ("p" + std::to_string(number++)).c_str());
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kvtTypeEncoding(), row.encoding);
    EXPECT_EQ(info->kvtCls(), row.cls != nullptr ? objc_getClass(row.cls) : Class());
    if (row.protocols.empty()) {
      EXPECT_FALSE(info->kvtProtocols()) << "none, not an empty list";
    } else {
      EXPECT_EQ(info->kvtProtocols().toVector<std::string>(), row.protocols);
    }
  }
}

TEST(ClassInfo, AnUnclosedProtocolDoesNoHarm) {
  ClassMaker maker("InfoUnclosed");
  maker.describe("open", {{"T", "@\"NSArray<A"}}).describe("quoted", {{"T", "@\"NSArray<A\""}});
  const Class cls = maker.make();
  for (const char* name : {"open", "quoted"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(propertyOf(cls, name)->kvtCls(), classOf<NSArray>());
    EXPECT_LE(propertyOf(cls, name)->kvtProtocols().count(), 1u);
  }
}

TEST(ClassInfo, SetterOfAName) {
  struct Row {
    const char* property;
    const char* setter;
  };
  const Row rows[] = {
      {"url", "setUrl:"},
      {"URL", "setURL:"},
      {"uRL", "setURL:"},
      {"a", "setA:"},
      {"A", "setA:"},
      {"_hidden", "set_hidden:"},
      {"9lives", "set9lives:"},
      {"is_on", "setIs_on:"},
      {"aBC", "setABC:"},
      {"set", "setSet:"},
      {"$", "set$:"},
      // The first character whatever its alphabet; the rest as it is.
      {"\u00E9t\u00E9", "set\u00C9t\u00E9:"},      // été
      {"\u00F1and\u00FA", "set\u00D1and\u00FA:"},  // ñandú
      {"\u044F", "set\u042F:"},                    // я
      {"\u03C9mega", "set\u03A9mega:"},            // ω
      {"\u00DFa", "setSSa:"},                      // ß becomes two letters
      {"\u01C6ungla", "set\u01C4ungla:"},          // ǆ
      {"\u0131", "setI:"},                         // dotless i
      {"i", "setI:"},                              // in no language: no dot above
      {"\u540D\u524D", "set\u540D\u524D:"},        // letters without case
      {"\u00C9t\u00E9", "set\u00C9t\u00E9:"},
  };
  ClassMaker maker("InfoSetters");
  for (const Row& row : rows) maker.describe(row.property, {{"T", "i"}});
  const Class cls = maker.make();
  for (const Row& row : rows) {
    SCOPED_TRACE(row.property);
    auto info = propertyOf(cls, row.property);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kvtGetter(), SEL(row.property));
    EXPECT_STREQ(sel_getName(info->kvtSetter()), row.setter);
  }
}

// ---- classes ----------------------------------------------------------------------------------------------

TEST(ClassInfo, FieldsOfAClass) {
  auto info = KVTClassInfo::classInfoWithClass(classOf<InfoChild>());
  ASSERT_TRUE(info);
  EXPECT_EQ(info->cls(), classOf<InfoChild>());
  EXPECT_EQ(info->kvtName(), "InfoChild");
  EXPECT_FALSE(info->kvtIsMeta());
  EXPECT_FALSE(info->needUpdate());
  EXPECT_EQ(info->kvtSuperCls(), classOf<InfoPerson>());
  EXPECT_EQ(info->kvtMetaCls(), objc_getMetaClass("InfoChild"));
  EXPECT_TRUE(isIdentical(info->kvtSuperClassInfo(), KVTClassInfo::classInfoWithClass(classOf<InfoPerson>())));
  auto root = info->kvtSuperClassInfo()->kvtSuperClassInfo();
  ASSERT_TRUE(root);
  EXPECT_EQ(root->cls(), classOf<NSObject>());
  EXPECT_FALSE(root->kvtSuperCls());
  EXPECT_FALSE(root->kvtSuperClassInfo());
}

TEST(ClassInfo, FieldsOfAMetaclass) {
  const Class meta = objc_getMetaClass("InfoPerson");
  auto info = KVTClassInfo::classInfoWithClass(meta);
  ASSERT_TRUE(info);
  EXPECT_TRUE(info->kvtIsMeta());
  EXPECT_EQ(info->cls(), meta);
  EXPECT_EQ(info->kvtName(), "InfoPerson");
  EXPECT_FALSE(info->kvtMetaCls());
  EXPECT_EQ(info->kvtSuperCls(), objc_getMetaClass("NSObject"));
  EXPECT_TRUE(info->kvtMethodInfos()["species"]);
  EXPECT_FALSE(info->kvtMethodInfos()["name"]);
  EXPECT_EQ(info->kvtPropertyInfos(), NSDictionary::dictionary());
  // The metaclass of the root inherits from the root class: the chain ends there.
  auto rootMeta = info->kvtSuperClassInfo();
  ASSERT_TRUE(rootMeta);
  EXPECT_TRUE(rootMeta->kvtIsMeta());
  ASSERT_TRUE(rootMeta->kvtSuperClassInfo());
  EXPECT_EQ(rootMeta->kvtSuperClassInfo()->cls(), classOf<NSObject>());
  EXPECT_FALSE(rootMeta->kvtSuperClassInfo()->kvtIsMeta());
}

TEST(ClassInfo, OneObjectForEachClass) {
  auto first = KVTClassInfo::classInfoWithClass(classOf<InfoPerson>());
  EXPECT_TRUE(isIdentical(first, KVTClassInfo::classInfoWithClass(classOf<InfoPerson>())));
  EXPECT_TRUE(isIdentical(first, KVTClassInfo::classInfoWithClassName("InfoPerson")));
  EXPECT_FALSE(isIdentical(first, KVTClassInfo::classInfoWithClass(objc_getMetaClass("InfoPerson"))));
  EXPECT_FALSE(isIdentical(first, KVTClassInfo::classInfoWithClass(classOf<InfoChild>())));
  auto meta = KVTClassInfo::classInfoWithClass(objc_getMetaClass("InfoPerson"));
  EXPECT_TRUE(isIdentical(meta, KVTClassInfo::classInfoWithClass(objc_getMetaClass("InfoPerson"))));
}

TEST(ClassInfo, EmptyDictionariesAreNotMissing) {
  auto info = KVTClassInfo::classInfoWithClass(classOf<InfoPlain>());
  for (const NSDictionary& dictionary : {info->kvtPropertyInfos(), info->kvtIvarInfos(), info->kvtMethodInfos()}) {
    EXPECT_TRUE(dictionary);
    EXPECT_EQ(dictionary.count(), 0u);
  }
}

TEST(ClassInfo, EntriesAreKeyedByName) {
  auto info = KVTClassInfo::classInfoWithClass(classOf<InfoPerson>());
  for (const auto& [name, property] : info->kvtPropertyInfos()) {
    EXPECT_EQ(name, property.as<KVTClassPropertyInfo>()->kvtName());
  }
  for (const auto& [name, method] : info->kvtMethodInfos()) EXPECT_EQ(name, method.as<KVTClassMethodInfo>()->kvtName());
  for (const auto& [name, ivar] : info->kvtIvarInfos()) EXPECT_EQ(name, ivar.as<KVTClassIvarInfo>()->kvtName());
  EXPECT_EQ(info->kvtPropertyInfos().count(), class_copyPropertyList(classOf<InfoPerson>()).size());
  EXPECT_EQ(info->kvtMethodInfos().count(), class_copyMethodList(classOf<InfoPerson>()).size());
  EXPECT_EQ(info->kvtIvarInfos().count(), class_copyIvarList(classOf<InfoPerson>()).size());
}

// ---- updates ----------------------------------------------------------------------------------------------

TEST(ClassInfo, AMarkRebuildsTheSameObject) {
  ClassMaker maker("InfoUpdated");
  maker.property("first", "i");
  const Class cls = maker.make();
  auto info = KVTClassInfo::classInfoWithClass(cls);
  const NSDictionary properties = info->kvtPropertyInfos(), methods = info->kvtMethodInfos();
  EXPECT_EQ(properties.count(), 1u);
  EXPECT_EQ(methods.count(), 2u);

  ASSERT_TRUE(class_addMethod(cls, "later", reinterpret_cast<IMP>(&noop), "v16@0:8"));
  ASSERT_TRUE(class_addProperty(cls, "second", {{"T", "q"}}));
  // Nobody said so yet.
  EXPECT_FALSE(KVTClassInfo::classInfoWithClass(cls)->kvtMethodInfos()["later"]);
  EXPECT_FALSE(KVTClassInfo::classInfoWithClass(cls)->kvtPropertyInfos()["second"]);

  info->setNeedUpdate();
  EXPECT_TRUE(info->needUpdate());
  EXPECT_FALSE(info->kvtMethodInfos()["later"]) << "the mark alone changes nothing";
  auto again = KVTClassInfo::classInfoWithClass(cls);
  EXPECT_TRUE(isIdentical(again, info));
  EXPECT_FALSE(info->needUpdate());
  EXPECT_TRUE(info->kvtMethodInfos()["later"]);
  EXPECT_TRUE(info->kvtPropertyInfos()["second"]);
  EXPECT_TRUE(info->kvtPropertyInfos()["first"]);
  // What was handed out before stays as it was.
  EXPECT_EQ(properties.count(), 1u);
  EXPECT_EQ(methods.count(), 2u);
}

TEST(ClassInfo, AMarkByNameAndOnAMetaclass) {
  ClassMaker maker("InfoUpdatedMeta");
  const Class cls = maker.make();
  const Class meta = object_getClass(class_asObject(cls));
  auto info = KVTClassInfo::classInfoWithClass(meta);
  EXPECT_EQ(info->kvtMethodInfos().count(), 0u);
  ASSERT_TRUE(class_addMethod(meta, "shared", reinterpret_cast<IMP>(&answersNil), "@16@0:8"));
  info->setNeedUpdate();
  KVTClassInfo::classInfoWithClassName("InfoUpdatedMeta");
  EXPECT_TRUE(info->needUpdate()) << "the class's info is another one";
  EXPECT_TRUE(isIdentical(KVTClassInfo::classInfoWithClass(meta), info));
  EXPECT_TRUE(info->kvtMethodInfos()["shared"]);
}

TEST(ClassInfo, AReplacedImplementationIsSeenAfterAMark) {
  ClassMaker maker("InfoReplaced");
  maker.method("act", &noop, "v16@0:8");
  const Class cls = maker.make();
  auto info = KVTClassInfo::classInfoWithClass(cls);
  class_replaceMethod(cls, "act", reinterpret_cast<IMP>(&answersNil), "v16@0:8");
  EXPECT_EQ(methodOf(cls, "act")->kvtImp(), reinterpret_cast<IMP>(&noop));
  info->setNeedUpdate();
  EXPECT_EQ(methodOf(cls, "act")->kvtImp(), reinterpret_cast<IMP>(&answersNil));
}

TEST(ClassInfo, AClassRegisteredLaterIsFound) {
  EXPECT_FALSE(KVTClassInfo::classInfoWithClassName("InfoComesLater"));
  ClassMaker owner("InfoNamesALaterClass");
  owner.describe("later", {{"T", "@\"InfoComesLater\""}});
  const Class cls = owner.make();
  EXPECT_FALSE(propertyOf(cls, "later")->kvtCls());
  const Class later = ClassMaker("InfoComesLater").make();
  EXPECT_EQ(KVTClassInfo::classInfoWithClassName("InfoComesLater")->cls(), later);
  EXPECT_EQ(propertyOf(cls, "later")->kvtCls(), later);
}

TEST(ClassInfo, AllClassesThereAreCanBeDescribed) {
  for (Class cls : objc_copyClassList()) {
    SCOPED_TRACE(class_getName(cls));
    auto info = KVTClassInfo::classInfoWithClass(cls);
    ASSERT_TRUE(info);
    EXPECT_EQ(info->kvtMethodInfos().count(), class_copyMethodList(cls).size());
    for (const auto& [name, method] : info->kvtMethodInfos()) {
      EXPECT_EQ(method.as<KVTClassMethodInfo>()->kvtArgumentTypeEncodings().count(),
                method_getNumberOfArguments(method.as<KVTClassMethodInfo>()->kvtMethod()))
          << name;
    }
    EXPECT_TRUE(KVTClassInfo::classInfoWithClass(object_getClass(class_asObject(cls))));
  }
}

}  // namespace
}  // namespace kvt
