#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSTimeZone.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace kvt {
namespace {

NSTimeZone zone(const char* name) { return NSTimeZone::timeZoneWithName(name); }
NSDate at1970(double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); }
constexpr double kWinter2020 = 1579000000, kSummer2020 = 1594000000;

/// The machine's zone and the default one as they were, when the test ends.
class SystemZone : public testing::Test {
 protected:
  SystemZone() : had_(std::getenv("TZ") != nullptr), before_(had_ ? std::getenv("TZ") : "") {}
  ~SystemZone() override {
    if (had_)
      setenv("TZ", before_.c_str(), 1);
    else
      unsetenv("TZ");
    NSTimeZone::resetSystemTimeZone();
    NSTimeZone::setDefaultTimeZone(nullptr);
  }
  static void moveTo(const char* name) {
    setenv("TZ", name, 1);
    NSTimeZone::resetSystemTimeZone();
  }

 private:
  bool had_;
  std::string before_;
};

TEST(NSTimeZoneTest, ByName) {
  struct Row {
    const char* name;
    NSInteger winter, summer;
    const char *winterName, *summerName;
  };
  const Row rows[] = {
      {"GMT", 0, 0, "GMT", "GMT"},
      {"UTC", 0, 0, "UTC", "UTC"},
      {"Asia/Shanghai", 28800, 28800, "GMT+8", "GMT+8"},
      {"America/Los_Angeles", -28800, -25200, "PST", "PDT"},
      {"Asia/Kathmandu", 20700, 20700, "GMT+5:45", "GMT+5:45"},
      {"Australia/Lord_Howe", 39600, 37800, "GMT+11", "GMT+10:30"},
      {"GMT+8", 28800, 28800, "GMT+8", "GMT+8"},
      {"GMT+0800", 28800, 28800, "GMT+8", "GMT+8"},
      {"GMT-03:30", -12600, -12600, "GMT-3:30", "GMT-3:30"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const NSTimeZone it = zone(row.name);
    ASSERT_TRUE(it);
    EXPECT_EQ(it.name(), row.name);
    EXPECT_EQ(it.secondsFromGMTForDate(at1970(kWinter2020)), row.winter);
    EXPECT_EQ(it.secondsFromGMTForDate(at1970(kSummer2020)), row.summer);
    EXPECT_EQ(it.abbreviationForDate(at1970(kWinter2020)), row.winterName);
    EXPECT_EQ(it.abbreviationForDate(at1970(kSummer2020)), row.summerName);
    EXPECT_TRUE(it.secondsFromGMT() == row.winter || it.secondsFromGMT() == row.summer);
    EXPECT_TRUE(it.abbreviation() == row.winterName || it.abbreviation() == row.summerName);
  }
  for (const char* unknown : {"", "Mars/Phobos", "GMT+25", "GMT+x", "+8", " GMT", "Etc/Unknown"}) {
    SCOPED_TRACE(unknown);
    EXPECT_FALSE(zone(unknown));
  }
  EXPECT_FALSE(NSTimeZone::timeZoneWithName(nullptr));
  EXPECT_FALSE(NSTimeZone::timeZoneWithName(NSString("亚洲/上海")));
  EXPECT_FALSE(NSTimeZone::timeZoneWithName(NSString(u"\xD800")));
  EXPECT_FALSE(NSTimeZone::timeZoneWithName(NSString(std::string(1'000'000, 'A'))));
}

TEST(NSTimeZoneTest, ByOffset) {
  struct Row {
    NSInteger seconds;
    const char* name;
  };
  const Row rows[] = {{0, "GMT"},          {28800, "GMT+0800"}, {-12600, "GMT-0330"}, {60, "GMT+0001"},
                      {-30, "GMT-000030"}, {64800, "GMT+1800"}, {-64800, "GMT-1800"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const NSTimeZone it = NSTimeZone::timeZoneForSecondsFromGMT(row.seconds);
    EXPECT_EQ(it.name(), row.name);
    EXPECT_EQ(it.secondsFromGMT(), row.seconds);
    EXPECT_EQ(it.secondsFromGMTForDate(at1970(kSummer2020)), row.seconds);
    EXPECT_FALSE(it.isDaylightSavingTime());
  }
  EXPECT_FALSE(NSTimeZone::timeZoneForSecondsFromGMT(64801));
  EXPECT_FALSE(NSTimeZone::timeZoneForSecondsFromGMT(-64801));
  EXPECT_FALSE(NSTimeZone::timeZoneForSecondsFromGMT(INT64_MIN));
}

TEST(NSTimeZoneTest, DaylightSaving) {
  const NSTimeZone it = zone("Europe/Berlin");
  EXPECT_FALSE(it.isDaylightSavingTimeForDate(at1970(kWinter2020)));
  EXPECT_TRUE(it.isDaylightSavingTimeForDate(at1970(kSummer2020)));
  EXPECT_EQ(it.daylightSavingTimeOffsetForDate(at1970(kWinter2020)), 0);
  EXPECT_EQ(it.daylightSavingTimeOffsetForDate(at1970(kSummer2020)), 3600);
  // 2020-03-29 01:00 GMT
  EXPECT_EQ(it.secondsFromGMTForDate(at1970(1585443599)), 3600);
  EXPECT_EQ(it.secondsFromGMTForDate(at1970(1585443600)), 7200);
  EXPECT_EQ(it.isDaylightSavingTime(), it.daylightSavingTimeOffset() != 0);
}

TEST(NSTimeZoneTest, AnyDateIsDefined) {
  const NSTimeZone it = zone("Asia/Shanghai");
  for (const double seconds : {-1e300, -1e15, 1e15, 1e300, double{INFINITY}, -double{INFINITY}, double{NAN}}) {
    EXPECT_LE(std::abs(it.secondsFromGMTForDate(at1970(seconds))), 86400) << seconds;
    EXPECT_TRUE(it.abbreviationForDate(at1970(seconds))) << seconds;
  }
}

TEST_F(SystemZone, SystemAndDefault) {
  moveTo("Asia/Tokyo");
  EXPECT_EQ(NSTimeZone::systemTimeZone().name(), "Asia/Tokyo");
  EXPECT_EQ(NSTimeZone::defaultTimeZone().name(), "Asia/Tokyo");
  EXPECT_EQ(NSTimeZone::localTimeZone().secondsFromGMT(), 32400);
  NSTimeZone::setDefaultTimeZone(zone("Asia/Kathmandu"));
  EXPECT_EQ(NSTimeZone::systemTimeZone().name(), "Asia/Tokyo");
  EXPECT_EQ(NSTimeZone::defaultTimeZone().name(), "Asia/Kathmandu");
  EXPECT_EQ(NSTimeZone::localTimeZone().name(), "Asia/Kathmandu");
  setenv("TZ", "America/New_York", 1);
  EXPECT_EQ(NSTimeZone::systemTimeZone().name(), "Asia/Tokyo");
  NSTimeZone::resetSystemTimeZone();
  EXPECT_EQ(NSTimeZone::systemTimeZone().name(), "America/New_York");
  NSTimeZone::setDefaultTimeZone(nullptr);
  EXPECT_EQ(NSTimeZone::defaultTimeZone().name(), "America/New_York");
}

TEST_F(SystemZone, ThreadsSetAndRead) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([i] {
      for (int n = 0; n < 200; ++n) {
        if (i == 0)
          NSTimeZone::setDefaultTimeZone(NSTimeZone::timeZoneForSecondsFromGMT(3600 * (n % 5)));
        else
          EXPECT_TRUE(NSTimeZone::defaultTimeZone());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(NSTimeZoneTest, KnownNames) {
  const NSArray names = NSTimeZone::knownTimeZoneNames();
  EXPECT_GT(names.count(), 300u);
  EXPECT_TRUE(names.containsObject(NSString("Asia/Shanghai")));
  for (const id& name : names) EXPECT_TRUE(NSTimeZone::timeZoneWithName(name.as<NSString>())) << name;
}

TEST(NSTimeZoneTest, EqualityHashDescriptionCopy) {
  EXPECT_TRUE(zone("Asia/Shanghai").isEqual(zone("Asia/Shanghai")));
  EXPECT_TRUE(zone("Asia/Shanghai").isEqualToTimeZone(zone("Asia/Shanghai")));
  EXPECT_EQ(zone("Asia/Shanghai").hash(), zone("Asia/Shanghai").hash());
  EXPECT_FALSE(zone("Asia/Shanghai").isEqual(zone("Asia/Taipei")));
  EXPECT_FALSE(zone("Asia/Shanghai").isEqualToTimeZone(nullptr));
  EXPECT_FALSE(zone("GMT").isEqual(NSString("GMT")));
  EXPECT_EQ(zone("Asia/Shanghai").description(), "Asia/Shanghai (GMT+8) offset 28800");
  const NSTimeZone it = zone("GMT");
  EXPECT_TRUE(isIdentical(it.copy(), it));
  EXPECT_EQ(objc_msgSend<NSString>(it, "name"), "GMT");
  EXPECT_TRUE(objc_msgSend<NSTimeZone>(objc_getClass("NSTimeZone"), "timeZoneWithName:", NSString("GMT")).isEqual(it));
}

TEST(NSTimeZoneTest, NilAnswersNil) {
  const NSTimeZone nil;
  EXPECT_FALSE(nil.name());
  EXPECT_EQ(nil.secondsFromGMT(), 0);
  EXPECT_EQ(nil.secondsFromGMTForDate(at1970(0)), 0);
  EXPECT_FALSE(nil.abbreviation());
  EXPECT_FALSE(nil.abbreviationForDate(at1970(0)));
  EXPECT_FALSE(nil.isDaylightSavingTime());
  EXPECT_FALSE(nil.isDaylightSavingTimeForDate(at1970(0)));
  EXPECT_EQ(nil.daylightSavingTimeOffset(), 0);
  EXPECT_EQ(nil.daylightSavingTimeOffsetForDate(at1970(0)), 0);
  EXPECT_FALSE(nil.isEqualToTimeZone(nil));
  EXPECT_FALSE(nil.description());
  EXPECT_EQ(nil.hash(), 0u);
}

}  // namespace
}  // namespace kvt
