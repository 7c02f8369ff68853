#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <unicode/brkiter.h>

#include <memory>

#include "TextSamples.h"

namespace kvt {
namespace {

using Pieces = std::vector<std::string>;

Pieces enumerated(const NSString& text, NSStringEnumerationOptions options, NSRange range) {
  Pieces pieces;
  text.enumerateSubstringsInRange_options_usingBlock(range, options,
                                                     [&](const NSString& piece, NSRange at, NSRange, bool*) {
                                                       EXPECT_EQ(text.substringWithRange(at), piece);
                                                       pieces.push_back(piece.str());
                                                     });
  return pieces;
}

constexpr auto kCharacters = NSStringEnumerationByComposedCharacterSequences;

TEST(NSStringBoundariesTest, FindsCharactersAsAReaderSeesThem) {
  const struct {
    NSString text;
    Pieces expected;
  } rows[] = {
      {"", {}},
      {"ab", {"a", "b"}},
      {"e\u0301x", {"e\u0301", "x"}},
      {"a\u0323\u0301", {"a\u0323\u0301"}},
      {"\r\n", {"\r", "\n"}},
      {"\U0001F1E9\U0001F1EA\U0001F1EB\U0001F1F7", {"\U0001F1E9\U0001F1EA", "\U0001F1EB\U0001F1F7"}},
      {"\U0001F1E9\U0001F1EA\U0001F1EB", {"\U0001F1E9\U0001F1EA", "\U0001F1EB"}},
      {"\U0001F44D\U0001F3FDx", {"\U0001F44D\U0001F3FD", "x"}},
      {"\U0001F468\u200D\U0001F469\u200D\U0001F467", {"\U0001F468\u200D\U0001F469\u200D\U0001F467"}},
      {"\u2764\uFE0Fa", {"\u2764\uFE0F", "a"}},
      {"a\u200Db", {"a\u200D", "b"}},
      {"\u1100\u1161\u11A8가", {"\u1100\u1161\u11A8", "가"}},
      {"\u0928\u093F\u0915", {"\u0928\u093F", "\u0915"}},
      {"\u0915\u094D\u0937x", {"\u0915\u094D\u0937", "x"}},  // a conjunct
      {"\u0301a", {"\u0301", "a"}},
      {"\n\u0301", {"\n", "\u0301"}},
      {"会议", {"会", "议"}},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(enumerated(text, kCharacters, {0, text.length()}), row.expected);
      Pieces reversed = row.expected;
      std::reverse(reversed.begin(), reversed.end());
      EXPECT_EQ(enumerated(text, kCharacters | NSStringEnumerationReverse, {0, text.length()}), reversed);
      NSUInteger start = 0;
      for (const std::string& piece : row.expected) {
        const NSRange range = {start, NSString(piece).length()};
        for (NSUInteger i = start; i < NSMaxRange(range); ++i) {
          EXPECT_EQ(text.rangeOfComposedCharacterSequenceAtIndex(i), range) << i;
          EXPECT_EQ(text.rangeOfComposedCharacterSequencesForRange({i, 0}), range) << i;
        }
        start = NSMaxRange(range);
      }
      EXPECT_EQ(text.rangeOfComposedCharacterSequencesForRange({start, 0}), (NSRange{start, 0}));
      EXPECT_EQ(text.rangeOfComposedCharacterSequencesForRange({0, start}), (NSRange{0, start}));
    }
  }
  EXPECT_EQ(NSString("ae\u0301\U0001F600b").rangeOfComposedCharacterSequencesForRange({2, 2}), (NSRange{1, 4}));
}

TEST(NSStringBoundariesTest, CharactersAgreeWithICU) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> breaks(
      icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
  ASSERT_TRUE(U_SUCCESS(status));
  std::mt19937 random(5);
  std::vector<std::u32string> alphabets = text_test::alphabets();
  alphabets.push_back(U"\u0600\u0915\u093E\u0E33\u200C\u200D\u00A9\u1F3FB\U000110BD\u1160\uA960\uD7B0\u11A7\u0301a");
  for (const std::u32string& alphabet : alphabets) {
    for (int round = 0; round < 300; ++round) {
      const std::u16string text = text_test::randomText(random, alphabet, 16, round % 5 == 0);
      const icu::UnicodeString source = text_test::icuText(text);
      SCOPED_TRACE(testing::PrintToString(text));
      breaks->setText(source);
      const NSString form = text;
      std::int32_t start = 0;
      for (std::int32_t end = 0; start < source.length(); start = end) {
        end = breaks->following(start);
        if (source.charAt(start) == '\r') end = start + 1;  // CR LF is two here
        const NSRange expected = {static_cast<NSUInteger>(start), static_cast<NSUInteger>(end - start)};
        for (std::int32_t i = start; i < end; ++i) {
          ASSERT_EQ(form.rangeOfComposedCharacterSequenceAtIndex(static_cast<NSUInteger>(i)), expected) << i;
        }
      }
    }
  }
}

TEST(NSStringBoundariesTest, FindsLines) {
  struct Line {
    NSRange line;
    NSUInteger contentsEnd;
  };
  const NSString text = "ab\ncd\r\nef\r\rg\u0085h\u2028i\u2029j";
  //                     012 345 6 78 9 0 12 3    4 5    6 7    8
  const struct {
    NSRange range;
    NSRange line;
    NSUInteger contentsEnd;
    NSRange paragraph;
  } rows[] = {
      {{0, 0}, {0, 3}, 2, {0, 3}},     {{1, 1}, {0, 3}, 2, {0, 3}},     {{2, 1}, {0, 3}, 2, {0, 3}},
      {{3, 0}, {3, 4}, 5, {3, 4}},     {{5, 0}, {3, 4}, 5, {3, 4}},     {{6, 0}, {3, 4}, 5, {3, 4}},
      {{6, 1}, {3, 4}, 5, {3, 4}},     {{1, 3}, {0, 7}, 5, {0, 7}},     {{8, 1}, {7, 3}, 9, {7, 3}},
      {{10, 0}, {10, 1}, 10, {10, 1}}, {{11, 1}, {11, 2}, 12, {11, 6}}, {{13, 0}, {13, 2}, 14, {11, 6}},
      {{15, 2}, {15, 2}, 16, {11, 6}}, {{17, 1}, {17, 1}, 18, {17, 1}}, {{18, 0}, {17, 1}, 18, {17, 1}},
  };
  for (const NSString& form : text_test::inEveryForm(text.u16str())) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.range.location);
      EXPECT_EQ(form.lineRangeForRange(row.range), row.line);
      EXPECT_EQ(form.paragraphRangeForRange(row.range), row.paragraph);
      NSUInteger start = 0, end = 0, contentsEnd = 0;
      form.getLineStart_end_contentsEnd_forRange(&start, &end, &contentsEnd, row.range);
      EXPECT_EQ((NSRange{start, end - start}), row.line);
      EXPECT_EQ(contentsEnd, row.contentsEnd);
    }
  }
  EXPECT_EQ(NSString("a\n").lineRangeForRange({2, 0}), (NSRange{2, 0}));
  EXPECT_EQ(NSString("").lineRangeForRange({0, 0}), (NSRange{0, 0}));
}

