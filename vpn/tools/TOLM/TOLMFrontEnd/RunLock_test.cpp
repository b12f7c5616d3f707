#include "vpn/tools/TOLM/TOLMFrontEnd/RunLock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <thread>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::exists;
using test::readFile;
using test::ScopedEnv;
using test::TempFolder;

class RunLockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mkdir(m_Folder.file("run").c_str(), 0700), 0);
    ASSERT_EQ(mkdir(m_Folder.file("home").c_str(), 0700), 0);
  }
  [[nodiscard]] std::string lockFile() const { return m_Folder.file("run/tolm.lock"); }

  TempFolder m_Folder;
  ScopedEnv m_Runtime{"XDG_RUNTIME_DIR", m_Folder.file("run").c_str()};
  ScopedEnv m_Home{"HOME", m_Folder.file("home").c_str()};
};

TEST_F(RunLockTest, ASecondRunIsToldWhichProcessIsAtWork) {
  RunLock first;
  EXPECT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  RunLock second;
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
  EXPECT_EQ(second.holder(), getpid());
}

// The program was ended by the signal there, without a line: nothing of the run guarded it yet.
TEST_F(RunLockTest, ALimitOnTheSizeOfFilesLeavesALockWithoutContent) {
  const test::ForkedResult result = test::runForked([] {
    const rlimit none = {0, 0};
    RunLock lock;
    return setrlimit(RLIMIT_FSIZE, &none) == 0 && lock.tryAcquire() == RunLock::Answer::kHeld ? 0 : 1;
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(result.signal, 0);
}

TEST_F(RunLockTest, TheLockGoesWithItsHolder) {
  {
    RunLock first;
    ASSERT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  }
  RunLock second;
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kHeld);
}

TEST_F(RunLockTest, ARunThatEndsTakesTheFileAwayAndOneThatWaitsMakesItAnew) {
  auto first = std::make_unique<RunLock>();
  ASSERT_EQ(first->tryAcquire(), RunLock::Answer::kHeld);
  RunLock second;
  ASSERT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
  first.reset();
  EXPECT_FALSE(exists(lockFile()));
  EXPECT_EQ(second.acquire(), RunLock::Answer::kHeld);
  EXPECT_TRUE(exists(lockFile()));
  RunLock third;
  EXPECT_EQ(third.tryAcquire(), RunLock::Answer::kBusy);
}

TEST_F(RunLockTest, AWaitEndsWhenTheOtherRunDoes) {
  auto first = std::make_unique<RunLock>();
  ASSERT_EQ(first->tryAcquire(), RunLock::Answer::kHeld);
  RunLock::Answer answer = RunLock::Answer::kBusy;
  std::thread waiting([&answer] {
    RunLock second;
    answer = second.acquire();
  });
  first.reset();
  waiting.join();
  EXPECT_EQ(answer, RunLock::Answer::kHeld);
}

TEST_F(RunLockTest, AnotherUsersOrAnOpenRuntimeFolderIsNotUsed) {
  ASSERT_EQ(chmod(m_Folder.file("run").c_str(), 0777), 0);
  RunLock lock;
  EXPECT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
  EXPECT_FALSE(exists(lockFile()));
  if (geteuid() == 0) {
    ASSERT_EQ(chmod(m_Folder.file("run").c_str(), 0700), 0);
    ASSERT_EQ(chown(m_Folder.file("run").c_str(), 65534, 65534), 0);
    RunLock other;
    EXPECT_NE(other.tryAcquire(), RunLock::Answer::kUnavailable);
    EXPECT_FALSE(exists(lockFile()));
  }
}

TEST_F(RunLockTest, ALinkInTheLocksPlaceIsNotFollowed) {
  test::writeFile(m_Folder.file("precious"), "kept");
  ASSERT_EQ(symlink(m_Folder.file("precious").c_str(), lockFile().c_str()), 0);
  RunLock lock;
  static_cast<void>(lock.tryAcquire());
  EXPECT_EQ(readFile(m_Folder.file("precious")), "kept");
}

TEST_F(RunLockTest, ARunThatWasKilledHasLeftThePathOfItsBundle) {
  const pid_t child = fork();
  if (child == 0) {
    RunLock lock;
    static_cast<void>(lock.tryAcquire());
    lock.noteBundle("/home/me/a folder/.a.zip.1.tolm-part");
    _exit(0);  // nothing is destroyed, as by a kill
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  RunLock next;
  EXPECT_EQ(next.tryAcquire(), RunLock::Answer::kHeld);
  EXPECT_EQ(next.unfinishedBundle(), "/home/me/a folder/.a.zip.1.tolm-part");
}

TEST_F(RunLockTest, ARunThatEndedHasLeftNone) {
  {
    RunLock lock;
    ASSERT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
    lock.noteBundle("/x/.a.zip.1.tolm-part");
    lock.noteBundle("");
  }
  RunLock next;
  EXPECT_EQ(next.tryAcquire(), RunLock::Answer::kHeld);
  EXPECT_EQ(next.unfinishedBundle(), "");
}

TEST_F(RunLockTest, TheFileIsForItsUserAlone) {
  RunLock lock;
  ASSERT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
  struct stat status;
  ASSERT_EQ(stat(lockFile().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(RunLockTest, AFileOfOtherContentIsBorne) {
  for (const std::string& content : {std::string("x"), std::string("12\nabc"), std::string(100'000, '\n')}) {
    test::writeFile(lockFile(), content);
    RunLock lock;
    EXPECT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
    EXPECT_EQ(lock.unfinishedBundle(), "");
  }
}

}  // namespace
}  // namespace halvo
