// Processes that are killed while they remove: what they leave must be whole, and nothing else touched.
#include <KVTFoundation/Cache/KVTDiskCache.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <set>

#include "KillRuns.h"
#include "ScratchFolder.h"

extern char** environ;

namespace kvt {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "KVT_KILL_TEST_FOLDER";
constexpr const char* kWhat = "KVT_KILL_TEST_WHAT";
constexpr int kFiles = 300;

/// What a process does until it is killed.
enum class Removal { kOldest, kExpired, kAll };
void PrintTo(Removal what, std::ostream* out) {
  *out << (what == Removal::kOldest ? "oldest" : what == Removal::kExpired ? "expired" : "all");
}

Ref<KVTDefaultDiskCache> cacheIn(const NSString& folder, Removal what) {
  const Ref<KVTDiskCacheConfig> config = make<KVTDiskCacheConfig>();
  config->diskCacheExpireType = 1;
  config->maxDiskSize = what == Removal::kOldest ? 1 : 0;
  config->maxStorageDays = what == Removal::kOldest ? 7 : 0;
  return make<KVTDefaultDiskCache>()->initWithPath_config(folder, config);
}

void perform(const NSString& folder, Removal what) {
  const Ref<KVTDefaultDiskCache> cache = cacheIn(folder, what);
  if (what == Removal::kAll)
    cache->removeAllData();
  else
    cache->removeExpiredData();
}

TEST(KVTDiskCacheKillTest, DISABLED_Process) {
  const char* folder = std::getenv(kFolder);
  if (folder == nullptr) GTEST_SKIP() << "part of the other tests";
  perform(folder, static_cast<Removal>(std::atoi(std::getenv(kWhat))));
}

/// The cache lies beside something that is none of its business.
class KVTDiskCacheKillTest : public ::testing::TestWithParam<std::vector<Removal>> {
 protected:
  KVTDiskCacheKillTest() {
    scratch_.write("sibling", "precious\n");
    outside_.write("victim", "precious\n");
    fs::create_directory(outside_.path() / "folder");
    outside_.write("folder/second", "precious\n");
  }

  fs::path cache() const { return scratch_.path() / "cache"; }
  static std::string nameOf(int number) {
    char name[16];
    std::snprintf(name, sizeof name, "%03d", number);
    return name;
  }
  static std::string contentOf(int number) { return "the whole content of file " + nameOf(number) + "\n"; }

