#include "vpn/Common/IPC/EventList.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/ForkedCase.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "vpn/Common/IPC/DescriptorSet.h"
#include "vpn/Common/IPC/HostCalls_test.h"
#include "vpn/Common/IPC/event.h"

namespace halvo {
namespace {

using test::hostCalls;
using test::LogRecorder;

constexpr std::uint32_t kLong = 60000;

// Runs a function with the event's number.
class Callback : public IEventCallback {
 public:
  explicit Callback(std::function<void(std::uint64_t)> work) : m_work(std::move(work)) {}
  ResultCode OnEvent(std::uint64_t argument1, std::uint64_t /*argument2*/) override {
    m_work(argument1);
    return 0;
  }

 private:
  std::function<void(std::uint64_t)> m_work;
};

class EventListTest : public testing::Test {
 protected:
  EventListTest() : m_callback([this](std::uint64_t number) { onEvent(number); }) {}

  void onEvent(std::uint64_t number) {
    m_served += std::to_string(number) + " ";
    if (m_onEvent) {
      m_onEvent(number);
    }
  }
  // An event on no list whose callback gets `number`.
  std::unique_ptr<CCEvent> make(std::uint32_t type, std::uint64_t number, int handle = 0,
                                std::uint32_t kind = kHandleRead) {
    ResultCode result = 0;
    auto event = std::make_unique<CCEvent>(result, nullptr, type, &m_callback, number, 0, handle, kind);
    EXPECT_RESULT(result, 0);
    return event;
  }
  std::unique_ptr<CCEvent> makeListed(std::uint32_t type, std::uint64_t number) {
    auto event = make(type, number);
    EXPECT_RESULT(m_list.AddEvent(event.get()), 0);
    return event;
  }
  std::string takeServed() { return std::exchange(m_served, ""); }

