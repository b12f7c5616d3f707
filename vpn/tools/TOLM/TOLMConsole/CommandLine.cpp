#include "vpn/tools/TOLM/TOLMConsole/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <numeric>
#include <sstream>
#include <utility>

#include "vpn/Common/Utility/PlainText.h"

namespace halvo {

namespace {

constexpr char kDescription[] =
    "Gathers what a support engineer needs to know of the VPN client into one ZIP bundle.\n"
    "What is gathered, instruction documents in /opt/halvo/tessarmont/tolm/xml/config/ say.";

// The subcommand that is meant where none is named.
constexpr char kUsual[] = "collect";

constexpr char kFooter[] =
    "Exit status: 0 done; 1 the run failed (a line on standard error tells the text and the code), or\n"
    "check found errors; 2 wrong usage, nothing was run; 3 collect --fail-incomplete: something is missing.";

CommandLine::Answer usageError(const std::string& message, const std::string& subcommand) {
  CommandLine::Answer answer;
  answer.exitStatus = kExitUsage;
  answer.text = "tmtolm: " + withoutControls(message) + "\nTry \"tmtolm " +
                (subcommand.empty() ? "" : subcommand + " ") + "--help\".\n";
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

// What people type for a subcommand whose name they don't remember.
const std::map<std::string, std::string>& otherWords() {
  static const std::map<std::string, std::string> words = {
      {"bundle", "collect"}, {"gather", "collect"}, {"run", "collect"},  {"zip", "collect"},
      {"delete", "clear"},   {"remove", "clear"},   {"lint", "check"},   {"validate", "check"},
      {"verify", "check"},   {"dry-run", "plan"},   {"preview", "plan"}, {"list", "plan"},
  };
  return words;
}

// How many letters have to be put in, left out or changed to make one word of the other.
std::size_t distance(const std::string& one, const std::string& other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= one.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const std::size_t changed = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
      diagonal = std::exchange(row[j], std::min({row[j] + 1, row[j - 1] + 1, changed}));
    }
  }
  return row.back();
}

// The word that was meant, as far as that can be told; empty where none is near.
std::string nearestWord(const std::string& word, const std::vector<std::string>& words) {
  std::string nearest;
  // Longer ones aren't slips any more, and a text of any length may be given.
  std::size_t least = std::min<std::size_t>(word.size() / 3 + 1, 4);
  for (const std::string& candidate : words) {
    if (candidate.size() > word.size() + least || word.size() > candidate.size() + least) {
      continue;
    }
    if (const std::size_t steps = distance(word, candidate);
        steps < least || (steps == least && nearest.empty())) {
      least = steps;
      nearest = candidate;
    }
  }
  return nearest;
}

std::string meant(const std::string& word) {
  return word.empty() ? "" : "; did you mean \"" + word + "\"?";
}

std::vector<std::string> optionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      names.push_back("--" + name);
    }
  }
  return names;
}

// Names an option that stands ahead of the subcommand, with the subcommand's own that was meant; empty where
// there is none.
std::string earlyOption(const CLI::App& app, const CLI::App& subcommand,
                        const std::vector<std::string>& arguments) {
  const std::vector<std::string> own = optionsOf(app);
  for (const std::string& argument : arguments) {
    if (argument.size() < 2 || argument.front() != '-' || argument == "--") {
      break;
    }
    const std::string word = argument.substr(0, argument.find('='));
    if (word != "-h" && std::find(own.begin(), own.end(), word) == own.end()) {
      const std::string nearest = nearestWord(word, optionsOf(subcommand));
      return "there is no option \"" + word + "\" before a subcommand" +
             meant(nearest.empty() ? "" : subcommand.get_name() + " " + nearest);
    }
  }
  return "";
}

