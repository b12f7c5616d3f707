#include "vpn/tools/TOLM/TOLMConsole/Command.h"

// The subcommands in the order of the help. XCommand.cpp defines makeXCommand(); its row stands here and
// nowhere else.
#define TOLM_COMMANDS(ROW) \
  ROW(Collect)             \
  ROW(Clear)               \
  ROW(Check)               \
  ROW(Plan)                \
  ROW(Try)                 \
  ROW(New)                 \
  ROW(Show)                \
  ROW(Report)              \
  ROW(Findings)            \
  ROW(Compare)             \
  ROW(Ask)                 \
  ROW(Redact)

namespace halvo {

#define TOLM_DECLARE(name) std::unique_ptr<ICommand> make##name##Command();
TOLM_COMMANDS(TOLM_DECLARE)
#undef TOLM_DECLARE

std::vector<std::unique_ptr<ICommand>> makeCommands() {
  std::vector<std::unique_ptr<ICommand>> commands;
#define TOLM_MAKE(name) commands.push_back(make##name##Command());
  TOLM_COMMANDS(TOLM_MAKE)
#undef TOLM_MAKE
  return commands;
}

}  // namespace halvo
