// Whole runs of the engine, in a private root.

#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"

#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <sstream>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineRuns_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;

constexpr char kHeading[] =
    "\n\nNo instruction found in any config for the following file ID's from request:\n";

TEST_F(TOLMEngineTest, ADefaultRunMakesABundleAndEndsAtAHundredAndZero) {
  config("a.xml",
         documentText("Alpha", logsItem() + itemText("cmd",
                                                     "<use_extern_action><action><args>echo hello</args>"
                                                     "<stdout/></action></use_extern_action>")));
  EXPECT_RESULT(run(), 0) << m_Log.dump();
  EXPECT_THAT(entries(),
              ElementsAre("Alpha/TWO.LOG", "Alpha/echo_result.txt", "Alpha/one.log", "summary.txt"));
  EXPECT_EQ(runProgram({"unzip", "-p", m_strBundle, "Alpha/one.log"}).out, "one\n");
  EXPECT_THAT(leftovers(), IsEmpty());
  EXPECT_EQ(m_strFailure, "");
  EXPECT_EQ(getProgressState().message, "TOLM has finished... ");
  EXPECT_EQ(getProgressState().percent, 100U);
  ASSERT_GE(m_Keeper.reports.size(), 5U);
  EXPECT_EQ(m_Keeper.reports[0], "1 Starting up TOLM Engine...");
  EXPECT_EQ(m_Keeper.reports[1], "1 Parsing request and configuration XMLs...");
  EXPECT_EQ(m_Keeper.reports[2], "0 Reading instructions ...");
  EXPECT_EQ(*(m_Keeper.reports.end() - 3), "96 Zipping the bundle, please wait...");
  EXPECT_EQ(*(m_Keeper.reports.end() - 2), "100 TOLM has finished... ");
  EXPECT_EQ(m_Keeper.reports.back(), "finished 0");
}

TEST_F(TOLMEngineTest, WithoutAListenerARunGoesThroughInSilence) {
  setProgressListener(nullptr);
  config("a.xml", documentText("Alpha", logsItem()));
  ::testing::internal::CaptureStdout();
  EXPECT_RESULT(run(), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(TOLMEngineTest, AConfigFolderWithoutDocumentsEndsTheRunWhateverTheRequestSays) {
  writeFile("/tmp/request.xml", "<r><file id=\"logs\"/></r>");
  for (const char* request : {"", "/tmp/request.xml"}) {
    m_Keeper.finished.clear();
    expectFailure(run(request), TOLMENGINE_ERROR_INTERNAL,
                  "Internal Error: no valid configuration XML found...");
  }
  config("bad.xml", "<open>");
  m_Keeper.finished.clear();
  expectFailure(run(), TOLMENGINE_ERROR_INTERNAL, "Internal Error: no valid configuration XML found...");
}

TEST_F(TOLMEngineTest, AnEarlyFailureRemovesALeftOverFolder) {
  writeFile(std::string(kPlainTempFolder) + "/old/file", "x");
  expectFailure(run(), TOLMENGINE_ERROR_INTERNAL, "Internal Error: no valid configuration XML found...");
}

TEST_F(TOLMEngineTest, OneGoodAndOneBadDocumentMakeABundleThatTellsTheBadOne) {
  config("good.xml", documentText("Good", logsItem()));
  config("bad.xml", "<open>");
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(summary(),
              HasSubstr("\n\n" + std::string(100, '=') +
                        "\nTOLMEngine failed to parse or use the following configuration files:\n" +
                        kConfigFolder + "bad.xml\n" + kHeading));
  EXPECT_THAT(summary(), Not(HasSubstr("\n" + std::string(101, '=') + "\nTOLMEngine")));
}

TEST_F(TOLMEngineTest, OnACleanMachineTheWorkFolderBearsASuffixWithTwoUnderscores) {
  config("a.xml",
         documentText("A", itemText("pwd",
                                    "<use_extern_action><action><args>ls -d /tmp/TOLM_Temp_Bundle*</args>"
                                    "<stdout/></action></use_extern_action>")));
  EXPECT_RESULT(run(), 0);
  const std::string listed = runProgram({"unzip", "-p", m_strBundle, "A/ls_result.txt"}).out;
  EXPECT_THAT(listed, MatchesRegex("(.|\n)*/tmp/TOLM_Temp_Bundle__[0-9]{4}_[0-9]{4}_[0-9]{1,5}\n"));
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogWarning, "helperUtil::fileDeleteDirectory", TOLMENGINE_ERROR_ACCESS_DENIED))
      << m_Log.dump();
}

