// What a queue is made of; not installed.
//
// A queue with work asks its target for a turn by putting a *lane* on it: a piece of work whose running is to run the
// queue's. A serial queue has one lane at most, so nothing of it overlaps; a concurrent queue has as many as there is
// work that may start. Lanes end where global queues begin: those hand everything to the pool. The main queue's lane is
// the descriptor that the host watches.
//
// Whoever runs a lane owns it. A thread that waits in `dispatch_sync` puts a *waiter* into the queue; when a lane comes
// to it, the lane, and the lanes on which that one runs, pass to the waiting thread, which runs its work and then
// ends the turn or gives it on. So work that is waited for runs where it is waited for, and a queue without work is
// simply taken. Only the main queue's lane cannot leave its thread: it runs the waiter's work itself.
//
// A lane holds a reference to its queue. Locks are taken from a queue to its target, and never while work runs.
#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <string>
#include <vector>

#include <boost/container/small_vector.hpp>

#include "DispatchQueue.h"
#include "Event.h"
#include "Futex.h"

namespace kvt::dispatch {

class QueueBody;

/// How much one thread may run before it looks around.
struct Turn {
  long budget;
  const bool onMainThread;
};

/// What runs on this thread: innermost first.
struct Frame {
  Frame(QueueBody* queue, const Turn* turn) noexcept;
  ~Frame();
  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;
  static const Frame* current() noexcept;
  /// Whether this thread is running work of the queue, or of one below it.
  static bool runs(const QueueBody* sought) noexcept;

  QueueBody* const queue;
  const Turn* const turn;  // null for synchronous work
  const Frame* const outer;
};

/// A turn of a queue on its target. A serial queue has one in itself.
class LaneItem final : public detail::QueueItem {
 public:
  explicit LaneItem(QueueBody* queue) noexcept : QueueItem(Kind::kLane), queue_(queue) {}
  ~LaneItem() override = default;
  /// The queue, whose turn it is now.
  static QueueBody* enter(LaneItem* lane) noexcept;
  void run() noexcept override {}  // its target does, as part of its own turn
  void drop() noexcept override;

 private:
  QueueBody* const queue_;
};

/// A thread in `dispatch_sync`; lies on its stack.
class Waiter final : public detail::QueueItem {
 public:
  Waiter(const detail::Callee& itsWork, QueueBody* itsQueue) noexcept
      : QueueItem(Kind::kWaiter), callee(itsWork), queue(itsQueue) {}
  ~Waiter() override = default;
  /// On the main thread, which lets nobody else run its work.
  void run() noexcept override;
  void drop() noexcept override {}

  const detail::Callee& callee;
  QueueBody* const queue;                               // where the work belongs
  boost::container::small_vector<QueueBody*, 4> turns;  // whose lanes this thread has
  bool done = false;                                    // by the main thread
  std::exception_ptr error;
  Event event;
};

class QueueBody final : public Object {
 public:
  enum class Role : std::uint8_t { kGlobal, kMain, kSerial, kConcurrent };

  QueueBody(Role role, std::string_view label, std::size_t priority, OS_dispatch_queue target, bool inactive);

  static QueueBody* of(const OS_dispatch_queue& queue) noexcept { return static_cast<QueueBody*>(queue.object()); }
  static QueueBody* main() noexcept;
  static QueueBody* global(std::size_t priority) noexcept;

  Role role() const noexcept { return role_; }
  const char* label() const noexcept { return label_.c_str(); }
  OS_dispatch_queue target() const noexcept;

  void enqueue(detail::QueueItem* item) noexcept;
  void runSynchronously(const detail::Callee& callee, bool barrier);
  /// Runs work as one of `parent`'s (null: of the main thread's) turns. True when the lane now belongs to a thread that
  /// waited, and with it everything that was running it.
  bool drain(Turn& turn, const QueueBody* parent) noexcept;

  void setTarget(OS_dispatch_queue target);
  void suspend() noexcept;
  void resume();
  void activate();

  void setSpecific(const void* key, void* context, void (*destructor)(void*));
  void* specific(const void* key) const noexcept;

 protected:
  ~QueueBody() override;

 private:
  struct Specific {
    const void* key;
    void* context;
    void (*destructor)(void*);
  };
  /// A lane to be put on the target, once the lock is free.
  struct Launch {
    bool wanted = false;
    OS_dispatch_queue target;
  };
  struct List {
    detail::QueueItem* head = nullptr;
    detail::QueueItem* tail = nullptr;
    void append(detail::QueueItem* item) noexcept;
    detail::QueueItem* pop() noexcept;
    void prepend(List& other) noexcept;
  };

  friend class LaneItem;

  bool isSerial() const noexcept { return role_ != Role::kConcurrent; }
  // Under the lock.
  bool mayStart() const noexcept;
  Launch openLane() noexcept;
  Launch moveLane() noexcept;
  void append(detail::QueueItem* item) noexcept;
  detail::QueueItem* start() noexcept;
  void finish() noexcept;

  void launch(const Launch& lane) noexcept;
  // The next item to run on a lane; null when the lane has ended, or moved.
  detail::QueueItem* nextSerial(const Turn& turn, const QueueBody* parent) noexcept;
  detail::QueueItem* nextConcurrent(const Turn& turn, const QueueBody* parent, bool first) noexcept;
  bool tryTake(bool barrier, OS_dispatch_queue& target) noexcept;
  bool takeTurns(Waiter& waiter, bool barrier);
  void endTurn() noexcept;
  static void grant(Waiter& waiter, const Turn& turn);

  const Role role_;
  const std::size_t priority_;  // global queues: of the pool's lists
  const std::string label_;

  mutable ShortLock mutex_;
  OS_dispatch_queue target_;
  List items_;
  std::size_t count_ = 0;         // concurrent: items
  std::size_t barriers_ = 0;      // of these: barriers
  std::size_t lanes_ = 0;         // on the target or running
  std::size_t waitingLanes_ = 0;  // concurrent: of these, on the target
  std::size_t running_ = 0;       // concurrent: items
  bool barrierRunning_ = false;
  bool inactive_;
  std::size_t suspensions_;
  std::vector<Specific> specifics_;

  // Serial: what the lane's owner has taken out, and whether it must look at the queue before it starts the next one.
  List batch_;
  std::atomic<bool> interrupted_{false};
  LaneItem lane_;
};

/// The class of queues of that kind.
Class queueClass(QueueBody::Role role);

/// Runs what a global queue gave to the pool.
void runOnWorker(detail::QueueItem* item, std::size_t priority) noexcept;

}  // namespace kvt::dispatch
