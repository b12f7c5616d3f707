#include "vpn/Common/IPC/event.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/Documents.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/IPC/EventList.h"
#include "vpn/Common/IPC/HostCalls_test.h"

namespace halvo {
namespace {

using test::hostCalls;
using test::LogRecorder;
using test::TempFolder;

constexpr std::uint32_t kLong = 60000;

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

// Notes what it is told.
class Callback : public IEventCallback {
 public:
  ResultCode OnEvent(std::uint64_t argument1, std::uint64_t argument2) override {
    m_calls.emplace_back(argument1, argument2);
    return EVENT_ERROR_UNKNOWN;  // nobody looks at it
  }
  std::vector<std::pair<std::uint64_t, std::uint64_t>> m_calls;
};

std::vector<std::pair<std::uint64_t, std::uint64_t>> s_functionCalls;

ResultCode noteCall(std::uint64_t argument1, std::uint32_t argument2) {
  s_functionCalls.emplace_back(argument1, argument2);
  return EVENT_ERROR_UNKNOWN;
}

// A pipe of a test's own, to be waited on as an external handle.
struct OwnPipe {
  OwnPipe() { EXPECT_EQ(::pipe(ends), 0); }
  ~OwnPipe() {
    close(ends[0]);
    close(ends[1]);
  }
  OwnPipe(const OwnPipe&) = delete;
  OwnPipe& operator=(const OwnPipe&) = delete;
  void put() { EXPECT_EQ(::write(ends[1], "a", 1), 1); }
  void fill() {
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const std::vector<char> block(4096, 'x');
    while (::write(ends[1], block.data(), block.size()) > 0) {
    }
  }
  void empty() {
    fcntl(ends[0], F_SETFL, O_NONBLOCK);
    std::vector<char> block(65536);
    while (::read(ends[0], block.data(), block.size()) > 0) {
    }
  }
  int ends[2] = {-1, -1};
};

class EventTest : public testing::Test {
 protected:
  EventTest() { s_functionCalls.clear(); }

