#include <cerrno>

#include "vpn/Common/Diagnostics/LoggingStart.h"

namespace halvo {

namespace {

// 101 is the first priority that is not the compiler's own: this object is made before, and destroyed
// after, every other static object of the system.
__attribute__((init_priority(101))) LoggingStarter s_loggingStarter(program_invocation_short_name);

}  // namespace

}  // namespace halvo

const char tolmLoggingStart = 1;
