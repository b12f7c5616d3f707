#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>
#include <vector>

#include "tests/support/LogRecorder.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

using Seconds = decltype(timeval::tv_sec);

constexpr Seconds kMost = std::numeric_limits<Seconds>::max();

// A pipe, and a bitmap as large as its reading end needs, beyond an fd_set where that end is high.
class WatchedPipe {
 public:
  // With a `place`, the reading end is moved there.
  explicit WatchedPipe(int place = -1) {
    EXPECT_EQ(pipe(m_ends), 0);
    if (place >= 0) {
      EXPECT_EQ(dup2(m_ends[0], place), place);
      close(m_ends[0]);
      m_ends[0] = place;
    }
    m_words.resize(std::max(sizeof(fd_set) / sizeof(fd_mask), word(m_ends[0]) + 1));
    watch();
  }
  ~WatchedPipe() {
    close(m_ends[0]);
    close(m_ends[1]);
  }
  WatchedPipe(const WatchedPipe&) = delete;
  WatchedPipe& operator=(const WatchedPipe&) = delete;

  void watch() {
    std::fill(m_words.begin(), m_words.end(), 0);
    m_words[word(m_ends[0])] = bit(m_ends[0]);
  }
  void feed() const { EXPECT_EQ(write(m_ends[1], "x", 1), 1); }
  int count() const { return m_ends[0] + 1; }
  int writeEnd() const { return m_ends[1]; }
  fd_set* set() { return reinterpret_cast<fd_set*>(m_words.data()); }
  bool isSet() const { return m_words[word(m_ends[0])] == bit(m_ends[0]); }

 private:
  static std::size_t word(int descriptor) { return static_cast<std::size_t>(descriptor) / NFDBITS; }
  static fd_mask bit(int descriptor) { return fd_mask{1} << (descriptor % NFDBITS); }

  int m_ends[2] = {-1, -1};
  std::vector<fd_mask> m_words;
};

// Keeps what select was asked, and passes it on to the real one.
class ListeningHost : public SelectHost {
 public:
  int select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout) override {
    timeouts.push_back(*timeout);
    return ::select(count, readSet, writeSet, exceptSet, timeout);
  }
  timeval now() override {
    timespec moment = {};
    clock_gettime(CLOCK_MONOTONIC, &moment);
    return {moment.tv_sec, static_cast<suseconds_t>(moment.tv_nsec / 1000)};
  }
  std::vector<timeval> timeouts;
};

// Answers with prepared results, at prepared moments.
class ScriptedHost : public SelectHost {
 public:
  int select(int /*count*/, fd_set* /*readSet*/, fd_set* /*writeSet*/, fd_set* /*exceptSet*/,
             timeval* timeout) override {
    timeouts.push_back(*timeout);
    *timeout = {99, 99};  // some hosts leave the rest of the time here
    EXPECT_LE(timeouts.size(), failures.size());
    errno = failures[timeouts.size() - 1];
    return errno == 0 ? result : -1;
  }
  timeval now() override {
    EXPECT_LT(nextMoment, moments.size());
    return moments[nextMoment++];
  }
  std::vector<int> failures;  // an errno for each call; 0: `result`
  int result = 1;
  std::vector<timeval> moments;
  std::size_t nextMoment = 0;
  std::vector<timeval> timeouts;
};

using Time = std::pair<Seconds, suseconds_t>;

Time pairOf(const timeval& time) {
  return {time.tv_sec, time.tv_usec};
}

volatile sig_atomic_t s_nSignals = 0;
volatile sig_atomic_t s_nFeedDescriptor = -1;

void onTimer(int /*signal*/) {
  s_nSignals = s_nSignals + 1;
  if (s_nFeedDescriptor >= 0) {
    const int kept = errno;
    static_cast<void>(!write(s_nFeedDescriptor, "x", 1));
    errno = kept;
  }
}

// Sends SIGALRM every few milliseconds for as long as it lives.
class Timer {
 public:
  explicit Timer(int feedDescriptor = -1) {
    s_nSignals = 0;
    s_nFeedDescriptor = feedDescriptor;
    EXPECT_TRUE(install_sighdlr(SIGALRM, onTimer, &m_previous));
    const itimerval every = {{0, 5000}, {0, 5000}};
    EXPECT_EQ(setitimer(ITIMER_REAL, &every, nullptr), 0);
  }
  ~Timer() {
    const itimerval none = {};
    setitimer(ITIMER_REAL, &none, nullptr);
    EXPECT_TRUE(install_sighdlr(SIGALRM, m_previous, nullptr));
  }
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

 private:
  SignalHandler m_previous = nullptr;
};

