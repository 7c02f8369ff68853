#include <KVTFoundation/Cache/DiskCacheSweep.h>
#include <KVTFoundation/Cache/KVTDiskCache.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Logging/Logging.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <optional>

#include "Platform/Services/Logging/LoggingTestSupport.h"
#include "Platform/Values/Raised.h"
#include "ScratchFolder.h"
#include "Unprivileged.h"

namespace kvt {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kAccessed = 0, kModified = 1, kCreated = 2;
constexpr std::uint64_t kUnit = 4096;  // files are written in whole units, so that they take what their length says

Ref<KVTDiskCacheConfig> configOf(std::int64_t expireType, std::uint64_t maxSize, std::uint64_t days) {
  const Ref<KVTDiskCacheConfig> config = make<KVTDiskCacheConfig>();
  config->diskCacheExpireType = expireType;
  config->maxDiskSize = maxSize;
  config->maxStorageDays = days;
  return config;
}

class KVTDiskCacheTest : public ::testing::Test {
 protected:
  KVTDiskCacheTest() { outside_.write("victim", "precious\n"); }

  Ref<KVTDefaultDiskCache> cache(std::int64_t expireType = 0, std::uint64_t maxSize = 0, std::uint64_t days = 0) const {
    return make<KVTDefaultDiskCache>()->initWithPath_config(folder_.text(), configOf(expireType, maxSize, days));
  }
  /// A file of that many units, read and written that many days ago.
  void write(const std::string& name, std::size_t units = 1, int accessed = 1, int modified = 1) const {
    folder_.write(name, std::string(units * kUnit, 'x'));
    date(name, accessed, modified);
  }
  void date(const std::string& name, int accessed, int modified) const {
    const std::time_t now = ::time(nullptr);
    const timespec times[2] = {{now - accessed * 86400L, 0}, {now - modified * 86400L, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, (folder_.path() / name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
  }
  /// Everything below the folder, separated by blanks.
  std::string left() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path())) {
      names.push_back(entry.path().lexically_relative(folder_.path()).string());
    }
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
    return text;
  }
  std::uint64_t allocated(const std::string& name) const {
    struct stat status {};
    EXPECT_EQ(::lstat((folder_.path() / name).c_str(), &status), 0);
    return static_cast<std::uint64_t>(status.st_blocks) * 512;
  }
  void expectOutsideUntouched() const {
    EXPECT_EQ(outside_.names(), std::vector<std::string>{"victim"});
    EXPECT_EQ(outside_.read("victim"), "precious\n");
  }

  ScratchFolder folder_, outside_;
};

// ---- making ---------------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, ANewConfigIsAllZeros) {
  const Ref<KVTDiskCacheConfig> config = make<KVTDiskCacheConfig>();
  EXPECT_EQ(config->diskCacheExpireType, 0);
  EXPECT_EQ(config->maxDiskSize, 0u);
  EXPECT_EQ(config->maxStorageDays, 0u);
  id(config).setValue_forKey(NSNumber(-1), "diskCacheExpireType");
  id(config).setValue_forKey(NSNumber(UINT64_MAX), "maxDiskSize");
  EXPECT_EQ(config->diskCacheExpireType, -1);
  EXPECT_EQ(id(config).valueForKey("maxDiskSize"), NSNumber(UINT64_MAX));
}

TEST_F(KVTDiskCacheTest, FieldsInTheOrderOfTheirDeclaration) {
  const auto fields = [](Class cls) {
    std::string text;
    for (const auto& property : class_copyPropertyList(cls)) {
      text += std::string(property_getName(property)) + "=" + property_getAttributes(property) + " ";
    }
    return text;
  };
  EXPECT_EQ(fields(classOf<KVTDiskCacheConfig>()),
            "diskCacheExpireType=Tq,N,VdiskCacheExpireType maxDiskSize=TQ,N,VmaxDiskSize "
            "maxStorageDays=TQ,N,VmaxStorageDays ");
  EXPECT_EQ(fields(classOf<KVTDefaultDiskCache>()),
            "diskCachePath=T@\"NSString\",C,N,VdiskCachePath config=T@\"KVTDiskCacheConfig\",&,N,Vconfig ");
}

