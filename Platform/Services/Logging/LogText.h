// Texts that log lines have in common; not installed.
#pragma once

#include <string>
#include <string_view>

#include <KVTPlatform/Values/NSTypes.h>

namespace kvt::logging {

/// A moment (since 1970) by the local clock, like "2016-05-15 10:20:30.123". `day` stands between year, month and day,
/// `milliseconds` before them.
std::string timeText(NSTimeInterval seconds, char day, char milliseconds);
/// The program's file name.
std::string programName();
/// "kvt[4711:4712]": program, process, thread.
std::string sourceText(std::string_view thread);

/// Writes everything by as few calls as the system allows (one); gives up on errors.
void writeLine(int descriptor, std::string_view line) noexcept;

}  // namespace kvt::logging
