#include "Progress.h"

#include <unistd.h>

#include "Text.h"

namespace kvt::tool {

void Progress::enable() { enabled_ = isatty(STDERR_FILENO) == 1; }

void Progress::stage(std::string_view name, std::string_view unit, Steps steps) {
  stage_ = name;
  unit_ = unit;
  mask_ = steps == Steps::kFast ? 0xFFFF : 0xFF;
  steps_ = 0;
  if (!enabled_) return;
  show(stage_ + " …");
  last_ = std::chrono::steady_clock::now();
}

void Progress::refresh() {
  const auto now = std::chrono::steady_clock::now();
  if (now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  show(stage_ + " … " + grouped(steps_) + " " + unit_);
}

void Progress::clear() {
  if (shown_) show("");
  shown_ = false;
}

void Progress::show(const std::string& line) {
  // A terminal that went away costs the line and nothing else.
  const std::string text = "\r\x1b[K" + line;
  if (write(STDERR_FILENO, text.data(), text.size()) < 0) enabled_ = false;
  shown_ = true;
}

}  // namespace kvt::tool
