#include <KVTFoundation/Category/NSError/NSError+KVTExtension.h>
#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Values/NSArray.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSMutableString.h>
#include <KVTPlatform/Values/NSNull.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <gtest/gtest.h>

namespace kvt {
namespace {

const Class cls = classOf<NSError>();

/// What may be given as a text, and the text that it counts as.
const struct {
  id given;
  NSString text;
} texts[] = {
    {NSString("what happened"), "what happened"},
    {NSString("会议").mutableCopy(), "会议"},
    {NSString(" "), " "},
    {NSString(""), ""},
    {NSString("").mutableCopy(), ""},
    {nullptr, ""},
    {NSNumber(7), ""},
    {NSNull::null(), ""},
    {NSArray{"x"}, ""},
};

TEST(NSErrorKVTExtension, WithDomain) {
  for (const NSInteger code : {NSInteger{0}, NSInteger{-2}, NSInteger{INT64_MAX}, NSInteger{INT64_MIN}}) {
    for (const auto& row : texts) {
      SCOPED_TRACE(::testing::PrintToString(row.given));
      const NSDictionary details =
          row.text.length() > 0 ? NSDictionary{{NSLocalizedDescriptionKey, row.text}} : NSDictionary::dictionary();
      for (const NSError& error : {kvt_errorWithDomain_code_description("some.domain", code, row.given),
                                   objc_msgSend<NSError>(cls, "kvt_errorWithDomain:code:description:",
                                                         NSString("some.domain"), code, row.given)}) {
        EXPECT_EQ(error.domain(), "some.domain");
        EXPECT_EQ(error.code(), code);
        EXPECT_EQ(error.userInfo(), details);
      }
    }
  }
  const NSError contacts = kvt_errorWithDomain_code_description("com.vultexparley.localcontact.error", -2,
                                                                "has no local contact access permission!");
  EXPECT_EQ(contacts.localizedDescription(), "has no local contact access permission!");
  const NSError nameless = kvt_errorWithDomain_code_description(nullptr, 1, "x");
  ASSERT_TRUE(nameless);
  EXPECT_FALSE(nameless.domain());
}

TEST(NSErrorKVTExtension, WithCode) {
  for (const auto& row : texts) {
    for (const auto& reason : texts) {
      SCOPED_TRACE(::testing::PrintToString(row.given) + " because of " + ::testing::PrintToString(reason.given));
      const NSDictionary details = {{NSLocalizedDescriptionKey, row.text},
                                    {NSLocalizedFailureReasonErrorKey, reason.text}};
      for (const NSError& error :
           {kvt_errorWithCode_description_failureReason(-7, row.given, reason.given),
            objc_msgSend<NSError>(cls, "kvt_errorWithCode:description:failureReason:", -7, row.given, reason.given)}) {
        EXPECT_EQ(error.domain(), "com.vultex.brisko");
        EXPECT_EQ(error.code(), -7);
        EXPECT_EQ(error.userInfo(), details);
        EXPECT_EQ(error.localizedFailureReason(), reason.text);
      }
    }
    const NSDictionary withoutReason = {{"NSLocalizedDescription", row.text}, {"NSLocalizedFailureReason", ""}};
    for (const NSError& error : {kvt_errorWithCode_description(3, row.given),
                                 objc_msgSend<NSError>(cls, "kvt_errorWithCode:description:", 3, row.given)}) {
      EXPECT_EQ(error.domain(), "com.vultex.brisko");
      EXPECT_EQ(error.code(), 3);
      EXPECT_EQ(error.userInfo(), withoutReason);
    }
  }
}

TEST(NSErrorKVTExtension, TextIsCopied) {
  const NSMutableString text = NSString("before").mutableCopy();
  const NSError error = kvt_errorWithCode_description_failureReason(1, text, text);
  const NSError other = kvt_errorWithDomain_code_description("d", 1, text);
  text.setString("after");
  EXPECT_EQ(error.localizedDescription(), "before");
  EXPECT_EQ(error.localizedFailureReason(), "before");
  EXPECT_EQ(other.localizedDescription(), "before");
}

}  // namespace
}  // namespace kvt
