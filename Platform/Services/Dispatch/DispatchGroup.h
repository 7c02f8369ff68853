// Groups: know when several pieces of work, wherever they run, are done.
//
//     dispatch_group_t group = dispatch_group_create();
//     for (const NSString& path : paths) dispatch_group_async(group, queue, [=] { check(path); });
//     dispatch_group_notify(group, queue, [=] { report(); });      // or dispatch_group_wait
//
// A group counts what has entered and not yet left; it may be used again and again. Thread rule: any thread. On nil
// nothing happens.
#pragma once

#include <optional>

#include "DispatchQueue.h"

namespace kvt {

class KVT_EXPORT OS_dispatch_group : public OS_dispatch_object {
  KVT_HANDLE(OS_dispatch_group, OS_dispatch_object)
};
using dispatch_group_t = OS_dispatch_group;

[[nodiscard]] KVT_EXPORT dispatch_group_t dispatch_group_create();
KVT_EXPORT void dispatch_group_enter(const dispatch_group_t& group);
/// Raises NSInternalInconsistencyException when nothing has entered.
KVT_EXPORT void dispatch_group_leave(const dispatch_group_t& group);

/// Waits until the group is empty: 0. Not 0 when the time came first (at once for DISPATCH_TIME_NOW); 0 for nil.
KVT_EXPORT std::intptr_t dispatch_group_wait(const dispatch_group_t& group, dispatch_time_t timeout);

namespace detail {
KVT_EXPORT void notify(const dispatch_group_t& group, const dispatch_queue_t& queue, QueueItem* item);
}

/// Hands the work to the queue as soon as the group is empty, at once when it is.
template <detail::Work F>
void dispatch_group_notify(const dispatch_group_t& group, const dispatch_queue_t& queue, F&& work) {
  detail::notify(group, queue, detail::makeItem(std::forward<F>(work)));
}

/// Enters, hands the work to the queue, and leaves when it has run and what it captured is gone. With a nil group it is
/// `dispatch_async`.
template <detail::Work F>
void dispatch_group_async(const dispatch_group_t& group, const dispatch_queue_t& queue, F&& work) {
  if (!queue) return;
  if constexpr (HandleType<std::decay_t<F>>) {
    if (!work) return;
  }
  dispatch_group_enter(group);
  dispatch_async(queue, [group, kept = std::optional<std::decay_t<F>>(std::forward<F>(work))]() mutable {
    static_cast<void>((*kept)());
    kept.reset();
    dispatch_group_leave(group);
  });
}

}  // namespace kvt