TEST_F(TOLMEngineTest, AfterARemovedLeftOverThePlainNameIsUsed) {
  writeFile(std::string(kPlainTempFolder) + "/old/file", "x");
  config("a.xml",
         documentText("A", itemText("pwd",
                                    "<use_extern_action><action><args>ls -d /tmp/TOLM_Temp_Bundle*</args>"
                                    "<stdout/></action></use_extern_action>")));
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(runProgram({"unzip", "-p", m_strBundle, "A/ls_result.txt"}).out,
              HasSubstr("\n\r\n/tmp/TOLM_Temp_Bundle\n"));
  EXPECT_FALSE(m_Log.has(kLogWarning, "helperUtil::fileDeleteDirectory"));
  EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(TOLMEngineTest, ALeftOverThatCantBeRemovedStaysAndTheRunGoesOn) {
  writeFile(std::string(kPlainTempFolder) + "/closed/file", "x");
  chmod("/tmp/TOLM_Temp_Bundle/closed", 0555);
  config("a.xml", documentText("A", logsItem()));
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(run(), 0) << m_Log.dump();
  }
  EXPECT_THAT(leftovers(), ElementsAre("TOLM_Temp_Bundle"));
  EXPECT_TRUE(exists("/tmp/TOLM_Temp_Bundle/closed/file"));
  EXPECT_THAT(entries(), ElementsAre("A/TWO.LOG", "A/one.log", "summary.txt"));
  chmod("/tmp/TOLM_Temp_Bundle/closed", 0755);
}

TEST_F(TOLMEngineTest, APlantedLinkIsNotFollowed) {
  writeFile("/tmp/home/precious", "x");
  ASSERT_EQ(symlink("/tmp/home", kPlainTempFolder), 0);
  config("a.xml", documentText("A", logsItem()));
  EXPECT_RESULT(run(), 0);
  EXPECT_TRUE(exists("/tmp/home/precious"));
  EXPECT_EQ(listFolder("/tmp/home").size(), 1U);
}

TEST_F(TOLMEngineTest, ATemporaryFolderThatCantBeMadeEndsTheRun) {
  config("a.xml", documentText("A", logsItem()));
  chmod("/tmp", 0555);
  ResultCode rc = 0;
  {
    const WithoutFileOverride ordinary;
    rc = run();
  }
  chmod("/tmp", 01777);
  expectFailure(rc, TOLMENGINE_ERROR_ACCESS_DENIED,
                "Internal Error: failed to create temporary working folder...");
}

// A file system of its own over a folder, for a scope.
class SmallDisk {
 public:
  SmallDisk(std::string path, const char* options) : m_strPath(std::move(path)) {
    makeFolders(m_strPath);
    EXPECT_EQ(mount("tmpfs", m_strPath.c_str(), "tmpfs", 0, options), 0);
  }
  ~SmallDisk() { EXPECT_EQ(umount(m_strPath.c_str()), 0); }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

 private:
  std::string m_strPath;
};

TEST_F(TOLMEngineTest, ATemporaryFolderThatADiskHasNoRoomForEndsTheRunAsUnexpected) {
  config("a.xml", documentText("A", logsItem()));
  // The disk's own root is the one file that it has room for.
  const SmallDisk disk("/tmp", "nr_inodes=1");
  expectFailure(run(), TOLMENGINE_ERROR_UNEXPECTED,
                "Internal Error: failed to create temporary working folder...");
}

TEST_F(TOLMEngineTest, AConfigWithoutATitleIsNamedByItsOrdinal) {
  config("a.xml", "<c>" + logsItem() + "</c>");
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(entries(), ElementsAre("Unknown_1/TWO.LOG", "Unknown_1/one.log", "summary.txt"));
  EXPECT_THAT(summary(), HasSubstr("=\n:\n\nFiles Included"));
}

TEST_F(TOLMEngineTest, TheOrdinalCountsConfigsWithATitleToo) {
  for (const char* name : {"a.xml", "b.xml", "c.xml"}) {
    config(name, documentText(std::string("T_") + name, logsItem()));
  }
  // The last one in the order of loading loses its title.
  std::string last;
  for (const std::string& name : readdirOrder(kConfigFolder)) {
    last = name.size() == 5 ? name : last;
  }
  config(last, "<c>" + logsItem() + "</c>");
  EXPECT_RESULT(run(), 0);
  const std::vector<std::string> order = readdirOrder(kConfigFolder);
  const auto place = std::count_if(order.begin(), std::find(order.begin(), order.end(), last),
                                   [](const std::string& name) { return name.size() == 5; });
  EXPECT_THAT(entries(), Contains("Unknown_" + std::to_string(place + 1) + "/one.log"));
}

