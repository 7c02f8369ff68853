// What the tests of caches share: values that tell of their end, and work on another thread.
#pragma once

#include <KVTFoundation/Cache/KVTLRUCache.h>
#include <KVTFoundation/Cache/LRUCacheAccess.h>

#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Services/Dispatch/NSThread.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

namespace kvt {

/// Counts its kind's ends, by thread, and may do something at its own.
class Mortal : public NSObject {
 public:
  Block<void()> atEnd;
  ~Mortal() override {
    (this == mine ? withMe : NSThread::isMainThread() ? onMain : elsewhere)++;
    atEnd();
  }
  static inline std::atomic<int> onMain{0}, elsewhere{0}, withMe{0};
  static void forget() { onMain = elsewhere = withMe = 0; }
  /// What the thread itself holds: the cache may have let it go meanwhile.
  static inline thread_local const Mortal* mine = nullptr;
  KVT_CLASS(Mortal)
};

template <class F>
void onAnotherThread(const F& call) {
  std::thread(call).join();
}

inline void drainMainQueue() {
  while (dispatch_main_queue_drain(1000) != 0) {
  }
}

inline NSString letter(char each) { return NSString(std::string(1, each)); }

/// The keys on the list, the one used last first; says so when the list, its count and the dictionary do not agree.
inline std::string listOf(const Ref<KVTLRUCache>& cache) {
  const KVTLinkedMap& map = LRUCacheAccess::map(*cache);
  std::string keys;
  const KVTLinkedMapNode* last = nullptr;
  for (const KVTLinkedMapNode* node = map.head(); node != nullptr; node = node->_next) {
    EXPECT_EQ(node->_prev, last);
    EXPECT_TRUE(map.isOnList(node));
    keys += std::string(node->_key.as<NSString>());
    last = node;
  }
  EXPECT_EQ(map.tail(), last);
  EXPECT_EQ(map.count(), keys.size());
  return keys;
}

}  // namespace kvt
