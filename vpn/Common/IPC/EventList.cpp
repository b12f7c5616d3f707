#include "vpn/Common/IPC/EventList.h"

#include <algorithm>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/IPC/DescriptorSet.h"
#include "vpn/Common/IPC/event.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

constexpr std::uint32_t kWithoutEnd = 0xFFFFFFFF;

// Sets a variable for as long as it lives; a callback may wait on the same list, and leaves by any way.
template <class Value>
class ScopedValue {
 public:
  ScopedValue(Value& place, Value value) : m_place(place), m_before(std::exchange(place, value)) {}
  ~ScopedValue() { m_place = m_before; }
  ScopedValue(const ScopedValue&) = delete;
  ScopedValue& operator=(const ScopedValue&) = delete;

 private:
  Value& m_place;
  const Value m_before;
};

}  // namespace

CEventList::~CEventList() {
  if (!m_events.empty()) {
    LOG_MESSAGE(kLogError, "Deletion of event list containing %d events", static_cast<int>(m_events.size()));
    for (CCEvent* event : m_events) {
      // Null always succeeds. An event that kept the pointer would look for this list when it dies.
      static_cast<void>(event->setEventList(nullptr));
    }
  }
}

ResultCode CEventList::AddEvent(CCEvent* event) {
  // Ahead of the look at the event, so that a full list answers the same to whatever it is given.
  if (m_events.size() > kMostEvents - 1) {
    return EVENTLIST_ERROR_LIMIT_EXCEEDED;
  }
  if (event == nullptr) {
    return EVENTLIST_ERROR_BAD_PARAMETER;
  }
  const ResultCode rc = event->setEventList(this);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CCEvent::setEventList", rc);
    return rc;
  }
  switch (event->eventType()) {
    case kEventListed: {
      const std::uint32_t place = m_nListed;
      ++m_nListed;
      // One event moves instead of all: those that must be armed have no order among themselves.
      if (place < m_events.size()) {
        m_events.push_back(m_events[place]);
        m_events[place] = event;
      } else {
        m_events.push_back(event);
      }
      return 0;
    }
    case kEventWhenArmed:
      m_events.push_back(event);
      return 0;
    default:
      // setEventList lets none of these through.
      static_cast<void>(event->setEventList(nullptr));
      return EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS;
  }
}

ResultCode CEventList::RemoveEvent(CCEvent* event) {
  if (event == nullptr) {
    return EVENTLIST_ERROR_BAD_PARAMETER;
  }
  const auto place = std::find(m_events.begin(), m_events.end(), event);
  if (place == m_events.end()) {
    return EVENTLIST_ERROR_EVENT_NOT_FOUND;
  }
  if (place - m_events.begin() < static_cast<std::ptrdiff_t>(m_nListed)) {
    --m_nListed;
  }
  m_events.erase(place);
  // In a callback the event may be deleted next, and a new one be given its descriptor's number: that one
  // would pass for raised.
  if (m_pFound != nullptr) {
    m_pFound->read.remove(event->m_nReadDescriptor);
  }
  static_cast<void>(event->setEventList(nullptr));
  return 0;
}

ResultCode CEventList::WaitOnEvents(std::uint32_t limitMs) {
  if (m_events.empty()) {
    if (limitMs == kWithoutEnd) {
      // Nothing could ever end it: events come in on this thread only.
      return EVENTLIST_ERROR_UNEXPECTED;
    }
    sleepMilliseconds(limitMs);
    return 0;
  }
  const timeval limit = limitAsTime(limitMs);
  WaitSets sets;
  for (const CCEvent* event : m_events) {
    if (event == nullptr) {
      return EVENTLIST_ERROR_NULL_POINTER;
    }
    if (event->m_nEventType == kEventWhenArmed && !event->isArmed()) {
      continue;
    }
    if (event->m_nReadDescriptor < 0) {
      return EVENTLIST_ERROR_BAD_EVENT_PIPE;
    }
    if (event->m_nExternalHandle > 0 && event->m_nExternalHandleKind > kHandleWrite) {
      return EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE;
    }
    event->addTo(sets);
  }
  sets.close();
  const int ready = rqv_select(sets.count, sets.read.get(), sets.write.get(), nullptr, &limit);
  if (ready == 0) {
    return EVENT_ERROR_WAIT_TIMEOUT;
  }
  if (ready < 0) {
    return EVENT_ERROR_WAIT_FAILED;
  }
  const ScopedValue<WaitSets*> found(m_pFound, &sets);
  // By index, with the bounds read anew: a callback may add and remove events, its own among them. An
  // event that slides to the place of a removed one is passed over, and served by the next call.
  for (std::size_t i = 0; i < m_events.size(); ++i) {
    CCEvent* const event = m_events[i];
    if (!event->isIn(sets)) {
      continue;
    }
    event->removeFrom(sets);  // adding may move it to a place further on
    const ResultCode rc = event->processSignaledEvent(true);
    if (rc != 0) {
      LOG_RETURN_CODE(kLogError, "CCEvent::processSignaledEvent", rc);
      return rc;
    }
  }
  return 0;
}

}  // namespace halvo
