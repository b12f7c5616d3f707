// ICommand: one subcommand of the console program. A new one is a file of its own, XCommand.cpp, that
// ends with its maker, and one row in Commands.cpp.
//
// One object serves one command line: the parser writes the options into its fields, then it runs once,
// on the main thread.

#pragma once

#include <memory>
#include <vector>

namespace CLI {
class App;
}

namespace halvo {

// Exit statuses of the program.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;     // a run ended with a code, or check found errors
inline constexpr int kExitUsage = 2;       // nothing was run
inline constexpr int kExitIncomplete = 3;  // asked for: something wanted isn't in the bundle

class ICommand {
 public:
  virtual ~ICommand() = default;

  // The word on the command line.
  [[nodiscard]] virtual const char* name() const = 0;
  // One line for the list of subcommands and the subcommand's own help.
  [[nodiscard]] virtual const char* description() const = 0;
  // A command line that does something useful, for the subcommand's help.
  [[nodiscard]] virtual const char* example() const = 0;
  // Declares the options, each bound to a field. No option takes a password: other users of the machine
  // can read arguments. An option or argument that is given empty is refused by the caller.
  virtual void addOptions(CLI::App& app) = 0;
  // After a command line without faults. Returns an exit status; prints by itself.
  [[nodiscard]] virtual int run() = 0;
};

// One of each, in the order of the help.
std::vector<std::unique_ptr<ICommand>> makeCommands();

}  // namespace halvo
