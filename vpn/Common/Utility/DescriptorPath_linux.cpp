#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

std::string descriptorPath(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

}  // namespace halvo
