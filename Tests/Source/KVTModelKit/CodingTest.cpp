// Archiving of models by their properties.
#include <KVTFoundation/KVTModelKit/ModelValue.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel+Coding.h>
#include <KVTFoundation/KVTModelKit/NSObject+KVTModel.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>

#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include "ModelKitTest.h"
#include "Platform/Values/KeyedArchives.h"

struct CodingFloatSize {
  float width, height;
};
union CodingUnion {
  std::int32_t number;
  float ratio;
};
KVT_STRUCT_ENCODING(CodingFloatSize, width, height)
KVT_UNION_ENCODING(CodingUnion, number, ratio)

namespace kvt {
namespace {

using namespace archive_test;
using modeltest::ClassMaker;
using modeltest::newInstance;

#define CODES_BY_PROPERTIES                                                                     \
  void encodeWithCoder(const NSCoder& coder) { kvt_modelEncodeWithCoder(this, coder); }         \
  ::kvt::id initWithCoder(const NSCoder& coder) { return kvt_modelInitWithCoder(this, coder); } \
  static bool supportsSecureCoding() { return true; }

class CodingPet : public NSObject {
 public:
  NSString name;
  Weak<NSObject> owner;
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingPet, name, owner)
};

class CodingPlain : public NSObject {
 public:
  NSString name;
  KVT_MODEL(CodingPlain, name)
};

class CodingEverything : public NSObject {
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
  NSMutableString mutableText;
  NSNumber number;
  NSDecimalNumber decimal;
  NSValue value;
  NSData data;
  NSDate date;
  NSURL url;
  NSArray list;
  NSMutableDictionary table;
  NSSet set;
  Ref<CodingPet> pet;
  Ref<CodingPlain> plain;
  id anything;
  Class cls;
  SEL selector;
  Block<int()> block;
  void* pointer = nullptr;
  const char* cString = nullptr;
  std::int32_t array[2] = {};
  CGPoint point;
  CGSize size;
  CGRect rect;
  CGAffineTransform transform;
  UIEdgeInsets insets;
  UIOffset offset;
  NSRange range;
  CodingFloatSize floatSize{};
  CodingUnion either{};
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingEverything, aBool, anInt8, aUInt8, anInt16, aUInt16, anInt32, aUInt32, anInt64, aUInt64, aFloat,
            aDouble, aLongDouble, text, mutableText, number, decimal, value, data, date, url, list, table, set, pet,
            plain, anything, cls, selector, block, pointer, cString, array, point, size, rect, transform, insets,
            offset, range, floatSize, either)
};

NSData archive(const id& object) { return NSKeyedArchiver::archivedDataWithRootObject(object); }
template <class T>
Ref<T> unarchive(const NSData& data) {
  return NSKeyedUnarchiver::unarchiveObjectWithData(data).as<T>();
}
/// The root object's values by key, scalars behind references as text.
std::map<std::string, std::string> valuesIn(const NSData& data) {
  const NSArray objects = objectsOf(data);
  std::map<std::string, std::string> values;
  for (const auto& [key, value] : objects[1].as<NSDictionary>()) {
    if (key.as<NSString>() != NSString("$class")) values[key.as<NSString>().str()] = Layout(objects).of(value);
  }
  return values;
}

// ---- what is encoded ------------------------------------------------------------------------------------------------

