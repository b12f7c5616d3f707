#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <utility>

#include "vpn/tools/TOLM/TOLMBundle/Compare.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/Password.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/Secret.h"

namespace halvo {

namespace {

// Differing lines of one file: as many as a reader looks through, and as many as a program may want.
constexpr std::size_t kTextLines = 20;
constexpr std::size_t kJsonLines = 10000;

class CompareCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "compare"; }
  [[nodiscard]] const char* description() const override { return "Tell what differs between two bundles"; }
  [[nodiscard]] const char* example() const override { return "tmtolm compare good.zip bad.zip"; }

  void addOptions(CLI::App& app) override {
    app.add_option("OLD", m_strOld, "The bundle from before, or of the good machine")
        ->required()
        ->type_name("");
    app.add_option("NEW", m_strNew, "The bundle from after, or of the bad machine")
        ->required()
        ->type_name("");
    app.add_flag("--json", m_bJson, "Print JSON");
    app.add_option("--old-password-file", m_strOldPasswordFile,
                   "The password of OLD is this file's first line, where it isn't that of NEW")
        ->type_name("FILE");
    m_Options.addTo(app);
  }

  [[nodiscard]] int run() override {
    if (const int status = m_Options.prepare(); status != kExitSuccess) {
      return status;
    }
    BundleReader before;
    BundleReader after;
    if (const int status = openBoth(before, after); status != kExitSuccess) {
      return status;
    }
    BundleContent beforeContent(before);
    BundleContent afterContent(after);
    beforeContent.load();
    afterContent.load();
    const Comparison comparison =
        compareBundles(beforeContent, afterContent, m_bJson ? kJsonLines : kTextLines);
    tellUnread(m_strOld, comparison.unreadOld);
    tellUnread(m_strNew, comparison.unreadNew);
    printText(m_bJson ? comparisonJson(comparison) : comparisonText(comparison));
    return finishOutput(kExitSuccess);
  }

 private:
  int openBoth(BundleReader& before, BundleReader& after) {
    std::string oldPassword = m_Options.password();
    if (!m_strOldPasswordFile.empty()) {
      PasswordResult result = readPasswordFile(m_strOldPasswordFile);
      if (!result.error.empty()) {
        return usageFailure(result.error);
      }
      m_pOldSecret = std::move(result.password);
      oldPassword = m_pOldSecret->view();
    }
    const int status = BundleOptions::open(before, m_strOld, oldPassword);
    return status == kExitSuccess ? m_Options.open(after, m_strNew) : status;
  }

  std::string m_strOld;
  std::string m_strNew;
  bool m_bJson = false;
  std::string m_strOldPasswordFile;
  std::shared_ptr<Secret> m_pOldSecret;  // as long as the reader holds it too
  BundleOptions m_Options;
};

}  // namespace

std::unique_ptr<ICommand> makeCompareCommand() {
  return std::make_unique<CompareCommand>();
}

}  // namespace halvo
