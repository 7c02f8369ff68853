#include <pty.h>
#include <termios.h>

#include <regex>

#include "LoggingTestSupport.h"

namespace kvt {
namespace {

Ref<DDLogMessage> message(NSUInteger flag, const char* text) {
  return make<DDLogMessage>(text, 0u, flag, 0, nullptr, nullptr, 0u, nullptr,
                            NSDate::dateWithTimeIntervalSince1970(1463307630.123));
}

/// What a descriptor's other side receives.
std::string received(int descriptor) {
  ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
  std::string result(65536, '\0');
  const ssize_t size = ::read(descriptor, result.data(), result.size());
  result.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return result;
}

class Plain : public DDLogFormatter {
 public:
  NSString formatLogMessage(const Ref<DDLogMessage>& line) override {
    return line->message() == "drop" ? NSString() : NSString("~") + line->message();
  }
  KVT_CLASS(Plain)
};

class DDTTYLoggerTest : public LoggingTest {
 protected:
  DDTTYLoggerTest() {
    ::setenv("TZ", "UTC", 1);
    ::setenv("TERM", "xterm", 1);
    ::unsetenv("NO_COLOR");
    ::tzset();
  }
};

TEST_F(DDTTYLoggerTest, LinesInAPipe) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const Ref<DDTTYLogger> logger = make<DDTTYLogger>(ends[1]);
  EXPECT_FALSE(logger->colorsEnabled());
  logger->logMessage(message(DDLogFlagError, "text of two\nlines\n"));
  EXPECT_EQ(received(ends[0]), "2016-05-15 10:20:30:123 " + std::string(program_invocation_short_name) + "[" +
                                   std::to_string(::getpid()) + ":" + std::to_string(::gettid()) +
                                   "] text of two\nlines\n");
  logger->setLogFormatter(make<Plain>());
  logger->logMessage(message(DDLogFlagInfo, "a"));
  logger->logMessage(message(DDLogFlagInfo, "drop"));
  logger->logMessage(message(DDLogFlagInfo, ""));
  EXPECT_EQ(received(ends[0]), "~a\n~\n");
  logger->setColorsEnabled(true);
  logger->logMessage(message(DDLogFlagError, "a"));
  EXPECT_EQ(received(ends[0]), "\x1b[31m~a\x1b[0m\n");
  ::close(ends[0]);
  ::signal(SIGPIPE, SIG_IGN);
  logger->logMessage(message(DDLogFlagError, "to nobody"));
  ::close(ends[1]);
}

TEST_F(DDTTYLoggerTest, ColoursOnATerminal) {
  int master = -1, terminal = -1;
  ASSERT_EQ(::openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
  termios settings{};
  ::tcgetattr(terminal, &settings);
  ::cfmakeraw(&settings);
  ::tcsetattr(terminal, TCSANOW, &settings);
  const struct {
    const char* what;
    const char* term;
    const char* noColor;
    NSUInteger flag;
    std::string expected;
  } rows[] = {
      {"an error", "xterm", nullptr, DDLogFlagError, "\x1b[31m~x\x1b[0m\n"},
      {"a warning", "xterm", nullptr, DDLogFlagWarning, "\x1b[33m~x\x1b[0m\n"},
      {"an information", "xterm", nullptr, DDLogFlagInfo, "~x\n"},
      {"a terminal without colours", "dumb", nullptr, DDLogFlagError, "~x\n"},
      {"no TERM", nullptr, nullptr, DDLogFlagError, "~x\n"},
      {"who wants none", "xterm", "", DDLogFlagError, "~x\n"},
  };
  for (const auto& row : rows) {
    row.term != nullptr ? ::setenv("TERM", row.term, 1) : ::unsetenv("TERM");
    row.noColor != nullptr ? ::setenv("NO_COLOR", row.noColor, 1) : ::unsetenv("NO_COLOR");
    const Ref<DDTTYLogger> logger = make<DDTTYLogger>(terminal);
    logger->setLogFormatter(make<Plain>());
    logger->logMessage(message(row.flag, "x"));
    EXPECT_EQ(received(master), row.expected) << row.what;
  }
  ::close(terminal);
  ::close(master);
}

TEST_F(DDTTYLoggerTest, TheSharedOneWritesToStandardError) {
  EXPECT_TRUE(isIdentical(DDTTYLogger::sharedInstance(), DDTTYLogger::sharedInstance()));
  Captured standardError(STDERR_FILENO);
  DDLog::addLogger(DDTTYLogger::sharedInstance());
  KVT_LOG_ERROR("to standard %s", "error");
  const std::string text = standardError.text();
  EXPECT_TRUE(
      std::regex_match(text, std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d:\d{3} \S+\[\d+:\d+\] to standard error\n)")))
      << text;
  DDLog::removeLogger(DDTTYLogger::sharedInstance());
}

TEST_F(DDTTYLoggerTest, NSLog) {
  Captured standardError(STDERR_FILENO);
  NSLog("is need handle log file :%d", 1);
  NSLog("%@", nullptr);
  NSLog("ends itself\n");
  NSLog(nullptr);
  const std::string text = standardError.text();
  const std::string head = R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \S+\[\d+:\d+\] )";
  EXPECT_TRUE(std::regex_match(
      text, std::regex(head + "is need handle log file :1\n" + head + "\\(null\\)\n" + head + "ends itself\n")))
      << text;
}

}  // namespace
}  // namespace kvt
