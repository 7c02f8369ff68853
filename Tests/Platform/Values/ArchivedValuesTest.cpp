// How every value type stands in a keyed archive, and that it comes back.

#include <cmath>
#include <limits>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSAttributedString.h>
#include <KVTPlatform/Values/NSCharacterSet.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSTimeZone.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSURLComponents.h>
#include <KVTPlatform/Values/NSValue.h>

#include "KeyedArchives.h"
#include "Raised.h"

namespace kvt::archive_test_types {

struct Mixed {
  bool flag = false;
  std::int8_t small = 0;
  std::uint16_t medium = 0;
  float real = 0;
  std::int64_t large[2] = {0, 0};
  std::uint64_t positive = 0;
};
struct FloatSize {
  float width = 0, height = 0;
};
struct WithPointer {
  int number = 0;
  void* pointer = nullptr;
};

}  // namespace kvt::archive_test_types
KVT_STRUCT_ENCODING(kvt::archive_test_types::Mixed, flag, small, medium, real, large, positive)
KVT_STRUCT_ENCODING(kvt::archive_test_types::FloatSize, width, height)
KVT_STRUCT_ENCODING(kvt::archive_test_types::WithPointer, number, pointer)

namespace kvt {
namespace {

using namespace archive_test;
using namespace archive_test_types;

NSDecimalNumber decimal(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }
NSURL url(const char* text) { return NSURL::URLWithString(text); }

std::string mantissa(const std::string& start) { return "<" + start + std::string(32 - start.size(), '0') + ">"; }

struct Row {
  id value;
  std::string layout;
};

std::vector<Row> rows() {
  return {
      {NSString(""), "''"},
      {NSString("text"), "'text'"},
      {NSString("Zoë 😀"), "'Zoë 😀'"},
      {NSString(u"half \xD800"), "'half \xEF\xBF\xBD'"},
      {NSString("$null"), "NSString{NS.string: '$null'}"},
      {NSString("text").mutableCopy(), "NSMutableString{NS.string: 'text'}"},
      {NSMutableString::string(), "NSMutableString{NS.string: ''}"},
      {NSNumber(true), "true"},
      {NSNumber(false), "false"},
      {NSNumber(0), "0"},
      {NSNumber(-1), "-1"},
      {NSNumber(INT64_MIN), "-9223372036854775808"},
      {NSNumber(UINT64_MAX), "18446744073709551615"},
      {NSNumber(1.5), "1.5r"},
      {NSNumber(1.5f), "1.5f"},
      {NSNumber(-0.0), "-0r"},
      {NSNumber(std::numeric_limits<double>::infinity()), "infr"},
      {NSNumber(std::nan("")), "nanr"},
      {decimal("-12.345"),
       "NSDecimalNumber{NS.exponent: -3, NS.length: 1, NS.negative: true, NS.compact: true, NS.mantissa.bo: 1, "
       "NS.mantissa: " +
           mantissa("3930") + "}"},
      {decimal("0"),
       "NSDecimalNumber{NS.exponent: 0, NS.length: 0, NS.negative: false, NS.compact: true, NS.mantissa.bo: 1, "
       "NS.mantissa: " +
           mantissa("") + "}"},
      {NSDecimalNumber::notANumber(),
       "NSDecimalNumber{NS.exponent: 0, NS.length: 0, NS.negative: true, NS.compact: true, NS.mantissa.bo: 1, "
       "NS.mantissa: " +
           mantissa("") + "}"},
      {NSDecimalNumber::maximumDecimalNumber(),
       "NSDecimalNumber{NS.exponent: 127, NS.length: 8, NS.negative: false, NS.compact: true, NS.mantissa.bo: 1, "
       "NS.mantissa: <ffffffff3f228a097ac4865aa84c3b4b>}"},
      {NSData(std::string_view("ab")), "<6162>"},
      {NSData::data(), "<>"},
      {NSMutableData::dataWithLength(2), "NSMutableData{NS.data: <0000>}"},
      {NSDate::dateWithTimeIntervalSinceReferenceDate(0.25), "NSDate{NS.time: 0.25r}"},
      {NSNull::null(), "NSNull{}"},
      {url("http://a.b/c"), "NSURL{NS.base: nil, NS.relative: 'http://a.b/c'}"},
      {NSURL::URLWithString_relativeToURL("../d", url("http://a.b/c/e")),
       "NSURL{NS.base: NSURL{NS.base: nil, NS.relative: 'http://a.b/c/e'}, NS.relative: '../d'}"},
      {NSURLQueryItem::queryItemWithName_value("n", "v"), "NSURLQueryItem{NS.name: 'n', NS.value: 'v'}"},
      {NSURLQueryItem::queryItemWithName_value("n", nullptr), "NSURLQueryItem{NS.name: 'n', NS.value: nil}"},
      {NSArray::array(), "NSArray{NS.objects: []}"},
      {NSArray{1, "x", NSArray{1}}, "NSArray{NS.objects: [1, 'x', NSArray{NS.objects: [1]}]}"},
      {NSArray{1}.mutableCopy(), "NSMutableArray{NS.objects: [1]}"},
      {NSDictionary::dictionary(), "NSDictionary{NS.keys: [], NS.objects: []}"},
      {NSDictionary{{"b", 1}, {2, "x"}}, "NSDictionary{NS.keys: ['b', 2], NS.objects: [1, 'x']}"},
      {NSDictionary{{"b", 1}}.mutableCopy(), "NSMutableDictionary{NS.keys: ['b'], NS.objects: [1]}"},
      {NSSet{1, "x"}, "NSSet{NS.objects: [1, 'x']}"},
      {NSSet{1}.mutableCopy(), "NSMutableSet{NS.objects: [1]}"},
      {NSError::errorWithDomain_code_userInfo("D", -7, NSDictionary{{"k", "v"}}),
       "NSError{NSDomain: 'D', NSCode: -7, NSUserInfo: NSDictionary{NS.keys: ['k'], NS.objects: ['v']}}"},
      {NSTimeZone::timeZoneWithName("Europe/Oslo"), "NSTimeZone{NS.name: 'Europe/Oslo'}"},
      {NSTimeZone::timeZoneForSecondsFromGMT(-12600), "NSTimeZone{NS.name: 'GMT-0330'}"},
      {NSTimeZone::timeZoneForSecondsFromGMT(0), "NSTimeZone{NS.name: 'GMT'}"},
      {NSTimeZone::timeZoneForSecondsFromGMT(3723), "NSTimeZone{NS.name: 'GMT+010203'}"},
      {NSLocale::localeWithLocaleIdentifier("zh-Hans_CN"), "NSLocale{NS.identifier: 'zh-Hans_CN'}"},
      {NSLocale::systemLocale(), "NSLocale{NS.identifier: ''}"},
      {NSAttributedString::initWithString("Title"),
       "NSAttributedString{NSString: 'Title', NSAttributes: NSDictionary{NS.keys: [], NS.objects: []}}"},
      {NSValue::valueWithPoint({1, -2.5}), "NSValue{NS.pointval: '{1, -2.5}', NS.special: 1}"},
      {NSValue::valueWithSize({1e300, 0.1}), "NSValue{NS.sizeval: '{1e+300, 0.1}', NS.special: 2}"},
      {NSValue::valueWithRect({{0, 1}, {2, 3}}), "NSValue{NS.rectval: '{{0, 1}, {2, 3}}', NS.special: 3}"},
      {NSValue::valueWithRange({3, NSNotFound}),
       "NSValue{NS.rangeval.location: 3, NS.rangeval.length: 9223372036854775807, NS.special: 4}"},
      {NSValue::valueWithUIEdgeInsets({1, 2, 3, 4}),
       "NSValue{KVT.value.version: 1, KVT.value.type: '{UIEdgeInsets=dddd}', KVT.value.numbers: [1r, 2r, 3r, 4r]}"},
      {NSValue::valueWithUIOffset({1, 2}),
       "NSValue{KVT.value.version: 1, KVT.value.type: '{UIOffset=dd}', KVT.value.numbers: [1r, 2r]}"},
      {NSValue::valueWithCGAffineTransform({}),
       "NSValue{KVT.value.version: 1, KVT.value.type: '{CGAffineTransform=dddddd}', "
       "KVT.value.numbers: [1r, 0r, 0r, 1r, 0r, 0r]}"},
      {NSValue::of(FloatSize{1.5f, 2}),
       "NSValue{KVT.value.version: 1, KVT.value.type: '{FloatSize=ff}', KVT.value.numbers: [1.5f, 2f]}"},
      {NSValue::of(Mixed{true, -8, 65535, 0.5f, {INT64_MIN, 7}, UINT64_MAX}),
       "NSValue{KVT.value.version: 1, KVT.value.type: '{Mixed=BcSf[2q]Q}', "
       "KVT.value.numbers: [true, -8, 65535, 0.5f, -9223372036854775808, 7, 18446744073709551615]}"},
      {NSValue::of(7), "NSValue{KVT.value.version: 1, KVT.value.type: 'i', KVT.value.numbers: [7]}"},
  };
}

TEST(ArchivedValues, HaveThePlatformsLayout) {
  for (const Row& row : rows()) {
    EXPECT_EQ(layoutOf(NSKeyedArchiver::archivedDataWithRootObject(row.value)), row.layout);
  }
}

TEST(ArchivedValues, ComeBackEqual) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.layout);
    // NaN equals NaN as a number.
    const id back = NSKeyedUnarchiver::unarchiveObjectWithData(NSKeyedArchiver::archivedDataWithRootObject(row.value));
    EXPECT_EQ(back, row.value);
    EXPECT_EQ(back.class_(), row.value.class_());
    if (NSNumber number = row.value.as<NSNumber>()) {
      EXPECT_EQ(back.as<NSNumber>().isBool(), number.isBool());
      EXPECT_EQ(back.as<NSNumber>().isFloatingPoint(), number.isFloatingPoint());
    }
  }
}

