// Processes that are killed while they log and rotate: what they leave must be whole, and nothing else touched.
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdio>
#include <map>
#include <random>
#include <regex>

#include "KillRuns.h"
#include "LoggingTestSupport.h"

extern char** environ;

namespace kvt {
namespace {

namespace fs = std::filesystem;

constexpr NSUInteger kMaximumNumber = 3;
constexpr unsigned long long kMaximumSize = 120;
constexpr const char* kFolder = "KVT_KILL_TEST_FOLDER";
constexpr const char* kRenames = "KVT_KILL_TEST_RENAMES";
constexpr const char* kRun = "KVT_KILL_TEST_RUN";

/// Files "service NNNNN.log", the next number for each new one.
class Counting : public DDLogFileManagerDefault {
 public:
  using DDLogFileManagerDefault::DDLogFileManagerDefault;
  bool isLogFile(const NSString& name) override { return name.hasPrefix("service ") && name.hasSuffix(".log"); }
  NSArray sortedLogFileInfos() override {
    return unsortedLogFileInfos().sortedArrayUsingComparator([](const id& a, const id& b) {
      return b.as<DDLogFileInfo>()->fileName().compare(a.as<DDLogFileInfo>()->fileName());
    });
  }
  NSString newLogFileName() override {
    const Ref<DDLogFileInfo> newest = sortedLogFileInfos().firstObject().as<DDLogFileInfo>();
    const NSInteger last = newest ? newest->fileName().substringFromIndex(8).integerValue() : 0;
    return NSString::stringWithFormat("service %06lld.log", last + 1);
  }
  KVT_CLASS(Counting)
};

/// One file "service.log", that is renamed to service_1.log when it is full, and so on.
class Renaming : public DDLogFileManagerDefault {
 public:
  using DDLogFileManagerDefault::DDLogFileManagerDefault;
  bool isLogFile(const NSString& name) override { return name.hasPrefix("service") && name.hasSuffix(".log"); }
  NSArray sortedLogFileInfos() override {
    // "service.log" is before "service_1.log".
    return unsortedLogFileInfos().sortedArrayUsingComparator([](const id& a, const id& b) {
      return a.as<DDLogFileInfo>()->fileName().compare(b.as<DDLogFileInfo>()->fileName());
    });
  }
  NSString createNewLogFileWithError(NSError*) override {
    std::vector<Ref<DDLogFileInfo>> infos;
    for (const id& each : sortedLogFileInfos()) infos.push_back(each.as<DDLogFileInfo>());
    if (!infos.empty() && infos[0]->fileName() == "service.log" && infos[0]->fileSize() >= kMaximumSize) {
      for (std::size_t i = infos.size(); i-- > 0;) {
        infos[i]->renameFile(NSString::stringWithFormat("service_%zu.log", i + 1));
      }
    }
    const NSString path = logsDirectory().stringByAppendingPathComponent("service.log");
    const int file = ::open(path.str().c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0640);
    if (file < 0) return nullptr;
    ::close(file);
    deleteOldLogFiles();
    return path;
  }
  KVT_CLASS(Renaming)
};

class Bare : public DDLogFormatter {
 public:
  NSString formatLogMessage(const Ref<DDLogMessage>& line) override { return line->message(); }
  KVT_CLASS(Bare)
};

Ref<DDFileLogger> loggerIn(const NSString& folder, bool renames) {
  const Ref<DDLogFileManagerDefault> manager =
      renames ? Ref<DDLogFileManagerDefault>(make<Renaming>(folder)) : make<Counting>(folder);
  manager->setMaximumNumberOfLogFiles(kMaximumNumber);
  const Ref<DDFileLogger> logger = make<DDFileLogger>(manager);
  logger->setMaximumFileSize(kMaximumSize);
  logger->setRollingFrequency(0);
  logger->setLogFormatter(make<Bare>());
  return logger;
}

/// Logs until it is killed, and writes a byte to standard output behind each line.
TEST(DDFileLoggerKillTest, DISABLED_Process) {
  const char* folder = std::getenv(kFolder);
  if (folder == nullptr) GTEST_SKIP() << "part of the other tests";
  const Ref<DDFileLogger> logger = loggerIn(folder, std::getenv(kRenames) != nullptr);
  for (int i = 0;; ++i) {
    const NSString text = NSString::stringWithFormat("run %s line %06d end", std::getenv(kRun), i);
    logger->logMessage(make<DDLogMessage>(text, 0u, 1u, 0, nullptr, nullptr, 0u));
    if (::write(STDOUT_FILENO, "\n", 1) != 1) ::_exit(1);
  }
}

/// Starts that process and kills it somewhere behind its `lines`th line.
void runAndKill(const ScratchFolder& folder, bool renames, int run, unsigned lines) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<std::string> environment = {kFolder + ("=" + folder.path().string()),
                                          kRun + ("=" + std::to_string(1000 + run))};
  if (renames) environment.push_back(std::string(kRenames) + "=1");
  for (char** each = environ; *each != nullptr; ++each) environment.emplace_back(*each);
  std::vector<char*> pointers;
  for (std::string& each : environment) pointers.push_back(each.data());
  pointers.push_back(nullptr);
  char program[] = "/proc/self/exe", filter[] = "--gtest_filter=DDFileLoggerKillTest.DISABLED_Process",
       disabled[] = "--gtest_also_run_disabled_tests", output[] = "--gtest_output=", brief[] = "--gtest_brief=1";
  char* arguments[] = {program, filter, disabled, output, brief, nullptr};
  pid_t process = 0;
  ASSERT_EQ(::posix_spawn(&process, program, &actions, nullptr, arguments, pointers.data()), 0);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  // Lines of its own come first.
  char c = 0;
  for (unsigned seen = 0; seen < lines && ::read(ends[0], &c, 1) == 1;) seen += c == '\n';
  ::kill(process, SIGKILL);
  ::close(ends[0]);
  int status = 0;
  ASSERT_EQ(::waitpid(process, &status, 0), process);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the process ended by itself: " << status;
}

class DDFileLoggerKillTest : public ::testing::TestWithParam<bool> {};

TEST_P(DDFileLoggerKillTest, WhatAKilledProcessLeavesIsWhole) {
  const bool renames = GetParam();
  ScratchFolder folder, outside;
  outside.write("victim", "precious\n");
  // Names of ours that must not be followed.
  fs::create_symlink(outside.path() / "victim", folder.path() / "service 000000.log");
  fs::create_directory_symlink(outside.path(), folder.path() / "service_0.log");
  const std::regex name(renames ? "service(_\\d+)?\\.log" : "service \\d{6}\\.log");
  const std::regex whole("run (\\d{4}) line (\\d{6}) end");
  std::minstd_rand random(7);
  unsigned halves = 0;
  std::size_t before = 0;
  for (int run = 0; run < kKillRuns && !HasFailure(); ++run) {
    runAndKill(folder, renames, run, 2 + static_cast<unsigned>(random() % 40));

    // By file, the oldest first.
    std::map<long, std::string> files;
    for (const std::string& each : folder.names()) {
      if (fs::is_symlink(folder.path() / each)) continue;
      EXPECT_TRUE(std::regex_match(each, name)) << each;
      const std::size_t digits = each.find_first_of("0123456789");
      const long number = digits == std::string::npos ? 0 : std::stol(each.substr(digits));
      files[renames ? -number : number] = each;
    }
    // Killed between making a file and deleting the oldest, it leaves one more.
    EXPECT_LE(files.size(), std::max<std::size_t>(kMaximumNumber, before) + 1);
    before = files.size();
    EXPECT_GE(files.size(), 1u);
    std::pair<int, int> last{0, 0};
    for (const auto& [number, file] : files) {
      std::istringstream text(folder.read(file));
      for (std::string line; std::getline(text, line);) {
        std::smatch parts;
        if (std::regex_match(line, parts, whole)) {
          const std::pair<int, int> place{std::stoi(parts[1]), std::stoi(parts[2])};
          EXPECT_LT(last, place) << file << ": a line is out of order, or there twice";
          if (place.first == last.first) {
            EXPECT_EQ(place.second, last.second + 1) << file << ": a line is missing";
          }
          last = place;
        } else {
          ++halves;
          EXPECT_EQ(std::string("run 1000 line 000000 end").compare(0, 4, line, 0, 4), 0) << file << ": " << line;
        }
      }
    }
    EXPECT_EQ(last.first, 1000 + run) << "the run's last lines are there";
  }
  EXPECT_LE(halves, unsigned{kKillRuns});
  // The next new file puts the number right.
  const Ref<DDFileLogger> logger = loggerIn(folder.text(), renames);
  for (int i = 0; i < 10; ++i) {
    logger->logMessage(make<DDLogMessage>("a line of about thirty bytes", 0u, 1u, 0, nullptr, nullptr, 0u));
  }
  EXPECT_EQ(logger->logFileManager()->unsortedLogFileNames().count(), kMaximumNumber);
  EXPECT_EQ(outside.names(), std::vector<std::string>{"victim"});
  EXPECT_EQ(outside.read("victim"), "precious\n");
  EXPECT_TRUE(fs::is_symlink(folder.path() / "service 000000.log"));
  EXPECT_TRUE(fs::is_symlink(folder.path() / "service_0.log"));
}

INSTANTIATE_TEST_SUITE_P(Rotation, DDFileLoggerKillTest, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "ByRenaming" : "ByNewNames"; });

}  // namespace
}  // namespace kvt
