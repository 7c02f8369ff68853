#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include "Raised.h"
#include "TextSamples.h"

namespace kvt {
namespace {

std::string operator""_b(const char* bytes, std::size_t size) { return std::string(bytes, size); }

TEST(NSStringEncodingTest, WritesAndReads) {
  const struct {
    NSStringEncoding encoding;
    NSString text;
    std::string bytes;
  } rows[] = {
      {NSUTF8StringEncoding, "Zo\u00EB会", "Zo\xC3\xAB\xE4\xBC\x9A"},
      {NSUTF8StringEncoding, "", ""},
      {NSASCIIStringEncoding, "abc", "abc"},
      {NSISOLatin1StringEncoding, "Zo\u00EB", "Zo\xEB"},
      {NSUnicodeStringEncoding, "a会",
       "\xFF\xFE"
       "a\0\x1A\x4F"_b},
      {NSUTF16BigEndianStringEncoding, "a\U0001F600", "\0a\xD8\x3D\xDE\x00"_b},
      {NSUTF16LittleEndianStringEncoding, "a\U0001F600", "a\0\x3D\xD8\x00\xDE"_b},
      {NSUTF32StringEncoding, "a",
       "\xFF\xFE\0\0"
       "a\0\0\0"_b},
      {NSUTF32BigEndianStringEncoding, "\U0001F600", "\0\x01\xF6\x00"_b},
      {NSUTF32LittleEndianStringEncoding, "\U0001F600", "\x00\xF6\x01\0"_b},
      {NSNonLossyASCIIStringEncoding, "a\\b\u00E9会\U0001F600\n", "a\\\\b\\351\\u4f1a\\ud83d\\ude00\n"},
      {NSGB18030StringEncoding, "a会\U0001F600", "a\xBB\xE1\x94\x39\xFC\x36"},
      {NSGBKStringEncoding, "会议", "\xBB\xE1\xD2\xE9"},
      {NSBig5StringEncoding, "會", "\xB7\x7C"},
      {NSShiftJISStringEncoding, "日本", "\x93\xFA\x96\x7B"},
      {NSJapaneseEUCStringEncoding, "日本", "\xC6\xFC\xCB\xDC"},
      {NSISO2022JPStringEncoding, "日", "\x1B$BF|\x1B(B"},
      {NSISOLatin2StringEncoding, "\u0159", "\xF8"},
      {NSWindowsCP1250StringEncoding, "\u0159", "\xF8"},
      {NSWindowsCP1251StringEncoding, "\u0416", "\xC6"},
      {NSWindowsCP1252StringEncoding, "\u20AC", "\x80"},
      {NSWindowsCP1253StringEncoding, "\u03B1", "\xE1"},
      {NSWindowsCP1254StringEncoding, "\u0131", "\xFD"},
      {NSMacOSRomanStringEncoding, "\u00E9", "\x8E"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.encoding) + " " + row.text.str());
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      const NSData data = text.dataUsingEncoding(row.encoding);
      ASSERT_TRUE(data);
      EXPECT_EQ(data.view(), row.bytes);
      EXPECT_EQ(text.lengthOfBytesUsingEncoding(row.encoding), row.bytes.size());
      EXPECT_TRUE(text.canBeConvertedToEncoding(row.encoding));
    }
    EXPECT_EQ(NSString::stringWithData_encoding(NSData(std::string_view(row.bytes)), row.encoding), row.text);
    EXPECT_EQ(NSString::stringWithBytes_length_encoding(row.bytes.data(), row.bytes.size(), row.encoding), row.text);
  }
}

TEST(NSStringEncodingTest, RefusesWhatCannotBeWritten) {
  const NSString broken = std::u16string{u'a', 0xD800};
  const struct {
    NSStringEncoding encoding;
    NSString text;
    const char* lossy;
  } rows[] = {
      {NSASCIIStringEncoding, "a\u00E9b", "a?b"},       {NSASCIIStringEncoding, "\U0001F600", "?"},
      {NSISOLatin1StringEncoding, "\u00E9会", "\xE9?"}, {NSUTF8StringEncoding, broken, "a?"},
      {NSWindowsCP1252StringEncoding, "a会", "a?"},     {NSGBKStringEncoding, "会\U0001F600", "\xBB\xE1?"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.encoding) + " " + row.text.str());
    EXPECT_FALSE(row.text.dataUsingEncoding(row.encoding));
    EXPECT_FALSE(row.text.canBeConvertedToEncoding(row.encoding));
    EXPECT_EQ(row.text.lengthOfBytesUsingEncoding(row.encoding), 0u);
    EXPECT_EQ(row.text.dataUsingEncoding_allowLossyConversion(row.encoding, true).view(), row.lossy);
  }
  EXPECT_FALSE(broken.dataUsingEncoding(NSUTF32StringEncoding));
  EXPECT_FALSE(broken.dataUsingEncoding(NSGB18030StringEncoding));
  EXPECT_EQ(broken.dataUsingEncoding(NSUTF16LittleEndianStringEncoding).view(), "a\0\0\xD8"_b);
  EXPECT_EQ(broken.dataUsingEncoding(NSNonLossyASCIIStringEncoding).view(), "a\\ud800");
  EXPECT_FALSE(NSString("a").dataUsingEncoding(static_cast<NSStringEncoding>(999)));
}

