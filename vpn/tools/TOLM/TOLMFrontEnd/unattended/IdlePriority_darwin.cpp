#include <sys/resource.h>

#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/IdlePriority.h"

namespace halvo {

void takeIdlePriority() {
  // What runs in the background gives way on processor and disk alike.
  static_cast<void>(setpriority(PRIO_DARWIN_PROCESS, 0, PRIO_DARWIN_BG));
}

}  // namespace halvo
