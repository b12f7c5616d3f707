#include "vpn/Common/Diagnostics/Log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/LogRecorder.h"

namespace halvo {
namespace {

// Made before main(), right behind the object that starts logging.
struct EarlyLook {
  EarlyLook() : bHadRows(findResultCodeRow(GLOBAL_ERROR_UNEXPECTED) != nullptr) {}
  bool bHadRows;
};
__attribute__((init_priority(102))) EarlyLook s_earlyLook;

void callLogMessageIdV(std::uint32_t id, int level, ...) {
  std::va_list arguments;
  va_start(arguments, level);
  logMessageIdV(id, level, arguments);
  va_end(arguments);
}

class LogTest : public ::testing::Test {
 protected:
  // The one record there should be.
  test::LogRecord only() {
    const std::vector<test::LogRecord> records = m_log.records();
    EXPECT_EQ(records.size(), 1U) << m_log.dump();
    return records.empty() ? test::LogRecord{} : records.front();
  }

  test::LogRecorder m_log;
};

TEST_F(LogTest, DebugMessageIsFittedIntoItsRow) {
  logDebugMessage("fileTruncateEnd", "vpn/a.cpp", 396, kLogWarning, "read %d of %s", 3, "x.log");
  const test::LogRecord record = only();
  EXPECT_EQ(record.message, "Function: fileTruncateEnd\nFile: vpn/a.cpp\nLine: 396\nread 3 of x.log");
  EXPECT_EQ(record.severity, 7U);
  EXPECT_EQ(record.messageName, "MID_DEBUG_MESSAGE");
  EXPECT_EQ(record.messageId, 1U);
  EXPECT_EQ(record.level, 87);
}

TEST_F(LogTest, DebugMessageWithNullFormatHasFourLinesTheLastOneEmpty) {
  logDebugMessage("Clear", "vpn/a.cpp", 7, kLogError, nullptr);
  EXPECT_EQ(only().message, "Function: Clear\nFile: vpn/a.cpp\nLine: 7\n");
}

TEST_F(LogTest, TextThatCannotBeFormattedStillMakesARecord) {
  // No character of any locale has this number, so the formatter fails behind "begun ".
  const wchar_t broken[] = {static_cast<wchar_t>(0x7fffffff), 0};
  logDebugMessage("f", "a.cpp", 1, kLogError, "begun %ls", broken);
  EXPECT_EQ(only().message.rfind("Function: f\nFile: a.cpp\nLine: 1\n", 0), 0U);
}

TEST_F(LogTest, ReturnCodeWithoutDescriptionShowsItsTableRow) {
  logDebugReturnCode("fileCopy", "vpn/a.cpp", 396, kLogError, "helperUtil::fileCopy",
                     TOLMENGINE_ERROR_WRITE_FAILURE, nullptr, nullptr);
  const test::LogRecord record = only();
  EXPECT_EQ(record.message,
            "Function: fileCopy\nFile: vpn/a.cpp\nLine: 396\nInvoked Function: helperUtil::fileCopy\n"
            "Return Code: -22085621 (0xFEAF000B)\n"
            "Description: TOLMENGINE_ERROR_WRITE_FAILURE:Error: Failed to write to file\n");
  EXPECT_EQ(record.severity, 7U);
  EXPECT_EQ(record.messageName, "MID_DEBUG_RETURN_CODE");
  EXPECT_EQ(record.messageId, 2U);
  EXPECT_EQ(record.level, 69);
}

TEST_F(LogTest, SuccessWithTextAloneShowsTheTextAsDescription) {
  logDebugReturnCode("f", "a.cpp", 1, kLogInformation, "call", 0, nullptr, "x");
  EXPECT_EQ(only().field("Description"), "x");
  EXPECT_EQ(only().text(), "");
}

TEST_F(LogTest, SuccessWithEmptyTextShowsAnEmptyDescription) {
  logDebugReturnCode("f", "a.cpp", 1, kLogInformation, "call", 0, nullptr, "%s", "");
  EXPECT_EQ(only().message,
            "Function: f\nFile: a.cpp\nLine: 1\nInvoked Function: call\nReturn Code: 0 (0x00000000)\n"
            "Description: \n");
}

TEST_F(LogTest, SuccessWithNeitherTextNorDescriptionIsUnknown) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", 0, nullptr, nullptr);
  EXPECT_EQ(only().field("Description"), "unknown");
  EXPECT_EQ(only().text(), "");
}

TEST_F(LogTest, SuccessWithADescriptionKeepsTheTextApart) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", 0, "d", "x");
  EXPECT_EQ(only().field("Description"), "d");
  EXPECT_EQ(only().text(), "x");
}

