#include "vpn/tools/TOLM/TOLMConsole/SilentLog.h"

#include <cstdint>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

class NoLogger : public ILogger {
 public:
  ResultCode log(std::uint32_t, const char*, const char*, std::uint32_t, int) override { return 0; }
};

// Without a logger of one's own the host's comes back.
void replaceLogger(ILogger* logger) {
  // The log counts its users; the logger changes only when the last of them has gone.
  while (!releaseLogging()) {
  }
  ResultCode result = 0;
  acquireLogging(result, "tmtolmui", logger);
}

}  // namespace

SilentLog::SilentLog() {
  replaceLogger(new NoLogger);
}

SilentLog::~SilentLog() {
  replaceLogger(nullptr);
}

}  // namespace halvo
