#include <cerrno>

#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

// Opening it shares the descriptor's place in the file: good for a file that is new and not yet written to.
std::string descriptorPath(int descriptor) {
  return "/dev/fd/" + std::to_string(descriptor);
}

int openNameless(const std::string& /*folder*/) {
  errno = EOPNOTSUPP;
  return -1;
}

bool nameDescriptor(int /*descriptor*/, const std::string& /*path*/) {
  errno = EOPNOTSUPP;
  return false;
}

}  // namespace halvo
