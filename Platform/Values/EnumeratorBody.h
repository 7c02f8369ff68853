// The body of enumerators; not installed. Whoever has something to walk derives a final body from it.
#pragma once

#include "NSEnumerator.h"

namespace kvt {

struct EnumeratorBody : Object {
  EnumeratorBody();
  /// nil at the end, and ever after.
  virtual id next() = 0;
};

}  // namespace kvt
