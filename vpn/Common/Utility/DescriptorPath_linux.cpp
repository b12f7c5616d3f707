#include <fcntl.h>
#include <unistd.h>

#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

std::string descriptorPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

int openNameless(const std::string& folder) {
  return open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
}

bool nameDescriptor(int descriptor, const std::string& path) {
  return linkat(AT_FDCWD, descriptorPath(descriptor).c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

}  // namespace halvo
