// The three kinds of actions, gathering and clearing.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/ChildProgram.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class ActionTest : public ::testing::Test {
 protected:
  ActionTest() : m_Summary("summary", "") {
    m_Summary.AddChild(m_Summary.GetRoot(), "Manifest_Not_Included", "");
    makeFolders(work());
    m_Context.id = "id";
    m_Context.description = "what";
    m_Context.folder = work();
    m_Context.requestedScheme = 1;
    m_Context.requestedSize = 7;
    m_Context.percentStep = 10;
    m_Context.summary = &m_Summary;
  }

  [[nodiscard]] std::string work() const { return m_Folder.file("work"); }
  [[nodiscard]] std::string src(const std::string& name = "") const { return m_Folder.file("src/" + name); }

  void gather(const std::string& os) {
    const auto document = parseDocument("<os>" + os + "</os>");
    TOLMCollectLogsAction action(m_Context, document->GetRoot());
    action.Perform(m_Records);
  }
  void clear(const std::string& os) {
    m_Context.folder.clear();
    m_Context.summary = nullptr;
    const auto document = parseDocument("<os>" + os + "</os>");
    TOLMClearLogsAction action(m_Context, document->GetRoot());
    action.Perform(m_Records);
  }

  static std::string command(const std::string& children) {
    return "<use_extern_action><action>" + children + "</action></use_extern_action>";
  }
  static std::string plist(const std::string& path) {
    return "<get_file_to_copy_action><action><path>" + path + "</path></action></get_file_to_copy_action>";
  }

  [[nodiscard]] std::vector<std::string> recordPaths() const {
    std::vector<std::string> paths;
    for (const FileRecord& record : m_Records) {
      paths.push_back(record.path.substr(work().size() + 1));
    }
    return paths;
  }
  // "name: reason" of every failed file.
  [[nodiscard]] std::vector<std::string> failures() const {
    std::vector<std::string> texts;
    for (const auto& entry : m_Summary.GetRoot()->FindChild("Manifest_Not_Included")->GetChildren()) {
      EXPECT_EQ(entry->GetName(), "id");
      EXPECT_EQ(entry->FindAttribute("description")->GetValue(), "what");
      texts.push_back(entry->GetValue() + ": " + entry->FindAttribute("reason")->GetValue());
    }
    return texts;
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
  ReportKeeper m_Keeper;
  XMLObject m_Summary;
  ActionContext m_Context;
  std::list<FileRecord> m_Records;
};

// --- file_copy_action ---

using FileActionTest = ActionTest;

