#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <cmath>
#include <ctime>
#include <limits>
#include <random>

#include "Raised.h"

namespace kvt {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

NSDate at(NSTimeInterval seconds) { return NSDate::dateWithTimeIntervalSinceReferenceDate(seconds); }
NSDate unix(NSTimeInterval seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }

TEST(NSDateTest, NilAnswersNothing) {
  const NSDate nil;
  const NSDate date = at(5);
  EXPECT_EQ(nil.timeIntervalSinceReferenceDate(), 0);
  EXPECT_EQ(nil.timeIntervalSince1970(), 0);
  EXPECT_EQ(nil.timeIntervalSinceNow(), 0);
  EXPECT_EQ(nil.timeIntervalSinceDate(date), 0);
  EXPECT_EQ(date.timeIntervalSinceDate(nil), 0);
  EXPECT_TRUE(nil.dateByAddingTimeInterval(1) == nullptr);
  EXPECT_TRUE(NSDate::dateWithTimeInterval_sinceDate(1, nil) == nullptr);
  EXPECT_EQ(nil.compare(date), NSOrderedSame);
  EXPECT_TRUE(nil.earlierDate(date) == nullptr);
  EXPECT_TRUE(nil.laterDate(date) == nullptr);
  EXPECT_TRUE(isIdentical(date.earlierDate(nil), date));
  EXPECT_TRUE(isIdentical(date.laterDate(nil), date));
  EXPECT_FALSE(nil.isEqualToDate(nil));
  EXPECT_FALSE(nil.isEqualToDate(date));
  EXPECT_FALSE(date.isEqualToDate(nil));
  EXPECT_TRUE(nil.description() == nullptr);
  EXPECT_EQ(raised([&] { return date.compare(nil); }), "NSInvalidArgumentException: -[NSDate compare:]: nil argument");
}

TEST(NSDateTest, Intervals) {
  EXPECT_EQ(unix(0).timeIntervalSinceReferenceDate(), -978307200.0);
  EXPECT_EQ(at(0).timeIntervalSince1970(), 978307200.0);
  EXPECT_EQ(unix(1390220688.25).timeIntervalSince1970(), 1390220688.25);
  EXPECT_EQ(at(10).timeIntervalSinceDate(at(4)), 6);
  EXPECT_EQ(at(4).timeIntervalSinceDate(at(10)), -6);
  EXPECT_EQ(at(10).dateByAddingTimeInterval(-2.5).timeIntervalSinceReferenceDate(), 7.5);
  EXPECT_EQ(NSDate::dateWithTimeInterval_sinceDate(3, at(4)).timeIntervalSinceReferenceDate(), 7);
}

TEST(NSDateTest, NowLiesBetweenTwoReadingsOfTheClock) {
  const auto clock = [] {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  constexpr double kSlack = 1e-4;  // a double of the seconds until the year 4001 holds some 10 µs
  const double before = clock() - kSlack;
  const double now = NSDate::date().timeIntervalSince1970();
  const double other = NSDate::timeIntervalSinceReferenceDate_class() + NSTimeIntervalSince1970;
  const double soon = NSDate::dateWithTimeIntervalSinceNow(100).timeIntervalSince1970() - 100;
  const double since = NSDate::distantFuture().timeIntervalSinceReferenceDate() -
                       NSDate::distantFuture().timeIntervalSinceNow() + NSTimeIntervalSince1970;
  const double after = clock() + kSlack;
  for (const double value : {now, other, soon, since}) {
    EXPECT_GE(value, before);
    EXPECT_LE(value, after);
  }
}

TEST(NSDateTest, Order) {
  const NSDate a = at(1), b = at(2);
  EXPECT_EQ(a.compare(b), NSOrderedAscending);
  EXPECT_EQ(b.compare(a), NSOrderedDescending);
  EXPECT_EQ(a.compare(at(1)), NSOrderedSame);
  EXPECT_TRUE(isIdentical(a.earlierDate(b), a));
  EXPECT_TRUE(isIdentical(b.earlierDate(a), a));
  EXPECT_TRUE(isIdentical(a.laterDate(b), b));
  EXPECT_TRUE(isIdentical(b.laterDate(a), b));
  const NSDate same = at(1);
  EXPECT_TRUE(isIdentical(a.earlierDate(same), a));
  EXPECT_TRUE(isIdentical(a.laterDate(same), a));
  EXPECT_EQ(NSDate::distantPast().compare(NSDate::distantFuture()), NSOrderedAscending);
}

TEST(NSDateTest, Equality) {
  EXPECT_TRUE(at(1) == at(1));
  EXPECT_TRUE(at(1).isEqualToDate(at(1)));
  EXPECT_EQ(at(1).hash(), at(1).hash());
  EXPECT_FALSE(at(1) == at(std::nextafter(1.0, 2)));
  EXPECT_TRUE(at(0.0) == at(-0.0));
  EXPECT_EQ(at(0.0).hash(), at(-0.0).hash());
  EXPECT_FALSE(at(1).isEqual(NSString("2001-01-01 00:00:01 +0000")));
  EXPECT_FALSE(at(1).isEqual(nullptr));
  EXPECT_NE(at(1).hash(), at(2).hash());
  const NSDate date = at(1);
  EXPECT_TRUE(isIdentical(date.copy(), date));
}

TEST(NSDateTest, UnusualIntervals) {
  const NSDate nan = at(kNaN), past = at(-kInfinity), future = at(kInfinity);
  EXPECT_TRUE(nan == at(kNaN));
  EXPECT_EQ(nan.hash(), at(-kNaN).hash());
  EXPECT_EQ(nan.compare(past), NSOrderedAscending);
  EXPECT_EQ(past.compare(nan), NSOrderedDescending);
  EXPECT_EQ(past.compare(at(-1e300)), NSOrderedAscending);
  EXPECT_EQ(future.compare(NSDate::distantFuture()), NSOrderedDescending);
  EXPECT_TRUE(future == at(kInfinity));
  EXPECT_TRUE(std::isnan(future.timeIntervalSinceDate(future)));
  EXPECT_EQ(nan.description(), "nan s since 2001-01-01 00:00:00 +0000");
  EXPECT_EQ(past.description(), "-inf s since 2001-01-01 00:00:00 +0000");
  EXPECT_EQ(at(1e300).description(), "1e+300 s since 2001-01-01 00:00:00 +0000");
  EXPECT_EQ(at(9.9e16).description(), "3137187113-03-06 08:00:00 +0000");
}

TEST(NSDateTest, Descriptions) {
  const std::pair<NSDate, const char*> rows[] = {
      {unix(1390220688), "2014-01-20 12:24:48 +0000"},
      {unix(0), "1970-01-01 00:00:00 +0000"},
      {unix(-1), "1969-12-31 23:59:59 +0000"},
      {unix(-0.5), "1969-12-31 23:59:59 +0000"},
      {unix(0.999), "1970-01-01 00:00:00 +0000"},
      {at(0), "2001-01-01 00:00:00 +0000"},
      {unix(951782400), "2000-02-29 00:00:00 +0000"},
      {unix(4107542400), "2100-03-01 00:00:00 +0000"},
      {unix(4107456000), "2100-02-28 00:00:00 +0000"},
      {unix(1e9), "2001-09-09 01:46:40 +0000"},
      {unix(253402300799), "9999-12-31 23:59:59 +0000"},
      {unix(253402300800), "10000-01-01 00:00:00 +0000"},
      {unix(-12219292800), "1582-10-15 00:00:00 +0000"},
      {unix(-12219292801), "1582-10-04 23:59:59 +0000"},
      {unix(-14825894400), "1500-02-29 00:00:00 +0000"},
      {NSDate::distantPast(), "0001-01-01 00:00:00 +0000"},
      {NSDate::distantPast().dateByAddingTimeInterval(-1), "0000-12-31 23:59:59 +0000"},
      {NSDate::distantPast().dateByAddingTimeInterval(-366 * 86400.0 - 1), "-0001-12-31 23:59:59 +0000"},
      {NSDate::distantFuture(), "4001-01-01 00:00:00 +0000"},
  };
  for (const auto& [date, text] : rows) EXPECT_EQ(date.description(), text);
}

TEST(NSDateTest, CalendarAgreesWithICU) {
  UErrorCode status = U_ZERO_ERROR;
  icu::GregorianCalendar calendar(*icu::TimeZone::getGMT(), status);
  ASSERT_TRUE(U_SUCCESS(status));
  std::mt19937_64 random(1582);
  for (int i = 0; i < 20000; ++i) {
    // From about 10000 BC to 14000 AD, and densely around the change of calendars.
    const double exact = i % 4 == 0 ? -12219292800.0 + static_cast<double>(random() % 20000000) - 1e7
                                    : (static_cast<double>(random() % 24000) - 12000) * 365.2425 * 86400 +
                                          static_cast<double>(random() % 31556952);
    const double seconds = std::floor(exact);
    calendar.setTime(seconds * 1000, status);
    int year = calendar.get(UCAL_YEAR, status);
    if (calendar.get(UCAL_ERA, status) == icu::GregorianCalendar::BC) year = 1 - year;
    char text[64];
    std::snprintf(text, sizeof text, "%s%04d-%02d-%02d %02d:%02d:%02d +0000", year < 0 ? "-" : "", std::abs(year),
                  calendar.get(UCAL_MONTH, status) + 1, calendar.get(UCAL_DATE, status),
                  calendar.get(UCAL_HOUR_OF_DAY, status), calendar.get(UCAL_MINUTE, status),
                  calendar.get(UCAL_SECOND, status));
    ASSERT_TRUE(U_SUCCESS(status));
    ASSERT_EQ(unix(seconds).description(), text) << seconds;
  }
}

TEST(NSDateTest, AnswersMessages) {
  const Class cls = objc_getClass("NSDate");
  const NSDate date = objc_msgSend<NSDate>(cls, "dateWithTimeIntervalSince1970:", 5.0);
  EXPECT_EQ(objc_msgSend<double>(date, "timeIntervalSince1970"), 5);
  EXPECT_EQ(objc_msgSend<NSInteger>(date, "compare:", NSDate::distantFuture()), NSOrderedAscending);
  EXPECT_TRUE(objc_msgSend<bool>(date, "isEqual:", unix(5)));
  EXPECT_EQ(objc_msgSend<std::uint64_t>(date, "hash"), unix(5).hash());
  EXPECT_GT(objc_msgSend<double>(cls, "timeIntervalSinceReferenceDate"), 0);
  EXPECT_TRUE(isIdentical(objc_msgSend<id>(date, "copyWithZone:", nullptr), date));
  const id made(adopt, class_createInstance(cls));
  EXPECT_TRUE(made.is<NSDate>());
}

}  // namespace
}  // namespace kvt
