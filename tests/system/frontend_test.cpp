// Whole runs of the console program: what a run does to the machine around it, and what it leaves there.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <map>
#include <optional>
#include <thread>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/DatagramReceiver.h"
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
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

// A document whose one item runs a command, captured or not.
std::string commandDocument(const std::string& title, const std::string& command, bool captured = true) {
  return documentText(title,
                      describedItem("c", "D",
                                    "<use_extern_action><action><args>" + escapedText(command) + "</args>" +
                                        (captured ? "<stdout/>" : "") + "</action></use_extern_action>"));
}

std::string copyDocument(const std::string& path) {
  return documentText("Alpha", describedItem("a", "D", copyAction(path)));
}

// A command that notes the run's process in /opt/run and its own child's in /opt/child, once both are there
// and it has printed its word, and then lasts. The child is in a session of its own and doesn't heed SIGTERM.
constexpr char kSlowCommand[] =
    "setsid sh -c 'trap \"\" TERM; echo $$ >/opt/child; exec sleep 100' & "
    "while ! test -s /opt/child; do sleep 0.01; done; echo started; echo $PPID >/opt/run.new; "
    "mv /opt/run.new /opt/run; wait";

class FrontEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    makeFolders(m_strHome + "/Desktop");
    makeFolders(kConfig);
    makeFolders("/opt/out");
    writeFile("/opt/logs/one.log", "one\n");
    writeFile(kConfig + "a.xml", copyDocument("/opt/logs/*.log"));
  }
  void TearDown() override {
    // What a failing test has let live.
    for (const char* file : {"/opt/child", "/opt/run"}) {
      if (const pid_t process = processIn(file); isAlive(process)) {
        kill(process, SIGKILL);
      }
    }
  }

  static RunResult collect(std::vector<std::string> more = {}, const RunOptions& options = {}) {
    std::vector<std::string> arguments = {"collect", "--bundle", "/opt/out/a.zip"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return tmtolm(arguments, options);
  }
  static std::map<std::string, std::string> content(const std::string& bundle = "/opt/out/a.zip") {
    return bundleContent(Reader::Unzip, bundle);
  }
  static mode_t modeOf(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
  }

  // Starts a run whose command lasts, and waits until it does. `ending` is called then.
  template <typename Ending>
  RunResult slowRun(Ending ending, const std::vector<std::string>& options = {}) {
    writeFile(kConfig + "slow.xml", commandDocument("Slow", kSlowCommand));
    RunResult result;
    std::thread run([&] { result = collect(options); });
    const bool started = waitForFile("/opt/run");
    EXPECT_TRUE(started);
    if (started) {
      ending(processIn("/opt/run"));
    }
    run.join();
    return result;
  }

  const std::string m_strHome = std::getenv("HOME");
};

// --- privacy --------------------------------------------------------------------------------------

TEST_F(FrontEndTest, WorkFolderAndBundleAreForTheirUserAlone) {
  writeFile(kConfig + "c.xml",
            commandDocument("Modes",
                            "stat -c %a /tmp/TOLM_Temp_Bundle* /tmp/TOLM_Temp_Bundle*/Alpha/one.log; umask"));
  chmod("/opt/logs/one.log", 0644);
  EXPECT_EQ(collect().exitStatus, 0);
  EXPECT_EQ(modeOf("/opt/out/a.zip"), 0600U);
  const std::string modes = content().at("Modes/stat_result.txt");
  EXPECT_THAT(modes, HasSubstr("\n700\n"));
  EXPECT_THAT(modes, Not(HasSubstr("644")));
}

