// The short way of copying, hashing and comparing models against the described way.
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSMutableString.h>

#include <array>
#include <atomic>
#include <cmath>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ModelValueTest.h"

namespace kvt {
namespace {

using modeltest::ClassMaker;
using modeltest::newInstance;
using valuetest::areValuesEqual;
using valuetest::describedEquality;
using valuetest::describedHash;
using valuetest::replacedTitle;
using valuetest::ValueEveryType;
using valuetest::ValuePlain;

/// What a client's code may do while its models are hashed: exchange an accessor.
class ValueMeddler : public NSObject {
 public:
  static inline bool meddles = false;
  std::uint64_t hash() const {
    if (meddles) {
      meddles = false;
      method_setImplementation(class_getInstanceMethod(objc_getClass("ValueMeddled"), "title"),
                               reinterpret_cast<IMP>(&replacedTitle));
    }
    return 5;
  }
  KVT_CLASS(ValueMeddler)
};

TEST(ModelValue, AccessorsThatAreReplacedMeanwhile) {
  ClassMaker maker("ValueMeddled");
  maker.property("meddler", "@").property("title", "@\"NSString\"", "C");
  const id model = newInstance(maker.make());
  objc_msgSend(model, "setMeddler:", make<ValueMeddler>());
  objc_msgSend(model, "setTitle:", NSString("own"));
  ASSERT_EQ(modeltest::allNames(model.class_()), (modeltest::Names{"meddler", "title"}));
  EXPECT_EQ(kvt_modelHash(model), 5 ^ NSString("own").hash());
  ValueMeddler::meddles = true;
  EXPECT_EQ(kvt_modelHash(model), 5 ^ NSString("replaced").hash());
}

/// Replaces its setter while it is made.
class ValueBorn : public NSObject {
 public:
  static inline bool meddles = false;
  int number = 0;
  ValueBorn() {
    if (!std::exchange(meddles, false)) return;
    method_setImplementation(class_getInstanceMethod(objc_getClass("ValueBorn"), "setNumber:"),
                             reinterpret_cast<IMP>(+[](Object* self, SEL, int value) {
                               static_cast<ValueBorn*>(self)->number = value * 2;
                             }));
  }
  KVT_MODEL(ValueBorn, number)
};

TEST(ModelValue, ASetterThatIsReplacedByTheConstructor) {
  auto model = make<ValueBorn>();
  model->number = 4;
  EXPECT_EQ(kvt_modelCopy(model)->number, 4);
  ValueBorn::meddles = true;
  EXPECT_EQ(kvt_modelCopy(model)->number, 8);
}

/// Exchanges the getters of two properties of one type, where there are such, or replaces one.
void exchangeGetters(std::mt19937& random, Class cls, unsigned count) {
  const auto getter = [cls](unsigned i) {
    const std::string name = "p" + std::to_string(i);
    return class_getInstanceMethod(cls, SEL(std::string_view(name)));
  };
  for (unsigned i = 0; i < count; ++i) {
    for (unsigned k = i + 1; k < count; ++k) {
      if (method_copyReturnType(getter(i)) != method_copyReturnType(getter(k))) continue;
      method_exchangeImplementations(getter(i), getter(k));
      return;
    }
  }
  for (unsigned i = 0; i < count; ++i) {
    if (method_copyReturnType(getter(i)) != "d") continue;
    double (*const other)(Object*, SEL) = [](Object*, SEL) { return 3.5; };
    if (random() % 2 == 0) method_setImplementation(getter(i), reinterpret_cast<IMP>(other));
    return;
  }
}

/// A class of random properties without a C++ type.
Class randomClass(std::mt19937& random, int number) {
  static const char* const kTypes[] = {"B",
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
                                       "D",
                                       "@",
                                       "@\"NSString\"",
                                       "@\"NSArray\"",
                                       "#",
                                       ":",
                                       "^v",
                                       "{CGSize=dd}",
                                       "(ValueUnion=id)"};
  ClassMaker maker("ValueRandom" + std::to_string(number));
  const auto count = static_cast<unsigned>(random() % 9);
  for (unsigned i = 0; i < count; ++i) {
    const std::string type = kTypes[random() % std::size(kTypes)];
    const char* attribute = type == "@\"NSString\"" && random() % 2 == 0 ? "C"
                            : type == "@" && random() % 4 == 0           ? "W"
                                                                         : "";
    maker.property("p" + std::to_string(i), type, attribute);
  }
  // Hashes of a class's own, too: one that all share, and the root class's.
  const auto hash = random() % 6;
  if (hash > 1) {
    maker.method(
        "hash", +[](Object* self, SEL) { return kvt_modelHash(id(borrow, self)); }, "Q16@0:8");
  } else if (hash == 1) {
    maker.method(
        "hash", +[](Object*, SEL) -> std::uint64_t { return 7; }, "Q16@0:8");
  }
  maker.method(
      "isEqual:",
      +[](Object* self, SEL, Object* other) { return kvt_modelIsEqual(id(borrow, self), id(borrow, other)); },
      "B24@0:8@16");
  const Class cls = maker.make();
  if (random() % 4 == 0) exchangeGetters(random, cls, count);
  return cls;
}

id randomObject(std::mt19937& random) {
  static const std::array<id, 9> objects = {id(),
                                            NSString("x"),
                                            NSString(std::u16string{0xD800}),
                                            NSNumber(1),
                                            NSNumber(1.5),
                                            NSArray{1, "x"},
                                            NSNull::null(),
                                            NSDate::dateWithTimeIntervalSince1970(5),
                                            make<ValuePlain>()};
  const auto choice = random() % (objects.size() + 2);
  if (choice == objects.size()) return NSMutableArray{static_cast<int>(random() % 2)};
  if (choice == objects.size() + 1) return NSString("x").mutableCopy();
  return objects[choice];
}

/// Few values, so that equal ones are frequent.
void fillRandomly(std::mt19937& random, const id& model) {
  static const double kReals[] = {0.0, -0.0, 1, 1.5, -1, 0.1, NAN, INFINITY, 1e300, 4294967296.0};
  static const std::int64_t kWholes[] = {0, 1, -1, 255, 256, INT32_MIN, INT64_MAX, INT64_MIN};
  for (const id& each : _KVTModelMeta::metaWithClass(model.class_())->allPropertyMetas) {
    const auto meta = each.as<_KVTModelPropertyMeta>();
    const SEL set = meta->setter;
    const double real = kReals[random() % std::size(kReals)];
    switch (meta->valueType()) {
      case KVTEncodingTypeBool: objc_msgSend(model, set, random() % 2 == 0); break;
      case KVTEncodingTypeFloat: objc_msgSend(model, set, static_cast<float>(real)); break;
      case KVTEncodingTypeDouble: objc_msgSend(model, set, real); break;
      case KVTEncodingTypeLongDouble: objc_msgSend(model, set, static_cast<long double>(real)); break;
      case KVTEncodingTypeObject: objc_msgSend(model, set, randomObject(random)); break;
      case KVTEncodingTypeClass: objc_msgSend(model, set, random() % 2 == 0 ? classOf<NSDate>() : Class()); break;
      case KVTEncodingTypeSEL: objc_msgSend(model, set, SEL(random() % 2 == 0 ? "a" : "b")); break;
      case KVTEncodingTypeBlock: {
        static const Block<int()> block = [] { return 1; };
        objc_msgSend(model, set, random() % 2 == 0 ? block : Block<int()>());
        break;
      }
      case KVTEncodingTypeCString: objc_msgSend(model, set, "text"); break;
      case KVTEncodingTypePointer: objc_msgSend(model, set, static_cast<void*>(model.object())); break;
      case KVTEncodingTypeStruct:
        if (meta->info->kvtTypeEncoding() == encodingOf<CGRect>())
          objc_msgSend(model, set, CGRect{{real, 1}, {2, 3}});
        else
          objc_msgSend(model, set, CGSize{real, 1});
        break;
      case KVTEncodingTypeCArray: break;
      case KVTEncodingTypeUnion: {
        ValueUnion value{};
        value.number = static_cast<int>(random() % 3);
        objc_msgSend(model, set, value);
        break;
      }
      default: objc_msgSend(model, set, kWholes[random() % std::size(kWholes)]); break;
    }
  }
}

TEST(ModelValue, ShortWayAgainstDescribedWay) {
  std::mt19937 random(23);
  int equal = 0, unequal = 0;
  for (int number = 0; number < 300; ++number) {
    const Class cls = randomClass(random, number);
    for (int round = 0; round < 20; ++round) {
      const id a = newInstance(cls), b = newInstance(cls);
      fillRandomly(random, a);
      fillRandomly(random, b);
      if (round % 4 == 0) kvt_modelSetWithModel(b, a);
      ASSERT_EQ(kvt_modelHash(a), describedHash(a)) << kvt_modelDescription(a);
      const bool areEqual = describedEquality(a, b);
      ASSERT_EQ(kvt_modelIsEqual(a, b), areEqual) << kvt_modelDescription(a) << kvt_modelDescription(b);
      ++(areEqual ? equal : unequal);
      const id copy = kvt_modelCopy(a), set = newInstance(cls);
      kvt_modelSetWithModel(set, a);
      ASSERT_TRUE(areValuesEqual(copy, set)) << kvt_modelDescription(a);
      ASSERT_EQ(kvt_modelIsEqual(copy, a), describedEquality(copy, a));
    }
  }
  EXPECT_GT(equal, 100);
  EXPECT_GT(unequal, 1000);
}

TEST(ModelValue, ShortWayAgainstDescribedWayOfATypedClass) {
  std::mt19937 random(29);
  for (int round = 0; round < 2000; ++round) {
    auto a = make<ValueEveryType>(), b = make<ValueEveryType>();
    fillRandomly(random, a);
    fillRandomly(random, b);
    if (round % 2 == 0) kvt_modelSetWithModel(b, a);
    ASSERT_EQ(kvt_modelHash(a), describedHash(a));
    ASSERT_EQ(kvt_modelIsEqual(a, b), describedEquality(a, b));
    const auto copy = kvt_modelCopy(a), set = make<ValueEveryType>();
    kvt_modelSetWithModel(set, a);
    ASSERT_TRUE(describedEquality(copy, set)) << kvt_modelDescription(copy) << kvt_modelDescription(set);
    ASSERT_EQ(copy->selector, set->selector);
    ASSERT_EQ(copy->pointer, set->pointer);
  }
}

TEST(ModelValueThreads, ThreadsCopyHashAndCompare) {
  auto model = make<ValueEveryType>();
  model->text = "text";
  model->aDouble = 1.5;
  model->weak = make<ValuePlain>();  // gone at once
  const std::uint64_t expected = kvt_modelHash(model);
  // An accessor that is replaced by itself changes nothing, but makes everybody look again.
  const Method getter = class_getInstanceMethod(classOf<ValueEveryType>(), "text");
  std::atomic<int> mistakes = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 500; ++round) {
        if (i == 0) method_setImplementation(getter, method_getImplementation(getter));
        const auto copy = kvt_modelCopy(model);
        mistakes += kvt_modelHash(copy) != expected;
        mistakes += !kvt_modelIsEqual(model, copy);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mistakes, 0);
}

}  // namespace
}  // namespace kvt
