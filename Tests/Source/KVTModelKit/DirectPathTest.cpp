// Text goes straight into models, and models straight into text, where nothing could tell the difference. Here it is
// told: random classes and documents, valid and broken, through both ways.
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace kvt {
namespace {

class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  std::size_t below(std::size_t n) { return engine_() % n; }
  bool oneIn(std::size_t n) { return below(n) == 0; }
  template <class T>
  const T& of(const std::vector<T>& list) {
    return list[below(list.size())];
  }

 private:
  std::mt19937_64 engine_;
};

// What the run-time-built classes' hooks answer.
std::map<ClassBody*, NSDictionary> genericsOf, mappersOf;

Object* answerGenerics(Object* self, SEL) { return NSDictionary(genericsOf[object_asClass(self).body()]).detach(); }
Object* answerMapper(Object* self, SEL) { return NSDictionary(mappersOf[object_asClass(self).body()]).detach(); }

struct Built {
  Class cls;
  std::vector<std::string> keys;
};

const std::vector<std::string> kNames = {"a",
                                         "name",
                                         "count",
                                         "isOn",
                                         "ratio",
                                         "created_at",
                                         "childOfMine",
                                         "a_rather_long_property_name_that_fills_blocks",
                                         "b2",
                                         "list",
                                         "é"};

Built buildClass(Random& random, const std::vector<Built>& others) {
  static int number = 0;
  Built built;
  const std::string name = "Random" + std::to_string(++number);
  built.cls = objc_allocateClassPair(classOf<NSObject>(), name);
  NSMutableDictionary generics = NSMutableDictionary::dictionary();
  NSMutableDictionary mapper = NSMutableDictionary::dictionary();
  const std::vector<std::string> types = {"B",
                                          "c",
                                          "C",
                                          "s",
                                          "S",
                                          "i",
                                          "I",
                                          "q",
                                          "Q",
                                          "f",
                                          "d",
                                          "@\"NSString\"",
                                          "@\"NSString\"",
                                          "@\"NSMutableString\"",
                                          "@\"NSNumber\"",
                                          "@\"NSArray\"",
                                          "@\"NSMutableArray\"",
                                          "@\"NSDictionary\"",
                                          "@\"NSSet\"",
                                          "@\"NSDate\"",
                                          "@\"NSURL\"",
                                          "@\"NSDecimalNumber\"",
                                          "@",
                                          "@\"NSObject\"",
                                          "#",
                                          ":"};
  for (const std::string& property : kNames) {
    if (random.oneIn(3)) continue;
    std::string type = random.of(types);
    if (!others.empty() && random.oneIn(4)) type = "@\"" + std::string(class_getName(random.of(others).cls)) + "\"";
    std::vector<PropertyAttribute> attributes = {{"T", type}};
    if (type[0] == '@') attributes.push_back({random.oneIn(3) ? "C" : "&", ""});
    // Models do not copy.
    if (type.starts_with("@\"Random") || type == "@" || type == "@\"NSObject\"") attributes[1].name = "&";
    attributes.push_back({"S", "set_" + property + ":"});
    if (!class_synthesizeProperty(built.cls, property, attributes)) continue;
    if (!others.empty() && type.starts_with("@\"NS") && random.oneIn(2)) {
      generics.setObject_forKey(id(random.of(others).cls), NSString(property));
    }
    std::string key = property;
    if (random.oneIn(12)) {
      const std::vector<std::string> odd = {"other", "a.b", "with \"quotes\"", "slash/ed", "", "name"};
      key = random.of(odd);
      mapper.setObject_forKey(NSString(key), NSString(property));
    }
    built.keys.push_back(key);
  }
  genericsOf[built.cls.body()] = generics.copy();
  mappersOf[built.cls.body()] = mapper.copy();
  Class meta = object_getClass(class_asObject(built.cls));
  class_addMethod(meta, "modelContainerPropertyGenericClass", reinterpret_cast<IMP>(answerGenerics), "@16@0:8");
  class_addMethod(meta, "modelCustomPropertyMapper", reinterpret_cast<IMP>(answerMapper), "@16@0:8");
  objc_registerClassPair(built.cls);
  return built;
}

std::string quoted(const std::string& text, Random& random) {
  std::string json = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') json += '\\';
    if (static_cast<unsigned char>(c) < 0x80 && random.oneIn(40)) {
      char escape[16];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
      if (c == '"' || c == '\\') json.pop_back();
      json += escape;
      continue;
    }
    json += c;
  }
  return json + "\"";
}

std::string space(Random& random) { return random.oneIn(8) ? (random.oneIn(2) ? " " : "\n\t") : ""; }

