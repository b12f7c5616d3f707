#include <unistd.h>

#include <CLI/CLI.hpp>
#include <string>
#include <utility>
#include <vector>

#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"

namespace halvo {

namespace {

class ClearCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "clear"; }
  [[nodiscard]] const char* description() const override {
    return "Delete the logs that the documents mark for clearing";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm clear"; }

  void addOptions(CLI::App& app) override {
    app.add_flag("--yes", m_bYes, "Don't ask first; needed where there is no terminal to ask on");
    app.add_flag("--wait", m_bWait, "Wait for another run of yours to end instead of failing");
    app.add_flag("--quiet", m_bQuiet, "Print nothing unless the run fails");
  }

  [[nodiscard]] int run() override {
    if (!m_bYes) {
      // A script that forgot what this command does must not find out by it.
      if (isatty(STDIN_FILENO) == 0) {
        return usageFailure(
            "clear deletes files and has no terminal to ask on; --yes goes on without asking");
      }
      if (!askYes("This deletes the logs that the documents in " + helperUtil::defaultConfigFolder() +
                  " mark for clearing. Go on? [y/N] ")) {
        printError(failureLine("Nothing was cleared.", TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER));
        return kExitFailure;
      }
    }
    RunSettings settings;
    settings.wait = m_bWait;
    settings.quiet = m_bQuiet;
    if (!m_bQuiet) {
      settings.tell = printRemark;
    }
    setConsoleMode(m_bQuiet ? 0 : 1);
    outliveReader();
    const RunOutcome outcome = ClearRun(std::move(settings)).run();
    if (outcome.code != 0) {
      printError(failureLine(outcome));
      return kExitFailure;
    }
    const std::vector<std::string> uncleared = unclearedLines(outcome);
    for (const std::string& line : uncleared) {
      printError(line);
    }
    return finishOutput(uncleared.empty() ? kExitSuccess : kExitFailure);
  }

 private:
  bool m_bYes = false;
  bool m_bWait = false;
  bool m_bQuiet = false;
};

}  // namespace

std::unique_ptr<ICommand> makeClearCommand() {
  return std::make_unique<ClearCommand>();
}

}  // namespace halvo
