// The harness counts calls to malloc. Objects do not come from there but from pages of their own: each page that a heap
// takes counts as one block more.

#include <KVTPlatform/Runtime/ObjectMemory.h>

extern "C" [[gnu::visibility("default")]] long kvt_allocatedBlockCount();

long kvt_allocatedBlockCount() { return static_cast<long>(kvt::memory::pagesPrepared()); }
