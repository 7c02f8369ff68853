#include "QueueBody.h"

#include <algorithm>
#include <utility>

#include <KVTPlatform/Runtime/Raise.h>

#include "MainQueue.h"
#include "WorkerPool.h"

namespace kvt::dispatch {
namespace {

/// A lane that has run this much lets others on its target go first.
constexpr long kBudget = 64;

thread_local const Frame* currentFrame = nullptr;

}  // namespace

Frame::Frame(QueueBody* itsQueue, const Turn* itsTurn) noexcept : queue(itsQueue), turn(itsTurn), outer(currentFrame) {
  currentFrame = this;
}
Frame::~Frame() { currentFrame = outer; }
const Frame* Frame::current() noexcept { return currentFrame; }

bool Frame::runs(const QueueBody* sought) noexcept {
  for (const Frame* frame = currentFrame; frame != nullptr; frame = frame->outer) {
    OS_dispatch_queue keep;
    for (const QueueBody* each = frame->queue; each != nullptr; each = QueueBody::of(keep)) {
      if (each == sought) return true;
      keep = each->target();
    }
  }
  return false;
}

QueueBody* LaneItem::enter(LaneItem* lane) noexcept {
  QueueBody* queue = lane->queue_;
  if (lane != &queue->lane_) delete lane;
  return queue;
}

void LaneItem::drop() noexcept {
  // The turn never comes.
  ObjectAccess::release(enter(this));
}

void Waiter::run() noexcept {
  {
    Frame frame(queue, nullptr);
    try {
      callee();
    } catch (...) {
      error = std::current_exception();
    }
  }
  done = true;
  event.signal();
}

void runOnWorker(detail::QueueItem* item, std::size_t priority) noexcept {
  Turn turn{kBudget, false};
  QueueBody* global = QueueBody::global(priority);
  if (item->kind == detail::QueueItem::Kind::kLane) {
    LaneItem::enter(static_cast<LaneItem*>(item))->drain(turn, global);
  } else {
    Frame frame(global, &turn);
    item->run();
  }
}

// ---- lists ----------------------------------------------------------------------------------------------------------

void QueueBody::List::append(detail::QueueItem* item) noexcept {
  item->next = nullptr;
  (tail != nullptr ? tail->next : head) = item;
  tail = item;
}

detail::QueueItem* QueueBody::List::pop() noexcept {
  detail::QueueItem* item = head;
  head = item->next;
  if (head == nullptr) tail = nullptr;
  return item;
}

void QueueBody::List::prepend(List& other) noexcept {
  if (other.head == nullptr) return;
  other.tail->next = head;
  if (tail == nullptr) tail = other.tail;
  head = other.head;
  other = {};
}

// ---- life -----------------------------------------------------------------------------------------------------------

QueueBody::QueueBody(Role role, std::string_view label, std::size_t priority, OS_dispatch_queue target, bool inactive)
    : Object(queueClass(role), ObjectKind::kPlain),
      role_(role),
      priority_(priority),
      label_(label),
      target_(std::move(target)),
      inactive_(inactive),
      suspensions_(inactive ? 1 : 0),
      lane_(this) {}

QueueBody::~QueueBody() {
  // Only a suspended queue has work left when nobody holds it.
  while (items_.head != nullptr) items_.pop()->drop();
  for (const Specific& each : specifics_) {
    if (each.destructor != nullptr) each.destructor(each.context);
  }
}

OS_dispatch_queue QueueBody::target() const noexcept {
  std::lock_guard lock(mutex_);
  return target_;
}

// ---- lanes ----------------------------------------------------------------------------------------------------------

/// Whether the item at the head may be started now.
bool QueueBody::mayStart() const noexcept {
  if (items_.head == nullptr || suspensions_ != 0) return false;
  return isSerial() || (!barrierRunning_ && (!items_.head->barrier || running_ == 0));
}

/// One more lane, where it would have something to do.
QueueBody::Launch QueueBody::openLane() noexcept {
  if (!mayStart()) return {};
  const std::size_t useful = isSerial() || items_.head->barrier ? 1 : count_;
  if ((isSerial() ? lanes_ : waitingLanes_) >= useful) return {};
  ++lanes_;
  ObjectAccess::retain(this);
  return moveLane();
}

/// The lane goes to the target's end.
QueueBody::Launch QueueBody::moveLane() noexcept {
  if (!isSerial()) ++waitingLanes_;
  return {true, target_};
}

void QueueBody::launch(const Launch& lane) noexcept {
  if (!lane.wanted) return;
  if (role_ == Role::kMain)
    MainQueue::shared().callForDrain();
  else
    of(lane.target)->enqueue(isSerial() ? &lane_ : new LaneItem(this));
}

void QueueBody::append(detail::QueueItem* item) noexcept {
  items_.append(item);
  if (isSerial()) return;
  ++count_;
  if (item->barrier) ++barriers_;
}

/// The concurrent queue's next item, which is running from now on.
detail::QueueItem* QueueBody::start() noexcept {
  detail::QueueItem* item = items_.pop();
  --count_;
  if (item->barrier) --barriers_;
  ++running_;
  barrierRunning_ = item->barrier;
  return item;
}

/// One of the concurrent queue's items is over. A barrier was the only one.
void QueueBody::finish() noexcept {
  --running_;
  barrierRunning_ = false;
}

void QueueBody::enqueue(detail::QueueItem* item) noexcept {
  if (role_ == Role::kGlobal) return WorkerPool::shared().submit(item, priority_);
  Launch lane;
  {
    std::lock_guard lock(mutex_);
    append(item);
    lane = openLane();
  }
  launch(lane);
}

detail::QueueItem* QueueBody::nextSerial(const Turn& turn, const QueueBody* parent) noexcept {
  if (batch_.head != nullptr && turn.budget > 0 && !interrupted_.load(std::memory_order_acquire)) return batch_.pop();
  Launch lane;
  {
    std::lock_guard lock(mutex_);
    items_.prepend(batch_);
    interrupted_.store(false, std::memory_order_relaxed);
    if (mayStart()) {
      if (turn.budget > 0 && target_.object() == parent) {
        std::swap(batch_, items_);
        return batch_.pop();
      }
      lane = moveLane();
    } else {
      --lanes_;
    }
  }
  if (lane.wanted)
    launch(lane);
  else
    ObjectAccess::release(this);
  return nullptr;
}

detail::QueueItem* QueueBody::nextConcurrent(const Turn& turn, const QueueBody* parent, bool first) noexcept {
  Launch lane;
  detail::QueueItem* item = nullptr;
  bool ended = false;
  {
    std::lock_guard lock(mutex_);
    if (first)
      --waitingLanes_;
    else
      finish();
    if (!mayStart()) {
      --lanes_;
      ended = true;
    } else if (turn.budget > 0 && target_.object() == parent) {
      item = start();
      lane = openLane();
    } else {
      lane = moveLane();
    }
  }
  launch(lane);
  if (ended) ObjectAccess::release(this);
  return item;
}

bool QueueBody::drain(Turn& turn, const QueueBody* parent) noexcept {
  Frame frame(this, &turn);
  for (bool first = true;; first = false) {
    // Where nobody else waits for a thread, this one may as well go on.
    if (turn.budget <= 0 && parent != nullptr && parent->role_ == Role::kGlobal && !WorkerPool::shared().hasWaiting()) {
      turn.budget = kBudget;
    }
    detail::QueueItem* item = isSerial() ? nextSerial(turn, parent) : nextConcurrent(turn, parent, first);
    if (item == nullptr) return false;
    if (item->kind == detail::QueueItem::Kind::kLane) {
      if (LaneItem::enter(static_cast<LaneItem*>(item))->drain(turn, this)) return true;
      continue;
    }
    --turn.budget;
    if (item->kind == detail::QueueItem::Kind::kWaiter && !turn.onMainThread) {
      grant(*static_cast<Waiter*>(item), turn);
      return true;
    }
    item->run();
  }
}

// ---- synchronous work -----------------------------------------------------------------------------------------------

/// Gives the thread that waits all lanes of this turn.
void QueueBody::grant(Waiter& waiter, const Turn& turn) {
  for (const Frame* frame = Frame::current(); frame != nullptr && frame->turn == &turn; frame = frame->outer) {
    waiter.turns.push_back(frame->queue);
  }
  waiter.event.signal();
}

/// A lane of a queue that has no use for its thread.
bool QueueBody::tryTake(bool barrier, OS_dispatch_queue& target) noexcept {
  std::lock_guard lock(mutex_);
  if (suspensions_ != 0) return false;
  if (isSerial()) {
    if (lanes_ != 0 || items_.head != nullptr) return false;
  } else {
    if (barrierRunning_ || barriers_ != 0 || (barrier && (running_ != 0 || count_ != 0))) return false;
    ++running_;
    barrierRunning_ = barrier;
  }
  ++lanes_;
  ObjectAccess::retain(this);
  target = target_;
  return true;
}

/// Takes lanes from this queue up to the global one; false when the main thread has run the work meanwhile.
bool QueueBody::takeTurns(Waiter& waiter, bool barrier) {
  OS_dispatch_queue keep;
  for (QueueBody* level = this; level->role_ != Role::kGlobal; level = of(keep)) {
    OS_dispatch_queue target;
    if (level->role_ == Role::kMain || !level->tryTake(barrier, target)) {
      if (level->role_ == Role::kMain ? MainQueue::isMainThread() : Frame::runs(level)) {
        // A concurrent queue's work is allowed more of it, whatever else waits.
        if (!level->isSerial() && !barrier) return true;
        objc_raise("NSInternalInconsistencyException",
                   "dispatch_sync called on queue \"" + level->label_ + "\" already owned by current thread");
      }
      waiter.barrier = barrier;
      level->enqueue(&waiter);
      waiter.event.wait();
      return !waiter.done;
    }
    waiter.turns.push_back(level);
    keep = std::move(target);
    barrier = false;
  }
  return true;
}

void QueueBody::runSynchronously(const detail::Callee& callee, bool barrier) {
  if (role_ == Role::kGlobal) {
    Frame frame(this, nullptr);
    callee();
    return;
  }
  struct End {
    ~End() {
      for (QueueBody* each : waiter.turns) each->endTurn();
    }
    Waiter& waiter;
  };
  Waiter waiter(callee, this);
  End end{waiter};
  if (takeTurns(waiter, barrier && !isSerial())) {
    Frame frame(this, nullptr);
    callee();
  } else if (waiter.error) {
    std::rethrow_exception(waiter.error);
  }
}

/// Gives a lane on or back that this thread had for its synchronous work.
void QueueBody::endTurn() noexcept {
  Launch lane;
  Waiter* next = nullptr;
  bool ended = false;
  {
    std::lock_guard lock(mutex_);
    if (isSerial()) {
      items_.prepend(batch_);
      interrupted_.store(false, std::memory_order_relaxed);
    } else {
      finish();
    }
    if (!mayStart()) {
      --lanes_;
      ended = true;
    } else if (items_.head->kind == detail::QueueItem::Kind::kWaiter && of(target_)->role_ == Role::kGlobal) {
      // From thread to thread, without one of the pool's in between.
      next = static_cast<Waiter*>(isSerial() ? items_.pop() : start());
      lane = openLane();
    } else {
      lane = moveLane();
    }
  }
  if (next != nullptr) {
    next->turns.push_back(this);
    next->event.signal();
  }
  launch(lane);
  if (ended) ObjectAccess::release(this);
}

// ---- settings -------------------------------------------------------------------------------------------------------

void QueueBody::setTarget(OS_dispatch_queue target) {
  // One at a time, or two could make a circle together.
  static auto* changing = new std::mutex;
  std::lock_guard changingLock(*changing);
  OS_dispatch_queue keep = target;
  for (const QueueBody* each = of(keep); each != nullptr; each = of(keep)) {
    if (each == this) {
      objc_raise("NSInvalidArgumentException",
                 "dispatch_set_target_queue: queue \"" + label_ + "\" would be its own target");
    }
    keep = each->target();
  }
  std::lock_guard lock(mutex_);
  target_.swap(target);
  interrupted_.store(true, std::memory_order_release);
}

void QueueBody::suspend() noexcept {
  std::lock_guard lock(mutex_);
  ++suspensions_;
  interrupted_.store(true, std::memory_order_release);
}

void QueueBody::resume() {
  Launch lane;
  {
    std::lock_guard lock(mutex_);
    if (suspensions_ == 0) objc_raise("NSInternalInconsistencyException", "dispatch_resume: over-resume of an object");
    if (--suspensions_ == 0) inactive_ = false;
    lane = openLane();
  }
  launch(lane);
}

void QueueBody::activate() {
  {
    std::lock_guard lock(mutex_);
    if (!inactive_) return;
    inactive_ = false;
  }
  resume();
}

void QueueBody::setSpecific(const void* key, void* context, void (*destructor)(void*)) {
  Specific before{};
  {
    std::lock_guard lock(mutex_);
    const auto found = std::find_if(specifics_.begin(), specifics_.end(), [key](auto& s) { return s.key == key; });
    if (found != specifics_.end()) {
      before = *found;
      specifics_.erase(found);
    }
    if (context != nullptr) specifics_.push_back({key, context, destructor});
  }
  if (before.destructor != nullptr) before.destructor(before.context);
}

void* QueueBody::specific(const void* key) const noexcept {
  std::lock_guard lock(mutex_);
  for (const Specific& each : specifics_) {
    if (each.key == key) return each.context;
  }
  return nullptr;
}

}  // namespace kvt::dispatch
