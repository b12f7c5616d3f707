#include "vpn/Common/IPC/event.h"

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

// Whether a raise has room in the pipe. A pipe that can't be looked at has: the write then tells why.
bool hasRoom(int pipeWriteDescriptor) {
  if (pipeWriteDescriptor < 0) {
    return true;
  }
  WaitSets sets;
  sets.addWrite(pipeWriteDescriptor);
  const timeval now = {0, 0};
  return rqv_select(sets.count, nullptr, sets.write.get(), nullptr, &now) != 0;
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
  m_bStopRequested = true;
  // Not only while the loop runs: a thread that has been started and hasn't come to Run() yet would
  // find this object gone, and one that has left the loop by itself still wants to be joined.
  if (isStarted()) {
    std::uint32_t exitCode = 0;
    const ResultCode rc = WaitForCompletion(exitCode);
    if (rc != 0) {
      LOG_RETURN_CODE_TEXT(kLogError, "CKevent::WaitForCompletion", rc, "Return code: %u", rc);
    }
    m_nRunning = 0;
  }
  if (!isStarted()) {
    closeWriteWatch(m_nWatch);
  }
}

std::uint64_t CKevent::Run() {
  m_nRunning = 1;
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
    // A file that is written to on and on, with nobody waiting, fills the pipe. The event is raised then, and
    // waiting for a reader here would keep the stop request from being seen.
    if (result > 0 && hasRoom(m_nPipeWriteDescriptor) &&
        write(m_nPipeWriteDescriptor, kRaise, sizeof(kRaise)) < 1) {
      LOG_RETURN_CODE(kLogError, "::write", errno);
    }
  }
  m_nRunning = 0;
  return 0;
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
    m_nExternalHandle = 0;
    // An event without its watcher would never be raised.
    if (m_pWatcher->start() != 0) {
      m_pWatcher.reset();
      return EVENT_ERROR_CREATE_FAILED;
    }
  }
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
  m_bArmed = false;
  int tries = 0;
  while (isEventSet()) {
    char raise[sizeof(kRaise)];
    errno = 0;
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
