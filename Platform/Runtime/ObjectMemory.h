// Where objects lie; not installed.
//
// Programs of this library make many small objects and let them go soon, on the thread that made them. So each thread
// has its own heap of pages, each page holds blocks of one size, and taking or giving back a block is a few
// instructions without an atomic one. A block may be given back by any thread: a stranger leaves it on a list of the
// page, which the owner collects when it runs out.
//
//     void* memory = memory::allocate(48);     // aligned to 16 bytes; throws std::bad_alloc
//     memory::deallocate(memory);              // what allocate answered, on any thread
//
// More than kLargestBlock bytes come from malloc, and so does everything where the address space cannot be reserved. A
// thread that ends leaves its heap to the next one. Empty pages go back to a common pool, and beyond a few megabytes
// the kernel may have their memory. Builds with sanitizers leave every block to malloc, which they watch.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "Export.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KVT_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define KVT_SANITIZED 1
#endif
#endif

namespace kvt::memory {

inline constexpr std::size_t kGrain = 16;
inline constexpr std::size_t kLargestBlock = 1024;
inline constexpr std::size_t kPageSize = 64 * 1024;
inline constexpr std::size_t kSizes = kLargestBlock / kGrain + 1;

struct Heap;

/// What a free block holds.
struct Block {
  Block* next;
};

/// What is known of a page. It does not lie in the page: at equal places of pages that are aligned alike, all of them
/// would compete for the same few lines of the cache.
struct alignas(64) Page {
  Heap* heap;
  Block* free;         // blocks to hand out; the current page's are the heap's to keep
  std::uint32_t used;  // blocks that are out, or on the strangers' list, or with the heap
  std::uint16_t size;  // of a block, in grains
  bool isCurrent;
  bool isFull;  // it has left the owner's sight until a block comes back
  char* fresh;  // from here to the end nothing was handed out yet
  char* end;
  std::uint32_t made;  // blocks up to there
  Page* next;
  Page* previous;
  // Strangers write here; on a line of its own, so that they do not disturb the owner.
  alignas(64) std::atomic<Block*> strangers;
};

/// A thread's pages.
struct Heap {
  Block* free[kSizes];  // by size: what is handed out next, blocks of the current page
  Page* current[kSizes];
  Page* available[kSizes];  // others with free blocks
  Page* full[kSizes];
  Page* spare;  // empty ones
  std::size_t spares;
  Heap* next;  // of the heaps without a thread
};

/// All pages lie here. Empty until the first page is needed, and where nothing could be reserved.
struct Region {
  std::uintptr_t begin;
  std::uintptr_t size;
  Page* pages;
};
KVT_EXPORT extern constinit Region region;

KVT_EXPORT extern Heap noHeap;
// Never null: a thread that has not allocated yet, or is past its end, has a heap without a block.
[[gnu::tls_model("initial-exec")]] KVT_EXPORT extern constinit thread_local Heap* threadHeap;

KVT_EXPORT void* allocateSlowly(std::size_t size);
KVT_EXPORT void pageChanged(Page* page) noexcept;
KVT_EXPORT void leaveToOwner(Page* page, Block* block) noexcept;

inline bool isInPage(const void* memory) noexcept {
  return reinterpret_cast<std::uintptr_t>(memory) - region.begin < region.size;
}

inline void* allocateBlock(std::size_t size) {
  if (size <= kLargestBlock) [[likely]] {
    Block*& free = threadHeap->free[(size + kGrain - 1) / kGrain];
    if (Block* block = free) [[likely]] {
      free = block->next;
      return block;
    }
  }
  return allocateSlowly(size);
}

inline void deallocateBlock(void* memory) noexcept {
  if (!isInPage(memory)) [[unlikely]] {
    std::free(memory);
    return;
  }
  Page* page = region.pages + (reinterpret_cast<std::uintptr_t>(memory) - region.begin) / kPageSize;
  auto* block = static_cast<Block*>(memory);
  Heap* const heap = threadHeap;
  if (page->heap != heap) [[unlikely]] {
    leaveToOwner(page, block);
    return;
  }
  if (page->isCurrent) [[likely]] {
    Block*& free = heap->free[page->size];
    block->next = free;
    free = block;
    return;
  }
  block->next = page->free;
  page->free = block;
  if (--page->used == 0 || page->isFull) [[unlikely]]
    pageChanged(page);
}

#ifdef KVT_SANITIZED
KVT_EXPORT void* allocate(std::size_t size);
template <std::size_t kMost>
void* allocateFewGrains(Heap*, std::size_t grains) {
  return allocate((grains + 1) * kGrain);
}
inline void deallocate(void* memory) noexcept { std::free(memory); }
#else
inline void* allocate(std::size_t size) { return allocateBlock(size); }
/// So many times kGrain bytes, at most kMost, padded like those of `allocatePadded`. `heap` is the thread's, for
/// callers that look it up once for many blocks; it may have become another one when this returns.
template <std::size_t kMost>
void* allocateFewGrains(Heap* heap, std::size_t grains) {
  static_assert(kMost < kSizes);
  Block*& free = heap->free[grains];
  if (Block* block = free) [[likely]] {
    free = block->next;
    return block;
  }
  return allocateSlowly(grains * kGrain);
}
inline void deallocate(void* memory) noexcept { deallocateBlock(memory); }
#endif

/// What lies in a page may be read another grain beyond its end, and this sees to it for what does not.
inline void* allocatePadded(std::size_t size) {
#ifdef KVT_SANITIZED
  return allocate(size + kGrain);
#else
  return allocate(size <= kLargestBlock ? size : size + kGrain);
#endif
}

/// Pages that were taken from the system so far, by all threads. They are used again and never given back.
KVT_EXPORT std::size_t pagesTaken() noexcept;
/// How often a heap has taken a page for blocks of some size: what it does in the place of calls to malloc.
KVT_EXPORT std::size_t pagesPrepared() noexcept;

}  // namespace kvt::memory