TEST_F(KVTDiskCacheTest, PathsWithAUUID) {
  const struct {
    NSString uuid, cachePath, expected;
  } rows[] = {
      {"u1", "/a/b/images", "/a/b/u1_images"},
      {"u1", "/a/b/images/", "/a/b/u1_images"},
      {"ü 1", "/a/b/images.d", "/a/b/ü 1_images.d"},
      {"u1", "b/images", "b/u1_images"},
      {"u1", "images", "/u1_images"},
      {"u1", "/images", "//u1_images"},
      {"u1", nullptr, "(null)/u1_(null)"},
      {"", "/a/b/images", nullptr},
      {nullptr, "/a/b/images", nullptr},
  };
  const Ref<KVTDiskCacheConfig> config = configOf(1, 2, 3);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.expected.str());
    const Ref<KVTDefaultDiskCache> cache =
        make<KVTDefaultDiskCache>()->initWithUUID_cachePath_config(row.uuid, row.cachePath, config);
    EXPECT_EQ(cache->diskCachePath(), row.expected);
    EXPECT_TRUE(isIdentical(cache->config(), config));
  }
  // What is no text, which only a message can bring.
  const id made = objc_msgSend<id>(id(adopt, class_createInstance(classOf<KVTDefaultDiskCache>())),
                                   "initWithUUID:cachePath:config:", NSNumber(7), NSString("/a/b"), config);
  EXPECT_FALSE(made.as<KVTDefaultDiskCache>()->diskCachePath());
  EXPECT_TRUE(isIdentical(made.as<KVTDefaultDiskCache>()->config(), config));
}

TEST_F(KVTDiskCacheTest, MakingACacheMakesNothingOnTheDisk) {
  const NSString path = folder_.text("images");
  const Ref<KVTDefaultDiskCache> plain = make<KVTDefaultDiskCache>()->initWithPath_config(path, nullptr);
  EXPECT_EQ(plain->diskCachePath(), path);
  EXPECT_FALSE(plain->config());
  make<KVTDefaultDiskCache>()->initWithUUID_cachePath_config("u1", path, nullptr);
  plain->removeExpiredData();
  EXPECT_FALSE(plain->cacheForKey("a"));
  EXPECT_EQ(left(), "");
}

TEST_F(KVTDiskCacheTest, ThePathIsACopy) {
  const NSMutableString path = NSMutableString::stringWithString("/a");
  const Ref<KVTDefaultDiskCache> cache = make<KVTDefaultDiskCache>()->initWithPath_config(path, nullptr);
  path.appendString("/b");
  EXPECT_EQ(cache->diskCachePath(), "/a");
  cache->setDiskCachePath(path);
  path.appendString("/c");
  EXPECT_EQ(cache->diskCachePath(), "/a/b");
  id(cache).setValue_forKey(path, "diskCachePath");
  path.appendString("/d");
  EXPECT_EQ(cache->diskCachePath(), "/a/b/c");
}

TEST_F(KVTDiskCacheTest, AnswersToMessages) {
  const Class cls = classOf<KVTDefaultDiskCache>();
  EXPECT_TRUE(class_conformsToProtocol(cls, objc_getProtocol("KVTDiskCache")));
  const id cache =
      objc_msgSend<id>(id(adopt, class_createInstance(cls)), "initWithPath:config:", folder_.text(), configOf(0, 0, 0));
  write("key");
  EXPECT_EQ(objc_msgSend<NSString>(cache, "cachePathForKey:", NSString("key")), folder_.text("key"));
  EXPECT_EQ(objc_msgSend<NSData>(cache, "cacheForKey:", NSString("key")).length(), kUnit);
  objc_msgSend(cache, "removeExpiredData");
  EXPECT_EQ(left(), "");
  write("key");
  objc_msgSend(cache, "removeAllData");
  EXPECT_EQ(left(), "");
  EXPECT_EQ(objc_msgSend<NSString>(cache, "diskCachePath"), folder_.text());
  const Ref<KVTDefaultDiskCache> typed = cache.as<KVTDefaultDiskCache>();
  const KVTDiskCache& protocol = *typed;
  EXPECT_EQ(protocol.diskCachePath(), folder_.text());
}

