// Threads that wait for something, first come first; not installed. The owner's lock guards it.
#pragma once

#include <mutex>

#include "Event.h"

namespace kvt::dispatch {

class WaitList {
 public:
  /// Waits outside of the lock, which is held again when this returns; false when the time came first.
  bool wait(std::unique_lock<std::mutex>& lock, dispatch_time_t deadline) {
    Waiting self;
    (last_ != nullptr ? last_->next : first_) = &self;
    self.previous = last_;
    last_ = &self;
    lock.unlock();
    const bool woken = self.event.waitUntil(deadline);
    lock.lock();
    if (self.listed) remove(self);
    return woken;
  }

  /// False when nobody (still) waits.
  bool wakeOne() noexcept {
    while (Waiting* waiting = first_) {
      remove(*waiting);
      if (waiting->event.signal()) return true;
    }
    return false;
  }

 private:
  struct Waiting {
    Event event;
    Waiting* previous = nullptr;
    Waiting* next = nullptr;
    bool listed = true;
  };

  void remove(Waiting& waiting) noexcept {
    (waiting.previous != nullptr ? waiting.previous->next : first_) = waiting.next;
    (waiting.next != nullptr ? waiting.next->previous : last_) = waiting.previous;
    waiting.listed = false;
  }

  Waiting* first_ = nullptr;
  Waiting* last_ = nullptr;
};

}  // namespace kvt::dispatch
