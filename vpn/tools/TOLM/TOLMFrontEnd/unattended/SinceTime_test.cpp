#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/SinceTime.h"

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

constexpr std::time_t kNow = 1795266000;  // 2026-11-21 13:00:00 UTC

class SinceTimeTest : public ::testing::Test {
 protected:
  SinceTimeTest() { tzset(); }
  ~SinceTimeTest() override { unsetenv("TZ"); }

  static std::string read(const std::string& given) {
    std::string text;
    const std::string problem = readSinceTime(given, kNow, text);
    return problem.empty() ? text : "problem";
  }

  const test::ScopedEnv m_Zone{"TZ", "TST-2"};
};

TEST_F(SinceTimeTest, ASpanIsCountedBackFromNow) {
  EXPECT_EQ(read("2d"), "2026-11-19 15:00:00");
  EXPECT_EQ(read("12h"), "2026-11-21 03:00:00");
  EXPECT_EQ(read("30m"), "2026-11-21 14:30:00");
  EXPECT_EQ(read("1w"), "2026-11-14 15:00:00");
}

TEST_F(SinceTimeTest, ADateIsOfTheMachinesOwnTime) {
  EXPECT_EQ(read("2026-11-20"), "2026-11-20 00:00:00");
  EXPECT_EQ(read("2026-11-20 08:30"), "2026-11-20 08:30:00");
  EXPECT_EQ(read("2026-11-20T08:30:15"), "2026-11-20 08:30:15");
}

TEST_F(SinceTimeTest, ADateInUtcIsTurnedIntoTheMachinesOwnTime) {
  EXPECT_EQ(read("2026-11-20T08:30:15Z"), "2026-11-20 10:30:15");
}

TEST_F(SinceTimeTest, ATimeAheadOf1970OrBehindTheRunIsRefused) {
  for (const char* given : {"1969-12-31", "100000d", "2026-11-24", "9999-12-31"}) {
    EXPECT_EQ(read(given), "problem") << given;
  }
  EXPECT_EQ(read("1970-01-02"), "1970-01-02 00:00:00");
  EXPECT_EQ(read("2026-11-22"), "2026-11-22 00:00:00");
}

TEST_F(SinceTimeTest, AnythingElseIsRefused) {
  for (const char* given : {"", "yesterday", "2 days ago", "2x", "d", "-2d", "2d ", "2026-13-01",
                            "2026-02-30", "2026-11-20 25:00", "2026-11-20;rm", "9999999d"}) {
    EXPECT_EQ(read(given), "problem") << given;
  }
}

}  // namespace
}  // namespace halvo
