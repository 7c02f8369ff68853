#include <KVTFoundation/KVTFoundationVersion.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

const std::string kVersionText = reinterpret_cast<const char*>(KVTFoundationVersionString);

TEST(Version, StringIsWhatToolsLookFor) {
  EXPECT_EQ(kVersionText, "@(#)PROGRAM:KVTFoundation  PROJECT:KVTFoundation-" KVT_PROJECT_VERSION "\n");
}

TEST(Version, NumberIsMajorAndMinorOfTheString) {
  const std::string version = kVersionText.substr(kVersionText.rfind('-') + 1);
  const std::string majorAndMinor = version.substr(0, version.find('.', version.find('.') + 1));
  EXPECT_EQ(KVTFoundationVersionNumber, std::strtod(majorAndMinor.c_str(), nullptr));
}

// Whoever loads the library by name finds both under their plain names.
TEST(Version, SymbolsHaveCLinkageAndAreExported) {
  void* library = dlopen("libKVTFoundation.so." KVT_PROJECT_SOVERSION, RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto* text = static_cast<const char*>(dlsym(library, "KVTFoundationVersionString"));
  const auto* number = static_cast<const double*>(dlsym(library, "KVTFoundationVersionNumber"));
  ASSERT_NE(text, nullptr);
  ASSERT_NE(number, nullptr);
  EXPECT_EQ(text, kVersionText);
  EXPECT_EQ(*number, KVTFoundationVersionNumber);
  dlclose(library);
}

}  // namespace
