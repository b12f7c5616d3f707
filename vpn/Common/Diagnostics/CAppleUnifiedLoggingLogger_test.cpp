#include "vpn/Common/Diagnostics/CAppleUnifiedLoggingLogger.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ResultMatchers.h"
#include "vpn/Common/Diagnostics/AppleLoggerChoice.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

struct Record {
  const void* log;
  int type;
  std::string format;
  std::string text;
};

class RecordingUnifiedLog final : public IUnifiedLog {
 public:
  Log create(const char* subsystem, const char* category) override {
    m_created.push_back(std::string(subsystem) + " " + category);
    return m_bRefuses ? nullptr : &m_own;
  }
  Log defaultLog() override { return &m_default; }
  void write(Log log, std::uint8_t type, const char* format, const char* text) override {
    std::unique_lock<std::mutex> hold(m_mutex);
    m_records.push_back({log, type, format, text});
    if (m_nMeeting > 0) {
      // Waits, bounded, for as many writers at once.
      ++m_nWaiting;
      m_arrived.notify_all();
      m_bMet =
          m_arrived.wait_for(hold, std::chrono::seconds(90), [this] { return m_nWaiting >= m_nMeeting; });
    }
  }
  void release(Log log) override { m_released.push_back(log); }

  char m_own = 0;
  char m_default = 0;
  bool m_bRefuses = false;
  int m_nMeeting = 0;
  int m_nWaiting = 0;
  bool m_bMet = false;
  std::mutex m_mutex;
  std::condition_variable m_arrived;
  std::vector<std::string> m_created;
  std::vector<Record> m_records;
  std::vector<const void*> m_released;
};

