#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

class FilePlacesTest : public ::testing::Test {
 protected:
  FilePlacesTest() { test::writeFile(folder.file("a"), "a"); }

  test::TempFolder folder;
};

TEST_F(FilePlacesTest, AFileIsFoundByAnyOfItsNames) {
  std::filesystem::create_hard_link(folder.file("a"), folder.file("hard"));
  std::filesystem::create_symlink("a", folder.file("link"));
  std::filesystem::create_directory(folder.file("sub"));
  for (const char* name : {"a", "./a", "sub/../a", "hard", "link"}) {
    EXPECT_TRUE(isSamePlace(folder.file("a"), folder.file(name))) << name;
  }
  test::writeFile(folder.file("other"), "a");
  EXPECT_FALSE(isSamePlace(folder.file("a"), folder.file("other")));
}

// What somebody had linked to was no longer written to, and as root /dev/stdout was no longer the stream.
TEST_F(FilePlacesTest, ALinkIsNotWrittenTo) {
  std::filesystem::create_symlink("a", folder.file("link"));
  std::filesystem::create_symlink("nowhere", folder.file("broken"));
  for (const char* name : {"link", "broken"}) {
    EXPECT_EQ(linkProblem({{"OUT", folder.file(name), FileUse::kWritten}}),
              folder.file(name) + ": it is a link, and no file to be replaced (OUT)");
    EXPECT_EQ(linkProblem({{"IN", folder.file(name), FileUse::kRead}}), "");
  }
  EXPECT_EQ(linkProblem({{"OUT", folder.file("a"), FileUse::kWritten},
                         {"--map", "", FileUse::kWritten},
                         {"--report", folder.file("new"), FileUse::kWritten}}),
            "");
}

// Two names were compared as they were given where nothing lay at either yet.
TEST_F(FilePlacesTest, WhatIsntThereYetIsFoundByItsFolder) {
  std::filesystem::create_directory_symlink(folder.path(), folder.file("folder"));
  EXPECT_TRUE(isSamePlace(folder.file("new"), folder.file("folder/new")));
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  EXPECT_TRUE(isSamePlace("new", folder.file("new")));
  EXPECT_TRUE(isSamePlace("./new", "new"));
  EXPECT_FALSE(isSamePlace("new", "a"));
  std::filesystem::current_path(before);
}

TEST_F(FilePlacesTest, NothingTakesThePlaceOfADevice) {
  EXPECT_FALSE(isSamePlace("/dev/null", "/dev/null"));
  EXPECT_FALSE(isSamePlace("", ""));
}

TEST_F(FilePlacesTest, OneFileMayBeReadTwiceAndNotWrittenOver) {
  const std::string a = folder.file("a");
  EXPECT_EQ(placeProblem({{"--one", a, FileUse::kRead}, {"--two", a, FileUse::kRead}}), "");
  EXPECT_EQ(placeProblem({{"--one", a, FileUse::kRead}, {"--two", a, FileUse::kWritten}}),
            "--two names the place of another file: " + a + " (--one)");
  EXPECT_EQ(placeProblem({{"--one", a, FileUse::kWritten}, {"--two", a, FileUse::kWritten}}),
            "--one names the place of another file: " + a + " (--two)");
  EXPECT_EQ(placeProblem({{"--one", "", FileUse::kWritten}, {"--two", a, FileUse::kRead}}), "");
}

}  // namespace
}  // namespace halvo
