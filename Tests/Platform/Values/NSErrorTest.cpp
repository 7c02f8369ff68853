#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSError.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <cerrno>

namespace kvt {
namespace {

NSError E(const NSString& domain, NSInteger code, const NSDictionary& userInfo = nullptr) {
  return NSError::errorWithDomain_code_userInfo(domain, code, userInfo);
}

// Constants are there before any other static object is made.
const std::string earlyDomain = NSCocoaErrorDomain.str();

TEST(NSErrorTest, NilAnswersNothing) {
  const NSError nil;
  EXPECT_TRUE(nil.domain() == nullptr);
  EXPECT_EQ(nil.code(), 0);
  EXPECT_TRUE(nil.userInfo() == nullptr);
  EXPECT_TRUE(nil.localizedDescription() == nullptr);
  EXPECT_TRUE(nil.localizedFailureReason() == nullptr);
  EXPECT_TRUE(nil.localizedRecoverySuggestion() == nullptr);
  EXPECT_TRUE(nil.description() == nullptr);
  EXPECT_EQ(nil.hash(), 0U);
}

TEST(NSErrorTest, KeepsWhatItWasGiven) {
  const NSError error = E("com.example", -5, NSDictionary{{"msg", "x"}});
  EXPECT_EQ(error.domain(), "com.example");
  EXPECT_EQ(error.code(), -5);
  EXPECT_EQ(error.userInfo().count(), 1U);
  EXPECT_EQ(error.userInfo().objectForKey("msg").as<NSString>(), "x");
}

TEST(NSErrorTest, WithoutDetailsTheyAreEmpty) {
  const NSError error = E("com.example", 1);
  EXPECT_TRUE(error.userInfo());
  EXPECT_EQ(error.userInfo().count(), 0U);
}

TEST(NSErrorTest, LaterChangesOfTheDetailsDoNotReachIt) {
  NSMutableDictionary details = NSMutableDictionary::dictionary();
  details.setObject_forKey("before", NSLocalizedDescriptionKey);
  const NSError error = E("com.example", 1, details);
  details.setObject_forKey("after", NSLocalizedDescriptionKey);
  EXPECT_EQ(error.localizedDescription(), "before");
  EXPECT_FALSE(id(error.userInfo()).is<NSMutableDictionary>());
}

TEST(NSErrorTest, Texts) {
  struct Row {
    NSError error;
    const char* description;
    const char* reason;
  };
  const NSNumber number(1);
  const Row rows[] = {
      {E("com.example", 7), "The operation couldn’t be completed. (com.example error 7.)", nullptr},
      {E("com.example", -7), "The operation couldn’t be completed. (com.example error -7.)", nullptr},
      {E(nullptr, 7), "The operation couldn’t be completed. ((null) error 7.)", nullptr},
      {E("com.example", 7, NSDictionary{{NSLocalizedDescriptionKey, "Gone."}}), "Gone.", nullptr},
      {E("com.example", 7, NSDictionary{{NSLocalizedDescriptionKey, ""}}), "", nullptr},
      {E("com.example", 7, NSDictionary{{NSLocalizedDescriptionKey, number}}),
       "The operation couldn’t be completed. (com.example error 7.)", nullptr},
      {E("com.example", 7, NSDictionary{{NSLocalizedFailureReasonErrorKey, "Why."}}),
       "The operation couldn’t be completed. Why.", "Why."},
      {E("com.example", 7,
         NSDictionary{{NSLocalizedDescriptionKey, "Gone."}, {NSLocalizedFailureReasonErrorKey, "Why."}}),
       "Gone.", "Why."},
      {E(NSPOSIXErrorDomain, ENOENT), "The operation couldn’t be completed. No such file or directory",
       "No such file or directory"},
      {E(NSPOSIXErrorDomain, 123456), "The operation couldn’t be completed. (NSPOSIXErrorDomain error 123456.)",
       nullptr},
      {E(NSPOSIXErrorDomain, -1), "The operation couldn’t be completed. (NSPOSIXErrorDomain error -1.)", nullptr},
      {E(NSCocoaErrorDomain, NSFileReadNoSuchFileError), "The file couldn’t be opened because there is no such file.",
       "The file doesn’t exist."},
      {E(NSCocoaErrorDomain, NSFileReadNoSuchFileError, NSDictionary{{NSFilePathErrorKey, "/var/a b.txt"}}),
       "The file “a b.txt” couldn’t be opened because there is no such file.", "The file doesn’t exist."},
      {E(NSCocoaErrorDomain, NSFileWriteNoPermissionError, NSDictionary{{NSFilePathErrorKey, "/etc/x/"}}),
       "You don’t have permission to save the file “x”.", "You don’t have permission."},
      {E(NSCocoaErrorDomain, NSFileReadUnknownError, NSDictionary{{NSFilePathErrorKey, "/"}}),
       "The file “/” couldn’t be opened.", nullptr},
      {E(NSCocoaErrorDomain, NSPropertyListReadCorruptError),
       "The data couldn’t be read because it isn’t in the correct format.", "The data isn’t in the correct format."},
      {E(NSCocoaErrorDomain, 999999), "The operation couldn’t be completed. (NSCocoaErrorDomain error 999999.)",
       nullptr},
  };
  int index = 0;
  for (const Row& row : rows) {
    SCOPED_TRACE(index++);
    EXPECT_EQ(row.error.localizedDescription(), row.description);
    EXPECT_TRUE(row.error.localizedFailureReason() == NSString(row.reason)) << row.error.localizedFailureReason();
  }
  EXPECT_EQ(E("x", 1, NSDictionary{{NSLocalizedRecoverySuggestionErrorKey, "Retry."}}).localizedRecoverySuggestion(),
            "Retry.");
  EXPECT_TRUE(E("x", 1).localizedRecoverySuggestion() == nullptr);
}

TEST(NSErrorTest, Descriptions) {
  const NSError posix = E(NSPOSIXErrorDomain, ENOENT);
  const std::pair<NSError, const char*> rows[] = {
      {E("com.example", 7), "Error Domain=com.example Code=7 \"(null)\""},
      {E(nullptr, 7), "Error Domain=(null) Code=7 \"(null)\""},
      {E("com.example", 7, NSDictionary{{NSLocalizedDescriptionKey, "Gone."}}),
       "Error Domain=com.example Code=7 \"Gone.\" UserInfo={NSLocalizedDescription=Gone.}"},
      {E("com.example", 7, NSDictionary{{"a", 1}, {"b", "x"}}),
       "Error Domain=com.example Code=7 \"(null)\" UserInfo={a=1, b=x}"},
      {posix, "Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or directory\""},
      {E(NSCocoaErrorDomain, 260, NSDictionary{{NSFilePathErrorKey, "/a"}, {NSUnderlyingErrorKey, posix}}),
       "Error Domain=NSCocoaErrorDomain Code=260 \"The file “a” couldn’t be opened because there is no such file.\" "
       "UserInfo={NSFilePath=/a, NSUnderlyingError={Error Domain=NSPOSIXErrorDomain Code=2 \"No such file or "
       "directory\"}}"},
  };
  for (const auto& [error, text] : rows) EXPECT_EQ(error.description(), text);
}

TEST(NSErrorTest, Equality) {
  const NSError error = E("com.example", 7, NSDictionary{{"a", 1}});
  EXPECT_TRUE(error == E("com.example", 7, NSDictionary{{"a", 1.0}}));
  EXPECT_EQ(error.hash(), E("com.example", 7, NSDictionary{{"a", 1}}).hash());
  EXPECT_FALSE(error == E("com.example", 8, NSDictionary{{"a", 1}}));
  EXPECT_FALSE(error == E("com.other", 7, NSDictionary{{"a", 1}}));
  EXPECT_FALSE(error == E("com.example", 7));
  EXPECT_TRUE(E("com.example", 7) == E("com.example", 7, NSDictionary::dictionary()));
  EXPECT_TRUE(E(nullptr, 7) == E(nullptr, 7));
  EXPECT_FALSE(error.isEqual(NSString("com.example")));
  EXPECT_FALSE(error.isEqual(nullptr));
  EXPECT_TRUE(isIdentical(error.copy(), error));
}

TEST(NSErrorTest, Constants) {
  EXPECT_EQ(earlyDomain, "NSCocoaErrorDomain");
  EXPECT_EQ(NSLocalizedDescriptionKey, "NSLocalizedDescription");
  EXPECT_EQ(NSLocalizedFailureReasonErrorKey, "NSLocalizedFailureReason");
  EXPECT_EQ(NSLocalizedRecoverySuggestionErrorKey, "NSLocalizedRecoverySuggestion");
  EXPECT_EQ(NSUnderlyingErrorKey, "NSUnderlyingError");
  EXPECT_EQ(NSFilePathErrorKey, "NSFilePath");
  EXPECT_EQ(NSURLErrorKey, "NSURL");
  EXPECT_EQ(NSDebugDescriptionErrorKey, "NSDebugDescription");
  EXPECT_EQ(NSPOSIXErrorDomain, "NSPOSIXErrorDomain");
}

TEST(NSErrorTest, AnswersMessages) {
  const NSError error =
      objc_msgSend<NSError>(objc_getClass("NSError"), "errorWithDomain:code:userInfo:", NSString("d"), 3, nullptr);
  EXPECT_EQ(objc_msgSend<NSInteger>(error, "code"), 3);
  EXPECT_EQ(objc_msgSend<NSString>(error, "domain"), "d");
  EXPECT_EQ(objc_msgSend<NSDictionary>(error, "userInfo").count(), 0U);
  EXPECT_TRUE(objc_msgSend<bool>(error, "isEqual:", E("d", 3)));
  EXPECT_EQ(objc_msgSend<std::uint64_t>(error, "hash"), error.hash());
}

}  // namespace
}  // namespace kvt
