#include "vpn/tools/TOLM/TOLMEngine/implementations/RunRecord.h"

#include <gtest/gtest.h>

#include "tests/support/Documents.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"

namespace halvo {
namespace {

class RunRecordTest : public ::testing::Test {
 protected:
  RunRecordTest() {
    setRunRecord(&m_Record);
    m_Context.id = "id";
    m_Context.folder = m_Folder.path();
  }
  ~RunRecordTest() override { setRunRecord(nullptr); }

  void capture(const std::string& commandLine) {
    const auto document = test::parseDocument("<os>" + test::captureAction(commandLine) + "</os>");
    std::list<FileRecord> records;
    TOLMCollectLogsAction(m_Context, document->GetRoot()).Perform(records);
    ASSERT_EQ(m_Record.commands.size(), 1U);
  }

  test::TempFolder m_Folder;
  ActionContext m_Context;
  RunRecord m_Record;
};

TEST_F(RunRecordTest, ACapturedCommandHasTheBytesBehindItsBanner) {
  capture("printf 12345; exit 3");
  const RunRecord::Command& command = m_Record.commands.front();
  EXPECT_EQ(command.id, "id");
  EXPECT_EQ(command.line, "printf 12345; exit 3");
  EXPECT_EQ(command.bytes, 5U);
  EXPECT_EQ(command.exitStatus, 3);
}

// What a command had taken away from the file was counted as all the bytes that a number can hold.
TEST_F(RunRecordTest, ACommandThatRemovesItsOutputHasNoBytes) {
  capture("rm '" + m_Folder.file("rm_tmp.txt") + "'");
  EXPECT_EQ(m_Record.commands.front().bytes, 0U);
}

// Ten were told to programs too, and a thousand kept.
TEST_F(RunRecordTest, AllLossesAreNotedWithTheItemThatTheyBefell) {
  resetLosses();
  recordLoss("f", LossKind::kCutShort, "of the run", "Input/output error");
  {
    const RecordedItem item("many");
    for (std::size_t i = 0; i < kKeptLosses + 5; ++i) {
      recordLoss("f", LossKind::kUnreadable, "log/" + std::to_string(i), "Permission denied");
    }
  }
  ASSERT_EQ(m_Record.lost.size(), kKeptLosses + 6);
  EXPECT_FALSE(m_Record.lost.front().id.has_value());
  EXPECT_EQ(m_Record.lost.back().id, "many");
  EXPECT_EQ(m_Record.lost.back().path, "log/" + std::to_string(kKeptLosses + 4));
  EXPECT_EQ(m_Record.lost.back().what, "Permission denied");
}

TEST_F(RunRecordTest, AFileThatTwoItemsLackIsTheLossOfBothAndOnceOfEach) {
  resetLosses();
  for (const char* id : {"one", "two"}) {
    const RecordedItem item(id);
    recordLoss("f", LossKind::kUnreadable, "file", "Permission denied");
    recordLoss("f", LossKind::kUnreadable, "file", "Permission denied");
  }
  ASSERT_EQ(m_Record.lost.size(), 2U);
  EXPECT_EQ(m_Record.lost[0].id, "one");
  EXPECT_EQ(m_Record.lost[1].id, "two");
  EXPECT_EQ(lossCount(LossKind::kUnreadable), 1U);
}

TEST_F(RunRecordTest, ALossGoesWithTheNameOfItsFile) {
  resetLosses();
  const RecordedItem item("id");
  recordLoss("f", LossKind::kCutShort, "a_tmp.txt", "one");
  renameLoss("a_tmp.txt", "a_result.txt");
  renameLoss("none", "other");
  recordLoss("f", LossKind::kCutShort, "a_tmp.txt", "two");
  renameLoss("a_tmp.txt", "a_result.txt");
  ASSERT_EQ(m_Record.lost.size(), 1U);
  EXPECT_EQ(m_Record.lost[0].path, "a_result.txt");
  EXPECT_EQ(m_Record.lost[0].what, "one");
}

}  // namespace
}  // namespace halvo
