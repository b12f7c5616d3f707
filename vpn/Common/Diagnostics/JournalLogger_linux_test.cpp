// The journal logger, seen from the other end of the journal's socket. Runs in a private root, where
// the socket's place is the test's own.

#include "vpn/Common/Diagnostics/JournalLogger.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/DatagramReceiver.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/Subprocess.h"
#include "vpn/Common/Diagnostics/HostLogger.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

using test::Receiver;

struct JournalRecord {
  std::map<std::string, std::string> fields;
  std::vector<std::string> inBinaryForm;  // names of the fields sent with their length in front
};

// Reads the journal's native protocol: "NAME=value" lines, and for a value with line feeds the name on
// a line, eight bytes of little-endian length, the value and a line feed. Nothing where it is broken.
std::optional<JournalRecord> parseJournal(const std::string& datagram) {
  JournalRecord record;
  std::size_t position = 0;
  while (position < datagram.size()) {
    const std::size_t end = datagram.find('\n', position);
    if (end == std::string::npos) {
      return std::nullopt;
    }
    const std::string line = datagram.substr(position, end - position);
    position = end + 1;
    const std::size_t equals = line.find('=');
    std::string name = line.substr(0, equals);
    std::string value;
    if (equals != std::string::npos) {
      value = line.substr(equals + 1);
    } else {
      if (datagram.size() - position < 9) {
        return std::nullopt;
      }
      std::uint64_t size = 0;
      for (std::size_t i = 0; i < 8; ++i) {
        size |= std::uint64_t{static_cast<unsigned char>(datagram[position + i])} << 8 * i;
      }
      position += 8;
      if (size >= datagram.size() - position || datagram[position + size] != '\n') {
        return std::nullopt;
      }
      value = datagram.substr(position, size);
      position += size + 1;
      record.inBinaryForm.push_back(name);
    }
    if (!record.fields.emplace(name, value).second) {
      return std::nullopt;
    }
  }
  return record;
}

class JournalLoggerTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(m_journal.isBound()) << std::strerror(errno); }

  // The next record of the journal, with no fields where none came or it is broken.
  JournalRecord take() {
    const std::optional<std::string> datagram = m_journal.take();
    if (!datagram.has_value()) {
      ADD_FAILURE() << "no record came";
      return {};
    }
    const std::optional<JournalRecord> record = parseJournal(*datagram);
    if (!record.has_value()) {
      ADD_FAILURE() << "a broken record: " << *datagram;
      return {};
    }
    return *record;
  }

  using Fields = std::map<std::string, std::string>;
  Receiver m_journal{kJournalSocket};
};

TEST_F(JournalLoggerTest, RecordCarriesMessagePriorityNameIdAndSubsystemAndNothingElse) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "one line", "MID_DEBUG_MESSAGE", 1, kLogWarning), 0U);
  EXPECT_EQ(take().fields, (Fields{{"MESSAGE", "one line"},
                                   {"PRIORITY", "4"},
                                   {"SYSLOG_IDENTIFIER", "tmtolmui"},
                                   {"TOLM_MESSAGE_NAME", "MID_DEBUG_MESSAGE"},
                                   {"TOLM_MESSAGE_ID", "1"},
                                   {"TOLM_SUBSYSTEM", "com.halvo.tessarmont.vpn"}}));
  EXPECT_EQ(m_journal.take(), std::nullopt);
}

TEST_F(JournalLoggerTest, LineFeedsOfAMessageStay) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  const std::string message = "Function: f\nFile: a.cpp\nLine: 1\n";
  EXPECT_RESULT(logger->log(7, message.c_str(), "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  const JournalRecord record = take();
  EXPECT_EQ(record.fields.at("MESSAGE"), message);
  EXPECT_EQ(record.inBinaryForm, std::vector<std::string>{"MESSAGE"});
}

TEST_F(JournalLoggerTest, LengthOfLinesIsToldWholeWhereItTakesMoreThanAByte) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  const std::string message = std::string(700, 'a') + "\n" + std::string(1200, 'b');
  EXPECT_RESULT(logger->log(7, message.c_str(), "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(take().fields.at("MESSAGE"), message);
}

TEST_F(JournalLoggerTest, RunWithoutADescriptorLeftCanStillSaySo) {
  const std::unique_ptr<ILogger> logger = makeJournalLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "first", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(take().fields.at("MESSAGE"), "first");
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none = {0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const ResultCode rc = logger->log(7, "none left", "MID_DEBUG_MESSAGE", 1, kLogError);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_RESULT(rc, 0U);
  EXPECT_EQ(take().fields.at("MESSAGE"), "none left");
}

TEST_F(JournalLoggerTest, MessageWithLinesThatLookLikeFieldsStaysOneField) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "x\nPRIORITY=0\nEVIL=1", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  const JournalRecord record = take();
  EXPECT_EQ(record.fields.at("MESSAGE"), "x\nPRIORITY=0\nEVIL=1");
  EXPECT_EQ(record.fields.at("PRIORITY"), "3");
  EXPECT_EQ(record.fields.count("EVIL"), 0U);
}

TEST_F(JournalLoggerTest, PriorityFollowsSeverityAndLetter) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  struct Case {
    std::uint32_t severity;
    int level;
    const char* priority;
  };
  for (const Case& one : {Case{7, kLogError, "3"}, Case{7, kLogWarning, "4"}, Case{7, kLogInformation, "6"},
                          Case{7, kLogTrace, "6"}, Case{7, 0, "7"}, Case{5, kLogError, "5"},
                          Case{3, kLogInformation, "3"}, Case{0, kLogTrace, "0"}}) {
    EXPECT_RESULT(logger->log(one.severity, "x", "MID_UNKNOWN", 0, one.level), 0U);
    EXPECT_EQ(take().fields["PRIORITY"], one.priority);
  }
}

TEST_F(JournalLoggerTest, EmptyMessageIsARecordToo) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "", "UNKNOWN", 7008, kLogError), 0U);
  const JournalRecord record = take();
  EXPECT_EQ(record.fields.at("MESSAGE"), "");
  EXPECT_EQ(record.fields.at("TOLM_MESSAGE_NAME"), "UNKNOWN");
  EXPECT_EQ(record.fields.at("TOLM_MESSAGE_ID"), "7008");
}

