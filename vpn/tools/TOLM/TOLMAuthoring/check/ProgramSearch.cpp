#include "vpn/tools/TOLM/TOLMAuthoring/check/ProgramSearch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace halvo {

namespace {

bool isProgramFile(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         faccessat(AT_FDCWD, path.c_str(), X_OK, AT_EACCESS) == 0;
}

}  // namespace

bool findsProgram(const std::string& program) {
  if (program.empty() || program.find('/') != std::string::npos) {
    return isProgramFile(program);
  }
  const char* const variable = std::getenv("PATH");
  const std::string folders = variable == nullptr ? "/bin:/usr/bin" : variable;
  for (std::size_t at = 0; at <= folders.size();) {
    const std::size_t colon = std::min(folders.find(':', at), folders.size());
    const std::string folder = folders.substr(at, colon - at);
    // An empty entry means the current folder.
    if (isProgramFile((folder.empty() ? "." : folder) + "/" + program)) {
      return true;
    }
    at = colon + 1;
  }
  return false;
}

}  // namespace halvo
