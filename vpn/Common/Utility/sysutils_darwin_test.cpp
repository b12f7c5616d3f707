#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <set>

#include "tests/macos/platform/Control.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {
namespace {

namespace platform = test::platform;

TEST(SysutilsDarwinTest, ListHoldsTheOwnProcessWithItsUserAndName) {
  platform::reset();
  BSDProcess* list = nullptr;
  std::size_t count = 0;
  ASSERT_EQ(GetBSDProcessList(&list, &count), 0);
  ASSERT_NE(list, nullptr);
  bool found = false;
  for (std::size_t i = 0; i < count; ++i) {
    if (list[i].pid == getpid()) {
      found = true;
      EXPECT_EQ(list[i].realUserId, getuid());
      // The kernel here keeps 15 characters of it.
      EXPECT_STREQ(list[i].command, std::string(program_invocation_short_name).substr(0, 15).c_str());
    }
  }
  EXPECT_TRUE(found);
  std::free(list);
}

TEST(SysutilsDarwinTest, ListThatCannotBeHadIsAnErrorWithoutAList) {
  platform::reset();
  BSDProcess* list = nullptr;
  std::size_t count = 7;
  platform::failNext("sysctl");
  EXPECT_EQ(GetBSDProcessList(&list, &count), EPERM);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(count, 0U);
}

TEST(SysutilsDarwinTest, TableThatHasGrownSinceItsSizeWasAskedForIsToldSo) {
  platform::reset();
  // Never fewer than this process and its parent.
  BSDProcess one;
  std::size_t bytes = sizeof(one);
  EXPECT_EQ(hostProcessTable().read(&one, bytes), ENOMEM);
}

TEST(SysutilsDarwinTest, ListIsReadAgainWhereTheTableHasGrown) {
  platform::reset();
  BSDProcess* list = nullptr;
  std::size_t count = 0;
  platform::failNext("room of sysctl");
  EXPECT_EQ(GetBSDProcessList(&list, &count), 0);
  EXPECT_FALSE(platform::fails("room of sysctl"));
  EXPECT_GT(count, 1U);
  std::free(list);
}

TEST(SysutilsDarwinTest, OneProcessIsReadByItsId) {
  platform::reset();
  BSDProcess process;
  ASSERT_EQ(readProcess(getpid(), process), 0);
  EXPECT_EQ(process.pid, getpid());
  EXPECT_TRUE(process.state == 2 || process.state == 3) << process.state;
}

TEST(SysutilsDarwinTest, ProcessThatIsNoMoreIsNoSuchProcess) {
  platform::reset();
  const pid_t child = fork();
  if (child == 0) {
    _exit(0);
  }
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  BSDProcess process;
  EXPECT_EQ(readProcess(child, process), ESRCH);
}

}  // namespace
}  // namespace halvo
