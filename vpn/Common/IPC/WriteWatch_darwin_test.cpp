#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

#include "tests/macos/platform/Control.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/IPC/WriteWatch.h"

namespace halvo {
namespace {

namespace platform = test::platform;

class WriteWatchDarwinTest : public ::testing::Test {
 protected:
  WriteWatchDarwinTest() {
    platform::reset();
    m_nFile = open((m_Folder.path() + "/file").c_str(), O_RDWR | O_CREAT, 0600);
    m_nWatch = openWriteWatch();
  }
  ~WriteWatchDarwinTest() override {
    close(m_nFile);
    closeWriteWatch(m_nWatch);
    close(m_nWatch);
  }

  test::TempFolder m_Folder;
  int m_nFile = -1;
  int m_nWatch = -1;
};

TEST_F(WriteWatchDarwinTest, WriteToTheFileIsHeardOfOnceForEachRegistration) {
  ASSERT_EQ(registerWriteWatch(m_nWatch, m_nFile), 0);
  ASSERT_EQ(write(m_nFile, "x", 1), 1);
  EXPECT_EQ(awaitWrite(m_nWatch, m_nFile), 1);
  ASSERT_EQ(write(m_nFile, "x", 1), 1);
  EXPECT_EQ(awaitWrite(m_nWatch, m_nFile), 0);
}

TEST_F(WriteWatchDarwinTest, WaitEndsAfterASecondWithoutAWrite) {
  ASSERT_EQ(registerWriteWatch(m_nWatch, m_nFile), 0);
  EXPECT_EQ(awaitWrite(m_nWatch, m_nFile), 0);
}

TEST_F(WriteWatchDarwinTest, WriteToAnotherFileIsNone) {
  const int other = open((m_Folder.path() + "/other").c_str(), O_RDWR | O_CREAT, 0600);
  ASSERT_EQ(registerWriteWatch(m_nWatch, other), 0);
  ASSERT_EQ(write(other, "x", 1), 1);
  EXPECT_EQ(awaitWrite(m_nWatch, m_nFile), 0);
  close(other);
}

void noteSignal(int /*signal*/) {}

TEST_F(WriteWatchDarwinTest, SignalEndsTheWaitWithItsErrno) {
  ASSERT_EQ(registerWriteWatch(m_nWatch, m_nFile), 0);
  struct sigaction action = {};
  action.sa_handler = &noteSignal;
  ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
  // Again and again: the first may come ahead of the wait.
  const itimerval often = {{0, 20'000}, {0, 20'000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
  errno = 0;
  EXPECT_EQ(awaitWrite(m_nWatch, m_nFile), -1);
  EXPECT_EQ(errno, EINTR);
  const itimerval never = {};
  setitimer(ITIMER_REAL, &never, nullptr);
}

TEST_F(WriteWatchDarwinTest, FailuresLeaveErrno) {
  platform::failNext("kevent");
  EXPECT_EQ(registerWriteWatch(m_nWatch, m_nFile), -1);
  EXPECT_EQ(errno, ENOTSUP);
  platform::failNext("kqueue");
  EXPECT_EQ(openWriteWatch(), -1);
}

}  // namespace
}  // namespace halvo
