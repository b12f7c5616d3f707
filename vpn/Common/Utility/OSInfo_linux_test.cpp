#include "vpn/Common/Utility/OSInfo_linux.h"

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/TempFolder.h"

namespace halvo {
namespace {

OSInfo recordOf(const std::string& text) {
  OSInfo record;
  std::memset(&record, 0x7f, sizeof(record));
  fillFromOsRelease(text, record);
  return record;
}

TEST(OSInfoLinuxTest, NameAndNumbersComeFromTheReleaseFile) {
  const OSInfo record = recordOf(
      "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nNAME=\"Debian GNU/Linux\"\nVERSION_ID=\"12\"\n"
      "VERSION=\"12 (bookworm)\"\nID=debian\n");
  EXPECT_EQ(record.family, kFamilyLinux);
  EXPECT_STREQ(record.name, "Debian GNU/Linux");
  EXPECT_EQ(record.major, 12);
  EXPECT_EQ(record.minor, 0);
  EXPECT_EQ(record.patch, 0);
  EXPECT_STREQ(record.versionText, "12.0.0");
}

// A line of the release file, and what the record makes of it.
struct Line {
  const char* text;
  const char* expected;
};

void expectVersions(std::initializer_list<Line> lines) {
  for (const Line& line : lines) {
    EXPECT_STREQ(recordOf(line.text).versionText, line.expected) << line.text;
  }
}

void expectNames(std::initializer_list<Line> lines) {
  for (const Line& line : lines) {
    EXPECT_STREQ(recordOf(line.text).name, line.expected) << line.text;
  }
}

TEST(OSInfoLinuxTest, VersionIsFilledToThreeNumbers) {
  expectVersions({{"VERSION_ID=\"24.04\"\n", "24.4.0"},
                  {"VERSION_ID=9.3\n", "9.3.0"},
                  {"VERSION_ID='3.18.4'", "3.18.4"},
                  {"VERSION_ID=20240110\n", "20240110.0.0"},
                  {"VERSION_ID=1.2.3.4\n", "1.2.3"}});
}

TEST(OSInfoLinuxTest, NumbersStopAtTheFirstThingThatIsNone) {
  expectVersions({{"VERSION_ID=3.19_alpha2\n", "3.19.0"},
                  {"VERSION_ID=7.\n", "7.0.0"},
                  {"VERSION_ID=7..2\n", "7.0.0"},
                  {"VERSION_ID=-7\n", "0.0.0"},
                  {"VERSION_ID=sid\n", "0.0.0"},
                  {"VERSION_ID=\n", "0.0.0"},
                  {"VERSION_ID=\"\"\n", "0.0.0"}});
}

TEST(OSInfoLinuxTest, NumberTooBigForTheRecordReadsAsZero) {
  expectVersions({{"VERSION_ID=99999999999.1\n", "0.0.0"}, {"VERSION_ID=4.99999999999\n", "4.0.0"}});
}

TEST(OSInfoLinuxTest, RollingReleaseWithoutVersionReadsAsZeros) {
  const OSInfo record = recordOf("NAME=\"Arch Linux\"\nID=arch\nBUILD_ID=rolling\n");
  EXPECT_STREQ(record.name, "Arch Linux");
  EXPECT_STREQ(record.versionText, "0.0.0");
  EXPECT_TRUE(isLinux(record));
}

TEST(OSInfoLinuxTest, MissingNameReadsAsLinux) {
  expectNames({{"VERSION_ID=12\n", "Linux"}, {"", "Linux"}});
  expectVersions({{"", "0.0.0"}});
}

TEST(OSInfoLinuxTest, QuotesAndEscapesAreTakenAway) {
  expectNames({{"NAME=Fedora\n", "Fedora"},
               {"NAME='Some Linux'\n", "Some Linux"},
               {"NAME=\"The \\\"Best\\\" \\$ \\\\ \\` Linux\"\n", "The \"Best\" $ \\ ` Linux"},
               {"NAME=\"A\\nB\"\n", "A\\nB"},
               {"NAME='A\\$B'\n", "A\\$B"},
               {"NAME=A\\ B\n", "A B"},
               {"NAME=\"No end\n", "No end"},
               {"NAME=\"\n", ""},
               {"NAME=\n", ""},
               {"NAME=end\\\n", "end\\"}});
}

TEST(OSInfoLinuxTest, CommentsAndLongerNamesAreNotTaken) {
  const OSInfo record = recordOf(
      "# NAME=Comment\n#VERSION_ID=1\n\nPRETTY_NAME=Pretty\nVERSION_ID_EXTRA=9\nNAME=Real\nVERSION_ID=2\n");
  EXPECT_STREQ(record.name, "Real");
  EXPECT_STREQ(record.versionText, "2.0.0");
}

TEST(OSInfoLinuxTest, LastAssignmentCounts) {
  EXPECT_STREQ(recordOf("NAME=First\nNAME=Second\n").name, "Second");
}

TEST(OSInfoLinuxTest, LongNameIsCut) {
  EXPECT_EQ(std::string(recordOf("NAME=" + std::string(200, 'x') + "\n").name), std::string(63, 'x'));
}

TEST(OSInfoLinuxTest, RecordIsZeroedBehindItsTexts) {
  const OSInfo record = recordOf("NAME=X\nVERSION_ID=1\n");
  for (std::size_t i = std::strlen(record.name); i < sizeof(record.name); ++i) {
    ASSERT_EQ(record.name[i], '\0');
  }
  for (std::size_t i = std::strlen(record.versionText); i < sizeof(record.versionText); ++i) {
    ASSERT_EQ(record.versionText[i], '\0');
  }
}

TEST(OSInfoLinuxTest, SecondFileIsReadWhereTheFirstIsMissing) {
  const test::TempFolder folder;
  test::writeFile(folder.file("second"), "NAME=Second\nVERSION_ID=2.5\n");
  OSInfo record;
  fillFromOsReleaseFiles(folder.file("first").c_str(), folder.file("second").c_str(), record);
  EXPECT_STREQ(record.name, "Second");
  EXPECT_STREQ(record.versionText, "2.5.0");

  // Where the first is there, the second adds nothing to it.
  test::writeFile(folder.file("first"), "NAME=First\n");
  fillFromOsReleaseFiles(folder.file("first").c_str(), folder.file("second").c_str(), record);
  EXPECT_STREQ(record.name, "First");
  EXPECT_STREQ(record.versionText, "0.0.0");
}

TEST(OSInfoLinuxTest, UnreadableFilesLeaveAPlainLinuxRecord) {
  const test::TempFolder folder;
  OSInfo record;
  std::memset(&record, 0x7f, sizeof(record));
  fillFromOsReleaseFiles(folder.file("none").c_str(), folder.file("none").c_str(), record);
  EXPECT_EQ(record.family, kFamilyLinux);
  EXPECT_STREQ(record.name, "Linux");
  EXPECT_STREQ(record.versionText, "0.0.0");
}

TEST(OSInfoLinuxTest, FolderInPlaceOfTheFileLeavesAPlainLinuxRecord) {
  const test::TempFolder folder;
  OSInfo record;
  fillFromOsReleaseFiles(folder.path().c_str(), folder.path().c_str(), record);
  EXPECT_STREQ(record.name, "Linux");
  EXPECT_STREQ(record.versionText, "0.0.0");
}

TEST(OSInfoLinuxTest, HostIsOfTheLinuxFamily) {
  OSInfo record;
  getOSInfo(record);
  EXPECT_EQ(record.family, kFamilyLinux);
  EXPECT_STRNE(record.name, "");
  EXPECT_TRUE(isLinux());
  EXPECT_FALSE(isMac());
}

}  // namespace
}  // namespace halvo