// ---- reading --------------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, Keys) {
  fs::create_directory(folder_.path() / "inner");
  folder_.write("inner/deep", "deep");
  folder_.write("a", "bytes of a");
  folder_.write("a b%20é?#", "odd");
  folder_.write("empty", "");
  folder_.write(".hidden", "hidden");
  fs::create_symlink(outside_.path() / "victim", folder_.path() / "link");
  fs::create_symlink("nowhere", folder_.path() / "dangling");
  const std::string up = "../" + outside_.path().filename().string() + "/victim";
  const struct {
    NSString key, path;
    std::optional<std::string> content;
  } rows[] = {
      {"a", folder_.text("a"), "bytes of a"},
      {"a b%20é?#", folder_.text("a b%20é?#"), "odd"},
      {"empty", folder_.text("empty"), ""},
      {".hidden", folder_.text(".hidden"), "hidden"},
      {"inner/deep", folder_.text("inner/deep"), "deep"},
      {"/a", folder_.text("a"), "bytes of a"},
      {"link", folder_.text("link"), "precious\n"},
      {NSString(up), folder_.text(up), "precious\n"},
      {"dangling", nullptr, {}},
      {"missing", nullptr, {}},
      {"a/b", nullptr, {}},
      {nullptr, nullptr, {}},
      // Folders are there, but cannot be read.
      {"inner", folder_.text("inner"), {}},
      {"", folder_.text(), {}},
      {"..", folder_.text(".."), {}},
      {NSString(std::string_view("a\0b", 3)), nullptr, {}},
      {NSString(std::string(300, 'x')), nullptr, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.key.str());
    EXPECT_EQ(cache()->cachePathForKey(row.key), row.path);
    const NSData data = cache()->cacheForKey(row.key);
    EXPECT_EQ(bool(data), row.content.has_value());
    EXPECT_EQ(data.view(), row.content.value_or(""));
  }
}

TEST_F(KVTDiskCacheTest, WithoutAPathThereIsNothing) {
  write("a");
  for (const NSString& path : {NSString(), NSString("")}) {
    const Ref<KVTDefaultDiskCache> cache = make<KVTDefaultDiskCache>()->initWithPath_config(path, nullptr);
    EXPECT_FALSE(cache->cacheForKey("a"));
    EXPECT_FALSE(cache->cachePathForKey("a"));
    // The working directory must not be taken for the cache.
    const fs::path before = fs::current_path();
    fs::current_path(folder_.path());
    cache->removeExpiredData();
    cache->removeAllData();
    fs::current_path(before);
    EXPECT_EQ(left(), "a");
  }
}

TEST_F(KVTDiskCacheTest, FilesThatCannotBeRead) {
  folder_.write("secret", "x");
  const Unprivileged unprivileged(folder_.path());
  fs::permissions(folder_.path() / "secret", fs::perms::none);
  EXPECT_EQ(cache()->cachePathForKey("secret"), folder_.text("secret"));
  EXPECT_FALSE(cache()->cacheForKey("secret"));
}

