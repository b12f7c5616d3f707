// CCommandShell: runs one command line through the system shell and gives back its standard output.

#pragma once

#include <ostream>
#include <string>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class CCommandShell {
 public:
  CCommandShell() = default;
  explicit CCommandShell(const char* commandLine) : m_strCommand(commandLine != nullptr ? commandLine : "") {}
  virtual ~CCommandShell() = default;

  // Runs the command to its end and writes its output to `output` as it comes. The exit status isn't
  // looked at. GLOBAL_ERROR_NOT_INITIALIZED for an empty command, GLOBAL_ERROR_UNEXPECTED where the
  // shell can't be started or its output can't be read.
  [[nodiscard]] ResultCode Execute(std::ostream& output);

 private:
  std::string m_strCommand;
};

}  // namespace halvo
