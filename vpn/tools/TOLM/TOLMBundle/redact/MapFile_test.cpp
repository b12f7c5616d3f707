#include "vpn/tools/TOLM/TOLMBundle/redact/MapFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <future>
#include <memory>
#include <thread>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"
#include "vpn/tools/TOLM/TOLMBundle/redact/StandIns.h"

namespace halvo {
namespace {

TEST(MapFileTest, AMapIsTakenOverAndAMissingOneIsNoFailure) {
  const test::TempFolder temp;
  const StandIns first;
  test::writeFile(temp.file("map"), first.save());
  StandIns second;
  EXPECT_EQ("", loadMap(temp.file("none"), second));
  ASSERT_EQ("", loadMap(temp.file("map"), second));
  EXPECT_EQ(first.label(RedactKind::kUser, "x"), second.label(RedactKind::kUser, "x"));
}

TEST(MapFileTest, WhatCantBeReadIsTold) {
  const test::TempFolder temp;
  StandIns standIns;
  test::writeFile(temp.file("map"), "hello\n");
  EXPECT_THAT(loadMap(temp.file("map"), standIns), testing::HasSubstr("line 1"));
  EXPECT_THAT(loadMap(temp.path(), standIns), testing::HasSubstr(temp.path()));
  std::string text;
  EXPECT_THAT(readTextFile(temp.file("map"), 3, text), testing::HasSubstr("too long"));
}

// In a folder of others: the link led to a file of root's, and the pipe held the program for ever.
TEST(MapFileTest, ALinkAndAPipeAreNoMaps) {
  const test::TempFolder temp;
  StandIns standIns;
  test::writeFile(temp.file("map"), standIns.save());
  ASSERT_EQ(symlink(temp.file("map").c_str(), temp.file("link").c_str()), 0);
  ASSERT_EQ(mkfifo(temp.file("pipe").c_str(), 0600), 0);
  EXPECT_EQ(loadMap(temp.file("link"), standIns), temp.file("link") + ": it is a link, and no map");
  EXPECT_EQ(loadMap(temp.file("pipe"), standIns), temp.file("pipe") + ": it is no file");
}

TEST(MapLockTest, ASecondTakerWaitsForTheFirstAndNothingIsLeft) {
  const test::TempFolder temp;
  auto first = std::make_unique<MapLock>();
  ASSERT_EQ("", first->take(temp.file("map"), [] { ADD_FAILURE() << "nobody else has it"; }));
  std::promise<void> waits;
  std::atomic<bool> isFree = false;
  std::thread second([&temp, &waits, &isFree] {
    MapLock lock;
    EXPECT_EQ("", lock.take(temp.file("map"), [&waits] { waits.set_value(); }));
    EXPECT_TRUE(isFree);
  });
  waits.get_future().wait();
  isFree = true;
  first.reset();
  second.join();
  EXPECT_TRUE(std::filesystem::is_empty(temp.path()));
}

TEST(MapLockTest, OneThatAKilledProgramLeftIsInNobodysWay) {
  const test::TempFolder temp;
  test::writeFile(temp.file(".map.lock"), "");
  MapLock lock;
  EXPECT_EQ("", lock.take(temp.file("map"), [] { ADD_FAILURE() << "nobody has it"; }));
}

TEST(MapLockTest, TheLongestNameCanBeLockedAndAMissingFolderIsTold) {
  const test::TempFolder temp;
  MapLock lock;
  EXPECT_EQ("", lock.take(temp.file(std::string(255, 'm')), [] {}));
  MapLock other;
  EXPECT_EQ(other.take(temp.file("no/map"), [] {}),
            temp.file("no/map") + ": it can't be locked: No such file or directory");
}

}  // namespace
}  // namespace halvo
