// What the tests of queues share: waiting for what other threads do, without sleeping.
#pragma once

#include <KVTPlatform/Services/Dispatch/Dispatch.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kvt {

/// Events in the order in which threads report them.
class Journal {
 public:
  void add(std::string event) {
    std::lock_guard lock(mutex_);
    events_.push_back(std::move(event));
  }
  std::vector<std::string> events() const {
    std::lock_guard lock(mutex_);
    return events_;
  }
  std::string text() const {
    std::string result;
    for (const std::string& event : events()) result += (result.empty() ? "" : " ") + event;
    return result;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

/// A gate that opens once and stays open.
class Gate {
 public:
  void open() { dispatch_group_leave(group_); }
  void wait() const { dispatch_group_wait(group_, DISPATCH_TIME_FOREVER); }
  Gate() { dispatch_group_enter(group_); }

 private:
  dispatch_group_t group_ = dispatch_group_create();
};

/// Returns when everything that was on the serial or concurrent queue has run.
inline void flush(const dispatch_queue_t& queue) {
  dispatch_barrier_sync(queue, [] {});
}

/// Calls back when it is destroyed; copies share one life.
template <class F>
auto atEnd(F callback) {
  return std::shared_ptr<void>(static_cast<void*>(nullptr), [callback](void*) { callback(); });
}

}  // namespace kvt
