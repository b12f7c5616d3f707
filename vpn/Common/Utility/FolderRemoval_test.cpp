#include "vpn/Common/Utility/FolderRemoval.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using test::exists;
using test::TempFolder;
using test::writeFile;

TEST(FolderRemovalTest, AFolderGoesWithAllThatIsInIt) {
  const TempFolder folder;
  for (int i = 0; i < 200; ++i) {
    writeFile(folder.file("work/a/" + std::to_string(i) + std::string(200, 'x')), "x");
  }
  writeFile(folder.file("work/b/c/d/e"), "x");
  ASSERT_EQ(mkfifo(folder.file("work/pipe").c_str(), 0600), 0);
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("work").c_str()));
  EXPECT_FALSE(exists(folder.file("work")));
}

TEST(FolderRemovalTest, ALinkGoesAndWhatItLeadsToStays) {
  const TempFolder folder;
  writeFile(folder.file("other/kept"), "x");
  writeFile(folder.file("work/x"), "x");
  ASSERT_EQ(symlink(folder.file("other").c_str(), folder.file("work/link").c_str()), 0);
  ASSERT_EQ(symlink(folder.file("work").c_str(), folder.file("name").c_str()), 0);
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("work").c_str()));
  EXPECT_TRUE(exists(folder.file("other/kept")));
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("name").c_str()));
  struct stat status;
  EXPECT_NE(lstat(folder.file("name").c_str(), &status), 0);
}

TEST(FolderRemovalTest, AFolderThatACommandHasClosedIsOpenedAgain) {
  const TempFolder folder;
  writeFile(folder.file("work/closed/file"), "x");
  chmod(folder.file("work/closed").c_str(), 0500);
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("work").c_str()));
}

TEST(FolderRemovalTest, ADeepFolderGoes) {
  const TempFolder folder;
  std::string path = folder.file("work");
  for (int depth = 0; depth < 500; ++depth) {
    path += "/d";
  }
  writeFile(path + "/file", "x");
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("work").c_str()));
  EXPECT_FALSE(exists(folder.file("work")));
}

TEST(FolderRemovalTest, WhatIsntThereIsGone) {
  const TempFolder folder;
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("none").c_str()));
}

}  // namespace
}  // namespace halvo
