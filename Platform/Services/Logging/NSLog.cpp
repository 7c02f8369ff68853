#include "NSLog.h"

#include <unistd.h>

#include <KVTPlatform/Values/NSDate.h>

#include "../Dispatch/Futex.h"
#include "LogText.h"

namespace kvt {

void NSLog_arguments(const NSString& format, const FormatArgument* arguments, NSUInteger count) {
  if (!format) return;
  std::string line = logging::timeText(NSDate::date().timeIntervalSince1970(), '-', '.');
  line += ' ';
  line += logging::sourceText(std::to_string(dispatch::currentThreadId()));
  line += ' ';
  line += NSString::stringWithFormat_arguments(format, arguments, count).str();
  if (line.back() != '\n') line += '\n';
  logging::writeLine(STDERR_FILENO, line);
}

}  // namespace kvt
