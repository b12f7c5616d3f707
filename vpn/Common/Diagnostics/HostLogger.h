// The choice of the logger that fits the host.

#pragma once

#include <memory>

#include "vpn/Common/Diagnostics/ILogger.h"

namespace halvo {

// Makes the host's own logger under `name`, which identifies the system to the host's log; never null.
// Called under the logging lock when logging starts, which in a program is before main(); logs nothing
// through the front-end. Linux: the journal (JournalLogger.h); each record that no journal takes goes to
// syslog(3), with one line per message. macOS: by the system's version (AppleLoggerChoice.h).
std::unique_ptr<ILogger> makeHostLogger(const char* name);

}  // namespace halvo