TEST_F(FrontEndTest, CommandsKeepTheMaskOfTheCaller) {
  writeFile(kConfig + "c.xml", commandDocument("Captured", "umask"));
  writeFile(kConfig + "d.xml", commandDocument("Launched", "touch /opt/touched", false));
  const RunResult result = runProgram(
      {"sh", "-c", "umask 021; exec " + builtProgram("tmtolm") + " collect --quiet --bundle /opt/out/a.zip"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(content().at("Captured/umask_result.txt"), HasSubstr("0021\n"));
  EXPECT_EQ(modeOf("/opt/touched"), 0646U);
}

// --- one run at a time ----------------------------------------------------------------------------

TEST_F(FrontEndTest, ASecondRunSaysWhichProcessIsAtWorkAndDoesNothing) {
  slowRun([](pid_t process) {
    const RunResult second = tmtolm({"collect", "--bundle", "/opt/out/b.zip"});
    EXPECT_EQ(second.exitStatus, 1);
    EXPECT_EQ(second.err, "tmtolm: process " + std::to_string(process) +
                              " is making a run already (0xFEAF0008); a run at a time, or --wait to wait for "
                              "that one\n");
    // What it is told to do is an option of each.
    for (const std::string command : {"collect", "clear", "try"}) {
      EXPECT_THAT(tmtolm({command, "--help"}).out, HasSubstr("--wait"));
    }
    const RunResult cleared = tmtolm({"clear", "--yes", "--quiet"});
    EXPECT_EQ(cleared.exitStatus, 1);
    EXPECT_THAT(cleared.err, HasSubstr("is making a run already"));
    EXPECT_EQ(workFolders().size(), 1U);
    kill(process, SIGTERM);
  });
  EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
}

TEST_F(FrontEndTest, ASecondRunThatWaitsIsMadeAfterTheFirst) {
  RunResult second;
  std::thread waiting;
  slowRun([&](pid_t process) {
    waiting = std::thread([&second] {
      // The document of the run that waits is read when its turn has come.
      second = runProgram(
          {"sh", "-c",
           "exec " + builtProgram("tmtolm") + " collect --wait --bundle /opt/out/b.zip 2>/opt/second"});
    });
    // It says that it waits.
    EXPECT_TRUE(waitUntil([] { return exists("/opt/second") && !readFile("/opt/second").empty(); }));
    unlink((kConfig + "slow.xml").c_str());
    kill(process, SIGTERM);
  });
  waiting.join();
  EXPECT_EQ(second.exitStatus, 0);
  EXPECT_THAT(readFile("/opt/second"),
              MatchesRegex("tmtolm: waiting for the run of process [0-9]+ to end\n"));
  EXPECT_EQ(content("/opt/out/b.zip").at("Alpha/one.log"), "one\n");
}

// --- left-overs -----------------------------------------------------------------------------------

TEST_F(FrontEndTest, WhatAKilledRunHasLeftGoesWithTheNextOne) {
  slowRun([](pid_t process) { kill(process, SIGKILL); });
  EXPECT_EQ(workFolders().size(), 1U);
  writeFile("/opt/out/.a.zip.0123abcd.tolm-part", "PK");
  writeFile("/opt/out/.other", "kept");
  kill(processIn("/opt/child"), SIGKILL);
  unlink((kConfig + "slow.xml").c_str());
  EXPECT_EQ(collect({"--quiet"}).exitStatus, 0);
  EXPECT_THAT(workFolders(), IsEmpty());
  EXPECT_THAT(listFolder("/opt/out"), ElementsAre(".other", "a.zip"));
}

// --- the bundle appears when whole ----------------------------------------------------------------

TEST_F(FrontEndTest, AnOlderBundleSurvivesARunThatFails) {
  writeFile("/opt/out/a.zip", "older");
  // The room for the archive runs out within it: what it holds can't be made smaller.
  writeFile(kConfig + "c.xml", commandDocument("Noise", "head -c 3000000 /dev/urandom"));
  ASSERT_EQ(mount("tmpfs", "/opt/out", "tmpfs", 0, "size=1m"), 0);
  writeFile("/opt/out/a.zip", "older");
  const RunResult result = collect();
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, AllOf(HasSubstr("Internal Error: failed to zip the bundle... (0xFEAF000B); "),
                                HasSubstr("there is no room left in \"/opt/out/\"")));
  EXPECT_THAT(result.out, Not(HasSubstr("Bundle:")));
  EXPECT_THAT(listFolder("/opt/out"), ElementsAre("a.zip"));
  EXPECT_EQ(readFile("/opt/out/a.zip"), "older");
  EXPECT_THAT(workFolders(), IsEmpty());
  umount("/opt/out");
}

TEST_F(FrontEndTest, TheSummaryNamesTheFinalPath) {
  EXPECT_EQ(collect().exitStatus, 0);
  EXPECT_THAT(content().at("summary.txt"), HasSubstr("/opt/out/a.zip\n"));
}

TEST_F(FrontEndTest, AFileOfFourGibibytesIsToldBeforeTheRun) {
  writeFile("/opt/logs/huge.log", "");
  ASSERT_EQ(truncate("/opt/logs/huge.log", 0x100000000), 0);
  const RunResult result = collect();
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("(0xFEAF000B); \"/opt/logs/huge.log\" has 4.0G, and a bundle without a "
                                    "password holds no file of 4 GiB or more"));
  EXPECT_THAT(result.out, Not(HasSubstr("Starting up")));
  EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
}

