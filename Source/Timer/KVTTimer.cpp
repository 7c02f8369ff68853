#include "KVTTimer.h"

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Dispatch/Synchronized.h>
#include <KVTPlatform/Values/NSMutableString.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <utility>

namespace kvt {
namespace {

constexpr NSTimeInterval kTolerance = 0.05;
constexpr std::uint64_t kLongest = INT64_MAX;

std::uint64_t nanoseconds(NSTimeInterval seconds) {
  const double value = seconds * static_cast<double>(NSEC_PER_SEC);
  if (!(value > 0)) return 0;
  return value < static_cast<double>(kLongest) ? static_cast<std::uint64_t>(value) : kLongest;
}

/// A copy of a field that may change at any moment.
template <class T>
T read(const KVTTimer* timer, const T& field) {
  const synchronized lock(timer);
  return field;
}

/// What the field held is let go when the lock is free again: it may be somebody's last reference.
template <class T>
void write(const KVTTimer* timer, T& field, T value) {
  const synchronized lock(timer);
  std::swap(field, value);
}

/// A method without parameters gets none, as on the platform.
void send(const id& target, SEL selector, KVTTimer* timer) {
  if (std::strchr(selector.name(), ':') != nullptr)
    target.performSelector_withObject(selector, Ref<KVTTimer>(timer));
  else
    target.performSelector(selector);
}

}  // namespace

// ---- making ---------------------------------------------------------------------------------------------------------

namespace {

// Messages of class operations that are sent to a subclass make one of it.

Ref<KVTTimer> newTimer(Class cls) { return id(adopt, class_createInstance(cls)).as<KVTTimer>(); }

Ref<KVTTimer> timerOfTarget(Class cls, NSTimeInterval interval, const id& target, SEL selector, const id& userInfo,
                            bool repeats) {
  return newTimer(cls)->initWithTimeInterval_target_selector_userInfo_repeats_block(interval, target, selector,
                                                                                    userInfo, repeats, nullptr);
}

Ref<KVTTimer> timerOfBlock(Class cls, NSTimeInterval interval, bool repeats, const dispatch_block_t& block) {
  return newTimer(cls)->initWithTimeInterval_target_selector_userInfo_repeats_block(interval, nullptr, nullptr, nullptr,
                                                                                    repeats, block);
}

Ref<KVTTimer> scheduledTimerOfTarget(Class cls, NSTimeInterval interval, const id& target, SEL selector,
                                     const id& userInfo, bool repeats) {
  Ref<KVTTimer> timer = timerOfTarget(cls, interval, target, selector, userInfo, repeats);
  timer->schedule();
  return timer;
}

Ref<KVTTimer> scheduledTimerOfBlock(Class cls, NSTimeInterval interval, bool repeats, const dispatch_block_t& block) {
  Ref<KVTTimer> timer = timerOfBlock(cls, interval, repeats, block);
  timer->schedule();
  return timer;
}

}  // namespace

Ref<KVTTimer> KVTTimer::timerWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval,
                                                                               const id& target, SEL selector,
                                                                               const id& userInfo, bool repeats) {
  return timerOfTarget(classOf<KVTTimer>(), interval, target, selector, userInfo, repeats);
}

Ref<KVTTimer> KVTTimer::timerWithTimeInterval_repeats_block(NSTimeInterval interval, bool repeats,
                                                            const dispatch_block_t& block) {
  return timerOfBlock(classOf<KVTTimer>(), interval, repeats, block);
}

Ref<KVTTimer> KVTTimer::scheduledWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval,
                                                                                   const id& target, SEL selector,
                                                                                   const id& userInfo, bool repeats) {
  return scheduledTimerOfTarget(classOf<KVTTimer>(), interval, target, selector, userInfo, repeats);
}

Ref<KVTTimer> KVTTimer::scheduledWithTimeInterval_repeats_block(NSTimeInterval interval, bool repeats,
                                                                const dispatch_block_t& block) {
  return scheduledTimerOfBlock(classOf<KVTTimer>(), interval, repeats, block);
}

Ref<KVTTimer> KVTTimer::initWithTimeInterval_target_selector_userInfo_repeats_block(NSTimeInterval interval,
                                                                                    const id& target, SEL selector,
                                                                                    const id& userInfo, bool repeats,
                                                                                    const dispatch_block_t& block) {
  target_ = target;
  timeInterval_ = interval;
  selector_ = selector;
  userInfo_ = userInfo;
  repeat_ = repeats;
  block_ = block;
  tolerance_ = kTolerance;
  char label[64];
  std::snprintf(label, sizeof label, "com.vultex.kvttimer.%p", static_cast<const void*>(this));
  privateQueue_ = dispatch_queue_create(label, DISPATCH_QUEUE_SERIAL);
  eventHandler_ = [weak = Weak<KVTTimer>(Ref<KVTTimer>(this))] {
    const Ref<KVTTimer> timer = weak.lock();
    if (timer && !timer->isSuspended() && timer->isValid()) timer->perform();
  };
  return this;
}