  test::HostCallsReset m_reset;
  LogRecorder m_log;
  std::string m_served;
  std::function<void(std::uint64_t)> m_onEvent;
  Callback m_callback;
  CEventList m_list;
};

// ---- Adding and removing ----

TEST_F(EventListTest, ListHolds1024EventsAndRefusesTheNext) {
  hostCalls().pipeCall.fail(EMFILE);  // the descriptors aren't needed for this
  std::vector<std::unique_ptr<CCEvent>> events;
  for (std::uint64_t i = 0; i < 1025; ++i) {
    ResultCode ignored = 0;
    events.push_back(std::make_unique<CCEvent>(ignored, nullptr, i % 2 == 0 ? kEventListed : kEventWhenArmed,
                                               &m_callback, i, 0));
  }
  for (std::size_t i = 0; i < 1024; ++i) {
    ASSERT_RESULT(m_list.AddEvent(events[i].get()), 0);
  }
  EXPECT_RESULT(m_list.AddEvent(events[1024].get()), EVENTLIST_ERROR_LIMIT_EXCEEDED);
  EXPECT_RESULT(m_list.AddEvent(nullptr), EVENTLIST_ERROR_LIMIT_EXCEEDED);
  EXPECT_EQ(m_list.size(), 1024U);
  EXPECT_RESULT(m_list.RemoveEvent(events[5].get()), 0);
  EXPECT_RESULT(m_list.AddEvent(events[1024].get()), 0);
}

TEST_F(EventListTest, NullIsABadParameter) {
  EXPECT_RESULT(m_list.AddEvent(nullptr), EVENTLIST_ERROR_BAD_PARAMETER);
  EXPECT_RESULT(m_list.RemoveEvent(nullptr), EVENTLIST_ERROR_BAD_PARAMETER);
}

TEST_F(EventListTest, EventOnAnotherListIsRefused) {
  CEventList other;
  auto event = makeListed(kEventListed, 1);
  EXPECT_RESULT(other.AddEvent(event.get()), EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::setEventList", EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST))
      << m_log.dump();
  EXPECT_RESULT(m_list.AddEvent(event.get()), EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST);
  EXPECT_RESULT(other.RemoveEvent(event.get()), EVENTLIST_ERROR_EVENT_NOT_FOUND);
  EXPECT_EQ(other.size(), 0U);
  EXPECT_EQ(m_list.size(), 1U);
  // Off the one, it can go on the other.
  EXPECT_RESULT(m_list.RemoveEvent(event.get()), 0);
  EXPECT_RESULT(other.AddEvent(event.get()), 0);
}

TEST_F(EventListTest, EventWithoutACallbackIsRefused) {
  ResultCode result = 0;
  CCEvent event(result);
  EXPECT_RESULT(m_list.AddEvent(&event), EVENT_ERROR_NO_CALLBACK);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::setEventList", EVENT_ERROR_NO_CALLBACK))
      << m_log.dump();
}

TEST_F(EventListTest, PlainEventIsRefused) {
  auto event = make(kEventPlain, 1);
  EXPECT_RESULT(m_list.AddEvent(event.get()), EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS);
  EXPECT_RESULT(event->setEventList(nullptr), 0);
  EXPECT_EQ(m_list.size(), 0U);
}

TEST_F(EventListTest, EventGivenItsListWhenMadeIsOnIt) {
  ResultCode result = 0;
  {
    CCEvent event(result, &m_list, kEventListed, &m_callback, 4, 0);
    EXPECT_RESULT(result, 0);
    EXPECT_EQ(m_list.size(), 1U);
    ASSERT_RESULT(event.SetEvent(), 0);
    EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
    EXPECT_EQ(takeServed(), "4 ");
  }
  // It took itself off.
  EXPECT_EQ(m_list.size(), 0U);
  EXPECT_EQ(m_list.listedCount(), 0U);
}

TEST_F(EventListTest, EventsThatAreAlwaysWaitedOnStandAheadOfThoseToBeArmed) {
  auto armed1 = makeListed(kEventWhenArmed, 11);
  auto armed2 = makeListed(kEventWhenArmed, 12);
  auto always1 = makeListed(kEventListed, 1);  // takes the place of 11, which moves behind 12
  auto always2 = makeListed(kEventListed, 2);  // takes the place of 12
  EXPECT_EQ(m_list.listedCount(), 2U);
  for (CCEvent* event : {armed1.get(), armed2.get(), always1.get(), always2.get()}) {
    event->arm();
    ASSERT_RESULT(event->SetEvent(), 0);
  }
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 2 11 12 ");
  auto always3 = makeListed(kEventListed, 3);  // 1 2 3 12 11
  for (CCEvent* event : {armed1.get(), armed2.get(), always3.get()}) {
    event->arm();
    ASSERT_RESULT(event->SetEvent(), 0);
  }
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "3 12 11 ");
}

TEST_F(EventListTest, RemovalKeepsTheOrderAndTheBorder) {
  auto always1 = makeListed(kEventListed, 1);
  auto always2 = makeListed(kEventListed, 2);
  auto armed1 = makeListed(kEventWhenArmed, 11);
  auto armed2 = makeListed(kEventWhenArmed, 12);
  EXPECT_RESULT(m_list.RemoveEvent(armed1.get()), 0);
  EXPECT_EQ(m_list.listedCount(), 2U);
  EXPECT_RESULT(m_list.RemoveEvent(always1.get()), 0);
  EXPECT_EQ(m_list.listedCount(), 1U);
  EXPECT_RESULT(m_list.RemoveEvent(always1.get()), EVENTLIST_ERROR_EVENT_NOT_FOUND);
  armed2->arm();
  ASSERT_RESULT(armed2->SetEvent(), 0);
  ASSERT_RESULT(always2->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "2 12 ");
}

TEST_F(EventListTest, EndOfAListWithEventsIsLoggedAndLeavesThemAlive) {
  auto event1 = make(kEventListed, 1);
  auto event2 = make(kEventWhenArmed, 2);
  {
    CEventList list;
    ASSERT_RESULT(list.AddEvent(event1.get()), 0);
    ASSERT_RESULT(list.AddEvent(event2.get()), 0);
  }
  EXPECT_TRUE(m_log.has(kLogError, "Deletion of event list containing 2 events")) << m_log.dump();
  EXPECT_RESULT(m_list.AddEvent(event1.get()), 0);
  EXPECT_RESULT(m_list.AddEvent(event2.get()), 0);
}

TEST_F(EventListTest, EndOfAnEmptyListIsNotLogged) {
  { CEventList list; }
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

// ---- Waiting ----

TEST_F(EventListTest, EmptyListSleepsForTheLimitAndSucceeds) {
  EXPECT_RESULT(m_list.WaitOnEvents(0), 0);
  hostCalls().usleepCall.pretend();
  EXPECT_RESULT(m_list.WaitOnEvents(70000), 0);
  EXPECT_EQ(hostCalls().lastSleep, 70000000);
  EXPECT_TRUE(m_log.records().empty()) << m_log.dump();
}

TEST_F(EventListTest, EmptyListIsNotWaitedOnWithoutEnd) {
  hostCalls().usleepCall.pretend();
  EXPECT_RESULT(m_list.WaitOnEvents(0xFFFFFFFF), EVENTLIST_ERROR_UNEXPECTED);
  EXPECT_EQ(hostCalls().lastSleep, -1);
}

TEST_F(EventListTest, WaitIsLimitedByWholeMilliseconds) {
  auto event = makeListed(kEventListed, 1);
  hostCalls().selectCall.pretend();
  EXPECT_RESULT(m_list.WaitOnEvents(61999), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(hostCalls().lastSelect, 61999000);
  EXPECT_RESULT(m_list.WaitOnEvents(0xFFFFFFFF), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(hostCalls().lastSelect, 4294967295000);
}

TEST_F(EventListTest, NothingRaisedTimesOut) {
  auto event = makeListed(kEventListed, 1);
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_RESULT(m_list.WaitOnEvents(15), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_EQ(m_served, "");
}

TEST_F(EventListTest, EventToBeArmedIsNotWaitedOnThoughRaisedUntilItIsArmed) {
  auto event = makeListed(kEventWhenArmed, 1);
  ASSERT_RESULT(event->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENT_ERROR_WAIT_TIMEOUT);
  EXPECT_TRUE(event->isEventSet());
  event->arm();
  EXPECT_RESULT(m_list.WaitOnEvents(0), 0);
  EXPECT_EQ(takeServed(), "1 ");
  // Served once, it wants to be armed again.
  EXPECT_FALSE(event->isArmed());
  ASSERT_RESULT(event->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENT_ERROR_WAIT_TIMEOUT);
}

TEST_F(EventListTest, UnarmedEventIsPassedOverEvenWhereAnotherIsServed) {
  auto armed = makeListed(kEventWhenArmed, 11);
  auto always = makeListed(kEventListed, 1);
  ASSERT_RESULT(armed->SetEvent(), 0);
  ASSERT_RESULT(always->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 ");
}

TEST_F(EventListTest, EventWithoutAPipeIsABadPipe) {
  hostCalls().pipeCall.fail(EMFILE);
  ResultCode result = 0;
  CCEvent event(result, nullptr, kEventWhenArmed, &m_callback, 1, 0);
  ASSERT_RESULT(m_list.AddEvent(&event), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENT_ERROR_WAIT_TIMEOUT);  // unarmed, it isn't looked at
  event.arm();
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENTLIST_ERROR_BAD_EVENT_PIPE);
}

TEST(EventListChildTest, PipeThatBeginsAtDescriptorZeroIsWaitedOnAndClosed) {
  // As in a program whose caller has closed its standard input.
  const test::ForkedResult child = test::runForked([] {
    close(STDIN_FILENO);
    int served = 0;
    Callback callback([&served](std::uint64_t /*number*/) { ++served; });
    CEventList list;
    ResultCode result = 0;
    {
      CCEvent event(result, &list, kEventListed, &callback, 1, 0);
      if (result != 0 || event.readDescriptor() != STDIN_FILENO) {
        return 1;
      }
      if (event.SetEvent() != 0 || list.WaitOnEvents(kLong) != 0 || served != 1 || event.isEventSet()) {
        return 2;
      }
      if (event.SetEvent() != 0 || event.WaitEvent(kLong) != 0 || served != 2) {
        return 3;
      }
    }
    return fcntl(STDIN_FILENO, F_GETFD) == -1 ? 0 : 4;
  });
  EXPECT_EQ(child.exitStatus, 0) << child.dump();
}

TEST_F(EventListTest, HandleOfAnUnknownKindIsABadHandleType) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  auto event = make(kEventListed, 1, ends[0], 7);
  ASSERT_RESULT(m_list.AddEvent(event.get()), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE);
  close(ends[0]);
  close(ends[1]);
}

TEST_F(EventListTest, FailedSelectFailsTheWait) {
  auto event = makeListed(kEventListed, 1);
  hostCalls().selectCall.fail(EINVAL);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), EVENT_ERROR_WAIT_FAILED);
}

TEST_F(EventListTest, WaitThatPointsAtNoEventServesNone) {
  auto event = makeListed(kEventListed, 1);
  ASSERT_RESULT(event->SetEvent(), 0);
  hostCalls().doesSelectPointAtNone = true;
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "");
}

TEST_F(EventListTest, ExternalHandlesServeTheirEvents) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  auto reads = make(kEventListed, 1, ends[0], kHandleRead);
  auto writes = make(kEventListed, 2, ends[1], kHandleWrite);
  ASSERT_RESULT(m_list.AddEvent(reads.get()), 0);
  ASSERT_RESULT(m_list.AddEvent(writes.get()), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "2 ");
  ASSERT_EQ(::write(ends[1], "a", 1), 1);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 2 ");
  close(ends[0]);
  close(ends[1]);
}

TEST_F(EventListTest, HandleSharedByTwoEventsIsServedOnce) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  auto first = make(kEventListed, 1, ends[0], kHandleRead);
  auto second = make(kEventListed, 2, ends[0], kHandleRead);
  ASSERT_RESULT(m_list.AddEvent(first.get()), 0);
  ASSERT_RESULT(m_list.AddEvent(second.get()), 0);
  ASSERT_EQ(::write(ends[1], "a", 1), 1);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 ");
  // The same for writing.
  ASSERT_RESULT(first->setExternalHandle(ends[1], kHandleWrite), 0);
  ASSERT_RESULT(second->setExternalHandle(ends[1], kHandleWrite), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 ");
  close(ends[0]);
  close(ends[1]);
}

TEST_F(EventListTest, FailedServiceIsLoggedAndEndsTheWaitWithTheRestStillRaised) {
  auto first = makeListed(kEventListed, 1);
  auto second = makeListed(kEventListed, 2);
  ASSERT_RESULT(first->SetEvent(), 0);
  ASSERT_RESULT(second->SetEvent(), 0);
  hostCalls().descriptor = first->readDescriptor();
  hostCalls().readCall.fail(EIO, 0, 1);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), EVENT_ERROR_RESET_FAILED);
  EXPECT_TRUE(m_log.hasReturnCode(kLogError, "CCEvent::processSignaledEvent", EVENT_ERROR_RESET_FAILED))
      << m_log.dump();
  EXPECT_EQ(takeServed(), "");
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 2 ");
}