TEST(ArchivedValues, ComeBackFromXML) {
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.layout);
    const NSKeyedArchiver archiver = NSKeyedArchiver::initRequiringSecureCoding(true);
    archiver.setOutputFormat(NSPropertyListXMLFormat_v1_0);
    archiver.encodeObject_forKey(row.value, "root");
    if (row.value.as<NSString>() && row.value.as<NSString>().UTF8String() == nullptr) {
      EXPECT_EQ(
          raised([&] { return archiver.encodedData(); }),
          "NSInvalidArchiveOperationException: the archive has no XML form: Text with an unpaired surrogate has no "
          "XML form.");
      continue;
    }
    EXPECT_TRUE(archiver.encodedData().view().starts_with("<?xml"));
    EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(archiver.encodedData()), row.value);
  }
}

TEST(ArchivedValues, SupportSecureCoding) {
  // What a value may hold, so that it can be named.
  const NSSet all = {classOf<NSString>(),       classOf<NSValue>(),
                     classOf<NSData>(),         classOf<NSDate>(),
                     classOf<NSNull>(),         classOf<NSURL>(),
                     classOf<NSArray>(),        classOf<NSDictionary>(),
                     classOf<NSSet>(),          classOf<NSError>(),
                     classOf<NSTimeZone>(),     classOf<NSLocale>(),
                     classOf<NSURLQueryItem>(), classOf<NSAttributedString>()};
  for (const Row& row : rows()) {
    SCOPED_TRACE(row.layout);
    NSError error;
    const NSData archive =
        NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(row.value, true, &error);
    ASSERT_TRUE(archive) << error;
    EXPECT_EQ(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(all, archive, &error), row.value) << error;
    EXPECT_TRUE(row.value.respondsToSelector("encodeWithCoder:"));
    EXPECT_TRUE(row.value.respondsToSelector("initWithCoder:"));
    EXPECT_TRUE(objc_msgSend<bool>(row.value.class_(), "supportsSecureCoding"));
    EXPECT_TRUE(row.value.conformsToProtocol(objc_getProtocol("NSSecureCoding")));
  }
}

