#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/sysutils.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"

namespace halvo {

void printError(const std::string& line) {
  // What was printed before the failure stands before it, where both streams are one file.
  std::fflush(stdout);
  std::fprintf(stderr, "tmtolm: %s\n", withoutControls(line).c_str());
}

void printText(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

int usageFailure(const std::string& line) {
  printError(line);
  return kExitUsage;
}

// Standard output may be a full disk or a closed pipe: what was to be read there is lost then, and the
// caller must not take that for a success.
int finishOutput(int status) {
  // A write that failed earlier has dropped what it had, and left no reason behind.
  errno = 0;
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) {
    return status;
  }
  printError(std::string("standard output can't be written: ") +
             (errno != 0 ? std::strerror(errno) : "a part of it was lost on the way"));
  return status == kExitSuccess ? kExitFailure : status;
}

void printRemark(const std::string& line) {
  if (isatty(STDOUT_FILENO) != 0 && isatty(STDERR_FILENO) != 0) {
    std::fputs("\n", stderr);
  }
  printError(line);
}

std::string failureLine(const std::string& text, unsigned code) {
  char hex[16];
  std::snprintf(hex, sizeof(hex), "0x%.8X", code);
  return text + " (" + hex + ")";
}

// A run must not end in the middle, with its folder left behind or half of the logs cleared. Unlike an
// ignored signal, one with a handler is back to its default in the commands that a run starts.
void outliveReader() {
  static_cast<void>(install_sighdlr(
      SIGPIPE, [](int) {}, nullptr));
}

}  // namespace halvo
