#include <CLI/CLI.hpp>

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
    m_Bundle.addPlace(app);
    m_Rules.addPlace(app);
    app.add_flag("--json", m_bJson, "Print JSON");
    m_Bundle.addOptions(app);
  }

  [[nodiscard]] int run() override {
    RuleSet rules;
    // Ahead of the password: nobody should type one to be told of a slip in the rules.
    if (const int status = m_Rules.load(rules); status != kExitSuccess) {
      return status;
    }
    if (const int status = m_Bundle.load(); status != kExitSuccess) {
      return status;
    }
    const BundleContent& content = m_Bundle.content();
    const Findings findings = findProblems(content, rules);
    tellUnread(m_Bundle.path(), findings.unread);
    printText(m_bJson ? findingsJson(content, findings) : findingsText(content, findings));
    return finishOutput(kExitSuccess);
  }

 private:
  OneBundle m_Bundle;
  RuleOptions m_Rules;
  bool m_bJson = false;
};

}  // namespace

std::unique_ptr<ICommand> makeFindingsCommand() {
  return std::make_unique<FindingsCommand>();
}

}  // namespace halvo
