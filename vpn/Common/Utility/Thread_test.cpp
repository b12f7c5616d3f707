#include "vpn/Common/Utility/Thread.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <sched.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"

namespace {
// What the calls answer in the place of the real ones; 0 lets the real one through.
std::atomic<int> s_createError = 0;
std::atomic<int> s_joinError = 0;
std::atomic<int> s_cancelError = 0;
// How often threads were cancelled and let go of.
std::atomic<int> s_cancels = 0;
std::atomic<int> s_detaches = 0;
}  // namespace

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
  return s_createError != 0 ? s_createError.load()
                            : __real_pthread_create(thread, attributes, routine, argument);
}
int __real_pthread_join(pthread_t thread, void** value);
int __wrap_pthread_join(pthread_t thread, void** value);
int __wrap_pthread_join(pthread_t thread, void** value) {
  return s_joinError != 0 ? s_joinError.load() : __real_pthread_join(thread, value);
}
int __real_pthread_cancel(pthread_t thread);
int __wrap_pthread_cancel(pthread_t thread);
int __wrap_pthread_cancel(pthread_t thread) {
  ++s_cancels;
  return s_cancelError != 0 ? s_cancelError.load() : __real_pthread_cancel(thread);
}
int __real_pthread_detach(pthread_t thread);
int __wrap_pthread_detach(pthread_t thread);
int __wrap_pthread_detach(pthread_t thread) {
  ++s_detaches;
  return __real_pthread_detach(thread);
}
}

namespace halvo {
namespace {

using test::LogRecorder;

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

// A runnable whose work is a function.
class Work : public IRunnable {
 public:
  explicit Work(std::function<std::uint64_t()> work) : m_work(std::move(work)) {}
  std::uint64_t Run() override { return m_work(); }
  CThread* Clone() override { return nullptr; }
  void Destroy() override {}

 private:
  std::function<std::uint64_t()> m_work;
};

// A thread that runs itself until it is let go.
class GatedThread : public CThread {
 public:
  explicit GatedThread(std::uint32_t stackSize = 0) : CThread(stackSize) {}
  ~GatedThread() override {
    m_bGo = true;
    std::uint32_t exitCode = 0;
    if (isStarted()) {
      EXPECT_RESULT(WaitForCompletion(exitCode), 0);
    }
  }
  std::uint64_t Run() override {
    while (!m_bGo) {
      sched_yield();
    }
    return 0;
  }
  std::atomic<bool> m_bGo = false;
};

class ThreadTest : public testing::Test {
 protected:
  ThreadTest() { reset(); }
  ~ThreadTest() override { reset(); }
  static void reset() {
    for (std::atomic<int>* value : {&s_createError, &s_joinError, &s_cancelError, &s_cancels, &s_detaches}) {
      *value = 0;
    }
  }

  LogRecorder m_log;
};

TEST_F(ThreadTest, ThreadRunsItsRunnableAndGivesTheLowHalfOfItsResultBack) {
  std::thread::id id;
  Work work([&id] {
    id = std::this_thread::get_id();
    return std::uint64_t{0x1122334455667788};
  });
  ResultCode result = 99;
  CThread thread(result, &work, 0);
  EXPECT_RESULT(result, 0);
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 0;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode, -1), 0);
  EXPECT_EQ(exitCode, 0x55667788U);
  EXPECT_NE(id, std::thread::id());
  EXPECT_NE(id, std::this_thread::get_id());
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "IRunnable::Run", 0x55667788)) << m_log.dump();
  EXPECT_TRUE(m_log.has(kLogInformation, "The thread has successfully completed execution.")) << m_log.dump();
}

TEST_F(ThreadTest, ResultZeroOfARunnableIsNotLogged) {
  Work work([] { return std::uint64_t{0}; });
  CThread thread(&work);
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 5;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), 0);
  EXPECT_EQ(exitCode, 0U);
  EXPECT_EQ(m_log.count("IRunnable::Run"), 0U) << m_log.dump();
}

