#include "RemoveTree.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <string_view>
#include <vector>

#include "FolderStack.h"

namespace kvt::files {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int descriptor) noexcept : descriptor_(descriptor) {}
  ~Descriptor() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const noexcept { return descriptor_; }

 private:
  const int descriptor_;
};

/// Removes what is in a folder, and the folders in it, from the inside out.
class Removal {
 public:
  Removal(int folder, const char* name, const std::string& path) : path_(path) {
    if (const int failure = folders_.enterFirst(folder, name, false); failure != 0) {
      fail(failure);
      return;
    }
    ends_.push_back(path_.size());
    while (folders_.depth() != 0) step();
  }
  int failure() const noexcept { return failure_; }
  const std::string& where() const noexcept { return where_; }

 private:
  void step() {
    FolderStack::Entry entry;
    path_.resize(ends_.back());
    if (folders_.next(entry)) {
      path_ += '/';
      path_ += entry.name;
      if (entry.type == DT_DIR || !unlink(entry.name, 0)) enter(entry.name);
      return;
    }
    const int failure = folders_.leave();
    ends_.resize(folders_.depth());
    if (failure != 0) return fail(failure);
    if (folders_.depth() != 0) unlink(folders_.current().name, AT_REMOVEDIR);
  }

  /// False: it is a folder, which goes another way. What has gone by itself is gone.
  bool unlink(const char* name, int flags) {
    if (::unlinkat(folders_.descriptor(), name, flags) == 0 || errno == ENOENT) return true;
    if (flags == 0 && errno == EISDIR) return false;
    fail(errno);
    return true;
  }

  void enter(const char* name) {
    const int failure = folders_.enter(name);
    if (failure == 0) {
      ends_.push_back(path_.size());
    } else if (failure == ENOTDIR || failure == ELOOP) {
      // Somebody has put a file or a link in its place.
      if (!unlink(name, 0)) fail(EISDIR);
    } else if (failure != ENOENT && !isRemoved(name)) {
      fail(failure);
    }
  }

  /// A folder that cannot be read goes nevertheless when it is empty.
  bool isRemoved(const char* name) {
    return ::unlinkat(folders_.descriptor(), name, AT_REMOVEDIR) == 0 || errno == ENOENT;
  }

  void fail(int failure) {
    if (failure_ != 0) return;
    failure_ = failure;
    where_ = path_;
  }

  FolderStack folders_;
  std::string path_;
  std::vector<std::size_t> ends_;
  int failure_ = 0;
  std::string where_;
};

constexpr int kOnTheWay = O_PATH | O_DIRECTORY | O_CLOEXEC;

/// `path` is what messages call it.
int removeIn(int folder, const char* name, const std::string& path, std::string* where) {
  *where = path;
  if (::unlinkat(folder, name, 0) == 0) return 0;
  if (errno != EISDIR) return errno;
  const Removal removal(folder, name, path);
  const bool isGone = ::unlinkat(folder, name, AT_REMOVEDIR) == 0 || errno == ENOENT;
  if (isGone) return 0;
  if (removal.failure() == 0) return errno;
  *where = removal.where();
  return removal.failure();
}

bool isName(std::string_view name) { return !name.empty() && name != "." && name != ".."; }

}  // namespace

int removeTree(const std::string& path, std::string* where) {
  *where = path;
  std::string_view rest = path;
  while (rest.size() > 1 && rest.back() == '/') rest.remove_suffix(1);
  const std::size_t slash = rest.rfind('/');
  const std::string name(slash == std::string_view::npos ? rest : rest.substr(slash + 1));
  if (!isName(name)) return EINVAL;
  const std::string folder(slash == std::string_view::npos ? "." : slash == 0 ? "/" : rest.substr(0, slash));
  const Descriptor parent(::open(folder.c_str(), kOnTheWay));
  return parent.get() < 0 ? errno : removeIn(parent.get(), name.c_str(), std::string(rest), where);
}

FolderRemovals::FolderRemovals(const char* folder) noexcept : folder_(::open(folder, kOnTheWay)) {}
FolderRemovals::~FolderRemovals() {
  if (folder_ >= 0) ::close(folder_);
}

bool FolderRemovals::remove(std::string_view path) const {
  std::optional<Descriptor> inner;
  for (;;) {
    const int folder = inner ? inner->get() : folder_;
    const std::size_t slash = path.find('/');
    const std::string name(path.substr(0, slash));
    if (folder < 0 || !isName(name)) return false;
    std::string where;
    if (slash == std::string_view::npos) return removeIn(folder, name.c_str(), name, &where) == 0;
    const int next = ::openat(folder, name.c_str(), kOnTheWay | O_NOFOLLOW);
    inner.emplace(next);
    path.remove_prefix(slash + 1);
  }
}

}  // namespace kvt::files
