#include "vpn/Common/Diagnostics/BackEnd.h"

#include <gtest/gtest.h>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

TEST(BackEndTest, SeverityBelow7IsTheSystemLevelWhateverTheLetter) {
  for (std::uint32_t severity = 0; severity < 7; ++severity) {
    for (const int level : {69, 87, 73, 84, 120, 0}) {
      EXPECT_EQ(systemLevel(severity, level), static_cast<int>(severity));
    }
  }
}

TEST(BackEndTest, LetterDecidesFromSeverity7Up) {
  for (const std::uint32_t severity : {7U, 8U, 0xffffffffU}) {
    EXPECT_EQ(systemLevel(severity, 69), 3);
    EXPECT_EQ(systemLevel(severity, 87), 4);
    EXPECT_EQ(systemLevel(severity, 73), 6);
    EXPECT_EQ(systemLevel(severity, 84), 6);
    EXPECT_EQ(systemLevel(severity, 0), 7);
    EXPECT_EQ(systemLevel(severity, 'e'), 7);
    EXPECT_EQ(systemLevel(severity, -1), 7);
  }
}

TEST(BackEndTest, EachLineFeedBecomesOneBlank) {
  EXPECT_EQ(onOneLine("a\nb\n\nc\n"), "a b  c ");
  EXPECT_EQ(onOneLine("tab\tand\rreturn stay"), "tab\tand\rreturn stay");
  EXPECT_EQ(onOneLine(""), "");
}

TEST(BackEndTest, SubsystemHasTheSuitesName) {
  EXPECT_STREQ(kLogSubsystem, "com.halvo.tessarmont.vpn");
}

}  // namespace
}  // namespace halvo
