#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTypes.h>
#include <KVTPlatform/Values/NSValue.h>
#include <gtest/gtest.h>

#include <string>

namespace kvc_test {
struct Pair {
  int32_t first = 0;
  float second = 0;
  friend bool operator==(const Pair&, const Pair&) = default;
};
union Either {
  int32_t number;
  float real;
};
}  // namespace kvc_test
KVT_STRUCT_ENCODING(kvc_test::Pair, first, second)
KVT_UNION_ENCODING(kvc_test::Either, number, real)

namespace kvt {
namespace {

using kvc_test::Either;
using kvc_test::Pair;

class Every : public NSObject {
 public:
  bool b = true;
  int8_t i8 = -8;
  uint8_t u8 = 8;
  int16_t i16 = -16;
  uint16_t u16 = 16;
  int32_t i32 = -32;
  uint32_t u32 = 32;
  int64_t i64 = -64;
  uint64_t u64 = UINT64_MAX;
  float f = 1.5f;
  double d = 2.5;
  long double ld = 3.5L;
  NSString text = "t";
  Class cls = classOf<NSObject>();
  CGSize size{1, 2};
  Pair pair{3, 4};
  Either either{5};
  int32_t list[3] = {1, 2, 3};
  Ref<Every> other;
  KVT_CLASS(Every, b, i8, u8, i16, u16, i32, u32, i64, u64, f, d, ld, text, cls, size, pair, either, list, other)
};

class Computed : public NSObject {
 public:
  int64_t stored_ = 1;
  Pair position() const { return {static_cast<int32_t>(stored_), 2}; }
  int64_t getTotal() const { return 99; }
  bool isReady() const { return true; }
  void setPosition(Pair pair) { stored_ = pair.first; }
  NSString nothing_needed(int64_t n) const { return std::to_string(n); }
  static void kvtDescribe(ClassBuilder<Computed>& c) {
    c.method<&Computed::position>("position").method<&Computed::setPosition>("setPosition:");
    c.method<&Computed::getTotal>("getTotal").method<&Computed::isReady>("isReady");
    c.method<&Computed::nothing_needed>("nothing:needed:");
    c.property<&Computed::stored_>("_stored", {.dynamic = true});
  }
  KVT_CLASS(Computed)
};

std::string raised(auto&& body) {
  try {
    body();
  } catch (const NSException& exception) {
    return std::string(exception.name());
  }
  return "";
}

TEST(KeyValueCoding, BoxesEveryType) {
  id object = make<Every>();
  struct Row {
    const char* key;
    id value;
    const char* type;
  };
  const Row rows[] = {
      {"b", NSNumber(true), "c"},  {"i8", NSNumber(-8), "c"},   {"u8", NSNumber(8), "C"},
      {"i16", NSNumber(-16), "s"}, {"u16", NSNumber(16), "S"},  {"i32", NSNumber(-32), "i"},
      {"u32", NSNumber(32), "I"},  {"i64", NSNumber(-64), "q"}, {"u64", NSNumber(UINT64_MAX), "Q"},
      {"f", NSNumber(1.5), "f"},   {"d", NSNumber(2.5), "d"},   {"ld", NSNumber(3.5), "d"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.key);
    const id value = object.valueForKey(row.key);
    EXPECT_EQ(value, row.value);
    EXPECT_STREQ(value.as<NSNumber>().objCType(), row.type);
  }
  EXPECT_EQ(object.valueForKey("text"), NSString("t"));
  EXPECT_EQ(object.valueForKey("cls").asClass(), classOf<NSObject>());
  EXPECT_FALSE(object.valueForKey("other"));
  EXPECT_STREQ(object.valueForKey("size").as<NSValue>().objCType(), "{CGSize=dd}");
  EXPECT_STREQ(object.valueForKey("either").as<NSValue>().objCType(), "(Either=if)");
  const NSValue list = object.valueForKey("list").as<NSValue>();
  EXPECT_STREQ(list.objCType(), "[3i]");
  int32_t numbers[3] = {};
  list.getValue(numbers);
  EXPECT_EQ(numbers[2], 3);
}

TEST(KeyValueCoding, SetsEveryType) {
  auto object = make<Every>();
  for (const char* key : {"b", "i8", "u8", "i16", "u16", "i32", "u32", "i64", "u64", "f", "d", "ld"}) {
    SCOPED_TRACE(key);
    object.setValue_forKey(NSNumber(1), key);
    EXPECT_EQ(object.valueForKey(key), NSNumber(1));
    object.setValue_forKey(NSString("0"), key);
    EXPECT_EQ(object.valueForKey(key), NSNumber(0));
    EXPECT_EQ(raised([&] { object.setValue_forKey(nullptr, key); }), "NSInvalidArgumentException");
    EXPECT_EQ(raised([&] { object.setValue_forKey(NSDictionary::dictionary(), key); }), "NSInvalidArgumentException");
  }
  auto source = make<Every>();
  source->size = {7, 8};
  source->pair = {9, 10};
  source->either.number = 11;
  source->list[1] = 12;
  for (const char* key : {"size", "pair", "either", "list"}) object.setValue_forKey(source.valueForKey(key), key);
  EXPECT_EQ(object->size, (CGSize{7, 8}));
  EXPECT_EQ(object->pair, (Pair{9, 10}));
  EXPECT_EQ(object->either.number, 11);
  EXPECT_EQ(object->list[1], 12);
  EXPECT_EQ(raised([&] { object.setValue_forKey(source.valueForKey("pair"), "size"); }), "NSInvalidArgumentException");
  object.setValue_forKey(NSString("new"), "text");
  EXPECT_EQ(object->text, NSString("new"));
  object.setValue_forKey(nullptr, "text");
  EXPECT_FALSE(object->text);
  object.setValue_forKey(id(classOf<Every>()), "cls");
  EXPECT_EQ(object->cls, classOf<Every>());
}

TEST(KeyValueCoding, FindsAccessorsThenIvars) {
  id object = make<Computed>();
  EXPECT_EQ(object.valueForKey("total"), NSNumber(99));
  EXPECT_EQ(object.valueForKey("ready"), NSNumber(true));
  EXPECT_EQ(object.valueForKey("position").as<NSValue>().get<Pair>(), (Pair{1, 2}));
  object.setValue_forKey(NSValue::of(Pair{5, 6}), "position");
  EXPECT_EQ(object.valueForKey("stored"), NSNumber(5));
  object.setValue_forKey(NSNumber(6), "stored");
  EXPECT_EQ(object.valueForKey("_stored"), NSNumber(6));
}

TEST(KeyValueCoding, UnknownAndNilKeysRaise) {
  id object = make<Every>();
  EXPECT_EQ(raised([&] { object.valueForKey("nope"); }), "NSUnknownKeyException");
  EXPECT_EQ(raised([&] { object.setValue_forKey(NSNumber(1), "nope"); }), "NSUnknownKeyException");
  EXPECT_EQ(raised([&] { object.valueForKey(NSString()); }), "NSInvalidArgumentException");
  EXPECT_EQ(raised([&] { object.setValue_forKey(NSNumber(1), NSString()); }), "NSInvalidArgumentException");
  EXPECT_EQ(raised([&] { object.valueForKey(""); }), "NSUnknownKeyException");
}

TEST(KeyValueCoding, FollowsPaths) {
  auto object = make<Every>();
  object->other = make<Every>();
  object.setValue_forKeyPath(NSString("inner"), "other.text");
  EXPECT_EQ(object->other->text, NSString("inner"));
  EXPECT_EQ(object.valueForKeyPath("other.text"), NSString("inner"));
  EXPECT_EQ(object.valueForKeyPath("text"), NSString("t"));
  EXPECT_FALSE(object.valueForKeyPath("other.other.text"));
  object.setValue_forKeyPath(NSString("x"), "other.other.text");
  EXPECT_EQ(raised([&] { object.valueForKeyPath("other.nope"); }), "NSUnknownKeyException");
}

TEST(KeyValueCoding, DictionariesAnswerByTheirKeys) {
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  id(dictionary).setValue_forKey(NSNumber(1), "a");
  EXPECT_EQ(id(dictionary).valueForKey("a"), NSNumber(1));
  EXPECT_FALSE(id(dictionary).valueForKey("b"));
  id(dictionary).setValue_forKey(nullptr, "a");
  EXPECT_EQ(dictionary.count(), 0u);
}

}  // namespace
}  // namespace kvt
