#include "vpn/Common/Utility/CommandShell.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <utility>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/Holders.h"
#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/Common/Utility/sysutils.h"

extern char** environ;

namespace halvo {

namespace {

constexpr std::size_t kBlockSize = 1024;

constexpr std::size_t kReadAtOnce = 4096;
constexpr int kLookMs = 200;  // between two looks whether the command is given up
constexpr useconds_t kShortestPause = 50;
constexpr useconds_t kLongestPause = 20'000;

// A command that the shell runs and the reading end of its output: what popen(), fread() and pclose() do, but
// for a wait that may be given up. Nobody can end a command that works with more rights than this process.
class RunningCommand {
 public:
  explicit RunningCommand(const std::function<bool()>& isGivenUp) : m_IsGivenUp(isGivenUp) {}
  // Waits for the command where that hasn't been done.
  ~RunningCommand() { static_cast<void>(finish()); }
  RunningCommand(const RunningCommand&) = delete;
  RunningCommand& operator=(const RunningCommand&) = delete;

  // 0, or what the system says.
  int start(const std::string& commandLine) {
    int ends[2];
    if (pipe(ends) != 0) {
      return errno;
    }
    m_Output.reset(ends[0]);
    const DescriptorHolder input(ends[1]);
    for (const int end : ends) {
      fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    posix_spawn_file_actions_t actions;
    if (const int error = posix_spawn_file_actions_init(&actions); error != 0) {
      return error;
    }
    int error = posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    if (error == 0) {
      std::string shell = "sh";
      std::string option = "-c";
      std::string line = commandLine;
      char* const arguments[] = {shell.data(), option.data(), line.data(), nullptr};
      error = posix_spawn(&m_pid, "/bin/sh", &actions, nullptr, arguments, environ);
    }
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
      m_pid = 0;
    }
    return error;
  }

  // Waits until `size` bytes are there. Fewer mark the end of the output, a failure, or a command given up.
  std::size_t read(char* block, std::size_t size) {
    std::size_t got = 0;
    while (got < size && (m_nAt < m_nGot || refill())) {
      const std::size_t count = std::min(size - got, m_nGot - m_nAt);
      std::memcpy(block + got, m_Buffer + m_nAt, count);
      m_nAt += count;
      got += count;
    }
    return got;
  }
  // Of the reading; 0 for none.
  [[nodiscard]] int readFailure() const { return m_nReadFailure; }

  // The status that the command ended with; -1 with errno set for a failure, and with 0 there for a command
  // that was given up.
  int finish() {
    const pid_t process = std::exchange(m_pid, 0);
    if (process == 0) {
      return -1;
    }
    // As pclose() does it: the failure of the one step leaves the other undone.
    if (close(m_Output.release()) != 0) {
      return -1;
    }
    int status = 0;
    for (useconds_t pause = kShortestPause;; pause = std::min(2 * pause, kLongestPause)) {
      const pid_t ended = waitpid(process, &status, m_IsGivenUp ? WNOHANG : 0);
      if (ended == process) {
        return status;
      }
      if (ended < 0 && errno != EINTR) {
        return -1;
      }
      if (m_IsGivenUp && m_IsGivenUp()) {
        errno = 0;
        return -1;
      }
      if (ended == 0) {
        usleep(pause);
      }
    }
  }

 private:
  // Waits for more. False where there is none.
  bool refill() {
    for (;;) {
      if (m_IsGivenUp) {
        if (m_IsGivenUp()) {
          return false;
        }
        pollfd ready = {m_Output.get(), POLLIN, 0};
        const int polled = poll(&ready, 1, kLookMs);
        if (polled == 0 || (polled < 0 && errno == EINTR)) {
          continue;
        }
      }
      const ssize_t count = ::read(m_Output.get(), m_Buffer, sizeof(m_Buffer));
      if (count < 0 && errno == EINTR) {
        continue;
      }
      m_nReadFailure = count < 0 ? errno : 0;
      m_nAt = 0;
      m_nGot = count < 0 ? 0 : static_cast<std::size_t>(count);
      return count > 0;
    }
  }

