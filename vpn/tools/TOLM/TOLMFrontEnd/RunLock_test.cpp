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
using test::TempFolder;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class RunLockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(mkdir(m_Folder.file("run").c_str(), 0700), 0);
    ASSERT_EQ(mkdir(m_Folder.file("home").c_str(), 0700), 0);
  }
  [[nodiscard]] std::string lockFile() const { return m_Folder.file("run/tolm.lock"); }
  // Of a user with a session.
  [[nodiscard]] LockFolders folders() const { return {"", {home()}, {m_Folder.file("run")}}; }
  // Of the same user where there is none.
  [[nodiscard]] LockFolders withoutSession() const { return {"", {home()}, {}}; }
  [[nodiscard]] std::string home() const { return m_Folder.file("home"); }

  TempFolder m_Folder;
};

TEST_F(RunLockTest, ASecondRunIsToldWhichProcessIsAtWork) {
  RunLock first(folders());
  EXPECT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  RunLock second(folders());
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
  EXPECT_EQ(second.holder(), getpid());
}

// The program was ended by the signal there, without a line: nothing of the run guarded it yet.
TEST_F(RunLockTest, ALimitOnTheSizeOfFilesLeavesALockWithoutContent) {
  const test::ForkedResult result = test::runForked([this] {
    const rlimit none = {0, 0};
    RunLock lock(folders());
    return setrlimit(RLIMIT_FSIZE, &none) == 0 && lock.tryAcquire() == RunLock::Answer::kHeld ? 0 : 1;
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(result.signal, 0);
}

TEST_F(RunLockTest, TheLockGoesWithItsHolder) {
  {
    RunLock first(folders());
    ASSERT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  }
  RunLock second(folders());
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kHeld);
}

TEST_F(RunLockTest, ARunThatEndsTakesTheFileAwayAndOneThatWaitsMakesItAnew) {
  auto first = std::make_unique<RunLock>(folders());
  ASSERT_EQ(first->tryAcquire(), RunLock::Answer::kHeld);
  RunLock second(folders());
  ASSERT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
  first.reset();
  EXPECT_FALSE(exists(lockFile()));
  EXPECT_EQ(second.acquire(), RunLock::Answer::kHeld);
  EXPECT_TRUE(exists(lockFile()));
  RunLock third(folders());
  EXPECT_EQ(third.tryAcquire(), RunLock::Answer::kBusy);
}

TEST_F(RunLockTest, AWaitEndsWhenTheOtherRunDoes) {
  auto first = std::make_unique<RunLock>(folders());
  ASSERT_EQ(first->tryAcquire(), RunLock::Answer::kHeld);
  RunLock::Answer answer = RunLock::Answer::kBusy;
  std::thread waiting([this, &answer] {
    RunLock second(folders());
    answer = second.acquire();
  });
  first.reset();
  waiting.join();
  EXPECT_EQ(answer, RunLock::Answer::kHeld);
}

TEST_F(RunLockTest, AnotherUsersOrAnOpenRuntimeFolderIsNotUsed) {
  ASSERT_EQ(chmod(m_Folder.file("run").c_str(), 0777), 0);
  RunLock lock(folders());
  EXPECT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
  EXPECT_FALSE(exists(lockFile()));
  if (geteuid() == 0) {
    ASSERT_EQ(chmod(m_Folder.file("run").c_str(), 0700), 0);
    ASSERT_EQ(chown(m_Folder.file("run").c_str(), 65534, 65534), 0);
    RunLock other(folders());
    EXPECT_NE(other.tryAcquire(), RunLock::Answer::kUnavailable);
    EXPECT_FALSE(exists(lockFile()));
  }
}

// A session's run and a timer's, which knows no runtime folder, worked at once.
TEST_F(RunLockTest, ARunInASessionAndOneOutsideOfItMeet) {
  {
    RunLock session(folders());
    ASSERT_EQ(session.tryAcquire(), RunLock::Answer::kHeld);
    RunLock timer(withoutSession());
    EXPECT_EQ(timer.tryAcquire(), RunLock::Answer::kBusy);
    EXPECT_EQ(timer.holder(), getpid());
  }
  RunLock timer(withoutSession());
  ASSERT_EQ(timer.tryAcquire(), RunLock::Answer::kHeld);
  RunLock session(folders());
  EXPECT_EQ(session.tryAcquire(), RunLock::Answer::kBusy);
}

TEST_F(RunLockTest, RunsOfTwoHomeFoldersMeetInTheRuntimeFolder) {
  const LockFolders elsewhere = {"", {m_Folder.file("none")}, {m_Folder.file("run")}};
  RunLock first(folders());
  ASSERT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  RunLock second(elsewhere);
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
}

// What one run holds and another asks for must not be the other way round as well.
TEST_F(RunLockTest, ARunThatIsRefusedHoldsNothing) {
  RunLock timer({"", {}, {m_Folder.file("run")}});
  ASSERT_EQ(timer.tryAcquire(), RunLock::Answer::kHeld);
  RunLock second(folders());
  ASSERT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
  RunLock third(withoutSession());
  EXPECT_EQ(third.tryAcquire(), RunLock::Answer::kHeld);
}

// There was no lock at all, with a record in the log.
TEST_F(RunLockTest, AHomeFolderThatIsOpenToAGroupHoldsTheLock) {
  ASSERT_EQ(mkdir((home() + "/.cache").c_str(), 0775), 0);
  ASSERT_EQ(chmod((home() + "/.cache").c_str(), 0775), 0);
  ASSERT_EQ(chmod(home().c_str(), 0775), 0);
  RunLock first(withoutSession());
  EXPECT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  RunLock second(withoutSession());
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
}

TEST_F(RunLockTest, AFolderForTheLockThatOthersCanWriteToIsNotUsed) {
  test::makeFolders(home() + "/.cache/tolm");
  ASSERT_EQ(chmod((home() + "/.cache/tolm").c_str(), 0777), 0);
  RunLock lock(withoutSession());
  EXPECT_EQ(lock.tryAcquire(), RunLock::Answer::kUnavailable);
}

TEST_F(RunLockTest, RootsLockIsInOneFolderWhateverElseThereIs) {
  test::makeFolders(m_Folder.file("system"));
  ASSERT_EQ(chmod(m_Folder.file("system").c_str(), 0755), 0);
  RunLock first({m_Folder.file("system"), {home()}, {}});
  ASSERT_EQ(first.tryAcquire(), RunLock::Answer::kHeld);
  RunLock second({m_Folder.file("system"), {}, {m_Folder.file("run")}});
  EXPECT_EQ(second.tryAcquire(), RunLock::Answer::kBusy);
  EXPECT_FALSE(exists(lockFile()));
  EXPECT_THAT(test::listFolder(home()), IsEmpty());
}

TEST_F(RunLockTest, TwoWaysToOneFolderAreOne) {
  RunLock lock({"", {home(), home() + "/."}, {m_Folder.file("run"), m_Folder.file("run/")}});
  EXPECT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
}

TEST_F(RunLockTest, ALinkInTheLocksPlaceIsNotFollowed) {
  test::writeFile(m_Folder.file("precious"), "kept");
  ASSERT_EQ(symlink(m_Folder.file("precious").c_str(), lockFile().c_str()), 0);
  RunLock lock(folders());
  static_cast<void>(lock.tryAcquire());
  EXPECT_EQ(readFile(m_Folder.file("precious")), "kept");
}

TEST_F(RunLockTest, ARunThatWasKilledHasLeftThePathOfItsBundle) {
  const pid_t child = fork();
  if (child == 0) {
    RunLock lock(folders());
    static_cast<void>(lock.tryAcquire());
    lock.noteBundle("/home/me/a folder/.a.zip.1.tolm-part");
    _exit(0);  // nothing is destroyed, as by a kill
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  RunLock next(folders());
  EXPECT_EQ(next.tryAcquire(), RunLock::Answer::kHeld);
  EXPECT_THAT(next.unfinishedBundles(), ElementsAre("/home/me/a folder/.a.zip.1.tolm-part"));
}

TEST_F(RunLockTest, ARunThatEndedHasLeftNone) {
  {
    RunLock lock(folders());
    ASSERT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
    lock.noteBundle("/x/.a.zip.1.tolm-part");
    lock.noteBundle("");
  }
  RunLock next(folders());
  EXPECT_EQ(next.tryAcquire(), RunLock::Answer::kHeld);
  EXPECT_THAT(next.unfinishedBundles(), IsEmpty());
}

TEST_F(RunLockTest, TheFileIsForItsUserAlone) {
  RunLock lock(folders());
  ASSERT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
  struct stat status;
  ASSERT_EQ(stat(lockFile().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(RunLockTest, AFileOfOtherContentIsBorne) {
  for (const std::string& content : {std::string("x"), std::string("12\nabc"), std::string(100'000, '\n')}) {
    test::writeFile(lockFile(), content);
    RunLock lock(folders());
    EXPECT_EQ(lock.tryAcquire(), RunLock::Answer::kHeld);
    EXPECT_THAT(lock.unfinishedBundles(), IsEmpty());
  }
}

}  // namespace
}  // namespace halvo
