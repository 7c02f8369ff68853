// Which files a file logger writes: how they are called, when old ones go.
//
//     auto manager = make<DDLogFileManagerDefault>("/var/log/player");
//     manager->setMaximumNumberOfLogFiles(3);
//     DDLog::addLogger(make<DDFileLogger>(manager));
//
// A manager with another idea derives from DDLogFileManagerDefault and overrides what it wants: names (`newLogFileName`
// with `isLogFile`), order (`sortedLogFileInfos`), creation, deletion, or what happens to a file that is full
// (`didRollAndArchiveLogFile`). The file logger calls everything under its lock. Only regular files count, links are
// neither followed nor deleted, and nothing outside of the folder is touched.
//
// Thread rule: settings may be changed on any thread; they count from the next file on.
#pragma once

#include <atomic>

#include "DDLogFileInfo.h"

namespace kvt {

class NSArray;
class NSError;

inline constexpr NSUInteger kDDDefaultLogMaxNumLogFiles = 5;
inline constexpr unsigned long long kDDDefaultLogFilesDiskQuota = 20ull * 1024 * 1024;

class KVT_EXPORT DDLogFileManagerDefault : public NSObject {
 public:
  /// nil: `defaultLogsDirectory`.
  explicit DDLogFileManagerDefault(const NSString& logsDirectory = nullptr);

  /// PROGRAM/Logs below $XDG_STATE_HOME, or below ~/.local/state.
  static NSString defaultLogsDirectory();

  /// How many files to keep, the one that is written to included. 5 at first; 0: any number.
  NSUInteger maximumNumberOfLogFiles() const noexcept { return maximumNumber_.load(std::memory_order_relaxed); }
  void setMaximumNumberOfLogFiles(NSUInteger number) noexcept { maximumNumber_.store(number); }
  /// How many bytes all files together may have. 20 MB at first; 0: any number.
  unsigned long long logFilesDiskQuota() const noexcept { return diskQuota_.load(std::memory_order_relaxed); }
  void setLogFilesDiskQuota(unsigned long long bytes) noexcept { diskQuota_.store(bytes); }

  /// The folder, which is made when it is not there.
  virtual NSString logsDirectory() const;

  // ---- names -------------------------------------------------------------------------------------------------------

  /// "PROGRAM 2016-05-15--10-20-30-123.log", in UTC.
  virtual NSString newLogFileName();
  /// Whether a file of that name in the folder is one of ours.
  virtual bool isLogFile(const NSString& fileName);
  /// The first line of every new file; nil: none.
  virtual NSString logFileHeader();

  // ---- files -------------------------------------------------------------------------------------------------------

  /// Of the regular files in the folder whose names `isLogFile` accepts; paths, names or infos.
  virtual NSArray unsortedLogFilePaths();
  virtual NSArray unsortedLogFileNames();
  virtual NSArray unsortedLogFileInfos();
  /// The newest first, by the date of creation.
  virtual NSArray sortedLogFilePaths();
  virtual NSArray sortedLogFileNames();
  virtual NSArray sortedLogFileInfos();

  /// Makes the file that is written to next, with its header, and deletes old ones. The path; nil when it cannot be
  /// made, and why in `*error` (which may be null). A name that is taken gets a number (" 2").
  virtual NSString createNewLogFileWithError(NSError* error);
  /// Deletes, of the sorted infos: those from where the sizes up to it exceed the quota, and those beyond the maximum
  /// number; but never the first one unless it is archived.
  virtual void deleteOldLogFiles();

  /// A file from an earlier run is full or too old, and will not be written to again.
  virtual void didArchiveLogFile(const NSString& path);
  /// A file that was being written to is full or too old, and was closed.
  virtual void didRollAndArchiveLogFile(const NSString& path);
  /// Whether the program runs without a face. NO.
  virtual bool isAppRunInBackground();

 private:
  static void kvtDescribe(ClassBuilder<DDLogFileManagerDefault>& c);
  const NSString directory_;
  std::atomic<NSUInteger> maximumNumber_{kDDDefaultLogMaxNumLogFiles};
  std::atomic<unsigned long long> diskQuota_{kDDDefaultLogFilesDiskQuota};
  KVT_CLASS(DDLogFileManagerDefault)
};
using DDLogFileManager = DDLogFileManagerDefault;

}  // namespace kvt