TEST_F(LogTest, OperatingSystemNumberWithTextIsUnknownWithTheTextInTheLastLine) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "fopen", 2, nullptr, "no %s", "luck");
  EXPECT_EQ(only().field("Return Code"), "2 (0x00000002)");
  EXPECT_EQ(only().field("Description"), "unknown");
  EXPECT_EQ(only().text(), "no luck");
}

TEST_F(LogTest, OperatingSystemNumberWithDescriptionShowsIt) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "fopen", ENOENT, std::strerror(ENOENT), nullptr);
  EXPECT_EQ(only().field("Description"), "No such file or directory");
  EXPECT_EQ(only().text(), "");
}

TEST_F(LogTest, DescriptionInHandWinsOverTheTable) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", TOLMENGINE_ERROR_WRITE_FAILURE, "d", nullptr);
  EXPECT_EQ(only().field("Description"), "d");
  EXPECT_EQ(m_log.count("TOLMENGINE_ERROR_WRITE_FAILURE"), 0U);
}

TEST_F(LogTest, TableCodeWithoutRowIsUnknownWithTheTextInTheLastLine) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", 0xfedf0000, nullptr, "text");
  EXPECT_EQ(only().field("Return Code"), "-18939904 (0xFEDF0000)");
  EXPECT_EQ(only().field("Description"), "unknown");
  EXPECT_EQ(only().text(), "text");
}

TEST_F(LogTest, TableCodeWithTextShowsRowAndText) {
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", GLOBAL_ERROR_UNEXPECTED, nullptr, "n %u", 4U);
  EXPECT_EQ(only().field("Description"), "GLOBAL_ERROR_UNEXPECTED");
  EXPECT_EQ(only().text(), "n 4");
}

TEST_F(LogTest, ErrorTextGivenAsTheFormatIsWrittenAsIfFormatted) {
  const std::string text = "100%% done";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", 2, nullptr, text.c_str());
#pragma GCC diagnostic pop
  EXPECT_EQ(only().text(), "100% done");
}

TEST_F(LogTest, MacrosFillInThePlaceOfTheCall) {
  const int line = __LINE__ + 1;
  LOG_MESSAGE(kLogError, "one %d", 1);
  LOG_RETURN_CODE(kLogError, "open", GLOBAL_ERROR_BAD_HANDLE);
  LOG_RETURN_CODE_DESCRIBED(kLogWarning, "open", ENOENT, "missing");
  LOG_RETURN_CODE_TEXT(kLogInformation, "open", 0, "text %d", 2);
  const std::vector<test::LogRecord> records = m_log.records();
  ASSERT_EQ(records.size(), 4U);
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(records[i].field("Function"), "TestBody");
    // What stands in front is the build's.
    EXPECT_THAT(records[i].field("File"), ::testing::EndsWith("vpn/Common/Diagnostics/Log_test.cpp"));
    EXPECT_EQ(records[i].field("Line"), std::to_string(line + static_cast<int>(i)));
  }
  EXPECT_EQ(records[0].text(), "one 1");
  EXPECT_TRUE(m_log.hasReturnCode('E', "open", GLOBAL_ERROR_BAD_HANDLE));
  EXPECT_EQ(records[2].field("Description"), "missing");
  EXPECT_EQ(records[3].field("Description"), "text 2");
}

