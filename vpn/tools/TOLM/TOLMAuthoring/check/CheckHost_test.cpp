#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckHost.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(CheckHostTest, ProgramsAreFoundAsAShellFindsThem) {
  TempFolder folder;
  writeFile(folder.file("bin/tool"), "#!/bin/sh\n");
  writeFile(folder.file("bin/text"), "no program");
  chmod(folder.file("bin/tool").c_str(), 0755);
  makeFolders(folder.file("bin/folder"));
  ScopedEnv path("PATH", (folder.file("none") + ":" + folder.file("bin")).c_str());
  CheckHost host;
  EXPECT_TRUE(host.hasProgram("tool"));
  EXPECT_TRUE(host.hasProgram(folder.file("bin/tool")));
  for (const char* name : {"text", "folder", "other", "bin/tool"}) {
    EXPECT_FALSE(host.hasProgram(name)) << name;
  }
}

TEST(CheckHostTest, TheShellTellsWhatItRefusesAndRunsNothing) {
  TempFolder folder;
  CheckHost host;
  EXPECT_EQ(host.shellComplaint("touch " + folder.file("ran") + "; echo 'a b' | cat 2>&1"), "");
  EXPECT_EQ(host.shellComplaint("-x"), "");
  EXPECT_THAT(host.shellComplaint("touch " + folder.file("ran") + "; echo 'a"), HasSubstr("yntax"));
  EXPECT_NE(host.shellComplaint("if true"), "");
  EXPECT_FALSE(exists(folder.file("ran")));
}

TEST(CheckHostTest, ALineThatNoShellCanBeGivenIsToldToBeTooLong) {
  CheckHost host;
  EXPECT_EQ(host.shellComplaint(std::string(std::size_t{4} << 20, 'x')), "the command line is too long");
}

TEST(CheckHostTest, PastABoundTheShellIsAskedNoMore) {
  CheckHost host;
  ASSERT_NE(host.shellComplaint("'"), "");
  for (std::size_t i = 1; i < CheckHost::kMaxShellLines; ++i) {
    ASSERT_NE(host.shellComplaint(std::string(200'000, 'x')), "");
  }
  EXPECT_EQ(host.shellComplaint("'"), "");
}

TEST(CheckHostTest, PipesAndDevicesAreSpecialFilesAndFoldersAreNot) {
  TempFolder folder;
  writeFile(folder.file("file"), "");
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  CheckHost host;
  EXPECT_TRUE(host.isSpecialFile(folder.file("pipe")));
  EXPECT_TRUE(host.isSpecialFile("/dev/null"));
  EXPECT_FALSE(host.isSpecialFile(folder.file("file")));
  EXPECT_FALSE(host.isSpecialFile(folder.path()));
  EXPECT_FALSE(host.isSpecialFile(folder.file("none")));
}

TEST(CheckHostTest, NamesAreMatchedWithoutRegardToCaseAndSorted) {
  TempFolder folder;
  for (const char* name : {"b.LOG", "a.log", "c.txt"}) {
    writeFile(folder.file(name), "");
  }
  CheckHost host;
  EXPECT_THAT(host.namesIn(folder.path(), "*.Log"), ElementsAre("a.log", "b.LOG"));
  EXPECT_THAT(host.namesIn(folder.path(), "*"), ElementsAre("a.log", "b.LOG", "c.txt"));
  EXPECT_THAT(host.namesIn(folder.file("none"), "*"), IsEmpty());
}

}  // namespace
}  // namespace halvo
