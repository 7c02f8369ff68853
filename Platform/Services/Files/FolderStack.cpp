#include "FolderStack.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace kvt::files {
namespace {

constexpr std::size_t kMostOpen = 32;
constexpr int kOpenFolder = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK;

int readEntries(int descriptor, std::string& entries) {
  const int own = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
  if (own < 0) return errno;
  DIR* folder = ::fdopendir(own);
  if (folder == nullptr) {
    const int failure = errno;
    ::close(own);
    return failure;
  }
  errno = 0;
  while (const dirent* entry = ::readdir(folder)) {
    const char* name = entry->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    entries += static_cast<char>(entry->d_type);
    entries.append(name, std::strlen(name) + 1);
  }
  const int failure = errno;
  ::closedir(folder);
  return failure;
}

}  // namespace

FolderStack::~FolderStack() {
  for (const Level& level : levels_) {
    if (level.descriptor >= 0) ::close(level.descriptor);
  }
}

int FolderStack::push(int descriptor) {
  if (descriptor < 0) return errno;
  Level level;
  level.descriptor = descriptor;
  struct stat status {};
  int failure = ::fstat(descriptor, &status) != 0 ? errno : readEntries(descriptor, level.entries);
  if (failure != 0) {
    ::close(descriptor);
    return failure;
  }
  level.device = status.st_dev;
  level.inode = status.st_ino;
  levels_.push_back(std::move(level));
  if (levels_.size() > kMostOpen) ::close(std::exchange(levels_[levels_.size() - kMostOpen - 1].descriptor, -1));
  return 0;
}

int FolderStack::enterFirst(int folder, const char* name, bool followLink) {
  return push(::openat(folder, name, kOpenFolder | (followLink ? 0 : O_NOFOLLOW)));
}

int FolderStack::enter(const char* name) { return push(::openat(descriptor(), name, kOpenFolder | O_NOFOLLOW)); }

int FolderStack::leave() {
  const int inner = levels_.back().descriptor;
  levels_.pop_back();
  int failure = 0;
  if (!levels_.empty() && levels_.back().descriptor < 0) {
    Level& outer = levels_.back();
    const int descriptor = ::openat(inner, "..", kOpenFolder | O_NOFOLLOW);
    struct stat status {};
    if (descriptor < 0 || ::fstat(descriptor, &status) != 0) {
      failure = errno;
    } else if (status.st_dev != outer.device || status.st_ino != outer.inode) {
      failure = ESTALE;
    }
    if (failure == 0) {
      outer.descriptor = descriptor;
    } else {
      // All that are further out are closed as well, and can be reached through this one only.
      if (descriptor >= 0) ::close(descriptor);
      levels_.clear();
    }
  }
  ::close(inner);
  return failure;
}

bool FolderStack::next(Entry& entry) {
  Level& level = levels_.back();
  if (level.next >= level.entries.size()) return false;
  level.current = level.next;
  entry = current();
  level.next += std::strlen(entry.name) + 2;
  return true;
}

FolderStack::Entry FolderStack::current() const {
  const Level& level = levels_.back();
  return {level.entries.data() + level.current + 1, static_cast<unsigned char>(level.entries[level.current])};
}

}  // namespace kvt::files
