// Models from JSON text, bytes and dictionaries.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <string>

#include "ModelKitTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::metaOf;
using modeltest::newInstance;

class FromPlain : public NSObject {
 public:
  NSString name;
  int64_t count = 0;
  KVT_MODEL(FromPlain, name, count)
};
class FromNothing : public NSObject {
 public:
  NSString fixed;
  static void kvtDescribe(ClassBuilder<FromNothing>& c) {
    c.property<&FromNothing::fixed>("fixed", {.readonly = true});
  }
  KVT_MODEL(FromNothing)
};

NSData bytes(std::string_view text) { return NSData(text); }

// ---- entry points -----------------------------------------------------------------------------------------

TEST(ModelFromJSON, DictionaryOfAnInput) {
  const NSDictionary dictionary = {{"name", "Ann"}};
  EXPECT_FALSE(_kvt_dictionaryWithJSON(nullptr));
  EXPECT_FALSE(_kvt_dictionaryWithJSON(NSNull::null()));
  EXPECT_TRUE(isIdentical(_kvt_dictionaryWithJSON(dictionary), dictionary));
  const NSMutableDictionary changing = dictionary.mutableCopy();
  EXPECT_TRUE(isIdentical(_kvt_dictionaryWithJSON(changing), changing));
  EXPECT_EQ(_kvt_dictionaryWithJSON(NSString(R"({"name":"Ann"})")), dictionary);
  EXPECT_EQ(_kvt_dictionaryWithJSON(NSMutableString::stringWithString(R"({"name":"Ann"})")), dictionary);
  EXPECT_EQ(_kvt_dictionaryWithJSON(bytes(R"({"name":"Ann"})")), dictionary);
  EXPECT_EQ(_kvt_dictionaryWithJSON(NSMutableData::dataWithData(bytes(R"({"name":"Ann"})"))), dictionary);
  EXPECT_EQ(_kvt_dictionaryWithJSON(NSString("{}")), NSDictionary::dictionary());
}

TEST(ModelFromJSON, UnusableInput) {
  const id rows[] = {
      nullptr,
      NSNull::null(),
      NSString(""),
      NSString(" "),
      NSString("{"),
      NSString("{\"name\":}"),
      NSString("{\"name\":\"Ann\"}x"),
      NSString("{'name':'Ann'}"),
      NSString("{\"name\":\"Ann\",}"),
      NSString("[]"),
      NSString("[{\"name\":\"Ann\"}]"),
      NSString("\"text\""),
      NSString("12"),
      NSString("null"),
      NSString("true"),
      NSString(std::u16string_view(u"{\"name\":\"\xD800\"}", 12)),
      bytes(""),
      bytes("[1]"),
      bytes("{\"name\":\"\xFF\"}"),
      NSNumber(12),
      NSArray{NSDictionary{{"name", "Ann"}}},
      NSSet{1},
      NSDate::date(),
      NSURL::URLWithString("http://a.b"),
      NSValue::valueWithSize({1, 2}),
      classOf<NSDictionary>(),
      make<FromPlain>(),
  };
  for (const id& row : rows) {
    SCOPED_TRACE(row.description().str());
    EXPECT_FALSE(_kvt_dictionaryWithJSON(row));
    EXPECT_FALSE(kvt_modelWithJSON(classOf<FromPlain>(), row));
    EXPECT_FALSE(kvt_modelWithJSON<FromPlain>(row));
    EXPECT_FALSE(kvt_modelWithDictionary(classOf<FromPlain>(), row));
    auto model = make<FromPlain>();
    model->name = "kept";
    EXPECT_FALSE(kvt_modelSetWithJSON(model, row));
    EXPECT_FALSE(kvt_modelSetWithDictionary(model, row));
    EXPECT_EQ(model->name, "kept");
  }
  // Text and bytes are for the JSON operations alone.
  for (const id& row : {id(NSString(R"({"name":"Ann"})")), id(bytes(R"({"name":"Ann"})"))}) {
    EXPECT_TRUE(kvt_modelWithJSON(classOf<FromPlain>(), row));
    EXPECT_FALSE(kvt_modelWithDictionary(classOf<FromPlain>(), row));
    EXPECT_FALSE(kvt_modelSetWithDictionary(make<FromPlain>(), row));
  }
}

