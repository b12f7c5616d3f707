#include "vpn/tools/TOLM/TOLMFrontEnd/BundlePlace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/Privileges.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::TempFolder;
using test::writeFile;
using ::testing::HasSubstr;

TEST(BundlePlaceTest, AFileInAFolderThatCanBeWrittenToIsAPlace) {
  const TempFolder folder;
  EXPECT_EQ(bundlePlaceProblem(folder.file("a.zip")), "");
  EXPECT_EQ(bundlePlaceProblem(folder.file("a")), "");
  writeFile(folder.file("old.zip"), "x");
  EXPECT_EQ(bundlePlaceProblem(folder.file("old.zip")), "");
  const test::WorkingFolder inside(folder.path());
  EXPECT_EQ(bundlePlaceProblem("a.zip"), "");
}

TEST(BundlePlaceTest, AMissingFolderIsTold) {
  const TempFolder folder;
  EXPECT_EQ(bundlePlaceProblem(folder.file("none/a")),
            "is there a folder for \"" + folder.file("none/a.zip") + "\", and may you write there?");
  writeFile(folder.file("file"), "x");
  EXPECT_THAT(bundlePlaceProblem(folder.file("file/a.zip")), HasSubstr("is there a folder for"));
}

TEST(BundlePlaceTest, AFolderThatMayNotBeWrittenToIsTold) {
  const TempFolder folder;
  ASSERT_EQ(mkdir(folder.file("locked").c_str(), 0555), 0);
  // access() asks for the real user, whom an effective set doesn't change: only an ordinary user is refused.
  const std::string problem = bundlePlaceProblem(folder.file("locked/a.zip"));
  EXPECT_EQ(problem.empty(), getuid() == 0) << problem;
}

TEST(BundlePlaceTest, FoldersPipesAndDevicesAreNoPlaces) {
  const TempFolder folder;
  ASSERT_EQ(mkdir(folder.file("dir").c_str(), 0700), 0);
  ASSERT_EQ(mkdir(folder.file("dir.zip").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
  EXPECT_THAT(bundlePlaceProblem(folder.file("dir")), HasSubstr("is a folder"));
  EXPECT_THAT(bundlePlaceProblem(folder.file("dir.zip")), HasSubstr("is a folder"));
  EXPECT_THAT(bundlePlaceProblem(folder.file("dir/")), HasSubstr("is the name of a folder"));
  EXPECT_THAT(bundlePlaceProblem(folder.file("pipe")), HasSubstr("is a pipe"));
  EXPECT_THAT(bundlePlaceProblem("/dev/null"), HasSubstr("\"/dev/null\" is a device"));
}

TEST(BundlePlaceTest, ANameThatIsTakenGetsANumber) {
  const TempFolder folder;
  EXPECT_EQ(freeBundlePath(folder.file("a.zip")), folder.file("a.zip"));
  writeFile(folder.file("a.zip"), "x");
  EXPECT_EQ(freeBundlePath(folder.file("a.zip")), folder.file("a_2.zip"));
  ASSERT_EQ(symlink("/nowhere", folder.file("a_2.zip").c_str()), 0);
  EXPECT_EQ(freeBundlePath(folder.file("a")), folder.file("a_3.zip"));
}

TEST(BundlePlaceTest, RoomIsComparedWithThePlan) {
  const auto compare = [](std::uint64_t planned, std::int64_t work, std::int64_t bundle) {
    return compareSpace(planned, work, bundle, "/tmp", "/home/me/");
  };
  EXPECT_EQ(compare(100, 100, 100).problem + compare(100, 100, 100).remark, "");
  EXPECT_THAT(compare(3 << 20, 1 << 20, 1 << 30).problem,
              HasSubstr("\"/tmp\" has 1.0M free, and the files to gather have 3.0M"));
  EXPECT_THAT(compare(3 << 20, 1 << 30, 1 << 20).remark, HasSubstr("\"/home/me/\" has 1.0M free"));
  EXPECT_EQ(compare(3 << 20, 1 << 30, 1 << 20).problem, "");
  EXPECT_THAT(compare(3 << 20, 1 << 30, 1000).problem, HasSubstr("write the bundle elsewhere"));
  EXPECT_EQ(compare(3 << 20, -1, -1).problem + compare(3 << 20, -1, -1).remark, "");
}

TEST(BundlePlaceTest, AFileOfFourGibibytesNeedsAPassword) {
  EXPECT_EQ(largeFileProblem("/x", 0xfffffffe, false), "");
  EXPECT_THAT(largeFileProblem("/x", 0xffffffff, false), HasSubstr("\"/x\" has 4.0G"));
  EXPECT_EQ(largeFileProblem("/x", 0x1ffffffff, true), "");
}

TEST(BundlePlaceTest, FreeSpaceOfNoFolderIsUnknown) {
  EXPECT_EQ(freeSpace("/none/at/all"), -1);
  EXPECT_GT(freeSpace("/"), -1);
}

}  // namespace
}  // namespace halvo
