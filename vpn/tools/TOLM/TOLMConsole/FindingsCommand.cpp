#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/findings/Findings.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/RuleOptions.h"

namespace halvo {

namespace {

class FindingsCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "findings"; }
  [[nodiscard]] const char* description() const override {
    return "Tell which known problems a bundle shows";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm findings bundle.zip"; }

  void addOptions(CLI::App& app) override {
    app.add_option("BUNDLE", m_strBundle, "The bundle")->required()->type_name("");
    app.add_option("RULES", m_Rules, "Documents of rules, or folders of them (default: those built in)")
        ->type_name("");
    app.add_flag("--json", m_bJson, "Print JSON");
    m_Options.addTo(app);
  }

  [[nodiscard]] int run() override {
    RuleSet rules;
    // Ahead of the password: nobody should type one to be told of a slip in the rules.
    if (const int status = loadRules(m_Rules, rules); status != kExitSuccess) {
      return status;
    }
    if (const int status = m_Options.prepare(); status != kExitSuccess) {
      return status;
    }
    BundleReader reader;
    if (const int status = m_Options.open(reader, m_strBundle); status != kExitSuccess) {
      return status;
    }
    BundleContent content(reader);
    content.load();
    const std::vector<KnownProblem> findings = findProblems(content, rules);
    const std::size_t count = rules.rules().size();
    const std::string text =
        m_bJson ? findingsJson(content, findings, count) : findingsText(content, findings, count);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return finishOutput(kExitSuccess);
  }

 private:
  std::string m_strBundle;
  std::vector<std::string> m_Rules;
  bool m_bJson = false;
  BundleOptions m_Options;
};

}  // namespace

std::unique_ptr<ICommand> makeFindingsCommand() {
  return std::make_unique<FindingsCommand>();
}

}  // namespace halvo
