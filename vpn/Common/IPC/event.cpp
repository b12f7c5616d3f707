#include "vpn/Common/IPC/event.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/IPC/DescriptorSet.h"
#include "vpn/Common/IPC/EventList.h"
#include "vpn/Common/IPC/EventPipe.h"
#include "vpn/Common/IPC/WriteWatch.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

constexpr int kResetTries = 100;
// One raise: "x" and its zero.
constexpr char kRaise[] = "x";
static_assert(sizeof(kRaise) == 2);

// How long a raise that waits for room goes without a look at the stop request.
constexpr int kRoomLookMs = 200;

// Whether a raise would wait for room in the pipe now: it is full, and a write to it waits. A pipe that
// can't be looked at lets the write through, which then tells why.
bool isBlocked(int pipeWriteDescriptor, int limitMs) {
  const int flags = fcntl(pipeWriteDescriptor, F_GETFL);
  if (flags < 0 || (flags & O_NONBLOCK) != 0) {
    return false;
  }
  struct pollfd end = {pipeWriteDescriptor, POLLOUT, 0};
  const int ready = poll(&end, 1, limitMs);
  return ready == 0 || (ready < 0 && errno == EINTR);
}

}  // namespace

CKevent::CKevent(ResultCode& result, int watchedDescriptor, std::uint32_t kind, int pipeWriteDescriptor)
    : CThread(0U),
      m_nWatchedDescriptor(watchedDescriptor),
      m_nExternalKind(kind),
      m_nPipeWriteDescriptor(pipeWriteDescriptor) {
  result = 0;
  m_nWatch = openWriteWatch();
  if (m_nWatch < 0) {
    LOG_RETURN_CODE(kLogError, "::kqueue", errno);
    result = EVENT_ERROR_CREATE_FAILED;
  }
}

CKevent::~CKevent() {
  // The running flag decides whether there is a thread to be joined. One that has been started and hasn't
  // come to Run() yet hasn't set it, and would find this object gone: it gets there by itself, soon.
  while (isStarted() && !m_bHasBegun) {
    sleepMilliseconds(1);
  }
  // Read ahead of the stop request, which clears it at once where the thread is quick.
  const bool isInLoop = m_nRunning == 1;
  m_bStopRequested = true;
  bool isLeft = true;
  if (isInLoop) {
    std::uint32_t exitCode = 0;
    const ResultCode rc = WaitForCompletion(exitCode);
    if (rc != 0) {
      LOG_RETURN_CODE_TEXT(kLogError, "CKevent::WaitForCompletion", rc, "Return code: %u", rc);
      isLeft = false;
    }
    m_nRunning = 0;
  }
  // A thread that has left its loop by itself isn't joined, meant so: the base lets go of it, with a warning,
  // and it touches nothing here any more. One that couldn't be joined may still be at its watch.
  if (isLeft) {
    closeWriteWatch(m_nWatch);
  }
}

std::uint64_t CKevent::Run() {
  m_nRunning = 1;
  m_bHasBegun = true;
  while (!m_bStopRequested) {
    // Anew on each pass: on a host where it is good for one event only, the last one used it up.
    if (registerWriteWatch(m_nWatch, m_nWatchedDescriptor) < 0) {
      const int error = errno;
      LOG_RETURN_CODE(kLogError, "::kevent", error);
      if (error == ENOTSUP) {
        break;
      }
    }
    const int result = awaitWrite(m_nWatch, m_nWatchedDescriptor);
    if (result < 0 && (errno == EINTR || errno == EAGAIN)) {
      break;
    }
    if (result > 0) {
      raise();
    }
  }
  // The last thing that is done to this object: the destructor waits for nothing more.
  m_nRunning = 0;
  return 0;
}

void CKevent::raise() {
  // A file that is written to on and on, with nobody waiting for the event, fills the pipe. A write then
  // waits for a reader, and one that is under way can't be called back: the destructor, which waits for this
  // thread, would wait for ever. So the wait for room is done ahead of the write, in steps between which the
  // stop request is seen, and the write itself is a single one. A raise given up for a stop is missed by
  // nobody, since the full pipe has the event raised.
  while (isBlocked(m_nPipeWriteDescriptor, kRoomLookMs)) {
    if (m_bStopRequested) {
      return;
    }
  }
  if (write(m_nPipeWriteDescriptor, kRaise, sizeof(kRaise)) < 1) {
    LOG_RETURN_CODE(kLogError, "::write", errno);
  }
}

