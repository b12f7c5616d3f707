#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

const std::string kDocument = "<c><file id=\"a&amp;b\"/><file id=\"c\"/></c>";

class TrialFolderTest : public ::testing::Test {
 protected:
  TrialFolderTest() {
    writeFile(source.file("one.xml"), kDocument);
    writeFile(source.file("more/two.xml"), "<c/>");
    writeFile(source.file("more/one.xml"), "<d/>");
    writeFile(source.file("more/skipped.txt"), "<c/>");
    writeFile(source.file("odd.txt"), "<e/>");
    for (const char* name : {"one.xml", "more/two.xml", "more/one.xml", "odd.txt"}) {
      chmod(source.file(name).c_str(), 0644);
    }
    chmod(source.file("more").c_str(), 0755);
  }

  TempFolder source;
};

TEST_F(TrialFolderTest, DocumentsAndFoldersAreLaidOutUnderNamesThatARunTakes) {
  TrialFolder trial;
  EXPECT_EQ(trial.add({source.file("one.xml"), source.file("more"), source.file("odd.txt")}), "");
  EXPECT_THAT(listFolder(trial.configFolder()),
              ElementsAre("document-2.xml", "document-4.xml", "one.xml", "two.xml"));
  EXPECT_EQ(readFile(trial.configFolder() + "one.xml"), kDocument);
  EXPECT_EQ(readFile(trial.configFolder() + "document-2.xml"), "<d/>");
  EXPECT_EQ(readFile(trial.configFolder() + "document-4.xml"), "<e/>");
  EXPECT_EQ(trial.requestPath(), "");
  EXPECT_EQ(trial.givenPath(trial.configFolder() + "document-2.xml"), source.file("more/one.xml"));
  EXPECT_EQ(trial.givenPath("/other.xml"), "/other.xml");
}

TEST_F(TrialFolderTest, TheFolderIsThisUsersAloneAndGoesWithTheTrial) {
  auto trial = std::make_unique<TrialFolder>();
  ASSERT_EQ(trial->add({source.file("one.xml")}), "");
  const std::string folder = trial->configFolder();
  struct stat status = {};
  ASSERT_EQ(stat(folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  trial.reset();
  EXPECT_FALSE(exists(folder));
}

TEST_F(TrialFolderTest, ADocumentThatOthersCanWriteToIsRefused) {
  chmod(source.file("one.xml").c_str(), 0666);
  TrialFolder file;
  EXPECT_THAT(file.add({source.file("one.xml")}), HasSubstr("can write to"));
  chmod(source.file("one.xml").c_str(), 0644);
  chmod(source.file("more").c_str(), 0777);
  TrialFolder folder;
  EXPECT_THAT(folder.add({source.file("more")}), HasSubstr("can write to"));
  // The document itself is fine, and so is what lies elsewhere.
  TrialFolder other;
  EXPECT_EQ(other.add({source.file("one.xml")}), "");
}

// The links were looked at by where they lead in the end: what lay between didn't count.
TEST_F(TrialFolderTest, ALinkThatLeadsThroughAFolderOfAllIsRefused) {
  makeFolders(source.file("open"));
  std::filesystem::create_symlink(source.file("more"), source.file("open/hop"));
  std::filesystem::create_symlink("open/hop/two.xml", source.file("linked.xml"));
  TrialFolder trial;
  EXPECT_EQ(trial.add({source.file("linked.xml")}), "");
  ASSERT_EQ(chmod(source.file("open").c_str(), 0777), 0);
  TrialFolder refused;
  EXPECT_THAT(refused.add({source.file("linked.xml")}),
              HasSubstr("can write to \"" + source.file("open") + "\""));
}

TEST_F(TrialFolderTest, APathFromTheWorkingFolderIsLookedAtAsAWholeOne) {
  const WorkingFolder here(source.path());
  TrialFolder trial;
  EXPECT_EQ(trial.add({"one.xml", "more/../odd.txt"}), "");
  chmod(source.file("more").c_str(), 0777);
  TrialFolder refused;
  EXPECT_THAT(refused.add({"more/two.xml"}), HasSubstr("can write to"));
}

TEST_F(TrialFolderTest, WhatIsNoDocumentIsToldByItsPath) {
  ASSERT_EQ(mkfifo(source.file("pipe.xml").c_str(), 0600), 0);
  makeFolders(source.file("empty"));
  for (const char* name : {"none.xml", "pipe.xml", "empty"}) {
    TrialFolder trial;
    EXPECT_THAT(trial.add({source.file(name)}), HasSubstr("can't be tried: ")) << name;
  }
}

TEST_F(TrialFolderTest, DocumentsWithoutAnyItemAreKnown) {
  const std::vector<std::pair<const char*, bool>> cases = {
      {"<rules><rule id=\"r\"/></rules>", false},
      {"<config><configure><title>T</title></configure></config>", false},
      {"<config><file id=\"a\"/></config>", true},
      {"<config><broken>", true},
  };
  for (const auto& [text, may] : cases) {
    writeFile(source.file("any.xml"), text);
    TrialFolder trial;
    ASSERT_EQ(trial.add({source.file("any.xml")}), "");
    EXPECT_EQ(trial.mayHaveItems(), may) << text;
  }
}

TEST_F(TrialFolderTest, ARequestNamesTheItemsAndOneThatNobodyHasIsRefused) {
  TrialFolder trial;
  ASSERT_EQ(trial.add({source.file("one.xml")}), "");
  EXPECT_EQ(trial.request({"c", "x"}), "none of the documents has an item \"x\"");
  EXPECT_EQ(trial.request({"c", "a&b", "c"}), "");
  EXPECT_EQ(readFile(trial.requestPath()), "<request><file id=\"c\"/><file id=\"a&amp;b\"/></request>\n");
}

}  // namespace
}  // namespace halvo