TEST(ModelCoding, EncodesEveryTypeAsItIsKept) {
  int target = 7;
  auto model = make<CodingEverything>();
  model->aBool = true;
  model->anInt8 = INT8_MIN;
  model->aUInt8 = UINT8_MAX;
  model->anInt16 = INT16_MIN;
  model->aUInt16 = UINT16_MAX;
  model->anInt32 = INT32_MIN;
  model->aUInt32 = UINT32_MAX;
  model->anInt64 = INT64_MIN;
  model->aUInt64 = UINT64_MAX;
  model->aFloat = 0.1f;
  model->aDouble = 0.1;
  model->aLongDouble = 0.25L;
  model->text = "text";
  model->mutableText = NSMutableString::stringWithString("mutable");
  model->number = 42;
  model->decimal = NSDecimalNumber::decimalNumberWithString("1.5");
  model->value = NSValue::valueWithPoint({1, 2});
  model->data = NSData(std::string_view("d"));
  model->date = NSDate::dateWithTimeIntervalSinceReferenceDate(1.5);
  model->url = NSURL::URLWithString("http://a.b/");
  model->list = NSArray{1, "x"};
  model->table = NSMutableDictionary{{"k", 1}};
  model->set = NSSet{1};
  model->pet = make<CodingPet>();
  model->pet->name = "Rex";
  model->plain = make<CodingPlain>();
  model->anything = NSNull::null();
  model->cls = classOf<NSString>();
  model->selector = SEL("doThis:withThat:");
  model->block = [] { return 1; };
  model->pointer = &target;
  model->cString = "c";
  model->point = {1, 2};
  model->size = {3, 4};
  model->rect = {{1, 2}, {3, 4}};
  model->transform = {1, 2, 3, 4, 5, 6};
  model->insets = {1, 2, 3, 4};
  model->offset = {5, 6};
  model->range = {1, 2};
  model->floatSize = {0.5f, 1.5f};
  model->either.number = 3;
  const std::map<std::string, std::string> expected = {
      {"aBool", "true"},
      {"anInt8", "-128"},
      {"aUInt8", "255"},
      {"anInt16", "-32768"},
      {"aUInt16", "65535"},
      {"anInt32", "-2147483648"},
      {"aUInt32", "4294967295"},
      {"anInt64", "-9223372036854775808"},
      {"aUInt64", "18446744073709551615"},
      {"aFloat", "0.1f"},
      {"aDouble", "0.1r"},
      {"aLongDouble", "0.25r"},
      {"text", "'text'"},
      {"mutableText", "NSMutableString{NS.string: 'mutable'}"},
      {"number", "42"},
      {"decimal",
       "NSDecimalNumber{NS.exponent: -1, NS.length: 1, NS.negative: false, NS.compact: true, NS.mantissa.bo: 1, "
       "NS.mantissa: <0f000000000000000000000000000000>}"},
      {"data", "<64>"},
      {"date", "NSDate{NS.time: 1.5r}"},
      {"url", "NSURL{NS.base: nil, NS.relative: 'http://a.b/'}"},
      {"list", "NSArray{NS.objects: [1, 'x']}"},
      {"table", "NSMutableDictionary{NS.keys: ['k'], NS.objects: [1]}"},
      {"set", "NSSet{NS.objects: [1]}"},
      {"pet", "CodingPet{name: 'Rex'}"},
      {"anything", "NSNull{}"},
      {"selector", "'doThis:withThat:'"},
      {"point", "NSValue{NS.pointval: '{1, 2}', NS.special: 1}"},
      {"size", "NSValue{NS.sizeval: '{3, 4}', NS.special: 2}"},
      {"rect", "NSValue{NS.rectval: '{{1, 2}, {3, 4}}', NS.special: 3}"},
      {"transform",
       "NSValue{KVT.value.version: 1, KVT.value.type: '{CGAffineTransform=dddddd}', "
       "KVT.value.numbers: [1r, 2r, 3r, 4r, 5r, 6r]}"},
      {"insets",
       "NSValue{KVT.value.version: 1, KVT.value.type: '{UIEdgeInsets=dddd}', KVT.value.numbers: [1r, 2r, 3r, 4r]}"},
      {"offset", "NSValue{KVT.value.version: 1, KVT.value.type: '{UIOffset=dd}', KVT.value.numbers: [5r, 6r]}"},
  };
  const NSData data = archive(model);
  EXPECT_EQ(valuesIn(data), expected);

  // And all of it comes back; the rest is as in a new one.
  const auto back = unarchive<CodingEverything>(data);
  ASSERT_TRUE(back);
  EXPECT_EQ(valuesIn(archive(back)), expected);
  EXPECT_EQ(back->aUInt64, UINT64_MAX);
  EXPECT_EQ(back->aFloat, 0.1f);
  EXPECT_EQ(back->aLongDouble, 0.25L);
  EXPECT_TRUE(back->selector == "doThis:withThat:"_sel);
  EXPECT_EQ(back->transform, model->transform);
  EXPECT_EQ(back->rect, model->rect);
  EXPECT_FALSE(back->value);
  EXPECT_FALSE(back->plain);
  EXPECT_FALSE(back->cls);
  EXPECT_FALSE(back->block);
  EXPECT_TRUE(back->pointer == nullptr);
  EXPECT_TRUE(back->cString == nullptr);
  EXPECT_EQ(back->range, NSRange{});
  EXPECT_EQ(back->floatSize.width, 0);
  EXPECT_EQ(back->either.number, 0);

  NSError error;
  EXPECT_TRUE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(
      {classOf<CodingEverything>(), classOf<NSNull>()}, data, &error))
      << error;
}

TEST(ModelCoding, LeavesOutWhatIsNotThere) {
  const std::map<std::string, std::string> values = valuesIn(archive(make<CodingEverything>()));
  for (const char* key : {"text", "list", "pet", "anything", "selector", "number"}) {
    EXPECT_EQ(values.count(key), 0u) << key;
  }
  for (const char* key : {"aBool", "aDouble", "rect"}) EXPECT_EQ(values.count(key), 1u) << key;
}

