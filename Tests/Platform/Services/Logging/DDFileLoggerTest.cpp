#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Values/NSError.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <csignal>
#include <regex>
#include <thread>

#include "LoggingTestSupport.h"

namespace kvt {
namespace {

namespace fs = std::filesystem;

/// Names its files "log N", and writes down what it is told.
class NumberingManager : public DDLogFileManagerDefault {
 public:
  using DDLogFileManagerDefault::DDLogFileManagerDefault;
  NSString newLogFileName() override { return NSString::stringWithFormat("log %03d.txt", ++number); }
  bool isLogFile(const NSString& name) override { return name.hasPrefix("log "); }
  NSArray sortedLogFileInfos() override {
    return unsortedLogFileInfos().sortedArrayUsingComparator([](const id& a, const id& b) {
      return b.as<DDLogFileInfo>()->fileName().compare(a.as<DDLogFileInfo>()->fileName());
    });
  }
  NSString logFileHeader() override { return header; }
  void didArchiveLogFile(const NSString& path) override { notes += "archived " + path.lastPathComponent().str() + ";"; }
  void didRollAndArchiveLogFile(const NSString& path) override {
    notes += "rolled " + path.lastPathComponent().str() + ";";
  }
  int number = 0;
  NSString header;
  std::string notes;
  KVT_CLASS(NumberingManager)
};

/// The text alone.
class Bare : public DDLogFormatter {
 public:
  NSString formatLogMessage(const Ref<DDLogMessage>& line) override {
    return line->message() == "drop" ? NSString() : line->message();
  }
  KVT_CLASS(Bare)
};

class DDFileLoggerThreadTest : public LoggingTest {
 protected:
  DDFileLoggerThreadTest() { makeLogger(); }
  /// As another run of the program would.
  void makeLogger() {
    logger_ = nullptr;
    const int number = manager_ ? manager_->number : 0;
    manager_ = make<NumberingManager>(folder_.text());
    manager_->number = number;
    manager_->setMaximumNumberOfLogFiles(0);
    manager_->setLogFilesDiskQuota(0);
    logger_ = make<DDFileLogger>(manager_);
    logger_->setLogFormatter(make<Bare>());
    logger_->setMaximumFileSize(0);
    logger_->setRollingFrequency(0);
  }
  void log(const std::string& text) {
    logger_->logMessage(make<DDLogMessage>(NSString(text), 0u, 1u, 0, nullptr, nullptr, 0u));
  }
  std::string files() const {
    std::string result;
    for (const std::string& name : folder_.names()) result += (result.empty() ? "" : ", ") + name;
    return result;
  }

  ScratchFolder folder_;
  Ref<NumberingManager> manager_;
  Ref<DDFileLogger> logger_;
};

TEST_F(DDFileLoggerThreadTest, WritesLines) {
  log("one");
  log("two\n");
  log("drop");
  log("");
  log("zwölf 😀");
  EXPECT_EQ(folder_.read("log 001.txt"), "one\ntwo\n\nzwölf 😀\n");
  EXPECT_EQ(logger_->currentLogFileInfo()->filePath(), folder_.text("log 001.txt"));
  EXPECT_EQ(logger_->loggerName(), "cocoa.lumberjack.fileLogger");
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(logger_, "logFileManager"), manager_));
}

TEST_F(DDFileLoggerThreadTest, TheUsualFormat) {
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  const Ref<DDFileLogger> logger = make<DDFileLogger>(manager_);
  EXPECT_EQ(logger->maximumFileSize(), 1024u * 1024);
  EXPECT_EQ(logger->rollingFrequency(), 86400);
  EXPECT_FALSE(logger->doNotReuseLogFiles());
  logger->logMessage(make<DDLogMessage>("text", 0u, 1u, 0, nullptr, nullptr, 0u, nullptr,
                                        NSDate::dateWithTimeIntervalSince1970(1463307630.123)));
  EXPECT_EQ(folder_.read("log 001.txt"), "2016/05/15 10:20:30:123  text\n");
}

