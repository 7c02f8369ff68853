#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Files/NSFileManager.h>
#include <KVTPlatform/Services/Files/RemoveTree.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSURL.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <set>

#include "ScratchFolder.h"
#include "Unprivileged.h"

namespace kvt {
namespace {

namespace fs = std::filesystem;

const NSFileManager& manager() {
  static const NSFileManager files = NSFileManager::defaultManager();
  return files;
}

NSURL urlOf(const fs::path& path) { return NSURL::fileURLWithPath(NSString(path.string())); }

/// Below `folder`, separated by blanks, sorted.
std::string walked(const fs::path& folder, NSUInteger options = 0, const NSArray& keys = nullptr) {
  std::set<std::string> names;
  const NSDirectoryEnumerator walk =
      manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(urlOf(folder), keys, options, nullptr);
  while (const NSURL url = walk.nextObject().as<NSURL>()) {
    names.insert(fs::path(url.fileSystemRepresentation()).lexically_relative(folder).string() +
                 (url.hasDirectoryPath() ? "/" : ""));
  }
  EXPECT_FALSE(walk.nextObject());
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text;
}

/// A folder with files, hidden ones, folders, and links that lead out of it.
class NSFileManagerTest : public ::testing::Test {
 protected:
  NSFileManagerTest() {
    outside_.write("victim", "precious\n");
    fs::create_directories(path("folder/inner"));
    fs::create_directories(path(".hidden"));
    folder_.write("a", "abc");
    folder_.write(".b", "x");
    folder_.write("folder/c", "x");
    folder_.write("folder/inner/d", "x");
    folder_.write(".hidden/e", "x");
    fs::create_symlink(outside_.path() / "victim", path("link"));
    fs::create_directory_symlink(outside_.path(), path("out"));
    fs::create_symlink("nowhere", path("folder/dangling"));
  }
  fs::path path(const std::string& name) const { return folder_.path() / name; }
  void expectOutsideUntouched() const {
    EXPECT_EQ(outside_.names(), std::vector<std::string>{"victim"});
    EXPECT_EQ(outside_.read("victim"), "precious\n");
  }

