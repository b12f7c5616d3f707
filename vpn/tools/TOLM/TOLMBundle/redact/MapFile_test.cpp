#include "vpn/tools/TOLM/TOLMBundle/redact/MapFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {
namespace {

TEST(MapFileTest, AMapIsForItsOwnerAlone) {
  const test::TempFolder temp;
  test::writeFile(temp.file("map"), "");
  ASSERT_EQ(0, chmod(temp.file("map").c_str(), 0666));
  ASSERT_EQ("", saveMap(temp.file("map"), StandIns()));
  struct stat status = {};
  ASSERT_EQ(0, stat(temp.file("map").c_str(), &status));
  EXPECT_EQ(0600U, status.st_mode & 07777U);
}

TEST(MapFileTest, AMapIsTakenOverAndAMissingOneIsNoFailure) {
  const test::TempFolder temp;
  const StandIns first;
  ASSERT_EQ("", saveMap(temp.file("map"), first));
  StandIns second;
  EXPECT_EQ("", loadMap(temp.file("none"), second));
  ASSERT_EQ("", loadMap(temp.file("map"), second));
  EXPECT_EQ(first.label(RedactKind::kUser, "x"), second.label(RedactKind::kUser, "x"));
}

TEST(MapFileTest, WhatCantBeReadOrWrittenIsTold) {
  const test::TempFolder temp;
  StandIns standIns;
  test::writeFile(temp.file("map"), "hello\n");
  EXPECT_THAT(loadMap(temp.file("map"), standIns), testing::HasSubstr("line 1"));
  EXPECT_THAT(loadMap(temp.path(), standIns), testing::HasSubstr(temp.path()));
  EXPECT_THAT(saveMap(temp.file("none/map"), standIns), testing::HasSubstr("none/map"));
  std::string text;
  EXPECT_THAT(readTextFile(temp.file("map"), 3, text), testing::HasSubstr("too long"));
}

}  // namespace
}  // namespace halvo
