// Word of what has happened, passed from whoever knows to whoever has asked to be told, without either naming the
// other.
//
//     NSNotificationCenter center = NSNotificationCenter::defaultCenter();
//     center.addObserver_selector_name_object(player, "stop:", "MemoryIsShort", nullptr);
//     center.postNotificationName_object("MemoryIsShort", sender);      // sends stop: to the player, here and now
//     center.removeObserver(player);
//
// Observers are not owned: one that is gone is not called, and need not have been removed. Senders are not owned
// either. Whoever is called lives until the call is over. An exception that leaves an observer reaches whoever posts,
// and those behind it are not told. On nil nothing happens. Thread rule: any thread; a removed observer may be in a
// call that another thread began before.
#pragma once

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Services/Dispatch/DispatchQueue.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt {

/// What is told: a name, who tells it and what else there is to know. Never changed.
class KVT_EXPORT NSNotification : public NSObject {
 public:
  /// Raises NSInvalidArgumentException for a nil name. The sender may be nil.
  static Ref<NSNotification> notificationWithName_object(const NSString& name, const id& object);
  static Ref<NSNotification> notificationWithName_object_userInfo(const NSString& name, const id& object,
                                                                  const NSDictionary& userInfo);
  NSNotification(const NSString& name, const id& object, const NSDictionary& userInfo);

  const NSString& name() const noexcept { return name_; }
  /// The sender.
  const id& object() const noexcept { return object_; }
  const NSDictionary& userInfo() const noexcept { return userInfo_; }

  /// Equal when name, sender (the same one) and user info are.
  bool isEqual(const id& other) const;
  std::uint64_t hash() const;
  NSString description() const;
  id copyWithZone() const;

 private:
  static void kvtDescribe(ClassBuilder<NSNotification>& c);
  NSString name_;
  id object_;
  NSDictionary userInfo_;
  KVT_CLASS(NSNotification)
};

class KVT_EXPORT NSNotificationCenter : public id {
  KVT_HANDLE(NSNotificationCenter, id)

 public:
  /// The process's own, always the same one.
  static NSNotificationCenter defaultCenter();
  static NSNotificationCenter new_();

  // ---- observers: called in the order in which they came
  // -------------------------------------------------------------

  /// From now on `selector` is sent to the observer, with the notification where it takes an argument. A nil name
  /// stands for any name, a nil object for any sender. Adding a second time calls twice. Nothing for a nil observer or
  /// selector.
  void addObserver_selector_name_object(const id& observer, SEL selector, const NSString& name, const id& object) const;
  /// The block is called where the notification is posted, or later on the queue, when there is one. Answers what to
  /// remove it by; the centre owns that and the block until then. nil, and nothing happens, for a nil block.
  id addObserverForName_object_queue_usingBlock(const NSString& name, const id& object, const dispatch_queue_t& queue,
                                                const Block<void(Ref<NSNotification>)>& block) const;

  /// Everything that was added with this observer. On the thread that removes, it is not called any more from here on,
  /// a notification that is on its way included. Costs nothing for an object that nobody ever referred to weakly, which
  /// no observer is; else a look at every observer.
  void removeObserver(const id& observer) const;
  /// What was added with this observer, this name (nil: any) and this sender (nil: any).
  void removeObserver_name_object(const id& observer, const NSString& name, const id& object) const;

  // ---- posting: everybody has been called when this returns
  // ----------------------------------------------------------

  /// Raises NSInvalidArgumentException for nil.
  void postNotification(const Ref<NSNotification>& notification) const;
  /// Raises likewise for a nil name.
  void postNotificationName_object(const NSString& name, const id& object) const;
  void postNotificationName_object_userInfo(const NSString& name, const id& object, const NSDictionary& userInfo) const;
};

}  // namespace kvt
