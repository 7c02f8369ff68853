#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Dispatch/Dispatch.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <pthread.h>

#include <atomic>
#include <thread>

#include "LoggingTestSupport.h"

namespace kvt {
namespace {

void line(bool asynchronous, NSUInteger flag, const char* text) {
  DDLog::log_level_flag_context_file_function_line_tag_format(asynchronous, DDLogLevelAll, flag, 0, __FILE__, __func__,
                                                              __LINE__, nullptr, "%s", text);
}

class DDLogThreadTest : public LoggingTest {};

TEST_F(DDLogThreadTest, ALoggerTakesWhatItsLevelHas) {
  const struct {
    const char* what;
    NSUInteger level;
    std::string expected;
  } rows[] = {
      {"off", DDLogLevelOff, ""},
      {"errors", DDLogLevelError, "1"},
      {"warnings", DDLogLevelWarning, "1|2"},
      {"informations", DDLogLevelInfo, "1|2|4"},
      {"debugging", DDLogLevelDebug, "1|2|4|8"},
      {"everything usual", DDLogLevelVerbose, "1|2|4|8|16"},
      {"everything", DDLogLevelAll, "1|2|4|8|16|4096"},
      {"one bit of a client's own", 4096, "4096"},
  };
  for (bool asynchronous : {true, false}) {
    std::vector<Ref<MemoryLogger>> loggers;
    for (const auto& row : rows) {
      loggers.push_back(make<MemoryLogger>());
      DDLog::addLogger_withLevel(loggers.back(), row.level);
      EXPECT_EQ(DDLog::levelForLogger(loggers.back()), row.level);
    }
    for (NSUInteger flag : {1u, 2u, 4u, 8u, 16u, 4096u}) line(asynchronous, flag, std::to_string(flag).c_str());
    DDLog::flushLog();
    for (std::size_t i = 0; i < loggers.size(); ++i) {
      EXPECT_EQ(loggers[i]->text(), rows[i].expected) << rows[i].what;
      EXPECT_EQ(loggers[i]->notes(), "added flush");
    }
    DDLog::removeAllLoggers();
    EXPECT_EQ(loggers[0]->notes(), "added flush removed");
  }
}

TEST_F(DDLogThreadTest, WhatIsTakenFollowsTheLoggers) {
  EXPECT_FALSE(DDLog::takes(DDLogLevelAll));
  const Ref<MemoryLogger> errors = make<MemoryLogger>(), infos = make<MemoryLogger>();
  DDLog::addLogger_withLevel(errors, DDLogLevelError);
  EXPECT_TRUE(DDLog::takes(DDLogFlagError));
  EXPECT_FALSE(DDLog::takes(DDLogFlagInfo));
  DDLog::addLogger_withLevel(infos, DDLogFlagInfo);
  EXPECT_TRUE(DDLog::takes(DDLogFlagInfo));
  EXPECT_FALSE(DDLog::takes(DDLogFlagWarning));
  DDLog::addLogger_withLevel(infos, DDLogLevelAll);
  EXPECT_FALSE(DDLog::takes(DDLogFlagWarning)) << "it is there already";
  EXPECT_EQ(DDLog::allLoggers().count(), 2u);
  DDLog::removeLogger(infos);
  DDLog::removeLogger(infos);
  EXPECT_FALSE(DDLog::takes(DDLogFlagInfo));
  EXPECT_EQ(DDLog::levelForLogger(infos), DDLogLevelOff);
  EXPECT_TRUE(isIdentical(DDLog::allLoggers()[0], errors));
  DDLog::addLogger(nullptr);
  DDLog::removeLogger(nullptr);
  EXPECT_EQ(DDLog::allLoggers().count(), 1u);
}

/// Counts how often it is described.
class Described : public NSObject {
 public:
  NSString description() const {
    ++count;
    return "described";
  }
  mutable std::atomic<int> count{0};
  KVT_CLASS(Described)
};

TEST_F(DDLogThreadTest, OnlyALineThatIsTakenIsFormatted) {
  const Ref<Described> argument = make<Described>();
  const auto log = [&](NSUInteger flag) {
    DDLog::log_level_flag_context_file_function_line_tag_format(true, DDLogLevelAll, flag, 0, "", "", 0, nullptr, "%@",
                                                                argument);
  };
  log(DDLogFlagError);
  EXPECT_EQ(argument->count, 0);
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger_withLevel(logger, DDLogLevelError);
  log(DDLogFlagInfo);
  EXPECT_EQ(argument->count, 0);
  log(DDLogFlagError);
  EXPECT_EQ(argument->count, 1) << "at once, on the thread that logs";
  const Ref<MemoryLogger> second = make<MemoryLogger>();
  DDLog::addLogger(second);
  log(DDLogFlagError);
  EXPECT_EQ(argument->count, 2) << "once for all loggers";
  DDLog::flushLog();
  EXPECT_EQ(logger->text(), "described|described");
}

TEST_F(DDLogThreadTest, AMessageKnowsWhereItIsFrom) {
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  const dispatch_queue_t queue = dispatch_queue_create("com.example.work", nullptr);
  dispatch_sync(queue, [&] {
    DDLog::log_level_flag_context_file_function_line_tag_format(false, 0x700007, DDLogFlagInfo, 0x700000,
                                                                "/src/Cache/KVTCache.cpp", "void f()", 42,
                                                                NSString("tag"), "%@ %d", "x", 5);
  });
  const Ref<DDLogMessage> message = logger->lastMessage();
  ASSERT_TRUE(message);
  EXPECT_EQ(message->message(), "x 5");
  EXPECT_EQ(message->level(), 0x700007u);
  EXPECT_EQ(message->flag(), DDLogFlagInfo);
  EXPECT_EQ(message->context(), 0x700000);
  EXPECT_EQ(message->file(), "/src/Cache/KVTCache.cpp");
  EXPECT_EQ(message->fileName(), "KVTCache");
  EXPECT_EQ(message->function(), "void f()");
  EXPECT_EQ(message->line(), 42u);
  EXPECT_EQ(message->tag(), NSString("tag"));
  EXPECT_EQ(message->queueLabel(), "com.example.work");
  EXPECT_EQ(message->threadID(), NSString(std::to_string(::gettid())));
  char name[16];
  ::pthread_getname_np(::pthread_self(), name, sizeof name);
  EXPECT_EQ(message->threadName(), NSString(name));
  EXPECT_LT(std::abs(message->timestamp().timeIntervalSinceNow()), 60);
  EXPECT_TRUE(isIdentical(message.copy(), message));
  EXPECT_EQ(objc_msgSend<NSString>(message, "fileName"), "KVTCache");
  EXPECT_EQ(objc_msgSend<NSUInteger>(message, "flag"), DDLogFlagInfo);

  const auto bare = make<DDLogMessage>("text", 0u, 1u, 0, nullptr, nullptr, 0u);
  EXPECT_FALSE(bare->file());
  EXPECT_FALSE(bare->fileName());
  EXPECT_FALSE(bare->function());
  EXPECT_FALSE(bare->tag());
}

TEST_F(DDLogThreadTest, SynchronousLinesAreThereWhenTheCallReturns) {
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  dispatch_suspend(DDLog::loggingQueue());
  line(true, DDLogFlagInfo, "waits");
  EXPECT_EQ(logger->text(), "");
  std::atomic<bool> returned{false};
  std::thread other([&] {
    line(false, DDLogFlagError, "error");
    returned = true;
  });
  EXPECT_FALSE(returned);
  dispatch_resume(DDLog::loggingQueue());
  other.join();
  EXPECT_EQ(logger->text(), "waits|error") << "behind those that came before";
}

TEST_F(DDLogThreadTest, AThousandLinesMayWait) {
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  dispatch_suspend(DDLog::loggingQueue());
  std::atomic<int> logged{0};
  std::thread other([&] {
    for (int i = 0; i < 1500; ++i) {
      line(true, DDLogFlagInfo, "x");
      ++logged;
    }
  });
  while (logged < 1000) std::this_thread::yield();
  for (int i = 0; i < 1000; ++i) std::this_thread::yield();
  EXPECT_EQ(logged, 1000);
  dispatch_resume(DDLog::loggingQueue());
  other.join();
  DDLog::flushLog();
  EXPECT_EQ(logger->lines().size(), 1500u);
}

TEST_F(DDLogThreadTest, ManyThreadsLog) {
  constexpr int kThreads = 6, kEach = 500;
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kEach; ++i) {
        line(i % 10 != 0, DDLogFlagInfo, (std::to_string(t) + " " + std::to_string(i)).c_str());
      }
    });
  }
  // Loggers come and go meanwhile.
  for (int i = 0; i < 50; ++i) {
    const Ref<MemoryLogger> guest = make<MemoryLogger>();
    DDLog::addLogger(guest);
    guest->setLogFormatter(nullptr);
    DDLog::removeLogger(guest);
  }
  for (std::thread& thread : threads) thread.join();
  DDLog::flushLog();
  std::vector<int> next(kThreads);
  for (const std::string& text : logger->lines()) {
    const auto thread = static_cast<std::size_t>(text[0] - '0');
    EXPECT_EQ(text.substr(2), std::to_string(next[thread]++)) << "each thread's lines stay in order";
  }
  for (int count : next) EXPECT_EQ(count, kEach);
}