// --- room -----------------------------------------------------------------------------------------

TEST_F(FrontEndTest, RoomThatThePlanHasNotGotIsToldBeforeTheRun) {
  ASSERT_EQ(mount("tmpfs", "/opt/logs", "tmpfs", 0, "size=64m"), 0);
  writeFile("/opt/logs/one.log", std::string(9 << 20, 'x'));
  // The build may lie below /tmp itself, which is hidden then.
  EXPECT_EQ(runProgram({"cp", builtProgram("tmtolm"), "/opt/tmtolm"}).exitStatus, 0);
  ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", 0, "size=2m"), 0);
  const RunResult result = runProgram({"/opt/tmtolm", "collect", "--bundle", "/opt/out/a.zip"});
  umount("/tmp");
  umount("/opt/logs");
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err,
              MatchesRegex("tmtolm: .* \\(0xFEAF000B\\); \"/tmp\" has [0-9.]+M free, and the files to "
                           "gather have 9\\.0M: make room, .*\n"));
  EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
}

TEST_F(FrontEndTest, AnUnreadableFileBelowAGatheredFolderGetsALineAndTheStatusStays) {
  makeFolders("/opt/gathered/inner");
  writeFile("/opt/gathered/inner/good.log", "good\n");
  // What not even root can read to its end.
  ASSERT_EQ(mkfifo("/opt/gathered/inner/pipe", 0600), 0);
  writeFile(kConfig + "a.xml", copyDocument("/opt/gathered/inn*"));
  const RunResult result = collect();
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.err,
              AllOf(StartsWith("tmtolm: 1 file is left out, as it can't be read\n"), HasSubstr("/pipe\": ")));
  EXPECT_EQ(collect({"--quiet"}).err, "");
}

// --- trust ----------------------------------------------------------------------------------------

TEST_F(FrontEndTest, DocumentsThatOthersCanWriteToAreNotRun) {
  writeFile(kConfig + "b.xml", commandDocument("B", "touch /opt/touched"));
  for (const std::string& path : {kConfig + "b.xml", kConfig, std::string("/opt/halvo")}) {
    const mode_t before = modeOf(path);
    chmod(path.c_str(), before | 0022U);
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"collect", "--quiet", "--bundle", "/opt/out/a.zip"}, {"clear", "--yes", "--quiet"}}) {
      const RunResult result = tmtolm(arguments);
      EXPECT_EQ(result.exitStatus, 1);
      EXPECT_THAT(result.err,
                  StartsWith("tmtolm: the instruction documents can't be trusted, and nothing was run "
                             "(0xFEAF000A); every user can write to \""));
      EXPECT_THAT(result.err, AllOf(HasSubstr("as root, chmod go-w"), EndsWith("\n")));
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1);
    }
    chmod(path.c_str(), before);
  }
  EXPECT_FALSE(exists("/opt/touched"));
  EXPECT_EQ(collect().exitStatus, 0);
}

TEST_F(FrontEndTest, ADocumentOfAnotherUserIsNotRun) {
  // Only root can give a file away; to an ordinary user his own documents are as good as root's.
  const bool given = chown((kConfig + "a.xml").c_str(), 65534, 65534) == 0;
  const RunResult result = collect({"--quiet"});
  EXPECT_EQ(result.exitStatus, given ? 1 : 0);
  EXPECT_EQ(
      result.err.find("nobody, who owns it, can write to \"" + kConfig + "a.xml\"") != std::string::npos,
      given)
      << result.err;
}

TEST_F(FrontEndTest, ARequestThatWritesElsewhereIsRefused) {
  writeFile("/opt/precious", "kept");
  for (const char* name : {"../../../opt/precious", "$HOME/x", "", "..", "/opt/precious"}) {
    for (const char* id : {"comments", "summary"}) {
      writeFile("/opt/request.xml", std::string("<r><comments>overwritten</comments><file id='") + id +
                                        "'><name>" + name + "</name></file></r>");
      const RunResult result = collect({"--request", "/opt/request.xml"});
      EXPECT_EQ(result.exitStatus, 1) << name;
      EXPECT_THAT(result.err,
                  AllOf(HasSubstr("(0xFEAF0011)"), HasSubstr(std::string("the name \"") + name + "\"")));
    }
  }
  EXPECT_EQ(readFile("/opt/precious"), "kept");
  EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
}

