// Refused: deleted|no (known|viable) conversion|conversion from|ambiguous
#include <KVTPlatform/Values/id.h>

kvt::id use() {
  kvt::id value = 5;
  return value;
}
