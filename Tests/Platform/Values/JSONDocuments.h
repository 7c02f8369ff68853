// Random JSON texts, broken ones made from them, and random objects that can be written. The same seed gives the same
// ones.
#pragma once

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDecimalNumber.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

namespace kvt::test {

class JSONDocuments {
 public:
  explicit JSONDocuments(std::uint64_t seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_() % limit); }
  bool oneIn(std::size_t count) { return below(count) == 0; }

  // ---- texts ----

  std::string document() {
    const std::size_t depth = 1 + below(6);
    return space() + (oneIn(8) ? scalar() : oneIn(2) ? array(depth) : object(depth)) + space();
  }

  /// One or a few changes of the kinds that transport and hands make.
  std::string broken(std::string text) {
    for (std::size_t changes = 1 + below(3); changes > 0 && !text.empty(); --changes) {
      const std::size_t at = below(text.size());
      switch (below(7)) {
        case 0: text.erase(at, 1 + below(4)); break;
        case 1: text[at] = static_cast<char>(random_()); break;
        case 2: text[at] = kTokens[below(kTokens.size())]; break;
        case 3: text.insert(at, 1, kTokens[below(kTokens.size())]); break;
        case 4: text.resize(at); break;
        case 5: text.insert(at, text.substr(below(text.size()), 1 + below(20))); break;
        default: {
          static constexpr std::string_view kPieces[] = {
              "null", "true",         "\\u",          "\\ud83d", "\\ude00", "1e5", "-",        "0",  ".5",
              "//",   "\xEF\xBB\xBF", "\xED\xA0\x80", "\xC3",    "é",       "NaN", "Infinity", "[[", "{}"};
          text.insert(at, kPieces[below(std::size(kPieces))]);
        }
      }
    }
    return text;
  }

  // ---- objects ----

  id object() {
    const std::size_t depth = 1 + below(5);
    return oneIn(2) ? id(arrayObject(depth)) : id(dictionaryObject(depth));
  }

 private:
  static constexpr std::string_view kTokens = "{}[]\",:\\/0123456789eE+-.tfnu \n\t\x01";

  std::string space() {
    static constexpr std::string_view kSpaces[] = {
        "", "", "", "", " ", "\n", "\t", "\r\n", "                         "};
    return std::string(kSpaces[below(std::size(kSpaces))]);
  }

  std::string array(std::size_t depth) {
    std::string text = "[" + space();
    for (std::size_t i = 0, count = below(6); i < count; ++i) {
      if (i != 0) text += "," + space();
      text += value(depth - 1) + space();
    }
    return text + "]";
  }

  std::string object(std::size_t depth) {
    std::string text = "{" + space();
    for (std::size_t i = 0, count = oneIn(10) ? 20 : below(6); i < count; ++i) {
      if (i != 0) text += "," + space();
      text += key() + space() + ":" + space() + value(depth - 1) + space();
    }
    return text + "}";
  }

  std::string key() {
    static constexpr std::string_view kKeys[] = {
        "\"a\"", "\"b\"", "\"id\"", "\"name\"", "\"\\u0061\"", "\"a key of some length\"", "\"\"", "\"é\""};
    return oneIn(4) ? string() : std::string(kKeys[below(std::size(kKeys))]);
  }

  std::string value(std::size_t depth) {
    if (depth == 0 || oneIn(2)) return scalar();
    return oneIn(2) ? array(depth) : object(depth);
  }

  std::string scalar() {
    switch (below(8)) {
      case 0: return "true";
      case 1: return "false";
      case 2: return "null";
      case 3:
      case 4: return number();
      default: return string();
    }
  }

  std::string digits(std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += static_cast<char>('0' + (oneIn(4) ? 0 : below(10)));
    return text;
  }

