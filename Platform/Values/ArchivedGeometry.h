// Points, sizes and rectangles as the text that coders keep them in; not installed.
#pragma once

#include <string>
#include <string_view>

#include "NSTypes.h"

namespace kvt::archive {

/// "{1, 2}" and "{{0, 0}, {1, 2}}", with the digits that read back as the same numbers.
std::string textOf(CGPoint point);
std::string textOf(CGSize size);
std::string textOf(CGRect rect);

/// NO for any other text.
bool parse(std::string_view text, CGPoint& point) noexcept;
bool parse(std::string_view text, CGSize& size) noexcept;
bool parse(std::string_view text, CGRect& rect) noexcept;

}  // namespace kvt::archive
