// Refused: no (known|viable) conversion|conversion from|could not convert
#include <KVTPlatform/Values/NSArray.h>

kvt::NSMutableArray use(const kvt::NSArray& list) {
  kvt::NSMutableArray changing = list;
  return changing;
}
