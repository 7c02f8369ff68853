// Files and folders: are they there, what is in them, make and remove them.
//
//     const NSFileManager files = NSFileManager::defaultManager();
//     NSError error;
//     if (!files.createDirectoryAtPath_withIntermediateDirectories_attributes_error(folder, true, nullptr, &error))
//       show(error.localizedDescription());
//     for (const id& name : files.contentsOfDirectoryAtPath_error(folder, nullptr)) …
//     files.removeItemAtPath_error(folder, nullptr);           // with everything in it
//
// Errors are of NSCocoaErrorDomain, with the path and the system's own error in their details; `error` may be null
// everywhere. A relative path is seen from the working directory. A path that is nil, empty or has a NUL is no file:
// NSFileReadInvalidFileNameError or NSFileWriteInvalidFileNameError. Where nothing else is said, a link at the path's
// end is itself what is meant, with or without a slash behind it.
//
// Thread rule: any thread; there is one manager, and it keeps nothing.
#pragma once

#include <KVTPlatform/Runtime/Block.h>
#include <KVTPlatform/Services/Files/NSDirectoryEnumerator.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSURL.h>

namespace kvt {

class NSArray;
class NSData;
class NSDictionary;
class NSString;

// Keys of a file's attributes, and what stands under NSFileType.
extern KVT_EXPORT const NSString NSFileType;              // one of the texts below
extern KVT_EXPORT const NSString NSFileSize;              // bytes
extern KVT_EXPORT const NSString NSFileModificationDate;  // of the content
extern KVT_EXPORT const NSString NSFileCreationDate;      // not there where the file system does not know
extern KVT_EXPORT const NSString NSFilePosixPermissions;  // a number: 0644
extern KVT_EXPORT const NSString NSFileReferenceCount;
extern KVT_EXPORT const NSString NSFileOwnerAccountID;
extern KVT_EXPORT const NSString NSFileGroupOwnerAccountID;
extern KVT_EXPORT const NSString NSFileSystemNumber;
extern KVT_EXPORT const NSString NSFileSystemFileNumber;
extern KVT_EXPORT const NSString NSFileTypeDirectory;
extern KVT_EXPORT const NSString NSFileTypeRegular;
extern KVT_EXPORT const NSString NSFileTypeSymbolicLink;
extern KVT_EXPORT const NSString NSFileTypeSocket;
extern KVT_EXPORT const NSString NSFileTypeCharacterSpecial;
extern KVT_EXPORT const NSString NSFileTypeBlockSpecial;
extern KVT_EXPORT const NSString NSFileTypeUnknown;

class KVT_EXPORT NSFileManager : public id {
  KVT_HANDLE(NSFileManager, id)

 public:
  /// The same one at every call.
  static NSFileManager defaultManager();

  // ---- questions ---------------------------------------------------------------------------------------------------

  /// Links are followed: NO for one that leads nowhere.
  bool fileExistsAtPath(const NSString& path) const;
  /// `*isDirectory` (which may be null) is left alone where there is no file.
  bool fileExistsAtPath_isDirectory(const NSString& path, bool* isDirectory) const;
  /// The keys above; nil when there is no such file.
  NSDictionary attributesOfItemAtPath_error(const NSString& path, NSError* error) const;
  /// The names in a folder, in no order, without "." and "..". Names that are no UTF-8 cannot be given and are left
  /// out; as URLs, from an enumerator, they can. A link to a folder is followed.
  NSArray contentsOfDirectoryAtPath_error(const NSString& path, NSError* error) const;
  /// The whole file; nil when it cannot be read.
  NSData contentsAtPath(const NSString& path) const;

  /// Walks all that is below a folder; a link to one is followed here, and nowhere below. When `keys` names anything
  /// the URLs know their resource values from the walk (one call of the system for each, and about 100 bytes). Folders
  /// that cannot be read are told to the handler with the error, and skipped when it answers YES, as they are without a
  /// handler; NO ends the walk. For a folder that is not there the handler is called at the first step. nil for nil and
  /// for what is no file URL.
  NSDirectoryEnumerator enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      const NSURL& url, const NSArray& keys, NSUInteger options, const Block<bool(NSURL, NSError)>& errorHandler) const;

  // ---- changes -----------------------------------------------------------------------------------------------------

  /// Makes a folder; NO when there is something at the path already, or the folder it shall be in is missing. With
  /// `intermediate` those on the way are made too, and a folder that is there is as good as a new one. Of `attributes`
  /// (which may be nil) NSFilePosixPermissions counts, for all that are made; without it they get 0777 less the
  /// process's mask.
  bool createDirectoryAtPath_withIntermediateDirectories_attributes_error(const NSString& path, bool intermediate,
                                                                          const NSDictionary& attributes,
                                                                          NSError* error) const;
  /// Removes a file, a link, or a folder with everything in it. Links in it are removed and never followed, and nobody
  /// who exchanges folders for links meanwhile makes it leave the folder. What resists stays, with the folders that it
  /// is in, and the rest goes; the first failure is the error. Refuses paths that end with "." or ".." and the root.
  bool removeItemAtPath_error(const NSString& path, NSError* error) const;
  /// The same for a file URL, whose path need be no UTF-8.
  bool removeItemAtURL_error(const NSURL& url, NSError* error) const;
};

}  // namespace kvt