TEST(ModelCoding, LeavesOutNumbersThatAreNone) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  struct Row {
    double value;
    bool isEncoded;
  };
  for (const Row& row : {Row{std::nan(""), false}, Row{kInfinite, false}, Row{-kInfinite, false}, Row{-0.0, true},
                         Row{std::numeric_limits<double>::max(), true}}) {
    SCOPED_TRACE(row.value);
    auto model = make<CodingEverything>();
    model->aFloat = static_cast<float>(std::isfinite(row.value) ? std::copysign(1, row.value) : row.value);
    model->aDouble = row.value;
    model->aLongDouble = static_cast<long double>(row.value);
    const NSData data = archive(model);
    const auto values = valuesIn(data);
    for (const char* key : {"aFloat", "aDouble", "aLongDouble"}) {
      EXPECT_EQ(values.count(key) == 1, row.isEncoded) << key;
    }
    // A property without a value keeps the one that a new model has.
    const auto back = unarchive<CodingEverything>(data);
    EXPECT_EQ(back->aDouble, row.isEncoded ? row.value : 0);
  }
}

class CodingStart : public NSObject {
 public:
  double ratio = 4;
  std::int64_t count = 5;
  NSString name = "initial";
  CGSize size{6, 7};
  SEL selector = SEL("initial");
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingStart, ratio, count, name, size, selector)
};

TEST(ModelCoding, KeepsInitialValuesOfAllButObjects) {
  const NSData data = archiveOf({NSDictionary{{"$class", uid(2)}}, classNamed("CodingStart")});
  const auto model = unarchive<CodingStart>(data);
  EXPECT_EQ(model->ratio, 4);
  EXPECT_EQ(model->count, 5);
  EXPECT_EQ(model->size, (CGSize{6, 7}));
  EXPECT_TRUE(model->selector == "initial"_sel);
  EXPECT_FALSE(model->name);
}

TEST(ModelCoding, TakesWhatFitsAndSkipsTheRest) {
  struct Row {
    const char* key;
    id value;
    std::string result;
  };
  const auto all = [](const CodingStart& model) {
    return NSNumber(model.ratio).stringValue().str() + " " + std::to_string(model.count) + " " +
           (model.name ? model.name.str() : "nil") + " " + NSValue::valueWithSize(model.size).description().str() +
           " " + sel_getName(model.selector);
  };
  const std::string untouched = "4 5 nil NSSize: {6, 7} initial";
  const Row rows[] = {
      {"ratio", NSNumber(1), "1 5 nil NSSize: {6, 7} initial"},
      {"ratio", NSNumber(true), "1 5 nil NSSize: {6, 7} initial"},
      {"ratio", NSDecimalNumber::decimalNumberWithString("0.5"), "0.5 5 nil NSSize: {6, 7} initial"},
      {"ratio", NSNumber(std::nan("")), "0 5 nil NSSize: {6, 7} initial"},
      {"ratio", NSString("1"), untouched},
      {"ratio", NSNull::null(), untouched},
      {"count", NSNumber(1.9), "4 1 nil NSSize: {6, 7} initial"},
      {"count", NSNumber(UINT64_MAX), "4 -1 nil NSSize: {6, 7} initial"},
      {"count", NSDecimalNumber::decimalNumberWithString("9223372036854775807"),
       "4 9223372036854775807 nil NSSize: {6, 7} initial"},
      {"count", NSArray{1}, untouched},
      {"name", NSString("n"), "4 5 n NSSize: {6, 7} initial"},
      {"name", NSString("n").mutableCopy(), "4 5 n NSSize: {6, 7} initial"},
      {"name", NSNumber(1), untouched},  // a text property holds no number's body
      {"name", NSArray{1}, untouched},
      {"size", NSValue::valueWithSize({1, 2}), "4 5 nil NSSize: {1, 2} initial"},
      {"size", NSValue::valueWithPoint({1, 2}), untouched},
      {"size", NSString("{1, 2}"), untouched},
      {"selector", NSString("other:"), "4 5 nil NSSize: {6, 7} other:"},
      {"selector", NSNumber(1), untouched},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.key) + " " + row.value.description().str());
    NSMutableArray objects = NSMutableArray::arrayWithObjects(NSDictionary{{"$class", uid(2)}, {row.key, uid(3)}},
                                                              classNamed("CodingStart"));
    // The value's own objects, as an archive of it has them, two places further on.
    const NSArray own = objectsOf(archive(row.value));
    const auto moved = [](const id& value, const auto& self) -> id {
      if (const auto each = value.as<NSKeyedArchiverUID>())
        return each->value() == 0 ? id(each) : uid(each->value() + 2);
      if (const NSArray array = value.as<NSArray>()) {
        return array.arrayByMappingUsingBlock([&self](const id& element) { return self(element, self); });
      }
      if (const NSDictionary dictionary = value.as<NSDictionary>()) {
        NSMutableDictionary result = NSMutableDictionary::dictionary();
        for (const auto& [key, element] : dictionary) result.setObject_forKey(self(element, self), key);
        return result;
      }
      return value;
    };
    for (NSUInteger i = 1; i < own.count(); ++i) objects.addObject(moved(own[i], moved));
    const auto model = unarchive<CodingStart>(archiveOf(objects));
    ASSERT_TRUE(model);
    EXPECT_EQ(all(*model), row.result);
  }
}

