// A command's arguments: flags, options with a value, and operands.
#pragma once

#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace kvt::tool {

class Arguments {
 public:
  /// Flags and options are what begins with "-", a lone "-" excepted; "--" ends them. An option's value is the next
  /// argument, or stands behind "=". Raises a usage failure for one that is in neither list, for an option without a
  /// value and for one that comes twice.
  Arguments(std::span<const std::string_view> arguments, std::initializer_list<std::string_view> flags,
            std::initializer_list<std::string_view> options = {});

  bool has(std::string_view flag) const noexcept;
  std::optional<std::string_view> valueOf(std::string_view option) const noexcept;
  std::span<const std::string_view> operands() const noexcept { return operands_; }

 private:
  std::vector<std::string_view> flags_;
  std::vector<std::pair<std::string_view, std::string_view>> options_;
  std::vector<std::string_view> operands_;
};

}  // namespace kvt::tool