// ---- expiry by age --------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, DaysZeroTakesEverythingThatIsNotOfTheFuture) {
  fs::create_directories(folder_.path() / "inner/.hidden");
  for (const std::int64_t type : {kAccessed, kModified, kCreated}) {
    write("old", 1, 400, 500);
    write("fresh", 1, 0, 0);
    write("inner/deep");
    write("inner/.hidden/x");
    write(".dot");
    cache(type)->removeExpiredData();
    EXPECT_EQ(left(), ".dot inner inner/.hidden inner/.hidden/x") << "hidden files and folders stay";
  }
  write("read tomorrow", 1, -1, 1);
  write("written tomorrow", 1, 1, -1);
  const Ref<KVTDefaultDiskCache> byAccess = cache(kAccessed), byModification = cache(kModified);
  byAccess->removeExpiredData();
  EXPECT_EQ(left(), ".dot inner inner/.hidden inner/.hidden/x read tomorrow");
  byModification->removeExpiredData();
  EXPECT_EQ(left(), ".dot inner inner/.hidden inner/.hidden/x");
}

TEST_F(KVTDiskCacheTest, AnyOtherNumberOfDaysTakesNothing) {
  write("ancient", 1, 10'000, 10'000);
  write("fresh", 1, 0, 0);
  for (const std::uint64_t days : {std::uint64_t{1}, std::uint64_t{7}, UINT64_MAX}) {
    for (const std::int64_t type : {kAccessed, kModified, kCreated}) cache(type, 0, days)->removeExpiredData();
  }
  EXPECT_EQ(left(), "ancient fresh");
}

TEST_F(KVTDiskCacheTest, WithoutAConfigEverythingCountsAsZero) {
  write("a");
  make<KVTDefaultDiskCache>()->initWithPath_config(folder_.text(), nullptr)->removeExpiredData();
  EXPECT_EQ(left(), "");
}

TEST_F(KVTDiskCacheTest, OtherExpireTypesRaise) {
  write("a");
  for (const std::int64_t type : {std::int64_t{3}, std::int64_t{-1}, INT64_MAX, INT64_MIN}) {
    EXPECT_EQ(raisedName([&] {
                cache(type)->removeExpiredData();
                return 0;
              }),
              "NSInvalidArgumentException");
    // Even where there is nothing to remove.
    EXPECT_EQ(raisedName([&] {
                make<KVTDefaultDiskCache>()->initWithPath_config(nullptr, configOf(type, 0, 0))->removeExpiredData();
                return 0;
              }),
              "NSInvalidArgumentException");
  }
  EXPECT_EQ(left(), "a");
}

// ---- the limit ------------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, TheOldestGoUntilLessThanHalfIsLeft) {
  struct File {
    const char* name;
    std::size_t units;
    int accessed, modified;
  };
  const struct {
    const char* what;
    std::vector<File> files;
    std::int64_t type;
    std::uint64_t limit;  // units
    const char* left;
  } rows[] = {
      {"100 against 60: half of 100 is the target",
       {{"a", 40, 4, 4}, {"b", 30, 3, 3}, {"c", 20, 2, 2}, {"d", 10, 1, 1}},
       kModified,
       60,
       "c d"},
      {"exactly half is not below it", {{"a", 50, 4, 4}, {"b", 40, 3, 3}, {"c", 10, 2, 2}}, kModified, 99, "c"},
      {"exactly the limit", {{"a", 30, 4, 4}, {"b", 30, 3, 3}}, kModified, 60, "a b"},
      {"no limit", {{"a", 30, 4, 4}, {"b", 30, 3, 3}}, kModified, 0, "a b"},
      {"a limit far above", {{"a", 30, 4, 4}}, kModified, 1u << 30, "a"},
      {"by reading", {{"a", 10, 1, 9}, {"b", 10, 9, 1}, {"c", 10, 5, 5}}, kAccessed, 20, "a"},
      {"by writing", {{"a", 10, 1, 9}, {"b", 10, 9, 1}, {"c", 10, 5, 5}}, kModified, 20, "b"},
      {"half of what is there, though the limit is small",
       {{"a", 10, 3, 3}, {"b", 10, 2, 2}, {"c", 10, 1, 1}},
       kModified,
       1,
       "c"},
      {"one file goes alone", {{"a", 10, 3, 3}}, kModified, 9, ""},
      {"files of the future are the youngest",
       {{"a", 10, -5, -5}, {"b", 10, 5, 5}, {"c", 10, 0, 0}},
       kModified,
       20,
       "a"},
      {"before 1970", {{"a", 10, 30'000, 30'000}, {"b", 10, 25'000, 25'000}, {"c", 10, 1, 1}}, kModified, 20, "c"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (const File& file : row.files) {
      write(file.name, file.units, file.accessed, file.modified);
      ASSERT_EQ(allocated(file.name), file.units * kUnit) << "files take whole blocks here";
    }
    cache(row.type, row.limit * kUnit, 7)->removeExpiredData();
    EXPECT_EQ(left(), row.left);
    cache()->removeAllData();
  }
}

