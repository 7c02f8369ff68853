#include "DispatchQueue.h"

#include <array>
#include <atomic>
#include <memory>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

#include "DispatchControl.h"
#include "DispatchSource.h"
#include "MainQueue.h"
#include "QueueBody.h"
#include "SourceBody.h"
#include "TimerService.h"
#include "WorkerPool.h"

namespace kvt {

using dispatch::Frame;
using dispatch::MainQueue;
using dispatch::QueueBody;
using dispatch::TimerService;
using dispatch::WorkerPool;
using Role = QueueBody::Role;

// ---- classes --------------------------------------------------------------------------------------------------------

namespace {

NSString queueDescription(const OS_dispatch_queue& self) {
  return NSString::stringWithFormat("<%s: %s[%p]>", class_getName(self.class_()), dispatch_queue_get_label(self),
                                    static_cast<const void*>(self.object()));
}

NSString objectDescription(const OS_dispatch_object& self) {
  return NSString::stringWithFormat("<%s: %p>", class_getName(self.class_()), static_cast<const void*>(self.object()));
}

Class makeClass(const char* name, Class superclass) {
  ClassBuilder<OS_dispatch_queue> c(name, superclass);
  return c.registerClass();
}

}  // namespace

Class OS_dispatch_object::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<OS_dispatch_object> c("OS_dispatch_object", classOf<NSObject>());
    c.method<&objectDescription>("description");
    return c.registerClass();
  }();
  return cls;
}
bool OS_dispatch_object::kvtAccepts(const Object* object) noexcept {
  return class_isSubclassOf(object_getClass(object), classOf<OS_dispatch_object>());
}

Class OS_dispatch_queue::kvtClass() {
  static const Class cls = [] {
    ClassBuilder<OS_dispatch_queue> c("OS_dispatch_queue", classOf<OS_dispatch_object>());
    c.method<&queueDescription>("description");
    return c.registerClass();
  }();
  return cls;
}
bool OS_dispatch_queue::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const QueueBody*>(object) != nullptr;
}

Class dispatch::queueClass(QueueBody::Role role) {
  static const Class base = classOf<OS_dispatch_queue>();
  static const std::array<Class, 4> classes = {
      makeClass("OS_dispatch_queue_global", base), makeClass("OS_dispatch_queue_main", base),
      makeClass("OS_dispatch_queue_serial", base), makeClass("OS_dispatch_queue_concurrent", base)};
  return classes[static_cast<std::size_t>(role)];
}

[[maybe_unused]] static const bool registered = (dispatch::queueClass(Role::kMain), true);

// ---- the queues that are always there -------------------------------------------------------------------------------

namespace dispatch {
namespace {

struct Priority {
  dispatch_qos_class_t qos;
  const char* label;
};
constexpr std::array<Priority, kPriorities> kGlobalQueues = {{
    {QOS_CLASS_USER_INTERACTIVE, "com.apple.root.user-interactive-qos"},
    {QOS_CLASS_USER_INITIATED, "com.apple.root.user-initiated-qos"},
    {QOS_CLASS_DEFAULT, "com.apple.root.default-qos"},
    {QOS_CLASS_UTILITY, "com.apple.root.utility-qos"},
    {QOS_CLASS_BACKGROUND, "com.apple.root.background-qos"},
}};
constexpr std::size_t kDefaultPriority = 2;

QueueBody* makeImmortal(Role role, const char* label, std::size_t priority) {
  auto* queue = new QueueBody(role, label, priority, nullptr, false);
  ObjectAccess::makeImmortal(queue);
  return queue;
}

std::size_t priorityOf(dispatch_qos_class_t qos) noexcept {
  for (std::size_t i = 0; i < kPriorities; ++i) {
    if (kGlobalQueues[i].qos == qos) return i;
  }
  return kDefaultPriority;
}

}  // namespace

QueueBody* QueueBody::main() noexcept {
  static auto* queue = makeImmortal(Role::kMain, "com.apple.main-thread", 0);
  return queue;
}

QueueBody* QueueBody::global(std::size_t priority) noexcept {
  static const std::array<QueueBody*, kPriorities> queues = [] {
    std::array<QueueBody*, kPriorities> made{};
    for (std::size_t i = 0; i < kPriorities; ++i) made[i] = makeImmortal(Role::kGlobal, kGlobalQueues[i].label, i);
    return made;
  }();
  return queues[priority];
}

OS_dispatch_queue targetOrDefault(const OS_dispatch_queue& queue) {
  return queue ? queue : OS_dispatch_queue(borrow, QueueBody::global(kDefaultPriority));
}

}  // namespace dispatch

dispatch_queue_t dispatch_get_main_queue() noexcept { return {borrow, QueueBody::main()}; }

