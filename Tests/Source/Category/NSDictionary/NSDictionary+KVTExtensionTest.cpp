#include <KVTFoundation/Category/NSDictionary/NSDictionary+KVTExtension.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Services/Bundle/NSBundle.h>
#include <KVTPlatform/Values/NSDate.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace kvt {
namespace {

const NSNull null = NSNull::null();

std::vector<NSDictionary> bothForms(const NSDictionary& dictionary) {
  return {dictionary.copy(), dictionary.mutableCopy()};
}

TEST(NSDictionaryKVTExtension, SafeObjectForKey) {
  const NSDictionary dictionary = {{"text", "x"}, {"none", null}, {"empty", ""}, {7, "seven"}, {null, "of null"}};
  const struct {
    id key;
    id expected;
  } rows[] = {
      {NSString("text"), NSString("x")},
      {NSString("text").mutableCopy(), NSString("x")},
      {NSString("empty"), NSString("")},
      {NSNumber(7), NSString("seven")},
      {NSString("none"), nullptr},
      {NSString("missing"), nullptr},
      {NSString("7"), nullptr},
      {NSArray{1}, nullptr},
      {null, nullptr},
      {nullptr, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.key));
    for (const NSDictionary& each : bothForms(dictionary)) {
      EXPECT_EQ(kvt_safeObjectForKey(each, row.key), row.expected);
      EXPECT_EQ(objc_msgSend<id>(each, "kvt_safeObjectForKey:", row.key), row.expected);
      if (const NSString text = row.key.as<NSString>()) {
        EXPECT_EQ(kvt_safeObjectForKey(each, text.utf8()), row.expected);
        EXPECT_EQ(kvt_safeObjectForKey(each, text.UTF8String()), row.expected);
      }
    }
    EXPECT_FALSE(kvt_safeObjectForKey(nullptr, row.key));
  }
  EXPECT_FALSE(kvt_safeObjectForKey(dictionary, nullptr));
  EXPECT_FALSE(kvt_safeObjectForKey(nullptr, "text"));
  EXPECT_EQ(kvt_safeObjectForKey(dictionary, 7), NSString("seven"));
  EXPECT_FALSE(kvt_safeObjectForKey(dictionary, 0)) << "a number, no null pointer";
  EXPECT_EQ(kvt_safeObjectForKey(NSDictionary{{0, "zero"}}, 0), NSString("zero"));
  EXPECT_EQ(kvt_safeObjectForKey(dictionary, std::string("text")), NSString("x"));
  EXPECT_FALSE(kvt_safeObjectForKey(dictionary, null));
}

class ExtensionTruth : public NSObject {
 public:
  bool boolValue() const { return true; }
  static void kvtDescribe(ClassBuilder<ExtensionTruth>& c) { c.method<&ExtensionTruth::boolValue>("boolValue"); }
  KVT_CLASS(ExtensionTruth)
};

