// Queues: work is handed to a queue and runs later, in the order in which it came, on a thread that the library keeps
// for it.
//
//     dispatch_queue_t queue = dispatch_queue_create("com.example.images", DISPATCH_QUEUE_SERIAL);
//     dispatch_async(queue, [=] {
//       NSData image = load(path);
//       dispatch_async(dispatch_get_main_queue(), [=] { show(image); });
//     });
//     dispatch_sync(queue, [&] { count = images.count(); });            // returns when it has run
//
// A serial queue runs one piece of work at a time. A concurrent one starts work in order without waiting for what it
// started before, except at barriers: a barrier waits for everything before it and holds back everything after it.
// Every queue runs its work on its target queue: a global queue, whose work the library's threads take by priority, or
// the main queue, which the host pumps (DispatchMainQueue.h), or any other. What is below one serial target never
// overlaps.
//
// Work is any callable without arguments, or a block. It is kept, with what it captures, until it has run, and
// destroyed on the queue right after. An exception that leaves work handed over with `dispatch_async` ends the program;
// one that leaves `dispatch_sync` reaches the caller.
//
// Threads start with the first work, one for each processor; when a thread waits in one of the functions of this
// folder, or is seen sleeping elsewhere while work is left (after some 5 ms), another one stands in for it, up to 512.
// Threads without work end after five seconds. After `fork` a child may only use queues once it has called `exec`.
//
// On nil nothing happens: work for a nil queue is dropped. Thread rule: everything may be called from any thread.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Values/id.h>

#include "DispatchTime.h"

namespace kvt {

/// What queues, groups, semaphores and sources have in common. Each is an object: held by handles, counted, described
/// by "%@".
class KVT_EXPORT OS_dispatch_object : public id {
  KVT_HANDLE(OS_dispatch_object, id)
};
class KVT_EXPORT OS_dispatch_queue : public OS_dispatch_object {
  KVT_HANDLE(OS_dispatch_queue, OS_dispatch_object)
};

using dispatch_object_t = OS_dispatch_object;
using dispatch_queue_t = OS_dispatch_queue;
using dispatch_block_t = Block<void()>;

/// How urgent work is. Urgent work is taken first; a queue's own order is never changed by it.
enum dispatch_qos_class_t : std::uint32_t {
  QOS_CLASS_USER_INTERACTIVE = 0x21,
  QOS_CLASS_USER_INITIATED = 0x19,
  QOS_CLASS_DEFAULT = 0x15,
  QOS_CLASS_UTILITY = 0x11,
  QOS_CLASS_BACKGROUND = 0x09,
  QOS_CLASS_UNSPECIFIED = 0,
};
inline constexpr std::intptr_t DISPATCH_QUEUE_PRIORITY_HIGH = 2;
inline constexpr std::intptr_t DISPATCH_QUEUE_PRIORITY_DEFAULT = 0;
inline constexpr std::intptr_t DISPATCH_QUEUE_PRIORITY_LOW = -2;
inline constexpr std::intptr_t DISPATCH_QUEUE_PRIORITY_BACKGROUND = INT16_MIN;

/// What kind of queue to create; a null pointer means a serial one.
struct dispatch_queue_attr_t {
  bool concurrent = false;
  bool inactive = false;
  dispatch_qos_class_t qos = QOS_CLASS_UNSPECIFIED;