dispatch_queue_t dispatch_get_global_queue(std::intptr_t identifier, std::uintptr_t flags) noexcept {
  if (flags != 0) return {};
  dispatch_qos_class_t qos = QOS_CLASS_UNSPECIFIED;
  switch (identifier) {
    case DISPATCH_QUEUE_PRIORITY_HIGH: qos = QOS_CLASS_USER_INITIATED; break;
    case DISPATCH_QUEUE_PRIORITY_DEFAULT: qos = QOS_CLASS_DEFAULT; break;
    case DISPATCH_QUEUE_PRIORITY_LOW: qos = QOS_CLASS_UTILITY; break;
    case DISPATCH_QUEUE_PRIORITY_BACKGROUND: qos = QOS_CLASS_BACKGROUND; break;
    case QOS_CLASS_USER_INTERACTIVE:
    case QOS_CLASS_USER_INITIATED:
    case QOS_CLASS_DEFAULT:
    case QOS_CLASS_UTILITY:
    case QOS_CLASS_BACKGROUND: qos = static_cast<dispatch_qos_class_t>(identifier); break;
    default: return {};
  }
  return {borrow, QueueBody::global(dispatch::priorityOf(qos))};
}

// ---- queues ---------------------------------------------------------------------------------------------------------

dispatch_queue_t dispatch_queue_create_with_target(const char* label, dispatch_queue_attr_t attr,
                                                   const dispatch_queue_t& target) {
  dispatch_queue_t its = target ? target : dispatch_queue_t(borrow, QueueBody::global(dispatch::priorityOf(attr.qos)));
  return {adopt, new QueueBody(attr.concurrent ? Role::kConcurrent : Role::kSerial, label != nullptr ? label : "", 0,
                               std::move(its), attr.inactive)};
}

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attr) {
  return dispatch_queue_create_with_target(label, attr, nullptr);
}

namespace {

/// The queue whose work runs here; the main queue outside of any on the main thread; else null.
QueueBody* currentQueue() noexcept {
  if (const Frame* frame = Frame::current()) return frame->queue;
  return MainQueue::isMainThread() ? QueueBody::main() : nullptr;
}

bool hasSettings(const QueueBody* queue) noexcept {
  return queue->role() == Role::kSerial || queue->role() == Role::kConcurrent;
}

dispatch::SourceBody* asSource(const dispatch_object_t& object) noexcept {
  return dynamic_cast<dispatch::SourceBody*>(object.object());
}
QueueBody* asQueueWithSettings(const dispatch_object_t& object) noexcept {
  auto* queue = dynamic_cast<QueueBody*>(object.object());
  return queue != nullptr && hasSettings(queue) ? queue : nullptr;
}

}  // namespace

const char* dispatch_get_current_queue_label() noexcept {
  const QueueBody* queue = currentQueue();
  return queue != nullptr ? queue->label() : "";
}

const char* dispatch_queue_get_label(const dispatch_queue_t& queue) noexcept {
  return queue ? QueueBody::of(queue)->label() : dispatch_get_current_queue_label();
}

void dispatch_set_target_queue(const dispatch_object_t& object, const dispatch_queue_t& target) {
  if (auto* source = asSource(object)) source->setQueue(dispatch::targetOrDefault(target));
  if (auto* queue = asQueueWithSettings(object)) queue->setTarget(dispatch::targetOrDefault(target));
}

void dispatch_suspend(const dispatch_object_t& object) {
  if (auto* source = asSource(object)) source->suspend();
  if (auto* queue = asQueueWithSettings(object)) queue->suspend();
}
void dispatch_resume(const dispatch_object_t& object) {
  if (auto* source = asSource(object)) source->resume();
  if (auto* queue = asQueueWithSettings(object)) queue->resume();
}
void dispatch_activate(const dispatch_object_t& object) {
  if (auto* source = asSource(object)) source->activate();
  if (auto* queue = asQueueWithSettings(object)) queue->activate();
}

void dispatch_queue_set_specific(const dispatch_queue_t& queue, const void* key, void* context,
                                 void (*destructor)(void*)) {
  if (queue) QueueBody::of(queue)->setSpecific(key, context, destructor);
}
void* dispatch_queue_get_specific(const dispatch_queue_t& queue, const void* key) noexcept {
  return queue ? QueueBody::of(queue)->specific(key) : nullptr;
}
void* dispatch_get_specific(const void* key) noexcept {
  OS_dispatch_queue keep;
  for (const QueueBody* each = currentQueue(); each != nullptr; each = QueueBody::of(keep)) {
    if (void* context = each->specific(key)) return context;
    keep = each->target();
  }
  return nullptr;
}

static bool isCurrent(const dispatch_queue_t& queue) noexcept {
  const QueueBody* sought = QueueBody::of(queue);
  return Frame::current() != nullptr ? Frame::runs(sought) : currentQueue() == sought;
}