TEST_F(FileActionTest, CopiesTheMatchesAndMakesARecordOfEach) {
  writeFile(src("a.log"), "12345");
  writeFile(src("b.txt"), "no");
  gather(copyAction(src("*.log")));
  ASSERT_THAT(recordPaths(), ElementsAre("a.log"));
  const FileRecord& record = m_Records.front();
  EXPECT_EQ(record.id, "id");
  EXPECT_EQ(record.description, "what");
  EXPECT_EQ(record.size, 5.0);
  EXPECT_EQ(record.requestedScheme, 1);
  EXPECT_EQ(record.requestedSize, 7.0);
  EXPECT_EQ(record.defaultScheme, 4);
  EXPECT_EQ(readFile(work() + "/a.log"), "12345");
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(FileActionTest, APatternInUpperCaseMatchesAFileInLowerCase) {
  writeFile(src("system.log"), "");
  gather(copyAction(src("SYSTEM.*")));
  EXPECT_THAT(recordPaths(), ElementsAre("system.log"));
}

TEST_F(FileActionTest, APlainNameMatchesWhateverItsCase) {
  writeFile(src("System.Log"), "");
  gather(copyAction(src("sYSTEM.lOG")));
  EXPECT_THAT(recordPaths(), ElementsAre("System.Log"));
}

TEST_F(FileActionTest, AMatchingFolderIsCopiedAsATreeAndGetsOneRecord) {
  writeFile(src("logs/a"), "1");
  writeFile(src("logs/sub/b"), "22");
  gather(copyAction(src("logs")));
  EXPECT_THAT(recordPaths(), ElementsAre("logs"));
  EXPECT_EQ(readFile(work() + "/logs/sub/b"), "22");
  struct stat data;
  ASSERT_EQ(stat((work() + "/logs").c_str(), &data), 0);
  EXPECT_EQ(m_Records.front().size, static_cast<double>(data.st_size));
}

TEST_F(FileActionTest, GatherNewestTakesTheLaterOfTwoEqualTimes) {
  for (const char* name : {"a.log", "b.log"}) {
    writeFile(src(name), name);
    setModifiedTime(src(name), 100000);
  }
  writeFile(src("old.log"), "");
  setModifiedTime(src("old.log"), 50000);
  std::string later;
  for (const std::string& name : readdirOrder(src())) {
    later = name == "a.log" || name == "b.log" ? name : later;
  }
  gather("<file_copy_action><action><loc gather_newest=\"true\">" + src("*.log") +
         "</loc></action></file_copy_action>");
  EXPECT_THAT(recordPaths(), ElementsAre(later));
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(FileActionTest, GatherNewestWithTheFolderItselfAsTheNewestGathersNothingInSilence) {
  writeFile(src("a.log"), "");
  setModifiedTime(src("a.log"), 1000);
  gather("<file_copy_action><action><loc gather_newest=\"true\">" + src("*") +
         "</loc></action></file_copy_action>");
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(FileActionTest, GatherNewestWithoutAMatchIsToldAndNotLogged) {
  makeFolders(src());
  gather("<file_copy_action><action><loc gather_newest=\"true\">" + src("x*.log") +
         "</loc></action></file_copy_action>");
  EXPECT_THAT(failures(), ElementsAre("x*.log: " + src("x*.log") + " not found on client machine."));
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(FileActionTest, GatherNewestInAFolderThatCantBeOpenedIsLogged) {
  writeFile(src("file"), "");
  gather("<file_copy_action><action><loc gather_newest=\"true\">" + src("file/x") +
         "</loc></action></file_copy_action>");
  EXPECT_THAT(failures(), ElementsAre("x: " + src("file/x") + " not found on client machine."));
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performFileAction", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
}

TEST_F(FileActionTest, AMissingFolderARefusedOneAndOneWithoutAMatchReadAlike) {
  makeFolders(src("empty"));
  writeFile(src("closed/a"), "");
  chmod(src("closed").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    for (const char* where : {"missing/x", "empty/x", "closed/x"}) {
      gather(copyAction(src(where)));
    }
  }
  chmod(src("closed").c_str(), 0755);
  EXPECT_THAT(failures(), ElementsAre("N/A: No file found with path matching: " + src("missing/x"),
                                      "N/A: No file found with path matching: " + src("empty/x"),
                                      "N/A: No file found with path matching: " + src("closed/x")));
}

TEST_F(FileActionTest, LocationsWithoutAFolderOrWithoutAPatternFindNothing) {
  makeFolders(src());
  gather(copyAction(""));
  EXPECT_TRUE(m_Log.has(kLogError, "tstrDirectory is an empty string"));
  gather(copyAction("noslash"));
  gather(copyAction(src()));
  gather("<file_copy_action><action/></file_copy_action>");
  EXPECT_THAT(failures(), ElementsAre("N/A: No file found with path matching: ",
                                      "N/A: No file found with path matching: noslash",
                                      "N/A: No file found with path matching: " + src(),
                                      "N/A: No file found with path matching: "));
}

TEST_F(FileActionTest, ALocationWithoutAMatchIsToldWithItsVariablesTranslated) {
  const ScopedEnv folder("TOLM_SRC", m_Folder.path().c_str());
  gather(copyAction("$TOLM_SRC/src/x*"));
  gather(
      "<file_copy_action><action><loc gather_newest=\"true\">$TOLM_SRC/src/x*</loc></action>"
      "</file_copy_action>");
  EXPECT_THAT(failures(), ElementsAre("N/A: No file found with path matching: " + src("x*"),
                                      "x*: " + src("x*") + " not found on client machine."));
}

TEST_F(FileActionTest, OneFailedCopyAmongSeveralAddsOneEntry) {
  writeFile(src("a.log"), "1");
  writeFile(src("b.log"), "2");
  writeFile(src("c.log"), "3");
  chmod(src("b.log").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    gather(copyAction(src("*.log")));
  }
  EXPECT_THAT(listFolder(work()), ElementsAre("a.log", "c.log"));
  EXPECT_THAT(failures(),
              ElementsAre("b.log: " + src("*.log") + " Error occurred opening the file: Permission denied"));
}

TEST_F(FileActionTest, AVanishedSourceIsToldAsNotFound) {
  makeFolders(src());
  ASSERT_EQ(symlink("/nowhere/at/all", src("gone.log").c_str()), 0);
  gather(copyAction(src("*.log")));
  EXPECT_THAT(failures(), ElementsAre("gone.log: " + src("*.log") + " File not found"));
}

TEST_F(FileActionTest, ADestinationInTheWayIsAnUnexpectedError) {
  writeFile(src("a.log"), "1");
  makeFolders(work() + "/a.log");
  gather(copyAction(src("a.log")));
  EXPECT_THAT(failures(), ElementsAre("a.log: " + src("a.log") + " Unexpected error occurred"));
}

TEST_F(FileActionTest, AWorkFolderThatRefusesIsToldWithoutTheSystemsWords) {
  writeFile(src("a.log"), "1");
  chmod(work().c_str(), 0555);
  {
    const WithoutFileOverride ordinary;
    gather(copyAction(src("a.log")));
  }
  chmod(work().c_str(), 0755);
  EXPECT_THAT(failures(), ElementsAre("a.log: " + src("a.log") + " Error occurred opening the file"));
}

TEST_F(FileActionTest, TheNewestFileThatCantBeCopiedIsOneEntryAndNoFailureOfTheAction) {
  writeFile(src("old.log"), "1");
  setModifiedTime(src("old.log"), 1000);
  writeFile(src("new.log"), "2");
  chmod(src("new.log").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    gather("<file_copy_action><action><loc gather_newest=\"true\">" + src("*.log") +
           "</loc></action></file_copy_action>");
  }
  EXPECT_THAT(failures(), ElementsAre("new.log: " + src("*.log") +
                                      " Error occurred opening the file: Permission denied"));
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_FALSE(m_Log.has(kLogError, "TOLMAction::performFileAction"));
}

TEST_F(FileActionTest, APipeIsNotWaitedFor) {
  makeFolders(src());
  ASSERT_EQ(mkfifo(src("pipe").c_str(), 0666), 0);
  writeFile(src("plain"), "1");
  gather(copyAction(src("p*")));
  // What is no plain file is taken for a folder, and an empty one is made.
  EXPECT_THAT(listFolder(work()), ElementsAre("pipe", "plain"));
  EXPECT_THAT(listFolder(work() + "/pipe"), IsEmpty());
}

TEST_F(FileActionTest, TheReasonHoldsTheLocationAsWritten) {
  const ScopedEnv folder("TOLM_SRC", m_Folder.path().c_str());
  makeFolders(src());
  ASSERT_EQ(symlink("/nowhere/at/all", src("gone.log").c_str()), 0);
  gather(copyAction("$TOLM_SRC/src/*.log"));
  EXPECT_THAT(failures(), ElementsAre("gone.log: $TOLM_SRC/src/*.log File not found"));
}

TEST_F(FileActionTest, FilesOfOneNameReplaceEachOtherAndBothStayInTheRecords) {
  writeFile(src("one/a.log"), "1");
  writeFile(src("two/a.log"), "22");
  gather(copyAction(src("one/*")) + copyAction(src("two/*")));
  EXPECT_THAT(recordPaths(), ElementsAre("a.log", "a.log"));
  EXPECT_EQ(readFile(work() + "/a.log"), "22");
}

TEST_F(FileActionTest, AConfiguredNameIsMergedWithTheFilesOwn) {
  m_Context.name = "report.txt";
  writeFile(src("system.log"), "");
  gather(copyAction(src("*.log")));
  EXPECT_THAT(recordPaths(), ElementsAre("report__system__log.txt"));
}

TEST_F(FileActionTest, ClearLogAndTruncateTypeHaveNoEffectInAGatheringRun) {
  writeFile(src("a.log"), "1");
  gather(copyAction(src("a.log"), "<clear_log apply=\"true\"/><truncate_type>END</truncate_type>"));
  EXPECT_TRUE(exists(src("a.log")));
  EXPECT_THAT(recordPaths(), ElementsAre("a.log"));
}

TEST_F(FileActionTest, NamesOfAnyBytesAreCopied) {
  const std::string name = "\xff\x01 \n\"$HOME*?[].log";
  writeFile(src(name), "1");
  gather(copyAction(src("*.log")));
  EXPECT_THAT(recordPaths(), ElementsAre(name));
}

// --- use_extern_action ---

using CommandActionTest = ActionTest;

std::string banner(const std::string& commandLine) {
  const std::string stars(75, '*');
  return "\n\r" + stars + "\n\"" + commandLine + "\" output:\n" + stars + "\n\r\n";
}

TEST_F(CommandActionTest, CapturedOutputStandsUnderItsBanner) {
  gather(command("<args>printf 'a b\\n'; exit 3</args><stdout/>"));
  EXPECT_THAT(listFolder(work()), ElementsAre("printf_result.txt"));
  EXPECT_EQ(readFile(work() + "/printf_result.txt"), banner("printf 'a b\\n'; exit 3") + "a b\n");
  ASSERT_EQ(m_Records.size(), 1U);
  EXPECT_EQ(m_Records.front().size, static_cast<double>(readFile(work() + "/printf_result.txt").size()));
  EXPECT_EQ(m_Records.front().defaultScheme, 4);
}

TEST_F(CommandActionTest, ABaseNameStandsForAnItemWithoutAName) {
  writeFile(m_Folder.file("bin/foo.sh"), "#!/bin/sh\nls '" + work() + "'\n");
  chmod(m_Folder.file("bin/foo.sh").c_str(), 0755);
  const std::string path = m_Folder.file("bin") + ":" + getenv("PATH");
  const ScopedEnv search("PATH", path.c_str());
  gather(command("<args>foo.sh</args><stdout/>"));
  // The temporary file was there while the command ran, and is gone with its kind.
  EXPECT_THAT(readFile(work() + "/foo_result.txt"), HasSubstr("foo_tmp.txt\n"));
  EXPECT_THAT(listFolder(work()), ElementsAre("foo_result.txt"));
}

TEST_F(CommandActionTest, AnItemsNameNamesTheResult) {
  m_Context.name = "report.txt";
  gather(command("<args>ls '" + work() + "'</args><stdout/>"));
  EXPECT_THAT(listFolder(work()), ElementsAre("report.txt"));
  EXPECT_EQ(readFile(work() + "/report.txt"), banner("ls '" + work() + "'") + "report.txt.tmp\n");
}

TEST_F(CommandActionTest, VariablesInTheCommandLineAndInTheOutputsPathAreTranslated) {
  const ScopedEnv folder("TOLM_SRC", m_Folder.path().c_str());
  gather(command("<args>echo $TOLM_SRC/x</args><stdout/>"));
  EXPECT_EQ(readFile(work() + "/echo_result.txt"),
            banner("echo " + m_Folder.file("x")) + m_Folder.file("x") + "\n");
  writeFile(m_Folder.file("out"), "1");
  gather(command("<args>true</args><temp_out>$TOLM_SRC/out</temp_out>"));
  EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt", "out"));
  EXPECT_FALSE(exists(m_Folder.file("out")));
}

TEST_F(CommandActionTest, VariablesInTheItemsNameAreTranslatedInTheOutputsPaths) {
  const ScopedEnv folder("TOLM_SUB", "sub");
  makeFolders(work() + "/sub");
  m_Context.name = "$TOLM_SUB/x";
  gather(command("<args>echo hi</args><stdout/>"));
  EXPECT_THAT(recordPaths(), ElementsAre("sub/x"));
  EXPECT_THAT(listFolder(work() + "/sub"), ElementsAre("x"));
}

TEST_F(CommandActionTest, ALogOfTheClientThatTempOutNamesIsDeletedAfterTheCopy) {
  writeFile(m_Folder.file("client.log"), "lines");
  gather(command("<args>true</args><temp_out>" + m_Folder.file("client.log") + "</temp_out>"));
  EXPECT_EQ(readFile(work() + "/client.log"), "lines");
  EXPECT_THAT(recordPaths(), ElementsAre("client.log"));
  EXPECT_FALSE(exists(m_Folder.file("client.log")));
}

TEST_F(CommandActionTest, APathThatCannotBeTranslatedIsLoggedAndTheCommandRuns) {
  gather(command("<path>$TOLM_UNSET/bin</path><args>echo hi</args><stdout/>"));
  EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt"));
  EXPECT_TRUE(m_Log.has(kLogError, "Cannot determine environment variable TOLM_UNSET, path $TOLM_UNSET/bin"))
      << m_Log.dump();
}

TEST_F(CommandActionTest, StdoutReplacesTheOutputsPath) {
  gather(command("<args>echo hi</args><temp_out>" + m_Folder.file("out") + "</temp_out><stdout/>"));
  EXPECT_FALSE(exists(m_Folder.file("out")));
  EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt"));
}

TEST_F(CommandActionTest, ACaptureThatCantBeStoredStaysUnderItsTemporaryName) {
  makeFolders(work() + "/echo_result.txt");
  gather(command("<args>echo hi</args><stdout/>"));
  EXPECT_EQ(readFile(work() + "/echo_tmp.txt"), banner("echo hi") + "hi\n");
  EXPECT_THAT(failures(), ElementsAre("echo_tmp.txt: TOLM cannot access temporary output at: " + work() +
                                      "/echo_tmp.txt as specified by Config"));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "helperUtil::fileCopy", TOLMENGINE_ERROR_UNEXPECTED));
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performExternalAction", TOLMENGINE_ERROR_UNEXPECTED));
  EXPECT_THAT(m_Records, IsEmpty());
}

TEST_F(CommandActionTest, TwoCommandsOfOneProgramInOneKindShareTheFile) {
  gather(
      "<use_extern_action><action><args>echo one</args><stdout/></action>"
      "<action><args>echo two</args><stdout/></action></use_extern_action>");
  EXPECT_EQ(readFile(work() + "/echo_result.txt"),
            banner("echo one") + "one\n" + banner("echo two") + "two\n");
  EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt", "echo_result.txt"));
}

TEST_F(CommandActionTest, InDifferentKindsTheLaterResultReplacesTheEarlier) {
  gather(command("<args>echo one</args><stdout/>") + command("<args>echo two</args><stdout/>"));
  EXPECT_EQ(readFile(work() + "/echo_result.txt"), banner("echo two") + "two\n");
}

TEST_F(CommandActionTest, OutputWithZeroBytesIsCapturedWhole) {
  gather(command("<args>printf 'a\\000b\\377'</args><stdout/>"));
  EXPECT_EQ(readFile(work() + "/printf_result.txt"),
            banner("printf 'a\\000b\\377'") + std::string("a\0b\xff", 4));
}

TEST_F(CommandActionTest, AProgramWithAFullPathLosesItsCapturedOutput) {
  gather(command("<args>/bin/echo hi</args><stdout/>"));
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_THAT(failures(), ElementsAre("echo_tmp.txt: TOLM cannot access temporary output at: " + work() +
                                      "//bin/echo_tmp.txt as specified by Config"));
}

TEST_F(CommandActionTest, AMissingCapturedProgramLeavesItsBanner) {
  gather(command("<args>no_such_program_here 2&gt;/dev/null</args><stdout/>"));
  EXPECT_EQ(readFile(work() + "/no_such_program_here_result.txt"),
            banner("no_such_program_here 2>/dev/null"));
}

TEST_F(CommandActionTest, AnEmptyCapturedCommandIsToldAsNotExecuted) {
  gather(command("<args/><stdout/>"));
  EXPECT_THAT(failures(), ElementsAre("N/A: Failed to execute "));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "CCommandShell::Execute", GLOBAL_ERROR_NOT_INITIALIZED));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "TOLMAction::callExtern", GLOBAL_ERROR_NOT_INITIALIZED));
}

