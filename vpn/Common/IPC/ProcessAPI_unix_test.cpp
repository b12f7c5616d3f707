#include "vpn/Common/IPC/ProcessAPI_unix.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <thread>
#include <type_traits>

#include "tests/support/ChildProgram.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/IPC/HostCalls_test.h"
#include "vpn/Common/IPC/event.h"

namespace halvo {
namespace {

using test::childProgram;
using test::ForkedResult;
using test::hostCalls;
using test::LogRecorder;
using test::runForked;
using test::TempFolder;

constexpr std::uint32_t kForever = CProcessApi::kWaitForever;
constexpr std::uint32_t kLong = 60000;

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

// Waits until the child has ended, and leaves it to be reaped.
void waitUntilEnded(std::int32_t child) {
  siginfo_t ended = {};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT), 0);
}

class ProcessApiTest : public testing::Test {
 protected:
  // Launches childProgram with one argument and gives its id back.
  std::int32_t launch(const std::string& modes) {
    LaunchInfo info;
    EXPECT_RESULT(m_api.Launch(info, childProgram().c_str(), modes.c_str(), nullptr), 0);
    EXPECT_GT(info.processId, 0);
    return info.processId;
  }
  ResultCode wait(std::int32_t child, int& exitCode, std::uint32_t limitMs = kForever) {
    return m_api.WaitForProcess(child, exitCode, nullptr, 0, limitMs);
  }
  int exitCodeOf(std::int32_t child) {
    int exitCode = -7;
    EXPECT_RESULT(wait(child, exitCode), 0);
    return exitCode;
  }
  void killAndReap(std::int32_t child) {
    kill(child, SIGKILL);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
  }

  test::HostCallsReset m_reset;
  LogRecorder m_log;
  TempFolder m_folder;
  CProcessApi m_api;
};

// Tests named ProcessApiChildTest see what a child does to itself or logs through a forked case, whose
// logger writes to a file.

// For a forked case: launches and gives the exit code of the child back, 99 where there is none.
int launchAndWait(LaunchInfo& info, const std::vector<const char*>& arguments) {
  CProcessApi api;
  if (api.Launch(info, arguments) != 0 || info.processId <= 0) {
    return 99;
  }
  int exitCode = 0;
  return api.WaitForProcess(info.processId, exitCode, nullptr, 0, kLong) == 0 ? exitCode : 99;
}

// ---- Launching ----

TEST_F(ProcessApiTest, NewLaunchInfoIsZeroButForTheSecondSignatureArgument) {
  const LaunchInfo info;
  EXPECT_FALSE(info.runAsUser);
  EXPECT_EQ(info.workingDirectory, nullptr);
  EXPECT_FALSE(info.verifySignature);
  EXPECT_EQ(info.userName, nullptr);
  EXPECT_EQ(info.environment, nullptr);
  EXPECT_FALSE(info.detach);
  EXPECT_EQ(info.signatureArgument1, 0U);
  EXPECT_EQ(info.signatureArgument2, 1337659200U);
  EXPECT_EQ(info.signatureArgument3, 0U);
  EXPECT_EQ(info.signatureArgument4, 0U);
  EXPECT_EQ(info.processId, 0);
  EXPECT_EQ(info.text, "");
  EXPECT_FALSE(info.flag);
}

TEST_F(ProcessApiTest, StringsUpToTheNullPointerBecomeTheArgumentsOneByOne) {
  LaunchInfo info;
  const std::string append = "append=" + m_folder.file("out");
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), append.c_str(), "arguments", "two words", "",
                             "a\"b'c $HOME;*", nullptr),
                0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(test::readFile(m_folder.file("out")), "6\n[" + childProgram() + "]\n[" + append +
                                                      "]\n[arguments]\n[two words]\n[]\n[a\"b'c $HOME;*]\n");
}

// Keeps what it is to launch.
class RecordingProcessApi : public CProcessApi {
 public:
  using CProcessApi::Launch;
  ResultCode Launch(LaunchInfo& info, std::vector<const char*> arguments) override {
    info.processId = 4711;
    m_arguments.assign(arguments.begin(), arguments.end());
    return PROCESS_API_ERROR_NOT_IMPLEMENTED;
  }
  std::vector<std::string> m_arguments;
};

TEST_F(ProcessApiTest, GatheredStringsGoToTheLaunchWithAListThatADerivedClassMayReplace) {
  EXPECT_TRUE(std::has_virtual_destructor_v<CProcessApi>);
  RecordingProcessApi recording;
  CProcessApi& api = recording;
  LaunchInfo info;
  EXPECT_RESULT(api.Launch(info, "/a/program", "one", "", "three", nullptr),
                PROCESS_API_ERROR_NOT_IMPLEMENTED);
  EXPECT_EQ(info.processId, 4711);
  EXPECT_EQ(recording.m_arguments, (std::vector<std::string>{"/a/program", "one", "", "three"}));
}

