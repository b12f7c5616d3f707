#include "vpn/tools/TOLM/TOLMConsole/Console.h"

#include <cstdio>

#include "vpn/tools/TOLM/TOLMConsole/CommandLine.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

namespace halvo {

int runConsole(const std::vector<std::string>& arguments) {
  CommandLine line;
  const CommandLine::Answer answer = line.parse(arguments);
  if (answer.command == nullptr) {
    std::fputs(answer.text.c_str(), answer.exitStatus == kExitSuccess ? stdout : stderr);
    return finishOutput(answer.exitStatus);
  }
  return answer.command->run();
}

}  // namespace halvo
