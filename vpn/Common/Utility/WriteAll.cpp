#include "vpn/Common/Utility/WriteAll.h"

#include <unistd.h>

#include <cerrno>

namespace halvo {

int writeAll(int descriptor, const char* bytes, std::size_t count) {
  while (count > 0) {
    const ssize_t written = write(descriptor, bytes, count);
    if (written > 0) {
      bytes += written;
      count -= static_cast<std::size_t>(written);
    } else if (written == 0) {
      // No error was set, and asking again may give the same answer for ever.
      return EIO;
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

}  // namespace halvo