TEST_F(TOLMEngineTest, ATitleThatIsEmptyWritesStraightIntoTheWorkFolder) {
  config("a.xml", "<c><configure><title/></configure>" + logsItem() + "</c>");
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(entries(), ElementsAre("TWO.LOG", "one.log"));
  EXPECT_TRUE(exists("/tmp/summary.txt"));
}

// A run that couldn't make the first document's folder told a success for a bundle without a summary.
TEST_F(TOLMEngineTest, ASummaryOutsideOfTheBundleIsToldAsLost) {
  config("a.xml", documentText("no/such", logsItem()));
  EXPECT_RESULT(run(), 0);
  ASSERT_EQ(lossCount(LossKind::kCutShort), 1U);
  EXPECT_TRUE(losses(LossKind::kCutShort)[0].path.ends_with("/../summary.txt"));
}

TEST_F(TOLMEngineTest, ASummaryInTheBundleIsNoLoss) {
  config("a.xml", documentText("A", logsItem()));
  EXPECT_RESULT(run(), 0);
  EXPECT_EQ(lossCount(LossKind::kCutShort), 0U);
}

TEST_F(TOLMEngineTest, ATitleThatIsNoFolderNameWritesStraightIntoTheWorkFolder) {
  config("a.xml", documentText("no/such", logsItem()));
  EXPECT_RESULT(run(), 0);
  // The summary then lies in the work folder's parent, outside the bundle.
  EXPECT_THAT(entries(), ElementsAre("TWO.LOG", "one.log"));
  EXPECT_TRUE(exists("/tmp/summary.txt"));
}

TEST_F(TOLMEngineTest, TwoConfigsOfOneTitleShareTheirFolder) {
  config("a.xml", documentText("Same", itemText("1", copyAction("/tmp/src/one.log"))));
  config("b.xml", documentText("Same", itemText("2", copyAction("/tmp/src/TWO.LOG"))));
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(entries(), ElementsAre("Same/TWO.LOG", "Same/one.log", "summary.txt"));
}

TEST_F(TOLMEngineTest, TheZipNameRuleLooksAtTheTextBehindTheLastDot) {
  config("a.xml", documentText("A", ""));
  const struct {
    const char* given;
    const char* written;
  } cases[] = {{"/tmp/b.zip", "/tmp/b.zip"},
               {"/tmp/b.ZIP", "/tmp/b.ZIP.zip"},
               {"/tmp/b", "/tmp/b.zip"},
               {"/tmp/b.", "/tmp/b..zip"},
               {"/tmp/b.zip.tar", "/tmp/b.zip.tar.zip"}};
  for (const auto& one : cases) {
    EXPECT_RESULT(run("", one.given), 0);
    EXPECT_EQ(m_strBundle, one.written);
    EXPECT_TRUE(exists(one.written)) << one.written;
    // The summary shows the path as it was passed.
    EXPECT_THAT(summary(), HasSubstr("Bundle on client computer:    " + std::string(one.given) + "\n"));
  }
}

TEST_F(TOLMEngineTest, ABundlePathWithoutADotThatReadsZipIsTakenAsItStands) {
  const std::string before = helperUtil::currentDirectory();
  ASSERT_EQ(chdir("/tmp"), 0);
  config("a.xml", documentText("A", ""));
  EXPECT_RESULT(run("", "zip"), 0);
  EXPECT_EQ(m_strBundle, "zip");
  ASSERT_EQ(chdir(before.c_str()), 0);
}

TEST_F(TOLMEngineTest, AnUnwritableBundleEndsTheRunWithTheFixedCode) {
  config("a.xml", documentText("A", logsItem()));
  expectFailure(run("", "/tmp/missing/out.zip"), TOLMENGINE_ERROR_WRITE_FAILURE,
                "Internal Error: failed to zip the bundle...");
}

TEST_F(TOLMEngineTest, APasswordEncryptsTheBundle) {
  config("a.xml", documentText("A", logsItem()));
  EXPECT_RESULT(run("", "/tmp/out.zip", "secret"), 0);
  EXPECT_EQ(runProgram({"unzip", "-p", "-P", "secret", m_strBundle, "A/one.log"}).out, "one\n");
  EXPECT_NE(runProgram({"unzip", "-p", "-P", "wrong", m_strBundle, "A/one.log"}).exitStatus, 0);
  for (const LogRecord& record : m_Log.records()) {
    EXPECT_THAT(record.message, Not(HasSubstr("secret")));
  }
}