TEST(ModelFromJSON, AllWaysIn) {
  const char* text = R"({"name":"Ann","count":7,"other":[1]})";
  const NSDictionary dictionary = {{"name", "Ann"}, {"count", 7}};
  auto check = [](const Ref<FromPlain>& model) {
    ASSERT_TRUE(model);
    EXPECT_EQ(model->name, "Ann");
    EXPECT_EQ(model->count, 7);
  };
  check(kvt_modelWithJSON<FromPlain>(text));
  check(kvt_modelWithJSON<FromPlain>(NSString(text)));
  check(kvt_modelWithJSON<FromPlain>(bytes(text)));
  check(kvt_modelWithJSON<FromPlain>(dictionary));
  check(kvt_modelWithDictionary<FromPlain>(dictionary));
  check(kvt_modelWithJSON(classOf<FromPlain>(), NSString(text)).as<FromPlain>());
  check(kvt_modelWithDictionary(classOf<FromPlain>(), dictionary.mutableCopy()).as<FromPlain>());
  for (int way = 0; way < 4; ++way) {
    auto model = make<FromPlain>();
    EXPECT_TRUE(way == 0   ? kvt_modelSetWithJSON(model, text)
                : way == 1 ? kvt_modelSetWithJSON(model, bytes(text))
                : way == 2 ? kvt_modelSetWithJSON(model, dictionary)
                           : kvt_modelSetWithDictionary(model, dictionary));
    check(model);
  }
}

TEST(ModelFromJSON, NoClassNoModel) {
  EXPECT_FALSE(kvt_modelWithJSON(Class(), NSString("{}")));
  EXPECT_FALSE(kvt_modelWithDictionary(Class(), NSDictionary::dictionary()));
  EXPECT_FALSE(kvt_modelSetWithJSON(id(), NSString("{}")));
  EXPECT_FALSE(kvt_modelSetWithDictionary(id(), NSDictionary::dictionary()));
  EXPECT_FALSE(kvt_modelSetWithDictionary(NSNull::null(), NSDictionary::dictionary()));
  EXPECT_FALSE(kvt_modelSetWithDictionary(NSString("x"), NSDictionary::dictionary()));
  EXPECT_FALSE(kvt_modelWithDictionary(classOf<NSString>(), NSDictionary{{"a", 1}}));
  EXPECT_FALSE(kvt_modelWithDictionary(objc_getMetaClass("FromPlain"), NSDictionary{{"name", "x"}}));
}

TEST(ModelFromJSON, AClassThatMapsNothing) {
  EXPECT_FALSE(kvt_modelWithJSON<FromNothing>("{}"));
  EXPECT_FALSE(kvt_modelWithDictionary<FromNothing>(NSDictionary::dictionary()));
  EXPECT_FALSE(kvt_modelWithDictionary<FromNothing>(NSDictionary{{"fixed", "x"}}));
  EXPECT_FALSE(kvt_modelSetWithDictionary(make<FromNothing>(), NSDictionary::dictionary()));
  // Nothing in the input is not nothing to map.
  EXPECT_TRUE(kvt_modelWithJSON<FromPlain>("{}"));
  EXPECT_TRUE(kvt_modelWithDictionary<FromPlain>(NSDictionary{{"unknown", 1}}));
}

TEST(ModelFromJSON, AnInputOfAnotherClassThanTheTypedOne) {
  // The class is given at run time and is another one than asked for: nothing is handed out as what it is not.
  EXPECT_FALSE(kvt_modelWithJSON(classOf<FromPlain>(), NSString("{}")).as<FromNothing>());
}

// ---- hooks ------------------------------------------------------------------------------------------------

class FromCircle;
class FromShape : public NSObject {
 public:
  NSString kind;
  double size = 0;
  static Class modelCustomClassForDictionary(const NSDictionary& dictionary);
  KVT_MODEL(FromShape, kind, size)
};
class FromCircle : public FromShape {
 public:
  double radius = 0;
  KVT_MODEL(FromCircle, radius)
};
class FromUnrelated : public NSObject {
 public:
  double size = 0;
  KVT_MODEL(FromUnrelated, size)
};
Class FromShape::modelCustomClassForDictionary(const NSDictionary& dictionary) {
  const NSString kind = dictionary["kind"].as<NSString>();
  if (kind == "circle") return classOf<FromCircle>();
  if (kind == "unrelated") return classOf<FromUnrelated>();
  if (kind == "nothing") return classOf<FromNothing>();
  if (kind == "meta") return objc_getMetaClass("FromShape");
  return {};
}