TEST(NSStringEncodingTest, ReadsByMarkAndRefusesWhatIsNoText) {
  const struct {
    const char* what;
    NSStringEncoding encoding;
    std::string bytes;
    NSString expected;
  } rows[] = {
      {"UTF-8 with a mark", NSUTF8StringEncoding, "\xEF\xBB\xBFx", "x"},
      {"no UTF-8", NSUTF8StringEncoding, "x\xFF", nullptr},
      {"no ASCII", NSASCIIStringEncoding, "x\x80", nullptr},
      {"UTF-16 big-endian by its mark", NSUnicodeStringEncoding, "\xFE\xFF\0x"_b, "x"},
      {"UTF-16 little-endian by its mark", NSUnicodeStringEncoding, "\xFF\xFEx\0"_b, "x"},
      {"UTF-16 without a mark", NSUnicodeStringEncoding, "x\0"_b, "x"},
      {"the mark alone", NSUnicodeStringEncoding, "\xFF\xFE", ""},
      {"an odd byte", NSUnicodeStringEncoding, "x\0y"_b, nullptr},
      {"a mark is a character where the order is given", NSUTF16LittleEndianStringEncoding, "\xFF\xFEx\0"_b, "\uFEFFx"},
      {"UTF-32 big-endian by its mark", NSUTF32StringEncoding, "\0\0\xFE\xFF\0\0\0x"_b, "x"},
      {"UTF-32 beyond Unicode", NSUTF32LittleEndianStringEncoding, "\0\0\x11\0"_b, nullptr},
      {"UTF-32 with a surrogate", NSUTF32LittleEndianStringEncoding, "\0\xD8\0\0"_b, nullptr},
      {"non-lossy, capital U", NSNonLossyASCIIStringEncoding, "\\U4f1a\\u8BAE", "会议"},
      {"non-lossy, pair", NSNonLossyASCIIStringEncoding, "\\ud83d\\ude00", "\U0001F600"},
      {"non-lossy, octal", NSNonLossyASCIIStringEncoding, "\\351\\134", "\u00E9\\"},
      {"non-lossy, other escape", NSNonLossyASCIIStringEncoding, "a\\nb", nullptr},
      {"non-lossy, quote", NSNonLossyASCIIStringEncoding, "\\\"", nullptr},
      {"non-lossy, cut", NSNonLossyASCIIStringEncoding, "\\u4f1", nullptr},
      {"non-lossy, at the end", NSNonLossyASCIIStringEncoding, "\\", nullptr},
      {"non-lossy, octal too large", NSNonLossyASCIIStringEncoding, "\\777", nullptr},
      {"non-lossy, no ASCII", NSNonLossyASCIIStringEncoding, "\xE4\xBC\x9A", nullptr},
      {"no GBK", NSGBKStringEncoding, "\xBB", nullptr},
      {"an encoding that is none", static_cast<NSStringEncoding>(999), "x", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(NSString::stringWithData_encoding(NSData(std::string_view(row.bytes)), row.encoding), row.expected);
  }
  EXPECT_FALSE(NSString::stringWithData_encoding(nullptr, NSUTF8StringEncoding));
  EXPECT_EQ(NSString::stringWithBytes_length_encoding(nullptr, 0, NSUTF8StringEncoding), "");
  EXPECT_EQ(NSString::stringWithCString_encoding("Zo\xEB", NSISOLatin1StringEncoding), "Zo\u00EB");
  EXPECT_EQ(raisedName([] { return NSString::stringWithCString_encoding(nullptr, NSUTF8StringEncoding); }),
            "NSInvalidArgumentException");
  // UTF-16 keeps what stands alone.
  EXPECT_EQ(NSString::stringWithData_encoding(NSData(std::string_view("\0\xD8", 2)), NSUnicodeStringEncoding).u16str(),
            std::u16string(1, 0xD800));
}

TEST(NSStringEncodingTest, NonLossyASCIIComesBack) {
  std::mt19937 random(11);
  for (const std::u32string& alphabet : text_test::alphabets()) {
    for (int round = 0; round < 100; ++round) {
      const NSString text = text_test::randomText(random, alphabet + U"\\\u0080\u00FF", 20, true);
      const NSData data = text.dataUsingEncoding(NSNonLossyASCIIStringEncoding);
      ASSERT_EQ(NSString::stringWithData_encoding(data, NSNonLossyASCIIStringEncoding), text);
      const NSData wide = text.dataUsingEncoding(NSUnicodeStringEncoding);
      ASSERT_EQ(NSString::stringWithData_encoding(wide, NSUnicodeStringEncoding), text);
    }
  }
}

}  // namespace
}  // namespace kvt