TEST_F(CommandActionTest, TheRecordsOfACommandsStartBearTheOperationsName) {
  gather(command("<args/><stdout/>"));
  for (const LogRecord& record : m_Log.records()) {
    if (record.field("Invoked Function") == "CCommandShell::Execute") {
      EXPECT_EQ(record.field("Function"), "callExtern");
      return;
    }
  }
  FAIL() << m_Log.dump();
}

TEST_F(CommandActionTest, ALaunchedProgramGetsAllBehindTheFirstBlankAsOneArgument) {
  const std::string out = m_Folder.file("out");
  writeFile(m_Folder.file("tool"), "#!/bin/sh\nprintf '%s|' $# \"$@\" >'" + out + "'\n");
  chmod(m_Folder.file("tool").c_str(), 0755);
  gather(
      command("<args>" + m_Folder.file("tool") + " a  'b c' $HOME</args><temp_out>" + out + "</temp_out>"));
  EXPECT_EQ(readFile(work() + "/out"), "1|a  'b c' $HOME|");
  // The program's own output file goes once it is copied.
  EXPECT_FALSE(exists(out));
  EXPECT_THAT(recordPaths(), ElementsAre("out"));
}

TEST_F(CommandActionTest, ALaunchedProgramWithoutABlankGetsOneEmptyArgument) {
  const std::string out = m_Folder.file("out");
  writeFile(m_Folder.file("tool"), "#!/bin/sh\nprintf '%s|' $# \"$@\" >'" + out + "'\n");
  chmod(m_Folder.file("tool").c_str(), 0755);
  gather(command("<args>" + m_Folder.file("tool") + "</args><temp_out>" + out + "</temp_out>"));
  EXPECT_EQ(readFile(work() + "/out"), "1||");
}

