#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <random>

#include "Raised.h"

namespace kvt {
namespace {

using namespace std::string_view_literals;

NSData B(std::string_view bytes) { return NSData(bytes); }

TEST(NSDataTest, NilAnswersNothing) {
  const NSMutableData nil;
  char buffer[4] = "abc";
  EXPECT_EQ(nil.length(), 0U);
  EXPECT_EQ(nil.bytes(), nullptr);
  EXPECT_EQ(nil.mutableBytes(), nullptr);
  EXPECT_TRUE(nil.view().empty());
  EXPECT_TRUE(nil.vector().empty());
  nil.getBytes_length(buffer, 3);
  nil.getBytes_range(buffer, {0, 3});
  EXPECT_STREQ(buffer, "abc");
  EXPECT_TRUE(nil.subdataWithRange({5, 5}) == nullptr);
  EXPECT_EQ(nil.rangeOfData_options_range(B("a"), 0, {0, 9}), NSRange());
  EXPECT_TRUE(nil.base64EncodedStringWithOptions() == nullptr);
  EXPECT_TRUE(nil.base64EncodedDataWithOptions() == nullptr);
  EXPECT_FALSE(nil.writeToFile_atomically("/nowhere", true));
  EXPECT_FALSE(nil.isEqualToData(nil));
  EXPECT_FALSE(nil.isEqualToData(B("")));
  EXPECT_FALSE(B("").isEqualToData(nil));
  EXPECT_TRUE(nil.copy() == nullptr);
  EXPECT_TRUE(nil.mutableCopy() == nullptr);
  EXPECT_TRUE(nil.description() == nullptr);
  nil.setLength(3);
  nil.increaseLengthBy(3);
  nil.appendData(B("a"));
  nil.appendBytes_length("a", 1);
  nil.setData(B("a"));
  nil.resetBytesInRange({0, 1});
  nil.replaceBytesInRange_withBytes({0, 1}, "a");
  nil.replaceBytesInRange_withBytes_length({0, 1}, "a", 1);
  EXPECT_EQ(nil.length(), 0U);
  EXPECT_TRUE(NSData::dataWithBase64EncodedString_options(nullptr) == nullptr);
  EXPECT_TRUE(NSData::dataWithContentsOfFile(nullptr) == nullptr);
  EXPECT_EQ(NSData::dataWithData(nullptr).length(), 0U);
  EXPECT_TRUE(NSData::dataWithData(nullptr));
}

TEST(NSDataTest, EmptyIsNotNil) {
  const NSData empty = NSData::data();
  EXPECT_TRUE(empty);
  EXPECT_EQ(empty.length(), 0U);
  EXPECT_EQ(empty.bytes(), nullptr);
  EXPECT_TRUE(empty == B(""));
  EXPECT_TRUE(empty == NSMutableData::data());
  EXPECT_EQ(empty.hash(), NSMutableData::data().hash());
  EXPECT_EQ(empty.description(), "{length = 0, bytes = 0x}");
  EXPECT_EQ(NSData::dataWithBytes_length(nullptr, 0).length(), 0U);
  EXPECT_EQ(raisedName([] { return NSData::dataWithBytes_length(nullptr, 1); }), "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([] { return NSData::dataWithBytes_length("", UINT64_MAX); }), "NSMallocException");
}

TEST(NSDataTest, MakesAndReads) {
  const NSData data = NSData::dataWithBytes_length("a\0c", 3);
  EXPECT_EQ(data.length(), 3U);
  EXPECT_EQ(data.view(), "a\0c"sv);
  EXPECT_EQ(data.vector(), (std::vector<std::uint8_t>{'a', 0, 'c'}));
  EXPECT_TRUE(data == NSData(std::vector<std::uint8_t>{'a', 0, 'c'}));
  EXPECT_TRUE(data == NSData(std::vector<std::byte>{std::byte{'a'}, std::byte{0}, std::byte{'c'}}));
  char buffer[9] = "........";
  data.getBytes_length(buffer, 2);
  EXPECT_EQ(std::string_view(buffer, 3), "a\0."sv);
  data.getBytes_length(buffer, 100);
  EXPECT_EQ(std::string_view(buffer, 4), "a\0c."sv);
  data.getBytes_range(buffer, {2, 1});
  EXPECT_EQ(buffer[0], 'c');
}

TEST(NSDataTest, RangesAreChecked) {
  const NSData data = B("abc");
  EXPECT_EQ(data.subdataWithRange({1, 2}).view(), "bc");
  EXPECT_EQ(data.subdataWithRange({3, 0}).length(), 0U);
  EXPECT_TRUE(isIdentical(data.subdataWithRange({0, 3}), data));
  EXPECT_EQ(raised([&] {
              return data.subdataWithRange({2, 2});
            }),
            "NSRangeException: -[NSData subdataWithRange:]: range {2, 2} exceeds data length 3");
  char byte = 0;
  for (const NSRange range : {NSRange{4, 0}, NSRange{0, 4}, NSRange{1, UINT64_MAX}, NSRange{UINT64_MAX, 2}}) {
    SCOPED_TRACE(range.location);
    EXPECT_EQ(raisedName([&] { return data.subdataWithRange(range); }), "NSRangeException");
    EXPECT_EQ(raisedName([&] { return data.rangeOfData_options_range(data, 0, range); }), "NSRangeException");
    EXPECT_EQ(raisedName([&] {
                data.getBytes_range(&byte, range);
                return 0;
              }),
              "NSRangeException");
  }
}

TEST(NSDataTest, Searching) {
  struct Row {
    std::string_view data, needle;
    NSUInteger options;
    NSRange range, found;
  };
  const NSRange none{NSNotFound, 0};
  const NSUInteger back = NSDataSearchBackwards, anchored = NSDataSearchAnchored;
  const Row rows[] = {
      {"abcabc", "abc", 0, {0, 6}, {0, 3}},
      {"abcabc", "abc", 0, {1, 5}, {3, 3}},
      {"abcabc", "abc", 0, {1, 4}, none},
      {"abcabc", "abc", back, {0, 6}, {3, 3}},
      {"abcabc", "abc", back, {0, 5}, {0, 3}},
      {"abcabc", "abc", back, {1, 4}, none},
      {"abcabc", "abc", anchored, {0, 6}, {0, 3}},
      {"abcabc", "abc", anchored, {1, 5}, none},
      {"abcabc", "bc", anchored | back, {0, 6}, {4, 2}},
      {"abcabc", "bc", anchored | back, {0, 5}, none},
      {"aaaa", "aa", back, {0, 4}, {2, 2}},
      {"aabaab", "ab", back, {0, 6}, {4, 2}},
      {"abababc", "abab", back, {0, 7}, {2, 4}},
      {"a\0b\0"sv, "\0b"sv, 0, {0, 3}, {1, 2}},
      {"abc", "", 0, {0, 3}, none},
      {"", "a", 0, {0, 0}, none},
      {"abc", "abcd", back, {0, 3}, none},
  };
  int index = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(index++);
    EXPECT_EQ(B(row.data).rangeOfData_options_range(B(row.needle), row.options, row.range), row.found);
  }
  EXPECT_EQ(raised([] {
              return B("a").rangeOfData_options_range(nullptr, 0, {0, 1});
            }),
            "NSInvalidArgumentException: -[NSData rangeOfData:options:range:]: nil argument");
}

TEST(NSDataTest, SearchingAgreesWithTheStandardLibrary) {
  std::mt19937 random(7);
  for (int i = 0; i < 5000; ++i) {
    std::string text(random() % 60, 'a'), needle(1 + random() % 6, 'a');
    for (char& c : text) c = static_cast<char>('a' + random() % 2);
    for (char& c : needle) c = static_cast<char>('a' + random() % 2);
    const auto first = text.find(needle), last = text.rfind(needle);
    const NSData data = B(text);
    const NSUInteger missing = NSNotFound;
    EXPECT_EQ(data.rangeOfData_options_range(B(needle), 0, {0, text.size()}).location,
              first == std::string::npos ? missing : first);
    EXPECT_EQ(data.rangeOfData_options_range(B(needle), NSDataSearchBackwards, {0, text.size()}).location,
              last == std::string::npos ? missing : last);
  }
}

TEST(NSDataTest, HostileSearchesAreLinear) {
  const std::string many(1 << 20, 'a');
  const std::string half(1 << 19, 'a');
  EXPECT_EQ(B(many).rangeOfData_options_range(B("b" + half), NSDataSearchBackwards, {0, many.size()}).location,
            NSNotFound);
  EXPECT_EQ(B(many).rangeOfData_options_range(B(half + "b"), 0, {0, many.size()}).location, NSNotFound);
}

TEST(NSDataTest, Equality) {
  const NSData data = B("abc");
  const NSMutableData changing = data.mutableCopy();
  EXPECT_TRUE(data == changing);
  EXPECT_TRUE(changing == data);
  EXPECT_EQ(data.hash(), changing.hash());
  changing.appendBytes_length("d", 1);
  EXPECT_FALSE(data == changing);
  EXPECT_NE(data.hash(), changing.hash());
  EXPECT_FALSE(data.isEqual(NSString("abc")));
  EXPECT_FALSE(data.isEqual(nullptr));
  EXPECT_NE(B("a").hash(), B("b").hash());
  EXPECT_NE(B(std::string(100, 'a')).hash(), B(std::string(99, 'a') + "b").hash()) << "all bytes count";
  EXPECT_NE(B("").hash(), B("\0"sv).hash());
}

TEST(NSDataTest, Descriptions) {
  std::string bytes;
  for (char c = 0; c < 40; ++c) bytes += c;
  const std::pair<std::size_t, const char*> rows[] = {
      {3, "{length = 3, bytes = 0x000102}"},
      {24, "{length = 24, bytes = 0x000102030405060708090a0b0c0d0e0f1011121314151617}"},
      {25, "{length = 25, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 11121314 15161718 }"},
      {40, "{length = 40, bytes = 0x00010203 04050607 08090a0b 0c0d0e0f ... 20212223 24252627 }"},
  };
  for (const auto& [length, text] : rows) EXPECT_EQ(B(bytes.substr(0, length)).description(), text);
}

TEST(NSDataTest, CopiesDoNotShareWhatChanges) {
  const NSData data = B("abc");
  EXPECT_TRUE(isIdentical(data.copy(), data));
  const NSMutableData changing = data.mutableCopy();
  const NSData frozen = changing.copy();
  EXPECT_FALSE(id(frozen).is<NSMutableData>());
  changing.appendBytes_length("d", 1);
  EXPECT_EQ(data.view(), "abc");
  EXPECT_EQ(frozen.view(), "abc");
  EXPECT_EQ(changing.view(), "abcd");
  const NSMutableData alias = changing;
  alias.setLength(1);
  EXPECT_EQ(changing.view(), "a");
  const id viaRunTime = id(changing).copy();
  changing.setLength(0);
  EXPECT_EQ(viaRunTime.as<NSData>().view(), "a");
  EXPECT_TRUE(id(data).mutableCopy().is<NSMutableData>());
  EXPECT_FALSE(id(data).is<NSMutableData>());
  EXPECT_TRUE(id(changing).is<NSData>());
}

TEST(NSDataTest, Mutation) {
  const NSMutableData data = NSMutableData::dataWithCapacity(2);
  EXPECT_EQ(data.length(), 0U);
  data.appendBytes_length("abc", 3);
  data.appendData(B("def"));
  data.appendData(nullptr);
  data.appendBytes_length(nullptr, 0);
  EXPECT_EQ(data.view(), "abcdef");
  data.setLength(8);
  EXPECT_EQ(data.view(), "abcdef\0\0"sv);
  data.setLength(2);
  data.increaseLengthBy(2);
  EXPECT_EQ(data.view(), "ab\0\0"sv) << "bytes that were cut off do not come back";
  data.setData(B("12345"));
  data.resetBytesInRange({1, 2});
  EXPECT_EQ(data.view(),
            "1\0\0"
            "45"sv);
  data.resetBytesInRange({4, 3});
  EXPECT_EQ(data.view(),
            "1\0\0"
            "4\0\0\0"sv);
  data.setData(B("12345"));
  data.replaceBytesInRange_withBytes({1, 2}, "xy");
  EXPECT_EQ(data.view(), "1xy45");
  data.replaceBytesInRange_withBytes({4, 3}, "uvw");
  EXPECT_EQ(data.view(), "1xy4uvw");
  data.replaceBytesInRange_withBytes_length({1, 2}, "---", 3);
  EXPECT_EQ(data.view(), "1---4uvw");
  data.replaceBytesInRange_withBytes_length({1, 4}, nullptr, 0);
  EXPECT_EQ(data.view(), "1uvw");
  data.replaceBytesInRange_withBytes_length({4, 0}, "!", 1);
  EXPECT_EQ(data.view(), "1uvw!");
  static_cast<char*>(data.mutableBytes())[0] = '2';
  EXPECT_EQ(data.view(), "2uvw!");
  data.setData(nullptr);
  EXPECT_EQ(data.length(), 0U);
  EXPECT_EQ(data.bytes(), nullptr);
  EXPECT_EQ(NSMutableData::dataWithLength(3).view(), "\0\0\0"sv);
  EXPECT_EQ(NSMutableData::dataWithData(B("x")).view(), "x");
  EXPECT_EQ(NSMutableData::dataWithBytes_length("xy", 2).view(), "xy");
}

TEST(NSDataTest, MayBeChangedWithItsOwnBytes) {
  const NSMutableData data = NSMutableData::dataWithData(B("abc"));
  for (int i = 0; i < 6; ++i) data.appendData(data);
  ASSERT_EQ(data.length(), 192U);
  EXPECT_EQ(data.view().substr(189), "abc");
  data.setData(data);
  EXPECT_EQ(data.length(), 192U);
  data.replaceBytesInRange_withBytes_length({0, 0}, static_cast<const char*>(data.bytes()) + 1, 2);
  EXPECT_EQ(data.view().substr(0, 5), "bcabc");
}

TEST(NSDataTest, MutationIsChecked) {
  const NSMutableData data = NSMutableData::dataWithData(B("abc"));
  const auto name = [&](auto call) {
    return raisedName([&] {
      call();
      return 0;
    });
  };
  EXPECT_EQ(name([&] { data.replaceBytesInRange_withBytes({4, 1}, "x"); }), "NSRangeException");
  EXPECT_EQ(name([&] { data.resetBytesInRange({4, 1}); }), "NSRangeException");
  EXPECT_EQ(name([&] { data.replaceBytesInRange_withBytes_length({2, 2}, "x", 1); }), "NSRangeException");
  EXPECT_EQ(name([&] { data.replaceBytesInRange_withBytes({0, 1}, nullptr); }), "NSInvalidArgumentException");
  EXPECT_EQ(name([&] { data.appendBytes_length(nullptr, 1); }), "NSInvalidArgumentException");
  EXPECT_EQ(name([&] { data.setLength(UINT64_MAX); }), "NSMallocException");
  EXPECT_EQ(name([&] { data.increaseLengthBy(UINT64_MAX); }), "NSMallocException");
  EXPECT_EQ(name([&] { data.resetBytesInRange({1, UINT64_MAX}); }), "NSMallocException");
  EXPECT_EQ(name([&] { data.appendBytes_length("x", UINT64_MAX); }), "NSMallocException");
  EXPECT_EQ(data.view(), "abc") << "what failed changed nothing";
}

// ---- base64
// -----------------------------------------------------------------------------------------------------------

TEST(NSDataTest, Base64Vectors) {
  const std::pair<std::string_view, const char*> rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xFF\xBF", "+/+/"},
      {"\0\0"sv, "AAA="},
  };
  for (const auto& [bytes, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(B(bytes).base64EncodedStringWithOptions(), text);
    EXPECT_EQ(B(bytes).base64EncodedDataWithOptions().view(), text);
    EXPECT_TRUE(NSData::dataWithBase64EncodedString_options(text) == B(bytes));
    EXPECT_TRUE(NSData::dataWithBase64EncodedData_options(B(text)) == B(bytes));
  }
}

TEST(NSDataTest, Base64Refusals) {
  const std::string_view rows[] = {"Z",     "Zg",       "Zg=",  "Zg===",  "=",     "====",     "Z===",    "Zm8==",
                                   "Zm9v=", "Zg==Zg==", "Zg=g", "Zm9v\n", " Zm9v", "Zm9v-_==", "Zm9\0"sv, "Zé=="};
  for (const std::string_view text : rows) {
    SCOPED_TRACE(text);
    EXPECT_TRUE(NSData::dataWithBase64EncodedString_options(text) == nullptr);
  }
}

TEST(NSDataTest, Base64SkipsUnknownCharactersWhenAsked) {
  const NSUInteger skip = NSDataBase64DecodingIgnoreUnknownCharacters;
  EXPECT_EQ(NSData::dataWithBase64EncodedString_options("Zm9v\r\nYm\tFy", skip).view(), "foobar");
  EXPECT_EQ(NSData::dataWithBase64EncodedString_options(" Z-g_=é= ", skip).view(), "f");
  EXPECT_EQ(NSData::dataWithBase64EncodedString_options("\n", skip).length(), 0U);
  EXPECT_TRUE(NSData::dataWithBase64EncodedString_options("\n", skip));
  EXPECT_TRUE(NSData::dataWithBase64EncodedString_options("Zg=\n", skip) == nullptr) << "padding must be whole";
  EXPECT_TRUE(NSData::dataWithBase64EncodedString_options("Zg==Zg==", skip) == nullptr);
}

TEST(NSDataTest, Base64Lines) {
  const NSData data = B(std::string(60, 'x'));  // 80 characters
  const std::string line = data.base64EncodedStringWithOptions().str();
  const NSUInteger cr = NSDataBase64EncodingEndLineWithCarriageReturn, lf = NSDataBase64EncodingEndLineWithLineFeed;
  struct Row {
    NSUInteger options;
    std::size_t width;
    const char* end;
  };
  const Row rows[] = {{NSDataBase64Encoding64CharacterLineLength, 64, "\r\n"},
                      {NSDataBase64Encoding76CharacterLineLength, 76, "\r\n"},
                      {NSDataBase64Encoding64CharacterLineLength | cr, 64, "\r"},
                      {NSDataBase64Encoding64CharacterLineLength | lf, 64, "\n"},
                      {NSDataBase64Encoding64CharacterLineLength | cr | lf, 64, "\r\n"}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.options);
    EXPECT_EQ(data.base64EncodedStringWithOptions(row.options),
              line.substr(0, row.width) + row.end + line.substr(row.width));
  }
  EXPECT_EQ(data.base64EncodedStringWithOptions(cr), line) << "without a width there is one line";
  EXPECT_EQ(B(std::string(48, 'x')).base64EncodedStringWithOptions(NSDataBase64Encoding64CharacterLineLength).length(),
            64U)
      << "no line end behind the last line";
}

TEST(NSDataTest, Base64RoundTrips) {
  std::mt19937 random(64);
  for (std::size_t length = 0; length < 400; ++length) {
    std::string bytes(length, 0);
    for (char& c : bytes) c = static_cast<char>(random());
    const NSString text = B(bytes).base64EncodedStringWithOptions();
    EXPECT_EQ(text.length(), (length + 2) / 3 * 4);
    EXPECT_EQ(NSData::dataWithBase64EncodedString_options(text).view(), bytes);
    const NSString lines = B(bytes).base64EncodedStringWithOptions(NSDataBase64Encoding76CharacterLineLength);
    EXPECT_EQ(NSData::dataWithBase64EncodedString_options(lines, NSDataBase64DecodingIgnoreUnknownCharacters).view(),
              bytes);
  }
}

// ---- files
// ------------------------------------------------------------------------------------------------------------

class NSDataFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = ::testing::TempDir() + "kvt-data-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  std::vector<std::string> names() const {
    std::vector<std::string> result;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) result.push_back(entry.path().filename());
    std::sort(result.begin(), result.end());
    return result;
  }
  static mode_t modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
  }

  std::string folder_;
};

