#include "ObjectMemory.h"

#include <pthread.h>
#include <sys/mman.h>

#include <algorithm>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace kvt::memory {

constinit Region region{};
constinit thread_local Heap* threadHeap = &noHeap;

namespace {

constexpr std::size_t kRegionSize = std::size_t{1} << 36;
constexpr std::size_t kSmallestRegion = std::size_t{1} << 30;
/// The region is made usable in steps of a huge page.
constexpr std::size_t kStep = 2 * 1024 * 1024;
/// Blocks are strung together as they are needed, this many bytes at a time, so that a page costs what is used of it.
constexpr std::size_t kStringSize = 4096;
/// So much of the region is on pages of the usual size.
constexpr std::size_t kSmallPages = std::size_t{32} << 20;
/// The first blocks of pages that follow each other lie at different places, for the same reason as their descriptions.
constexpr std::size_t kColours = 16;
constexpr std::size_t kColourStep = 64;
/// Empty pages that a thread keeps, and that the pool keeps in memory.
constexpr std::size_t kMostSpares = 64;
constexpr std::size_t kMostPooled = 256;
/// Full pages that are looked through for blocks that came back before another page is taken.
constexpr int kMostLooks = 4;

char* startOf(const Page* page) noexcept {
  return reinterpret_cast<char*>(region.begin) + static_cast<std::size_t>(page - region.pages) * kPageSize;
}

/// The pages that no heap has, and the heaps that no thread has.
struct Pool {
  std::mutex mutex;
  std::vector<Page*> pages;
  std::uintptr_t unused = 0;  // of the region, from here on
  std::uintptr_t usable = 0;  // up to here
  bool isReserved = false;
  Heap* heaps = nullptr;
  std::size_t taken = 0;

  Page* take() {
    const std::lock_guard lock(mutex);
    Page* page = nullptr;
    if (!pages.empty()) {
      page = pages.back();
      pages.pop_back();
    } else {
      page = cut();
    }
    return page;
  }

  void give(Page* page) noexcept {
    const std::lock_guard lock(mutex);
    if (pages.size() >= kMostPooled) madvise(startOf(page), kPageSize, MADV_FREE);
    try {
      pages.push_back(page);
    } catch (const std::bad_alloc&) {
      // The page is lost, the process has other worries.
    }
  }

  Heap* takeHeap() {
    {
      const std::lock_guard lock(mutex);
      if (Heap* heap = heaps) {
        heaps = heap->next;
        return heap;
      }
    }
    return new Heap{};
  }

  void giveHeap(Heap* heap) noexcept {
    const std::lock_guard lock(mutex);
    heap->next = heaps;
    heaps = heap;
  }

 private:
  Page* cut() {
    if (!isReserved) reserve();
    if (unused + kPageSize > usable) {
      if (usable + kStep > region.begin + region.size) return nullptr;
      if (mprotect(reinterpret_cast<void*>(usable), kStep, PROT_READ | PROT_WRITE) != 0) return nullptr;
      // A program with many objects spends its time on finding their pages, unless these are large. The first few
      // megabytes are not: they would take more memory than small programs need.
      if (usable - region.begin >= kSmallPages) madvise(reinterpret_cast<void*>(usable), kStep, MADV_HUGEPAGE);
      usable += kStep;
    }
    Page* page = region.pages + (unused - region.begin) / kPageSize;
    unused += kPageSize;
    ++taken;
    return page;
  }