TEST_F(ProcessApiTest, ListOfArgumentsIsTakenAsItIs) {
  LaunchInfo info;
  const std::string append = "append=" + m_folder.file("out");
  std::vector<const char*> arguments = {childProgram().c_str(), append.c_str(), "arguments", "x y"};
  const std::string program = childProgram();
  arguments[0] = program.c_str();
  ASSERT_RESULT(m_api.Launch(info, arguments), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(test::readFile(m_folder.file("out")),
            "4\n[" + program + "]\n[" + append + "]\n[arguments]\n[x y]\n");
}

TEST_F(ProcessApiTest, ArgumentsBehindANullPointerInTheListAreNotTheChilds) {
  LaunchInfo info;
  const std::string program = childProgram();
  const std::string append = "append=" + m_folder.file("out");
  ASSERT_RESULT(m_api.Launch(info, {program.c_str(), append.c_str(), "arguments", nullptr, "lost"}), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(test::readFile(m_folder.file("out")), "3\n[" + program + "]\n[" + append + "]\n[arguments]\n");
}

TEST_F(ProcessApiTest, NoProgramIsABadParameterAndNoChild) {
  LaunchInfo info;
  info.processId = 77;
  EXPECT_RESULT(m_api.Launch(info, std::vector<const char*>()), PROCESS_API_ERROR_BAD_PARAMETER);
  EXPECT_EQ(info.processId, 0);
  info.processId = 77;
  EXPECT_RESULT(m_api.Launch(info, std::vector<const char*>{nullptr, "x"}), PROCESS_API_ERROR_BAD_PARAMETER);
  EXPECT_EQ(info.processId, 0);
  const char* const none = nullptr;
  EXPECT_RESULT(m_api.Launch(info, none, nullptr), PROCESS_API_ERROR_BAD_PARAMETER);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(ProcessApiTest, ProgramWithoutASlashIsSearchedInThePath) {
  LaunchInfo info;
  ASSERT_RESULT(m_api.Launch(info, "sh", "-c", "exit 9", nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 9);
}

TEST_F(ProcessApiTest, ScriptWithoutAnInterpreterLineIsRunByTheShell) {
  test::writeFile(m_folder.file("script"), "exit 12\n");
  ASSERT_EQ(chmod(m_folder.file("script").c_str(), 0755), 0);
  LaunchInfo info;
  ASSERT_RESULT(m_api.Launch(info, m_folder.file("script").c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 12);
}

TEST_F(ProcessApiTest, FailedForkIsLoggedWithTheSystemsText) {
  LaunchInfo info;
  info.processId = 77;
  hostCalls().forkCall.fail(EAGAIN);
  EXPECT_RESULT(m_api.Launch(info, childProgram().c_str(), nullptr), PROCESS_API_ERROR_UNKNOWN);
  EXPECT_EQ(info.processId, 0);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "fork", EAGAIN)) << m_log.dump();
  EXPECT_TRUE(m_log.has(kLogError, std::strerror(EAGAIN))) << m_log.dump();
}

TEST(ProcessApiChildTest, ProcessLimitOfTheHostIsAFailedFork) {
  const ForkedResult result = runForked([] {
    test::dropToNobody();
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NPROC, &none);
    CProcessApi api;
    LaunchInfo info;
    return api.Launch(info, "true", nullptr) == PROCESS_API_ERROR_UNKNOWN ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "fork", EAGAIN)) << result.dump();
}

TEST(ProcessApiChildTest, MissingProgramLaunchesAndExitsWith238) {
  const ForkedResult result = runForked([] {
    LaunchInfo info;
    return launchAndWait(info, {"/nowhere/at/all"});
  });
  EXPECT_EQ(result.exitStatus, 238) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "execvp", ENOENT)) << result.dump();
  ASSERT_EQ(result.records.size(), 1U) << result.dump();
  EXPECT_EQ(result.records[0].field("Description"), std::strerror(ENOENT));
}

// What is launched for a command line that begins with a blank.
TEST(ProcessApiChildTest, EmptyProgramLaunchesAndExitsWith238) {
  const ForkedResult result = runForked([] {
    LaunchInfo info;
    return launchAndWait(info, {"", "true"});
  });
  EXPECT_EQ(result.exitStatus, 238) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "execvp", ENOENT)) << result.dump();
}

TEST(ProcessApiChildTest, ProgramThatIsNotExecutableExitsWith239) {
  TempFolder folder;
  test::writeFile(folder.file("data"), "no program");
  const ForkedResult result = runForked([&folder] {
    LaunchInfo info;
    return launchAndWait(info, {folder.file("data").c_str()});
  });
  EXPECT_EQ(result.exitStatus, 239) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "execvp", EACCES)) << result.dump();
}

