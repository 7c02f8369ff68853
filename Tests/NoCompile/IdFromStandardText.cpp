// Refused: no (known|viable) conversion|conversion from|could not convert
#include <KVTPlatform/Values/NSString.h>

#include <string>

kvt::id use() {
  kvt::id value = std::string("text");
  return value;
}
