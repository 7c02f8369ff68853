#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Services/Dispatch/NSLock.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>
#include <KVTPlatform/Services/Dispatch/Synchronized.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <type_traits>

#include "DispatchTestSupport.h"

namespace kvt {
namespace {

/// What the call answers on another thread.
template <class Call>
auto elsewhere(const Call& call) {
  std::invoke_result_t<Call> result{};
  std::thread([&] { result = call(); }).join();
  return result;
}

template <class Lock>
class LockThreadTest : public ::testing::Test {};
using Locks = ::testing::Types<NSLock, NSRecursiveLock>;
TYPED_TEST_SUITE(LockThreadTest, Locks);

TYPED_TEST(LockThreadTest, OneThreadHoldsIt) {
  const TypeParam lock = TypeParam::new_();
  lock.lock();
  EXPECT_FALSE(elsewhere([&] { return lock.tryLock(); }));
  EXPECT_FALSE(elsewhere([&] { return lock.lockBeforeDate(NSDate::distantPast()); }));
  EXPECT_FALSE(elsewhere([&] { return lock.lockBeforeDate(nullptr); }));
  EXPECT_FALSE(elsewhere([&] { return lock.lockBeforeDate(NSDate::dateWithTimeIntervalSinceNow(0.002)); }));
  lock.unlock();
  const auto takes = [&](const NSDate& date) { return lock.lockBeforeDate(date) && (lock.unlock(), true); };
  EXPECT_TRUE(elsewhere([&] { return lock.tryLock() && (lock.unlock(), true); }));
  EXPECT_TRUE(elsewhere([&] { return takes(NSDate::distantFuture()); }));
  EXPECT_TRUE(elsewhere([&] { return takes(NSDate::dateWithTimeIntervalSince1970(1e300)); }));
  EXPECT_TRUE(elsewhere([&] { return takes(nullptr); })) << "as tryLock";
  EXPECT_TRUE(elsewhere([&] { return std::unique_lock(lock, std::try_to_lock).owns_lock(); }));
}

TYPED_TEST(LockThreadTest, OthersWait) {
  const TypeParam lock = TypeParam::new_();
  int count = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 3000; ++i) {
        if (t % 3 == 0) {
          while (!lock.tryLock()) std::this_thread::yield();
        } else if (t % 3 == 1) {
          ASSERT_TRUE(lock.lockBeforeDate(NSDate::distantFuture()));
        } else {
          lock.lock();
        }
        ++count;
        lock.unlock();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 18000);
}

TYPED_TEST(LockThreadTest, NilNamesAndMessages) {
  const TypeParam nil;
  nil.lock();
  nil.unlock();
  EXPECT_FALSE(nil.tryLock());
  EXPECT_FALSE(nil.lockBeforeDate(NSDate::distantFuture()));
  EXPECT_FALSE(nil.name());
  nil.setName("x");

  TypeParam lock = TypeParam::new_();
  EXPECT_FALSE(lock.name());
  EXPECT_TRUE(lock.description().hasSuffix("{name = nil}"));
  lock.setName("cache");
  EXPECT_EQ(lock.name(), "cache");
  EXPECT_TRUE(lock.description().hasSuffix("{name = cache}"));
  EXPECT_TRUE(lock.conformsToProtocol(objc_getProtocol("NSLocking")));
  EXPECT_TRUE(objc_msgSend<bool>(lock, "tryLock"));
  EXPECT_FALSE(elsewhere([&] { return objc_msgSend<bool>(lock, "lockBeforeDate:", NSDate::distantPast()); }));
  objc_msgSend(lock, "unlock");
  objc_msgSend(lock, "lock");
  EXPECT_FALSE(elsewhere([&] { return lock.tryLock(); }));
  objc_msgSend(lock, "unlock");
  EXPECT_TRUE(TypeParam(adopt, class_createInstance(classOf<TypeParam>())).tryLock());
}

TEST(NSLockThreadTest, IsNotRecursive) {
  const NSLock lock = NSLock::new_();
  lock.unlock();
  EXPECT_TRUE(lock.tryLock()) << "giving up what nobody holds changes nothing";
  EXPECT_FALSE(lock.tryLock());
  lock.unlock();
  EXPECT_TRUE(lock.tryLock());
  lock.unlock();
}

TEST(NSRecursiveLockThreadTest, IsGivenUpAsOftenAsItWasTaken) {
  const NSRecursiveLock lock = NSRecursiveLock::new_();
  const auto isFree = [&] { return elsewhere([&] { return lock.tryLock() && (lock.unlock(), true); }); };
  lock.lock();
  EXPECT_TRUE(lock.tryLock());
  EXPECT_TRUE(lock.lockBeforeDate(NSDate::distantPast()));
  lock.unlock();
  lock.unlock();
  EXPECT_FALSE(isFree());
  std::thread([&] { lock.unlock(); }).join();
  EXPECT_FALSE(isFree()) << "another thread cannot give it up";
  lock.unlock();
  EXPECT_TRUE(isFree());
}

// ---- synchronized ---------------------------------------------------------------------------------------------------

bool isLocked(const id& object) {
  const auto entered = std::make_shared<std::atomic<bool>>(false);
  const dispatch_queue_t queue = dispatch_queue_create("q", nullptr);
  dispatch_async(queue, [entered, object] {
    synchronized lock(object);
    *entered = true;
  });
  // A worker that waits for the lock counts as blocked.
  while (!*entered && dispatch_statistics().blockedWorkers == 0) std::this_thread::yield();
  return !*entered;
}

TEST(SynchronizedThreadTest, IsRecursiveAndPerObject) {
  const NSMutableArray a = NSMutableArray::array(), b = NSMutableArray::array();
  {
    synchronized outer(a);
    synchronized inner(a);
    EXPECT_FALSE(isLocked(b)) << "equal is not the same";
    { synchronized third(a); }
    EXPECT_TRUE(isLocked(a));
  }
  while (dispatch_statistics().blockedWorkers != 0) std::this_thread::yield();
  EXPECT_FALSE(isLocked(a));
  synchronized nothing(id(nullptr));
  synchronized nothingAgain(id(nullptr));
}

TEST(SynchronizedThreadTest, KeepsItsObjectAlive) {
  Weak<NSMutableArray> weak;
  {
    NSMutableArray array = NSMutableArray::array();
    weak = array;
    synchronized lock(array);
    array = nullptr;
    EXPECT_TRUE(weak.lock());
  }
  EXPECT_FALSE(weak.lock());
}

TEST(SynchronizedThreadTest, ManyThreadsAndObjects) {
  // More objects than there are shards, each with a count of its own.
  constexpr std::size_t kObjects = 100;
  std::vector<NSMutableArray> objects;
  for (std::size_t i = 0; i < kObjects; ++i) objects.push_back(NSMutableArray::array());
  std::vector<int> counts(kObjects);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < 6; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t i = 0; i < 5000; ++i) {
        const std::size_t index = (i * 7 + t) % kObjects % (i % 2 == 0 ? kObjects : 3);
        synchronized lock(objects[index]);
        synchronized again(objects[index].object());
        ++counts[index];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  int total = 0;
  for (int count : counts) total += count;
  EXPECT_EQ(total, 30000);
}

// ---- as members -----------------------------------------------------------------------------------------------------

class Owner : public NSObject {
 public:
  dispatch_queue_t queue;
  dispatch_source_t timer;
  dispatch_block_t handler;
  NSLock lock;
  KVT_CLASS(Owner, queue, timer, handler, lock)
};

TEST(DispatchPropertyTest, ObjectsOfTheseTypesAreProperties) {
  const Class cls = classOf<Owner>();
  const struct {
    const char* name;
    const char* attributes;
  } rows[] = {{"queue", "T@\"OS_dispatch_queue\",&,N,Vqueue"},
              {"timer", "T@\"OS_dispatch_source\",&,N,Vtimer"},
              {"handler", "T@?,C,N,Vhandler"},
              {"lock", "T@\"NSLock\",&,N,Vlock"}};
  for (const auto& row : rows) {
    EXPECT_STREQ(property_getAttributes(class_getProperty(cls, row.name)), row.attributes);
  }
  const Ref<Owner> owner = make<Owner>();
  objc_msgSend(owner, "setQueue:", dispatch_get_main_queue());
  EXPECT_TRUE(isIdentical(owner->queue, dispatch_get_main_queue()));
  EXPECT_TRUE(isIdentical(owner.valueForKey("queue"), dispatch_get_main_queue()));
  owner.setValue_forKey(NSLock::new_(), "queue");
  EXPECT_FALSE(owner->queue) << "another class's object is none";
  owner.setValue_forKey(dispatch_queue_create("own", nullptr), "queue");
  EXPECT_STREQ(dispatch_queue_get_label(owner->queue), "own");
}

// ---- threads --------------------------------------------------------------------------------------------------------

TEST(NSThreadThreadTest, WhichThreadIsWhich) {
  EXPECT_TRUE(NSThread::isMainThread());
  EXPECT_FALSE(elsewhere([] { return NSThread::isMainThread(); }));
  const NSThread main = NSThread::mainThread();
  EXPECT_TRUE(isIdentical(NSThread::currentThread(), main));
  EXPECT_TRUE(isIdentical(elsewhere([] { return NSThread::mainThread(); }), main));
  const NSThread other = elsewhere([] {
    const NSThread thread = NSThread::currentThread();
    return isIdentical(thread, NSThread::currentThread()) ? thread : NSThread();
  });
  EXPECT_TRUE(other);
  EXPECT_FALSE(isIdentical(other, main));
  bool onWorker = true;
  dispatch_group_t group = dispatch_group_create();
  dispatch_group_async(group, dispatch_get_global_queue(0, 0), [&] { onWorker = NSThread::isMainThread(); });
  dispatch_group_wait(group, DISPATCH_TIME_FOREVER);
  EXPECT_FALSE(onWorker);

  // By messages: the class answers for this thread, an object for its own.
  EXPECT_TRUE(objc_msgSend<bool>(classOf<NSThread>(), "isMainThread"));
  EXPECT_FALSE(elsewhere([] { return objc_msgSend<bool>(classOf<NSThread>(), "isMainThread"); }));
  EXPECT_TRUE(elsewhere([&] { return objc_msgSend<bool>(main, "isMainThread"); }));
  EXPECT_FALSE(objc_msgSend<bool>(other, "isMainThread"));
  EXPECT_TRUE(isIdentical(objc_msgSend<NSThread>(classOf<NSThread>(), "currentThread"), main));
}

TEST(NSThreadThreadTest, NamesAndDescriptions) {
  const auto systemName = [] {
    char text[16];
    ::pthread_getname_np(::pthread_self(), text, sizeof text);
    return std::string(text);
  };
  const struct {
    NSString name;
    const char* inSystem;
  } rows[] = {
      {"short", "short"}, {"a name of more than fifteen", "a name of more "}, {"fourteen bytesé", "fourteen bytes"}};
  for (const auto& row : rows) {
    std::thread([&] {
      const NSThread thread = NSThread::currentThread();
      EXPECT_FALSE(thread.name());
      EXPECT_TRUE(thread.description().hasSuffix(", name = (null)}"));
      thread.setName(row.name);
      EXPECT_EQ(thread.name(), row.name);
      EXPECT_EQ(systemName(), row.inSystem);
    }).join();
  }
  EXPECT_NE(NSThread::mainThread().description().rangeOfString("{number = 1, name = ").length, 0u);
  const NSThread nil;
  EXPECT_FALSE(nil.name());
  EXPECT_FALSE(nil.threadDictionary());
  nil.setName("x");
}

TEST(NSThreadThreadTest, TheDictionaryEndsWithTheThread) {
  NSThread thread;
  Weak<NSMutableArray> kept;
  std::thread([&] {
    thread = NSThread::currentThread();
    const NSMutableArray array = NSMutableArray::array();
    thread.threadDictionary().setObject_forKey(array, "key");
    EXPECT_TRUE(isIdentical(thread.threadDictionary()["key"], array));
    kept = array;
  }).join();
  EXPECT_FALSE(kept.lock());
  EXPECT_EQ(thread.threadDictionary().count(), 0u);
}

TEST(NSThreadThreadTest, Sleeping) {
  const NSTimeInterval start = NSDate::date().timeIntervalSinceReferenceDate();
  NSThread::sleepForTimeInterval(0);
  NSThread::sleepForTimeInterval(-1);
  NSThread::sleepForTimeInterval(__builtin_nan(""));
  NSThread::sleepUntilDate(nullptr);
  NSThread::sleepUntilDate(NSDate::distantPast());
  NSThread::sleepForTimeInterval(0.001);
  EXPECT_GE(NSDate::date().timeIntervalSinceReferenceDate() - start, 0.001 - 1e-6);
}

}  // namespace
}  // namespace kvt
