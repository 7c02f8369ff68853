// The main queue's side that the host sees; not installed.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace kvt::dispatch {

class MainQueue {
 public:
  /// Never destroyed.
  static MainQueue& shared();
  static bool isMainThread() noexcept;

  /// There is work: the host shall come.
  void callForDrain() noexcept;
  std::size_t drain(std::size_t max);
  int descriptor();
  [[noreturn]] void runForEver();

 private:
  bool claimThread() noexcept;

  std::mutex mutex_;
  int descriptor_ = -1;
  std::atomic<std::uint32_t> called_{0};
  std::atomic<bool> sleeps_{false};
};

}  // namespace kvt::dispatch
