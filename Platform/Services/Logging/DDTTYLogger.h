// Lines on standard error.
//
//     DDLog::addLogger(DDTTYLogger::sharedInstance());
//
// On a terminal errors are red and warnings yellow, elsewhere (and with NO_COLOR in the environment, or TERM "dumb")
// there are no colours. Without a formatter a line is "2016-05-15 10:20:30:123 kvt[4711:4712] text"; with one it is
// what the formatter says. Each line is written by one call of the system; it is lost where nothing can be written.
#pragma once

#include "DDLog.h"

namespace kvt {

class KVT_EXPORT DDTTYLogger : public DDLogger {
 public:
  /// The one for standard error.
  static Ref<DDTTYLogger> sharedInstance();
  /// One for another descriptor, which stays the caller's and must outlive it.
  explicit DDTTYLogger(int descriptor);

  /// YES at first where the descriptor is a terminal that shows colours. Any thread.
  bool colorsEnabled() const noexcept { return colors_.load(std::memory_order_relaxed); }
  void setColorsEnabled(bool enabled) noexcept { colors_.store(enabled, std::memory_order_relaxed); }

  void logMessage(const Ref<DDLogMessage>& message) override;
  NSString loggerName() const override;

 private:
  static void kvtDescribe(ClassBuilder<DDTTYLogger>& c);
  const int descriptor_;
  std::atomic<bool> colors_;
  KVT_CLASS(DDTTYLogger)
};

}  // namespace kvt