// ---- which properties -----------------------------------------------------------------------------------------------

class CodingMapped : public NSObject {
 public:
  NSString renamed, path, dropped, blacklisted, readonly;
  static NSDictionary modelCustomPropertyMapper() { return {{"renamed", "other"}, {"path", "a.b"}, {"dropped", ""}}; }
  static NSArray modelPropertyBlacklist() { return {"blacklisted"}; }
  static void kvtDescribe(ClassBuilder<CodingMapped>& c) {
    c.property<&CodingMapped::readonly>("readonly", {.readonly = true});
  }
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingMapped, renamed, path, dropped, blacklisted)
};

/// Puts one number under every key.
class CodingNumbers : public NSObject {
 public:
  static inline NSNumber value;
  bool b = false;
  std::int8_t c = 9;
  std::uint8_t uc = 9;
  std::int16_t s = 9;
  std::uint16_t us = 9;
  std::int32_t i = 9;
  std::uint32_t ui = 9;
  std::int64_t q = 9;
  std::uint64_t uq = 9;
  float f = 9;
  double d = 9;
  long double ld = 9;
  void encodeWithCoder(const NSCoder& coder) {
    for (const char* key : {"b", "c", "uc", "s", "us", "i", "ui", "q", "uq", "f", "d", "ld"}) {
      coder.encodeObject_forKey(value, key);
    }
  }
  ::kvt::id initWithCoder(const NSCoder& coder) { return kvt_modelInitWithCoder(this, coder); }
  KVT_MODEL(CodingNumbers, b, c, uc, s, us, i, ui, q, uq, f, d, ld)
};

TEST(ModelCoding, ConvertsNumbersAsPropertiesDo) {
  NSMutableArray numbers = NSMutableArray::array();
  for (const std::int64_t each :
       {INT64_C(0), INT64_C(1), INT64_C(2), INT64_C(127), INT64_C(255), INT64_C(32767), INT64_C(65535),
        INT64_C(2147483647), INT64_C(4294967295), INT64_C(9007199254740993), INT64_MAX - 1}) {
    for (const std::int64_t number : {each, each + 1, -each, -each - 1}) numbers.addObject(NSNumber(number));
  }
  for (const double each : {0.0, -0.0, 0.5, -1.5, 255.9, 1e10, 1e300, 3.4e38, std::nan(""),
                            std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity()}) {
    numbers.addObject(NSNumber(each));
    numbers.addObject(NSNumber(static_cast<float>(each)));
  }
  for (const char* each : {"0.1", "1e30", "-12345678901234567890", "77"}) {
    numbers.addObject(NSDecimalNumber::decimalNumberWithString(each));
  }
  numbers.addObject(NSNumber(UINT64_MAX));
  numbers.addObject(NSNumber(true));
  numbers.addObject(NSNumber(false));
  ASSERT_EQ(numbers.count(), 73);
  for (const id& each : numbers) {
    CodingNumbers::value = each.as<NSNumber>();
    for (const bool isKnown : {false, true}) {
      // A number that is an object of the archive already, and one that is not.
      const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
      archiver.encodeObject_forKey(each, "number");
      archiver.encodeObject_forKey(make<CodingNumbers>(), "model");
      const auto unarchiver = NSKeyedUnarchiver::initForReadingWithData(archiver.encodedData());
      NSNumber decoded;
      if (isKnown) decoded = unarchiver.decodeObjectForKey("number").as<NSNumber>();
      const auto model = unarchiver.decodeObjectForKey("model").as<CodingNumbers>();
      decoded = unarchiver.decodeObjectForKey("number").as<NSNumber>();
      const auto expected = make<CodingNumbers>();
      for (const id& property : _KVTModelMeta::metaWithClass(classOf<CodingNumbers>())->allPropertyMetas) {
        const auto meta = property.as<_KVTModelPropertyMeta>();
        ModelSetNumberForProperty(expected, decoded, *meta);
        EXPECT_EQ(model.valueForKey(meta->name), expected.valueForKey(meta->name)) << each << " as " << meta->name;
      }
    }
  }
}

