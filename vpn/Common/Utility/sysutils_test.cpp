#include "vpn/Common/Utility/sysutils.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"

namespace halvo {

namespace {

class SysutilsTest : public ::testing::Test {
 protected:
  // The one record that a call wrote; an empty one, and a failure, where there are more or fewer.
  test::LogRecord onlyRecord() const {
    const std::vector<test::LogRecord> records = m_log.records();
    EXPECT_EQ(records.size(), 1U) << m_log.dump();
    return records.size() == 1 ? records[0] : test::LogRecord{};
  }

  test::TempFolder m_folder;
  test::LogRecorder m_log;
};

std::time_t localMoment(int month, int day, int hour, int minute) {
  std::tm local = {};
  local.tm_year = 126;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_isdst = -1;
  return std::mktime(&local);
}

// A socket file, whose mode has the bit of a file and that of a folder.
void makeSocket(const std::string& path) {
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  ASSERT_GE(descriptor, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof(address.sun_path));
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  close(descriptor);
}

TEST_F(SysutilsTest, TimeTextOneOnMarchFifthAtSevenPastNine) {
  EXPECT_EQ(timeText(1, localMoment(3, 5, 9, 7)), "_0305_0907");
  EXPECT_EQ(timeText(1, localMoment(12, 31, 23, 59)), "_1231_2359");
}

TEST_F(SysutilsTest, TimeTextTwoIsAsctimeWithItsLineFeed) {
  EXPECT_EQ(timeText(2, localMoment(3, 5, 9, 7)), "Thu Mar  5 09:07:00 2026\n");
}

TEST_F(SysutilsTest, TimeTextSevenIsTheLocalesDateAndTime) {
  const std::time_t moment = localMoment(3, 5, 9, 7);
  std::tm local = {};
  localtime_r(&moment, &local);
  char due[64];
  ASSERT_GT(std::strftime(due, sizeof(due), "%c", &local), 0U);
  EXPECT_EQ(timeText(7, moment), due);
  EXPECT_EQ(timeText(0, moment), due);
  EXPECT_EQ(timeText(-1, moment), due);
}

TEST_F(SysutilsTest, TimeTextWithoutAMomentIsOfNow) {
  for (int selector : {1, 2, 3}) {
    std::string before;
    std::string text;
    std::string after;
    // Once more where the clock moved on in between.
    for (int round = 0; round < 10 && (round == 0 || before != after); ++round) {
      before = timeText(selector, currentTime());
      text = timeText(selector);
      after = timeText(selector, currentTime());
    }
    EXPECT_EQ(text, before);
  }
}

// A time zone twenty hours and a half ahead, for a test.
class FarZoneTest : public ::testing::Test {
 protected:
  static constexpr std::time_t kAhead = 20 * 3600 + 30 * 60;

  FarZoneTest() { tzset(); }