TEST_F(ThreadTest, PlainThreadRunsNothingAndEndsWithZero) {
  CThread thread;
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 5;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), 0);
  EXPECT_EQ(exitCode, 0U);
  EXPECT_EQ(m_log.count("IRunnable::Run"), 0U) << m_log.dump();
}

TEST_F(ThreadTest, StartTwiceIsAnInvalidState) {
  GatedThread thread;
  ASSERT_RESULT(thread.start(), 0);
  EXPECT_RESULT(thread.start(), THREAD_ERROR_INVALID_STATE);
  EXPECT_RESULT(thread.startClone(), THREAD_ERROR_INVALID_STATE);
}

TEST_F(ThreadTest, JoinedThreadCanBeStartedAgain) {
  std::atomic<int> runs = 0;
  Work work([&runs] {
    ++runs;
    return std::uint64_t{0};
  });
  CThread thread(&work);
  std::uint32_t exitCode = 0;
  for (int i = 0; i < 2; ++i) {
    ASSERT_RESULT(thread.start(), 0);
    ASSERT_RESULT(thread.WaitForCompletion(exitCode), 0);
  }
  EXPECT_EQ(runs, 2);
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), THREAD_ERROR_INVALID_STATE);
}

TEST_F(ThreadTest, WaitBeforeStartIsAnInvalidState) {
  CThread thread;
  std::uint32_t exitCode = 7;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), THREAD_ERROR_INVALID_STATE);
  EXPECT_EQ(exitCode, 7U);
}

TEST_F(ThreadTest, WaitFromTheThreadItselfIsAnInvalidCallerWhateverTheLimit) {
  std::unique_ptr<CThread> thread;
  ResultCode unlimited = 0;
  ResultCode limited = 0;
  Work work([&] {
    std::uint32_t exitCode = 0;
    unlimited = thread->WaitForCompletion(exitCode);
    limited = thread->WaitForCompletion(exitCode, 1000);
    return std::uint64_t{0};
  });
  thread = std::make_unique<CThread>(&work);
  ASSERT_RESULT(thread->start(), 0);
  std::uint32_t exitCode = 0;
  EXPECT_RESULT(thread->WaitForCompletion(exitCode), 0);
  EXPECT_RESULT(unlimited, THREAD_ERROR_INVALID_CALLER);
  EXPECT_RESULT(limited, THREAD_ERROR_INVALID_CALLER);
}

TEST_F(ThreadTest, BoundedWaitIsRefusedWithoutWaiting) {
  GatedThread thread;
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 7;
  // The thread runs until this test ends: a wait would never come back.
  EXPECT_RESULT(thread.WaitForCompletion(exitCode, 1000), THREAD_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(thread.WaitForCompletion(exitCode, 0), THREAD_ERROR_BAD_PARAMETER);
  EXPECT_EQ(exitCode, 7U);
}

TEST_F(ThreadTest, PlainThreadHasNoClone) {
  CThread thread;
  EXPECT_RESULT(thread.startClone(), THREAD_ERROR_NOT_IMPLEMENTED);
}

// Counts its clones' runs and ends.
class CloningThread : public CThread {
 public:
  struct Counts {
    std::atomic<int> runs = 0;
    std::atomic<int> ends = 0;
    std::atomic<const CThread*> runner = nullptr;  // the object that ran last
  };
  explicit CloningThread(Counts& counts, std::uint32_t stackSize = 0)
      : CThread(stackSize), m_counts(counts) {}
  CloningThread(const CloningThread&) = default;
  ~CloningThread() override { ++m_counts.ends; }
  std::uint64_t Run() override {
    ++m_counts.runs;
    m_counts.runner = this;
    return 3;
  }
  CThread* Clone() override { return new CloningThread(*this); }
  void Destroy() override { delete this; }

 private:
  Counts& m_counts;
};

TEST_F(ThreadTest, CloneRunsOnceAndDestroysItselfUnjoined) {
  CloningThread::Counts counts;
  {
    CloningThread thread(counts);
    ASSERT_RESULT(thread.startClone(), 0);
    ASSERT_TRUE(waitUntil([&counts] { return counts.ends == 1; }));
    EXPECT_EQ(counts.runs, 1);
    EXPECT_NE(counts.runner, &thread);
    EXPECT_TRUE(waitUntil([] { return s_detaches == 1; }));
    EXPECT_EQ(s_cancels, 0);
    // The original was not started by it.
    std::uint32_t exitCode = 0;
    EXPECT_RESULT(thread.WaitForCompletion(exitCode), THREAD_ERROR_INVALID_STATE);
  }
  EXPECT_EQ(counts.ends, 2);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "IRunnable::Run", 3)) << m_log.dump();
  EXPECT_EQ(m_log.count("Terminated thread"), 0U) << m_log.dump();
}

