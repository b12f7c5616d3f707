// What the application's folder says of it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/macos/platform/Control.h"
#include "tests/support/Files.h"
#include "tests/support/ResultMatchers.h"
#include "vpn/Common/Utility/CoreFoundationUtils_darwin.h"

namespace halvo {
namespace {

// The languages that macOS knows under another name than the language files have.
const std::map<std::string, std::string> kNames = {
    {"pt-br", "pt-BR"}, {"zh-cn", "zh-Hans"}, {"zh-tw", "zh-Hant"}};

// The system tells an application no language that it doesn't name: its menus and its locale would stay
// English.
TEST(ApplicationFolderTest, ApplicationNamesEveryLanguageThatItHasTextsIn) {
  test::platform::reset();
  CFDictionaryRef made = nullptr;
  ASSERT_RESULT(
      ParseFileToDict(std::string(TOLM_TEST_BUILD_DIR) + "/bin/TOLM.app/Resources/Info-gnustep.plist", made),
      0);
  const Held<CFDictionaryRef> info(made);
  const Held<CFStringRef> key(
      CFStringCreateWithCString(nullptr, "CFBundleLocalizations", kCFStringEncodingUTF8));
  const auto list = static_cast<CFArrayRef>(CFDictionaryGetValue(info.get(), key.get()));
  ASSERT_NE(list, nullptr);
  std::vector<std::string> named;
  for (CFIndex i = 0; i < CFArrayGetCount(list); ++i) {
    std::string name;
    EXPECT_RESULT(CFStringToSTDString(static_cast<CFStringRef>(CFArrayGetValueAtIndex(list, i)), name), 0);
    named.push_back(name);
  }

  std::vector<std::string> expected = {"en"};
  for (const std::string& file : test::listFolder(std::string(TOLM_TEST_SOURCE_DIR) + "/l10n")) {
    if (file.size() > 3 && file.substr(file.size() - 3) == ".po") {
      const std::string language = file.substr(0, file.size() - 3);
      const auto other = kNames.find(language);
      expected.push_back(other == kNames.end() ? language : other->second);
    }
  }
  EXPECT_EQ(expected.size(), 12U);
  EXPECT_THAT(named, ::testing::UnorderedElementsAreArray(expected));
}

}  // namespace
}  // namespace halvo