TEST_F(FrontEndTest, IdsThatNoDocumentAnswersAreNamedAndTheStatusStays) {
  const auto request = [](const std::string& ids) {
    writeFile("/opt/request.xml", "<r>" + ids + "<file id='summary'/><file id='comments'/></r>");
  };
  request("<file id='a'/><file id='nobody'/>");
  const RunResult one = collect({"--request", "/opt/request.xml"});
  EXPECT_EQ(one.exitStatus, 0);
  EXPECT_EQ(one.err, "tmtolm: no document has instructions for an id of the request: \"nobody\"\n");
  EXPECT_EQ(content().count("Alpha/one.log"), 1U);
  EXPECT_EQ(collect({"--quiet", "--request", "/opt/request.xml"}).err, "");

  std::string many;
  for (char id = 'b'; id < 'n'; ++id) {
    many += std::string("<file id='") + id + "'/>";
  }
  request("<file id='a'/>" + many);
  EXPECT_EQ(collect({"--request", "/opt/request.xml"}).err,
            "tmtolm: no document has instructions for 12 ids of the request: \"b\", \"c\", \"d\", \"e\", "
            "\"f\", \"g\", \"h\", \"i\", \"j\", \"k\" and more\n");

  request("<file id='a'/>");
  EXPECT_EQ(collect({"--request", "/opt/request.xml"}).err, "");
}

// --- ends -----------------------------------------------------------------------------------------

TEST_F(FrontEndTest, ASignalEndsTheRunWithItsCommandsAndLeavesNothing) {
  for (const auto& [number, name] :
       std::map<int, std::string>{{SIGINT, "SIGINT"}, {SIGTERM, "SIGTERM"}, {SIGHUP, "SIGHUP"}}) {
    const RunResult result =
        slowRun([number = number](pid_t process) { kill(process, number); }, {"--quiet"});
    EXPECT_EQ(result.signal, number);
    EXPECT_EQ(result.err, "tmtolm: the run was ended by " + name + "; it has left nothing behind\n");
    EXPECT_FALSE(isAlive(processIn("/opt/child")));
    EXPECT_THAT(workFolders(), IsEmpty());
    EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
    unlink("/opt/run");
    unlink("/opt/child");
  }
}

TEST_F(FrontEndTest, OffATerminalSigquitEndsTheRunToo) {
  writeFile(kConfig + "slow.xml", commandDocument("Slow", kSlowCommand));
  const RunResult ended = runProgram(
      {"setsid", "-w", "sh", "-c",
       "(for i in $(seq 6000); do test -s /opt/run && break; sleep 0.01; done; kill -QUIT $(cat /opt/run)) & "
       "exec " +
           builtProgram("tmtolm") + " collect --quiet --bundle /opt/out/b.zip"});
  EXPECT_THAT(ended.err, HasSubstr("the run was ended by SIGQUIT"));
  EXPECT_FALSE(isAlive(processIn("/opt/child")));
  EXPECT_THAT(workFolders(), IsEmpty());
}

TEST_F(FrontEndTest, AFileLimitEndsTheRunCleanly) {
  writeFile("/opt/logs/one.log", std::string(1 << 20, 'x'));
  const RunResult result = runProgram(
      {"sh", "-c",
       "ulimit -f 100; exec " + builtProgram("tmtolm") + " collect --quiet --bundle /opt/out/a.zip"});
  EXPECT_EQ(result.signal, SIGXFSZ);
  EXPECT_THAT(result.err, HasSubstr("the run was ended by SIGXFSZ"));
  EXPECT_THAT(workFolders(), IsEmpty());
  EXPECT_THAT(listFolder("/opt/out"), IsEmpty());
}

TEST_F(FrontEndTest, ACommandThatTakesTooLongIsEndedAndTheRunGoesOn) {
  writeFile(kConfig + "slow.xml", commandDocument("Slow", kSlowCommand));
  RunResult result;
  EXPECT_TRUE(withALimitThatIsLongEnough([&result](int seconds) {
    RunOptions options;
    options.timeoutSeconds = 200;
    result = collect({"--command-timeout", std::to_string(seconds)}, options);
    return exists("/opt/run");
  }));
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.err, AllOf(StartsWith("tmtolm: the command \"setsid sh -c "),
                                ContainsRegex("was ended after [0-9]+ seconds?, the time that commands have; "
                                              "what it had printed is kept\n")));
  EXPECT_FALSE(isAlive(processIn("/opt/child")));
  EXPECT_THAT(content().at("Slow/setsid_result.txt"), EndsWith("started\n"));
  EXPECT_EQ(content().at("Alpha/one.log"), "one\n");
}