  void reserve() {
    isReserved = true;
    for (std::size_t size = kRegionSize; size >= kSmallestRegion; size /= 8) {
      constexpr int kFlags = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
      void* memory = mmap(nullptr, size + kStep, PROT_NONE, kFlags, -1, 0);
      if (memory == MAP_FAILED) continue;
      // The kernel gives memory to what is touched of it.
      void* descriptions = mmap(nullptr, size / kPageSize * sizeof(Page), PROT_READ | PROT_WRITE, kFlags, -1, 0);
      if (descriptions == MAP_FAILED) {
        munmap(memory, size + kStep);
        continue;
      }
      unused = usable = (reinterpret_cast<std::uintptr_t>(memory) + kStep - 1) & ~(kStep - 1);
      region.pages = static_cast<Page*>(descriptions);
      region.begin = unused;
      region.size = size;
      return;
    }
  }
};

/// Never destroyed: objects may outlive every destructor.
Pool& pool() {
  alignas(Pool) static unsigned char storage[sizeof(Pool)];
  static Pool* const shared = [] {
    auto* made = ::new (static_cast<void*>(storage)) Pool;
    // A child must not find the lock held by a thread that it does not have.
    pthread_atfork([] { pool().mutex.lock(); }, [] { pool().mutex.unlock(); }, [] { pool().mutex.unlock(); });
    return made;
  }();
  return *shared;
}

// Lists of pages are rings: what stands first is a matter of the pointer to the list.

void link(Page*& list, Page* page) noexcept {
  if (list == nullptr) {
    page->next = page->previous = page;
  } else {
    page->next = list;
    page->previous = list->previous;
    page->previous->next = list->previous = page;
  }
  list = page;
}

void unlink(Page*& list, Page* page) noexcept {
  if (list == page) list = page->next == page ? nullptr : page->next;
  page->previous->next = page->next;
  page->next->previous = page->previous;
}

std::atomic<std::size_t> preparations{0};

void prepare(Page* page, Heap* heap, std::size_t grains) noexcept {
  preparations.fetch_add(1, std::memory_order_relaxed);
  ::new (static_cast<void*>(page)) Page{};
  page->heap = heap;
  page->size = static_cast<std::uint16_t>(grains);
  const std::size_t size = grains * kGrain;
  const std::size_t colour = static_cast<std::size_t>(page - region.pages) % kColours * kColourStep;
  page->fresh = startOf(page) + colour;
  page->end = page->fresh + (kPageSize - kGrain - colour) / size * size;  // another grain may be read behind each block
}

/// Takes over what strangers have given back.
void collect(Page* page) noexcept {
  if (page->strangers.load(std::memory_order_relaxed) == nullptr) return;
  Block* first = page->strangers.exchange(nullptr, std::memory_order_acquire);
  Block* last = first;
  std::uint32_t count = 1;
  for (; last->next != nullptr; last = last->next) ++count;
  last->next = page->free;
  page->free = first;
  page->used -= count;
}

/// Strings blocks together that were never handed out.
void extend(Page* page) noexcept {
  if (page->fresh == page->end) return;
  const std::size_t size = page->size * kGrain;
  const std::size_t count = std::min(static_cast<std::size_t>(page->end - page->fresh) / size, kStringSize / size);
  Block* next = page->free;
  for (std::size_t i = count; i-- > 0;) {
    auto* block = reinterpret_cast<Block*>(page->fresh + i * size);
    block->next = next;
    next = block;
  }
  page->free = next;
  page->fresh += count * size;
  page->made += static_cast<std::uint32_t>(count);
}

/// Gives the heap what free blocks the page has; NO when there are none.
bool handOver(Heap* heap, Page* page) noexcept {
  if (page->free == nullptr) collect(page);
  if (page->free == nullptr) extend(page);
  if (page->free == nullptr) return false;
  heap->free[page->size] = page->free;
  page->free = nullptr;
  page->used = page->made;
  page->isCurrent = true;
  heap->current[page->size] = page;
  return true;
}

void giveBack(Heap* heap, Page* page) noexcept {
  if (heap->spares < kMostSpares) {
    link(heap->spare, page);
    ++heap->spares;
  } else {
    pool().give(page);
  }
}

/// Sees to it that the heap has blocks of that size; NO when there are none to be had.
bool refill(Heap* heap, std::size_t grains) {
  if (Page* page = heap->current[grains]) {
    if (handOver(heap, page)) return true;
    page->isCurrent = false;
    page->isFull = true;
    link(heap->full[grains], page);
    heap->current[grains] = nullptr;
  }
  if (Page* page = heap->available[grains]) {
    unlink(heap->available[grains], page);
    return handOver(heap, page);
  }
  // Others have their turn next time.
  for (int looks = 0; heap->full[grains] != nullptr && looks < kMostLooks; ++looks) {
    Page* const page = heap->full[grains];
    collect(page);
    if (page->free == nullptr) {
      heap->full[grains] = page->next;
      continue;
    }
    unlink(heap->full[grains], page);
    page->isFull = false;
    return handOver(heap, page);
  }
  Page* page = heap->spare;
  if (page != nullptr) {
    unlink(heap->spare, page);
    --heap->spares;
  } else {
    page = pool().take();
    if (page == nullptr) return false;
  }
  prepare(page, heap, grains);
  return handOver(heap, page);
}

/// Everything that is empty goes back; what is not stays in the heap for the next thread.
void tidy(Heap* heap) noexcept {
  for (std::size_t grains = 1; grains < kSizes; ++grains) {
    if (Page* page = std::exchange(heap->current[grains], nullptr)) {
      page->isCurrent = false;
      page->free = std::exchange(heap->free[grains], nullptr);
      for (const Block* block = page->free; block != nullptr; block = block->next) --page->used;
      link(heap->available[grains], page);
    }
    Page* full = nullptr;
    Page* available = nullptr;
    const auto sort = [&](Page*& list) {
      while (Page* page = list) {
        unlink(list, page);
        collect(page);
        page->isFull = page->free == nullptr && page->fresh == page->end;
        if (page->used == 0) {
          pool().give(page);
        } else {
          link(page->isFull ? full : available, page);
        }
      }
    };
    sort(heap->full[grains]);
    sort(heap->available[grains]);
    heap->full[grains] = full;
    heap->available[grains] = available;
  }
  while (Page* page = heap->spare) {
    unlink(heap->spare, page);
    pool().give(page);
  }
  heap->spares = 0;
}

/// Gives a thread its heap, and takes it back at the thread's end. Objects that are released still later are a
/// stranger's, and what is allocated then comes from malloc.
struct Tenancy {
  Heap* heap = nullptr;
  bool isOver = false;
  ~Tenancy() {
    isOver = true;
    threadHeap = &noHeap;
    if (heap == nullptr) return;
    tidy(heap);
    pool().giveHeap(heap);
  }
};
thread_local Tenancy tenancy;

void* allocateByMalloc(std::size_t size) {
#ifdef KVT_SANITIZED
  constexpr std::size_t kBehind = 0;  // or what is read beyond a block would not be seen
#else
  constexpr std::size_t kBehind = kGrain;
#endif
  if (void* memory = std::malloc(size + kBehind)) return memory;
  throw std::bad_alloc();
}

}  // namespace

