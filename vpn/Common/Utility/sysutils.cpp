#include "vpn/Common/Utility/sysutils.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

constexpr suseconds_t kMicrosecondsPerSecond = 1000000;

// Modes are tested by one bit alone, as told in the header.
constexpr mode_t kFileBit = 0x8000;
constexpr mode_t kDirectoryBit = 0x4000;
constexpr mode_t kOwnerReadsBit = 0x0100;

class RealSelectHost : public SelectHost {
 public:
  int select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, timeval* timeout) override {
    return ::select(count, readSet, writeSet, exceptSet, timeout);
  }
  timeval now() override {
    // A wait doesn't grow or shrink when somebody sets the wall clock.
    timespec moment = {};
    clock_gettime(CLOCK_MONOTONIC, &moment);
    return {moment.tv_sec, static_cast<suseconds_t>(moment.tv_nsec / 1000)};
  }
};

bool isZero(const timeval& time) {
  return time.tv_sec == 0 && time.tv_usec == 0;
}

// stat() for the public tests below, each of which logs under its own name: `kind` is what the record calls
// the thing. That it is missing is an answer like any other, and isn't logged.
bool look(const std::string& path, const char* kind, struct stat& data,
          const char* function = __builtin_FUNCTION(), int line = __builtin_LINE()) {
  if (stat(path.c_str(), &data) == 0) {
    return true;
  }
  if (const int failure = errno; failure != ENOENT) {
    logDebugReturnCode(function, __FILE__, line, kLogError, "_tstat", static_cast<ResultCode>(failure),
                       nullptr, "%s: %s\nError: %s", kind, path.c_str(), std::strerror(failure));
  }
  return false;
}

}  // namespace

int rqv_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, const timeval* timeout) {
  RealSelectHost host;
  return rqv_select(count, readSet, writeSet, exceptSet, timeout, host);
}

int rqv_select(int count, fd_set* readSet, fd_set* writeSet, fd_set* exceptSet, const timeval* timeout,
               SelectHost& host) {
  timeval deadline = {};
  // Zero where there is no timeout, and not a null pointer, which would wait without end.
  timeval rest = {};
  if (timeout != nullptr) {
    deadline = deadlineAfter(host.now(), *timeout);
    rest = *timeout;
  }
  for (;;) {
    // Some hosts write to the time value.
    timeval passed = rest;
    const int ready = host.select(count, readSet, writeSet, exceptSet, &passed);
    // Any other number is an answer, however odd; a signal's -1 alone is asked again.
    if (ready != -1) {
      return ready;
    }
    if (errno != EINTR) {
      const int failure = errno;
      LOG_MESSAGE(kLogError, "rqv_select failed with errno: %d", failure);
      errno = failure;  // callers log it
      return -1;
    }
    if (timeout != nullptr) {
      rest = timeUntil(deadline, host.now());
      if (isZero(rest)) {
        return 0;
      }
    }
  }
}

timeval deadlineAfter(const timeval& now, const timeval& timeout) {
  using Seconds = decltype(now.tv_sec);
  timeval deadline = {0, static_cast<suseconds_t>(now.tv_usec + timeout.tv_usec)};
  Seconds carry = 0;
  // Exactly a million isn't carried, meant as it stands: timeUntil() takes such a deadline.
  if (deadline.tv_usec > kMicrosecondsPerSecond) {
    carry = deadline.tv_usec / kMicrosecondsPerSecond;
    deadline.tv_usec %= kMicrosecondsPerSecond;
  }
  if (__builtin_add_overflow(now.tv_sec, timeout.tv_sec, &deadline.tv_sec) ||
      __builtin_add_overflow(deadline.tv_sec, carry, &deadline.tv_sec)) {
    deadline.tv_sec = std::numeric_limits<Seconds>::max();
  }
  return deadline;
}

timeval timeUntil(const timeval& deadline, const timeval& now) {
  timeval rest = {deadline.tv_sec - now.tv_sec, static_cast<suseconds_t>(deadline.tv_usec - now.tv_usec)};
  if (rest.tv_usec < 0) {
    --rest.tv_sec;
    rest.tv_usec += kMicrosecondsPerSecond;
  } else if (rest.tv_usec >= kMicrosecondsPerSecond) {
    // A deadline may hold a whole second in its microseconds, and not every host's select takes it.
    ++rest.tv_sec;
    rest.tv_usec -= kMicrosecondsPerSecond;
  }
  return rest.tv_sec < 0 ? timeval{0, 0} : rest;
}