TEST_F(FrontEndTest, CtrlBackslashEndsTheCommandInProgressAlone) {
  writeFile(kConfig + "slow.xml", commandDocument("Slow", "echo captured; echo here >/dev/tty; sleep 50"));
  const TerminalResult result =
      runOnTerminal({builtProgram("tmtolm"), "collect", "--bundle", "/opt/out/a.zip"}, {{"here", "\x1c"}});
  EXPECT_TRUE(result.allTurns) << result.run.out;
  EXPECT_EQ(result.run.exitStatus, 0) << result.run.signal;
  EXPECT_THAT(result.run.out,
              HasSubstr("tmtolm: the command \"echo captured; echo here >/dev/tty; sleep 50\" was "
                        "ended after "));
  EXPECT_THAT(content().at("Slow/echo_result.txt"), EndsWith("captured\n"));
}

// The key took the signal's place, and the run went on.
TEST_F(FrontEndTest, CtrlBackslashBehindASignalThatEndsTheRunChangesNothing) {
  writeFile(kConfig + "slow.xml",
            commandDocument("Slow",
                            "trap '' TERM; kill -TERM $PPID; sleep 0.2; kill -QUIT $PPID; echo here "
                            ">/dev/tty; sleep 50"));
  const TerminalResult result =
      runOnTerminal({builtProgram("tmtolm"), "collect", "--bundle", "/opt/out/a.zip"}, {});
  EXPECT_EQ(result.run.signal, SIGTERM) << result.run.out;
  EXPECT_FALSE(exists("/opt/out/a.zip"));
}

TEST_F(FrontEndTest, ATerminalThatACommandHasChangedIsPutBackWhereASignalEndsTheRun) {
  writeFile(kConfig + "slow.xml",
            commandDocument("Slow", "stty -echo </dev/tty; echo here >/dev/tty; sleep 50"));
  const TerminalResult result =
      runOnTerminal({builtProgram("tmtolm"), "collect", "--bundle", "/opt/out/a.zip"}, {{"here", "\x03"}});
  EXPECT_EQ(result.run.signal, SIGINT);
  EXPECT_TRUE(result.echoAfter);
}

TEST_F(FrontEndTest, EverySignalAtThePasswordPromptPutsTheEchoBack) {
  for (const int number : {SIGUSR1, SIGUSR2, SIGXCPU, SIGVTALRM, SIGPIPE, SIGABRT, SIGSEGV, SIGRTMIN + 1}) {
    const TerminalResult result =
        runOnTerminal({"sh", "-c",
                       "(while ! stty -a </dev/tty | grep -q -- '-echo '; do sleep 0.05; done; kill -" +
                           std::to_string(number) + " $$) & exec " + builtProgram("tmtolm") +
                           " collect --bundle /opt/out/a.zip --ask-password"},
                      {{"Password of the bundle: ", ""}});
    EXPECT_EQ(result.run.signal, number);
    EXPECT_TRUE(result.echoAfter) << number;
  }
}

// --- before the work ------------------------------------------------------------------------------

TEST_F(FrontEndTest, APlaceThatCannotTakeABundleIsToldAtOnce) {
  ASSERT_EQ(mkfifo("/opt/out/pipe.zip", 0600), 0);
  makeFolders("/opt/out/folder");
  for (const auto& [path, why] : std::map<std::string, std::string>{
           {"/none/a.zip", "is there a folder for \"/none/a.zip\", and may you write there?"},
           {"/opt/out/folder", "\"/opt/out/folder\" is a folder"},
           {"/opt/out/folder/", "\"/opt/out/folder/\" is the name of a folder"},
           {"/opt/out/pipe", "\"/opt/out/pipe.zip\" is a pipe"},
           {"/dev/null", "\"/dev/null\" is a device"},
           {"/dev/stdout", "\"/dev/stdout\" is a pipe"}}) {
    const RunResult result = tmtolm({"collect", "--bundle", path});
    EXPECT_EQ(result.exitStatus, 1) << path;
    EXPECT_THAT(result.err, HasSubstr("Internal Error: failed to zip the bundle... (0xFEAF000B); " + why));
    EXPECT_THAT(result.out, Not(HasSubstr("Starting up"))) << path;
  }
  EXPECT_FALSE(exists("/dev/stdout.zip"));
  EXPECT_THAT(listFolder("/opt/out/folder"), IsEmpty());
}

