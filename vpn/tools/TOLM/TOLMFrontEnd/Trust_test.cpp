#include "vpn/tools/TOLM/TOLMFrontEnd/Trust.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

struct stat statusOf(uid_t owner, mode_t mode) {
  struct stat status = {};
  status.st_uid = owner;
  status.st_mode = mode;
  return status;
}

TEST(TrustTest, WhatRootAloneCanWriteToIsTrustedByEveryone) {
  for (const uid_t user : {0U, 1000U}) {
    EXPECT_EQ(trustProblem("/d", statusOf(0, S_IFDIR | 0755), TrustingUser(user), false), "");
    EXPECT_EQ(trustProblem("/d/x", statusOf(0, S_IFREG | 0644), TrustingUser(user), false), "");
  }
}

TEST(TrustTest, OnesOwnFilesAreTrustedByOneselfAndNotByRoot) {
  EXPECT_EQ(trustProblem("/d", statusOf(1000, S_IFDIR | 0755), TrustingUser(1000), false), "");
  EXPECT_THAT(trustProblem("/d", statusOf(1000, S_IFDIR | 0755), TrustingUser(0), false),
              HasSubstr("who owns it, can write to \"/d\" (mode 0755)"));
  EXPECT_THAT(trustProblem("/d", statusOf(1001, S_IFDIR | 0755), TrustingUser(1000), false),
              HasSubstr("as root, chown root \"/d\""));
}

TEST(TrustTest, WhatAGroupOrEverybodyCanWriteToIsNotTrusted) {
  EXPECT_THAT(trustProblem("/d", statusOf(0, S_IFREG | 0664), TrustingUser(0), false),
              AllOf(HasSubstr("its group can write to \"/d\""), HasSubstr("chmod go-w \"/d\"")));
  EXPECT_THAT(trustProblem("/d", statusOf(0, S_IFREG | 0646), TrustingUser(1000), false),
              HasSubstr("every user can write"));
}

TEST(TrustTest, AFolderAboveMayKeepUsersApart) {
  const struct stat shared = statusOf(0, S_IFDIR | S_ISVTX | 0777);
  EXPECT_EQ(trustProblem("/tmp", shared, TrustingUser(0), true), "");
  EXPECT_NE(trustProblem("/tmp", shared, TrustingUser(0), false), "");
}

TEST(TrustTest, WhereStrangersAreOneTheOwnerOfFoldersAboveIsBorne) {
  TrustingUser user(1000);
  EXPECT_NE(trustProblem("/", statusOf(65534, S_IFDIR | 0755), user, true), "");
  user.hasStrangers = true;
  EXPECT_EQ(trustProblem("/", statusOf(65534, S_IFDIR | 0755), user, true), "");
  EXPECT_NE(trustProblem("/d", statusOf(65534, S_IFDIR | 0755), user, false), "");
  EXPECT_NE(trustProblem("/", statusOf(65534, S_IFDIR | 0777), user, true), "");
}

class DocumentTrustTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::makeFolders(folder());
    test::writeFile(folder() + "a.xml", "<a/>");
    test::writeFile(folder() + "notes.txt", "x");
    chmod(folder().c_str(), 0755);
    chmod((folder() + "a.xml").c_str(), 0644);
  }
  [[nodiscard]] std::string folder() const { return m_Folder.file("config/"); }
  test::TempFolder m_Folder;
};

TEST_F(DocumentTrustTest, GoodDocumentsAreTrusted) {
  EXPECT_EQ(documentTrustProblem(folder()), "");
  EXPECT_EQ(documentTrustProblem(m_Folder.file("none")), "");
}

TEST_F(DocumentTrustTest, ADocumentThatOthersCanWriteToIsNamed) {
  chmod((folder() + "a.xml").c_str(), 0666);
  EXPECT_THAT(documentTrustProblem(folder()), HasSubstr("\"" + folder() + "a.xml\" (mode 0666)"));
}

TEST_F(DocumentTrustTest, WhatIsNoDocumentDoesNotMatter) {
  chmod((folder() + "notes.txt").c_str(), 0666);
  EXPECT_EQ(documentTrustProblem(folder()), "");
}

TEST_F(DocumentTrustTest, WhatARunDoesNotReadDoesNotMatter) {
  ASSERT_EQ(symlink("/dev/zero", (folder() + "device.xml").c_str()), 0);
  ASSERT_EQ(mkfifo((folder() + "pipe.xml").c_str(), 0600), 0);
  ASSERT_EQ(chmod((folder() + "pipe.xml").c_str(), 0666), 0);
  EXPECT_EQ(documentTrustProblem(folder()), "");
}

TEST_F(DocumentTrustTest, TheFolderAndThoseAboveCount) {
  chmod(folder().c_str(), 01777);
  EXPECT_THAT(documentTrustProblem(folder()), HasSubstr("/config\" (mode 1777)"));
  chmod(folder().c_str(), 0755);
  chmod(m_Folder.path().c_str(), 0770);
  EXPECT_THAT(documentTrustProblem(folder()), HasSubstr("\"" + m_Folder.path() + "\" (mode 0770)"));
}

TEST_F(DocumentTrustTest, TheWayThatALinkLeadsCounts) {
  test::writeFile(m_Folder.file("elsewhere/b.xml"), "<a/>");
  chmod(m_Folder.file("elsewhere/b.xml").c_str(), 0644);
  chmod(m_Folder.file("elsewhere").c_str(), 0755);
  ASSERT_EQ(symlink(m_Folder.file("elsewhere/b.xml").c_str(), (folder() + "b.xml").c_str()), 0);
  EXPECT_EQ(documentTrustProblem(folder()), "");
  chmod(m_Folder.file("elsewhere").c_str(), 0777);
  EXPECT_THAT(documentTrustProblem(folder()), HasSubstr("/elsewhere\" (mode 0777)"));
}

}  // namespace
}  // namespace halvo
