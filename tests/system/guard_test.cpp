// Whole runs of the console program that end otherwise than by themselves: by signals that somebody held
// back, with commands that nobody can end, in the background of a terminal.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Processes.h"
#include "tests/support/Subprocess.h"
#include "tests/support/Terminal.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kProgram[] = "/opt/bin/tmtolm";
constexpr uid_t kNobody = 65534;

class RunGuardRunTest : public ::testing::Test {
 protected:
  void SetUp() override {
    makeFolders(kConfig);
    makeFolders("/opt/out");
    makeFolders("/opt/bin");
    // Other users may not get to where it was built.
    std::filesystem::copy_file(builtProgram("tmtolm"), kProgram,
                               std::filesystem::copy_options::overwrite_existing);
    writeFile("/opt/logs/one.log", "one\n");
  }
  void TearDown() override {
    umount2("/opt/rights", MNT_DETACH);
    for (const std::string& name : workFolders()) {
      umount2(("/tmp/" + name + "/mount").c_str(), MNT_DETACH);
      std::filesystem::remove_all("/tmp/" + name);
    }
  }

  // A document of one item that copies the logs and runs a command, captured or started directly.
  static void command(const std::string& text, bool captured = true) {
    writeFile(kConfig + "a.xml",
              documentText("Alpha",
                           describedItem("c", "D",
                                         copyAction("/opt/logs/*.log") + "<use_extern_action><action><args>" +
                                             escapedText(text) + "</args>" + (captured ? "<stdout/>" : "") +
                                             "</action></use_extern_action>")));
  }
  static std::map<std::string, std::string> content(const std::string& bundle = "/opt/out/a.zip") {
    return bundleContent(Reader::Unzip, bundle);
  }
};

// A second user can be had by root alone: ./test runs as root what is called so.
class TwoUsersGuardTest : public RunGuardRunTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0U) << "run this as root, as ./test does";
    RunGuardRunTest::SetUp();
  }
};

// An ordinary user's limit was no limit for a command that works as root: the run waited for its output.
TEST_F(TwoUsersGuardTest, ACommandThatCannotBeEndedIsLeftRunningAndTheRunGoesOn) {
  for (const char* folder : {"/opt/theirs", "/opt/theirs/home"}) {
    makeFolders(folder);
    ASSERT_EQ(chown(folder, kNobody, kNobody), 0);
  }
  // The private root's own folders hand out no rights.
  makeFolders("/opt/rights");
  ASSERT_EQ(mount("tmpfs", "/opt/rights", "tmpfs", 0, "mode=755"), 0);
  std::filesystem::copy_file("/usr/bin/setpriv", "/opt/rights/asroot");
  ASSERT_EQ(chmod("/opt/rights/asroot", 04755), 0);
  writeFile(
      "/opt/bin/lasting",
      "#!/bin/sh\nexec /opt/rights/asroot --reuid 0 sh -c 'echo $$ >/opt/theirs/note; exec sleep 200'\n");
  ASSERT_EQ(chmod("/opt/bin/lasting", 0755), 0);
  const struct {
    const char* what;
    const char* line;
    bool captured;
  } commands[] = {
      {"holds its output", "echo printed; exec /opt/bin/lasting", true},
      {"has none", "echo printed; exec /opt/bin/lasting >/dev/null", true},
      {"started directly", "/opt/bin/lasting x", false},
  };
  for (const auto& one : commands) {
    SCOPED_TRACE(one.what);
    command(one.line, one.captured);
    RunOptions options;
    options.environment = {{"HOME", "/opt/theirs/home"}};
    options.unset = {"XDG_RUNTIME_DIR"};
    options.timeoutSeconds = 200;
    RunResult result;
    // It notes itself once it is nobody else's to end.
    ASSERT_TRUE(withALimitThatIsLongEnough([&](int seconds) {
      result = runProgram(
          {"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups", kProgram, "collect",
           "--command-timeout", std::to_string(seconds), "--bundle", "/opt/theirs/a.zip"},
          options);
      return processIn("/opt/theirs/note") > 0;
    }));
    EXPECT_EQ(kill(processIn("/opt/theirs/note"), SIGKILL), 0) << "it is gone";
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    EXPECT_THAT(result.err, AllOf(HasSubstr(std::string("tmtolm: the command \"") + one.line +
                                            "\" couldn't be ended after "),
                                  HasSubstr("is left running; what it had printed is kept")));
    EXPECT_EQ(content("/opt/theirs/a.zip").at("Alpha/one.log"), "one\n");
    if (one.captured) {
      EXPECT_THAT(content("/opt/theirs/a.zip").at("Alpha/echo_result.txt"), EndsWith("printed\n"));
    }
    unlink("/opt/theirs/note");
    unlink("/opt/theirs/a.zip");
  }
}

// The code alone was told, which is that of many things.
TEST_F(TwoUsersGuardTest, AWorkFolderThatCannotBeMadeIsToldWithItsCause) {
  command("true");
  makeFolders("/opt/theirs");
  ASSERT_EQ(chown("/opt/theirs", kNobody, kNobody), 0);
  ASSERT_EQ(chmod("/tmp", 0755), 0);
  RunOptions options;
  options.environment = {{"HOME", "/opt/theirs"}};
  options.unset = {"XDG_RUNTIME_DIR"};
  const RunResult result = runProgram({"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups",
                                       kProgram, "collect", "--quiet", "--bundle", "/opt/theirs/a.zip"},
                                      options);
  EXPECT_EQ(chmod("/tmp", 01777), 0);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err,
              ContainsRegex("failed to create temporary working folder... \\(0x[0-9A-F]+\\); "
                            "\"/tmp/TOLM_Temp_Bundle[0-9_]+\" can't be made: Permission denied\n"));
}

