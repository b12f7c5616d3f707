#include "tests/support/Processes.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "tests/support/Files.h"

namespace halvo::test {

bool waitUntil(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= deadline) {
      return false;
    }
    usleep(5000);
  }
  return true;
}

bool waitForFile(const std::string& path) {
  return waitUntil([&path] { return exists(path); });
}

bool withALimitThatIsLongEnough(const std::function<bool(int seconds)>& attempt) {
  for (const int seconds : {1, 4, 16, 64}) {
    if (attempt(seconds)) {
      return true;
    }
  }
  return false;
}

pid_t processIn(const std::string& file) {
  return exists(file) ? static_cast<pid_t>(std::strtol(readFile(file).c_str(), nullptr, 10)) : 0;
}

std::set<pid_t> processesThatWaitForALock() {
  // "1: -> FLOCK  ADVISORY  WRITE 4711 ..."; the arrow stands where one waits.
  std::set<pid_t> waiting;
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number;
    std::string arrow;
    std::string word;
    pid_t process = 0;
    if (words >> number >> arrow && arrow == "->" && words >> word >> word >> word >> process) {
      waiting.insert(process);
    }
  }
  return waiting;
}

bool isAlive(pid_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/stat";
  return process > 0 && exists(path) && readFile(path).find(") Z") == std::string::npos;
}

}  // namespace halvo::test
