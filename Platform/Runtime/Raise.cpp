#include "Raise.h"

#include <atomic>
#include <cstdio>
#include <stdexcept>

namespace kvt {
namespace {
std::atomic<RaiseHandler> raiseHandler{nullptr};
}

void objc_setRaiseHandler(RaiseHandler handler) noexcept { raiseHandler.store(handler, std::memory_order_release); }

void objc_raise(const char* name, const std::string& reason) {
  if (RaiseHandler handler = raiseHandler.load(std::memory_order_acquire)) handler(name, reason);
  throw std::runtime_error(std::string(name) + ": " + reason);
}

void objc_warn(const std::string& message) noexcept { std::fprintf(stderr, "KVT: %s\n", message.c_str()); }

}  // namespace kvt
