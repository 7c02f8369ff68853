// Deep copies and readable descriptions, of arrays and dictionaries alike.
#include <KVTFoundation/Category/SharedOperations.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSSet.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

namespace kvt {
namespace {

NSMutableString mutableText(const char* text) { return NSString(text).mutableCopy(); }

class SharedUncopied : public NSObject {
 public:
  KVT_CLASS(SharedUncopied)
};
class SharedCopied : public NSObject {
 public:
  int generation = 0;
  id copyWithZone() const {
    auto copy = make<SharedCopied>();
    copy->generation = generation + 1;
    return copy;
  }
  KVT_CLASS(SharedCopied, generation)
};
/// Answers nothing as its copy.
class SharedVanishing : public NSObject {
 public:
  id copyWithZone() const { return nullptr; }
  id mutableCopyWithZone() const { return nullptr; }
  KVT_CLASS(SharedVanishing)
};
/// Says itself what a deep copy of it is.
class SharedDeep : public NSObject {
 public:
  id deep() const { return "deep"_ns; }
  id mutableDeep() const { return "mutable deep"_ns; }
  id copyWithZone() const { return "shallow"_ns; }
  static void kvtDescribe(ClassBuilder<SharedDeep>& c) {
    c.method<&SharedDeep::deep>("kvt_deepCopy").method<&SharedDeep::mutableDeep>("kvt_mutableDeepCopy");
  }
  KVT_CLASS(SharedDeep)
};

TEST(DeepCopy, WhatBecomesOfAnElement) {
  enum Outcome { kSame, kEqualImmutable, kEqualMutable };
  const struct {
    const char* what;
    id element;
    Outcome deep, mutableDeep;
  } rows[] = {
      {"text", NSString("x"), kSame, kEqualMutable},
      {"mutable text", mutableText("x"), kEqualImmutable, kEqualMutable},
      {"a number", NSNumber(1000000), kSame, kSame},
      {"null", NSNull::null(), kSame, kSame},
      {"data", NSData(std::string_view("x")), kSame, kEqualMutable},
      {"an array", NSArray{1, "x"}, kEqualImmutable, kEqualMutable},
      {"a mutable array", NSMutableArray{1, mutableText("x")}, kEqualImmutable, kEqualMutable},
      {"a dictionary", NSDictionary{{"k", NSArray{1}}}, kEqualImmutable, kEqualMutable},
      {"a set", NSSet{1}, kSame, kEqualMutable},
      {"an object that cannot be copied", make<SharedUncopied>(), kSame, kSame},
      {"an object whose copy is nil", make<SharedVanishing>(), kSame, kSame},
      {"a class", classOf<NSArray>(), kSame, kSame},
  };
  const auto isMutable = [](const id& object) {
    return object.is<NSMutableArray>() || object.is<NSMutableDictionary>() || object.is<NSMutableString>() ||
           object.is<NSMutableSet>() || object.is<NSMutableData>();
  };
  const auto check = [&](const id& element, const id& copied, Outcome outcome) {
    if (outcome == kSame) {
      EXPECT_TRUE(isIdentical(copied, element));
      return;
    }
    EXPECT_EQ(copied, element);
    EXPECT_EQ(isMutable(copied), outcome == kEqualMutable);
    if (isMutable(element)) {
      EXPECT_FALSE(isIdentical(copied, element));
    }
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (const NSArray& array : {NSArray{row.element}, NSArray(NSMutableArray{row.element})}) {
      check(row.element, kvt_deepCopy(array).firstObject(), row.deep);
      check(row.element, kvt_mutableDeepCopy(array).firstObject(), row.mutableDeep);
    }
    const NSDictionary dictionary = {{"k", row.element}};
    for (const NSDictionary& each : {dictionary, NSDictionary(dictionary.mutableCopy())}) {
      check(row.element, kvt_deepCopy(each)["k"], row.deep);
      check(row.element, kvt_mutableDeepCopy(each)["k"], row.mutableDeep);
    }
  }
}

TEST(DeepCopy, OfClientsObjects) {
  auto original = make<SharedCopied>();
  const NSArray nested = {NSArray{original}, NSDictionary{{"k", original}}};
  const NSArray deep = kvt_deepCopy(nested), mutableDeep = kvt_mutableDeepCopy(nested);
  for (const NSArray& copy : {deep, mutableDeep}) {
    EXPECT_EQ(copy[0].as<NSArray>()[0].as<SharedCopied>()->generation, 1) << "copied once, and not by mutableCopy";
    EXPECT_EQ(copy[1].as<NSDictionary>()["k"].as<SharedCopied>()->generation, 1);
  }
  EXPECT_EQ(kvt_deepCopy(NSArray{make<SharedDeep>()}), NSArray{"deep"});
  EXPECT_EQ(kvt_mutableDeepCopy(NSArray{make<SharedDeep>()}), NSArray{"mutable deep"});
  EXPECT_EQ(kvt_deepCopy(NSDictionary{{"k", make<SharedDeep>()}}), (NSDictionary{{"k", "deep"}}));
  EXPECT_EQ(kvt_deepCopy(static_cast<const id&>(make<SharedDeep>())), NSString("deep")) << "it answers the message";
}

TEST(DeepCopy, KeysAreSharedAndKeepTheirOrder) {
  const NSString key = std::string(40, 'k');
  NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  dictionary.setObject_forKey(NSMutableArray{1}, key);
  for (const char* each : {"z", "a", "m"}) dictionary.setObject_forKey(mutableText(each), each);
  dictionary.setObject_forKey("number", 7);
  const NSArray keys = dictionary.allKeys();
  for (const NSDictionary& copy : {kvt_deepCopy(dictionary), NSDictionary(kvt_mutableDeepCopy(dictionary))}) {
    EXPECT_EQ(copy, dictionary);
    EXPECT_EQ(copy.allKeys(), keys);
    EXPECT_TRUE(isIdentical(copy.allKeys()[0], keys[0]));
  }
}

TEST(DeepCopy, TheCopyIsIndependent) {
  const NSMutableArray inner = {1};
  const NSMutableString text = mutableText("before");
  const NSMutableDictionary original = {{"inner", inner}, {"text", text}, {"list", NSArray{inner, text}}};
  const NSDictionary deep = kvt_deepCopy(original);
  const NSMutableDictionary mutableDeep = kvt_mutableDeepCopy(original);
  const NSDictionary before = {{"inner", NSArray{1}}, {"text", "before"}, {"list", NSArray{NSArray{1}, "before"}}};
  inner.addObject(2);
  text.setString("after");
  original.removeObjectForKey("list");
  EXPECT_EQ(deep, before);
  EXPECT_EQ(mutableDeep, before);
  // And nothing of a mutable one is fixed.
  mutableDeep["inner"].as<NSMutableArray>().addObject(3);
  mutableDeep["list"].as<NSMutableArray>()[0].as<NSMutableArray>().removeAllObjects();
  mutableDeep["text"].as<NSMutableString>().setString("x");
  EXPECT_EQ(mutableDeep,
            (NSDictionary{{"inner", NSArray{1, 3}}, {"text", "x"}, {"list", NSArray{NSArray::array(), "before"}}}));
  EXPECT_EQ(deep, before);
  EXPECT_EQ(inner, (NSArray{1, 2}));
}

TEST(DeepCopy, OfNothing) {
  EXPECT_FALSE(kvt_deepCopy(NSArray()));
  EXPECT_FALSE(kvt_mutableDeepCopy(NSDictionary()));
  for (const id& other : {id(), id(NSNumber(1)), id(NSString("x")), id(NSNull::null()), id(NSSet{1}),
                          id(make<SharedUncopied>()), id(classOf<NSArray>())}) {
    SCOPED_TRACE(::testing::PrintToString(other));
    EXPECT_FALSE(kvt_deepCopy(other));
    EXPECT_FALSE(kvt_mutableDeepCopy(other));
  }
  EXPECT_EQ(kvt_deepCopy(NSArray::array()), NSArray::array());
  EXPECT_TRUE(kvt_mutableDeepCopy(NSArray::array()).is<NSMutableArray>());
  EXPECT_EQ(kvt_deepCopy(NSDictionary::dictionary()), NSDictionary::dictionary());
  EXPECT_TRUE(kvt_mutableDeepCopy(NSDictionary::dictionary()).is<NSMutableDictionary>());
  EXPECT_FALSE(kvt_deepCopy(NSArray(NSMutableArray{1})).is<NSMutableArray>());
  EXPECT_FALSE(kvt_deepCopy(NSDictionary(NSMutableDictionary{{"a", 1}})).is<NSMutableDictionary>());
}

TEST(DeepCopy, OfAnyDepth) {
  constexpr int kDepth = 10000;
  id nested = mutableText("core");
  for (int i = 0; i < kDepth; ++i) {
    nested = i % 2 == 0 ? id(NSMutableArray{nested}) : id(NSMutableDictionary{{"k", nested}});
  }
  const auto inner = [](const id& level) {
    if (const NSArray array = level.as<NSArray>()) return array.firstObject();
    return level.as<NSDictionary>()["k"];
  };
  for (const id& copy : {kvt_deepCopy(nested), kvt_mutableDeepCopy(nested)}) {
    id level = copy, original = nested;
    int depth = 0;
    for (; level.is<NSArray>() || level.is<NSDictionary>(); level = inner(level), original = inner(original)) {
      ASSERT_FALSE(isIdentical(level, original));
      ++depth;
    }
    EXPECT_EQ(depth, kDepth);
    EXPECT_EQ(level, NSString("core"));
  }
}

TEST(DeepCopy, OfWhatContainsItself) {
  const NSMutableArray list = {1};
  const NSMutableDictionary dictionary = {{"list", list}};
  list.addObject(dictionary);
  list.addObject(list);
  const NSArray copy = kvt_deepCopy(list);
  ASSERT_EQ(copy.count(), 3u);
  EXPECT_FALSE(isIdentical(copy, list));
  EXPECT_FALSE(isIdentical(copy[1], dictionary));
  EXPECT_TRUE(isIdentical(copy[1].as<NSDictionary>()["list"], list)) << "shared where it contains itself";
  EXPECT_TRUE(isIdentical(copy[2], list));
  const NSMutableArray mutableCopy = kvt_mutableDeepCopy(list);
  EXPECT_TRUE(isIdentical(mutableCopy[2], list));
  list.removeAllObjects();
  // What stands twice, and not within itself, is copied twice.
  const NSMutableArray shared = {1};
  const NSArray twice = kvt_deepCopy(NSArray{shared, shared});
  EXPECT_EQ(twice, (NSArray{NSArray{1}, NSArray{1}}));
  EXPECT_FALSE(isIdentical(twice[0], shared));
  EXPECT_FALSE(isIdentical(twice[1], shared));
}

Object* replacedDeepCopy(Object*, SEL) { return NSString("replaced").detach(); }

TEST(DeepCopy, AReplacedOperationIsMet) {
  const Method method = class_getInstanceMethod(classOf<NSDictionary>(), "kvt_deepCopy");
  const NSArray nested = {NSDictionary{{"a", NSMutableArray{1}}}, NSMutableArray{2}};
  const IMP original = method_setImplementation(method, reinterpret_cast<IMP>(&replacedDeepCopy));
  const NSArray copy = kvt_deepCopy(nested);
  method_setImplementation(method, original);
  EXPECT_EQ(copy, (NSArray{"replaced", NSArray{2}}));
  EXPECT_EQ(kvt_deepCopy(nested), nested);
}

TEST(DeepCopy, RandomNestingsAreEqual) {
  std::mt19937 random(5);
  const auto make = [&](const auto& self, int depth) -> id {
    const auto kind = random() % (depth > 4 ? 3 : 6);
    if (kind == 0) return NSNumber(static_cast<int>(random() % 5));
    if (kind == 1) return mutableText("text");
    if (kind == 2) return NSNull::null();
    const auto count = random() % 5;
    if (kind < 5) {
      const NSMutableArray list = NSMutableArray::array();
      for (unsigned i = 0; i < count; ++i) list.addObject(self(self, depth + 1));
      return random() % 2 == 0 ? id(list) : id(list.copy());
    }
    const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
    for (unsigned i = 0; i < count; ++i) dictionary.setObject_forKey(self(self, depth + 1), random() % 3);
    return dictionary;
  };
  const auto isImmutable = [](const auto& self, const id& object) -> bool {
    if (object.is<NSMutableArray>() || object.is<NSMutableDictionary>() || object.is<NSMutableString>()) return false;
    for (const id& each : object.as<NSArray>()) {
      if (!self(self, each)) return false;
    }
    for (const auto& [key, value] : object.as<NSDictionary>()) {
      if (!self(self, value)) return false;
    }
    return true;
  };
  for (int round = 0; round < 200; ++round) {
    const id nested = NSMutableArray{make(make, 0), make(make, 0)};
    const id deep = kvt_deepCopy(nested);
    ASSERT_EQ(deep, nested);
    ASSERT_TRUE(isImmutable(isImmutable, deep));
    ASSERT_EQ(kvt_mutableDeepCopy(deep), nested);
  }
}

// ---- readable descriptions -----------------------------------------------------------------------------------------

TEST(ReadableDescription, EscapesBecomeCharacters) {
  const struct {
    id receiver;
    NSString expected;
  } rows[] = {
      {NSArray{"会议", 1}, "(\n    \"会议\",\n    1\n)"},
      {NSMutableArray{"😀"}, "(\n    \"😀\"\n)"},
      {NSDictionary{{"名", "Zoë"}}, "{\n    \"名\" = \"Zoë\";\n}"},
      {NSArray{NSArray{"é"}}, "(\n        (\n        \"é\"\n    )\n)"},
      {NSArray{"a\\b"}, "(\n    \"a\\b\"\n)"},
      {NSArray{"\\U4f1a"}, "(\n    \"\\U4f1a\"\n)"},
      {NSArray::array(), "(\n)"},
      {NSDictionary::dictionary(), "{\n}"},
      {NSArray{std::u16string{u'x', 0xD83D}}, NSString(u"(\n    \"x\xD83D\"\n)")},
      // The platform's escapes of these stand for nothing in the encoding.
      {NSArray{"say \"hi\""}, nullptr},
      {NSArray{"two\nlines"}, nullptr},
      {NSDictionary{{"k", "tab\t"}}, nullptr},
      // No such operation.
      {nullptr, nullptr},
      {NSString("会议"), nullptr},
      {NSSet{"会议"}, nullptr},
      {NSNull::null(), nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.receiver));
    EXPECT_EQ(__description(row.receiver), row.expected);
  }
}

/// Exchanges the two for as long as it lives.
class Exchange {
 public:
  explicit Exchange(Class cls) : cls_(cls) { exchange(); }
  ~Exchange() { exchange(); }

