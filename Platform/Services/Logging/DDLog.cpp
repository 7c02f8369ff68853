#include "DDLog.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <KVTPlatform/Runtime/ClassBuilder.h>
#include <KVTPlatform/Runtime/Raise.h>
#include <KVTPlatform/Services/Dispatch/DispatchSemaphore.h>
#include <KVTPlatform/Values/NSArray.h>

#include "../Dispatch/Futex.h"

namespace kvt {

constinit std::atomic<NSUInteger> detail::takenLogFlags{0};

// ---- messages -------------------------------------------------------------------------------------------------------

namespace {

NSString textOrNil(const std::string& text) { return text.empty() ? NSString() : NSString(text); }

}  // namespace

DDLogMessage::DDLogMessage(const NSString& message, NSUInteger level, NSUInteger flag, NSInteger context,
                           const char* file, const char* function, NSUInteger line, const id& tag,
                           const NSDate& timestamp)
    : message_(message.copy()),
      level_(level),
      flag_(flag),
      context_(context),
      file_(file != nullptr ? file : ""),
      function_(function != nullptr ? function : ""),
      line_(line),
      tag_(tag),
      timestamp_(timestamp ? timestamp : NSDate::date()),
      thread_(dispatch::currentThreadId()),
      queueLabel_(dispatch_get_current_queue_label()) {
  ::pthread_getname_np(::pthread_self(), threadName_, sizeof threadName_);
}

NSString DDLogMessage::file() const { return textOrNil(file_); }
NSString DDLogMessage::fileName() const { return file().lastPathComponent().stringByDeletingPathExtension(); }
NSString DDLogMessage::function() const { return textOrNil(function_); }
NSString DDLogMessage::threadID() const { return NSString(std::to_string(thread_)); }
NSString DDLogMessage::threadName() const { return textOrNil(threadName_); }
NSString DDLogMessage::queueLabel() const { return NSString(queueLabel_); }

void DDLogMessage::kvtDescribe(ClassBuilder<DDLogMessage>& c) {
  c.property<&DDLogMessage::message_>("message", {.readonly = true});
  c.property<&DDLogMessage::level_>("level", {.readonly = true});
  c.property<&DDLogMessage::flag_>("flag", {.readonly = true});
  c.property<&DDLogMessage::context_>("context", {.readonly = true});
  c.property<&DDLogMessage::line_>("line", {.readonly = true});
  c.property<&DDLogMessage::tag_>("tag", {.readonly = true});
  c.property<&DDLogMessage::timestamp_>("timestamp", {.readonly = true});
  c.method<&DDLogMessage::file>("file").method<&DDLogMessage::fileName>("fileName");
  c.method<&DDLogMessage::function>("function").method<&DDLogMessage::threadID>("threadID");
  c.method<&DDLogMessage::threadName>("threadName").method<&DDLogMessage::queueLabel>("queueLabel");
}

// ---- formatters and loggers -----------------------------------------------------------------------------------------

void DDLogFormatter::didAddToLogger(const Ref<DDLogger>&) {}
void DDLogFormatter::willRemoveFromLogger(const Ref<DDLogger>&) {}

void DDLogFormatter::kvtDescribe(ClassBuilder<DDLogFormatter>& c) {
  c.protocol("DDLogFormatter");
  c.method<&DDLogFormatter::formatLogMessage>("formatLogMessage:");
  c.method<&DDLogFormatter::didAddToLogger>("didAddToLogger:");
  c.method<&DDLogFormatter::willRemoveFromLogger>("willRemoveFromLogger:");
}

DDLogger::~DDLogger() = default;
void DDLogger::flush() {}
void DDLogger::didAddLogger() {}
void DDLogger::willRemoveLogger() {}
NSString DDLogger::loggerName() const { return NSString(class_getName(object_getClass(this))); }

Ref<DDLogFormatter> DDLogger::logFormatter() const {
  std::lock_guard lock(mutex_);
  return formatter_;
}

void DDLogger::setLogFormatter(const Ref<DDLogFormatter>& formatter) {
  const Ref<DDLogger> self(this);
  Ref<DDLogFormatter> before = formatter;
  if (formatter) formatter->didAddToLogger(self);
  {
    std::lock_guard lock(mutex_);
    formatter_.swap(before);
  }
  if (before) before->willRemoveFromLogger(self);
}

dispatch_queue_t DDLogger::loggerQueue() const {
  const NSString name = loggerName();
  std::lock_guard lock(mutex_);
  if (!queue_) {
    queue_ = dispatch_queue_create_with_target(name.UTF8String(), DISPATCH_QUEUE_SERIAL, DDLog::loggingQueue());
  }
  return queue_;
}

NSString DDLogger::formatted(const Ref<DDLogMessage>& message) const {
  const Ref<DDLogFormatter> formatter = logFormatter();
  return formatter ? formatter->formatLogMessage(message) : message->message();
}

void DDLogger::kvtDescribe(ClassBuilder<DDLogger>& c) {
  c.protocol("DDLogger");
  c.method<&DDLogger::logMessage>("logMessage:").method<&DDLogger::flush>("flush");
  c.method<&DDLogger::didAddLogger>("didAddLogger").method<&DDLogger::willRemoveLogger>("willRemoveLogger");
  c.method<&DDLogger::loggerName>("loggerName").method<&DDLogger::loggerQueue>("loggerQueue");
  c.method<&DDLogger::logFormatter>("logFormatter").method<&DDLogger::setLogFormatter>("setLogFormatter:");
}

// ---- lines ----------------------------------------------------------------------------------------------------------

namespace {

struct Entry {
  Ref<DDLogger> logger;
  NSUInteger level;
};
using Entries = std::vector<Entry>;

constexpr int kMaximumWaiting = 1000;

/// Never destroyed: lines come until the very end.
struct Logging {
  static Logging& shared() {
    static auto* logging = new Logging;
    return *logging;
  }
  Logging() { dispatch_queue_set_specific(queue, this, this, nullptr); }

