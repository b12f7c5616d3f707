#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "vpn/Common/IPC/WriteWatch.h"

namespace halvo {

namespace {

constexpr int kWaitMs = 1000;

}  // namespace

int openWriteWatch() {
  return inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
}

void closeWriteWatch(int watch) {
  // A user has 128 of them at most, by the system's setting.
  if (watch >= 0) {
    close(watch);
  }
}

int registerWriteWatch(int watch, int descriptor) {
  // The link in /proc leads to the open file itself, whatever has become of its name. A second
  // registration of the same file is the first one again.
  const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  return inotify_add_watch(watch, path.c_str(), IN_MODIFY) < 0 ? -1 : 0;
}

int awaitWrite(int watch, int /*descriptor*/) {
  // A second at most, in which a stop request is seen.
  struct pollfd ready = {watch, POLLIN, 0};
  const int result = poll(&ready, 1, kWaitMs);
  if (result <= 0) {
    return result;
  }
  // A burst of writes is one event to the caller: all that waits is taken at once. A watch has but one
  // file, so every write is the caller's.
  alignas(inotify_event) char buffer[4096];
  bool wasWritten = false;
  for (ssize_t got = 0; (got = read(watch, buffer, sizeof(buffer))) > 0;) {
    for (ssize_t at = 0; at < got;) {
      const inotify_event* event = reinterpret_cast<const inotify_event*>(buffer + at);
      // Others tell that the watched file is gone, or that events were lost; the latter may have been
      // writes.
      wasWritten = wasWritten || (event->mask & (IN_MODIFY | IN_Q_OVERFLOW)) != 0;
      at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
    }
  }
  return wasWritten ? 1 : 0;
}

}  // namespace halvo