TEST_F(CommandActionTest, ALaunchWithoutAnOutputFileEndsWithTheEmptyPath) {
  gather(command("<args>true</args>"));
  EXPECT_THAT(failures(), ElementsAre(": TOLM cannot access temporary output at:  as specified by Config"));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "helperUtil::fileCopy", TOLMENGINE_ERROR_FILE_NOT_FOUND));
  EXPECT_FALSE(m_Log.has(kLogError, "TOLMAction::performExternalAction"));
}

TEST_F(CommandActionTest, AProgramThatCantBeFoundIsToldByItsMissingOutput) {
  gather(command("<args>no_such_program_here x</args><temp_out>" + m_Folder.file("out") + "</temp_out>"));
  EXPECT_THAT(failures(), ElementsAre("out: TOLM cannot access temporary output at: " + m_Folder.file("out") +
                                      " as specified by Config"));
}

TEST_F(CommandActionTest, ALeadingBlankLaunchesNothing) {
  const std::string out = m_Folder.file("out");
  gather(command("<args> touch " + out + "</args><temp_out>" + out + "</temp_out>"));
  EXPECT_THAT(failures(),
              ElementsAre("out: TOLM cannot access temporary output at: " + out + " as specified by Config"));
  EXPECT_THAT(m_Records, IsEmpty());
}

TEST_F(CommandActionTest, ALeadingBlankOfACapturedCommandGoesIntoItsName) {
  gather(command("<args> echo hi</args><stdout/>"));
  EXPECT_EQ(readFile(work() + "/ echo hi_result.txt"), banner(" echo hi") + "hi\n");
  EXPECT_THAT(recordPaths(), ElementsAre(" echo hi_result.txt"));
}

// Makes a file of each kind that no program can be started from.
std::vector<std::string> makeUnstartable(const std::string& folder) {
  writeFile(folder + "/plain", "no program");
  writeFile(folder + "/badLine", "#!/nowhere/at/all\n");
  chmod((folder + "/badLine").c_str(), 0755);
  makeFolders(folder + "/folder");
  return {"missing", "plain", "badLine", "folder"};
}

TEST_F(CommandActionTest, AProgramThatCantBeStartedIsToldByItsMissingOutputAndTheNextActionRuns) {
  std::vector<std::string> commandLines = {"", " "};
  for (const std::string& name : makeUnstartable(m_Folder.file("bin"))) {
    commandLines.push_back(m_Folder.file("bin/" + name) + " x");
  }
  const std::string out = m_Folder.file("out");
  std::vector<std::string> expected;
  for (const std::string& commandLine : commandLines) {
    SCOPED_TRACE("\"" + commandLine + "\"");
    m_Records.clear();
    gather("<use_extern_action><action><args>" + commandLine + "</args><temp_out>" + out +
           "</temp_out></action><action><args>echo next</args><stdout/></action></use_extern_action>");
    expected.push_back("out: TOLM cannot access temporary output at: " + out + " as specified by Config");
    EXPECT_EQ(failures(), expected);
    EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt"));
  }
}

TEST_F(CommandActionTest, ACapturedProgramThatCantBeStartedLeavesItsBannerAndTheNextActionRuns) {
  const std::vector<std::string> names = makeUnstartable(m_Folder.file("bin"));
  const std::string path = m_Folder.file("bin") + ":" + getenv("PATH");
  const ScopedEnv search("PATH", path.c_str());
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    m_Records.clear();
    gather("<use_extern_action><action><args>" + name +
           " 2&gt;/dev/null</args><stdout/></action>"
           "<action><args>echo next</args><stdout/></action></use_extern_action>");
    EXPECT_EQ(readFile(work() + "/" + name + "_result.txt"), banner(name + " 2>/dev/null"));
    EXPECT_THAT(recordPaths(), ElementsAre(name + "_result.txt", "echo_result.txt"));
  }
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(CommandActionTest, ACapturedCommandThatClosesItsOutputAndGoesOnIsWaitedFor) {
  const std::string proof = m_Folder.file("proof");
  gather(command("<args>exec &gt;&amp;-; sleep 0.3; touch '" + proof + "'</args><stdout/>"));
  EXPECT_TRUE(exists(proof));
  EXPECT_EQ(readFile(work() + "/exec_result.txt"), banner("exec >&-; sleep 0.3; touch '" + proof + "'"));
}

TEST_F(CommandActionTest, ALaunchedProgramsExitStatusIsntLookedAt) {
  const std::string out = m_Folder.file("out");
  gather(command("<args>" + childProgram() + " touch=" + out + ",exit=3</args><temp_out>" + out +
                 "</temp_out>"));
  EXPECT_THAT(recordPaths(), ElementsAre("out"));
  EXPECT_FALSE(m_Log.has(kLogError, "TOLMAction::callExtern")) << m_Log.dump();
}

TEST_F(CommandActionTest, AnOutputFileInAMissingFolderIsToldAndTheNextActionRuns) {
  const std::string out = m_Folder.file("missing/out");
  gather("<use_extern_action><action><args>" + childProgram() + " append=" + out +
         ",echo=x</args><temp_out>" + out +
         "</temp_out></action><action><args>echo next</args><stdout/></action></use_extern_action>");
  EXPECT_THAT(failures(),
              ElementsAre("out: TOLM cannot access temporary output at: " + out + " as specified by Config"));
  EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt"));
}

