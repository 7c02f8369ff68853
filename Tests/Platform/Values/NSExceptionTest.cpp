#include <KVTPlatform/Runtime/Message.h>
#include <KVTPlatform/Runtime/Raise.h>
#include <KVTPlatform/Values/NSDictionary.h>
#include <KVTPlatform/Values/NSException.h>
#include <KVTPlatform/Values/NSNumber.h>
#include <KVTPlatform/Values/NSString.h>
#include <gtest/gtest.h>

#include <type_traits>

#include "Raised.h"

namespace kvt {
namespace {

static_assert(std::is_nothrow_copy_constructible_v<NSException>);
static_assert(std::is_base_of_v<std::exception, NSException>);

// Raised while static objects are made: the handler and the names are there already.
const std::string earlyException = raised([]() -> int { objc_raise("NSRangeException", "early"); });
const bool earlyName = NSRangeException == "NSRangeException";

TEST(NSExceptionTest, IsThereBeforeOtherStatics) {
  EXPECT_EQ(earlyException, "NSRangeException: early");
  EXPECT_TRUE(earlyName);
}

TEST(NSExceptionTest, TheRunTimeThrowsIt) {
  try {
    objc_raise("NSInvalidArgumentException", "-[X y]: bad “z”");
    FAIL() << "objc_raise returned";
  } catch (const NSException& exception) {
    EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    EXPECT_EQ(exception.reason(), "-[X y]: bad “z”");
    EXPECT_TRUE(exception.userInfo() == nullptr);
    EXPECT_STREQ(exception.what(), "NSInvalidArgumentException: -[X y]: bad “z”");
  }
  try {
    objc_msgSend(NSNumber(1), "fly");
    FAIL() << "a number flew";
  } catch (const std::exception& exception) {
    EXPECT_NE(std::string(exception.what()).find("NSInvalidArgumentException: "), std::string::npos);
    EXPECT_NE(std::string(exception.what()).find("fly"), std::string::npos);
  }
}

TEST(NSExceptionTest, KeepsWhatItWasGiven) {
  const NSDictionary details{{"a", 1}};
  const NSException exception = NSException::exceptionWithName_reason_userInfo("Name", "reason", details);
  EXPECT_EQ(exception.name(), "Name");
  EXPECT_EQ(exception.reason(), "reason");
  EXPECT_TRUE(exception.userInfo() == details);
  const NSException copy = exception;
  EXPECT_STREQ(copy.what(), "Name: reason");
  EXPECT_TRUE(isIdentical(copy.reason(), exception.reason()));
}

TEST(NSExceptionTest, NilParts) {
  const NSException exception(nullptr, nullptr);
  EXPECT_EQ(exception.name(), NSGenericException);
  EXPECT_TRUE(exception.reason() == nullptr);
  EXPECT_STREQ(exception.what(), "NSGenericException");
}

TEST(NSExceptionTest, Raises) {
  const NSException exception("Name", "reason");
  EXPECT_EQ(raised([&]() -> int { exception.raise(); }), "Name: reason");
  EXPECT_EQ(raised([]() -> int { NSException::raise_format("Name", "%@ has %d of %s", NSString("he"), 3, "5"); }),
            "Name: he has 3 of 5");
  EXPECT_EQ(raised([]() -> int { NSException::raise_format(NSRangeException, "plain"); }), "NSRangeException: plain");
}

TEST(NSExceptionTest, AMovedFromExceptionCanStillBeRead) {
  NSException exception("Name", "reason");
  const NSException taken = std::move(exception);
  EXPECT_STREQ(taken.what(), "Name: reason");
  EXPECT_STREQ(exception.what(), "Name: reason");
}

TEST(NSExceptionTest, Names) {
  const std::pair<NSString, const char*> rows[] = {
      {NSGenericException, "NSGenericException"},
      {NSRangeException, "NSRangeException"},
      {NSInvalidArgumentException, "NSInvalidArgumentException"},
      {NSInternalInconsistencyException, "NSInternalInconsistencyException"},
      {NSMallocException, "NSMallocException"},
      {NSObjectNotAvailableException, "NSObjectNotAvailableException"},
      {NSUnknownKeyException, "NSUnknownKeyException"},
      {NSDecimalNumberExactnessException, "NSDecimalNumberExactnessException"},
      {NSDecimalNumberOverflowException, "NSDecimalNumberOverflowException"},
      {NSDecimalNumberUnderflowException, "NSDecimalNumberUnderflowException"},
      {NSDecimalNumberDivideByZeroException, "NSDecimalNumberDivideByZeroException"},
  };
  for (const auto& [name, text] : rows) EXPECT_EQ(name, text);
}

}  // namespace
}  // namespace kvt