  ScratchFolder folder_, outside_;
};

TEST_F(NSFileManagerTest, WhatIsThere) {
  const struct {
    NSString path;
    bool exists, isDirectory;
  } rows[] = {
      {folder_.text(), true, true},
      {folder_.text("a"), true, false},
      {folder_.text("folder"), true, true},
      {folder_.text("folder/"), true, true},
      {folder_.text("link"), true, false},
      {folder_.text("out"), true, true},
      {folder_.text("folder/dangling"), false, false},
      {folder_.text("nothing"), false, false},
      {folder_.text("a/b"), false, false},
      {"", false, false},
      {nullptr, false, false},
      {NSString(std::string_view("/\0", 2)), false, false},
      {"/", true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path.str());
    bool isDirectory = !row.isDirectory;
    EXPECT_EQ(manager().fileExistsAtPath_isDirectory(row.path, &isDirectory), row.exists);
    EXPECT_EQ(manager().fileExistsAtPath(row.path), row.exists);
    EXPECT_EQ(isDirectory, row.exists == row.isDirectory) << "left alone when there is nothing";
  }
}

TEST_F(NSFileManagerTest, Attributes) {
  ::chmod(path("a").c_str(), 0640);
  const timespec times[2] = {{1'000'000'000, 0}, {1'234'567'890, 500'000'000}};
  ::utimensat(AT_FDCWD, path("a").c_str(), times, 0);
  const NSDictionary a = manager().attributesOfItemAtPath_error(folder_.text("a"), nullptr);
  EXPECT_EQ(a.objectForKey(NSFileType), NSFileTypeRegular);
  EXPECT_EQ(a.objectForKey(NSFileSize), NSNumber(3));
  EXPECT_EQ(a.objectForKey(NSFilePosixPermissions), NSNumber(0640));
  EXPECT_EQ(a.objectForKey(NSFileReferenceCount), NSNumber(1));
  EXPECT_EQ(a.objectForKey(NSFileOwnerAccountID), NSNumber(::getuid()));
  EXPECT_EQ(a.objectForKey(NSFileModificationDate), NSDate::dateWithTimeIntervalSince1970(1'234'567'890.5));
  struct stat status {};
  ASSERT_EQ(::stat(path("a").c_str(), &status), 0);
  EXPECT_EQ(a.objectForKey(NSFileSystemFileNumber), NSNumber(status.st_ino));
  EXPECT_EQ(a.objectForKey(NSFileSystemNumber), NSNumber(status.st_dev));

  const struct {
    const char* name;
    NSString type;
  } rows[] = {{"folder", NSFileTypeDirectory},
              {"link", NSFileTypeSymbolicLink},
              {"out/", NSFileTypeSymbolicLink},
              {"folder/dangling", NSFileTypeSymbolicLink}};
  for (const auto& row : rows) {
    EXPECT_EQ(manager().attributesOfItemAtPath_error(folder_.text(row.name), nullptr).objectForKey(NSFileType),
              row.type)
        << row.name;
  }
  ASSERT_EQ(::mkfifo(path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(manager().attributesOfItemAtPath_error(folder_.text("pipe"), nullptr).objectForKey(NSFileType),
            NSFileTypeUnknown);

  NSError error;
  EXPECT_FALSE(manager().attributesOfItemAtPath_error(folder_.text("nothing"), &error));
  EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
  EXPECT_EQ(error.userInfo().objectForKey(NSFilePathErrorKey), folder_.text("nothing"));
}

TEST_F(NSFileManagerTest, ContentsOfAFolder) {
  std::set<std::string> names;
  for (const id& name : manager().contentsOfDirectoryAtPath_error(folder_.text(), nullptr)) {
    names.insert(name.as<NSString>().str());
  }
  EXPECT_EQ(names, (std::set<std::string>{"a", ".b", "folder", ".hidden", "link", "out"}));
  EXPECT_EQ(manager().contentsOfDirectoryAtPath_error(folder_.text("out"), nullptr).count(), 1u) << "a link";
  NSError error;
  EXPECT_FALSE(manager().contentsOfDirectoryAtPath_error(folder_.text("a"), &error));
  EXPECT_EQ(error.code(), NSFileReadUnknownError);
  EXPECT_FALSE(manager().contentsOfDirectoryAtPath_error(nullptr, &error));
  EXPECT_EQ(error.code(), NSFileReadInvalidFileNameError);
  EXPECT_EQ(manager().contentsAtPath(folder_.text("a")), NSData("abc"));
  EXPECT_FALSE(manager().contentsAtPath(folder_.text("folder")));
}

TEST_F(NSFileManagerTest, Walks) {
  const struct {
    NSUInteger options;
    const char* expected;
  } rows[] = {
      {0, ".b .hidden/ .hidden/e a folder/ folder/c folder/dangling folder/inner/ folder/inner/d link out"},
      {NSDirectoryEnumerationSkipsHiddenFiles,
       "a folder/ folder/c folder/dangling folder/inner/ folder/inner/d link out"},
      {NSDirectoryEnumerationSkipsSubdirectoryDescendants, ".b .hidden/ a folder/ link out"},
      {NSDirectoryEnumerationSkipsHiddenFiles | NSDirectoryEnumerationSkipsSubdirectoryDescendants |
           NSDirectoryEnumerationSkipsPackageDescendants,
       "a folder/ link out"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(walked(folder_.path(), row.options), row.expected);
    EXPECT_EQ(walked(folder_.path(), row.options, {NSURLIsDirectoryKey}), row.expected) << "with values";
  }
  EXPECT_EQ(walked(path("out")), "victim") << "the first link is followed";
}

TEST_F(NSFileManagerTest, WalksGoOnlyWhereTheyAreSent) {
  const NSDirectoryEnumerator walk = manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      urlOf(folder_.path()), nullptr, 0, nullptr);
  EXPECT_EQ(walk.level(), 0u);
  std::set<std::string> seen;
  while (const NSURL url = walk.nextObject().as<NSURL>()) {
    const std::string name = url.lastPathComponent().str();
    seen.insert(name);
    EXPECT_EQ(walk.level(), name == "c" || name == "inner" || name == "dangling" ? 2u : 1u) << name;
    if (name == "inner" || name == ".hidden") walk.skipDescendants();
  }
  EXPECT_TRUE(seen.count("c"));
  EXPECT_FALSE(seen.count("d"));
  EXPECT_FALSE(seen.count("e"));
}

TEST_F(NSFileManagerTest, FoldersThatCannotBeRead) {
  std::string told;
  bool goesOn = true;
  const auto handler = [&](const NSURL& url, const NSError& error) {
    told += url.lastPathComponent().str() + ":" + std::to_string(error.code()) + " ";
    return goesOn;
  };
  const auto walk = [&](const fs::path& folder) {
    told.clear();
    NSUInteger count = 0;
    const NSDirectoryEnumerator files =
        manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(urlOf(folder), nullptr, 0, handler);
    while (const NSURL url = files.nextObject().as<NSURL>()) ++count;
    return count;
  };
  EXPECT_EQ(walk(path("nothing")), 0u);
  EXPECT_EQ(told, "nothing:260 ");
  EXPECT_EQ(walk(path("a")), 0u);
  EXPECT_EQ(told, "a:256 ");
  EXPECT_EQ(walked(path("nothing")), "") << "without a handler";

  EXPECT_FALSE(manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(nullptr, nullptr, 0, nullptr));
  EXPECT_FALSE(manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      NSURL::URLWithString("https://example.com/"), nullptr, 0, nullptr));

  // No descriptor is left: every folder resists, whoever asks, root too.
  fs::create_directories(path("folder/second"));
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  for (const bool on : {true, false}) {
    goesOn = on;
    told.clear();
    const NSDirectoryEnumerator files = manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
        urlOf(path("folder")), nullptr, 0, handler);
    std::set<std::string> seen{files.nextObject().as<NSURL>().lastPathComponent().str()};
    const int next = ::dup(0);
    ::close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    while (const NSURL url = files.nextObject().as<NSURL>()) seen.insert(url.lastPathComponent().str());
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_FALSE(seen.count("d"));
    if (on) {
      EXPECT_EQ(seen, (std::set<std::string>{"c", "dangling", "inner", "second"}));
      EXPECT_TRUE(told == "inner:256 second:256 " || told == "second:256 inner:256 ") << told;
    } else {
      EXPECT_TRUE(told == "inner:256 " || told == "second:256 ") << told;
    }
  }
}

TEST_F(NSFileManagerTest, FilesThatChangeWhileWeWalk) {
  const ScratchFolder folder;
  for (int i = 0; i < 20; ++i) folder.write(std::to_string(i), "x");
  const NSDirectoryEnumerator walk = manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      urlOf(folder.path()), {NSURLIsDirectoryKey}, 0, nullptr);
  EXPECT_TRUE(walk.nextObject());
  for (int i = 0; i < 20; ++i) fs::remove(folder.path() / std::to_string(i));
  EXPECT_FALSE(walk.nextObject()) << "what has gone is left out";

  // A folder becomes a link before the walk enters it.
  fs::create_directory(folder.path() / "folder");
  folder.write("folder/x", "x");
  const NSDirectoryEnumerator second = manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      urlOf(folder.path()), nullptr, 0, nullptr);
  EXPECT_EQ(second.nextObject().as<NSURL>().lastPathComponent(), "folder");
  fs::remove_all(folder.path() / "folder");
  fs::create_directory_symlink(outside_.path(), folder.path() / "folder");
  EXPECT_FALSE(second.nextObject());
}

TEST_F(NSFileManagerTest, AnyDepthAndNoMoreThanThirtyDescriptors) {
  // Deeper than descriptors and paths go.
  constexpr int kDepth = 3000;
  const ScratchFolder folder;
  int at = ::open(folder.path().c_str(), O_PATH | O_DIRECTORY);
  for (int i = 0; i < kDepth; ++i) {
    ASSERT_EQ(::mkdirat(at, "f", 0700), 0);
    const int next = ::openat(at, "f", O_PATH | O_DIRECTORY);
    ::close(std::exchange(at, next));
  }
  ::close(at);
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few{64, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &few);
  const NSDirectoryEnumerator walk = manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      urlOf(folder.path()), {NSURLIsDirectoryKey}, 0, nullptr);
  int count = 0;
  while (walk.nextObject()) ++count;
  EXPECT_EQ(count, kDepth);
  EXPECT_EQ(walk.level(), NSUInteger{kDepth});
  EXPECT_TRUE(manager().removeItemAtPath_error(folder.text(), nullptr));
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_FALSE(fs::exists(folder.path()));
}

TEST_F(NSFileManagerTest, AWalkDoesNotComeOutWhereAFolderHasBeenMovedTo) {
  const ScratchFolder folder;
  std::string deep = "top";
  for (int i = 0; i < 60; ++i) deep += "/f";
  fs::create_directories(folder.path() / deep);
  folder.write("top/f/f/f/f/stays", "x");
  int told = 0;
  const NSDirectoryEnumerator walk = manager().enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
      urlOf(folder.path()), nullptr, 0, [&](const NSURL&, const NSError&) {
        ++told;
        return true;
      });
  while (walk.level() < 60) ASSERT_TRUE(walk.nextObject());
  // Everything from the 20th folder on lies elsewhere now: ".." leads to "outside".
  std::string moved = "top";
  for (int i = 0; i < 20; ++i) moved += "/f";
  fs::rename(folder.path() / moved, outside_.path() / "moved");
  while (const NSURL url = walk.nextObject().as<NSURL>()) EXPECT_NE(url.lastPathComponent(), "victim");
  EXPECT_EQ(told, 1);
  fs::remove_all(outside_.path() / "moved");
}