TEST_F(LogTest, LevelsAreTheLettersAndAreNotFiltered) {
  for (const int level : {69, 87, 73, 84, 0, -1}) {
    logDebugMessage("f", "a.cpp", 1, level, "x");
  }
  std::vector<int> levels;
  for (const test::LogRecord& record : m_log.records()) {
    levels.push_back(record.level);
    EXPECT_EQ(record.severity, 7U);
  }
  EXPECT_EQ(levels, (std::vector<int>{'E', 'W', 'I', 'T', 0, -1}));
}

TEST_F(LogTest, CallersPartIsCutAt1023Characters) {
  const std::string text(1023, 'a');
  logDebugMessage("f", "a.cpp", 1, kLogError, "%s", text.c_str());
  logDebugMessage("f", "a.cpp", 1, kLogError, "%sb", text.c_str());
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", 2, nullptr, "%sb", text.c_str());
  for (const test::LogRecord& record : m_log.records()) {
    EXPECT_EQ(record.text(), text);
  }
}

TEST_F(LogTest, MessageOf3000CharactersReachesTheLoggerWithin2047) {
  const std::string text(3000, 'a');
  logDebugMessage("f", "a.cpp", 1, kLogError, "%s", text.c_str());
  EXPECT_EQ(only().message, "Function: f\nFile: a.cpp\nLine: 1\n" + text.substr(0, 1023));
  EXPECT_LE(only().message.size(), 2047U);
}

TEST_F(LogTest, WholeMessageIsCutAt2047Characters) {
  const std::string description(3000, 'd');
  logDebugReturnCode("f", "a.cpp", 1, kLogError, "call", 2, description.c_str(), "%s", description.c_str());
  const std::string head =
      "Function: f\nFile: a.cpp\nLine: 1\nInvoked Function: call\nReturn Code: 2 (0x00000002)\n"
      "Description: ";
  EXPECT_EQ(only().message, head + description.substr(0, 2047 - head.size()));

  m_log.clear();
  logMessageId(MID_UNKNOWN, kLogError, std::string(2047, 'x').c_str());
  EXPECT_EQ(only().message, std::string(2047, 'x'));
  m_log.clear();
  logMessageId(MID_UNKNOWN, kLogError, std::string(2048, 'x').c_str());
  EXPECT_EQ(only().message, std::string(2047, 'x'));
}

TEST_F(LogTest, MessageIdsWriteTheirRows) {
  logMessageId(MID_UNKNOWN, kLogInformation, "plain");
  logMessageId(MID_VERBOSE_MESSAGE, kLogWarning, "f", "a.cpp", 12, "loud");
  const std::vector<test::LogRecord> records = m_log.records();
  ASSERT_EQ(records.size(), 2U);
  EXPECT_EQ(records[0].message, "plain");
  EXPECT_EQ(records[0].severity, 5U);
  EXPECT_EQ(records[0].messageName, "MID_UNKNOWN");
  EXPECT_EQ(records[0].messageId, 0U);
  EXPECT_EQ(records[0].level, 73);
  EXPECT_EQ(records[1].message, "Function: f\nFile: a.cpp\nLine: 12\nloud");
  EXPECT_EQ(records[1].severity, 7U);
  EXPECT_EQ(records[1].messageName, "MID_VERBOSE_MESSAGE");
  EXPECT_EQ(records[1].messageId, 3U);
}

TEST_F(LogTest, FormWithArgumentListWritesTheSame) {
  callLogMessageIdV(MID_DEBUG_MESSAGE, kLogWarning, "f", "a.cpp", 12, "text");
  EXPECT_EQ(only().message, "Function: f\nFile: a.cpp\nLine: 12\ntext");
  EXPECT_EQ(only().level, 87);
}