 private:
  void exchange() {
    method_exchangeImplementations(class_getInstanceMethod(cls_, "description"),
                                   class_getInstanceMethod(cls_, "__description"));
  }
  Class cls_;
};

TEST(ReadableDescription, ExchangedWithThePlatformsOwn) {
  const NSArray list = {"会议", NSDictionary{{"k", "é"}}};
  const NSString escaped = list.description();
  const NSString readable = __description(list);
  ASSERT_NE(escaped, readable);
  const NSDictionary dictionary = {{"k", "é"}};
  {
    const Exchange arrays(classOf<NSArray>());
    EXPECT_EQ(list.description(), readable);
    EXPECT_EQ(list.mutableCopy().description(), readable) << "subclasses inherit it";
    EXPECT_EQ(NSString::stringWithFormat("%@", list), readable);
    EXPECT_EQ(__description(list), escaped) << "the platform's own, by that name";
    EXPECT_FALSE((NSArray{"say \"hi\""}.description()));
    EXPECT_EQ(dictionary.description(), "{\n    k = \"\\U00e9\";\n}") << "the other class is as it was";
    const Exchange dictionaries(classOf<NSDictionary>());
    EXPECT_EQ(dictionary.description(), "{\n    k = \"é\";\n}");
  }
  EXPECT_EQ(list.description(), escaped);
  EXPECT_EQ(__description(list), readable);
}

TEST(ReadableDescription, PutInPlaceOfItsSourceItIsNil) {
  const Method description = class_getInstanceMethod(classOf<NSArray>(), "description");
  const IMP readable = class_getMethodImplementation(classOf<NSArray>(), "__description");
  const IMP original = method_setImplementation(description, readable);
  const NSString text = __description(NSArray{1});
  method_setImplementation(description, original);
  EXPECT_FALSE(text);
}

Object* wideDescription(Object*, SEL) { return NSString("会").detach(); }
Object* brokenDescription(Object*, SEL) { return NSString(u"\xD800").detach(); }
Object* noDescription(Object*, SEL) { return nullptr; }

TEST(ReadableDescription, OfTextThatIsNotEscaped) {
  const Method description = class_getInstanceMethod(classOf<NSArray>(), "description");
  for (auto* replacement : {&wideDescription, &brokenDescription, &noDescription}) {
    const IMP original = method_setImplementation(description, reinterpret_cast<IMP>(replacement));
    const NSString text = __description(NSArray{1});
    method_setImplementation(description, original);
    EXPECT_FALSE(text);
  }
}

}  // namespace
}  // namespace kvt