TEST_F(KVTDiskCacheTest, ExpiredFilesDoNotCount) {
  write("future", 10, 1, -3);
  write("later future", 10, 1, -2);
  write("past", 100, 1, 3);
  cache(kModified, 25 * kUnit, 0)->removeExpiredData();
  EXPECT_EQ(left(), "future later future") << "20 units are left, which the limit allows";
  write("past", 100, 1, 3);
  cache(kModified, 15 * kUnit, 0)->removeExpiredData();
  EXPECT_EQ(left(), "") << "10 of 20 is not below half";
}

TEST_F(KVTDiskCacheTest, WhatFilesTakeCountsAndNotTheirLength) {
  folder_.write("hole", "x");
  ASSERT_EQ(::truncate((folder_.path() / "hole").c_str(), 100'000'000), 0);
  folder_.write("short", "x");
  cache(kModified, 50'000'000, 7)->removeExpiredData();
  EXPECT_EQ(left(), "hole short");
  cache(kModified, allocated("hole"), 7)->removeExpiredData();
  EXPECT_EQ(left(), "") << "the short one takes a block";
}

TEST_F(KVTDiskCacheTest, FilesInFoldersBelowCountAndGo) {
  fs::create_directories(folder_.path() / "x/y");
  write("x/y/old", 10, 9, 9);
  write("x/new", 10, 2, 2);
  write("newest", 10, 1, 1);
  write(".hidden", 100, 20, 20);
  cache(kModified, 25 * kUnit, 7)->removeExpiredData();
  EXPECT_EQ(left(), ".hidden newest x x/y");
}

TEST_F(KVTDiskCacheTest, WhatCannotBeRemovedIsPassedOver) {
  fs::create_directories(folder_.path() / "locked");
  fs::create_directories(folder_.path() / "unreadable");
  write("locked/oldest", 40, 9, 9);
  write("unreadable/x", 1000, 8, 8);
  write("b", 30, 3, 3);
  write("c", 20, 2, 2);
  write("d", 10, 1, 1);
  const Unprivileged unprivileged(folder_.path());
  fs::permissions(folder_.path() / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  fs::permissions(folder_.path() / "unreadable", fs::perms::none);
  // The 40 stay and count; the 30 and the 20 have to go until less than 50 are left.
  cache(kModified, 60 * kUnit, 7)->removeExpiredData();
  fs::permissions(folder_.path() / "unreadable", fs::perms::owner_all);
  EXPECT_EQ(left(), "locked locked/oldest unreadable unreadable/x");
  cache(kModified, 0, 0)->removeExpiredData();
  EXPECT_EQ(left(), "locked locked/oldest unreadable");
  fs::permissions(folder_.path() / "locked", fs::perms::owner_all);
}

// ---- links ----------------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, LinksAreFilesOfTheirOwn) {
  fs::create_symlink(outside_.path() / "victim", folder_.path() / "to file");
  fs::create_directory_symlink(outside_.path(), folder_.path() / "to folder");
  fs::create_directory_symlink(".", folder_.path() / "circle");
  date("to folder", 9, 9);
  write("a");
  cache(kModified, 1, 7)->removeExpiredData();
  expectOutsideUntouched();
  EXPECT_FALSE(fs::exists(folder_.path() / "a"));
  cache()->removeExpiredData();
  EXPECT_EQ(left(), "");
  expectOutsideUntouched();

  fs::create_directory_symlink(outside_.path(), folder_.path() / "to folder");
  cache()->removeAllData();
  EXPECT_EQ(left(), "");
  expectOutsideUntouched();
}

