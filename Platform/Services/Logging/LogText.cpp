#include "LogText.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace kvt::logging {

std::string timeText(NSTimeInterval seconds, char day, char milliseconds) {
  // Rounded down, to the millisecond.
  const double total = std::isfinite(seconds) ? std::floor(seconds * 1000) : 0;
  const double whole = std::floor(total / 1000);
  const auto time = static_cast<std::time_t>(whole);
  std::tm local{};
  ::localtime_r(&time, &local);
  char text[96];
  std::snprintf(text, sizeof text, "%04d%c%02d%c%02d %02d:%02d:%02d%c%03d", local.tm_year + 1900, day, local.tm_mon + 1,
                day, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, milliseconds,
                static_cast<int>(total - whole * 1000));
  return text;
}

std::string programName() { return program_invocation_short_name; }

std::string sourceText(std::string_view thread) {
  std::string text = programName();
  text += '[';
  text += std::to_string(::getpid());
  text += ':';
  text += thread;
  text += ']';
  return text;
}

void writeLine(int descriptor, std::string_view line) noexcept {
  while (!line.empty()) {
    const ssize_t written = ::write(descriptor, line.data(), line.size());
    if (written >= 0) {
      line.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      // A host's terminal may be set so; half a line is worse than a moment's wait.
      pollfd entry{descriptor, POLLOUT, 0};
      if (::poll(&entry, 1, 1000) != 1) return;
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace kvt::logging
