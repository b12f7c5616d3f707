#include "vpn/tools/TOLM/TOLMFrontEnd/Trust.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>

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

// A map that knew any user less than all had root's folders in the hands of "nobody", who is a user of his
// own where the map holds his number.
TEST(TrustTest, StrangersAreOneOnlyWhereThatOneIsNoUserOfTheNamespace) {
  const struct {
    const char* map;
    bool strangers;
  } maps[] = {{"0 0 4294967295\n", false},
              {"0 1000 1\n", true},
              {"0 0 65536\n", false},
              {"0 0 65534\n", true},
              {"65534 0 1\n", false},
              {"0 1000 1\n1 100000 65536\n", false},
              {"0 1000 1\n70000 100000 65536\n", true},
              {"", false}};
  for (const auto& one : maps) {
    std::istringstream map(one.map);
    EXPECT_EQ(standsForStrangers(map, 65534), one.strangers) << one.map;
  }
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

// A second user can be had by root alone: ./test runs as root what is called so.
class TwoUsersTrustTest : public DocumentTrustTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0U) << "run this as root, as ./test does";
    DocumentTrustTest::SetUp();
  }
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

// Only the two ends of a chain of links were looked at.
TEST_F(DocumentTrustTest, EveryFolderThatAChainOfLinksLeadsThroughCounts) {
  test::writeFile(m_Folder.file("good/b.xml"), "<a/>");
  chmod(m_Folder.file("good/b.xml").c_str(), 0644);
  test::makeFolders(m_Folder.file("theirs"));
  ASSERT_EQ(symlink("../good/b.xml", m_Folder.file("theirs/hop").c_str()), 0);
  ASSERT_EQ(symlink("../good/../theirs/hop", (folder() + "b.xml").c_str()), 0);
  EXPECT_EQ(documentTrustProblem(folder()), "");
  chmod(m_Folder.file("theirs").c_str(), 0777);
  EXPECT_THAT(documentTrustProblem(folder()), HasSubstr("/theirs\" (mode 0777)"));
}

TEST_F(DocumentTrustTest, SoDoesOneThatTheWayToTheFolderLeadsThrough) {
  test::makeFolders(m_Folder.file("theirs"));
  ASSERT_EQ(symlink(m_Folder.file("config").c_str(), m_Folder.file("theirs/hop").c_str()), 0);
  ASSERT_EQ(symlink(m_Folder.file("theirs/hop").c_str(), m_Folder.file("halvo").c_str()), 0);
  EXPECT_EQ(documentTrustProblem(m_Folder.file("halvo/")), "");
  chmod(m_Folder.file("theirs").c_str(), 0777);
  EXPECT_THAT(documentTrustProblem(m_Folder.file("halvo/")), HasSubstr("/theirs\" (mode 0777)"));
}

// A link that led nowhere was passed over, and somebody made its target while the run waited for another.
TEST_F(DocumentTrustTest, OfALinkThatLeadsNowhereThoseCountWhoCouldMakeItsTarget) {
  test::makeFolders(m_Folder.file("theirs"));
  ASSERT_EQ(symlink(m_Folder.file("theirs/none.xml").c_str(), (folder() + "b.xml").c_str()), 0);
  EXPECT_EQ(documentTrustProblem(folder()), "");
  // One that keeps its users apart too: a new entry is anybody's.
  chmod(m_Folder.file("theirs").c_str(), 01777);
  EXPECT_THAT(documentTrustProblem(folder()), HasSubstr("/theirs\" (mode 1777)"));
}

TEST_F(DocumentTrustTest, LinksInACircleLeadNowhere) {
  ASSERT_EQ(symlink("b.xml", (folder() + "c.xml").c_str()), 0);
  ASSERT_EQ(symlink("c.xml", (folder() + "b.xml").c_str()), 0);
  EXPECT_EQ(documentTrustProblem(folder()), "");
}

// In a folder that keeps its users apart a link belongs to whoever made it.
TEST_F(TwoUsersTrustTest, ALinkOfSomebodyElsesIsNotTrusted) {
  test::makeFolders(m_Folder.file("shared"));
  chmod(m_Folder.path().c_str(), 0755);
  chmod(m_Folder.file("shared").c_str(), 01777);
  ASSERT_EQ(symlink("../config", m_Folder.file("shared/link").c_str()), 0);
  EXPECT_EQ(documentTrustProblem(m_Folder.file("shared/link")), "");
  ASSERT_EQ(lchown(m_Folder.file("shared/link").c_str(), 1234, 1234), 0);
  EXPECT_THAT(documentTrustProblem(m_Folder.file("shared/link")),
              AllOf(HasSubstr("who owns it, can write to"), HasSubstr("chown -h root \"")));
}

}  // namespace
}  // namespace halvo