// Names a subcommand or an option that there is none of, with the nearest one that there is; empty where
// something else is wrong with the line.
std::string unknownWord(const CLI::App& app, const CLI::App* subcommand,
                        const std::vector<std::string>& arguments) {
  if (std::string early =
          earlyOption(app, subcommand != nullptr ? *subcommand : *app.get_subcommand(kUsual), arguments);
      !early.empty()) {
    return early;
  }
  if (subcommand == nullptr) {
    std::vector<std::string> names;
    for (const CLI::App* const known : app.get_subcommands(nullptr)) {
      names.push_back(known->get_name());
    }
    const auto first = std::find_if(arguments.begin(), arguments.end(), [](const std::string& argument) {
      return !argument.empty() && argument.front() != '-';
    });
    if (first == arguments.end()) {
      std::string all;
      for (const std::string& name : names) {
        all += (all.empty() ? "" : ", ") + name;
      }
      return "a subcommand is missing; there are " + all;
    }
    const auto other = otherWords().find(*first);
    return "there is no subcommand \"" + *first + "\"" +
           meant(other != otherWords().end() ? other->second : nearestWord(*first, names));
  }
  const std::vector<std::string> names = optionsOf(*subcommand);
  for (const std::string& argument : arguments) {
    if (argument == "--") {
      break;
    }
    const std::string word = argument.substr(0, argument.find('='));
    if (word.compare(0, 2, "--") == 0 && std::find(names.begin(), names.end(), word) == names.end()) {
      return "there is no option \"" + word + "\"" + meant(nearestWord(word, names));
    }
  }
  return "";
}

}  // namespace

CommandLine::CommandLine(std::vector<std::unique_ptr<ICommand>> commands)
    : m_Commands(std::move(commands)), m_pApp(std::make_unique<CLI::App>(kDescription, "tmtolm")) {
  m_pApp->footer(kFooter);
  m_pApp->require_subcommand(1);
  m_pApp->set_version_flag("--version", std::string("tmtolm ") + TOLM_VERSION);
}

CommandLine::~CommandLine() = default;

void CommandLine::declareSubcommand(const ICommand& command) {
  CLI::App* const subcommand = m_pApp->add_subcommand(command.name(), command.description());
  subcommand->footer(std::string("Example: ") + command.example());
}

void CommandLine::declareOptions(const std::string& name) {
  for (const std::unique_ptr<ICommand>& command : m_Commands) {
    if (name == command->name() && m_Declared.insert(name).second) {
      CLI::App& subcommand = *m_pApp->get_subcommand(name);
      command->addOptions(subcommand);
      // "--quiet=no" would be taken for "--quiet".
      for (CLI::Option* const option : subcommand.get_options()) {
        if (option->get_items_expected_max() == 0) {
          option->disable_flag_override();
        }
      }
    }
  }
}

// A start pays for its own subcommand alone: all of them with their options take longer than an empty run.
// One that is named first has the rest of the line to itself; any other line needs all, if only to say what
// is wrong.
void CommandLine::declareWhatIsNamed(const std::vector<std::string>& arguments) {
  for (const std::unique_ptr<ICommand>& command : m_Commands) {
    if (!arguments.empty() && arguments.front() == command->name()) {
      declareSubcommand(*command);
      declareOptions(arguments.front());
      return;
    }
  }
  for (const std::unique_ptr<ICommand>& command : m_Commands) {
    declareSubcommand(*command);
  }
  for (const std::string& argument : arguments) {
    declareOptions(argument);
  }
}

CommandLine::Answer CommandLine::parse(const std::vector<std::string>& arguments) {
  declareWhatIsNamed(arguments);
  const auto chosen = [this]() -> CLI::App* {
    const std::vector<CLI::App*> parsed = m_pApp->get_subcommands();
    return parsed.empty() ? nullptr : parsed.front();
  };
  try {
    // The parser takes its arguments from the back.
    m_pApp->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    CLI::App* const subcommand = chosen();
    // With 0 it is no error: --help and --version leave by this way too.
    if (error.get_exit_code() != 0) {
      // Nearly every line is meant for this one, and an option ahead of it is compared with its own.
      if (subcommand == nullptr) {
        declareOptions(kUsual);
      }
      const std::string unknown = unknownWord(*m_pApp, subcommand, arguments);
      return usageError(unknown.empty() ? error.what() : unknown,
                        subcommand == nullptr ? "" : subcommand->get_name());
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
