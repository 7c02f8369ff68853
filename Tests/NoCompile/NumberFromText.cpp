// Refused: deleted|no (known|viable) conversion|conversion from
#include <KVTPlatform/Values/NSNumber.h>

kvt::NSNumber use() {
  kvt::NSNumber number = "text";
  return number;
}
