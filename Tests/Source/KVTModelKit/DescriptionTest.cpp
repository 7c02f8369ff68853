// The texts that models and values are shown as.
#include <KVTFoundation/KVTModelKit/ModelDescription.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <limits>
#include <string>

#include "ModelKitTest.h"

union DescribedUnion {
  std::int32_t number;
  double ratio;
};
KVT_UNION_ENCODING(DescribedUnion, number, ratio)

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::newInstance;

std::string address(const id& object) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", static_cast<const void*>(object.object()));
  return text;
}

class DescribedPlain : public NSObject {
 public:
  NSString name;
  int64_t count = 0;
  KVT_MODEL(DescribedPlain, name, count)
};
class DescribedNothing : public NSObject {
 public:
  KVT_MODEL(DescribedNothing)
};

TEST(Description, SimpleValues) {
  const std::string digits(99, '1');
  struct Row {
    id value;
    NSString text;
  };
  const Row rows[] = {
      {nullptr, "<nil>"},
      {NSNull::null(), "<null>"},
      {NSString("x"), "\"x\""},
      {NSString(""), "\"\""},
      {NSString("a \"quoted\"\nline"), "\"a \"quoted\"\nline\""},
      {NSString(std::string(300, 'x')), NSString("\"" + std::string(300, 'x') + "\"")},
      {NSMutableString::stringWithString("m"), "\"m\""},
      {NSNumber(12), "12"},
      {NSNumber(true), "1"},
      {NSNumber(-0.5), "-0.5"},
      {NSDecimalNumber::decimalNumberWithString("12345678901234567890.5"), "12345678901234567890.5"},
      {NSDate::dateWithTimeIntervalSince1970(1390220688), "2014-01-20 12:24:48 +0000"},
      {NSURL::URLWithString("http://a.b/c"), "http://a.b/c"},
      {NSValue::valueWithSize({1, 2}), NSValue::valueWithSize({1, 2}).description()},
      {NSData(std::string_view("abc")), NSData(std::string_view("abc")).description()},
      {NSMutableData::dataWithLength(2), NSData(std::string_view("\0\0", 2)).description()},
      {NSArray::array(), "[]"},
      {NSMutableArray::array(), "[]"},
      {NSSet::set(), "[]"},
      {NSMutableSet::set(), "[]"},
      {NSDictionary::dictionary(), "{}"},
      {NSMutableDictionary::dictionary(), "{}"},
      {NSArray{"x"}, "[\n    \"x\"\n]"},
      {NSArray{"x", 2}, "[\n    \"x\";\n    2\n]"},
      {NSMutableArray{1, 2, 3}, "[\n    1;\n    2;\n    3\n]"},
      {NSSet{"x"}, "[\n    \"x\"\n]"},
      {NSMutableSet{"x", NSNull::null()}, "[\n    \"x\";\n    <null>\n]"},
      {NSDictionary{{"k", "v"}}, "{\n    k = \"v\"\n}"},
      {NSDictionary{{"z", 1}, {"a", NSNull::null()}}, "{\n    z = 1;\n    a = <null>\n}"},
      {NSMutableDictionary{{5, NSArray::array()}}, "{\n    5 = []\n}"},
      // One level deeper, four blanks more.
      {NSArray::arrayWithObject(NSArray{"x"}), "[\n    [\n        \"x\"\n    ]\n]"},
      {NSDictionary{{"k", NSArray{1, 2}}, {"l", NSDictionary{{"m", NSDictionary::dictionary()}}}},
       "{\n    k = [\n        1;\n        2\n    ];\n    l = {\n        m = {}\n    }\n}"},
      {NSArray{"a\nb"}, "[\n    \"a\n    b\"\n]"},
      {NSArray{"a\n"}, "[\n    \"a\n    \"\n]"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text.str());
    EXPECT_EQ(ModelDescription(row.value), row.text);
    EXPECT_EQ(kvt_modelDescription(row.value), row.text);
  }
}

TEST(Description, LongValuesAndDataAreCut) {
  // A box of many bytes describes itself at length.
  for (unsigned count : {1u, 8u, 20u, 40u, 44u, 45u, 64u, 200u}) {
    SCOPED_TRACE(count);
    const std::vector<unsigned char> bytes(count, 0xAB);
    const NSValue value = NSValue::valueWithBytes_objCType(bytes.data(), ("[" + std::to_string(count) + "C]").c_str());
    const std::string full = value.description().str(), shown = ModelDescription(value).str();
    EXPECT_EQ(shown, full.size() > 100 ? full.substr(0, 100) + "..." : full);
    const NSData data = NSData::dataWithBytes_length(bytes.data(), count);
    const std::string fullData = data.description().str();
    EXPECT_EQ(ModelDescription(data).str(), fullData.size() > 100 ? fullData.substr(0, 100) + "..." : fullData);
  }
  const std::vector<unsigned char> many(200, 1);
  const NSValue value = NSValue::valueWithBytes_objCType(many.data(), "[200C]");
  ASSERT_GT(value.description().length(), 100u);
  EXPECT_EQ(ModelDescription(value).length(), 103u);
}