// ---- formatters -----------------------------------------------------------------------------------------------------

class ContextFilter : public DDLogFormatter {
 public:
  NSString formatLogMessage(const Ref<DDLogMessage>& message) override {
    if (message->context() != wanted) return nullptr;
    return NSString::stringWithFormat("<%@>", message->message());
  }
  void didAddToLogger(const Ref<DDLogger>& logger) override { notes += "+" + logger.description().str().substr(1, 12); }
  void willRemoveFromLogger(const Ref<DDLogger>&) override { notes += "-"; }
  NSInteger wanted = 7;
  std::string notes;
  KVT_CLASS(ContextFilter)
};

TEST_F(DDLogThreadTest, AFormatterWritesAnewOrDrops) {
  const Ref<MemoryLogger> plain = make<MemoryLogger>(), filtered = make<MemoryLogger>();
  const Ref<ContextFilter> filter = make<ContextFilter>();
  filtered->setLogFormatter(filter);
  EXPECT_EQ(filter->notes, "+MemoryLogger");
  EXPECT_TRUE(isIdentical(filtered->logFormatter(), filter));
  DDLog::addLogger(plain);
  DDLog::addLogger(filtered);
  for (NSInteger context : {7, 8, 7}) {
    DDLog::log_message(true,
                       make<DDLogMessage>(NSString(std::to_string(context)), 0u, 1u, context, nullptr, nullptr, 0u));
  }
  DDLog::flushLog();
  EXPECT_EQ(plain->text(), "7|8|7");
  EXPECT_EQ(filtered->text(), "<7>|<7>");
  filtered->setLogFormatter(nullptr);
  EXPECT_EQ(filter->notes, "+MemoryLogger-");
  line(false, 1, "plain");
  EXPECT_EQ(filtered->text(), "<7>|<7>|plain");
  DDLog::log_message(false, nullptr);
}