// Lets go of its own thread while it runs.
class LettingGoThread : public CThread {
 public:
  struct State {
    std::atomic<bool> isStarted = true;
    std::atomic<bool> isOwn = true;
    std::atomic<bool> hasEnded = false;
  };
  explicit LettingGoThread(State& state) : m_state(state) {}
  LettingGoThread(const LettingGoThread&) = default;
  std::uint64_t Run() override {
    StaticKill();
    m_state.isStarted = isStarted();
    m_state.isOwn = isOwnThread();
    return 0;
  }
  CThread* Clone() override { return new LettingGoThread(*this); }
  void Destroy() override {
    State& state = m_state;
    delete this;
    state.hasEnded = true;
  }

 private:
  State& m_state;
};

TEST_F(ThreadTest, ThreadThatIsLetGoIsNeitherStartedNorKnownAnyMore) {
  LettingGoThread::State state;
  LettingGoThread thread(state);
  ASSERT_RESULT(thread.startClone(), 0);
  ASSERT_TRUE(waitUntil([&state] { return state.hasEnded.load(); }));
  EXPECT_FALSE(state.isStarted);
  EXPECT_FALSE(state.isOwn);
  // By the run itself, and not again by the clone's end.
  EXPECT_EQ(s_detaches, 1);
}

TEST_F(ThreadTest, CloneThatGetsNoThreadIsDestroyed) {
  CloningThread::Counts counts;
  CloningThread thread(counts);
  s_createError = EAGAIN;
  EXPECT_RESULT(thread.startClone(), THREAD_ERROR_CREATE_FAILED);
  EXPECT_EQ(counts.runs, 0);
  EXPECT_EQ(counts.ends, 1);
}

TEST_F(ThreadTest, DestroyIsLoggedAsMissingWhereNothingOverridesIt) {
  CThread thread;
  thread.Destroy();
  EXPECT_TRUE(m_log.has(kLogError, "IRunnable::Destroy not Implemented")) << m_log.dump();
}

TEST_F(ThreadTest, NullRunnableIsLoggedAndRefused) {
  ResultCode result = 0;
  CThread thread(result, nullptr, 0);
  EXPECT_RESULT(result, THREAD_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_log.has(kLogError, "IRunnable is NULL")) << m_log.dump();
}

TEST_F(ThreadTest, StartWithoutARunnableEndsWithAnErrorInsteadOfACrash) {
  CThread thread(static_cast<IRunnable*>(nullptr));
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 0;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), 0);
  EXPECT_EQ(exitCode, THREAD_ERROR_UNEXPECTED);
}

