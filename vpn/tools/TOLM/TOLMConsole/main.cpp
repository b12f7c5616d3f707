#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/tools/TOLM/TOLMConsole/Console.h"

int main(int argc, char** argv) {
  halvo::prepareProgram();
  try {
    return halvo::runConsole(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  } catch (const std::exception& error) {
    // Memory ran out; nothing else throws.
    std::fprintf(stderr, "tmtolm: %s\n", error.what());
    return 1;
  }
}
