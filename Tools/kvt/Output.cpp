#include "Output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "Command.h"

namespace kvt::tool {
namespace {

constexpr std::size_t kPiece = 1 << 16;

bool wantsColours(int descriptor) {
  const char* refused = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  if (refused != nullptr && *refused != '\0') return false;
  return isatty(descriptor) == 1 && terminal != nullptr && std::strcmp(terminal, "dumb") != 0;
}

bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

Output::Output() : colours_(wantsColours(STDOUT_FILENO)) {}

Output& Output::operator<<(std::string_view text) {
  pending_ += text;
  if (pending_.size() >= kPiece) flush();
  return *this;
}

void Output::flush() {
  const std::string text = std::exchange(pending_, {});
  if (!writeAll(STDOUT_FILENO, text)) {
    throw Failure(ExitStatus::kOutput, std::string("cannot write to standard output: ") + std::strerror(errno));
  }
}

std::string Output::styled(Style style, std::string_view text) const {
  if (!colours_) return std::string(text);
  const char* code = "";
  switch (style) {
    case Style::kHeading: code = "\x1b[1;4m"; break;
    case Style::kClass: code = "\x1b[1;36m"; break;
    case Style::kQuiet: code = "\x1b[2m"; break;
    case Style::kNotable: code = "\x1b[33m"; break;
    case Style::kGood: code = "\x1b[32m"; break;
    case Style::kBad: code = "\x1b[31m"; break;
  }
  return code + std::string(text) + "\x1b[0m";
}

void complain(std::string_view message) {
  // There is nowhere left to say that standard error cannot be written.
  static_cast<void>(writeAll(STDERR_FILENO, "kvt: " + std::string(message) + "\n"));
}

}  // namespace kvt::tool
