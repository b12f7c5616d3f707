#include "vpn/Common/Utility/CommandShell.h"

#include <sys/wait.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sstream>

#include "vpn/Common/Diagnostics/Log.h"
#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

constexpr std::size_t kBlockSize = 1024;

struct CommandCloser {
  void operator()(std::FILE* pipe) const { static_cast<void>(pclose(pipe)); }
};
// What popen() gave. It waits for the command where it has to close by itself.
using CommandHolder = std::unique_ptr<std::FILE, CommandCloser>;

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
  return run(m_strCommandLine, output, m_nExitStatus);
}

ResultCode CCommandShell::Execute(std::string& output) {
  if (m_strCommandLine.empty()) {
    return GLOBAL_ERROR_NOT_INITIALIZED;
  }
  std::ostringstream gathered;
  const ResultCode rc = run(m_strCommandLine, gathered, m_nExitStatus);
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
  const ResultCode rc = run(commandLine, gathered, exitStatus);
  if (rc == 0) {
    splitLines(gathered.str(), lines);
  }
  return rc;
}

ResultCode CCommandShell::run(const std::string& commandLine, std::ostream& output, int& exitStatus) {
  exitStatus = -1;
  // The shell is what instruction documents write their command lines for.
  CommandHolder pipe;
  {
    // In force for every thread, and so for the start alone: what a command writes isn't this program's to
    // keep private.
    const CallersMask mask;
    pipe.reset(popen(commandLine.c_str(), "r"));
  }
  if (pipe == nullptr) {
    const int failure = errno;
    LOG_RETURN_CODE_DESCRIBED(kLogError, "popen", failure, std::strerror(failure));
    return GLOBAL_ERROR_UNEXPECTED;
  }
  ResultCode rc = 0;
  char block[kBlockSize];
  std::size_t got = 0;
  int readFailure = 0;
  do {
    // Waits until the block is full or the output has ended, so a short one marks the end.
    got = std::fread(block, 1, sizeof(block), pipe.get());
    readFailure = errno;  // the stream that takes the output may set its own
    output.write(block, static_cast<std::streamsize>(got));
  } while (got == sizeof(block));
  if (std::ferror(pipe.get()) != 0) {
    LOG_RETURN_CODE_DESCRIBED(kLogError, "fread", readFailure, std::strerror(readFailure));
    rc = GLOBAL_ERROR_UNEXPECTED;
  }
  // The command's own exit status changes no result, meant as it stands: what it printed counts.
  const int status = pclose(pipe.release());
  if (status == -1) {
    const int failure = errno;
    LOG_RETURN_CODE_DESCRIBED(kLogError, "pclose", failure, std::strerror(failure));
  } else if (WIFEXITED(status)) {
    exitStatus = WEXITSTATUS(status);
  }
  return rc;
}

}  // namespace halvo