TEST(Description, Models) {
  auto model = make<DescribedPlain>();
  EXPECT_EQ(ModelDescription(model),
            NSString("<DescribedPlain: " + address(model) + "> {\n    count = 0;\n    name = <nil>\n}"));
  model->name = "Ann";
  model->count = -7;
  EXPECT_EQ(ModelDescription(model),
            NSString("<DescribedPlain: " + address(model) + "> {\n    count = -7;\n    name = \"Ann\"\n}"));
  auto nothing = make<DescribedNothing>();
  EXPECT_EQ(ModelDescription(nothing), NSString("<DescribedNothing: " + address(nothing) + ">"));
  const id root = newInstance(classOf<NSObject>());
  EXPECT_EQ(ModelDescription(root), NSString("<NSObject: " + address(root) + ">"));
  EXPECT_EQ(ModelDescription(NSArray{model, nothing}),
            NSString("[\n    <DescribedPlain: " + address(model) +
                     "> {\n        count = -7;\n        name = \"Ann\"\n    };\n    " +
                     "<DescribedNothing: " + address(nothing) + ">\n]"));
}

class DescribedAll : public NSObject {
 public:
  bool aBool = true;
  std::int8_t anInt8 = -8;
  std::uint8_t aUInt8 = 8;
  std::int16_t anInt16 = -16;
  std::uint16_t aUInt16 = 16;
  std::int32_t anInt32 = -32;
  std::uint32_t aUInt32 = 32;
  std::int64_t anInt64 = INT64_MIN;
  std::uint64_t aUInt64 = UINT64_MAX;
  float aFloat = 0.1f;
  double aDouble = 0.1;
  long double aLongDouble = 0.25L;
  NSString text;
  NSArray list;
  id anything;
  Ref<DescribedPlain> model;
  Class cls;
  SEL selector;
  Block<void()> block;
  void* pointer = nullptr;
  const char* cString = nullptr;
  std::int32_t array[2] = {};
  CGSize size;
  DescribedUnion either{};
  KVT_MODEL(DescribedAll, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat, aDouble,
            aLongDouble, text, list, anything, model, cls, selector, block, pointer, cString, array, size, either)
};

/// The text of one property in a model's description, inner lines included.
std::string valueText(const id& model, const std::string& name) {
  const std::string text = ModelDescription(model).str(), start = "\n    " + name + " = ";
  const std::size_t from = text.find(start);
  if (from == std::string::npos) return "(no such property)";
  // The value ends where the next line of this level begins, or the block ends.
  std::size_t to = from + start.size();
  for (;;) {
    to = text.find('\n', to);
    if (to == std::string::npos) return "(no end)";
    const bool deeper = text.compare(to + 1, 8, "        ") == 0,
               closes = text.compare(to + 1, 5, "    }") == 0 || text.compare(to + 1, 5, "    ]") == 0;
    if (!deeper && !closes) break;
    ++to;
  }
  std::string value = text.substr(from + start.size(), to - from - start.size());
  if (value.ends_with(';')) value.pop_back();
  return value;
}

