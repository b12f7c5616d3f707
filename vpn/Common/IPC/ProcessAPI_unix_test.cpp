#include "vpn/Common/IPC/ProcessAPI_unix.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "tests/support/ChildProgram.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/ResultMatchers.h"

namespace halvo {
namespace {

using test::childProgram;
using test::ForkedResult;
using test::runForked;

class ProcessApiTest : public testing::Test {
 protected:
  // Launches childProgram with one argument and gives its id back.
  std::int32_t launch(const std::string& modes) {
    LaunchInfo info;
    EXPECT_RESULT(m_api.Launch(info, childProgram().c_str(), modes.c_str(), nullptr), 0);
    EXPECT_GT(info.processId, 0);
    return info.processId;
  }

  CProcessApi m_api;
};

TEST_F(ProcessApiTest, ExitStatusOfTheChildIsTheExitCodeOfTheWait) {
  int exitCode = -7;
  EXPECT_RESULT(m_api.WaitForProcess(launch("exit=42"), exitCode, nullptr, 0, CProcessApi::kWaitForever), 0);
  EXPECT_EQ(exitCode, 42);
}

TEST_F(ProcessApiTest, MissingProgramLaunchesAndExitsWith238) {
  const ForkedResult result = runForked([] {
    CProcessApi api;
    LaunchInfo info;
    if (api.Launch(info, "/nowhere/at/all", nullptr) != 0 || info.processId <= 0) {
      return 1;
    }
    int exitCode = 0;
    return api.WaitForProcess(info.processId, exitCode, nullptr, 0, 30000) == 0 ? exitCode : 2;
  });
  EXPECT_EQ(result.exitStatus, 238) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "execvp", ENOENT)) << result.dump();
}

TEST_F(ProcessApiTest, ChildEndedBySegmentationFaultCountsAsTimeoutWithExitCodeOne) {
  int exitCode = 0;
  EXPECT_RESULT(
      m_api.WaitForProcess(launch("signal=" + std::to_string(SIGSEGV)), exitCode, nullptr, 0, 30000),
      PROCESS_API_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(exitCode, 1);
}

TEST_F(ProcessApiTest, LookAtProcessZeroSaysNotRunningAndReapsNoOtherChild) {
  EXPECT_RESULT(m_api.checkProcess(0), PROCESS_API_ERROR_NOTRUNNING);
  const std::int32_t child = launch("exit=5");
  siginfo_t ended = {};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
  EXPECT_RESULT(m_api.checkProcess(0), PROCESS_API_ERROR_NOTRUNNING);
  int exitCode = 0;
  EXPECT_RESULT(m_api.WaitForProcess(child, exitCode, nullptr, 0, CProcessApi::kWaitForever), 0);
  EXPECT_EQ(exitCode, 5);
}

}  // namespace
}  // namespace halvo
