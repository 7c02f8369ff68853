// Copies, hashes and equality of models by their properties.
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSValue.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include "ModelValueTest.h"

namespace kvt {
namespace {

using valuetest::describedEquality;
using valuetest::replacedTitle;
using valuetest::ValueEveryType;
using valuetest::ValuePlain;

/// A model that does as its documentation says.
class ValueTrack : public NSObject {
 public:
  NSString title;
  double seconds = 0;
  NSArray tags;
  Ref<ValueTrack> next;
  id copyWithZone() const { return kvt_modelCopy(this); }
  std::uint64_t hash() const { return kvt_modelHash(this); }
  bool isEqual(const id& other) const { return kvt_modelIsEqual(this, other); }
  KVT_MODEL(ValueTrack, title, seconds, tags, next)
};
class ValueLiveTrack : public ValueTrack {
 public:
  KVT_MODEL(ValueLiveTrack)
};
class ValuePointer : public NSObject {
 public:
  void* pointer = nullptr;
  std::uint64_t hash() const { return kvt_modelHash(this); }
  KVT_MODEL(ValuePointer, pointer)
};
class ValueNothing : public NSObject {
 public:
  KVT_MODEL(ValueNothing)
};

const Ref<ValuePlain>& heldByTests() {
  static const Ref<ValuePlain> held = make<ValuePlain>();
  return held;
}

Ref<ValueEveryType> filled() {
  auto model = make<ValueEveryType>();
  model->aBool = true;
  model->anInt8 = INT8_MIN;
  model->aUInt8 = UINT8_MAX;
  model->anInt16 = INT16_MIN;
  model->aUInt16 = UINT16_MAX;
  model->anInt32 = INT32_MIN;
  model->aUInt32 = UINT32_MAX;
  model->anInt64 = INT64_MIN;
  model->aUInt64 = UINT64_MAX;
  model->aFloat = 1.1f;
  model->aDouble = 1.1;
  model->aLongDouble = 1.1L;
  model->text = "text";
  model->list = {1};
  model->model = heldByTests();
  model->weak = heldByTests();
  model->anything = NSNull::null();
  model->cls = classOf<NSDate>();
  model->selector = "act:";
  static const Block<int()> block = [] { return 42; };
  model->block = block;
  model->pointer = model.object();
  model->cString = "literal";
  model->rect = {{1, 2}, {3, 4}};
  model->either.ratio = 0.25;
  model->array[0] = 7;
  return model;
}

// ---- copies --------------------------------------------------------------------------------------------------------

TEST(ModelCopy, OfEveryType) {
  const auto from = filled();
  const Ref<ValueEveryType> to = kvt_modelCopy(from);
  ASSERT_TRUE(to);
  EXPECT_FALSE(isIdentical(to, from));
  EXPECT_TRUE(to->aBool);
  EXPECT_EQ(to->anInt8, INT8_MIN);
  EXPECT_EQ(to->aUInt8, UINT8_MAX);
  EXPECT_EQ(to->anInt16, INT16_MIN);
  EXPECT_EQ(to->aUInt16, UINT16_MAX);
  EXPECT_EQ(to->anInt32, INT32_MIN);
  EXPECT_EQ(to->aUInt32, UINT32_MAX);
  EXPECT_EQ(to->anInt64, INT64_MIN);
  EXPECT_EQ(to->aUInt64, UINT64_MAX);
  EXPECT_EQ(to->aFloat, 1.1f);
  EXPECT_EQ(to->aDouble, 1.1);
  EXPECT_EQ(to->aLongDouble, 1.1L);
  EXPECT_EQ(to->text, "text");
  EXPECT_TRUE(isIdentical(to->list, from->list)) << "shared, not copied";
  EXPECT_TRUE(isIdentical(to->model, from->model));
  EXPECT_TRUE(isIdentical(to->weak.lock(), heldByTests()));
  EXPECT_TRUE(isIdentical(to->anything, NSNull::null()));
  EXPECT_EQ(to->cls, classOf<NSDate>());
  EXPECT_EQ(to->selector, SEL("act:"));
  EXPECT_EQ(to->block(), 42);
  EXPECT_EQ(to->pointer, from->pointer);
  EXPECT_EQ(to->cString, from->cString);
  EXPECT_EQ(to->rect, (CGRect{{1, 2}, {3, 4}}));
  EXPECT_EQ(to->either.ratio, 0.25);
  EXPECT_EQ(to->array[0], 0) << "other types are left out";
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(from, "kvt_modelCopy").class_() ? to->text : NSString(), to->text));
  EXPECT_EQ(objc_msgSend<id>(from, "kvt_modelCopy"), id(from));
}

