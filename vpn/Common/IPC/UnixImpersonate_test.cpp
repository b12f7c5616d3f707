#include "vpn/Common/IPC/UnixImpersonate.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>
#include <vector>

#include "tests/support/ForkedCase.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/IPC/HostCalls_test.h"

namespace halvo {
namespace {

using test::ForkedResult;
using test::hostCalls;
using test::LogRecorder;
using test::runForked;

// Opens the inner step to the tests.
class OpenImpersonate : public CUnixImpersonate {
 public:
  using CUnixImpersonate::impersonate;
};

class UnixImpersonateTest : public testing::Test {
 protected:
  // No identity call gets to the host: the test process keeps its own.
  void pretendIdentityCalls() {
    hostCalls().initgroupsCall.pretend();
    hostCalls().setgidCall.pretend();
    hostCalls().setuidCall.pretend();
    hostCalls().setegidCall.pretend();
    hostCalls().seteuidCall.pretend();
  }
  static std::string takeCalls() { return std::exchange(hostCalls().identityCalls, ""); }

  test::HostCallsReset m_reset;
  LogRecorder m_log;
};

// Tests named UnixImpersonateChildTest make real changes, in forked cases.

TEST_F(UnixImpersonateTest, UnknownUserFailsAtGetpwnamAndNothingHasChanged) {
  CUnixImpersonate user("no-such-user-here");
  EXPECT_RESULT(user.PermanentlyBecomeUser(), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(user.Start(), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(takeCalls(), "");
  ASSERT_EQ(m_log.records().size(), 2U) << m_log.dump();
  const char* const functions[] = {"PermanentlyBecomeUser", "Start"};
  for (std::size_t i = 0; i < 2; ++i) {
    const test::LogRecord record = m_log.records()[i];
    EXPECT_EQ(record.level, kLogError);
    EXPECT_EQ(record.field("Function"), functions[i]);
    EXPECT_EQ(record.field("Invoked Function"), "getpwnam");
    EXPECT_NE(record.message.find("error: "), std::string::npos) << record.message;
    EXPECT_NE(record.message.find("; username: no-such-user-here"), std::string::npos) << record.message;
  }
}

TEST_F(UnixImpersonateTest, FailureToLookTheUserUpIsLoggedWithTheSystemsTextAndTheName) {
  CUnixImpersonate user("nobody");
  hostCalls().getpwnamCall.fail(EIO);
  EXPECT_RESULT(user.Start(), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_RESULT(user.PermanentlyBecomeUser(), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(takeCalls(), "");
  ASSERT_EQ(m_log.records().size(), 2U) << m_log.dump();
  const char* const functions[] = {"Start", "PermanentlyBecomeUser"};
  for (std::size_t i = 0; i < 2; ++i) {
    const test::LogRecord record = m_log.records()[i];
    EXPECT_EQ(record.level, kLogError);
    EXPECT_EQ(record.field("Function"), functions[i]);
    EXPECT_EQ(record.field("Invoked Function"), "getpwnam");
    EXPECT_EQ(record.field("Return Code"), "5 (0x00000005)");
    EXPECT_EQ(record.text(), std::string("error: ") + std::strerror(EIO) + "; username: nobody");
  }
}

TEST_F(UnixImpersonateTest, NullEntryIsANullPointerLoggedAsGetpwnam) {
  for (const bool permanent : {true, false}) {
    m_log.clear();
    errno = EIO;
    EXPECT_RESULT(OpenImpersonate::impersonate(nullptr, permanent), GLOBAL_ERROR_NULL_POINTER);
    ASSERT_EQ(m_log.records().size(), 1U) << m_log.dump();
    EXPECT_TRUE(m_log.hasReturnCode(kLogError, "getpwnam", EIO)) << m_log.dump();
  }
  EXPECT_EQ(takeCalls(), "");
}

TEST(UnixImpersonateChildTest, WithoutRootRightsInitgroupsFailsFirst) {
  for (const bool permanent : {true, false}) {
    const ForkedResult result = runForked([permanent] {
      test::dropToNobody();
      CUnixImpersonate user("nobody");
      const ResultCode rc = permanent ? user.PermanentlyBecomeUser() : user.Start();
      return rc == GLOBAL_ERROR_UNEXPECTED ? 7 : 1;
    });
    EXPECT_EQ(result.exitStatus, 7) << result.dump();
    EXPECT_EQ(result.invokedFunctions(), "initgroups CUnixImpersonate::impersonate") << result.dump();
    EXPECT_TRUE(result.hasReturnCode(kLogError, "initgroups", EPERM)) << result.dump();
    EXPECT_EQ(result.records.at(0).field("Description"), std::strerror(EPERM));
    EXPECT_TRUE(result.hasReturnCode(kLogError, "CUnixImpersonate::impersonate", GLOBAL_ERROR_UNEXPECTED))
        << result.dump();
  }
}

TEST(UnixImpersonateChildTest, RootBecomesAnotherUserForGoodAndOthersAreRefused) {
  const ForkedResult result = runForked([] {
    const passwd entry = *getpwnam("nobody");
    {
      CUnixImpersonate user("nobody");
      const ResultCode rc = user.PermanentlyBecomeUser();
      if (geteuid() != 0 && rc == GLOBAL_ERROR_UNEXPECTED) {
        return 8;
      }
      uid_t real = 0;
      uid_t effective = 0;
      uid_t saved = 0;
      if (rc != 0 || getresuid(&real, &effective, &saved) != 0 || real != entry.pw_uid ||
          effective != entry.pw_uid || saved != entry.pw_uid) {
        return 1;
      }
      gid_t realGroup = 0;
      gid_t effectiveGroup = 0;
      gid_t savedGroup = 0;
      if (getresgid(&realGroup, &effectiveGroup, &savedGroup) != 0 || realGroup != entry.pw_gid ||
          effectiveGroup != entry.pw_gid || savedGroup != entry.pw_gid) {
        return 2;
      }
      gid_t groups[NGROUPS_MAX];
      const int count = getgroups(NGROUPS_MAX, groups);
      for (int i = 0; i < count; ++i) {
        if (groups[i] == 0) {
          return 3;  // root's groups are gone too
        }
      }
      if (seteuid(0) == 0 || setuid(0) == 0) {
        return 4;
      }
    }
    return 7;
  });
  // The destructor would have logged its failure to go back.
  EXPECT_EQ(result.exitStatus, geteuid() == 0 ? 7 : 8) << result.dump();
  EXPECT_EQ(result.records.size(), geteuid() == 0 ? 0U : 2U) << result.dump();
}

TEST(UnixImpersonateChildTest, RootTakesAnotherIdentityForAWhileAndOthersAreRefused) {
  test::TempFolder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  const ForkedResult result = runForked([&folder] {
    const passwd entry = *getpwnam("nobody");
    CUnixImpersonate user("nobody");
    const ResultCode rc = user.Start();
    if (rc != 0) {
      return getuid() != 0 ? 8 : 1;
    }
    if (geteuid() != entry.pw_uid || getegid() != entry.pw_gid || getuid() != 0) {
      return 2;
    }
    const int file = open(folder.file("theirs").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    struct stat status = {};
    if (file < 0 || fstat(file, &status) != 0 || status.st_uid != entry.pw_uid) {
      return 3;
    }
    close(file);
    if (user.Stop() != 0 || geteuid() != 0 || getegid() != 0) {
      return 4;
    }
    {
      CUnixImpersonate again("nobody");
      if (again.Start() != 0 || geteuid() != entry.pw_uid) {
        return 5;
      }
    }
    return geteuid() == 0 && getegid() == 0 ? 7 : 6;  // the destructor went back
  });
  EXPECT_EQ(result.exitStatus, geteuid() == 0 ? 7 : 8) << result.dump();
}

TEST_F(UnixImpersonateTest, PermanentChangeSetsGroupsGroupAndUserInThisOrder) {
  pretendIdentityCalls();
  {
    CUnixImpersonate user("nobody");
    EXPECT_RESULT(user.PermanentlyBecomeUser(), 0);
    EXPECT_EQ(takeCalls(), "initgroups setgid setuid ");
  }
  // No attempt to go back, as the flag is clear.
  EXPECT_EQ(takeCalls(), "");
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(UnixImpersonateTest, EachStepGetsTheNameAndTheIdsOfTheEntry) {
  pretendIdentityCalls();
  char name[] = "someone";
  passwd entry = {};
  entry.pw_name = name;
  entry.pw_uid = 4001;
  entry.pw_gid = 4002;
  EXPECT_RESULT(OpenImpersonate::impersonate(&entry, true), 0);
  EXPECT_EQ(std::exchange(hostCalls().identityArguments, ""),
            "initgroups someone 4002; setgid 4002; setuid 4001; ");
  EXPECT_RESULT(OpenImpersonate::impersonate(&entry, false), 0);
  EXPECT_EQ(std::exchange(hostCalls().identityArguments, ""),
            "initgroups someone 4002; setegid 4002; seteuid 4001; ");
}

TEST_F(UnixImpersonateTest, WayBackIsToRootsNameAndIds) {
  pretendIdentityCalls();
  CUnixImpersonate user("nobody");
  ASSERT_RESULT(user.Start(), 0);
  hostCalls().identityArguments.clear();
  EXPECT_RESULT(user.Stop(), 0);
  EXPECT_EQ(hostCalls().identityArguments, "getpwuid 0; setegid 0; seteuid 0; initgroups root 0; ");
}

TEST_F(UnixImpersonateTest, TemporaryChangeSetsTheEffectiveIdsAndTheDestructorGoesBack) {
  pretendIdentityCalls();
  {
    CUnixImpersonate user("nobody");
    EXPECT_RESULT(user.Start(), 0);
    EXPECT_EQ(takeCalls(), "initgroups setegid seteuid ");
  }
  EXPECT_EQ(takeCalls(), "getpwuid setegid seteuid initgroups ");
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(UnixImpersonateTest, StopGoesBackOnceAndTheDestructorLeavesItAtThat) {
  pretendIdentityCalls();
  {
    CUnixImpersonate user("nobody");
    EXPECT_RESULT(user.Start(), 0);
    takeCalls();
    EXPECT_RESULT(user.Stop(), 0);
    EXPECT_EQ(takeCalls(), "getpwuid setegid seteuid initgroups ");
  }
  EXPECT_EQ(takeCalls(), "");
}

TEST_F(UnixImpersonateTest, PermanentChangeClearsATemporaryOnesWayBack) {
  pretendIdentityCalls();
  {
    CUnixImpersonate user("nobody");
    EXPECT_RESULT(user.Start(), 0);
    EXPECT_RESULT(user.PermanentlyBecomeUser(), 0);
    takeCalls();
  }
  EXPECT_EQ(takeCalls(), "");
}

TEST_F(UnixImpersonateTest, EachFailingStepStopsTheChangeUnderItsLoggedName) {
  struct Step {
    bool permanent;
    test::HostCall& call;
    const char* loggedName;
    const char* calls;
  };
  const Step steps[] = {
      {true, hostCalls().initgroupsCall, "initgroups", "initgroups "},
      {true, hostCalls().setgidCall, "setgid", "initgroups setgid "},
      {true, hostCalls().setuidCall, "setuid", "initgroups setgid setuid "},
      {false, hostCalls().initgroupsCall, "initgroups", "initgroups "},
      {false, hostCalls().setegidCall, "setregid", "initgroups setegid "},
      {false, hostCalls().seteuidCall, "seteuid", "initgroups setegid seteuid "},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.loggedName);
    hostCalls().reset();
    pretendIdentityCalls();
    step.call.fail(EIO);
    m_log.clear();
    {
      CUnixImpersonate user("nobody");
      EXPECT_RESULT(step.permanent ? user.PermanentlyBecomeUser() : user.Start(), GLOBAL_ERROR_UNEXPECTED);
    }
    EXPECT_EQ(takeCalls(), step.calls);  // and none to go back
    ASSERT_EQ(m_log.records().size(), 2U) << m_log.dump();
    EXPECT_TRUE(m_log.hasReturnCode(kLogError, step.loggedName, EIO)) << m_log.dump();
    EXPECT_EQ(m_log.records()[0].field("Description"), std::strerror(EIO));
    EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CUnixImpersonate::impersonate", GLOBAL_ERROR_UNEXPECTED));
    EXPECT_EQ(m_log.records()[1].field("Function"), step.permanent ? "PermanentlyBecomeUser" : "Start");
  }
}

TEST_F(UnixImpersonateTest, EachFailingStepOfStopIsLoggedAndTheDestructorTriesAgain) {
  struct Step {
    test::HostCall& call;
    const char* loggedName;
    const char* calls;
  };
  const Step steps[] = {
      {hostCalls().getpwuidCall, "getpwuid", "getpwuid "},
      {hostCalls().setegidCall, "setregid", "getpwuid setegid "},
      {hostCalls().seteuidCall, "seteuid", "getpwuid setegid seteuid "},
      {hostCalls().initgroupsCall, "initgroups", "getpwuid setegid seteuid initgroups "},
  };
  for (const Step& step : steps) {
    SCOPED_TRACE(step.loggedName);
    hostCalls().reset();
    pretendIdentityCalls();
    m_log.clear();
    {
      CUnixImpersonate user("nobody");
      ASSERT_RESULT(user.Start(), 0);
      takeCalls();
      step.call.fail(EIO);
      EXPECT_RESULT(user.Stop(), GLOBAL_ERROR_UNEXPECTED);
      EXPECT_EQ(takeCalls(), step.calls);
      ASSERT_EQ(m_log.records().size(), 1U) << m_log.dump();
      EXPECT_TRUE(m_log.hasReturnCode(kLogError, step.loggedName, EIO)) << m_log.dump();
      EXPECT_EQ(m_log.records()[0].field("Description"), std::strerror(EIO));
    }
    EXPECT_EQ(takeCalls(), step.calls);
    ASSERT_EQ(m_log.records().size(), 3U) << m_log.dump();
    EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CUnixImpersonate::Stop", GLOBAL_ERROR_UNEXPECTED))
        << m_log.dump();
  }
}

TEST_F(UnixImpersonateTest, OwnerOfThisProcessIsItsUser) {
  const passwd* entry = getpwuid(getuid());
  ASSERT_NE(entry, nullptr);
  const std::string own = entry->pw_name;
  std::string name;
  EXPECT_RESULT(CUnixImpersonate::GetUsernameOwningProcess(getpid(), name), 0);
  EXPECT_EQ(name, own);
}

// For a forked case: whether the owner of a child that has called `change` has this name. 7 if so.
int ownerOfAChild(const std::string& expected, void (*change)()) {
  int ends[2];
  if (pipe(ends) != 0) {
    return 1;
  }
  const pid_t child = fork();
  if (child == 0) {
    change();
    alarm(60);
    if (write(ends[1], "r", 1) == 1) {
      pause();
    }
    _exit(0);
  }
  close(ends[1]);
  char ready = 0;
  if (read(ends[0], &ready, 1) != 1) {
    return 3;
  }
  std::string name;
  const ResultCode rc = CUnixImpersonate::GetUsernameOwningProcess(child, name);
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return rc == 0 && name == expected ? 7 : 2;
}

TEST(UnixImpersonateChildTest, OwnerOfAnotherUsersProcessIsThatUser) {
  const ForkedResult result = runForked([] {
    const std::string expected = getuid() == 0 ? "nobody" : getpwuid(getuid())->pw_name;
    return ownerOfAChild(expected, &test::dropToNobody);
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST(UnixImpersonateChildTest, OwnerOfAProcessIsTheUserOfItsRealIdWhateverTheEffectiveOne) {
  const ForkedResult result = runForked([] {
    const std::string expected = getpwuid(getuid())->pw_name;
    return ownerOfAChild(expected, [] {
      // An ordinary user has no other effective id to take.
      const passwd* nobody = getpwnam("nobody");
      if (getuid() == 0 && (nobody == nullptr || seteuid(nobody->pw_uid) != 0)) {
        _exit(1);
      }
    });
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST_F(UnixImpersonateTest, ProcessThatIsNotThereHasNoOwner) {
  std::string name = "kept";
  EXPECT_RESULT(CUnixImpersonate::GetUsernameOwningProcess(-5, name), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(name, "kept");
  EXPECT_EQ(hostCalls().identityArguments, "getpwuid " + std::to_string(static_cast<uid_t>(-1)) + "; ");
  ASSERT_EQ(m_log.records().size(), 1U) << m_log.dump();
  EXPECT_EQ(m_log.records()[0].field("Invoked Function"), "getpwuid");
  EXPECT_EQ(m_log.records()[0].level, kLogError);
}

TEST_F(UnixImpersonateTest, FailureToLookTheOwnerUpIsLoggedWithItsCode) {
  hostCalls().getpwuidCall.fail(EIO);
  std::string name = "kept";
  EXPECT_RESULT(CUnixImpersonate::GetUsernameOwningProcess(getpid(), name), GLOBAL_ERROR_UNEXPECTED);
  EXPECT_EQ(name, "kept");
  ASSERT_EQ(m_log.records().size(), 1U) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "getpwuid", EIO)) << m_log.dump();
}

TEST(UnixImpersonateChildTest, WithoutAProcessListTheOwnerIsLookedUpAsUserMinusOne) {
  test::HostCallsReset reset;
  const ForkedResult result = runForked([] {
    // The undefined-behaviour sanitizer takes a descriptor to look at the logger for the first time.
    logDebugMessage("before", __FILE__, __LINE__, kLogInformation, nullptr);
    const rlimit none = {0, 0};
    if (setrlimit(RLIMIT_NOFILE, &none) != 0) {
      return 1;
    }
    std::string name = "kept";
    if (CUnixImpersonate::GetUsernameOwningProcess(getpid(), name) != GLOBAL_ERROR_UNEXPECTED) {
      return 2;
    }
    const std::string expected = "getpwuid " + std::to_string(static_cast<uid_t>(-1)) + "; ";
    return name == "kept" && hostCalls().identityArguments == expected ? 7 : 3;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST_F(UnixImpersonateTest, OwnerWithoutANameIsANullPointer) {
  hostCalls().areUsersNameless = true;
  std::string name = "kept";
  EXPECT_RESULT(CUnixImpersonate::GetUsernameOwningProcess(getpid(), name), GLOBAL_ERROR_NULL_POINTER);
  EXPECT_EQ(name, "kept");
}

TEST_F(UnixImpersonateTest, ListedMembersOfAdminOrWheelAreAdministrators) {
  hostCalls().groups = {{"admin", {"ada", "adele"}}, {"wheel", {"wanda"}}, {"users", {"ute"}}};
  EXPECT_TRUE(CUnixImpersonate::isAdminUser("ada"));
  EXPECT_TRUE(CUnixImpersonate::isAdminUser("adele"));
  EXPECT_TRUE(CUnixImpersonate::isAdminUser("wanda"));
  EXPECT_FALSE(CUnixImpersonate::isAdminUser("ute"));
  EXPECT_FALSE(CUnixImpersonate::isAdminUser("ad"));
  EXPECT_FALSE(CUnixImpersonate::isAdminUser(""));
}

TEST_F(UnixImpersonateTest, MissingGroupsHaveNoMembers) {
  hostCalls().groups = {{"wheel", {"wanda"}}};
  EXPECT_TRUE(CUnixImpersonate::isAdminUser("wanda"));
  hostCalls().groups = {{"other", {"wanda"}}};
  EXPECT_FALSE(CUnixImpersonate::isAdminUser("wanda"));
}

TEST_F(UnixImpersonateTest, MembershipThroughThePrimaryGroupDoesNotCount) {
  // Root's primary group is number 0, which some systems call wheel.
  hostCalls().groups = {{"admin", {}}, {"wheel", {}}};
  EXPECT_FALSE(CUnixImpersonate::isAdminUser("root"));
}

}  // namespace
}  // namespace halvo
