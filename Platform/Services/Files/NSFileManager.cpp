#include "NSFileManager.h"

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <string>
#include <vector>

#include "../../Values/NSError+Files.h"
#include "../../Values/NSURL+Resources.h"
#include "DirectoryEnumeratorBody.h"
#include "FolderStack.h"
#include "RemoveTree.h"

// Made before other static objects, which may need them.
#define KVT_FILE_TEXT(name) __attribute__((init_priority(200))) const NSString name = #name##_ns

namespace kvt {

KVT_FILE_TEXT(NSFileType);
KVT_FILE_TEXT(NSFileSize);
KVT_FILE_TEXT(NSFileModificationDate);
KVT_FILE_TEXT(NSFileCreationDate);
KVT_FILE_TEXT(NSFilePosixPermissions);
KVT_FILE_TEXT(NSFileReferenceCount);
KVT_FILE_TEXT(NSFileOwnerAccountID);
KVT_FILE_TEXT(NSFileGroupOwnerAccountID);
KVT_FILE_TEXT(NSFileSystemNumber);
KVT_FILE_TEXT(NSFileSystemFileNumber);
KVT_FILE_TEXT(NSFileTypeDirectory);
KVT_FILE_TEXT(NSFileTypeRegular);
KVT_FILE_TEXT(NSFileTypeSymbolicLink);
KVT_FILE_TEXT(NSFileTypeSocket);
KVT_FILE_TEXT(NSFileTypeCharacterSpecial);
KVT_FILE_TEXT(NSFileTypeBlockSpecial);
KVT_FILE_TEXT(NSFileTypeUnknown);

namespace {

/// For the system, without slashes at the end: behind one, a link would be followed. False for what no path can be.
bool systemPath(const NSString& path, std::string& result) {
  const std::string_view text = path.utf8();
  if (text.empty() || text.find('\0') != std::string_view::npos) return false;
  result = text;
  while (result.size() > 1 && result.back() == '/') result.pop_back();
  return true;
}

bool fail(NSError* error, FileOperation operation, int errorNumber, const NSString& path) {
  if (error != nullptr) *error = fileError(operation, errorNumber, path);
  return false;
}

const NSString& typeOf(unsigned mode) {
  switch (mode & S_IFMT) {
    case S_IFDIR: return NSFileTypeDirectory;
    case S_IFREG: return NSFileTypeRegular;
    case S_IFLNK: return NSFileTypeSymbolicLink;
    case S_IFSOCK: return NSFileTypeSocket;
    case S_IFCHR: return NSFileTypeCharacterSpecial;
    case S_IFBLK: return NSFileTypeBlockSpecial;
    default: return NSFileTypeUnknown;
  }
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// `mode` < 0: as the process's mask has it.
int makeFolder(const std::string& path, int mode) {
  if (::mkdir(path.c_str(), mode < 0 ? 0777 : static_cast<mode_t>(mode)) != 0) return errno;
  return mode >= 0 && ::chmod(path.c_str(), static_cast<mode_t>(mode)) != 0 ? errno : 0;
}

int makeFolders(const std::string& path, int mode) {
  // Others may make the same folders at the same time: what is there when making fails is as good.
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    const std::string outer = path.substr(0, end);
    const int failure = outer.empty() ? 0 : makeFolder(outer, mode);
    if (failure != 0 && !isFolder(outer)) return failure == EEXIST ? ENOTDIR : failure;
  }
  const int failure = makeFolder(path, mode);
  return failure == EEXIST && isFolder(path) ? 0 : failure;
}

bool removeAt(const std::string& path, NSError* error) {
  std::string where;
  const int failure = files::removeTree(path, &where);
  return failure == 0 || fail(error, FileOperation::kWrite, failure, NSString(where));
}

struct FileManagerBody final : Object {
  FileManagerBody() : Object(classOf<NSFileManager>(), ObjectKind::kPlain) {}
};

}  // namespace

NSFileManager NSFileManager::defaultManager() {
  // Never destroyed: static objects of other units may ask for it when they end.
  static auto* manager = new NSFileManager(adopt, new FileManagerBody);
  return *manager;
}

// ---- questions ------------------------------------------------------------------------------------------------------

bool NSFileManager::fileExistsAtPath(const NSString& path) const { return fileExistsAtPath_isDirectory(path, nullptr); }

bool NSFileManager::fileExistsAtPath_isDirectory(const NSString& path, bool* isDirectory) const {
  std::string file;
  struct stat status {};
  if (!*this || !systemPath(path, file) || ::stat(file.c_str(), &status) != 0) return false;
  if (isDirectory != nullptr) *isDirectory = S_ISDIR(status.st_mode);
  return true;
}

NSDictionary NSFileManager::attributesOfItemAtPath_error(const NSString& path, NSError* error) const {
  if (!*this) return {};
  std::string file;
  FileValues values;
  const int failure = systemPath(path, file) ? readFileValues(AT_FDCWD, file.c_str(), values) : EINVAL;
  if (failure != 0) {
    fail(error, FileOperation::kRead, failure, path);
    return {};
  }
  const NSMutableDictionary result{
      {NSFileType, typeOf(values.mode)},
      {NSFileSize, values.size},
      {NSFileModificationDate, NSDate::dateWithTimeIntervalSince1970(values.modified)},
      {NSFilePosixPermissions, values.mode & 07777},
      {NSFileReferenceCount, values.links},
      {NSFileOwnerAccountID, values.owner},
      {NSFileGroupOwnerAccountID, values.group},
      {NSFileSystemNumber, values.device},
      {NSFileSystemFileNumber, values.inode},
  };
  if (values.hasCreated) {
    result.setObject_forKey(NSDate::dateWithTimeIntervalSince1970(values.created), NSFileCreationDate);
  }
  return result.copy();
}

NSArray NSFileManager::contentsOfDirectoryAtPath_error(const NSString& path, NSError* error) const {
  if (!*this) return {};
  std::string folder;
  files::FolderStack folders;
  const int failure = systemPath(path, folder) ? folders.enterFirst(AT_FDCWD, folder.c_str(), true) : EINVAL;
  if (failure != 0) {
    fail(error, FileOperation::kRead, failure, path);
    return {};
  }
  std::vector<id> names;
  for (files::FolderStack::Entry entry; folders.next(entry);) {
    if (NSString name = entry.name) names.push_back(std::move(name));
  }
  return NSArray::arrayWithObjects_count(names.data(), names.size());
}

NSData NSFileManager::contentsAtPath(const NSString& path) const {
  return *this ? NSData::dataWithContentsOfFile(path) : NSData();
}

NSDirectoryEnumerator NSFileManager::enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
    const NSURL& url, const NSArray& keys, NSUInteger options, const Block<bool(NSURL, NSError)>& errorHandler) const {
  const char* path = url.fileSystemRepresentation();
  if (!*this || path == nullptr) return {};
  return {adopt, new files::DirectoryEnumeratorBody(path, keys.count() != 0, options, errorHandler)};
}

