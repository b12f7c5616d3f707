#include "vpn/Common/Utility/sysutils.h"

#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>

namespace halvo {

void sleepMilliseconds(std::uint32_t ms) {
  usleep(ms * 1000U);
}

std::uint32_t tickMilliseconds() {
  struct timeval now;
  if (gettimeofday(&now, nullptr) != 0) {
    return 0;
  }
  return static_cast<std::uint32_t>(now.tv_sec) * 1000U + static_cast<std::uint32_t>(now.tv_usec / 1000);
}

std::string timeText(int selector) {
  const std::time_t now = std::time(nullptr);
  struct tm local = {};
  localtime_r(&now, &local);
  if (selector == 1) {
    char text[11];
    // Modulo 100 shows the compiler that two digits always do.
    std::snprintf(text, sizeof(text), "_%02u%02u_%02u%02u", static_cast<unsigned>(local.tm_mon + 1) % 100U,
                  static_cast<unsigned>(local.tm_mday) % 100U, static_cast<unsigned>(local.tm_hour) % 100U,
                  static_cast<unsigned>(local.tm_min) % 100U);
    return text;
  }
  if (selector == 2) {
    char text[64];
    return asctime_r(&local, text) != nullptr ? text : "";
  }
  char text[64];
  return std::strftime(text, sizeof(text), "%c", &local) > 0 ? text : "";
}

int unlink_file(const char* path) {
  if (path == nullptr) {
    return EINVAL;
  }
  return unlink(path) == 0 ? 0 : errno;
}

}  // namespace halvo
