// The logging front-end: every record of the system goes to the host's log through here.
//
// A logging call is made at the place of a failure, with that place's function, source path and
// line, and never changes the flow. A message is formatted into a fixed buffer (cut at 1,023
// characters), fitted into its numbered row (cut at 2,047) and handed to the one installed ILogger.
// No level is filtered, nothing is queued, nothing is allocated here, nothing goes to the standard streams,
// no exception leaves a call (a record that a logger finds no memory for is lost), and errno stays what it
// was. The formatting calls take no lock and may be used on any thread.
//
// Logging starts before main() and ahead of every other static object of the system, with the
// host's own logger, and ends at exit behind the last of them (LoggingStart.h). Only start and stop
// take a lock: the last releaseLogging() must not run while another thread logs.

#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "vpn/Common/Diagnostics/ILogger.h"
#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

// How the caller rates a message: a letter, passed as its character code.
enum LogLevel : int {
  kLogError = 69,        // E
  kLogWarning = 87,      // W
  kLogInformation = 73,  // I
  kLogTrace = 84,        // T
};

// Ids of the message rows that the system writes.
inline constexpr std::uint32_t MID_UNKNOWN = 0;
inline constexpr std::uint32_t MID_DEBUG_MESSAGE = 1;
inline constexpr std::uint32_t MID_DEBUG_RETURN_CODE = 2;
inline constexpr std::uint32_t MID_VERBOSE_MESSAGE = 3;

// The ordinary call, by row MID_DEBUG_MESSAGE. `function`, `file` and `line` are the place of the
// call, `level` a LogLevel. `format` is printf's; it may be null, which leaves the message empty.
void logDebugMessage(const char* function, const char* file, int line, int level, const char* format, ...)
    __attribute__((format(printf, 5, 6)));

// Reports that a call failed, by row MID_DEBUG_RETURN_CODE. `invokedFunction` names what was called,
// `returnCode` is a code of the table or a number of the operating system. `description` is text
// already in hand (mostly strerror), `format` makes further text; either may be null.
//
// The record's description is the one in hand, else the code's row, else the word "unknown", and the
// further text stands in the last line. One case differs: a code of 0 without a description shows the
// further text as its description, and the last line is empty.
void logDebugReturnCode(const char* function, const char* file, int line, int level,
                        const char* invokedFunction, ResultCode returnCode, const char* description,
                        const char* format, ...) __attribute__((format(printf, 8, 9)));

// Formats the row of `id` with the arguments, which have to be those that its format names, and hands
// it to the installed logger; without one the text is dropped. An id without a row writes the empty
// text under the name "UNKNOWN".
void logMessageId(std::uint32_t id, int level, ...);
void logMessageIdV(std::uint32_t id, int level, std::va_list arguments);
// The form with the id alone, at level kLogTrace.
void logMessageIdTrace(std::uint32_t id, ...);

// One row of the message table.
struct MessageRow {
  const char* name;        // "MID_..."
  std::uint32_t severity;  // what the logger receives
  const char* format;      // printf format of the message
};

// One range of ids: its rows are those of the ids `baseId` to `baseId` + `count` - 1.
struct MessageRange {
  const MessageRow* rows;
  std::uint32_t baseId;
  std::uint32_t count;
};

// The row of `id`, or the fall-back row ("UNKNOWN", 7, empty format) of an id in no range; never null.
const MessageRow* findMessageRow(std::uint32_t id);

// The eleven ranges in table order; stores 11 in `count`.
const MessageRange* getMessageRanges(std::uint32_t& count);

// The rows of one range each; `count` receives their number. Ranges 2 to 11 belong to the suite's
// other programs, whose texts are not here: their rows hold the place and read as the fall-back row.
const MessageRow* getMessageRange1(std::uint32_t& count);   // from id 0: the general messages
const MessageRow* getMessageRange2(std::uint32_t& count);   // from id 10
const MessageRow* getMessageRange3(std::uint32_t& count);   // from id 2000
const MessageRow* getMessageRange4(std::uint32_t& count);   // from id 3000
const MessageRow* getMessageRange5(std::uint32_t& count);   // from id 4000
const MessageRow* getMessageRange6(std::uint32_t& count);   // from id 5000
const MessageRow* getMessageRange7(std::uint32_t& count);   // from id 5900
const MessageRow* getMessageRange8(std::uint32_t& count);   // from id 6100
const MessageRow* getMessageRange9(std::uint32_t& count);   // from id 6200
const MessageRow* getMessageRange10(std::uint32_t& count);  // from id 6300
const MessageRow* getMessageRange11(std::uint32_t& count);  // from id 7000

// Starts logging, or adds a reference to it. `result` receives 0. `name` identifies the system to
// the host's log. If no logger is installed, `logger` is installed and owned from then on, or the
// host's own logger where it is null. If one is installed, `logger` stays the caller's.
void acquireLogging(ResultCode& result, const char* name, ILogger* logger);

// Gives one reference back; with the last one the installed logger is destroyed. Returns true when no
// reference is left, so also where there was none.
bool releaseLogging();

}  // namespace halvo

// The calls as the sources write them, with their place filled in. __func__ is the bare name of the
// enclosing function, so these don't belong into lambdas.
#define LOG_MESSAGE(level, ...) ::halvo::logDebugMessage(__func__, __FILE__, __LINE__, (level), __VA_ARGS__)

// A return-code log: the failed call's name and its code.
#define LOG_RETURN_CODE(level, invokedFunction, code)                                   \
  ::halvo::logDebugReturnCode(__func__, __FILE__, __LINE__, (level), (invokedFunction), \
                              static_cast<::halvo::ResultCode>(code), nullptr, nullptr)

// A return-code log with a description in hand, such as strerror(errno).
#define LOG_RETURN_CODE_DESCRIBED(level, invokedFunction, code, description)            \
  ::halvo::logDebugReturnCode(__func__, __FILE__, __LINE__, (level), (invokedFunction), \
                              static_cast<::halvo::ResultCode>(code), (description), nullptr)

// A return-code log with further text, given as a printf format and its arguments.
#define LOG_RETURN_CODE_TEXT(level, invokedFunction, code, ...)                         \
  ::halvo::logDebugReturnCode(__func__, __FILE__, __LINE__, (level), (invokedFunction), \
                              static_cast<::halvo::ResultCode>(code), nullptr, __VA_ARGS__)