TEST(ModelCoding, GoesByPropertiesNotByTheirKeysInJSON) {
  auto model = make<CodingMapped>();
  model->renamed = "1";
  model->path = "2";
  model->dropped = "3";
  model->blacklisted = "4";
  model->readonly = "5";
  const NSData data = archive(model);
  EXPECT_EQ(layoutOf(data), "CodingMapped{renamed: '1', path: '2', dropped: '3'}");
  const auto back = unarchive<CodingMapped>(data);
  EXPECT_EQ(back->renamed, "1");
  EXPECT_EQ(back->path, "2");
  EXPECT_EQ(back->dropped, "3");
  EXPECT_FALSE(back->blacklisted);
  EXPECT_FALSE(back->readonly);
}

class CodingBase : public NSObject {
 public:
  NSString base;
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingBase, base)
};
class CodingDerived : public CodingBase {
 public:
  NSString derived;
  KVT_MODEL(CodingDerived, derived)
};

TEST(ModelCoding, TakesInheritedProperties) {
  auto model = make<CodingDerived>();
  model->base = "b";
  model->derived = "d";
  const NSData data = archive(model);
  EXPECT_EQ(layoutOf(data), "CodingDerived{derived: 'd', base: 'b'}");
  const auto back = unarchive<CodingDerived>(data);
  EXPECT_EQ(back->base, "b");
  EXPECT_EQ(back->derived, "d");
}

class CodingNode : public NSObject {
 public:
  NSString name;
  Ref<CodingNode> next;
  Weak<CodingNode> parent;
  NSArray children;
  static NSDictionary modelContainerPropertyGenericClass() { return {{"children", classOf<CodingNode>()}}; }
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingNode, name, next, parent, children)
};

TEST(ModelCoding, KeepsSharedModelsAndCircles) {
  auto root = make<CodingNode>(), child = make<CodingNode>();
  root->name = "root";
  child->name = "child";
  child->parent = root;
  child->next = child;
  root->children = NSArray{child, child};
  const NSData data = archive(root);
  EXPECT_EQ(layoutOf(data),
            "CodingNode{name: 'root', children: NSArray{NS.objects: [CodingNode{name: 'child', next: ^4, parent: ^1}, "
            "CodingNode{name: 'child', next: ^4, parent: ^1}]}}");
  NSError error;
  const auto back = NSKeyedUnarchiver::unarchivedObjectOfClass<CodingNode>(data, &error);
  ASSERT_TRUE(back) << error;
  const auto first = back->children[0].as<CodingNode>();
  EXPECT_TRUE(isIdentical(first, back->children[1]));
  EXPECT_TRUE(isIdentical(first->next, first));
  EXPECT_TRUE(isIdentical(first->parent.lock(), back));
  first->next = nullptr;
  child->next = nullptr;
}

TEST(ModelCoding, RestrictsObjectsToTheirPropertiesClasses) {
  const auto reasonFor = [](const NSArray& objects) {
    NSError error;
    EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClass<CodingNode>(archiveOf(objects), &error));
    return reasonOf(error);
  };
  const NSDictionary node = classNamed("CodingNode"), url = classNamed("NSURL");
  EXPECT_EQ(
      reasonFor({NSDictionary{{"$class", uid(2)}, {"next", uid(3)}}, node, NSDictionary{{"$class", uid(4)}}, url}),
      "4864: The value for key 'next' is of the unexpected class 'NSURL'. Allowed classes are: {CodingNode}.");
  EXPECT_EQ(reasonFor({NSDictionary{{"$class", uid(2)}, {"children", uid(3)}}, node,
                       NSDictionary{{"$class", uid(4)}, {"NS.objects", NSArray{uid(5)}}}, classNamed("NSArray"),
                       NSDictionary{{"$class", uid(6)}}, url}),
            "4864: The value for key 'NS.objects' is of the unexpected class 'NSURL'. Allowed classes are: {NSArray, "
            "NSDictionary, NSSet, NSString, NSNumber, NSDate, NSData, NSNull, CodingNode}.");
}

// ---- accessors ------------------------------------------------------------------------------------------------------