void sleepMilliseconds(std::uint32_t ms) {
  // From 71 minutes on this wraps and sleeps for less, meant as it stands.
  usleep(ms * 1000U);
}

std::uint32_t tickMilliseconds() {
  timeval now = {};
  if (gettimeofday(&now, nullptr) != 0) {
    return 0;
  }
  return tickMilliseconds(now);
}

std::uint32_t tickMilliseconds(const timeval& moment) {
  return static_cast<std::uint32_t>(moment.tv_sec) * 1000U +
         static_cast<std::uint32_t>(moment.tv_usec / 1000);
}

std::string timeText(int selector) {
  return timeText(selector, currentTime());
}

std::string timeText(int selector, std::time_t moment) {
  std::tm local = {};
  localtime_r(&moment, &local);
  if (selector == 1) {
    char text[11];
    // Modulo 100 shows the compiler that two digits always do.
    std::snprintf(text, sizeof(text), "_%02u%02u_%02u%02u", static_cast<unsigned>(local.tm_mon + 1) % 100U,
                  static_cast<unsigned>(local.tm_mday) % 100U, static_cast<unsigned>(local.tm_hour) % 100U,
                  static_cast<unsigned>(local.tm_min) % 100U);
    return text;
  }
  char text[64];
  if (selector == 2) {
    // The line feed is part of asctime's text and stays.
    // Not asctime(), whose one buffer all threads share.
    return asctime_r(&local, text) != nullptr ? text : "";
  }
  return std::strftime(text, sizeof(text), "%c", &local) > 0 ? text : "";
}

std::time_t currentTime() {
  return std::time(nullptr);
}

ResultCode localTimeNow(std::tm* out) {
  if (out == nullptr) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  const std::time_t now = currentTime();
  localtime_r(&now, out);
  return 0;
}

ResultCode TimeNowToString(const char* format, char* buffer, std::size_t size) {
  if (format == nullptr || buffer == nullptr || size == 0) {
    return GLOBAL_ERROR_BAD_PARAMETER;
  }
  std::tm local = {};
  static_cast<void>(localTimeNow(&local));  // fails for a null pointer alone
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const std::size_t written = std::strftime(buffer, size, format, &local);
#pragma GCC diagnostic pop
  if (written == 0) {
    // strftime() gives no reason, so the record has none.
    LOG_RETURN_CODE(kLogError, "_tcsftime", 0);
    buffer[0] = '\0';
    return GLOBAL_ERROR_UNEXPECTED;
  }
  return 0;
}

int unlink_file(const char* path) {
  if (path == nullptr) {
    return EINVAL;
  }
  return unlink(path) == 0 ? 0 : errno;
}

bool fileExists(const std::string& path) {
  struct stat data = {};
  return look(path, "File", data) && (data.st_mode & kFileBit) != 0;
}

bool directoryExists(const std::string& path) {
  struct stat data = {};
  return look(path, "Directory", data) && (data.st_mode & kDirectoryBit) != 0;
}

bool fileIsReadable(const std::string& path) {
  struct stat data = {};
  if (!look(path, "File", data)) {
    return false;
  }
  // Ahead of the kind: a device or a pipe, whose size is 0, is told of as empty.
  if (data.st_size == 0) {
    LOG_MESSAGE(kLogWarning, "File (%s) is empty.", path.c_str());
    return false;
  }
  if ((data.st_mode & kFileBit) != 0 && (data.st_mode & kOwnerReadsBit) != 0) {
    return true;
  }
  LOG_MESSAGE(kLogWarning, "File (%s) is not readable or is not a regular file.", path.c_str());
  return false;
}

bool statPath(const char* path, struct stat* buffer) {
  return path != nullptr && stat(path, buffer) == 0;
}

bool install_sighdlr(int signal, SignalHandler handler, SignalHandler* previous) {
  // First of all: a caller that puts the old handler back mustn't find one of its own past there.
  if (previous != nullptr) {
    *previous = nullptr;
  }
  struct sigaction action = {};
  struct sigaction old = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  if (sigaction(signal, &action, &old) != 0) {
    const int failure = errno;
    LOG_RETURN_CODE_TEXT(kLogError, "sigaction", failure,
                         "Failed to install signal handler (%s). Signal# = %d.", std::strerror(failure),
                         signal);
    return false;
  }
  if (previous != nullptr) {
    *previous = old.sa_handler;
  }
  return true;
}

bool alwaysTrue() {
  return true;
}

}  // namespace halvo
