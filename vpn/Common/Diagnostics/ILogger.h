// The interface of whatever writes finished log messages out to the host.
//
// The logging front-end (Log.h) owns the one installed logger. log() may be called on any thread at
// any time; a logger does its own serialisation.

#pragma once

#include <cstdint>

#include "vpn/Common/Diagnostics/ResultCodes.h"

namespace halvo {

class ILogger {
 public:
  // Writes one finished message. `severity` is the number of the message's row (3 error, 4 warning,
  // 5 notice, 7 debug), `level` the caller's letter (LogLevel). A null `message` is refused with
  // GLOBAL_ERROR_BAD_PARAMETER. Nobody looks at the result of an installed logger.
  [[nodiscard]] virtual ResultCode log(std::uint32_t severity, const char* message, const char* messageName,
                                       std::uint32_t messageId, int level) = 0;

  virtual ~ILogger() = default;
};

}  // namespace halvo
