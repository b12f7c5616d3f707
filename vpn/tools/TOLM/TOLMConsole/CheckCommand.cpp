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
  [[nodiscard]] const char* example() const override { return "tmtolm check client.xml network.xml"; }

  void addOptions(CLI::App& app) override {
    app.add_option("PATH", m_Paths, "Documents, or folders of them")->required()->type_name("");
  }

  [[nodiscard]] int run() override {
    CheckRun run;
    for (const std::string& path : m_Paths) {
      run.addPath(path);
    }
    run.finish();
    for (const std::string& line : run.lines()) {
      std::printf("%s\n", line.c_str());
    }
    return finishOutput(run.hasErrors() ? kExitFailure : kExitSuccess);
  }

 private:
  std::vector<std::string> m_Paths;
};

}  // namespace

std::unique_ptr<ICommand> makeCheckCommand() {
  return std::make_unique<CheckCommand>();
}

}  // namespace halvo
