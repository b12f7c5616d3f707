#include "vpn/Common/Utility/DescriptorPath.h"

namespace halvo {

// Opening it shares the descriptor's place in the file: good for a file that is new and not yet written to.
std::string descriptorPath(int descriptor) {
  return "/dev/fd/" + std::to_string(descriptor);
}

}  // namespace halvo
