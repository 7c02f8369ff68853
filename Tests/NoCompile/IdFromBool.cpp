// Refused: deleted|no viable conversion|conversion from
#include <KVTPlatform/Values/id.h>

kvt::id use() {
  kvt::id value = true;
  return value;
}