TEST_F(LogTest, FormWithTheIdAloneSetsTheTraceLevel) {
  logMessageIdTrace(MID_UNKNOWN, "traced");
  EXPECT_EQ(only().message, "traced");
  EXPECT_EQ(only().level, 84);
  EXPECT_EQ(only().severity, 5U);
}

TEST_F(LogTest, IdInNoRangeWritesTheEmptyTextUnderTheNameUnknown) {
  for (const std::uint32_t id : {9U, 7008U}) {
    m_log.clear();
    logMessageId(id, kLogError, "dropped");
    EXPECT_EQ(only().message, "");
    EXPECT_EQ(only().messageName, "UNKNOWN");
    EXPECT_EQ(only().messageId, id);
    EXPECT_EQ(only().severity, 7U);
    EXPECT_EQ(only().level, 69);
  }
}

TEST_F(LogTest, IdWhoseTextBelongsToAnotherProgramWritesTheSame) {
  logMessageId(2154, kLogWarning, 5);
  EXPECT_EQ(only().message, "");
  EXPECT_EQ(only().messageName, "UNKNOWN");
  EXPECT_EQ(only().messageId, 2154U);
}

TEST_F(LogTest, MessagesOfSeveralThreadsArriveWhole) {
  constexpr int kThreads = 4;
  constexpr int kMessages = 250;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kMessages; ++i) {
        logDebugMessage("worker", "a.cpp", t, kLogWarning, "message %d of thread %d", i, t);
        logDebugReturnCode("worker", "a.cpp", t, kLogError, "call", TOLMENGINE_ERROR_INTERNAL, nullptr,
                           "code %d of thread %d", i, t);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::multiset<std::string> texts;
  for (const test::LogRecord& record : m_log.records()) {
    texts.insert(record.text());
  }
  EXPECT_EQ(texts.size(), 2U * kThreads * kMessages);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kMessages; ++i) {
      const std::string end = " " + std::to_string(i) + " of thread " + std::to_string(t);
      EXPECT_EQ(texts.count("message" + end), 1U) << end;
      EXPECT_EQ(texts.count("code" + end), 1U) << end;
    }
  }
}

struct Range {
  std::uint32_t baseId;
  std::uint32_t count;
  const MessageRow* (*rows)(std::uint32_t& count);
};

constexpr Range kRanges[] = {
    {0, 4, &getMessageRange1},     {10, 6, &getMessageRange2},    {2000, 155, &getMessageRange3},
    {3000, 34, &getMessageRange4}, {4000, 2, &getMessageRange5},  {5000, 21, &getMessageRange6},
    {5900, 23, &getMessageRange7}, {6100, 18, &getMessageRange8}, {6200, 7, &getMessageRange9},
    {6300, 1, &getMessageRange10}, {7000, 8, &getMessageRange11},
};

TEST(MessageTableTest, ElevenRangesHoldTheirBasesAndCounts) {
  std::uint32_t count = 0;
  const MessageRange* const ranges = getMessageRanges(count);
  ASSERT_EQ(count, 11U);
  std::uint32_t total = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    EXPECT_EQ(ranges[i].baseId, kRanges[i].baseId);
    EXPECT_EQ(ranges[i].count, kRanges[i].count);
    total += ranges[i].count;
  }
  EXPECT_EQ(total, 279U);
}

TEST(MessageTableTest, AccessorOfEachRangeGivesItsRowsAndTheirNumber) {
  std::uint32_t ignored = 0;
  const MessageRange* const ranges = getMessageRanges(ignored);
  for (std::size_t i = 0; i < std::size(kRanges); ++i) {
    std::uint32_t count = 0;
    EXPECT_EQ(kRanges[i].rows(count), ranges[i].rows);
    EXPECT_EQ(count, kRanges[i].count);
  }
}