TEST(ModelFromJSON, TheClassChooses) {
  auto shape = kvt_modelWithJSON<FromShape>(R"({"kind":"square","size":2})");
  ASSERT_TRUE(shape);
  EXPECT_TRUE(shape.isMemberOfClass(classOf<FromShape>()));
  auto circle = kvt_modelWithJSON<FromShape>(R"({"kind":"circle","size":2,"radius":3})");
  ASSERT_TRUE(circle);
  EXPECT_TRUE(circle.isMemberOfClass(classOf<FromCircle>()));
  EXPECT_EQ(circle.as<FromCircle>()->radius, 3);
  EXPECT_EQ(circle->size, 2);
  // Any class may be chosen; a typed handle does not take it.
  const NSString unrelated = R"({"kind":"unrelated","size":2})";
  EXPECT_FALSE(kvt_modelWithJSON<FromShape>(unrelated));
  const id other = kvt_modelWithJSON(classOf<FromShape>(), unrelated);
  ASSERT_TRUE(other.is<FromUnrelated>());
  EXPECT_EQ(other.as<FromUnrelated>()->size, 2);
  EXPECT_FALSE(kvt_modelWithJSON(classOf<FromShape>(), NSString(R"({"kind":"nothing"})")));
  EXPECT_FALSE(kvt_modelWithJSON(classOf<FromShape>(), NSString(R"({"kind":"meta"})")));
  // The chosen class inherits the hook, and it is asked again only for what is its own input.
  EXPECT_TRUE(kvt_modelWithJSON<FromCircle>(R"({"kind":"square"})").isMemberOfClass(classOf<FromCircle>()));
  // An object that is there is filled as what it is.
  auto present = make<FromShape>();
  EXPECT_TRUE(kvt_modelSetWithJSON(present, R"({"kind":"circle","size":5})"));
  EXPECT_EQ(present->size, 5);
}

class FromRewriting : public NSObject {
 public:
  NSString name;
  int64_t count = 0;
  int64_t seen = 0;
  NSDictionary modelCustomWillTransformFromDictionary(const NSDictionary& dictionary) {
    seen = static_cast<int64_t>(dictionary.count());
    if (dictionary["refuse"]) return {};
    NSMutableDictionary changed = dictionary.mutableCopy();
    changed.setObject_forKey("rewritten", "name");
    return changed;
  }
  bool modelCustomTransformFromDictionary(const NSDictionary& dictionary) {
    rewritten = dictionary["name"] == NSString("rewritten");
    return !dictionary["fail"];
  }
  bool rewritten = false;
  static NSArray modelPropertyBlacklist() { return {"seen"}; }
  KVT_MODEL(FromRewriting, name, count, seen)
};

TEST(ModelFromJSON, TheInputIsRewritten) {
  auto model = kvt_modelWithJSON<FromRewriting>(R"({"name":"given","count":3})");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->name, "rewritten");
  EXPECT_EQ(model->count, 3);
  EXPECT_EQ(model->seen, 2);
  EXPECT_TRUE(model->rewritten) << "the last hook sees what the first one made";
}

TEST(ModelFromJSON, NoRewrittenInputNothingSet) {
  auto model = make<FromRewriting>();
  model->name = "kept";
  EXPECT_FALSE(kvt_modelSetWithJSON(model, R"({"name":"x","count":3,"refuse":1})"));
  EXPECT_EQ(model->name, "kept");
  EXPECT_EQ(model->count, 0);
  EXPECT_FALSE(model->rewritten) << "the last hook is not asked";
  EXPECT_FALSE(kvt_modelWithJSON<FromRewriting>(R"({"refuse":1})"));
}

Object* rewriteToText(Object*, SEL, Object*) { return NSString("text").detach(); }
Object* rewriteToNull(Object*, SEL, Object*) { return NSNull::null().detach(); }
Object* rewriteToArray(Object*, SEL, Object*) { return NSArray{1}.detach(); }

TEST(ModelFromJSON, ARewrittenInputThatIsNoDictionary) {
  int number = 0;
  for (auto* hook : {&rewriteToText, &rewriteToNull, &rewriteToArray}) {
    ClassMaker maker("FromRewritten" + std::to_string(number++));
    maker.property("name", "@\"NSString\"").method("modelCustomWillTransformFromDictionary:", hook, "@24@0:8@16");
    const id model = newInstance(maker.make());
    EXPECT_FALSE(kvt_modelSetWithDictionary(model, NSDictionary{{"name", "x"}}));
    EXPECT_FALSE(objc_msgSend<id>(model, "name"));
  }
}

TEST(ModelFromJSON, ARefusalLeavesWhatWasSet) {
  auto model = make<FromRewriting>();
  EXPECT_FALSE(kvt_modelSetWithJSON(model, R"({"count":9,"fail":1})"));
  EXPECT_EQ(model->count, 9);
  EXPECT_EQ(model->name, "rewritten");
  EXPECT_FALSE(kvt_modelWithJSON<FromRewriting>(R"({"count":9,"fail":1})"));
}

