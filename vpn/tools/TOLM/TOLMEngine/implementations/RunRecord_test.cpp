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

}  // namespace
}  // namespace halvo
