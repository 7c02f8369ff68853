#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSLocale.h>
#include <KVTPlatform/Values/NSLocaleBody.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <string>

namespace kvt {
namespace {

std::string show(const NSString& text) { return text ? text.str() : "(nil)"; }

TEST(NSLocaleTest, Parts) {
  struct Row {
    const char *identifier, *language, *script, *country, *variant;
  };
  const Row rows[] = {
      {"en_US_POSIX", "en", "(nil)", "US", "POSIX"}, {"zh_Hans_CN", "zh", "Hans", "CN", "(nil)"},
      {"zh-Hant-TW", "zh", "Hant", "TW", "(nil)"},   {"EN_us", "en", "(nil)", "US", "(nil)"},
      {"de", "de", "(nil)", "(nil)", "(nil)"},       {"ja_JP@calendar=japanese", "ja", "(nil)", "JP", "(nil)"},
      {"_DE", "(nil)", "(nil)", "DE", "(nil)"},      {"", "(nil)", "(nil)", "(nil)", "(nil)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.identifier);
    const NSLocale locale = NSLocale::localeWithLocaleIdentifier(row.identifier);
    ASSERT_TRUE(locale);
    EXPECT_EQ(locale.localeIdentifier(), row.identifier);
    EXPECT_EQ(show(locale.languageCode()), row.language);
    EXPECT_EQ(show(locale.scriptCode()), row.script);
    EXPECT_EQ(show(locale.countryCode()), row.country);
    EXPECT_EQ(show(locale.variantCode()), row.variant);
    EXPECT_EQ(locale.description(), row.identifier);
  }
  EXPECT_FALSE(NSLocale::localeWithLocaleIdentifier(nullptr));
  EXPECT_FALSE(NSLocale::localeWithLocaleIdentifier(NSString(std::string(1'000'000, 'a'))));
  EXPECT_TRUE(NSLocale::localeWithLocaleIdentifier("你好"));
}

TEST(NSLocaleTest, CurrentAndSystem) {
  const NSLocale current = NSLocale::currentLocale();
  ASSERT_TRUE(current);
  EXPECT_GT(current.localeIdentifier().length(), 0u);
  EXPECT_TRUE(isIdentical(NSLocale::currentLocale(), current));
  EXPECT_EQ(NSLocale::systemLocale().localeIdentifier(), "");
}

TEST(NSLocaleTest, IdentifiersOfTheEnvironment) {
  struct Row {
    const char *name, *identifier, *tag;
  };
  const Row rows[] = {
      {"zh_CN.UTF-8", "zh_CN", "zh-Hans-CN"},
      {"zh_TW", "zh_TW", "zh-Hant-TW"},
      {"zh", "zh", "zh-Hans"},
      {"en_US.UTF-8@x", "en_US", "en-US"},
      {"de_DE@euro", "de_DE", "de-DE"},
      {"C", "en_US_POSIX", ""},
      {"C.UTF-8", "en_US_POSIX", ""},
      {"POSIX", "en_US_POSIX", ""},
      {"", "en_US_POSIX", ""},
      {"zh_Hant_CN", "zh_Hant_CN", "zh-Hant-CN"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(localeIdentifierFromPOSIX(row.name), row.identifier);
    EXPECT_EQ(languageTagFromPOSIX(row.name), row.tag);
  }
  using Tags = std::vector<std::string>;
  EXPECT_EQ(languageTagsFromPOSIX("", ""), Tags{"en"});
  EXPECT_EQ(languageTagsFromPOSIX("de", "C.UTF-8"), Tags{"en"});
  EXPECT_EQ(languageTagsFromPOSIX("", "zh_CN.UTF-8"), Tags{"zh-Hans-CN"});
  EXPECT_EQ(languageTagsFromPOSIX("zh_CN:en_GB::zh_CN", "en_US.UTF-8"), (Tags{"zh-Hans-CN", "en-GB", "en-US"}));
  std::string many;
  for (int i = 0; i < 10'000; ++i) many += "zh_CN:";
  EXPECT_EQ(languageTagsFromPOSIX(many, "en_US"), (Tags{"zh-Hans-CN", "en-US"}));
}

TEST(NSLocaleTest, PreferredLanguages) {
  const NSArray environment = NSLocale::preferredLanguages();
  ASSERT_GE(environment.count(), 1u);
  const NSMutableArray told = NSMutableArray::arrayWithObjects("fr-FR", "de");
  NSLocale::setPreferredLanguages(told);
  told.removeAllObjects();
  EXPECT_EQ(NSLocale::preferredLanguages(), NSArray({"fr-FR", "de"}));
  NSLocale::setPreferredLanguages(NSArray::array());
  EXPECT_EQ(NSLocale::preferredLanguages(), environment);
  NSLocale::setPreferredLanguages({"fr"});
  NSLocale::setPreferredLanguages(nullptr);
  EXPECT_EQ(NSLocale::preferredLanguages(), environment);
}

TEST(NSLocaleTest, EqualityHashCopy) {
  const NSLocale a = NSLocale::localeWithLocaleIdentifier("en_US"), b = NSLocale::localeWithLocaleIdentifier("en_US");
  EXPECT_TRUE(a.isEqual(b));
  EXPECT_EQ(a.hash(), b.hash());
  EXPECT_FALSE(a.isEqual(NSLocale::localeWithLocaleIdentifier("en_GB")));
  EXPECT_FALSE(a.isEqual(NSString("en_US")));
  EXPECT_TRUE(isIdentical(a.copy(), a));
  EXPECT_EQ(objc_msgSend<NSString>(a, "localeIdentifier"), "en_US");
  EXPECT_EQ(a.valueForKey("countryCode"), NSString("US"));
}

TEST(NSLocaleTest, NilAnswersNil) {
  const NSLocale nil;
  EXPECT_FALSE(nil.localeIdentifier());
  EXPECT_FALSE(nil.languageCode());
  EXPECT_FALSE(nil.scriptCode());
  EXPECT_FALSE(nil.countryCode());
  EXPECT_FALSE(nil.variantCode());
  EXPECT_FALSE(nil.description());
  EXPECT_FALSE(nil.isEqual(nil));
  EXPECT_EQ(nil.hash(), 0u);
}

}  // namespace
}  // namespace kvt
