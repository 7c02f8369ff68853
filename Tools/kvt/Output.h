// Standard output: collected, written in large pieces, and never lost silently.
#pragma once

#include <string>
#include <string_view>

namespace kvt::tool {

enum class Style { kHeading, kClass, kQuiet, kNotable, kGood, kBad };

class Output {
 public:
  Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Raises an output failure when what was collected cannot be written.
  Output& operator<<(std::string_view text);
  /// Writes what is left. Nobody knows that all is written before this has returned.
  void flush();

  /// The text in a colour or weight; as it is unless it goes to a terminal that is not asked to stay plain (NO_COLOR).
  std::string styled(Style style, std::string_view text) const;

 private:
  std::string pending_;
  bool colours_;
};

/// One line on standard error, "kvt: " before it.
void complain(std::string_view message);

}  // namespace kvt::tool
