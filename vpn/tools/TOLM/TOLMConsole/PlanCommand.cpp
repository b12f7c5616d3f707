#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <string>

#include "vpn/tools/TOLM/TOLMAuthoring/plan/DocumentFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/SilentLog.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"

namespace halvo {

namespace {

class PlanCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "plan"; }
  [[nodiscard]] const char* description() const override {
    return "Tell what a run would gather now, without running or writing anything";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm plan --config documents"; }

  void addOptions(CLI::App& app) override {
    app.add_option("--request", m_strRequest, "Plan a run with this request document")->type_name("FILE");
    app.add_option("--config", m_strConfigFolder, "Take the instruction documents from this folder")
        ->type_name("FOLDER");
    app.add_flag("--json", m_bJson, "Print JSON");
  }

  [[nodiscard]] int run() override {
    const SilentLog silent;
    LoadedDocument request;
    if (!m_strRequest.empty()) {
      request = loadDocument(m_strRequest);
      if (request.document == nullptr) {
        printError(failureLine(
            "Internal Error: invalid request XML, please contact your administrator, or run in default mode",
            TOLMENGINE_ERROR_INVALID_XML, ""));
        return kExitFailure;
      }
    }
    const DocumentFolder folder(m_strConfigFolder.empty() ? helperUtil::defaultConfigFolder()
                                                          : m_strConfigFolder);
    const std::vector<PlanSource> sources = folder.sources();
    if (std::none_of(sources.begin(), sources.end(),
                     [](const PlanSource& source) { return source.document != nullptr; })) {
      printError(
          failureLine("Internal Error: no valid configuration XML found...", TOLMENGINE_ERROR_INTERNAL, ""));
      return kExitFailure;
    }
    PlanHost host;
    Plan plan = buildPlan(sources, request.document, host);
    plan.configFolder = folder.path();
    plan.requestPath = m_strRequest;
    const std::string text = m_bJson ? planJson(plan) : planText(plan);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return finishOutput(kExitSuccess);
  }

 private:
  std::string m_strRequest;       // empty for a default run
  std::string m_strConfigFolder;  // empty for the system's own
  bool m_bJson = false;
};

}  // namespace

std::unique_ptr<ICommand> makePlanCommand() {
  return std::make_unique<PlanCommand>();
}

}  // namespace halvo
