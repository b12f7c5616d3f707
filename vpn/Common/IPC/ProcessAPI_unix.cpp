#include "vpn/Common/IPC/ProcessAPI_unix.h"

#include <signal.h>
#include <strings.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/IPC/UnixImpersonate.h"
#include "vpn/Common/IPC/event.h"
#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/Common/Utility/sysutils.h"

extern char** environ;

namespace halvo {

namespace {

constexpr std::uint32_t kPollMs = 20;

// waitpid for one child. Its ids below 1 stand for groups of children, and would reap a child that
// somebody else waits for.
pid_t waitForChild(std::int32_t processId, int& status, int options) {
  if (processId < 1) {
    errno = ECHILD;
    return -1;
  }
  return waitpid(processId, &status, options);
}

// As above, without end. A signal doesn't end the wait: the child would stay behind as a zombie.
pid_t waitForChildToEnd(std::int32_t processId) {
  int status = 0;
  pid_t ended = -1;
  do {
    ended = waitForChild(processId, status, 0);
  } while (ended < 0 && errno == EINTR);
  return ended;
}

void emptyEnvironment() {
  // clearenv() isn't everywhere.
  static char* s_pNone[] = {nullptr};
  environ = s_pNone;
}

class HostProcessLookup : public ProcessLookup {
 public:
  int find(std::int32_t processId, std::unique_ptr<BSDProcess>& record) override {
    auto found = std::make_unique<BSDProcess>();
    const int error = readProcess(processId, *found);
    if (error == 0) {
      record = std::move(found);
    }
    return error;
  }
};

}  // namespace

CProcessApi::~CProcessApi() {
  // Children aren't waited for here: whoever launched one knows its id and does so.
  m_listReserved.clear();
}

ResultCode CProcessApi::Launch(LaunchInfo& info, const char* path, ...) {
  std::vector<const char*> arguments;
  std::va_list list;
  va_start(list, path);
  for (const char* argument = path; argument != nullptr; argument = va_arg(list, const char*)) {
    arguments.push_back(argument);
  }
  va_end(list);
  return Launch(info, std::move(arguments));
}

ResultCode CProcessApi::Launch(LaunchInfo& info, std::vector<const char*> arguments) {
  info.processId = 0;  // ahead of every way out: callers take what they find for a child's id
  if (arguments.empty() || arguments.front() == nullptr) {
    return PROCESS_API_ERROR_BAD_PARAMETER;
  }
  // Ahead of the test as well: a shell without a script then has null in its script's place.
  arguments.push_back(nullptr);
  if (info.verifySignature) {
    const ResultCode rc = testSignature(info, arguments);
    if (rc != 0) {
      return rc;
    }
  }

  const pid_t child = fork();
  if (child < 0) {
    const int error = errno;
    LOG_RETURN_CODE_DESCRIBED(kLogError, "fork", error, std::strerror(error));
    return PROCESS_API_ERROR_UNKNOWN;
  }
  if (child > 0) {
    if (!info.detach) {
      info.processId = child;
    } else if (waitForChildToEnd(child) != child) {
      LOG_RETURN_CODE(kLogError, "waitpid", errno);
    }
    return 0;
  }

  if (info.detach) {
    const pid_t grandchild = fork();
    if (grandchild < 0) {
      const int error = errno;
      LOG_RETURN_CODE_DESCRIBED(kLogError, "fork", error, std::strerror(error));
      // This is the child, and it goes on in the caller's code, a copy of the whole program. Meant as it
      // stands, and nothing guards against it: whoever asks for a detached start has to compare
      // currentProcessId() with its own behind a failure. No flow of the system asks for one.
      return PROCESS_API_ERROR_UNKNOWN;
    }
    if (grandchild > 0) {
      // Not by exit(): handlers and unwritten streams are copies of the parent's here.
      _exit(0);
    }
  }
  runProgram(info, arguments);
}

ResultCode CProcessApi::testSignature(const LaunchInfo& info, const std::vector<const char*>& arguments) {
  if (m_pVerifier == nullptr) {
    return PROCESS_API_ERROR_BAD_HANDLE;
  }
  const char* path = arguments[0];
  // The script is what counts, not the shell that runs it.
  if (strcasecmp(path, "/bin/sh") == 0 || strcasecmp(path, "/bin/bash") == 0) {
    path = arguments[1];
  }
  const ResultCode rc = m_pVerifier->IsValid(path, info.signatureArgument1, info.signatureArgument2,
                                             info.signatureArgument3, info.signatureArgument4);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "VerifyFileSignature IsValid", rc);
  }
  return rc;
}

