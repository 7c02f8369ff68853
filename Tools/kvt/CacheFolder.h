// A cache folder as it stands, and what a removal would take away.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSURL.h>

namespace kvt::tool {

class Progress;

/// The dates by which files expire, by the numbers that the library's config has for them.
enum class CacheDate : unsigned { kAccess = 0, kModification = 1, kCreation = 2 };
inline constexpr CacheDate kCacheDates[] = {CacheDate::kAccess, CacheDate::kModification, CacheDate::kCreation};

struct CacheFile {
  NSURL url;
  std::string name;  // as seen from the folder
  std::uint64_t allocated = 0;
  std::optional<double> dates[3];  // since 1970; none where the file system does not know

  const std::optional<double>& date(CacheDate which) const { return dates[static_cast<unsigned>(which)]; }
};

struct CacheFolder {
  std::vector<CacheFile> files;  // hidden ones left out, in the order of the walk
  std::uint64_t allocated = 0;   // by those
  std::uint64_t folders = 0;
  std::uint64_t hidden = 0;             // files and folders that were left out
  std::vector<std::string> unreadable;  // "inner: Permission denied"
};

/// Why, in the system's words: "Permission denied".
std::string reasonOf(const NSError& error);

/// `root` is an absolute path. With `hidden`, hidden files are counted as all others.
CacheFolder readCacheFolder(const std::string& root, bool hidden, Progress& progress);

/// Indices of files, the oldest first.
void sortByDate(const CacheFolder& folder, CacheDate by, std::vector<std::size_t>& indices);

/// What goes: indices of files, the oldest first.
struct CachePlan {
  std::vector<std::size_t> aged;     // older than allowed
  std::vector<std::size_t> crowded;  // to make room
};

/// By the same rules as the library: what is dated before `oldest` goes by age; when the rest takes more than
/// `maxSize`, the oldest go until less than half of the rest is left. None: no such limit.
CachePlan planRemoval(const CacheFolder& folder, CacheDate by, std::optional<double> oldest,
                      std::optional<std::uint64_t> maxSize);

/// Removes a file that is still older. Looks at it again, for it may have been used or exchanged since the folder was
/// read, and goes to it through no link, so that nobody can lead it out of the folder, which `root` is a descriptor of.
/// 0 when it went or is to stay, else the system's error number.
int removeIfOlder(int root, const std::string& name, CacheDate by, double oldest);

}  // namespace kvt::tool