TEST_F(KVTDiskCacheTest, AFolderThatIsALinkIsRead) {
  write("a");
  const fs::path link = outside_.path() / "link";
  fs::create_directory_symlink(folder_.path(), link);
  const Ref<KVTDefaultDiskCache> cache =
      make<KVTDefaultDiskCache>()->initWithPath_config(NSString(link.string()), nullptr);
  EXPECT_EQ(cache->cacheForKey("a").length(), kUnit);
  cache->removeExpiredData();
  EXPECT_EQ(left(), "");
  EXPECT_TRUE(fs::is_symlink(link));
  write("a");
  cache->removeAllData();
  EXPECT_FALSE(fs::is_symlink(link)) << "a folder has taken its place";
  EXPECT_TRUE(fs::is_directory(link));
  EXPECT_EQ(left(), "a");
  fs::remove_all(link);
}

TEST_F(KVTDiskCacheTest, PathsOfAllShapes) {
  const std::string plain = folder_.path().string();
  const fs::path before = fs::current_path();
  fs::current_path(folder_.path().parent_path());
  for (const std::string& path :
       {plain + "/", plain + "//", "/" + plain, plain + "/inner/..", folder_.path().filename().string(),
        "./" + folder_.path().filename().string() + "/"}) {
    SCOPED_TRACE(path);
    fs::create_directories(folder_.path() / "inner");
    write("a;b %41");
    write("inner/c");
    make<KVTDefaultDiskCache>()->initWithPath_config(NSString(path), nullptr)->removeExpiredData();
    EXPECT_EQ(left(), "inner");
  }
  fs::current_path(before);
}

TEST_F(KVTDiskCacheTest, NamesThatAreNoText) {
  folder_.write("\xFF\xFE", "x");
  folder_.write("%FF", "x");
  cache()->removeExpiredData();
  EXPECT_EQ(left(), "");
}

// ---- everything -----------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, RemoveAllDataLeavesANewFolder) {
  fs::create_directories(folder_.path() / "x/.y/z");
  write("a");
  write(".hidden");
  write("x/.y/z/deep");
  fs::permissions(folder_.path(), fs::perms::owner_all);
  cache()->removeAllData();
  EXPECT_EQ(left(), "");
  const mode_t mask = ::umask(0);
  ::umask(mask);
  EXPECT_EQ(static_cast<mode_t>(fs::status(folder_.path()).permissions()), 0777 & ~mask);
  fs::remove(folder_.path());
  cache()->removeAllData();
  EXPECT_TRUE(fs::is_directory(folder_.path())) << "made where there was none";
  const Ref<KVTDefaultDiskCache> deep =
      make<KVTDefaultDiskCache>()->initWithPath_config(folder_.text("p/q/r"), nullptr);
  deep->removeAllData();
  EXPECT_EQ(left(), "p p/q p/q/r");
  folder_.write("file", "x");
  make<KVTDefaultDiskCache>()->initWithPath_config(folder_.text("file"), nullptr)->removeAllData();
  EXPECT_TRUE(fs::is_directory(folder_.path() / "file"));
}

// ---- what is decided by dates that no test can set ------------------------------------------------------------------

NSURL fileURL(const char* name) { return NSURL::fileURLWithPath_isDirectory(NSString("/cache/") + name, false); }

