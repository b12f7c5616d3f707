#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <locale>
#include <string>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/OSInfo.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo::helperUtil {
namespace {

using namespace test;

class TranslatePathTest : public ::testing::Test {
 protected:
  LogRecorder m_Log;
};

TEST_F(TranslatePathTest, ThePrefixKeepsItsSlashAndDoubleSlashesStay) {
  const ScopedEnv x("X", "/v");
  EXPECT_EQ(translatePath("/a/$X/b"), "/a//v/b");
}

TEST_F(TranslatePathTest, TheValueGetsASlashOnlyWhereItHasNone) {
  const ScopedEnv x("X", "v");
  const ScopedEnv y("Y", "w/");
  EXPECT_EQ(translatePath("$X/"), "v/");
  EXPECT_EQ(translatePath("$Y/z"), "w/z");
  EXPECT_EQ(translatePath("$X/$Y/$X/"), "v/w/v/");
  EXPECT_EQ(translatePath("$$X/b"), "v/b");
}

TEST_F(TranslatePathTest, ADollarWithoutASlashBehindItStays) {
  const ScopedEnv home("HOME", "/home/u");
  EXPECT_EQ(translatePath("$HOME"), "$HOME");
  EXPECT_EQ(translatePath("/a/b$"), "/a/b$");
  EXPECT_EQ(translatePath("$HOME/Desktop/"), "/home/u/Desktop/");
  EXPECT_EQ(translatePath("$HOME/a$HOME"), "/home/u/a$HOME");
  EXPECT_EQ(m_Log.records().size(), 0U);
}

TEST_F(TranslatePathTest, AnUnsetVariableIsLoggedAndWhatWasExpandedStays) {
  const ScopedEnv x("X", "v");
  const ScopedEnv unset("TOLM_UNSET", nullptr);
  EXPECT_EQ(translatePath("$X/$TOLM_UNSET/b"), "v/$TOLM_UNSET/b");
  EXPECT_TRUE(m_Log.has(kLogError,
                        "Cannot determine environment variable TOLM_UNSET, path v/$TOLM_UNSET/b cannot be "
                        "translated"))
      << m_Log.dump();
}

TEST_F(TranslatePathTest, AnEmptyValueOrAnEmptyNameFailsTheSame) {
  const ScopedEnv empty("TOLM_EMPTY", "");
  EXPECT_EQ(translatePath("$TOLM_EMPTY/b"), "$TOLM_EMPTY/b");
  EXPECT_EQ(translatePath("$/y"), "$/y");
  EXPECT_EQ(m_Log.records().size(), 2U);
}

TEST_F(TranslatePathTest, ADollarInAValueIsExpandedInItsTurn) {
  const ScopedEnv x("X", "$Y/inner");
  const ScopedEnv y("Y", "/w");
  EXPECT_EQ(translatePath("$X/b"), "/w/inner/b");
}

TEST_F(TranslatePathTest, AValueThatHoldsItsOwnNameNeverEnds) {
  // There is no limit on the passes: the child is still at it when its time is over.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setenv("X", "$X/", 1);
    alarm(1);
    const std::string ended = translatePath("$X/");
    _exit(ended.empty() ? 1 : 2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM);
}

TEST(EnvironmentTest, OneLeadingDollarIsTakenAway) {
  const ScopedEnv x("X", "v");
  const ScopedEnv dollar("$X", "w");
  const ScopedEnv unset("TOLM_UNSET", nullptr);
  EXPECT_EQ(getEnvValue("X"), "v");
  EXPECT_EQ(getEnvValue("$X"), "v");
  EXPECT_EQ(getEnvValue("$$X"), "w");
  EXPECT_EQ(getEnvValue("TOLM_UNSET"), "");
  EXPECT_EQ(getEnvValue(""), "");
}

TEST(EnvironmentTest, TheUserNameIsThatOfTheEnvironment) {
  const ScopedEnv user("USER", "somebody");
  EXPECT_EQ(getUserName(), "somebody");
  const ScopedEnv none("USER", nullptr);
  EXPECT_EQ(getUserName(), "");
}

TEST(StringPiecesTest, ATextWithoutADelimiterIsItsOwnBeforeAndAfter) {
  EXPECT_EQ(stringAfterLast("name", "/"), "name");
  EXPECT_EQ(stringBeforeLast("name", "/"), "name");
  EXPECT_EQ(stringBeforeLast("name", "/", true), "name");
  EXPECT_EQ(stringBeforeFirst("name", "/"), "name");
}

TEST(StringPiecesTest, SplitAtTheLastOrFirstDelimiter) {
  EXPECT_EQ(stringAfterLast("/a/b.c", "/"), "b.c");
  EXPECT_EQ(stringAfterLast("/a/", "/"), "");
  EXPECT_EQ(stringBeforeLast("/a/b", "/"), "/a");
  EXPECT_EQ(stringBeforeLast("/a/b", "/", true), "/a/");
  EXPECT_EQ(stringBeforeFirst("ls -l -a", " "), "ls");
  EXPECT_EQ(stringBeforeFirst(" ls", " "), "");
}

TEST(StringPiecesTest, ALoneDelimiterHasNothingOnEitherSide) {
  EXPECT_EQ(stringBeforeLast(".", "."), "");
  EXPECT_EQ(stringAfterLast(".", "."), "");
}

struct BundleName {
  const char* configured;
  const char* source;
  const char* stored;
};

class BundleFileNameTest : public ::testing::TestWithParam<BundleName> {};

TEST_P(BundleFileNameTest, MergesBothNames) {
  EXPECT_EQ(buildBundleFileName(GetParam().configured, GetParam().source), GetParam().stored);
}

INSTANTIATE_TEST_SUITE_P(OddFormsIncluded, BundleFileNameTest,
                         ::testing::Values(BundleName{"report.txt", "system.log", "report__system__log.txt"},
                                           BundleName{"report", "system.log", "report__system__log.report"},
                                           BundleName{"report.", "system.log", "report__system.log"},
                                           BundleName{".cfg", "system.log", ".cfg__system__log"},
                                           BundleName{".cfg", ".log", ".cfg__log__"},
                                           BundleName{"", "system.log", "system.log"},
                                           BundleName{"", ".log", "log"}, BundleName{"", "", ""},
                                           BundleName{"", "plain", "plain"},
                                           BundleName{"report.txt", "plain", "report__plain__plain.txt"},
                                           BundleName{"report.txt", ".log", "report____log.txt"},
                                           BundleName{"a.b/c", "x.y", "a__x__y.b/c"}));

TEST(SizeToTextTest, UnitsRunFromBytesToYottabytes) {
  EXPECT_EQ(sizeToText(0.0, 2), "0 bytes");
  EXPECT_EQ(sizeToText(512.0, 2), "512 bytes");
  EXPECT_EQ(sizeToText(1023.0, 2), "1023 bytes");
  EXPECT_EQ(sizeToText(1024.0, 2), "1.00K");
  EXPECT_EQ(sizeToText(1536.0, 2), "1.50K");
  EXPECT_EQ(sizeToText(1048576.0, 2), "1.00M");
  EXPECT_EQ(sizeToText(1073741824.0, 2), "1.00G");
  const char* const units[] = {"T", "P", "E", "Z", "Y"};
  for (int power = 4; power <= 8; ++power) {
    EXPECT_EQ(sizeToText(std::pow(1024.0, power), 2), std::string("1.00") + units[power - 4]);
  }
}

TEST(SizeToTextTest, BehindTheLastUnitThereAreBytesAgain) {
  EXPECT_EQ(sizeToText(std::pow(1024.0, 9), 2), "1.00 bytes");
}

TEST(SizeToTextTest, AMissingFilesSizeStaysAtBytes) {
  EXPECT_EQ(sizeToText(-1.0, 2), "-1 bytes");
}

TEST(SizeToTextTest, SevenDigitsSurvive) {
  // 1023.999 K rounds up in the text, and the unit stays.
  EXPECT_EQ(sizeToText(1048575.0, 2), "1024.00K");
  EXPECT_EQ(sizeToText(1073741823.0, 0), "1024M");
}

TEST(SizeToTextTest, AnInfiniteSizeEnds) {
  EXPECT_FALSE(sizeToText(std::numeric_limits<double>::infinity(), 2).empty());
}

// Numbers in the manner of "1.234.567,00".
class GroupedNumbers : public std::numpunct<char> {
 protected:
  [[nodiscard]] char do_decimal_point() const override { return ','; }
  [[nodiscard]] char do_thousands_sep() const override { return '.'; }
  [[nodiscard]] std::string do_grouping() const override { return "\3"; }
};

// Has streams made meanwhile write numbers so.
class GroupingLocale {
 public:
  GroupingLocale() : m_Before(std::locale::global(std::locale(std::locale(), new GroupedNumbers))) {}
  ~GroupingLocale() { std::locale::global(m_Before); }
  GroupingLocale(const GroupingLocale&) = delete;
  GroupingLocale& operator=(const GroupingLocale&) = delete;

