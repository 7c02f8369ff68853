// A lock for every object: while one thread holds it, others wait.
//
//     void Registry::add(const id& value) {
//       synchronized lock(this);                              // until the end of the block
//       values.addObject(value);
//     }
//
// The lock is recursive: a thread that holds it may take it again. Any object has one, and pays nothing until it is
// used; on nil nothing is locked. The object is kept alive meanwhile. About 60 ns when nobody else wants it. Thread
// rule: any thread; a lock ends on the thread that began it.
#pragma once

#include <KVTPlatform/Runtime/Export.h>
#include <KVTPlatform/Runtime/Handle.h>

namespace kvt {

class KVT_EXPORT synchronized {
 public:
  [[nodiscard]] explicit synchronized(const Object* object);
  [[nodiscard]] explicit synchronized(const Handle& object) : synchronized(object.object()) {}
  ~synchronized();
  synchronized(const synchronized&) = delete;
  synchronized& operator=(const synchronized&) = delete;

 private:
  const Handle object_;
  void* monitor_ = nullptr;
};

}  // namespace kvt