 private:
  // Goes last, when the variable is what it was.
  struct ZoneReader {
    ~ZoneReader() { tzset(); }
  };
  ZoneReader m_reader;
  test::ScopedEnv m_zone{"TZ", "XYZ-20:30"};
};

TEST_F(FarZoneTest, TimeTextIsOfTheLocalTime) {
  EXPECT_EQ(timeText(1, 0), "_0101_2030");
  EXPECT_EQ(timeText(2, 0), "Thu Jan  1 20:30:00 1970\n");
  EXPECT_EQ(timeText(7, 0), "Thu Jan  1 20:30:00 1970");
}

TEST_F(FarZoneTest, LocalTimeNowIsOfTheLocalTime) {
  const std::time_t before = std::time(nullptr);
  std::tm local = {};
  EXPECT_RESULT(localTimeNow(&local), 0);
  const std::time_t filled = timegm(&local);
  EXPECT_LE(before + kAhead, filled);
  EXPECT_LE(filled, std::time(nullptr) + kAhead);
}

TEST_F(FarZoneTest, TimeNowToStringIsOfTheLocalTime) {
  char text[16] = "";
  EXPECT_RESULT(TimeNowToString("%z %Z", text, sizeof(text)), 0);
  EXPECT_STREQ(text, "+2030 XYZ");
}

TEST_F(SysutilsTest, TickWrapsAfter32BitsOfMillisecondsAndDifferencesGoOn) {
  EXPECT_EQ(tickMilliseconds(timeval{0, 999}), 0U);
  EXPECT_EQ(tickMilliseconds(timeval{1, 1999}), 1001U);
  EXPECT_EQ(tickMilliseconds(timeval{4294967, 295000}), 4294967295U);
  EXPECT_EQ(tickMilliseconds(timeval{4294967, 296000}), 0U);
  EXPECT_EQ(tickMilliseconds(timeval{4294968, 0}), 704U);
  EXPECT_EQ(tickMilliseconds(timeval{4294968, 0}) - tickMilliseconds(timeval{4294967, 0}), 1000U);
}

TEST_F(SysutilsTest, TickFollowsTheWallClock) {
  timeval before = {};
  timeval after = {};
  gettimeofday(&before, nullptr);
  const std::uint32_t tick = tickMilliseconds();
  gettimeofday(&after, nullptr);
  EXPECT_LE(tick - tickMilliseconds(before), tickMilliseconds(after) - tickMilliseconds(before));
}

TEST_F(SysutilsTest, CurrentTimeIsThatOfTheHost) {
  const std::time_t before = std::time(nullptr);
  const std::time_t now = currentTime();
  EXPECT_LE(before, now);
  EXPECT_LE(now, std::time(nullptr));
}

TEST_F(SysutilsTest, LocalTimeNowFillsTheFieldsAndRefusesNull) {
  EXPECT_RESULT(localTimeNow(nullptr), GLOBAL_ERROR_BAD_PARAMETER);
  const std::time_t before = std::time(nullptr);
  std::tm local = {};
  EXPECT_RESULT(localTimeNow(&local), 0);
  const std::time_t filled = std::mktime(&local);
  EXPECT_LE(before, filled);
  EXPECT_LE(filled, std::time(nullptr));
}

TEST_F(SysutilsTest, TimeNowToStringFormatsTheLocalTime) {
  char text[16] = "before";
  EXPECT_RESULT(TimeNowToString("year:%%%H", text, sizeof(text)), 0);
  EXPECT_EQ(std::string(text).substr(0, 6), "year:%");
  EXPECT_EQ(std::strlen(text), 8U);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, TimeNowToStringRefusesNullAndAZeroSize) {
  char text[16] = "before";
  EXPECT_RESULT(TimeNowToString(nullptr, text, sizeof(text)), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(TimeNowToString("%Y", nullptr, sizeof(text)), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(TimeNowToString("%Y", text, 0), GLOBAL_ERROR_BAD_PARAMETER);
  EXPECT_STREQ(text, "before");
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, TimeNowToStringThatWritesNothingEmptiesTheBufferAndLogs) {
  for (const char* format : {"%Y-%m-%d", ""}) {
    m_log.clear();
    char text[8] = "before";
    EXPECT_RESULT(TimeNowToString(format, text, sizeof(text)), GLOBAL_ERROR_UNEXPECTED);
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(m_log.hasReturnCode(kLogError, "_tcsftime", 0)) << m_log.dump();
    EXPECT_EQ(onlyRecord().field("Function"), "TimeNowToString");
  }
}

TEST_F(SysutilsTest, UnlinkFileGivesTheErrno) {
  const std::string path = m_folder.file("file");
  test::writeFile(path, "x");
  EXPECT_EQ(unlink_file(nullptr), EINVAL);
  EXPECT_EQ(unlink_file(path.c_str()), 0);
  EXPECT_FALSE(test::exists(path));
  EXPECT_EQ(unlink_file(path.c_str()), ENOENT);
}

TEST_F(SysutilsTest, FileExistsForARegularFileAndNotForAFolder) {
  test::writeFile(m_folder.file("file"), "");
  EXPECT_TRUE(fileExists(m_folder.file("file")));
  EXPECT_FALSE(fileExists(m_folder.path()));
  EXPECT_FALSE(fileExists("/dev/null"));
}

TEST_F(SysutilsTest, FileExistsOnAMissingFileLogsNothing) {
  EXPECT_FALSE(fileExists(m_folder.file("missing")));
  EXPECT_FALSE(fileExists(""));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, FileExistsLogsAnotherFailureThanAMissingFile) {
  test::writeFile(m_folder.file("file"), "");
  const std::string path = m_folder.file("file/below");
  EXPECT_FALSE(fileExists(path));
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "_tstat", ENOTDIR)) << m_log.dump();
  EXPECT_EQ(onlyRecord().field("Function"), "fileExists");
  EXPECT_EQ(onlyRecord().text(), "File: " + path + "\nError: Not a directory");
}

TEST_F(SysutilsTest, DirectoryExistsForAFolderAndNotForAFile) {
  test::writeFile(m_folder.file("file"), "");
  EXPECT_TRUE(directoryExists(m_folder.path()));
  EXPECT_TRUE(directoryExists(m_folder.path() + "/"));
  EXPECT_FALSE(directoryExists(m_folder.file("file")));
  EXPECT_FALSE(directoryExists(m_folder.file("missing")));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, DirectoryExistsLogsAnotherFailureThanAMissingFolder) {
  test::writeFile(m_folder.file("file"), "");
  const std::string path = m_folder.file("file/below");
  EXPECT_FALSE(directoryExists(path));
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "_tstat", ENOTDIR)) << m_log.dump();
  EXPECT_EQ(onlyRecord().field("Function"), "directoryExists");
  EXPECT_EQ(onlyRecord().text(), "Directory: " + path + "\nError: Not a directory");
}

