// Log lines: a program writes them through one operation, and whoever has been added as a logger takes them.
//
//     DDLog::addLogger(DDTTYLogger::sharedInstance());                         // to the terminal
//     DDLog::addLogger_withLevel(make<DDFileLogger>(), DDLogLevelWarning);     // and to files
//
//     DDLog::log_level_flag_context_file_function_line_tag_format(
//         true, DDLogLevelAll, DDLogFlagInfo, 0, __FILE__, __func__, __LINE__, nil, "%@ has %d", name, 3);
//
// The library's own lines go the same way: KVT_LOG_INFO and its like (LogMacros.h) are three words for it.
//
// A line carries a flag (how important it is) and a context (what it is about). It reaches each logger whose level has
// the flag's bit; the logger's formatter may write it anew, or drop it. A line that no logger takes is not formatted
// and costs some 2 ns. One that is taken is formatted at once, on the thread that logs; arguments are checked as
// `NSString::stringWithFormat` says.
//
// Loggers are called one after the other, in the order in which they were added, on a serial queue of the library: an
// asynchronous line returns when it is on that queue (where a thousand may wait; who comes then waits too), a
// synchronous one when all loggers have it. A line that a logger or formatter itself logs comes after the present one.
// An exception that leaves a logger is told on standard error and goes no further. What waits when the program ends by
// `exit` or by returning from `main` is delivered then.
//
// Thread rule: any thread may log, add and remove.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

#include <KVTPlatform/Services/Dispatch/DispatchQueue.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSObject.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSStringFormat.h>
#include <KVTPlatform/Values/NSTypes.h>

namespace kvt {

class NSArray;
class DDLogger;

/// How important a line is: one bit.
enum DDLogFlag : NSUInteger {
  DDLogFlagError = 1,
  DDLogFlagWarning = 2,
  DDLogFlagInfo = 4,
  DDLogFlagDebug = 8,
  DDLogFlagVerbose = 16,
};
/// Which lines a logger takes: the bits of their flags. A client's own bits are welcome.
enum DDLogLevel : NSUInteger {
  DDLogLevelOff = 0,
  DDLogLevelError = 1,
  DDLogLevelWarning = 3,
  DDLogLevelInfo = 7,
  DDLogLevelDebug = 15,
  DDLogLevelVerbose = 31,
  DDLogLevelAll = ~NSUInteger{0},
};

/// One line, as loggers and formatters see it. Immutable.
class KVT_EXPORT DDLogMessage : public NSObject {
 public:
  /// `file` and `function` are copied and may be null; a nil date is now. Thread and queue are those of the caller.
  DDLogMessage(const NSString& message, NSUInteger level, NSUInteger flag, NSInteger context, const char* file,
               const char* function, NSUInteger line, const id& tag = nullptr, const NSDate& timestamp = nullptr);

  const NSString& message() const noexcept { return message_; }
  NSUInteger level() const noexcept { return level_; }
  NSUInteger flag() const noexcept { return flag_; }
  NSInteger context() const noexcept { return context_; }
  /// The source file's path; `fileName` is its last component without the extension. nil when there was none.
  NSString file() const;
  NSString fileName() const;
  NSString function() const;
  NSUInteger line() const noexcept { return line_; }
  const id& tag() const noexcept { return tag_; }
  const NSDate& timestamp() const noexcept { return timestamp_; }
  /// The number of the thread that logged in the system, its name (nil without one) and the label of the queue whose
  /// work it was running ("" for none).
  NSString threadID() const;
  NSString threadName() const;
  NSString queueLabel() const;

  /// The same object.
  Ref<DDLogMessage> copyWithZone() const { return Ref<DDLogMessage>(borrow, this); }

 private:
  static void kvtDescribe(ClassBuilder<DDLogMessage>& c);
  NSString message_;
  NSUInteger level_;
  NSUInteger flag_;
  NSInteger context_;
  std::string file_, function_;
  NSUInteger line_;
  id tag_;
  NSDate timestamp_;
  std::uint32_t thread_;
  char threadName_[16] = {};
  std::string queueLabel_;
  KVT_CLASS(DDLogMessage)
};

/// Writes lines in another way, or drops them.
///
///     class Shout : public DDLogFormatter {
///      public:
///       NSString formatLogMessage(const Ref<DDLogMessage>& message) override {
///         return message->context() == kNoise ? nullptr : message->message().uppercaseString();
///       }
///       KVT_CLASS(Shout)
///     };
class KVT_EXPORT DDLogFormatter : public NSObject {
 public:
  /// nil drops the line for this logger. Called on the logging queue.
  virtual NSString formatLogMessage(const Ref<DDLogMessage>& message) = 0;
  /// When a logger gets and loses the formatter.
  virtual void didAddToLogger(const Ref<DDLogger>& logger);
  virtual void willRemoveFromLogger(const Ref<DDLogger>& logger);

