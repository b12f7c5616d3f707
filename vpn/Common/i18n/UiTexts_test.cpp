#include "vpn/Common/i18n/UiTexts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace halvo {
namespace {

TEST(UiTextsTest, TextsAreThoseThatTheTranslationsAreKeyedBy) {
  const std::vector<std::string> expected = {
      "Halvo TOLM",
      "Run",
      "Cancel",
      "Finish",
      "Welcome to the Halvo Fieldcase (TOLM).",
      "TOLM is a tool that helps to bundle the appropriate log files and diagnostic information that can be "
      "used for analyzing and debugging the Tessarmont client connections.",
      "Enable Bundle Encryption",
      "Encryption Password",
      "Mask Password",
      "The bundle was created successfully on your Desktop.",
      "The bundle cannot be saved in the location \"%s\".  Please specify another location and try again.",
      "An internal error occurred while creating the TOLM bundle.  Please try again later.",
      "An unknown error occurred while creating the TOLM bundle, possibly due to restricted file "
      "permissions.  Please try again later.",
      "About TOLM",
      "Hide TOLM",
      "Hide Others",
      "Show All",
      "Quit TOLM"};
  EXPECT_EQ(uiTexts(), expected);
}

TEST(UiTextsTest, AidsHaveTheirTextsBehindThoseOfTheFlow) {
  EXPECT_EQ(uiAidTexts(),
            (std::vector<std::string>{
                "Show in Folder", "Without a password the bundle is not encrypted.",
                "The bundle is saved in the folder \"%s\", which is missing or cannot be written to.",
                "Files that are cut short or missing in the bundle: %s. The system log names them."}));
}

TEST(UiTextsTest, NoTwoTextsAreTheSame) {
  std::vector<std::string> texts = uiTexts();
  texts.insert(texts.end(), uiAidTexts().begin(), uiAidTexts().end());
  std::sort(texts.begin(), texts.end());
  EXPECT_EQ(std::adjacent_find(texts.begin(), texts.end()), texts.end());
}

}  // namespace
}  // namespace halvo