TEST(Description, PropertiesOfEachType) {
  auto model = make<DescribedAll>();
  struct Row {
    const char* name;
    std::string text;
  };
  const Row empty[] = {
      {"aBool", "1"},
      {"anInt8", "-8"},
      {"aUInt8", "8"},
      {"anInt16", "-16"},
      {"aUInt16", "16"},
      {"anInt32", "-32"},
      {"aUInt32", "32"},
      {"anInt64", "-9223372036854775808"},
      {"aUInt64", "18446744073709551615"},
      {"aFloat", "0.1"},
      {"aDouble", "0.1"},
      {"aLongDouble", "0.25"},
      {"text", "<nil>"},
      {"list", "<nil>"},
      {"anything", "<nil>"},
      {"model", "<nil>"},
      {"cls", "<nil>"},
      {"selector", "<NULL>"},
      {"block", "<nil>"},
      {"pointer", NSString::stringWithFormat("%p", static_cast<void*>(nullptr)).str()},
      {"cString", NSString::stringWithFormat("%p", static_cast<void*>(nullptr)).str()},
      {"array", NSString::stringWithFormat("%p", static_cast<void*>(model->array)).str()},
      {"size", NSValue::valueWithSize({0, 0}).description().str()},
      {"either", NSValue::of(DescribedUnion{}).description().str()},
  };
  for (const Row& row : empty) EXPECT_EQ(valueText(model, row.name), row.text) << row.name;

  model->text = "t";
  model->list = {1};
  model->anything = NSNumber(5);
  model->model = make<DescribedPlain>();
  model->cls = classOf<DescribedPlain>();
  model->selector = "act:with:";
  model->block = [] {};
  model->pointer = &model;
  static const char kText[] = "c";
  model->cString = kText;
  model->size = {1, 2};
  const Row full[] = {
      {"text", "\"t\""},
      {"list", "[\n        1\n    ]"},
      {"anything", "5"},
      {"model", "<DescribedPlain: " + address(model->model) + "> {\n        count = 0;\n        name = <nil>\n    }"},
      {"cls", "DescribedPlain"},
      {"selector", "act:with:"},
      {"block", id(model->block).description().str()},
      {"pointer", NSString::stringWithFormat("%p", model->pointer).str()},
      {"cString", NSString::stringWithFormat("%p", static_cast<const void*>(kText)).str()},
      {"size", NSValue::valueWithSize({1, 2}).description().str()},
  };
  for (const Row& row : full) EXPECT_EQ(valueText(model, row.name), row.text) << row.name;
}

TEST(Description, NumbersWithoutText) {
  // What "%@" prints for a missing object.
  const std::string missing = NSString::stringWithFormat("%@", nullptr).str();
  EXPECT_EQ(missing, "(null)");
  for (double odd : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                     -std::numeric_limits<double>::infinity()}) {
    auto model = make<DescribedAll>();
    model->aFloat = static_cast<float>(odd);
    model->aDouble = odd;
    model->aLongDouble = odd;
    EXPECT_EQ(valueText(model, "aFloat"), missing);
    EXPECT_EQ(valueText(model, "aDouble"), missing);
    EXPECT_EQ(valueText(model, "aLongDouble"), missing);
    // A boxed one has a text.
    model->anything = NSNumber(odd);
    EXPECT_EQ(valueText(model, "anything"), NSNumber(odd).stringValue().str());
  }
}

TEST(Description, PropertiesAreSortedByName) {
  ClassMaker maker("DescribedSorted");
  for (const char* name : {"b", "a", "B", "_c", "ab", "a2", "a10"}) maker.property(name, "i");
  const id model = newInstance(maker.make());
  EXPECT_EQ(ModelDescription(model),
            NSString("<DescribedSorted: " + address(model) +
                     "> {\n    B = 0;\n    _c = 0;\n    a = 0;\n    a10 = 0;\n    a2 = 0;\n    ab = 0;\n    b = 0\n}"));
}

TEST(Description, DroppedAndInheritedPropertiesAreShown) {
  ClassMaker base("DescribedBase");
  base.property("z", "i").make();
  ClassMaker maker("DescribedDerived", objc_getClass("DescribedBase"));
  maker.property("a", "i").property("dropped", "i").property("fixed", "i", "R");
  maker.answers("modelCustomPropertyMapper", NSDictionary{{"dropped", ""}, {"a", "other.key"}});
  const id model = newInstance(maker.make());
  EXPECT_EQ(ModelDescription(model),
            NSString("<DescribedDerived: " + address(model) + "> {\n    a = 0;\n    dropped = 0;\n    z = 0\n}"));
}

TEST(Description, TypesThatNobodyKnows) {
  ClassMaker maker("DescribedUnknown");
  maker.describe("bits", {{"T", "b3"}})
      .method(
          "bits", +[](Object*, SEL) { return 0; }, "i16@0:8");
  maker.method(
      "setBits:", +[](Object*, SEL, int) {}, "v20@0:8i16");
  maker.describe("nothing", {{"T", "v"}})
      .method(
          "nothing", +[](Object*, SEL) {}, "v16@0:8");
  maker.method(
      "setNothing:", +[](Object*, SEL, int) {}, "v20@0:8i16");
  const id model = newInstance(maker.make());
  EXPECT_EQ(ModelDescription(model), NSString("<DescribedUnknown: " + address(model) +
                                              "> {\n    bits = <unknown>;\n    nothing = <unknown>\n}"));
}

TEST(Description, ClassesAreObjects) {
  // A class object, too, is described by its class and address.
  const id cls = classOf<DescribedPlain>();
  EXPECT_TRUE(ModelDescription(cls));
  EXPECT_NO_THROW(ModelDescription(id(objc_getMetaClass("DescribedPlain"))));
  EXPECT_NO_THROW(ModelDescription(Block<void()>([] {})));
}