TEST_F(CommandActionTest, AnOutputFileThatIsAFolderIsCopiedAsATreeAndStays) {
  writeFile(m_Folder.file("out/a"), "1");
  gather("<use_extern_action><action><args>true</args><temp_out>" + m_Folder.file("out") +
         "</temp_out></action><action><args>echo next</args><stdout/></action></use_extern_action>");
  EXPECT_THAT(recordPaths(), ElementsAre("out", "echo_result.txt"));
  EXPECT_EQ(readFile(work() + "/out/a"), "1");
  EXPECT_TRUE(exists(m_Folder.file("out/a")));
  EXPECT_TRUE(m_Log.has(kLogError, "unlink_file")) << m_Log.dump();
}

TEST_F(CommandActionTest, AnOutputFileThatIsAPipeIsNotWaitedFor) {
  ASSERT_EQ(mkfifo(m_Folder.file("out").c_str(), 0666), 0);
  gather("<use_extern_action><action><args>true</args><temp_out>" + m_Folder.file("out") +
         "</temp_out></action><action><args>echo next</args><stdout/></action></use_extern_action>");
  // Taken for an empty folder; the pipe itself goes like any output file.
  EXPECT_THAT(recordPaths(), ElementsAre("out", "echo_result.txt"));
  EXPECT_THAT(listFolder(work() + "/out"), IsEmpty());
  EXPECT_FALSE(exists(m_Folder.file("out")));
}

TEST_F(CommandActionTest, AnUnreadableOutputFileIsToldWithTheSystemsWords) {
  writeFile(m_Folder.file("out"), "x");
  chmod(m_Folder.file("out").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    gather(command("<args>true</args><temp_out>" + m_Folder.file("out") + "</temp_out>"));
  }
  EXPECT_THAT(failures(), ElementsAre("out: TOLM cannot access temporary output at: " + m_Folder.file("out") +
                                      " as specified by Config Error returned:Permission denied"));
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "TOLMAction::performExternalAction",
                                  TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
}

TEST_F(CommandActionTest, ThePathHasNoEffectOnHowACommandIsFoundOrWhereItRuns) {
  writeFile(m_Folder.file("bin/touch"), "#!/bin/sh\n");
  chmod(m_Folder.file("bin/touch").c_str(), 0755);
  for (const std::string& path : {m_Folder.file("bin/touch"), m_Folder.file("bin"), m_Folder.file("none")}) {
    SCOPED_TRACE(path);
    m_Records.clear();
    const std::string out = m_Folder.file("out");
    gather(
        command("<path>" + path + "</path><args>touch " + out + "</args><temp_out>" + out + "</temp_out>"));
    gather(command("<path>" + path + "</path><args>pwd</args><stdout/>"));
    EXPECT_THAT(recordPaths(), ElementsAre("out", "pwd_result.txt"));
    EXPECT_EQ(readFile(work() + "/pwd_result.txt"), banner("pwd") + helperUtil::currentDirectory() + "\n");
  }
}

TEST_F(CommandActionTest, ACommandDoneWithinASecondReportsItsFirstShare) {
  m_Context.percentStep = 100;
  // A busy machine may take longer for it: once more then.
  for (int round = 0; round < 20 && (round == 0 || m_Keeper.reports.size() > 2); ++round) {
    reportProgress(40, "base", TOLMOFFLINE_ERROR_PROCESSING);
    m_Keeper.reports = {"40 base"};
    gather(command("<args>true</args>"));
  }
  // Either the first look finds the child ended, or one wait of less than a second is reported.
  for (std::size_t i = 1; i < m_Keeper.reports.size(); ++i) {
    EXPECT_EQ(m_Keeper.reports[i], "44 Processing what...");
  }
  EXPECT_LE(m_Keeper.reports.size(), 2U);
}

TEST_F(CommandActionTest, ASlowCommandKeepsTheBarMoving) {
  reportProgress(40, "base", TOLMOFFLINE_ERROR_PROCESSING);
  m_Context.percentStep = 50;
  const std::string slow = m_Folder.file("slow");
  writeWaitingProgram(slow);
  // Any earlier, and it may have ended before the look that the fourth report comes behind.
  m_Keeper.endsCommandAt = 4;
  m_Keeper.commandEnd = m_Folder.file("end");
  gather(command("<args>" + slow + " " + m_Keeper.commandEnd + "</args>"));
  ASSERT_GE(m_Keeper.reports.size(), 4U);
  const std::string running =
      " Still running " + slow + ", please be patient as this may take a few minutes...";
  EXPECT_EQ(m_Keeper.reports[1], "42 Processing what...");
  EXPECT_EQ(m_Keeper.reports[2], "44" + running);
  EXPECT_EQ(m_Keeper.reports[3], "47" + running);
}

TEST_F(CommandActionTest, AChildEndedByASignalCountsAsATimeOutAndTheNextActionRuns) {
  gather(command("<args>" + childProgram() + " sleep=300,signal=9</args><temp_out>x</temp_out>"));
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "TOLMAction::callExtern", PROCESS_API_ERROR_WAIT_TIMEOUT))
      << m_Log.dump();
  gather(command("<args>echo next</args><stdout/>"));
  EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt"));
}

// Lets the child go at the first report, which comes behind a wait that has run out, and returns when the
// child has ended and nobody has looked at it yet.
class EndingListener : public IProgressListener {
 public:
  explicit EndingListener(std::string go) : m_strGo(std::move(go)) { setProgressListener(this); }
  ~EndingListener() override { setProgressListener(nullptr); }
  EndingListener(const EndingListener&) = delete;
  EndingListener& operator=(const EndingListener&) = delete;

  void updateMsg(const std::string& /*message*/) override {
    writeFile(m_strGo, "");
    siginfo_t ended = {};
    EXPECT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(ended.si_code, CLD_EXITED);
    ++reports;
  }
  void updateProgress(const std::uint32_t* /*percent*/) override {}
  void tolmFinished(ResultCode /*code*/) override {}

  int reports = 0;

 private:
  std::string m_strGo;
};

TEST_F(CommandActionTest, AChildThatEndsBetweenAWaitAndTheNextLookCountsAsATimeOut) {
  const std::string out = m_Folder.file("out");
  writeFile(out, "x");
  writeWaitingProgram(m_Folder.file("tool"));
  {
    const EndingListener listener(m_Folder.file("go"));
    gather(command("<args>" + m_Folder.file("tool") + " " + m_Folder.file("go") + "</args><temp_out>" + out +
                   "</temp_out>"));
    EXPECT_EQ(listener.reports, 1);
  }
  EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "TOLMAction::callExtern", PROCESS_API_ERROR_WAIT_TIMEOUT))
      << m_Log.dump();
  // As with every failed command its output stays where it is and is neither gathered nor told.
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_TRUE(exists(out));
}

