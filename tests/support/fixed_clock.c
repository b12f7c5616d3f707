/* Preloaded into a program under test: its clock stands still at 2026-03-15 10:42:07 UTC. */
#include <sys/time.h>
#include <time.h>

static const time_t kNow = 1773571327;

time_t time(time_t* out) {
  if (out != NULL) {
    *out = kNow;
  }
  return kNow;
}

int gettimeofday(struct timeval* restrict now, void* restrict zone) {
  (void)zone;
  now->tv_sec = kNow;
  now->tv_usec = 0;
  return 0;
}