TEST_F(DDFileLoggerThreadTest, ThroughTheLog) {
  DDLog::addLogger_withLevel(logger_, DDLogLevelInfo);
  KVT_LOG_INFO("%d", 1);
  KVT_LOG_ERROR("%d", 2);
  DDLog::flushLog();
  EXPECT_EQ(folder_.read("log 001.txt"), "1\n2\n");
  DDLog::removeLogger(logger_);
  EXPECT_EQ(manager_->notes, "") << "a file that is closed is not archived";
}

// ---- rolling --------------------------------------------------------------------------------------------------------

TEST_F(DDFileLoggerThreadTest, AFullFileIsRolled) {
  logger_->setMaximumFileSize(10);
  log("1234");  // 5 bytes
  EXPECT_EQ(manager_->notes, "");
  log("123");  // 9
  EXPECT_EQ(manager_->notes, "");
  log("");  // 10
  EXPECT_EQ(manager_->notes, "rolled log 001.txt;");
  EXPECT_EQ(files(), "log 001.txt") << "the next line begins the next file";
  EXPECT_TRUE(DDLogFileInfo::logFileWithPath(folder_.text("log 001.txt"))->isArchived());
  log("longer than a file may be");
  log("x");
  EXPECT_EQ(files(), "log 001.txt, log 002.txt, log 003.txt");
  EXPECT_EQ(folder_.read("log 001.txt"), "1234\n123\n\n");
  EXPECT_EQ(folder_.read("log 002.txt"), "longer than a file may be\n");
  EXPECT_EQ(folder_.read("log 003.txt"), "x\n");
  logger_->setMaximumFileSize(2);
  EXPECT_EQ(manager_->notes, "rolled log 001.txt;rolled log 002.txt;rolled log 003.txt;") << "at once";
}

TEST_F(DDFileLoggerThreadTest, AnOldFileIsRolledWhenItsTimeHasCome) {
  DispatchManualClock clock;
  logger_->setRollingFrequency(60);
  log("a");
  clock.advance(50 * NSEC_PER_SEC);
  dispatch_sync(logger_->loggerQueue(), [] {});
  EXPECT_EQ(manager_->notes, "");
  clock.advance(20 * NSEC_PER_SEC);
  dispatch_sync(logger_->loggerQueue(), [] {});
  EXPECT_EQ(manager_->notes, "rolled log 001.txt;") << "without a line";
  EXPECT_EQ(dispatch_statistics().timers, 0u);
  // The new file is as old as the real clock says: it counts from there.
  logger_->setRollingFrequency(600);
  log("b");
  EXPECT_EQ(files(), "log 001.txt, log 002.txt");
  logger_->setRollingFrequency(30);
  EXPECT_EQ(manager_->notes, "rolled log 001.txt;rolled log 002.txt;") << "at once";
  logger_->setRollingFrequency(600);
  log("c");
  EXPECT_EQ(dispatch_statistics().timers, 1u);
  logger_ = nullptr;
  EXPECT_EQ(dispatch_statistics().timers, 0u);
  makeLogger();
}

TEST_F(DDFileLoggerThreadTest, RollingByHand) {
  logger_->rollLogFile();
  EXPECT_EQ(files(), "") << "nothing is open";
  log("a");
  logger_->rollLogFile();
  logger_->rollLogFile();
  EXPECT_EQ(manager_->notes, "rolled log 001.txt;");
  log("b");
  const dispatch_semaphore_t done = dispatch_semaphore_create(0);
  logger_->rollLogFileWithCompletionBlock([done] { dispatch_semaphore_signal(done); });
  dispatch_semaphore_wait(done, DISPATCH_TIME_FOREVER);
  EXPECT_EQ(manager_->notes, "rolled log 001.txt;rolled log 002.txt;");
  logger_->rollLogFileWithCompletionBlock(nullptr);
  dispatch_sync(logger_->loggerQueue(), [] {});
}

