#include "vpn/Common/Utility/CommandShell.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <memory>
#include <sstream>
#include <streambuf>
#include <type_traits>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

// What the millisecond clock says, call by call, and behind that the host's time.
std::deque<std::uint32_t> s_ticks;

}  // namespace

std::uint32_t realTick() __asm__("__real__ZN5halvo16tickMillisecondsEv");
std::uint32_t wrapTick() __asm__("__wrap__ZN5halvo16tickMillisecondsEv");
std::uint32_t wrapTick() {
  if (s_ticks.empty()) {
    return realTick();
  }
  const std::uint32_t tick = s_ticks.front();
  s_ticks.pop_front();
  return tick;
}

namespace {

using Lines = std::vector<std::string>;

class CommandShellTest : public ::testing::Test {
 protected:
  // The output of `command`, by the form with a stream.
  std::string outputOf(const std::string& command) const {
    std::ostringstream output;
    CCommandShell shell(command.c_str());
    EXPECT_RESULT(shell.Execute(output), 0) << command;
    EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
    return output.str();
  }

  static Lines linesOf(const std::string& command) {
    Lines lines;
    CCommandShell shell(command.c_str());
    EXPECT_RESULT(shell.Execute(lines), 0) << command;
    return lines;
  }

  test::LogRecorder m_log;
};

// Keeps the sizes of the blocks that are written to it.
class BlockSizes : public std::streambuf {
 public:
  std::vector<std::streamsize> sizes;

 protected:
  std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
    sizes.push_back(size);
    return size;
  }
};

// Closes a descriptor when the first block arrives.
class DescriptorCloser : public std::streambuf {
 public:
  explicit DescriptorCloser(int descriptor) : m_nDescriptor(descriptor) {}

 protected:
  std::streamsize xsputn(const char* /*text*/, std::streamsize size) override {
    if (m_nDescriptor >= 0) {
      ::close(m_nDescriptor);
      m_nDescriptor = -1;
    }
    return size;
  }

 private:
  int m_nDescriptor;
};

TEST_F(CommandShellTest, ClassHasAVirtualDestructor) {
  EXPECT_TRUE(std::has_virtual_destructor_v<CCommandShell>);
}

TEST_F(CommandShellTest, OutputGoesToTheStreamByteForByte) {
  EXPECT_EQ(outputOf("echo hello; printf 'no line feed'"), "hello\nno line feed");
  EXPECT_EQ(outputOf("true"), "");
}

TEST_F(CommandShellTest, OutputMayHoldZeroBytesAndEveryOther) {
  const test::TempFolder folder;
  std::string all;
  for (int byte = 0; byte < 256 * 17; ++byte) {
    all += static_cast<char>(byte);
  }
  test::writeFile(folder.file("all"), all);
  EXPECT_EQ(outputOf("cat '" + folder.file("all") + "'"), all);
  std::string text;
  CCommandShell shell(("cat '" + folder.file("all") + "'").c_str());
  EXPECT_RESULT(shell.Execute(text), 0);
  EXPECT_EQ(text, all);
}

TEST_F(CommandShellTest, CommandLineIsTheShells) {
  EXPECT_EQ(outputOf("for i in 1 2 3; do echo $i; done | tail -n 1"), "3\n");
}

TEST_F(CommandShellTest, StandardErrorIsNotCaptured) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(outputOf("echo out; echo complaint >&2"), "out\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "complaint\n");
}

TEST_F(CommandShellTest, MissingCommandIsAnEmptySuccessWithTheShellsComplaint) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(outputOf("no-such-command-here"), "");
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("no-such-command-here"), std::string::npos);
}

TEST_F(CommandShellTest, OutputOfExactly1024BytesTakesASecondReadThatIsEmpty) {
  BlockSizes sizes;
  std::ostream output(&sizes);
  CCommandShell shell("head -c 1024 /dev/zero");
  EXPECT_RESULT(shell.Execute(output), 0);
  EXPECT_EQ(sizes.sizes, (std::vector<std::streamsize>{1024, 0}));
  EXPECT_EQ(outputOf("head -c 1024 /dev/zero"), std::string(1024, '\0'));
}

TEST_F(CommandShellTest, OutputGoesToTheStreamInBlocksOf1024Bytes) {
  BlockSizes sizes;
  std::ostream output(&sizes);
  CCommandShell shell("head -c 2500 /dev/zero");
  EXPECT_RESULT(shell.Execute(output), 0);
  EXPECT_EQ(sizes.sizes, (std::vector<std::streamsize>{1024, 1024, 452}));
}

// The command writes a byte at a time, with pauses: a read that came back early would end it.
TEST_F(CommandShellTest, SlowOutputIsWaitedFor) {
  EXPECT_EQ(outputOf("for i in 1 2 3 4 5; do printf $i; sleep 0.05; done"), "12345");
}

TEST_F(CommandShellTest, ExitStatusIsNotLookedAt) {
  EXPECT_EQ(outputOf("echo text; exit 3"), "text\n");
  std::string text;
  CCommandShell shell("echo text; exit 3");
  EXPECT_RESULT(shell.Execute(text), 0);
  EXPECT_EQ(text, "text\n");
  EXPECT_EQ(outputOf("echo text; kill -9 $$"), "text\n");
}

