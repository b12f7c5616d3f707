#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "vpn/Common/Utility/PlainText.h"
#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialFolder.h"
#include "vpn/tools/TOLM/TOLMAuthoring/trial/TrialLook.h"
#include "vpn/tools/TOLM/TOLMConsole/Command.h"
#include "vpn/tools/TOLM/TOLMConsole/ConsoleOutput.h"
#include "vpn/tools/TOLM/TOLMConsole/FilePlaces.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/Progress.h"
#include "vpn/tools/TOLM/TOLMEngine/implementations/TOLMEngine.h"
#include "vpn/tools/TOLM/TOLMFrontEnd/CollectRun.h"

namespace halvo {

namespace {

class TryCommand : public ICommand {
 public:
  [[nodiscard]] const char* name() const override { return "try"; }
  [[nodiscard]] const char* description() const override {
    return "Make a bundle by documents that aren't installed, and tell what is missing in it";
  }
  [[nodiscard]] const char* example() const override {
    return "tmtolm try client.xml --item client-logs --bundle /tmp/trial.zip";
  }

  void addOptions(CLI::App& app) override {
    app.add_option("PATH", m_Paths, "Documents, or folders of them")->required()->type_name("");
    app.add_option("--item", m_Items, "Gather this item and no other, default or not; may be given again")
        ->type_name("ID")
        ->allow_extra_args(false);
    app.add_option("--bundle", m_strBundle,
                   "Where to write the bundle (default: $HOME/Desktop/TOLMBundle_MMDD_HHMM.zip)")
        ->type_name("FILE");
    app.add_flag("--wait", m_bWait, "Wait for another run of yours to end instead of failing");
  }

  [[nodiscard]] int run() override {
    if (const std::string problem = findPlaceProblem(); !problem.empty()) {
      return usageFailure(problem);
    }
    TrialFolder folder;
    if (const std::string problem = folder.add(m_Paths); !problem.empty()) {
      return usageFailure(problem);
    }
    if (!folder.mayHaveItems()) {
      return usageFailure("none of the documents has an item");
    }
    // Behind the documents: an item is looked for in what they hold.
    if (!m_Items.empty()) {
      if (const std::string problem = folder.request(m_Items); !problem.empty()) {
        return usageFailure(problem);
      }
    }
    TrialFindings findings;
    CollectSettings settings;
    settings.configFolder = folder.configFolder();
    settings.requestPath = folder.requestPath();
    settings.bundlePath = m_strBundle.empty() ? defaultBundlePath() : m_strBundle;
    settings.keepOlderBundle = m_strBundle.empty();
    settings.wait = m_bWait;
    settings.tell = printRemark;
    // The work folder is looked at while it is there: no bundle need be read back.
    settings.folderSteps.emplace_back([&findings](const std::string& work, std::string& /*reason*/) {
      findings = lookAtWorkFolder(work);
      return ResultCode{0};
    });
    setConsoleMode(1);
    outliveReader();
    const RunOutcome outcome = CollectRun(std::move(settings)).run();
    if (outcome.code != 0) {
      const bool isOfDocuments = outcome.text.find("no valid configuration") != std::string::npos;
      printError(failureLine(outcome) + (isOfDocuments ? kCheckTells : ""));
      return kExitFailure;
    }
    for (const std::string& line : lossLines(outcome)) {
      printError(line);
    }
    std::printf("Bundle: %s\n", withoutControls(outcome.bundlePath).c_str());
    for (std::string& document : findings.failedDocuments) {
      document = quotedText(folder.givenPath(document));
    }
    print("Documents that can't be used (tmtolm check tells why):", findings.failedDocuments);
    print("Left out, by the summary (id, file, description, reason):", findings.omissions);
    print("Results to look at:", findings.results);
    return finishOutput(outcome.isWhole() ? kExitSuccess : kExitFailure);
  }

 private:
  [[nodiscard]] std::string findPlaceProblem() const {
    std::vector<NamedFile> files;
    if (!m_strBundle.empty()) {
      files.push_back({"--bundle", TOLMEngine::zipPath(m_strBundle), FileUse::kWritten});
    }
    for (const std::string& path : m_Paths) {
      files.push_back({"PATH", path, FileUse::kRead});
    }
    return placeProblem(files);
  }

  static void print(const char* heading, const std::vector<std::string>& lines) {
    if (!lines.empty()) {
      std::printf("%s\n", heading);
    }
    for (const std::string& line : lines) {
      std::printf("  %s\n", line.c_str());
    }
  }

  std::vector<std::string> m_Paths;
  std::vector<std::string> m_Items;  // empty for the default items
  std::string m_strBundle;           // empty for the default place
  bool m_bWait = false;
};

}  // namespace

std::unique_ptr<ICommand> makeTryCommand() {
  return std::make_unique<TryCommand>();
}

}  // namespace halvo
