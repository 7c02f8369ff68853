#include "CacheFolder.h"

#include <KVTPlatform/Services/Files/NSFileManager.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "Progress.h"

namespace kvt::tool {
namespace {

constexpr std::uint64_t kManyFiles = 5000;

const NSString& keyOf(CacheDate date) {
  switch (date) {
    case CacheDate::kAccess: return NSURLContentAccessDateKey;
    case CacheDate::kModification: return NSURLContentModificationDateKey;
    case CacheDate::kCreation: break;
  }
  return NSURLCreationDateKey;
}

/// As seen from the folder; "." for the folder itself.
std::string nameBelow(const std::string& root, const NSURL& url) {
  std::string_view path = url.fileSystemRepresentation();
  path.remove_prefix(std::min(path.size(), root.size()));
  while (path.starts_with('/')) path.remove_prefix(1);
  return path.empty() ? "." : std::string(path);
}

}  // namespace

std::string reasonOf(const NSError& error) {
  return error.userInfo().objectForKey(NSUnderlyingErrorKey).as<NSError>().localizedFailureReason().str();
}

CacheFolder readCacheFolder(const std::string& root, bool hidden, Progress& progress) {
  CacheFolder folder;
  const NSArray keys{NSURLIsDirectoryKey, NSURLTotalFileAllocatedSizeKey, NSURLContentAccessDateKey,
                     NSURLContentModificationDateKey, NSURLCreationDateKey};
  const NSDirectoryEnumerator walk =
      NSFileManager::defaultManager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
          NSURL::fileURLWithPath_isDirectory(NSString(root), true), keys, 0,
          [&](const NSURL& url, const NSError& error) {
            folder.unreadable.push_back(nameBelow(root, url) + ": " + reasonOf(error));
            return true;
          });
  progress.stage("looking at files", "files", Progress::Steps::kSlow);
  while (const NSURL url = walk.nextObject().as<NSURL>()) {
    progress.step();
    if (progress.steps() == kManyFiles) progress.enable();
    CacheFile file{url, nameBelow(root, url), 0, {}};
    if (!hidden && file.name[file.name.rfind('/') + 1] == '.') {
      ++folder.hidden;
      walk.skipDescendants();
      continue;
    }
    const NSDictionary values = url.resourceValuesForKeys_error(keys, nullptr);
    if (!values) continue;
    if (values.objectForKey(NSURLIsDirectoryKey).as<NSNumber>().boolValue()) {
      ++folder.folders;
      continue;
    }
    file.allocated = values.objectForKey(NSURLTotalFileAllocatedSizeKey).as<NSNumber>().unsignedLongLongValue();
    for (const CacheDate each : kCacheDates) {
      if (const NSDate date = values.objectForKey(keyOf(each)).as<NSDate>()) {
        file.dates[static_cast<unsigned>(each)] = date.timeIntervalSince1970();
      }
    }
    folder.allocated += file.allocated;
    folder.files.push_back(std::move(file));
  }
  progress.clear();
  return folder;
}

void sortByDate(const CacheFolder& folder, CacheDate by, std::vector<std::size_t>& indices) {
  const auto dateOf = [&](std::size_t i) {
    return folder.files[i].date(by).value_or(std::numeric_limits<double>::infinity());
  };
  std::stable_sort(indices.begin(), indices.end(), [&](std::size_t a, std::size_t b) { return dateOf(a) < dateOf(b); });
}

CachePlan planRemoval(const CacheFolder& folder, CacheDate by, std::optional<double> oldest,
                      std::optional<std::uint64_t> maxSize) {
  CachePlan plan;
  std::vector<std::size_t> rest;
  std::uint64_t total = 0;
  for (std::size_t i = 0; i < folder.files.size(); ++i) {
    const CacheFile& file = folder.files[i];
    if (oldest && file.date(by) && *file.date(by) < *oldest) {
      plan.aged.push_back(i);
    } else {
      rest.push_back(i);
      total += file.allocated;
    }
  }
  sortByDate(folder, by, plan.aged);
  if (!maxSize || total <= *maxSize) return plan;
  sortByDate(folder, by, rest);
  const std::uint64_t target = total / 2;
  for (const std::size_t each : rest) {
    plan.crowded.push_back(each);
    total -= folder.files[each].allocated;
    if (total < target) break;
  }
  return plan;
}

int removeIfOlder(int root, const std::string& name, CacheDate by, double oldest) {
  int folder = ::fcntl(root, F_DUPFD_CLOEXEC, 0);
  std::size_t begin = 0;
  for (std::size_t end = name.find('/'); folder >= 0 && end != std::string::npos; end = name.find('/', begin)) {
    const std::string part = name.substr(begin, end - begin);
    const int inner = ::openat(folder, part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    const int failure = errno;
    ::close(folder);
    errno = failure;
    folder = inner;
    begin = end + 1;
  }
  if (folder < 0) return errno == ENOENT ? 0 : errno;
  const char* file = name.c_str() + begin;
  struct statx found {};
  int failure = ::statx(folder, file, AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &found) == 0 ? 0 : errno;
  const statx_timestamp& time = by == CacheDate::kAccess         ? found.stx_atime
                                : by == CacheDate::kModification ? found.stx_mtime
                                                                 : found.stx_btime;
  const double date = static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  const bool isKnown = by != CacheDate::kCreation || (found.stx_mask & STATX_BTIME) != 0;
  if (failure == 0 && !S_ISDIR(found.stx_mode) && isKnown && date < oldest && ::unlinkat(folder, file, 0) != 0) {
    failure = errno;
  }
  ::close(folder);
  return failure == ENOENT ? 0 : failure;
}

}  // namespace kvt::tool