 private:
  std::locale m_Before;
};

TEST(FloatToTextTest, FixedNotationWhateverTheLocale) {
  const GroupingLocale grouping;
  EXPECT_EQ(floatToText(3.0F, 0), "3");
  EXPECT_EQ(floatToText(1234567.0F, 2), "1234567.00");
  EXPECT_EQ(floatToText(0.125F, 2), "0.12");
  EXPECT_EQ(floatToText(48213.0F, 0), "48213");
}

TEST(PowerOfFloatTest, RepeatsTheMultiplication) {
  EXPECT_EQ(powerOfFloat(0, 5.0F), 1.0F);
  EXPECT_EQ(powerOfFloat(1, 5.0F), 5.0F);
  EXPECT_EQ(powerOfFloat(3, 2.0F), 8.0F);
}

TEST(AbsolutePathTest, OnlyABareNameAndADotSlashAreMadeAbsolute) {
  const TempFolder folder;
  const WorkingFolder here(folder.path());
  const std::string current = currentDirectory();
  EXPECT_EQ(current, std::filesystem::current_path().string());
  EXPECT_EQ(absolutePath("name"), current + "/name");
  EXPECT_EQ(absolutePath("./a/b"), current + "/a/b");
  EXPECT_EQ(absolutePath("a/b"), "a/b");
  EXPECT_EQ(absolutePath("/a"), "/a");
  EXPECT_EQ(absolutePath(""), current + "/");
}

TEST(AbsolutePathTest, AWorkingFolderLongerThanTheFirstBufferIsRead) {
  const TempFolder folder;
  const std::string deep =
      folder.path() + "/" + std::string(200, 'a') + "/" + std::string(200, 'b') + "/" + std::string(200, 'c');
  makeFolders(deep);
  const WorkingFolder here(deep);
  EXPECT_EQ(currentDirectory(), std::filesystem::current_path().string());
  EXPECT_GT(currentDirectory().size(), 600U);
}

TEST(AbsolutePathTest, AVanishedWorkingFolderGivesNothing) {
  const TempFolder folder;
  makeFolders(folder.file("gone"));
  const WorkingFolder here(folder.path());
  std::filesystem::current_path(folder.file("gone"));
  std::filesystem::remove(folder.file("gone"));
  EXPECT_EQ(currentDirectory(), "");
}

TEST(RandomFiveDigitsTest, StaysBelowAHundredThousandAndAgreesWithinASecond) {
  for (int attempt = 0; attempt < 3; ++attempt) {
    const std::time_t before = std::time(nullptr);
    const int first = randomFiveDigits();
    const int second = randomFiveDigits();
    EXPECT_GE(first, 0);
    EXPECT_LT(first, 100000);
    if (std::time(nullptr) == before) {
      EXPECT_EQ(first, second);
      return;
    }
  }
  FAIL() << "three pairs of calls took more than a second each";
}

TEST(OsDescriptionTest, NamesTheSystemAndItsVersion) {
  OSInfo record;
  getOSInfo(record);
  EXPECT_EQ(osDescription(), osDescription(record));
  EXPECT_TRUE(osDescription().ends_with(std::string(" ") + record.versionText)) << osDescription();
}

TEST(OsDescriptionTest, DependsOnTheFamily) {
  OSInfo record = {};
  setOSInfo(record, "Some System", 12, 3, 4);
  record.family = kFamilyMac;
  EXPECT_EQ(osDescription(record), "macOS 12.3.4");
  record.family = kFamilyLinux;
  EXPECT_EQ(osDescription(record), "Some System: 12.3.4");
  for (const std::int32_t family : {0, 4, 7, -1}) {
    record.family = family;
    EXPECT_EQ(osDescription(record), "Unknown: 12.3.4") << family;
  }
}

TEST(FoldersTest, AreConstants) {
  EXPECT_EQ(toolFolder(), "/opt/halvo/tessarmont/tolm/");
  EXPECT_EQ(defaultConfigFolder(), "/opt/halvo/tessarmont/tolm/xml/config/");
  EXPECT_EQ(defaultBundleFolder(), "$HOME/Desktop/");
}

TEST(TimeTextTest, ForwardsTheSelector) {
  EXPECT_EQ(timeText(1).size(), 10U);
  EXPECT_EQ(timeText(1).front(), '_');
  EXPECT_EQ(timeText(2).back(), '\n');
}

}  // namespace
}  // namespace halvo::helperUtil
