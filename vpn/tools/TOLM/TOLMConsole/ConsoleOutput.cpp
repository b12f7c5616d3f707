#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "vpn/Common/Diagnostics/ResultCodes.h"
#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"

namespace halvo {

void printError(const std::string& line) {
  // What was printed before the failure stands before it, where both streams are one file.
  std::fflush(stdout);
  std::fprintf(stderr, "tmtolm: %s\n", withoutControls(line).c_str());
}

int usageFailure(const std::string& line) {
  printError(line);
  return kExitUsage;
}

// Standard output may be a full disk or a closed pipe: what was to be read there is lost then, and the
// caller must not take that for a success.
int finishOutput(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
    return status;
  }
  printError(std::string("standard output can't be written: ") + std::strerror(errno));
  return status == kExitSuccess ? kExitFailure : status;
}

std::string failureLine(const std::string& text, unsigned code, const std::string& bundlePath) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%.8X", code);
  std::string line = text + " (" + hex + ")";
  if (code == TOLMENGINE_ERROR_WRITE_FAILURE && !bundlePath.empty()) {
    line += "; is there a folder for \"" + bundlePath + "\", and may you write there?";
  }
  return line;
}

// A run must not end in the middle, with its folder left behind or half of the logs cleared. Unlike an
// ignored signal, one with a handler is back to its default in the commands that a run starts.
void outliveReader() {
  static_cast<void>(install_sighdlr(
      SIGPIPE, [](int) {}, nullptr));
}

}  // namespace halvo
