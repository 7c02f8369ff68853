// A line on standard error, behind the time, the program's name and the numbers of process and thread:
//
//     NSLog("deleted %@", path);       // 2016-05-15 10:20:30.123 kvt[4711:4712] deleted /tmp/x
//
// The format and its arguments are those of `NSString::stringWithFormat`. A line is written at once, with its end, by
// one call of the system; it is lost where nothing can be written. A nil format writes nothing. Thread rule: any
// thread.
#pragma once

#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSStringFormat.h>

namespace kvt {

KVT_EXPORT void NSLog_arguments(const NSString& format, const FormatArgument* arguments, NSUInteger count);

template <class... A>
void NSLog(const NSString& format, const A&... arguments) {
  const FormatArgument list[sizeof...(A) + 1] = {FormatArgument(arguments)..., FormatArgument(0)};
  NSLog_arguments(format, list, sizeof...(A));
}

}  // namespace kvt
