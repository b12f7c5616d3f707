// The walk over kinds and actions, and the readers of action elements.

#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/IPC/ProcessAPI_unix.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Records which slot is called with which element; results as told.
class RecordingAction : public TOLMAction {
 public:
  explicit RecordingAction(const DataComponent* osElement) : TOLMAction(ActionContext(), osElement) {}

  std::vector<std::string> calls;
  ResultCode fileResult = 0;
  ResultCode externalResult = 0;
  std::string tempFile;

 protected:
  ResultCode performFileAction(const XMLObject& actionXml, std::list<FileRecord>& records) override {
    calls.push_back("file " + actionXml.GetRootName());
    FileRecord record;
    record.path = actionXml.GetRootValue();
    records.push_back(record);
    return fileResult;
  }
  ResultCode performExternalAction(const XMLObject& actionXml, std::list<FileRecord>& records,
                                   std::list<std::string>& tempFiles) override {
    calls.push_back("external " + actionXml.GetRootName() +
                    (!tempFile.empty() && exists(tempFile) ? " with its temporary file" : ""));
    records.emplace_back();
    if (!tempFile.empty()) {
      writeFile(tempFile, "x");
      tempFiles.push_back(tempFile);
    }
    return externalResult;
  }
};

class ActionWalkTest : public ::testing::Test {
 protected:
  std::vector<std::string> perform(const std::string& os) {
    const auto document = parseDocument(os);
    RecordingAction action(document->GetRoot());
    action.fileResult = m_FileResult;
    action.externalResult = m_ExternalResult;
    action.tempFile = m_TempFile;
    action.Perform(m_Records);
    return action.calls;
  }

  LogRecorder m_Log;
  std::list<FileRecord> m_Records;
  ResultCode m_FileResult = 0;
  ResultCode m_ExternalResult = 0;
  std::string m_TempFile;
};

TEST_F(ActionWalkTest, AnOsElementWithoutChildrenDoesNothing) {
  EXPECT_THAT(perform("<os/>"), IsEmpty());
  EXPECT_THAT(perform("<os><file_copy_action/></os>"), IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ActionWalkTest, KindsAndActionsRunInDocumentOrderWhateverAnActionsName) {
  EXPECT_THAT(perform("<os><use_extern_action><action/><x/></use_extern_action>"
                      "<file_copy_action><action>1</action></file_copy_action></os>"),
              ElementsAre("external action", "external x", "file action"));
  EXPECT_EQ(m_Records.size(), 3U);
}

TEST_F(ActionWalkTest, AKindWithALetterTooManyIsSkippedWithoutAMessage) {
  EXPECT_THAT(perform("<os><file_copy_actions><action/></file_copy_actions><File_copy_action><action/>"
                      "</File_copy_action></os>"),
              IsEmpty());
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ActionWalkTest, AFailedActionDropsItsRecordsAndTheNextOneRuns) {
  m_FileResult = TOLMENGINE_ERROR_FILE_OPEN_FAILURE;
  EXPECT_THAT(perform("<os><file_copy_action><a/><b/></file_copy_action></os>"),
              ElementsAre("file a", "file b"));
  EXPECT_THAT(m_Records, IsEmpty());
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performFileAction", TOLMENGINE_ERROR_FILE_OPEN_FAILURE));
  m_ExternalResult = TOLMENGINE_ERROR_INVALID_XML;
  perform("<os><use_extern_action><a/></use_extern_action></os>");
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performExternalAction", TOLMENGINE_ERROR_INVALID_XML));
}

TEST_F(ActionWalkTest, AMissingFileIsntLoggedForTheFirstTwoKinds) {
  m_FileResult = TOLMENGINE_ERROR_FILE_NOT_FOUND;
  m_ExternalResult = TOLMENGINE_ERROR_FILE_NOT_FOUND;
  perform("<os><file_copy_action><a/></file_copy_action><use_extern_action><a/></use_extern_action></os>");
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ActionWalkTest, TemporaryFilesLiveUntilTheEndOfTheirKind) {
  const TempFolder folder;
  m_TempFile = folder.file("tmp");
  EXPECT_THAT(perform("<os><use_extern_action><a/><b/></use_extern_action>"
                      "<use_extern_action><c/></use_extern_action></os>"),
              ElementsAre("external a", "external b with its temporary file", "external c"));
  EXPECT_FALSE(exists(m_TempFile));
}

TEST_F(ActionWalkTest, ThePropertyListKindIsNoSlot) {
  EXPECT_THAT(perform("<os><get_file_to_copy_action><action/></get_file_to_copy_action></os>"), IsEmpty());
  EXPECT_TRUE(m_Log.has(kLogError, "No file location specified"));
  EXPECT_TRUE(
      m_Log.hasReturnCode(kLogError, "TOLMAction::performPListCopyAction", TOLMENGINE_ERROR_BAD_PARAMETER));
}

TEST_F(ActionWalkTest, TheEndOfAnActionEndsItsChild) {
  // No road through a run leaves a child behind; this one is handed to the action.
  class ActionWithChild : public RecordingAction {
   public:
    ActionWithChild(const DataComponent* osElement, pid_t child) : RecordingAction(osElement) {
      m_pProcessApi = std::make_unique<CProcessApi>();
      m_pid = child;
    }
  };
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    sleep(300);
    _exit(0);
  }
  const DataComponent os("os", "");
  { const ActionWithChild action(&os, child); }
  // Ended and reaped: nobody of that id is left to signal.
  EXPECT_NE(kill(child, 0), 0);
}

