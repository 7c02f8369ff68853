#include "NSLock.h"

#include <atomic>
#include <cmath>
#include <mutex>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

#include "DispatchTime.h"
#include "NSLockBody.h"

namespace kvt {
namespace {

/// False for a date that has passed, or is none.
bool timeOf(const NSDate& date, std::timespec& time) {
  const double seconds = date.timeIntervalSince1970();
  if (!date || !(seconds > 0)) return false;
  const double whole = std::floor(std::min(seconds, 1e10));  // the kernel's time ends, but later than anybody waits
  time.tv_sec = static_cast<std::time_t>(whole);
  time.tv_nsec = std::min(static_cast<long>((std::min(seconds, 1e10) - whole) * 1e9), 999'999'999L);
  return true;
}

struct PlainLockBody final : LockBody {
  PlainLockBody() : LockBody(classOf<NSLock>()) {}
};

struct RecursiveLockBody final : LockBody {
  RecursiveLockBody() : LockBody(classOf<NSRecursiveLock>()) {}
  bool isMine() const noexcept { return owner.load(std::memory_order_relaxed) == dispatch::currentThreadId(); }
  void take() noexcept {
    owner.store(dispatch::currentThreadId(), std::memory_order_relaxed);
    depth = 1;
  }
  std::atomic<std::uint32_t> owner{0};
  unsigned depth = 0;
};

PlainLockBody& bodyOf(const NSLock& lock) noexcept { return *static_cast<PlainLockBody*>(lock.object()); }
RecursiveLockBody& bodyOf(const NSRecursiveLock& lock) noexcept {
  return *static_cast<RecursiveLockBody*>(lock.object());
}

NSString nameOf(LockBody& body) {
  std::lock_guard lock(body.nameMutex);
  return body.name;
}
void setNameOf(LockBody& body, const NSString& name) {
  NSString copy = name.copy();
  std::lock_guard lock(body.nameMutex);
  body.name.swap(copy);
}

template <class Lock>
NSString lockDescription(const Lock& self) {
  const NSString name = self.name();
  return NSString::stringWithFormat(name ? "<%s: %p>{name = %@}" : "<%s: %p>{name = nil}", class_getName(self.class_()),
                                    static_cast<const void*>(self.object()), name);
}

template <class Lock>
Class makeLockClass(const char* name, Object* (*create)(Class)) {
  ClassBuilder<Lock> c(name, classOf<NSObject>());
  c.createWith(create);
  c.protocol("NSLocking");
  c.template method<&Lock::lock>("lock").template method<&Lock::unlock>("unlock");
  c.template method<&Lock::tryLock>("tryLock").template method<&Lock::lockBeforeDate>("lockBeforeDate:");
  c.template method<&Lock::name>("name").template method<&Lock::setName>("setName:");
  c.template method<&lockDescription<Lock>>("description");
  return c.registerClass();
}

}  // namespace

// ---- NSLock ---------------------------------------------------------------------------------------------------------

NSLock NSLock::new_() { return {adopt, new PlainLockBody}; }
void NSLock::lock() const noexcept {
  if (*this) bodyOf(*this).word.lock();
}
void NSLock::unlock() const noexcept {
  if (*this) bodyOf(*this).word.unlock();
}
bool NSLock::tryLock() const noexcept { return *this && bodyOf(*this).word.try_lock(); }
bool NSLock::lockBeforeDate(const NSDate& date) const {
  if (!*this) return false;
  std::timespec time{};
  return timeOf(date, time) ? bodyOf(*this).word.lockUntil(time) : tryLock();
}
NSString NSLock::name() const { return *this ? nameOf(bodyOf(*this)) : NSString(); }
void NSLock::setName(const NSString& name) const {
  if (*this) setNameOf(bodyOf(*this), name);
}

Class NSLock::kvtClass() {
  static const Class cls = makeLockClass<NSLock>("NSLock", [](Class) -> Object* { return new PlainLockBody; });
  return cls;
}
bool NSLock::kvtAccepts(const Object* object) noexcept { return dynamic_cast<const PlainLockBody*>(object) != nullptr; }

// ---- NSRecursiveLock ------------------------------------------------------------------------------------------------

NSRecursiveLock NSRecursiveLock::new_() { return {adopt, new RecursiveLockBody}; }
void NSRecursiveLock::lock() const noexcept {
  if (!*this) return;
  RecursiveLockBody& body = bodyOf(*this);
  if (body.isMine()) {
    ++body.depth;
  } else {
    body.word.lock();
    body.take();
  }
}
void NSRecursiveLock::unlock() const noexcept {
  if (!*this || !bodyOf(*this).isMine()) return;
  RecursiveLockBody& body = bodyOf(*this);
  if (--body.depth != 0) return;
  body.owner.store(0, std::memory_order_relaxed);
  body.word.unlock();
}
bool NSRecursiveLock::tryLock() const noexcept { return lockBeforeDate(nullptr); }
bool NSRecursiveLock::lockBeforeDate(const NSDate& date) const {
  if (!*this) return false;
  RecursiveLockBody& body = bodyOf(*this);
  if (body.isMine()) {
    ++body.depth;
    return true;
  }
  std::timespec time{};
  if (!(date && timeOf(date, time) ? body.word.lockUntil(time) : body.word.try_lock())) return false;
  body.take();
  return true;
}
NSString NSRecursiveLock::name() const { return *this ? nameOf(bodyOf(*this)) : NSString(); }
void NSRecursiveLock::setName(const NSString& name) const {
  if (*this) setNameOf(bodyOf(*this), name);
}

Class NSRecursiveLock::kvtClass() {
  static const Class cls =
      makeLockClass<NSRecursiveLock>("NSRecursiveLock", [](Class) -> Object* { return new RecursiveLockBody; });
  return cls;
}
bool NSRecursiveLock::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const RecursiveLockBody*>(object) != nullptr;
}

[[maybe_unused]] static const bool registered = (classOf<NSLock>(), classOf<NSRecursiveLock>(), true);

}  // namespace kvt