TEST_F(NSDataFileTest, WritesAndReads) {
  const std::string bytes("a\0\xFF", 3);
  for (const bool atomically : {false, true}) {
    SCOPED_TRACE(atomically);
    const std::string name = atomically ? path("atomic ü") : path("plain");
    EXPECT_TRUE(B(bytes).writeToFile_atomically(name, atomically));
    EXPECT_EQ(NSData::dataWithContentsOfFile(name).view(), bytes);
    EXPECT_TRUE(B("x").writeToFile_atomically(name, atomically));
    EXPECT_EQ(NSData::dataWithContentsOfFile(name).view(), "x");
    EXPECT_TRUE(B("").writeToFile_atomically(name, atomically));
    const NSData empty = NSData::dataWithContentsOfFile(name);
    EXPECT_TRUE(empty);
    EXPECT_EQ(empty.length(), 0U);
  }
  EXPECT_EQ(names(), (std::vector<std::string>{"atomic ü", "plain"})) << "no temporary file stays behind";
}

TEST_F(NSDataFileTest, LargeFilesAndFilesWithoutASize) {
  std::string bytes(3000000, 'q');
  for (std::size_t i = 0; i < bytes.size(); i += 97) bytes[i] = static_cast<char>(i);
  ASSERT_TRUE(B(bytes).writeToFile_atomically(path("large"), true));
  EXPECT_TRUE(NSData::dataWithContentsOfFile(path("large")).view() == bytes);
  EXPECT_GT(NSData::dataWithContentsOfFile("/proc/self/status").length(), 100U);
}

