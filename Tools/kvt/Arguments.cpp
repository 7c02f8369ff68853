#include "Arguments.h"

#include <algorithm>

#include "Command.h"
#include "Text.h"

namespace kvt::tool {
namespace {

bool contains(std::initializer_list<std::string_view> list, std::string_view word) {
  return std::find(list.begin(), list.end(), word) != list.end();
}

}  // namespace

Arguments::Arguments(std::span<const std::string_view> arguments, std::initializer_list<std::string_view> flags,
                     std::initializer_list<std::string_view> options) {
  bool flagsEnded = false;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string_view argument = arguments[i];
    const std::size_t equals = argument.find('=');
    const std::string_view name = argument.substr(0, equals);
    if (flagsEnded || argument == "-" || !argument.starts_with('-')) {
      operands_.push_back(argument);
    } else if (argument == "--") {
      flagsEnded = true;
    } else if (contains(flags, argument)) {
      flags_.push_back(argument);
    } else if (contains(options, name)) {
      if (valueOf(name)) throw Failure(ExitStatus::kUsage, std::string(name) + " is given twice");
      if (equals == std::string_view::npos && ++i == arguments.size()) {
        throw Failure(ExitStatus::kUsage, std::string(name) + " needs a value");
      }
      options_.emplace_back(name, equals == std::string_view::npos ? arguments[i] : argument.substr(equals + 1));
    } else {
      throw Failure(ExitStatus::kUsage, "unknown option " + printable(argument));
    }
  }
}

bool Arguments::has(std::string_view flag) const noexcept {
  return std::find(flags_.begin(), flags_.end(), flag) != flags_.end();
}

std::optional<std::string_view> Arguments::valueOf(std::string_view option) const noexcept {
  for (const auto& [name, value] : options_) {
    if (name == option) return value;
  }
  return {};
}

}  // namespace kvt::tool
