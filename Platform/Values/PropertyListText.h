// What the XML form's reader and writer share; not installed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kvt::propertylist {

/// " at line 7." for a byte of the text.
std::string placeOf(std::string_view text, std::size_t offset);

/// "2024-01-02T03:04:05Z" as seconds since 2001, in the Gregorian calendar throughout; the year may have a sign and
/// more digits.
bool parseDate(std::string_view text, double& secondsSince2001) noexcept;
/// Rounded down to the second. False for what no calendar reaches.
bool formatDate(double secondsSince2001, std::string& text);

}  // namespace kvt::propertylist