TEST(NSDictionaryKVTExtension, BoolForKey) {
  enum Answer { kNo, kYes, kDefault };
  const struct {
    id value;
    Answer expected;
  } rows[] = {
      {NSNumber(true), kYes},
      {NSNumber(false), kNo},
      {NSNumber(1), kYes},
      {NSNumber(0), kNo},
      {NSNumber(-7), kYes},
      {NSNumber(0.5), kYes},
      {NSNumber(0.0), kNo},
      {NSString("yes"), kYes},
      {NSString("YES"), kYes},
      {NSString("true"), kYes},
      {NSString("T"), kYes},
      {NSString("1"), kYes},
      {NSString("007"), kYes},
      {NSString("no"), kNo},
      {NSString("0"), kNo},
      {NSString(""), kNo},
      {NSString("on"), kNo},
      {NSString("yes").mutableCopy(), kYes},
      {make<ExtensionTruth>(), kYes},
      {null, kDefault},
      {NSArray{1}, kDefault},
      {NSDictionary{{"a", 1}}, kDefault},
      {NSDate::date(), kDefault},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.value));
    for (const NSDictionary& each : bothForms({{"k", row.value}})) {
      for (const bool defaultValue : {false, true}) {
        const bool expected = row.expected == kDefault ? defaultValue : row.expected == kYes;
        EXPECT_EQ(kvt_boolForKey_defaultValue(each, "k", defaultValue), expected);
        EXPECT_EQ(kvt_boolForKey_defaultValue(each, NSString("k"), defaultValue), expected);
        EXPECT_EQ(objc_msgSend<bool>(each, "kvt_boolForKey:defaultValue:", NSString("k"), defaultValue), expected);
      }
      EXPECT_EQ(kvt_boolForKey(each, "k"), row.expected == kYes);
      EXPECT_EQ(kvt_boolForKey(each, NSString("k")), row.expected == kYes);
      EXPECT_EQ(kvt_boolForKey(each, std::string_view("k")), row.expected == kYes);
      EXPECT_EQ(objc_msgSend<bool>(each, "kvt_boolForKey:", NSString("k")), row.expected == kYes);
      EXPECT_TRUE(kvt_boolForKey_defaultValue(each, "other", true));
      EXPECT_FALSE(kvt_boolForKey_defaultValue(each, "other", false));
      EXPECT_TRUE(kvt_boolForKey_defaultValue(each, nullptr, true));
      EXPECT_TRUE(kvt_boolForKey_defaultValue(each, id(), true));
      EXPECT_TRUE(kvt_boolForKey_defaultValue(each, null, true));
    }
  }
  EXPECT_FALSE(kvt_boolForKey_defaultValue(NSDictionary(), "k", true)) << "nil answers NO, whatever the default";
  EXPECT_FALSE(kvt_boolForKey_defaultValue(NSDictionary(), nullptr, true));
  EXPECT_FALSE(kvt_boolForKey_defaultValue(NSDictionary(), id(), true));
  EXPECT_FALSE(kvt_boolForKey(NSDictionary(), "k"));
  EXPECT_TRUE(kvt_boolForKey(NSDictionary{{7, true}}, NSNumber(7)));
  EXPECT_TRUE(kvt_boolForKey(NSDictionary{{7, true}}, 7));
  EXPECT_TRUE(kvt_boolForKey_defaultValue(NSDictionary{{null, "no"}, {1, true}}, 1, false));
}

// ---- query strings -------------------------------------------------------------------------------------------------

class ExtensionNameless : public NSObject {
 public:
  NSString description() const { return nullptr; }
  KVT_CLASS(ExtensionNameless)
};