// ---- Callbacks that change the list ----

TEST_F(EventListTest, CallbackMayRemoveItsOwnEventAndTheNextOneIsServedByTheNextCall) {
  auto first = makeListed(kEventListed, 1);
  auto second = makeListed(kEventListed, 2);
  auto third = makeListed(kEventListed, 3);
  m_onEvent = [&](std::uint64_t number) {
    if (number == 1) {
      EXPECT_RESULT(m_list.RemoveEvent(first.get()), 0);
    }
  };
  for (CCEvent* event : {first.get(), second.get(), third.get()}) {
    ASSERT_RESULT(event->SetEvent(), 0);
  }
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 3 ");
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "2 ");
}

TEST_F(EventListTest, CallbackMayDeleteItsOwnEvent) {
  auto first = makeListed(kEventListed, 1);
  auto second = makeListed(kEventListed, 2);
  m_onEvent = [&](std::uint64_t number) {
    if (number == 2) {
      second.reset();
    }
  };
  ASSERT_RESULT(first->SetEvent(), 0);
  ASSERT_RESULT(second->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 2 ");
  EXPECT_EQ(m_list.size(), 1U);
}

TEST_F(EventListTest, CallbackMayRemoveAllTheOthers) {
  std::vector<std::unique_ptr<CCEvent>> events;
  for (std::uint64_t i = 0; i < 20; ++i) {
    events.push_back(makeListed(kEventListed, i));
    ASSERT_RESULT(events.back()->SetEvent(), 0);
  }
  m_onEvent = [&](std::uint64_t) {
    events.resize(1);
    events.shrink_to_fit();
  };
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "0 ");
  EXPECT_EQ(m_list.size(), 1U);
}