TEST_F(SysutilsTest, SocketHasTheBitsOfAFileAndOfAFolder) {
  makeSocket(m_folder.file("socket"));
  EXPECT_TRUE(fileExists(m_folder.file("socket")));
  EXPECT_TRUE(directoryExists(m_folder.file("socket")));
}

// The type of a link has the bit of a file, whatever it leads to.
TEST_F(SysutilsTest, FileTestsLookAtWhatALinkLeadsTo) {
  const std::string file = m_folder.file("file");
  const std::string toFile = m_folder.file("to-file");
  const std::string toFolder = m_folder.file("to-folder");
  const std::string toNothing = m_folder.file("to-nothing");
  test::writeFile(file, "x");
  ASSERT_EQ(symlink(file.c_str(), toFile.c_str()), 0);
  ASSERT_EQ(symlink(m_folder.path().c_str(), toFolder.c_str()), 0);
  ASSERT_EQ(symlink("missing", toNothing.c_str()), 0);
  EXPECT_TRUE(fileExists(toFile));
  EXPECT_FALSE(directoryExists(toFile));
  EXPECT_TRUE(fileIsReadable(toFile));
  EXPECT_FALSE(fileExists(toFolder));
  EXPECT_TRUE(directoryExists(toFolder));
  EXPECT_FALSE(fileExists(toNothing));
  EXPECT_FALSE(directoryExists(toNothing));
  EXPECT_FALSE(fileIsReadable(toNothing));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
  EXPECT_FALSE(fileIsReadable(toFolder));
  EXPECT_EQ(onlyRecord().text(), "File (" + toFolder + ") is not readable or is not a regular file.");
}

TEST_F(SysutilsTest, FileIsReadableWhereTheOwnerMayRead) {
  const std::string path = m_folder.file("file");
  test::writeFile(path, "x");
  ASSERT_EQ(chmod(path.c_str(), 0400), 0);
  EXPECT_TRUE(fileIsReadable(path));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, FileIsReadableLooksAtTheOwnersBitAlone) {
  const std::string path = m_folder.file("file");
  test::writeFile(path, "x");
  ASSERT_EQ(chmod(path.c_str(), 0277), 0);
  EXPECT_FALSE(fileIsReadable(path));
  EXPECT_EQ(onlyRecord().level, kLogWarning);
  EXPECT_EQ(onlyRecord().text(), "File (" + path + ") is not readable or is not a regular file.");
}

TEST_F(SysutilsTest, FileIsReadableOnAnEmptyFileLogsAndReturnsFalse) {
  const std::string path = m_folder.file("file");
  test::writeFile(path, "");
  EXPECT_FALSE(fileIsReadable(path));
  EXPECT_EQ(onlyRecord().level, kLogWarning);
  EXPECT_EQ(onlyRecord().field("Function"), "fileIsReadable");
  EXPECT_EQ(onlyRecord().text(), "File (" + path + ") is empty.");
}

