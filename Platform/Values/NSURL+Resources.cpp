#include "NSURL+Resources.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <string_view>

#include "NSArray.h"
#include "NSDate.h"
#include "NSDictionary.h"
#include "NSError+Files.h"
#include "NSNumber.h"
#include "NSString.h"

// Made before other static objects, which may need them.
#define KVT_RESOURCE_KEY(name) __attribute__((init_priority(200))) const NSString name = #name##_ns

namespace kvt {

KVT_RESOURCE_KEY(NSURLNameKey);
KVT_RESOURCE_KEY(NSURLIsDirectoryKey);
KVT_RESOURCE_KEY(NSURLIsRegularFileKey);
KVT_RESOURCE_KEY(NSURLIsSymbolicLinkKey);
KVT_RESOURCE_KEY(NSURLIsHiddenKey);
KVT_RESOURCE_KEY(NSURLContentAccessDateKey);
KVT_RESOURCE_KEY(NSURLContentModificationDateKey);
KVT_RESOURCE_KEY(NSURLAttributeModificationDateKey);
KVT_RESOURCE_KEY(NSURLCreationDateKey);
KVT_RESOURCE_KEY(NSURLFileSizeKey);
KVT_RESOURCE_KEY(NSURLTotalFileSizeKey);
KVT_RESOURCE_KEY(NSURLFileAllocatedSizeKey);
KVT_RESOURCE_KEY(NSURLTotalFileAllocatedSizeKey);

namespace {

double secondsOf(const struct statx_timestamp& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

id dateOf(double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }

id valueOf(const NSURL& url, const FileValues& values, const NSString& key) {
  const auto isOfType = [&](unsigned type) { return id(NSNumber((values.mode & S_IFMT) == type)); };
  const auto sizeOf = [&](std::uint64_t size) { return values.isDirectory() ? id() : id(NSNumber(size)); };
  if (key == NSURLIsDirectoryKey) return isOfType(S_IFDIR);
  if (key == NSURLIsRegularFileKey) return isOfType(S_IFREG);
  if (key == NSURLIsSymbolicLinkKey) return isOfType(S_IFLNK);
  if (key == NSURLTotalFileAllocatedSizeKey || key == NSURLFileAllocatedSizeKey) return sizeOf(values.allocated);
  if (key == NSURLTotalFileSizeKey || key == NSURLFileSizeKey) return sizeOf(values.size);
  if (key == NSURLContentAccessDateKey) return dateOf(values.accessed);
  if (key == NSURLContentModificationDateKey) return dateOf(values.modified);
  if (key == NSURLAttributeModificationDateKey) return dateOf(values.changed);
  if (key == NSURLCreationDateKey) return values.hasCreated ? dateOf(values.created) : id();
  if (key == NSURLNameKey) return url.lastPathComponent();
  if (key == NSURLIsHiddenKey) return NSNumber(url.lastPathComponent().hasPrefix("."));
  return {};
}

/// What the URL knows, or the file system; false with an error where there is no such file.
bool valuesOf(const NSURL& url, FileValues& values, NSError* error) {
  if (const FileValues* known = fileValuesOf(url)) {
    values = *known;
    return true;
  }
  const char* path = url.fileSystemRepresentation();
  if (path == nullptr) {
    if (error != nullptr && url) {
      *error = NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, NSFileReadUnsupportedSchemeError,
                                                      NSDictionary{{NSURLErrorKey, url}});
    }
    return false;
  }
  const int failure = readFileValues(AT_FDCWD, path, values);
  if (failure != 0 && error != nullptr) *error = fileError(FileOperation::kRead, failure, url.path());
  return failure == 0;
}

}  // namespace

int readFileValues(int folder, const char* name, FileValues& values) noexcept {
  struct statx found {};
  if (::statx(folder, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_BASIC_STATS | STATX_BTIME, &found) != 0) {
    return errno;
  }
  values.accessed = secondsOf(found.stx_atime);
  values.modified = secondsOf(found.stx_mtime);
  values.changed = secondsOf(found.stx_ctime);
  values.hasCreated = (found.stx_mask & STATX_BTIME) != 0;
  values.created = values.hasCreated ? secondsOf(found.stx_btime) : 0;
  values.size = found.stx_size;
  values.allocated = found.stx_blocks * 512;
  values.inode = found.stx_ino;
  values.device = ::makedev(found.stx_dev_major, found.stx_dev_minor);
  values.owner = found.stx_uid;
  values.group = found.stx_gid;
  values.links = found.stx_nlink;
  values.mode = found.stx_mode;
  return 0;
}

NSDictionary NSURL::resourceValuesForKeys_error(const NSArray& keys, NSError* error) const {
  FileValues values;
  if (!valuesOf(*this, values, error)) return {};
  const NSMutableDictionary result = NSMutableDictionary::dictionary();
  for (const id& each : keys) {
    const NSString key = each.as<NSString>();
    if (const id value = valueOf(*this, values, key)) result.setObject_forKey(value, key);
  }
  return result.copy();
}

bool NSURL::getResourceValue_forKey_error(id* value, const NSString& key, NSError* error) const {
  FileValues values;
  if (!valuesOf(*this, values, error)) return false;
  if (value != nullptr) *value = valueOf(*this, values, key);
  return true;
}

}  // namespace kvt