TEST(MessageTableTest, FirstRangeReadsInFull) {
  const MessageRow expected[] = {
      {"MID_UNKNOWN", 5, "%s"},
      {"MID_DEBUG_MESSAGE", 7, "Function: %s\nFile: %s\nLine: %d\n%s"},
      {"MID_DEBUG_RETURN_CODE", 7,
       "Function: %s\nFile: %s\nLine: %d\nInvoked Function: %s\nReturn Code: %d (0x%.8X)\n"
       "Description: %s\n%s"},
      {"MID_VERBOSE_MESSAGE", 7, "Function: %s\nFile: %s\nLine: %d\n%s"},
  };
  for (std::uint32_t id = 0; id < 4; ++id) {
    EXPECT_STREQ(findMessageRow(id)->name, expected[id].name);
    EXPECT_EQ(findMessageRow(id)->severity, expected[id].severity);
    EXPECT_STREQ(findMessageRow(id)->format, expected[id].format);
  }
}

TEST(MessageTableTest, EachIdOfARangeFindsItsRowAndItsNeighboursFindNone) {
  const MessageRow* const fallBack = findMessageRow(9);
  for (const Range& range : kRanges) {
    std::uint32_t count = 0;
    const MessageRow* const rows = range.rows(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      EXPECT_EQ(findMessageRow(range.baseId + i), &rows[i]) << range.baseId + i;
      EXPECT_NE(findMessageRow(range.baseId + i), fallBack) << range.baseId + i;
    }
    EXPECT_EQ(findMessageRow(range.baseId + count), fallBack) << range.baseId + count;
    EXPECT_EQ(findMessageRow(range.baseId - 1), fallBack) << range.baseId - 1;
  }
  EXPECT_EQ(findMessageRow(0xffffffff), fallBack);
}

TEST(MessageTableTest, Id2154FindsTheLastRowOfItsRangeAnd2155None) {
  std::uint32_t count = 0;
  const MessageRow* const rows = getMessageRange3(count);
  EXPECT_EQ(findMessageRow(2154), &rows[count - 1]);
  EXPECT_EQ(findMessageRow(2155), findMessageRow(9));
}

TEST(MessageTableTest, Ids9And7008FindTheFallBackRow) {
  for (const std::uint32_t id : {9U, 7008U}) {
    EXPECT_STREQ(findMessageRow(id)->name, "UNKNOWN");
    EXPECT_EQ(findMessageRow(id)->severity, 7U);
    EXPECT_STREQ(findMessageRow(id)->format, "");
  }
}

TEST(MessageTableTest, RowsOfOtherProgramsReadAsTheFallBackRow) {
  for (std::size_t i = 1; i < std::size(kRanges); ++i) {
    std::uint32_t count = 0;
    const MessageRow* const rows = kRanges[i].rows(count);
    for (std::uint32_t row = 0; row < count; ++row) {
      EXPECT_STREQ(rows[row].name, "UNKNOWN");
      EXPECT_EQ(rows[row].severity, 7U);
      EXPECT_STREQ(rows[row].format, "");
    }
  }
}

// Counts its messages outside itself and tells its end.
class CountingLogger : public ILogger {
 public:
  CountingLogger(int* messages, int* ends) : m_pMessages(messages), m_pEnds(ends) {}
  ~CountingLogger() override { ++*m_pEnds; }
  CountingLogger(const CountingLogger&) = delete;
  CountingLogger& operator=(const CountingLogger&) = delete;
  ResultCode log(std::uint32_t /*severity*/, const char* /*message*/, const char* /*messageName*/,
                 std::uint32_t /*messageId*/, int /*level*/) override {
    ++*m_pMessages;
    return GLOBAL_ERROR_UNEXPECTED;
  }

 private:
  int* m_pMessages;
  int* m_pEnds;
};