TEST(ModelFromJSON, ARewriteMayMakeTheInputLarger) {
  // The walk is chosen by the rewritten input.
  ClassMaker maker("FromEnlarged");
  maker.property("a", "i").property("b", "i");
  maker.method(
      "modelCustomWillTransformFromDictionary:",
      +[](Object*, SEL, Object*) {
        return NSDictionary{{"a", 1}, {"x", 1}, {"y", 1}, {"z", 1}, {"b", 2}}.detach();
      },
      "@24@0:8@16");
  const id model = newInstance(maker.make());
  EXPECT_TRUE(kvt_modelSetWithDictionary(model, NSDictionary::dictionary()));
  EXPECT_EQ(objc_msgSend<int>(model, "a"), 1);
  EXPECT_EQ(objc_msgSend<int>(model, "b"), 2);
}

// ---- keys -------------------------------------------------------------------------------------------------

class FromKeys : public NSObject {
 public:
  NSString plain, renamed, path, deep, list, listWithPath, dropped, first, second, third, twoDots;
  static NSDictionary modelCustomPropertyMapper() {
    return {{"renamed", "n"},
            {"path", "user.name"},
            {"deep", "a.b.c.d"},
            {"list", NSArray{"id", "ID", "uid"}},
            {"listWithPath", NSArray{"x", "deep.er.x", "y"}},
            {"dropped", ""},
            {"first", "shared"},
            {"second", "shared"},
            {"third", "shared"},
            {"twoDots", "p..q"}};
  }
  KVT_MODEL(FromKeys, plain, renamed, path, deep, list, listWithPath, dropped, first, second, third, twoDots)
};

/// The same input with so many strange keys that the metas are walked instead of the dictionary.
NSDictionary padded(const NSDictionary& input) {
  NSMutableDictionary large = input.mutableCopy();
  for (int i = 0; i < 64; ++i) large.setObject_forKey(i, "strange" + std::to_string(i));
  return large;
}

TEST(ModelFromJSON, KeysOfProperties) {
  struct Row {
    const char* trace;
    const char* json;
    NSString FromKeys::*member;
    const char* value;  // "kept" for what stays
  };
  const Row rows[] = {
      {"its name", R"({"plain":"v"})", &FromKeys::plain, "v"},
      {"not its name", R"({"renamed":"v"})", &FromKeys::renamed, "kept"},
      {"another key", R"({"n":"v"})", &FromKeys::renamed, "v"},
      {"a path", R"({"user":{"name":"v"}})", &FromKeys::path, "v"},
      {"a path's own name", R"({"path":"v"})", &FromKeys::path, "kept"},
      {"a path into text", R"({"user":"text"})", &FromKeys::path, "kept"},
      {"a path into null", R"({"user":null})", &FromKeys::path, "kept"},
      {"a path into a list", R"({"user":[{"name":"v"}]})", &FromKeys::path, "kept"},
      {"a path that ends early", R"({"user":{}})", &FromKeys::path, "kept"},
      {"a path to null", R"({"user":{"name":null}})", &FromKeys::path, nullptr},
      {"a path to a dictionary", R"({"user":{"name":{}}})", &FromKeys::path, "kept"},
      {"a deep path", R"({"a":{"b":{"c":{"d":"v"}}}})", &FromKeys::deep, "v"},
      {"a deep path cut off", R"({"a":{"b":{"c":"v"}}})", &FromKeys::deep, "kept"},
      {"a deep path with more", R"({"a":{"b":{"c":{"d":{"e":1}}}}})", &FromKeys::deep, "kept"},
      {"two dots are one", R"({"p":{"q":"v"}})", &FromKeys::twoDots, "v"},
      {"two dots are no empty key", R"({"p":{"":{"q":"v"}}})", &FromKeys::twoDots, "kept"},
      {"the first of a list", R"({"uid":"3","ID":"2","id":"1"})", &FromKeys::list, "1"},
      {"the second of a list", R"({"uid":"3","ID":"2"})", &FromKeys::list, "2"},
      {"only the last of a list", R"({"uid":"3"})", &FromKeys::list, "3"},
      {"null stops a list", R"({"id":null,"ID":"2","uid":"3"})", &FromKeys::list, nullptr},
      {"null in the middle stops a list", R"({"ID":null,"uid":"3"})", &FromKeys::list, nullptr},
      {"what cannot be text stops a list", R"({"id":[],"ID":"2"})", &FromKeys::list, "kept"},
      {"none of a list", R"({"Id":"v","list":"v"})", &FromKeys::list, "kept"},
      {"a path in a list", R"({"deep":{"er":{"x":"v"}}})", &FromKeys::listWithPath, "v"},
      {"a path in a list without value", R"({"deep":{"er":7},"y":"v"})", &FromKeys::listWithPath, "v"},
      {"before a path in a list", R"({"x":"1","deep":{"er":{"x":"v"}}})", &FromKeys::listWithPath, "1"},
      {"null at a path in a list", R"({"deep":{"er":{"x":null}},"y":"v"})", &FromKeys::listWithPath, nullptr},
      {"a literal path in a list is none", R"({"deep.er.x":"v"})", &FromKeys::listWithPath, "kept"},
      {"dropped", R"({"dropped":"v","":"v"})", &FromKeys::dropped, "kept"},
      {"one key, first", R"({"shared":"v"})", &FromKeys::first, "v"},
      {"one key, second", R"({"shared":"v"})", &FromKeys::second, "v"},
      {"one key, third", R"({"shared":"v"})", &FromKeys::third, "v"},
      {"one key, null", R"({"shared":null})", &FromKeys::second, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.trace);
    const NSDictionary small = modeltest::parse(row.json).as<NSDictionary>();
    ASSERT_TRUE(small);
    for (const NSDictionary& input : {small, padded(small)}) {
      auto model = make<FromKeys>();
      model.get()->*row.member = "kept";
      EXPECT_TRUE(kvt_modelSetWithDictionary(model, input));
      EXPECT_EQ(model.get()->*row.member, row.value) << (input.count() > 11 ? "by the metas" : "by the dictionary");
    }
  }
}

