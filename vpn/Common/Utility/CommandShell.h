// CCommandShell: runs one command line through the system's shell and gives back its standard output.
//
// A call blocks its thread until the command's output and the shell have ended, with no time limit, unless
// its caller gives the command up. The exit status of the command isn't looked at: a command that fails, or
// that is missing, and prints nothing is a success with an empty output. Its standard error is that of this
// program. An object may be used on one thread at a time.

#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CCommandShell {
 public:
  // An empty command, which nothing runs.
  CCommandShell() = default;
  // A null `commandLine` is an empty command.
  explicit CCommandShell(const char* commandLine);
  virtual ~CCommandShell() = default;

  // The forms of Execute give 0, GLOBAL_ERROR_NOT_INITIALIZED for an empty command, or
  // GLOBAL_ERROR_UNEXPECTED with an error log of "popen" (nothing has run) or "fread" (the output up to
  // the failure has been delivered). A failure of "pclose" is logged and changes no result.

  // Writes the output to `output` as it comes, whatever bytes it holds, in blocks of up to 1,024 bytes.
  [[nodiscard]] ResultCode Execute(std::ostream& output);
  // Replaces `output`, also on failure, but not for an empty command.
  [[nodiscard]] ResultCode Execute(std::string& output);
  // Adds the lines of the output to `lines`, on success alone. Each is cut at its first carriage
  // return, and empty ones are kept. What stands behind the last line feed is dropped.
  [[nodiscard]] ResultCode Execute(std::vector<std::string>& lines);
  // The same of a given command line. GLOBAL_ERROR_BAD_PARAMETER where it is null.
  [[nodiscard]] static ResultCode Execute(const char* commandLine, std::vector<std::string>& lines);

  // The exit status of the last command of Execute(std::ostream&), -1 where it had none or isn't known. For
  // those who report it; no result hangs on it.
  [[nodiscard]] int exitStatus() const { return m_nExitStatus; }

  // For a command that nobody can end: the forms of Execute with a stream and a string ask `isGivenUp` a few
  // times a second, on their thread, and wait no longer once it says so. The result is 0 then, with what had
  // been printed by that time; the command goes on without a reader of its output, and isn't waited for.
  void giveUpWhen(std::function<bool()> isGivenUp) { m_IsGivenUp = std::move(isGivenUp); }

  // Runs the command and writes its lines and the time that it took to the log, as information.
  // Returns what Execute gives; a failure is logged as an error of "CCommandShell::Execute".
  [[nodiscard]] ResultCode ExecuteAndLogResults();

 private:
  [[nodiscard]] static ResultCode run(const std::string& commandLine, std::ostream& output, int& exitStatus,
                                      const std::function<bool()>& isGivenUp);
  [[nodiscard]] static ResultCode runForLines(const std::string& commandLine,
                                              std::vector<std::string>& lines);

  std::string m_strCommandLine;
  int m_nExitStatus = -1;
  std::function<bool()> m_IsGivenUp;
};

}  // namespace halvo