TEST(ModelCopy, CountsReferences) {
  const NSArray tags = {std::string(100, 'x')};
  auto track = make<ValueTrack>();
  track->title = std::string(100, 't');
  track->tags = tags;
  const auto count = [&] { return ObjectAccess::retainCount(tags.object()); };
  const auto before = count();
  {
    const auto copy = kvt_modelCopy(track);
    EXPECT_EQ(count(), before + 1);
    EXPECT_EQ(ObjectAccess::retainCount(copy.object()), 1);
    EXPECT_TRUE(isIdentical(copy->title, track->title)) << "an immutable text is its own copy";
  }
  EXPECT_EQ(count(), before);
  const NSMutableString mutableText = NSString("before").mutableCopy();
  track->title = mutableText;
  const auto copy = kvt_modelCopy(track);
  mutableText.setString("after");
  EXPECT_EQ(copy->title, "before") << "the property copies";
  EXPECT_EQ(track->title, "after");
}

/// Not everything is nil at first.
class ValueDefaults : public NSObject {
 public:
  NSString name = "default";
  NSArray list = {1, 2};
  int number = 7;
  KVT_MODEL(ValueDefaults, name, list, number)
};

TEST(ModelCopy, OverADefaultValue) {
  auto model = make<ValueDefaults>();
  model->name = nullptr;
  model->list = nullptr;
  model->number = 0;
  const auto copy = kvt_modelCopy(model);
  EXPECT_FALSE(copy->name);
  EXPECT_FALSE(copy->list);
  EXPECT_EQ(copy->number, 0);
}

class ValueWithoutDefault : public NSObject {
 public:
  explicit ValueWithoutDefault(int given) : number(given) {}
  int number;
  KVT_MODEL(ValueWithoutDefault, number)
};
class ValueExcluding : public NSObject {
 public:
  NSString kept, dropped, unmapped;
  static NSArray modelPropertyBlacklist() { return {"dropped"}; }
  static NSDictionary modelCustomPropertyMapper() { return {{"unmapped", ""}}; }
  std::uint64_t hash() const { return 1; }
  KVT_MODEL(ValueExcluding, kept, dropped, unmapped)
};