TEST(ModelFromJSON, TheMetaWalkReachesAChain) {
  // Each property of a chain is found by its own meta, too.
  auto model = make<FromKeys>();
  EXPECT_TRUE(kvt_modelSetWithDictionary(model, padded({{"shared", "v"}})));
  EXPECT_EQ(model->first, "v");
  EXPECT_EQ(model->second, "v");
  EXPECT_EQ(model->third, "v");
}

TEST(ModelFromJSON, ALiteralKeyWithADot) {
  // Walking the dictionary, the literal text of a path is a key as well; the path, which comes later, wins.
  auto model = make<FromKeys>();
  kvt_modelSetWithDictionary(model, NSDictionary{{"user.name", "literal"}});
  EXPECT_EQ(model->path, "literal");
  model = make<FromKeys>();
  kvt_modelSetWithDictionary(model, NSDictionary{{"user.name", "literal"}, {"user", NSDictionary{{"name", "path"}}}});
  EXPECT_EQ(model->path, "path");
  model = make<FromKeys>();
  kvt_modelSetWithDictionary(model, NSDictionary{{"user", NSDictionary{{"name", "path"}}}, {"user.name", "literal"}});
  EXPECT_EQ(model->path, "path") << "whatever the order";
  model = make<FromKeys>();
  kvt_modelSetWithDictionary(model,
                             NSDictionary{{"user.name", "literal"}, {"user", NSDictionary{{"name", NSNull::null()}}}});
  EXPECT_FALSE(model->path);
  // With dots too many the text is another one than its path.
  model = make<FromKeys>();
  kvt_modelSetWithDictionary(model, NSDictionary{{"p..q", "literal"}});
  EXPECT_EQ(model->twoDots, "literal");
  model = make<FromKeys>();
  kvt_modelSetWithDictionary(model, NSDictionary{{"p.q", "literal"}});
  EXPECT_FALSE(model->twoDots);
  // Walking the metas, a path is a path.
  model = make<FromKeys>();
  kvt_modelSetWithDictionary(model, padded({{"user.name", "literal"}}));
  EXPECT_FALSE(model->path);
}

TEST(ModelFromJSON, TheWalkIsChosenBySize) {
  // Two keys are mapped: an input of two entries is walked itself, one of three is looked up in. The literal key of a
  // path, which only the first walk sees, tells them apart.
  ClassMaker maker("FromWalks");
  maker.property("path", "@\"NSString\"").property("other", "@\"NSString\"");
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"path", "a.b"}});
  const Class cls = maker.make();
  auto read = [&](const NSDictionary& input) {
    const id model = kvt_modelWithDictionary(cls, input);
    return objc_msgSend<NSString>(model, "path");
  };
  EXPECT_EQ(read({{"a.b", "literal"}}), "literal");
  EXPECT_EQ(read({{"a.b", "literal"}, {"x", 1}}), "literal");
  EXPECT_EQ(read({{"a.b", "literal"}, {"x", 1}, {"y", 1}}), nullptr);
}