// Its commands are run by the test.
class CommandingAction : public RecordingAction {
 public:
  using RecordingAction::RecordingAction;
  using TOLMAction::callExtern;
  using TOLMAction::m_pid;
  using TOLMAction::performPListCopyAction;
};

TEST_F(ActionWalkTest, ACommandEndsTheOneBeforeWhoseIdIsKeptBeyondItsEnd) {
  const DataComponent os("os", "");
  CommandingAction action(&os);
  EXPECT_RESULT(action.callExtern("", "true", false, ""), 0);
  // That child has ended, and the signal of the next command goes to its id all the same.
  EXPECT_GT(action.m_pid, 0);
  EXPECT_NE(kill(action.m_pid, 0), 0);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    sleep(300);
    _exit(0);
  }
  action.m_pid = child;
  const TempFolder folder;
  EXPECT_RESULT(action.callExtern("", "true", true, folder.file("out")), 0);
  EXPECT_NE(kill(child, 0), 0);
  // A captured command has no id.
  EXPECT_EQ(action.m_pid, 0);
}

TEST_F(ActionWalkTest, APropertyListActionWithoutARootIsABadParameter) {
  const DataComponent os("os", "");
  CommandingAction action(&os);
  EXPECT_RESULT(action.performPListCopyAction(XMLObject(), ActionContext(), m_Records),
                TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_Log.has(kLogError, "rXMLActionSubtree.GetRoot() is NULL"));
}

class ActionReaderTest : public ::testing::Test {
 protected:
  ExternalActionAttributes readExternal(const std::string& children, ResultCode expected = 0) {
    ExternalActionAttributes attributes;
    EXPECT_RESULT(TOLMAction::parseExternalActionAttributes(
                      *parseDocument("<action>" + children + "</action>"), attributes),
                  expected);
    return attributes;
  }
  FileActionAttributes readFileAction(const std::string& children) {
    FileActionAttributes attributes;
    EXPECT_RESULT(TOLMAction::parseFileActionAttributes(*parseDocument("<action>" + children + "</action>"),
                                                        attributes),
                  0);
    return attributes;
  }

  LogRecorder m_Log;
};