/// Its accessors are its own.
class CodingOwn : public NSObject {
 public:
  int stored = 0;
  NSString text;
  int getTwice() const { return stored * 2; }
  void setHalf(int value) { stored = value / 2; }
  NSString getText() const { return text + "!"; }
  static void kvtDescribe(ClassBuilder<CodingOwn>& c) {
    c.property<&CodingOwn::stored>("stored", {.getter = "getTwice", .setter = "setHalf:"});
    c.property<&CodingOwn::text>("text", {.getter = "getText"});
    c.method<&CodingOwn::getTwice>("getTwice")
        .method<&CodingOwn::setHalf>("setHalf:")
        .method<&CodingOwn::getText>("getText");
  }
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingOwn)
};

TEST(ModelCoding, GoesThroughAccessors) {
  auto model = make<CodingOwn>();
  model->stored = 21;
  model->text = "t";
  const NSData data = archive(model);
  EXPECT_EQ(layoutOf(data), "CodingOwn{stored: 42, text: 't!'}");
  const auto back = unarchive<CodingOwn>(data);
  EXPECT_EQ(back->stored, 21);
  EXPECT_EQ(back->text, "t!");
}

TEST(ModelCoding, SeesAccessorsThatAreReplaced) {
  auto model = make<CodingStart>();
  EXPECT_EQ(valuesIn(archive(model))["count"], "5");
  const Method getter = class_getInstanceMethod(classOf<CodingStart>(), "count");
  std::int64_t (*const other)(Object*, SEL) = [](Object*, SEL) -> std::int64_t { return 77; };
  const IMP before = method_setImplementation(getter, reinterpret_cast<IMP>(other));
  EXPECT_EQ(valuesIn(archive(model))["count"], "77");
  method_setImplementation(getter, before);
  EXPECT_EQ(valuesIn(archive(model))["count"], "5");
}

/// Replaces another class's setter while it is decoded.
class CodingMeddler : public NSObject {
 public:
  static inline IMP before = nullptr;
  void encodeWithCoder(const NSCoder&) {}
  ::kvt::id initWithCoder(const NSCoder&);
  KVT_CLASS(CodingMeddler)
};
class CodingMeddled : public NSObject {
 public:
  NSString early;
  Ref<CodingMeddler> meddler;
  NSString late;
  int number = 0;
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingMeddled, early, meddler, late, number)
};
id CodingMeddler::initWithCoder(const NSCoder&) {
  void (*const drop)(Object*, SEL, Object*) = [](Object* self, SEL, Object*) {
    static_cast<CodingMeddled*>(self)->late = "replaced";
  };
  before = method_setImplementation(class_getInstanceMethod(classOf<CodingMeddled>(), "setLate:"),
                                    reinterpret_cast<IMP>(drop));
  return Ref<CodingMeddler>(this);
}

TEST(ModelCoding, SeesSettersThatAreReplacedMeanwhile) {
  auto model = make<CodingMeddled>();
  model->early = "e";
  model->meddler = make<CodingMeddler>();
  model->late = "l";
  model->number = 3;
  const NSData data = archive(model);
  const auto back = NSKeyedUnarchiver::unarchiveObjectWithData(data).as<CodingMeddled>();
  ASSERT_TRUE(back);
  EXPECT_EQ(back->early, "e");
  EXPECT_EQ(back->late, "replaced");
  EXPECT_EQ(back->number, 3);
  ASSERT_NE(CodingMeddler::before, nullptr);
  method_setImplementation(class_getInstanceMethod(classOf<CodingMeddled>(), "setLate:"), CodingMeddler::before);
}

/// Encodes more than its properties, before and after them, and another model's properties into the same object.
class CodingMixed : public NSObject {
 public:
  NSString a, b, c;
  int n = 0;
  Ref<NSObject> guest;
  unsigned mode = 0;
  static inline int classes = 0;
  NSDictionary seen;

  void encodeWithCoder(const NSCoder& coder) {
    if ((mode & 2) != 0) coder.encodeObject_forKey(NSString("other"), "z");
    if ((mode & 1) != 0) coder.encodeObject_forKey(NSString("early"), "b");
    if ((mode & 4) != 0) modeltest::ClassMaker("CodingMade" + std::to_string(classes++)).make();
    if ((mode & 8) != 0) kvt_modelEncodeWithCoder(guest, coder);
    kvt_modelEncodeWithCoder(this, coder);
    if ((mode & 16) != 0) coder.encodeObject_forKey(NSString("late"), "a");
  }
  ::kvt::id initWithCoder(const NSCoder& coder) {
    NSMutableDictionary values = NSMutableDictionary::dictionary();
    for (const char* key : {"b", "a", "c", "z", "n", "name", "owner"}) {
      if (const ::kvt::id value = coder.decodeObjectForKey(key)) values.setObject_forKey(value, key);
    }
    seen = values;
    return Ref<CodingMixed>(this);
  }
  KVT_MODEL(CodingMixed, a, b, c, n)
};