TEST_F(DDFileLoggerThreadTest, WhoGoesOnWithWhichFile) {
  // What the newest file is like, and what the next run does with it.
  const struct {
    const char* what;
    unsigned long long maximumSize;
    NSTimeInterval frequency;
    bool doNotReuse, archived;
    std::string notes, expected;
  } rows[] = {
      {"has room", 100, 0, false, false, "", "log 001.txt"},
      {"is full", 4, 0, false, false, "archived log 001.txt;", "log 001.txt, log 002.txt"},
      {"is nearly full", 5, 0, false, false, "rolled log 001.txt;", "log 001.txt"},
      {"is too old", 0, 60, false, false, "archived log 001.txt;", "log 001.txt, log 002.txt"},
      {"is young", 0, 3600, false, false, "", "log 001.txt"},
      {"is archived", 0, 0, false, true, "", "log 001.txt, log 002.txt"},
      {"is not to be used again", 0, 0, true, false, "archived log 001.txt;", "log 001.txt, log 002.txt"},
  };
  for (const auto& row : rows) {
    for (const std::string& name : folder_.names()) fs::remove(folder_.path() / name);
    manager_->number = 1;
    folder_.write("log 001.txt", "old\n");
    if (row.archived) DDLogFileInfo::logFileWithPath(folder_.text("log 001.txt"))->setIsArchived(true);
    DispatchManualClock clock;
    clock.advance(100 * NSEC_PER_SEC);
    makeLogger();
    logger_->setMaximumFileSize(row.maximumSize);
    logger_->setRollingFrequency(row.frequency);
    logger_->setDoNotReuseLogFiles(row.doNotReuse);
    log("n");
    EXPECT_EQ(manager_->notes, row.notes) << row.what;
    EXPECT_EQ(files(), row.expected) << row.what;
    logger_->setRollingFrequency(0);
  }
}

TEST_F(DDFileLoggerThreadTest, HalfALineAtTheEndIsLeftAlone) {
  const struct {
    const char* before;
    const char* after;
  } rows[] = {{"", "new\n"}, {"whole\n", "whole\nnew\n"}, {"whole\nhal", "whole\nhal\nnew\n"}, {"\n", "\nnew\n"}};
  for (const auto& row : rows) {
    folder_.write("log 001.txt", row.before);
    makeLogger();
    log("new");
    EXPECT_EQ(folder_.read("log 001.txt"), row.after);
  }
}

// ---- what goes wrong ------------------------------------------------------------------------------------------------

/// Files of this process may not be longer.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) : handler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~SizeLimit() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TEST_F(DDFileLoggerThreadTest, ALineThatFindsNoRoomIsTakenBack) {
  log("0123456789");
  std::string told;
  {
    Captured standardError(STDERR_FILENO);
    {
      SizeLimit limit(15);
      log("0123456789");  // the system would take four bytes of it
      EXPECT_EQ(folder_.read("log 001.txt"), "0123456789\n");
      log("abc");
      log("0123456789");
      EXPECT_EQ(folder_.read("log 001.txt"), "0123456789\nabc\n") << "a shorter one is tried anew";
      log("0123456789");
    }
    log("and on");
    told = standardError.text();
  }
  EXPECT_EQ(folder_.read("log 001.txt"), "0123456789\nabc\nand on\n");
  const std::string head = "[^\\]]*\\] DDFileLogger: ";
  EXPECT_TRUE(
      std::regex_match(told, std::regex(head + "lines are lost: File too large\n" + head + "1 lines were lost\n" +
                                        head + "lines are lost: File too large\n" + head + "2 lines were lost\n")))
      << told;
}

