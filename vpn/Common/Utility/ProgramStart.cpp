#include "vpn/Common/Utility/ProgramStart.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>

#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

void prepareProgram() {
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