TEST(ArchivedValues, KeepEveryCharacterSet) {
  const auto members = NSCharacterSet::characterSetWithCharactersInString;
  const NSCharacterSet sets[] = {members(""),
                                 members("abc"),
                                 members("\u007F\u0080日本"),
                                 members("😀"),
                                 NSCharacterSet::characterSetWithRange({0xFFFE, 4}),
                                 NSCharacterSet::characterSetWithRange({0x10FFFF, 1}),
                                 NSCharacterSet::letterCharacterSet(),
                                 NSCharacterSet::illegalCharacterSet(),
                                 members("").invertedSet()};
  for (const NSCharacterSet& set : sets) {
    const NSData archive = NSKeyedArchiver::archivedDataWithRootObject(set);
    EXPECT_EQ(NSKeyedUnarchiver::unarchivedObjectOfClass<NSCharacterSet>(archive), set);
  }
  // A bit for each character of the first plane; another plane follows with its number.
  const NSArray objects = objectsOf(NSKeyedArchiver::archivedDataWithRootObject(members("a😀")));
  const std::string_view bitmap = objects[2].as<NSData>().view();
  ASSERT_EQ(bitmap.size(), 8192u + 1 + 8192);
  EXPECT_EQ(bitmap['a' / 8], 1 << ('a' % 8));
  EXPECT_EQ(bitmap[8192], 1);
  EXPECT_EQ(bitmap[8193 + 0xF600 / 8], 1);
  // As other writers have it.
  const std::string bits(8192, '\0');
  const NSData inverted =
      archiveOf({NSDictionary{{"$class", uid(2)}, {"NSBitmap", NSData(std::string_view(bits))}, {"NSIsInverted", true}},
                 classNamed("NSCharacterSet")});
  EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(inverted), members("").invertedSet());
}

