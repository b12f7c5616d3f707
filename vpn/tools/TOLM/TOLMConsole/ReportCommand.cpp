#include <CLI/CLI.hpp>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/report/Report.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/RuleOptions.h"

namespace halvo {

namespace {

class ReportCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "report"; }
  [[nodiscard]] const char* description() const override {
    return "Make one page of a bundle, for the browser";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm report bundle.zip -o report.html"; }

  void addOptions(CLI::App& app) override {
    app.add_option("BUNDLE", m_strBundle, "The bundle")->required()->type_name("");
    app.add_option("-o,--output", m_strOutput, "Where to write the page")->required()->type_name("FILE");
    m_Options.addTo(app);
  }

  [[nodiscard]] int run() override {
    RuleSet rules;
    rules.addBuiltIn();
    if (const int status = m_Options.prepare(); status != kExitSuccess) {
      return status;
    }
    BundleReader reader;
    if (const int status = m_Options.open(reader, m_strBundle); status != kExitSuccess) {
      return status;
    }
    BundleContent content(reader);
    content.load();
    if (const std::string error = writeReport(content, rules, m_strOutput); !error.empty()) {
      printError(error);
      return kExitFailure;
    }
    return finishOutput(kExitSuccess);
  }

 private:
  std::string m_strBundle;
  std::string m_strOutput;
  BundleOptions m_Options;
};

}  // namespace

std::unique_ptr<ICommand> makeReportCommand() {
  return std::make_unique<ReportCommand>();
}

}  // namespace halvo