  test::HostCallsReset m_reset;
  LogRecorder m_log;
  Callback m_callback;
  ResultCode m_result = 99;
};

// ---- Making ----

TEST_F(EventTest, PlainEventIsMadeUnraisedAndUnarmed) {
  CCEvent event(m_result);
  EXPECT_RESULT(m_result, 0);
  EXPECT_FALSE(event.isEventSet());
  EXPECT_FALSE(event.isArmed());
  EXPECT_EQ(event.eventType(), kEventPlain);
}

TEST_F(EventTest, TypeAboveTwoIsABadParameter) {
  CCEvent event(m_result, nullptr, 3, &m_callback, 0, 0);
  EXPECT_RESULT(m_result, EVENT_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::basicConstructor", EVENT_ERROR_BAD_PARAMETER))
      << m_log.dump();
  EXPECT_RESULT(event.WaitEvent(0), EVENT_ERROR_NOT_INITIALIZED);
}

TEST_F(EventTest, ListForAPlainEventIsABadParameter) {
  CEventList list;
  CCEvent event(m_result, &list, kEventPlain, &m_callback, 0, 0);
  EXPECT_RESULT(m_result, EVENT_ERROR_BAD_PARAMETER);
  EXPECT_EQ(list.size(), 0U);
}

TEST_F(EventTest, NullCallbackIsABadParameter) {
  CCEvent byObject(m_result, nullptr, kEventPlain, static_cast<IEventCallback*>(nullptr), 0, 0);
  EXPECT_RESULT(m_result, EVENT_ERROR_BAD_PARAMETER);
  CCEvent byFunction(m_result, nullptr, kEventListed, static_cast<EventCallbackFunction>(nullptr), 0, 0);
  EXPECT_RESULT(m_result, EVENT_ERROR_BAD_PARAMETER);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
  CEventList list;
  CCEvent listed(m_result, &list, kEventListed, static_cast<IEventCallback*>(nullptr), 0, 0);
  EXPECT_RESULT(m_result, EVENT_ERROR_BAD_PARAMETER);
  EXPECT_EQ(list.size(), 0U);
}

TEST_F(EventTest, FailedPipeIsLoggedAndTheEventCanNeitherBeRaisedNorWaitedOn) {
  hostCalls().pipeCall.fail(EMFILE);
  CCEvent event(m_result);
  EXPECT_RESULT(m_result, EVENT_ERROR_CREATE_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::pipe", EMFILE)) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::basicConstructor", EVENT_ERROR_CREATE_FAILED))
      << m_log.dump();
  EXPECT_RESULT(event.WaitEvent(0), EVENT_ERROR_NOT_INITIALIZED);
  EXPECT_RESULT(event.SetEvent(), EVENT_ERROR_SET_FAILED);
  EXPECT_FALSE(event.isEventSet());
}

TEST_F(EventTest, RefusalOfTheListIsLoggedAndReturned) {
  CEventList list;
  std::vector<std::unique_ptr<CCEvent>> events;
  for (std::size_t i = 0; i < CEventList::kMostEvents; ++i) {
    // No pipes are needed for this, and 2,048 descriptors may not be had.
    hostCalls().pipeCall.fail(EMFILE);
    ResultCode ignored = 0;
    events.push_back(std::make_unique<CCEvent>(ignored, nullptr, kEventListed, &m_callback, 0, 0));
    ASSERT_RESULT(list.AddEvent(events.back().get()), 0);
  }
  hostCalls().pipeCall.reset();
  m_log.clear();
  CCEvent event(m_result, &list, kEventListed, &m_callback, 0, 0);
  EXPECT_RESULT(m_result, EVENTLIST_ERROR_LIMIT_EXCEEDED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CEventList::AddEvent", EVENTLIST_ERROR_LIMIT_EXCEEDED))
      << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::basicConstructor", EVENTLIST_ERROR_LIMIT_EXCEEDED))
      << m_log.dump();
}

TEST_F(EventTest, EventThatItsListDoesNotHoldLogsThatAtItsEnd) {
  CEventList list;
  {
    CCEvent event(m_result, nullptr, kEventListed, &m_callback, 0, 0);
    ASSERT_RESULT(event.setEventList(&list), 0);
  }
  EXPECT_EQ(m_log.records().size(), 1U) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CEventList::RemoveEvent", EVENTLIST_ERROR_EVENT_NOT_FOUND))
      << m_log.dump();
}

TEST_F(EventTest, EventsLeaveNoDescriptorsBehind) {
  const auto descriptors = test::listFolder("/proc/self/fd").size();
  {
    CEventList list;
    CCEvent plain(m_result);
    CCEvent listed(m_result, &list, kEventListed, &m_callback, 0, 0);
    EXPECT_EQ(test::listFolder("/proc/self/fd").size(), descriptors + 4);
  }
  EXPECT_EQ(test::listFolder("/proc/self/fd").size(), descriptors);
}

// ---- Raising and resetting ----

TEST_F(EventTest, TwoRaisesAreOneCallbackAndTheEventIsUnsetAfterwards) {
  CCEvent event(m_result, nullptr, kEventPlain, &m_callback, 0x1111111122222222, 0x3333333344444444);
  ASSERT_RESULT(event.SetEvent(true), 0);
  ASSERT_RESULT(event.SetEvent(true), 0);
  EXPECT_TRUE(event.isEventSet());
  EXPECT_RESULT(event.WaitEvent(kLong, 0, true), 0);
  ASSERT_EQ(m_callback.m_calls.size(), 1U);
  EXPECT_EQ(m_callback.m_calls[0].first, 0x1111111122222222U);
  EXPECT_EQ(m_callback.m_calls[0].second, 0x3333333344444444U);
  EXPECT_FALSE(event.isEventSet());
  EXPECT_RESULT(event.WaitEvent(0), EVENT_ERROR_WAIT_TIMEOUT);
}

TEST_F(EventTest, FunctionCallbackGetsTheLowHalfOfTheSecondArgument) {
  CCEvent event(m_result, nullptr, kEventPlain, noteCall, 0x1111111122222222, 0x3333333344444444);
  ASSERT_RESULT(event.Signal(), 0);
  EXPECT_RESULT(event.WaitEvent(kLong), 0);
  ASSERT_EQ(s_functionCalls.size(), 1U);
  EXPECT_EQ(s_functionCalls[0].first, 0x1111111122222222U);
  EXPECT_EQ(s_functionCalls[0].second, 0x44444444U);
}

TEST_F(EventTest, WaitWithoutTheCallbackConsumesTheRaiseAlone) {
  CCEvent event(m_result, nullptr, kEventPlain, &m_callback, 0, 0);
  ASSERT_RESULT(event.SetEvent(), 0);
  EXPECT_RESULT(event.WaitEvent(kLong, 0, false), 0);
  EXPECT_TRUE(m_callback.m_calls.empty());
  EXPECT_FALSE(event.isEventSet());
}

TEST_F(EventTest, CallbackAskedForWhereThereIsNoneIsLoggedAndTheRaiseIsConsumed) {
  CCEvent event(m_result);
  ASSERT_RESULT(event.SetEvent(), 0);
  EXPECT_RESULT(event.WaitEvent(kLong, 0, true), EVENT_ERROR_NO_CALLBACK);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::processSignaledEvent", EVENT_ERROR_NO_CALLBACK))
      << m_log.dump();
  EXPECT_FALSE(event.isEventSet());
}

TEST_F(EventTest, WaitWithLimitZeroOnAnUnsetEventTimesOut) {
  CCEvent event(m_result);
  EXPECT_RESULT(event.WaitEvent(0), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_RESULT(event.WaitEvent(15), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(EventTest, WaitIsLimitedByWholeMilliseconds) {
  CCEvent event(m_result);
  hostCalls().selectCall.pretend();
  EXPECT_RESULT(event.WaitEvent(61999), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(hostCalls().lastSelect, 61999000);
  // Some 49 days, and not without end.
  EXPECT_RESULT(event.WaitEvent(0xFFFFFFFF), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(hostCalls().lastSelect, 4294967295000);
}

TEST_F(EventTest, WaitWithTheGreatestLimitEndsWithTheRaise) {
  CCEvent event(m_result);
  std::thread raiser([&event] {
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_RESULT(event.SetEvent(), 0);
  });
  EXPECT_RESULT(event.WaitEvent(0xFFFFFFFF, 0, false), 0);
  raiser.join();
}

TEST_F(EventTest, RaisesFromManyThreadsAreNotLost) {
  CCEvent event(m_result, nullptr, kEventPlain, &m_callback, 0, 0);
  std::vector<std::thread> raisers;
  for (int i = 0; i < 4; ++i) {
    raisers.emplace_back([&event] {
      for (int j = 0; j < 200; ++j) {
        EXPECT_RESULT(event.Signal(), 0);
      }
    });
  }
  EXPECT_RESULT(event.WaitEvent(kLong), 0);
  for (std::thread& raiser : raisers) {
    raiser.join();
  }
  while (event.isEventSet()) {
    EXPECT_RESULT(event.WaitEvent(0), 0);
  }
  EXPECT_GE(m_callback.m_calls.size(), 1U);
}

TEST_F(EventTest, EachRaisePutsTwoBytesIntoThePipe) {
  CCEvent event(m_result);
  const int descriptors[] = {event.readDescriptor(), event.writeDescriptor()};
  ASSERT_RESULT(event.SetEvent(), 0);
  ASSERT_RESULT(event.SetEvent(), 0);
  char bytes[8] = {};
  EXPECT_EQ(::read(descriptors[0], bytes, sizeof(bytes)), 4);
  EXPECT_EQ(std::string(bytes, 4), std::string("x\0x\0", 4));
}

TEST_F(EventTest, FailedRaiseIsLoggedWhereAskedFor) {
  CCEvent event(m_result);
  hostCalls().descriptor = event.writeDescriptor();
  hostCalls().writeCall.fail(EIO);
  EXPECT_RESULT(event.SetEvent(false), EVENT_ERROR_SET_FAILED);
  EXPECT_RESULT(event.Signal(), EVENT_ERROR_SET_FAILED);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
  EXPECT_RESULT(event.SetEvent(true), EVENT_ERROR_SET_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::write", EIO)) << m_log.dump();
  hostCalls().writeCall.pretend();  // nothing went out
  EXPECT_RESULT(event.SetEvent(false), EVENT_ERROR_SET_FAILED);
}

TEST_F(EventTest, ResetTakesTheRaisesAndTheArmingBack) {
  CCEvent event(m_result, nullptr, kEventWhenArmed, &m_callback, 0, 0);
  event.arm();
  ASSERT_RESULT(event.SetEvent(), 0);
  ASSERT_RESULT(event.SetEvent(), 0);
  EXPECT_RESULT(event.ResetEvent(), 0);
  EXPECT_FALSE(event.isEventSet());
  EXPECT_FALSE(event.isArmed());
  EXPECT_RESULT(event.ResetEvent(), 0);
}

TEST_F(EventTest, InterruptedReadsAreTriedAHundredTimes) {
  for (const int error : {EINTR, EAGAIN}) {
    CCEvent event(m_result);
    ASSERT_RESULT(event.SetEvent(), 0);
    hostCalls().descriptor = event.readDescriptor();
    hostCalls().readCall.fail(error, 0, 100);
    EXPECT_RESULT(event.ResetEvent(), 0);
    EXPECT_FALSE(event.isEventSet());
    EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
  }
}

TEST_F(EventTest, OneInterruptedReadMoreFailsTheReset) {
  CCEvent event(m_result);
  ASSERT_RESULT(event.SetEvent(), 0);
  hostCalls().descriptor = event.readDescriptor();
  hostCalls().readCall.fail(EINTR, 0, 101);
  EXPECT_RESULT(event.ResetEvent(), EVENT_ERROR_RESET_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::read", EINTR)) << m_log.dump();
  EXPECT_EQ(m_log.records().size(), 1U);
}

TEST_F(EventTest, InterruptedReadsCountThoughOthersSucceedBetweenThem) {
  CCEvent event(m_result);
  for (int i = 0; i < 150; ++i) {
    ASSERT_RESULT(event.SetEvent(), 0);
  }
  hostCalls().descriptor = event.readDescriptor();
  hostCalls().readCall.failEveryOther(EINTR);
  EXPECT_RESULT(event.ResetEvent(), EVENT_ERROR_RESET_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::read", EINTR)) << m_log.dump();
  // A hundred raises are gone, and fifty are still there.
  hostCalls().readCall.reset();
  ASSERT_TRUE(event.isEventSet());
  char rest[200];
  EXPECT_EQ(::read(event.readDescriptor(), rest, sizeof(rest)), 100);
}

TEST_F(EventTest, HalfARaiseFailsTheReset) {
  CCEvent event(m_result);
  ASSERT_EQ(::write(event.writeDescriptor(), "x", 1), 1);
  EXPECT_RESULT(event.ResetEvent(), EVENT_ERROR_RESET_FAILED);
  EXPECT_EQ(m_log.records().size(), 1U) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::read", 0)) << m_log.dump();
}

TEST_F(EventTest, AnyOtherReadErrorFailsTheResetAtOnceAndTheWaitWithIt) {
  CCEvent event(m_result, nullptr, kEventPlain, &m_callback, 0, 0);
  ASSERT_RESULT(event.SetEvent(), 0);
  hostCalls().descriptor = event.readDescriptor();
  hostCalls().readCall.fail(EIO, 0, 1);
  EXPECT_RESULT(event.WaitEvent(kLong), EVENT_ERROR_RESET_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::read", EIO)) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::ResetEvent", EVENT_ERROR_RESET_FAILED))
      << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::processSignaledEvent", EVENT_ERROR_RESET_FAILED))
      << m_log.dump();
  EXPECT_TRUE(m_callback.m_calls.empty());
  EXPECT_TRUE(event.isEventSet());
}

TEST_F(EventTest, FailedSelectFailsTheWaitAndReadsAsUnset) {
  CCEvent event(m_result);
  ASSERT_RESULT(event.SetEvent(), 0);
  hostCalls().selectCall.fail(EINVAL);
  EXPECT_RESULT(event.WaitEvent(kLong), EVENT_ERROR_WAIT_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "rqv_select", EINVAL)) << m_log.dump();
  m_log.clear();
  EXPECT_FALSE(event.isEventSet());
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "rqv_select", EINVAL)) << m_log.dump();
}

TEST_F(EventTest, WaitThatPointsAtNeitherPipeNorHandleFails) {
  OwnPipe external;
  external.put();
  CCEvent event(m_result, external.ends[0], kHandleRead);
  ASSERT_RESULT(event.SetEvent(), 0);
  hostCalls().doesSelectPointAtNone = true;
  EXPECT_RESULT(event.WaitEvent(kLong, 0, false), EVENT_ERROR_WAIT_FAILED);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
  EXPECT_TRUE(event.isEventSet());
}

// ---- External handles ----

TEST_F(EventTest, ExternalHandleThatCanBeReadEndsTheWait) {
  OwnPipe external;
  CCEvent event(m_result, nullptr, kEventPlain, &m_callback, 0, 0, external.ends[0], kHandleRead);
  ASSERT_RESULT(m_result, 0);
  EXPECT_RESULT(event.WaitEvent(0), EVENT_ERROR_WAIT_TIMEOUT);
  external.put();
  EXPECT_RESULT(event.WaitEvent(kLong), 0);
  EXPECT_EQ(m_callback.m_calls.size(), 1U);
  EXPECT_FALSE(event.isEventSet());
  // The handle is the caller's to empty: it ends the next wait too.
  EXPECT_RESULT(event.WaitEvent(0), 0);
}

TEST_F(EventTest, ExternalHandleThatCanBeWrittenEndsTheWait) {
  OwnPipe external;
  external.fill();
  CCEvent event(m_result, external.ends[1], kHandleWrite);
  EXPECT_RESULT(event.WaitEvent(0, 0, false), EVENT_ERROR_WAIT_TIMEOUT);
  external.empty();
  EXPECT_RESULT(event.WaitEvent(kLong, 0, false), 0);
}

TEST_F(EventTest, ExternalHandleCanBeSetLater) {
  OwnPipe external;
  CCEvent event(m_result);
  EXPECT_RESULT(event.setExternalHandle(0, kHandleRead), EVENT_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(event.setExternalHandle(-1, kHandleRead), EVENT_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(event.setExternalHandle(external.ends[0], kHandleFileWrites), EVENT_ERROR_BAD_PARAMETER);
  external.put();
  EXPECT_RESULT(event.WaitEvent(0, 0, false), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_RESULT(event.setExternalHandle(external.ends[0], kHandleRead), 0);
  EXPECT_RESULT(event.WaitEvent(0, 0, false), 0);
  EXPECT_RESULT(event.setExternalHandle(external.ends[1], kHandleWrite), 0);
  EXPECT_RESULT(event.WaitEvent(0, 0, false), 0);
}

TEST_F(EventTest, HandleOfAnUnknownKindIsNotWaitedOnByTheEventAlone) {
  OwnPipe external;
  external.put();
  CCEvent event(m_result, external.ends[0], 7);
  ASSERT_RESULT(m_result, 0);
  EXPECT_RESULT(event.WaitEvent(0, 0, false), EVENT_ERROR_WAIT_TIMEOUT);
}

// ---- Watching a file ----

class WatchTest : public EventTest {
 protected:
  WatchTest() {
    test::writeFile(m_folder.file("watched"), "old");
    m_file = open(m_folder.file("watched").c_str(), O_RDWR | O_CLOEXEC);
  }
  ~WatchTest() override { close(m_file); }
  // Writes until the event is raised: the watcher's thread may not have come to its watch yet.
  static bool raises(CCEvent& event, const std::function<void()>& writeOnce) {
    return waitUntil([&] {
      writeOnce();
      return event.WaitEvent(20, 0, false) == 0;
    });
  }
  TempFolder m_folder;
  int m_file = -1;
};

TEST_F(WatchTest, WriteToTheWatchedFileRaisesTheEvent) {
  CCEvent event(m_result, nullptr, kEventPlain, &m_callback, 0, 0, m_file, kHandleFileWrites);
  ASSERT_RESULT(m_result, 0);
  EXPECT_RESULT(event.WaitEvent(50, 0, false), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_TRUE(raises(event, [this] { EXPECT_EQ(::write(m_file, "a", 1), 1); }));
  // And again, through another descriptor of the same file.
  EXPECT_TRUE(raises(event, [this] { test::appendFile(m_folder.file("watched"), "b"); }));
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(WatchTest, FileIsWatchedThoughItsNameIsGone) {
  ASSERT_EQ(unlink(m_folder.file("watched").c_str()), 0);
  CCEvent event(m_result, m_file, kHandleFileWrites);
  ASSERT_RESULT(m_result, 0);
  EXPECT_TRUE(raises(event, [this] { EXPECT_EQ(::write(m_file, "a", 1), 1); }));
}

TEST_F(WatchTest, WatchedHandleIsTakenOverAndNotWaitedOnItself) {
  // A regular file is always readable: the wait would end at once.
  CCEvent event(m_result, m_file, kHandleFileWrites);
  EXPECT_RESULT(event.WaitEvent(50, 0, false), EVENT_ERROR_WAIT_TIMEOUT);
}

TEST_F(WatchTest, ListServesAnEventWhoseFileIsWritten) {
  CEventList list;
  CCEvent event(m_result, &list, kEventListed, &m_callback, 0, 0, m_file, kHandleFileWrites);
  ASSERT_RESULT(m_result, 0);
  // The handle is the watcher's by now: the list would refuse its kind.
  EXPECT_RESULT(list.WaitOnEvents(0), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_TRUE(waitUntil([&] {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    return list.WaitOnEvents(20) == 0;
  }));
  EXPECT_EQ(m_callback.m_calls.size(), 1U);
}

TEST_F(WatchTest, EndOfTheEventEndsItsWatcherWithNothingLeft) {
  // A sanitizer's runtime may start a thread of its own with the first one of the program.
  std::thread([] {}).join();
  const auto descriptors = test::listFolder("/proc/self/fd").size();
  const auto threads = test::listFolder("/proc/self/task").size();
  constexpr std::size_t kEvents = 3;
  for (std::size_t i = 0; i < kEvents; ++i) {
    CCEvent event(m_result, m_file, kHandleFileWrites);
    ASSERT_RESULT(m_result, 0);
  }
  // The system lists a thread for a moment longer than a join takes.
  EXPECT_TRUE(waitUntil([&] { return test::listFolder("/proc/self/task").size() <= threads; }));
  // On macOS a watch's queue stays until the process ends.
  const std::size_t left = std::string(test::kThisSystem) == "mac" ? kEvents : 0;
  EXPECT_EQ(test::listFolder("/proc/self/fd").size(), descriptors + left);
  EXPECT_EQ(m_log.count("Terminated thread"), 0U) << m_log.dump();
  EXPECT_TRUE(m_log.has(kLogInformation, "The thread has successfully completed execution."));
}

TEST_F(WatchTest, HostWithoutAWatchFailsTheEvent) {
  hostCalls().watchOpenCall.fail(EMFILE);
  CCEvent event(m_result, m_file, kHandleFileWrites);
  EXPECT_RESULT(m_result, EVENT_ERROR_CREATE_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::kqueue", EMFILE)) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::basicConstructor", EVENT_ERROR_CREATE_FAILED))
      << m_log.dump();
}

TEST_F(WatchTest, WatcherWithoutAThreadFailsTheEvent) {
  hostCalls().pthreadCreateCall.fail(EAGAIN);
  CCEvent event(m_result, m_file, kHandleFileWrites);
  EXPECT_RESULT(m_result, EVENT_ERROR_CREATE_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "pthread_create", EAGAIN)) << m_log.dump();
}

// The watcher by itself, run on the test's own thread.
class WatcherTest : public WatchTest {
 protected:
  OwnPipe m_pipe;
};

TEST_F(WatcherTest, UnsupportedRegistrationIsLoggedAndEndsTheLoop) {
  hostCalls().watchRegisterCall.fail(ENOTSUP);
  CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(m_result, 0);
  EXPECT_EQ(watcher.externalKind(), kHandleFileWrites);
  EXPECT_EQ(watcher.Run(), 0U);
  EXPECT_FALSE(watcher.isRunning());
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::kevent", ENOTSUP)) << m_log.dump();
}

TEST_F(WatcherTest, OtherFailedRegistrationIsLoggedAndTheLoopGoesOnToTheWait) {
  hostCalls().watchRegisterCall.fail(EBADF);
  hostCalls().watchAwaitCall.fail(EINTR);
  CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  EXPECT_EQ(watcher.Run(), 0U);
  EXPECT_EQ(m_log.records().size(), 1U) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "::kevent", EBADF)) << m_log.dump();
}

TEST_F(WatcherTest, InterruptedWaitEndsTheLoop) {
  for (const int error : {EINTR, EAGAIN}) {
    hostCalls().watchAwaitCall.fail(error);
    CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
    EXPECT_EQ(watcher.Run(), 0U);
  }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(WatcherTest, WriteIsPassedOnAsOneRaiseOfTwoBytes) {
  hostCalls().watchAwaitCall.fail(EIO, 0, 1);  // neither EINTR nor EAGAIN: the loop goes on
  CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(watcher.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return watcher.isRunning(); }));
  fcntl(m_pipe.ends[0], F_SETFL, O_NONBLOCK);
  char bytes[2] = {};
  ASSERT_TRUE(waitUntil([&] {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    return ::read(m_pipe.ends[0], bytes, sizeof(bytes)) == 2;
  }));
  EXPECT_EQ(bytes[0], 'x');
  EXPECT_EQ(bytes[1], '\0');
}

TEST_F(WatcherTest, RaiseThatCannotBeWrittenIsLogged) {
  hostCalls().descriptor = m_pipe.ends[1];
  hostCalls().writeCall.fail(EIO);
  CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(watcher.start(), 0);
  EXPECT_TRUE(waitUntil([&] {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    return m_log.hasReturnCode(kLogError, "::write", EIO);
  }));
}

// A file was written to for days with nobody waiting. The watcher stood in write() from some point on, and
// the end of the event waited for it without end.
TEST_F(WatcherTest, PipeFullOfRaisesThatBlocksDoesNotHoldTheDestructorUp) {
  m_pipe.fill();
  ASSERT_EQ(fcntl(m_pipe.ends[1], F_SETFL, 0), 0);  // a write waits for room again
  std::atomic<bool> isGone = false;
  auto watcher = std::make_unique<CKevent>(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(watcher->start(), 0);
  ASSERT_TRUE(waitUntil([&] { return watcher->isRunning(); }));
  // The registration behind a raise tells when one is over: none is, as long as the pipe is full.
  hostCalls().watchRegisterCall.fail(EBADF, 1, 1);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  std::thread ender([&] {
    watcher.reset();
    isGone = true;
  });
  EXPECT_TRUE(waitUntil([&] { return isGone.load(); }));
  m_pipe.empty();  // a watcher that stands in write() gets away
  ender.join();
  EXPECT_EQ(m_log.count("::write"), 0U) << m_log.dump();
  EXPECT_TRUE(m_log.has(kLogInformation, "The thread has successfully completed execution."));
}

TEST_F(WatcherTest, RaiseThatWaitsForRoomIsMadeWhenThereIsSome) {
  m_pipe.fill();
  ASSERT_EQ(fcntl(m_pipe.ends[1], F_SETFL, 0), 0);
  CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(watcher.start(), 0);
  ASSERT_TRUE(waitUntil([&] { return watcher.isRunning(); }));
  EXPECT_TRUE(waitUntil([&] {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    m_pipe.empty();
    // The raise that waited is made now, on the other thread: emptied again at once, it would be missed.
    pollfd ready = {m_pipe.ends[0], POLLIN, 0};
    char bytes[2] = {};
    return poll(&ready, 1, 100) == 1 && ::read(m_pipe.ends[0], bytes, sizeof(bytes)) == 2 &&
           bytes[0] == 'x' && bytes[1] == '\0';
  }));
}

// Nothing was logged then: a look at the pipe went ahead of the write, which wasn't made.
TEST_F(WatcherTest, RaiseIntoAFullPipeThatDoesNotBlockIsLogged) {
  m_pipe.fill();
  ASSERT_EQ(fcntl(m_pipe.ends[1], F_SETFL, O_NONBLOCK), 0);
  CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(watcher.start(), 0);
  EXPECT_TRUE(waitUntil([&] {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    return m_log.hasReturnCode(kLogError, "::write", EAGAIN);
  }));
}

// There were two records a raise then, one of the look at the pipe.
TEST_F(WatcherTest, RaiseIntoABadDescriptorIsLoggedAsOneFailedWrite) {
  CKevent watcher(m_result, m_file, kHandleFileWrites, -1);
  ASSERT_RESULT(watcher.start(), 0);
  EXPECT_TRUE(waitUntil([&] {
    EXPECT_EQ(::write(m_file, "a", 1), 1);
    return m_log.hasReturnCode(kLogError, "::write", EBADF);
  }));
  EXPECT_EQ(m_log.count("rqv_select"), 0U) << m_log.dump();
}

TEST_F(WatcherTest, FailedJoinOfTheWatcherIsLogged) {
  // Nobody has joined its thread, which may look at it for a moment more: its place isn't used again.
  alignas(CKevent) static std::array<std::byte, sizeof(CKevent)> place;
  CKevent* const watcher = new (place.data()) CKevent(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
  ASSERT_RESULT(watcher->start(), 0);
  ASSERT_TRUE(waitUntil([&] { return watcher->isRunning(); }));
  hostCalls().pthreadJoinCall.fail(EINVAL);
  watcher->~CKevent();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "pthread_join", EINVAL)) << m_log.dump();
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CKevent::WaitForCompletion", THREAD_ERROR_POSIX_JOIN_FAILED))
      << m_log.dump();
  EXPECT_TRUE(m_log.has(kLogError, "Return code: " + std::to_string(THREAD_ERROR_POSIX_JOIN_FAILED)))
      << m_log.dump();
}

// The destructor went by whether a thread had been started, and joined one that had left its loop as well.
TEST_F(WatcherTest, WatcherThatLeftItsLoopByItselfIsNotJoined) {
  {
    hostCalls().watchRegisterCall.fail(ENOTSUP);
    CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]);
    ASSERT_RESULT(watcher.start(), 0);
    ASSERT_TRUE(waitUntil([&] { return m_log.hasReturnCode(kLogError, "::kevent", ENOTSUP); }));
    ASSERT_TRUE(waitUntil([&] { return !watcher.isRunning(); }));
  }
  EXPECT_EQ(m_log.count("The thread has successfully completed execution."), 0U) << m_log.dump();
}

TEST_F(WatcherTest, WatcherThatWasNeverStartedEndsWithoutALog) {
  { CKevent watcher(m_result, m_file, kHandleFileWrites, m_pipe.ends[1]); }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

}  // namespace
}  // namespace halvo