TEST_F(TOLMEngineTest, StartsAndStepsOfThreeConfigs) {
  for (const char* name : {"a.xml", "b.xml", "c.xml"}) {
    config(name, documentText(name, logsItem("1") + logsItem("2")));
  }
  EXPECT_RESULT(run(), 0);
  std::vector<std::string> percents;
  for (const std::string& report : m_Keeper.reports) {
    percents.push_back(report.substr(0, report.find(' ')));
  }
  EXPECT_THAT(percents, ElementsAre("1", "1", "0", "0", "15", "30", "30", "45", "61", "61", "76", "96", "100",
                                    "finished"));
}

TEST_F(TOLMEngineTest, MoreThanNinetyTwoConfigsReportNoAdvanceInsideOne) {
  for (int i = 0; i < 93; ++i) {
    config("c" + std::to_string(i) + ".xml",
           documentText("T" + std::to_string(i), logsItem("1") + logsItem("2")));
  }
  EXPECT_RESULT(run(), 0);
  EXPECT_EQ(m_Keeper.reports[2], "0 Reading instructions ...");
  EXPECT_EQ(m_Keeper.reports[3], "0 Processing about 1...");
  EXPECT_EQ(m_Keeper.reports[4], "0 Processing about 2...");
  EXPECT_EQ(m_Keeper.reports[m_Keeper.reports.size() - 4].substr(0, 3), "91 ");
}

// --- Failing configs ---

// Makes every Collect fail: the summary's place is taken by a folder that a request names.
class FailingConfigsTest : public TOLMEngineTest {
 protected:
  void SetUp() override {
    makeFolders("/tmp/taken");
    writeFile("/tmp/request.xml",
              "<r><file id=\"summary\"><name>../taken</name></file><file id=\"logs\"/></r>");
  }
};

TEST_F(FailingConfigsTest, WhenEveryConfigFailsTheRunEnds) {
  config("a.xml", documentText("A", logsItem()));
  config("b.xml", documentText("B", logsItem()));
  expectFailure(run("/tmp/request.xml"), TOLMENGINE_ERROR_INTERNAL, "Internal Error: all configs failed...");
}

TEST_F(FailingConfigsTest, CountsAreComparedOnceACollectHasFailed) {
  // Two failed Collects and one unparsable file are three failures against two configs: the run goes
  // on, and since the summary can't be opened, the failure report can't either.
  config("a.xml", documentText("A", logsItem()));
  config("b.xml", documentText("B", logsItem()));
  config("bad.xml", "<open>");
  EXPECT_RESULT(run("/tmp/request.xml"), 0);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "TOLMEngine::writeFailedFilesToSummary",
                                  TOLMENGINE_ERROR_FILE_OPEN_FAILURE))
      << m_Log.dump();
  EXPECT_TRUE(m_Log.has(kLogError, "Could not open file \""));
  EXPECT_THAT(entries(), ElementsAre("A/TWO.LOG", "A/one.log", "B/TWO.LOG", "B/one.log"));
}

TEST_F(FailingConfigsTest, ASummaryThatCantBeOpenedForTheFailureReportLeavesTheBundleToBeMade) {
  config("a.xml", documentText("A", logsItem()));
  config("bad.xml", "<open>");
  EXPECT_RESULT(run("/tmp/request.xml"), 0);
  EXPECT_TRUE(m_Log.hasReturnCode(kLogWarning, "TOLMEngine::writeFailedFilesToSummary",
                                  TOLMENGINE_ERROR_FILE_OPEN_FAILURE))
      << m_Log.dump();
  EXPECT_THAT(entries(), ElementsAre("A/TWO.LOG", "A/one.log"));
  EXPECT_EQ(m_Keeper.reports.back(), "finished 0");
}

