// Refused: no (known|viable) conversion|conversion from|could not convert
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

kvt::NSString use(const kvt::NSNumber& number) {
  kvt::NSString text = number;
  return text;
}