TEST_F(FrontEndTest, BundlesOfOneMinuteGetNumbers) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(tmtolm({"collect", "--quiet"}).exitStatus, 0);
  }
  const std::vector<std::string> names = listFolder(m_strHome + "/Desktop");
  // The minute may have changed meanwhile; none was overwritten.
  EXPECT_EQ(names.size(), 3U);
  EXPECT_THAT(names, ::testing::Each(MatchesRegex("TOLMBundle_[0-9]{4}_[0-9]{4}(_[23])?\\.zip")));
  for (const std::string& name : names) {
    EXPECT_EQ(content(m_strHome + "/Desktop/" + name).count("Alpha/one.log"), 1U);
  }
}

// --- words ----------------------------------------------------------------------------------------

TEST_F(FrontEndTest, AQuietRunIsQuietWhateverItsCommandsPrint) {
  writeFile(kConfig + "b.xml", commandDocument("B", "echo complaint >&2; no-such-program"));
  writeFile(kConfig + "c.xml", commandDocument("C", "echo printed", false));
  const RunResult result = collect({"--quiet"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out + result.err, "");
  // Otherwise what isn't captured is seen.
  EXPECT_THAT(collect().err, HasSubstr("complaint"));
}

// An option ahead of the subcommand was taken for none, and its value for a subcommand.
TEST_F(FrontEndTest, AWrongWordIsNamedWithTheNearestRightOne) {
  for (const auto& [arguments, line] : std::map<std::vector<std::string>, std::string>{
           {{"gather"}, "there is no subcommand \"gather\"; did you mean \"collect\"?"},
           {{"colect"}, "there is no subcommand \"colect\"; did you mean \"collect\"?"},
           {{"xyzzy"}, "there is no subcommand \"xyzzy\""},
           {{"collect", "--bundel", "x"}, "there is no option \"--bundel\"; did you mean \"--bundle\"?"},
           {{"plan", "--jsno=x"}, "there is no option \"--jsno\"; did you mean \"--json\"?"},
           {{"--bundel", "x"},
            "there is no option \"--bundel\" before a subcommand; did you mean \"collect --bundle\"?"},
           {{"--bundle=x", "collect"},
            "there is no option \"--bundle\" before a subcommand; did you mean \"collect --bundle\"?"},
           {{"--jsno", "plan"},
            "there is no option \"--jsno\" before a subcommand; did you mean \"plan --json\"?"},
           {{"-x"}, "there is no option \"-x\" before a subcommand"},
           {{},
            "a subcommand is missing; there are collect, clear, check, plan, try, new, show, report, "
            "findings, "
            "compare, ask, redact"},
           {{"collect", "--\x1b[2J"}, "there is no option \"--\\x1b[2J\""}}) {
    const RunResult result = tmtolm(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.err, StartsWith("tmtolm: " + line + "\n"));
  }
}

TEST_F(FrontEndTest, AMissingRequestOrFolderIsNamed) {
  for (const char* command : {"collect", "plan"}) {
    const RunResult result = tmtolm({command, "--request", "/opt/none.xml"});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err,
                EndsWith("(0xFEAF0011); the request \"/opt/none.xml\" can't be read: No such file or "
                         "directory\n"));
  }
  const RunResult result = tmtolm({"plan", "--config", "/opt/nowhere"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(
      result.err,
      EndsWith("(0xFEAF000A); the folder \"/opt/nowhere\" can't be read: No such file or directory\n"));
}

TEST_F(FrontEndTest, NothingPrintedHoldsControlCharacters) {
  const std::string name = "/opt/out/\x1b[2J\xc2\x9b\n.zip";
  const RunResult result = tmtolm({"collect", "--bundle", name});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.out, EndsWith("\nBundle: /opt/out/\\x1b[2J\\xc2\\x9b\\x0a.zip\n"));
  EXPECT_TRUE(exists(name));
  writeFile("/opt/logs/\xc2\x9b\x7f.log", "x");
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"plan"}, {"plan", "--json"}}) {
    const std::string out = tmtolm(arguments).out;
    EXPECT_THAT(out, Not(::testing::AnyOf(HasSubstr("\xc2\x9b"), HasSubstr("\x7f"))));
  }
}

