#include "vpn/Common/Utility/UnfinishedFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <filesystem>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

bool g_bNamelessFiles = true;  // whether the file system has files without a name

}  // namespace
}  // namespace halvo

extern "C" {
int __real_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...);
int __wrap_open(const char* path, int flags, ...) {
  if ((flags & O_TMPFILE) == O_TMPFILE && !halvo::g_bNamelessFiles) {
    errno = EOPNOTSUPP;
    return -1;
  }
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return __real_open(path, flags, mode);
}
}

namespace halvo {
namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

class UnfinishedFileTest : public ::testing::Test {
 protected:
  ~UnfinishedFileTest() override { g_bNamelessFiles = true; }

  [[nodiscard]] std::string place() const { return m_temp.file("place"); }

  static void put(const UnfinishedFile& file, const std::string& text) {
    ASSERT_EQ(write(file.descriptor(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }

  test::TempFolder m_temp;
};

TEST_F(UnfinishedFileTest, NothingIsThereUntilItIsWhole) {
  {
    UnfinishedFile file;
    ASSERT_EQ(file.open(place()), "");
    put(file, "half");
    EXPECT_THAT(test::listFolder(m_temp.path()), IsEmpty());
  }
  EXPECT_THAT(test::listFolder(m_temp.path()), IsEmpty());
}

TEST_F(UnfinishedFileTest, WithoutNamelessFilesItLiesBesideAndGoesWithTheObject) {
  g_bNamelessFiles = false;
  {
    UnfinishedFile file;
    ASSERT_EQ(file.open(place()), "");
    EXPECT_THAT(test::listFolder(m_temp.path()), SizeIs(1));
    EXPECT_FALSE(test::exists(place()));
  }
  EXPECT_THAT(test::listFolder(m_temp.path()), IsEmpty());
}

TEST_F(UnfinishedFileTest, ItTakesThePlaceOfAnotherFileAndIsItsOwnersAlone) {
  for (const bool nameless : {true, false}) {
    g_bNamelessFiles = nameless;
    test::writeFile(place(), "older");
    UnfinishedFile file;
    ASSERT_EQ(file.open(place()), "");
    put(file, "whole");
    EXPECT_EQ(test::readFile(place()), "older");
    ASSERT_EQ(file.finish(), "");
    EXPECT_EQ(test::readFile(place()), "whole");
    struct stat status = {};
    ASSERT_EQ(stat(place().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    EXPECT_THAT(test::listFolder(m_temp.path()), SizeIs(1));
  }
}

TEST_F(UnfinishedFileTest, ANameWithoutAFolderIsOneOfTheWorkingFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(m_temp.path());
  {
    UnfinishedFile file;
    EXPECT_EQ(file.open("place"), "");
    EXPECT_EQ(file.finish(), "");
  }
  std::filesystem::current_path(before);
  EXPECT_TRUE(test::exists(place()));
}

TEST_F(UnfinishedFileTest, WhatCannotBeWrittenIsTold) {
  UnfinishedFile nowhere;
  EXPECT_EQ(nowhere.open(m_temp.file("none/place")), "No such file or directory");

  // A folder came into its place, or its own folder went away.
  for (const bool nameless : {true, false}) {
    g_bNamelessFiles = nameless;
    UnfinishedFile file;
    ASSERT_EQ(file.open(place()), "");
    test::makeFolders(place() + "/within");
    EXPECT_EQ(file.finish(), "Is a directory");
    std::filesystem::remove_all(place());
  }
  g_bNamelessFiles = true;
  test::makeFolders(m_temp.file("leaves"));
  UnfinishedFile file;
  ASSERT_EQ(file.open(m_temp.file("leaves/place")), "");
  std::filesystem::remove_all(m_temp.file("leaves"));
  EXPECT_EQ(file.finish(), "No such file or directory");
}

// The file was made safely, closed, and opened once more by its name.
TEST_F(UnfinishedFileTest, ALinkThatTakesItsPlaceIsNotFollowed) {
  g_bNamelessFiles = false;
  test::writeFile(m_temp.file("precious"), "kept");
  test::makeFolders(m_temp.file("shared"));
  {
    UnfinishedFile file;
    ASSERT_EQ(file.open(m_temp.file("shared/place")), "");
    const std::string unfinished = m_temp.file("shared/" + test::listFolder(m_temp.file("shared")).at(0));
    std::filesystem::rename(unfinished, m_temp.file("gone"));
    std::filesystem::create_symlink(m_temp.file("precious"), unfinished);
    put(file, "secret");
    EXPECT_EQ(file.finish(), "somebody else has changed its folder meanwhile");
  }
  EXPECT_EQ(test::readFile(m_temp.file("precious")), "kept");
  EXPECT_FALSE(test::exists(m_temp.file("shared/place")));
  EXPECT_EQ(test::readFile(m_temp.file("gone")), "");
}

}  // namespace
}  // namespace halvo