  bool isHere() const noexcept { return dispatch_get_specific(this) != nullptr; }
  /// Runs the work among the lines: at once when it is called from there.
  template <class F>
  void run(const F& work) {
    if (isHere())
      work();
    else
      dispatch_sync(queue, work);
  }

  void change(const std::shared_ptr<const Entries>& newEntries) {
    entries = newEntries;
    NSUInteger taken = 0;
    for (const Entry& each : *entries) taken |= each.level;
    detail::takenLogFlags.store(taken, std::memory_order_relaxed);
  }
  Entries::const_iterator find(const Ref<DDLogger>& logger) const {
    return std::find_if(entries->begin(), entries->end(),
                        [&](const Entry& each) { return isIdentical(each.logger, logger); });
  }

  void deliver(const Ref<DDLogMessage>& message) const {
    const std::shared_ptr<const Entries> present = entries;  // a logger may add and remove others
    for (const Entry& each : *present) {
      if ((each.level & message->flag()) != 0) guarded([&] { each.logger->logMessage(message); });
    }
  }
  void flush() const {
    const std::shared_ptr<const Entries> present = entries;
    for (const Entry& each : *present) guarded([&] { each.logger->flush(); });
  }

  template <class F>
  static void guarded(const F& call) noexcept {
    try {
      call();
    } catch (const std::exception& exception) {
      objc_warn(std::string("a logger raised ") + exception.what());
    } catch (...) {
      objc_warn("a logger raised an exception");
    }
  }