TEST(ArchivedValues, AreReadAsOthersWriteThem) {
  const auto object = [](const char* name, const NSDictionary& values) {
    NSMutableDictionary all = values.mutableCopy();
    all.setObject_forKey(uid(2), "$class");
    return archiveOf({all, classNamed(name), "text", 42, NSData(std::string_view("data"))});
  };
  const auto data = [](std::string_view bytes) { return NSData(bytes); };
  struct Form {
    NSData archive;
    id value;
  };
  const Form forms[] = {
      {object("NSString", {{"NS.string", uid(3)}}), NSString("text")},
      {object("NSString", {{"NS.bytes", data("Zo\xC3\xAB")}}), NSString("Zoë")},
      {object("NSMutableString", {{"NS.string", uid(3)}}), NSString("text")},
      {object("NSData", {{"NS.data", uid(5)}}), data("data")},
      {object("NSMutableData", {{"NS.bytes", data("data")}}), data("data")},
      {object("NSNumber", {{"NS.intval", 7}}), NSNumber(7)},
      {object("NSNumber", {{"NS.dblval", 7.5}}), NSNumber(7.5)},
      {object("NSNumber", {{"NS.boolval", true}}), NSNumber(true)},
      {object("NSNumber", {{"NS.number", uid(4)}}), NSNumber(42)},
      {object("NSDate", {{"NS.time", 5}}), NSDate::dateWithTimeIntervalSinceReferenceDate(5)},
      {object("NSURL", {{"NS.relative", uid(3)}}), url("text")},
      {object("NSTimeZone", {{"NS.name", uid(3)}, {"NS.data", uid(5)}}), nullptr},
      {object("NSAttributedString", {{"NSString", uid(3)}, {"NSAttributes", uid(2)}, {"NSAttributeInfo", uid(5)}}),
       NSAttributedString::initWithString("text")},
      {object("NSValue", {{"NS.special", 1}, {"NS.pointval", "{ 1 ,2}"}}), NSValue::valueWithPoint({1, 2})},
      {object("NSValue", {{"NS.special", 4}, {"NS.rangeval.location", 1}, {"NS.rangeval.length", uid(4)}}),
       NSValue::valueWithRange({1, 42})},
      // Written on a machine of the other byte order, and not in the shortest form.
      {object("NSDecimalNumber", {{"NS.length", 2},
                                  {"NS.exponent", -4},
                                  {"NS.mantissa.bo", 2},
                                  {"NS.mantissa", data(std::string_view("\x86\xA0\x00\x01", 4))}}),
       decimal("10")},
  };
  for (const Form& form : forms) {
    SCOPED_TRACE(layoutOf(form.archive));
    if (form.value) {
      EXPECT_EQ(NSKeyedUnarchiver::unarchiveObjectWithData(form.archive), form.value);
    } else {
      EXPECT_EQ(raisedByReading(form.archive),
                "NSInvalidUnarchiveOperationException: The time zone “text” is unknown.");
    }
  }
}

