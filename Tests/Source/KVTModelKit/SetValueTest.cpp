// Every kind of JSON value into objects, pointers, structs and everything else that is no number.
#include <map>
#include <string>

#include "SetValueTest.h"

namespace kvt {
namespace {

using namespace modeltest;

// ---- Foundation types -------------------------------------------------------------------------------------

id aString() { return NSString("before"); }
id aNumber() { return NSNumber(123456); }

TEST(SetValue, String) {
  std::map<std::string, std::string> results = {
      {"null", "nil"},
      {"true", "\"1\""},
      {"false", "\"0\""},
      {"12", "\"12\""},
      {"-3", "\"-3\""},
      {"300", "\"300\""},
      {"max", "\"18446744073709551615\""},
      {"min", "\"-9223372036854775808\""},
      {"decimal", "\"12345678901234567890123\""},
      {"decimal -5.75", "\"-5.75\""},
      {"3.75", "\"3.75\""},
      {"-3.75", "\"-3.75\""},
      {"1e300", "\"1e+300\""},
      {"nan", "\"nan\""},
      {"inf", "\"inf\""},
      {"-inf", "\"-inf\""},
      {"mutable text", "\"12\""},
      {"data", "\"abc\""},
      {"mutable data", "\"abc\""},
      {"no text data", "nil"},
      {"url", "\"http://a.b/d\""},
      {"attributed", "\"plain\""},
  };
  for (const Value& value : values()) {
    if (value.value.is<NSString>() && !value.value.is<NSMutableString>()) results[value.name] = "=";
  }
  expectRow({object("string", &SetAll::string, aString), "kept", results});
}

TEST(SetValue, MutableString) {
  std::map<std::string, std::string> results = {
      {"null", "nil"},
      {"true", "m\"1\""},
      {"false", "m\"0\""},
      {"12", "m\"12\""},
      {"-3", "m\"-3\""},
      {"300", "m\"300\""},
      {"max", "m\"18446744073709551615\""},
      {"min", "m\"-9223372036854775808\""},
      {"decimal", "m\"12345678901234567890123\""},
      {"decimal -5.75", "m\"-5.75\""},
      {"3.75", "m\"3.75\""},
      {"-3.75", "m\"-3.75\""},
      {"1e300", "m\"1e+300\""},
      {"nan", "m\"nan\""},
      {"inf", "m\"inf\""},
      {"-inf", "m\"-inf\""},
      {"data", "m\"abc\""},
      {"mutable data", "m\"abc\""},
      {"no text data", "nil"},
      {"url", "m\"http://a.b/d\""},
      {"attributed", "m\"plain\""},
  };
  for (const Value& value : values()) {
    if (NSString text = value.value.as<NSString>()) results[value.name] = "m\"" + text.str() + "\"";
  }
  expectRow(
      {object("mutableString", &SetAll::mutableString, [] { return NSMutableString::stringWithString("before"); }),
       "kept", results});
}

TEST(SetValue, ValueProperty) {
  std::map<std::string, std::string> results = {{"null", "nil"}};
  for (const Value& value : values()) {
    if (value.value.is<NSValue>()) results[value.name] = "=";
  }
  EXPECT_EQ(results.size(), 20u);
  expectRow({object("value", &SetAll::value, aNumber), "kept", results});
}

TEST(SetValue, Number) {
  // What is no number sets none, whatever it is.
  std::map<std::string, std::string> results = {
      {"\"12\"", "number 12"},       {"\"12px\"", "number 12"},
      {"\"YES\"", "bool 1"},         {"\"no\"", "bool 0"},
      {"\"3.7\"", "number 3.7"},     {"\"\"", "number 0"},
      {"\"abc\"", "number 0"},       {"\"1.0e39\"", "number 1e+39"},
      {"date text", "number 2014"},  {"no date text", "number 2014"},
      {"url text", "number 0"},      {"padded url text", "number 0"},
      {"blank text", "number 0"},    {"no url text", "number 0"},
      {"class text", "number 0"},    {"selector text", "number 0"},
      {"mutable text", "number 12"},
  };
  for (const Value& value : values()) {
    if (value.value.is<NSNumber>()) results[value.name] = "=";
  }
  expectRow({object("number", &SetAll::number, aNumber), "nil", results});
}

TEST(SetValue, DecimalNumber) {
  expectRow({object("decimal", &SetAll::decimal, [] { return NSDecimalNumber::one(); }),
             "kept",
             {{"null", "nil"},
              {"true", "decimal 1"},
              {"false", "decimal 0"},
              {"12", "decimal 12"},
              {"-3", "decimal -3"},
              {"300", "decimal 300"},
              {"max", "decimal 18446744073709551615"},
              {"min", "decimal -9223372036854775808"},
              {"decimal", "="},
              {"decimal -5.75", "="},
              {"3.75", "decimal 3.75"},
              {"-3.75", "decimal -3.75"},
              // Only a text that is no number sets none; a number without a decimal value is what it is.
              {"1e300", "decimal NaN"},
              {"nan", "decimal NaN"},
              {"inf", "decimal NaN"},
              {"-inf", "decimal NaN"},
              {"\"12\"", "decimal 12"},
              {"\"12px\"", "decimal 12"},
              {"\"YES\"", "nil"},
              {"\"no\"", "nil"},
              {"\"(null)\"", "nil"},
              {"\"3.7\"", "decimal 3.7"},
              {"\"\"", "nil"},
              {"\"abc\"", "nil"},
              {"\"1.0e400\"", "nil"},
              {"\"1.0e39\"", "decimal 1000000000000000000000000000000000000000"},
              {"date text", "decimal 2014"},
              {"no date text", "decimal 2014"},
              {"url text", "nil"},
              {"padded url text", "nil"},
              {"blank text", "nil"},
              {"no url text", "nil"},
              {"class text", "nil"},
              {"selector text", "nil"},
              {"mutable text", "decimal 12"}}});
}

std::map<std::string, std::string> dataResults(const std::string& prefix) {
  std::map<std::string, std::string> results = {{"null", "nil"}};
  for (const Value& value : values()) {
    if (NSString text = value.value.as<NSString>()) {
      results[value.name] = prefix + hex(NSData(std::string_view(text.str())));
    }
  }
  return results;
}

TEST(SetValue, Data) {
  // The member copies what it is given, which immutable data answers with itself.
  expectRow({object("data", &SetAll::data, [] { return NSData(std::string_view("before")); }), "kept",
             with(dataResults("data "), {{"data", "="}, {"no text data", "="}, {"mutable data", "data 616263"}})});
}

TEST(SetValue, MutableData) {
  expectRow({object("mutableData", &SetAll::mutableData, [] { return NSMutableData::dataWithLength(1); }), "kept",
             with(dataResults("mdata "),
                  {{"data", "mdata 616263"}, {"no text data", "mdata fffe"}, {"mutable data", "mdata 616263"}})});
}

TEST(SetValue, Date) {
  std::map<std::string, std::string> results = {{"null", "nil"}, {"date", "="}};
  for (const Value& value : values()) {
    if (value.value.is<NSString>()) results[value.name] = "nil";
  }
  results["date text"] = "date 1390176000";
  expectRow({object("date", &SetAll::date, [] { return NSDate::dateWithTimeIntervalSince1970(5); }), "kept", results});
}

TEST(SetValue, URL) {
  expectRow({object("url", &SetAll::url, [] { return NSURL::URLWithString("before"); }),
             "kept",
             {{"null", "nil"},
              {"\"12\"", "url 12"},
              {"\"12px\"", "url 12px"},
              {"\"YES\"", "url YES"},
              {"\"no\"", "url no"},
              {"\"(null)\"", "url (null)"},
              {"\"3.7\"", "url 3.7"},
              {"\"\"", "nil"},
              {"\"abc\"", "url abc"},
              {"\"1.0e400\"", "url 1.0e400"},
              {"\"1.0e39\"", "url 1.0e39"},
              {"date text", "url 2014-01-20"},
              {"no date text", "nil"},
              {"url text", "url http://a.b/c"},
              {"padded url text", "url http://a.b/c"},
              {"blank text", "nil"},
              {"no url text", "nil"},
              {"class text", "url NSArray"},
              {"selector text", "url a:b:"},
              {"mutable text", "url 12"},
              {"url", "="}}});
}

TEST(SetValue, WhiteSpaceAroundAURL) {
  const std::u16string white = u" \t\n\v\f\r\u0085\u00A0\u1680\u2003\u2028\u2029\u202F\u205F\u3000";
  for (char16_t each : white) {
    SCOPED_TRACE(static_cast<unsigned>(each));
    auto model = make<SetAll>();
    const NSString text = std::u16string(2, each) + u"http://a.b/c" + std::u16string(1, each);
    ModelSetValueForProperty(model, text, *metaOf(classOf<SetAll>(), "url"));
    EXPECT_EQ(model->url.absoluteString(), "http://a.b/c");
    ModelSetValueForProperty(model, NSString(std::u16string(3, each)), *metaOf(classOf<SetAll>(), "url"));
    EXPECT_FALSE(model->url);
  }
}

TEST(SetValue, Array) {
  expectRow({object("array", &SetAll::array, [] { return NSArray{"before"}; }),
             "kept",
             {{"null", "nil"},
              {"array", "="},
              {"mutable array", "="},
              {"set", "[number 1,\"x\"]"},
              {"mutable set", "[number 1,\"x\"]"}}});
}
TEST(SetValue, MutableArray) {
  expectRow({object("mutableArray", &SetAll::mutableArray, [] { return NSMutableArray{"before"}; }),
             "kept",
             {{"null", "nil"},
              {"array", "m[number 1,\"x\"]"},
              {"mutable array", "m[number 1,\"x\"]"},
              {"set", "m[number 1,\"x\"]"},
              {"mutable set", "m[number 1,\"x\"]"}}});
}
TEST(SetValue, Dictionary) {
  expectRow({object("dictionary", &SetAll::dictionary,
                    [] {
                      return NSDictionary{{"b", 4}};
                    }),
             "kept",
             {{"null", "nil"}, {"dictionary", "="}, {"mutable dictionary", "="}}});
}
TEST(SetValue, MutableDictionary) {
  expectRow({object("mutableDictionary", &SetAll::mutableDictionary,
                    [] {
                      return NSMutableDictionary{{"b", 4}};
                    }),
             "kept",
             {{"null", "nil"}, {"dictionary", "m(\"a\"=number 1;)"}, {"mutable dictionary", "m(\"a\"=number 1;)"}}});
}
TEST(SetValue, Set) {
  // Whatever is no collection takes the old set away.
  expectRow(
      {object("set", &SetAll::set, [] { return NSSet{"before"}; }),
       "nil",
       {{"set", "="}, {"mutable set", "="}, {"array", "m{number 1,\"x\"}"}, {"mutable array", "m{number 1,\"x\"}"}}});
}
TEST(SetValue, MutableSet) {
  expectRow({object("mutableSet", &SetAll::mutableSet, [] { return NSMutableSet{"before"}; }),
             "nil",
             {{"set", "m{number 1,\"x\"}"},
              {"mutable set", "m{number 1,\"x\"}"},
              {"array", "m{number 1,\"x\"}"},
              {"mutable array", "m{number 1,\"x\"}"}}});
}

// ---- everything else --------------------------------------------------------------------------------------

id innerBefore() {
  auto inner = make<SetInner>();
  inner->a = 40;
  inner->b = 50;
  return inner;
}

TEST(SetValue, ObjectThatIsThere) {
  Target property = object("inner", &SetAll::inner, innerBefore);
  property.read = [](const SetAll& model, const id& given, const id& previous) {
    const std::string text = compare(model.inner, given, previous);
    return text == "kept" && model.inner->a == 1 && model.inner->b == 50 ? "filled" : text;
  };
  expectRow({property,
             "kept",
             {{"null", "nil"},
              {"inner", "="},
              {"sub inner", "="},
              {"dictionary", "filled"},
              {"mutable dictionary", "filled"}}});
}

TEST(SetValue, ObjectThatIsNotThere) {
  expectRow(
      {object("inner", &SetAll::inner, [] { return id(); }),
       "nil",
       {{"inner", "="}, {"sub inner", "="}, {"dictionary", "SetInner 1 0"}, {"mutable dictionary", "SetInner 1 0"}}});
}

TEST(SetValue, ObjectOfNoClassTakesAnything) {
  for (auto member : {&SetAll::anything, &SetAll::unknown}) {
    Target property = object(member == &SetAll::anything ? "anything" : "unknown", member, aString);
    // Dictionaries too: there is no class that they could fill.
    expectRow({property, "=", {{"none", "nil"}, {"null", "nil"}}});
    property.before = innerBefore;
    expectRow({property, "=", {{"none", "nil"}, {"null", "nil"}}});
  }
}

TEST(SetValue, ObjectOfAnotherClass) {
  expectRow({object("attributed", &SetAll::attributed, [] { return NSAttributedString::initWithString("before"); }),
             "kept",
             {{"null", "nil"}, {"attributed", "="}}});
}

TEST(SetValue, ClassProperty) {
  Target property = plain<Class>("cls", &SetAll::cls, classOf<NSSet>(), [](const Class& cls) { return render(cls); });
  expectRow({property, "kept", {{"null", "nil"}, {"class text", "class NSArray"}, {"class", "class NSDate"}}});
}

TEST(SetValue, SelectorProperty) {
  std::map<std::string, std::string> results = {{"null", "nil"}};
  for (const Value& value : values()) {
    if (NSString text = value.value.as<NSString>()) results[value.name] = "selector " + text.str();
  }
  expectRow({plain<SEL>("selector", &SetAll::selector,
                        "before:", [](const SEL& sel) { return sel ? std::string("selector ") + sel.name() : "nil"; }),
             "kept", results});
}

TEST(SetValue, BlockProperty) {
  expectRow({object("block", &SetAll::block, [] { return id(Block<void()>([] {})); }),
             "kept",
             {{"null", "nil"}, {"block", "="}}});
}

TEST(SetValue, PointerProperties) {
  static int before = 0;
  static char text[] = "before";
  auto show = [](const void* pointer) { return pointer == nullptr ? "nil" : pointer == &pointee ? "pointee" : "?"; };
  const std::map<std::string, std::string> results = {{"null", "nil"}, {"pointer", "pointee"}};
  expectRow({plain<void*>("pointer", &SetAll::pointer, &before, show), "kept", results});
  expectRow({plain<const void*>("constPointer", &SetAll::constPointer, &before, show), "kept", results});
  expectRow({plain<char*>("text", &SetAll::text, text, show), "kept", results});
}

TEST(SetValue, OnlyAPlainPointerIsOne) {
  for (const char* encoding : {"^i", "r^v", "^^v", "^?", "*", "@", "Q", "^{S=}"}) {
    SCOPED_TRACE(encoding);
    void* pointer = &pointee;
    auto model = make<SetAll>();
    const NSValue value = NSValue::valueWithBytes_objCType(&pointer, encoding);
    ModelSetValueForProperty(model, value, *metaOf(classOf<SetAll>(), "pointer"));
    ModelSetValueForProperty(model, value, *metaOf(classOf<SetAll>(), "text"));
    EXPECT_EQ(model->pointer, nullptr);
    EXPECT_EQ(model->text, nullptr);
  }
}

TEST(SetValue, StructUnionAndArrayProperties) {
  // The null object changes nothing here.
  Target size = plain<CGSize>("size", &SetAll::size, {1, 2}, [](const CGSize& now) {
    return std::to_string(now.width) + " " + std::to_string(now.height);
  });
  expectRow({size, "kept", {{"size", "3.000000 4.000000"}}});
  SetUnion before{};
  before.ratio = 0.5;
  Target either = plain<SetUnion>("either", &SetAll::either, before,
                                  [](const SetUnion& now) { return std::to_string(now.number); });
  expectRow({either, "kept", {{"union", "77"}}});
  Target numbers = {"numbers",
                    [](SetAll& model, const id&) { model.numbers[0] = model.numbers[1] = model.numbers[2] = 5; },
                    [](const SetAll& model, const id&, const id&) -> std::string {
                      const auto& n = model.numbers;
                      if (n[0] == 5 && n[1] == 5 && n[2] == 5) return "kept";
                      return std::to_string(n[0]) + " " + std::to_string(n[1]) + " " + std::to_string(n[2]);
                    },
                    [] { return id(); }};
  expectRow({numbers, "kept", {{"c array", "7 8 9"}}});
}

TEST(SetValue, StructsOfAnotherEncoding) {
  auto model = make<SetAll>();
  model->size = {1, 2};
  for (const NSValue& value : {NSValue::valueWithPoint({3, 4}), NSValue::valueWithRange({3, 4}),
                               NSValue::valueWithUIOffset({3, 4}), NSValue::valueWithRect({{3, 4}, {5, 6}})}) {
    ModelSetValueForProperty(model, value, *metaOf(classOf<SetAll>(), "size"));
    EXPECT_EQ(model->size, (CGSize{1, 2})) << value;
  }
}

int setterCalls = 0;
void countingSetter(Object*, SEL) { ++setterCalls; }

TEST(SetValue, TypesThatNobodyKnowsAreLeftAlone) {
  ClassMaker maker("SetUnknownTypes");
  const char* const encodings[] = {"b3", "v", "?", "", "t", "r", "j"};
  int number = 0;
  for (const char* encoding : encodings) {
    const std::string name = "p" + std::to_string(number);
    maker.describe(name, {{"T", encoding}}).method(name.c_str(), &countingSetter, "v16@0:8");
    maker.method(("setP" + std::to_string(number++) + ":").c_str(), &countingSetter, "v24@0:8@16");
  }
  maker.describe("none", {{"N", ""}}).method("none", &countingSetter, "v16@0:8");
  maker.method("setNone:", &countingSetter, "v24@0:8@16");
  const Class cls = maker.make();
  EXPECT_EQ(_KVTModelMeta::metaWithClass(cls)->keyMappedCount, std::size(encodings) + 1);
  const id model = modeltest::newInstance(cls);
  setterCalls = 0;
  for (const id& each : _KVTModelMeta::metaWithClass(cls)->allPropertyMetas) {
    for (const Value& value : values()) ModelSetValueForProperty(model, value.value, *each.as<_KVTModelPropertyMeta>());
  }
  EXPECT_EQ(setterCalls, 0);
}

TEST(SetValue, AMemberThatIsRetainedTakesTheTextItself) {
  ClassMaker maker("SetRetained");
  const Class cls = maker.property("text", "@\"NSString\"").make();  // strong, not copy
  const id model = modeltest::newInstance(cls);
  const NSMutableString text = NSMutableString::stringWithString("x");
  ModelSetValueForProperty(model, text, *metaOf(cls, "text"));
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(model, "text"), text));
}

TEST(SetValue, BlockClass) {
  const Class top = KVTNSBlockClass();
  ASSERT_TRUE(top);
  EXPECT_EQ(class_getSuperclass(top), classOf<NSObject>());
  int captured = 1;
  EXPECT_TRUE(id(Block<void()>([] {})).isKindOfClass(top));
  EXPECT_TRUE(id(Block<int()>([captured] { return captured; })).isKindOfClass(top));
  EXPECT_EQ(KVTNSBlockClass(), top);
}

}  // namespace
}  // namespace kvt