TEST_F(CommandActionTest, ATemporaryFileThatCantBeOpenedLosesTheOutputAndRunsTheCommand) {
  makeFolders(work() + "/touch_tmp.txt");
  gather(command("<args>touch '" + m_Folder.file("proof") + "'</args><stdout/>"));
  EXPECT_TRUE(exists(m_Folder.file("proof")));
}

TEST_F(CommandActionTest, CapturedOutputIsNotWrittenThroughALinkOrIntoAPipe) {
  writeFile(m_Folder.file("precious"), "precious");
  ASSERT_EQ(symlink(m_Folder.file("precious").c_str(), (work() + "/echo_tmp.txt").c_str()), 0);
  ASSERT_EQ(mkfifo((work() + "/printf_tmp.txt").c_str(), 0600), 0);
  gather(command("<args>echo lost</args><stdout/>") + command("<args>printf lost</args><stdout/>"));
  EXPECT_EQ(readFile(m_Folder.file("precious")), "precious");
}

TEST_F(CommandActionTest, AParseFailureRunsNothingAndLeavesNoEntry) {
  gather(command("<args>touch " + m_Folder.file("proof") + "</args><unknown/>"));
  EXPECT_FALSE(exists(m_Folder.file("proof")));
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performExternalAction", TOLMENGINE_ERROR_UNKNOWN_XML_TAG));
}

// Performs a command where no process may be started. Exits with 0 where the summary tells just that.
int performWithoutProcesses(bool clearing, const std::string& command,
                            const std::string& reason = "Failed to execute tool") {
  dropToNobody();
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_NPROC, &none);
  XMLObject summary("summary", "");
  summary.AddChild(summary.GetRoot(), "Manifest_Not_Included", "");
  ActionContext context;
  context.id = "id";
  context.folder = "/no/such/folder";
  context.summary = clearing ? nullptr : &summary;
  const auto document =
      parseDocument("<os><use_extern_action><action>" + command + "</action></use_extern_action></os>");
  std::list<FileRecord> records;
  if (clearing) {
    TOLMClearLogsAction(context, document->GetRoot()).Perform(records);
    return records.empty() ? 0 : 1;
  }
  TOLMCollectLogsAction(context, document->GetRoot()).Perform(records);
  const DataComponent* const failed = summary.GetRoot()->FindChild("id");
  return records.empty() && failed != nullptr && failed->GetValue() == "N/A" &&
                 failed->FindAttribute("reason")->GetValue() == reason
             ? 0
             : 1;
}

TEST(ActionWithoutProcessesTest, ACommandThatCantBeLaunchedIsToldAsNotExecuted) {
  const ForkedResult result = runForked(
      [] { return performWithoutProcesses(false, "<args>tool -x</args><temp_out>/no/out</temp_out>"); });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(result.invokedFunctions(),
            "fork CProcessApi::Launch TOLMAction::callExtern TOLMAction::performExternalAction");
  EXPECT_EQ(result.records.at(1).field("Function"), "callExtern") << result.dump();
  EXPECT_TRUE(result.hasReturnCode(kLogError, "TOLMAction::callExtern", PROCESS_API_ERROR_UNKNOWN));
}

TEST(ActionWithoutProcessesTest, ACommandWithALeadingBlankIsToldWhole) {
  const ForkedResult result = runForked([] {
    return performWithoutProcesses(false, "<args> tool -x</args><temp_out>/no/out</temp_out>",
                                   "Failed to execute  tool -x");
  });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
}

TEST(ActionWithoutProcessesTest, AShellThatCantBeStartedIsToldAsNotExecuted) {
  const ForkedResult result =
      runForked([] { return performWithoutProcesses(false, "<args>tool -x</args><stdout/>"); });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(result.invokedFunctions(),
            "popen CCommandShell::Execute TOLMAction::callExtern TOLMAction::performExternalAction");
  EXPECT_TRUE(result.hasReturnCode(kLogError, "CCommandShell::Execute", GLOBAL_ERROR_UNEXPECTED));
}

TEST(ActionWithoutProcessesTest, AClearCommandThatCantBeLaunchedIsLoggedAlone) {
  const ForkedResult result =
      runForked([] { return performWithoutProcesses(true, "<clear_log apply=\"true\">tool</clear_log>"); });
  EXPECT_EQ(result.exitStatus, 0) << result.dump();
  EXPECT_EQ(result.invokedFunctions(), "fork CProcessApi::Launch");
  EXPECT_NE(result.dump().find("pXMLSummary is NULL"), std::string::npos) << result.dump();
}

// --- get_file_to_copy_action ---

using PListActionTest = ActionTest;

