#include <KVTFoundation/Category/NSDictionary/NSMutableDictionary+KVTExtension.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSObject.h>
#include <Platform/Values/Raised.h>
#include <gtest/gtest.h>

namespace kvt {
namespace {

const NSNull null = NSNull::null();

class ExtensionKey : public NSObject {
 public:
  KVT_CLASS(ExtensionKey)
};

TEST(NSMutableDictionaryKVTExtension, SafeSetObject) {
  const NSDictionary before = {{"a", 1}, {7, "seven"}};
  const struct {
    const char* what;
    id object, key;
    NSDictionary after;
  } rows[] = {
      {"a new text key", NSString("x"), NSString("b"), {{"a", 1}, {7, "seven"}, {"b", "x"}}},
      {"a known text key", NSString("x"), NSString("a"), {{"a", "x"}, {7, "seven"}}},
      {"nil under a text key", nullptr, NSString("a"), {{7, "seven"}}},
      {"nil under an unknown text key", nullptr, NSString("b"), before},
      {"null", null, NSString("a"), {{"a", null}, {7, "seven"}}},
      {"a key with an @", NSString("x"), NSString("@count"), {{"a", 1}, {7, "seven"}, {"@count", "x"}}},
      {"a key with a point", NSString("x"), NSString("a.b"), {{"a", 1}, {7, "seven"}, {"a.b", "x"}}},
      {"an empty key", NSString("x"), NSString(""), {{"a", 1}, {7, "seven"}, {"", "x"}}},
      {"another key", NSString("x"), NSNumber(8), {{"a", 1}, {7, "seven"}, {8, "x"}}},
      {"another known key", NSString("x"), NSNumber(7), {{"a", 1}, {7, "x"}}},
      {"nil under another key", nullptr, NSNumber(7), {{"a", 1}}},
      {"nil under another unknown key", nullptr, NSNumber(8), before},
      {"null under another key", null, NSNumber(7), {{"a", 1}, {7, null}}},
      {"no key", NSString("x"), nullptr, before},
      {"neither", nullptr, nullptr, before},
      {"a null key", NSString("x"), null, before},
      {"nil under a null key", nullptr, null, before},
      {"a key that cannot be copied", NSString("x"), make<ExtensionKey>(), before},
      {"nil under a key that cannot be copied", nullptr, make<ExtensionKey>(), before},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const NSMutableDictionary direct = before.mutableCopy(), sent = before.mutableCopy();
    EXPECT_NO_THROW(kvt_safeSetObject_forKey(direct, row.object, row.key));
    EXPECT_EQ(direct, row.after);
    EXPECT_NO_THROW(objc_msgSend(sent, "kvt_safeSetObject:forKey:", row.object, row.key));
    EXPECT_EQ(sent, row.after);
    EXPECT_NO_THROW(kvt_safeSetObject_forKey(nullptr, row.object, row.key));
  }
}

TEST(NSMutableDictionaryKVTExtension, SafeSetTakesTextAndNumbers) {
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  kvt_safeSetObject_forKey(dictionary, "x", "text");
  kvt_safeSetObject_forKey(dictionary, 2, 1);
  kvt_safeSetObject_forKey(dictionary, "gone", "gone");
  kvt_safeSetObject_forKey(dictionary, nullptr, "gone");
  EXPECT_EQ(dictionary, (NSDictionary{{"text", "x"}, {1, 2}}));
  const NSMutableString key = NSString("k").mutableCopy();
  kvt_safeSetObject_forKey(dictionary, 1, key);
  key.setString("changed");
  EXPECT_EQ(dictionary["k"], NSNumber(1)) << "keys are copied";
}

TEST(NSMutableDictionaryKVTExtension, SafeRemove) {
  const NSDictionary before = {{"a", 1}, {7, "seven"}};
  const struct {
    id key;
    NSDictionary after;
  } rows[] = {
      {NSString("a"), {{7, "seven"}}},
      {NSNumber(7), {{"a", 1}}},
      {NSString("b"), before},
      {nullptr, before},
      {null, before},
      {NSArray{1}, before},
      {make<ExtensionKey>(), before},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.key));
    const NSMutableDictionary direct = before.mutableCopy(), sent = before.mutableCopy();
    EXPECT_NO_THROW(kvt_safeRemoveObjectForKey(direct, row.key));
    EXPECT_EQ(direct, row.after);
    EXPECT_NO_THROW(objc_msgSend(sent, "kvt_safeRemoveObjectForKey:", row.key));
    EXPECT_EQ(sent, row.after);
  }
  // Put in by the platform's own operation, it is not taken out by this one.
  const NSMutableDictionary withNull = {{null, 1}};
  kvt_safeRemoveObjectForKey(withNull, null);
  EXPECT_EQ(withNull.count(), 1u);
  kvt_safeRemoveObjectForKey(nullptr, "a");
}

TEST(NSMutableDictionaryKVTExtension, SetBool) {
  const NSMutableDictionary dictionary = NSMutableDictionary::dictionary();
  kvt_setBool_forKey(dictionary, true, "yes");
  kvt_setBool_forKey(dictionary, false, "no");
  objc_msgSend(dictionary, "kvt_setBool:forKey:", true, NSNumber(7));
  kvt_setBool_forKey(dictionary, true, null);
  EXPECT_EQ(dictionary, (NSDictionary{{"yes", true}, {"no", false}, {7, true}, {null, true}}));
  EXPECT_TRUE(dictionary["yes"].as<NSNumber>().isBool());
  EXPECT_TRUE(dictionary["no"].as<NSNumber>().isBool());
  EXPECT_EQ(raisedName([&] {
              kvt_setBool_forKey(dictionary, true, nullptr);
              return 0;
            }),
            "NSInvalidArgumentException");
  EXPECT_NO_THROW(kvt_setBool_forKey(nullptr, true, "k"));
}

}  // namespace
}  // namespace kvt
