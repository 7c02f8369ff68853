#include "DispatchOnce.h"

#include <climits>

#include <KVTPlatform/Runtime/Raise.h>

#include "Futex.h"
#include "WorkerPool.h"

namespace kvt::detail {

// Between 0 and kOnceDone the state is the number of the thread that does it, with a bit for "somebody waits".
constexpr std::uint32_t kWaitedFor = std::uint32_t{1} << 31;

bool beginOnce(dispatch_once_t& token) {
  std::uint32_t state = 0;
  while (!token.state.compare_exchange_strong(state, dispatch::currentThreadId(), std::memory_order_acquire)) {
    if (state == kOnceDone) return false;
    if ((state & ~kWaitedFor) == dispatch::currentThreadId()) {
      objc_raise("NSInternalInconsistencyException", "dispatch_once called from its own work");
    }
    if ((state & kWaitedFor) != 0 || token.state.compare_exchange_strong(state, state | kWaitedFor)) {
      dispatch::WorkerPool::BlockingScope blocking;
      dispatch::futexWait(token.state, state | kWaitedFor);
    }
    state = 0;
  }
  return true;
}

void endOnce(dispatch_once_t& token, bool done) noexcept {
  const std::uint32_t state = token.state.exchange(done ? kOnceDone : 0, std::memory_order_release);
  if ((state & kWaitedFor) != 0) dispatch::futexWake(token.state, INT_MAX);
}

}  // namespace kvt::detail