TEST_F(ThreadTest, CopyTakesTheRunnableAndStartsUnstarted) {
  std::atomic<int> runs = 0;
  Work work([&runs] {
    ++runs;
    return std::uint64_t{0};
  });
  CThread first(&work, 1024 * 1024);
  std::uint32_t exitCode = 0;
  ASSERT_RESULT(first.start(), 0);
  CThread second(first);
  EXPECT_RESULT(second.WaitForCompletion(exitCode), THREAD_ERROR_INVALID_STATE);
  ASSERT_RESULT(second.start(), 0);
  EXPECT_RESULT(first.WaitForCompletion(exitCode), 0);
  EXPECT_RESULT(second.WaitForCompletion(exitCode), 0);
  EXPECT_EQ(runs, 2);
}

TEST_F(ThreadTest, CopyTakesTheStackSize) {
  CThread first(16U);
  CThread second(first);
  EXPECT_RESULT(second.start(), THREAD_ERROR_INVALID_STACK_SIZE);
}

TEST_F(ThreadTest, StackSizeBelowTheSystemsLeastIsInvalid) {
  CThread thread(16U);
  EXPECT_RESULT(thread.start(), THREAD_ERROR_INVALID_STACK_SIZE);
  EXPECT_TRUE(m_log.has(kLogError, "Invalid stack size")) << m_log.dump();
  // Not started by the failure.
  std::uint32_t exitCode = 0;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), THREAD_ERROR_INVALID_STATE);
}

TEST_F(ThreadTest, StackSizeIsTheThreadsOwn) {
  std::size_t size = 0;
  Work work([&size] {
    pthread_attr_t attributes;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return std::uint64_t{0};
  });
  CThread thread(&work, 64 * 1024 * 1024);  // well above every default
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 0;
  ASSERT_RESULT(thread.WaitForCompletion(exitCode), 0);
  EXPECT_GE(size, 64U * 1024 * 1024);
}

TEST_F(ThreadTest, RefusedThreadIsLoggedAndCanBeTriedAgain) {
  CThread thread;
  s_createError = EAGAIN;
  EXPECT_RESULT(thread.start(), THREAD_ERROR_CREATE_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "pthread_create", EAGAIN)) << m_log.dump();
  s_createError = 0;
  EXPECT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 0;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), 0);
}

TEST_F(ThreadTest, FailedJoinIsLoggedAndLeavesTheThreadStarted) {
  GatedThread thread;
  ASSERT_RESULT(thread.start(), 0);
  std::uint32_t exitCode = 7;
  s_joinError = EDEADLK;
  EXPECT_RESULT(thread.WaitForCompletion(exitCode), THREAD_ERROR_POSIX_JOIN_FAILED);
  s_joinError = 0;
  EXPECT_EQ(exitCode, 7U);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "pthread_join", EDEADLK)) << m_log.dump();
  EXPECT_RESULT(thread.start(), THREAD_ERROR_INVALID_STATE);
}

TEST_F(ThreadTest, OwnThreadIsKnownAndCanEndItselfWithACode) {
  std::unique_ptr<CThread> thread;
  bool isOwn = false;
  Work work([&]() -> std::uint64_t {
    isOwn = thread->isOwnThread();
    thread->exitThread(77);
    return 1;
  });
  thread = std::make_unique<CThread>(&work);
  EXPECT_FALSE(thread->isOwnThread());
  ASSERT_RESULT(thread->start(), 0);
  EXPECT_RESULT(thread->exitThread(5), THREAD_ERROR_INVALID_CALLER);
  std::uint32_t exitCode = 0;
  EXPECT_RESULT(thread->WaitForCompletion(exitCode), 0);
  EXPECT_EQ(exitCode, 77U);
  EXPECT_TRUE(isOwn);
}