TEST(ArchivedValues, RefuseWhatHasNoForm) {
  int target = 0;
  struct Refusal {
    id value;
    const char* reason;
  };
  const Refusal refusals[] = {
      {NSValue::valueWithPointer(&target), "-[NSValue encodeWithCoder:]: a value of the type '^v' has no archive form"},
      {NSValue::of(WithPointer{}),
       "-[NSValue encodeWithCoder:]: a value of the type '{WithPointer=i^v}' has no archive form"},
      {id(classOf<NSArray>()), "+[NSArray encodeWithCoder:]: unrecognized selector sent to class"},
      {NSURLComponents::new_(), "-[NSURLComponents encodeWithCoder:]: unrecognized selector sent to instance"},
  };
  for (const Refusal& refusal : refusals) {
    EXPECT_EQ(raised([&] { return NSKeyedArchiver::archivedDataWithRootObject(NSArray{refusal.value}); }),
              std::string("NSInvalidArgumentException: ") + refusal.reason);
    NSError error;
    EXPECT_FALSE(NSKeyedArchiver::archivedDataWithRootObject_requiringSecureCoding_error(refusal.value, false, &error));
    EXPECT_EQ(reasonOf(error), std::string("4866: ") + refusal.reason);
  }
}

// ---- damaged values -------------------------------------------------------------------------------------------------

