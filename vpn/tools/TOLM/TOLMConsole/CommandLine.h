// CommandLine: the command line of the console program, parsed into one of its subcommands.
//
//   tmtolm SUBCOMMAND [OPTION]...
//   tmtolm --help | --version
//
// Owns the subcommands; what parse() answers borrows one of them. Prints nothing.

#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMConsole/Command.h"

namespace halvo {

class CommandLine {
 public:
  explicit CommandLine(std::vector<std::unique_ptr<ICommand>> commands = makeCommands());
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  struct Answer {
    // What to run; null where `text` is all there is to say.
    ICommand* command = nullptr;
    // Help or version for standard output (status 0), or a usage error with a hint for standard error
    // (status 2). Ends with a line feed.
    std::string text;
    int exitStatus = kExitSuccess;
  };

  // `arguments` without the program's name. To be called once.
  Answer parse(const std::vector<std::string>& arguments);

  // What was given for an option or argument of a subcommand, as text; empty where nothing was.
  [[nodiscard]] std::vector<std::string> given(const std::string& command, const std::string& option) const;

 private:
  void declareSubcommand(const ICommand& command);
  void declareOptions(const std::string& name);
  void declareWhatIsNamed(const std::vector<std::string>& arguments);

  std::vector<std::unique_ptr<ICommand>> m_Commands;
  std::set<std::string> m_Declared;  // the subcommands that have their options
  std::unique_ptr<CLI::App> m_pApp;
};

}  // namespace halvo