TEST_F(NSFileManagerTest, NamesThatAreNoText) {
  const ScratchFolder folder;
  const std::string odd = "\xFF\xFE%41;é?#";
  folder.write(odd, "x");
  const NSURL url =
      manager()
          .enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(urlOf(folder.path()), nullptr, 0, nullptr)
          .nextObject()
          .as<NSURL>();
  EXPECT_EQ(std::string(url.fileSystemRepresentation()), (folder.path() / odd).string());
  EXPECT_FALSE(url.path());
  EXPECT_EQ(manager().contentsOfDirectoryAtPath_error(folder.text(), nullptr).count(), 0u);
  EXPECT_TRUE(url.resourceValuesForKeys_error({NSURLFileSizeKey}, nullptr));
  EXPECT_TRUE(manager().removeItemAtURL_error(url, nullptr));
  EXPECT_TRUE(folder.names().empty());
}

TEST_F(NSFileManagerTest, MakesFolders) {
  const struct {
    const char* name;
    bool intermediate, expected;
    NSInteger code;
  } rows[] = {
      {"new", false, true, 0},
      {"new", false, false, NSFileWriteFileExistsError},
      {"new", true, true, 0},
      {"new/", true, true, 0},
      {"x/y/z", false, false, NSFileNoSuchFileError},
      {"x/y//z/", true, true, 0},
      {"a", true, false, NSFileWriteFileExistsError},
      {"a/b", true, false, NSFileWriteUnknownError},
      {"out/made", true, true, 0},
      {"folder/dangling", true, false, NSFileWriteFileExistsError},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    NSError error;
    EXPECT_EQ(manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error(
                  folder_.text(row.name), row.intermediate, nullptr, &error),
              row.expected);
    EXPECT_EQ(error.code(), row.code) << error.description().str();
    EXPECT_EQ(fs::is_directory(path(row.name)), row.expected || std::string(row.name) == "new");
  }
  EXPECT_TRUE(fs::exists(outside_.path() / "made"));
  NSError error;
  EXPECT_FALSE(manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error("", true, nullptr, &error));
  EXPECT_EQ(error.code(), NSFileWriteInvalidFileNameError);

  const mode_t mask = ::umask(0);
  EXPECT_TRUE(manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error(folder_.text("open"), false,
                                                                                           nullptr, nullptr));
  ::umask(077);
  EXPECT_TRUE(manager().createDirectoryAtPath_withIntermediateDirectories_attributes_error(
      folder_.text("modes/inner"), true, {{NSFilePosixPermissions, 0751}}, nullptr));
  ::umask(mask);
  const auto permissions = [&](const char* name) { return static_cast<int>(fs::status(path(name)).permissions()); };
  EXPECT_EQ(permissions("open"), 0777);
  EXPECT_EQ(permissions("modes"), 0751);
  EXPECT_EQ(permissions("modes/inner"), 0751);
}

