#include "tests/support/ConsoleRun.h"

#include "tests/support/Files.h"

namespace halvo::test {

RunResult tmtolm(std::vector<std::string> arguments, const RunOptions& options) {
  arguments.insert(arguments.begin(), builtProgram("tmtolm"));
  return runProgram(arguments, options);
}

std::vector<std::string> workFolders() {
  std::vector<std::string> names;
  for (const std::string& name : listFolder("/tmp")) {
    if (name.rfind("TOLM_Temp_Bundle", 0) == 0) {
      names.push_back(name);
    }
  }
  return names;
}

}  // namespace halvo::test
