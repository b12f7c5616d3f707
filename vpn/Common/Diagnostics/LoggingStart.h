// The static object that starts logging before main() and gives it back at exit.
//
// Each host's source defines one LoggingStarter as the first static object of the program, in the way
// that the host's linker understands, and next to it the symbol `tolmLoggingStart`. Programs get told
// to look for that symbol (see CMakeLists.txt), so that the linker takes the object out of the static
// library even where nothing else of the log is called. `program` is the running program's name.

#pragma once

#include "vpn/Common/Diagnostics/LastResort.h"
#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

class LoggingStarter {
 public:
  explicit LoggingStarter(const char* program) {
    // First: the logger, and all that is made behind it, takes memory.
    installLastResort(program);
    ResultCode result = 0;
    acquireLogging(result, "tmtolmui", nullptr);
  }
  ~LoggingStarter() { releaseLogging(); }

  LoggingStarter(const LoggingStarter&) = delete;
  LoggingStarter& operator=(const LoggingStarter&) = delete;
};

}  // namespace halvo

extern "C" const char tolmLoggingStart;