  std::string number() {
    std::string text = oneIn(3) ? "-" : "";
    if (oneIn(5))
      text += "0";
    else
      text += static_cast<char>('1' + below(9)) + digits(oneIn(4) ? below(45) : below(20));
    if (oneIn(3)) text += "." + digits(1 + (oneIn(4) ? below(45) : below(8)));
    if (oneIn(5)) {
      text += oneIn(2) ? "e" : "E";
      if (oneIn(2)) text += oneIn(2) ? "-" : "+";
      text += digits(1 + below(3));
    }
    return text;
  }

  std::string character() {
    switch (below(12)) {
      case 0: return "é";
      case 1: return "山";
      case 2: return "😀";
      case 3: return std::string("\\") + "\"\\/bfnrt"[below(8)];
      case 4: {
        char escape[32];
        unsigned unit = static_cast<unsigned>(below(0x10000));
        if ((unit & 0xF800) == 0xD800) {
          std::snprintf(escape, sizeof escape, "\\u%04x\\u%04X", unit & 0xDBFF,
                        0xDC00 | static_cast<unsigned>(below(0x400)));
        } else {
          std::snprintf(escape, sizeof escape, "\\u%04x", oneIn(2) ? unit % 0x80 : unit);
        }
        return escape;
      }
      default: return std::string(1, "abcdefgh ijklm/nop{}[],:"[below(24)]);
    }
  }

  std::string string() {
    std::string text = "\"";
    for (std::size_t i = 0, count = oneIn(5) ? below(80) : below(12); i < count; ++i) text += character();
    return text + "\"";
  }

  id anyObject(std::size_t depth) {
    if (depth == 0 || oneIn(2)) return scalarObject();
    return oneIn(2) ? id(arrayObject(depth)) : id(dictionaryObject(depth));
  }
  NSArray arrayObject(std::size_t depth) {
    const NSMutableArray array = NSMutableArray::array();
    for (std::size_t i = below(6); i > 0; --i) array.addObject(anyObject(depth - 1));
    return oneIn(2) ? NSArray(array) : array.copy();
  }
  NSDictionary dictionaryObject(std::size_t depth) {
    const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
    for (std::size_t i = oneIn(10) ? 30 : below(6); i > 0; --i) {
      dictionary.setObject_forKey(anyObject(depth - 1), stringObject());
    }
    return oneIn(2) ? NSDictionary(dictionary) : dictionary.copy();
  }
  NSString stringObject() {
    std::u16string text;
    for (std::size_t i = oneIn(5) ? below(70) : below(10); i > 0; --i) {
      switch (below(6)) {
        case 0: text += static_cast<char16_t>(below(0x80)); break;
        case 1: text += static_cast<char16_t>(below(0xD800)); break;
        case 2: text += static_cast<char16_t>(0xE000 + below(0x2000)); break;
        case 3:
          text += static_cast<char16_t>(0xD800 + below(0x400));
          text += static_cast<char16_t>(0xDC00 + below(0x400));
          break;
        default: text += static_cast<char16_t>('a' + below(26));
      }
    }
    return NSString(text);
  }
  id scalarObject() {
    switch (below(10)) {
      case 0: return NSNumber(oneIn(2));
      case 1: return NSNull::null();
      case 2: return NSNumber(static_cast<std::int64_t>(random_()) >> below(64));
      case 3: return NSNumber(random_());
      case 4:
        return NSNumber(static_cast<double>(static_cast<std::int64_t>(random_())) /
                        static_cast<double>(1 + below(100000)));
      case 5: return NSNumber(static_cast<float>(below(1000)) / 7);
      case 6: {
        // Sixteen and seventeen digits come back as the nearest double, which need not be equal.
        const std::string mantissa = std::to_string(1 + below(9)) + digits(oneIn(2) ? below(14) : 20 + below(17)) + "1";
        const int exponent = static_cast<int>(below(40)) - 20;
        return NSDecimalNumber::decimalNumberWithString(mantissa + "e" + std::to_string(exponent));
      }
      default: return stringObject();
    }
  }

  std::mt19937_64 random_;
};

}  // namespace kvt::test