CCEvent::CCEvent(ResultCode& result, CEventList* list, std::uint32_t type, EventCallbackFunction callback,
                 std::uint64_t argument1, std::uint64_t argument2, int externalHandle, std::uint32_t kind)
    : m_nEventType(type),
      m_pCallbackFunction(callback),
      m_nCallbackArgument1(argument1),
      m_nCallbackArgument2(argument2) {
  result = basicConstructor(list, externalHandle, kind);
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "CCEvent::basicConstructor", result);
  }
  // Last, and over any other failure: the list has taken the event by then, or told why not.
  if (callback == nullptr) {
    result = EVENT_ERROR_BAD_PARAMETER;
  }
}

CCEvent::CCEvent(ResultCode& result, CEventList* list, std::uint32_t type, IEventCallback* callback,
                 std::uint64_t argument1, std::uint64_t argument2, int externalHandle, std::uint32_t kind)
    : m_nEventType(type),
      m_pCallbackObject(callback),
      m_nCallbackArgument1(argument1),
      m_nCallbackArgument2(argument2) {
  result = basicConstructor(list, externalHandle, kind);
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "CCEvent::basicConstructor", result);
  }
  if (callback == nullptr) {
    result = EVENT_ERROR_BAD_PARAMETER;
  }
}

CCEvent::CCEvent(ResultCode& result, int externalHandle, std::uint32_t kind) {
  result = basicConstructor(nullptr, externalHandle, kind);
  if (result != 0) {
    LOG_RETURN_CODE(kLogError, "CCEvent::basicConstructor", result);
  }
}

ResultCode CCEvent::basicConstructor(CEventList* list, int externalHandle, std::uint32_t kind) {
  if (m_nEventType > kEventWhenArmed || (list != nullptr && m_nEventType == kEventPlain)) {
    return EVENT_ERROR_BAD_PARAMETER;
  }
  // Ahead of the pipe, so that an event that gets none still tells what it was made for.
  m_nExternalHandle = externalHandle;
  m_nExternalHandleKind = kind;
  int ends[2];
  if (openEventPipe(ends) != 0) {
    LOG_RETURN_CODE(kLogError, "::pipe", errno);
    return EVENT_ERROR_CREATE_FAILED;
  }
  m_nReadDescriptor = ends[0];
  m_nWriteDescriptor = ends[1];

  if (kind == kHandleFileWrites) {
    ResultCode rc = 0;
    m_pWatcher = std::make_unique<CKevent>(rc, externalHandle, kind, m_nWriteDescriptor);
    if (rc != 0) {
      m_pWatcher.reset();
      return EVENT_ERROR_CREATE_FAILED;
    }
    // The watcher's from here: a wait on the file itself would end at once, always.
    m_nExternalHandle = 0;
    // An event without its watcher would never be raised.
    if (m_pWatcher->start() != 0) {
      m_pWatcher.reset();
      return EVENT_ERROR_CREATE_FAILED;
    }
  }
  // Last: what stands on a list can be waited on.
  if (list != nullptr) {
    const ResultCode rc = list->AddEvent(this);
    if (rc != 0) {
      LOG_RETURN_CODE(kLogError, "CEventList::AddEvent", rc);
      return rc;
    }
  }
  return 0;
}

CCEvent::~CCEvent() {
  if (m_pEventList != nullptr) {
    const ResultCode rc = m_pEventList->RemoveEvent(this);
    if (rc != 0) {
      LOG_RETURN_CODE(kLogError, "CEventList::RemoveEvent", rc);
    }
  }
  m_pWatcher.reset();  // ahead of the pipe that it writes to
  for (const int descriptor : {m_nReadDescriptor, m_nWriteDescriptor}) {
    if (descriptor >= 0) {
      close(descriptor);
    }
  }
}

ResultCode CCEvent::SetEvent(bool logFailure) {
  // One byte raises the event as well as two do.
  if (write(m_nWriteDescriptor, kRaise, sizeof(kRaise)) < 1) {
    if (logFailure) {
      LOG_RETURN_CODE(kLogError, "::write", errno);
    }
    return EVENT_ERROR_SET_FAILED;
  }
  return 0;
}

ResultCode CCEvent::Signal() {
  return SetEvent(false);
}

bool CCEvent::isEventSet() {
  if (m_nReadDescriptor < 0) {
    return false;
  }
  WaitSets sets;
  sets.addRead(m_nReadDescriptor);
  const timeval now = {0, 0};
  const int ready = rqv_select(sets.count, sets.read.get(), nullptr, nullptr, &now);
  if (ready < 0) {
    LOG_RETURN_CODE(kLogError, "rqv_select", errno);
    return false;
  }
  return ready > 0;
}

