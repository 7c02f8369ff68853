#include "DDFileLogger.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Services/Dispatch/DispatchSource.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSError.h>

#include "../Dispatch/TimerService.h"
#include "LogText.h"
#include "NSLog.h"

namespace kvt {

NSString DDLogFileFormatterDefault::formatLogMessage(const Ref<DDLogMessage>& message) {
  return NSString::stringWithFormat("%s  %@", logging::timeText(message->timestamp().timeIntervalSince1970(), '/', ':'),
                                    message->message());
}

// ---- the file -------------------------------------------------------------------------------------------------------

/// The file that is written to, under a lock that the manager's hooks may take again.
struct DDFileLogger::State {
  explicit State(const Ref<DDLogFileManagerDefault>& itsManager) : manager(itsManager) {}
  ~State() { close(); }

  bool open(const DDFileLogger& logger);
  void close() noexcept;
  void roll();
  void write(const DDFileLogger& logger, std::string_view line);
  void lost(const NSString& reason);
  void watchAge(const DDFileLogger& logger);
  void rollWhenTooOld(const DDFileLogger& logger);

  bool isFull(std::uint64_t size) const noexcept { return maximumSize != 0 && size >= maximumSize; }
  bool isTooOld(const DDLogFileInfo& info) const { return frequency > 0 && info.age() >= frequency; }
  Ref<DDLogFileInfo> newestThatGoesOn();

  const Ref<DDLogFileManagerDefault> manager;
  std::recursive_mutex mutex;
  unsigned long long maximumSize = kDDDefaultLogMaxFileSize;
  NSTimeInterval frequency = kDDDefaultLogRollingFrequency;
  bool doNotReuse = false;
  int file = -1;
  Ref<DDLogFileInfo> current;
  dispatch_source_t timer;
  std::uint64_t lostLines = 0;
};

/// The newest file, unless it is over.
Ref<DDLogFileInfo> DDFileLogger::State::newestThatGoesOn() {
  const Ref<DDLogFileInfo> newest = manager->sortedLogFileInfos().firstObject().as<DDLogFileInfo>();
  if (!newest || newest->isArchived()) return nullptr;
  if (!doNotReuse && !isFull(newest->fileSize()) && !isTooOld(*newest)) return newest;
  newest->setIsArchived(true);
  manager->didArchiveLogFile(newest->filePath());
  return nullptr;
}

bool DDFileLogger::State::open(const DDFileLogger& logger) {
  if (file >= 0) return true;
  current = newestThatGoesOn();
  if (!current) {
    NSError error;
    const NSString path = manager->createNewLogFileWithError(&error);
    if (!path) {
      lost(error ? error.localizedDescription() : NSString("no log file"));
      return false;
    }
    current = make<DDLogFileInfo>(path);
  }
  const std::string path = current->filePath().str();
  file = ::open(path.c_str(), O_RDWR | O_APPEND | O_NOFOLLOW | O_CLOEXEC);
  struct stat status {};
  if (file < 0 || ::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
    lost(NSString::stringWithFormat("%@: %s", current->filePath(), ::strerror(file < 0 ? errno : EINVAL)));
    close();
    return false;
  }
  // Whoever wrote last may have been killed in the middle of a line.
  char last = '\n';
  if (status.st_size > 0 && ::pread(file, &last, 1, status.st_size - 1) == 1 && last != '\n') {
    static_cast<void>(::write(file, "\n", 1) == 1);
  }
  watchAge(logger);
  return true;
}

void DDFileLogger::State::close() noexcept {
  if (file >= 0) ::close(file);
  file = -1;
  current = nullptr;
  dispatch_source_cancel(timer);
  timer = nullptr;
}

void DDFileLogger::State::roll() {
  if (file < 0) return;
  const Ref<DDLogFileInfo> full = current;
  close();
  full->setIsArchived(true);
  manager->didRollAndArchiveLogFile(full->filePath());
}

/// Has somebody look when the file will be too old.
void DDFileLogger::State::watchAge(const DDFileLogger& logger) {
  dispatch_source_cancel(timer);
  timer = nullptr;
  if (file < 0 || !(frequency > 0)) return;
  const double left = std::max(frequency - current->age(), 0.0) * 1e9;
  if (left > 9e18) return;
  timer = dispatch_source_create(DISPATCH_SOURCE_TYPE_TIMER, 0, 0, logger.loggerQueue());
  dispatch_source_set_event_handler(timer, [weak = Weak<DDFileLogger>(Ref<DDFileLogger>(borrow, &logger))] {
    if (const Ref<DDFileLogger> alive = weak.lock()) {
      std::lock_guard lock(alive->state_->mutex);
      alive->state_->rollWhenTooOld(*alive);
    }
  });
  dispatch_source_set_timer(timer, dispatch_time(DISPATCH_TIME_NOW, static_cast<std::int64_t>(left) + 1),
                            DISPATCH_TIME_FOREVER, NSEC_PER_SEC);
  dispatch_resume(timer);
}

void DDFileLogger::State::rollWhenTooOld(const DDFileLogger& logger) {
  if (file >= 0 && isTooOld(*current))
    roll();
  else
    watchAge(logger);
}

void DDFileLogger::State::lost(const NSString& reason) {
  if (lostLines++ == 0) NSLog("DDFileLogger: lines are lost: %@", reason);
}

void DDFileLogger::State::write(const DDFileLogger& logger, std::string_view line) {
  struct stat status {};
  if (file >= 0 && (::fstat(file, &status) != 0 || status.st_nlink == 0)) close();
  if (!open(logger)) return;
  if (::fstat(file, &status) != 0) return lost(::strerror(errno));
  std::string_view left = line;
  while (!left.empty()) {
    const ssize_t written = ::write(file, left.data(), left.size());
    if (written > 0) {
      left.remove_prefix(static_cast<std::size_t>(written));
    } else if (written == 0 || errno != EINTR) {
      const int failure = written == 0 ? ENOSPC : errno;
      // No halves.
      static_cast<void>(::ftruncate(file, status.st_size) == 0);
      return lost(::strerror(failure));
    }
  }
  if (lostLines != 0) {
    NSLog("DDFileLogger: %llu lines were lost", std::exchange(lostLines, 0));
  }
  if (isFull(static_cast<std::uint64_t>(status.st_size) + line.size())) roll();
}

// ---- the logger -----------------------------------------------------------------------------------------------------

DDFileLogger::DDFileLogger(const Ref<DDLogFileManagerDefault>& manager)
    : manager_(manager ? manager : make<DDLogFileManagerDefault>()), state_(std::make_unique<State>(manager_)) {
  setLogFormatter(make<DDLogFileFormatterDefault>());
}

DDFileLogger::~DDFileLogger() = default;

unsigned long long DDFileLogger::maximumFileSize() const {
  std::lock_guard lock(state_->mutex);
  return state_->maximumSize;
}
void DDFileLogger::setMaximumFileSize(unsigned long long bytes) {
  std::lock_guard lock(state_->mutex);
  state_->maximumSize = bytes;
  struct stat status {};
  if (state_->file >= 0 && ::fstat(state_->file, &status) == 0 &&
      state_->isFull(static_cast<std::uint64_t>(status.st_size))) {
    state_->roll();
  }
}

NSTimeInterval DDFileLogger::rollingFrequency() const {
  std::lock_guard lock(state_->mutex);
  return state_->frequency;
}
void DDFileLogger::setRollingFrequency(NSTimeInterval seconds) {
  std::lock_guard lock(state_->mutex);
  state_->frequency = seconds;
  state_->rollWhenTooOld(*this);
}

bool DDFileLogger::doNotReuseLogFiles() const {
  std::lock_guard lock(state_->mutex);
  return state_->doNotReuse;
}
void DDFileLogger::setDoNotReuseLogFiles(bool doNotReuse) {
  std::lock_guard lock(state_->mutex);
  state_->doNotReuse = doNotReuse;
}

Ref<DDLogFileInfo> DDFileLogger::currentLogFileInfo() {
  std::lock_guard lock(state_->mutex);
  return state_->open(*this) ? make<DDLogFileInfo>(state_->current->filePath()) : nullptr;
}

void DDFileLogger::rollLogFile() {
  std::lock_guard lock(state_->mutex);
  state_->roll();
}

void DDFileLogger::rollLogFileWithCompletionBlock(const Block<void()>& completion) {
  dispatch_async(loggerQueue(), [self = Ref<DDFileLogger>(this), completion] {
    self->rollLogFile();
    if (completion) dispatch_async(dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0), completion);
  });
}

