// The reader against Python's, and reader and writer against each other.

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSJSONSerialization.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>

#include "JSONDocuments.h"

namespace kvt {
namespace {

using test::JSONDocuments;

id parse(std::string_view text) {
  return NSJSONSerialization::JSONObjectWithData_options_error(NSData(text), NSJSONReadingFragmentsAllowed);
}

/// A file of its own, gone with the guard.
class TemporaryFile {
 public:
  TemporaryFile() {
    path_ = (std::filesystem::temp_directory_path() / "kvt-json-XXXXXX").string();
    const int file = mkstemp(path_.data());
    EXPECT_GE(file, 0);
    close(file);
  }
  ~TemporaryFile() { std::filesystem::remove(path_); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

bool hasPython() { return std::system("python3 -c '' >/dev/null 2>&1") == 0; }

/// What Python makes of each text.
std::vector<std::string> meanings(const std::vector<std::string>& texts) {
  const TemporaryFile file;
  {
    std::ofstream out(file.path(), std::ios::binary);
    for (const std::string& text : texts) out << text.size() << '\n' << text;
  }
  const std::string command = "python3 '" KVT_TEST_DATA_DIR "/json/canonical.py' '" + file.path() + "'";
  const auto closePipe = [](FILE* pipe) { EXPECT_EQ(pclose(pipe), 0); };
  const std::unique_ptr<FILE, decltype(closePipe)> pipe(popen(command.c_str(), "r"), closePipe);
  std::string output;
  char buffer[65536];
  while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, pipe.get())) output.append(buffer, size);
  std::vector<std::string> lines;
  std::size_t from = 0;
  for (std::size_t end = 0; (end = output.find('\n', from)) != std::string::npos; from = end + 1) {
    lines.push_back(output.substr(from, end - from));
  }
  return lines;
}

std::string hex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string result;
  for (const char c : bytes) {
    result += kDigits[static_cast<unsigned char>(c) >> 4];
    result += kDigits[c & 15];
  }
  return result;
}

/// As float.hex writes it: always thirteen digits behind the point, but for zero.
std::string hexReal(double value) {
  if (value == 0) return std::signbit(value) ? "-0x0.0p+0" : "0x0.0p+0";
  char text[64];
  std::snprintf(text, sizeof text, "%.13a", value);
  return text;
}

/// "1200" and "0.012" as digits and exponent: 12e2, 12e-3.
std::string decimalMeaning(std::string text) {
  std::string result = "d";
  if (text.front() == '-') {
    result += '-';
    text.erase(0, 1);
  }
  int exponent = 0;
  if (const std::size_t point = text.find('.'); point != std::string::npos) {
    exponent = -static_cast<int>(text.size() - point - 1);
    text.erase(point, 1);
  }
  text.erase(0, text.find_first_not_of('0'));
  while (text.back() == '0' && exponent < 127) {
    text.pop_back();
    ++exponent;
  }
  return result + text + "e" + std::to_string(exponent);
}

std::string meaning(const id& object) {
  if (object.is<NSNull>()) return "n";
  if (NSString text = object.as<NSString>()) return "s" + hex(text.utf8());
  if (NSDecimalNumber decimal = object.as<NSDecimalNumber>()) return decimalMeaning(decimal.stringValue().str());
  if (NSNumber number = object.as<NSNumber>()) {
    if (number.isBool()) return number.boolValue() ? "t" : "f";
    if (number.isFloatingPoint()) return "r" + hexReal(number.doubleValue());
    return "i" + number.stringValue().str();
  }
  std::string result;
  if (NSArray array = object.as<NSArray>()) {
    for (const id& element : array) result += meaning(element) + ",";
    return "[" + result + "]";
  }
  if (NSDictionary dictionary = object.as<NSDictionary>()) {
    for (const auto& [key, value] : dictionary) result += meaning(key).substr(1) + ":" + meaning(value) + ",";
    return "{" + result + "}";
  }
  return "error";
}

/// These shares of the texts, at least, must be accepted and refused: else the comparison says little.
void expectSameMeaning(const std::vector<std::string>& texts, double accepted, double refused) {
  const std::vector<std::string> expected = meanings(texts);
  ASSERT_EQ(expected.size(), texts.size());
  const auto errors = static_cast<double>(std::count(expected.begin(), expected.end(), "error"));
  const auto count = static_cast<double>(texts.size());
  EXPECT_GE(errors / count, refused);
  EXPECT_GE(1 - errors / count, accepted);
  int differences = 0;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    const std::string ours = meaning(parse(texts[i]));
    if (ours == expected[i]) continue;
    ADD_FAILURE() << testing::PrintToString(texts[i]) << "\n  here:   " << ours << "\n  Python: " << expected[i];
    if (++differences == 10) FAIL() << "and so on";
  }
}

