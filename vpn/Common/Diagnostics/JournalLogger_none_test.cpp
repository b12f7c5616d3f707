// Built where the journal's library was missing. Runs in a private root.

#include <gtest/gtest.h>

#include "tests/support/DatagramReceiver.h"
#include "tests/support/ResultMatchers.h"
#include "vpn/Common/Diagnostics/HostLogger.h"
#include "vpn/Common/Diagnostics/JournalLogger.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

TEST(JournalLoggerNoneTest, HostWithAJournalGetsTheOtherLoggerWithoutTheLibrary) {
  test::Receiver journal(kJournalSocket);
  ASSERT_TRUE(journal.isBound());
  EXPECT_EQ(makeJournalLogger("tmtolmui"), nullptr);
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  ASSERT_NE(logger, nullptr);
  EXPECT_RESULT(logger->log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(journal.take(), std::nullopt);
}

}  // namespace
}  // namespace halvo
