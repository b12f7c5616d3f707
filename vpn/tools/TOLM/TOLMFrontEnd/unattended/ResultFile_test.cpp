#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/ResultFile.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/ForkedCase.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ResultFileTest : public ::testing::Test {
 protected:
  [[nodiscard]] std::string path() const { return m_Folder.file("status.json"); }
  // Opens, and writes where that went well.
  static std::string put(const std::string& path, ResultFile::Streams streams = ResultFile::Streams::kTaken) {
    ResultFile status("the status", streams);
    const std::string problem = status.open(path);
    return problem.empty() ? status.write("new") : problem;
  }

  test::TempFolder m_Folder;
};

TEST_F(ResultFileTest, TheFileIsReplacedAndNothingStaysBesideIt) {
  test::writeFile(path(), "old");
  const int reader = open(path().c_str(), O_RDONLY | O_CLOEXEC);
  EXPECT_EQ(put(path()), "");
  char text[4] = {};
  EXPECT_EQ(read(reader, text, 3), 3);
  close(reader);
  EXPECT_STREQ(text, "old");
  EXPECT_EQ(test::readFile(path()), "new");
  EXPECT_THAT(test::listFolder(m_Folder.path()), ElementsAre("status.json"));
}

TEST_F(ResultFileTest, AStatusThatIsNeverWrittenLeavesNothing) {
  ResultFile status("the status", ResultFile::Streams::kTaken);
  EXPECT_EQ(status.open(path()), "");
  EXPECT_THAT(test::listFolder(m_Folder.path()), IsEmpty());
}

// It was looked at and then opened, and its target was overwritten.
TEST_F(ResultFileTest, ALinkIsReplacedAndNotFollowed) {
  test::writeFile(m_Folder.file("precious"), "kept");
  std::filesystem::create_symlink(m_Folder.file("precious"), path());
  EXPECT_EQ(put(path()), "");
  EXPECT_EQ(test::readFile(m_Folder.file("precious")), "kept");
  EXPECT_FALSE(std::filesystem::is_symlink(path()));
  EXPECT_EQ(test::readFile(path()), "new");
}

TEST_F(ResultFileTest, WhatCantBeWrittenIsToldBeforeTheRun) {
  ResultFile status("the status", ResultFile::Streams::kTaken);
  EXPECT_THAT(status.open(m_Folder.file("none/x")), HasSubstr("No such file or directory"));
  EXPECT_THAT(status.open(m_Folder.path()), HasSubstr("Is a directory"));
  EXPECT_THAT(status.open(m_Folder.path() + "/"), HasSubstr("it is a folder"));
  EXPECT_THAT(status.open(m_Folder.file(std::string(256, 'n'))), HasSubstr("File name too long"));
  EXPECT_EQ(status.open(m_Folder.file(std::string(255, 'n'))), "");
  EXPECT_THAT(status.open("/dev/fd/987654"), HasSubstr("Bad file descriptor"));
}

TEST_F(ResultFileTest, APipeIsWrittenToAndOneThatNobodyReadsIsTold) {
  ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
  ResultFile unread("the status", ResultFile::Streams::kTaken);
  EXPECT_THAT(unread.open(path()), HasSubstr("nobody reads from it"));
  const int reader = open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_EQ(put(path()), "");
  char text[4] = {};
  EXPECT_EQ(read(reader, text, 3), 3);
  EXPECT_STREQ(text, "new");
  close(reader);
}

// A name for somebody's private text: whoever can plant a pipe there would read it.
TEST_F(ResultFileTest, APipeThatSomebodyReadsIsRefusedWhereStreamsAre) {
  ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
  EXPECT_EQ(put(path(), ResultFile::Streams::kRefused),
            "the status can't be written to \"" + path() + "\": it is no file");
  const int reader = open(path().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  EXPECT_THAT(put(path(), ResultFile::Streams::kRefused), HasSubstr("it is no file"));
  char text[4] = {};
  EXPECT_EQ(read(reader, text, 3), 0);
  close(reader);
}

TEST_F(ResultFileTest, ANewFileIsForItsOwnerAlone) {
  test::writeFile(path(), "old");
  ASSERT_EQ(chmod(path().c_str(), 0666), 0);
  ASSERT_EQ(put(path()), "");
  struct stat status = {};
  ASSERT_EQ(stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(ResultFileTest, AnOlderTextIsRemovedAndALinkIsNotFollowed) {
  test::writeFile(path(), "old");
  test::writeFile(m_Folder.file("other"), "other");
  ResultFile status("the status", ResultFile::Streams::kTaken);
  ASSERT_EQ(status.open(path()), "");
  EXPECT_EQ(status.removeOlder(), "");
  EXPECT_FALSE(test::exists(path()));
  // None is there.
  EXPECT_EQ(status.removeOlder(), "");
  ASSERT_EQ(symlink("other", path().c_str()), 0);
  EXPECT_EQ(status.removeOlder(), "");
  EXPECT_EQ(test::readFile(m_Folder.file("other")), "other");
  EXPECT_EQ(status.write("new"), "");
  EXPECT_EQ(test::readFile(path()), "new");
}

TEST_F(ResultFileTest, TheNameOfADescriptorMeansThatDescriptor) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  EXPECT_EQ(put("/dev/fd/" + std::to_string(ends[1])), "");
  char text[4] = {};
  EXPECT_EQ(read(ends[0], text, 3), 3);
  EXPECT_STREQ(text, "new");
  close(ends[0]);
  close(ends[1]);
}

TEST_F(ResultFileTest, SomebodyElsesFileInASharedFolderIsTold) {
  ASSERT_EQ(chmod(m_Folder.path().c_str(), 01777), 0);
  test::writeFile(path(), "theirs");
  const bool isRoot = geteuid() == 0;
  const test::ForkedResult result = test::runForked([this] {
    test::dropToNobody();
    ResultFile status("the status", ResultFile::Streams::kTaken);
    return status.open(path()).find("is another user's") != std::string::npos ? 7 : 1;
  });
  // An ordinary user's test has one user alone, whose file it is.
  EXPECT_EQ(result.exitStatus, isRoot ? 7 : 1) << result.dump();
}

}  // namespace
}  // namespace halvo
