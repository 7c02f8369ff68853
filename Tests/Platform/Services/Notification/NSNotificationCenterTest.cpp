#include <KVTPlatform/Services/Notification/NSNotificationCenter.h>

#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Values/Raised.h"

namespace kvt {
namespace {

std::vector<std::string> journal;

class Listener : public NSObject {
 public:
  NSString label;
  void heard(const Ref<NSNotification>& notification) {
    journal.push_back(std::string(label) + ":" + std::string(notification->name()));
  }
  void heardAnything() { journal.push_back(std::string(label) + "!"); }
  void raises(const Ref<NSNotification>&) { throw NSException::exceptionWithName_reason_userInfo("Own", "why", {}); }

 private:
  static void kvtDescribe(ClassBuilder<Listener>& c) {
    c.method<&Listener::heard>("heard:").method<&Listener::heardAnything>("heardAnything");
    c.method<&Listener::raises>("raises:");
  }
  KVT_CLASS(Listener)
};

Ref<Listener> listener(const char* label) {
  Ref<Listener> made = make<Listener>();
  made->label = label;
  return made;
}

std::string journalText() {
  std::string text;
  for (const std::string& each : journal) text += (text.empty() ? "" : " ") + each;
  journal.clear();
  return text;
}

class NSNotificationCenterTest : public testing::Test {
 protected:
  void SetUp() override { journal.clear(); }
  const NSNotificationCenter center = NSNotificationCenter::new_();
  const id sender = make<NSObject>(), stranger = make<NSObject>();
};

TEST_F(NSNotificationCenterTest, NameAndSenderDecideWhoIsTold) {
  const Ref<Listener> a = listener("a");
  const struct {
    NSString name;
    bool onlySender;
    const char* told;  // of x from the sender, of x from another, of x from nobody, of y from the sender
  } rows[] = {{"x", true, "a:x"},
              {"x", false, "a:x a:x a:x"},
              {nullptr, true, "a:x a:y"},
              {nullptr, false, "a:x a:x a:x a:y"},
              {"z", false, ""}};
  for (const auto& row : rows) {
    center.addObserver_selector_name_object(a, "heard:", row.name, row.onlySender ? sender : id());
    center.postNotificationName_object("x", sender);
    center.postNotificationName_object("x", stranger);
    center.postNotificationName_object("x", nullptr);
    center.postNotificationName_object("y", sender);
    EXPECT_EQ(journalText(), row.told);
    center.removeObserver(a);
    center.postNotificationName_object("x", sender);
    EXPECT_EQ(journalText(), "");
  }
}

TEST_F(NSNotificationCenterTest, OrderIsThatOfAdding) {
  const Ref<Listener> a = listener("a"), b = listener("b"), c = listener("c");
  center.addObserver_selector_name_object(b, "heard:", nullptr, nullptr);
  center.addObserver_selector_name_object(a, "heard:", "x", nullptr);
  center.addObserver_selector_name_object(c, "heardAnything", nullptr, sender);
  center.addObserver_selector_name_object(a, "heard:", "x", sender);
  center.postNotificationName_object("x", sender);
  EXPECT_EQ(journalText(), "b:x a:x c! a:x");
}

TEST_F(NSNotificationCenterTest, RemovalByNameAndSender) {
  const Ref<Listener> a = listener("a"), b = listener("b");
  const struct {
    NSString name;
    id object;
    const char* left;  // of x and y, each from the sender
  } rows[] = {{"x", nullptr, "b:x a:y"},         {"x", sender, "a:x b:x a:y"},
              {nullptr, sender, "a:x b:x"},      {nullptr, stranger, "a:x a:x b:x a:y"},
              {"z", nullptr, "a:x a:x b:x a:y"}, {nullptr, nullptr, "b:x"}};
  for (const auto& row : rows) {
    center.addObserver_selector_name_object(a, "heard:", "x", nullptr);
    center.addObserver_selector_name_object(a, "heard:", "x", sender);
    center.addObserver_selector_name_object(b, "heard:", "x", nullptr);
    center.addObserver_selector_name_object(a, "heard:", "y", sender);
    center.removeObserver_name_object(a, row.name, row.object);
    center.postNotificationName_object("x", sender);
    center.postNotificationName_object("y", sender);
    EXPECT_EQ(journalText(), row.left) << row.name;
    center.removeObserver(a);
    center.removeObserver(b);
  }
}

TEST_F(NSNotificationCenterTest, NobodyIsOwnedAndTheDeadAreNotCalled) {
  Weak<Listener> weak;
  {
    const Ref<Listener> a = listener("a");
    weak = a;
    center.addObserver_selector_name_object(a, "heard:", "x", nullptr);
    id object = make<NSObject>();
    const Weak<id> weakObject = object;
    center.addObserver_selector_name_object(a, "heard:", "x", object);
    object = nullptr;
    EXPECT_FALSE(weakObject.lock());
    center.postNotificationName_object("x", stranger);
    EXPECT_EQ(journalText(), "a:x");
  }
  EXPECT_FALSE(weak.lock());
  center.postNotificationName_object("x", stranger);
  EXPECT_EQ(journalText(), "");
  // They are taken out as others come.
  const Ref<Listener> b = listener("b");
  for (int i = 0; i < 100; ++i) center.addObserver_selector_name_object(listener("gone"), "heard:", "x", nullptr);
  center.addObserver_selector_name_object(b, "heard:", "x", nullptr);
  center.postNotificationName_object("x", stranger);
  EXPECT_EQ(journalText(), "b:x");
}

TEST_F(NSNotificationCenterTest, WhatTheNotificationHolds) {
  Ref<NSNotification> got;
  const NSDictionary info = {{"k", 1}};
  const id token = center.addObserverForName_object_queue_usingBlock(
      "x", nullptr, nullptr, [&](Ref<NSNotification> notification) { got = notification; });
  center.postNotificationName_object_userInfo("x", sender, info);
  ASSERT_TRUE(got);
  EXPECT_EQ(got->name(), "x"_ns);
  EXPECT_TRUE(isIdentical(got->object(), sender));
  EXPECT_EQ(got->userInfo(), info);
  EXPECT_TRUE(isIdentical(got.valueForKey("object"), sender));
  EXPECT_TRUE(isIdentical(got.copy(), got));
  EXPECT_EQ(got, id(NSNotification::notificationWithName_object_userInfo("x", sender, info)));
  EXPECT_FALSE(got == id(NSNotification::notificationWithName_object("x", sender)));
  center.postNotification(got);
  center.removeObserver(token);
  got = nullptr;
  center.postNotificationName_object("x", sender);
  EXPECT_FALSE(got);
}

TEST_F(NSNotificationCenterTest, BlocksAreOwnedUntilTheyAreRemoved) {
  auto count = std::make_shared<int>(0);
  const std::weak_ptr<int> held = count;
  id token = center.addObserverForName_object_queue_usingBlock("x", nullptr, nullptr,
                                                               [count](Ref<NSNotification>) { ++*count; });
  const Weak<id> weakToken = token;
  token = nullptr;  // nobody but the centre holds it
  center.postNotificationName_object("x", nullptr);
  EXPECT_EQ(*count, 1);
  count.reset();
  EXPECT_FALSE(held.expired());
  center.removeObserver(weakToken.lock());
  EXPECT_TRUE(held.expired());
  EXPECT_FALSE(weakToken.lock());
}

TEST_F(NSNotificationCenterTest, AQueueIsToldLater) {
  const dispatch_queue_t queue = dispatch_queue_create("heard", DISPATCH_QUEUE_SERIAL);
  dispatch_suspend(queue);
  int calls = 0;
  const id token =
      center.addObserverForName_object_queue_usingBlock("x", nullptr, queue, [&](Ref<NSNotification>) { ++calls; });
  center.postNotificationName_object("x", nullptr);
  EXPECT_EQ(calls, 0);
  dispatch_resume(queue);
  dispatch_sync(queue, [] {});
  EXPECT_EQ(calls, 1);
  // Removed while it waits.
  dispatch_suspend(queue);
  center.postNotificationName_object("x", nullptr);
  center.removeObserver(token);
  dispatch_resume(queue);
  dispatch_sync(queue, [] {});
  EXPECT_EQ(calls, 1);
}

TEST_F(NSNotificationCenterTest, ObserversMayChangeTheCentre) {
  const Ref<Listener> a = listener("a"), b = listener("b");
  const id token = center.addObserverForName_object_queue_usingBlock("x", nullptr, nullptr, [&](Ref<NSNotification>) {
    center.removeObserver(a);
    center.addObserver_selector_name_object(b, "heard:", "x", nullptr);
  });
  center.addObserver_selector_name_object(a, "heard:", "x", nullptr);
  center.postNotificationName_object("x", nullptr);
  EXPECT_EQ(journalText(), "") << "a was removed before its turn, b came too late";
  center.removeObserver(token);
  center.postNotificationName_object("x", nullptr);
  EXPECT_EQ(journalText(), "b:x");
}

/// Its end comes back to the centre, as the ends of many do.
class Leaver : public NSObject {
 public:
  NSNotificationCenter center;
  ~Leaver() override { center.removeObserver(id(borrow, this)); }
  KVT_CLASS(Leaver)
};

TEST_F(NSNotificationCenterTest, AnObserverMayLeaveAtItsEnd) {
  {
    const Ref<Leaver> leaver = make<Leaver>();
    leaver->center = center;
    center.addObserver_selector_name_object(leaver, "description", "x", nullptr);
    id holder = leaver;
    const id token = center.addObserverForName_object_queue_usingBlock("y", nullptr, nullptr, [holder](auto) {});
    holder = nullptr;
    center.removeObserver(token);
  }
  center.postNotificationName_object("x", nullptr);
}

TEST_F(NSNotificationCenterTest, ExceptionsReachThePoster) {
  const Ref<Listener> a = listener("a"), b = listener("b");
  center.addObserver_selector_name_object(a, "raises:", "x", nullptr);
  center.addObserver_selector_name_object(b, "heard:", "x", nullptr);
  const auto post = [&] {
    center.postNotificationName_object("x", nullptr);
    return 0;
  };
  EXPECT_EQ(raised(post), "Own: why");
  EXPECT_EQ(journalText(), "");
  center.removeObserver(a);
  EXPECT_EQ(raised(post), "");
  EXPECT_EQ(journalText(), "b:x");
}

TEST_F(NSNotificationCenterTest, NilIsDefined) {
  const Ref<Listener> a = listener("a");
  center.addObserver_selector_name_object(nullptr, "heard:", "x", nullptr);
  center.addObserver_selector_name_object(a, SEL(), "x", nullptr);
  EXPECT_FALSE(center.addObserverForName_object_queue_usingBlock("x", nullptr, nullptr, nullptr));
  center.removeObserver(nullptr);
  center.postNotificationName_object("x", nullptr);
  EXPECT_EQ(journalText(), "");
  const NSNotificationCenter none;
  none.addObserver_selector_name_object(a, "heard:", "x", nullptr);
  none.postNotificationName_object(nullptr, nullptr);
  none.removeObserver(a);
  EXPECT_EQ(raisedName([&] { return center.postNotificationName_object(nullptr, nullptr), 0; }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { return center.postNotification(nullptr), 0; }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { return NSNotification::notificationWithName_object(nullptr, nullptr); }),
            "NSInvalidArgumentException");
}

TEST_F(NSNotificationCenterTest, ByMessage) {
  const Ref<Listener> a = listener("a");
  const id shared = objc_msgSend<id>(objc_getClass("NSNotificationCenter"), "defaultCenter");
  EXPECT_TRUE(isIdentical(shared, NSNotificationCenter::defaultCenter()));
  objc_msgSend(shared, "addObserver:selector:name:object:", a, "heard:"_sel, NSString("own name"), nullptr);
  objc_msgSend(shared, "postNotificationName:object:", NSString("own name"), nullptr);
  EXPECT_EQ(journalText(), "a:own name");
  objc_msgSend(shared, "removeObserver:", a);
  objc_msgSend(shared, "postNotificationName:object:userInfo:", NSString("own name"), nullptr, NSDictionary());
  EXPECT_EQ(journalText(), "");
}

class Counter : public NSObject {
 public:
  std::atomic<int> calls{0};
  void heard(const Ref<NSNotification>&) { ++calls; }

 private:
  static void kvtDescribe(ClassBuilder<Counter>& c) { c.method<&Counter::heard>("heard:"); }
  KVT_CLASS(Counter)
};

TEST_F(NSNotificationCenterTest, ThreadsComeGoAndPost) {
  constexpr int kThreads = 4, kRounds = 500;
  const Ref<Counter> always = make<Counter>();
  center.addObserver_selector_name_object(always, "heard:", "x", nullptr);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      const NSString mine(std::to_string(t));
      for (int i = 0; i < kRounds; ++i) {
        const Ref<Counter> own = make<Counter>();
        center.addObserver_selector_name_object(own, "heard:", mine, nullptr);
        center.postNotificationName_object("x", nullptr);
        center.postNotificationName_object(mine, nullptr);
        EXPECT_EQ(own->calls, 1);
        if (i % 2 == 0) continue;  // it dies without a word
        center.removeObserver(own);
        center.postNotificationName_object(mine, nullptr);
        EXPECT_EQ(own->calls, 1);
      }
    });
  }
  for (std::thread& each : threads) each.join();
  EXPECT_EQ(always->calls, kThreads * kRounds);
}

}  // namespace
}  // namespace kvt
