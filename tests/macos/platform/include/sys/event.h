// The test platform's kqueue: what a watch of writes to a file needs. See Kernel.cpp.

#pragma once

#include <stdint.h>
#include <time.h>

struct kevent {
  uintptr_t ident;
  int16_t filter;
  uint16_t flags;
  uint32_t fflags;
  intptr_t data;
  void* udata;
};

#define EV_SET(event, i, f, l, n, d, u) (*(event) = {(i), (f), (l), (n), (d), (u)})
#define EVFILT_VNODE (-4)
#define EV_ADD 0x0001
#define EV_ONESHOT 0x0010
#define NOTE_WRITE 0x00000002

extern "C" {
int kqueue(void);
int kevent(int queue, const struct kevent* changes, int changeCount, struct kevent* events, int eventCount,
           const struct timespec* timeout);
}
