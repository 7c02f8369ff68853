// Property lists against Python's plistlib, in both directions, and the two formats against each other.

#include "PropertyLists.h"

namespace kvt {
namespace {

using namespace plist_test;

constexpr NSPropertyListFormat kBinary = NSPropertyListBinaryFormat_v1_0, kXML = NSPropertyListXMLFormat_v1_0;

/// Whether there is text in it that has no UTF-8 form.
bool holdsHalfPair(const id& list) {
  if (const NSString text = list.as<NSString>()) return text.UTF8String() == nullptr;
  if (const NSDictionary dictionary = list.as<NSDictionary>()) {
    return holdsHalfPair(dictionary.allKeys()) || holdsHalfPair(dictionary.allValues());
  }
  for (const id& each : list.as<NSArray>()) {
    if (holdsHalfPair(each)) return true;
  }
  return false;
}

TEST(NSPropertyListSerializationOracle, ReadsWhatPythonWrites) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  const TemporaryFile file;
  const std::vector<std::string> expected = python("canonical.py", "make 1 800 '" + file.path() + "'");
  const std::vector<std::string> pieces = readPieces(file.path());
  ASSERT_EQ(expected.size(), 800u);
  ASSERT_EQ(pieces.size(), expected.size());
  int differences = 0;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    NSError error;
    const id list = read(pieces[i], i % 3, &error);
    if (meaning(list) == expected[i]) continue;
    ADD_FAILURE() << "list " << i << ": " << reasonOf(error) << "\n  here:   " << meaning(list)
                  << "\n  Python: " << expected[i];
    if (++differences == 5) FAIL() << "and so on";
  }
}

TEST(NSPropertyListSerializationOracle, WritesWhatPythonReads) {
  if (!hasPython()) GTEST_SKIP() << "there is no python3 here";
  RandomLists lists(2);
  std::vector<std::string> pieces, expected;
  for (int i = 0; i < 3000; ++i) {
    const bool isXML = i % 2 == 0;
    const id list = lists.list(isXML);
    const NSData data = write(list, isXML ? kXML : kBinary);
    ASSERT_TRUE(data) << meaning(list);
    pieces.emplace_back(data.view());
    expected.push_back(meaning(list));
  }
  const TemporaryFile file;
  writePieces(file.path(), pieces);
  const std::vector<std::string> actual = python("canonical.py", "read '" + file.path() + "'");
  ASSERT_EQ(actual.size(), expected.size());
  int errors = 0;
  for (std::size_t i = 0; i < actual.size(); ++i) {
    if (actual[i] == "error") {
      // Python refuses text with half a surrogate pair, which the binary format can hold.
      ++errors;
      ASSERT_EQ(i % 2, 1u) << pieces[i];
      EXPECT_TRUE(holdsHalfPair(read(pieces[i])));
      continue;
    }
    ASSERT_EQ(actual[i], expected[i]) << "list " << i;
  }
  EXPECT_GT(errors, 10);
  EXPECT_LT(errors, 600);
}

TEST(NSPropertyListSerializationOracle, ReadsBackWhatItWrote) {
  RandomLists lists(3);
  for (int i = 0; i < 3000; ++i) {
    const bool isXML = i % 2 == 0;
    const id list = lists.list(isXML);
    const NSData data = write(list, isXML ? kXML : kBinary);
    ASSERT_TRUE(data) << meaning(list);
    for (NSUInteger options = 0; options < 3; ++options) {
      const id back = read(data.view(), options);
      ASSERT_EQ(meaning(back), meaning(list)) << data.view();
      ASSERT_EQ(back, list);
      // What was read is written the same.
      ASSERT_EQ(write(back, isXML ? kXML : kBinary), data);
    }
  }
}

TEST(NSPropertyListSerializationOracle, KeepsListsThroughTheOtherFormat) {
  RandomLists lists(4);
  for (int i = 0; i < 1000; ++i) {
    const id list = lists.list(true);
    const id through = read(write(read(write(list, kBinary).view()), kXML).view());
    ASSERT_EQ(meaning(through), meaning(list));
    EXPECT_EQ(write(through, kXML), write(list, kXML));
  }
}

}  // namespace
}  // namespace kvt
