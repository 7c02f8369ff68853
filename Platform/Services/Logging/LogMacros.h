// The library's own lines, in three words:
//
//     KVT_LOG_INFO("cache: %@ has %llu entries", name, count);
//     KVT_LOG_WARNING("illegal address");
//     KVT_LOG_ERROR("check failed: %@", error);
//
//                         flag   context    returns
//     KVT_LOG_INFO        4      0x700000   when the line is on the logging queue
//     KVT_LOG_WARNING     2      0x300000   likewise
//     KVT_LOG_ERROR       1      0x100000   when all loggers have it
//
// The level is always 0x700007; file, function and line are those of the place. The format is a literal, and must have
// as many conversions as there are arguments: anything else does not compile. Where no logger takes the line, the
// arguments are not evaluated.
#pragma once

#include <string_view>
#include <type_traits>

#include "DDLog.h"

namespace kvt::detail {

inline constexpr std::size_t kBadFormat = ~std::size_t{0};

/// How many arguments a format takes; kBadFormat when it is none.
consteval std::size_t argumentsOfFormat(std::string_view format) {
  std::size_t taken = 0, highest = 0;
  const auto isDigit = [&](std::size_t i) { return i < format.size() && format[i] >= '0' && format[i] <= '9'; };
  // A number at i; i is behind it afterwards.
  const auto number = [&](std::size_t& i) {
    std::size_t value = 0;
    while (isDigit(i)) value = value * 10 + static_cast<std::size_t>(format[i++] - '0');
    return value;
  };
  const auto take = [&](std::size_t position) {
    if (position == 0) position = ++taken;
    if (position > highest) highest = position;
  };
  // "*" or "*2$".
  const auto star = [&](std::size_t& i) {
    if (i >= format.size() || format[i] != '*') return;
    std::size_t end = ++i;
    const std::size_t position = number(end);
    if (end > i && end < format.size() && format[end] == '$') {
      take(position);
      i = end + 1;
    } else {
      take(0);
    }
  };
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    std::size_t position = 0;
    std::size_t end = ++i;
    const std::size_t value = number(end);
    if (end > i && end < format.size() && format[end] == '$') {
      if (value == 0) return kBadFormat;
      position = value;
      i = end + 1;
    }
    while (i < format.size() && std::string_view("-+ #0'").find(format[i]) != std::string_view::npos) ++i;
    star(i);
    number(i);
    if (i < format.size() && format[i] == '.') {
      star(++i);
      number(i);
    }
    while (i < format.size() && std::string_view("hlqztjL").find(format[i]) != std::string_view::npos) ++i;
    if (i >= format.size()) return kBadFormat;
    if (format[i] == '%') continue;
    if (std::string_view("@diuxXofFeEgGaAcCsSp").find(format[i]) == std::string_view::npos) return kBadFormat;
    take(position);
  }
  return highest;
}

template <class... A>
std::integral_constant<std::size_t, sizeof...(A)> countOf(const A&...);

}  // namespace kvt::detail

#define KVT_LOG_LINE_(asynchronous, flag, context, format, ...)                                                     \
  do {                                                                                                              \
    static_assert(::kvt::detail::argumentsOfFormat(format) == decltype(::kvt::detail::countOf(__VA_ARGS__))::value, \
                  "the format takes another number of arguments");                                                  \
    if (::kvt::DDLog::takes(flag)) {                                                                                \
      ::kvt::DDLog::log_level_flag_context_file_function_line_tag_format(                                           \
          asynchronous, 0x700007, flag, context, __FILE__, __PRETTY_FUNCTION__, __LINE__, nullptr,                  \
          ::kvt::literals::operator""_ns<format>() __VA_OPT__(, ) __VA_ARGS__);                                     \
    }                                                                                                               \
  } while (false)

#define KVT_LOG_INFO(...) KVT_LOG_LINE_(true, ::kvt::DDLogFlagInfo, 0x700000, __VA_ARGS__)
#define KVT_LOG_WARNING(...) KVT_LOG_LINE_(true, ::kvt::DDLogFlagWarning, 0x300000, __VA_ARGS__)
#define KVT_LOG_ERROR(...) KVT_LOG_LINE_(false, ::kvt::DDLogFlagError, 0x100000, __VA_ARGS__)
