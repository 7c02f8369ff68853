// Refused: deleted
#include <KVTPlatform/Values/NSNumber.h>

kvt::NSNumber use(int* pointer) { return kvt::NSNumber(pointer); }
