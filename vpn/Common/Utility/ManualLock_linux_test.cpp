// A lock seen through the mutex calls that it makes: the linker routes them through here.

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "vpn/Common/Utility/ManualLock.h"

namespace {

// What the mutex answered while a test watched; only the test's own thread makes calls then.
bool s_bWatching = false;
int s_nUnlocks = 0;
int s_nDestroys = 0;
int s_nFailures = 0;
// Whether unlocking is refused, as the host does on a thread that holds nothing. Doing without the host
// keeps the sanitizers from reporting what the test does on purpose.
std::atomic<bool> s_bRefusing = false;
std::atomic<int> s_nRefusals = 0;
std::atomic<pthread_mutex_t*> s_pLastUnlocked = nullptr;

void note(int& counter, int answer) {
  if (s_bWatching) {
    ++counter;
    s_nFailures += answer != 0 ? 1 : 0;
  }
}

}  // namespace

extern "C" {

int __real_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);

int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_destroy(pthread_mutex_t* mutex) {
  const int answer = __real_pthread_mutex_destroy(mutex);
  note(s_nDestroys, answer);
  return answer;
}

int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex);
int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  if (s_bRefusing) {
    s_pLastUnlocked = mutex;
    ++s_nRefusals;
    return EPERM;
  }
  const int answer = __real_pthread_mutex_unlock(mutex);
  note(s_nUnlocks, answer);
  return answer;
}

}  // extern "C"

namespace halvo {
namespace {

class ManualLockEndTest : public ::testing::Test {
 protected:
  // Destroys a lock with this many holds and counts what the mutex saw.
  static void destroyWithHolds(int holds) {
    auto* lock = new CManualLock;
    for (int i = 0; i < holds; ++i) {
      lock->Lock();
    }
    s_nUnlocks = 0;
    s_nDestroys = 0;
    s_nFailures = 0;
    s_bWatching = true;
    delete lock;
    s_bWatching = false;
  }
};

TEST_F(ManualLockEndTest, LockDestroyedWhileHeldIsUnlockedAsManyTimesAsHeld) {
  destroyWithHolds(3);
  EXPECT_EQ(s_nUnlocks, 3);
  EXPECT_EQ(s_nDestroys, 1);
  EXPECT_EQ(s_nFailures, 0);
}

TEST_F(ManualLockEndTest, LockDestroyedWithoutHoldIsOnlyDestroyed) {
  destroyWithHolds(0);
  EXPECT_EQ(s_nUnlocks, 0);
  EXPECT_EQ(s_nDestroys, 1);
  EXPECT_EQ(s_nFailures, 0);
}

TEST(ManualLockForeignUnlockTest, UnlockOnAThreadThatHoldsNothingTakesAHoldOffTheCountAlone) {
  s_nRefusals = 0;
  CManualLock lock;
  lock.Lock();
  lock.Lock();
  std::uint64_t left = 99;
  std::thread other([&lock, &left] {
    s_bRefusing = true;
    left = lock.Unlock();
    s_bRefusing = false;
  });
  other.join();
  EXPECT_EQ(left, 1U);
  EXPECT_EQ(s_nRefusals, 1);
  // The holder has one hold left to give back, and the mutex is locked once more than that.
  EXPECT_EQ(lock.Unlock(), 0U);
  EXPECT_EQ(lock.Unlock(), 0U);
  bool got = true;
  std::thread([&lock, &got] { got = lock.TryLock(); }).join();
  EXPECT_FALSE(got);
  EXPECT_EQ(__real_pthread_mutex_unlock(s_pLastUnlocked), 0);
}

}  // namespace
}  // namespace halvo