TEST(ModelCoding, PutsEachValueUnderItsKeyInAnyOrder) {
  std::mt19937 random(7);
  NSMutableArray models = NSMutableArray::array(), expected = NSMutableArray::array();
  for (int i = 0; i < 400; ++i) {
    auto model = make<CodingMixed>();
    // The first one has every value, in the usual order.
    const auto text = [&] {
      return i != 0 && random() % 3 == 0 ? NSString() : NSString("t" + std::to_string(random() % 5));
    };
    model->a = text(), model->b = text(), model->c = text();
    model->n = static_cast<int>(random() % 4);
    auto guest = make<CodingPet>();
    guest->name = text();
    model->guest = guest;
    // Classes come seldom: each makes everybody look anew.
    model->mode = i != 0 && random() % 4 == 0 ? random() % 32 & (i % 16 == 0 ? 31u : 27u) : 0;
    models.addObject(model);

    NSMutableDictionary values = NSMutableDictionary::dictionary();
    if ((model->mode & 1) != 0) values.setObject_forKey(NSString("early"), "b");
    if ((model->mode & 2) != 0) values.setObject_forKey(NSString("other"), "z");
    if ((model->mode & 8) != 0 && guest->name) values.setObject_forKey(guest->name, "name");
    if (model->a) values.setObject_forKey(model->a, "a");
    if (model->b) values.setObject_forKey(model->b, "b");
    if (model->c) values.setObject_forKey(model->c, "c");
    values.setObject_forKey(NSNumber(model->n), "n");
    if ((model->mode & 16) != 0) values.setObject_forKey(NSString("late"), "a");
    expected.addObject(values);
  }
  const auto back = NSKeyedUnarchiver::unarchiveObjectWithData(archive(models)).as<NSArray>();
  ASSERT_EQ(back.count(), 400);
  for (NSUInteger i = 0; i < expected.count(); ++i) {
    EXPECT_EQ(back[i].as<CodingMixed>()->seen, expected[i]) << i;
  }
}

TEST(ModelCoding, TakesClassesBuiltAtRunTime) {
  using Encode = void (*)(Object*, SEL, Object*);
  using Init = Object* (*)(Object*, SEL, Object*);
  const Encode encode = [](Object* self, SEL, Object* coder) {
    kvt_modelEncodeWithCoder(id(borrow, self), NSCoder(borrow, coder));
  };
  const Init init = [](Object* self, SEL, Object* coder) {
    return kvt_modelInitWithCoder(id(borrow, self), NSCoder(borrow, coder)).detach();
  };
  ClassMaker maker("CodingAtRunTime");
  maker.property("title", "@\"NSString\"", "C").property("friend", "@\"CodingAtRunTime\"").property("ratio", "d");
  maker.property("flag", "B").property("small", "c").property("point", "{CGPoint=dd}").property("target", "@", "W");
  maker.method("encodeWithCoder:", encode, "v24@0:8@16").method("initWithCoder:", init, "@24@0:8@16");
  const Class cls = maker.make();
  const id model = newInstance(cls);
  model.setValue_forKey(NSString("T"), "title");
  model.setValue_forKey(model, "friend");
  model.setValue_forKey(NSNumber(0.5), "ratio");
  model.setValue_forKey(NSNumber(true), "flag");
  model.setValue_forKey(NSNumber(-3), "small");
  model.setValue_forKey(NSValue::valueWithPoint({1, 2}), "point");
  model.setValue_forKey(model, "target");
  const NSData data = archive(model);
  EXPECT_EQ(
      layoutOf(data),
      "CodingAtRunTime{title: 'T', friend: ^1, ratio: 0.5r, flag: true, small: -3, point: NSValue{NS.pointval: '{1, "
      "2}', NS.special: 1}, target: ^1}");
  const id back = NSKeyedUnarchiver::unarchiveObjectWithData(data);
  ASSERT_EQ(back.class_(), cls);
  EXPECT_TRUE(isIdentical(back.valueForKey("friend"), back));
  EXPECT_TRUE(isIdentical(back.valueForKey("target"), back));
  EXPECT_EQ(back.valueForKey("title"), NSString("T"));
  EXPECT_EQ(back.valueForKey("small"), NSNumber(-3));
  EXPECT_EQ(back.valueForKey("point"), NSValue::valueWithPoint({1, 2}));
  for (const id& each : {model, back}) each.setValue_forKey(nullptr, "friend");
}

class CodingDollar : public NSObject {
 public:
  NSString text;
  static void kvtDescribe(ClassBuilder<CodingDollar>& c) {
    c.property<&CodingDollar::text>("$class", {.getter = "dollar", .setter = "setDollar:"});
  }
  CODES_BY_PROPERTIES
  KVT_MODEL(CodingDollar)
};

