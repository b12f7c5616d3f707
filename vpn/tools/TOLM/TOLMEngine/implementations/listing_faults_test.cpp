// Folders whose listing breaks off: the linker routes the static libraries' calls of readdir() through here.

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <list>
#include <string>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/EngineSupport_test.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Losses.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMAction.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/parser/TOLMMgr.h"

namespace {

// How many names are still told before the disk fails; negative: all of them.
int s_nTold = -1;

}  // namespace

extern "C" {

dirent* __real_readdir(DIR* stream);
dirent* __wrap_readdir(DIR* stream);
dirent* __wrap_readdir(DIR* stream) {
  if (s_nTold == 0) {
    errno = EIO;
    return nullptr;
  }
  if (s_nTold > 0) {
    --s_nTold;
  }
  return __real_readdir(stream);
}

}  // extern "C"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ListingFaultsTest : public ::testing::Test {
 protected:
  ListingFaultsTest() {
    resetLosses();
    for (const char* name : {"src/a.log", "src/b.log", "src/c.log"}) {
      writeFile(m_Folder.file(name), "x");
    }
    makeFolders(m_Folder.file("work"));
  }
  ~ListingFaultsTest() override {
    s_nTold = -1;
    resetLosses();
  }

  static std::vector<std::string> lost() {
    std::vector<std::string> texts;
    for (const Loss& loss : losses(LossKind::kCutShort)) {
      texts.push_back(loss.path + ": " + loss.what);
    }
    return texts;
  }

  LogRecorder m_Log;
  TempFolder m_Folder;
};

// The two entries that every folder has are among what is told.
TEST_F(ListingFaultsTest, FilesThatAPatternCouldNotFindAreALoss) {
  s_nTold = 4;
  std::string folder = m_Folder.file("src");
  std::string pattern = "*.log";
  std::list<helperUtil::FileFindEntry> found;
  EXPECT_RESULT(helperUtil::fileFindAll(folder, pattern, found), 0);
  EXPECT_LE(found.size(), 3U);
  EXPECT_THAT(lost(), ElementsAre(m_Folder.file("src") + "/: Input/output error"));
}

TEST_F(ListingFaultsTest, AnActionWhoseFolderCannotBeListedIsALossThatTheLogNames) {
  ActionContext context;
  context.folder = m_Folder.file("work");
  const auto document = parseDocument("<os>" + copyAction(m_Folder.file("src/*.log")) + "</os>");
  std::list<FileRecord> records;
  s_nTold = 0;
  TOLMCollectLogsAction(context, document->GetRoot()).Perform(records);
  EXPECT_THAT(records, IsEmpty());
  EXPECT_THAT(lost(), ElementsAre(m_Folder.file("src") + "/: Input/output error"));
  EXPECT_TRUE(m_Log.has(kLogError, "\"" + m_Folder.file("src") +
                                       "/\" is cut short or missing in the bundle: Input/output error"));
}

TEST_F(ListingFaultsTest, AGatheredFolderWhoseListingBreaksOffIsALoss) {
  std::string errorText;
  s_nTold = 0;
  EXPECT_RESULT(helperUtil::fileCopy(m_Folder.file("src"), m_Folder.file("work/src"), errorText), 0);
  EXPECT_THAT(lost(), ElementsAre(m_Folder.file("src") + ": Input/output error"));
}

TEST_F(ListingFaultsTest, AFolderOfDocumentsWhoseListingBreaksOffTellsTheError) {
  std::list<XMLObject*> documents;
  s_nTold = 0;
  const TOLMMgr folder(documents, m_Folder.file("src") + "/");
  EXPECT_EQ(folder.GetListingError(), EIO);
  EXPECT_THAT(documents, IsEmpty());
}

TEST_F(ListingFaultsTest, AWholeListingIsNone) {
  std::string folder = m_Folder.file("src");
  std::string pattern = "*.log";
  std::list<helperUtil::FileFindEntry> found;
  EXPECT_RESULT(helperUtil::fileFindAll(folder, pattern, found), 0);
  EXPECT_EQ(found.size(), 3U);
  EXPECT_THAT(lost(), IsEmpty());
}

}  // namespace
}  // namespace halvo