  constexpr dispatch_queue_attr_t() noexcept = default;
  constexpr dispatch_queue_attr_t(std::nullptr_t) noexcept {}
  constexpr explicit dispatch_queue_attr_t(bool isConcurrent) noexcept : concurrent(isConcurrent) {}
};
inline constexpr dispatch_queue_attr_t DISPATCH_QUEUE_SERIAL{};
inline constexpr dispatch_queue_attr_t DISPATCH_QUEUE_CONCURRENT{true};

/// The same with the priority of the global queue that will be the target. `relativePriority` is accepted and not used.
constexpr dispatch_queue_attr_t dispatch_queue_attr_make_with_qos_class(dispatch_queue_attr_t attr,
                                                                        dispatch_qos_class_t qos,
                                                                        int relativePriority = 0) noexcept {
  static_cast<void>(relativePriority);
  attr.qos = qos;
  return attr;
}
/// The same, and nothing runs before `dispatch_activate`.
constexpr dispatch_queue_attr_t dispatch_queue_attr_make_initially_inactive(dispatch_queue_attr_t attr) noexcept {
  attr.inactive = true;
  return attr;
}

// ---- queues ---------------------------------------------------------------------------------------------------------

/// A new queue. The label is copied; null counts as "". Its target is the global queue of default priority, or of the
/// attribute's.
[[nodiscard]] KVT_EXPORT dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr);
[[nodiscard]] KVT_EXPORT dispatch_queue_t dispatch_queue_create_with_target(const char* label,
                                                                            dispatch_queue_attr_t attr,
                                                                            const dispatch_queue_t& target);

/// The queue whose work the host runs on the main thread.
KVT_EXPORT dispatch_queue_t dispatch_get_main_queue() noexcept;
/// The concurrent queue of a DISPATCH_QUEUE_PRIORITY_… or a QOS_CLASS_…; nil for any other number, and when `flags` is
/// not 0. Its work has no order among itself, and a barrier is like any other work.
KVT_EXPORT dispatch_queue_t dispatch_get_global_queue(std::intptr_t identifier, std::uintptr_t flags) noexcept;

/// Of the queue, valid while it lives; of the current queue for nil.
KVT_EXPORT const char* dispatch_queue_get_label(const dispatch_queue_t& queue) noexcept;
/// Of the queue whose work is running on this thread; outside of any, the main queue's on the main thread, "" on
/// others.
KVT_EXPORT const char* dispatch_get_current_queue_label() noexcept;

/// From now on the queue's (or source's) work runs on `target`; nil: the global queue of default priority. Work that
/// has been started ends where it is; a turn that already waits on the old target comes up there first and moves on.
/// Nothing happens to global queues and the main queue. Raises NSInvalidArgumentException for a circle.
KVT_EXPORT void dispatch_set_target_queue(const dispatch_object_t& object, const dispatch_queue_t& target);

/// No further work is started until there have been as many resumes. Work that runs goes on. Global queues and the
/// main queue cannot be suspended. A suspended queue that nobody holds any more drops its work.
KVT_EXPORT void dispatch_suspend(const dispatch_object_t& object);
/// Raises NSInternalInconsistencyException when there was no suspend.
KVT_EXPORT void dispatch_resume(const dispatch_object_t& object);
/// Starts what was created inactive; does nothing a second time.
KVT_EXPORT void dispatch_activate(const dispatch_object_t& object);

/// Keeps a pointer under a key (its address alone counts). `destructor` (may be null) is called with what was there
/// before, and when the queue goes. A null context takes the key away.
KVT_EXPORT void dispatch_queue_set_specific(const dispatch_queue_t& queue, const void* key, void* context,
                                            void (*destructor)(void*));
/// Of the queue itself; null when there is none.
KVT_EXPORT void* dispatch_queue_get_specific(const dispatch_queue_t& queue, const void* key) noexcept;
/// Of the current queue, else of its target, and so on.
KVT_EXPORT void* dispatch_get_specific(const void* key) noexcept;

// ---- work -----------------------------------------------------------------------------------------------------------

namespace detail {

/// Work on its way to a thread. `run` is called once and disposes of it; `drop` disposes of it when nobody will.
class KVT_EXPORT QueueItem {
 public:
  enum class Kind : std::uint8_t { kWork, kLane, kWaiter };

  explicit QueueItem(Kind itsKind) noexcept : kind(itsKind) {}
  QueueItem(const QueueItem&) = delete;
  QueueItem& operator=(const QueueItem&) = delete;
  virtual void run() noexcept = 0;
  virtual void drop() noexcept = 0;

  QueueItem* next = nullptr;
  const Kind kind;
  bool barrier = false;

 protected:
  virtual ~QueueItem();
};

template <class F>
class CallableItem final : public QueueItem {
 public:
  template <class G>
  explicit CallableItem(G&& callable) : QueueItem(Kind::kWork), callable_(std::forward<G>(callable)) {}
  void run() noexcept override {
    static_cast<void>(callable_());
    delete this;
  }
  void drop() noexcept override { delete this; }