TEST(ModelFromJSON, ADroppedPropertyCountsForTheWalk) {
  ClassMaker maker("FromWalksDropped");
  maker.property("path", "@\"NSString\"").property("dropped", "@\"NSString\"");
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"path", "a.b"}, {"dropped", ""}});
  const id model = kvt_modelWithDictionary(maker.make(), NSDictionary{{"a.b", "literal"}, {"x", 1}});
  EXPECT_EQ(objc_msgSend<NSString>(model, "path"), NSString("literal"));
}

TEST(ModelFromJSON, ADroppedPropertyIsNeverSet) {
  ClassMaker maker("FromDropped");
  maker.property("a", "@\"NSString\"").property("b", "@\"NSString\"");
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"a", ""}, {"b", NSNull::null()}});
  const Class cls = maker.make();
  for (const NSDictionary& input :
       {NSDictionary{{"a", "x"}, {"b", "y"}}, padded({{"a", "x"}, {"b", "y"}, {"", "z"}})}) {
    const id model = kvt_modelWithDictionary(cls, input);
    ASSERT_TRUE(model) << "there are properties, though none has a key";
    EXPECT_FALSE(objc_msgSend<id>(model, "a"));
    EXPECT_FALSE(objc_msgSend<id>(model, "b"));
  }
}

TEST(ModelFromJSON, KeysThatAreNoText) {
  auto model = kvt_modelWithDictionary<FromPlain>(NSDictionary{{1, "x"}, {NSNull::null(), "y"}, {"name", "Ann"}});
  ASSERT_TRUE(model);
  EXPECT_EQ(model->name, "Ann");
  // Not even a list that equals a key list is a key.
  ClassMaker maker("FromListKeys");
  maker.property("a", "@\"NSString\"");
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"a", NSArray{"x", "y"}}});
  EXPECT_TRUE(kvt_modelWithDictionary(maker.make(), NSDictionary{{"y", "v"}}));
}

TEST(ModelFromJSON, BothWalksGiveTheSame) {
  const char* const inputs[] = {
      R"({})",
      R"({"plain":"1","n":"2","user":{"name":"3"},"id":"4","shared":"5"})",
      R"({"plain":null,"n":null,"user":{"name":null},"id":null,"shared":null,"x":null})",
      R"({"plain":1,"n":2.5,"user":{"name":true},"uid":4,"shared":false,"p":{"q":6}})",
      R"({"a":{"b":{"c":{"d":"7"}}},"deep":{"er":{"x":"8"}},"y":"9","dropped":"0"})",
      R"({"plain":[],"n":{},"user":[],"id":[1],"shared":{"a":1},"x":{}})",
  };
  for (const char* json : inputs) {
    SCOPED_TRACE(json);
    const NSDictionary small = modeltest::parse(json).as<NSDictionary>();
    auto model = make<FromKeys>(), other = make<FromKeys>();
    for (NSString FromKeys::*member : {&FromKeys::plain, &FromKeys::renamed, &FromKeys::path, &FromKeys::deep,
                                       &FromKeys::list, &FromKeys::listWithPath, &FromKeys::dropped, &FromKeys::first,
                                       &FromKeys::second, &FromKeys::third, &FromKeys::twoDots}) {
      model.get()->*member = other.get()->*member = "kept";
    }
    EXPECT_TRUE(kvt_modelSetWithDictionary(model, small));
    EXPECT_TRUE(kvt_modelSetWithDictionary(other, padded(small)));
    EXPECT_EQ(kvt_modelToJSONObject(model), kvt_modelToJSONObject(other));
    EXPECT_EQ(model->list, other->list);
    EXPECT_EQ(model->dropped, other->dropped);
  }
}

// ---- nested models ----------------------------------------------------------------------------------------

class FromOuter : public NSObject {
 public:
  Ref<FromPlain> inner;
  Ref<FromOuter> outer;
  Ref<FromShape> shape;
  NSArray list;
  NSDictionary byName;
  NSSet all;
  static NSDictionary modelContainerPropertyGenericClass() {
    return {{"list", classOf<FromPlain>()}, {"byName", "FromPlain"}, {"all", classOf<FromPlain>()}};
  }
  KVT_MODEL(FromOuter, inner, outer, shape, list, byName, all)
};