TEST(ModelCopy, OfWhatIsNoModel) {
  const NSMutableArray list = {1};
  const struct {
    const char* what;
    id receiver;
    bool isShared;
  } rows[] = {
      {"text", NSString("x"), true},
      {"a number", NSNumber(1000000), true},
      {"an array", NSArray{1}, true},
      {"a mutable array", list, false},
      {"mutable text", NSString("x").mutableCopy(), false},
      {"a mutable dictionary", NSMutableDictionary{{"a", 1}}, false},
      {"a date", NSDate::date(), true},
      {"a URL", NSURL::URLWithString("http://example.org"), true},
      {"null", NSNull::null(), true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const id copy = kvt_modelCopy(row.receiver);
    EXPECT_EQ(copy, row.receiver);
    EXPECT_EQ(isIdentical(copy, row.receiver), row.isShared);
    EXPECT_FALSE(copy.is<NSMutableArray>() || copy.is<NSMutableString>() || copy.is<NSMutableDictionary>());
    EXPECT_EQ(kvt_modelHash(row.receiver), row.receiver.hash());
    EXPECT_TRUE(kvt_modelIsEqual(row.receiver, row.receiver));
    EXPECT_FALSE(kvt_modelIsEqual(row.receiver, make<ValuePlain>()));
  }
  EXPECT_FALSE(kvt_modelCopy(id()));
  EXPECT_FALSE(kvt_modelCopy(Ref<ValueTrack>()));
  EXPECT_FALSE(kvt_modelCopy(static_cast<const NSObject*>(nullptr)));
  EXPECT_FALSE(kvt_modelCopy(make<ValueWithoutDefault>(3))) << "nobody can create one";
  EXPECT_FALSE(kvt_modelCopy(id(classOf<ValuePlain>()))) << "a class has no instance of its class";
  EXPECT_TRUE(kvt_modelCopy(make<ValueNothing>()));
}

TEST(ModelCopy, OfWhatTheMappingKnows) {
  auto model = make<ValueExcluding>();
  model->kept = "kept";
  model->dropped = "dropped";
  model->unmapped = "unmapped";
  const auto copy = kvt_modelCopy(model);
  EXPECT_EQ(copy->kept, "kept");
  EXPECT_FALSE(copy->dropped) << "an excluded property is none";
  EXPECT_EQ(copy->unmapped, "unmapped") << "one without a key is one";
  EXPECT_TRUE(kvt_modelIsEqual(model, copy)) << "and so for equality";
  copy->unmapped = "other";
  EXPECT_FALSE(kvt_modelIsEqual(model, copy));
}

TEST(ModelCopy, OfASubclass) {
  auto live = make<ValueLiveTrack>();
  live->title = "t";
  const Ref<ValueTrack> asTrack = live;
  const auto copy = kvt_modelCopy(asTrack);
  EXPECT_EQ(copy.class_(), classOf<ValueLiveTrack>());
  EXPECT_EQ(copy->title, "t") << "inherited properties too";
  EXPECT_EQ(id(live).copy(), id(live)) << "and by its own copy operation";
}

// ---- accessors -----------------------------------------------------------------------------------------------------

class ValueOwnAccessors : public NSObject {
 public:
  static inline int gets = 0, sets = 0;
  int plain = 0;
  int half() const {
    ++gets;
    return half_;
  }
  void setHalf(int value) {
    ++sets;
    half_ = value * 2;
  }
  static void kvtDescribe(ClassBuilder<ValueOwnAccessors>& c) {
    c.property<&ValueOwnAccessors::half_>("half");
    c.method<&ValueOwnAccessors::half>("half").method<&ValueOwnAccessors::setHalf>("setHalf:");
  }
  KVT_MODEL(ValueOwnAccessors, plain)

 private:
  int half_ = 0;
};

TEST(ModelValue, AClassesOwnAccessorsAreCalled) {
  auto model = make<ValueOwnAccessors>();
  model->setHalf(2);
  model->plain = 3;
  ValueOwnAccessors::gets = ValueOwnAccessors::sets = 0;
  const auto copy = kvt_modelCopy(model);
  EXPECT_EQ(copy->half(), 8) << "read as 4, set as 8";
  EXPECT_EQ(copy->plain, 3);
  EXPECT_EQ(ValueOwnAccessors::sets, 1);
  EXPECT_EQ(kvt_modelHash(model), NSNumber(4).hash() ^ NSNumber(3).hash());
}

TEST(ModelValue, AReplacedAccessorIsCalled) {
  auto a = make<ValueTrack>(), b = make<ValueTrack>();
  a->title = "a";
  b->title = "b";
  ASSERT_NE(kvt_modelHash(a), kvt_modelHash(b));
  ASSERT_FALSE(kvt_modelIsEqual(a, b));
  const Method getter = class_getInstanceMethod(classOf<ValueTrack>(), "title");
  const IMP original = method_setImplementation(getter, reinterpret_cast<IMP>(&replacedTitle));
  const auto hash = kvt_modelHash(a);
  const bool isEqual = kvt_modelIsEqual(a, b);
  const auto copy = kvt_modelCopy(a);
  method_setImplementation(getter, original);
  EXPECT_EQ(hash, NSString("replaced").hash() ^ NSNumber(0.0).hash());
  EXPECT_TRUE(isEqual);
  EXPECT_EQ(copy->title, "replaced");
  EXPECT_EQ(kvt_modelCopy(a)->title, "a") << "and the original one when it is back";
  EXPECT_FALSE(kvt_modelIsEqual(a, b));
}

class ValueKeyed : public NSObject {
 public:
  int a = 1, b = 2, c = 4;
  bool loud_ = true;
  int getB() const { return 20; }
  static void kvtDescribe(ClassBuilder<ValueKeyed>& builder) {
    builder.method<&ValueKeyed::getB>("getB");
    builder.property<&ValueKeyed::loud_>("loud", {.getter = "isLoud"});
  }
  KVT_MODEL(ValueKeyed, a, b, c)
};
class ValueOfKeys : public NSObject {
 public:
  int a = 1;
  id valueForKey(const NSString& key) const { return key + "!"_ns; }
  static void kvtDescribe(ClassBuilder<ValueOfKeys>& c) { c.method<&ValueOfKeys::valueForKey>("valueForKey:"); }
  KVT_MODEL(ValueOfKeys, a)
};

TEST(ModelValue, KeyValueAccessIsWhatCounts) {
  const auto number = [](int value) { return NSNumber(value).hash(); };
  EXPECT_EQ(kvt_modelHash(make<ValueKeyed>()), number(1) ^ number(20) ^ number(4) ^ NSNumber(true).hash())
      << "getB stands before b";
  EXPECT_EQ(kvt_modelHash(make<ValueOfKeys>()), NSString("a!").hash());
  auto a = make<ValueOfKeys>();
  a->a = 9;
  EXPECT_EQ(kvt_modelCopy(a)->a, 9) << "a copy goes by the accessors";
}

class ValueRectSetter : public NSObject {
 public:
  CGSize size;
  static inline int sets = 0;
  void setValue(const id& value, const NSString& key) {
    ++sets;
    objc_msgSendSuper(this, classOf<ValueRectSetter>(), "setValue:forKey:", value, key);
  }
  static void kvtDescribe(ClassBuilder<ValueRectSetter>& c) {
    c.method<&ValueRectSetter::setValue>("setValue:forKey:");
  }
  KVT_MODEL(ValueRectSetter, size)
};

TEST(ModelValue, StructsGoByKeyValueAccess) {
  auto model = make<ValueRectSetter>();
  model->size = {3, 4};
  EXPECT_EQ(kvt_modelCopy(model)->size, (CGSize{3, 4}));
  EXPECT_EQ(ValueRectSetter::sets, 1);
}

// ---- hashes --------------------------------------------------------------------------------------------------------

TEST(ModelHash, IsThatOfTheBoxedValues) {
  auto track = make<ValueTrack>();
  EXPECT_EQ(kvt_modelHash(track), NSNumber(0.0).hash()) << "nil counts as 0";
  track->title = "t";
  track->seconds = 1.5;
  track->tags = {1, 2};
  track->next = make<ValueTrack>();
  track->next->seconds = 7;
  const auto expected = NSString("t").hash() ^ NSNumber(1.5).hash() ^ NSArray { 1, 2 }.hash() ^ NSNumber(7).hash();
  EXPECT_EQ(kvt_modelHash(track), expected);
  EXPECT_EQ(kvt_modelHash(track.get()), expected);
  EXPECT_EQ(track.hash(), expected);
  EXPECT_EQ(objc_msgSend<std::uint64_t>(track, "kvt_modelHash"), expected);
  EXPECT_EQ(kvt_modelHash(id()), 0u);
  EXPECT_EQ(kvt_modelHash(static_cast<const NSObject*>(nullptr)), 0u);
}

TEST(ModelHash, WithoutPropertiesThatCount) {
  for (const id& object : {id(make<ValuePointer>()), id(make<ValueNothing>()), id(classOf<ValueTrack>())}) {
    EXPECT_EQ(kvt_modelHash(object), reinterpret_cast<std::uintptr_t>(object.object()));
  }
}

// ---- equality ------------------------------------------------------------------------------------------------------

TEST(ModelIsEqual, DifferencesInOneProperty) {
  const auto same = [](ValueEveryType&) {};
  const struct {
    const char* what;
    void (*change)(ValueEveryType&);
    bool equal;
  } rows[] = {
      {"nothing", same, true},
      {"bool", [](ValueEveryType& m) { m.aBool = false; }, false},
      {"int8", [](ValueEveryType& m) { m.anInt8 = 0; }, false},
      {"uint8", [](ValueEveryType& m) { m.aUInt8 = 0; }, false},
      {"int16", [](ValueEveryType& m) { m.anInt16 = 0; }, false},
      {"uint16", [](ValueEveryType& m) { m.aUInt16 = 0; }, false},
      {"int32", [](ValueEveryType& m) { m.anInt32 = 0; }, false},
      {"uint32", [](ValueEveryType& m) { m.aUInt32 = 0; }, false},
      {"int64", [](ValueEveryType& m) { m.anInt64 = 0; }, false},
      {"uint64", [](ValueEveryType& m) { m.aUInt64 = 0; }, false},
      {"float", [](ValueEveryType& m) { m.aFloat = 0; }, false},
      {"double", [](ValueEveryType& m) { m.aDouble = 0; }, false},
      {"long double does not count", [](ValueEveryType& m) { m.aLongDouble = 0; }, true},
      {"text", [](ValueEveryType& m) { m.text = "other"; }, false},
      {"no text", [](ValueEveryType& m) { m.text = nullptr; }, false},
      {"equal text", [](ValueEveryType& m) { m.text = NSString("text").mutableCopy(); }, true},
      {"list", [](ValueEveryType& m) { m.list = {2}; }, false},
      {"equal list", [](ValueEveryType& m) { m.list = {1}; }, true},
      {"model", [](ValueEveryType& m) { m.model = make<ValuePlain>(); }, false},
      {"weak", [](ValueEveryType& m) { m.weak = nullptr; }, false},
      {"anything", [](ValueEveryType& m) { m.anything = NSNumber(0); }, false},
      {"no anything", [](ValueEveryType& m) { m.anything = nullptr; }, false},
      {"class", [](ValueEveryType& m) { m.cls = classOf<NSURL>(); }, false},
      {"no class", [](ValueEveryType& m) { m.cls = nullptr; }, false},
      {"selector does not count", [](ValueEveryType& m) { m.selector = "other"; }, true},
      {"block", [](ValueEveryType& m) { m.block = [] { return 1; }; }, false},
      {"pointer does not count", [](ValueEveryType& m) { m.pointer = nullptr; }, true},
      {"C string does not count", [](ValueEveryType& m) { m.cString = nullptr; }, true},
      {"struct", [](ValueEveryType& m) { m.rect.size.width = 9; }, false},
      {"union", [](ValueEveryType& m) { m.either.ratio = 9; }, false},
      {"array does not count", [](ValueEveryType& m) { m.array[0] = 9; }, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    auto a = filled(), b = filled();
    row.change(*b);
    EXPECT_EQ(kvt_modelIsEqual(a, b), row.equal);
    EXPECT_EQ(kvt_modelIsEqual(b, a), row.equal);
    EXPECT_EQ(objc_msgSend<bool>(a, "kvt_modelIsEqual:", b), row.equal);
    EXPECT_EQ(a == b, row.equal);
    EXPECT_EQ(kvt_modelIsEqual(a.get(), b), row.equal);
    EXPECT_EQ(describedEquality(a, b), row.equal);
    EXPECT_EQ(kvt_modelHash(a) == kvt_modelHash(b), row.equal);
  }
}

TEST(ModelIsEqual, NumbersAreComparedAsBoxed) {
  const double kNaN = std::numeric_limits<double>::quiet_NaN();
  const struct {
    double a, b;
    bool equal;
  } rows[] = {{0.0, -0.0, true},
              {kNaN, -kNaN, true},
              {kNaN, 0, false},
              {INFINITY, INFINITY, true},
              {INFINITY, -INFINITY, false},
              {0.1, 0.1, true},
              {1e300, 1e300, true},
              {1, 2, false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.a) + " " + std::to_string(row.b));
    auto a = filled(), b = filled();
    a->aDouble = row.a;
    b->aDouble = row.b;
    a->aFloat = static_cast<float>(row.a);
    b->aFloat = static_cast<float>(row.b);
    EXPECT_EQ(kvt_modelIsEqual(a, b), row.equal);
    EXPECT_EQ(describedEquality(a, b), row.equal);
  }
}

TEST(ModelIsEqual, WhoIsCompared) {
  auto a = make<ValueTrack>(), b = make<ValueTrack>();
  auto derived = make<ValueLiveTrack>();
  EXPECT_TRUE(kvt_modelIsEqual(a, a));
  EXPECT_TRUE(kvt_modelIsEqual(a, b));
  EXPECT_FALSE(kvt_modelIsEqual(a, derived)) << "a subclass is another class";
  EXPECT_FALSE(kvt_modelIsEqual(derived, a));
  EXPECT_FALSE(kvt_modelIsEqual(a, nullptr));
  EXPECT_FALSE(kvt_modelIsEqual(id(), a));
  EXPECT_FALSE(kvt_modelIsEqual(id(), nullptr)) << "a message to nil";
  EXPECT_FALSE(kvt_modelIsEqual(a, NSNull::null()));
  EXPECT_TRUE(kvt_modelIsEqual(NSNull::null(), NSNull::null()));
  EXPECT_TRUE(kvt_modelIsEqual(NSString("x"), NSString("x")));
  EXPECT_FALSE(kvt_modelIsEqual(NSString("x"), NSString("x").mutableCopy())) << "another class";
  EXPECT_TRUE(kvt_modelIsEqual(NSArray{1}, NSArray{1}));
  EXPECT_FALSE(kvt_modelIsEqual(NSArray{1}, NSArray{2}));
  // Of a class that keeps the root class's hash, no two are equal.
  auto plain = make<ValuePlain>(), other = make<ValuePlain>();
  EXPECT_FALSE(kvt_modelIsEqual(plain, other));
  EXPECT_TRUE(kvt_modelIsEqual(plain, plain));
  EXPECT_TRUE(kvt_modelIsEqual(make<ValuePointer>(), id()) == false);
}

class ValueHashes : public NSObject {
 public:
  int number = 0;
  std::uint64_t ownHash = 1;
  std::uint64_t hash() const { return ownHash; }
  static NSArray modelPropertyBlacklist() { return {"ownHash"}; }
  KVT_MODEL(ValueHashes, number)
};

TEST(ModelIsEqual, TheClassesOwnHashCounts) {
  auto a = make<ValueHashes>(), b = make<ValueHashes>();
  EXPECT_TRUE(kvt_modelIsEqual(a, b));
  b->ownHash = 2;
  EXPECT_FALSE(kvt_modelIsEqual(a, b));
  b->ownHash = 1;
  b->number = 1;
  EXPECT_FALSE(kvt_modelIsEqual(a, b));
}

// ---- what contains itself ------------------------------------------------------------------------------------------

Ref<ValueTrack> chainOf(int length, const char* last = "last") {
  auto track = make<ValueTrack>();
  track->title = last;
  for (int i = 1; i < length; ++i) {
    auto before = make<ValueTrack>();
    before->next = track;
    track = before;
  }
  return track;
}

void breakChain(Ref<ValueTrack> track) {
  while (track) track = std::exchange(track->next, nullptr);
}

TEST(ModelIsEqual, AHashThatIsReplacedCounts) {
  auto a = make<ValueEveryType>(), b = make<ValueEveryType>();
  a->text = "x", b->text = "x";
  EXPECT_TRUE(kvt_modelIsEqual(a, b));
  const Method hash = class_getInstanceMethod(classOf<ValueEveryType>(), "hash");
  std::uint64_t (*const address)(Object*, SEL) = [](Object* self, SEL) -> std::uint64_t {
    return reinterpret_cast<std::uintptr_t>(self);
  };
  const IMP before = method_setImplementation(hash, reinterpret_cast<IMP>(address));
  EXPECT_FALSE(kvt_modelIsEqual(a, b));
  EXPECT_TRUE(kvt_modelIsEqual(a, a));
  method_setImplementation(hash, before);
  EXPECT_TRUE(kvt_modelIsEqual(a, b));
}

TEST(ModelValue, ModelsThatContainThemselves) {
  auto a = chainOf(2), b = chainOf(2), c = chainOf(2, "other");
  for (const auto& each : {a, b, c}) each->next->next = each;
  EXPECT_EQ(kvt_modelHash(a), kvt_modelHash(b));
  EXPECT_TRUE(kvt_modelIsEqual(a, b));
  EXPECT_FALSE(kvt_modelIsEqual(a, c));
  const auto of = [](const char* title) { return NSString(title).hash() ^ NSNumber(0.0).hash(); };
  EXPECT_EQ(kvt_modelHash(a), NSNumber(0.0).hash() ^ of("last")) << "each counts once";
  a->next->next = a->next;
  EXPECT_EQ(kvt_modelHash(a->next), of("last"));
  a->next->next = a;
  const auto copy = kvt_modelCopy(a);
  EXPECT_TRUE(isIdentical(copy->next, a->next));
  for (const auto& each : {a, b, c}) breakChain(each);
}

TEST(ModelValue, LongChains) {
  // In time and stack, whatever the length; up to 512 models every difference counts.
  auto a = chainOf(512), b = chainOf(512), c = chainOf(512, "other");
  EXPECT_EQ(kvt_modelHash(a), kvt_modelHash(b));
  EXPECT_TRUE(kvt_modelIsEqual(a, b));
  EXPECT_NE(kvt_modelHash(a), kvt_modelHash(c));
  EXPECT_FALSE(kvt_modelIsEqual(a, c));
  auto longer = chainOf(20000), other = chainOf(20000);
  EXPECT_EQ(kvt_modelHash(longer), kvt_modelHash(other));
  EXPECT_FALSE(kvt_modelIsEqual(longer, other));
  EXPECT_TRUE(kvt_modelIsEqual(longer, longer));
  for (const auto& each : {a, b, c, longer, other}) breakChain(each);
}

}  // namespace
}  // namespace kvt
