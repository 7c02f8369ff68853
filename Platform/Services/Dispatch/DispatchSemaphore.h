// Counting semaphores: as many as the value may pass, the others wait.
//
//     static const dispatch_semaphore_t lock = dispatch_semaphore_create(1);
//     dispatch_semaphore_wait(lock, DISPATCH_TIME_FOREVER);
//     …
//     dispatch_semaphore_signal(lock);
//
// Passing and signalling take one atomic operation while nobody waits. Waiting threads pass in the order in which they
// came. Thread rule: any thread.
#pragma once

#include "DispatchQueue.h"

namespace kvt {

class KVT_EXPORT OS_dispatch_semaphore : public OS_dispatch_object {
  KVT_HANDLE(OS_dispatch_semaphore, OS_dispatch_object)
};
using dispatch_semaphore_t = OS_dispatch_semaphore;

/// nil for a negative value, and for one above INT32_MAX.
[[nodiscard]] KVT_EXPORT dispatch_semaphore_t dispatch_semaphore_create(std::intptr_t value);
/// Waits until it may pass: 0. Not 0 when the time came first (at once for DISPATCH_TIME_NOW); 0 for nil.
KVT_EXPORT std::intptr_t dispatch_semaphore_wait(const dispatch_semaphore_t& semaphore, dispatch_time_t timeout);
/// Lets one more pass. Not 0 when a waiting thread was woken; 0 for nil.
KVT_EXPORT std::intptr_t dispatch_semaphore_signal(const dispatch_semaphore_t& semaphore);

}  // namespace kvt
