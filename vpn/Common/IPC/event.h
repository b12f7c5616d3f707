// CCEvent: an event built on a pipe, so that it can be waited on together with other descriptors.
// CKevent: the helper thread that raises an event when a watched file is written to.
//
// An event is raised while its pipe holds data. Any thread may raise it (SetEvent, Signal) and arm it;
// a raise ahead of the wait isn't lost, and a wait consumes all raises so far as one. Only one thread at
// a time waits. An event borrows its list and its callback object, and owns its pipe and its watcher.
// The external handle stays the caller's.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/Thread.h"

namespace halvo {

class CEventList;
struct WaitSets;

class ISignalable {
 public:
  virtual ResultCode Signal() = 0;
  virtual ~ISignalable() = default;
};

class IEventCallback {
 public:
  // Told on the waiting thread that the event was raised. Nobody looks at the result.
  virtual ResultCode OnEvent(std::uint64_t argument1, std::uint64_t argument2) = 0;
  virtual ~IEventCallback() = default;
};

// The same as a function; it gets the low 32 bits of the second argument.
using EventCallbackFunction = ResultCode (*)(std::uint64_t argument1, std::uint32_t argument2);

enum EventType : std::uint32_t {
  kEventPlain = 0,     // not allowed on a list
  kEventListed = 1,    // on a list, always waited on
  kEventWhenArmed = 2  // on a list, waited on only while armed
};

enum ExternalHandleKind : std::uint32_t {
  kHandleRead = 0,        // a descriptor, watched for reading
  kHandleWrite = 1,       // a descriptor, watched for writing
  kHandleFileWrites = 2,  // a descriptor, watched through a CKevent for writes to its file
};

// Waits on a thread of its own for writes to a file, and raises the event whose pipe it was given.
// Made and owned by a CCEvent. Its descriptors are borrowed.
class CKevent : public CThread {
 public:
  // EVENT_ERROR_CREATE_FAILED in `result` (logged) where the host gives no means to watch, else 0.
  CKevent(ResultCode& result, int watchedDescriptor, std::uint32_t kind, int pipeWriteDescriptor);
  // Has the thread stop, which takes up to a second, and waits for it where it is in its loop. One that has
  // left the loop by itself is let go of, as CThread tells it.
  ~CKevent() override;

  CKevent(const CKevent&) = delete;
  CKevent& operator=(const CKevent&) = delete;

  // The watch, until a stop is requested, the host doesn't support it, or the wait is interrupted. Each
  // write to the file, or burst of them, raises the event by one write to its pipe. A pipe that is full of
  // raises holds the watch up, if writing to it waits, until one is consumed or a stop is requested; it never
  // holds up the destructor. A failed registration ("::kevent") and a failed raise ("::write") are logged as
  // errors. Always 0.
  std::uint64_t Run() override;

  // Whether the thread is in its loop.
  [[nodiscard]] bool isRunning() const { return m_nRunning != 0; }

  // The kind that the event was made with; the watcher notes it only.
  [[nodiscard]] std::uint32_t externalKind() const { return m_nExternalKind; }

 private:
  void raise();

  std::atomic<bool> m_bStopRequested = false;
  int m_nWatchedDescriptor;
  std::uint32_t m_nExternalKind;
  int m_nWatch = -1;  // inotify's or kqueue's descriptor
  int m_nPipeWriteDescriptor;
  std::atomic<std::uint32_t> m_nRunning = 0;
  std::atomic<bool> m_bHasBegun = false;  // the thread has come to Run()
};

class CCEvent : public ISignalable {
 public:
  // `result` receives 0 or why the event can't be used; failures are logged.
  // EVENT_ERROR_BAD_PARAMETER: a type above 2, a list for a plain event, or no callback;
  // EVENT_ERROR_CREATE_FAILED: no pipe or no watcher; or the code of CEventList::AddEvent.
  // `list` may be null. `externalHandle` is a descriptor to be waited on besides, 0 for none.
  CCEvent(ResultCode& result, CEventList* list, std::uint32_t type, EventCallbackFunction callback,
          std::uint64_t argument1, std::uint64_t argument2, int externalHandle = 0,
          std::uint32_t kind = kHandleRead);
  CCEvent(ResultCode& result, CEventList* list, std::uint32_t type, IEventCallback* callback,
          std::uint64_t argument1, std::uint64_t argument2, int externalHandle = 0,
          std::uint32_t kind = kHandleRead);
  // A plain event, without a callback.
  explicit CCEvent(ResultCode& result, int externalHandle = 0, std::uint32_t kind = kHandleRead);
  // Takes the event off its list.
  ~CCEvent() override;

