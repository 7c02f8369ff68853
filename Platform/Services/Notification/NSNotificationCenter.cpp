#include "NSNotificationCenter.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <KVTPlatform/Runtime/Raise.h>

namespace kvt {

// ---- notifications --------------------------------------------------------------------------------------------------

NSNotification::NSNotification(const NSString& name, const id& object, const NSDictionary& userInfo)
    : name_(name.copy().as<NSString>()), object_(object), userInfo_(userInfo) {
  ObjectAccess::markImmutableValue(this);
}

Ref<NSNotification> NSNotification::notificationWithName_object(const NSString& name, const id& object) {
  return notificationWithName_object_userInfo(name, object, nullptr);
}

Ref<NSNotification> NSNotification::notificationWithName_object_userInfo(const NSString& name, const id& object,
                                                                         const NSDictionary& userInfo) {
  if (!name) objc_raise("NSInvalidArgumentException", "*** a notification needs a name");
  return make<NSNotification>(name, object, userInfo);
}

bool NSNotification::isEqual(const id& other) const {
  const auto notification = other.as<NSNotification>();
  return notification && name_ == notification->name_ && isIdentical(object_, notification->object_) &&
         userInfo_ == notification->userInfo_;
}

std::uint64_t NSNotification::hash() const { return name_.hash(); }

NSString NSNotification::description() const {
  return NSString::stringWithFormat("<NSNotification: %p>{name = %@; object = %@; userInfo = %@}",
                                    static_cast<const void*>(this), name_, object_, userInfo_);
}

id NSNotification::copyWithZone() const { return {borrow, this}; }

void NSNotification::kvtDescribe(ClassBuilder<NSNotification>& c) {
  c.property<&NSNotification::name_>("name", {.readonly = true});
  c.property<&NSNotification::object_>("object", {.readonly = true});
  c.property<&NSNotification::userInfo_>("userInfo", {.readonly = true});
  c.classMethod<&NSNotification::notificationWithName_object>("notificationWithName:object:");
  c.classMethod<&NSNotification::notificationWithName_object_userInfo>("notificationWithName:object:userInfo:");
}

// ---- the centre -----------------------------------------------------------------------------------------------------

namespace {

/// One wish to be told. What is asked of it under the centre's lock holds nobody else's object for even a moment: its
/// end would be ours to see to, and may come back to the centre.
struct Observation {
  bool isOf(const Object* object) const noexcept { return observer == object; }
  bool hasEnded() const noexcept { return ended.load(std::memory_order_acquire); }
  /// Another object may lie where the sender lay.
  bool isFrom(const id& object) const { return sender == object.object() && sender != nullptr && liveSender.lock(); }
  bool wants(const id& from) const { return sender == nullptr || isFrom(from); }

  void call(const Ref<NSNotification>& notification) const {
    const id receiver = liveObserver.lock();
    if (!receiver || hasEnded()) return;
    if (block) {
      block(notification);
    } else if (method_getNumberOfArguments(class_getInstanceMethod(receiver.class_(), selector)) == 2) {
      objc_msgSend(receiver, selector);
    } else {
      objc_msgSend(receiver, selector, notification);
    }
  }

  std::uint64_t number = 0;
  const Object* observer = nullptr;  // to be compared only
  Weak<id> liveObserver;
  SEL selector;
  NSString name;                   // nil: any
  const Object* sender = nullptr;  // any; to be compared only
  Weak<id> liveSender;
  id token;  // of a block: nobody else need hold it
  dispatch_queue_t queue;
  Block<void(Ref<NSNotification>)> block;
  std::atomic<bool> ended{false};
};

using Observations = std::vector<std::shared_ptr<Observation>>;

struct HashOfName {
  std::size_t operator()(const NSString& name) const { return name.hash(); }
};

struct CenterBody final : Object {
  CenterBody() : Object(classOf<NSNotificationCenter>(), ObjectKind::kPlain) {}

  std::mutex mutex;
  std::uint64_t lastNumber = 0;
  // The key nil: those who want any name.
  std::unordered_map<NSString, Observations, HashOfName> byName;

  void add(const std::shared_ptr<Observation>& observation) {
    Observations known;
    {
      std::lock_guard lock(mutex);
      observation->number = ++lastNumber;
      Observations& list = byName[observation->name];
      if (list.size() == list.capacity()) known = list;
      list.push_back(observation);
    }
    // Those who died without a word are looked for when the list has had to grow.
    bool anyDied = false;
    for (const auto& each : known) {
      if (each->liveObserver.lock()) continue;
      each->ended.store(true, std::memory_order_release);
      anyDied = true;
    }
    if (anyDied) remove(observation->name, [](const Observation& each) { return each.hasEnded(); });
  }

  /// nil: of every name.
  template <class F>
  void remove(const NSString& name, const F& isMeant) {
    Observations gone;  // after the lock: their blocks are the host's
    std::lock_guard lock(mutex);
    if (name) {
      if (const auto found = byName.find(name); found != byName.end() && takeOut(found->second, gone, isMeant)) {
        byName.erase(found);
      }
      return;
    }
    for (auto each = byName.begin(); each != byName.end();) {
      each = takeOut(each->second, gone, isMeant) ? byName.erase(each) : std::next(each);
    }
  }

