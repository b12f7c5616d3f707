#include "vpn/Common/Utility/Directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <type_traits>
#include <vector>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"

namespace halvo {

namespace {

class DirectoryTest : public ::testing::Test {
 protected:
  void expectSilence() const { EXPECT_TRUE(m_log.records().empty()) << m_log.dump(); }

  // Opens `directory` and closes its descriptor behind its back, so that the host refuses to.
  void openUnclosable(Directory& directory) const {
    const int next = dup(0);
    ASSERT_GE(next, 0);
    ::close(next);
    ASSERT_RESULT(directory.Open(m_folder.path()), 0);
    ASSERT_EQ(::close(next), 0);
  }

  test::TempFolder m_folder;
  test::LogRecorder m_log;
};

// Sets the umask for a scope.
class ScopedUmask {
 public:
  explicit ScopedUmask(mode_t mask) : m_nOld(umask(mask)) {}
  ~ScopedUmask() { umask(m_nOld); }
  ScopedUmask(const ScopedUmask&) = delete;
  ScopedUmask& operator=(const ScopedUmask&) = delete;

 private:
  mode_t m_nOld;
};

mode_t modeOf(const std::string& path) {
  struct stat data = {};
  EXPECT_EQ(stat(path.c_str(), &data), 0) << path;
  return data.st_mode & 07777;
}

TEST_F(DirectoryTest, ClassHasNoVirtualOperations) {
  EXPECT_FALSE(std::is_polymorphic_v<Directory>);
}

TEST_F(DirectoryTest, NextGivesAllEntriesDotAndDotDotIncludedInTheHostsOrder) {
  for (const char* name : {"one", "two", ".hidden"}) {
    test::writeFile(m_folder.file(name), "");
  }
  test::makeFolders(m_folder.file("folder"));
  ResultCode rc = 1;
  Directory directory(m_folder.path(), rc);
  ASSERT_RESULT(rc, 0);
  std::vector<std::string> names;
  std::string name;
  for (ResultCode next = directory.next(name); next == 0 && names.size() < 100; next = directory.next(name)) {
    names.push_back(name);
  }
  EXPECT_EQ(names, test::readdirOrder(m_folder.path()));
  EXPECT_EQ(std::count(names.begin(), names.end(), "."), 1);
  EXPECT_EQ(std::count(names.begin(), names.end(), ".."), 1);
  EXPECT_EQ(names.size(), 6U);
  expectSilence();
}

TEST_F(DirectoryTest, NextOnAClosedObjectIsNotSpecifiedAndAtTheEndNoMoreFiles) {
  Directory directory;
  std::string name = "before";
  EXPECT_RESULT(directory.next(name), 0xfe58000aU);
  EXPECT_EQ(name, "before");

  ASSERT_RESULT(directory.Open(m_folder.path()), 0);
  EXPECT_RESULT(directory.next(name), 0);
  EXPECT_RESULT(directory.next(name), 0);
  name = "before";
  EXPECT_RESULT(directory.next(name), 0xfe58000cU);
  EXPECT_RESULT(directory.next(name), DIRECTORY_ERROR_NO_MORE_FILES);
  EXPECT_EQ(name, "before");

  ASSERT_RESULT(directory.close(), 0);
  EXPECT_RESULT(directory.next(name), DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED);
}

TEST_F(DirectoryTest, OpenOfAFileOrOfNothingIsNotFound) {
  test::writeFile(m_folder.file("file"), "x");
  Directory directory;
  EXPECT_RESULT(directory.Open(m_folder.file("file")), 0xfe58000bU);
  EXPECT_RESULT(directory.Open(m_folder.file("missing")), DIRECTORY_ERROR_DIRECTORY_NOT_FOUND);
  EXPECT_RESULT(directory.Open(m_folder.file("file/below")), DIRECTORY_ERROR_DIRECTORY_NOT_FOUND);
  ResultCode rc = 0;
  const Directory constructed(m_folder.file("file"), rc);
  EXPECT_RESULT(rc, DIRECTORY_ERROR_DIRECTORY_NOT_FOUND);
  expectSilence();
}

TEST_F(DirectoryTest, OpenOfAnEmptyPathIsNotSpecifiedAndKeepsTheOldFolderOpen) {
  Directory directory;
  EXPECT_RESULT(directory.Open(""), DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED);
  ASSERT_RESULT(directory.Open(m_folder.path()), 0);
  EXPECT_RESULT(directory.Open(""), 0xfe58000aU);
  std::string name;
  EXPECT_RESULT(directory.next(name), 0);
}

TEST_F(DirectoryTest, OpenLeavesTheFolderThatWasOpen) {
  test::writeFile(m_folder.file("sub/inside"), "");
  Directory directory;
  ASSERT_RESULT(directory.Open(m_folder.path()), 0);
  ASSERT_RESULT(directory.Open(m_folder.file("sub")), 0);
  std::vector<std::string> names(3);
  for (std::string& name : names) {
    EXPECT_RESULT(directory.next(name), 0);
  }
  EXPECT_EQ(std::count(names.begin(), names.end(), "inside"), 1);

  EXPECT_RESULT(directory.Open(m_folder.file("missing")), DIRECTORY_ERROR_DIRECTORY_NOT_FOUND);
  std::string name;
  EXPECT_RESULT(directory.next(name), DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED);
}

TEST_F(DirectoryTest, SecondCloseReturnsZeroAndDoesNothing) {
  Directory directory;
  EXPECT_RESULT(directory.close(), 0);
  ASSERT_RESULT(directory.Open(m_folder.path()), 0);
  EXPECT_RESULT(directory.close(), 0);
  EXPECT_RESULT(directory.close(), 0);
  expectSilence();
}

TEST_F(DirectoryTest, DestructorClosesTheFolder) {
  const int next = dup(0);
  ::close(next);
  {
    Directory directory;
    ASSERT_RESULT(directory.Open(m_folder.path()), 0);
  }
  const int again = dup(0);
  ::close(again);
  EXPECT_EQ(again, next);
  expectSilence();
}

TEST_F(DirectoryTest, FailureToCloseIsLoggedAndLeavesTheObjectOpen) {
  auto directory = std::make_unique<Directory>();
  openUnclosable(*directory);
  EXPECT_RESULT(directory->close(), 0xfe580009U);
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "closedir", 0xffffffffU)) << m_log.dump();
  EXPECT_EQ(m_log.records()[0].field("Function"), "close");

