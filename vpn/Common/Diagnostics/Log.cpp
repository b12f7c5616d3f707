#include "vpn/Common/Diagnostics/Log.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
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

constexpr std::size_t kRangeCount = 11;

using RowsOfRange = const MessageRow* (*)(std::uint32_t& count);

MessageRange makeRange(RowsOfRange rowsOfRange, std::uint32_t baseId) {
  MessageRange range{nullptr, baseId, 0};
  range.rows = rowsOfRange(range.count);
  return range;
}

std::array<MessageRange, kRangeCount> makeRanges() {
  return {makeRange(&getMessageRange1, 0),    makeRange(&getMessageRange2, 10),
          makeRange(&getMessageRange3, 2000), makeRange(&getMessageRange4, 3000),
          makeRange(&getMessageRange5, 4000), makeRange(&getMessageRange6, 5000),
          makeRange(&getMessageRange7, 5900), makeRange(&getMessageRange8, 6100),
          makeRange(&getMessageRange9, 6200), makeRange(&getMessageRange10, 6300),
          makeRange(&getMessageRange11, 7000)};
}

template <typename Rows>
const MessageRow* giveRows(const Rows& rows, std::uint32_t& count) {
  count = static_cast<std::uint32_t>(std::size(rows));
  return std::data(rows);
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
  if (logger != nullptr) {
    static_cast<void>(logger->log(row->severity, message, row->name, id, level));
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
  // Filled at first use; the language guards that against threads.
  static const std::array<MessageRange, kRangeCount> s_ranges = makeRanges();
  count = static_cast<std::uint32_t>(s_ranges.size());
  return s_ranges.data();
}

const MessageRow* getMessageRange1(std::uint32_t& count) {
  return giveRows(kRange1, count);
}

const MessageRow* getMessageRange2(std::uint32_t& count) {
  return giveRows(kRange2, count);
}

const MessageRow* getMessageRange3(std::uint32_t& count) {
  return giveRows(kRange3, count);
}

const MessageRow* getMessageRange4(std::uint32_t& count) {
  return giveRows(kRange4, count);
}

const MessageRow* getMessageRange5(std::uint32_t& count) {
  return giveRows(kRange5, count);
}

const MessageRow* getMessageRange6(std::uint32_t& count) {
  return giveRows(kRange6, count);
}

const MessageRow* getMessageRange7(std::uint32_t& count) {
  return giveRows(kRange7, count);
}

const MessageRow* getMessageRange8(std::uint32_t& count) {
  return giveRows(kRange8, count);
}

const MessageRow* getMessageRange9(std::uint32_t& count) {
  return giveRows(kRange9, count);
}

const MessageRow* getMessageRange10(std::uint32_t& count) {
  return giveRows(kRange10, count);
}

const MessageRow* getMessageRange11(std::uint32_t& count) {
  return giveRows(kRange11, count);
}

void acquireLogging(ResultCode& result, const char* name, ILogger* logger) {
  const CManualLockHolder hold(loggingLock());
  ++s_nReferences;
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
