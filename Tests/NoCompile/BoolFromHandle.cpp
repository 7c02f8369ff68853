// Refused: cannot convert|no viable conversion
#include <KVTPlatform/Values/NSString.h>

bool use(const kvt::NSString& text) {
  bool answer = text;
  return answer;
}