TEST_F(DDFileLoggerThreadTest, AFileThatCannotBeMadeIsTriedAgain) {
  const Ref<NumberingManager> manager = make<NumberingManager>(folder_.text("file/logs"));
  folder_.write("file", "in the way");
  const Ref<DDFileLogger> logger = make<DDFileLogger>(manager);
  logger->setLogFormatter(make<Bare>());
  const auto logThere = [&](const char* text) {
    logger->logMessage(make<DDLogMessage>(text, 0u, 1u, 0, nullptr, nullptr, 0u));
  };
  std::string told;
  {
    Captured standardError(STDERR_FILENO);
    EXPECT_FALSE(logger->currentLogFileInfo());
    logThere("a");
    logThere("b");
    fs::remove(folder_.path() / "file");
    logThere("c");
    told = standardError.text();
  }
  EXPECT_EQ(folder_.read("file/logs/log 004.txt"), "c\n");
  EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 2) << told;
  EXPECT_NE(told.find("DDFileLogger: lines are lost: "), std::string::npos) << told;
  EXPECT_NE(told.find("DDFileLogger: 3 lines were lost\n"), std::string::npos) << told;
}

TEST_F(DDFileLoggerThreadTest, AFileThatIsDeletedIsMadeAnew) {
  log("a");
  fs::remove(folder_.path() / "log 001.txt");
  log("b");
  EXPECT_EQ(files(), "log 002.txt");
  EXPECT_EQ(folder_.read("log 002.txt"), "b\n");
  logger_->flush();
}

TEST_F(DDFileLoggerThreadTest, LinksAreNotFollowed) {
  ScratchFolder outside;
  outside.write("victim", "precious\n");
  fs::create_symlink(outside.path() / "victim", folder_.path() / "log 001.txt");
  fs::create_symlink(outside.path() / "new", folder_.path() / "log 002.txt");
  fs::create_directory(folder_.path() / "log 003.txt");
  fs::create_directory_symlink(outside.path(), folder_.path() / "log 004.txt");
  EXPECT_EQ(manager_->unsortedLogFileNames().count(), 0u);
  log("a");
  EXPECT_EQ(outside.names(), std::vector<std::string>{"victim"});
  EXPECT_EQ(outside.read("victim"), "precious\n");
  manager_->setMaximumNumberOfLogFiles(1);
  logger_->rollLogFile();
  log("b");
  EXPECT_EQ(outside.read("victim"), "precious\n");
  EXPECT_TRUE(fs::is_symlink(folder_.path() / "log 001.txt"));
  EXPECT_EQ(manager_->unsortedLogFileNames().count(), 1u);
}

// ---- the manager ----------------------------------------------------------------------------------------------------

TEST_F(DDFileLoggerThreadTest, OldFilesAreDeleted) {
  const struct {
    const char* what;
    NSUInteger maximumNumber;
    unsigned long long quota;
    bool newestIsArchived;
    std::string expected;
  } rows[] = {
      // files of 10, 20, 30 and 40 bytes, the fourth the newest
      {"no limits", 0, 0, false, "log 001.txt, log 002.txt, log 003.txt, log 004.txt"},
      {"as many as there are", 4, 0, false, "log 001.txt, log 002.txt, log 003.txt, log 004.txt"},
      {"three", 3, 0, false, "log 002.txt, log 003.txt, log 004.txt"},
      {"one", 1, 0, true, "log 004.txt"},
      {"the quota exactly", 0, 100, false, "log 001.txt, log 002.txt, log 003.txt, log 004.txt"},
      {"just over it", 0, 99, false, "log 002.txt, log 003.txt, log 004.txt"},
      {"room for one", 0, 40, false, "log 004.txt"},
      {"no room for the newest, which is written to", 0, 39, false, "log 004.txt"},
      {"no room for the newest, which is over", 0, 39, true, ""},
      {"the number is less", 2, 99, false, "log 003.txt, log 004.txt"},
      {"the quota is less", 3, 40, false, "log 004.txt"},
  };
  for (const auto& row : rows) {
    for (int i = 1; i <= 4; ++i) {
      folder_.write("log 00" + std::to_string(i) + ".txt", std::string(static_cast<std::size_t>(i) * 10, 'x'));
    }
    DDLogFileInfo::logFileWithPath(folder_.text("log 004.txt"))->setIsArchived(row.newestIsArchived);
    manager_->setMaximumNumberOfLogFiles(row.maximumNumber);
    manager_->setLogFilesDiskQuota(row.quota);
    objc_msgSend(manager_, "deleteOldLogFiles");
    EXPECT_EQ(files(), row.expected) << row.what;
  }
}

