#include "TimerService.h"

#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>

#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>

#include "WorkerPool.h"

namespace kvt::dispatch {
namespace {

constexpr std::uint64_t kNever = ~std::uint64_t{0};
constexpr std::uint64_t kWatchInterval = 5 * NSEC_PER_MSEC;
constexpr std::size_t kFanOut = 4;
// Set in a dispatch_time_t that is a time on the wall.
constexpr std::uint64_t kWall = std::uint64_t{1} << 63;

std::uint64_t read(clockid_t clock) noexcept {
  std::timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<std::uint64_t>(time.tv_sec) * NSEC_PER_SEC + static_cast<std::uint64_t>(time.tv_nsec);
}

std::uint64_t saturatingSum(std::uint64_t a, std::uint64_t b) noexcept { return a > kNever - b ? kNever : a + b; }

/// Between the clock's first nanosecond and its last.
std::uint64_t moved(std::uint64_t time, std::int64_t by) noexcept {
  if (by < 0) {
    const std::uint64_t back = std::uint64_t{0} - static_cast<std::uint64_t>(by);
    return time > back ? time - back : 1;
  }
  return time + static_cast<std::uint64_t>(by);  // both are below 2^63
}

}  // namespace

TimerService& TimerService::shared() {
  static auto* service = new TimerService;
  return *service;
}

// ---- clocks ---------------------------------------------------------------------------------------------------------

std::uint64_t TimerService::realNow() noexcept { return read(CLOCK_MONOTONIC); }

std::uint64_t TimerService::now() const noexcept {
  return manual_.load(std::memory_order_acquire) ? manualNow_.load(std::memory_order_acquire) : realNow();
}

std::uint64_t TimerService::wallNow() const noexcept {
  if (!manual_.load(std::memory_order_acquire)) return read(CLOCK_REALTIME);
  return manualNow_.load(std::memory_order_acquire) + manualWallOffset_.load(std::memory_order_relaxed);
}

std::uint64_t TimerService::monotonic(dispatch_time_t time) const noexcept {
  if (time == DISPATCH_TIME_NOW) return now();
  if ((time & kWall) == 0 || time == DISPATCH_TIME_FOREVER) return time;
  const std::uint64_t wall = time & ~kWall;
  const std::uint64_t wallTime = wallNow();
  return moved(now(), static_cast<std::int64_t>(wall - wallTime));
}

// ---- the heap -------------------------------------------------------------------------------------------------------

void TimerService::place(std::size_t index, Slot slot) noexcept {
  heap_[index] = slot;
  slot.entry->index_ = index;
}

void TimerService::siftUp(std::size_t index, Slot slot) noexcept {
  while (index > 0) {
    const std::size_t parent = (index - 1) / kFanOut;
    if (heap_[parent].deadline <= slot.deadline) break;
    place(index, heap_[parent]);
    index = parent;
  }
  place(index, slot);
}

void TimerService::siftDown(std::size_t index, Slot slot) noexcept {
  for (;;) {
    const std::size_t first = index * kFanOut + 1;
    if (first >= heap_.size()) break;
    std::size_t least = first;
    for (std::size_t i = first + 1; i < std::min(first + kFanOut, heap_.size()); ++i) {
      if (heap_[i].deadline < heap_[least].deadline) least = i;
    }
    if (heap_[least].deadline >= slot.deadline) break;
    place(index, heap_[least]);
    index = least;
  }
  place(index, slot);
}

void TimerService::removeAt(std::size_t index) noexcept {
  heap_[index].entry->index_ = TimerEntry::kNotArmed;
  const Slot last = heap_.back();
  heap_.pop_back();
  if (index == heap_.size()) return;
  if (index > 0 && last.deadline < heap_[(index - 1) / kFanOut].deadline)
    siftUp(index, last);
  else
    siftDown(index, last);
}

void TimerService::arm(TimerEntry* entry, std::uint64_t due, std::uint64_t leeway) {
  if (due == kNever) return disarm(entry);
  const Slot slot{saturatingSum(due, leeway), entry};
  bool wake = false;
  {
    std::lock_guard lock(mutex_);
    if (entry->index_ != TimerEntry::kNotArmed) {
      removeAt(entry->index_);
    } else {
      ObjectAccess::retain(entry);
    }
    entry->due_ = due;
    heap_.push_back(slot);
    siftUp(heap_.size() - 1, slot);
    start();
    if (manual_.load(std::memory_order_relaxed)) {
      // Nobody may come to advance the clock to a time that it has reached.
      wake = due <= manualNow_.load(std::memory_order_relaxed);
      overdue_ = overdue_ || wake;
    } else if (slot.deadline < sleepsUntil_) {
      sleepsUntil_ = slot.deadline;
      wake = true;
    }
  }
  if (wake) wakeThread();
}

void TimerService::disarm(TimerEntry* entry) noexcept {
  {
    std::lock_guard lock(mutex_);
    if (entry->index_ == TimerEntry::kNotArmed) return;
    removeAt(entry->index_);
  }
  ObjectAccess::release(entry);
}

// ---- the thread -----------------------------------------------------------------------------------------------------

void TimerService::take(std::size_t index, std::vector<Due>& due) {
  TimerEntry* entry = heap_[index].entry;
  removeAt(index);
  due.push_back({Handle(adopt, entry), entry->due_});
}

void TimerService::collect(std::uint64_t now, std::vector<Due>& due) {
  while (!heap_.empty() && heap_.front().entry->due_ <= now) take(0, due);
  if (!due.empty()) ++wakes_;
}

void TimerService::collectAll(std::uint64_t now, std::vector<Due>& due) {
  std::vector<TimerEntry*> entries;
  for (const Slot& slot : heap_) {
    if (slot.entry->due_ <= now) entries.push_back(slot.entry);
  }
  for (TimerEntry* entry : entries) take(entry->index_, due);
  if (!due.empty()) ++wakes_;
}

void TimerService::fireAll(std::vector<Due>& due) {
  for (Due& each : due) {
    static_cast<TimerEntry*>(each.entry.object())->fire(each.time);
    each.entry = nullptr;
  }
  due.clear();
}

void TimerService::start() {
  if (started_) return;
  // Signals are for the host's threads.
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    std::thread([this] { threadMain(); }).detach();
    started_ = true;
  } catch (const std::system_error&) {
    // The next one who comes tries again.
  }
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void TimerService::wakeThread() noexcept {
  changes_.fetch_add(1, std::memory_order_release);
  futexWake(changes_, 1);
}

void TimerService::threadMain() {
  ::pthread_setname_np(::pthread_self(), "kvt.timer");
  // Leeway is what the callers give; the system's own is for threads that have none.
  ::prctl(PR_SET_TIMERSLACK, 1UL);
  std::vector<Due> due;
  std::unique_lock lock(mutex_);
  for (;;) {
    const std::uint64_t now = realNow();
    if (watching_.load(std::memory_order_relaxed) && now >= watchAt_) {
      lock.unlock();
      const bool again = WorkerPool::shared().replaceSleepers();
      lock.lock();
      watchAt_ = realNow() + kWatchInterval;
      watching_.store(again, std::memory_order_relaxed);
      continue;
    }
    std::uint64_t until = watching_.load(std::memory_order_relaxed) ? watchAt_ : kNever;
    if (manual_.load(std::memory_order_relaxed)) {
      if (std::exchange(overdue_, false)) collectAll(manualNow_.load(std::memory_order_relaxed), due);
    } else if (!heap_.empty()) {
      if (heap_.front().deadline <= now)
        collect(now, due);
      else
        until = std::min(until, heap_.front().deadline);
    }
    if (!due.empty()) {
      sleepsUntil_ = 0;  // awake: what is armed now needs no call
      lock.unlock();
      fireAll(due);
      lock.lock();
      continue;
    }
    sleepsUntil_ = until;
    const std::uint32_t changes = changes_.load(std::memory_order_relaxed);
    lock.unlock();
    if (until >= kWall) {
      futexWait(changes_, changes);
    } else {
      const std::timespec deadline{static_cast<std::time_t>(until / NSEC_PER_SEC),
                                   static_cast<long>(until % NSEC_PER_SEC)};
      futexWaitUntil(changes_, changes, CLOCK_MONOTONIC, deadline);
    }
    lock.lock();
  }
}

void TimerService::watchWorkers() noexcept {
  if (watching_.load(std::memory_order_relaxed)) return;
  {
    std::lock_guard lock(mutex_);
    if (watching_.load(std::memory_order_relaxed)) return;
    watching_.store(true, std::memory_order_relaxed);
    watchAt_ = realNow() + kWatchInterval;
    start();
    if (watchAt_ >= sleepsUntil_) return;
  }
  wakeThread();
}

// ---- the manual clock -----------------------------------------------------------------------------------------------

bool TimerService::beginManualClock() {
  std::lock_guard lock(mutex_);
  if (manual_.load(std::memory_order_relaxed)) return false;
  const std::uint64_t real = realNow();
  manualNow_.store(real, std::memory_order_relaxed);
  manualWallOffset_.store(read(CLOCK_REALTIME) - real, std::memory_order_relaxed);
  manual_.store(true, std::memory_order_release);
  return true;
}

void TimerService::endManualClock() {
  {
    std::lock_guard lock(mutex_);
    manual_.store(false, std::memory_order_release);
    sleepsUntil_ = 0;
  }
  wakeThread();
}

void TimerService::advance(std::uint64_t nanoseconds) {
  std::vector<Due> due;
  std::unique_lock lock(mutex_);
  const std::uint64_t end = manualNow_.load(std::memory_order_relaxed) + nanoseconds;
  for (bool more = true; more;) {
    // The wakes of the real clock; at the end, what may fire by then but need not yet.
    const std::uint64_t now = manualNow_.load(std::memory_order_relaxed);
    more = !heap_.empty() && heap_.front().deadline <= end;
    const std::uint64_t time = more ? std::max(heap_.front().deadline, now) : end;
    manualNow_.store(time, std::memory_order_release);
    if (more)
      collect(time, due);
    else
      collectAll(time, due);
    std::stable_sort(due.begin(), due.end(), [](const Due& a, const Due& b) { return a.time < b.time; });
    lock.unlock();
    fireAll(due);
    lock.lock();
  }
}

void TimerService::statistics(DispatchStatistics& result) noexcept {
  std::lock_guard lock(mutex_);
  result.timers = heap_.size();
  result.timerWakes = wakes_;
}

}  // namespace kvt::dispatch

namespace kvt {

using dispatch::kWall;
using dispatch::moved;
using dispatch::TimerService;

dispatch_time_t dispatch_time(dispatch_time_t when, std::int64_t nanoseconds) noexcept {
  if (when == DISPATCH_TIME_FOREVER) return when;
  const bool wall = (when & kWall) != 0;
  if (when == DISPATCH_TIME_NOW) when = TimerService::shared().now();
  const std::uint64_t time = moved(when & ~kWall, nanoseconds);
  if (time >= (wall ? kWall - 1 : kWall)) return DISPATCH_TIME_FOREVER;
  return wall ? time | kWall : time;
}

dispatch_time_t dispatch_walltime(const std::timespec* when, std::int64_t nanoseconds) noexcept {
  const std::uint64_t from = when != nullptr ? static_cast<std::uint64_t>(when->tv_sec) * NSEC_PER_SEC +
                                                   static_cast<std::uint64_t>(when->tv_nsec)
                                             : TimerService::shared().wallNow();
  if (from >= kWall - 1) return DISPATCH_TIME_FOREVER;
  const std::uint64_t time = moved(from, nanoseconds);
  return time >= kWall - 1 ? DISPATCH_TIME_FOREVER : time | kWall;
}

}  // namespace kvt