void dispatch_assert_queue(const dispatch_queue_t& queue) {
  if (!queue || isCurrent(queue)) return;
  objc_raise("NSInternalInconsistencyException",
             std::string("dispatch_assert_queue: not on queue \"") + dispatch_queue_get_label(queue) + "\"");
}
void dispatch_assert_queue_not(const dispatch_queue_t& queue) {
  if (!queue || !isCurrent(queue)) return;
  objc_raise("NSInternalInconsistencyException",
             std::string("dispatch_assert_queue_not: on queue \"") + dispatch_queue_get_label(queue) + "\"");
}

// ---- work -----------------------------------------------------------------------------------------------------------

namespace detail {

QueueItem::~QueueItem() = default;

void enqueue(const dispatch_queue_t& queue, QueueItem* item, bool barrier) noexcept {
  if (item == nullptr) return;
  if (!queue) return item->drop();
  item->barrier = barrier;
  QueueBody::of(queue)->enqueue(item);
}

void runSynchronously(const dispatch_queue_t& queue, const Callee& callee, bool barrier) {
  if (queue) QueueBody::of(queue)->runSynchronously(callee, barrier);
}

namespace {

/// `dispatch_after`.
class Delayed final : public dispatch::TimerEntry {
 public:
  Delayed(const dispatch_queue_t& queue, QueueItem* item) : queue_(queue), item_(item) {}
  void fire(std::uint64_t) noexcept override { enqueue(queue_, std::exchange(item_, nullptr), false); }

 private:
  const dispatch_queue_t queue_;
  QueueItem* item_;
};

}  // namespace

void enqueueAfter(dispatch_time_t when, const dispatch_queue_t& queue, QueueItem* item) {
  if (item == nullptr) return;
  if (!queue || when == DISPATCH_TIME_FOREVER) return item->drop();
  TimerService& timers = TimerService::shared();
  const std::uint64_t due = timers.monotonic(when);
  const std::uint64_t now = timers.now();
  if (due <= now) return enqueue(queue, item, false);
  const Handle entry(adopt, new Delayed(queue, item));
  timers.arm(static_cast<Delayed*>(entry.object()), due, std::min((due - now) / 10, 60 * NSEC_PER_SEC));
}

namespace {

/// What the threads of one `dispatch_apply` share. Those that come when all is done find nothing to do.
struct Application {
  Application(std::size_t n, void* c, void (*f)(void*, std::size_t)) : iterations(n), context(c), invoke(f), left(n) {}

  void work() noexcept {
    for (std::size_t i; (i = next.fetch_add(1, std::memory_order_relaxed)) < iterations;) {
      try {
        invoke(context, i);
      } catch (...) {
        if (!failed.exchange(true, std::memory_order_relaxed)) error = std::current_exception();
      }
      if (left.fetch_sub(1, std::memory_order_acq_rel) == 1) over.signal();
    }
  }

  const std::size_t iterations;
  void* const context;
  void (*const invoke)(void*, std::size_t);
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> left;
  std::atomic<bool> failed{false};
  std::exception_ptr error;
  dispatch::Event over;
};

}  // namespace

void apply(std::size_t iterations, const dispatch_queue_t& queue, void* context,
           void (*invoke)(void* context, std::size_t index)) {
  if (iterations == 0) return;
  const dispatch_queue_t on = dispatch::targetOrDefault(queue);
  const Role role = QueueBody::of(on)->role();
  const bool serial = role == Role::kSerial || role == Role::kMain;
  const std::size_t threads = serial ? 1 : std::min(iterations, WorkerPool::shared().processors());
  const auto shared = std::make_shared<Application>(iterations, context, invoke);
  for (std::size_t i = 1; i < threads; ++i) dispatch_async(on, [shared] { shared->work(); });
  dispatch_sync(on, [&] { shared->work(); });
  shared->over.wait();
  if (shared->error) std::rethrow_exception(shared->error);
}

}  // namespace detail

// ---- control --------------------------------------------------------------------------------------------------------

DispatchManualClock::DispatchManualClock() {
  if (!TimerService::shared().beginManualClock()) {
    objc_raise("NSInternalInconsistencyException", "DispatchManualClock: there is one already");
  }
}
DispatchManualClock::~DispatchManualClock() { TimerService::shared().endManualClock(); }
void DispatchManualClock::advance(std::uint64_t nanoseconds) { TimerService::shared().advance(nanoseconds); }
std::uint64_t DispatchManualClock::now() const noexcept { return TimerService::shared().now(); }

DispatchStatistics dispatch_statistics() noexcept {
  DispatchStatistics result;
  WorkerPool::shared().statistics(result);
  TimerService::shared().statistics(result);
  return result;
}

void dispatch_set_worker_idle_time(std::uint64_t nanoseconds) noexcept {
  WorkerPool::shared().setIdleTime(nanoseconds);
}

}  // namespace kvt
