// CThread with IRunnable: a thin class over POSIX threads.
//
// The runnable is borrowed and must outlive the thread. A CThread is used by the thread that owns it;
// no lock is taken. One that is destroyed before its thread was joined cancels the thread, which may
// then run on for a moment: join with WaitForCompletion() instead.

#pragma once

#include <pthread.h>

#include <cstdint>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CThread;

// What a thread runs.
class IRunnable {
 public:
  // The thread's work. The result becomes the thread's exit value: 0 for success, another is logged as an
  // error.
  virtual std::uint64_t Run() = 0;
  virtual ~IRunnable() = default;
  // A new object that startClone() runs in place of this one, or null. It ends by its own Destroy().
  virtual CThread* Clone() = 0;
  // Ends a clone after its run: mostly `delete this`.
  virtual void Destroy() = 0;
};

class CThread : public IRunnable {
 public:
  // The one time limit that WaitForCompletion() takes.
  static constexpr std::int32_t kNoLimit = -1;

  // Stack sizes are in bytes, 0 for the system's default. The first form runs the object itself.
  explicit CThread(std::uint32_t stackSize = 0);
  // `result` receives THREAD_ERROR_BAD_PARAMETER (logged) for a null runnable, else 0.
  CThread(ResultCode& result, IRunnable* runnable, std::uint32_t stackSize = 0);
  explicit CThread(IRunnable* runnable, std::uint32_t stackSize = 0);
  // Takes over what is to be run, and the stack size, and isn't started. A copy of a thread that runs
  // itself runs the original.
  CThread(const CThread& other);
  ~CThread() override;

  CThread& operator=(const CThread&) = delete;

  // 0, to be overridden by threads that run themselves.
  std::uint64_t Run() override;
  // Null: there is no clone.
  CThread* Clone() override;
  // Logs that there is nothing to be done.
  void Destroy() override;

  // Runs the runnable on a new thread. Results as for createThread(). Without a runnable the thread ends at
  // once, with the exit value THREAD_ERROR_UNEXPECTED.
  [[nodiscard]] ResultCode start();

  // Runs a clone of this object on a new thread that nobody joins; the clone then destroys itself.
  // THREAD_ERROR_INVALID_STATE: this object is started; THREAD_ERROR_NOT_IMPLEMENTED: it has no clone;
  // else as for createThread().
  [[nodiscard]] ResultCode startClone();

  // Runs `routine` on a new thread. THREAD_ERROR_INVALID_STATE: started already and not joined;
  // THREAD_ERROR_INVALID_STACK_SIZE, THREAD_ERROR_CREATE_FAILED: both logged.
  [[nodiscard]] ResultCode createThread(void* (*routine)(void*), void* argument);

  // Waits for the thread's end and stores the low 32 bits of its exit value.
  // THREAD_ERROR_INVALID_STATE: not started; THREAD_ERROR_INVALID_CALLER: called on the thread itself;
  // THREAD_ERROR_BAD_PARAMETER: a limit other than kNoLimit, there are no bounded waits;
  // THREAD_ERROR_POSIX_JOIN_FAILED: logged. The end of the thread is logged too.
  [[nodiscard]] ResultCode WaitForCompletion(std::uint32_t& exitCode, std::int32_t limit = kNoLimit);

  // Whether the calling thread is the one that was started here and hasn't been joined, or that was adopted.
  [[nodiscard]] bool isOwnThread() const;

  // Ends the calling thread if it is this object's own; otherwise returns THREAD_ERROR_INVALID_CALLER.
  ResultCode exitThread(std::uint32_t exitCode);

  // Makes the calling thread this object's own.
  void adoptCurrentThread();

 protected:
  // Whether a thread has been made and not been joined yet.
  [[nodiscard]] bool isStarted() const { return m_bStarted; }

  // What the destructor does to a started thread: cancels it, unless it is a clone's, with a warning in the
  // log where that worked, and lets go of it. The object is not started from then on.
  void StaticKill();

 private:
  static std::uint64_t invokeRun(IRunnable* runnable);
  static void* runRunnable(void* runnable);
  static void* runClone(void* clone);

  bool m_bStarted = false;
  IRunnable* m_pRunnable;
  std::uint32_t m_nStackSize;
  bool m_bIsCloneRun = false;
  pthread_t m_hThread = {};
};

}  // namespace halvo