  void post(const Ref<NSNotification>& notification) {
    Observations told;
    {
      std::lock_guard lock(mutex);
      for (const NSString& name : {notification->name(), NSString()}) {
        if (const auto found = byName.find(name); found != byName.end()) {
          std::copy_if(found->second.begin(), found->second.end(), std::back_inserter(told),
                       [&](const auto& each) { return each->wants(notification->object()); });
        }
      }
    }
    std::sort(told.begin(), told.end(), [](const auto& a, const auto& b) { return a->number < b->number; });
    for (const auto& each : told) {
      if (each->queue)
        dispatch_async(each->queue, [each, notification] { each->call(notification); });
      else
        each->call(notification);
    }
  }

 private:
  /// Whether the list is empty now.
  template <class F>
  static bool takeOut(Observations& list, Observations& to, const F& isMeant) {
    const auto rest =
        std::stable_partition(list.begin(), list.end(), [&](const auto& each) { return !isMeant(*each); });
    for (auto each = rest; each != list.end(); ++each) {
      (*each)->ended.store(true, std::memory_order_release);
      to.push_back(std::move(*each));
    }
    list.erase(rest, list.end());
    return list.empty();
  }
};

CenterBody& bodyOf(const NSNotificationCenter& center) { return *static_cast<CenterBody*>(center.object()); }

std::shared_ptr<Observation> observe(const id& observer, const NSString& name, const id& object) {
  auto observation = std::make_shared<Observation>();
  observation->observer = observer.object();
  observation->liveObserver = observer;
  observation->name = name.copy().as<NSString>();
  observation->sender = object.object();
  observation->liveSender = object;
  return observation;
}

}  // namespace

NSNotificationCenter NSNotificationCenter::defaultCenter() {
  static const auto* center = new NSNotificationCenter(new_());
  return *center;
}

NSNotificationCenter NSNotificationCenter::new_() { return {adopt, new CenterBody}; }

void NSNotificationCenter::addObserver_selector_name_object(const id& observer, SEL selector, const NSString& name,
                                                            const id& object) const {
  if (!*this || !observer || !selector) return;
  const auto observation = observe(observer, name, object);
  observation->selector = selector;
  bodyOf(*this).add(observation);
}

id NSNotificationCenter::addObserverForName_object_queue_usingBlock(
    const NSString& name, const id& object, const dispatch_queue_t& queue,
    const Block<void(Ref<NSNotification>)>& block) const {
  if (!*this || !block) return {};
  const id token = make<NSObject>();
  const auto observation = observe(token, name, object);
  observation->token = token;
  observation->queue = queue;
  observation->block = block;
  bodyOf(*this).add(observation);
  return token;
}

void NSNotificationCenter::removeObserver(const id& observer) const {
  removeObserver_name_object(observer, nullptr, nullptr);
}

void NSNotificationCenter::removeObserver_name_object(const id& observer, const NSString& name,
                                                      const id& object) const {
  if (!*this || !observer || !ObjectAccess::isWeaklyReferenced(observer.object())) return;
  bodyOf(*this).remove(
      name, [&](const Observation& each) { return each.isOf(observer.object()) && (!object || each.isFrom(object)); });
}

void NSNotificationCenter::postNotification(const Ref<NSNotification>& notification) const {
  if (!*this) return;
  if (!notification) objc_raise("NSInvalidArgumentException", "*** there is no notification to be posted");
  bodyOf(*this).post(notification);
}

void NSNotificationCenter::postNotificationName_object(const NSString& name, const id& object) const {
  postNotificationName_object_userInfo(name, object, nullptr);
}

void NSNotificationCenter::postNotificationName_object_userInfo(const NSString& name, const id& object,
                                                                const NSDictionary& userInfo) const {
  if (*this) postNotification(NSNotification::notificationWithName_object_userInfo(name, object, userInfo));
}

Class NSNotificationCenter::kvtClass() {
  static const Class cls = [] {
    using Self = NSNotificationCenter;
    ClassBuilder<Self> c("NSNotificationCenter", classOf<NSObject>());
    c.createWith([](Class) -> Object* { return new CenterBody; });
    c.classMethod<&Self::defaultCenter>("defaultCenter");
    c.method<&Self::addObserver_selector_name_object>("addObserver:selector:name:object:");
    c.method<&Self::addObserverForName_object_queue_usingBlock>("addObserverForName:object:queue:usingBlock:");
    c.method<&Self::removeObserver>("removeObserver:");
    c.method<&Self::removeObserver_name_object>("removeObserver:name:object:");
    c.method<&Self::postNotification>("postNotification:");
    c.method<&Self::postNotificationName_object>("postNotificationName:object:");
    c.method<&Self::postNotificationName_object_userInfo>("postNotificationName:object:userInfo:");
    return c.registerClass();
  }();
  return cls;
}
bool NSNotificationCenter::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const CenterBody*>(object) != nullptr;
}

[[maybe_unused]] static const bool registered = (classOf<NSNotificationCenter>(), true);

}  // namespace kvt
