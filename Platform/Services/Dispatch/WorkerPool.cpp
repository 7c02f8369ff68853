#include "WorkerPool.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "Futex.h"
#include "QueueBody.h"
#include "TimerService.h"

namespace kvt::dispatch {

struct WorkerPool::Worker {
  enum : std::uint32_t { kNotCalled, kAsleep, kCalled };

  Worker* nextIdle = nullptr;
  Worker* next = nullptr;
  Worker* previous = nullptr;
  std::atomic<std::uint32_t> call{kNotCalled};
  std::uint32_t thread = 0;
  bool isIdle = false;
  unsigned blocked = 0;
  unsigned shortPauses = 0;  // one after the other, up to now
};

namespace {

constexpr std::uint64_t kIdleTime = 5 * NSEC_PER_SEC;
/// Work that goes to and fro between two threads comes back sooner than a sleeping thread is woken. So a worker that
/// was called again quickly some times looks for a moment whether it is called before it goes to sleep.
constexpr std::uint64_t kShortPause = 100 * NSEC_PER_USEC;
constexpr std::uint64_t kLookingTime = 50 * NSEC_PER_USEC;
constexpr unsigned kShortPausesBeforeLooking = 4;

std::size_t countProcessors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  return static_cast<std::size_t>(::sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1);
}

/// Whether the system says that the thread neither runs nor wants to.
bool isAsleep(std::uint32_t thread) noexcept {
  char text[512];
  std::snprintf(text, sizeof text, "/proc/self/task/%u/stat", thread);
  const int file = ::open(text, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const ssize_t size = ::read(file, text, sizeof text - 1);
  ::close(file);
  if (size <= 0) return false;
  text[size] = '\0';
  // The state stands behind the name, which may hold anything.
  const char* end = std::strrchr(text, ')');
  return end != nullptr && end[1] == ' ' && end[2] != 'R';
}

}  // namespace

thread_local WorkerPool::Worker* WorkerPool::current_ = nullptr;

WorkerPool::WorkerPool()
    : processors_(std::max<std::size_t>(countProcessors(), 2)),
      looksBeforeSleep_(countProcessors() > 1),
      idleTime_(kIdleTime) {}

WorkerPool& WorkerPool::shared() {
  static auto* pool = new WorkerPool;
  return *pool;
}

void WorkerPool::submit(detail::QueueItem* item, std::size_t priority) noexcept {
  Help help;
  {
    std::lock_guard lock(mutex_);
    item->next = nullptr;
    List& list = lists_[priority];
    (list.tail != nullptr ? list.tail->next : list.head) = item;
    list.tail = item;
    waiting_.fetch_add(1, std::memory_order_relaxed);
    help = findHelp();
  }
  callHelp(help);
}

detail::QueueItem* WorkerPool::take(std::size_t& priority) noexcept {
  for (priority = 0; priority < kPriorities; ++priority) {
    List& list = lists_[priority];
    detail::QueueItem* item = list.head;
    if (item == nullptr) continue;
    list.head = item->next;
    if (list.head == nullptr) list.tail = nullptr;
    waiting_.fetch_sub(1, std::memory_order_relaxed);
    return item;
  }
  return nullptr;
}

WorkerPool::Help WorkerPool::findHelp() noexcept {
  Help help;
  if (running() < limit()) {
    if (idleWorkers_ != nullptr) {
      help.wake = idleWorkers_;
      idleWorkers_ = help.wake->nextIdle;
      help.wake->isIdle = false;
      help.wakeIsAsleep = help.wake->call.exchange(Worker::kCalled, std::memory_order_acq_rel) == Worker::kAsleep;
      --idle_;
    } else if (workers_ < kMaximumWorkers) {
      ++workers_;
      help.spawn = true;
    }
  }
  help.look = running() >= processors_ || !(help.wake != nullptr || help.spawn);
  return help;
}

void WorkerPool::callHelp(Help help) noexcept {
  // The thread may be up by itself already, and even gone: only its address is used.
  if (help.wakeIsAsleep) futexWake(help.wake->call, 1);
  if (help.spawn && !spawn()) {
    std::lock_guard lock(mutex_);
    --workers_;
    help.look = true;  // and try again then
  }
  if (help.look) TimerService::shared().watchWorkers();
}

bool WorkerPool::spawn() noexcept {
  auto* worker = new Worker;
  // Signals are for the host's threads.
  sigset_t all, before;
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_attr_t attributes;
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  pthread_t thread;
  const int failure = ::pthread_create(&thread, &attributes, &threadMain, worker);
  ::pthread_attr_destroy(&attributes);
  ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (failure != 0) delete worker;
  return failure == 0;
}

void* WorkerPool::threadMain(void* worker) {
  ::pthread_setname_np(::pthread_self(), "kvt.worker");
  auto* self = static_cast<Worker*>(worker);
  current_ = self;
  self->thread = currentThreadId();
  shared().work(*self);
  current_ = nullptr;
  delete self;
  return nullptr;
}

void WorkerPool::work(Worker& self) {
  std::unique_lock lock(mutex_);
  self.next = allWorkers_;
  if (allWorkers_ != nullptr) allWorkers_->previous = &self;
  allWorkers_ = &self;
  for (;;) {
    std::size_t priority = 0;
    detail::QueueItem* item = running() <= limit() ? take(priority) : nullptr;
    if (item != nullptr) {
      lock.unlock();
      runOnWorker(item, priority);
      lock.lock();
      continue;
    }
    self.isIdle = true;
    self.nextIdle = idleWorkers_;
    idleWorkers_ = &self;
    ++idle_;
    lock.unlock();
    sleep(self);
    lock.lock();
    if (self.isIdle) break;  // the idle time is over and nobody called
    self.call.store(Worker::kNotCalled, std::memory_order_relaxed);
  }
  Worker** link = &idleWorkers_;
  while (*link != &self) link = &(*link)->nextIdle;
  *link = self.nextIdle;
  (self.previous != nullptr ? self.previous->next : allWorkers_) = self.next;
  if (self.next != nullptr) self.next->previous = self.previous;
  --idle_;
  --workers_;
}

/// Until it is called or the idle time is over.
void WorkerPool::sleep(Worker& self) {
  const std::uint64_t start = TimerService::realNow();
  if (self.shortPauses >= kShortPausesBeforeLooking && looksBeforeSleep_) {
    do {
      for (int i = 0; i < 64; ++i) {
        if (self.call.load(std::memory_order_acquire) == Worker::kCalled) return;
        pauseBriefly();
      }
    } while (TimerService::realNow() - start < kLookingTime);
    self.shortPauses = 0;  // in vain
  }
  std::uint32_t call = Worker::kNotCalled;
  if (!self.call.compare_exchange_strong(call, Worker::kAsleep, std::memory_order_acq_rel)) return;
  std::uint64_t idleTime = idleTime_.load(std::memory_order_acquire);
  std::uint64_t deadline = start + idleTime;
  while (self.call.load(std::memory_order_acquire) != Worker::kCalled) {
    const std::timespec time{static_cast<std::time_t>(deadline / NSEC_PER_SEC),
                             static_cast<long>(deadline % NSEC_PER_SEC)};
    if (!futexWaitUntil(self.call, Worker::kAsleep, CLOCK_MONOTONIC, time)) return;
    if (const std::uint64_t changed = idleTime_.load(std::memory_order_acquire); changed != idleTime) {
      idleTime = changed;
      deadline = TimerService::realNow() + idleTime;
    }
  }
  self.shortPauses = TimerService::realNow() - start < kShortPause ? self.shortPauses + 1 : 0;
}

void WorkerPool::setIdleTime(std::uint64_t nanoseconds) noexcept {
  // Longer is for ever, and the sum must not run over.
  idleTime_.store(std::min<std::uint64_t>(nanoseconds, NSEC_PER_SEC * 86'400 * 365), std::memory_order_release);
  std::lock_guard lock(mutex_);
  for (Worker* worker = idleWorkers_; worker != nullptr; worker = worker->nextIdle) futexWake(worker->call, 1);
}

WorkerPool::BlockingScope::BlockingScope() noexcept {
  Worker* const worker = current_;
  if (worker == nullptr) return;
  WorkerPool& pool = shared();
  Help help;
  {
    std::lock_guard lock(pool.mutex_);
    if (worker->blocked++ == 0) ++pool.blocked_;
    if (pool.hasWaiting()) help = pool.findHelp();
  }
  pool.callHelp(help);
}

WorkerPool::BlockingScope::~BlockingScope() {
  Worker* const worker = current_;
  if (worker == nullptr) return;
  WorkerPool& pool = shared();
  std::lock_guard lock(pool.mutex_);
  if (--worker->blocked == 0) --pool.blocked_;
}

bool WorkerPool::replaceSleepers() noexcept {
  std::vector<std::uint32_t> busy;
  {
    std::lock_guard lock(mutex_);
    if (!hasWaiting()) return false;
    for (Worker* worker = allWorkers_; worker != nullptr; worker = worker->next) {
      if (!worker->isIdle && worker->blocked == 0) busy.push_back(worker->thread);
    }
  }
  const auto asleep = static_cast<std::size_t>(std::count_if(busy.begin(), busy.end(), isAsleep));
  Help help;
  {
    std::lock_guard lock(mutex_);
    sleepers_ = asleep;
    if (hasWaiting()) help = findHelp();
    help.look = false;
  }
  callHelp(help);
  return true;
}

void WorkerPool::statistics(DispatchStatistics& result) noexcept {
  std::lock_guard lock(mutex_);
  result.workers = workers_;
  result.idleWorkers = idle_;
  result.blockedWorkers = blocked_;
  result.waitingItems = waiting_.load(std::memory_order_relaxed);
}

}  // namespace kvt::dispatch