TEST_F(CommandShellTest, EmptyCommandIsNotInitialized) {
  std::ostringstream output;
  std::string text = "before";
  Lines lines = {"before"};
  std::unique_ptr<CCommandShell> shells[] = {std::make_unique<CCommandShell>(),
                                             std::make_unique<CCommandShell>(""),
                                             std::make_unique<CCommandShell>(nullptr)};
  for (const auto& shell : shells) {
    EXPECT_RESULT(shell->Execute(output), GLOBAL_ERROR_NOT_INITIALIZED);
    EXPECT_RESULT(shell->Execute(text), GLOBAL_ERROR_NOT_INITIALIZED);
    EXPECT_RESULT(shell->Execute(lines), GLOBAL_ERROR_NOT_INITIALIZED);
  }
  EXPECT_EQ(output.str(), "");
  EXPECT_EQ(text, "before");
  EXPECT_EQ(lines, (Lines{"before"}));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(CommandShellTest, StringFormReplacesTheText) {
  std::string text = "before";
  CCommandShell shell("printf after");
  EXPECT_RESULT(shell.Execute(text), 0);
  EXPECT_EQ(text, "after");
}

TEST_F(CommandShellTest, LinesAreCutAtTheirFirstCarriageReturn) {
  EXPECT_EQ(linesOf("printf 'a\\r\\nb\\n'"), (Lines{"a", "b"}));
  EXPECT_EQ(linesOf("printf 'a\\rrest\\rmore\\nb\\n'"), (Lines{"a", "b"}));
}

TEST_F(CommandShellTest, LastLineWithoutALineFeedIsLost) {
  EXPECT_EQ(linesOf("printf 'a\\nb'"), (Lines{"a"}));
  EXPECT_EQ(linesOf("printf 'a'"), Lines{});
  EXPECT_EQ(linesOf("true"), Lines{});
}

TEST_F(CommandShellTest, EmptyLinesAreKept) {
  EXPECT_EQ(linesOf("printf '\\n\\na\\n\\r\\n'"), (Lines{"", "", "a", ""}));
}

TEST_F(CommandShellTest, LinesAreAddedToTheList) {
  Lines lines = {"before"};
  CCommandShell shell("echo after");
  EXPECT_RESULT(shell.Execute(lines), 0);
  EXPECT_EQ(lines, (Lines{"before", "after"}));
}

TEST_F(CommandShellTest, StaticFormGivesLinesAndRefusesANullCommandLine) {
  Lines lines;
  EXPECT_RESULT(CCommandShell::Execute("printf 'a\\nb\\n'; exit 3", lines), 0);
  EXPECT_EQ(lines, (Lines{"a", "b"}));
  EXPECT_RESULT(CCommandShell::Execute(nullptr, lines), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_EQ(lines, (Lines{"a", "b"}));
  EXPECT_RESULT(CCommandShell::Execute("", lines), 0);
  EXPECT_EQ(lines, (Lines{"a", "b"}));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(CommandShellTest, ResultsAreLoggedWithTheCommandAndTheTime) {
  CCommandShell shell("printf 'a\\r\\nb\\nlost'");
  EXPECT_RESULT(shell.ExecuteAndLogResults(), 0);
  ASSERT_EQ(m_log.records().size(), 1U);
  const test::LogRecord record = m_log.records()[0];
  EXPECT_EQ(record.level, kLogInformation);
  EXPECT_EQ(record.messageId, MID_DEBUG_MESSAGE);
  EXPECT_EQ(record.field("Function"), "ExecuteAndLogResults");
  const std::string head = "Command 'printf 'a\\r\\nb\\nlost'' took ";
  const std::string tail = " ms. Output: a\nb\n";
  const std::string text = record.text();
  ASSERT_GT(text.size(), head.size() + tail.size()) << text;
  EXPECT_EQ(text.substr(0, head.size()), head);
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  EXPECT_EQ(text.substr(head.size(), text.size() - head.size() - tail.size()).find_first_not_of("0123456789"),
            std::string::npos)
      << text;
}

TEST_F(CommandShellTest, LoggedTimeIsTheDifferenceOfTheTicksAlsoWhereTheyWrap) {
  CCommandShell shell("echo a");
  s_ticks = {5000, 6234, 0xfffffff0, 0x10};
  EXPECT_RESULT(shell.ExecuteAndLogResults(), 0);
  EXPECT_RESULT(shell.ExecuteAndLogResults(), 0);
  EXPECT_TRUE(s_ticks.empty());
  ASSERT_EQ(m_log.records().size(), 2U) << m_log.dump();
  EXPECT_EQ(m_log.records()[0].text(), "Command 'echo a' took 1234 ms. Output: a\n");
  EXPECT_EQ(m_log.records()[1].text(), "Command 'echo a' took 32 ms. Output: a\n");
}

TEST_F(CommandShellTest, FailureToLogResultsIsLoggedAndReturned) {
  CCommandShell shell;
  EXPECT_RESULT(shell.ExecuteAndLogResults(), GLOBAL_ERROR_NOT_INITIALIZED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCommandShell::Execute", GLOBAL_ERROR_NOT_INITIALIZED))
      << m_log.dump();
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_EQ(m_log.records()[0].field("Function"), "ExecuteAndLogResults");
}

TEST_F(CommandShellTest, FailureToReadIsLoggedAndWhatCameBeforeIsDelivered) {
  // popen's end of the pipe takes the lowest free descriptor.
  const int next = dup(0);
  ASSERT_GE(next, 0);
  ::close(next);
  DescriptorCloser closer(next);
  std::ostream output(&closer);
  CCommandShell shell("head -c 100000 /dev/zero 2>/dev/null");
  EXPECT_RESULT(shell.Execute(output), GLOBAL_ERROR_UNEXPECTED);
  ASSERT_EQ(m_log.records().size(), 2U) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "fread", EBADF)) << m_log.dump();
  EXPECT_EQ(m_log.records()[0].field("Description"), "Bad file descriptor");
  // The host's pclose stops at the descriptor that is gone, and the child stays for this test to reap.
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "pclose", EBADF)) << m_log.dump();
  EXPECT_GT(waitpid(-1, nullptr, 0), 0);
}

