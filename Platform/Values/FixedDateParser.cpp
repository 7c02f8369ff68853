#include "FixedDateParser.h"

#include <iterator>

namespace kvt {
namespace {

constexpr std::int64_t kMillisecondsPerDay = 86'400'000;
constexpr double kSecondsFrom1970To2001 = 978'307'200.0;
// The Gregorian calendar started in the course of 1582; before that, the general formatter counts in the Julian one.
constexpr int kFirstYear = 1583;
constexpr int kLastYear = 9999;

constexpr char kMonthNames[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
constexpr char kWeekdayNames[] = "SunMonTueWedThuFriSat";

constexpr bool isLeapYear(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr int daysInMonth(int year, int month) {
  constexpr std::uint8_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

/// Days since 1970-01-01 of a Gregorian date. Counting years from March puts the leap day at the end of the year.
constexpr std::int64_t daysSince1970(int year, int month, int day) {
  const int y = month <= 2 ? year - 1 : year;
  const int era = y / 400;
  const int yearOfEra = y - era * 400;
  const int dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return std::int64_t{era} * 146'097 + dayOfEra - 719'468;
}
static_assert(daysSince1970(1970, 1, 1) == 0 && daysSince1970(2001, 1, 1) == 11'323);

struct Day {
  int year, month, day;
};
/// The inverse, for days that are not before 0000-03-01.
constexpr Day dayFrom(std::int64_t daysSince1970) {
  const std::int64_t z = daysSince1970 + 719'468;
  const auto era = static_cast<int>(z / 146'097);
  const auto dayOfEra = static_cast<int>(z - std::int64_t{era} * 146'097);
  const int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
  const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int shifted = (5 * dayOfYear + 2) / 153;
  const int month = shifted < 10 ? shifted + 3 : shifted - 9;
  return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, dayOfYear - (153 * shifted + 2) / 5 + 1};
}
constexpr std::int64_t kFirstDay = daysSince1970(kFirstYear, 1, 1);
constexpr std::int64_t kLastDay = daysSince1970(kLastYear, 12, 31);

constexpr std::int64_t floorDivide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

template <class Char>
constexpr unsigned digit(Char c) {
  return static_cast<unsigned>(c) - static_cast<unsigned>('0');
}

/// Two digits at `p`, or a number above 99.
template <class Char>
constexpr int twoDigits(const Char* p) {
  const unsigned tens = digit(p[0]), ones = digit(p[1]);
  return tens > 9 || ones > 9 ? 100 : static_cast<int>(tens * 10 + ones);
}

/// The index of the three letters at `p` among `names`, or -1.
template <class Char, std::size_t N>
constexpr int nameAt(const Char* p, const char (&names)[N]) {
  for (std::size_t i = 0; i + 3 < N; i += 3) {
    if (p[0] == static_cast<Char>(names[i]) && p[1] == static_cast<Char>(names[i + 1]) &&
        p[2] == static_cast<Char>(names[i + 2])) {
      return static_cast<int>(i / 3);
    }
  }
  return -1;
}

char* writeTwoDigits(char* p, int value) {
  p[0] = static_cast<char>('0' + value / 10);
  p[1] = static_cast<char>('0' + value % 10);
  return p + 2;
}

}  // namespace

/// The one who knows the steps of a layout: makes, reads and writes by them.
struct FixedDateSteps {
  using Field = FixedDateLayout::Field;
  using Step = FixedDateLayout::Step;

  static bool isNumeric(Field field) {
    return field != Field::kLiteral && field != Field::kMonthName && field != Field::kWeekdayName &&
           field != Field::kZone;
  }

  // ---- compiling ----------------------------------------------------------------------------------------------------

  template <class Char>
  static bool stepFor(Char letter, std::size_t width, Step* step) {
    switch (letter) {
      case 'y': step->field = Field::kYear; return width == 4;
      case 'M': step->field = width == 3 ? Field::kMonthName : Field::kMonth; return width == 2 || width == 3;
      case 'd': step->field = Field::kDay; return width == 2;
      case 'E': step->field = Field::kWeekdayName; return width <= 3;
      case 'H': step->field = Field::kHour; return width == 2;
      case 'm': step->field = Field::kMinute; return width == 2;
      case 's': step->field = Field::kSecond; return width == 2;
      case 'S':
        step->field = Field::kFraction;
        step->digits = static_cast<std::uint8_t>(width);
        return width <= 9;
      case 'Z': step->field = Field::kZone; return width <= 3;
      default: return false;
    }
  }

  /// Literals after which, or before which, the general formatter can read nothing else into a number, a name or a
  /// zone.
  template <class Char>
  static bool isPlainLiteral(Char c, bool quoted) {
    switch (c) {
      case ' ':
      case '-':
      case '/':
      case ':':
      case '.':
      case '_': return true;
      case 'T':
      case 'Z': return quoted;
      default: return false;
    }
  }

  template <class Char>
  static bool splitPattern(std::basic_string_view<Char> pattern, FixedDateLayout* layout) {
    bool quoted = false;
    for (std::size_t i = 0; i < pattern.size();) {
      if (layout->count_ == FixedDateLayout::kMostSteps) return false;
      const Char c = pattern[i];
      Step step;
      if (c == '\'') {
        quoted = !quoted;
        if (++i < pattern.size() && pattern[i] == '\'') return false;  // an apostrophe as a literal
        continue;
      }
      const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
      if (quoted || !isLetter) {
        if (!isPlainLiteral(c, quoted)) return false;
        step.literal = static_cast<char>(c);
        ++i;
      } else {
        const std::size_t start = i;
        while (i < pattern.size() && pattern[i] == c) ++i;
        if (!stepFor(c, i - start, &step)) return false;
      }
      layout->steps_[layout->count_++] = step;
    }
    return !quoted;
  }

  /// Whether the order of the steps leaves the general formatter no second way to read a plain text.
  static bool isUnambiguous(const FixedDateLayout& layout) {
    unsigned seen = 0;
    for (std::size_t i = 0; i < layout.count_; ++i) {
      const Step& step = layout.steps_[i];
      const Step* before = i == 0 ? nullptr : &layout.steps_[i - 1];
      const Step* after = i + 1 == layout.count_ ? nullptr : &layout.steps_[i + 1];
      const bool blankAfter = after == nullptr || (after->field == Field::kLiteral && after->literal == ' ');
      if (step.field == Field::kLiteral) {
        // Blanks at the ends and in a row match any number of blanks.
        if (step.literal == ' ' && (before == nullptr || after == nullptr || blankAfter)) return false;
        continue;
      }
      const unsigned bit = 1U << static_cast<unsigned>(step.field);
      if ((seen & bit) != 0) return false;
      seen |= bit;
      switch (step.field) {
        case Field::kFraction:
          // Among abutting digits a fraction would have a fixed width, else it takes as many as there are.
          if (before == nullptr || before->field != Field::kLiteral) return false;
          if (after != nullptr && isNumeric(after->field)) return false;
          break;
        case Field::kZone:
          if (!blankAfter || before == nullptr) return false;
          if (before->field == Field::kLiteral ? before->literal != ' ' : !isNumeric(before->field)) return false;
          break;
        case Field::kMonthName:
        case Field::kWeekdayName:
          if (!blankAfter) return false;
          if (before != nullptr && before->field != Field::kLiteral) return false;
          break;
        default: break;
      }
    }
    const auto has = [seen](Field field) { return (seen & (1U << static_cast<unsigned>(field))) != 0; };
    return has(Field::kYear) && has(Field::kDay) && has(Field::kMonth) != has(Field::kMonthName);
  }

  template <class Char>
  static void compile(std::basic_string_view<Char> pattern, FixedDateLayout* layout) {
    if (!splitPattern(pattern, layout) || !isUnambiguous(*layout)) {
      layout->count_ = 0;
      return;
    }
    for (std::size_t i = 0; i < layout->count_; ++i) {
      const Field field = layout->steps_[i].field;
      if (field == Field::kZone) layout->hasZone_ = true;
      if (field == Field::kMonthName || field == Field::kWeekdayName) layout->hasNames_ = true;
    }
  }

  // ---- reading ------------------------------------------------------------------------------------------------------

  /// "Z", "+hhmm" or "+hh:mm"; answers the end, or null.
  template <class Char>
  static const Char* readZone(const Char* p, const Char* end, std::int32_t* offset) {
    if (p == end) return nullptr;
    if (*p == 'Z') return p + 1;
    if ((*p != '+' && *p != '-') || end - p < 5) return nullptr;
    const bool west = *p == '-';
    const int hours = twoDigits(p + 1);
    p += 3;
    if (*p == ':') ++p;
    if (end - p < 2) return nullptr;
    const int minutes = twoDigits(p);
    p += 2;
    if (hours > 23 || minutes > 59) return nullptr;
    // More digits, or a colon, would be seconds of the offset.
    if (p != end && *p != ' ') return nullptr;
    const std::int32_t seconds = hours * 3600 + minutes * 60;
    *offset = west ? -seconds : seconds;
    return p;
  }

  template <class Char>
  static FixedDateResult read(const Char* text, std::size_t length, const FixedDateLayout& layout,
                              FixedWallTime* time) noexcept {
    constexpr FixedDateResult unusual = FixedDateResult::kUnusual;
    const Char* p = text;
    const Char* const end = text + length;
    int year = 0, month = 1, day = 1, hour = 0, minute = 0, second = 0, millisecond = 0;
    std::int32_t offset = 0;
    if (layout.count_ == 0) return unusual;
    const Step* const lastStep = layout.steps_.data() + layout.count_;
    for (const Step* step = layout.steps_.data(); step != lastStep; ++step) {
      switch (step->field) {
        case Field::kLiteral:
          if (p == end || *p != static_cast<Char>(step->literal)) return unusual;
          ++p;
          break;
        case Field::kYear: {
          if (end - p < 4) return unusual;
          const int century = twoDigits(p), rest = twoDigits(p + 2);
          if (century > 99 || rest > 99) return unusual;
          year = century * 100 + rest;
          if (year < kFirstYear) return unusual;
          p += 4;
          break;
        }
        case Field::kMonth:
          if (end - p < 2) return unusual;
          month = twoDigits(p);
          if (month < 1 || month > 12) return unusual;
          p += 2;
          break;
        case Field::kMonthName:
          if (end - p < 3) return unusual;
          month = nameAt(p, kMonthNames) + 1;
          if (month == 0) return unusual;
          p += 3;
          break;
        case Field::kDay:
          if (end - p < 2) return unusual;
          day = twoDigits(p);
          p += 2;
          break;
        case Field::kWeekdayName:
          // A weekday that does not fit the date is no mistake: day and month outrank it.
          if (end - p < 3 || nameAt(p, kWeekdayNames) < 0) return unusual;
          p += 3;
          break;
        case Field::kHour:
          if (end - p < 2) return unusual;
          hour = twoDigits(p);
          if (hour > 23) return unusual;
          p += 2;
          break;
        case Field::kMinute:
          if (end - p < 2) return unusual;
          minute = twoDigits(p);
          if (minute > 59) return unusual;
          p += 2;
          break;
        case Field::kSecond:
          if (end - p < 2) return unusual;
          second = twoDigits(p);
          if (second > 59) return unusual;
          p += 2;
          break;
        case Field::kFraction: {
          // Any number of digits is a fraction; what is below a millisecond is cut off.
          const Char* const start = p;
          int unit = 100;
          while (p != end && digit(*p) <= 9) {
            millisecond += static_cast<int>(digit(*p)) * unit;
            unit /= 10;
            if (++p - start > 9) return unusual;
          }
          if (p == start) return unusual;
          break;
        }
        case Field::kZone:
          p = readZone(p, end, &offset);
          if (p == nullptr) return unusual;
          break;
      }
    }
    if (p != end || day < 1 || (day > 28 && day > daysInMonth(year, month))) return unusual;
    const int seconds = hour * 3600 + minute * 60 + second;
    time->milliseconds =
        daysSince1970(year, month, day) * kMillisecondsPerDay + std::int64_t{seconds} * 1000 + millisecond;
    time->offset = offset;
    return FixedDateResult::kParsed;
  }

  template <class Char>
  static FixedDateResult readInstant(const Char* text, std::size_t length, const FixedDateLayout& layout,
                                     double* seconds) noexcept {
    FixedWallTime time;
    const FixedDateResult result = read(text, length, layout, &time);
    if (result == FixedDateResult::kParsed) {
      // In this order of operations, so that the last bit is the general formatter's.
      *seconds =
          static_cast<double>(time.milliseconds - std::int64_t{time.offset} * 1000) / 1000.0 - kSecondsFrom1970To2001;
    }
    return result;
  }

  // ---- writing ------------------------------------------------------------------------------------------------------

  static std::size_t write(std::int64_t milliseconds, std::int32_t offset, const FixedDateLayout& layout,
                           char* text) noexcept {
    const std::int64_t wall = milliseconds + std::int64_t{offset} * 1000;
    const std::int64_t days = floorDivide(wall, kMillisecondsPerDay);
    if (days < kFirstDay || days > kLastDay) return 0;
    const Day date = dayFrom(days);
    const auto inDay = static_cast<int>(wall - days * kMillisecondsPerDay);
    char* p = text;
    for (std::size_t i = 0; i < layout.count_; ++i) {
      const Step& step = layout.steps_[i];
      switch (step.field) {
        case Field::kLiteral: *p++ = step.literal; break;
        case Field::kYear: p = writeTwoDigits(writeTwoDigits(p, date.year / 100), date.year % 100); break;
        case Field::kMonth: p = writeTwoDigits(p, date.month); break;
        case Field::kMonthName: p = writeName(p, kMonthNames, date.month - 1); break;
        case Field::kDay: p = writeTwoDigits(p, date.day); break;
        case Field::kWeekdayName:
          // 1970-01-01 was a Thursday.
          p = writeName(p, kWeekdayNames, static_cast<int>((days % 7 + 7 + 4) % 7));
          break;
        case Field::kHour: p = writeTwoDigits(p, inDay / 3'600'000); break;
        case Field::kMinute: p = writeTwoDigits(p, inDay / 60'000 % 60); break;
        case Field::kSecond: p = writeTwoDigits(p, inDay / 1000 % 60); break;
        case Field::kFraction: {
          int rest = inDay % 1000;
          for (int unit = 100, written = 0; written < step.digits; ++written, unit /= 10) {
            *p++ = static_cast<char>('0' + (unit == 0 ? 0 : rest / unit));
            if (unit != 0) rest %= unit;
          }
          break;
        }
        case Field::kZone: {
          const int minutes = (offset < 0 ? -offset : offset) / 60;
          *p++ = offset < 0 ? '-' : '+';
          p = writeTwoDigits(writeTwoDigits(p, minutes / 60), minutes % 60);
          break;
        }
      }
    }
    return static_cast<std::size_t>(p - text);
  }

  static char* writeName(char* p, const char* names, int index) {
    for (int i = 0; i < 3; ++i) *p++ = names[index * 3 + i];
    return p;
  }
};

// Thirty steps of at most nine characters would be more, but only one of them is a fraction.
static_assert(kLongestFixedDate >= 30 + 3 + 2 + 8 + 4);

FixedDateLayout::FixedDateLayout(std::string_view pattern) noexcept { FixedDateSteps::compile(pattern, this); }
FixedDateLayout::FixedDateLayout(std::u16string_view pattern) noexcept { FixedDateSteps::compile(pattern, this); }

FixedDateResult parseFixedDate(const char* text, std::size_t length, const FixedDateLayout& layout,
                               double* seconds) noexcept {
  return FixedDateSteps::readInstant(text, length, layout, seconds);
}
FixedDateResult parseFixedDate(const char16_t* text, std::size_t length, const FixedDateLayout& layout,
                               double* seconds) noexcept {
  return FixedDateSteps::readInstant(text, length, layout, seconds);
}

FixedDateResult parseFixedWallTime(const char* text, std::size_t length, const FixedDateLayout& layout,
                                   FixedWallTime* time) noexcept {
  return FixedDateSteps::read(text, length, layout, time);
}
FixedDateResult parseFixedWallTime(const char16_t* text, std::size_t length, const FixedDateLayout& layout,
                                   FixedWallTime* time) noexcept {
  return FixedDateSteps::read(text, length, layout, time);
}

std::size_t formatFixedDate(std::int64_t milliseconds, std::int32_t offset, const FixedDateLayout& layout,
                            char* text) noexcept {
  constexpr std::int64_t kFarthest = INT64_C(1) << 53;
  if (!layout.isFixed() || offset % 60 != 0 || offset <= -86'400 || offset >= 86'400 || milliseconds < -kFarthest ||
      milliseconds > kFarthest) {
    return 0;
  }
  return FixedDateSteps::write(milliseconds, offset, layout, text);
}

}  // namespace kvt