  CCEvent(const CCEvent&) = delete;
  CCEvent& operator=(const CCEvent&) = delete;

  // Raises the event. A raise that finds the pipe full of raises waits until one is consumed.
  // EVENT_ERROR_SET_FAILED, logged where asked for.
  [[nodiscard]] ResultCode SetEvent(bool logFailure = true);

  // Takes the raise and the arming back. EVENT_ERROR_RESET_FAILED, logged.
  [[nodiscard]] ResultCode ResetEvent();

  // False also where the pipe can't be looked at, which is logged.
  [[nodiscard]] bool isEventSet();

  // Waits for the event or its external handle, at most `limitMs` milliseconds; there is no wait
  // without end, 0xFFFFFFFF is some 49 days. 0: it was raised; the raise is consumed, and the callback
  // was run if asked for. EVENT_ERROR_WAIT_TIMEOUT; EVENT_ERROR_NOT_INITIALIZED: there is no pipe;
  // EVENT_ERROR_WAIT_FAILED: the wait failed, logged; or the code of processSignaledEvent, logged.
  [[nodiscard]] ResultCode WaitEvent(std::uint32_t limitMs, std::uint32_t ignored = 0,
                                     bool runCallback = true);

  // Resets the event and runs the callback if asked for: the object if there is one, else the
  // function. EVENT_ERROR_NO_CALLBACK: there is neither; or the code of ResetEvent, logged.
  // The callback may delete the event.
  [[nodiscard]] ResultCode processSignaledEvent(bool runCallback);

  // EVENT_ERROR_BAD_PARAMETER for a handle below 1 or a kind other than read and write.
  [[nodiscard]] ResultCode setExternalHandle(int handle, std::uint32_t kind);

  // For CEventList: notes the list. EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST; EVENT_ERROR_NO_CALLBACK;
  // EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS. Null always succeeds.
  [[nodiscard]] ResultCode setEventList(CEventList* list);

  // Has a list wait on the event, if it is one that waits for this, until it is next reset.
  void arm() { m_bArmed = true; }
  [[nodiscard]] bool isArmed() const { return m_bArmed; }

  [[nodiscard]] std::uint32_t eventType() const { return m_nEventType; }
  // The pipe's ends, -1 where there is no pipe. They stay the event's.
  [[nodiscard]] int readDescriptor() const { return m_nReadDescriptor; }
  [[nodiscard]] int writeDescriptor() const { return m_nWriteDescriptor; }

  // Raises the event without logging.
  ResultCode Signal() override;

 private:
  friend class CEventList;

  [[nodiscard]] ResultCode basicConstructor(CEventList* list, int externalHandle, std::uint32_t kind);
  // The descriptors that are waited on, in the sets of one wait.
  void addTo(WaitSets& sets) const;
  [[nodiscard]] bool isIn(const WaitSets& sets) const;
  void removeFrom(WaitSets& sets) const;

  CEventList* m_pEventList = nullptr;
  std::uint32_t m_nEventType = kEventPlain;
  IEventCallback* m_pCallbackObject = nullptr;
  EventCallbackFunction m_pCallbackFunction = nullptr;
  std::uint64_t m_nCallbackArgument1 = 0;
  std::uint64_t m_nCallbackArgument2 = 0;
  std::atomic<bool> m_bArmed = false;
  int m_nReadDescriptor = -1;
  int m_nWriteDescriptor = -1;
  int m_nExternalHandle = 0;
  std::uint32_t m_nExternalHandleKind = kHandleRead;
  std::unique_ptr<CKevent> m_pWatcher;
};

}  // namespace halvo
