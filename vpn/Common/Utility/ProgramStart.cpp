#include "vpn/Common/Utility/ProgramStart.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

constexpr mode_t kPrivate = 077;

// Set once, before there is a second thread.
bool s_bPrepared = false;
mode_t s_nCallersMask = 0;

}  // namespace

mode_t callersMask() {
  if (s_bPrepared) {
    return s_nCallersMask;
  }
  // There is no way to look at it but to set it.
  const mode_t own = umask(kPrivate);
  umask(own);
  return own;
}

void prepareProgram() {
  if (!s_bPrepared) {
    s_nCallersMask = umask(kPrivate);
    s_bPrepared = true;
  }
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) == -1 && errno == EBADF) {
      // The lowest free number is this one. Opened the wrong way round, so that a result that can't be
      // printed still counts as a failure; children inherit it.
      static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
  }
  static_cast<void>(install_sighdlr(SIGCHLD, SIG_DFL, nullptr));
}

}  // namespace halvo