TEST_F(EventListTest, EventAddedByACallbackIsServedByTheNextCall) {
  std::vector<std::unique_ptr<CCEvent>> added;
  auto first = makeListed(kEventListed, 1);
  auto armed = makeListed(kEventWhenArmed, 11);
  armed->arm();
  m_onEvent = [&](std::uint64_t number) {
    if (number == 1) {
      // Many, so that the array grows while it is gone through and the armed one is moved.
      for (std::uint64_t i = 0; i < 50; ++i) {
        added.push_back(makeListed(kEventListed, 100 + i));
        EXPECT_RESULT(added.back()->SetEvent(), 0);
      }
    }
  };
  ASSERT_RESULT(first->SetEvent(), 0);
  ASSERT_RESULT(armed->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 11 ");
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed().substr(0, 8), "100 101 ");
}

// A callback deleted a raised event and made another, which got the same descriptor and was served in the
// same round, though nobody had raised it.
TEST_F(EventListTest, EventMadeInPlaceOfADeletedOneIsNotServedUnraised) {
  auto first = makeListed(kEventListed, 1);
  auto second = makeListed(kEventListed, 2);
  const int descriptor = second->readDescriptor();
  m_onEvent = [&](std::uint64_t number) {
    if (number == 1) {
      second.reset();
      second = makeListed(kEventListed, 3);
    }
  };
  ASSERT_RESULT(first->SetEvent(), 0);
  ASSERT_RESULT(second->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(second->readDescriptor(), descriptor);
  EXPECT_EQ(takeServed(), "1 ");
  ASSERT_RESULT(second->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "3 ");
}

TEST_F(EventListTest, RaisedEventThatACallbackTakesOffAndPutsOnAgainIsServedByTheNextCall) {
  auto first = makeListed(kEventListed, 1);
  auto second = makeListed(kEventListed, 2);
  m_onEvent = [&](std::uint64_t number) {
    if (number == 1) {
      EXPECT_RESULT(m_list.RemoveEvent(second.get()), 0);
      EXPECT_RESULT(m_list.AddEvent(second.get()), 0);
    }
  };
  ASSERT_RESULT(first->SetEvent(), 0);
  ASSERT_RESULT(second->SetEvent(), 0);
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "1 ");
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "2 ");
}