TEST_F(NSFileManagerTest, Removes) {
  const struct {
    const char* name;
    NSInteger code;
  } rows[] = {
      {"a", 0},
      {"a", NSFileNoSuchFileError},
      {"link", 0},
      {"out/", 0},
      {"folder/.", NSFileWriteInvalidFileNameError},
      {"folder/..", NSFileWriteInvalidFileNameError},
      {"folder/dangling", 0},
      {"folder", 0},
      {".b/x", NSFileWriteUnknownError},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    NSError error;
    EXPECT_EQ(manager().removeItemAtPath_error(folder_.text(row.name), &error), row.code == 0);
    EXPECT_EQ(error.code(), row.code) << error.description().str();
  }
  EXPECT_EQ(folder_.names(), (std::vector<std::string>{".b", ".hidden"}));
  expectOutsideUntouched();
  NSError error;
  for (const char* path : {"/", "///", "", ".", ".."}) {
    EXPECT_FALSE(manager().removeItemAtPath_error(path, &error)) << path;
    EXPECT_EQ(error.code(), NSFileWriteInvalidFileNameError) << path;
  }
  EXPECT_FALSE(manager().removeItemAtURL_error(NSURL::URLWithString("https://example.com/a"), &error));
  EXPECT_EQ(error.code(), NSFileWriteUnsupportedSchemeError);
  EXPECT_TRUE(manager().removeItemAtPath_error(folder_.text(), nullptr));
  EXPECT_FALSE(fs::exists(folder_.path()));
  expectOutsideUntouched();
}

