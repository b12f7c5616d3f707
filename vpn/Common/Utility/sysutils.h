// Free functions over the host's C library: waiting on descriptors, clocks, time texts, the process
// list, small file tests, and operations on the lines of text files.
//
// No state is shared between calls: any thread may call. Functions that give a plain int give an errno
// value, 0 for success.

#pragma once

#include <signal.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

// ---- Waiting on descriptors ----

// select(2) that goes on after a signal with what is left of its time. Returns the number of ready
// descriptors, 0 at the end of the time, -1 on failure, which is logged as an error; errno is then
// that of select. `count` is one more than the highest descriptor; a set may be null. Where a signal
// comes at the end of the time the result is 0 and the sets are as they were given.
//
// A null `timeout` looks at the descriptors and returns at once: no wait without end happens here.
// The sets are handed through unread, so a set may be a larger bitmap than an fd_set holds, as long as
// it covers `count` descriptors.
int rqv_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, const timeval* timeout);

// What rqv_select asks of the host. The tests put their own in its place.
class SelectHost {
 public:
  virtual ~SelectHost() = default;
  virtual int select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout) = 0;
  // Any clock that never steps back.
  virtual timeval now() = 0;
};
int rqv_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, const timeval* timeout,
               SelectHost& host);

// The moment `timeout` after `now`. Microseconds of 1,000,001 or more are carried into the seconds,
// and the seconds stop at the greatest signed 64-bit value.
timeval deadlineAfter(const timeval& now, const timeval& timeout);
// What is left until `deadline`; zero where it has passed.
timeval timeUntil(const timeval& deadline, const timeval& now);

// ---- Clocks and time texts ----

// usleep(ms * 1000), in unsigned 32-bit arithmetic.
void sleepMilliseconds(std::uint32_t ms);

// Milliseconds of the wall clock as 32 bits, wrapping after some 49.7 days: callers work with
// differences. 0 if the clock can't be read.
std::uint32_t tickMilliseconds();
// The same of a given moment.
std::uint32_t tickMilliseconds(const timeval& moment);

// The local time of this moment as text. Selector 1: "_%02d%02d_%02d%02d" of month, day, hour and
// minute; 2: asctime, with its line feed; any other: strftime with "%c", which follows the locale, in
// at most 63 bytes.
std::string timeText(int selector);
// The same of a given moment.
std::string timeText(int selector, std::time_t moment);

// time(NULL).
std::time_t currentTime();

// Fills `out` with the local time of now. GLOBAL_ERROR_BAD_PARAMETER for a null `out`.
[[nodiscard]] ResultCode localTimeNow(std::tm* out);

// strftime of the local time of now into the `size` bytes at `buffer`. GLOBAL_ERROR_BAD_PARAMETER for
// a null pointer or a zero size. Where strftime writes nothing, since the text doesn't fit or is
// empty: an error log of "_tcsftime", an empty buffer and GLOBAL_ERROR_UNEXPECTED.
[[nodiscard]] ResultCode TimeNowToString(const char* format, char* buffer, std::size_t size);

// ---- Processes ----

// The states of a process, with the numbers that BSD gives them.
enum ProcessState : std::uint32_t {
  kProcessIdle = 1,      // SIDL, being created
  kProcessRunning = 2,   // SRUN
  kProcessSleeping = 3,  // SSLEEP
  kProcessStopped = 4,   // SSTOP, also under a debugger
  kProcessZombie = 5,    // SZOMB
};

// What the host tells of one process.
struct BSDProcess {
  pid_t pid;
  uid_t realUserId;
  std::uint32_t state;  // ProcessState
  char command[17];     // the short command name, cut to 16 characters
};

// Stores a new array of the processes of this machine in `*procList`, which the caller frees with
// free(), and their number in `*procCount`. Returns 0 or an errno value; on failure the list stays
// null and the number 0. Null arguments and a list that isn't null stop the program.
[[nodiscard]] int GetBSDProcessList(BSDProcess** procList, std::size_t* procCount);

