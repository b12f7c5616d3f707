#include <unistd.h>

#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/Common/Utility/ProgramStart.h"
#include "vpn/tools/TOLM/TOLMConsole/Console.h"

int main(int argc, char** argv) {
  halvo::prepareProgram();
  try {
    return halvo::runConsole(std::vector<std::string>(argv + (argc > 0 ? 1 : 0), argv + argc));
  } catch (const std::bad_alloc&) {
    // Outside of a run, which tells it by itself. Printed without a buffer, which would want memory too.
    constexpr char kLine[] = "tmtolm: out of memory (0xFEAF0004)\n";
    static_cast<void>(!write(STDERR_FILENO, kLine, sizeof(kLine) - 1));
    return 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tmtolm: %s (0xFEAF0009)\n", halvo::withoutControls(error.what()).c_str());
    return 1;
  }
}