  const dispatch_queue_t queue = dispatch_queue_create("cocoa.lumberjack", DISPATCH_QUEUE_SERIAL);
  const dispatch_semaphore_t room = dispatch_semaphore_create(kMaximumWaiting);
  std::shared_ptr<const Entries> entries = std::make_shared<const Entries>();  // the queue's
};

/// What waits when the program ends is written. (A forked child that ends so has no threads that could.)
void flushAtExit() {
  static const pid_t process = ::getpid();
  static const bool registered = std::atexit([] {
                                   if (::getpid() == process) DDLog::flushLog();
                                 }) == 0;
  static_cast<void>(registered);
}

}  // namespace

dispatch_queue_t DDLog::loggingQueue() { return Logging::shared().queue; }

void DDLog::addLogger(const Ref<DDLogger>& logger) { addLogger_withLevel(logger, DDLogLevelAll); }

void DDLog::addLogger_withLevel(const Ref<DDLogger>& logger, NSUInteger level) {
  if (!logger) return;
  Logging& logging = Logging::shared();
  flushAtExit();
  logging.run([&] {
    if (logging.find(logger) != logging.entries->end()) return;
    auto entries = std::make_shared<Entries>(*logging.entries);
    entries->push_back({logger, level});
    logging.change(entries);
    Logging::guarded([&] { logger->didAddLogger(); });
  });
}

void DDLog::removeLogger(const Ref<DDLogger>& logger) {
  Logging& logging = Logging::shared();
  logging.run([&] {
    const auto found = logging.find(logger);
    if (found == logging.entries->end()) return;
    auto entries = std::make_shared<Entries>(*logging.entries);
    entries->erase(entries->begin() + (found - logging.entries->begin()));
    logging.change(entries);
    Logging::guarded([&] { logger->willRemoveLogger(); });
  });
}

void DDLog::removeAllLoggers() {
  for (const id& each : allLoggers()) removeLogger(each.as<DDLogger>());
}

NSArray DDLog::allLoggers() {
  Logging& logging = Logging::shared();
  std::vector<id> result;
  logging.run([&] {
    for (const Entry& each : *logging.entries) result.push_back(each.logger);
  });
  return NSArray::arrayWithRange(result);
}

NSUInteger DDLog::levelForLogger(const Ref<DDLogger>& logger) {
  Logging& logging = Logging::shared();
  NSUInteger result = DDLogLevelOff;
  logging.run([&] {
    const auto found = logging.find(logger);
    if (found != logging.entries->end()) result = found->level;
  });
  return result;
}

void DDLog::log_message(bool asynchronous, const Ref<DDLogMessage>& message) {
  if (!message || !takes(message->flag())) return;
  Logging& logging = Logging::shared();
  if (logging.isHere()) {
    // A logger logs. Waiting for itself, or for room that only it can make, would be for ever.
    dispatch_async(logging.queue, [&logging, message] { logging.deliver(message); });
  } else if (asynchronous) {
    dispatch_semaphore_wait(logging.room, DISPATCH_TIME_FOREVER);
    dispatch_async(logging.queue, [&logging, message] {
      logging.deliver(message);
      dispatch_semaphore_signal(logging.room);
    });
  } else {
    dispatch_sync(logging.queue, [&] { logging.deliver(message); });
  }
}

void DDLog::log(bool asynchronous, NSUInteger level, NSUInteger flag, NSInteger context, const char* file,
                const char* function, NSUInteger line, const id& tag, const NSString& format,
                const FormatArgument* arguments, NSUInteger count) {
  if (!format) return;
  log_message(asynchronous, make<DDLogMessage>(NSString::stringWithFormat_arguments(format, arguments, count), level,
                                               flag, context, file, function, line, tag));
}

void DDLog::flushLog() {
  Logging& logging = Logging::shared();
  logging.run([&] { logging.flush(); });
}

// ---- class ----------------------------------------------------------------------------------------------------------

namespace {

/// By message: a format without arguments, which a message cannot carry.
void logMethod(bool asynchronous, NSUInteger level, NSUInteger flag, NSInteger context, const char* file,
               const char* function, NSUInteger line, const id& tag, const NSString& format) {
  DDLog::log_level_flag_context_file_function_line_tag_format(asynchronous, level, flag, context, file, function, line,
                                                              tag, format);
}

}  // namespace

void DDLog::kvtDescribe(ClassBuilder<DDLog>& c) {
  c.classMethod<&DDLog::addLogger>("addLogger:").classMethod<&DDLog::addLogger_withLevel>("addLogger:withLevel:");
  c.classMethod<&DDLog::removeLogger>("removeLogger:").classMethod<&DDLog::removeAllLoggers>("removeAllLoggers");
  c.classMethod<&DDLog::allLoggers>("allLoggers").classMethod<&DDLog::levelForLogger>("levelForLogger:");
  c.classMethod<&logMethod>("log:level:flag:context:file:function:line:tag:format:");
  c.classMethod<&DDLog::log_message>("log:message:");
  c.classMethod<&DDLog::flushLog>("flushLog").classMethod<&DDLog::loggingQueue>("loggingQueue");
}

}  // namespace kvt