TEST_F(EventListTest, EventThatAnAdditionMovesIsNotServedTwice) {
  std::unique_ptr<CCEvent> added;
  auto armed = makeListed(kEventWhenArmed, 11);
  armed->arm();
  ASSERT_RESULT(armed->SetEvent(), 0);
  m_onEvent = [&](std::uint64_t number) {
    if (number == 11 && added == nullptr) {
      added = makeListed(kEventListed, 1);
      armed->arm();
      EXPECT_RESULT(armed->SetEvent(), 0);
    }
  };
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "11 ");
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), "11 ");
}

// ---- Many events, many threads ----

class ManyEventsTest : public EventListTest {
 protected:
  ManyEventsTest() {
    getrlimit(RLIMIT_NOFILE, &m_old);
    rlimit more = m_old;
    more.rlim_cur = 4096;
    m_isRaised = m_old.rlim_max >= more.rlim_cur && setrlimit(RLIMIT_NOFILE, &more) == 0;
  }
  ~ManyEventsTest() override { setrlimit(RLIMIT_NOFILE, &m_old); }
  void SetUp() override {
    ASSERT_TRUE(m_isRaised) << "1,024 events take 2,048 descriptors: allow 4,096 (ulimit -Hn)";
  }

  rlimit m_old = {};
  bool m_isRaised = false;
};

