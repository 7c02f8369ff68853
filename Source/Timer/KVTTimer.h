// A timer that fires on a queue, can be suspended, and never keeps its owner alive.
//
//     timer_ = KVTTimer::scheduledWithTimeInterval_target_selector_userInfo_repeats(30, this, "refresh:", nullptr,
//     true);
//
//     Ref<KVTTimer> timer = KVTTimer::timerWithTimeInterval_repeats_block(0.5, true, [] { blink(); });
//     timer->setQueue(queue);                                    // the main queue otherwise
//     timer->setAtOnce(true);                                    // now, and then every half second
//     timer->schedule();
//     …
//     timer->suspend();                                          // schedule() goes on
//     timer->invalidate();                                       // or let go of it: the last reference stops it
//
// The target is held weakly and gets the timer itself as the argument (a selector without a colon gets none); the block
// is held and called first where both are given (one that captures the timer, or its owner, is how to leak it: capture
// a Weak<…>). Firings of one timer never overlap. After `invalidate` on the timer's own queue, where that is a serial
// one, nothing fires any more; called elsewhere, a firing that has begun ends. What passes while a firing runs, or its
// queue is busy, makes one firing.
//
// Thread rule: any thread; everything takes the timer's own lock (`synchronized`) for some instructions, and none is
// held while the target or the block is called. Some 500 bytes a timer, and no thread of its own.
#pragma once

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Services/Dispatch/DispatchQueue.h>
#include <KVTPlatform/Services/Dispatch/DispatchSource.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTypes.h>

namespace kvt {

class KVT_EXPORT KVTTimer : public NSObject {
 public:
  ~KVTTimer() override;

  // ---- making ------------------------------------------------------------------------------------------------------

  // Intervals are seconds. One that is 0 or less, or no number, counts as a nanosecond: the timer then fires as often
  // as it can. The first two do nothing until `schedule`, the others are scheduled, on the main queue.
  static Ref<KVTTimer> timerWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval, const id& target,
                                                                              SEL selector, const id& userInfo,
                                                                              bool repeats);
  static Ref<KVTTimer> timerWithTimeInterval_repeats_block(NSTimeInterval interval, bool repeats,
                                                           const dispatch_block_t& block);
  static Ref<KVTTimer> scheduledWithTimeInterval_target_selector_userInfo_repeats(NSTimeInterval interval,
                                                                                  const id& target, SEL selector,
                                                                                  const id& userInfo, bool repeats);
  static Ref<KVTTimer> scheduledWithTimeInterval_repeats_block(NSTimeInterval interval, bool repeats,
                                                               const dispatch_block_t& block);
  /// What all of them do with a new timer. Answers the timer itself.
  Ref<KVTTimer> initWithTimeInterval_target_selector_userInfo_repeats_block(NSTimeInterval interval, const id& target,
                                                                            SEL selector, const id& userInfo,
                                                                            bool repeats,
                                                                            const dispatch_block_t& block);

  // ---- running -----------------------------------------------------------------------------------------------------

  /// Starts it, first firing one interval from now (and at once with `atOnce`); makes a suspended one go on; nothing
  /// when it runs. An invalid one starts anew.
  void schedule();
  /// Fires here and now, on this thread, suspended or not. Nothing when it is not valid.
  void fire();
  /// Nothing fires until `schedule`. Nothing when it does not run.
  void suspend();
  /// Stops it. Nothing when it is not valid.
  void invalidate();

  /// Whether it was scheduled and not invalidated since. A timer that does not repeat is invalid after its firing.
  bool isValid() const;
  /// Whether it is suspended.
  bool isSuspend() const;
  bool isSuspended() const;

  // ---- settings ----------------------------------------------------------------------------------------------------

  // Each of these three begins a running timer's interval anew.
  /// Whether `schedule` also fires at once. NO at first.
  bool atOnce() const;
  void setAtOnce(bool atOnce);
  /// How many seconds late it may fire, so that it shares wakes with others. 0.05 at first.
  NSTimeInterval tolerance() const;
  void setTolerance(NSTimeInterval tolerance);
  /// Where it fires; nil until it is first scheduled or set up, then the main queue. Setting nil means the main queue.
  /// On a concurrent queue firings still do not overlap.
  dispatch_queue_t queue() const;
  void setQueue(const dispatch_queue_t& queue);

  // These count from the next firing, the interval from the next start.
  bool isRepeat() const;
  void setRepeat(bool repeat);
  NSTimeInterval timeInterval() const;
  void setTimeInterval(NSTimeInterval interval);
  /// nil once it is gone.
  id target() const;
  void setTarget(const id& target);
  SEL selector() const;
  void setSelector(SEL selector);
  dispatch_block_t block() const;
  void setBlock(const dispatch_block_t& block);
  /// The owner's; the timer does not look at it.
  id userInfo() const;
  void setUserInfo(const id& userInfo);

  /// "<KVTTimer :0x7f…> timeInterval = 2.000000, atOnce = NO target = …, selector = …, block = …, queue = …, state =
  /// valid": the middle four only where there is one, the state "valid", "supended" or "invalid".
  NSString description() const;

 private:
  static void kvtDescribe(ClassBuilder<KVTTimer>& c);

  void configure();
  void perform();
  void cancel();

  // What messages alone reach.
  void setSuspend(bool suspend);
  void setValid(bool valid);
  dispatch_source_t timer() const;
  void setTimer(const dispatch_source_t& timer);
  dispatch_queue_t privateQueue() const;
  void setPrivateQueue(const dispatch_queue_t& queue);
  dispatch_block_t eventHandler() const;
  void setEventHandler(const dispatch_block_t& handler);

  bool atOnce_ = false;
  bool suspend_ = false;
  bool repeat_ = false;
  bool valid_ = false;
  NSTimeInterval tolerance_ = 0;
  dispatch_queue_t queue_;
  id userInfo_;
  dispatch_source_t timer_;
  Weak<id> target_;
  SEL selector_;
  NSTimeInterval timeInterval_ = 0;
  dispatch_block_t block_;
  dispatch_queue_t privateQueue_;
  dispatch_block_t eventHandler_;
  KVT_CLASS(KVTTimer)
};

}  // namespace kvt
