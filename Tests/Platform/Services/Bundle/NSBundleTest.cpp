#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Bundle/NSBundle.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace kvt {
namespace {

namespace fs = std::filesystem;

class NSBundleTest : public ::testing::Test {
 protected:
  NSBundleTest() {
    std::string name = ::testing::TempDir() + "kvt_bundleXXXXXX";
    folder_ = ::mkdtemp(name.data());
  }
  ~NSBundleTest() override {
    NSBundle::setMainBundlePath(nullptr);
    fs::remove_all(folder_);
  }
  void write(const fs::path& name) {
    fs::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << "x";
  }
  NSString path(const fs::path& name = {}) const {
    return NSString(name.empty() ? folder_.string() : (folder_ / name).string());
  }
  NSBundle bundle() const { return NSBundle::bundleWithPath(path()); }

  fs::path folder_;
};

TEST_F(NSBundleTest, TheMainBundleIsTheExecutablesFolder) {
  const fs::path executable = fs::read_symlink("/proc/self/exe");
  const NSBundle main = NSBundle::mainBundle();
  EXPECT_EQ(main.bundlePath(), NSString(executable.parent_path().string()));
  EXPECT_TRUE(isIdentical(main, NSBundle::mainBundle()));
  const NSString name = executable.filename().string();
  EXPECT_EQ(main.pathForResource_ofType(name, nullptr), NSString(executable.string()));
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(classOf<NSBundle>(), "mainBundle"), main));
}

TEST_F(NSBundleTest, ResourcesAreLookedForInOrder) {
  write("Resources/both.txt");
  write("both.txt");
  write("alone.txt");
  write("Resources/noextension");
  write("Resources/zh-Hans.lproj/Localizable.strings");
  const struct {
    NSString name, type, expected;
  } rows[] = {
      {"both.txt", nullptr, path("Resources/both.txt")},
      {"both.txt", "", path("Resources/both.txt")},
      {"both", "txt", path("Resources/both.txt")},
      {"alone", "txt", path("alone.txt")},
      {"noextension", "", path("Resources/noextension")},
      {"noextension", "txt", nullptr},
      {"both", "", nullptr},
      {"both", "TXT", nullptr},
      {"zh-Hans", "lproj", path("Resources/zh-Hans.lproj")},
      {"zh-Hans.lproj/Localizable", "strings", path("Resources/zh-Hans.lproj/Localizable.strings")},
      {"missing", "txt", nullptr},
      {"", "txt", nullptr},
      {"", "", nullptr},
      {nullptr, "txt", nullptr},
      {std::u16string{0xD800}, nullptr, nullptr},
      {std::string("alone.txt\0", 10), nullptr, nullptr},
      {"alone", std::string("txt\0", 4), nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.name) + "." + ::testing::PrintToString(row.type));
    EXPECT_EQ(bundle().pathForResource_ofType(row.name, row.type), row.expected);
    EXPECT_EQ(objc_msgSend<NSString>(bundle(), "pathForResource:ofType:", row.name, row.type), row.expected);
  }
}

TEST_F(NSBundleTest, Paths) {
  EXPECT_EQ(bundle().bundlePath(), path());
  EXPECT_EQ(NSBundle::bundleWithPath(path() + "//").bundlePath(), path());
  EXPECT_EQ(NSBundle::bundleWithPath("/").bundlePath(), "/");
  EXPECT_EQ(NSBundle::bundleWithPath("/").pathForResource_ofType("proc", nullptr), "/proc");
  EXPECT_EQ(bundle().resourcePath(), path()) << "without a folder for them";
  fs::create_directory(folder_ / "Resources");
  EXPECT_EQ(bundle().resourcePath(), path("Resources"));
  write("file");
  for (const NSString& none : {path("missing"), path("file"), NSString(""), NSString(), NSString(u"\xD800")}) {
    EXPECT_FALSE(NSBundle::bundleWithPath(none)) << none;
  }
}

TEST_F(NSBundleTest, AnotherMainBundle) {
  write("Resources/here.txt");
  write("file");
  const NSBundle before = NSBundle::mainBundle();
  const NSString beforePath = before.bundlePath();
  EXPECT_FALSE(NSBundle::setMainBundlePath(path("missing")));
  EXPECT_FALSE(NSBundle::setMainBundlePath(path("file")));
  EXPECT_TRUE(isIdentical(NSBundle::mainBundle(), before));
  EXPECT_TRUE(NSBundle::setMainBundlePath(path()));
  EXPECT_EQ(NSBundle::mainBundle().pathForResource_ofType("here", "txt"), path("Resources/here.txt"));
  EXPECT_EQ(before.bundlePath(), beforePath) << "whoever holds a bundle keeps it";
  EXPECT_TRUE(NSBundle::setMainBundlePath(nullptr));
  EXPECT_EQ(NSBundle::mainBundle().bundlePath(), beforePath);
}

TEST_F(NSBundleTest, AnInstallationsShareFolder) {
  // Beside the folder of the executable, as in PREFIX/bin and PREFIX/share.
  const fs::path executable = fs::read_symlink("/proc/self/exe");
  const fs::path share = executable.parent_path() / "../share" / executable.filename();
  const bool wasThere = fs::exists(executable.parent_path() / "../share");
  fs::create_directories(share);
  std::ofstream(share / "kvt_bundle_test_resource") << "x";
  const NSString found = NSBundle::mainBundle().pathForResource_ofType("kvt_bundle_test_resource", nullptr);
  fs::remove_all(wasThere ? share : executable.parent_path() / "../share");
  EXPECT_EQ(found, NSString((share / "kvt_bundle_test_resource").string()));
  EXPECT_FALSE(NSBundle::mainBundle().pathForResource_ofType("kvt_bundle_test_resource", nullptr));
}

TEST_F(NSBundleTest, Nil) {
  const NSBundle nil;
  EXPECT_FALSE(nil.bundlePath());
  EXPECT_FALSE(nil.resourcePath());
  EXPECT_FALSE(nil.pathForResource_ofType("x", "y"));
}

TEST_F(NSBundleTest, AsAnObject) {
  const id object = bundle();
  EXPECT_TRUE(object.is<NSBundle>());
  EXPECT_FALSE(id(NSNumber(1)).is<NSBundle>());
  EXPECT_FALSE(id(classOf<NSBundle>()).is<NSBundle>());
  EXPECT_EQ(object.description(), NSString("NSBundle <") + path() + ">");
  EXPECT_EQ(class_createInstance(classOf<NSBundle>()), nullptr) << "made of a path alone";
}

TEST_F(NSBundleTest, ThreadsSetAndReadIt) {
  fs::create_directory(folder_ / "a");
  fs::create_directory(folder_ / "b");
  const NSString own = NSBundle::mainBundle().bundlePath();
  std::vector<std::thread> threads;
  std::atomic<int> mistakes = 0;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        if (t % 2 == 0) {
          NSBundle::setMainBundlePath(path(i % 2 == 0 ? "a" : "b"));
        } else {
          const NSString seen = NSBundle::mainBundle().bundlePath();
          mistakes += seen != own && seen != path("a") && seen != path("b");
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(mistakes, 0);
}

}  // namespace
}  // namespace kvt
