#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "vpn/tools/TOLM/TOLMFrontEnd/unattended/IdlePriority.h"

namespace halvo {

void takeIdlePriority() {
  // linux/ioprio.h: the class stands above bit 13.
  constexpr int kIoProcess = 1;
  constexpr int kIoIdle = 3 << 13;
  constexpr int kLowest = 19;
  // Each by itself: one that the host refuses leaves the others in force.
  static_cast<void>(setpriority(PRIO_PROCESS, 0, kLowest));
  const sched_param parameters = {};
  static_cast<void>(sched_setscheduler(0, SCHED_IDLE, &parameters));
  static_cast<void>(syscall(SYS_ioprio_set, kIoProcess, 0, kIoIdle));
}

}  // namespace halvo