TEST_F(TOLMEngineTest, AFailingConfigIsListedByItsNameAndItsFilesGoWithTheNext) {
  // Titles that are no folder names, so that the summary lies in /tmp: whichever config is first puts a
  // folder in its way, and the other one takes it away again.
  const std::string toggle =
      "<use_extern_action><action><args>test -e /tmp/out/mark &amp;&amp; rmdir /tmp/summary.txt || "
      "mkdir -p /tmp/out/mark /tmp/summary.txt</args><stdout/></action></use_extern_action>";
  std::filesystem::remove_all("/tmp/out");
  for (const char* name : {"a", "b"}) {
    config(std::string(name) + ".xml",
           documentText(std::string("no/") + name, itemText("1", toggle + copyAction("/tmp/src/one.log"))));
  }
  EXPECT_RESULT(run(), 0) << m_Log.dump();
  const std::vector<std::string> order = readdirOrder(kConfigFolder);
  const bool aFirst =
      std::find(order.begin(), order.end(), "a.xml") < std::find(order.begin(), order.end(), "b.xml");
  EXPECT_THAT(
      readFile("/tmp/summary.txt"),
      AllOf(HasSubstr("TOLM BUNDLE SUMMARY"), HasSubstr("one.log"),
            HasSubstr(std::string("TOLMEngine failed to parse or use the following configuration files:\n") +
                      (aFirst ? "no/a\n" : "no/b\n"))));
}

// A command for configs whose folders lie in the work folder: whichever config is first puts a folder in
// the summary's way, and the next one takes it away again.
std::string blockFirstSummary() {
  std::filesystem::remove_all("/tmp/out");
  return "<use_extern_action><action><args>exec 2&gt;/dev/null; cd /tmp/TOLM_Temp_Bundle*; test -e "
         "/tmp/out/mark &amp;&amp; "
         "rmdir summary.txt || mkdir -p /tmp/out/mark "
         "summary.txt</args><stdout/></action></use_extern_action>";
}

TEST_F(TOLMEngineTest, AFailingConfigWithoutATitleIsListedByItsOrdinal) {
  const std::string block = blockFirstSummary();
  config("a.xml", "<c>" + itemText("1", block) + "</c>");
  config("b.xml", "<c>" + itemText("1", block) + "</c>");
  EXPECT_RESULT(run(), 0) << m_Log.dump();
  EXPECT_THAT(summary(),
              HasSubstr("TOLMEngine failed to parse or use the following configuration files:\nUnknown_1\n" +
                        std::string(kHeading)));
}

TEST_F(TOLMEngineTest, AFailedConfigAndAnUnparsableFileEndARunOfTwoThoughOneSucceeded) {
  const std::string block = blockFirstSummary();
  config("a.xml", documentText("A", itemText("1", block)));
  config("b.xml", documentText("B", itemText("1", block)));
  config("bad.xml", "<open>");
  expectFailure(run(), TOLMENGINE_ERROR_INTERNAL, "Internal Error: all configs failed...");
}

TEST_F(TOLMEngineTest, UnparsableFilesAreListedAheadOfFailingConfigs) {
  const std::string block = blockFirstSummary();
  for (const char* name : {"a.xml", "b.xml", "c.xml"}) {
    config(name, "<c>" + itemText("1", block) + "</c>");
  }
  config("bad.xml", "<open>");
  EXPECT_RESULT(run(), 0) << m_Log.dump();
  EXPECT_THAT(summary(), HasSubstr("TOLMEngine failed to parse or use the following configuration files:\n" +
                                   std::string(kConfigFolder) + "bad.xml\nUnknown_1\n" + kHeading));
}

TEST_F(TOLMEngineTest, UnparsableFilesByThemselvesNeverEndARun) {
  config("a.xml", documentText("A", logsItem()));
  config("b.xml", documentText("B", logsItem()));
  config("bad.xml", "<open>");
  config("worse.xml", "");
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(summary(), HasSubstr(std::string(kConfigFolder) + "worse.xml\n"));
}

// --- Commands ---

std::string action(const std::string& args, const std::string& more) {
  return "<action><args>" + args + "</args>" + more + "</action>";
}
std::string commandKind(const std::string& actions) {
  return "<use_extern_action>" + actions + "</use_extern_action>";
}

// What a program may leave behind: the files of the folders that it writes to, its open descriptors with
// what is behind them, and its children, ended or not.
struct Traces {
  std::vector<std::string> files;
  std::map<std::string, std::string> descriptors;
  int children = 0;
};

