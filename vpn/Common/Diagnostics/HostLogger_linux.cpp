#include <syslog.h>

#include "vpn/Common/Diagnostics/HostLogger.h"

namespace halvo {

namespace {

class SyslogLogger : public ILogger {
 public:
  ResultCode log(std::uint32_t /*severity*/, const char* message, const char* /*messageName*/,
                 std::uint32_t /*messageId*/, int level) override {
    if (message == nullptr) {
      return GLOBAL_ERROR_BAD_PARAMETER;
    }
    syslog(level == 'E' ? LOG_ERR : LOG_INFO, "%s", message);
    return 0;
  }
};

}  // namespace

std::unique_ptr<ILogger> makeHostLogger(const char* /*name*/) {
  return std::make_unique<SyslogLogger>();
}

}  // namespace halvo