TEST_F(NSFileManagerTest, AFolderOfLinksIsRemovedAndTheirTargetsAreNot) {
  fs::create_directory_symlink("..", path("folder/up"));
  fs::create_directory_symlink("/", path("folder/inner/root"));
  fs::create_directory_symlink(outside_.path(), path("folder/inner/out"));
  EXPECT_TRUE(manager().removeItemAtPath_error(folder_.text("folder"), nullptr));
  EXPECT_EQ(folder_.names(), (std::vector<std::string>{".b", ".hidden", "a", "link", "out"}));
  expectOutsideUntouched();
}

TEST_F(NSFileManagerTest, RemovalsBelowAFolderStayInIt) {
  const files::FolderRemovals removals(folder_.path().c_str());
  fs::create_symlink("/", path("root"));
  const std::string up = "../" + outside_.path().filename().string() + "/victim";
  for (const std::string& name : {std::string("out/victim"), up, std::string("root/tmp"), std::string(""),
                                  std::string("."), std::string(".."), std::string("folder/.."), std::string("/a"),
                                  std::string("folder//c"), std::string("nothing"), std::string("nothing/a")}) {
    EXPECT_FALSE(removals.remove(name)) << name;
  }
  expectOutsideUntouched();
  EXPECT_TRUE(removals.remove("folder/inner"));
  EXPECT_TRUE(removals.remove("folder/c"));
  EXPECT_TRUE(removals.remove("out"));
  // The folder that was opened is meant, whatever has its name now.
  const fs::path elsewhere = folder_.path().string() + ".moved";
  fs::rename(folder_.path(), elsewhere);
  fs::create_directory_symlink(outside_.path(), folder_.path());
  EXPECT_FALSE(removals.remove("victim"));
  EXPECT_TRUE(removals.remove("a"));
  expectOutsideUntouched();
  fs::remove(folder_.path());
  fs::rename(elsewhere, folder_.path());
  EXPECT_EQ(walked(folder_.path()), ".b .hidden/ .hidden/e folder/ folder/dangling link root");
  EXPECT_FALSE(files::FolderRemovals("/nowhere").remove("a"));
}

TEST_F(NSFileManagerTest, WhatResistsStaysAndTheRestGoes) {
  NSError error;
  const Unprivileged unprivileged(folder_.path());
  ::chmod(path("folder/inner").c_str(), 0500);
  EXPECT_FALSE(manager().removeItemAtPath_error(folder_.text(), &error));
  EXPECT_EQ(error.code(), NSFileWriteNoPermissionError);
  EXPECT_EQ(error.userInfo().objectForKey(NSFilePathErrorKey), folder_.text("folder/inner/d"));
  EXPECT_EQ(walked(folder_.path()), "folder/ folder/inner/ folder/inner/d");
  ::chmod(path("folder/inner").c_str(), 0);
  EXPECT_FALSE(manager().removeItemAtPath_error(folder_.text("folder"), &error));
  EXPECT_EQ(error.userInfo().objectForKey(NSFilePathErrorKey), folder_.text("folder/inner")) << "it cannot be read";
  fs::create_directory(path("folder/empty"));
  ::chmod(path("folder/empty").c_str(), 0);
  EXPECT_FALSE(manager().removeItemAtPath_error(folder_.text("folder"), nullptr));
  EXPECT_FALSE(fs::exists(path("folder/empty"))) << "an empty one need not be";
  ::chmod(path("folder/inner").c_str(), 0700);
}

