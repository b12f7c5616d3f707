// Runs a program on a pseudo-terminal of its own, as its controlling terminal, and plays a dialogue.

#pragma once

#include <string>
#include <vector>

#include "tests/support/Subprocess.h"

namespace halvo::test {

// One turn: once `expect` has been printed (behind what earlier turns expected), `send` is typed.
struct TerminalTurn {
  std::string expect;
  std::string send;
};

struct TerminalResult {
  RunResult run;            // `out` holds all that the terminal showed, line feeds as the program wrote them
  bool allTurns = false;    // every expected text came
  bool echoBefore = false;  // whether the terminal echoed before the program ran ...
  bool echoAfter = false;   // ... and after it ended
};

// Standard input, output and error are the terminal. The child and its group are killed at the limit.
TerminalResult runOnTerminal(const std::vector<std::string>& arguments,
                             const std::vector<TerminalTurn>& turns, int timeoutSeconds = 100);

}  // namespace halvo::test
