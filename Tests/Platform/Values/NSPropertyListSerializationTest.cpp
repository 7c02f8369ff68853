#include <KVTPlatform/Values/NSPropertyListSerialization.h>

#include <cmath>
#include <limits>

#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSURL.h>

#include "PropertyLists.h"
#include "Raised.h"

namespace kvt {
namespace {

using namespace plist_test;
using namespace std::string_literals;

constexpr NSPropertyListFormat kBinary = NSPropertyListBinaryFormat_v1_0, kXML = NSPropertyListXMLFormat_v1_0;

constexpr const char* kXMLHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

/// What the XML form writes between its head and its end.
std::string xmlOf(const id& list) {
  const std::string text(write(list, kXML).view());
  const std::string tail = "</plist>\n";
  if (!text.starts_with(kXMLHead) || !text.ends_with(tail)) return "not laid out: " + text;
  return text.substr(std::string(kXMLHead).size(), text.size() - std::string(kXMLHead).size() - tail.size());
}

/// The first object of the binary form.
std::string binaryOf(const id& scalar) {
  const std::string bytes(write(scalar, kBinary).view());
  EXPECT_TRUE(bytes.starts_with("bplist00"));
  const std::size_t table = bytes.size() - 32 - 1;
  return hex(std::string_view(bytes).substr(8, table - 8));
}

NSDecimalNumber decimal(const char* text) { return NSDecimalNumber::decimalNumberWithString(text); }

// ---- scalars --------------------------------------------------------------------------------------------------------

TEST(NSPropertyListSerialization, WritesAndReadsScalars) {
  struct Row {
    id value;
    std::string binary;  // the object in hexadecimal
    std::string xml;
  };
  const std::string lots(20, 'a');
  const std::vector<Row> rows = {
      {NSNumber(false), "08", "<false/>\n"},
      {NSNumber(true), "09", "<true/>\n"},
      {NSNumber(0), "1000", "<integer>0</integer>\n"},
      {NSNumber(255), "10ff", "<integer>255</integer>\n"},
      {NSNumber(256), "110100", "<integer>256</integer>\n"},
      {NSNumber(65536), "1200010000", "<integer>65536</integer>\n"},
      {NSNumber(UINT32_MAX), "12ffffffff", "<integer>4294967295</integer>\n"},
      {NSNumber(std::int64_t{1} << 32), "130000000100000000", "<integer>4294967296</integer>\n"},
      {NSNumber(INT64_MAX), "137fffffffffffffff", "<integer>9223372036854775807</integer>\n"},
      {NSNumber(-1), "13ffffffffffffffff", "<integer>-1</integer>\n"},
      {NSNumber(INT64_MIN), "138000000000000000", "<integer>-9223372036854775808</integer>\n"},
      {NSNumber(UINT64_MAX), "140000000000000000ffffffffffffffff", "<integer>18446744073709551615</integer>\n"},
      {NSNumber(static_cast<std::uint64_t>(INT64_MAX) + 1), "1400000000000000008000000000000000",
       "<integer>9223372036854775808</integer>\n"},
      {decimal("18446744073709551616"), "1400000000000000010000000000000000",
       "<integer>18446744073709551616</integer>\n"},
      {decimal("-18446744073709551616"), "14ffffffffffffffff0000000000000000",
       "<integer>-18446744073709551616</integer>\n"},
      {NSNumber(static_cast<signed char>(-5)), "13fffffffffffffffb", "<integer>-5</integer>\n"},
      {NSNumber(1.5), "233ff8000000000000", "<real>1.5</real>\n"},
      {NSNumber(0.1), "233fb999999999999a", "<real>0.1</real>\n"},
      {NSNumber(0.1f), "223dcccccd", "<real>0.10000000149011612</real>\n"},
      {NSNumber(-0.0), "238000000000000000", "<real>-0</real>\n"},
      {NSNumber(std::numeric_limits<double>::infinity()), "237ff0000000000000", "<real>+infinity</real>\n"},
      {NSNumber(-std::numeric_limits<double>::infinity()), "23fff0000000000000", "<real>-infinity</real>\n"},
      {NSNumber(1e300), "237e37e43c8800759c", "<real>1e+300</real>\n"},
      {NSString(""), "50", "<string></string>\n"},
      {NSString("abc"), "53616263", "<string>abc</string>\n"},
      {NSString(lots), "5f1014" + hex(lots), "<string>" + lots + "</string>\n"},
      {NSString("Zoë"), "63005a006f00eb", "<string>Zoë</string>\n"},
      {NSString("😀"), "62d83dde00", "<string>😀</string>\n"},
      {NSString("<&>\"' ]]>"), "59" + hex("<&>\"' ]]>"), "<string>&lt;&amp;&gt;\"' ]]&gt;</string>\n"},
      {NSString("a\r\n\tb"), "55610d0a0962", "<string>a&#13;\n\tb</string>\n"},
      {NSData(std::string_view("\0\xFF", 2)), "4200ff", "<data>\nAP8=\n</data>\n"},
      {NSData(std::string_view("")), "40", "<data>\n</data>\n"},
      {NSDate::dateWithTimeIntervalSinceReferenceDate(0), "330000000000000000", "<date>2001-01-01T00:00:00Z</date>\n"},
      {NSDate::dateWithTimeIntervalSince1970(-1), "33" + hexBits(-1 - NSTimeIntervalSince1970),
       "<date>1969-12-31T23:59:59Z</date>\n"},
      {NSDate::dateWithTimeIntervalSinceReferenceDate(-63114076800), "33" + hexBits(-63114076800),
       "<date>0000-12-30T00:00:00Z</date>\n"},
      {NSKeyedArchiverUID::UIDWithValue(1), "8001", "<dict>\n\t<key>CF$UID</key>\n\t<integer>1</integer>\n</dict>\n"},
      {NSKeyedArchiverUID::UIDWithValue(256), "810100",
       "<dict>\n\t<key>CF$UID</key>\n\t<integer>256</integer>\n</dict>\n"},
      {NSKeyedArchiverUID::UIDWithValue(UINT64_MAX), "87ffffffffffffffff",
       "<dict>\n\t<key>CF$UID</key>\n\t<integer>18446744073709551615</integer>\n</dict>\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.xml);
    EXPECT_EQ(binaryOf(row.value), row.binary);
    EXPECT_EQ(xmlOf(row.value), row.xml);
    for (const NSPropertyListFormat format : {kBinary, kXML}) {
      NSPropertyListFormat found{};
      const id back =
          NSPropertyListSerialization::propertyListWithData_options_format_error(write(row.value, format), 0, &found);
      EXPECT_EQ(meaning(back), meaning(row.value));
      EXPECT_EQ(found, format);
    }
  }
}

TEST(NSPropertyListSerialization, KeepsTypesOfNumbers) {
  struct Row {
    NSNumber value;
    const char* binary;  // the type after a round trip
    const char* xml;
  };
  const Row rows[] = {
      {true, "c", "c"},       {std::uint8_t{200}, "q", "q"}, {INT64_MIN, "q", "q"},
      {UINT64_MAX, "Q", "Q"}, {std::uint64_t{7}, "q", "q"},  {1.5f, "f", "d"},
      {1.5, "d", "d"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.value.description().str());
    EXPECT_STREQ(read(write(row.value, kBinary).view()).as<NSNumber>().objCType(), row.binary);
    EXPECT_STREQ(read(write(row.value, kXML).view()).as<NSNumber>().objCType(), row.xml);
  }
  EXPECT_TRUE(read(write(NSNumber(true), kXML).view()).as<NSNumber>().isBool());
  EXPECT_TRUE(read(write(decimal("18446744073709551616"), kXML).view()).is<NSDecimalNumber>());
  EXPECT_TRUE(std::isnan(read(write(NSNumber(std::nan("")), kXML).view()).as<NSNumber>().doubleValue()));
}

TEST(NSPropertyListSerialization, WritesDecimals) {
  struct Row {
    const char* decimal;
    std::string meaning;
  };
  const Row rows[] = {
      {"12", "i12"},
      {"-12", "i-12"},
      {"-9223372036854775808", "i-9223372036854775808"},
      {"12e3", "i12000"},
      {"0.5", "r" + hexBits(0.5)},
      {"99999999999999999999999999999999999999", "i99999999999999999999999999999999999999"},
      {"-99999999999999999999999999999999999999", "i-99999999999999999999999999999999999999"},
      {"1e37", "i10000000000000000000000000000000000000"},
      {"1e39", "r" + hexBits(1e39)},
      {"abc", "r" + hexBits(std::numeric_limits<double>::quiet_NaN())},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.decimal);
    for (const NSPropertyListFormat format : {kBinary, kXML}) {
      EXPECT_EQ(meaning(read(write(decimal(row.decimal), format).view())), row.meaning);
    }
  }
}

TEST(NSPropertyListSerialization, WritesDatesToTheBit) {
  for (const double seconds : {0.0, -0.5, 1e-9, 123456789.125, 1e17, -1e300}) {
    const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(seconds);
    EXPECT_EQ(meaning(read(write(date, kBinary).view())), meaning(date));
  }
  // XML has seconds, rounded down.
  EXPECT_EQ(xmlOf(NSDate::dateWithTimeIntervalSinceReferenceDate(-0.5)), "<date>2000-12-31T23:59:59Z</date>\n");
  EXPECT_EQ(xmlOf(NSDate::dateWithTimeIntervalSinceReferenceDate(1e11)), "<date>5169-11-16T09:46:40Z</date>\n");
  // Every day of eight centuries, and back.
  for (double day = -146097; day < 146097; ++day) {
    const NSDate date = NSDate::dateWithTimeIntervalSinceReferenceDate(day * 86400 + 1);
    ASSERT_EQ(meaning(read(write(date, kXML).view())), meaning(date)) << xmlOf(date);
    day += 6;
  }
}

// ---- containers -----------------------------------------------------------------------------------------------------

TEST(NSPropertyListSerialization, LaysXMLOut) {
  const NSDictionary list = {{"empty", NSArray::array()},
                             {"none", NSDictionary::dictionary()},
                             {"list", NSArray{1, NSArray{"x"}}},
                             {"a<b", NSDictionary{{"data", NSData(std::string_view(std::string(60, 'x')))}}}};
  EXPECT_EQ(xmlOf(list),
            "<dict>\n"
            "\t<key>empty</key>\n\t<array/>\n"
            "\t<key>none</key>\n\t<dict/>\n"
            "\t<key>list</key>\n\t<array>\n\t\t<integer>1</integer>\n\t\t<array>\n\t\t\t<string>x</string>\n"
            "\t\t</array>\n\t</array>\n"
            "\t<key>a&lt;b</key>\n\t<dict>\n\t\t<key>data</key>\n\t\t<data>\n"
            "\t\teHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4eHh4\n"
            "\t\teHh4eHh4eHh4eHh4eHh4\n\t\t</data>\n\t</dict>\n"
            "</dict>\n");
  EXPECT_EQ(read(write(list, kXML).view()), list);
}

TEST(NSPropertyListSerialization, KeepsTheOrderOfKeys) {
  const NSDictionary list = {{"z", 1}, {"a", 2}, {"m", 3}};
  for (const NSPropertyListFormat format : {kBinary, kXML}) {
    EXPECT_EQ(read(write(list, format).view()).as<NSDictionary>().allKeys(), (NSArray{"z", "a", "m"}));
  }
}

TEST(NSPropertyListSerialization, WritesEqualScalarsOnce) {
  const NSArray list = {"text",
                        NSString("text").mutableCopy(),
                        1000,
                        1000,
                        1000.0,
                        NSData(std::string_view("text")),
                        NSDate::dateWithTimeIntervalSinceReferenceDate(1000),
                        NSNumber(1000.0f),
                        "text"};
  const std::string bytes(write(list, kBinary).view());
  // text, 1000, 1000.0, data, date, float, and the array.
  EXPECT_EQ(hex(std::string_view(bytes).substr(bytes.size() - 24, 8)), "0000000000000007");
  EXPECT_EQ(meaning(read(bytes)), meaning(list));
}

TEST(NSPropertyListSerialization, WritesSharedContainersOnce) {
  NSArray list = {"x"};
  for (int i = 0; i < 60; ++i) list = NSArray{list, list};
  const NSData data = write(list, kBinary);
  EXPECT_LT(data.length(), 400u);
  // Read as many as there are; each level would be there twice otherwise.
  const id back = read(data.view());
  ASSERT_TRUE(back);
  const NSArray top = back.as<NSArray>();
  EXPECT_TRUE(isIdentical(top[0], top[1]));
  // In XML and as mutable objects they would be there once a place, without end.
  NSError error;
  EXPECT_FALSE(write(list, kXML, &error));
  EXPECT_EQ(reasonOf(error), "3852: Shared values have too many places.");
  error = nullptr;
  EXPECT_FALSE(read(data.view(), NSPropertyListMutableContainers, &error));
  EXPECT_EQ(reasonOf(error), "3840: Shared containers have too many places.");
}

TEST(NSPropertyListSerialization, ReadsWideReferences) {
  // More than 256 and more than 65536 objects.
  for (const int count : {300, 70000}) {
    NSMutableArray list = NSMutableArray::array();
    for (int i = 0; i < count; ++i) list.addObject(i);
    const NSData data = write(list, kBinary);
    EXPECT_EQ(read(data.view()), list) << count;
    EXPECT_EQ(data.view()[data.length() - 25], count == 300 ? 2 : 4);
  }
  // A file of more than 65536 bytes has wide offsets, one of few objects narrow references.
  const NSString text = NSString("").stringByPaddingToLength_withString_startingAtIndex(100000, "ab", 0);
  const NSData data = write(NSArray{text, text, "x"}, kBinary);
  EXPECT_EQ(read(data.view()), (NSArray{text, text, "x"}));
  EXPECT_EQ(data.view()[data.length() - 26], 4);
  EXPECT_EQ(data.view()[data.length() - 25], 1);
}

TEST(NSPropertyListSerialization, ReadsMutably) {
  const NSDictionary list = {{"array", NSArray{"text", NSData(std::string_view("d"))}}, {"set", NSSet{1}}};
  const NSData data = write(list, kBinary);
  struct Row {
    NSUInteger options;
    bool containers, leaves;
  };
  for (const Row& row : {Row{NSPropertyListImmutable, false, false}, Row{NSPropertyListMutableContainers, true, false},
                         Row{NSPropertyListMutableContainersAndLeaves, true, true}}) {
    SCOPED_TRACE(row.options);
    const NSDictionary back = read(data.view(), row.options).as<NSDictionary>();
    ASSERT_EQ(back, list);
    EXPECT_EQ(back.is<NSMutableDictionary>(), row.containers);
    EXPECT_EQ(back["array"].is<NSMutableArray>(), row.containers);
    EXPECT_EQ(back["set"].is<NSMutableSet>(), row.containers);
    EXPECT_EQ(back["array"].as<NSArray>()[0].is<NSMutableString>(), row.leaves);
    EXPECT_EQ(back["array"].as<NSArray>()[1].is<NSMutableData>(), row.leaves);
    EXPECT_FALSE(back.allKeys()[0].is<NSMutableString>());
  }
  // What stood at two places can be changed at one.
  const NSArray shared = {"x"};
  const NSArray twice =
      read(write(NSArray{shared, shared, "y", "y"}, kBinary).view(), NSPropertyListMutableContainersAndLeaves)
          .as<NSArray>();
  twice[0].as<NSMutableArray>().addObject(1);
  twice[2].as<NSMutableString>().appendString("z");
  EXPECT_EQ(twice, (NSArray{NSArray{"x", 1}, NSArray{"x"}, "yz", "y"}));
}

TEST(NSPropertyListSerialization, HasSetsInTheBinaryFormatOnly) {
  const NSSet set = {1, "x"};
  EXPECT_EQ(read(write(set, kBinary).view()), set);
  EXPECT_TRUE(NSPropertyListSerialization::propertyList_isValidForFormat(set, kBinary));
  EXPECT_FALSE(NSPropertyListSerialization::propertyList_isValidForFormat(set, kXML));
  NSError error;
  EXPECT_FALSE(write(set, kXML, &error));
  EXPECT_EQ(reasonOf(error), "3852: Property lists of this format cannot hold objects of class NSSet.");
}

// ---- what is not written --------------------------------------------------------------------------------------------

NSArray nested(int depth) {
  NSArray list = NSArray::array();
  for (int i = 1; i < depth; ++i) list = NSArray{list};
  return list;
}

TEST(NSPropertyListSerialization, RefusesWhatItCannotHold) {
  struct Row {
    const char* what;
    id list;
    NSPropertyListFormat format;
    const char* reason;
  };
  const NSMutableArray circle = NSMutableArray::array();
  circle.addObject(NSDictionary{{"again", circle}});
  const Row rows[] = {
      {"nil", nullptr, kBinary, "3852: There is no object."},
      {"null", NSNull::null(), kBinary, "3852: Property lists of this format cannot hold objects of class NSNull."},
      {"set", NSSet{NSArray{1}}, kBinary, "3852: Sets in property lists hold no containers."},
      {"URL", NSArray{NSURL::URLWithString("a")}, kXML,
       "3852: Property lists of this format cannot hold objects of class NSURL."},
      {"class", id(classOf<NSArray>()), kBinary,
       "3852: Property lists of this format cannot hold objects of class NSArray."},
      {"key", NSDictionary{{1, "x"}}, kBinary, "3852: A dictionary has a key of class NSNumber; keys are text."},
      {"circle", circle, kBinary, "3852: Containers are nested too deep, or contain themselves."},
      {"circle", circle, kXML, "3852: Containers are nested too deep, or contain themselves."},
      {"deep", nested(513), kBinary, "3852: Containers are nested too deep, or contain themselves."},
      {"control", NSString("a\x01"), kXML, "3852: Text with a character that has no XML form: “a\x01”."},
      {"no character", NSString(u"\xFFFE"), kXML, "3852: Text with a character that has no XML form: “\xEF\xBF\xBE”."},
      {"half", NSString(u"\xD800"), kXML, "3852: Text with an unpaired surrogate has no XML form."},
      {"half key", NSDictionary{{NSString(u"\xD800x"), 1}}, kXML,
       "3852: Text with an unpaired surrogate has no XML form."},
      {"no date", NSDate::dateWithTimeIntervalSinceReferenceDate(1e17), kXML, "3852: A date that no calendar reaches."},
      {"NaN date", NSDate::dateWithTimeIntervalSinceReferenceDate(std::nan("")), kXML,
       "3852: A date that no calendar reaches."},
      {"old", NSString("x"), NSPropertyListOpenStepFormat,
       "3851: The old text format of property lists is not written."},
      {"none", NSString("x"), NSPropertyListFormat(7), "3851: The format of the property list is unknown."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    NSError error;
    EXPECT_FALSE(write(row.list, row.format, &error));
    EXPECT_EQ(reasonOf(error), row.reason);
    EXPECT_FALSE(write(row.list, row.format));  // without an error to fill
  }
  NSError error;
  EXPECT_FALSE(NSPropertyListSerialization::dataWithPropertyList_format_options_error(NSString("x"), kXML, 1, &error));
  EXPECT_EQ(reasonOf(error), "3851: There are no options for writing.");
  circle.removeAllObjects();
}

TEST(NSPropertyListSerialization, SaysWhatIsValid) {
  struct Row {
    id list;
    bool binary, xml;
  };
  const Row rows[] = {
      {nullptr, false, false},
      {NSString("x"), true, true},
      {NSDictionary{{"a", NSArray{1, 2.5, true, NSDate::date(), NSData::data()}}}, true, true},
      {NSDictionary{{1, 2}}, false, false},
      {NSArray{NSNull::null()}, false, false},
      {NSSet{1}, true, false},
      {nested(512), true, true},
      {nested(513), false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(meaning(row.list).substr(0, 80));
    EXPECT_EQ(NSPropertyListSerialization::propertyList_isValidForFormat(row.list, kBinary), row.binary);
    EXPECT_EQ(NSPropertyListSerialization::propertyList_isValidForFormat(row.list, kXML), row.xml);
    EXPECT_FALSE(NSPropertyListSerialization::propertyList_isValidForFormat(row.list, NSPropertyListOpenStepFormat));
    EXPECT_EQ(static_cast<bool>(write(row.list, kBinary)), row.binary);
    EXPECT_EQ(static_cast<bool>(write(row.list, kXML)), row.xml);
  }
  for (const NSPropertyListFormat format : {kBinary, kXML}) {
    EXPECT_TRUE(read(write(nested(512), format).view()));
  }
}

// ---- XML ------------------------------------------------------------------------------------------------------------

TEST(NSPropertyListSerialization, ReadsXML) {
  struct Row {
    std::string text;
    std::string meaning;
  };
  const auto text = [](std::string_view value) { return meaning(NSString(value)); };
  const Row rows[] = {
      {"<plist><string>x</string></plist>", text("x")},
      {"<string>x</string>", text("x")},
      {"  \n<!-- c --><?pi x?><plist version='1.0'> <true/> <!-- c --> </plist>\n<!-- d -->", "t"},
      {"<true></true>", "t"},
      {"<true> </true>", "t"},
      {"<string/>", text("")},
      {"<string>  </string>", text("  ")},
      {"<string> a\r\nb </string>", text(" a\nb ")},
      {"<string>a&#13;&#x1F600;&lt;&gt;&amp;&quot;&apos;</string>", text("a\r😀<>&\"'")},
      {"<string>&amp;lt;</string>", text("&lt;")},
      {"<string><![CDATA[<&lt;>]]></string>", text("<&lt;>")},
      {"<string>a<![CDATA[b]]>&lt;<!-- c -->d</string>", text("ab<d")},
      {"<string><![CDATA[]]>x</string>", text("x")},
      {"<integer> 42\n</integer>", "i42"},
      {"<integer>+7</integer>", "i7"},
      {"<integer>-0</integer>", "i0"},
      {"<integer>0x1F</integer>", "i31"},
      {"<integer>-0XfF</integer>", "i-255"},
      {"<integer>18446744073709551615</integer>", "i18446744073709551615"},
      {"<integer>99999999999999999999999999999999999999</integer>", "i99999999999999999999999999999999999999"},
      {"<real>1</real>", "r" + hexBits(1)},
      {"<real>-.5e-3</real>", "r" + hexBits(-.5e-3)},
      {"<real>+2</real>", "r" + hexBits(2)},
      {"<real>INF</real>", "r" + hexBits(HUGE_VAL)},
      {"<real>-Infinity</real>", "r" + hexBits(-HUGE_VAL)},
      {"<real>1e999</real>", "r" + hexBits(HUGE_VAL)},
      {"<real>1e-999</real>", "r" + hexBits(0)},
      {"<date>2024-02-29T23:59:59Z</date>", "D" + hexBits(730943999)},
      {"<date>-0001-01-01T00:00:00Z</date>", "D" + hexBits(-63177062400)},
      {"<data>  AP\n 8= </data>", "d00ff"},
      {"<data/>", "d"},
      {"<array/>", "[]"},
      {"<array> <true/> <!-- c --> <false/> </array>", "[t,f,]"},
      {"<dict/>", "{}"},
      {"<dict><key>a</key><true/><key/><array><dict/></array></dict>", "{s:[{},],s0061:t,}"},
      {"<dict><key>CF$UID</key><integer>5</integer></dict>", "u5"},
      {"<dict><key>CF$UID</key><string>5</string></dict>", "{" + text("CF$UID") + ":s0035,}"},
      {"<dict><key>CF$UID</key><integer>-1</integer></dict>", "{" + text("CF$UID") + ":i-1,}"},
      {"<dict><key>CF$UID</key><integer>5</integer><key>a</key><true/></dict>", "{" + text("CF$UID") + ":i5,s0061:t,}"},
      {"<!DOCTYPE plist SYSTEM \"file:///etc/passwd\"><true/>", "t"},
      {"\xEF\xBB\xBF<string>é</string>", text("é")},
      {"<?xml version=\"1.0\" encoding='utf-8'?><string>é</string>", text("é")},
      {"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>\xE9</string>", text("é")},
      {"<?xml version=\"1.0\" encoding=\"Windows-1252\"?><string>\x80</string>", text("€")},
      {"\xFF\xFE<\0s\0t\0r\0i\0n\0g\0>\0\xE9\0<\0/\0s\0t\0r\0i\0n\0g\0>\0"s, text("é")},
      {"\xFE\xFF\0<\0t\0r\0u\0e\0/\0>"s, "t"},
      {"<\0t\0r\0u\0e\0/\0>\0"s, "t"},
      {"\0<\0t\0r\0u\0e\0/\0>"s, "t"},
      {"\0\0\xFE\xFF\0\0\0<\0\0\0t\0\0\0r\0\0\0u\0\0\0e\0\0\0/\0\0\0>"s, "t"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    NSError error;
    EXPECT_EQ(meaning(read(row.text, 0, &error)), row.meaning) << reasonOf(error);
  }
}

TEST(NSPropertyListSerialization, RefusesMalformedXML) {
  struct Row {
    std::string text;
    std::string reason;
  };
  const Row rows[] = {
      {"<plist>", "3840: Start-end tags mismatch at line 1."},
      {"<plist/>", "3840: Element <plist> without a value at line 1."},
      {"<plist>\n<true/>\n<true/></plist>", "3840: Something else than one value in <plist> at line 3."},
      {"<true/><true/>", "3840: Something else than one property list at line 1."},
      {"<true/>\nx", "3840: Something else than one property list at line 2."},
      {"<!-- nothing -->", "3840: There is no element at line 1."},
      {"<frob/>", "3840: Unknown element <frob> at line 1."},
      {"<array>\n<frob/></array>", "3840: Unknown element <frob> at line 2."},
      {"<array>x</array>", "3840: Text in an <array> at line 1."},
      {"<dict><true/></dict>", "3840: Element <true> without a key at line 1."},
      {"<dict>\n<key>a</key>\n<key>b</key></dict>", "3840: Element <key> without a value at line 3."},
      {"<dict>\n<key>a</key></dict>", "3840: Element <key> without a value at line 2."},
      {"<dict><key>a</key><true/>x</dict>", "3840: Text in a <dict> at line 1."},
      {"<dict>\n<key>a</key><true/><key>a</key><false/></dict>", "3840: The key “a” comes twice in a dictionary."},
      {"<key>a</key>", "3840: Unknown element <key> at line 1."},
      {"<string><b>x</b></string>", "3840: Element <b> within <string> at line 1."},
      {"<true>x</true>", "3840: Element <true> with the content “x” at line 1."},
      {"<integer/>", "3840: Element <integer> with the content “” at line 1."},
      {"<integer>1.5</integer>", "3840: Element <integer> with the content “1.5” at line 1."},
      {"<integer>1 2</integer>", "3840: Element <integer> with the content “1 2” at line 1."},
      {"<integer>0x</integer>", "3840: Element <integer> with the content “0x” at line 1."},
      {"<integer>--1</integer>", "3840: Element <integer> with the content “--1” at line 1."},
      {"<integer>170141183460469231731687303715884105728</integer>",
       "3840: Element <integer> with the content “170141183460469231731687303715884105728” at line 1."},
      {"<integer>170141183460469231731687303715884105727</integer>", "3840: An integer of more than 38 digits."},
      {"<real>abc</real>", "3840: Element <real> with the content “abc” at line 1."},
      {"<real/>", "3840: Element <real> with the content “” at line 1."},
      {"<real>0x10</real>", "3840: Element <real> with the content “0x10” at line 1."},
      {"<real>1e</real>", "3840: Element <real> with the content “1e” at line 1."},
      {"<date>2024-02-30T00:00:00Z</date>", "3840: Element <date> with the content “2024-02-30T00:00:00Z” at line 1."},
      {"<date>2024-02-03</date>", "3840: Element <date> with the content “2024-02-03” at line 1."},
      {"<date>2024-02-03T24:00:00Z</date>", "3840: Element <date> with the content “2024-02-03T24:00:00Z” at line 1."},
      {"<date>24-02-03T00:00:00Z</date>", "3840: Element <date> with the content “24-02-03T00:00:00Z” at line 1."},
      {"<data>A*</data>", "3840: Element <data> with a content that is not base64 at line 1."},
      {"<data>AAA</data>", "3840: Element <data> with a content that is not base64 at line 1."},
      {"<string>&nbsp;</string>", "3840: Unknown reference &nbsp; at line 1."},
      {"<string>\n&#0;</string>", "3840: Unknown reference &#0; at line 2."},
      {"<string>&#xD800;</string>", "3840: Unknown reference &#xD800; at line 1."},
      {"<string>&#1;</string>", "3840: Unknown reference &#1; at line 1."},
      {"<string>&#x110000;</string>", "3840: Unknown reference &#x110000; at line 1."},
      {"<string>a & b</string>", "3840: A reference that does not end at line 1."},
      {"<!DOCTYPE plist [<!ENTITY a \"x\">]><string>&a;</string>",
       "3840: Entities that the document declares itself are refused at line 1."},
      {"<string>\n\xFF</string>", "3840: Bytes that are not UTF-8 at line 2."},
      {"<string>\xED\xA0\x80</string>", "3840: Bytes that are not UTF-8 at line 1."},
      {"<string>a\0b</string>"s, "3840: A zero byte at line 1."},
      {"<?xml version=\"1.0\" encoding=\"EBCDIC\"?><true/>", "3840: The encoding EBCDIC is not read."},
      {"\xFF\xFE<\0\x00\xD8"s, "3840: The bytes are not in the encoding that they seem to be in."},
      {"<string>x</strinG>", "3840: Start-end tags mismatch at line 1."},
      {"<string", "3840: Error parsing start element tag at line 1."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    NSError error;
    EXPECT_FALSE(read(row.text, 0, &error));
    EXPECT_EQ(reasonOf(error), row.reason);
    EXPECT_FALSE(read(row.text));
  }
}

TEST(NSPropertyListSerialization, SurvivesXMLBombs) {
  // A billion laughs.
  std::string text = "<!DOCTYPE plist [<!ENTITY l0 \"lol\">";
  for (int i = 1; i < 30; ++i) {
    text += "<!ENTITY l" + std::to_string(i) + " \"";
    for (int k = 0; k < 10; ++k) text += "&l" + std::to_string(i - 1) + ";";
    text += "\">";
  }
  NSError error;
  EXPECT_FALSE(read(text + "]><string>&l29;</string>", 0, &error));
  EXPECT_EQ(reasonOf(error), "3840: Entities that the document declares itself are refused at line 1.");
  // Deeper than any stack.
  for (const int depth : {513, 2'000'000}) {
    std::string deep;
    for (int i = 0; i < depth; ++i) deep += "<array>";
    for (int i = 0; i < depth; ++i) deep += "</array>";
    error = nullptr;
    EXPECT_FALSE(read(deep, 0, &error));
    EXPECT_EQ(reasonOf(error), "3840: Elements are nested too deep at line 1.");
  }
}

// ---- binary ---------------------------------------------------------------------------------------------------------

TEST(NSPropertyListSerialization, ReadsEveryBinaryForm) {
  struct Row {
    const char* what;
    BinaryList list;
    std::string meaning;
  };
  const Row rows[] = {
      {"null", {{"\0"s}}, "n"},
      {"int 1", {{"\x10\xFF"}}, "i255"},
      {"int 2", {{"\x11\xFF\xFF"}}, "i65535"},
      {"int 4", {{"\x12\xFF\xFF\xFF\xFF"}}, "i4294967295"},
      {"int 8", {{"\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFE"}}, "i-2"},
      {"int 16, small", {{"\x14" + std::string(15, '\0') + "\x05"}}, "i5"},
      {"int 16, negative", {{"\x14" + std::string(16, '\xFF')}}, "i-1"},
      {"int 16, unsigned", {{"\x14" + std::string(8, '\0') + std::string(8, '\xFF')}}, "i18446744073709551615"},
      {"int 16, wide", {{"\x14" + std::string(7, '\0') + "\x01" + std::string(8, '\0')}}, "i18446744073709551616"},
      {"float", {{"\x22\x3F\xC0\0\0"s}}, "r" + hexBits(1.5)},
      {"UID of 3 bytes", {{"\x82\x01\x02\x03"}}, "u66051"},
      {"wide count", {{"\x5F\x13\0\0\0\0\0\0\0\x02"s + "ab"}}, "s00610062"},
      {"half pair", {{"\x61\xD8\x00"s}}, "sd800"},
      {"ASCII as UTF-16", {{"\x62\0a\0b"s}}, "s00610062"},
      {"wide references", {{"\xA1\0\0\0\0\0\0\x01"s, "\x09"}, {}, 0, 3, 7}, "[t,]"},
      {"top not first", {{"\x08", "\xA2\x00\x00"s}, {}, 1}, "[f,f,]"},
      {"set", {{"\xC2\x01\x02"s, "\x08", "\x09"}}, "(f,t,)"},
      {"unused objects", {{"\x08", "\x09", "\x50"}}, "f"},
      {"object at the offset of another", {{"\xA2\x01\x02"s, "\x08"}, {8, 11, 11}, 0, 1, 1, 3}, "[f,f,]"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    NSError error;
    EXPECT_EQ(meaning(read(row.list.bytes(), 0, &error)), row.meaning) << reasonOf(error);
  }
}

TEST(NSPropertyListSerialization, RefusesMalformedBinary) {
  struct Row {
    std::string bytes;
    std::string reason;
  };
  const std::string huge = std::string(7, '\xFF') + "\xF0";
  const std::string good = BinaryList{{"\x08"}}.bytes();
  const Row rows[] = {
      {"", "3840: The data is empty."},
      {"bplist", "3841: The version of the binary property list is unknown."},
      {"bplist15" + std::string(40, '\0'), "3841: The version of the binary property list is unknown."},
      {"bplist00", "3840: The data ends before the trailer."},
      {good.substr(0, good.size() - 2), "3840: The data ends before the trailer."},
      {"{ a = b; }", "3841: The old text format of property lists is not read."},
      {"(a, b)", "3841: The old text format of property lists is not read."},
      {"hello", "3840: The data is neither a binary nor an XML property list."},
      {"\0\0\0\0"s, "3840: The data is neither a binary nor an XML property list."},
      {BinaryList{{"\x08"}, {}, 0, 0}.bytes(), "3840: The trailer has offsets of 0 and references of 1 bytes."},
      {BinaryList{{"\x08"}, {}, 0, 1, 9}.bytes(), "3840: The trailer has offsets of 1 and references of 9 bytes."},
      {BinaryList{{"\x08"}, {}, 1}.bytes(), "3840: The top is object 1 of 1."},
      {BinaryList{{"\x08"}, {}, 0, 1, 1, 0}.bytes(), "3840: The data has no room for 0 objects."},
      {BinaryList{{"\x08"}, {}, 0, 1, 1, 2}.bytes(), "3840: The data has no room for 2 objects."},
      {BinaryList{{"\x08"}, {}, 0, 1, 1, UINT64_MAX - 1}.bytes(),
       "3840: The data has no room for 18446744073709551614 objects."},
      {BinaryList{{"\x08"}, {}, 0, 1, 1, UINT64_MAX, 8}.bytes(),
       "3840: The table of offsets lies at 8, outside the data."},
      {BinaryList{{"\x08"}, {}, 0, 1, 1, UINT64_MAX, UINT64_MAX - 1}.bytes(),
       "3840: The table of offsets lies at 18446744073709551614, outside the data."},
      {BinaryList{{"\x08"}, {7}}.bytes(), "3840: Object 0 lies at 7, outside the objects."},
      {BinaryList{{"\x08"}, {9}}.bytes(), "3840: Object 0 lies at 9, outside the objects."},
      {BinaryList{{"\x08"}, {UINT64_MAX}, 0, 8}.bytes(),
       "3840: Object 0 lies at 18446744073709551615, outside the objects."},
      {BinaryList{{"\x01"}}.bytes(), "3840: Unknown marker 0x01 at byte 8."},
      {BinaryList{{"\x0F"}}.bytes(), "3840: Unknown marker 0x0f at byte 8."},
      {BinaryList{{"\x15"}}.bytes(), "3840: Too wide an integer at byte 8."},
      {BinaryList{{"\x13\0\0"s}}.bytes(), "3840: The data ends in an integer at byte 8."},
      {BinaryList{{"\x21\0\0"s}}.bytes(), "3840: Unknown marker 0x21 at byte 8."},
      {BinaryList{{"\x23\0"s}}.bytes(), "3840: The data ends in a real at byte 8."},
      {BinaryList{{"\x33"}}.bytes(), "3840: The data ends in a date at byte 8."},
      {BinaryList{{"\x41"}}.bytes(), "3840: Bytes longer than the data at byte 8."},
      {BinaryList{{"\x4F\x13" + huge}}.bytes(), "3840: Bytes longer than the data at byte 8."},
      {BinaryList{{"\x4F"}}.bytes(), "3840: A size that is none at byte 8."},
      {BinaryList{{"\x4F\x51"}}.bytes(), "3840: A size that is none at byte 8."},
      {BinaryList{{"\x4F\x14" + std::string(16, '\0')}}.bytes(), "3840: A size that is none at byte 8."},
      {BinaryList{{"\x4F\x12\0"s}}.bytes(), "3840: A size that is none at byte 8."},
      {BinaryList{{"\x52x"}}.bytes(), "3840: Text longer than the data at byte 8."},
      {BinaryList{{"\x51\xE9"}}.bytes(), "3840: Text with bytes that are not ASCII at byte 8."},
      {BinaryList{{"\x61x"}}.bytes(), "3840: Text longer than the data at byte 8."},
      {BinaryList{{"\x6F\x13\x80" + std::string(7, '\0')}}.bytes(), "3840: Text longer than the data at byte 8."},
      {BinaryList{{"\x88" + std::string(9, '\1')}}.bytes(), "3840: Too wide a UID at byte 8."},
      {BinaryList{{"\x81\x01"}}.bytes(), "3840: The data ends in a UID at byte 8."},
      {BinaryList{{"\xA1"}}.bytes(), "3840: A container larger than the data at byte 8."},
      {BinaryList{{"\xAF\x13" + huge}}.bytes(), "3840: A container larger than the data at byte 8."},
      {BinaryList{{"\xDF\x13\x80" + std::string(7, '\0')}}.bytes(),
       "3840: A container larger than the data at byte 8."},
      {BinaryList{{"\xA1\x05"}}.bytes(), "3840: A reference to object 5 of 1 in the container at byte 8."},
      {BinaryList{{"\xB1\x00"s}}.bytes(), "3840: Unknown marker 0xb1 at byte 8."},
      {BinaryList{{"\xD1\x01\x01", "\x08"}}.bytes(), "3840: Key 0 of a dictionary, object 1, is no text."},
      {BinaryList{{"\xD2\x01\x02\x03\x03", "\x51x", "\x51x", "\x08"}}.bytes(),
       "3840: The key “x” comes twice in a dictionary."},
      {BinaryList{{"\xD2\x01\x02\x03\x03", "\x51x", "\x61\0x"s, "\x08"}}.bytes(),
       "3840: The key “x” comes twice in a dictionary."},
      {BinaryList{{"\xA1\x00"s}}.bytes(), "3840: A container contains itself."},
      {BinaryList{{"\xA1\x01"s, "\xD1\x02\x00"s, "\x51x"}}.bytes(), "3840: A container contains itself."},
      {BinaryList{{"\xC2\x01\x01"s, "\x08"}}.bytes(), "3840: A set has equal elements."},
      {BinaryList{{"\xC1\x01"s, "\xA0"}}.bytes(), "3840: A set holds a container."},
      {BinaryList{{"\xA9\0\0\0\0\0\0\0\0\0"s}, {8, 8, 8, 8, 8}, 0, 1, 1, 5}.bytes(),
       "3840: Objects overlap at byte 8."},
      {BinaryList{{"\x14" + std::string(16, '\x7F')}}.bytes(), "3840: An integer of more than 38 digits."},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(hex(row.bytes));
    for (NSUInteger options = 0; options < 3; ++options) {
      NSError error;
      EXPECT_FALSE(read(row.bytes, options, &error));
      EXPECT_EQ(reasonOf(error), row.reason);
    }
  }
}

TEST(NSPropertyListSerialization, SurvivesDeepAndTwistedBinary) {
  const auto chain = [](int depth, bool twice) {
    BinaryList list;
    list.offsetWidth = list.referenceWidth = 4;
    for (int i = 0; i < depth; ++i) {
      const std::string next = BinaryList::bigEndian(static_cast<std::uint64_t>(i) + 1, 4);
      list.objects.push_back(twice ? "\xA2" + next + next : "\xA1" + next);
    }
    list.objects.push_back("\x09");
    return list.bytes();
  };
  EXPECT_TRUE(read(chain(512, false)));
  for (const int depth : {513, 500000}) {
    NSError error;
    EXPECT_FALSE(read(chain(depth, false), 0, &error));
    EXPECT_EQ(reasonOf(error), "3840: Containers are nested too deep.");
  }
  // Each level holds the next one twice: two to the 500th, if they were counted.
  EXPECT_TRUE(read(chain(500, true)));
  NSError error;
  EXPECT_FALSE(read(chain(500, true), NSPropertyListMutableContainers, &error));
  EXPECT_EQ(reasonOf(error), "3840: Shared containers have too many places.");
  // A long text that is met again and again, where each is to be one of its own.
  BinaryList texts{{"\xAF\x12" + BinaryList::bigEndian(100000, 4) + std::string(100000, '\1'),
                    "\x5F\x12" + BinaryList::bigEndian(100000, 4) + std::string(100000, 'x')}};
  texts.offsetWidth = 4;
  EXPECT_TRUE(read(texts.bytes()));
  error = nullptr;
  EXPECT_FALSE(read(texts.bytes(), NSPropertyListMutableContainersAndLeaves, &error));
  EXPECT_EQ(reasonOf(error), "3840: Shared values have too many places.");
}

TEST(NSPropertyListSerialization, AnswersWhateverTheBytes) {
  RandomLists lists(7);
  int read_ = 0, refused = 0;
  for (int i = 0; i < 6000; ++i) {
    std::string bytes(write(lists.list(true, 3), i % 2 == 0 ? kBinary : kXML).view());
    for (std::uint64_t changes = 1 + lists.below(4); changes > 0; --changes) {
      const std::size_t at = lists.below(bytes.size());
      switch (lists.below(4)) {
        case 0: bytes[at] = static_cast<char>(lists.below(256)); break;
        case 1: bytes.erase(at, 1 + lists.below(3)); break;
        case 2: bytes.insert(at, 1, static_cast<char>(lists.below(256))); break;
        default: bytes[at] = static_cast<char>(bytes[at] ^ (1 << lists.below(8)));
      }
      if (bytes.empty()) bytes = "<";
    }
    NSError error;
    const id list = read(bytes, lists.below(3), &error);
    ASSERT_NE(static_cast<bool>(list), static_cast<bool>(error)) << hex(bytes);
    ++(list ? read_ : refused);
  }
  EXPECT_GT(read_, 300);
  EXPECT_GT(refused, 1500);
}

// ---- the rest -------------------------------------------------------------------------------------------------------

TEST(NSPropertyListSerialization, AnswersNilForNil) {
  NSError error;
  EXPECT_FALSE(NSPropertyListSerialization::propertyListWithData_options_format_error(nullptr, 0, nullptr, &error));
  EXPECT_EQ(reasonOf(error), "3840: There is no data.");
  EXPECT_EQ(error.localizedDescription(), "The data couldn’t be read because it isn’t in the correct format.");
  EXPECT_FALSE(write(nullptr, kXML, &error));
  EXPECT_EQ(error.localizedDescription(), "The data couldn’t be written because it isn’t in the correct format.");
}

TEST(NSPropertyListSerialization, ReadsMutableDataAsItWas) {
  const NSMutableData data = NSMutableData::dataWithData(write(NSArray{"abcdefgh"}, kBinary));
  const id list = read(data.view());
  data.resetBytesInRange({0, data.length()});
  EXPECT_EQ(list, NSArray{"abcdefgh"});
}

TEST(NSPropertyListSerialization, IsKnownToTheRunTime) {
  const Class cls = classOf<NSPropertyListSerialization>();
  for (const char* selector : {"propertyListWithData:options:format:error:",
                               "dataWithPropertyList:format:options:error:", "propertyList:isValidForFormat:"}) {
    EXPECT_TRUE(class_getClassMethod(cls, selector) != nullptr) << selector;
  }
  EXPECT_TRUE(objc_msgSend<bool>(cls, "propertyList:isValidForFormat:", NSString("x"), 200));
  for (const char* selector : {"arrayWithContentsOfFile:", "dictionaryWithContentsOfFile:"}) {
    const bool isArray = std::string_view(selector).starts_with("array");
    EXPECT_TRUE(class_getClassMethod(isArray ? classOf<NSArray>() : classOf<NSDictionary>(), selector) != nullptr);
  }
  EXPECT_TRUE(NSArray::array().respondsToSelector("writeToFile:atomically:"));
}

TEST(NSPropertyListSerialization, ReadsAndWritesFiles) {
  const TemporaryFile file;
  const NSString path(file.path());
  const NSDictionary dictionary = {{"list", NSArray{1, "x"}}};
  ASSERT_TRUE(dictionary.writeToFile_atomically(path, true));
  EXPECT_TRUE(NSData::dataWithContentsOfFile(path).view().starts_with("<?xml"));
  EXPECT_EQ(NSDictionary::dictionaryWithContentsOfFile(path), dictionary);
  const NSMutableDictionary changeable = NSMutableDictionary::dictionaryWithContentsOfFile(path);
  changeable["list"].as<NSMutableArray>().addObject(2);
  EXPECT_EQ(changeable, (NSDictionary{{"list", NSArray{1, "x", 2}}}));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile(path));
  EXPECT_FALSE(NSMutableArray::arrayWithContentsOfFile(path));

  ASSERT_TRUE((NSArray{1, 2}).writeToFile_atomically(path, false));
  EXPECT_EQ(NSArray::arrayWithContentsOfFile(path), (NSArray{1, 2}));
  NSMutableArray::arrayWithContentsOfFile(path).addObject(3);
  EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(path));

  EXPECT_FALSE((NSArray{NSNull::null()}).writeToFile_atomically(path, true));
  EXPECT_FALSE(NSArray().writeToFile_atomically(path, true));
  EXPECT_FALSE((NSArray{1}).writeToFile_atomically("/nowhere/at/all", true));
  EXPECT_FALSE(NSArray::arrayWithContentsOfFile("/nowhere/at/all"));
  EXPECT_FALSE(NSDictionary::dictionaryWithContentsOfFile(nullptr));
}

TEST(NSKeyedArchiverUID, IsAValue) {
  const auto uid = NSKeyedArchiverUID::UIDWithValue(7);
  EXPECT_EQ(uid->value(), 7u);
  EXPECT_EQ(uid, NSKeyedArchiverUID::UIDWithValue(7));
  EXPECT_FALSE(uid == NSKeyedArchiverUID::UIDWithValue(8));
  EXPECT_EQ(uid.hash(), NSKeyedArchiverUID::UIDWithValue(7).hash());
  EXPECT_EQ(uid.description(), "<UID 7>");
  EXPECT_TRUE(isIdentical(uid.copy(), uid));
}

}  // namespace
}  // namespace kvt