// ---- changes --------------------------------------------------------------------------------------------------------

bool NSFileManager::createDirectoryAtPath_withIntermediateDirectories_attributes_error(const NSString& path,
                                                                                       bool intermediate,
                                                                                       const NSDictionary& attributes,
                                                                                       NSError* error) const {
  if (!*this) return false;
  std::string folder;
  if (!systemPath(path, folder)) return fail(error, FileOperation::kWrite, EINVAL, path);
  const NSNumber permissions = attributes.objectForKey(NSFilePosixPermissions).as<NSNumber>();
  const int mode = permissions ? permissions.intValue() & 07777 : -1;
  const int failure = intermediate ? makeFolders(folder, mode) : makeFolder(folder, mode);
  return failure == 0 || fail(error, FileOperation::kWrite, failure, path);
}

bool NSFileManager::removeItemAtPath_error(const NSString& path, NSError* error) const {
  if (!*this) return false;
  std::string file;
  if (!systemPath(path, file)) return fail(error, FileOperation::kWrite, EINVAL, path);
  return removeAt(file, error);
}

bool NSFileManager::removeItemAtURL_error(const NSURL& url, NSError* error) const {
  if (!*this) return false;
  if (const char* path = url.fileSystemRepresentation()) return removeAt(path, error);
  if (error != nullptr) {
    *error = NSError::errorWithDomain_code_userInfo(NSCocoaErrorDomain, NSFileWriteUnsupportedSchemeError,
                                                    url ? NSDictionary{{NSURLErrorKey, url}} : NSDictionary());
  }
  return false;
}

// ---- class ----------------------------------------------------------------------------------------------------------

Class NSFileManager::kvtClass() {
  static const Class cls = [] {
    using M = NSFileManager;
    ClassBuilder<M> c("NSFileManager", classOf<NSObject>());
    c.classMethod<&M::defaultManager>("defaultManager");
    c.method<&M::fileExistsAtPath>("fileExistsAtPath:");
    c.method<&M::fileExistsAtPath_isDirectory>("fileExistsAtPath:isDirectory:");
    c.method<&M::attributesOfItemAtPath_error>("attributesOfItemAtPath:error:");
    c.method<&M::contentsOfDirectoryAtPath_error>("contentsOfDirectoryAtPath:error:");
    c.method<&M::contentsAtPath>("contentsAtPath:");
    c.method<&M::enumeratorAtURL_includingPropertiesForKeys_options_errorHandler>(
        "enumeratorAtURL:includingPropertiesForKeys:options:errorHandler:");
    c.method<&M::createDirectoryAtPath_withIntermediateDirectories_attributes_error>(
        "createDirectoryAtPath:withIntermediateDirectories:attributes:error:");
    c.method<&M::removeItemAtPath_error>("removeItemAtPath:error:");
    c.method<&M::removeItemAtURL_error>("removeItemAtURL:error:");
    return c.registerClass();
  }();
  return cls;
}

bool NSFileManager::kvtAccepts(const Object* object) noexcept {
  return dynamic_cast<const FileManagerBody*>(object) != nullptr;
}

[[maybe_unused]] static const bool registered = (classOf<NSFileManager>(), true);

}  // namespace kvt
