#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/macos/platform/Control.h"
#include "vpn/Common/Diagnostics/HostLogger.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

namespace platform = test::platform;
using Calls = std::vector<std::string>;

// What a logger of the host calls for one message of level E, and at its beginning and end.
Calls callsFor(const char* message) {
  {
    const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
    EXPECT_EQ(logger->log(7, message, "MID_DEBUG_MESSAGE", MID_DEBUG_MESSAGE, kLogError), 0U);
  }
  return platform::logCalls();
}

TEST(HostLoggerDarwinTest, Version10_12TakesTheUnifiedLog) {
  platform::reset();
  platform::setVersion(10, 12, 0);
  EXPECT_EQ(callsFor("two\nlines"), (Calls{"os_log_create com.halvo.tessarmont.vpn tmtolmui",
                                           "os_log log 16 %{public}s two lines", "os_release"}));
}

TEST(HostLoggerDarwinTest, Version10_11TakesTheOlderLog) {
  platform::reset();
  platform::setVersion(10, 11, 6);
  EXPECT_EQ(callsFor("two\nlines"), (Calls{"asl_open tmtolmui com.halvo.tessarmont.vpn 0",
                                           "asl_log client 3 %s two lines", "asl_close"}));
}

TEST(HostLoggerDarwinTest, UnifiedLogThatCannotBeMadeGivesWayToTheDefaultOneWhichIsNotReleased) {
  platform::reset();
  platform::failNext("_os_log_create");
  const Calls calls = callsFor("text");
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[1].find("os_log default 17 "), 0U) << calls[1];
  EXPECT_NE(calls[1].find("Tessarmont failed to create custom log object."), std::string::npos) << calls[1];
  EXPECT_EQ(calls[2], "os_log default 16 %{public}s text");
}

TEST(HostLoggerDarwinTest, OlderLogThatCannotBeOpenedGivesWayToTheDefaultClientWhichIsNotClosed) {
  platform::reset();
  platform::setVersion(10, 9, 0);
  platform::failNext("asl_open");
  const Calls calls = callsFor("text");
  ASSERT_EQ(calls.size(), 3U);
  EXPECT_EQ(calls[1].find("asl_log default 3 "), 0U) << calls[1];
  EXPECT_EQ(calls[2], "asl_log default 3 %s text");
}

}  // namespace
}  // namespace halvo
