#include "vpn/Common/Diagnostics/Log.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iterator>
#include <memory>

#include "vpn/Common/Diagnostics/HostLogger.h"
#include "vpn/Common/Utility/ManualLock.h"

namespace halvo {

namespace {

constexpr std::size_t kTextSize = 1024;
constexpr std::size_t kMessageSize = 2048;
constexpr unsigned kLockNumber = 500;

constexpr MessageRow kRange1[] = {
    {"MID_UNKNOWN", 5, "%s"},
    {"MID_DEBUG_MESSAGE", 7, "Function: %s\nFile: %s\nLine: %d\n%s"},
    {"MID_DEBUG_RETURN_CODE", 7,
     "Function: %s\nFile: %s\nLine: %d\nInvoked Function: %s\nReturn Code: %d (0x%.8X)\nDescription: %s\n%s"},
    {"MID_VERBOSE_MESSAGE", 7, "Function: %s\nFile: %s\nLine: %d\n%s"},
};

constexpr MessageRow kFallBackRow = {"UNKNOWN", 7, ""};

// The rows of a range whose texts belong to the suite's other programs: the ids keep their place, and
// each reads as the fall-back row.
template <std::size_t N>
constexpr std::array<MessageRow, N> placeHolders() {
  std::array<MessageRow, N> rows{};
  rows.fill(kFallBackRow);
  return rows;
}

constexpr auto kRange2 = placeHolders<6>();
constexpr auto kRange3 = placeHolders<155>();
constexpr auto kRange4 = placeHolders<34>();
constexpr auto kRange5 = placeHolders<2>();
constexpr auto kRange6 = placeHolders<21>();
constexpr auto kRange7 = placeHolders<23>();
constexpr auto kRange8 = placeHolders<18>();
constexpr auto kRange9 = placeHolders<7>();
constexpr auto kRange10 = placeHolders<1>();
constexpr auto kRange11 = placeHolders<8>();

template <typename Rows>
constexpr MessageRange range(const Rows& rows, std::uint32_t baseId) {
  return {std::data(rows), baseId, static_cast<std::uint32_t>(std::size(rows))};
}

// In table order, which is that of a look-up: the ranges don't overlap. A constant, since a static object
// may log before this unit's own have been made.
constexpr MessageRange kRanges[] = {
    range(kRange1, 0),    range(kRange2, 10),    range(kRange3, 2000),  range(kRange4, 3000),
    range(kRange5, 4000), range(kRange6, 5000),  range(kRange7, 5900),  range(kRange8, 6100),
    range(kRange9, 6200), range(kRange10, 6300), range(kRange11, 7000),
};

const MessageRow* giveRows(const MessageRange& rangeRecord, std::uint32_t& count) {
  count = rangeRecord.count;
  return rangeRecord.rows;
}

// The state is constant-initialised: a static object may log before this unit's own have been made.

// Guarded by the logging lock.
constinit std::uint32_t s_nReferences = 0;

// Owned, from acquireLogging() to the last releaseLogging(). Not a smart pointer, which would die at
// exit ahead of objects that still log. Logging reads it without a lock.
constinit std::atomic<ILogger*> s_pLogger{nullptr};

// Never destroyed: an object that dies at exit may still give its reference back.
CManualLock& loggingLock() {
  static CManualLock& s_lock = *new CManualLock(kLockNumber);
  return s_lock;
}

// Logging never changes the flow, and callers go on to look at errno.
class ErrnoKeeper {
 public:
  ErrnoKeeper() : m_nErrno(errno) {}
  ~ErrnoKeeper() { errno = m_nErrno; }
  ErrnoKeeper(const ErrnoKeeper&) = delete;
  ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
  int m_nErrno;
};

void formatInto(char (&buffer)[kTextSize], const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

void formatInto(char (&buffer)[kTextSize], const char* format, std::va_list arguments) {
  if (format != nullptr) {
    std::vsnprintf(buffer, sizeof(buffer), format, arguments);
    buffer[sizeof(buffer) - 1] = '\0';
  }
}

}  // namespace

void logDebugMessage(const char* function, const char* file, int line, int level, const char* format, ...) {
  const ErrnoKeeper keeper;
  char buffer[kTextSize] = {};
  std::va_list arguments;
  va_start(arguments, format);
  formatInto(buffer, format, arguments);
  va_end(arguments);
  logMessageId(MID_DEBUG_MESSAGE, level, function, file, line, buffer);
}

void logDebugReturnCode(const char* function, const char* file, int line, int level,
                        const char* invokedFunction, ResultCode returnCode, const char* description,
                        const char* format, ...) {
  const ErrnoKeeper keeper;
  char buffer[kTextSize] = {};
  std::va_list arguments;
  va_start(arguments, format);
  formatInto(buffer, format, arguments);
  va_end(arguments);

  const char* text = description;
  if (returnCode >= kFirstTableCode && text == nullptr) {
    text = findResultCodeRow(returnCode);
  }
  const char* shown = text != nullptr ? text : "unknown";
  const char* last = buffer;
  // Meant as it stands: 0 without a description shows the further text in the description's place.
  if (text == nullptr && returnCode == 0 && format != nullptr) {
    shown = buffer;
    last = "";
  }
  logMessageId(MID_DEBUG_RETURN_CODE, level, function, file, line, invokedFunction, returnCode, returnCode,
               shown, last);
}

void logMessageId(std::uint32_t id, int level, ...) {
  std::va_list arguments;
  va_start(arguments, level);
  logMessageIdV(id, level, arguments);
  va_end(arguments);
}

void logMessageIdTrace(std::uint32_t id, ...) {
  std::va_list arguments;
  va_start(arguments, id);
  logMessageIdV(id, kLogTrace, arguments);
  va_end(arguments);
}

void logMessageIdV(std::uint32_t id, int level, std::va_list arguments) {
  const ErrnoKeeper keeper;
  const MessageRow* row = findMessageRow(id);
  char message[kMessageSize] = {};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::vsnprintf(message, sizeof(message), row->format, arguments);
#pragma GCC diagnostic pop
  message[sizeof(message) - 1] = '\0';
  ILogger* const logger = s_pLogger.load(std::memory_order_acquire);
  if (logger == nullptr) {
    return;
  }
  try {
    // Nobody could be told of a record that wasn't written.
    static_cast<void>(logger->log(row->severity, message, row->name, id, level));
  } catch (const std::exception&) {
    // A back-end may take memory and find none. The record is lost then, and the caller goes on: mostly it
    // logs that very lack. Not "...": a thread that is cancelled while it writes has to unwind.
  }
}

const MessageRow* findMessageRow(std::uint32_t id) {
  std::uint32_t count = 0;
  const MessageRange* ranges = getMessageRanges(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    // Below the base the difference wraps to a number past any count.
    if (id - ranges[i].baseId < ranges[i].count) {
      return &ranges[i].rows[id - ranges[i].baseId];
    }
  }
  return &kFallBackRow;
}

const MessageRange* getMessageRanges(std::uint32_t& count) {
  count = static_cast<std::uint32_t>(std::size(kRanges));
  return kRanges;
}

// One accessor a range, all alike: `number` counts from 1.
#define TOLM_RANGE_ACCESSOR(number)                                 \
  const MessageRow* getMessageRange##number(std::uint32_t& count) { \
    return giveRows(kRanges[(number)-1], count);                    \
  }
TOLM_RANGE_ACCESSOR(1)
TOLM_RANGE_ACCESSOR(2)
TOLM_RANGE_ACCESSOR(3)
TOLM_RANGE_ACCESSOR(4)
TOLM_RANGE_ACCESSOR(5)
TOLM_RANGE_ACCESSOR(6)
TOLM_RANGE_ACCESSOR(7)
TOLM_RANGE_ACCESSOR(8)
TOLM_RANGE_ACCESSOR(9)
TOLM_RANGE_ACCESSOR(10)
TOLM_RANGE_ACCESSOR(11)
#undef TOLM_RANGE_ACCESSOR

void acquireLogging(ResultCode& result, const char* name, ILogger* logger) {
  const CManualLockHolder hold(loggingLock());
  ++s_nReferences;
  // Ahead of the logger, which may log as soon as it is there.
  registerResultCodeModules(resultCodeModules(), kResultCodeModuleCount);
  if (s_pLogger.load(std::memory_order_relaxed) == nullptr) {
    s_pLogger.store(logger != nullptr ? logger : makeHostLogger(name).release(), std::memory_order_release);
  }
  result = 0;
}

bool releaseLogging() {
  std::uint32_t before = 0;
  {
    const CManualLockHolder hold(loggingLock());
    before = s_nReferences;
    // One release too many does nothing: who gives back last needn't know that he is.
    if (s_nReferences > 0) {
      --s_nReferences;
    }
  }
  if (before == 1) {
    // Outside the lock. The variable is cleared first, so that a record made by the logger's own end
    // is dropped and doesn't reach a logger half gone.
    delete s_pLogger.exchange(nullptr);
  }
  return before <= 1;
}

}  // namespace halvo
