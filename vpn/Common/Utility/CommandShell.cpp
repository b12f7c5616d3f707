#include "vpn/Common/Utility/CommandShell.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

ResultCode CCommandShell::Execute(std::ostream& output) {
  if (m_strCommand.empty()) {
    return GLOBAL_ERROR_NOT_INITIALIZED;
  }
  std::FILE* const stream = popen(m_strCommand.c_str(), "r");
  if (stream == nullptr) {
    LOG_RETURN_CODE_DESCRIBED(kLogError, "popen", errno, std::strerror(errno));
    return GLOBAL_ERROR_UNEXPECTED;
  }
  ResultCode rc = 0;
  char block[1024];
  std::size_t got = 0;
  do {
    got = std::fread(block, 1, sizeof(block), stream);
    output.write(block, static_cast<std::streamsize>(got));
  } while (got == sizeof(block));
  if (std::ferror(stream) != 0) {
    LOG_RETURN_CODE(kLogError, "fread", errno);
    rc = GLOBAL_ERROR_UNEXPECTED;
  }
  if (pclose(stream) == -1) {
    LOG_RETURN_CODE(kLogError, "pclose", errno);
  }
  return rc;
}

}  // namespace halvo