  const std::function<bool()>& m_IsGivenUp;
  DescriptorHolder m_Output;
  pid_t m_pid = 0;
  char m_Buffer[kReadAtOnce];
  std::size_t m_nAt = 0;
  std::size_t m_nGot = 0;
  int m_nReadFailure = 0;
};

// Text behind the last line feed is no line, meant as it stands: a last line without one is lost.
void splitLines(const std::string& text, std::vector<std::string>& lines) {
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      return;
    }
    const std::string line = text.substr(start, end - start);
    lines.push_back(line.substr(0, line.find('\r')));
    start = end + 1;
  }
}

}  // namespace

CCommandShell::CCommandShell(const char* commandLine)
    : m_strCommandLine(commandLine != nullptr ? commandLine : "") {}

ResultCode CCommandShell::Execute(std::ostream& output) {
  if (m_strCommandLine.empty()) {
    return GLOBAL_ERROR_NOT_INITIALIZED;
  }
  return run(m_strCommandLine, output, m_nExitStatus, m_IsGivenUp);
}

ResultCode CCommandShell::Execute(std::string& output) {
  if (m_strCommandLine.empty()) {
    return GLOBAL_ERROR_NOT_INITIALIZED;
  }
  std::ostringstream gathered;
  const ResultCode rc = run(m_strCommandLine, gathered, m_nExitStatus, m_IsGivenUp);
  output = gathered.str();  // on failure too: what came until then
  return rc;
}

ResultCode CCommandShell::Execute(std::vector<std::string>& lines) {
  if (m_strCommandLine.empty()) {
    return GLOBAL_ERROR_NOT_INITIALIZED;
  }
  return runForLines(m_strCommandLine, lines);
}

ResultCode CCommandShell::Execute(const char* commandLine, std::vector<std::string>& lines) {
  if (commandLine == nullptr) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  return runForLines(commandLine, lines);
}

ResultCode CCommandShell::ExecuteAndLogResults() {
  const std::uint32_t start = tickMilliseconds();
  std::vector<std::string> lines;
  const ResultCode rc = Execute(lines);
  if (rc != 0) {
    LOG_RETURN_CODE(kLogError, "CCommandShell::Execute", rc);
    return rc;
  }
  // Right also where the clock has wrapped in between: unsigned numbers differ by what passed.
  const std::uint32_t elapsed = tickMilliseconds() - start;
  std::string joined;
  for (const std::string& line : lines) {
    joined += line + "\n";
  }
  LOG_MESSAGE(kLogInformation, "Command '%s' took %u ms. Output: %s", m_strCommandLine.c_str(), elapsed,
              joined.c_str());
  return 0;
}

ResultCode CCommandShell::runForLines(const std::string& commandLine, std::vector<std::string>& lines) {
  std::ostringstream gathered;
  int exitStatus = -1;
  const ResultCode rc = run(commandLine, gathered, exitStatus, {});
  if (rc == 0) {
    splitLines(gathered.str(), lines);
  }
  return rc;
}

ResultCode CCommandShell::run(const std::string& commandLine, std::ostream& output, int& exitStatus,
                              const std::function<bool()>& isGivenUp) {
  exitStatus = -1;
  // The shell is what instruction documents write their command lines for. Its steps go to the log under the
  // names of the C library's functions, which readers of the log know.
  RunningCommand command(isGivenUp);
  int failure = 0;
  {
    // In force for every thread, and so for the start alone: what a command writes isn't this program's to
    // keep private.
    const CallersMask mask;
    failure = command.start(commandLine);
  }
  if (failure != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogError, "popen", failure, std::strerror(failure));
    return GLOBAL_ERROR_UNEXPECTED;
  }
  ResultCode rc = 0;
  char block[kBlockSize];
  std::size_t got = 0;
  do {
    got = command.read(block, sizeof(block));
    output.write(block, static_cast<std::streamsize>(got));
  } while (got == sizeof(block));
  if (failure = command.readFailure(); failure != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogError, "fread", failure, std::strerror(failure));
    rc = GLOBAL_ERROR_UNEXPECTED;
  }
  // The command's own exit status changes no result, meant as it stands: what it printed counts.
  const int status = command.finish();
  failure = errno;
  if (status != -1) {
    exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  } else if (failure != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogError, "pclose", failure, std::strerror(failure));
  }
  return rc;
}

}  // namespace halvo
