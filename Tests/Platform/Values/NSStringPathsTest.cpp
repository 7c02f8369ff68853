#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvt {
namespace {

TEST(NSStringPathsTest, TakesPathsApart) {
  const struct {
    NSString path, last, extension, withoutLast, withoutExtension;
    bool isAbsolute;
  } rows[] = {
      {"/tmp/scratch.tiff", "scratch.tiff", "tiff", "/tmp", "/tmp/scratch", true},
      {"/tmp/scratch", "scratch", "", "/tmp", "/tmp/scratch", true},
      {"/tmp/", "tmp", "", "/", "/tmp", true},
      {"/tmp", "tmp", "", "/", "/tmp", true},
      {"/", "/", "", "/", "/", true},
      {"", "", "", "", "", false},
      {"scratch.tiff", "scratch.tiff", "tiff", "", "scratch", false},
      {"scratch///", "scratch", "", "", "scratch", false},
      {"/tmp/lock/", "lock", "", "/tmp", "/tmp/lock", true},
      {"/tmp/scratch..tiff", "scratch..tiff", "tiff", "/tmp", "/tmp/scratch.", true},
      {".hidden", ".hidden", "", "", ".hidden", false},
      {".hidden.txt", ".hidden.txt", "txt", "", ".hidden", false},
      {"a/.b", ".b", "", "a", "a/.b", false},
      {"name.", "name.", "", "", "name", false},
      {"scratch.bundle/", "scratch.bundle", "bundle", "", "scratch", false},
      {"/a.b/c", "c", "", "/a.b", "/a.b/c", true},
      {"a//b", "b", "", "a", "a/b", false},
      {"//a", "a", "", "/", "/a", true},
      {"~/x.tar.gz", "x.tar.gz", "gz", "~", "~/x.tar", true},
      {"会议/文件.txt", "文件.txt", "txt", "会议", "会议/文件", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path.str());
    EXPECT_EQ(row.path.lastPathComponent(), row.last);
    EXPECT_EQ(row.path.pathExtension(), row.extension);
    EXPECT_EQ(row.path.stringByDeletingLastPathComponent(), row.withoutLast);
    EXPECT_EQ(row.path.stringByDeletingPathExtension(), row.withoutExtension);
    EXPECT_EQ(row.path.isAbsolutePath(), row.isAbsolute);
  }
}

TEST(NSStringPathsTest, PutsPathsTogether) {
  const struct {
    NSString path, name, appended;
  } components[] = {
      {"/tmp", "scratch.tiff", "/tmp/scratch.tiff"},
      {"/tmp/", "scratch.tiff", "/tmp/scratch.tiff"},
      {"/", "scratch.tiff", "/scratch.tiff"},
      {"", "scratch.tiff", "scratch.tiff"},
      {"/tmp", "/a/", "/tmp/a"},
      {"/tmp//x", "b//c", "/tmp/x/b/c"},
      {"/tmp/", "", "/tmp"},
      {"", "", ""},
      {"会议", "文件", "会议/文件"},
  };
  for (const auto& row : components) {
    SCOPED_TRACE(row.path.str() + " " + row.name.str());
    EXPECT_EQ(row.path.stringByAppendingPathComponent(row.name), row.appended);
  }
  const struct {
    NSString path, extension, appended;
  } extensions[] = {
      {"/tmp/scratch.old", "tiff", "/tmp/scratch.old.tiff"},
      {"/tmp/scratch.", "tiff", "/tmp/scratch..tiff"},
      {"/tmp/", "tiff", "/tmp.tiff"},
      {"scratch", "tiff", "scratch.tiff"},
      {"/", "tiff", "/"},
      {"", "tiff", ""},
  };
  for (const auto& row : extensions) {
    SCOPED_TRACE(row.path.str());
    EXPECT_EQ(row.path.stringByAppendingPathExtension(row.extension), row.appended);
  }
  using Parts = std::vector<std::string>;
  const struct {
    NSString path;
    Parts parts;
    NSString together;
  } parts[] = {
      {"/tmp/scratch", {"/", "tmp", "scratch"}, "/tmp/scratch"},
      {"tmp/scratch", {"tmp", "scratch"}, "tmp/scratch"},
      {"/a//b/", {"/", "a", "b", "/"}, "/a/b"},
      {"/", {"/"}, "/"},
      {"//", {"/"}, "/"},
      {"", {}, ""},
      {"a", {"a"}, "a"},
  };
  for (const auto& row : parts) {
    SCOPED_TRACE(row.path.str());
    EXPECT_EQ(row.path.pathComponents().toVector<std::string>(), row.parts);
    EXPECT_EQ(NSString::pathWithComponents(row.path.pathComponents()), row.together);
  }
}

class Home {
 public:
  explicit Home(const char* path) : before_(::getenv("HOME") != nullptr ? ::getenv("HOME") : "") {
    ::setenv("HOME", path, 1);
  }
  ~Home() { ::setenv("HOME", before_.c_str(), 1); }

