#include <array>
#include <cstdint>

#include <KVTPlatform/Values/NSDateFormatter.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSTimeZone.h>

#include "ModelValue.h"

namespace kvt {
namespace {

constexpr std::size_t kLongestDate = 34;

NSDateFormatter makeFormatter(const char* format, bool greenwich) {
  NSDateFormatter formatter = NSDateFormatter::new_();
  formatter.setLocale(NSLocale::localeWithLocaleIdentifier("en_US_POSIX"));
  if (greenwich) formatter.setTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(0));
  formatter.setDateFormat(format);
  return formatter;
}

/// The forms of one length, in the order in which they are tried. Where a `T` stands at index 10, only `withT` forms
/// are.
struct DateForms {
  NSDateFormatter plain, withT, second;
};

/// One entry a length, 0 to 34; most have no form.
const std::array<DateForms, kLongestDate + 1>& dateForms() {
  static const auto* forms = [] {
    auto* table = new std::array<DateForms, kLongestDate + 1>;
    auto& t = *table;
    t[10].plain = makeFormatter("yyyy-MM-dd", true);
    t[19].withT = makeFormatter("yyyy-MM-dd'T'HH:mm:ss", true);
    t[19].plain = makeFormatter("yyyy-MM-dd HH:mm:ss", true);
    t[23].withT = makeFormatter("yyyy-MM-dd'T'HH:mm:ss.SSS", true);
    t[23].plain = makeFormatter("yyyy-MM-dd HH:mm:ss.SSS", true);
    const NSDateFormatter seconds = makeFormatter("yyyy-MM-dd'T'HH:mm:ssZ", false);
    const NSDateFormatter milliseconds = makeFormatter("yyyy-MM-dd'T'HH:mm:ss.SSSZ", false);
    t[20].plain = t[25].plain = seconds;
    t[24].plain = seconds;
    t[24].second = milliseconds;
    t[28].plain = t[29].plain = milliseconds;
    t[30].plain = makeFormatter("EEE MMM dd HH:mm:ss Z yyyy", false);
    t[34].plain = makeFormatter("EEE MMM dd HH:mm:ss.SSS Z yyyy", false);
    return table;
  }();
  return *forms;
}

}  // namespace

NSDate KVTNSDateFromString(const NSString& string) {
  const NSUInteger length = string.length();
  if (!string || length > kLongestDate) return {};
  const DateForms& forms = dateForms()[length];
  if (forms.withT && string.characterAtIndex(10) == u'T') return forms.withT.dateFromString(string);
  NSDate date = forms.plain.dateFromString(string);
  return date || !forms.second ? date : forms.second.dateFromString(string);
}

}  // namespace kvt
