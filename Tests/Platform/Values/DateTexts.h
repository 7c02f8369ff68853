// Date texts for tests, valid and broken, and what ICU's own formatter says about them.
#pragma once

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace kvt::datetexts {

/// A pattern and the length of the texts that are usually written with it.
struct Format {
  const char* pattern;
  std::size_t length;
  bool hasZone;
};

inline const std::vector<Format>& formats() {
  static const std::vector<Format> kFormats = {
      {"yyyy-MM-dd", 10, false},
      {"yyyy-MM-dd'T'HH:mm:ss", 19, false},
      {"yyyy-MM-dd HH:mm:ss", 19, false},
      {"yyyy-MM-dd'T'HH:mm:ssZ", 20, true},
      {"yyyy-MM-dd'T'HH:mm:ss.SSS", 23, false},
      {"yyyy-MM-dd HH:mm:ss.SSS", 23, false},
      {"yyyy-MM-dd'T'HH:mm:ssZ", 24, true},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", 24, true},
      {"yyyy-MM-dd'T'HH:mm:ssZ", 25, true},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", 28, true},
      {"yyyy-MM-dd'T'HH:mm:ss.SSSZ", 29, true},
      {"EEE MMM dd HH:mm:ss Z yyyy", 30, true},
      {"EEE MMM dd HH:mm:ss.SSS Z yyyy", 34, true},
  };
  return kFormats;
}

/// ICU's formatter, strict, to be asked directly.
class Oracle {
 public:
  explicit Oracle(const char* pattern, const char* zone = "GMT", const char* locale = "en_US_POSIX") {
    UErrorCode status = U_ZERO_ERROR;
    format_ =
        std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern), icu::Locale(locale), status);
    format_->setLenient(false);
    format_->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone)));
  }
  /// Seconds since 2001 when the whole text is a date.
  std::optional<double> parse(const std::u16string& text) const {
    const icu::UnicodeString source(text.data(), static_cast<int32_t>(text.size()));
    icu::ParsePosition position(0);
    const UDate date = format_->parse(source, position);
    if (position.getIndex() == 0 || position.getIndex() != source.length()) return std::nullopt;
    return std::floor(date + 0.5) / 1000.0 - 978307200.0;
  }
  /// The text of the date that many milliseconds since 1970.
  std::u16string format(double milliseconds) const {
    icu::UnicodeString text;
    format_->format(milliseconds, text);
    return {text.getBuffer(), static_cast<std::size_t>(text.length())};
  }

 private:
  std::unique_ptr<icu::SimpleDateFormat> format_;
};

class Generator {
 public:
  explicit Generator(std::uint64_t seed) : random_(seed) {}

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  bool oneIn(unsigned n) { return below(n) == 0; }

  /// A text with every field in range (a day 31 may be more than its month has).
  std::u16string plain(const Format& format) {
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    std::string text;
    const unsigned year = oneIn(4) ? 1 + below(9999) : 1583 + below(1000);
    const std::string pattern = format.pattern;
    for (std::size_t i = 0; i < pattern.size();) {
      const char c = pattern[i];
      if (c == '\'') {
        ++i;
        continue;
      }
      const std::size_t start = i;
      while (i < pattern.size() && pattern[i] == c) ++i;
      const std::size_t width = i - start;
      switch (c) {
        case 'y': text += digits(year, 4); break;
        case 'M': text += width == 3 ? kMonths[below(12)] : digits(1 + below(12), 2); break;
        case 'd': text += digits(1 + below(oneIn(8) ? 31 : 28), 2); break;
        case 'E': text += kDays[below(7)]; break;
        case 'H': text += digits(below(24), 2); break;
        case 'm':
        case 's': text += digits(below(60), 2); break;
        case 'S': text += digits(below(1000), 3); break;
        case 'Z': text += zone(format, text.size()); break;
        default: text.append(width, c);
      }
    }
    return {text.begin(), text.end()};
  }

  /// One to three small damages.
  std::u16string broken(std::u16string text) {
    for (unsigned changes = 1 + below(3); changes > 0; --changes) damage(text);
    return text;
  }

