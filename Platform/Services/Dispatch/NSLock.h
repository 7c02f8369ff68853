// Locks that are objects.
//
//     NSLock lock = NSLock::new_();
//     lock.lock();
//     …
//     lock.unlock();
//
//     std::lock_guard guard(lock);                            // the same, until the end of the block
//     if (lock.tryLock()) …                                   // without waiting
//
// Taking a free lock costs one atomic operation. A handle that stands for nothing is nil: `new_` makes a lock. On nil
// nothing happens, and `tryLock` answers NO. Thread rule: any thread; a lock is given up on the thread that took it.
#pragma once

#include <KVTPlatform/Values/id.h>

namespace kvt {

class NSDate;
class NSString;

/// Not recursive: a thread that takes it twice waits for itself. Giving up a lock that nobody holds does nothing.
class KVT_EXPORT NSLock : public id {
  KVT_HANDLE(NSLock, id)

 public:
  static NSLock new_();

  void lock() const noexcept;
  void unlock() const noexcept;
  /// NO when another thread (or this one) holds it.
  bool tryLock() const noexcept;
  /// What std::unique_lock and its like call.
  bool try_lock() const noexcept { return tryLock(); }
  /// Waits until the date at most, by the clock on the wall; nil, like a date in the past, is `tryLock`.
  bool lockBeforeDate(const NSDate& date) const;

  /// For debugging; nil at first. Setting copies.
  NSString name() const;
  void setName(const NSString& name) const;
};

/// Recursive: the thread that holds it may take it again, and gives it up as often.
class KVT_EXPORT NSRecursiveLock : public id {
  KVT_HANDLE(NSRecursiveLock, id)

 public:
  static NSRecursiveLock new_();

  void lock() const noexcept;
  /// Does nothing on a thread that does not hold it.
  void unlock() const noexcept;
  /// NO when another thread holds it.
  bool tryLock() const noexcept;
  bool try_lock() const noexcept { return tryLock(); }
  bool lockBeforeDate(const NSDate& date) const;

  NSString name() const;
  void setName(const NSString& name) const;
};

}  // namespace kvt