// Fills `process` with what the host tells of the process `pid`. Returns 0, ESRCH where there is none,
// or another errno value.
[[nodiscard]] int readProcess(pid_t pid, BSDProcess& process);

// The host's process table as GetBSDProcessList reads it; `hostProcessTable` gives the real one. The
// tests put their own in its place.
class ProcessTable {
 public:
  virtual ~ProcessTable() = default;
  // The bytes that the records need now. Returns 0 or an errno value.
  virtual int size(std::size_t& bytes) = 0;
  // Fills `records`, of `bytes` bytes, and stores the bytes used in `bytes`. Returns 0, ENOMEM where
  // the table has outgrown them, which has it asked for anew, or another errno value: EAGAIN where the host
  // itself has no memory to tell.
  virtual int read(BSDProcess* records, std::size_t& bytes) = 0;
  virtual void* allocate(std::size_t bytes);
};
ProcessTable& hostProcessTable();
[[nodiscard]] int GetBSDProcessList(BSDProcess** procList, std::size_t* procCount, ProcessTable& table);

// ---- Files ----

// 22 (EINVAL) for a null path; otherwise 0 or the errno of unlink.
int unlink_file(const char* path);

// Whether `path` has the mode bit 0x8000: a regular file, but also a socket. Another failure to look
// than a missing file is logged as an error of "_tstat".
bool fileExists(const std::string& path);

// Whether `path` has the mode bit 0x4000: a folder, but also a socket or a block device. Logs as
// fileExists does.
bool directoryExists(const std::string& path);

// Whether `path` is a regular file that isn't empty and that its owner may read, whoever asks. Logs as
// fileExists does, and warns of a file that is empty, not regular or not readable.
bool fileIsReadable(const std::string& path);

// True when `path` isn't null and stat succeeds, which then fills `buffer`.
bool statPath(const char* path, struct stat* buffer);

// ---- Lines of text files ----
//
// Empty arguments give GLOBAL_ERROR_BAD_PARAMETER, a file that can't be opened, read or written
// GLOBAL_ERROR_UNEXPECTED, each with an error log. Lines of a file are compared after trimRight, which
// takes their line end and white space before it off; the line to look for is taken as it is.

// Replaces the whole content of the file by `text`, which may be empty.
[[nodiscard]] ResultCode SetTextFileContents(const std::string& path, const std::string& text);

// Adds `line` and a line feed at the end of the file, which is made where there is none.
[[nodiscard]] ResultCode AppendLineToFile(const std::string& path, const std::string& line);

// Whether a line of the file is `line`. False, with an error log, where the file can't be read.
[[nodiscard]] bool SeachFileForMatchingLine(const std::string& path, const std::string& line);

// Writes the file back without the lines that are `line`; the other lines keep their bytes.
[[nodiscard]] ResultCode RemoveFromFileMatchingLine(const std::string& path, const std::string& line);

// Writes the file back with `line` and a line feed before (or behind, with `before` false) each line
// that is `match`.
[[nodiscard]] ResultCode insertIntoFilePrePostMatchingLine(const std::string& path, const std::string& match,
                                                           const std::string& line, bool before);

// Whether every line is empty after trimRight. False, with an error log, where the file can't be read.
[[nodiscard]] bool FileHasOnlyWhiteSpace(const std::string& path);

// Replaces `lines` by all lines of the file, each after trimRight. On failure it holds those that were
// read until then.
[[nodiscard]] ResultCode ReadTextFile(const std::string& path, std::vector<std::string>& lines);

// ---- Others ----

using SignalHandler = void (*)(int);

// Installs `handler` for `signal` in the whole process, with an empty mask and no flags. `previous`,
// where it isn't null, receives the handler before, and null on failure. Returns false on failure, with
// an error log of "sigaction".
[[nodiscard]] bool install_sighdlr(int signal, SignalHandler handler, SignalHandler* previous);

// True: the answer of this system to a question that only other builds of the suite ask.
bool alwaysTrue();

}  // namespace halvo