// Starts each test with logging stopped and leaves it as the program had it.
class LogStartTest : public ::testing::Test {
 protected:
  LogStartTest() { stop(); }
  ~LogStartTest() override {
    stop();
    ResultCode result = 1;
    acquireLogging(result, "tmtolmui", nullptr);
    EXPECT_EQ(result, 0U);
  }

  static void stop() {
    while (!releaseLogging()) {
    }
  }

  static void acquire(ILogger* logger) {
    ResultCode result = 77;
    acquireLogging(result, "test", logger);
    EXPECT_EQ(result, 0U);
  }

  CountingLogger* makeLogger() { return new CountingLogger(&m_nMessages, &m_nEnds); }

  int m_nMessages = 0;
  int m_nEnds = 0;
};

TEST_F(LogStartTest, LoggingHasStartedBeforeOtherStaticObjects) {
  EXPECT_TRUE(s_earlyLook.bHadRows);
}

TEST_F(LogStartTest, GivenLoggerIsInstalledAndDestroyedByTheLastRelease) {
  acquire(makeLogger());
  LOG_MESSAGE(kLogError, "one");
  EXPECT_EQ(m_nMessages, 1);
  EXPECT_EQ(m_nEnds, 0);
  EXPECT_TRUE(releaseLogging());
  EXPECT_EQ(m_nEnds, 1);
}

TEST_F(LogStartTest, SecondAcquireInstallsNothingAndTheLoggerLivesUntilTheSecondRelease) {
  acquire(makeLogger());
  int otherMessages = 0;
  int otherEnds = 0;
  {
    // Stays the caller's, since one is installed.
    CountingLogger other(&otherMessages, &otherEnds);
    acquire(&other);
    acquire(nullptr);
    LOG_MESSAGE(kLogError, "one");
    EXPECT_FALSE(releaseLogging());
    EXPECT_FALSE(releaseLogging());
    EXPECT_EQ(otherEnds, 0);
  }
  EXPECT_EQ(otherMessages, 0);
  EXPECT_EQ(m_nEnds, 0);
  LOG_MESSAGE(kLogError, "two");
  EXPECT_EQ(m_nMessages, 2);
  EXPECT_TRUE(releaseLogging());
  EXPECT_EQ(m_nEnds, 1);
}

TEST_F(LogStartTest, ReleaseWithoutReferenceDoesNothing) {
  EXPECT_TRUE(releaseLogging());
  EXPECT_TRUE(releaseLogging());
  acquire(makeLogger());
  EXPECT_TRUE(releaseLogging());
  EXPECT_EQ(m_nEnds, 1);
}

TEST_F(LogStartTest, StartingAgainInstallsANewLogger) {
  acquire(makeLogger());
  releaseLogging();
  acquire(makeLogger());
  LOG_MESSAGE(kLogError, "one");
  EXPECT_EQ(m_nMessages, 1);
  releaseLogging();
  EXPECT_EQ(m_nEnds, 2);
}

TEST_F(LogStartTest, WithoutLoggerTheTextIsDroppedSilently) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  LOG_MESSAGE(kLogError, "nobody %d", 1);
  LOG_RETURN_CODE(kLogError, "open", GLOBAL_ERROR_BAD_HANDLE);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(LogStartTest, TextIsFormattedAlsoWhereNobodyTakesIt) {
  int written = 0;
  LOG_MESSAGE(kLogError, "four%n", &written);
  EXPECT_EQ(written, 4);
  written = 0;
  LOG_RETURN_CODE_TEXT(kLogError, "open", 0, "five.%n", &written);
  EXPECT_EQ(written, 5);
}

TEST_F(LogStartTest, FailingLoggerIsCalledAgainForTheNextMessage) {
  acquire(makeLogger());
  LOG_MESSAGE(kLogError, "one");
  LOG_MESSAGE(kLogError, "two");
  EXPECT_EQ(m_nMessages, 2);
}

