#include <stdlib.h>

#include "vpn/Common/Diagnostics/LoggingStart.h"

namespace halvo {

namespace {

// This host knows no priorities: initialisers run in the order of the link line, where the linker
// meets the symbol below first. The log's state is constant-initialised, so an object that is made
// earlier all the same may log: its records are dropped.
LoggingStarter s_loggingStarter(getprogname());

}  // namespace

}  // namespace halvo

const char tolmLoggingStart = 1;