class SelectTest : public ::testing::Test {
 protected:
  test::LogRecorder m_log;
};

TEST_F(SelectTest, NullTimeoutWithNothingReadyReturnsZeroAtOnce) {
  WatchedPipe pipe;
  ListeningHost host;
  EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, nullptr), 0);
  pipe.watch();
  EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, nullptr, host), 0);
  ASSERT_EQ(host.timeouts.size(), 1U);
  EXPECT_EQ(pairOf(host.timeouts[0]), (Time{0, 0}));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SelectTest, NullTimeoutSeesWhatIsReady) {
  WatchedPipe pipe;
  pipe.feed();
  EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, nullptr), 1);
  EXPECT_TRUE(pipe.isSet());
}

TEST_F(SelectTest, EndOfTheTimeGivesZero) {
  WatchedPipe pipe;
  const timeval timeout = {0, 2000};
  EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, &timeout), 0);
  EXPECT_FALSE(pipe.isSet());
  EXPECT_EQ(pairOf(timeout), (Time{0, 2000}));
}

TEST_F(SelectTest, WriteSetAndExceptionSetAreHandedThrough) {
  WatchedPipe pipe;
  fd_set writeSet;
  fd_set exceptSet;
  FD_ZERO(&writeSet);
  FD_ZERO(&exceptSet);
  FD_SET(pipe.writeEnd(), &writeSet);
  FD_SET(pipe.writeEnd(), &exceptSet);
  EXPECT_EQ(rqv_select(pipe.writeEnd() + 1, nullptr, &writeSet, &exceptSet, nullptr), 1);
  EXPECT_TRUE(FD_ISSET(pipe.writeEnd(), &writeSet));
  EXPECT_FALSE(FD_ISSET(pipe.writeEnd(), &exceptSet));
}

// Without the deadline each signal would begin the whole wait anew, and this test would never end.
TEST_F(SelectTest, SignalsDuringAWaitShortenTheNextSelectByTheTimeGone) {
  WatchedPipe pipe;
  ListeningHost host;
  timeval timeout = {0, 200000};
  // A busy machine may let all of the time go by before the first signal is served: more of it then.
  for (int round = 0; round < 5 && host.timeouts.size() < 2; ++round) {
    timeout.tv_sec = (1 << round) - 1;
    host.timeouts.clear();
    pipe.watch();
    const Timer timer;
    EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, &timeout, host), 0);
    EXPECT_GT(s_nSignals, 0);
  }
  ASSERT_GE(host.timeouts.size(), 2U);
  EXPECT_EQ(pairOf(host.timeouts[0]), pairOf(timeout));
  for (std::size_t i = 1; i < host.timeouts.size(); ++i) {
    EXPECT_TRUE(timercmp(&host.timeouts[i], &host.timeouts[i - 1], <)) << "call " << i;
  }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SelectTest, SignalsDontEndTheWaitForADescriptor) {
  WatchedPipe pipe;
  const timeval timeout = {60, 0};
  Timer timer(pipe.writeEnd());
  EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, &timeout), 1);
  EXPECT_TRUE(pipe.isSet());
  EXPECT_GT(s_nSignals, 0);
}

TEST_F(SelectTest, SignalLeavesExactlyTheRestOfTheTime) {
  ScriptedHost host;
  host.failures = {EINTR, EINTR, 0};
  host.moments = {{1000, 900000}, {1002, 400000}, {1004, 950000}};
  const timeval timeout = {5, 250000};
  EXPECT_EQ(rqv_select(1, nullptr, nullptr, nullptr, &timeout, host), 1);
  ASSERT_EQ(host.timeouts.size(), 3U);
  EXPECT_EQ(pairOf(host.timeouts[0]), pairOf(timeout));
  EXPECT_EQ(pairOf(host.timeouts[1]), (Time{3, 750000}));
  EXPECT_EQ(pairOf(host.timeouts[2]), (Time{1, 200000}));
}

TEST_F(SelectTest, SignalAtTheVeryEndOfTheTimeReturnsZeroWithoutAnotherSelect) {
  for (const timeval& end : {timeval{1001, 500000}, timeval{1001, 500001}, timeval{2000, 0}}) {
    ScriptedHost host;
    host.failures = {EINTR};
    host.moments = {{1000, 0}, end};
    const timeval timeout = {1, 500000};
    EXPECT_EQ(rqv_select(1, nullptr, nullptr, nullptr, &timeout, host), 0);
    EXPECT_EQ(host.timeouts.size(), 1U);
  }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SelectTest, SignalWithoutATimeoutLooksAgainWithTheZeroValue) {
  ScriptedHost host;
  host.failures = {EINTR, EINTR, 0};
  host.result = 0;
  EXPECT_EQ(rqv_select(1, nullptr, nullptr, nullptr, nullptr, host), 0);
  ASSERT_EQ(host.timeouts.size(), 3U);
  for (const timeval& passed : host.timeouts) {
    EXPECT_EQ(pairOf(passed), (Time{0, 0}));
  }
  EXPECT_EQ(host.nextMoment, 0U);
}