TEST_F(CommandShellTest, FailureOfPcloseIsLoggedAndChangesNoResult) {
  SignalHandler previous = nullptr;
  // Nobody's children are kept for a wait then.
  ASSERT_TRUE(install_sighdlr(SIGCHLD, SIG_IGN, &previous));
  std::string text;
  CCommandShell shell("echo text");
  EXPECT_RESULT(shell.Execute(text), 0);
  EXPECT_TRUE(install_sighdlr(SIGCHLD, previous, nullptr));
  EXPECT_EQ(text, "text\n");
  ASSERT_EQ(m_log.records().size(), 1U) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "pclose", ECHILD)) << m_log.dump();
  EXPECT_EQ(m_log.records()[0].field("Description"), "No child processes");
}

TEST_F(CommandShellTest, ACommandThatIsGivenUpIsWaitedForNoLonger) {
  // The last one writes without end, and lives on when nobody reads that any longer.
  for (const char* rest :
       {"exec sleep 200", "exec sleep 200 >/dev/null", "while :; do echo y; done 2>/dev/null"}) {
    SCOPED_TRACE(rest);
    const test::TempFolder folder;
    const std::string started = folder.file("started");
    int asked = 0;
    CCommandShell shell(("trap '' PIPE; echo $$; : > '" + started + "'; " + rest).c_str());
    // However long the shell takes to come up, what it has printed is in the pipe by then.
    shell.giveUpWhen([&] { return access(started.c_str(), F_OK) == 0 && ++asked > 3; });
    std::string output;
    EXPECT_RESULT(shell.Execute(output), 0);
    EXPECT_EQ(shell.exitStatus(), -1);
    const auto process = static_cast<pid_t>(std::strtol(output.c_str(), nullptr, 10));
    ASSERT_GT(process, 1) << output;
    // Nobody has waited for it.
    kill(process, SIGKILL);
    EXPECT_EQ(waitpid(process, nullptr, 0), process);
  }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST(CommandShellLimitTest, FailureOfPopenRunsNothing) {
  const test::TempFolder folder;
  const test::ForkedResult result = test::runForked([&folder] {
    // The undefined-behaviour sanitizer takes a descriptor to look at the logger for the first time.
    logDebugMessage("before", __FILE__, __LINE__, kLogInformation, nullptr);
    const rlimit none = {0, 0};
    if (setrlimit(RLIMIT_NOFILE, &none) != 0) {
      return 1;
    }
    const std::string command = "touch '" + folder.file("ran") + "'";
    CCommandShell shell(command.c_str());
    std::ostringstream output;
    std::string text = "before";
    Lines lines = {"before"};
    if (shell.Execute(output) != GLOBAL_ERROR_UNEXPECTED || !output.str().empty()) {
      return 2;
    }
    if (shell.Execute(text) != GLOBAL_ERROR_UNEXPECTED || !text.empty()) {
      return 3;
    }
    if (shell.Execute(lines) != GLOBAL_ERROR_UNEXPECTED || lines != Lines{"before"}) {
      return 4;
    }
    if (CCommandShell::Execute(command.c_str(), lines) != GLOBAL_ERROR_UNEXPECTED ||
        lines != Lines{"before"}) {
      return 5;
    }
    return shell.ExecuteAndLogResults() == GLOBAL_ERROR_UNEXPECTED ? 0 : 6;
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_FALSE(test::exists(folder.file("ran")));
  EXPECT_EQ(result.invokedFunctions(), "popen popen popen popen popen CCommandShell::Execute");
  EXPECT_TRUE(result.hasReturnCode(kLogError, "popen", EMFILE)) << result.dump();
  ASSERT_EQ(result.records.size(), 7U) << result.dump();
  EXPECT_EQ(result.records[1].field("Description"), "Too many open files");
}

}  // namespace

}  // namespace halvo