std::string document(Random& random, const std::vector<Built>& classes, int depth) {
  static const std::vector<std::string> scalars = {"0",
                                                   "1",
                                                   "-1",
                                                   "-0",
                                                   "300",
                                                   "-129",
                                                   "65536",
                                                   "4294967296",
                                                   "9223372036854775807",
                                                   "9223372036854775808",
                                                   "18446744073709551615",
                                                   "18446744073709551616",
                                                   "-9223372036854775809",
                                                   "1.5",
                                                   "-2.75",
                                                   "1e3",
                                                   "1e-400",
                                                   "0.1234567890123456789012",
                                                   "true",
                                                   "false",
                                                   "null",
                                                   "\"\"",
                                                   "\"text\"",
                                                   "\"山の上 ☕ 😀\"",
                                                   "\"12\"",
                                                   "\"3.5\"",
                                                   "\"yes\"",
                                                   "\"2014-01-20\"",
                                                   "\"2014-01-20T12:24:48\"",
                                                   "\"http://a.b/c\"",
                                                   "\"NSString\"",
                                                   "\"a/b\\n\\u0000\"",
                                                   "\"nil\""};
  if (depth > 2 || (depth > 0 && random.oneIn(3))) return random.of(scalars);
  std::string json;
  if (random.oneIn(4)) {
    json = "[" + space(random);
    for (std::size_t i = 0, n = random.below(5); i < n; ++i) {
      json += (i == 0 ? "" : ",") + space(random) + document(random, classes, depth + 1);
    }
    return json + space(random) + "]";
  }
  const Built& shape = random.of(classes);
  json = "{" + space(random);
  bool isFirst = true;
  auto member = [&](const std::string& key) {
    if (!isFirst) json += "," + space(random);
    isFirst = false;
    json += quoted(key, random) + space(random) + ":" + space(random) + document(random, classes, depth + 1);
  };
  std::vector<std::string> keys = shape.keys;
  for (std::size_t i = keys.size(); i > 1 && random.oneIn(2); --i) std::swap(keys[i - 1], keys[random.below(i)]);
  for (const std::string& key : keys) {
    if (random.oneIn(6)) continue;
    member(key);
    if (random.oneIn(30)) member(random.of(keys));
    if (random.oneIn(8)) member("unknown" + std::to_string(random.below(4)));
  }
  return json + space(random) + "}";
}

/// Breaks a document at random; many stay valid.
std::string mutated(std::string text, Random& random) {
  static const std::string bytes = "{}[]\",:\\0-e.truefalsn \xff\xc3";
  for (std::size_t i = 0, n = 1 + random.below(3); i < n && !text.empty(); ++i) {
    const std::size_t at = random.below(text.size());
    switch (random.below(3)) {
      case 0: text.erase(at, 1 + random.below(3)); break;
      case 1: text.insert(at, 1, bytes[random.below(bytes.size())]); break;
      default: text[at] = bytes[random.below(bytes.size())]; break;
    }
  }
  return text;
}

/// What a model holds, without addresses.
std::string contents(const id& model) {
  std::string text(kvt_modelDescription(model));
  std::string without;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t address = std::min(text.find("0x", at), text.size());
    without.append(text, at, address - at);
    at = text.find_first_not_of("0123456789abcdefx", address);
    if (at == std::string::npos) break;
  }
  return without;
}

NSString plainText(const id& model) {
  const id json = kvt_modelToJSONObject(model);
  if (!NSJSONSerialization::isValidJSONObject(json)) return {};
  const NSData data = NSJSONSerialization::dataWithJSONObject_options_error(json, 0, nullptr);
  return data ? NSString(std::string_view(static_cast<const char*>(data.bytes()), data.length())) : NSString();
}

id parsed(const std::string& text) {
  return NSJSONSerialization::JSONObjectWithData_options_error(NSData(std::string_view(text)), 0, nullptr);
}

std::size_t rounds(std::size_t usual) {
  const char* wanted = std::getenv("KVT_DIRECT_PATH_ROUNDS");
  return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : usual;
}

TEST(DirectPath, AgreesWithThePlainOne) {
  Random random(20240607);
  std::size_t models = 0;
  std::size_t texts = 0;
  for (std::size_t round = 0, n = rounds(40); round < n; ++round) {
    std::vector<Built> classes;
    for (int i = 0; i < 4; ++i) classes.push_back(buildClass(random, classes));
    for (int i = 0; i < 40; ++i) {
      std::string text = document(random, classes, 0);
      if (random.oneIn(3)) text = mutated(text, random);
      const Class cls = random.of(classes).cls;
      SCOPED_TRACE(text);
      const id tree = parsed(text);
      // As bytes: broken text need not be text at all.
      const NSData bytes{std::string_view(text)};
      const id model = kvt_modelWithJSON(cls, bytes);
      ASSERT_EQ(contents(model), contents(kvt_modelWithDictionary(cls, tree)));
      const NSArray array = kvt_modelArrayWithClass_json(cls, static_cast<const id&>(bytes));
      ASSERT_EQ(contents(array), contents(kvt_modelArrayWithClass_array(cls, tree.as<NSArray>())));
      models += model ? 1 : 0;
      const id written = model ? model : id(array);
      const NSString direct = kvt_modelToJSONString(written);
      ASSERT_EQ(direct, plainText(written));
      texts += direct ? 1 : 0;
    }
  }
  // The documents must not be broken so often that nothing is compared.
  EXPECT_GT(models, rounds(40));
  EXPECT_GT(texts, rounds(40));
}

// ---- C++ classes
// ------------------------------------------------------------------------------------------------------

