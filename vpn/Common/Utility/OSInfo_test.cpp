#include "vpn/Common/Utility/OSInfo.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace halvo {
namespace {

OSInfo makeRecord(std::int32_t family, std::int32_t major, std::int32_t minor, std::int32_t patch) {
  OSInfo record{};
  record.family = family;
  setOSInfo(record, "Some System", major, minor, patch);
  return record;
}

OSInfo mac(std::int32_t major, std::int32_t minor, std::int32_t patch) {
  return makeRecord(kFamilyMac, major, minor, patch);
}

TEST(OSInfoTest, MacTestsCompareMajorAndThenMinor) {
  struct Case {
    std::int32_t major, minor, patch;
    bool least9, least10, least11, least12, least13;
  };
  const Case cases[] = {
      {10, 8, 5, false, false, false, false, false}, {10, 9, 0, true, false, false, false, false},
      {10, 10, 3, true, true, false, false, false},  {10, 11, 6, true, true, true, false, false},
      {10, 12, 0, true, true, true, true, false},    {10, 13, 0, true, true, true, true, true},
      {10, 15, 7, true, true, true, true, true},     {11, 0, 0, true, true, true, true, true},
      {14, 2, 1, true, true, true, true, true},      {9, 13, 9, false, false, false, false, false},
      {0, 0, 0, false, false, false, false, false},
  };
  for (const Case& one : cases) {
    const OSInfo record = mac(one.major, one.minor, one.patch);
    SCOPED_TRACE(record.versionText);
    EXPECT_EQ(isMacAtLeast_10_9(record), one.least9);
    EXPECT_EQ(isMacAtLeast_10_10(record), one.least10);
    EXPECT_EQ(isMacAtLeast_10_11(record), one.least11);
    EXPECT_EQ(isMacAtLeast_10_12(record), one.least12);
    EXPECT_EQ(isMacAtLeast_10_13(record), one.least13);
  }
}

TEST(OSInfoTest, Mac10_12_0PassesTheTestForTheUnifiedLogAndMac10_11_6Fails) {
  EXPECT_TRUE(isMacAtLeast_10_12(mac(10, 12, 0)));
  EXPECT_FALSE(isMacAtLeast_10_12(mac(10, 11, 6)));
}

TEST(OSInfoTest, Mac11_0PassesTheTestFor10_13) {
  EXPECT_TRUE(isMacAtLeast_10_13(mac(11, 0, 0)));
}

TEST(OSInfoTest, OnlyTheFirstTwoReleasesOf10_9AreTheEarlyOnes) {
  EXPECT_TRUE(isMac_10_9_0or1(mac(10, 9, 0)));
  EXPECT_TRUE(isMac_10_9_0or1(mac(10, 9, 1)));
  EXPECT_FALSE(isMac_10_9_0or1(mac(10, 9, 2)));
  EXPECT_FALSE(isMac_10_9_0or1(mac(10, 10, 0)));
  EXPECT_FALSE(isMac_10_9_0or1(mac(11, 9, 0)));
  EXPECT_FALSE(isMac_10_9_0or1(makeRecord(kFamilyLinux, 10, 9, 1)));
}

TEST(OSInfoTest, MacTestsFailForOtherFamilies) {
  for (const std::int32_t family : {0, 1, 2, 3, 4, 6, 7}) {
    const OSInfo record = makeRecord(family, 12, 13, 0);
    EXPECT_FALSE(isMac(record)) << family;
    EXPECT_FALSE(isMacAtLeast_10_9(record)) << family;
    EXPECT_FALSE(isMacAtLeast_10_10(record)) << family;
    EXPECT_FALSE(isMacAtLeast_10_11(record)) << family;
    EXPECT_FALSE(isMacAtLeast_10_12(record)) << family;
    EXPECT_FALSE(isMacAtLeast_10_13(record)) << family;
  }
  EXPECT_TRUE(isMac(mac(10, 0, 0)));
}

TEST(OSInfoTest, FamilyTestsKnowTheirFamilies) {
  for (std::int32_t family = -1; family <= 8; ++family) {
    const OSInfo record = makeRecord(family, 5, 1, 0);
    EXPECT_EQ(isFamily0(record), family == 0) << family;
    EXPECT_EQ(isFamily1To4(record), family == 1 || family == 2 || family == 3 || family == 4) << family;
    EXPECT_EQ(isMac(record), family == 5) << family;
    EXPECT_EQ(isLinux(record), family == 6) << family;
    EXPECT_EQ(isFamily7(record), family == 7) << family;
    EXPECT_EQ(isFamily3NewerThan4(record), family == 3) << family;
  }
}

TEST(OSInfoTest, Family3IsNewerThan4FromMajor5On) {
  EXPECT_FALSE(isFamily3NewerThan4(makeRecord(3, 4, 9, 9)));
  EXPECT_TRUE(isFamily3NewerThan4(makeRecord(3, 5, 0, 0)));
}

TEST(OSInfoTest, Win2kIsFamily3Version5_0) {
  EXPECT_TRUE(isWin2k(makeRecord(3, 5, 0, 0)));
  EXPECT_TRUE(isWin2k(makeRecord(3, 5, 0, 4)));
  EXPECT_FALSE(isWin2k(makeRecord(3, 5, 1, 0)));
  EXPECT_FALSE(isWin2k(makeRecord(3, 6, 0, 0)));
  EXPECT_FALSE(isWin2k(makeRecord(2, 5, 0, 0)));
}

TEST(OSInfoTest, PredicatesForOtherReleasesAnswerFalseHere) {
  EXPECT_FALSE(isWin2k());
  EXPECT_FALSE(isWin2k3());
  EXPECT_FALSE(isWinXP());
  EXPECT_FALSE(isVista());
  EXPECT_FALSE(isWin7());
  EXPECT_FALSE(isWin8());
  EXPECT_FALSE(isFamily0());
  EXPECT_FALSE(isFamily1To4());
  EXPECT_FALSE(isFamily3NewerThan4());
  EXPECT_FALSE(isFamily7());
}

TEST(OSInfoTest, PredicatesWithoutArgumentTestARecordOfTheHost) {
  OSInfo record;
  getOSInfo(record);
  EXPECT_EQ(isMac(), isMac(record));
  EXPECT_EQ(isLinux(), isLinux(record));
  EXPECT_NE(isMac(), isLinux());
  EXPECT_EQ(isMacAtLeast_10_9(), isMacAtLeast_10_9(record));
  EXPECT_EQ(isMacAtLeast_10_10(), isMacAtLeast_10_10(record));
  EXPECT_EQ(isMacAtLeast_10_11(), isMacAtLeast_10_11(record));
  EXPECT_EQ(isMac_10_9_0or1(), isMac_10_9_0or1(record));
  EXPECT_EQ(isMacAtLeast_10_12(), isMacAtLeast_10_12(record));
  EXPECT_EQ(isMacAtLeast_10_13(), isMacAtLeast_10_13(record));
}

TEST(OSInfoTest, NameIsCutTo63CharactersAndVersionTextHoldsTheThreeNumbers) {
  OSInfo record{};
  setOSInfo(record, std::string(80, 'n').c_str(), 10, 4, -1);
  EXPECT_EQ(std::string(record.name), std::string(63, 'n'));
  EXPECT_STREQ(record.versionText, "10.4.-1");
  EXPECT_EQ(record.major, 10);
  EXPECT_EQ(record.minor, 4);
  EXPECT_EQ(record.patch, -1);
}

TEST(OSInfoTest, TextsAreCutToTheCallersBuffer) {
  OSInfo record;
  getOSInfo(record);
  char whole[256];
  getOSName(whole, sizeof(whole));
  EXPECT_STREQ(whole, record.name);
  getOSVersionText(whole, sizeof(whole));
  EXPECT_STREQ(whole, record.versionText);

  char small[4] = {'#', '#', '#', '#'};
  getOSName(small, 3);
  EXPECT_EQ(std::string(small), std::string(record.name).substr(0, 2));
  EXPECT_EQ(small[3], '#');
  getOSVersionText(small, 3);
  EXPECT_EQ(std::string(small), std::string(record.versionText).substr(0, 2));
  EXPECT_EQ(small[3], '#');
  small[0] = '#';
  getOSName(small, 0);
  EXPECT_EQ(small[0], '#');
}

// The readers of the version tests below; a reading takes a plain function.
std::atomic<int> s_nReadings{0};

std::optional<std::string> readNothing() {
  ++s_nReadings;
  return std::nullopt;
}
std::optional<std::string> read10_12_6() {
  ++s_nReadings;
  return "10.12.6";
}
std::optional<std::string> read10_10() {
  return "10.10";
}
std::optional<std::string> readNoNumber() {
  return "Version 10";
}
std::optional<std::string> readOf31() {
  return "10.12.6" + std::string(24, ' ');
}
std::optional<std::string> readOf32() {
  return "10.12.6" + std::string(25, ' ');
}

TEST(SystemVersionTest, FirstPlaceThatDiffersDecides) {
  SystemVersion version(&read10_12_6);
  EXPECT_TRUE(version.isAtLeast(9, 99, 99));
  EXPECT_FALSE(version.isAtLeast(11, 0, 0));
  EXPECT_TRUE(version.isAtLeast(10, 11, 99));
  EXPECT_FALSE(version.isAtLeast(10, 13, 0));
  EXPECT_TRUE(version.isAtLeast(10, 12, 5));
  EXPECT_TRUE(version.isAtLeast(10, 12, 6));
  EXPECT_FALSE(version.isAtLeast(10, 12, 7));
}

TEST(SystemVersionTest, VersionOfTwoNumbersLeavesTheThirdAtZero) {
  SystemVersion version(&read10_10);
  EXPECT_TRUE(version.isAtLeast(10, 10, 0));
  EXPECT_FALSE(version.isAtLeast(10, 10, 1));
}

TEST(SystemVersionTest, ListWithoutProductVersionIsBelow10_10_0) {
  SystemVersion version(&readNothing);
  EXPECT_FALSE(version.isAtLeast(10, 10, 0));
  EXPECT_FALSE(version.isAtLeast(0, 0, 1));
}

TEST(SystemVersionTest, UnreadableVersionIsAtLeast0_0_0) {
  SystemVersion version(&readNothing);
  EXPECT_TRUE(version.isAtLeast(0, 0, 0));
}

TEST(SystemVersionTest, TextWithoutNumberLeavesZero) {
  SystemVersion version(&readNoNumber);
  EXPECT_TRUE(version.isAtLeast(0, 0, 0));
  EXPECT_FALSE(version.isAtLeast(0, 0, 1));
}

TEST(SystemVersionTest, TextThatDoesNotFit32BytesWithItsEndLeavesZero) {
  SystemVersion fitting(&readOf31);
  EXPECT_TRUE(fitting.isAtLeast(10, 12, 6));
  SystemVersion tooLong(&readOf32);
  EXPECT_FALSE(tooLong.isAtLeast(0, 0, 1));
}

TEST(SystemVersionTest, VersionIsReadOnceAtTheFirstQuestionByWhicheverThread) {
  s_nReadings = 0;
  SystemVersion version(&read10_12_6);
  EXPECT_EQ(s_nReadings, 0);
  std::atomic<int> yes{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] { yes += version.isAtLeast(10, 12, 0) ? 1 : 0; });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(yes, 8);
  EXPECT_EQ(s_nReadings, 1);
}

TEST(SystemVersionTest, FailedReadingIsNotRepeated) {
  s_nReadings = 0;
  SystemVersion version(&readNothing);
  EXPECT_FALSE(version.isAtLeast(1, 0, 0));
  EXPECT_FALSE(version.isAtLeast(1, 0, 0));
  EXPECT_EQ(s_nReadings, 1);
}

TEST(SystemVersionTest, CheckOfTheHostIsTrueFor0_0_0) {
  EXPECT_TRUE(isSystemVersionAtLeast(0, 0, 0));
  EXPECT_FALSE(isSystemVersionAtLeast(1000, 0, 0));
  EXPECT_EQ(isSystemVersionAtLeast(10, 10, 0), isMac() && isMacAtLeast_10_10());
}

}  // namespace
}  // namespace halvo
