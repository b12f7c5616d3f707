// The end of a lock, seen through the mutex calls that it makes: the linker routes them through here.

#include <gtest/gtest.h>
#include <pthread.h>

#include "vpn/Common/Utility/ManualLock.h"

namespace {

// What the mutex answered while a test watched; only the test's own thread makes calls then.
bool s_bWatching = false;
int s_nUnlocks = 0;
int s_nDestroys = 0;
int s_nFailures = 0;

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

}  // namespace
}  // namespace halvo
