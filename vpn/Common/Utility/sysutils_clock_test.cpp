// The clock and the sleep, seen through the calls that they make: the linker routes them through here.

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <optional>
#include <vector>

#include "vpn/Common/Utility/sysutils.h"

namespace {

// While a test watches, sleeps are noted in the place of the real ones, and the clock answers this.
bool s_bWatching = false;
std::vector<useconds_t> s_sleeps;
std::optional<timeval> s_clock;

}  // namespace

extern "C" {

int __real_usleep(useconds_t microseconds);
int __real_gettimeofday(timeval* now, void* zone);

int __wrap_usleep(useconds_t microseconds);
int __wrap_usleep(useconds_t microseconds) {
  if (!s_bWatching) {
    return __real_usleep(microseconds);
  }
  s_sleeps.push_back(microseconds);
  return 0;
}

int __wrap_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone) {
  if (!s_bWatching) {
    return __real_gettimeofday(now, zone);
  }
  if (!s_clock.has_value()) {
    *now = {77, 77000};
    return -1;
  }
  *now = *s_clock;
  return 0;
}

}  // extern "C"

namespace halvo {
namespace {

class ClockTest : public ::testing::Test {
 protected:
  ClockTest() {
    s_sleeps.clear();
    s_clock.reset();
    s_bWatching = true;
  }
  ~ClockTest() override { s_bWatching = false; }
};

TEST_F(ClockTest, SleepIsOneOfAThousandMicrosecondsAMillisecond) {
  sleepMilliseconds(0);
  sleepMilliseconds(1);
  sleepMilliseconds(2500);
  sleepMilliseconds(4294967);
  EXPECT_EQ(s_sleeps, (std::vector<useconds_t>{0, 1000, 2500000, 4294967000}));
}

TEST_F(ClockTest, SleepOfMoreMillisecondsThan32BitsOfMicrosecondsHoldWrapsAround) {
  sleepMilliseconds(4294968);
  sleepMilliseconds(4294967295);
  EXPECT_EQ(s_sleeps, (std::vector<useconds_t>{704, 4294966296}));
}

TEST_F(ClockTest, TickIsThatOfTheWallClock) {
  s_clock = timeval{1234567, 891999};
  EXPECT_EQ(tickMilliseconds(), 1234567891U);
}

TEST_F(ClockTest, TickOfAClockThatCantBeReadIsZero) {
  EXPECT_EQ(tickMilliseconds(), 0U);
}

}  // namespace
}  // namespace halvo
