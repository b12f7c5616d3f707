#include "vpn/Common/Utility/OSInfo_darwin.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "tests/macos/platform/Control.h"
#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace {

// The file that stands in the place of the system's list, which no test can write.
std::string s_systemList;

}  // namespace

// What the streams of the C++ library open files by.
extern "C" FILE* fopen64(const char* path, const char* mode) {
  using Open = FILE*(const char*, const char*);
  static Open* const s_open = reinterpret_cast<Open*>(dlsym(RTLD_NEXT, "fopen64"));
  const bool isList = std::strcmp(path, "/System/Library/CoreServices/SystemVersion.plist") == 0;
  return s_open(isList && !s_systemList.empty() ? s_systemList.c_str() : path, mode);
}

namespace halvo {
namespace {

namespace platform = test::platform;

class OSInfoDarwinTest : public ::testing::Test {
 protected:
  OSInfoDarwinTest() { platform::reset(); }

  // What is read of a version list with these entries.
  static std::optional<std::string> versionIn(const std::string& entries) {
    const test::TempFolder folder;
    const std::string path = folder.path() + "/SystemVersion.plist";
    test::writeFile(path, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" +
                              entries + "</dict></plist>\n");
    return productVersionIn(path.c_str());
  }
};

TEST_F(OSInfoDarwinTest, RecordHoldsTheNumbersOfGestalt) {
  platform::setVersion(10, 12, 6);
  OSInfo record;
  std::memset(&record, 0x7f, sizeof(record));
  getOSInfo(record);
  EXPECT_EQ(record.family, kFamilyMac);
  EXPECT_STREQ(record.name, "Mac OS X");
  EXPECT_EQ(record.major, 10);
  EXPECT_EQ(record.minor, 12);
  EXPECT_EQ(record.patch, 6);
  EXPECT_STREQ(record.versionText, "10.12.6");
}

TEST_F(OSInfoDarwinTest, NumberThatGestaltDoesNotKnowIsZero) {
  platform::setVersion(10, std::nullopt, std::nullopt);
  OSInfo record;
  getOSInfo(record);
  EXPECT_STREQ(record.versionText, "10.0.0");
}

TEST_F(OSInfoDarwinTest, RecordIsMadeAnewAtEachQuestion) {
  platform::setVersion(10, 11, 6);
  EXPECT_FALSE(isMacAtLeast_10_12());
  platform::setVersion(10, 12, 0);
  EXPECT_TRUE(isMacAtLeast_10_12());
}

struct Version {
  std::int32_t numbers[3];
  bool atLeast_10_9, atLeast_10_10, atLeast_10_11, atLeast_10_12, atLeast_10_13, early_10_9;
};

TEST_F(OSInfoDarwinTest, VersionTestsFollowTheNumbersOfGestalt) {
  const Version versions[] = {
      {{10, 9, 1}, true, false, false, false, false, true},
      {{10, 9, 2}, true, false, false, false, false, false},
      {{10, 11, 6}, true, true, true, false, false, false},
      {{10, 12, 0}, true, true, true, true, false, false},
      {{10, 13, 0}, true, true, true, true, true, false},
      {{11, 0, 0}, true, true, true, true, true, false},
      {{9, 99, 0}, false, false, false, false, false, false},
  };
  for (const Version& version : versions) {
    platform::setVersion(version.numbers[0], version.numbers[1], version.numbers[2]);
    const std::string name = std::to_string(version.numbers[0]) + "." + std::to_string(version.numbers[1]);
    EXPECT_EQ(isMacAtLeast_10_9(), version.atLeast_10_9) << name;
    EXPECT_EQ(isMacAtLeast_10_10(), version.atLeast_10_10) << name;
    EXPECT_EQ(isMacAtLeast_10_11(), version.atLeast_10_11) << name;
    EXPECT_EQ(isMacAtLeast_10_12(), version.atLeast_10_12) << name;
    EXPECT_EQ(isMacAtLeast_10_13(), version.atLeast_10_13) << name;
    EXPECT_EQ(isMac_10_9_0or1(), version.early_10_9) << name;
  }
}

TEST_F(OSInfoDarwinTest, OtherPredicatesAreConstantHere) {
  EXPECT_TRUE(isMac());
  for (const bool answer : {isFamily0(), isFamily1To4(), isFamily3NewerThan4(), isWin2k(), isLinux(),
                            isFamily7(), isWin2k3(), isWinXP(), isVista(), isWin7(), isWin8()}) {
    EXPECT_FALSE(answer);
  }
}

TEST_F(OSInfoDarwinTest, NameAndVersionTextAreCutToTheBuffer) {
  platform::setVersion(10, 15, 7);
  char text[6];
  getOSName(text, sizeof(text));
  EXPECT_STREQ(text, "Mac O");
  getOSVersionText(text, sizeof(text));
  EXPECT_STREQ(text, "10.15");
}

TEST_F(OSInfoDarwinTest, VersionOfTheListIsItsProductVersion) {
  EXPECT_EQ(versionIn("<key>ProductName</key><string>macOS</string>"
                      "<key>ProductVersion</key><string>10.12.6</string>"),
            "10.12.6");
  EXPECT_EQ(versionIn("<key>ProductVersion</key><string>11.0</string>"), "11.0");
}

TEST_F(OSInfoDarwinTest, ListWithoutTheKeyOrWithAnotherTypeGivesNothing) {
  EXPECT_EQ(versionIn("<key>ProductName</key><string>macOS</string>"), std::nullopt);
  EXPECT_EQ(versionIn("<key>ProductVersion</key><integer>10</integer>"), std::nullopt);
  EXPECT_EQ(versionIn("<key>ProductVersion</key><string>" + std::string(32, '1') + "</string>"),
            std::nullopt);
  EXPECT_EQ(versionIn("<key>ProductVersion</key><string>" + std::string(31, '1') + "</string>"),
            std::string(31, '1'));
}

TEST_F(OSInfoDarwinTest, ListThatIsMissingOrNoPropertyListGivesNothing) {
  const test::TempFolder folder;
  EXPECT_EQ(productVersionIn((folder.path() + "/none").c_str()), std::nullopt);
  test::writeFile(folder.path() + "/empty", "");
  EXPECT_EQ(productVersionIn((folder.path() + "/empty").c_str()), std::nullopt);
  test::writeFile(folder.path() + "/array", "<?xml version=\"1.0\"?>\n<plist><array/></plist>");
  EXPECT_EQ(productVersionIn((folder.path() + "/array").c_str()), std::nullopt);
}

TEST_F(OSInfoDarwinTest, DataOrKeyThatCannotBeMadeGivesNothing) {
  for (const char* call : {"CFDataCreateWithBytesNoCopy", "CFStringCreateWithCStringNoCopy"}) {
    platform::failNext(call);
    EXPECT_EQ(versionIn("<key>ProductVersion</key><string>11.0</string>"), std::nullopt) << call;
    EXPECT_FALSE(platform::fails(call)) << "not called";
  }
}

TEST_F(OSInfoDarwinTest, VersionOfTheSystemStandsInItsOwnList) {
  const test::TempFolder folder;
  test::writeFile(folder.path() + "/list",
                  "<?xml version=\"1.0\"?>\n<plist version=\"1.0\"><dict>"
                  "<key>ProductVersion</key><string>12.3</string></dict></plist>\n");
  s_systemList = folder.path() + "/list";
  EXPECT_EQ(readProductVersion(), "12.3");
  SystemVersion version(&readProductVersion);
  EXPECT_TRUE(version.isAtLeast(12, 3, 0));
  EXPECT_FALSE(version.isAtLeast(12, 3, 1));
  s_systemList.clear();
  EXPECT_EQ(readProductVersion(), std::nullopt);
}

TEST_F(OSInfoDarwinTest, ReadingLeavesNoObjectBehind) {
  const long before = platform::ownedObjects();
  EXPECT_EQ(versionIn("<key>ProductVersion</key><string>10.12.6</string>"), "10.12.6");
  EXPECT_EQ(versionIn("<key>ProductName</key><string>macOS</string>"), std::nullopt);
  EXPECT_EQ(platform::ownedObjects(), before);
}

}  // namespace
}  // namespace halvo