Traces tracesNow() {
  Traces traces;
  for (const std::string& folder : {std::string("/tmp"), helperUtil::currentDirectory()}) {
    for (auto entry = std::filesystem::recursive_directory_iterator(folder);
         entry != std::filesystem::recursive_directory_iterator(); ++entry) {
      const std::string path = entry->path().string();
      // The source and build folders may lie here, with whatever else is going on in them.
      if (path == TOLM_TEST_SOURCE_DIR || path == TOLM_TEST_BUILD_DIR) {
        entry.disable_recursion_pending();
      }
      traces.files.push_back(path);
    }
  }
  std::sort(traces.files.begin(), traces.files.end());
  for (const std::string& number : listFolder("/proc/self/fd")) {
    std::error_code gone;  // the listing's own
    const std::filesystem::path target = std::filesystem::read_symlink("/proc/self/fd/" + number, gone);
    if (!gone) {
      traces.descriptors[number] = target.string();
    }
  }
  pid_t child = 0;
  while ((child = waitpid(-1, nullptr, WNOHANG)) >= 0) {
    ++traces.children;
    if (child == 0) {
      break;  // one that still runs
    }
  }
  return traces;
}

TEST_F(TOLMEngineTest, AThousandCommandsLeaveNoFilesDescriptorsOrChildrenBehind) {
  constexpr int kKinds = 125;
  const std::string made = "/tmp/src/made";
  makeFolders(made);
  makeFolders("/opt/out");
  writeFile("/opt/commands/own", "");
  const WorkingFolder own("/opt/commands");
  std::string kinds;
  for (int i = 0; i < kKinds; ++i) {
    const std::string number = std::to_string(i);
    const auto output = [](const std::string& path) { return "<temp_out>" + path + "</temp_out>"; };
    kinds += commandKind(action("echo " + number, "<stdout/>") + action("echo again " + number, "<stdout/>") +
                         action("printf '%s' " + number + "; exit 3", "<stdout/>") +
                         action("no_such_program 2&gt;/dev/null", "<stdout/>") +
                         action("touch " + made + "/a" + number, output(made + "/a" + number)) +
                         action("touch " + made + "/b" + number, output(made + "/b" + number)) +
                         action("false", output(made + "/none")) +
                         action("no_such_program", output(made + "/none")));
  }
  config("a.xml", documentText("A", itemText("1", kinds)));
  const Traces before = tracesNow();
  ASSERT_EQ(before.children, 0);
  ASSERT_EQ(std::count(before.files.begin(), before.files.end(), "/opt/commands/own"), 1);

  EXPECT_RESULT(run("", "/opt/out/out.zip"), 0);

  const Traces after = tracesNow();
  EXPECT_EQ(after.files, before.files);
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.children, 0);
  // All of them ran: two files of each kind, and what the captured ones share.
  const std::vector<std::string> stored = entries();
  EXPECT_EQ(stored.size(), 2U * kKinds + 4U);
  EXPECT_THAT(stored, AllOf(Contains("A/a124"), Contains("A/b124"), Contains("A/echo_result.txt"),
                            Contains("A/no_such_program_result.txt"), Contains("A/printf_result.txt")));
  EXPECT_THAT(runProgram({"unzip", "-p", m_strBundle, "A/echo_result.txt"}).out,
              AllOf(HasSubstr("\n\r\n124\n"), HasSubstr("\n\r\nagain 124\n"), Not(HasSubstr("123"))));
}

TEST_F(TOLMEngineTest, AnOutputFileOnAFullDiskIsGatheredAsFarAsItGoesAndTheNextActionRuns) {
  writeFile("/tmp/src/tool", "#!/bin/sh\nexec 2>/dev/null\nhead -c 1000000 /dev/zero >\"$1\"\n");
  chmod("/tmp/src/tool", 0755);
  const SmallDisk disk("/tmp/src/disk", "size=64k,nr_inodes=2");
  config("a.xml",
         documentText("A", itemText("1", commandKind(action("/tmp/src/tool /tmp/src/disk/cut",
                                                            "<temp_out>/tmp/src/disk/cut</temp_out>") +
                                                     action("/tmp/src/tool /tmp/src/disk/none",
                                                            "<temp_out>/tmp/src/disk/none</temp_out>") +
                                                     action("echo next", "<stdout/>")))));
  EXPECT_RESULT(run(), 0);
  EXPECT_THAT(entries(), ElementsAre("A/cut", "A/echo_result.txt", "summary.txt"));
  const std::size_t size = runProgram({"unzip", "-p", m_strBundle, "A/cut"}).out.size();
  EXPECT_GT(size, 0U);
  EXPECT_LE(size, 65536U);
  // The disk has room for one file at a time, and the first one goes when its kind ends.
  EXPECT_THAT(summary(), AllOf(HasSubstr("none"), HasSubstr("TOLM cannot access")));
  EXPECT_THAT(listFolder("/tmp/src/disk"), IsEmpty());
}

