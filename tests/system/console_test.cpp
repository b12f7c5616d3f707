// Whole runs of the console program, as a user or a script starts it.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/support/BundleReader.h"
#include "tests/support/ConsoleRun.h"
#include "tests/support/DatagramReceiver.h"
#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Terminal.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

// One line of the console outlet.
std::string progress(const std::string& text, int percent) {
  std::string padded = text.substr(0, 50);
  padded.resize(50, ' ');
  std::string number = std::to_string(percent);
  return "\r" + padded + " " + std::string(3 - number.size(), ' ') + number + "%";
}

std::string started() {
  return progress("Starting up TOLM Engine...", 1) + progress("Parsing request and configuration XMLs...", 1);
}

std::string finished() {
  return progress("Zipping the bundle, please wait...", 96) + progress("TOLM has finished... ", 100) +
         "\r\n\r\n";
}

std::string item(const std::string& id, const std::string& description, const std::string& kinds,
                 const std::string& more = "<default>true</default>") {
  return "<file id=\"" + id + "\"><description>" + description + "</description>" + more +
         "<tolm><os opsys=\"linux\">" + kinds + "</os></tolm></file>";
}

// CTest runs each test in a process and a private root of its own, so nothing is cleaned up here.
class ConsoleTest : public ::testing::Test {
 protected:
  void SetUp() override {
    makeFolders(m_strHome + "/Desktop");
    makeFolders(kConfig);
    writeFile("/opt/logs/one.log", "one\n");
    writeFile("/opt/logs/two.log", "two\n");
    // The source tree may lie below /tmp.
    m_TmpBefore = listFolder("/tmp");
  }

  // What has come into /tmp since the test began.
  [[nodiscard]] std::vector<std::string> newInTmp() const {
    std::vector<std::string> names;
    for (const std::string& name : listFolder("/tmp")) {
      if (std::find(m_TmpBefore.begin(), m_TmpBefore.end(), name) == m_TmpBefore.end()) {
        names.push_back(name);
      }
    }
    return names;
  }

  // A document with one item that gathers /opt/logs/*.log.
  static void writeSimpleConfig() {
    writeFile(kConfig + "a.xml", documentText("Alpha", item("a", "D", copyAction("/opt/logs/*.log"))));
  }

  static std::map<std::string, std::string> contentOf(const std::string& bundle) {
    return bundleContent(Reader::Unzip, bundle);
  }

  static std::vector<std::string> namesOf(const std::string& bundle) {
    std::vector<std::string> names;
    for (const auto& [name, text] : contentOf(bundle)) {
      names.push_back(name);
    }
    return names;
  }

  // A run that fails: exit status 1, exactly this line on standard error, and nothing left in /tmp.
  static void expectFailure(const std::vector<std::string>& arguments, const std::string& line,
                            const RunOptions& options = {}) {
    const std::vector<std::string> before = listFolder("/tmp");
    const RunResult result = tmtolm(arguments, options);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.err, "tmtolm: " + line + "\n");
    EXPECT_EQ(listFolder("/tmp"), before);
  }

  const std::string m_strHome = std::getenv("HOME");
  std::vector<std::string> m_TmpBefore;
};

// --- collect: what it prints ----------------------------------------------------------------------

TEST_F(ConsoleTest, ADefaultRunPrintsItsProgressToTheByteAndTheBundleLast) {
  writeFile(kConfig + "a.xml",
            documentText("Alpha", item("a", "Logs of the client", copyAction("/opt/logs/one.log"))));
  writeFile(kConfig + "b.xml",
            documentText("Beta", item("b", "Logs of the client", copyAction("/opt/logs/two.log"))));
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  // The first document starts at 0 percent, and the console prints nothing for that.
  EXPECT_EQ(result.out, started() + progress("Reading instructions ...", 46) +
                            progress("Processing Logs of the client...", 46) + finished() +
                            "Bundle: /tmp/out.zip\n");
  EXPECT_THAT(namesOf("/tmp/out.zip"), UnorderedElementsAre("Alpha/one.log", "Beta/two.log", "summary.txt"));
  EXPECT_THAT(newInTmp(), ElementsAre("out.zip"));
}

TEST_F(ConsoleTest, ALongDescriptionIsCutAtFiftyColumns) {
  writeFile(kConfig + "a.xml", documentText("A", item("a", "x", "") + item("b", std::string(60, 'y'),
                                                                           copyAction("/opt/logs/*.log"))));
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip"});
  EXPECT_EQ(result.out, started() + progress("Processing " + std::string(60, 'y') + "...", 46) + finished() +
                            "Bundle: /tmp/out.zip\n");
}

