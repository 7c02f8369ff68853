#include "MainQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <limits>

#include <KVTPlatform/Runtime/Raise.h>

#include "DispatchMainQueue.h"
#include "Futex.h"
#include "QueueBody.h"

namespace kvt::dispatch {
namespace {

// The initial thread has the process's number. Asked for when the library is loaded.
const auto initialThread = static_cast<std::uint32_t>(::getpid());

// The thread that pumps; 0 until one does.
constinit std::atomic<std::uint32_t> mainThread{0};

}  // namespace

MainQueue& MainQueue::shared() {
  static auto* queue = new MainQueue;
  return *queue;
}

bool MainQueue::isMainThread() noexcept {
  const std::uint32_t claimed = mainThread.load(std::memory_order_acquire);
  return currentThreadId() == (claimed != 0 ? claimed : initialThread);
}

bool MainQueue::claimThread() noexcept {
  std::uint32_t nobody = 0;
  return mainThread.compare_exchange_strong(nobody, currentThreadId(), std::memory_order_acq_rel) ||
         nobody == currentThreadId();
}

void MainQueue::callForDrain() noexcept {
  std::lock_guard lock(mutex_);
  called_.store(1, std::memory_order_seq_cst);
  if (descriptor_ >= 0) ::eventfd_write(descriptor_, 1);
  if (sleeps_.load(std::memory_order_seq_cst)) futexWake(called_, 1);
}

std::size_t MainQueue::drain(std::size_t max) {
  if (max == 0 || !claimThread()) return 0;
  {
    std::lock_guard lock(mutex_);
    // From within its own work too: its lane is taken then.
    if (called_.exchange(0, std::memory_order_acq_rel) == 0) return 0;
    eventfd_t calls = 0;
    if (descriptor_ >= 0) ::eventfd_read(descriptor_, &calls);
  }
  const long budget = static_cast<long>(std::min<std::size_t>(max, std::numeric_limits<long>::max()));
  Turn turn{budget, true};
  QueueBody::main()->drain(turn, nullptr);
  return static_cast<std::size_t>(budget - turn.budget);
}

int MainQueue::descriptor() {
  std::lock_guard lock(mutex_);
  if (descriptor_ < 0) {
    descriptor_ = ::eventfd(called_.load(std::memory_order_relaxed), EFD_NONBLOCK | EFD_CLOEXEC);
  }
  return descriptor_;
}

void MainQueue::runForEver() {
  if (!claimThread()) objc_raise("NSInternalInconsistencyException", "dispatch_main called off the main thread");
  if (Frame::runs(QueueBody::main())) {
    objc_raise("NSInternalInconsistencyException", "dispatch_main called from work of the main queue");
  }
  for (;;) {
    drain(std::numeric_limits<std::size_t>::max());
    sleeps_.store(true, std::memory_order_seq_cst);
    while (called_.load(std::memory_order_seq_cst) == 0) futexWait(called_, 0);
    sleeps_.store(false, std::memory_order_relaxed);
  }
}

}  // namespace kvt::dispatch

namespace kvt {

void dispatch_main() { dispatch::MainQueue::shared().runForEver(); }
std::size_t dispatch_main_queue_drain(std::size_t max) { return dispatch::MainQueue::shared().drain(max); }
int dispatch_main_queue_fd() { return dispatch::MainQueue::shared().descriptor(); }

}  // namespace kvt