TEST_F(TOLMEngineTest, CapturedOutputThatFillsTheDiskIsCutAndTheNextActionRuns) {
  makeFolders("/opt/out");
  config(
      "a.xml",
      documentText(
          "A", itemText("1", commandKind(action("yes | head -c 4000000; touch /opt/out/ran", "<stdout/>"))) +
                   itemText("2", commandKind(action("echo next", "<stdout/>")))));
  {
    const SmallDisk disk("/tmp", "size=1m");
    EXPECT_RESULT(run("", "/opt/out/out.zip"), 0);
    EXPECT_THAT(listFolder("/tmp"), IsEmpty());
  }
  // The command isn't told: it runs to its end.
  EXPECT_TRUE(exists("/opt/out/ran"));
  EXPECT_THAT(entries(), AllOf(Contains("A/yes_result.txt"), Contains("A/echo_result.txt")));
}

// --- Requests ---

TEST_F(TOLMEngineTest, ARequestThatIsMissingOrMalformedEndsTheRun) {
  config("a.xml", documentText("A", logsItem()));
  writeFile("/tmp/bad.xml", "<r>");
  for (const char* request : {"/tmp/missing.xml", "/tmp/bad.xml", "/tmp"}) {
    m_Keeper.finished.clear();
    expectFailure(
        run(request), TOLMENGINE_ERROR_INVALID_XML,
        "Internal Error: invalid request XML, please contact your administrator, or run in default mode");
  }
}

TEST_F(TOLMEngineTest, ARequestGathersWhatItNames) {
  config("a.xml",
         documentText("A", logsItem("logs", "false") + itemText("other", copyAction("/tmp/src/one.log"))));
  writeFile("/tmp/request.xml", "<r><file id=\"logs\"/></r>");
  EXPECT_RESULT(run("/tmp/request.xml"), 0);
  EXPECT_THAT(entries(), ElementsAre("A/TWO.LOG", "A/one.log", "summary.txt"));
  EXPECT_THAT(summary(), HasSubstr(kHeading));
}

TEST_F(TOLMEngineTest, AnUnknownIdKeepsTheHeadingAway) {
  // The heading stands only where nothing is left, with nothing under it.
  config("a.xml", documentText("A", logsItem()));
  writeFile("/tmp/request.xml", "<r><file id=\"logs\"/><file id=\"unheard-of\"/></r>");
  EXPECT_RESULT(run("/tmp/request.xml"), 0);
  EXPECT_THAT(summary(), Not(HasSubstr("No instruction found")));
  EXPECT_THAT(summary(), Not(HasSubstr("unheard-of")));
}

TEST_F(TOLMEngineTest, ARequestWithoutItemsHoldsSummaryAndCommentsAlone) {
  config("a.xml", documentText("A", logsItem()));
  writeFile("/tmp/request.xml", "<r><comments>It broke</comments></r>");
  EXPECT_RESULT(run("/tmp/request.xml"), 0);
  EXPECT_THAT(entries(), ElementsAre("comments.txt", "summary.txt"));
}

TEST_F(TOLMEngineTest, ADefaultRunsSummaryEndsWithTheHeadingAndNoRuleOfAHundred) {
  config("a.xml", documentText("A", logsItem()));
  EXPECT_RESULT(run(), 0);
  const std::string text = summary();
  EXPECT_EQ(text.substr(text.size() - std::string(kHeading).size()), kHeading);
  EXPECT_THAT(text, Not(HasSubstr("\n" + std::string(100, '=') + "\n")));
}

TEST_F(TOLMEngineTest, TheFailedConfigsStandAheadOfTheHeadingBehindTheSections) {
  config("a.xml", documentText("A", logsItem()));
  config("bad.xml", "<open>");
  EXPECT_RESULT(run(), 0);
  const std::string text = summary();
  EXPECT_LT(text.find("A:\n"), text.find("TOLMEngine failed to parse"));
  EXPECT_LT(text.find("TOLMEngine failed to parse"), text.find("No instruction found"));
}

// --- Clear runs ---

