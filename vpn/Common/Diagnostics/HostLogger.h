// The choice of the logger that fits the host.

#pragma once

#include <memory>

#include "vpn/Common/Diagnostics/ILogger.h"

namespace halvo {

// Makes the host's own logger under `name`, which identifies the system to the host's log. Called
// once, before main(), under the logging lock; logs nothing through the front-end.
std::unique_ptr<ILogger> makeHostLogger(const char* name);

}  // namespace halvo