TEST_F(NSDataFileTest, AtomicWritingKeepsPermissionsAndLinks) {
  const std::string target = path("target"), link = path("link");
  ASSERT_TRUE(B("old").writeToFile_atomically(target, true));
  ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
  ASSERT_EQ(::symlink("target", link.c_str()), 0);
  EXPECT_TRUE(B("new").writeToFile_atomically(link, true));
  EXPECT_EQ(NSData::dataWithContentsOfFile(target).view(), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(modeOf(target), 0640U);

  const mode_t old = ::umask(027);
  EXPECT_TRUE(B("x").writeToFile_atomically(path("fresh"), true));
  ::umask(old);
  EXPECT_EQ(modeOf(path("fresh")), 0640U);
}

TEST_F(NSDataFileTest, LongNames) {
  const std::string name(255, 'n');
  EXPECT_TRUE(B("x").writeToFile_atomically(path(name), true));
  EXPECT_EQ(NSData::dataWithContentsOfFile(path(name)).view(), "x");
}

TEST_F(NSDataFileTest, DoesNotOverwriteWhenAskedNotTo) {
  const std::string name = path("file");
  for (const NSUInteger options : {NSUInteger{NSDataWritingWithoutOverwriting},
                                   NSUInteger{NSDataWritingWithoutOverwriting | NSDataWritingAtomic}}) {
    SCOPED_TRACE(options);
    std::filesystem::remove(name);
    NSError error;
    EXPECT_TRUE(B("first").writeToFile_options_error(name, options, &error));
    EXPECT_TRUE(error == nullptr);
    EXPECT_FALSE(B("second").writeToFile_options_error(name, options, &error));
    EXPECT_EQ(error.code(), NSFileWriteFileExistsError);
    EXPECT_EQ(NSData::dataWithContentsOfFile(name).view(), "first");
    EXPECT_EQ(names(), std::vector<std::string>{"file"});
  }
}

TEST_F(NSDataFileTest, ErrorsSayWhy) {
  struct Row {
    bool reading;
    std::string path;
    NSInteger code;
    int underlying;
    std::string description;
  };
  const std::string blocked = path("not-a-folder");
  ASSERT_TRUE(B("x").writeToFile_atomically(blocked, true));
  const std::string longName(256, 'n');
  const Row rows[] = {
      {true, path("missing"), NSFileReadNoSuchFileError, ENOENT,
       "The file “missing” couldn’t be opened because there is no such file."},
      {true, folder_, NSFileReadUnknownError, EISDIR,
       "The file “" + folder_.substr(folder_.rfind('/') + 1) + "” couldn’t be opened."},
      {true, path(longName), NSFileReadInvalidFileNameError, ENAMETOOLONG,
       "The file “" + longName + "” couldn’t be opened because the file name is invalid."},
      {true, blocked + "/x", NSFileReadUnknownError, ENOTDIR, "The file “x” couldn’t be opened."},
      {false, path("missing/x"), NSFileNoSuchFileError, ENOENT, "The file “x” doesn’t exist."},
      {false, folder_ + "/.", NSFileWriteUnknownError, EISDIR, "The file “.” couldn’t be saved."},
  };
  for (const Row& row : rows) {
    for (const NSUInteger options : {NSUInteger{0}, NSUInteger{NSDataWritingAtomic}}) {
      SCOPED_TRACE(row.path);
      NSError error;
      if (row.reading) {
        EXPECT_TRUE(NSData::dataWithContentsOfFile_options_error(row.path, 0, &error) == nullptr);
        EXPECT_TRUE(NSData::dataWithContentsOfFile_options_error(row.path, 0, nullptr) == nullptr);
      } else {
        EXPECT_FALSE(B("x").writeToFile_options_error(row.path, options, &error));
        EXPECT_FALSE(B("x").writeToFile_options_error(row.path, options, nullptr));
      }
      EXPECT_EQ(error.domain(), NSCocoaErrorDomain);
      EXPECT_EQ(error.code(), row.code);
      EXPECT_EQ(error.localizedDescription(), row.description);
      EXPECT_EQ(error.userInfo().objectForKey(NSFilePathErrorKey).as<NSString>(), row.path);
      const NSError underlying = error.userInfo().objectForKey(NSUnderlyingErrorKey).as<NSError>();
      EXPECT_EQ(underlying.domain(), NSPOSIXErrorDomain);
      EXPECT_EQ(underlying.code(), row.underlying);
    }
  }
}

TEST_F(NSDataFileTest, PathsThatNoFileCanHave) {
  NSError error;
  for (const NSString& name : {NSString(), NSString(""), NSString("a\0b"sv), NSString(u"\xD800")}) {
    error = nullptr;
    EXPECT_TRUE(NSData::dataWithContentsOfFile_options_error(name, 0, &error) == nullptr);
    EXPECT_EQ(error.code(), NSFileReadInvalidFileNameError);
    error = nullptr;
    EXPECT_FALSE(B("x").writeToFile_options_error(name, 0, &error));
    EXPECT_EQ(error.code(), NSFileWriteInvalidFileNameError);
  }
}

TEST(NSDataTest, AnswersMessages) {
  const Class cls = objc_getClass("NSMutableData");
  EXPECT_EQ(class_getSuperclass(cls), objc_getClass("NSData"));
  const id made(adopt, class_createInstance(cls));
  ASSERT_TRUE(made.is<NSMutableData>());
  objc_msgSend(made, "appendData:", B("abc"));
  EXPECT_EQ(objc_msgSend<NSUInteger>(made, "length"), 3U);
  EXPECT_TRUE(objc_msgSend<bool>(made, "isEqualToData:", B("abc")));
  EXPECT_EQ(objc_msgSend<NSData>(made, "subdataWithRange:", NSRange{1, 1}).view(), "b");
  EXPECT_EQ(objc_msgSend<NSString>(made, "base64EncodedStringWithOptions:", 0), "YWJj");
  EXPECT_EQ(objc_msgSend<std::uint64_t>(made, "hash"), B("abc").hash());
  EXPECT_TRUE(id(adopt, class_createInstance(objc_getClass("NSData"))).is<NSData>());
}

}  // namespace
}  // namespace kvt
