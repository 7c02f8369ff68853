// Text is one thing however it is kept: every form of a text answers alike, and as ICU's own string does.
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/normlzr.h>

#include <thread>

#include "TextSamples.h"

namespace kvt::text_test {
namespace {

constexpr int kRounds = 150;

template <class Check>
void forRandomTexts(bool broken, const Check& check) {
  std::mt19937 random(20240517);
  for (const std::u32string& alphabet : alphabets()) {
    for (int round = 0; round < kRounds; ++round) {
      const std::u16string text = randomText(random, alphabet, 24, broken && round % 2 == 0);
      const std::u16string other = randomText(random, alphabet, 4, broken && round % 3 == 0);
      SCOPED_TRACE(testing::PrintToString(text) + " / " + testing::PrintToString(other));
      check(text, other, random);
      if (testing::Test::HasFailure()) return;
    }
  }
}

TEST(NSStringStorageTest, FormsAreEqualAndHashAlike) {
  forRandomTexts(true, [](const std::u16string& text, const std::u16string& other, std::mt19937&) {
    const std::vector<NSString> forms = inEveryForm(text);
    for (const NSString& a : forms) {
      EXPECT_EQ(a.hash(), forms.front().hash());
      EXPECT_EQ(a.u16str(), text);
      EXPECT_EQ(a.str(), forms.front().str());
      for (const NSString& b : forms) {
        EXPECT_TRUE(a == b);
        EXPECT_EQ(a <=> b, std::strong_ordering::equal);
      }
      for (const NSString& b : inEveryForm(other)) {
        EXPECT_EQ(a == b, text == other);
        EXPECT_EQ(a <=> b, text <=> other);
      }
    }
  });
}

TEST(NSStringStorageTest, LengthsAndCharactersAgree) {
  forRandomTexts(true, [](const std::u16string& text, const std::u16string&, std::mt19937& random) {
    const icu::UnicodeString expected = icuText(text);
    for (const NSString& form : inEveryForm(text)) {
      ASSERT_EQ(form.length(), static_cast<NSUInteger>(expected.length()));
      for (std::size_t i = 0; i < text.size(); ++i) {
        EXPECT_EQ(form.characterAtIndex(i), expected.charAt(static_cast<std::int32_t>(i)));
      }
      const std::size_t from = random() % (text.size() + 1);
      const std::size_t count = random() % (text.size() - from + 1);
      EXPECT_EQ(form.substringWithRange({from, count}).u16str(), text.substr(from, count));
    }
  });
}

TEST(NSStringStorageTest, LiteralSearchesAgree) {
  forRandomTexts(true, [](const std::u16string& text, const std::u16string& what, std::mt19937& random) {
    const std::size_t from = random() % (text.size() + 1);
    const std::size_t count = random() % (text.size() - from + 1);
    const auto rangeOf = [&](std::size_t at) {
      return at == text.npos || what.empty() ? NSRange{NSNotFound, 0} : NSRange{at, what.size()};
    };
    const std::u16string part = text.substr(from, count);
    std::size_t within = part.find(what);
    if (within != part.npos) within += from;
    for (const NSString& form : inEveryForm(text)) {
      for (const NSString& wanted : inEveryForm(what)) {
        EXPECT_EQ(form.rangeOfString_options(wanted, NSLiteralSearch), rangeOf(text.find(what)));
        EXPECT_EQ(form.rangeOfString_options(wanted, NSLiteralSearch | NSBackwardsSearch), rangeOf(text.rfind(what)));
        EXPECT_EQ(form.rangeOfString_options_range(wanted, NSLiteralSearch, {from, count}), rangeOf(within));
        EXPECT_EQ(form.hasPrefix(wanted), !what.empty() && text.starts_with(what));
        EXPECT_EQ(form.hasSuffix(wanted), !what.empty() && text.ends_with(what));
      }
    }
  });
}

TEST(NSStringStorageTest, CaseMappingsAgreeWithICU) {
  forRandomTexts(true, [](const std::u16string& text, const std::u16string&, std::mt19937&) {
    const std::u16string upper = fromICU(icuText(text).toUpper(icu::Locale::getRoot()));
    const std::u16string lower = fromICU(icuText(text).toLower(icu::Locale::getRoot()));
    for (const NSString& form : inEveryForm(text)) {
      EXPECT_EQ(form.uppercaseString().u16str(), upper);
      EXPECT_EQ(form.lowercaseString().u16str(), lower);
    }
  });
}

TEST(NSStringStorageTest, ComparisonsAgreeWithICU) {
  const auto sign = [](std::int32_t order) {
    return order < 0 ? NSOrderedAscending : order > 0 ? NSOrderedDescending : NSOrderedSame;
  };
  forRandomTexts(false, [&](const std::u16string& text, const std::u16string& other, std::mt19937&) {
    // Near pairs too: a text and a normal form of it.
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString composed;
    icu::Normalizer::normalize(icuText(text), UNORM_NFC, 0, composed, status);
    for (const std::u16string& b : {other, fromICU(composed), text + other}) {
      const auto canonical =
          sign(icu::Normalizer::compare(icuText(text), icuText(b), U_COMPARE_CODE_POINT_ORDER, status));
      const auto caseless = sign(icu::Normalizer::compare(icuText(text), icuText(b),
                                                          U_COMPARE_CODE_POINT_ORDER | U_COMPARE_IGNORE_CASE, status));
      ASSERT_TRUE(U_SUCCESS(status));
      for (const NSString& form : inEveryForm(text)) {
        for (const NSString& to : inEveryForm(b)) {
          EXPECT_EQ(form.compare(to), canonical);
          EXPECT_EQ(form.caseInsensitiveCompare(to), caseless);
        }
      }
    }
  });
}

TEST(NSStringStorageTest, EditsAgreeWithICU) {
  std::mt19937 random(7);
  for (const std::u32string& alphabet : alphabets()) {
    for (int round = 0; round < 20; ++round) {
      const NSMutableString text = NSMutableString::string();
      icu::UnicodeString expected;
      for (int step = 0; step < 40; ++step) {
        const std::u16string piece = randomText(random, alphabet, 5, step % 8 == 0);
        const std::size_t length = static_cast<std::size_t>(expected.length());
        const std::size_t from = random() % (length + 1), count = random() % (length - from + 1);
        const auto at = static_cast<std::int32_t>(from), n = static_cast<std::int32_t>(count);
        switch (random() % 6) {
          case 0:
          case 1:
            text.appendString(NSString(piece));
            expected.append(icuText(piece));
            break;
          case 2:
            text.insertString_atIndex(NSString(piece), from);
            expected.insert(at, icuText(piece));
            break;
          case 3:
            text.deleteCharactersInRange({from, count});
            expected.remove(at, n);
            break;
          case 4:
            text.replaceCharactersInRange_withString({from, count}, NSString(piece));
            expected.replace(at, n, icuText(piece));
            break;
          case 5:
            if (length != 0 && step % 2 == 0) static_cast<void>(text.characterAtIndex(0));
            if (step % 7 == 0) static_cast<void>(text.UTF8String());
            break;
        }
        ASSERT_EQ(text.length(), static_cast<NSUInteger>(expected.length()));
        ASSERT_EQ(text.u16str(), fromICU(expected));
        ASSERT_EQ(text, NSString(fromICU(expected)));
        ASSERT_EQ(text.hash(), NSString(fromICU(expected)).hash());
      }
    }
  }
}

TEST(NSStringStorageTest, LongTextIsCountedAndConverted) {
  // Lengths around the blocks in which bytes are counted.
  for (std::size_t n = 0; n < 600; n += 7) {
    std::string utf8(n, 'a');
    utf8 += "\u00E9会\U0001F600";
    utf8.append(n / 3, 'z');
    std::u16string units(n, u'a');
    units += u"\u00E9会\U0001F600";
    units.append(n / 3, u'z');
    const NSString text = utf8;
    ASSERT_EQ(text.length(), units.size());
    ASSERT_EQ(text.u16str(), units);
    ASSERT_EQ(text.characterAtIndex(n), u'\u00E9');
    ASSERT_EQ(NSString(units).utf8(), utf8);
  }
}

TEST(NSStringStorageTest, ManyThreadsMakeTheUnitsAtOnce) {
  for (int round = 0; round < 50; ++round) {
    const NSString text = "会议\U0001F600abc" + std::to_string(round);
    std::vector<std::thread> threads;
    std::atomic<int> wrong = 0;
    std::uint64_t hashes[4] = {};
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
        if (text.characterAtIndex(2) != 0xD83D || text.length() < 8) ++wrong;
        if (text.substringToIndex(2) != "会议") ++wrong;
        hashes[t] = text.hash();
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    for (const std::uint64_t hash : hashes) EXPECT_EQ(hash, NSString(text.u16str()).hash());
  }
}

TEST(NSStringStorageTest, ManyThreadsReadMutableTextAtOnce) {
  const NSMutableString text = NSString("会议").mutableCopy();
  static_cast<void>(text.characterAtIndex(0));
  text.appendString("\U0001F600");  // kept as UTF-16 from here on: UTF-8 is the view
  std::vector<std::thread> threads;
  std::atomic<int> wrong = 0;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      if (text.utf8() != "会议\U0001F600" || text.hash() != NSString("会议\U0001F600").hash()) ++wrong;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace kvt::text_test
