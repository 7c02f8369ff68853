// Timer sources: a handler runs on a queue at a time, and again at each interval.
//
//     dispatch_source_t timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, queue);
//     dispatch_source_set_timer(timer, dispatch_time(DISPATCH_TIME_NOW, 2 * NSEC_PER_SEC), 2 * NSEC_PER_SEC,
//                               50 * NSEC_PER_MSEC);
//     dispatch_source_set_event_handler(timer, [] { poll(); });
//     dispatch_resume(timer);                                 // a source is created suspended
//     …
//     dispatch_source_cancel(timer);
//
// A timer fires between its time and its time plus the leeway, together with others where that saves a wake. Times that
// pass while the handler runs, waits for its queue, or is suspended, make one call, and `dispatch_source_get_data` says
// how many they were. The next time is always a whole number of intervals from the start.
//
// Nobody holds a source but its handles: when the last one goes the timer stops, and its handlers are destroyed without
// a call. The handlers are kept until the source is cancelled (a handler that captures its source is how to leak it).
// A suspended source may be cancelled or let go. Thread rule: any thread. On nil nothing happens.
#pragma once

#include "DispatchQueue.h"

namespace kvt {

class KVT_EXPORT OS_dispatch_source : public OS_dispatch_object {
  KVT_HANDLE(OS_dispatch_source, OS_dispatch_object)
};
using dispatch_source_t = OS_dispatch_source;

enum dispatch_source_type_t : int { DISPATCH_SOURCE_TYPE_TIMER = 1 };
/// In the mask: fire at the time itself, whatever leeway is given.
inline constexpr std::uintptr_t DISPATCH_TIMER_STRICT = 1;

/// A suspended source without a time. Handlers run on `queue` (nil: the global queue of default priority). `handle`
/// must be 0. nil for any other type, handle or mask.
[[nodiscard]] KVT_EXPORT dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle,
                                                                  std::uintptr_t mask, const dispatch_queue_t& queue);

/// When to fire first (DISPATCH_TIME_NOW: at once; DISPATCH_TIME_FOREVER: not), how long between two times in
/// nanoseconds (DISPATCH_TIME_FOREVER: once only; 0 counts as 1), and how late it may be. On a running timer this
/// starts anew from the moment of the call; a time that has come and was not handled yet is forgotten.
KVT_EXPORT void dispatch_source_set_timer(const dispatch_source_t& source, dispatch_time_t start,
                                          std::uint64_t interval, std::uint64_t leeway);

/// nil takes the handler away. A handler that runs goes on; the next call is the new one's.
KVT_EXPORT void dispatch_source_set_event_handler(const dispatch_source_t& source, const dispatch_block_t& handler);
/// Called once on the source's queue after `dispatch_source_cancel`, when no handler runs any more. Must be set before.
KVT_EXPORT void dispatch_source_set_cancel_handler(const dispatch_source_t& source, const dispatch_block_t& handler);

/// No handler starts any more; one that runs on another thread goes on. So after a cancel on the source's own serial
/// queue it is over. The handlers are destroyed on the queue. For a suspended source, the cancel handler waits for the
/// resume.
KVT_EXPORT void dispatch_source_cancel(const dispatch_source_t& source);
/// Not 0 once it is cancelled.
KVT_EXPORT std::intptr_t dispatch_source_testcancel(const dispatch_source_t& source);
/// In a handler: how many times have passed since the handler was called before.
KVT_EXPORT std::uintptr_t dispatch_source_get_data(const dispatch_source_t& source);
KVT_EXPORT std::uintptr_t dispatch_source_get_mask(const dispatch_source_t& source);

}  // namespace kvt