TEST_F(ConsoleTest, AFailedRunPrintsTheTextBetweenTwoLineEnds) {
  const RunResult result = tmtolm({"collect"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.out, started() + "\r\nInternal Error: no valid configuration XML found...\r\n");
  EXPECT_EQ(result.err, "tmtolm: Internal Error: no valid configuration XML found... (0xFEAF000A)\n");
}

TEST_F(ConsoleTest, AQuietRunPrintsNothing) {
  writeSimpleConfig();
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip", "--quiet"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(namesOf("/tmp/out.zip"), Contains("Alpha/one.log"));
}

TEST_F(ConsoleTest, AQuietRunThatFailsPrintsTheLineOnStandardErrorAlone) {
  const RunResult result = tmtolm({"collect", "--quiet"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "tmtolm: Internal Error: no valid configuration XML found... (0xFEAF000A)\n");
}

TEST_F(ConsoleTest, OutputThatCannotBeWrittenIsAFailure) {
  writeSimpleConfig();
  for (const char* command : {"collect --bundle /tmp/out.zip", "plan", "check /none.xml", "--help"}) {
    const RunResult result = runProgram({"sh", "-c", builtProgram("tmtolm") + " " + command + " >/dev/full"});
    EXPECT_EQ(result.exitStatus, 1) << command;
    EXPECT_THAT(result.err, HasSubstr("tmtolm: standard output can't be written: ")) << command;
  }
  // Where the caller has closed it, too.
  const RunResult result = runProgram({"sh", "-c", builtProgram("tmtolm") + " --help >&-"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err, HasSubstr("tmtolm: standard output can't be written: "));
}

// A shell's words for a run of `command` whose standard output is a pipe that nobody reads any more.
std::vector<std::string> withoutReader(const std::string& command) {
  return {"sh", "-c",
          "mkfifo /opt/pipe; exec 4<>/opt/pipe 3>/opt/pipe 4<&-; exec " + builtProgram("tmtolm") + " " +
              command + " >&3"};
}

TEST_F(ConsoleTest, AReaderThatGoesAwayDoesNotEndTheRun) {
  writeFile(kConfig + "a.xml",
            documentText("Alpha", item("a", "D",
                                       "<use_extern_action><action><args>yes 2&gt;/opt/complaint | head -n 1"
                                       "</args><stdout/></action></use_extern_action>")));
  const RunResult result = runProgram(withoutReader("collect --bundle /tmp/out.zip"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "tmtolm: standard output can't be written: Broken pipe\n");
  EXPECT_THAT(newInTmp(), ElementsAre("out.zip"));
  EXPECT_THAT(contentOf("/tmp/out.zip").at("Alpha/yes_result.txt"), ::testing::EndsWith("\n\r\ny\n"));
  // The run's commands end at a pipe without a reader as they always do, and without a word.
  EXPECT_EQ(readFile("/opt/complaint"), "");
}

// --- collect: where the bundle goes ---------------------------------------------------------------

TEST_F(ConsoleTest, TheDefaultBundleLiesOnTheDesktopUnderATimedName) {
  writeSimpleConfig();
  const RunResult result = tmtolm({"collect"});
  EXPECT_EQ(result.exitStatus, 0);
  const std::vector<std::string> names = listFolder(m_strHome + "/Desktop");
  ASSERT_EQ(names.size(), 1U);
  EXPECT_THAT(names[0], MatchesRegex("TOLMBundle_[0-9]{4}_[0-9]{4}\\.zip"));
  EXPECT_THAT(result.out, ::testing::EndsWith("\r\nBundle: " + m_strHome + "/Desktop/" + names[0] + "\n"));
}

TEST_F(ConsoleTest, TheBundleLineNamesTheFileThatWasWritten) {
  writeSimpleConfig();
  EXPECT_THAT(tmtolm({"collect", "--bundle", "/tmp/out"}).out, ::testing::EndsWith("Bundle: /tmp/out.zip\n"));
  EXPECT_THAT(tmtolm({"collect", "--bundle", "/tmp/b.ZIP"}).out,
              ::testing::EndsWith("Bundle: /tmp/b.ZIP.zip\n"));
  EXPECT_TRUE(exists("/tmp/out.zip"));
  EXPECT_TRUE(exists("/tmp/b.ZIP.zip"));
}

TEST_F(ConsoleTest, AMissingDesktopFolderFailsTheZipAndTellsWhere) {
  writeSimpleConfig();
  std::filesystem::remove(m_strHome + "/Desktop");
  const RunResult result = tmtolm({"collect", "--quiet"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_THAT(result.err,
              MatchesRegex("tmtolm: Internal Error: failed to zip the bundle\\.\\.\\. \\(0xFEAF000B\\); is "
                           "there a folder for \".*/Desktop/TOLMBundle_.*\\.zip\", and may you write "
                           "there\\?\n"));
  EXPECT_THAT(newInTmp(), IsEmpty());
  EXPECT_FALSE(exists(m_strHome + "/Desktop"));
}

TEST_F(ConsoleTest, AnEmptyHomeFailsTheZipAndLeavesNothing) {
  writeSimpleConfig();
  makeFolders("/tmp/work");
  for (const bool unset : {false, true}) {
    RunOptions options;
    options.workingFolder = "/tmp/work";
    if (unset) {
      options.unset = {"HOME"};
    } else {
      options.environment = {{"HOME", ""}};
    }
    const RunResult result = tmtolm({"collect", "--quiet"}, options);
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_THAT(result.err,
                HasSubstr("tmtolm: Internal Error: failed to zip the bundle... (0xFEAF000B); is there a "
                          "folder for \"$HOME/Desktop/TOLMBundle_"));
    EXPECT_THAT(newInTmp(), ElementsAre("work"));
    EXPECT_THAT(listFolder("/tmp/work"), IsEmpty());
  }
}

TEST_F(ConsoleTest, ABundlePathThatIsAFolderFailsTheZip) {
  writeSimpleConfig();
  makeFolders("/opt/out.zip");
  expectFailure(
      {"collect", "--bundle", "/opt/out.zip"},
      "Internal Error: failed to zip the bundle... (0xFEAF000B); \"/opt/out.zip\" is a folder, and a "
      "bundle is a file: name a file in a folder");
  EXPECT_THAT(listFolder("/opt/out.zip"), IsEmpty());
}

TEST_F(ConsoleTest, ABundlePathThatIsAPipeOrADeviceRunsNothing) {
  writeSimpleConfig();
  ASSERT_EQ(mkfifo("/opt/pipe.zip", 0600), 0);
  ASSERT_EQ(symlink("/dev/null", "/opt/device.zip"), 0);
  for (const std::string name : {"/opt/pipe", "/opt/pipe.zip", "/opt/device"}) {
    const std::string what =
        name == "/opt/device" ? "/opt/device.zip\" is a device" : "/opt/pipe.zip\" is a pipe";
    const RunResult result = tmtolm({"collect", "--bundle", name});
    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(result.out, "\r\nInternal Error: failed to zip the bundle...\r\n");
    EXPECT_THAT(result.err, HasSubstr("(0xFEAF000B); \"" + what));
  }
  EXPECT_THAT(newInTmp(), IsEmpty());
}

TEST_F(ConsoleTest, ABundlePathThatMayNotBeWrittenFailsTheZip) {
  writeSimpleConfig();
  makeFolders("/opt/locked");
  chmod("/opt/locked", 0555);
  // Root may write anywhere, and a program that root starts is root again: take the right from it.
  std::vector<std::string> command = {builtProgram("tmtolm"), "collect", "--bundle", "/opt/locked/out.zip",
                                      "--quiet"};
  if (geteuid() == 0) {
    command.insert(command.begin(), {"setpriv", "--bounding-set=-dac_override,-dac_read_search"});
  }
  RunResult result = runProgram(command);
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err,
            "tmtolm: Internal Error: failed to zip the bundle... (0xFEAF000B); is there a folder for "
            "\"/opt/locked/out.zip\", and may you write there?\n");
  EXPECT_THAT(newInTmp(), IsEmpty());
  EXPECT_THAT(listFolder("/opt/locked"), IsEmpty());
}

TEST_F(ConsoleTest, ALineFeedInABundlePathLeavesTheFailureOnOneLine) {
  writeSimpleConfig();
  expectFailure({"collect", "--bundle", "/none/a\nb.zip"},
                "Internal Error: failed to zip the bundle... (0xFEAF000B); is there a folder for "
                "\"/none/a\\x0ab.zip\", and may you write there?");
}

// --- collect: other failures ----------------------------------------------------------------------

TEST_F(ConsoleTest, WithoutDocumentsARunFails) {
  const std::string line = "Internal Error: no valid configuration XML found... (0xFEAF000A)";
  expectFailure({"collect"}, line);
  writeFile(kConfig + "a.XML", documentText("A", ""));
  writeFile(kConfig + "broken.xml", "<a>");
  expectFailure({"collect"}, line);
  std::filesystem::remove_all(kConfig);
  expectFailure({"collect"}, line);
  expectFailure({"clear", "--yes"}, line);
}

TEST_F(ConsoleTest, ARequestThatIsMissingOrBrokenFails) {
  writeSimpleConfig();
  writeFile("/opt/broken.xml", "<r><file></r>");
  writeFile("/opt/empty.xml", "");
  const std::string line =
      "Internal Error: invalid request XML, please contact your administrator, or run in default mode "
      "(0xFEAF0011); ";
  for (const std::string path : {"/opt/none.xml", "/opt/broken.xml", "/opt/empty.xml", "/opt"}) {
    expectFailure({"collect", "--request", path, "--bundle", "/tmp/out.zip"},
                  line + (path == "/opt/none.xml"
                              ? "the request \"" + path + "\" can't be read: No such file or directory"
                              : "\"tmtolm check\" tells what is wrong with the request \"" + path + "\""));
  }
}

TEST_F(ConsoleTest, DocumentsThatAllFailEndTheRun) {
  writeFile(kConfig + "a.xml", documentText("summary.txt", item("a", "D", copyAction("/opt/logs/*.log"))));
  expectFailure({"collect", "--bundle", "/tmp/out.zip"},
                "Internal Error: all configs failed... (0xFEAF000A)");
}

TEST_F(ConsoleTest, ATemporaryFolderThatCannotBeMadeEndsTheRun) {
  writeSimpleConfig();
  ASSERT_EQ(mount("none", "/tmp", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  const RunResult result = tmtolm({"collect", "--bundle", "/opt/out.zip"});
  ASSERT_EQ(mount("none", "/tmp", nullptr, MS_REMOUNT | MS_BIND, nullptr), 0);
  EXPECT_EQ(result.exitStatus, 1);
  // With the cause behind it, which an administrator needs: the code says no more than that it failed.
  EXPECT_THAT(
      result.err,
      MatchesRegex("tmtolm: Internal Error: failed to create temporary working folder... .0xFEAF0009.; "
                   "\"/tmp/TOLM_Temp_Bundle[0-9_]*\" can't be made: Read-only file system\n"));
}

TEST_F(ConsoleTest, WrongUsageRunsNothing) {
  writeSimpleConfig();
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"collect", "x"},
                                             {"collect", "--bundle", ""},
                                             {"collect", "--password", "x"},
                                             {"check"},
                                             {"plan", "x"}}) {
    const RunResult result = tmtolm(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("Try \"tmtolm "));
  }
  EXPECT_THAT(newInTmp(), IsEmpty());
  EXPECT_THAT(listFolder(m_strHome + "/Desktop"), IsEmpty());
}

// --- collect: request, commands, password ---------------------------------------------------------

TEST_F(ConsoleTest, ARequestGathersWhatItNamesAndItsComments) {
  writeFile(kConfig + "a.xml",
            documentText("Alpha", item("a", "D", copyAction("/opt/logs/one.log")) +
                                      item("b", "D", copyAction("/opt/logs/two.log"), "")));
  writeFile("/opt/request.xml", "<r><comments>It breaks.</comments><file id=\"b\"/><file id=\"zz\"/></r>");
  const RunResult result = tmtolm({"collect", "--request", "/opt/request.xml", "--bundle", "/tmp/out.zip"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "tmtolm: no document has instructions for an id of the request: \"zz\"\n");
  EXPECT_EQ(result.out, started() + finished() + "Bundle: /tmp/out.zip\n");
  const std::map<std::string, std::string> content = contentOf("/tmp/out.zip");
  EXPECT_THAT(namesOf("/tmp/out.zip"), UnorderedElementsAre("Alpha/two.log", "comments.txt", "summary.txt"));
  EXPECT_EQ(content.at("comments.txt"), "Comments from Tessarmont user:\nIt breaks.");
}

TEST_F(ConsoleTest, CommandsAreCapturedIntoTheBundle) {
  writeFile(
      kConfig + "a.xml",
      documentText("Alpha", item("a", "D",
                                 "<use_extern_action><action><args>echo hello; missing-program 2&gt;&amp;1"
                                 "</args><stdout/></action></use_extern_action>")));
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  const std::string output = contentOf("/tmp/out.zip").at("Alpha/echo_result.txt");
  EXPECT_THAT(output, HasSubstr("hello\n"));
  EXPECT_THAT(output, HasSubstr("missing-program"));
}

TEST_F(ConsoleTest, APasswordFromAFileEncryptsTheBundle) {
  writeSimpleConfig();
  writeFile("/opt/password", "s3cret w\xc3\xb6rd\r\nsecond line\r\n");
  const RunResult result =
      tmtolm({"collect", "--bundle", "/tmp/out.zip", "--password-file", "/opt/password", "--quiet"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  makeFolders("/opt/unpacked");
  const RunResult unpacked =
      runProgram({"unzip", "-P", "s3cret w\xc3\xb6rd", "-d", "/opt/unpacked", "/tmp/out.zip"});
  EXPECT_EQ(unpacked.exitStatus, 0) << unpacked.err;
  EXPECT_EQ(readFile("/opt/unpacked/Alpha/one.log"), "one\n");
  EXPECT_NE(runProgram({"unzip", "-P", "wrong", "-t", "/tmp/out.zip"}).exitStatus, 0);
}

TEST_F(ConsoleTest, APasswordFileThatCannotBeUsedRunsNothing) {
  writeSimpleConfig();
  writeFile("/opt/empty", "\nsecret\n");
  for (const char* path : {"/opt/none", "/opt/empty", "/opt"}) {
    const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip", "--password-file", path});
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, MatchesRegex("tmtolm: .*password.*\n"));
    EXPECT_THAT(result.err, HasSubstr(path));
  }
  EXPECT_THAT(newInTmp(), IsEmpty());
}

TEST_F(ConsoleTest, ThePasswordIsInNoLogRecord) {
  writeSimpleConfig();
  writeFile("/opt/password", "xyzzy-plugh\n");
  Receiver journal("/run/systemd/journal/socket");
  ASSERT_TRUE(journal.isBound());
  std::atomic<bool> done = false;
  std::vector<std::string> records;
  std::thread reader([&] {
    for (;;) {
      const bool last = done;
      while (const std::optional<std::string> record = journal.take()) {
        records.push_back(*record);
      }
      if (last) {
        return;
      }
      usleep(1000);
    }
  });
  const RunResult good =
      tmtolm({"collect", "--bundle", "/tmp/out.zip", "--password-file", "/opt/password", "--quiet"});
  const RunResult bad =
      tmtolm({"collect", "--bundle", "/none/out.zip", "--password-file", "/opt/password", "--quiet"});
  done = true;
  reader.join();
  EXPECT_EQ(good.exitStatus, 0);
  EXPECT_EQ(bad.exitStatus, 1);
  EXPECT_FALSE(records.empty());
  for (const std::string& record : records) {
    EXPECT_THAT(record, Not(HasSubstr("xyzzy")));
  }
}

TEST_F(ConsoleTest, APasswordIsAskedForTwiceWithoutEcho) {
  writeSimpleConfig();
  const TerminalResult result = runOnTerminal(
      {builtProgram("tmtolm"), "collect", "--bundle", "/tmp/out.zip", "--ask-password", "--quiet"},
      {{"Password of the bundle: ", "open sesame\n"}, {"The same again: ", "open sesame\n"}});
  EXPECT_TRUE(result.allTurns) << result.run.out;
  EXPECT_EQ(result.run.exitStatus, 0);
  EXPECT_EQ(result.run.out, "Password of the bundle: \nThe same again: \n");
  EXPECT_TRUE(result.echoBefore);
  EXPECT_TRUE(result.echoAfter);
  EXPECT_EQ(runProgram({"unzip", "-P", "open sesame", "-t", "/tmp/out.zip"}).exitStatus, 0);
}

TEST_F(ConsoleTest, PasswordsThatDifferRunNothing) {
  writeSimpleConfig();
  const TerminalResult result =
      runOnTerminal({builtProgram("tmtolm"), "collect", "--bundle", "/tmp/out.zip", "--ask-password"},
                    {{"Password of the bundle: ", "one\n"}, {"The same again: ", "other\n"}});
  EXPECT_EQ(result.run.exitStatus, 2);
  EXPECT_THAT(result.run.out, HasSubstr("tmtolm: the two passwords differ\n"));
  EXPECT_THAT(newInTmp(), IsEmpty());
  EXPECT_TRUE(result.echoAfter);
}

TEST_F(ConsoleTest, AnEmptyPasswordOrTheEndOfTheInputRunsNothing) {
  writeSimpleConfig();
  for (const auto& [typed, text] : std::map<std::string, std::string>{{"\n", "the password is empty"},
                                                                      {"\x04", "no password was entered"}}) {
    const TerminalResult result =
        runOnTerminal({builtProgram("tmtolm"), "collect", "--bundle", "/tmp/out.zip", "--ask-password"},
                      {{"Password of the bundle: ", typed}});
    EXPECT_EQ(result.run.exitStatus, 2);
    EXPECT_THAT(result.run.out, HasSubstr("tmtolm: " + text + "\n"));
    EXPECT_TRUE(result.echoAfter);
  }
  EXPECT_THAT(newInTmp(), IsEmpty());
}

TEST_F(ConsoleTest, AnInterruptedQuestionPutsTheEchoBack) {
  writeSimpleConfig();
  for (const auto& [typed, signal] : std::map<std::string, int>{{"\x03", SIGINT}, {"\x1c", SIGQUIT}}) {
    const TerminalResult result =
        runOnTerminal({builtProgram("tmtolm"), "collect", "--bundle", "/tmp/out.zip", "--ask-password"},
                      {{"Password of the bundle: ", "half" + typed}});
    EXPECT_EQ(result.run.signal, signal);
    EXPECT_THAT(result.run.out, Not(HasSubstr("half")));
    EXPECT_TRUE(result.echoAfter);
  }
  EXPECT_THAT(newInTmp(), IsEmpty());
}

TEST_F(ConsoleTest, AStoppedQuestionIsAskedAgain) {
  writeSimpleConfig();
  // The program leads an orphaned group here, which the kernel doesn't stop: it goes on at once.
  const TerminalResult result = runOnTerminal(
      {builtProgram("tmtolm"), "collect", "--bundle", "/tmp/out.zip", "--ask-password", "--quiet"},
      {{"Password of the bundle: ", "half\x1a"},
       {"Password of the bundle: ", "whole\n"},
       {"The same again: ", "whole\n"}});
  EXPECT_TRUE(result.allTurns) << result.run.out;
  EXPECT_EQ(result.run.exitStatus, 0);
  EXPECT_EQ(runProgram({"unzip", "-P", "whole", "-t", "/tmp/out.zip"}).exitStatus, 0);
}

TEST_F(ConsoleTest, WithoutATerminalThePasswordCannotBeAskedFor) {
  writeSimpleConfig();
  const RunResult result = runProgram(
      {"setsid", "-w", builtProgram("tmtolm"), "collect", "--bundle", "/tmp/out.zip", "--ask-password"});
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.err, "tmtolm: there is no terminal to ask for the password on; use --password-file\n");
  EXPECT_THAT(newInTmp(), IsEmpty());
}

// --- clear ----------------------------------------------------------------------------------------

class ConsoleClearTest : public ConsoleTest {
 protected:
  void SetUp() override {
    ConsoleTest::SetUp();
    writeFile(kConfig + "a.xml",
              documentText("Alpha", item("a", "First",
                                         copyAction("/opt/logs/one.log", "<clear_log apply=\"true\"/>")) +
                                        item("b", "Second", copyAction("/opt/logs/two.log"))));
  }
  static bool isCleared() { return !exists("/opt/logs/one.log"); }
};

TEST_F(ConsoleClearTest, WithYesItDeletesWhatIsMarkedAndPrintsItsProgressToTheByte) {
  const RunResult result = tmtolm({"clear", "--yes"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, progress("Starting up TOLM Engine...", 1) + progress("Clearing Second...", 46) +
                            progress("TOLM has finished... ", 100) + "\r\n\r\n");
  EXPECT_TRUE(isCleared());
  EXPECT_TRUE(exists("/opt/logs/two.log"));
  EXPECT_THAT(listFolder(m_strHome + "/Desktop"), IsEmpty());
  EXPECT_THAT(newInTmp(), IsEmpty());
}

TEST_F(ConsoleClearTest, QuietPrintsNothing) {
  const RunResult result = tmtolm({"clear", "--yes", "--quiet"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_TRUE(isCleared());
}

TEST_F(ConsoleClearTest, OffATerminalItRefuses) {
  RunOptions options;
  options.input = "y\n";
  const RunResult result = tmtolm({"clear"}, options);
  EXPECT_EQ(result.exitStatus, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "tmtolm: clear deletes files and has no terminal to ask on; --yes goes on without asking\n");
  EXPECT_FALSE(isCleared());
}

TEST_F(ConsoleClearTest, OnATerminalAYesGoesOn) {
  for (const char* yes : {"y\n", "YES\n"}) {
    writeFile("/opt/logs/one.log", "one\n");
    const TerminalResult result =
        runOnTerminal({builtProgram("tmtolm"), "clear", "--quiet"}, {{"Go on? [y/N] ", yes}});
    EXPECT_EQ(result.run.exitStatus, 0) << result.run.out;
    EXPECT_TRUE(isCleared());
  }
}

TEST_F(ConsoleClearTest, OnATerminalAnythingElseClearsNothing) {
  for (const char* no : {"n\n", "\n", "yess\n", "\x04"}) {
    const TerminalResult result = runOnTerminal({builtProgram("tmtolm"), "clear"}, {{"Go on? [y/N] ", no}});
    EXPECT_EQ(result.run.exitStatus, 1);
    EXPECT_THAT(result.run.out, HasSubstr("tmtolm: Nothing was cleared. (0xFEAF0013)\n"));
    EXPECT_FALSE(isCleared());
  }
}

TEST_F(ConsoleClearTest, AReaderThatGoesAwayDoesNotEndTheRun) {
  const RunResult result = runProgram(withoutReader("clear --yes"));
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "tmtolm: standard output can't be written: Broken pipe\n");
  EXPECT_TRUE(isCleared());
}

TEST_F(ConsoleClearTest, TheSamplesClearTheClientsOwnLogsAlone) {
  std::filesystem::remove(kConfig + "a.xml");
  for (const std::string& name : listFolder(sourcePath("samples"))) {
    if (name.find(".xml") != std::string::npos) {
      writeFile(kConfig + name, readFile(sourcePath("samples/" + name)));
    }
  }
  const std::vector<std::string> logs = {"/opt/halvo/tessarmont/log/agent.log",
                                         m_strHome + "/.halvo/vpn/log/client.log"};
  const std::vector<std::string> others = {
      "/opt/halvo/tessarmont/log/agent.crash", "/opt/halvo/tessarmont/profile/a.xml",
      m_strHome + "/.halvo/vpn/log/client.txt", m_strHome + "/.halvo/vpn/preferences.xml"};
  for (const std::vector<std::string>& paths : {logs, others}) {
    for (const std::string& path : paths) {
      writeFile(path, "x");
    }
  }
  EXPECT_EQ(tmtolm({"clear", "--yes"}).exitStatus, 0);
  for (const std::string& path : logs) {
    EXPECT_FALSE(exists(path)) << path;
  }
  for (const std::string& path : others) {
    EXPECT_TRUE(exists(path)) << path;
  }
  for (const std::string& name : listFolder(sourcePath("samples"))) {
    EXPECT_TRUE(name.find(".xml") == std::string::npos || exists(kConfig + name)) << name;
  }
}

// --- check and plan -------------------------------------------------------------------------------

TEST_F(ConsoleTest, CheckTellsErrorsByItsStatusAndOneLineEach) {
  writeFile("/opt/bad.xml", "<c>\n <file></c>");
  RunResult result = tmtolm({"check", "/opt/bad.xml"});
  EXPECT_EQ(result.exitStatus, 1);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out,
              MatchesRegex("/opt/bad\\.xml:2:[0-9]+: error: not well-formed XML .* \\[not-well-formed\\]\n"));
  writeFile("/opt/warned.xml", "<c><configure><title>T</title></configure></c>");
  result = tmtolm({"check", "/opt/warned.xml"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_THAT(result.out, HasSubstr(": warning: "));
  writeSimpleConfig();
  result = tmtolm({"check", kConfig});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.out, "");
}

TEST_F(ConsoleTest, PlanRunsAndWritesNothing) {
  writeFile(
      kConfig + "a.xml",
      documentText("Alpha", item("a", "D",
                                 copyAction("/opt/logs/*.log") +
                                     "<use_extern_action><action><args>touch /tmp/touched</args><stdout/>"
                                     "</action><action><args>touch /tmp/launched</args><temp_out>/tmp/x"
                                     "</temp_out></action></use_extern_action>")));
  Receiver journal("/run/systemd/journal/socket");
  const RunResult result = tmtolm({"plan"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  for (const char* part : {"\"Alpha\"", "/opt/logs/one.log  4 bytes", "run touch /tmp/touched", "start touch",
                           "2 files (8 bytes) and 2 commands"}) {
    EXPECT_THAT(result.out, HasSubstr(part));
  }
  EXPECT_THAT(newInTmp(), IsEmpty());
  EXPECT_THAT(listFolder(m_strHome + "/Desktop"), IsEmpty());
  EXPECT_EQ(journal.take(), std::nullopt);
}

TEST_F(ConsoleTest, PlanAgreesWithTheRun) {
  writeFile(kConfig + "a.xml", documentText("Alpha", item("b", "D", copyAction("/opt/logs/O*")) +
                                                         item("a", "D", copyAction("/opt/logs/two.log"),
                                                              "<default>no</default>")));
  EXPECT_THAT(tmtolm({"plan"}).out, HasSubstr("1 file (4 bytes) and 0 commands"));
  EXPECT_EQ(tmtolm({"collect", "--bundle", "/tmp/out.zip"}).exitStatus, 0);
  EXPECT_THAT(namesOf("/tmp/out.zip"), UnorderedElementsAre("Alpha/one.log", "summary.txt"));
}

TEST_F(ConsoleTest, PlanPrintsValidJsonWhateverTheNames) {
  writeFile("/opt/docs/a.xml", documentText("A", item("a", "D \"quoted\"", copyAction("/opt/logs/*"))));
  writeFile("/opt/docs/broken.xml", "<");
  writeFile("/opt/logs/\xff\x01\"\n.log", "x");
  for (const char* folder : {"/opt/docs", "/opt/docs/"}) {
    const RunResult result = tmtolm({"plan", "--config", folder, "--json"});
    EXPECT_EQ(result.exitStatus, 0);
    RunOptions options;
    options.input = result.out;
    const RunResult read = runProgram({"python3", "-c",
                                       "import json, sys\n"
                                       "plan = json.loads(sys.stdin.buffer.read().decode('utf-8'))\n"
                                       "print(sorted(d['path'] for d in plan['documents']))\n"
                                       "print([f['path'] for d in plan['documents'] for i in d['items'] for "
                                       "a in i['actions'] for f in a['files']]"
                                       ".count('/opt/logs/\\ufffd\\x01\"\\n.log'))\n"},
                                      options);
    EXPECT_EQ(read.out, "['/opt/docs/a.xml', '/opt/docs/broken.xml']\n1\n") << read.err;
  }
}

TEST_F(ConsoleTest, PlanFailsWhereARunWould) {
  expectFailure({"plan"},
                "Internal Error: no valid configuration XML found... (0xFEAF000A); is there a document, and "
                "does tmtolm check find it well-formed?");
  writeFile("/opt/broken.xml", "<a>");
  EXPECT_THAT(tmtolm({"try", "/opt/broken.xml", "--bundle", "/opt/out.zip"}).err,
              HasSubstr("(0xFEAF000A); is there a document, and does tmtolm check find it well-formed?\n"));
  writeSimpleConfig();
  expectFailure(
      {"plan", "--request", "/opt/none.xml"},
      "Internal Error: invalid request XML, please contact your administrator, or run in default mode "
      "(0xFEAF0011); the request \"/opt/none.xml\" can't be read: No such file or directory");
}

// --- samples and bad input ------------------------------------------------------------------------

TEST_F(ConsoleTest, TheSamplesGatherFilesAndCommandsOfThisMachine) {
  for (const std::string& name : listFolder(sourcePath("samples"))) {
    if (name.find(".xml") != std::string::npos) {
      writeFile(kConfig + name, readFile(sourcePath("samples/" + name)));
    }
  }
  writeFile("/opt/halvo/tessarmont/tolm/filter/without-secrets.awk",
            readFile(sourcePath("samples/filter/without-secrets.awk")));
  writeFile(m_strHome + "/.halvo/vpn/log/client.log", "client\n");
  RunOptions options;
  options.timeoutSeconds = 120;
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip"}, options);
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  const std::map<std::string, std::string> content = contentOf("/tmp/out.zip");
  EXPECT_EQ(content.count("User/client.log"), 1U);
  EXPECT_EQ(content.count("Client/client.xml"), 1U);
  EXPECT_THAT(content.at("Configuration/tail_result.txt"), HasSubstr("NAME="));
  EXPECT_THAT(content.at("System/uname_result.txt"), HasSubstr("Linux"));
  // Absent programs, and those that an ordinary user may not run, leave their message and no hole.
  for (const char* name : {"Client/coredumpctl",
                           "Client/openssl",
                           "Client/tail",
                           "Kernel/aa-enabled",
                           "Kernel/dmesg",
                           "Kernel/journalctl",
                           "Kernel/last",
                           "Names/getent",
                           "Names/resolvectl",
                           "Names/tail",
                           "Network/ethtool",
                           "Network/ip",
                           "Network/iptables",
                           "Network/nft",
                           "Network/ss",
                           "NetworkSettings/env",
                           "NetworkSettings/head",
                           "NetworkSettings/networkctl",
                           "NetworkSettings/nmcli",
                           "NetworkSettings/tail",
                           "System/df",
                           "System/findmnt",
                           "System/free",
                           "System/hostnamectl",
                           "System/lsblk",
                           "System/lsmod",
                           "System/ps",
                           "System/systemctl",
                           "System/timedatectl",
                           "Tunnels/ip",
                           "Tunnels/wg",
                           "User/tail",
                           "System/uname"}) {
    EXPECT_EQ(content.count(name + std::string("_result.txt")), 1U) << name;
  }
  for (const auto& [name, text] : content) {
    EXPECT_THAT(name, Not(HasSubstr("_tmp.txt")));
    EXPECT_THAT(name, Not(HasSubstr("shadow")));
  }
  EXPECT_THAT(newInTmp(), ElementsAre("out.zip"));
}

TEST_F(ConsoleTest, TheSampleRequestGathersWhatItNames) {
  for (const std::string& name : listFolder(sourcePath("samples"))) {
    if (name.find(".xml") != std::string::npos) {
      writeFile(kConfig + name, readFile(sourcePath("samples/" + name)));
    }
  }
  const RunResult result = tmtolm(
      {"collect", "--request", sourcePath("samples/request/network-only.xml"), "--bundle", "/tmp/out.zip"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(namesOf("/tmp/out.zip"),
              ::testing::AllOf(Contains("comments.txt"), Contains("Network/ip_result.txt"),
                               Contains("Names/tail_result.txt"), Not(Contains("System/uname_result.txt"))));
}

TEST_F(ConsoleTest, InstallingTheSamplesKeepsDocumentsThatAreThere) {
  const std::string script = builtProgram("../samples/cmake_install.cmake");
  writeFile("/tmp/prefix/tolm/xml/config/client.xml", "mine");
  for (int i = 0; i < 2; ++i) {
    const RunResult result = runProgram({"cmake", "-DCMAKE_INSTALL_PREFIX=/tmp/prefix", "-P", script});
    EXPECT_EQ(result.exitStatus, 0) << result.err;
    writeFile("/tmp/prefix/tolm/xml/config/user.xml", "changed");
  }
  EXPECT_EQ(readFile("/tmp/prefix/tolm/xml/config/client.xml"), "mine");
  EXPECT_EQ(readFile("/tmp/prefix/tolm/xml/config/user.xml"), "changed");
  EXPECT_EQ(readFile("/tmp/prefix/tolm/xml/config/network.xml"), readFile(sourcePath("samples/network.xml")));
  EXPECT_FALSE(exists("/tmp/prefix/tolm/xml/config/network-only.xml"));
}

TEST_F(ConsoleTest, BadDocumentsBesideAGoodOneHarmNothing) {
  writeSimpleConfig();
  std::string deep;
  for (int i = 0; i < 10'000; ++i) {
    deep += "<a>";
  }
  writeFile(kConfig + "deep.xml", deep);
  writeFile(kConfig + "empty.xml", "");
  writeFile(kConfig + "blank.xml", " \n\t");
  writeFile(kConfig + "bytes.xml", "<a>\xff\xfe\x01</a>");
  writeFile(kConfig + "unrelated.xml", "<html><body/></html>");
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 \"lollollollollollol\">";
  for (int i = 1; i < 20; ++i) {
    std::string ten;
    for (int j = 0; j < 10; ++j) {
      ten += "&e" + std::to_string(i - 1) + ";";
    }
    bomb += "<!ENTITY e" + std::to_string(i) + " \"" + ten + "\">";
  }
  writeFile(kConfig + "bomb.xml", bomb + "]><a>&e19;</a>");
  makeFolders(kConfig + "x.xml");
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip"});
  EXPECT_EQ(result.exitStatus, 0);
  EXPECT_EQ(result.err, "");
  const std::string summary = contentOf("/tmp/out.zip").at("summary.txt");
  for (const char* name : {"deep.xml", "empty.xml", "blank.xml", "bytes.xml", "bomb.xml", "x.xml"}) {
    EXPECT_THAT(summary, HasSubstr(kConfig + name + "\n"));
  }
  EXPECT_THAT(newInTmp(), ElementsAre("out.zip"));

  const RunResult checked = tmtolm({"check", kConfig});
  EXPECT_EQ(checked.exitStatus, 1);
  EXPECT_EQ(checked.err, "");
  EXPECT_EQ(tmtolm({"plan"}).exitStatus, 0);
}

TEST_F(ConsoleTest, ADocumentOfAHundredMegabytesIsToldByCheckAndBoreByARun) {
  writeSimpleConfig();
  const std::string line(999, 'x');
  std::string text = "<c><configure><title>Huge</title></configure>";
  while (text.size() < 100'000'000) {
    text += "<!--" + line + "-->\n";
  }
  writeFile(kConfig + "huge.xml", text + "</c>");
  const RunResult checked = tmtolm({"check", kConfig});
  EXPECT_EQ(checked.exitStatus, 1);
  EXPECT_THAT(checked.out, HasSubstr("[too-large]\n"));
  const RunResult result = tmtolm({"collect", "--bundle", "/tmp/out.zip", "--quiet"});
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(namesOf("/tmp/out.zip"), Contains("Alpha/one.log"));
}

TEST_F(ConsoleTest, EveryFaultyDocumentOfTheCorpusLetsTheRunEnd) {
  writeSimpleConfig();
  for (const std::string& name : listFolder(sourcePath("fuzz/corpus/document"))) {
    writeFile(kConfig + name, readFile(sourcePath("fuzz/corpus/document/" + name)));
  }
  RunOptions options;
  options.timeoutSeconds = 110;
  const RunResult planned = tmtolm({"plan", "--json"}, options);
  EXPECT_EQ(planned.exitStatus, 0);
  // A title may be that of the summary, and then the first document decides where the summary lies: the
  // run ends with either outcome, but it ends, and its folder is gone.
  const RunResult result = tmtolm({"collect", "--bundle", "/opt/out.zip", "--quiet"}, options);
  EXPECT_FALSE(result.timedOut);
  EXPECT_EQ(result.signal, 0);
  EXPECT_EQ(result.exitStatus, 0) << result.err;
  EXPECT_THAT(newInTmp(), Not(Contains(HasSubstr("TOLM_Temp"))));
}

}  // namespace
}  // namespace halvo
