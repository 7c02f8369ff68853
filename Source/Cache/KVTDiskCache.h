// One folder of cache files on the disk: finds and reads a file by its key, takes away what is too old or too much,
// empties the folder.
//
//     Ref<KVTDiskCacheConfig> config = make<KVTDiskCacheConfig>();
//     config->maxDiskSize = 50'000'000;
//     config->maxStorageDays = 7;                                // not 0: see below
//     Ref<KVTDefaultDiskCache> cache = make<KVTDefaultDiskCache>()->initWithPath_config(folder, config);
//     NSData image = cache->cacheForKey("avatar-7");             // nil when there is none
//     dispatch_async(background, [cache] { cache->removeExpiredData(); });
//
// The cache writes no entries. Whoever fills it stores each as a plain file directly in the folder, the key being the
// file's name; the bytes come back as they are. Age and size are the file system's.
//
// MIND `maxStorageDays`: 0, which a new config has, makes `removeExpiredData` take away every file that is not of the
// future. Any other number means that nothing goes by age; how many days it says does not matter.
//
// Failures of the file system are ignored: what cannot be read is not there, what cannot be removed stays. Thread rule:
// one thread at a time for each cache.
#pragma once

#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt {

/// What a cache keeps. A plain value.
class KVT_EXPORT KVTDiskCacheConfig : public NSObject {
 public:
  /// Which date of a file counts: 0 when it was last read (as far as the file system keeps that: many are mounted with
  /// "relatime" and note one reading a day), 1 when it was last written, 2 when it was made (some file systems do not
  /// know; such files never expire). With any other number `removeExpiredData` raises.
  std::int64_t diskCacheExpireType = 0;
  /// In bytes on the disk, which files take in whole blocks. 0: any.
  std::uint64_t maxDiskSize = 0;
  /// 0: every file expires. Else nothing does.
  std::uint64_t maxStorageDays = 0;

  KVT_CLASS(KVTDiskCacheConfig, diskCacheExpireType, maxDiskSize, maxStorageDays)
};

class KVTDefaultDiskCache;

/// What a disk cache can do: the protocol of this name.
class KVT_EXPORT KVTDiskCache {
 public:
  virtual NSData cacheForKey(const NSString& key) = 0;
  virtual NSString cachePathForKey(const NSString& key) = 0;
  virtual void removeExpiredData() = 0;
  virtual void removeAllData() = 0;
  virtual NSString diskCachePath() const = 0;

 protected:
  ~KVTDiskCache() = default;
};

/// The library's own. A new one has neither folder nor config until one of the first two operations has been called.
class KVT_EXPORT KVTDefaultDiskCache : public NSObject, public KVTDiskCache {
 public:
  /// Keeps both as they are and answers the cache itself. Makes nothing on the disk. Without a config everything counts
  /// as 0.
  Ref<KVTDefaultDiskCache> initWithPath_config(const NSString& path, const Ref<KVTDiskCacheConfig>& config);
  /// The folder beside `cachePath` whose name has the UUID in front: "/a/b/images" with "u1" gives "/a/b/u1_images".
  /// Without a UUID (nil, empty, no text) there is no folder, not even the plain one.
  Ref<KVTDefaultDiskCache> initWithUUID_cachePath_config(const NSString& uuid, const NSString& cachePath,
                                                         const Ref<KVTDiskCacheConfig>& config);

  /// The whole file; nil when there is none, and when it cannot be read (a folder, for one).
  NSData cacheForKey(const NSString& key) override;
  /// Where the key's file is; nil when there is none, and for nil. The key is the file's name as it is, not escaped and
  /// not checked: one with "/" names a file in a folder below, one with ".." may leave the cache, "" names the folder.
  /// A link is followed.
  NSString cachePathForKey(const NSString& key) override;

  /// Two rounds through all files below the folder, hidden ones left out, folders left in place:
  ///
  /// 1. When `maxStorageDays` is 0, every file dated at or before now goes.
  /// 2. When what is left takes more than `maxDiskSize`, the files go, oldest first, until less than half of what they
  ///    took is left: half of what there was, not of the limit. Files without a date go last. One that cannot be
  ///    removed is passed over.
  ///
  /// A link in the folder is a file of its own: it may go, what it leads to does not. Raises NSInvalidArgumentException
  /// for an expire type other than 0, 1 and 2. Some 7 µs a file, 20 more for one that goes, and 500 bytes of memory:
  /// call it on a queue of your own.
  void removeExpiredData() override;
  /// Removes the folder with everything in it and makes a new one, with those on the way to it. Where the path is a
  /// link, the link is replaced. Nothing without a path.
  void removeAllData() override;

  NSString diskCachePath() const override { return diskCachePath_; }
  void setDiskCachePath(const NSString& path) { diskCachePath_ = path.copy(); }
  const Ref<KVTDiskCacheConfig>& config() const noexcept { return config_; }
  void setConfig(const Ref<KVTDiskCacheConfig>& config) { config_ = config; }

 private:
  static void kvtDescribe(ClassBuilder<KVTDefaultDiskCache>& c);

  NSString diskCachePath_;
  Ref<KVTDiskCacheConfig> config_;
  KVT_CLASS(KVTDefaultDiskCache)
};

}  // namespace kvt
