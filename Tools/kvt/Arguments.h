// A command's arguments: flags and operands.
#pragma once

#include <initializer_list>
#include <span>
#include <string_view>
#include <vector>

namespace kvt::tool {

class Arguments {
 public:
  /// Flags are what begins with "-", a lone "-" excepted; "--" ends them. Raises a usage failure for one that is not in
  /// `flags`.
  Arguments(std::span<const std::string_view> arguments, std::initializer_list<std::string_view> flags);

  bool has(std::string_view flag) const noexcept;
  std::span<const std::string_view> operands() const noexcept { return operands_; }

 private:
  std::vector<std::string_view> flags_;
  std::vector<std::string_view> operands_;
};

}  // namespace kvt::tool