class CAppleUnifiedLoggingLoggerTest : public ::testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  // The texts of the records that one message makes; all go to the logger's own log object, public.
  Texts written(const std::string& message) {
    CAppleUnifiedLoggingLogger logger(m_host, "tmtolmui");
    m_host.m_records.clear();
    EXPECT_RESULT(logger.log(7, message.c_str(), "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
    Texts texts;
    for (const Record& record : m_host.m_records) {
      EXPECT_EQ(record.log, &m_host.m_own);
      EXPECT_EQ(record.format, "%{public}s");
      EXPECT_EQ(record.type, 16);
      texts.push_back(record.text);
    }
    return texts;
  }

  int typeOf(std::uint32_t severity, int level) {
    CAppleUnifiedLoggingLogger logger(m_host, "tmtolmui");
    m_host.m_records.clear();
    EXPECT_RESULT(logger.log(severity, "x", "MID_DEBUG_MESSAGE", 1, level), 0U);
    return m_host.m_records.size() == 1 ? m_host.m_records[0].type : -1;
  }

  RecordingUnifiedLog m_host;
};

TEST_F(CAppleUnifiedLoggingLoggerTest, MakesALogObjectWithItsNameAsCategoryAndReleasesIt) {
  {
    const CAppleUnifiedLoggingLogger logger(m_host, "tmtolmui");
    EXPECT_EQ(m_host.m_created, (Texts{"com.halvo.tessarmont.vpn tmtolmui"}));
    EXPECT_TRUE(m_host.m_records.empty());
    EXPECT_TRUE(m_host.m_released.empty());
  }
  EXPECT_EQ(m_host.m_released, (std::vector<const void*>{&m_host.m_own}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, FailedCreationIsAFaultInTheDefaultLogWhichIsNotReleased) {
  m_host.m_bRefuses = true;
  {
    CAppleUnifiedLoggingLogger logger(m_host, "tmtolmui");
    EXPECT_RESULT(logger.log(7, "later", "MID_DEBUG_MESSAGE", 1, kLogWarning), 0U);
  }
  ASSERT_EQ(m_host.m_records.size(), 2U);
  EXPECT_EQ(m_host.m_records[0].log, &m_host.m_default);
  EXPECT_EQ(m_host.m_records[0].type, 17);
  EXPECT_EQ(m_host.m_records[0].text, "Tessarmont failed to create custom log object.");
  EXPECT_EQ(m_host.m_records[1].log, &m_host.m_default);
  EXPECT_EQ(m_host.m_records[1].type, 0);
  EXPECT_EQ(m_host.m_records[1].text, "later");
  EXPECT_TRUE(m_host.m_released.empty());
}

TEST_F(CAppleUnifiedLoggingLoggerTest, NullMessageIsRefused) {
  CAppleUnifiedLoggingLogger logger(m_host, "tmtolmui");
  EXPECT_RESULT(logger.log(7, nullptr, "MID_DEBUG_MESSAGE", 1, kLogError), 0xfe000002);
  EXPECT_TRUE(m_host.m_records.empty());
}

TEST_F(CAppleUnifiedLoggingLoggerTest, EmptyMessageWritesNothing) {
  EXPECT_EQ(written(""), Texts{});
}

TEST_F(CAppleUnifiedLoggingLoggerTest, SeverityBelow7GivesTheRecordType) {
  const int types[] = {17, 17, 17, 16, 0, 0, 0};
  for (std::uint32_t severity = 0; severity < 7; ++severity) {
    for (const int level : {69, 87, 73, 84, 0}) {
      EXPECT_EQ(typeOf(severity, level), types[severity]) << severity;
    }
  }
}

TEST_F(CAppleUnifiedLoggingLoggerTest, LetterGivesTheRecordTypeFromSeverity7Up) {
  for (const std::uint32_t severity : {7U, 8U, 0xffffffffU}) {
    EXPECT_EQ(typeOf(severity, kLogError), 16);
    EXPECT_EQ(typeOf(severity, kLogWarning), 0);
    EXPECT_EQ(typeOf(severity, kLogInformation), 0);
    EXPECT_EQ(typeOf(severity, kLogTrace), 0);
    EXPECT_EQ(typeOf(severity, 0), 0);
  }
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MessageOf1000CharactersIsWrittenWhole) {
  EXPECT_EQ(written(std::string(1000, 'x')), (Texts{std::string(1000, 'x')}));
  EXPECT_EQ(written("short"), (Texts{"short"}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, ShortMessageIsNotPartedAtItsLineFeedsOrBlanks) {
  EXPECT_EQ(written("a b\nc\n"), (Texts{"a b c "}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MessageOf1001CharactersWithoutSeparatorMakesTwoRecords) {
  EXPECT_EQ(written(std::string(1000, 'x') + "y"), (Texts{std::string(1000, 'x') + " -->", "<-- y"}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MessageIsPartedAtALineFeedWhichIsDropped) {
  EXPECT_EQ(written(std::string(900, 'a') + "\n" + std::string(599, 'b')),
            (Texts{std::string(900, 'a') + " -->", "<-- " + std::string(599, 'b')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MessageIsPartedAtTheLastLineFeedOfTheChunk) {
  EXPECT_EQ(
      written(std::string(300, 'a') + "\n" + std::string(300, 'b') + "\n" + std::string(600, 'c')),
      (Texts{std::string(300, 'a') + " " + std::string(300, 'b') + " -->", "<-- " + std::string(600, 'c')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, LineFeedWinsOverALaterBlank) {
  EXPECT_EQ(
      written(std::string(100, 'a') + "\n" + std::string(700, 'b') + " " + std::string(200, 'c')),
      (Texts{std::string(100, 'a') + " -->", "<-- " + std::string(700, 'b') + " " + std::string(200, 'c')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MessageIsPartedAtTheLastBlankWhereNoLineFeedIs) {
  EXPECT_EQ(
      written(std::string(400, 'a') + " " + std::string(400, 'b') + " " + std::string(400, 'c')),
      (Texts{std::string(400, 'a') + " " + std::string(400, 'b') + " -->", "<-- " + std::string(400, 'c')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, SeparatorAtEitherEdgeOfTheChunkIsTaken) {
  // The last character of the chunk.
  EXPECT_EQ(written(std::string(999, 'a') + "\n" + "b"), (Texts{std::string(999, 'a') + " -->", "<-- b"}));
  // The first: the record holds nothing but its mark.
  EXPECT_EQ(written("\n" + std::string(1000, 'a')), (Texts{" -->", "<-- " + std::string(1000, 'a')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, SeparatorRightBehindTheChunkIsNotTaken) {
  EXPECT_EQ(written(std::string(1000, 'a') + "\nb"), (Texts{std::string(1000, 'a') + " -->", "<--  b"}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MiddleRecordsCarryBothMarks) {
  EXPECT_EQ(written(std::string(2000, 'a') + std::string(47, 'b')),
            (Texts{std::string(1000, 'a') + " -->", "<-- " + std::string(1000, 'a') + " -->",
                   "<-- " + std::string(47, 'b')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MessageOfTwoFullChunksEndsWithoutMark) {
  EXPECT_EQ(written(std::string(2000, 'a')),
            (Texts{std::string(1000, 'a') + " -->", "<-- " + std::string(1000, 'a')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, MarksDoNotCountIntoTheNextChunk) {
  // The second chunk is cut at its own blank, 500 characters in.
  EXPECT_EQ(written(std::string(1000, 'a') + std::string(500, 'b') + " " + std::string(800, 'c')),
            (Texts{std::string(1000, 'a') + " -->", "<-- " + std::string(500, 'b') + " -->",
                   "<-- " + std::string(800, 'c')}));
}

TEST_F(CAppleUnifiedLoggingLoggerTest, TwoThreadsAreInTheHostsLogAtOnce) {
  CAppleUnifiedLoggingLogger logger(m_host, "tmtolmui");
  m_host.m_nMeeting = 2;
  std::thread other([&logger] { static_cast<void>(logger.log(7, "one", "", 1, kLogError)); });
  static_cast<void>(logger.log(7, "two", "", 1, kLogError));
  other.join();
  EXPECT_TRUE(m_host.m_bMet);
}

class CountingSystemLog final : public IAppleSystemLog {
 public:
  Client open(const char* /*ident*/, const char* /*facility*/, std::uint32_t /*options*/) override {
    ++m_nOpened;
    return this;
  }
  void write(Client /*client*/, int /*level*/, const char* /*format*/, const char* /*text*/) override {}
  void close(Client /*client*/) override {}

  int m_nOpened = 0;
};

class AppleLoggerChoiceTest : public ::testing::Test {
 protected:
  // Makes the logger of a version; returns which of the two services it has turned to.
  std::string choiceFor(std::int32_t family, std::int32_t major, std::int32_t minor, std::int32_t patch) {
    OSInfo system{};
    system.family = family;
    setOSInfo(system, "Mac OS X", major, minor, patch);
    CountingSystemLog systemLog;
    RecordingUnifiedLog unifiedLog;
    const std::unique_ptr<ILogger> logger = makeAppleLogger(system, systemLog, unifiedLog, "tmtolmui");
    EXPECT_NE(logger, nullptr);
    return std::string(systemLog.m_nOpened == 1 ? "system" : "") +
           (unifiedLog.m_created.size() == 1 ? "unified" : "");
  }
};

TEST_F(AppleLoggerChoiceTest, Version10_12_0TakesTheUnifiedLogAndVersion10_11_6TheOlderBackEnd) {
  EXPECT_EQ(choiceFor(kFamilyMac, 10, 12, 0), "unified");
  EXPECT_EQ(choiceFor(kFamilyMac, 10, 11, 6), "system");
}

TEST_F(AppleLoggerChoiceTest, LaterVersionsTakeTheUnifiedLog) {
  EXPECT_EQ(choiceFor(kFamilyMac, 11, 0, 0), "unified");
  EXPECT_EQ(choiceFor(kFamilyMac, 9, 12, 0), "system");
}

}  // namespace
}  // namespace halvo
