#include "vpn/tools/TOLM/TOLMFrontEnd/LeftOvers.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/Privileges.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/TemporaryFolder.h"

namespace halvo {
namespace {

using test::exists;
using test::listFolder;
using test::TempFolder;
using test::writeFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

TEST(LeftOversTest, UnlockedWorkFoldersWithASuffixGo) {
  const TempFolder folder;
  writeFile(folder.file("TOLM_Temp_Bundle__0101_0000_1/A/x"), "x");
  writeFile(folder.file("TOLM_Temp_Bundle__0101_0000_2/y"), "y");
  writeFile(folder.file("other/z"), "z");
  removeLeftOverFolders(folder.path());
  EXPECT_THAT(listFolder(folder.path()), ElementsAre("other"));
}

TEST(LeftOversTest, FoldersOfKeysAndOfTrialsGoUnlessTheyAreInUse) {
  const TempFolder folder;
  writeFile(folder.file("TOLM_Keys_abcdef/pubring.kbx"), "x");
  writeFile(folder.file("tmtolm-try-abcdef/config/a.xml"), "x");
  TemporaryFolder inUse;
  ASSERT_EQ(inUse.make(folder.path(), "TOLM_Keys_"), 0);
  removeLeftOverFolders(folder.path());
  EXPECT_THAT(listFolder(folder.path()), ElementsAre(inUse.path().substr(folder.path().size() + 1)));
}

TEST(LeftOversTest, ThePlainFolderIsTheEnginesToRemove) {
  const TempFolder folder;
  writeFile(folder.file("TOLM_Temp_Bundle/x"), "x");
  removeLeftOverFolders(folder.path());
  EXPECT_TRUE(exists(folder.file("TOLM_Temp_Bundle/x")));
}

TEST(LeftOversTest, OneFolderThatIsAskedForGoesUnlessItIsAtWork) {
  const TempFolder folder;
  const std::string path = folder.file("TOLM_Temp_Bundle");
  EXPECT_FALSE(removeLeftOverFolder(path));
  writeFile(path + "/x", "x");
  DescriptorHolder held(open(path.c_str(), O_RDONLY | O_DIRECTORY));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  EXPECT_FALSE(removeLeftOverFolder(path));
  EXPECT_TRUE(exists(path + "/x"));
  held.reset();
  EXPECT_TRUE(removeLeftOverFolder(path));
  EXPECT_FALSE(exists(path));
}

TEST(LeftOversTest, ALockedWorkFolderIsAtWorkAndStays) {
  const TempFolder folder;
  const std::string path = folder.file("TOLM_Temp_Bundle__0101_0000_1");
  writeFile(path + "/x", "x");
  DescriptorHolder held(open(path.c_str(), O_RDONLY | O_DIRECTORY));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  removeLeftOverFolders(folder.path());
  EXPECT_TRUE(exists(path + "/x"));
  held.reset();
  removeLeftOverFolders(folder.path());
  EXPECT_FALSE(exists(path));
}

// A command had closed the work folder, and then the run was killed.
TEST(LeftOversTest, AClosedWorkFolderGoesToo) {
  const TempFolder folder;
  const std::string path = folder.file("TOLM_Temp_Bundle__0101_0000_1");
  writeFile(path + "/x", "x");
  chmod(path.c_str(), 0);
  const test::WithoutFileOverride ordinary;
  removeLeftOverFolders(folder.path());
  EXPECT_FALSE(exists(path));
}

TEST(LeftOversTest, AnotherUsersFolderALinkAndAFileStay) {
  const TempFolder folder;
  writeFile(folder.file("target/kept"), "x");
  ASSERT_EQ(symlink(folder.file("target").c_str(), folder.file("TOLM_Temp_Bundle__link").c_str()), 0);
  writeFile(folder.file("TOLM_Temp_Bundle__file"), "x");
  const bool asRoot = geteuid() == 0;
  if (asRoot) {
    writeFile(folder.file("TOLM_Temp_Bundle__other/x"), "x");
    ASSERT_EQ(chown(folder.file("TOLM_Temp_Bundle__other").c_str(), 65534, 65534), 0);
  }
  removeLeftOverFolders(folder.path());
  EXPECT_TRUE(exists(folder.file("target/kept")));
  EXPECT_TRUE(exists(folder.file("TOLM_Temp_Bundle__link")));
  EXPECT_TRUE(exists(folder.file("TOLM_Temp_Bundle__file")));
  EXPECT_EQ(exists(folder.file("TOLM_Temp_Bundle__other/x")), asRoot);
}

TEST(LeftOversTest, AHiddenNameIsKnownAgainAndNoOtherIsTakenForOne) {
  EXPECT_EQ(unfinishedName("a.zip", 0xabc), ".a.zip.00000abc.tolm-part");
  EXPECT_TRUE(isUnfinishedName(unfinishedName("a.zip", 0xffffffff)));
  EXPECT_EQ(unfinishedName(std::string(255, 'n'), 1).size(), 255U);
  EXPECT_TRUE(isUnfinishedName(unfinishedName(std::string(255, 'n'), 1)));
  for (const char* name :
       {"", "a.zip", ".a.zip", ".tolm-part", ".a.zip.tolm-part", "a.zip.00000abc.tolm-part",
        ".a.zip.0000zabc.tolm-part", ".a.zip.00000abc.tolm-part2"}) {
    EXPECT_FALSE(isUnfinishedName(name)) << name;
  }
}

TEST(LeftOversTest, HalfWrittenBundlesGoUnlessTheyAreBeingWritten) {
  const TempFolder folder;
  const std::string left = unfinishedName("a.zip", 1);
  const std::string atWork = unfinishedName("a.zip", 2);
  writeFile(folder.file(left), "PK");
  writeFile(folder.file(atWork), "PK");
  writeFile(folder.file("a.zip"), "PK");
  const DescriptorHolder held(open(folder.file(atWork).c_str(), O_RDONLY));
  ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
  removeUnfinishedBundles(folder.path());
  EXPECT_THAT(listFolder(folder.path()), UnorderedElementsAre(atWork, "a.zip"));
}

TEST(LeftOversTest, ANotedPathThatIsNoHalfWrittenBundleStays) {
  const TempFolder folder;
  writeFile(folder.file("letter"), "x");
  writeFile(folder.file(unfinishedName("a.zip", 1)), "PK");
  removeUnfinishedBundle(folder.file("letter"));
  removeUnfinishedBundle("");
  removeUnfinishedBundle("letter");
  EXPECT_TRUE(exists(folder.file("letter")));
  removeUnfinishedBundle(folder.file(unfinishedName("a.zip", 1)));
  EXPECT_THAT(listFolder(folder.path()), ElementsAre("letter"));
}

TEST(LeftOversTest, AFolderThatIsMissingHoldsNone) {
  const TempFolder folder;
  removeLeftOverFolders(folder.file("none"));
  removeUnfinishedBundles(folder.file("none"));
  EXPECT_THAT(listFolder(folder.path()), IsEmpty());
}

}  // namespace
}  // namespace halvo
