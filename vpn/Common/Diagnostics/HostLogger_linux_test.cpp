// The logger of a Linux host without a journal, seen from the other end of syslog's socket. Runs in a
// private root, where the socket's place is the test's own.

#include "vpn/Common/Diagnostics/HostLogger.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "tests/support/DatagramReceiver.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/Subprocess.h"
#include "vpn/Common/Diagnostics/JournalLogger.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

using test::Receiver;

// The device folder is the test's own for as long as one of these lives.
class PrivateDevices {
 public:
  PrivateDevices() : m_bMounted(mount("tmpfs", "/dev", "tmpfs", MS_NOSUID, "mode=0755") == 0) {}
  ~PrivateDevices() {
    if (m_bMounted) {
      umount2("/dev", MNT_DETACH);
    }
  }
  PrivateDevices(const PrivateDevices&) = delete;
  PrivateDevices& operator=(const PrivateDevices&) = delete;
  [[nodiscard]] bool areMounted() const { return m_bMounted; }

 private:
  bool m_bMounted;
};

class SyslogLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_devices.areMounted()) << "a tmpfs over /dev was refused: " << std::strerror(errno);
    m_pSyslog = std::make_unique<Receiver>("/dev/log");
    ASSERT_TRUE(m_pSyslog->isBound()) << std::strerror(errno);
    unlink(kJournalSocket);
  }

  // The next record: its priority in "<>", and what stands behind the time of day.
  std::string take() {
    const std::string record = m_pSyslog->take().value_or("(no record)");
    const std::size_t behindPriority = record.find('>');
    constexpr std::size_t kTimeSize = sizeof("Jan  1 00:00:00 ") - 1;
    if (behindPriority == std::string::npos || record.size() < behindPriority + 1 + kTimeSize) {
      return record;
    }
    return record.substr(0, behindPriority + 1) + record.substr(behindPriority + 1 + kTimeSize);
  }

  static std::string tag(const std::string& priority) {
    return priority + "tmtolmui[" + std::to_string(getpid()) + "]: ";
  }

  PrivateDevices m_devices;
  std::unique_ptr<Receiver> m_pSyslog;
};

TEST_F(SyslogLoggerTest, HostWithoutJournalSocketGetsOneLineInSyslog) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "Function: f\nFile: a.cpp\nLine: 1\ntext", "MID_DEBUG_MESSAGE", 1, kLogError),
                0U);
  // Facility "user", level "error".
  EXPECT_EQ(take(), tag("<11>") + "Function: f File: a.cpp Line: 1 text");
  EXPECT_EQ(m_pSyslog->take(), std::nullopt);
}

TEST_F(SyslogLoggerTest, FileAtThePlaceOfTheJournalSocketIsNoJournal) {
  std::filesystem::create_directories(kJournalSocket);
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(take(), tag("<11>") + "x");
  std::filesystem::remove(kJournalSocket);
}

// A journal that had ended left its socket behind, and every record was lost.
TEST_F(SyslogLoggerTest, RecordGoesToSyslogWhereTheJournalsSocketHasNoListener) {
  {
    const Receiver journal(kJournalSocket);
    ASSERT_TRUE(journal.isBound()) << std::strerror(errno);
    std::filesystem::create_hard_link(kJournalSocket, "/run/systemd/journal/kept");
  }
  std::filesystem::rename("/run/systemd/journal/kept", kJournalSocket);
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "one\ntwo", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(take(), tag("<11>") + "one two");
  EXPECT_EQ(m_pSyslog->take(), std::nullopt);
  unlink(kJournalSocket);
}

TEST_F(SyslogLoggerTest, RecordGoesToSyslogFromTheEndOfTheJournalOn) {
  auto journal = std::make_unique<Receiver>(kJournalSocket);
  ASSERT_TRUE(journal->isBound()) << std::strerror(errno);
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  journal.reset();
  EXPECT_RESULT(logger->log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(take(), tag("<11>") + "x");
}

TEST_F(SyslogLoggerTest, LevelFollowsSeverityAndLetter) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  struct Case {
    std::uint32_t severity;
    int level;
    const char* priority;
  };
  for (const Case& one :
       {Case{7, kLogError, "<11>"}, Case{7, kLogWarning, "<12>"}, Case{7, kLogInformation, "<14>"},
        Case{7, kLogTrace, "<14>"}, Case{7, 0, "<15>"}, Case{5, kLogError, "<13>"}}) {
    EXPECT_RESULT(logger->log(one.severity, "x", "MID_UNKNOWN", 0, one.level), 0U);
    EXPECT_EQ(take(), tag(one.priority) + "x");
  }
}

TEST_F(SyslogLoggerTest, PercentSignsOfTheMessageAreNoFormat) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "100%s %n", "MID_UNKNOWN", 0, kLogError), 0U);
  EXPECT_EQ(take(), tag("<11>") + "100%s %n");
}

TEST_F(SyslogLoggerTest, NullMessageIsRefused) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, nullptr, "MID_UNKNOWN", 0, kLogError), 0xfe000002);
  EXPECT_EQ(m_pSyslog->take(), std::nullopt);
}

TEST_F(SyslogLoggerTest, RecordIsLostQuietlyWithoutSyslog) {
  m_pSyslog.reset();
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  ::testing::internal::CaptureStderr();
  EXPECT_RESULT(logger->log(7, "lost", "MID_UNKNOWN", 0, kLogError), 0U);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(SyslogLoggerTest, ProgramWithoutJournalLogsToSyslog) {
  const test::RunResult run = test::runProgram({TOLM_LOG_PROBE});
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_NE(take().find("static object made"), std::string::npos);
  EXPECT_NE(take().find("Return Code: -22085622 (0xFEAF000A) Description: TOLMENGINE_ERROR_INTERNAL:Error: "),
            std::string::npos);
  EXPECT_NE(take().find("static object gone"), std::string::npos);
}

TEST(LoggingStartTest, ProgramThatCallsNothingOfTheLogHasItStartedAllTheSame) {
  const test::RunResult run = test::runProgram({TOLM_RESULT_CODES_PROBE});
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.out, "GLOBAL_ERROR_NO_INSTANCE\n");
}

}  // namespace
}  // namespace halvo
