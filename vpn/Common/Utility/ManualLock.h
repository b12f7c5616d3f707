// CManualLock: a recursive mutex with a count of its holds, the one lock type of the system.
//
// All instances are static objects. The holds are not per thread: an Unlock on a thread that holds
// nothing still takes a hold off the count, and that isn't guarded against.

#pragma once

#include <pthread.h>

#include <cstdint>

namespace halvo {

class CManualLock {
 public:
  // The number is taken for the sake of the suite's other systems and ignored.
  explicit CManualLock(unsigned ignored = 0);
  // Unlocks as many times as there are holds, so that a lock destroyed while held doesn't fail.
  virtual ~CManualLock();

  CManualLock(const CManualLock&) = delete;
  CManualLock& operator=(const CManualLock&) = delete;

  // Waits for the lock. A holder may lock again.
  void Lock();
  // Returns true if it got the lock.
  [[nodiscard]] bool TryLock();
  // Returns the number of holds left; 0, and nothing is done, where there was none.
  std::uint64_t Unlock();

 private:
  pthread_mutex_t m_mutex;
  std::uint64_t m_nHolds = 0;
};

// Holds a CManualLock for a scope.
class CManualLockHolder {
 public:
  explicit CManualLockHolder(CManualLock& lock) : m_lock(lock) { m_lock.Lock(); }
  ~CManualLockHolder() { m_lock.Unlock(); }

  CManualLockHolder(const CManualLockHolder&) = delete;
  CManualLockHolder& operator=(const CManualLockHolder&) = delete;

 private:
  CManualLock& m_lock;
};

}  // namespace halvo
