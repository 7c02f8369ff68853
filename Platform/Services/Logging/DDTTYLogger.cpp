#include "DDTTYLogger.h"

#include <unistd.h>

#include <cstdlib>
#include <string>

#include <KVTPlatform/Runtime/ClassBuilder.h>

#include "LogText.h"

namespace kvt {
namespace {

bool showsColors(int descriptor) {
  const char* terminal = std::getenv("TERM");
  return ::isatty(descriptor) == 1 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
         std::string_view(terminal) != "dumb";
}

const char* colorOf(NSUInteger flag) noexcept {
  if ((flag & DDLogFlagError) != 0) return "\x1b[31m";
  if ((flag & DDLogFlagWarning) != 0) return "\x1b[33m";
  return nullptr;
}

}  // namespace

Ref<DDTTYLogger> DDTTYLogger::sharedInstance() {
  static const auto* shared = new Ref<DDTTYLogger>(make<DDTTYLogger>(STDERR_FILENO));
  return *shared;
}

DDTTYLogger::DDTTYLogger(int descriptor) : descriptor_(descriptor), colors_(showsColors(descriptor)) {}

NSString DDTTYLogger::loggerName() const { return "cocoa.lumberjack.ttyLogger"; }

void DDTTYLogger::logMessage(const Ref<DDLogMessage>& message) {
  const NSString text = formatted(message);
  if (!text) return;
  std::string line;
  if (!logFormatter()) {
    line = logging::timeText(message->timestamp().timeIntervalSince1970(), '-', ':');
    line += ' ';
    line += logging::sourceText(message->threadID().utf8());
    line += ' ';
  }
  line += text.str();
  while (!line.empty() && line.back() == '\n') line.pop_back();
  const char* color = colorsEnabled() ? colorOf(message->flag()) : nullptr;
  logging::writeLine(descriptor_, color != nullptr ? color + line + "\x1b[0m\n" : line + "\n");
}

void DDTTYLogger::kvtDescribe(ClassBuilder<DDTTYLogger>& c) {
  c.classMethod<&DDTTYLogger::sharedInstance>("sharedInstance");
  c.method<&DDTTYLogger::colorsEnabled>("colorsEnabled").method<&DDTTYLogger::setColorsEnabled>("setColorsEnabled:");
}

}  // namespace kvt
