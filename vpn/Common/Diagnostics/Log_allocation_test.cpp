// The logging path must not allocate: this program counts what every operator new gives out.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

#include "vpn/Common/Diagnostics/Log.h"

namespace {

std::atomic<long> s_nAllocations{0};

void* countedAllocation(std::size_t size) {
  ++s_nAllocations;
  void* const memory = std::malloc(size != 0 ? size : 1);
  if (memory == nullptr) {
    std::abort();
  }
  return memory;
}

}  // namespace

void* operator new(std::size_t size) {
  return countedAllocation(size);
}
void* operator new[](std::size_t size) {
  return countedAllocation(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
  std::free(memory);
}

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
  const long before = s_nAllocations;
  const std::string text(100, 'x');
  EXPECT_GT(s_nAllocations, before) << text;
}

TEST_F(LogAllocationTest, LoggingAllocatesNothing) {
  const long before = s_nAllocations;
  for (int i = 0; i < 100; ++i) {
    LOG_MESSAGE(kLogError, "message %d of %s", i, "a text");
    LOG_MESSAGE(kLogError, "%3000d", i);
    LOG_RETURN_CODE(kLogError, "open", GLOBAL_ERROR_BAD_HANDLE);
    LOG_RETURN_CODE_DESCRIBED(kLogWarning, "open", 2, "no such file");
    LOG_RETURN_CODE_TEXT(kLogInformation, "open", 0, "text %d", i);
    logMessageId(7008, kLogError, "x");
    logMessageIdTrace(MID_UNKNOWN, "x");
  }
  const long after = s_nAllocations;
  EXPECT_EQ(after - before, 0);
  EXPECT_EQ(m_nMessages, 700);
}

TEST_F(LogAllocationTest, LookingUpARowAllocatesNothing) {
  const long before = s_nAllocations;
  const char* row = nullptr;
  for (ResultCode code = 0xfe000000; code < 0xfe000100; ++code) {
    row = findResultCodeRow(code);
  }
  const long after = s_nAllocations;
  EXPECT_EQ(after - before, 0);
  EXPECT_NE(row, nullptr);
}

}  // namespace
}  // namespace halvo
