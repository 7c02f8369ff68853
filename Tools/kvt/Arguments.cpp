#include "Arguments.h"

#include <algorithm>

#include "Command.h"
#include "Text.h"

namespace kvt::tool {

Arguments::Arguments(std::span<const std::string_view> arguments, std::initializer_list<std::string_view> flags) {
  bool flagsEnded = false;
  for (std::string_view argument : arguments) {
    if (flagsEnded || argument == "-" || !argument.starts_with('-')) {
      operands_.push_back(argument);
    } else if (argument == "--") {
      flagsEnded = true;
    } else if (std::find(flags.begin(), flags.end(), argument) != flags.end()) {
      flags_.push_back(argument);
    } else {
      throw Failure(ExitStatus::kUsage, "unknown option " + printable(argument));
    }
  }
}

bool Arguments::has(std::string_view flag) const noexcept {
  return std::find(flags_.begin(), flags_.end(), flag) != flags_.end();
}

}  // namespace kvt::tool