TEST_F(ManyEventsTest, AllOf1024EventsAreWaitedOnWithDescriptorsAbove1023) {
  std::vector<std::unique_ptr<CCEvent>> events;
  for (std::uint64_t i = 0; i < 1024; ++i) {
    events.push_back(makeListed(kEventListed, i));
  }
  EXPECT_GT(events.back()->readDescriptor(), 1023);
  EXPECT_RESULT(m_list.WaitOnEvents(0), EVENT_ERROR_WAIT_TIMEOUT);
  // Each one alone ends the wait.
  for (std::uint64_t i = 0; i < 1024; i += 31) {
    ASSERT_RESULT(events[i]->SetEvent(), 0);
    ASSERT_RESULT(m_list.WaitOnEvents(kLong), 0);
    ASSERT_EQ(takeServed(), std::to_string(i) + " ");
  }
  ASSERT_RESULT(events[1023]->SetEvent(), 0);
  EXPECT_TRUE(events[1023]->isEventSet());
  EXPECT_RESULT(events[1023]->WaitEvent(kLong), 0);
  takeServed();
  // All of them in one call.
  std::string all;
  for (std::uint64_t i = 0; i < 1024; ++i) {
    ASSERT_RESULT(events[i]->SetEvent(), 0);
    all += std::to_string(i) + " ";
  }
  EXPECT_RESULT(m_list.WaitOnEvents(kLong), 0);
  EXPECT_EQ(takeServed(), all);
}

TEST_F(ManyEventsTest, RaisesFromOtherThreadsAreAllServed) {
  constexpr std::uint64_t kEvents = 64;
  constexpr int kRounds = 20;
  std::vector<std::unique_ptr<CCEvent>> events;
  std::vector<int> counts(kEvents, 0);
  for (std::uint64_t i = 0; i < kEvents; ++i) {
    events.push_back(makeListed(i % 2 == 0 ? kEventListed : kEventWhenArmed, i));
    events.back()->arm();
  }
  m_onEvent = [&](std::uint64_t number) {
    ++counts[number];
    events[number]->arm();
  };
  std::vector<std::thread> raisers;
  for (std::uint64_t part = 0; part < 4; ++part) {
    raisers.emplace_back([&events, part] {
      for (int round = 0; round < kRounds; ++round) {
        for (std::uint64_t i = part; i < kEvents; i += 4) {
          EXPECT_RESULT(events[i]->Signal(), 0);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  bool haveAll = false;
  while (!haveAll && std::chrono::steady_clock::now() < deadline) {
    const ResultCode rc = m_list.WaitOnEvents(50);
    ASSERT_TRUE(rc == 0 || rc == EVENT_ERROR_WAIT_TIMEOUT);
    haveAll = true;
    for (const int count : counts) {
      haveAll = haveAll && count > 0;
    }
  }
  for (std::thread& raiser : raisers) {
    raiser.join();
  }
  EXPECT_TRUE(haveAll);
  while (m_list.WaitOnEvents(0) == 0) {
  }
  for (const auto& event : events) {
    EXPECT_FALSE(event->isEventSet());
  }
}

// ---- The sets ----

TEST(DescriptorSetTest, SetHoldsDescriptorsOfAnyHeight) {
  DescriptorSet set;
  for (const int descriptor : {0, 63, 64, 1023, 1024, 5000}) {
    EXPECT_FALSE(set.contains(descriptor));
    set.add(descriptor);
    EXPECT_TRUE(set.contains(descriptor));
  }
  EXPECT_FALSE(set.contains(1));
  EXPECT_FALSE(set.contains(-1));
  EXPECT_FALSE(set.contains(1000000));
  set.remove(1024);
  set.remove(1000000);
  set.remove(-1);
  EXPECT_FALSE(set.contains(1024));
  EXPECT_TRUE(set.contains(1023));
}

TEST(DescriptorSetTest, BitsAreThoseOfTheSystemsOwnSets) {
  DescriptorSet set;
  fd_set own;
  FD_ZERO(&own);
  for (const int descriptor : {0, 5, 63, 64, 700, 1023}) {
    set.add(descriptor);
    FD_SET(descriptor, &own);
  }
  for (int descriptor = 0; descriptor < 1024; ++descriptor) {
    EXPECT_EQ(FD_ISSET(descriptor, set.get()) != 0, FD_ISSET(descriptor, &own) != 0) << descriptor;
  }
}

TEST(DescriptorSetTest, LimitIsSplitIntoSecondsAndMicroseconds) {
  EXPECT_EQ(limitAsTime(0).tv_usec, 0);
  EXPECT_EQ(limitAsTime(1999).tv_sec, 1);
  EXPECT_EQ(limitAsTime(1999).tv_usec, 999000);
  EXPECT_EQ(limitAsTime(0xFFFFFFFF).tv_sec, 4294967);
  EXPECT_EQ(limitAsTime(0xFFFFFFFF).tv_usec, 295000);
}

}  // namespace
}  // namespace halvo