TEST(NSDictionaryKVTExtension, URLQueryString) {
  const NSString broken = std::u16string{u'x', 0xD800};
  const struct {
    const char* what;
    NSDictionary dictionary;
    NSString unsorted, sorted;
  } rows[] = {
      {"sorted", {{"b", "2"}, {"a", "x y"}, {"c", null}}, "b=2&a=x%20y&c", "a=x%20y&b=2&c"},
      {"one", {{"a", 1}}, "a=1", "a=1"},
      {"an empty value", {{"a", ""}, {"b", 1}}, "a&b=1", "a&b=1"},
      {"null alone", {{"a", null}}, "a", "a"},
      {"what a query may hold stays", {{"k/?", "a&b=c/d?e"}}, "k/?=a&b=c/d?e", "k/?=a&b=c/d?e"},
      {"what it may not hold",
       {{"ключ", "名 #%\"<>"}},
       "%D0%BA%D0%BB%D1%8E%D1%87=%E5%90%8D%20%23%25%22%3C%3E",
       "%D0%BA%D0%BB%D1%8E%D1%87=%E5%90%8D%20%23%25%22%3C%3E"},
      {"plus", {{"a+b", "1+2"}}, "a+b=1+2", "a+b=1+2"},
      {"numbers and booleans", {{"n", 1.5}, {"t", true}, {"f", false}}, "n=1.5&t=1&f=0", "f=0&n=1.5&t=1"},
      {"a collection by its description", {{"l", NSArray{1}}}, "l=(%0A%20%20%20%201%0A)", "l=(%0A%20%20%20%201%0A)"},
      {"an empty key", {{"", "v"}, {"a", "b"}}, "=v&a=b", "=v&a=b"},
      {"an empty key and value", {{"", ""}}, nullptr, nullptr},
      {"by code points",
       {{"b", 1}, {"B", 2}, {"a", 3}, {"10", 4}, {"9", 5}},
       "b=1&B=2&a=3&10=4&9=5",
       "10=4&9=5&B=2&a=3&b=1"},
      {"keys that are numbers", {{10, "x"}, {9, "y"}}, "10=x&9=y", "9=y&10=x"},
      {"keys that nothing orders",
       {{NSArray{2}, "x"}, {NSArray{1}, "y"}},
       "(%0A%20%20%20%202%0A)=x&(%0A%20%20%20%201%0A)=y",
       "(%0A%20%20%20%202%0A)=x&(%0A%20%20%20%201%0A)=y"},
      {"a value without a description", {{"a", make<ExtensionNameless>()}}, "a", "a"},
      {"a value without UTF-8", {{"a", broken}}, "a", "a"},
      {"a key without UTF-8", {{broken, 1}, {"a", 2}}, "a=2", "a=2"},
      {"nothing but such a key", {{broken, 1}}, nullptr, nullptr},
      {"empty", NSDictionary::dictionary(), nullptr, nullptr},
      {"nil", nullptr, nullptr, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (const NSDictionary& each : bothForms(row.dictionary)) {
      EXPECT_EQ(kvt_URLQueryString(each), row.unsorted);
      EXPECT_EQ(kvt_URLQueryStringWithSortedKeys(each, false), row.unsorted);
      EXPECT_EQ(kvt_URLQueryStringWithSortedKeys(each, true), row.sorted);
      EXPECT_EQ(objc_msgSend<NSString>(each, "kvt_URLQueryString"), row.unsorted);
      EXPECT_EQ(objc_msgSend<NSString>(each, "kvt_URLQueryStringWithSortedKeys:", true), row.sorted);
      EXPECT_FALSE(kvt_URLQueryString(each).is<NSMutableString>());
    }
  }
}

TEST(NSDictionaryKVTExtension, MixedKeysRaiseNothing) {
  for (const NSDictionary& mixed : {NSDictionary{{"a", 1}, {2, 2}, {"c", 3}}, NSDictionary{{2, 2}, {"a", 1}},
                                    NSDictionary{{null, 1}, {NSDate::date(), 2}, {"a", 3}}}) {
    NSString query;
    EXPECT_NO_THROW(query = kvt_URLQueryStringWithSortedKeys(mixed, true));
    EXPECT_EQ(query.componentsSeparatedByString("&").count(), mixed.count());
  }
}

// ---- resources -----------------------------------------------------------------------------------------------------

/// A folder with a `Resources` folder, the main bundle for as long as it lives.
class JSONResources : public ::testing::Test {
 protected:
  JSONResources() {
    std::string name = ::testing::TempDir() + "kvt_resourcesXXXXXX";
    folder_ = ::mkdtemp(name.data());
    std::filesystem::create_directories(folder_ / "Resources" / "deep");
    EXPECT_TRUE(NSBundle::setMainBundlePath(NSString(folder_.string())));
  }
  ~JSONResources() override {
    NSBundle::setMainBundlePath(nullptr);
    std::filesystem::remove_all(folder_);
  }
  void write(const std::string& name, std::string_view content) {
    std::ofstream(folder_ / "Resources" / name, std::ios::binary) << content;
  }

  std::filesystem::path folder_;
};

TEST_F(JSONResources, AreParsed) {
  using namespace std::string_view_literals;
  const struct {
    const char* content;
    id expected;
  } rows[] = {
      {R"({"a": [1, null]})", NSDictionary{{"a", NSArray{1, null}}}},
      {R"([1, "x"])", NSArray{1, "x"}},
      {"{}", NSDictionary::dictionary()},
      {"\xEF\xBB\xBF[1]", NSArray{1}},
      {"", nullptr},
      {"no JSON", nullptr},
      {"{\"a\": 1", nullptr},
      {"7", nullptr},
      {"\"text\"", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    write("content.json", row.content);
    EXPECT_EQ(kvt_dictionaryWithJsonContentFile("content.json"), row.expected);
    EXPECT_EQ(objc_msgSend<id>(classOf<NSDictionary>(), "kvt_dictionaryWithJsonContentFile:", NSString("content.json")),
              row.expected);
  }
}

TEST_F(JSONResources, AreFoundByTheirWholeName) {
  write("plain", "[1]");
  write("plain.json", "[2]");
  write("deep/inner.json", "[3]");
  const struct {
    NSString name;
    id expected;
  } rows[] = {
      {"plain", NSArray{1}},
      {"plain.json", NSArray{2}},
      {"deep/inner.json", NSArray{3}},
      {"inner.json", nullptr},
      {"missing.json", nullptr},
      {"deep", nullptr},
      {"", nullptr},
      {nullptr, nullptr},
      {std::u16string{0xD800}, nullptr},
      {std::string("plain\0x", 7), nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.name));
    EXPECT_EQ(kvt_dictionaryWithJsonContentFile(row.name), row.expected);
  }
  EXPECT_FALSE(objc_msgSend<id>(classOf<NSDictionary>(), "kvt_dictionaryWithJsonContentFile:", NSNumber(1)));
}

}  // namespace
}  // namespace kvt
