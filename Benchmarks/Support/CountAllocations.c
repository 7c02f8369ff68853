/* To be preloaded: counts the blocks that a program takes from malloc, and the bytes in use. Memory that a library maps for
 * itself past malloc counts too (glibc's own mappings for large blocks do not come by here). Blocks that a library hands
 * out from memory it keeps are not seen: who has such a store counts them itself. */
#define _GNU_SOURCE
#include "CountAllocations.h"

#include <dlfcn.h>
#include <errno.h>
#include <malloc.h>
#include <stddef.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);
extern void __libc_free(void*);

struct AllocationCount kvt_bench_allocations;

void kvt_bench_restart_peak(void) { kvt_bench_allocations.peak = kvt_bench_allocations.live; }

static void took(long bytes) {
  const long live = __atomic_add_fetch(&kvt_bench_allocations.live, bytes, __ATOMIC_RELAXED);
  __atomic_add_fetch(&kvt_bench_allocations.blocks, 1, __ATOMIC_RELAXED);
  if (live > kvt_bench_allocations.peak) kvt_bench_allocations.peak = live;
}
static void gave(long bytes) { __atomic_sub_fetch(&kvt_bench_allocations.live, bytes, __ATOMIC_RELAXED); }

static void* block(void* memory) {
  if (memory != NULL) took((long)malloc_usable_size(memory));
  return memory;
}

void* malloc(size_t size) { return block(__libc_malloc(size)); }
void* calloc(size_t count, size_t size) { return block(__libc_calloc(count, size)); }
void* realloc(void* old, size_t size) {
  const long bytes = old != NULL ? (long)malloc_usable_size(old) : 0;
  void* memory = __libc_realloc(old, size);
  if (memory != NULL || size == 0) gave(bytes);
  return block(memory);
}
void free(void* memory) {
  if (memory != NULL) gave((long)malloc_usable_size(memory));
  __libc_free(memory);
}
void* memalign(size_t alignment, size_t size) { return block(__libc_memalign(alignment, size)); }
void* aligned_alloc(size_t alignment, size_t size) { return memalign(alignment, size); }
int posix_memalign(void** result, size_t alignment, size_t size) {
  void* memory = memalign(alignment, size);
  if (memory == NULL) return ENOMEM;
  *result = memory;
  return 0;
}

void* mmap(void* address, size_t size, int protection, int flags, int file, off_t offset) {
  void* memory = (void*)syscall(SYS_mmap, address, size, protection, flags, file, offset);
  if (memory != MAP_FAILED && (flags & MAP_ANONYMOUS) && (protection & PROT_WRITE)) took((long)size);
  return memory;
}
int munmap(void* address, size_t size) {
  const int result = (int)syscall(SYS_munmap, address, size);
  if (result == 0) gave((long)size);
  return result;
}
