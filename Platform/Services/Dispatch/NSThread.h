// The thread that runs: whether it is the main one, and what it is called.
//
//     if (!NSThread::isMainThread()) dispatch_async(dispatch_get_main_queue(), update);
//
// The main thread is the one that runs the main queue (DispatchMainQueue.h); before any has done so, the one that
// started the program. Every thread has one object, made when somebody asks for it, whoever started the thread. Called
// on nil, every operation answers nil, 0 or NO. Thread rule: any thread.
#pragma once

#include <KVTPlatform/Values/NSTypes.h>
#include <KVTPlatform/Values/id.h>

namespace kvt {

class NSDate;
class NSMutableDictionary;
class NSString;

class KVT_EXPORT NSThread : public id {
  KVT_HANDLE(NSThread, id)

 public:
  /// Of the thread that asks. (As a message to a thread's object, `isMainThread` answers for that thread.) A few ns.
  static bool isMainThread() noexcept;
  static NSThread currentThread();
  static NSThread mainThread();

  /// At least so long; at once for 0, less and NaN.
  static void sleepForTimeInterval(NSTimeInterval seconds);
  /// By the clock on the wall as it stands at the call; at once for a date in the past and for nil.
  static void sleepUntilDate(const NSDate& date);

  /// nil at first; setting copies, and gives the first 15 bytes to the system, for debuggers, when it is the calling
  /// thread's own.
  NSString name() const;
  void setName(const NSString& name) const;
  /// What the thread's own code wants to keep; emptied when the thread ends. For the thread itself only.
  NSMutableDictionary threadDictionary() const;
};

}  // namespace kvt