TEST_F(DDFileLoggerThreadTest, AtMostTheMaximumNumberStay) {
  manager_->setMaximumNumberOfLogFiles(3);
  logger_->setMaximumFileSize(1);
  for (int i = 0; i < 10; ++i) log("x");
  EXPECT_EQ(files(), "log 008.txt, log 009.txt, log 010.txt");
}

TEST_F(DDFileLoggerThreadTest, HeadersAndTakenNames) {
  manager_->header = "version 7";
  log("a");
  EXPECT_EQ(folder_.read("log 001.txt"), "version 7\na\n");
  logger_->rollLogFile();
  manager_->number = 0;
  manager_->header = "version 8\n";
  log("b");
  EXPECT_EQ(files(), "log 001 2.txt, log 001.txt");
  EXPECT_EQ(folder_.read("log 001 2.txt"), "version 8\nb\n");
  NSError error;
  manager_->number = 0;
  EXPECT_EQ(manager_->createNewLogFileWithError(&error), folder_.text("log 001 3.txt"));
  EXPECT_FALSE(error);
  const auto elsewhere = make<NumberingManager>(NSString("/proc/nowhere"));
  EXPECT_FALSE(elsewhere->createNewLogFileWithError(&error));
  EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
  EXPECT_FALSE(elsewhere->createNewLogFileWithError(nullptr));
}

TEST_F(DDFileLoggerThreadTest, TheUsualNames) {
  const std::string program = program_invocation_short_name;
  const auto manager = make<DDLogFileManagerDefault>(folder_.text("deep/in/it"));
  EXPECT_EQ(manager->maximumNumberOfLogFiles(), 5u);
  EXPECT_EQ(manager->logFilesDiskQuota(), 20u * 1024 * 1024);
  EXPECT_FALSE(manager->isAppRunInBackground());
  EXPECT_EQ(manager->logsDirectory(), folder_.text("deep/in/it"));
  EXPECT_TRUE(fs::is_directory(folder_.path() / "deep/in/it"));
  const NSString name = manager->newLogFileName();
  EXPECT_TRUE(std::regex_match(name.str(), std::regex(program + R"( \d{4}-\d\d-\d\d--\d\d-\d\d-\d\d-\d{3}\.log)")))
      << name;
  const struct {
    std::string name;
    bool isOurs;
  } rows[] = {
      {name.str(), true},
      {program + " 2016-05-15--10-20-30-123.log", true},
      {program + " 2016-05-15--10-20-30-123 2.log", true},
      {program + " 2016-05-15--10-20-30-123 1.log", false},
      {program + " 2016-05-15--10-20-30-123 x.log", false},
      {program + " 2016-05-15--10-20-30-123 2 3.log", false},
      {program + " 2016-05-15--10-20-30.log", false},
      {program + " 2016-13-15--10-20-30-123.log", false},
      {program + " 2016-05-15--10-20-30-123.txt", false},
      {program + "2016-05-15--10-20-30-123.log", false},
      {program + " .log", false},
      {program + ".log", false},
      {"other 2016-05-15--10-20-30-123.log", false},
      {"", false},
  };
  for (const auto& row : rows) EXPECT_EQ(manager->isLogFile(NSString(row.name)), row.isOurs) << row.name;
  EXPECT_FALSE(manager->isLogFile(nullptr));

  // As many as there are at one time, the newest first.
  std::vector<std::string> made;
  manager->setMaximumNumberOfLogFiles(0);
  for (int i = 0; i < 12; ++i) made.push_back(manager->createNewLogFileWithError(nullptr).str());
  std::reverse(made.begin(), made.end());
  EXPECT_EQ(manager->sortedLogFilePaths().toVector<std::string>(), made);
  EXPECT_EQ(manager->sortedLogFileNames()[0].as<NSString>(), NSString(made[0]).lastPathComponent());
  EXPECT_EQ(manager->unsortedLogFilePaths().count(), 12u);

  ::setenv("XDG_STATE_HOME", "/var/state", 1);
  EXPECT_EQ(DDLogFileManagerDefault::defaultLogsDirectory(), NSString("/var/state/" + program + "/Logs"));
  for (const char* unusable : {"", "relative"}) {
    ::setenv("XDG_STATE_HOME", unusable, 1);
    ::setenv("HOME", "/home/x", 1);
    EXPECT_EQ(DDLogFileManagerDefault::defaultLogsDirectory(), NSString("/home/x/.local/state/" + program + "/Logs"));
  }
}