TEST_F(ActionReaderTest, ADocumentWithoutARootIsABadParameter) {
  FileActionAttributes file;
  ExternalActionAttributes external;
  EXPECT_RESULT(TOLMAction::parseFileActionAttributes(XMLObject(), file), TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(TOLMAction::parseExternalActionAttributes(XMLObject(), external),
                TOLMENGINE_ERROR_BAD_PARAMETER);
  EXPECT_EQ(TOLMAction::getFileNameFromXML(XMLObject()), "");
  EXPECT_EQ(m_Log.count("rXMLActionSubtree.GetRoot() is NULL"), 3U);
}

TEST_F(ActionReaderTest, TheLastLocationWinsAndGatherNewestStaysOn) {
  const ScopedEnv folder("TOLM_X", "/x");
  const FileActionAttributes attributes =
      readFileAction("<loc gather_newest=\"true\">one</loc><loc gather_newest=\"false\">$TOLM_X/two</loc>");
  EXPECT_EQ(attributes.location, "$TOLM_X/two");
  EXPECT_EQ(attributes.translatedLocation, "/x/two");
  EXPECT_TRUE(attributes.gatherNewest);
}

TEST_F(ActionReaderTest, SwitchesTakeOnlyTheExactWordTrue) {
  for (const char* word : {"True", "TRUE", " true", "yes", ""}) {
    const std::string value = word;
    const FileActionAttributes attributes =
        readFileAction("<loc gather_newest=\"" + value + "\">x</loc><clear_log apply=\"" + value + "\"/>");
    EXPECT_FALSE(attributes.gatherNewest) << word;
    EXPECT_FALSE(attributes.clearLog) << word;
    EXPECT_FALSE(readExternal("<clear_log apply=\"" + value + "\">cmd</clear_log>").clearLog) << word;
  }
  EXPECT_TRUE(readFileAction("<clear_log apply=\"true\"/>").clearLog);
  EXPECT_FALSE(readFileAction("<clear_log/>").clearLog);
}

TEST_F(ActionReaderTest, UnknownChildrenOfAFileActionAreIgnoredAndTruncateTypeIsRead) {
  const FileActionAttributes attributes =
      readFileAction("<whatever><truncate_type>END</truncate_type></whatever><loc>/a</loc>");
  EXPECT_EQ(attributes.truncateType, "END");
  EXPECT_EQ(attributes.location, "/a");
  EXPECT_EQ(readFileAction("").location, "");
  EXPECT_THAT(m_Log.records(), IsEmpty()) << m_Log.dump();
}

TEST_F(ActionReaderTest, ArgsBehindAFullPathReduceItToItsFolder) {
  const ExternalActionAttributes attributes = readExternal("<path>/usr/bin/foo</path><args>foo -x</args>");
  EXPECT_EQ(attributes.path, "/usr/bin/");
  EXPECT_EQ(attributes.programName, "foo");
  EXPECT_EQ(attributes.baseName, "foo");
  EXPECT_EQ(attributes.args, "foo -x");
}

TEST_F(ActionReaderTest, ArgsAheadOfThePathLeaveItAsWritten) {
  EXPECT_EQ(readExternal("<args>foo -x</args><path>/usr/bin/foo</path>").path, "/usr/bin/foo");
  EXPECT_EQ(readExternal("<path>/usr/bin</path><args>foo -x</args>").path, "/usr/bin");
}

TEST_F(ActionReaderTest, APathThatIsTheProgramsNameBecomesTheDot) {
  EXPECT_EQ(readExternal("<path>foo</path><args>foo -x</args>").path, ".");
}

// The comparison was made only where the path's last component was the program's name.
TEST_F(ActionReaderTest, AFullPathThatIsTheProgramsNameBecomesTheDotToo) {
  EXPECT_EQ(readExternal("<path>/usr/bin/foo</path><args>/usr/bin/foo -x</args>").path, ".");
  EXPECT_EQ(readExternal("<path>./foo</path><args>./foo</args>").path, ".");
}

TEST_F(ActionReaderTest, TheBaseNameLosesItsLastDotAndWhatFollows) {
  EXPECT_EQ(readExternal("<args>foo.sh -x</args>").baseName, "foo");
  EXPECT_EQ(readExternal("<args>a.b.c</args>").baseName, "a.b");
  EXPECT_EQ(readExternal("<args>plain</args>").baseName, "plain");
  EXPECT_EQ(readExternal("<args>foo.</args>").baseName, "foo");
  EXPECT_EQ(readExternal("<args/>").baseName, "");
}

TEST_F(ActionReaderTest, ALeadingBlankMakesTheWholeTextTheProgramName) {
  const ExternalActionAttributes attributes = readExternal("<args> foo -x</args>");
  EXPECT_EQ(attributes.programName, " foo -x");
}

TEST_F(ActionReaderTest, APluginLiesBelowTheToolFolderWithItsDotLeftIn) {
  EXPECT_EQ(readExternal("<plugin/>").path, "/opt/halvo/tessarmont/tolm/./plugin");
  EXPECT_EQ(readExternal("<plugin>sub/tool</plugin>").path, "/opt/halvo/tessarmont/tolm/./plugin/sub/tool");
}

TEST_F(ActionReaderTest, RegisLeavesThePathEmptyAndTheActionGoesOn) {
  const ExternalActionAttributes attributes = readExternal("<path>/a</path><regis>x</regis><args>foo</args>");
  EXPECT_EQ(attributes.path, "");
  EXPECT_EQ(attributes.args, "foo");
  EXPECT_TRUE(m_Log.has(kLogError, "pDC is of unknown type \"regis\"")) << m_Log.dump();
}

TEST_F(ActionReaderTest, ElementsInsideALeafFailTheAction) {
  for (const char* name : {"path", "plugin", "regis"}) {
    const std::string tag = name;
    readExternal("<" + tag + "><x/></" + tag + ">", TOLMENGINE_ERROR_INVALID_XML);
  }
  EXPECT_EQ(
      m_Log.count("Internal Error: unexpected further nested tags inside the <path></path> tag pairs in "
                  "<action></action>."),
      3U);
  readExternal("<args><x/></args>", TOLMENGINE_ERROR_INVALID_XML);
  EXPECT_TRUE(
      m_Log.has(kLogError,
                "Internal Error: unexpected further nested tags inside the <args></args> tag pairs in "
                "<action></action>."));
  readExternal("<temp_out><x/></temp_out>", TOLMENGINE_ERROR_INVALID_XML);
  EXPECT_TRUE(
      m_Log.has(kLogError,
                "Internal Error: unexpected further nested tags inside the <tempOut></tempOut> tag pairs "
                "in <action></action>"));
}

TEST_F(ActionReaderTest, AnUnknownChildOfAnExternalActionFailsIt) {
  readExternal("<truncate_type>END</truncate_type>", TOLMENGINE_ERROR_UNKNOWN_XML_TAG);
  readExternal("<args>x</args><loc>/a</loc>", TOLMENGINE_ERROR_UNKNOWN_XML_TAG);
  EXPECT_EQ(m_Log.count("Internal Error: Unrecognized XML tag."), 2U);
}

TEST_F(ActionReaderTest, AStdoutWithElementsInsideIsAccepted) {
  EXPECT_TRUE(readExternal("<stdout><x/></stdout>").useStdout);
  EXPECT_EQ(readExternal("<temp_out>/tmp/x</temp_out>").tempOut, "/tmp/x");
  EXPECT_EQ(readExternal("").args, "");
}

TEST_F(ActionReaderTest, ClearArgsAreKeptOnlyWithApply) {
  EXPECT_EQ(readExternal("<clear_log>rm x</clear_log>").clearArgs, "");
  const ExternalActionAttributes attributes = readExternal("<clear_log apply=\"true\">rm x</clear_log>");
  EXPECT_TRUE(attributes.clearLog);
  EXPECT_EQ(attributes.clearArgs, "rm x");
}

TEST_F(ActionReaderTest, AClearSwitchThatIsOnStaysOn) {
  EXPECT_TRUE(readFileAction("<clear_log apply=\"true\"/><clear_log/>").clearLog);
  const ExternalActionAttributes attributes =
      readExternal("<clear_log apply=\"true\">rm x</clear_log><clear_log>rm y</clear_log>");
  EXPECT_TRUE(attributes.clearLog);
  EXPECT_EQ(attributes.clearArgs, "rm x");
}

TEST_F(ActionReaderTest, OfSeveralChildrenOfOneNameTheLastWins) {
  const ExternalActionAttributes attributes = readExternal(
      "<path>/1</path><path>/2</path><args>one x</args><args>two.sh x</args><temp_out>/a</temp_out>"
      "<temp_out>/b</temp_out><clear_log apply=\"true\">1</clear_log><clear_log "
      "apply=\"true\">2</clear_log>");
  EXPECT_EQ(attributes.path, "/2");
  EXPECT_EQ(attributes.args, "two.sh x");
  EXPECT_EQ(attributes.programName, "two.sh");
  EXPECT_EQ(attributes.baseName, "two");
  EXPECT_EQ(attributes.tempOut, "/b");
  EXPECT_EQ(attributes.clearArgs, "2");
}

TEST_F(ActionReaderTest, GetPathRefusesNullAndUnknownElements) {
  EXPECT_EQ(TOLMAction::getPath(nullptr), "");
  EXPECT_TRUE(m_Log.has(kLogError, "pDC is NULL"));
}

TEST_F(ActionReaderTest, TheFirstPathChildNamesTheFile) {
  const ScopedEnv folder("TOLM_X", "/x");
  EXPECT_EQ(TOLMAction::getFileNameFromXML(*parseDocument("<a><y/><path>$TOLM_X/1</path><path>2</path></a>")),
            "/x/1");
  EXPECT_EQ(TOLMAction::getFileNameFromXML(*parseDocument("<a><path><z/></path><path>2</path></a>")), "");
  EXPECT_EQ(TOLMAction::getFileNameFromXML(*parseDocument("<a><plugin>x</plugin></a>")), "");
}

TEST_F(ActionReaderTest, WordsForAFailedCopyBeginWithABlank) {
  EXPECT_EQ(TOLMAction::resultCodeToText(TOLMENGINE_ERROR_FILE_NOT_FOUND), " File not found");
  EXPECT_EQ(TOLMAction::resultCodeToText(TOLMENGINE_ERROR_FILE_OPEN_FAILURE),
            " Error occurred opening the file");
  EXPECT_EQ(TOLMAction::resultCodeToText(TOLMENGINE_ERROR_UNEXPECTED), " Unexpected error occurred");
  EXPECT_EQ(TOLMAction::resultCodeToText(0), " Unexpected error occurred");
}

}  // namespace
}  // namespace halvo