 private:
  static void kvtDescribe(ClassBuilder<DDLogFormatter>& c);
  KVT_CLASS(DDLogFormatter)
};

/// What takes lines. A logger overrides `logMessage`; everything is called on the logging queue, one call at a time.
class KVT_EXPORT DDLogger : public NSObject {
 public:
  ~DDLogger() override;

  virtual void logMessage(const Ref<DDLogMessage>& message) = 0;
  /// Writes out what it keeps.
  virtual void flush();
  virtual void didAddLogger();
  virtual void willRemoveLogger();
  /// The class's name.
  virtual NSString loggerName() const;

  /// nil: lines are taken as they are. Any thread.
  Ref<DDLogFormatter> logFormatter() const;
  void setLogFormatter(const Ref<DDLogFormatter>& formatter);
  /// A serial queue below the logging queue, labelled with the logger's name: what runs there overlaps with no line.
  dispatch_queue_t loggerQueue() const;

 protected:
  /// What the formatter makes of the line, the line's own text without one; nil: drop it.
  NSString formatted(const Ref<DDLogMessage>& message) const;

 private:
  static void kvtDescribe(ClassBuilder<DDLogger>& c);
  mutable std::mutex mutex_;
  Ref<DDLogFormatter> formatter_;
  mutable dispatch_queue_t queue_;
  KVT_CLASS_NAMED(DDLogger, "DDAbstractLogger")
};
using DDAbstractLogger = DDLogger;

namespace detail {
/// The bits that some logger takes.
KVT_EXPORT extern std::atomic<NSUInteger> takenLogFlags;

/// A format that is made into text only when somebody takes the line.
class LogFormat {
 public:
  LogFormat(const char* utf8) noexcept : utf8_(utf8) {}
  LogFormat(const NSString& text) noexcept : text_(&text) {}
  NSString text() const { return text_ != nullptr ? *text_ : NSString(utf8_); }

 private:
  const char* utf8_ = nullptr;
  const NSString* text_ = nullptr;
};
}  // namespace detail

class KVT_EXPORT DDLog : public NSObject {
 public:
  // ---- loggers -----------------------------------------------------------------------------------------------------

  /// Nothing for nil, and for a logger that is there already. `addLogger` adds with every level.
  static void addLogger(const Ref<DDLogger>& logger);
  static void addLogger_withLevel(const Ref<DDLogger>& logger, NSUInteger level);
  /// The lines before the call have reached it when this returns.
  static void removeLogger(const Ref<DDLogger>& logger);
  static void removeAllLoggers();
  static NSArray allLoggers();
  /// The level it was added with; DDLogLevelOff for one that is not there.
  static NSUInteger levelForLogger(const Ref<DDLogger>& logger);

  // ---- lines -------------------------------------------------------------------------------------------------------

  /// Whether any logger takes lines of these flags.
  static bool takes(NSUInteger flag) noexcept {
    return (detail::takenLogFlags.load(std::memory_order_relaxed) & flag) != 0;
  }

  /// One line. `level` is what is on where the line stands; it is handed on and decides nothing here. Text that is no
  /// UTF-8, and a nil format, make no line.
  template <class... A>
  static void log_level_flag_context_file_function_line_tag_format(bool asynchronous, NSUInteger level, NSUInteger flag,
                                                                   NSInteger context, const char* file,
                                                                   const char* function, NSUInteger line, const id& tag,
                                                                   const detail::LogFormat& format,
                                                                   const A&... arguments) {
    if (!takes(flag)) return;
    const FormatArgument list[sizeof...(A) + 1] = {FormatArgument(arguments)..., FormatArgument(0)};
    log(asynchronous, level, flag, context, file, function, line, tag, format.text(), list, sizeof...(A));
  }
  /// One that is made already. Nothing for nil.
  static void log_message(bool asynchronous, const Ref<DDLogMessage>& message);

  /// Returns when every line before the call has reached its loggers, and these have written it out. From a logger
  /// itself, it writes out what has reached the loggers.
  static void flushLog();
  /// The queue on which loggers are called.
  static dispatch_queue_t loggingQueue();

 private:
  static void kvtDescribe(ClassBuilder<DDLog>& c);
  static void log(bool asynchronous, NSUInteger level, NSUInteger flag, NSInteger context, const char* file,
                  const char* function, NSUInteger line, const id& tag, const NSString& format,
                  const FormatArgument* arguments, NSUInteger count);
  KVT_CLASS(DDLog)
};

}  // namespace kvt
