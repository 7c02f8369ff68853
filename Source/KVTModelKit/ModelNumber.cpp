#include <locale.h>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <unordered_map>

#include <KVTPlatform/Values/NSNull.h>

#include "ModelValue.h"

namespace kvt {
namespace {

/// Words that stand for a number, or (nil) for none. Exact and case-sensitive.
const std::unordered_map<std::string_view, NSNumber>& numberWords() {
  static const auto* words = new std::unordered_map<std::string_view, NSNumber>{
      {"TRUE", NSNumber(true)},   {"True", NSNumber(true)}, {"true", NSNumber(true)},   {"YES", NSNumber(true)},
      {"Yes", NSNumber(true)},    {"yes", NSNumber(true)},  {"FALSE", NSNumber(false)}, {"False", NSNumber(false)},
      {"false", NSNumber(false)}, {"NO", NSNumber(false)},  {"No", NSNumber(false)},    {"no", NSNumber(false)},
      {"NIL", NSNumber()},        {"Nil", NSNumber()},      {"nil", NSNumber()},        {"NULL", NSNumber()},
      {"Null", NSNumber()},       {"null", NSNumber()},     {"(NULL)", NSNumber()},     {"(Null)", NSNumber()},
      {"(null)", NSNumber()},     {"<NULL>", NSNumber()},   {"<Null>", NSNumber()},     {"<null>", NSNumber()},
  };
  return *words;
}

/// The C library's reading, whatever locale the host has set.
double doubleFrom(const char* text) {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(text, nullptr, cLocale);
}

}  // namespace

NSNumber KVTNSNumberCreateFromID(const id& value) {
  if (!value) return {};
  if (NSNumber number = value.as<NSNumber>()) return number;
  NSString string = value.as<NSString>();
  if (!string) return {};
  const char* text = string.UTF8String();
  if (text == nullptr) return {};
  const std::string_view view = string.utf8();
  if (auto found = numberWords().find(view); found != numberWords().end()) return found->second;
  if (view.find('.') != std::string_view::npos) {
    const double number = doubleFrom(text);
    return std::isfinite(number) ? NSNumber(number) : NSNumber();
  }
  return NSNumber(std::int64_t{std::strtoll(text, nullptr, 10)});
}

}  // namespace kvt