TEST(NSJSONSerializationOracle, ReadsDocumentsAsPythonDoes) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  JSONDocuments documents(1);
  std::vector<std::string> texts;
  for (int i = 0; i < 4000; ++i) texts.push_back(documents.document());
  expectSameMeaning(texts, 0.9, 0.0);
}

TEST(NSJSONSerializationOracle, RefusesWhatPythonRefuses) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  JSONDocuments documents(2);
  std::vector<std::string> texts;
  for (int i = 0; i < 12000; ++i) texts.push_back(documents.broken(documents.document()));
  // Every prefix of a few
  for (int i = 0; i < 5; ++i) {
    const std::string text = documents.document();
    for (std::size_t size = 0; size <= text.size(); ++size) texts.push_back(text.substr(0, size));
  }
  // Texts with a zero among their first bytes are UTF-16 or UTF-32 here.
  std::erase_if(texts, [](const std::string& text) { return text.substr(0, 4).find('\0') != std::string::npos; });
  std::erase_if(texts,
                [](const std::string& text) { return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"); });
  expectSameMeaning(texts, 0.05, 0.5);
}

TEST(NSJSONSerializationOracle, ReadsNumbersAsPythonDoes) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  JSONDocuments documents(3);
  std::vector<std::string> texts;
  for (int i = 0; i < 20000; ++i) {
    // Whatever looks like a number: digits, points, exponents and signs at random, most of them well placed.
    std::string text = documents.oneIn(4) ? "-" : "";
    for (std::size_t n = 1 + documents.below(documents.oneIn(3) ? 50 : 20); n > 0; --n) {
      text += static_cast<char>('0' + (documents.oneIn(3) ? 0 : documents.below(10)));
    }
    if (documents.oneIn(2)) text.insert(documents.below(text.size()) + 1, ".");
    if (documents.oneIn(2)) text += "e" + std::to_string(static_cast<int>(documents.below(700)) - 350);
    texts.push_back(text);
    texts.push_back("[" + text + ", 1]");
  }
  expectSameMeaning(texts, 0.4, 0.1);
}

TEST(NSJSONSerializationOracle, ListsWherePythonTakesMore) {
  // Python reads all of these: see canonical.py for how it is kept from it. Depth is its recursion limit, 1000 as a
  // rule.
  for (const char* text :
       {"NaN", "Infinity", "-Infinity", "[NaN]", "\"\\ud800\"", "\"\\udc00\"", "[\"\\ude00\\ud83d\"]"}) {
    SCOPED_TRACE(text);
    EXPECT_FALSE(parse(text));
  }
  EXPECT_FALSE(parse(std::string(600, '[') + std::string(600, ']')));
  // Python's floats overflow to infinity and lose the digits that a decimal keeps.
  EXPECT_FALSE(parse("1e400"));
  EXPECT_EQ(meaning(parse("0.1234567890123456789")), "d1234567890123456789e-19");
  // A float there, an integer here, is neither.
  EXPECT_EQ(meaning(parse("-0")), "r-0x0.0p+0");
}

TEST(NSJSONSerializationOracle, ReadsBackWhatItWrote) {
  JSONDocuments documents(4);
  for (int i = 0; i < 2000; ++i) {
    const id object = documents.object();
    ASSERT_TRUE(NSJSONSerialization::isValidJSONObject(object));
    for (NSUInteger options = 0; options < 16; ++options) {
      const NSData data = NSJSONSerialization::dataWithJSONObject_options_error(object, options);
      ASSERT_TRUE(data);
      const id back = NSJSONSerialization::JSONObjectWithData_options_error(data);
      ASSERT_EQ(back, object) << data.view();
      // A short decimal has become a double by now; from here on nothing changes any more.
      const NSData again = NSJSONSerialization::dataWithJSONObject_options_error(back, options);
      const id backAgain = NSJSONSerialization::JSONObjectWithData_options_error(again);
      ASSERT_EQ(backAgain, back) << again.view();
      ASSERT_EQ(NSJSONSerialization::dataWithJSONObject_options_error(backAgain, options), again) << again.view();
    }
  }
}

TEST(NSJSONSerializationOracle, WritesWhatItReadsForGood) {
  JSONDocuments documents(5);
  for (int i = 0; i < 4000; ++i) {
    const std::string text = documents.document();
    const id object = parse(text);
    if (!object) continue;  // a number beyond a double
    const NSData data = NSJSONSerialization::dataWithJSONObject_options_error(object, NSJSONWritingFragmentsAllowed);
    ASSERT_TRUE(data);
    ASSERT_EQ(parse(data.view()), object) << text;
  }
}

}  // namespace
}  // namespace kvt
