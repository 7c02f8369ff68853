// Date texts: the formatter, whichever way it takes, must answer what ICU's own formatter answers. The first byte
// chooses the pattern and the zone, or says that a pattern of the input's own is used: that one must only not
// misbehave.
#include <KVTPlatform/Values/FixedDateParser.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSDateFormatter.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTimeZone.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/uchar.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace kvt;

const char* const kPatterns[] = {
    "yyyy-MM-dd",
    "yyyy-MM-dd'T'HH:mm:ss",
    "yyyy-MM-dd HH:mm:ss",
    "yyyy-MM-dd'T'HH:mm:ssZ",
    "yyyy-MM-dd'T'HH:mm:ss.SSS",
    "yyyy-MM-dd HH:mm:ss.SSS",
    "yyyy-MM-dd'T'HH:mm:ss.SSSZ",
    "EEE MMM dd HH:mm:ss Z yyyy",
    "EEE MMM dd HH:mm:ss.SSS Z yyyy",
    "yyyyMMddHHmmss",
};
const char* const kZones[] = {"GMT", "Asia/Shanghai", "America/New_York", "Europe/Berlin"};
// In longer numbers ICU's own arithmetic fails, and the formatter answers nil unasked.
constexpr std::size_t kLongestNumber = 12;

void require(bool condition, const char* what, const std::u16string& text) {
  if (condition) return;
  std::string utf8;
  icu::UnicodeString(text.data(), static_cast<int32_t>(text.size())).toUTF8String(utf8);
  std::fprintf(stderr, "%s: \"%s\"\n", what, utf8.c_str());
  std::abort();
}

struct Subject {
  NSDateFormatter tested;
  std::unique_ptr<icu::SimpleDateFormat> oracle;
  FixedDateLayout layout;
  bool isGMT;
};

const std::vector<Subject>& subjects() {
  static const auto* const all = [] {
    auto* made = new std::vector<Subject>;
    for (const char* pattern : kPatterns) {
      for (const char* zone : kZones) {
        Subject subject;
        subject.tested = NSDateFormatter::new_();
        subject.tested.setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
        subject.tested.setTimeZone(NSTimeZone::timeZoneWithName(zone));
        subject.tested.setDateFormat(pattern);
        UErrorCode status = U_ZERO_ERROR;
        subject.oracle = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString::fromUTF8(pattern),
                                                                 icu::Locale("en_US_POSIX"), status);
        subject.oracle->setLenient(false);
        subject.oracle->adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(zone)));
        subject.layout = FixedDateLayout(std::string_view(pattern));
        subject.isGMT = zone == kZones[0];
        made->push_back(std::move(subject));
      }
    }
    return made;
  }();
  return *all;
}

bool hasLongNumber(const std::u16string& text) {
  std::size_t digits = 0;
  for (int32_t i = 0; i < static_cast<int32_t>(text.size());) {
    UChar32 c;
    U16_NEXT(text.data(), i, static_cast<int32_t>(text.size()), c);
    digits = u_isdigit(c) ? digits + 1 : 0;
    if (digits > kLongestNumber) return true;
  }
  return false;
}

void holdAgainstICU(const Subject& subject, const std::u16string& text) {
  const NSDate answer = subject.tested.dateFromString(NSString(text));
  if (hasLongNumber(text)) return;
  const icu::UnicodeString source(text.data(), static_cast<int32_t>(text.size()));
  icu::ParsePosition position(0);
  const double milliseconds = std::floor(subject.oracle->parse(source, position) + 0.5);
  const bool isDate = position.getIndex() != 0 && position.getIndex() == source.length();
  require(isDate == static_cast<bool>(answer), isDate ? "refused" : "accepted", text);
  const double seconds = milliseconds / 1000.0 - NSTimeIntervalSince1970;
  if (isDate) require(answer.timeIntervalSinceReferenceDate() == seconds, "another date", text);

  // Without a zone in the text, a fixed layout answers as if it were in GMT.
  double fixed = 0;
  if ((subject.isGMT || subject.layout.hasZone()) &&
      parseFixedDate(text.data(), text.size(), subject.layout, &fixed) == FixedDateResult::kParsed) {
    require(isDate, "accepted by the fixed layout", text);
    require(fixed == seconds, "another date by the fixed layout", text);
  }
  if (isDate) {
    icu::UnicodeString expected;
    subject.oracle->format(milliseconds, expected);
    const NSString written = subject.tested.stringFromDate(answer);
    require(written.u16str() == std::u16string(expected.getBuffer(), static_cast<std::size_t>(expected.length())),
            "written otherwise", text);
  }
}

void useOwnPattern(const std::u16string& pattern, const std::u16string& text) {
  const NSDateFormatter formatter = NSDateFormatter::new_();
  formatter.setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  formatter.setTimeZone(NSTimeZone::timeZoneWithName("GMT"));
  formatter.setDateFormat(NSString(pattern));
  const NSDate date = formatter.dateFromString(NSString(text));
  const NSString written =
      formatter.stringFromDate(date ? date : NSDate::dateWithTimeIntervalSinceReferenceDate(500'000'000));
  // What was written may mean another date, but reading it must be as safe.
  formatter.dateFromString(written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 4096) return 0;
  const std::size_t choice = data[0];
  const icu::UnicodeString decoded = icu::UnicodeString::fromUTF8(
      icu::StringPiece(reinterpret_cast<const char*>(data + 1), static_cast<int32_t>(size - 1)));
  const std::u16string text(decoded.getBuffer(), static_cast<std::size_t>(decoded.length()));
  if (choice < subjects().size()) {
    holdAgainstICU(subjects()[choice], text);
  } else {
    const std::size_t bar = text.find(u'|');
    if (bar != std::u16string::npos) useOwnPattern(text.substr(0, bar), text.substr(bar + 1));
  }
  return 0;
}