  /// Files whose dates rise with their numbers, folders, hidden ones, and links that lead out.
  void fill() const {
    fs::create_directories(cache() / "inner/deep");
    fs::create_directories(cache() / ".hidden");
    for (const char* name : {"inner/deep/.keep", ".hidden/keep"})
      scratch_.write(std::string("cache/") + name, "kept\n");
    for (const char* name : {"link", "inner/link"}) {
      if (!fs::is_symlink(cache() / name)) fs::create_directory_symlink(outside_.path(), cache() / name);
      const timespec future[2] = {{::time(nullptr) + 1'000'000, 0}, {::time(nullptr) + 1'000'000, 0}};
      ASSERT_EQ(::utimensat(AT_FDCWD, (cache() / name).c_str(), future, AT_SYMLINK_NOFOLLOW), 0);
    }
    for (int i = 0; i < kFiles; ++i) {
      const int number = i * 7919 % kFiles;
      const fs::path path = fileOf(number);
      if (fs::exists(path)) continue;
      std::ofstream(path) << contentOf(number);
      const timespec times[2] = {{1'000'000'000 + number, 0}, {1'000'000'000 + number, 0}};
      ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
  }
  /// Every tenth lies further in.
  fs::path fileOf(int number) const { return cache() / (number % 10 == 0 ? "inner/deep" : "") / nameOf(number); }

  /// Starts that process and kills it after so many removals. Whether it was still at work.
  bool runAndKill(Removal what, int removals) const {
    const int watch = ::inotify_init1(IN_CLOEXEC);
    EXPECT_GE(::inotify_add_watch(watch, cache().c_str(), IN_DELETE | IN_DELETE_SELF), 0);
    std::vector<std::string> environment = {kFolder + ("=" + cache().string()),
                                            kWhat + ("=" + std::to_string(static_cast<int>(what)))};
    for (char** each = environ; *each != nullptr; ++each) environment.emplace_back(*each);
    std::vector<char*> pointers;
    for (std::string& each : environment) pointers.push_back(each.data());
    pointers.push_back(nullptr);
    char program[] = "/proc/self/exe", filter[] = "--gtest_filter=KVTDiskCacheKillTest.DISABLED_Process",
         disabled[] = "--gtest_also_run_disabled_tests", output[] = "--gtest_output=", brief[] = "--gtest_brief=1";
    char* arguments[] = {program, filter, disabled, output, brief, nullptr};
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = 0;
    EXPECT_EQ(::posix_spawn(&process, program, &actions, nullptr, arguments, pointers.data()), 0);
    ::posix_spawn_file_actions_destroy(&actions);

    alignas(inotify_event) char buffer[4096];
    for (int seen = 0; seen < removals;) {
      const ssize_t size = ::read(watch, buffer, sizeof buffer);
      if (size <= 0) break;
      for (ssize_t at = 0; at < size;) {
        const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
        seen += (event->mask & IN_DELETE) != 0 ? 1 : removals;
        at += static_cast<ssize_t>(sizeof *event + event->len);
      }
    }
    ::kill(process, SIGKILL);
    ::close(watch);
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
    return killed;
  }

  /// The numbers of the files that are left, each of them whole.
  std::set<int> left() const {
    std::set<int> numbers;
    if (!fs::exists(cache())) return numbers;
    for (int number = 0; number < kFiles; ++number) {
      if (!fs::exists(fileOf(number))) continue;
      numbers.insert(number);
      std::ostringstream text;
      text << std::ifstream(fileOf(number)).rdbuf();
      EXPECT_EQ(text.str(), contentOf(number));
    }
    return numbers;
  }
  void expectNothingElseTouched() const {
    for (const std::string& name : scratch_.names()) EXPECT_TRUE(name == "cache" || name == "sibling") << name;
    EXPECT_EQ(scratch_.read("sibling"), "precious\n");
    EXPECT_EQ(outside_.names(), (std::vector<std::string>{"folder", "victim"}));
    EXPECT_EQ(outside_.read("victim"), "precious\n");
    EXPECT_EQ(outside_.read("folder/second"), "precious\n");
  }

  ScratchFolder scratch_, outside_;
};

TEST_P(KVTDiskCacheKillTest, WhatAKilledProcessLeavesIsWhole) {
  std::minstd_rand random(7);
  int killed = 0;
  for (int run = 0; run < kKillRuns && !HasFailure(); ++run) {
    const Removal what = GetParam()[static_cast<std::size_t>(run) % GetParam().size()];
    fill();
    killed += runAndKill(what, 1 + static_cast<int>(random() % 75));
    const std::set<int> numbers = left();
    expectNothingElseTouched();
    if (what == Removal::kAll) continue;
    EXPECT_TRUE(fs::exists(cache() / "inner/deep/.keep")) << "hidden files are not touched";
    EXPECT_TRUE(fs::exists(cache() / ".hidden/keep"));
    EXPECT_TRUE(fs::is_symlink(cache() / "link") && fs::is_symlink(cache() / "inner/link"));
    if (what == Removal::kOldest && !numbers.empty()) {
      EXPECT_EQ(*numbers.rbegin(), kFiles - 1);
      EXPECT_EQ(*numbers.begin(), kFiles - static_cast<int>(numbers.size())) << "the oldest have gone, and no other";
      EXPECT_GE(numbers.size(), kFiles / 2u - 2u);
    }
  }
  EXPECT_GE(killed, kKillRuns / 2) << "too few were killed at work";
  RecordProperty("killed", killed);
  // The next removal ends what they began.
  fill();
  perform(NSString(cache().string()), GetParam().back());
  EXPECT_TRUE(left().empty());
  expectNothingElseTouched();
  EXPECT_EQ(fs::is_empty(cache()), GetParam().back() == Removal::kAll);
}

INSTANTIATE_TEST_SUITE_P(Removals, KVTDiskCacheKillTest,
                         ::testing::Values(std::vector{Removal::kOldest, Removal::kExpired},
                                           std::vector{Removal::kAll}),
                         [](const auto& row) { return row.param.size() == 1 ? "RemoveAllData" : "RemoveExpiredData"; });

}  // namespace
}  // namespace kvt