constinit Heap noHeap{};

void* allocateSlowly(std::size_t size) {
  if (size > kLargestBlock) return allocateByMalloc(size);
  if (threadHeap == &noHeap) {
    if (tenancy.isOver) return allocateByMalloc(size);
    tenancy.heap = pool().takeHeap();
    threadHeap = tenancy.heap;
  }
  const std::size_t grains = std::max<std::size_t>((size + kGrain - 1) / kGrain, 1);
  Block*& free = threadHeap->free[grains];
  if (free == nullptr && !refill(threadHeap, grains)) return allocateByMalloc(size);
  Block* block = free;
  free = block->next;
  return block;
}

void pageChanged(Page* page) noexcept {
  Heap* heap = page->heap;
  if (page->isFull) {
    page->isFull = false;
    unlink(heap->full[page->size], page);
    link(heap->available[page->size], page);
  }
  if (page->used != 0) return;
  unlink(heap->available[page->size], page);
  giveBack(heap, page);
}

void leaveToOwner(Page* page, Block* block) noexcept {
  Block* head = page->strangers.load(std::memory_order_relaxed);
  do {
    block->next = head;
  } while (!page->strangers.compare_exchange_weak(head, block, std::memory_order_release, std::memory_order_relaxed));
}

#ifdef KVT_SANITIZED
void* allocate(std::size_t size) { return allocateByMalloc(size); }
#endif

std::size_t pagesPrepared() noexcept { return preparations.load(std::memory_order_relaxed); }

std::size_t pagesTaken() noexcept {
  const std::lock_guard lock(pool().mutex);
  return pool().taken;
}

}  // namespace kvt::memory