// The system gives the handle of a joined thread to the next one. The object took that one for its own, and
// would have ended it in exitThread().
TEST_F(ThreadTest, ThreadThatGetsTheHandleOfAJoinedOneIsNotItsOwn) {
  CThread thread;
  pthread_t handle = {};
  bool wasReused = false;
  bool wasOwn = false;
  ResultCode ended = 0;
  for (int attempt = 0; attempt < 100 && !wasReused; ++attempt) {
    ASSERT_RESULT(thread.createThread(
                      [](void* place) -> void* {
                        *static_cast<pthread_t*>(place) = pthread_self();
                        return nullptr;
                      },
                      &handle),
                  0);
    std::uint32_t exitCode = 0;
    ASSERT_RESULT(thread.WaitForCompletion(exitCode), 0);
    std::thread([&] {
      wasReused = pthread_equal(pthread_self(), handle) != 0;
      wasOwn = thread.isOwnThread();
      ended = wasOwn ? 0 : thread.exitThread(1);
    }).join();
    EXPECT_FALSE(wasOwn);
    EXPECT_RESULT(ended, THREAD_ERROR_INVALID_CALLER);
  }
  EXPECT_TRUE(wasReused);
}

TEST_F(ThreadTest, AdoptedThreadIsTheCallersOwn) {
  CThread thread;
  EXPECT_FALSE(thread.isOwnThread());
  thread.adoptCurrentThread();
  EXPECT_TRUE(thread.isOwnThread());
  bool elsewhere = true;
  std::thread([&] { elsewhere = thread.isOwnThread(); }).join();
  EXPECT_FALSE(elsewhere);
}

// Sets a flag when the thread's stack is unwound.
class EndFlag {
 public:
  explicit EndFlag(std::atomic<bool>& flag) : m_flag(flag) {}
  ~EndFlag() { m_flag = true; }
  EndFlag(const EndFlag&) = delete;
  EndFlag& operator=(const EndFlag&) = delete;

 private:
  std::atomic<bool>& m_flag;
};

TEST_F(ThreadTest, DestroyedBeforeItIsJoinedTheThreadIsCancelled) {
  std::atomic<bool> isRunning = false;
  std::atomic<bool> hasEnded = false;
  Work work([&]() -> std::uint64_t {
    EndFlag end(hasEnded);
    isRunning = true;
    for (;;) {
      pthread_testcancel();
      sched_yield();
    }
  });
  {
    CThread thread(&work);
    ASSERT_RESULT(thread.start(), 0);
    ASSERT_TRUE(waitUntil([&] { return isRunning.load(); }));
  }
  EXPECT_TRUE(m_log.has(kLogWarning, "Terminated thread that was still running unexpectedly."))
      << m_log.dump();
  EXPECT_TRUE(waitUntil([&] { return hasEnded.load(); }));
  EXPECT_EQ(s_cancels, 1);
  EXPECT_EQ(s_detaches, 1);
}

TEST_F(ThreadTest, ThreadThatCannotBeCancelledIsLetGoWithoutALog) {
  std::atomic<bool> isRunning = false;
  std::atomic<bool> mayEnd = false;
  std::atomic<bool> hasEnded = false;
  Work work([&]() -> std::uint64_t {
    EndFlag end(hasEnded);
    isRunning = true;
    while (!mayEnd) {
      sched_yield();
    }
    return 0;
  });
  s_cancelError = ESRCH;
  {
    CThread thread(&work);
    ASSERT_RESULT(thread.start(), 0);
    ASSERT_TRUE(waitUntil([&] { return isRunning.load(); }));
  }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
  EXPECT_EQ(s_detaches, 1);
  mayEnd = true;
  EXPECT_TRUE(waitUntil([&] { return hasEnded.load(); }));
}

TEST_F(ThreadTest, DestroyedAfterTheJoinNothingIsCancelled) {
  {
    CThread thread;
    ASSERT_RESULT(thread.start(), 0);
    std::uint32_t exitCode = 0;
    ASSERT_RESULT(thread.WaitForCompletion(exitCode), 0);
  }
  EXPECT_FALSE(m_log.has(kLogWarning, "Terminated")) << m_log.dump();
  EXPECT_EQ(s_cancels, 0);
  EXPECT_EQ(s_detaches, 0);
}

}  // namespace
}  // namespace halvo
