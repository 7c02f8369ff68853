#include "NodeIndex.h"

#include <sys/mman.h>

#include <cstring>
#include <new>

#include "KVTLinkedMap.h"

namespace kvt {
namespace {

constexpr std::size_t kLeast = 16;
constexpr std::size_t kLargePage = std::size_t{2} << 20;

/// Where a table is large, finding its pages would cost more than looking into them: the kernel is asked for large
/// ones.
std::uint64_t* allocatePlaces(std::size_t room) {
  const std::size_t size = room * sizeof(std::uint64_t);
  void* memory = nullptr;
  if (size < kLargePage) {
    memory = ::operator new(size);
  } else {
    memory = ::operator new(size, std::align_val_t(kLargePage));
    ::madvise(memory, size, MADV_HUGEPAGE);
  }
  std::memset(memory, 0, size);
  return static_cast<std::uint64_t*>(memory);
}

void freePlaces(std::uint64_t* places, std::size_t room) noexcept {
  if (room * sizeof(std::uint64_t) < kLargePage)
    ::operator delete(places);
  else
    ::operator delete(places, std::align_val_t(kLargePage));
}

}  // namespace

NodeIndex::~NodeIndex() {
  if (places_ != nullptr) freePlaces(places_, mask_ + 1);
}

void NodeIndex::insert(KVTLinkedMapNode* node) {
  if (places_ == nullptr)
    rebuild(kLeast);
  else if ((count_ + 1) * 2 > mask_ + 1)
    rebuild((mask_ + 1) * 2);
  enter(node);
  ++count_;
}

void NodeIndex::enter(KVTLinkedMapNode* node) noexcept {
  std::size_t at = node->hash & mask_;
  while (places_[at] != 0) at = (at + 1) & mask_;
  places_[at] = reinterpret_cast<std::uintptr_t>(node) | (std::uint64_t{node->hash >> 16} << 48);
}

void NodeIndex::erase(const KVTLinkedMapNode* node) noexcept {
  std::size_t hole = node->hash & mask_;
  while (nodeOf(places_[hole]) != node) hole = (hole + 1) & mask_;
  // Whoever would not be found across the gap moves into it.
  for (std::size_t at = (hole + 1) & mask_; places_[at] != 0; at = (at + 1) & mask_) {
    const std::size_t home = nodeOf(places_[at])->hash & mask_;
    if (((at - home) & mask_) < ((at - hole) & mask_)) continue;
    places_[hole] = places_[at];
    hole = at;
  }
  places_[hole] = 0;
  --count_;
  if (mask_ + 1 > kLeast && count_ < (mask_ + 1) / 16) {
    // Without memory it stays large.
    try {
      rebuild((mask_ + 1) / 4);
    } catch (const std::bad_alloc&) {
    }
  }
}

void NodeIndex::rebuild(std::size_t room) {
  std::uint64_t* const old = std::exchange(places_, allocatePlaces(room));
  const std::size_t oldMask = std::exchange(mask_, room - 1);
  if (old == nullptr) return;
  for (std::size_t at = 0; at <= oldMask; ++at) {
    if (old[at] != 0) enter(nodeOf(old[at]));
  }
  freePlaces(old, oldMask + 1);
}

}  // namespace kvt
