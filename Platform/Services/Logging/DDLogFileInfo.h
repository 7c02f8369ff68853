// What is known of one log file.
//
//     for (const id& each : manager->sortedLogFileInfos()) {
//       Ref<DDLogFileInfo> info = each.as<DDLogFileInfo>();
//       NSLog("%@: %llu bytes%s", info->fileName(), info->fileSize(), info->isArchived() ? ", archived" : "");
//     }
//
// The file system is asked on first use, and again after `reset`. For a file that is not there dates are nil and sizes
// 0. Two infos are equal when their paths are. Thread rule: one thread at a time.
#pragma once

#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTypes.h>

namespace kvt {

class KVT_EXPORT DDLogFileInfo : public NSObject {
 public:
  /// nil for a nil path.
  static Ref<DDLogFileInfo> logFileWithPath(const NSString& path);
  explicit DDLogFileInfo(const NSString& path);

  const NSString& filePath() const noexcept { return path_; }
  NSString fileName() const;
  /// Where the file system does not know when a file was made: the earlier of its last changes of content and of
  /// status.
  NSDate creationDate() const;
  NSDate modificationDate() const;
  std::uint64_t fileSize() const;
  /// Seconds since it was made, by the clock that timers go by; 0 when it is not there.
  NSTimeInterval age() const;
  /// Links and folders are no log files.
  bool isRegularFile() const;

  /// Whether it is closed for ever: no logger writes to it any more. Kept in the extended attribute
  /// "user.lumberjack.log.archived", which goes with the file when it is renamed; where the file system has none, in
  /// memory until the process ends.
  bool isArchived() const;
  void setIsArchived(bool archived);

  void reset() noexcept { asked_ = false; }
  /// Gives the file another name in its folder and takes the place of a file that has it. Nothing happens for nil, for
  /// an empty name or one with "/", and where the system refuses.
  void renameFile(const NSString& name);

  /// Of "user.NAME".
  bool hasExtendedAttributeWithName(const NSString& name) const;
  void addExtendedAttributeWithName(const NSString& name);
  void removeExtendedAttributeWithName(const NSString& name);

  /// The one made later comes first; of two made at the same time the one whose name is greater, by numbers' value.
  NSComparisonResult reverseCompareByCreationDate(const Ref<DDLogFileInfo>& other) const;
  /// The same for the last change.
  NSComparisonResult reverseCompareByModificationDate(const Ref<DDLogFileInfo>& other) const;

  bool isEqual(const id& other) const;
  std::uint64_t hash() const;
  NSString description() const;

 private:
  static void kvtDescribe(ClassBuilder<DDLogFileInfo>& c);
  void ask() const;
  NSComparisonResult reverseCompare(NSTimeInterval mine, NSTimeInterval others, const DDLogFileInfo& other) const;

  NSString path_;
  mutable bool asked_ = false;
  mutable bool exists_ = false;
  mutable bool regular_ = false;
  mutable NSTimeInterval created_ = 0, modified_ = 0;  // since 1970
  mutable std::uint64_t size_ = 0;
  mutable std::uint64_t device_ = 0, inode_ = 0;
  KVT_CLASS(DDLogFileInfo)
};

}  // namespace kvt