TEST_F(SysutilsTest, FileIsReadableOnAFolderLogsTheSecondMessageAndReturnsFalse) {
  test::writeFile(m_folder.file("folder/file"), "x");
  EXPECT_FALSE(fileIsReadable(m_folder.file("folder")));
  EXPECT_EQ(onlyRecord().level, kLogWarning);
  EXPECT_EQ(onlyRecord().text(),
            "File (" + m_folder.file("folder") + ") is not readable or is not a regular file.");
}

TEST_F(SysutilsTest, FileIsReadableOnAMissingFileLogsNothing) {
  EXPECT_FALSE(fileIsReadable(m_folder.file("missing")));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, FileIsReadableLogsAnotherFailureThanAMissingFile) {
  test::writeFile(m_folder.file("file"), "");
  const std::string path = m_folder.file("file/below");
  EXPECT_FALSE(fileIsReadable(path));
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "_tstat", ENOTDIR)) << m_log.dump();
  EXPECT_EQ(onlyRecord().field("Function"), "fileIsReadable");
  EXPECT_EQ(onlyRecord().text(), "File: " + path + "\nError: Not a directory");
}

TEST_F(SysutilsTest, StatPathRefusesNullAndAMissingFile) {
  struct stat data = {};
  EXPECT_FALSE(statPath(nullptr, &data));
  EXPECT_FALSE(statPath(m_folder.file("missing").c_str(), &data));
  test::writeFile(m_folder.file("file"), "seven b");
  EXPECT_TRUE(statPath(m_folder.file("file").c_str(), &data));
  EXPECT_EQ(data.st_size, 7);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, AlwaysTrueIsTrue) {
  EXPECT_TRUE(alwaysTrue());
}

volatile sig_atomic_t s_nLastSignal = 0;

void firstHandler(int signal) {
  s_nLastSignal = signal;
}

void secondHandler(int signal) {
  s_nLastSignal = -signal;
}

TEST_F(SysutilsTest, SignalHandlerIsInstalledAndTheOldOneHandedBack) {
  SignalHandler original = firstHandler;
  EXPECT_TRUE(install_sighdlr(SIGUSR1, firstHandler, &original));
  EXPECT_EQ(original, SIG_DFL);
  raise(SIGUSR1);
  EXPECT_EQ(s_nLastSignal, SIGUSR1);

  SignalHandler previous = nullptr;
  EXPECT_TRUE(install_sighdlr(SIGUSR1, secondHandler, &previous));
  EXPECT_EQ(previous, &firstHandler);
  raise(SIGUSR1);
  EXPECT_EQ(s_nLastSignal, -SIGUSR1);

  EXPECT_TRUE(install_sighdlr(SIGUSR1, original, nullptr));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SysutilsTest, SignalHandlerIsInstalledWithAnEmptyMaskAndNoFlags) {
  SignalHandler original = nullptr;
  ASSERT_TRUE(install_sighdlr(SIGUSR1, firstHandler, &original));
  struct sigaction installed = {};
  ASSERT_EQ(sigaction(SIGUSR1, nullptr, &installed), 0);
  // The C library has a flag of its own besides these.
  EXPECT_EQ(installed.sa_flags & (SA_RESTART | SA_SIGINFO | SA_NODEFER | SA_ONSTACK | SA_NOCLDSTOP |
                                  SA_NOCLDWAIT | static_cast<int>(SA_RESETHAND)),
            0);
  for (int signal : {SIGUSR1, SIGUSR2, SIGTERM, SIGALRM}) {
    EXPECT_EQ(sigismember(&installed.sa_mask, signal), 0) << signal;
  }
  EXPECT_TRUE(install_sighdlr(SIGUSR1, original, nullptr));
}

TEST_F(SysutilsTest, SignalThatTakesNoHandlerIsLoggedAndClearsThePrevious) {
  SignalHandler previous = firstHandler;
  EXPECT_FALSE(install_sighdlr(SIGKILL, firstHandler, &previous));
  EXPECT_EQ(previous, nullptr);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "sigaction", EINVAL)) << m_log.dump();
  EXPECT_EQ(onlyRecord().field("Function"), "install_sighdlr");
  EXPECT_EQ(onlyRecord().text(), "Failed to install signal handler (Invalid argument). Signal# = 9.");
}

}  // namespace

}  // namespace halvo
