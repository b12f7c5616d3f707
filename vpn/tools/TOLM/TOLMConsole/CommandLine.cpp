#include "vpn/tools/TOLM/TOLMConsole/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>
#include <utility>

namespace halvo {

namespace {

constexpr char kDescription[] =
    "Gathers what a support engineer needs to know of the VPN client into one ZIP bundle.\n"
    "What is gathered, instruction documents in /opt/halvo/tessarmont/tolm/xml/config/ say.";

constexpr char kFooter[] =
    "Exit status: 0 done; 1 the run failed (a line on standard error tells the text and the code), or\n"
    "check found errors; 2 wrong usage, nothing was run.";

CommandLine::Answer usageError(const std::string& message, const std::string& subcommand) {
  CommandLine::Answer answer;
  answer.exitStatus = kExitUsage;
  answer.text =
      "tmtolm: " + message + "\nTry \"tmtolm " + (subcommand.empty() ? "" : subcommand + " ") + "--help\".\n";
  return answer;
}

// An empty value is a variable that a script forgot to set: running on would do something else than
// what was meant.
const CLI::Option* emptyOption(const CLI::App& subcommand) {
  for (const CLI::Option* option : subcommand.get_options()) {
    const std::vector<std::string> values =
        option->count() > 0 ? option->results() : std::vector<std::string>();
    if (std::any_of(values.begin(), values.end(), [](const std::string& value) { return value.empty(); })) {
      return option;
    }
  }
  return nullptr;
}

}  // namespace

CommandLine::CommandLine(std::vector<std::unique_ptr<ICommand>> commands)
    : m_Commands(std::move(commands)), m_pApp(std::make_unique<CLI::App>(kDescription, "tmtolm")) {
  m_pApp->footer(kFooter);
  m_pApp->require_subcommand(1);
  m_pApp->set_version_flag("--version", std::string("tmtolm ") + TOLM_VERSION);
  for (const std::unique_ptr<ICommand>& command : m_Commands) {
    CLI::App* const subcommand = m_pApp->add_subcommand(command->name(), command->description());
    subcommand->footer(std::string("Example: ") + command->example());
    command->addOptions(*subcommand);
  }
}

CommandLine::~CommandLine() = default;

CommandLine::Answer CommandLine::parse(const std::vector<std::string>& arguments) {
  const auto chosen = [this]() -> CLI::App* {
    const std::vector<CLI::App*> parsed = m_pApp->get_subcommands();
    return parsed.empty() ? nullptr : parsed.front();
  };
  try {
    // The parser takes its arguments from the back.
    m_pApp->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    CLI::App* const subcommand = chosen();
    if (error.get_exit_code() != 0) {
      return usageError(error.what(), subcommand == nullptr ? "" : subcommand->get_name());
    }
    std::ostringstream out;
    std::ostringstream unused;
    m_pApp->exit(error, out, unused);
    Answer answer;
    answer.text = out.str();
    return answer;
  }

  const CLI::App& subcommand = *chosen();
  if (const CLI::Option* const option = emptyOption(subcommand); option != nullptr) {
    return usageError(option->get_name() + ": the value is empty", subcommand.get_name());
  }
  Answer answer;
  for (const std::unique_ptr<ICommand>& command : m_Commands) {
    if (subcommand.get_name() == command->name()) {
      answer.command = command.get();
    }
  }
  return answer;
}

std::vector<std::string> CommandLine::given(const std::string& command, const std::string& option) const {
  return m_pApp->get_subcommand(command)->get_option(option)->results();
}

}  // namespace halvo