TEST(NSStringBoundariesTest, EnumeratesLinesWordsAndSentences) {
  const struct {
    NSString text;
    NSStringEnumerationOptions options;
    NSRange range;
    Pieces expected;
  } rows[] = {
      {"a\nb\r\nc\n", NSStringEnumerationByLines, {0, 7}, {"a", "b", "c"}},
      {"\n\n", NSStringEnumerationByLines, {0, 2}, {"", ""}},
      {"", NSStringEnumerationByLines, {0, 0}, {}},
      {"a\nb\r\nc", NSStringEnumerationByLines | NSStringEnumerationReverse, {0, 6}, {"c", "b", "a"}},
      {"a\r\nb", NSStringEnumerationByLines, {2, 2}, {"", "b"}},  // from between CR and LF
      {"a\r\nb", NSStringEnumerationByLines, {0, 2}, {"a"}},
      {"a\u2028b\u2029c", NSStringEnumerationByLines, {0, 5}, {"a", "b", "c"}},
      {"a\u2028b\u2029c", NSStringEnumerationByParagraphs, {0, 5}, {"a\u2028b", "c"}},
      {"Hello, big world!", NSStringEnumerationByWords, {0, 17}, {"Hello", "big", "world"}},
      {"Hello, big world!",
       NSStringEnumerationByWords | NSStringEnumerationReverse,
       {0, 17},
       {"world", "big", "Hello"}},
      {"Hello, big world!", NSStringEnumerationByWords, {7, 3}, {"big"}},
      {"One. Two? Three", NSStringEnumerationBySentences, {0, 15}, {"One. ", "Two? ", "Three"}},
      {"会议 abc", NSStringEnumerationByWords, {3, 3}, {"abc"}},
  };
  for (const auto& row : rows) {
    for (const NSString& text : text_test::inEveryForm(row.text.u16str())) {
      SCOPED_TRACE(row.text.str());
      EXPECT_EQ(enumerated(text, row.options, row.range), row.expected);
    }
  }
}

TEST(NSStringBoundariesTest, TellsWhatLiesBetweenAndStops) {
  const NSString text = " Hello, world! ";
  std::vector<NSRange> enclosing;
  text.enumerateSubstringsInRange_options_usingBlock(
      {0, text.length()}, NSStringEnumerationByWords | NSStringEnumerationSubstringNotRequired,
      [&](const NSString& piece, NSRange, NSRange around, bool*) {
        EXPECT_FALSE(piece);
        enclosing.push_back(around);
      });
  EXPECT_EQ(enclosing, (std::vector<NSRange>{{0, 8}, {8, 7}}));
  int lines = 0;
  NSString("a\nb\nc").enumerateLinesUsingBlock([&](const NSString& line, bool* stop) {
    ++lines;
    *stop = line == "b";
  });
  EXPECT_EQ(lines, 2);
  for (const auto options : {kCharacters, kCharacters | NSStringEnumerationReverse,
                             NSStringEnumerationOptions{NSStringEnumerationByWords}}) {
    int seen = 0;
    NSString("a b c").enumerateSubstringsInRange_options_usingBlock({0, 5}, options,
                                                                    [&](const NSString&, NSRange, NSRange, bool* stop) {
                                                                      ++seen;
                                                                      *stop = true;
                                                                    });
    EXPECT_EQ(seen, 1);
  }
  // The block may change what it walks through.
  const NSMutableString changing = NSMutableString::stringWithString("a\nb");
  int walked = 0;
  changing.enumerateLinesUsingBlock([&](const NSString&, bool*) {
    changing.setString("");
    ++walked;
  });
  EXPECT_EQ(walked, 2);
}

}  // namespace
}  // namespace kvt
