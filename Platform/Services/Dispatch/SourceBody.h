// What a timer source is made of; not installed.
//
// The body is what handles hold; when the last one goes it tells the *timer*, which the heap and the queue hold as long
// as they need it. A timer whose time has come is put on its queue once; only when the queue comes to it, the timer
// counts what has passed, is armed for the next time, and calls its handler. So a timer that is suspended, or whose
// queue is busy, wakes nobody.
#pragma once

#include <cstdint>
#include <mutex>

#include "DispatchSource.h"
#include "Futex.h"
#include "TimerService.h"

namespace kvt::dispatch {

class Timer final : public TimerEntry {
 public:
  Timer(OS_dispatch_queue queue, bool strict) : queue_(std::move(queue)), strict_(strict), delivery_(this) {}

  void fire(std::uint64_t due) noexcept override;

  void set(dispatch_time_t start, std::uint64_t interval, std::uint64_t leeway);
  void setEventHandler(dispatch_block_t handler);
  void setCancelHandler(dispatch_block_t handler);
  void setQueue(OS_dispatch_queue queue);
  void suspend() noexcept;
  void resume();
  void activate();
  void cancel();
  /// Nobody holds the source any more.
  void abandon() noexcept;
  bool isCancelled() const noexcept;
  std::uint64_t data() const noexcept;
  std::uint64_t mask() const noexcept { return strict_ ? DISPATCH_TIMER_STRICT : 0; }

 private:
  /// The timer on its queue.
  class Delivery final : public detail::QueueItem {
   public:
    explicit Delivery(Timer* timer) noexcept : QueueItem(Kind::kWork), timer_(timer) {}
    ~Delivery() override = default;
    void run() noexcept override;
    void drop() noexcept override;

   private:
    Timer* const timer_;
  };

  bool wantsQueue() const noexcept;
  void update() noexcept;
  void deliver() noexcept;

  mutable ShortLock mutex_;
  OS_dispatch_queue queue_;
  const bool strict_;
  Delivery delivery_;
  dispatch_block_t eventHandler_;
  dispatch_block_t cancelHandler_;
  std::uint64_t due_ = ~std::uint64_t{0};  // the next time, or the one that has come
  std::uint64_t interval_ = ~std::uint64_t{0};
  std::uint64_t leeway_ = 0;
  std::uint64_t data_ = 0;
  std::size_t suspensions_ = 1;
  bool inactive_ = true;
  bool armed_ = false;     // in the heap
  bool fired_ = false;     // its time has come, and the handler was not called yet
  bool handling_ = false;  // a handler runs: the next one waits, whatever queue it is
  bool queued_ = false;    // the delivery is on a queue
  bool cancelled_ = false;
  bool abandoned_ = false;
  bool over_ = false;  // handlers are gone
};

class SourceBody final : public Object {
 public:
  explicit SourceBody(Timer* timer);
  ~SourceBody() override { timer().abandon(); }

  Timer& timer() const noexcept { return *static_cast<Timer*>(timer_.object()); }

  void setQueue(OS_dispatch_queue queue) { timer().setQueue(std::move(queue)); }
  void suspend() noexcept { timer().suspend(); }
  void resume() { timer().resume(); }
  void activate() { timer().activate(); }

 private:
  const Handle timer_;
};

/// The queue; for nil the global one of default priority.
OS_dispatch_queue targetOrDefault(const OS_dispatch_queue& queue);

}  // namespace kvt::dispatch
