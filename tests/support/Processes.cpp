#include "tests/support/Processes.h"

#include <unistd.h>

#include <cstdlib>

#include "tests/support/Files.h"

namespace halvo::test {

bool waitForFile(const std::string& path) {
  for (int i = 0; i < 4000 && !exists(path); ++i) {
    usleep(5000);
  }
  return exists(path);
}

pid_t processIn(const std::string& file) {
  return exists(file) ? static_cast<pid_t>(std::strtol(readFile(file).c_str(), nullptr, 10)) : 0;
}

bool isAlive(pid_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/stat";
  return process > 0 && exists(path) && readFile(path).find(") Z") == std::string::npos;
}

}  // namespace halvo::test
