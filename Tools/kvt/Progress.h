// What a long run is at: one line on standard error, when that is a terminal, that goes away at the end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace kvt::tool {

class Progress {
 public:
  Progress() = default;
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows lines from now on, if standard error is a terminal: for input that takes longer than a blink.
  void enable();
  /// What begins now, and what its steps are called. Of slow ones the clock is looked at more often.
  enum class Steps { kFast, kSlow };
  void stage(std::string_view name, std::string_view unit = "values", Steps steps = Steps::kFast);
  /// One step of the stage is done. Costs an addition, and now and then a look at the clock.
  void step() {
    if ((++steps_ & mask_) == 0 && enabled_) refresh();
  }
  std::uint64_t steps() const noexcept { return steps_; }
  /// Takes the line away.
  void clear();

 private:
  void refresh();
  void show(const std::string& line);

  bool enabled_ = false;
  bool shown_ = false;
  std::string stage_;
  std::string unit_;
  std::uint64_t mask_ = 0;
  std::uint64_t steps_ = 0;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace kvt::tool
