#include "vpn/Common/Diagnostics/Log.h"

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

// Ranges 2 to 11 hold the messages of the suite's other programs; their ids find the fall-back row.
constexpr MessageRange kRanges[] = {
    {kRange1, 0, 4},    {nullptr, 10, 6},    {nullptr, 2000, 155}, {nullptr, 3000, 34},
    {nullptr, 4000, 2}, {nullptr, 5000, 21}, {nullptr, 5900, 23},  {nullptr, 6100, 18},
    {nullptr, 6200, 7}, {nullptr, 6300, 1},  {nullptr, 7000, 8},
};

// Constant-initialised: a static object of another unit may log before this unit's own have run.
std::uint32_t s_nReferences = 0;
ILogger* s_pLogger = nullptr;

CManualLock& loggingLock() {
  // Never destroyed: an object that dies at exit may still release its reference.
  static CManualLock* const s_pLock = new CManualLock(kLockNumber);
  return *s_pLock;
}

// Starts logging ahead of every other static object of the system, and gives it back at exit.
class LoggingStarter {
 public:
  LoggingStarter() {
    ResultCode result = 0;
    acquireLogging(result, "tmtolmui", nullptr);
  }
  ~LoggingStarter() { releaseLogging(); }
};

__attribute__((init_priority(101))) LoggingStarter s_loggingStarter;

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
  const MessageRow* row = findMessageRow(id);
  char message[kMessageSize] = {};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::vsnprintf(message, sizeof(message), row->format, arguments);
#pragma GCC diagnostic pop
  message[sizeof(message) - 1] = '\0';
  if (s_pLogger != nullptr) {
    static_cast<void>(s_pLogger->log(row->severity, message, row->name, id, level));
  }
}

const MessageRow* findMessageRow(std::uint32_t id) {
  std::uint32_t count = 0;
  const MessageRange* ranges = getMessageRanges(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (id >= ranges[i].baseId && id - ranges[i].baseId < ranges[i].count && ranges[i].rows != nullptr) {
      return &ranges[i].rows[id - ranges[i].baseId];
    }
  }
  return &kFallBackRow;
}

const MessageRange* getMessageRanges(std::uint32_t& count) {
  count = static_cast<std::uint32_t>(std::size(kRanges));
  return kRanges;
}

void acquireLogging(ResultCode& result, const char* name, ILogger* logger) {
  CManualLockHolder hold(loggingLock());
  ++s_nReferences;
  registerResultCodeModules(resultCodeModules(), kResultCodeModuleCount);
  if (s_pLogger == nullptr) {
    s_pLogger = logger != nullptr ? logger : makeHostLogger(name).release();
  }
  result = 0;
}

bool releaseLogging() {
  std::uint32_t before = 0;
  {
    CManualLockHolder hold(loggingLock());
    before = s_nReferences;
    if (s_nReferences > 0) {
      --s_nReferences;
    }
  }
  if (before == 1) {
    delete s_pLogger;
    s_pLogger = nullptr;
  }
  return before <= 1;
}

}  // namespace halvo