 private:
  F callable_;
};

template <class F>
concept Work = std::invocable < std::decay_t<F>
& > ;

/// Null for a nil block.
template <Work F>
QueueItem* makeItem(F&& work) {
  if constexpr (HandleType<std::decay_t<F>>) {
    if (!work) return nullptr;
  }
  return new CallableItem<std::decay_t<F>>(std::forward<F>(work));
}

/// A callable that the caller keeps until the call is over.
struct Callee {
  template <class F>
  explicit Callee(F& callable) noexcept
      : context(const_cast<void*>(static_cast<const void*>(&callable))),
        invoke([](void* c) { static_cast<void>((*static_cast<F*>(c))()); }) {}
  void operator()() const { invoke(context); }

  void* context;
  void (*invoke)(void*);
};

KVT_EXPORT void enqueue(const dispatch_queue_t& queue, QueueItem* item, bool barrier) noexcept;
KVT_EXPORT void enqueueAfter(dispatch_time_t when, const dispatch_queue_t& queue, QueueItem* item);
KVT_EXPORT void runSynchronously(const dispatch_queue_t& queue, const Callee& callee, bool barrier);
KVT_EXPORT void apply(std::size_t iterations, const dispatch_queue_t& queue, void* context,
                      void (*invoke)(void* context, std::size_t index));

}  // namespace detail

/// Hands work to the queue and returns at once.
template <detail::Work F>
void dispatch_async(const dispatch_queue_t& queue, F&& work) {
  detail::enqueue(queue, detail::makeItem(std::forward<F>(work)), false);
}

/// The same for work that waits for everything that was handed to a concurrent queue before it, and runs alone.
template <detail::Work F>
void dispatch_barrier_async(const dispatch_queue_t& queue, F&& work) {
  detail::enqueue(queue, detail::makeItem(std::forward<F>(work)), true);
}

/// Waits for its turn, runs the work on this thread (below the main queue: on the main thread) and returns. Raises
/// NSInternalInconsistencyException where it would wait for itself: on a serial queue, or below one, from its own work;
/// from work of a concurrent queue it is allowed, though a barrier waits, and only a barrier raises.
template <detail::Work F>
void dispatch_sync(const dispatch_queue_t& queue, F&& work) {
  detail::runSynchronously(queue, detail::Callee(work), false);
}

/// As `dispatch_sync`, alone on a concurrent queue.
template <detail::Work F>
void dispatch_barrier_sync(const dispatch_queue_t& queue, F&& work) {
  detail::runSynchronously(queue, detail::Callee(work), true);
}

/// Hands work to the queue at that time, or up to a tenth of the wait (at most a minute) later, so that neighbours
/// share a wake. At once for a time that has passed; never for DISPATCH_TIME_FOREVER, which drops it.
template <detail::Work F>
void dispatch_after(dispatch_time_t when, const dispatch_queue_t& queue, F&& work) {
  detail::enqueueAfter(when, queue, detail::makeItem(std::forward<F>(work)));
}

/// Calls the work with 0 … iterations - 1, on as many threads at once as there are processors where the queue is
/// concurrent (nil: the global queue of default priority), and returns when all calls have returned. The calling thread
/// takes part. The first exception that leaves a call is raised again here once all calls are over.
template <class F>
requires std::invocable<F&, std::size_t>
void dispatch_apply(std::size_t iterations, const dispatch_queue_t& queue, F&& work) {
  using Callable = std::remove_reference_t<F>;
  detail::apply(iterations, queue, const_cast<void*>(static_cast<const void*>(&work)),
                [](void* c, std::size_t index) { static_cast<void>((*static_cast<Callable*>(c))(index)); });
}

/// Raises NSInternalInconsistencyException unless this thread is running work of the queue, or of one below it.
KVT_EXPORT void dispatch_assert_queue(const dispatch_queue_t& queue);
/// Raises it when it is.
KVT_EXPORT void dispatch_assert_queue_not(const dispatch_queue_t& queue);

}  // namespace kvt
