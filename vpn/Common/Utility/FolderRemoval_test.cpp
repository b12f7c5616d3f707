#include "vpn/Common/Utility/FolderRemoval.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/Privileges.h"
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

// Makes folders in one another, deeper than a path can tell, with a file in the last one.
void makeDeep(const std::string& top, int depth) {
  test::makeFolders(top);
  int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < depth; ++i) {
    ASSERT_EQ(mkdirat(folder, "d", 0700), 0);
    close(openat(folder, "beside", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const int inner = openat(folder, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(inner, 0);
    close(folder);
    folder = inner;
  }
  close(openat(folder, "file", O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  close(folder);
}

// Below 900 levels everything stayed, for good.
TEST(FolderRemovalTest, AFolderOfAnyDepthGoes) {
  const TempFolder folder;
  makeDeep(folder.file("work"), 5000);
  // Names that it might want to move the deep ones to.
  writeFile(folder.file("work/deep0/x"), "x");
  writeFile(folder.file("work/deep1"), "x");
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("work").c_str()));
  EXPECT_FALSE(exists(folder.file("work")));
}

TEST(FolderRemovalTest, AndWithFewDescriptors) {
  const TempFolder folder;
  makeDeep(folder.file("work"), 200);
  const test::ForkedResult result = test::runForked([&folder] {
    const int next = dup(0);
    const rlimit few = {static_cast<rlim_t>(next) + 4, static_cast<rlim_t>(next) + 4};
    close(next);
    return setrlimit(RLIMIT_NOFILE, &few) == 0 && removeFolder(AT_FDCWD, folder.file("work").c_str()) ? 7 : 1;
  });
  EXPECT_EQ(result.exitStatus, 7) << result.dump();
  EXPECT_FALSE(exists(folder.file("work")));
}

// What an ordinary user's command had closed wholly couldn't be opened, and stayed.
TEST(FolderRemovalTest, AFolderThatNobodyMayEvenListGoes) {
  const TempFolder folder;
  makeDeep(folder.file("work"), 40);
  writeFile(folder.file("work/closed/in/file"), "x");
  const std::string deep = folder.file("work") + test::repeated("/d", 35);
  chmod(deep.c_str(), 0);
  chmod(folder.file("work/closed/in").c_str(), 0);
  chmod(folder.file("work/closed").c_str(), 0);
  const test::WithoutFileOverride ordinary;
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("work").c_str()));
  EXPECT_FALSE(exists(folder.file("work")));
}

TEST(FolderRemovalTest, WhatIsntThereIsGone) {
  const TempFolder folder;
  EXPECT_TRUE(removeFolder(AT_FDCWD, folder.file("none").c_str()));
}

}  // namespace
}  // namespace halvo
