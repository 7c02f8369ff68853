#include "PropertyListText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace kvt::propertylist {
namespace {

constexpr std::int64_t kDaysTo2001 = 11323;  // from 1970-01-01

/// Days from 1970-01-01; years that begin in March put the leap day at their end.
std::int64_t daysOf(std::int64_t year, int month, int day) noexcept {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t cycle = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfCycle = year - cycle * 400;
  const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  return cycle * 146097 + yearOfCycle * 365 + yearOfCycle / 4 - yearOfCycle / 100 + dayOfYear - 719468;
}

int daysInMonth(std::int64_t year, int month) noexcept {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && isLeap ? 29 : kDays[month - 1];
}

}  // namespace

std::string placeOf(std::string_view text, std::size_t offset) {
  const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(offset, text.size()));
  return " at line " + std::to_string(1 + std::count(text.begin(), end, '\n')) + ".";
}

bool parseDate(std::string_view text, double& secondsSince2001) noexcept {
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  // Behind the year: -MM-DDTHH:MM:SSZ
  constexpr std::string_view kShape = "-00-00T00:00:00Z";
  if (digits < 4 || digits > 9 || text.size() != digits + kShape.size()) return false;
  const std::string_view rest = text.substr(digits);
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    if (kShape[i] == '0' ? rest[i] < '0' || rest[i] > '9' : rest[i] != kShape[i]) return false;
  }
  const auto field = [rest](std::size_t at) { return (rest[at] - '0') * 10 + rest[at + 1] - '0'; };
  std::int64_t year = 0;
  for (const char c : text.substr(0, digits)) year = year * 10 + (c - '0');
  if (isNegative) year = -year;
  const int month = field(1), day = field(4), hour = field(7), minute = field(10), second = field(13);
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month)) return false;
  if (hour > 23 || minute > 59 || second > 59) return false;
  const std::int64_t days = daysOf(year, month, day) - kDaysTo2001;
  secondsSince2001 = static_cast<double>(days * 86400 + hour * 3600 + minute * 60 + second);
  return true;
}

bool formatDate(double secondsSince2001, std::string& text) {
  // A billion years either way; the negation takes NaN along.
  if (!(std::fabs(secondsSince2001) < 3e16)) return false;
  const auto seconds = static_cast<std::int64_t>(std::floor(secondsSince2001));
  std::int64_t days = seconds / 86400;
  if (seconds % 86400 < 0) --days;
  const auto rest = static_cast<int>(seconds - days * 86400);
  days += kDaysTo2001 + 719468;
  const std::int64_t cycle = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfCycle = days - cycle * 146097;
  const std::int64_t yearOfCycle = (dayOfCycle - dayOfCycle / 1460 + dayOfCycle / 36524 - dayOfCycle / 146096) / 365;
  const std::int64_t dayOfYear = dayOfCycle - (365 * yearOfCycle + yearOfCycle / 4 - yearOfCycle / 100);
  const std::int64_t month = (5 * dayOfYear + 2) / 153;
  const std::int64_t year = yearOfCycle + cycle * 400 + (month >= 10 ? 1 : 0);
  char buffer[64];
  const int length = std::snprintf(
      buffer, sizeof buffer, "%s%04lld-%02d-%02dT%02d:%02d:%02dZ", year < 0 ? "-" : "",
      static_cast<long long>(year < 0 ? -year : year), static_cast<int>(month < 10 ? month + 3 : month - 9),
      static_cast<int>(dayOfYear - (153 * month + 2) / 5 + 1), rest / 3600, rest / 60 % 60, rest % 60);
  text.append(buffer, static_cast<std::size_t>(length));
  return true;
}

}  // namespace kvt::propertylist
