// CProcessApi: starts child programs and waits for them.
//
// A child is known by its process id alone; whoever launched it waits for it, or a dead child stays
// in the process table. Children inherit every open descriptor, so their output goes where this
// process's output goes. An instance is used on one thread at a time, apart from restartWait(), which
// is meant for another. The verifier is borrowed.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

class CCEvent;

// Tests the signature of a program that is about to be started. Nothing in this system implements it.
class VerifyFileSignature {
 public:
  virtual ~VerifyFileSignature() = default;

  // 0 if the program at `path` may be started, else a result code, which becomes that of the launch.
  // `path` is null where a shell was to be started without a script. The arguments come from the
  // LaunchInfo and mean what the implementation says.
  [[nodiscard]] virtual ResultCode IsValid(const char* path, std::uint64_t argument1, std::uint64_t argument2,
                                           std::uint64_t argument3, std::uint64_t argument4) = 0;
};

// The description of a start. Pointers are borrowed for the length of the call.
struct LaunchInfo {
  // The program's path and a flag, noted by the starter; the launcher doesn't read them.
  std::string text;
  bool flag = false;

  bool runAsUser = false;                    // start the child as `userName`
  const char* workingDirectory = nullptr;    // folder to change to in the child
  bool verifySignature = false;              // test the program's signature first
  const char* userName = nullptr;            // for runAsUser
  const char* const* environment = nullptr;  // "name=value" to add in the child; ends in a null pointer
  bool detach = false;                       // start a grandchild that nobody waits for
  // Handed to VerifyFileSignature::IsValid.
  std::uint64_t signatureArgument1 = 0;
  std::uint64_t signatureArgument3 = 0;
  std::uint64_t signatureArgument2 = 1337659200;
  std::int32_t processId = 0;  // out: the child's id; 0 where it isn't known
  std::uint64_t signatureArgument4 = 0;
};

// What CProcessApi asks the host about a process. The tests put their own in its place.
class ProcessLookup {
 public:
  virtual ~ProcessLookup() = default;
  // Stores the host's record of the process. Returns 0 or an errno value; a host that can't tell gives
  // 0 and no record.
  [[nodiscard]] virtual int find(std::int32_t processId, std::unique_ptr<BSDProcess>& record) = 0;
};

class CProcessApi {
 public:
  // The time limit of a wait without end.
  static constexpr std::uint32_t kWaitForever = 0xFFFFFFFF;
  // Exit statuses of a child whose program couldn't be started.
  static constexpr int kExitProgramNotFound = 238;
  static constexpr int kExitProgramNotStarted = 239;

  CProcessApi() = default;
  virtual ~CProcessApi();

  CProcessApi(const CProcessApi&) = delete;
  CProcessApi& operator=(const CProcessApi&) = delete;

  // Starts `path` with the further strings as its arguments, up to a null pointer. As below.
  [[nodiscard]] virtual ResultCode Launch(LaunchInfo& info, const char* path, ...) __attribute__((sentinel));

  // Starts the program named by the first of `arguments`, with all of them as its argument list; PATH
  // is searched where the name has no "/". 0 says that the child was made and not that the program
  // was found: a missing program shows as exit status 238, any other failure to start it as 239.
  //
  // PROCESS_API_ERROR_BAD_PARAMETER: no program was named; PROCESS_API_ERROR_BAD_HANDLE: a signature
  // test was asked for without a verifier; the verifier's own code; PROCESS_API_ERROR_UNKNOWN: no
  // child could be made. The last two are logged, and so is what goes wrong in the child.
  //
  // With `detach` there is a case in which this returns in the child's process: see the source.
  [[nodiscard]] virtual ResultCode Launch(LaunchInfo& info, std::vector<const char*> arguments);

  // `verifier` stays the caller's. PROCESS_API_ERROR_BAD_PARAMETER for null, which changes nothing.
  [[nodiscard]] ResultCode setVerifier(VerifyFileSignature* verifier);

  // Sends SIGTERM and waits for the child to end, however long that takes.
  // PROCESS_API_ERROR_UNKNOWN if there is no such process or it isn't ours to end; also for ids below
  // 1, which would reach whole process groups.
  [[nodiscard]] ResultCode terminateProcess(std::int32_t processId);

  // 0 while the child runs, PROCESS_API_ERROR_NOTRUNNING once it has ended (and is reaped by this
  // call) and for process 0, PROCESS_API_ERROR_UNKNOWN for what is no child of ours or is reaped.
  [[nodiscard]] ResultCode checkProcess(std::int32_t processId);

  [[nodiscard]] std::int32_t currentProcessId() const;

  // Sets the process's scheduling priority (as setpriority(2) counts: low is urgent) and gives the old
  // one back in `priority`, so that a second call restores it.
  // PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED, also where the present priority is -1, and
  // PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED; both logged as warnings.
  [[nodiscard]] ResultCode SetThreadPriority(int& priority);

  // Waits for the child's end, at most `limitMs` milliseconds, looking every 20; kWaitForever without
  // an event waits without end and without looking. 0: the child exited, and `exitCode` is its exit
  // status; in all other cases that is 1. PROCESS_API_ERROR_WAIT_TIMEOUT: the time is over, or a signal
  // ended the child: the two can't be told apart. PROCESS_API_ERROR_WAIT_INTERRUPTED: `event` (may be
  // null) was raised, and the raise is consumed; its callback isn't run. PROCESS_API_ERROR_UNKNOWN: no
  // such child, which is logged as an error except by the wait without looking, or the event can't be
  // waited on. `ignored` isn't read.
  [[nodiscard]] ResultCode WaitForProcess(std::int32_t processId, int& exitCode, CCEvent* event,
                                          std::uint32_t ignored, std::uint32_t limitMs);

  // For another thread: starts the time of the wait under way anew. With `waitForever` this and all
  // further waits of the object have no time limit; a later call with false gives the limit back.
  void restartWait(bool waitForever);

  // Copies a process's short command name, which is no path, into `buffer` of `size` bytes, cut to
  // fit. PROCESS_API_ERROR_PROCESS_NOT_FOUND; PROCESS_API_ERROR_BAD_PARAMETER: no room for even an
  // empty name; PROCESS_API_ERROR_UNEXPECTED: the host has lost the record, logged.
  [[nodiscard]] static ResultCode GetProcessPathName(std::int32_t processId, char* buffer, std::size_t size);
  [[nodiscard]] static ResultCode GetProcessPathName(std::int32_t processId, char* buffer, std::size_t size,
                                                     ProcessLookup& lookup);

  // Whether there is such a process, of any parent, that is being made, runs or sleeps. A stopped one
  // isn't alive in this sense, nor is a dead one that nobody has waited for.
  [[nodiscard]] static bool ProcessIsAlive(std::int32_t processId);
  [[nodiscard]] static bool ProcessIsAlive(std::int32_t processId, ProcessLookup& lookup);

 private:
  // Where the child of Launch() goes: into the program, or to its end.
  [[noreturn]] static void runProgram(const LaunchInfo& info, const std::vector<const char*>& arguments);
  [[nodiscard]] ResultCode testSignature(const LaunchInfo& info, const std::vector<const char*>& arguments);

  std::list<std::string> m_listReserved;  // of the suite's other hosts; nothing fills it here
  VerifyFileSignature* m_pVerifier = nullptr;
  std::uint32_t m_nWaitStart = 0;  // tickMilliseconds()
  std::atomic<std::int32_t> m_nWaitForever = 0;
  std::mutex m_mutexWait;
};

}  // namespace halvo