void CProcessApi::runProgram(const LaunchInfo& info, const std::vector<const char*>& arguments) {
  // What a command writes is its user's affair; only the program's own files are kept private.
  umask(callersMask());
  if (info.runAsUser && info.userName != nullptr) {
    // Ahead of everything that is added below: another user's program sees the entries alone.
    emptyEnvironment();
    CUnixImpersonate impersonate(info.userName);
    const ResultCode rc = impersonate.PermanentlyBecomeUser();
    if (rc != 0) {
      LOG_RETURN_CODE(kLogError, "CUnixImpersonate::PermanentlyBecomeUser", rc);
      // Never on as the wrong user, and never through the exit handlers of the parent's program.
      _exit(-1);
    }
  }
  // Behind the change of user, who may not go where the caller may. The old folder will do where it fails.
  if (info.workingDirectory != nullptr && chdir(info.workingDirectory) != 0) {
    LOG_RETURN_CODE(kLogWarning, "chdir", errno);
  }
  for (const char* const* entry = info.environment; entry != nullptr && *entry != nullptr; ++entry) {
    // putenv() keeps the pointer, which holds until the program takes the process over.
    if (putenv(const_cast<char*>(*entry)) != 0) {
      LOG_MESSAGE(kLogError, "Cannot set environment variable: %s Error: %s", *entry, std::strerror(errno));
      _exit(-1);
    }
  }
  execvp(arguments[0], const_cast<char* const*>(arguments.data()));
  const int error = errno;
  LOG_RETURN_CODE_DESCRIBED(kLogError, "execvp", error, std::strerror(error));
  _exit(error == ENOENT ? kExitProgramNotFound : kExitProgramNotStarted);
}

ResultCode CProcessApi::setVerifier(VerifyFileSignature* verifier) {
  if (verifier == nullptr) {
    return PROCESS_API_ERROR_BAD_PARAMETER;
  }
  m_pVerifier = verifier;
  return 0;
}

ResultCode CProcessApi::terminateProcess(std::int32_t processId) {
  // kill takes 0 for our own process group, and a negative id for another or for everything.
  if (processId < 1 || kill(processId, SIGTERM) != 0) {
    return PROCESS_API_ERROR_UNKNOWN;
  }
  // One that isn't our child was sent the signal all the same, and can't be waited for.
  static_cast<void>(waitForChildToEnd(processId));
  return 0;
}

ResultCode CProcessApi::checkProcess(std::int32_t processId) {
  if (processId == 0) {
    return PROCESS_API_ERROR_NOTRUNNING;
  }
  int status = 0;
  const pid_t ended = waitForChild(processId, status, WNOHANG);
  if (ended == processId) {
    return PROCESS_API_ERROR_NOTRUNNING;
  }
  return ended == 0 ? 0 : PROCESS_API_ERROR_UNKNOWN;
}

std::int32_t CProcessApi::currentProcessId() const {
  return getpid();
}

ResultCode CProcessApi::SetThreadPriority(int& priority) {
  errno = 0;  // so that the record of a real -1 doesn't tell of some older failure
  const int old = getpriority(PRIO_PROCESS, 0);
  // -1 is a real priority too. It counts as a failure all the same.
  if (old == -1) {
    LOG_RETURN_CODE(kLogWarning, "getpriority", errno);
    return PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED;
  }
  if (setpriority(PRIO_PROCESS, 0, priority) != 0) {
    LOG_RETURN_CODE(kLogWarning, "setpriority", errno);
    return PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED;
  }
  priority = old;
  return 0;
}