// ---- loggers that do what they should not ---------------------------------------------------------------------------

class BusyLogger : public MemoryLogger {
 public:
  void logMessage(const Ref<DDLogMessage>& message) override {
    MemoryLogger::logMessage(message);
    if (message->message() == "raise") throw NSException("A", "b");
    if (message->message() == "again") {
      line(false, DDLogFlagError, "from a logger");
      line(true, DDLogFlagError, "and again");
      DDLog::flushLog();
    }
    if (message->message() == "leave") DDLog::removeLogger(Ref<DDLogger>(this));
    if (message->message() == "add") DDLog::addLogger(added);
  }
  Ref<MemoryLogger> added = make<MemoryLogger>();
  KVT_CLASS(BusyLogger)
};

TEST_F(DDLogThreadTest, ALoggerMayLogAndChangeTheLoggers) {
  const Ref<BusyLogger> busy = make<BusyLogger>();
  const Ref<MemoryLogger> other = make<MemoryLogger>();
  DDLog::addLogger(busy);
  DDLog::addLogger(other);
  line(false, 1, "again");
  line(false, 1, "add");
  line(false, 1, "leave");
  line(false, 1, "last");
  DDLog::flushLog();
  EXPECT_EQ(busy->text(), "again|from a logger|and again|add|leave");
  EXPECT_EQ(other->text(), "again|from a logger|and again|add|leave|last");
  EXPECT_EQ(busy->added->text(), "leave|last");
}