KVTTimer::~KVTTimer() { cancel(); }

// ---- running --------------------------------------------------------------------------------------------------------

/// Under the lock.
void KVTTimer::configure() {
  // Comes back here, which does no harm.
  if (!queue_) setQueue(dispatch_get_main_queue());
  dispatch_set_target_queue(privateQueue_, queue_);
  if (!timer_) return;
  const std::uint64_t interval = nanoseconds(timeInterval_);
  dispatch_source_set_timer(timer_, dispatch_time(DISPATCH_TIME_NOW, static_cast<std::int64_t>(interval)), interval,
                            nanoseconds(tolerance_));
}

void KVTTimer::schedule() {
  const synchronized lock(this);
  if (valid_ && !suspend_) return;
  if (!timer_) {
    timer_ = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, privateQueue_);
    dispatch_source_set_event_handler(timer_, eventHandler_);
    configure();
    valid_ = true;
    if (atOnce_) dispatch_async(privateQueue_, eventHandler_);
  }
  suspend_ = false;
  dispatch_resume(timer_);
}

void KVTTimer::suspend() {
  const synchronized lock(this);
  if (!valid_ || suspend_) return;
  suspend_ = true;
  dispatch_suspend(timer_);
}

void KVTTimer::fire() {
  if (isValid()) perform();
}

void KVTTimer::perform() {
  dispatch_block_t block;
  id target;
  SEL selector;
  {
    const synchronized lock(this);
    block = block_;
    target = target_.lock();
    selector = selector_;
  }
  block();
  if (target && selector) send(target, selector, this);
  if (!isRepeat()) cancel();
}

void KVTTimer::invalidate() { cancel(); }

void KVTTimer::cancel() {
  const synchronized lock(this);
  if (!valid_) return;
  if (suspend_) dispatch_resume(timer_);
  dispatch_source_cancel(timer_);
  suspend_ = false;
  valid_ = false;
  timer_ = nullptr;
}

bool KVTTimer::isValid() const { return read(this, valid_); }
bool KVTTimer::isSuspend() const { return read(this, suspend_); }
bool KVTTimer::isSuspended() const { return read(this, suspend_); }

// ---- settings -------------------------------------------------------------------------------------------------------

bool KVTTimer::atOnce() const { return read(this, atOnce_); }
void KVTTimer::setAtOnce(bool atOnce) {
  const synchronized lock(this);
  atOnce_ = atOnce;
  configure();
}

NSTimeInterval KVTTimer::tolerance() const { return read(this, tolerance_); }
void KVTTimer::setTolerance(NSTimeInterval tolerance) {
  const synchronized lock(this);
  tolerance_ = tolerance;
  configure();
}

dispatch_queue_t KVTTimer::queue() const { return read(this, queue_); }
void KVTTimer::setQueue(const dispatch_queue_t& queue) {
  const synchronized lock(this);
  queue_ = queue;
  configure();
}

bool KVTTimer::isRepeat() const { return read(this, repeat_); }
void KVTTimer::setRepeat(bool repeat) { write(this, repeat_, repeat); }
NSTimeInterval KVTTimer::timeInterval() const { return read(this, timeInterval_); }
void KVTTimer::setTimeInterval(NSTimeInterval interval) { write(this, timeInterval_, interval); }
id KVTTimer::target() const { return read(this, target_).lock(); }
void KVTTimer::setTarget(const id& target) { write(this, target_, Weak<id>(target)); }
SEL KVTTimer::selector() const { return read(this, selector_); }
void KVTTimer::setSelector(SEL selector) { write(this, selector_, selector); }
dispatch_block_t KVTTimer::block() const { return read(this, block_); }
void KVTTimer::setBlock(const dispatch_block_t& block) { write(this, block_, block); }
id KVTTimer::userInfo() const { return read(this, userInfo_); }
void KVTTimer::setUserInfo(const id& userInfo) { write(this, userInfo_, userInfo); }

