#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <KVTPlatform/Values/NSURL.h>
#include <KVTPlatform/Values/NSURLComponents.h>
#include <gtest/gtest.h>

#include <string>

namespace kvt {
namespace {

std::string show(const NSString& text) { return text ? text.str() : "(nil)"; }
NSURLComponents components(const char* text) { return NSURLComponents::componentsWithString(text); }
NSURLQueryItem item(const NSString& name, const NSString& value) {
  return NSURLQueryItem::queryItemWithName_value(name, value);
}

TEST(NSURLComponentsTest, TakesApartAndPutsTogether) {
  const char* const rows[] = {
      "",
      "http://h",
      "https://u:p@h:8443/a%20b/c?x=%20#y%20",
      "http://u@h",
      "http://:p@h/",
      "http://[::1]:80/?",
      "mailto:a@b?c",
      "file:///a",
      "a/b",
      "?q",
      "#f",
      "//h/p",
      "http://",
      "http://h:0/#",
  };
  for (const char* row : rows) {
    SCOPED_TRACE(row);
    ASSERT_TRUE(components(row));
    EXPECT_EQ(show(components(row).string()), row);
    EXPECT_EQ(show(components(row).URL().absoluteString()), *row == '\0' ? "(nil)" : row);
  }
  EXPECT_FALSE(components("a b"));
  EXPECT_FALSE(components("http://h:x"));
  EXPECT_FALSE(NSURLComponents::componentsWithString(nullptr));
}

TEST(NSURLComponentsTest, PlainAndEncodedParts) {
  const NSURLComponents it = components("https://u%20v:p%3Aw@h%41:8443/a%20b?x=%26#y%2F");
  EXPECT_EQ(it.scheme(), "https");
  EXPECT_EQ(it.user(), "u v");
  EXPECT_EQ(it.percentEncodedUser(), "u%20v");
  EXPECT_EQ(it.password(), "p:w");
  EXPECT_EQ(it.percentEncodedPassword(), "p%3Aw");
  EXPECT_EQ(it.host(), "hA");
  EXPECT_EQ(it.percentEncodedHost(), "h%41");
  EXPECT_EQ(it.port(), NSNumber(8443));
  EXPECT_EQ(it.path(), "/a b");
  EXPECT_EQ(it.percentEncodedPath(), "/a%20b");
  EXPECT_EQ(it.query(), "x=&");
  EXPECT_EQ(it.percentEncodedQuery(), "x=%26");
  EXPECT_EQ(it.fragment(), "y/");
  EXPECT_EQ(it.percentEncodedFragment(), "y%2F");
  EXPECT_EQ(components("http://[::1]/").host(), "[::1]");
  EXPECT_FALSE(components("/%ff").path());
  EXPECT_EQ(components("/%ff").percentEncodedPath(), "/%ff");
}

TEST(NSURLComponentsTest, SettingEscapes) {
  const NSURLComponents it = NSURLComponents::new_();
  EXPECT_EQ(it.string(), "");
  EXPECT_FALSE(it.URL());
  it.setScheme("https");
  it.setHost("例え");
  it.setUser("a:b@c/");
  it.setPassword("d:e@");
  it.setPort(443);
  it.setPath("/x y;z?#%/你");
  it.setQuery("q=[1]&r#?/ ");
  it.setFragment("#\"");
  EXPECT_EQ(
      show(it.string()),
      "https://a%3Ab%40c%2F:d:e%40@%E4%BE%8B%E3%81%88:443/x%20y%3Bz%3F%23%25/%E4%BD%A0?q=%5B1%5D&r%23?/%20#%23%22");
  EXPECT_EQ(it.URL().path(), "/x y;z?#%/你");
  EXPECT_EQ(it.user(), "a:b@c/");
  it.setHost("[::1]");
  it.setUser(nullptr);
  it.setPassword(nullptr);
  it.setPort(nullptr);
  it.setQuery(nullptr);
  it.setFragment("");
  it.setPath(nullptr);
  EXPECT_EQ(it.string(), "https://[::1]#");
  it.setPath(NSString(u"\xD800"));
  EXPECT_EQ(it.path(), "");
  it.setScheme(nullptr);
  EXPECT_EQ(it.string(), "//[::1]#");
}

TEST(NSURLComponentsTest, SettingRaises) {
  const NSURLComponents it = NSURLComponents::new_();
  EXPECT_THROW(it.setScheme("1a"), NSException);
  EXPECT_THROW(it.setScheme(""), NSException);
  EXPECT_THROW(it.setPort(-1), NSException);
  EXPECT_THROW(it.setPort(65536), NSException);
  EXPECT_THROW(it.setPercentEncodedUser("a:b"), NSException);
  EXPECT_THROW(it.setPercentEncodedPassword("%"), NSException);
  EXPECT_THROW(it.setPercentEncodedHost("a b"), NSException);
  EXPECT_THROW(it.setPercentEncodedHost("[::1"), NSException);
  EXPECT_THROW(it.setPercentEncodedPath("/?"), NSException);
  EXPECT_THROW(it.setPercentEncodedQuery("#"), NSException);
  EXPECT_THROW(it.setPercentEncodedFragment("%4"), NSException);
  EXPECT_EQ(it.string(), "");
  it.setPercentEncodedHost("[::1]");
  it.setPercentEncodedUser("%20");
  it.setPercentEncodedPassword(":");
  it.setPercentEncodedPath("/%41;");
  it.setPercentEncodedQuery("%26");
  it.setPercentEncodedFragment("?");
  EXPECT_EQ(it.string(), "//%20::@[::1]/%41;?%26#?");
}

TEST(NSURLComponentsTest, WhatWouldReadDifferentlyHasNoString) {
  const NSURLComponents it = NSURLComponents::new_();
  it.setHost("h");
  it.setPath("a");
  EXPECT_FALSE(it.string());
  EXPECT_FALSE(it.URL());
  EXPECT_FALSE(it.description());
  it.setHost(nullptr);
  it.setPath("//a");
  EXPECT_FALSE(it.string());
  it.setPath("a:b");
  EXPECT_FALSE(it.string());
  it.setScheme("s");
  EXPECT_EQ(it.string(), "s:a:b");
}

TEST(NSURLComponentsTest, FromURLs) {
  const NSURL url = NSURL::URLWithString_relativeToURL("../c?q", NSURL::URLWithString("http://h/a/b/"));
  const auto resolved = NSURLComponents::componentsWithURL_resolvingAgainstBaseURL(url, true);
  const auto relative = NSURLComponents::componentsWithURL_resolvingAgainstBaseURL(url, false);
  EXPECT_EQ(resolved.string(), "http://h/a/c?q");
  EXPECT_EQ(relative.string(), "../c?q");
  EXPECT_EQ(relative.URLRelativeToURL(url.baseURL()).absoluteString(), "http://h/a/c?q");
  EXPECT_FALSE(NSURLComponents::componentsWithURL_resolvingAgainstBaseURL(nullptr, true));
}

TEST(NSURLComponentsTest, ReadingQueryItems) {
  struct Row {
    const char* query;
    std::vector<std::string> items;  // "(nil)" is no value
  };
  const Row rows[] = {
      {"?", {}},
      {"?a=1&b=2", {"a", "1", "b", "2"}},
      {"?a&b=", {"a", "(nil)", "b", ""}},
      {"?=x&&", {"", "x", "", "(nil)", "", "(nil)"}},
      {"?a=b=c", {"a", "b=c"}},
      {"?a%20%26=%3D+&%ff=%fe", {"a &", "=+", "%ff", "%fe"}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.query);
    const NSArray items = components(row.query).queryItems();
    ASSERT_TRUE(items);
    std::vector<std::string> found;
    for (const id& each : items) {
      found.push_back(show(each.as<NSURLQueryItem>().name()));
      found.push_back(show(each.as<NSURLQueryItem>().value()));
    }
    EXPECT_EQ(found, row.items);
  }
  EXPECT_FALSE(components("http://h").queryItems());
}

TEST(NSURLComponentsTest, WritingQueryItems) {
  const NSURLComponents it = components("http://h/?old#f");
  it.setQueryItems({item("a b", "1&2=3"), item("c", nullptr), NSNull::null(), item("d", ""), item("é+;", "/?:@")});
  EXPECT_EQ(show(it.string()), "http://h/?a%20b=1%262%3D3&c&d=&%C3%A9+;=/?:@#f");
  const NSArray back = it.queryItems();
  ASSERT_EQ(back.count(), 4u);
  EXPECT_EQ(back[0], item("a b", "1&2=3"));
  EXPECT_EQ(back[1], item("c", nullptr));
  EXPECT_EQ(back[3], item("é+;", "/?:@"));
  it.setQueryItems(NSArray::array());
  EXPECT_EQ(it.string(), "http://h/?#f");
  it.setQueryItems(nullptr);
  EXPECT_EQ(it.string(), "http://h/#f");
}

TEST(NSURLComponentsTest, QueryItems) {
  EXPECT_EQ(item(nullptr, "x").name(), "");
  EXPECT_TRUE(item("a", "b").isEqual(item("a", "b")));
  EXPECT_EQ(item("a", "b").hash(), item("a", "b").hash());
  EXPECT_FALSE(item("a", "").isEqual(item("a", nullptr)));
  EXPECT_FALSE(item("a", "b").isEqual(NSString("a=b")));
  EXPECT_EQ(item("a", "b").description(), "a=b");
  EXPECT_EQ(item("a", nullptr).description(), "a");
  const NSURLQueryItem one = item("a", "b");
  EXPECT_TRUE(isIdentical(one.copy(), one));
  const NSURLQueryItem nil;
  EXPECT_FALSE(nil.name());
  EXPECT_FALSE(nil.value());
}

TEST(NSURLComponentsTest, EqualityAndCopies) {
  const NSURLComponents a = components("http://h/a?q"), b = components("http://h/a?q");
  EXPECT_TRUE(a.isEqual(b));
  EXPECT_EQ(a.hash(), b.hash());
  const NSURLComponents copy = a.copy();
  EXPECT_FALSE(isIdentical(copy, a));
  EXPECT_EQ(copy, a);
  copy.setPath("/b");
  EXPECT_EQ(a.path(), "/a");
  EXPECT_FALSE(copy.isEqual(a));
  EXPECT_FALSE(a.isEqual(nullptr));
  const auto sent = objc_msgSend<NSURLComponents>(objc_getClass("NSURLComponents"), "new");
  objc_msgSend(sent, "setHost:", NSString("h"));
  EXPECT_EQ(objc_msgSend<NSString>(sent, "string"), "//h");
}

TEST(NSURLComponentsTest, NilAnswersNil) {
  const NSURLComponents nil;
  nil.setScheme("1 is no scheme");
  nil.setPort(-1);
  nil.setUser("u");
  nil.setPassword("p");
  nil.setHost("h");
  nil.setPath("p");
  nil.setQuery("q");
  nil.setFragment("f");
  nil.setPercentEncodedUser("%");
  nil.setPercentEncodedPassword("%");
  nil.setPercentEncodedHost("%");
  nil.setPercentEncodedPath("%");
  nil.setPercentEncodedQuery("%");
  nil.setPercentEncodedFragment("%");
  nil.setQueryItems(NSArray::array());
  EXPECT_FALSE(nil.string());
  EXPECT_FALSE(nil.URL());
  EXPECT_FALSE(nil.URLRelativeToURL(nullptr));
  EXPECT_FALSE(nil.scheme());
  EXPECT_FALSE(nil.user());
  EXPECT_FALSE(nil.password());
  EXPECT_FALSE(nil.host());
  EXPECT_FALSE(nil.port());
  EXPECT_FALSE(nil.path());
  EXPECT_FALSE(nil.query());
  EXPECT_FALSE(nil.fragment());
  EXPECT_FALSE(nil.percentEncodedUser());
  EXPECT_FALSE(nil.percentEncodedPassword());
  EXPECT_FALSE(nil.percentEncodedHost());
  EXPECT_FALSE(nil.percentEncodedPath());
  EXPECT_FALSE(nil.percentEncodedQuery());
  EXPECT_FALSE(nil.percentEncodedFragment());
  EXPECT_FALSE(nil.queryItems());
  EXPECT_FALSE(nil.copy());
  EXPECT_EQ(nil.hash(), 0u);
}

}  // namespace
}  // namespace kvt