TEST_F(DDLogThreadTest, AnExceptionOfALoggerGoesNoFurther) {
  const Ref<BusyLogger> busy = make<BusyLogger>();
  const Ref<MemoryLogger> other = make<MemoryLogger>();
  DDLog::addLogger(busy);
  DDLog::addLogger(other);
  std::string told;
  {
    Captured standardError(STDERR_FILENO);
    line(false, 1, "raise");
    line(true, 1, "raise");
    DDLog::flushLog();
    told = standardError.text();
  }
  EXPECT_EQ(told, "KVT: a logger raised A: b\nKVT: a logger raised A: b\n");
  EXPECT_EQ(other->text(), "raise|raise");
}

TEST_F(DDLogThreadTest, TheLoggersQueueOverlapsWithNoLine) {
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  const dispatch_queue_t queue = logger->loggerQueue();
  EXPECT_STREQ(dispatch_queue_get_label(queue), "MemoryLogger");
  EXPECT_TRUE(isIdentical(queue, logger->loggerQueue()));
  EXPECT_EQ(logger->loggerName(), "MemoryLogger");
  std::string seen;
  line(true, 1, "before");
  dispatch_sync(queue, [&] {
    seen = logger->text();
    line(false, 1, "from the queue");  // would wait for itself
  });
  DDLog::flushLog();
  EXPECT_EQ(seen, "before");
  EXPECT_EQ(logger->text(), "before|from the queue");
}

// ---- by message -----------------------------------------------------------------------------------------------------

TEST_F(DDLogThreadTest, ByMessage) {
  const Class log = classOf<DDLog>();
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  objc_msgSend(log, "addLogger:withLevel:", logger, DDLogLevelInfo);
  objc_msgSend(log, "log:level:flag:context:file:function:line:tag:format:", false, 0x700007, 4, 0x700000, "f.cpp", "f",
               1, nullptr, NSString("100%% by message"));
  objc_msgSend(log, "log:message:", false, make<DDLogMessage>("made", 0u, 1u, 0, nullptr, nullptr, 0u));
  EXPECT_EQ(logger->text(), "100% by message|made");
  EXPECT_EQ(objc_msgSend<NSArray>(log, "allLoggers").count(), 1u);
  EXPECT_TRUE(logger.respondsToSelector("logMessage:"));
  EXPECT_TRUE(logger.conformsToProtocol(objc_getProtocol("DDLogger")));
  EXPECT_TRUE(logger.isKindOfClass(objc_getClass("DDAbstractLogger")));
  objc_msgSend(logger, "logMessage:", make<DDLogMessage>("direct", 0u, 1u, 0, nullptr, nullptr, 0u));
  EXPECT_EQ(logger->text(), "100% by message|made|direct");
  objc_msgSend(log, "flushLog");
  objc_msgSend(log, "removeLogger:", logger);
  EXPECT_EQ(logger->notes(), "added flush removed");
}

