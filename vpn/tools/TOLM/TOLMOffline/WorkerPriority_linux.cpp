#include <sys/resource.h>
#include <unistd.h>

#include "vpn/tools/TOLM/TOLMOffline/WorkerPriority.h"

namespace halvo {

void lowerThisThread(GlobalQueue queue) {
  constexpr int kUtilityNice = 5;
  constexpr int kBackgroundNice = 10;
  const int wanted = queue == GlobalQueue::utility ? kUtilityNice : kBackgroundNice;
  // On this host a thread has a nice value of its own. Never raised again: the user may have started the
  // wizard at a lower one.
  const id_t thread = static_cast<id_t>(gettid());
  if (getpriority(PRIO_PROCESS, thread) < wanted) {
    static_cast<void>(setpriority(PRIO_PROCESS, thread, wanted));
  }
}

}  // namespace halvo
