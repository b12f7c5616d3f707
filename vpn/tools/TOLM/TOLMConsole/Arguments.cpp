#include "vpn/tools/TOLM/TOLMConsole/Arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <sstream>

namespace halvo {

namespace {

constexpr char kDescription[] =
    "Gathers what a support engineer needs to know of the VPN client into one ZIP bundle.\n"
    "What is gathered, instruction documents in /opt/halvo/tessarmont/tolm/xml/config/ say.";

constexpr char kFooter[] =
    "Exit status: 0 done; 1 the run failed (a line on standard error tells the text and the code), or\n"
    "check found errors; 2 wrong usage, nothing was run.";

Arguments usageError(const std::string& message, const std::string& subcommand) {
  Arguments arguments;
  arguments.exitStatus = kExitUsage;
  arguments.text =
      "tmtolm: " + message + "\nTry \"tmtolm " + (subcommand.empty() ? "" : subcommand + " ") + "--help\".\n";
  return arguments;
}

}  // namespace

Arguments parseArguments(const std::vector<std::string>& arguments) {
  Arguments result;
  CLI::App app{kDescription, "tmtolm"};
  app.footer(kFooter);
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("tmtolm ") + TOLM_VERSION);

  CLI::App* const collect = app.add_subcommand("collect", "Make a bundle");
  collect
      ->add_option("--request", result.requestPath,
                   "A request document: gather the items that it names instead of the default ones")
      ->type_name("FILE");
  collect
      ->add_option("--bundle", result.bundlePath,
                   "Where to write the bundle; .zip is put behind a name that doesn't end so "
                   "(default: $HOME/Desktop/TOLMBundle_MMDD_HHMM.zip)")
      ->type_name("FILE");
  CLI::Option* const file =
      collect
          ->add_option("--password-file", result.passwordFile,
                       "Encrypt the bundle with the first line of this file, up to 1024 bytes")
          ->type_name("FILE");
  collect
      ->add_flag("--ask-password", result.askPassword,
                 "Encrypt the bundle with a password that is asked for twice on the terminal")
      ->excludes(file);
  collect->add_flag("--quiet", result.quiet, "Print nothing unless the run fails");

  CLI::App* const clear = app.add_subcommand("clear", "Delete the logs that the documents mark for clearing");
  clear->add_flag("--yes", result.yes, "Don't ask first; needed where there is no terminal to ask on");
  clear->add_flag("--quiet", result.quiet, "Print nothing unless the run fails");

  CLI::App* const check =
      app.add_subcommand("check", "Tell the faults of instruction documents and requests");
  check->add_option("PATH", result.paths, "Documents, or folders of them")->required()->type_name("");

  CLI::App* const plan =
      app.add_subcommand("plan", "Tell what a run would gather now, without running or writing anything");
  plan->add_option("--request", result.requestPath, "Plan a run with this request document")
      ->type_name("FILE");
  plan->add_option("--config", result.configFolder, "Take the instruction documents from this folder")
      ->type_name("FOLDER");
  plan->add_flag("--json", result.json, "Print JSON");

  const auto chosen = [&]() -> CLI::App* {
    const std::vector<CLI::App*> parsed = app.get_subcommands();
    return parsed.empty() ? nullptr : parsed.front();
  };
  try {
    // The parser takes its arguments from the back.
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    CLI::App* const subcommand = chosen();
    if (error.get_exit_code() != 0) {
      return usageError(error.what(), subcommand == nullptr ? "" : subcommand->get_name());
    }
    std::ostringstream out;
    std::ostringstream unused;
    app.exit(error, out, unused);
    Arguments text;
    text.text = out.str();
    return text;
  }

  CLI::App* const subcommand = chosen();
  // An empty value is a variable that a script forgot to set: running on would do something else than
  // what was meant.
  for (const CLI::Option* option : subcommand->get_options()) {
    const std::vector<std::string> values =
        option->count() > 0 ? option->results() : std::vector<std::string>();
    if (std::any_of(values.begin(), values.end(), [](const std::string& value) { return value.empty(); })) {
      return usageError(option->get_name() + ": the value is empty", subcommand->get_name());
    }
  }
  result.command = subcommand == collect ? ConsoleCommand::kCollect
                   : subcommand == clear ? ConsoleCommand::kClear
                   : subcommand == check ? ConsoleCommand::kCheck
                                         : ConsoleCommand::kPlan;
  return result;
}

}  // namespace halvo
