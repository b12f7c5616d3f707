#include <dirent.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "vpn/Common/Utility/Holders.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/DocumentFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/plan/Plan.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/SilentLog.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/helperUtil.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/RequestCheck.h"

namespace halvo {

namespace {

// Behind the failure: which folder it is that can't be read.
std::string folderRemark(const std::string& folder) {
  // Looked at again: the loading tells no empty folder from one that refuses.
  const FolderHolder stream(opendir(folder.c_str()));
  return stream != nullptr ? kCheckTells
                           : "; the folder \"" + folder + "\" can't be read: " + std::strerror(errno);
}

class PlanCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "plan"; }
  [[nodiscard]] const char* description() const override {
    return "Tell what a run would gather now, without running or writing anything";
  }
  [[nodiscard]] const char* example() const override { return "tmtolm plan --deep --config documents"; }

  void addOptions(CLI::App& app) override {
    app.add_option("--request", m_strRequest, "Plan a run with this request document")->type_name("FILE");
    app.add_option("--config", m_strConfigFolder, "Take the instruction documents from this folder")
        ->type_name("FOLDER");
    app.add_flag("--deep", m_Options.deep, "Look into matched folders, and where links lead out of them");
    app.add_flag("--all", m_Options.all, "Tell the actions of items that are left out, too");
    app.add_flag("--clear", m_Options.clear, "Tell what a clear run would delete and run")
        ->excludes(app.get_option("--request"));
    app.add_flag("--json", m_bJson, "Print JSON");
  }

  [[nodiscard]] int run() override {
    const SilentLog silent;
    LoadedDocument request;
    if (!m_strRequest.empty()) {
      if (const std::string problem = requestProblem(m_strRequest); !problem.empty()) {
        // In the words and with the code that the run would end with.
        printError(
            failureLine("Internal Error: invalid request XML, please contact your administrator, or run "
                        "in default mode",
                        TOLMENGINE_ERROR_INVALID_XML) +
            "; " + problem);
        return kExitFailure;
      }
      request = loadDocument(m_strRequest);
    }
    const std::string configFolder =
        m_strConfigFolder.empty() ? helperUtil::defaultConfigFolder() : m_strConfigFolder;
    const DocumentFolder folder(configFolder, true);
    const std::vector<PlanSource>& sources = folder.sources();
    if (std::none_of(sources.begin(), sources.end(),
                     [](const PlanSource& source) { return source.document != nullptr; })) {
      printError(
          failureLine("Internal Error: no valid configuration XML found...", TOLMENGINE_ERROR_INTERNAL) +
          folderRemark(configFolder));
      return kExitFailure;
    }
    PlanHost host;
    Plan plan = buildPlan(sources, request.document, host, m_Options);
    plan.configFolder = folder.path();
    plan.requestPath = m_strRequest;
    printText(m_bJson ? planJson(plan) : planText(plan));
    return finishOutput(kExitSuccess);
  }

 private:
  std::string m_strRequest;       // empty for a default run
  std::string m_strConfigFolder;  // empty for the system's own
  PlanOptions m_Options;
  bool m_bJson = false;
};

}  // namespace

std::unique_ptr<ICommand> makePlanCommand() {
  return std::make_unique<PlanCommand>();
}

}  // namespace halvo
