#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

struct Releaser {
  void operator()(BSDProcess* list) const { std::free(list); }
};

// The list of a call, owned, and the call's result.
struct Listing {
  int result = -1;
  std::unique_ptr<BSDProcess, Releaser> list;
  std::size_t count = 77;

  const BSDProcess* find(pid_t pid) const {
    for (std::size_t i = 0; i < count; ++i) {
      if (list.get()[i].pid == pid) {
        return list.get() + i;
      }
    }
    return nullptr;
  }
};

Listing listProcesses(ProcessTable& table) {
  Listing listing;
  BSDProcess* list = nullptr;
  listing.result = GetBSDProcessList(&list, &listing.count, table);
  listing.list.reset(list);
  return listing;
}

// A forked child that runs `part` and is then killed and reaped.
class Child {
 public:
  explicit Child(const std::function<void()>& part) : m_nId(fork()) {
    if (m_nId == 0) {
      alarm(120);
      part();
      _exit(0);
    }
  }
  ~Child() {
    kill(m_nId, SIGKILL);
    waitpid(m_nId, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t id() const { return m_nId; }

  // Looks at the child until `fits`, for a minute at most; gives what it saw last.
  BSDProcess waitUntil(const std::function<bool(const BSDProcess&)>& fits) const {
    BSDProcess process = {};
    for (int look = 0; look < 6000; ++look) {
      EXPECT_EQ(readProcess(m_nId, process), 0);
      if (fits(process)) {
        break;
      }
      sleepMilliseconds(10);
    }
    return process;
  }
  BSDProcess waitForState(std::uint32_t state) const {
    return waitUntil([state](const BSDProcess& process) { return process.state == state; });
  }

 private:
  pid_t m_nId;
};

// A table of `processes` made-up records that gives prepared failures first.
class FakeTable : public ProcessTable {
 public:
  int size(std::size_t& bytes) override {
    ++sizeCalls;
    bytes = 1000 * sizeof(BSDProcess);
    if (spoiledList != nullptr) {
      *spoiledList = &spoil;
    }
    return sizeResult;
  }
  int read(BSDProcess* records, std::size_t& bytes) override {
    EXPECT_EQ(bytes, 1000 * sizeof(BSDProcess));
    const int result = readCalls < readResults.size() ? readResults[readCalls] : 0;
    ++readCalls;
    for (std::size_t i = 0; i < processes; ++i) {
      records[i] = {static_cast<pid_t>(i + 1), 0, kProcessRunning, "made-up"};
    }
    bytes = processes * sizeof(BSDProcess);
    return result;
  }
  void* allocate(std::size_t bytes) override {
    return allocationFails ? nullptr : ProcessTable::allocate(bytes);
  }

  std::size_t processes = 3;
  int sizeResult = 0;
  std::vector<int> readResults;
  bool allocationFails = false;
  BSDProcess** spoiledList = nullptr;
  BSDProcess spoil = {};
  std::size_t sizeCalls = 0;
  std::size_t readCalls = 0;
};

TEST(ProcessListTest, HoldsThisProcessWithItsRealUser) {
  const Listing listing = listProcesses(hostProcessTable());
  ASSERT_EQ(listing.result, 0);
  const BSDProcess* self = listing.find(getpid());
  ASSERT_NE(self, nullptr);
  EXPECT_EQ(self->realUserId, getuid());
  EXPECT_STREQ(self->command, "common_utility_");
}

TEST(ProcessListTest, TakesTheHostsTableByDefault) {
  BSDProcess* list = nullptr;
  std::size_t count = 0;
  ASSERT_EQ(GetBSDProcessList(&list, &count), 0);
  const std::unique_ptr<BSDProcess, Releaser> owned(list);
  ASSERT_NE(list, nullptr);
  EXPECT_GT(count, 0U);
}

TEST(ProcessListTest, HoldsEachProcessOnce) {
  const Child first([] { pause(); });
  const Child second([] { pause(); });
  const Listing listing = listProcesses(hostProcessTable());
  std::size_t seen = 0;
  for (std::size_t i = 0; i < listing.count; ++i) {
    const pid_t pid = listing.list.get()[i].pid;
    seen += pid == first.id() || pid == second.id() ? 1U : 0U;
  }
  EXPECT_EQ(seen, 2U);
}

TEST(ProcessListTest, TellsTheRealUserAndNotTheEffectiveOne) {
  // Only root can tell the two apart; for anybody else both are the user of the test.
  const uid_t real = getuid() == 0 ? 54321 : getuid();
  const Child child([real] {
    if (setreuid(real, static_cast<uid_t>(-1)) != 0) {
      _exit(1);
    }
    pause();
  });
  const BSDProcess process =
      child.waitUntil([real](const BSDProcess& seen) { return seen.realUserId == real; });
  EXPECT_EQ(process.realUserId, real);
  const Listing listing = listProcesses(hostProcessTable());
  ASSERT_NE(listing.find(child.id()), nullptr);
  EXPECT_EQ(listing.find(child.id())->realUserId, real);
}

TEST(ProcessListTest, GrownTableIsReadAgainHoweverOften) {
  FakeTable table;
  table.readResults.assign(50, ENOMEM);
  const Listing listing = listProcesses(table);
  EXPECT_EQ(listing.result, 0);
  EXPECT_EQ(listing.count, 3U);
  EXPECT_EQ(listing.list.get()[2].pid, 3);
  EXPECT_EQ(table.sizeCalls, 51U);
  EXPECT_EQ(table.readCalls, 51U);
}

TEST(ProcessListTest, FailureToAskForTheSizeEndsIt) {
  FakeTable table;
  table.sizeResult = ENOMEM;
  const Listing listing = listProcesses(table);
  EXPECT_EQ(listing.result, ENOMEM);
  EXPECT_EQ(listing.list, nullptr);
  EXPECT_EQ(listing.count, 0U);
  EXPECT_EQ(table.sizeCalls, 1U);
  EXPECT_EQ(table.readCalls, 0U);
}

TEST(ProcessListTest, FailedAllocationIsOutOfMemory) {
  FakeTable table;
  table.allocationFails = true;
  const Listing listing = listProcesses(table);
  EXPECT_EQ(listing.result, ENOMEM);
  EXPECT_EQ(listing.list, nullptr);
  EXPECT_EQ(listing.count, 0U);
  EXPECT_EQ(table.readCalls, 0U);
}

TEST(ProcessListTest, OtherFailureToReadLeavesTheListNull) {
  FakeTable table;
  table.readResults = {ENOMEM, EPERM};
  const Listing listing = listProcesses(table);
  EXPECT_EQ(listing.result, EPERM);
  EXPECT_EQ(listing.list, nullptr);
  EXPECT_EQ(listing.count, 0U);
  EXPECT_EQ(table.readCalls, 2U);
}

TEST(ProcessListTest, EmptyTableIsAListOfNone) {
  FakeTable table;
  table.processes = 0;
  const Listing listing = listProcesses(table);
  EXPECT_EQ(listing.result, 0);
  EXPECT_NE(listing.list, nullptr);
  EXPECT_EQ(listing.count, 0U);
}

TEST(ProcessListDeathTest, NullListStopsTheProgram) {
  std::size_t count = 0;
  EXPECT_DEATH(static_cast<void>(GetBSDProcessList(nullptr, &count)), "Assertion failed: procList != NULL");
}

TEST(ProcessListDeathTest, ListThatIsNotNullStopsTheProgram) {
  std::size_t count = 0;
  BSDProcess record = {};
  BSDProcess* list = &record;
  EXPECT_DEATH(static_cast<void>(GetBSDProcessList(&list, &count)), "Assertion failed: \\*procList == NULL");
}

TEST(ProcessListDeathTest, NullCountStopsTheProgram) {
  BSDProcess* list = nullptr;
  EXPECT_DEATH(static_cast<void>(GetBSDProcessList(&list, nullptr)), "Assertion failed: procCount != NULL");
}

TEST(ProcessListDeathTest, ListThatDisagreesWithTheResultStopsTheProgram) {
  FakeTable table;
  table.sizeResult = EIO;
  std::size_t count = 0;
  BSDProcess* list = nullptr;
  table.spoiledList = &list;
  EXPECT_DEATH(static_cast<void>(GetBSDProcessList(&list, &count, table)),
               "Assertion failed: \\(err == 0\\) == \\(\\*procList != NULL\\)");
}

TEST(ReadProcessTest, ThisProcessIsRunning) {
  BSDProcess process = {};
  ASSERT_EQ(readProcess(getpid(), process), 0);
  EXPECT_EQ(process.pid, getpid());
  EXPECT_EQ(process.state, kProcessRunning);
  EXPECT_EQ(process.state, 2U);
}

TEST(ReadProcessTest, WaitingProcessIsAsleep) {
  const Child child([] { pause(); });
  EXPECT_EQ(child.waitForState(kProcessSleeping).state, 3U);
}

TEST(ReadProcessTest, StoppedProcessIsStopped) {
  const Child child([] {
    raise(SIGSTOP);
    pause();
  });
  EXPECT_EQ(child.waitForState(kProcessStopped).state, 4U);
}

TEST(ReadProcessTest, EndedProcessIsAZombieUntilItIsWaitedFor) {
  pid_t pid = 0;
  {
    const Child child([] {});
    pid = child.id();
    siginfo_t ended = {};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT), 0);
    BSDProcess process = {};
    ASSERT_EQ(readProcess(pid, process), 0);
    EXPECT_EQ(process.state, 5U);
  }
  BSDProcess process = {};
  EXPECT_EQ(readProcess(pid, process), ESRCH);
}

TEST(ReadProcessTest, ProcessZeroAndNegativeOnesAreNone) {
  BSDProcess process = {};
  EXPECT_EQ(readProcess(-1, process), ESRCH);
  EXPECT_EQ(readProcess(-getpid(), process), ESRCH);
  EXPECT_EQ(readProcess(2147483647, process), ESRCH);
}

}  // namespace

}  // namespace halvo
