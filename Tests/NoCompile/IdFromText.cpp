// Refused: deleted|no (known|viable) conversion|conversion from
#include <KVTPlatform/Values/id.h>

kvt::id use() {
  kvt::id value = "text";
  return value;
}
