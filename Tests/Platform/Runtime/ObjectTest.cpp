#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace kvt {
namespace {

std::atomic<int> alive{0};

class Counted : public NSObject {
 public:
  Counted() { ++alive; }
  ~Counted() override { --alive; }
  int value = 7;
  KVT_CLASS(Counted, value)
};

std::int32_t countOf(const Handle& handle) { return ObjectAccess::retainCount(handle.object()); }

TEST(Object, HandlesCount) {
  ASSERT_EQ(alive, 0);
  {
    Ref<Counted> a = make<Counted>();
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(countOf(a), 1);
    id b = a;
    EXPECT_EQ(countOf(a), 2);
    id c = std::move(b);
    EXPECT_FALSE(b);
    EXPECT_EQ(countOf(a), 2);
    c = nullptr;
    EXPECT_EQ(countOf(a), 1);
    a = a;
    EXPECT_EQ(countOf(a), 1);
    Ref<NSObject> base = a;
    EXPECT_EQ(countOf(a), 2);
    EXPECT_TRUE(isIdentical(base, a));
    EXPECT_TRUE(base.as<Counted>());
  }
  EXPECT_EQ(alive, 0);
}

TEST(Object, NilRefRaisesOnArrowAndIsSafeWithGet) {
  Ref<Counted> nil;
  EXPECT_EQ(nil.get(&Counted::value), 0);
  EXPECT_EQ(make<Counted>().get(&Counted::value), 7);
  try {
    nil->value = 1;
    FAIL() << "nothing was raised";
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.reason(), NSString("nil Ref<Counted> dereferenced"));
  }
}

TEST(Object, NilAnswersNothing) {
  const id nil;
  EXPECT_FALSE(nil);
  EXPECT_EQ(nil.hash(), 0u);
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_TRUE(nil == id());
  EXPECT_TRUE(nil == nullptr);
  EXPECT_FALSE(nil.description());
  EXPECT_FALSE(nil.copy());
  EXPECT_FALSE(nil.mutableCopy());
  EXPECT_FALSE(nil.class_());
  EXPECT_FALSE(nil.respondsToSelector("hash"));
  EXPECT_FALSE(nil.isKindOfClass(classOf<NSObject>()));
  EXPECT_FALSE(nil.as<NSString>());
  EXPECT_FALSE(nil.is<NSObject>());
  EXPECT_FALSE(nil.valueForKey("x"));
}

TEST(Object, RootAnswersByIdentity) {
  id a = make<Counted>();
  id b = make<Counted>();
  EXPECT_TRUE(a == a);
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(a == nullptr);
  EXPECT_EQ(a.hash(), a.hash());
  EXPECT_TRUE(a.description().hasPrefix("<Counted: 0x"));
  EXPECT_THROW(a.copy(), NSException);
  EXPECT_TRUE(id(classOf<Counted>()).description() == NSString("Counted"));
  EXPECT_TRUE(isIdentical(id(classOf<Counted>()).copy(), id(classOf<Counted>())));
}

TEST(Weak, BecomesNil) {
  Weak<Counted> weak;
  EXPECT_FALSE(weak.lock());
  {
    auto object = make<Counted>();
    weak = object;
    Weak<Counted> second = weak;
    EXPECT_TRUE(isIdentical(second.lock(), object));
    EXPECT_EQ(countOf(object), 1);
  }
  EXPECT_FALSE(weak.lock());
  EXPECT_EQ(alive, 0);
}

class SelfRegarding : public NSObject {
 public:
  ~SelfRegarding() override {
    // Handles formed during destruction count nothing, and no weak reference can be formed any more.
    Ref<SelfRegarding> self = this;
    Weak<SelfRegarding> weak = self;
    lockedWhileDying = static_cast<bool>(weak.lock());
  }
  static inline bool lockedWhileDying = true;
  KVT_CLASS(SelfRegarding)
};

TEST(Weak, CannotBeFormedWhileDying) {
  make<SelfRegarding>();
  EXPECT_FALSE(SelfRegarding::lockedWhileDying);
}

TEST(Weak, ThreadsRaceForTheLastReference) {
  for (int round = 0; round < 500; ++round) {
    auto object = make<Counted>();
    Weak<Counted> weak = object;
    std::thread reader([weak] {
      for (int i = 0; i < 20; ++i) {
        if (auto strong = weak.lock()) {
          EXPECT_EQ(strong->value, 7);
        }
      }
    });
    object = nullptr;
    reader.join();
    EXPECT_FALSE(weak.lock());
  }
  EXPECT_EQ(alive, 0);
}

TEST(Object, ThreadsRetainAndRelease) {
  auto object = make<Counted>();
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([object] {
      for (int i = 0; i < 20000; ++i) id copy = object;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(countOf(object), 1);
}

}  // namespace
}  // namespace kvt
