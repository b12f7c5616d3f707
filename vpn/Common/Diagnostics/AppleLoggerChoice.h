// Which of the two macOS loggers fits a system version.

#pragma once

#include <memory>

#include "vpn/Common/Diagnostics/CASLLogger.h"
#include "vpn/Common/Diagnostics/CAppleUnifiedLoggingLogger.h"
#include "vpn/Common/Utility/OSInfo.h"

namespace halvo {

// A CAppleUnifiedLoggingLogger for version 10.12 and later, a CASLLogger for an earlier one. Both log
// services must outlive the logger.
std::unique_ptr<ILogger> makeAppleLogger(const OSInfo& system, IAppleSystemLog& systemLog,
                                         IUnifiedLog& unifiedLog, const char* name);

}  // namespace halvo
