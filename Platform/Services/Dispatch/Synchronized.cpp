#include "Synchronized.h"

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "Futex.h"
#include "WorkerPool.h"

namespace kvt {
namespace {

/// Of an object that somebody has locked or wants to.
struct Monitor {
  const Object* object = nullptr;
  std::uint32_t owner = 0;  // a thread; 0: free
  unsigned depth = 0;
  unsigned waiting = 0;
  std::condition_variable freed;
  Monitor* next = nullptr;
};

/// Few objects are locked at a time: those of one shard are a short list.
struct alignas(64) Shard {
  std::mutex mutex;
  Monitor* used = nullptr;
  Monitor* spare = nullptr;

  Monitor* find(const Object* object) {
    for (Monitor* each = used; each != nullptr; each = each->next) {
      if (each->object == object) return each;
    }
    Monitor* monitor = spare;
    if (monitor != nullptr)
      spare = monitor->next;
    else
      monitor = new Monitor;
    monitor->object = object;
    monitor->next = used;
    used = monitor;
    return monitor;
  }
  void free(Monitor* monitor) noexcept {
    Monitor** link = &used;
    while (*link != monitor) link = &(*link)->next;
    *link = monitor->next;
    monitor->next = spare;
    spare = monitor;
  }
};

Shard& shardOf(const Object* object) {
  static auto* shards = new std::array<Shard, 64>;
  return (*shards)[(reinterpret_cast<std::uintptr_t>(object) >> 5) % shards->size()];
}

}  // namespace

synchronized::synchronized(const Object* object) : object_(borrow, object) {
  if (object == nullptr) return;
  const std::uint32_t self = dispatch::currentThreadId();
  Shard& shard = shardOf(object);
  std::unique_lock lock(shard.mutex);
  Monitor* monitor = shard.find(object);
  if (monitor->owner != 0 && monitor->owner != self) {
    ++monitor->waiting;
    lock.unlock();
    {
      dispatch::WorkerPool::BlockingScope blocking;
      lock.lock();
      while (monitor->owner != 0) monitor->freed.wait(lock);
      --monitor->waiting;
      monitor->owner = self;
      lock.unlock();
    }
    lock.lock();
  }
  monitor->owner = self;
  ++monitor->depth;
  monitor_ = monitor;
}

synchronized::~synchronized() {
  if (monitor_ == nullptr) return;
  auto* monitor = static_cast<Monitor*>(monitor_);
  Shard& shard = shardOf(object_.object());
  std::lock_guard lock(shard.mutex);
  if (--monitor->depth != 0) return;
  monitor->owner = 0;
  if (monitor->waiting != 0)
    monitor->freed.notify_one();
  else
    shard.free(monitor);
}

}  // namespace kvt