// ---- infos ----------------------------------------------------------------------------------------------------------

TEST_F(DDFileLoggerThreadTest, AnInfoOfAFile) {
  folder_.write("a.log", "12345");
  const Ref<DDLogFileInfo> info = DDLogFileInfo::logFileWithPath(folder_.text("a.log"));
  EXPECT_EQ(info->fileName(), "a.log");
  EXPECT_EQ(info->fileSize(), 5u);
  EXPECT_TRUE(info->isRegularFile());
  EXPECT_LT(std::abs(info->creationDate().timeIntervalSinceNow()), 60);
  EXPECT_LT(std::abs(info->modificationDate().timeIntervalSinceNow()), 60);
  EXPECT_LT(info->age(), 60);
  folder_.write("a.log", "1234567");
  EXPECT_EQ(info->fileSize(), 5u) << "asked once";
  info->reset();
  EXPECT_EQ(info->fileSize(), 7u);
  EXPECT_EQ(id(info), id(make<DDLogFileInfo>(folder_.text("a.log"))));
  EXPECT_EQ(info.hash(), make<DDLogFileInfo>(folder_.text("a.log")).hash());
  EXPECT_FALSE(id(info) == id(make<DDLogFileInfo>(folder_.text("b.log"))));
  EXPECT_EQ(info.description(), "<DDLogFileInfo: a.log, 7 bytes>");

  EXPECT_FALSE(DDLogFileInfo::logFileWithPath(nullptr));
  const Ref<DDLogFileInfo> missing = make<DDLogFileInfo>(folder_.text("missing"));
  EXPECT_FALSE(missing->creationDate());
  EXPECT_FALSE(missing->modificationDate());
  EXPECT_EQ(missing->fileSize(), 0u);
  EXPECT_EQ(missing->age(), 0);
  EXPECT_FALSE(missing->isRegularFile());
  missing->setIsArchived(true);
  EXPECT_FALSE(missing->isArchived());
}

TEST_F(DDFileLoggerThreadTest, AnArchivedFileStaysSoUnderAnotherName) {
  folder_.write("a.log", "a");
  folder_.write("b.log", "b");
  const Ref<DDLogFileInfo> info = make<DDLogFileInfo>(folder_.text("a.log"));
  EXPECT_FALSE(info->isArchived());
  info->setIsArchived(true);
  EXPECT_TRUE(info->isArchived());
  EXPECT_EQ(info->description(), "<DDLogFileInfo: a.log, 1 bytes, archived>");
  for (const char* bad : {"", "../c.log", "x/y"}) info->renameFile(bad);
  info->renameFile(nullptr);
  EXPECT_EQ(info->fileName(), "a.log");
  info->renameFile("b.log");
  EXPECT_EQ(info->filePath(), folder_.text("b.log"));
  EXPECT_EQ(files(), "b.log");
  EXPECT_EQ(folder_.read("b.log"), "a") << "in place of the one that had the name";
  EXPECT_TRUE(make<DDLogFileInfo>(folder_.text("b.log"))->isArchived());
  info->setIsArchived(false);
  EXPECT_FALSE(make<DDLogFileInfo>(folder_.text("b.log"))->isArchived());
  EXPECT_FALSE(info->hasExtendedAttributeWithName("x"));
  info->addExtendedAttributeWithName("x");
  EXPECT_TRUE(info->hasExtendedAttributeWithName("x"));
  info->removeExtendedAttributeWithName("x");
  EXPECT_FALSE(info->hasExtendedAttributeWithName("x"));
  EXPECT_TRUE(objc_msgSend<bool>(info, "hasExtendedAttributeWithName:", NSString("x")) == false);
}