ResultCode CProcessApi::WaitForProcess(std::int32_t processId, int& exitCode, CCEvent* event,
                                       std::uint32_t /*ignored*/, std::uint32_t limitMs) {
  // What callers find who don't look at the result: a child that failed.
  exitCode = 1;
  int status = -1;
  if (event == nullptr && limitMs == kWaitForever) {
    if (waitForChild(processId, status, 0) < 0) {
      return PROCESS_API_ERROR_UNKNOWN;
    }
  } else {
    {
      std::lock_guard<std::mutex> hold(m_mutexWait);
      m_nWaitStart = tickMilliseconds();
    }
    for (;;) {
      {
        std::lock_guard<std::mutex> hold(m_mutexWait);
        // The difference is right though the tick has wrapped in between.
        // Ahead of the look at the child: with a limit of 0 nobody looks at it at all.
        if (m_nWaitForever == 0 && tickMilliseconds() - m_nWaitStart >= limitMs) {
          break;
        }
      }
      const pid_t ended = waitForChild(processId, status, WNOHANG);
      if (ended < 0) {
        LOG_MESSAGE(kLogError, "waitpid failed: %s", std::strerror(errno));
        return PROCESS_API_ERROR_UNKNOWN;
      }
      if (ended != 0) {
        break;
      }
      if (event == nullptr) {
        usleep(kPollMs * 1000);
        continue;
      }
      // The event's callback is its owner's affair, who raised it to end this wait.
      const ResultCode rc = event->WaitEvent(kPollMs, 0, false);
      if (rc != EVENT_ERROR_WAIT_TIMEOUT) {
        return rc == 0 ? PROCESS_API_ERROR_WAIT_INTERRUPTED : PROCESS_API_ERROR_UNKNOWN;
      }
    }
  }
  // The -1 of a wait that ran out has the low bits set, as has the status of a child that a signal
  // ended: callers get the same answer for both, and count on it.
  if ((status & 0x7f) != 0) {
    return PROCESS_API_ERROR_WAIT_TIMEOUT;
  }
  exitCode = (status >> 8) & 0xff;
  return 0;
}

ResultCode CProcessApi::GetProcessPathName(std::int32_t processId, char* buffer, std::size_t size) {
  HostProcessLookup lookup;
  return GetProcessPathName(processId, buffer, size, lookup);
}

ResultCode CProcessApi::GetProcessPathName(std::int32_t processId, char* buffer, std::size_t size,
                                           ProcessLookup& lookup) {
  if (buffer == nullptr || size == 0) {
    return PROCESS_API_ERROR_BAD_PARAMETER;
  }
  std::unique_ptr<BSDProcess> record;
  if (lookup.find(processId, record) != 0) {
    return PROCESS_API_ERROR_PROCESS_NOT_FOUND;
  }
  if (record == nullptr) {
    LOG_MESSAGE(kLogError, "Missing process info");
    return PROCESS_API_ERROR_UNEXPECTED;
  }
  const std::size_t length = std::min(std::strlen(record->command), size - 1);
  std::memcpy(buffer, record->command, length);
  std::memset(buffer + length, 0, size - length);
  return 0;
}

bool CProcessApi::ProcessIsAlive(std::int32_t processId) {
  HostProcessLookup lookup;
  return ProcessIsAlive(processId, lookup);
}

bool CProcessApi::ProcessIsAlive(std::int32_t processId, ProcessLookup& lookup) {
  std::unique_ptr<BSDProcess> record;
  if (lookup.find(processId, record) != 0) {
    return false;
  }
  if (record == nullptr) {
    LOG_MESSAGE(kLogError, "Missing process info");
    return false;
  }
  return record->state == kProcessIdle || record->state == kProcessRunning ||
         record->state == kProcessSleeping;
}

void CProcessApi::restartWait(bool waitForever) {
  // Without the lock, as told: the wait sees it at its next look at the latest, 20 milliseconds away.
  m_nWaitForever = waitForever ? 1 : 0;
  std::lock_guard<std::mutex> hold(m_mutexWait);
  m_nWaitStart = tickMilliseconds();
}

}  // namespace halvo