  std::string name;
  EXPECT_RESULT(directory->next(name), DIRECTORY_ERROR_NO_MORE_FILES);

  m_log.clear();
  EXPECT_RESULT(directory->Open(m_folder.path()), DIRECTORY_ERROR_UNEXPECTED);
  ASSERT_EQ(m_log.records().size(), 2U);
  EXPECT_EQ(m_log.records()[0].field("Invoked Function"), "closedir");
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "Directory::close", DIRECTORY_ERROR_UNEXPECTED)) << m_log.dump();
  EXPECT_EQ(m_log.records()[1].field("Function"), "Open");

  m_log.clear();
  directory.reset();
  ASSERT_EQ(m_log.records().size(), 2U);
  EXPECT_EQ(m_log.records()[0].field("Invoked Function"), "closedir");
  EXPECT_TRUE(m_log.hasReturnCode(kLogWarning, "Directory::close", DIRECTORY_ERROR_UNEXPECTED))
      << m_log.dump();
  EXPECT_EQ(m_log.records()[1].field("Function"), "~Directory");
}

TEST_F(DirectoryTest, CreateOfThreeLevelsMakesEachWithMode0770LessTheUmask) {
  const test::WorkingFolder here(m_folder.path());
  for (const mode_t mask : {mode_t{0}, mode_t{022}, mode_t{0077}}) {
    const ScopedUmask scoped(mask);
    const std::string top = "a" + std::to_string(mask);
    EXPECT_RESULT(Directory::CreateNewDirectory(top + "/b/c", true), 0);
    for (const char* below : {"", "/b", "/b/c"}) {
      EXPECT_EQ(modeOf(top + below), 0770 & ~mask) << top << below;
    }
  }
  expectSilence();
}

TEST_F(DirectoryTest, CreateTakesAnAbsolutePathAndASlashAtItsEnd) {
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.file("x/y/"), true), 0);
  EXPECT_EQ(test::listFolder(m_folder.file("x")), (std::vector<std::string>{"y"}));
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.file("v//w"), true), 0);
  EXPECT_EQ(test::listFolder(m_folder.file("v")), (std::vector<std::string>{"w"}));
  expectSilence();
}

TEST_F(DirectoryTest, CreateBelowAFolderThatExistsMakesWhatIsMissing) {
  test::makeFolders(m_folder.file("a"));
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.file("a/b"), true), 0);
  EXPECT_TRUE(test::exists(m_folder.file("a/b")));
  expectSilence();
}

TEST_F(DirectoryTest, CreateOfAFolderThatExistsIsAFailureOnlyWhereToldSo) {
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.path(), false), 0);
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.path(), true), 0xfe58000eU);
  EXPECT_RESULT(Directory::CreateNewDirectory("/", false), 0);
  expectSilence();
}

TEST_F(DirectoryTest, CreateOfAnEmptyPathIsABadParameter) {
  EXPECT_RESULT(Directory::CreateNewDirectory("", false), 0xfe580002U);
  expectSilence();
}

TEST_F(DirectoryTest, CreateThroughAPlainFileFailsAtTheLevelBehindIt) {
  test::writeFile(m_folder.file("file"), "x");
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.file("file/below/deeper"), false), 0xfe58000dU);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::CreateDirectory", ENOTDIR)) << m_log.dump();
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_EQ(m_log.records()[0].field("Function"), "CreateNewDirectory");
  EXPECT_EQ(m_log.records()[0].field("Description"), "Not a directory");
}

TEST_F(DirectoryTest, CreateInThePlaceOfAPlainFileFailsAtTheCheck) {
  test::writeFile(m_folder.file("file"), "x");
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.file("file"), false),
                DIRECTORY_ERROR_DIRECTORY_NOT_FOUND);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "Directory::Directory", DIRECTORY_ERROR_DIRECTORY_NOT_FOUND))
      << m_log.dump();
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_EQ(m_log.records()[0].field("Function"), "CreateNewDirectory");
}

TEST_F(DirectoryTest, CreateKeepsTheLevelsMadeBeforeAFailure) {
  const std::string tooLong(300, 'n');
  EXPECT_RESULT(Directory::CreateNewDirectory(m_folder.file("a/b/" + tooLong), false),
                DIRECTORY_ERROR_FAILED_TO_CREATE_DIR);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::CreateDirectory", ENAMETOOLONG)) << m_log.dump();
  EXPECT_TRUE(test::exists(m_folder.file("a/b")));
}

}  // namespace

}  // namespace halvo