TEST(ArchivedValues, RefuseDamagedOnes) {
  struct Damage {
    const char* name;
    NSDictionary values;
    std::string reason;
  };
  const auto data = [](std::size_t size) { return NSData(std::string_view(std::string(size, '\7'))); };
  const NSNumber one = 1;
  const Damage damages[] = {
      {"NSString", {{"NS.string", 7}}, "A text has no NS.string."},
      {"NSString", {{"NS.bytes", NSData(std::string_view("\xFF"))}}, "A text has no NS.string."},
      {"NSData", {{"NS.data", "x"}}, "Data has no NS.data."},
      {"NSNumber", {{"NS.number", "x"}}, "A number has no value."},
      {"NSNumber", {{"NS.number", uid(1)}}, "A number has no value."},
      {"NSDate", {{"NS.time", "x"}}, "The value for key 'NS.time' is no number."},
      {"NSDate", {{"x", 1}}, "A date has no NS.time."},
      {"NSURL", {{"NS.relative", uid(3)}}, "A URL has the text “not a url”, which is none."},
      {"NSURL",
       {{"NS.base", uid(3)}},
       "The value for key 'NS.base' is of the unexpected class 'NSString'. Allowed "
       "classes are: {NSURL}."},
      {"NSURL", {{"NS.base", uid(1)}, {"NS.relative", uid(3)}}, "Object 1 is a part of itself."},
      {"NSTimeZone", {{"NS.name", uid(3)}}, "The time zone “not a url” is unknown."},
      {"NSLocale", {{"x", 1}}, "A locale has no identifier, or too long a one."},
      {"NSAttributedString", {{"x", 1}}, "An attributed string has no text."},
      {"NSArray", {{"NS.objects", 1}}, "There are no objects for key 'NS.objects'."},
      {"NSArray", {{"NS.objects", uid(1)}}, "There are no objects for key 'NS.objects'."},
      {"NSArray", {{"NS.objects", NSArray{1}}}, "An element for key 'NS.objects' is no object."},
      {"NSArray", {{"NS.objects", NSArray{uid(0)}}}, "A collection for key 'NS.objects' holds nothing in one place."},
      {"NSArray", {{"NS.objects", NSArray{uid(99)}}}, "The value for key 'NS.objects' is object 99 of 4."},
      {"NSArray",
       {{"NS.objects", NSArray{uid(UINT64_MAX)}}},
       "The value for key 'NS.objects' is object 18446744073709551615 of 4."},
      {"NSDictionary",
       {{"NS.keys", NSArray{uid(3)}}, {"NS.objects", NSArray::array()}},
       "A dictionary has 1 keys and 0 objects."},
      {"NSDictionary",
       {{"NS.keys", NSArray{uid(3), uid(3)}}, {"NS.objects", NSArray{uid(3), uid(3)}}},
       "A dictionary has two equal keys."},
      {"NSDictionary",
       {{"NS.keys", NSArray{uid(1)}}, {"NS.objects", NSArray{uid(3)}}},
       "A dictionary is a part of its own key."},
      {"NSMutableDictionary",
       {{"NS.keys", NSArray{uid(1)}}, {"NS.objects", NSArray{uid(3)}}},
       "A dictionary is a part of its own key."},
      {"NSDictionary", {{"NS.objects", NSArray{uid(3)}}}, "There are no objects for key 'NS.keys'."},
      {"NSSet", {{"NS.objects", NSArray{uid(1)}}}, "A set is a part of its own element."},
      {"NSValue", {{"NS.special", 99}}, "A value has the unknown form NS.special 99."},
      {"NSValue", {{"NS.special", 1}, {"NS.pointval", "{1, 2"}}, "A value has no NS.pointval."},
      {"NSValue", {{"NS.special", 3}, {"NS.rectval", "{1, 2}"}}, "A value has no NS.rectval."},
      {"NSValue", {{"NS.special", 4}, {"NS.rangeval.location", -1}}, "A range has no location and length."},
      {"NSValue", {{"x", 1}}, "A value has no known form."},
      {"NSValue", {{"KVT.value.version", 2}}, "A value has a form of an unknown version."},
      {"NSValue", {{"KVT.value.version", 1}, {"KVT.value.type", "i"}}, "A value has no type, or no numbers."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "^v"}, {"KVT.value.numbers", NSArray{one}}},
       "A value has numbers that do not fit its type."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "@"}, {"KVT.value.numbers", NSArray{one}}},
       "A value has numbers that do not fit its type."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "{A"}, {"KVT.value.numbers", NSArray{one}}},
       "A value has a type that does not fit its numbers."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "[999999i]"}, {"KVT.value.numbers", NSArray{one}}},
       "A value has a type that does not fit its numbers."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "{A=i[99999999{B=}]}"}, {"KVT.value.numbers", NSArray{one}}},
       "A value has numbers that do not fit its type."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "c"}, {"KVT.value.numbers", NSArray{300}}},
       "A value has numbers that do not fit its type."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "d"}, {"KVT.value.numbers", NSArray{one}}},
       "A value has numbers that do not fit its type."},
      {"NSValue",
       {{"KVT.value.version", 1}, {"KVT.value.type", "i"}, {"KVT.value.numbers", NSArray{one, one}}},
       "A value has numbers that do not fit its type."},
      {"NSCharacterSet", {{"x", 1}}, "A character set has no bitmap."},
      {"NSCharacterSet", {{"NSBitmapObject", data(8191)}}, "A character set has a bitmap of an odd size."},
      {"NSCharacterSet", {{"NSBitmapObject", data(8192 + 100)}}, "A character set has a bitmap of an odd size."},
      {"NSCharacterSet",
       {{"NSBitmapObject", data(8192 + 2 * 8193)}},
       "A character set has a bitmap of an unknown plane."},
      {"NSDecimalNumber", {{"NS.length", 9}}, "The value 9 for key 'NS.length' is too large for its type."},
      {"NSDecimalNumber",
       {{"NS.length", 8}, {"NS.mantissa", data(15)}},
       "A decimal number has no mantissa of its length."},
      {"NSDecimalNumber", {{"NS.exponent", 128}}, "The value 128 for key 'NS.exponent' is too large for its type."},
      {"NSDecimalNumber",
       {{"NS.length", 8}, {"NS.exponent", 127}, {"NS.mantissa", NSData(std::string_view(std::string(16, '\xFF')))}},
       "A decimal number is too large."},
      {"NSError", {{"NSUserInfo", 7}}, "The value for key 'NSUserInfo' is no object."},
      {"NSError", {{"NSCode", 0.5}}, "The value for key 'NSCode' is no integer of 64 bits."},
  };
  for (const Damage& damage : damages) {
    SCOPED_TRACE(std::string(damage.name) + damage.values.description().str());
    NSMutableDictionary object = damage.values.mutableCopy();
    object.setObject_forKey(uid(2), "$class");
    const NSData archive = archiveOf({object, classNamed(damage.name), "not a url"});
    EXPECT_EQ(raisedByReading(archive), "NSInvalidUnarchiveOperationException: " + damage.reason);
    NSError error;
    const NSSet allowed = {objc_getClass(damage.name), classOf<NSString>()};
    EXPECT_FALSE(NSKeyedUnarchiver::unarchivedObjectOfClasses_fromData_error(allowed, archive, &error));
    EXPECT_EQ(reasonOf(error), "4864: " + damage.reason);
  }
}

}  // namespace
}  // namespace kvt