 private:
  static std::string digits(unsigned value, std::size_t width) {
    std::string text = std::to_string(value);
    return std::string(text.size() < width ? width - text.size() : 0, '0') + text;
  }
  std::string zone(const Format& format, std::size_t before) {
    const char sign = oneIn(2) ? '+' : '-';
    const std::string hours = digits(below(oneIn(8) ? 24 : 15), 2), minutes = digits(oneIn(2) ? 0 : below(60), 2);
    const bool last = format.pattern[std::char_traits<char>::length(format.pattern) - 1] == 'Z';
    if (last && format.length == before + 1) return "Z";
    if (last && format.length == before + 6) return sign + hours + ":" + minutes;
    return sign + hours + minutes;
  }
  void damage(std::u16string& text) {
    static const char16_t kOdd[] =
        u"0123456789-:. TZ+zGMTUTCeE,/'\t\u00A0\u0660\u0665\u0966\uFF10\uFF15\u2212\u5E74\xD83D";
    const auto at = [&] { return text.empty() ? 0 : below(static_cast<unsigned>(text.size())); };
    const char16_t odd = kOdd[below(static_cast<unsigned>(std::size(kOdd) - 1))];
    switch (below(12)) {
      case 0:  // two neighbours change places
        if (text.size() > 1) {
          const unsigned i = below(static_cast<unsigned>(text.size() - 1));
          std::swap(text[i], text[i + 1]);
        }
        break;
      case 1:
        if (!text.empty()) text[at()] = odd;
        break;
      case 2: text.insert(text.begin() + at(), odd); break;
      case 3:
        if (!text.empty()) text.erase(text.begin() + at());
        break;
      case 4: text.resize(at()); break;
      case 5: text += odd; break;
      case 6:  // a field out of its range
      case 7:
        if (text.size() > 1) {
          const unsigned i = below(static_cast<unsigned>(text.size() - 1));
          if (isDigit(text[i]) && isDigit(text[i + 1])) {
            static const char* const kEdges[] = {"00", "12", "13", "23", "24", "28", "29",
                                                 "30", "31", "32", "59", "60", "61", "99"};
            const char* edge = kEdges[below(std::size(kEdges))];
            text[i] = static_cast<char16_t>(edge[0]);
            text[i + 1] = static_cast<char16_t>(edge[1]);
          }
        }
        break;
      case 8: {  // full-width or Arabic digits
        const char16_t zero = oneIn(2) ? u'\uFF10' : u'\u0660';
        for (char16_t& c : text) {
          if (isDigit(c) && oneIn(3)) c = static_cast<char16_t>(zero + (c - u'0'));
        }
        break;
      }
      case 9: {  // another zone
        static const char16_t* const kZones[] = {u"Z",     u"z",     u"GMT",       u"UTC",     u"+0",        u"+8",
                                                 u"+080",  u"+08",   u"+0800",     u"+08:00",  u"-00:00",    u"+2400",
                                                 u"+2359", u"-1860", u"+08:00:30", u"+080030", u"GMT+08:00", u"GMT+8",
                                                 u"PST",   u"+8:00", u"+08:0",     u" +0800",  u"\u22120800"};
        std::size_t i = text.find_last_of(u"+-Z");
        if (i != std::u16string::npos && i > 10) {
          std::size_t end = i;
          while (end < text.size() && text[end] != u' ') ++end;
          text.replace(i, end - i, kZones[below(std::size(kZones))]);
        }
        break;
      }
      case 10:  // the case of letters
        for (char16_t& c : text) {
          if (c >= u'a' && c <= u'z' && oneIn(2))
            c = static_cast<char16_t>(c - 32);
          else if (c >= u'A' && c <= u'Z' && oneIn(4))
            c = static_cast<char16_t>(c + 32);
        }
        break;
      default: text.insert(oneIn(2) ? 0 : at(), u" "); break;
    }
  }
  static bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

  std::mt19937_64 random_;
};

inline std::string printable(const std::u16string& text) {
  std::string utf8;
  icu::UnicodeString(text.data(), static_cast<int32_t>(text.size())).toUTF8String(utf8);
  return '"' + utf8 + '"';
}

}  // namespace kvt::datetexts