ResultCode CCEvent::ResetEvent() {
  // Ahead of the draining: whoever arms the event meanwhile wants the next raise.
  m_bArmed = false;
  int tries = 0;
  while (isEventSet()) {
    char raise[sizeof(kRaise)];
    errno = 0;  // half a raise is a failure without an errno value of its own
    if (read(m_nReadDescriptor, raise, sizeof(raise)) == static_cast<ssize_t>(sizeof(raise))) {
      continue;
    }
    const int error = errno;
    ++tries;
    if ((error != EINTR && error != EAGAIN) || tries > kResetTries) {
      LOG_RETURN_CODE(kLogError, "::read", error);
      return EVENT_ERROR_RESET_FAILED;
    }
  }
  return 0;
}

void CCEvent::addTo(WaitSets& sets) const {
  sets.addRead(m_nReadDescriptor);
  if (m_nExternalHandle > 0 && m_nExternalHandleKind == kHandleRead) {
    sets.addRead(m_nExternalHandle);
  } else if (m_nExternalHandle > 0 && m_nExternalHandleKind == kHandleWrite) {
    sets.addWrite(m_nExternalHandle);
  }
}

bool CCEvent::isIn(const WaitSets& sets) const {
  if (sets.read.contains(m_nReadDescriptor)) {
    return true;
  }
  if (m_nExternalHandle <= 0) {
    return false;
  }
  return (m_nExternalHandleKind == kHandleRead && sets.read.contains(m_nExternalHandle)) ||
         (m_nExternalHandleKind == kHandleWrite && sets.write.contains(m_nExternalHandle));
}

void CCEvent::removeFrom(WaitSets& sets) const {
  sets.read.remove(m_nReadDescriptor);
  if (m_nExternalHandle > 0 && m_nExternalHandleKind == kHandleRead) {
    sets.read.remove(m_nExternalHandle);
  } else if (m_nExternalHandle > 0 && m_nExternalHandleKind == kHandleWrite) {
    sets.write.remove(m_nExternalHandle);
  }
}

ResultCode CCEvent::WaitEvent(std::uint32_t limitMs, std::uint32_t /*ignored*/, bool runCallback) {
  if (m_nReadDescriptor < 0) {
    return EVENT_ERROR_NOT_INITIALIZED;
  }
  const timeval limit = limitAsTime(limitMs);
  WaitSets sets;
  addTo(sets);
  sets.close();
  const int ready = rqv_select(sets.count, sets.read.get(), sets.write.get(), nullptr, &limit);
  if (ready == 0) {
    return EVENT_ERROR_WAIT_TIMEOUT;
  }
  if (ready < 0) {
    LOG_RETURN_CODE(kLogError, "rqv_select", errno);
    return EVENT_ERROR_WAIT_FAILED;
  }
  if (!isIn(sets)) {
    return EVENT_ERROR_WAIT_FAILED;
  }
  const ResultCode rc = processSignaledEvent(runCallback);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CCEvent::processSignaledEvent", rc);
  }
  return rc;
}

ResultCode CCEvent::processSignaledEvent(bool runCallback) {
  const ResultCode rc = ResetEvent();
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CCEvent::ResetEvent", rc);
    return rc;
  }
  if (!runCallback) {
    return 0;
  }
  // The callback comes last: it may delete this event.
  if (m_pCallbackObject != nullptr) {
    static_cast<void>(m_pCallbackObject->OnEvent(m_nCallbackArgument1, m_nCallbackArgument2));
    return 0;
  }
  if (m_pCallbackFunction != nullptr) {
    static_cast<void>(
        m_pCallbackFunction(m_nCallbackArgument1, static_cast<std::uint32_t>(m_nCallbackArgument2)));
    return 0;
  }
  return EVENT_ERROR_NO_CALLBACK;
}

ResultCode CCEvent::setExternalHandle(int handle, std::uint32_t kind) {
  // A file's writes need a watcher, which only a constructor makes.
  if (handle <= 0 || kind > kHandleWrite) {
    return EVENT_ERROR_BAD_PARAMETER;
  }
  m_nExternalHandle = handle;
  m_nExternalHandleKind = kind;
  return 0;
}

ResultCode CCEvent::setEventList(CEventList* list) {
  if (list != nullptr) {
    if (m_pEventList != nullptr) {
      return EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST;
    }
    if (m_pCallbackObject == nullptr && m_pCallbackFunction == nullptr) {
      return EVENT_ERROR_NO_CALLBACK;
    }
    if (m_nEventType != kEventListed && m_nEventType != kEventWhenArmed) {
      return EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS;
    }
  }
  m_pEventList = list;
  return 0;
}

}  // namespace halvo
