// Lines in files that are rolled: when a file is full or too old it is closed for good, and the next line begins a new
// one. The log-file manager says how files are called and which of them stay.
//
//     auto logger = make<DDFileLogger>();
//     logger->setMaximumFileSize(5 * 1024 * 1024);
//     logger->setRollingFrequency(0);                          // by size alone
//     logger->logFileManager()->setMaximumNumberOfLogFiles(3);
//     DDLog::addLogger(logger);
//
// A line is written whole, by one call of the system, behind what the file has; without a formatter as
// "2016/05/15 10:20:30:123  text". Files belong to one logger of one process.
//
// What goes wrong: A line for which there is no room (a full disk, a limit on files' size) is taken back and lost, and
// the next one is tried anew; so is a file that cannot be made or opened. The first loss is told by NSLog, and how many
// lines it were when writing works again. A process that is killed may leave half a line at the end of its last file:
// who goes on with the file begins a new line there. A file that is deleted while it is written to is made anew with
// the next line.
//
// Thread rule: settings and questions on any thread.
#pragma once

#include <memory>

#include <KVTPlatform/Runtime/Block.h>

#include "DDLog.h"
#include "DDLogFileManager.h"

namespace kvt {

inline constexpr unsigned long long kDDDefaultLogMaxFileSize = 1024 * 1024;
inline constexpr NSTimeInterval kDDDefaultLogRollingFrequency = 24 * 60 * 60;

/// "2016/05/15 10:20:30:123  text": what a file logger writes without another formatter.
class KVT_EXPORT DDLogFileFormatterDefault : public DDLogFormatter {
 public:
  NSString formatLogMessage(const Ref<DDLogMessage>& message) override;
  KVT_CLASS(DDLogFileFormatterDefault)
};

class KVT_EXPORT DDFileLogger : public DDLogger {
 public:
  /// nil: a DDLogFileManagerDefault of its own.
  explicit DDFileLogger(const Ref<DDLogFileManagerDefault>& manager = nullptr);
  ~DDFileLogger() override;

  const Ref<DDLogFileManagerDefault>& logFileManager() const noexcept { return manager_; }

  /// A file that has this many bytes is rolled, right after the line that filled it. 1 MB at first; 0: never.
  unsigned long long maximumFileSize() const;
  void setMaximumFileSize(unsigned long long bytes);
  /// A file that was made this many seconds ago is rolled, when the time comes. A day at first; 0 or less: never.
  NSTimeInterval rollingFrequency() const;
  void setRollingFrequency(NSTimeInterval seconds);
  /// Whether each run begins a new file. NO: the newest one is gone on with, unless it is archived, full or too old.
  bool doNotReuseLogFiles() const;
  void setDoNotReuseLogFiles(bool doNotReuse);

  /// The file that is written to; it is found, or made, when there is none yet. nil when that fails.
  Ref<DDLogFileInfo> currentLogFileInfo();
  /// Closes the present file for good, whatever its size and age; nothing when none is open.
  void rollLogFile();
  /// The same on the logger's queue, behind the lines that wait; then the block on a global queue.
  void rollLogFileWithCompletionBlock(const Block<void()>& completion);

  void logMessage(const Ref<DDLogMessage>& message) override;
  /// Has the system write the file to the disk.
  void flush() override;
  void willRemoveLogger() override;
  NSString loggerName() const override;

 private:
  static void kvtDescribe(ClassBuilder<DDFileLogger>& c);
  struct State;

  const Ref<DDLogFileManagerDefault> manager_;
  const std::unique_ptr<State> state_;
  KVT_CLASS(DDFileLogger)
};

}  // namespace kvt