TEST_F(SelectTest, OtherFailureIsLoggedWithItsNumber) {
  fd_set set;
  FD_ZERO(&set);
  const int closed = dup(0);
  ASSERT_GE(closed, 0);
  close(closed);
  FD_SET(closed, &set);
  const timeval timeout = {60, 0};
  errno = 0;
  EXPECT_EQ(rqv_select(closed + 1, &set, nullptr, nullptr, &timeout), -1);
  EXPECT_EQ(errno, EBADF);
  ASSERT_EQ(m_log.records().size(), 1U);
  EXPECT_EQ(m_log.records()[0].level, kLogError);
  EXPECT_EQ(m_log.records()[0].field("Function"), "rqv_select");
  EXPECT_EQ(m_log.records()[0].text(), "rqv_select failed with errno: 9");
}

TEST_F(SelectTest, NegativeTimeoutIsRefusedBySelectItself) {
  const timeval timeout = {-1, 0};
  EXPECT_EQ(rqv_select(0, nullptr, nullptr, nullptr, &timeout), -1);
  EXPECT_TRUE(m_log.has(kLogError, "rqv_select failed with errno: 22")) << m_log.dump();
}

TEST_F(SelectTest, DescriptorAbove1023IsWaitedOn) {
  constexpr int kHigh = 1500;
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit raised = before;
  raised.rlim_cur = std::max<rlim_t>(before.rlim_cur, kHigh + 1);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0) << "the hard limit of open files is below " << kHigh + 1;
  {
    WatchedPipe pipe(kHigh);
    EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, nullptr), 0);
    EXPECT_FALSE(pipe.isSet());
    pipe.watch();
    pipe.feed();
    const timeval timeout = {60, 0};
    EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, &timeout), 1);
    EXPECT_TRUE(pipe.isSet());
  }
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(SelectTest, DeadlineCarriesMicrosecondsFrom1000001On) {
  EXPECT_EQ(pairOf(deadlineAfter({10, 400000}, {2, 500000})), (Time{12, 900000}));
  EXPECT_EQ(pairOf(deadlineAfter({10, 400000}, {2, 600000})), (Time{12, 1000000}));
  EXPECT_EQ(pairOf(deadlineAfter({10, 400000}, {2, 600001})), (Time{13, 1}));
  EXPECT_EQ(pairOf(deadlineAfter({10, 999999}, {0, 999999})), (Time{11, 999998}));
}

TEST_F(SelectTest, DeadlineStopsAtTheGreatestSecond) {
  EXPECT_EQ(pairOf(deadlineAfter({10, 0}, {kMost - 10, 0})), (Time{kMost, 0}));
  EXPECT_EQ(deadlineAfter({10, 5}, {kMost, 0}).tv_sec, kMost);
  EXPECT_EQ(deadlineAfter({10, 900000}, {kMost - 10, 900000}).tv_sec, kMost);
}

TEST_F(SelectTest, GreatestTimeoutWaitsAndIsNoFailure) {
  WatchedPipe pipe;
  const timeval timeout = {kMost, 999999};
  Timer timer(pipe.writeEnd());
  EXPECT_EQ(rqv_select(pipe.count(), pipe.set(), nullptr, nullptr, &timeout), 1);
}

TEST_F(SelectTest, TimeUntilAPassedDeadlineIsZero) {
  EXPECT_EQ(pairOf(timeUntil({10, 500000}, {8, 200000})), (Time{2, 300000}));
  EXPECT_EQ(pairOf(timeUntil({10, 200000}, {8, 500000})), (Time{1, 700000}));
  EXPECT_EQ(pairOf(timeUntil({10, 1000000}, {8, 0})), (Time{3, 0}));
  EXPECT_EQ(pairOf(timeUntil({10, 0}, {10, 0})), (Time{0, 0}));
  EXPECT_EQ(pairOf(timeUntil({10, 0}, {10, 1})), (Time{0, 0}));
  EXPECT_EQ(pairOf(timeUntil({10, 0}, {11, 0})), (Time{0, 0}));
  EXPECT_EQ(pairOf(timeUntil({10, 1000000}, {11, 0})), (Time{0, 0}));
}

}  // namespace

}  // namespace halvo
