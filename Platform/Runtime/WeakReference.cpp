#include "WeakReference.h"

#include <array>
#include <mutex>
#include <unordered_map>

#include "Dispose.h"

namespace kvt {

struct WeakCell {
  std::mutex mutex;
  const Object* object;  // null once the object goes
  std::atomic<std::size_t> references{1};
};

namespace {

struct Shard {
  std::mutex mutex;
  std::unordered_map<const Object*, WeakCell*> cells;
};

Shard& shardOf(const Object* object) {
  static auto* shards = new std::array<Shard, 64>;
  return (*shards)[(reinterpret_cast<std::uintptr_t>(object) >> 5) % shards->size()];
}

}  // namespace

WeakCell* weak_cellOf(const Object* object) {
  if (object == nullptr || ObjectAccess::isDeallocating(object)) return nullptr;
  Shard& shard = shardOf(object);
  std::lock_guard lock(shard.mutex);
  WeakCell*& cell = shard.cells[object];
  if (cell == nullptr) {
    cell = new WeakCell;
    cell->object = object;
    ObjectAccess::markWeaklyReferenced(object);
  }
  return weak_retainCell(cell);
}

WeakCell* weak_retainCell(WeakCell* cell) noexcept {
  if (cell != nullptr) cell->references.fetch_add(1, std::memory_order_relaxed);
  return cell;
}

void weak_releaseCell(WeakCell* cell) noexcept {
  if (cell != nullptr && cell->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete cell;
}

Object* weak_load(WeakCell* cell) noexcept {
  if (cell == nullptr) return nullptr;
  std::lock_guard lock(cell->mutex);
  if (cell->object == nullptr || !ObjectAccess::tryRetain(cell->object)) return nullptr;
  return const_cast<Object*>(cell->object);
}

void weak_clear(const Object* object) noexcept {
  WeakCell* cell = nullptr;
  {
    Shard& shard = shardOf(object);
    std::lock_guard lock(shard.mutex);
    auto found = shard.cells.find(object);
    if (found == shard.cells.end()) return;
    cell = found->second;
    shard.cells.erase(found);
  }
  {
    std::lock_guard lock(cell->mutex);
    cell->object = nullptr;
  }
  weak_releaseCell(cell);
}

}  // namespace kvt