TEST(ModelCoding, EscapesNamesThatBelongToArchives) {
  auto model = make<CodingDollar>();
  model->text = "mine";
  const NSData data = archive(model);
  EXPECT_EQ(layoutOf(data), "CodingDollar{$$class: 'mine'}");
  EXPECT_EQ(unarchive<CodingDollar>(data)->text, "mine");
}

// ---- receivers ------------------------------------------------------------------------------------------------------

TEST(ModelCoding, LeavesFoundationTypesToThemselves) {
  // A text's own form, which stands in the object that is being encoded.
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  kvt_modelEncodeWithCoder(NSString("t").mutableCopy(), archiver);
  kvt_modelEncodeWithCoder(NSNull::null(), archiver);
  EXPECT_EQ(listOf(archiver.encodedData())["$top"], (NSDictionary{{"NS.string", "t"}}));
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(archiver.encodedData());
  for (const id& value : {id(NSString("x")), id(NSNull::null()), id(NSArray{1}), id(NSNumber(1))}) {
    EXPECT_TRUE(isIdentical(kvt_modelInitWithCoder(value, unarchiver), value));
  }
}

TEST(ModelCoding, DoesNothingWithoutModelOrCoder) {
  auto model = make<CodingStart>();
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  kvt_modelEncodeWithCoder(id(), archiver);
  kvt_modelEncodeWithCoder(model, NSCoder());
  kvt_modelEncodeWithCoder(id(), NSCoder());
  EXPECT_EQ(listOf(archiver.encodedData())["$top"], NSDictionary::dictionary());
  EXPECT_TRUE(isIdentical(kvt_modelInitWithCoder(model, NSCoder()), model));
  EXPECT_EQ(model->name, "initial");
  EXPECT_FALSE(kvt_modelInitWithCoder(id(), NSCoder()));
}

TEST(ModelCoding, EncodesIntoTheTopToo) {
  auto model = make<CodingPlain>();
  model->name = "n";
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  kvt_modelEncodeWithCoder(model, archiver);
  auto back = make<CodingPlain>();
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(archiver.encodedData());
  EXPECT_TRUE(isIdentical(kvt_modelInitWithCoder(back, unarchiver), back));
  EXPECT_EQ(back->name, "n");
}

TEST(ModelCoding, IsKnownToTheRunTime) {
  auto model = make<CodingPlain>();
  EXPECT_TRUE(model.respondsToSelector("kvt_modelEncodeWithCoder:"));
  EXPECT_TRUE(model.respondsToSelector("kvt_modelInitWithCoder:"));
  model->name = "n";
  const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(false);
  objc_msgSend(model, "kvt_modelEncodeWithCoder:", archiver);
  const NSKeyedUnarchiver unarchiver = NSKeyedUnarchiver::initForReadingWithData(archiver.encodedData());
  model->name = nullptr;
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(model, "kvt_modelInitWithCoder:", unarchiver), model));
  EXPECT_EQ(model->name, "n");
}

// ---- the rest -------------------------------------------------------------------------------------------------------

TEST(ModelCoding, RaisesForElementsWithoutForm) {
  auto model = make<CodingEverything>();
  model->list = NSArray{make<CodingPlain>()};
  NSError error;
  EXPECT_FALSE(NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(model, false, &error));
  EXPECT_EQ(reasonOf(error), "4866: -[CodingPlain encodeWithCoder:]: unrecognized selector sent to instance");
}

TEST(ModelCoding, ComesBackAsItsJSONSays) {
  const NSString json =
      "{\"name\":\"root\",\"children\":[{\"name\":\"a\",\"children\":[]},{\"name\":\"b\",\"next\":{\"name\":\"c\"}}]}";
  const auto model = kvt_modelWithJSON<CodingNode>(json);
  const auto back = unarchive<CodingNode>(archive(model));
  EXPECT_EQ(kvt_modelToJSONString(back), json);
}

TEST(ModelCoding, WorksInConcurrentThreads) {
  const auto model =
      kvt_modelWithJSON<CodingNode>("{\"name\":\"root\",\"children\":[{\"name\":\"a\"},{\"name\":\"b\"}]}");
  const NSData expected = archive(model);
  std::atomic<int> good{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 50; ++round) {
        if (i == 0) objc_noteRuntimeChange();  // every plan is out of date then
        const NSData data = archive(model);
        if (data == expected && unarchive<CodingNode>(data)->children.count() == 2) ++good;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(good, 200);
}

}  // namespace
}  // namespace kvt
