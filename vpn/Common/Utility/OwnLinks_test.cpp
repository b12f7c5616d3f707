#include "vpn/Common/Utility/OwnLinks.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "tests/support/Files.h"
#include "tests/support/Privileges.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

namespace fs = std::filesystem;
using test::TempFolder;

class OwnLinksTest : public ::testing::Test {
 protected:
  OwnLinksTest() { test::writeFile(at("real/deep/file"), "x"); }

  [[nodiscard]] std::string at(const std::string& name) const { return m_Folder.file(name); }
  void link(const std::string& target, const std::string& name) {
    ASSERT_EQ(symlink(target.c_str(), at(name).c_str()), 0);
  }
  // Whether the path leads to the folder that holds the file.
  [[nodiscard]] bool leadsThere(const std::string& path) const {
    const DescriptorHolder folder = openFolderByOwnLinks(path);
    struct stat opened;
    struct stat meant;
    return folder && fstat(folder.get(), &opened) == 0 && stat(at("real/deep").c_str(), &meant) == 0 &&
           opened.st_ino == meant.st_ino && opened.st_dev == meant.st_dev &&
           faccessat(folder.get(), "file", R_OK, 0) == 0;
  }
  static int errorOf(const std::string& path) {
    errno = 0;
    const DescriptorHolder folder = openFolderByOwnLinks(path);
    EXPECT_FALSE(folder) << path;
    return errno;
  }

  TempFolder m_Folder;
};

TEST_F(OwnLinksTest, APathWithoutLinksOpensAsItStands) {
  EXPECT_TRUE(leadsThere(at("real/deep")));
  EXPECT_TRUE(leadsThere(at("real/deep/")));
  EXPECT_TRUE(leadsThere(at("real//./deep/../deep//")));
}

TEST_F(OwnLinksTest, APathThatBeginsHereOpensFromHere) {
  const fs::path before = fs::current_path();
  fs::current_path(at("real"));
  EXPECT_TRUE(leadsThere("deep"));
  EXPECT_TRUE(leadsThere("../real/deep"));
  fs::current_path(at("real/deep"));
  EXPECT_TRUE(leadsThere("."));
  fs::current_path(before);
}

TEST_F(OwnLinksTest, OnesOwnLinksAreFollowedWhereverTheyLead) {
  link(at("real"), "whole");
  link("real/deep", "relative");
  link("../whole/deep/", "real/up");
  link("relative", "chain");
  EXPECT_TRUE(leadsThere(at("whole/deep")));
  EXPECT_TRUE(leadsThere(at("relative")));
  EXPECT_TRUE(leadsThere(at("relative/")));
  EXPECT_TRUE(leadsThere(at("whole/up/")));
  EXPECT_TRUE(leadsThere(at("chain/../deep")));
}

TEST_F(OwnLinksTest, OneMayGoThroughAFolderThatOneMayNotList) {
  const test::WithoutFileOverride ordinary;
  chmod(at("real").c_str(), 0311);
  EXPECT_TRUE(leadsThere(at("real/deep")));
  chmod(at("real").c_str(), 0711);
}

TEST_F(OwnLinksTest, AFolderThatMayNotBeListedIsAFailure) {
  const test::WithoutFileOverride ordinary;
  chmod(at("real/deep").c_str(), 0311);
  EXPECT_EQ(errorOf(at("real/deep")), EACCES);
  chmod(at("real/deep").c_str(), 0711);
}

TEST_F(OwnLinksTest, WhatIsNoFolderIsAFailure) {
  link("nowhere", "dangling");
  EXPECT_EQ(errorOf(""), ENOENT);
  EXPECT_EQ(errorOf(at("none")), ENOENT);
  EXPECT_EQ(errorOf(at("none/deep")), ENOENT);
  EXPECT_EQ(errorOf(at("dangling")), ENOENT);
  EXPECT_EQ(errorOf(at("real/deep/file")), ENOTDIR);
  EXPECT_EQ(errorOf(at("real/deep/file/x")), ENOTDIR);
  EXPECT_EQ(errorOf(at(std::string(300, 'x'))), ENAMETOOLONG);
}

TEST_F(OwnLinksTest, LinksThatLeadInACircleAreAFailure) {
  link("b", "a");
  link("a", "b");
  EXPECT_EQ(errorOf(at("a")), ELOOP);
}

TEST_F(OwnLinksTest, FortyLinksAreFollowedAndNotOneMore) {
  link("real/deep", "l1");
  for (int i = 2; i <= 41; ++i) {
    link("l" + std::to_string(i - 1), "l" + std::to_string(i));
  }
  EXPECT_TRUE(leadsThere(at("l40")));
  EXPECT_EQ(errorOf(at("l41")), ELOOP);
}

TEST_F(OwnLinksTest, NoDescriptorIsLeftOpen) {
  link("real", "whole");
  const auto count = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  const auto before = count();
  for (int i = 0; i < 20; ++i) {
    EXPECT_TRUE(leadsThere(at("whole/deep")));
    EXPECT_EQ(errorOf(at("whole/none")), ENOENT);
  }
  EXPECT_EQ(count(), before);
}

// A second user can be had by root alone: ./test runs as root what is called so.
class TwoUsersOwnLinksTest : public OwnLinksTest {
 protected:
  void SetUp() override {
    ASSERT_EQ(geteuid(), 0U) << "run this as root, as ./test does";
    OwnLinksTest::SetUp();
  }
};

TEST_F(TwoUsersOwnLinksTest, ALinkThatAnotherUserHasMadeIsNotFollowed) {
  link("real", "planted");
  link(at("planted/deep"), "own");
  ASSERT_EQ(lchown(at("planted").c_str(), 1234, 1234), 0);
  EXPECT_EQ(errorOf(at("planted/deep")), EPERM);
  EXPECT_EQ(errorOf(at("own")), EPERM);
  EXPECT_EQ(errorOf(at("planted")), EPERM);
}

TEST_F(TwoUsersOwnLinksTest, AnotherUsersFolderIsOpenedAsItStands) {
  ASSERT_EQ(chown(at("real").c_str(), 1234, 1234), 0);
  link("deep", "real/root");
  EXPECT_TRUE(leadsThere(at("real/deep")));
  EXPECT_TRUE(leadsThere(at("real/root")));
}

}  // namespace
}  // namespace halvo