struct Values {
  const char* name;
  double created;  // negative: none
  std::uint64_t allocated;
};

std::string evicted(const std::vector<Values>& files, std::uint64_t limit, const std::string& resisting = "",
                    const NSDate& expiry = nullptr) {
  DiskCacheSweep sweep(NSURLCreationDateKey, expiry);
  for (const Values& file : files) {
    const NSMutableDictionary values{{NSURLIsDirectoryKey, false}, {NSURLTotalFileAllocatedSizeKey, file.allocated}};
    if (file.created >= 0) {
      values.setObject_forKey(NSDate::dateWithTimeIntervalSince1970(file.created), NSURLCreationDateKey);
    }
    sweep.add(fileURL(file.name), values);
  }
  std::string text;
  for (const NSURL& url : sweep.expired()) text += url.lastPathComponent().str() + "! ";
  sweep.evict(limit, [&](const NSURL& url) {
    const std::string name = url.lastPathComponent().str();
    const bool goes = resisting.find(name) == std::string::npos;
    text += (goes ? "" : "-") + name + " ";
    return goes;
  });
  return text + std::to_string(sweep.total());
}

TEST_F(KVTDiskCacheTest, CreationDates) {
  EXPECT_EQ(evicted({{"d", 4, 10}, {"a", 1, 40}, {"c", 3, 20}, {"b", 2, 30}}, 60), "a b 30");
  EXPECT_EQ(evicted({{"d", 4, 10}, {"a", 1, 40}, {"c", 3, 20}, {"b", 2, 30}}, 100), "100");
  EXPECT_EQ(evicted({{"a", 1, 40}, {"b", 2, 30}, {"c", 3, 20}, {"d", 4, 10}}, 60, "a"), "-a b c d 40");
  // Odd totals: half of 7 is 3, and 3 is not below it.
  EXPECT_EQ(evicted({{"a", 1, 4}, {"b", 2, 3}}, 5), "a b 0");
  // Of equal dates the order is the walk's.
  EXPECT_EQ(evicted({{"x", 1, 10}, {"a", 1, 10}, {"m", 1, 10}}, 5), "x a 10");
  EXPECT_EQ(evicted({}, 5), "0");
}

TEST_F(KVTDiskCacheTest, FilesWithoutACreationDate) {
  const NSDate expiry = NSDate::dateWithTimeIntervalSince1970(100);
  EXPECT_EQ(evicted({{"none", -1, 10}, {"old", 5, 10}, {"now", 100, 10}, {"new", 100.5, 10}}, 0, "", expiry),
            "old! now! 20");
  EXPECT_EQ(evicted({{"none", -1, 10}, {"b", 2, 10}, {"a", 1, 10}}, 5), "a b 10") << "they go last";
  EXPECT_EQ(evicted({{"x", -1, 10}, {"b", -1, 10}, {"a", -1, 10}}, 5), "x b 10") << "in the walk's order";
}

TEST_F(KVTDiskCacheTest, ValuesThatAreMissing) {
  DiskCacheSweep sweep(NSURLCreationDateKey, NSDate::date());
  sweep.add(fileURL("a"), nullptr);
  sweep.add(fileURL("b"), NSDictionary{{NSURLIsDirectoryKey, true}, {NSURLTotalFileAllocatedSizeKey, 10}});
  EXPECT_EQ(sweep.total(), 0u);
  sweep.add(fileURL("c"), NSDictionary{{NSURLCreationDateKey, NSDate::distantFuture()}});
  EXPECT_TRUE(sweep.expired().empty());
  EXPECT_EQ(sweep.total(), 0u);
}

