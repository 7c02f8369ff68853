// The tool's commands, and how a command ends.
#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kvt::tool {

/// The values of <sysexits.h>, which scripts know.
enum class ExitStatus : int {
  kOK = 0,
  kUsage = 64,     // the command line is wrong
  kBadData = 65,   // the input is not what it should be
  kNoInput = 66,   // the input cannot be read
  kSoftware = 70,  // a mistake of the tool's own
  kOutput = 74,    // the output cannot be written, or a file not removed
};

/// Ends a command: one line for standard error, and the status.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& message) : std::runtime_error(message), status_(status) {}
  ExitStatus status() const noexcept { return status_; }

 private:
  ExitStatus status_;
};

struct Command {
  std::string_view name;
  std::string_view summary;  // what `kvt --help` says about it
  std::string_view usage;    // one line
  std::string_view help;     // what `kvt help NAME` adds
  void (*run)(std::span<const std::string_view> arguments);
};

extern const Command kModelCommand;
extern const Command kCacheCommand;

}  // namespace kvt::tool
