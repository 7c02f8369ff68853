// Loggers that remember, and what is written to a descriptor.
#pragma once

#include <KVTPlatform/Services/Logging/Logging.h>
#include <KVTPlatform/Values/NSArray.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "ScratchFolder.h"

namespace kvt {

/// Remembers what reaches it.
class MemoryLogger : public DDLogger {
 public:
  void logMessage(const Ref<DDLogMessage>& message) override {
    const NSString text = formatted(message);
    std::lock_guard lock(mutex_);
    if (text) lines_.push_back(text.str());
    messages_.push_back(message);
  }
  void flush() override { note("flush"); }
  void didAddLogger() override { note("added"); }
  void willRemoveLogger() override { note("removed"); }

  std::vector<std::string> lines() const {
    std::lock_guard lock(mutex_);
    return lines_;
  }
  std::string text() const {
    std::string result;
    for (const std::string& line : lines()) result += (result.empty() ? "" : "|") + line;
    return result;
  }
  Ref<DDLogMessage> lastMessage() const {
    std::lock_guard lock(mutex_);
    return messages_.empty() ? nullptr : messages_.back();
  }
  std::string notes() const {
    std::lock_guard lock(mutex_);
    return notes_;
  }

 private:
  void note(const char* what) {
    std::lock_guard lock(mutex_);
    notes_ += (notes_.empty() ? "" : " ") + std::string(what);
  }
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::vector<Ref<DDLogMessage>> messages_;
  std::string notes_;
  KVT_CLASS(MemoryLogger)
};

/// Nobody logs before and after a test.
class LoggingTest : public ::testing::Test {
 protected:
  ~LoggingTest() override { DDLog::removeAllLoggers(); }
};

/// What is written to a descriptor while it lives: some kilobytes at most, for it lies in a pipe.
class Captured {
 public:
  explicit Captured(int descriptor) : descriptor_(descriptor), before_(::dup(descriptor)) {
    if (::pipe2(ends_, O_NONBLOCK) == 0) ::dup2(ends_[1], descriptor);
  }
  ~Captured() {
    ::dup2(before_, descriptor_);
    for (int each : {before_, ends_[0], ends_[1]}) ::close(each);
  }
  /// What has come since the last call.
  std::string text() {
    std::string result(65536, '\0');
    const ssize_t size = ::read(ends_[0], result.data(), result.size());
    result.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return result;
  }

 private:
  const int descriptor_;
  const int before_;
  int ends_[2] = {-1, -1};
};

}  // namespace kvt
