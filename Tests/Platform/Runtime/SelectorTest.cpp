#include <KVTPlatform/Runtime/Selector.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace kvt {
namespace {

TEST(Selector, InternsByName) {
  const SEL a = "setName:";
  const SEL b{std::string_view(std::string("setName:"))};
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.name(), b.name());
  EXPECT_TRUE(sel_isEqual(a, sel_registerName("setName:")));
  EXPECT_NE(a, "setName"_sel);
  EXPECT_STREQ(sel_getName(a), "setName:");
}

TEST(Selector, NilHasNoName) {
  const SEL nil;
  EXPECT_FALSE(nil);
  EXPECT_EQ(nil, SEL(static_cast<const char*>(nullptr)));
  EXPECT_STREQ(sel_getName(nil), "<null selector>");
  EXPECT_TRUE(SEL(""));
}

TEST(Selector, ThreadsAgreeOnOnePointer) {
  std::vector<std::vector<const char*>> seen(4);
  std::vector<std::thread> threads;
  for (auto& names : seen) {
    threads.emplace_back([&names] {
      for (int i = 0; i < 2000; ++i) names.push_back(SEL(std::string_view("selector" + std::to_string(i))).name());
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& names : seen) EXPECT_EQ(names, seen[0]);
}

}  // namespace
}  // namespace kvt
