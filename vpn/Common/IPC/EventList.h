// CEventList: waits on many events at once and runs their callbacks.
//
// The events are borrowed; an event takes itself off its list when it is destroyed. No lock is taken:
// one thread waits, and events come and go on that thread only, between waits or in the callbacks.
// Raising and arming the events is for any thread.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CCEvent;
struct WaitSets;

class CEventList {
 public:
  static constexpr std::size_t kMostEvents = 1024;

  CEventList() = default;
  // Logs if events are left; they stay alive, and off the list.
  ~CEventList();

  CEventList(const CEventList&) = delete;
  CEventList& operator=(const CEventList&) = delete;

  // Puts an event on the list. Events that are always waited on stand ahead of those that must be
  // armed, and are served first. EVENTLIST_ERROR_LIMIT_EXCEEDED: the list is full;
  // EVENTLIST_ERROR_BAD_PARAMETER for null; the codes of CCEvent::setEventList, logged.
  [[nodiscard]] ResultCode AddEvent(CCEvent* event);

  // Takes an event off. Where a callback does so, a raise of the event isn't served in that round any more,
  // though the event be put on again: the next wait serves it. An external handle that an event still to be
  // served waits on must not be closed by a callback: a new event may get its number, and would pass for
  // raised. EVENTLIST_ERROR_BAD_PARAMETER for null; EVENTLIST_ERROR_EVENT_NOT_FOUND.
  [[nodiscard]] ResultCode RemoveEvent(CCEvent* event);

  // Waits for any of the events, at most `limitMs` milliseconds, and serves all that are raised by
  // then: each is reset, and its callback is run. 0, also for an empty list at the end of the time.
  // EVENT_ERROR_WAIT_TIMEOUT; EVENT_ERROR_WAIT_FAILED; EVENTLIST_ERROR_UNEXPECTED: an empty list with
  // the limit 0xFFFFFFFF; EVENTLIST_ERROR_BAD_EVENT_PIPE, EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE: an
  // event can't be waited on; or the code of the first event that couldn't be served, logged; those
  // behind it then stay raised.
  [[nodiscard]] ResultCode WaitOnEvents(std::uint32_t limitMs);

  [[nodiscard]] std::size_t size() const { return m_events.size(); }
  // How many of the events, from the front, are always waited on.
  [[nodiscard]] std::uint32_t listedCount() const { return m_nListed; }

 private:
  std::uint32_t m_nListed = 0;
  std::vector<CCEvent*> m_events;
  // What the wait under way found, while it serves its events; null at other times.
  WaitSets* m_pFound = nullptr;
};

}  // namespace halvo
