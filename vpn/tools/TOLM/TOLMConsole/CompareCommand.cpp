#include <CLI/CLI.hpp>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/Compare.h"
#include "vpn/tools/TOLM/TOLMConsole/BundleOptions.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"

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
    m_Options.addTo(app);
  }

  [[nodiscard]] int run() override {
    if (const int status = m_Options.prepare(); status != kExitSuccess) {
      return status;
    }
    BundleReader before;
    BundleReader after;
    for (const auto& [reader, path] : {std::pair(&before, &m_strOld), std::pair(&after, &m_strNew)}) {
      if (const int status = m_Options.open(*reader, *path); status != kExitSuccess) {
        return status;
      }
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
  std::string m_strOld;
  std::string m_strNew;
  bool m_bJson = false;
  BundleOptions m_Options;
};

}  // namespace

std::unique_ptr<ICommand> makeCompareCommand() {
  return std::make_unique<CompareCommand>();
}

}  // namespace halvo