TEST(Description, Indent) {
  struct Row {
    const char* text;
    const char* indented;
  };
  const Row rows[] = {
      {"", ""},
      {"x", "x"},
      {"\n", "\n    "},
      {"\n\n", "\n    \n    "},
      {"a\nb", "a\n    b"},
      {"a\n", "a\n    "},
      {"\na", "\n    a"},
      {"a\n\nb\n", "a\n    \n    b\n    "},
      {"a\r\nb\rc", "a\r\n    b\rc"},
      {"a\n    b", "a\n        b"},
      {"\u00E9\n\U0001F600\nz", "\u00E9\n    \U0001F600\n    z"},
      {"a\u2028b\u0085c", "a\u2028b\u0085c"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const NSMutableString text = NSMutableString::stringWithString(row.text);
    ModelDescriptionAddIndent(text);
    EXPECT_EQ(text, row.indented);
  }
  ModelDescriptionAddIndent(NSMutableString());  // nil: nothing happens
  // Half a surrogate pair stays what it is.
  const NSMutableString half = NSMutableString::stringWithString(NSString(std::u16string_view(u"\xD800\n\xDC00", 3)));
  ModelDescriptionAddIndent(half);
  EXPECT_EQ(half.u16str(), std::u16string(u"\xD800\n    \xDC00", 7));
}

/// What the description of a value is by its rules: each line feed of an element's text gets four blanks more.
NSString byTheRules(const id& value) {
  auto indented = [](const id& inner) {
    const NSMutableString text = byTheRules(inner).mutableCopy();
    ModelDescriptionAddIndent(text);
    return text.str();
  };
  std::string text;
  if (NSArray list = value.as<NSArray>(); list.count() > 0) {
    text = "[\n";
    for (NSUInteger i = 0; i < list.count(); ++i)
      text += "    " + indented(list[i]) + (i + 1 < list.count() ? ";\n" : "\n");
    return NSString(text + "]");
  }
  if (NSDictionary dictionary = value.as<NSDictionary>(); dictionary.count() > 0) {
    text = "{\n";
    NSUInteger left = dictionary.count();
    for (const auto& [key, object] : dictionary) {
      text += "    " + key.description().str() + " = " + indented(object) + (--left > 0 ? ";\n" : "\n");
    }
    return NSString(text + "}");
  }
  return ModelDescription(value);
}

TEST(Description, DeepCollections) {
  id value = NSString("two\nlines\n");
  for (int i = 0; i < 60; ++i) {
    value = i % 3 == 0   ? id(NSArray{value, "x\n", NSArray::array()})
            : i % 3 == 1 ? id(NSDictionary{{"key", value}, {"a\nb", "c\nd"}})
                         : id(NSArray::arrayWithObject(value));
  }
  EXPECT_EQ(ModelDescription(value), byTheRules(value));
  // As deep as JSON may be.
  value = NSArray{"x"};
  for (int i = 0; i < 511; ++i) value = NSArray::arrayWithObject(value);
  const NSString text = ModelDescription(value);
  EXPECT_TRUE(text.containsString("\n" + std::string(4 * 512, ' ') + "\"x\"\n"));
  EXPECT_FALSE(text.containsString("..."));
  EXPECT_TRUE(ModelDescription(NSArray::arrayWithObject(NSArray::arrayWithObject(value))).containsString("[...]"));
}

TEST(Description, TheSameObjectTwiceIsNoCircle) {
  const NSArray inner = {1};
  EXPECT_EQ(ModelDescription(NSArray{inner, inner}), "[\n    [\n        1\n    ];\n    [\n        1\n    ]\n]");
  auto model = make<DescribedPlain>();
  const std::string one = "<DescribedPlain: " + address(model) + "> {\n        count = 0;\n        name = <nil>\n    }";
  EXPECT_EQ(ModelDescription(NSArray{model, model}), NSString("[\n    " + one + ";\n    " + one + "\n]"));
}

TEST(Description, Circles) {
  const NSMutableArray list = {1};
  list.addObject(list);
  EXPECT_EQ(ModelDescription(list), "[\n    1;\n    [...]\n]");
  list.removeAllObjects();
  const NSMutableDictionary dictionary = {{"a", 1}};
  dictionary.setObject_forKey(NSArray{dictionary, 2}, "b");
  EXPECT_EQ(ModelDescription(dictionary), "{\n    a = 1;\n    b = [\n        {...};\n        2\n    ]\n}");
  dictionary.removeAllObjects();
  auto model = make<DescribedAll>();
  model->anything = model;
  EXPECT_EQ(valueText(model, "anything"), "<DescribedAll: " + address(model) + ">");
  model->anything = nullptr;
}

}  // namespace
}  // namespace kvt
