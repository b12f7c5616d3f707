#include "vpn/Common/Diagnostics/AppleLoggerChoice.h"

namespace halvo {

std::unique_ptr<ILogger> makeAppleLogger(const OSInfo& system, IAppleSystemLog& systemLog,
                                         IUnifiedLog& unifiedLog, const char* name) {
  if (isMacAtLeast_10_12(system)) {
    return std::make_unique<CAppleUnifiedLoggingLogger>(unifiedLog, name);
  }
  return std::make_unique<CASLLogger>(systemLog, name);
}

}  // namespace halvo
