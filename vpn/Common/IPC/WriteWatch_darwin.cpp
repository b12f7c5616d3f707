#include <sys/event.h>
#include <sys/types.h>
#include <time.h>

#include "vpn/Common/IPC/WriteWatch.h"

namespace halvo {

int openWriteWatch() {
  return kqueue();
}

void closeWriteWatch(int /*watch*/) {
  // A queue is left to the end of the process, as ever on this host.
}

int registerWriteWatch(int watch, int descriptor) {
  struct kevent change;
  // Good for one event: all writes until the next registration are that one.
  EV_SET(&change, static_cast<uintptr_t>(descriptor), EVFILT_VNODE, EV_ADD | EV_ONESHOT, NOTE_WRITE, 0,
         nullptr);
  return kevent(watch, &change, 1, nullptr, 0, nullptr);
}

int awaitWrite(int watch, int descriptor) {
  // In which a stop request is seen.
  const struct timespec second = {1, 0};
  struct kevent event;
  const int result = kevent(watch, nullptr, 0, &event, 1, &second);
  if (result <= 0) {
    return result;
  }
  return event.ident == static_cast<uintptr_t>(descriptor) ? 1 : 0;
}

}  // namespace halvo
