#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/report/PageFile.h"
#include "vpn/tools/TOLM/TOLMBundle/report/Report.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"
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
    m_Bundle.addPlace(app);
    app.add_option("-o,--output", m_strOutput, "Where to write the page; - for standard output")
        ->required()
        ->type_name("FILE");
    m_Rules.addOption(app);
    m_Bundle.addOptions(app);
  }

  [[nodiscard]] int run() override {
    RuleSet rules;
    if (const int status = m_Rules.load(rules); status != kExitSuccess) {
      return status;
    }
    if (const std::string problem = findPlaceProblem(); !problem.empty()) {
      return usageFailure(problem);
    }
    if (const int status = m_Bundle.load(); status != kExitSuccess) {
      return status;
    }
    if (const std::string error = writeReport(m_Bundle.content(), rules, m_strOutput); !error.empty()) {
      printError(error);
      return kExitFailure;
    }
    return finishOutput(kExitSuccess);
  }

 private:
  [[nodiscard]] std::string findPlaceProblem() const {
    if (isStandardOutput(m_strOutput)) {
      return "";
    }
    if (isSamePlace(m_Bundle.path(), m_strOutput)) {
      return "the page would take the place of the bundle";
    }
    std::vector<NamedFile> files = {{"--output", m_strOutput, FileUse::kWritten},
                                    {"--password-file", m_Bundle.passwordFile(), FileUse::kRead}};
    for (const std::string& document : m_Rules.documents()) {
      files.push_back({"--rules", document, FileUse::kRead});
    }
    const std::string problem = placeProblem(files);
    return problem.empty() ? linkProblem(files) : problem;
  }

  OneBundle m_Bundle;
  std::string m_strOutput;
  RuleOptions m_Rules;
};

}  // namespace

std::unique_ptr<ICommand> makeReportCommand() {
  return std::make_unique<ReportCommand>();
}

}  // namespace halvo
