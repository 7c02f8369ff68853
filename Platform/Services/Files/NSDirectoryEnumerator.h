// Walks the files below a folder: every one of them as a file URL, folders before what is in them.
//
//     const NSDirectoryEnumerator files = NSFileManager::defaultManager()
//         .enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(folder, {NSURLIsDirectoryKey},
//                                                                          NSDirectoryEnumerationSkipsHiddenFiles,
//                                                                          nullptr);
//     while (NSURL file = files.nextObject().as<NSURL>()) {
//       if (file.lastPathComponent() == "Thumbnails") files.skipDescendants();
//     }
//
// The order is the file system's. Links are given and not followed. A folder's names are read at once when the walk
// enters it (some 40 bytes each): what comes or goes later in it is not noticed, what has gone by its turn is left out
// where prefetched values are asked for. Not more than some thirty descriptors are open at a time, whatever the depth.
// On nil everything answers nil or 0. Thread rule: one thread at a time.
#pragma once

#include <KVTPlatform/Values/NSEnumerator.h>
#include <KVTPlatform/Values/NSTypes.h>

namespace kvt {

/// Combine with `|`.
enum NSDirectoryEnumerationOptions : NSUInteger {
  NSDirectoryEnumerationSkipsSubdirectoryDescendants = 1 << 0,  // the folder's own files alone
  NSDirectoryEnumerationSkipsPackageDescendants = 1 << 1,       // there are no packages here: changes nothing
  NSDirectoryEnumerationSkipsHiddenFiles = 1 << 2,              // names with a dot first, and what is in such folders
};

class KVT_EXPORT NSDirectoryEnumerator : public NSEnumerator {
  KVT_HANDLE(NSDirectoryEnumerator, NSEnumerator)

 public:
  /// What `nextObject` gave last is not entered, where it is a folder.
  void skipDescendants() const;
  /// How deep what `nextObject` gave last lies: 1 directly in the folder that is walked; 0 before the first.
  NSUInteger level() const;
};

}  // namespace kvt