void DDFileLogger::logMessage(const Ref<DDLogMessage>& message) {
  const NSString text = formatted(message);
  if (!text) return;
  std::string line = text.str();
  if (line.empty() || line.back() != '\n') line += '\n';
  std::lock_guard lock(state_->mutex);
  state_->write(*this, line);
}

void DDFileLogger::flush() {
  std::lock_guard lock(state_->mutex);
  if (state_->file >= 0) ::fdatasync(state_->file);
}

void DDFileLogger::willRemoveLogger() {
  std::lock_guard lock(state_->mutex);
  state_->close();
}

NSString DDFileLogger::loggerName() const { return "cocoa.lumberjack.fileLogger"; }

void DDFileLogger::kvtDescribe(ClassBuilder<DDFileLogger>& c) {
  using L = DDFileLogger;
  c.method<&L::logFileManager>("logFileManager");
  c.method<&L::maximumFileSize>("maximumFileSize").method<&L::setMaximumFileSize>("setMaximumFileSize:");
  c.method<&L::rollingFrequency>("rollingFrequency").method<&L::setRollingFrequency>("setRollingFrequency:");
  c.method<&L::doNotReuseLogFiles>("doNotReuseLogFiles").method<&L::setDoNotReuseLogFiles>("setDoNotReuseLogFiles:");
  c.method<&L::currentLogFileInfo>("currentLogFileInfo").method<&L::rollLogFile>("rollLogFile");
  c.method<&L::rollLogFileWithCompletionBlock>("rollLogFileWithCompletionBlock:");
}

}  // namespace kvt
