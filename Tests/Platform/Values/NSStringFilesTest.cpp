#include <KVTPlatform/Values/NSData.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include "Raised.h"

namespace kvt {
namespace {

class NSStringFilesTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(::mkdtemp(folder_), nullptr); }
  void TearDown() override {
    ::unlink(path().UTF8String());
    ::rmdir(folder_);
  }
  NSString path() const { return NSString(folder_) + "/文.txt"; }

 private:
  char folder_[32] = "/tmp/kvt-text-XXXXXX";
};

TEST_F(NSStringFilesTest, WritesAndReads) {
  for (const bool atomically : {true, false}) {
    for (const auto encoding : {NSUTF8StringEncoding, NSUnicodeStringEncoding, NSGB18030StringEncoding}) {
      const NSString text = "会议\n\u00E9";
      NSError error;
      EXPECT_TRUE(text.writeToFile_atomically_encoding_error(path(), atomically, encoding, &error));
      EXPECT_FALSE(error);
      EXPECT_EQ(NSData::dataWithContentsOfFile(path()), text.dataUsingEncoding(encoding));
      EXPECT_EQ(NSString::stringWithContentsOfFile_encoding_error(path(), encoding, &error), text);
      EXPECT_FALSE(error);
    }
  }
}

TEST_F(NSStringFilesTest, TellsWhyNot) {
  NSError error;
  EXPECT_FALSE(NSString::stringWithContentsOfFile_encoding_error(path(), NSUTF8StringEncoding, &error));
  EXPECT_EQ(error.domain(), "NSCocoaErrorDomain");
  EXPECT_EQ(error.code(), NSFileReadNoSuchFileError);
  EXPECT_FALSE(NSString::stringWithContentsOfFile_encoding_error(path(), NSUTF8StringEncoding, nullptr));

  error = nullptr;
  EXPECT_FALSE(NSString("会").writeToFile_atomically_encoding_error(path(), true, NSASCIIStringEncoding, &error));
  EXPECT_EQ(error.code(), NSFileWriteInapplicableStringEncodingError);
  EXPECT_NE(::access(path().UTF8String(), F_OK), 0);

  EXPECT_TRUE(
      NSString("\u00E9").writeToFile_atomically_encoding_error(path(), true, NSISOLatin1StringEncoding, nullptr));
  error = nullptr;
  EXPECT_FALSE(NSString::stringWithContentsOfFile_encoding_error(path(), NSUTF8StringEncoding, &error));
  EXPECT_EQ(error.code(), NSFileReadInapplicableStringEncodingError);

  error = nullptr;
  EXPECT_FALSE(
      NSString("x").writeToFile_atomically_encoding_error(path() + "/below", true, NSUTF8StringEncoding, &error));
  EXPECT_TRUE(error);
  EXPECT_FALSE(NSString().writeToFile_atomically_encoding_error(path(), true, NSUTF8StringEncoding, nullptr));
  EXPECT_EQ(raisedName([] {
              return NSString::stringWithContentsOfFile_encoding_error(nullptr, NSUTF8StringEncoding, nullptr);
            }),
            "NSInvalidArgumentException");
}

}  // namespace
}  // namespace kvt