// ---- the library's own lines ----------------------------------------------------------------------------------------

TEST_F(DDLogThreadTest, TheThreeWords) {
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  const struct {
    const char* what;
    void (*log)();
    NSUInteger flag;
    NSInteger context;
    bool asynchronous;
    const char* text;
  } rows[] = {
      {"information", [] { KVT_LOG_INFO("checkdmg attach %@：%@", NSString("a"), "b"); }, 4, 0x700000, true,
       "checkdmg attach a：b"},
      {"warning", [] { KVT_LOG_WARNING("illegal ipv4 ip address!"); }, 2, 0x300000, true, "illegal ipv4 ip address!"},
      {"error", [] { KVT_LOG_ERROR("checkdmgError %@ %5.1f%%", nullptr, 12.34); }, 1, 0x100000, false,
       "checkdmgError (null)  12.3%"},
  };
  for (const auto& row : rows) {
    std::thread other([&] {
      // Synchronous lines wait for the queue.
      dispatch_suspend(DDLog::loggingQueue());
      if (row.asynchronous) row.log();
      dispatch_resume(DDLog::loggingQueue());
      if (!row.asynchronous) row.log();
    });
    other.join();
    if (row.asynchronous) DDLog::flushLog();
    const Ref<DDLogMessage> message = logger->lastMessage();
    EXPECT_EQ(message->message(), row.text) << row.what;
    EXPECT_EQ(message->level(), 0x700007u);
    EXPECT_EQ(message->flag(), row.flag);
    EXPECT_EQ(message->context(), row.context);
    EXPECT_EQ(message->file(), __FILE__);
    EXPECT_NE(message->function().rangeOfString("TheThreeWords").length, 0u) << message->function();
    EXPECT_FALSE(message->tag());
  }
}

TEST_F(DDLogThreadTest, ArgumentsOfALineThatNobodyTakesAreNotEvaluated) {
  int evaluated = 0;
  const auto argument = [&] { return ++evaluated; };
  KVT_LOG_INFO("%d", argument());
  EXPECT_EQ(evaluated, 0);
  const Ref<MemoryLogger> logger = make<MemoryLogger>();
  DDLog::addLogger(logger);
  KVT_LOG_INFO("%d", argument());
  EXPECT_EQ(evaluated, 1);
}

TEST(LogMacrosTest, ArgumentsOfAFormat) {
  constexpr std::size_t bad = detail::kBadFormat;
  constexpr struct {
    const char* format;
    std::size_t counted, expected;
  } rows[] = {
#define ROW(format, expected) {format, detail::argumentsOfFormat(format), expected}
      ROW("", 0), ROW("text", 0), ROW("100%%", 0), ROW("%@", 1), ROW("%@ %@%d", 3), ROW("%5.2f", 1), ROW("%-*d", 2),
      ROW("%.*s", 2), ROW("%*.*f", 3), ROW("%1$@ %1$@", 1), ROW("%2$@ %1$@", 2), ROW("%2$*1$d", 2),
      ROW("%llu %zd %hhx", 3), ROW("%#x%+d% d%05d", 4), ROW("%p %c %C %S", 4), ROW("：%@，%@", 2),
      // What is no format.
      ROW("%", bad), ROW("100%", bad), ROW("%5", bad), ROW("%ll", bad), ROW("%y", bad), ROW("%0$@", bad),
      ROW("50% off", 1)
#undef ROW
  };
  for (const auto& row : rows) EXPECT_EQ(row.counted, row.expected) << row.format;
}

// ---- the end --------------------------------------------------------------------------------------------------------

TEST_F(DDLogThreadTest, WhatWaitsIsWrittenWhenTheProgramEnds) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        DDLog::addLogger(DDTTYLogger::sharedInstance());
        for (int i = 0; i < 500; ++i) KVT_LOG_INFO("line %d", i);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "line 499");
}

}  // namespace
}  // namespace kvt