void KVTTimer::setSuspend(bool suspend) { write(this, suspend_, suspend); }
void KVTTimer::setValid(bool valid) { write(this, valid_, valid); }
dispatch_source_t KVTTimer::timer() const { return read(this, timer_); }
void KVTTimer::setTimer(const dispatch_source_t& timer) { write(this, timer_, timer); }
dispatch_queue_t KVTTimer::privateQueue() const { return read(this, privateQueue_); }
void KVTTimer::setPrivateQueue(const dispatch_queue_t& queue) { write(this, privateQueue_, queue); }
dispatch_block_t KVTTimer::eventHandler() const { return read(this, eventHandler_); }
void KVTTimer::setEventHandler(const dispatch_block_t& handler) { write(this, eventHandler_, handler); }

// ---- class ----------------------------------------------------------------------------------------------------------

NSString KVTTimer::description() const {
  const NSMutableString text = NSMutableString::string();
  text.appendFormat("<%@ :%p>", NSString(class_getName(object_getClass(this))), static_cast<const void*>(this));
  text.appendFormat(" timeInterval = %f,", timeInterval());
  text.appendFormat(" atOnce = %@", atOnce() ? "YES"_ns : "NO"_ns);
  if (const id each = target()) text.appendFormat(" target = %@,", each);
  if (const SEL each = selector()) text.appendFormat(" selector = %@,", NSString(each.name()));
  if (const dispatch_block_t each = block()) text.appendFormat(" block = %@,", id(each));
  if (const dispatch_queue_t each = queue()) text.appendFormat(" queue = %@,", each);
  text.appendFormat(" state = %@", isSuspended() ? "supended"_ns : isValid() ? "valid"_ns : "invalid"_ns);
  return text.copy();
}

void KVTTimer::kvtDescribe(ClassBuilder<KVTTimer>& c) {
  using T = KVTTimer;
  c.classMethod<&timerOfTarget>("timerWithTimeInterval:target:selector:userInfo:repeats:");
  c.classMethod<&timerOfBlock>("timerWithTimeInterval:repeats:block:");
  c.classMethod<&scheduledTimerOfTarget>("scheduledWithTimeInterval:target:selector:userInfo:repeats:");
  c.classMethod<&scheduledTimerOfBlock>("scheduledWithTimeInterval:repeats:block:");
  c.method<&T::initWithTimeInterval_target_selector_userInfo_repeats_block>(
      "initWithTimeInterval:target:selector:userInfo:repeats:block:");
  c.method<&T::schedule>("schedule").method<&T::fire>("fire");
  c.method<&T::suspend>("suspend").method<&T::invalidate>("invalidate");
  c.method<&T::isSuspend>("isSuspend");

  c.method<&T::atOnce>("atOnce").method<&T::setAtOnce>("setAtOnce:");
  c.method<&T::isSuspended>("isSuspended").method<&T::setSuspend>("setSuspend:");
  c.method<&T::isRepeat>("isRepeat").method<&T::setRepeat>("setRepeat:");
  c.method<&T::isValid>("isValid").method<&T::setValid>("setValid:");
  c.method<&T::tolerance>("tolerance").method<&T::setTolerance>("setTolerance:");
  c.method<&T::queue>("queue").method<&T::setQueue>("setQueue:");
  c.method<&T::userInfo>("userInfo").method<&T::setUserInfo>("setUserInfo:");
  c.method<&T::timer>("timer").method<&T::setTimer>("setTimer:");
  c.method<&T::target>("target").method<&T::setTarget>("setTarget:");
  c.method<&T::selector>("selector").method<&T::setSelector>("setSelector:");
  c.method<&T::timeInterval>("timeInterval").method<&T::setTimeInterval>("setTimeInterval:");
  c.method<&T::block>("block").method<&T::setBlock>("setBlock:");
  c.method<&T::privateQueue>("privateQueue").method<&T::setPrivateQueue>("setPrivateQueue:");
  c.method<&T::eventHandler>("eventHandler").method<&T::setEventHandler>("setEventHandler:");

  c.property<&T::atOnce_>("atOnce").property<&T::suspend_>("suspend", {.getter = "isSuspended"});
  c.property<&T::repeat_>("repeat", {.getter = "isRepeat"}).property<&T::valid_>("valid", {.getter = "isValid"});
  c.property<&T::tolerance_>("tolerance").property<&T::queue_>("queue").property<&T::userInfo_>("userInfo");
  c.property<&T::timer_>("timer").property<&T::target_>("target").property<&T::selector_>("selector");
  c.property<&T::timeInterval_>("timeInterval").property<&T::block_>("block");
  c.property<&T::privateQueue_>("privateQueue").property<&T::eventHandler_>("eventHandler");
}

}  // namespace kvt
