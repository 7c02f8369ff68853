// What a removal of expired data takes away: decides by the files' resource values and asks no file system; not
// installed.
//
//     DiskCacheSweep sweep(NSURLContentModificationDateKey, expiryDate);
//     for (each file) sweep.add(url, values);
//     for (const NSURL& url : sweep.expired()) remove(url);
//     sweep.evict(maxDiskSize, remove);
#pragma once

#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSURL.h>

#include <cstdint>
#include <vector>

namespace kvt {

class KVT_EXPORT DiskCacheSweep {
 public:
  /// `expiryDate` nil: nothing expires.
  DiskCacheSweep(const NSString& dateKey, const NSDate& expiryDate) : dateKey_(dateKey), expiryDate_(expiryDate) {}

  /// Nothing for nil values and for folders.
  void add(const NSURL& url, const NSDictionary& values);
  /// In the order in which they were added.
  const std::vector<NSURL>& expired() const noexcept { return expired_; }
  /// Of all that have not expired, in bytes on the disk.
  std::uint64_t total() const noexcept { return total_; }

  /// Calls `remove(url)`, oldest first, until those for which it answered YES bring the total below its half. Nothing
  /// when the total keeps within the limit, or that is 0.
  template <class Remove>
  void evict(std::uint64_t limit, const Remove& remove) {
    if (limit == 0 || total_ <= limit) return;
    const std::uint64_t target = total_ / 2;
    sort();
    for (const File& file : files_) {
      if (!remove(file.url)) continue;
      total_ -= file.allocated;
      if (total_ < target) return;
    }
  }

 private:
  struct File {
    NSURL url;
    double date;  // infinite where there is none
    std::uint64_t allocated;
  };
  void sort();

  const NSString dateKey_;
  const NSDate expiryDate_;
  std::vector<NSURL> expired_;
  std::vector<File> files_;
  std::uint64_t total_ = 0;
};

}  // namespace kvt
