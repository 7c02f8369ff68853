#include "DispatchSource.h"

#include <algorithm>
#include <utility>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "SourceBody.h"

namespace kvt {
namespace dispatch {
namespace {
constexpr std::uint64_t kNever = ~std::uint64_t{0};
}

void Timer::Delivery::run() noexcept {
  const Handle owner(adopt, timer_);
  timer_->deliver();
}
void Timer::Delivery::drop() noexcept { ObjectAccess::release(timer_); }

/// Whether there is something to do on the queue.
bool Timer::wantsQueue() const noexcept {
  if (abandoned_) return !over_;
  if (suspensions_ != 0) return false;
  return cancelled_ ? !over_ : fired_;
}

/// Brings heap and queue in line with the state; under the lock.
void Timer::update() noexcept {
  const bool runs = suspensions_ == 0 && !cancelled_ && !abandoned_;
  TimerService& timers = TimerService::shared();
  if (runs && !fired_ && due_ <= timers.now()) fired_ = true;
  if (runs && !fired_ && due_ != kNever) {
    timers.arm(this, due_, strict_ ? 0 : leeway_);
    armed_ = true;
  } else if (std::exchange(armed_, false)) {
    timers.disarm(this);
  }
  if (wantsQueue() && !queued_ && !handling_) {
    queued_ = true;
    ObjectAccess::retain(this);
    detail::enqueue(queue_, &delivery_, false);
  }
}

void Timer::fire(std::uint64_t due) noexcept {
  std::lock_guard lock(mutex_);
  // It may have been set anew, or suspended, since it was taken from the heap.
  if (!armed_ || due != due_) return;
  armed_ = false;
  fired_ = true;
  update();
}

void Timer::deliver() noexcept {
  dispatch_block_t handler, gone, unused;  // destroyed here, on the queue
  {
    std::lock_guard lock(mutex_);
    queued_ = false;
    if (!wantsQueue()) return;
    handling_ = true;
    if (cancelled_ || abandoned_) {
      over_ = true;
      gone = std::move(eventHandler_);
      if (cancelled_) handler = cancelHandler_;
      unused.swap(cancelHandler_);
    } else {
      // Of an interval that has passed several times, the handler hears once.
      fired_ = false;
      data_ = 1;
      if (interval_ == kNever) {
        due_ = kNever;
      } else {
        const std::uint64_t now = TimerService::shared().now();
        if (now > due_) data_ += (now - due_) / interval_;
        due_ += data_ * interval_;
      }
      handler = eventHandler_;
      update();
    }
  }
  handler();
  std::lock_guard lock(mutex_);
  handling_ = false;
  update();
}

void Timer::set(dispatch_time_t start, std::uint64_t interval, std::uint64_t leeway) {
  std::lock_guard lock(mutex_);
  due_ = TimerService::shared().monotonic(start);
  // What does not come again in this machine's life does not come again.
  interval_ = interval >= std::uint64_t{1} << 62 ? kNever : std::max<std::uint64_t>(interval, 1);
  leeway_ = leeway;
  fired_ = false;
  update();
}

void Timer::setEventHandler(dispatch_block_t handler) {
  std::lock_guard lock(mutex_);
  if (!over_) eventHandler_.swap(handler);
}

void Timer::setCancelHandler(dispatch_block_t handler) {
  std::lock_guard lock(mutex_);
  if (!over_) cancelHandler_.swap(handler);
}

void Timer::setQueue(OS_dispatch_queue queue) {
  std::lock_guard lock(mutex_);
  queue_.swap(queue);
}

void Timer::suspend() noexcept {
  std::lock_guard lock(mutex_);
  ++suspensions_;
  update();
}

void Timer::resume() {
  std::lock_guard lock(mutex_);
  if (suspensions_ == 0) objc_raise("NSInternalInconsistencyException", "dispatch_resume: over-resume of an object");
  if (--suspensions_ == 0) inactive_ = false;
  update();
}

void Timer::activate() {
  {
    std::lock_guard lock(mutex_);
    if (!inactive_) return;
    inactive_ = false;
  }
  resume();
}

void Timer::cancel() {
  std::lock_guard lock(mutex_);
  cancelled_ = true;
  update();
}

void Timer::abandon() noexcept {
  std::lock_guard lock(mutex_);
  abandoned_ = true;
  over_ = over_ || (!eventHandler_ && !cancelHandler_);
  update();
}

bool Timer::isCancelled() const noexcept {
  std::lock_guard lock(mutex_);
  return cancelled_;
}

std::uint64_t Timer::data() const noexcept {
  std::lock_guard lock(mutex_);
  return data_;
}

SourceBody::SourceBody(Timer* timer)
    : Object(classOf<OS_dispatch_source>(), ObjectKind::kPlain), timer_(adopt, timer) {}

}  // namespace dispatch

using dispatch::SourceBody;
using dispatch::Timer;

namespace {
Timer& timerOf(const dispatch_source_t& source) { return static_cast<SourceBody*>(source.object())->timer(); }
}  // namespace

Class OS_dispatch_source::kvtClass() {
  static const Class cls =
      ClassBuilder<OS_dispatch_source>("OS_dispatch_source", classOf<OS_dispatch_object>()).registerClass();
  return cls;
}
bool OS_dispatch_source::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const SourceBody*>(object) != nullptr;
}
[[maybe_unused]] static const bool registered = (classOf<OS_dispatch_source>(), true);

dispatch_source_t dispatch_source_create(dispatch_source_type_t type, std::uintptr_t handle, std::uintptr_t mask,
                                         const dispatch_queue_t& queue) {
  if (type != DISPATCH_SOURCE_TYPE_TIMER || handle != 0 || (mask & ~DISPATCH_TIMER_STRICT) != 0) return {};
  return {adopt, new SourceBody(new Timer(dispatch::targetOrDefault(queue), mask == DISPATCH_TIMER_STRICT))};
}

void dispatch_source_set_timer(const dispatch_source_t& source, dispatch_time_t start, std::uint64_t interval,
                               std::uint64_t leeway) {
  if (source) timerOf(source).set(start, interval, leeway);
}
void dispatch_source_set_event_handler(const dispatch_source_t& source, const dispatch_block_t& handler) {
  if (source) timerOf(source).setEventHandler(handler);
}
void dispatch_source_set_cancel_handler(const dispatch_source_t& source, const dispatch_block_t& handler) {
  if (source) timerOf(source).setCancelHandler(handler);
}
void dispatch_source_cancel(const dispatch_source_t& source) {
  if (source) timerOf(source).cancel();
}
std::intptr_t dispatch_source_testcancel(const dispatch_source_t& source) {
  return source && timerOf(source).isCancelled() ? 1 : 0;
}
std::uintptr_t dispatch_source_get_data(const dispatch_source_t& source) { return source ? timerOf(source).data() : 0; }
std::uintptr_t dispatch_source_get_mask(const dispatch_source_t& source) { return source ? timerOf(source).mask() : 0; }

}  // namespace kvt
