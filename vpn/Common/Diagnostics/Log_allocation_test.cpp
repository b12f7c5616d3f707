// The logging path must not allocate.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/AllocationCounter.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

class NullLogger : public ILogger {
 public:
  explicit NullLogger(int* messages) : m_pMessages(messages) {}
  ResultCode log(std::uint32_t /*severity*/, const char* /*message*/, const char* /*messageName*/,
                 std::uint32_t /*messageId*/, int /*level*/) override {
    ++*m_pMessages;
    return 0;
  }

 private:
  int* m_pMessages;
};

class LogAllocationTest : public ::testing::Test {
 protected:
  LogAllocationTest() {
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "test", new NullLogger(&m_nMessages));
  }
  ~LogAllocationTest() override {
    while (!releaseLogging()) {
    }
    ResultCode result = 0;
    acquireLogging(result, "tmtolmui", nullptr);
  }

  int m_nMessages = 0;
};

TEST_F(LogAllocationTest, CounterSeesAnAllocation) {
  const long before = test::allocationCount();
  const std::string text(100, 'x');
  EXPECT_GT(test::allocationCount(), before) << text;
}

TEST_F(LogAllocationTest, LoggingAllocatesNothing) {
  const long before = test::allocationCount();
  for (int i = 0; i < 100; ++i) {
    LOG_MESSAGE(kLogError, "message %d of %s", i, "a text");
    LOG_MESSAGE(kLogError, "%3000d", i);
    LOG_RETURN_CODE(kLogError, "open", GLOBAL_ERROR_BAD_HANDLE);
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "open", 2, "no such file");
    LOG_RETURN_CODE_TEXT(kLogInformation, "open", 0, "text %d", i);
    logMessageId(7008, kLogError, "x");
    logMessageIdTrace(MID_UNKNOWN, "x");
  }
  const long after = test::allocationCount();
  EXPECT_EQ(after - before, 0);
  EXPECT_EQ(m_nMessages, 700);
}

TEST_F(LogAllocationTest, LookingUpARowAllocatesNothing) {
  const long before = test::allocationCount();
  const char* row = nullptr;
  for (ResultCode code = 0xfe000000; code < 0xfe000100; ++code) {
    row = findResultCodeRow(code);
  }
  const long after = test::allocationCount();
  EXPECT_EQ(after - before, 0);
  EXPECT_NE(row, nullptr);
}

}  // namespace
}  // namespace halvo