TEST_F(DDFileLoggerThreadTest, WhereThereAreNoAttributesTheProcessRemembers) {
  // /proc has none, and its files stay.
  const Ref<DDLogFileInfo> info = make<DDLogFileInfo>("/proc/version");
  EXPECT_FALSE(info->isArchived());
  info->setIsArchived(true);
  EXPECT_FALSE(info->hasExtendedAttributeWithName("lumberjack.log.archived"));
  EXPECT_TRUE(make<DDLogFileInfo>("/proc/version")->isArchived());
  info->setIsArchived(false);
  EXPECT_FALSE(info->isArchived());
}

TEST_F(DDFileLoggerThreadTest, TheOrderOfInfos) {
  // Dates can be set for the last change alone.
  const auto at = [&](const std::string& name, time_t time) {
    folder_.write(name, "");
    const std::timespec times[2] = {{time, 0}, {time, 0}};
    ::utimensat(AT_FDCWD, (folder_.path() / name).c_str(), times, 0);
    return make<DDLogFileInfo>(folder_.text(name));
  };
  const Ref<DDLogFileInfo> early = at("b", 1000), late = at("a", 2000), same = at("x 2.log", 3000),
                           sameLater = at("x 10.log", 3000), first = at("x.log", 3000);
  EXPECT_EQ(late->reverseCompareByModificationDate(early), NSOrderedAscending);
  EXPECT_EQ(early->reverseCompareByModificationDate(late), NSOrderedDescending);
  EXPECT_EQ(early->reverseCompareByModificationDate(early), NSOrderedSame);
  EXPECT_EQ(sameLater->reverseCompareByModificationDate(same), NSOrderedAscending);
  EXPECT_EQ(same->reverseCompareByModificationDate(first), NSOrderedAscending);
  EXPECT_EQ(early->reverseCompareByModificationDate(nullptr), NSOrderedAscending);
  EXPECT_EQ(early->reverseCompareByCreationDate(early), NSOrderedSame);
  EXPECT_EQ(early->reverseCompareByCreationDate(nullptr), NSOrderedAscending);
}

// ---- many threads ---------------------------------------------------------------------------------------------------

TEST_F(DDFileLoggerThreadTest, SettingsChangeWhileLinesCome) {
  DDLog::addLogger(logger_);
  std::vector<std::thread> threads;
  constexpr int kThreads = 4, kEach = 300;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) KVT_LOG_INFO("%d %d", t, i);
    });
  }
  for (int i = 0; i < 100; ++i) {
    logger_->setMaximumFileSize(i % 3 == 0 ? 0 : 500);
    logger_->setRollingFrequency(i % 2 == 0 ? 3600 : 0);
    if (i % 20 == 0) logger_->rollLogFile();
    if (i % 10 == 0) logger_->currentLogFileInfo();
    logger_->setLogFormatter(make<Bare>());
  }
  for (std::thread& thread : threads) thread.join();
  DDLog::flushLog();
  std::size_t lines = 0;
  for (const std::string& name : folder_.names()) {
    const std::string text = folder_.read(name);
    lines += static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  }
  EXPECT_EQ(lines, std::size_t{kThreads * kEach});
}

}  // namespace
}  // namespace kvt
