#include <KVTFoundation/KVTFoundation.h>

#include <iostream>

using namespace kvt;
using namespace kvt::literals;

int main() {
  // >>>
  Ref<KVTLRUCache> cache = make<KVTLRUCache>();
  cache->setCountLimit(2);
  for (const NSString& name : {"Ann"_ns, "Bo"_ns, "Cy"_ns}) cache->setObject_forKey(name.uppercaseString(), name);
  std::cout << cache->totalCount() << ", " << cache->objectForKey("Cy"_ns) << "\n";  // 2, CY

  dispatch_queue_t worker = dispatch_queue_create("worker", DISPATCH_QUEUE_SERIAL);
  dispatch_async(worker, [cache] {
    cache->removeAllObjects();
    dispatch_async(dispatch_get_main_queue(), [cache] {
      std::cout << cache->totalCount() << " left\n";  // 0 left
    });
  });
  dispatch_sync(worker, [] {});   // when the worker is done,
  dispatch_main_queue_drain(64);  // the main thread does what it was given

  Ref<KVTTimer> timer = KVTTimer::timerWithTimeInterval_repeats_block(60, false, [] {
    std::cout << "ring\n";  // ring
  });
  timer->schedule();
  timer->fire();
  std::cout << timer->isValid() << "\n";  // 0
  // <<<
}