TEST_F(JournalLoggerTest, LongestMessageIsOneRecord) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  const std::string message(2047, 'x');
  EXPECT_RESULT(logger->log(7, message.c_str(), "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(take().fields.at("MESSAGE"), message);
  EXPECT_EQ(m_journal.take(), std::nullopt);
}

TEST_F(JournalLoggerTest, NullMessageIsRefused) {
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, nullptr, "MID_DEBUG_MESSAGE", 1, kLogError), 0xfe000002);
  EXPECT_EQ(m_journal.take(), std::nullopt);
}

TEST_F(JournalLoggerTest, FrontEndWritesThroughTheLoggerOfTheHost) {
  while (!releaseLogging()) {
  }
  ResultCode result = 1;
  acquireLogging(result, "tmtolmui", nullptr);
  EXPECT_RESULT(result, 0U);
  LOG_MESSAGE(kLogWarning, "through %s", "the front-end");
  const JournalRecord record = take();
  EXPECT_EQ(record.fields.at("MESSAGE").substr(0, 19), "Function: TestBody\n");
  EXPECT_EQ(record.fields.at("MESSAGE").substr(record.fields.at("MESSAGE").rfind('\n')),
            "\nthrough the front-end");
  EXPECT_EQ(record.fields.at("SYSLOG_IDENTIFIER"), "tmtolmui");
}

TEST_F(JournalLoggerTest, ProgramLogsFromBeforeMainToAfterItsStaticObjects) {
  const test::RunResult run = test::runProgram({TOLM_LOG_PROBE});
  EXPECT_EQ(run.exitStatus, 0);
  EXPECT_EQ(run.out + run.err, "");
  const JournalRecord first = take();
  const JournalRecord second = take();
  const JournalRecord third = take();
  EXPECT_NE(first.fields.at("MESSAGE").find("\nstatic object made"), std::string::npos);
  EXPECT_EQ(first.fields.at("PRIORITY"), "6");
  EXPECT_NE(second.fields.at("MESSAGE").find("\nReturn Code: -22085622 (0xFEAF000A)\n"), std::string::npos);
  EXPECT_EQ(second.fields.at("PRIORITY"), "3");
  EXPECT_EQ(second.fields.at("TOLM_MESSAGE_NAME"), "MID_DEBUG_RETURN_CODE");
  EXPECT_EQ(second.fields.at("SYSLOG_IDENTIFIER"), "tmtolmui");
  EXPECT_NE(third.fields.at("MESSAGE").find("\nstatic object gone"), std::string::npos);
  EXPECT_EQ(third.fields.at("PRIORITY"), "4");
  EXPECT_EQ(m_journal.take(), std::nullopt);
}

TEST(JournalVanishingTest, RecordsWithoutAJournalAndSyslogAreLostQuietlyUntilAJournalComesBack) {
  auto journal = std::make_unique<Receiver>(kJournalSocket);
  ASSERT_TRUE(journal->isBound());
  const std::unique_ptr<ILogger> logger = makeHostLogger("tmtolmui");
  EXPECT_RESULT(logger->log(7, "first", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_NE(journal->take(), std::nullopt);

  journal.reset();
  EXPECT_RESULT(logger->log(7, "lost", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_RESULT(logger->log(7, "lost\ntoo", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);

  journal = std::make_unique<Receiver>(kJournalSocket);
  EXPECT_RESULT(logger->log(7, "later", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  const std::optional<std::string> datagram = journal->take();
  ASSERT_NE(datagram, std::nullopt);
  EXPECT_NE(datagram->find("MESSAGE=later\n"), std::string::npos);
  EXPECT_EQ(journal->take(), std::nullopt);
}

TEST(JournalVanishingTest, RecordThatNoJournalTakesIsToldToTheCaller) {
  const std::unique_ptr<ILogger> logger = makeJournalLogger("tmtolmui");
  ASSERT_NE(logger, nullptr);
  EXPECT_RESULT(logger->log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), GLOBAL_ERROR_UNEXPECTED);
  {
    const Receiver journal(kJournalSocket);
    ASSERT_TRUE(journal.isBound());
    EXPECT_RESULT(logger->log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
    // Keeps the entry when the receiver goes.
    std::filesystem::create_hard_link(kJournalSocket, "/run/systemd/journal/kept");
  }
  std::filesystem::rename("/run/systemd/journal/kept", kJournalSocket);
  EXPECT_RESULT(logger->log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), GLOBAL_ERROR_UNEXPECTED);
  unlink(kJournalSocket);
}

}  // namespace
}  // namespace halvo