// A logger whose calls of the host leave their mark.
class ErrnoLogger : public ILogger {
 public:
  ResultCode log(std::uint32_t /*severity*/, const char* /*message*/, const char* /*messageName*/,
                 std::uint32_t /*messageId*/, int /*level*/) override {
    errno = EBUSY;
    return 0;
  }
};

TEST_F(LogStartTest, LoggingLeavesErrnoAlone) {
  acquire(new ErrnoLogger);
  const wchar_t broken[] = {static_cast<wchar_t>(0x7fffffff), 0};
  errno = ENOENT;
  LOG_MESSAGE(kLogError, "%ls", broken);
  EXPECT_EQ(errno, ENOENT);
  LOG_RETURN_CODE_TEXT(kLogError, "open", errno, "%ls", broken);
  EXPECT_EQ(errno, ENOENT);
  logMessageId(MID_UNKNOWN, kLogError, "x");
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(LogStartTest, TableStaysRegisteredAfterTheLastRelease) {
  acquire(makeLogger());
  releaseLogging();
  EXPECT_STREQ(findResultCodeRow(GLOBAL_ERROR_UNEXPECTED), "GLOBAL_ERROR_UNEXPECTED");
}

TEST_F(LogStartTest, EachStartRegistersTheTable) {
  registerResultCodeModules(nullptr, 0);
  EXPECT_EQ(findResultCodeRow(GLOBAL_ERROR_UNEXPECTED), nullptr);
  acquire(makeLogger());
  EXPECT_STREQ(findResultCodeRow(GLOBAL_ERROR_UNEXPECTED), "GLOBAL_ERROR_UNEXPECTED");
  registerResultCodeModules(nullptr, 0);
  acquire(nullptr);
  EXPECT_STREQ(findResultCodeRow(GLOBAL_ERROR_UNEXPECTED), "GLOBAL_ERROR_UNEXPECTED");
}

// Logs at its own end, which must not reach it again.
class LastWordLogger : public CountingLogger {
 public:
  using CountingLogger::CountingLogger;
  ~LastWordLogger() override { LOG_MESSAGE(kLogInformation, "last word"); }
};

TEST_F(LogStartTest, RecordMadeByTheEndOfTheLoggerIsDropped) {
  acquire(new LastWordLogger(&m_nMessages, &m_nEnds));
  EXPECT_TRUE(releaseLogging());
  EXPECT_EQ(m_nMessages, 0);
  EXPECT_EQ(m_nEnds, 1);
}

TEST_F(LogStartTest, ReferencesOfSeveralThreadsAreCounted) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 200;
  acquire(makeLogger());
  std::vector<std::thread> threads;
  std::array<int, kThreads> last{};
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &last] {
      for (int i = 0; i < kRounds; ++i) {
        ResultCode result = 0;
        acquireLogging(result, "test", nullptr);
        last[static_cast<std::size_t>(t)] += releaseLogging() ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const int times : last) {
    EXPECT_EQ(times, 0);
  }
  EXPECT_EQ(m_nEnds, 0);
  EXPECT_TRUE(releaseLogging());
  EXPECT_EQ(m_nEnds, 1);
}

// No memory for the copy that a back-end makes: the exception went through whoever logged.
TEST_F(LogTest, LackOfMemoryInALoggerReachesNobodyWhoLogs) {
  class Starved : public ILogger {
   public:
    ResultCode log(std::uint32_t, const char*, const char*, std::uint32_t, int) override {
      throw std::bad_alloc();
    }
  };
  while (!releaseLogging()) {
  }
  ResultCode result = 0;
  acquireLogging(result, "test", new Starved);
  errno = EPERM;
  EXPECT_NO_THROW(LOG_MESSAGE(kLogError, "lost"));
  EXPECT_NO_THROW(LOG_RETURN_CODE(kLogError, "malloc", ENOMEM));
  EXPECT_EQ(errno, EPERM);
  while (!releaseLogging()) {
  }
  acquireLogging(result, "tmtolmui", nullptr);
}

}  // namespace
}  // namespace halvo