TEST_F(KVTDiskCacheTest, RealCreationDatesAreInOrder) {
  // Made one after the other until the file system's clock has gone on.
  const auto created = [&](const char* name) {
    id date;
    EXPECT_TRUE(
        NSURL::fileURLWithPath(folder_.text(name)).getResourceValue_forKey_error(&date, NSURLCreationDateKey, nullptr));
    return date.as<NSDate>();
  };
  write("first", 10);
  if (!created("first")) GTEST_SKIP() << "this file system keeps no creation dates";
  for (const auto& [before, name] : {std::pair{"first", "second"}, {"second", "third"}}) {
    do write(name, 10);
    while (created(name).compare(created(before)) != NSOrderedDescending && fs::remove(folder_.path() / name));
  }
  date("first", -10, -10);
  date("third", 10, 10);
  cache(kCreated, 25 * kUnit, 7)->removeExpiredData();
  EXPECT_EQ(left(), "third");
}

// ---- many -----------------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, AHundredThousandFiles) {
  constexpr int kFiles = 100'000;
  const int folder = ::open(folder_.path().c_str(), O_PATH | O_DIRECTORY);
  const std::time_t now = ::time(nullptr);
  for (int i = 0; i < kFiles; ++i) {
    const std::string name = "file " + std::to_string(i);
    const int file = ::openat(folder, name.c_str(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    // One in ten takes a block.
    if (i % 10 == 0) {
      ASSERT_EQ(::write(file, "x", 1), 1);
    }
    const timespec times[2] = {{now, 0}, {now - 200'000 + i, 0}};
    ::futimens(file, times);
    ::close(file);
  }
  ::close(folder);
  const auto seconds = [](const auto& work) {
    timespec before{}, after{};
    ::clock_gettime(CLOCK_MONOTONIC, &before);
    work();
    ::clock_gettime(CLOCK_MONOTONIC, &after);
    return std::to_string(static_cast<double>(after.tv_sec - before.tv_sec) +
                          static_cast<double>(after.tv_nsec - before.tv_nsec) / 1e9);
  };
  RecordProperty("looking", seconds([&] { cache(kModified, 1ull << 40, 7)->removeExpiredData(); }));
  ASSERT_EQ(folder_.names().size(), kFiles);
  RecordProperty("half", seconds([&] { cache(kModified, kUnit, 7)->removeExpiredData(); }));
  const std::vector<std::string> names = folder_.names();
  EXPECT_LE(names.size(), kFiles / 2u);
  EXPECT_GT(names.size(), kFiles / 2u - 25);
  for (int i = kFiles - static_cast<int>(names.size()); i < kFiles; ++i) {
    ASSERT_TRUE(std::binary_search(names.begin(), names.end(), "file " + std::to_string(i))) << "the youngest stay";
  }
  RecordProperty("all", seconds([&] { cache(kModified, 0, 0)->removeExpiredData(); }));
  EXPECT_EQ(left(), "");
}

// ---- log lines ------------------------------------------------------------------------------------------------------

TEST_F(KVTDiskCacheTest, LogLines) {
  write("a");
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  const struct {
    const char* what;
    std::function<void()> call;
    const char* expected;
  } rows[] = {
      {"found", [&] { cache()->cacheForKey("a"); }, "disk cache:get cache file|disk cache:get cache success"},
      {"not found", [&] { cache()->cacheForKey("b"); }, "disk cache:get cache file"},
      {"path", [&] { cache()->cachePathForKey("a"); }, ""},
      {"all", [&] { cache()->removeAllData(); }, ""},
      {"expired", [&] { cache()->removeExpiredData(); }, "disk cache: remove expire date file"},
  };
  std::string text;
  for (const auto& row : rows) {
    row.call();
    DDLog::flushLog();
    if (*row.expected != '\0') text += (text.empty() ? "" : "|") + std::string(row.expected);
    EXPECT_EQ(logger->text(), text) << row.what;
  }
  EXPECT_EQ(logger->lastMessage()->flag(), DDLogFlagInfo);
  EXPECT_EQ(logger->lastMessage()->context(), 0x700000);
  DDLog::removeAllLoggers();
}

}  // namespace
}  // namespace kvt
