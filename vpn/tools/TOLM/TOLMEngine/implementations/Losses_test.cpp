#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/FileSizeLimit.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/Privileges.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/collector.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class LossesTest : public ::testing::Test {
 protected:
  LossesTest() { resetLosses(); }
  [[nodiscard]] std::string at(const std::string& name) const { return m_Folder.file(name); }

  // "path: what" of every loss, the path below the test's folder.
  [[nodiscard]] std::vector<std::string> lost(LossKind kind) const {
    std::vector<std::string> texts;
    for (const Loss& loss : losses(kind)) {
      texts.push_back(loss.path.substr(m_Folder.path().size() + 1) + ": " + loss.what);
    }
    EXPECT_EQ(texts.size(), lossCount(kind));
    return texts;
  }
  [[nodiscard]] std::vector<std::string> cut() const { return lost(LossKind::kCutShort); }
  [[nodiscard]] std::vector<std::string> unread() const { return lost(LossKind::kUnreadable); }

  ResultCode copy(const std::string& source, const std::string& destination) const {
    std::string errorText;
    return helperUtil::fileCopy(at(source), at(destination), errorText);
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
};

TEST_F(LossesTest, APathIsNotedOnceForEachKindAndLoggedUnderTheOperationsName) {
  recordLoss("fileCopy", LossKind::kCutShort, at("a"), "one");
  recordLoss("fileCopy", LossKind::kCutShort, at("a"), "two");
  recordLoss("fileCopy", LossKind::kUnreadable, at("a"), "three");
  EXPECT_THAT(cut(), ElementsAre("a: one"));
  EXPECT_THAT(unread(), ElementsAre("a: three"));
  ASSERT_EQ(m_Log.records().size(), 2U) << m_Log.dump();
  EXPECT_EQ(m_Log.records()[0].field("Function"), "fileCopy");
  EXPECT_TRUE(m_Log.has(kLogError, "\"" + at("a") + "\" is cut short or missing in the bundle: one"));
  EXPECT_TRUE(m_Log.has(kLogWarning, "\"" + at("a") + "\" can't be read and is left out: three"));
  resetLosses();
  EXPECT_THAT(cut(), IsEmpty());
  EXPECT_THAT(unread(), IsEmpty());
}

TEST_F(LossesTest, ALossGoesWithTheNameOfItsFile) {
  recordLoss("f", LossKind::kCutShort, at("a_tmp.txt"), "one");
  renameLoss(at("a_tmp.txt"), at("a_result.txt"));
  renameLoss(at("none"), at("other"));
  EXPECT_THAT(cut(), ElementsAre("a_result.txt: one"));
  // What is appended later, and lost as well, is the same file's.
  recordLoss("f", LossKind::kCutShort, at("b"), "two");
  recordLoss("f", LossKind::kCutShort, at("a_tmp.txt"), "three");
  renameLoss(at("a_tmp.txt"), at("a_result.txt"));
  EXPECT_THAT(cut(), ElementsAre("a_result.txt: one", "b: two"));
}

TEST_F(LossesTest, BeyondAThousandTheyAreCounted) {
  for (std::size_t i = 0; i < kKeptLosses + 5; ++i) {
    recordLoss("f", LossKind::kCutShort, std::to_string(i), "");
  }
  EXPECT_EQ(lossCount(LossKind::kCutShort), kKeptLosses + 5);
  EXPECT_EQ(losses(LossKind::kCutShort).size(), kKeptLosses);
  EXPECT_EQ(losses(LossKind::kCutShort).front().path, "0");
}

TEST_F(LossesTest, ACopyThatADiskCutsShortIsASuccessAndALoss) {
  writeFile(at("src"), std::string(20000, 'x'));
  {
    const FileSizeLimit full(5000);
    EXPECT_RESULT(copy("src", "dst"), 0);
  }
  EXPECT_EQ(readFile(at("dst")).size(), 5000U);
  EXPECT_THAT(cut(), ElementsAre("src: File too large"));
}

