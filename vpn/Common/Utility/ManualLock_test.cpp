#include "vpn/Common/Utility/ManualLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

namespace halvo {
namespace {

// Whether a thread that holds nothing gets the lock; it gives it back at once.
bool isFreeForOthers(CManualLock& lock) {
  bool got = false;
  std::thread other([&lock, &got] {
    got = lock.TryLock();
    if (got) {
      lock.Unlock();
    }
  });
  other.join();
  return got;
}

TEST(ManualLockTest, SecondUnlockOfTwoHoldsFreesTheMutex) {
  CManualLock lock;
  lock.Lock();
  lock.Lock();
  EXPECT_EQ(lock.Unlock(), 1U);
  EXPECT_FALSE(isFreeForOthers(lock));
  EXPECT_EQ(lock.Unlock(), 0U);
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(ManualLockTest, UnlockWithoutHoldReturnsZeroAndDoesNothing) {
  CManualLock lock;
  EXPECT_EQ(lock.Unlock(), 0U);
  EXPECT_EQ(lock.Unlock(), 0U);
  // The count hasn't gone below zero: one hold is still one hold.
  lock.Lock();
  EXPECT_FALSE(isFreeForOthers(lock));
  EXPECT_EQ(lock.Unlock(), 0U);
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(ManualLockTest, TryLockIsRefusedWhileAnotherThreadHoldsTheLock) {
  CManualLock lock;
  lock.Lock();
  EXPECT_FALSE(isFreeForOthers(lock));
  // The refusal has left no hold behind.
  EXPECT_EQ(lock.Unlock(), 0U);
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(ManualLockTest, TryLockCountsAHoldForTheHolderToo) {
  CManualLock lock;
  ASSERT_TRUE(lock.TryLock());
  ASSERT_TRUE(lock.TryLock());
  lock.Lock();
  EXPECT_EQ(lock.Unlock(), 2U);
  EXPECT_EQ(lock.Unlock(), 1U);
  EXPECT_EQ(lock.Unlock(), 0U);
}

TEST(ManualLockTest, NumberGivenToTheConstructorChangesNothing) {
  CManualLock lock(500);
  lock.Lock();
  EXPECT_EQ(lock.Unlock(), 0U);
  EXPECT_TRUE(isFreeForOthers(lock));
}

TEST(ManualLockTest, HoldsOfTwoThreadsExcludeEachOther) {
  constexpr int kRounds = 2000;
  CManualLock lock;
  int inside = 0;
  int worst = 0;
  long counter = 0;
  auto work = [&] {
    for (int i = 0; i < kRounds; ++i) {
      CManualLockHolder outer(lock);
      CManualLockHolder inner(lock);
      ++inside;
      worst = inside > worst ? inside : worst;
      ++counter;
      --inside;
    }
  };
  std::thread first(work);
  std::thread second(work);
  first.join();
  second.join();
  EXPECT_EQ(counter, 2L * kRounds);
  EXPECT_EQ(worst, 1);
}

TEST(ManualLockTest, LockWaitsForTheHolder) {
  CManualLock lock;
  std::atomic<bool> released{false};
  bool sawRelease = false;
  lock.Lock();
  std::thread waiter([&] {
    lock.Lock();
    sawRelease = released.load();
    lock.Unlock();
  });
  released = true;
  lock.Unlock();
  waiter.join();
  EXPECT_TRUE(sawRelease);
}

TEST(ManualLockTest, DestructorIsVirtual) {
  EXPECT_TRUE(std::has_virtual_destructor_v<CManualLock>);
}

}  // namespace
}  // namespace halvo