// "tmtolm collect & editor": the signal that ended the run took the editor's terminal away.
TEST_F(RunGuardRunTest, ARunInTheBackgroundLeavesTheTerminalToTheOneInFront) {
  command("echo started >/opt/note; sleep 50");
  const TerminalResult result =
      runOnTerminal({"sh", "-c",
                     std::string("set -m; ") + kProgram +
                         " collect --quiet --bundle /opt/out/a.zip & "
                         "for i in $(seq 6000); do test -s /opt/note && break; sleep 0.01; done; "
                         "stty -echo; kill -TERM $!; wait $!; stty -a | grep -q -- '-echo ' && echo ke''pt"},
                    {{"kept", ""}});
  EXPECT_TRUE(result.allTurns) << result.run.out;
  EXPECT_THAT(result.run.out, HasSubstr("the run was ended by SIGTERM"));
}

// A caller that blocks a signal hands that down: the run couldn't be ended by it.
TEST_F(RunGuardRunTest, ASignalThatTheCallerHasBlockedEndsTheRunAllTheSame) {
  command("kill -TERM $PPID; sleep 20");
  const RunResult result =
      runProgram({"env", "--block-signal", kProgram, "collect", "--quiet", "--bundle", "/opt/out/a.zip"});
  EXPECT_EQ(result.signal, SIGTERM) << result.exitStatus;
  EXPECT_THAT(workFolders(), IsEmpty());
}

// Ctrl-\ on a terminal reaches the command itself, whose core lay in the caller's folder.
TEST_F(RunGuardRunTest, NoCommandLeavesACore) {
  command("ulimit -Sc; ulimit -Hc");
  const RunResult result = runProgram({"sh", "-c",
                                       std::string("ulimit -Sc $(ulimit -Hc); ulimit -Hc; exec ") + kProgram +
                                           " collect --quiet --bundle /opt/out/a.zip"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(content().at("Alpha/ulimit_result.txt"), EndsWith("\r\n0\n" + result.out));
}

// Below 900 levels all of it stayed in /tmp for good, and the line told that nothing did.
TEST_F(RunGuardRunTest, FoldersOfAnyDepthGoWithARunThatASignalEndsAndWithAKilledOne) {
  // Made by the command itself: deeper than any path that could name it.
  const std::string deep =
      "cd /tmp/TOLM_Temp_Bundle* && p=$(printf 'd/%.0s' $(seq 100)); "
      "for i in $(seq 15); do mkdir -p $p && cd -P $p; done; ";
  command(deep + "kill -TERM $PPID; sleep 20");
  const RunResult ended = runProgram({kProgram, "collect", "--quiet", "--bundle", "/opt/out/a.zip"});
  EXPECT_EQ(ended.signal, SIGTERM);
  EXPECT_EQ(ended.err, "tmtolm: the run was ended by SIGTERM; it has left nothing behind\n");
  EXPECT_THAT(workFolders(), IsEmpty());

  command(deep + "kill -KILL $PPID");
  EXPECT_EQ(runProgram({kProgram, "collect", "--quiet", "--bundle", "/opt/out/a.zip"}).signal, SIGKILL);
  EXPECT_EQ(workFolders().size(), 1U);
  command("true");
  EXPECT_EQ(runProgram({kProgram, "collect", "--quiet", "--bundle", "/opt/out/a.zip"}).exitStatus, 0);
  EXPECT_THAT(workFolders(), IsEmpty());
}

// An ordinary user's own folder, closed by a command, stayed behind a run that ended well.
TEST_F(TwoUsersGuardTest, AFolderThatACommandHasClosedGoesWithTheRun) {
  command("w=$(echo /tmp/TOLM_Temp_Bundle*); mkdir -p $w/k/l/m; chmod 000 $w/k/l $w/k; echo x");
  makeFolders("/opt/theirs");
  ASSERT_EQ(chown("/opt/theirs", kNobody, kNobody), 0);
  RunOptions options;
  options.environment = {{"HOME", "/opt/theirs"}};
  options.unset = {"XDG_RUNTIME_DIR"};
  const RunResult result = runProgram({"setpriv", "--reuid", "65534", "--regid", "65534", "--clear-groups",
                                       kProgram, "collect", "--quiet", "--bundle", "/opt/theirs/a.zip"},
                                      options);
  EXPECT_NE(result.exitStatus, -1) << result.err;
  EXPECT_THAT(workFolders(), IsEmpty());
}

// The last line said so whatever had become of the removal.
// For root, since mount(8) mounts for nobody else, not even in a user's own namespace.
TEST_F(TwoUsersGuardTest, WhatCannotBeRemovedIsNamed) {
  command(
      "w=$(echo /tmp/TOLM_Temp_Bundle*); mkdir $w/mount && mount -t tmpfs none $w/mount; "
      "kill -TERM $PPID; sleep 20");
  const RunResult result = runProgram({kProgram, "collect", "--quiet", "--bundle", "/opt/out/a.zip"});
  EXPECT_EQ(result.signal, SIGTERM);
  ASSERT_EQ(workFolders().size(), 1U);
  EXPECT_EQ(result.err,
            "tmtolm: the run was ended by SIGTERM; it couldn't remove \"/tmp/" + workFolders()[0] + "\"\n");
}

}  // namespace
}  // namespace halvo
