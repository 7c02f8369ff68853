// Something that must happen once in the life of the process.
//
//     static dispatch_once_t once;
//     dispatch_once(&once, [] { shared = make<Registry>(); });
//
// Whoever comes while it happens waits until it has; after that a call costs a load. Work that raises has not happened:
// the exception reaches the caller, and the next one tries again. Raises NSInternalInconsistencyException where a
// thread would wait for itself. Thread rule: any thread. The token must be static, or zeroed.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

#include <KVTPlatform/Runtime/Export.h>

namespace kvt {

struct dispatch_once_t {
  std::atomic<std::uint32_t> state{0};
};

namespace detail {
inline constexpr std::uint32_t kOnceDone = ~std::uint32_t{0};
/// Whether the caller has to do it.
KVT_EXPORT bool beginOnce(dispatch_once_t& token);
KVT_EXPORT void endOnce(dispatch_once_t& token, bool done) noexcept;
}  // namespace detail

template <class F>
void dispatch_once(dispatch_once_t* token, F&& work) {
  if (token->state.load(std::memory_order_acquire) == detail::kOnceDone) return;
  if (!detail::beginOnce(*token)) return;
  struct End {
    ~End() { detail::endOnce(token, done); }
    dispatch_once_t& token;
    bool done = false;
  } end{*token};
  static_cast<void>(std::forward<F>(work)());
  end.done = true;
}

}  // namespace kvt