 private:
  std::string before_;
};

TEST(NSStringPathsTest, ExpandsTilde) {
  const Home home("/home/someone");
  const std::string root = ::getpwnam("root")->pw_dir;
  const struct {
    NSString path, expanded, abbreviated;
  } rows[] = {
      {"~", "/home/someone", "~"},
      {"~/", "/home/someone", "~"},
      {"~/a/b", "/home/someone/a/b", "~/a/b"},
      {"/home/someone", "/home/someone", "~"},
      {"/home/someone/x", "/home/someone/x", "~/x"},
      {"/home/someoneelse", "/home/someoneelse", "/home/someoneelse"},
      {"a/~", "a/~", "a/~"},
      {"", "", ""},
      {"~nobody-has-this-name/x", "~nobody-has-this-name/x", "~nobody-has-this-name/x"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path.str());
    EXPECT_EQ(row.path.stringByExpandingTildeInPath(), row.expanded);
    if (row.path.hasPrefix("~")) {
      EXPECT_EQ(row.expanded.stringByAbbreviatingWithTildeInPath(), row.abbreviated);
    } else {
      EXPECT_EQ(row.path.stringByAbbreviatingWithTildeInPath(), row.abbreviated);
    }
  }
  EXPECT_EQ(NSString("~root/x").stringByExpandingTildeInPath(), root + "/x");
}

TEST(NSStringPathsTest, Standardizes) {
  char name[] = "/tmp/kvt-paths-XXXXXX";
  ASSERT_NE(::mkdtemp(name), nullptr);
  const std::string folder = name;
  ASSERT_EQ(::mkdir((folder + "/real").c_str(), 0700), 0);
  ASSERT_EQ(::mkdir((folder + "/real/inner").c_str(), 0700), 0);
  ASSERT_EQ(::symlink("real/inner", (folder + "/link").c_str()), 0);
  const Home home("/home/someone");
  const struct {
    std::string path, standard, resolved;
  } rows[] = {
      {"/a//b/./c/", "/a/b/c", "/a/b/c"},
      {"/no-such/x/../y", "/no-such/y", "/no-such/y"},
      {"/..", "/", "/"},
      {"/../..", "/", "/"},
      {"a/../b", "a/../b", "a/../b"},
      {"./a", "a", "a"},
      {".", ".", "."},
      {"", "", ""},
      {"~/x", "/home/someone/x", "/home/someone/x"},
      {folder + "/link/../x", folder + "/real/x", folder + "/real/x"},
      {folder + "/link", folder + "/link", folder + "/real/inner"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.path);
    EXPECT_EQ(NSString(row.path).stringByStandardizingPath(), row.standard);
    EXPECT_EQ(NSString(row.path).stringByResolvingSymlinksInPath(), row.resolved);
  }
  ::unlink((folder + "/link").c_str());
  ::rmdir((folder + "/real/inner").c_str());
  ::rmdir((folder + "/real").c_str());
  ::rmdir(folder.c_str());
}

}  // namespace
}  // namespace kvt