TEST(ProcessApiChildTest, ChildInheritsEveryDescriptorAndItsOutputGoesWhereTheParentsGoes) {
  TempFolder folder;
  test::writeFile(folder.file("in"), "hello\n");
  const ForkedResult result = runForked([&folder] {
    const int out = open(folder.file("out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const int other = open(folder.file("other").c_str(), O_WRONLY | O_CREAT, 0644);
    const int in = open(folder.file("in").c_str(), O_RDONLY | O_CLOEXEC);
    const int error = open(folder.file("error").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(error, STDERR_FILENO);
    const std::string command = "cat; echo complaint >&2; echo there >&" + std::to_string(other);
    LaunchInfo info;
    return launchAndWait(info, {"/bin/bash", "-c", command.c_str()});
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(test::readFile(folder.file("out")), "hello\n");
  EXPECT_EQ(test::readFile(folder.file("error")), "complaint\n");
  EXPECT_EQ(test::readFile(folder.file("other")), "there\n");
}

// ---- The signature test ----

class FakeVerifier : public VerifyFileSignature {
 public:
  ResultCode IsValid(const char* path, std::uint64_t argument1, std::uint64_t argument2,
                     std::uint64_t argument3, std::uint64_t argument4) override {
    m_tested.push_back(path != nullptr ? path : "(null)");
    m_arguments = {argument1, argument2, argument3, argument4};
    return m_result;
  }
  ResultCode m_result = 0;
  std::vector<std::string> m_tested;
  std::vector<std::uint64_t> m_arguments;
};

TEST_F(ProcessApiTest, NullIsNoVerifierAndChangesNothing) {
  FakeVerifier verifier;
  EXPECT_RESULT(m_api.setVerifier(nullptr), PROCESS_API_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(m_api.setVerifier(&verifier), 0);
  EXPECT_RESULT(m_api.setVerifier(nullptr), PROCESS_API_ERROR_BAD_PARAMETER);
  LaunchInfo info;
  info.verifySignature = true;
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(verifier.m_tested, std::vector<std::string>{childProgram()});
}

TEST_F(ProcessApiTest, SignatureTestWithoutAVerifierIsABadHandle) {
  LaunchInfo info;
  info.verifySignature = true;
  EXPECT_RESULT(m_api.Launch(info, childProgram().c_str(), nullptr), PROCESS_API_ERROR_BAD_HANDLE);
  EXPECT_EQ(info.processId, 0);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(ProcessApiTest, RefusedSignatureIsLoggedAndReturnedAndNothingIsStarted) {
  FakeVerifier verifier;
  verifier.m_result = PROCESS_API_ERROR_NO_SIG;
  ASSERT_RESULT(m_api.setVerifier(&verifier), 0);
  LaunchInfo info;
  info.verifySignature = true;
  EXPECT_RESULT(
      m_api.Launch(info, childProgram().c_str(), ("touch=" + m_folder.file("trace")).c_str(), nullptr),
      PROCESS_API_ERROR_NO_SIG);
  EXPECT_EQ(info.processId, 0);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "VerifyFileSignature IsValid", PROCESS_API_ERROR_NO_SIG))
      << m_log.dump();
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_FALSE(test::exists(m_folder.file("trace")));
}

TEST_F(ProcessApiTest, FourSignatureArgumentsAreHandedOverInTheirOrder) {
  FakeVerifier verifier;
  ASSERT_RESULT(m_api.setVerifier(&verifier), 0);
  LaunchInfo info;
  info.verifySignature = true;
  info.signatureArgument1 = 0x100000001;
  info.signatureArgument3 = 3;
  info.signatureArgument4 = 4;
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(verifier.m_arguments, (std::vector<std::uint64_t>{0x100000001, 1337659200, 3, 4}));
}

TEST_F(ProcessApiTest, WithoutTheFlagTheVerifierIsNotAsked) {
  FakeVerifier verifier;
  verifier.m_result = PROCESS_API_ERROR_NO_SIG;
  ASSERT_RESULT(m_api.setVerifier(&verifier), 0);
  EXPECT_EQ(exitCodeOf(launch("exit=3")), 3);
  EXPECT_TRUE(verifier.m_tested.empty());
}

TEST_F(ProcessApiTest, ShellInAnyCaseHasItsScriptTestedInstead) {
  FakeVerifier verifier;
  verifier.m_result = PROCESS_API_ERROR_NO_SIG;
  ASSERT_RESULT(m_api.setVerifier(&verifier), 0);
  LaunchInfo info;
  info.verifySignature = true;
  for (const char* program : {"/bin/sh", "/BIN/SH", "/bin/bash", "/Bin/Bash", "/usr/bin/sh", "sh"}) {
    EXPECT_RESULT(m_api.Launch(info, program, "/a/script", nullptr), PROCESS_API_ERROR_NO_SIG);
  }
  EXPECT_RESULT(m_api.Launch(info, "/bin/sh", nullptr), PROCESS_API_ERROR_NO_SIG);
  EXPECT_EQ(verifier.m_tested, (std::vector<std::string>{"/a/script", "/a/script", "/a/script", "/a/script",
                                                         "/usr/bin/sh", "sh", "(null)"}));
}

// ---- Detached ----

TEST_F(ProcessApiTest, DetachedProgramRunsAsNobodysChildAndItsIdStaysUnknown) {
  LaunchInfo info;
  info.detach = true;
  info.processId = 77;
  const std::string done = m_folder.file("done");
  const std::string pidFile = m_folder.file("pid");
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), ("pid=" + pidFile).c_str(),
                             ("touch=" + done).c_str(), nullptr),
                0);
  EXPECT_EQ(info.processId, 0);
  // The child in between has been reaped by now, and the program isn't ours to wait for.
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  ASSERT_TRUE(waitUntil([&done] { return test::exists(done); }));
  EXPECT_GT(std::stoi(test::readFile(pidFile)), 0);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST(ProcessApiChildTest, DetachedChildThatSomebodyElseReapedIsLoggedOnly) {
  const ForkedResult result = runForked([] {
    signal(SIGCHLD, SIG_IGN);  // the system reaps
    CProcessApi api;
    LaunchInfo info;
    info.detach = true;
    const ResultCode rc = api.Launch(info, "true", nullptr);
    return rc == 0 && info.processId == 0 ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "waitpid", ECHILD)) << result.dump();
}

TEST(ProcessApiChildTest, DetachedLaunchWhoseSecondForkFailsReturnsInTheChild) {
  test::HostCallsReset reset;
  TempFolder folder;
  const ForkedResult result = runForked([&folder] {
    hostCalls().forkCall.fail(EAGAIN, 1);
    const pid_t caller = getpid();
    CProcessApi api;
    LaunchInfo info;
    info.detach = true;
    const ResultCode rc = api.Launch(info, "true", nullptr);
    if (getpid() != caller) {
      test::writeFile(folder.file(rc == PROCESS_API_ERROR_UNKNOWN ? "unknown" : "other"), "");
      _exit(0);
    }
    return rc == 0 && info.processId == 0 ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_TRUE(test::exists(folder.file("unknown")));
  EXPECT_TRUE(result.hasReturnCode(kLogError, "fork", EAGAIN)) << result.dump();
  ASSERT_EQ(result.records.size(), 1U) << result.dump();
  EXPECT_EQ(result.records[0].field("Description"), std::strerror(EAGAIN));
}

// A child is a copy of the whole program: its exit handlers would delete the parent's temporary files
// and write out once more what the parent hasn't flushed yet.
TEST(ProcessApiChildTest, NoChildThatEndsBeforeItsProgramRunsExitHandlersOrFlushesStreams) {
  test::HostCallsReset reset;
  TempFolder folder;
  test::writeFile(folder.file("data"), "no program");
  const ForkedResult result = runForked([&folder] {
    static std::string s_handled;
    s_handled = folder.file("handled");
    if (std::atexit([] { test::writeFile(s_handled, ""); }) != 0) {
      return 1;
    }
    std::FILE* unflushed = std::fopen(folder.file("unflushed").c_str(), "w");
    std::fputs("once\n", unflushed);
    LaunchInfo missing;
    LaunchInfo notExecutable;
    LaunchInfo unknownUser;
    unknownUser.runAsUser = true;
    unknownUser.userName = "no-such-user-here";
    const char* const environment[] = {"FIRST=1", nullptr};
    LaunchInfo badEnvironment;
    badEnvironment.environment = environment;
    std::string exits = std::to_string(launchAndWait(missing, {"/nowhere/at/all"})) + " " +
                        std::to_string(launchAndWait(notExecutable, {folder.file("data").c_str()})) + " " +
                        std::to_string(launchAndWait(unknownUser, {"true"})) + " ";
    hostCalls().putenvCall.fail(ENOMEM);
    exits += std::to_string(launchAndWait(badEnvironment, {"true"}));
    CProcessApi api;
    LaunchInfo detached;
    detached.detach = true;
    if (exits != "238 239 255 255" || api.Launch(detached, "true", nullptr) != 0) {
      return 2;
    }
    return std::fclose(unflushed) == 0 ? 7 : 3;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_EQ(test::readFile(folder.file("unflushed")), "once\n");
  EXPECT_FALSE(test::exists(folder.file("handled")));
}

// ---- Working folder, environment, user ----

TEST_F(ProcessApiTest, ChildStartsInTheWorkingFolderAndTheParentStaysInItsOwn) {
  char before[PATH_MAX];
  ASSERT_NE(getcwd(before, sizeof(before)), nullptr);
  LaunchInfo info;
  info.workingDirectory = m_folder.path().c_str();
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), "append=out,cwd", nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  char real[PATH_MAX];
  ASSERT_NE(realpath(m_folder.path().c_str(), real), nullptr);
  EXPECT_EQ(test::readFile(m_folder.file("out")), std::string("cwd ") + real + "\n");
  char after[PATH_MAX];
  ASSERT_NE(getcwd(after, sizeof(after)), nullptr);
  EXPECT_STREQ(before, after);
}

TEST(ProcessApiChildTest, MissingWorkingFolderIsAWarningAndTheProgramStartsInTheOldOne) {
  TempFolder folder;
  const ForkedResult result = runForked([&folder] {
    test::WorkingFolder here(folder.path());
    LaunchInfo info;
    info.workingDirectory = "/nowhere/at/all";
    const std::string program = childProgram();
    return launchAndWait(info, {program.c_str(), "touch=here"});
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_TRUE(test::exists(folder.file("here")));
  EXPECT_TRUE(result.hasReturnCode(kLogWarning, "chdir", ENOENT)) << result.dump();
}

TEST_F(ProcessApiTest, EnvironmentEntriesAreAddedToTheChildsEnvironmentOnly) {
  test::ScopedEnv kept("TOLM_TEST_KEPT", "old");
  test::ScopedEnv changed("TOLM_TEST_CHANGED", "old");
  test::ScopedEnv added("TOLM_TEST_ADDED", nullptr);
  LaunchInfo info;
  const char* const environment[] = {"TOLM_TEST_ADDED=a=b c", "TOLM_TEST_CHANGED=new", nullptr};
  info.environment = environment;
  const std::string modes =
      "append=" + m_folder.file("out") + ",env=TOLM_TEST_KEPT,env=TOLM_TEST_CHANGED,env=TOLM_TEST_ADDED";
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), modes.c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(test::readFile(m_folder.file("out")),
            "TOLM_TEST_KEPT=old\nTOLM_TEST_CHANGED=new\nTOLM_TEST_ADDED=a=b c\n");
  EXPECT_EQ(std::getenv("TOLM_TEST_ADDED"), nullptr);
  EXPECT_STREQ(std::getenv("TOLM_TEST_CHANGED"), "old");
}

// What the host's putenv makes of it: the variable goes, and nothing fails.
TEST_F(ProcessApiTest, EnvironmentEntryWithoutAnEqualsSignTakesItsVariableAwayAndTheNextOnesCount) {
  test::ScopedEnv taken("TOLM_TEST_TAKEN", "old");
  test::ScopedEnv kept("TOLM_TEST_KEPT", "old");
  test::ScopedEnv added("TOLM_TEST_ADDED", nullptr);
  LaunchInfo info;
  const char* const environment[] = {"TOLM_TEST_TAKEN", "", "TOLM_TEST_UNKNOWN", "TOLM_TEST_ADDED=a",
                                     nullptr};
  info.environment = environment;
  const std::string modes =
      "append=" + m_folder.file("out") + ",env=TOLM_TEST_TAKEN,env=TOLM_TEST_KEPT,env=TOLM_TEST_ADDED";
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), modes.c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  EXPECT_EQ(test::readFile(m_folder.file("out")),
            "TOLM_TEST_TAKEN unset\nTOLM_TEST_KEPT=old\nTOLM_TEST_ADDED=a\n");
  EXPECT_STREQ(std::getenv("TOLM_TEST_TAKEN"), "old");
}

TEST(ProcessApiChildTest, EnvironmentEntryThatCannotBeSetEndsTheChildWith255BehindTheChangeOfFolder) {
  test::HostCallsReset reset;
  TempFolder folder;
  const ForkedResult result = runForked([&folder] {
    hostCalls().putenvCall.fail(ENOMEM, 1);
    LaunchInfo info;
    const char* const environment[] = {"FIRST=1", "SECOND=2", nullptr};
    info.environment = environment;
    info.workingDirectory = "/nowhere/at/all";
    const std::string program = childProgram();
    const std::string touch = "touch=" + folder.file("trace");
    return launchAndWait(info, {program.c_str(), touch.c_str()});
  });
  EXPECT_EQ(result.exitStatus, 255) << result.dump();
  EXPECT_FALSE(test::exists(folder.file("trace")));
  ASSERT_EQ(result.records.size(), 2U) << result.dump();
  EXPECT_EQ(result.records[0].field("Invoked Function"), "chdir");
  EXPECT_EQ(result.records[1].level, kLogError);
  EXPECT_EQ(result.records[1].text(),
            std::string("Cannot set environment variable: SECOND=2 Error: ") + std::strerror(ENOMEM));
}

TEST(ProcessApiChildTest, UnknownUserEndsTheChildWith255AheadOfTheChangeOfFolder) {
  const ForkedResult result = runForked([] {
    LaunchInfo info;
    info.workingDirectory = "/nowhere/at/all";
    info.runAsUser = true;
    info.userName = "no-such-user-here";
    return launchAndWait(info, {"true"});
  });
  EXPECT_EQ(result.exitStatus, 255) << result.dump();
  EXPECT_EQ(result.invokedFunctions(), "getpwnam CUnixImpersonate::PermanentlyBecomeUser") << result.dump();
  EXPECT_TRUE(
      result.hasReturnCode(kLogError, "CUnixImpersonate::PermanentlyBecomeUser", GLOBAL_ERROR_UNEXPECTED))
      << result.dump();
}

TEST(ProcessApiChildTest, RootStartsAProgramAsAnotherUserAndOthersAreRefused) {
  TempFolder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), 0777), 0);
  const ForkedResult result = runForked([&folder] {
    // The program's own folder may be closed to the other user; the shell's isn't.
    LaunchInfo info;
    info.runAsUser = true;
    info.userName = "nobody";
    info.workingDirectory = folder.path().c_str();
    return launchAndWait(info, {"/bin/sh", "-c", "id -u >who; id -g >>who"});
  });
  if (geteuid() != 0) {
    EXPECT_EQ(result.exitStatus, 255) << result.dump();
    EXPECT_TRUE(result.hasReturnCode(kLogError, "initgroups", EPERM)) << result.dump();
    return;
  }
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  const passwd* nobody = getpwnam("nobody");
  ASSERT_NE(nobody, nullptr);
  EXPECT_EQ(test::readFile(folder.file("who")),
            std::to_string(nobody->pw_uid) + "\n" + std::to_string(nobody->pw_gid) + "\n");
}

TEST(ProcessApiChildTest, WorkingFolderIsEnteredWithTheOtherUsersRights) {
  TempFolder folder;
  ASSERT_EQ(chmod(folder.path().c_str(), 0700), 0);
  const ForkedResult result = runForked([&folder] {
    test::WorkingFolder here("/");
    LaunchInfo info;
    info.runAsUser = true;
    info.userName = "nobody";
    info.workingDirectory = folder.path().c_str();
    return launchAndWait(info, {"/bin/sh", "-c", "test \"$(pwd)\" = / && exit 5"});
  });
  // An ordinary user isn't let change to another and never gets as far as the folder.
  EXPECT_EQ(result.exitStatus, geteuid() == 0 ? 5 : 255) << result.dump();
  EXPECT_EQ(result.hasReturnCode(kLogWarning, "chdir", EACCES), geteuid() == 0) << result.dump();
}

TEST(ProcessApiChildTest, AnotherUsersProgramGetsNoEnvironmentButTheEntries) {
  test::HostCallsReset reset;
  TempFolder folder;
  const ForkedResult result = runForked([&folder] {
    test::ScopedEnv secret("TOLM_TEST_SECRET", "x");
    hostCalls().initgroupsCall.pretend();
    hostCalls().setgidCall.pretend();
    hostCalls().setuidCall.pretend();
    LaunchInfo info;
    const char* const environment[] = {"ONLY=this", nullptr};
    info.environment = environment;
    info.runAsUser = true;
    info.userName = "nobody";
    const std::string program = childProgram();
    const std::string append = "append=" + folder.file("out");
    return launchAndWait(info, {program.c_str(), append.c_str(), "environment"});
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(test::readFile(folder.file("out")), "ONLY=this\n");
}

TEST_F(ProcessApiTest, UserNameOrFlagAloneChangesNoUser) {
  test::ScopedEnv kept("TOLM_TEST_KEPT", "yes");
  const std::string modes = "append=" + m_folder.file("out") + ",env=TOLM_TEST_KEPT,uid";
  LaunchInfo info;
  info.userName = "nobody";
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), modes.c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  info.userName = nullptr;
  info.runAsUser = true;
  ASSERT_RESULT(m_api.Launch(info, childProgram().c_str(), modes.c_str(), nullptr), 0);
  EXPECT_EQ(exitCodeOf(info.processId), 0);
  const std::string once =
      "TOLM_TEST_KEPT=yes\nuid " + std::to_string(getuid()) + " gid " + std::to_string(getgid()) + "\n";
  EXPECT_EQ(test::readFile(m_folder.file("out")), once + once);
}

// ---- Looking, ending ----

TEST_F(ProcessApiTest, CheckSaysZeroWhileTheChildRunsNotRunningOnceAndUnknownAfterwards) {
  const std::int32_t child = launch("sleep=60000");
  EXPECT_RESULT(m_api.checkProcess(child), 0);
  kill(child, SIGKILL);
  waitUntilEnded(child);
  EXPECT_RESULT(m_api.checkProcess(child), PROCESS_API_ERROR_NOTRUNNING);
  EXPECT_RESULT(m_api.checkProcess(child), PROCESS_API_ERROR_UNKNOWN);
}

TEST_F(ProcessApiTest, CheckOfAProcessThatIsNoChildIsUnknown) {
  EXPECT_RESULT(m_api.checkProcess(getppid()), PROCESS_API_ERROR_UNKNOWN);
}

// A look at process 0 through waitpid would take whichever child of the group has ended.
TEST_F(ProcessApiTest, LookAtProcessZeroSaysNotRunningAndReapsNoOtherChild) {
  EXPECT_RESULT(m_api.checkProcess(0), PROCESS_API_ERROR_NOTRUNNING);
  const std::int32_t running = launch("sleep=60000");
  EXPECT_RESULT(m_api.checkProcess(0), PROCESS_API_ERROR_NOTRUNNING);
  const std::int32_t ended = launch("exit=5");
  waitUntilEnded(ended);
  EXPECT_RESULT(m_api.checkProcess(0), PROCESS_API_ERROR_NOTRUNNING);
  EXPECT_EQ(exitCodeOf(ended), 5);
  killAndReap(running);
}

TEST_F(ProcessApiTest, IdsOfProcessGroupsReapNoChild) {
  const std::int32_t child = launch("exit=5");
  waitUntilEnded(child);
  int exitCode = 0;
  for (const std::int32_t id : {0, -1, -getpgrp()}) {
    EXPECT_NE(m_api.checkProcess(id), 0U);
    EXPECT_RESULT(m_api.WaitForProcess(id, exitCode, nullptr, 0, kForever), PROCESS_API_ERROR_UNKNOWN);
    EXPECT_RESULT(m_api.WaitForProcess(id, exitCode, nullptr, 0, kLong), PROCESS_API_ERROR_UNKNOWN);
    EXPECT_EQ(exitCode, 1);
  }
  EXPECT_EQ(exitCodeOf(child), 5);
}

TEST_F(ProcessApiTest, TerminateEndsTheChildAndReapsIt) {
  const std::int32_t child = launch("sleep=60000");
  EXPECT_RESULT(m_api.terminateProcess(child), 0);
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ProcessApiTest, TerminateOfAChildThatHasEndedAlreadyReapsIt) {
  const std::int32_t child = launch("exit=1");
  waitUntilEnded(child);
  EXPECT_RESULT(m_api.terminateProcess(child), 0);
  EXPECT_RESULT(m_api.terminateProcess(child), PROCESS_API_ERROR_UNKNOWN);
}

TEST_F(ProcessApiTest, TerminateWaitsForAChildThatIgnoresTheSignal) {
  const std::string ready = m_folder.file("ready");
  const std::int32_t child = launch("ignoreTerm,touch=" + ready + ",sleep=60000");
  ASSERT_TRUE(waitUntil([&ready] { return test::exists(ready); }));
  std::atomic<bool> hasReturned = false;
  std::thread killer([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_FALSE(hasReturned);
    kill(child, SIGKILL);
  });
  EXPECT_RESULT(m_api.terminateProcess(child), 0);
  hasReturned = true;
  killer.join();
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1);
}

TEST(ProcessApiChildTest, TerminateNeverReachesAProcessGroup) {
  const ForkedResult result = runForked([] {
    CProcessApi api;
    int refused = 0;
    for (const std::int32_t id : {0, -getpgrp(), -1}) {
      refused += api.terminateProcess(id) == PROCESS_API_ERROR_UNKNOWN ? 1 : 0;
    }
    return refused;
  });
  EXPECT_EQ(result.exitStatus, 3) << result.dump();
}

TEST_F(ProcessApiTest, CurrentProcessIsThisOne) {
  EXPECT_EQ(m_api.currentProcessId(), getpid());
}

// ---- Waiting ----

TEST_F(ProcessApiTest, ExitStatusOfTheChildIsTheExitCodeOfTheWait) {
  int exitCode = -7;
  EXPECT_RESULT(wait(launch("exit=42"), exitCode), 0);
  EXPECT_EQ(exitCode, 42);
  EXPECT_RESULT(wait(launch("exit=255"), exitCode, kLong), 0);
  EXPECT_EQ(exitCode, 255);
  EXPECT_RESULT(wait(launch("exit=0"), exitCode, kLong), 0);
  EXPECT_EQ(exitCode, 0);
}

TEST_F(ProcessApiTest, WaitWithLimitZeroTimesOutAtOnceEvenIfTheChildHasEnded) {
  const std::int32_t child = launch("exit=6");
  waitUntilEnded(child);
  int exitCode = 0;
  EXPECT_RESULT(wait(child, exitCode, 0), PROCESS_API_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(exitCode, 1);
  // Nobody has looked at the child.
  EXPECT_EQ(exitCodeOf(child), 6);
}

TEST_F(ProcessApiTest, WaitThatRunsOutTimesOutAndTheChildRunsOn) {
  const std::int32_t child = launch("sleep=60000");
  int exitCode = 0;
  EXPECT_RESULT(wait(child, exitCode, 50), PROCESS_API_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(exitCode, 1);
  EXPECT_RESULT(m_api.checkProcess(child), 0);
  killAndReap(child);
}

TEST_F(ProcessApiTest, ChildEndedByASignalCountsAsTimeoutWithExitCodeOne) {
  for (const int number : {SIGSEGV, SIGTERM, SIGKILL}) {
    for (const std::uint32_t limit : {kForever, kLong}) {
      int exitCode = 0;
      EXPECT_RESULT(wait(launch("signal=" + std::to_string(number)), exitCode, limit),
                    PROCESS_API_ERROR_WAIT_TIMEOUT);
      EXPECT_EQ(exitCode, 1);
    }
  }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(ProcessApiTest, ChildReapedByACheckIsUnknownToALaterWait) {
  const std::int32_t child = launch("exit=4");
  waitUntilEnded(child);
  EXPECT_RESULT(m_api.checkProcess(child), PROCESS_API_ERROR_NOTRUNNING);
  int exitCode = 0;
  EXPECT_RESULT(wait(child, exitCode, kLong), PROCESS_API_ERROR_UNKNOWN);
  EXPECT_EQ(exitCode, 1);
  EXPECT_TRUE(m_log.has(kLogError, std::string("waitpid failed: ") + std::strerror(ECHILD))) << m_log.dump();
  m_log.clear();
  EXPECT_RESULT(wait(child, exitCode, kForever), PROCESS_API_ERROR_UNKNOWN);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(ProcessApiTest, RaisedEventInterruptsTheWaitAndIsConsumedWithoutItsCallback) {
  static int s_calls = 0;
  s_calls = 0;
  ResultCode result = 0;
  CCEvent event(
      result, nullptr, kEventPlain,
      [](std::uint64_t, std::uint32_t) {
        ++s_calls;
        return ResultCode{0};
      },
      0, 0);
  ASSERT_RESULT(result, 0);
  const std::int32_t child = launch("sleep=60000");
  ASSERT_RESULT(event.SetEvent(), 0);
  int exitCode = 0;
  // With an event even the limit without end is a polled wait.
  EXPECT_RESULT(m_api.WaitForProcess(child, exitCode, &event, 0, kForever),
                PROCESS_API_ERROR_WAIT_INTERRUPTED);
  EXPECT_EQ(exitCode, 1);
  EXPECT_EQ(s_calls, 0);
  EXPECT_FALSE(event.isEventSet());
  EXPECT_RESULT(m_api.checkProcess(child), 0);
  killAndReap(child);
}

TEST_F(ProcessApiTest, EventRaisedByAnotherThreadInterruptsAWaitUnderWay) {
  ResultCode result = 0;
  CCEvent event(result);
  const std::int32_t child = launch("sleep=60000");
  std::thread raiser([&event] {
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_RESULT(event.Signal(), 0);
  });
  int exitCode = 0;
  EXPECT_RESULT(m_api.WaitForProcess(child, exitCode, &event, 0, kLong), PROCESS_API_ERROR_WAIT_INTERRUPTED);
  raiser.join();
  killAndReap(child);
}

TEST_F(ProcessApiTest, ChildThatEndsFirstEndsAWaitWithAnEvent) {
  ResultCode result = 0;
  CCEvent event(result);
  int exitCode = 0;
  EXPECT_RESULT(m_api.WaitForProcess(launch("sleep=50,exit=8"), exitCode, &event, 0, kLong), 0);
  EXPECT_EQ(exitCode, 8);
}

TEST_F(ProcessApiTest, WaitWithAnUnraisedEventRunsOut) {
  ResultCode result = 0;
  CCEvent event(result);
  const std::int32_t child = launch("sleep=60000");
  int exitCode = 0;
  EXPECT_RESULT(m_api.WaitForProcess(child, exitCode, &event, 0, 50), PROCESS_API_ERROR_WAIT_TIMEOUT);
  killAndReap(child);
}

TEST_F(ProcessApiTest, EventWithoutAPipeEndsTheWaitAsUnknown) {
  hostCalls().pipeCall.fail(EMFILE);
  ResultCode result = 0;
  CCEvent event(result);
  EXPECT_RESULT(result, EVENT_ERROR_CREATE_FAILED);
  const std::int32_t child = launch("sleep=60000");
  int exitCode = 0;
  EXPECT_RESULT(m_api.WaitForProcess(child, exitCode, &event, 0, kLong), PROCESS_API_ERROR_UNKNOWN);
  killAndReap(child);
}

TEST_F(ProcessApiTest, WaitLooksAtTheChildEveryTwentyMillisecondsAndTheOneWithoutEndNever) {
  int exitCode = 0;
  EXPECT_RESULT(wait(launch("sleep=30"), exitCode, kForever), 0);
  EXPECT_EQ(hostCalls().lastSleep, -1);
  const std::int32_t child = launch("sleep=60000");
  hostCalls().hasOwnClock = true;
  EXPECT_RESULT(wait(child, exitCode, 50), PROCESS_API_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(hostCalls().ownClock, 60U);
  EXPECT_EQ(hostCalls().lastSleep, 20000);
  EXPECT_EQ(hostCalls().lastSelect, -1);
  hostCalls().lastSleep = -1;
  ResultCode result = 0;
  CCEvent event(result);
  EXPECT_RESULT(m_api.WaitForProcess(child, exitCode, &event, 0, 50), PROCESS_API_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(hostCalls().ownClock, 120U);
  EXPECT_EQ(hostCalls().lastSelect, 20000);
  EXPECT_EQ(hostCalls().lastSleep, -1);
  killAndReap(child);
}

TEST_F(ProcessApiTest, WaitForeverFlagTakesTheLimitAwayUntilItIsCleared) {
  m_api.restartWait(true);
  int exitCode = 0;
  EXPECT_RESULT(wait(launch("sleep=100,exit=3"), exitCode, 0), 0);
  EXPECT_EQ(exitCode, 3);
  m_api.restartWait(false);
  const std::int32_t child = launch("sleep=60000");
  EXPECT_RESULT(wait(child, exitCode, 0), PROCESS_API_ERROR_WAIT_TIMEOUT);
  killAndReap(child);
}

TEST_F(ProcessApiTest, AnotherThreadProlongsAWaitUnderWayByStartingItAnew) {
  const std::string go = m_folder.file("go");
  const std::int32_t child = launch("await=" + go + ",exit=3");
  hostCalls().hasOwnClock = true;
  hostCalls().onPause = [this, &go, child] {
    if (hostCalls().ownClock == 1000) {
      std::thread([this] { m_api.restartWait(false); }).join();
    } else if (hostCalls().ownClock == 2400) {
      // Far behind the end of the limit that the wait began with.
      test::writeFile(go, "");
      waitUntilEnded(child);
    }
  };
  int exitCode = 0;
  EXPECT_RESULT(wait(child, exitCode, 1500), 0);
  EXPECT_EQ(hostCalls().ownClock, 2400U);
  EXPECT_EQ(exitCode, 3);
}

// ---- Priority ----

TEST(ProcessApiChildTest, PriorityIsExchangedForTheOldOne) {
  const ForkedResult result = runForked([] {
    const int before = getpriority(PRIO_PROCESS, 0);
    // The tests themselves may run at the lowest priority there is.
    const int lower = std::min(before + 3, 19);
    CProcessApi api;
    int priority = lower;
    if (api.SetThreadPriority(priority) != 0 || priority != before || getpriority(PRIO_PROCESS, 0) != lower) {
      return 1;
    }
    // Going back takes rights that an ordinary user mostly hasn't.
    const ResultCode rc = api.SetThreadPriority(priority);
    if (rc == 0) {
      return priority == lower && getpriority(PRIO_PROCESS, 0) == before ? 7 : 2;
    }
    return geteuid() != 0 && rc == PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED && priority == before ? 7 : 3;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
}

TEST(ProcessApiChildTest, RefusedPriorityIsAWarningAndLeavesTheArgument) {
  const ForkedResult result = runForked([] {
    test::dropToNobody();
    const rlimit none = {0, 0};
    setrlimit(RLIMIT_NICE, &none);
    CProcessApi api;
    int priority = getpriority(PRIO_PROCESS, 0) - 5;
    const int asked = priority;
    const ResultCode rc = api.SetThreadPriority(priority);
    return rc == PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED && priority == asked ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogWarning, "setpriority", EACCES)) << result.dump();
}

TEST_F(ProcessApiTest, PriorityOfMinusOneCountsAsAFailureToReadIt) {
  hostCalls().getpriorityCall.fail(0);  // as a real -1 comes: without an error
  int priority = 4;
  EXPECT_RESULT(m_api.SetThreadPriority(priority), PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED);
  EXPECT_EQ(priority, 4);
  EXPECT_TRUE(m_log.hasReturnCode(kLogWarning, "getpriority", 0)) << m_log.dump();
}

// ---- The process's record ----

TEST_F(ProcessApiTest, NameOfAProcessIsItsShortCommandName) {
  char name[32];
  std::memset(name, 'x', sizeof(name));
  EXPECT_RESULT(CProcessApi::GetProcessPathName(getpid(), name, sizeof(name)), 0);
  EXPECT_STREQ(name, "ipc_test");
  EXPECT_EQ(name[sizeof(name) - 1], '\0');
}

TEST_F(ProcessApiTest, NameThatDoesNotFitIsCutWithATerminatingZero) {
  char name[6] = "xxxxx";
  EXPECT_RESULT(CProcessApi::GetProcessPathName(getpid(), name, 4), 0);
  EXPECT_STREQ(name, "ipc");
  EXPECT_EQ(name[4], 'x');
  EXPECT_RESULT(CProcessApi::GetProcessPathName(getpid(), name, 1), 0);
  EXPECT_STREQ(name, "");
  EXPECT_RESULT(CProcessApi::GetProcessPathName(getpid(), name, 0), PROCESS_API_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(CProcessApi::GetProcessPathName(getpid(), nullptr, 6), PROCESS_API_ERROR_BAD_PARAMETER);
}

TEST_F(ProcessApiTest, ProcessThatIsNotThereIsNotFoundAndNotAlive) {
  const std::int32_t child = launch("exit=0");
  EXPECT_EQ(exitCodeOf(child), 0);
  char name[32];
  EXPECT_RESULT(CProcessApi::GetProcessPathName(child, name, sizeof(name)),
                PROCESS_API_ERROR_PROCESS_NOT_FOUND);
  EXPECT_FALSE(CProcessApi::ProcessIsAlive(child));
  EXPECT_FALSE(CProcessApi::ProcessIsAlive(0));
  EXPECT_FALSE(CProcessApi::ProcessIsAlive(-1));
}

TEST_F(ProcessApiTest, RunningAndSleepingProcessesAreAliveStoppedAndDeadOnesAreNot) {
  EXPECT_TRUE(CProcessApi::ProcessIsAlive(getpid()));
  const std::int32_t child = launch("sleep=60000");
  EXPECT_TRUE(CProcessApi::ProcessIsAlive(child));
  kill(child, SIGSTOP);
  EXPECT_TRUE(waitUntil([child] { return !CProcessApi::ProcessIsAlive(child); }));
  kill(child, SIGCONT);
  EXPECT_TRUE(waitUntil([child] { return CProcessApi::ProcessIsAlive(child); }));
  kill(child, SIGKILL);
  waitUntilEnded(child);
  EXPECT_FALSE(CProcessApi::ProcessIsAlive(child));
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

class FakeLookup : public ProcessLookup {
 public:
  int find(std::int32_t processId, std::unique_ptr<BSDProcess>& record) override {
    if (m_hasRecord) {
      record = std::make_unique<BSDProcess>();
      record->pid = processId;
      record->state = m_nState;
    }
    return m_nError;
  }
  int m_nError = 0;
  bool m_hasRecord = true;
  std::uint32_t m_nState = 0;
};

TEST_F(ProcessApiTest, StatesOneToThreeAreAlive) {
  FakeLookup lookup;
  std::string alive;
  for (lookup.m_nState = 0; lookup.m_nState < 7; ++lookup.m_nState) {
    alive += CProcessApi::ProcessIsAlive(5, lookup) ? "1" : "0";
  }
  EXPECT_EQ(alive, "0111000");
}

TEST_F(ProcessApiTest, LostRecordIsLoggedAndUnexpected) {
  FakeLookup lookup;
  lookup.m_hasRecord = false;
  char name[8];
  EXPECT_RESULT(CProcessApi::GetProcessPathName(5, name, sizeof(name), lookup), PROCESS_API_ERROR_UNEXPECTED);
  EXPECT_FALSE(CProcessApi::ProcessIsAlive(5, lookup));
  EXPECT_EQ(m_log.count("Missing process info"), 2U) << m_log.dump();
  EXPECT_TRUE(m_log.has(kLogError, "Missing process info")) << m_log.dump();
}

TEST_F(ProcessApiTest, FailedLookupIsNotFoundWithoutALog) {
  FakeLookup lookup;
  lookup.m_nError = EIO;
  char name[8];
  EXPECT_RESULT(CProcessApi::GetProcessPathName(5, name, sizeof(name), lookup),
                PROCESS_API_ERROR_PROCESS_NOT_FOUND);
  EXPECT_FALSE(CProcessApi::ProcessIsAlive(5, lookup));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

// ---- Nothing is left behind ----

TEST_F(ProcessApiTest, ThousandLaunchesLeaveNoDescriptorThreadOrZombie) {
  const auto descriptors = test::listFolder("/proc/self/fd").size();
  const auto threads = test::listFolder("/proc/self/task").size();
  for (int i = 0; i < 1000; ++i) {
    CProcessApi api;
    LaunchInfo info;
    info.detach = i % 10 == 9;
    ASSERT_RESULT(api.Launch(info, "/bin/true", nullptr), 0);
    if (info.detach) {
      continue;
    }
    int exitCode = 1;
    ASSERT_RESULT(api.WaitForProcess(info.processId, exitCode, nullptr, 0, kForever), 0);
    ASSERT_EQ(exitCode, 0);
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  EXPECT_EQ(test::listFolder("/proc/self/fd").size(), descriptors);
  EXPECT_EQ(test::listFolder("/proc/self/task").size(), threads);
}

}  // namespace
}  // namespace halvo
