#include "DispatchGroup.h"

#include <utility>
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>

#include "WaitList.h"

namespace kvt {
namespace {

struct Notice {
  dispatch_queue_t queue;
  detail::QueueItem* item;
};

struct GroupBody final : Object {
  GroupBody() : Object(classOf<OS_dispatch_group>(), ObjectKind::kPlain) {}
  ~GroupBody() override {
    for (const Notice& each : notices) each.item->drop();
  }

  std::mutex mutex;
  std::size_t entered = 0;
  dispatch::WaitList waiting;
  std::vector<Notice> notices;
};

GroupBody& bodyOf(const dispatch_group_t& group) { return *static_cast<GroupBody*>(group.object()); }

}  // namespace

Class OS_dispatch_group::kvtClass() {
  static const Class cls =
      ClassBuilder<OS_dispatch_group>("OS_dispatch_group", classOf<OS_dispatch_object>()).registerClass();
  return cls;
}
bool OS_dispatch_group::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const GroupBody*>(object) != nullptr;
}
[[maybe_unused]] static const bool registered = (classOf<OS_dispatch_group>(), true);

dispatch_group_t dispatch_group_create() { return {adopt, new GroupBody}; }

void dispatch_group_enter(const dispatch_group_t& group) {
  if (!group) return;
  GroupBody& body = bodyOf(group);
  std::lock_guard lock(body.mutex);
  ++body.entered;
}

void dispatch_group_leave(const dispatch_group_t& group) {
  if (!group) return;
  GroupBody& body = bodyOf(group);
  std::vector<Notice> notices;
  {
    std::lock_guard lock(body.mutex);
    if (body.entered == 0) {
      objc_raise("NSInternalInconsistencyException", "Unbalanced call to dispatch_group_leave()");
    }
    if (--body.entered != 0) return;
    while (body.waiting.wakeOne()) {
    }
    notices.swap(body.notices);
  }
  for (const Notice& each : notices) detail::enqueue(each.queue, each.item, false);
}

std::intptr_t dispatch_group_wait(const dispatch_group_t& group, dispatch_time_t timeout) {
  if (!group) return 0;
  GroupBody& body = bodyOf(group);
  std::unique_lock lock(body.mutex);
  return body.entered == 0 || body.waiting.wait(lock, timeout) ? 0 : 1;
}

void detail::notify(const dispatch_group_t& group, const dispatch_queue_t& queue, QueueItem* item) {
  if (item == nullptr) return;
  if (!group || !queue) return item->drop();
  GroupBody& body = bodyOf(group);
  {
    std::lock_guard lock(body.mutex);
    if (body.entered != 0) {
      body.notices.push_back({queue, item});
      return;
    }
  }
  enqueue(queue, item, false);
}

}  // namespace kvt