class DirectLeaf : public NSObject {
 public:
  int64_t number = 5;
  NSString text = "before";
  KVT_MODEL(DirectLeaf, number, text)
};

int hookRuns = 0;

class DirectHooked : public NSObject {
 public:
  int64_t number = 0;
  bool modelCustomTransformFromDictionary(const NSDictionary&) {
    ++hookRuns;
    return true;
  }
  KVT_MODEL(DirectHooked, number)
};

class DirectRoot : public NSObject {
 public:
  Ref<DirectLeaf> fresh;
  Ref<DirectLeaf> present = make<DirectLeaf>();
  NSArray leaves;
  int32_t small = 0;
  double real = 0;
  static NSDictionary modelContainerPropertyGenericClass() { return {{"leaves", classOf<DirectLeaf>()}}; }
  KVT_MODEL(DirectRoot, fresh, present, leaves, small, real)
};

class DirectAboveHooked : public NSObject {
 public:
  Ref<DirectHooked> hooked;
  int64_t last = 0;
  KVT_MODEL(DirectAboveHooked, hooked, last)
};

TEST(DirectPath, FillsPresentMembersInPlace) {
  const auto root = kvt_modelWithJSON<DirectRoot>(
      R"({"present":{"number":7},"fresh":{"text":"new"},"leaves":[{"number":1},5,null,{"text":null}]})");
  ASSERT_TRUE(root);
  EXPECT_EQ(root->present->number, 7);
  EXPECT_EQ(root->present->text, NSString("before"));
  EXPECT_EQ(root->fresh->number, 5);
  EXPECT_EQ(root->fresh->text, NSString("new"));
  ASSERT_EQ(root->leaves.count(), 2u);
  EXPECT_FALSE(root->leaves[1].as<DirectLeaf>()->text);
}

TEST(DirectPath, AKeyThatComesTwiceIsReplacedOrFilledAsInATree) {
  const char* const texts[] = {
      R"({"small":1,"small":2})",
      R"({"fresh":{"number":1},"fresh":{"text":"x"}})",
      R"({"fresh":{"number":1,"number":2},"small":3})",
      R"({"present":{"number":1},"present":{"text":"x"}})",
      R"({"leaves":[{"number":1,"number":9}],"fresh":{"text":"a","text":null}})",
      R"({"unknown":1,"unknown":2,"small":4})",
  };
  for (const char* text : texts) {
    SCOPED_TRACE(text);
    const auto direct = kvt_modelWithJSON<DirectRoot>(text);
    EXPECT_EQ(contents(direct), contents(kvt_modelWithDictionary<DirectRoot>(parsed(text))));
  }
}

TEST(DirectPath, MalformedTextRunsNoHook) {
  hookRuns = 0;
  EXPECT_FALSE(kvt_modelWithJSON<DirectAboveHooked>(R"({"hooked":{"number":1},"last":)"));
  EXPECT_FALSE(kvt_modelWithJSON<DirectAboveHooked>(R"({"hooked":{"number":1}} x)"));
  EXPECT_EQ(hookRuns, 0);
  EXPECT_TRUE(kvt_modelWithJSON<DirectAboveHooked>(R"({"hooked":{"number":1}})"));
  EXPECT_EQ(hookRuns, 1);
}

void setDoubled(Object* self, SEL, int32_t value) { static_cast<DirectRoot*>(self)->small = 2 * value; }

TEST(DirectPath, AReplacedSetterIsMet) {
  const char* const text = R"({"small":21})";
  EXPECT_EQ(kvt_modelWithJSON<DirectRoot>(text)->small, 21);
  Method setter = class_getInstanceMethod(classOf<DirectRoot>(), "setSmall:");
  const IMP original = method_setImplementation(setter, reinterpret_cast<IMP>(setDoubled));
  EXPECT_EQ(kvt_modelWithJSON<DirectRoot>(text)->small, 42);
  method_setImplementation(setter, original);
  EXPECT_EQ(kvt_modelWithJSON<DirectRoot>(text)->small, 21);
}

TEST(DirectPath, EveryTruncationGivesNone) {
  const std::string text =
      R"({"fresh":{"number":-12,"text":"é\u0041"},"leaves":[{"text":"x"},{}],"small":1,"real":2.5,"other":[1,{"a":null}]})";
  ASSERT_TRUE(kvt_modelWithJSON<DirectRoot>(NSString(text)));
  for (std::size_t length = 0; length < text.size(); ++length) {
    EXPECT_FALSE(kvt_modelWithJSON(classOf<DirectRoot>(), NSData(std::string_view(text).substr(0, length)))) << length;
  }
}

TEST(DirectPath, NestingEndsWhereATreesDoes) {
  for (int depth : {510, 511, 512}) {
    std::string text = "{\"other\":";
    for (int i = 0; i < depth; ++i) text += '[';
    for (int i = 0; i < depth; ++i) text += ']';
    text += ",\"small\":3}";
    EXPECT_EQ(static_cast<bool>(kvt_modelWithJSON<DirectRoot>(NSString(text))), static_cast<bool>(parsed(text)))
        << depth;
  }
}

}  // namespace
}  // namespace kvt
