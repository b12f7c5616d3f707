#include "vpn/Common/Utility/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::IsEmpty;
using ::testing::StartsWith;

TEST(TemporaryFolderTest, IsThisUsersAloneAndGoesWithItsObject) {
  const TempFolder parent;
  {
    TemporaryFolder folder;
    ASSERT_EQ(folder.make(parent.file(""), "mine-"), 0);
    EXPECT_THAT(folder.path(), StartsWith(parent.file("") + "/mine-"));
    struct stat status = {};
    ASSERT_EQ(stat(folder.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
    writeFile(folder.path() + "/deep/er/file", "x");
  }
  EXPECT_THAT(listFolder(parent.file("")), IsEmpty());
}

TEST(TemporaryFolderTest, IsLockedSoThatNobodyTidiesItUp) {
  const TempFolder parent;
  TemporaryFolder folder;
  ASSERT_EQ(folder.make(parent.file(""), "mine-"), 0);
  const int other = open(folder.path().c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(other, 0);
  EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
  close(other);
}

TEST(TemporaryFolderTest, ASignalThatEndsTheProgramTakesItAlong) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXFSZ}) {
    const TempFolder parent;
    const ForkedResult result = runForked([&] {
      TemporaryFolder folder;
      TemporaryFolder second;
      if (folder.make(parent.file(""), "one-") != 0 || second.make(parent.file(""), "two-") != 0) {
        return 1;
      }
      writeFile(folder.path() + "/file", "x");
      kill(getpid(), number);
      return 2;
    });
    EXPECT_EQ(result.signal, number) << result.exitStatus;
    EXPECT_THAT(listFolder(parent.file("")), IsEmpty()) << number;
  }
}

TEST(TemporaryFolderTest, ASignalThatIsIgnoredStaysSo) {
  const TempFolder parent;
  const ForkedResult result = runForked([&] {
    signal(SIGHUP, SIG_IGN);
    TemporaryFolder folder;
    if (folder.make(parent.file(""), "one-") != 0) {
      return 1;
    }
    kill(getpid(), SIGHUP);
    return exists(folder.path()) ? 7 : 2;
  });
  EXPECT_EQ(result.exitStatus, 7);
}

TEST(TemporaryFolderTest, AHandlerThatIsThereKeepsItsSignal) {
  const TempFolder parent;
  const ForkedResult result = runForked([&] {
    signal(SIGTERM, [](int) { _exit(9); });
    TemporaryFolder folder;
    if (folder.make(parent.file(""), "one-") == 0) {
      kill(getpid(), SIGTERM);
    }
    return 1;
  });
  EXPECT_EQ(result.exitStatus, 9);
}

TEST(TemporaryFolderTest, WhereNoneCanBeMadeTheSystemsReasonIsTold) {
  const TempFolder parent;
  TemporaryFolder folder;
  EXPECT_EQ(folder.make(parent.file("none"), "mine-"), ENOENT);
  EXPECT_EQ(folder.path(), "");
}

TEST(TemporaryFolderTest, MoreThanASignalCouldRemoveAreRefused) {
  const TempFolder parent;
  std::vector<std::unique_ptr<TemporaryFolder>> folders;
  int answer = 0;
  while (answer == 0 && folders.size() < 100) {
    folders.push_back(std::make_unique<TemporaryFolder>());
    answer = folders.back()->make(parent.file(""), "mine-");
  }
  EXPECT_EQ(answer, EMFILE);
  folders.clear();
  EXPECT_THAT(listFolder(parent.file("")), IsEmpty());
  TemporaryFolder again;
  EXPECT_EQ(again.make(parent.file(""), "mine-"), 0);
}

}  // namespace
}  // namespace halvo
