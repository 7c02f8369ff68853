// The null object: what stands in a collection where there is nothing to stand there, as JSON's `null` does.
//
//     NSArray row = {1, NSNull::null(), 3};
//     row[1].is<NSNull>();                       // YES
//     row[1] == nullptr;                         // NO: NSNull is an object, nil is none
//
// There is one such object, immortal. It is equal to itself alone, its description is "<null>", its copy is itself.
// Thread rule: any thread.
#pragma once

#include "id.h"

namespace kvt {

class KVT_EXPORT NSNull : public id {
  KVT_HANDLE(NSNull, id)

 public:
  /// The one null object; never nil.
  static NSNull null();
};

}  // namespace kvt