TEST_F(PListActionTest, GathersTheLocationsOfEveryKeyInDocumentOrder) {
  writeFile(src("one.log"), "1");
  writeFile(src("two.log"), "22");
  writeFile(src("three.log"), "333");
  writeFile(m_Folder.file("list.plist"),
            "<plist><dict><key>Other</key><string>x</string><key>UILogLocation</key><array><string>" +
                src("two.log") + "</string><string/><string>" + src("one.log") +
                "</string></array><key>UILogLocation</key><array><s>" + src("three.log") +
                "</s></array></dict><x/><dict/></plist>");
  gather(plist(m_Folder.file("list.plist")));
  EXPECT_THAT(recordPaths(), ElementsAre("two.log", "one.log", "three.log"));
  EXPECT_EQ(m_Records.back().size, 3.0);
  EXPECT_EQ(m_Records.back().defaultScheme, 4);
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(PListActionTest, TheItemsNamePlaysNoPart) {
  m_Context.name = "report.txt";
  writeFile(src("one.log"), "1");
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key><a><s>" + src("one.log") + "</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(recordPaths(), ElementsAre("one.log"));
}

TEST_F(PListActionTest, ALocationThatIsAFolderIsCopiedAsATree) {
  writeFile(src("logs/a"), "1");
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key><a><s>" + src("logs") + "</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(recordPaths(), ElementsAre("logs"));
  EXPECT_EQ(readFile(work() + "/logs/a"), "1");
}

TEST_F(PListActionTest, TwoLocationsOfOneNameReplaceEachOther) {
  writeFile(src("1/x.log"), "1");
  writeFile(src("2/x.log"), "22");
  writeFile(m_Folder.file("l"), "<p><dict><key>UILogLocation</key><a><s>" + src("1/x.log") + "</s><s>" +
                                    src("2/x.log") + "</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(recordPaths(), ElementsAre("x.log", "x.log"));
  EXPECT_EQ(readFile(work() + "/x.log"), "22");
}

TEST_F(PListActionTest, AMissingLogIsToldUnderThePropertyListsName) {
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key><a><s>/nowhere/gone.log</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(failures(), ElementsAre("gone.log: " + m_Folder.file("l") + " File not found"));
  EXPECT_THAT(m_Records, IsEmpty());
}

TEST_F(PListActionTest, ALogThatCantBeOpenedIsToldWithTheSystemsWords) {
  writeFile(src("closed.log"), "1");
  chmod(src("closed.log").c_str(), 0);
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key><a><s>" + src("closed.log") + "</s></a></dict></p>");
  {
    const WithoutFileOverride ordinary;
    gather(plist(m_Folder.file("l")));
  }
  EXPECT_THAT(failures(), ElementsAre("closed.log: " + m_Folder.file("l") +
                                      " Error occurred opening the file: Permission denied"));
}

TEST_F(PListActionTest, LocationsHaveNoWildcardsAndNoVariables) {
  const ScopedEnv folder("TOLM_SRC", m_Folder.path().c_str());
  writeFile(src("one.log"), "1");
  writeFile(m_Folder.file("l"), "<p><dict><key>UILogLocation</key><a><s>" + src("*.log") +
                                    "</s><s>$TOLM_SRC/src/one.log</s></a></dict></p>");
  gather(plist("$TOLM_SRC/l"));
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_THAT(failures(), ElementsAre("*.log: " + m_Folder.file("l") + " File not found",
                                      "one.log: " + m_Folder.file("l") + " File not found"));
}

TEST_F(PListActionTest, BlanksAroundALocationArePartOfIt) {
  writeFile(src("one.log"), "1");
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key><a><s> " + src("one.log") + "</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(failures(), ElementsAre("one.log: " + m_Folder.file("l") + " File not found"));
}

TEST_F(PListActionTest, AKeyThatIsTheLastChildIsLoggedAndTheNextDictIsRead) {
  writeFile(src("one.log"), "1");
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key></dict><dict><key>UILogLocation</key><a><s>" + src("one.log") +
                "</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_TRUE(m_Log.has(kLogError, "Invalid pList file, no UI log locations found.")) << m_Log.dump();
  EXPECT_EQ(m_Log.records().size(), 1U);
  EXPECT_THAT(recordPaths(), ElementsAre("one.log"));
}

TEST_F(PListActionTest, TheElementBehindAKeyIsItsValueEvenWhereItIsAKeyItself) {
  writeFile(src("one.log"), "1");
  writeFile(m_Folder.file("l"), "<p><dict><key>UILogLocation</key><key>UILogLocation</key><a><s>" +
                                    src("one.log") + "</s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(PListActionTest, EmptyLocationsArePassedOverWithoutAMessage) {
  writeFile(m_Folder.file("l"), "<p><dict><key>UILogLocation</key><a><s/><s></s></a></dict></p>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(PListActionTest, AnAbsentKeyGathersNothingInSilence) {
  const std::string value = "<a><s>" + src("one.log") + "</s></a>";
  const std::string key = "<key>UILogLocation</key>" + value;
  writeFile(src("one.log"), "1");
  for (const std::string& content : {"<dict><key>uiloglocation</key>" + value + "</dict>",
                                     "<dict><key>UILogLocation2</key>" + value + "</dict>",
                                     "<dict><key> UILogLocation</key>" + value + "</dict>",
                                     "<dict><Key>UILogLocation</Key>" + value + "</dict>",
                                     "<Dict>" + key + "</Dict>", "<array><dict>" + key + "</dict></array>",
                                     "<dict><dict>" + key + "</dict></dict>", key, std::string("<dict/>")}) {
    SCOPED_TRACE(content);
    writeFile(m_Folder.file("l"), "<plist>" + content + "</plist>");
    gather(plist(m_Folder.file("l")));
    EXPECT_THAT(m_Records, IsEmpty());
  }
  EXPECT_THAT(failures(), IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(PListActionTest, AMissingBinaryOrMalformedListIsLoggedTwiceAndTellsTheUserNothing) {
  writeFile(m_Folder.file("binary"), std::string("bplist00\xd1\x01\x02\x00", 12));
  writeFile(m_Folder.file("malformed"), "<plist><dict>");
  ASSERT_EQ(mkfifo(m_Folder.file("pipe").c_str(), 0666), 0);
  std::string entities = "<!DOCTYPE p [<!ENTITY e0 \"lollollollollollol\">";
  for (int i = 1; i < 20; ++i) {
    entities += "<!ENTITY e" + std::to_string(i) + " \"";
    for (int j = 0; j < 10; ++j) {
      entities += "&e" + std::to_string(i - 1) + ";";
    }
    entities += "\">";
  }
  writeFile(m_Folder.file("entities"),
            entities + "]><p><dict><key>UILogLocation</key><a><s>&e19;</s></a></dict></p>");
  for (const char* name : {"missing", "binary", "malformed", "pipe", "entities"}) {
    SCOPED_TRACE(name);
    m_Log.clear();
    m_Records.clear();
    gather(plist(m_Folder.file(name)) + command("<args>echo next</args><stdout/>"));
    EXPECT_TRUE(m_Log.has(kLogError, "Unable to process XML parsing request"));
    EXPECT_TRUE(m_Log.hasReturnCode(kLogError, "TOLMAction::performPListCopyAction",
                                    TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
    std::size_t told = 0;
    for (const LogRecord& record : m_Log.records()) {
      told += record.field("Invoked Function") == "TOLMAction::performPListCopyAction" ? 1 : 0;
    }
    EXPECT_EQ(told, 2U);
    EXPECT_THAT(recordPaths(), ElementsAre("echo_result.txt"));
  }
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(PListActionTest, AHugeListIsReadToItsEnd) {
  writeFile(src("one.log"), "1");
  std::string text = "<plist><dict>";
  while (text.size() < 16'000'000) {
    text += "<key>Other</key><string>" + std::string(1000, 'x') + "</string>\n";
  }
  writeFile(m_Folder.file("l"), text + "<key>UILogLocation</key><array><string>" + src("one.log") +
                                    "</string></array></dict></plist>");
  gather(plist(m_Folder.file("l")));
  EXPECT_THAT(recordPaths(), ElementsAre("one.log"));
}

TEST_F(PListActionTest, APluginInPlaceOfThePathIsNoLocation) {
  gather("<get_file_to_copy_action><action><plugin>x</plugin></action></get_file_to_copy_action>");
  EXPECT_TRUE(m_Log.has(kLogError, "No file location specified"));
}

TEST_F(PListActionTest, APathWithElementsInsideIsLoggedAheadOfTheMissingLocation) {
  gather(plist("<x/>"));
  const std::vector<LogRecord> records = m_Log.records();
  ASSERT_EQ(records.size(), 3U) << m_Log.dump();
  EXPECT_EQ(records[0].text(),
            "Internal Error: unexpected further nested tags inside the <path></path> tag pairs in "
            "<action></action>.");
  EXPECT_EQ(records[1].text(), "No file location specified");
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performPListCopyAction", TOLMENGINE_ERROR_BAD_PARAMETER));
  EXPECT_THAT(failures(), IsEmpty());
}

TEST_F(PListActionTest, AnEmptyFileNameIsABadParameter) {
  std::vector<std::string> locations;
  EXPECT_RESULT(TOLMAction::getLogLocationArray("", locations), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_Log.has(kLogError, "Invalid input parameter"));
}

// --- clearing ---

using ClearActionTest = ActionTest;

TEST_F(ClearActionTest, WithoutApplyNothingIsDeletedOrRun) {
  writeFile(src("a.log"), "1");
  clear(copyAction(src("*"), "<clear_log/>") + copyAction(src("*")) +
        command("<args>true</args><clear_log>touch " + m_Folder.file("proof") + "</clear_log>"));
  EXPECT_TRUE(exists(src("a.log")));
  EXPECT_FALSE(exists(m_Folder.file("proof")));
}

TEST_F(ClearActionTest, AllMatchesGoWithGatherNewestToo) {
  writeFile(src("a.log"), "1");
  writeFile(src("B.LOG"), "1");
  writeFile(src("keep.txt"), "1");
  clear("<file_copy_action><action><loc gather_newest=\"true\">" + src("*.log") +
        "</loc><clear_log apply=\"true\"/></action></file_copy_action>");
  EXPECT_THAT(listFolder(src()), ElementsAre("keep.txt"));
  EXPECT_THAT(m_Records, IsEmpty());
}

TEST_F(ClearActionTest, AMissingFolderEndsQuietly) {
  clear(copyAction(src("missing/*"), "<clear_log apply=\"true\"/>"));
  EXPECT_EQ(m_Log.records().size(), 1U) << m_Log.dump();
  EXPECT_TRUE(m_Log.has(kLogInformation, "is not a directory"));
}

TEST_F(ClearActionTest, AMatchingFolderStaysAndShowsInTheLogAlone) {
  makeFolders(src("folder"));
  clear(copyAction(src("f*"), "<clear_log apply=\"true\"/>"));
  EXPECT_TRUE(exists(src("folder")));
  EXPECT_TRUE(m_Log.has(kLogError, "unlink_file"));
}

TEST_F(ClearActionTest, ThePatternOfAllClearsTheFilesWithoutAComplaintAboutTheFolderItself) {
  writeFile(src("a.log"), "1");
  writeFile(src(".hidden"), "1");
  clear(copyAction(src("*"), "<clear_log apply=\"true\"/>"));
  EXPECT_THAT(listFolder(src()), IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ClearActionTest, ACommandIsStartedDirectlyAndItsOutputIsntCaptured) {
  writeFile(m_Folder.file("tool"), "#!/bin/sh\nprintf '%s' \"$1\" >'" + m_Folder.file("proof") + "'\n");
  chmod(m_Folder.file("tool").c_str(), 0755);
  writeFile(m_Folder.file("out"), "kept");
  clear(command("<args>touch " + m_Folder.file("gathered") + "</args><temp_out>" + m_Folder.file("out") +
                "</temp_out><stdout/><clear_log apply=\"true\">" + m_Folder.file("tool") +
                " $HOME/x; y</clear_log>"));
  // Variables aren't expanded, and there is no shell.
  EXPECT_EQ(readFile(m_Folder.file("proof")), "$HOME/x; y");
  // The command that gathers isn't run, and its output file stays.
  EXPECT_FALSE(exists(m_Folder.file("gathered")));
  EXPECT_TRUE(exists(m_Folder.file("out")));
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ClearActionTest, ACommandsVariablesArePassedOnUnexpanded) {
  const ScopedEnv folder("TOLM_SRC", m_Folder.path().c_str());
  writeFile(m_Folder.file("tool"), "#!/bin/sh\ntouch '" + m_Folder.file("started") + "'\n");
  chmod(m_Folder.file("tool").c_str(), 0755);
  clear(command("<clear_log apply=\"true\">$TOLM_SRC/tool</clear_log>"));
  // Expanded, it would name a program.
  EXPECT_FALSE(exists(m_Folder.file("started")));
}

TEST_F(ClearActionTest, APathThatCannotBeTranslatedIsLoggedAndTheCommandRuns) {
  clear(command("<path>$TOLM_UNSET/bin</path><clear_log apply=\"true\">touch " + m_Folder.file("proof") +
                "</clear_log>"));
  EXPECT_TRUE(exists(m_Folder.file("proof")));
  EXPECT_TRUE(m_Log.has(kLogError, "Cannot determine environment variable TOLM_UNSET, path $TOLM_UNSET/bin"))
      << m_Log.dump();
}

TEST_F(ClearActionTest, ACommandThatCantBeStartedEndsQuietlyAndTheNextActionRuns) {
  for (const std::string& commandLine : {std::string(), std::string(" "), m_Folder.file("missing") + " x"}) {
    SCOPED_TRACE("\"" + commandLine + "\"");
    writeFile(src("a.log"), "1");
    clear(command("<args>true</args><clear_log apply=\"true\">" + commandLine + "</clear_log>") +
          copyAction(src("*.log"), "<clear_log apply=\"true\"/>"));
    EXPECT_FALSE(exists(src("a.log")));
  }
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ClearActionTest, ACommandReportsItsProgressAsInAGatheringRun) {
  reportProgress(40, "base", TOLMOFFLINE_ERROR_PROCESSING);
  m_Context.percentStep = 50;
  writeWaitingProgram(m_Folder.file("slow"));
  m_Keeper.endsCommandAt = 2;
  m_Keeper.commandEnd = m_Folder.file("end");
  clear(command("<clear_log apply=\"true\">" + m_Folder.file("slow") + " " + m_Keeper.commandEnd +
                "</clear_log>"));
  ASSERT_GE(m_Keeper.reports.size(), 2U);
  EXPECT_EQ(m_Keeper.reports[1], "42 Processing what...");
}

TEST_F(ClearActionTest, WithoutASummaryAFailureIsLoggedAlone) {
  writeFile(m_Folder.file("l"),
            "<p><dict><key>UILogLocation</key><a><s>/nowhere/gone.log</s></a></dict></p>");
  clear(plist(m_Folder.file("l")));
  EXPECT_TRUE(m_Log.has(kLogError, "pXMLSummary is NULL")) << m_Log.dump();
  EXPECT_THAT(m_Records, IsEmpty());
}

TEST_F(ClearActionTest, AnUnknownChildStopsTheClearStepToo) {
  clear(command("<unknown/><clear_log apply=\"true\">touch " + m_Folder.file("proof") + "</clear_log>"));
  EXPECT_FALSE(exists(m_Folder.file("proof")));
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performExternalAction", TOLMENGINE_ERROR_UNKNOWN_XML_TAG));
}

}  // namespace
}  // namespace halvo
