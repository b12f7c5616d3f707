#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMAuthoring/check/CheckRun.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

namespace halvo {

namespace {

class CheckCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "check"; }
  [[nodiscard]] const char* description() const override {
    return "Tell the faults of instruction documents and requests";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm check --strict client.xml"; }

  void addOptions(CLI::App& app) override {
    app.add_option("PATH", m_Paths, "Documents, or folders of them")->required()->type_name("");
    app.add_flag("--json", m_bJson, "Print the findings as a JSON array");
    app.add_flag("--strict", m_bStrict, "Fail at warnings too");
  }

  [[nodiscard]] int run() override {
    CheckHost host;
    CheckRun run(host);
    for (const std::string& path : m_Paths) {
      run.addPath(path);
    }
    // What shows only between documents comes last.
    run.finish();
    if (m_bJson) {
      std::fputs(run.json().c_str(), stdout);
    } else {
      for (const std::string& line : run.lines()) {
        std::printf("%s\n", line.c_str());
      }
    }
    const bool failed = run.hasErrors() || (m_bStrict && run.hasFindings());
    return finishOutput(failed ? kExitFailure : kExitSuccess);
  }

 private:
  std::vector<std::string> m_Paths;
  bool m_bJson = false;
  bool m_bStrict = false;
};

}  // namespace

std::unique_ptr<ICommand> makeCheckCommand() {
  return std::make_unique<CheckCommand>();
}

}  // namespace halvo
