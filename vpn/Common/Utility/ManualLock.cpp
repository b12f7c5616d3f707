#include "vpn/Common/Utility/ManualLock.h"

namespace halvo {

CManualLock::CManualLock(unsigned /*ignored*/) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&m_mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

CManualLock::~CManualLock() {
  // A lock that dies held would leave its mutex in a state that may not be destroyed.
  while (m_nHolds > 0) {
    Unlock();
  }
  pthread_mutex_destroy(&m_mutex);
}

void CManualLock::Lock() {
  // The count is changed only while the mutex is held, which is all that guards it.
  pthread_mutex_lock(&m_mutex);
  ++m_nHolds;
}

bool CManualLock::TryLock() {
  if (pthread_mutex_trylock(&m_mutex) != 0) {
    return false;
  }
  ++m_nHolds;
  return true;
}

std::uint64_t CManualLock::Unlock() {
  if (m_nHolds == 0) {
    return 0;  // one Unlock() too many does nothing
  }
  // Counted ahead of the release: behind it the count is another thread's.
  const std::uint64_t left = --m_nHolds;
  pthread_mutex_unlock(&m_mutex);
  return left;
}

}  // namespace halvo
