/* What CountAllocations.c counts; the benchmark programs find it with dlsym. */
#pragma once

/* Blocks taken so far (malloc, calloc, realloc, memalign, and mappings made past malloc); bytes in use now and at most.
 */
struct AllocationCount {
  long blocks, live, peak;
};
