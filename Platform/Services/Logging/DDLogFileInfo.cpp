#include "DDLogFileInfo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "../Dispatch/TimerService.h"

namespace kvt {
namespace {

constexpr const char* kArchived = "lumberjack.log.archived";

/// For the system; "" for nil and for what no path can be.
std::string systemPath(const NSString& path) {
  const std::string_view text = path.utf8();
  return text.find('\0') == std::string_view::npos ? std::string(text) : std::string();
}

std::string attributeName(const NSString& name) { return "user." + systemPath(name); }

NSTimeInterval secondsOf(const struct statx_timestamp& time) {
  return static_cast<NSTimeInterval>(time.tv_sec) + static_cast<NSTimeInterval>(time.tv_nsec) / 1e9;
}

/// Archived files of file systems that cannot say so, by device and inode.
struct ArchivedFiles {
  static ArchivedFiles& shared() {
    static auto* files = new ArchivedFiles;
    return *files;
  }
  using File = std::pair<std::uint64_t, std::uint64_t>;
  bool contains(const File& file) {
    std::lock_guard lock(mutex);
    return files.count(file) != 0;
  }
  void set(const File& file, bool archived) {
    std::lock_guard lock(mutex);
    if (archived)
      files.insert(file);
    else
      files.erase(file);
  }
  std::mutex mutex;
  std::set<File> files;
};

}  // namespace

Ref<DDLogFileInfo> DDLogFileInfo::logFileWithPath(const NSString& path) {
  return path ? make<DDLogFileInfo>(path) : nullptr;
}

DDLogFileInfo::DDLogFileInfo(const NSString& path) : path_(path.copy()) {}

NSString DDLogFileInfo::fileName() const { return path_.lastPathComponent(); }

void DDLogFileInfo::ask() const {
  if (asked_) return;
  asked_ = true;
  struct statx found {};
  exists_ =
      ::statx(AT_FDCWD, systemPath(path_).c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &found) == 0;
  regular_ = exists_ && S_ISREG(found.stx_mode);
  size_ = regular_ ? found.stx_size : 0;
  device_ = ::makedev(found.stx_dev_major, found.stx_dev_minor);
  inode_ = found.stx_ino;
  modified_ = secondsOf(found.stx_mtime);
  created_ = (found.stx_mask & STATX_BTIME) != 0 ? secondsOf(found.stx_btime)
                                                 : std::min(modified_, secondsOf(found.stx_ctime));
}

NSDate DDLogFileInfo::creationDate() const {
  ask();
  return exists_ ? NSDate::dateWithTimeIntervalSince1970(created_) : nullptr;
}
NSDate DDLogFileInfo::modificationDate() const {
  ask();
  return exists_ ? NSDate::dateWithTimeIntervalSince1970(modified_) : nullptr;
}
std::uint64_t DDLogFileInfo::fileSize() const {
  ask();
  return size_;
}
bool DDLogFileInfo::isRegularFile() const {
  ask();
  return regular_;
}
NSTimeInterval DDLogFileInfo::age() const {
  ask();
  const double now = static_cast<double>(dispatch::TimerService::shared().wallNow()) / 1e9;
  return exists_ ? now - created_ : 0;
}

bool DDLogFileInfo::isArchived() const {
  if (hasExtendedAttributeWithName(kArchived)) return true;
  ask();
  return exists_ && ArchivedFiles::shared().contains({device_, inode_});
}

void DDLogFileInfo::setIsArchived(bool archived) {
  if (archived)
    addExtendedAttributeWithName(kArchived);
  else
    removeExtendedAttributeWithName(kArchived);
  ask();
  if (!exists_) return;
  ArchivedFiles::shared().set({device_, inode_}, archived && !hasExtendedAttributeWithName(kArchived));
}

void DDLogFileInfo::renameFile(const NSString& name) {
  const std::string newName = systemPath(name);
  if (newName.empty() || newName.find('/') != std::string::npos) return;
  const NSString newPath = path_.stringByDeletingLastPathComponent().stringByAppendingPathComponent(name);
  if (::rename(systemPath(path_).c_str(), systemPath(newPath).c_str()) != 0) return;
  path_ = newPath;
  reset();
}

bool DDLogFileInfo::hasExtendedAttributeWithName(const NSString& name) const {
  return ::lgetxattr(systemPath(path_).c_str(), attributeName(name).c_str(), nullptr, 0) >= 0;
}
void DDLogFileInfo::addExtendedAttributeWithName(const NSString& name) {
  ::lsetxattr(systemPath(path_).c_str(), attributeName(name).c_str(), "\1", 1, 0);
}
void DDLogFileInfo::removeExtendedAttributeWithName(const NSString& name) {
  ::lremovexattr(systemPath(path_).c_str(), attributeName(name).c_str());
}

NSComparisonResult DDLogFileInfo::reverseCompare(NSTimeInterval mine, NSTimeInterval others,
                                                 const DDLogFileInfo& other) const {
  if (mine != others) return mine > others ? NSOrderedAscending : NSOrderedDescending;
  const NSString name = other.fileName().stringByDeletingPathExtension();
  return name.compare_options(fileName().stringByDeletingPathExtension(), NSNumericSearch);
}

NSComparisonResult DDLogFileInfo::reverseCompareByCreationDate(const Ref<DDLogFileInfo>& other) const {
  if (!other) return NSOrderedAscending;
  ask();
  other->ask();
  return reverseCompare(created_, other->created_, *other);
}
NSComparisonResult DDLogFileInfo::reverseCompareByModificationDate(const Ref<DDLogFileInfo>& other) const {
  if (!other) return NSOrderedAscending;
  ask();
  other->ask();
  return reverseCompare(modified_, other->modified_, *other);
}

bool DDLogFileInfo::isEqual(const id& other) const {
  const Ref<DDLogFileInfo> info = other.as<DDLogFileInfo>();
  return info && path_ == info->path_;
}
std::uint64_t DDLogFileInfo::hash() const { return path_.hash(); }
NSString DDLogFileInfo::description() const {
  return NSString::stringWithFormat("<DDLogFileInfo: %@, %llu bytes%s>", fileName(), fileSize(),
                                    isArchived() ? ", archived" : "");
}

void DDLogFileInfo::kvtDescribe(ClassBuilder<DDLogFileInfo>& c) {
  c.classMethod<&DDLogFileInfo::logFileWithPath>("logFileWithPath:");
  c.property<&DDLogFileInfo::path_>("filePath", {.readonly = true});
  c.method<&DDLogFileInfo::fileName>("fileName").method<&DDLogFileInfo::fileSize>("fileSize");
  c.method<&DDLogFileInfo::creationDate>("creationDate").method<&DDLogFileInfo::age>("age");
  c.method<&DDLogFileInfo::modificationDate>("modificationDate");
  c.method<&DDLogFileInfo::isArchived>("isArchived").method<&DDLogFileInfo::setIsArchived>("setIsArchived:");
  c.method<&DDLogFileInfo::reset>("reset").method<&DDLogFileInfo::renameFile>("renameFile:");
  c.method<&DDLogFileInfo::hasExtendedAttributeWithName>("hasExtendedAttributeWithName:");
  c.method<&DDLogFileInfo::addExtendedAttributeWithName>("addExtendedAttributeWithName:");
  c.method<&DDLogFileInfo::removeExtendedAttributeWithName>("removeExtendedAttributeWithName:");
  c.method<&DDLogFileInfo::reverseCompareByCreationDate>("reverseCompareByCreationDate:");
  c.method<&DDLogFileInfo::reverseCompareByModificationDate>("reverseCompareByModificationDate:");
}

}  // namespace kvt