TEST(ModelFromJSON, NestedModels) {
  auto model = kvt_modelWithJSON<FromOuter>(R"({
    "inner": {"name": "in", "count": 1},
    "outer": {"inner": {"name": "deeper"}, "outer": {"outer": {}}},
    "shape": {"kind": "circle", "radius": 2},
    "list": [{"name": "a"}, 7, {"name": "b"}, null, "text", [1]],
    "byName": {"x": {"name": "c"}, "y": 1, "z": null},
    "all": [{"name": "d"}, {"name": "e"}]
  })");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->inner->name, "in");
  EXPECT_EQ(model->inner->count, 1);
  EXPECT_EQ(model->outer->inner->name, "deeper");
  ASSERT_TRUE(model->outer->outer->outer);
  EXPECT_FALSE(model->outer->outer->outer->outer);
  EXPECT_EQ(model->shape.as<FromCircle>()->radius, 2);
  ASSERT_EQ(model->list.count(), 2u);
  EXPECT_EQ(model->list[0].as<FromPlain>()->name, "a");
  EXPECT_EQ(model->list[1].as<FromPlain>()->name, "b");
  ASSERT_EQ(model->byName.count(), 1u);
  EXPECT_EQ(model->byName["x"].as<FromPlain>()->name, "c");
  EXPECT_EQ(model->all.count(), 2u);
}

TEST(ModelFromJSON, ANestedModelThatIsThereIsFilled) {
  auto model = make<FromOuter>();
  auto inner = make<FromPlain>();
  inner->name = "kept";
  model->inner = inner;
  EXPECT_TRUE(kvt_modelSetWithJSON(model, R"({"inner":{"count":5}})"));
  EXPECT_TRUE(isIdentical(model->inner, inner));
  EXPECT_EQ(inner->name, "kept");
  EXPECT_EQ(inner->count, 5);
  // What is there is filled as what it is, whatever its class would choose.
  auto shape = make<FromShape>();
  model->shape = shape;
  EXPECT_TRUE(kvt_modelSetWithJSON(model, R"({"shape":{"kind":"circle","size":1}})"));
  EXPECT_TRUE(isIdentical(model->shape, shape));
  EXPECT_EQ(shape->size, 1);
  EXPECT_TRUE(kvt_modelSetWithJSON(model, R"({"inner":null})"));
  EXPECT_FALSE(model->inner);
}

TEST(ModelFromJSON, ARefusedNestedModelIsSetAllTheSame) {
  ClassMaker maker("FromHoldsRewriting");
  maker.property("inner", "@\"FromRewriting\"");
  const id model =
      kvt_modelWithDictionary(maker.make(), NSDictionary{{"inner", NSDictionary{{"fail", 1}, {"count", 4}}}});
  ASSERT_TRUE(model);
  auto inner = objc_msgSend<Ref<FromRewriting>>(model, "inner");
  ASSERT_TRUE(inner);
  EXPECT_EQ(inner->count, 4);
}

TEST(ModelFromJSON, ElementsThatAreModelsAlready) {
  auto ready = make<FromPlain>();
  auto model = kvt_modelWithDictionary<FromOuter>(
      NSDictionary{{"list", NSArray{ready, NSDictionary{{"name", "new"}}}}, {"all", NSSet{ready}}, {"inner", ready}});
  EXPECT_TRUE(isIdentical(model->list[0], ready));
  EXPECT_EQ(model->list[1].as<FromPlain>()->name, "new");
  EXPECT_TRUE(model->all.containsObject(ready));
  EXPECT_TRUE(isIdentical(model->inner, ready));
}

TEST(ModelFromJSON, ANullInputForEachKindOfProperty) {
  auto model = make<FromOuter>();
  model->inner = make<FromPlain>();
  model->list = {1};
  model->byName = {{"a", 1}};
  model->all = NSSet{1};
  EXPECT_TRUE(kvt_modelSetWithJSON(model, R"({"inner":null,"list":null,"byName":null,"all":null})"));
  EXPECT_FALSE(model->inner);
  EXPECT_FALSE(model->list);
  EXPECT_FALSE(model->byName);
  EXPECT_FALSE(model->all);
}

// ---- arrays and dictionaries of models --------------------------------------------------------------------

