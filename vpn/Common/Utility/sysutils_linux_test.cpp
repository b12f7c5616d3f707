#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "vpn/Common/Utility/sysutils.h"

namespace {

// Every second opendir() fails with this errno value, where it isn't 0.
int s_nOpendirFailure = 0;
unsigned s_nOpendirCalls = 0;

}  // namespace

extern "C" {

DIR* __real_opendir(const char* path);
DIR* __wrap_opendir(const char* path);
DIR* __wrap_opendir(const char* path) {
  if (s_nOpendirFailure != 0 && ++s_nOpendirCalls % 2 == 0) {
    errno = s_nOpendirFailure;
    return nullptr;
  }
  return __real_opendir(path);
}

}  // extern "C"

namespace halvo {

namespace {

// A forked child that runs `part`, tells when it has begun to wait, and is then killed and reaped.
template <class Part>
class Child {
 public:
  explicit Child(Part part) {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    m_nId = fork();
    if (m_nId == 0) {
      alarm(120);
      close(ends[0]);
      part(ends[1]);
      _exit(0);
    }
    close(ends[1]);
    char ready = 0;
    EXPECT_EQ(read(ends[0], &ready, 1), 1);
    close(ends[0]);
  }
  ~Child() {
    kill(m_nId, SIGKILL);
    waitpid(m_nId, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t id() const { return m_nId; }

 private:
  pid_t m_nId = -1;
};

void tellReady(int descriptor) {
  static_cast<void>(!write(descriptor, "r", 1));
}

BSDProcess look(pid_t pid) {
  BSDProcess process = {};
  EXPECT_EQ(readProcess(pid, process), 0);
  return process;
}

std::string commandOfChildNamed(const char* name) {
  const Child child([name](int ready) {
    prctl(PR_SET_NAME, name);
    tellReady(ready);
    pause();
  });
  return look(child.id()).command;
}

TEST(LinuxProcessTest, CommandNameMayHoldAnyByte) {
  EXPECT_EQ(commandOfChildNamed("plain"), "plain");
  EXPECT_EQ(commandOfChildNamed("fifteen-letters"), "fifteen-letters");
  EXPECT_EQ(commandOfChildNamed("a) Z 0 (b"), "a) Z 0 (b");
  EXPECT_EQ(commandOfChildNamed("a\nUid:\t0"), "a\nUid:\t0");
  EXPECT_EQ(commandOfChildNamed("back\\nslash"), "back\\nslash");
  EXPECT_EQ(commandOfChildNamed(" blank "), " blank ");
  EXPECT_EQ(commandOfChildNamed(""), "");
}

TEST(LinuxProcessTest, ThreadOfAProcessIsNoProcess) {
  std::atomic<pid_t> thread{0};
  std::atomic<bool> leave{false};
  std::thread worker([&] {
    thread = static_cast<pid_t>(syscall(SYS_gettid));
    while (!leave) {
      sleepMilliseconds(1);
    }
  });
  while (thread == 0) {
    sleepMilliseconds(1);
  }
  BSDProcess process = {};
  EXPECT_EQ(readProcess(thread, process), ESRCH);
  leave = true;
  worker.join();
}

// The folder of such a process says "Z (zombie)" although the process goes on.
TEST(LinuxProcessTest, ProcessWhoseFirstThreadHasEndedIsNoZombie) {
  const Child child([](int ready) {
    pthread_t thread = 0;
    pthread_create(
        &thread, nullptr,
        [](void*) -> void* {
          pause();
          return nullptr;
        },
        nullptr);
    tellReady(ready);
    syscall(SYS_exit, 0);  // the first thread alone
  });
  std::string status;
  for (int i = 0; i < 6000 && status.find("\nState:\tZ") == std::string::npos; ++i) {
    sleepMilliseconds(10);
    status = test::readFile("/proc/" + std::to_string(child.id()) + "/status");
  }
  ASSERT_NE(status.find("\nState:\tZ"), std::string::npos);
  EXPECT_EQ(look(child.id()).state, kProcessSleeping);
}

TEST(LinuxProcessTest, TableThatHasOutgrownItsRecordsIsOutOfMemoryAndNothingIsPutBehindThem) {
  const Child another([](int ready) {
    tellReady(ready);
    pause();
  });
  BSDProcess records[2] = {};
  records[1].pid = -7;
  std::size_t bytes = sizeof(BSDProcess);
  EXPECT_EQ(hostProcessTable().read(records, bytes), ENOMEM);
  EXPECT_EQ(bytes, sizeof(BSDProcess));
  EXPECT_EQ(records[1].pid, -7);
}

// One look at the process list while there are descriptors: the undefined-behaviour sanitizer takes one
// to look at an object for the first time.
bool canList() {
  BSDProcess* list = nullptr;
  std::size_t count = 0;
  const bool could = GetBSDProcessList(&list, &count) == 0;
  std::free(list);
  return could;
}

TEST(LinuxProcessTest, ListWithoutAFreeDescriptorIsThatFailure) {
  const test::ForkedResult result = test::runForked([] {
    if (!canList()) {
      return 5;
    }
    const rlimit none = {0, 0};
    BSDProcess* list = nullptr;
    std::size_t count = 7;
    if (setrlimit(RLIMIT_NOFILE, &none) != 0) {
      return 1;
    }
    if (GetBSDProcessList(&list, &count) != EMFILE) {
      return 2;
    }
    BSDProcess process = {};
    if (readProcess(getpid(), process) != EMFILE) {
      return 3;
    }
    return list == nullptr && count == 0 ? 0 : 4;
  });
  EXPECT_EQ(result.exitStatus, 0);
}

// The folder can be listed and no file in it opened: the list is what it was able to read, or fails.
TEST(LinuxProcessTest, ListWithOneFreeDescriptorFailsAndFreesWhatItHad) {
  const test::ForkedResult result = test::runForked([] {
    if (!canList()) {
      return 3;
    }
    const int next = dup(0);
    close(next);
    const rlimit one = {static_cast<rlim_t>(next) + 1, static_cast<rlim_t>(next) + 1};
    if (next < 0 || setrlimit(RLIMIT_NOFILE, &one) != 0) {
      return 1;
    }
    BSDProcess* list = nullptr;
    std::size_t count = 7;
    return GetBSDProcessList(&list, &count) == EMFILE && list == nullptr && count == 0 ? 0 : 2;
  });
  EXPECT_EQ(result.exitStatus, 0);
}

TEST(LinuxProcessTest, ProcessZeroIsNone) {
  BSDProcess process = {};
  EXPECT_EQ(readProcess(0, process), ESRCH);
}

// A host short of memory answered ENOMEM for /proc itself. That was taken for a table that has grown, and
// asked for again without end.
TEST(ProcessListTest, HostWithoutMemoryForItsTableEndsIt) {
  const test::ForkedResult result = test::runForked(
      [] {
        s_nOpendirFailure = ENOMEM;  // the look at the size passes, and the reading fails
        BSDProcess* list = nullptr;
        std::size_t count = 1;
        const int failure = GetBSDProcessList(&list, &count);
        return failure == EAGAIN && list == nullptr && count == 0 ? 0 : 1;
      },
      20);
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
}

}  // namespace

}  // namespace halvo