TEST_F(TOLMEngineTest, AClearRunClearsDefaultItemsAndMakesNothing) {
  config(
      "a.xml",
      documentText("A", itemText("1", copyAction("/tmp/src/*.log", "<clear_log apply=\"true\"/>")) +
                            itemText("2", copyAction("/tmp/keep*", "<clear_log apply=\"true\"/>"), "false")));
  writeFile("/tmp/keep", "x");
  config("bad.xml", "<open>");
  EXPECT_RESULT(clear(), 0);
  EXPECT_THAT(leftovers(), IsEmpty());
  EXPECT_FALSE(exists("/tmp/out.zip"));
  EXPECT_FALSE(exists("/tmp/summary.txt"));
  EXPECT_TRUE(exists("/tmp/keep"));
  EXPECT_THAT(listFolder("/tmp/src"), IsEmpty());
  EXPECT_THAT(m_Keeper.reports, ElementsAre("1 Starting up TOLM Engine...", "0 Clearing about 1...",
                                            "100 TOLM has finished... ", "finished 0"));
}

TEST_F(TOLMEngineTest, AClearRunHasNoWorkFolderWhileItsCommandsRun) {
  writeFile("/tmp/src/tool", "#!/bin/sh\nls /tmp >\"$1\"\n");
  chmod("/tmp/src/tool", 0755);
  const std::string tool = "<clear_log apply=\"true\">/tmp/src/tool /tmp/src/listing</clear_log>";
  config("a.xml", documentText("A", itemText("1", commandKind(action("true", tool)))));
  EXPECT_RESULT(clear(), 0);
  EXPECT_THAT(readFile("/tmp/src/listing"), AllOf(HasSubstr("src\n"), Not(HasSubstr("TOLM_Temp_Bundle"))));
}

TEST_F(TOLMEngineTest, AClearRunInWhichNothingIsClearedEndsAtAHundred) {
  config("a.xml", documentText("A", logsItem()));
  config("b.xml", "<unrelated/>");
  EXPECT_RESULT(clear(), 0);
  EXPECT_EQ(m_Keeper.reports.back(), "finished 0");
  EXPECT_EQ(listFolder("/tmp/src").size(), 2U);
}

TEST_F(TOLMEngineTest, StartsAndStepsOfAClearRunOverThreeConfigs) {
  for (const char* name : {"a.xml", "b.xml", "c.xml"}) {
    config(name, documentText(name, logsItem("x") + logsItem("y")));
  }
  EXPECT_RESULT(clear(), 0);
  EXPECT_THAT(m_Keeper.reports,
              ElementsAre("1 Starting up TOLM Engine...", "0 Clearing about x...", "15 Clearing about y...",
                          "30 Clearing about x...", "45 Clearing about y...", "61 Clearing about x...",
                          "76 Clearing about y...", "100 TOLM has finished... ", "finished 0"));
}

TEST_F(TOLMEngineTest, AClearRunOverDocumentsLeavesALeftOverFolderAlone) {
  writeFile(std::string(kPlainTempFolder) + "/file", "x");
  config("a.xml", documentText("A", logsItem()));
  EXPECT_RESULT(clear(), 0);
  EXPECT_TRUE(exists(std::string(kPlainTempFolder) + "/file"));
  EXPECT_THAT(leftovers(), ElementsAre("TOLM_Temp_Bundle"));
}

TEST_F(TOLMEngineTest, AClearRunWithoutDocumentsFailsAndRemovesALeftOver) {
  writeFile(std::string(kPlainTempFolder) + "/file", "x");
  EXPECT_RESULT(clear(), TOLMENGINE_ERROR_INTERNAL);
  EXPECT_THAT(m_Keeper.finished, ElementsAre(TOLMENGINE_ERROR_INTERNAL));
  EXPECT_TRUE(m_Log.has(kLogError, "Internal Error: no valid configuration XML found..."));
  EXPECT_THAT(leftovers(), IsEmpty());
}

TEST_F(TOLMEngineTest, APropertyListIsCopiedToTheRootFolderInAClearRun) {
  // The kind has no clearing form. The copy's place is the root folder itself; here that is refused.
  writeFile("/tmp/l", "<p><dict><key>UILogLocation</key><a><s>/tmp/src/one.log</s></a></dict></p>");
  config("a.xml", documentText("A", itemText("1",
                                             "<get_file_to_copy_action><action><path>/tmp/l</path></action>"
                                             "</get_file_to_copy_action>")));
  if (geteuid() == 0) {
    EXPECT_RESULT(clear(), 0);
    EXPECT_TRUE(exists("/one.log"));
    unlink("/one.log");
  } else {
    EXPECT_RESULT(clear(), 0);
    EXPECT_TRUE(m_Log.has(kLogError, "Failed to open file \"/tmp/src/one.log\""));
  }
}

}  // namespace
}  // namespace halvo
