// Refused: deleted
#include <KVTPlatform/Values/NSArray.h>

kvt::NSArray use(int* pointer) { return kvt::NSArray{1, pointer}; }
