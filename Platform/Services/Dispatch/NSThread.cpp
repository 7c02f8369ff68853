#include "NSThread.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <ctime>
#include <mutex>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

#include "MainQueue.h"
#include "WorkerPool.h"

namespace kvt {
namespace {

struct ThreadBody final : Object {
  explicit ThreadBody(unsigned itsNumber) : Object(classOf<NSThread>(), ObjectKind::kPlain), number(itsNumber) {}
  const unsigned number;
  std::mutex mutex;
  NSString name;
  NSMutableDictionary dictionary;
};

ThreadBody& bodyOf(const NSThread& thread) { return *static_cast<ThreadBody*>(thread.object()); }

/// What a thread's end takes along, whoever still holds its object.
struct Current {
  ~Current() {
    if (!thread) return;
    NSMutableDictionary gone;
    std::lock_guard lock(bodyOf(thread).mutex);
    gone.swap(bodyOf(thread).dictionary);
  }
  NSThread thread;
};

NSString descriptionMethod(const NSThread& self) {
  const NSString name = self.name();
  return NSString::stringWithFormat(
      name ? "<NSThread: %p>{number = %u, name = %@}" : "<NSThread: %p>{number = %u, name = (null)}",
      static_cast<const void*>(self.object()), bodyOf(self).number, name);
}

bool isMainThreadMethod(const NSThread& self) { return isIdentical(self, NSThread::mainThread()); }

}  // namespace

bool NSThread::isMainThread() noexcept { return dispatch::MainQueue::isMainThread(); }

NSThread NSThread::mainThread() {
  static const auto* thread = new NSThread(adopt, new ThreadBody(1));
  return *thread;
}

NSThread NSThread::currentThread() {
  if (isMainThread()) return mainThread();
  static std::atomic<unsigned> number{1};
  thread_local Current current;
  if (!current.thread) current.thread = NSThread(adopt, new ThreadBody(++number));
  return current.thread;
}

void NSThread::sleepForTimeInterval(NSTimeInterval seconds) {
  if (!(seconds > 0)) return;
  const double whole = std::floor(std::min(seconds, 1e15));
  std::timespec left{static_cast<std::time_t>(whole),
                     std::min(static_cast<long>((std::min(seconds, 1e15) - whole) * 1e9), 999'999'999L)};
  dispatch::WorkerPool::BlockingScope blocking;
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

void NSThread::sleepUntilDate(const NSDate& date) { sleepForTimeInterval(date.timeIntervalSinceNow()); }

NSString NSThread::name() const {
  if (!*this) return {};
  std::lock_guard lock(bodyOf(*this).mutex);
  return bodyOf(*this).name;
}

void NSThread::setName(const NSString& name) const {
  if (!*this) return;
  NSString copy = name.copy();
  if (isIdentical(*this, currentThread())) {
    std::string text = copy.str().substr(0, 15);
    // A name is text to its end.
    while (!text.empty() && !NSString(text)) text.pop_back();
    ::pthread_setname_np(::pthread_self(), text.c_str());
  }
  std::lock_guard lock(bodyOf(*this).mutex);
  bodyOf(*this).name.swap(copy);
}

NSMutableDictionary NSThread::threadDictionary() const {
  if (!*this) return {};
  std::lock_guard lock(bodyOf(*this).mutex);
  NSMutableDictionary& dictionary = bodyOf(*this).dictionary;
  if (!dictionary) dictionary = NSMutableDictionary::dictionary();
  return dictionary;
}

Class NSThread::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<NSThread> c("NSThread", classOf<NSObject>());
    c.classMethod<&NSThread::isMainThread>("isMainThread").method<&isMainThreadMethod>("isMainThread");
    c.classMethod<&NSThread::currentThread>("currentThread").classMethod<&NSThread::mainThread>("mainThread");
    c.classMethod<&NSThread::sleepForTimeInterval>("sleepForTimeInterval:");
    c.classMethod<&NSThread::sleepUntilDate>("sleepUntilDate:");
    c.method<&NSThread::name>("name").method<&NSThread::setName>("setName:");
    c.method<&NSThread::threadDictionary>("threadDictionary");
    c.method<&descriptionMethod>("description");
    return c.registerClass();
  }();
  return cls;
}

bool NSThread::kvtAccepts(const Object* object) noexcept { return dynamic_cast<const ThreadBody*>(object) != nullptr; }

[[maybe_unused]] static const bool registered = (classOf<NSThread>(), true);

}  // namespace kvt
