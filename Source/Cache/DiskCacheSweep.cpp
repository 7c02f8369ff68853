#include "DiskCacheSweep.h"

#include <KVTPlatform/Values/NSNumber.h>

#include <algorithm>
#include <limits>

namespace kvt {

void DiskCacheSweep::add(const NSURL& url, const NSDictionary& values) {
  if (!values || values.objectForKey(NSURLIsDirectoryKey).as<NSNumber>().boolValue()) return;
  const NSDate date = values.objectForKey(dateKey_).as<NSDate>();
  if (date && expiryDate_ && date.laterDate(expiryDate_) == expiryDate_) {
    expired_.push_back(url);
    return;
  }
  const std::uint64_t allocated =
      values.objectForKey(NSURLTotalFileAllocatedSizeKey).as<NSNumber>().unsignedLongLongValue();
  total_ += allocated;
  files_.push_back(
      {url, date ? date.timeIntervalSinceReferenceDate() : std::numeric_limits<double>::infinity(), allocated});
}

void DiskCacheSweep::sort() {
  std::stable_sort(files_.begin(), files_.end(), [](const File& a, const File& b) { return a.date < b.date; });
}

}  // namespace kvt