TEST_F(NSFileManagerTest, ResourceValues) {
  const timespec times[2] = {{1'000'000'000, 250'000'000}, {1'234'567'890, 500'000'000}};
  ::utimensat(AT_FDCWD, path("a").c_str(), times, 0);
  struct stat status {};
  ASSERT_EQ(::stat(path("a").c_str(), &status), 0);
  struct statx extended {};
  ASSERT_EQ(::statx(AT_FDCWD, path("a").c_str(), 0, STATX_BTIME, &extended), 0);
  const NSDate created = (extended.stx_mask & STATX_BTIME) == 0
                             ? NSDate()
                             : NSDate::dateWithTimeIntervalSince1970(static_cast<double>(extended.stx_btime.tv_sec) +
                                                                     extended.stx_btime.tv_nsec / 1e9);
  const NSNumber yes = true, no = false;
  const NSURL a = urlOf(path("a"));
  const struct {
    NSURL url;
    NSString key;
    id expected;
  } rows[] = {
      {a, NSURLNameKey, NSString("a")},
      {a, NSURLIsDirectoryKey, no},
      {a, NSURLIsRegularFileKey, yes},
      {a, NSURLIsSymbolicLinkKey, no},
      {a, NSURLIsHiddenKey, no},
      {a, NSURLContentAccessDateKey, NSDate::dateWithTimeIntervalSince1970(1'000'000'000.25)},
      {a, NSURLContentModificationDateKey, NSDate::dateWithTimeIntervalSince1970(1'234'567'890.5)},
      {a, NSURLCreationDateKey, created},
      {a, NSURLFileSizeKey, NSNumber(3)},
      {a, NSURLTotalFileSizeKey, NSNumber(3)},
      {a, NSURLFileAllocatedSizeKey, NSNumber(status.st_blocks * 512)},
      {a, NSURLTotalFileAllocatedSizeKey, NSNumber(status.st_blocks * 512)},
      {a, "NSURLNoSuchKey", nullptr},
      {urlOf(path(".b")), NSURLIsHiddenKey, yes},
      {urlOf(path("folder")), NSURLIsDirectoryKey, yes},
      {urlOf(path("folder")), NSURLTotalFileAllocatedSizeKey, nullptr},
      {urlOf(path("folder")), NSURLFileSizeKey, nullptr},
      {urlOf(path("link")), NSURLIsSymbolicLinkKey, yes},
      {urlOf(path("out")), NSURLIsDirectoryKey, no},
      {urlOf(path("folder/dangling")), NSURLIsSymbolicLinkKey, yes},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.url.path().str() + " " + row.key.str());
    id value = yes;
    EXPECT_TRUE(row.url.getResourceValue_forKey_error(&value, row.key, nullptr));
    EXPECT_EQ(value, row.expected);
    const NSDictionary values = row.url.resourceValuesForKeys_error({row.key}, nullptr);
    EXPECT_TRUE(values);
    EXPECT_EQ(values.count(), row.expected ? 1u : 0u);
    EXPECT_EQ(values.objectForKey(row.key), row.expected);
  }
  // A file with a hole takes less than its length.
  ASSERT_EQ(::truncate(path("folder/c").c_str(), 10'000'000), 0);
  id size, allocated;
  urlOf(path("folder/c")).getResourceValue_forKey_error(&size, NSURLFileSizeKey, nullptr);
  urlOf(path("folder/c")).getResourceValue_forKey_error(&allocated, NSURLTotalFileAllocatedSizeKey, nullptr);
  EXPECT_EQ(size, NSNumber(10'000'000));
  EXPECT_LT(allocated.as<NSNumber>().unsignedLongLongValue(), 1'000'000u);
}

TEST_F(NSFileManagerTest, AFileSystemWithoutCreationDatesHasNoValue) {
  struct statx extended {};
  ASSERT_EQ(::statx(AT_FDCWD, "/proc/self/status", 0, STATX_BTIME, &extended), 0);
  ASSERT_EQ(extended.stx_mask & STATX_BTIME, 0u) << "this test needs another such file system";
  id value = NSNumber(1);
  EXPECT_TRUE(
      NSURL::fileURLWithPath("/proc/self/status").getResourceValue_forKey_error(&value, NSURLCreationDateKey, nullptr));
  EXPECT_FALSE(value);
  EXPECT_FALSE(manager().attributesOfItemAtPath_error("/proc/self/status", nullptr).objectForKey(NSFileCreationDate));
}

TEST_F(NSFileManagerTest, ResourceValuesOfWhatIsNotThere) {
  NSError error;
  EXPECT_FALSE(urlOf(path("nothing")).resourceValuesForKeys_error({NSURLNameKey}, &error));
  EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
  EXPECT_FALSE(NSURL::URLWithString("https://example.com/a").resourceValuesForKeys_error({NSURLNameKey}, &error));
  EXPECT_EQ(error.code(), NSFileReadUnsupportedSchemeError);
  EXPECT_FALSE(NSURL().resourceValuesForKeys_error({NSURLNameKey}, &error));
  EXPECT_EQ(urlOf(path("a")).resourceValuesForKeys_error(nullptr, nullptr).count(), 0u);
}

TEST_F(NSFileManagerTest, PrefetchedValuesAreThoseOfTheWalk) {
  for (const bool prefetches : {true, false}) {
    ScratchFolder folder;
    folder.write("a", "abc");
    const NSURL url = manager()
                          .enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(
                              urlOf(folder.path()), prefetches ? NSArray{NSURLFileSizeKey} : nullptr, 0, nullptr)
                          .nextObject()
                          .as<NSURL>();
    folder.write("a", "longer");
    id size;
    EXPECT_TRUE(url.getResourceValue_forKey_error(&size, NSURLFileSizeKey, nullptr));
    EXPECT_EQ(size, NSNumber(prefetches ? 3 : 6));
    EXPECT_EQ(url, urlOf(folder.path() / "a"));
  }
}

TEST_F(NSFileManagerTest, AnswersToMessages) {
  const id shared = objc_msgSend<id>(classOf<NSFileManager>(), "defaultManager");
  EXPECT_TRUE(isIdentical(shared, manager()));
  EXPECT_TRUE(objc_msgSend<bool>(shared, "fileExistsAtPath:", folder_.text("a")));
  EXPECT_TRUE(objc_msgSend<bool>(shared, "removeItemAtPath:error:", folder_.text("a"), static_cast<void*>(nullptr)));
  EXPECT_FALSE(fs::exists(path("a")));
  for (const char* selector :
       {"attributesOfItemAtPath:error:", "contentsOfDirectoryAtPath:error:", "contentsAtPath:",
        "enumeratorAtURL:includingPropertiesForKeys:options:errorHandler:", "removeItemAtURL:error:",
        "createDirectoryAtPath:withIntermediateDirectories:attributes:error:", "fileExistsAtPath:isDirectory:"}) {
    EXPECT_TRUE(shared.respondsToSelector(selector)) << selector;
  }
}

TEST_F(NSFileManagerTest, Nil) {
  const NSFileManager nil;
  EXPECT_FALSE(nil.fileExistsAtPath("/"));
  EXPECT_FALSE(nil.contentsOfDirectoryAtPath_error("/", nullptr));
  EXPECT_FALSE(nil.attributesOfItemAtPath_error("/", nullptr));
  EXPECT_FALSE(nil.contentsAtPath(folder_.text("a")));
  EXPECT_FALSE(nil.enumeratorAtURL_includingPropertiesForKeys_options_errorHandler(urlOf("/"), nullptr, 0, nullptr));
  EXPECT_FALSE(nil.removeItemAtPath_error(folder_.text("a"), nullptr));
  EXPECT_TRUE(fs::exists(path("a")));
  const NSDirectoryEnumerator walk;
  walk.skipDescendants();
  EXPECT_EQ(walk.level(), 0u);
  EXPECT_FALSE(walk.nextObject());
}

}  // namespace
}  // namespace kvt
