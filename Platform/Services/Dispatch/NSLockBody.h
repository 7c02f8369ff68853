// What an NSLock is made of; not installed. For those who take one so often that a call of it counts:
//
//     dispatch::ShortLock& word = wordOf(lock);               // the lock is not nil, and outlives the word's use
//     std::lock_guard guard(word);
#pragma once

#include <mutex>

#include <KVTPlatform/Runtime/Object.h>
#include <KVTPlatform/Values/NSString.h>

#include "Futex.h"
#include "NSLock.h"

namespace kvt {

struct LockBody : Object {
  explicit LockBody(Class cls) : Object(cls, ObjectKind::kPlain) {}
  dispatch::ShortLock word;
  std::mutex nameMutex;
  NSString name;
};

inline dispatch::ShortLock& wordOf(const NSLock& lock) noexcept { return static_cast<LockBody*>(lock.object())->word; }

}  // namespace kvt
