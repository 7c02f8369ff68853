#include "KVTDiskCache.h"

#include <KVTFoundation/Category/NSDictionary/NSDictionary+KVTExtension.h>
#include <KVTPlatform/Services/Files/NSFileManager.h>
#include <KVTPlatform/Services/Files/RemoveTree.h>
#include <KVTPlatform/Services/Logging/LogMacros.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSURL.h>

#include <string_view>

#include "DiskCacheSweep.h"

namespace kvt {
namespace {

/// By expire type; nil for a number that is none.
NSString dateKeyOf(std::int64_t expireType) {
  static const NSDictionary keys{
      {0, NSURLContentAccessDateKey}, {1, NSURLContentModificationDateKey}, {2, NSURLCreationDateKey}};
  return kvt_safeObjectForKey(keys, expireType).as<NSString>();
}

}  // namespace

Ref<KVTDefaultDiskCache> KVTDefaultDiskCache::initWithPath_config(const NSString& path,
                                                                  const Ref<KVTDiskCacheConfig>& config) {
  setDiskCachePath(path);
  config_ = config;
  return this;
}

Ref<KVTDefaultDiskCache> KVTDefaultDiskCache::initWithUUID_cachePath_config(const NSString& uuid,
                                                                            const NSString& cachePath,
                                                                            const Ref<KVTDiskCacheConfig>& config) {
  if (uuid.length() > 0) {
    diskCachePath_ = NSString::stringWithFormat("%@/%@_%@", cachePath.stringByDeletingLastPathComponent(), uuid,
                                                cachePath.lastPathComponent());
  }
  config_ = config;
  return this;
}

NSData KVTDefaultDiskCache::cacheForKey(const NSString& key) {
  KVT_LOG_INFO("disk cache:get cache file");
  const NSString path = cachePathForKey(key);
  if (path.length() == 0) return {};
  KVT_LOG_INFO("disk cache:get cache success");
  return NSData::dataWithContentsOfFile(path);
}

NSString KVTDefaultDiskCache::cachePathForKey(const NSString& key) {
  if (!key) return {};
  const NSString path = diskCachePath_.stringByAppendingPathComponent(key);
  return NSFileManager::defaultManager().fileExistsAtPath(path) ? path : NSString();
}

void KVTDefaultDiskCache::removeExpiredData() {
  KVT_LOG_INFO("disk cache: remove expire date file");
  const NSString dateKey = dateKeyOf(config_.get(&KVTDiskCacheConfig::diskCacheExpireType));
  // Raises where there is no such key.
  const NSArray keys{NSURLIsDirectoryKey, dateKey, NSURLTotalFileAllocatedSizeKey};
  if (diskCachePath_.length() == 0) return;  // "" would be the working directory

  const NSURL folder = NSURL::fileURLWithPath_isDirectory(diskCachePath_, true);
  const char* root = folder.fileSystemRepresentation();
  if (root == nullptr) return;
  const files::FolderRemovals removals(root);
  const std::string_view prefix = root;
  const auto remove = [&](const NSURL& url) {
    std::string_view path = url.fileSystemRepresentation();
    path.remove_prefix(prefix.size());
    if (path.starts_with('/')) path.remove_prefix(1);
    return removals.remove(path);
  };

  const bool expires = config_.get(&KVTDiskCacheConfig::maxStorageDays) == 0;
  DiskCacheSweep sweep(dateKey, expires ? NSDate::date() : NSDate());
  const NSDirectoryEnumerator walk =
      NSFileManager::defaultManager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
          folder, keys, NSDirectoryEnumerationSkipsHiddenFiles, nullptr);
  while (const NSURL url = walk.nextObject().as<NSURL>())
    sweep.add(url, url.resourceValuesForKeys_error(keys, nullptr));
  for (const NSURL& url : sweep.expired()) remove(url);
  sweep.evict(config_.get(&KVTDiskCacheConfig::maxDiskSize), remove);
}

void KVTDefaultDiskCache::removeAllData() {
  const NSFileManager files = NSFileManager::defaultManager();
  files.removeItemAtPath_error(diskCachePath_, nullptr);
  files.createDirectoryAtPath_withIntermediateDirectories_attributes_error(diskCachePath_, true, nullptr, nullptr);
}

void KVTDefaultDiskCache::kvtDescribe(ClassBuilder<KVTDefaultDiskCache>& c) {
  using Cache = KVTDefaultDiskCache;
  c.protocol("KVTDiskCache");
  c.method<&Cache::initWithPath_config>("initWithPath:config:");
  c.method<&Cache::initWithUUID_cachePath_config>("initWithUUID:cachePath:config:");
  c.method<&Cache::cacheForKey>("cacheForKey:").method<&Cache::cachePathForKey>("cachePathForKey:");
  c.method<&Cache::removeExpiredData>("removeExpiredData").method<&Cache::removeAllData>("removeAllData");
  c.property<&Cache::diskCachePath_>("diskCachePath", {.ownership = Ownership::kCopy});
  c.property<&Cache::config_>("config");
}

}  // namespace kvt