TEST_F(FrontEndTest, OutputThatWasLostEarlierHasAReasonThatIsNone) {
  const RunResult result =
      runProgram({"sh", "-c", builtProgram("tmtolm") + " collect --bundle /opt/out/a.zip >/dev/full"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("standard output can't be written: "));
  EXPECT_THAT(result.err, Not(HasSubstr("Success")));
}

// --- secrets, log ---------------------------------------------------------------------------------

// The limit may be 0 ahead of the run, and stays so without anybody's doing where it can't be raised. Who
// owns the process's memory tells it in any case, of an ordinary user's.
TEST_F(FrontEndTest, WhileAPasswordIsHeldThereIsNoCoreDump) {
  const uid_t user = geteuid() == 0 ? 65534 : geteuid();
  for (const char* const path : {"/opt/theirs", "/opt/theirs/home"}) {
    makeFolders(path);
    static_cast<void>(!chown(path, user, static_cast<gid_t>(-1)));
  }
  // Other users may not get to where it was built.
  ASSERT_EQ(runProgram({"cp", builtProgram("tmtolm"), "/opt/tmtolm"}).exitStatus, 0);
  writeFile("/opt/theirs/password", "s3cret\n");
  writeFile(kConfig + "b.xml", commandDocument("B",
                                               "stat -c 'owner %u' /proc/$PPID/mem; "
                                               "grep -h -e 'Max core' -e VmLck /proc/$PPID/limits "
                                               "/proc/$PPID/status"));
  RunOptions options;
  options.environment = {{"HOME", "/opt/theirs/home"}};
  options.unset = {"XDG_RUNTIME_DIR"};
  const auto factsOfARun = [&](const std::string& password) {
    std::vector<std::string> arguments = {"sh", "-c", "ulimit -Sc $(ulimit -Hc); exec \"$@\"", "sh"};
    if (geteuid() == 0) {
      arguments.insert(arguments.end(), {"setpriv", "--reuid=65534", "--clear-groups", "--inh-caps=-all"});
    }
    arguments.insert(arguments.end(), {"/opt/tmtolm", "collect", "--quiet", "--bundle", "/opt/theirs/a.zip"});
    if (!password.empty()) {
      arguments.insert(arguments.end(), {"--password-file", "/opt/theirs/password"});
    }
    const RunResult result = runProgram(arguments, options);
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    return bundleContent(Reader::Unzip, "/opt/theirs/a.zip", password).at("B/stat_result.txt");
  };
  const std::string owner = "owner " + std::to_string(user) + "\n";
  EXPECT_THAT(factsOfARun(""), HasSubstr(owner)) << "there is nothing to tell it by";
  const std::string facts = factsOfARun("s3cret");
  EXPECT_THAT(facts, AllOf(HasSubstr("owner "), Not(HasSubstr(owner))));
  EXPECT_THAT(facts, ContainsRegex("Max core file size +0 "));
  EXPECT_THAT(facts, ContainsRegex("VmLck:[ \t]+[1-9]"));
}

TEST_F(FrontEndTest, TheLogTellsARunsBeginAndItsEnd) {
  Receiver journal("/run/systemd/journal/socket");
  ASSERT_TRUE(journal.isBound());
  std::string records;
  RunResult result;
  std::atomic<bool> done = false;
  std::thread run([&] {
    result = collect({"--quiet"});
    done = true;
  });
  for (bool last = false; !last;) {
    last = done;
    while (const std::optional<std::string> record = journal.take()) {
      // A record holds zero bytes, at which patterns end.
      std::remove_copy(record->begin(), record->end(), std::back_inserter(records), char{0});
    }
    usleep(1000);
  }
  run.join();
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(records,
              ContainsRegex("Run begins: tmtolm [0-9.]+, collect run, request \"\", documents in \"" +
                            kConfig + "\", bundle \"/opt/out/a.zip\", user \"[^\"]*\" \\([0-9]+\\)"));
  EXPECT_THAT(records, ContainsRegex("Run ends: code 0x00000000, 2 files, [0-9]+ bytes, [0-9.]+ seconds"));
}

}  // namespace
}  // namespace halvo
