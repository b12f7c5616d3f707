#include "vpn/Common/Diagnostics/CASLLogger.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/ResultMatchers.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {
namespace {

// Records every call as one line of text.
class RecordingSystemLog final : public IAppleSystemLog {
 public:
  Client open(const char* ident, const char* facility, std::uint32_t options) override {
    enter();
    m_calls.push_back(std::string("open ") + ident + " " + facility + " " + std::to_string(options));
    leave();
    return m_bRefuses ? nullptr : this;
  }
  void write(Client client, int level, const char* format, const char* text) override {
    enter();
    m_calls.push_back(nameOf(client) + " write " + std::to_string(level) + " " + format + " [" + text + "]");
    if (m_pNested != nullptr) {
      ILogger* const logger = std::exchange(m_pNested, nullptr);
      EXPECT_RESULT(logger->log(7, "nested", "", 1, kLogError), 0U);
    }
    leave();
  }
  void close(Client client) override {
    enter();
    m_calls.push_back(nameOf(client) + " close");
    leave();
  }

  bool m_bRefuses = false;
  ILogger* m_pNested = nullptr;  // logged to from within the next write
  std::vector<std::string> m_calls;
  std::atomic<int> m_nInside{0};
  std::atomic<int> m_nMostInside{0};

 private:
  void enter() {
    const int inside = ++m_nInside;
    if (inside > m_nMostInside) {
      m_nMostInside = inside;
    }
    std::this_thread::yield();
  }
  void leave() { --m_nInside; }
  std::string nameOf(Client client) const { return client == this ? "own" : "default"; }
};

class CASLLoggerTest : public ::testing::Test {
 protected:
  // The lines written by one message to a logger whose host opened a client.
  std::vector<std::string> written(std::uint32_t severity, const char* message, int level) {
    CASLLogger logger(m_host, "tmtolmui");
    m_host.m_calls.clear();
    EXPECT_RESULT(logger.log(severity, message, "MID_DEBUG_MESSAGE", 1, level), 0U);
    return m_host.m_calls;
  }

  using Calls = std::vector<std::string>;
  RecordingSystemLog m_host;
};

TEST_F(CASLLoggerTest, OpensAClientUnderItsNameAndClosesIt) {
  {
    const CASLLogger logger(m_host, "tmtolmui");
    EXPECT_EQ(m_host.m_calls, (Calls{"open tmtolmui com.halvo.tessarmont.vpn 0"}));
  }
  EXPECT_EQ(m_host.m_calls, (Calls{"open tmtolmui com.halvo.tessarmont.vpn 0", "own close"}));
}

TEST_F(CASLLoggerTest, FailedOpenIsToldToTheDefaultClientWhichTakesLaterLinesAndIsNotClosed) {
  m_host.m_bRefuses = true;
  {
    CASLLogger logger(m_host, "tmtolmui");
    EXPECT_RESULT(logger.log(7, "later", "MID_DEBUG_MESSAGE", 1, kLogWarning), 0U);
  }
  EXPECT_EQ(m_host.m_calls, (Calls{"open tmtolmui com.halvo.tessarmont.vpn 0",
                                   "default write 3 %s [Tessarmont failed to create custom log object.]",
                                   "default write 4 %s [later]"}));
}

TEST_F(CASLLoggerTest, NullMessageIsRefused) {
  CASLLogger logger(m_host, "tmtolmui");
  m_host.m_calls.clear();
  EXPECT_RESULT(logger.log(7, nullptr, "MID_DEBUG_MESSAGE", 1, kLogError), 0xfe000002);
  EXPECT_EQ(m_host.m_calls, Calls{});
  // The lock was given back.
  EXPECT_RESULT(logger.log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
}

TEST_F(CASLLoggerTest, EmptyMessageWritesAnEmptyLine) {
  EXPECT_EQ(written(7, "", kLogError), (Calls{"own write 3 %s []"}));
}

TEST_F(CASLLoggerTest, LineFeedsBecomeBlanksSoThatARowIsOneLine) {
  EXPECT_EQ(written(7, "Function: f\nFile: a.cpp\nLine: 1\n", kLogError),
            (Calls{"own write 3 %s [Function: f File: a.cpp Line: 1 ]"}));
}

TEST_F(CASLLoggerTest, LongMessageIsOneLine) {
  const std::string text(2047, 'x');
  EXPECT_EQ(written(7, text.c_str(), kLogError), (Calls{"own write 3 %s [" + text + "]"}));
}

TEST_F(CASLLoggerTest, PercentSignsOfTheMessageAreNoFormat) {
  EXPECT_EQ(written(7, "100%s", kLogError), (Calls{"own write 3 %s [100%s]"}));
}

TEST_F(CASLLoggerTest, Severity7RowsTakeTheirLevelFromTheLetter) {
  EXPECT_EQ(written(7, "x", kLogError), (Calls{"own write 3 %s [x]"}));
  EXPECT_EQ(written(7, "x", kLogWarning), (Calls{"own write 4 %s [x]"}));
  EXPECT_EQ(written(7, "x", kLogInformation), (Calls{"own write 6 %s [x]"}));
  EXPECT_EQ(written(7, "x", kLogTrace), (Calls{"own write 6 %s [x]"}));
  EXPECT_EQ(written(7, "x", 'D'), (Calls{"own write 7 %s [x]"}));
  EXPECT_EQ(written(9, "x", kLogError), (Calls{"own write 3 %s [x]"}));
}

TEST_F(CASLLoggerTest, Severity5IsLevel5WhateverTheLetter) {
  for (const int level : {69, 87, 73, 84, 0}) {
    EXPECT_EQ(written(5, "x", level), (Calls{"own write 5 %s [x]"}));
  }
}

TEST_F(CASLLoggerTest, SeverityBelow7IsTheLevelItself) {
  for (std::uint32_t severity = 0; severity < 7; ++severity) {
    EXPECT_EQ(written(severity, "x", kLogError),
              (Calls{"own write " + std::to_string(severity) + " %s [x]"}));
  }
}

TEST_F(CASLLoggerTest, CopyIsWrittenAndTheCallersTextStays) {
  const char message[] = "a\nb";
  EXPECT_EQ(written(7, message, kLogError), (Calls{"own write 3 %s [a b]"}));
  EXPECT_STREQ(message, "a\nb");
}

TEST_F(CASLLoggerTest, ThreadThatHoldsTheClassLockMayLogAgain) {
  CASLLogger logger(m_host, "tmtolmui");
  m_host.m_calls.clear();
  m_host.m_pNested = &logger;
  EXPECT_RESULT(logger.log(7, "outer", "MID_DEBUG_MESSAGE", 1, kLogError), 0U);
  EXPECT_EQ(m_host.m_calls, (Calls{"own write 3 %s [outer]", "own write 3 %s [nested]"}));
}

TEST_F(CASLLoggerTest, ObjectsOfTheClassTakeTurnsInTheHostsLog) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 50;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this] {
      for (int i = 0; i < kRounds; ++i) {
        CASLLogger logger(m_host, "tmtolmui");
        static_cast<void>(logger.log(7, "x", "MID_DEBUG_MESSAGE", 1, kLogError));
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(m_host.m_calls.size(), 3U * kThreads * kRounds);
  EXPECT_EQ(m_host.m_nMostInside, 1);
}

}  // namespace
}  // namespace halvo
