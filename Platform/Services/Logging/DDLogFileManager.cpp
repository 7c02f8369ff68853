#include "DDLogFileManager.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDateFormatter.h>
#include <KVTPlatform/Values/NSError+Files.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSTimeZone.h>

#include "LogText.h"

namespace kvt {
namespace {

constexpr const char* kDatePattern = "yyyy-MM-dd--HH-mm-ss-SSS";

NSDateFormatter dateFormatter() {
  static const auto* formatter = [] {
    auto* made = new NSDateFormatter(NSDateFormatter::new_());
    made->setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
    made->setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
    made->setDateFormat(kDatePattern);
    return made;
  }();
  return *formatter;
}

/// With the folders above it.
void makeFolder(const std::string& path) {
  if (path.empty() || ::mkdir(path.c_str(), 0755) == 0 || errno != ENOENT) return;
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos || slash == 0) return;
  makeFolder(path.substr(0, slash));
  ::mkdir(path.c_str(), 0755);
}

int writeAll(int file, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = ::write(file, text.data(), text.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

template <class F>
NSArray mapped(const NSArray& infos, const F& part) {
  std::vector<id> result;
  for (const id& each : infos) result.push_back(part(*each.as<DDLogFileInfo>()));
  return NSArray::arrayWithRange(result);
}
NSString pathOf(const DDLogFileInfo& info) { return info.filePath(); }
NSString nameOf(const DDLogFileInfo& info) { return info.fileName(); }

}  // namespace

DDLogFileManagerDefault::DDLogFileManagerDefault(const NSString& logsDirectory)
    : directory_(logsDirectory ? logsDirectory.copy() : defaultLogsDirectory()) {}

NSString DDLogFileManagerDefault::defaultLogsDirectory() {
  const char* state = std::getenv("XDG_STATE_HOME");
  // Relative ones are to be ignored.
  const NSString base = state != nullptr && *state == '/' ? NSString(state) : NSString();
  return (base ? base : NSString("~/.local/state").stringByExpandingTildeInPath())
      .stringByAppendingPathComponent(NSString(logging::programName()))
      .stringByAppendingPathComponent("Logs");
}

NSString DDLogFileManagerDefault::logsDirectory() const {
  makeFolder(directory_.str());
  return directory_;
}

// ---- names ----------------------------------------------------------------------------------------------------------

NSString DDLogFileManagerDefault::newLogFileName() {
  return NSString::stringWithFormat("%s %@.log", logging::programName(),
                                    dateFormatter().stringFromDate(NSDate::date()));
}

bool DDLogFileManagerDefault::isLogFile(const NSString& fileName) {
  const NSString prefix = NSString(logging::programName() + " ");
  if (!fileName.hasPrefix(prefix) || !fileName.hasSuffix(".log")) return false;
  NSString middle = fileName.substringFromIndex(prefix.length());
  middle = middle.substringToIndex(middle.length() - 4);
  // Behind the date there may be a number.
  const NSArray parts = middle.componentsSeparatedByString(" ");
  if (parts.count() > 2 || !dateFormatter().dateFromString(parts[0].as<NSString>())) return false;
  return parts.count() == 1 || parts[1].as<NSString>().integerValue() > 1;
}

NSString DDLogFileManagerDefault::logFileHeader() { return nullptr; }

// ---- files ----------------------------------------------------------------------------------------------------------

NSArray DDLogFileManagerDefault::unsortedLogFileInfos() {
  const NSString directory = logsDirectory();
  std::vector<id> infos;
  DIR* folder = ::opendir(directory.str().c_str());
  if (folder == nullptr) return NSArray::array();
  while (const dirent* entry = ::readdir(folder)) {
    const NSString name = static_cast<const char*>(entry->d_name);
    if (!name || !isLogFile(name)) continue;
    const Ref<DDLogFileInfo> info = make<DDLogFileInfo>(directory.stringByAppendingPathComponent(name));
    if (info->isRegularFile()) infos.push_back(info);
  }
  ::closedir(folder);
  return NSArray::arrayWithRange(infos);
}

NSArray DDLogFileManagerDefault::sortedLogFileInfos() {
  return unsortedLogFileInfos().sortedArrayUsingComparator([](const id& a, const id& b) {
    return a.as<DDLogFileInfo>()->reverseCompareByCreationDate(b.as<DDLogFileInfo>());
  });
}

NSArray DDLogFileManagerDefault::unsortedLogFilePaths() { return mapped(unsortedLogFileInfos(), &pathOf); }
NSArray DDLogFileManagerDefault::unsortedLogFileNames() { return mapped(unsortedLogFileInfos(), &nameOf); }
NSArray DDLogFileManagerDefault::sortedLogFilePaths() { return mapped(sortedLogFileInfos(), &pathOf); }
NSArray DDLogFileManagerDefault::sortedLogFileNames() { return mapped(sortedLogFileInfos(), &nameOf); }

NSString DDLogFileManagerDefault::createNewLogFileWithError(NSError* error) {
  const NSString wanted = newLogFileName();
  const NSString directory = logsDirectory();
  NSString path;
  int file = -1;
  for (int attempt = 1; file < 0; ++attempt) {
    NSString name = wanted;
    if (attempt > 1) {
      const NSString extension = wanted.pathExtension();
      name = NSString::stringWithFormat("%@ %d", wanted.stringByDeletingPathExtension(), attempt);
      if (extension.length() > 0) name = name.stringByAppendingPathExtension(extension);
    }
    path = directory.stringByAppendingPathComponent(name);
    file = ::open(path.str().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (file < 0 && errno != EEXIST) {
      if (error != nullptr) *error = fileError(FileOperation::kWrite, errno, path);
      return nullptr;
    }
  }
  const NSString header = logFileHeader();
  int failure = 0;
  if (header) failure = writeAll(file, header.str() + (header.hasSuffix("\n") ? "" : "\n"));
  ::close(file);
  if (failure != 0) {
    if (error != nullptr) *error = fileError(FileOperation::kWrite, failure, path);
    ::unlink(path.str().c_str());
    return nullptr;
  }
  deleteOldLogFiles();
  return path;
}

void DDLogFileManagerDefault::deleteOldLogFiles() {
  const NSUInteger maximum = maximumNumberOfLogFiles();
  const unsigned long long quota = logFilesDiskQuota();
  const NSArray infos = sortedLogFileInfos();
  NSUInteger first = NSNotFound;
  if (quota != 0) {
    unsigned long long used = 0;
    for (NSUInteger i = 0; i < infos.count() && first == NSNotFound; ++i) {
      used += infos[i].as<DDLogFileInfo>()->fileSize();
      if (used > quota) first = i;
    }
  }
  if (maximum != 0) first = std::min(first, maximum);
  if (first == 0 && infos.count() > 0 && !infos[0].as<DDLogFileInfo>()->isArchived()) first = 1;
  for (NSUInteger i = first; i < infos.count(); ++i) {
    ::unlink(infos[i].as<DDLogFileInfo>()->filePath().str().c_str());
  }
}

void DDLogFileManagerDefault::didArchiveLogFile(const NSString&) {}
void DDLogFileManagerDefault::didRollAndArchiveLogFile(const NSString&) {}
bool DDLogFileManagerDefault::isAppRunInBackground() { return false; }

void DDLogFileManagerDefault::kvtDescribe(ClassBuilder<DDLogFileManagerDefault>& c) {
  using M = DDLogFileManagerDefault;
  c.protocol("DDLogFileManager");
  c.method<&M::maximumNumberOfLogFiles>("maximumNumberOfLogFiles");
  c.method<&M::setMaximumNumberOfLogFiles>("setMaximumNumberOfLogFiles:");
  c.method<&M::logFilesDiskQuota>("logFilesDiskQuota").method<&M::setLogFilesDiskQuota>("setLogFilesDiskQuota:");
  c.classMethod<&M::defaultLogsDirectory>("defaultLogsDirectory").method<&M::logsDirectory>("logsDirectory");
  c.method<&M::newLogFileName>("newLogFileName").method<&M::isLogFile>("isLogFile:");
  c.method<&M::logFileHeader>("logFileHeader");
  c.method<&M::unsortedLogFilePaths>("unsortedLogFilePaths").method<&M::unsortedLogFileNames>("unsortedLogFileNames");
  c.method<&M::unsortedLogFileInfos>("unsortedLogFileInfos").method<&M::sortedLogFilePaths>("sortedLogFilePaths");
  c.method<&M::sortedLogFileNames>("sortedLogFileNames").method<&M::sortedLogFileInfos>("sortedLogFileInfos");
  c.method<&M::createNewLogFileWithError>("createNewLogFileWithError:");
  c.method<&M::deleteOldLogFiles>("deleteOldLogFiles").method<&M::didArchiveLogFile>("didArchiveLogFile:");
  c.method<&M::didRollAndArchiveLogFile>("didRollAndArchiveLogFile:");
  c.method<&M::isAppRunInBackground>("isAppRunInBackground");
}

}  // namespace kvt