TEST_F(LossesTest, AFolderThatCantBeOpenedIsALossAtTheTopAndBelow) {
  makeFolders(at("src/closed"));
  chmod(at("src/closed").c_str(), 0);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(copy("src", "dst"), 0);
    EXPECT_RESULT(copy("src/closed", "dst2"), 0);
  }
  chmod(at("src/closed").c_str(), 0755);
  EXPECT_THAT(cut(), ElementsAre("src/closed: Permission denied"));
}

TEST_F(LossesTest, FilesBelowAFolderThatCantBeReadAreOfTheSecondKind) {
  writeFile(at("src/refused"), "x");
  chmod(at("src/refused").c_str(), 0);
  ASSERT_EQ(symlink("nowhere", at("src/vanished").c_str()), 0);
  ASSERT_EQ(mkfifo(at("src/pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink(".", at("src/loop").c_str()), 0);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(copy("src", "dst"), 0);
  }
  EXPECT_THAT(cut(), IsEmpty());
  EXPECT_THAT(unread(), ::testing::UnorderedElementsAre("src/refused: Permission denied",
                                                        "src/vanished: No such file or directory",
                                                        "src/pipe: neither a file nor a folder"));
}

TEST_F(LossesTest, ACopyThatCantBeMadeBelowAFolderIsALoss) {
  writeFile(at("src/sub/file"), "x");
  writeFile(at("src/file"), "x");
  makeFolders(at("dst/file"));
  makeFolders(at("dst/sub"));
  chmod(at("dst").c_str(), 0555);
  {
    const WithoutFileOverride ordinary;
    EXPECT_RESULT(copy("src/sub", "dst/new"), 0);
  }
  chmod(at("dst").c_str(), 0755);
  EXPECT_THAT(cut(), ElementsAre("src/sub: its copy can't be made"));
}

TEST_F(LossesTest, CapturedOutputThatIsCutShortIsOneLossWithItsCopy) {
  ActionContext context;
  context.folder = m_Folder.path();
  const auto document = parseDocument("<os>" + captureAction("head -c 20000 /dev/zero") + "</os>");
  std::list<FileRecord> records;
  {
    const FileSizeLimit full(5000);
    TOLMCollectLogsAction(context, document->GetRoot()).Perform(records);
  }
  EXPECT_EQ(records.size(), 1U);
  EXPECT_THAT(cut(), ElementsAre("head_result.txt: File too large"));
}

TEST_F(LossesTest, ASummaryOrCommentsThatAreCutShortAreALoss) {
  makeFolders(at("work/config"));
  const auto request = parseDocument("<r><comments>It broke in the middle</comments></r>");
  std::list<DataComponent*> unprocessed;
  collector some(request.get(), unprocessed, 90, "bundle");
  std::string folder = at("work/config");
  {
    const FileSizeLimit full(10);
    EXPECT_RESULT(some.Collect(folder, parseDocument(documentText("T", "")).get(), 0), 0);
  }
  EXPECT_THAT(cut(), ElementsAre("work/config/../comments.txt: File too large",
                                 "work/config/../summary.txt: File too large"));
}

TEST_F(LossesTest, WhatTheSummaryTellsAsOmittedIsNoLoss) {
  writeFile(at("src/refused"), "x");
  chmod(at("src/refused").c_str(), 0);
  makeFolders(at("work"));
  XMLObject summary("summary", "");
  summary.AddChild(summary.GetRoot(), "Manifest_Not_Included", "");
  ActionContext context;
  context.folder = at("work");
  context.summary = &summary;
  const auto document =
      parseDocument("<os>" + copyAction(at("src/refused")) + copyAction(at("missing/*.log")) + "</os>");
  std::list<FileRecord> records;
  {
    const WithoutFileOverride ordinary;
    TOLMCollectLogsAction(context, document->GetRoot()).Perform(records);
  }
  EXPECT_EQ(summary.GetRoot()->FindChild("Manifest_Not_Included")->GetChildren().size(), 2U);
  EXPECT_THAT(cut(), IsEmpty());
  EXPECT_THAT(unread(), IsEmpty());
}

}  // namespace
}  // namespace halvo