TEST(ModelFromJSON, ArraysOfModels) {
  const Class cls = classOf<FromPlain>();
  auto names = [](const NSArray& models) {
    std::vector<std::string> list;
    for (const id& each : models) list.push_back(each.as<FromPlain>()->name.str());
    return list;
  };
  const char* text = R"([{"name":"a"}, "text", {"name":"b"}, null, 7, [{"name":"x"}], {}, {"name":"c"}])";
  const std::vector<std::string> expected = {"a", "b", "", "c"};
  EXPECT_EQ(names(kvt_modelArrayWithClass_json(cls, text)), expected);
  EXPECT_EQ(names(kvt_modelArrayWithClass_json(cls, bytes(text))), expected);
  const NSArray array = modeltest::parse(text).as<NSArray>();
  EXPECT_EQ(names(kvt_modelArrayWithClass_json(cls, array)), expected);
  EXPECT_EQ(names(kvt_modelArrayWithClass_array(cls, array)), expected);
  EXPECT_TRUE(kvt_modelArrayWithClass_array(cls, array).is<NSMutableArray>());

  EXPECT_EQ(kvt_modelArrayWithClass_json(cls, "[]"), NSArray::array());
  EXPECT_EQ(kvt_modelArrayWithClass_json(cls, "[1,2]"), NSArray::array());
  EXPECT_EQ(kvt_modelArrayWithClass_array(classOf<FromNothing>(), array), NSArray::array());
  const id nothing[] = {nullptr,
                        NSNull::null(),
                        NSString(""),
                        NSString("{}"),
                        NSString("[1"),
                        NSString("1"),
                        bytes("{}"),
                        bytes("\xFF"),
                        NSNumber(1),
                        NSSet{1},
                        NSDictionary::dictionary(),
                        make<FromPlain>()};
  for (const id& each : nothing) EXPECT_FALSE(kvt_modelArrayWithClass_json(cls, each)) << each;
  EXPECT_FALSE(kvt_modelArrayWithClass_array(cls, nullptr));
  EXPECT_FALSE(kvt_modelArrayWithClass_array(Class(), array));
  EXPECT_FALSE(kvt_modelArrayWithClass_json(Class(), text));
  // A JSON text of an array is no model.
  EXPECT_FALSE(kvt_modelWithJSON<FromPlain>(text));
}

TEST(ModelFromJSON, RefusedElementsOfArraysAreSkipped) {
  const NSArray models =
      kvt_modelArrayWithClass_json(classOf<FromRewriting>(), R"([{"count":1},{"fail":1},{"refuse":1},{"count":2}])");
  ASSERT_EQ(models.count(), 2u);
  EXPECT_EQ(models[1].as<FromRewriting>()->count, 2);
}

TEST(ModelFromJSON, ChosenClassesInArrays) {
  const NSArray models = kvt_modelArrayWithClass_json(
      classOf<FromShape>(), R"([{"kind":"circle"},{},{"kind":"unrelated"},{"kind":"nothing"}])");
  ASSERT_EQ(models.count(), 3u);
  EXPECT_TRUE(models[0].isMemberOfClass(classOf<FromCircle>()));
  EXPECT_TRUE(models[1].isMemberOfClass(classOf<FromShape>()));
  EXPECT_TRUE(models[2].isMemberOfClass(classOf<FromUnrelated>()));
}

TEST(ModelFromJSON, DictionariesOfModels) {
  const Class cls = classOf<FromPlain>();
  const char* text = R"({"a":{"name":"1"},"b":7,"c":null,"d":[{"name":"x"}],"e":{},"f":"text"})";
  for (const NSDictionary& models :
       {kvt_modelDictionaryWithClass_json(cls, text), kvt_modelDictionaryWithClass_json(cls, bytes(text)),
        kvt_modelDictionaryWithClass_dictionary(cls, modeltest::parse(text).as<NSDictionary>())}) {
    EXPECT_EQ(models.allKeys(), (NSArray{"a", "e"}));
    EXPECT_EQ(models["a"].as<FromPlain>()->name, "1");
    EXPECT_TRUE(models.is<NSMutableDictionary>());
  }
  // Only text is a key.
  const NSDictionary odd = {{1, NSDictionary{{"name", "x"}}},
                            {NSNull::null(), NSDictionary::dictionary()},
                            {"a", NSDictionary::dictionary()}};
  EXPECT_EQ(kvt_modelDictionaryWithClass_dictionary(cls, odd).allKeys(), NSArray{"a"});
  EXPECT_EQ(kvt_modelDictionaryWithClass_json(cls, odd).allKeys(), NSArray{"a"});

  EXPECT_EQ(kvt_modelDictionaryWithClass_json(cls, "{}"), NSDictionary::dictionary());
  const id nothing[] = {nullptr,     NSNull::null(), NSString(""), NSString("[]"),   NSString("{"),    NSString("1"),
                        bytes("[]"), NSNumber(1),    NSSet{1},     NSArray::array(), make<FromPlain>()};
  for (const id& each : nothing) EXPECT_FALSE(kvt_modelDictionaryWithClass_json(cls, each)) << each;
  EXPECT_FALSE(kvt_modelDictionaryWithClass_dictionary(cls, nullptr));
  EXPECT_FALSE(kvt_modelDictionaryWithClass_dictionary(Class(), odd));
  EXPECT_FALSE(kvt_modelDictionaryWithClass_json(Class(), text));
  EXPECT_EQ(kvt_modelDictionaryWithClass_json(classOf<FromRewriting>(), R"({"a":{"fail":1},"b":{}})").allKeys(),
            NSArray{"b"});
}

}  // namespace
}  // namespace kvt
