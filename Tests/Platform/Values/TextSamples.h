// Text for property tests: generated from alphabets that hold what makes text hard, in every form in which it is kept.
#pragma once

#include <KVTPlatform/Values/NSMutableString.h>
#include <unicode/unistr.h>

#include <random>
#include <string>
#include <vector>

namespace kvt::text_test {

/// Code points to draw from; surrogates stand for themselves.
inline const std::vector<std::u32string>& alphabets() {
  static const std::vector<std::u32string> all = {
      U"abcXYZ 0129_-",
      U"aeoAEO\u00E9\u00C9\u00F6\u00DF\u0130\u0131",
      U"ae\u00E9\u1EBF\u0301\u0302\u0323\u0308\u00F6o",
      U"漢字かがカガｶﾞ\u3099가각\u1100\u1161\u11A8한",
      U"\U0001F600\U0001F44D\U0001F3FD\u200D\u2764\uFE0F\U0001F1E9\U0001F1EAx",
      U"\u212A\u212B\u00C5k;\u037E\uFB01\u2126\u03C9\u03A9\u03C3\u03C2\u03A3 ",
      U"a\r\n\t \u0085\u2028\u2029b",
      U"\U0001D165\U0001D157a\U00010400\U00010428\u0928\u093C\u0915\u094D",
  };
  return all;
}

inline std::u16string encoded(const std::u32string& text) {
  std::u16string result;
  for (const char32_t c : text) {
    if (c >= 0x10000) result += static_cast<char16_t>(0xD7C0 + (c >> 10));
    result += static_cast<char16_t>(c < 0x10000 ? c : 0xDC00 + (c & 0x3FF));
  }
  return result;
}

/// Up to `most` code points of the alphabet. With `broken`, single surrogates among them.
inline std::u16string randomText(std::mt19937& random, const std::u32string& alphabet, std::size_t most,
                                 bool broken = false) {
  std::u32string text;
  const std::size_t count = random() % (most + 1);
  for (std::size_t i = 0; i < count; ++i) {
    if (broken && random() % 4 == 0)
      text += static_cast<char32_t>(0xD800 + random() % 0x800);
    else
      text += alphabet[random() % alphabet.size()];
  }
  return encoded(text);
}

inline icu::UnicodeString icuText(const std::u16string& text) {
  return icu::UnicodeString(text.data(), static_cast<std::int32_t>(text.size()));
}
inline std::u16string fromICU(const icu::UnicodeString& text) {
  return std::u16string(text.getBuffer(), static_cast<std::size_t>(text.length()));
}

/// The same text, kept in every way there is: made of UTF-16 and of UTF-8, with and without its units, joined, mutable
/// as built and mutable after editing by index.
inline std::vector<NSString> inEveryForm(const std::u16string& text) {
  std::vector<NSString> forms;
  forms.push_back(NSString(text));
  std::string utf8;
  icuText(text).toUTF8String(utf8);
  if (icu::UnicodeString::fromUTF8(utf8) == icuText(text)) {
    forms.push_back(NSString(utf8));
    const NSString indexed(utf8);
    if (!text.empty()) static_cast<void>(indexed.characterAtIndex(0));
    forms.push_back(indexed);
    const NSMutableString built = NSMutableString::string();
    built.appendString(NSString(utf8));
    forms.push_back(built);
  }
  const std::size_t half = text.size() / 2;
  forms.push_back(NSString(text.substr(0, half)) + NSString(text.substr(half)));
  const NSMutableString edited = NSString(text).mutableCopy();
  edited.insertString_atIndex(u"\u4E00", 0);
  static_cast<void>(edited.characterAtIndex(0));
  edited.deleteCharactersInRange({0, 1});
  forms.push_back(edited);
  const NSMutableString halves = NSMutableString::string();
  for (const char16_t unit : text) halves.appendString(NSString(std::u16string_view(&unit, 1)));
  forms.push_back(halves);
  return forms;
}

}  // namespace kvt::text_test
