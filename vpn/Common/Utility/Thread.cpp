#include "vpn/Common/Utility/Thread.h"

#include <cerrno>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

void* exitValue(std::uint64_t value) {
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(value));
}

}  // namespace

CThread::CThread(std::uint32_t stackSize) : m_pRunnable(this), m_nStackSize(stackSize) {}

CThread::CThread(ResultCode& result, IRunnable* runnable, std::uint32_t stackSize)
    : m_pRunnable(runnable), m_nStackSize(stackSize) {
  result = 0;
  if (runnable == nullptr) {
    LOG_MESSAGE(kLogError, "IRunnable is NULL");
    result = THREAD_ERROR_BAD_PARAMETER;
  }
}

CThread::CThread(IRunnable* runnable, std::uint32_t stackSize)
    : m_pRunnable(runnable), m_nStackSize(stackSize) {}

CThread::CThread(const CThread& other)
    : IRunnable(other), m_pRunnable(other.m_pRunnable), m_nStackSize(other.m_nStackSize) {}

CThread::~CThread() {
  StaticKill();
}

std::uint64_t CThread::Run() {
  return 0;
}

CThread* CThread::Clone() {
  return nullptr;
}

void CThread::Destroy() {
  LOG_MESSAGE(kLogError, "IRunnable::Destroy not Implemented");
}

std::uint64_t CThread::invokeRun(IRunnable* runnable) {
  if (runnable == nullptr) {
    return THREAD_ERROR_UNEXPECTED;  // who joins reads it; of the constructors only one has told of it
  }
  const std::uint64_t result = runnable->Run();
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "IRunnable::Run", result);
  }
  return result;
}

void* CThread::runRunnable(void* runnable) {
  return exitValue(invokeRun(static_cast<IRunnable*>(runnable)));
}

void* CThread::runClone(void* clone) {
  IRunnable* const runnable = static_cast<IRunnable*>(clone);
  const std::uint64_t result = invokeRun(runnable);
  // The clone is nobody's else, and mustn't be touched from here on.
  runnable->Destroy();
  return exitValue(result);
}

ResultCode CThread::start() {
  return createThread(runRunnable, m_pRunnable);
}

ResultCode CThread::startClone() {
  if (m_bStarted) {
    return THREAD_ERROR_INVALID_STATE;
  }
  CThread* const clone = Clone();
  if (clone == nullptr) {
    return THREAD_ERROR_NOT_IMPLEMENTED;
  }
  clone->m_bIsCloneRun = true;
  const ResultCode rc = clone->createThread(runClone, static_cast<IRunnable*>(clone));
  // From here on a clone that runs belongs to its own thread, and may be gone.
  if (rc != 0) {
    clone->Destroy();  // no thread will do it
  }
  return rc;
}

ResultCode CThread::createThread(void* (*routine)(void*), void* argument) {
  if (m_bStarted) {
    return THREAD_ERROR_INVALID_STATE;
  }
  // Ahead of the thread: a clone may be done, and read this, before pthread_create returns.
  m_bStarted = true;
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  if (m_nStackSize != 0 && pthread_attr_setstacksize(&attributes, m_nStackSize) != 0) {
    pthread_attr_destroy(&attributes);
    m_bStarted = false;
    LOG_MESSAGE(kLogError, "Invalid stack size");
    return THREAD_ERROR_INVALID_STACK_SIZE;
  }
  const int error = pthread_create(&m_hThread, &attributes, routine, argument);
  pthread_attr_destroy(&attributes);
  if (error != 0) {
    m_bStarted = false;
    m_hThread = {};  // what a failed call leaves there is anybody's
    LOG_RETURN_CODE(kLogError, "pthread_create", error);
    return THREAD_ERROR_CREATE_FAILED;
  }
  return 0;
}

ResultCode CThread::WaitForCompletion(std::uint32_t& exitCode, std::int32_t limit) {
  if (!m_bStarted) {
    return THREAD_ERROR_INVALID_STATE;
  }
  // Ahead of the limit: a thread that waits for itself is told so whatever it asks for.
  if (isOwnThread()) {
    return THREAD_ERROR_INVALID_CALLER;
  }
  if (limit != kNoLimit) {
    return THREAD_ERROR_BAD_PARAMETER;
  }
  void* value = nullptr;
  const int error = pthread_join(m_hThread, &value);
  if (error != 0) {
    // It stays started, so that the destructor lets go of it.
    LOG_RETURN_CODE(kLogError, "pthread_join", error);
    return THREAD_ERROR_POSIX_JOIN_FAILED;
  }
  exitCode = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(value));
  LOG_MESSAGE(kLogInformation, "The thread has successfully completed execution.");
  m_bStarted = false;
  m_hThread = {};  // the system gives the handle of a joined thread to the next one
  return 0;
}

bool CThread::isOwnThread() const {
  return pthread_equal(pthread_self(), m_hThread) != 0;
}

ResultCode CThread::exitThread(std::uint32_t exitCode) {
  if (!isOwnThread()) {
    return THREAD_ERROR_INVALID_CALLER;
  }
  pthread_exit(exitValue(exitCode));
}

void CThread::adoptCurrentThread() {
  // Not started by this: an adopted thread is nobody's here to join or to cancel.
  m_hThread = pthread_self();
}

void CThread::StaticKill() {
  if (!m_bStarted) {
    return;
  }
  // A clone's run destroys its object on its own thread, which mustn't cancel itself there.
  if (!m_bIsCloneRun && pthread_cancel(m_hThread) == 0) {
    LOG_MESSAGE(kLogWarning, "Terminated thread that was still running unexpectedly.");
  }
  pthread_detach(m_hThread);  // nobody is left to join it; a failure leaves nothing to be done
  m_bStarted = false;
  m_hThread = {};
}

}  // namespace halvo
