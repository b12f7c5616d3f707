#include "vpn/tools/TOLM/TOLMFrontEnd/ExclusiveRename.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/Holders.h"

namespace {

// What the two calls answer instead of being made; nothing for the calls themselves.
std::optional<int> s_renameError;
std::optional<int> s_linkError;

}  // namespace

extern "C" {

int __real_renameat2(int oldFolder, const char* oldName, int newFolder, const char* newName, unsigned flags);
int __wrap_renameat2(int oldFolder, const char* oldName, int newFolder, const char* newName, unsigned flags);
int __wrap_renameat2(int oldFolder, const char* oldName, int newFolder, const char* newName, unsigned flags) {
  if (s_renameError) {
    errno = *s_renameError;
    return -1;
  }
  return __real_renameat2(oldFolder, oldName, newFolder, newName, flags);
}

int __real_linkat(int oldFolder, const char* oldName, int newFolder, const char* newName, int flags);
int __wrap_linkat(int oldFolder, const char* oldName, int newFolder, const char* newName, int flags);
int __wrap_linkat(int oldFolder, const char* oldName, int newFolder, const char* newName, int flags) {
  if (s_linkError) {
    errno = *s_linkError;
    return -1;
  }
  return __real_linkat(oldFolder, oldName, newFolder, newName, flags);
}

}  // extern "C"

namespace halvo {
namespace {

using test::listFolder;
using test::readFile;
using test::writeFile;
using ::testing::ElementsAre;

class ExclusiveRenameTest : public ::testing::Test {
 protected:
  ExclusiveRenameTest() {
    writeFile(m_Folder.file("new"), "new");
    m_Open.reset(open(m_Folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  ~ExclusiveRenameTest() override {
    s_renameError.reset();
    s_linkError.reset();
  }

  [[nodiscard]] int rename() const { return renameExclusively(m_Open.get(), "new", "name"); }

  // What holds on every file system: a free name is given, one that is taken stays another's.
  void expectFreeAndTaken() {
    EXPECT_EQ(rename(), 0);
    EXPECT_THAT(listFolder(m_Folder.path()), ElementsAre("name"));
    writeFile(m_Folder.file("new"), "newer");
    EXPECT_EQ(rename(), EEXIST);
    EXPECT_EQ(readFile(m_Folder.file("name")), "new");
    EXPECT_EQ(readFile(m_Folder.file("new")), "newer");
  }

  test::TempFolder m_Folder;
  DescriptorHolder m_Open;
};

TEST_F(ExclusiveRenameTest, AFreeNameIsGivenAndATakenOneStaysAnothers) {
  expectFreeAndTaken();
}

TEST_F(ExclusiveRenameTest, AFileSystemThatKnowsNoSuchRenamingHasItByASecondName) {
  for (const int error : {EINVAL, ENOSYS}) {
    s_renameError = error;
    unlink(m_Folder.file("name").c_str());
    writeFile(m_Folder.file("new"), "new");
    expectFreeAndTaken();
  }
}

TEST_F(ExclusiveRenameTest, AFileSystemWithoutSecondNamesHasItByALookAhead) {
  s_renameError = EINVAL;
  s_linkError = EPERM;
  expectFreeAndTaken();
}

TEST_F(ExclusiveRenameTest, ANameThatALinkHasIsTaken) {
  ASSERT_EQ(symlink("nowhere", m_Folder.file("name").c_str()), 0);
  EXPECT_EQ(rename(), EEXIST);
  s_renameError = EINVAL;
  EXPECT_EQ(rename(), EEXIST);
  s_linkError = EPERM;
  EXPECT_EQ(rename(), EEXIST);
}

TEST_F(ExclusiveRenameTest, AnyOtherFailureIsTheSystems) {
  s_renameError = ENOSPC;
  EXPECT_EQ(rename(), ENOSPC);
  s_renameError = EINVAL;
  s_linkError = EIO;
  EXPECT_EQ(rename(), EIO);
}

}  // namespace
}  // namespace halvo
